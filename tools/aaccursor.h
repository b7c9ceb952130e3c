// A block of AAC data and a bit cursor through it, for the fields that the caller reads itself and
// for the calls of the library.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "qorac.h"

class AacCursor {
  public:
    // Takes a copy, with zeros behind it: the library does not know where the data end, and damaged
    // data can describe long elements.
    void load(std::span<const std::uint8_t> bytes);

    Qor32u getBits(int count);
    // Replaces the next 8 bits.
    void putByte(int value);

    std::size_t position() const {
        return static_cast<std::size_t>(stream_ - bytes_.data()) * 8 +
               static_cast<std::size_t>(offset_);
    }
    void seek(std::size_t bit);
    // Whether the cursor has not passed the end of the data.
    bool inside() const { return position() <= endBit_; }
    std::size_t bitsLeft() const { return inside() ? endBit_ - position() : 0; }
    const Qor8u* data() const { return bytes_.data(); }

    // The cursor as the library takes it.
    Qor8u** stream() { return &stream_; }
    Qor32s* offset() { return &offset_; }

  private:
    std::vector<Qor8u> bytes_;
    Qor8u* stream_ = nullptr;
    Qor32s offset_ = 0;
    std::size_t endBit_ = 0;
};
