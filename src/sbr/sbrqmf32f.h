// What the float QMF banks of the SBR tool (ISO/IEC 14496-3, clause 4.6.18.4) have in common: the
// record, its place in the caller's memory and the checks of the filters.
//
// The memory of a bank, aligned up to 16 bytes, holds its transform, the record and the ring. A
// caller's spec pointer is the record.
#pragma once

#include <array>
#include <cstddef>

#include "frame/constmath.h"
#include "frame/status.h"
#include "qorac.h"

// The ring is the bank's history, newest slot first: slot n before the newest one starts n slots
// behind ringPos, modulo the length of the ring.
struct QorsFilterSpec_SBR_32f {
    Qor32u id;
    Qor32f* pRing;
    Qor32s ringPos;              // where the next slot goes
    const void* pTransformSpec;  // an FFT or DCT spec
};

namespace qorac {

enum class QmfTransform { splitFft, complexFft, dctForward, dctInverse };

// One bank of the two families.
struct QmfBank32f {
    Qor32u id;
    QmfTransform transform;
    Qor32s size;        // of the transform: order of an FFT, length of a DCT
    Qor32s ringLen;     // floats
    Qor32s spareLen;    // floats behind the ring: part of the size, not used
    bool scratchFirst;  // pBuffer is tested with the context, and kx before the data pointers
};

//   qorStsNullPtrErr        a pointer is null
QorStatus getQmfSize(const QmfBank32f& bank, Qor32s* pSpecSize, Qor32s* pInitSize,
                     Qor32s* pBufSize);
//   qorStsNullPtrErr        a pointer is null
QorStatus initQmf(const QmfBank32f& bank, QorsFilterSpec_SBR_32f** ppSpec, Qor8u* pMemSpec,
                  Qor8u* pMemInit);

// Cosines and sines in the order of use.
template <std::size_t count>
struct Rotations {
    alignas(64) std::array<Qor32f, count> cosine, sine;

    template <typename Cosine, typename Sine>
    consteval Rotations(Cosine cosineOf, Sine sineOf)
        : cosine(constmath::makeTable<Qor32f, count>(cosineOf)),
          sine(constmath::makeTable<Qor32f, count>(sineOf)) {}
};

constexpr Qor32s kQmfAnalysisBands = 32;

// The checks of a filter but for numLoop. A synthesis has no kx: all sub-bands pass.
template <typename... Data>
QorStatus checkQmf(const QmfBank32f& bank, const QorsFilterSpec_SBR_32f* pSpec,
                   const Qor32f* pWindow, const Qor8u* pBuffer, Qor32s kx, const Data*... data) {
    if (anyNull(pSpec, pWindow)) return qorStsNullPtrErr;
    if (bank.scratchFirst && !pBuffer) return qorStsNullPtrErr;
    if (pSpec->id != bank.id) return qorStsContextMatchErr;
    if (bank.scratchFirst && outside(kx, 0, kQmfAnalysisBands)) return qorStsSizeErr;
    if (anyNull(data..., pBuffer)) return qorStsNullPtrErr;
    if (outside(kx, 0, kQmfAnalysisBands)) return qorStsSizeErr;
    return qorStsNoErr;
}

}  // namespace qorac
