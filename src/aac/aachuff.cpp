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

template <int tupleSize>
constexpr QORAC_INLINE void unpackLeaf(SpectrumLookup& tuple, Qor32u leaf) {
    for (int i = 0; i < tupleSize; ++i) tuple.value[i] = Qor8s(field<12 / tupleSize>(leaf, i));
}

template <int tupleSize, bool isUnsigned>
constexpr QORAC_INLINE int signCount(const SpectrumLookup& tuple) {
    int count = 0;
    for (int i = 0; isUnsigned && i < tupleSize; ++i) count += tuple.value[i] != 0 ? 1 : 0;
    return count;
}

using LookupTable = std::array<SpectrumLookup, 1 << kLookupBits>;

template <int tupleSize, bool isUnsigned, std::size_t entries>
consteval LookupTable makeLookup(const std::array<Qor16u, entries>& tree) {
    LookupTable table{};
    for (Qor32u i = 0; i < table.size(); ++i) {
        SpectrumLookup& entry = table[i];
        int length = 0;
        const int node = walk(tree.data(), 0, i << (32 - kLookupBits), kLookupBits, length);
        if (isLeaf(tree[node])) {
            unpackLeaf<tupleSize>(entry, tree[node]);
            entry.length = Qor8u(length);
            entry.signs = Qor8u(signCount<tupleSize, isUnsigned>(entry));
        } else {
            entry.node = Qor16u(node);
        }
    }
    return table;
}

constexpr LookupTable kLookup1 = makeLookup<4, false>(_pHfTableSp1);
constexpr LookupTable kLookup2 = makeLookup<4, false>(_pHfTableSp2);
constexpr LookupTable kLookup3 = makeLookup<4, true>(_pHfTableSp3);
constexpr LookupTable kLookup4 = makeLookup<4, true>(_pHfTableSp4);
constexpr LookupTable kLookup5 = makeLookup<2, false>(_pHfTableSp5);
constexpr LookupTable kLookup6 = makeLookup<2, false>(_pHfTableSp6);
constexpr LookupTable kLookup7 = makeLookup<2, true>(_pHfTableSp7);
constexpr LookupTable kLookup8 = makeLookup<2, true>(_pHfTableSp8);
constexpr LookupTable kLookup9 = makeLookup<2, true>(_pHfTableSp9);
constexpr LookupTable kLookup10 = makeLookup<2, true>(_pHfTableSp10);
constexpr LookupTable kLookup11 = makeLookup<2, true>(_pHfTableSp11);

// The same for the scale factors: the tree's entry that the bits lead to, and the bits taken.
struct ScaleFactorLookup {
    Qor8u node;
    Qor8u length;
};

constexpr auto kLookupScf = [] {
    std::array<ScaleFactorLookup, 1 << kLookupBits> table{};
    for (Qor32u i = 0; i < table.size(); ++i) {
        int length = 0;
        table[i].node =
            Qor8u(walk(_pHfTableScf.data(), 0, i << (32 - kLookupBits), kLookupBits, length));
        table[i].length = Qor8u(length);
    }
    return table;
}();

}  // namespace

constexpr std::array<CbParam, 16> _pCbParam_AAC{{
    {0, 0, 0, nullptr, nullptr},
    {1, 0, 4, _pHfTableSp1.data(), kLookup1.data()},
    {2, 0, 4, _pHfTableSp2.data(), kLookup2.data()},
    {3, 1, 4, _pHfTableSp3.data(), kLookup3.data()},
    {4, 1, 4, _pHfTableSp4.data(), kLookup4.data()},
    {5, 0, 2, _pHfTableSp5.data(), kLookup5.data()},
    {6, 0, 2, _pHfTableSp6.data(), kLookup6.data()},
    {7, 1, 2, _pHfTableSp7.data(), kLookup7.data()},
    {8, 1, 2, _pHfTableSp8.data(), kLookup8.data()},
    {9, 1, 2, _pHfTableSp9.data(), kLookup9.data()},
    {10, 1, 2, _pHfTableSp10.data(), kLookup10.data()},
    {11, 1, 2, _pHfTableSp11.data(), kLookup11.data()},
    {12, 0, 0, nullptr, nullptr},
    {13, 0, 0, nullptr, nullptr},
    {14, 0, 0, nullptr, nullptr},
    {15, 0, 0, nullptr, nullptr},
}};

// --- reader -----------------------------------------------------------------------------------

namespace {

enum CodeBook { kZeroBook = 0, kEscapeBook = 11, kNoiseBook = 13, kIntensityBook2 = 14 };

// The stream as a bit position. A look takes the four bytes from that of the next bit on, so that
// no more than three bytes behind the last bit used are touched as long as each look uses a bit.
class BitReader {
  public:
    QORAC_INLINE BitReader(Qor8u* const* ppBitStream, const Qor32s* pOffset)
        : base_(*ppBitStream), position_(Qor32u(*pOffset)) {}

    // The next bits from the top down; at least 25 are valid.
    QORAC_INLINE Qor32u peek() const {
        return loadBigEndian32(base_ + (position_ >> 3)) << (position_ & 7);
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
    const ScaleFactorLookup entry = kLookupScf[bits >> (32 - kLookupBits)];
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

// The longest code word and its signs, 20 bits, fit in one look.
template <int tupleSize, bool isUnsigned, bool escapes>
QORAC_INLINE QorStatus decodeTuples(BitReader& reader, const CbParam& book, Qor32s* pDst,
                                    Qor32s len) {
    constexpr int kMaxLength = 16;
    for (Qor32s k = 0; k < len; k += tupleSize) {
        Qor32u bits = reader.peek();
        SpectrumLookup tuple = book.pLookup[bits >> (32 - kLookupBits)];
        int length = tuple.length;
        int signs = tuple.signs;
        if (__builtin_expect(length == 0, 0)) {
            length = kLookupBits;
            const int node = walk(book.pTable, tuple.node, bits << kLookupBits, kMaxLength, length);
            unpackLeaf<tupleSize>(tuple, book.pTable[node]);
            signs = signCount<tupleSize, isUnsigned>(tuple);
        }
        reader.skip(length + signs);

        Qor32s* const values = pDst + k;
        bits <<= length;
        for (int i = 0; i < tupleSize; ++i) {
            values[i] = tuple.value[i];
            if constexpr (isUnsigned) {
                const Qor32s sign = Qor32s(bits) >> 31;
                bits <<= values[i] != 0 ? 1 : 0;
                values[i] = (values[i] ^ sign) - sign;
            }
        }
        if constexpr (escapes) {
            for (int i = 0; i < tupleSize; ++i) {
                if (tuple.value[i] != 16) continue;
                Qor32s escaped = 0;
                const QorStatus status = ownsDecodeSpecEsc_AAC(reader, &escaped);
                if (status != qorStsNoErr) return status;
                values[i] = values[i] < 0 ? -escaped : escaped;
            }
        }
    }
    return qorStsNoErr;
}

QORAC_INLINE QorStatus decodeSection(Qor8u** ppBitStream, Qor32s* pOffset, Qor32s* pDst, Qor32s len,
                                     Qor32s codeBook) {
    const CbParam& book = _pCbParam_AAC[codeBook];
    BitReader reader(ppBitStream, pOffset);
    QorStatus status = qorStsNoErr;
    if (codeBook == kEscapeBook)
        status = decodeTuples<2, true, true>(reader, book, pDst, len);
    else if (book.tupleSize == 4)
        status = book.isUnsigned != 0 ? decodeTuples<4, true, false>(reader, book, pDst, len)
                                      : decodeTuples<4, false, false>(reader, book, pDst, len);
    else
        status = book.isUnsigned != 0 ? decodeTuples<2, true, false>(reader, book, pDst, len)
                                      : decodeTuples<2, false, false>(reader, book, pDst, len);
    if (status == qorStsNoErr) reader.store(ppBitStream, pOffset);
    return status;
}

QORAC_CLONES QorStatus decodeSpecHuf(Qor8u** ppBitStream, Qor32s* pOffset, Qor32s* pDst, Qor32s len,
                                     Qor32s codeBook) {
    return decodeSection(ppBitStream, pOffset, pDst, len, codeBook);
}

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
    Qor32s* pGroup = pSpectrum;
    for (Qor32s group = 0; group < numWinGrp; ++group) {
        const Qor32s windows = pWinGrpLen[group];
        Qor32s position = 0;
        for (Qor32s section = 0; section < pNumSec[group]; ++section, ++pSectCb, ++pSectEnd) {
            if (*pSectEnd > numSwb) return qorStsErr;
            Qor32s* const pSection = pGroup + position;
            const Qor32s len = swbOffset[*pSectEnd] * windows - position;
            position += len;
            if (*pSectCb == 12) return qorStsAacCodebookErr;
            if (*pSectCb == kZeroBook || *pSectCb >= kNoiseBook) {
                std::fill_n(pSection, len, 0);
                continue;
            }
            const QorStatus status = decodeSection(ppBitStream, pOffset, pSection, len, *pSectCb);
            if (status != qorStsNoErr) return status;
        }
        std::fill(pGroup + position, pGroup + winLen * windows, 0);
        pGroup += winLen * windows;
    }
    std::fill(pGroup, pSpectrum + 1024, 0);
    return qorStsNoErr;
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
