// Vectors of the MDCTs at one instruction level; included by their kernel files only.
//
// The complex values i and i' = q - 1 - i go together, several i at a time: the even lanes of a
// vector belong to the values i, i + 1, ..., the odd lanes to their mirrors.

template <typename T, int lanes>
using Lanes [[gnu::vector_size(lanes * sizeof(T))]] = T;

template <typename V, typename T>
static QORAC_INLINE V loadLanes(const T* p) {
    V v;
    __builtin_memcpy(&v, p, sizeof v);
    return v;
}
template <typename V, typename T>
static QORAC_INLINE void storeLanes(T* p, const V& v) {
    __builtin_memcpy(p, &v, sizeof v);
}

// The vector whose lane i is element Pattern::at(i) of a followed by b.
template <typename Pattern, typename V, int... lane>
static QORAC_INLINE V shuffleLanes(const V& a, const V& b, std::integer_sequence<int, lane...>) {
    return __builtin_shufflevector(a, b, Pattern::at(lane)...);
}
template <template <int> typename Pattern, typename V>
static QORAC_INLINE V shuffleLanes(const V& a, const V& b) {
    constexpr int lanes = int(sizeof(V) / sizeof(Qor32s));
    return shuffleLanes<Pattern<lanes>>(a, b, std::make_integer_sequence<int, lanes>());
}

template <int lanes>
struct ReversedLanes {
    static constexpr int at(int i) { return lanes - 1 - i; }
};
template <int lanes>
struct EvenOfFirstOddOfSecond {
    static constexpr int at(int i) { return i % 2 ? lanes + i : i; }
};

template <typename V>
static QORAC_INLINE V reversed(const V& v) {
    return shuffleLanes<ReversedLanes>(v, v);
}
template <typename V>
static QORAC_INLINE V oddNegated(const V& v) {
    return shuffleLanes<EvenOfFirstOddOfSecond>(v, V(-v));
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
    return {-from3q - reversed(before3q), reversed(beforeQ) - fromQ};
}

// Lanes of the widest vectors of the level; they need q of at least as many.
constexpr int kWideLanes = QORAC_LEVEL >= 4 ? 16 : 8;
