// General MDCTs beside other libraries. Rows are <library>/<fwd|inv|...>/<block length>.
//
// The float MDCTs stand beside libavutil's, of the same number of coefficients, and beside FFTW's
// transform of the same kind of the folded block (REDFT11, measured plans), which lacks the fold.
#include <benchmark/benchmark.h>

#include <cstdlib>
#include <memory>
#include <random>
#include <string>

#include "qorac.h"

#if defined(QORAC_PEER_FFTW3F)
#include <fftw3.h>
#endif
#if defined(QORAC_PEER_LIBAVUTIL)
extern "C" {
#include <libavutil/tx.h>
}
#endif

namespace {

struct Release {
    void operator()(void* p) const { std::free(p); }
};

template <typename T>
using Array = std::unique_ptr<T[], Release>;

template <typename T>
Array<T> aligned(std::size_t count) {
    const std::size_t bytes = (count * sizeof(T) + 63) / 64 * 64;
    return Array<T>(static_cast<T*>(std::aligned_alloc(64, bytes)));
}

template <typename T>
Array<T> noise(std::size_t count, double peak) {
    auto data = aligned<T>(count);
    std::minstd_rand engine;
    std::uniform_real_distribution<double> level(-peak, peak);
    for (std::size_t i = 0; i < count; ++i) data[i] = static_cast<T>(level(engine));
    return data;
}

void report(benchmark::State& state, int len) {
    state.counters["samples"] =
        benchmark::Counter(len / 2, benchmark::Counter::kIsIterationInvariantRate);
}

void qoracForward(benchmark::State& state, int len) {
    QorsMDCTFwdSpec_32f* spec = nullptr;
    qorsMDCTFwdInitAlloc_32f(&spec, len);
    Qor32s bufSize = 0;
    qorsMDCTFwdGetBufSize_32f(spec, &bufSize);
    auto buffer = aligned<Qor8u>(bufSize);
    auto in = noise<float>(len, 1), out = aligned<float>(len);
    for (auto _ : state) {
        qorsMDCTFwd_32f(in.get(), out.get(), spec, buffer.get());
        benchmark::ClobberMemory();
    }
    qorsMDCTFwdFree_32f(spec);
    report(state, len);
}

void qoracInverse(benchmark::State& state, int len) {
    QorsMDCTInvSpec_32f* spec = nullptr;
    qorsMDCTInvInitAlloc_32f(&spec, len);
    Qor32s bufSize = 0;
    qorsMDCTInvGetBufSize_32f(spec, &bufSize);
    auto buffer = aligned<Qor8u>(bufSize);
    auto in = noise<float>(len, 1), out = aligned<float>(len);
    for (auto _ : state) {
        qorsMDCTInv_32f(in.get(), out.get(), spec, buffer.get());
        benchmark::ClobberMemory();
    }
    qorsMDCTInvFree_32f(spec);
    report(state, len);
}

void qorac16s(benchmark::State& state, int len) {
    QorsMDCTFwdSpec_16s* spec = nullptr;
    qorsMDCTFwdInitAlloc_16s(&spec, len);
    Qor32s bufSize = 0;
    qorsMDCTFwdGetBufSize_16s(spec, &bufSize);
    auto buffer = aligned<Qor8u>(bufSize);
    auto in = noise<Qor16s>(len, 30000), out = aligned<Qor16s>(len);
    for (auto _ : state) {
        qorsMDCTFwd_16s_Sfs(in.get(), out.get(), spec, 6, buffer.get());
        benchmark::ClobberMemory();
    }
    qorsMDCTFwdFree_16s(spec);
    report(state, len);
}

#if defined(QORAC_PEER_LIBAVUTIL)
void avTx(benchmark::State& state, int len, bool inverse) {
    auto in = noise<float>(len, 1), out = aligned<float>(2 * len);
    AVTXContext* context = nullptr;
    av_tx_fn transform = nullptr;
    const float scale = 1.0f;
    // The inverse gives the middle half of the block unless the full one is asked for.
    const auto flags = inverse ? static_cast<unsigned long>(AV_TX_FULL_IMDCT) : 0ul;
    if (av_tx_init(&context, &transform, AV_TX_FLOAT_MDCT, inverse, len / 2, &scale, flags) < 0) {
        state.SkipWithError("not offered");
        return;
    }
    for (auto _ : state) {
        transform(context, out.get(), in.get(), sizeof(float));
        benchmark::ClobberMemory();
    }
    av_tx_uninit(&context);
    report(state, len);
}
#endif

#if defined(QORAC_PEER_FFTW3F)
void fftw(benchmark::State& state, int len) {
    auto in = aligned<float>(len / 2), out = aligned<float>(len / 2);
    const fftwf_plan plan =
        fftwf_plan_r2r_1d(len / 2, in.get(), out.get(), FFTW_REDFT11, FFTW_MEASURE);
    const auto data = noise<float>(len / 2, 1);
    std::copy(data.get(), data.get() + len / 2, in.get());
    for (auto _ : state) {
        fftwf_execute(plan);
        benchmark::ClobberMemory();
    }
    fftwf_destroy_plan(plan);
    report(state, len);
}
#endif

template <typename Run>
void add(const std::string& name, int len, Run run) {
    benchmark::RegisterBenchmark((name + "/" + std::to_string(len)).c_str(),
                                 [run, len](benchmark::State& state) { run(state, len); });
}

void addLength(int len) {
    add("qorac/fwd", len, qoracForward);
#if defined(QORAC_PEER_LIBAVUTIL)
    // libavutil 57 does not come back from the preparation of longer blocks.
    const bool offered = len <= 1 << 19;
    if (offered)
        add("avtx/fwd", len, [](benchmark::State& state, int n) { avTx(state, n, false); });
#endif
    add("qorac/inv", len, qoracInverse);
#if defined(QORAC_PEER_LIBAVUTIL)
    if (offered) add("avtx/inv", len, [](benchmark::State& state, int n) { avTx(state, n, true); });
#endif
#if defined(QORAC_PEER_FFTW3F)
    add("fftw/redft11", len, fftw);
#endif
}

}  // namespace

int main(int argc, char** argv) {
    addLength(12);
    addLength(36);
    for (int len = 32; len <= 1 << 20; len *= 2) addLength(len);
    for (int len = 32; len <= 1 << 16; len *= 4) add("qorac/16s", len, qorac16s);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
}
