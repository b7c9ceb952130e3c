// The predictor of the AAC Main profile per frame of 1024 lines, on tones in noise.
// items_per_second counts lines.
#include <benchmark/benchmark.h>

#include <array>
#include <cmath>
#include <random>
#include <vector>

#include "qorac.h"

namespace {

constexpr int kLines = 1024, kFrames = 32, kBands = 49;
using Frame = std::array<Qor32f, kLines>;

const std::vector<Frame>& frames() {
    static const std::vector<Frame> spectra = [] {
        std::vector<Frame> x(kFrames);
        std::mt19937 engine(1);
        std::normal_distribution<double> noise(0, 300);
        for (int f = 0; f < kFrames; ++f)
            for (int i = 0; i < kLines; ++i)
                x[f][i] = Qor32f(noise(engine) + 20000.0 / (1 + i) * std::cos(0.7 * f * i));
        return x;
    }();
    return spectra;
}

void predictorForward(benchmark::State& bench) {
    QorsFDPState_32f* state = nullptr;
    qorsFDPInitAlloc_32f(&state, kLines);
    Frame residual;
    int f = 0;
    for (auto _ : bench) {
        qorsFDPFwd_32f(frames()[f].data(), residual.data(), state);
        benchmark::DoNotOptimize(residual);
        f = (f + 1) % kFrames;
    }
    qorsFDPFree_32f(state);
    bench.SetItemsProcessed(bench.iterations() * kLines);
}
BENCHMARK(predictorForward);

// The bands of 48 kHz, every third of them predicted.
void predictorInverse(benchmark::State& bench) {
    constexpr std::array<Qor32s, kBands + 1> offsets = {
        0,   4,   8,   12,  16,  20,  24,  28,  32,  36,  40,  48,  56,  64,  72,  80,  88,
        96,  108, 120, 132, 144, 160, 176, 196, 216, 240, 264, 292, 320, 352, 384, 416, 448,
        480, 512, 544, 576, 608, 640, 672, 704, 736, 768, 800, 832, 864, 896, 928, 1024};
    std::array<Qor8u, kBands> used{};
    for (int b = 0; b < kBands; b += 3) used[b] = 1;
    QorsFDPState_32f* state = nullptr;
    qorsFDPInitAlloc_32f(&state, kLines);
    Frame spectrum;
    int f = 0;
    for (auto _ : bench) {
        spectrum = frames()[f];
        qorsFDPInv_32f_I(spectrum.data(), offsets.data(), kBands, used.data(), state);
        benchmark::DoNotOptimize(spectrum);
        f = (f + 1) % kFrames;
    }
    qorsFDPFree_32f(state);
    bench.SetItemsProcessed(bench.iterations() * kLines);
}
BENCHMARK(predictorInverse);

}  // namespace
