// Forward complex FFT of 16-bit data with a scale factor.
//
// X(k) = 2^-scaleFactor * norm * sum over n of x(n) exp(-2 pi j n k / N), rounded and saturated to
// 16 bits, N = 2^order. Order 0 only scales; orders 1 to 3 with hint 0 or 1 run in 32-bit integers,
// everything else runs as a transform of floats. There is no inverse.
#pragma once

#include "transform/fft32f.h"

namespace qorac {

// A block aligned to 32 bytes: this header, then the swap list or the float spec. Only read once it
// is built.
struct QorsFFTSpec_C_16sc {
    Qor32s id;          // kFftId_C_16sc; 0 when dead
    Qor32s order;       // log2 of the length
    Qor32s fwdShift;    // right shift of the forward normalisation
    Qor32s invShift;    // the same of the inverse
    Qor32s oddSqrt;     // 1: a factor sqrt(1/2) completes the normalisation by 1/sqrt(N)
    Qor32s hint;        // 0 or 1: integers where they reach
    Qor32s workSize;    // bytes of scratch without the alignment slack
    Qor32s useFloat;    // 1: the route through floats
    Qor32s ownsMemory;  // 1: made by InitAlloc
    Qor32s* pBitRev;    // swap list of the integer route
    QorsFFTSpec_C_32fc* pFloatSpec;
};

constexpr Qor32s kFftId_C_16sc = 1;

// Sizes in bytes of the record, of the memory that only Init uses and of a transform's scratch.
//   order outside 0..30                 qorStsFftOrderErr
//   a result pointer null               qorStsNullPtrErr
//   flag not 1, 2, 4 or 8               qorStsFftFlagErr
//   float route: the statuses of qorsFFTGetSize_C_32fc
QorStatus qorsFFTGetSize_C_16sc(Qor32s order, Qor32s flag, Qor32s hint, Qor32s* pSpecSize,
                                Qor32s* pInitSize, Qor32s* pBufSize);

// Builds the record in pMemSpec, neither memory needs alignment.
//   ppSpec null                         qorStsNullPtrErr
//   order outside 0..30                 qorStsFftOrderErr
//   pMemSpec null                       qorStsNullPtrErr
//   flag not 1, 2, 4 or 8               qorStsFftFlagErr, with the id left 0
//   order above 0 and pMemInit null     qorStsNullPtrErr
//   float route: the statuses of qorsFFTInit_C_32fc, with the id left 0
QorStatus qorsFFTInit_C_16sc(QorsFFTSpec_C_16sc** ppSpec, Qor32s order, Qor32s flag, Qor32s hint,
                             Qor8u* pMemSpec, Qor8u* pMemInit);

// Builds the record in memory of its own: ppSpec null, the statuses of GetSize,
// qorStsMemAllocErr, the statuses of Init; nothing stays allocated after a failure.
QorStatus qorsFFTInitAlloc_C_16sc(QorsFFTSpec_C_16sc** ppSpec, Qor32s order, Qor32s flag,
                                  Qor32s hint);
// pSpec null, then qorStsContextMatchErr. Clears the id; releases what InitAlloc allocated.
QorStatus qorsFFTFree_C_16sc(QorsFFTSpec_C_16sc* pSpec);

// Scratch of a transform with its alignment slack. Null pointers, then qorStsContextMatchErr.
QorStatus qorsFFTGetBufSize_C_16sc(const QorsFFTSpec_C_16sc* pSpec, Qor32s* pSize);

// The transform, in place or not. With pBuffer null it allocates and releases its own scratch.
//   pSpec null                          qorStsNullPtrErr
//   id of another family                qorStsContextMatchErr
//   a data pointer null                 qorStsNullPtrErr
//   allocation of the scratch fails     qorStsMemAllocErr, with nothing written
QorStatus qorsFFTFwd_CToC_16sc_Sfs(const Qor16sc* pSrc, Qor16sc* pDst,
                                   const QorsFFTSpec_C_16sc* pSpec, Qor32s scaleFactor,
                                   Qor8u* pBuffer);

}  // namespace qorac
