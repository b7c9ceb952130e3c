// Complex QMF analysis of the SBR encoder, 64 bands (window of ISO/IEC 14496-3), floats in and out.
//
//   u(n) = sum over r of x(639 - 128 r - n) c(n + 128 r)
//   X(k) = sum over n of u(n) exp(j pi / 128 (k + 1/2)(2 n + 1))
//
// The 128 sums fold into 64 complex numbers, B(0) = u(0) + j u(1) and
// B(i) = -u(128 - i) + j u(i + 1), which are rotated, transformed and rotated back: bin m gives
// sub-band 2m in the lower half of the bins and 127 - 2m in the upper half.
#include <cstddef>
#include <utility>

#include "frame/memory.h"
#include "frame/status.h"
#include "qorac.h"
#include "sbr/sbreqmftabs.h"
#include "transform/fft32f.h"

struct QorsFilterEncSpec_SBR_32f {
    Qor32u id;
    qorac::QorsFFTSpec_C_32fc* pFFTSpec;
    Qor8u* pFFTBuffer;
    Qor32s ownsMemory;  // 1: made by InitAlloc
};

namespace qorac {
namespace {

// --- tables in the order of use -----------------------------------------------------------------

// c[r][m] = window entry 128 r + 127 - m.
struct ReversedWindow {
    alignas(64) Qor32f c[5][128];

    consteval ReversedWindow() : c() {
        for (int i = 0; i < 640; ++i) c[i / 128][127 - i % 128] = SBR_TAB_QMF_WINDOW_640_FP[i];
    }
};
constexpr ReversedWindow kReversedWindow;

struct PreRotation {
    alignas(64) Qor32f c[64], s[64];

    consteval PreRotation() : c(), s() {
        for (int i = 0; i < 64; ++i) {
            c[i] = SBR_TAB2_QMF_ENC_FP[i].re;
            s[i] = SBR_TAB2_QMF_ENC_FP[i].im;
        }
    }
};
constexpr PreRotation kPreRotation;

// Linear maps of 32 complex numbers: the parts of number k are multiplied by straight[2k] and
// straight[2k + 1], and their exchange by crossed[2k] and crossed[2k + 1].
struct Rotation {
    alignas(64) Qor32f straight[64], crossed[64];

    // z w
    constexpr void setProduct(int k, Qor32fc w) {
        straight[2 * k] = straight[2 * k + 1] = w.re;
        crossed[2 * k] = -w.im;
        crossed[2 * k + 1] = w.im;
    }
    // -j conj(z) w
    constexpr void setConjugateProduct(int k, Qor32fc w) {
        straight[2 * k] = w.im;
        straight[2 * k + 1] = -w.im;
        crossed[2 * k] = crossed[2 * k + 1] = -w.re;
    }
};

struct RotationPair {
    Rotation even, odd;
};

// Of the bins m that give sub-band 2k, m = k, and sub-band 2k + 1, m = 63 - k.
constexpr RotationPair kBins = [] {
    RotationPair pair{};
    for (int k = 0; k < 32; ++k) {
        pair.even.setProduct(k, SBR_TAB3_QMF_ENC_FP[k]);
        pair.odd.setProduct(k, SBR_TAB3_QMF_ENC_FP[63 - k]);
    }
    return pair;
}();
// Of the sub-bands: the real parts of the rotated bins are C(2m), the negated imaginary parts
// C(127 - 2m), and sub-band i is made of C(i) and -C(127 - i).
constexpr RotationPair kSubbands = [] {
    RotationPair pair{};
    for (int k = 0; k < 32; ++k) {
        pair.even.setProduct(k, SBR_TAB4_QMF_ENC_FP[2 * k]);
        pair.odd.setConjugateProduct(k, SBR_TAB4_QMF_ENC_FP[2 * k + 1]);
    }
    return pair;
}();

}  // namespace
}  // namespace qorac

#define QORAC_KERNEL "sbr/sbreqmf_kernel.h"
#include "frame/levels.h"

namespace qorac {

QORAC_BIND(void, windowAndRotate, (const Qor32f* pSrc, Qor32fc* pDst), (pSrc, pDst))
QORAC_BIND(void, rotateToSubbands, (const Qor32fc* f, Qor32fc* pDst), (f, pDst))

namespace {

// --- the block ----------------------------------------------------------------------------------

constexpr Qor32u kId = 0x434D416A;
constexpr int kAlignment = 16;
constexpr Qor32s kFftOrder = 6, kFftHint = 2;

// The record, the FFT's spec and its scratch, each on a boundary of 16 bytes.
constexpr Qor32s kRecordSize = 64;
constexpr Qor32s kSlack = 31;  // of the block's own alignment
static_assert(sizeof(QorsFilterEncSpec_SBR_32f) <= kRecordSize);

constexpr Qor32s sectionSize(Qor32s size) { return roundUp16(size + 4); }

struct Sizes {
    Qor32s fftSpec, fftInit, fftBuffer;
};

Sizes fftSizes() {
    Sizes sizes{};
    qorsFFTGetSize_C_32f(kFftOrder, qorFftNormNone, kFftHint, &sizes.fftSpec, &sizes.fftInit,
                         &sizes.fftBuffer);
    return sizes;
}

// --- the bank -----------------------------------------------------------------------------------

void ownsAnalysisFilter_SBREnc_FT_fp(const Qor32f* pSrc, Qor32fc* pDst,
                                     const QorsFilterEncSpec_SBR_32f& spec) {
    alignas(64) Qor32fc a[64], f[64];
    windowAndRotate(pSrc, a);
    qorsFFTFwd_CToC_32fc(a, f, spec.pFFTSpec, spec.pFFTBuffer);
    rotateToSubbands(f, pDst);
}

}  // namespace
}  // namespace qorac

using namespace qorac;

QorStatus qorsAnalysisFilterEncGetSize_SBR_32f(Qor32s* pSpecSize, Qor32s* pInitSize) {
    if (anyNull(pSpecSize, pInitSize)) return qorStsNullPtrErr;
    const Sizes sizes = fftSizes();
    *pSpecSize = sectionSize(sizes.fftBuffer) + sectionSize(sizes.fftSpec) + kRecordSize + kSlack;
    *pInitSize = sizes.fftInit + 4;
    return qorStsNoErr;
}

QorStatus qorsAnalysisFilterEncInit_SBR_32f(QorsFilterEncSpec_SBR_32f* pSpec, Qor8u* pMemInit) {
    if (anyNull(pSpec, pMemInit)) return qorStsNullPtrErr;
    QorsFilterEncSpec_SBR_32f& spec = *alignUp<kAlignment>(pSpec);
    Qor8u* const pFftMemory = reinterpret_cast<Qor8u*>(&spec) + kRecordSize;
    spec.pFFTBuffer = pFftMemory + sectionSize(fftSizes().fftSpec);
    const QorStatus status = qorsFFTInit_C_32fc(&spec.pFFTSpec, kFftOrder, qorFftNormNone, kFftHint,
                                                pFftMemory, pMemInit);
    if (status != qorStsNoErr) return status;
    spec.id = kId;
    spec.ownsMemory = 0;
    return qorStsNoErr;
}

// When what follows its allocation fails, the block stays with the caller, in *ppSpec.
QorStatus qorsAnalysisFilterEncInitAlloc_SBR_32f(QorsFilterEncSpec_SBR_32f** ppSpec) {
    if (!ppSpec) return qorStsNullPtrErr;
    Qor32s specSize, initSize;
    QorStatus status = qorsAnalysisFilterEncGetSize_SBR_32f(&specSize, &initSize);
    if (status != qorStsNoErr) return status;
    *ppSpec = reinterpret_cast<QorsFilterEncSpec_SBR_32f*>(qorsMalloc_8u(specSize));
    if (!*ppSpec) return qorStsMemAllocErr;
    Qor8u* const pMemInit = qorsMalloc_8u(initSize);
    if (!pMemInit) return qorStsMemAllocErr;
    status = qorsAnalysisFilterEncInit_SBR_32f(*ppSpec, pMemInit);
    qorsFree(pMemInit);
    if (status != qorStsNoErr) return status;
    alignUp<kAlignment>(*ppSpec)->ownsMemory = 1;
    return qorStsNoErr;
}

QorStatus qorsAnalysisFilterEncFree_SBR_32f(QorsFilterEncSpec_SBR_32f* pSpec) {
    if (!pSpec) return qorStsNullPtrErr;
    const QorsFilterEncSpec_SBR_32f& spec = *alignUp<kAlignment>(pSpec);
    if (spec.id != kId) return qorStsContextMatchErr;
    if (spec.ownsMemory == 1) qorsFree(pSpec);
    return qorStsNoErr;
}

QorStatus qorsAnalysisFilterEnc_SBR_32f32fc(const Qor32f* pSrc, Qor32fc* pDst,
                                            QorsFilterEncSpec_SBR_32f* pSpec) {
    if (anyNull(pSrc, pDst, pSpec)) return qorStsNullPtrErr;
    const QorsFilterEncSpec_SBR_32f& spec = *alignUp<kAlignment>(pSpec);
    if (spec.id != kId) return qorStsContextMatchErr;
    ownsAnalysisFilter_SBREnc_FT_fp(pSrc, pDst, spec);
    return qorStsNoErr;
}
