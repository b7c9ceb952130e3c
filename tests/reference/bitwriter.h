// Writes bit fields, most significant bit first, one bit at a time.
#pragma once

#include <cstdint>
#include <vector>

#include "qorac.h"

namespace qorac::reference {

class BitWriter {
  public:
    void put(std::uint32_t value, int width) {
        for (int i = width - 1; i >= 0; --i) {
            if (bits_ % 8 == 0) bytes_.push_back(0);
            bytes_.back() =
                Qor8u(bytes_.back() | ((std::uint64_t{value} >> i & 1) << (7 - bits_ % 8)));
            ++bits_;
        }
    }
    void align() {
        while (bits_ % 8 != 0) put(0, 1);
    }
    std::size_t bits() const { return bits_; }

    // The stream, and the room behind it that a reader may touch.
    std::vector<Qor8u> bytes(std::size_t behind = 0) const {
        std::vector<Qor8u> all = bytes_;
        all.resize(all.size() + behind, 0xA5);
        return all;
    }

  private:
    std::vector<Qor8u> bytes_;
    std::size_t bits_ = 0;
};

}  // namespace qorac::reference
