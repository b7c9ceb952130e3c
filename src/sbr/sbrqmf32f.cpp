#include "sbr/sbrqmf32f.h"

#include "frame/vectorkernels.h"
#include "transform/dct.h"
#include "transform/fft32f.h"

namespace qorac {

namespace {

constexpr int kAlignment = 16;
constexpr Qor32s kRecordSize = 64;     // the record, with room to align the ring
constexpr Qor32s kTransformSlack = 4;  // of the init memory and of the scratch
constexpr Qor32s kFftHint = 2, kDctInverseHint = 2, kDctForwardHint = 1;
static_assert(sizeof(QorsFilterSpec_SBR_32f) + 16 <= kRecordSize);

struct Sizes {
    Qor32s spec, init, buffer;
};

Sizes transformSizes(const QmfBank32f& bank) {
    Sizes s{};
    switch (bank.transform) {
        case QmfTransform::splitFft:
            qorsFFTGetSize_C_32f(bank.size, qorFftNormNone, kFftHint, &s.spec, &s.init, &s.buffer);
            break;
        case QmfTransform::complexFft:
            qorsFFTGetSize_C_32fc(bank.size, qorFftNormNone, kFftHint, &s.spec, &s.init, &s.buffer);
            break;
        case QmfTransform::dctForward:
            qorsDCTFwdGetSize_32f(bank.size, kDctForwardHint, &s.spec, &s.init, &s.buffer);
            break;
        case QmfTransform::dctInverse:
            qorsDCTInvGetSize_32f(bank.size, kDctInverseHint, &s.spec, &s.init, &s.buffer);
            break;
    }
    return s;
}

void* initTransform(const QmfBank32f& bank, Qor8u* pMemSpec, Qor8u* pMemInit) {
    QorsFFTSpec_32f* fft = nullptr;
    QorsDCTSpec_32f* dct = nullptr;
    switch (bank.transform) {
        case QmfTransform::splitFft:
            qorsFFTInit_C_32f(&fft, bank.size, qorFftNormNone, kFftHint, pMemSpec, pMemInit);
            return fft;
        case QmfTransform::complexFft:
            qorsFFTInit_C_32fc(&fft, bank.size, qorFftNormNone, kFftHint, pMemSpec, pMemInit);
            return fft;
        case QmfTransform::dctForward:
            qorsDCTFwdInit_32f(&dct, bank.size, kDctForwardHint, pMemSpec, pMemInit);
            return dct;
        case QmfTransform::dctInverse:
            qorsDCTInvInit_32f(&dct, bank.size, kDctInverseHint, pMemSpec, pMemInit);
            return dct;
    }
    return nullptr;
}

// On a cache line where the address of the memory allows it, else on the half of one.
Qor32f* placeRing(QorsFilterSpec_SBR_32f* spec) {
    auto* const room = reinterpret_cast<Qor8u*>(spec + 1);
    Qor8u* const end = reinterpret_cast<Qor8u*>(spec) + kRecordSize;
    Qor8u* const line = alignUp<64>(room);
    return reinterpret_cast<Qor32f*>(line <= end ? line : alignUp<32>(room));
}

}  // namespace

QorStatus getQmfSize(const QmfBank32f& bank, Qor32s* pSpecSize, Qor32s* pInitSize,
                     Qor32s* pBufSize) {
    if (anyNull(pSpecSize, pInitSize, pBufSize)) return qorStsNullPtrErr;
    const Sizes transform = transformSizes(bank);
    const Qor32s ringSize = roundUp16((bank.ringLen + bank.spareLen) * Qor32s(sizeof(Qor32f)));
    *pSpecSize = roundUp16(transform.spec) + kRecordSize + ringSize + kAlignment - 1;
    *pInitSize = transform.init + kTransformSlack;
    *pBufSize = transform.buffer + kTransformSlack;
    return qorStsNoErr;
}

QorStatus initQmf(const QmfBank32f& bank, QorsFilterSpec_SBR_32f** ppSpec, Qor8u* pMemSpec,
                  Qor8u* pMemInit) {
    if (anyNull(ppSpec, pMemSpec, pMemInit)) return qorStsNullPtrErr;
    Qor8u* const pMemory = alignUp<kAlignment>(pMemSpec);
    auto* const spec =
        reinterpret_cast<QorsFilterSpec_SBR_32f*>(pMemory + roundUp16(transformSizes(bank).spec));
    spec->id = bank.id;
    spec->pRing = placeRing(spec);
    spec->ringPos = 0;
    spec->pTransformSpec = initTransform(bank, pMemory, pMemInit);
    qorsZero_32f(spec->pRing, bank.ringLen + bank.spareLen);
    *ppSpec = spec;
    return qorStsNoErr;
}

}  // namespace qorac
