#include "mp3enc/mp3eqnt.h"

#include <cstring>
#include <memory>

#include "frame/status.h"
#include "gmock/gmock.h"
#include "reference/mp3encquant.h"
#include "support/memory.h"
#include "support/random.h"

namespace qorac {
namespace {

using test::Guarded;
using test::Random;

// --- one frame --------------------------------------------------------------------------------

// All arguments of one call, with room as the contract names it.
struct Frame {
    QorMP3FrameHeader header{};
    Guarded<Qor32s> xs{4 * 576};
    Guarded<Qor8s> scaleFactor{4 * 40};
    Guarded<Qor32s> scfsi{8};
    Guarded<Qor32s> count1Len{4};
    Guarded<Qor32s> hufBits{4};
    Guarded<QorMP3SideInfo> side{4};
    Guarded<QorMP3PsychoInfo> psy{4};
    Guarded<QorMP3PsychoState> state{2};
    QorMP3BitReservoir reservoir{0, 4088};
    Qor32s meanBits = 3000;
    Guarded<Qor32s> isBound{6};
    Guarded<Qor32s> work{1152};

    Frame() {
        header.id = 1;
        header.layer = 1;
        header.mode = 0;
    }

    int records() const { return (header.id == 1 ? 2 : 1) * (header.mode == 3 ? 1 : 2); }

    QorStatus run() {
        return qorsQuantize_MP3_32s_I(xs.data(), scaleFactor.data(), scfsi.data(), count1Len.data(),
                                      hufBits.data(), &header, side.data(), psy.data(),
                                      state.data(), &reservoir, meanBits, isBound.data(),
                                      work.data());
    }
};

// Everything that a call may write, but the scratch.
struct Result {
    std::vector<Qor32s> xs, count1Len, hufBits;
    std::vector<Qor8s> scaleFactor;
    std::vector<Qor8u> side, psy;
    Qor32s bitsAvail, maxBits;

    explicit Result(Frame& f)
        : xs(f.xs.copy()),
          count1Len(f.count1Len.copy()),
          hufBits(f.hufBits.copy()),
          scaleFactor(f.scaleFactor.copy()),
          side(bytes(f.side)),
          psy(bytes(f.psy)),
          bitsAvail(f.reservoir.bitsAvail),
          maxBits(f.reservoir.maxBits) {}

    template <typename T>
    static std::vector<Qor8u> bytes(Guarded<T>& array) {
        const auto* p = reinterpret_cast<const Qor8u*>(array.data());
        return {p, p + array.size() * sizeof(T)};
    }
    bool operator==(const Result&) const = default;
};

// A spectrum that falls with frequency, at a random level, in a share of the granules with a few
// strong lines or silence; and all other inputs at random in their ranges.
void fillAtRandom(Frame& f, Random& random) {
    f.header.id = random.chance(0.8);
    f.header.sampling_frequency = Qor32s(random.integer(0, 2));
    f.header.mode = Qor32s(random.integer(0, 3));
    f.header.mode_extension = Qor32s(random.integer(0, 3));
    f.meanBits = Qor32s(random.chance(0.1) ? random.integer(0, 200) : random.integer(300, 10000));
    f.reservoir.maxBits = Qor32s(random.chance(0.2) ? 0 : random.integer(0, 511) * 8);
    f.reservoir.bitsAvail = Qor32s(random.integer(0, f.reservoir.maxBits / 8) * 8);
    for (int i = 0; i < 4; ++i) {
        QorMP3SideInfo& side = f.side[i];
        side = QorMP3SideInfo{};
        side.block_type = Qor32s(random.chance(0.5) ? 0 : random.integer(0, 3));
        side.window_switching_flag = side.block_type != 0;
        side.part2_3_length = 77;
        side.table_select[2] = 9;
        side.preflag = 1;
        side.subblock_gain[1] = 5;
        for (Qor32s& ratio : f.psy[i].ratio)
            ratio = random.chance(0.05) ? 0 : Qor32s(std::abs(random.wideInteger(31)));
        f.psy[i].pe = Qor32s(random.integer(0, 3000));
        const double level = random.real(-2, 7.8), slope = random.real(0, 0.01);
        const bool silent = random.chance(0.05);
        for (int k = 0; k < 576; ++k) {
            const double size = std::pow(10, level - slope * k) * random.real(-1, 1);
            f.xs[576 * i + k] = silent ? 0 : Qor32s(size);
        }
        if (random.chance(0.2))
            f.xs[576 * i + random.integer(0, 400)] = Qor32s(random.wideInteger(28));
        for (int k = 0; k < 40; ++k)
            f.scaleFactor[40 * i + k] = Qor8s(random.integer(random.chance(0.9) ? 0 : -9, 6));
    }
    for (Qor32s& flag : f.scfsi.span()) flag = random.chance(0.2);
    for (Qor32s& bound : f.isBound.span()) bound = Qor32s(random.integer(0, 13));
    for (int c = 0; c < 2; ++c) f.state[c].blockType = Qor32s(random.chance(0.3) ? 2 : 0);
}

TEST(Quantize, WholeFramesAgreeWithThePlainForm) {
    Random random(1);
    for (int run = 0; run < 150; ++run) {
        Frame ours, plain;
        fillAtRandom(ours, random);
        plain.header = ours.header;
        plain.reservoir = ours.reservoir;
        plain.meanBits = ours.meanBits;
        const auto copy = [](auto& to, auto& from) {
            std::memcpy(to.data(), from.data(), from.size() * sizeof *from.data());
        };
        copy(plain.xs, ours.xs);
        copy(plain.scaleFactor, ours.scaleFactor);
        copy(plain.scfsi, ours.scfsi);
        copy(plain.side, ours.side);
        copy(plain.psy, ours.psy);
        copy(plain.state, ours.state);
        copy(plain.isBound, ours.isBound);
        for (Qor32s& value : ours.work.span()) value = Qor32s(random.wideInteger(31));

        ASSERT_EQ(ours.run(), qorStsNoErr);
        reference::Quantizer{plain.xs.data(),        plain.scaleFactor.data(), plain.scfsi.data(),
                             plain.count1Len.data(), plain.hufBits.data(),     plain.header,
                             plain.side.data(),      plain.psy.data(),         plain.state.data(),
                             &plain.reservoir,       plain.meanBits,           plain.isBound.data()}
            .run();
        ASSERT_EQ(Result(ours), Result(plain)) << "run " << run;
    }
}

// What the loop sets aside is what the packers write, and the decoder's unpackers give back every
// line and scale factor.
TEST(Quantize, WhatIsPackedUnpacks) {
    Random random(7);
    int packed = 0;
    for (int run = 0; run < 60; ++run) {
        Frame f;
        fillAtRandom(f, random);
        f.header.id = 1;
        if (f.meanBits < 1000) f.meanBits = 1000;
        ASSERT_EQ(f.run(), qorStsNoErr);
        const int channels = f.header.mode == 3 ? 1 : 2;
        for (int i = 0; i < f.records(); ++i) {
            QorMP3SideInfo& side = f.side[i];
            const Qor8s* scale = f.scaleFactor.data() + 40 * i;
            const Qor32s* scfsi = f.scfsi.data() + 4 * (i % channels);
            const Qor32s* lines = f.xs.data() + 576 * i;
            const int granule = i / channels, channel = i % channels;
            // Short blocks may have scale factors that no width holds, and the search a gain that
            // the stream does not carry.
            const int bands = side.block_type == 2 ? 36 : 21;
            bool fits = side.part2_3_length <= 4095 && !outside(side.global_gain, 0, 255);
            for (int b = 0; b < bands; ++b)
                fits = fits && scale[b] >= 0 && (b < bands / 2 || scale[b] < 8);
            const bool silent = side.big_values == 0 && f.count1Len[i] == 0;
            if (silent || !fits) continue;

            std::vector<Qor8u> stream(4096);
            Qor8u* p = stream.data();
            Qor32s offset = 0;
            const auto position = [&] { return 8 * (p - stream.data()) + offset; };
            ASSERT_EQ(qorsPackScaleFactors_MP3_8s1u(scale, &p, &offset, &f.header, &side, scfsi,
                                                    granule, channel),
                      qorStsNoErr);
            const auto scaleBits = position();
            ASSERT_EQ(qorsHuffmanEncode_MP3_32s1u(lines, &p, &offset, &f.header, &side,
                                                  f.count1Len[i], f.hufBits[i]),
                      qorStsNoErr);
            if (position() > side.part2_3_length) continue;  // the search gave up
            ASSERT_EQ(position(), side.part2_3_length);
            ++packed;

            std::array<Qor8s, 40> readScale{};
            std::copy_n(scale, 40, readScale.begin());  // what scfsi shares
            std::vector<Qor32s> readLines(576);
            Qor32s bound;
            p = stream.data();
            offset = 0;
            QorMP3SideInfo readSide = side;
            ASSERT_EQ(qorsUnpackScaleFactors_MP3_1u8s(&p, &offset, readScale.data(), &readSide,
                                                      scfsi, &f.header, granule, channel),
                      qorStsNoErr);
            ASSERT_EQ(position(), scaleBits);
            ASSERT_TRUE(std::equal(scale, scale + bands, readScale.begin()));
            ASSERT_EQ(qorsHuffmanDecode_MP3_1u32s(&p, &offset, readLines.data(), &bound, &readSide,
                                                  &f.header, int(side.part2_3_length - scaleBits)),
                      qorStsNoErr);
            ASSERT_TRUE(std::equal(readLines.begin(), readLines.end(), lines));
        }
    }
    EXPECT_GT(packed, 60);
}

TEST(Quantize, ChecksComeInOrderAndLeaveEverythingAsItWas) {
    Random random(2);
    Frame f;
    fillAtRandom(f, random);
    const Result before(f);
    f.header.sampling_frequency = 3;
    f.header.id = 2;
    EXPECT_EQ(f.run(), qorStsMp3FrameHeaderErr);
    for (int null = 0; null < 12; ++null) {
        const auto arg = [&](int i, auto* p) { return i == null ? nullptr : p; };
        EXPECT_EQ(qorsQuantize_MP3_32s_I(arg(0, f.xs.data()), arg(1, f.scaleFactor.data()),
                                         arg(2, f.scfsi.data()), arg(3, f.count1Len.data()),
                                         arg(4, f.hufBits.data()), arg(5, &f.header),
                                         arg(6, f.side.data()), arg(7, f.psy.data()),
                                         arg(8, f.state.data()), arg(9, &f.reservoir), f.meanBits,
                                         arg(10, f.isBound.data()), arg(11, f.work.data())),
                  qorStsNullPtrErr);
    }
    for (const Qor32s id : {-1, 2}) {
        f.header.sampling_frequency = 0;
        f.header.id = id;
        EXPECT_EQ(f.run(), qorStsMp3FrameHeaderErr);
    }
    for (const Qor32s rate : {-1, 3}) {
        f.header.sampling_frequency = rate;
        f.header.id = 1;
        EXPECT_EQ(f.run(), qorStsMp3FrameHeaderErr);
    }
    EXPECT_EQ(Result(f), before);
}

TEST(Quantize, AMixedBlockEndsTheFrameBehindTheRecordsThatAreDone) {
    Random random(3);
    Frame f;
    fillAtRandom(f, random);
    f.header.id = 1;
    f.header.mode = 0;
    f.reservoir = {800, 4088};
    for (int i = 0; i < 4; ++i) f.side[i] = QorMP3SideInfo{};
    f.side[2].window_switching_flag = 1;
    f.side[2].block_type = 2;
    f.side[2].mixed_block_flag = 1;
    f.side[2].global_gain = 33;
    const std::vector<Qor32s> xs = f.xs.copy();
    EXPECT_EQ(f.run(), qorStsMp3SideInfoErr);
    EXPECT_NE(f.side[0].global_gain, 0);
    EXPECT_NE(f.side[1].global_gain, 0);
    EXPECT_EQ(f.side[2].global_gain, 33);
    EXPECT_EQ(f.reservoir.bitsAvail, 800);
    EXPECT_TRUE(std::equal(xs.begin() + 2 * 576, xs.end(), f.xs.data() + 2 * 576));
}

TEST(Quantize, SilenceTakesNoBitsAndFillsTheReservoir) {
    Frame f;
    f.meanBits = 1003;
    f.reservoir = {0, 4088};
    f.scaleFactor[5] = 9;
    for (int i = 0; i < 4; ++i) {
        f.psy[i].pe = 100;
        f.psy[i].ratio[3] = 0;
        f.psy[i].ratio[4] = 5;
    }
    ASSERT_EQ(f.run(), qorStsNoErr);
    EXPECT_EQ(f.reservoir.bitsAvail, 1000);
    EXPECT_EQ(f.side[0].part2_3_length, 3);  // the bits beyond a whole byte
    EXPECT_EQ(f.hufBits[0], 3);
    for (int i = 0; i < 4; ++i) {
        EXPECT_EQ(f.side[i].global_gain, 210);
        EXPECT_EQ(f.side[i].part2_3_length, i == 0 ? 3 : 0);
        EXPECT_EQ(f.count1Len[i], 0);
        EXPECT_EQ(f.psy[i].ratio[3], 0x7FFFFFFF);
        EXPECT_EQ(f.psy[i].ratio[4], 214748);
        EXPECT_EQ(f.psy[i].ratio[21], 0);  // no band of a long block
    }
    EXPECT_EQ(f.scaleFactor[5], 9);
}

TEST(Quantize, LinesAboveTheCodedBandsAreDropped) {
    for (const Qor32s blockType : {0, 2}) {
        Frame f;
        f.header.mode = 3;
        const int end = blockType == 2 ? 3 * 136 : 418;
        for (int i = 0; i < 2; ++i) {
            f.side[i].block_type = blockType;
            f.side[i].window_switching_flag = blockType != 0;
            for (int k = 0; k < 576; ++k) f.xs[576 * i + k] = 1 << 20;
        }
        ASSERT_EQ(f.run(), qorStsNoErr);
        EXPECT_NE(f.xs[end - 1], 0);
        for (int k = end; k < 576; ++k) ASSERT_EQ(f.xs[k], 0) << k;
    }
}

// --- bit budget -------------------------------------------------------------------------------

TEST(EstimatedBits, EntropyTimesAFactorWithACapAndScaledToTheMean) {
    FrameEstimate e;
    QorMP3SideInfo side[4]{};
    QorMP3PsychoInfo psy[4]{};
    QorMP3PsychoState state[2]{};
    psy[0].pe = 100;
    psy[1].pe = 10000;
    psy[2].pe = 100;
    psy[3].pe = 1000000;
    side[2].block_type = side[3].block_type = 2;
    state[1].blockType = 2;
    ownsGetFrameEstimatedBits_MP3(&e, side, psy, state, 2, 2, 100000);
    EXPECT_EQ(e.est[0], 309);  // 3.1 * 100, truncated
    EXPECT_EQ(e.est[1], 1500);
    EXPECT_NEAR(e.est[2], 380, 3);  // 38 * sqrt(100)
    EXPECT_EQ(e.est[3], 1800);
    EXPECT_EQ(e.total, e.est[0] + e.est[1] + e.est[2] + e.est[3]);
    EXPECT_EQ(e.coef, 22938);

    ownsGetFrameEstimatedBits_MP3(&e, side, psy, state, 2, 2, 2000);
    EXPECT_LE(e.total, 2000);
    EXPECT_GE(e.total, 1990);
    EXPECT_EQ(e.total, e.est[0] + e.est[1] + e.est[2] + e.est[3]);
}

TEST(MinMaxBits, ByRecordsThatRemain) {
    const FrameEstimate e{{400, 400, 400, 400}, 1600, 13107};
    const QorMP3BitReservoir reservoir{3000, 4000};  // 0.95 of the limit is 3799
    struct {
        int remaining, lo, hi;
    } const cases[] = {{4, -200, 1050}, {3, -200, 1266}, {2, -299, 1700}, {1, -399, 3000}};
    for (const auto& c : cases) {
        GranuleWork work{};
        work.scalefacBits = 74;
        // lo = 3000 - 3799 + (1600 + 0 + 400), before it is shared out
        ownsGetGranuleMinMaxBits_MP3(&work, e, reservoir, 1600, 4 - c.remaining, c.remaining);
        EXPECT_EQ(work.minBits, c.lo - 74) << c.remaining;
        const int draw = (2 * 3000 * 13107) >> 16;  // 1199
        EXPECT_EQ(work.maxBits, 400 + draw / c.remaining - 74) << c.remaining;
    }
    GranuleWork work{};
    work.scalefacBits = 126;
    ownsGetGranuleMinMaxBits_MP3(&work, {{100, 0, 0, 0}, 100, 3277}, {0, 4000}, 0, 0, 1);
    EXPECT_EQ(work.maxBits, 0);  // never below
    ownsGetGranuleMinMaxBits_MP3(&work, {{0, 0, 0, 0}, 0, 3277}, {0, 0}, 7000, 0, 1);
    EXPECT_EQ(work.minBits, 4095);
    EXPECT_EQ(work.maxBits, 4095);
}

TEST(Stuffing, GoesToTheFirstRecordOrIsSpreadAndWhatDoesNotFitIsDropped) {
    QorMP3SideInfo side[3]{};
    Qor32s huf[3] = {10, 20, 30};
    side[0].part2_3_length = 100;
    ownsDistributeStuffingBits_MP3(side, huf, 3, 3994);
    EXPECT_EQ(side[0].part2_3_length, 4094);
    EXPECT_EQ(huf[0], 4004);

    side[0].part2_3_length = 4000;
    side[1].part2_3_length = 4090;
    side[2].part2_3_length = 0;
    std::fill_n(huf, 3, 0);
    ownsDistributeStuffingBits_MP3(side, huf, 3, 110);
    EXPECT_THAT(huf, testing::ElementsAre(95, 5, 10));
    EXPECT_EQ(side[1].part2_3_length, 4095);

    ownsDistributeStuffingBits_MP3(side, huf, 1, 500);
    EXPECT_EQ(side[0].part2_3_length, 4095);
    EXPECT_EQ(huf[0], 95);
}

TEST(Reservoir, IsCutToItsLimitAndToAWholeByte) {
    QorMP3BitReservoir r{4000, 4088};
    ownsUpdateFrameExtraBits_MP3(&r, 500, 400);
    EXPECT_EQ(r.bitsAvail, 4100);
    EXPECT_EQ(ownsCalcFrameStuffingBits_MP3(&r), 12);
    EXPECT_EQ(r.bitsAvail, 4088);
    r.bitsAvail = 1005;
    EXPECT_EQ(ownsCalcFrameStuffingBits_MP3(&r), 5);
    EXPECT_EQ(r.bitsAvail, 1000);
}

// --- scale factors ----------------------------------------------------------------------------

struct Adjusted {
    GranuleWork work{};
    std::array<Qor8s, 40> scale;
    QorMP3SideInfo side{};
    explicit Adjusted(std::initializer_list<Qor32s> gains, bool isShort = false, int sfbMax = -1) {
        const Qor32s scfsi[4] = {};
        QorMP3FrameHeader header{};
        header.id = 1;
        scale.fill(-7);
        std::copy(gains.begin(), gains.end(), work.scale);
        std::fill_n(work.sfbMax, 3, sfbMax >= 0 ? sfbMax : isShort ? 12 : 21);
        side.block_type = isShort ? 2 : 0;
        side.window_switching_flag = isShort;
        ownsAdjustfactors_MP3(&work, scale.data(), &side, scfsi, &header, 0);
    }
};

TEST(AdjustFactors, ABandWithGainZeroTakesNoPart) {
    const Adjusted a({-10, 0, -20});
    EXPECT_EQ(a.work.gq, -10);  // not 0
    EXPECT_EQ(a.scale[0], 0);
    EXPECT_EQ(a.scale[1], 0);
    EXPECT_EQ(a.scale[2], 5);
    EXPECT_EQ(a.scale[20], 0);
    EXPECT_EQ(a.scale[21], -7);
    EXPECT_EQ(a.side.scalefac_scale, 0);
}

TEST(AdjustFactors, LimitsAndScaleByBandGroup) {
    // Differences of 31 give 15 in the lower bands; one more doubles the unit.
    EXPECT_EQ(Adjusted({40, 9}).side.scalefac_scale, 0);
    EXPECT_EQ(Adjusted({40, 9}).scale[1], 15);
    EXPECT_EQ(Adjusted({40, 8}).side.scalefac_scale, 1);
    EXPECT_EQ(Adjusted({40, 8}).scale[1], 8);
    EXPECT_EQ(Adjusted({100, 1}).scale[1], 15);
    const std::initializer_list<Qor32s> upper = {40, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1};
    EXPECT_EQ(Adjusted(upper).side.scalefac_scale, 1);
    EXPECT_EQ(Adjusted(upper).scale[11], 7);
}

TEST(AdjustFactors, ShortBlocksReachFifteenEverywhereAndThenNoWidthFits) {
    const Adjusted a({100, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1}, true);
    EXPECT_EQ(a.scale[18], 15);
    EXPECT_EQ(a.side.scalefac_compress, 0);
    EXPECT_EQ(a.work.scalefacBits, 0);
}

TEST(AdjustFactors, OnlyTheBandsBelowTheIntensityBoundAreWritten) {
    const Adjusted a({10, 4}, false, 2);
    EXPECT_EQ(a.scale[1], 3);
    EXPECT_EQ(a.scale[2], -7);
}

// --- quantizer --------------------------------------------------------------------------------

TEST(Power3Div4, EveryValueAgreesWithThePlainForm) {
    for (Qor32s v = 256; v <= 165108; ++v)
        ASSERT_EQ(ownsPower3Div4_MP3(v), reference::power34(v)) << v;
}

TEST(Power3Div4, IsThePowerWithTheRoundingOfTheStandard) {
    for (Qor32s v = 256; v <= 165108; v += 7)
        ASSERT_NEAR(ownsPower3Div4_MP3(v), std::pow(v, 0.75), 1 + 3e-3 * std::pow(v, 0.75)) << v;
    EXPECT_EQ(ownsPower3Div4_MP3(738), 141);
    EXPECT_LT(ownsPower3Div4_MP3(165108), 8192);
}

TEST(QuantizeBand, AgreesWithThePlainFormAtEveryGain) {
    Random random(4);
    for (int q = 0; q >= -260; --q) {
        std::vector<Qor32s> lines(64);
        for (Qor32s& x : lines) x = Qor32s(std::abs(random.wideInteger(31)));
        Guarded<Qor32s> src{std::span<const Qor32s>(lines)}, dst(lines.size());
        EXPECT_EQ(ownsQuantizeBand_Audio(src.data(), dst.data(), int(lines.size()), q),
                  qorStsNoErr);
        for (std::size_t i = 0; i < lines.size(); ++i)
            ASSERT_EQ(dst[i], reference::quantizedLine(lines[i], q)) << lines[i] << " at " << q;
    }
}

TEST(QuantizeBand, APositiveGainIndexWritesNothing) {
    const Qor32s x[2] = {1 << 26, 1 << 27};
    Qor32s ix[2] = {55, 66};
    EXPECT_EQ(ownsQuantizeBand_Audio(x, ix, 2, 1), qorStsBadArgErr);
    EXPECT_THAT(ix, testing::ElementsAre(55, 66));
}

TEST(QuantizeBand, IsThePowerLawOfTheStandard) {
    Random random(5);
    for (int run = 0; run < 20000; ++run) {
        const int q = -int(random.integer(0, 120));
        const Qor32s x = Qor32s(random.integer(0, (1 << 28) - 1));
        const double exact = std::pow(std::ldexp(x, -26) * std::pow(2, -q / 4.0), 0.75);
        if (exact > 8000) continue;
        Qor32s ix;
        ownsQuantizeBand_Audio(&x, &ix, 1, q);
        ASSERT_NEAR(ix, exact, 1 + exact * 3e-3) << x << " at " << q;
    }
}

TEST(ReqCore, AgreesWithThePlainFormAndTheFormula) {
    Random random(6);
    for (int e = -180; e <= 255; ++e) {
        for (int run = 0; run < 60; ++run) {
            const Qor32s ix = Qor32s(std::clamp<std::int64_t>(random.wideInteger(14), -8206, 8206));
            Qor32s x = 0;
            ownsReqCore_MP3_32s(&ix, &x, 1, e);
            ASSERT_EQ(x, reference::dequantizedLine(ix, e)) << ix << " at " << e;
            const double exact = std::pow(std::abs(ix), 4.0 / 3) * std::pow(2, 26 - e / 4.0);
            // The table range shifts right only, and the counts below -2 and 1 wrap.
            if (exact < 0x7FFFFFFF && (e >= 4 || std::abs(ix) >= 16)) {
                ASSERT_NEAR(std::abs(x), exact, 2 + exact * 2e-6) << ix << " at " << e;
            }
        }
    }
}

TEST(ReqCore, AMagnitudeTooLargeEndsTheRun) {
    const Qor32s ix[4] = {8206, 1, -8207, 2};
    Qor32s x[4] = {5, 5, 5, 5};
    ownsReqCore_MP3_32s(ix, x, 4, 100);
    EXPECT_NE(x[0], 5);
    EXPECT_NE(x[1], 5);
    EXPECT_EQ(x[2], 5);
    EXPECT_EQ(x[3], 5);
}

// --- distortion -------------------------------------------------------------------------------

TEST(Distortion, AWindowThatIsLeftOutShiftsTheNextOneOfTheBand) {
    QorMP3FrameHeader header{};
    header.id = 1;
    const BandLayout layout = bandLayout(header, true);
    std::vector<Qor32s> x(576), ix(576), buffer(576);
    // Band 5, window 1 holds lines that were quantized to 0; no noise is allowed anywhere.
    for (int k = 0; k < layout.width(5); ++k) x[layout.first(5, 1) + k] = 1 << 24;
    const Qor32s gain[kMaxBandSteps] = {};
    GranuleWork work{};
    const auto noisyWith = [&](int w0, int w1, int w2) {
        work.sfbMax[0] = w0, work.sfbMax[1] = w1, work.sfbMax[2] = w2;
        return ownsCalcQuantDistortion_MP3(x.data(), ix.data(), buffer.data(), gain, &work, layout);
    };
    EXPECT_EQ(noisyWith(12, 12, 12), 1);
    EXPECT_EQ(noisyWith(12, 5, 5), 0);
    EXPECT_EQ(noisyWith(5, 12, 12), 1);  // window 2 is measured on window 1's lines
    EXPECT_GT(work.xfsf[5 * 3 + 2], 0);
    EXPECT_EQ(noisyWith(5, 5, 12), 0);  // and here on window 0's
}

// --- search -----------------------------------------------------------------------------------

// When no gain lowers the count any more the search reports the budget in its stead.
TEST(Search, NineEqualCountsReportTheBudget) {
    QorMP3FrameHeader header{};
    header.id = 1;
    const BandLayout layout = bandLayout(header, false);
    std::vector<Qor32s> x(576), ix(576), buffer(576);
    x[0] = (1 << 28) - 1;
    QorMP3SideInfo side{};
    GranuleWork work{};
    work.sfbMax[0] = 21;
    work.maxBits = 1;
    work.gq = 0;
    std::array<Qor8s, 40> scale{};
    const Qor32s bits = ownsAdjustQuantByBits_MP3(x.data(), ix.data(), buffer.data(), &side, &work,
                                                  scale.data(), layout, layout.pSfb);
    EXPECT_EQ(bits, 1);
    EXPECT_EQ(work.spectralBits, 1);
    EXPECT_EQ(ix[0], 3);  // what gain index 0 gave: above it a band keeps its values
    EXPECT_EQ(work.gq, 9);
    SpectrumRegions regions;
    EXPECT_GT(ownsGetTotalSpBits_MP3(ix.data(), &side, &regions, layout.pSfb), 1);
}

TEST(Search, AnExtremeGainIsClampedAndStopsAtTheFirstFit) {
    QorMP3FrameHeader header{};
    header.id = 1;
    const BandLayout layout = bandLayout(header, false);
    std::vector<Qor32s> x(576), ix(576), buffer(576);
    x[3] = 1;
    for (const Qor32s gq : {-300, 46}) {
        QorMP3SideInfo side{};
        GranuleWork work{};
        work.sfbMax[0] = 21;
        work.minBits = 4000;
        work.maxBits = 4095;
        work.gq = gq;
        std::array<Qor8s, 40> scale{};
        ownsAdjustQuantByBits_MP3(x.data(), ix.data(), buffer.data(), &side, &work, scale.data(),
                                  layout, layout.pSfb);
        if (gq > 0) {
            EXPECT_EQ(work.gq, 45);
        } else {
            EXPECT_GT(work.gq, -210);  // it rose until the line fitted
            EXPECT_LT(ix[3], 8192);
            EXPECT_GT(ix[3], 4000);
        }
    }
}

}  // namespace
}  // namespace qorac
