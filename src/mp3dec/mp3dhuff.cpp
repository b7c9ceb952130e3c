// Huffman decoding of MP3 spectra (ISO 11172-3 clause 2.4.1.7 and Table B.7): from stream bits to
// 576 signed integers per granule and channel.
#include <algorithm>
#include <cstring>

#include "frame/bitcursor.h"
#include "frame/mp3sfbtbl.h"
#include "frame/status.h"
#include "mp3dec/mp3dhufftbl.h"
#include "qorac.h"

namespace qorac {
namespace {

constexpr int kLines = 576;

// --- bits -------------------------------------------------------------------------------------

// A bit position behind a byte pointer. A look at the next bits fetches four bytes from the one in
// which the next bit stands, and 25 of them are valid at any offset; a far look fetches eight,
// which 33 bits that are sure to be used allow.
struct BitPosition {
    const Qor8u* base;
    Qor64s bits;

    QORAC_INLINE Qor32u look() const { return loadBigEndian32(base + (bits >> 3)) << (bits & 7); }
    static constexpr int kBitsForFarLook = 33;
    QORAC_INLINE Qor64u lookFar() const {
        Qor64u word;
        std::memcpy(&word, base + (bits >> 3), sizeof word);
        return __builtin_bswap64(word) << (bits & 7);
    }
};

// --- pairs ------------------------------------------------------------------------------------

// The value with the sign that the top bit of `word` gives; 0 stays 0.
template <typename Word>
QORAC_INLINE Qor32s withSign(Qor32s value, Word word) {
    const Qor32s sign = -Qor32s(word >> (8 * sizeof(Word) - 1));
    return (value ^ sign) - sign;
}

// One value of an escape table: 15 is followed by linbits that add to it, any value but 0 by its
// sign.
Qor32s readEscape(BitPosition& position, Qor32s value, int linbits) {
    if (value == 0) return 0;
    if (value == 15) {
        value += Qor32s(position.look() >> (32 - linbits));
        position.bits += linbits;
    }
    const Qor32s result = withSign(value, position.look());
    position.bits += 1;
    return result;
}

// The table's entry for the code at the top of the word.
template <typename Word>
QORAC_INLINE PairEntry lookUp(const PairTable& table, Word word) {
    constexpr int kBits = int(8 * sizeof(Word));
    const PairEntry entry = table.entries[word >> (kBits - table.rootBits)];
    if (entry.totalLength != 0) [[likely]]
        return entry;
    const int second = entry.x | entry.y << 8;
    return table.entries[second + int((word << table.rootBits) >> (kBits - entry.codeLength))];
}

// Stores the pair of an entry without escapes, with the signs that follow its code.
template <typename Word>
QORAC_INLINE void storePair(PairEntry entry, Word word, Qor32s* pDst) {
    const Word xSign = word << entry.codeLength;
    pDst[0] = withSign(entry.x, xSign);
    pDst[1] = withSign(entry.y, xSign << (entry.x != 0));
}

// Decodes pairs one by one; while a far look is allowed, each pair taking at least a bit, two from
// one look where neither has an escape: their codes and signs take at most 42 bits, and 57 are
// valid.
template <bool escapes>
BitPosition readPairs(BitPosition position, int bitsBehind, Qor32s* pDst, int pairs,
                      const PairTable& table) {
    const auto hasEscape = [](PairEntry entry) {
        return escapes && (entry.x == 15 || entry.y == 15);
    };
    while (pairs > 0) {
        if (pairs >= 2 && pairs + bitsBehind >= BitPosition::kBitsForFarLook) {
            const Qor64u word = position.lookFar();
            const PairEntry first = lookUp(table, word);
            const Qor64u rest = word << first.totalLength;
            const PairEntry second = lookUp(table, rest);
            if (!hasEscape(first) && !hasEscape(second)) {
                storePair(first, word, pDst);
                storePair(second, rest, pDst + 2);
                position.bits += first.totalLength + second.totalLength;
                pDst += 4;
                pairs -= 2;
                continue;
            }
        }
        const Qor32u word = position.look();
        const PairEntry entry = lookUp(table, word);
        if (hasEscape(entry)) {
            position.bits += entry.codeLength;
            pDst[0] = readEscape(position, entry.x, table.linbits);
            pDst[1] = readEscape(position, entry.y, table.linbits);
        } else {
            storePair(entry, word, pDst);
            position.bits += entry.totalLength;
        }
        pDst += 2;
        --pairs;
    }
    return position;
}

// Decodes one region of `pairs` pairs, behind which others take at least `bitsBehind` bits.
BitPosition _sHuffmanGetPairs_MP3(BitPosition position, int bitsBehind, Qor32s* pDst, int pairs,
                                  Qor32s table_select) {
    const PairTable& table = _pHfPTable[table_select];
    if (!table.entries) {
        std::fill_n(pDst, 2 * pairs, 0);
        return position;
    }
    return table.linbits ? readPairs<true>(position, bitsBehind, pDst, pairs, table)
                         : readPairs<false>(position, bitsBehind, pDst, pairs, table);
}

// --- quadruples -------------------------------------------------------------------------------

// Decodes quadruples from line `index` on while there is budget; the last one does not count when
// it overruns the budget. Returns the line behind the last one that counts.
int _sHuffmanGetQuads_MP3(BitPosition position, Qor32s* pDst, int index, int budget,
                          Qor32s count1table_select) {
    const QuadEntry* const table = _pHfQTable[count1table_select];
    const int shift = 32 - kQuadIndexBits[count1table_select];
    while (index < kLines - 2 && budget > 0) {
        const QuadEntry entry = table[position.look() >> shift];
        for (int i = 0; i < 4; ++i) pDst[index + i] = entry.value[i];
        position.bits += entry.length;
        budget -= entry.length;
        index += 4;
    }
    return budget < 0 ? index - 4 : index;
}

// --- regions ----------------------------------------------------------------------------------

// Lines at which the first and the second region end, before the limit by big_values.
struct RegionEnds {
    int end0, end1;
};

RegionEnds longRegions(const QorMP3SideInfo& side, const Qor16s* pLong) {
    return {pLong[side.region0_count + 1], pLong[side.region0_count + side.region1_count + 2]};
}

// With window switching the first region has 36 lines, or 54 in the long blocks of a low sampling
// frequency.
RegionEnds switchedRegionsSfb(const QorMP3SideInfo& side, Qor32s id) {
    return {id == 1 || side.block_type == 2 ? 36 : 54, kLines};
}

// First region of a mixed block: the long bands, then steps of short-band width, of which the first
// band makes two and each later one three.
int mixedRegion(const Qor16s* pLong, const Qor16s* pShort, const Qor16s* pMbp) {
    int end = pLong[pMbp[0]];
    int band = 1;
    while (band < 13 && pShort[band] * 3 <= end) ++band;
    for (int step = 1; step <= pMbp[1] && band <= 13; ++step) {
        end += pShort[band] - pShort[band - 1];
        if (step % 3 == 2) ++band;
    }
    return end;
}

RegionEnds switchedRegionsSfbMbp(const QorMP3SideInfo& side, const Qor16s* pLong,
                                 const Qor16s* pShort, const Qor16s* pMbp) {
    if (side.block_type != 2) return {pLong[8], kLines};
    if (side.mixed_block_flag == 0) return {3 * pShort[3], kLines};
    return {mixedRegion(pLong, pShort, pMbp), kLines};
}

// --- one granule and channel ------------------------------------------------------------------

int regionCount(const QorMP3SideInfo& side) { return side.window_switching_flag ? 2 : 3; }

// A spectrum of no bits is silent, whatever regions it is said to have. No band table is read.
QorStatus decodeNothing(Qor32s* pDstIs, Qor32s* pDstNonZeroBound, const QorMP3SideInfo& side) {
    for (int region = 0; region < regionCount(side); ++region)
        if (outside(side.table_select[region], 0, 31)) return qorStsMp3SideInfoErr;
    std::fill_n(pDstIs, kLines, 0);
    *pDstNonZeroBound = 0;
    return qorStsNoErr;
}

QorStatus decode(Qor8u** ppBitStream, Qor32s* pOffset, Qor32s* pDstIs, Qor32s* pDstNonZeroBound,
                 const QorMP3SideInfo& side, int hufSize, RegionEnds ends) {
    const int regions = regionCount(side);
    // A region of an odd size takes a whole pair more, as long as there is room.
    const int bigValues = 2 * side.big_values;
    const int end[3] = {std::min(ends.end0, bigValues), std::min(ends.end1, bigValues), bigValues};
    int pairs[3];
    for (int region = 0, start = 0, room = kLines / 2; region < regions; ++region) {
        pairs[region] = std::clamp((end[region] - start + 1) / 2, 0, room);
        room -= pairs[region];
        start = end[region];
    }

    BitPosition position{*ppBitStream, *pOffset};
    const auto moveCursor = [&](Qor64s bits) {
        *ppBitStream += bits >> 3;
        *pOffset = Qor32s(bits & 7);
    };
    int line = 0;
    for (int region = 0; region < regions; ++region) {
        if (outside(side.table_select[region], 0, 31)) {
            moveCursor(position.bits);
            return qorStsMp3SideInfoErr;
        }
        int bitsBehind = 0;
        for (int r = region + 1; r < regions && !outside(side.table_select[r], 0, 31); ++r)
            if (_pHfPTable[side.table_select[r]].entries) bitsBehind += pairs[r];
        position = _sHuffmanGetPairs_MP3(position, bitsBehind, pDstIs + line, pairs[region],
                                         side.table_select[region]);
        line += 2 * pairs[region];
    }

    const int budget = int(hufSize - (position.bits - *pOffset));
    if (budget < 0) {
        moveCursor(position.bits);
        return qorStsErr;
    }
    line = _sHuffmanGetQuads_MP3(position, pDstIs, bigValues, budget, side.count1table_select);
    moveCursor(Qor64s(*pOffset) + hufSize);

    std::fill(pDstIs + line, pDstIs + kLines, 0);
    while (line > 0 && pDstIs[line - 1] == 0) --line;
    *pDstNonZeroBound = line;
    return qorStsNoErr;
}

bool badRegionCounts(const QorMP3SideInfo& side) {
    return side.window_switching_flag == 0 &&
           (side.region0_count < 0 || side.region1_count < 0 ||
            Qor64s(side.region0_count) + side.region1_count >= 21);
}

}  // namespace
}  // namespace qorac

using namespace qorac;

QorStatus qorsHuffmanDecodeSfb_MP3_1u32s(Qor8u** ppBitStream, Qor32s* pOffset, Qor32s* pDstIs,
                                         Qor32s* pDstNonZeroBound, const QorMP3SideInfo* pSideInfo,
                                         const QorMP3FrameHeader* pFrameHeader, int hufSize,
                                         const Qor16s (*pSfbTableLong)[23]) {
    if (!ppBitStream || !pOffset || !pDstIs || !pDstNonZeroBound || !pSideInfo || !pFrameHeader ||
        !*ppBitStream)
        return qorStsNullPtrErr;
    const QorMP3SideInfo& side = *pSideInfo;
    const QorMP3FrameHeader& header = *pFrameHeader;
    if (outside(*pOffset, 0, 7) || outside(hufSize, 0, side.part2_3_length)) return qorStsBadArgErr;
    if (outside(side.big_values, 0, 288)) return qorStsMp3SideInfoErr;
    if (outside(side.block_type, 0, 3)) return qorStsMp3SideInfoErr;
    if (outside(side.window_switching_flag, 0, 1)) return qorStsMp3SideInfoErr;
    if (outside(side.count1table_select, 0, 1)) return qorStsMp3SideInfoErr;
    if (outside(header.id, 0, 1)) return qorStsMp3FrameHeaderErr;
    if (header.layer != 1 || outside(header.sampling_frequency, 0, 2))
        return qorStsMp3FrameHeaderErr;
    if (badRegionCounts(side)) return qorStsMp3SideInfoErr;
    if (side.window_switching_flag == 1 && side.block_type == 0) return qorStsMp3SideInfoErr;
    if (hufSize == 0) return decodeNothing(pDstIs, pDstNonZeroBound, side);

    const int row = header.id * 3 + header.sampling_frequency;
    const RegionEnds ends = side.window_switching_flag ? switchedRegionsSfb(side, header.id)
                                                       : longRegions(side, pSfbTableLong[row]);
    return decode(ppBitStream, pOffset, pDstIs, pDstNonZeroBound, side, hufSize, ends);
}

QorStatus qorsHuffmanDecodeSfbMbp_MP3_1u32s(Qor8u** ppBitStream, Qor32s* pOffset, Qor32s* pDstIs,
                                            Qor32s* pDstNonZeroBound,
                                            const QorMP3SideInfo* pSideInfo,
                                            const QorMP3FrameHeader* pFrameHeader, int hufSize,
                                            const Qor16s (*pSfbTableLong)[23],
                                            const Qor16s (*pSfbTableShort)[14],
                                            const Qor16s (*pMbpTable)[2]) {
    if (!ppBitStream || !pOffset || !pDstIs || !pDstNonZeroBound || !pSideInfo || !pFrameHeader ||
        !*ppBitStream)
        return qorStsNullPtrErr;
    const QorMP3SideInfo& side = *pSideInfo;
    const QorMP3FrameHeader& header = *pFrameHeader;
    if (outside(*pOffset, 0, 7)) return qorStsBadArgErr;
    if (outside(header.id, 0, 1)) return qorStsMp3FrameHeaderErr;
    if (outside(side.big_values, 0, 288)) return qorStsMp3SideInfoErr;
    if (outside(side.block_type, 0, 3)) return qorStsMp3SideInfoErr;
    if (outside(side.window_switching_flag, 0, 1)) return qorStsMp3SideInfoErr;
    if (side.window_switching_flag == 1 && side.block_type == 0) return qorStsMp3SideInfoErr;
    if (header.layer != 1 || outside(header.sampling_frequency, 0, 2))
        return qorStsMp3FrameHeaderErr;
    if (outside(side.count1table_select, 0, 1)) return qorStsMp3SideInfoErr;
    if (outside(hufSize, 0, side.part2_3_length)) return qorStsMp3SideInfoErr;
    if (badRegionCounts(side)) return qorStsMp3SideInfoErr;
    if (hufSize == 0) return decodeNothing(pDstIs, pDstNonZeroBound, side);

    const int row = header.id * 3 + header.sampling_frequency;
    const RegionEnds ends =
        side.window_switching_flag
            ? switchedRegionsSfbMbp(side, pSfbTableLong[row], pSfbTableShort[row], pMbpTable[row])
            : longRegions(side, pSfbTableLong[row]);
    return decode(ppBitStream, pOffset, pDstIs, pDstNonZeroBound, side, hufSize, ends);
}

QorStatus qorsHuffmanDecode_MP3_1u32s(Qor8u** ppBitStream, Qor32s* pOffset, Qor32s* pDstIs,
                                      Qor32s* pDstNonZeroBound, const QorMP3SideInfo* pSideInfo,
                                      const QorMP3FrameHeader* pFrameHeader, int hufSize) {
    return qorsHuffmanDecodeSfb_MP3_1u32s(ppBitStream, pOffset, pDstIs, pDstNonZeroBound, pSideInfo,
                                          pFrameHeader, hufSize, _qor_pMP3SfbTableLong);
}
