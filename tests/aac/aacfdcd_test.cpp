#include "aac/aacfdcd.h"

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

// A grouped block with random books and masks.
struct Block {
    Qor32s winLen, rate, maxSfb;
    std::vector<Qor32s> groups;
    std::vector<Qor8u> books;
    Qor8u used[8][60] = {};
    std::vector<Qor16s> scaleFactors;

    explicit Block(Random& random) {
        winLen = random.chance(0.5) ? 128 : 1024;
        rate = Qor32s(random.integer(0, 11));
        maxSfb = Qor32s(random.integer(
            0, (winLen == 128 ? _pAACNumSwbTableShort : _pAACNumSwbTableLong)[rate]));
        for (int left = winLen == 128 ? 8 : 1; left > 0; left -= groups.back())
            groups.push_back(Qor32s(random.integer(1, left)));
        books = random.integers<Qor8u>(groups.size() * maxSfb + 1, 0, 15);
        scaleFactors = random.integers<Qor16s>(8 * maxSfb + 1, -60, 60);
        for (auto& row : used)
            for (auto& flag : row) flag = Qor8u(random.chance(0.5) ? random.integer(1, 255) : 0);
    }
    const Qor16s* swb() const {
        return (winLen == 128 ? _pAACSwbOffsetTableShort : _pAACSwbOffsetTableLong)[rate];
    }
    int numGroups() const { return int(groups.size()); }
};

std::vector<Qor32s> randomSpectrum(Random& random) {
    return random.integers<Qor32s>(1024, -2147483648ll, 2147483647);
}

// --- M/S --------------------------------------------------------------------------------------

TEST(AacMs, EqualsThePlainWalk) {
    Random random(1);
    for (int run = 0; run < 300; ++run) {
        Block block(random);
        const int present = int(random.integer(1, 2));
        auto left = randomSpectrum(random), right = randomSpectrum(random);
        auto books = block.books;
        Guarded<Qor32s> l{std::span<const Qor32s>(left)}, r{std::span<const Qor32s>(right)};
        int base = 0, index = 0;
        for (int g = 0; g < block.numGroups(); ++g) {
            const int windows = block.groups[g];
            for (int b = 0; b < block.maxSfb; ++b, ++index) {
                if (books[index] >= 14) {
                    if (present == 1 && block.used[g][b]) books[index] = Qor8u(29 - books[index]);
                    continue;
                }
                if (books[index] == 13 || (present == 1 && !block.used[g][b])) continue;
                for (int i = base + block.swb()[b] * windows;
                     i < base + block.swb()[b + 1] * windows; ++i) {
                    const Wide a = left[i], c = right[i];
                    left[i] = low32(a + c);
                    right[i] = low32(a - c);
                }
            }
            base += windows * block.winLen;
        }
        ASSERT_EQ(
            qorsDecodeMsStereo_AAC_32s_I(l.data(), r.data(), present, block.used,
                                         block.books.data(), block.numGroups(), block.groups.data(),
                                         block.maxSfb, block.rate, block.winLen),
            qorStsNoErr);
        ASSERT_THAT(l.copy(), ElementsAreArray(left));
        ASSERT_THAT(r.copy(), ElementsAreArray(right));
        ASSERT_THAT(block.books, ElementsAreArray(books));
    }
}

// --- intensity --------------------------------------------------------------------------------

Qor32s plainIntensity(Qor32s left, int p, bool negative) {
    const Qor32s table[11] = {0x6BA27E65, 0x5A82799A, 0x4C1BF829, 0x40000000,
                              0x35D13F33, 0x2D413CCD, 0x260DFC14, 0x20000000,
                              0x1AE89F99, 0x16A09E66, 0x1306FE0A};
    Qor32s value;
    if (p >= -3 && p <= 7) {
        value = low32((Wide(low32(Wide(left) * 4)) * table[p + 3]) >> 32);
    } else if (p < -3) {
        const int q = -p;
        const Qor32s shifted = low32(Wide(left) << (((q >> 2) + 2) % 32));
        value = low32((Wide(shifted) * table[3 - (q & 3)]) >> 32);
    } else {
        value = low32((Wide(left) * table[(p & 3) + 3]) >> 32) >> (((p >> 2) - 2) % 32);
    }
    return negative ? low32(-Wide(value)) : value;
}

TEST(AacIntensity, EqualsThePlainWalk) {
    Random random(2);
    for (int run = 0; run < 400; ++run) {
        Block block(random);
        for (auto& sf : block.scaleFactors)
            if (random.chance(0.1)) sf = Qor16s(random.integer(-32768, 32767));
        const auto left = randomSpectrum(random);
        auto right = randomSpectrum(random);
        Guarded<Qor32s> l{std::span<const Qor32s>(left)}, r{std::span<const Qor32s>(right)};
        int base = 0, index = 0;
        for (int windows : block.groups) {
            for (int b = 0; b < block.maxSfb; ++b, ++index)
                for (int i = block.swb()[b] * windows; i < block.swb()[b + 1] * windows; ++i)
                    if (block.books[index] >= 14)
                        right[base + i] = plainIntensity(left[base + i], block.scaleFactors[index],
                                                         block.books[index] == 14);
            base += windows * block.winLen;
        }
        ASSERT_EQ(
            qorsDecodeIsStereo_AAC_32s(l.data(), r.data(), block.scaleFactors.data(),
                                       block.books.data(), block.numGroups(), block.groups.data(),
                                       block.maxSfb, block.rate, block.winLen),
            qorStsNoErr);
        ASSERT_THAT(r.copy(), ElementsAreArray(right)) << run;
    }
}

TEST(AacIntensity, PositionsAreQuartersOfAnOctave) {
    std::vector<Qor32s> left(1024, 1000000), right(1024);
    const Qor32s groups[] = {1};
    const std::vector<Qor8u> books(51, 15);
    for (int p = -20; p <= 40; ++p) {
        const std::vector<Qor16s> positions(51, Qor16s(p));
        ASSERT_EQ(qorsDecodeIsStereo_AAC_32s(left.data(), right.data(), positions.data(),
                                             books.data(), 1, groups, 49, 4, 1024),
                  qorStsNoErr);
        const double exact = 1000000 * std::pow(2, -p / 4.0);
        EXPECT_NEAR(right[0], exact, 1 + exact * 1e-8) << p;
    }
}

// A mask on an intensity band turns its sign, and the band is not mixed.
TEST(AacIntensity, TakesTheSignThatTheMaskLeft) {
    std::vector<Qor32s> left(1024, 4096), right(1024, 7);
    const Qor32s groups[] = {1};
    std::vector<Qor8u> books(49, 14);
    books[1] = 15;
    Qor8u used[8][60] = {{1, 1, 0}};
    const std::vector<Qor16s> positions(49, 4);
    ASSERT_EQ(qorsDecodeMsStereo_AAC_32s_I(left.data(), right.data(), 1, used, books.data(), 1,
                                           groups, 49, 4, 1024),
              qorStsNoErr);
    EXPECT_THAT(left, Each(4096));
    EXPECT_THAT(right, Each(7));
    EXPECT_EQ(books[0], 15);
    EXPECT_EQ(books[1], 14);
    EXPECT_EQ(books[2], 14);
    ASSERT_EQ(qorsDecodeIsStereo_AAC_32s(left.data(), right.data(), positions.data(), books.data(),
                                         1, groups, 49, 4, 1024),
              qorStsNoErr);
    EXPECT_EQ(right[0], 2048);
    EXPECT_EQ(right[4], -2048);
    EXPECT_EQ(right[8], -2048);
}

TEST(AacStereo, ChecksInOrder) {
    std::vector<Qor32s> l(1024, 1), r(1024, 2);
    Qor8u used[8][60] = {};
    std::vector<Qor8u> books(408, 15);
    const std::vector<Qor16s> positions(408, 0);
    const Qor32s groups[8] = {1, 1, 1, 1, 1, 1, 1, 1};
    const auto ms = [&](int null, int winLen, int numGroups, int maxSfb, int rate, int present) {
        return qorsDecodeMsStereo_AAC_32s_I(
            null == 0 ? nullptr : l.data(), null == 1 ? nullptr : r.data(), present,
            null == 2 ? nullptr : used, null == 3 ? nullptr : books.data(), numGroups,
            null == 4 ? nullptr : groups, maxSfb, rate, winLen);
    };
    const auto is = [&](int null, int winLen, int numGroups, int maxSfb, int rate) {
        return qorsDecodeIsStereo_AAC_32s(
            null == 0 ? nullptr : l.data(), null == 1 ? nullptr : r.data(),
            null == 2 ? nullptr : positions.data(), null == 3 ? nullptr : books.data(), numGroups,
            null == 4 ? nullptr : groups, maxSfb, rate, winLen);
    };
    struct Case {
        int null, winLen, numGroups, maxSfb, rate;
        QorStatus status;
    };
    const Case cases[] = {{0, 5, 9, 52, 12, qorStsNullPtrErr},
                          {1, 5, 9, 52, 12, qorStsNullPtrErr},
                          {2, 5, 9, 52, 12, qorStsNullPtrErr},
                          {3, 5, 9, 52, 12, qorStsNullPtrErr},
                          {4, 5, 9, 52, 12, qorStsNullPtrErr},
                          {9, 5, 9, 52, 12, qorStsAacWinLenErr},
                          {9, 1024, 2, 52, 12, qorStsAacWinGrpErr},
                          {9, 1024, 0, 52, 12, qorStsAacWinGrpErr},
                          {9, 128, 9, 52, 12, qorStsAacWinGrpErr},
                          {9, 128, 0, 52, 12, qorStsAacWinGrpErr},
                          {9, 1024, 1, 52, 12, qorStsAacMaxSfbErr},
                          {9, 1024, 1, -1, 12, qorStsAacMaxSfbErr},
                          {9, 1024, 1, 51, 12, qorStsAacSampRateIdxErr},
                          {9, 1024, 1, 51, -1, qorStsAacSampRateIdxErr}};
    for (const Case& c : cases) {
        EXPECT_EQ(ms(c.null, c.winLen, c.numGroups, c.maxSfb, c.rate, 0), c.status);
        EXPECT_EQ(is(c.null, c.winLen, c.numGroups, c.maxSfb, c.rate), c.status);
    }
    EXPECT_EQ(ms(9, 1024, 1, 51, 4, 0), qorStsAacMsMaskErr);
    EXPECT_EQ(ms(9, 1024, 1, 51, 4, 3), qorStsAacMsMaskErr);
    EXPECT_EQ(ms(9, 1024, 1, 50, 4, 1), qorStsAacMaxSfbErr);
    EXPECT_EQ(is(9, 1024, 1, 50, 4), qorStsAacMaxSfbErr);
    EXPECT_EQ(is(9, 128, 8, 15, 4), qorStsAacMaxSfbErr);
    EXPECT_THAT(l, Each(1));
    EXPECT_THAT(r, Each(2));
}

// --- noise ------------------------------------------------------------------------------------

Qor32s normEnergy(int n) {
    return Qor32s(std::llround(std::pow(2.0L, 64) / 1e10L / std::sqrt((long double)n)));
}

std::vector<Qor32s> plainNoise(int n, Qor32s* seed) {
    const Wide k = normEnergy(n);
    std::vector<Qor32s> values(n);
    Qor32u sum = 0;
    for (Qor32s& v : values) {
        *seed = low32(Wide(*seed) * 1664525 + 1013904223);
        v = low32((*seed * k) >> 30);
        sum += Qor32u(low32((Wide(v) * v) >> 33));
    }
    int c = 0;
    while (sum < 1u << 30) sum *= 2, ++c;
    const Wide u = Qor32s(sum);
    const Wide i = low32((13563 * ((u * u) >> 32) - 16760 * u + (Wide(18211) << 31)) >> 14);
    const int h = (c >> 1) - 1;
    for (Qor32s& v : values) {
        Wide t = (v * i) >> 30;
        t = h >= 1 ? t << h : t >> -h;
        if (c & 1) t = (t * 1518500249) >> 30;
        v = low32(t);
    }
    return values;
}

Qor32s plainGain(Qor32s v, int s) {
    const Qor32s quarter[4] = {0x40000000, 0x4C1BF828, 0x5A82799A, 0x6BA27E65};
    const Wide power = Qor32s(1u << ((s >> 2) & 31));
    const Qor32s f = low32((power * quarter[s & 3]) >> 20);
    return low32((Wide(v) * f) >> 38);
}

TEST(AacNoise, TheGeneratorEqualsItsStepsAndHasUnitEnergy) {
    Random random(3);
    for (int run = 0; run < 20000; ++run) {
        const int n = 4 * int(random.integer(1, 24));
        const Qor32s start = Qor32s(random.integer(-2147483648ll, 2147483647));
        Qor32s seed = start, plainSeed = start;
        Guarded<Qor32s> band(n);
        ownsGenerateRandVec_AAC(band.data(), n, &seed);
        ASSERT_THAT(band.copy(), ElementsAreArray(plainNoise(n, &plainSeed))) << n << " " << start;
        ASSERT_EQ(seed, plainSeed);
        double energy = 0;
        for (Qor32s v : band.span()) energy += std::ldexp(v, -31) * std::ldexp(v, -31);
        ASSERT_NEAR(energy, 1, 0.011) << n << " " << start;
    }
}

TEST(AacNoise, AZeroSeedStartsTheSequence) {
    Qor32s seed = 0, v[4];
    ownsGenerateRandVec_AAC(v, 1, &seed);
    EXPECT_EQ(seed, 1013904223);
    seed = 5;
    ownsGenerateRandVec_AAC(v, 4, &seed);
    Qor32u step = 5;
    for (int i = 0; i < 4; ++i) step = step * 1664525u + 1013904223u;
    EXPECT_EQ(seed, Qor32s(step));
}

TEST(AacNoise, TheParts) {
    EXPECT_EQ(normEnergy(1), 0x6DF37F67);
    EXPECT_EQ(normEnergy(2), 0x4DBF4957);
    EXPECT_EQ(normEnergy(3), 0x3F7AF722);
    EXPECT_EQ(normEnergy(4), 0x36F9BFB4);
    for (Qor32u value : {1u, 2u, 3u, 0x3FFFFFFFu, 1u << 30, 0x7FFFFFFFu, 0x80000000u}) {
        Qor32u sum = value;
        const int c = ownsNorm32_AAC(&sum);
        EXPECT_EQ(sum, value << c);
        EXPECT_TRUE(value >= 1u << 30 ? c == 0 : sum >= 1u << 30 && sum < 1u << 31);
    }
    Qor32u zero = 0;
    EXPECT_EQ(ownsNorm32_AAC(&zero), 0);
    for (long long u = 1ll << 30; u < 1ll << 31; u += 1234567) {
        const double exact = std::ldexp(1 / std::sqrt(std::ldexp(double(u), -31)), 30);
        EXPECT_NEAR(ownsInvSqrt_AAC(Qor32s(u)) / exact, 1, 0.0055) << u;
    }
}

struct NoiseCall {
    Block& block;
    Qor32s seed;
    std::vector<Qor32s> spectrum = std::vector<Qor32s>(1024, 9);
    std::vector<Qor32s> ltp = std::vector<Qor32s>(52, 5);

    QorStatus plain() {
        return qorsDecodePNS_AAC_32s(spectrum.data(), ltp.data(), block.books.data(),
                                     block.scaleFactors.data(), block.maxSfb, block.numGroups(),
                                     block.groups.data(), block.rate, block.winLen, &seed);
    }
    QorStatus pair(int channel, Qor32s* state) {
        return qorsDecodeMsPNS_AAC_32s(spectrum.data(), ltp.data(), block.books.data(),
                                       block.scaleFactors.data(), block.maxSfb, block.numGroups(),
                                       block.groups.data(), block.rate, block.winLen, &seed,
                                       channel, block.used, state);
    }
};

// What each of the calls must leave, walked literally.
NoiseCall expectedNoise(NoiseCall call, int channel, std::vector<Qor32s>* state) {
    const Block& block = call.block;
    int base = 0, row = 0, index = 0;
    for (int g = 0; g < block.numGroups(); ++g, index += block.maxSfb) {
        for (int w = 0; w < block.groups[g]; ++w, row += block.maxSfb) {
            for (int b = 0; b < block.maxSfb; ++b) {
                if (block.books[index + b] != 13) continue;
                if (block.numGroups() == 1) call.ltp[b + 1] = 0;
                Qor32s stored = state ? (*state)[index + b] : 0;
                const bool same = channel == 1 && state && block.used[g][b] == 1;
                if (channel == 0 && state) (*state)[index + b] = call.seed;
                const auto noise =
                    plainNoise(block.swb()[b + 1] - block.swb()[b], same ? &stored : &call.seed);
                for (std::size_t i = 0; i < noise.size(); ++i)
                    call.spectrum[base + block.swb()[b] + i] =
                        plainGain(noise[i], block.scaleFactors[row + b]);
            }
            if (block.maxSfb > 0) base += block.swb()[block.maxSfb - 1];
        }
    }
    return call;
}

TEST(AacNoise, BothPrimitivesEqualTheLiteralWalk) {
    Random random(4);
    for (int run = 0; run < 300; ++run) {
        Block block(random);
        for (auto& book : block.books) book = Qor8u(random.chance(0.5) ? 13 : book);
        for (auto& row : block.used)
            for (auto& flag : row) flag = Qor8u(random.integer(0, 2));
        for (auto& sf : block.scaleFactors)
            sf = Qor16s(random.chance(0.8) ? random.integer(0, 80) : random.integer(-32768, 32767));
        const NoiseCall start{block, Qor32s(random.wideInteger(31))};

        const auto compare = [&](const NoiseCall& call, const NoiseCall& expected) {
            ASSERT_THAT(call.spectrum, ElementsAreArray(expected.spectrum)) << run;
            ASSERT_THAT(call.ltp, ElementsAreArray(expected.ltp));
            ASSERT_EQ(call.seed, expected.seed);
        };
        NoiseCall plain = start;
        ASSERT_EQ(plain.plain(), qorStsNoErr);
        compare(plain, expectedNoise(start, 2, nullptr));

        for (int channel : {0, 1, 2}) {
            const auto before = random.integers<Qor32s>(8 * 51, -2147483648ll, 2147483647);
            std::vector<Qor32s> expectedState = before;
            Guarded<Qor32s> state{
                std::span<const Qor32s>(before.data(), block.numGroups() * block.maxSfb)};
            NoiseCall pair = start;
            ASSERT_EQ(pair.pair(channel, state.data()), qorStsNoErr);
            compare(pair, expectedNoise(start, channel, &expectedState));
            expectedState.resize(state.size());
            ASSERT_THAT(state.copy(), ElementsAreArray(expectedState));
        }
    }
}

// The two channels of a pair get the same noise where the mask says so, and the seed of the second
// one stays.
TEST(AacNoise, MarkedBandsOfAPairAreTheSameNoise) {
    Random random(5);
    Block block(random);
    block.winLen = 1024, block.rate = 4, block.maxSfb = 49, block.groups = {1};
    block.books.assign(49, 13);
    block.scaleFactors.assign(49, 40);
    for (auto& flag : block.used[0]) flag = 1;
    std::vector<Qor32s> state(49);
    NoiseCall left{block, 12345}, right{block, 999};
    ASSERT_EQ(left.pair(0, state.data()), qorStsNoErr);
    ASSERT_EQ(right.pair(1, state.data()), qorStsNoErr);
    EXPECT_THAT(right.spectrum, ElementsAreArray(left.spectrum));
    EXPECT_EQ(right.seed, 999);
    // Energy 2^(s/2) per band, in Q3.
    double energy = 0;
    for (int i = 0; i < 4; ++i) energy += left.spectrum[i] / 8.0 * left.spectrum[i] / 8.0;
    EXPECT_NEAR(energy / std::pow(2, 20), 1, 0.02);
}

TEST(AacNoise, ChecksInOrder) {
    std::vector<Qor32s> spectrum(1024, 1), ltp(52, 2), state(408, 3);
    const std::vector<Qor8u> books(408, 13);
    const std::vector<Qor16s> scaleFactors(408, 0);
    const Qor32s groups[8] = {1, 1, 1, 1, 1, 1, 1, 1};
    Qor32s seed = 77;
    struct Case {
        int null, maxSfb, numGroups, rate, winLen;
        QorStatus status;
    };
    const Case cases[] = {
        {0, 52, 9, 17, 5, qorStsNullPtrErr},        {1, 52, 9, 17, 5, qorStsNullPtrErr},
        {2, 52, 9, 17, 5, qorStsNullPtrErr},        {3, 52, 9, 17, 5, qorStsNullPtrErr},
        {4, 52, 9, 17, 5, qorStsNullPtrErr},        {5, 52, 9, 17, 5, qorStsNullPtrErr},
        {9, 52, 9, 17, 5, qorStsAacMaxSfbErr},      {9, -1, 9, 17, 5, qorStsAacMaxSfbErr},
        {9, 51, 9, 17, 5, qorStsAacWinGrpErr},      {9, 51, 0, 17, 5, qorStsAacWinGrpErr},
        {9, 51, 8, 17, 5, qorStsAacSampRateIdxErr}, {9, 51, 8, -1, 5, qorStsAacSampRateIdxErr},
        {9, 51, 8, 16, 5, qorStsAacWinLenErr},      {9, 0, 8, 4, 1024, qorStsNoErr},
        {9, 40, 1, 12, 1024, qorStsNoErr},          {9, 40, 1, 16, 128, qorStsNoErr}};
    for (const Case& c : cases) {
        for (bool pair : {false, true}) {
            Qor32s* p = c.null == 0 ? nullptr : spectrum.data();
            Qor32s* flags = c.null == 1 ? nullptr : ltp.data();
            const Qor8u* cb = c.null == 2 ? nullptr : books.data();
            const Qor16s* sf = c.null == 3 ? nullptr : scaleFactors.data();
            const Qor32s* lengths = c.null == 4 ? nullptr : groups;
            Qor32s* s = c.null == 5 ? nullptr : &seed;
            const QorStatus status =
                pair ? qorsDecodeMsPNS_AAC_32s(p, flags, cb, sf, c.maxSfb, c.numGroups, lengths,
                                               c.rate, c.winLen, s, 0, nullptr, state.data())
                     : qorsDecodePNS_AAC_32s(p, flags, cb, sf, c.maxSfb, c.numGroups, lengths,
                                             c.rate, c.winLen, s);
            EXPECT_EQ(status, c.status) << c.null << " " << c.maxSfb << " " << c.rate;
        }
    }
    EXPECT_THAT(spectrum, Each(1));
    EXPECT_THAT(ltp, Each(2));
    EXPECT_THAT(state, Each(3));
    EXPECT_EQ(seed, 77);
}

// maxSfb is not compared with the band count; the table's end is respected.
TEST(AacNoise, BandsAboveTheCountDoNotExist) {
    const std::vector<Qor8u> books(51, 13);
    const std::vector<Qor16s> scaleFactors(51, 20);
    const Qor32s groups[] = {1};
    Guarded<Qor32s> spectrum(128);
    std::vector<Qor32s> ltp(52, 1);
    Qor32s seed = 1;
    EXPECT_EQ(qorsDecodePNS_AAC_32s(spectrum.data(), ltp.data(), books.data(), scaleFactors.data(),
                                    51, 1, groups, 4, 128, &seed),
              qorStsNoErr);
    EXPECT_NE(spectrum[127], 0);
    EXPECT_EQ(ltp[14], 0);
    EXPECT_EQ(ltp[15], 1);
}

}  // namespace
}  // namespace qorac
