#include "aacaudio.h"

#include <algorithm>
#include <stdexcept>
#include <string>

#include "tag.h"

namespace {

// The largest raw data block that the standard allows, 768 bytes a channel, and room to spare.
constexpr std::size_t kMaxBlock = 16384;
// An ADIF header of 16 program configurations.
constexpr std::size_t kMaxAdifHeader = 8192;

}  // namespace

// --- both ---------------------------------------------------------------------------------------

void AacAudio::start(const char* container, int objectType, int samplingRateIndex,
                     std::optional<AacLayout> layout) {
    if (objectType == kAacSsr) throw std::runtime_error("the AAC SSR profile is not supported");
    container_ = container;
    objectType_ = objectType;
    samplingRateIndex_ = samplingRateIndex;
    decoder_ = std::make_unique<AacDecoder>();
    decoder_->configure(objectType, samplingRateIndex, std::move(layout));
}

AudioFormat AacAudio::format() const {
    return {aacSampleRate(samplingRateIndex_), decoder_ ? decoder_->channels() : 0};
}

DecodeReport AacAudio::report() const {
    constexpr const char* kTypes[5] = {"", "Main", "LC", "SSR", "LTP"};
    DecodeReport report;
    const AudioFormat audio = format();
    report.codec = std::string("AAC ") + kTypes[objectType_] + " in " + container_ + ", " +
                   std::to_string(audio.sampleRate) + " Hz, " + std::to_string(audio.channels) +
                   (audio.channels == 1 ? " channel" : " channels");
    report.frames = blocks_;
    report.concealedFrames = concealed_;
    if (decoder_->sawSbr())
        report.notes.push_back("SBR data were skipped: the core plays at its own rate of " +
                               std::to_string(audio.sampleRate) + " Hz");
    if (decoder_->sawCoupling())
        report.notes.push_back("coupling channels are not supported and were left out");
    if (skipped_ > 0)
        report.notes.push_back(std::to_string(skipped_) + " bytes between frames were passed over");
    return report;
}

// --- ADTS ---------------------------------------------------------------------------------------

// Frames whose bytes were passed over: damage leaves a gap of about whole frames.
std::size_t AdtsAudio::framesLost(std::size_t skipped) const {
    constexpr std::size_t kMostFrames = 8;
    if (frames_ == 0) return 0;
    const std::size_t average = std::max<std::size_t>(frameBytes_ / frames_, 1);
    return std::min((skipped + average / 2) / average, kMostFrames);
}

bool AdtsAudio::decode(std::vector<std::int16_t>& pcm) {
    pcm.clear();
    do {  // frames before the layout is known have no sound
        const std::optional<AacFrame> frame = stream_.next();
        if (!frame) return false;
        if (!decoder_) {
            const QorAACAdtsHeader header = adtsReadHeader(frame->bytes);
            start("ADTS", header.profile + 1, header.sampling_frequency_index,
                  aacLayout(header.channel_configuration));
        }
        if (frames_ > 0) skipped_ += frame->skipped;
        if (decoder_->channels() > 0) {
            for (std::size_t lost = framesLost(frame->skipped); lost > 0; --lost) {
                decoder_->concealBlock(pcm);
                ++blocks_;
                ++concealed_;
            }
        }
        ++frames_;
        frameBytes_ += frame->bytes.size();
        const AacDecoder::Counts counts =
            decoder_->decodeAdtsFrame(frame->bytes, options_.strict, pcm);
        blocks_ += counts.blocks;
        concealed_ += counts.concealed;
    } while (decoder_->channels() == 0);
    return true;
}

// --- ADIF ---------------------------------------------------------------------------------------

bool AdifAudio::detect(ByteSource& source) {
    while (const std::uint64_t tag = tagSize(source.look(32))) source.skipFar(tag);
    const auto bytes = source.look(4);
    return std::string_view(reinterpret_cast<const char*>(bytes.data()), bytes.size()) == "ADIF";
}

AdifAudio::AdifAudio(ByteSource& source, const DecodeOptions& options)
    : AacAudio(options), source_(source) {
    const auto bytes = source.look(kMaxAdifHeader);
    std::vector<Qor8u> head(bytes.begin(), bytes.end());
    head.resize(kMaxAdifHeader + 4);
    std::array<QorAACPrgCfgElt, 16> programs;
    QorAACAdifHeader header;
    Qor8u* stream = head.data();
    qorsUnpackADIFHeader_AAC(&stream, &header, programs.data(), 16);
    const auto size = static_cast<std::size_t>(stream - head.data());
    const QorAACPrgCfgElt& program = programs[0];
    const auto layout = aacLayout(program);
    if (size > bytes.size() || program.sampling_frequency_index > 11 || !layout)
        throw std::runtime_error("the ADIF header is damaged or of a kind that is not supported");
    source.skip(size);
    start("ADIF", program.object_type + 1, program.sampling_frequency_index, layout);
}

bool AdifAudio::decode(std::vector<std::int16_t>& pcm) {
    pcm.clear();
    const auto bytes = source_.look(kMaxBlock);
    if (bytes.empty() || tagSize(bytes) > 0) return false;
    ++blocks_;
    if (decoder_->decodeBlock(bytes, pcm)) {
        source_.skip(decoder_->blockSize());
        return true;
    }
    // Nothing in the stream tells where the next block begins: what follows is lost.
    ++concealed_;
    decoder_->concealBlock(pcm);
    for (auto rest = bytes; !rest.empty(); rest = source_.look(kMaxBlock)) {
        skipped_ += rest.size();
        source_.skip(rest.size());
    }
    return true;
}
