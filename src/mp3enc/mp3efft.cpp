// Real Fourier transforms of 1024 and 256 samples in integers (Annex D.2 of ISO/IEC 11172-3 asks
// for such spectra).
//
// The even samples are the real and the odd ones the imaginary parts of a complex sequence of half
// the length. A split-radix transform, decimated in frequency, runs on that with unscaled sums in
// 32 bits and Q14 rotations, each rounded once; a last step takes the spectra of the even and the
// odd samples apart and joins them. Guard bits (6 for 1024 samples, 8 for 256) keep the roundings
// below the unit of the result. The roundings, hence the order of the butterflies within a number,
// are part of the result.
//
// Four transforms run side by side: those of two channels in two granules.
#include "mp3enc/mp3efft.h"

#include <array>
#include <cstddef>
#include <utility>

#include "frame/constmath.h"
#include "frame/dispatch.h"
#include "frame/fixed.h"
#include "frame/status.h"

namespace qorac {
namespace {

constexpr Qor32s q14(long double x) { return Qor32s(constmath::round(x * 16384)); }

// Two Q14 factors in one lane, the first one in the lower half.
constexpr Qor32s packed(Qor32s first, Qor32s second) {
    return Qor32s((Qor32u(first) & 0xFFFF) | Qor32u(second) << 16);
}

constexpr int kTransforms = 4;  // side by side

// W^j and W^(3j), W = e^(-2 pi i / n), for the butterflies of size n, j = 0 to n / 4 - 1: what real
// and imaginary part are multiplied by for the real and for the imaginary part of the product.
template <int n>
struct Twiddles {
    alignas(64) Qor32s forRe1[n], forIm1[n], forRe3[n], forIm3[n];
};

template <int n>
constexpr Twiddles<n> makeTwiddles() {
    Twiddles<n> w{};
    for (int i = 0; i < n; ++i) {
        const int j = i / kTransforms;
        const Qor32s cos1 = q14(constmath::cosPi(2 * j, n)), sin1 = q14(constmath::sinPi(2 * j, n));
        const Qor32s cos3 = q14(constmath::cosPi(6 * j, n)), sin3 = q14(constmath::sinPi(6 * j, n));
        w.forRe1[i] = packed(cos1, sin1);
        w.forIm1[i] = packed(-sin1, cos1);
        w.forRe3[i] = packed(cos3, sin3);
        w.forIm3[i] = packed(-sin3, cos3);
    }
    return w;
}

template <int n>
constexpr Twiddles<n> kTwiddles = makeTwiddles<n>();

// e^(2 pi i k / size), k = 0 to size / 4 - 1, for the joining of the two half spectra.
template <int size>
struct Circle {
    alignas(64) Qor32s cosSin[size], sinCos[size];
};

template <int size>
constexpr Circle<size> makeCircle() {
    Circle<size> c{};
    for (int i = 0; i < size; ++i) {
        const int k = i / kTransforms;
        const Qor32s cosine = q14(constmath::cosPi(2 * k, size));
        const Qor32s sine = q14(constmath::sinPi(2 * k, size));
        c.cosSin[i] = packed(cosine, sine);
        c.sinCos[i] = packed(sine, -cosine);
    }
    return c;
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

}  // namespace
}  // namespace qorac

#define QORAC_KERNEL "mp3enc/mp3efft_kernel.h"
#include "frame/levels.h"

namespace qorac {

QORAC_BIND(void, transform1024, (const Qor16s* const* pSrc, Qor32sc* const* pDst), (pSrc, pDst))
QORAC_BIND(void, transform256, (const Qor16s* const* pSrc, Qor32sc* const* pDst), (pSrc, pDst))

QorStatus ownsFFTFwd1024_Audio_16s32sc(const Qor16s* const* pSrc, Qor32sc* const* pDst) {
    if (anyNull(pSrc, pDst)) return qorStsNullPtrErr;
    transform1024(pSrc, pDst);
    return qorStsNoErr;
}

QorStatus ownsFFTFwd256_Audio_16s32sc(const Qor16s* const* pSrc, Qor32sc* const* pDst) {
    if (anyNull(pSrc, pDst)) return qorStsNullPtrErr;
    transform256(pSrc, pDst);
    return qorStsNoErr;
}

}  // namespace qorac
