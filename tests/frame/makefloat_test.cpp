// Numbers from mantissa and exponent, scale-factor gains and their use.
#include <bit>
#include <cmath>
#include <cstring>
#include <limits>
#include <vector>

#include "gmock/gmock.h"
#include "qorac.h"
#include "support/memory.h"
#include "support/random.h"

namespace qorac {
namespace {

using test::Guarded;
using test::Random;

Qor32u bits(Qor32f x) { return std::bit_cast<Qor32u>(x); }

// --- mantissa and exponent --------------------------------------------------------------------

TEST(MakeFloat, EveryExponent) {
    const Qor16s mantissas[] = {0, 1, -1, 2, 16384, -16384, 32767, -32768, 12345};
    std::vector<Qor16s> mantissa, exponent;
    for (int e = -32768; e <= 32767; ++e) {
        mantissa.push_back(mantissas[(e + 32768) % std::size(mantissas)]);
        exponent.push_back(static_cast<Qor16s>(e));
    }
    for (Qor16s m : mantissas)
        for (Qor16s e : {-143, -142, 0, 111, 112, 113}) {
            mantissa.push_back(m);
            exponent.push_back(e);
        }
    const int len = static_cast<int>(mantissa.size());
    std::vector<Qor32f> out(len);
    EXPECT_GE(qorsMakeFloat_16s32f(mantissa.data(), exponent.data(), len, out.data()), 0);
    for (int i = 0; i < len; ++i) {
        const int m = mantissa[i], e = exponent[i], field = (112 - e) & 255;
        if (field == 255) {
            if (m == 0)
                ASSERT_TRUE(std::isnan(out[i])) << e;
            else
                ASSERT_EQ(out[i], std::copysign(std::numeric_limits<float>::infinity(), m)) << e;
        } else if (field == 0) {
            ASSERT_EQ(out[i], 0.0f) << e;
        } else {
            // float of the double: exact, or infinity where the range of float ends
            ASSERT_EQ(out[i], static_cast<float>(std::ldexp(m, field - 127))) << m << ' ' << e;
            if (e >= -142 && e <= 111) {
                ASSERT_EQ(out[i], static_cast<float>(std::ldexp(m, -15 - e))) << m << ' ' << e;
            }
        }
    }
}

TEST(MakeFloat, Examples) {
    const Qor16s mantissa[] = {16384, 16384, -32768, -16384, 1};
    const Qor16s exponent[] = {0, 112, 112, 1, -15};
    Qor32f out[5];
    qorsMakeFloat_16s32f(mantissa, exponent, 5, out);
    EXPECT_THAT(out, testing::ElementsAre(0.5f, 0.0f, 0.0f, -0.25f, 1.0f));
}

TEST(MakeFloat, LengthsAlignmentAndBounds) {
    Random random(30);
    for (int len = 1; len <= 70; ++len)
        for (bool atEnd : {true, false}) {
            const auto m = random.integers<Qor16s>(len, -32768, 32767);
            const auto e = random.integers<Qor16s>(len, -100, 100);
            Guarded<Qor16s> mantissa(m, atEnd), exponent(e, atEnd);
            Guarded<Qor32f> out(len, atEnd);
            EXPECT_GE(qorsMakeFloat_16s32f(mantissa.data(), exponent.data(), len, out.data()), 0);
            for (int i = 0; i < len; ++i)
                ASSERT_EQ(out[i], static_cast<float>(std::ldexp(m[i], -15 - e[i])));
        }
    alignas(16) Qor16s mantissa[24] = {3}, exponent[24] = {};
    alignas(16) Qor32f out[24];
    for (int off = -1; off < 3; ++off)
        EXPECT_EQ(
            qorsMakeFloat_16s32f(mantissa + (off == 0), exponent + (off == 1), 9, out + (off == 2)),
            off < 0 ? qorStsNoErr : qorStsAlignmentWarn)
            << off;
}

// --- gains of scale factors -------------------------------------------------------------------

// 2^(quarters / 4), rounded once.
float power(int quarters) {
    return static_cast<float>(std::exp2(static_cast<long double>(quarters) / 4));
}

TEST(CalcSF, PowerOfTwoInQuartersForEveryDifference) {
    Random random(31);
    std::vector<Qor16s> in(65536);
    for (int i = 0; i < 65536; ++i) in[i] = static_cast<Qor16s>(i - 32768);
    const int len = static_cast<int>(in.size());
    std::vector<Qor32f> out(len);
    for (Qor32s offset : {0, 100, -77, 32768, 2147483647, -2147483647 - 1}) {
        EXPECT_EQ(qorsCalcSF_16s32f(in.data(), offset, out.data(), len), qorStsNoErr);
        for (int i = 0; i < len; ++i) {
            // The difference modulo 1024, as a number from -512 to 511.
            const long long difference = static_cast<long long>(in[i]) - offset;
            const int wrapped = static_cast<int>((difference + 512) & 1023) - 512;
            ASSERT_EQ(bits(out[i]), bits(power(wrapped))) << in[i] << " - " << offset;
        }
    }
}

TEST(CalcSF, Examples) {
    const Qor16s in[] = {0, 4, 513, -4, 2};
    Qor32f out[5];
    EXPECT_EQ(qorsCalcSF_16s32f(in, 0, out, 5), qorStsNoErr);
    EXPECT_EQ(out[0], 1.0f);
    EXPECT_EQ(out[1], 2.0f);
    EXPECT_EQ(out[2], static_cast<float>(std::exp2(-127.75)));
    EXPECT_EQ(out[3], 0.5f);
    EXPECT_EQ(out[4], static_cast<float>(std::sqrt(2.0)));
}

TEST(CalcSF, LengthsAndNoAlignmentWarning) {
    for (int len = 1; len <= 40; ++len)
        for (bool atEnd : {true, false}) {
            Guarded<Qor16s> in(len, atEnd);
            Guarded<Qor32f> out(len, atEnd);
            for (int i = 0; i < len; ++i) in[i] = static_cast<Qor16s>(100 + i);
            EXPECT_EQ(qorsCalcSF_16s32f(in.data(), 100, out.data(), len), qorStsNoErr);
            for (int i = 0; i < len; ++i) ASSERT_EQ(out[i], power(i));
        }
}

// --- gains per band ---------------------------------------------------------------------------

TEST(Scale, MultipliesBandByBand) {
    Random random(32);
    for (int round = 0; round < 100; ++round) {
        const int bands = static_cast<int>(random.integer(1, 12));
        std::vector<Qor32s> offsets{static_cast<Qor32s>(random.integer(0, 5))};
        for (int b = 0; b < bands; ++b)
            offsets.push_back(offsets.back() + static_cast<Qor32s>(random.integer(0, 40)));
        const auto in = random.reals<Qor32f>(offsets.back() + 3, -100, 100);
        Guarded<Qor32f> data(in), scale(random.reals<Qor32f>(bands, -3, 3));
        Guarded<Qor32s> offset(offsets);
        auto expected = in;
        for (int b = 0; b < bands; ++b)
            for (int i = offsets[b]; i < offsets[b + 1]; ++i) expected[i] *= scale[b];
        EXPECT_EQ(qorsScale_32f_I(data.data(), scale.data(), offset.data(), bands), qorStsNoErr);
        ASSERT_EQ(data.copy(), expected);
    }
}

TEST(Scale, BandsThatEndAtOrBeforeTheirStartAreEmpty) {
    const Qor32f gains[] = {3, 2, 5};
    Qor32f data[4] = {1, 2, 3, 4};
    const Qor32s second[] = {0, 0, 4};
    EXPECT_EQ(qorsScale_32f_I(data, gains, second, 2), qorStsNoErr);
    EXPECT_THAT(data, testing::ElementsAre(2, 4, 6, 8));
    const Qor32s backward[] = {4, 1, 2, 4};  // the middle band has one element
    EXPECT_EQ(qorsScale_32f_I(data, gains, backward, 3), qorStsNoErr);
    EXPECT_THAT(data, testing::ElementsAre(2, 8, 30, 40));
}

// --- checks -----------------------------------------------------------------------------------

TEST(MakeFloatChecks, PointersBeforeLengthAndNothingWritten) {
    const Qor16s in[2] = {1, 2};
    const Qor32s offsets[2] = {0, 2};
    const Qor32f gain[1] = {7};
    Qor32f out[2] = {1, 2};
    EXPECT_EQ(qorsMakeFloat_16s32f(nullptr, in, 0, out), qorStsNullPtrErr);
    EXPECT_EQ(qorsMakeFloat_16s32f(in, nullptr, 2, out), qorStsNullPtrErr);
    EXPECT_EQ(qorsMakeFloat_16s32f(in, in, -1, nullptr), qorStsNullPtrErr);
    EXPECT_EQ(qorsMakeFloat_16s32f(in, in, 0, out), qorStsSizeErr);
    EXPECT_EQ(qorsMakeFloat_16s32f(in, in, -5, out), qorStsSizeErr);

    EXPECT_EQ(qorsCalcSF_16s32f(nullptr, 0, out, 0), qorStsNullPtrErr);
    EXPECT_EQ(qorsCalcSF_16s32f(in, 0, nullptr, 0), qorStsNullPtrErr);
    EXPECT_EQ(qorsCalcSF_16s32f(nullptr, 0, out, 2), qorStsNullPtrErr);
    EXPECT_EQ(qorsCalcSF_16s32f(in, 0, out, 0), qorStsSizeErr);
    EXPECT_EQ(qorsCalcSF_16s32f(in, 0, out, -1), qorStsSizeErr);

    EXPECT_EQ(qorsScale_32f_I(nullptr, gain, offsets, 0), qorStsNullPtrErr);
    EXPECT_EQ(qorsScale_32f_I(out, nullptr, offsets, 0), qorStsNullPtrErr);
    EXPECT_EQ(qorsScale_32f_I(out, gain, nullptr, 1), qorStsNullPtrErr);
    EXPECT_EQ(qorsScale_32f_I(out, gain, offsets, 0), qorStsSizeErr);
    EXPECT_EQ(qorsScale_32f_I(out, gain, offsets, -1), qorStsSizeErr);
    EXPECT_THAT(out, testing::ElementsAre(1, 2));
}

}  // namespace
}  // namespace qorac
