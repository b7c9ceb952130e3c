// The float QMF synthesis at one instruction level; included by frame/levels.h only.

namespace qmfsynthesis {

#include "sbr/sbrqmf32f_lanes.h"

// The even elements of a, each before an odd element of b, the last one first. Of sub-bands from
// both ends it makes the pairs X(2r), X(63 - 2r); of such pairs, elements in natural order.
template <int lanes>
struct Zip {
    static constexpr int at(int i) { return i % 2 == 0 ? i : 2 * lanes - i; }
};
template <int lanes>
struct ZipReversed {
    static constexpr int at(int i) { return Zip<lanes>::at(lanes - 1 - i); }
};
template <int lanes>
struct ZipSwapped {
    static constexpr int at(int i) { return Zip<lanes>::at(i ^ 1); }
};
QORAC_INLINE V zip(V a, V b) { return shuffle<Zip<kMaxLanes>>(a, b); }
QORAC_INLINE V zipReversed(V a, V b) { return shuffle<ZipReversed<kMaxLanes>>(a, b); }
QORAC_INLINE V zipSwapped(V a, V b) { return shuffle<ZipSwapped<kMaxLanes>>(a, b); }

// --- sources -----------------------------------------------------------------------------------

// Real and imaginary parts of as many sub-bands as there are lanes.
struct Parts {
    V re, im;
};

struct SplitRows {
    const Qor32f* const* re;
    const Qor32f* const* im;

    QORAC_INLINE Parts load(Qor32s slot, int k) const {
        return {qmfsynthesis::load<V>(re[slot] + k), qmfsynthesis::load<V>(im[slot] + k)};
    }
};

struct ComplexRows {
    const Qor32fc* const* row;

    QORAC_INLINE Parts load(Qor32s slot, int k) const {
        const auto* const p = reinterpret_cast<const Qor32f*>(row[slot] + k);
        const V low = qmfsynthesis::load<V>(p), high = qmfsynthesis::load<V>(p + kMaxLanes);
        return {shuffle<EverySecond<0>>(low, high), shuffle<EverySecond<1>>(low, high)};
    }
};

// --- transforms to a slot of twice as many values as there are sub-bands -------------------------

// Pairs (p, q) as p + jq, turned back by the angles of a table.
QORAC_INLINE V turned(V pairs, V swapped, V cosine, V sine) {
    return mulAdd(swapped, sine, pairs * cosine);
}

// The 64 real parts and the 64 imaginary parts go through a transform of 32 complex values each.
// The first gives the part of the sum that is even about the middle of the slot, the second the odd
// part, with every second sign changed.
template <typename Rows>
QORAC_INLINE void synthesize(Rows rows, Qor32s slot, Qor32f* pSlot, const QorsFFTSpec_C_32fc* pFft,
                             Qor8u* pBuffer) {
    constexpr int count = vectors(64);
    alignas(64) Qor32f even[64], odd[64];
    const auto rotateIn = [&](int at, const Parts& x, const Parts& mirrored) QORAC_INLINE_BODY {
        const V c = load<V>(pTableSynthesisSinCos_32f.cosine.data() + at);
        const V s = load<V>(pTableSynthesisSinCos_32f.sine.data() + at);
        store(even + at, turned(zip(x.re, mirrored.re), zipSwapped(x.re, mirrored.re), c, s));
        store(odd + at, turned(zipSwapped(x.im, mirrored.im), zip(x.im, mirrored.im), c, s));
    };
    unrolled<count / 2>([&](auto b) QORAC_INLINE_BODY {
        constexpr int at = b * kMaxLanes, end = (count - 1 - b) * kMaxLanes;
        const Parts x = rows.load(slot, at), mirrored = rows.load(slot, end);
        rotateIn(at, x, mirrored);
        rotateIn(end, mirrored, x);
    });
    for (Qor32f* part : {even, odd}) {
        auto* const z = reinterpret_cast<Qor32fc*>(part);
        qorsFFTFwd_CToC_32fc(z, z, pFft, pBuffer);
    }
    V sum[count], difference[count];
    unrolled<count>([&](auto b) QORAC_INLINE_BODY {
        constexpr int at = b * kMaxLanes;
        const V c = load<V>(pTableCosSin_HQ_SQMF_32f.cosine.data() + at);
        const V s = load<V>(pTableCosSin_HQ_SQMF_32f.sine.data() + at);
        const V a = load<V>(even + at), d = load<V>(odd + at);
        const V p = turned(a, swapPairs(a), c, s), q = turned(d, swapPairs(d), c, s);
        sum[b] = q + p;
        difference[b] = q - p;
    });
    unrolled<count>([&](auto b) QORAC_INLINE_BODY {
        constexpr int at = b * kMaxLanes, mirrored = count - 1 - b;
        store(pSlot + at, zip(difference[b], sum[mirrored]));
        store(pSlot + 128 - kMaxLanes - at, zipReversed(sum[b], difference[mirrored]));
    });
}

// The 32 sub-bands, turned and followed by zeros, are the spectrum of 64 complex values, of which
// the real parts are kept.
template <typename Rows>
QORAC_INLINE void synthesizeDown(Rows rows, Qor32s slot, Qor32f* pSlot,
                                 const QorsFFTSpec_C_32fc* pFft, Qor8u* pBuffer) {
    alignas(64) Qor32fc z[64];
    auto* const values = reinterpret_cast<Qor32f*>(z);
    unrolled<vectors(32)>([&](auto b) QORAC_INLINE_BODY {
        constexpr int k = b * kMaxLanes;
        const Parts x = rows.load(slot, k);
        const V c = load<V>(_tInSynthesisDown_HQ_32.cosine.data() + k);
        const V s = load<V>(_tInSynthesisDown_HQ_32.sine.data() + k);
        V low, high;
        interleave<1>(mulSubFrom(x.im, s, x.re * c), mulAdd(x.im, c, x.re * s), low, high);
        store(values + 2 * k, low);
        store(values + 2 * k + kMaxLanes, high);
        store(values + 64 + 2 * k, V{});
        store(values + 64 + 2 * k + kMaxLanes, V{});
    });
    qorsFFTInv_CToC_32fc(z, z, pFft, pBuffer);
    unrolled<vectors(64)>([&](auto b) QORAC_INLINE_BODY {
        constexpr int n = b * kMaxLanes;
        const V low = load<V>(values + 2 * n), high = load<V>(values + 2 * n + kMaxLanes);
        const V re = shuffle<EverySecond<0>>(low, high), im = shuffle<EverySecond<1>>(low, high);
        const V c = load<V>(_tExSynthesisDown_HQ_64.cosine.data() + n);
        const V s = load<V>(_tExSynthesisDown_HQ_64.sine.data() + n);
        store(pSlot + n, mulSubFrom(im, s, re * c));
    });
}

// The sums are cosine sums of the sub-bands about the middle of the first half of the slot, and
// their continuation by its symmetries: even about that place, odd about the middle of the second
// half.
template <int bands>
QORAC_INLINE void synthesizeReal(const Qor32f* pRow, Qor32f* pSlot, const QorsDCTFwdSpec_32f* pDct,
                                 Qor8u* pBuffer) {
    constexpr int half = bands / 2, last = vectors(bands) - 1;
    // From the orthonormal DCT to 1/32 of the plain sum: sqrt(bands / 2) / 32, and for element 0,
    // whose norm is another, sqrt(2) more.
    constexpr Qor32f scale = bands == 64 ? 0.17677669f : 0.125f;
    alignas(64) Qor32f y[bands];
    qorsDCTFwd_32f(pRow, y, pDct, pBuffer);
    y[0] *= 1.4142135f;
    V middle[vectors(bands)];
    unrolled<vectors(bands)>([&](auto b) QORAC_INLINE_BODY {
        middle[b] = load<V>(y + b * kMaxLanes) * scale;
        store(pSlot + half + b * kMaxLanes, middle[b]);
    });
    unrolled<vectors(half)>([&](auto b) QORAC_INLINE_BODY {
        constexpr int at = b * kMaxLanes, from = vectors(half) - b;
        store(pSlot + at, downward(middle[from - 1], middle[from]));
        const V from2 = b == 0 ? V{} : middle[last + 1 - b];
        store(pSlot + half + bands + at, -downward(middle[last - b], from2));
    });
}

// --- window and runs of slots -------------------------------------------------------------------

// The sums over ten rows of the window of its products with the history, whose samples for row t
// stand at place(t).
template <int bands, typename Place>
QORAC_INLINE void windowed(const Qor32f* pWindow, Place place, V* sum) {
    // As many sums as registers hold at every level.
    constexpr int atOnce = vectors(bands) < 8 ? vectors(bands) : 8;
    for (int first = 0; first < vectors(bands); first += atOnce) {
        V part[atOnce] = {};
        unrolled<10>([&](auto t) QORAC_INLINE_BODY {
            const Qor32f* const w = pWindow + t * bands + first * kMaxLanes;
            const Qor32f* const z = place(t) + first * kMaxLanes;
            unrolled<atOnce>([&](auto v) QORAC_INLINE_BODY {
                part[v] = mulAdd(load<V>(w + v * kMaxLanes), load<V>(z + v * kMaxLanes), part[v]);
            });
        });
        unrolled<atOnce>([&](auto v) QORAC_INLINE_BODY { sum[first + v] = part[v]; });
    }
}

// transform(l, p) makes the values of slot l at p.
template <int bands, typename Transform>
QORAC_INLINE void synthesizeRun(Qor32f* pDst, const Qor32f* pWindow, Qor32s numLoop,
                                QorsFilterSpec_SBR_32f& bank, Transform transform) {
    constexpr Qor32s slotLen = 2 * bands, ringLen = 10 * slotLen;
    for (Qor32s l = 0; l < numLoop; ++l, pDst += bands) {
        const Qor32s pos = bank.ringPos;
        transform(l, bank.pRing + pos);
        const auto place = [&](int tap) QORAC_INLINE_BODY {
            const Qor32s at = pos + slotLen * tap;
            return bank.pRing + (at < ringLen ? at : at - ringLen) + bands * (tap % 2);
        };
        V sum[vectors(bands)];
        windowed<bands>(pWindow, place, sum);
        unrolled<vectors(bands)>([&](auto v)
                                     QORAC_INLINE_BODY { store(pDst + v * kMaxLanes, sum[v]); });
        bank.ringPos = pos == 0 ? ringLen - slotLen : pos - slotLen;
    }
}

template <typename Rows>
QORAC_INLINE void synthesizeComplex(Rows rows, Qor32f* pDst, const Qor32f* pWindow, Qor32s numLoop,
                                    Qor32s bands, QorsFilterSpec_SBR_32f& bank, Qor8u* pBuffer) {
    const auto* const fft = static_cast<const QorsFFTSpec_C_32fc*>(bank.pTransformSpec);
    if (bands == 64) {
        synthesizeRun<64>(pDst, pWindow, numLoop, bank, [&](Qor32s l, Qor32f* p) QORAC_INLINE_BODY {
            synthesize(rows, l, p, fft, pBuffer);
        });
    } else {
        synthesizeRun<32>(pDst, pWindow, numLoop, bank, [&](Qor32s l, Qor32f* p) QORAC_INLINE_BODY {
            synthesizeDown(rows, l, p, fft, pBuffer);
        });
    }
}

template <int bands>
QORAC_INLINE void synthesizeReal(const Qor32f* const* ppSrc, Qor32f* pDst, const Qor32f* pWindow,
                                 Qor32s numLoop, QorsFilterSpec_SBR_32f& bank, Qor8u* pBuffer) {
    const auto* const dct = static_cast<const QorsDCTFwdSpec_32f*>(bank.pTransformSpec);
    synthesizeRun<bands>(pDst, pWindow, numLoop, bank, [&](Qor32s l, Qor32f* p) QORAC_INLINE_BODY {
        synthesizeReal<bands>(ppSrc[l], p, dct, pBuffer);
    });
}

}  // namespace qmfsynthesis

static void qmfSynthesizeSplit(const Qor32f* const* ppSrcRe, const Qor32f* const* ppSrcIm,
                               Qor32f* pDst, const Qor32f* pWindow, Qor32s numLoop, Qor32s bands,
                               QorsFilterSpec_SBR_32f* pSpec, Qor8u* pBuffer) {
    qmfsynthesis::synthesizeComplex(qmfsynthesis::SplitRows{ppSrcRe, ppSrcIm}, pDst, pWindow,
                                    numLoop, bands, *pSpec, pBuffer);
}

static void qmfSynthesizeComplex(const Qor32fc* const* ppSrc, Qor32f* pDst, const Qor32f* pWindow,
                                 Qor32s numLoop, Qor32s bands, QorsFilterSpec_SBR_32f* pSpec,
                                 Qor8u* pBuffer) {
    qmfsynthesis::synthesizeComplex(qmfsynthesis::ComplexRows{ppSrc}, pDst, pWindow, numLoop, bands,
                                    *pSpec, pBuffer);
}

static void qmfSynthesizeReal(const Qor32f* const* ppSrc, Qor32f* pDst, const Qor32f* pWindow,
                              Qor32s numLoop, Qor32s bands, QorsFilterSpec_SBR_32f* pSpec,
                              Qor8u* pBuffer) {
    if (bands == 64) {
        qmfsynthesis::synthesizeReal<64>(ppSrc, pDst, pWindow, numLoop, *pSpec, pBuffer);
    } else {
        qmfsynthesis::synthesizeReal<32>(ppSrc, pDst, pWindow, numLoop, *pSpec, pBuffer);
    }
}
