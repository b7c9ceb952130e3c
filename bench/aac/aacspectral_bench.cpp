// The spectral tools and the filter bank of AAC, function by function, on one channel's frame.
// Peer: FFmpeg's integer and float MDCT of the same size, without windows and overlap.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <array>
#include <random>
#include <vector>

#include "qorac.h"
#ifdef QORAC_PEER_LIBAVUTIL
extern "C" {
#include <libavutil/tx.h>
}
#endif

namespace {

constexpr int kRate = 4;  // 44100 Hz
constexpr int kLongBands = 49;
constexpr int kShortBands = 14;

// A spectrum in Q3 that falls off like music does.
std::vector<Qor32s> spectrum() {
    std::mt19937 engine(1);
    std::normal_distribution<double> normal;
    std::vector<Qor32s> x(1024);
    for (int k = 0; k < 1024; ++k) x[k] = Qor32s(normal(engine) * 2e6 / (1 + k * 0.05));
    return x;
}

// Quantized coefficients: a few great values, many small ones, zeros on top.
std::vector<Qor32s> quantized() {
    std::mt19937 engine(2);
    std::normal_distribution<double> normal;
    std::vector<Qor32s> x(1024);
    for (int k = 0; k < 1024; ++k) x[k] = Qor32s(normal(engine) * (60 / (1 + k * 0.08) + 0.3));
    return x;
}

struct Bands {
    std::vector<Qor16s> scaleFactors = std::vector<Qor16s>(8 * 51, 120);
    std::vector<Qor8u> books;
    Qor32s groups[8] = {1};
    Qor32s numGroups = 1, maxSfb = kLongBands, winLen = 1024;

    explicit Bands(Qor8u book, bool isShort = false) : books(8 * 51, book) {
        if (!isShort) return;
        groups[0] = 3, groups[1] = 5;
        numGroups = 2, maxSfb = kShortBands, winLen = 128;
    }
};

void perFrame(benchmark::State& state) {
    state.counters["frames/s"] =
        benchmark::Counter(1, benchmark::Counter::kIsIterationInvariantRate);
}

// --- filter bank ------------------------------------------------------------------------------

void MdctInv16s(benchmark::State& state) {
    const auto source = spectrum();
    std::vector<Qor32s> x(1024), overlap(1024);
    std::vector<Qor16s> pcm(2048);
    const int sequence = int(state.range(0)), mode = int(state.range(1));
    for (auto _ : state) {
        std::copy(source.begin(), source.end(), x.begin());
        qorsMDCTInv_AAC_32s16s(x.data(), pcm.data(), overlap.data(), sequence, 1, 1, mode);
        benchmark::ClobberMemory();
    }
    perFrame(state);
}
BENCHMARK(MdctInv16s)->ArgNames({"sequence", "pcmMode"})->ArgsProduct({{0, 1, 2, 3}, {1, 2}});

void MdctInvInPlace(benchmark::State& state) {
    const auto source = spectrum();
    std::vector<Qor32s> x(1024), overlap(1024);
    for (auto _ : state) {
        std::copy(source.begin(), source.end(), x.begin());
        qorsMDCTInv_AAC_32s_I(x.data(), overlap.data(), int(state.range(0)), 1, 1, 1024);
        benchmark::ClobberMemory();
    }
    perFrame(state);
}
BENCHMARK(MdctInvInPlace)->ArgName("sequence")->Arg(0)->Arg(2);

void MdctFwd(benchmark::State& state) {
    std::vector<Qor32s> x(2048, 1000), y(1024), work(2048);
    for (auto _ : state) {
        qorsMDCTFwd_AAC_32s(x.data(), y.data(), x.data(), int(state.range(0)), 1, 1, work.data());
        benchmark::ClobberMemory();
    }
}
BENCHMARK(MdctFwd)->ArgName("sequence")->Arg(0)->Arg(2);

void MdctFwdInPlace(benchmark::State& state) {
    std::vector<Qor32s> x(2048), source(2048, 100000);
    for (auto _ : state) {
        std::copy(source.begin(), source.end(), x.begin());
        qorsMDCTFwd_AAC_32s_I(x.data(), int(state.range(0)), 1, 1, 2048);
        benchmark::ClobberMemory();
    }
}
BENCHMARK(MdctFwdInPlace)->ArgName("sequence")->Arg(0)->Arg(2);

#ifdef QORAC_PEER_LIBAVUTIL
template <typename T, AVTXType type>
void PeerMdct(benchmark::State& state) {
    AVTXContext* context = nullptr;
    av_tx_fn transform = nullptr;
    const float scale = 1.0f / 1024;
    const int n = int(state.range(0));
    if (av_tx_init(&context, &transform, type, 1, n, &scale, 0) < 0)
        return state.SkipWithError("av_tx_init");
    alignas(64) std::array<T, 1024> x;
    alignas(64) std::array<T, 2048> y;
    x.fill(T(1000));
    for (auto _ : state) {
        for (int i = 0; i < 1024; i += n) transform(context, y.data() + i, x.data() + i, sizeof(T));
        benchmark::ClobberMemory();
    }
    av_tx_uninit(&context);
    perFrame(state);
}
BENCHMARK_TEMPLATE(PeerMdct, int, AV_TX_INT32_MDCT)->Arg(1024)->Arg(128);
BENCHMARK_TEMPLATE(PeerMdct, float, AV_TX_FLOAT_MDCT)->Arg(1024)->Arg(128);
#endif

// --- tools ------------------------------------------------------------------------------------

void QuantInv(benchmark::State& state) {
    const Bands bands(5, state.range(0) == 2);
    const auto source = quantized();
    std::vector<Qor32s> x(1024);
    for (auto _ : state) {
        std::copy(source.begin(), source.end(), x.begin());
        qorsQuantInv_AAC_32s_I(x.data(), bands.scaleFactors.data(), bands.numGroups, bands.groups,
                               bands.maxSfb, bands.books.data(), kRate, bands.winLen);
        benchmark::ClobberMemory();
    }
    perFrame(state);
}
BENCHMARK(QuantInv)->ArgName("sequence")->Arg(0)->Arg(2);

void Pow43Scale(benchmark::State& state) {
    const auto source = quantized();
    const std::vector<Qor16s> x(source.begin(), source.end());
    std::vector<Qor32s> y(1024);
    const Qor32s offsets[] = {0, 64, 256, 1024};
    const Qor16s scaleFactors[] = {100, 110, 120};
    for (auto _ : state) {
        qorsPow43Scale_16s32s_Sf(x.data(), y.data(), scaleFactors, offsets, 100, 3, 1, 0);
        benchmark::ClobberMemory();
    }
}
BENCHMARK(Pow43Scale);

void Deinterleave(benchmark::State& state) {
    const Bands bands(5, true);
    const auto x = spectrum();
    std::vector<Qor32s> y(1024);
    for (auto _ : state) {
        qorsDeinterleaveSpectrum_AAC_32s(x.data(), y.data(), bands.numGroups, bands.groups,
                                         bands.maxSfb, kRate, bands.winLen);
        benchmark::ClobberMemory();
    }
}
BENCHMARK(Deinterleave);

void MsStereo(benchmark::State& state) {
    Bands bands(5);
    auto l = spectrum(), r = spectrum();
    Qor8u used[8][60] = {};
    for (auto _ : state) {
        qorsDecodeMsStereo_AAC_32s_I(l.data(), r.data(), 2, used, bands.books.data(),
                                     bands.numGroups, bands.groups, bands.maxSfb, kRate,
                                     bands.winLen);
        benchmark::ClobberMemory();
    }
    perFrame(state);
}
BENCHMARK(MsStereo);

void IntensityStereo(benchmark::State& state) {
    const Bands bands(15);
    const auto l = spectrum();
    std::vector<Qor32s> r(1024);
    for (auto _ : state) {
        qorsDecodeIsStereo_AAC_32s(l.data(), r.data(), bands.scaleFactors.data(),
                                   bands.books.data(), bands.numGroups, bands.groups, bands.maxSfb,
                                   kRate, bands.winLen);
        benchmark::ClobberMemory();
    }
    perFrame(state);
}
BENCHMARK(IntensityStereo);

void Noise(benchmark::State& state) {
    const Bands bands(13);
    std::vector<Qor32s> x(1024), ltp(52);
    Qor32s seed = 1;
    for (auto _ : state) {
        qorsDecodePNS_AAC_32s(x.data(), ltp.data(), bands.books.data(), bands.scaleFactors.data(),
                              bands.maxSfb, bands.numGroups, bands.groups, kRate, bands.winLen,
                              &seed);
        benchmark::ClobberMemory();
    }
    perFrame(state);
}
BENCHMARK(Noise);

// One filter of order 12 over the whole range, and eight of order 7.
void Tns(benchmark::State& state, decltype(qorsDecodeTNS_AAC_32s_I)* filter) {
    const bool isShort = state.range(0) == 2;
    const std::vector<Qor32s> one(8, 1), coefRes(8, 4), direction(8, 0);
    const std::vector<Qor32s> length(8, isShort ? kShortBands : kLongBands);
    const std::vector<Qor32s> order(8, isShort ? 7 : 12);
    std::vector<Qor8s> coef(64);
    for (int i = 0; i < 64; ++i) coef[i] = Qor8s(i % 3 - 1);
    const auto source = spectrum();
    std::vector<Qor32s> x(1024);
    for (auto _ : state) {
        std::copy(source.begin(), source.end(), x.begin());
        filter(x.data(), one.data(), length.data(), order.data(), coefRes.data(), coef.data(),
               direction.data(), isShort ? kShortBands : kLongBands, 1, kRate,
               isShort ? 128 : 1024);
        benchmark::ClobberMemory();
    }
    perFrame(state);
}
BENCHMARK_CAPTURE(Tns, decode, qorsDecodeTNS_AAC_32s_I)->ArgName("sequence")->Arg(0)->Arg(2);
BENCHMARK_CAPTURE(Tns, encode, qorsEncodeTNS_AAC_32s_I)->ArgName("sequence")->Arg(0)->Arg(2);

// --- long-term prediction ---------------------------------------------------------------------

void LtpPredict(benchmark::State& state) {
    std::vector<Qor32s> history(3072, 1000), estimate(2048);
    QorAACLtpInfo info = {};
    info.ltp_lag = 1500;
    info.ltp_coef = 16137;
    for (auto _ : state) {
        qorsLongTermPredict_AAC_32s(history.data(), estimate.data(), &info, 0);
        benchmark::ClobberMemory();
    }
}
BENCHMARK(LtpPredict);

void LtpReconstruct(benchmark::State& state) {
    const auto estimate = spectrum();
    auto x = spectrum();
    const std::vector<Qor32s> used(41, 1);
    for (auto _ : state) {
        qorsLongTermReconstruct_AAC_32s(estimate.data(), x.data(), used.data(), 0, kRate);
        benchmark::ClobberMemory();
    }
}
BENCHMARK(LtpReconstruct);

void LtpUpdate(benchmark::State& state) {
    const auto x = spectrum();
    std::vector<Qor32s> history(3072), work(6144);
    for (auto _ : state) {
        qorsLtpUpdate_AAC_32s(x.data(), history.data(), int(state.range(0)), 1, 1, work.data());
        benchmark::ClobberMemory();
    }
}
BENCHMARK(LtpUpdate)->ArgName("sequence")->Arg(0)->Arg(2);

}  // namespace
