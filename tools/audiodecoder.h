// The seam between qordec and its codecs: a decoder takes a stream of bytes and gives blocks of
// interleaved 16-bit PCM.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "bytesource.h"

struct AudioFormat {
    int sampleRate = 0;
    int channels = 0;
};

struct DecodeReport {
    std::string codec;         // one line that tells what the stream is
    std::uint64_t frames = 0;  // decoded or concealed
    std::uint64_t concealedFrames = 0;
    std::vector<std::string> notes;  // what the listener should know
};

struct DecodeOptions {
    bool strict = false;  // a wrong CRC word makes a frame a damaged one
};

class AudioDecoder {
  public:
    virtual ~AudioDecoder() = default;

    // Replaces `pcm` by the next block; false at the end of the stream. A block may be empty.
    virtual bool decode(std::vector<std::int16_t>& pcm) = 0;

    // Known from the first block on.
    virtual AudioFormat format() const = 0;
    virtual DecodeReport report() const = 0;
};

// The decoder for what the source holds, told by content. Throws std::runtime_error when the source
// holds nothing that can be decoded.
std::unique_ptr<AudioDecoder> makeAudioDecoder(ByteSource& source, const DecodeOptions& options);
