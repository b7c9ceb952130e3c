// The power 4/3 of an integer as mantissa and exponent, for the requantization of MP3 (ISO 11172-3)
// and of AAC (ISO/IEC 13818-7): tables up to 128, a polynomial above. All results are truncated in
// the way that the tables and the polynomial fix.
#pragma once

#include "frame/constmath.h"
#include "frame/fixed.h"

namespace qorac {

// k^(4/3) * 2^(-r/4) for k from 0 to 15: Q28 below 4, Q25 from 4 on.
struct Req16 {
    Qor32s row[4][16];
};
inline constexpr Req16 _pReq16x4_Audio = [] {
    Req16 table{};
    for (int r = 0; r < 4; ++r)
        for (int k = 0; k < 16; ++k)
            table.row[r][k] = Qor32s(constmath::round(constmath::scale2(
                constmath::pow43(k) * constmath::exp2Quarter(-r), k < 4 ? 28 : 25)));
    return table;
}();

// k^(4/3) for k from 16 to 128 at k - 16: Q23 below 64, Q21 from 64 on.
inline constexpr auto _pSqrt43_Audio = constmath::makeTable<Qor32s, 113>([](int i) {
    const int k = i + 16;
    return constmath::round(constmath::scale2(constmath::pow43(k), k < 64 ? 23 : 21));
});

// 2^(-r/4) in Q31, the first saturated.
inline constexpr Qor32s _pSqrt14_32s_Audio[4] = {0x7FFFFFFF, 0x6BA27E65, 0x5A82799A, 0x4C1BF829};

// m^(4/3) for m from 0.5 to 1, highest power first.
inline constexpr Qor32s _pPolyCoeff43_Audio[8] = {-457633446, 1445956062, -2036421417, 1707815404,
                                                  -991941369, 535739478,  127541088,   -1613111};

// 2^(4 (k + 8) / 3) for the octave k of the magnitude, 0 for 128 to 255: mantissa in Q31, and 31
// less the exponent.
inline constexpr Qor32s _pXt43_Audio[7] = {0x6597FA94, 0x7FFFFFFF, 0x50A28BE6, 0x6597FA94,
                                           0x7FFFFFFF, 0x50A28BE6, 0x6597FA94};
inline constexpr Qor32s _pXtExp_Audio[7] = {20, 19, 17, 16, 15, 13, 12};

// a^(4/3) is about mantissa * 2^(exponent - 27).
struct Power43 {
    Qor32s mantissa;
    int exponent;
};

// a from 16 on. Up to 16383 the magnitude is normalised to 2^30 to 2^31; above, what the shifts
// make of the wrapped value counts.
constexpr QORAC_INLINE Power43 pow43(Qor32u a) {
    if (a <= 128) return {_pSqrt43_Audio[a - 16], a < 64 ? 4 : 6};
    Qor32s m = Qor32s(a << 17);
    int octave = 6;
    if (m < 1 << 27) m = wrapShl(m, 4), octave -= 4;
    if (m < 1 << 29) m = wrapShl(m, 2), octave -= 2;
    if (m < 1 << 30) m = wrapShl(m, 1), octave -= 1;
    if (octave < 0) octave = 0;  // above 16383 only
    Qor32s p = _pPolyCoeff43_Audio[0];
    for (int i = 1; i < 8; ++i) p = wrapAdd(mulHigh(p, m), _pPolyCoeff43_Audio[i]);
    return {wrapShl(mulHigh(wrapShl(p, 4), _pXt43_Audio[octave]), 1), 27 - _pXtExp_Audio[octave]};
}

}  // namespace qorac
