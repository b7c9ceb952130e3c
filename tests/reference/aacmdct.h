// The integer MDCT of AAC step by step: scalar 64-bit sums, the recursive FFT, windows in double
// precision.
#pragma once

#include <array>
#include <cmath>
#include <cstdint>
#include <vector>

#include "qorac.h"
#include "reference/fft32s.h"

namespace qorac::reference {

using Signal = std::vector<Qor32s>;

// --- windows ----------------------------------------------------------------------------------

inline double besselI0(double x) {
    double sum = 1, term = 1;
    for (int k = 1; term > 1e-18 * sum; ++k) sum += term *= x * x / (4.0 * k * k);
    return sum;
}

// Rising half of n samples in Q31, shape 0 sine, 1 Kaiser-Bessel derived.
inline Signal risingWindow(int n, int shape) {
    const double pi = std::acos(-1.0), alpha = n == 1024 ? 4 : 6;
    Signal w(n);
    std::vector<double> sum(n + 1);
    for (int i = 0; i <= n; ++i) {
        const double x = 2.0 * i / n - 1;
        sum[i] = (i ? sum[i - 1] : 0) + besselI0(pi * alpha * std::sqrt(1 - x * x));
    }
    for (int i = 0; i < n; ++i) {
        const double v = shape ? std::sqrt(sum[i] / sum[n]) : std::sin(pi / (2 * n) * (i + 0.5));
        w[i] = Qor32s(std::llround(v * 2147483648.0));
    }
    return w;
}

// --- cores ------------------------------------------------------------------------------------

struct Rotation {
    std::int64_t c, s;
    std::int64_t re(std::int64_t a, std::int64_t b) const { return a * c + b * s; }
    std::int64_t im(std::int64_t a, std::int64_t b) const { return b * c - a * s; }
};

inline Rotation rotation(int m, int n) {
    const double t = 2 * std::acos(-1.0) * (m + 0.125) / (2 * n);
    return {std::llround(std::cos(t) * (1 << 30)), std::llround(std::sin(t) * (1 << 30))};
}

// The block scaling; returns the number of bits taken off.
inline int scaleBlock(std::vector<Qor32sc>& z) {
    std::int64_t sum = 0;
    for (const Qor32sc& v : z) sum += std::abs(std::int64_t{v.re}) + std::abs(std::int64_t{v.im});
    int sh = 0;
    if (sum >= 0x20000000)
        while (sum > 0x1FFFFFFF) sum /= 2, ++sh;
    if (sh > 0)
        for (Qor32sc& v : z)
            v = {Qor32s((std::int64_t{v.re} + (1 << (sh - 1))) >> sh),
                 Qor32s((std::int64_t{v.im} + (1 << (sh - 1))) >> sh)};
    return sh;
}

// All 2n samples of the inverse transform; *pShift tells what the block scaling did.
inline Signal inverseMdct(const Signal& x, bool measured, int* pShift = nullptr) {
    const int n = int(x.size()), order = n == 1024 ? 9 : 6;
    std::vector<Qor32sc> z(n / 2);
    for (int m = 0; m < n / 2; ++m) {
        const Rotation r = rotation(m, n);
        z[m] = {Qor32s(r.re(x[2 * m], x[n - 1 - 2 * m]) >> 32),
                Qor32s(r.im(x[2 * m], x[n - 1 - 2 * m]) >> 32)};
    }
    const int sh = measured ? scaleBlock(z) : 0;
    if (pShift) *pShift = sh;
    const auto y = fft32s(z);
    const int p = order - sh - 3;
    const auto finish = [&](std::int64_t sum) {
        if (!measured) return wrap32(sum >> 32);
        if (p >= 1) return wrap32(((sum >> 32) + (1 << (p - 1))) >> p);
        return wrap32(sum >> (31 + p));
    };
    std::vector<Qor32sc> w(n / 2);
    for (int m = 0; m < n / 2; ++m) {
        const Rotation r = rotation(m, n);
        w[m] = {finish(r.re(y[m].re, y[m].im)), finish(r.im(y[m].re, y[m].im))};
    }
    const auto negative = [](Qor32s a) { return wrap32(-std::int64_t{a}); };
    Signal out(n);
    for (int t = 0; t < n / 8; ++t) {
        out[n - 1 - 2 * t] = negative(w[t].re);
        out[n / 2 - 1 - 2 * t] = negative(w[t].im);
        out[2 * t] = w[n / 4 + t].re;
        out[n / 2 + 2 * t] = w[n / 4 + t].im;
        out[n / 2 + 2 * t + 1] = negative(w[n / 4 - 1 - t].re);
        out[2 * t + 1] = negative(w[n / 4 - 1 - t].im);
        out[n / 2 - 2 * t - 2] = w[n / 2 - 1 - t].re;
        out[n - 2 * t - 2] = w[n / 2 - 1 - t].im;
    }
    Signal f(2 * n);
    for (int j = 0; j < n / 2; ++j) {
        f[j] = out[j];
        f[n + j] = out[n / 2 + j];
    }
    for (int j = 0; j < n / 2; ++j) {
        f[n - 1 - j] = negative(f[j]);
        f[2 * n - 1 - j] = f[n + j];
    }
    return f;
}

// n coefficients of 2n samples.
inline Signal forwardMdct(const Signal& x, bool measured) {
    const int n = int(x.size()) / 2, order = n == 1024 ? 9 : 6;
    Signal a(2 * n);
    for (int i = 0; i < n / 2; ++i) a[i] = wrap32(-std::int64_t{x[3 * n / 2 + i]});
    for (int i = n / 2; i < 2 * n; ++i) a[i] = x[i - n / 2];
    Signal re(n / 2), im(n / 2);
    for (int j = 0; j < n / 2; ++j) re[j] = wrap32(std::int64_t{a[2 * j]} - a[2 * n - 1 - 2 * j]);
    for (int i = 0; i < n / 4; ++i) {
        im[i] = wrap32(std::int64_t{a[n - 1 - 2 * i]} - a[n + 2 * i]);
        im[n / 2 - 1 - i] = wrap32(std::int64_t{a[2 * i + 1]} - a[2 * n - 2 - 2 * i]);
    }
    std::vector<Qor32sc> z(n / 2);
    for (int m = 0; m < n / 2; ++m) {
        const Rotation r = rotation(m, n);
        const std::int64_t u = r.re(re[m], im[m]), v = r.im(re[m], im[m]);
        if (measured)
            z[m] = {wrap32(u >> 32), wrap32(v >> 32)};
        else
            z[m] = {wrap32((u + 0x20000000) >> 30), wrap32((v + 0x20000000) >> 30)};
    }
    const int sh = measured ? scaleBlock(z) : 0;
    const auto y = fft32s(z);
    const int p = order - sh - 3;
    const auto finish = [&](std::int64_t sum) {
        if (!measured) return wrap32(sum >> 29);
        if (p < 0) return wrap32(sum >> (32 + p));
        return wrap32(((sum >> 32) + (p ? 1 << (p - 1) : 0)) >> p);
    };
    Signal out(n);
    for (int m = 0; m < n / 2; ++m) {
        const Rotation r = rotation(m, n);
        out[2 * m] = finish(r.re(y[m].re, y[m].im));
        out[n - 1 - 2 * m] = finish(-r.im(y[m].re, y[m].im));
    }
    return out;
}

// --- windowing --------------------------------------------------------------------------------

enum class Product { full, doubled, halved };

inline Qor32s weighted(Qor32s v, Qor32s w, Product product) {
    switch (product) {
        case Product::full:
            return wrap32((std::int64_t{v} * w) >> 31);
        case Product::doubled:
            return wrap32((std::int64_t{wrap32(std::int64_t{v} * 2)} * w) >> 32);
        default:
            return wrap32((std::int64_t{v} * w) >> 32);
    }
}
inline Qor32s unweighted(Qor32s v, Product product) {
    return product == Product::halved ? v >> 1 : v;
}

// The window of 2048 samples (sequence 0, 1 or 3) or of the 256 of a short block (2).
inline Signal windowed(Signal f, int sequence, int shape, int prevShape, Product product) {
    const int longLen = sequence == 2 ? 128 : 1024;
    const Signal rise = risingWindow(sequence == 3 ? 128 : longLen, prevShape);
    const Signal fall = risingWindow(sequence == 1 ? 128 : longLen, shape);
    const int half = int(f.size()) / 2;
    for (int n = 0; n < half; ++n) {
        Qor32s& v = f[n];
        if (sequence != 3)
            v = weighted(v, rise[n], product);
        else if (n < 448)
            v = 0;
        else if (n < 576)
            v = weighted(v, rise[n - 448], product);
        else
            v = unweighted(v, product);
    }
    for (int n = 0; n < half; ++n) {
        Qor32s& v = f[half + n];
        if (sequence != 1)
            v = weighted(v, fall[half - 1 - n], product);
        else if (n < 448)
            v = unweighted(v, product);
        else if (n < 576)
            v = weighted(v, fall[575 - n], product);
        else
            v = 0;
    }
    return f;
}

// 2048 windowed samples of a frame.
inline Signal windowedFrame(const Signal& spectrum, int sequence, int shape, int prevShape,
                            bool measured, Product product) {
    if (sequence != 2)
        return windowed(inverseMdct(spectrum, measured), sequence, shape, prevShape, product);
    Signal sum(2048, 0);
    for (int b = 0; b < 8; ++b) {
        const Signal block(spectrum.begin() + 128 * b, spectrum.begin() + 128 * (b + 1));
        const Signal g =
            windowed(inverseMdct(block, measured), 2, shape, b ? shape : prevShape, product);
        for (int i = 0; i < 256; ++i)
            sum[448 + 128 * b + i] = wrap32(std::int64_t{sum[448 + 128 * b + i]} + g[i]);
    }
    return sum;
}

}  // namespace qorac::reference
