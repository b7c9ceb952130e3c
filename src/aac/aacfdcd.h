// The noise generator of AAC's perceptual noise substitution (ISO/IEC 14496-3).
#pragma once

#include "qorac.h"

namespace qorac {

// n random values in Q31 with a sum of squares of about 2^62, unit energy; n from 1 to 96. The seed
// advances by one step per value.
void ownsGenerateRandVec_AAC(Qor32s* pDst, int n, Qor32s* pSeed);

// About 2^30 / sqrt(u / 2^31) for u from 2^30 to 2^31 - 1, within half a percent.
Qor32s ownsInvSqrt_AAC(Qor32s u);

// Doubles *pValue until it reaches 2^30; the number of doublings. 0 stays as it is.
int ownsNorm32_AAC(Qor32u* pValue);

}  // namespace qorac
