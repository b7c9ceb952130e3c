// Complex FFT in 32-bit integers, shared by the AAC filter bank and the integer QMF banks.
#pragma once

#include "qorac.h"

namespace qorac {

// In place, 2^order points with order 5 to 9, sign e^(-i...), natural order in and out, no scaling:
// the gain is that of the plain sum. Sums wrap at 32 bits.
void ownsIMDCT_FFT_32sc_I(Qor32sc* pSrcDst, int order);

}  // namespace qorac
