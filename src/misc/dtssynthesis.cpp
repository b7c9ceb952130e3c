// The 32-band interpolation filter bank of the DTS coherent acoustics core (ETSI TS 102 114) in
// 32-bit floats: one sample of each sub-band in, 32 samples of the signal out.
//
// The cosine modulation
//
//   H(k)      = 1/4 sum over n of s(n) cos((2n + 1)(2k + 1) pi/128 + c(n))
//   H(16 + k) = 1/4 sum over n of s(n) cos((2n + 1)(2k + 1) pi/128 - c(n)),  k from 0 to 15
//
// with c(n) = pi/4 for even n and -pi/4 for odd n is a DCT-III of the sums of sub-bands 2k - 1 and
// 2k and a DCT-IV of those of 2k and 2k + 1, each of 16 points. The window then weights the
// modulated vectors of the last 16 calls.
#include "misc/dtssynthesis.h"

#include <algorithm>

#include "frame/constmath.h"
#include "frame/memory.h"
#include "frame/status.h"
#include "frame/vectorkernels.h"
#include "misc/dtswindows.h"
#include "transform/dct.h"
#include "transform/fft32f.h"

// The specs of a DCT of 16 points and an FFT of 8, which the modulation can be made of, and their
// scratch belong to the layout; the filter reads neither them nor the position.
struct QorsFilterSpec_DTS_32f {
    Qor32u id;
    Qor32s position;  // 15
    Qor32s ownsMemory;
    qorac::QorsDCTInvSpec_32f* pDctSpec;
    qorac::QorsFFTSpec_C_32fc* pFftSpec;
    Qor8u* pBuffer;
    Qor32f* pHist;  // modulated vectors of 32 values, newest first
    Qor32f* pAcc;   // the first part of 32 samples to come, and 32 places to build the next in
};

namespace qorac {
namespace {

// --- tables -----------------------------------------------------------------------------------

constexpr int kHalf = 16, kBands = 32, kHistory = 16 * kBands, kGroup = 64;

consteval std::array<Qor32f, kHistory> window(const Qor32s (&taps)[kHistory]) {
    std::array<Qor32f, kHistory> r{};
    for (int n = 0; n < kHistory; ++n) {
        const int start = n / kBands * kBands, i = n % kBands;
        r[start + (i < kHalf ? i : 47 - i)] = Qor32f(taps[n] * 1e-9L);
    }
    return r;
}

// The cosine sums of both transforms with the factor sqrt(1/8): row m holds cos(pi m (2k + 1) / 32)
// of the DCT-III or cos(pi (2m + 1)(2k + 1) / 64) of the DCT-IV for each k. Whole vectors of k make
// such sums in less time than fast transforms of so few points take.
using CosineRows = std::array<std::array<Qor32f, kHalf>, kHalf>;

template <int shift>
consteval CosineRows cosineRows() {
    CosineRows rows{};
    for (int m = 0; m < kHalf; ++m)
        for (int k = 0; k < kHalf; ++k)
            rows[m][k] = Qor32f(constmath::cosPi((2 * m + shift) * (2 * k + 1), 64) *
                                constmath::sqrt(0.125L));
    return rows;
}

constexpr CosineRows kCosines3 = cosineRows<0>(), kCosines4 = cosineRows<1>();

constexpr auto dts_raCosMod = constmath::makeTable<Qor32f, kBands>([](int k) {
    return k < kHalf ? 1 / (4 * constmath::cosPi(2 * k + 1, 128))
                     : -1 / (4 * constmath::sinPi(2 * (k - kHalf) + 1, 128));
});

}  // namespace

constexpr std::array<Qor32f, kHistory> dts_rcoeff_perfect = window(kDtsPerfectTaps);
constexpr std::array<Qor32f, kHistory> dts_rcoeff_nonperfect = window(kDtsNonPerfectTaps);

}  // namespace qorac

#define QORAC_KERNEL "misc/dtssynthesis_kernel.h"
#include "frame/levels.h"

namespace qorac {
namespace {

QORAC_BIND(void, synthesize,
           (const Qor32f* pSrc, Qor32f* pDst, const Qor32f* r, Qor32f* h, Qor32f* pAcc),
           (pSrc, pDst, r, h, pAcc))

// --- context ----------------------------------------------------------------------------------

constexpr Qor32u kDtsSynthesisId = 0x434D416B;
constexpr int kAlignment = 16, kHeaderSize = 64;
constexpr Qor32s kDctLen = 16, kFftOrder = 3, kHint = 1;
static_assert(sizeof(QorsFilterSpec_DTS_32f) <= kHeaderSize);

struct Sizes {
    Qor32s dctSpec, fftSpec, buffer;
};

Sizes getSizes() {
    Qor32s dct, dctInit, dctBuffer, fft, fftInit, fftBuffer;
    qorsDCTInvGetSize_32f(kDctLen, kHint, &dct, &dctInit, &dctBuffer);
    qorsFFTGetSize_C_32fc(kFftOrder, qorFftNormNone, kHint, &fft, &fftInit, &fftBuffer);
    return {roundUp16(dct), roundUp16(fft), std::max({dctInit, dctBuffer, fftInit, fftBuffer})};
}

Qor32s totalSize(const Sizes& sizes) {
    constexpr Qor32s kFloats = (kHistory + kGroup) * Qor32s(sizeof(Qor32f));
    constexpr Qor32s kSlack = 27;  // room for the alignment
    return kHeaderSize + kFloats + sizes.dctSpec + sizes.fftSpec + sizes.buffer + kSlack;
}

void init(void* pMemory, Qor32s ownsMemory) {
    const Sizes sizes = getSizes();
    Qor8u* pNext = static_cast<Qor8u*>(pMemory);
    const auto take = [&pNext](Qor32s size) {
        Qor8u* const p = pNext;
        pNext += size;
        return p;
    };
    auto& spec = *reinterpret_cast<QorsFilterSpec_DTS_32f*>(take(kHeaderSize));
    spec = {};
    spec.id = kDtsSynthesisId;
    spec.position = 15;
    spec.ownsMemory = ownsMemory;
    spec.pHist = reinterpret_cast<Qor32f*>(take(kHistory * sizeof(Qor32f)));
    spec.pAcc = reinterpret_cast<Qor32f*>(take(kGroup * sizeof(Qor32f)));
    Qor8u* const pDctMemory = take(sizes.dctSpec);
    Qor8u* const pFftMemory = take(sizes.fftSpec);
    spec.pBuffer = pNext;
    qorsZero_32f(spec.pHist, kHistory);
    qorsZero_32f(spec.pAcc, kGroup);
    qorsDCTInvInit_32f(&spec.pDctSpec, kDctLen, kHint, pDctMemory, spec.pBuffer);
    qorsFFTInit_C_32fc(&spec.pFftSpec, kFftOrder, qorFftNormNone, kHint, pFftMemory, spec.pBuffer);
}

}  // namespace
}  // namespace qorac

using namespace qorac;

QorStatus qorsSynthesisFilterGetSize_DTS_32f(Qor32s* pSize) {
    if (!pSize) return qorStsNullPtrErr;
    *pSize = totalSize(getSizes());
    return qorStsNoErr;
}

QorStatus qorsSynthesisFilterInit_DTS_32f(QorsFilterSpec_DTS_32f* pSpec) {
    if (!pSpec) return qorStsNullPtrErr;
    init(alignUp<kAlignment>(pSpec), 0);
    return qorStsNoErr;
}

// The allocation must succeed.
QorStatus qorsSynthesisFilterInitAlloc_DTS_32f(QorsFilterSpec_DTS_32f** ppSpec) {
    if (!ppSpec) return qorStsNullPtrErr;
    auto* const pMemory =
        reinterpret_cast<QorsFilterSpec_DTS_32f*>(qorsMalloc_8u(totalSize(getSizes())));
    init(alignUp<kAlignment>(pMemory), 1);
    *ppSpec = pMemory;
    return qorStsNoErr;
}

QorStatus qorsSynthesisFilterFree_DTS_32f(QorsFilterSpec_DTS_32f* pSpec) {
    if (!pSpec) return qorStsNullPtrErr;
    QorsFilterSpec_DTS_32f* const pAligned = alignUp<kAlignment>(pSpec);
    if (pAligned->id != kDtsSynthesisId) return qorStsContextMatchErr;
    if (pAligned->ownsMemory == 1) qorsFree(pAligned);
    return qorStsNoErr;
}

QorStatus qorsSynthesisFilter_DTS_32f(const Qor32f* pSrc, Qor32f* pDst, Qor32s perfect,
                                      QorsFilterSpec_DTS_32f* pSpec) {
    if (anyNull(pSrc, pDst, pSpec)) return qorStsNullPtrErr;
    if (outside(perfect, 0, 1)) return qorStsBadArgErr;
    const QorsFilterSpec_DTS_32f& spec = *alignUp<kAlignment>(pSpec);
    if (spec.id != kDtsSynthesisId) return qorStsContextMatchErr;
    const auto& window = perfect ? dts_rcoeff_perfect : dts_rcoeff_nonperfect;
    synthesize(pSrc, pDst, window.data(), spec.pHist, spec.pAcc);
    return qorStsNoErr;
}
