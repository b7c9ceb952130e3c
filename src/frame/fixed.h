// Fixed-point arithmetic: the one place that knows how to multiply, wrap, shift and saturate.
//
// All functions are exact on every argument unless they say otherwise, and none has undefined
// behaviour: what wraps, wraps through unsigned.
#pragma once

#include "frame/dispatch.h"
#include "qorac.h"

namespace qorac {

using Qor64u = unsigned long long;

constexpr Qor32s kMax32s = 0x7FFFFFFF;
constexpr Qor32s kMin32s = -kMax32s - 1;

// --- wrapping ---------------------------------------------------------------------------------

constexpr QORAC_INLINE Qor32s wrapAdd(Qor32s a, Qor32s b) { return Qor32s(Qor32u(a) + Qor32u(b)); }
constexpr QORAC_INLINE Qor32s wrapSub(Qor32s a, Qor32s b) { return Qor32s(Qor32u(a) - Qor32u(b)); }
constexpr QORAC_INLINE Qor32s wrapNeg(Qor32s a) { return Qor32s(0u - Qor32u(a)); }
constexpr QORAC_INLINE Qor32s wrapMul(Qor32s a, Qor32s b) { return Qor32s(Qor32u(a) * Qor32u(b)); }
constexpr QORAC_INLINE Qor32s wrapShl(Qor32s a, int n) { return Qor32s(Qor32u(a) << n); }

// |a|, with the magnitude of the smallest value as an unsigned number.
constexpr QORAC_INLINE Qor32u magnitude(Qor32s a) { return a < 0 ? 0u - Qor32u(a) : Qor32u(a); }

// --- products ---------------------------------------------------------------------------------

// High half of the 64-bit product: a * b / 2^32, truncated toward minus infinity.
constexpr QORAC_INLINE Qor32s mulHigh(Qor32s a, Qor32s b) {
    return Qor32s((Qor64s(a) * Qor64s(b)) >> 32);
}

// Low 32 bits of (a * b) >> n, the product taken in 64 bits.
constexpr QORAC_INLINE Qor32s mulShift(Qor32s a, Qor32s b, int n) {
    return Qor32s((Qor64s(a) * Qor64s(b)) >> n);
}

// Low 32 bits of (a * b + 2^(n-1)) >> n, the product taken in 64 bits.
constexpr QORAC_INLINE Qor32s mulRound(Qor32s a, Qor32s b, int n) {
    return Qor32s((Qor64s(a) * Qor64s(b) + (Qor64s(1) << (n - 1))) >> n);
}

// Low 32 bits of (a * c + b * s + 2^13) >> 14 for Q14 factors with |c| + |s| at most 2^15, the sum
// exact. Split at bit 15, it needs 32-bit products only.
constexpr QORAC_INLINE Qor32s mulAddRound14(Qor32s a, Qor32s c, Qor32s b, Qor32s s) {
    const Qor32s high = (a >> 15) * c + (b >> 15) * s;
    const Qor32s low = (a & 0x7FFF) * c + (b & 0x7FFF) * s;
    return wrapAdd(wrapShl(high, 1), (low + (1 << 13)) >> 14);
}

// a * b / 2^31 truncated, of a non-negative 64-bit number and a non-negative Q31 fraction.
constexpr QORAC_INLINE Qor64s mulQ31(Qor64s a, Qor32s b) {
    __extension__ typedef unsigned __int128 Qor128u;
    return Qor64s((Qor128u(Qor64u(a)) * (Qor64u(b) << 33)) >> 64);
}

// --- halves of a 64-bit value -----------------------------------------------------------------

constexpr QORAC_INLINE Qor32s high32(Qor64s a) { return Qor32s(a >> 32); }
constexpr QORAC_INLINE Qor32u low32(Qor64s a) { return Qor32u(a); }

// --- saturation -------------------------------------------------------------------------------

constexpr QORAC_INLINE Qor32s saturate32s(Qor64s a) {
    return a > kMax32s ? kMax32s : a < kMin32s ? kMin32s : Qor32s(a);
}
constexpr QORAC_INLINE Qor16s saturate16s(Qor64s a) {
    return Qor16s(a > 32767 ? 32767 : a < -32768 ? -32768 : a);
}

// --- shifts -----------------------------------------------------------------------------------

// The processor's rule for a variable 32-bit shift: the count is taken modulo 32.
constexpr QORAC_INLINE Qor32u shrMod32(Qor32u a, int n) { return a >> (Qor32u(n) & 31); }
constexpr QORAC_INLINE Qor32u shlMod32(Qor32u a, int n) { return a << (Qor32u(n) & 31); }

// a / 2^n truncated toward minus infinity, for n from -63 to 63; a negative count shifts left, and
// what leaves at the top is lost.
constexpr QORAC_INLINE Qor64s shrEither(Qor64s a, int n) {
    return n >= 0 ? a >> n : Qor64s(Qor64u(a) << -n);
}

// a / 2^n rounded to nearest, ties to even; n from 1 to 62 and |a| below 2^62.
constexpr QORAC_INLINE Qor64s shrRound(Qor64s a, int n) {
    return (a + ((Qor64s(1) << (n - 1)) - 1) + ((a >> n) & 1)) >> n;
}

// Nearest integer with ties to even, whatever the caller's rounding mode; |x| below 2^22.
constexpr QORAC_INLINE int roundToEven(Qor32f x) {
    const int towardZero = int(x);
    const Qor32f rest = x - Qor32f(towardZero);
    const bool odd = towardZero & 1;
    return towardZero + (rest > 0.5f || (rest == 0.5f && odd)) -
           (rest < -0.5f || (rest == -0.5f && odd));
}

// Number of bits that the value takes: 0 for 0, else 1 + floor(log2(a)).
constexpr QORAC_INLINE int bitLength(Qor32u a) { return a == 0 ? 0 : 32 - __builtin_clz(a); }

// The low bits of a number in reverse.
constexpr QORAC_INLINE int reversed(int a, int bits) {
    int result = 0;
    for (int i = 0; i < bits; ++i) result |= ((a >> i) & 1) << (bits - 1 - i);
    return result;
}

}  // namespace qorac
