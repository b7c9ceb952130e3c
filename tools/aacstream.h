// Finds the ADTS frames in a stream of bytes, with tags, junk and damage between them.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

#include "bytesource.h"

struct AacFrame {
    std::span<const std::uint8_t> bytes;  // valid until the next frame is asked for
    std::size_t skipped;                  // bytes passed over since the frame before
};

class AacStream {
  public:
    explicit AacStream(ByteSource& source) : source_(source) {}

    // The next frame, nothing at the end of the stream.
    std::optional<AacFrame> next();

    // Whether the source holds an ADTS frame that another one follows, behind its tags and at most
    // `mostJunk` bytes.
    static bool detect(ByteSource& source, std::size_t mostJunk);

  private:
    bool fitsStream(std::span<const std::uint8_t> bytes) const;
    std::size_t confirmedSize(std::span<const std::uint8_t> bytes, bool inStep) const;

    ByteSource& source_;
    std::optional<std::array<std::uint8_t, 4>> first_;  // start of the first frame's header
    std::size_t pending_ = 0;                           // bytes of the frame handed out last
};
