// MP3 decoding: each exported function on the granules of a real file, and whole decodes beside
// libmpg123, libmad and FFmpeg.
//
// The file is the one that QORAC_BENCH_MP3 names, or the demo. All decoders take the same bytes
// from memory and leave interleaved 16-bit PCM (FFmpeg's own output formats are floats and planar
// integers, left as they are).
#include <benchmark/benchmark.h>

#include <array>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <vector>

#include "mp3decoder.h"
#include "mp3header.h"
#include "mp3stream.h"
#include "qorac.h"

#ifdef QORAC_PEER_LIBMPG123
#include <mpg123.h>
#endif
#ifdef QORAC_PEER_MAD
#include <mad.h>
#endif
#ifdef QORAC_PEER_LIBAVCODEC
extern "C" {
#include <libavcodec/avcodec.h>
}
#endif

namespace {

using Bytes = std::vector<std::uint8_t>;

const Bytes& file() {
    static const Bytes bytes = [] {
        const char* path = std::getenv("QORAC_BENCH_MP3");
        std::ifstream stream(path ? path : QORAC_DEMO_FILE, std::ios::binary);
        return Bytes(std::istreambuf_iterator<char>(stream), {});
    }();
    return bytes;
}

// --- single functions -------------------------------------------------------------------------

// What one granule and channel is at each stage of the chain.
struct Granule {
    QorMP3FrameHeader header;
    std::array<QorMP3SideInfo, 2> side;
    std::array<Qor32s, 4> scfsi;
    int granule, channel;
    std::size_t firstBit;
    int hufOffset;  // bits of scale factors
    std::array<Qor32s, 2 * 576> values, lines;
    std::array<Qor32s, 2> valueBounds, lineBounds;
    std::array<Qor8s, 80> scaleFactors;
    std::array<Qor32s, 576> subbands;
};

struct Stages {
    Bytes mainData;  // all frames' main data in a row, and slack
    std::vector<Bytes> heads;
    std::vector<Granule> granules;
};

// Runs the chain over the file and keeps what each function got.
Stages runChain() {
    Stages stages;
    ByteSource source(file());
    Mp3Stream stream(source);
    std::array<std::array<Qor32s, 576>, 2> overlap{};
    std::array<Qor32s, 2> previous{};
    std::vector<std::size_t> starts;
    std::vector<Bytes> frames;
    while (const auto frame = stream.next())
        frames.emplace_back(frame->bytes.begin(), frame->bytes.end());
    for (Bytes& frame : frames) {
        const auto header = mp3ReadHeader(frame);
        starts.push_back(stages.mainData.size());
        stages.mainData.insert(stages.mainData.end(),
                               frame.begin() + static_cast<std::ptrdiff_t>(mp3HeadSize(header)),
                               frame.end());
        frame.resize(frame.size() + 4);
    }
    stages.mainData.resize(stages.mainData.size() + 2048);
    for (std::size_t f = 0; f < frames.size(); ++f) {
        Qor8u* p = frames[f].data();
        QorMP3FrameHeader header{};
        std::array<QorMP3SideInfo, 4> side{};
        std::array<Qor32s, 8> scfsi{};
        Qor32s begin, bits;
        qorsUnpackFrameHeader_MP3(&p, &header);
        qorsUnpackSideInfo_MP3(&p, side.data(), &begin, &bits, scfsi.data(), &header);
        stages.heads.push_back(frames[f]);
        if (static_cast<std::size_t>(begin) > starts[f]) continue;
        std::size_t bit = 8 * (starts[f] - static_cast<std::size_t>(begin));
        const int channels = mp3Channels(header);
        std::array<Qor8s, 80> scaleFactors{};
        for (int g = 0; g < (header.id ? 2 : 1); ++g) {
            std::vector<Granule> now(static_cast<std::size_t>(channels));
            std::array<Qor32s, 2 * 576> lines{};
            std::array<Qor32s, 2> bounds{};
            std::array<QorMP3SideInfo, 2> pair{};
            for (int c = 0; c < channels; ++c) {
                Granule& granule = now[static_cast<std::size_t>(c)];
                QorMP3SideInfo& info = side[static_cast<std::size_t>(g * channels + c)];
                std::copy_n(&scfsi[static_cast<std::size_t>(4 * c)], 4, granule.scfsi.begin());
                granule.header = header;
                granule.granule = g;
                granule.channel = c;
                granule.firstBit = bit;
                Qor8u* q = stages.mainData.data() + bit / 8;
                Qor32s offset = static_cast<Qor32s>(bit % 8);
                qorsUnpackScaleFactors_MP3_1u8s(&q, &offset,
                                                &scaleFactors[static_cast<std::size_t>(40 * c)],
                                                &info, granule.scfsi.data(), &header, g, c);
                granule.hufOffset =
                    static_cast<int>(static_cast<std::size_t>(q - stages.mainData.data()) * 8 +
                                     static_cast<std::size_t>(offset) - bit);
                qorsHuffmanDecode_MP3_1u32s(&q, &offset, &lines[static_cast<std::size_t>(576 * c)],
                                            &bounds[static_cast<std::size_t>(c)], &info, &header,
                                            info.part2_3_length - granule.hufOffset);
                bit += static_cast<std::size_t>(info.part2_3_length);
                pair[static_cast<std::size_t>(c)] = info;
            }
            for (Granule& granule : now) {
                granule.values = lines;
                granule.valueBounds = bounds;
                granule.scaleFactors = scaleFactors;
                granule.side = pair;
            }
            std::array<Qor32s, 576> scratch;
            qorsReQuantize_MP3_32s_I(lines.data(), bounds.data(), scaleFactors.data(), pair.data(),
                                     &header, scratch.data());
            for (int c = 0; c < channels; ++c) {
                Granule& granule = now[static_cast<std::size_t>(c)];
                granule.lines = lines;
                granule.lineBounds = bounds;
                auto copy = lines;
                qorsMDCTInv_MP3_32s(
                    &copy[static_cast<std::size_t>(576 * c)], granule.subbands.data(),
                    overlap[static_cast<std::size_t>(c)].data(),
                    bounds[static_cast<std::size_t>(c)], &previous[static_cast<std::size_t>(c)],
                    pair[static_cast<std::size_t>(c)].block_type,
                    pair[static_cast<std::size_t>(c)].mixed_block_flag);
                stages.granules.push_back(granule);
            }
        }
    }
    return stages;
}

Stages& stages() {
    static Stages all = runChain();
    return all;
}

// Cycles through the granules; one iteration is one granule and channel.
template <typename Work>
void forEachGranule(benchmark::State& state, Work work) {
    auto& granules = stages().granules;
    std::size_t i = 0;
    for (auto _ : state) {
        work(granules[i]);
        if (++i == granules.size()) i = 0;
    }
    state.SetItemsProcessed(state.iterations());
}

void FrameHeader(benchmark::State& state) {
    auto& heads = stages().heads;
    std::size_t i = 0;
    QorMP3FrameHeader header{};
    for (auto _ : state) {
        Qor8u* p = heads[i].data();
        qorsUnpackFrameHeader_MP3(&p, &header);
        benchmark::DoNotOptimize(header);
        if (++i == heads.size()) i = 0;
    }
}
BENCHMARK(FrameHeader);

void SideInfo(benchmark::State& state) {
    auto& heads = stages().heads;
    std::size_t i = 0;
    const auto header = mp3ReadHeader(heads[0]);
    std::array<QorMP3SideInfo, 4> side;
    std::array<Qor32s, 8> scfsi;
    Qor32s begin, bits;
    for (auto _ : state) {
        Qor8u* p = heads[i].data() + 4;
        qorsUnpackSideInfo_MP3(&p, side.data(), &begin, &bits, scfsi.data(), &header);
        benchmark::DoNotOptimize(side);
        if (++i == heads.size()) i = 0;
    }
}
BENCHMARK(SideInfo);

void ScaleFactors(benchmark::State& state) {
    std::array<Qor8s, 40> scaleFactors{};
    forEachGranule(state, [&](Granule& g) {
        Qor8u* p = stages().mainData.data() + g.firstBit / 8;
        Qor32s offset = static_cast<Qor32s>(g.firstBit % 8);
        qorsUnpackScaleFactors_MP3_1u8s(&p, &offset, scaleFactors.data(), &g.side[g.channel],
                                        g.scfsi.data(), &g.header, g.granule, g.channel);
        benchmark::DoNotOptimize(scaleFactors);
    });
}
BENCHMARK(ScaleFactors);

void HuffmanDecode(benchmark::State& state) {
    std::array<Qor32s, 576> values;
    Qor32s bound;
    std::int64_t bits = 0;
    forEachGranule(state, [&](Granule& g) {
        const std::size_t bit = g.firstBit + static_cast<std::size_t>(g.hufOffset);
        Qor8u* p = stages().mainData.data() + bit / 8;
        Qor32s offset = static_cast<Qor32s>(bit % 8);
        const int size = g.side[g.channel].part2_3_length - g.hufOffset;
        qorsHuffmanDecode_MP3_1u32s(&p, &offset, values.data(), &bound, &g.side[g.channel],
                                    &g.header, size);
        benchmark::DoNotOptimize(values);
        bits += size;
    });
    state.counters["bits"] =
        benchmark::Counter(static_cast<double>(bits), benchmark::Counter::kIsRate);
}
BENCHMARK(HuffmanDecode);

// Both channels of a granule at once.
void ReQuantize(benchmark::State& state) {
    std::array<Qor32s, 2 * 576> lines;
    std::array<Qor32s, 576> scratch;
    forEachGranule(state, [&](Granule& g) {
        lines = g.values;
        auto bounds = g.valueBounds;
        qorsReQuantize_MP3_32s_I(lines.data(), bounds.data(), g.scaleFactors.data(), g.side.data(),
                                 &g.header, scratch.data());
        benchmark::DoNotOptimize(lines);
    });
}
BENCHMARK(ReQuantize);

void MDCTInv(benchmark::State& state) {
    std::array<Qor32s, 576> lines, overlap{}, subbands;
    Qor32s previous = 0;
    forEachGranule(state, [&](Granule& g) {
        std::memcpy(lines.data(), &g.lines[static_cast<std::size_t>(576 * g.channel)],
                    sizeof lines);
        qorsMDCTInv_MP3_32s(lines.data(), subbands.data(), overlap.data(), g.lineBounds[g.channel],
                            &previous, g.side[g.channel].block_type,
                            g.side[g.channel].mixed_block_flag);
        benchmark::DoNotOptimize(subbands);
    });
}
BENCHMARK(MDCTInv);

// 18 calls, a granule's worth; the argument is the stride.
void SynthPQMF(benchmark::State& state) {
    const int mode = static_cast<int>(state.range(0));
    std::array<Qor32s, 512> ring{};
    Qor32s position = 0;
    std::array<Qor16s, 2 * 576> pcm;
    forEachGranule(state, [&](Granule& g) {
        for (int t = 0; t < 18; ++t)
            qorsSynthPQMF_MP3_32s16s(&g.subbands[static_cast<std::size_t>(32 * t)],
                                     &pcm[static_cast<std::size_t>(32 * t * mode)], ring.data(),
                                     &position, mode);
        benchmark::DoNotOptimize(pcm);
    });
}
BENCHMARK(SynthPQMF)->Arg(1)->Arg(2);

// --- whole decodes ----------------------------------------------------------------------------

void WholeFile_qorac(benchmark::State& state) {
    std::size_t samples = 0;
    std::int16_t pcm[Mp3Decoder::kMaxSamples];
    for (auto _ : state) {
        ByteSource source(file());
        Mp3Stream stream(source);
        Mp3Decoder decoder;
        samples = 0;
        while (const auto frame = stream.next()) {
            decoder.decodeFrame(frame->bytes, false, pcm);
            samples += static_cast<std::size_t>(decoder.samplesPerChannel());
            benchmark::DoNotOptimize(pcm);
        }
    }
    state.counters["samples"] = static_cast<double>(samples);
}
BENCHMARK(WholeFile_qorac)->Unit(benchmark::kMillisecond);

#ifdef QORAC_PEER_LIBMPG123
void WholeFile_mpg123(benchmark::State& state) {
    mpg123_init();
    std::size_t samples = 0;
    for (auto _ : state) {
        mpg123_handle* handle = mpg123_new(nullptr, nullptr);
        mpg123_param(handle, MPG123_REMOVE_FLAGS, MPG123_GAPLESS, 0);
        mpg123_param(handle, MPG123_ADD_FLAGS, MPG123_QUIET, 0);
        mpg123_open_feed(handle);
        mpg123_feed(handle, file().data(), file().size());
        samples = 0;
        off_t number;
        unsigned char* audio;
        std::size_t bytes;
        int result;
        while ((result = mpg123_decode_frame(handle, &number, &audio, &bytes)) == MPG123_OK ||
               result == MPG123_NEW_FORMAT) {
            samples += bytes / 4;
            benchmark::DoNotOptimize(audio);
        }
        mpg123_delete(handle);
    }
    state.counters["samples"] = static_cast<double>(samples);
}
BENCHMARK(WholeFile_mpg123)->Unit(benchmark::kMillisecond);
#endif

#ifdef QORAC_PEER_MAD
void WholeFile_mad(benchmark::State& state) {
    std::size_t samples = 0;
    Bytes padded = file();
    padded.resize(padded.size() + MAD_BUFFER_GUARD);
    std::vector<std::int16_t> pcm(2 * 1152);
    for (auto _ : state) {
        mad_stream stream;
        mad_frame frame;
        mad_synth synth;
        mad_stream_init(&stream);
        mad_frame_init(&frame);
        mad_synth_init(&synth);
        mad_stream_buffer(&stream, padded.data(), padded.size());
        samples = 0;
        while (true) {
            if (mad_frame_decode(&frame, &stream) != 0) {
                if (MAD_RECOVERABLE(stream.error)) continue;
                break;
            }
            mad_synth_frame(&synth, &frame);
            for (unsigned i = 0; i < synth.pcm.length; ++i)
                for (unsigned c = 0; c < synth.pcm.channels; ++c) {
                    const mad_fixed_t rounded = (synth.pcm.samples[c][i] + (1 << 12)) >> 13;
                    pcm[2 * i + c] = static_cast<std::int16_t>(rounded > 32767    ? 32767
                                                               : rounded < -32768 ? -32768
                                                                                  : rounded);
                }
            benchmark::DoNotOptimize(pcm);
            samples += synth.pcm.length;
        }
        mad_synth_finish(&synth);
        mad_frame_finish(&frame);
        mad_stream_finish(&stream);
    }
    state.counters["samples"] = static_cast<double>(samples);
}
BENCHMARK(WholeFile_mad)->Unit(benchmark::kMillisecond);
#endif

#ifdef QORAC_PEER_LIBAVCODEC
void wholeFileFFmpeg(benchmark::State& state, const char* name) {
    const AVCodec* codec = avcodec_find_decoder_by_name(name);
    if (!codec) {
        state.SkipWithError("this FFmpeg has no such decoder");
        return;
    }
    std::size_t samples = 0;
    for (auto _ : state) {
        AVCodecContext* context = avcodec_alloc_context3(codec);
        context->thread_count = 1;
        avcodec_open2(context, codec, nullptr);
        AVPacket* packet = av_packet_alloc();
        AVFrame* out = av_frame_alloc();
        ByteSource source(file());
        Mp3Stream stream(source);
        samples = 0;
        Bytes padded;
        while (const auto frame = stream.next()) {
            padded.assign(frame->bytes.begin(), frame->bytes.end());
            padded.resize(padded.size() + AV_INPUT_BUFFER_PADDING_SIZE);
            packet->data = padded.data();
            packet->size = static_cast<int>(frame->bytes.size());
            if (avcodec_send_packet(context, packet) != 0) continue;
            while (avcodec_receive_frame(context, out) == 0) {
                samples += static_cast<std::size_t>(out->nb_samples);
                benchmark::DoNotOptimize(out->data[0]);
            }
        }
        packet->data = nullptr;
        av_frame_free(&out);
        av_packet_free(&packet);
        avcodec_free_context(&context);
    }
    state.counters["samples"] = static_cast<double>(samples);
}
void WholeFile_ffmpeg_mp3float(benchmark::State& state) { wholeFileFFmpeg(state, "mp3float"); }
void WholeFile_ffmpeg_mp3fixed(benchmark::State& state) { wholeFileFFmpeg(state, "mp3"); }
BENCHMARK(WholeFile_ffmpeg_mp3float)->Unit(benchmark::kMillisecond);
BENCHMARK(WholeFile_ffmpeg_mp3fixed)->Unit(benchmark::kMillisecond);
#endif

}  // namespace
