// Hybrid analysis of parametric stereo (ISO/IEC 14496-3, parametric stereo, hybrid filter bank):
// one QMF sub-band over 32 slots into 2, 4, 8 or 12 sub-sub-bands. Floats in and out.
#include <cstddef>
#include <utility>

#include "frame/constmath.h"
#include "frame/status.h"
#include "qorac.h"

namespace qorac {
namespace {

constexpr int kHybridSlots = 32;
constexpr int kHybridRow = 12;  // complex numbers from slot to slot of the output

// A low-pass prototype of 13 taps symmetrical about tap 6, by its taps 0 to 6.
struct HybridFilter {
    Qor32f g[7];
};

constexpr HybridFilter kQ2 = {{0, 0.018994875f, 0, -0.072931394f, 0, 0.30596632f, 0.5f}};
constexpr HybridFilter kQ4 = {
    {-0.059082113f, -0.048714984f, 0, 0.07778724f, 0.16486304f, 0.23279856f, 0.25f}};
constexpr HybridFilter kQ8First = {
    {0.0074608293f, 0.02270421f, 0.045468658f, 0.072661139f, 0.098851085f, 0.1179371f, 0.125f}};
constexpr HybridFilter kQ8Second = {
    {0.015656756f, 0.037527163f, 0.054178912f, 0.084170438f, 0.10307344f, 0.12222452f, 0.125f}};
constexpr HybridFilter kQ12 = {
    {0.0408118f, 0.03812811f, 0.051449083f, 0.06399831f, 0.07428314f, 0.08100348f, 0.083333336f}};

// Cosines of 15, 22.5, 30, 45, 67.5 and 75 degrees.
constexpr Qor32f kCos15 = Qor32f(constmath::cosPi(1, 12)), kCos22 = Qor32f(constmath::cosPi(1, 8)),
                 kCos30 = Qor32f(constmath::cosPi(1, 6)), kCos45 = Qor32f(constmath::cosPi(1, 4)),
                 kCos67 = Qor32f(constmath::cosPi(3, 8)), kCos75 = Qor32f(constmath::cosPi(5, 12));

}  // namespace
}  // namespace qorac

#define QORAC_KERNEL "sbr/psqmf_kernel.h"
#include "frame/levels.h"

namespace qorac {

QORAC_BIND(void, ownAnalysisFilter_Q2_32fc, (const Qor32fc* pSrc, Qor32fc* pDst), (pSrc, pDst))
QORAC_BIND(void, ownAnalysisFilter_Q4_32fc, (const Qor32fc* pSrc, Qor32fc* pDst), (pSrc, pDst))
QORAC_BIND(void, ownAnalysisFilter_Q8_32fc, (const Qor32fc* pSrc, Qor32fc* pDst, Qor32s second),
           (pSrc, pDst, second))
QORAC_BIND(void, ownAnalysisFilter_Q12_32fc, (const Qor32fc* pSrc, Qor32fc* pDst), (pSrc, pDst))

}  // namespace qorac

using namespace qorac;

QorStatus qorsAnalysisFilter_PS_32fc_D2(const Qor32fc* pSrc, Qor32fc* pDst, Qor32s config) {
    if (anyNull(pSrc, pDst)) return qorStsNullPtrErr;
    switch (config) {
        case 0:
            ownAnalysisFilter_Q2_32fc(pSrc, pDst);
            return qorStsNoErr;
        case 1:
            ownAnalysisFilter_Q4_32fc(pSrc, pDst);
            return qorStsNoErr;
        case 2:
            ownAnalysisFilter_Q8_32fc(pSrc, pDst, 0);
            return qorStsNoErr;
        case 3:
            ownAnalysisFilter_Q8_32fc(pSrc, pDst, 1);
            return qorStsNoErr;
        case 4:
            ownAnalysisFilter_Q12_32fc(pSrc, pDst);
            return qorStsNoErr;
        default:
            return qorStsBadArgErr;
    }
}
