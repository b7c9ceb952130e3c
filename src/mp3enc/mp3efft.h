// Real Fourier transforms of the psychoacoustic model.
#pragma once

#include "qorac.h"

namespace qorac {

// pDst[k] = sum of pSrc[n] e^(-2 pi i n k / N) for k = 0 to N / 2, N = 1024 or 256, as integers.
// A null pointer gives qorStsNullPtrErr.
QorStatus ownsFFTFwd1024_Audio_16s32sc(const Qor16s* pSrc, Qor32sc* pDst);
QorStatus ownsFFTFwd256_Audio_16s32sc(const Qor16s* pSrc, Qor32sc* pDst);

}  // namespace qorac
