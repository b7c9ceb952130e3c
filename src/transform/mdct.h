// What the MDCTs of floats and of 16-bit data share: lengths and the fold of a block.
//
// N is the length of a block in time, N/2 the number of coefficients, q = N/4 the length of the
// complex transform inside.
#pragma once

#include <bit>

#include "frame/fixed.h"
#include "qorac.h"

namespace qorac {

// Above 2^28 the sizes that GetSize reports no longer fit 32 bits.
constexpr Qor32s kMinMdctLen = 32, kMaxMdctLen = 1 << 28;

constexpr bool isMdctPowerOfTwo(Qor32s len) {
    return len >= kMinMdctLen && len <= kMaxMdctLen && std::has_single_bit(Qor32u(len));
}

// Order of the complex transform of N/4 points; N/4 a power of two.
constexpr Qor32s mdctFftOrder(Qor32s len) { return std::countr_zero(Qor32u(len)) - 2; }

// Angle of the twiddle factors sin t, cos t of complex value i: t = (i + 1/8) * 2 pi / N.
constexpr double mdctAngle(Qor32s i, Qor32s len) {
    return (i + 0.125) * 2 * 3.14159265358979323846 / len;
}

// Complex value i of the block folded by the symmetries of its cosines, before the rotation.
template <typename Folded, typename Sample>
QORAC_INLINE Folded mdctFold(const Sample* x, Qor32s len, Qor32s i) {
    const Qor32s q = len / 4, j = 2 * i;
    if (i < (q + 1) / 2) return {-x[len - q + j] - x[len - q - j - 1], x[q - j - 1] - x[q + j]};
    return {x[j - q] - x[len - q - j - 1], -x[len + q - j - 1] - x[q + j]};
}

}  // namespace qorac
