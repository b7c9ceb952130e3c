// Second-order linear predictors of the low-band QMF sub-bands for the high-frequency generator of
// spectral band replication (ISO/IEC 14496-3, SBR tool, inverse filtering), by the covariance
// method, for all bands of a range. Samples and coefficients are floats.
#include <cstddef>
#include <utility>

#include "frame/status.h"
#include "qorac.h"

#define QORAC_KERNEL "sbr/sbr2_kernel.h"
#include "frame/levels.h"

namespace qorac {

QORAC_BIND(void, predictSplit,
           (const Qor32f* const* ppSrcRe, const Qor32f* const* ppSrcIm, Qor32f* pAlpha0Re,
            Qor32f* pAlpha0Im, Qor32f* pAlpha1Re, Qor32f* pAlpha1Im, Qor32s numBands, Qor32s len),
           (ppSrcRe, ppSrcIm, pAlpha0Re, pAlpha0Im, pAlpha1Re, pAlpha1Im, numBands, len))
QORAC_BIND(void, predictComplex,
           (const Qor32fc* const* ppSrc, Qor32fc* pAlpha0, Qor32fc* pAlpha1, Qor32s numBands,
            Qor32s len),
           (ppSrc, pAlpha0, pAlpha1, numBands, len))
QORAC_BIND(void, predictReal,
           (const Qor32f* const* ppSrc, Qor32f* pAlpha0, Qor32f* pAlpha1, Qor32s numBands,
            Qor32s len),
           (ppSrc, pAlpha0, pAlpha1, numBands, len))

}  // namespace qorac

using namespace qorac;

QorStatus qorsPredictCoef_SBR_C_32f_D2L(const Qor32f* const* ppSrcRe, const Qor32f* const* ppSrcIm,
                                        Qor32f* pAlpha0Re, Qor32f* pAlpha0Im, Qor32f* pAlpha1Re,
                                        Qor32f* pAlpha1Im, Qor32s numBands, Qor32s len) {
    if (anyNull(ppSrcRe, ppSrcIm, pAlpha0Re, pAlpha0Im, pAlpha1Re, pAlpha1Im))
        return qorStsNullPtrErr;
    if (len < 1) return qorStsNoErr;
    predictSplit(ppSrcRe, ppSrcIm, pAlpha0Re, pAlpha0Im, pAlpha1Re, pAlpha1Im, numBands, len);
    return qorStsNoErr;
}

QorStatus qorsPredictCoef_SBR_C_32fc_D2L(const Qor32fc* const* ppSrc, Qor32fc* pAlpha0,
                                         Qor32fc* pAlpha1, Qor32s numBands, Qor32s len) {
    if (anyNull(ppSrc, pAlpha0, pAlpha1)) return qorStsNullPtrErr;
    if (len < 1) return qorStsNoErr;
    predictComplex(ppSrc, pAlpha0, pAlpha1, numBands, len);
    return qorStsNoErr;
}

QorStatus qorsPredictCoef_SBR_R_32f_D2L(const Qor32f* const* ppSrc, Qor32f* pAlpha0,
                                        Qor32f* pAlpha1, Qor32s numBands, Qor32s len) {
    if (anyNull(ppSrc, pAlpha0, pAlpha1)) return qorStsNullPtrErr;
    if (len < 1) return qorStsNoErr;
    predictReal(ppSrc, pAlpha0, pAlpha1, numBands, len);
    return qorStsNoErr;
}
