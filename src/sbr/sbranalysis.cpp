// Float QMF analysis of the SBR tool (ISO/IEC 14496-3, clause 4.6.18.4.1): 32 samples of each time
// slot to 32 sub-bands: complex ones as two arrays or as pairs, or the real ones of the low-power
// mode.
//
//   u(i) = sum over r from 0 to 4 of c(2 (i + 64 r)) x(i + 64 r), x(0) being the latest sample
//   complex   X(k) = 2 sum over n from 0 to 63 of u(n) exp(j pi/64 (k + 1/2)(2n - 1/2))
//   real      X(k) = 2 sum over n from 0 to 63 of u(n) cos(pi/64 (k + 1/2)(2n - 96))
//
// The complex sums are a transform of 32 complex values between two rotations, the real ones a
// DCT-III of the 64 values folded to 32.
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

constexpr Qor32s kAnalysisRing = 10 * kQmfAnalysisBands;

// -cos and sin of (4j + 1) pi/256.
constexpr Rotations<32> tblPreProcCosSinDCT4_64_SIMD([](int j) { return -cosPi(4 * j + 1, 256); },
                                                     [](int j) { return sinPi(4 * j + 1, 256); });

// Twice the cosines and sines of r pi/64: first as the sub-bands 2r of even number use them, then
// for r from 31 down to 16 as the sub-bands 63 - 2r of odd number do.
constexpr Rotations<32> tblPostProcCosSinDCT4_32_SIMD_2501_6145(
    [](int i) { return i < 16 ? 2 * cosPi(i, 64) : -2 * cosPi(47 - i, 64); },
    [](int i) { return i < 16 ? -2 * sinPi(i, 64) : 2 * sinPi(47 - i, 64); });

// 2 sqrt(16) by the normalisation of the DCT; for element 0, which is formed twice, 2 sqrt(32) / 2.
alignas(64) constexpr auto pScaleCoefs = constmath::makeTable<Qor32f, 32>([](int m) {
    return m == 0 ? constmath::sqrt(32) : 8;
});

}  // namespace

}  // namespace qorac

#define QORAC_KERNEL "sbr/sbranalysis_kernel.h"
#include "frame/levels.h"

namespace qorac {

QORAC_BIND(void, qmfAnalyseToSplit,
           (const Qor32f* pSrc, Qor32f* const* ppDstRe, Qor32f* const* ppDstIm,
            const Qor32f* pWindow, Qor32s numLoop, Qor32s kx, QorsFilterSpec_SBR_32f* pSpec,
            Qor8u* pBuffer),
           (pSrc, ppDstRe, ppDstIm, pWindow, numLoop, kx, pSpec, pBuffer))
QORAC_BIND(void, qmfAnalyseToComplex,
           (const Qor32f* pSrc, Qor32fc* const* ppDst, const Qor32f* pWindow, Qor32s numLoop,
            Qor32s kx, QorsFilterSpec_SBR_32f* pSpec, Qor8u* pBuffer),
           (pSrc, ppDst, pWindow, numLoop, kx, pSpec, pBuffer))
QORAC_BIND(void, qmfAnalyseToReal,
           (const Qor32f* pSrc, Qor32f* const* ppDst, const Qor32f* pWindow, Qor32s numLoop,
            Qor32s kx, QorsFilterSpec_SBR_32f* pSpec, Qor8u* pBuffer),
           (pSrc, ppDst, pWindow, numLoop, kx, pSpec, pBuffer))

namespace {

// clang-format off
//                                    id          transform                     ring           spare  scratch first
constexpr QmfBank32f kRToC_32f     = {0x434D4157, QmfTransform::splitFft,    5, kAnalysisRing, 0,     true};
constexpr QmfBank32f kRToC_32f32fc = {0x434D4156, QmfTransform::splitFft,    5, kAnalysisRing, 0,     false};
constexpr QmfBank32f kRToR_32f     = {0x434D4158, QmfTransform::dctInverse, 32, kAnalysisRing, 0,     false};
// clang-format on

}  // namespace

}  // namespace qorac

using namespace qorac;

QorStatus qorsAnalysisFilterGetSize_SBR_RToC_32f(Qor32s* pSpecSize, Qor32s* pInitSize,
                                                 Qor32s* pBufSize) {
    return getQmfSize(kRToC_32f, pSpecSize, pInitSize, pBufSize);
}
QorStatus qorsAnalysisFilterGetSize_SBR_RToC_32f32fc(Qor32s* pSpecSize, Qor32s* pInitSize,
                                                     Qor32s* pBufSize) {
    return getQmfSize(kRToC_32f32fc, pSpecSize, pInitSize, pBufSize);
}
QorStatus qorsAnalysisFilterGetSize_SBR_RToR_32f(Qor32s* pSpecSize, Qor32s* pInitSize,
                                                 Qor32s* pBufSize) {
    return getQmfSize(kRToR_32f, pSpecSize, pInitSize, pBufSize);
}

QorStatus qorsAnalysisFilterInit_SBR_RToC_32f(QorsFilterSpec_SBR_32f** ppSpec, Qor8u* pMemSpec,
                                              Qor8u* pMemInit) {
    return initQmf(kRToC_32f, ppSpec, pMemSpec, pMemInit);
}
QorStatus qorsAnalysisFilterInit_SBR_RToC_32f32fc(QorsFilterSpec_SBR_32f** ppSpec, Qor8u* pMemSpec,
                                                  Qor8u* pMemInit) {
    return initQmf(kRToC_32f32fc, ppSpec, pMemSpec, pMemInit);
}
QorStatus qorsAnalysisFilterInit_SBR_RToR_32f(QorsFilterSpec_SBR_32f** ppSpec, Qor8u* pMemSpec,
                                              Qor8u* pMemInit) {
    return initQmf(kRToR_32f, ppSpec, pMemSpec, pMemInit);
}

QorStatus qorsAnalysisFilter_SBR_RToC_32f_D2L(const Qor32f* pSrc, Qor32f* const* ppDstRe,
                                              Qor32f* const* ppDstIm, const Qor32f* pWindow,
                                              Qor32s numLoop, Qor32s offset, Qor32s kx,
                                              QorsFilterSpec_SBR_32f* pSpec, Qor8u* pBuffer) {
    const QorStatus status =
        checkQmf(kRToC_32f, pSpec, pWindow, pBuffer, kx, pSrc, ppDstRe, ppDstIm);
    if (status != qorStsNoErr || numLoop < 1) return status;
    qmfAnalyseToSplit(pSrc, ppDstRe + offset, ppDstIm + offset, pWindow, numLoop, kx, pSpec,
                      pBuffer);
    return qorStsNoErr;
}

QorStatus qorsAnalysisFilter_SBR_RToC_32f32fc_D2L(const Qor32f* pSrc, Qor32fc* const* ppDst,
                                                  const Qor32f* pWindow, Qor32s numLoop,
                                                  Qor32s offset, Qor32s kx,
                                                  QorsFilterSpec_SBR_32f* pSpec, Qor8u* pBuffer) {
    const QorStatus status = checkQmf(kRToC_32f32fc, pSpec, pWindow, pBuffer, kx, pSrc, ppDst);
    if (status != qorStsNoErr || numLoop < 1) return status;
    qmfAnalyseToComplex(pSrc, ppDst + offset, pWindow, numLoop, kx, pSpec, pBuffer);
    return qorStsNoErr;
}

QorStatus qorsAnalysisFilter_SBR_RToR_32f_D2L(const Qor32f* pSrc, Qor32f* const* ppDst,
                                              const Qor32f* pWindow, Qor32s numLoop, Qor32s offset,
                                              Qor32s kx, QorsFilterSpec_SBR_32f* pSpec,
                                              Qor8u* pBuffer) {
    const QorStatus status = checkQmf(kRToR_32f, pSpec, pWindow, pBuffer, kx, pSrc, ppDst);
    if (status != qorStsNoErr || numLoop < 1) return status;
    qmfAnalyseToReal(pSrc, ppDst + offset, pWindow, numLoop, kx, pSpec, pBuffer);
    return qorStsNoErr;
}
