#include "transform/dct.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>

#include "frame/constmath.h"
#include "frame/dispatch.h"
#include "frame/fixed.h"
#include "frame/memory.h"
#include "frame/status.h"
#include "frame/vectorkernels.h"

namespace qorac {

namespace {

enum class Method { small, pow2, fft, direct, chirp };

constexpr int kAlignment = 32;
constexpr Qor32s kHeaderSize = 152;        // a spec without tables, with its alignment slack
constexpr Qor32s kTabledHeaderSize = 160;  // a spec's share beside its tables
static_assert(sizeof(QorsDCTSpec_32f) + kAlignment <= kHeaderSize);
constexpr Qor32s kMaxSmallLen = 8, kMaxPow2Len = 32, kMaxDirectLen = 100;

constexpr Method methodOf(Qor32s len) {
    if (std::has_single_bit(Qor32u(len)))
        return len <= kMaxSmallLen  ? Method::small
               : len <= kMaxPow2Len ? Method::pow2
                                    : Method::fft;
    return len <= kMaxDirectLen ? Method::direct : Method::chirp;
}

// The smallest order whose power of two is not below n.
constexpr int orderOf(Qor64s n) { return std::bit_width(Qor64u(n - 1)); }

// Orders of the inner transform: of 2N reals, or of M >= 2N - 1 complex values.
constexpr int fftOrder(Qor32s len) { return orderOf(2 * Qor64s(len)); }
constexpr int chirpOrder(Qor32s len) { return orderOf(2 * Qor64s(len) - 1); }

// --- tables -----------------------------------------------------------------------------------

struct CosSin {
    double cos, sin;
};

// Of the angle 2 pi num / den, 0 <= num < den, reduced exactly to at most pi / 4.
CosSin turn(Qor64s num, Qor64s den) {
    constexpr double kHalfPi = 1.57079632679489661923;
    const Qor64s quadrant = 4 * num / den, rest = 4 * num % den;
    const bool pastEighth = 2 * rest > den;
    const double angle = kHalfPi * double(pastEighth ? den - rest : rest) / double(den);
    CosSin first{std::cos(angle), std::sin(angle)};
    if (pastEighth) first = {first.sin, first.cos};
    switch (quadrant) {
        case 0:
            return first;
        case 1:
            return {0.0 - first.sin, first.cos};
        case 2:
            return {0.0 - first.cos, 0.0 - first.sin};
        default:
            return {first.sin, 0.0 - first.cos};
    }
}

void qors_initTabDct_Dir_32f(Qor32f* pTab, Qor32s len) {
    for (Qor32s i = 0; i < 4 * len; ++i) pTab[i] = Qor32f(turn(i, 4 * len).cos);
}

void qors_initTabDct_Pow2_32f(Qor32f* pTab, Qor32s len) {
    for (Qor32s level = len; level > 8; level /= 2)
        for (Qor32s i = 0; i < level / 2; ++i)
            *pTab++ = Qor32f(0.5 / turn(2 * i + 1, 4 * level).cos);
}

// c(k) exp(j pi k / (2N)), times a half in the inverse but for k = 0: the inverse of a real
// spectrum counts each of its bins twice.
void initTabDct_Fft(Qor32fc* pTab, Qor32s len, Qor32s id) {
    const double scale = std::sqrt(2.0 / len) * (id == kDctInvId ? 0.5 : 1.0);
    pTab[0] = {Qor32f(1.0 / std::sqrt(double(len))), 0.0f};
    for (Qor32s k = 1; k < len; ++k) {
        const CosSin angle = turn(k, 4 * Qor64s(len));
        pTab[k] = {Qor32f(scale * angle.cos), Qor32f(scale * angle.sin)};
    }
}

void initTabDct_Recombine(Qor32fc* pTab, Qor32s len) {
    for (Qor32s i = 0; i < len; ++i) {
        const CosSin angle = turn(i, 2 * Qor64s(len));
        pTab[i] = {Qor32f(0.5 * angle.cos), Qor32f(0.5 - 0.5 * angle.sin)};
    }
}

// exp(-2 pi j n^2 / (2N)), with n^2 taken modulo 2N.
void initTabDct_Chirp(Qor32fc* pTab, Qor32s len) {
    for (Qor64s n = 0; n < len; ++n) {
        const CosSin angle = turn(n * n % (2 * Qor64s(len)), 2 * Qor64s(len));
        pTab[n] = {Qor32f(angle.cos), Qor32f(-angle.sin)};
    }
}

// Spectrum of the convolution kernel of the chirp method, over M and divided by M.
QorStatus initTabDct_ChirpFFT(Qor32fc* pTab, const Qor32fc* pChirp, Qor32s len,
                              const QorsFFTSpec_C_32fc* pFFTSpec, Qor8u* pBuffer) {
    const Qor32s fftLen = 1 << pFFTSpec->order;
    qorsZero_32fc(pTab, fftLen);
    qorsConj_32fc(pChirp, pTab, len);
    for (Qor32s n = 1; n < len; ++n) pTab[fftLen - n] = pTab[n];
    const QorStatus status = qorsFFTFwd_CToC_32fc(pTab, pTab, pFFTSpec, pBuffer);
    qorsMulC_32f_I(reinterpret_cast<Qor32f*>(pTab), 2 * fftLen, 1.0f / Qor32f(fftLen));
    return status;
}

// --- codelets ---------------------------------------------------------------------------------

using Vector4 = Qor32f __attribute__((vector_size(16)));

QORAC_INLINE Vector4 load4(const Qor32f* p) {
    Vector4 v;
    __builtin_memcpy(&v, p, sizeof v);
    return v;
}

QORAC_INLINE void store4(Qor32f* p, Vector4 v) { __builtin_memcpy(p, &v, sizeof v); }

// Cosines of the 8-point transform: row i holds, for k = first, first + 2, ..., the values
// cos(pi k (2i + 1) / 16).
using Rows4 = std::array<std::array<Qor32f, 4>, 4>;

consteval Rows4 cosineRows(int first, bool transposed) {
    Rows4 rows{};
    for (int i = 0; i < 4; ++i)
        for (int m = 0; m < 4; ++m)
            (transposed ? rows[m][i] : rows[i][m]) =
                Qor32f(constmath::cosPi((first + 2 * m) * (2 * i + 1), 16));
    return rows;
}

constexpr Rows4 kForwardEven = cosineRows(0, false), kForwardOdd = cosineRows(1, false);
constexpr Rows4 kInverseEven = cosineRows(0, true), kInverseOdd = cosineRows(1, true);

QORAC_INLINE Vector4 combineRows(const Rows4& rows, Vector4 x) {
    return (x[0] * load4(rows[0].data()) + x[1] * load4(rows[1].data())) +
           (x[2] * load4(rows[2].data()) + x[3] * load4(rows[3].data()));
}

// What stands between 8-point sums is kept in registers, four numbers in each: memory would be
// written number by number and read by vectors, which waits for the writes.
template <int len>
struct Points {
    Vector4 v[len / 4];
};

QORAC_INLINE Vector4 reversed(Vector4 v) { return __builtin_shufflevector(v, v, 3, 2, 1, 0); }

// The cosine sums of 8 points without normalisation: even bins from the sums of mirrored samples,
// odd bins from their differences.
QORAC_INLINE Points<8> forward8(const Points<8>& x) {
    const Vector4 mirrored = reversed(x.v[1]);
    const Vector4 sum = x.v[0] + mirrored, diff = x.v[0] - mirrored;
    const Vector4 even = combineRows(kForwardEven, sum);
    const Vector4 odd = combineRows(kForwardOdd, diff);
    return {{__builtin_shufflevector(even, odd, 0, 4, 1, 5),
             __builtin_shufflevector(even, odd, 2, 6, 3, 7)}};
}

QORAC_INLINE Points<8> inverse8(const Points<8>& x) {
    const Vector4 even =
        combineRows(kInverseEven, __builtin_shufflevector(x.v[0], x.v[1], 0, 2, 4, 6));
    const Vector4 odd =
        combineRows(kInverseOdd, __builtin_shufflevector(x.v[0], x.v[1], 1, 3, 5, 7));
    return {{even + odd, reversed(even - odd)}};
}

template <int len>
QORAC_INLINE Points<len> loadPoints(const Qor32f* p) {
    Points<len> x;
    for (int i = 0; i < len / 4; ++i) x.v[i] = load4(p + 4 * i);
    return x;
}
template <int len>
QORAC_INLINE void storePoints(Qor32f* p, const Points<len>& x) {
    for (int i = 0; i < len / 4; ++i) store4(p + 4 * i, x.v[i]);
}

// Number 0 times scale0, the others times scale.
template <int len>
QORAC_INLINE Points<len> scaled(Points<len> x, Qor32f scale0, Qor32f scale) {
    x.v[0] *= Vector4{scale0, scale, scale, scale};
    for (int i = 1; i < len / 4; ++i) x.v[i] *= scale;
    return x;
}

using Codelet = void (*)(const Qor32f* pSrc, Qor32f* pDst);

constexpr Qor32f kSqrtHalf = Qor32f(constmath::sqrt(0.5L));
constexpr Qor32f kCosPi8 = Qor32f(constmath::cosPi(1, 8) * constmath::sqrt(0.5L));
constexpr Qor32f kSinPi8 = Qor32f(constmath::sinPi(1, 8) * constmath::sqrt(0.5L));
constexpr Qor32f kSqrtEighth = Qor32f(constmath::sqrt(0.125L));

void sDCT_1(const Qor32f* pSrc, Qor32f* pDst) { pDst[0] = pSrc[0]; }

void sDCT_2(const Qor32f* pSrc, Qor32f* pDst) {
    const Qor32f sum = pSrc[0] + pSrc[1], diff = pSrc[0] - pSrc[1];
    pDst[0] = sum * kSqrtHalf;
    pDst[1] = diff * kSqrtHalf;
}

void sDCTfwd_4(const Qor32f* pSrc, Qor32f* pDst) {
    const Qor32f outerSum = pSrc[0] + pSrc[3], outerDiff = pSrc[0] - pSrc[3];
    const Qor32f innerSum = pSrc[1] + pSrc[2], innerDiff = pSrc[1] - pSrc[2];
    pDst[0] = (outerSum + innerSum) * 0.5f;
    pDst[1] = outerDiff * kCosPi8 + innerDiff * kSinPi8;
    pDst[2] = (outerSum - innerSum) * 0.5f;
    pDst[3] = outerDiff * kSinPi8 - innerDiff * kCosPi8;
}

void sDCTinv_4(const Qor32f* pSrc, Qor32f* pDst) {
    const Qor32f outerEven = (pSrc[0] + pSrc[2]) * 0.5f;
    const Qor32f innerEven = (pSrc[0] - pSrc[2]) * 0.5f;
    const Qor32f outerOdd = pSrc[1] * kCosPi8 + pSrc[3] * kSinPi8;
    const Qor32f innerOdd = pSrc[1] * kSinPi8 - pSrc[3] * kCosPi8;
    pDst[0] = outerEven + outerOdd;
    pDst[1] = innerEven + innerOdd;
    pDst[2] = innerEven - innerOdd;
    pDst[3] = outerEven - outerOdd;
}

void sDCTfwd_8(const Qor32f* pSrc, Qor32f* pDst) {
    storePoints(pDst, scaled(forward8(loadPoints<8>(pSrc)), kSqrtEighth, 0.5f));
}

void sDCTinv_8(const Qor32f* pSrc, Qor32f* pDst) {
    storePoints(pDst, inverse8(scaled(loadPoints<8>(pSrc), kSqrtEighth, 0.5f)));
}

constexpr Codelet tbl_sDCTfwd_small[kMaxSmallLen] = {sDCT_1,  sDCT_2,  nullptr, sDCTfwd_4,
                                                     nullptr, nullptr, nullptr, sDCTfwd_8};
constexpr Codelet tbl_sDCTinv_small[kMaxSmallLen] = {sDCT_1,  sDCT_2,  nullptr, sDCTinv_4,
                                                     nullptr, nullptr, nullptr, sDCTinv_8};

// --- recursive halving ------------------------------------------------------------------------

// Cosine sums without normalisation. With theta = (2i + 1) pi / (2L), an even bin of x is a bin of
// the sums a, and 2 cos(theta) cos((2m + 1) theta) = cos(2m theta) + cos((2m + 2) theta) makes an
// odd bin the sum of two neighbouring bins of b, the differences over 2 cos(theta).
template <int len>
QORAC_INLINE Points<len> forwardHalving(const Points<len>& x, const Qor32f* pTab) {
    if constexpr (len == 8) {
        return forward8(x);
    } else {
        constexpr int vectors = len / 8;
        Points<len / 2> a, b;
        for (int i = 0; i < vectors; ++i) {
            const Vector4 mirrored = reversed(x.v[2 * vectors - 1 - i]);
            a.v[i] = x.v[i] + mirrored;
            b.v[i] = (x.v[i] - mirrored) * load4(pTab + 4 * i);
        }
        a = forwardHalving(a, pTab + len / 2);
        b = forwardHalving(b, pTab + len / 2);
        Points<len> y;
        for (int i = 0; i < vectors; ++i) {
            const Vector4 after = i + 1 < vectors ? b.v[i + 1] : Vector4{};
            const Vector4 even = a.v[i];
            const Vector4 odd = b.v[i] + __builtin_shufflevector(b.v[i], after, 1, 2, 3, 4);
            y.v[2 * i] = __builtin_shufflevector(even, odd, 0, 4, 1, 5);
            y.v[2 * i + 1] = __builtin_shufflevector(even, odd, 2, 6, 3, 7);
        }
        return y;
    }
}

template <int len>
QORAC_INLINE Points<len> inverseHalving(const Points<len>& x, const Qor32f* pTab) {
    if constexpr (len == 8) {
        return inverse8(x);
    } else {
        constexpr int vectors = len / 8;
        Points<len / 2> a, b;
        Vector4 before{};
        for (int i = 0; i < vectors; ++i) {
            const Vector4 odd = __builtin_shufflevector(x.v[2 * i], x.v[2 * i + 1], 1, 3, 5, 7);
            a.v[i] = __builtin_shufflevector(x.v[2 * i], x.v[2 * i + 1], 0, 2, 4, 6);
            b.v[i] = odd + __builtin_shufflevector(before, odd, 3, 4, 5, 6);
            before = odd;
        }
        a = inverseHalving(a, pTab + len / 2);
        b = inverseHalving(b, pTab + len / 2);
        Points<len> y;
        for (int i = 0; i < vectors; ++i) {
            const Vector4 odd = b.v[i] * load4(pTab + 4 * i);
            y.v[i] = a.v[i] + odd;
            y.v[2 * vectors - 1 - i] = reversed(a.v[i] - odd);
        }
        return y;
    }
}

template <int len>
QORAC_INLINE void forwardPow2(const Qor32f* pSrc, Qor32f* pDst, const QorsDCTSpec_32f* pSpec) {
    const Points<len> sums = forwardHalving(loadPoints<len>(pSrc), pSpec->pPow2Tab);
    storePoints(pDst, scaled(sums, pSpec->scale0, pSpec->scaleK));
}

template <int len>
QORAC_INLINE void inversePow2(const Qor32f* pSrc, Qor32f* pDst, const QorsDCTSpec_32f* pSpec) {
    const Points<len> bins = scaled(loadPoints<len>(pSrc), pSpec->scale0, pSpec->scaleK);
    storePoints(pDst, inverseHalving(bins, pSpec->pPow2Tab));
}

QORAC_CLONES void qors_sDctFwd_Pow2_32f(const Qor32f* pSrc, Qor32f* pDst,
                                        const QorsDCTSpec_32f* pSpec) {
    if (pSpec->len == 16)
        forwardPow2<16>(pSrc, pDst, pSpec);
    else
        forwardPow2<32>(pSrc, pDst, pSpec);
}

QORAC_CLONES void qors_sDctInv_Pow2_32f(const Qor32f* pSrc, Qor32f* pDst,
                                        const QorsDCTSpec_32f* pSpec) {
    if (pSpec->len == 16)
        inversePow2<16>(pSrc, pDst, pSpec);
    else
        inversePow2<32>(pSrc, pDst, pSpec);
}

// --- direct sums ------------------------------------------------------------------------------

// Sum of v[i stride] cos(2 pi (first + i step) / period), i below count, first and step below the
// period. Four terms side by side, each with a running index into the table.
QORAC_INLINE Qor32f cosineSum(const Qor32f* v, int stride, int count, const Qor32f* pTab, int first,
                              int step, int period) {
    constexpr int kSideBySide = 4;
    const int stepOfFour = kSideBySide * step % period;
    Qor32f sum[kSideBySide] = {};
    int index[kSideBySide] = {first};
    for (int j = 1; j < kSideBySide; ++j) index[j] = (index[j - 1] + step) % period;
    int i = 0;
    for (; i + kSideBySide <= count; i += kSideBySide) {
        for (int j = 0; j < kSideBySide; ++j) {
            sum[j] += v[(i + j) * stride] * pTab[index[j]];
            index[j] += stepOfFour;
            index[j] -= index[j] >= period ? period : 0;
        }
    }
    for (int j = 0; i + j < count; ++j) sum[j] += v[(i + j) * stride] * pTab[index[j]];
    return (sum[0] + sum[1]) + (sum[2] + sum[3]);
}

// With the mirrored samples folded into sums for the even bins and differences for the odd ones.
// The middle sample of an odd length counts in the even bins alone, with the sign of cos(pi k / 2).
void qors_sDctFwd_Dir_32f(const Qor32f* pSrc, Qor32f* pDst, const QorsDCTSpec_32f* pSpec,
                          Qor32f* work) {
    const int len = pSpec->len, half = len / 2;
    Qor32f* const sums = work;
    Qor32f* const diffs = work + half;
    const Qor32f middle = len % 2 ? pSrc[half] : 0.0f;
    for (int i = 0; i < half; ++i) {
        sums[i] = pSrc[i] + pSrc[len - 1 - i];
        diffs[i] = pSrc[i] - pSrc[len - 1 - i];
    }
    for (int k = 0; k < len; ++k) {
        Qor32f sum = cosineSum(k % 2 ? diffs : sums, 1, half, pSpec->pDirTab, k, 2 * k, 4 * len);
        if (k % 2 == 0) sum += k % 4 ? -middle : middle;
        pDst[k] = sum * (k == 0 ? pSpec->scale0 : pSpec->scaleK);
    }
}

void qors_sDctInv_Dir_32f(const Qor32f* pSrc, Qor32f* pDst, const QorsDCTSpec_32f* pSpec,
                          Qor32f* work) {
    const int len = pSpec->len, half = len / 2, evens = len - half;
    work[0] = pSrc[0] * pSpec->scale0;
    for (int k = 1; k < len; ++k) work[k] = pSrc[k] * pSpec->scaleK;
    for (int n = 0; n < evens; ++n) {
        const int angle = 2 * n + 1;
        const Qor32f even = cosineSum(work, 2, evens, pSpec->pDirTab, 0, 2 * angle, 4 * len);
        const Qor32f odd = cosineSum(work + 1, 2, half, pSpec->pDirTab, angle, 2 * angle, 4 * len);
        pDst[n] = even + odd;
        pDst[len - 1 - n] = even - odd;
    }
}

// --- through a real transform of length 2N ----------------------------------------------------

// X(k) from bin k of the spectrum of the samples followed by N zeros.
QORAC_CLONES void cosineSumsOfSpectrum(const Qor32fc* pSpectrum, const Qor32fc* pTab, Qor32f* pDst,
                                       Qor32s len) {
    for (Qor32s k = 0; k < len; ++k)
        pDst[k] = pSpectrum[k].re * pTab[k].re + pSpectrum[k].im * pTab[k].im;
}

// The spectrum whose inverse holds the samples in its first half. Its element 1, the Nyquist bin,
// is 0 like the imaginary part of entry 0.
QORAC_CLONES void spectrumOfCosineSums(const Qor32f* pSrc, const Qor32fc* pTab, Qor32fc* pSpectrum,
                                       Qor32s len) {
    for (Qor32s k = 0; k < len; ++k) pSpectrum[k] = {pSrc[k] * pTab[k].re, pSrc[k] * pTab[k].im};
}

QorStatus qors_sDctFwd_Fft_32f(const Qor32f* pSrc, Qor32f* pDst, const QorsDCTSpec_32f* pSpec,
                               Qor32f* x) {
    const Qor32s len = pSpec->len;
    qorsCopy_32f(pSrc, x, len);
    qorsZero_32f(x + len, len);
    const QorStatus status =
        qorsFFTFwd_RToPerm_32f(x, x, pSpec->pFFTSpec, reinterpret_cast<Qor8u*>(x + 2 * len));
    if (status != qorStsNoErr) return status;
    cosineSumsOfSpectrum(reinterpret_cast<Qor32fc*>(x), pSpec->pFftTab, pDst, len);
    return qorStsNoErr;
}

QorStatus qors_sDctInv_Fft_32f(const Qor32f* pSrc, Qor32f* pDst, const QorsDCTSpec_32f* pSpec,
                               Qor32f* x) {
    const Qor32s len = pSpec->len;
    spectrumOfCosineSums(pSrc, pSpec->pFftTab, reinterpret_cast<Qor32fc*>(x), len);
    const QorStatus status =
        qorsFFTInv_PermToR_32f(x, x, pSpec->pFFTSpec, reinterpret_cast<Qor8u*>(x + 2 * len));
    if (status != qorStsNoErr) return status;
    return qorsCopy_32f(x, pDst, len);
}

// --- the same by the chirp method -------------------------------------------------------------

// DFT of length N in place: with n k = (n^2 + k^2 - (k - n)^2) / 2 it is a convolution with the
// chirp's conjugate, done over M points; entries from N on must be 0.
QorStatus chirpTransform(Qor32fc* z, const QorsDCTSpec_32f* pSpec) {
    const Qor32s fftLen = 1 << pSpec->pFFTSpec->order;
    Qor8u* const fftBuffer = reinterpret_cast<Qor8u*>(z + fftLen);
    qorsMul_32fc_I(pSpec->pChirp, z, pSpec->len);
    QorStatus status = qorsFFTFwd_CToC_32fc(z, z, pSpec->pFFTSpec, fftBuffer);
    if (status != qorStsNoErr) return status;
    qorsMul_32fc_I(pSpec->pChirpFFT, z, fftLen);
    status = qorsFFTInv_CToC_32fc(z, z, pSpec->pFFTSpec, fftBuffer);
    if (status != qorStsNoErr) return status;
    return qorsMul_32fc_I(pSpec->pChirp, z, pSpec->len);
}

// From the DFT of N complex values to the spectrum of the 2N reals that they hold, in place.
void recombineForward(Qor32fc* z, const Qor32fc* pTab, Qor32s len) {
    z[0] = {z[0].re + z[0].im, z[0].re - z[0].im};
    for (Qor32s k = 1, mirror = len - 1; k < mirror; ++k, --mirror) {
        const Qor32fc p = z[k], q = z[mirror], t = pTab[k];
        const Qor32f e = p.re - q.re, f = p.im + q.im;
        const Qor32f g = t.im * f - t.re * e, h = t.re * f + t.im * e;
        z[k] = {q.re + h, g - q.im};
        z[mirror] = {p.re - h, g - p.im};
    }
    if (len % 2 == 0) z[len / 2].im = -z[len / 2].im;
}

// The way back, with the factor 2 that makes both sides unnormalised.
void recombineInverse(Qor32fc* z, const Qor32fc* pTab, Qor32s len) {
    z[0] = {z[0].re + z[0].im, z[0].re - z[0].im};
    for (Qor32s k = 1, mirror = len - 1; k < mirror; ++k, --mirror) {
        const Qor32fc p = z[k], q = z[mirror];
        const Qor32f a = 2.0f * pTab[k].re, b = 2.0f * pTab[k].im - 1.0f;
        const Qor32f e = p.re - q.re, f = p.im + q.im;
        const Qor32f s = p.re + q.re, r = p.im - q.im;
        const Qor32f u = b * f + a * e, v = b * e - a * f;
        z[k] = {s + v, r + u};
        z[mirror] = {s - v, u - r};
    }
    if (len % 2 == 0) z[len / 2] = {2.0f * z[len / 2].re, -2.0f * z[len / 2].im};
}

QorStatus qors_sDctFwd_Conv_32f(const Qor32f* pSrc, Qor32f* pDst, const QorsDCTSpec_32f* pSpec,
                                Qor32f* x) {
    const Qor32s len = pSpec->len, fftLen = 1 << pSpec->pFFTSpec->order;
    auto* const z = reinterpret_cast<Qor32fc*>(x);
    qorsCopy_32f(pSrc, x, len);
    qorsZero_32f(x + len, 2 * fftLen - len);
    const QorStatus status = chirpTransform(z, pSpec);
    if (status != qorStsNoErr) return status;
    recombineForward(z, pSpec->pRecTab, len);
    cosineSumsOfSpectrum(z, pSpec->pFftTab, pDst, len);
    return qorStsNoErr;
}

// The inverse DFT is the forward one between two conjugations.
QorStatus qors_sDctInv_Conv_32f(const Qor32f* pSrc, Qor32f* pDst, const QorsDCTSpec_32f* pSpec,
                                Qor32f* x) {
    const Qor32s len = pSpec->len, fftLen = 1 << pSpec->pFFTSpec->order;
    auto* const z = reinterpret_cast<Qor32fc*>(x);
    spectrumOfCosineSums(pSrc, pSpec->pFftTab, z, len);
    recombineInverse(z, pSpec->pRecTab, len);
    qorsConj_32fc(z, z, len);
    qorsZero_32fc(z + len, fftLen - len);
    const QorStatus status = chirpTransform(z, pSpec);
    if (status != qorStsNoErr) return status;
    qorsConj_32fc(z, z, (len + 1) / 2);
    return qorsCopy_32f(x, pDst, len);
}

// --- both directions --------------------------------------------------------------------------

struct Sizes {
    Qor32s spec, init, buffer;
};

// With the slack for the alignment of each block; lengths from 1.
QorStatus getSizes(Qor32s len, Sizes* pSizes) {
    Sizes fft{0, 0, 0};
    QorStatus status = qorStsNoErr;
    Qor64s tables = 0, work = 0;
    switch (methodOf(len)) {
        case Method::small:
            *pSizes = {kHeaderSize, 0, 0};
            return qorStsNoErr;
        case Method::pow2:
            tables = roundUp32(4 * len);
            work = 4 * len;
            break;
        case Method::direct:
            tables = roundUp32(16 * len);
            work = 4 * len;
            break;
        case Method::fft:
            status = qorsFFTGetSize_R_32f(fftOrder(len), qorFftNormNone, 0, &fft.spec, &fft.init,
                                          &fft.buffer);
            tables = 8 * Qor64s(len);
            work = 8 * Qor64s(len);
            break;
        case Method::chirp:
            status = qorsFFTGetSize_C_32fc(chirpOrder(len), qorFftNormNone, 0, &fft.spec, &fft.init,
                                           &fft.buffer);
            fft.init = std::max(fft.init, fft.buffer);
            work = Qor64s(8) << chirpOrder(len);
            tables = 24 * Qor64s(len) + work;
            break;
    }
    if (status != qorStsNoErr) return status;
    const Qor64s specSize = fft.spec + tables + kTabledHeaderSize;
    const Qor64s bufSize = fft.buffer + work + kAlignment;
    if (specSize > kMax32s || bufSize > kMax32s) return qorStsSizeErr;
    *pSizes = {Qor32s(specSize), fft.init > 0 ? fft.init + kAlignment : 0, Qor32s(bufSize)};
    return qorStsNoErr;
}

QorStatus getSize(Qor32s len, Qor32s* pSpecSize, Qor32s* pInitSize, Qor32s* pBufSize) {
    if (len < 1) return qorStsSizeErr;
    if (anyNull(pSpecSize, pInitSize, pBufSize)) return qorStsNullPtrErr;
    Sizes sizes;
    const QorStatus status = getSizes(len, &sizes);
    if (status != qorStsNoErr) return status;
    *pSpecSize = sizes.spec;
    *pInitSize = sizes.init;
    *pBufSize = sizes.buffer;
    return qorStsNoErr;
}

QorStatus initFft(QorsDCTSpec_32f* spec, Qor32s id, Qor8u* memory, Qor8u* pMemInit) {
    const Qor32s len = spec->len;
    auto* const table = reinterpret_cast<Qor32fc*>(memory);
    initTabDct_Fft(table, len, id);
    spec->isFft = 1;
    spec->pFftTab = table;
    return qorsFFTInit_R_32f(&spec->pFFTSpec, fftOrder(len), qorFftNormNone, 0,
                             reinterpret_cast<Qor8u*>(table + len), pMemInit);
}

QorStatus initChirp(QorsDCTSpec_32f* spec, Qor32s id, Qor8u* memory, Qor8u* pMemInit) {
    const Qor32s len = spec->len, order = chirpOrder(len);
    auto* const chirpFFT = reinterpret_cast<Qor32fc*>(memory);
    Qor32fc* const chirp = chirpFFT + (1 << order);
    Qor32fc* const table = chirp + len;
    Qor32fc* const recombination = table + len;
    initTabDct_Chirp(chirp, len);
    initTabDct_Fft(table, len, id);
    initTabDct_Recombine(recombination, len);
    spec->isConv = 1;
    spec->pChirp = chirp;
    spec->pFftTab = table;
    spec->pRecTab = recombination;
    spec->pChirpFFT = chirpFFT;
    const QorStatus status =
        qorsFFTInit_C_32fc(&spec->pFFTSpec, order, qorFftNormNone, 0,
                           reinterpret_cast<Qor8u*>(recombination + len), pMemInit);
    if (status != qorStsNoErr) return status;
    return initTabDct_ChirpFFT(chirpFFT, chirp, len, spec->pFFTSpec, pMemInit);
}

QorStatus init(QorsDCTSpec_32f** ppSpec, Qor32s id, Qor32s len, Qor32s hint, Qor8u* pMemSpec,
               Qor8u* pMemInit) {
    if (!ppSpec) return qorStsNullPtrErr;
    if (len < 1) return qorStsSizeErr;
    if (!pMemSpec) return qorStsNullPtrErr;
    auto* const spec = reinterpret_cast<QorsDCTSpec_32f*>(alignUp<kAlignment>(pMemSpec));
    Qor8u* const memory = alignUp<kAlignment>(reinterpret_cast<Qor8u*>(spec + 1));
    *spec = {};
    Sizes sizes;
    QorStatus status = getSizes(len, &sizes);
    if (status != qorStsNoErr) return status;
    spec->len = len;
    spec->hint = hint;
    spec->workSize = sizes.buffer > 0 ? sizes.buffer - kAlignment : 0;
    spec->scale0 = Qor32f(1.0 / std::sqrt(double(len)));
    spec->scaleK = Qor32f(std::sqrt(2.0 / len));
    switch (methodOf(len)) {
        case Method::small:
            spec->isSmall = 1;
            break;
        case Method::pow2:
            spec->isPow2 = 1;
            spec->pPow2Tab = reinterpret_cast<Qor32f*>(memory);
            qors_initTabDct_Pow2_32f(reinterpret_cast<Qor32f*>(memory), len);
            break;
        case Method::direct:
            spec->pDirTab = reinterpret_cast<Qor32f*>(memory);
            qors_initTabDct_Dir_32f(reinterpret_cast<Qor32f*>(memory), len);
            break;
        case Method::fft:
            status = initFft(spec, id, memory, pMemInit);
            break;
        case Method::chirp:
            status = initChirp(spec, id, memory, pMemInit);
            break;
    }
    if (status != qorStsNoErr) return status;
    spec->id = id;
    *ppSpec = spec;
    return qorStsNoErr;
}

// What a direction brings along.
struct Direction {
    Qor32s id;
    const Codelet* codelets;
    void (*pow2)(const Qor32f*, Qor32f*, const QorsDCTSpec_32f*);
    void (*direct)(const Qor32f*, Qor32f*, const QorsDCTSpec_32f*, Qor32f*);
    QorStatus (*fft)(const Qor32f*, Qor32f*, const QorsDCTSpec_32f*, Qor32f*);
    QorStatus (*conv)(const Qor32f*, Qor32f*, const QorsDCTSpec_32f*, Qor32f*);
};

constexpr Direction kForward = {kDctFwdId,
                                tbl_sDCTfwd_small,
                                qors_sDctFwd_Pow2_32f,
                                qors_sDctFwd_Dir_32f,
                                qors_sDctFwd_Fft_32f,
                                qors_sDctFwd_Conv_32f};
constexpr Direction kInverse = {kDctInvId,
                                tbl_sDCTinv_small,
                                qors_sDctInv_Pow2_32f,
                                qors_sDctInv_Dir_32f,
                                qors_sDctInv_Fft_32f,
                                qors_sDctInv_Conv_32f};

QORAC_INLINE QorStatus transform(const Direction& direction, const Qor32f* pSrc, Qor32f* pDst,
                                 const QorsDCTSpec_32f* pSpec, Qor8u* pBuffer) {
    if (!pSpec) return qorStsNullPtrErr;
    if (pSpec->id != direction.id) return qorStsContextMatchErr;
    if (anyNull(pSrc, pDst)) return qorStsNullPtrErr;
    if (pSpec->isSmall) {
        direction.codelets[pSpec->len - 1](pSrc, pDst);
        return qorStsNoErr;
    }
    Qor8u* const memory = pBuffer ? alignUp<kAlignment>(pBuffer) : qorsMalloc_8u(pSpec->workSize);
    if (!memory) return qorStsMemAllocErr;
    auto* const work = reinterpret_cast<Qor32f*>(memory);
    QorStatus status = qorStsNoErr;
    if (pSpec->isPow2)
        direction.pow2(pSrc, pDst, pSpec);
    else if (pSpec->isFft)
        status = direction.fft(pSrc, pDst, pSpec, work);
    else if (pSpec->isConv)
        status = direction.conv(pSrc, pDst, pSpec, work);
    else
        direction.direct(pSrc, pDst, pSpec, work);
    if (!pBuffer) qorsFree(memory);
    return status;
}

}  // namespace

QorStatus qorsDCTFwdGetSize_32f(Qor32s len, [[maybe_unused]] Qor32s hint, Qor32s* pSpecSize,
                                Qor32s* pInitSize, Qor32s* pBufSize) {
    return getSize(len, pSpecSize, pInitSize, pBufSize);
}
QorStatus qorsDCTInvGetSize_32f(Qor32s len, [[maybe_unused]] Qor32s hint, Qor32s* pSpecSize,
                                Qor32s* pInitSize, Qor32s* pBufSize) {
    return getSize(len, pSpecSize, pInitSize, pBufSize);
}

QorStatus qorsDCTFwdInit_32f(QorsDCTFwdSpec_32f** ppSpec, Qor32s len, Qor32s hint, Qor8u* pMemSpec,
                             Qor8u* pMemInit) {
    return init(ppSpec, kDctFwdId, len, hint, pMemSpec, pMemInit);
}
QorStatus qorsDCTInvInit_32f(QorsDCTInvSpec_32f** ppSpec, Qor32s len, Qor32s hint, Qor8u* pMemSpec,
                             Qor8u* pMemInit) {
    return init(ppSpec, kDctInvId, len, hint, pMemSpec, pMemInit);
}

QorStatus qorsDCTFwd_32f(const Qor32f* pSrc, Qor32f* pDst, const QorsDCTFwdSpec_32f* pSpec,
                         Qor8u* pBuffer) {
    return transform(kForward, pSrc, pDst, pSpec, pBuffer);
}
QorStatus qorsDCTInv_32f(const Qor32f* pSrc, Qor32f* pDst, const QorsDCTInvSpec_32f* pSpec,
                         Qor8u* pBuffer) {
    return transform(kInverse, pSrc, pDst, pSpec, pBuffer);
}

}  // namespace qorac
