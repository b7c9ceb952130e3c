// AAC decoding: the parsers on the elements of a real stream, and whole decodes beside FFmpeg and
// libfaad.
//
// The stream is the ADTS file that QORAC_BENCH_AAC names, or the demo as ffmpeg encodes it. All
// decoders take the same frames from memory and leave PCM in their own format: 16-bit interleaved
// here and in libfaad, planar floats and 32-bit integers in FFmpeg.
#include <benchmark/benchmark.h>

#include <cstdlib>
#include <fstream>
#include <iterator>
#include <memory>
#include <span>
#include <vector>

#include "aacdecoder.h"
#include "aacstream.h"
#include "qorac.h"

#ifdef QORAC_PEER_FAAD
#include <neaacdec.h>
#endif
#ifdef QORAC_PEER_LIBAVCODEC
extern "C" {
#include <libavcodec/avcodec.h>
}
#endif

namespace {

using Bytes = std::vector<std::uint8_t>;

// The frames of the stream, one behind the other, with room behind the last one.
using Frame = std::span<std::uint8_t>;

const std::vector<Frame>& frames() {
    static Bytes bytes;
    static const std::vector<Frame> all = [] {
        constexpr std::size_t kSlack = 16384;
        const char* path = std::getenv("QORAC_BENCH_AAC");
        ByteSource source(std::string(path ? path : QORAC_AAC_FILE));
        AacStream stream(source);
        std::vector<std::size_t> ends{0};
        while (const auto frame = stream.next()) {
            bytes.insert(bytes.end(), frame->bytes.begin(), frame->bytes.end());
            ends.push_back(bytes.size());
        }
        bytes.resize(bytes.size() + kSlack);
        std::vector<Frame> result;
        for (std::size_t i = 0; i + 1 < ends.size(); ++i)
            result.push_back(Frame(bytes).subspan(ends[i], ends[i + 1] - ends[i]));
        return result;
    }();
    return all;
}

// --- single functions -------------------------------------------------------------------------

// A channel of the stream: where it stands, and what the element before it has read.
struct Channel {
    std::size_t frame;
    std::size_t bit;
    bool commonWindow;
    QorAACIcsInfo ics;
};

struct Outputs {
    QorAACChanInfo info{};
    QorAACMainHeader header{};
    std::array<Qor16s, 120> scaleFactor;
    std::array<Qor32s, 1024> spectrum;
    std::array<Qor8u, 120> codeBook;
    std::array<Qor8s, 60> tnsCoef;

    QorStatus decode(Qor8u*& stream, Qor32s& offset, QorAACIcsInfo& ics, bool commonWindow) {
        info.samplingRateIndex = adtsReadHeader(frames()[0]).sampling_frequency_index;
        info.pIcsInfo = &ics;
        return qorsNoiselessDecode_AAC(&stream, &offset, &header, scaleFactor.data(),
                                       spectrum.data(), codeBook.data(), tnsCoef.data(), &info, 0,
                                       0, commonWindow ? 1 : 0, 0, 2);
    }
};

struct Elements {
    std::vector<Channel> channels;
    std::size_t channelBits = 0;
    std::vector<std::pair<std::size_t, std::size_t>> pairs;  // frame, bit behind the tag
};

// Walks the elements of all frames. A channel whose noise and scale factors need more than the
// library's one chain is left out with what follows it.
const Elements& elements() {
    static const Elements all = [] {
        Elements result;
        const auto out = std::make_unique<Outputs>();
        for (std::size_t f = 0; f < frames().size(); ++f) {
            Qor8u* const start = frames()[f].data();
            Qor8u* p = start + (adtsReadHeader(frames()[f]).protection_absent ? 7 : 9);
            Qor32s offset = 0;
            const auto position = [&] {
                return static_cast<std::size_t>(p - start) * 8 + static_cast<std::size_t>(offset);
            };
            const auto bits = [&](int count) {
                unsigned value = 0;
                for (; count > 0; --count) {
                    value = value << 1 | (*p >> (7 - offset) & 1);
                    p += offset == 7;
                    offset = (offset + 1) % 8;
                }
                return value;
            };
            const auto channel = [&](QorAACIcsInfo& ics, bool common) {
                const Channel entry{f, position(), common, ics};
                if (out->decode(p, offset, ics, common) != qorStsNoErr) return false;
                result.channels.push_back(entry);
                result.channelBits += position() - entry.bit;
                return true;
            };
            for (bool good = true; good;) {
                const unsigned id = bits(3);
                QorAACIcsInfo ics{};
                Qor32s count;
                std::array<Qor8u, 269> payload;
                if (id == kFil) {
                    qorsDecodeFillElt_AAC(&p, &offset, &count, payload.data());
                } else if (id == kSce || id == kLfe) {
                    bits(4);
                    good = channel(ics, false);
                } else if (id == kCpe) {
                    bits(4);
                    result.pairs.emplace_back(f, position());
                    QorAACChanPairElt pair;
                    qorsDecodeChanPairElt_MP4_AAC(&p, &offset, &ics, &pair, &out->header, 0, 2);
                    const bool common = pair.common_window != 0;
                    good = channel(ics, common) && channel(ics, common);
                } else {
                    good = false;
                }
            }
        }
        return result;
    }();
    return all;
}

void NoiselessDecode(benchmark::State& state) {
    const auto out = std::make_unique<Outputs>();
    for (auto _ : state) {
        for (const Channel& channel : elements().channels) {
            Qor8u* p = frames()[channel.frame].data() + channel.bit / 8;
            Qor32s offset = static_cast<Qor32s>(channel.bit % 8);
            QorAACIcsInfo ics = channel.ics;
            out->decode(p, offset, ics, channel.commonWindow);
            benchmark::DoNotOptimize(out->spectrum);
        }
    }
    state.counters["bits"] = benchmark::Counter(static_cast<double>(elements().channelBits),
                                                benchmark::Counter::kIsIterationInvariantRate);
    state.counters["channels"] = benchmark::Counter(static_cast<double>(elements().channels.size()),
                                                    benchmark::Counter::kIsIterationInvariantRate);
}
BENCHMARK(NoiselessDecode)->Unit(benchmark::kMillisecond);

void tellTimePer(benchmark::State& state, const char* name, std::size_t count) {
    state.counters[name] = benchmark::Counter(
        static_cast<double>(count),
        benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

void ChanPairElt(benchmark::State& state) {
    if (elements().pairs.empty()) {
        state.SkipWithError("the stream has no channel pairs");
        return;
    }
    QorAACIcsInfo ics;
    QorAACChanPairElt pair;
    QorAACMainHeader header{};
    for (auto _ : state) {
        for (const auto& [frame, bit] : elements().pairs) {
            Qor8u* p = frames()[frame].data() + bit / 8;
            Qor32s offset = static_cast<Qor32s>(bit % 8);
            qorsDecodeChanPairElt_MP4_AAC(&p, &offset, &ics, &pair, &header, 0, 2);
            benchmark::DoNotOptimize(pair);
        }
    }
    tellTimePer(state, "perElement", elements().pairs.size());
}
BENCHMARK(ChanPairElt);

void AdtsHeader(benchmark::State& state) {
    QorAACAdtsHeader header;
    for (auto _ : state) {
        for (const Frame& frame : frames()) {
            Qor8u* p = frame.data();
            qorsUnpackADTSFrameHeader_AAC(&p, &header);
            benchmark::DoNotOptimize(header);
        }
    }
    tellTimePer(state, "perFrame", frames().size());
}
BENCHMARK(AdtsHeader);

// --- whole decodes ----------------------------------------------------------------------------

void tellRate(benchmark::State& state, std::size_t samples) {
    std::size_t bytes = 0;
    for (const Frame& frame : frames()) bytes += frame.size();
    state.counters["bits"] = benchmark::Counter(8.0 * static_cast<double>(bytes),
                                                benchmark::Counter::kIsIterationInvariantRate);
    state.counters["samples"] = static_cast<double>(samples);
}

void WholeFile_qorac(benchmark::State& state) {
    std::size_t samples = 0;
    const QorAACAdtsHeader header = adtsReadHeader(frames()[0]);
    std::vector<std::int16_t> pcm;
    for (auto _ : state) {
        const auto decoder = std::make_unique<AacDecoder>();
        decoder->configure(header.profile + 1, header.sampling_frequency_index,
                           aacLayout(header.channel_configuration));
        samples = 0;
        for (const Frame& frame : frames()) {
            pcm.clear();
            decoder->decodeAdtsFrame(frame, false, pcm);
            samples += pcm.size() / static_cast<std::size_t>(decoder->channels());
            benchmark::DoNotOptimize(pcm.data());
        }
    }
    tellRate(state, samples);
}
BENCHMARK(WholeFile_qorac)->Unit(benchmark::kMillisecond);

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
        samples = 0;
        for (const Frame& frame : frames()) {
            packet->data = frame.data();
            packet->size = static_cast<int>(frame.size());
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
    tellRate(state, samples);
}
void WholeFile_ffmpeg_aac(benchmark::State& state) { wholeFileFFmpeg(state, "aac"); }
void WholeFile_ffmpeg_aac_fixed(benchmark::State& state) { wholeFileFFmpeg(state, "aac_fixed"); }
BENCHMARK(WholeFile_ffmpeg_aac)->Unit(benchmark::kMillisecond);
BENCHMARK(WholeFile_ffmpeg_aac_fixed)->Unit(benchmark::kMillisecond);
#endif

#ifdef QORAC_PEER_FAAD
void WholeFile_faad(benchmark::State& state) {
    std::size_t samples = 0;
    for (auto _ : state) {
        const NeAACDecHandle decoder = NeAACDecOpen();
        NeAACDecConfigurationPtr config = NeAACDecGetCurrentConfiguration(decoder);
        config->outputFormat = FAAD_FMT_16BIT;
        config->dontUpSampleImplicitSBR = 1;
        NeAACDecSetConfiguration(decoder, config);
        unsigned long rate;
        unsigned char channels;
        NeAACDecInit(decoder, frames()[0].data(), frames()[0].size(), &rate, &channels);
        samples = 0;
        for (const Frame& frame : frames()) {
            NeAACDecFrameInfo info;
            void* const pcm = NeAACDecDecode(decoder, &info, frame.data(), frame.size());
            samples += info.channels ? info.samples / info.channels : 0;
            benchmark::DoNotOptimize(pcm);
        }
        NeAACDecClose(decoder);
    }
    tellRate(state, samples);
}
BENCHMARK(WholeFile_faad)->Unit(benchmark::kMillisecond);
#endif

}  // namespace
