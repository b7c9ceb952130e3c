#include "mp3enc/mp3ehuff.h"

#include "gmock/gmock.h"
#include "mp3enc/mp3ehufftbl.h"
#include "reference/mp3encquant.h"
#include "support/memory.h"
#include "support/random.h"

namespace qorac {
namespace {

using test::Guarded;
using test::Random;

// Magnitudes as quantized spectra have them: large at the bottom, ones above, zeros at the top.
std::vector<Qor32s> spectrum(Random& random) {
    std::vector<Qor32s> ix(576);
    const int big = int(random.integer(0, 576)), ones = int(random.integer(big, 576));
    const int limit = int(std::abs(random.wideInteger(13)));
    for (int i = 0; i < big; ++i) ix[i] = Qor32s(random.integer(0, limit >> (8 * i / (big + 1))));
    for (int i = big; i < ones; ++i) ix[i] = random.chance(0.3);
    return ix;
}

TEST(HuffmanTables, RowsMatchTheStandard) {
    for (int t = 0; t < 34; ++t) {
        const HuffmanTable& row = pHf_table[t];
        EXPECT_EQ(row.pCode, reference::huffmanCodes(t)) << t;
        EXPECT_EQ(row.linbits, t < 32 ? reference::linbitsOf(t) : 0) << t;
        EXPECT_EQ(row.linmax, t >= 16 && t < 32 ? 1 << row.linbits : 0) << t;
        if (row.xlen == 0) continue;
        // A complete prefix code has a Kraft sum of 1.
        int kraft = 0;
        for (int i = 0; i < row.xlen * (t < 32 ? row.xlen : 4); ++i)
            kraft += 1 << (20 - row.pCode[i].length);
        EXPECT_EQ(kraft, 1 << 20) << t;
    }
    EXPECT_EQ(pHf_table[1].pCode[2].length, 2);
    EXPECT_EQ(pHf_table[32].pCode[1].code, 5);
}

TEST(SpectrumBits, EverythingAgreesWithThePlainForm) {
    Random random(1);
    for (int run = 0; run < 3000; ++run) {
        const auto lines = spectrum(random);
        Guarded<Qor32s> ix{std::span<const Qor32s>(lines)};
        QorMP3SideInfo ours{};
        ours.window_switching_flag = random.chance(0.4);
        ours.block_type = Qor32s(ours.window_switching_flag ? random.integer(0, 3) : 0);
        QorMP3SideInfo plain = ours;
        const Qor16s* sfb = _qor_pMP3SfbTableLong[random.integer(0, 5)];
        SpectrumRegions regions;
        const int bits = ownsGetTotalSpBits_MP3(ix.data(), &ours, &regions, sfb);
        const reference::Count count = reference::totalSpectralBits(lines, plain, sfb);
        ASSERT_EQ(bits, count.bits);
        ASSERT_EQ(regions.count1Len, count.count1Len);
        ASSERT_THAT(regions.len, testing::ElementsAreArray(count.regionLen));
        ASSERT_EQ(std::memcmp(&ours, &plain, sizeof ours), 0);
    }
}

TEST(SpectrumBits, SilenceSelectsTableB) {
    const std::vector<Qor32s> ix(576);
    QorMP3SideInfo side{};
    SpectrumRegions regions;
    EXPECT_EQ(ownsGetTotalSpBits_MP3(ix.data(), &side, &regions, _qor_pMP3SfbTableLong[3]), 0);
    EXPECT_EQ(side.big_values, 0);
    EXPECT_EQ(regions.count1Len, 0);
    EXPECT_THAT(side.table_select, testing::ElementsAre(0, 0, 0));
    EXPECT_EQ(side.count1table_select, 1);
}

TEST(SpectrumBits, OnesAloneStandInQuadruples) {
    std::vector<Qor32s> ix(576);
    ix[1] = ix[11] = 1;
    QorMP3SideInfo side{};
    SpectrumRegions regions;
    ownsGetTotalSpBits_MP3(ix.data(), &side, &regions, _qor_pMP3SfbTableLong[3]);
    EXPECT_EQ(side.big_values, 0);
    EXPECT_EQ(regions.count1Len, 12);
    // A pair that is left over below the quadruples is a big value though it holds ones.
    ix[12] = 1;
    ownsGetTotalSpBits_MP3(ix.data(), &side, &regions, _qor_pMP3SfbTableLong[3]);
    EXPECT_EQ(side.big_values, 1);
    EXPECT_EQ(regions.count1Len, 12);
}

TEST(SpectrumBits, WindowSwitchingEndsTheFirstRegionAtLine36) {
    std::vector<Qor32s> ix(576);
    for (const int last : {20, 100}) {
        ix[last] = 3;
        QorMP3SideInfo side{};
        side.window_switching_flag = 1;
        side.block_type = 2;
        SpectrumRegions regions;
        ownsGetTotalSpBits_MP3(ix.data(), &side, &regions, _qor_pMP3SfbTableLong[3]);
        EXPECT_EQ(regions.len[0], std::min(36, last + 2));
        EXPECT_EQ(regions.len[1], std::max(0, last + 2 - 36));
        EXPECT_EQ(regions.len[2], 0);
        EXPECT_EQ(side.region0_count, 8);
        EXPECT_EQ(side.region1_count, 12);
    }
}

TEST(BestTable, OnATieTheLaterPairTableWinsAndTheLowerEscapeTable) {
    const Qor32s two[2] = {0, 2};  // tables 2 and 3 take 6 bits each
    int bits = -1;
    EXPECT_EQ(ownsChooseHuffmanTableBest_MP3(two, 2, &bits), 3);
    EXPECT_EQ(bits, 7);
    for (Qor32s value = 0; value <= 8206; ++value) {
        const Qor32s pair[2] = {value, 0};
        const int table = ownsChooseHuffmanTableBest_MP3(pair, 2, &bits);
        ASSERT_EQ(table, reference::bestTable({value, 0}, 0, 2)) << value;
        ASSERT_EQ(bits, reference::pairBits(table, value, 0));
        if (value >= 15) {
            ASSERT_GT(pHf_table[table].linmax, value - 15);
        }
    }
    EXPECT_EQ(ownsChooseHuffmanTableBest_MP3(two, 0, &bits), 0);
    EXPECT_EQ(bits, 0);
}

TEST(SpectralBits, AreThoseOfCodesSignsAndEscapes) {
    Random random(3);
    for (const int table : {1, 2, 3, 5, 6, 7, 8, 9, 10, 11, 12, 13, 15}) {
        std::vector<Qor32s> ix(100);
        for (Qor32s& value : ix) value = Qor32s(random.integer(0, pHf_table[table].xlen - 1));
        EXPECT_EQ(ownsGetNumberOfSpectralBits_MP3(ix.data(), 100, table),
                  reference::regionBits(ix, 0, 100, table));
    }
    const Qor32s escapes[4] = {15, 3, 100, 15};
    EXPECT_EQ(ownsGetNumberOfSpectralBits_MP3(escapes, 4, 19),
              _pHuffmanCode16[16 * 15 + 3].length + _pHuffmanCode16[255].length + 4 + 3 * 4);
    EXPECT_EQ(ownsGetNumberOfSpectralBits_MP3(escapes, 4, 26),
              _pHuffmanCode24[16 * 15 + 3].length + _pHuffmanCode24[255].length + 4 + 3 * 6);
    EXPECT_EQ(ownsGetNumberOfSpectralBits_MP3(escapes, 4, 0), 0);
}

TEST(Count1Bits, OnATieTableBIsChosen) {
    Qor32s select = -1;
    EXPECT_EQ(ownsCount1BitCount_MP3(nullptr, 0, &select), 0);
    EXPECT_EQ(select, 1);
    const Qor32s zeros[4] = {};
    EXPECT_EQ(ownsCount1BitCount_MP3(zeros, 4, &select), 1);
    EXPECT_EQ(select, 0);
    const Qor32s one[4] = {1, 0, 0, 0};  // 4 bits in both, and a sign
    EXPECT_EQ(ownsCount1BitCount_MP3(one, 4, &select), 5);
    EXPECT_EQ(select, 1);
}

TEST(MaxIndex, FirstOfTheLargestAndZeroWithoutAny) {
    const Qor32s some[6] = {1, 7, 3, 7, -9, 7};
    EXPECT_EQ(ownsGetMaxValueIndex_MP3_32s(some, 6), 1);
    const Qor32s none[4] = {-5, 0, -1, 0};
    EXPECT_EQ(ownsGetMaxValueIndex_MP3_32s(none, 4), 0);
}

TEST(ScaleFactorBits, AgreeWithThePlainFormAndHoldTheValues) {
    Random random(2);
    for (int run = 0; run < 3000; ++run) {
        Guarded<Qor8s> scale(39);
        const int limit = int(random.integer(0, 15)), high = int(random.integer(0, 9));
        for (int i = 0; i < 39; ++i) scale[i] = Qor8s(random.integer(0, i < 11 ? limit : high));
        QorMP3FrameHeader header{};
        header.id = random.chance(0.9);
        QorMP3SideInfo ours{};
        ours.block_type = random.chance(0.4) ? 2 : 0;
        ours.mixed_block_flag = random.chance(0.2);
        ours.scalefac_compress = Qor32s(random.integer(0, 15));
        QorMP3SideInfo plain = ours;
        Qor32s scfsi[4];
        for (Qor32s& flag : scfsi) flag = random.chance(0.3);
        const int granule = int(random.integer(0, 1));

        const int found =
            ownsChooseScalefactorTable_MP3(scale.data(), &ours, scfsi, &header, granule);
        EXPECT_EQ(found, reference::chooseScalefactorTable(scale.data(), plain, scfsi, header.id,
                                                           granule));
        ASSERT_EQ(ours.scalefac_compress, plain.scalefac_compress);
        EXPECT_EQ(ownsGetNumberOfScalefactorBits_MP3(&ours, scfsi, &header, granule),
                  reference::scalefactorBits(plain, scfsi, header.id, granule));
    }
}

}  // namespace
}  // namespace qorac
