// Rotations of the 16-bit MDCT at one instruction level; included by frame/levels.h only.

#include "transform/mdct_lanes.h"

template <int lanes>
using Ints = Lanes<Qor32s, lanes>;

template <int lanes>
static QORAC_INLINE Ints<lanes> loadWidened(const Qor16s* p) {
    return __builtin_convertvector(load<Lanes<Qor16s, lanes>>(p), Ints<lanes>);
}

template <int lanes>
static QORAC_INLINE Twiddles<Ints<lanes>> loadTwiddles(const Qor16s* pTwiddle, Qor32s q, Qor32s i) {
    return {loadWidened<lanes>(pTwiddle + 2 * i), loadWidened<lanes>(pTwiddle + q + 2 * i)};
}

// --- complex values from both ends of an array ------------------------------------------------

// A value is one lane, its real part in the low half.
template <int lanes>
using Ends = Lanes<Qor32s, lanes / 2>;

template <int lanes, int... lane>
static QORAC_INLINE Ints<lanes> joinEnds(const Ends<lanes>& front, const Ends<lanes>& back,
                                         std::integer_sequence<int, lane...>) {
    return __builtin_shufflevector(front, back, (lane % 2 ? lanes - 1 - lane / 2 : lane / 2)...);
}
template <int lanes, int... lane>
static QORAC_INLINE Ends<lanes> frontOf(const Ints<lanes>& pairs,
                                        std::integer_sequence<int, lane...>) {
    return __builtin_shufflevector(pairs, pairs, (2 * lane)...);
}
template <int lanes, int... lane>
static QORAC_INLINE Ends<lanes> backOf(const Ints<lanes>& pairs,
                                       std::integer_sequence<int, lane...>) {
    return __builtin_shufflevector(pairs, pairs, (lanes - 1 - 2 * lane)...);
}

template <int lanes>
static QORAC_INLINE Pairs<Ints<lanes>> loadValues(const Qor16sc* z, Qor32s q, Qor32s i) {
    const auto values =
        joinEnds<lanes>(load<Ends<lanes>>(z + i), load<Ends<lanes>>(z + q - lanes / 2 - i),
                        std::make_integer_sequence<int, lanes>());
    return {values << 16 >> 16, values >> 16};
}
template <int lanes>
static QORAC_INLINE void storeValues(Qor16sc* z, Qor32s q, Qor32s i, const Ints<lanes>& re,
                                     const Ints<lanes>& im) {
    constexpr std::make_integer_sequence<int, lanes / 2> half;
    const Ints<lanes> values = (re & 0xFFFF) | (im << 16);
    store(z + i, frontOf<lanes>(values, half));
    store(z + q - lanes / 2 - i, backOf<lanes>(values, half));
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
        store(y + 2 * i, Ints<lanes>(w.cosSin * a + w.sinCos * turned));
        store(y + 2 * q - lanes - 2 * i,
              reversedLanes(Ints<lanes>(w.sinCos * a - w.cosSin * turned)));
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
