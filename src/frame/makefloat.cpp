// Floats from Q15 mantissas and exponents, and the gains of scale factors, 2^(sf/4).
#include <bit>
#include <limits>

#include "frame/constmath.h"
#include "frame/dispatch.h"
#include "frame/status.h"
#include "qorac.h"

namespace qorac {
namespace {

// Entry k is 2^((k - 512) / 4); the last, 2^128, is infinite and never read.
constexpr auto Table_SQRTSQRT_EXP_2_x = constmath::makeTable<Qor32f, 1025>([](int k) {
    return k == 1024 ? std::numeric_limits<double>::infinity()
                     : static_cast<double>(constmath::exp2Quarter(k - 512));
});

// The power of two with the given exponent field; field 0 is 0, field 255 infinity.
QORAC_INLINE Qor32f floatOfExponentField(int field) { return std::bit_cast<Qor32f>(field << 23); }

// mantissa * 2^(-15 - exponent): the exponent field of 1 is 127.
QORAC_CLONES void makeFloat(const Qor16s* pSrcMant, const Qor16s* pSrcExp, int len, Qor32f* pDst) {
    for (int i = 0; i < len; ++i)
        pDst[i] = Qor32f(pSrcMant[i]) * floatOfExponentField((112 - pSrcExp[i]) & 255);
}

QORAC_CLONES void calcSF(const Qor16s* pSrc, Qor32u zeroIndex, Qor32f* pDst, int len) {
    for (int i = 0; i < len; ++i)
        pDst[i] = Table_SQRTSQRT_EXP_2_x[(Qor32u(pSrc[i]) - zeroIndex) & 0x3FF];
}

}  // namespace
}  // namespace qorac

using namespace qorac;

QorStatus qorsMakeFloat_16s32f(const Qor16s* pSrcMant, const Qor16s* pSrcExp, int len,
                               Qor32f* pDst) {
    if (!pSrcMant || !pSrcExp || !pDst) return qorStsNullPtrErr;
    if (len < 1) return qorStsSizeErr;
    makeFloat(pSrcMant, pSrcExp, len, pDst);
    return alignmentStatus(pSrcMant, pSrcExp, pDst);
}

QorStatus qorsCalcSF_16s32f(const Qor16s* pSrc, int offset, Qor32f* pDst, int len) {
    if (!pSrc || !pDst) return qorStsNullPtrErr;
    if (len < 1) return qorStsSizeErr;
    calcSF(pSrc, Qor32u(offset) - 512u, pDst, len);
    return qorStsNoErr;
}
