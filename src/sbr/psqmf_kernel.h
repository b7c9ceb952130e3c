// The hybrid banks in vectors of one instruction level; see frame/levels.h.
//
// A vector holds the complex numbers of successive slots as the memory has them. The numbers that
// multiply them are real: with n = i - 6, the taps n and -n fold into
//
//   s(n) = g(6 - n) (x(6 + n) + x(6 - n)),  e(n) = g(6 - n) (x(6 + n) - x(6 - n)),
//   s(0) = g(6) x(6)
//
// and with theta = 2 pi / Q (q + 1/2), sub-sub-band q is C - j S and Q - 1 - q is C + j S, where
//
//   C = sum of s(n) cos(n theta),  S = sum of e(n) sin(n theta).

namespace hybrid {

#include "transform/fft32f_lanes.h"

using V = Vec<kMaxLanes>;
constexpr int kSlotsPerVector = kMaxLanes / 2;

// --- folding ------------------------------------------------------------------------------------

// s and e of one slot per complex lane. Taps of value 0 are not read.
struct Folded {
    V s[7], e[7];
};

template <const HybridFilter& filter>
QORAC_INLINE Folded fold(const Qor32fc* x) {
    Folded folded{};
    const auto tap = [&](int i) QORAC_INLINE_BODY { return load<V>(x + i); };
    folded.s[0] = filter.g[6] * tap(6);
    for (int n = 1; n <= 6; ++n) {
        if (filter.g[6 - n] == 0.0f) continue;
        const V before = tap(6 - n), behind = tap(6 + n);
        folded.s[n] = filter.g[6 - n] * (behind + before);
        folded.e[n] = filter.g[6 - n] * (behind - before);
    }
    return folded;
}

// --- transforms ---------------------------------------------------------------------------------

// C and S for q from 0 to Q/2 - 1.
template <int Q>
struct Halves {
    V c[Q / 2], s[Q / 2];
};

// Both sums split into the terms that keep and those that change their sign from q to Q/2 - 1 - q.
template <int Q>
QORAC_INLINE void join(Halves<Q>& y, int q, V cKept, V cTurned, V sKept, V sTurned) {
    const int mirror = Q / 2 - 1 - q;
    y.c[q] = cKept + cTurned;
    y.c[mirror] = cKept - cTurned;
    y.s[q] = sKept + sTurned;
    y.s[mirror] = sKept - sTurned;
}

// Tap n = 4 of this bank is 0.
QORAC_INLINE Halves<4> transform4(const Folded& x) {
    const auto &s = x.s, &e = x.e;
    Halves<4> y;
    join<4>(y, 0, s[0], kCos45 * (s[1] - s[3] - s[5]), kCos45 * (e[1] + e[3] - e[5]), e[2] - e[6]);
    return y;
}

// The terms n and 8 - n of a cosine sum differ in sign, those of a sine sum are the same.
QORAC_INLINE Halves<8> transform8(const Folded& x) {
    const auto &s = x.s, &e = x.e;
    const V s2 = kCos45 * (s[2] - s[6]), s3 = s[3] - s[5];
    const V e2 = kCos45 * (e[2] + e[6]), e3 = e[3] + e[5];
    Halves<8> y;
    join<8>(y, 0, s[0] + s2, kCos22 * s[1] + kCos67 * s3, kCos67 * e[1] + kCos22 * e3, e2 + e[4]);
    join<8>(y, 1, s[0] - s2, kCos67 * s[1] - kCos22 * s3, kCos22 * e[1] - kCos67 * e3, e2 - e[4]);
    return y;
}

QORAC_INLINE Halves<12> transform12(const Folded& x) {
    const auto &s = x.s, &e = x.e;
    const V sCentre = s[0] + 0.5f * s[4], sSide = kCos30 * s[2], sCross = kCos45 * s[3];
    const V eCentre = 0.5f * e[2] + e[6], eSide = kCos30 * e[4], eCross = kCos45 * e[3];
    Halves<12> y;
    join<12>(y, 0, sCentre + sSide, kCos15 * s[1] + sCross + kCos75 * s[5],
             kCos75 * e[1] + eCross + kCos15 * e[5], eCentre + eSide);
    join<12>(y, 1, s[0] - s[4], kCos45 * (s[1] - s[3] - s[5]), kCos45 * (e[1] + e[3] - e[5]),
             e[2] - e[6]);
    join<12>(y, 2, sCentre - sSide, kCos75 * s[1] - sCross + kCos15 * s[5],
             kCos15 * e[1] - eCross + kCos75 * e[5], eCentre - eSide);
    return y;
}

// --- rows ---------------------------------------------------------------------------------------

// Complex numbers of even (0) or odd (1) number of a and of b in turn.
template <int lanes, int parity>
struct PairsInTurn {
    static constexpr int at(int i) {
        const int complex = i / 4 * 2 + parity;
        return 2 * complex + i % 2 + (i / 2 % 2 == 1 ? lanes : 0);
    }
};

// -j z: the parts exchanged, and the new imaginary parts negated.
QORAC_INLINE V timesMinusJ(V z) {
    V sign{};
    for (int i = 0; i < kMaxLanes; ++i) sign[i] = i % 2 == 0 ? 1.0f : -1.0f;
    return swapPairs(z) * sign;
}

// Neighbouring sub-sub-bands a and b of the slots in the lanes, to rows of 12.
QORAC_INLINE void storeColumns(Qor32fc* pDst, V a, V b) {
    Qor32f slots[2][kMaxLanes];
    store(slots[0], shuffle<PairsInTurn<kMaxLanes, 0>>(a, b));
    store(slots[1], shuffle<PairsInTurn<kMaxLanes, 1>>(a, b));
    for (int t = 0; t < kSlotsPerVector; ++t)
        __builtin_memcpy(pDst + kHybridRow * t, slots[t % 2] + t / 2 * 4, 2 * sizeof *pDst);
}

template <int Q, const HybridFilter& filter, Halves<Q> (*transform)(const Folded&)>
QORAC_INLINE void analyse(const Qor32fc* pSrc, Qor32fc* pDst) {
    for (int t = 0; t < kHybridSlots; t += kSlotsPerVector) {
        const Halves<Q> half = transform(fold<filter>(pSrc + t));
        V y[Q];
        for (int q = 0; q < Q / 2; ++q) {
            const V turned = timesMinusJ(half.s[q]);
            y[q] = half.c[q] + turned;
            y[Q - 1 - q] = half.c[q] - turned;
        }
        for (int q = 0; q < Q; q += 2) storeColumns(pDst + kHybridRow * t + q, y[q], y[q + 1]);
    }
}

// The bank of two has no phases.
QORAC_INLINE void analyseTwo(const Qor32fc* pSrc, Qor32fc* pDst) {
    for (int t = 0; t < kHybridSlots; t += kSlotsPerVector) {
        const Folded x = fold<kQ2>(pSrc + t);
        const V y = x.s[0] + x.s[1] + x.s[3] + x.s[5];
        storeColumns(pDst + kHybridRow * t, y, load<V>(pSrc + t + 6) - y);
    }
}

}  // namespace hybrid

static void ownAnalysisFilter_Q2_32fc(const Qor32fc* pSrc, Qor32fc* pDst) {
    hybrid::analyseTwo(pSrc, pDst);
}
static void ownAnalysisFilter_Q4_32fc(const Qor32fc* pSrc, Qor32fc* pDst) {
    hybrid::analyse<4, kQ4, hybrid::transform4>(pSrc, pDst);
}
static void ownAnalysisFilter_Q8_32fc(const Qor32fc* pSrc, Qor32fc* pDst, Qor32s second) {
    if (second)
        hybrid::analyse<8, kQ8Second, hybrid::transform8>(pSrc, pDst);
    else
        hybrid::analyse<8, kQ8First, hybrid::transform8>(pSrc, pDst);
}
static void ownAnalysisFilter_Q12_32fc(const Qor32fc* pSrc, Qor32fc* pDst) {
    hybrid::analyse<12, kQ12, hybrid::transform12>(pSrc, pDst);
}
