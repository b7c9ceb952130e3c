// The float predictors, the hybrid filter bank of parametric stereo and the primitives of the SBR
// encoder. Beside them the same from the definitions in plain loops, and the FFT that the encoder's
// bank stands on, alone.
#include <benchmark/benchmark.h>

#include <cmath>
#include <complex>
#include <numbers>
#include <random>
#include <vector>

#include "qorac.h"
#include "transform/fft32f.h"

namespace {

using Complex = std::complex<float>;

std::vector<Qor32f> noise(std::size_t count, double level = 1) {
    std::mt19937 engine(1);
    std::normal_distribution<double> normal(0, level);
    std::vector<Qor32f> x(count);
    for (Qor32f& v : x) v = Qor32f(normal(engine));
    return x;
}

std::vector<Qor32fc> complexNoise(std::size_t count) {
    const auto x = noise(2 * count);
    std::vector<Qor32fc> z(count);
    for (std::size_t i = 0; i < count; ++i) z[i] = {x[2 * i], x[2 * i + 1]};
    return z;
}

void perItem(benchmark::State& state, double items, const char* name) {
    state.counters[name] = benchmark::Counter(
        items, benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

// --- predictors: numBands bands over 40 slots -------------------------------------------------

constexpr int kSlots = 40, kLen = kSlots - 2, kRow = 64;

template <typename T>
std::vector<const T*> rowsOf(const std::vector<T>& x) {
    std::vector<const T*> rows;
    for (std::size_t n = 0; n < kSlots; ++n) rows.push_back(x.data() + n * kRow);
    return rows;
}

void PredictSplit(benchmark::State& state) {
    const auto re = noise(kSlots * kRow), im = noise(kSlots * kRow, 2);
    const auto rowsRe = rowsOf(re), rowsIm = rowsOf(im);
    std::vector<Qor32f> a(kRow), b(kRow), c(kRow), d(kRow);
    for (auto _ : state) {
        qorsPredictCoef_SBR_C_32f_D2L(rowsRe.data(), rowsIm.data(), a.data(), b.data(), c.data(),
                                      d.data(), int(state.range(0)), kLen);
        benchmark::ClobberMemory();
    }
    perItem(state, double(state.range(0)), "perBand");
}

void PredictComplex(benchmark::State& state) {
    const auto x = complexNoise(kSlots * kRow);
    const auto rows = rowsOf(x);
    std::vector<Qor32fc> a(kRow), b(kRow);
    for (auto _ : state) {
        qorsPredictCoef_SBR_C_32fc_D2L(rows.data(), a.data(), b.data(), int(state.range(0)), kLen);
        benchmark::ClobberMemory();
    }
    perItem(state, double(state.range(0)), "perBand");
}

void PredictReal(benchmark::State& state) {
    const auto x = noise(kSlots * kRow);
    const auto rows = rowsOf(x);
    std::vector<Qor32f> a(kRow), b(kRow);
    for (auto _ : state) {
        qorsPredictCoef_SBR_R_32f_D2L(rows.data(), a.data(), b.data(), int(state.range(0)), kLen);
        benchmark::ClobberMemory();
    }
    perItem(state, double(state.range(0)), "perBand");
}

// One band at a time, its five sums one after the other.
void PredictPlain(benchmark::State& state) {
    const auto x = complexNoise(kSlots * kRow);
    const auto rows = rowsOf(x);
    std::vector<Complex> alpha0(kRow), alpha1(kRow);
    for (auto _ : state) {
        for (int k = 0; k < state.range(0); ++k) {
            const auto sum = [&](int first, int lag) {
                float re = 0, im = 0;
                for (int n = first; n < first + kLen; ++n) {
                    const Qor32fc a = rows[n + lag][k], b = rows[n][k];
                    re += a.re * b.re + a.im * b.im;
                    im += a.im * b.re - a.re * b.im;
                }
                return Complex(re, im);
            };
            const Complex phi01 = sum(1, 1), phi02 = sum(0, 2), phi12 = sum(0, 1);
            const float phi11 = sum(1, 0).real(), phi22 = sum(0, 0).real();
            const float det = phi22 * phi11 - 0.99999905f * std::norm(phi12);
            alpha1[k] = (phi01 * phi12 - phi02 * phi11) / det;
            alpha0[k] = -(phi01 + alpha1[k] * std::conj(phi12)) / phi11;
        }
        benchmark::ClobberMemory();
    }
    perItem(state, double(state.range(0)), "perBand");
}

#define PREDICTOR(name) BENCHMARK(name)->ArgName("bands")->Arg(32)->Arg(15)->Arg(4)->Arg(1)
PREDICTOR(PredictSplit);
PREDICTOR(PredictComplex);
PREDICTOR(PredictReal);
PREDICTOR(PredictPlain);

// --- hybrid filter bank: 32 slots of one sub-band ---------------------------------------------

void Hybrid(benchmark::State& state) {
    const auto x = complexNoise(44);
    std::vector<Qor32fc> y(32 * 12);
    for (auto _ : state) {
        qorsAnalysisFilter_PS_32fc_D2(x.data(), y.data(), Qor32s(state.range(0)));
        benchmark::ClobberMemory();
    }
}
BENCHMARK(Hybrid)->ArgName("config")->DenseRange(0, 4);

// The sum over 13 taps for each sub-sub-band, with a table of factors.
void HybridPlain(benchmark::State& state) {
    const int count = int(state.range(0));
    const auto x = complexNoise(44);
    std::vector<Complex> y(32 * 12), factor(13 * std::size_t(count));
    for (int q = 0; q < count; ++q)
        for (int i = 0; i < 13; ++i)
            factor[std::size_t(13 * q + i)] =
                std::polar(0.1f, float(-2 * std::numbers::pi / count * (q + 0.5) * (i - 6)));
    for (auto _ : state) {
        for (int t = 0; t < 32; ++t) {
            for (int q = 0; q < count; ++q) {
                float re = 0, im = 0;
                for (int i = 0; i < 13; ++i) {
                    const Qor32fc v = x[std::size_t(t + i)];
                    const Complex f = factor[std::size_t(13 * q + i)];
                    re += v.re * f.real() - v.im * f.imag();
                    im += v.re * f.imag() + v.im * f.real();
                }
                y[std::size_t(12 * t + q)] = {re, im};
            }
        }
        benchmark::ClobberMemory();
    }
}
BENCHMARK(HybridPlain)->ArgName("Q")->Arg(2)->Arg(4)->Arg(8)->Arg(12);

// --- encoder ----------------------------------------------------------------------------------

void EncoderBank(benchmark::State& state) {
    const auto x = noise(640);
    std::vector<Qor32fc> y(64);
    QorsFilterEncSpec_SBR_32f* spec = nullptr;
    qorsAnalysisFilterEncInitAlloc_SBR_32f(&spec);
    for (auto _ : state) {
        qorsAnalysisFilterEnc_SBR_32f32fc(x.data(), y.data(), spec);
        benchmark::ClobberMemory();
    }
    qorsAnalysisFilterEncFree_SBR_32f(spec);
}
BENCHMARK(EncoderBank);

void EncoderBankFftAlone(benchmark::State& state) {
    const auto x = complexNoise(64);
    std::vector<Qor32fc> y(64);
    qorac::QorsFFTSpec_C_32fc* spec = nullptr;
    qorac::qorsFFTInitAlloc_C_32fc(&spec, 6, 8, 2);
    alignas(64) Qor8u buffer[1024];
    for (auto _ : state) {
        qorac::qorsFFTFwd_CToC_32fc(x.data(), y.data(), spec, buffer);
        benchmark::ClobberMemory();
    }
    qorac::qorsFFTFree_C_32fc(spec);
}
BENCHMARK(EncoderBankFftAlone);

// The window, then the sum over 128 values for each sub-band, with a table of factors.
void EncoderBankPlain(benchmark::State& state) {
    const auto x = noise(640), window = noise(640);
    std::vector<Complex> y(64), factor(64 * 128);
    for (int k = 0; k < 64; ++k)
        for (int n = 0; n < 128; ++n)
            factor[std::size_t(128 * k + n)] =
                std::polar(1.0f, float(std::numbers::pi / 128 * (k + 0.5) * (2 * n + 1)));
    for (auto _ : state) {
        float u[128] = {};
        for (int r = 0; r < 5; ++r)
            for (int n = 0; n < 128; ++n)
                u[n] += x[std::size_t(639 - 128 * r - n)] * window[std::size_t(n + 128 * r)];
        for (std::size_t k = 0; k < 64; ++k) {
            Complex sum = 0;
            for (std::size_t n = 0; n < 128; ++n) sum += u[n] * factor[128 * k + n];
            y[k] = sum;
        }
        benchmark::ClobberMemory();
    }
}
BENCHMARK(EncoderBankPlain);

void EstimateTonality(benchmark::State& state) {
    const auto x = complexNoise(32);
    Qor32f first, second, mean;
    for (auto _ : state) {
        qorsEstimateTNR_SBR_32f(x.data(), &first, &second, &mean);
        benchmark::DoNotOptimize(first + second + mean);
    }
}
BENCHMARK(EstimateTonality);

void DetectTransient(benchmark::State& state) {
    auto x = noise(64, 1e6);
    for (Qor32f& v : x) v = std::fabs(v);
    std::vector<Qor32f> steps(64);
    Qor32f threshold = 0;
    for (auto _ : state) {
        qorsDetectTransient_SBR_32f(x.data(), &threshold, steps.data());
        benchmark::ClobberMemory();
    }
}
BENCHMARK(DetectTransient);

}  // namespace
