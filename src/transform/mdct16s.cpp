// Forward MDCT of 16-bit data with an output scale, in integers around the 16-bit FFT:
//
//   X[k] = 2^-scaleFactor * 2 * sum over n of x[n] cos(2 pi / N (n + n0)(k + 1/2)),
//   n0 = (N/2 + 1) / 2, rounded to nearest with ties to even and saturated to 16 bits
//
// The block is shifted up by its peak to the full 16-bit range before the FFT, and the shift is
// taken back at the end, so that quiet blocks keep their low bits. Twiddles are Q14.
#include <algorithm>
#include <cmath>
#include <utility>

#include "frame/dispatch.h"
#include "frame/fixed.h"
#include "frame/memory.h"
#include "frame/status.h"
#include "frame/vectorkernels.h"
#include "transform/fft16s.h"
#include "transform/mdct.h"

// In a block with the twiddles on the next 32-byte boundary behind it.
struct QorsMDCTFwdSpec_16s {
    Qor32s id;
    Qor32s len;
    Qor32s bufSize;     // bytes of work memory, with 32 spare for its alignment
    Qor32s order;       // log2(len / 4)
    Qor32s ownsMemory;  // 1: made by InitAlloc
    Qor16s* pTwiddle;   // N/2 numbers, Q14
    qorac::QorsFFTSpec_C_16sc* pFftSpec;
};

#define QORAC_KERNEL "transform/mdct16s_kernel.h"
#include "frame/levels.h"

namespace qorac {

QORAC_BIND(void, ownMDCTFwdPreProc_16s,
           (const Qor16s* x, Qor16sc* z, const Qor16s* pTwiddle, Qor32s q, int shift),
           (x, z, pTwiddle, q, shift))
QORAC_BIND(void, ownMDCTFwdPostProc_16s,
           (const Qor16sc* z, Qor32s* y, const Qor16s* pTwiddle, Qor32s q), (z, y, pTwiddle, q))

namespace {

constexpr Qor32s kId = 57;
constexpr int kAlignment = 32;
constexpr Qor32s kHeaderSize = 136;  // the record, and the slack to align each part of a spec
static_assert(sizeof(QorsMDCTFwdSpec_16s) + 3 * kAlignment <= kHeaderSize);
constexpr Qor32s kFftHint = 0;

// --- block shift ------------------------------------------------------------------------------

// The left shift that brings the peak, 1 to 32768, to between 23169 and 46338: with 1/sqrt(2) of
// the 16-bit range above it the fold and the rotation do not overflow.
int blockShift(int peak) {
    constexpr int kRotationMargin = 23169;  // 32768 / sqrt(2)
    int shift = -1, scaled = peak;
    for (; scaled < 32769; scaled *= 2) ++shift;
    return scaled / 2 < kRotationMargin ? shift + 1 : shift;
}

// --- transform --------------------------------------------------------------------------------

// Work memory: the rotated values, then the scratch of the FFT, whose place the 32-bit results
// take.
QorStatus transform(const Qor16s* pSrc, Qor16s* pDst, const QorsMDCTFwdSpec_16s* pSpec,
                    Qor32s scaleFactor, Qor8u* work) {
    const Qor32s len = pSpec->len, q = len / 4;
    Qor16s min, max;
    qorsMinMax_16s(pSrc, len, &min, &max);
    const int peak = std::max<int>(-min, max);
    if (peak == 0) return qorsZero_16s(pDst, len / 2);
    const int shift = blockShift(peak);

    Qor16sc* const z = reinterpret_cast<Qor16sc*>(work);
    Qor8u* const scratch = reinterpret_cast<Qor8u*>(z + q);
    ownMDCTFwdPreProc_16s(pSrc, z, pSpec->pTwiddle, q, shift);
    const QorStatus status =
        qorsFFTFwd_CToC_16sc_Sfs(z, z, pSpec->pFftSpec, pSpec->order + 1, scratch);
    if (status != qorStsNoErr) return status;

    // The results carry Q14 of the rotation out, and of the rotation in 2 bits less than the shift,
    // of which the FFT has taken order + 1; the factor 2 of the transform is one bit of them.
    Qor32s* const y = reinterpret_cast<Qor32s*>(scratch);
    ownMDCTFwdPostProc_16s(z, y, pSpec->pTwiddle, q);
    const Qor64s outputShift = Qor64s(scaleFactor) - pSpec->order + shift + 10;
    return qorsConvert_32s16s_Sfs(y, pDst, len / 2,
                                  Qor32s(std::clamp<Qor64s>(outputShift, kMin32s, kMax32s)));
}

// --- lifecycle --------------------------------------------------------------------------------

Qor16s q14(double x) { return Qor16s(std::lround(x * 16384)); }

void initTwiddles(Qor16s* pTwiddle, Qor32s len) {
    const Qor32s q = len / 4;
    for (Qor32s i = 0; i < q; ++i) {
        const double t = mdctAngle(i, len);
        storeMdctTwiddle(pTwiddle, q, i, q14(std::sin(t)), q14(std::cos(t)));
    }
}

struct Sizes {
    Qor32s spec, init, buffer;
};

// Called for admissible lengths, whose sizes fit.
QorStatus getSizes(Qor32s len, Sizes* pSizes) {
    Sizes fft;
    const QorStatus status = qorsFFTGetSize_C_16sc(mdctFftOrder(len), qorFftNormNone, kFftHint,
                                                   &fft.spec, &fft.init, &fft.buffer);
    if (status != qorStsNoErr) return status;
    *pSizes = {len / 2 * 2 + kHeaderSize + fft.spec, fft.init,
               len / 4 * 4 + std::max(len * 4, fft.buffer) + kAlignment};
    return qorStsNoErr;
}

// Stores what remains of a spec once its FFT stands: the id comes last.
void complete(QorsMDCTFwdSpec_16s* spec, Qor32s len, Qor32s bufSize) {
    initTwiddles(spec->pTwiddle, len);
    spec->len = len;
    spec->bufSize = bufSize;
    spec->order = mdctFftOrder(len);
    spec->id = kId;
}

}  // namespace
}  // namespace qorac

using namespace qorac;

QorStatus qorsMDCTFwdGetSize_16s(Qor32s len, Qor32s* pSizeSpec, Qor32s* pSizeInit,
                                 Qor32s* pSizeBuf) {
    if (anyNull(pSizeSpec, pSizeInit, pSizeBuf)) return qorStsNullPtrErr;
    if (!isMdctPowerOfTwo(len)) return qorStsSizeErr;
    Sizes sizes;
    const QorStatus status = getSizes(len, &sizes);
    if (status != qorStsNoErr) return status;
    *pSizeSpec = sizes.spec;
    *pSizeInit = sizes.init;
    *pSizeBuf = sizes.buffer;
    return qorStsNoErr;
}

QorStatus qorsMDCTFwdInit_16s(QorsMDCTFwdSpec_16s** ppSpec, Qor32s len, Qor8u* pMemSpec,
                              Qor8u* pMemInit) {
    if (anyNull(ppSpec, pMemSpec, pMemInit)) return qorStsNullPtrErr;
    if (!isMdctPowerOfTwo(len)) return qorStsSizeErr;
    Sizes sizes;
    QorStatus status = getSizes(len, &sizes);
    if (status != qorStsNoErr) return status;
    auto* const spec = reinterpret_cast<QorsMDCTFwdSpec_16s*>(alignUp<kAlignment>(pMemSpec));
    *spec = {};
    spec->pTwiddle = alignUp<kAlignment>(reinterpret_cast<Qor16s*>(spec + 1));
    status = qorsFFTInit_C_16sc(&spec->pFftSpec, mdctFftOrder(len), qorFftNormNone, kFftHint,
                                reinterpret_cast<Qor8u*>(spec->pTwiddle + len / 2), pMemInit);
    if (status != qorStsNoErr) return status;
    complete(spec, len, sizes.buffer);
    *ppSpec = spec;
    return qorStsNoErr;
}

QorStatus qorsMDCTFwdInitAlloc_16s(QorsMDCTFwdSpec_16s** ppSpec, Qor32s len) {
    if (!ppSpec) return qorStsNullPtrErr;
    if (!isMdctPowerOfTwo(len)) return qorStsSizeErr;
    Sizes sizes;
    QorStatus status = getSizes(len, &sizes);
    if (status != qorStsNoErr) return status;
    const Qor32s blockSize = Qor32s(sizeof(QorsMDCTFwdSpec_16s)) + kAlignment + len / 2 * 2;
    auto* const spec = reinterpret_cast<QorsMDCTFwdSpec_16s*>(qorsMalloc_8u(blockSize));
    if (!spec) return qorStsMemAllocErr;
    *spec = {};
    spec->ownsMemory = 1;
    spec->pTwiddle = alignUp<kAlignment>(reinterpret_cast<Qor16s*>(spec + 1));
    status = qorsFFTInitAlloc_C_16sc(&spec->pFftSpec, mdctFftOrder(len), qorFftNormNone, kFftHint);
    if (status != qorStsNoErr) {
        qorsFree(spec);
        return status;
    }
    complete(spec, len, sizes.buffer);
    *ppSpec = spec;
    return qorStsNoErr;
}

QorStatus qorsMDCTFwdFree_16s(QorsMDCTFwdSpec_16s* pSpec) {
    if (!pSpec) return qorStsNullPtrErr;
    if (pSpec->id != kId) return qorStsContextMatchErr;
    pSpec->id = 0;
    if (pSpec->ownsMemory) {
        qorsFFTFree_C_16sc(pSpec->pFftSpec);
        qorsFree(pSpec);
    }
    return qorStsNoErr;
}

QorStatus qorsMDCTFwdGetBufSize_16s(const QorsMDCTFwdSpec_16s* pSpec, Qor32s* pSize) {
    if (anyNull(pSpec, pSize)) return qorStsNullPtrErr;
    if (pSpec->id != kId) return qorStsContextMatchErr;
    *pSize = pSpec->bufSize;
    return qorStsNoErr;
}

QorStatus qorsMDCTFwd_16s_Sfs(const Qor16s* pSrc, Qor16s* pDst, const QorsMDCTFwdSpec_16s* pSpec,
                              Qor32s scaleFactor, Qor8u* pBuffer) {
    if (!pSpec) return qorStsNullPtrErr;
    if (pSpec->id != kId) return qorStsContextMatchErr;
    if (anyNull(pSrc, pDst)) return qorStsNullPtrErr;
    Qor8u* const work = pBuffer ? alignUp<kAlignment>(pBuffer) : qorsMalloc_8u(pSpec->bufSize);
    if (!work) return qorStsMemAllocErr;
    const QorStatus status = transform(pSrc, pDst, pSpec, scaleFactor, work);
    if (!pBuffer) qorsFree(work);
    return status;
}
