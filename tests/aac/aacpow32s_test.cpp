#include <algorithm>
#include <cmath>
#include <vector>

#include "aac/aachelp.h"
#include "frame/pow43.h"
#include "gmock/gmock.h"
#include "qorac.h"
#include "support/memory.h"
#include "support/random.h"

namespace qorac {
namespace {

using test::Guarded;
using test::Random;
using testing::Each;
using testing::ElementsAreArray;

__extension__ typedef __int128 Wide;

Qor32s low32(Wide a) { return Qor32s(Qor32u(Qor64u(a))); }
Qor32s high(Wide a, Wide b) { return low32((a * b) >> 32); }

// k^(4/3) 2^(-r/4) in Qq.
Qor32s power(int k, int r, int q) {
    return Qor32s(std::llround(std::ldexp(std::pow(k, 4.0 / 3) * std::pow(2, -r / 4.0), q)));
}

// The power law step by step. fraction 3: results in Q3; 0: in Q0.
Qor32s plainPower(Qor32s x, long long s, int fraction) {
    const Qor32s poly[8] = {-457633446,         1445956062, Qor32s(0x869EACD7), 1707815404,
                            Qor32s(0xC4E02D07), 535739478,  127541088,          -1613111};
    const Qor32s mantissa[7] = {0x6597FA94, 0x7FFFFFFF, 0x50A28BE6, 0x6597FA94,
                                0x7FFFFFFF, 0x50A28BE6, 0x6597FA94};
    const int exponent[7] = {20, 19, 17, 16, 15, 13, 12};
    const Qor32s gains[4] = {0x7FFFFFFF, 0x6BA27E65, 0x5A82799A, 0x4C1BF829};
    const long long e = (s + 3) >> 2;
    const int r = int(4 * e - s);
    const Qor64s a = std::abs(Qor64s(x));
    Qor32s value;
    if (a < 4) {
        const long long t = std::max(28 - fraction - e, 0ll);
        value = t > 31 ? 0 : power(int(a), r, 28) >> t;
    } else if (a < 16) {
        value = power(int(a), r, 25) >> std::clamp(25 - fraction - e, 0ll, 31ll);
    } else {
        Qor32s v;
        int exp;
        if (a <= 128) {
            v = power(int(a), 0, a < 64 ? 23 : 21);
            exp = (a < 64 ? 19 : 17) + 3 - fraction;
        } else {
            Qor32s m = low32(Wide(a) << 17);
            int n = 0;
            if (m < 1 << 27) m = low32(Wide(m) << 4), n += 4;
            if (m < 1 << 29) m = low32(Wide(m) << 2), n += 2;
            if (m < 1 << 30) m = low32(Wide(m) << 1), n += 1;
            const int k = std::max(6 - n, 0);  // below 0 only where no result is defined
            Qor32s p = poly[0];
            for (int i = 1; i < 8; ++i) p = low32(Wide(high(p, m)) + poly[i]);
            v = low32(Wide(high(low32(Wide(p) * 16), mantissa[k])) * 2);
            exp = exponent[k] - 1 - fraction;
        }
        v = high(v, gains[r]);
        const long long d = exp - e;
        if (d >= 1)
            value = d >= 32 ? 0 : v >> d;
        else
            value = -d < 32 ? low32(Wide(v) << -d) : v != 0 ? 0x7FFFFFFF : 0;
    }
    return x < 0 ? low32(-Wide(value)) : value;
}

struct Call {
    std::vector<Qor16s> scaleFactors = std::vector<Qor16s>(8 * 51, 100);
    std::vector<Qor8u> books = std::vector<Qor8u>(8 * 51, 5);
    std::vector<Qor32s> groups = {1};
    Qor32s maxSfb = 49, rate = 4, winLen = 1024;

    QorStatus operator()(Qor32s* p) const {
        return qorsQuantInv_AAC_32s_I(p, scaleFactors.data(), Qor32s(groups.size()), groups.data(),
                                      maxSfb, books.data(), rate, winLen);
    }
};

TEST(AacQuantInv, TablesOfThePowerLaw) {
    EXPECT_THAT((std::vector<Qor32s>{_pReq16x4_Audio.row[0], _pReq16x4_Audio.row[0] + 5}),
                testing::ElementsAre(0, 0x10000000, 0x285145F3, 0x453A5CDB, 0x0CB2FF53));
    EXPECT_EQ(_pReq16x4_Audio.row[2][0], 0);
    EXPECT_EQ(_pReq16x4_Audio.row[2][1], 0x0B504F33);
    for (int r = 0; r < 4; ++r)
        for (int k = 0; k < 16; ++k)
            EXPECT_EQ(_pReq16x4_Audio.row[r][k], power(k, r, k < 4 ? 28 : 25));
    for (int k = 16; k <= 128; ++k)
        EXPECT_EQ(_pSqrt43_Audio[k - 16], power(k, 0, k < 64 ? 23 : 21));
}

// Every magnitude at scale factors over the whole range, over a long block in both signs.
TEST(AacQuantInv, EveryMagnitudeEqualsThePlainSteps) {
    Call call;
    for (int sf : {-32768, -300, 0,   60,  91,  92,  93,  94,  99,  100, 101,
                   102,    103,  120, 157, 180, 200, 220, 231, 255, 300, 32767}) {
        std::fill(call.scaleFactors.begin(), call.scaleFactors.end(), Qor16s(sf));
        for (int base = 0; base < 8192; base += 1024) {
            Guarded<Qor32s> data(1024);
            for (int i = 0; i < 1024; ++i) data[i] = i % 3 == 1 ? -(base + i) : base + i;
            const auto x = data.copy();
            ASSERT_EQ(call(data.data()), qorStsNoErr);
            for (int i = 0; i < 1024; ++i)
                ASSERT_EQ(data[i], plainPower(x[i], sf - 100, 3)) << "sf " << sf << " x " << x[i];
        }
    }
}

// Mixed spectra in every grouping: bands of other code books and what lies above the last band
// stay.
TEST(AacQuantInv, WalksGroupsAndBands) {
    Random random(2);
    for (int run = 0; run < 300; ++run) {
        Call call;
        const bool isShort = run % 2;
        call.winLen = isShort ? 128 : 1024;
        call.rate = Qor32s(random.integer(0, 11));
        const Qor16s* swb =
            (isShort ? _pAACSwbOffsetTableShort : _pAACSwbOffsetTableLong)[call.rate];
        call.maxSfb = Qor32s(
            random.integer(0, (isShort ? _pAACNumSwbTableShort : _pAACNumSwbTableLong)[call.rate]));
        if (isShort) {
            call.groups.clear();
            for (int left = 8; left > 0; left -= call.groups.back())
                call.groups.push_back(Qor32s(random.integer(1, left)));
        }
        for (auto& book : call.books) book = Qor8u(random.integer(0, 16));
        for (auto& sf : call.scaleFactors) sf = Qor16s(random.integer(80, 130));
        Guarded<Qor32s> data(1024);
        for (Qor32s& v : data.span())
            v = Qor32s(random.chance(0.9) ? random.integer(-15, 15) : random.wideInteger(13));
        auto expected = data.copy();
        int base = 0, index = 0;
        for (int windows : call.groups) {
            for (int b = 0; b < call.maxSfb; ++b, ++index)
                for (int i = swb[b] * windows; i < swb[b + 1] * windows; ++i)
                    if (call.books[index] != 0 &&
                        (call.books[index] < 13 || call.books[index] > 15))
                        expected[base + i] =
                            plainPower(expected[base + i], call.scaleFactors[index] - 100, 3);
            base += windows * call.winLen;
        }
        ASSERT_EQ(call(data.data()), qorStsNoErr);
        ASSERT_THAT(data.copy(), ElementsAreArray(expected)) << run;
    }
}

TEST(AacQuantInv, IsThePowerLawOfTheStandard) {
    Call call;
    std::vector<Qor32s> data(1024);
    for (int sf : {100, 107, 122}) {
        std::fill(call.scaleFactors.begin(), call.scaleFactors.end(), Qor16s(sf));
        for (int i = 0; i < 1024; ++i) data[i] = i * 8 - 4095;
        const auto x = data;
        ASSERT_EQ(call(data.data()), qorStsNoErr);
        for (int i = 0; i < 1024; ++i) {
            const double exact = 8 * std::pow(std::abs(double(x[i])), 4.0 / 3) *
                                 std::pow(2, (sf - 100) / 4.0) * (x[i] < 0 ? -1 : 1);
            EXPECT_NEAR(data[i], exact, 1 + std::abs(exact) * 2e-6) << x[i];
        }
    }
}

TEST(AacQuantInv, SmallValuesAtUnitScale) {
    Call call;
    std::vector<Qor32s> data(1024);
    for (int i = 0; i < 4; ++i) data[i] = i, data[4 + i] = -i;
    EXPECT_EQ(call(data.data()), qorStsNoErr);
    data.resize(8);
    EXPECT_THAT(data, testing::ElementsAre(0, 8, 20, 34, 0, -8, -20, -34));
}

TEST(AacQuantInv, AMagnitudeAbove8191StopsBehindWhatIsDone) {
    Call call;
    for (Qor32s bad : {8192, -8192, kMax32s, kMin32s}) {
        for (int at : {0, 3, 7, 8, 13, 500, 1023}) {
            std::vector<Qor32s> data(1024, 8191);
            data[at] = bad;
            EXPECT_EQ(call(data.data()), qorStsAacQuantMaxErr) << at;
            for (int i = 0; i < 1024; ++i)
                EXPECT_EQ(data[i], i < at    ? plainPower(8191, 0, 3)
                                   : i == at ? bad
                                             : 8191)
                    << at << " at " << i;
        }
    }
    std::vector<Qor32s> data(1024, 9000);
    call.maxSfb = 0;
    EXPECT_EQ(call(data.data()), qorStsNoErr);
    EXPECT_THAT(data, Each(9000));
}

TEST(AacQuantInv, ChecksInOrder) {
    const Call good;
    std::vector<Qor32s> data(1024, 3);
    const auto status = [&](int null, int winLen, int groups, int maxSfb, int rate) {
        return qorsQuantInv_AAC_32s_I(null == 0 ? nullptr : data.data(),
                                      null == 1 ? nullptr : good.scaleFactors.data(), groups,
                                      null == 2 ? nullptr : good.groups.data(), maxSfb,
                                      null == 3 ? nullptr : good.books.data(), rate, winLen);
    };
    for (int null : {0, 1, 2, 3}) EXPECT_EQ(status(null, 0, 9, 99, 99), qorStsNullPtrErr);
    EXPECT_EQ(status(4, 256, 9, 99, 99), qorStsAacWinLenErr);
    EXPECT_EQ(status(4, 1024, 2, 99, 99), qorStsAacWinGrpErr);
    EXPECT_EQ(status(4, 1024, 0, 99, 99), qorStsAacWinGrpErr);
    EXPECT_EQ(status(4, 128, 9, 99, 99), qorStsAacWinGrpErr);
    EXPECT_EQ(status(4, 128, 0, 99, 99), qorStsAacWinGrpErr);
    EXPECT_EQ(status(4, 1024, 1, 52, 99), qorStsAacMaxSfbErr);
    EXPECT_EQ(status(4, 1024, 1, -1, 99), qorStsAacMaxSfbErr);
    EXPECT_EQ(status(4, 1024, 1, 51, 12), qorStsAacSampRateIdxErr);
    EXPECT_EQ(status(4, 1024, 1, 51, -1), qorStsAacSampRateIdxErr);
    EXPECT_EQ(status(4, 1024, 1, 50, 4), qorStsAacMaxSfbErr);
    EXPECT_EQ(status(4, 128, 8, 15, 4), qorStsAacMaxSfbErr);
    EXPECT_THAT(data, Each(3));
}

// --- qorsPow43Scale_16s32s_Sf -----------------------------------------------------------------

TEST(AacPow43Scale, EqualsThePlainSteps) {
    const std::vector<Qor32s> offsets = {0, 3, 3, 40, 200};
    Random random(3);
    for (int run = 0; run < 200; ++run) {
        const Qor32s groupLen = Qor32s(random.integer(1, 3));
        const Qor32s offset = Qor32s(random.integer(-20, 120));
        const Qor32s scaleFactor = Qor32s(random.integer(-8, 8));
        const auto scaleFactors = random.integers<Qor16s>(4, -40, 200);
        Guarded<Qor16s> src(200 * groupLen);
        for (Qor16s& v : src.span())
            v = Qor16s(random.chance(0.7) ? random.wideInteger(4) : random.wideInteger(14));
        Guarded<Qor32s> dst(200 * groupLen);
        ASSERT_EQ(qorsPow43Scale_16s32s_Sf(src.data(), dst.data(), scaleFactors.data(),
                                           offsets.data(), offset, 4, groupLen, scaleFactor),
                  qorStsNoErr);
        for (int b = 0; b < 4; ++b)
            for (int i = offsets[b] * groupLen; i < offsets[b + 1] * groupLen; ++i)
                ASSERT_EQ(dst[i],
                          plainPower(src[i], scaleFactors[b] - offset - 4ll * scaleFactor, 0))
                    << src[i];
    }
}

// Any magnitude passes; from 16384 on what the wrapping arithmetic gives.
TEST(AacPow43Scale, EveryMagnitude) {
    std::vector<Qor16s> src;
    for (int a = 0; a < 32768; ++a) src.push_back(Qor16s(a % 2 ? a : -a));
    src.push_back(-32768);
    std::vector<Qor32s> dst(src.size());
    const Qor32s offsets[] = {0, Qor32s(src.size())};
    const Qor16s scaleFactor = 100;
    ASSERT_EQ(qorsPow43Scale_16s32s_Sf(src.data(), dst.data(), &scaleFactor, offsets, 100, 1, 1, 0),
              qorStsNoErr);
    for (std::size_t a = 0; a < src.size(); ++a) {
        ASSERT_EQ(dst[a], plainPower(src[a], 0, 0)) << a;
        if (a < 16384) {
            const double exact = std::copysign(std::pow(double(a), 4.0 / 3), src[a]);
            ASSERT_NEAR(dst[a], exact, 1 + std::abs(exact) * 2e-6) << a;
        }
    }
}

TEST(AacPow43Scale, ExtremeExponentsStayInsideTheTables) {
    const std::vector<Qor16s> src = {1, 5, 100, 5000, -32768, 0, 16384, -3};
    const Qor32s offsets[] = {0, 8};
    for (Qor32s offset : {kMin32s, kMax32s, 0}) {
        for (Qor32s scaleFactor : {kMin32s, kMax32s, 0}) {
            for (Qor16s sf : {Qor16s(-32768), Qor16s(32767)}) {
                std::vector<Qor32s> dst(8);
                ASSERT_EQ(qorsPow43Scale_16s32s_Sf(src.data(), dst.data(), &sf, offsets, offset, 1,
                                                   1, scaleFactor),
                          qorStsNoErr);
                for (int i = 0; i < 8; ++i)
                    EXPECT_EQ(dst[i],
                              plainPower(src[i], sf - (long long)offset - 4ll * scaleFactor, 0));
            }
        }
    }
}

TEST(AacPow43Scale, ChecksInOrderAndEmptyWork) {
    const std::vector<Qor16s> src(8, 5), scaleFactors(2, 0);
    const std::vector<Qor32s> offsets = {0, 4, 8};
    std::vector<Qor32s> dst(8, 77);
    const auto status = [&](int null, int numBands, int groupLen) {
        return qorsPow43Scale_16s32s_Sf(
            null == 0 ? nullptr : src.data(), null == 1 ? nullptr : dst.data(),
            null == 2 ? nullptr : scaleFactors.data(), null == 3 ? nullptr : offsets.data(), 0,
            numBands, groupLen, 0);
    };
    for (int null : {0, 1, 2, 3}) EXPECT_EQ(status(null, -1, -1), qorStsNullPtrErr);
    EXPECT_EQ(status(4, -1, 1), qorStsSizeErr);
    EXPECT_EQ(status(4, 2, -1), qorStsSizeErr);
    EXPECT_EQ(status(4, 0, 1), qorStsNoErr);
    EXPECT_EQ(status(4, 2, 0), qorStsNoErr);
    EXPECT_THAT(dst, Each(77));
}

TEST(AacPow43Scale, EmptyBandsMayLieAnywhere) {
    const Qor16s src = 5, scaleFactor = 0;
    Qor32s dst = 77;
    const Qor32s offsets[] = {1 << 20, 1 << 20};
    EXPECT_EQ(qorsPow43Scale_16s32s_Sf(&src, &dst, &scaleFactor, offsets, 0, 1, 1 << 12, 0),
              qorStsNoErr);
    EXPECT_EQ(dst, 77);
}

// --- qorsDeinterleaveSpectrum_AAC_32s ---------------------------------------------------------

TEST(AacDeinterleave, PutsEveryLineInItsWindow) {
    Random random(4);
    for (int run = 0; run < 100; ++run) {
        const Qor32s rate = Qor32s(random.integer(0, 11));
        const Qor16s* swb = _pAACSwbOffsetTableShort[rate];
        const Qor32s maxSfb = Qor32s(random.integer(0, _pAACNumSwbTableShort[rate]));
        std::vector<Qor32s> groups;
        for (int left = 8; left > 0; left -= groups.back())
            groups.push_back(Qor32s(random.integer(1, left)));
        if (run % 5 == 4 && groups.size() > 1) groups.pop_back();  // fewer than eight windows
        Guarded<Qor32s> src(1024), dst(1024);
        for (int i = 0; i < 1024; ++i) src[i] = i + 1, dst[i] = -1;
        ASSERT_EQ(qorsDeinterleaveSpectrum_AAC_32s(src.data(), dst.data(), Qor32s(groups.size()),
                                                   groups.data(), maxSfb, rate, 128),
                  qorStsNoErr);
        int window = 0;
        for (int windows : groups) {
            for (int w = 0; w < windows; ++w)
                for (int i = 0; i < 128; ++i) {
                    int expected = 0;
                    for (int b = 0; b < maxSfb; ++b)
                        if (i >= swb[b] && i < swb[b + 1])
                            expected = 128 * window + swb[b] * windows + w * (swb[b + 1] - swb[b]) +
                                       i - swb[b] + 1;
                    ASSERT_EQ(dst[128 * (window + w) + i], expected);
                }
            window += windows;
        }
        for (int i = 128 * window; i < 1024; ++i) ASSERT_EQ(dst[i], -1);
    }
}

TEST(AacDeinterleave, ChecksInOrder) {
    std::vector<Qor32s> src(1024, 1), dst(1024, 2);
    const Qor32s groups[8] = {8};
    const auto status = [&](int null, int winLen, int numGroups, int maxSfb, int rate) {
        return qorsDeinterleaveSpectrum_AAC_32s(null == 0 ? nullptr : src.data(),
                                                null == 1 ? nullptr : dst.data(), numGroups,
                                                null == 2 ? nullptr : groups, maxSfb, rate, winLen);
    };
    for (int null : {0, 1, 2}) EXPECT_EQ(status(null, 1024, 9, 52, 12), qorStsNullPtrErr);
    EXPECT_EQ(status(3, 1024, 9, 52, 12), qorStsAacWinLenErr);
    EXPECT_EQ(status(3, 128, 9, 52, 12), qorStsAacWinGrpErr);
    EXPECT_EQ(status(3, 128, 0, 52, 12), qorStsAacWinGrpErr);
    EXPECT_EQ(status(3, 128, 1, 52, 12), qorStsAacMaxSfbErr);
    EXPECT_EQ(status(3, 128, 1, -1, 12), qorStsAacMaxSfbErr);
    EXPECT_EQ(status(3, 128, 1, 51, 12), qorStsAacSampRateIdxErr);
    EXPECT_EQ(status(3, 128, 1, 51, -1), qorStsAacSampRateIdxErr);
    EXPECT_EQ(status(3, 128, 1, 13, 0), qorStsAacMaxSfbErr);
    EXPECT_THAT(dst, Each(2));
}

}  // namespace
}  // namespace qorac
