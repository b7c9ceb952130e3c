// The integer QMF banks of spectral band replication written step by step on single numbers, and
// the sums that they stand for in double precision.
#pragma once

#include <array>
#include <cmath>
#include <complex>
#include <cstdint>
#include <numbers>
#include <vector>

#include "qorac.h"
#include "reference/fft32s.h"
#include "sbr/qmfwindow.h"

namespace qorac::reference {

class SbrQmf32s {
  public:
    using Numbers = std::vector<Qor32sc>;
    using Reals = std::vector<std::int32_t>;

    // Ten slots of 32 elements for the analysis, of 128 for the synthesis, of 64 for the
    // downsampled one, which also runs in a ring for 128.
    explicit SbrQmf32s(int slot) : ring_(std::size_t(10 * slot)) {}

    // --- one slot through a bank --------------------------------------------------------------

    Numbers analysisHq(const Reals& src, int kx) {
        Numbers x = analysisTransformHq(analysisWindow(src));
        for (int k = kx; k < 32; ++k) x[k] = {0, 0};
        return x;
    }
    Reals analysisLp(const Reals& src, int kx) {
        Reals x = analysisTransformLp(analysisWindow(src));
        for (int k = kx; k < 32; ++k) x[k] = 0;
        return x;
    }
    Reals synthesisHq(const Numbers& src) { return window(synthesisTransformHq(src)); }
    Reals synthesisLp(const Reals& src) { return window(synthesisTransformLp(src)); }
    Reals synthesisDownHq(const Numbers& src) { return window(downTransformHq(src)); }
    Reals synthesisDownLp(const Reals& src) { return window(downTransformLp(src)); }

    // --- steps --------------------------------------------------------------------------------

    // The 64 windowed sums of the newest 320 samples.
    Reals analysisWindow(const Reals& src) {
        push();
        for (int k = 0; k < 32; ++k) at(32, 0, k) = src[std::size_t(31 - k)];
        Reals u(64);
        for (int i = 0; i < 64; ++i) {
            for (int r = 0; r < 5; ++r)
                u[i] = wrap32(std::int64_t{u[i]} +
                              m(window30(2 * (64 * r + i)), at(32, 2 * r + (i >= 32), i % 32)));
        }
        return u;
    }

    // The windowed sums of ten slots whose newest is v.
    Reals window(const Reals& v) {
        push();
        const int half = int(v.size()) / 2, step = 64 / half;
        for (int i = 0; i < 2 * half; ++i) at(2 * half, 0, i) = v[i];
        Reals out(half);
        for (int i = 0; i < half; ++i) {
            for (int t = 0; t < 10; ++t)
                out[i] = wrap32(std::int64_t{out[i]} + m(window30(step * (half * t + i)),
                                                         at(2 * half, t, half * (t % 2) + i)));
        }
        return out;
    }

    static Numbers analysisTransformHq(const Reals& u) {
        Numbers t(32), x(32);
        for (int r = 0; r < 32; ++r) {
            const std::int32_t y = r == 0 ? u[0] : negated(u[64 - r]), v = u[32 - r];
            const Angle a(-(4 * r + 1) / 256.0);
            t[r] = {wrap32(m(a.c, y) - m(a.s, v)), wrap32(m(a.c, v) + m(a.s, y))};
        }
        t = fft32s(t);
        for (int r = 0; r < 32; ++r) {
            const Angle a(-r / 64.0);
            const std::int32_t re = t[r].re, im = t[r].im;
            if (r < 16)
                x[2 * r] = {wrap32(m(a.c, re) - m(a.s, im)), wrap32(m(a.s, re) + m(a.c, im))};
            else
                x[63 - 2 * r] = {wrap32(-(m(a.c, im) + m(a.s, re))),
                                 wrap32(m(a.s, im) - m(a.c, re))};
        }
        return x;
    }

    static Reals analysisTransformLp(const Reals& u) {
        Numbers t(64);
        for (int n = 0; n < 64; ++n) t[n] = modulated(Angle(0.75 - n / 64.0), u[n]);
        t = fft32s(t);
        Reals x(32);
        for (int k = 0; k < 32; ++k) {
            const double re = t[k].re, im = t[k].im;
            x[k] = std::int32_t(k % 4 == 0   ? std::floor(re / 4)
                                : k % 4 == 1 ? -std::floor(-im / 4)
                                : k % 4 == 2 ? std::floor(-re / 4)
                                             : -std::floor(im / 4));
        }
        return x;
    }

    static Reals synthesisTransformHq(const Numbers& x) {
        Reals a(64), b(64);
        const auto rotateInto = [](Reals& y, int at, double angle, std::int32_t u, std::int32_t v) {
            const FastAngle f(angle);
            const std::int32_t sum = wrap32(std::int64_t{u} + v);
            y[at] = wrap32(m(f.s, sum) + m(f.d, u));
            y[at + 1] = wrap32(m(f.t, v) - m(f.s, sum));
        };
        for (int i = 0; i < 16; ++i) {
            const double low = (4 * i + 1) / 256.0, high = (125 - 4 * i) / 256.0;
            rotateInto(a, 2 * i, low, x[2 * i].re, x[63 - 2 * i].re);
            rotateInto(b, 2 * i, low, x[63 - 2 * i].im, x[2 * i].im);
            rotateInto(a, 62 - 2 * i, high, x[62 - 2 * i].re, x[2 * i + 1].re);
            rotateInto(b, 62 - 2 * i, high, x[2 * i + 1].im, x[62 - 2 * i].im);
        }
        for (Reals* y : {&a, &b}) {
            Numbers z(32);
            for (int i = 0; i < 32; ++i) z[i] = {(*y)[2 * i], (*y)[2 * i + 1]};
            z = fft32s(z);
            for (int i = 0; i < 32; ++i) (*y)[2 * i] = z[i].re, (*y)[2 * i + 1] = z[i].im;
            postRotateHq(*y);
        }
        Reals v(128);
        for (int i = 0; i < 32; ++i) {
            const std::int64_t p = b[2 * i], q = negated(b[2 * i + 1]);
            v[2 * i] = wrap32(p - a[2 * i]);
            v[2 * i + 1] = wrap32(q - a[2 * i + 1]);
            v[127 - 2 * i] = wrap32(a[2 * i] + p);
            v[126 - 2 * i] = wrap32(a[2 * i + 1] + q);
        }
        return v;
    }

    static Reals synthesisTransformLp(const Reals& x) {
        Numbers t(128);
        for (int k = 0; k < 64; ++k) t[k] = modulated(Angle(k / 2.0), x[k]);
        t = fft32s(t);
        Reals v(128);
        for (int n = 0; n < 128; ++n) v[n] = realPart(Angle(0.25 - n / 128.0), t[n]);
        return v;
    }

    static Reals downTransformHq(const Numbers& x) {
        Numbers t(64);
        for (int k = 0; k < 32; ++k) {
            const Angle a(-k / 128.0);
            t[k] = {wrap32(m(x[k].re, a.c) + m(x[k].im, a.s)),
                    wrap32(m(negated(x[k].im), a.c) + m(x[k].re, a.s))};
        }
        t = fft32s(t);
        Reals v(64);
        for (int n = 0; n < 64; ++n) v[n] = realPart(Angle(255 / 256.0 - n / 64.0), t[n]);
        return v;
    }

    static Reals downTransformLp(const Reals& x) {
        Numbers t(64);
        for (int k = 0; k < 32; ++k) t[k] = modulated(Angle(k / 2.0), x[k]);
        t = fft32s(t);
        Reals v(64);
        for (int n = 0; n < 64; ++n) v[n] = realPart(Angle(0.25 - n / 64.0), t[n]);
        return v;
    }

    // --- the sums -----------------------------------------------------------------------------

    // 1/16 of the sum over n of u(n) exp(j pi / 64 (k + 1/2) (2n - delay)), the delay 1/2 for HQ
    // and 96 for LP.
    static std::complex<double> analysisSum(const Reals& u, int k, double delay) {
        std::complex<double> sum = 0;
        for (int n = 0; n < 64; ++n)
            sum +=
                double(u[n]) * std::polar(1.0, std::numbers::pi / 64 * (k + 0.5) * (2 * n - delay));
        return sum / 16.0;
    }

    // 1/16 of the real part of the sum over k of X(k) exp(j pi / (2 bands) (k + 1/2) (2n - delay)).
    static double synthesisSum(const Numbers& x, int n, double delay) {
        double sum = 0;
        for (int k = 0; k < int(x.size()); ++k)
            sum += std::real(std::complex<double>(x[k].re, x[k].im) *
                             std::polar(1.0, std::numbers::pi / (2.0 * double(x.size())) *
                                                 (k + 0.5) * (2 * n - delay)));
        return sum / 16;
    }

  private:
    // Of pi times the argument, to single precision, in Q30.
    struct Angle {
        explicit Angle(double a) : c(q30(cosine(a))), s(q30(cosine(a - 0.5))) {}
        static double cosine(double a) {
            a = std::fabs(std::remainder(a, 2));
            return a == 0.5 ? 0 : std::cos(a * std::numbers::pi);
        }
        static std::int32_t q30(double x) { return std::int32_t(double(float(x)) * 0x1p30); }
        std::int32_t c, s;
    };
    struct FastAngle {
        explicit FastAngle(double a)
            : t(Angle::q30(Angle::cosine(a) + Angle::cosine(a - 0.5))),
              s(Angle(a).s),
              d(t - 2 * s) {}
        std::int32_t t, s, d;
    };

    static std::int64_t m(std::int64_t a, std::int64_t b) { return (a * b) >> 32; }
    static std::int32_t negated(std::int64_t a) { return wrap32(-a); }
    static std::int64_t window30(int i) {
        return std::int64_t(std::trunc(double(qmfWindow(i)) * 0x1p30));
    }
    static Qor32sc modulated(Angle a, std::int32_t x) {
        return {std::int32_t(m(a.c, x)), std::int32_t(m(a.s, x))};
    }
    static std::int32_t realPart(Angle a, Qor32sc t) { return wrap32(m(a.c, t.re) - m(a.s, t.im)); }

    static void postRotateHq(Reals& y) {
        FastAngle f(0);
        for (int i = 0; i < 16; ++i) {
            const std::int32_t a = y[2 * i], b = y[2 * i + 1];
            const std::int32_t g = y[62 - 2 * i], w = negated(y[63 - 2 * i]);
            const std::int32_t low = wrap32(std::int64_t{a} + b);
            y[63 - 2 * i] = wrap32(m(f.s, low) - m(f.t, b));
            y[2 * i] = wrap32(m(f.s, low) + m(f.d, a));
            f = FastAngle((i + 1) / 64.0);
            const std::int32_t high = wrap32(std::int64_t{g} + w);
            y[62 - 2 * i] = wrap32(m(f.s, high) - m(f.t, w));
            y[2 * i + 1] = wrap32(m(f.s, high) + m(f.d, g));
        }
    }

    void push() { position_ = position_ == 0 ? 9 : position_ - 1; }
    std::int32_t& at(int slot, int age, int element) {
        return ring_[std::size_t((position_ + age) % 10 * slot + element)];
    }

    Reals ring_;
    int position_ = 0;
};

}  // namespace qorac::reference
