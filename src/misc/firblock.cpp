// A FIR filter along time over whole blocks of 32-bit floats: each position of a block is filtered
// for itself over the last blocks, all with the same taps.
#include "frame/dispatch.h"
#include "frame/memory.h"
#include "frame/status.h"
#include "frame/vectorkernels.h"

struct QorsFIRBlockState_32f {
    Qor32f* pRows;  // the last tapsLen blocks, rowLen apart
    Qor16s tapsLen;
    Qor16s blockLen;
    Qor16s rowLen;   // blockLen rounded up to a multiple of 4
    Qor16s current;  // the row of the newest block
    Qor32s id;
};

namespace qorac {
namespace {

constexpr Qor32s kFirBlockId = 58;
constexpr Qor32s kMaxTaps = 32767, kMaxBlock = 32764;  // what the record's fields can hold

using Float8 = Qor32f __attribute__((vector_size(32)));

template <typename V>
QORAC_INLINE V load(const Qor32f* p) {
    V v;
    __builtin_memcpy(&v, p, sizeof v);
    return v;
}

// The outputs of `count` vectors, or single positions, side by side. The newest block comes first,
// then the others from the oldest on.
template <typename V, int count>
QORAC_INLINE void filterPositions(const QorsFIRBlockState_32f& state, const Qor32f* pTaps, int i,
                                  Qor32f* pDst) {
    constexpr int lanes = sizeof(V) / sizeof(Qor32f);
    const Qor64s rowLen = state.rowLen;
    V sum[count];
    const auto row = [&](int r) { return state.pRows + r * rowLen + i; };
    for (int c = 0; c < count; ++c) sum[c] = load<V>(row(state.current) + c * lanes) * pTaps[0];
    const Qor32f* pTap = pTaps + state.tapsLen;
    const auto add = [&](int first, int end) QORAC_INLINE_BODY {
        for (int r = first; r < end; ++r) {
            const Qor32f tap = *--pTap;
            for (int c = 0; c < count; ++c) sum[c] += load<V>(row(r) + c * lanes) * tap;
        }
    };
    add(state.current + 1, state.tapsLen);
    add(0, state.current);
    for (int c = 0; c < count; ++c) __builtin_memcpy(pDst + i + c * lanes, &sum[c], sizeof(V));
}

QORAC_CLONES void filterBlock(const QorsFIRBlockState_32f& state, const Qor32f* pTaps,
                              Qor32f* pDst) {
    int i = 0;
    for (; i <= state.blockLen - 32; i += 32) filterPositions<Float8, 4>(state, pTaps, i, pDst);
    for (; i <= state.blockLen - 8; i += 8) filterPositions<Float8, 1>(state, pTaps, i, pDst);
    for (; i < state.blockLen; ++i) filterPositions<Qor32f, 1>(state, pTaps, i, pDst);
}

}  // namespace
}  // namespace qorac

using namespace qorac;

QorStatus qorsFIRBlockInitAlloc_32f(QorsFIRBlockState_32f** ppState, Qor32s tapsLen,
                                    Qor32s blockLen) {
    if (!ppState) return qorStsNullPtrErr;
    if (outside(tapsLen, 1, kMaxTaps) || outside(blockLen, 1, kMaxBlock)) return qorStsFirLenErr;
    const Qor32s rowLen = (blockLen + 3) & ~3;
    auto* const pState =
        reinterpret_cast<QorsFIRBlockState_32f*>(qorsMalloc_8u(sizeof(QorsFIRBlockState_32f)));
    if (!pState) return qorStsMemAllocErr;
    Qor32f* const pRows = qorsMalloc_32f(tapsLen * rowLen);
    if (!pRows) {
        qorsFree(pState);
        return qorStsMemAllocErr;
    }
    qorsZero_32f(pRows, tapsLen * rowLen);
    *pState = {pRows, Qor16s(tapsLen), Qor16s(blockLen), Qor16s(rowLen), 0, kFirBlockId};
    *ppState = pState;
    return qorStsNoErr;
}

QorStatus qorsFIRBlockFree_32f(QorsFIRBlockState_32f* pState) {
    if (!pState) return qorStsNullPtrErr;
    if (pState->id != kFirBlockId) return qorStsContextMatchErr;
    qorsFree(pState->pRows);
    qorsFree(pState);
    return qorStsNoErr;
}

QorStatus qorsFIRBlockOne_32f(const Qor32f* pSrc, Qor32f* pDst, QorsFIRBlockState_32f* pState,
                              const Qor32f* pTaps) {
    if (anyNull(pSrc, pDst, pState, pTaps)) return qorStsNullPtrErr;
    QorsFIRBlockState_32f& state = *pState;
    if (state.id != kFirBlockId) return qorStsContextMatchErr;
    if (state.blockLen < 1 || state.tapsLen < 1) return qorStsFirLenErr;
    if (outside(state.current, 0, state.tapsLen - 1)) return qorStsFirLenErr;
    state.current = Qor16s((state.current + 1) % state.tapsLen);
    qorsCopy_32f(pSrc, state.pRows + Qor64s(state.current) * state.rowLen, state.blockLen);
    filterBlock(state, pTaps, pDst);
    return alignmentStatus(pSrc, pDst, pTaps);
}
