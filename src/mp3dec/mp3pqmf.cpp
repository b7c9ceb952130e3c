// The 32-band polyphase filter banks of MPEG audio (ISO 11172-3) in 32-bit floats: analysis (Annex
// C.1.3) of samples scaled to 1/32768, synthesis (Annex A, figure A.2) with a gain of 1. A call
// moves 32 samples. The history stands in a ring whose newest place runs downwards, so that nothing
// in it ever moves.
//
// Both transforms have 32 points and cos((2k + 1) m pi / 64) for band k. Band 31 - k has the same
// cosines with a minus sign where m is odd, which halves them to two transforms of 16 points.
#include "frame/constmath.h"
#include "frame/memory.h"
#include "frame/mp3window.h"
#include "frame/status.h"
#include "frame/vectorkernels.h"
#include "qorac.h"

struct QorsFilterSpec_PQMF_MP3_32f {
    Qor32u id;
    Qor32s position;    // 15 down to 0
    Qor32s ownsMemory;  // 1: made by InitAlloc
    Qor32f* pRing;
};

namespace qorac {
namespace {

constexpr Qor32u kAnalysisId = 0x434D4168, kSynthesisId = 0x434D4167;
constexpr int kAlignment = 16;
constexpr Qor32s kSpecBytes = 2107;              // record and ring, and room for their alignment
constexpr int kRingOffset = 32, kRingLen = 512;  // bytes, floats
constexpr int kBands = 32, kHalf = kBands / 2;
constexpr int kTaps = 8;  // of one window row
constexpr int kPositions = 16;

// --- windows ------------------------------------------------------------------------------------

// D(i) * 65536.
constexpr Qor32s window65536(int i) {
    if (i <= 256) return kSynthesisWindow65536[i];
    return i % 64 == 0 ? window65536(512 - i) : -window65536(512 - i);
}

// C as the standard prints it (Table C.1): D / 32 with nine decimals.
constexpr Qor32f analysisWindow(int i) {
    return Qor32f(constmath::round(window65536(i) * 1e9L / (65536 * 32)) / 1e9L);
}
constexpr Qor32f synthesisWindow(int i) { return Qor32f(window65536(i) / 65536.0L); }

// C(r + 64 c) in row r and column c; columns 8 to 14 repeat the first ones, so that eight taps are
// contiguous whichever of them comes first.
struct AnalysisWindow {
    Qor32f row[2 * kBands][2 * kTaps - 1];
};
constexpr AnalysisWindow mp3enc_Ccoef = [] {
    AnalysisWindow w{};
    for (int r = 0; r < 2 * kBands; ++r)
        for (int c = 0; c < 2 * kTaps - 1; ++c) w.row[r][c] = analysisWindow(r + 64 * (c % kTaps));
    return w;
}();

// The window of the synthesis in the order of its loads: the taps of output 16, then for each pair
// of slots D(64 a + j) and D(64 a + 32 - j), j from 0 to 15. The other half of D differs by signs.
struct SynthesisWindow {
    Qor32f centre[kTaps];
    alignas(64) Qor32f rising[kTaps][kHalf];
    alignas(64) Qor32f falling[kTaps][kHalf];
};
constexpr SynthesisWindow dTableW7 = [] {
    SynthesisWindow w{};
    for (int a = 0; a < kTaps; ++a) {
        w.centre[a] = synthesisWindow(48 + 64 * a);
        for (int j = 0; j < kHalf; ++j) {
            w.rising[a][j] = synthesisWindow(64 * a + j);
            w.falling[a][j] = synthesisWindow(64 * a + 32 - j);
        }
    }
    return w;
}();

// --- cosines ------------------------------------------------------------------------------------

struct Matrix {
    alignas(64) Qor32f row[kHalf][kHalf];
};

// cos((2k + 1) m pi / 64) with m = 2n + odd, in row n and column k or the other way round.
constexpr Matrix cosines(int odd, bool bandInRow) {
    Matrix matrix{};
    for (int n = 0; n < kHalf; ++n) {
        for (int k = 0; k < kHalf; ++k) {
            const auto cosine = Qor32f(constmath::cosPi((2 * k + 1) * (2 * n + odd), 64));
            (bandInRow ? matrix.row[k][n] : matrix.row[n][k]) = cosine;
        }
    }
    return matrix;
}
constexpr Matrix kEvenToBands = cosines(0, false), kBandsToEven = cosines(0, true);
constexpr Matrix kOdd = cosines(1, false);  // its own transpose

}  // namespace
}  // namespace qorac

#define QORAC_KERNEL "mp3dec/mp3pqmf_kernel.h"
#include "frame/levels.h"

namespace qorac {

QORAC_BIND(void, analyse, (const Qor32f* pRing, Qor32s position, Qor32f* pDst),
           (pRing, position, pDst))
QORAC_BIND(void, synthesize, (const Qor32f* pRing, Qor32s position, Qor32f* pDst),
           (pRing, position, pDst))
QORAC_BIND(void, _sDCTFwd32_MP3_32f, (const Qor32f* pSrc, Qor32f* pRing, Qor32s position),
           (pSrc, pRing, position))

namespace {

// --- contexts -----------------------------------------------------------------------------------

using Spec = QorsFilterSpec_PQMF_MP3_32f;

Spec* build(Qor8u* pMemory, Qor32u id, Qor32s ownsMemory) {
    Spec* const spec = reinterpret_cast<Spec*>(alignUp<kAlignment>(pMemory));
    Qor32f* const ring = reinterpret_cast<Qor32f*>(reinterpret_cast<Qor8u*>(spec) + kRingOffset);
    *spec = {id, kPositions - 1, ownsMemory, ring};
    qorsZero_32f(ring, kRingLen);
    return spec;
}

QorStatus getSize(Qor32s* pSize) {
    if (!pSize) return qorStsNullPtrErr;
    *pSize = kSpecBytes;
    return qorStsNoErr;
}

QorStatus init(Spec** ppSpec, Qor8u* pMemory, Qor32u id) {
    if (anyNull(ppSpec, pMemory)) return qorStsNullPtrErr;
    *ppSpec = build(pMemory, id, 0);
    return qorStsNoErr;
}

// The allocation must succeed.
QorStatus initAlloc(Spec** ppSpec, Qor32u id) {
    if (!ppSpec) return qorStsNullPtrErr;
    Qor8u* const memory = qorsMalloc_8u(kSpecBytes);
    build(memory, id, 1);
    *ppSpec = reinterpret_cast<Spec*>(memory);
    return qorStsNoErr;
}

QorStatus freeSpec(Spec* pSpec, Qor32u id) {
    if (!pSpec) return qorStsNullPtrErr;
    const Spec* const spec = alignUp<kAlignment>(pSpec);
    if (spec->id != id) return qorStsContextMatchErr;
    if (spec->ownsMemory == 1) qorsFree(pSpec);
    return qorStsNoErr;
}

void advance(Spec* spec) { spec->position = (spec->position + kPositions - 1) % kPositions; }

}  // namespace
}  // namespace qorac

using namespace qorac;

// --- analysis -----------------------------------------------------------------------------------

QorStatus qorsAnalysisFilterGetSize_PQMF_MP3_32f(Qor32s* pSize) { return getSize(pSize); }

QorStatus qorsAnalysisFilterInit_PQMF_MP3_32f(QorsFilterSpec_PQMF_MP3_32f** ppSpec,
                                              Qor8u* pMemory) {
    return init(ppSpec, pMemory, kAnalysisId);
}

QorStatus qorsAnalysisFilterInitAlloc_PQMF_MP3_32f(QorsFilterSpec_PQMF_MP3_32f** ppSpec) {
    return initAlloc(ppSpec, kAnalysisId);
}

QorStatus qorsAnalysisFilterFree_PQMF_MP3_32f(QorsFilterSpec_PQMF_MP3_32f* pSpec) {
    return freeSpec(pSpec, kAnalysisId);
}

QorStatus qorsAnalysisFilter_PQMF_MP3_32f(const Qor32f* pSrcAudio, Qor32f* pDstSubbands,
                                          QorsFilterSpec_PQMF_MP3_32f* pSpec, Qor32s mode) {
    if (anyNull(pSrcAudio, pDstSubbands, pSpec)) return qorStsNullPtrErr;
    if (outside(mode, 1, 2)) return qorStsBadArgErr;
    Spec* const spec = alignUp<kAlignment>(pSpec);
    if (spec->id != kAnalysisId) return qorStsContextMatchErr;

    // 64 rows of 8 columns: the slots of a row's taps are two apart.
    constexpr Qor32f kScale = 1.0f / 32768;
    const int p = spec->position, newest = kBands * (p & 1) + kBands - 1;
    for (int i = 0; i < kBands; ++i)
        spec->pRing[kTaps * (newest - i) + (p >> 1)] = pSrcAudio[i * mode] * kScale;
    analyse(spec->pRing, p, pDstSubbands);
    advance(spec);
    return qorStsNoErr;
}

// --- synthesis ----------------------------------------------------------------------------------

QorStatus qorsSynthesisFilterGetSize_PQMF_MP3_32f(Qor32s* pSize) { return getSize(pSize); }

QorStatus qorsSynthesisFilterInit_PQMF_MP3_32f(QorsFilterSpec_PQMF_MP3_32f** ppSpec,
                                               Qor8u* pMemory) {
    return init(ppSpec, pMemory, kSynthesisId);
}

QorStatus qorsSynthesisFilterInitAlloc_PQMF_MP3_32f(QorsFilterSpec_PQMF_MP3_32f** ppSpec) {
    return initAlloc(ppSpec, kSynthesisId);
}

QorStatus qorsSynthesisFilterFree_PQMF_MP3_32f(QorsFilterSpec_PQMF_MP3_32f* pSpec) {
    return freeSpec(pSpec, kSynthesisId);
}

QorStatus qorsSynthesisFilter_PQMF_MP3_32f(const Qor32f* pSrcSubbands, Qor32f* pDstAudio,
                                           QorsFilterSpec_PQMF_MP3_32f* pSpec, Qor32s mode) {
    if (anyNull(pSrcSubbands, pDstAudio, pSpec)) return qorStsNullPtrErr;
    if (outside(mode, 1, 2)) return qorStsBadArgErr;
    Spec* const spec = alignUp<kAlignment>(pSpec);
    if (spec->id != kSynthesisId) return qorStsContextMatchErr;

    Qor32f samples[kBands + 1];
    _sDCTFwd32_MP3_32f(pSrcSubbands, spec->pRing, spec->position);
    synthesize(spec->pRing, spec->position, samples);
    for (int j = 0; j < kBands; ++j) pDstAudio[j * mode] = samples[j];
    advance(spec);
    return qorStsNoErr;
}
