// Real Fourier transforms of 1024 and 256 samples in integers (Annex D.2 of ISO/IEC 11172-3 asks
// for such spectra).
//
// The even samples are the real and the odd ones the imaginary parts of a complex sequence of half
// the length. A split-radix transform, decimated in frequency, runs on that with unscaled sums in
// 32 bits and Q14 rotations, each rounded once; a last step takes the spectra of the even and the
// odd samples apart and joins them. Guard bits (6 for 1024 samples, 8 for 256) keep the roundings
// below the unit of the result. The roundings, hence the order of the butterflies within a number,
// are part of the result.
#include "mp3enc/mp3efft.h"

#include <array>

#include "frame/constmath.h"
#include "frame/dispatch.h"
#include "frame/fixed.h"
#include "frame/status.h"

namespace qorac {
namespace {

constexpr Qor32s q14(long double x) { return Qor32s(constmath::round(x * 16384)); }

// W^j and W^(3j), W = e^(-2 pi i / n), for the butterflies of size n, in Q14.
template <int n>
struct Twiddles {
    alignas(32) std::array<Qor32s, n / 4> cos1, sin1, cos3, sin3;
};

template <int n>
constexpr Twiddles<n> makeTwiddles() {
    Twiddles<n> t{};
    for (int j = 0; j < n / 4; ++j) {
        t.cos1[j] = q14(constmath::cosPi(2 * j, n));
        t.sin1[j] = q14(constmath::sinPi(2 * j, n));
        t.cos3[j] = q14(constmath::cosPi(6 * j, n));
        t.sin3[j] = q14(constmath::sinPi(6 * j, n));
    }
    return t;
}

template <int n>
constexpr Twiddles<n> kTwiddles = makeTwiddles<n>();

// e^(2 pi i k / size), k = 0 to size / 4 - 1, for the joining of the two half spectra.
template <int size>
struct Circle {
    alignas(32) std::array<Qor32s, size / 4> cos, sin;
};

template <int size>
constexpr Circle<size> makeCircle() {
    Circle<size> t{};
    for (int k = 0; k < size / 4; ++k) {
        t.cos[k] = q14(constmath::cosPi(2 * k, size));
        t.sin[k] = q14(constmath::sinPi(2 * k, size));
    }
    return t;
}

template <int size>
constexpr Circle<size> kCircle = makeCircle<size>();

template <int count>
constexpr std::array<Qor16s, count> makeBitReversal() {
    std::array<Qor16s, count> reversed{};
    for (int k = 1; k < count; ++k) {
        reversed[k] = Qor16s(reversed[k / 2] / 2 + (k % 2) * count / 2);
    }
    return reversed;
}

template <int count>
constexpr auto kBitReversal = makeBitReversal<count>();

enum class Rotation { none, eighth, table };

// The L-shaped butterfly at offset j of a block of n values: of z0 to z3 a quarter apart it makes
// z0 + z2, z1 + z3, ((z0 - z2) - i (z1 - z3)) W^j and ((z0 - z2) + i (z1 - z3)) W^3j.
template <int n, Rotation rotation>
QORAC_INLINE void butterfly(Qor32s* __restrict re, Qor32s* __restrict im, int j) {
    const int i0 = j, i1 = j + n / 4, i2 = j + n / 2, i3 = j + 3 * n / 4;
    const Qor32s re02 = wrapSub(re[i0], re[i2]), im02 = wrapSub(im[i0], im[i2]);
    const Qor32s re13 = wrapSub(re[i1], re[i3]), im13 = wrapSub(im[i1], im[i3]);
    re[i0] = wrapAdd(re[i0], re[i2]);
    im[i0] = wrapAdd(im[i0], im[i2]);
    re[i1] = wrapAdd(re[i1], re[i3]);
    im[i1] = wrapAdd(im[i1], im[i3]);
    const Qor32s re2 = wrapAdd(re02, im13), im2 = wrapSub(im02, re13);
    const Qor32s re3 = wrapSub(re02, im13), im3 = wrapAdd(im02, re13);
    if constexpr (rotation == Rotation::none) {
        re[i2] = re2;
        im[i2] = im2;
        re[i3] = re3;
        im[i3] = im3;
    } else if constexpr (rotation == Rotation::eighth) {
        constexpr Qor32s kSqrtHalf = q14(constmath::cosPi(1, 4));
        re[i2] = mulRound(wrapAdd(re2, im2), kSqrtHalf, 14);
        im[i2] = mulRound(wrapSub(im2, re2), kSqrtHalf, 14);
        re[i3] = mulRound(wrapSub(im3, re3), kSqrtHalf, 14);
        im[i3] = mulRound(wrapNeg(wrapAdd(im3, re3)), kSqrtHalf, 14);
    } else {
        const Twiddles<n>& w = kTwiddles<n>;
        re[i2] = mulAddRound14(re2, w.cos1[j], im2, w.sin1[j]);
        im[i2] = mulAddRound14(im2, w.cos1[j], re2, -w.sin1[j]);
        re[i3] = mulAddRound14(re3, w.cos3[j], im3, w.sin3[j]);
        im[i3] = mulAddRound14(im3, w.cos3[j], re3, -w.sin3[j]);
    }
}

// The butterflies of a block, at offsets 0 to n / 4 - 1. From 16 values on the simple offsets are
// rotated like all others, which changes nothing: a rotation by 1 is exact.
template <int n>
QORAC_INLINE void butterflies(Qor32s* __restrict re, Qor32s* __restrict im) {
    if constexpr (n <= 8) {
        butterfly<n, Rotation::none>(re, im, 0);
        if constexpr (n == 8) butterfly<n, Rotation::eighth>(re, im, 1);
    } else {
        for (int j = 0; j < n / 4; ++j) butterfly<n, Rotation::table>(re, im, j);
    }
}

// The butterflies of size n, n / 2, ... 4. Blocks of size n stand where the blocks of size 2n have
// their lower halves and those of size 4n their two upper quarters.
template <int count, int n>
QORAC_INLINE void pass(Qor32s* re, Qor32s* im) {
    for (int start = 0, stride = 2 * n; start < count; start = 2 * stride - n, stride *= 4) {
        for (int i = start; i < count; i += stride) butterflies<n>(re + i, im + i);
    }
    if constexpr (n > 4) pass<count, n / 2>(re, im);
}

QORAC_INLINE void sumAndDifference(Qor32s* pair) {
    const Qor32s first = pair[0], second = pair[1];
    pair[0] = wrapAdd(first, second);
    pair[1] = wrapSub(first, second);
}

// The split-radix transform of `count` values in place, with the result in bit-reversed order.
template <int count>
QORAC_INLINE void _splitcore(Qor32s* re, Qor32s* im) {
    pass<count, count>(re, im);
    for (int start = 0, stride = 4; start < count; start = 2 * stride - 2, stride *= 4) {
        for (int i = start; i < count; i += stride) {
            sumAndDifference(re + i);
            sumAndDifference(im + i);
        }
    }
}

template <int count>
QORAC_INLINE void _bitreverse(const Qor32s* in, Qor32s* __restrict out) {
    for (int k = 0; k < count; ++k) out[k] = in[kBitReversal<count>[k]];
}

// Spectrum of `size` real samples from that of the even samples + i * the odd ones, without the
// guard bits.
template <int size, int guardBits>
QORAC_INLINE void join(const Qor32s* re, const Qor32s* im, Qor32sc* pDst) {
    constexpr int kHalf = size / 2, kQuarter = size / 4;
    alignas(64) Qor32s outRe[kHalf], outIm[kHalf];
    Qor32s* const mirroredRe = outRe + kQuarter;  // lines kHalf - k
    Qor32s* const mirroredIm = outIm + kQuarter;
    for (int k = 1; k < kQuarter; ++k) {
        const Qor32s a = wrapAdd(re[k], re[kHalf - k]) >> 1, b = wrapSub(re[k], re[kHalf - k]) >> 1;
        const Qor32s c = wrapAdd(im[k], im[kHalf - k]) >> 1, d = wrapSub(im[k], im[kHalf - k]) >> 1;
        const Qor32s cosine = kCircle<size>.cos[k], sine = kCircle<size>.sin[k];
        const Qor32s u = mulAddRound14(b, cosine, c, sine);
        const Qor32s v = mulAddRound14(b, sine, c, -cosine);
        outRe[k] = wrapSub(a, v);
        outIm[k] = wrapSub(d, u);
        mirroredRe[kQuarter - k] = wrapAdd(a, v);
        mirroredIm[kQuarter - k] = wrapNeg(wrapAdd(d, u));
    }
    outRe[0] = wrapAdd(re[0], im[0]);
    outIm[0] = 0;
    mirroredRe[0] = re[kQuarter];
    mirroredIm[0] = wrapNeg(im[kQuarter]);
    constexpr Qor32s kRound = 1 << (guardBits - 1);
    for (int k = 0; k < kHalf; ++k) {
        pDst[k].re = wrapAdd(outRe[k], kRound) >> guardBits;
        pDst[k].im = wrapAdd(outIm[k], kRound) >> guardBits;
    }
    pDst[kHalf] = {wrapAdd(wrapSub(re[0], im[0]), kRound) >> guardBits, 0};
}

template <int size, int guardBits>
QORAC_INLINE void transform(const Qor16s* pSrc, Qor32sc* pDst) {
    constexpr int kCount = size / 2;
    alignas(64) Qor32s re[kCount], im[kCount], reInOrder[kCount], imInOrder[kCount];
    for (int i = 0; i < kCount; ++i) {
        re[i] = pSrc[2 * i] * (1 << guardBits);
        im[i] = pSrc[2 * i + 1] * (1 << guardBits);
    }
    _splitcore<kCount>(re, im);
    _bitreverse<kCount>(re, reInOrder);
    _bitreverse<kCount>(im, imInOrder);
    join<size, guardBits>(reInOrder, imInOrder, pDst);
}

QORAC_CLONES void transform1024(const Qor16s* pSrc, Qor32sc* pDst) {
    transform<1024, 6>(pSrc, pDst);
}
QORAC_CLONES void transform256(const Qor16s* pSrc, Qor32sc* pDst) { transform<256, 8>(pSrc, pDst); }

}  // namespace

QorStatus ownsFFTFwd1024_Audio_16s32sc(const Qor16s* pSrc, Qor32sc* pDst) {
    if (anyNull(pSrc, pDst)) return qorStsNullPtrErr;
    transform1024(pSrc, pDst);
    return qorStsNoErr;
}

QorStatus ownsFFTFwd256_Audio_16s32sc(const Qor16s* pSrc, Qor32sc* pDst) {
    if (anyNull(pSrc, pDst)) return qorStsNullPtrErr;
    transform256(pSrc, pDst);
    return qorStsNoErr;
}

}  // namespace qorac
