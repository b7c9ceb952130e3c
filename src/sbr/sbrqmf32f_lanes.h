// Vectors of the float QMF banks at one instruction level; included by their kernel files only.

#include "transform/fft32f_lanes.h"

using V = Vec<kMaxLanes>;

// Vectors of `count` floats.
constexpr int vectors(int count) { return count / kMaxLanes; }

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
