// Forward transforms of single precision, out of place, beside other libraries.
//
// Rows are <library>/<complex|real>/<order>. FFTW runs with measured plans up to order 20, and with
// estimated plans at all orders.
#include <benchmark/benchmark.h>

#include <cstdlib>
#include <memory>
#include <random>
#include <string>

#include "transform/fft32f.h"

#if defined(QORAC_PEER_FFTW3F)
#include <fftw3.h>
#endif
#if defined(QORAC_PEER_KISSFFT_FLOAT)
#include <kiss_fft.h>
#include <kiss_fftr.h>
#endif
#if defined(QORAC_PEER_LIBAVUTIL)
extern "C" {
#include <libavutil/tx.h>
}
#endif

namespace {

using namespace qorac;

struct Release {
    void operator()(void* p) const { std::free(p); }
};

template <typename T>
std::unique_ptr<T[], Release> aligned(std::size_t count) {
    const std::size_t bytes = (count * sizeof(T) + 63) / 64 * 64;
    return std::unique_ptr<T[], Release>(static_cast<T*>(std::aligned_alloc(64, bytes)));
}

std::unique_ptr<float[], Release> noise(std::size_t count) {
    auto data = aligned<float>(count);
    std::minstd_rand engine;
    for (std::size_t i = 0; i < count; ++i) {
        data[i] = std::uniform_real_distribution<float>(-1, 1)(engine);
    }
    return data;
}

void report(benchmark::State& state, int order, double flopsPerPoint) {
    const double flops = flopsPerPoint * order * static_cast<double>(1 << order);
    state.counters["flops"] =
        benchmark::Counter(flops, benchmark::Counter::kIsIterationInvariantRate);
}

void qoracComplex(benchmark::State& state, int order) {
    Qor32s specSize, initSize, bufSize;
    qorsFFTGetSize_C_32fc(order, qorFftNormNone, 0, &specSize, &initSize, &bufSize);
    auto memory = aligned<Qor8u>(specSize), init = aligned<Qor8u>(initSize + 1);
    auto buffer = aligned<Qor8u>(bufSize + 1);
    QorsFFTSpec_C_32fc* spec = nullptr;
    qorsFFTInit_C_32fc(&spec, order, qorFftNormNone, 0, memory.get(), init.get());
    auto in = noise(2 << order), out = noise(2 << order);
    for (auto _ : state) {
        qorsFFTFwd_CToC_32fc(reinterpret_cast<Qor32fc*>(in.get()),
                             reinterpret_cast<Qor32fc*>(out.get()), spec, buffer.get());
        benchmark::ClobberMemory();
    }
    report(state, order, 5);
}

void qoracReal(benchmark::State& state, int order) {
    Qor32s specSize, initSize, bufSize;
    qorsFFTGetSize_R_32f(order, qorFftNormNone, 0, &specSize, &initSize, &bufSize);
    auto memory = aligned<Qor8u>(specSize), init = aligned<Qor8u>(initSize + 1);
    auto buffer = aligned<Qor8u>(bufSize + 1);
    QorsFFTSpec_R_32f* spec = nullptr;
    qorsFFTInit_R_32f(&spec, order, qorFftNormNone, 0, memory.get(), init.get());
    auto in = noise(1 << order), out = noise(1 << order);
    for (auto _ : state) {
        qorsFFTFwd_RToPerm_32f(in.get(), out.get(), spec, buffer.get());
        benchmark::ClobberMemory();
    }
    report(state, order, 2.5);
}

#if defined(QORAC_PEER_FFTW3F)
void fftw(benchmark::State& state, int order, bool real, unsigned plan) {
    auto in = aligned<float>(2 << order), out = aligned<float>((2 << order) + 2);
    auto* outPairs = reinterpret_cast<fftwf_complex*>(out.get());
    const fftwf_plan p =
        real ? fftwf_plan_dft_r2c_1d(1 << order, in.get(), outPairs, plan)
             : fftwf_plan_dft_1d(1 << order, reinterpret_cast<fftwf_complex*>(in.get()), outPairs,
                                 FFTW_FORWARD, plan);
    auto data = noise(2 << order);
    std::copy(data.get(), data.get() + (2 << order), in.get());
    for (auto _ : state) {
        fftwf_execute(p);
        benchmark::ClobberMemory();
    }
    fftwf_destroy_plan(p);
    report(state, order, real ? 2.5 : 5);
}
#endif

#if defined(QORAC_PEER_KISSFFT_FLOAT)
void kissComplex(benchmark::State& state, int order) {
    auto in = noise(2 << order), out = noise(2 << order);
    const kiss_fft_cfg plan = kiss_fft_alloc(1 << order, 0, nullptr, nullptr);
    for (auto _ : state) {
        kiss_fft(plan, reinterpret_cast<kiss_fft_cpx*>(in.get()),
                 reinterpret_cast<kiss_fft_cpx*>(out.get()));
        benchmark::ClobberMemory();
    }
    kiss_fft_free(plan);
    report(state, order, 5);
}

void kissReal(benchmark::State& state, int order) {
    auto in = noise(1 << order), out = noise((1 << order) + 2);
    const kiss_fftr_cfg plan = kiss_fftr_alloc(1 << order, 0, nullptr, nullptr);
    for (auto _ : state) {
        kiss_fftr(plan, in.get(), reinterpret_cast<kiss_fft_cpx*>(out.get()));
        benchmark::ClobberMemory();
    }
    kiss_fft_free(plan);
    report(state, order, 2.5);
}
#endif

#if defined(QORAC_PEER_LIBAVUTIL)
void avTx(benchmark::State& state, int order, bool real) {
    auto in = noise(2 << order), out = noise((2 << order) + 2);
    AVTXContext* context = nullptr;
    av_tx_fn transform = nullptr;
    const float scale = 1.0f;
    if (av_tx_init(&context, &transform, real ? AV_TX_FLOAT_RDFT : AV_TX_FLOAT_FFT, 0, 1 << order,
                   &scale, 0) < 0) {
        state.SkipWithError("not offered");
        return;
    }
    for (auto _ : state) {
        transform(context, out.get(), in.get(), real ? sizeof(float) : 2 * sizeof(float));
        benchmark::ClobberMemory();
    }
    av_tx_uninit(&context);
    report(state, order, real ? 2.5 : 5);
}
#endif

template <typename Run>
void row(const char* library, const char* kind, int order, Run run) {
    const std::string name =
        std::string(library) + "/" + kind + "/" + (order < 10 ? "0" : "") + std::to_string(order);
    benchmark::RegisterBenchmark(name.c_str(), run);
}

const int registered = [] {
    for (int order : {4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16, 17, 18, 19, 20, 22, 24}) {
        row("qorac", "complex", order, [=](auto& s) { qoracComplex(s, order); });
        row("qorac", "real", order, [=](auto& s) { qoracReal(s, order); });
#if defined(QORAC_PEER_FFTW3F)
        for (bool real : {false, true}) {
            const char* kind = real ? "real" : "complex";
            if (order <= 18) {
                row("fftw-measure", kind, order,
                    [=](auto& s) { fftw(s, order, real, FFTW_MEASURE); });
            }
            row("fftw-estimate", kind, order,
                [=](auto& s) { fftw(s, order, real, FFTW_ESTIMATE); });
        }
#endif
#if defined(QORAC_PEER_KISSFFT_FLOAT)
        row("kissfft", "complex", order, [=](auto& s) { kissComplex(s, order); });
        row("kissfft", "real", order, [=](auto& s) { kissReal(s, order); });
#endif
#if defined(QORAC_PEER_LIBAVUTIL)
        row("av_tx", "complex", order, [=](auto& s) { avTx(s, order, false); });
        row("av_tx", "real", order, [=](auto& s) { avTx(s, order, true); });
#endif
    }
    return 0;
}();

}  // namespace
