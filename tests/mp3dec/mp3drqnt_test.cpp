#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <functional>
#include <memory>
#include <vector>

#include "frame/mp3sfbtbl.h"
#include "gmock/gmock.h"
#include "qorac.h"
#include "reference/requantize.h"
#include "support/memory.h"
#include "support/random.h"

namespace qorac {
namespace {

using reference::Granule;
using test::Guarded;
using test::Random;

void useStandardBands(Granule& g) {
    const int row = g.head.id * 3 + g.head.sampling_frequency;
    g.longBands = _qor_pMP3SfbTableLong[row];
    g.shortBands = _qor_pMP3SfbTableShort[row];
}

// A granule whose records pass every check: gain 210, scale factors 0.
Granule plainGranule(int mode = 3, int modeExtension = 0, int id = 1) {
    Granule g;
    g.head.id = id;
    g.head.layer = 1;
    g.head.mode = mode;
    g.head.mode_extension = modeExtension;
    for (auto& side : g.side) side.global_gain = 210;
    useStandardBands(g);
    return g;
}

void setBounds(Granule& g) {
    for (int ch = 0; ch < 2; ++ch) {
        g.bounds[ch] = 576;
        while (g.bounds[ch] > 0 && g.lines[ch][g.bounds[ch] - 1] == 0) --g.bounds[ch];
    }
}

// One call on guarded arrays of exactly the sizes in use.
struct Requantized {
    Guarded<Qor32s> lines, bounds, buffer;
    Guarded<Qor8s> scaleFactors;
    Guarded<QorMP3SideInfo> side;
    QorStatus status;

    explicit Requantized(const Granule& g, bool atEnd = true)
        : lines(576 * g.channels(), atEnd),
          bounds(g.channels(), atEnd),
          buffer(576, atEnd),
          scaleFactors(40 * g.channels(), atEnd),
          side(g.channels(), atEnd) {
        for (int ch = 0; ch < g.channels(); ++ch) {
            std::copy_n(g.lines[ch].begin(), 576, lines.data() + 576 * ch);
            std::copy_n(g.scaleFactors[ch].begin(), 40, scaleFactors.data() + 40 * ch);
            bounds[ch] = g.bounds[ch];
            side[ch] = g.side[ch];
        }
        std::memset(buffer.data(), 0x5A, 576 * 4);
        status = qorsReQuantize_MP3_32s_I(lines.data(), bounds.data(), scaleFactors.data(),
                                          side.data(), &g.head, buffer.data());
    }
    Qor32s line(int ch, int i) { return lines[576 * ch + i]; }
};

void expectByTheBook(const Granule& g) {
    const auto expected = reference::requantize(g);
    Requantized run(g);
    ASSERT_EQ(run.status, expected.status);
    if (expected.status != qorStsNoErr) return;
    for (int ch = 0; ch < g.channels(); ++ch) {
        ASSERT_EQ(run.bounds[ch], expected.bounds[ch]) << "channel " << ch;
        for (int i = 0; i < expected.defined[ch]; ++i)
            ASSERT_EQ(run.line(ch, i), expected.lines[ch][i]) << "channel " << ch << " line " << i;
    }
}

// --- the core ---------------------------------------------------------------------------------

TEST(RequantizeCore, EveryMagnitude) {
    for (int gain : {0, 100, 150, 207, 208, 209, 210, 211, 230, 255}) {
        Granule g = plainGranule();
        g.side[0].global_gain = gain;
        g.bounds[0] = 576;
        for (int first = 0; first <= 8206; first += 576) {
            for (int i = 0; i < 576; ++i) {
                const int k = std::min(first + i, 8206);
                g.lines[0][i] = i % 2 ? -k : k;
            }
            ASSERT_NO_FATAL_FAILURE(expectByTheBook(g)) << "gain " << gain << " from " << first;
        }
    }
}

TEST(RequantizeCore, EveryGain) {
    Granule g = plainGranule();
    const int magnitudes[] = {1,    2,    3,    4,    5,    8,    15,   16,  17,  63,
                              64,   127,  128,  129,  130,  255,  256,  511, 512, 1023,
                              1024, 2047, 2048, 4095, 4096, 8191, 8192, 8206};
    for (std::size_t i = 0; i < std::size(magnitudes); ++i) {
        g.lines[0][2 * i] = magnitudes[i];
        g.lines[0][2 * i + 1] = -magnitudes[i];
    }
    setBounds(g);
    for (int gain = 0; gain <= 255; ++gain) {
        g.side[0].global_gain = gain;
        ASSERT_NO_FATAL_FAILURE(expectByTheBook(g)) << "gain " << gain;
    }
}

TEST(RequantizeCore, UnitsAndLimits) {
    struct Case {
        int k, gain;
        Qor32s expected;
    };
    const Case cases[] = {
        {1, 210, 1 << 26},
        {-1, 210, -(1 << 26)},
        {8, 210, 1 << 30},
        {1, 206, 1 << 25},
        {1, 214, 1 << 27},
        {27, 206, 0x7FFFFFFF},  // 81 * 2^25 saturates
        {-27, 206, -0x7FFFFFFF},
        {16, 255, 0x7FFFFFFF},
        {-8206, 255, -0x7FFFFFFF},
        {8, 218, 0},  // 16 * 2^28 wraps away
        {4, 255, 1073741824 / 0x7FFFFFFF},
        {1, 0, 0},
        {8206, 0, 1},  // 165516 * 2^(26 - 52.5)
    };
    for (const Case& c : cases) {
        Granule g = plainGranule();
        g.lines[0][0] = c.k;
        g.bounds[0] = 1;
        g.side[0].global_gain = c.gain;
        Requantized run(g);
        EXPECT_EQ(run.status, qorStsNoErr);
        EXPECT_EQ(run.line(0, 0), reference::requantizeLine(c.k, 210 - c.gain)) << c.k;
        if (c.k != 4 && c.k != 8206) {
            EXPECT_EQ(run.line(0, 0), c.expected) << c.k << ' ' << c.gain;
        }
    }
}

TEST(RequantizeCore, MagnitudeAbove8206IsAnError) {
    for (int type : {0, 2})
        for (int k : {8206, -8206, 8207, -8207, 0x7FFFFFFF, -0x7FFFFFFF - 1}) {
            Granule g = plainGranule();
            g.side[0].block_type = type;
            g.lines[0][5] = k;
            g.bounds[0] = 6;
            EXPECT_EQ(Requantized(g).status,
                      std::abs(k / 2) == 4103 && std::abs(k) == 8206 ? qorStsNoErr : qorStsErr)
                << k;
        }
}

// --- random granules --------------------------------------------------------------------------

constexpr int kBlocks[][2] = {{0, 0}, {1, 0}, {2, 0}, {2, 1}, {3, 0}, {0, 1}, {1, 1}, {3, 1}};

// hostile: every value that the checks let through.
Granule randomGranule(Random& random, bool hostile) {
    const auto pick = [&](int low, int high) {
        return static_cast<int>(random.integer(low, high));
    };
    Granule g = plainGranule(random.chance(0.6) ? 1 : pick(0, 3), pick(0, 3), pick(0, 1));
    g.head.layer = pick(-2, 4);  // not looked at
    g.head.sampling_frequency = pick(0, 2);
    useStandardBands(g);
    const auto& block = kBlocks[pick(0, 7)];
    for (int ch = 0; ch < 2; ++ch) {
        QorMP3SideInfo& s = g.side[ch];
        const bool stereo = g.midSide() || g.intensity();
        const auto& own = stereo ? block : kBlocks[pick(0, 7)];
        s.block_type = own[0];
        s.mixed_block_flag = own[1];
        s.window_switching_flag = pick(0, 1);  // not looked at
        s.global_gain = hostile ? pick(0, 255) : pick(150, 190);
        s.scalefac_scale = pick(0, 1);
        s.preflag = pick(0, 1);
        s.scalefac_compress = pick(0, 15);
        for (Qor32s& gain : s.subblock_gain) gain = random.chance(0.5) ? 0 : pick(0, 7);
        const int limit = ch == 1 && g.intensity() ? 7 : 15;
        for (Qor8s& sf : g.scaleFactors[ch]) {
            sf = static_cast<Qor8s>(pick(0, limit));
            if (g.head.id == 0 && ch == 1 && random.chance(0.3)) sf = static_cast<Qor8s>(-sf);
        }
        const int density = pick(0, 3);
        const int last = random.chance(0.1) ? 0 : random.chance(0.3) ? pick(0, 60) : pick(0, 576);
        for (int i = 0; i < last; ++i)
            if (pick(0, 3) >= density) {
                const int bits = random.chance(0.02) ? 13 : random.chance(0.2) ? 6 : 2;
                g.lines[ch][i] = static_cast<Qor32s>(random.wideInteger(bits));
            }
        if (hostile && last && random.chance(0.2)) g.lines[ch][last - 1] = ch ? -8206 : 8206;
    }
    setBounds(g);
    // A bound may stand above the last non-zero line.
    if (hostile)
        for (int ch = 0; ch < 2; ++ch)
            if (random.chance(0.2)) g.bounds[ch] = pick(g.bounds[ch], 576);
    return g;
}

TEST(Requantize, RandomGranulesToTheBit) {
    Random random(80);
    for (int round = 0; round < 3000; ++round)
        ASSERT_NO_FATAL_FAILURE(expectByTheBook(randomGranule(random, round % 2)))
            << "round " << round;
}

TEST(Requantize, RandomGranulesNearTheFormulas) {
    Random random(81);
    for (int round = 0; round < 1500; ++round) {
        const Granule g = randomGranule(random, false);
        const auto expected = reference::requantizeExactly(g);
        Requantized run(g);
        ASSERT_EQ(run.status, qorStsNoErr);
        const auto model = reference::requantize(g);
        for (int ch = 0; ch < g.channels(); ++ch)
            for (int i = 0; i < model.defined[ch]; ++i) {
                // What leaves the range on the way, before intensity shares it, saturates or wraps.
                const double both = std::abs(expected[0][i]) + std::abs(expected[1][i]);
                if (both > 1e9) continue;
                ASSERT_NEAR(run.line(ch, i), expected[ch][i], 4 + both * 1e-6)
                    << "round " << round << " channel " << ch << " line " << i;
            }
    }
}

// --- chosen granules --------------------------------------------------------------------------

TEST(Requantize, OneChannelTouchesNothingElseAndIgnoresTheModeExtension) {
    Random random(82);
    for (int round = 0; round < 50; ++round) {
        Granule g = randomGranule(random, false);
        g.head.mode = 3;
        g.head.mode_extension = 3;
        g.side[1].block_type = 99;  // is not there
        ASSERT_NO_FATAL_FAILURE(expectByTheBook(g));
    }
}

TEST(Requantize, NoStereoOutsideJointStereo) {
    for (int mode : {0, 2}) {
        Granule g = plainGranule(mode, 3);
        g.lines[0][0] = 1;
        g.lines[1][0] = -1;
        g.side[1].block_type = 1;  // may differ
        g.bounds = {1, 1};
        Requantized run(g);
        EXPECT_EQ(run.status, qorStsNoErr);
        EXPECT_EQ(run.line(0, 0), 1 << 26);
        EXPECT_EQ(run.line(1, 0), -(1 << 26));
        EXPECT_EQ(run.bounds[0], 1);
    }
}

TEST(Requantize, SilenceStaysSilence) {
    for (auto [type, mixed] : kBlocks)
        for (int extension = 0; extension < 4; ++extension) {
            Granule g = plainGranule(1, extension);
            for (auto& side : g.side) {
                side.block_type = type;
                side.mixed_block_flag = mixed;
            }
            Requantized run(g);
            EXPECT_EQ(run.status, qorStsNoErr);
            EXPECT_EQ(run.bounds[0], 0);
            EXPECT_EQ(run.bounds[1], 0);
            EXPECT_THAT(run.lines.copy(), testing::Each(0));
        }
}

TEST(Requantize, PretabAndScaleFactorsOfLongBands) {
    // Band 11 (line 62 at 44100 Hz) has pretab 1, band 20 (342) has 2, band 21 (418) has none.
    const int lines[] = {0, 52, 62, 90, 196, 342, 418};
    for (int scale : {0, 1})
        for (int preflag : {0, 1}) {
            Granule g = plainGranule();
            g.side[0].scalefac_scale = scale;
            g.side[0].preflag = preflag;
            for (int line : lines) g.lines[0][line] = 1;
            g.bounds[0] = 419;
            g.scaleFactors[0][0] = 2;
            Requantized run(g);
            const auto expected = [&](int factor) {
                return reference::requantizeLine(1, factor << (scale + 1));
            };
            const int factors[] = {2, 0, preflag, preflag, 3 * preflag, 2 * preflag, 0};
            for (int i = 0; i < 7; ++i)
                EXPECT_EQ(run.line(0, lines[i]), expected(factors[i])) << lines[i];
        }
}

TEST(Requantize, ShortLinesGoToSixOfEachWindow) {
    Granule g = plainGranule();
    g.side[0].block_type = 2;
    g.side[0].subblock_gain[1] = 1;  // a quarter
    // 44100 Hz: bands of 4, 4, 4, 4, 6, ... lines for each of three windows.
    for (int i = 0; i < 48; ++i) g.lines[0][i] = 1;
    g.bounds[0] = 48;
    Requantized run(g);
    EXPECT_EQ(run.status, qorStsNoErr);
    EXPECT_EQ(run.bounds[0], 54 - 2);  // 16 lines of each window: the last group has 4 of 6
    for (int i = 0; i < 54; ++i) {
        const int window = i % 18 / 6, j = i / 18 * 6 + i % 6;
        EXPECT_EQ(run.line(0, i), j >= 16 ? 0 : window == 1 ? 1 << 24 : 1 << 26) << i;
    }
}

TEST(Requantize, MixedBlocksKeepTheLongPart) {
    for (int id : {0, 1}) {
        Granule g = plainGranule(3, 0, id);
        g.side[0].block_type = 2;
        g.side[0].mixed_block_flag = 1;
        for (int i = 0; i < 60; ++i) g.lines[0][i] = i < 36 ? 1 : 2;
        g.bounds[0] = 60;
        const int longBands = id ? 8 : 6;
        for (int b = 0; b < longBands; ++b) g.scaleFactors[0][b] = static_cast<Qor8s>(b % 2);
        g.scaleFactors[0][longBands + 1] = 2;  // band 3, window 1
        Requantized run(g);
        for (int b = 0; b < longBands; ++b)
            EXPECT_EQ(run.line(0, g.longBands[b]), reference::requantizeLine(1, 2 * (b % 2))) << b;
        EXPECT_EQ(run.line(0, 36), reference::requantizeLine(2, 0));
        EXPECT_EQ(run.line(0, 42), reference::requantizeLine(2, 4));
        EXPECT_EQ(run.line(0, 48), reference::requantizeLine(2, 0));
        ASSERT_NO_FATAL_FAILURE(expectByTheBook(g));
    }
}

// Without stereo a mixed block may stand beside a pure short one; the scratch of the one must not
// reach the long part of the other.
TEST(Requantize, MixedAndPureShortBesideEachOther) {
    for (int mixed : {0, 1}) {
        Granule g = plainGranule(0);
        for (int ch = 0; ch < 2; ++ch) {
            g.side[ch].block_type = 2;
            g.side[ch].mixed_block_flag = ch == mixed;
            for (int i = 0; i < 100; ++i) g.lines[ch][i] = 1 + ch + i % 7;
        }
        g.bounds = {100, 100};
        ASSERT_NO_FATAL_FAILURE(expectByTheBook(g));
    }
}

TEST(Requantize, MidSideFoldsTheRootOfTwo) {
    Granule g = plainGranule(1, 2);
    g.lines[0] = g.lines[1] = std::vector<Qor32s>(576);
    g.lines[0][0] = 3;
    g.lines[1][0] = 1;
    g.lines[0][1] = 2;
    g.bounds = {2, 1};
    Requantized run(g);
    const Qor32s three = reference::requantizeLine(3, 2), one = reference::requantizeLine(1, 2),
                 two = reference::requantizeLine(2, 2);
    EXPECT_EQ(run.line(0, 0), three + one);
    EXPECT_EQ(run.line(1, 0), three - one);
    EXPECT_EQ(run.line(0, 1), two);
    EXPECT_EQ(run.line(1, 1), two);
    EXPECT_EQ(run.bounds[0], 2);
    EXPECT_EQ(run.bounds[1], 2);
}

// One left line of magnitude 1 in band `band`, all right lines zero, position `sf`: what the two
// channels hold of 2^26. Short blocks carry the line in window 0.
struct IntensityCase {
    int id, extension, type, sf, compress;
    double left, right;
};

TEST(Requantize, IntensityPositions) {
    const double half = std::sqrt(0.5), quarter = std::sqrt(half);
    const auto t = [](int sf) { return std::tan(sf * M_PI / 12); };
    const IntensityCase cases[] = {
        {1, 1, 0, 0, 0, 0, 1},
        {1, 1, 0, 3, 0, 0.5, 0.5},
        {1, 3, 0, 2, 0, t(2) / (1 + t(2)), 1 / (1 + t(2))},
        {1, 1, 2, 5, 0, t(5) / (1 + t(5)), 1 / (1 + t(5))},
        {1, 1, 0, 6, 0, 1, 0},
        {1, 3, 2, 6, 0, 1, 0},
        {1, 1, 0, 7, 0, 1, 0},  // illegal: left alone
        {1, 1, 2, 7, 0, 1, 0},
        {1, 3, 0, 7, 0, half, half},  // illegal under mid/side: mid/side with no side
        {1, 3, 2, 7, 0, half, half},
        {0, 1, 0, 0, 0, 1, 1},
        {0, 1, 0, 1, 0, quarter, 1},
        {0, 1, 0, 2, 0, 1, quarter},
        {0, 1, 0, 1, 1, half, 1},
        {0, 1, 2, 4, 1, 1, 0.5},
        {0, 3, 2, 7, 0, 0.5, 1},
        {0, 1, 0, 30, 1, 1, std::pow(2, -7.5)},
        {0, 1, 0, -3, 0, 1, 0},
        {0, 1, 2, -3, 0, 1, 0},
        {0, 3, 0, -3, 1, half, half},
        {0, 3, 2, -3, 1, half, half},
    };
    for (const IntensityCase& c : cases) {
        Granule g = plainGranule(1, c.extension, c.id);
        for (auto& side : g.side) {
            side.block_type = c.type;
            side.scalefac_compress = c.compress;
        }
        g.lines[0][0] = 1;
        g.bounds = {1, 0};
        g.scaleFactors[1][0] = static_cast<Qor8s>(c.sf);
        Requantized run(g);
        EXPECT_EQ(run.status, qorStsNoErr);
        EXPECT_NEAR(run.line(0, 0), c.left * 67108864, 2) << c.id << c.extension << ' ' << c.sf;
        EXPECT_NEAR(run.line(1, 0), c.right * 67108864, 2) << c.id << c.extension << ' ' << c.sf;
        ASSERT_NO_FATAL_FAILURE(expectByTheBook(g));
    }
}

// Position 7 without mid/side: a long band is left alone, a short one is computed.
TEST(Requantize, IllegalPositionsOfLongAndShortBlocksDiffer) {
    for (int type : {0, 2}) {
        Granule g = plainGranule(1, 1, 1);
        for (auto& side : g.side) side.block_type = type;
        for (int i = 0; i < 3; ++i) g.lines[0][i] = 3;
        g.bounds = {3, 0};
        g.scaleFactors[1].fill(7);
        Requantized run(g);
        const Qor32s a = reference::requantizeLine(3, 0);
        EXPECT_EQ(run.line(0, 1), type == 0 ? a : a - 1);
        EXPECT_EQ(run.line(1, 1), type == 0 ? 0 : 1);
    }
}

TEST(Requantize, IntensityPositionAboveSevenIsAnErrorOfMpeg1) {
    for (int type : {0, 2})
        for (int id : {0, 1})
            for (int extension : {1, 3}) {
                Granule g = plainGranule(1, extension, id);
                for (auto& side : g.side) side.block_type = type;
                for (int i = 0; i < 100; ++i) g.lines[0][i] = 1;
                g.lines[1][20] = 1;
                g.bounds = {100, 21};
                // Below the right channel's bound it is a scale factor like any other. Line 20 of
                // a short block is in band 1 of window 2, whose band 0 has entry 2.
                g.scaleFactors[1][type] = 8;
                EXPECT_EQ(Requantized(g).status, qorStsNoErr);
                g.scaleFactors[1].fill(8);
                EXPECT_EQ(Requantized(g).status, id ? qorStsErr : qorStsNoErr) << type;
            }
}

TEST(Requantize, TheCallersBandTables) {
    Random random(83);
    Qor16s longBands[6][23] = {}, shortBands[6][14] = {};
    for (int round = 0; round < 300; ++round) {
        Granule g = randomGranule(random, false);
        const int row = g.head.id * 3 + g.head.sampling_frequency, fixed = g.head.id ? 8 : 6;
        // The lowest 36 lines hold the long bands of a mixed block, in whole.
        Qor16s line = 0;
        for (int b = 0; b < fixed; ++b) longBands[row][b] = static_cast<Qor16s>(b * 4);
        for (int b = fixed; b < 22;
             ++b, line = static_cast<Qor16s>(line + 2 * random.integer(1, 15)))
            longBands[row][b] = static_cast<Qor16s>(36 + line);
        longBands[row][22] = 576;
        line = 12;
        for (int b = 3; b < 13; ++b, line = static_cast<Qor16s>(line + 2 * random.integer(1, 8)))
            shortBands[row][b] = line;
        shortBands[row][1] = 2;
        shortBands[row][2] = 6;
        shortBands[row][13] = 192;
        g.longBands = longBands[row];
        g.shortBands = shortBands[row];
        const auto expected = reference::requantize(g);
        std::vector<Qor32s> lines, buffer(576);
        for (const auto& channel : g.lines)
            lines.insert(lines.end(), channel.begin(), channel.end());
        Qor32s bounds[2] = {g.bounds[0], g.bounds[1]};
        std::vector<Qor8s> factors;
        for (const auto& sf : g.scaleFactors) factors.insert(factors.end(), sf.begin(), sf.end());
        ASSERT_EQ(qorsReQuantizeSfb_MP3_32s_I(lines.data(), bounds, factors.data(), g.side, &g.head,
                                              buffer.data(), longBands, shortBands),
                  expected.status);
        for (int ch = 0; ch < g.channels(); ++ch) {
            ASSERT_EQ(bounds[ch], expected.bounds[ch]);
            for (int i = 0; i < expected.defined[ch]; ++i)
                ASSERT_EQ(lines[576 * ch + i], expected.lines[ch][i]) << round << ' ' << i;
        }
    }
}

// --- checks -----------------------------------------------------------------------------------

struct Fault {
    int step;
    QorStatus status;
    const char* name;
    std::function<void(Granule&)> make;
};

// In contract order; faults of one step have one status, so that their order does not show.
const std::vector<Fault>& faults() {
    constexpr QorStatus arg = qorStsBadArgErr, side = qorStsMp3SideInfoErr,
                        head = qorStsMp3FrameHeaderErr;
    static const std::vector<Fault> list = {
        {1, head, "id 2", [](Granule& g) { g.head.id = 2; }},
        {1, head, "id -1", [](Granule& g) { g.head.id = -1; }},
        {1, head, "frequency 3", [](Granule& g) { g.head.sampling_frequency = 3; }},
        {1, head, "frequency -1", [](Granule& g) { g.head.sampling_frequency = -1; }},
        {1, head, "mode 4", [](Granule& g) { g.head.mode = 4; }},
        {1, head, "mode -1", [](Granule& g) { g.head.mode = -1; }},
        {1, head, "mode_extension 4", [](Granule& g) { g.head.mode_extension = 4; }},
        {1, head, "mode_extension -1", [](Granule& g) { g.head.mode_extension = -1; }},
        {2, side, "types differ", [](Granule& g) { g.side[0].block_type ^= 1; }},
        {2, side, "flags differ", [](Granule& g) { g.side[0].mixed_block_flag ^= 1; }},
        {3, side, "types 4", [](Granule& g) { g.side[0].block_type = g.side[1].block_type = 4; }},
        {3, side, "types -1", [](Granule& g) { g.side[0].block_type = g.side[1].block_type = -1; }},
        {3, side, "flags 2",
         [](Granule& g) { g.side[0].mixed_block_flag = g.side[1].mixed_block_flag = 2; }},
        {4, arg, "bound 0 is 577", [](Granule& g) { g.bounds[0] = 577; }},
        {4, arg, "bound 0 is -1", [](Granule& g) { g.bounds[0] = -1; }},
        {5, arg, "bound 1 is 577", [](Granule& g) { g.bounds[1] = 577; }},
        {5, arg, "bound 1 is -1", [](Granule& g) { g.bounds[1] = -1; }},
        {6, side, "gain 256", [](Granule& g) { g.side[0].global_gain = 256; }},
        {6, side, "gain -1", [](Granule& g) { g.side[0].global_gain = -1; }},
        {6, side, "scale 2", [](Granule& g) { g.side[0].scalefac_scale = 2; }},
        {6, side, "scale -1", [](Granule& g) { g.side[0].scalefac_scale = -1; }},
        {6, side, "preflag 2", [](Granule& g) { g.side[0].preflag = 2; }},
        {6, side, "preflag -1", [](Granule& g) { g.side[0].preflag = -1; }},
        {7, qorStsErr, "line 8207", [](Granule& g) { g.lines[0][0] = 8207; }},
        {8, side, "gain 1", [](Granule& g) { g.side[1].global_gain = 256; }},
        {8, side, "scale 1", [](Granule& g) { g.side[1].scalefac_scale = 3; }},
        {8, side, "preflag 1", [](Granule& g) { g.side[1].preflag = -3; }},
        {9, qorStsErr, "line 1 -8207", [](Granule& g) { g.lines[1][0] = -8207; }},
    };
    return list;
}

TEST(RequantizeChecks, InOrderAndNothingWrittenBeforeTheGains) {
    for (const Fault& first : faults())
        for (const Fault& second : faults()) {
            const bool alone = &first == &second;
            if (!alone && first.step >= second.step) continue;
            Granule g = plainGranule(1, 2);
            g.lines[0][0] = g.lines[1][0] = 1;
            g.bounds = {4, 4};
            if (!alone) second.make(g);
            first.make(g);
            if (first.step == 2 && second.step == 3) continue;  // the second made them equal
            const auto lines = g.lines;
            const auto bounds = g.bounds;
            Granule readable = g;  // for the array sizes
            readable.head.mode = 1;
            Requantized run(readable);
            // The header goes in as it is.
            for (int ch = 0; ch < 2; ++ch) {
                std::copy_n(lines[ch].begin(), 576, run.lines.data() + 576 * ch);
                run.bounds[ch] = bounds[ch];
            }
            EXPECT_EQ(qorsReQuantize_MP3_32s_I(run.lines.data(), run.bounds.data(),
                                               run.scaleFactors.data(), run.side.data(), &g.head,
                                               run.buffer.data()),
                      first.status)
                << first.name << ", " << second.name;
            if (first.step >= 6) continue;
            for (int ch = 0; ch < 2; ++ch) {
                EXPECT_EQ(run.bounds[ch], bounds[ch]);
                EXPECT_TRUE(
                    std::equal(lines[ch].begin(), lines[ch].end(), run.lines.data() + 576 * ch));
            }
        }
}

// Without stereo each channel is checked in turn: channel 0's bound before channel 1's block.
TEST(RequantizeChecks, ChannelByChannelInOnePass) {
    Granule g = plainGranule(0);
    g.bounds = {577, 577};
    g.side[1].block_type = 4;
    EXPECT_EQ(Requantized(g).status, qorStsBadArgErr);
    g.bounds[0] = 0;
    EXPECT_EQ(Requantized(g).status, qorStsMp3SideInfoErr);
    g.side[1].block_type = 2;
    g.side[1].mixed_block_flag = 2;
    EXPECT_EQ(Requantized(g).status, qorStsMp3SideInfoErr);
    g.side[1].mixed_block_flag = 1;
    EXPECT_EQ(Requantized(g).status, qorStsBadArgErr);
    g.side[0].mixed_block_flag = -1;
    EXPECT_EQ(Requantized(g).status, qorStsMp3SideInfoErr);
}

TEST(RequantizeChecks, SubblockGain) {
    for (int window = 0; window < 3; ++window)
        for (int gain : {-1, 7, 8}) {
            Granule g = plainGranule();
            for (int i = 0; i < 12; ++i) g.lines[0][i] = 1;
            g.bounds[0] = 12;
            g.side[0].subblock_gain[window] = gain;
            EXPECT_EQ(Requantized(g).status, qorStsNoErr);  // long blocks do not use it
            g.side[0].block_type = 2;
            EXPECT_EQ(Requantized(g).status, gain == 7 ? qorStsNoErr : qorStsErr)
                << window << ' ' << gain;
        }
}

TEST(RequantizeChecks, NullPointersComeFirst) {
    Granule g = plainGranule(1, 0);
    g.head.id = 9;
    std::vector<Qor32s> lines(1152), buffer(576);
    Qor32s bounds[2] = {577, 577};
    std::vector<Qor8s> factors(80);
    for (int null = 0; null < 8; ++null) {
        const auto at = [&](int i, auto* p) { return null == i ? nullptr : p; };
        Qor32s* pLines = at(0, lines.data());
        Qor32s* pBounds = at(1, bounds);
        Qor8s* pFactors = at(2, factors.data());
        const QorMP3SideInfo* pSide = at(3, g.side);
        const QorMP3FrameHeader* pHead = at(4, &g.head);
        Qor32s* pBuffer = at(5, buffer.data());
        EXPECT_EQ(qorsReQuantizeSfb_MP3_32s_I(pLines, pBounds, pFactors, pSide, pHead, pBuffer,
                                              at(6, &_qor_pMP3SfbTableLong[0]),
                                              at(7, &_qor_pMP3SfbTableShort[0])),
                  qorStsNullPtrErr)
            << null;
        if (null < 6) {
            EXPECT_EQ(qorsReQuantize_MP3_32s_I(pLines, pBounds, pFactors, pSide, pHead, pBuffer),
                      qorStsNullPtrErr)
                << null;
        }
    }
}

}  // namespace
}  // namespace qorac
