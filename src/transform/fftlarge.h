// The part of the float FFT for complex orders 18 and up, where the data does not fit a cache.
//
// Of the `order` bits the low ones are done as contiguous transforms of the core, the high ones,
// whose butterflies stride through all of memory, column block by column block in a tile in the
// scratch, so that one pass over memory completes all of them.
#pragma once

#include "transform/fft32f.h"
#include "transform/fft32ftables.h"

namespace qorac {

constexpr int kFftLargeOrder = 18;  // the lowest order of the blocked path
constexpr int kFftTileOrder = 12;   // log2 of the elements of a tile of the reversal

// Bytes of the twiddle tables, of init memory (always 0) and of scratch.
void qors_getSizesTwd_Large_32f(Qor32s order, Qor32s* pSpecSize, Qor32s* pInitSize,
                                Qor32s* pBufSize);

// Fills pBitRev, pTwd, pStepTwd and workSize of the record with tables in pMemory, a 32-byte
// boundary. Returns the end of the tables.
Qor8u* qors_initTabTwd_Large_32f(QorsFFTSpec_32f* pSpec, Qor32s order, const QuarterWave& wave,
                                 Qor8u* pMemory);

// The transforms, scaled as the record says. pScratch stands on a 32-byte boundary.
void qors_cFftFwd_Large_32fc(const QorsFFTSpec_32f* pSpec, const Qor32fc* pSrc, Qor32fc* pDst,
                             Qor32s order, Qor8u* pScratch);
void qors_cFftInv_Large_32fc(const QorsFFTSpec_32f* pSpec, const Qor32fc* pSrc, Qor32fc* pDst,
                             Qor32s order, Qor8u* pScratch);
void qors_crFftFwd_Large_32f(const QorsFFTSpec_32f* pSpec, const Qor32f* pSrcRe,
                             const Qor32f* pSrcIm, Qor32f* pDstRe, Qor32f* pDstIm, Qor32s order,
                             Qor8u* pScratch);

}  // namespace qorac
