#include "mp3audio.h"

#include <algorithm>

#include "mp3header.h"

namespace {

// What the filter banks of encoder and decoder add to the encoder's own delay.
constexpr int kDecoderDelay = 529;

}  // namespace

Mp3Audio::Mp3Audio(ByteSource& source, const DecodeOptions& options)
    : stream_(source), options_(options) {}

void Mp3Audio::start(const QorMP3FrameHeader& header) {
    firstHeader_ = header;
    format_ = {mp3SampleRate(header), mp3Channels(header)};
    const auto& tag = stream_.infoTag();
    if (!tag || !tag->hasDelays) return;
    const auto channels = static_cast<std::size_t>(format_.channels);
    trimStart_ = channels * static_cast<std::size_t>(tag->encoderDelay + kDecoderDelay);
    trimEnd_ =
        channels * static_cast<std::size_t>(std::max(tag->encoderPadding - kDecoderDelay, 0));
}

// Frames whose bytes were passed over: damage leaves a gap of whole frames, junk does not.
std::size_t Mp3Audio::framesLost(const Mp3Frame& frame) const {
    constexpr std::size_t kMostFrames = 8, kPadding = 1;
    for (std::size_t n = 1; n <= kMostFrames && frames_ > 0; ++n) {
        const std::size_t expected = n * frame.bytes.size();
        if (frame.skipped + n * kPadding >= expected && frame.skipped <= expected + n * kPadding)
            return n;
    }
    return 0;
}

// Takes the frame that was decoded last, with its channels made those of the output.
void Mp3Audio::append(const std::int16_t* pcm) {
    ++frames_;
    const int channels = decoder_.channels(), samples = decoder_.samplesPerChannel();
    for (int i = 0; i < samples; ++i) {
        if (channels == format_.channels) {
            held_.insert(held_.end(), pcm + i * channels, pcm + (i + 1) * channels);
        } else if (channels == 1) {
            held_.insert(held_.end(), 2, pcm[i]);
        } else {
            held_.push_back(static_cast<std::int16_t>((pcm[2 * i] + pcm[2 * i + 1]) / 2));
        }
    }
}

// Gives out what is held but the last `keep` samples.
void Mp3Audio::release(std::vector<std::int16_t>& pcm, std::size_t keep) {
    const std::size_t dropped = std::min(trimStart_, held_.size());
    trimStart_ -= dropped;
    const std::size_t end = std::max(dropped, held_.size() - std::min(keep, held_.size()));
    const auto at = [&](std::size_t i) { return held_.begin() + static_cast<std::ptrdiff_t>(i); };
    pcm.assign(at(dropped), at(end));
    held_.erase(held_.begin(), at(end));
}

bool Mp3Audio::decode(std::vector<std::int16_t>& pcm) {
    const std::optional<Mp3Frame> frame = stream_.next();
    if (!frame) {
        const auto& tag = stream_.infoTag();
        const bool wasCut = tag && tag->frames > frames_;
        release(pcm, wasCut ? 0 : trimEnd_);
        held_.clear();
        return !pcm.empty();
    }
    if (format_.sampleRate == 0) start(frame->header);
    std::int16_t samples[Mp3Decoder::kMaxSamples];
    if (frames_ > 0) skipped_ += frame->skipped;
    for (std::size_t lost = framesLost(*frame); lost > 0; --lost) {
        decoder_.concealFrame(samples);
        append(samples);
        ++concealed_;
    }
    if (decoder_.decodeFrame(frame->bytes, options_.strict, samples) ==
        Mp3Decoder::Result::concealed)
        ++concealed_;
    append(samples);
    release(pcm, trimEnd_);
    return true;
}

DecodeReport Mp3Audio::report() const {
    constexpr const char* kModes[4] = {"stereo", "joint stereo", "dual channel", "mono"};
    DecodeReport report;
    report.codec = std::string(firstHeader_.id == 1 ? "MPEG-1" : "MPEG-2 LSF") + " Layer III, " +
                   std::to_string(format_.sampleRate) + " Hz, " + kModes[firstHeader_.mode];
    report.frames = frames_;
    report.concealedFrames = concealed_;
    if (skipped_ > 0)
        report.notes.push_back(std::to_string(skipped_) + " bytes between frames were passed over");
    return report;
}
