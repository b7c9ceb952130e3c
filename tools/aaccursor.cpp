#include "aaccursor.h"

#include <algorithm>

void AacCursor::load(std::span<const std::uint8_t> bytes) {
    // More than the longest element takes: what passes the end is noticed only behind it.
    constexpr std::size_t kSlack = 16384;
    if (bytes_.size() < bytes.size() + kSlack) bytes_.resize(bytes.size() + kSlack);
    const auto end = std::copy(bytes.begin(), bytes.end(), bytes_.begin());
    const std::size_t before = endBit_ / 8;  // that the last block may have left
    if (before > bytes.size()) std::fill_n(end, before - bytes.size(), Qor8u{0});
    endBit_ = 8 * bytes.size();
    seek(0);
}

Qor32u AacCursor::getBits(int count) {
    Qor32u value = 0;
    for (; count > 0; --count) {
        value = value << 1 | (*stream_ >> (7 - offset_) & 1);
        stream_ += offset_ == 7;
        offset_ = (offset_ + 1) % 8;
    }
    return value;
}

void AacCursor::putByte(int value) {
    const std::size_t start = position();
    for (std::size_t i = 0; i < 8; ++i) {
        const auto mask = static_cast<Qor8u>(0x80 >> (start + i) % 8);
        Qor8u& byte = bytes_[(start + i) / 8];
        byte = static_cast<Qor8u>(value >> (7 - i) & 1 ? byte | mask : byte & ~mask);
    }
}

void AacCursor::seek(std::size_t bit) {
    stream_ = bytes_.data() + bit / 8;
    offset_ = static_cast<Qor32s>(bit % 8);
}
