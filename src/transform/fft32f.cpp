#include "transform/fft32f.h"

#include <cmath>
#include <cstring>

#include "frame/dispatch.h"
#include "frame/memory.h"
#include "frame/status.h"
#include "transform/fft32fkernels.h"
#include "transform/fft32ftables.h"
#include "transform/fftbitrev.h"
#include "transform/fftlarge.h"

namespace qorac {

namespace {

constexpr Qor32s kMaxOrderArgument = 30;
constexpr Qor32s kMaxOrder = 27;
constexpr Qor32s kCodeletOrder = 5;      // complex orders up to here run as codelets
constexpr Qor32s kRealCodeletOrder = 4;  // the same for real orders
constexpr Qor32s kFusedOrder = 16;       // up to here the reordering is part of the first pass

constexpr Qor32s kAlignment = 32;
constexpr Qor32s kHeaderSize = 168;        // a spec without tables, with its alignment slack
constexpr Qor32s kTabledHeaderSize = 192;  // a spec's share beside its tables
static_assert(sizeof(QorsFFTSpec_32f) + kAlignment <= kHeaderSize);

// --- sizes --------------------------------------------------------------------------------------

struct FftSizes {
    Qor32s spec, init, buffer;
};

// The reversal table of N/4 + 1 entries; as much as the quarter wave of sines.
constexpr Qor32s quarterTableSize(Qor32s order) { return roundUp32((1 << order) + 4); }

// Reversal and twiddles of a complex core above the codelets.
FftSizes coreSizes(Qor32s order) {
    const Qor32s length = 1 << order;
    FftSizes sizes{roundUp32(8 * length + 8), 0, roundUp32(8 * length)};
    if (order >= kFftLargeOrder) {
        qors_getSizesTwd_Large_32f(order, &sizes.spec, &sizes.init, &sizes.buffer);
    }
    sizes.spec += quarterTableSize(order);
    sizes.buffer += kAlignment;
    return sizes;
}

constexpr Qor32s baseTableSize(Qor32s order) {
    return order > kFftFixedTableOrder ? quarterTableSize(order) + kAlignment : 0;
}

FftSizes complexSizes(Qor32s order) {
    if (order <= kCodeletOrder) return {kHeaderSize, 0, 0};
    FftSizes sizes = coreSizes(order);
    sizes.spec += kTabledHeaderSize;
    sizes.init = baseTableSize(order);
    return sizes;
}

FftSizes realSizes(Qor32s order) {
    if (order <= kRealCodeletOrder) return {kHeaderSize, 0, 0};
    FftSizes sizes{0, 0, 0};
    if (order - 1 > kCodeletOrder) sizes = coreSizes(order - 1);
    sizes.spec += 2 * roundUp32(2 << order) + kTabledHeaderSize;
    sizes.init = baseTableSize(order);
    return sizes;
}

constexpr bool isNormFlag(Qor32s flag) {
    return flag == qorFftNormFwd || flag == qorFftNormInv || flag == qorFftNormSqrt ||
           flag == qorFftNormNone;
}

QorStatus getSize(FftSizes (*sizesOf)(Qor32s order), Qor32s order, Qor32s flag, Qor32s* pSpecSize,
                  Qor32s* pInitSize, Qor32s* pBufSize) {
    if (outside(order, 0, kMaxOrderArgument)) return qorStsFftOrderErr;
    if (anyNull(pSpecSize, pInitSize, pBufSize)) return qorStsNullPtrErr;
    if (!isNormFlag(flag)) return qorStsFftFlagErr;
    if (order > kMaxOrder) return qorStsFftOrderErr;
    const FftSizes sizes = sizesOf(order);
    *pSpecSize = sizes.spec;
    *pInitSize = sizes.init;
    *pBufSize = sizes.buffer;
    return qorStsNoErr;
}

// --- construction -------------------------------------------------------------------------------

void setNorm(QorsFFTSpec_32f& spec, Qor32s flag) {
    const Qor32s length = 1 << spec.order;
    spec.scaleFwd = flag == qorFftNormFwd || flag == qorFftNormSqrt;
    spec.scaleInv = flag == qorFftNormInv || flag == qorFftNormSqrt;
    if (flag == qorFftNormSqrt) {
        spec.normFactor = static_cast<Qor32f>(1.0 / std::sqrt(static_cast<Qor64f>(length)));
    } else if (flag != qorFftNormNone) {
        spec.normFactor = 1.0f / static_cast<Qor32f>(length);
    }
}

// Tables of a complex core; returns their end.
Qor8u* initCore(QorsFFTSpec_32f& spec, Qor32s order, const QuarterWave& wave, Qor8u* pMemory) {
    if (order >= kFftLargeOrder) return qors_initTabTwd_Large_32f(&spec, order, wave, pMemory);
    const Qor32s twiddleSize = 8 << order;
    spec.pBitRev = reinterpret_cast<Qor32s*>(pMemory);
    qors_initTabBitRevNorm(order, spec.pBitRev);
    pMemory = alignUp<kAlignment>(pMemory + ((1 << (order - 2)) + 1) * sizeof(Qor32s));
    spec.pTwd = reinterpret_cast<Qor32f*>(pMemory);
    qors_initTabTwd_L1_32f(order, wave, spec.pTwd);
    spec.workSize = roundUp32(twiddleSize);
    return alignUp<kAlignment>(pMemory + twiddleSize);
}

Qor32f* takeTable(Qor8u*& pMemory, Qor32s size) {
    Qor32f* table = reinterpret_cast<Qor32f*>(pMemory);
    pMemory = alignUp<kAlignment>(pMemory + size);
    return table;
}

QorStatus init(QorsFFTSpec_32f** ppSpec, Qor32s id, Qor32s order, Qor32s flag, Qor32s hint,
               Qor8u* pMemSpec, Qor8u* pMemInit) {
    if (ppSpec == nullptr) return qorStsNullPtrErr;
    if (outside(order, 0, kMaxOrder)) return qorStsFftOrderErr;
    if (pMemSpec == nullptr) return qorStsNullPtrErr;
    auto& spec = *reinterpret_cast<QorsFFTSpec_32f*>(alignUp<kAlignment>(pMemSpec));
    std::memset(&spec, 0, sizeof spec);
    if (!isNormFlag(flag)) return qorStsFftFlagErr;
    spec.id = id;
    spec.order = order;
    spec.hint = hint;
    setNorm(spec, flag);
    if (order > kFftFixedTableOrder && pMemInit == nullptr) return qorStsNullPtrErr;

    const bool real = id == kFftId_R_32f;
    const Qor32s coreOrder = real ? order - 1 : order;
    const bool hasTables = order > (real ? kRealCodeletOrder : kCodeletOrder);
    if (hasTables) {
        const Qor32f* base = fft_fix_twiddle_table_32f.data();
        if (order > kFftFixedTableOrder) {
            auto* built = reinterpret_cast<Qor32f*>(alignUp<kAlignment>(pMemInit));
            qors_initTabTwdBase_32f(order, built);
            base = built;
        }
        const QuarterWave wave(base, order > kFftFixedTableOrder ? order : kFftFixedTableOrder);
        Qor8u* pMemory = alignUp<kAlignment>(reinterpret_cast<Qor8u*>(&spec + 1));
        if (coreOrder > kCodeletOrder) pMemory = initCore(spec, coreOrder, wave, pMemory);
        if (real) {
            spec.pRealRec = takeTable(pMemory, 2 << order);
            qors_initTabTwdRealRec_32f(order, wave, spec.pRealRec);
            spec.pCcsRec = takeTable(pMemory, 2 << order);
            qors_initTabTwdCcsRec_32f(order, wave, spec.pCcsRec);
        }
    }
    *ppSpec = &spec;
    return qorStsNoErr;
}

QorStatus getBufSize(const QorsFFTSpec_32f* pSpec, Qor32s id, Qor32s* pSize) {
    if (anyNull(pSpec, pSize)) return qorStsNullPtrErr;
    if (pSpec->id != id) return qorStsContextMatchErr;
    *pSize = pSpec->workSize < 1 ? 0 : pSpec->workSize + kAlignment;
    return qorStsNoErr;
}

// --- transforms ---------------------------------------------------------------------------------

// The scratch of one call: the caller's, brought to the boundary, or a block of its own.
class Scratch {
  public:
    Scratch(Qor8u* pBuffer, Qor32s size) {
        if (size < 1) return;
        if (pBuffer == nullptr) own_ = pBuffer = qorsMalloc_8u(size);
        failed_ = pBuffer == nullptr;
        data_ = alignUp<kAlignment>(pBuffer);
    }
    ~Scratch() {
        if (own_ != nullptr) qorsFree(own_);
    }
    Scratch(const Scratch&) = delete;
    Scratch& operator=(const Scratch&) = delete;

    bool failed() const { return failed_; }
    Qor8u* data() const { return data_; }

  private:
    Qor8u* own_ = nullptr;
    Qor8u* data_ = nullptr;
    bool failed_ = false;
};

Qor32f scaleOf(const QorsFFTSpec_32f& spec, Qor32s scaled) {
    return scaled ? spec.normFactor : 1.0f;
}

enum class Direction { kForward, kInverse };

template <Direction direction>
void transform(const QorsFFTSpec_32f& spec, Qor32s order, const Qor32fc* pSrc, Qor32fc* pDst,
               Qor8u* pScratch) {
    constexpr bool isForward = direction == Direction::kForward;
    const Fft32fKernels& kernels = fft32fKernels();
    const Qor32s scaled = isForward ? spec.scaleFwd : spec.scaleInv;
    const Qor32f scale = scaleOf(spec, scaled);
    const FftCore core{order, spec.pBitRev, spec.pTwd, scale};
    auto* work = reinterpret_cast<Qor32f*>(pScratch);
    if (order <= kCodeletOrder) {
        const auto& plain = isForward ? kernels.tbl_cFFTfwd_small : kernels.tbl_cFFTinv_small;
        const auto& scaling =
            isForward ? kernels.tbl_cFFTfwd_small_scale : kernels.tbl_cFFTinv_small_scale;
        (scaled ? scaling : plain)[order](pSrc, pDst, scale);
    } else if (order <= kFusedOrder) {
        const auto fused =
            isForward ? kernels.qors_cRadix4FwdNorm_32fc : kernels.qors_cRadix4InvNorm_32fc;
        fused(core, pSrc, pDst, work);
    } else if (order < kFftLargeOrder) {
        if (pSrc == pDst) {
            qors_BitRev1_C(pDst, order, spec.pBitRev);
        } else {
            qors_BitRev2_C(pSrc, pDst, order, spec.pBitRev);
        }
        const auto stages = isForward ? kernels.qors_cRadix4Fwd_32fc : kernels.qors_cRadix4Inv_32fc;
        stages(core, pDst, work, kInterleaved);
    } else {
        const auto large = isForward ? qors_cFftFwd_Large_32fc : qors_cFftInv_Large_32fc;
        large(&spec, pSrc, pDst, order, pScratch);
    }
}
constexpr auto forward = transform<Direction::kForward>;
constexpr auto inverse = transform<Direction::kInverse>;

void forwardSplit(const QorsFFTSpec_32f& spec, const Qor32f* pSrcRe, const Qor32f* pSrcIm,
                  Qor32f* pDstRe, Qor32f* pDstIm, Qor8u* pScratch) {
    const Fft32fKernels& kernels = fft32fKernels();
    const Qor32s order = spec.order;
    const Qor32f scale = scaleOf(spec, spec.scaleFwd);
    const FftCore core{order, spec.pBitRev, spec.pTwd, scale};
    auto* work = reinterpret_cast<Qor32f*>(pScratch);
    if (order <= kCodeletOrder) {
        const auto& codelets =
            spec.scaleFwd ? kernels.tbl_crFFTfwd_small_scale : kernels.tbl_crFFTfwd_small;
        codelets[order](pSrcRe, pSrcIm, pDstRe, pDstIm, scale);
    } else if (order <= kFusedOrder) {
        kernels.qors_crRadix4FwdNorm_32f(core, pSrcRe, pSrcIm, pDstRe, pDstIm, work);
    } else if (order < kFftLargeOrder) {
        const auto reverse = [&](const Qor32f* pSrc, Qor32f* pDst) {
            if (pSrc == pDst) {
                qors_BitRev1_S(pDst, order, spec.pBitRev);
            } else {
                qors_BitRev2_S(pSrc, pDst, order, spec.pBitRev);
            }
        };
        reverse(pSrcRe, pDstRe);
        reverse(pSrcIm, pDstIm);
        kernels.qors_crRadix4Fwd_32f(core, pDstRe, pDstIm, work);
    } else {
        qors_crFftFwd_Large_32f(&spec, pSrcRe, pSrcIm, pDstRe, pDstIm, order, pScratch);
    }
}

void forwardReal(const QorsFFTSpec_32f& spec, const Qor32f* pSrc, Qor32f* pDst, Qor8u* pScratch) {
    const Fft32fKernels& kernels = fft32fKernels();
    if (spec.order <= kRealCodeletOrder) {
        const auto& codelets =
            spec.scaleFwd ? kernels.tbl_rFFTfwd_small_scale : kernels.tbl_rFFTfwd_small;
        codelets[spec.order](pSrc, pDst, spec.normFactor);
        return;
    }
    forward(spec, spec.order - 1, reinterpret_cast<const Qor32fc*>(pSrc),
            reinterpret_cast<Qor32fc*>(pDst), pScratch);
    const Qor32f re = pDst[0], im = pDst[1];
    pDst[0] = re + im;
    pDst[1] = re - im;
    kernels.qors_cRealRecombine_32f(pDst, spec.order, spec.pRealRec);
}

void inverseReal(const QorsFFTSpec_32f& spec, const Qor32f* pSrc, Qor32f* pDst, Qor8u* pScratch) {
    const Fft32fKernels& kernels = fft32fKernels();
    if (spec.order <= kRealCodeletOrder) {
        const auto& codelets =
            spec.scaleInv ? kernels.tbl_rFFTinv_small_scale : kernels.tbl_rFFTinv_small;
        codelets[spec.order](pSrc, pDst, spec.normFactor);
        return;
    }
    const Qor32f dc = pSrc[0], nyquist = pSrc[1];
    kernels.qors_cCcsRecombine_32f(pSrc, pDst, spec.order, spec.pCcsRec);
    pDst[0] = dc + nyquist;
    pDst[1] = dc - nyquist;
    inverse(spec, spec.order - 1, reinterpret_cast<Qor32fc*>(pDst),
            reinterpret_cast<Qor32fc*>(pDst), pScratch);
}

void forwardComplex(const QorsFFTSpec_32f& spec, const Qor32fc* pSrc, Qor32fc* pDst,
                    Qor8u* pScratch) {
    forward(spec, spec.order, pSrc, pDst, pScratch);
}
void inverseComplex(const QorsFFTSpec_32f& spec, const Qor32fc* pSrc, Qor32fc* pDst,
                    Qor8u* pScratch) {
    inverse(spec, spec.order, pSrc, pDst, pScratch);
}

// The checks of a transform and its scratch, then the transform.
template <auto run, typename... Data>
QORAC_INLINE QorStatus checkAndRun(Qor32s id, const QorsFFTSpec_32f* pSpec, Qor8u* pBuffer,
                                   Data*... data) {
    if (pSpec == nullptr) return qorStsNullPtrErr;
    if (pSpec->id != id) return qorStsContextMatchErr;
    if (anyNull(data...)) return qorStsNullPtrErr;
    const Scratch scratch(pBuffer, pSpec->workSize);
    if (scratch.failed()) return qorStsMemAllocErr;
    run(*pSpec, data..., scratch.data());
    return qorStsNoErr;
}

}  // namespace

// --- the interface ------------------------------------------------------------------------------

QorStatus qorsFFTGetSize_C_32fc(Qor32s order, Qor32s flag, Qor32s, Qor32s* pSpecSize,
                                Qor32s* pInitSize, Qor32s* pBufSize) {
    return getSize(complexSizes, order, flag, pSpecSize, pInitSize, pBufSize);
}

QorStatus qorsFFTGetSize_C_32f(Qor32s order, Qor32s flag, Qor32s hint, Qor32s* pSpecSize,
                               Qor32s* pInitSize, Qor32s* pBufSize) {
    return qorsFFTGetSize_C_32fc(order, flag, hint, pSpecSize, pInitSize, pBufSize);
}

QorStatus qorsFFTGetSize_R_32f(Qor32s order, Qor32s flag, Qor32s, Qor32s* pSpecSize,
                               Qor32s* pInitSize, Qor32s* pBufSize) {
    return getSize(realSizes, order, flag, pSpecSize, pInitSize, pBufSize);
}

QorStatus qorsFFTInit_C_32fc(QorsFFTSpec_C_32fc** ppSpec, Qor32s order, Qor32s flag, Qor32s hint,
                             Qor8u* pMemSpec, Qor8u* pMemInit) {
    return init(ppSpec, kFftId_C_32fc, order, flag, hint, pMemSpec, pMemInit);
}

QorStatus qorsFFTInit_C_32f(QorsFFTSpec_C_32f** ppSpec, Qor32s order, Qor32s flag, Qor32s hint,
                            Qor8u* pMemSpec, Qor8u* pMemInit) {
    if (ppSpec == nullptr) return qorStsNullPtrErr;
    QorsFFTSpec_C_32fc* spec = nullptr;
    const QorStatus status = qorsFFTInit_C_32fc(&spec, order, flag, hint, pMemSpec, pMemInit);
    if (status != qorStsNoErr) return status;
    spec->id = kFftId_C_32f;
    *ppSpec = spec;
    return qorStsNoErr;
}

QorStatus qorsFFTInit_R_32f(QorsFFTSpec_R_32f** ppSpec, Qor32s order, Qor32s flag, Qor32s hint,
                            Qor8u* pMemSpec, Qor8u* pMemInit) {
    return init(ppSpec, kFftId_R_32f, order, flag, hint, pMemSpec, pMemInit);
}

QorStatus qorsFFTInitAlloc_C_32fc(QorsFFTSpec_C_32fc** ppSpec, Qor32s order, Qor32s flag,
                                  Qor32s hint) {
    if (ppSpec == nullptr) return qorStsNullPtrErr;
    FftSizes sizes;
    QorStatus status =
        qorsFFTGetSize_C_32fc(order, flag, hint, &sizes.spec, &sizes.init, &sizes.buffer);
    if (status != qorStsNoErr) return status;
    Qor8u* pMemSpec = qorsMalloc_8u(sizes.spec);
    if (pMemSpec == nullptr) return qorStsMemAllocErr;
    const Scratch memInit(nullptr, sizes.init);
    if (memInit.failed()) {
        qorsFree(pMemSpec);
        return qorStsMemAllocErr;
    }
    QorsFFTSpec_C_32fc* spec = nullptr;
    status = qorsFFTInit_C_32fc(&spec, order, flag, hint, pMemSpec, memInit.data());
    if (status != qorStsNoErr) {
        qorsFree(pMemSpec);
        return status;
    }
    spec->ownsMemory = 1;
    *ppSpec = spec;
    return qorStsNoErr;
}

QorStatus qorsFFTFree_C_32fc(QorsFFTSpec_C_32fc* pSpec) {
    if (pSpec == nullptr) return qorStsNullPtrErr;
    if (pSpec->id != kFftId_C_32fc) return qorStsContextMatchErr;
    pSpec->id = 0;
    if (pSpec->ownsMemory == 1) qorsFree(pSpec);
    return qorStsNoErr;
}

QorStatus qorsFFTGetBufSize_C_32fc(const QorsFFTSpec_C_32fc* pSpec, Qor32s* pSize) {
    return getBufSize(pSpec, kFftId_C_32fc, pSize);
}

QorStatus qorsFFTGetBufSize_R_32f(const QorsFFTSpec_R_32f* pSpec, Qor32s* pSize) {
    return getBufSize(pSpec, kFftId_R_32f, pSize);
}

QorStatus qorsFFTFwd_CToC_32fc(const Qor32fc* pSrc, Qor32fc* pDst, const QorsFFTSpec_C_32fc* pSpec,
                               Qor8u* pBuffer) {
    return checkAndRun<forwardComplex>(kFftId_C_32fc, pSpec, pBuffer, pSrc, pDst);
}

QorStatus qorsFFTInv_CToC_32fc(const Qor32fc* pSrc, Qor32fc* pDst, const QorsFFTSpec_C_32fc* pSpec,
                               Qor8u* pBuffer) {
    return checkAndRun<inverseComplex>(kFftId_C_32fc, pSpec, pBuffer, pSrc, pDst);
}

QorStatus qorsFFTFwd_CToC_32f(const Qor32f* pSrcRe, const Qor32f* pSrcIm, Qor32f* pDstRe,
                              Qor32f* pDstIm, const QorsFFTSpec_C_32f* pSpec, Qor8u* pBuffer) {
    return checkAndRun<forwardSplit>(kFftId_C_32f, pSpec, pBuffer, pSrcRe, pSrcIm, pDstRe, pDstIm);
}

QorStatus qorsFFTFwd_RToPerm_32f(const Qor32f* pSrc, Qor32f* pDst, const QorsFFTSpec_R_32f* pSpec,
                                 Qor8u* pBuffer) {
    return checkAndRun<forwardReal>(kFftId_R_32f, pSpec, pBuffer, pSrc, pDst);
}

QorStatus qorsFFTInv_PermToR_32f(const Qor32f* pSrc, Qor32f* pDst, const QorsFFTSpec_R_32f* pSpec,
                                 Qor8u* pBuffer) {
    return checkAndRun<inverseReal>(kFftId_R_32f, pSpec, pBuffer, pSrc, pDst);
}

}  // namespace qorac
