// Bit reversals of the FFT engines, by the tables of qors_initTabBitRevNorm and qors_initTabBitRev.
#pragma once

#include "qorac.h"

namespace qorac {

// Elements 0 to 2^order - 1 change places with those whose index has the bits in reverse, in place
// (1) or from source to destination (2); complex numbers (C) or floats (S). The table is that of
// qors_initTabBitRevNorm for the order, which is at least 8.
void qors_BitRev1_C(Qor32fc* pSrcDst, Qor32s order, const Qor32s* pBitRev);
void qors_BitRev2_C(const Qor32fc* pSrc, Qor32fc* pDst, Qor32s order, const Qor32s* pBitRev);
void qors_BitRev1_S(Qor32f* pSrcDst, Qor32s order, const Qor32s* pBitRev);
void qors_BitRev2_S(const Qor32f* pSrc, Qor32f* pDst, Qor32s order, const Qor32s* pBitRev);

// The same in place by the swap list of qors_initTabBitRev: 8-byte elements of any order above 1,
// and the tiles of 4096 complex numbers or floats that the blocked path works in.
void qors_BitRev1_8(void* pSrcDst, Qor32s order, const Qor32s* pBitRev);
void qors_cBitRev1_Blk(Qor32fc* pTile, const Qor32s* pBitRev);
void qors_sBitRev1_Blk(Qor32f* pTile, const Qor32s* pBitRev);

}  // namespace qorac
