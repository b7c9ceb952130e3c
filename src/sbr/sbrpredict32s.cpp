// Second-order linear prediction of one sub-band in 32-bit integers (ISO/IEC 14496-3, inverse
// filtering of the high-frequency generator): the covariance method over rows of sub-band samples
// in any Q format, to coefficients in Q29.
//
// With L the length of the covariance and z(n) the sample in row n:
//
//     phi01 = sum for n from 1 to L     of z(n + 1) z(n)*     phi11 = the same sum of |z(n)|^2
//     phi12 = sum for n from 0 to L - 1 of z(n + 1) z(n)*     phi22 = the same sum of |z(n)|^2
//     phi02 = sum for n from 0 to L - 1 of z(n + 2) z(n)*
//
//     det    = phi22 phi11 - |phi12|^2
//     alpha1 = (phi01 phi12 - phi02 phi11) / det
//     alpha0 = -(phi01 + alpha1 phi12*) / phi11
//
// Samples keep 3 guard bits; the sums are made in 64 bits and brought to 30 bits with one exponent.
// From there on a product keeps its high 32 bits only, and a quotient is a product with a
// reciprocal. What leaves at the top of a sum or of a left shift is lost, as with coefficients
// outside -4 to 4, and shifts take their counts modulo 32.
#include <algorithm>

#include "frame/fixed.h"
#include "qorac.h"

namespace qorac {
namespace {

constexpr int kRows = 40;  // are read, whatever the length

constexpr Qor32s kOneQ29 = 0x20000000;

// Coefficients are kept below a squared magnitude of 16, which the high half of the square of a Q29
// number shows as 2^30.
constexpr Qor32u kStableBelow = 0x40000000;

// --- fixed point ------------------------------------------------------------------------------

// Left shifts that bring the top bit to bit 31; 32 for 0.
constexpr QORAC_INLINE int sbrCalcGuardBit(Qor32u v) { return 32 - bitLength(v); }

constexpr QORAC_INLINE Qor32s shiftLeft(Qor32s a, int n) { return Qor32s(shlMod32(Qor32u(a), n)); }

// About 2^60 / y for y = x * 2^shift from 2^30 on, x positive: five Newton steps from 2^32 / 12.
QORAC_INLINE Qor32s qorsInvWrap_32s_Sf(Qor32s x, int* pShift) {
    *pShift = sbrCalcGuardBit(Qor32u(x)) - 1;
    const Qor32s y = shiftLeft(x, *pShift);
    Qor32s r = 357913941;
    for (int i = 0; i < 5; ++i) r = wrapShl(mulHigh(r, wrapSub(kOneQ29, mulHigh(y, r))), 4);
    return r;
}

// A quotient from the reciprocal of the divisor: `shift` brings the unit of the result to place.
struct Divisor {
    Qor32s reciprocal;
    int exponent;

    explicit QORAC_INLINE Divisor(Qor32s x) { reciprocal = qorsInvWrap_32s_Sf(x, &exponent); }
    QORAC_INLINE Qor32s quotient(Qor32s a, int shift) const {
        return shiftLeft(mulHigh(a, reciprocal), exponent + shift);
    }
};

QORAC_INLINE Qor32s limitToOne(Qor32s a) { return std::clamp(a, -kOneQ29, kOneQ29); }

// --- samples ----------------------------------------------------------------------------------

// The larger of a running maximum and the negated running minimum; a value that raises the maximum
// does not count for the minimum.
QORAC_INLINE Qor32s runningPeak(const Qor32s* x, int count) {
    Qor32s max = kMin32s, min = kMax32s;
    for (int i = 0; i < count; ++i) {
        if (x[i] > max)
            max = x[i];
        else if (x[i] < min)
            min = x[i];
    }
    return std::max(max, wrapNeg(min));
}

// The same of the first `count` values, 1 or more, of a whole array. Only the first value can be a
// minimum that does not count: any other is not above all that stand before it.
template <int size>
QORAC_INLINE Qor32s peak(const Qor32s* x, int count) {
    Qor32s counting[size];
    for (int i = 0; i < size; ++i) counting[i] = i < count ? x[i] : x[0];
    Qor32s max = x[0], min = x[0];
    for (int i = 0; i < size; ++i) {
        max = counting[i] > max ? counting[i] : max;
        min = counting[i] < min ? counting[i] : min;
    }
    if (wrapNeg(min) <= max) return max;
    return x[0] != min ? wrapNeg(min) : runningPeak(x, count);
}

// Right shift that leaves 3 guard bits.
QORAC_INLINE int guardShift(Qor32s peak) { return std::max(0, 3 - sbrCalcGuardBit(Qor32u(peak))); }

// One part of the samples, with room for two rows behind the last.
struct Part {
    Qor32s row[kRows + 2] = {};
};

// The rows below `count`, the others silent.
QORAC_INLINE Part firstRows(const Part& part, int count) {
    Part first;
    for (int n = 0; n < kRows; ++n) first.row[n] = n < count ? part.row[n] : 0;
    return first;
}

// --- sums -------------------------------------------------------------------------------------

QORAC_INLINE Qor64u product(Qor32s a, Qor32s b) { return Qor64u(Qor64s(a) * b); }
QORAC_INLINE Qor64u magnitude64(Qor64u a) { return Qor64s(a) < 0 ? 0 - a : a; }

// The low 32 bits of a / 2^shift.
QORAC_INLINE Qor32s shifted(Qor64u a, int shift) { return Qor32s(shrEither(Qor64s(a), shift)); }

// Right shift that brings numbers to 30 bits, from the bits that all of them have together: those
// of the high words of their magnitudes, else of `lowWords`.
QORAC_INLINE int shiftTo30(Qor64u magnitudes, Qor32u lowWords) {
    const Qor32u highWords = Qor32u(magnitudes >> 32);
    return (highWords != 0 ? 32 + bitLength(highWords) : bitLength(lowWords)) - 30;
}

struct ComplexSum {
    Qor64u re = 0, im = 0;
};

// The sum over all n of z(n + ahead) y(n).
QORAC_INLINE Qor64u sumOfProducts(const Part& z, int ahead, const Part& y) {
    Qor64u sum = 0;
    for (int n = 0; n < kRows; ++n) sum += product(z.row[n + ahead], y.row[n]);
    return sum;
}

struct ComplexCovariance {
    Qor32s r01, i01, r02, i02, r11, r12, i12, r22;
};

// Where all sums fit into 32 bits, negative ones count with the ones at the top of their low words,
// which may cost 2 bits.
QORAC_INLINE ComplexCovariance sbrNormalizationCovElements(const ComplexSum& phi01,
                                                           const ComplexSum& phi02, Qor64u phi11,
                                                           const ComplexSum& phi12, Qor64u phi22) {
    Qor64u magnitudes = 0, raw = 0;
    for (Qor64u a : {phi01.re, phi01.im, phi02.re, phi02.im, phi11, phi12.re, phi12.im, phi22}) {
        magnitudes |= magnitude64(a);
        raw |= a;
    }
    const int shift = shiftTo30(magnitudes, Qor32u(raw));
    return {shifted(phi01.re, shift), shifted(phi01.im, shift), shifted(phi02.re, shift),
            shifted(phi02.im, shift), shifted(phi11, shift),    shifted(phi12.re, shift),
            shifted(phi12.im, shift), shifted(phi22, shift)};
}

// The sums that begin one row later differ from the others by their ends.
QORAC_INLINE ComplexCovariance covariance(const Part& re, const Part& im, int len) {
    const Part firstRe = firstRows(re, len), firstIm = firstRows(im, len);
    const auto sum = [&](int ahead) -> ComplexSum {
        return {sumOfProducts(re, ahead, firstRe) + sumOfProducts(im, ahead, firstIm),
                sumOfProducts(im, ahead, firstRe) - sumOfProducts(re, ahead, firstIm)};
    };
    const auto one = [&](int n, int ahead) -> ComplexSum {
        return {product(re.row[n + ahead], re.row[n]) + product(im.row[n + ahead], im.row[n]),
                product(im.row[n + ahead], re.row[n]) - product(re.row[n + ahead], im.row[n])};
    };
    const ComplexSum phi02 = sum(2), phi12 = sum(1), phi22 = sum(0);
    const ComplexSum first = one(0, 1), last = one(len, 1);
    const ComplexSum phi01 = {phi12.re - first.re + last.re, phi12.im - first.im + last.im};
    const Qor64u phi11 = phi22.re - one(0, 0).re + one(len, 0).re;
    return sbrNormalizationCovElements(phi01, phi02, phi11, phi12, phi22.re);
}

struct RealCovariance {
    Qor32s r01, r02, r11, r12, r22;
};

QORAC_INLINE RealCovariance sbrNormalizationCovElementsLP(Qor64u phi01, Qor64u phi02, Qor64u phi11,
                                                          Qor64u phi12, Qor64u phi22) {
    Qor64u magnitudes = 0;
    for (Qor64u a : {phi01, phi02, phi11, phi12, phi22}) magnitudes |= magnitude64(a);
    const int shift = shiftTo30(magnitudes, Qor32u(magnitudes));
    return {shifted(phi01, shift), shifted(phi02, shift), shifted(phi11, shift),
            shifted(phi12, shift), shifted(phi22, shift)};
}

QORAC_INLINE RealCovariance covariance(const Part& z, int len) {
    const Part first = firstRows(z, len);
    const Qor64u phi02 = sumOfProducts(z, 2, first), phi12 = sumOfProducts(z, 1, first);
    const Qor64u phi22 = sumOfProducts(z, 0, first);
    const auto one = [&](int n, int ahead) { return product(z.row[n + ahead], z.row[n]); };
    return sbrNormalizationCovElementsLP(phi12 - one(0, 1) + one(len, 1), phi02,
                                         phi22 - one(0, 0) + one(len, 0), phi12, phi22);
}

// --- coefficients -----------------------------------------------------------------------------

// alpha1 and alpha0 of the complex form. Nothing of the determinant is relaxed.
QORAC_INLINE Qor32sc secondCoefficient(const ComplexCovariance& r) {
    const Qor32s det =
        wrapSub(wrapSub(mulHigh(r.r22, r.r11), mulHigh(r.r12, r.r12)), mulHigh(r.i12, r.i12));
    if (det <= 0) return {0, 0};
    const Divisor divisor(det);
    const Qor32s re =
        wrapSub(wrapSub(mulHigh(r.r12, r.r01), mulHigh(r.i12, r.i01)), mulHigh(r.r02, r.r11));
    const Qor32s im =
        wrapSub(wrapAdd(mulHigh(r.r01, r.i12), mulHigh(r.i01, r.r12)), mulHigh(r.i02, r.r11));
    return {divisor.quotient(re, 1), divisor.quotient(im, 1)};
}
QORAC_INLINE Qor32sc firstCoefficient(const ComplexCovariance& r, Qor32sc alpha1) {
    if (r.r11 == 0) return {0, 0};
    const Divisor divisor(r.r11);
    const Qor32s re =
        wrapAdd(wrapAdd(r.r01 >> 3, mulHigh(alpha1.re, r.r12)), mulHigh(alpha1.im, r.i12));
    const Qor32s im =
        wrapAdd(wrapSub(r.i01 >> 3, mulHigh(alpha1.re, r.i12)), mulHigh(alpha1.im, r.r12));
    return {wrapNeg(divisor.quotient(re, 4)), wrapNeg(divisor.quotient(im, 4))};
}

// The determinant of the real form with |phi12|^2 times 1 - 2^-20.
QORAC_INLINE Qor32s relaxedDeterminant(const RealCovariance& r) {
    const Qor64u square = Qor64u(mulHigh(r.r12, r.r12));
    const Qor32u relaxed = Qor32u(((square << 31) - (square << 11)) >> 32);
    return wrapSub(mulHigh(r.r22, r.r11), wrapShl(Qor32s(relaxed), 1));
}
QORAC_INLINE Qor32s secondCoefficient(const RealCovariance& r) {
    const Qor32s det = relaxedDeterminant(r);
    if (det <= 0) return 0;
    return Divisor(det).quotient(wrapSub(mulHigh(r.r01, r.r12), mulHigh(r.r02, r.r11)), 1);
}

QORAC_INLINE bool stable(Qor32s alpha) { return Qor32u(mulHigh(alpha, alpha)) < kStableBelow; }
QORAC_INLINE bool stable(Qor32sc alpha) {
    return Qor32u(mulHigh(alpha.re, alpha.re)) + Qor32u(mulHigh(alpha.im, alpha.im)) < kStableBelow;
}

// -phi01 / phi11, the sums brought to 30 bits by themselves.
QORAC_INLINE Qor32s reflectionCoefficient(const Part& z, int len) {
    const Part upToLen = firstRows(z, len + 1);
    const Qor64u phi01 = sumOfProducts(z, 1, upToLen) - product(z.row[1], z.row[0]);
    const Qor64u phi11 = sumOfProducts(z, 0, upToLen) - product(z.row[0], z.row[0]);
    const Qor64u magnitudes = magnitude64(phi01) | magnitude64(phi11);
    const int shift = shiftTo30(magnitudes, Qor32u(magnitudes));
    const Qor32s a = shifted(phi01, shift), b = shifted(phi11, shift);
    return b == 0 ? 0 : limitToOne(wrapNeg(Divisor(b).quotient(a, 1)));
}

// --- bands ------------------------------------------------------------------------------------

QORAC_CLONES void predictComplex(const Qor32sc* const* ppSrc, Qor32sc* pAlpha0, Qor32sc* pAlpha1,
                                 Qor32s k, Qor32s len) {
    *pAlpha0 = *pAlpha1 = {0, 0};
    if (len < 1) return;
    Qor32sc z[kRows];
    for (int n = 0; n < kRows; ++n) z[n] = ppSrc[n][k];
    const Qor32s top = peak<2 * kRows>(&z->re, 2 * (len + 2));
    if (top == 0) return;
    const int shift = guardShift(top);
    Part re, im;
    for (int n = 0; n < kRows; ++n) {
        re.row[n] = z[n].re >> shift;
        im.row[n] = z[n].im >> shift;
    }
    const ComplexCovariance r = covariance(re, im, len);
    const Qor32sc alpha1 = secondCoefficient(r);
    const Qor32sc alpha0 = firstCoefficient(r, alpha1);
    if (!stable(alpha0) || !stable(alpha1)) return;
    *pAlpha0 = alpha0;
    *pAlpha1 = alpha1;
}

QORAC_CLONES void predictReal(const Qor32s* const* ppSrc, Qor32s* pAlpha0, Qor32s* pAlpha1,
                              Qor32s* pRefCoef, Qor32s k, Qor32s len, bool reflectionOnly) {
    *pAlpha0 = *pAlpha1 = *pRefCoef = 0;
    if (len < 1) return;
    Part z;
    for (int n = 0; n < kRows; ++n) z.row[n] = ppSrc[n][k];
    const Qor32s top = peak<kRows>(z.row, len + 2);
    if (top == 0) return;
    const int shift = guardShift(top);
    for (int n = 0; n < kRows; ++n) z.row[n] >>= shift;
    if (reflectionOnly) {
        *pRefCoef = reflectionCoefficient(z, len);
        return;
    }
    const RealCovariance r = covariance(z, len);
    if (r.r11 == 0) return;  // the determinant is then not positive, and alpha1 is 0
    const Qor32s alpha1 = secondCoefficient(r);
    const Divisor divisor(r.r11);
    *pRefCoef = limitToOne(wrapNeg(divisor.quotient(r.r01, 1)));
    const Qor32s alpha0 = wrapNeg(divisor.quotient(wrapAdd(r.r01 >> 3, mulHigh(r.r12, alpha1)), 4));
    if (!stable(alpha0) || !stable(alpha1)) return;
    *pAlpha0 = alpha0;
    *pAlpha1 = alpha1;
}

}  // namespace
}  // namespace qorac

using namespace qorac;

QorStatus qorsPredictOneCoef_SBRHQ_32sc_D2L(const Qor32sc* const* ppSrc, Qor32sc* pAlpha0,
                                            Qor32sc* pAlpha1, Qor32s k, Qor32s len) {
    predictComplex(ppSrc, pAlpha0, pAlpha1, k, len);
    return qorStsNoErr;
}

QorStatus qorsPredictOneCoef_SBRLP_32s_D2L(const Qor32s* const* ppSrc, Qor32s* pAlpha0,
                                           Qor32s* pAlpha1, Qor32s* pRefCoef, Qor32s k, Qor32s len,
                                           Qor32s flag) {
    predictReal(ppSrc, pAlpha0, pAlpha1, pRefCoef, k, len, flag == 0);
    return qorStsNoErr;
}
