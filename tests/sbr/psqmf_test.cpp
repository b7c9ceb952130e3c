#include <algorithm>
#include <cmath>
#include <complex>
#include <cstring>
#include <limits>
#include <numbers>
#include <vector>

#include "gtest/gtest.h"
#include "qorac.h"
#include "support/memory.h"
#include "support/random.h"

namespace qorac {
namespace {

using test::Guarded;
using test::Random;
using Exact = std::complex<double>;

struct Bank {
    int count;
    double g[7];
};
constexpr Bank kBanks[5] = {
    {2, {0, 0.018994875, 0, -0.072931394, 0, 0.30596632, 0.5}},
    {4, {-0.059082113, -0.048714984, 0, 0.07778724, 0.16486304, 0.23279856, 0.25}},
    {8, {0.0074608293, 0.02270421, 0.045468658, 0.072661139, 0.098851085, 0.1179371, 0.125}},
    {8, {0.015656756, 0.037527163, 0.054178912, 0.084170438, 0.10307344, 0.12222452, 0.125}},
    {12, {0.0408118, 0.03812811, 0.051449083, 0.06399831, 0.07428314, 0.08100348, 0.083333336}}};

double tap(const Bank& bank, int i) { return bank.g[std::min(i, 12 - i)]; }

// Sub-sub-band q of slot t from the definition. The bank of two is real: its phases are 1 and
// (-1)^(i - 6).
Exact subSubBand(const Bank& bank, const Qor32fc* x, int t, int q) {
    Exact sum = 0;
    for (int i = 0; i < 13; ++i) {
        if (tap(bank, i) == 0) continue;
        const Exact phase =
            bank.count == 2
                ? (q == 1 && i % 2 == 1 ? -1 : 1)
                : std::polar(1.0, -2 * std::numbers::pi / bank.count * (q + 0.5) * (i - 6));
        sum += tap(bank, i) * Exact(x[t + i].re, x[t + i].im) * phase;
    }
    return sum;
}

constexpr float kOld = 12345;

std::vector<Qor32fc> analyse(std::vector<Qor32fc> x, int config) {
    Guarded<Qor32fc> source(x), rows(32 * 12);
    for (Qor32fc& v : rows.span()) v = {kOld, kOld};
    EXPECT_EQ(qorsAnalysisFilter_PS_32fc_D2(source.data(), rows.data(), config), qorStsNoErr);
    return rows.copy();
}

std::vector<Qor32fc> noise(Random& random) {
    std::vector<Qor32fc> x(44);
    for (Qor32fc& v : x) v = {float(random.real(-1, 1)), float(random.real(-1, 1))};
    return x;
}

TEST(PsHybrid, DataOfAnyAlignmentAndNoAllocation) {
    Random random(5);
    const auto x = noise(random);
    for (int config = 0; config < 5; ++config) {
        const auto expected = analyse(x, config);
        const int calls = test::allocationCalls();
        for (int shift = 1; shift < 16; ++shift) {
            std::vector<float> source(2 * 44 + 16), rows(2 * 32 * 12 + 16, kOld);
            std::memcpy(source.data() + shift, x.data(), x.size() * sizeof(Qor32fc));
            EXPECT_EQ(qorsAnalysisFilter_PS_32fc_D2(
                          reinterpret_cast<const Qor32fc*>(source.data() + shift),
                          reinterpret_cast<Qor32fc*>(rows.data() + shift), config),
                      qorStsNoErr);
            EXPECT_EQ(std::memcmp(rows.data() + shift, expected.data(), 384 * sizeof(Qor32fc)), 0);
        }
        EXPECT_EQ(test::allocationCalls(), calls);
    }
}

TEST(PsHybrid, EqualsTheSums) {
    Random random(1);
    for (int config = 0; config < 5; ++config) {
        const Bank& bank = kBanks[config];
        double worst = 0;
        for (int round = 0; round < 20; ++round) {
            const auto x = noise(random);
            const auto y = analyse(x, config);
            for (int t = 0; t < 32; ++t) {
                for (int q = 0; q < 12; ++q) {
                    const Exact got(y[12 * t + q].re, y[12 * t + q].im);
                    if (q < bank.count)
                        worst = std::max(worst, std::abs(got - subSubBand(bank, x.data(), t, q)));
                    else
                        ASSERT_EQ(got, Exact(kOld, kOld)) << t << " " << q;
                }
            }
        }
        EXPECT_LT(worst, 3e-7) << config;
    }
}

// Every sample by itself, so that no tap hides behind another.
TEST(PsHybrid, EveryTapOfEverySlot) {
    for (int config = 0; config < 5; ++config) {
        for (int i = 0; i < 44; ++i) {
            std::vector<Qor32fc> x(44);
            x[i] = {1, -0.5};
            const auto y = analyse(x, config);
            for (int t = 0; t < 32; ++t) {
                for (int q = 0; q < kBanks[config].count; ++q) {
                    const Exact expected =
                        i < t || i > t + 12 ? 0 : subSubBand(kBanks[config], x.data(), t, q);
                    const Exact got(y[12 * t + q].re, y[12 * t + q].im);
                    ASSERT_LT(std::abs(got - expected), 1e-7) << config << " " << i << " " << t;
                }
            }
        }
    }
}

TEST(PsHybrid, TheCentreTapGoesToAllSubSubBands) {
    for (int config = 1; config < 5; ++config) {
        std::vector<Qor32fc> x(44);
        x[6] = {3, -5};
        const auto y = analyse(x, config);
        const float g = float(kBanks[config].g[6]);
        for (int q = 0; q < kBanks[config].count; ++q) {
            EXPECT_EQ(y[q].re, g * 3);
            EXPECT_EQ(y[q].im, g * -5);
        }
    }
}

TEST(PsHybrid, TheBankOfTwoSplitsTheCentre) {
    Random random(2);
    const auto x = noise(random);
    const auto y = analyse(x, 0);
    for (int t = 0; t < 32; ++t) {
        EXPECT_EQ(y[12 * t + 1].re, x[t + 6].re - y[12 * t].re);
        EXPECT_EQ(y[12 * t + 1].im, x[t + 6].im - y[12 * t].im);
    }
}

// What is no number stays in the slots whose taps reach it.
TEST(PsHybrid, TapsOfZeroAreNotRead) {
    Random random(3);
    for (int config = 0; config < 5; ++config) {
        for (int i = 0; i < 44; ++i) {
            auto x = noise(random);
            x[i] = {std::nanf(""), std::nanf("")};
            const auto y = analyse(x, config);
            for (int t = 0; t < 32; ++t) {
                const bool reached = i >= t && i <= t + 12 && tap(kBanks[config], i - t) != 0;
                for (int q = 0; q < kBanks[config].count; ++q) {
                    ASSERT_EQ(std::isnan(y[12 * t + q].re), reached) << config << " " << t;
                    ASSERT_EQ(std::isnan(y[12 * t + q].im), reached) << config << " " << t;
                }
            }
        }
    }
}

TEST(PsHybrid, Checks) {
    std::vector<Qor32fc> x(44), y(384, {kOld, kOld});
    EXPECT_EQ(qorsAnalysisFilter_PS_32fc_D2(nullptr, y.data(), 5), qorStsNullPtrErr);
    EXPECT_EQ(qorsAnalysisFilter_PS_32fc_D2(x.data(), nullptr, 5), qorStsNullPtrErr);
    for (Qor32s config : {5, -1, std::numeric_limits<Qor32s>::min()})
        EXPECT_EQ(qorsAnalysisFilter_PS_32fc_D2(x.data(), y.data(), config), qorStsBadArgErr);
    for (const Qor32fc& v : y) EXPECT_TRUE(v.re == kOld && v.im == kOld);
}

}  // namespace
}  // namespace qorac
