// Orthonormal discrete cosine transforms of 32-bit floats, of any length N:
//
//   forward (DCT-II)   X(k) = c(k) * sum over n of x(n) cos(pi k (2n + 1) / (2N))
//   inverse (DCT-III)  x(n) = sum over k of c(k) X(k) cos(pi k (2n + 1) / (2N))
//
// with c(0) = 1/sqrt(N) and c(k) = sqrt(2/N) otherwise, so that each undoes the other.
#pragma once

#include "transform/fft32f.h"

namespace qorac {

// One record serves both directions, told apart by `id`. The tables follow in the same memory
// block, which is aligned to 32 bytes. The length decides the method: the direct sum where none of
// the four flags is set. A spec is only read once it is built.
struct QorsDCTSpec_32f {
    Qor32s id;  // kDctFwdId or kDctInvId
    Qor32s len;
    Qor32s hint;               // stored, never read
    Qor32s workSize;           // bytes of scratch without the alignment slack
    Qor32f scale0, scaleK;     // c(0) and c(k)
    Qor32s isSmall;            // 1, 2, 4, 8: codelets
    Qor32s isPow2;             // 16, 32: recursive halving
    Qor32s isFft;              // powers of two from 64: real FFT of length 2N
    Qor32s isConv;             // the rest above 100: the same by the chirp method
    const Qor32f* pDirTab;     // direct: cos(2 pi i / (4N))
    const Qor32f* pPow2Tab;    // halving: 1 / (2 cos((2i + 1) pi / (2L))) for L = N, N/2, ...
    const Qor32fc* pFftTab;    // FFT and chirp: turns the spectrum into the cosine sums
    const Qor32fc* pChirp;     // exp(-pi j n^2 / N)
    const Qor32fc* pChirpFFT;  // spectrum of the chirp's conjugate, over M
    const Qor32fc* pRecTab;    // recombination of the half-length complex transform
    QorsFFTSpec_32f* pFFTSpec;
};

using QorsDCTFwdSpec_32f = QorsDCTSpec_32f;
using QorsDCTInvSpec_32f = QorsDCTSpec_32f;

constexpr Qor32s kDctFwdId = 21;
constexpr Qor32s kDctInvId = 22;

// Sizes in bytes of the record, of the memory that only Init uses and of a transform's scratch.
//   len below 1                         qorStsSizeErr
//   a result pointer null               qorStsNullPtrErr
//   lengths beyond the inner FFT        its status
//   sizes beyond 32 bits                qorStsSizeErr
QorStatus qorsDCTFwdGetSize_32f(Qor32s len, Qor32s hint, Qor32s* pSpecSize, Qor32s* pInitSize,
                                Qor32s* pBufSize);
QorStatus qorsDCTInvGetSize_32f(Qor32s len, Qor32s hint, Qor32s* pSpecSize, Qor32s* pInitSize,
                                Qor32s* pBufSize);

// Builds the record in pMemSpec with pMemInit as scratch, neither of which needs alignment.
//   ppSpec null                         qorStsNullPtrErr
//   len below 1                         qorStsSizeErr
//   pMemSpec null                       qorStsNullPtrErr
//   FFT and chirp methods               the statuses of the inner FFT, with the id left 0
QorStatus qorsDCTFwdInit_32f(QorsDCTFwdSpec_32f** ppSpec, Qor32s len, Qor32s hint, Qor8u* pMemSpec,
                             Qor8u* pMemInit);
QorStatus qorsDCTInvInit_32f(QorsDCTInvSpec_32f** ppSpec, Qor32s len, Qor32s hint, Qor8u* pMemSpec,
                             Qor8u* pMemInit);

// The transforms, in place or not. With pBuffer null they allocate and release their own scratch.
//   pSpec null                          qorStsNullPtrErr
//   id of another family                qorStsContextMatchErr
//   a data pointer null                 qorStsNullPtrErr
//   allocation of the scratch fails     qorStsMemAllocErr, with nothing written
//   FFT and chirp methods               the statuses of the inner FFT
QorStatus qorsDCTFwd_32f(const Qor32f* pSrc, Qor32f* pDst, const QorsDCTFwdSpec_32f* pSpec,
                         Qor8u* pBuffer);
QorStatus qorsDCTInv_32f(const Qor32f* pSrc, Qor32f* pDst, const QorsDCTInvSpec_32f* pSpec,
                         Qor8u* pBuffer);

}  // namespace qorac
