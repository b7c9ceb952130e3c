// Frequency-domain prediction of the AAC Main profile (ISO/IEC 13818-7, clause "Prediction"): a
// backward-adaptive lattice of second order for each spectral line, in 32-bit floats.
//
// After each update the six state variables of a line keep the upper 16 bits of their floats, and
// the estimate is rounded to as many: encoder and decoder compute the same bits whatever machine
// they run on. So each sum and each product is rounded on its own, and none may be fused.
#include <algorithm>
#include <bit>

#include "frame/constmath.h"
#include "frame/memory.h"
#include "frame/status.h"
#include "qorac.h"

// Each array begins at a multiple of 32 bytes from the one before it.
struct QorsFDPState_32f {
    Qor32f *cor1, *cor2;  // correlations of the two stages
    Qor32f *var1, *var2;  // energies
    Qor32f *r1, *r2;      // delayed values of the stages
    Qor32s len;
    Qor32s id;
    Qor32s ownsMemory;  // 1: made by InitAlloc
};

namespace qorac {
namespace {

constexpr Qor32s kId = 59;
constexpr int kAlignment = 32;
constexpr Qor32f kAdaptation = 0.90625f;    // a = 29/32
constexpr Qor32f kAttenuation = 0.953125f;  // b = 61/64
constexpr Qor32s kLineBytes = 24;
constexpr Qor32s kHeaderBytes = 288;  // with the alignment of all sections
constexpr Qor32s kMaxLen = (0x7FFFFFFF - kHeaderBytes) / kLineBytes;

// --- the reciprocal -----------------------------------------------------------------------------

// b / v for the state's floats: a factor for the 7 bits of the mantissa, rounded to 8 significant
// bits, and one for sign and exponent. Below an energy of 2 and for infinity there is none.
constexpr auto ao_mnt_table = constmath::makeTable<Qor32f, 128>([](int mantissa) {
    const long double quotient = 0.953125L / (1 + mantissa / 128.0L);
    const int fractionBits = quotient >= 0.5L ? 8 : 9;
    return constmath::scale2(
        static_cast<long double>(constmath::round(constmath::scale2(quotient, fractionBits))),
        -fractionBits);
});
constexpr auto ao_exp_table = constmath::makeTable<Qor32f, 256>([](int exponent) {
    return exponent < 128 || exponent == 255 ? 0 : constmath::scale2(1, 127 - exponent);
});

// The first table once more as the upper halves of its floats; the lower ones are 0.
[[maybe_unused]] alignas(64) constexpr auto kMantissaTop16 = constmath::makeTable<Qor16u, 128>(
    [](int mantissa) { return std::bit_cast<Qor32u>(ao_mnt_table[mantissa]) >> 16; });

// The bits of a float that are kept.
constexpr Qor32u kKept = 0xFFFF0000;

// The arrays of a run of lines.
struct Lattice {
    Qor32f *cor1, *cor2, *var1, *var2, *r1, *r2;
};

}  // namespace
}  // namespace qorac

#define QORAC_KERNEL "aac/fdp_kernel.h"
#include "frame/levels.h"

namespace qorac {

QORAC_BIND(void, predictForward, (const Lattice& state, const Qor32f* pSrc, Qor32f* pDst, int len),
           (state, pSrc, pDst, len))
QORAC_BIND(void, predictInverse,
           (const Lattice& state, Qor32f* pSrcDst, const Qor32u* used, int len),
           (state, pSrcDst, used, len))

namespace {

// --- runs of lines and bands --------------------------------------------------------------------

Lattice linesFrom(const QorsFDPState_32f& state, Qor32s line) {
    return {state.cor1 + line, state.cor2 + line, state.var1 + line,
            state.var2 + line, state.r1 + line,   state.r2 + line};
}

// Narrow bands of either kind share vectors: the lines are predicted in runs across bands.
void predictBands(const QorsFDPState_32f& state, Qor32f* pSrcDst, const Qor32s* pBandOffset,
                  Qor32s numBands, const Qor8u* pPredictionUsed) {
    constexpr Qor32s kMost = 1024;
    Qor32u used[kMost];
    Qor32s begin = pBandOffset[0], count = 0;
    const auto predictRun = [&] {
        predictInverse(linesFrom(state, begin), pSrcDst + begin, used, count);
        begin += count;
        count = 0;
    };
    for (Qor32s b = 0; b < numBands; ++b) {
        if (pBandOffset[b] != begin + count) {  // a band that does not join the one before
            predictRun();
            begin = pBandOffset[b];
        }
        for (Qor32s rest = pBandOffset[b + 1] - pBandOffset[b]; rest > 0;) {
            const Qor32s fitting = std::min(rest, kMost - count);
            std::fill_n(used + count, fitting, pPredictionUsed[b] ? ~0u : 0u);
            rest -= fitting;
            count += fitting;
            if (count == kMost) predictRun();
        }
    }
    predictRun();
}

// --- the state ----------------------------------------------------------------------------------

// The state in a block of memory. Every function looks for it, so that the address of the block
// stands for it as well.
QorsFDPState_32f& stateAt(void* memory) {
    return *reinterpret_cast<QorsFDPState_32f*>(alignUp<kAlignment>(static_cast<Qor8u*>(memory)));
}

void resetLines(QorsFDPState_32f& state, Qor32s begin, Qor32s end, Qor32s step = 1) {
    for (Qor64s line = begin; line < end; line += step) {
        state.cor1[line] = state.cor2[line] = state.r1[line] = state.r2[line] = 0;
        state.var1[line] = state.var2[line] = 1;
    }
}

}  // namespace
}  // namespace qorac

using namespace qorac;

QorStatus qorsFDPGetSize_32f(Qor32s len, Qor32s* pSize) {
    if (!pSize) return qorStsNullPtrErr;
    if (outside(len, 1, kMaxLen)) return qorStsSizeErr;
    *pSize = len * kLineBytes + kHeaderBytes;
    return qorStsNoErr;
}

QorStatus qorsFDPInit_32f(QorsFDPState_32f** ppState, Qor32s len, Qor8u* pMem) {
    if (anyNull(ppState, pMem)) return qorStsNullPtrErr;
    if (outside(len, 1, kMaxLen)) return qorStsSizeErr;
    QorsFDPState_32f* const state = &stateAt(pMem);
    auto* array = reinterpret_cast<Qor32f*>(alignUp<kAlignment>(state + 1));
    for (auto member : {&QorsFDPState_32f::cor1, &QorsFDPState_32f::cor2, &QorsFDPState_32f::var1,
                        &QorsFDPState_32f::var2, &QorsFDPState_32f::r1, &QorsFDPState_32f::r2}) {
        state->*member = array;
        array = alignUp<kAlignment>(array + len);
    }
    state->len = len;
    state->id = kId;
    state->ownsMemory = 0;
    resetLines(*state, 0, len);
    *ppState = state;
    return qorStsNoErr;
}

QorStatus qorsFDPInitAlloc_32f(QorsFDPState_32f** ppState, Qor32s len) {
    if (!ppState) return qorStsNullPtrErr;
    Qor32s size;
    if (const QorStatus status = qorsFDPGetSize_32f(len, &size)) return status;
    Qor8u* const memory = qorsMalloc_8u(size);
    if (!memory) return qorStsMemAllocErr;
    qorsFDPInit_32f(ppState, len, memory);
    (*ppState)->ownsMemory = 1;
    *ppState = reinterpret_cast<QorsFDPState_32f*>(memory);
    return qorStsNoErr;
}

QorStatus qorsFDPFree_32f(QorsFDPState_32f* pState) {
    if (!pState) return qorStsNullPtrErr;
    QorsFDPState_32f& state = stateAt(pState);
    if (state.id != kId) return qorStsContextMatchErr;
    state.id = 0;
    if (state.ownsMemory) qorsFree(pState);
    return qorStsNoErr;
}

QorStatus qorsFDPReset_32f(QorsFDPState_32f* pState) {
    if (!pState) return qorStsNullPtrErr;
    QorsFDPState_32f& state = stateAt(pState);
    if (state.id != kId) return qorStsContextMatchErr;
    resetLines(state, 0, state.len);
    return qorStsNoErr;
}

QorStatus qorsFDPResetGroup_32f(Qor32s resetGroupStep, Qor32s startLine, QorsFDPState_32f* pState) {
    if (!pState) return qorStsNullPtrErr;
    if (startLine < 0) return qorStsSizeErr;
    if (resetGroupStep < 1) return qorStsStepErr;
    QorsFDPState_32f& state = stateAt(pState);
    if (state.id != kId) return qorStsContextMatchErr;
    resetLines(state, startLine, state.len, resetGroupStep);
    return qorStsNoErr;
}

QorStatus qorsFDPResetSfb_32f(const Qor32s* pBandOffset, Qor32s numBands, const Qor8u* pResetFlag,
                              QorsFDPState_32f* pState) {
    if (anyNull(pBandOffset, pResetFlag, pState)) return qorStsNullPtrErr;
    if (numBands < 1) return qorStsSizeErr;
    QorsFDPState_32f& state = stateAt(pState);
    if (state.id != kId) return qorStsContextMatchErr;
    for (Qor32s b = 0; b < numBands; ++b)
        if (pResetFlag[b]) resetLines(state, pBandOffset[b], pBandOffset[b + 1]);
    return qorStsNoErr;
}

QorStatus qorsFDPFwd_32f(const Qor32f* pSrc, Qor32f* pDst, QorsFDPState_32f* pState) {
    if (anyNull(pSrc, pDst, pState)) return qorStsNullPtrErr;
    QorsFDPState_32f& state = stateAt(pState);
    if (state.id != kId) return qorStsContextMatchErr;
    predictForward(linesFrom(state, 0), pSrc, pDst, state.len);
    return alignmentStatus(pSrc, pDst);
}

QorStatus qorsFDPInv_32f_I(Qor32f* pSrcDst, const Qor32s* pBandOffset, Qor32s numBands,
                           const Qor8u* pPredictionUsed, QorsFDPState_32f* pState) {
    if (anyNull(pSrcDst, pBandOffset, pPredictionUsed, pState)) return qorStsNullPtrErr;
    if (numBands < 1) return qorStsSizeErr;
    QorsFDPState_32f& state = stateAt(pState);
    if (state.id != kId) return qorStsContextMatchErr;
    predictBands(state, pSrcDst, pBandOffset, numBands, pPredictionUsed);
    return alignmentStatus(pSrcDst);
}
