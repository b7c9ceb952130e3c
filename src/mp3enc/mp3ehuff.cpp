#include "mp3enc/mp3ehuff.h"

#include <algorithm>
#include <array>
#include <utility>

#include "frame/fixed.h"
#include "frame/mp3scftbl.h"
#include "mp3enc/mp3ehufftbl.h"

namespace qorac {

namespace {

constexpr int kLines = 576;
constexpr int kBands = 22;
constexpr Qor32s kEscape = 15;  // the largest value of the alphabets with escape bits

// region0_count and region1_count by the band in which the big-values region ends.
constexpr Qor8s _pScalefactorSubdivideTable_MP3[kBands + 1][2] = {
    {0, 0}, {0, 0}, {0, 0}, {0, 0}, {0, 0}, {0, 1}, {1, 1}, {1, 1}, {1, 2}, {2, 2}, {2, 3}, {2, 3},
    {3, 4}, {3, 4}, {3, 4}, {4, 5}, {4, 5}, {4, 6}, {5, 6}, {5, 6}, {5, 7}, {6, 7}, {6, 7},
};

// Lengths of the codes of up to three tables side by side, sign bits included, as fields of one
// word: one look-up and one addition count a pair for all of them.
constexpr int kFieldBits = 20;  // 288 pairs of at most 21 bits

template <int xlen, typename... Codes>
constexpr std::array<Qor64u, xlen * xlen> packedLengths(const Codes&... codes) {
    std::array<Qor64u, xlen * xlen> packed{};
    for (int x = 0; x < xlen; ++x) {
        for (int y = 0; y < xlen; ++y) {
            const int signs = (x != 0) + (y != 0);
            int shift = 0;
            for (const HuffmanCode* table : {&codes[0]...}) {
                packed[xlen * x + y] |= Qor64u(table[xlen * x + y].length + signs) << shift;
                shift += kFieldBits;
            }
        }
    }
    return packed;
}

constexpr auto kLengths1 = packedLengths<2>(_pHuffmanCode1);
constexpr auto kLengths2 = packedLengths<3>(_pHuffmanCode2, _pHuffmanCode3);
constexpr auto kLengths5 = packedLengths<4>(_pHuffmanCode5, _pHuffmanCode6);
constexpr auto kLengths7 = packedLengths<6>(_pHuffmanCode7, _pHuffmanCode8, _pHuffmanCode9);
constexpr auto kLengths10 = packedLengths<8>(_pHuffmanCode10, _pHuffmanCode11, _pHuffmanCode12);
constexpr auto kLengths13 = packedLengths<16>(_pHuffmanCode13, _pHuffmanCode15);
constexpr auto kLengths16 = [] {
    auto packed = packedLengths<16>(_pHuffmanCode16, _pHuffmanCode24);
    for (int x = 0; x < 16; ++x)
        for (int y = 0; y < 16; ++y)
            packed[16 * x + y] |= Qor64u((x == kEscape) + (y == kEscape)) << 2 * kFieldBits;
    return packed;
}();

// The tables that share an alphabet, the first of which is the lowest one.
struct PairTables {
    int table[3];  // 0: none
    int xlen;
    const Qor64u* packed;
};
constexpr PairTables kPairTables[6] = {
    {{1, 0, 0}, 2, kLengths1.data()},     {{2, 3, 0}, 3, kLengths2.data()},
    {{5, 6, 0}, 4, kLengths5.data()},     {{7, 8, 9}, 6, kLengths7.data()},
    {{10, 11, 12}, 8, kLengths10.data()}, {{13, 15, 0}, 16, kLengths13.data()},
};

// The lowest tables that hold values up to `largest`, from 1 to 14.
const PairTables& tablesFor(Qor32s largest) {
    const PairTables* tables = kPairTables;
    while (tables->xlen <= largest) ++tables;
    return *tables;
}

// Bits of a run of pairs with each of the tables; for the escape tables with the codes of 16 and of
// 24, escape bits not counted, and the number of escapes.
struct PairBits {
    Qor32s field[3];
};

PairBits fieldsOf(Qor64u sum) {
    constexpr Qor64u kMask = (1 << kFieldBits) - 1;
    return {
        {Qor32s(sum & kMask), Qor32s(sum >> kFieldBits & kMask), Qor32s(sum >> 2 * kFieldBits)}};
}

PairBits countPairs(const Qor32s* pIx, int len, const PairTables& tables) {
    Qor64u sum = 0;
    for (int i = 0; i < len; i += 2) sum += tables.packed[tables.xlen * pIx[i] + pIx[i + 1]];
    return fieldsOf(sum);
}

PairBits countEscapePairs(const Qor32s* pIx, int len) {
    Qor64u sum = 0;
    for (int i = 0; i < len; i += 2)
        sum += kLengths16[16 * std::min(pIx[i], kEscape) + std::min(pIx[i + 1], kEscape)];
    return fieldsOf(sum);
}

// The same for quadruples: table A in the lower half, table B in the upper.
constexpr auto kQuadLengths = [] {
    std::array<Qor32u, 16> packed{};
    for (int i = 0; i < 16; ++i) {
        const int signs = (i & 1) + (i >> 1 & 1) + (i >> 2 & 1) + (i >> 3);
        packed[i] = Qor32u(_pHuffmanCode32[i].length + signs) |
                    Qor32u(_pHuffmanCode33[i].length + signs) << 16;
    }
    return packed;
}();

}  // namespace
}  // namespace qorac

#define QORAC_KERNEL "mp3enc/mp3ehuff_kernel.h"
#include "frame/levels.h"

namespace qorac {

QORAC_BIND(int, endOfValuesAbove, (const Qor32s* p, int len, Qor32s limit), (p, len, limit))
QORAC_BIND(Qor32s, largestOf, (const Qor32s* p, int len), (p, len))

int ownsGetMaxValueIndex_MP3_32s(const Qor32s* pSrc, int len) {
    const Qor32s largest = largestOf(pSrc, len);
    return largest == 0 ? 0 : int(std::find(pSrc, pSrc + len, largest) - pSrc);
}

// --- spectrum ---------------------------------------------------------------------------------

void ownsSubdivideQuantVals_MP3(const Qor32s* pIx, QorMP3SideInfo* pSide,
                                SpectrumRegions* pGranule) {
    constexpr int kWhole = 16;  // that the search takes
    // Pairs up to the last value, of which as many quadruples as have no value above 1.
    const int n = (endOfValuesAbove(pIx, kLines, 0) + 1) / 2 * 2;
    const int large = endOfValuesAbove(pIx, (n + kWhole - 1) / kWhole * kWhole, 1);
    const int quads = (n - large) / 4;
    pSide->big_values = (n - 4 * quads) / 2;
    pGranule->count1Len = 4 * quads;
}

void ownsSubdivideBigVals_MP3(QorMP3SideInfo* pSide, const Qor16s* pSfb) {
    const int end = 2 * pSide->big_values;
    int region0 = 0, region1 = 0;
    if (end == 0) {
        // no regions
    } else if (pSide->window_switching_flag == 0) {
        int band = 0;
        while (band < kBands && pSfb[band] < end) ++band;
        region0 = _pScalefactorSubdivideTable_MP3[band][0];
        region1 = _pScalefactorSubdivideTable_MP3[band][1];
        while (region0 > 0 && pSfb[region0 + 1] > end) --region0;
        while (region1 > 0 && pSfb[region0 + region1 + 2] > end) --region1;
    } else if (pSide->block_type != 2) {
        region0 = 7;
        region1 = 13;
    } else {
        region0 = 8;
        region1 = 12;
    }
    pSide->region0_count = region0;
    pSide->region1_count = region1;
}

int ownsGetNumberOfSpectralBits_MP3(const Qor32s* pIx, int len, int table) {
    if (table == 0) return 0;
    const auto& [xlen, linbits, linmax, pCode] = pHf_table[table];
    int bits = 0;
    for (int i = 0; i < len; i += 2) {
        const Qor32s x = std::min(pIx[i], kEscape), y = std::min(pIx[i + 1], kEscape);
        bits += pCode[xlen * x + y].length + (x != 0) + (y != 0);
        if (linbits != 0) bits += ((x == kEscape) + (y == kEscape)) * linbits;
    }
    return bits;
}

int ownsChooseHuffmanTableBest_MP3(const Qor32s* pIx, int len, int* pBits) {
    *pBits = 0;
    const Qor32s largest = largestOf(pIx, len);
    if (largest == 0) return 0;

    if (largest >= kEscape) {
        const auto [bits16, bits24, escapes] = countEscapePairs(pIx, len).field;
        const auto lowest = [&](int table) {
            while (pHf_table[table].linmax <= largest - kEscape) ++table;
            return table;
        };
        const int a = lowest(16), b = lowest(24);
        const int bitsA = bits16 + escapes * pHf_table[a].linbits;
        const int bitsB = bits24 + escapes * pHf_table[b].linbits;
        *pBits = std::min(bitsA, bitsB);
        return bitsB < bitsA ? b : a;
    }

    const PairTables& tables = tablesFor(largest);
    const PairBits bits = countPairs(pIx, len, tables);
    int best = 0;
    for (int i = 1; i < 3 && tables.table[i] != 0; ++i)
        if (bits.field[i] <= bits.field[best]) best = i;
    *pBits = bits.field[best];
    return tables.table[best];
}

int ownsChooseHuffmanTablePair_MP3(const Qor32s* pIx, QorMP3SideInfo* pSide,
                                   SpectrumRegions* pGranule, const Qor16s* pSfb) {
    const int end = 2 * pSide->big_values;
    int bound[4] = {0, 36, end, end};
    if (!pSide->window_switching_flag) {
        bound[1] = pSfb[pSide->region0_count + 1];
        bound[2] = pSfb[pSide->region0_count + pSide->region1_count + 2];
    }
    int total = 0;
    for (int r = 0; r < 3; ++r) {
        const int first = std::min(bound[r], end);
        pGranule->len[r] = std::min(bound[r + 1], end) - first;
        int bits;
        pSide->table_select[r] =
            ownsChooseHuffmanTableBest_MP3(pIx + first, pGranule->len[r], &bits);
        total += bits;
    }
    return total;
}

int ownsCount1BitCount_MP3(const Qor32s* pIx, int len, Qor32s* pSelect) {
    Qor32u sum = 0;
    for (int i = 0; i < len; i += 4)
        sum += kQuadLengths[8 * pIx[i] + 4 * pIx[i + 1] + 2 * pIx[i + 2] + pIx[i + 3]];
    const int bitsA = sum & 0xFFFF, bitsB = sum >> 16;
    *pSelect = bitsA < bitsB ? 0 : 1;
    return std::min(bitsA, bitsB);
}

int ownsGetTotalSpBits_MP3(const Qor32s* pIx, QorMP3SideInfo* pSide, SpectrumRegions* pGranule,
                           const Qor16s* pSfb) {
    ownsSubdivideQuantVals_MP3(pIx, pSide, pGranule);
    ownsSubdivideBigVals_MP3(pSide, pSfb);
    const int bits = ownsChooseHuffmanTablePair_MP3(pIx, pSide, pGranule, pSfb);
    return bits + ownsCount1BitCount_MP3(pIx + 2 * pSide->big_values, pGranule->count1Len,
                                         &pSide->count1table_select);
}

// --- scale factors ----------------------------------------------------------------------------

namespace {

bool isSharedGroup(const Qor32s* pScfsi, int granule, int group) {
    return granule == 1 && pScfsi[group];
}

}  // namespace

int ownsChooseScalefactorTable_MP3(const Qor8s* pScale, QorMP3SideInfo* pSide, const Qor32s* pScfsi,
                                   const QorMP3FrameHeader* pFrameHeader, int granule) {
    if (pFrameHeader->id != 1) return 0;

    int largest[2] = {0, 0};
    const auto include = [&](int which, int from, int to) {
        for (int i = from; i < to; ++i) largest[which] = std::max<int>(largest[which], pScale[i]);
    };
    if (pSide->block_type == 2) {
        include(0, 0, 18);
        include(1, 18, 36);
    } else {
        for (int g = 0; g < 4; ++g)
            if (!isSharedGroup(pScfsi, granule, g))
                include(g / 2, kScfsiGroupStart[g], kScfsiGroupStart[g + 1]);
    }

    for (int c = 0; c < 16; ++c) {
        if (largest[0] >= 1 << _pMP3TableSlen[0][c]) continue;
        if (largest[1] >= 1 << _pMP3TableSlen[1][c]) continue;
        pSide->scalefac_compress = c;
        return 1;
    }
    return 0;
}

int ownsGetNumberOfScalefactorBits_MP3(const QorMP3SideInfo* pSide, const Qor32s* pScfsi,
                                       const QorMP3FrameHeader* pFrameHeader, int granule) {
    if (pFrameHeader->id != 1) return 0;

    const int slen[2] = {_pMP3TableSlen[0][pSide->scalefac_compress],
                         _pMP3TableSlen[1][pSide->scalefac_compress]};
    if (pSide->block_type == 2) return (pSide->mixed_block_flag ? 17 : 18) * slen[0] + 18 * slen[1];

    int bits = 0;
    for (int g = 0; g < 4; ++g)
        if (!isSharedGroup(pScfsi, granule, g))
            bits += (kScfsiGroupStart[g + 1] - kScfsiGroupStart[g]) * slen[g / 2];
    return bits;
}

}  // namespace qorac
