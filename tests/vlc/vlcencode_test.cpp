#include <vector>

#include "gmock/gmock.h"
#include "support/memory.h"
#include "support/random.h"
#include "vlc/specs.h"

namespace qorac {
namespace {

using reference::BitWriter;
using test::Book;
using test::DecodeSpec;
using test::EncodeSpec;
using test::Guarded;
using test::Random;
using test::Standard;

QorStatus encode(const Book& book, const Qor16s* pSrc, Qor32s len, Qor8u** pp, Qor32s* pOffset,
                 const QorVLCEncodeSpec* pSpec) {
    return book.standard == Standard::aac
               ? qorsVLCEncodeEscBlock_AAC_16s1u(pSrc, len, pp, pOffset, pSpec)
               : qorsVLCEncodeEscBlock_MP3_16s1u(pSrc, len, book.linbits, pp, pOffset, pSpec);
}

QorStatus count(const Book& book, const Qor16s* pSrc, Qor32s len, Qor32s* pBits,
                const QorVLCEncodeSpec* pSpec) {
    return book.standard == Standard::aac
               ? qorsVLCCountEscBits_AAC_16s32s(pSrc, len, pBits, pSpec)
               : qorsVLCCountEscBits_MP3_16s32s(pSrc, len, book.linbits, pBits, pSpec);
}

// Encodes over random bits in a buffer that holds the bytes of the block and no more, and compares
// with the bits that the syntax asks for; counts them as well.
void checkBlock(const Book& book, const std::vector<Qor16s>& values, int start, Random& random,
                const QorVLCEncodeSpec* pSpec) {
    BitWriter plain;
    test::putBlock(plain, book, values);
    const std::size_t end = std::size_t(start) + plain.bits();
    Guarded<Qor8u> stream((end + 7) / 8);
    for (Qor8u& byte : stream.span()) byte = Qor8u(random.integer(0, 255));
    std::vector<Qor8u> expected = stream.copy();
    const std::vector<Qor8u> bytes = plain.bytes();
    for (std::size_t i = 0; i < plain.bits(); ++i) {
        const std::size_t at = std::size_t(start) + i;
        const int bit = bytes[i / 8] >> (7 - i % 8) & 1, place = int(7 - at % 8);
        expected[at / 8] = Qor8u((expected[at / 8] & ~(1 << place)) | bit << place);
    }
    Guarded<Qor16s> source{std::span<const Qor16s>(values)};
    Qor8u* p = stream.data();
    Qor32s offset = start, bits = -1;
    EXPECT_EQ(encode(book, source.data(), Qor32s(values.size()), &p, &offset, pSpec), qorStsNoErr);
    EXPECT_EQ(stream.copy(), expected);
    EXPECT_EQ(std::size_t(p - stream.data()) * 8 + std::size_t(offset), end);
    EXPECT_GE(offset, 0);
    EXPECT_LE(offset, 7);
    EXPECT_EQ(count(book, source.data(), Qor32s(values.size()), &bits, pSpec), qorStsNoErr);
    EXPECT_EQ(bits, Qor32s(plain.bits()));
}

TEST(VlcEncode, EveryPairOfEveryBookAtEveryOffset) {
    Random random(1);
    for (const Standard standard : {Standard::aac, Standard::mp3})
        for (const Book& book : test::allBooks(standard)) {
            const EncodeSpec spec(book);
            for (int start = 0; start < 8; ++start)
                checkBlock(book, test::randomBlock(book, random, 20), start, random,
                           spec.pointer(4 * start));
        }
}

// One pair alone, so that each length of a block meets each offset.
TEST(VlcEncode, SinglePairs) {
    Random random(2);
    for (const Book& book : {test::aacBook(11), test::mp3Book(24)}) {
        const EncodeSpec spec(book);
        for (int run = 0; run < 1000; ++run) {
            std::vector<Qor16s> pair = test::randomBlock(book, random, 0);
            pair.resize(2);
            checkBlock(book, pair, run % 8, random, spec.pointer());
        }
    }
}

TEST(VlcEncode, EveryEscape) {
    Random random(3);
    const Book aac = test::aacBook(11);
    std::vector<Qor16s> values;
    for (int v = 14; v < 8192; ++v) {
        values.push_back(Qor16s(v % 2 ? v : -v));
        values.push_back(Qor16s(v % 3 == 0 ? 0 : v % 3 == 1 ? v : -v));
        if (v % 5 == 0) std::swap(values[values.size() - 1], values[values.size() - 2]);
    }
    checkBlock(aac, values, 5, random, EncodeSpec(aac).pointer());

    Book mp3 = test::mp3Book(24);
    const EncodeSpec spec(mp3);
    for (mp3.linbits = 0; mp3.linbits <= 14; ++mp3.linbits) {
        const int most = 14 + (1 << mp3.linbits);
        std::vector<Qor16s> pairs;
        for (const int a : {15, most, -15, -most, 14, -14})
            for (const int b : {0, 1, -1, 14, -14, 15, -15, most, -most}) {
                pairs.insert(pairs.end(), {Qor16s(a), Qor16s(b)});
                pairs.insert(pairs.end(), {Qor16s(b), Qor16s(a)});
            }
        checkBlock(mp3, pairs, 2, random, spec.pointer());
    }
}

// The bits behind the code of a pair (v, 0).
std::string bitsBehindCode(const Book& book, int v) {
    const EncodeSpec spec(book);
    const Qor16s pair[2] = {Qor16s(v), 0};
    Qor8u bytes[16] = {};
    Qor8u* p = bytes;
    Qor32s offset = 0, bits = 0;
    encode(book, pair, 2, &p, &offset, spec.pointer());
    count(book, pair, 2, &bits, spec.pointer());
    EXPECT_EQ((p - bytes) * 8 + offset, bits);
    const Book all = test::withSigns(book);
    const int clamped = std::clamp(v, -book.escape, book.escape);
    int code = 0;
    for (const test::Symbol& symbol : all.symbols)
        if (symbol.x == clamped && symbol.y == 0) code = symbol.length;
    if (book.standard == Standard::mp3 && std::abs(v) >= 15) --code;  // the sign comes later
    std::string text;
    for (int i = code; i < bits; ++i) text += (bytes[i / 8] >> (7 - i % 8) & 1) != 0 ? '1' : '0';
    return text;
}

TEST(VlcEncode, TheShapeOfEscapes) {
    const Book aac = test::aacBook(11);
    EXPECT_EQ(bitsBehindCode(aac, 15), "");
    EXPECT_EQ(bitsBehindCode(aac, 16), "00000");
    EXPECT_EQ(bitsBehindCode(aac, -31), "01111");
    EXPECT_EQ(bitsBehindCode(aac, 32), "1000000");
    EXPECT_EQ(bitsBehindCode(aac, 8191), "111111110111111111111");
    Book mp3 = test::mp3Book(24);
    EXPECT_EQ(bitsBehindCode(mp3, 14), "");
    EXPECT_EQ(bitsBehindCode(mp3, -14), "");
    EXPECT_EQ(bitsBehindCode(mp3, 15), "00000");
    EXPECT_EQ(bitsBehindCode(mp3, -18), "00111");
    mp3.linbits = 0;
    EXPECT_EQ(bitsBehindCode(mp3, 15), "0");
    EXPECT_EQ(bitsBehindCode(mp3, -15), "1");
}

// What has bits above the length of a code in its word stays out of the stream; codes may have 32.
TEST(VlcEncode, OnlyTheLowBitsOfACodeWord) {
    Book book{
        Standard::aac, true, 0, 0, {{0, 0, 0x89ABCDEF, 32}, {0, 1, 0x5A5A5A5, 3}, {1, 0, 7, 0}}};
    const EncodeSpec spec(book);
    const Qor16s values[6] = {0, 1, 0, 0, 1, 0};
    Qor8u bytes[6] = {0, 0, 0, 0, 0x1F, 0xFF};
    Qor8u* p = bytes;
    Qor32s offset = 0, bits = 0;
    EXPECT_EQ(qorsVLCEncodeEscBlock_AAC_16s1u(values, 6, &p, &offset, spec.pointer()), qorStsNoErr);
    EXPECT_THAT(bytes, testing::ElementsAre(0xB1, 0x35, 0x79, 0xBD, 0xFF, 0xFF));
    EXPECT_EQ(p - bytes, 4);
    EXPECT_EQ(offset, 3);
    EXPECT_EQ(qorsVLCCountEscBits_AAC_16s32s(values, 6, &bits, spec.pointer()), qorStsNoErr);
    EXPECT_EQ(bits, 35);
}

// Values that no escape holds read nothing outside the table.
TEST(VlcEncode, ExtremeValuesAreClampedInTheTable) {
    for (const Book& book : {test::aacBook(11), test::mp3Book(31)}) {
        const EncodeSpec spec(book);
        const Qor16s values[4] = {-32768, 32767, 32767, -32768};
        Qor8u bytes[40] = {};
        Qor8u* p = bytes;
        Qor32s offset = 0, bits = 0;
        EXPECT_EQ(encode(book, values, 4, &p, &offset, spec.pointer()), qorStsNoErr);
        EXPECT_EQ(count(book, values, 4, &bits, spec.pointer()), qorStsNoErr);
        EXPECT_EQ((p - bytes) * 8 + offset, bits);
    }
}

TEST(VlcEncode, OnlyWholePairs) {
    for (const Book& book : {test::aacBook(11), test::mp3Book(24)}) {
        const EncodeSpec spec(book);
        const Qor16s values[3] = {1, -2, 3};
        for (const Qor32s len : {-2147483647 - 1, -2, -1, 0, 1}) {
            Guarded<Qor8u> empty(0);
            Qor8u* p = empty.data();
            Qor32s offset = 5, bits = -1;
            EXPECT_EQ(encode(book, values, len, &p, &offset, spec.pointer()), qorStsNoErr);
            EXPECT_EQ(p, empty.data());
            EXPECT_EQ(offset, 5);
            EXPECT_EQ(count(book, values, len, &bits, spec.pointer()), qorStsNoErr);
            EXPECT_EQ(bits, 0);
        }
        Qor32s two = 0, three = 0;
        EXPECT_EQ(count(book, values, 2, &two, spec.pointer()), qorStsNoErr);
        EXPECT_EQ(count(book, values, 3, &three, spec.pointer()), qorStsNoErr);
        EXPECT_EQ(two, three);
    }
}

TEST(VlcEncode, ChecksComeInOrder) {
    for (const Book& book : {test::aacBook(11), test::mp3Book(24)}) {
        const EncodeSpec spec(book);
        EncodeSpec foreign(book);
        foreign.record().id = 0x434D4160;
        const auto* other = foreign.pointer();
        const Qor16s values[2] = {};
        Qor8u bytes[8] = {};
        Qor8u* p = bytes;
        Qor32s bad = 8, negative = -1, good = 0, bits = -1;
        EXPECT_EQ(encode(book, nullptr, 2, &p, &bad, other), qorStsNullPtrErr);
        EXPECT_EQ(encode(book, values, 2, nullptr, &bad, other), qorStsNullPtrErr);
        EXPECT_EQ(encode(book, values, 2, &p, nullptr, other), qorStsNullPtrErr);
        EXPECT_EQ(encode(book, values, 2, &p, &bad, nullptr), qorStsNullPtrErr);
        EXPECT_EQ(encode(book, values, 2, &p, &bad, other), qorStsVlcBitOffsetErr);
        EXPECT_EQ(encode(book, values, 2, &p, &negative, spec.pointer()), qorStsVlcBitOffsetErr);
        EXPECT_EQ(encode(book, values, 2, &p, &good, other), qorStsContextMatchErr);
        EXPECT_EQ(encode(book, values, 0, &p, &good, other), qorStsContextMatchErr);
        EXPECT_EQ(count(book, nullptr, 2, &bits, other), qorStsNullPtrErr);
        EXPECT_EQ(count(book, values, 2, nullptr, other), qorStsNullPtrErr);
        EXPECT_EQ(count(book, values, 2, &bits, nullptr), qorStsNullPtrErr);
        EXPECT_EQ(count(book, values, 2, &bits, other), qorStsContextMatchErr);
        EXPECT_EQ(count(book, values, 0, &bits, other), qorStsContextMatchErr);
        EXPECT_EQ(bits, -1);
        EXPECT_EQ(p, bytes);
        EXPECT_THAT(bytes, testing::Each(0));
    }
}

// The decoder gives back what the encoder wrote.
TEST(VlcEncode, DecodesToTheSameValues) {
    Random random(4);
    for (const Standard standard : {Standard::aac, Standard::mp3})
        for (const Book& book : test::allBooks(standard)) {
            const EncodeSpec spec(book);
            const DecodeSpec decodeSpec(test::withSigns(book), {32, 4, {9, 13}});
            const std::vector<Qor16s> values = test::randomBlock(book, random, 100);
            std::vector<Qor8u> stream(values.size() * 8 + 16);
            std::vector<Qor16s> decoded(values.size());
            Qor8u* p = stream.data();
            Qor32s offset = 0, end = 0;
            encode(book, values.data(), Qor32s(values.size()), &p, &offset, spec.pointer());
            Qor8u* q = stream.data();
            if (standard == Standard::aac)
                qorsVLCDecodeEscBlock_AAC_1u16s(&q, &end, decoded.data(), Qor32s(values.size()),
                                                decodeSpec.pointer());
            else
                qorsVLCDecodeEscBlock_MP3_1u16s(&q, &end, book.linbits, decoded.data(),
                                                Qor32s(values.size()), decodeSpec.pointer());
            EXPECT_EQ(decoded, values);
            EXPECT_EQ(q, p);
            EXPECT_EQ(end, offset);
        }
}

}  // namespace
}  // namespace qorac
