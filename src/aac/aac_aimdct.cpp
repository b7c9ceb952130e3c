// The integer MDCT of AAC: rotation, complex FFT of n/2 points, rotation.
//
// Rotations take their sums of two products in 64 bits and then the part from some bit on; nothing
// but the block scaling rounds. The twiddles are Q30, so that a rotation that keeps the high 32
// bits divides by 4.
#include "aac/aac_aimdct.h"

#include "frame/constmath.h"
#include "frame/fixed.h"
#include "transform/fft32s.h"

namespace qorac {
namespace {

// (cos t, sin t), t = 2 pi (m + 1/8) / (2n), m below n/2, Q30.
template <int n>
constexpr auto makeTwiddles() {
    return constmath::makeTable<Qor32s, n>([](int k) {
        const int angle = 8 * (k / 2) + 1;
        constexpr long double one = 1 << 30;
        return constmath::round(
            one * (k % 2 == 0 ? constmath::cosPi(angle, 8 * n) : constmath::sinPi(angle, 8 * n)));
    });
}

alignas(64) constexpr std::array<Qor32s, 1024> pTwidlTables2 = makeTwiddles<1024>();
alignas(64) constexpr std::array<Qor32s, 128> pTwidlTables1 = makeTwiddles<128>();

template <int n>
QORAC_INLINE const Qor32s* twiddles() {
    return n == 1024 ? pTwidlTables2.data() : pTwidlTables1.data();
}

template <int n>
constexpr int kFftOrder = n == 1024 ? 9 : 6;

// Halvings that bring the sum of magnitudes below 2^29, from where on no butterfly of the FFT
// overflows.
inline int blockShift(Qor64u sum) {
    int shift = 0;
    for (; sum >= 0x20000000; sum >>= 1) ++shift;
    return shift;
}

}  // namespace
}  // namespace qorac

#define QORAC_KERNEL "aac/aac_aimdct_kernel.h"
#include "frame/levels.h"

namespace qorac {

QORAC_BIND(void, mdctInverse, (Qor32s * x, int n), (x, n))
QORAC_BIND(void, mdctInverseUnmeasured, (Qor32s * x, int n), (x, n))
QORAC_BIND(void, mdctForward, (Qor32s * x, int n), (x, n))
QORAC_BIND(void, mdctForwardMeasured, (Qor32s * x, int n), (x, n))

void ownsMDCTInv_Radix2_32s(Qor32s* pSrcDst, int n) { mdctInverse(pSrcDst, n); }
void ownsMDCTInv_Radix2_32s_I(Qor32s* pSrcDst, int n) { mdctInverseUnmeasured(pSrcDst, n); }
void ownsMDCTFwd_Radix2_32s(Qor32s* pSrcDst, int n) { mdctForward(pSrcDst, n); }
void ownsMDCTFwd_Radix2_32s_I(Qor32s* pSrcDst, int n) { mdctForwardMeasured(pSrcDst, n); }

void ownsMDCTInv_Radix2_32s_MPEG4(Qor32s* pSrcDst, int len) {
    const int n = len / 2;
    mdctInverse(pSrcDst, n);
    for (int j = 0; j < n / 2; ++j) pSrcDst[n + j] = pSrcDst[n / 2 + j];
    for (int j = 0; j < n / 2; ++j) {
        pSrcDst[n - 1 - j] = wrapNeg(pSrcDst[j]);
        pSrcDst[2 * n - 1 - j] = pSrcDst[n + j];
    }
}

}  // namespace qorac
