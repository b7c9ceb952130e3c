#include "reference/sbrpredict32s.h"

#include <algorithm>
#include <cmath>
#include <complex>
#include <memory>
#include <numbers>
#include <vector>

#include "gmock/gmock.h"
#include "qorac.h"
#include "support/memory.h"
#include "support/random.h"

namespace qorac {

namespace {

using reference::PredictorHq;
using reference::PredictorLp;
using test::Guarded;
using test::Random;

using Parts = std::vector<Qor32s>;
Parts parts(const PredictorHq& p) { return {p.alpha0.re, p.alpha0.im, p.alpha1.re, p.alpha1.im}; }
Parts parts(const PredictorLp& p) { return {p.alpha0, p.alpha1, p.refCoef}; }

constexpr int kRows = 40;
constexpr Qor32s kOne = 1 << 29;
constexpr double kClose = 4096;  // Q29, 2^-17
constexpr Qor32s kMin = -0x7FFFFFFF - 1, kMax = 0x7FFFFFFF;

// Rows that end right behind band `band`, each between guard pages.
template <typename T>
class Rows {
  public:
    Rows(const std::vector<T>& samples, int band) : list_(kRows) {
        for (int n = 0; n < kRows; ++n) {
            rows_.push_back(std::make_unique<Guarded<T>>(std::size_t(band + 1)));
            (*rows_.back())[std::size_t(band)] =
                n < int(samples.size()) ? samples[std::size_t(n)] : T{};
            list_[std::size_t(n)] = rows_.back()->data();
        }
    }
    const T* const* list() { return list_.data(); }

  private:
    std::vector<std::unique_ptr<Guarded<T>>> rows_;
    Guarded<const T*> list_;
};

PredictorHq predictHq(const std::vector<Qor32sc>& samples, int len) {
    std::vector<const Qor32sc*> rows(kRows);
    for (int n = 0; n < kRows; ++n) rows[n] = samples.data() + n;
    PredictorHq p{{1, 2}, {3, 4}, false};
    EXPECT_EQ(qorsPredictOneCoef_SBRHQ_32sc_D2L(rows.data(), &p.alpha0, &p.alpha1, 0, len),
              qorStsNoErr);
    return p;
}

PredictorLp predictLp(const std::vector<Qor32s>& samples, int len, int flag) {
    std::vector<const Qor32s*> rows(kRows);
    for (int n = 0; n < kRows; ++n) rows[n] = samples.data() + n;
    PredictorLp p{1, 2, 3, false};
    EXPECT_EQ(qorsPredictOneCoef_SBRLP_32s_D2L(rows.data(), &p.alpha0, &p.alpha1, &p.refCoef, 0,
                                               len, flag),
              qorStsNoErr);
    return p;
}

void expectLikeReference(const std::vector<Qor32sc>& z, int len) {
    ASSERT_EQ(parts(predictHq(z, len)), parts(reference::predictHq(z, len))) << "len " << len;
}

void expectLikeReference(const std::vector<Qor32s>& z, int len, int flag) {
    ASSERT_EQ(parts(predictLp(z, len, flag)), parts(reference::predictLp(z, len, flag)))
        << "len " << len << " flag " << flag;
}

// Signals that reach all exponents and all ways through the functions: noise of every size, ringing
// resonances, constants, single samples, extremes.
Qor32s draw(Random& random, int kind, int n, int bits, double angle) {
    const double top = std::ldexp(1.0, bits) - 1;
    switch (kind) {
        case 0:
            return Qor32s(random.integer(-std::int64_t(top) - 1, std::int64_t(top)));
        case 1:
            return Qor32s(random.wideInteger(bits));
        case 2:
            return Qor32s(top * std::cos(angle * n) * std::exp(-0.05 * n));
        case 3:
            return Qor32s(top * std::cos(angle * n) + random.integer(-1, 1) * top / 4096);
        case 4:
            return random.chance(0.1) ? Qor32s(top) : 0;
        case 5:
            return random.chance(0.5) ? kMin : kMax;
        case 6:
            return Qor32s(std::int64_t(top) - n);
        default:
            return Qor32s(-std::int64_t(top) + n);
    }
}

TEST(SbrPredictHq, EqualsTheReference) {
    Random random(1);
    for (int run = 0; run < 4000; ++run) {
        const int kind = run % 8, bits = int(random.integer(1, 31));
        const int len = int(random.integer(-1, 38));
        const double angle = random.real(0, 3.2), phase = random.real(0, 9);
        std::vector<Qor32sc> z(kRows);
        for (int n = 0; n < kRows; ++n)
            z[n] = {draw(random, kind, n, bits, angle),
                    draw(random, kind, n + int(phase), bits, angle)};
        expectLikeReference(z, len);
        if (HasFatalFailure()) FAIL() << "kind " << kind << " bits " << bits;
    }
}

TEST(SbrPredictLp, EqualsTheReference) {
    Random random(2);
    for (int run = 0; run < 4000; ++run) {
        const int kind = run % 8, bits = int(random.integer(1, 31));
        const int len = int(random.integer(-1, 38));
        const double angle = random.real(0, 3.2);
        std::vector<Qor32s> z(kRows);
        for (int n = 0; n < kRows; ++n) z[n] = draw(random, kind, n, bits, angle);
        for (int flag : {0, 1, -7}) expectLikeReference(z, len, flag);
        if (HasFatalFailure()) FAIL() << "kind " << kind << " bits " << bits;
    }
}

// Samples that are read one band beside k, or of a 41st row, would end the program.
TEST(SbrPredict, ReadsFortyRowsAtTheBand) {
    Random random(3);
    for (int k : {0, 1, 31}) {
        std::vector<Qor32sc> z(kRows);
        std::vector<Qor32s> x(kRows);
        for (int n = 0; n < kRows; ++n) {
            x[std::size_t(n)] = Qor32s(random.integer(-100000, 100000));
            z[std::size_t(n)] = {x[std::size_t(n)], Qor32s(random.integer(-100000, 100000))};
        }
        Rows<Qor32sc> complexRows(z, k);
        PredictorHq p;
        EXPECT_EQ(
            qorsPredictOneCoef_SBRHQ_32sc_D2L(complexRows.list(), &p.alpha0, &p.alpha1, k, 38),
            qorStsNoErr);
        EXPECT_EQ(parts(p), parts(reference::predictHq(z, 38)));
        Rows<Qor32s> realRows(x, k);
        PredictorLp q;
        EXPECT_EQ(qorsPredictOneCoef_SBRLP_32s_D2L(realRows.list(), &q.alpha0, &q.alpha1,
                                                   &q.refCoef, k, 38, 1),
                  qorStsNoErr);
        EXPECT_EQ(parts(q), parts(reference::predictLp(x, 38, 1)));
    }
}

// Rows behind len + 1 do not count.
TEST(SbrPredict, LaterRowsDoNotCount) {
    Random random(4);
    auto z = std::vector<Qor32sc>(kRows);
    auto x = random.integers<Qor32s>(kRows, -9999, 9999);
    for (Qor32sc& v : z)
        v = {Qor32s(random.integer(-9999, 9999)), Qor32s(random.integer(-9999, 9999))};
    for (int len : {1, 2, 13, 37}) {
        auto y = z;
        auto w = x;
        for (int n = len + 2; n < kRows; ++n)
            y[std::size_t(n)] = {kMin, kMax}, w[std::size_t(n)] = kMin;
        EXPECT_EQ(parts(predictHq(y, len)), parts(predictHq(z, len))) << len;
        EXPECT_EQ(parts(predictLp(w, len, 1)), parts(predictLp(x, len, 1))) << len;
        EXPECT_EQ(parts(predictLp(w, len, 0)), parts(predictLp(x, len, 0))) << len;
    }
}

TEST(SbrPredict, SilenceGivesZeros) {
    EXPECT_EQ(parts(predictHq(std::vector<Qor32sc>(kRows), 38)), Parts(4, 0));
    for (int flag : {0, 1})
        EXPECT_EQ(parts(predictLp(std::vector<Qor32s>(kRows), 38, flag)), Parts(3, 0));
}

// A peak of 0 by the rule of the running maximum, though the first sample is not silent; and a peak
// that is negative, which asks for all guard bits.
TEST(SbrPredict, PeakIsTheRunningOne) {
    std::vector<Qor32s> x(kRows, 0);
    x[0] = -1000000;  // raises the maximum, and so is no minimum
    EXPECT_EQ(parts(predictLp(x, 38, 1)), Parts(3, 0));
    std::vector<Qor32sc> z(kRows);
    z[0].re = -1000000;
    EXPECT_EQ(parts(predictHq(z, 38)), Parts(4, 0));
    x[1] = x[2] = 1000000;
    EXPECT_NE(parts(predictLp(x, 38, 1)), Parts(3, 0));
    for (int n = 0; n < kRows; ++n) x[std::size_t(n)] = -100000 + 1000 * n;  // rises all the time
    auto shifted = x;
    for (Qor32s& v : shifted) v = 8 * (v >> 3);
    EXPECT_EQ(parts(predictLp(x, 38, 1)), parts(predictLp(shifted, 38, 1)));
    EXPECT_EQ(parts(predictLp(x, 38, 1)), parts(reference::predictLp(x, 38, 1)));
}

// Samples in the first and the last row only: phi11 is 0.
TEST(SbrPredict, WithoutPowerAlphaIsZero) {
    const int len = 20;
    std::vector<Qor32sc> z(kRows);
    z[0] = {5000, 300}, z[len + 1] = {7000, -20};
    EXPECT_EQ(parts(predictHq(z, len)), Parts(4, 0));
    std::vector<Qor32s> x(kRows);
    x[0] = 5000, x[len + 1] = 7000;
    for (int flag : {0, 1}) EXPECT_EQ(parts(predictLp(x, len, flag)), Parts(3, 0));
}

// A signal that one coefficient predicts: the determinant is not above 0 and alpha1 is 0. The real
// form is relaxed, so that its determinant is positive.
TEST(SbrPredict, OnlyTheRealFormIsRelaxed) {
    std::vector<Qor32sc> z(kRows);
    std::vector<Qor32s> x(kRows);
    for (int n = 0; n < kRows; ++n) {
        const Qor32s v = n % 2 == 0 ? 1 << 20 : -(1 << 20);
        x[std::size_t(n)] = v;
        z[std::size_t(n)] = {v, 0};
    }
    const PredictorHq p = predictHq(z, 32);
    EXPECT_EQ(p.alpha1.re, 0);
    EXPECT_EQ(p.alpha1.im, 0);
    EXPECT_NEAR(p.alpha0.re, kOne, kClose);  // z(n) + z(n - 1) = 0
    EXPECT_EQ(p.alpha0.im, 0);
    // With the sums S and -S: alpha1 = (phi01 phi12 - phi02 phi11) / det = (S S - S S) / det.
    const PredictorLp q = predictLp(x, 32, 1);
    EXPECT_EQ(parts(q), parts(reference::predictLp(x, 32, 1)));
    EXPECT_NEAR(q.refCoef, kOne, kClose);
    // Slow tones, some of which have a positive determinant by its relaxation only.
    Random random(5);
    int differ = 0;
    for (int run = 0; run < 200; ++run) {
        for (int n = 0; n < kRows; ++n) {
            x[std::size_t(n)] = Qor32s(std::lround(1e6 * std::cos(0.001 * run * n)));
            z[std::size_t(n)] = {x[std::size_t(n)], 0};
        }
        differ += predictLp(x, 38, 1).alpha1 != 0 && predictHq(z, 38).alpha1.re == 0;
    }
    EXPECT_GT(differ, 0);
}

TEST(SbrPredictLp, FlagZeroGivesTheReflectionCoefficientOnly) {
    Random random(6);
    std::vector<Qor32s> x(kRows);
    for (int n = 0; n < kRows; ++n)
        x[std::size_t(n)] = Qor32s(1e6 * std::cos(0.3 * n) + double(random.integer(-1000, 1000)));
    const PredictorLp full = predictLp(x, 38, 1), only = predictLp(x, 38, 0);
    EXPECT_NE(full.alpha0, 0);
    EXPECT_NE(full.alpha1, 0);
    EXPECT_EQ(only.alpha0, 0);
    EXPECT_EQ(only.alpha1, 0);
    double a = 0, b = 0;
    for (std::size_t n = 1; n <= 38; ++n) a += double(x[n]) * x[n + 1], b += double(x[n]) * x[n];
    EXPECT_NEAR(only.refCoef, -a / b * kOne, kClose);
    EXPECT_NEAR(full.refCoef, -a / b * kOne, kClose);
}

// Beyond 1.0 the reflection coefficient is limited: z(n + 1) = -3 z(n) and 3 z(n).
TEST(SbrPredictLp, ReflectionCoefficientIsLimited) {
    for (int sign : {1, -1}) {
        std::vector<Qor32s> x(kRows);
        Qor32s v = 1000;
        for (std::size_t n = 0; n < 11; ++n, v *= -3 * sign) x[n] = v;
        for (int flag : {0, 1}) {
            const PredictorLp p = predictLp(x, 9, flag);
            EXPECT_EQ(parts(p), parts(reference::predictLp(x, 9, flag)));
            EXPECT_EQ(p.refCoef, sign * kOne) << flag;
        }
    }
    // A quotient of -4.1 has wrapped before.
    std::vector<Qor32s> x(kRows);
    x[20] = 1000;
    x[21] = 4100;
    for (int flag : {0, 1}) EXPECT_EQ(predictLp(x, 20, flag).refCoef, kOne) << flag;
}

// It stands where the predictor is rejected. In the real form only a coefficient of exactly -4 can
// be seen to be too large, since others wrap; powers that differ much make it likely.
TEST(SbrPredictLp, ReflectionCoefficientSurvivesRejection) {
    Random random(7);
    int rejected = 0;
    for (int run = 0; run < 3000; ++run) {
        std::vector<Qor32s> x(kRows);
        for (int n = 0; n < 6; ++n) x[std::size_t(n)] = Qor32s(random.wideInteger(16));
        x[0] = Qor32s(random.wideInteger(28));
        const PredictorLp p = predictLp(x, 4, 1), expected = reference::predictLp(x, 4, 1);
        ASSERT_EQ(parts(p), parts(expected));
        if (!expected.rejected || p.refCoef == 0) continue;
        ++rejected;
        EXPECT_EQ(p.alpha0, 0);
        EXPECT_EQ(p.alpha1, 0);
    }
    EXPECT_GT(rejected, 0);
}

// z(n + 1) = ratio z(n): rejected from a squared magnitude of 16 on, the sum of both parts'. A part
// of 4 or more wraps before.
TEST(SbrPredictHq, DropsPredictorsFromSixteenOn) {
    const auto geometric = [](std::complex<double> ratio) {
        std::vector<Qor32sc> z(kRows);
        std::complex<double> v = 1e8 / std::pow(std::abs(ratio), 9.0);
        for (std::size_t n = 0; n < 10; ++n, v *= ratio)
            z[n] = {Qor32s(std::lround(v.real())), Qor32s(std::lround(v.imag()))};
        return z;
    };
    for (double radius : {3.5, 3.9, 3.99, 4.01, 4.1, 4.5}) {
        for (double angle : {0.7, 2.0, 2.5}) {
            const auto z = geometric(std::polar(radius, angle));
            const PredictorHq p = predictHq(z, 8);
            EXPECT_EQ(parts(p), parts(reference::predictHq(z, 8)));
            if (radius > 4) {
                EXPECT_TRUE(reference::predictHq(z, 8).rejected);
                EXPECT_EQ(parts(p), Parts(4, 0)) << radius << " " << angle;
            } else {
                EXPECT_NE(parts(p), Parts(4, 0)) << radius << " " << angle;
            }
        }
    }
    const PredictorHq p = predictHq(geometric(4.25), 8);
    EXPECT_NEAR(p.alpha0.re, (8 - 4.25) * kOne, 1e-3 * kOne);
}

// A resonance in noise: what the integers give is the predictor of the standard.
TEST(SbrPredict, IsTheCovarianceMethod) {
    Random random(3);
    double worstHq = 0, worstLp = 0;
    for (int run = 0; run < 100; ++run) {
        const double angle = random.real(0.3, 2.8), radius = random.real(0.5, 0.95);
        const int bits = int(random.integer(12, 30));
        std::complex<double> one = 0, two = 0;
        std::vector<std::complex<double>> z(kRows);
        for (auto& v : z) {
            v = std::polar(1.9 * radius, angle) * one -
                std::polar(0.9 * radius * radius, 2 * angle) * two +
                std::complex<double>(random.real(-1, 1), random.real(-1, 1));
            two = one;
            one = v;
        }
        double top = 0;
        for (const auto& v : z) top = std::max({top, std::fabs(v.real()), std::fabs(v.imag())});
        std::vector<Qor32sc> hq(kRows);
        std::vector<Qor32s> lp(kRows);
        std::vector<std::complex<double>> real(kRows);
        for (int n = 0; n < kRows; ++n) {
            z[n] *= std::ldexp(1.0, bits) / top;
            hq[n] = {Qor32s(z[n].real()), Qor32s(z[n].imag())};
            lp[n] = hq[n].re;
            z[n] = {double(hq[n].re), double(hq[n].im)};
            real[n] = lp[n];
        }
        const auto complexForm = reference::predict(z, 38, 0);
        const PredictorHq p = predictHq(hq, 38);
        worstHq = std::max({worstHq,
                            std::abs(std::complex<double>(p.alpha0.re, p.alpha0.im) / double(kOne) -
                                     complexForm.alpha0),
                            std::abs(std::complex<double>(p.alpha1.re, p.alpha1.im) / double(kOne) -
                                     complexForm.alpha1)});
        const auto realForm = reference::predict(real, 38, std::ldexp(1.0, -20));
        const PredictorLp q = predictLp(lp, 38, 1);
        worstLp = std::max({worstLp, std::fabs(q.alpha0 / double(kOne) - realForm.alpha0.real()),
                            std::fabs(q.alpha1 / double(kOne) - realForm.alpha1.real())});
    }
    EXPECT_LT(worstHq, 5e-4);
    EXPECT_LT(worstLp, 5e-5);
}

}  // namespace
}  // namespace qorac
