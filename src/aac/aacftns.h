// Coefficients of the AAC noise shaping filters.
#pragma once

#include "qorac.h"

namespace qorac {

constexpr int kMaxTnsOrder = 32;

// Direct-form coefficients pLpc[1] to pLpc[order] of a magnitude of at most 2^26, in Q(*pShift),
// from the quantized reflection coefficients. coefRes is 3 or 4, order 1 to kMaxTnsOrder.
// qorStsAacTnsCoefErr: one of pCoef is outside -8 to 7.
QorStatus ownsTnsDecodeCoef(const Qor8s* pCoef, Qor32s* pLpc, int order, int coefRes, int* pShift);

}  // namespace qorac
