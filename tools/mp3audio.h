// MP3 for qordec: frames from the stream through the decoder, with gaps concealed and the encoder's
// delays trimmed.
#pragma once

#include "audiodecoder.h"
#include "mp3decoder.h"
#include "mp3stream.h"

class Mp3Audio : public AudioDecoder {
  public:
    Mp3Audio(ByteSource& source, const DecodeOptions& options);

    bool decode(std::vector<std::int16_t>& pcm) override;
    AudioFormat format() const override { return format_; }
    DecodeReport report() const override;

  private:
    void start(const QorMP3FrameHeader& header);
    std::size_t framesLost(const Mp3Frame& frame) const;
    void append(const std::int16_t* pcm);
    void release(std::vector<std::int16_t>& pcm, std::size_t keep);

    Mp3Stream stream_;
    DecodeOptions options_;
    Mp3Decoder decoder_;
    AudioFormat format_;
    QorMP3FrameHeader firstHeader_{};
    std::vector<std::int16_t> held_;  // decoded, not yet given out
    std::size_t trimStart_ = 0;       // samples still to be dropped
    std::size_t trimEnd_ = 0;         // samples to be dropped at the end
    std::uint64_t frames_ = 0;
    std::uint64_t concealed_ = 0;
    std::uint64_t skipped_ = 0;
};
