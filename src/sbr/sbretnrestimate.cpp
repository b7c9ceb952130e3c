// Tonality-to-noise ratio of one QMF sub-band for an SBR encoder: how much of the energy of each
// half of 32 samples a linear predictor of second order explains. All in single precision.
#include <cmath>
#include <cstddef>
#include <utility>

#include "frame/status.h"
#include "qorac.h"

namespace qorac {
namespace {

constexpr int kTnrHalf = 16;  // samples
constexpr Qor32f kOnePlusEps = 1.000001f, kEps = 1e-6f;
constexpr Qor32f INV_EPS = 1000000.0f;  // the ratio where all is explained

}  // namespace
}  // namespace qorac

#define QORAC_KERNEL "sbr/sbretnrestimate_kernel.h"
#include "frame/levels.h"

namespace qorac {

QORAC_BIND(void, explain, (const Qor32fc* pSrc, Qor32f* pEnergy, Qor32f* pShare),
           (pSrc, pEnergy, pShare))

namespace {

// The energy that the predictor explains over what it leaves, from the share that it explains.
Qor32f ratio(Qor32f energy, Qor32f share) {
    if (!(energy * energy > 0.0f)) return 0.0f;
    return std::fabs(1.0 - Qor64f(share)) > kEps ? share / (kOnePlusEps - share) : INV_EPS;
}

}  // namespace
}  // namespace qorac

using namespace qorac;

QorStatus qorsEstimateTNR_SBR_32f(const Qor32fc* pSrc, Qor32f* pTNR0, Qor32f* pTNR1,
                                  Qor32f* pMeanNrg) {
    if (anyNull(pSrc, pTNR0, pTNR1, pMeanNrg)) return qorStsNullPtrErr;
    Qor32f energy[4], share[4];
    explain(pSrc, energy, share);
    *pTNR0 = ratio(energy[0], share[0]);
    *pTNR1 = ratio(energy[1], share[1]);
    *pMeanNrg = (energy[0] + energy[1]) * 0.5f;
    return qorStsNoErr;
}
