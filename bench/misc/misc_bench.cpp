// DTS synthesis, the searches of TwinVQ, and the FIR filter over blocks.
#include <benchmark/benchmark.h>

#include <array>
#include <random>
#include <vector>

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

// --- TwinVQ -----------------------------------------------------------------------------------

std::vector<Qor32f> noise(std::size_t count, std::uint32_t seed) {
    std::mt19937 engine(seed);
    std::uniform_real_distribution<Qor32f> value(-1, 1);
    std::vector<Qor32f> values(count);
    for (Qor32f& v : values) v = value(engine);
    return values;
}

// A frame of 1024 values in 48 divisions of at most 22, two books of 64 vectors.
struct Quantizer {
    static constexpr int kDivisions = 48, kLen = 22, kVectors = 64;

    Quantizer() {
        for (int b = 0; b < 2; ++b)
            qorsVQCodeBookInitAlloc_32f(noise(kLen * kVectors, 1 + b).data(), &books[b], kLen,
                                        kVectors);
        for (int d = 0; d < kDivisions; ++d) lengths.push_back(d < 16 ? 22 : 21);
        for (Qor32f& w : weights) w += 1.5f;
    }
    ~Quantizer() {
        for (auto* book : books) qorsVQCodeBookFree_32f(book);
    }

    QorsVQCodeBookState_32f* books[2];
    std::vector<Qor32s> lengths;
    std::vector<Qor32s> polarity = std::vector<Qor32s>(kDivisions, 1);
    std::vector<Qor32f> signal = noise(1024, 3), weights = noise(1024, 4), rebuilt = signal;
    std::vector<Qor32s> index[2] = {std::vector<Qor32s>(kDivisions * kVectors),
                                    std::vector<Qor32s>(kDivisions* kVectors)};
    std::vector<Qor32s> sign[2] = {index[0], index[0]};
    std::vector<Qor32s> indexOut[2] = {std::vector<Qor32s>(kDivisions),
                                       std::vector<Qor32s>(kDivisions)};
    std::vector<Qor32s> signOut[2] = {indexOut[0], indexOut[0]};
    const Qor32s* ppIndex[2] = {index[0].data(), index[1].data()};
    const Qor32s* ppSign[2] = {sign[0].data(), sign[1].data()};
    const Qor32s* ppPolarity[2] = {polarity.data(), polarity.data()};
    Qor32s* ppIndexOut[2] = {indexOut[0].data(), indexOut[1].data()};
    Qor32s* ppSignOut[2] = {signOut[0].data(), signOut[1].data()};

    void preliminary(int book, int nCand) {
        qorsVQPreliminarySelect_32f(signal.data(), weights.data(), kDivisions, lengths.data(),
                                    index[book].data(), sign[book].data(), nCand, polarity.data(),
                                    books[book]);
    }
};

void VqPreliminary(benchmark::State& state) {
    Quantizer vq;
    for (auto _ : state) {
        vq.preliminary(0, int(state.range(0)));
        benchmark::ClobberMemory();
    }
}
BENCHMARK(VqPreliminary)->Arg(1)->Arg(8)->Arg(16);

void VqMain(benchmark::State& state) {
    Quantizer vq;
    const int nCand = int(state.range(0));
    for (int b = 0; b < 2; ++b) vq.preliminary(b, nCand);
    for (auto _ : state) {
        qorsVQMainSelect_32f(vq.signal.data(), vq.weights.data(), vq.lengths.data(), vq.kDivisions,
                             nCand, vq.ppIndex, vq.ppSign, vq.ppIndexOut, vq.ppSignOut, vq.books,
                             2);
        benchmark::ClobberMemory();
    }
}
BENCHMARK(VqMain)->Arg(8)->Arg(16);

void VqIndex(benchmark::State& state) {
    Quantizer vq;
    for (auto _ : state) {
        qorsVQIndexSelect_32f(vq.signal.data(), vq.weights.data(), vq.kDivisions, vq.lengths.data(),
                              Qor32s(state.range(0)), vq.ppPolarity, vq.ppIndexOut, vq.ppSignOut,
                              vq.books, 2);
        benchmark::ClobberMemory();
    }
}
BENCHMARK(VqIndex)->Arg(8)->Arg(16);

void VqReconstruction(benchmark::State& state) {
    Quantizer vq;
    for (int b = 0; b < 2; ++b) vq.preliminary(b, int(state.range(0)));
    for (auto _ : state) {
        qorsVQReconstruction_32f(vq.ppIndex, vq.ppSign, vq.lengths.data(), vq.kDivisions, 2,
                                 vq.rebuilt.data(), vq.books);
        benchmark::ClobberMemory();
    }
}
BENCHMARK(VqReconstruction)->Arg(1);

// --- FIR --------------------------------------------------------------------------------------

void FirBlock(benchmark::State& state) {
    const int taps = int(state.range(0)), len = 1024;
    const std::vector<Qor32f> source = noise(len, 5), coefficients = noise(std::size_t(taps), 6);
    std::vector<Qor32f> sums(len);
    QorsFIRBlockState_32f* filter = nullptr;
    qorsFIRBlockInitAlloc_32f(&filter, taps, len);
    for (auto _ : state) {
        qorsFIRBlockOne_32f(source.data(), sums.data(), filter, coefficients.data());
        benchmark::ClobberMemory();
    }
    qorsFIRBlockFree_32f(filter);
}
BENCHMARK(FirBlock)->Arg(4)->Arg(16);

}  // namespace
