// Real Fourier transforms of the psychoacoustic model.
#pragma once

#include "qorac.h"

namespace qorac {

// Four transforms: pDst[t][k] = sum of pSrc[t][n] e^(-2 pi i n k / N) for k = 0 to N / 2, N = 1024
// or 256, as integers. Sources may be the same. A null pointer gives qorStsNullPtrErr.
QorStatus ownsFFTFwd1024_Audio_16s32sc(const Qor16s* const* pSrc, Qor32sc* const* pDst);
QorStatus ownsFFTFwd256_Audio_16s32sc(const Qor16s* const* pSrc, Qor32sc* const* pDst);

}  // namespace qorac
