// Element-wise routines over arrays, which the rest of the library calls by these names.
//
// The qors functions test their arguments: pointers (qorStsNullPtrErr), then the length, which must
// be at least 1 unless a line says otherwise (qorStsSizeErr), then what is left; a failure writes
// nothing. The owns functions test nothing. No pointer needs alignment.
#pragma once

#include "qorac.h"

namespace qorac {

// --- clear, set, copy -------------------------------------------------------------------------

QorStatus qorsZero_8u(Qor8u* pDst, int len);
QorStatus qorsZero_16s(Qor16s* pDst, int len);
QorStatus qorsZero_16sc(Qor16sc* pDst, int len);
QorStatus qorsZero_32s(Qor32s* pDst, int len);
QorStatus qorsZero_32sc(Qor32sc* pDst, int len);
QorStatus qorsZero_32f(Qor32f* pDst, int len);
QorStatus qorsZero_32fc(Qor32fc* pDst, int len);
void ownsZero_8u(Qor8u* pDst, int numBytes);

QorStatus qorsSet_32s(Qor32s val, Qor32s* pDst, int len);
void ownsSet_32s(Qor32s val, Qor32s* pDst, int len);
void ownsSet_8u(Qor8u val, Qor8u* pDst, int len);

// Source and destination must not overlap.
QorStatus qorsCopy_8u(const Qor8u* pSrc, Qor8u* pDst, int len);
QorStatus qorsCopy_32s(const Qor32s* pSrc, Qor32s* pDst, int len);
QorStatus qorsCopy_32f(const Qor32f* pSrc, Qor32f* pDst, int len);
void ownsCopy_8u(const Qor8u* pSrc, Qor8u* pDst, int numBytes);

// Source and destination may overlap.
QorStatus qorsMove_8u(const Qor8u* pSrc, Qor8u* pDst, int len);
QorStatus qorsMove_32f(const Qor32f* pSrc, Qor32f* pDst, int len);

// --- arithmetic -------------------------------------------------------------------------------

// pSrcDst[i] becomes the sum of pSrc[i] and pSrcDst[i] times 2^-scaleFactor, rounded to nearest
// with ties to even and saturated. The sum is exact. A scaleFactor above 32 gives 0.
QorStatus qorsAdd_32s_ISfs(const Qor32s* pSrc, Qor32s* pSrcDst, int len, int scaleFactor);

// Multiplies by val in single precision; val 0 clears every element, NaN included.
QorStatus qorsMulC_32f_I(Qor32f* pSrcDst, int len, Qor32f val);

// (a + ib)(c + id) in single precision as ac - bd and ad + bc.
QorStatus qorsMul_32fc(const Qor32fc* pSrc1, const Qor32fc* pSrc2, Qor32fc* pDst, int len);
QorStatus qorsMul_32fc_I(const Qor32fc* pSrc, Qor32fc* pSrcDst, int len);

QorStatus qorsConj_32fc(const Qor32fc* pSrc, Qor32fc* pDst, int len);

// Arithmetic shift to the right; a negative val is qorStsShiftErr, from 32 on the sign is left.
QorStatus qorsRShiftC_32s_I(int val, Qor32s* pSrcDst, int len);

// --- conversion -------------------------------------------------------------------------------

// The source times 2^-scaleFactor, rounded to nearest with ties to even and saturated.
QorStatus qorsConvert_32s16s_Sfs(const Qor32s* pSrc, Qor16s* pDst, int len, int scaleFactor);

QorStatus qorsConvert_16s32f(const Qor16s* pSrc, Qor32f* pDst, int len);

// The source times 2^-scaleFactor (the factor as a float with the exponent field held to 0 to 255),
// saturated. rndMode 1, round to nearest with ties to even, is the one mode in use.
QorStatus qorsConvert_32f16s_Sfs(const Qor32f* pSrc, Qor16s* pDst, int len, int rndMode,
                                 int scaleFactor);

QorStatus qorsCplxToReal_32fc(const Qor32fc* pSrc, Qor32f* pDstRe, Qor32f* pDstIm, int len);

// One source may be null and counts as 0; two null sources are qorStsNullPtrErr, tested after the
// length.
QorStatus qorsRealToCplx_32f(const Qor32f* pSrcRe, const Qor32f* pSrcIm, Qor32fc* pDst, int len);

// --- statistics -------------------------------------------------------------------------------

QorStatus qorsMax_32s(const Qor32s* pSrc, int len, Qor32s* pMax);
QorStatus qorsMinMax_16s(const Qor16s* pSrc, int len, Qor16s* pMin, Qor16s* pMax);

// Sample standard deviation, with the sums in double precision; len must be at least 2. hint has no
// effect.
QorStatus qorsStdDev_32f(const Qor32f* pSrc, int len, Qor32f* pStdDev, int hint);

}  // namespace qorac
