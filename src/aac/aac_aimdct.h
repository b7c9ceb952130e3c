// The integer MDCT of AAC (ISO/IEC 13818-7 and 14496-3, filter bank and block switching): the
// transforms alone, without windows. n is the number of coefficients, 1024 or 128.
//
// The inverse cores leave half of their output's 2n samples f, from which the rest follows:
// x[j] = f[j] and x[n/2 + j] = f[n + j] for j below n/2, f[n - 1 - j] = -f[j],
// f[2n - 1 - j] = f[n + j].
#pragma once

#include "qorac.h"

namespace qorac {

// Inverse transform of the standard, with its factor 2/N, in place. The spectrum is measured and
// scaled so that the FFT does not overflow, and scaled back; a spectrum so loud that nothing is
// left to scale back comes out twice as loud.
void ownsMDCTInv_Radix2_32s(Qor32s* pSrcDst, int n);

// The same without measurement, 1/16 of the plain sum.
void ownsMDCTInv_Radix2_32s_I(Qor32s* pSrcDst, int n);

// ownsMDCTInv_Radix2_32s with all 2n = len samples of the output.
void ownsMDCTInv_Radix2_32s_MPEG4(Qor32s* pSrcDst, int len);

// Forward transform of the standard, with its factor 2: 2n samples in, n coefficients out.
void ownsMDCTFwd_Radix2_32s(Qor32s* pSrcDst, int n);

// The same with measurement, 1/n of the plain sum: 1/2n of the standard's.
void ownsMDCTFwd_Radix2_32s_I(Qor32s* pSrcDst, int n);

}  // namespace qorac
