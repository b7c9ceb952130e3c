#include "transform/fft16s.h"

#include <algorithm>

#include "frame/fixed.h"
#include "frame/memory.h"
#include "frame/status.h"
#include "frame/vectorkernels.h"
#include "transform/fft32ftables.h"
#include "transform/fftbitrev.h"

namespace qorac {

namespace {

constexpr int kMaxOrder = 30;
constexpr int kMaxIntegerOrder = 3;
constexpr int kRoundToNearest = 1;

constexpr int kAlignment = 32;
constexpr Qor32s kHeaderSize = 104;        // a spec without tables, with its alignment slack
constexpr Qor32s kTabledHeaderSize = 128;  // a spec's share beside its tables
static_assert(sizeof(QorsFFTSpec_C_16sc) + kAlignment <= kHeaderSize);

constexpr bool usesFloat(Qor32s order, Qor32s hint) {
    return order > 0 && (order > kMaxIntegerOrder || outside(hint, 0, 1));
}

// Bytes of N complex values in 32 bits, fixed or floating point.
constexpr Qor32s wideBytes(Qor32s order) { return 8 << order; }

// --- normalisation ----------------------------------------------------------------------------

struct Normalisation {
    Qor32s fwdShift, invShift, oddSqrt;
};

// Whether the flag is legal, and the shifts that it stands for.
bool normalisation(Qor32s flag, Qor32s order, Normalisation* pNorm) {
    switch (flag) {
        case qorFftNormFwd:
            *pNorm = {order, 0, 0};
            return true;
        case qorFftNormInv:
            *pNorm = {0, order, 0};
            return true;
        case qorFftNormSqrt:
            *pNorm = {order >> 1, order >> 1, order & 1};
            return true;
        case qorFftNormNone:
            *pNorm = {0, 0, 0};
            return true;
        default:
            return false;
    }
}

// --- the integer route ------------------------------------------------------------------------

void qors_cnvrt_16s32s(const Qor16s* pSrc, Qor32s* pDst, int len, int shift) {
    for (int i = 0; i < len; ++i) pDst[i] = pSrc[i] * (1 << shift);
}

// 2^-shift times the source, rounded to nearest with ties upward, and saturated.
void qors_cnvrt_32s16s(const Qor32s* pSrc, Qor16s* pDst, int len, Qor64s shift) {
    if (shift > 0) {
        const int n = static_cast<int>(std::min<Qor64s>(shift, 32));
        for (int i = 0; i < len; ++i)
            pDst[i] = saturate16s((pSrc[i] + (Qor64s(1) << (n - 1))) >> n);
    } else {
        const int n = static_cast<int>(std::min<Qor64s>(-shift, 16));
        for (int i = 0; i < len; ++i) pDst[i] = saturate16s(Qor64s(pSrc[i]) * (1 << n));
    }
}

constexpr QORAC_INLINE Qor32sc operator+(Qor32sc a, Qor32sc b) {
    return {a.re + b.re, a.im + b.im};
}
constexpr QORAC_INLINE Qor32sc operator-(Qor32sc a, Qor32sc b) {
    return {a.re - b.re, a.im - b.im};
}
constexpr QORAC_INLINE Qor32sc timesMinusJ(Qor32sc a) { return {a.im, -a.re}; }

// A value split for a product with a Q14 constant in 32 bits: 2^16 * high + 2 * low, with the
// lowest bit dropped. Sums are taken before the product is rounded.
struct SplitValue {
    Qor32s high, low;
};
constexpr QORAC_INLINE SplitValue split(Qor32s v) { return {v >> 16, (v & 0xFFFF) >> 1}; }
constexpr QORAC_INLINE SplitValue operator+(SplitValue a, SplitValue b) {
    return {a.high + b.high, a.low + b.low};
}
constexpr QORAC_INLINE SplitValue operator-(SplitValue a, SplitValue b) {
    return {a.high - b.high, a.low - b.low};
}
constexpr QORAC_INLINE SplitValue operator-(SplitValue a) { return {-a.high, -a.low}; }

constexpr QORAC_INLINE Qor32s timesSqrtHalf(SplitValue v) {
    constexpr Qor32s kSqrtHalfQ14 = 11585;
    return v.high * kSqrtHalfQ14 * 4 + ((v.low * kSqrtHalfQ14 + 4096) >> 13);
}

// exp(-j pi / 4) a and exp(-3 j pi / 4) a.
constexpr QORAC_INLINE Qor32sc rotateOneEighth(Qor32sc a) {
    const SplitValue re = split(a.re), im = split(a.im);
    return {timesSqrtHalf(re + im), timesSqrtHalf(im - re)};
}
constexpr QORAC_INLINE Qor32sc rotateThreeEighths(Qor32sc a) {
    const SplitValue re = split(a.re), im = split(a.im);
    return {timesSqrtHalf(im - re), timesSqrtHalf(-re - im)};
}

// Radix-4 butterfly on elements 0, step, 2 step and 3 step, bins 0, 2, 1, 3 in their places.
QORAC_INLINE void radix4(Qor32sc* x, int step) {
    const Qor32sc evenSum = x[0] + x[2 * step], evenDiff = x[0] - x[2 * step];
    const Qor32sc oddSum = x[step] + x[3 * step];
    const Qor32sc oddDiff = timesMinusJ(x[step] - x[3 * step]);
    x[0] = evenSum + oddSum;
    x[step] = evenSum - oddSum;
    x[2 * step] = evenDiff + oddDiff;
    x[3 * step] = evenDiff - oddDiff;
}

QORAC_INLINE void radix2(Qor32sc* x) {
    const Qor32sc sum = x[0] + x[1], diff = x[0] - x[1];
    x[0] = sum;
    x[1] = diff;
}

// Decimation in frequency of 2, 4 or 8 points in place, without scaling; the bins come in
// bit-reversed order.
void qors_jFft_Core_16s(Qor32sc* x, int order) {
    if (order == 1) {
        radix2(x);
    } else if (order == 2) {
        radix4(x, 1);
    } else {
        radix4(x, 2);
        radix4(x + 1, 2);
        x[3] = timesMinusJ(x[3]);
        x[5] = rotateOneEighth(x[5]);
        x[7] = rotateThreeEighths(x[7]);
        for (int i = 0; i < 8; i += 2) radix2(x + i);
    }
}

// The factor sqrt(1/2) that an odd order leaves of 1/sqrt(N), truncated.
void qors_ibMpyBySqrt2_32s(Qor32s* x, int len) {
    for (int i = 0; i < len; ++i) x[i] = (x[i] >> 16) * 46340 + (((x[i] & 0xFFFF) * 23170) >> 15);
}

// The values stand in 32 bits with 16 - 1 - order bits below the point, so that no sum overflows.
void transformIntegers(const Qor16sc* pSrc, Qor16sc* pDst, const QorsFFTSpec_C_16sc* pSpec,
                       Qor32s scaleFactor, Qor8u* work) {
    const int order = pSpec->order, components = 2 << order, fractionBits = 15 - order;
    auto* const x = reinterpret_cast<Qor32s*>(work);
    qors_cnvrt_16s32s(reinterpret_cast<const Qor16s*>(pSrc), x, components, fractionBits);
    qors_jFft_Core_16s(reinterpret_cast<Qor32sc*>(x), order);
    if (pSpec->oddSqrt) qors_ibMpyBySqrt2_32s(x, components);
    if (order >= 2) qors_BitRev1_8(x, order, pSpec->pBitRev);
    qors_cnvrt_32s16s(x, reinterpret_cast<Qor16s*>(pDst), components,
                      Qor64s(scaleFactor) + pSpec->fwdShift + fractionBits);
}

// --- the float route --------------------------------------------------------------------------

QorStatus transformFloats(const Qor16sc* pSrc, Qor16sc* pDst, const QorsFFTSpec_C_16sc* pSpec,
                          Qor32s scaleFactor, Qor8u* work) {
    const int components = 2 << pSpec->order;
    auto* const x = reinterpret_cast<Qor32f*>(work);
    auto* const z = reinterpret_cast<Qor32fc*>(work);
    qorsConvert_16s32f(reinterpret_cast<const Qor16s*>(pSrc), x, components);
    const QorStatus status =
        qorsFFTFwd_CToC_32fc(z, z, pSpec->pFloatSpec, work + wideBytes(pSpec->order));
    if (status != qorStsNoErr) return status;
    return qorsConvert_32f16s_Sfs(x, reinterpret_cast<Qor16s*>(pDst), components, kRoundToNearest,
                                  scaleFactor);
}

}  // namespace

QorStatus qorsFFTGetSize_C_16sc(Qor32s order, Qor32s flag, Qor32s hint, Qor32s* pSpecSize,
                                Qor32s* pInitSize, Qor32s* pBufSize) {
    Normalisation norm;
    if (outside(order, 0, kMaxOrder)) return qorStsFftOrderErr;
    if (anyNull(pSpecSize, pInitSize, pBufSize)) return qorStsNullPtrErr;
    if (!normalisation(flag, order, &norm)) return qorStsFftFlagErr;
    Qor32s specSize, initSize, bufSize;
    if (order == 0) {
        *pSpecSize = kHeaderSize;
        *pInitSize = 0;
        *pBufSize = 0;
        return qorStsNoErr;
    }
    if (usesFloat(order, hint)) {
        const QorStatus status =
            qorsFFTGetSize_C_32fc(order, flag, 0, &specSize, &initSize, &bufSize);
        if (status != qorStsNoErr) return status;
        bufSize += wideBytes(order);
    } else {
        // The swap list of n/4 + 1 entries, and room for n complex numbers that nothing uses.
        const Qor32s n = 1 << order;
        specSize = roundUp32(8 * n) + roundUp32(n + 4);
        initSize = roundUp32(n / 2 + 2);
        bufSize = wideBytes(order);
    }
    *pSpecSize = specSize + kTabledHeaderSize;
    *pInitSize = initSize + kAlignment;
    *pBufSize = bufSize + kAlignment;
    return qorStsNoErr;
}

QorStatus qorsFFTInit_C_16sc(QorsFFTSpec_C_16sc** ppSpec, Qor32s order, Qor32s flag, Qor32s hint,
                             Qor8u* pMemSpec, Qor8u* pMemInit) {
    if (!ppSpec) return qorStsNullPtrErr;
    if (outside(order, 0, kMaxOrder)) return qorStsFftOrderErr;
    if (!pMemSpec) return qorStsNullPtrErr;
    auto* const spec = reinterpret_cast<QorsFFTSpec_C_16sc*>(alignUp<kAlignment>(pMemSpec));
    Qor8u* const tables = alignUp<kAlignment>(reinterpret_cast<Qor8u*>(spec + 1));
    Normalisation norm;
    *spec = {};
    if (!normalisation(flag, order, &norm)) return qorStsFftFlagErr;
    if (order > 0 && !pMemInit) return qorStsNullPtrErr;

    spec->order = order;
    spec->fwdShift = norm.fwdShift;
    spec->invShift = norm.invShift;
    spec->oddSqrt = norm.oddSqrt;
    spec->hint = hint;
    spec->useFloat = usesFloat(order, hint);
    if (spec->useFloat) {
        Qor32s floatBufSize = 0;
        QorStatus status = qorsFFTInit_C_32fc(&spec->pFloatSpec, order, flag, 0, tables, pMemInit);
        if (status == qorStsNoErr)
            status = qorsFFTGetBufSize_C_32fc(spec->pFloatSpec, &floatBufSize);
        if (status != qorStsNoErr) return status;
        spec->workSize = wideBytes(order) + floatBufSize;
    } else if (order > 0) {
        spec->workSize = wideBytes(order);
        if (order >= 2) {
            spec->pBitRev = reinterpret_cast<Qor32s*>(tables);
            qors_initTabBitRev(order, spec->pBitRev);
        }
    }
    spec->id = kFftId_C_16sc;
    *ppSpec = spec;
    return qorStsNoErr;
}

QorStatus qorsFFTInitAlloc_C_16sc(QorsFFTSpec_C_16sc** ppSpec, Qor32s order, Qor32s flag,
                                  Qor32s hint) {
    if (!ppSpec) return qorStsNullPtrErr;
    Qor32s specSize, initSize, bufSize;
    QorStatus status = qorsFFTGetSize_C_16sc(order, flag, hint, &specSize, &initSize, &bufSize);
    if (status != qorStsNoErr) return status;

    // The allocator's blocks start on a 32-byte boundary, so that the record stands at the start of
    // its block.
    Qor8u* const memSpec = qorsMalloc_8u(specSize);
    if (!memSpec) return qorStsMemAllocErr;
    Qor8u* const memInit = qorsMalloc_8u(initSize);
    status = initSize > 0 && !memInit
                 ? qorStsMemAllocErr
                 : qorsFFTInit_C_16sc(ppSpec, order, flag, hint, memSpec, memInit);
    if (memInit) qorsFree(memInit);
    if (status != qorStsNoErr) {
        qorsFree(memSpec);
        return status;
    }
    (*ppSpec)->ownsMemory = 1;
    return qorStsNoErr;
}

QorStatus qorsFFTFree_C_16sc(QorsFFTSpec_C_16sc* pSpec) {
    if (!pSpec) return qorStsNullPtrErr;
    if (pSpec->id != kFftId_C_16sc) return qorStsContextMatchErr;
    pSpec->id = 0;
    if (pSpec->ownsMemory) qorsFree(pSpec);
    return qorStsNoErr;
}

QorStatus qorsFFTGetBufSize_C_16sc(const QorsFFTSpec_C_16sc* pSpec, Qor32s* pSize) {
    if (anyNull(pSpec, pSize)) return qorStsNullPtrErr;
    if (pSpec->id != kFftId_C_16sc) return qorStsContextMatchErr;
    *pSize = pSpec->workSize < 1 ? 0 : pSpec->workSize + kAlignment;
    return qorStsNoErr;
}

QorStatus qorsFFTFwd_CToC_16sc_Sfs(const Qor16sc* pSrc, Qor16sc* pDst,
                                   const QorsFFTSpec_C_16sc* pSpec, Qor32s scaleFactor,
                                   Qor8u* pBuffer) {
    if (!pSpec) return qorStsNullPtrErr;
    if (pSpec->id != kFftId_C_16sc) return qorStsContextMatchErr;
    if (anyNull(pSrc, pDst)) return qorStsNullPtrErr;
    if (pSpec->order == 0) {
        const Qor32s x[2] = {pSrc->re, pSrc->im};
        qors_cnvrt_32s16s(x, reinterpret_cast<Qor16s*>(pDst), 2, scaleFactor);
        return qorStsNoErr;
    }
    Qor8u* const work = pBuffer ? alignUp<kAlignment>(pBuffer) : qorsMalloc_8u(pSpec->workSize);
    if (!work) return qorStsMemAllocErr;
    QorStatus status = qorStsNoErr;
    if (pSpec->useFloat)
        status = transformFloats(pSrc, pDst, pSpec, scaleFactor, work);
    else
        transformIntegers(pSrc, pDst, pSpec, scaleFactor, work);
    if (!pBuffer) qorsFree(work);
    return status;
}

}  // namespace qorac
