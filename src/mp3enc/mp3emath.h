// Fixed-point reciprocal, logarithm, power and square root of the Layer III encoder.
//
// Each takes its argument apart into a mantissa and a power of two and evaluates a polynomial of
// degree two or three on the mantissa. Their precision, two to three decimal digits, is part of the
// encoder's results: decisions of the psychoacoustic model and of the quantization loop are made on
// these very values, so that a better approximation would give other streams.
//
// Mantissas are unsigned: bit 31 of one that was not shifted is a bit like the others.
#pragma once

#include "frame/fixed.h"

namespace qorac {

// Left shift that brings the highest set bit to bit 30; 0 when bit 30 or 31 is set, 30 for 0.
constexpr QORAC_INLINE int normShift(Qor32u v) {
    const int length = bitLength(v | 1);
    return length > 30 ? 0 : 31 - length;
}

// Mantissa and shift of hi * 2^32 + lo, which is about mantissa * 2^(32 - shift).
//
// With bit 30 or 31 of `hi` set the shift is 0 and the whole of `lo` is added to the mantissa, its
// weight notwithstanding, with wrap at 32 bits.
constexpr QORAC_INLINE Qor32s ownsNorm64To32_Audio(Qor32u hi, Qor32u lo, Qor32u* pMant,
                                                   Qor32s* pShift) {
    if (hi != 0) {
        const int n = normShift(hi);
        *pMant = (hi << n) + shrMod32(lo, -n);
        *pShift = n;
    } else if (lo >> 31) {
        *pMant = lo >> 1;
        *pShift = 31;
    } else {
        const int n = normShift(lo);
        *pMant = lo << n;
        *pShift = n + 32;
    }
    return 0;
}

inline constexpr Qor32s _TAB_Reciprocal[4] = {-965766563, 1438104507, -790041808, 189646461};

// 2^61 / (v << shift) within 0.4 percent: a cubic in the normalised v.
constexpr QORAC_INLINE void ownsReciprocal_Audio(Qor32u v, Qor32s* pRcp, Qor32s* pShift) {
    const int n = normShift(v);
    const Qor64u x = v << n;
    const Qor64u square = (x * x) >> 32;
    const Qor64u cube = (x * square) >> 32;
    const Qor64s sum = (Qor64s(_TAB_Reciprocal[3]) << 32) + Qor64s(square) * _TAB_Reciprocal[1] +
                       Qor64s(cube) * _TAB_Reciprocal[0] + Qor64s(x) * _TAB_Reciprocal[2];
    *pRcp = Qor32s(sum >> 27);
    *pShift = n;
}

inline constexpr Qor32s _TAB_Log2[3] = {-5520, 32687, -27019};

// log2(v) is about exp + frac / 2^14.
constexpr QORAC_INLINE void ownsLog2_Audio_32s16s(Qor32u v, Qor32s* pExp, Qor16s* pFrac) {
    const int n = normShift(v);
    const Qor64s y = (v << n) >> 16;
    const Qor64s sum =
        Qor64s(_TAB_Log2[2]) * 16384 + _TAB_Log2[1] * y + _TAB_Log2[0] * ((y * y) >> 14);
    *pExp = 30 - n;
    *pFrac = Qor16s(sum >> 14);
}

inline constexpr Qor32s _TAB_Pow[3] = {-8791, 14513, 22631};

// 65536 * 2^(-0.18813 n)
inline constexpr Qor32s _TAB_Pow2[31] = {65536, 57524, 50491, 44318, 38900, 34144, 29970, 26306,
                                         23090, 20267, 17789, 15614, 13705, 12030, 10570, 9268,
                                         8135,  7140,  6267,  5501,  4829,  4238,  3720,  3265,
                                         2866,  2516,  2208,  1938,  1701,  1493,  1311};

// v^1.18813 of a Q31 fraction: v times the mantissa's power 0.18813, a parabola, times the
// tabulated power of the exponent.
constexpr QORAC_INLINE void ownsPow118813_Audio_32s(Qor32s v, Qor32s* pOut) {
    const int n = normShift(Qor32u(v));
    const Qor64s y = wrapShl(v, n);
    const Qor64s power =
        (_TAB_Pow[0] * ((y * y) >> 32) + y * _TAB_Pow[1] + (Qor64s(_TAB_Pow[2]) << 31)) >> 14;
    const Qor64s w = (v * power) >> 32;
    *pOut = Qor32s((_TAB_Pow2[n] * w) >> 16);
}

inline constexpr Qor32s _TAB_Sqrt[3] = {-13008, 28828, 10409};

// 32 * sqrt(hi * 2^32 + lo), the low 32 bits.
constexpr QORAC_INLINE void ownsSqrt_Audio_32s(Qor32u hi, Qor32u lo, Qor32s* pOut) {
    Qor32u mantissa = 0;
    Qor32s n = 0;
    ownsNorm64To32_Audio(hi, lo, &mantissa, &n);
    const Qor64u m = mantissa;
    Qor64s v = (Qor64s((m * m) >> 32) * _TAB_Sqrt[0] + Qor64s(m) * _TAB_Sqrt[1] +
                (m == 0 ? 0 : Qor64s(_TAB_Sqrt[2]) << 31)) >>
               15;
    constexpr Qor64s kSqrt2 = 23170;  // Q14
    if (n % 2 == 0) v = (v * kSqrt2) >> 14;
    *pOut = Qor32s(shrEither(v, (n >> 1) - 5));
}

}  // namespace qorac
