#include "aac/aacftns.h"

#include <algorithm>
#include <cmath>
#include <vector>

#include "aac/aachelp.h"
#include "frame/fixed.h"
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

// --- coefficients -----------------------------------------------------------------------------

const double kHalfPi = std::acos(0.0);

Qor32s plainReflection(int c, int coefRes) {
    const double steps = (1 << (coefRes - 1)) + (c < 0 ? 0.5 : -0.5);
    return Qor32s(std::llround(std::ldexp(std::sin(c * kHalfPi / steps), 31)));
}

struct Lpc {
    std::vector<Qor32s> a;  // from index 1
    int shift;
};

Lpc plainLpc(const Qor8s* c, int order, int coefRes) {
    std::vector<Wide> a(order + 1);
    const bool large = order >= 13;
    for (int m = 1; m <= order; ++m) {
        const Wide k = plainReflection(c[m - 1], coefRes);
        const auto part = [&](Wide x) {
            return large ? (((x + 0x400000) >> 23) * k) >> 8 : (((x + 512) >> 10) * k) >> 21;
        };
        a[m] = large ? k * 256 : k;
        const auto old = a;
        for (int i = 1; i < m; ++i) a[i] = old[i] + part(old[m - i]);
    }
    Wide largest = 0;
    for (int i = 1; i <= order; ++i) largest = std::max(largest, a[i] < 0 ? -a[i] : a[i]);
    int down = 0;
    while (largest > 1 << 26) largest /= 2, ++down;
    Lpc lpc{std::vector<Qor32s>(order + 1), (large ? 39 : 31) - down};
    for (int i = 1; i <= order; ++i) lpc.a[i] = low32(a[i] >> down);
    return lpc;
}

TEST(AacTnsCoef, EqualsThePlainStepUp) {
    Random random(1);
    for (int run = 0; run < 3000; ++run) {
        const int order = int(random.integer(1, 20)), coefRes = int(random.integer(3, 4));
        const int range = run % 3 == 0 ? 1 : run % 3 == 1 ? 4 : 8;
        const auto c = random.integers<Qor8s>(order, -range, std::min(range, 7));
        const Lpc expected = plainLpc(c.data(), order, coefRes);
        std::vector<Qor32s> lpc(order + 1);
        int shift;
        ASSERT_EQ(ownsTnsDecodeCoef(c.data(), lpc.data(), order, coefRes, &shift), qorStsNoErr);
        ASSERT_EQ(shift, expected.shift);
        for (int i = 1; i <= order; ++i) ASSERT_EQ(lpc[i], expected.a[i]) << order << " at " << i;
    }
}

TEST(AacTnsCoef, OneCoefficientIsTheTable) {
    for (int coefRes : {3, 4}) {
        for (int c = -8; c < 8; ++c) {
            const Qor8s coef = Qor8s(c);
            Qor32s lpc[2];
            int shift;
            ASSERT_EQ(ownsTnsDecodeCoef(&coef, lpc, 1, coefRes, &shift), qorStsNoErr);
            // Values of 2^26 at most keep Q31; greater ones lose the bits above.
            const Qor32s value = plainReflection(c, coefRes);
            EXPECT_EQ(lpc[1], value >> (31 - shift));
            EXPECT_EQ(shift == 31, std::abs(value) <= 1 << 26) << c;
        }
    }
    EXPECT_EQ(plainReflection(-1, 3), Qor32s(0xD438AF17));
    EXPECT_EQ(plainReflection(1, 3), 0x3789809B);
    EXPECT_EQ(plainReflection(7, 3), 0);
    const Qor8s outOfRange[] = {8, -9};
    Qor32s lpc[2];
    int shift;
    for (Qor8s c : outOfRange)
        EXPECT_EQ(ownsTnsDecodeCoef(&c, lpc, 1, 3, &shift), qorStsAacTnsCoefErr);
}

// --- filters ----------------------------------------------------------------------------------

// Direct-form filter over the `size` lines from p in steps of `stride`.
void plainFilter(Qor32s* p, int size, int stride, const Lpc& lpc, bool decode) {
    const int order = int(lpc.a.size()) - 1;
    std::vector<Qor32s> state(order, 0);
    for (int n = 0; n < size; ++n, p += stride) {
        Qor64u acc = Qor64u(Qor64s(*p)) << lpc.shift;
        for (int j = order - 1; j >= 0; --j) {
            const Qor64u product = Qor64u(Qor64s(lpc.a[j + 1]) * state[j]);
            acc = decode ? acc - product : acc + product;
            if (j > 0) state[j] = state[j - 1];
        }
        const Qor32s out = low32(Qor64s(acc) >> lpc.shift);
        state[0] = decode ? out : *p;
        *p = out;
    }
}

struct Side {
    std::vector<Qor32s> numFilt = std::vector<Qor32s>(8, 0), coefRes = std::vector<Qor32s>(8, 4);
    std::vector<Qor32s> length, order, direction;
    std::vector<Qor8s> coef;
    Qor32s maxSfb = 49, profile = 1, rate = 4, winLen = 1024;

    void add(int len, int ord, int dir, std::vector<Qor8s> c) {
        length.push_back(len);
        order.push_back(ord);
        if (ord == 0) return;
        direction.push_back(dir);
        coef.insert(coef.end(), c.begin(), c.end());
    }
    // The arrays end at guard pages, so that nothing is read that the stream does not hold.
    QorStatus run(bool decode, Qor32s* p) const {
        const auto guarded = [](const auto& v, std::size_t least) {
            auto copy = v;
            if (copy.size() < least) copy.resize(least);
            return copy;
        };
        Guarded<Qor32s> len{std::span<const Qor32s>(guarded(length, 1))};
        Guarded<Qor32s> ord{std::span<const Qor32s>(guarded(order, 1))};
        Guarded<Qor32s> dir{std::span<const Qor32s>(guarded(direction, 1))};
        Guarded<Qor8s> c{std::span<const Qor8s>(guarded(coef, 1))};
        return (decode ? qorsDecodeTNS_AAC_32s_I : qorsEncodeTNS_AAC_32s_I)(
            p, numFilt.data(), len.data(), ord.data(), coefRes.data(), c.data(), dir.data(), maxSfb,
            profile, rate, winLen);
    }
};

void plainTns(const Side& side, bool decode, Qor32s* p) {
    const bool isShort = side.winLen == 128;
    const Qor16s* swb = (isShort ? _pAACSwbOffsetTableShort : _pAACSwbOffsetTableLong)[side.rate];
    const int bands = (isShort ? _pAACNumSwbTableShort : _pAACNumSwbTableLong)[side.rate];
    const int limit = std::min(side.maxSfb, _pAACTnsMaxBandTable[side.rate][isShort]);
    std::size_t filter = 0, directed = 0, coef = 0;
    for (int w = 0; w < 1024 / side.winLen; ++w) {
        int top = bands;
        for (int f = 0; f < side.numFilt[w]; ++f, ++filter) {
            const int bottom = std::max(top - side.length[filter], 0), order = side.order[filter];
            const int start = swb[std::min(limit, bottom)], end = swb[std::min(limit, top)];
            top = bottom;
            if (order == 0) continue;
            const Lpc lpc = plainLpc(&side.coef[coef], order, side.coefRes[w]);
            coef += order;
            Qor32s* window = p + w * side.winLen;
            if (side.direction[directed++])
                plainFilter(window + end - 1, end - start, -1, lpc, decode);
            else
                plainFilter(window + start, end - start, 1, lpc, decode);
        }
    }
}

Side randomSide(Random& random) {
    Side side;
    const bool isShort = random.chance(0.4);
    side.winLen = isShort ? 128 : 1024;
    side.rate = Qor32s(random.integer(0, 11));
    const int bands = (isShort ? _pAACNumSwbTableShort : _pAACNumSwbTableLong)[side.rate];
    side.maxSfb = Qor32s(random.chance(0.5) ? bands : random.integer(0, bands));
    for (int w = 0; w < (isShort ? 8 : 1); ++w) {
        side.numFilt[w] = Qor32s(random.integer(0, isShort ? 1 : 3));
        side.coefRes[w] = Qor32s(random.integer(3, 4));
        for (int f = 0; f < side.numFilt[w]; ++f) {
            const int order = int(random.integer(0, isShort ? 7 : 12));
            side.add(int(random.integer(0, bands)), order, int(random.integer(0, 1)),
                     random.integers<Qor8s>(order, -4, 3));
        }
    }
    return side;
}

TEST(AacTns, BothDirectionsEqualThePlainWalk) {
    Random random(2);
    for (int run = 0; run < 400; ++run) {
        const Side side = randomSide(random);
        for (bool decode : {false, true}) {
            const int bits = run % 3 == 0 ? 31 : 20;
            Guarded<Qor32s> data(1024, run % 2);
            for (Qor32s& v : data.span()) v = Qor32s(random.wideInteger(bits));
            auto expected = data.copy();
            plainTns(side, decode, expected.data());
            ASSERT_EQ(side.run(decode, data.data()), qorStsNoErr);
            ASSERT_THAT(data.copy(), ElementsAreArray(expected)) << run << " decode " << decode;
        }
    }
}

TEST(AacTns, DecodingUndoesEncoding) {
    Random random(3);
    for (int run = 0; run < 100; ++run) {
        Side side = randomSide(random);
        for (auto& c : side.coef) c = Qor8s(c / 2);
        const auto original = random.integers<Qor32s>(1024, -1000000, 1000000);
        auto data = original;
        ASSERT_EQ(side.run(false, data.data()), qorStsNoErr);
        ASSERT_EQ(side.run(true, data.data()), qorStsNoErr);
        double error = 0;
        for (int i = 0; i < 1024; ++i)
            error = std::max(error, std::abs(double(data[i]) - original[i]));
        EXPECT_LT(error, 2000) << run;  // truncation, through poles near the circle
    }
}

TEST(AacTns, NoBandsInUseChangesNothingButIsWalked) {
    Side side;
    side.maxSfb = 0;
    side.numFilt[0] = 1;
    side.add(10, 2, 0, {1, 2});
    std::vector<Qor32s> data(1024, 1000);
    EXPECT_EQ(side.run(true, data.data()), qorStsNoErr);
    EXPECT_THAT(data, Each(1000));
    side.direction[0] = 2;  // also of an empty region
    EXPECT_EQ(side.run(true, data.data()), qorStsAacTnsDirectionErr);
    side.coef[1] = 8;
    EXPECT_EQ(side.run(true, data.data()), qorStsAacTnsCoefErr);
}

// A filter above the limit is empty but takes its direction and coefficients; one of order 0 takes
// neither.
TEST(AacTns, EmptyFiltersConsumeWhatBelongsToThem) {
    Side side, last;
    side.numFilt[0] = 3;
    side.add(7, 3, 1, {5, 5, 5});  // bands 42 to 48, above the 42 of this rate
    side.add(5, 0, 0, {});
    side.add(30, 2, 1, {-3, 2});
    last.numFilt[0] = 2;
    last.add(12, 0, 0, {});
    last.add(30, 2, 1, {-3, 2});
    std::vector<Qor32s> a(1024), b(1024);
    for (int i = 0; i < 1024; ++i) a[i] = b[i] = 1000 * (i % 17);
    EXPECT_EQ(side.run(true, a.data()), qorStsNoErr);
    EXPECT_EQ(last.run(true, b.data()), qorStsNoErr);
    EXPECT_THAT(a, ElementsAreArray(b));
}

TEST(AacTns, ChecksOfArgumentsInOrder) {
    std::vector<Qor32s> data(1024, 3), side(8, 0);
    std::vector<Qor8s> coef(8, 0);
    const auto call = [&](bool decode, int null, int winLen, int profile, int rate, int maxSfb) {
        const auto p = [&](int n) { return null == n ? nullptr : side.data(); };
        return (decode ? qorsDecodeTNS_AAC_32s_I : qorsEncodeTNS_AAC_32s_I)(
            null == 0 ? nullptr : data.data(), p(1), p(2), p(3), p(4),
            null == 5 ? nullptr : coef.data(), p(6), maxSfb, profile, rate, winLen);
    };
    for (bool decode : {false, true}) {
        for (int null = 0; null < 7; ++null)
            EXPECT_EQ(call(decode, null, 5, 0, 12, 52), qorStsNullPtrErr);
        EXPECT_EQ(call(decode, 7, 5, 0, 12, 52), qorStsAacWinLenErr);
        EXPECT_EQ(call(decode, 7, 1024, 1, 12, 52), qorStsAacSampRateIdxErr);
        EXPECT_EQ(call(decode, 7, 1024, 1, -1, 52), qorStsAacSampRateIdxErr);
        EXPECT_EQ(call(decode, 7, 1024, 1, 4, 52), qorStsAacMaxSfbErr);
        EXPECT_EQ(call(decode, 7, 1024, 1, 4, -1), qorStsAacMaxSfbErr);
        EXPECT_EQ(call(decode, 7, 1024, 1, 4, 50), qorStsAacMaxSfbErr);
        EXPECT_EQ(call(decode, 7, 128, 1, 4, 15), qorStsAacMaxSfbErr);
        EXPECT_EQ(call(decode, 7, 128, 1, 4, 14), qorStsNoErr);
    }
    EXPECT_EQ(call(false, 7, 1024, 0, 12, 52), qorStsAacTnsProfileErr);
    EXPECT_EQ(call(false, 7, 1024, 2, 12, 52), qorStsAacTnsProfileErr);
    EXPECT_EQ(call(true, 7, 1024, 0, 4, 49), qorStsNoErr);
    EXPECT_THAT(data, Each(3));
}

TEST(AacTns, ChecksOfTheWalkInOrder) {
    struct Case {
        int winLen, numFilt, length, order, coefRes, coef, direction;
        QorStatus status;
    };
    const Case cases[] = {
        {1024, -1, 60, 13, 5, 9, 2, qorStsAacTnsNumFiltErr},
        {1024, 4, 60, 13, 5, 9, 2, qorStsAacTnsNumFiltErr},
        {128, 2, 60, 13, 5, 9, 2, qorStsAacTnsNumFiltErr},
        {1024, 1, 50, 13, 5, 9, 2, qorStsAacTnsLengthErr},
        {1024, 1, -1, 13, 5, 9, 2, qorStsAacTnsLengthErr},
        {128, 1, 15, 8, 5, 9, 2, qorStsAacTnsLengthErr},
        {1024, 1, 49, 13, 5, 9, 2, qorStsAacTnsOrderErr},
        {1024, 1, 49, -1, 5, 9, 2, qorStsAacTnsOrderErr},
        {128, 1, 14, 8, 5, 9, 2, qorStsAacTnsOrderErr},
        {1024, 1, 49, 12, 5, 9, 2, qorStsAacTnsCoefResErr},
        {1024, 1, 49, 12, 2, 9, 2, qorStsAacTnsCoefResErr},
        {1024, 1, 49, 12, 4, 8, 2, qorStsAacTnsCoefErr},
        {1024, 1, 49, 12, 4, -9, 2, qorStsAacTnsCoefErr},
        {1024, 1, 49, 12, 4, 7, 2, qorStsAacTnsDirectionErr},
        {1024, 1, 49, 12, 4, -8, -1, qorStsAacTnsDirectionErr},
        {1024, 1, 49, 0, 5, 9, 2, qorStsNoErr},
    };
    for (const Case& c : cases) {
        Side side;
        side.winLen = c.winLen;
        side.maxSfb = c.winLen == 128 ? 14 : 49;
        side.numFilt[0] = c.numFilt;
        side.coefRes[0] = c.coefRes;
        for (int f = 0; f < 4; ++f)
            side.add(c.length, c.order, c.direction,
                     std::vector<Qor8s>(std::max(c.order, 0), Qor8s(c.coef)));
        std::vector<Qor32s> data(1024, 3);
        for (bool decode : {true, false}) {
            EXPECT_EQ(side.run(decode, data.data()), c.status) << c.numFilt << " " << c.length;
            EXPECT_THAT(data, Each(3));
        }
    }
}

// A fault in a later window comes up behind the filters of the windows before it.
TEST(AacTns, FiltersBeforeAFaultStayApplied) {
    Side side, first;
    side.winLen = first.winLen = 128;
    side.maxSfb = first.maxSfb = 14;
    side.numFilt[0] = first.numFilt[0] = 1;
    side.numFilt[3] = 2;
    side.add(14, 2, 0, {3, -2});
    first.add(14, 2, 0, {3, -2});
    std::vector<Qor32s> a(1024, 5000), b(1024, 5000);
    EXPECT_EQ(side.run(true, a.data()), qorStsAacTnsNumFiltErr);
    EXPECT_EQ(first.run(true, b.data()), qorStsNoErr);
    EXPECT_NE(a[3], 5000);
    EXPECT_THAT(a, ElementsAreArray(b));
}

}  // namespace
}  // namespace qorac
