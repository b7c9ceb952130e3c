// Transient detector of an SBR encoder on an envelope of 64 energies: steps of the envelope above a
// threshold that follows its standard deviation. Floats in and out.
#include <algorithm>

#include "frame/dispatch.h"
#include "frame/status.h"
#include "frame/vectorkernels.h"
#include "qorac.h"

namespace qorac {
namespace {

constexpr int kFirst = 16, kLast = 60;    // the elements that can be transients
constexpr int kEnvelope = 64;             // energies
constexpr Qor32f MAX_THRESHOLD = 128000;  // the threshold is at least that
constexpr Qor32f kDeviationShare = 0.34f, kMemoryShare = 0.66f;

// Adds how far a step is above the threshold.
QORAC_INLINE Qor32f addStep(Qor32f sum, Qor32f step, Qor32f threshold, Qor32f inverse) {
    return step > threshold ? sum + (step * inverse - 1.0f) : sum;
}

QORAC_CLONES void addSteps(const Qor32f* pSrc, Qor32f threshold, Qor32f* pDst) {
    const Qor32f inverse = 1.0f / threshold;
    Qor32f mean[kEnvelope / 2];  // of pairs
    for (int k = 0; k < kEnvelope / 2; ++k) mean[k] = (pSrc[2 * k] + pSrc[2 * k + 1]) * 0.5f;

    Qor32f even[kEnvelope / 2], odd[kEnvelope / 2];
    for (int k = kFirst / 2; k <= kLast / 2; ++k) {
        const Qor32f a = mean[k] - mean[k - 1];
        const Qor32f b = a + mean[k + 1] - mean[k - 1];
        const Qor32f c = b + mean[k + 1] - mean[k - 2];
        Qor32f sum = addStep(pDst[2 * k], a, threshold, inverse);
        sum = addStep(sum, b, threshold, inverse);
        even[k] = addStep(sum, c, threshold, inverse);
    }
    for (int k = kFirst / 2; k < kLast / 2; ++k) {
        const Qor32f a = mean[k + 1] - mean[k];
        const Qor32f b = a + mean[k + 1] - mean[k - 1];
        const Qor32f c = b + mean[k + 2] - mean[k - 1];
        Qor32f sum = addStep(pDst[2 * k + 1], a, threshold, inverse);
        sum = addStep(sum, b, threshold, inverse);
        odd[k] = addStep(sum, c, threshold, inverse);
    }
    for (int k = kFirst / 2; k < kLast / 2; ++k) {
        pDst[2 * k] = even[k];
        pDst[2 * k + 1] = odd[k];
    }
    pDst[kLast] = even[kLast / 2];
}

}  // namespace
}  // namespace qorac

using namespace qorac;

QorStatus qorsDetectTransient_SBR_32f(const Qor32f* pSrc, Qor32f* pThr, Qor32f* pDst) {
    if (anyNull(pSrc, pThr, pDst)) return qorStsNullPtrErr;
    Qor32f deviation;
    qorsStdDev_32f(pSrc + kFirst, kEnvelope - kFirst, &deviation, 0);
    *pThr = std::max(MAX_THRESHOLD, kDeviationShare * deviation + kMemoryShare * *pThr);
    addSteps(pSrc, *pThr, pDst);
    return qorStsNoErr;
}
