#include "mp3enc/mp3emath.h"

#include <cmath>

#include "gmock/gmock.h"
#include "reference/mp3encmath.h"
#include "support/random.h"

namespace qorac {
namespace {

using test::Random;

// A 64-bit pattern whose length is uniform.
Qor64u pattern(Random& random, int maxBits) {
    const int bits = static_cast<int>(random.integer(0, maxBits));
    const Qor64u word =
        Qor64u(random.integer(0, 0xFFFFFFFFll)) << 32 | Qor64u(random.integer(0, 0xFFFFFFFFll));
    return bits == 0 ? 0 : word >> (64 - bits) | 1ull << (bits - 1);
}

struct Normal {
    Qor32u mantissa;
    Qor32s shift;
    bool operator==(const Normal&) const = default;
};

Normal normalised(Qor32u hi, Qor32u lo) {
    Normal result{};
    EXPECT_EQ(ownsNorm64To32_Audio(hi, lo, &result.mantissa, &result.shift), 0);
    return result;
}

TEST(Norm64To32, KnownValues) {
    EXPECT_EQ(normalised(0, 0), (Normal{0, 62}));
    EXPECT_EQ(normalised(0, 1), (Normal{1u << 30, 62}));
    EXPECT_EQ(normalised(0, 0x7FFFFFFF), (Normal{0x7FFFFFFF, 32}));
    EXPECT_EQ(normalised(0, 0x80000001), (Normal{0x40000000, 31}));
    EXPECT_EQ(normalised(1, 0x80000000), (Normal{0x60000000, 30}));
}

// The whole low word is added without regard to its weight once nothing is left to shift.
TEST(Norm64To32, AddsTheWholeLowWordAtShiftZero) {
    EXPECT_EQ(normalised(0x40000000, 9), (Normal{0x40000009, 0}));
    EXPECT_EQ(normalised(0x7FFFFFFF, 0xFFFFFFFF), (Normal{0x7FFFFFFE, 0}));
    EXPECT_EQ(normalised(0xFFFFFFFF, 3), (Normal{2, 0}));
}

TEST(Norm64To32, EqualsThePlainForm) {
    Random random(1);
    for (int i = 0; i < 20000; ++i) {
        const Qor64u v = pattern(random, 64);
        const auto expected = reference::norm64(v);
        EXPECT_EQ(normalised(Qor32u(v >> 32), Qor32u(v)),
                  (Normal{Qor32u(expected.value), expected.shift}));
    }
}

TEST(Reciprocal, KnownValues) {
    const struct {
        Qor32u v;
        Qor32s reciprocal, shift;
    } cases[] = {{0, 1773719456, 30},         {1, 2141678020, 30},
                 {3, 1429924262, 29},         {1000, 1098389355, 21},
                 {1u << 30, 2141678020, 0},   {0x7FFFFFFF, 1069787630, 0},
                 {0x80000000, 1069787628, 0}, {0xFFFFFFFF, 197130406, 0}};
    for (const auto& c : cases) {
        Qor32s reciprocal = 0, shift = 0;
        ownsReciprocal_Audio(c.v, &reciprocal, &shift);
        EXPECT_EQ(reciprocal, c.reciprocal) << c.v;
        EXPECT_EQ(shift, c.shift) << c.v;
    }
}

TEST(Reciprocal, EqualsThePlainFormAndNearlyTheQuotient) {
    Random random(2);
    for (int i = 0; i < 20000; ++i) {
        const Qor32u v = Qor32u(pattern(random, 32));
        const auto expected = reference::reciprocal(v);
        Qor32s reciprocal = 0, shift = 0;
        ownsReciprocal_Audio(v, &reciprocal, &shift);
        EXPECT_EQ(reciprocal, Qor32s(expected.value)) << v;
        EXPECT_EQ(shift, expected.shift) << v;
        if (v != 0 && v < 0x80000000u) {
            const double exact = std::ldexp(1.0 / v, 61 - shift);
            EXPECT_NEAR(reciprocal / exact, 1, 0.004) << v;
        }
    }
}

TEST(Log2, KnownValues) {
    const struct {
        Qor32u v;
        Qor32s exponent, fraction;
    } cases[] = {{0, 0, -27019},
                 {1, 0, 148},
                 {2, 1, 148},
                 {3, 1, 9591},
                 {1000, 9, 15765},
                 {2048, 11, 148},
                 {0x7FFFFFFF, 30, 16274},
                 {0x80000000, 30, 16275},
                 {0xFFFFFFFF, 30, 15409}};
    for (const auto& c : cases) {
        Qor32s exponent = -1;
        Qor16s fraction = -1;
        ownsLog2_Audio_32s16s(c.v, &exponent, &fraction);
        EXPECT_EQ(exponent, c.exponent) << c.v;
        EXPECT_EQ(fraction, c.fraction) << c.v;
    }
}

TEST(Log2, EqualsThePlainFormAndNearlyTheLogarithm) {
    Random random(3);
    for (int i = 0; i < 20000; ++i) {
        const Qor32u v = Qor32u(pattern(random, 32));
        const auto expected = reference::log2(v);
        Qor32s exponent = -1;
        Qor16s fraction = -1;
        ownsLog2_Audio_32s16s(v, &exponent, &fraction);
        EXPECT_EQ(exponent, expected.exponent) << v;
        EXPECT_EQ(fraction, Qor16s(expected.fraction)) << v;
        if (v != 0 && v < 0x80000000u) {
            EXPECT_NEAR(exponent + fraction / 16384.0, std::log2(v), 0.0105) << v;
        }
    }
}

TEST(Pow118813, EqualsThePlainFormAndNearlyThePower) {
    const struct {
        Qor32s v, power;
    } cases[] = {{0, 0},
                 {1, 0},
                 {12345, 1275},
                 {104798000, 59385758},
                 {1071379500, 939478172},
                 {kMax32s, 2146205694}};
    for (const auto& c : cases) {
        Qor32s power = -1;
        ownsPow118813_Audio_32s(c.v, &power);
        EXPECT_EQ(power, c.power) << c.v;
    }
    Random random(4);
    for (int i = 0; i < 20000; ++i) {
        const Qor32s v = Qor32s(pattern(random, 31));
        Qor32s power = -1;
        ownsPow118813_Audio_32s(v, &power);
        EXPECT_EQ(power, reference::power118813(v)) << v;
        const double exact = std::pow(v / 0x1p31, 1.18813) * 0x1p31;
        EXPECT_NEAR(power, exact, 2 + 0.002 * exact) << v;
    }
}

// Zero and powers of four, the shift of 31, the doubled low word, and patterns with the top bits
// set, whose root wraps at 32 bits.
TEST(Sqrt, KnownValues) {
    const struct {
        Qor32u hi, lo;
        Qor32s root;
    } cases[] = {{0, 0, 0},
                 {0, 1, 32},
                 {0, 100, 319},
                 {0, 0x80000000, 1484608},
                 {1, 0, 2099509},
                 {0x3FFFFFFF, 5, -73400352},
                 {0x40000000, 7, 77258144},
                 {0xFFFFFFFF, 0x80000000, -1706025792}};
    for (const auto& c : cases) {
        Qor32s root = -1;
        ownsSqrt_Audio_32s(c.hi, c.lo, &root);
        EXPECT_EQ(root, c.root) << c.hi << ' ' << c.lo;
    }
}

TEST(Sqrt, EqualsThePlainFormAndNearlyTheRoot) {
    Random random(5);
    for (int i = 0; i < 20000; ++i) {
        const Qor64u v = pattern(random, 64);
        Qor32s root = -1;
        ownsSqrt_Audio_32s(Qor32u(v >> 32), Qor32u(v), &root);
        EXPECT_EQ(root, reference::root(v)) << v;
        if (v < 1ull << 51) {
            const double exact = 32 * std::sqrt(double(v));
            EXPECT_NEAR(root, exact, 2 + 0.011 * exact) << v;
        }
    }
}

}  // namespace
}  // namespace qorac
