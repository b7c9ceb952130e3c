// The AAC filter bank (ISO/IEC 13818-7 and 14496-3): synthesis to 16-bit PCM and to 32 bits,
// analysis for an encoder and for long-term prediction. Spectra are in window order, 128
// coefficients a window in a block of eight short ones.
#include "aac/aac_aimdct.h"
#include "aac/aacmdctoverlap.h"
#include "frame/status.h"
#include "frame/vectorkernels.h"

namespace qorac {
namespace {

constexpr int kFrame = 1024;
constexpr int kBlock = 128;

// Window and transform, the 2048 or 256 samples of pWork to 1024 or 128 coefficients at its start.
void ownsMDCT_AAC_32s(Qor32s* pWork, Qor32s* pDst, const WindowShape& window) {
    const int n = window.sequence == kEightShort ? kBlock : kFrame;
    windowFrame(pWork, window, Weighting::doubled);
    ownsMDCTFwd_Radix2_32s(pWork, n);
    qorsCopy_32s(pWork, pDst, n);
}

}  // namespace
}  // namespace qorac

using namespace qorac;

QorStatus qorsMDCTInv_AAC_32s16s(Qor32s* pSrc, Qor16s* pDst, Qor32s* pOverlap,
                                 Qor32s windowSequence, Qor32s windowShape, Qor32s prevWindowShape,
                                 Qor32s pcmMode) {
    if (anyNull(pSrc, pDst, pOverlap)) return qorStsNullPtrErr;
    if (outside(windowSequence, 0, 3)) return qorStsAacWinSeqErr;
    if (outside(windowShape, 0, 1) || outside(prevWindowShape, 0, 1)) return qorStsAacWinShapeErr;
    if (outside(pcmMode, 1, 2)) return qorStsAacPcmModeErr;
    ownsMDCTInvOverlap_32s16s(pSrc, pDst, pcmMode, pOverlap,
                              {windowSequence, windowShape, prevWindowShape});
    return qorStsNoErr;
}

QorStatus qorsMDCTInv_AAC_32s_I(Qor32s* pSrcDst, Qor32s* pOverlap, Qor32s windowSequence,
                                Qor32s windowShape, Qor32s prevWindowShape, Qor32s len) {
    if (anyNull(pSrcDst, pOverlap)) return qorStsNullPtrErr;
    if (outside(windowSequence, 0, 3)) return qorStsAacWinSeqErr;
    if (outside(windowShape, 0, 1) || outside(prevWindowShape, 0, 1)) return qorStsAacWinShapeErr;
    if (len != kFrame) return qorStsSizeErr;
    ownsMDCTInvOverlap_32s_I(pSrcDst, pOverlap, {windowSequence, windowShape, prevWindowShape});
    return qorStsNoErr;
}

QorStatus qorsMDCTFwd_AAC_32s(const Qor32s* pSrc, Qor32s* pDst, const Qor32s* pTimeRef,
                              Qor32s windowSequence, Qor32s windowShape, Qor32s prevWindowShape,
                              Qor32s* pWork) {
    if (anyNull(pSrc, pDst, pTimeRef, pWork)) return qorStsNullPtrErr;
    if (outside(windowSequence, 0, 3)) return qorStsAacWinSeqErr;
    if (outside(windowShape, 0, 1) || outside(prevWindowShape, 0, 1)) return qorStsAacWinShapeErr;
    qorsCopy_32s(pSrc, pWork, 2 * (windowSequence == kEightShort ? kBlock : kFrame));
    ownsMDCT_AAC_32s(pWork, pDst, {windowSequence, windowShape, prevWindowShape});
    return qorStsNoErr;
}

QorStatus qorsMDCTFwd_AAC_32s_I(Qor32s* pSrcDst, Qor32s windowSequence, Qor32s windowShape,
                                Qor32s prevWindowShape, Qor32s len) {
    if (anyNull(pSrcDst)) return qorStsNullPtrErr;
    if (outside(windowSequence, 0, 3)) return qorStsAacWinSeqErr;
    if (outside(windowShape, 0, 1) || outside(prevWindowShape, 0, 1)) return qorStsAacWinShapeErr;
    if (len != 2 * kFrame) return qorStsSizeErr;
    const bool isShort = windowSequence == kEightShort;
    windowFrame(pSrcDst, {windowSequence, windowShape, prevWindowShape}, Weighting::halved);
    ownsMDCTFwd_Radix2_32s_I(pSrcDst, isShort ? kBlock : kFrame);
    return qorStsNoErr;
}
