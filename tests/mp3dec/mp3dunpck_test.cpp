#include <array>
#include <cstring>
#include <vector>

#include "gmock/gmock.h"
#include "qorac.h"
#include "reference/bits.h"
#include "support/memory.h"
#include "support/random.h"

namespace qorac {
namespace {

using reference::BitReader;
using reference::Bits;
using test::Guarded;
using test::Random;
using testing::ElementsAreArray;

// A record of 32-bit fields, all set to `value`.
template <typename Record>
Record filled(Qor32s value) {
    Record record;
    std::array<Qor32s, sizeof(Record) / 4> words;
    words.fill(value);
    std::memcpy(&record, words.data(), sizeof record);
    return record;
}
template <typename Record>
std::vector<Qor32s> words(const Record& record) {
    std::vector<Qor32s> out(sizeof(Record) / 4);
    std::memcpy(out.data(), &record, sizeof record);
    return out;
}

QorMP3FrameHeader header(int id, int mode, int modeExtension = 0) {
    auto h = filled<QorMP3FrameHeader>(0);
    h.id = id;
    h.layer = 1;
    h.mode = mode;
    h.mode_extension = modeExtension;
    return h;
}

// --- frame header -----------------------------------------------------------------------------

TEST(FrameHeader, EveryFieldFromItsBits) {
    Random random(60);
    for (int round = 0; round < 1000; ++round) {
        auto bytes = random.integers<Qor8u>(6, 0, 255);
        BitReader reader(bytes, 12);  // behind the syncword, which is not looked at
        auto expected = filled<QorMP3FrameHeader>(-77);
        expected.id = reader.get(1);
        expected.layer = reader.get(2);
        expected.protection_bit = reader.get(1);
        expected.bitrate_index = reader.get(4);
        expected.sampling_frequency = reader.get(2);
        expected.padding_bit = reader.get(1);
        expected.private_bit = reader.get(1);
        expected.mode = reader.get(2);
        expected.mode_extension = reader.get(2);
        expected.copyright = reader.get(1);
        expected.original = reader.get(1);
        expected.emphasis = reader.get(2);
        const int length = expected.protection_bit ? 4 : 6;
        if (!expected.protection_bit) expected.CRCWord = reader.get(16);
        bytes.resize(length + 3);

        Guarded<Qor8u> stream{std::span<const Qor8u>(bytes)};
        auto actual = filled<QorMP3FrameHeader>(-77);
        Qor8u* p = stream.data();
        ASSERT_EQ(qorsUnpackFrameHeader_MP3(&p, &actual), qorStsNoErr);
        ASSERT_EQ(words(actual), words(expected));
        ASSERT_EQ(p - stream.data(), length);
        ASSERT_EQ(stream.copy(), bytes);
    }
}

TEST(FrameHeader, FourZeroBytesParse) {
    Qor8u bytes[9] = {0, 0, 0, 0, 0xAB, 0xCD};
    Qor8u* p = bytes;
    auto h = filled<QorMP3FrameHeader>(5);
    EXPECT_EQ(qorsUnpackFrameHeader_MP3(&p, &h), qorStsNoErr);
    EXPECT_EQ(h.id, 0);
    EXPECT_EQ(h.layer, 0);
    EXPECT_EQ(h.protection_bit, 0);
    EXPECT_EQ(h.CRCWord, 0xABCD);
    EXPECT_EQ(p, bytes + 6);
}

TEST(FrameHeader, NullPointers) {
    Qor8u bytes[9] = {};
    Qor8u *p = bytes, *none = nullptr;
    auto h = filled<QorMP3FrameHeader>(5);
    EXPECT_EQ(qorsUnpackFrameHeader_MP3(nullptr, &h), qorStsNullPtrErr);
    EXPECT_EQ(qorsUnpackFrameHeader_MP3(&p, nullptr), qorStsNullPtrErr);
    EXPECT_EQ(qorsUnpackFrameHeader_MP3(&none, &h), qorStsNullPtrErr);
    EXPECT_EQ(p, bytes);
    EXPECT_EQ(words(h), words(filled<QorMP3FrameHeader>(5)));
}

// --- side information -------------------------------------------------------------------------

struct SideInfo {
    std::array<QorMP3SideInfo, 4> records;
    Qor32s mainDataBegin, privateBits;
    std::array<Qor32s, 8> scfsi;
};
constexpr Qor32s kOld = -12345;  // what the outputs hold before the call
SideInfo oldSideInfo() {
    SideInfo info;
    info.records.fill(filled<QorMP3SideInfo>(kOld));
    info.mainDataBegin = info.privateBits = kOld;
    info.scfsi.fill(kOld);
    return info;
}

// Random side information as bits, and what the unpacker makes of it. The record number `bad` has
// the illegal block type 0; `badBit` is then the position behind it, and what follows is random.
struct CodedSideInfo {
    Bits bits;
    SideInfo expected = oldSideInfo();
    std::size_t badBit = 0;

    CodedSideInfo(Random& random, int id, int mode, int bad = -1) {
        const auto put = [&](Qor32s& field, int width) {
            const auto value = static_cast<Qor32s>(random.integer(0, (1 << width) - 1));
            bits.put(value, width);
            if (badBit == 0) field = value;
        };
        const auto putValue = [&](Qor32s& field, int width, int value) {
            bits.put(value, width);
            if (badBit == 0) field = value;
        };
        const int channels = mode == 3 ? 1 : 2;
        put(expected.mainDataBegin, id ? 9 : 8);
        put(expected.privateBits, id ? (channels == 1 ? 5 : 3) : channels);
        if (id)
            for (int i = 0; i < 4 * channels; ++i) put(expected.scfsi[i], 1);
        for (int i = 0; i < (id ? 2 : 1) * channels; ++i) {
            QorMP3SideInfo& s = expected.records[i];
            put(s.part2_3_length, 12);
            put(s.big_values, 9);
            put(s.global_gain, 8);
            put(s.scalefac_compress, id ? 4 : 9);
            const bool switching = i == bad || random.chance(0.5);
            putValue(s.window_switching_flag, 1, switching);
            if (switching) {
                const int type = i == bad ? 0 : static_cast<int>(random.integer(1, 3));
                putValue(s.block_type, 2, type);
                if (i == bad) badBit = bits.size();
                const int mixed = static_cast<int>(random.integer(0, 1));
                putValue(s.mixed_block_flag, 1, mixed);
                for (int k = 0; k < 2; ++k) put(s.table_select[k], 5);
                for (int k = 0; k < 3; ++k) put(s.subblock_gain[k], 3);
                const bool pureShort = type == 2 && !mixed;
                if (badBit == 0) s.region0_count = pureShort ? 8 : 7;
                if (badBit == 0) s.region1_count = pureShort ? 12 : 13;
            } else {
                if (badBit == 0) s.block_type = s.mixed_block_flag = 0;
                for (int k = 0; k < 3; ++k) put(s.table_select[k], 5);
                put(s.region0_count, 4);
                put(s.region1_count, 3);
            }
            if (id) put(s.preflag, 1);
            put(s.scalefac_scale, 1);
            put(s.count1table_select, 1);
        }
    }
};

QorStatus unpack(Qor8u** p, SideInfo& info, const QorMP3FrameHeader& h) {
    return qorsUnpackSideInfo_MP3(p, info.records.data(), &info.mainDataBegin, &info.privateBits,
                                  info.scfsi.data(), &h);
}

void expectEqual(const SideInfo& actual, const SideInfo& expected, const char* what) {
    EXPECT_EQ(actual.mainDataBegin, expected.mainDataBegin) << what;
    EXPECT_EQ(actual.privateBits, expected.privateBits) << what;
    EXPECT_EQ(actual.scfsi, expected.scfsi) << what;
    for (int i = 0; i < 4; ++i)
        EXPECT_EQ(words(actual.records[i]), words(expected.records[i])) << what << " record " << i;
}

TEST(SideInfo, EveryFieldAndNothingElse) {
    Random random(61);
    for (int id : {0, 1})
        for (int mode = 0; mode <= 3; ++mode)
            for (int round = 0; round < 60; ++round) {
                const CodedSideInfo coded(random, id, mode);
                const auto bytes = coded.bits.bytes(0, 3, round % 2);
                Guarded<Qor8u> stream{std::span<const Qor8u>(bytes)};
                SideInfo actual = oldSideInfo();
                Qor8u* p = stream.data();
                ASSERT_EQ(unpack(&p, actual, header(id, mode)), qorStsNoErr);
                expectEqual(actual, coded.expected, "side information");
                const int length = id ? (mode == 3 ? 17 : 32) : (mode == 3 ? 9 : 17);
                ASSERT_EQ(p - stream.data(), length);
            }
}

TEST(SideInfo, BlockTypeZeroWithWindowSwitchingStopsAtOnce) {
    Random random(62);
    for (int id : {0, 1})
        for (int mode : {0, 3})
            for (int bad = 0; bad < (id ? 2 : 1) * (mode == 3 ? 1 : 2); ++bad)
                for (int round = 0; round < 20; ++round) {
                    const CodedSideInfo coded(random, id, mode, bad);
                    const auto bytes = coded.bits.bytes(0, 3);
                    Guarded<Qor8u> stream{std::span<const Qor8u>(bytes)};
                    SideInfo actual = oldSideInfo();
                    Qor8u* p = stream.data();
                    EXPECT_EQ(unpack(&p, actual, header(id, mode)), qorStsMp3SideInfoErr);
                    EXPECT_EQ(p - stream.data(), static_cast<long>(coded.badBit / 8));
                    expectEqual(actual, coded.expected, "up to the block type");
                }
}

TEST(SideInfo, ChecksInOrderWithNothingWritten) {
    Random random(63);
    const CodedSideInfo coded(random, 1, 0);
    auto bytes = coded.bits.bytes(0, 3);
    struct Case {
        int id, layer, mode;
        QorStatus expected;
    };
    const Case cases[] = {
        {2, 1, 0, qorStsMp3FrameHeaderErr}, {-1, 1, 0, qorStsMp3FrameHeaderErr},
        {1, 0, 0, qorStsMp3FrameHeaderErr}, {1, 2, 0, qorStsMp3FrameHeaderErr},
        {0, 3, 0, qorStsMp3FrameHeaderErr}, {1, 1, -1, qorStsMp3FrameHeaderErr},
        {0, 1, 4, qorStsMp3FrameHeaderErr},
    };
    for (const Case& c : cases) {
        SideInfo info = oldSideInfo();
        auto h = header(c.id, c.mode);
        h.layer = c.layer;
        Qor8u* p = bytes.data();
        EXPECT_EQ(unpack(&p, info, h), c.expected) << c.id << c.layer << c.mode;
        EXPECT_EQ(p, bytes.data());
        expectEqual(info, oldSideInfo(), "failed check");
    }
    // Pointers before the header: with each one null a bad header is not noticed.
    for (int null = 0; null < 7; ++null) {
        SideInfo info = oldSideInfo();
        auto h = header(5, 9);
        Qor8u* p = null == 6 ? nullptr : bytes.data();
        EXPECT_EQ(
            qorsUnpackSideInfo_MP3(
                null == 0 ? nullptr : &p, null == 1 ? nullptr : info.records.data(),
                null == 2 ? nullptr : &info.mainDataBegin, null == 3 ? nullptr : &info.privateBits,
                null == 4 ? nullptr : info.scfsi.data(), null == 5 ? nullptr : &h),
            qorStsNullPtrErr)
            << null;
        expectEqual(info, oldSideInfo(), "null pointer");
    }
}

TEST(SideInfo, LayerTwoParsesInTheHeaderOnly) {
    Qor8u bytes[40] = {0xFF, 0xFD, 0x90, 0x00};  // layer code 2, no CRC
    Qor8u* p = bytes;
    QorMP3FrameHeader h;
    EXPECT_EQ(qorsUnpackFrameHeader_MP3(&p, &h), qorStsNoErr);
    EXPECT_EQ(h.layer, 2);
    SideInfo info = oldSideInfo();
    EXPECT_EQ(unpack(&p, info, h), qorStsMp3FrameHeaderErr);
    EXPECT_EQ(p, bytes + 4);
}

// --- scale factors ----------------------------------------------------------------------------

constexpr int kSlen[2][16] = {{0, 0, 0, 0, 3, 1, 1, 1, 2, 2, 2, 3, 3, 3, 4, 4},
                              {0, 1, 2, 3, 0, 1, 2, 3, 1, 2, 3, 1, 2, 3, 2, 3}};
// ISO 13818-3: numbers of scale factors, [row][long, short, mixed][partition].
constexpr int kPartitions[6][3][4] = {
    {{6, 5, 5, 5}, {9, 9, 9, 9}, {6, 9, 9, 9}},
    {{6, 5, 7, 3}, {9, 9, 12, 6}, {6, 9, 12, 6}},
    {{11, 10, 0, 0}, {18, 18, 0, 0}, {15, 18, 0, 0}},
    {{7, 7, 7, 0}, {12, 12, 12, 0}, {6, 15, 12, 0}},
    {{6, 6, 6, 3}, {12, 9, 9, 6}, {6, 12, 9, 6}},
    {{8, 8, 5, 0}, {15, 12, 9, 0}, {6, 18, 9, 0}},
};

struct Partitioning {
    int row, lengths[4], preflag;
};
Partitioning partitioning(int c, bool intensity) {
    if (!intensity) {
        if (c < 400) return {0, {(c >> 4) / 5, (c >> 4) % 5, (c & 15) >> 2, c & 3}, 0};
        if (c < 500) {
            const int d = c - 400;
            return {1, {(d >> 2) / 5, (d >> 2) % 5, d & 3, 0}, 0};
        }
        return {2, {(c - 500) / 3, (c - 500) % 3, 0, 0}, 1};
    }
    const int e = c >> 1;
    if (e < 180) return {3, {e / 36, e % 36 / 6, e % 36 % 6, 0}, 0};
    if (e < 244) {
        const int t = e - 180;
        return {4, {t >> 4, (t & 15) >> 2, t & 3, 0}, 0};
    }
    return {5, {(e - 244) / 3, (e - 244) % 3, 0, 0}, 0};
}

struct Granule {
    QorMP3SideInfo side = filled<QorMP3SideInfo>(0);
    QorMP3FrameHeader head = header(1, 0);
    std::array<Qor32s, 4> scfsi{};
    int granule = 0, channel = 0;
};

// Reads by the standard's syntax into `out`, which keeps what is not written.
void unpackByTheBook(BitReader& reader, Granule& g, std::vector<Qor8s>& out) {
    const auto read = [&](int from, int count, int width) {
        for (int i = from; i < from + count; ++i) out[i] = static_cast<Qor8s>(reader.get(width));
    };
    const auto zeros = [&](int from) { out[from] = out[from + 1] = out[from + 2] = 0; };
    const bool isShort = g.side.block_type == 2;
    if (isShort) g.side.mixed_block_flag &= 1;
    const bool mixed = isShort && g.side.mixed_block_flag;
    if (g.head.id == 1) {
        const int slen1 = kSlen[0][g.side.scalefac_compress];
        const int slen2 = kSlen[1][g.side.scalefac_compress];
        out[21] = 0;
        if (isShort) {
            const int first = mixed ? 17 : 18;
            read(0, first, slen1);
            read(first, 18, slen2);
            zeros(first + 18);
        } else {
            const int start[5] = {0, 6, 11, 16, 21};
            for (int k = 0; k < 4; ++k)
                if (g.granule == 0 || g.scfsi[k] == 0)
                    read(start[k], start[k + 1] - start[k], k < 2 ? slen1 : slen2);
        }
        return;
    }
    const bool intensity = (g.head.mode_extension & 1) && g.channel == 1;
    const Partitioning p = partitioning(g.side.scalefac_compress, intensity);
    g.side.preflag = p.preflag;
    int at = 0;
    for (int k = 0; k < 4; ++k) {
        const int count = kPartitions[p.row][mixed ? 2 : isShort ? 1 : 0][k];
        read(at, count, p.lengths[k]);
        for (int i = at; intensity && i < at + count; ++i)
            if (out[i] == (1 << p.lengths[k]) - 1) out[i] = static_cast<Qor8s>(-out[i]);
        at += count;
    }
    zeros(at);
}

QorStatus unpack(Qor8u** p, Qor32s* offset, Qor8s* out, Granule& g) {
    return qorsUnpackScaleFactors_MP3_1u8s(p, offset, out, &g.side, g.scfsi.data(), &g.head,
                                           g.granule, g.channel);
}

// Runs one granule over random bits at any bit offset and compares everything with the book.
void expectByTheBook(Random& random, const Granule& g) {
    for (int round = 0; round < 3; ++round) {
        const int offset = static_cast<int>(random.integer(0, 7));
        auto bytes = random.integers<Qor8u>(40, 0, 255);
        if (round == 0) bytes.assign(40, 0xFF);  // all illegal positions
        const auto before = random.integers<Qor8s>(39, -128, 127);
        auto expected = before;
        Granule expectedGranule = g, actual = g;
        BitReader reader(bytes, offset);
        unpackByTheBook(reader, expectedGranule, expected);
        const std::size_t end = reader.position();

        bytes.resize((end + 7) / 8 + 3);
        Guarded<Qor8u> stream{std::span<const Qor8u>(bytes)};
        Guarded<Qor8s> out{std::span<const Qor8s>(before)};
        Qor8u* p = stream.data();
        Qor32s position = offset;
        ASSERT_EQ(unpack(&p, &position, out.data(), actual), qorStsNoErr);
        ASSERT_EQ(out.copy(), expected)
            << "id " << g.head.id << " type " << g.side.block_type << " mixed "
            << g.side.mixed_block_flag << " compress " << g.side.scalefac_compress;
        ASSERT_EQ((p - stream.data()) * 8 + position, static_cast<long>(end));
        ASSERT_LE(position, 7);
        ASSERT_EQ(words(actual.side), words(expectedGranule.side));
    }
}

Granule randomGranule(Random& random, int id) {
    Granule g;
    g.side = filled<QorMP3SideInfo>(static_cast<Qor32s>(random.integer(2, 9)));
    g.side.block_type = static_cast<Qor32s>(random.integer(0, 3));
    g.side.mixed_block_flag = static_cast<Qor32s>(random.integer(0, 3));
    g.head = filled<QorMP3FrameHeader>(static_cast<Qor32s>(random.integer(-9, 9)));
    g.head.id = id;
    g.head.mode_extension = static_cast<Qor32s>(random.integer(0, 3));
    for (Qor32s& flag : g.scfsi) flag = static_cast<Qor32s>(random.integer(-1, 1) * 3);
    g.granule = static_cast<int>(random.integer(0, 1));
    g.channel = static_cast<int>(random.integer(0, 1));
    return g;
}

TEST(ScaleFactors, Mpeg1EveryCompressionAndBlock) {
    Random random(64);
    for (int compress = 0; compress < 16; ++compress)
        for (int round = 0; round < 20; ++round) {
            Granule g = randomGranule(random, 1);
            g.side.scalefac_compress = compress;
            g.head.mode_extension = static_cast<Qor32s>(random.integer(-2, 5));  // not tested here
            expectByTheBook(random, g);
        }
}

TEST(ScaleFactors, LowSamplingFrequenciesEveryCompressionAndBlock) {
    Random random(65);
    for (int id : {0, 2, -1})  // whatever is not 1 is the extension
        for (int compress = 0; compress < 512; ++compress)
            for (int round = 0; round < (id ? 1 : 3); ++round) {
                Granule g = randomGranule(random, id);
                g.side.scalefac_compress = compress;
                expectByTheBook(random, g);
            }
}

TEST(ScaleFactors, SharedGroupsOfTheSecondGranuleReadNothing) {
    Granule g;
    g.side.scalefac_compress = 15;
    g.granule = 1;
    g.scfsi = {1, 1, 1, 1};
    std::array<Qor8u, 8> bytes;
    bytes.fill(0xFF);
    std::array<Qor8s, 39> out;
    for (int i = 0; i < 39; ++i) out[i] = static_cast<Qor8s>(i + 1);
    Qor8u* p = bytes.data();
    Qor32s offset = 5;
    EXPECT_EQ(unpack(&p, &offset, out.data(), g), qorStsNoErr);
    EXPECT_EQ(p, bytes.data());
    EXPECT_EQ(offset, 5);
    for (int i = 0; i < 39; ++i) EXPECT_EQ(out[i], i == 21 ? 0 : i + 1);
}

TEST(ScaleFactors, WidthZeroStoresZerosWithoutReading) {
    for (int type : {0, 2})
        for (int mixed : {0, 1}) {
            Granule g;
            g.side.block_type = type;
            g.side.mixed_block_flag = mixed;
            std::array<Qor8u, 4> bytes;
            bytes.fill(0xFF);
            std::array<Qor8s, 39> out;
            out.fill(-1);
            Qor8u* p = bytes.data();
            Qor32s offset = 0;
            EXPECT_EQ(unpack(&p, &offset, out.data(), g), qorStsNoErr);
            const int written = type == 0 ? 22 : mixed ? 38 : 39;
            for (int i = 0; i < 39; ++i) EXPECT_EQ(out[i], i < written ? 0 : -1) << i;
            EXPECT_EQ(p, bytes.data());
            EXPECT_EQ(offset, 0);
        }
}

TEST(ScaleFactors, ChangesTheRecord) {
    struct Case {
        int id, modeExtension, channel, compress, preflagBefore, type, mixedBefore;
        int preflag, mixed;
    };
    const Case cases[] = {
        {0, 1, 1, 0, 1, 0, 0, 0, 0},    // intensity, row 3, all lengths 0
        {0, 0, 0, 500, 0, 0, 0, 1, 0},  // row 2
        {0, 1, 0, 500, 0, 0, 0, 1, 0},  // the first channel is never intensity-coded
        {0, 1, 1, 500, 1, 0, 0, 0, 0}, {0, 2, 1, 511, 0, 0, 0, 1, 0},
        {0, 0, 1, 499, 1, 0, 3, 0, 3},  // only short blocks are reduced
        {0, 0, 0, 0, 0, 2, 3, 0, 1},   {0, 0, 0, 0, 0, 2, 2, 0, 0},
        {1, 0, 0, 0, 1, 2, 3, 1, 1},  // id 1 keeps preflag
        {1, 0, 0, 0, 0, 1, 3, 0, 3},
    };
    for (const Case& c : cases) {
        Granule g;
        g.head = header(c.id, 0, c.modeExtension);  // mode has no say
        g.side.scalefac_compress = c.compress;
        g.side.preflag = c.preflagBefore;
        g.side.block_type = c.type;
        g.side.mixed_block_flag = c.mixedBefore;
        g.channel = c.channel;
        std::array<Qor8u, 40> bytes{};
        std::array<Qor8s, 39> out{};
        Qor8u* p = bytes.data();
        Qor32s offset = 0;
        EXPECT_EQ(unpack(&p, &offset, out.data(), g), qorStsNoErr);
        EXPECT_EQ(g.side.preflag, c.preflag) << c.compress;
        EXPECT_EQ(g.side.mixed_block_flag, c.mixed) << c.compress;
    }
}

TEST(ScaleFactors, ChecksInOrderWithNothingChanged) {
    struct Case {
        int offset, granule, channel, id, compress, modeExtension;
        QorStatus expected;
    };
    const Case cases[] = {
        {8, 0, 0, 1, 0, 0, qorStsBadArgErr},
        {-1, 0, 0, 1, 0, 0, qorStsBadArgErr},
        {0, 2, 0, 1, 0, 0, qorStsBadArgErr},
        {0, -1, 0, 1, 0, 0, qorStsBadArgErr},
        {0, 0, 2, 1, 0, 0, qorStsBadArgErr},
        {0, 0, -1, 1, 0, 0, qorStsBadArgErr},
        {8, 0, 0, 1, 16, 0, qorStsBadArgErr},
        {0, 2, 0, 0, 512, 4, qorStsBadArgErr},
        {0, 0, 5, 0, 0, 4, qorStsBadArgErr},
        {0, 0, 0, 1, 16, 0, qorStsMp3SideInfoErr},
        {0, 0, 0, 1, -1, 0, qorStsMp3SideInfoErr},
        {0, 0, 0, 0, 512, 0, qorStsMp3SideInfoErr},
        {0, 0, 0, 0, -1, 4, qorStsMp3SideInfoErr},
        {0, 0, 0, 7, 512, 4, qorStsMp3SideInfoErr},
        {0, 0, 0, 0, 0, 4, qorStsMp3FrameHeaderErr},
        {0, 0, 0, 0, 511, -1, qorStsMp3FrameHeaderErr},
        {0, 0, 0, 2, 16, 4, qorStsMp3FrameHeaderErr},
        {0, 0, 0, 1, 15, 4, qorStsNoErr},
        {7, 1, 1, 0, 511, 3, qorStsNoErr},
    };
    std::array<Qor8u, 40> bytes{};
    for (const Case& c : cases) {
        Granule g;
        g.side = filled<QorMP3SideInfo>(3);
        g.side.block_type = 2;
        g.side.scalefac_compress = c.compress;
        g.head = header(c.id, 0, c.modeExtension);
        g.granule = c.granule;
        g.channel = c.channel;
        const Granule before = g;
        std::array<Qor8s, 39> out;
        out.fill(-9);
        const auto outBefore = out;
        Qor8u* p = bytes.data();
        Qor32s offset = c.offset;
        EXPECT_EQ(unpack(&p, &offset, out.data(), g), c.expected) << c.id << ' ' << c.compress;
        if (c.expected == qorStsNoErr) continue;
        EXPECT_EQ(words(g.side), words(before.side));
        EXPECT_EQ(out, outBefore);
        EXPECT_EQ(p, bytes.data());
        EXPECT_EQ(offset, c.offset);
    }
    for (int null = 0; null < 7; ++null) {
        Granule g;
        std::array<Qor8s, 39> out{};
        Qor8u* p = null == 6 ? nullptr : bytes.data();
        Qor32s offset = 8;  // bad as well
        EXPECT_EQ(qorsUnpackScaleFactors_MP3_1u8s(
                      null == 0 ? nullptr : &p, null == 1 ? nullptr : &offset,
                      null == 2 ? nullptr : out.data(), null == 3 ? nullptr : &g.side,
                      null == 4 ? nullptr : g.scfsi.data(), null == 5 ? nullptr : &g.head, 9, 9),
                  qorStsNullPtrErr)
            << null;
    }
}

}  // namespace
}  // namespace qorac
