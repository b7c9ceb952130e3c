#include "tag.h"

#include <cstring>
#include <string_view>

namespace {

bool startsWith(std::span<const std::uint8_t> bytes, std::string_view text) {
    return bytes.size() >= text.size() && std::memcmp(bytes.data(), text.data(), text.size()) == 0;
}

std::uint32_t littleEndian32(std::span<const std::uint8_t> p) {
    return std::uint32_t{p[3]} << 24 | p[2] << 16 | p[1] << 8 | p[0];
}

}  // namespace

std::uint64_t tagSize(std::span<const std::uint8_t> bytes) {
    if (startsWith(bytes, "ID3") && bytes.size() >= 10) {
        std::uint64_t size = 0;  // four times seven bits
        for (int i = 6; i < 10; ++i) size = size << 7 | (bytes[i] & 0x7F);
        const bool footer = bytes[5] & 0x10;
        return 10 + size + (footer ? 10 : 0);
    }
    if (startsWith(bytes, "APETAGEX") && bytes.size() >= 32) {
        const bool isHeader = bytes[23] & 0x20;  // of the flags; a footer is the end of its tag
        return 32 + (isHeader ? std::uint64_t{littleEndian32(bytes.subspan(12))} : 0);
    }
    if (startsWith(bytes, "TAG")) return 128;
    return 0;
}
