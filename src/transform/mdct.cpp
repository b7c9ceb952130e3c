// Forward and inverse MDCT of 32-bit floats, without window and overlap (ISO/IEC 13818-7, clause
// "Filterbank"; lengths 12 and 36 are those of ISO 11172-3 Layer III):
//
//   X[k] = 2     * sum over n of x[n] cos(2 pi / N (n + n0)(k + 1/2))
//   y[n] = (2/N) * sum over k of X[k] cos(2 pi / N (n + n0)(k + 1/2)),  n0 = (N/2 + 1) / 2
//
// A block is folded to q = N/4 complex values, rotated by exp(-j t(i)) with
// t(i) = (i + 1/8) 2 pi/N, transformed and rotated again; the inverse is the transpose. Both
// rotations carry the factor g = sqrt(2) forward and 1/sqrt(N/2) inverse.
#include "transform/mdct.h"

#include <array>
#include <cmath>
#include <utility>

#include "frame/constmath.h"
#include "frame/dispatch.h"
#include "frame/memory.h"
#include "frame/status.h"
#include "transform/fft32f.h"

namespace qorac {

struct MdctSpec {
    Qor32s id;
    Qor32s len;
    Qor32s bufSize;     // bytes of work memory, with 32 spare for its alignment
    Qor32s fftOrder;    // powers of two: log2(N/4)
    Qor32s ownsMemory;  // 1: made by InitAlloc
    Qor32f* pTwiddle;   // N/2 floats
    QorsFFTSpec_C_32fc* pFftSpec;
};

}  // namespace qorac

struct QorsMDCTFwdSpec_32f : qorac::MdctSpec {};
struct QorsMDCTInvSpec_32f : qorac::MdctSpec {};

#define QORAC_KERNEL "transform/mdct_kernel.h"
#include "frame/levels.h"

namespace qorac {

QORAC_BIND(void, qors_MDCTFwdPreProcPow2_32f,
           (const Qor32f* x, Qor32fc* z, const Qor32f* pTwiddle, Qor32s q), (x, z, pTwiddle, q))
QORAC_BIND(void, qors_MDCTFwdPostProcPow2_32f,
           (const Qor32fc* z, Qor32f* pDst, const Qor32f* pTwiddle, Qor32s q),
           (z, pDst, pTwiddle, q))
QORAC_BIND(void, qors_MDCTInvPreProcPow2_32f,
           (const Qor32f* pSrc, Qor32fc* z, const Qor32f* pTwiddle, Qor32s q),
           (pSrc, z, pTwiddle, q))
QORAC_BIND(void, qors_MDCTInvPostProcPow2_32f,
           (const Qor32fc* z, Qor32f* y, const Qor32f* pTwiddle, Qor32s q), (z, y, pTwiddle, q))

namespace {

constexpr Qor32s kForwardId = 55, kInverseId = 56;
constexpr int kAlignment = 32;
constexpr Qor32s kHeaderSize = 104;  // the record, with the slack to align it and the twiddles
static_assert(sizeof(MdctSpec) + 2 * kAlignment <= kHeaderSize);

constexpr bool isLayer3Length(Qor32s len) { return len == 12 || len == 36; }
constexpr bool isMdctLength(Qor32s len) { return isLayer3Length(len) || isMdctPowerOfTwo(len); }

// --- lengths 12 and 36 ------------------------------------------------------------------------

QORAC_INLINE Qor32fc operator+(Qor32fc a, Qor32fc b) { return {a.re + b.re, a.im + b.im}; }
QORAC_INLINE Qor32fc operator-(Qor32fc a, Qor32fc b) { return {a.re - b.re, a.im - b.im}; }
QORAC_INLINE Qor32fc operator*(Qor32fc a, Qor32fc b) {
    return {a.re * b.re - a.im * b.im, a.re * b.im + a.im * b.re};
}

// Cosines and sines of 2 pi k / 3 and 2 pi k / 9, with the sign of the forward transform.
constexpr Qor32f C_1_3 = Qor32f(constmath::cosPi(2, 3)), S_1_3 = Qor32f(-constmath::sinPi(2, 3));
constexpr Qor32f C_1_9 = Qor32f(constmath::cosPi(2, 9)), S_1_9 = Qor32f(-constmath::sinPi(2, 9));
constexpr Qor32f C_2_9 = Qor32f(constmath::cosPi(4, 9)), S_2_9 = Qor32f(-constmath::sinPi(4, 9));
constexpr Qor32f C_4_9 = Qor32f(constmath::cosPi(8, 9)), S_4_9 = Qor32f(-constmath::sinPi(8, 9));

// Transform of 3 points at a stride, in place.
QORAC_INLINE void dft3(Qor32fc* z, int stride) {
    const Qor32fc x0 = z[0], sum = z[stride] + z[2 * stride], diff = z[stride] - z[2 * stride];
    const Qor32fc middle = {x0.re + C_1_3 * sum.re, x0.im + C_1_3 * sum.im};
    const Qor32fc turned = {-S_1_3 * diff.im, S_1_3 * diff.re};
    z[0] = x0 + sum;
    z[stride] = middle + turned;
    z[2 * stride] = middle - turned;
}

// Transform of 9 points as 3 by 3, in place.
QORAC_INLINE void dft9(Qor32fc* z) {
    for (int column = 0; column < 3; ++column) dft3(z + column, 3);
    z[4] = z[4] * Qor32fc{C_1_9, S_1_9};
    z[5] = z[5] * Qor32fc{C_2_9, S_2_9};
    z[7] = z[7] * Qor32fc{C_2_9, S_2_9};
    z[8] = z[8] * Qor32fc{C_4_9, S_4_9};
    for (int row = 0; row < 3; ++row) dft3(z + 3 * row, 1);
    std::swap(z[1], z[3]);  // bin k1 + 3 k2 stands at place 3 k1 + k2
    std::swap(z[2], z[6]);
    std::swap(z[5], z[7]);
}

// (a + jb) exp(-j t) with the factor g, the twiddles being pairs g sin t, g cos t.
QORAC_INLINE Qor32fc rotate(Qor32fc z, const Qor32f* pTwiddle, int i) {
    return z * Qor32fc{pTwiddle[2 * i + 1], -pTwiddle[2 * i]};
}

// Complex value i of the block folded by the symmetries of its cosines.
QORAC_INLINE Qor32fc foldValue(const Qor32f* x, int len, int i) {
    const int q = len / 4, j = 2 * i;
    if (i < (q + 1) / 2) return {-x[len - q + j] - x[len - q - j - 1], x[q - j - 1] - x[q + j]};
    return {x[j - q] - x[len - q - j - 1], -x[len + q - j - 1] - x[q + j]};
}

template <int len>
QORAC_INLINE void forwardLayer3(const Qor32f* x, Qor32f* pDst, const Qor32f* pTwiddle) {
    constexpr int q = len / 4;
    Qor32fc z[q];
    for (int i = 0; i < q; ++i) z[i] = rotate(foldValue(x, len, i), pTwiddle, i);
    if constexpr (q == 3)
        dft3(z, 1);
    else
        dft9(z);
    for (int i = 0; i < q; ++i) {
        const Qor32fc w = rotate(z[i], pTwiddle, i);
        pDst[2 * i] = w.re;
        pDst[len / 2 - 2 * i - 1] = -w.im;
    }
}

template <int num, int den>
constexpr Qor32f kCosine = Qor32f(constmath::cosPi(num, den));

// 1 / (12 cos((2m + 1) pi / 24)).
consteval std::array<Qor32f, 6> outputFactors12() {
    std::array<Qor32f, 6> factors{};
    for (int m = 0; m < 6; ++m) factors[m] = Qor32f(1 / (12 * constmath::cosPi(2 * m + 1, 24)));
    return factors;
}

// Length 12, as a DCT-III of the sums t of neighbouring coefficients: with
// theta = (2m + 1) pi / 24, 2 cos(theta) cos((2k + 1) theta) = cos(2k theta) + cos((2k + 2) theta).
QORAC_INLINE void inverse12(const Qor32f* pSrc, Qor32f* y) {
    constexpr auto factors = outputFactors12();
    constexpr Qor32f c15 = kCosine<1, 12>, c30 = kCosine<1, 6>, c45 = kCosine<1, 4>,
                     c75 = kCosine<5, 12>;
    Qor32f t[6] = {pSrc[0]};
    for (int k = 1; k < 6; ++k) t[k] = pSrc[k] + pSrc[k - 1];

    const Qor32f centre = t[0] + 0.5f * t[4], side = c30 * t[2], cross = c45 * t[3];
    const Qor32f even[3] = {centre + side, t[0] - t[4], centre - side};
    const Qor32f odd[3] = {c15 * t[1] + cross + c75 * t[5], c45 * (t[1] - t[3] - t[5]),
                           c75 * t[1] - cross + c15 * t[5]};
    for (int m = 0; m < 3; ++m) {
        const Qor32f low = -(even[m] + odd[m]) * factors[m];
        const Qor32f high = (even[m] - odd[m]) * factors[5 - m];
        y[8 - m] = low;
        y[9 + m] = low;
        y[2 - m] = high;
        y[3 + m] = -high;
    }
}

// Length 36, where the secants of the same scheme would cost 3 bits: the transpose of the forward
// transform. Its unfolding makes the first half of the block odd about its middle and the second
// half even.
QORAC_INLINE void inverse36(const Qor32f* pSrc, Qor32f* y, const Qor32f* pTwiddle) {
    constexpr int len = 36, q = len / 4;
    Qor32fc z[q];
    for (int i = 0; i < q; ++i)
        z[i] = rotate({pSrc[2 * i], pSrc[len / 2 - 1 - 2 * i]}, pTwiddle, i);
    dft9(z);
    for (int i = 0; i < q; ++i) {
        const Qor32fc w = rotate(z[i], pTwiddle, i);
        const int j = 2 * i;
        if (j <= q) {
            y[q - 1 - j] = -w.im;
            y[q + j] = w.im;
            y[3 * q - 1 - j] = -w.re;
            y[3 * q + j] = -w.re;
        } else {
            y[j - q] = w.re;
            y[3 * q - 1 - j] = -w.re;
            y[q + j] = w.im;
            y[5 * q - 1 - j] = w.im;
        }
    }
}

QORAC_CLONES void transformLayer3Forward(const Qor32f* pSrc, Qor32f* pDst, const MdctSpec* pSpec) {
    if (pSpec->len == 12)
        forwardLayer3<12>(pSrc, pDst, pSpec->pTwiddle);
    else
        forwardLayer3<36>(pSrc, pDst, pSpec->pTwiddle);
}

QORAC_CLONES void transformLayer3Inverse(const Qor32f* pSrc, Qor32f* pDst, const MdctSpec* pSpec) {
    if (pSpec->len == 12)
        inverse12(pSrc, pDst);
    else
        inverse36(pSrc, pDst, pSpec->pTwiddle);
}

// --- both directions --------------------------------------------------------------------------

// What a direction brings along.
struct Direction {
    Qor32s id;
    double (*gain)(Qor32s len);  // g
    void (*layer3)(const Qor32f*, Qor32f*, const MdctSpec*);
    void (*preProcess)(const Qor32f*, Qor32fc*, const Qor32f*, Qor32s);
    void (*postProcess)(const Qor32fc*, Qor32f*, const Qor32f*, Qor32s);
};

double forwardGain(Qor32s) { return std::sqrt(2.0); }
double inverseGain(Qor32s len) { return 1.0 / std::sqrt(len / 2.0); }

constexpr Direction kForward = {kForwardId, forwardGain, transformLayer3Forward,
                                qors_MDCTFwdPreProcPow2_32f, qors_MDCTFwdPostProcPow2_32f};
constexpr Direction kInverse = {kInverseId, inverseGain, transformLayer3Inverse,
                                qors_MDCTInvPreProcPow2_32f, qors_MDCTInvPostProcPow2_32f};

// The factors g sin t and g cos t of each complex value: in pairs for 12 and 36, else as the
// vectors of the powers of two take them.
void initTwiddles(Qor32f* pTwiddle, const Direction& direction, Qor32s len) {
    const Qor32s q = len / 4;
    const double gain = direction.gain(len);
    for (Qor32s i = 0; i < q; ++i) {
        const double t = mdctAngle(i, len);
        const Qor32f sine = Qor32f(gain * std::sin(t)), cosine = Qor32f(gain * std::cos(t));
        if (isLayer3Length(len)) {
            pTwiddle[2 * i] = sine;
            pTwiddle[2 * i + 1] = cosine;
        } else {
            storeMdctTwiddle(pTwiddle, q, i, sine, cosine);
        }
    }
}

struct Sizes {
    Qor32s spec, init, buffer;
};

QorStatus getSizes(Qor32s len, Sizes* pSizes) {
    const Qor32s specSize = len / 2 * 4 + kHeaderSize, bufSize = len * 4 + 2 * kAlignment;
    if (isLayer3Length(len)) {
        *pSizes = {specSize, 0, bufSize};
        return qorStsNoErr;
    }
    Sizes fft;
    const QorStatus status = qorsFFTGetSize_C_32fc(mdctFftOrder(len), qorFftNormNone, 0, &fft.spec,
                                                   &fft.init, &fft.buffer);
    if (status != qorStsNoErr) return status;
    *pSizes = {specSize + fft.spec + kAlignment, fft.init, bufSize + fft.buffer + kAlignment};
    return qorStsNoErr;
}

QorStatus getSize(Qor32s len, Qor32s* pSizeSpec, Qor32s* pSizeInit, Qor32s* pSizeBuf) {
    if (anyNull(pSizeSpec, pSizeInit, pSizeBuf)) return qorStsNullPtrErr;
    if (!isMdctLength(len)) return qorStsSizeErr;
    Sizes sizes;
    const QorStatus status = getSizes(len, &sizes);
    if (status != qorStsNoErr) return status;
    *pSizeSpec = sizes.spec;
    *pSizeInit = sizes.init;
    *pSizeBuf = sizes.buffer;
    return qorStsNoErr;
}

template <typename Spec>
QorStatus init(Spec** ppSpec, const Direction& direction, Qor32s len, Qor8u* pMemSpec,
               Qor8u* pMemInit) {
    if (!isMdctLength(len)) return qorStsSizeErr;
    if (anyNull(ppSpec, pMemSpec)) return qorStsNullPtrErr;
    if (!isLayer3Length(len) && !pMemInit) return qorStsNullPtrErr;
    Sizes sizes;
    QorStatus status = getSizes(len, &sizes);
    if (status != qorStsNoErr) return status;
    Spec* const spec = reinterpret_cast<Spec*>(alignUp<kAlignment>(pMemSpec));
    *spec = {};
    spec->pTwiddle = alignUp<kAlignment>(reinterpret_cast<Qor32f*>(spec + 1));
    if (!isLayer3Length(len)) {
        spec->fftOrder = mdctFftOrder(len);
        status = qorsFFTInit_C_32fc(&spec->pFftSpec, spec->fftOrder, qorFftNormNone, 0,
                                    reinterpret_cast<Qor8u*>(spec->pTwiddle + len / 2), pMemInit);
        if (status != qorStsNoErr) return status;
    }
    initTwiddles(spec->pTwiddle, direction, len);
    spec->len = len;
    spec->bufSize = sizes.buffer;
    spec->id = direction.id;
    *ppSpec = spec;
    return qorStsNoErr;
}

// Releases what InitAlloc has made of a spec, whose id is 0.
void release(MdctSpec* spec) {
    if (spec->pTwiddle) qorsFree(spec->pTwiddle);
    if (spec->pFftSpec) qorsFFTFree_C_32fc(spec->pFftSpec);
    qorsFree(spec);
}

template <typename Spec>
QorStatus initAlloc(Spec** ppSpec, const Direction& direction, Qor32s len) {
    if (!ppSpec) return qorStsNullPtrErr;
    if (!isMdctLength(len)) return qorStsSizeErr;
    Sizes sizes;
    QorStatus status = getSizes(len, &sizes);
    if (status != qorStsNoErr) return status;
    Spec* const spec = reinterpret_cast<Spec*>(qorsMalloc_8u(sizeof(Spec)));
    if (!spec) return qorStsMemAllocErr;
    *spec = {};
    spec->ownsMemory = 1;
    spec->pTwiddle = qorsMalloc_32f(len / 2);
    if (!spec->pTwiddle) status = qorStsMemAllocErr;
    if (status == qorStsNoErr && !isLayer3Length(len)) {
        spec->fftOrder = mdctFftOrder(len);
        status = qorsFFTInitAlloc_C_32fc(&spec->pFftSpec, spec->fftOrder, qorFftNormNone, 0);
    }
    if (status != qorStsNoErr) {
        release(spec);
        return status;
    }
    initTwiddles(spec->pTwiddle, direction, len);
    spec->len = len;
    spec->bufSize = sizes.buffer;
    spec->id = direction.id;
    *ppSpec = spec;
    return qorStsNoErr;
}

QorStatus freeSpec(MdctSpec* pSpec, const Direction& direction) {
    if (!pSpec) return qorStsNullPtrErr;
    if (pSpec->id != direction.id) return qorStsContextMatchErr;
    pSpec->id = 0;
    if (pSpec->ownsMemory) release(pSpec);
    return qorStsNoErr;
}

QorStatus getBufSize(const MdctSpec* pSpec, const Direction& direction, Qor32s* pSize) {
    if (anyNull(pSpec, pSize)) return qorStsNullPtrErr;
    if (pSpec->id != direction.id) return qorStsContextMatchErr;
    *pSize = pSpec->bufSize;
    return qorStsNoErr;
}

// Work memory: the rotated values, their transform, the scratch of the transform.
QorStatus transformPow2(const Direction& direction, const Qor32f* pSrc, Qor32f* pDst,
                        const MdctSpec* pSpec, Qor8u* work) {
    const Qor32s q = pSpec->len / 4;
    Qor32fc* const rotated = reinterpret_cast<Qor32fc*>(work);
    Qor32fc* const spectrum = rotated + q;
    direction.preProcess(pSrc, rotated, pSpec->pTwiddle, q);
    const QorStatus status = qorsFFTFwd_CToC_32fc(rotated, spectrum, pSpec->pFftSpec,
                                                  reinterpret_cast<Qor8u*>(spectrum + q));
    if (status != qorStsNoErr) return status;
    direction.postProcess(spectrum, pDst, pSpec->pTwiddle, q);
    return qorStsNoErr;
}

QORAC_INLINE QorStatus transform(const Direction& direction, const Qor32f* pSrc, Qor32f* pDst,
                                 const MdctSpec* pSpec, Qor8u* pBuffer) {
    if (!pSpec) return qorStsNullPtrErr;
    if (pSpec->id != direction.id) return qorStsContextMatchErr;
    if (anyNull(pSrc, pDst)) return qorStsNullPtrErr;
    Qor8u* const work = pBuffer ? alignUp<kAlignment>(pBuffer) : qorsMalloc_8u(pSpec->bufSize);
    if (!work) return qorStsMemAllocErr;
    QorStatus status = qorStsNoErr;
    if (isLayer3Length(pSpec->len))
        direction.layer3(pSrc, pDst, pSpec);
    else
        status = transformPow2(direction, pSrc, pDst, pSpec, work);
    if (!pBuffer) qorsFree(work);
    return status;
}

}  // namespace
}  // namespace qorac

using namespace qorac;

QorStatus qorsMDCTFwdGetSize_32f(Qor32s len, Qor32s* pSizeSpec, Qor32s* pSizeInit,
                                 Qor32s* pSizeBuf) {
    return getSize(len, pSizeSpec, pSizeInit, pSizeBuf);
}
QorStatus qorsMDCTInvGetSize_32f(Qor32s len, Qor32s* pSizeSpec, Qor32s* pSizeInit,
                                 Qor32s* pSizeBuf) {
    return getSize(len, pSizeSpec, pSizeInit, pSizeBuf);
}

QorStatus qorsMDCTFwdInit_32f(QorsMDCTFwdSpec_32f** ppSpec, Qor32s len, Qor8u* pMemSpec,
                              Qor8u* pMemInit) {
    return init(ppSpec, kForward, len, pMemSpec, pMemInit);
}
QorStatus qorsMDCTInvInit_32f(QorsMDCTInvSpec_32f** ppSpec, Qor32s len, Qor8u* pMemSpec,
                              Qor8u* pMemInit) {
    return init(ppSpec, kInverse, len, pMemSpec, pMemInit);
}

QorStatus qorsMDCTFwdInitAlloc_32f(QorsMDCTFwdSpec_32f** ppSpec, Qor32s len) {
    return initAlloc(ppSpec, kForward, len);
}
QorStatus qorsMDCTInvInitAlloc_32f(QorsMDCTInvSpec_32f** ppSpec, Qor32s len) {
    return initAlloc(ppSpec, kInverse, len);
}

QorStatus qorsMDCTFwdFree_32f(QorsMDCTFwdSpec_32f* pSpec) { return freeSpec(pSpec, kForward); }
QorStatus qorsMDCTInvFree_32f(QorsMDCTInvSpec_32f* pSpec) { return freeSpec(pSpec, kInverse); }

QorStatus qorsMDCTFwdGetBufSize_32f(const QorsMDCTFwdSpec_32f* pSpec, Qor32s* pSize) {
    return getBufSize(pSpec, kForward, pSize);
}
QorStatus qorsMDCTInvGetBufSize_32f(const QorsMDCTInvSpec_32f* pSpec, Qor32s* pSize) {
    return getBufSize(pSpec, kInverse, pSize);
}

QorStatus qorsMDCTFwd_32f(const Qor32f* pSrc, Qor32f* pDst, const QorsMDCTFwdSpec_32f* pSpec,
                          Qor8u* pBuffer) {
    return transform(kForward, pSrc, pDst, pSpec, pBuffer);
}
QorStatus qorsMDCTInv_32f(const Qor32f* pSrc, Qor32f* pDst, const QorsMDCTInvSpec_32f* pSpec,
                          Qor8u* pBuffer) {
    return transform(kInverse, pSrc, pDst, pSpec, pBuffer);
}

QorStatus qorsMDCTFwd_32f_I(Qor32f* pSrcDst, const QorsMDCTFwdSpec_32f* pSpec, Qor8u* pBuffer) {
    return transform(kForward, pSrcDst, pSrcDst, pSpec, pBuffer);
}
QorStatus qorsMDCTInv_32f_I(Qor32f* pSrcDst, const QorsMDCTInvSpec_32f* pSpec, Qor8u* pBuffer) {
    return transform(kInverse, pSrcDst, pSrcDst, pSpec, pBuffer);
}
