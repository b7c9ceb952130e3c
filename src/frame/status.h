// Checks and alignments that many functions share.
#pragma once

#include <cstdint>

#include "qorac.h"

namespace qorac {

template <typename... Pointers>
constexpr bool anyNull(const Pointers*... pointers) {
    return (... || (pointers == nullptr));
}

// A pointer to a pointer, of which neither may be null: the bit-stream arguments.
inline bool nullStream(Qor8u* const* ppBitStream) {
    return ppBitStream == nullptr || *ppBitStream == nullptr;
}

constexpr bool outside(Qor32s value, Qor32s low, Qor32s high) {
    return value < low || value > high;
}

inline bool isAligned16(const void* p) { return reinterpret_cast<std::uintptr_t>(p) % 16 == 0; }

// The success status of the functions that report data pointers off a 16-byte boundary.
template <typename... Pointers>
inline QorStatus alignmentStatus(const Pointers*... pointers) {
    return (... && isAligned16(pointers)) ? qorStsNoErr : qorStsAlignmentWarn;
}

// The same two questions for the channels of an interleaved array.
template <typename T>
bool anyChannelNull(T* const* ppChannel, int numChannels) {
    for (int c = 0; c < numChannels; ++c)
        if (!ppChannel[c]) return true;
    return false;
}

template <typename T, typename U>
QorStatus channelAlignmentStatus(const T* pInterleaved, U* const* ppChannel, int numChannels) {
    if (!isAligned16(pInterleaved)) return qorStsAlignmentWarn;
    for (int c = 0; c < numChannels; ++c)
        if (!isAligned16(ppChannel[c])) return qorStsAlignmentWarn;
    return qorStsNoErr;
}

// Moves a context pointer up to the next multiple of `alignment`, a power of two.
template <int alignment, typename T>
inline T* alignUp(T* p) {
    return reinterpret_cast<T*>((reinterpret_cast<std::uintptr_t>(p) + (alignment - 1)) &
                                ~std::uintptr_t(alignment - 1));
}

constexpr Qor32s roundUp16(Qor32s size) { return (size + 15) & ~15; }
constexpr Qor32s roundUp32(Qor32s size) { return (size + 31) & ~31; }

}  // namespace qorac
