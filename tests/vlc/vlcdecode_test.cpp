#include <array>
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
using test::Guarded;
using test::Random;
using test::Standard;
using test::Symbol;
using test::TableForm;

// The room that a caller leaves behind the last bit: two words.
constexpr std::size_t kRoom = 8;

struct Decoded {
    QorStatus status;
    std::vector<Qor16s> values;
    std::size_t position;  // of the cursor, in bits
};

constexpr Qor16s kUntouched = 0x5A5A;

Decoded decode(const Book& book, bool isTuple, const BitWriter& writer, int start, Qor32s len,
               const QorVLCDecodeSpec* pSpec) {
    Guarded<Qor8u> stream{std::span<const Qor8u>(writer.bytes(kRoom))};
    Guarded<Qor16s> values(std::size_t(std::max(len, 0) & ~1) + 2);
    for (Qor16s& value : values.span()) value = kUntouched;
    Qor8u* p = stream.data();
    Qor32s offset = start;
    QorStatus status;
    if (book.standard == Standard::aac)
        status = isTuple
                     ? qorsVLCDecodeUTupleEscBlock_AAC_1u16s(&p, &offset, values.data(), len, pSpec)
                     : qorsVLCDecodeEscBlock_AAC_1u16s(&p, &offset, values.data(), len, pSpec);
    else
        status = isTuple ? qorsVLCDecodeUTupleEscBlock_MP3_1u16s(&p, &offset, book.linbits,
                                                                 values.data(), len, pSpec)
                         : qorsVLCDecodeEscBlock_MP3_1u16s(&p, &offset, book.linbits, values.data(),
                                                           len, pSpec);
    EXPECT_GE(offset, 0);
    EXPECT_LE(offset, 7);
    return {status, values.copy(), std::size_t(p - stream.data()) * 8 + std::size_t(offset)};
}

// Decodes what the syntax makes of the values, behind `start` bits, and compares.
void checkBlock(const Book& book, bool isTuple, const std::vector<Qor16s>& values, int start,
                const QorVLCDecodeSpec* pSpec) {
    BitWriter writer;
    writer.put(0x55, start);
    test::putBlock(writer, book, values);
    const Decoded decoded = decode(book, isTuple, writer, start, Qor32s(values.size()), pSpec);
    std::vector<Qor16s> expected = values;
    expected.insert(expected.end(), 2, kUntouched);
    EXPECT_EQ(decoded.status, qorStsNoErr);
    EXPECT_EQ(decoded.values, expected);
    EXPECT_EQ(decoded.position, writer.bits());
}

void checkAllBooks(Standard standard, bool isTuple, const std::vector<TableForm>& forms) {
    Random random(1);
    std::vector<int> fitting(forms.size());
    for (const Book& book : test::allBooks(standard)) {
        if (isTuple && book.hasSigns) continue;
        const Book coded = isTuple ? book : test::withSigns(book);
        for (std::size_t f = 0; f < forms.size(); ++f) {
            const DecodeSpec spec(coded, forms[f]);
            if (!spec.fits()) continue;
            ++fitting[f];
            for (int start = 0; start < 8; ++start)
                checkBlock(book, isTuple, test::randomBlock(book, random, 20), start,
                           spec.pointer(4 * start));
        }
    }
    for (std::size_t f = 0; f < forms.size(); ++f) EXPECT_GT(fitting[f], 0) << "form " << f;
}

// One level, two, three, and one bit at a time; 16-bit elements hold the escape book's signed
// values only with a length field of one bit, so that each level has one.
const std::vector<TableForm> kSignedForms = {
    {32, 5, {22}},         {32, 4, {8, 14}}, {32, 3, {7, 4, 3}}, {32, 1, {1}},
    {16, 3, {7, 5, 4, 6}}, {16, 2, {3}},     {16, 1, {1}}};

TEST(EscBlock, EveryPairOfEveryAacBook) { checkAllBooks(Standard::aac, false, kSignedForms); }
TEST(EscBlock, EveryPairOfEveryMp3Table) { checkAllBooks(Standard::mp3, false, kSignedForms); }

// Fields of just the width, and with unused bits below; any elementBits but 32 means 16.
const std::vector<TableForm> kTupleForms = {{32, 5, {19}, 5, 10},      {32, 4, {8, 11}, 8, 16},
                                            {32, 3, {6, 5, 4}, 6, 18}, {32, 1, {1}, 5, 27},
                                            {16, 4, {8, 11}, 5, 10},   {0, 3, {7, 4, 3}, 5, 12},
                                            {64, 1, {1}, 5, 10}};

TEST(UTupleEscBlock, EveryPairOfEveryAacBook) { checkAllBooks(Standard::aac, true, kTupleForms); }
TEST(UTupleEscBlock, EveryPairOfEveryMp3Table) { checkAllBooks(Standard::mp3, true, kTupleForms); }

// Codes of up to 30 bits, with two signs among them or behind them. The longest ones stand one
// behind the other in the block; with 27 bits and more a look does not hold two of them.
TEST(VlcDecode, TheLongestCodes) {
    for (const Standard standard : {Standard::aac, Standard::mp3}) {
        const int mark = standard == Standard::aac ? 16 : 15;
        for (const int longest : {26, 27, 30}) {
            for (const bool isTuple : {false, true}) {
                Book book{standard, false, mark, 13, {}};
                const int bits = isTuple ? longest : longest - 2;
                for (int length = 1; length < bits - 1; ++length)
                    book.symbols.push_back({length % 15, length % 13, (1u << length) - 2, length});
                book.symbols.push_back({14, 2, (1u << (bits - 1)) - 2, bits - 1});
                book.symbols.push_back({mark, mark, (1u << bits) - 2, bits});
                const Book coded = isTuple ? book : test::withSigns(book);
                const DecodeSpec spec(
                    coded, isTuple ? TableForm{32, 5, {10}, 5, 10} : TableForm{32, 5, {10}});
                EXPECT_EQ(spec.pointer()->maxBits, longest);
                Random random(2);
                std::vector<Qor16s> block = test::randomBlock(book, random, 50);
                const Qor16s most = Qor16s(mark);
                block.insert(block.begin() + 20, {-14, 2, 14, -2, most, Qor16s(-most - 7),
                                                  Qor16s(-most), most, 14, 2, most, most});
                for (int start = 0; start < 8; ++start)
                    checkBlock(book, isTuple, block, start, spec.pointer());
            }
        }
    }
}

// The whole positive range of a link in 16 bits.
TEST(EscBlock, LinksReachOverAWholeTableOf16BitElements) {
    std::vector<Qor16u> table(32770);
    const int far = 32767;
    table[0] = 1;
    table[1] = Qor16u(far << 1);
    table[2] = Qor16u(1u | 1u << 1 | 128u << 3);  // (0, 0)
    table[far] = 1;
    table[far + 1] = Qor16u(1u | 1u << 1 | 129u << 3 | 2u << 11);
    table[far + 2] = Qor16u(1u | 1u << 1 | 127u << 3 | (31u << 11));
    Book none{Standard::aac, true, 0, 0, {{0, 0, 0, 1}}};
    DecodeSpec spec(none, {16, 2, {1}});
    spec.record().pTable = table.data();
    spec.record().maxBits = 2;
    BitWriter writer;
    writer.put(0b00'1'01, 5);
    const Decoded decoded = decode(none, false, writer, 0, 6, spec.pointer());
    EXPECT_THAT(decoded.values, testing::ElementsAre(2, 1, 0, 0, -1, -1, kUntouched, kUntouched));
    EXPECT_EQ(decoded.position, 5u);
}

// --- rules ------------------------------------------------------------------------------------

struct Function {
    Standard standard;
    bool isTuple;
};
constexpr Function kFunctions[] = {
    {Standard::aac, false}, {Standard::aac, true}, {Standard::mp3, false}, {Standard::mp3, true}};

Book escapeBook(Standard standard) {
    return standard == Standard::aac ? test::aacBook(11) : test::mp3Book(24);
}
TableForm wideForm(bool isTuple) {
    return isTuple ? TableForm{32, 4, {8, 12}, 5, 10} : TableForm{32, 4, {8, 14}};
}

TEST(VlcDecode, OnlyWholePairs) {
    for (const auto& [standard, isTuple] : kFunctions) {
        const Book book = escapeBook(standard);
        const DecodeSpec spec(isTuple ? book : test::withSigns(book), wideForm(isTuple));
        BitWriter one;
        test::putPair(one, book, -3, 7);
        const std::size_t pairBits = one.bits();
        test::putPair(one, book, 2, 2);
        for (const Qor32s len : {-2147483647 - 1, -3, -1, 0, 1}) {
            const Decoded decoded = decode(book, isTuple, one, 5, len, spec.pointer());
            EXPECT_EQ(decoded.status, qorStsNoErr);
            EXPECT_EQ(decoded.values[0], kUntouched);
            EXPECT_EQ(decoded.position, 5u);
        }
        const Decoded decoded = decode(book, isTuple, one, 0, 3, spec.pointer());
        EXPECT_THAT(decoded.values, testing::ElementsAre(-3, 7, kUntouched, kUntouched));
        EXPECT_EQ(decoded.position, pairBits);
    }
}

TEST(VlcDecode, NoPairsTouchNoStream) {
    for (const auto& [standard, isTuple] : kFunctions) {
        const Book book = escapeBook(standard);
        const DecodeSpec spec(isTuple ? book : test::withSigns(book), wideForm(isTuple));
        Guarded<Qor8u> empty(0);
        Qor8u* p = empty.data();
        Qor32s offset = 3;
        Qor16s value = kUntouched;
        const QorStatus status = standard == Standard::aac
                                     ? (isTuple ? qorsVLCDecodeUTupleEscBlock_AAC_1u16s
                                                : qorsVLCDecodeEscBlock_AAC_1u16s)(
                                           &p, &offset, &value, 1, spec.pointer())
                                     : (isTuple ? qorsVLCDecodeUTupleEscBlock_MP3_1u16s
                                                : qorsVLCDecodeEscBlock_MP3_1u16s)(
                                           &p, &offset, 3, &value, 1, spec.pointer());
        EXPECT_EQ(status, qorStsNoErr);
        EXPECT_EQ(p, empty.data());
        EXPECT_EQ(offset, 3);
    }
}

// Every magnitude of an AAC escape and every width of linbits.
TEST(VlcDecode, EveryEscape) {
    for (const bool isTuple : {false, true}) {
        Book aac = test::aacBook(11);
        const DecodeSpec aacSpec(isTuple ? aac : test::withSigns(aac), wideForm(isTuple));
        std::vector<Qor16s> values;
        for (int v = 16; v < 8192; ++v) {
            values.push_back(Qor16s(v % 2 ? v : -v));
            values.push_back(Qor16s(v % 3 == 0 ? 0 : v % 3 == 1 ? v : -v));
            if (v % 5 == 0) std::swap(values[values.size() - 1], values[values.size() - 2]);
        }
        checkBlock(aac, isTuple, values, 3, aacSpec.pointer());

        Book mp3 = test::mp3Book(24);
        const DecodeSpec mp3Spec(isTuple ? mp3 : test::withSigns(mp3), wideForm(isTuple));
        for (mp3.linbits = 0; mp3.linbits <= 14; ++mp3.linbits) {
            const int most = 14 + (1 << mp3.linbits);
            std::vector<Qor16s> pairs;
            for (const int a : {15, most, -15, -most})
                for (const int b : {0, 1, -1, 14, -14, 15, -15, most, -most}) {
                    pairs.insert(pairs.end(), {Qor16s(a), Qor16s(b)});
                    pairs.insert(pairs.end(), {Qor16s(b), Qor16s(a)});
                }
            checkBlock(mp3, isTuple, pairs, 1, mp3Spec.pointer());
        }
    }
}

// linbits of 31, the widest, keeps the low 16 bits of the value.
TEST(VlcDecode, TheWidestLinbits) {
    for (const bool isTuple : {false, true}) {
        Book book = test::mp3Book(24);
        const DecodeSpec spec(isTuple ? book : test::withSigns(book), wideForm(isTuple));
        book.linbits = 31;
        BitWriter writer;
        test::putPair(writer, book, -15, 0);
        writer.put(0, 0);
        BitWriter patched;
        const std::size_t head = writer.bits() - 32;
        const std::vector<Qor8u> bytes = writer.bytes();
        for (std::size_t i = 0; i < head; ++i) patched.put(bytes[i / 8] >> (7 - i % 8) & 1, 1);
        // The low 16 bits of the sum count.
        for (const auto& [field, value] : {std::pair(0x12340005u, -20), {0x7FFFFFFFu, -14}}) {
            BitWriter whole = patched;
            whole.put(field, 31);
            whole.put(1, 1);
            const Decoded decoded = decode(book, isTuple, whole, 0, 2, spec.pointer());
            EXPECT_THAT(decoded.values, testing::ElementsAre(value, 0, kUntouched, kUntouched));
            EXPECT_EQ(decoded.position, whole.bits());
        }
    }
}

// A refused escape: of x nothing of its pair is stored, of y the value of x is; the cursor stays.
TEST(VlcDecode, AnEscapeOfNineOnesIsRefused) {
    const Book book = test::aacBook(11);
    for (const bool isTuple : {false, true}) {
        const DecodeSpec spec(isTuple ? book : test::withSigns(book), wideForm(isTuple));
        for (const bool isY : {false, true}) {
            BitWriter writer;
            writer.put(0, 2);
            test::putPair(writer, book, 5, -6);
            BitWriter pair;
            test::putPair(pair, book, isY ? -8191 : 16, isY ? 16 : 3);
            const std::vector<Qor8u> bytes = pair.bytes();
            for (std::size_t i = 0; i < pair.bits() - 5; ++i)
                writer.put(bytes[i / 8] >> (7 - i % 8) & 1, 1);
            writer.put(0x1FF, 9);
            const Decoded decoded = decode(book, isTuple, writer, 2, 6, spec.pointer());
            EXPECT_EQ(decoded.status, qorStsVlcEscapeOverflowErr);
            EXPECT_THAT(decoded.values,
                        testing::ElementsAre(5, -6, isY ? -8191 : kUntouched, kUntouched,
                                             kUntouched, kUntouched, kUntouched, kUntouched));
            EXPECT_EQ(decoded.position, 2u);
        }
    }
}

// The marks are those of the values alone: 15 is an AAC value like others, 16 one of MP3, -16 in x
// and y an AAC escape.
TEST(VlcDecode, OnlyItsOwnMarkIsAnEscape) {
    for (const auto& [standard, isTuple] : kFunctions) {
        const int mark = standard == Standard::aac ? 16 : 15, other = 31 - mark;
        Book book{standard, !isTuple, 0, 7, {{other, other, 0, 1}, {other, 0, 2, 2}}};
        if (!isTuple) book.symbols.push_back({-other, -other, 3, 2});
        const DecodeSpec spec(book, isTuple ? TableForm{32, 4, {3}, 5, 10} : TableForm{32, 4, {3}});
        BitWriter writer;
        writer.put(0, 1);
        if (isTuple) writer.put(1, 2);
        writer.put(2, 2);
        if (isTuple) writer.put(1, 1);
        const Decoded decoded = decode(book, isTuple, writer, 0, 4, spec.pointer());
        const int sign = isTuple ? -1 : 1;
        EXPECT_THAT(decoded.values, testing::ElementsAre(other, sign * other, sign * other, 0,
                                                         kUntouched, kUntouched));
        EXPECT_EQ(decoded.position, writer.bits());
    }
}

TEST(VlcDecode, ChecksComeInOrder) {
    const Book book = test::aacBook(7);
    DecodeSpec spec(book, {32, 4, {8, 12}, 4, 8});
    DecodeSpec foreign(book, {32, 4, {8, 12}, 4, 8});
    foreign.record().id = 0x434D415F;
    Qor8u bytes[16] = {};
    for (const auto& [standard, isTuple] : kFunctions) {
        const auto call = [&, standard = standard, isTuple = isTuple](
                              Qor8u** pp, Qor32s* pOffset, Qor16s* pDst, Qor32s len,
                              const QorVLCDecodeSpec* pSpec) {
            if (standard == Standard::aac)
                return (isTuple ? qorsVLCDecodeUTupleEscBlock_AAC_1u16s
                                : qorsVLCDecodeEscBlock_AAC_1u16s)(pp, pOffset, pDst, len, pSpec);
            return (isTuple ? qorsVLCDecodeUTupleEscBlock_MP3_1u16s
                            : qorsVLCDecodeEscBlock_MP3_1u16s)(pp, pOffset, 4, pDst, len, pSpec);
        };
        Qor8u* p = bytes;
        Qor32s bad = 8, negative = -1, good = 7;
        std::array<Qor16s, 2> values{kUntouched, kUntouched};
        const auto* other = foreign.pointer();
        EXPECT_EQ(call(nullptr, &bad, values.data(), 2, other), qorStsNullPtrErr);
        EXPECT_EQ(call(&p, nullptr, values.data(), 2, other), qorStsNullPtrErr);
        EXPECT_EQ(call(&p, &bad, nullptr, 2, other), qorStsNullPtrErr);
        EXPECT_EQ(call(&p, &bad, values.data(), 2, nullptr), qorStsNullPtrErr);
        EXPECT_EQ(call(&p, &bad, values.data(), 2, other), qorStsVlcBitOffsetErr);
        EXPECT_EQ(call(&p, &negative, values.data(), 2, spec.pointer()), qorStsVlcBitOffsetErr);
        EXPECT_EQ(call(&p, &good, values.data(), 2, other), qorStsContextMatchErr);
        EXPECT_EQ(call(&p, &good, values.data(), 0, other), qorStsContextMatchErr);
        EXPECT_THAT(values, testing::Each(kUntouched));
        EXPECT_EQ(p, bytes);
        EXPECT_EQ(bad, 8);
        EXPECT_EQ(good, 7);
    }
}

}  // namespace
}  // namespace qorac
