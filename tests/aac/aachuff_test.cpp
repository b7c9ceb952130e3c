#include "aac/aachuff.h"

#include <algorithm>
#include <array>
#include <vector>

#include "aac/aachufftbl.h"
#include "gmock/gmock.h"
#include "reference/aacstream.h"
#include "reference/bitwriter.h"
#include "support/memory.h"
#include "support/random.h"

namespace qorac {
namespace {

using reference::BitWriter;
using reference::SpectrumBook;
using reference::spectrumBook;
using test::Guarded;
using test::Random;

// --- tables -----------------------------------------------------------------------------------

struct Walk {
    int leaf, entry;
};

// Follows a whole code word through a packed tree, bit by bit.
template <typename Entry>
Walk follow(const Entry* tree, const HuffmanCode& code) {
    int node = 0;
    for (int bit = code.length - 1; bit >= 0; --bit) {
        EXPECT_EQ(tree[node] & 1, 0);
        node += (code.word >> bit & 1) != 0 ? tree[node] >> 1 : 1;
    }
    return {tree[node], node};
}

TEST(PackedTrees, ScaleFactorLeavesHoldTheIndex) {
    for (int i = 0; i < 121; ++i)
        EXPECT_EQ(follow(_pHfTableScf.data(), kScaleFactorCodes[i]).leaf, i << 1 | 1);
}

TEST(PackedTrees, SpectrumLeavesHoldTheTuple) {
    for (int codeBook = 1; codeBook <= 11; ++codeBook) {
        const SpectrumBook book = spectrumBook(codeBook);
        const CbParam& param = _pCbParam_AAC[std::size_t(codeBook)];
        EXPECT_EQ(param.codeBook, codeBook);
        EXPECT_EQ(param.isUnsigned, book.isUnsigned() ? 1 : 0);
        EXPECT_EQ(param.tupleSize, book.tupleSize);
        const int base = book.largest - book.lowest + 1;
        const int width = book.tupleSize == 4 ? 3 : 6;
        double kraft = 0;
        int last = 0;
        for (std::size_t i = 0; i < book.codes.size(); ++i) {
            const Walk walk = follow(param.pTable, book.codes[i]);
            EXPECT_EQ(walk.leaf & 3, 1);
            int index = 0;
            for (int k = 0; k < book.tupleSize; ++k) {
                int value = walk.leaf >> (2 + k * width) & ((1 << width) - 1);
                if (value >= 1 << (width - 1)) value -= 1 << width;
                index = index * base + value - book.lowest;
            }
            EXPECT_EQ(index, int(i)) << "book " << codeBook;
            kraft += 1.0 / (1 << book.codes[i].length);
            last = std::max(last, walk.entry);
        }
        EXPECT_EQ(kraft, 1.0);
        EXPECT_EQ(last, int(2 * book.codes.size()) - 2);
    }
    for (const int codeBook : {0, 12, 13, 14, 15}) {
        const CbParam& param = _pCbParam_AAC[std::size_t(codeBook)];
        EXPECT_EQ(param.tupleSize, 0);
        EXPECT_EQ(param.isUnsigned, 0);
        EXPECT_EQ(param.pTable, nullptr);
    }
}

// --- coefficients -----------------------------------------------------------------------------

constexpr Qor32s kUntouched = 0x55555555;

struct Decoded {
    QorStatus status;
    std::vector<Qor32s> values;
    std::size_t bits;
};

// Decodes from a buffer that ends three bytes behind the last bit written.
Decoded decodeSection(const BitWriter& writer, int start, int codeBook, std::size_t len) {
    Guarded<Qor8u> stream{std::span<const Qor8u>(writer.bytes(3))};
    Guarded<Qor32s> values(len);
    std::fill_n(values.data(), len, kUntouched);
    Qor8u* p = stream.data();
    Qor32s offset = start;
    const QorStatus status =
        ownsDecodeSpecHuf_AAC(&p, &offset, values.data(), Qor32s(len), codeBook);
    return {status, values.copy(), std::size_t(p - stream.data()) * 8 + std::size_t(offset)};
}

TEST(SpectrumCodes, EveryTupleOfEveryBookWithEverySign) {
    for (int codeBook = 1; codeBook <= 11; ++codeBook) {
        const SpectrumBook book = spectrumBook(codeBook);
        const int largest = codeBook == 11 ? 15 : book.largest;
        std::vector<int> values;
        std::array<int, 4> tuple{};
        const auto all = [&](const auto& self, int i) -> void {
            if (i == book.tupleSize) {
                values.insert(values.end(), tuple.begin(), tuple.begin() + i);
                return;
            }
            for (int v = -largest; v <= largest; ++v) {
                tuple[std::size_t(i)] = v;
                self(self, i + 1);
            }
        };
        all(all, 0);
        for (int start = 0; start < 8; ++start) {
            BitWriter writer;
            writer.put(0, start);
            for (std::size_t i = 0; i < values.size(); i += std::size_t(book.tupleSize))
                reference::putTuple(writer, codeBook, &values[i]);
            const Decoded decoded = decodeSection(writer, start, codeBook, values.size());
            EXPECT_EQ(decoded.status, qorStsNoErr);
            EXPECT_EQ(decoded.values, values) << "book " << codeBook << " offset " << start;
            EXPECT_EQ(decoded.bits, writer.bits());
        }
    }
}

// Each code alone, so that the bound on reading ahead is proved for the last tuple of a section.
TEST(SpectrumCodes, EachCodeAloneReadsNoFurtherThanThreeBytesBehind) {
    for (int codeBook = 1; codeBook <= 11; ++codeBook) {
        const SpectrumBook book = spectrumBook(codeBook);
        for (const HuffmanCode& code : book.codes) {
            BitWriter plain;
            reference::putCode(plain, code);
            // Sign bits and escapes are at most 4 and 42 bits; zeros are as good as any.
            BitWriter padded = plain;
            padded.put(0, 24);
            padded.put(0, 24);
            Decoded first = decodeSection(padded, 0, codeBook, std::size_t(book.tupleSize));
            ASSERT_EQ(first.status, qorStsNoErr);
            BitWriter exact = plain;
            for (std::size_t i = plain.bits(); i < first.bits; ++i) exact.put(0, 1);
            const Decoded again = decodeSection(exact, 0, codeBook, std::size_t(book.tupleSize));
            EXPECT_EQ(again.values, first.values);
            EXPECT_EQ(again.bits, exact.bits());
        }
    }
}

TEST(Escapes, EveryMagnitude) {
    Random random(1);
    std::vector<int> values;
    for (int magnitude = 16; magnitude <= 8191; ++magnitude) {
        values.push_back(random.chance(0.5) ? magnitude : -magnitude);
        values.push_back(random.chance(0.5) ? int(random.integer(-8191, 8191)) : 0);
        if (random.chance(0.5)) std::swap(values.end()[-1], values.end()[-2]);
    }
    BitWriter writer;
    for (std::size_t i = 0; i < values.size(); i += 2) reference::putTuple(writer, 11, &values[i]);
    const Decoded decoded = decodeSection(writer, 0, 11, values.size());
    EXPECT_EQ(decoded.status, qorStsNoErr);
    EXPECT_EQ(decoded.values, values);
    EXPECT_EQ(decoded.bits, writer.bits());
}

// A pair with an escape on one side or both, the escape being `ones` ones, a zero and ones.
void putEscapes(BitWriter& writer, bool first, bool second, int ones) {
    const int y = first ? 16 : 0, z = second ? 16 : 0;
    reference::putCode(writer, kSpectrumCodes11[17 * y + z]);
    if (first) writer.put(0, 1);
    if (second) writer.put(1, 1);
    for (int i = 0; i < (first ? 1 : 0) + (second ? 1 : 0); ++i) {
        for (int k = 0; k < ones; ++k) writer.put(1, 1);
        writer.put(0, 1);
        writer.put(0xFFFFFF, 4 + ones);
    }
}

TEST(Escapes, EightOnesAreTheLongest) {
    BitWriter longest;
    putEscapes(longest, true, true, 8);
    const Decoded decoded = decodeSection(longest, 0, 11, 2);
    EXPECT_EQ(decoded.status, qorStsNoErr);
    EXPECT_THAT(decoded.values, testing::ElementsAre(8191, -8191));

    for (const bool first : {false, true}) {
        BitWriter writer;
        writer.put(0, 5);
        int zeros[2] = {0, 0};
        reference::putTuple(writer, 11, zeros);
        putEscapes(writer, first, !first, 9);
        const Decoded refused = decodeSection(writer, 5, 11, 4);
        EXPECT_EQ(refused.status, qorStsAacQuantMaxErr);
        EXPECT_EQ(refused.bits, 5u);  // the cursor stays at the start of the section
        EXPECT_THAT(refused.values, testing::ElementsAre(0, 0, kUntouched, kUntouched));
    }
}

// The stream ends three bytes behind the ninth one of a refused escape.
TEST(Escapes, ARefusedEscapeReadsNoFurtherThanThreeBytesBehind) {
    for (int start = 0; start < 8; ++start) {
        BitWriter writer;
        writer.put(0, start);
        reference::putCode(writer, kSpectrumCodes11[17 * 16 + 16]);
        writer.put(0, 2);
        writer.put(0x1FF, 9);
        EXPECT_EQ(decodeSection(writer, start, 11, 64).status, qorStsAacQuantMaxErr);
    }
}

TEST(SpectrumCodes, AnEmptySectionReadsNothing) {
    Guarded<Qor8u> stream(1);
    Qor8u* p = stream.data() + 1;
    Qor32s offset = 3;
    Qor32s value = 7;
    for (int codeBook = 1; codeBook <= 11; ++codeBook)
        EXPECT_EQ(ownsDecodeSpecHuf_AAC(&p, &offset, &value, 0, codeBook), qorStsNoErr);
    EXPECT_EQ(p, stream.data() + 1);
    EXPECT_EQ(offset, 3);
    EXPECT_EQ(value, 7);
}

// --- scale factors ----------------------------------------------------------------------------

// The two decoders side by side: 13818-7 first.
using ScaleFactorDecoder = decltype(&ownsDecodeScalefactor_AAC_1u16s);
constexpr ScaleFactorDecoder kDecoders[] = {ownsDecodeScalefactor_AAC_1u16s,
                                            ownsDecodeScalefactor_AAC_MPEG4_1u16s};

// Decodes the bands of one group that has a section per band.
struct Gains {
    QorStatus status;
    std::vector<Qor16s> values;
    std::size_t bits;
};

Gains decodeGains(ScaleFactorDecoder decoder, const BitWriter& writer, int start,
                  const std::vector<Qor8u>& codeBooks, Qor32s globalGain) {
    Guarded<Qor8u> stream{std::span<const Qor8u>(writer.bytes(3))};
    std::vector<Qor8u> sectEnd(codeBooks.size());
    for (std::size_t i = 0; i < sectEnd.size(); ++i) sectEnd[i] = Qor8u(i + 1);
    const Qor32s numSec = Qor32s(codeBooks.size());
    Guarded<Qor16s> values(codeBooks.size());
    for (Qor16s& value : values.span()) value = 0x5A5A;
    Qor8u* p = stream.data();
    Qor32s offset = start;
    const QorStatus status = decoder(&p, &offset, values.data(), globalGain, 1, &numSec,
                                     codeBooks.data(), sectEnd.data());
    return {status, values.copy(), std::size_t(p - stream.data()) * 8 + std::size_t(offset)};
}

TEST(ScaleFactors, EveryDifferenceAlone) {
    for (const ScaleFactorDecoder decoder : kDecoders) {
        for (int difference = -60; difference <= 60; ++difference) {
            BitWriter writer;
            writer.put(0, 3);
            reference::putDifference(writer, difference);
            const Gains gains = decodeGains(decoder, writer, 3, {11}, 100);
            EXPECT_EQ(gains.status, qorStsNoErr);
            EXPECT_THAT(gains.values, testing::ElementsAre(100 + difference));
            EXPECT_EQ(gains.bits, writer.bits());
        }
    }
}

TEST(ScaleFactors, RangeOfARunningScaleFactor) {
    struct Case {
        int globalGain, difference;
        QorStatus status;
    };
    for (const ScaleFactorDecoder decoder : kDecoders) {
        for (const Case& c :
             {Case{0, -1, qorStsAacScaleFactorErr}, Case{1, -1, qorStsNoErr},
              Case{255, 0, qorStsNoErr}, Case{254, 1, qorStsNoErr},
              Case{255, 1, qorStsAacScaleFactorErr}, Case{196, 60, qorStsAacScaleFactorErr}}) {
            BitWriter writer;
            writer.put(0, 6);
            reference::putDifference(writer, 0);
            reference::putDifference(writer, c.difference);
            const Gains gains = decodeGains(decoder, writer, 6, {1, 1}, c.globalGain);
            EXPECT_EQ(gains.status, c.status);
            EXPECT_EQ(gains.values[0], c.globalGain);
            if (c.status != qorStsNoErr) {
                EXPECT_EQ(gains.values[1], 0x5A5A);
                EXPECT_EQ(gains.bits, 6u);  // the cursor stays at the start of the stage
            }
        }
    }
}

// Positions run apart from scale factors, through both intensity books, and have no range.
TEST(ScaleFactors, IntensityPositions) {
    for (const ScaleFactorDecoder decoder : kDecoders) {
        BitWriter writer;
        const std::vector<Qor8u> codeBooks{14, 1, 15, 0, 14, 15, 2};
        for (const int difference : {-60, 5, -60, -60, -60, 1})
            reference::putDifference(writer, difference);
        const Gains gains = decodeGains(decoder, writer, 0, codeBooks, 90);
        EXPECT_EQ(gains.status, qorStsNoErr);
        EXPECT_THAT(gains.values, testing::ElementsAre(-60, 95, -120, 0, -180, -240, 96));
    }
}

TEST(ScaleFactors, CodeBooksThatAreRefused) {
    BitWriter writer;
    writer.put(0, 32);
    for (const ScaleFactorDecoder decoder : kDecoders)
        EXPECT_EQ(decodeGains(decoder, writer, 0, {1, 12}, 90).status, qorStsAacCodebookErr);
    EXPECT_EQ(decodeGains(kDecoders[0], writer, 0, {1, 13}, 90).status, qorStsAacCodebookErr);
    EXPECT_EQ(decodeGains(kDecoders[1], writer, 0, {1, 13}, 90).status, qorStsNoErr);
}

// The first noise band sets the scale factor that spectrum bands go on from, outside the range too;
// later ones add a difference and are tested.
TEST(ScaleFactors, NoiseSharesTheRunningScaleFactor) {
    struct Case {
        int globalGain, raw, second, third;
        std::vector<Qor16s> expected;
        QorStatus status;
    };
    const Case cases[] = {
        {100, 346, 3, -7, {0, 100, 103, 96}, qorStsNoErr},
        {0, 0, 0, 0, {0, -346, 0x5A5A, 0x5A5A}, qorStsAacScaleFactorErr},
        {255, 511, 0, 0, {0, 420, 0x5A5A, 0x5A5A}, qorStsAacScaleFactorErr},
        {255, 347, -1, 0, {0, 256, 255, 255}, qorStsNoErr},
    };
    for (const Case& c : cases) {
        for (int start = 0; start < 8; ++start) {
            BitWriter writer;
            writer.put(0, start);
            writer.put(Qor32u(c.raw), 9);
            reference::putDifference(writer, c.second);
            reference::putDifference(writer, c.third);
            const Gains gains =
                decodeGains(kDecoders[1], writer, start, {0, 13, 13, 4}, c.globalGain);
            EXPECT_EQ(gains.status, c.status);
            EXPECT_EQ(gains.values, c.expected);
        }
    }
}

TEST(ScaleFactors, AStageWithoutCodesReadsNothing) {
    Guarded<Qor8u> stream(1);
    for (const ScaleFactorDecoder decoder : kDecoders) {
        Qor8u* p = stream.data() + 1;
        Qor32s offset = 5;
        const Qor32s numSec = 1;
        const Qor8u codeBook = 0, end = 3;
        std::array<Qor16s, 3> values{1, 2, 3};
        EXPECT_EQ(decoder(&p, &offset, values.data(), 100, 1, &numSec, &codeBook, &end),
                  qorStsNoErr);
        EXPECT_THAT(values, testing::ElementsAre(0, 0, 0));
        EXPECT_EQ(p, stream.data() + 1);
        EXPECT_EQ(offset, 5);
    }
}

}  // namespace
}  // namespace qorac
