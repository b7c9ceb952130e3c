// AAC for qordec: ADTS frames, or the raw data blocks of an ADIF file, through the decoder, with
// gaps concealed.
#pragma once

#include <memory>
#include <optional>

#include "aacdecoder.h"
#include "aacstream.h"
#include "audiodecoder.h"

// What ADTS and ADIF have in common: a decoder, and what there is to tell about it.
class AacAudio : public AudioDecoder {
  public:
    AudioFormat format() const override;
    DecodeReport report() const override;

  protected:
    explicit AacAudio(const DecodeOptions& options) : options_(options) {}
    // Throws std::runtime_error when the stream is of a kind that is not decoded.
    void start(const char* container, int objectType, int samplingRateIndex,
               std::optional<AacLayout> layout);

    DecodeOptions options_;
    std::unique_ptr<AacDecoder> decoder_;
    std::uint64_t blocks_ = 0;
    std::uint64_t concealed_ = 0;
    std::uint64_t skipped_ = 0;  // bytes

  private:
    const char* container_ = "";
    int objectType_ = 0;
    int samplingRateIndex_ = 0;
};

class AdtsAudio : public AacAudio {
  public:
    AdtsAudio(ByteSource& source, const DecodeOptions& options)
        : AacAudio(options), stream_(source) {}
    bool decode(std::vector<std::int16_t>& pcm) override;

  private:
    AacStream stream_;
    std::size_t framesLost(std::size_t skipped) const;
    std::uint64_t frames_ = 0;
    std::uint64_t frameBytes_ = 0;
};

class AdifAudio : public AacAudio {
  public:
    AdifAudio(ByteSource& source, const DecodeOptions& options);
    bool decode(std::vector<std::int16_t>& pcm) override;

    // Whether the source holds an ADIF header, behind its tags.
    static bool detect(ByteSource& source);

  private:
    ByteSource& source_;
};
