// Float QMF synthesis of the SBR tool (ISO/IEC 14496-3, clause 4.6.18.4.2, and 4.6.18.4.3 for the
// downsampled bank): 64 or, downsampled, 32 sub-bands of each time slot to as many samples. Each
// slot makes the values V of the ring, twice as many as there are sub-bands, from complex sub-bands
//
//   full rate    V(n) = 1/64 Re sum over k of X(k) exp(j pi/128 (k + 1/2)(2n - 255))
//   downsampled  V(n) = 1/64 Re sum over k of X(k) exp(j pi/64 (k + 1/2)(2n - 127.5))
//
// or from the real ones of the low-power mode
//
//   full rate    V(n) = 1/32 sum over k of X(k) cos(pi/128 (k + 1/2)(2n - 64))
//   downsampled  V(n) = 1/32 sum over k of X(k) cos(pi/64 (k + 1/2)(2n - 32))
//
// and with N sub-bands the samples are, V_t being the values of t slots ago,
//
//   y(i) = sum over t from 0 to 9 of c(N t + i) V_t(N (t mod 2) + i)
//
// where a window of 320 coefficients is every second one of the standard's 640.
#include <utility>

#include "frame/constmath.h"
#include "frame/dispatch.h"
#include "sbr/sbrqmf32f.h"
#include "transform/dct.h"
#include "transform/fft32f.h"

namespace qorac {

namespace {

using constmath::cosPi;
using constmath::sinPi;

// By (4r + 1) pi/256 before the transforms at full rate and by r pi/64 behind them, for pairs: each
// cosine at two places, each sine beside its negative.
constexpr Rotations<64> pTableSynthesisSinCos_32f([](int i) { return cosPi(4 * (i / 2) + 1, 256); },
                                                  [](int i) {
                                                      return (i % 2 == 0 ? 1 : -1) *
                                                             sinPi(4 * (i / 2) + 1, 256);
                                                  });
constexpr Rotations<64> pTableCosSin_HQ_SQMF_32f([](int i) { return cosPi(i / 2, 64) / 64; },
                                                 [](int i) {
                                                     return (i % 2 == 0 ? 1 : -1) *
                                                            sinPi(i / 2, 64) / 64;
                                                 });

// exp(j k pi/128) before the downsampled transform, exp(j (n pi/64 - 255 pi/256)) / 64 behind it.
constexpr Rotations<32> _tInSynthesisDown_HQ_32([](int k) { return cosPi(k, 128); },
                                                [](int k) { return sinPi(k, 128); });
constexpr Rotations<64> _tExSynthesisDown_HQ_64([](int n) { return cosPi(4 * n - 255, 256) / 64; },
                                                [](int n) { return sinPi(4 * n - 255, 256) / 64; });

}  // namespace

}  // namespace qorac

#define QORAC_KERNEL "sbr/sbrsynthesis_kernel.h"
#include "frame/levels.h"

namespace qorac {

QORAC_BIND(void, qmfSynthesizeSplit,
           (const Qor32f* const* ppSrcRe, const Qor32f* const* ppSrcIm, Qor32f* pDst,
            const Qor32f* pWindow, Qor32s numLoop, Qor32s bands, QorsFilterSpec_SBR_32f* pSpec,
            Qor8u* pBuffer),
           (ppSrcRe, ppSrcIm, pDst, pWindow, numLoop, bands, pSpec, pBuffer))
QORAC_BIND(void, qmfSynthesizeComplex,
           (const Qor32fc* const* ppSrc, Qor32f* pDst, const Qor32f* pWindow, Qor32s numLoop,
            Qor32s bands, QorsFilterSpec_SBR_32f* pSpec, Qor8u* pBuffer),
           (ppSrc, pDst, pWindow, numLoop, bands, pSpec, pBuffer))
QORAC_BIND(void, qmfSynthesizeReal,
           (const Qor32f* const* ppSrc, Qor32f* pDst, const Qor32f* pWindow, Qor32s numLoop,
            Qor32s bands, QorsFilterSpec_SBR_32f* pSpec, Qor8u* pBuffer),
           (ppSrc, pDst, pWindow, numLoop, bands, pSpec, pBuffer))

namespace {

// clang-format off
//                                        id          transform                      ring  spare  scratch first
constexpr QmfBank32f kCToR_32f         = {0x434D415A, QmfTransform::complexFft,  5, 1280, 0,     true};
constexpr QmfBank32f kCToR_32fc32f     = {0x434D4159, QmfTransform::complexFft,  5, 1280, 0,     false};
constexpr QmfBank32f kRToR_32f         = {0x434D415B, QmfTransform::dctForward, 64, 1280, 1,     false};
constexpr QmfBank32f kDownCToR_32f     = {0x434D415D, QmfTransform::complexFft,  6,  640, 0,     true};
constexpr QmfBank32f kDownCToR_32fc32f = {0x434D415C, QmfTransform::complexFft,  6,  640, 0,     false};
constexpr QmfBank32f kDownRToR_32f     = {0x434D415E, QmfTransform::dctForward, 32,  640, 0,     false};
// clang-format on

// The ring has ten slots of twice as many values as there are sub-bands.
constexpr Qor32s bandsOf(const QmfBank32f& bank) { return bank.ringLen / 20; }

QorStatus filterSplit(const QmfBank32f& bank, const Qor32f* const* ppSrcRe,
                      const Qor32f* const* ppSrcIm, Qor32f* pDst, const Qor32f* pWindow,
                      Qor32s numLoop, QorsFilterSpec_SBR_32f* pSpec, Qor8u* pBuffer) {
    const QorStatus status = checkQmf(bank, pSpec, pWindow, pBuffer, 0, ppSrcRe, ppSrcIm, pDst);
    if (status != qorStsNoErr || numLoop < 1) return status;
    qmfSynthesizeSplit(ppSrcRe, ppSrcIm, pDst, pWindow, numLoop, bandsOf(bank), pSpec, pBuffer);
    return qorStsNoErr;
}

QorStatus filterComplex(const QmfBank32f& bank, const Qor32fc* const* ppSrc, Qor32f* pDst,
                        const Qor32f* pWindow, Qor32s numLoop, QorsFilterSpec_SBR_32f* pSpec,
                        Qor8u* pBuffer) {
    const QorStatus status = checkQmf(bank, pSpec, pWindow, pBuffer, 0, ppSrc, pDst);
    if (status != qorStsNoErr || numLoop < 1) return status;
    qmfSynthesizeComplex(ppSrc, pDst, pWindow, numLoop, bandsOf(bank), pSpec, pBuffer);
    return qorStsNoErr;
}

QorStatus filterReal(const QmfBank32f& bank, const Qor32f* const* ppSrc, Qor32f* pDst,
                     const Qor32f* pWindow, Qor32s numLoop, QorsFilterSpec_SBR_32f* pSpec,
                     Qor8u* pBuffer) {
    const QorStatus status = checkQmf(bank, pSpec, pWindow, pBuffer, 0, ppSrc, pDst);
    if (status != qorStsNoErr || numLoop < 1) return status;
    qmfSynthesizeReal(ppSrc, pDst, pWindow, numLoop, bandsOf(bank), pSpec, pBuffer);
    return qorStsNoErr;
}

}  // namespace

}  // namespace qorac

using namespace qorac;

QorStatus qorsSynthesisFilterGetSize_SBR_CToR_32f(Qor32s* pSpecSize, Qor32s* pInitSize,
                                                  Qor32s* pBufSize) {
    return getQmfSize(kCToR_32f, pSpecSize, pInitSize, pBufSize);
}
QorStatus qorsSynthesisFilterGetSize_SBR_CToR_32fc32f(Qor32s* pSpecSize, Qor32s* pInitSize,
                                                      Qor32s* pBufSize) {
    return getQmfSize(kCToR_32fc32f, pSpecSize, pInitSize, pBufSize);
}
QorStatus qorsSynthesisFilterGetSize_SBR_RToR_32f(Qor32s* pSpecSize, Qor32s* pInitSize,
                                                  Qor32s* pBufSize) {
    return getQmfSize(kRToR_32f, pSpecSize, pInitSize, pBufSize);
}
QorStatus qorsSynthesisDownFilterGetSize_SBR_CToR_32f(Qor32s* pSpecSize, Qor32s* pInitSize,
                                                      Qor32s* pBufSize) {
    return getQmfSize(kDownCToR_32f, pSpecSize, pInitSize, pBufSize);
}
QorStatus qorsSynthesisDownFilterGetSize_SBR_CToR_32fc32f(Qor32s* pSpecSize, Qor32s* pInitSize,
                                                          Qor32s* pBufSize) {
    return getQmfSize(kDownCToR_32fc32f, pSpecSize, pInitSize, pBufSize);
}
QorStatus qorsSynthesisDownFilterGetSize_SBR_RToR_32f(Qor32s* pSpecSize, Qor32s* pInitSize,
                                                      Qor32s* pBufSize) {
    return getQmfSize(kDownRToR_32f, pSpecSize, pInitSize, pBufSize);
}

QorStatus qorsSynthesisFilterInit_SBR_CToR_32f(QorsFilterSpec_SBR_32f** ppSpec, Qor8u* pMemSpec,
                                               Qor8u* pMemInit) {
    return initQmf(kCToR_32f, ppSpec, pMemSpec, pMemInit);
}
QorStatus qorsSynthesisFilterInit_SBR_CToR_32fc32f(QorsFilterSpec_SBR_32f** ppSpec, Qor8u* pMemSpec,
                                                   Qor8u* pMemInit) {
    return initQmf(kCToR_32fc32f, ppSpec, pMemSpec, pMemInit);
}
QorStatus qorsSynthesisFilterInit_SBR_RToR_32f(QorsFilterSpec_SBR_32f** ppSpec, Qor8u* pMemSpec,
                                               Qor8u* pMemInit) {
    return initQmf(kRToR_32f, ppSpec, pMemSpec, pMemInit);
}
QorStatus qorsSynthesisDownFilterInit_SBR_CToR_32f(QorsFilterSpec_SBR_32f** ppSpec, Qor8u* pMemSpec,
                                                   Qor8u* pMemInit) {
    return initQmf(kDownCToR_32f, ppSpec, pMemSpec, pMemInit);
}
QorStatus qorsSynthesisDownFilterInit_SBR_CToR_32fc32f(QorsFilterSpec_SBR_32f** ppSpec,
                                                       Qor8u* pMemSpec, Qor8u* pMemInit) {
    return initQmf(kDownCToR_32fc32f, ppSpec, pMemSpec, pMemInit);
}
QorStatus qorsSynthesisDownFilterInit_SBR_RToR_32f(QorsFilterSpec_SBR_32f** ppSpec, Qor8u* pMemSpec,
                                                   Qor8u* pMemInit) {
    return initQmf(kDownRToR_32f, ppSpec, pMemSpec, pMemInit);
}

QorStatus qorsSynthesisFilter_SBR_CToR_32f_D2L(const Qor32f* const* ppSrcRe,
                                               const Qor32f* const* ppSrcIm, Qor32f* pDst,
                                               const Qor32f* pWindow, Qor32s numLoop,
                                               QorsFilterSpec_SBR_32f* pSpec, Qor8u* pBuffer) {
    return filterSplit(kCToR_32f, ppSrcRe, ppSrcIm, pDst, pWindow, numLoop, pSpec, pBuffer);
}
QorStatus qorsSynthesisFilter_SBR_CToR_32fc32f_D2L(const Qor32fc* const* ppSrc, Qor32f* pDst,
                                                   const Qor32f* pWindow, Qor32s numLoop,
                                                   QorsFilterSpec_SBR_32f* pSpec, Qor8u* pBuffer) {
    return filterComplex(kCToR_32fc32f, ppSrc, pDst, pWindow, numLoop, pSpec, pBuffer);
}
QorStatus qorsSynthesisFilter_SBR_RToR_32f_D2L(const Qor32f* const* ppSrc, Qor32f* pDst,
                                               const Qor32f* pWindow, Qor32s numLoop,
                                               QorsFilterSpec_SBR_32f* pSpec, Qor8u* pBuffer) {
    return filterReal(kRToR_32f, ppSrc, pDst, pWindow, numLoop, pSpec, pBuffer);
}
QorStatus qorsSynthesisDownFilter_SBR_CToR_32f_D2L(const Qor32f* const* ppSrcRe,
                                                   const Qor32f* const* ppSrcIm, Qor32f* pDst,
                                                   const Qor32f* pWindow, Qor32s numLoop,
                                                   QorsFilterSpec_SBR_32f* pSpec, Qor8u* pBuffer) {
    return filterSplit(kDownCToR_32f, ppSrcRe, ppSrcIm, pDst, pWindow, numLoop, pSpec, pBuffer);
}
QorStatus qorsSynthesisDownFilter_SBR_CToR_32fc32f_D2L(const Qor32fc* const* ppSrc, Qor32f* pDst,
                                                       const Qor32f* pWindow, Qor32s numLoop,
                                                       QorsFilterSpec_SBR_32f* pSpec,
                                                       Qor8u* pBuffer) {
    return filterComplex(kDownCToR_32fc32f, ppSrc, pDst, pWindow, numLoop, pSpec, pBuffer);
}
QorStatus qorsSynthesisDownFilter_SBR_RToR_32f_D2L(const Qor32f* const* ppSrc, Qor32f* pDst,
                                                   const Qor32f* pWindow, Qor32s numLoop,
                                                   QorsFilterSpec_SBR_32f* pSpec, Qor8u* pBuffer) {
    return filterReal(kDownRToR_32f, ppSrc, pDst, pWindow, numLoop, pSpec, pBuffer);
}
