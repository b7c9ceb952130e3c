// What the MDCTs of floats and of 16-bit data share: lengths and twiddles.
//
// N is the length of a block in time, N/2 the number of coefficients, q = N/4 the length of the
// complex transform inside.
#pragma once

#include <bit>

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

// Stores the twiddle factors of complex value i where the vectors take them. A vector holds value i
// beside its mirror i' = q - 1 - i: in the first half of the table the cosine of i beside the sine
// of i', in the second half the sine of i beside the cosine of i'.
template <typename T>
void storeMdctTwiddle(T* pTwiddle, Qor32s q, Qor32s i, T sine, T cosine) {
    const bool mirror = i >= q / 2;
    const Qor32s at = mirror ? 2 * (q - 1 - i) + 1 : 2 * i;
    pTwiddle[at] = mirror ? sine : cosine;
    pTwiddle[q + at] = mirror ? cosine : sine;
}

}  // namespace qorac
