// Windows and overlap of the AAC filter bank in Q31.
#include "aac/aacmdctoverlap.h"

#include "aac/aac_aimdct.h"
#include "frame/constmath.h"

namespace qorac {
namespace {

// --- windows ----------------------------------------------------------------------------------

// Rising halves, Q31; a falling half is the same table read backwards.
template <int n>
using Window = std::array<Qor32s, n>;

constexpr Qor32s q31(long double x) { return Qor32s(constmath::round(constmath::scale2(x, 31))); }

// sin(pi / 2n * (i + 1/2)).
template <int n>
constexpr Window<n> makeSine() {
    Window<n> w{};
    for (int i = 0; i < n; ++i) w[i] = q31(constmath::sinPi(2 * i + 1, 4 * n));
    return w;
}

// Modified Bessel function of the first kind and order 0, of the argument x = sqrt(square).
constexpr long double besselI0(long double square) {
    long double term = 1, sum = 1;
    for (int k = 1; k < 60; ++k) sum += term *= square / (4.0L * k * k);
    return sum;
}

// The square root of the running sum of a Kaiser window of n + 1 values, over its whole sum.
template <int n, int alpha>
constexpr Window<n> makeKaiserBessel() {
    const auto kaiser = [](int i) {
        const long double x = (2.0L * i - n) / n, piAlpha = constmath::kPi * alpha;
        return besselI0(piAlpha * piAlpha * (1 - x * x));
    };
    long double whole = 0, sum = 0;
    for (int i = 0; i <= n; ++i) whole += kaiser(i);
    Window<n> w{};
    for (int i = 0; i < n; ++i) w[i] = q31(constmath::sqrt((sum += kaiser(i)) / whole));
    return w;
}

alignas(64) constexpr Window<1024> pWinSINLong = makeSine<1024>();
alignas(64) constexpr Window<128> pWinSINShort = makeSine<128>();
alignas(64) constexpr Window<1024> pWinKBDLong = makeKaiserBessel<1024, 4>();
alignas(64) constexpr Window<128> pWinKBDShort = makeKaiserBessel<128, 6>();

inline const Qor32s* longWindow(Qor32s shape) {
    return shape == 0 ? pWinSINLong.data() : pWinKBDLong.data();
}
inline const Qor32s* shortWindow(Qor32s shape) {
    return shape == 0 ? pWinSINShort.data() : pWinKBDShort.data();
}

// --- places in a frame ------------------------------------------------------------------------

constexpr int kFrame = 1024;
constexpr int kBlock = 128;  // coefficients of a short window
constexpr int kFlat = 448;   // samples before and behind the short slope of a start or stop window

}  // namespace
}  // namespace qorac

#define QORAC_KERNEL "aac/aacmdctoverlap_kernel.h"
#include "frame/levels.h"

namespace qorac {

QORAC_BIND(void, windowed, (Qor32s * f, const WindowShape& window, Weighting weighting),
           (f, window, weighting))
QORAC_BIND(void, synthesize16s,
           (Qor32s * x, Qor16s* dst, int stride, Qor32s* overlap, const WindowShape& window),
           (x, dst, stride, overlap, window))
QORAC_BIND(void, synthesize32s, (Qor32s * x, Qor32s* overlap, const WindowShape& window),
           (x, overlap, window))

void windowFrame(Qor32s* pSrcDst, const WindowShape& window, Weighting weighting) {
    windowed(pSrcDst, window, weighting);
}

void ownsMDCTInvOverlap_32s16s(Qor32s* pSrc, Qor16s* pDst, int stride, Qor32s* pOverlap,
                               const WindowShape& window) {
    synthesize16s(pSrc, pDst, stride, pOverlap, window);
}

void ownsMDCTInvOverlap_32s_I(Qor32s* pSrcDst, Qor32s* pOverlap, const WindowShape& window) {
    synthesize32s(pSrcDst, pOverlap, window);
}

}  // namespace qorac
