// Forward transforms of single precision, out of place, beside other libraries.
//
// Rows are <library>/<complex|real>/<order>. FFTW runs with measured plans up to order 18, and with
// estimated plans at all orders.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <functional>
#include <map>
#include <memory>
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

struct Release {
    void operator()(void* p) const { std::free(p); }
};

template <typename T>
std::shared_ptr<T[]> aligned(std::size_t count) {
    const std::size_t bytes = (count * sizeof(T) + 63) / 64 * 64;
    return std::shared_ptr<T[]>(static_cast<T*>(std::aligned_alloc(64, bytes)), Release());
}

std::shared_ptr<float[]> noise(std::size_t count) {
    auto data = aligned<float>(count);
    std::uint32_t state = 1;
    for (std::size_t i = 0; i < count; ++i) {
        state = state * 1664525 + 1013904223;
        data[i] = static_cast<float>(static_cast<std::int32_t>(state)) / 2147483648.0f;
    }
    return data;
}

// A transform with all that it needs; the benchmark calls it. A row that cannot run has none.
using Run = std::function<void()>;

Run ours(int order, bool real) {
    const auto getSize = real ? qorac::qorsFFTGetSize_R_32f : qorac::qorsFFTGetSize_C_32fc;
    const auto init = real ? qorac::qorsFFTInit_R_32f : qorac::qorsFFTInit_C_32fc;
    Qor32s specSize, initSize, bufSize;
    getSize(order, qorFftNormNone, 0, &specSize, &initSize, &bufSize);
    auto memory = aligned<Qor8u>(specSize), initMemory = aligned<Qor8u>(initSize + 1);
    auto buffer = aligned<Qor8u>(bufSize + 1);
    qorac::QorsFFTSpec_32f* spec = nullptr;
    init(&spec, order, qorFftNormNone, 0, memory.get(), initMemory.get());
    auto in = noise(2 << order), out = noise(2 << order);
    if (real) {
        return [=, hold = memory] {
            qorac::qorsFFTFwd_RToPerm_32f(in.get(), out.get(), spec, buffer.get());
        };
    }
    return [=, hold = memory] {
        qorac::qorsFFTFwd_CToC_32fc(reinterpret_cast<const Qor32fc*>(in.get()),
                                    reinterpret_cast<Qor32fc*>(out.get()), spec, buffer.get());
    };
}

#if defined(QORAC_PEER_FFTW3F)
Run fftw(int order, bool real, unsigned effort) {
    auto in = aligned<float>(2 << order), out = aligned<float>((2 << order) + 2);
    auto* inPairs = reinterpret_cast<fftwf_complex*>(in.get());
    auto* outPairs = reinterpret_cast<fftwf_complex*>(out.get());
    const std::shared_ptr<fftwf_plan_s> plan(
        real ? fftwf_plan_dft_r2c_1d(1 << order, in.get(), outPairs, effort)
             : fftwf_plan_dft_1d(1 << order, inPairs, outPairs, FFTW_FORWARD, effort),
        fftwf_destroy_plan);
    const auto data = noise(2 << order);
    std::copy(data.get(), data.get() + (2 << order), in.get());
    return [=, holdIn = in, holdOut = out] { fftwf_execute(plan.get()); };
}
#endif

#if defined(QORAC_PEER_KISSFFT_FLOAT)
Run kissfft(int order, bool real) {
    auto in = noise(2 << order), out = noise((2 << order) + 2);
    auto* outPairs = reinterpret_cast<kiss_fft_cpx*>(out.get());
    if (real) {
        const std::shared_ptr<kiss_fftr_state> plan(
            kiss_fftr_alloc(1 << order, 0, nullptr, nullptr), Release());
        return [=, hold = out] { kiss_fftr(plan.get(), in.get(), outPairs); };
    }
    const std::shared_ptr<kiss_fft_state> plan(kiss_fft_alloc(1 << order, 0, nullptr, nullptr),
                                               Release());
    return [=, hold = out] {
        kiss_fft(plan.get(), reinterpret_cast<const kiss_fft_cpx*>(in.get()), outPairs);
    };
}
#endif

#if defined(QORAC_PEER_LIBAVUTIL)
Run avTx(int order, bool real) {
    AVTXContext* context = nullptr;
    av_tx_fn transform = nullptr;
    const float scale = 1.0f;
    if (av_tx_init(&context, &transform, real ? AV_TX_FLOAT_RDFT : AV_TX_FLOAT_FFT, 0, 1 << order,
                   &scale, 0) < 0) {
        return nullptr;
    }
    const std::shared_ptr<AVTXContext> held(context, [](AVTXContext* c) { av_tx_uninit(&c); });
    auto in = noise(2 << order), out = noise((2 << order) + 2);
    const std::ptrdiff_t stride = real ? sizeof(float) : 2 * sizeof(float);
    return [=] { transform(held.get(), out.get(), in.get(), stride); };
}
#endif

// Repetitions of a row share one setup, since a plan costs much more than a transform; those of one
// order are kept, so that its rows can be run in any order.
std::map<std::string, Run> setups;
int orderOfSetups = 0;

const Run& setup(const std::string& name, int order, const std::function<Run()>& make) {
    if (order != orderOfSetups) setups.clear();
    orderOfSetups = order;
    const auto known = setups.find(name);
    return known != setups.end() ? known->second : setups.emplace(name, make()).first->second;
}

void row(const char* library, bool real, int order, const std::function<Run()>& make) {
    const std::string name = std::string(library) + (real ? "/real/" : "/complex/") +
                             (order < 10 ? "0" : "") + std::to_string(order);
    benchmark::RegisterBenchmark(name.c_str(), [=](benchmark::State& state) {
        const Run& run = setup(name, order, make);
        if (!run) {
            state.SkipWithError("not offered");
            return;
        }
        for (auto _ : state) {
            run();
            benchmark::ClobberMemory();
        }
        const double operations = (real ? 2.5 : 5) * order * static_cast<double>(1 << order);
        state.counters["flops"] =
            benchmark::Counter(operations, benchmark::Counter::kIsIterationInvariantRate);
    });
}

const int registered = [] {
    for (int order : {4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16, 17, 18, 19, 20, 22, 24}) {
        for (bool real : {false, true}) {
            row("qorac", real, order, [=] { return ours(order, real); });
#if defined(QORAC_PEER_FFTW3F)
            if (order <= 18) {
                row("fftw-measure", real, order, [=] { return fftw(order, real, FFTW_MEASURE); });
            }
            row("fftw-estimate", real, order, [=] { return fftw(order, real, FFTW_ESTIMATE); });
#endif
            if (order > 20) continue;
#if defined(QORAC_PEER_KISSFFT_FLOAT)
            row("kissfft", real, order, [=] { return kissfft(order, real); });
#endif
#if defined(QORAC_PEER_LIBAVUTIL)
            // The set-up of larger ones takes minutes.
            if (order <= 16) row("av_tx", real, order, [=] { return avTx(order, real); });
#endif
        }
    }
    return 0;
}();

}  // namespace
