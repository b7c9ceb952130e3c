#include "mp3enc/mp3epack.h"

#include "frame/bitcursor.h"
#include "gmock/gmock.h"
#include "mp3enc/mp3ehuff.h"
#include "reference/mp3bitreader.h"
#include "support/memory.h"
#include "support/random.h"

namespace qorac {
namespace {

using reference::BitReader;
using test::Guarded;
using test::Random;

QorMP3FrameHeader headerOf(int id, int mode) {
    QorMP3FrameHeader header{};
    header.id = id;
    header.layer = 1;
    header.protection_bit = 1;
    header.mode = mode;
    return header;
}

// An output of `bytes` bytes and the one behind that a writer may touch, full of old content.
struct Output : Guarded<Qor8u> {
    explicit Output(std::size_t bytes) : Guarded<Qor8u>(bytes + 1) {
        for (Qor8u& b : span()) b = 0xA5;
    }
};

// --- frame header -----------------------------------------------------------------------------

TEST(PackFrameHeader, FieldsAreCutToTheirWidthsAndReadBack) {
    Random random(1);
    for (int run = 0; run < 200; ++run) {
        QorMP3FrameHeader header;
        Qor32s* fields = &header.id;
        for (int i = 0; i < 13; ++i) fields[i] = Qor32s(random.wideInteger(31));
        if (random.chance(0.5)) header.protection_bit = 0;
        const std::size_t size = header.protection_bit == 0 ? 6 : 4;
        Output out(size);
        Qor8u* p = out.data();
        ASSERT_EQ(qorsPackFrameHeader_MP3(&header, &p), qorStsNoErr);
        ASSERT_EQ(p, out.data() + size);
        EXPECT_EQ(out[size], 0xA5);
        BitReader in(out.data(), 0);
        EXPECT_EQ(in.get(12), 0xFFF);
        const int width[13] = {1, 2, 1, 4, 2, 1, 1, 2, 2, 1, 1, 2, 16};
        for (int i = 0; i < (size == 6 ? 13 : 12); ++i)
            EXPECT_EQ(in.get(width[i]), fields[i] & ((1 << width[i]) - 1)) << i;
    }
}

TEST(PackFrameHeader, TheDecoderReadsWhatWasPacked) {
    QorMP3FrameHeader header{1, 1, 0, 14, 2, 1, 1, 1, 3, 1, 1, 3, 0xBEEF}, read{};
    Output out(6);
    Qor8u* p = out.data();
    ASSERT_EQ(qorsPackFrameHeader_MP3(&header, &p), qorStsNoErr);
    p = out.data();
    ASSERT_EQ(qorsUnpackFrameHeader_MP3(&p, &read), qorStsNoErr);
    EXPECT_EQ(std::memcmp(&header, &read, sizeof header), 0);
}

TEST(PackFrameHeader, NullPointers) {
    QorMP3FrameHeader header{};
    Qor8u byte;
    Qor8u *p = &byte, *null = nullptr;
    EXPECT_EQ(qorsPackFrameHeader_MP3(nullptr, &p), qorStsNullPtrErr);
    EXPECT_EQ(qorsPackFrameHeader_MP3(&header, nullptr), qorStsNullPtrErr);
    EXPECT_EQ(qorsPackFrameHeader_MP3(&header, &null), qorStsNullPtrErr);
}

// --- side information -------------------------------------------------------------------------

QorMP3SideInfo randomSide(Random& random, int id) {
    QorMP3SideInfo s{};
    s.part2_3_length = Qor32s(random.integer(0, 4095));
    s.big_values = Qor32s(random.integer(0, 511));
    s.global_gain = Qor32s(random.integer(0, 255));
    s.scalefac_compress = Qor32s(random.integer(0, id == 1 ? 15 : 511));
    s.window_switching_flag = random.chance(0.5);
    for (Qor32s& table : s.table_select) table = Qor32s(random.integer(0, 31));
    if (s.window_switching_flag) {
        s.block_type = Qor32s(random.integer(1, 3));
        s.mixed_block_flag = random.chance(0.5);
        s.table_select[2] = 0;
        for (Qor32s& gain : s.subblock_gain) gain = Qor32s(random.integer(0, 7));
        const bool isShort = s.block_type == 2 && !s.mixed_block_flag;
        s.region0_count = isShort ? 8 : 7;
        s.region1_count = isShort ? 12 : 13;
    } else {
        s.region0_count = Qor32s(random.integer(0, 15));
        s.region1_count = Qor32s(random.integer(0, 7));
    }
    s.preflag = id == 1 ? Qor32s(random.integer(0, 1)) : 0;
    s.scalefac_scale = Qor32s(random.integer(0, 1));
    s.count1table_select = Qor32s(random.integer(0, 1));
    return s;
}

TEST(PackSideInfo, TheDecoderReadsWhatWasPacked) {
    Random random(2);
    for (int run = 0; run < 400; ++run) {
        const int id = run & 1, mode = int(random.integer(0, 3)), nch = mode == 3 ? 1 : 2;
        const QorMP3FrameHeader header = headerOf(id, mode);
        const int count = nch * (id == 1 ? 2 : 1);
        const std::size_t size = id == 1 ? (nch == 1 ? 17 : 32) : (nch == 1 ? 9 : 17);
        QorMP3SideInfo side[4]{}, read[4]{};
        for (int i = 0; i < count; ++i) side[i] = randomSide(random, id);
        Qor32s scfsi[8]{}, readScfsi[8]{}, begin, bits;
        if (id == 1)
            for (int i = 0; i < 4 * nch; ++i) scfsi[i] = random.chance(0.5);
        const int mainDataBegin = int(random.integer(0, id == 1 ? 511 : 255));
        const int privateWidth = id == 1 ? (nch == 1 ? 5 : 3) : nch;
        const int privateBits = int(random.integer(0, (1 << privateWidth) - 1));

        Output out(size + 2);
        Qor8u* p = out.data();
        ASSERT_EQ(qorsPackSideInfo_MP3(side, &p, mainDataBegin, privateBits, scfsi, &header),
                  qorStsNoErr);
        ASSERT_EQ(p, out.data() + size);
        EXPECT_EQ(out[size], 0xA5);
        p = out.data();
        ASSERT_EQ(qorsUnpackSideInfo_MP3(&p, read, &begin, &bits, readScfsi, &header), qorStsNoErr);
        EXPECT_EQ(begin, mainDataBegin);
        EXPECT_EQ(bits, privateBits);
        EXPECT_THAT(readScfsi, testing::ElementsAreArray(scfsi));
        ASSERT_EQ(std::memcmp(side, read, sizeof side), 0);
    }
}

TEST(PackSideInfo, ABlockTypeOfZeroWithWindowSwitchingStopsBehindIt) {
    const QorMP3FrameHeader header = headerOf(1, 0);
    QorMP3SideInfo side[4]{};
    side[0].window_switching_flag = 1;
    side[0].part2_3_length = 0xABC;
    const Qor32s scfsi[8]{};
    Output out(32);
    Qor8u* p = out.data();
    EXPECT_EQ(qorsPackSideInfo_MP3(side, &p, 0, 0, scfsi, &header), qorStsNoErr);
    EXPECT_EQ(p, out.data() + 7);  // 20 + 36 bits
    EXPECT_EQ(out[6] & 3, 0);
    EXPECT_EQ(out[7], 0xA5);
}

TEST(PackSideInfo, ChecksInOrder) {
    QorMP3FrameHeader header = headerOf(1, 0);
    QorMP3SideInfo side[4]{};
    const Qor32s scfsi[8]{};
    Output out(32);
    Qor8u *p = out.data(), *null = nullptr;
    const auto pack = [&] { return qorsPackSideInfo_MP3(side, &p, 0, 0, scfsi, &header); };
    EXPECT_EQ(qorsPackSideInfo_MP3(nullptr, &p, 0, 0, scfsi, &header), qorStsNullPtrErr);
    EXPECT_EQ(qorsPackSideInfo_MP3(side, nullptr, 0, 0, scfsi, &header), qorStsNullPtrErr);
    EXPECT_EQ(qorsPackSideInfo_MP3(side, &null, 0, 0, scfsi, &header), qorStsNullPtrErr);
    EXPECT_EQ(qorsPackSideInfo_MP3(side, &p, 0, 0, nullptr, &header), qorStsNullPtrErr);
    EXPECT_EQ(qorsPackSideInfo_MP3(side, &p, 0, 0, scfsi, nullptr), qorStsNullPtrErr);
    for (Qor32s QorMP3FrameHeader::*field :
         {&QorMP3FrameHeader::id, &QorMP3FrameHeader::layer, &QorMP3FrameHeader::mode}) {
        for (const Qor32s bad : {-1, 4}) {
            header = headerOf(1, 0);
            header.*field = bad;
            EXPECT_EQ(pack(), qorStsMp3FrameHeaderErr);
        }
    }
    EXPECT_EQ(p, out.data());
    EXPECT_EQ(out[0], 0xA5);
}

// --- scale factors ----------------------------------------------------------------------------

TEST(PackScaleFactors, TheDecoderReadsWhatWasPacked) {
    Random random(3);
    for (int run = 0; run < 4000; ++run) {
        const int id = random.chance(0.5);
        QorMP3FrameHeader header = headerOf(id, 1);
        header.mode_extension = Qor32s(random.integer(0, 3));
        const int granule = int(random.integer(0, 1)), channel = int(random.integer(0, 1));
        QorMP3SideInfo side{};
        side.block_type = random.chance(0.6) ? 2 : 0;
        side.mixed_block_flag = side.block_type == 2 && random.chance(0.5);
        side.scalefac_compress = Qor32s(random.integer(0, id == 1 ? 15 : 511));
        side.preflag = 1;
        Qor32s scfsi[4];
        for (Qor32s& flag : scfsi) flag = random.chance(0.3);
        Guarded<Qor8s> scale(39);
        for (Qor8s& value : scale.span()) value = Qor8s(random.integer(-128, 127));

        Output out(40);
        const int start = int(random.integer(0, 7));
        for (int i = 0; i < start; ++i) out[0] = 0;
        Qor8u* p = out.data();
        Qor32s offset = 0;
        ownSetBits(&p, &offset, 0, start);
        QorMP3SideInfo packed = side, read = side;
        ASSERT_EQ(qorsPackScaleFactors_MP3_8s1u(scale.data(), &p, &offset, &header, &packed, scfsi,
                                                granule, channel),
                  qorStsNoErr);
        const auto end = std::size_t(p - out.data()) * 8 + offset;

        std::array<Qor8s, 40> values;
        values.fill(-1);
        p = out.data();
        offset = start;
        ASSERT_EQ(qorsUnpackScaleFactors_MP3_1u8s(&p, &offset, values.data(), &read, scfsi, &header,
                                                  granule, channel),
                  qorStsNoErr);
        ASSERT_EQ(std::size_t(p - out.data()) * 8 + offset, end);
        EXPECT_EQ(packed.preflag, id == 1 ? 1 : read.preflag);
        if (id == 1) {
            EXPECT_EQ(end - start,
                      std::size_t(reference::scalefactorBits(side, scfsi, 1, granule)));
            BitReader in(out.data(), start);
            for (const auto& [i, which] : reference::sentScaleFactors(side, scfsi, granule)) {
                const int width = reference::slen(which, side.scalefac_compress);
                const int expected = scale[i] & ((1 << width) - 1);
                ASSERT_EQ(in.get(width), expected);
                ASSERT_EQ(values[i], expected) << i;
            }
            continue;
        }
        // A low-sampling-frequency value reads back cut to its width; an illegal intensity position
        // reads back negated.
        for (int i = 0; i < 21; ++i) {
            const int value = std::abs(values[i]);
            int width = 0;
            while (width < 6 && value != (scale[i] & ((1 << width) - 1))) ++width;
            ASSERT_LT(width, 6) << i;
        }
    }
}

TEST(PackScaleFactors, RangesOfTheLowSamplingFrequencies) {
    // Bits, and preflag, by scalefac_compress, in a long block.
    struct {
        int compress, intensity, bits, preflag;
    } const cases[] = {
        {0, 0, 0, 0},
        {399, 0, 6 * 4 + 5 * 4 + 5 * 3 + 5 * 3, 0},
        {400, 0, 0, 0},
        {499, 0, 6 * 4 + 5 * 4 + 7 * 3, 0},
        {500, 0, 0, 1},
        {511, 0, 11 * 3 + 10 * 2, 1},
        {359, 1, 7 * 4 + 7 * 5 + 7 * 5, 0},
        {360, 1, 0, 0},
        {487, 1, 6 * 3 + 6 * 3 + 6 * 3, 0},
        {488, 1, 0, 0},
        {511, 1, 8 * 3 + 8 * 2, 0},
    };
    for (const auto& c : cases) {
        QorMP3FrameHeader header = headerOf(0, 1);
        header.mode_extension = c.intensity;
        QorMP3SideInfo side{};
        side.scalefac_compress = c.compress;
        side.preflag = 9;
        const Qor32s scfsi[4]{};
        const Qor8s scale[39]{};
        Output out(20);
        Qor8u* p = out.data();
        Qor32s offset = 0;
        ASSERT_EQ(qorsPackScaleFactors_MP3_8s1u(scale, &p, &offset, &header, &side, scfsi, 0, 1),
                  qorStsNoErr);
        EXPECT_EQ((p - out.data()) * 8 + offset, c.bits) << c.compress;
        EXPECT_EQ(side.preflag, c.preflag);
    }
}

TEST(PackScaleFactors, ChecksInOrder) {
    QorMP3FrameHeader header = headerOf(1, 1);
    QorMP3SideInfo side{};
    const Qor32s scfsi[4]{};
    const Qor8s scale[39]{};
    Qor8u byte = 0xA5;
    Qor8u *p = &byte, *null = nullptr;
    Qor32s offset = 0;
    const auto pack = [&] {
        return qorsPackScaleFactors_MP3_8s1u(scale, &p, &offset, &header, &side, scfsi, 0, 0);
    };
    EXPECT_EQ(qorsPackScaleFactors_MP3_8s1u(nullptr, &p, &offset, &header, &side, scfsi, 0, 0),
              qorStsNullPtrErr);
    EXPECT_EQ(qorsPackScaleFactors_MP3_8s1u(scale, nullptr, &offset, &header, &side, scfsi, 0, 0),
              qorStsNullPtrErr);
    EXPECT_EQ(qorsPackScaleFactors_MP3_8s1u(scale, &null, &offset, &header, &side, scfsi, 0, 0),
              qorStsNullPtrErr);
    EXPECT_EQ(qorsPackScaleFactors_MP3_8s1u(scale, &p, nullptr, &header, &side, scfsi, 0, 0),
              qorStsNullPtrErr);
    EXPECT_EQ(qorsPackScaleFactors_MP3_8s1u(scale, &p, &offset, nullptr, &side, scfsi, 0, 0),
              qorStsNullPtrErr);
    EXPECT_EQ(qorsPackScaleFactors_MP3_8s1u(scale, &p, &offset, &header, nullptr, scfsi, 0, 0),
              qorStsNullPtrErr);
    EXPECT_EQ(qorsPackScaleFactors_MP3_8s1u(scale, &p, &offset, &header, &side, nullptr, 0, 0),
              qorStsNullPtrErr);
    for (const Qor32s bad : {-1, 16}) {
        side.scalefac_compress = bad;
        EXPECT_EQ(pack(), qorStsMp3SideInfoErr);
    }
    header.id = 0;
    header.mode_extension = 4;
    for (const Qor32s bad : {-1, 512}) {
        side.scalefac_compress = bad;
        EXPECT_EQ(pack(), qorStsMp3SideInfoErr);
    }
    side.scalefac_compress = 511;
    EXPECT_EQ(pack(), qorStsMp3FrameHeaderErr);
    EXPECT_EQ(byte, 0xA5);
    EXPECT_EQ(p, &byte);
}

// --- spectrum ---------------------------------------------------------------------------------

TEST(HuffmanEncode, TakesTheCountedBitsAndReadsBackInBothReaders) {
    Random random(4);
    for (int run = 0; run < 600; ++run) {
        QorMP3FrameHeader header = headerOf(1, 0);
        header.sampling_frequency = Qor32s(random.integer(0, 2));
        QorMP3SideInfo side{};
        side.window_switching_flag = random.chance(0.3);
        side.block_type = side.window_switching_flag ? Qor32s(random.integer(1, 3)) : 0;
        std::vector<Qor32s> magnitudes(576), values(576);
        const int big = int(random.integer(0, 576)), ones = int(random.integer(big, 576));
        const int limit = int(std::abs(random.wideInteger(13)));
        for (int i = 0; i < 576; ++i) {
            if (i < big)
                magnitudes[i] = Qor32s(random.integer(0, limit >> (8 * i / (big + 1))));
            else if (i < ones)
                magnitudes[i] = random.chance(0.3);
            values[i] = random.chance(0.5) ? -magnitudes[i] : magnitudes[i];
        }
        const Qor16s* sfb = _qor_pMP3SfbTableLong[3 + header.sampling_frequency];
        SpectrumRegions regions;
        const int bits = ownsGetTotalSpBits_MP3(magnitudes.data(), &side, &regions, sfb);
        const int stuffing = random.chance(0.5) ? 0 : int(random.integer(1, 50));
        const int start = int(random.integer(0, 7));

        Guarded<Qor8u> out(std::size_t(start + bits + stuffing) / 8 + 1);
        for (Qor8u& b : out.span()) b = Qor8u(random.integer(0, 255));
        out[0] = Qor8u(0xFF00 >> start);
        Qor8u* p = out.data();
        Qor32s offset = start;
        Guarded<Qor32s> src{std::span<const Qor32s>(values)};
        // A budget below what is written is no error and writes no stuffing.
        const int hufBits = stuffing > 0 ? bits + stuffing : int(random.integer(-5, bits));
        ASSERT_EQ(qorsHuffmanEncode_MP3_32s1u(src.data(), &p, &offset, &header, &side,
                                              regions.count1Len, hufBits),
                  qorStsNoErr);
        ASSERT_EQ((p - out.data()) * 8 + offset, start + bits + stuffing);

        std::vector<Qor8u> stream = out.copy();
        BitReader in(stream.data(), 0);
        ASSERT_EQ(in.get(start), (1 << start) - 1);
        ASSERT_EQ(reference::readSpectrum(in, side, sfb, regions.count1Len), values);
        ASSERT_EQ(in.position(), std::size_t(start + bits));
        for (int i = 0; i < stuffing; ++i) ASSERT_EQ(in.get(1), 1);

        stream.resize(stream.size() + 2048);
        side.part2_3_length = bits + stuffing;
        std::vector<Qor32s> decoded(576);
        Qor32s bound;
        p = stream.data();
        offset = start;
        if (stuffing != 0) continue;  // the decoder may take ones for quadruples
        ASSERT_EQ(
            qorsHuffmanDecode_MP3_1u32s(&p, &offset, decoded.data(), &bound, &side, &header, bits),
            qorStsNoErr);
        ASSERT_EQ(decoded, values);
    }
}

TEST(HuffmanEncode, AnEscapeTableWithoutEscapesWritesSignsAlone) {
    const Qor32s ix[2] = {-14, 3};
    Output out(4);
    Qor8u* p = out.data();
    Qor32s offset = 0;
    EXPECT_EQ(ownHuffmanEncodePairs_MP3(ix, 2, &p, &offset, 23),
              _pHuffmanCode16[16 * 14 + 3].length + 2);
    p = out.data();
    offset = 0;
    EXPECT_EQ(ownHuffmanEncodePairs_MP3(ix, 2, &p, &offset, 0), 0);
    EXPECT_EQ(ownHuffmanEncodePairs_MP3(ix, 0, &p, &offset, 23), 0);
    EXPECT_EQ(p, out.data());
}

TEST(HuffmanEncode, RegionsOfAFlagWithBlockTypeZeroFollowTheRegionCounts) {
    QorMP3FrameHeader header = headerOf(1, 0);
    QorMP3SideInfo side{};
    side.window_switching_flag = 1;
    side.big_values = 30;
    side.region0_count = 1;  // ends at line 8
    side.region1_count = 1;  // ends at line 16
    side.table_select[0] = 1;
    side.table_select[1] = 0;
    side.table_select[2] = 5;
    const std::vector<Qor32s> ix(576);
    Output out(16);
    Qor8u* p = out.data();
    Qor32s offset = 0;
    ASSERT_EQ(qorsHuffmanEncode_MP3_32s1u(ix.data(), &p, &offset, &header, &side, 0, 0),
              qorStsNoErr);
    EXPECT_EQ((p - out.data()) * 8 + offset, 4 + 22);  // one bit for each pair of zeros
}

TEST(HuffmanEncode, ANegativeTableEndsItBehindTheRegionsBefore) {
    QorMP3FrameHeader header = headerOf(1, 0);
    QorMP3SideInfo side{};
    side.big_values = 30;
    side.table_select[0] = 1;
    side.table_select[1] = -1;
    const std::vector<Qor32s> ix(576);
    Output out(16);
    Qor8u* p = out.data();
    Qor32s offset = 0;
    EXPECT_EQ(qorsHuffmanEncode_MP3_32s1u(ix.data(), &p, &offset, &header, &side, 0, 0),
              qorStsMp3SideInfoErr);
    EXPECT_EQ((p - out.data()) * 8 + offset, 2);
}

TEST(HuffmanEncode, ChecksInOrder) {
    const std::vector<Qor32s> ix(576);
    Qor8u byte = 0xA5;
    Qor8u *p = &byte, *null = nullptr;
    Qor32s offset = 8;
    QorMP3FrameHeader header = headerOf(2, 0);
    header.layer = 2;
    header.sampling_frequency = 3;
    QorMP3SideInfo side{};
    side.big_values = 289;
    side.region0_count = 14;
    side.region1_count = 7;
    side.count1table_select = 2;
    const auto encode = [&] {
        return qorsHuffmanEncode_MP3_32s1u(ix.data(), &p, &offset, &header, &side, 0, 9);
    };
    EXPECT_EQ(qorsHuffmanEncode_MP3_32s1u(nullptr, &p, &offset, &header, &side, 0, 9),
              qorStsNullPtrErr);
    EXPECT_EQ(qorsHuffmanEncode_MP3_32s1u(ix.data(), nullptr, &offset, &header, &side, 0, 9),
              qorStsNullPtrErr);
    EXPECT_EQ(qorsHuffmanEncode_MP3_32s1u(ix.data(), &null, &offset, &header, &side, 0, 9),
              qorStsNullPtrErr);
    EXPECT_EQ(qorsHuffmanEncode_MP3_32s1u(ix.data(), &p, nullptr, &header, &side, 0, 9),
              qorStsNullPtrErr);
    EXPECT_EQ(qorsHuffmanEncode_MP3_32s1u(ix.data(), &p, &offset, nullptr, &side, 0, 9),
              qorStsNullPtrErr);
    EXPECT_EQ(qorsHuffmanEncode_MP3_32s1u(ix.data(), &p, &offset, &header, nullptr, 0, 9),
              qorStsNullPtrErr);
    EXPECT_EQ(encode(), qorStsBadArgErr);
    offset = -1;
    EXPECT_EQ(encode(), qorStsBadArgErr);
    offset = 7;
    EXPECT_EQ(encode(), qorStsMp3SideInfoErr);
    side.big_values = 0;
    EXPECT_EQ(encode(), qorStsMp3SideInfoErr);
    side.region1_count = 6;
    EXPECT_EQ(encode(), qorStsMp3SideInfoErr);
    side.count1table_select = -1;
    EXPECT_EQ(encode(), qorStsMp3SideInfoErr);
    side.count1table_select = 1;
    EXPECT_EQ(encode(), qorStsMp3FrameHeaderErr);
    header.id = 1;
    EXPECT_EQ(encode(), qorStsMp3FrameHeaderErr);
    header.layer = 1;
    EXPECT_EQ(encode(), qorStsMp3FrameHeaderErr);
    EXPECT_EQ(byte, 0xA5);
    EXPECT_EQ(p, &byte);
}

TEST(StuffingBits, AreOnesOfAnyNumberAtAnyOffset) {
    for (int start = 0; start < 8; ++start) {
        for (int n = -1; n < 40; ++n) {
            const int end = start + std::max(n, 0);
            Guarded<Qor8u> out(std::size_t(end) / 8 + 1);
            for (Qor8u& b : out.span()) b = 0x55;
            out[0] = 0;
            Qor8u* p = out.data();
            Qor32s offset = start;
            ownPutStuffingBits(&p, &offset, n);
            ASSERT_EQ((p - out.data()) * 8 + offset, end);
            BitReader in(out.data(), 0);
            EXPECT_EQ(in.get(start), 0);
            for (int i = start; i < end; ++i) EXPECT_EQ(in.get(1), 1);
        }
    }
}

// --- reservoir --------------------------------------------------------------------------------

TEST(BitReservoirInit, LimitByBitRateAndSamplingRate) {
    const int rates[15] = {0, 32, 40, 48, 56, 64, 80, 96, 112, 128, 160, 192, 224, 256, 320};
    const int hz[3] = {44100, 48000, 32000};
    for (int f = 0; f < 3; ++f) {
        for (int b = 0; b < 15; ++b) {
            QorMP3FrameHeader header = headerOf(1, 0);
            header.bitrate_index = b;
            header.sampling_frequency = f;
            QorMP3BitReservoir reservoir{5, 5};
            ASSERT_EQ(qorsBitReservoirInit_MP3(&reservoir, &header), qorStsNoErr);
            EXPECT_EQ(reservoir.bitsAvail, 0);
            const int bits = 8 * (144000 * rates[b] / hz[f]);
            EXPECT_EQ(reservoir.maxBits, std::clamp(7680 - bits, 0, 4088));
        }
    }
}

TEST(BitReservoirInit, Checks) {
    QorMP3FrameHeader header = headerOf(0, 0);
    QorMP3BitReservoir reservoir{5, 5};
    EXPECT_EQ(qorsBitReservoirInit_MP3(nullptr, &header), qorStsNullPtrErr);
    EXPECT_EQ(qorsBitReservoirInit_MP3(&reservoir, nullptr), qorStsNullPtrErr);
    EXPECT_EQ(qorsBitReservoirInit_MP3(&reservoir, &header), qorStsMp3FrameHeaderErr);
    EXPECT_EQ(reservoir.maxBits, 5);
}

}  // namespace
}  // namespace qorac
