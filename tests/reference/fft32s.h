// The integer split-radix FFT written as its recursion: X[2k] is the transform of the sums,
// X[4k + 1] and X[4k + 3] those of the two rotated quarters.
#pragma once

#include <cmath>
#include <cstdint>
#include <vector>

#include "qorac.h"

namespace qorac::reference {

inline std::int32_t wrap32(std::int64_t a) { return std::int32_t(std::uint32_t(std::uint64_t(a))); }

// Parts of z * W: bits 32 to 63 of the exact sums.
inline Qor32sc twiddle(Qor32sc z, int j, int n) {
    const double angle = 2 * std::acos(-1.0) * j / n;
    const std::int64_t c = std::llround(std::cos(angle) * (1 << 30));
    const std::int64_t s = std::llround(std::sin(angle) * (1 << 30));
    const std::int64_t re = wrap32(std::int64_t{z.re} * 4), im = wrap32(std::int64_t{z.im} * 4);
    return {wrap32((re * c + im * s) >> 32), wrap32((im * c - re * s) >> 32)};
}

inline std::int32_t timesSqrtHalf(std::int64_t value) {
    return wrap32((std::int64_t{wrap32(std::int64_t{2} * wrap32(value))} * 0x5A82799A) >> 32);
}

inline std::vector<Qor32sc> fft32s(const std::vector<Qor32sc>& z) {
    const int n = int(z.size());
    if (n == 1) return z;
    const auto add = [](Qor32sc a, Qor32sc b) -> Qor32sc {
        return {wrap32(std::int64_t{a.re} + b.re), wrap32(std::int64_t{a.im} + b.im)};
    };
    const auto sub = [](Qor32sc a, Qor32sc b) -> Qor32sc {
        return {wrap32(std::int64_t{a.re} - b.re), wrap32(std::int64_t{a.im} - b.im)};
    };
    if (n == 2) return {add(z[0], z[1]), sub(z[0], z[1])};
    const int q = n / 4;
    std::vector<Qor32sc> sums(n / 2), first(q), third(q);
    for (int j = 0; j < n / 2; ++j) sums[j] = add(z[j], z[j + n / 2]);
    for (int j = 0; j < q; ++j) {
        const Qor32sc d = sub(z[j], z[j + 2 * q]), e = sub(z[j + q], z[j + 3 * q]);
        const Qor32sc minus = sub(d, {wrap32(-std::int64_t{e.im}), e.re});  // d - i e
        const Qor32sc plus = add(d, {wrap32(-std::int64_t{e.im}), e.re});   // d + i e
        if (j == 0) {
            first[j] = minus;
            third[j] = plus;
        } else if (8 * j == n) {
            first[j] = {timesSqrtHalf(std::int64_t{minus.re} + minus.im),
                        timesSqrtHalf(std::int64_t{minus.im} - minus.re)};
            third[j] = {timesSqrtHalf(std::int64_t{plus.im} - plus.re),
                        timesSqrtHalf(-std::int64_t{plus.re} - plus.im)};
        } else {
            first[j] = twiddle(minus, j, n);
            third[j] = twiddle(plus, 3 * j, n);
        }
    }
    const auto even = fft32s(sums), one = fft32s(first), three = fft32s(third);
    std::vector<Qor32sc> x(n);
    for (int k = 0; k < n / 2; ++k) x[2 * k] = even[k];
    for (int k = 0; k < q; ++k) x[4 * k + 1] = one[k], x[4 * k + 3] = three[k];
    return x;
}

}  // namespace qorac::reference
