// Choice of Huffman tables and counting of bits for one granule and channel of a Layer III stream
// (ISO 11172-3 clauses 2.4.2.7 and C.1.5.4.4): what the search for the global gain asks at every
// step. All work is on magnitudes and code lengths; the counts equal what the packer writes.
//
// Band tables (pSfb) are rows of _qor_pMP3SfbTableLong.
#pragma once

#include "qorac.h"

namespace qorac {

// How the 576 lines of a granule are divided; the rest behind the count1 region is zero.
struct SpectrumRegions {
    Qor32s len[3];     // lines of the three big-values regions
    Qor32s count1Len;  // lines of the count1 region
};

// Index of the first largest value; 0 when none is above 0.
int ownsGetMaxValueIndex_MP3_32s(const Qor32s* pSrc, int len);

// The steps, in the order in which ownsGetTotalSpBits_MP3 takes them.
void ownsSubdivideQuantVals_MP3(const Qor32s* pIx, QorMP3SideInfo* pSide,
                                SpectrumRegions* pGranule);
void ownsSubdivideBigVals_MP3(QorMP3SideInfo* pSide, const Qor16s* pSfb);
// Returns the bits of the three regions.
int ownsChooseHuffmanTablePair_MP3(const Qor32s* pIx, QorMP3SideInfo* pSide,
                                   SpectrumRegions* pGranule, const Qor16s* pSfb);
// Table with the fewest bits for a run of pairs, and its bits in *pBits. It counts the pairs once
// for all tables of an alphabet.
int ownsChooseHuffmanTableBest_MP3(const Qor32s* pIx, int len, int* pBits);
// Bits of a run of pairs with one table: codes, signs and escape bits.
int ownsGetNumberOfSpectralBits_MP3(const Qor32s* pIx, int len, int table);
int ownsCount1BitCount_MP3(const Qor32s* pIx, int len, Qor32s* pSelect);

// Huffman bits of a granule. Sets big_values, the region counts, table_select and
// count1table_select of *pSide, and *pGranule.
int ownsGetTotalSpBits_MP3(const Qor32s* pIx, QorMP3SideInfo* pSide, SpectrumRegions* pGranule,
                           const Qor16s* pSfb);

// Sets scalefac_compress to the lowest value whose widths hold the scale factors; 0 when there is
// none (the field is left alone) and for id other than 1.
int ownsChooseScalefactorTable_MP3(const Qor8s* pScale, QorMP3SideInfo* pSide, const Qor32s* pScfsi,
                                   const QorMP3FrameHeader* pFrameHeader, int granule);

// Bits of the scale factors under scalefac_compress; 0 for id other than 1.
int ownsGetNumberOfScalefactorBits_MP3(const QorMP3SideInfo* pSide, const Qor32s* pScfsi,
                                       const QorMP3FrameHeader* pFrameHeader, int granule);

}  // namespace qorac
