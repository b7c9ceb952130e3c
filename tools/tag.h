// The tags that stand around the frames of audio streams: ID3v2, ID3v1 and APE.
#pragma once

#include <cstdint>
#include <span>

// Size of the tag that starts here, 0 when none does. 32 bytes are enough to tell.
std::uint64_t tagSize(std::span<const std::uint8_t> bytes);
