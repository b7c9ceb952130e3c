#include "mp3enc/mp3ehuff.h"

#include <algorithm>

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

}  // namespace

int ownsGetMaxValueIndex_MP3_32s(const Qor32s* pSrc, int len) {
    int index = 0;
    Qor32s largest = 0;
    for (int i = 0; i < len; ++i) {
        if (pSrc[i] <= largest) continue;
        largest = pSrc[i];
        index = i;
    }
    return index;
}

// --- spectrum ---------------------------------------------------------------------------------

void ownsSubdivideQuantVals_MP3(const Qor32s* pIx, QorMP3SideInfo* pSide,
                                SpectrumRegions* pGranule) {
    int n = kLines;
    while (n >= 2 && pIx[n - 1] == 0 && pIx[n - 2] == 0) n -= 2;
    int quads = 0;
    while (n >= 4 && std::max({pIx[n - 1], pIx[n - 2], pIx[n - 3], pIx[n - 4]}) <= 1) {
        n -= 4;
        ++quads;
    }
    pSide->big_values = n / 2;
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
    const HuffmanTable& huffman = pHf_table[table];
    int bits = 0;
    for (int i = 0; i < len; i += 2) {
        const Qor32s x = std::min(pIx[i], kEscape), y = std::min(pIx[i + 1], kEscape);
        bits += huffman.pCode[huffman.xlen * x + y].length + (x != 0) + (y != 0);
        bits += huffman.linbits * ((x == kEscape) + (y == kEscape));
    }
    return bits;
}

int ownsChooseHuffmanTableBest_MP3(const Qor32s* pIx, int len) {
    const Qor32s largest = len > 0 ? pIx[ownsGetMaxValueIndex_MP3_32s(pIx, len)] : 0;
    if (largest == 0) return 0;

    if (largest >= kEscape) {
        const auto lowest = [&](int table) {
            while (pHf_table[table].linmax <= largest - kEscape) ++table;
            return table;
        };
        const int a = lowest(16), b = lowest(24);
        return ownsGetNumberOfSpectralBits_MP3(pIx, len, b) <
                       ownsGetNumberOfSpectralBits_MP3(pIx, len, a)
                   ? b
                   : a;
    }

    int table = 1;
    while (pHf_table[table].xlen <= largest) ++table;
    // The tables of one alphabet follow each other, with a gap where a number has no codes.
    const int xlen = pHf_table[table].xlen;
    int best = table;
    int bestBits = ownsGetNumberOfSpectralBits_MP3(pIx, len, table);
    for (int candidate = table + 1; candidate <= 15; ++candidate) {
        if (pHf_table[candidate].xlen != xlen) continue;
        const int bits = ownsGetNumberOfSpectralBits_MP3(pIx, len, candidate);
        if (bits > bestBits) continue;
        best = candidate;
        bestBits = bits;
    }
    return best;
}

void ownsChooseHuffmanTablePair_MP3(const Qor32s* pIx, QorMP3SideInfo* pSide,
                                    SpectrumRegions* pGranule, const Qor16s* pSfb) {
    const int end = 2 * pSide->big_values;
    int bound[4] = {0, 36, end, end};
    if (!pSide->window_switching_flag) {
        bound[1] = pSfb[pSide->region0_count + 1];
        bound[2] = pSfb[pSide->region0_count + pSide->region1_count + 2];
    }
    for (int r = 0; r < 3; ++r) {
        const int first = std::min(bound[r], end);
        pGranule->len[r] = std::min(bound[r + 1], end) - first;
        pSide->table_select[r] = ownsChooseHuffmanTableBest_MP3(pIx + first, pGranule->len[r]);
    }
}

int ownsCount1BitCount_MP3(const Qor32s* pIx, int len, Qor32s* pSelect) {
    int bitsA = 0, bitsB = 0, signs = 0;
    for (int i = 0; i < len; i += 4) {
        const int symbol = 8 * pIx[i] + 4 * pIx[i + 1] + 2 * pIx[i + 2] + pIx[i + 3];
        bitsA += _pHuffmanCode32[symbol].length;
        bitsB += _pHuffmanCode33[symbol].length;
        signs += pIx[i] + pIx[i + 1] + pIx[i + 2] + pIx[i + 3];
    }
    *pSelect = bitsA < bitsB ? 0 : 1;
    return std::min(bitsA, bitsB) + signs;
}

int ownsGetTotalSpBits_MP3(const Qor32s* pIx, QorMP3SideInfo* pSide, SpectrumRegions* pGranule,
                           const Qor16s* pSfb) {
    ownsSubdivideQuantVals_MP3(pIx, pSide, pGranule);
    ownsSubdivideBigVals_MP3(pSide, pSfb);
    ownsChooseHuffmanTablePair_MP3(pIx, pSide, pGranule, pSfb);
    int bits = 0;
    const Qor32s* p = pIx;
    for (int r = 0; r < 3; ++r) {
        bits += ownsGetNumberOfSpectralBits_MP3(p, pGranule->len[r], pSide->table_select[r]);
        p += pGranule->len[r];
    }
    return bits + ownsCount1BitCount_MP3(p, pGranule->count1Len, &pSide->count1table_select);
}

// --- scale factors ----------------------------------------------------------------------------

namespace {

// Groups of scale factors that share a width, and of long blocks that scfsi shares.
constexpr int kGroup[5] = {0, 6, 11, 16, 21};

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
            if (!isSharedGroup(pScfsi, granule, g)) include(g / 2, kGroup[g], kGroup[g + 1]);
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
        if (!isSharedGroup(pScfsi, granule, g)) bits += (kGroup[g + 1] - kGroup[g]) * slen[g / 2];
    return bits;
}

}  // namespace qorac
