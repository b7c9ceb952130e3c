// DTS synthesis.
#include <benchmark/benchmark.h>

#include <array>

#include "qorac.h"

#ifdef QORAC_PEER_DTS
extern "C" {
struct PeerFilters {
    void (*filter)(void* transform, Qor32f* history, int* offset, Qor32f* carried,
                   const Qor32f* window, Qor32f* pDst, const Qor32f* pSrc, Qor32f scale);
    void (*others[15])();
};
void ff_synth_filter_init(PeerFilters*);
int ff_mdct_init(void* transform, int bits, int inverse, double scale);
}
#endif

namespace {

void DtsSlot(benchmark::State& state) {
    QorsFilterSpec_DTS_32f* spec = nullptr;
    qorsSynthesisFilterInitAlloc_DTS_32f(&spec);
    alignas(64) std::array<Qor32f, 32> bands, samples;
    for (int k = 0; k < 32; ++k) bands[std::size_t(k)] = Qor32f((k * 37 % 64 - 32) / 32.0);
    for (auto _ : state) {
        qorsSynthesisFilter_DTS_32f(bands.data(), samples.data(), Qor32s(state.range(0)), spec);
        benchmark::DoNotOptimize(samples);
    }
    qorsSynthesisFilterFree_DTS_32f(spec);
}
BENCHMARK(DtsSlot)->Arg(0)->Arg(1);

#ifdef QORAC_PEER_DTS
void DtsSlotFFmpeg(benchmark::State& state) {
    alignas(64) static unsigned char transform[16384];
    alignas(64) static Qor32f history[2048], carried[64], window[512], bands[32], samples[32];
    PeerFilters filters{};
    ff_synth_filter_init(&filters);
    ff_mdct_init(transform, 6, 1, 1.0);
    for (int i = 0; i < 512; ++i) window[i] = Qor32f(i % 100 - 50);
    for (int k = 0; k < 32; ++k) bands[k] = Qor32f((k * 37 % 64 - 32) / 32.0);
    int offset = 0;
    for (auto _ : state) {
        filters.filter(transform, history, &offset, carried, window, samples, bands, 1.0f / 32768);
        benchmark::DoNotOptimize(samples);
    }
}
BENCHMARK(DtsSlotFFmpeg);
#endif

}  // namespace
