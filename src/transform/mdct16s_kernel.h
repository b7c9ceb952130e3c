// Rotations of the 16-bit MDCT at one instruction level; included by frame/levels.h only.

#include "transform/mdct_lanes.h"

template <int lanes>
using Ints = Lanes<Qor32s, lanes>;

template <int lanes>
static QORAC_INLINE Ints<lanes> loadWidened(const Qor16s* p) {
    return __builtin_convertvector(loadLanes<Lanes<Qor16s, lanes>>(p), Ints<lanes>);
}

template <int lanes>
static QORAC_INLINE Twiddles<Ints<lanes>> loadTwiddles(const Qor16s* pTwiddle, Qor32s q, Qor32s i) {
    return {loadWidened<lanes>(pTwiddle + 2 * i), loadWidened<lanes>(pTwiddle + q + 2 * i)};
}

// --- complex values from both ends of an array ------------------------------------------------

// A value is one lane, its real part in the low half. Values i, i + 1, ... stand in the first half
// of a vector, the mirrors of ..., i + 1, i in the second.
template <int lanes>
struct HalvesFromPairs {
    static constexpr int at(int i) { return i < lanes / 2 ? 2 * i : 2 * lanes - 1 - 2 * i; }
};
template <int lanes>
struct PairsFromHalves {
    static constexpr int at(int i) { return i % 2 ? lanes - 1 - i / 2 : i / 2; }
};

template <int lanes>
static QORAC_INLINE Pairs<Ints<lanes>> loadValues(const Qor16sc* z, Qor32s q, Qor32s i) {
    constexpr int half = lanes / 2;
    Qor16sc both[lanes];
    __builtin_memcpy(both, z + i, half * sizeof *z);
    __builtin_memcpy(both + half, z + q - half - i, half * sizeof *z);
    const auto halves = loadLanes<Ints<lanes>>(both);
    const auto values = shuffleLanes<PairsFromHalves>(halves, halves);
    return {values << 16 >> 16, values >> 16};
}
template <int lanes>
static QORAC_INLINE void storeValues(Qor16sc* z, Qor32s q, Qor32s i, const Ints<lanes>& re,
                                     const Ints<lanes>& im) {
    constexpr int half = lanes / 2;
    const Ints<lanes> values = (re & 0xFFFF) | (im << 16);
    const auto halves = shuffleLanes<HalvesFromPairs>(values, values);
    Qor16sc both[lanes];
    storeLanes(both, halves);
    __builtin_memcpy(z + i, both, half * sizeof *z);
    __builtin_memcpy(z + q - half - i, both + half, half * sizeof *z);
}

// --- rotations --------------------------------------------------------------------------------

// The folded block, shifted up by `shift` and rotated by exp(-j t); each part is rounded upward
// from half.
template <int lanes>
static QORAC_INLINE void forwardPre(const Qor16s* x, Qor16sc* z, const Qor16s* pTwiddle, Qor32s q,
                                    int shift) {
    const Qor32s round = 1 << (15 - shift);
    for (Qor32s i = 0; i < q / 2; i += lanes / 2) {
        const auto [uv, vu] = fold(
            loadWidened<lanes>(x + 3 * q - lanes - 2 * i), loadWidened<lanes>(x + 3 * q + 2 * i),
            loadWidened<lanes>(x + q - lanes - 2 * i), loadWidened<lanes>(x + q + 2 * i));
        const auto w = loadTwiddles<lanes>(pTwiddle, q, i);
        const Ints<lanes> re = w.cosSin * uv + w.sinCos * vu;
        const Ints<lanes> im = oddNegated(Ints<lanes>(w.cosSin * vu - w.sinCos * uv));
        storeValues<lanes>(z, q, i, (re + round) >> (16 - shift), (im + round) >> (16 - shift));
    }
}

// The transform's output rotated by exp(-j t), Q14 above it.
template <int lanes>
static QORAC_INLINE void forwardPost(const Qor16sc* z, Qor32s* y, const Qor16s* pTwiddle,
                                     Qor32s q) {
    for (Qor32s i = 0; i < q / 2; i += lanes / 2) {
        const auto [a, b] = loadValues<lanes>(z, q, i);
        const Ints<lanes> turned = oddNegated(b);
        const auto w = loadTwiddles<lanes>(pTwiddle, q, i);
        storeLanes(y + 2 * i, Ints<lanes>(w.cosSin * a + w.sinCos * turned));
        storeLanes(y + 2 * q - lanes - 2 * i,
                   reversed(Ints<lanes>(w.sinCos * a - w.cosSin * turned)));
    }
}

static void ownMDCTFwdPreProc_16s(const Qor16s* x, Qor16sc* z, const Qor16s* pTwiddle, Qor32s q,
                                  int shift) {
    if (q < kWideLanes)
        forwardPre<8>(x, z, pTwiddle, q, shift);
    else
        forwardPre<kWideLanes>(x, z, pTwiddle, q, shift);
}
static void ownMDCTFwdPostProc_16s(const Qor16sc* z, Qor32s* y, const Qor16s* pTwiddle, Qor32s q) {
    if (q < kWideLanes)
        forwardPost<8>(z, y, pTwiddle, q);
    else
        forwardPost<kWideLanes>(z, y, pTwiddle, q);
}
