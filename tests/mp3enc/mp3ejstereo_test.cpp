#include <cmath>

#include "frame/mp3sfbtbl.h"
#include "gmock/gmock.h"
#include "qorac.h"
#include "reference/mp3encmath.h"
#include "support/memory.h"
#include "support/random.h"

namespace qorac {
namespace {

using reference::Int128;
using reference::power2;
using reference::scaled;
using reference::wrap32;
using test::Guarded;
using test::Random;

struct Granule {
    QorMP3FrameHeader header{};
    QorMP3SideInfo side[2]{};
    Guarded<Qor32s> left{576}, right{576}, bound{3};
    Guarded<Qor8u> scale{39};

    Granule() {
        header.id = 1;
        header.mode = 1;
    }
    void setShort() { side[0].block_type = side[1].block_type = 2; }
    QorStatus run() {
        return qorsJointStereoEncode_MP3_32s_I(left.data(), right.data(), scale.data(), &header,
                                               side, bound.data());
    }
};

Qor32s halfRoot(Int128 sum) { return wrap32(scaled(wrap32(2 * sum) * Int128(1518500250), 32)); }

int plainPosition(Int128 eLeft, Int128 eRight) {
    const int limit[7] = {0, 568, 5622, 19293, 55653, 190986, 1890566};
    if (eRight == 0) return 6;
    const auto [mR, sR] = reference::norm64(eRight);
    const auto [mL, sL] = reference::norm64(eLeft);
    const auto [r, n] = reference::reciprocal(mR);
    const Qor32s ratio = wrap32(scaled(mL * r, 46 - n + sL - sR));
    for (int k = 0; k < 6; ++k)
        if (ratio < limit[k + 1]) return k;
    return 6;
}

TEST(JointStereo, AgreesWithThePlainForm) {
    Random random(1);
    for (int run = 0; run < 400; ++run) {
        Granule g;
        g.header.id = random.chance(0.7);
        g.header.sampling_frequency = Qor32s(random.integer(0, 2));
        g.header.mode = random.chance(0.8) ? 1 : Qor32s(random.integer(0, 3));
        g.header.mode_extension = Qor32s(random.integer(0, 3));
        const bool isShort = random.chance(0.5);
        if (isShort) g.setShort();
        const int bits = int(random.integer(1, 31)), balance = int(random.integer(0, 12));
        for (int i = 0; i < 576; ++i) {
            g.left[i] = Qor32s(random.wideInteger(bits)) >> (i % 7 == 0 ? balance : 0);
            g.right[i] = Qor32s(random.wideInteger(bits)) >> balance;
        }
        for (Qor32s& b : g.bound.span()) b = Qor32s(random.integer(0, isShort ? 13 : 22));

        auto left = g.left.copy(), right = g.right.copy(), bound = g.bound.copy();
        auto scale = g.scale.copy();
        const bool joint = g.header.mode == 1;
        const bool ms = joint && g.header.mode_extension / 2,
                   is = joint && g.header.mode_extension % 2;
        const int row = g.header.id * 3 + g.header.sampling_frequency, bands = isShort ? 13 : 22;
        for (int w = 0; w < (isShort ? 3 : 1); ++w) {
            if (!is) bound[w] = bands;
            for (int b = 0; b < bands; ++b) {
                const Qor16s* t =
                    isShort ? _qor_pMP3SfbTableShort[row] : _qor_pMP3SfbTableLong[row];
                const int width = t[b + 1] - t[b];
                const int first = isShort ? 3 * t[b] + w * width : t[b];
                Int128 eLeft = 0, eRight = 0;
                for (int i = first; i < first + width; ++i) {
                    const Int128 l = left[i], r = right[i];
                    eLeft += l * l;
                    eRight += r * r;
                    if (b < bound[w] && ms) {
                        left[i] = halfRoot(l + r);
                        right[i] = halfRoot(l - r);
                    } else if (b >= bound[w]) {
                        const Int128 sum = (l < 0 ? -l : l) + (r < 0 ? -r : r);
                        const bool negative = (l < 0 ? -l : l) > (r < 0 ? -r : r) ? l < 0 : r < 0;
                        left[i] = wrap32(negative ? -sum : sum);
                        right[i] = 0;
                    }
                }
                if (b >= bound[w])
                    scale[isShort ? 3 * b + w : b] = Qor8u(plainPosition(eLeft, eRight));
            }
        }
        ASSERT_EQ(g.run(), qorStsNoErr);
        ASSERT_EQ(g.left.copy(), left);
        ASSERT_EQ(g.right.copy(), right);
        ASSERT_EQ(g.bound.copy(), bound);
        ASSERT_EQ(g.scale.copy(), scale);
    }
}

TEST(JointStereo, OtherModesOnlyResetTheBound) {
    for (const Qor32s mode : {0, 2, 3}) {
        Granule g;
        g.header.mode = mode;
        g.header.mode_extension = 3;
        g.side[1].block_type = 3;  // not looked at
        g.left[0] = 100;
        g.right[0] = 50;
        for (Qor32s& b : g.bound.span()) b = 5;
        ASSERT_EQ(g.run(), qorStsNoErr);
        EXPECT_EQ(g.left[0], 100);
        EXPECT_EQ(g.right[0], 50);
        EXPECT_THAT(g.bound.copy(), testing::ElementsAre(22, 5, 5));
        g.side[0].block_type = 2;
        ASSERT_EQ(g.run(), qorStsNoErr);
        EXPECT_THAT(g.bound.copy(), testing::ElementsAre(13, 13, 13));
    }
}

// A pair with amplitudes in the proportion of an intensity position gets this position.
TEST(JointStereo, PositionsAreTheAnglesOfTheStandard) {
    for (int position = 0; position <= 6; ++position) {
        Granule g;
        g.header.mode_extension = 1;
        const double angle = position * 3.14159265358979 / 12;
        for (int i = 0; i < 576; ++i) {
            g.left[i] = Qor32s(std::lround(1e6 * std::sin(angle)));
            g.right[i] = Qor32s(std::lround(1e6 * std::cos(angle)));
        }
        ASSERT_EQ(g.run(), qorStsNoErr);
        for (int b = 0; b < 22; ++b) EXPECT_EQ(g.scale[b], position);
        for (int i = 0; i < 576; ++i) ASSERT_EQ(g.right[i], 0);
    }
}

TEST(JointStereo, SilentBands) {
    Granule g;
    g.header.mode_extension = 3;
    g.bound[0] = 20;
    g.left[300] = -77;  // band 20 at 44100 Hz begins at line 342
    g.left[342] = -77;
    ASSERT_EQ(g.run(), qorStsNoErr);
    EXPECT_EQ(g.scale[20], 6);  // right silent
    EXPECT_EQ(g.scale[21], 6);  // both silent
    EXPECT_EQ(g.scale[19], 0);  // not an intensity band
    EXPECT_EQ(g.left[342], -77);
    EXPECT_EQ(g.left[300], g.right[300]);  // mid/side stops at the bound
    EXPECT_EQ(g.right[342], 0);
}

// Energies so far apart that the ratio leaves 32 bits on either side.
TEST(JointStereo, ExtremeRatios) {
    Granule g;
    g.header.mode_extension = 1;
    for (int i = 0; i < 4; ++i) g.right[i] = 0x7FFFFFFF;
    g.left[0] = 1;
    ASSERT_EQ(g.run(), qorStsNoErr);
    EXPECT_EQ(g.scale[0], 0);  // a shift of more than 63 bits leaves nothing
}

TEST(JointStereo, Checks) {
    Granule g;
    g.side[1].block_type = 2;
    g.left[0] = 8;
    g.bound[0] = 4;
    for (const Qor32s extension : {1, 2, 3}) {
        g.header.mode_extension = extension;
        EXPECT_EQ(g.run(), qorStsMp3SideInfoErr);
    }
    EXPECT_EQ(g.left[0], 8);
    EXPECT_EQ(g.bound[0], 4);
    for (int null = 0; null < 6; ++null) {
        const auto arg = [&](int i, auto* p) { return i == null ? nullptr : p; };
        EXPECT_EQ(qorsJointStereoEncode_MP3_32s_I(arg(0, g.left.data()), arg(1, g.right.data()),
                                                  arg(2, g.scale.data()), arg(3, &g.header),
                                                  arg(4, g.side), arg(5, g.bound.data())),
                  qorStsNullPtrErr);
    }
    g.header.mode_extension = 0;
    EXPECT_EQ(g.run(), qorStsNoErr);
}

}  // namespace
}  // namespace qorac
