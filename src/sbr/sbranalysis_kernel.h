// The float QMF analysis at one instruction level; included by frame/levels.h only.

namespace qmfanalysis {

#include "sbr/sbrqmf32f_lanes.h"

constexpr int kBands = kQmfAnalysisBands;

// --- history and window ------------------------------------------------------------------------

// A vector for each group of the 64 places.
struct Sums {
    V u[vectors(64)];
};

// Takes in the samples of `slots` slots, the first of which goes to `pos`, and sums the five taps
// of each place for each of them. Every slot of samples meets every second row of the window in one
// slot and the other rows in the next, so that slots side by side share most of what they load.
template <int slots>
QORAC_INLINE void takeSlots(const Qor32f* pSrc, const Qor32f* pWindow, Qor32f* pRing, Qor32s pos,
                            Sums (&sums)[slots]) {
    const auto place = [&](int slotsAgo) QORAC_INLINE_BODY {
        const Qor32s at = pos + slotsAgo * kBands;
        return pRing + (at < 0 ? at + kAnalysisRing : at < kAnalysisRing ? at : at - kAnalysisRing);
    };
    unrolled<vectors(kBands)>([&](auto v) QORAC_INLINE_BODY {
        constexpr int at = v * kMaxLanes;
        // The newest slot first; of the samples in the source the latest are the last.
        V z[slots + 9];
        unrolled<slots>([&](auto j) QORAC_INLINE_BODY {
            z[j] = reversedLanes(load<V>(pSrc + (slots - j) * kBands - kMaxLanes - at));
        });
        unrolled<9>([&](auto j) QORAC_INLINE_BODY { z[slots + j] = load<V>(place(j + 1) + at); });
        unrolled<slots>([&](auto j) QORAC_INLINE_BODY { store(place(j + 1 - slots) + at, z[j]); });

        V sum[slots][2] = {};
        unrolled<10>([&](auto row) QORAC_INLINE_BODY {
            const V w = load<V>(pWindow + row * kBands + at);
            unrolled<slots>([&](auto s) QORAC_INLINE_BODY {
                sum[s][row % 2] = mulAdd(w, z[row + slots - 1 - s], sum[s][row % 2]);
            });
        });
        unrolled<slots>([&](auto s) QORAC_INLINE_BODY {
            sums[s].u[v] = sum[s][0];
            sums[s].u[vectors(kBands) + v] = sum[s][1];
        });
    });
}

// --- complex sub-bands --------------------------------------------------------------------------

struct Parts {
    alignas(64) Qor32f re[kBands], im[kBands];
};

// u(64 - j) and u(32 - j), of which u(64) stands for -u(0), turned by the angle of j.
QORAC_INLINE void rotateIn(const V* u, Parts& t) {
    unrolled<vectors(kBands)>([&](auto b) QORAC_INLINE_BODY {
        constexpr int at = b * kMaxLanes;
        const V above = b == 0 ? -u[0] : u[vectors(64) - b];
        const V x = downward(u[vectors(32) - b - 1], u[vectors(32) - b]);
        const V y = downward(u[vectors(64) - b - 1], above);
        const V c = load<V>(tblPreProcCosSinDCT4_64_SIMD.cosine.data() + at);
        const V s = load<V>(tblPreProcCosSinDCT4_64_SIMD.sine.data() + at);
        store(t.re + at, mulAdd(c, y, s * x));
        store(t.im + at, mulSubFrom(c, x, s * y));
    });
}

// Sub-bands of even number from the first half of the transform upwards and of odd number from its
// last half downwards.
template <typename Row>
QORAC_INLINE void rotateOut(const Parts& f, Row row) {
    const Qor32f* const cosine = tblPostProcCosSinDCT4_32_SIMD_2501_6145.cosine.data();
    const Qor32f* const sine = tblPostProcCosSinDCT4_32_SIMD_2501_6145.sine.data();
    for (int q = 0; q < kBands / 2; q += kMaxLanes) {
        const int odd = kBands / 2 + q, mirrored = kBands - kMaxLanes - q;
        const V re = load<V>(f.re + q), im = load<V>(f.im + q);
        const V c = load<V>(cosine + q), s = load<V>(sine + q);
        const V re2 = reversedLanes(load<V>(f.re + mirrored));
        const V im2 = reversedLanes(load<V>(f.im + mirrored));
        const V c2 = load<V>(cosine + odd), s2 = load<V>(sine + odd);
        row.store(2 * q, mulSubFrom(s, im, c * re), mulAdd(s, re, c * im),
                  mulAdd(s2, re2, c2 * im2), mulSubFrom(s2, im2, c2 * re2));
    }
}

// Rows that take the parts of even and of odd sub-bands, from sub-band k on in turn.
struct SplitRow {
    Qor32f* re;
    Qor32f* im;

    QORAC_INLINE void store(int k, V evenRe, V evenIm, V oddRe, V oddIm) const {
        V low, high;
        interleave<1>(evenRe, oddRe, low, high);
        qmfanalysis::store(re + k, low);
        qmfanalysis::store(re + k + kMaxLanes, high);
        interleave<1>(evenIm, oddIm, low, high);
        qmfanalysis::store(im + k, low);
        qmfanalysis::store(im + k + kMaxLanes, high);
    }
    QORAC_INLINE void clear(int from) const {
        for (int k = from; k < kBands; ++k) re[k] = im[k] = 0.0f;
    }
};

struct ComplexRow {
    Qor32fc* row;

    QORAC_INLINE void store(int k, V evenRe, V evenIm, V oddRe, V oddIm) const {
        auto* const p = reinterpret_cast<Qor32f*>(row + k);
        V even[2], odd[2], low, high;
        interleave<1>(evenRe, evenIm, even[0], even[1]);
        interleave<1>(oddRe, oddIm, odd[0], odd[1]);
        unrolled<2>([&](auto i) QORAC_INLINE_BODY {
            interleave<2>(even[i], odd[i], low, high);
            qmfanalysis::store(p + 2 * i * kMaxLanes, low);
            qmfanalysis::store(p + (2 * i + 1) * kMaxLanes, high);
        });
    }
    QORAC_INLINE void clear(int from) const {
        for (int k = from; k < kBands; ++k) row[k] = {0.0f, 0.0f};
    }
};

template <typename Row>
QORAC_INLINE void transform(const V* u, Row row, const QorsFFTSpec_C_32f* pFft, Qor8u* pBuffer) {
    Parts t;
    rotateIn(u, t);
    qorsFFTFwd_CToC_32f(t.re, t.im, t.re, t.im, pFft, pBuffer);
    rotateOut(t, row);
}

// --- real sub-bands -----------------------------------------------------------------------------

struct RealRow {
    Qor32f* row;

    QORAC_INLINE void clear(int from) const {
        for (int k = from; k < kBands; ++k) row[k] = 0.0f;
    }
};

// The 64 values folded about place 48, with the factors that make the orthonormal DCT the plain sum
// times 2. Place 48 itself is met twice.
QORAC_INLINE void transform(const V* u, RealRow row, const QorsDCTInvSpec_32f* pDct,
                            Qor8u* pBuffer) {
    alignas(64) Qor32f y[kBands];
    unrolled<vectors(kBands)>([&](auto b) QORAC_INLINE_BODY {
        constexpr int m = b * kMaxLanes;
        const V mirrored = downward(u[vectors(48) - b - 1], u[vectors(48) - b]);
        const V scale = load<V>(pScaleCoefs.data() + m);
        if constexpr (m < 16) {
            store(y + m, scale * (u[vectors(48) + b] + mirrored));
        } else {
            store(y + m, scale * (mirrored - u[b - vectors(16)]));
        }
    });
    qorsDCTInv_32f(y, row.row, pDct, pBuffer);
}

// --- runs of slots -----------------------------------------------------------------------------

// Slots that are taken together while as many remain.
constexpr int kTogether = 4;

// rowOf(l) is the row of slot l.
template <typename Spec, typename RowOf>
QORAC_INLINE void analyse(const Qor32f* pSrc, const Qor32f* pWindow, Qor32s numLoop, Qor32s kx,
                          QorsFilterSpec_SBR_32f& bank, const Spec* pTransform, Qor8u* pBuffer,
                          RowOf rowOf) {
    const auto analyseSlots = [&](Qor32s first, auto count) QORAC_INLINE_BODY {
        Sums sums[count];
        takeSlots<count>(pSrc + std::ptrdiff_t(first) * kBands, pWindow, bank.pRing, bank.ringPos,
                         sums);
        for (int s = 0; s < count; ++s) {
            const auto row = rowOf(first + s);
            transform(sums[s].u, row, pTransform, pBuffer);
            row.clear(kx);
        }
        bank.ringPos -= count * kBands;
        if (bank.ringPos < 0) bank.ringPos += kAnalysisRing;
    };
    Qor32s l = 0;
    for (; l <= numLoop - kTogether; l += kTogether)
        analyseSlots(l, std::integral_constant<int, kTogether>());
    for (; l < numLoop; ++l) analyseSlots(l, std::integral_constant<int, 1>());
}

}  // namespace qmfanalysis

static void qmfAnalyseToSplit(const Qor32f* pSrc, Qor32f* const* ppDstRe, Qor32f* const* ppDstIm,
                              const Qor32f* pWindow, Qor32s numLoop, Qor32s kx,
                              QorsFilterSpec_SBR_32f* pSpec, Qor8u* pBuffer) {
    qmfanalysis::analyse(pSrc, pWindow, numLoop, kx, *pSpec,
                         static_cast<const QorsFFTSpec_C_32f*>(pSpec->pTransformSpec), pBuffer,
                         [&](Qor32s l) {
                             return qmfanalysis::SplitRow{ppDstRe[l], ppDstIm[l]};
                         });
}

static void qmfAnalyseToComplex(const Qor32f* pSrc, Qor32fc* const* ppDst, const Qor32f* pWindow,
                                Qor32s numLoop, Qor32s kx, QorsFilterSpec_SBR_32f* pSpec,
                                Qor8u* pBuffer) {
    qmfanalysis::analyse(pSrc, pWindow, numLoop, kx, *pSpec,
                         static_cast<const QorsFFTSpec_C_32f*>(pSpec->pTransformSpec), pBuffer,
                         [&](Qor32s l) { return qmfanalysis::ComplexRow{ppDst[l]}; });
}

static void qmfAnalyseToReal(const Qor32f* pSrc, Qor32f* const* ppDst, const Qor32f* pWindow,
                             Qor32s numLoop, Qor32s kx, QorsFilterSpec_SBR_32f* pSpec,
                             Qor8u* pBuffer) {
    qmfanalysis::analyse(pSrc, pWindow, numLoop, kx, *pSpec,
                         static_cast<const QorsDCTInvSpec_32f*>(pSpec->pTransformSpec), pBuffer,
                         [&](Qor32s l) { return qmfanalysis::RealRow{ppDst[l]}; });
}
