// Finds the Layer III frames in a stream of bytes, with tags, junk and damage between them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

#include "bytesource.h"
#include "qorac.h"

// What a Xing, Info or VBRI frame at the start of a stream tells.
struct Mp3InfoTag {
    std::uint32_t frames = 0;  // audio frames that follow, 0 when not told
    bool hasDelays = false;    // the two numbers below are there
    int encoderDelay = 0;      // samples that the encoder put before the music
    int encoderPadding = 0;    // samples that it put behind
};

struct Mp3Frame {
    QorMP3FrameHeader header;
    std::span<const std::uint8_t> bytes;  // valid until the next frame is asked for
    std::size_t skipped;                  // bytes passed over since the frame before
};

class Mp3Stream {
  public:
    explicit Mp3Stream(ByteSource& source) : source_(source) {}

    // The next audio frame, nothing at the end of the stream. A Xing, Info or VBRI frame at the
    // start is not an audio frame.
    std::optional<Mp3Frame> next();

    const std::optional<Mp3InfoTag>& infoTag() const { return infoTag_; }

    // Whether the source holds a Layer III frame that another one follows, within its first bytes
    // and behind its tags.
    static bool detect(ByteSource& source);

  private:
    bool skipTag();
    std::size_t frameSizeAt(std::span<const std::uint8_t> bytes) const;
    std::size_t freeFormatSizeAt(std::span<const std::uint8_t> bytes) const;
    std::size_t confirmedSize(std::span<const std::uint8_t> bytes, bool inStep) const;
    bool fitsStream(std::span<const std::uint8_t> bytes) const;

    ByteSource& source_;
    std::optional<QorMP3FrameHeader> first_;  // later frames share its version and sampling rate
    std::size_t freeFormatSize_ = 0;          // without padding, once known
    std::size_t pending_ = 0;                 // bytes of the frame handed out last
    std::optional<Mp3InfoTag> infoTag_;
};
