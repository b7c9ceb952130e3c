// QMF banks of spectral band replication (ISO/IEC 14496-3) in 32-bit integers, one time slot per
// call: analysis of 32 samples into 32 bands, synthesis of 64 bands, and downsampled synthesis of
// 32 bands, each with complex bands (high quality) or real ones (low power). Any Q format will do,
// since a bank only applies a gain.
//
// A bank is a window over a ring of ten slots and a modulation, which is a complex FFT between two
// rotations. The arithmetic is part of the result: every product with a Q30 factor keeps its high
// 32 bits only, which divides by 4 and rounds down, and sums wrap.
#include <cstddef>
#include <cstring>

#include "frame/memory.h"
#include "frame/status.h"
#include "qorac.h"
#include "sbr/sbrqmftbl32s.h"
#include "transform/fft32s.h"

namespace qorac {
namespace {

enum class Bank {
    analysisHq,
    analysisLp,
    synthesisHq,
    synthesisLp,
    synthesisDownHq,
    synthesisDownLp
};

constexpr int kSlots = 10;

}  // namespace
}  // namespace qorac

#define QORAC_KERNEL "sbr/sbrqmf32s_kernel.h"
#include "frame/levels.h"

// The block of a spec: this record at the first multiple of 16 bytes, the delay line, the ring.
struct QorsFilterSpec_SBR_32s {
    struct DelayLine {
        Qor32s* pRing;
        Qor32s ringPos;  // the newest slot
    };

    Qor32u id;
    DelayLine* pState;
    Qor32s ownsMemory;
};

namespace qorac {

QORAC_BIND(void, filter, (Bank bank, const Qor32s* pSrc, Qor32s* pDst, Qor32s* pRing, int newest),
           (bank, pSrc, pDst, pRing, newest))

namespace {

using Spec = QorsFilterSpec_SBR_32s;

// --- what the banks differ in -----------------------------------------------------------------

struct Description {
    Qor32u id;
    Qor32u alsoTaken;  // a spec that the filter takes like its own
    int slot;          // ring elements
};

// A downsampled filter also runs in a spec for 64 bands, of which it uses the first half of the
// ring; the samples in it are then no history. Only the analysis has a limit of bands, kx.
constexpr Description kDescriptions[] = {
    {0x434D4161, 0x434D4161, 32},   // analysisHq
    {0x434D4162, 0x434D4162, 32},   // analysisLp
    {0x434D4163, 0x434D4163, 128},  // synthesisHq
    {0x434D4164, 0x434D4164, 128},  // synthesisLp
    {0x434D4165, 0x434D4163, 64},   // synthesisDownHq
    {0x434D4166, 0x434D4164, 64},   // synthesisDownLp
};

constexpr const Description& description(Bank bank) { return kDescriptions[int(bank)]; }

// --- spec -------------------------------------------------------------------------------------

constexpr int kAlignment = 16;
constexpr int kDelayLineOffset = 32;
constexpr int kRingOffset = kDelayLineOffset + int(sizeof(Spec::DelayLine));
static_assert(sizeof(Spec) <= kDelayLineOffset);

constexpr std::size_t ringBytes(Bank bank) {
    return sizeof(Qor32s) * std::size_t(kSlots * description(bank).slot);
}

QorStatus getSize(Bank bank, Qor32s* pSize) {
    if (!pSize) return qorStsNullPtrErr;
    *pSize = kRingOffset + Qor32s(ringBytes(bank)) + kAlignment - 1;
    return qorStsNoErr;
}

QorStatus init(Bank bank, Spec* pBlock, Qor32s ownsMemory = 0) {
    if (!pBlock) return qorStsNullPtrErr;
    Spec* pSpec = alignUp<kAlignment>(pBlock);
    Qor8u* start = reinterpret_cast<Qor8u*>(pSpec);
    pSpec->id = description(bank).id;
    pSpec->pState = reinterpret_cast<Spec::DelayLine*>(start + kDelayLineOffset);
    pSpec->ownsMemory = ownsMemory;
    pSpec->pState->pRing = reinterpret_cast<Qor32s*>(start + kRingOffset);
    pSpec->pState->ringPos = 0;
    std::memset(pSpec->pState->pRing, 0, ringBytes(bank));
    return qorStsNoErr;
}

// The allocation must succeed.
QorStatus initAlloc(Bank bank, Spec** ppSpec) {
    if (!ppSpec) return qorStsNullPtrErr;
    Qor32s size;
    getSize(bank, &size);
    *ppSpec = reinterpret_cast<Spec*>(qorsMalloc_8u(size));
    return init(bank, *ppSpec, 1);
}

QorStatus release(Bank bank, Spec* pBlock) {
    if (!pBlock) return qorStsNullPtrErr;
    const Spec* pSpec = alignUp<kAlignment>(pBlock);
    if (pSpec->id != description(bank).id) return qorStsContextMatchErr;
    if (pSpec->ownsMemory == 1) qorsFree(pBlock);
    return qorStsNoErr;
}

// --- one slot ---------------------------------------------------------------------------------

bool takes(Bank bank, const Spec* pSpec) {
    return pSpec->id == description(bank).id || pSpec->id == description(bank).alsoTaken;
}

QORAC_INLINE Qor32s* numbers(Qor32s* p) { return p; }
QORAC_INLINE Qor32s* numbers(Qor32sc* p) { return &p->re; }
QORAC_INLINE const Qor32s* numbers(const Qor32s* p) { return p; }
QORAC_INLINE const Qor32s* numbers(const Qor32sc* p) { return &p->re; }

template <typename In, typename Out>
void runSlot(Bank bank, const In* pSrc, Out* pDst, Spec* pSpec) {
    Spec::DelayLine& line = *pSpec->pState;
    line.ringPos = line.ringPos == 0 ? kSlots - 1 : line.ringPos - 1;
    filter(bank, numbers(pSrc), numbers(pDst), line.pRing, line.ringPos);
}

template <typename Band>
QorStatus analyse(Bank bank, const Qor32s* pSrc, Band* pDst, Qor32s kx, Spec* pBlock) {
    if (anyNull(pSrc, pDst, pBlock)) return qorStsNullPtrErr;
    Spec* pSpec = alignUp<kAlignment>(pBlock);
    if (!takes(bank, pSpec)) return qorStsContextMatchErr;
    if (outside(kx, 0, 32)) return qorStsSizeErr;
    runSlot(bank, pSrc, pDst, pSpec);
    std::memset(pDst + kx, 0, sizeof(Band) * std::size_t(32 - kx));
    return qorStsNoErr;
}

template <typename Band>
QorStatus synthesize(Bank bank, const Band* pSrc, Qor32s* pDst, Spec* pBlock) {
    if (anyNull(pSrc, pDst, pBlock)) return qorStsNullPtrErr;
    Spec* pSpec = alignUp<kAlignment>(pBlock);
    if (!takes(bank, pSpec)) return qorStsContextMatchErr;
    runSlot(bank, pSrc, pDst, pSpec);
    return qorStsNoErr;
}

}  // namespace
}  // namespace qorac

using namespace qorac;

QorStatus qorsAnalysisFilterGetSize_SBRHQ_32s32sc(Qor32s* pSize) {
    return getSize(Bank::analysisHq, pSize);
}
QorStatus qorsAnalysisFilterGetSize_SBRLP_32s(Qor32s* pSize) {
    return getSize(Bank::analysisLp, pSize);
}
QorStatus qorsSynthesisFilterGetSize_SBRHQ_32sc32s(Qor32s* pSize) {
    return getSize(Bank::synthesisHq, pSize);
}
QorStatus qorsSynthesisFilterGetSize_SBRLP_32s(Qor32s* pSize) {
    return getSize(Bank::synthesisLp, pSize);
}
QorStatus qorsSynthesisDownFilterGetSize_SBRHQ_32sc32s(Qor32s* pSize) {
    return getSize(Bank::synthesisDownHq, pSize);
}
QorStatus qorsSynthesisDownFilterGetSize_SBRLP_32s(Qor32s* pSize) {
    return getSize(Bank::synthesisDownLp, pSize);
}

QorStatus qorsAnalysisFilterInit_SBRHQ_32s32sc(QorsFilterSpec_SBR_32s* pSpec) {
    return init(Bank::analysisHq, pSpec);
}
QorStatus qorsAnalysisFilterInit_SBRLP_32s(QorsFilterSpec_SBR_32s* pSpec) {
    return init(Bank::analysisLp, pSpec);
}
QorStatus qorsSynthesisFilterInit_SBRHQ_32sc32s(QorsFilterSpec_SBR_32s* pSpec) {
    return init(Bank::synthesisHq, pSpec);
}
QorStatus qorsSynthesisFilterInit_SBRLP_32s(QorsFilterSpec_SBR_32s* pSpec) {
    return init(Bank::synthesisLp, pSpec);
}
QorStatus qorsSynthesisDownFilterInit_SBRHQ_32sc32s(QorsFilterSpec_SBR_32s* pSpec) {
    return init(Bank::synthesisDownHq, pSpec);
}
QorStatus qorsSynthesisDownFilterInit_SBRLP_32s(QorsFilterSpec_SBR_32s* pSpec) {
    return init(Bank::synthesisDownLp, pSpec);
}

QorStatus qorsAnalysisFilterInitAlloc_SBRHQ_32s32sc(QorsFilterSpec_SBR_32s** ppSpec) {
    return initAlloc(Bank::analysisHq, ppSpec);
}
QorStatus qorsAnalysisFilterInitAlloc_SBRLP_32s(QorsFilterSpec_SBR_32s** ppSpec) {
    return initAlloc(Bank::analysisLp, ppSpec);
}
QorStatus qorsSynthesisFilterInitAlloc_SBRHQ_32sc32s(QorsFilterSpec_SBR_32s** ppSpec) {
    return initAlloc(Bank::synthesisHq, ppSpec);
}
QorStatus qorsSynthesisFilterInitAlloc_SBRLP_32s(QorsFilterSpec_SBR_32s** ppSpec) {
    return initAlloc(Bank::synthesisLp, ppSpec);
}
QorStatus qorsSynthesisDownFilterInitAlloc_SBRHQ_32sc32s(QorsFilterSpec_SBR_32s** ppSpec) {
    return initAlloc(Bank::synthesisDownHq, ppSpec);
}
QorStatus qorsSynthesisDownFilterInitAlloc_SBRLP_32s(QorsFilterSpec_SBR_32s** ppSpec) {
    return initAlloc(Bank::synthesisDownLp, ppSpec);
}

QorStatus qorsAnalysisFilterFree_SBRHQ_32s32sc(QorsFilterSpec_SBR_32s* pSpec) {
    return release(Bank::analysisHq, pSpec);
}
QorStatus qorsAnalysisFilterFree_SBRLP_32s(QorsFilterSpec_SBR_32s* pSpec) {
    return release(Bank::analysisLp, pSpec);
}
QorStatus qorsSynthesisFilterFree_SBRHQ_32sc32s(QorsFilterSpec_SBR_32s* pSpec) {
    return release(Bank::synthesisHq, pSpec);
}
QorStatus qorsSynthesisFilterFree_SBRLP_32s(QorsFilterSpec_SBR_32s* pSpec) {
    return release(Bank::synthesisLp, pSpec);
}
QorStatus qorsSynthesisDownFilterFree_SBRHQ_32sc32s(QorsFilterSpec_SBR_32s* pSpec) {
    return release(Bank::synthesisDownHq, pSpec);
}
QorStatus qorsSynthesisDownFilterFree_SBRLP_32s(QorsFilterSpec_SBR_32s* pSpec) {
    return release(Bank::synthesisDownLp, pSpec);
}

QorStatus qorsAnalysisFilter_SBRHQ_32s32sc(const Qor32s* pSrc, Qor32sc* pDst, Qor32s kx,
                                           QorsFilterSpec_SBR_32s* pSpec) {
    return analyse(Bank::analysisHq, pSrc, pDst, kx, pSpec);
}
QorStatus qorsAnalysisFilter_SBRLP_32s(const Qor32s* pSrc, Qor32s* pDst, Qor32s kx,
                                       QorsFilterSpec_SBR_32s* pSpec) {
    return analyse(Bank::analysisLp, pSrc, pDst, kx, pSpec);
}
QorStatus qorsSynthesisFilter_SBRHQ_32sc32s(const Qor32sc* pSrc, Qor32s* pDst,
                                            QorsFilterSpec_SBR_32s* pSpec) {
    return synthesize(Bank::synthesisHq, pSrc, pDst, pSpec);
}
QorStatus qorsSynthesisFilter_SBRLP_32s(const Qor32s* pSrc, Qor32s* pDst,
                                        QorsFilterSpec_SBR_32s* pSpec) {
    return synthesize(Bank::synthesisLp, pSrc, pDst, pSpec);
}
QorStatus qorsSynthesisDownFilter_SBRHQ_32sc32s(const Qor32sc* pSrc, Qor32s* pDst,
                                                QorsFilterSpec_SBR_32s* pSpec) {
    return synthesize(Bank::synthesisDownHq, pSrc, pDst, pSpec);
}
QorStatus qorsSynthesisDownFilter_SBRLP_32s(const Qor32s* pSrc, Qor32s* pDst,
                                            QorsFilterSpec_SBR_32s* pSpec) {
    return synthesize(Bank::synthesisDownLp, pSrc, pDst, pSpec);
}
