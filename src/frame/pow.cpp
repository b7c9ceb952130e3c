// The power laws of the MP3 and AAC quantizers: 3/4 on the way in, 4/3 on the way out (ISO 11172-3
// clauses C.1.5.4.4 and 2.4.3.4, ISO/IEC 13818-7 clause 10), and gains over bands.
#include <xmmintrin.h>

#include <algorithm>
#include <cmath>

#include "frame/constmath.h"
#include "frame/dispatch.h"
#include "frame/fixed.h"
#include "frame/status.h"
#include "qorac.h"

namespace qorac {
namespace {

// --- 3/4 in floating point --------------------------------------------------------------------

// For its lifetime all floating-point exceptions are masked and rounding is to nearest; then the
// caller's control state and flags stand again.
class DefaultFloatState {
  public:
    DefaultFloatState() : saved_(_mm_getcsr()) { _mm_setcsr(0x1F80); }
    ~DefaultFloatState() { _mm_setcsr(saved_); }
    DefaultFloatState(const DefaultFloatState&) = delete;
    DefaultFloatState& operator=(const DefaultFloatState&) = delete;

  private:
    unsigned saved_;
};

QORAC_INLINE Qor32f pow34(Qor32f x) {
    const Qor32f root = std::sqrt(x);
    return root * std::sqrt(root);
}

QORAC_CLONES void pow34_32f(const Qor32f* pSrc, Qor32f* pDst, int len) {
    for (int i = 0; i < len; ++i) {
        const Qor32f x = std::fabs(pSrc[i]);
        pDst[i] = x > 1e-37f ? pow34(x) : 0.0f;
    }
}

// Above 1000000 the power stays at that of 1000000. A NaN fails both comparisons with the limit and
// counts as 0.
QORAC_CLONES void pow34_32f16s(const Qor32f* pSrc, Qor16s* pDst, int len) {
    for (int i = 0; i < len; ++i) {
        const Qor32f x = std::fabs(pSrc[i]);
        const Qor32f power = x > 1000000.0f ? 31623.0f : x <= 1000000.0f ? pow34(x) : 0.0f;
        pDst[i] = Qor16s(roundToEven(power));
    }
}

// --- 3/4 in integers --------------------------------------------------------------------------

// Left shift that brings a magnitude's top bit to bit 14.
constexpr auto own_ac_pow34_16s_norm_table = constmath::makeTable<Qor32s, 257>(
    [](int k) { return k == 0 ? 16 : 15 - bitLength(Qor32u(k)); });

// For a mantissa m / 256 with m = i + 128: its power in Q16 (high half) and the reciprocal that
// turns the mantissa's low bits into a relative step (low half).
constexpr auto own_ac_pow34_16s_first_approach = constmath::makeTable<Qor32u, 128>([](int i) {
    const long double m = i + 128;
    const long long power = constmath::round(constmath::pow(m / 256, 0.75L) * 65536);
    const long long reciprocal = constmath::round(4194304 / m);
    return power << 16 | reciprocal;
});

// Power of 1 + (i + 2) / 32768 in Q14: the relative step.
constexpr auto own_ac_pow34_16s_second_approach = constmath::makeTable<Qor16s, 256>(
    [](int i) { return constmath::round(constmath::pow(1 + (i + 2) / 32768.0L, 0.75L) * 16384); });

// 2^(-k/4) in Q16, the first entry held at 65535.
constexpr Qor32s own_ac_pow34_16s_table[4] = {65535, 55109, 46341, 38968};

QORAC_INLINE Qor16s pow34_16s(Qor16s source, int inScaleFactor, int scaleFactor) {
    const Qor32s x = Qor32s(magnitude(source));
    if (x == 0) return 0;
    const Qor32s e =
        x >> 8 ? own_ac_pow34_16s_norm_table[x >> 8] - 8 : own_ac_pow34_16s_norm_table[x];
    const Qor32s m = x << (e + 1);  // bit 15 is its top bit
    const Qor32s high = m >> 8, rest = (m & 255) >> 1;

    const Qor32u approach = own_ac_pow34_16s_first_approach[high - 128];
    const Qor32s step = (Qor32s(approach & 0xFFFF) * rest + 8192) >> 14;
    Qor64s p = (Qor64s(own_ac_pow34_16s_second_approach[step]) * (approach >> 16) + 16384) >> 15;

    const Qor64s q = Qor64s(inScaleFactor) - e + 7;
    p *= own_ac_pow34_16s_table[q & 3];
    const Qor64s shift = scaleFactor - 3 * (q >> 2) - (q & 3) + 25;
    if (shift < 15) return 32767;
    return Qor16s(std::min(shrRound(p, int(std::min(shift, Qor64s(31)))), Qor64s(32767)));
}

// --- 4/3 --------------------------------------------------------------------------------------

constexpr auto pTablePow43 =
    constmath::makeTable<Qor32f, 8207>([](int k) { return constmath::pow43(k); });

QORAC_CLONES void pow43_16s32f(const Qor16s* pSrc, Qor32f* pDst, int len) {
    for (int i = 0; i < len; ++i) {
        const Qor32f power = pTablePow43[magnitude(pSrc[i])];
        pDst[i] = pSrc[i] < 0 ? 0.0f - power : power;
    }
}

// --- gains ------------------------------------------------------------------------------------

QORAC_CLONES void scaleBand(Qor32f* pSrcDst, Qor32f scale, int len) {
    for (int i = 0; i < len; ++i) pSrcDst[i] *= scale;
}

}  // namespace
}  // namespace qorac

using namespace qorac;

QorStatus qorsPow34_32f(const Qor32f* pSrc, Qor32f* pDst, int len) {
    if (!pSrc || !pDst) return qorStsNullPtrErr;
    if (len < 1) return qorStsSizeErr;
    const DefaultFloatState state;
    pow34_32f(pSrc, pDst, len);
    return alignmentStatus(pSrc, pDst);
}

QorStatus qorsPow34_32f16s(const Qor32f* pSrc, Qor16s* pDst, int len) {
    if (!pSrc || !pDst) return qorStsNullPtrErr;
    if (len < 1) return qorStsSizeErr;
    const DefaultFloatState state;
    pow34_32f16s(pSrc, pDst, len);
    return alignmentStatus(pSrc, pDst);
}

QorStatus qorsPow34_16s_Sfs(const Qor16s* pSrc, int inScaleFactor, Qor16s* pDst, int scaleFactor,
                            int len) {
    if (len < 1) return qorStsSizeErr;
    if (!pSrc || !pDst) return qorStsNullPtrErr;
    for (int i = 0; i < len; ++i) pDst[i] = pow34_16s(pSrc[i], inScaleFactor, scaleFactor);
    return qorStsNoErr;
}

QorStatus qorsPow43_16s32f(const Qor16s* pSrc, Qor32f* pDst, int len) {
    if (!pSrc || !pDst) return qorStsNullPtrErr;
    if (len < 0) return qorStsSizeErr;
    pow43_16s32f(pSrc, pDst, len);
    return qorStsNoErr;
}

QorStatus qorsScale_32f_I(Qor32f* pSrcDst, const Qor32f* pScale, const Qor32s* pBandOffset,
                          int numBands) {
    if (!pSrcDst || !pScale || !pBandOffset) return qorStsNullPtrErr;
    if (numBands < 1) return qorStsSizeErr;
    for (int b = 0; b < numBands; ++b)
        scaleBand(pSrcDst + pBandOffset[b], pScale[b], pBandOffset[b + 1] - pBandOffset[b]);
    return qorStsNoErr;
}
