#include "frame/vectorkernels.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstring>

#include "frame/fixed.h"
#include "frame/status.h"

namespace qorac {

namespace {

template <typename T>
QorStatus zero(T* pDst, int len) {
    if (!pDst) return qorStsNullPtrErr;
    if (len < 1) return qorStsSizeErr;
    std::memset(pDst, 0, sizeof(T) * size_t(len));
    return qorStsNoErr;
}

template <typename T>
QorStatus copy(const T* pSrc, T* pDst, int len) {
    if (anyNull(pSrc, pDst)) return qorStsNullPtrErr;
    if (len < 1) return qorStsSizeErr;
    std::memcpy(pDst, pSrc, sizeof(T) * size_t(len));
    return qorStsNoErr;
}

template <typename T>
QorStatus move(const T* pSrc, T* pDst, int len) {
    if (anyNull(pSrc, pDst)) return qorStsNullPtrErr;
    if (len < 1) return qorStsSizeErr;
    std::memmove(pDst, pSrc, sizeof(T) * size_t(len));
    return qorStsNoErr;
}

// The exact sum of two 32-bit values times 2^-scaleFactor, by the three ranges of the factor.
Qor32s scaleSum(Qor64s sum, int scaleFactor) {
    if (scaleFactor > 32) return 0;
    if (scaleFactor > 0) return saturate32s(shrRound(sum, scaleFactor));
    if (scaleFactor > -31) return saturate32s(sum * (Qor64s(1) << -scaleFactor));
    return sum > 0 ? kMax32s : sum < 0 ? kMin32s : 0;
}

QORAC_CLONES void addSaturated(const Qor32s* pSrc, Qor32s* pSrcDst, int len) {
    for (int i = 0; i < len; ++i) pSrcDst[i] = saturate32s(Qor64s(pSrc[i]) + pSrcDst[i]);
}

QORAC_CLONES void convertSaturated(const Qor32s* pSrc, Qor16s* pDst, int len) {
    for (int i = 0; i < len; ++i) pDst[i] = saturate16s(pSrc[i]);
}

// To nearest with ties to even: up when the rest is above a half, or is a half below an odd value.
QORAC_CLONES void convertRounded(const Qor32s* pSrc, Qor16s* pDst, int len, int shift) {
    const Qor32s half = 1 << (shift - 1), mask = 2 * (half - 1) + 1;
    for (int i = 0; i < len; ++i) {
        const Qor32s floor = pSrc[i] >> shift;
        const Qor32s nearest = floor + ((pSrc[i] & mask) > half - (floor & 1));
        const Qor32s bounded = nearest < 32767 ? nearest : 32767;
        pDst[i] = Qor16s(bounded > -32768 ? bounded : -32768);
    }
}

// Saturation before the shift as well as behind it gives the value of the exact product.
QORAC_CLONES void convertShiftedUp(const Qor32s* pSrc, Qor16s* pDst, int len, int shift) {
    for (int i = 0; i < len; ++i) pDst[i] = saturate16s(saturate16s(pSrc[i]) * (1 << shift));
}

QORAC_CLONES void mulC(Qor32f* pSrcDst, int len, Qor32f val) {
    for (int i = 0; i < len; ++i) pSrcDst[i] *= val;
}

typedef Qor32f Float8 __attribute__((vector_size(32)));
typedef Qor32u FloatBits8 __attribute__((vector_size(32)));
typedef Qor32s Int8 __attribute__((vector_size(32)));
typedef Qor16s Short8 __attribute__((vector_size(16)));

template <typename V, typename T>
QORAC_INLINE V loadVector(const T* p) {
    V v;
    std::memcpy(&v, p, sizeof v);
    return v;
}
template <typename V, typename T>
QORAC_INLINE void storeVector(T* p, const V& v) {
    std::memcpy(p, &v, sizeof v);
}
// The first `count` elements, the rest of the vector 0.
template <typename V, typename T>
QORAC_INLINE V loadPart(const T* p, int count) {
    V v{};
    std::memcpy(&v, p, sizeof(T) * size_t(count));
    return v;
}
template <typename V, typename T>
QORAC_INLINE void storePart(T* p, const V& v, int count) {
    std::memcpy(p, &v, sizeof(T) * size_t(count));
}

// Nearest integers with ties to even, whatever the caller's rounding mode, saturated to 16 bits; a
// NaN saturates to the low end. A true comparison is a lane of ones: -1.
QORAC_INLINE Short8 roundToShorts(Float8 x) {
    x = x > -32768.0f ? x : Float8{} - 32768.0f;
    x = x < 32767.0f ? x : Float8{} + 32767.0f;
    const Int8 towardZero = __builtin_convertvector(x, Int8);
    const Float8 rest = x - __builtin_convertvector(towardZero, Float8);
    const Int8 odd = -(towardZero & 1);
    const Int8 up = (rest > 0.5f) | ((rest == 0.5f) & odd);
    const Int8 down = (rest < -0.5f) | ((rest == -0.5f) & odd);
    return __builtin_convertvector(towardZero - up + down, Short8);
}

QORAC_CLONES void convertFloats(const Qor32f* pSrc, Qor16s* pDst, int len, Qor32f scale) {
    int i = 0;
    for (; i <= len - 8; i += 8)
        storeVector(pDst + i, roundToShorts(loadVector<Float8>(pSrc + i) * scale));
    if (i < len)
        storePart(pDst + i, roundToShorts(loadPart<Float8>(pSrc + i, len - i) * scale), len - i);
}

// The products ac - bd and ad + bc of (a + ib)(c + id), four side by side. The subtraction is an
// addition of the negated product: g++ 12 makes one rounding of what alternates subtractions and
// additions of products, whatever it is told about contraction.
QORAC_INLINE Float8 mulComplex(const Float8& x, const Float8& y) {
    constexpr FloatBits8 kNegateReal = {1u << 31, 0, 1u << 31, 0, 1u << 31, 0, 1u << 31, 0};
    const Float8 a = __builtin_shufflevector(x, x, 0, 0, 2, 2, 4, 4, 6, 6);
    const Float8 b = __builtin_shufflevector(x, x, 1, 1, 3, 3, 5, 5, 7, 7);
    const Float8 dc = __builtin_shufflevector(y, y, 1, 0, 3, 2, 5, 4, 7, 6);
    return a * y + Float8(FloatBits8(b * dc) ^ kNegateReal);
}

QORAC_CLONES void mulComplex(const Qor32fc* pSrc1, const Qor32fc* pSrc2, Qor32fc* pDst, int len) {
    int i = 0;
    for (; i <= len - 4; i += 4)
        storeVector(pDst + i,
                    mulComplex(loadVector<Float8>(pSrc1 + i), loadVector<Float8>(pSrc2 + i)));
    if (i < len)
        storePart(
            pDst + i,
            mulComplex(loadPart<Float8>(pSrc1 + i, len - i), loadPart<Float8>(pSrc2 + i, len - i)),
            len - i);
}

}  // namespace

QorStatus qorsZero_8u(Qor8u* pDst, int len) { return zero(pDst, len); }
QorStatus qorsZero_16s(Qor16s* pDst, int len) { return zero(pDst, len); }
QorStatus qorsZero_16sc(Qor16sc* pDst, int len) { return zero(pDst, len); }
QorStatus qorsZero_32s(Qor32s* pDst, int len) { return zero(pDst, len); }
QorStatus qorsZero_32sc(Qor32sc* pDst, int len) { return zero(pDst, len); }
QorStatus qorsZero_32f(Qor32f* pDst, int len) { return zero(pDst, len); }
QorStatus qorsZero_32fc(Qor32fc* pDst, int len) { return zero(pDst, len); }
void ownsZero_8u(Qor8u* pDst, int numBytes) { std::memset(pDst, 0, size_t(numBytes)); }

QorStatus qorsSet_32s(Qor32s val, Qor32s* pDst, int len) {
    if (!pDst) return qorStsNullPtrErr;
    if (len < 1) return qorStsSizeErr;
    ownsSet_32s(val, pDst, len);
    return qorStsNoErr;
}
void ownsSet_32s(Qor32s val, Qor32s* pDst, int len) { std::fill_n(pDst, len, val); }
void ownsSet_8u(Qor8u val, Qor8u* pDst, int len) { std::memset(pDst, val, size_t(len)); }

QorStatus qorsCopy_8u(const Qor8u* pSrc, Qor8u* pDst, int len) { return copy(pSrc, pDst, len); }
QorStatus qorsCopy_32s(const Qor32s* pSrc, Qor32s* pDst, int len) { return copy(pSrc, pDst, len); }
QorStatus qorsCopy_32f(const Qor32f* pSrc, Qor32f* pDst, int len) { return copy(pSrc, pDst, len); }
void ownsCopy_8u(const Qor8u* pSrc, Qor8u* pDst, int numBytes) {
    std::memcpy(pDst, pSrc, size_t(numBytes));
}

QorStatus qorsMove_8u(const Qor8u* pSrc, Qor8u* pDst, int len) { return move(pSrc, pDst, len); }
QorStatus qorsMove_32f(const Qor32f* pSrc, Qor32f* pDst, int len) { return move(pSrc, pDst, len); }

QorStatus qorsAdd_32s_ISfs(const Qor32s* pSrc, Qor32s* pSrcDst, int len, int scaleFactor) {
    if (anyNull(pSrc, pSrcDst)) return qorStsNullPtrErr;
    if (len < 1) return qorStsSizeErr;
    if (scaleFactor == 0) {
        addSaturated(pSrc, pSrcDst, len);
    } else {
        for (int i = 0; i < len; ++i)
            pSrcDst[i] = scaleSum(Qor64s(pSrc[i]) + pSrcDst[i], scaleFactor);
    }
    return qorStsNoErr;
}

QorStatus qorsMulC_32f_I(Qor32f* pSrcDst, int len, Qor32f val) {
    if (!pSrcDst) return qorStsNullPtrErr;
    if (len < 1) return qorStsSizeErr;
    if (val == 1.0f) return qorStsNoErr;
    if (val == 0.0f) return qorsZero_32f(pSrcDst, len);
    mulC(pSrcDst, len, val);
    return qorStsNoErr;
}

QorStatus qorsMul_32fc(const Qor32fc* pSrc1, const Qor32fc* pSrc2, Qor32fc* pDst, int len) {
    if (anyNull(pSrc1, pSrc2, pDst)) return qorStsNullPtrErr;
    if (len < 1) return qorStsSizeErr;
    mulComplex(pSrc1, pSrc2, pDst, len);
    return qorStsNoErr;
}

QorStatus qorsMul_32fc_I(const Qor32fc* pSrc, Qor32fc* pSrcDst, int len) {
    return qorsMul_32fc(pSrcDst, pSrc, pSrcDst, len);
}

QorStatus qorsConj_32fc(const Qor32fc* pSrc, Qor32fc* pDst, int len) {
    if (anyNull(pSrc, pDst)) return qorStsNullPtrErr;
    if (len < 1) return qorStsSizeErr;
    for (int i = 0; i < len; ++i) pDst[i] = {pSrc[i].re, -pSrc[i].im};
    return qorStsNoErr;
}

QorStatus qorsRShiftC_32s_I(int val, Qor32s* pSrcDst, int len) {
    if (!pSrcDst) return qorStsNullPtrErr;
    if (len < 1) return qorStsSizeErr;
    if (val < 0) return qorStsShiftErr;
    if (val == 0) return qorStsNoErr;
    const int shift = std::min(val, 31);
    for (int i = 0; i < len; ++i) pSrcDst[i] >>= shift;
    return qorStsNoErr;
}

QorStatus qorsConvert_32s16s_Sfs(const Qor32s* pSrc, Qor16s* pDst, int len, int scaleFactor) {
    if (anyNull(pSrc, pDst)) return qorStsNullPtrErr;
    if (len < 1) return qorStsSizeErr;
    if (scaleFactor > 0)
        convertRounded(pSrc, pDst, len, std::min(scaleFactor, 31));
    else if (scaleFactor < 0)
        convertShiftedUp(pSrc, pDst, len, -std::max(scaleFactor, -15));
    else
        convertSaturated(pSrc, pDst, len);
    return qorStsNoErr;
}

QorStatus qorsConvert_16s32f(const Qor16s* pSrc, Qor32f* pDst, int len) {
    if (anyNull(pSrc, pDst)) return qorStsNullPtrErr;
    if (len < 1) return qorStsSizeErr;
    for (int i = 0; i < len; ++i) pDst[i] = pSrc[i];
    return qorStsNoErr;
}

QorStatus qorsConvert_32f16s_Sfs(const Qor32f* pSrc, Qor16s* pDst, int len,
                                 [[maybe_unused]] int rndMode, int scaleFactor) {
    if (anyNull(pSrc, pDst)) return qorStsNullPtrErr;
    if (len < 1) return qorStsSizeErr;
    const int exponent = int(std::clamp(127 - Qor64s(scaleFactor), Qor64s(0), Qor64s(255)));
    convertFloats(pSrc, pDst, len, std::bit_cast<Qor32f>(exponent << 23));
    return qorStsNoErr;
}

QorStatus qorsCplxToReal_32fc(const Qor32fc* pSrc, Qor32f* pDstRe, Qor32f* pDstIm, int len) {
    if (anyNull(pSrc, pDstRe, pDstIm)) return qorStsNullPtrErr;
    if (len < 1) return qorStsSizeErr;
    for (int i = 0; i < len; ++i) {
        const Qor32fc value = pSrc[i];
        pDstRe[i] = value.re;
        pDstIm[i] = value.im;
    }
    return qorStsNoErr;
}

QorStatus qorsRealToCplx_32f(const Qor32f* pSrcRe, const Qor32f* pSrcIm, Qor32fc* pDst, int len) {
    if (!pDst) return qorStsNullPtrErr;
    if (len < 1) return qorStsSizeErr;
    if (!pSrcRe && !pSrcIm) return qorStsNullPtrErr;
    for (int i = 0; i < len; ++i) pDst[i] = {pSrcRe ? pSrcRe[i] : 0.0f, pSrcIm ? pSrcIm[i] : 0.0f};
    return qorStsNoErr;
}

QorStatus qorsMax_32s(const Qor32s* pSrc, int len, Qor32s* pMax) {
    if (anyNull(pSrc, pMax)) return qorStsNullPtrErr;
    if (len < 1) return qorStsSizeErr;
    Qor32s max = pSrc[0];
    for (int i = 1; i < len; ++i) max = std::max(max, pSrc[i]);
    *pMax = max;
    return qorStsNoErr;
}

QorStatus qorsMinMax_16s(const Qor16s* pSrc, int len, Qor16s* pMin, Qor16s* pMax) {
    if (anyNull(pSrc, pMin, pMax)) return qorStsNullPtrErr;
    if (len < 1) return qorStsSizeErr;
    Qor16s min = pSrc[0], max = pSrc[0];
    for (int i = 1; i < len; ++i) {
        min = std::min(min, pSrc[i]);
        max = std::max(max, pSrc[i]);
    }
    *pMin = min;
    *pMax = max;
    return qorStsNoErr;
}

QorStatus qorsStdDev_32f(const Qor32f* pSrc, int len, Qor32f* pStdDev, [[maybe_unused]] int hint) {
    if (anyNull(pSrc, pStdDev)) return qorStsNullPtrErr;
    if (len < 2) return qorStsSizeErr;
    double sum = 0, sumOfSquares = 0;
    for (int i = 0; i < len; ++i) {
        sum += pSrc[i];
        sumOfSquares += double(pSrc[i]) * pSrc[i];
    }
    const double n = len;
    const double variance = std::max(n * sumOfSquares - sum * sum, 0.0) / (n * (n - 1));
    *pStdDev = Qor32f(std::sqrt(variance));
    return qorStsNoErr;
}

}  // namespace qorac
