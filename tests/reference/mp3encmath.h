// Plain forms of the encoder's fixed-point helpers: the formulas in integers wide enough never to
// wrap, divisions toward minus infinity instead of shifts.
#pragma once

#include "qorac.h"

namespace qorac::reference {

__extension__ typedef __int128 Int128;

inline Int128 power2(int n) { return Int128(1) << n; }

// floor(a / 2^n) for n >= 0, a * 2^-n otherwise.
inline Int128 scaled(Int128 a, int n) {
    if (n < 0) return a * power2(-n);
    const Int128 d = power2(n), q = a / d;
    return a % d < 0 ? q - 1 : q;
}

inline Qor32s wrap32(Int128 a) {
    const Int128 r = a - scaled(a, 32) * power2(32);
    return Qor32s(r >= power2(31) ? r - power2(32) : r);
}
inline Qor64s wrap64(Int128 a) {
    const Int128 r = a - scaled(a, 64) * power2(64);
    return Qor64s(r >= power2(63) ? r - power2(64) : r);
}
inline Int128 unsigned32(Int128 a) { return a - scaled(a, 32) * power2(32); }

struct Scaled {
    Int128 value;
    int shift;
};

inline int norm(Int128 v) {
    int n = 0;
    while (n < 30 && v * power2(n) < power2(30)) ++n;
    return n;
}

// The argument is a 64-bit pattern taken as unsigned.
inline Scaled norm64(Int128 value) {
    value -= scaled(value, 64) * power2(64);
    const Int128 hi = scaled(value, 32), lo = unsigned32(value);
    if (hi != 0) {
        const int n = norm(hi);
        return {unsigned32(hi * power2(n) + (n == 0 ? lo : scaled(lo, 32 - n))), n};
    }
    if (lo >= power2(31)) return {scaled(lo, 1), 31};
    return {lo * power2(norm(lo)), norm(lo) + 32};
}

inline Scaled reciprocal(Int128 v) {
    const int n = norm(v);
    const Int128 x = v * power2(n), q = scaled(x * x, 32);
    const Int128 r =
        189646461 * power2(32) + q * 1438104507 - scaled(x * q, 32) * 965766563 - x * 790041808;
    return {wrap32(scaled(r, 27)), n};
}

struct Logarithm {
    int exponent;
    int fraction;
};

inline Logarithm log2(Int128 v) {
    const int n = norm(v);
    const Int128 y = scaled(v * power2(n), 16);
    return {30 - n, int(scaled(-27019 * power2(14) + 32687 * y - 5520 * scaled(y * y, 14), 14))};
}

inline Qor32s power118813(Int128 v) {
    static const int table[31] = {65536, 57524, 50491, 44318, 38900, 34144, 29970, 26306,
                                  23090, 20267, 17789, 15614, 13705, 12030, 10570, 9268,
                                  8135,  7140,  6267,  5501,  4829,  4238,  3720,  3265,
                                  2866,  2516,  2208,  1938,  1701,  1493,  1311};
    const int n = norm(v);
    const Int128 y = v * power2(n);
    const Int128 a = scaled(-8791 * scaled(y * y, 32) + 14513 * y + 22631 * power2(31), 14);
    return wrap32(scaled(table[n] * scaled(v * a, 32), 16));
}

inline Qor32s root(Int128 value) {
    const auto [m, n] = norm64(value);
    Int128 v = -13008 * scaled(m * m, 32) + 28828 * m;
    if (m != 0) v += 10409 * power2(31);
    v = scaled(v, 15);
    if (n % 2 == 0) v = scaled(v * 23170, 14);
    return wrap32(scaled(v, n / 2 - 5));
}

}  // namespace qorac::reference
