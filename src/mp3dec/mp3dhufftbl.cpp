#include "mp3dec/mp3dhufftbl.h"

#include <array>
#include <cstddef>

#include "frame/mp3huffcodes.h"

namespace qorac {
namespace {

// --- pairs ------------------------------------------------------------------------------------

constexpr int kMaxRootBits = 9;

template <std::size_t count>
constexpr int longestCode(const HuffmanCode (&codes)[count]) {
    int longest = 0;
    for (const HuffmanCode& code : codes) longest = code.length > longest ? code.length : longest;
    return longest;
}

template <std::size_t count>
constexpr int rootBitsOf(const HuffmanCode (&codes)[count]) {
    const int longest = longestCode(codes);
    return longest < kMaxRootBits ? longest : kMaxRootBits;
}

// Index bits of the second level behind a root index, 0 when there is none.
template <std::size_t count>
constexpr int secondLevelBits(const HuffmanCode (&codes)[count], int rootBits, unsigned root) {
    int bits = 0;
    for (const HuffmanCode& code : codes) {
        const int beyond = code.length - rootBits;
        if (beyond > bits && unsigned(code.code >> beyond) == root) bits = beyond;
    }
    return bits;
}

template <std::size_t count>
constexpr std::size_t lookupSize(const HuffmanCode (&codes)[count]) {
    const int rootBits = rootBitsOf(codes);
    std::size_t size = std::size_t(1) << rootBits;
    for (unsigned root = 0; root < 1u << rootBits; ++root)
        if (const int bits = secondLevelBits(codes, rootBits, root)) size += std::size_t(1) << bits;
    return size;
}

// size is lookupSize(codes).
template <std::size_t size, std::size_t count>
consteval std::array<PairEntry, size> makeLookup(const HuffmanCode (&codes)[count], int alphabet) {
    std::array<PairEntry, size> table{};
    const int rootBits = rootBitsOf(codes);
    std::size_t end = std::size_t(1) << rootBits;
    for (unsigned root = 0; root < 1u << rootBits; ++root) {
        if (const int bits = secondLevelBits(codes, rootBits, root)) {
            table[root] = {Qor8u(bits), 0, Qor8u(end & 255), Qor8u(end >> 8)};
            end += std::size_t(1) << bits;
        }
    }
    for (std::size_t symbol = 0; symbol < count; ++symbol) {
        const HuffmanCode code = codes[symbol];
        const int x = int(symbol) / alphabet, y = int(symbol) % alphabet;
        const PairEntry leaf = {Qor8u(code.length), Qor8u(code.length + (x != 0) + (y != 0)),
                                Qor8u(x), Qor8u(y)};
        std::size_t first = 0;
        int indexBits = rootBits, length = code.length;
        unsigned bits = code.code;
        if (length > rootBits) {
            const PairEntry link = table[bits >> (length - rootBits)];
            first = link.x | std::size_t(link.y) << 8;
            indexBits = link.codeLength;
            length -= rootBits;
            bits &= (1u << length) - 1;
        }
        first += std::size_t(bits) << (indexBits - length);
        for (std::size_t i = 0; i < std::size_t(1) << (indexBits - length); ++i)
            table[first + i] = leaf;
    }
    return table;
}

#define QORAC_PAIR_TABLE(number)                                                       \
    constexpr auto _pHfPTable##number = makeLookup<lookupSize(_pHuffmanCode##number)>( \
        _pHuffmanCode##number, kHuffmanAlphabet[number])

QORAC_PAIR_TABLE(1);
QORAC_PAIR_TABLE(2);
QORAC_PAIR_TABLE(3);
QORAC_PAIR_TABLE(5);
QORAC_PAIR_TABLE(6);
QORAC_PAIR_TABLE(7);
QORAC_PAIR_TABLE(8);
QORAC_PAIR_TABLE(9);
QORAC_PAIR_TABLE(10);
QORAC_PAIR_TABLE(11);
QORAC_PAIR_TABLE(12);
QORAC_PAIR_TABLE(13);
QORAC_PAIR_TABLE(15);
QORAC_PAIR_TABLE(16);
QORAC_PAIR_TABLE(24);

#undef QORAC_PAIR_TABLE

#define QORAC_PAIR_ROW(codes, number) \
    { _pHfPTable##codes.data(), rootBitsOf(_pHuffmanCode##codes), kHuffmanLinbits[number] }

// --- quadruples -------------------------------------------------------------------------------

template <int indexBits>
consteval std::array<QuadEntry, (std::size_t(1) << indexBits)> makeQuadLookup(
    const HuffmanCode (&codes)[16]) {
    std::array<QuadEntry, (std::size_t(1) << indexBits)> table{};
    for (int symbol = 0; symbol < 16; ++symbol) {
        const int signs = __builtin_popcount(unsigned(symbol));
        const int length = codes[symbol].length + signs;
        for (unsigned pattern = 0; pattern < 1u << signs; ++pattern) {
            QuadEntry entry{};
            entry.length = Qor8u(length);
            int sign = signs;  // sign bits not yet used; the first stands highest in the pattern
            for (int i = 0; i < 4; ++i)
                if (symbol >> (3 - i) & 1) entry.value[i] = pattern >> --sign & 1 ? -1 : 1;
            const std::size_t first = std::size_t(unsigned(codes[symbol].code) << signs | pattern)
                                      << (indexBits - length);
            for (std::size_t i = 0; i < std::size_t(1) << (indexBits - length); ++i)
                table[first + i] = entry;
        }
    }
    return table;
}

constexpr auto _pHfQTable0 = makeQuadLookup<kQuadIndexBits[0]>(_pHuffmanCode32);
constexpr auto _pHfQTable1 = makeQuadLookup<kQuadIndexBits[1]>(_pHuffmanCode33);

}  // namespace

constexpr PairTable kNoCodes = {nullptr, 0, 0};

const PairTable _pHfPTable[32] = {
    kNoCodes,
    QORAC_PAIR_ROW(1, 1),
    QORAC_PAIR_ROW(2, 2),
    QORAC_PAIR_ROW(3, 3),
    kNoCodes,
    QORAC_PAIR_ROW(5, 5),
    QORAC_PAIR_ROW(6, 6),
    QORAC_PAIR_ROW(7, 7),
    QORAC_PAIR_ROW(8, 8),
    QORAC_PAIR_ROW(9, 9),
    QORAC_PAIR_ROW(10, 10),
    QORAC_PAIR_ROW(11, 11),
    QORAC_PAIR_ROW(12, 12),
    QORAC_PAIR_ROW(13, 13),
    kNoCodes,
    QORAC_PAIR_ROW(15, 15),
    QORAC_PAIR_ROW(16, 16),
    QORAC_PAIR_ROW(16, 17),
    QORAC_PAIR_ROW(16, 18),
    QORAC_PAIR_ROW(16, 19),
    QORAC_PAIR_ROW(16, 20),
    QORAC_PAIR_ROW(16, 21),
    QORAC_PAIR_ROW(16, 22),
    QORAC_PAIR_ROW(16, 23),
    QORAC_PAIR_ROW(24, 24),
    QORAC_PAIR_ROW(24, 25),
    QORAC_PAIR_ROW(24, 26),
    QORAC_PAIR_ROW(24, 27),
    QORAC_PAIR_ROW(24, 28),
    QORAC_PAIR_ROW(24, 29),
    QORAC_PAIR_ROW(24, 30),
    QORAC_PAIR_ROW(24, 31),
};

const QuadEntry* const _pHfQTable[2] = {_pHfQTable0.data(), _pHfQTable1.data()};

}  // namespace qorac
