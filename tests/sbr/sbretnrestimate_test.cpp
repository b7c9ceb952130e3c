#include <cmath>
#include <complex>
#include <functional>
#include <vector>

#include "gtest/gtest.h"
#include "qorac.h"
#include "reference/predictor.h"
#include "support/memory.h"
#include "support/random.h"

namespace qorac {
namespace {

using test::Guarded;
using test::Random;
using Complex = std::complex<float>;
using Half = std::vector<Complex>;

struct Ratio {
    float energy = 0, ratio = 0;
};

// One half of 16 samples, step by step.
Ratio expectedRatio(const Half& z) {
    Ratio result;
    for (int i = 2; i < 16; ++i) result.energy += reference::norm(z[i]);
    const auto c = reference::covarianceSums(z, 14);
    Complex alpha0, alpha1;
    const float det = c.determinant();
    if (det * det > 0) {
        const Complex numerator = c.numerator1();
        alpha1 = {numerator.real() / det, numerator.imag() / det};
        if (c.phi11 * c.phi11 > 0) {
            const Complex top = c.numerator0(alpha1);
            alpha0 = {top.real() / c.phi11, top.imag() / c.phi11};
        }
    }
    if (!(result.energy * result.energy > 0)) return result;
    const float g = -(alpha0.real() * c.phi01.real() + alpha0.imag() * c.phi01.imag() +
                      alpha1.real() * c.phi02.real() + alpha1.imag() * c.phi02.imag()) /
                    result.energy;
    const bool whole = !(std::fabs(1.0 - double(g)) > 9.999999974752427e-7);
    result.ratio = whole ? 1000000.0f : g / (1.00000095367431640625f - g);
    return result;
}

struct Estimate {
    float first, second, mean;
};

Estimate estimate(const Half& a, const Half& b) {
    Guarded<Qor32fc> source(32);
    for (int i = 0; i < 16; ++i) {
        source[i] = {a[i].real(), a[i].imag()};
        source[16 + i] = {b[i].real(), b[i].imag()};
    }
    Guarded<Qor32f> first(1), second(1), mean(1);
    EXPECT_EQ(qorsEstimateTNR_SBR_32f(source.data(), first.data(), second.data(), mean.data()),
              qorStsNoErr);
    return {first[0], second[0], mean[0]};
}

Half half(const std::function<Complex(int)>& z) {
    Half result;
    for (int i = 0; i < 16; ++i) result.push_back(z(i));
    return result;
}

Half randomHalf(Random& random) {
    const double level = std::pow(10, random.real(-13, 12)),
                 noise = std::pow(10, random.real(-6, 1));
    const double turn = random.real(-3.1, 3.1),
                 growth = random.chance(0.5) ? 1 : random.real(0.8, 1.2);
    return half([&](int i) {
        const auto z =
            level * (std::polar(std::pow(growth, i), turn * i) +
                     noise * std::complex<double>{random.real(-1, 1), random.real(-1, 1)});
        return Complex(float(z.real()), float(z.imag()));
    });
}

TEST(SbrTonality, EqualsTheStepsToTheBit) {
    Random random(1);
    int ceilings = 0, zeros = 0;
    for (int round = 0; round < 3000; ++round) {
        const Half a = randomHalf(random), b = randomHalf(random);
        const Ratio x = expectedRatio(a), y = expectedRatio(b);
        const Estimate got = estimate(a, b);
        ASSERT_EQ(got.first, x.ratio) << round;
        ASSERT_EQ(got.second, y.ratio) << round;
        ASSERT_EQ(got.mean, (x.energy + y.energy) * 0.5f);
        ceilings += got.first == 1000000.0f;
        zeros += got.first == 0;
    }
    EXPECT_GT(ceilings, 10);
    EXPECT_GT(zeros, 10);
}

// Against the share in double precision: noise, and a tone in noise.
TEST(SbrTonality, MeasuresTheExplainedShare) {
    Random random(2);
    for (double tone : {0.0, 1.0, 5.0}) {
        const Half a = half([&](int i) {
            return Complex(std::polar(float(tone), 0.7f * float(i))) +
                   Complex{float(random.real(-1, 1)), float(random.real(-1, 1))};
        });
        const std::vector<std::complex<double>> z(a.begin(), a.end());
        const auto c = reference::covarianceSums(z, 14);
        const auto alpha1 = c.numerator1() / c.determinant();
        const auto alpha0 = c.numerator0(alpha1) / c.phi11;
        double energy = 0, rest = 0;
        for (std::size_t i = 2; i < 16; ++i) {
            energy += std::norm(z[i]);
            rest += std::norm(z[i] + alpha0 * z[i - 1] + alpha1 * z[i - 2]);
        }
        EXPECT_NEAR(estimate(a, a).first, (energy - rest) / rest, 2e-4 * energy / rest) << tone;
    }
}

TEST(SbrTonality, AShareOfOneGivesTheCeiling) {
    // det is the relaxation alone, alpha1 0, alpha0 -1
    const Half one(16, Complex(1)), silence(16);
    EXPECT_EQ(estimate(one, silence).first, 1000000.0f);
    EXPECT_EQ(estimate(silence, one).second, 1000000.0f);
    EXPECT_EQ(estimate(one, silence).second, 0);
    EXPECT_EQ(estimate(silence, one).first, 0);
    EXPECT_EQ(estimate(one, one).mean, 14);
}

TEST(SbrTonality, TheFirstTwoSamplesHaveNoEnergy) {
    Half z(16);
    z[0] = 1000, z[1] = {0, 2000};
    const Estimate got = estimate(z, z);
    EXPECT_EQ(got.first, 0);
    EXPECT_EQ(got.second, 0);
    EXPECT_EQ(got.mean, 0);
}

// Squares of determinants and energies vanish long before these do.
TEST(SbrTonality, QuietSubbands) {
    const auto tone = [](float level) {
        return half([&](int i) { return Complex(i % 2 ? -level : level); });
    };
    EXPECT_GT(estimate(tone(1), tone(1)).first, 1e5f);
    EXPECT_GT(estimate(tone(1e-4f), tone(1)).first, 1e5f);  // det 2e-21
    const Estimate noDet = estimate(tone(1e-6f), tone(1));  // det 2e-28
    EXPECT_EQ(noDet.first, 0);
    EXPECT_GT(noDet.mean, 0);

    // phi11 vanishes when squared, the determinant and the energy do not
    Half z(16, Complex(1e-12f));
    z[0] = 1e15f, z[15] = 1e-3f;
    const auto c = reference::covarianceSums(z, 14);
    ASSERT_GT(c.phi11, 0);
    ASSERT_EQ(c.phi11 * c.phi11, 0);
    ASSERT_GT(c.determinant() * c.determinant(), 0);
    EXPECT_LT(std::fabs(estimate(z, z).first), 1e-6f);  // 0.1 with an alpha0

    // the energy vanishes when squared, the determinant does not
    Half quiet(16, Complex(1e-12f));
    quiet[0] = 0, quiet[1] = 1;
    EXPECT_EQ(estimate(quiet, quiet).first, 0);  // 0.17 from its share
    EXPECT_GT(estimate(quiet, quiet).mean, 0);
}

TEST(SbrTonality, Checks) {
    const Qor32fc source[32] = {};
    Qor32f a = 7, b = 8, c = 9;
    EXPECT_EQ(qorsEstimateTNR_SBR_32f(nullptr, &a, &b, &c), qorStsNullPtrErr);
    EXPECT_EQ(qorsEstimateTNR_SBR_32f(source, nullptr, &b, &c), qorStsNullPtrErr);
    EXPECT_EQ(qorsEstimateTNR_SBR_32f(source, &a, nullptr, &c), qorStsNullPtrErr);
    EXPECT_EQ(qorsEstimateTNR_SBR_32f(source, &a, &b, nullptr), qorStsNullPtrErr);
    EXPECT_EQ(a, 7);
    EXPECT_EQ(b, 8);
    EXPECT_EQ(c, 9);
}

}  // namespace
}  // namespace qorac
