// Complex FFT of 32 to 512 points in 32-bit integers: split radix, decimation in frequency.
//
// A block of n points is turned, by n/4 L-shaped butterflies, into one block of n/2 points and two
// blocks of n/4 points; blocks of two points end in a sum and a difference, and the result stands
// in bit-reversed order. With z0 to z3 a quarter of the block apart and j the offset of the
// butterfly,
//
//     z0 + z2,  z1 + z3,  ((z0 - z2) - i (z1 - z3)) W^j,  ((z0 - z2) + i (z1 - z3)) W^3j,
//     W = e^(-2 pi i / n).
//
// The arithmetic is part of the result, so that each butterfly keeps its form however the work is
// vectorised: sums wrap at 32 bits and are never scaled; each part of a product with a twiddle in
// Q30 is the sum of two 64-bit products of values taken times 4 (wrapping), from bit 32 on; offset
// 0 multiplies nothing; offset n/8 rotates by 45 degrees, the wrapped sum or difference of the
// parts times 2 (wrapping) and times sqrt(1/2) in Q31, from bit 32 on.
#include "transform/fft32s.h"

#include "frame/constmath.h"
#include "frame/fixed.h"

namespace qorac {
namespace {

constexpr Qor32s kSqrtHalf = 0x5A82799A;  // Q31

// Twiddles of the butterflies of a block of n points in the order of their use: cos and sin of the
// angle 2 pi j / n and of its triple, Q30. At n/8 they are the factor of numbers that are turned
// already.
template <int n>
struct Twiddles {
    alignas(64) Qor32s single[n / 2];
    alignas(64) Qor32s triple[n / 2];
};

template <int n>
constexpr Twiddles<n> makeTwiddles() {
    constexpr long double one = 1 << 30;
    Twiddles<n> t{};
    for (int j = 0; j < n / 4; ++j) {
        t.single[2 * j] = Qor32s(constmath::round(one * constmath::cosPi(2 * j, n)));
        t.single[2 * j + 1] = Qor32s(constmath::round(one * constmath::sinPi(2 * j, n)));
        t.triple[2 * j] = Qor32s(constmath::round(one * constmath::cosPi(6 * j, n)));
        t.triple[2 * j + 1] = Qor32s(constmath::round(one * constmath::sinPi(6 * j, n)));
    }
    t.single[n / 4] = t.triple[n / 4] = kSqrtHalf;
    t.single[n / 4 + 1] = t.triple[n / 4 + 1] = 0;
    return t;
}

template <int n>
constexpr Twiddles<n> kTwiddles = makeTwiddles<n>();

alignas(64) constexpr Qor32s kOddLanes[16] = {0, -1, 0, -1, 0, -1, 0, -1,
                                              0, -1, 0, -1, 0, -1, 0, -1};

// Whether the group g of 8 numbers of a block of n is a block of 8, and not two blocks of 4.
constexpr bool isWholeGroup(int g, int n) {
    if (n == 8) return true;
    if (n == 16) return g == 0;
    return g < n / 16 ? isWholeGroup(g, n / 2) : isWholeGroup(g % (n / 32), n / 4);
}

// For the four groups of each middle part of the index, in the order of the reversed index: all
// bits of those that are whole.
template <int order>
struct WholeGroups {
    alignas(64) Qor32s mask[1 << (order - 5)][8];

    consteval WholeGroups() : mask() {
        for (int place = 0; place < 1 << (order - 3); ++place) {
            Qor32s* lanes = mask[place / 4] + 2 * (place % 4);
            lanes[0] = lanes[1] = -Qor32s(isWholeGroup(reversed(place, order - 3), 1 << order));
        }
    }
};

template <int order>
constexpr WholeGroups<order> kWholeGroups;

}  // namespace
}  // namespace qorac

#define QORAC_KERNEL "transform/fft32s_kernel.h"
#include "frame/levels.h"

namespace qorac {

QORAC_BIND(void, fft, (Qor32s * z, int order), (z, order))

void ownsIMDCT_FFT_32sc_I(Qor32sc* pSrcDst, int order) {
    fft(reinterpret_cast<Qor32s*>(pSrcDst), order);
}

}  // namespace qorac
