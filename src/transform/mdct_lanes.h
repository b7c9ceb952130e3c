// Vectors of the MDCTs at one instruction level; included by their kernel files only.
//
// The complex values i and i' = q - 1 - i go together, several i at a time: the even lanes of a
// vector belong to the values i, i + 1, ..., the odd lanes to their mirrors.

#include "transform/vectors.h"

template <int lanes>
struct EvenOfFirstOddOfSecond {
    static constexpr int at(int i) { return i % 2 ? lanes + i : i; }
};

template <typename V>
static QORAC_INLINE V oddNegated(const V& v) {
    return shuffle<EvenOfFirstOddOfSecond<kLanes<V>>>(v, V(-v));
}

// Twiddles g cos t, g sin t: the cosine of i beside the sine of i', and the sine of i beside the
// cosine of i'. The table holds a run of q numbers of each kind.
template <typename V>
struct Twiddles {
    V cosSin, sinCos;
};

// Two quantities of each pair of values, such as real and imaginary parts.
template <typename V>
struct Pairs {
    V a, b;
};

// Four pieces of a block around its places 3q and q, those before each place and those from it on,
// folded by the symmetries of the cosines to values u + jv: u of i beside v of i', and v of i
// beside u of i'.
template <typename V>
static QORAC_INLINE Pairs<V> fold(const V& before3q, const V& from3q, const V& beforeQ,
                                  const V& fromQ) {
    return {-from3q - reversedLanes(before3q), reversedLanes(beforeQ) - fromQ};
}

// Lanes of the widest vectors of the level; they need q of at least as many.
constexpr int kWideLanes = QORAC_LEVEL >= 4 ? 16 : 8;
