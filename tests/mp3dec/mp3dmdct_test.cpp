#include <algorithm>
#include <array>
#include <cmath>
#include <vector>

#include "gmock/gmock.h"
#include "qorac.h"
#include "reference/exact.h"
#include "reference/hybrid.h"
#include "support/memory.h"
#include "support/random.h"

namespace qorac {
namespace {

using reference::Int128;
using reference::wrap32;
using test::Guarded;
using test::Random;

constexpr Qor32s kMin = -0x7FFFFFFF - 1;

// How far a value computed from these lines may be off its formula.
template <typename Lines>
double tolerance(const Lines& lines) {
    double largest = 0;
    for (double x : lines) largest = std::max(largest, std::abs(x));
    return 1 + 4 * largest / 67108864;
}

std::vector<Qor32s> randomLines(Random& random, int count, int bits) {
    std::vector<Qor32s> lines(count);
    for (Qor32s& line : lines) line = static_cast<Qor32s>(random.wideInteger(bits));
    return lines;
}

// --- inverse transform of one sub-band ----------------------------------------------------------

// A long transform adds its lines in 32 bits before anything else. This is what the sums stand for
// where they wrap.
std::vector<double> effectiveLines(std::vector<Qor32s> x, int blockType) {
    std::vector<double> out(x.begin(), x.end());
    if (blockType == 2) return out;
    for (int i = 17; i >= 1; --i) x[i] = wrap32(Int128{x[i]} + x[i - 1]);
    for (int i = 17; i >= 3; i -= 2) x[i] = wrap32(Int128{x[i]} + x[i - 2]);
    out.assign(x.begin(), x.end());
    for (int i = 3; i <= 17; i += 2) out[i] -= out[i - 2];  // undone, now without wrapping
    std::vector<double> lines(18);
    lines[0] = out[0];
    for (int i = 1; i < 18; ++i) lines[i] = out[i] - lines[i - 1];
    return lines;
}

void expectTransformed(const std::vector<Qor32s>& lines, int blockType, bool atEnd) {
    const auto effective = effectiveLines(lines, blockType);
    const auto expected = reference::inverseTransform(effective.data(), blockType);
    Guarded<Qor32s> src(std::span<const Qor32s>(lines), atEnd), dst(36, atEnd);
    ASSERT_EQ(qorsMDCTInvWindow_MP3_32s(src.data(), dst.data(), blockType), qorStsNoErr);
    ASSERT_EQ(src.copy(), lines);
    for (double y : expected)
        if (std::abs(y / 4) > 2147483000.0) return;  // no integer to round to
    for (int i = 0; i < 36; ++i) {
        ASSERT_NEAR(dst[i], expected[i] / 4, tolerance(effective))
            << "type " << blockType << ' ' << i;
        const bool silent = (blockType == 1 && i >= 30) || (blockType == 3 && i < 6) ||
                            (blockType == 2 && (i < 6 || i >= 30));
        if (silent) {
            ASSERT_EQ(dst[i], 0) << i;
        }
    }
}

TEST(InverseTransform, EachLineAlone) {
    for (int type = 0; type <= 3; ++type)
        for (int k = 0; k < 18; ++k)
            for (Qor32s value : {1 << 26, -(1 << 26), 1000, 1, 1 << 30}) {
                std::vector<Qor32s> lines(18, 0);
                lines[k] = value;
                ASSERT_NO_FATAL_FAILURE(expectTransformed(lines, type, k % 2)) << k;
            }
}

TEST(InverseTransform, RandomLines) {
    Random random(90);
    for (int round = 0; round < 500; ++round)
        for (int type = 0; type <= 3; ++type)
            ASSERT_NO_FATAL_FAILURE(
                expectTransformed(randomLines(random, 18, 4 + round % 25), type, round % 2))
                << round;
}

TEST(InverseTransform, TheFirstAdditionsWrapAt32Bits) {
    Random random(91);
    for (int round = 0; round < 500; ++round) {
        std::vector<Qor32s> lines(18, 0);
        for (int i = 0; i < 3; ++i)
            lines[random.integer(0, 17)] = static_cast<Qor32s>(random.integer(kMin, 0x7FFFFFFF));
        for (int type : {0, 1, 3}) ASSERT_NO_FATAL_FAILURE(expectTransformed(lines, type, true));
    }
}

TEST(InverseTransform, AnyLinesStayWithinTheArrays) {
    Random random(92);
    for (int round = 0; round < 200; ++round)
        for (int type = 0; type <= 3; ++type) {
            Guarded<Qor32s> src(randomLines(random, 18, 31), round % 2), dst(36, round % 2);
            EXPECT_EQ(qorsMDCTInvWindow_MP3_32s(src.data(), dst.data(), type), qorStsNoErr);
        }
}

// --- a granule ----------------------------------------------------------------------------------

// One call on guarded arrays and its results.
struct Granule {
    Guarded<Qor32s> lines, out, overlap, previous;
    QorStatus status;

    Granule(std::span<const Qor32s> x, std::span<const Qor32s> oldOverlap, int bound,
            int oldSubbands, int blockType, int mixedBlock, bool atEnd = true)
        : lines(x, atEnd), out(576, atEnd), overlap(oldOverlap, atEnd), previous(1, atEnd) {
        previous[0] = oldSubbands;
        std::fill_n(out.data(), 576, 0x5A5A5A5A);
        status = qorsMDCTInv_MP3_32s(lines.data(), out.data(), overlap.data(), bound,
                                     previous.data(), blockType, mixedBlock);
    }
};

// The stages one by one: alias reduction by its formula, then what follows by its formula from the
// lines as alias reduction left them.
void expectByTheBook(const std::vector<Qor32s>& x, const std::vector<Qor32s>& oldOverlap, int bound,
                     int oldSubbands, int blockType, int mixedBlock) {
    Granule g(x, oldOverlap, bound, oldSubbands, blockType, mixedBlock, bound % 2);
    ASSERT_EQ(g.status, qorStsNoErr);
    const int n = reference::computedSubbands(bound, blockType, mixedBlock);
    const int m = std::max(oldSubbands, n);
    ASSERT_EQ(g.previous[0], n);

    const int boundaries = reference::aliasBoundaries(bound, blockType, mixedBlock);
    std::vector<double> reduced(x.begin(), x.end());
    reference::reduceAlias(reduced, boundaries);
    for (int i = 0; i < 576; ++i) {
        const int fromBoundary = (i + 8) / 18, distance = (i + 8) % 18;
        const bool touched = fromBoundary >= 1 && fromBoundary <= boundaries && distance < 16;
        if (!touched) {
            ASSERT_EQ(g.lines[i], x[i]) << i;
        } else if (std::abs(reduced[i]) > 2147483648.0) {
            ASSERT_EQ(g.lines[i], kMin) << i;
        } else {
            ASSERT_NEAR(g.lines[i], reduced[i], 1 + std::abs(reduced[i]) / 16777216) << i;
        }
    }

    for (int s = 0; s < 32; ++s) {
        std::array<double, 36> y{};
        double slack = 0;
        bool open = false;  // outputs without an integer to round to
        if (s < n) {
            const int type = mixedBlock && s < 2 ? 0 : blockType;
            const std::vector<Qor32s> lines(g.lines.data() + 18 * s, g.lines.data() + 18 * s + 18);
            const auto effective = effectiveLines(lines, type);
            y = reference::inverseTransform(effective.data(), type);
            slack = std::any_of(lines.begin(), lines.end(), [](Qor32s v) { return v != 0; })
                        ? tolerance(effective)
                        : 0;
            for (double v : y) open = open || std::abs(v / 4) > 2147483000.0;
        }
        for (int t = 0; t < 18; ++t) {
            const Qor32s old = oldOverlap[18 * s + t], z = g.out[32 * t + s];
            const Qor32s kept = g.overlap[18 * s + t];
            if (s >= m) {
                ASSERT_EQ(z, 0) << s;
                ASSERT_EQ(kept, old) << s;
            } else if (!open) {
                Qor32s sum = wrap32(Int128{std::llround(y[t] / 4)} + old);
                if (s % 2 && t % 2) sum = wrap32(-Int128{sum});
                ASSERT_LE(std::abs(1.0 * wrap32(Int128{z} - sum)), slack)
                    << "sub-band " << s << " time " << t;
                ASSERT_NEAR(kept, y[18 + t] / 4, slack) << "sub-band " << s << " time " << t;
            }
        }
    }
}

TEST(InverseMdct, NumberOfSubbandsForEveryBound) {
    const std::vector<Qor32s> zeros(576, 0);
    for (int bound = 0; bound <= 576; ++bound) {
        for (int type : {0, 1, 3})
            EXPECT_EQ(Granule(zeros, zeros, bound, 0, type, bound % 2).previous[0],
                      std::min(((bound * 3641 + 29128) >> 16) + 1, 32));
        const int n = std::min((bound * 3641 + 61897) >> 16, 32);
        EXPECT_EQ(Granule(zeros, zeros, bound, 32, 2, 0).previous[0], n);
        EXPECT_EQ(Granule(zeros, zeros, bound, 0, 2, 1).previous[0], std::max(n, 2));
    }
    EXPECT_EQ(Granule(zeros, zeros, 0, 0, 0, 0).previous[0], 1);
    EXPECT_EQ(Granule(zeros, zeros, 0, 0, 2, 0).previous[0], 0);
    EXPECT_EQ(Granule(zeros, zeros, 1, 0, 2, 1).previous[0], 2);
    EXPECT_EQ(Granule(zeros, zeros, 576, 0, 2, 0).previous[0], 32);
    EXPECT_EQ(Granule(zeros, zeros, 576, 0, 0, 0).previous[0], 32);
}

TEST(InverseMdct, EveryBlockAndBound) {
    Random random(93);
    for (int round = 0; round < 1154; ++round) {
        const int bound = round % 577;
        auto x = randomLines(random, 576, 12 + round % 17);
        // What stands at and above the bound is zero, or not (then it is not looked at beyond the
        // computed sub-bands).
        if (random.chance(0.7)) std::fill(x.begin() + bound, x.end(), 0);
        const auto overlap = randomLines(random, 576, random.chance(0.2) ? 31 : 26);
        ASSERT_NO_FATAL_FAILURE(expectByTheBook(
            x, overlap, bound, static_cast<int>(random.integer(0, 32)),
            static_cast<int>(random.integer(0, 3)), static_cast<int>(random.integer(0, 1))))
            << "round " << round;
    }
}

TEST(InverseMdct, HostileLines) {
    Random random(94);
    for (int round = 0; round < 300; ++round) {
        std::vector<Qor32s> x(576, 0);
        for (int i = 0; i < 40; ++i)
            x[random.integer(0, 575)] = static_cast<Qor32s>(random.integer(kMin, 0x7FFFFFFF));
        const auto overlap = randomLines(random, 576, 31);
        ASSERT_NO_FATAL_FAILURE(expectByTheBook(x, overlap, 576, 32, round % 4, round / 4 % 2))
            << "round " << round;
    }
}

TEST(InverseMdct, AliasReductionOutOfRangeGivesTheSmallestInteger) {
    std::vector<Qor32s> x(576, 0);
    x[17] = x[18] = 0x7FFFFFFF;  // lo * cs - hi * ca = 1.37 of the range
    x[35] = x[36] = -0x7FFFFFFF;
    Granule g(x, std::vector<Qor32s>(576, 0), 576, 0, 0, 0);
    EXPECT_EQ(g.lines[17], kMin);
    EXPECT_EQ(g.lines[35], kMin);
    EXPECT_NEAR(g.lines[18], 0x7FFFFFFF * (0.857492925712544 - 0.514495755427526), 2);
}

TEST(InverseMdct, AliasReductionRunsAtLeastAtTheFirstBoundary) {
    std::vector<Qor32s> x(576, 0);
    x[17] = 1 << 20;
    const std::vector<Qor32s> zeros(576, 0);
    for (int bound : {0, 1}) {
        EXPECT_NE(Granule(x, zeros, bound, 0, 0, 0).lines[18], 0);
        EXPECT_NE(Granule(x, zeros, bound, 0, 2, 1).lines[18], 0);
        EXPECT_EQ(Granule(x, zeros, bound, 0, 2, 0).lines[18], 0);
    }
    // A mixed block has the one boundary, whatever its bound.
    x[35] = 1 << 20;
    EXPECT_EQ(Granule(x, zeros, 576, 0, 2, 1).lines[36], 0);
    EXPECT_NE(Granule(x, zeros, 576, 0, 0, 1).lines[36], 0);
}

TEST(InverseMdct, OldOverlapDrainsOut) {
    Random random(95);
    auto x = randomLines(random, 576, 26);
    std::fill(x.begin() + 163, x.end(), 0);
    const std::vector<Qor32s> zeros(576, 0);
    Granule first(x, zeros, 163, 0, 0, 0);
    ASSERT_EQ(first.previous[0], 10);
    std::fill(x.begin() + 37, x.end(), 0);
    Granule second(x, first.overlap.span(), 37, 10, 0, 0);
    EXPECT_EQ(second.previous[0], 3);
    for (int s = 3; s < 32; ++s)
        for (int t = 0; t < 18; ++t) {
            const Qor32s tail = s < 10 ? first.overlap[18 * s + t] : 0;
            EXPECT_EQ(second.out[32 * t + s], s % 2 && t % 2 ? -tail : tail);
            EXPECT_EQ(second.overlap[18 * s + t], 0);
        }
}

TEST(InverseMdct, NegationFollowsTheOverlapAdd) {
    const std::vector<Qor32s> zeros(576, 0), ones(576, 1);
    Granule g(zeros, ones, 0, 32, 0, 0);
    for (int s = 0; s < 32; ++s)
        for (int t = 0; t < 18; ++t) EXPECT_EQ(g.out[32 * t + s], s % 2 && t % 2 ? -1 : 1);
}

TEST(InverseMdct, ChecksPointersThenRangesAndWriteNothing) {
    struct Case {
        int null, bound, previous, type, mixed;
        QorStatus expected;
    };
    const Case cases[] = {
        {0, 577, 33, 4, 2, qorStsNullPtrErr}, {1, 577, 33, 4, 2, qorStsNullPtrErr},
        {2, 577, 33, 4, 2, qorStsNullPtrErr}, {3, 577, 33, 4, 2, qorStsNullPtrErr},
        {-1, -1, 0, 0, 0, qorStsBadArgErr},   {-1, 577, 0, 0, 0, qorStsBadArgErr},
        {-1, 5, -1, 0, 0, qorStsBadArgErr},   {-1, 5, 33, 0, 0, qorStsBadArgErr},
        {-1, 5, 0, -1, 0, qorStsBadArgErr},   {-1, 5, 0, 4, 0, qorStsBadArgErr},
        {-1, 5, 0, 0, -1, qorStsBadArgErr},   {-1, 5, 0, 0, 2, qorStsBadArgErr},
        {-1, 576, 32, 3, 1, qorStsNoErr},     {-1, 0, 0, 0, 0, qorStsNoErr},
    };
    for (const Case& c : cases) {
        std::vector<Qor32s> lines(576, 7), out(576, 8), overlap(576, 9);
        Qor32s previous = c.previous;
        EXPECT_EQ(qorsMDCTInv_MP3_32s(c.null == 0 ? nullptr : lines.data(),
                                      c.null == 1 ? nullptr : out.data(),
                                      c.null == 2 ? nullptr : overlap.data(), c.bound,
                                      c.null == 3 ? nullptr : &previous, c.type, c.mixed),
                  c.expected);
        if (c.expected == qorStsNoErr) continue;
        EXPECT_THAT(lines, testing::Each(7));
        EXPECT_THAT(out, testing::Each(8));
        EXPECT_THAT(overlap, testing::Each(9));
        EXPECT_EQ(previous, c.previous);
    }
}

}  // namespace
}  // namespace qorac
