// The float polyphase filter banks per slot of 32 samples, beside libmad's synthesis (fixed point,
// plain code). items_per_second counts slots.
#include <benchmark/benchmark.h>

#include <array>
#include <random>

#include "qorac.h"
#ifdef QORAC_PEER_MAD
#include <mad.h>
#endif

namespace {

constexpr int kSlots = 36;
using Slots = std::array<Qor32f, kSlots * 32>;

Slots noise(double size) {
    Slots x;
    std::mt19937 engine(1);
    std::uniform_real_distribution<double> value(-size, size);
    for (Qor32f& sample : x) sample = Qor32f(value(engine));
    return x;
}

void analysis(benchmark::State& bench) {
    const Slots x = noise(32768);
    Slots out;
    QorsFilterSpec_PQMF_MP3_32f* spec = nullptr;
    qorsAnalysisFilterInitAlloc_PQMF_MP3_32f(&spec);
    for (auto _ : bench) {
        for (int t = 0; t < kSlots; ++t)
            qorsAnalysisFilter_PQMF_MP3_32f(&x[32 * t], &out[32 * t], spec, 1);
        benchmark::DoNotOptimize(out);
    }
    qorsAnalysisFilterFree_PQMF_MP3_32f(spec);
    bench.SetItemsProcessed(bench.iterations() * kSlots);
}
BENCHMARK(analysis);

void synthesis(benchmark::State& bench) {
    const int mode = int(bench.range(0));
    const Slots x = noise(1);
    std::array<Qor32f, 2 * kSlots * 32> out;
    QorsFilterSpec_PQMF_MP3_32f* spec = nullptr;
    qorsSynthesisFilterInitAlloc_PQMF_MP3_32f(&spec);
    for (auto _ : bench) {
        for (int t = 0; t < kSlots; ++t)
            qorsSynthesisFilter_PQMF_MP3_32f(&x[32 * t], &out[32 * mode * t], spec, mode);
        benchmark::DoNotOptimize(out);
    }
    qorsSynthesisFilterFree_PQMF_MP3_32f(spec);
    bench.SetItemsProcessed(bench.iterations() * kSlots);
}
BENCHMARK(synthesis)->ArgName("mode")->Arg(1)->Arg(2);

#ifdef QORAC_PEER_MAD
void synthesisMad(benchmark::State& bench) {
    const Slots x = noise(0.5);
    mad_frame frame;
    mad_synth synth;
    mad_frame_init(&frame);
    mad_synth_init(&synth);
    frame.header.layer = MAD_LAYER_III;
    frame.header.mode = MAD_MODE_SINGLE_CHANNEL;
    frame.header.samplerate = 44100;
    for (int t = 0; t < kSlots; ++t)
        for (int k = 0; k < 32; ++k)
            frame.sbsample[0][t][k] = mad_fixed_t(x[32 * t + k] * MAD_F_ONE);
    for (auto _ : bench) {
        mad_synth_frame(&synth, &frame);
        benchmark::DoNotOptimize(synth.pcm);
    }
    mad_synth_finish(&synth);
    mad_frame_finish(&frame);
    bench.SetItemsProcessed(bench.iterations() * kSlots);
}
BENCHMARK(synthesisMad);
#endif

}  // namespace
