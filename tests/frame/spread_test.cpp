// The spreading function of psychoacoustic model 2.
#include <algorithm>
#include <cmath>

#include "gmock/gmock.h"
#include "qorac.h"
#include "reference/exact.h"
#include "support/random.h"

namespace qorac {
namespace {

using reference::Int128;
using reference::wrap32;
using test::Random;

int bitLength(int k) { return k == 0 ? 0 : 1 + bitLength(k / 2); }
Int128 pow10Table(long double exponent, int q) {
    return std::llround(std::pow(10.0L, exponent) * std::exp2(static_cast<long double>(q)));
}

// The function step by step; -in `shift` from the difference to Q23 is at most 31.
Qor16s spread(Qor32s src1, Qor32s src2, int inScaleFactor) {
    const int a = static_cast<Qor16s>(src1), b = static_cast<Qor16s>(src2);
    const Int128 d = 3 * (b - a);
    const int t = inScaleFactor + 23 - (b < a ? 1 : 0);
    Int128 z;
    if (t >= 0) {
        z = d * (Int128{1} << std::min(t, 31));
        if (z > 0x6000000 || z < -0x3000000) return 0;
    } else {
        z = (d + (Int128{1} << (-t - 1))) >> -t;
    }
    const Int128 u = z - 0x400000, w = z + 3979066;
    const Int128 dip = std::min<Int128>(wrap32(((u * u + 0x400000) >> 23) - 2 * u), 0);
    const Int128 line = wrap32((w * 0x3C00000 + 0x400000) >> 23);
    const Int128 level = wrap32(line + 8 * dip);
    const Int128 square = wrap32(wrap32((w * w + 0x400000) >> 23) + Int128{0x800000});

    const int n = 7 - bitLength(static_cast<int>(square >> 24));
    const Int128 x = square << n;
    Int128 y = wrap32((wrap32((x * x) >> 31) * Int128{1794115214}) >> 33) -
               wrap32((x * 1109287981) >> 31) + Int128{1199343594};
    for (int i = 0; i < 2; ++i) {
        const Int128 e = wrap32((wrap32((y * y) >> 30) * x) >> 30);
        y = wrap32(y + wrap32(((0x20000000 - e) * y) >> 30));
    }
    Int128 g = wrap32((x * y) >> 31);
    if (n % 2) g = wrap32((g * 1518500250) >> 30);
    g >>= 6 - ((8 - n) >> 1);
    const Int128 root = wrap32((g * 0x8C00000 + 0x400000) >> 23);
    const Qor32s v = wrap32(level - root + 132635538);
    if (v >= 0) return 32767;

    const Qor32u bits = static_cast<Qor32u>(v);
    const Int128 coarse = pow10Table((static_cast<int>(bits >> 24 & 63) - 64) / 5.0L, 31);
    const Int128 middle = pow10Table(static_cast<int>(bits >> 16 & 255) / 1280.0L, 30);
    const Int128 fine = pow10Table(static_cast<int>(bits >> 8 & 255) / 327680.0L, 30);
    const Int128 c = wrap32((coarse * middle) >> 30);
    return static_cast<Qor16s>(static_cast<Qor16u>((fine * c) >> 46));
}

// The formula of ISO 11172-3 clause D.2.3 as a gain, with the library's 0.474 of 3979066 / 2^23.
double formula(double difference) {
    const double shift = 3979066 / 8388608.0;
    const double x = difference * (difference < 0 ? 1.5 : 3);
    if (x > 12 || x < -6) return 0;
    const double dip = 8 * std::min((x - 0.5) * (x - 0.5) - 2 * (x - 0.5), 0.0);
    const double level =
        15.811389 + 7.5 * (x + shift) + dip - 17.5 * std::sqrt(1 + (x + shift) * (x + shift));
    return std::pow(10, level / 10);
}

Qor16s call(Qor32s src1, Qor32s src2, int inScaleFactor) {
    Qor16s out = -1;
    EXPECT_EQ(qorsSpread_16s_Sfs(src1, src2, inScaleFactor, &out), qorStsNoErr);
    return out;
}

TEST(Spread, Examples) {
    EXPECT_EQ(call(0, 0, 0), 32767);
    EXPECT_EQ(call(1234, 1234, 0), 32767);
    EXPECT_EQ(call(0, 1, 0), 237);
    EXPECT_EQ(call(1, 0, 0), 661);
    EXPECT_EQ(call(0, 5, 0), 0);
    EXPECT_EQ(call(7, 12, 0), 0);
}

TEST(Spread, EveryDifferenceInTheStepsOfUse) {
    for (int inScaleFactor = -16; inScaleFactor <= 0; ++inScaleFactor) {
        const int reach = std::min(65535, 5 << -inScaleFactor);
        const int step = 1 + reach / 4000;
        for (int difference = -reach; difference <= reach; difference += step) {
            const int src1 = -difference / 2, src2 = src1 + difference;
            ASSERT_EQ(call(src1, src2, inScaleFactor), spread(src1, src2, inScaleFactor))
                << difference << " in " << inScaleFactor;
        }
    }
}

TEST(Spread, AnyArgumentsAndOnlyTheLowHalvesCount) {
    Random random(50);
    for (int round = 0; round < 20000; ++round) {
        const auto src1 = static_cast<Qor32s>(random.wideInteger(31));
        const auto src2 = random.chance(0.5) ? static_cast<Qor32s>(random.wideInteger(31))
                                             : wrap32(Int128{src1} + random.wideInteger(15));
        // Shifts from 40 to the left to 31 to the right.
        const int inScaleFactor = static_cast<int>(random.integer(-53, 17));
        ASSERT_EQ(call(src1, src2, inScaleFactor), spread(src1, src2, inScaleFactor))
            << src1 << ' ' << src2 << " in " << inScaleFactor;
        ASSERT_EQ(call(src1 & 0xFFFF, static_cast<Qor16s>(src2), inScaleFactor),
                  call(src1, src2, inScaleFactor));
    }
}

// Beyond 12 and -6 the level itself would wrap into the range of the table.
TEST(Spread, OutsideTheRangeIsZero) {
    for (int difference = 4 * 4096 + 1; difference < 32767; difference += 11) {
        ASSERT_EQ(call(0, difference, -12), 0) << difference;
        ASSERT_EQ(call(difference, 0, -12), 0) << difference;
    }
}

TEST(Spread, NearTheFormula) {
    for (int difference = -(4 << 11); difference <= 4 << 11; difference += 7) {
        const double gain = std::min(32767.0, formula(difference / 2048.0) * 32768);
        ASSERT_NEAR(call(0, difference, -11), gain, 1.5 + gain * 2e-4) << difference;
    }
}

TEST(Spread, NullDestination) { EXPECT_EQ(qorsSpread_16s_Sfs(0, 0, 0, nullptr), qorStsNullPtrErr); }

}  // namespace
}  // namespace qorac
