// Bit strings, one element per bit, most significant first.
#pragma once

#include <cstdint>
#include <vector>

#include "qorac.h"

namespace qorac::reference {

class Bits {
  public:
    void put(std::uint32_t value, int width) {
        for (int i = width - 1; i >= 0; --i) bits_.push_back(value >> i & 1);
    }
    std::size_t size() const { return bits_.size(); }

    // The string behind `offset` bits of its first byte, padded to whole bytes with `filler` and
    // followed by `room` bytes more. The bits in front are ones and zeros in turn.
    std::vector<Qor8u> bytes(int offset = 0, int room = 0, bool filler = false) const {
        std::vector<bool> all;
        for (int i = 0; i < offset; ++i) all.push_back(i % 2 == 0);
        all.insert(all.end(), bits_.begin(), bits_.end());
        while (all.size() % 8) all.push_back(filler);
        all.insert(all.end(), 8 * room, filler);
        std::vector<Qor8u> out(all.size() / 8);
        for (std::size_t i = 0; i < all.size(); ++i)
            out[i / 8] = static_cast<Qor8u>(out[i / 8] | all[i] << (7 - i % 8));
        return out;
    }

  private:
    std::vector<bool> bits_;
};

// Reads bit by bit; behind the end there are zeros.
class BitReader {
  public:
    explicit BitReader(const std::vector<Qor8u>& bytes, std::size_t position = 0)
        : bytes_(bytes), position_(position) {}

    std::uint32_t get(int width) {
        std::uint32_t value = 0;
        for (; width > 0; --width, ++position_)
            value = value << 1 | (position_ / 8 < bytes_.size()
                                      ? bytes_[position_ / 8] >> (7 - position_ % 8) & 1
                                      : 0);
        return value;
    }
    std::size_t position() const { return position_; }

  private:
    const std::vector<Qor8u>& bytes_;
    std::size_t position_;
};

}  // namespace qorac::reference
