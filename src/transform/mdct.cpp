// Forward and inverse MDCT of 32-bit floats, without window and overlap (ISO/IEC 13818-7, clause
// "Filterbank"; lengths 12 and 36 are those of ISO 11172-3 Layer III):
//
//   X[k] = 2     * sum over n of x[n] cos(2 pi / N (n + n0)(k + 1/2))
//   y[n] = (2/N) * sum over k of X[k] cos(2 pi / N (n + n0)(k + 1/2)),  n0 = (N/2 + 1) / 2
//
// A block is folded to q = N/4 complex values, rotated by exp(-j t(i)) with t(i) = (i + 1/8) 2
// pi/N, transformed and rotated again; the inverse is the transpose. Both rotations carry the
// factor g = sqrt(2) forward and 1/sqrt(N/2) inverse.
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

namespace qorac {

namespace {

constexpr Qor32s kForwardId = 55, kInverseId = 56;
constexpr int kAlignment = 32;

constexpr bool isLayer3Length(Qor32s len) { return len == 12 || len == 36; }
constexpr bool isMdctLength(Qor32s len) { return isLayer3Length(len) || isMdctPowerOfTwo(len); }

// --- eight lanes, four pairs of complex values ------------------------------------------------

// The powers of two take the complex values i and i' = q - 1 - i together, four i at a time. Lanes
// 2t belong to value i + t, lanes 2t + 1 to its mirror.
using Lanes = Qor32f __attribute__((vector_size(32)));
constexpr int kLanes = 8, kPairs = kLanes / 2;

QORAC_INLINE Lanes load(const Qor32f* p) {
    Lanes v;
    __builtin_memcpy(&v, p, sizeof v);
    return v;
}
QORAC_INLINE void store(Qor32f* p, const Lanes& v) { __builtin_memcpy(p, &v, sizeof v); }
QORAC_INLINE Lanes reversed(const Lanes& v) {
    return __builtin_shufflevector(v, v, 7, 6, 5, 4, 3, 2, 1, 0);
}
QORAC_INLINE Lanes oddNegated(const Lanes& v) {
    return __builtin_shufflevector(v, -v, 0, 9, 2, 11, 4, 13, 6, 15);
}

// Twiddles g cos t, g sin t of four pairs: cos of i beside sin of i', and sin of i beside cos of
// i'.
struct Twiddles {
    Lanes cosSin, sinCos;
};
QORAC_INLINE Twiddles loadTwiddles(const Qor32f* pTwiddle, Qor32s i) {
    return {load(pTwiddle + 4 * i), load(pTwiddle + 4 * i + kLanes)};
}

// The pairs of complex values a + jb, in lanes.
struct Pairs {
    Lanes a, b;
};
QORAC_INLINE Pairs loadPairs(const Qor32fc* z, Qor32s q, Qor32s i) {
    const Lanes front = load(&z[i].re), back = load(&z[q - kPairs - i].re);
    return {__builtin_shufflevector(front, back, 0, 14, 2, 12, 4, 10, 6, 8),
            __builtin_shufflevector(front, back, 1, 15, 3, 13, 5, 11, 7, 9)};
}
QORAC_INLINE void storePairs(Qor32fc* z, Qor32s q, Qor32s i, const Lanes& a, const Lanes& b) {
    store(&z[i].re, __builtin_shufflevector(a, b, 0, 8, 2, 10, 4, 12, 6, 14));
    store(&z[q - kPairs - i].re, __builtin_shufflevector(a, b, 7, 15, 5, 13, 3, 11, 1, 9));
}

// Stores the values (u + jv) exp(-j t), given u of i beside v of i', and v of i beside u of i'.
QORAC_INLINE void rotateIn(Qor32fc* z, Qor32s q, Qor32s i, const Pairs& uv, const Twiddles& w) {
    storePairs(z, q, i, w.cosSin * uv.a + w.sinCos * uv.b,
               oddNegated(w.cosSin * uv.b - w.sinCos * uv.a));
}

// Of the values (a + jb) exp(-j t) the real part of i beside the negative imaginary part of i', and
// the negative imaginary part of i beside the real part of i'.
QORAC_INLINE Pairs rotateOut(const Qor32fc* z, Qor32s q, Qor32s i, const Twiddles& w) {
    const Pairs p = loadPairs(z, q, i);
    const Lanes b = oddNegated(p.b);
    return {w.cosSin * p.a + w.sinCos * b, w.sinCos * p.a - w.cosSin * b};
}

QORAC_CLONES void qors_MDCTFwdPreProcPow2_32f(const Qor32f* x, Qor32fc* z, const Qor32f* pTwiddle,
                                              Qor32s q) {
    for (Qor32s i = 0; i < q / 2; i += kPairs) {
        const Lanes uv = -load(x + 3 * q + 2 * i) - reversed(load(x + 3 * q - kLanes - 2 * i));
        const Lanes vu = reversed(load(x + q - kLanes - 2 * i)) - load(x + q + 2 * i);
        rotateIn(z, q, i, {uv, vu}, loadTwiddles(pTwiddle, i));
    }
}

QORAC_CLONES void qors_MDCTFwdPostProcPow2_32f(const Qor32fc* z, Qor32f* pDst,
                                               const Qor32f* pTwiddle, Qor32s q) {
    for (Qor32s i = 0; i < q / 2; i += kPairs) {
        const Pairs out = rotateOut(z, q, i, loadTwiddles(pTwiddle, i));
        store(pDst + 2 * i, out.a);
        store(pDst + 2 * q - kLanes - 2 * i, reversed(out.b));
    }
}

QORAC_CLONES void qors_MDCTInvPreProcPow2_32f(const Qor32f* pSrc, Qor32fc* z,
                                              const Qor32f* pTwiddle, Qor32s q) {
    for (Qor32s i = 0; i < q / 2; i += kPairs) {
        const Lanes uv = load(pSrc + 2 * i);
        const Lanes vu = reversed(load(pSrc + 2 * q - kLanes - 2 * i));
        rotateIn(z, q, i, {uv, vu}, loadTwiddles(pTwiddle, i));
    }
}

// The second quarter is the first one reversed and negated, the fourth the third one reversed.
QORAC_CLONES void qors_MDCTInvPostProcPow2_32f(const Qor32fc* z, Qor32f* y, const Qor32f* pTwiddle,
                                               Qor32s q) {
    for (Qor32s i = 0; i < q / 2; i += kPairs) {
        const Pairs out = rotateOut(z, q, i, loadTwiddles(pTwiddle, i));
        store(y + q - kLanes - 2 * i, reversed(out.b));
        store(y + q + 2 * i, -out.b);
        store(y + 3 * q - kLanes - 2 * i, reversed(-out.a));
        store(y + 3 * q + 2 * i, -out.a);
    }
}

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

template <int len>
QORAC_INLINE void forwardLayer3(const Qor32f* x, Qor32f* pDst, const Qor32f* pTwiddle) {
    constexpr int q = len / 4;
    Qor32fc z[q];
    for (int i = 0; i < q; ++i) z[i] = rotate(mdctFold<Qor32fc>(x, len, i), pTwiddle, i);
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

// The factors g sin t and g cos t of each complex value, for the powers of two in the order of use.
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
            const bool mirror = i >= q / 2;
            const Qor32s pair = mirror ? q - 1 - i : i;
            Qor32f* const group =
                pTwiddle + 4 * (pair & ~(kPairs - 1)) + 2 * (pair % kPairs) + mirror;
            group[0] = mirror ? sine : cosine;
            group[kLanes] = mirror ? cosine : sine;
        }
    }
}

struct Sizes {
    Qor32s spec, init, buffer;
};

QorStatus getSizes(Qor32s len, Sizes* pSizes) {
    if (isLayer3Length(len)) {
        *pSizes = {len / 2 * 4 + 104, 0, len * 4 + 64};
        return qorStsNoErr;
    }
    Sizes fft;
    const QorStatus status = qorsFFTGetSize_C_32fc(mdctFftOrder(len), qorFftNormNone, 0, &fft.spec,
                                                   &fft.init, &fft.buffer);
    if (status != qorStsNoErr) return status;
    *pSizes = {len / 2 * 4 + fft.spec + 136, fft.init, len * 4 + fft.buffer + 96};
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

// Clears the id and releases what InitAlloc has made of a spec.
void release(MdctSpec* spec) {
    spec->id = 0;
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
