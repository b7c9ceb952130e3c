// MP3 encoding of a whole piece: the caller of tools/ beside LAME and shine, in one run.
//
// The piece is the file that QORAC_BENCH_WAV names, or the demo. All encoders take the same 16-bit
// stereo samples from memory, in blocks of one frame, and leave a joint-stereo stream of 128 kbit/s.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <cstdlib>
#include <memory>
#include <span>
#include <vector>

#include "audiosource.h"
#include "mp3encoder.h"

#ifdef QORAC_PEER_LAME
#include <lame/lame.h>
#endif
#ifdef QORAC_PEER_LIBAVCODEC
extern "C" {
#include <libavcodec/avcodec.h>
#include <libavutil/channel_layout.h>
}
#endif

namespace {

constexpr int kSampleRate = 44100, kChannels = 2, kBitRate = 128;
constexpr std::size_t kFrameSamples = Mp3Encoder::kFrameSamples;

// Whole frames, interleaved.
const std::vector<std::int16_t>& pcm() {
    static const std::vector<std::int16_t> all = [] {
        const char* const path = std::getenv("QORAC_BENCH_WAV");
        AudioSource source(path != nullptr ? path : QORAC_DEMO);
        source.deliver(kSampleRate, kChannels);
        std::vector<std::int16_t> samples;
        while (source.read(samples, kFrameSamples) != 0) {
        }
        samples.resize(samples.size() / (kFrameSamples * kChannels) * kFrameSamples * kChannels);
        return samples;
    }();
    return all;
}

template <typename Encode>
void forEachFrame(const Encode& encode) {
    for (std::size_t at = 0; at < pcm().size(); at += kFrameSamples * kChannels)
        encode(std::span(pcm()).subspan(at, kFrameSamples * kChannels));
}

void tellRate(benchmark::State& state, std::size_t bytes) {
    state.counters["bytes"] = static_cast<double>(bytes);
    state.counters["times_real_time"] =
        benchmark::Counter(static_cast<double>(pcm().size()) / (kChannels * kSampleRate),
                           benchmark::Counter::kIsIterationInvariantRate);
}

void WholeFile_qorac(benchmark::State& state) {
    std::vector<std::uint8_t> stream;
    for (auto _ : state) {
        stream.clear();
        Mp3Encoder encoder({.sampleRate = kSampleRate, .channels = kChannels, .bitRate = kBitRate});
        forEachFrame([&](std::span<const std::int16_t> frame) { encoder.encode(frame, stream); });
        encoder.flush(stream);
        benchmark::DoNotOptimize(stream.data());
    }
    tellRate(state, stream.size());
}
BENCHMARK(WholeFile_qorac)->Unit(benchmark::kMillisecond);

#ifdef QORAC_PEER_LAME
// A quality of -1 leaves LAME its own choice.
void wholeFileLame(benchmark::State& state, int quality) {
    std::vector<std::uint8_t> stream(pcm().size());
    std::size_t bytes = 0;
    for (auto _ : state) {
        lame_t lame = lame_init();
        lame_set_in_samplerate(lame, kSampleRate);
        lame_set_num_channels(lame, kChannels);
        lame_set_brate(lame, kBitRate);
        lame_set_mode(lame, JOINT_STEREO);
        if (quality >= 0) lame_set_quality(lame, quality);
        lame_init_params(lame);
        bytes = 0;
        const auto room = [&] { return static_cast<int>(stream.size() - bytes); };
        forEachFrame([&](std::span<const std::int16_t> frame) {
            bytes += static_cast<std::size_t>(lame_encode_buffer_interleaved(
                lame, const_cast<std::int16_t*>(frame.data()), static_cast<int>(kFrameSamples),
                stream.data() + bytes, room()));
        });
        bytes += static_cast<std::size_t>(lame_encode_flush(lame, stream.data() + bytes, room()));
        lame_close(lame);
        benchmark::DoNotOptimize(stream.data());
    }
    tellRate(state, bytes);
}
void WholeFile_lame(benchmark::State& state) { wholeFileLame(state, -1); }
void WholeFile_lame_q9(benchmark::State& state) { wholeFileLame(state, 9); }
BENCHMARK(WholeFile_lame)->Unit(benchmark::kMillisecond);
BENCHMARK(WholeFile_lame_q9)->Unit(benchmark::kMillisecond);
#endif

#ifdef QORAC_PEER_LIBAVCODEC
void WholeFile_shine(benchmark::State& state) {
    const AVCodec* const codec = avcodec_find_encoder_by_name("libshine");
    if (codec == nullptr) {
        state.SkipWithError("this FFmpeg has no shine");
        return;
    }
    std::size_t bytes = 0;
    for (auto _ : state) {
        AVCodecContext* context = avcodec_alloc_context3(codec);
        context->sample_rate = kSampleRate;
        context->sample_fmt = AV_SAMPLE_FMT_S16P;
        context->bit_rate = kBitRate * 1000;
        av_channel_layout_default(&context->ch_layout, kChannels);
        avcodec_open2(context, codec, nullptr);
        AVPacket* packet = av_packet_alloc();
        AVFrame* planar = av_frame_alloc();
        planar->nb_samples = static_cast<int>(kFrameSamples);
        planar->format = context->sample_fmt;
        av_channel_layout_copy(&planar->ch_layout, &context->ch_layout);
        av_frame_get_buffer(planar, 0);
        bytes = 0;
        const auto take = [&] {
            while (avcodec_receive_packet(context, packet) == 0) {
                bytes += static_cast<std::size_t>(packet->size);
                av_packet_unref(packet);
            }
        };
        forEachFrame([&](std::span<const std::int16_t> frame) {
            av_frame_make_writable(planar);
            for (std::size_t c = 0; c < kChannels; ++c) {
                auto* const channel = reinterpret_cast<std::int16_t*>(planar->data[c]);
                for (std::size_t i = 0; i < kFrameSamples; ++i)
                    channel[i] = frame[kChannels * i + c];
            }
            avcodec_send_frame(context, planar);
            take();
        });
        avcodec_send_frame(context, nullptr);
        take();
        av_frame_free(&planar);
        av_packet_free(&packet);
        avcodec_free_context(&context);
    }
    tellRate(state, bytes);
}
BENCHMARK(WholeFile_shine)->Unit(benchmark::kMillisecond);
#endif

}  // namespace
