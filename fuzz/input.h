// What a fuzz target makes of the fuzzer's bytes: small arguments first, the rest a bit stream.
#pragma once

#include <cstdint>
#include <cstring>
#include <vector>

#include "qorac.h"

namespace qorac::fuzz {

// A bit stream in memory of its own. Its zeros behind the data are more than any function reads
// before it ends by itself.
class Stream {
  public:
    explicit Stream(std::vector<std::uint8_t> bytes) : bytes_(std::move(bytes)) {
        bytes_.resize(bytes_.size() + kZeros);
        rewind();
    }
    void rewind(Qor32s bitOffset = 0) {
        p = bytes_.data();
        offset = bitOffset;
    }

    Qor8u* p;
    Qor32s offset;

  private:
    static constexpr std::size_t kZeros = 16384;
    std::vector<std::uint8_t> bytes_;
};

class Input {
  public:
    Input(const std::uint8_t* data, std::size_t size) : data_(data), left_(size) {}

    // 0 when the bytes are used up.
    std::uint8_t byte() {
        if (left_ == 0) return 0;
        --left_;
        return *data_++;
    }
    // From low to high, which are at most 255 apart.
    int integer(int low, int high) { return low + byte() % (high - low + 1); }
    bool flag() { return (byte() & 1) != 0; }

    // A field of a record that a caller could fill with anything: often small, sometimes wild.
    Qor32s field() {
        const std::uint8_t first = byte();
        if (first < 0xF0) return first & 0x3F;
        Qor32u value = 0;
        for (int i = 0; i < 4; ++i) value = value << 8 | byte();
        return static_cast<Qor32s>(value);
    }

    // A record of 32-bit fields.
    template <typename Record>
    void fill(Record& record) {
        static_assert(sizeof record % sizeof(Qor32s) == 0);
        for (std::size_t at = 0; at < sizeof record; at += sizeof(Qor32s)) {
            const Qor32s value = field();
            std::memcpy(reinterpret_cast<char*>(&record) + at, &value, sizeof value);
        }
    }

    Stream stream() {
        std::vector<std::uint8_t> rest(data_, data_ + left_);
        left_ = 0;
        return Stream(std::move(rest));
    }

  private:
    const std::uint8_t* data_;
    std::size_t left_;
};

}  // namespace qorac::fuzz
