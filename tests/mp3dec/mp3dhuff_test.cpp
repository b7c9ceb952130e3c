#include <algorithm>
#include <array>
#include <cstring>
#include <functional>
#include <vector>

#include "frame/mp3sfbtbl.h"
#include "gmock/gmock.h"
#include "qorac.h"
#include "reference/bits.h"
#include "reference/huffman.h"
#include "support/memory.h"
#include "support/random.h"

namespace qorac {
namespace {

using reference::Bits;
using reference::RegionEnds;
using test::Guarded;
using test::Random;

enum Form { kPlain, kSfb, kSfbMbp };
constexpr Form kForms[] = {kPlain, kSfb, kSfbMbp};

// Band tables as the caller brings them, and the call that gets them.
struct Tables {
    Qor16s longBands[6][23];
    Qor16s shortBands[6][14];
    Qor16s mixed[6][2];

    Tables() {
        std::memcpy(longBands, _qor_pMP3SfbTableLong, sizeof longBands);
        std::memcpy(shortBands, _qor_pMP3SfbTableShort, sizeof shortBands);
        for (int row = 0; row < 6; ++row) {
            mixed[row][0] = row < 3 ? 6 : 8;
            mixed[row][1] = 0;
        }
    }
};

struct Call {
    QorMP3SideInfo side{};
    QorMP3FrameHeader head{};
    int hufSize = 0;
    Tables tables;
    bool withoutTables = false;

    Call() {
        side.part2_3_length = 4095;
        head.id = 1;
        head.layer = 1;
    }

    QorStatus operator()(Form form, Qor8u** p, Qor32s* offset, Qor32s* out, Qor32s* bound) const {
        switch (form) {
            case kPlain:
                return qorsHuffmanDecode_MP3_1u32s(p, offset, out, bound, &side, &head, hufSize);
            case kSfb:
                return qorsHuffmanDecodeSfb_MP3_1u32s(p, offset, out, bound, &side, &head, hufSize,
                                                      withoutTables ? nullptr : tables.longBands);
            default:
                return qorsHuffmanDecodeSfbMbp_MP3_1u32s(
                    p, offset, out, bound, &side, &head, hufSize,
                    withoutTables ? nullptr : tables.longBands,
                    withoutTables ? nullptr : tables.shortBands,
                    withoutTables ? nullptr : tables.mixed);
        }
    }

    // The regions of this block in this form.
    RegionEnds regions(Form form) const {
        const int row = head.id * 3 + head.sampling_frequency;
        const auto& bands = form == kPlain ? _qor_pMP3SfbTableLong[row] : tables.longBands[row];
        if (side.window_switching_flag == 0)
            return {3, bands[side.region0_count + 1],
                    bands[side.region0_count + side.region1_count + 2]};
        int end0;
        if (form != kSfbMbp) {
            end0 = head.id == 1 || side.block_type == 2 ? 36 : 54;
        } else if (side.block_type != 2) {
            end0 = bands[8];
        } else if (side.mixed_block_flag == 0) {
            end0 = 3 * tables.shortBands[row][3];
        } else {
            const auto& windows = tables.shortBands[row];
            end0 = bands[tables.mixed[row][0]];
            int k = 0;
            while (windows[k] * 3 <= end0) ++k;
            // The first band counts twice, every later one three times.
            for (int step = 0; step < tables.mixed[row][1]; ++step) {
                const int j = (step + 1) / 3;
                end0 += windows[k + j] - windows[k + j - 1];
            }
        }
        return {2, end0, 2 * side.big_values};
    }
};

// Decodes `bytes` from bit `offset` with every byte behind the readable ones out of reach, and
// compares values, bound, cursor and status with the reference.
void expectDecoded(const Call& call, Form form, std::vector<Qor8u> bytes, int offset) {
    const std::vector<Qor32s> old(576, -55555);
    const auto expected =
        reference::decodeSpectrum(bytes, offset, old, call.side, call.regions(form), call.hufSize);
    bytes.resize(std::max<std::size_t>((expected.used + 7) / 8 + 3, 4));
    Guarded<Qor8u> stream{std::span<const Qor8u>(bytes)};
    Guarded<Qor32s> out{std::span<const Qor32s>(old)};
    Qor8u* p = stream.data();
    Qor32s position = offset, bound = -7;
    ASSERT_EQ(call(form, &p, &position, out.data(), &bound), expected.status);
    ASSERT_EQ((p - stream.data()) * 8 + position, static_cast<long>(expected.end));
    ASSERT_TRUE(position >= 0 && position <= 7);
    ASSERT_EQ(bound, expected.status == qorStsNoErr ? expected.bound : -7);
    ASSERT_EQ(out.copy(), expected.values);
}

// --- codes ------------------------------------------------------------------------------------

// Every symbol of every table with every sign, the linbits at their ends and in between, in one
// region that fills the granule.
TEST(HuffmanPairs, EveryCodeOfEveryTable) {
    Random random(70);
    for (int table = 0; table < 32; ++table) {
        const int largest = reference::largestValue(table);
        std::vector<int> values;
        for (int v = 0; v <= std::min(largest, 15); ++v) values.push_back(v);
        if (largest > 15) values.insert(values.end(), {16, (15 + largest) / 2, largest});
        std::vector<std::pair<int, int>> pairs;
        for (int x : values)
            for (int y : values)
                for (int signs = 0; signs < 4; ++signs)
                    pairs.emplace_back(signs & 1 ? -x : x, signs & 2 ? -y : y);
        std::shuffle(pairs.begin(), pairs.end(), std::mt19937(table));
        Call call;
        call.side.table_select[0] = call.side.table_select[1] = call.side.table_select[2] = table;
        for (std::size_t first = 0; first < pairs.size(); first += 288) {
            const std::size_t count = std::min<std::size_t>(288, pairs.size() - first);
            Bits bits;
            std::vector<Qor32s> expected(576, 0);
            for (std::size_t i = 0; i < count; ++i) {
                const auto [x, y] = pairs[first + i];
                reference::encodePair(bits, table, x, y);
                expected[2 * i] = x;
                expected[2 * i + 1] = y;
            }
            call.side.big_values = static_cast<Qor32s>(count);
            call.hufSize = call.side.part2_3_length = static_cast<int>(bits.size());
            const int offset = static_cast<int>(random.integer(0, 7));
            auto bytes = bits.bytes(offset, 3, random.chance(0.5));
            std::vector<Qor32s> out(576, 9);
            Qor8u* p = bytes.data();
            Qor32s position = offset, bound = 0;
            ASSERT_EQ(call(kPlain, &p, &position, out.data(), &bound), qorStsNoErr) << table;
            if (bits.size() > 0) {
                ASSERT_EQ(out, expected) << table;
            }
            for (Form form : kForms)
                ASSERT_NO_FATAL_FAILURE(expectDecoded(call, form, bytes, offset)) << table;
        }
    }
}

TEST(HuffmanQuads, EveryCodeOfBothTables) {
    for (int table : {0, 1}) {
        Call call;
        call.side.count1table_select = table;
        std::vector<std::array<int, 4>> quads;
        for (int n = 0; n < 81; ++n)
            quads.push_back({n / 27 - 1, n / 9 % 3 - 1, n / 3 % 3 - 1, n % 3 - 1});
        for (int offset = 0; offset < 8; ++offset) {
            std::shuffle(quads.begin(), quads.end(), std::mt19937(offset));
            Bits bits;
            std::vector<Qor32s> expected;
            for (const auto& quad : quads) {
                reference::encodeQuad(bits, table, quad);
                expected.insert(expected.end(), quad.begin(), quad.end());
            }
            expected.resize(576, 0);
            call.hufSize = static_cast<int>(bits.size());
            auto bytes = bits.bytes(offset, 3);
            std::vector<Qor32s> out(576, 9);
            Qor8u* p = bytes.data();
            Qor32s position = offset, bound = 0;
            ASSERT_EQ(call(kSfb, &p, &position, out.data(), &bound), qorStsNoErr);
            ASSERT_EQ(out, expected);
            ASSERT_NO_FATAL_FAILURE(expectDecoded(call, kSfb, bytes, offset));
        }
    }
}

TEST(HuffmanQuads, TableBOfFourOnesIsSilenceInFourBits) {
    Call call;
    call.side.count1table_select = 1;
    call.hufSize = 4;
    Qor8u bytes[4] = {0xF0, 0xFF, 0xFF, 0xFF};
    Qor8u* p = bytes;
    Qor32s offset = 0, bound = 5;
    std::vector<Qor32s> out(576, 3);
    EXPECT_EQ(call(kPlain, &p, &offset, out.data(), &bound), qorStsNoErr);
    EXPECT_THAT(out, testing::Each(0));
    EXPECT_EQ(bound, 0);
    EXPECT_EQ(p, bytes);
    EXPECT_EQ(offset, 4);
}

// --- whole granules ---------------------------------------------------------------------------

Call randomCall(Random& random) {
    Call call;
    const auto pick = [&](int low, int high) {
        return static_cast<Qor32s>(random.integer(low, high));
    };
    call.head.id = pick(0, 1);
    call.head.sampling_frequency = pick(0, 2);
    call.head.mode = pick(-3, 9);  // not looked at, like the rest of the header
    call.side.big_values = random.chance(0.1) ? pick(280, 288) : pick(0, 288);
    call.side.window_switching_flag = pick(0, 1);
    call.side.block_type = call.side.window_switching_flag ? pick(1, 3) : pick(0, 3);
    call.side.mixed_block_flag = pick(0, 1);
    call.side.region0_count = pick(0, 15);
    call.side.region1_count = pick(0, std::min(7, 20 - call.side.region0_count));
    if (call.side.window_switching_flag) call.side.region0_count = pick(-9, 99);  // not tested
    for (Qor32s& table : call.side.table_select) table = pick(0, 31);
    if (call.side.window_switching_flag) call.side.table_select[2] = 99;  // not in use
    call.side.count1table_select = pick(0, 1);
    call.side.part2_3_length = 1 << 20;
    const int row = call.head.id * 3 + call.head.sampling_frequency;
    if (random.chance(0.5)) {  // a caller's own bands; odd ones leave room for their pairs
        const int odd = pick(0, 1), unit = 2 - odd;
        if (odd) call.side.big_values = std::min(call.side.big_values, 286);
        int line = 0;
        for (int b = 1; b < 22; ++b)
            call.tables.longBands[row][b] = static_cast<Qor16s>(line += unit * pick(1, 24 / unit));
        line = 0;
        for (int b = 1; b < 13; ++b)
            call.tables.shortBands[row][b] = static_cast<Qor16s>(line += unit * pick(1, 12 / unit));
    }
    call.tables.mixed[row][0] = static_cast<Qor16s>(pick(0, 12));
    int k = 0;
    const int start = call.tables.longBands[row][call.tables.mixed[row][0]];
    while (k < 13 && call.tables.shortBands[row][k] * 3 <= start) ++k;
    call.tables.mixed[row][1] = static_cast<Qor16s>(pick(0, std::max(0, 3 * (13 - k) + 1)));
    return call;
}

// Encodes random values that fit the block's tables; gives back the bits of the big values.
std::size_t encodeGranule(Random& random, const Call& call, Form form, Bits& bits, int quads) {
    const RegionEnds regions = call.regions(form);
    const int big = 2 * call.side.big_values;
    const int end0 = std::min(regions.end0, big), end1 = std::min(regions.end1, big);
    const int sizes[3] = {end0, end1 - end0, big - end1};
    for (int region = 0; region < regions.count; ++region) {
        const int table = call.side.table_select[region];
        const int largest = reference::largestValue(table);
        const auto value = [&] {
            const int cap = random.chance(0.9) ? std::min(largest, 6) : largest;
            return static_cast<int>(random.integer(-cap, cap));
        };
        for (int pairs = (sizes[region] + 1) / 2; pairs > 0; --pairs) {
            const int x = value();
            reference::encodePair(bits, table, x, value());
        }
    }
    const std::size_t size = bits.size();
    for (int i = 0; i < quads; ++i) {
        std::array<int, 4> quad;
        for (int& v : quad) v = static_cast<int>(random.integer(-1, 1) * random.integer(0, 1));
        reference::encodeQuad(bits, call.side.count1table_select, quad);
    }
    return size;
}

TEST(Huffman, EncodedGranulesWithBudgetsAroundTheirEnd) {
    Random random(71);
    for (int round = 0; round < 600; ++round) {
        Call call = randomCall(random);
        const Form form = kForms[round % 3];
        const int room = (576 - 2 * call.side.big_values + 3) / 4 + 2;
        Bits bits;
        const std::size_t pairs =
            encodeGranule(random, call, form, bits, static_cast<int>(random.integer(0, room)));
        const auto total = static_cast<int>(bits.size());
        const int offset = static_cast<int>(random.integer(0, 7));
        const auto bytes = bits.bytes(offset, 64, random.chance(0.5));
        // The exact size, sizes that cut into a quadruple or leave bits over, and one that ends
        // within the big values.
        for (int size : {total, total - 1, total - 2, total - 3, total + 1, total + 40,
                         static_cast<int>(pairs), static_cast<int>(pairs) - 1}) {
            call.hufSize = std::max(size, 0);
            ASSERT_NO_FATAL_FAILURE(expectDecoded(call, form, bytes, offset)) << "round " << round;
        }
    }
}

TEST(Huffman, RandomBitsWithRandomBudgets) {
    Random random(72);
    for (int round = 0; round < 2000; ++round) {
        Call call = randomCall(random);
        const auto bytes = random.integers<Qor8u>(2500, 0, 255);
        call.hufSize = static_cast<int>(random.chance(0.5) ? random.integer(0, 4095)
                                                           : random.integer(4000, 16000));
        if (random.chance(0.1)) call.side.table_select[round % 3] = round % 2 ? 32 : -1;
        ASSERT_NO_FATAL_FAILURE(
            expectDecoded(call, kForms[round % 3], bytes, static_cast<int>(random.integer(0, 7))))
            << "round " << round;
    }
}

TEST(Huffman, ConstantBits) {
    for (int table = 0; table < 32; ++table)
        for (Qor8u byte : {0x00, 0xFF, 0x55, 0xAA})
            for (int select : {0, 1}) {
                Call call;
                call.side.big_values = 200;
                call.side.region0_count = 5;
                call.side.region1_count = 3;
                call.side.count1table_select = select;
                for (Qor32s& t : call.side.table_select) t = table;
                call.side.part2_3_length = call.hufSize = 12000;
                const std::vector<Qor8u> bytes(2600, byte);
                ASSERT_NO_FATAL_FAILURE(expectDecoded(call, kSfb, bytes, 3)) << table;
            }
}

// --- regions ----------------------------------------------------------------------------------

// Region 0 in ones, the rest in silence: the length of the ones is the end of the region.
TEST(HuffmanRegions, EndOfTheFirstRegion) {
    struct Case {
        Form form;
        int id, type, mixed, bands, steps, expected;
    };
    const Case cases[] = {
        {kSfb, 1, 1, 0, 0, 0, 36},
        {kSfb, 1, 2, 0, 0, 0, 36},
        {kSfb, 1, 2, 1, 0, 0, 36},
        {kSfb, 1, 3, 0, 0, 0, 36},
        {kSfb, 0, 1, 0, 0, 0, 54},
        {kSfb, 0, 3, 1, 0, 0, 54},
        {kSfb, 0, 2, 0, 0, 0, 36},
        {kSfb, 0, 2, 1, 0, 0, 36},
        {kPlain, 0, 1, 0, 0, 0, 54},
        {kPlain, 1, 1, 0, 0, 0, 36},
        {kPlain, 0, 2, 0, 0, 0, 36},
        {kSfbMbp, 1, 1, 0, 9, 9, 36},
        {kSfbMbp, 1, 3, 1, 9, 9, 36},
        {kSfbMbp, 0, 1, 0, 9, 9, 54},
        {kSfbMbp, 1, 2, 0, 9, 9, 36},
        {kSfbMbp, 0, 2, 0, 9, 9, 36},
        {kSfbMbp, 1, 2, 1, 8, 0, 36},
        // 44100 Hz, long boundary 8 is 36; the short widths from boundary 4 on are 4, 6, 8, 10, ...
        {kSfbMbp, 1, 2, 1, 8, 1, 40},
        {kSfbMbp, 1, 2, 1, 8, 2, 44},
        {kSfbMbp, 1, 2, 1, 8, 3, 50},
        {kSfbMbp, 1, 2, 1, 8, 5, 62},
        {kSfbMbp, 1, 2, 1, 8, 6, 70},
        {kSfbMbp, 1, 2, 1, 8, 9, 96},
        {kSfbMbp, 1, 2, 1, 0, 0, 0},
        {kSfbMbp, 1, 2, 1, 0, 1, 4},
        {kSfbMbp, 0, 2, 1, 6, 1, 42},
    };
    for (const Case& c : cases) {
        Call call;
        call.head.id = c.id;
        call.side.window_switching_flag = 1;
        call.side.block_type = c.type;
        call.side.mixed_block_flag = c.mixed;
        call.side.big_values = 60;
        call.side.table_select[0] = 1;  // code 000 is (1, 1), and a zero is a positive sign
        call.tables.mixed[c.id * 3][0] = static_cast<Qor16s>(c.bands);
        call.tables.mixed[c.id * 3][1] = static_cast<Qor16s>(c.steps);
        call.hufSize = 60 * 5;
        std::vector<Qor8u> bytes(64, 0);
        std::vector<Qor32s> out(576, 9);
        Qor8u* p = bytes.data();
        Qor32s offset = 0, bound = 0;
        call.side.count1table_select = 0;
        ASSERT_EQ(call(c.form, &p, &offset, out.data(), &bound), qorStsNoErr);
        const auto ones = std::find(out.begin(), out.begin() + 120, 0) - out.begin();
        EXPECT_EQ(ones, c.expected) << c.form << ' ' << c.id << ' ' << c.type << ' ' << c.steps;
        EXPECT_EQ(call.regions(c.form).end0, c.expected);
    }
}

TEST(HuffmanRegions, LongBlocksTakeBandBoundaries) {
    for (int frequency = 0; frequency < 3; ++frequency)
        for (int id : {0, 1})
            for (int count0 = 0; count0 <= 15; ++count0)
                for (int count1 : {0, 1, 5}) {
                    Call call;
                    call.head.id = id;
                    call.head.sampling_frequency = frequency;
                    call.side.big_values = 288;
                    call.side.region0_count = count0;
                    call.side.region1_count = count1;
                    call.side.table_select[1] = 1;  // silence, ones, silence
                    const auto& bands = _qor_pMP3SfbTableLong[id * 3 + frequency];
                    const int begin = bands[count0 + 1], end = bands[count0 + count1 + 2];
                    call.hufSize = (end - begin) / 2 * 5;
                    std::vector<Qor8u> bytes(400, 0);
                    std::vector<Qor32s> out(576, 9);
                    Qor8u* p = bytes.data();
                    Qor32s offset = 0, bound = 0;
                    ASSERT_EQ(call(kPlain, &p, &offset, out.data(), &bound), qorStsNoErr);
                    ASSERT_EQ(bound, end);
                    for (int i = 0; i < 576; ++i) ASSERT_EQ(out[i], i >= begin && i < end) << i;
                    ASSERT_EQ((p - bytes.data()) * 8 + offset, call.hufSize);
                }
}

TEST(HuffmanRegions, FlagZeroIsLongWhateverTheBlockType) {
    Random random(73);
    const auto bytes = random.integers<Qor8u>(2500, 0, 255);
    for (int type = 1; type <= 3; ++type)
        for (Form form : kForms) {
            Call call;
            call.side.block_type = type;
            call.side.big_values = 100;
            call.side.region0_count = 7;
            call.side.region1_count = 4;
            call.side.table_select[0] = 7;
            call.side.table_select[1] = 5;
            call.side.table_select[2] = 2;
            call.hufSize = 2000;
            ASSERT_NO_FATAL_FAILURE(expectDecoded(call, form, bytes, 0));
        }
}

// --- ends -------------------------------------------------------------------------------------

TEST(HuffmanEnd, NoBits) {
    for (int big : {0, 288})
        for (Form form : kForms) {
            Call call;
            call.side.big_values = big;
            call.withoutTables = true;  // nor are they read
            Qor8u byte = 0;
            Qor8u* p = &byte;  // not read
            Qor32s offset = 6, bound = 77;
            std::vector<Qor32s> out(576, 4);
            EXPECT_EQ(call(form, &p, &offset, out.data(), &bound), qorStsNoErr);
            EXPECT_THAT(out, testing::Each(0));
            EXPECT_EQ(bound, 0);
            EXPECT_EQ(p, &byte);
            EXPECT_EQ(offset, 6);
        }
}

TEST(HuffmanEnd, QuadruplesStartBelow574) {
    // 286: one quadruple at 572. 287 and 288: none, and the budget is passed over.
    for (int big : {285, 286, 287, 288})
        for (int select : {0, 1}) {
            Call call;
            call.side.big_values = big;
            call.side.count1table_select = select;
            call.hufSize = 100;
            std::vector<Qor8u> bytes(32, 0);  // table B: four values of 1, signs positive
            if (select == 0) {
                Bits bits;
                for (int i = 0; i < 12; ++i) reference::encodeQuad(bits, 0, {1, 1, 1, 1});
                bytes = bits.bytes(0, 8);
            }
            std::vector<Qor32s> out(576, 4);
            Qor8u* p = bytes.data();
            Qor32s offset = 0, bound = 0;
            ASSERT_EQ(call(kPlain, &p, &offset, out.data(), &bound), qorStsNoErr);
            const int quads = big == 285 || big == 286 ? 1 : 0, end = 2 * big + 4 * quads;
            for (int i = 0; i < 576; ++i) ASSERT_EQ(out[i], i >= 2 * big && i < end) << big;
            EXPECT_EQ(bound, quads ? end : 0);
            EXPECT_EQ((p - bytes.data()) * 8 + offset, 100);
        }
}

TEST(HuffmanEnd, AQuadrupleThatOverrunsByASignBitIsDropped) {
    for (int select : {0, 1}) {
        Bits bits;
        reference::encodeQuad(bits, select, {1, 0, -1, 0});
        const auto first = static_cast<int>(bits.size());
        reference::encodeQuad(bits, select, {0, 1, 0, -1});
        Call call;
        call.side.count1table_select = select;
        for (int size = first; size <= static_cast<int>(bits.size()); ++size) {
            call.hufSize = size;
            auto bytes = bits.bytes(2, 3);
            std::vector<Qor32s> out(576, 4);
            Qor8u* p = bytes.data();
            Qor32s offset = 2, bound = 0;
            EXPECT_EQ(call(kSfbMbp, &p, &offset, out.data(), &bound), qorStsNoErr);
            const bool whole = size == static_cast<int>(bits.size());
            EXPECT_EQ(bound, whole ? 8 : 3) << size;
            EXPECT_EQ(out[5], whole ? 1 : 0);
            EXPECT_EQ((p - bytes.data()) * 8 + offset, 2 + size);
        }
    }
}

TEST(HuffmanEnd, RegionsThatOverrunAreAnErrorWithTheCursorBehindThem) {
    Call call;
    call.side.big_values = 4;
    call.side.table_select[0] = 1;
    call.side.region0_count = 15;
    call.hufSize = 19;  // of 4 * 5
    std::vector<Qor8u> bytes(8, 0);
    std::vector<Qor32s> out(576, 4);
    Qor8u* p = bytes.data();
    Qor32s offset = 0, bound = -3;
    EXPECT_EQ(call(kPlain, &p, &offset, out.data(), &bound), qorStsErr);
    EXPECT_EQ((p - bytes.data()) * 8 + offset, 20);
    EXPECT_EQ(bound, -3);
    EXPECT_EQ(out[7], 1);
    EXPECT_EQ(out[8], 4);  // the rest stays as it was
}

TEST(HuffmanEnd, TableSelectIsTestedWhereItsRegionBegins) {
    for (int bad = 0; bad < 3; ++bad)
        for (int value : {32, -1, 1 << 30}) {
            Call call;
            call.side.big_values = 288;
            call.side.region0_count = 0;  // lines 0 to 3, 4 to 7, the rest
            call.side.region1_count = 0;
            for (int i = 0; i < 3; ++i) call.side.table_select[i] = i == bad ? value : 1;
            call.hufSize = 4000;
            std::vector<Qor8u> bytes(600, 0);
            std::vector<Qor32s> out(576, 4);
            Qor8u* p = bytes.data();
            Qor32s offset = 0, bound = -3;
            EXPECT_EQ(call(kSfb, &p, &offset, out.data(), &bound), qorStsMp3SideInfoErr);
            for (int i = 0; i < 12; ++i) EXPECT_EQ(out[i], i < 4 * bad ? 1 : 4);
            EXPECT_EQ((p - bytes.data()) * 8 + offset, bad * 10);
            EXPECT_EQ(bound, -3);
            // With empty regions and without bits the fields are tested all the same.
            for (int hufSize : {0, 10}) {
                call.side.big_values = 0;
                call.hufSize = hufSize;
                std::fill(out.begin(), out.end(), 4);
                p = bytes.data();
                offset = 0;
                EXPECT_EQ(call(kSfb, &p, &offset, out.data(), &bound), qorStsMp3SideInfoErr);
                EXPECT_THAT(out, testing::Each(4));
                EXPECT_EQ(p, bytes.data());
                EXPECT_EQ(offset, 0);
                // The third field is in use in long blocks only.
                Call switching = call;
                switching.side.window_switching_flag = 1;
                switching.side.block_type = 2;
                EXPECT_EQ(switching(kSfbMbp, &p, &offset, out.data(), &bound),
                          bad == 2 ? qorStsNoErr : qorStsMp3SideInfoErr);
            }
        }
}

TEST(HuffmanEnd, TablesWithoutCodesTakeNoBits) {
    for (int table : {0, 4, 14}) {
        Call call;
        call.side.big_values = 100;
        for (Qor32s& t : call.side.table_select) t = table;
        call.side.count1table_select = 1;
        call.hufSize = 8;
        std::vector<Qor8u> bytes(8, 0);  // one quadruple of ones
        std::vector<Qor32s> out(576, 4);
        Qor8u* p = bytes.data();
        Qor32s offset = 0, bound = -3;
        EXPECT_EQ(call(kPlain, &p, &offset, out.data(), &bound), qorStsNoErr);
        for (int i = 0; i < 576; ++i) ASSERT_EQ(out[i], i >= 200 && i < 204);
        EXPECT_EQ(bound, 204);
        EXPECT_EQ(p, bytes.data() + 1);
    }
}

// --- checks -----------------------------------------------------------------------------------

struct Fault {
    int step[2];  // place in the order of the Sfb form and of the SfbMbp form
    QorStatus status[2];
    const char* name;
    std::function<void(Call&, Qor32s& offset)> make;
};

const std::vector<Fault>& faults() {
    constexpr QorStatus arg = qorStsBadArgErr, side = qorStsMp3SideInfoErr,
                        head = qorStsMp3FrameHeaderErr;
    static const std::vector<Fault> list = {
        {{2, 2}, {arg, arg}, "offset 8", [](Call&, Qor32s& o) { o = 8; }},
        {{2, 2}, {arg, arg}, "offset -1", [](Call&, Qor32s& o) { o = -1; }},
        {{2, 8}, {arg, side}, "hufSize -1", [](Call& c, Qor32s&) { c.hufSize = -1; }},
        {{2, 8},
         {arg, side},
         "hufSize above part2_3_length",
         [](Call& c, Qor32s&) { c.hufSize = c.side.part2_3_length + 1; }},
        {{3, 4}, {side, side}, "big_values 289", [](Call& c, Qor32s&) { c.side.big_values = 289; }},
        {{3, 4}, {side, side}, "big_values -1", [](Call& c, Qor32s&) { c.side.big_values = -1; }},
        {{4, 5}, {side, side}, "block_type 4", [](Call& c, Qor32s&) { c.side.block_type = 4; }},
        {{4, 5}, {side, side}, "block_type -1", [](Call& c, Qor32s&) { c.side.block_type = -1; }},
        {{5, 6},
         {side, side},
         "flag 2",
         [](Call& c, Qor32s&) { c.side.window_switching_flag = 2; }},
        {{5, 6},
         {side, side},
         "flag -1",
         [](Call& c, Qor32s&) { c.side.window_switching_flag = -1; }},
        {{6, 8}, {side, side}, "count1 2", [](Call& c, Qor32s&) { c.side.count1table_select = 2; }},
        {{6, 8},
         {side, side},
         "count1 -1",
         [](Call& c, Qor32s&) { c.side.count1table_select = -1; }},
        {{7, 3}, {head, head}, "id 2", [](Call& c, Qor32s&) { c.head.id = 2; }},
        {{7, 3}, {head, head}, "id -1", [](Call& c, Qor32s&) { c.head.id = -1; }},
        {{8, 7}, {head, head}, "layer 0", [](Call& c, Qor32s&) { c.head.layer = 0; }},
        {{8, 7}, {head, head}, "layer 2", [](Call& c, Qor32s&) { c.head.layer = 2; }},
        {{8, 7},
         {head, head},
         "frequency 3",
         [](Call& c, Qor32s&) { c.head.sampling_frequency = 3; }},
        {{8, 7},
         {head, head},
         "frequency -1",
         [](Call& c, Qor32s&) { c.head.sampling_frequency = -1; }},
        {{9, 9}, {side, side}, "region0 -1", [](Call& c, Qor32s&) { c.side.region0_count = -1; }},
        {{9, 9}, {side, side}, "region1 -1", [](Call& c, Qor32s&) { c.side.region1_count = -1; }},
        {{9, 9},
         {side, side},
         "regions 21",
         [](Call& c, Qor32s&) { c.side.region0_count = 15, c.side.region1_count = 6; }},
        {{9, 6},
         {side, side},
         "switching without a block type",
         [](Call& c, Qor32s&) { c.side.window_switching_flag = 1, c.side.block_type = 0; }},
    };
    return list;
}

// Every fault alone and every pair of faults that stand at different places: the first one counts,
// and nothing is written.
TEST(HuffmanChecks, InTheOrderOfEachForm) {
    const auto& list = faults();
    std::vector<Qor8u> bytes(700, 0);
    for (Form form : kForms) {
        const int column = form == kSfbMbp ? 1 : 0;
        for (const Fault& first : list)
            for (const Fault& second : list) {
                const bool alone = &first == &second;
                if (!alone && first.step[column] >= second.step[column]) continue;
                Call call;
                Qor32s offset = 0, bound = -3;
                call.side.part2_3_length = 1000;
                call.hufSize = 100;
                second.make(call, offset);
                first.make(call, offset);
                const Qor32s oldOffset = offset;
                std::vector<Qor32s> out(576, 4);
                Qor8u* p = bytes.data();
                EXPECT_EQ(call(form, &p, &offset, out.data(), &bound), first.status[column])
                    << "form " << form << ": " << first.name << ", " << second.name;
                EXPECT_THAT(out, testing::Each(4));
                EXPECT_EQ(p, bytes.data());
                EXPECT_EQ(offset, oldOffset);
                EXPECT_EQ(bound, -3);
            }
    }
}

TEST(HuffmanChecks, LimitsThatPass) {
    std::vector<Qor8u> bytes(700, 0xFF);
    for (Form form : kForms) {
        Call call;
        call.side.part2_3_length = call.hufSize = 100;
        call.side.big_values = 288;
        call.side.region0_count = 15;
        call.side.region1_count = 5;
        std::vector<Qor32s> out(576);
        Qor8u* p = bytes.data();
        Qor32s offset = 7, bound = 0;
        EXPECT_EQ(call(form, &p, &offset, out.data(), &bound), qorStsNoErr);
    }
}

TEST(HuffmanChecks, NullPointersComeFirst) {
    for (Form form : kForms)
        for (int null = 0; null < 7; ++null) {
            Call call;
            call.hufSize = -1;
            call.head.id = 9;
            Qor8u byte = 0;
            Qor8u* p = null == 6 ? nullptr : &byte;
            Qor32s offset = 8, bound = -3;
            std::vector<Qor32s> out(576, 4);
            Qor8u** pp = null == 0 ? nullptr : &p;
            Qor32s* pOffset = null == 1 ? nullptr : &offset;
            Qor32s* pOut = null == 2 ? nullptr : out.data();
            Qor32s* pBound = null == 3 ? nullptr : &bound;
            const QorMP3SideInfo* side = null == 4 ? nullptr : &call.side;
            const QorMP3FrameHeader* head = null == 5 ? nullptr : &call.head;
            const Tables& t = call.tables;
            const QorStatus status =
                form == kPlain
                    ? qorsHuffmanDecode_MP3_1u32s(pp, pOffset, pOut, pBound, side, head, -1)
                : form == kSfb
                    ? qorsHuffmanDecodeSfb_MP3_1u32s(pp, pOffset, pOut, pBound, side, head, -1,
                                                     t.longBands)
                    : qorsHuffmanDecodeSfbMbp_MP3_1u32s(pp, pOffset, pOut, pBound, side, head, -1,
                                                        t.longBands, t.shortBands, t.mixed);
            EXPECT_EQ(status, qorStsNullPtrErr) << form << ' ' << null;
            EXPECT_EQ(bound, -3);
            EXPECT_EQ(offset, 8);
        }
}

}  // namespace
}  // namespace qorac
