#include "aac/aachuff.h"

#include <algorithm>

#include "aac/aachelp.h"
#include "aac/aachufftbl.h"
#include "frame/bitcursor.h"
#include "frame/status.h"

namespace qorac {

// --- tables -----------------------------------------------------------------------------------

namespace {

// How the index of a tuple is made: its values are the digits, first value first, of a number to
// the base of the count of different values.
struct TupleRule {
    int tupleSize;
    int lowest;   // smallest value
    int largest;  // largest value
};

constexpr TupleRule kQuadSigned{4, -1, 1}, kQuadUnsigned{4, 0, 2}, kPairSigned{2, -4, 4},
    kPairUpTo7{2, 0, 7}, kPairUpTo12{2, 0, 12}, kPairEscape{2, 0, 16};

constexpr std::array<int, 4> tupleOf(const TupleRule& rule, int index) {
    const int base = rule.largest - rule.lowest + 1;
    std::array<int, 4> values{};
    for (int i = rule.tupleSize - 1; i >= 0; --i, index /= base)
        values[i] = index % base + rule.lowest;
    return values;
}

constexpr Qor16u packedTuple(const TupleRule& rule, int index) {
    const int width = rule.tupleSize == 4 ? 3 : 6;
    const std::array<int, 4> values = tupleOf(rule, index);
    int packed = 0;
    for (int i = 0; i < rule.tupleSize; ++i)
        packed |= (values[i] & ((1 << width) - 1)) << (2 + i * width);
    return Qor16u(packed);
}

// Appends the subtree of the codes that begin with the `length` bits of `word`, leaf(index) being
// the value of a leaf without its mark.
template <typename Entry, std::size_t entries, std::size_t count, typename Leaf>
consteval void appendSubtree(std::array<Entry, entries>& tree, std::size_t& size,
                             const HuffmanCode (&codes)[count], int length, Qor32u word,
                             Leaf leaf) {
    const std::size_t node = size++;
    for (std::size_t i = 0; i < count; ++i) {
        if (codes[i].length == length && codes[i].word == word) {
            tree[node] = Entry(leaf(int(i)) | 1);
            return;
        }
    }
    appendSubtree(tree, size, codes, length + 1, word << 1, leaf);
    tree[node] = Entry((size - node) << 1);
    appendSubtree(tree, size, codes, length + 1, word << 1 | 1, leaf);
}

template <typename Entry, std::size_t count, typename Leaf>
consteval auto packTree(const HuffmanCode (&codes)[count], Leaf leaf) {
    std::array<Entry, 2 * count - 1> tree{};
    std::size_t size = 0;
    appendSubtree(tree, size, codes, 0, 0, leaf);
    return tree;
}

template <std::size_t count>
consteval auto packSpectrumTree(const HuffmanCode (&codes)[count], const TupleRule& rule) {
    return packTree<Qor16u>(codes, [rule](int index) { return packedTuple(rule, index); });
}

}  // namespace

constexpr std::array<Qor8u, 241> _pHfTableScf =
    packTree<Qor8u>(kScaleFactorCodes, [](int index) { return index << 1; });
constexpr std::array<Qor16u, 161> _pHfTableSp1 = packSpectrumTree(kSpectrumCodes1, kQuadSigned);
constexpr std::array<Qor16u, 161> _pHfTableSp2 = packSpectrumTree(kSpectrumCodes2, kQuadSigned);
constexpr std::array<Qor16u, 161> _pHfTableSp3 = packSpectrumTree(kSpectrumCodes3, kQuadUnsigned);
constexpr std::array<Qor16u, 161> _pHfTableSp4 = packSpectrumTree(kSpectrumCodes4, kQuadUnsigned);
constexpr std::array<Qor16u, 161> _pHfTableSp5 = packSpectrumTree(kSpectrumCodes5, kPairSigned);
constexpr std::array<Qor16u, 161> _pHfTableSp6 = packSpectrumTree(kSpectrumCodes6, kPairSigned);
constexpr std::array<Qor16u, 127> _pHfTableSp7 = packSpectrumTree(kSpectrumCodes7, kPairUpTo7);
constexpr std::array<Qor16u, 127> _pHfTableSp8 = packSpectrumTree(kSpectrumCodes8, kPairUpTo7);
constexpr std::array<Qor16u, 337> _pHfTableSp9 = packSpectrumTree(kSpectrumCodes9, kPairUpTo12);
constexpr std::array<Qor16u, 337> _pHfTableSp10 = packSpectrumTree(kSpectrumCodes10, kPairUpTo12);
constexpr std::array<Qor16u, 577> _pHfTableSp11 = packSpectrumTree(kSpectrumCodes11, kPairEscape);

namespace {

constexpr bool isLeaf(int entry) { return (entry & 1) != 0; }

// Follows the bits of `word`, top bit first, from `node` until a leaf or `maxBits` bits; adds the
// bits taken to `length`.
template <typename Entry>
constexpr QORAC_INLINE int walk(const Entry* tree, int node, Qor32u word, int maxBits,
                                int& length) {
    for (; !isLeaf(tree[node]) && length < maxBits; ++length, word <<= 1)
        node += (word >> 31) != 0 ? tree[node] >> 1 : 1;
    return node;
}

// Value i of a leaf: a signed field of `width` bits.
template <int width>
constexpr QORAC_INLINE int field(Qor32u leaf, int i) {
    return int(leaf << (32 - 2 - (i + 1) * width)) >> (32 - width);
}

// What the next bits of the stream begin with, if that is a whole code word; otherwise zeros.
template <int tupleSize>
struct Tuple;

template <>
struct Tuple<2> {
    Qor8s value[2];
    Qor8u length;  // of the code word
    Qor8u total;   // of the code word and its signs
};

template <>
struct alignas(8) Tuple<4> {
    Qor8s value[4];
    Qor8u length;
    Qor8u total;
    Qor8u nonZero;  // a bit for each value, the first one in the top bit of four
};

// Four values side by side.
using Quad = Qor32s __attribute__((vector_size(16)));
using Bytes = Qor8s __attribute__((vector_size(16)));

// Four signed bytes, widened: each fills its value and is shifted down.
QORAC_INLINE Quad loadQuad(const Qor8s* p) {
    Bytes bytes{};
    __builtin_memcpy(&bytes, p, 4);
    bytes = __builtin_shufflevector(bytes, bytes, 0, 0, 0, 0, 1, 1, 1, 1, 2, 2, 2, 2, 3, 3, 3, 3);
    return Quad(bytes) >> 24;
}

// Which of four magnitudes are negative: -1 for those, by a mask of the magnitudes that are not 0,
// first one in the top bit, and by the four bits behind the code word.
constexpr auto kQuadSigns = [] {
    std::array<std::array<std::array<Qor8s, 4>, 16>, 16> signs{};
    for (int mask = 0; mask < 16; ++mask)
        for (int bits = 0; bits < 16; ++bits)
            for (int i = 0, next = 3; i < 4; ++i)
                if ((mask >> (3 - i) & 1) != 0) signs[mask][bits][i] = Qor8s(-(bits >> next-- & 1));
    return signs;
}();

template <int tupleSize, bool isUnsigned>
constexpr QORAC_INLINE Tuple<tupleSize> unpackLeaf(Qor32u leaf, int length) {
    Tuple<tupleSize> tuple{};
    int signs = 0;
    for (int i = 0; i < tupleSize; ++i) {
        tuple.value[i] = Qor8s(field<12 / tupleSize>(leaf, i));
        signs += isUnsigned && tuple.value[i] != 0 ? 1 : 0;
    }
    tuple.length = Qor8u(length);
    tuple.total = Qor8u(length + signs);
    if constexpr (tupleSize == 4)
        for (const Qor8s value : tuple.value)
            tuple.nonZero = Qor8u(tuple.nonZero << 1 | (value != 0 ? 1 : 0));
    return tuple;
}

// Bits that a look-up takes: code words that are longer walk the tree. Those of the escape book are
// never longer; tables of other books are smaller, to lie in the nearest cache together.
constexpr int kQuadBits = 9, kPairBits = 10, kEscapeBits = 12;

template <int bits, int tupleSize, bool isUnsigned, std::size_t entries>
consteval auto makeLookup(const std::array<Qor16u, entries>& tree) {
    std::array<Tuple<tupleSize>, 1 << bits> table{};
    for (Qor32u i = 0; i < table.size(); ++i) {
        int length = 0;
        const int node = walk(tree.data(), 0, i << (32 - bits), bits, length);
        if (isLeaf(tree[node])) table[i] = unpackLeaf<tupleSize, isUnsigned>(tree[node], length);
    }
    return table;
}

constexpr auto kLookup1 = makeLookup<kQuadBits, 4, false>(_pHfTableSp1);
constexpr auto kLookup2 = makeLookup<kQuadBits, 4, false>(_pHfTableSp2);
constexpr auto kLookup3 = makeLookup<kQuadBits, 4, true>(_pHfTableSp3);
constexpr auto kLookup4 = makeLookup<kQuadBits, 4, true>(_pHfTableSp4);
constexpr auto kLookup5 = makeLookup<kPairBits, 2, false>(_pHfTableSp5);
constexpr auto kLookup6 = makeLookup<kPairBits, 2, false>(_pHfTableSp6);
constexpr auto kLookup7 = makeLookup<kPairBits, 2, true>(_pHfTableSp7);
constexpr auto kLookup8 = makeLookup<kPairBits, 2, true>(_pHfTableSp8);
constexpr auto kLookup9 = makeLookup<kPairBits, 2, true>(_pHfTableSp9);
constexpr auto kLookup10 = makeLookup<kPairBits, 2, true>(_pHfTableSp10);
constexpr auto kLookup11 = makeLookup<kEscapeBits, 2, true>(_pHfTableSp11);

template <int tupleSize>
struct TupleBook {
    const Tuple<tupleSize>* lookup;
    const Qor16u* tree;
};

constexpr TupleBook<4> kQuadBooks[] = {{kLookup1.data(), _pHfTableSp1.data()},
                                       {kLookup2.data(), _pHfTableSp2.data()},
                                       {kLookup3.data(), _pHfTableSp3.data()},
                                       {kLookup4.data(), _pHfTableSp4.data()}};
constexpr TupleBook<2> kPairBooks[] = {
    {kLookup5.data(), _pHfTableSp5.data()},  {kLookup6.data(), _pHfTableSp6.data()},
    {kLookup7.data(), _pHfTableSp7.data()},  {kLookup8.data(), _pHfTableSp8.data()},
    {kLookup9.data(), _pHfTableSp9.data()},  {kLookup10.data(), _pHfTableSp10.data()},
    {kLookup11.data(), _pHfTableSp11.data()}};

// The fewest bits that a tuple of a book takes. That is never one with signs.
template <std::size_t count>
consteval int fewestBits(const HuffmanCode (&codes)[count]) {
    int fewest = codes[0].length;
    for (const HuffmanCode& code : codes) fewest = std::min<int>(fewest, code.length);
    return fewest;
}

constexpr int kFewestBits[16] = {0,
                                 fewestBits(kSpectrumCodes1),
                                 fewestBits(kSpectrumCodes2),
                                 fewestBits(kSpectrumCodes3),
                                 fewestBits(kSpectrumCodes4),
                                 fewestBits(kSpectrumCodes5),
                                 fewestBits(kSpectrumCodes6),
                                 fewestBits(kSpectrumCodes7),
                                 fewestBits(kSpectrumCodes8),
                                 fewestBits(kSpectrumCodes9),
                                 fewestBits(kSpectrumCodes10),
                                 fewestBits(kSpectrumCodes11)};

// The same for the scale factors: the tree's entry that the bits lead to, and the bits taken.
struct ScaleFactorLookup {
    Qor8u node;
    Qor8u length;
};
constexpr int kScaleFactorBits = 10;

constexpr auto kLookupScf = [] {
    std::array<ScaleFactorLookup, 1 << kScaleFactorBits> table{};
    for (Qor32u i = 0; i < table.size(); ++i) {
        int length = 0;
        table[i].node = Qor8u(
            walk(_pHfTableScf.data(), 0, i << (32 - kScaleFactorBits), kScaleFactorBits, length));
        table[i].length = Qor8u(length);
    }
    return table;
}();

}  // namespace

constexpr std::array<CbParam, 16> _pCbParam_AAC{{
    {0, 0, 0, nullptr},
    {1, 0, 4, _pHfTableSp1.data()},
    {2, 0, 4, _pHfTableSp2.data()},
    {3, 1, 4, _pHfTableSp3.data()},
    {4, 1, 4, _pHfTableSp4.data()},
    {5, 0, 2, _pHfTableSp5.data()},
    {6, 0, 2, _pHfTableSp6.data()},
    {7, 1, 2, _pHfTableSp7.data()},
    {8, 1, 2, _pHfTableSp8.data()},
    {9, 1, 2, _pHfTableSp9.data()},
    {10, 1, 2, _pHfTableSp10.data()},
    {11, 1, 2, _pHfTableSp11.data()},
    {12, 0, 0, nullptr},
    {13, 0, 0, nullptr},
    {14, 0, 0, nullptr},
    {15, 0, 0, nullptr},
}};

// --- reader -----------------------------------------------------------------------------------

namespace {

enum CodeBook { kZeroBook = 0, kEscapeBook = 11, kNoiseBook = 13, kIntensityBook2 = 14 };

// The stream as a bit position. A look takes the bytes from that of the next bit on: four of them,
// so that no more than three bytes behind the last bit used are touched as long as each look uses a
// bit, or eight where at least kWideBits bits are sure to be used from there on.
class BitReader {
  public:
    static constexpr int kWideBits = 8 * (8 - 3);

    QORAC_INLINE BitReader(Qor8u* const* ppBitStream, const Qor32s* pOffset)
        : base_(*ppBitStream), position_(Qor32u(*pOffset)) {}

    // The next bits from the top down; at least 25 are valid.
    QORAC_INLINE Qor32u peek() const {
        return loadBigEndian32(base_ + (position_ >> 3)) << (position_ & 7);
    }
    // At least 57 are valid.
    QORAC_INLINE Qor64u peekWide() const {
        Qor64u word;
        __builtin_memcpy(&word, base_ + (position_ >> 3), sizeof word);
        return __builtin_bswap64(word) << (position_ & 7);
    }
    // At least 33 are valid. Five bytes are taken, for which 9 bits must be sure to be used.
    QORAC_INLINE Qor64u peekFive() const {
        const Qor8u* const p = base_ + (position_ >> 3);
        const Qor64u word = Qor64u(loadBigEndian32(p)) << 32 | Qor64u(p[4]) << 24;
        return word << (position_ & 7);
    }
    QORAC_INLINE void skip(int bits) { position_ += Qor32u(bits); }
    QORAC_INLINE void store(Qor8u** ppBitStream, Qor32s* pOffset) const {
        *ppBitStream = base_ + (position_ >> 3);
        *pOffset = Qor32s(position_ & 7);
    }

  private:
    Qor8u* base_;
    Qor32u position_;
};

// --- scale factors ----------------------------------------------------------------------------

// A difference of the scale-factor book. Its longest code, 19 bits, fits in one look.
QORAC_INLINE Qor32s decodeDifference(BitReader& reader) {
    const Qor32u bits = reader.peek();
    const ScaleFactorLookup entry = kLookupScf[bits >> (32 - kScaleFactorBits)];
    int length = entry.length;
    const int node = walk(_pHfTableScf.data(), entry.node, bits << length, 19, length);
    reader.skip(length);
    return (_pHfTableScf[node] >> 1) - 60;
}

struct RunningGains {
    Qor32s scaleFactor;
    Qor32s position = 0;     // of intensity stereo
    bool noiseSeen = false;  // the first noise band is coded by value
};

// The next band of `codeBook`.
template <bool withNoise>
QORAC_INLINE QorStatus decodeBand(BitReader& reader, int codeBook, Qor32s globalGain,
                                  RunningGains& running, Qor16s* pScaleFactor) {
    if (codeBook == kZeroBook) {
        *pScaleFactor = 0;
        return qorStsNoErr;
    }
    if (codeBook >= kIntensityBook2) {
        running.position += decodeDifference(reader);
        *pScaleFactor = Qor16s(running.position);
        return qorStsNoErr;
    }
    if (codeBook > (withNoise ? kNoiseBook : kEscapeBook) || codeBook == 12)
        return qorStsAacCodebookErr;
    if (codeBook == kNoiseBook && !running.noiseSeen) {
        running.noiseSeen = true;
        running.scaleFactor = Qor32s(reader.peek() >> (32 - 9)) - 346 + globalGain;
        reader.skip(9);
    } else {
        running.scaleFactor += decodeDifference(reader);
        if (outside(running.scaleFactor, 0, 255)) return qorStsAacScaleFactorErr;
    }
    *pScaleFactor = Qor16s(running.scaleFactor);
    return qorStsNoErr;
}

template <bool withNoise>
QORAC_INLINE QorStatus decodeScaleFactors(Qor8u** ppBitStream, Qor32s* pOffset,
                                          Qor16s* pScaleFactor, Qor32s globalGain, Qor32s numWinGrp,
                                          const Qor32s* pNumSec, const Qor8u* pSectCb,
                                          const Qor8u* pSectEnd) {
    BitReader reader(ppBitStream, pOffset);
    RunningGains running{.scaleFactor = globalGain};
    for (Qor32s group = 0; group < numWinGrp; ++group) {
        int sfb = 0;
        for (Qor32s section = 0; section < pNumSec[group]; ++section, ++pSectCb, ++pSectEnd) {
            for (; sfb < *pSectEnd; ++sfb) {
                const QorStatus status =
                    decodeBand<withNoise>(reader, *pSectCb, globalGain, running, pScaleFactor++);
                if (status != qorStsNoErr) return status;
            }
        }
    }
    reader.store(ppBitStream, pOffset);
    return qorStsNoErr;
}

QORAC_CLONES QorStatus decodeScaleFactorsLc(Qor8u** ppBitStream, Qor32s* pOffset,
                                            Qor16s* pScaleFactor, Qor32s globalGain,
                                            Qor32s numWinGrp, const Qor32s* pNumSec,
                                            const Qor8u* pSectCb, const Qor8u* pSectEnd) {
    return decodeScaleFactors<false>(ppBitStream, pOffset, pScaleFactor, globalGain, numWinGrp,
                                     pNumSec, pSectCb, pSectEnd);
}

QORAC_CLONES QorStatus decodeScaleFactorsMpeg4(Qor8u** ppBitStream, Qor32s* pOffset,
                                               Qor16s* pScaleFactor, Qor32s globalGain,
                                               Qor32s numWinGrp, const Qor32s* pNumSec,
                                               const Qor8u* pSectCb, const Qor8u* pSectEnd) {
    return decodeScaleFactors<true>(ppBitStream, pOffset, pScaleFactor, globalGain, numWinGrp,
                                    pNumSec, pSectCb, pSectEnd);
}

// --- coefficients -----------------------------------------------------------------------------

// The magnitude of an escaped coefficient: n ones, a zero and 4 + n bits, in all at most 21 bits.
QORAC_INLINE QorStatus ownsDecodeSpecEsc_AAC(BitReader& reader, Qor32s* pValue) {
    const Qor32u bits = reader.peek();
    const int ones = __builtin_clz(~bits | 1);
    if (ones > 8) return qorStsAacQuantMaxErr;
    const int width = 4 + ones;
    *pValue = Qor32s((1u << width) | (bits << (ones + 1)) >> (32 - width));
    reader.skip(ones + 1 + width);
    return qorStsNoErr;
}

// The tuple that `bits` begin with where the look-up table does not have it.
template <int tupleSize, bool isUnsigned>
__attribute__((noinline, cold)) Tuple<tupleSize> walkTree(Qor64u bits, const Qor16u* tree) {
    constexpr int kLongest = 16;
    int length = 0;
    const int node = walk(tree, 0, Qor32u(bits >> 32), kLongest, length);
    return unpackLeaf<tupleSize, isUnsigned>(tree[node], length);
}

// The tuple that `bits` begin with, without its signs.
template <int bookBits, int tupleSize, bool isUnsigned>
QORAC_INLINE Tuple<tupleSize> lookUp(Qor64u bits, const TupleBook<tupleSize>& book) {
    const Tuple<tupleSize> tuple = book.lookup[bits >> (64 - bookBits)];
    if (bookBits >= 12 || __builtin_expect(tuple.total != 0, 1)) return tuple;
    return walkTree<tupleSize, isUnsigned>(bits, book.tree);
}

// The values of a tuple; `bits` as above. A sign follows for each magnitude that is not 0.
template <bool isUnsigned>
QORAC_INLINE void putValues(Qor64u bits, const Tuple<4>& tuple, Qor32s* pDst) {
    Quad values = loadQuad(tuple.value);
    if constexpr (isUnsigned) {
        const Quad signs = loadQuad(kQuadSigns[tuple.nonZero][(bits << tuple.length) >> 60].data());
        values = (values ^ signs) - signs;
    }
    __builtin_memcpy(pDst, &values, sizeof values);
}

// The value with the sign that is the top one of `bits`.
QORAC_INLINE Qor32s withSign(Qor32s magnitude, Qor64u bits) {
    const Qor32s sign = Qor32s(Qor64s(bits) >> 63);
    return (magnitude ^ sign) - sign;
}

template <bool isUnsigned>
QORAC_INLINE void putValues(Qor64u bits, const Tuple<2>& tuple, Qor32s* pDst) {
    const Qor32s first = tuple.value[0], second = tuple.value[1];
    const Qor64u signs = bits << tuple.length;
    pDst[0] = isUnsigned ? withSign(first, signs) : first;
    pDst[1] = isUnsigned ? withSign(second, signs << (first != 0 ? 1 : 0)) : second;
}

// `sure` is the number of bits that will be used for certain from here on.
template <int tupleSize, bool isUnsigned>
QORAC_INLINE void decodeTuples(BitReader& reader, const TupleBook<tupleSize>& book, int fewest,
                               Qor32s* pDst, Qor32s len, int sure) {
    constexpr int kBits = tupleSize == 4 ? kQuadBits : kPairBits;
    // The longest code word of the books of a kind, with its signs, and what a wide look holds of
    // it.
    constexpr int kLongest =
        tupleSize == 4 ? (isUnsigned ? 16 + 4 : 11) : (isUnsigned ? 15 + 2 : 13);
    constexpr int kPerLook = 57 / kLongest;
    Qor32s* const end = pDst + len;
    while (pDst < end && sure >= BitReader::kWideBits) {
        Qor64u bits = reader.peekWide();
        Qor32s* const stop = std::min(end, pDst + kPerLook * tupleSize);
        sure -= int(stop - pDst) / tupleSize * fewest;
        int used = 0;
        for (; pDst < stop; pDst += tupleSize) {
            const auto tuple = lookUp<kBits, tupleSize, isUnsigned>(bits, book);
            putValues<isUnsigned>(bits, tuple, pDst);
            bits <<= tuple.total;
            used += tuple.total;
        }
        reader.skip(used);
    }
    for (; pDst < end; pDst += tupleSize) {
        const Qor64u bits = Qor64u(reader.peek()) << 32;
        const auto tuple = lookUp<kBits, tupleSize, isUnsigned>(bits, book);
        putValues<isUnsigned>(bits, tuple, pDst);
        reader.skip(tuple.total);
    }
}

// Whether a pair of book 11 has an escape, for which 16 stands.
QORAC_INLINE bool hasEscape(const Tuple<2>& pair) {
    return ((pair.value[0] | pair.value[1]) & 16) != 0;
}

// Replaces the escapes among the two `values` of a pair.
QORAC_INLINE QorStatus decodeEscapes(BitReader& reader, const Tuple<2>& pair, Qor32s* values) {
    for (int i = 0; i < 2; ++i) {
        if (pair.value[i] != 16) continue;
        Qor32s escaped = 0;
        const QorStatus status = ownsDecodeSpecEsc_AAC(reader, &escaped);
        if (status != qorStsNoErr) return status;
        values[i] = values[i] < 0 ? -escaped : escaped;
    }
    return qorStsNoErr;
}

// Pairs of book 11, each stored when both of its values are read. An escape that is refused may be
// the last that is read of the stream, which makes 16 bits sure in front of any pair and 12 in
// front of three pairs without escapes: a look of five bytes, which holds two pairs, is safe in
// front of three.
QORAC_INLINE QorStatus decodeEscapedPairs(BitReader& reader, const TupleBook<2>& book, Qor32s* pDst,
                                          Qor32s len) {
    Qor32s* const end = pDst + len;
    while (pDst < end) {
        const bool two = end - pDst >= 6;
        Qor64u bits = two ? reader.peekFive() : Qor64u(reader.peek()) << 32;
        Tuple<2> pair = lookUp<kEscapeBits, 2, true>(bits, book);
        if (two && !hasEscape(pair)) {
            putValues<true>(bits, pair, pDst);
            reader.skip(pair.total);
            bits <<= pair.total;
            pDst += 2;
            pair = lookUp<kEscapeBits, 2, true>(bits, book);
        }
        Qor32s values[2];
        putValues<true>(bits, pair, values);
        reader.skip(pair.total);
        if (__builtin_expect(hasEscape(pair), 0)) {
            const QorStatus status = decodeEscapes(reader, pair, values);
            if (status != qorStsNoErr) return status;
        }
        __builtin_memcpy(pDst, values, sizeof values);
        pDst += 2;
    }
    return qorStsNoErr;
}

QORAC_INLINE QorStatus decodeSection(BitReader& reader, Qor32s* pDst, Qor32s len, Qor32s codeBook,
                                     int sure) {
    const int fewest = kFewestBits[codeBook];
    if (codeBook <= 2)
        decodeTuples<4, false>(reader, kQuadBooks[codeBook - 1], fewest, pDst, len, sure);
    else if (codeBook <= 4)
        decodeTuples<4, true>(reader, kQuadBooks[codeBook - 1], fewest, pDst, len, sure);
    else if (codeBook <= 6)
        decodeTuples<2, false>(reader, kPairBooks[codeBook - 5], fewest, pDst, len, sure);
    else if (codeBook <= 10)
        decodeTuples<2, true>(reader, kPairBooks[codeBook - 5], fewest, pDst, len, sure);
    else
        return decodeEscapedPairs(reader, kPairBooks[codeBook - 5], pDst, len);
    return qorStsNoErr;
}

// The bits that a section of a code book from 1 to 11 takes at least; 0 for any other.
QORAC_INLINE int fewestBits(Qor32s codeBook, Qor32s len) {
    return len / (codeBook <= 4 ? 4 : 2) * kFewestBits[codeBook];
}

QORAC_CLONES QorStatus decodeSpecHuf(Qor8u** ppBitStream, Qor32s* pOffset, Qor32s* pDst, Qor32s len,
                                     Qor32s codeBook) {
    BitReader reader(ppBitStream, pOffset);
    const QorStatus status = decodeSection(reader, pDst, len, codeBook, fewestBits(codeBook, len));
    if (status == qorStsNoErr) reader.store(ppBitStream, pOffset);
    return status;
}

// A section, or the coefficients behind a group's last one.
struct Run {
    Qor32s len;
    Qor32s codeBook;
    int sure;  // bits that will be used for certain from its start on
};

// The sections in the order of their coefficients, up to the first one that is refused.
class RunList {
  public:
    QORAC_INLINE void append(Qor32s len, Qor32s codeBook) { runs_[count_++] = {len, codeBook, 0}; }

    // A section of the escape book may be the last one that is read, and be broken off.
    QORAC_INLINE void countSureBits() {
        int sure = 0;
        for (int i = count_ - 1; i >= 0; --i) {
            const int own = fewestBits(runs_[i].codeBook, runs_[i].len);
            sure = runs_[i].codeBook == kEscapeBook ? 0 : sure + own;
            runs_[i].sure = sure;
        }
    }
    QORAC_INLINE const Run* begin() const { return runs_; }
    QORAC_INLINE const Run* end() const { return runs_ + count_; }

  private:
    Run runs_[120 + 8];  // all sections, and the rest of each group
    int count_ = 0;
};

QORAC_CLONES QorStatus decodeSpectralData(Qor8u** ppBitStream, Qor32s* pOffset, Qor32s* pSpectrum,
                                          Qor32s numWinGrp, const Qor32s* pWinGrpLen,
                                          const Qor32s* pNumSec, const Qor8u* pSectCb,
                                          const Qor8u* pSectEnd, Qor32s samplingRateIndex,
                                          Qor32s winLen) {
    const bool isLong = winLen == 1024;
    const Qor16s* const swbOffset = isLong ? _pAACSwbOffsetTableLong[samplingRateIndex]
                                           : _pAACSwbOffsetTableShort[samplingRateIndex];
    const Qor32s numSwb =
        isLong ? _pAACNumSwbTableLong[samplingRateIndex] : _pAACNumSwbTableShort[samplingRateIndex];
    QorStatus end = qorStsNoErr;  // what the sections end with when all data are good
    RunList runs;
    for (Qor32s group = 0; group < numWinGrp && end == qorStsNoErr; ++group) {
        Qor32s position = 0;
        for (Qor32s section = 0; section < pNumSec[group]; ++section, ++pSectCb, ++pSectEnd) {
            if (*pSectEnd > numSwb)
                end = qorStsErr;
            else if (*pSectCb == 12)
                end = qorStsAacCodebookErr;
            if (end != qorStsNoErr) break;
            const Qor32s next = swbOffset[*pSectEnd] * pWinGrpLen[group];
            runs.append(next - position, *pSectCb);
            position = next;
        }
        if (end == qorStsNoErr) runs.append(winLen * pWinGrpLen[group] - position, kZeroBook);
    }
    runs.countSureBits();

    Qor32s* pDst = pSpectrum;
    for (const Run& run : runs) {
        if (_pCbParam_AAC[run.codeBook].tupleSize == 0) {
            std::fill_n(pDst, run.len, 0);
        } else {
            BitReader reader(ppBitStream, pOffset);
            const QorStatus status = decodeSection(reader, pDst, run.len, run.codeBook, run.sure);
            if (status != qorStsNoErr) return status;
            reader.store(ppBitStream, pOffset);
        }
        pDst += run.len;
    }
    if (end == qorStsNoErr) std::fill(pDst, pSpectrum + 1024, 0);
    return end;
}

}  // namespace

QorStatus ownsDecodeScalefactor_AAC_1u16s(Qor8u** ppBitStream, Qor32s* pOffset,
                                          Qor16s* pScaleFactor, Qor32s globalGain, Qor32s numWinGrp,
                                          const Qor32s* pNumSec, const Qor8u* pSectCb,
                                          const Qor8u* pSectEnd) {
    return decodeScaleFactorsLc(ppBitStream, pOffset, pScaleFactor, globalGain, numWinGrp, pNumSec,
                                pSectCb, pSectEnd);
}

QorStatus ownsDecodeScalefactor_AAC_MPEG4_1u16s(Qor8u** ppBitStream, Qor32s* pOffset,
                                                Qor16s* pScaleFactor, Qor32s globalGain,
                                                Qor32s numWinGrp, const Qor32s* pNumSec,
                                                const Qor8u* pSectCb, const Qor8u* pSectEnd) {
    return decodeScaleFactorsMpeg4(ppBitStream, pOffset, pScaleFactor, globalGain, numWinGrp,
                                   pNumSec, pSectCb, pSectEnd);
}

QorStatus ownsDecodeSpecHuf_AAC(Qor8u** ppBitStream, Qor32s* pOffset, Qor32s* pDst, Qor32s len,
                                Qor32s codeBook) {
    return decodeSpecHuf(ppBitStream, pOffset, pDst, len, codeBook);
}

QorStatus ownsDecodeSpectralData_AAC_1u32s(Qor8u** ppBitStream, Qor32s* pOffset, Qor32s* pSpectrum,
                                           Qor32s numWinGrp, const Qor32s* pWinGrpLen,
                                           const Qor32s* pNumSec, const Qor8u* pSectCb,
                                           const Qor8u* pSectEnd, Qor32s samplingRateIndex,
                                           Qor32s winLen) {
    return decodeSpectralData(ppBitStream, pOffset, pSpectrum, numWinGrp, pWinGrpLen, pNumSec,
                              pSectCb, pSectEnd, samplingRateIndex, winLen);
}

}  // namespace qorac
