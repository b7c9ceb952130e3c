// The integer predictors of spectral band replication on single numbers, and the predictor that
// they stand for in double precision.
#pragma once

#include <algorithm>
#include <complex>
#include <cstdint>
#include <limits>
#include <vector>

#include "qorac.h"
#include "reference/exact.h"

namespace qorac::reference {

struct PredictorHq {
    Qor32sc alpha0{}, alpha1{};
    bool rejected = false;
};
struct PredictorLp {
    Qor32s alpha0 = 0, alpha1 = 0, refCoef = 0;
    bool rejected = false;
};

namespace predictor {

inline int significantBits(std::uint64_t v) {
    int bits = 0;
    for (; v != 0; v >>= 1) ++bits;
    return bits;
}
inline int guardBits(Qor32u v) { return 32 - significantBits(v); }

inline Qor32s m(std::int64_t a, std::int64_t b) { return Qor32s((a * b) >> 32); }
inline Qor32s left(Qor32s a, int n) { return Qor32s(Qor32u(a) << (n & 31)); }
inline std::int64_t wrap64(Int128 v) { return std::int64_t(std::uint64_t(v)); }
inline std::uint64_t magnitude(std::int64_t v) {
    return v < 0 ? 0 - std::uint64_t(v) : std::uint64_t(v);
}

inline Qor32s inverse(Qor32s x, int& shift) {
    shift = guardBits(Qor32u(x)) - 1;
    const Qor32s y = left(x, shift);
    Qor32s r = 357913941;
    for (int i = 0; i < 5; ++i) r = left(m(r, wrap32(Int128{0x20000000} - m(y, r))), 4);
    return r;
}

inline Qor32s scaled(std::int64_t v, int bits) {
    return bits > 30 ? Qor32s(v >> (bits - 30)) : Qor32s(Qor32u(v) << (30 - bits));
}

// The peak of the parts in order, and the shift that it asks for.
inline Qor32s peak(const std::vector<Qor32s>& parts) {
    Qor32s max = std::numeric_limits<Qor32s>::min(), min = std::numeric_limits<Qor32s>::max();
    for (Qor32s v : parts) {
        if (v > max)
            max = v;
        else if (v < min)
            min = v;
    }
    return std::max(max, wrap32(-Int128{min}));
}
inline int guardShift(Qor32s peak) {
    const int g = guardBits(Qor32u(peak));
    return g < 3 ? 3 - g : 0;
}

}  // namespace predictor

// z: rows 0 to len + 1.
inline PredictorHq predictHq(const std::vector<Qor32sc>& samples, int len) {
    using namespace predictor;
    std::vector<Qor32s> parts;
    for (int n = 0; n < len + 2; ++n) {
        parts.push_back(samples[n].re);
        parts.push_back(samples[n].im);
    }
    const Qor32s top = peak(parts);
    if (top == 0) return {};
    std::vector<Qor32sc> z = samples;
    for (Qor32sc& v : z) v = {v.re >> guardShift(top), v.im >> guardShift(top)};

    struct Sum {
        std::int64_t re, im;
    };
    const auto sum = [&](int first, int last, int ahead) {
        Int128 re = 0, im = 0;
        for (int n = first; n <= last; ++n) {
            const Qor32sc a = z[n + ahead], b = z[n];
            re += Int128{a.re} * b.re + Int128{a.im} * b.im;
            im += Int128{a.im} * b.re - Int128{a.re} * b.im;
        }
        return Sum{wrap64(re), wrap64(im)};
    };
    const Sum phi[5] = {sum(1, len, 1), sum(0, len - 1, 2), sum(1, len, 0), sum(0, len - 1, 1),
                        sum(0, len - 1, 0)};
    std::uint64_t magnitudes = 0, raw = 0;
    for (const Sum& s : phi) {
        magnitudes |= magnitude(s.re) | magnitude(s.im);
        raw |= std::uint64_t(s.re) | std::uint64_t(s.im);
    }
    const int bits = magnitudes >> 32 ? significantBits(magnitudes) : significantBits(Qor32u(raw));
    const Qor32s R01 = scaled(phi[0].re, bits), I01 = scaled(phi[0].im, bits);
    const Qor32s R02 = scaled(phi[1].re, bits), I02 = scaled(phi[1].im, bits);
    const Qor32s R11 = scaled(phi[2].re, bits);
    const Qor32s R12 = scaled(phi[3].re, bits), I12 = scaled(phi[3].im, bits);
    const Qor32s R22 = scaled(phi[4].re, bits);

    PredictorHq p;
    int s;
    const Qor32s det = wrap32(Int128{m(R22, R11)} - m(R12, R12) - m(I12, I12));
    if (det > 0) {
        const Qor32s inv = inverse(det, s);
        p.alpha1.re = left(m(wrap32(Int128{m(R12, R01)} - m(I12, I01) - m(R02, R11)), inv), s + 1);
        p.alpha1.im = left(m(wrap32(Int128{m(R01, I12)} + m(I01, R12) - m(I02, R11)), inv), s + 1);
    }
    if (R11 != 0) {
        const Qor32s inv = inverse(R11, s);
        const Qor32s re = wrap32(Int128{R01 >> 3} + m(p.alpha1.re, R12) + m(p.alpha1.im, I12));
        const Qor32s im = wrap32(Int128{I01 >> 3} - m(p.alpha1.re, I12) + m(p.alpha1.im, R12));
        p.alpha0.re = left(wrap32(-Int128{m(re, inv)}), s + 4);
        p.alpha0.im = left(wrap32(-Int128{m(im, inv)}), s + 4);
    }
    const auto stable = [](Qor32sc a) {
        return std::int64_t{m(a.re, a.re)} + m(a.im, a.im) < 0x40000000;
    };
    return stable(p.alpha0) && stable(p.alpha1) ? p : PredictorHq{{}, {}, true};
}

inline PredictorLp predictLp(const std::vector<Qor32s>& samples, int len, int flag) {
    using namespace predictor;
    const Qor32s top =
        peak({samples.begin(), samples.begin() + std::max(0, std::min(len + 2, 40))});
    if (top == 0) return {};
    std::vector<Qor32s> z = samples;
    for (Qor32s& v : z) v >>= guardShift(top);
    const auto sum = [&](int first, int last, int ahead) {
        Int128 s = 0;
        for (int n = first; n <= last; ++n) s += Int128{z[n + ahead]} * z[n];
        return wrap64(s);
    };
    const auto limited = [](Qor32s v) { return std::clamp(v, -0x20000000, 0x20000000); };
    PredictorLp p;
    int s;
    if (flag == 0) {
        const std::int64_t a = sum(1, len, 1), b = sum(1, len, 0);
        const int bits = significantBits(magnitude(a) | magnitude(b));
        if (scaled(b, bits) == 0) return p;
        const Qor32s inv = inverse(scaled(b, bits), s);
        p.refCoef = limited(left(wrap32(-Int128{m(scaled(a, bits), inv)}), s + 1));
        return p;
    }
    const std::int64_t phi[5] = {sum(1, len, 1), sum(0, len - 1, 2), sum(1, len, 0),
                                 sum(0, len - 1, 1), sum(0, len - 1, 0)};
    std::uint64_t magnitudes = 0;
    for (std::int64_t v : phi) magnitudes |= magnitude(v);
    const int bits = significantBits(magnitudes);
    const Qor32s R01 = scaled(phi[0], bits), R02 = scaled(phi[1], bits), R11 = scaled(phi[2], bits);
    const Qor32s R12 = scaled(phi[3], bits), R22 = scaled(phi[4], bits);
    const std::uint64_t t = std::uint64_t(std::int64_t{m(R12, R12)});
    const Qor32s relaxed = Qor32s(2 * Qor32u(((t << 31) - (t << 11)) >> 32));
    const Qor32s det = wrap32(Int128{m(R22, R11)} - relaxed);
    Qor32s alpha0 = 0, alpha1 = 0;
    if (det > 0) {
        const Qor32s inv = inverse(det, s);
        alpha1 = left(m(wrap32(Int128{m(R01, R12)} - m(R02, R11)), inv), s + 1);
    }
    const auto stable = [](Qor32s a) { return m(a, a) < 0x40000000; };
    if (R11 == 0) {
        p.alpha1 = stable(alpha1) ? alpha1 : 0;
        return p;
    }
    const Qor32s inv = inverse(R11, s);
    p.refCoef = limited(left(wrap32(-Int128{m(R01, inv)}), s + 1));
    alpha0 = left(wrap32(-Int128{m(wrap32(Int128{R01 >> 3} + m(R12, alpha1)), inv)}), s + 4);
    p.rejected = !stable(alpha0) || !stable(alpha1);
    if (!p.rejected) p.alpha0 = alpha0, p.alpha1 = alpha1;
    return p;
}

// The covariance method in double precision; the determinant times |phi12|^2 less `relaxation`.
struct Predictor {
    std::complex<double> alpha0, alpha1;
};
inline Predictor predict(const std::vector<std::complex<double>>& z, int len, double relaxation) {
    std::complex<double> phi01, phi02, phi12;
    double phi11 = 0, phi22 = 0;
    for (int n = 0; n < len; ++n) {
        phi01 += z[n + 2] * std::conj(z[n + 1]);
        phi02 += z[n + 2] * std::conj(z[n]);
        phi12 += z[n + 1] * std::conj(z[n]);
        phi11 += std::norm(z[n + 1]);
        phi22 += std::norm(z[n]);
    }
    const double det = phi22 * phi11 - (1 - relaxation) * std::norm(phi12);
    Predictor p;
    p.alpha1 = (phi01 * phi12 - phi02 * phi11) / det;
    p.alpha0 = -(phi01 + p.alpha1 * std::conj(phi12)) / phi11;
    return p;
}

}  // namespace qorac::reference
