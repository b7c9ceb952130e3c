// The float QMF banks of the SBR tool: each bank per slot, in runs of 32 slots, beside its transform
// alone and beside plain sums.
//
// The banks of libfaad and libavcodec run where those decoders put them: both upsample a plain AAC
// stream through an SBR decoder without SBR data when they are told to. The rows are whole decodes of
// a frame of 1024 samples, with and without; the difference is 32 slots of analysis and synthesis.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <iterator>
#include <memory>
#include <numbers>
#include <random>
#include <span>
#include <string>
#include <vector>

#include "qorac.h"
#include "sbr/qmfwindow.h"
#include "transform/dct.h"
#include "transform/fft32f.h"

#ifdef QORAC_PEER_FAAD
#include <neaacdec.h>
#endif
#ifdef QORAC_PEER_LIBAVCODEC
extern "C" {
#include <libavcodec/avcodec.h>
}
#endif

namespace {

using namespace qorac;

constexpr int kSlots = 32;

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

Array<float> noise(std::size_t count) {
    auto data = aligned<float>(count);
    std::minstd_rand engine;
    std::uniform_real_distribution<float> level(-1, 1);
    for (std::size_t i = 0; i < count; ++i) data[i] = level(engine);
    return data;
}

Array<float> window(int bands) {
    auto data = aligned<float>(std::size_t(10 * bands));
    for (int i = 0; i < 10 * bands; ++i) data[std::size_t(i)] = qmfWindow(i * 64 / bands);
    return data;
}

// --- the banks ---------------------------------------------------------------------------------

template <typename GetSize, typename Init>
struct Bank {
    Array<Qor8u> memory, init, buffer;
    QorsFilterSpec_SBR_32f* spec = nullptr;

    Bank(GetSize getSize, Init initialise) {
        Qor32s size = 0, initSize = 0, bufSize = 0;
        getSize(&size, &initSize, &bufSize);
        memory = aligned<Qor8u>(std::size_t(size));
        init = aligned<Qor8u>(std::size_t(initSize));
        buffer = aligned<Qor8u>(std::size_t(bufSize));
        initialise(&spec, memory.get(), init.get());
    }
};

// Rows of 64 elements of one array.
template <typename T>
struct Rows {
    Array<float> data = noise(kSlots * 64 * sizeof(T) / sizeof(float));
    std::vector<T*> rows;
    std::vector<const T*> constRows;

    Rows() {
        for (int l = 0; l < kSlots; ++l) rows.push_back(reinterpret_cast<T*>(data.get()) + 64 * l);
        constRows.assign(rows.begin(), rows.end());
    }
};

void perSlot(benchmark::State& state, const std::function<void()>& run) {
    for (auto _ : state) {
        run();
        benchmark::ClobberMemory();
    }
    // One over the rate is the time of a slot.
    state.counters["perSlot"] = benchmark::Counter(
        kSlots, benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

template <typename Run>
void add(const std::string& name, Run run) {
    benchmark::RegisterBenchmark(name.c_str(), run);
}

template <typename GetSize, typename Init, typename Call>
void addBank(const std::string& name, GetSize getSize, Init init, int bands, Call call) {
    add(name, [=](benchmark::State& state) {
        Bank bank(getSize, init);
        const auto coefficients = window(bands);
        auto samples = noise(kSlots * 64);
        Rows<float> re, im;
        Rows<Qor32fc> pairs;
        perSlot(state, [&] {
            call(bank.spec, bank.buffer.get(), coefficients.get(), samples.get(), re, im, pairs);
        });
    });
}

void addBanks() {
    using Spec = QorsFilterSpec_SBR_32f;
    addBank("analysis/RToC_32f", qorsAnalysisFilterGetSize_SBR_RToC_32f,
            qorsAnalysisFilterInit_SBR_RToC_32f, 32,
            [](Spec* spec, Qor8u* buffer, const float* w, float* x, auto& re, auto& im, auto&) {
                qorsAnalysisFilter_SBR_RToC_32f_D2L(x, re.rows.data(), im.rows.data(), w, kSlots, 0,
                                                    32, spec, buffer);
            });
    addBank("analysis/RToC_32f32fc", qorsAnalysisFilterGetSize_SBR_RToC_32f32fc,
            qorsAnalysisFilterInit_SBR_RToC_32f32fc, 32,
            [](Spec* spec, Qor8u* buffer, const float* w, float* x, auto&, auto&, auto& pairs) {
                qorsAnalysisFilter_SBR_RToC_32f32fc_D2L(x, pairs.rows.data(), w, kSlots, 0, 32,
                                                        spec, buffer);
            });
    addBank("analysis/RToR_32f", qorsAnalysisFilterGetSize_SBR_RToR_32f,
            qorsAnalysisFilterInit_SBR_RToR_32f, 32,
            [](Spec* spec, Qor8u* buffer, const float* w, float* x, auto& re, auto&, auto&) {
                qorsAnalysisFilter_SBR_RToR_32f_D2L(x, re.rows.data(), w, kSlots, 0, 32, spec,
                                                    buffer);
            });
    const auto split = [](auto filter) {
        return [filter](Spec* spec, Qor8u* buffer, const float* w, float* x, auto& re, auto& im,
                        auto&) {
            filter(re.constRows.data(), im.constRows.data(), x, w, kSlots, spec, buffer);
        };
    };
    const auto complex = [](auto filter) {
        return [filter](Spec* spec, Qor8u* buffer, const float* w, float* x, auto&, auto&,
                        auto& z) { filter(z.constRows.data(), x, w, kSlots, spec, buffer); };
    };
    const auto real = [](auto filter) {
        return [filter](Spec* spec, Qor8u* buffer, const float* w, float* x, auto& re, auto&,
                        auto&) { filter(re.constRows.data(), x, w, kSlots, spec, buffer); };
    };
    addBank("synthesis/CToR_32f", qorsSynthesisFilterGetSize_SBR_CToR_32f,
            qorsSynthesisFilterInit_SBR_CToR_32f, 64, split(qorsSynthesisFilter_SBR_CToR_32f_D2L));
    addBank("synthesis/CToR_32fc32f", qorsSynthesisFilterGetSize_SBR_CToR_32fc32f,
            qorsSynthesisFilterInit_SBR_CToR_32fc32f, 64,
            complex(qorsSynthesisFilter_SBR_CToR_32fc32f_D2L));
    addBank("synthesis/RToR_32f", qorsSynthesisFilterGetSize_SBR_RToR_32f,
            qorsSynthesisFilterInit_SBR_RToR_32f, 64, real(qorsSynthesisFilter_SBR_RToR_32f_D2L));
    addBank("down/CToR_32f", qorsSynthesisDownFilterGetSize_SBR_CToR_32f,
            qorsSynthesisDownFilterInit_SBR_CToR_32f, 32,
            split(qorsSynthesisDownFilter_SBR_CToR_32f_D2L));
    addBank("down/CToR_32fc32f", qorsSynthesisDownFilterGetSize_SBR_CToR_32fc32f,
            qorsSynthesisDownFilterInit_SBR_CToR_32fc32f, 32,
            complex(qorsSynthesisDownFilter_SBR_CToR_32fc32f_D2L));
    addBank("down/RToR_32f", qorsSynthesisDownFilterGetSize_SBR_RToR_32f,
            qorsSynthesisDownFilterInit_SBR_RToR_32f, 32,
            real(qorsSynthesisDownFilter_SBR_RToR_32f_D2L));
}

// --- the transforms alone ----------------------------------------------------------------------

void addTransforms() {
    add("analysis/FFT", [](benchmark::State& state) {
        const auto memory = aligned<Qor8u>(4096);
        QorsFFTSpec_C_32f* spec = nullptr;
        qorsFFTInit_C_32f(&spec, 5, qorFftNormNone, 2, memory.get(), nullptr);
        const auto re = noise(32 * kSlots), im = noise(32 * kSlots);
        const auto outRe = noise(32), outIm = noise(32);
        perSlot(state, [&] {
            for (int l = 0; l < kSlots; ++l)
                qorsFFTFwd_CToC_32f(re.get() + 32 * l, im.get() + 32 * l, outRe.get(), outIm.get(),
                                    spec, memory.get());
        });
    });
    const auto complex = [](const std::string& name, int order, int perCall, auto transform) {
        add(name, [=](benchmark::State& state) {
            const auto memory = aligned<Qor8u>(4096), buffer = aligned<Qor8u>(4096);
            QorsFFTSpec_C_32fc* spec = nullptr;
            qorsFFTInit_C_32fc(&spec, order, qorFftNormNone, 2, memory.get(), nullptr);
            const auto x = noise(std::size_t(2 * perCall * kSlots) << order);
            const auto y = noise(std::size_t(2) << order);
            perSlot(state, [&] {
                for (int l = 0; l < kSlots * perCall; ++l)
                    transform(reinterpret_cast<Qor32fc*>(x.get()) + (std::ptrdiff_t(l) << order),
                              reinterpret_cast<Qor32fc*>(y.get()), spec, buffer.get());
            });
        });
    };
    complex("synthesis/FFT (two)", 5, 2, qorsFFTFwd_CToC_32fc);
    complex("down/FFT", 6, 1, qorsFFTInv_CToC_32fc);
    const auto dct = [](const std::string& name, int len, auto init, auto transform) {
        add(name, [=](benchmark::State& state) {
            const auto memory = aligned<Qor8u>(8192), buffer = aligned<Qor8u>(4096);
            QorsDCTSpec_32f* spec = nullptr;
            init(&spec, len, 2, memory.get(), buffer.get());
            const auto x = noise(std::size_t(len * kSlots)), y = noise(std::size_t(len));
            perSlot(state, [&] {
                for (int l = 0; l < kSlots; ++l)
                    transform(x.get() + len * l, y.get(), spec, buffer.get());
            });
        });
    };
    dct("analysis/DCT", 32, qorsDCTInvInit_32f, qorsDCTInv_32f);
    dct("synthesis/DCT", 64, qorsDCTFwdInit_32f, qorsDCTFwd_32f);
    dct("down/DCT", 32, qorsDCTFwdInit_32f, qorsDCTFwd_32f);
}

// --- plain sums --------------------------------------------------------------------------------

// cos and sin of pi/256 (2k + 1) angle(n) with n as the row.
template <typename Angle>
std::vector<Qor32fc> turns(int rows, int columns, Angle angle) {
    std::vector<Qor32fc> table;
    for (int row = 0; row < rows; ++row)
        for (int column = 0; column < columns; ++column) {
            const double phi = std::numbers::pi / 256 * angle(row, column);
            table.push_back({float(std::cos(phi)), float(std::sin(phi))});
        }
    return table;
}

void addPlainSums() {
    add("analysis/plain sums", [](benchmark::State& state) {
        const auto table = turns(64, 32, [](int n, int k) { return (2 * k + 1) * (4 * n - 1); });
        const auto w = window(32), x = noise(32 * kSlots);
        std::vector<float> history(320);
        float re[32], im[32];
        perSlot(state, [&] {
            for (int l = 0; l < kSlots; ++l) {
                std::copy_backward(history.begin(), history.end() - 32, history.end());
                std::reverse_copy(x.get() + 32 * l, x.get() + 32 * (l + 1), history.begin());
                std::fill_n(re, 32, 0.0f);
                std::fill_n(im, 32, 0.0f);
                for (int n = 0; n < 64; ++n) {
                    float u = 0;
                    for (int r = 0; r < 5; ++r)
                        u += w[std::size_t(n + 64 * r)] * history[std::size_t(n + 64 * r)];
                    const Qor32fc* const t = table.data() + 32 * n;
                    for (int k = 0; k < 32; ++k) {
                        re[k] += 2 * u * t[k].re;
                        im[k] += 2 * u * t[k].im;
                    }
                }
                benchmark::DoNotOptimize(re);
                benchmark::DoNotOptimize(im);
            }
        });
    });
    for (const int bands : {64, 32}) {
        add(bands == 64 ? "synthesis/plain sums" : "down/plain sums", [=](benchmark::State& state) {
            const auto table = turns(bands, 2 * bands, [=](int k, int n) {
                return (2 * k + 1) * (bands == 64 ? 2 * n - 255 : 4 * n - 255);
            });
            const auto w = window(bands), x = noise(std::size_t(2 * bands * kSlots));
            std::vector<float> values(std::size_t(20 * bands)), y(std::size_t(bands) * kSlots);
            perSlot(state, [&] {
                for (int l = 0; l < kSlots; ++l) {
                    std::copy_backward(values.begin(), values.end() - 2 * bands, values.end());
                    std::fill_n(values.begin(), 2 * bands, 0.0f);
                    for (int k = 0; k < bands; ++k) {
                        const float re = x[std::size_t(2 * (l * bands + k))] / 64;
                        const float im = x[std::size_t(2 * (l * bands + k) + 1)] / 64;
                        const Qor32fc* const t = table.data() + 2 * bands * k;
                        for (int n = 0; n < 2 * bands; ++n)
                            values[std::size_t(n)] += re * t[n].re - im * t[n].im;
                    }
                    float* const out = y.data() + l * bands;
                    std::fill_n(out, bands, 0.0f);
                    for (int t = 0; t < 10; ++t)
                        for (int i = 0; i < bands; ++i)
                            out[i] += w[std::size_t(bands * t + i)] *
                                      values[std::size_t(2 * bands * t + bands * (t % 2) + i)];
                }
                benchmark::DoNotOptimize(y.data());
            });
        });
    }
}

// --- other decoders ----------------------------------------------------------------------------

#ifdef QORAC_AAC_FILE
using Frame = std::span<const unsigned char>;

// ADTS frames with their headers of seven bytes.
const std::vector<Frame>& frames() {
    static std::vector<unsigned char> bytes;
    static const std::vector<Frame> all = [] {
        std::ifstream file(QORAC_AAC_FILE, std::ios::binary);
        bytes.assign(std::istreambuf_iterator<char>(file), {});
        const std::size_t size = bytes.size();
        bytes.resize(size + 64);
        std::vector<Frame> result;
        for (std::size_t at = 0; at + 7 <= size;) {
            const std::size_t length = std::size_t(bytes[at + 3] & 3) << 11 |
                                       std::size_t(bytes[at + 4]) << 3 | bytes[at + 5] >> 5;
            result.push_back(Frame(bytes).subspan(at, length));
            at += length;
        }
        return result;
    }();
    return all;
}

void perFrame(benchmark::State& state) {
    state.counters["perFrame"] =
        benchmark::Counter(double(frames().size()), benchmark::Counter::kIsIterationInvariantRate |
                                                        benchmark::Counter::kInvert);
}
#endif

#ifdef QORAC_PEER_FAAD
void faad(benchmark::State& state, bool upsampled) {
    for (auto _ : state) {
        NeAACDecHandle decoder = NeAACDecOpen();
        auto* const config = NeAACDecGetCurrentConfiguration(decoder);
        config->outputFormat = FAAD_FMT_FLOAT;
        config->dontUpSampleImplicitSBR = !upsampled;
        NeAACDecSetConfiguration(decoder, config);
        unsigned long rate = 0;
        unsigned char channels = 0;
        const auto bytesOf = [](const Frame& f) { return const_cast<unsigned char*>(f.data()); };
        NeAACDecInit(decoder, bytesOf(frames()[0]), frames()[0].size(), &rate, &channels);
        unsigned long samples = 0;
        for (const Frame& frame : frames()) {
            NeAACDecFrameInfo info;
            benchmark::DoNotOptimize(NeAACDecDecode(decoder, &info, bytesOf(frame), frame.size()));
            samples = info.samples / std::max<unsigned long>(info.channels, 1);
        }
        NeAACDecClose(decoder);
        if (samples != (upsampled ? 2048 : 1024)) state.SkipWithError("other frames");
    }
    perFrame(state);
}
#endif

#ifdef QORAC_PEER_LIBAVCODEC
void libavcodec(benchmark::State& state, bool upsampled) {
    // AudioSpecificConfig: AAC LC, 24 kHz, mono; with SBR of 48 kHz around it.
    static constexpr unsigned char kPlain[] = {0x13, 0x08};
    static constexpr unsigned char kSbr[] = {0x2b, 0x09, 0x88, 0x00};
    const auto config =
        upsampled ? std::span<const unsigned char>(kSbr) : std::span<const unsigned char>(kPlain);
    av_log_set_level(AV_LOG_ERROR);
    for (auto _ : state) {
        AVCodecContext* context = avcodec_alloc_context3(avcodec_find_decoder(AV_CODEC_ID_AAC));
        context->extradata =
            static_cast<uint8_t*>(av_mallocz(config.size() + AV_INPUT_BUFFER_PADDING_SIZE));
        std::copy(config.begin(), config.end(), context->extradata);
        context->extradata_size = int(config.size());
        avcodec_open2(context, nullptr, nullptr);
        AVPacket* packet = av_packet_alloc();
        AVFrame* output = av_frame_alloc();
        int samples = 0;
        for (const Frame& frame : frames()) {
            packet->data = const_cast<uint8_t*>(frame.data()) + 7;
            packet->size = int(frame.size()) - 7;
            avcodec_send_packet(context, packet);
            while (avcodec_receive_frame(context, output) == 0) samples = output->nb_samples;
        }
        av_frame_free(&output);
        packet->data = nullptr;
        packet->size = 0;
        av_packet_free(&packet);
        avcodec_free_context(&context);
        if (samples != (upsampled ? 2048 : 1024)) state.SkipWithError("other frames");
    }
    perFrame(state);
}
#endif

[[maybe_unused]] const bool registered = [] {
    addBanks();
    addTransforms();
    addPlainSums();
#ifdef QORAC_PEER_FAAD
    add("decode/libfaad plain", [](benchmark::State& state) { faad(state, false); });
    add("decode/libfaad upsampled", [](benchmark::State& state) { faad(state, true); });
#endif
#ifdef QORAC_PEER_LIBAVCODEC
    add("decode/libavcodec plain", [](benchmark::State& state) { libavcodec(state, false); });
    add("decode/libavcodec upsampled", [](benchmark::State& state) { libavcodec(state, true); });
#endif
    return true;
}();

}  // namespace
