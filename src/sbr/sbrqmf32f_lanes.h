// Vectors of the float QMF banks at one instruction level; included by their kernel files only.

#include "transform/fft32f_lanes.h"

using V = Vec<kMaxLanes>;

// Vectors of `count` floats.
constexpr int vectors(int count) { return count / kMaxLanes; }

template <int lanes>
struct Reversed {
    static constexpr int at(int i) { return lanes - 1 - i; }
};
template <int lanes>
struct SwappedPairs {
    static constexpr int at(int i) { return i ^ 1; }
};

QORAC_INLINE V reversed(V a) { return shuffle<Reversed<kMaxLanes>>(a, a); }
QORAC_INLINE V swapPairs(V a) { return shuffle<SwappedPairs<kMaxLanes>>(a, a); }

// Element n of two neighbouring vectors, then n - 1 and so on down, n being the first element of
// the second one.
template <int lanes>
struct Downward {
    static constexpr int at(int i) { return lanes - i; }
};
QORAC_INLINE V downward(V before, V from) { return shuffle<Downward<kMaxLanes>>(before, from); }

// Elements n, n + 1, ... of a and b in turn, in two vectors.
template <int unit>
QORAC_INLINE void interleave(V a, V b, V& low, V& high) {
    low = shuffle<Interleave<kMaxLanes, unit, false>>(a, b);
    high = shuffle<Interleave<kMaxLanes, unit, true>>(a, b);
}

// Sums over `taps` rows of the window of its products with the history: vector v of sum holds the
// sums v * kMaxLanes and up. Row t of the window starts at pWindow[t * stride], its samples at
// place(t).
template <int taps, int count, typename Place>
QORAC_INLINE void windowed(const Qor32f* pWindow, int stride, Place place, V* sum) {
    // As many sums as registers hold at every level.
    constexpr int atOnce = vectors(count) < 8 ? vectors(count) : 8;
    for (int first = 0; first < vectors(count); first += atOnce) {
        V part[atOnce] = {};
        unrolled<taps>([&](auto t) QORAC_INLINE_BODY {
            const Qor32f* const w = pWindow + t * stride + first * kMaxLanes;
            const Qor32f* const z = place(t) + first * kMaxLanes;
            unrolled<atOnce>([&](auto v) QORAC_INLINE_BODY {
                part[v] = mulAdd(load<V>(w + v * kMaxLanes), load<V>(z + v * kMaxLanes), part[v]);
            });
        });
        unrolled<atOnce>([&](auto v) QORAC_INLINE_BODY { sum[first + v] = part[v]; });
    }
}
