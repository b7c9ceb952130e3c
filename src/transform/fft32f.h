// Power-of-two discrete Fourier transforms of 32-bit floats: complex interleaved, complex with
// separate real and imaginary arrays, and real data with a packed half spectrum.
//
// The forward kernel is exp(-2 pi j n k / N), the inverse kernel exp(+2 pi j n k / N); a factor
// stands only where the flag of the record puts one. Orders 0 to 27 (N = 2^order).
//
// The Perm format of a real transform of N >= 2 points holds R(0), R(N/2) and then the real and
// imaginary parts of bins 1 to N/2 - 1. Order 0 holds the single sample.
#pragma once

#include "qorac.h"

namespace qorac {

constexpr int kFftMaxBlockingLevels = 2;

// One record serves the three transforms, told apart by `id`. The tables follow in the same memory
// block, each on a 32-byte boundary: reversal, core twiddles, recombination. The pointers are
// absolute, so that a spec cannot be moved. A spec is only read once it is built.
struct QorsFFTSpec_32f {
    Qor32s id;                                // a kFftId constant; 0 when dead
    Qor32s order;                             // log2 of the length
    Qor32s scaleFwd;                          // 1: the forward transform multiplies by normFactor
    Qor32s scaleInv;                          // the same for the inverse
    Qor32f normFactor;                        // 1/N or 1/sqrt(N)
    Qor32s hint;                              // stored, never read
    Qor32s workSize;                          // bytes of scratch without the alignment slack
    Qor32s ownsMemory;                        // 1: made by InitAlloc
    Qor32s* pBitRev;                          // null for the orders that need none
    Qor32f* pTwd;                             // twiddles of the (half-length) complex core
    Qor32f* pRealRec;                         // forward recombination, real spec only
    Qor32f* pCcsRec;                          // inverse recombination, real spec only
    Qor32f* pStepTwd[kFftMaxBlockingLevels];  // twiddles of the blocked path, orders 18 and up
};

using QorsFFTSpec_C_32fc = QorsFFTSpec_32f;
using QorsFFTSpec_C_32f = QorsFFTSpec_32f;
using QorsFFTSpec_R_32f = QorsFFTSpec_32f;

constexpr Qor32s kFftId_C_32fc = 4;
constexpr Qor32s kFftId_C_32f = 5;
constexpr Qor32s kFftId_R_32f = 6;

// Sizes in bytes of the record, of the memory that only Init uses and of a transform's scratch.
//   order outside 0..30                 qorStsFftOrderErr
//   a result pointer null               qorStsNullPtrErr
//   flag not 1, 2, 4 or 8               qorStsFftFlagErr
//   order above 27                      qorStsFftOrderErr
QorStatus qorsFFTGetSize_C_32fc(Qor32s order, Qor32s flag, Qor32s hint, Qor32s* pSpecSize,
                                Qor32s* pInitSize, Qor32s* pBufSize);
QorStatus qorsFFTGetSize_C_32f(Qor32s order, Qor32s flag, Qor32s hint, Qor32s* pSpecSize,
                               Qor32s* pInitSize, Qor32s* pBufSize);
QorStatus qorsFFTGetSize_R_32f(Qor32s order, Qor32s flag, Qor32s hint, Qor32s* pSpecSize,
                               Qor32s* pInitSize, Qor32s* pBufSize);

// Builds the record in pMemSpec with pMemInit as scratch, neither of which needs alignment.
//   ppSpec null                         qorStsNullPtrErr
//   order outside 0..27                 qorStsFftOrderErr
//   pMemSpec null                       qorStsNullPtrErr
//   flag not 1, 2, 4 or 8               qorStsFftFlagErr, with the id left 0
//   order above 10 and pMemInit null    qorStsNullPtrErr
QorStatus qorsFFTInit_C_32fc(QorsFFTSpec_C_32fc** ppSpec, Qor32s order, Qor32s flag, Qor32s hint,
                             Qor8u* pMemSpec, Qor8u* pMemInit);
QorStatus qorsFFTInit_C_32f(QorsFFTSpec_C_32f** ppSpec, Qor32s order, Qor32s flag, Qor32s hint,
                            Qor8u* pMemSpec, Qor8u* pMemInit);
QorStatus qorsFFTInit_R_32f(QorsFFTSpec_R_32f** ppSpec, Qor32s order, Qor32s flag, Qor32s hint,
                            Qor8u* pMemSpec, Qor8u* pMemInit);

// Builds the record in memory of its own: ppSpec null, the statuses of GetSize,
// qorStsMemAllocErr, the statuses of Init; nothing stays allocated after a failure.
QorStatus qorsFFTInitAlloc_C_32fc(QorsFFTSpec_C_32fc** ppSpec, Qor32s order, Qor32s flag,
                                  Qor32s hint);
// pSpec null, then qorStsContextMatchErr. Clears the id; releases what InitAlloc allocated.
QorStatus qorsFFTFree_C_32fc(QorsFFTSpec_C_32fc* pSpec);

// Scratch of a transform with its alignment slack. Null pointers, then qorStsContextMatchErr.
QorStatus qorsFFTGetBufSize_C_32fc(const QorsFFTSpec_C_32fc* pSpec, Qor32s* pSize);
QorStatus qorsFFTGetBufSize_R_32f(const QorsFFTSpec_R_32f* pSpec, Qor32s* pSize);

// The transforms. Sources and destinations need no alignment and may be equal. pBuffer is scratch
// of the size that GetSize reports; with null the transform allocates and releases its own.
//   pSpec null                          qorStsNullPtrErr
//   id of another family                qorStsContextMatchErr
//   a data pointer null                 qorStsNullPtrErr
//   allocation of the scratch fails     qorStsMemAllocErr, with nothing written
QorStatus qorsFFTFwd_CToC_32fc(const Qor32fc* pSrc, Qor32fc* pDst, const QorsFFTSpec_C_32fc* pSpec,
                               Qor8u* pBuffer);
QorStatus qorsFFTInv_CToC_32fc(const Qor32fc* pSrc, Qor32fc* pDst, const QorsFFTSpec_C_32fc* pSpec,
                               Qor8u* pBuffer);
QorStatus qorsFFTFwd_CToC_32f(const Qor32f* pSrcRe, const Qor32f* pSrcIm, Qor32f* pDstRe,
                              Qor32f* pDstIm, const QorsFFTSpec_C_32f* pSpec, Qor8u* pBuffer);
QorStatus qorsFFTFwd_RToPerm_32f(const Qor32f* pSrc, Qor32f* pDst, const QorsFFTSpec_R_32f* pSpec,
                                 Qor8u* pBuffer);
QorStatus qorsFFTInv_PermToR_32f(const Qor32f* pSrc, Qor32f* pDst, const QorsFFTSpec_R_32f* pSpec,
                                 Qor8u* pBuffer);

}  // namespace qorac
