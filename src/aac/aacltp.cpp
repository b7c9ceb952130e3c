// Long-term prediction of AAC (ISO/IEC 14496-3, LTP), decoder side: the estimate from the history,
// its addition to the spectrum, and the history's update. All in Q3.
//
// The history is 3072 samples: the frame before last, the last reconstructed frame, and the second
// half of the latest inverse transform, which is windowed but not yet overlapped.
#include "aac/aac_aimdct.h"
#include "aac/aacbands.h"
#include "aac/aacmdctoverlap.h"
#include "frame/fixed.h"
#include "frame/status.h"
#include "frame/vectorkernels.h"

namespace qorac {
namespace {

constexpr int kFrame = 1024;
constexpr int kBlock = 128;
constexpr int kFlat = 448;  // samples of a frame before the first of its short windows
constexpr int kHistory = 3 * kFrame;
constexpr int kLongBands = 40;  // bands that can be predicted
constexpr int kShortBands = 8;

// dst[i] = src[i] times coef in Q14 for the `count` samples that the history has, 0 up to len.
QORAC_CLONES void estimate(const Qor32s* src, Qor32s* dst, int count, int len, Qor32s coef) {
    for (int i = 0; i < count; ++i) dst[i] = mulShift(src[i], coef, 14);
    for (int i = count > 0 ? count : 0; i < len; ++i) dst[i] = 0;
}

QORAC_CLONES void addBand(const Qor32s* src, Qor32s* dst, int len) {
    for (int i = 0; i < len; ++i) dst[i] = wrapAdd(dst[i], src[i]);
}

// Inverse transform of 1024 or 128 coefficients, windowed; in eight short blocks every window rises
// with the previous shape.
void ownsMDCTInv_AAC_32s(const Qor32s* pSrc, Qor32s* pDst, const WindowShape& window) {
    const int n = window.sequence == kEightShort ? kBlock : kFrame;
    qorsCopy_32s(pSrc, pDst, n);
    ownsMDCTInv_Radix2_32s_MPEG4(pDst, 2 * n);
    windowFrame(pDst, window, Weighting::doubled);
}

}  // namespace
}  // namespace qorac

using namespace qorac;

QorStatus qorsLongTermPredict_AAC_32s(const Qor32s* pHistory, Qor32s* pEstimate,
                                      const QorAACLtpInfo* pLtpInfo, Qor32s windowSequence) {
    if (anyNull(pHistory, pEstimate, pLtpInfo)) return qorStsNullPtrErr;
    if (outside(windowSequence, 0, 3)) return qorStsAacWinSeqErr;
    const auto predict = [&](Qor32s* dst, int start, int len) {
        const int count = kHistory - start < len ? kHistory - start : len;
        estimate(pHistory + start, dst, count, len, pLtpInfo->ltp_coef);
    };
    if (windowSequence != kEightShort) {
        predict(pEstimate, 2 * kFrame - pLtpInfo->ltp_lag, 2 * kFrame);
        return qorStsNoErr;
    }
    for (int w = 0; w < 8; ++w)
        if (pLtpInfo->ltp_short_used[w])
            predict(pEstimate + 2 * kBlock * w, kHistory - 2 * kBlock - pLtpInfo->ltp_short_lag[w],
                    2 * kBlock);
    return qorStsNoErr;
}

QorStatus qorsLongTermReconstruct_AAC_32s(const Qor32s* pEstimateSpectrum, Qor32s* pSrcDstSpectrum,
                                          const Qor32s* pLtpUsed, Qor32s windowSequence,
                                          Qor32s samplingRateIndex) {
    if (anyNull(pEstimateSpectrum, pSrcDstSpectrum, pLtpUsed)) return qorStsNullPtrErr;
    if (outside(windowSequence, 0, 3)) return qorStsAacWinSeqErr;
    if (outside(samplingRateIndex, 0, 12)) return qorStsAacSampRateIdxErr;
    if (samplingRateIndex == 12) return qorStsNoErr;  // admitted, but a rate without bands
    const bool isShort = windowSequence == kEightShort;
    const Qor16s* offset = bandsOf(samplingRateIndex, isShort ? kBlock : kFrame).offset;
    if (!isShort) {
        for (int b = 0; b < kLongBands; ++b)
            if (pLtpUsed[b + 1])
                addBand(pEstimateSpectrum + offset[b], pSrcDstSpectrum + offset[b],
                        offset[b + 1] - offset[b]);
        return qorStsNoErr;
    }
    for (int w = 0; w < 8; ++w)
        if (pLtpUsed[w])
            addBand(pEstimateSpectrum + kBlock * w, pSrcDstSpectrum + kBlock * w,
                    offset[kShortBands]);
    return qorStsNoErr;
}

QorStatus qorsLtpUpdate_AAC_32s(const Qor32s* pSpectrum, Qor32s* pHistory, Qor32s windowSequence,
                                Qor32s windowShape, Qor32s prevWindowShape, Qor32s* pWork) {
    if (anyNull(pSpectrum, pHistory, pWork)) return qorStsNullPtrErr;
    if (outside(windowSequence, 0, 3)) return qorStsAacWinSeqErr;
    if (outside(windowShape, 0, 1) || outside(prevWindowShape, 0, 1)) return qorStsAacWinShapeErr;
    const WindowShape window{windowSequence, windowShape, prevWindowShape};
    qorsCopy_32s(pHistory + kFrame, pHistory, kFrame);
    qorsCopy_32s(pHistory + 2 * kFrame, pHistory + kFrame, kFrame);
    if (windowSequence != kEightShort) {
        ownsMDCTInv_AAC_32s(pSpectrum, pWork, window);
        qorsAdd_32s_ISfs(pWork, pHistory + kFrame, kFrame, 0);
        qorsCopy_32s(pWork + kFrame, pHistory + 2 * kFrame, kFrame);
        return qorStsNoErr;
    }
    qorsZero_32s(pHistory + 2 * kFrame, kFrame);
    for (int b = 0; b < kFrame; b += kBlock) {
        ownsMDCTInv_AAC_32s(pSpectrum + b, pWork, window);
        qorsAdd_32s_ISfs(pWork, pHistory + kFrame + kFlat + b, 2 * kBlock, 0);
    }
    return qorStsNoErr;
}
