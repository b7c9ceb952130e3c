// The integer QMF banks of spectral band replication, a slot at a time, beside the plain sums in
// single precision; the integer predictors per
// band. items_per_second counts slots or bands.
#include <benchmark/benchmark.h>

#include <array>
#include <cmath>
#include <random>
#include <vector>

#include "qorac.h"
#include "sbr/qmfwindow.h"

namespace {

std::vector<Qor32s> noise(std::size_t count) {
    std::vector<Qor32s> x(count);
    std::mt19937 engine(1);
    std::uniform_int_distribution<Qor32s> number(-(1 << 24), 1 << 24);
    for (Qor32s& v : x) v = number(engine);
    return x;
}

constexpr int kSlots = 64;  // of different input

const Qor32sc* asComplex(const Qor32s* p) { return reinterpret_cast<const Qor32sc*>(p); }

// --- banks ------------------------------------------------------------------------------------

template <typename Spec, typename Filter>
void runBank(benchmark::State& bench, QorStatus (*initAlloc)(Spec**), QorStatus (*release)(Spec*),
             std::size_t in, Filter filter) {
    Spec* spec;
    initAlloc(&spec);
    const auto x = noise(in * kSlots);
    std::size_t slot = 0;
    for (auto _ : bench) {
        filter(x.data() + in * slot, spec);
        slot = (slot + 1) % kSlots;
    }
    bench.SetItemsProcessed(bench.iterations());
    release(spec);
}

void analysisHq(benchmark::State& bench) {
    runBank(bench, qorsAnalysisFilterInitAlloc_SBRHQ_32s32sc, qorsAnalysisFilterFree_SBRHQ_32s32sc,
            32, [](const Qor32s* x, QorsFilterSpec_SBR_32s* spec) {
                std::array<Qor32sc, 32> y;
                qorsAnalysisFilter_SBRHQ_32s32sc(x, y.data(), 32, spec);
                benchmark::DoNotOptimize(y);
            });
}
BENCHMARK(analysisHq);

void analysisLp(benchmark::State& bench) {
    runBank(bench, qorsAnalysisFilterInitAlloc_SBRLP_32s, qorsAnalysisFilterFree_SBRLP_32s, 32,
            [](const Qor32s* x, QorsFilterSpec_SBR_32s* spec) {
                std::array<Qor32s, 32> y;
                qorsAnalysisFilter_SBRLP_32s(x, y.data(), 32, spec);
                benchmark::DoNotOptimize(y);
            });
}
BENCHMARK(analysisLp);

void synthesisHq(benchmark::State& bench) {
    runBank(bench, qorsSynthesisFilterInitAlloc_SBRHQ_32sc32s,
            qorsSynthesisFilterFree_SBRHQ_32sc32s, 128,
            [](const Qor32s* x, QorsFilterSpec_SBR_32s* spec) {
                std::array<Qor32s, 64> y;
                qorsSynthesisFilter_SBRHQ_32sc32s(asComplex(x), y.data(), spec);
                benchmark::DoNotOptimize(y);
            });
}
BENCHMARK(synthesisHq);

void synthesisLp(benchmark::State& bench) {
    runBank(bench, qorsSynthesisFilterInitAlloc_SBRLP_32s, qorsSynthesisFilterFree_SBRLP_32s, 64,
            [](const Qor32s* x, QorsFilterSpec_SBR_32s* spec) {
                std::array<Qor32s, 64> y;
                qorsSynthesisFilter_SBRLP_32s(x, y.data(), spec);
                benchmark::DoNotOptimize(y);
            });
}
BENCHMARK(synthesisLp);

void synthesisDownHq(benchmark::State& bench) {
    runBank(bench, qorsSynthesisDownFilterInitAlloc_SBRHQ_32sc32s,
            qorsSynthesisDownFilterFree_SBRHQ_32sc32s, 64,
            [](const Qor32s* x, QorsFilterSpec_SBR_32s* spec) {
                std::array<Qor32s, 32> y;
                qorsSynthesisDownFilter_SBRHQ_32sc32s(asComplex(x), y.data(), spec);
                benchmark::DoNotOptimize(y);
            });
}
BENCHMARK(synthesisDownHq);

void synthesisDownLp(benchmark::State& bench) {
    runBank(bench, qorsSynthesisDownFilterInitAlloc_SBRLP_32s,
            qorsSynthesisDownFilterFree_SBRLP_32s, 32,
            [](const Qor32s* x, QorsFilterSpec_SBR_32s* spec) {
                std::array<Qor32s, 32> y;
                qorsSynthesisDownFilter_SBRLP_32s(x, y.data(), spec);
                benchmark::DoNotOptimize(y);
            });
}
BENCHMARK(synthesisDownLp);

// --- the plain sums ---------------------------------------------------------------------------

// Analysis of 32 samples into 32 complex bands as the standard writes it.
void directAnalysisHq(benchmark::State& bench) {
    std::vector<float> cosine(32 * 64), sine(32 * 64), window(320), samples(32 * kSlots);
    for (int n = 0; n < 64; ++n) {
        for (int k = 0; k < 32; ++k) {
            const double angle = M_PI / 64 * (k + 0.5) * (2 * n - 0.5);
            cosine[std::size_t(32 * n + k)] = float(std::cos(angle));
            sine[std::size_t(32 * n + k)] = float(std::sin(angle));
        }
    }
    for (int i = 0; i < 320; ++i) window[std::size_t(i)] = qorac::qmfWindow(2 * i);
    const auto x = noise(samples.size());
    std::copy(x.begin(), x.end(), samples.begin());
    std::array<float, 320> delay{};
    std::size_t slot = 0;
    for (auto _ : bench) {
        std::copy_backward(delay.begin(), delay.end() - 32, delay.end());
        for (std::size_t i = 0; i < 32; ++i) delay[i] = samples[32 * slot + 31 - i];
        std::array<float, 64> u{};
        for (std::size_t i = 0; i < 320; ++i) u[i % 64] += window[i] * delay[i];
        std::array<float, 32> re{}, im{};
        for (std::size_t n = 0; n < 64; ++n) {
            for (std::size_t k = 0; k < 32; ++k) {
                re[k] += u[n] * cosine[32 * n + k];
                im[k] += u[n] * sine[32 * n + k];
            }
        }
        benchmark::DoNotOptimize(re);
        benchmark::DoNotOptimize(im);
        slot = (slot + 1) % kSlots;
    }
    bench.SetItemsProcessed(bench.iterations());
}
BENCHMARK(directAnalysisHq);

// Synthesis of 64 samples from 64 complex bands.
void directSynthesisHq(benchmark::State& bench) {
    std::vector<float> cosine(128 * 64), sine(128 * 64), window(640), bands(128 * kSlots);
    for (int k = 0; k < 64; ++k) {
        for (int n = 0; n < 128; ++n) {
            const double angle = M_PI / 128 * (k + 0.5) * (2 * n - 255);
            cosine[std::size_t(128 * k + n)] = float(std::cos(angle) / 64);
            sine[std::size_t(128 * k + n)] = float(std::sin(angle) / 64);
        }
    }
    for (int i = 0; i < 640; ++i) window[std::size_t(i)] = qorac::qmfWindow(i);
    const auto x = noise(bands.size());
    std::copy(x.begin(), x.end(), bands.begin());
    std::array<float, 1280> delay{};
    std::size_t slot = 0;
    for (auto _ : bench) {
        std::copy_backward(delay.begin(), delay.end() - 128, delay.end());
        std::array<float, 128> v{};
        for (std::size_t k = 0; k < 64; ++k) {
            const float re = bands[128 * slot + 2 * k], im = bands[128 * slot + 2 * k + 1];
            for (std::size_t n = 0; n < 128; ++n)
                v[n] += re * cosine[128 * k + n] - im * sine[128 * k + n];
        }
        std::copy(v.begin(), v.end(), delay.begin());
        std::array<float, 64> y{};
        for (std::size_t t = 0; t < 10; ++t)
            for (std::size_t i = 0; i < 64; ++i)
                y[i] += window[64 * t + i] * delay[128 * t + 64 * (t % 2) + i];
        benchmark::DoNotOptimize(y);
        slot = (slot + 1) % kSlots;
    }
    bench.SetItemsProcessed(bench.iterations());
}
BENCHMARK(directSynthesisHq);

// --- predictors -------------------------------------------------------------------------------

void predictHq(benchmark::State& bench) {
    const auto x = noise(40 * 64);
    std::array<const Qor32sc*, 40> rows;
    for (std::size_t n = 0; n < 40; ++n) rows[n] = asComplex(x.data() + 64 * n);
    std::array<Qor32sc, 32> alpha0, alpha1;
    for (auto _ : bench) {
        for (std::size_t k = 0; k < 32; ++k)
            qorsPredictOneCoef_SBRHQ_32sc_D2L(rows.data(), &alpha0[k], &alpha1[k], Qor32s(k), 38);
        benchmark::DoNotOptimize(alpha0);
        benchmark::DoNotOptimize(alpha1);
    }
    bench.SetItemsProcessed(bench.iterations() * 32);
}
BENCHMARK(predictHq);

void predictLp(benchmark::State& bench) {
    const auto x = noise(40 * 32);
    std::array<const Qor32s*, 40> rows;
    for (std::size_t n = 0; n < 40; ++n) rows[n] = x.data() + 32 * n;
    std::array<Qor32s, 32> alpha0, alpha1, reflection;
    for (auto _ : bench) {
        for (std::size_t k = 0; k < 32; ++k)
            qorsPredictOneCoef_SBRLP_32s_D2L(rows.data(), &alpha0[k], &alpha1[k], &reflection[k],
                                             Qor32s(k), 38, Qor32s(bench.range(0)));
        benchmark::DoNotOptimize(alpha0);
        benchmark::DoNotOptimize(alpha1);
        benchmark::DoNotOptimize(reflection);
    }
    bench.SetItemsProcessed(bench.iterations() * 32);
}
BENCHMARK(predictLp)->ArgName("flag")->Arg(0)->Arg(1);

}  // namespace
