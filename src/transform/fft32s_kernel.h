// The integer FFT in vectors of complex numbers; compiled once per level by fft32s.cpp.

// --- butterflies ------------------------------------------------------------------------------

// v times sqrt(1/2), v taken times 2.
static QORAC_INLINE Vec8 timesSqrtHalf(Vec8 v) {
    const Vec8 k = broadcast<Vec8>(kSqrtHalf);
    return narrow<32>(mulEven(v << 1, k), mulEven(oddToEven(v << 1), k));
}

// v times sqrt(2) e^(-i pi / 4) and times sqrt(2) e^(-3 i pi / 4).
template <typename V>
static QORAC_INLINE V diagonal45(V v) {
    const V w = swapPairs(v);
    return merge(v + w, v - w);
}
template <typename V>
static QORAC_INLINE V diagonal135(V v) {
    const V w = swapPairs(v);
    return merge(w - v, -(v + w));
}

// v (c - i s) with w = (c, s).
template <typename V>
static QORAC_INLINE V twiddled(V v, V w) {
    const auto highHalves = [](auto re, auto im) { return narrow<32>(re, im); };
    return rotate(v, oddToEven(v), w, highHalves);
}

// Which of the butterflies in a vector are at the offsets 0, which multiplies nothing, and n/8.
enum class Special { none, first, middle, both, eighth };

// The butterflies at the offsets of one vector of a block of n points. `eighth`: the first
// butterfly of the vector has the offset n/8.
template <int n, Special special, typename V>
static QORAC_INLINE void butterflies(const Qor32s* z, Qor32s* out, int lane) {
    constexpr int quarter = n / 2;  // in 32-bit elements
    const Qor32s* p = z + lane;
    const V z0 = load<V>(p), z1 = load<V>(p + quarter);
    const V z2 = load<V>(p + 2 * quarter), z3 = load<V>(p + 3 * quarter);
    Qor32s* q = out + lane;
    store(q, z0 + z2);
    store(q + quarter, z1 + z3);
    const V d = z0 - z2, e = swapPairs(z1 - z3);
    const V minus = merge(d + e, d - e);  // d - i (z1 - z3)
    const V plus = merge(d - e, d + e);   // d + i (z1 - z3)
    V v = minus << 2, w = plus << 2;
    if constexpr (special == Special::both) {
        v = middlePair(diagonal45(minus) << 1, v);
        w = middlePair(diagonal135(plus) << 1, w);
    }
    if constexpr (special == Special::eighth) {
        v = firstPair(diagonal45(minus) << 1, v);
        w = firstPair(diagonal135(plus) << 1, w);
    }
    V a = twiddled(v, load<V>(kTwiddles<n>.single + lane));
    V b = twiddled(w, load<V>(kTwiddles<n>.triple + lane));
    if constexpr (special == Special::first || special == Special::both) {
        a = firstPair(minus, a);
        b = firstPair(plus, b);
    }
    store(q + 2 * quarter, a);
    store(q + 3 * quarter, b);
}

// All butterflies of a block of n points, 16 or more.
template <int n>
static QORAC_INLINE void stage(const Qor32s* z, Qor32s* out) {
    using V = std::conditional_t<(n / 2 >= kLanes<Vec>), Vec, Vec8>;
    constexpr int quarter = n / 2, step = kLanes<V>;
    if constexpr (quarter == step) {
        butterflies<n, Special::both, V>(z, out, 0);
    } else {
        butterflies<n, Special::first, V>(z, out, 0);
        for (int i = step; i < quarter / 2; i += step) butterflies<n, Special::none, V>(z, out, i);
        butterflies<n, Special::eighth, V>(z, out, quarter / 2);
        for (int i = quarter / 2 + step; i < quarter; i += step)
            butterflies<n, Special::none, V>(z, out, i);
    }
}

// --- the tree down to groups of 8 points ------------------------------------------------------

template <int n>
static QORAC_INLINE void smallBlock(Qor32s* z) {
    if constexpr (n > 8) {
        stage<n>(z, z);
        smallBlock<n / 2>(z);
        smallBlock<n / 4>(z + n);
        smallBlock<n / 4>(z + n / 2 * 3);
    }
}

// A block of n points from z on in `out`.
template <int n>
static void ownssplitcore_32sc_AAC(const Qor32s* z, Qor32s* out) {
    stage<n>(z, out);
    if constexpr (n <= 32) {
        smallBlock<n / 2>(out);
        smallBlock<n / 4>(out + n);
        smallBlock<n / 4>(out + n / 2 * 3);
    } else {
        ownssplitcore_32sc_AAC<n / 2>(out, out);
        ownssplitcore_32sc_AAC<n / 4>(out + n, out + n);
        ownssplitcore_32sc_AAC<n / 4>(out + n / 2 * 3, out + n / 2 * 3);
    }
}

// --- the groups, and the reversal -------------------------------------------------------------

// A 4 by 4 tile of numbers.
struct Tile {
    Vec8 row[4];
};

static QORAC_INLINE Tile loadTransposed(const Qor32s* z, int stride) {
    const Vec8 a = load<Vec8>(z), b = load<Vec8>(z + 2 * stride);
    const Vec8 c = load<Vec8>(z + stride), d = load<Vec8>(z + 3 * stride);
    const Vec8 ab02 = pick<0, 1, 8, 9, 4, 5, 12, 13>(a, b);
    const Vec8 ab13 = pick<2, 3, 10, 11, 6, 7, 14, 15>(a, b);
    const Vec8 cd02 = pick<0, 1, 8, 9, 4, 5, 12, 13>(c, d);
    const Vec8 cd13 = pick<2, 3, 10, 11, 6, 7, 14, 15>(c, d);
    return {{pick<0, 1, 2, 3, 8, 9, 10, 11>(ab02, cd02), pick<0, 1, 2, 3, 8, 9, 10, 11>(ab13, cd13),
             pick<4, 5, 6, 7, 12, 13, 14, 15>(ab02, cd02),
             pick<4, 5, 6, 7, 12, 13, 14, 15>(ab13, cd13)}};
}

// -i v.
static QORAC_INLINE Vec8 timesMinusI(Vec8 v) {
    const Vec8 odd = load<Vec8>(kOddLanes);
    return (swapPairs(v) ^ odd) - odd;
}

// a where the mask is set, b elsewhere.
static QORAC_INLINE Vec8 select(Vec8 mask, Vec8 a, Vec8 b) { return b ^ ((a ^ b) & mask); }

// The groups of 8 numbers, each a block of 8 or two blocks of 4, and the bit reversal of all. The
// index is taken as (high 2 bits, middle, low 3 bits): the four groups of one middle stand side by
// side in the lanes, each number in a row of its own, and row by row goes to its reversed place.
template <int order>
static QORAC_INLINE void ownsbitreverse_32sc_AAC(const Qor32s* work, Qor32s* z) {
    constexpr int stride = (1 << order) / 2;  // a quarter of the data, in 32-bit elements
    for (int middle = 0; middle < 1 << (order - 5); ++middle) {
        const Vec8 whole = load<Vec8>(kWholeGroups<order>.mask[middle]);
        const Tile first = loadTransposed(work + 16 * middle, stride);
        const Tile second = loadTransposed(work + 16 * middle + 8, stride);
        const auto &x = first.row, &y = second.row;
        Qor32s* out = z + 8 * reversed(middle, order - 5);
        const auto put = [out](int eighth, Vec8 v) { store(out + stride / 2 * eighth, v); };
        // The lower 4 numbers: a block of 4, of the sums in a block of 8.
        Vec8 sum[4];
        for (int j = 0; j < 4; ++j) sum[j] = x[j] + (y[j] & whole);
        const Vec8 s0 = sum[0] + sum[2], s1 = sum[1] + sum[3];
        const Vec8 d0 = sum[0] - sum[2], d1 = timesMinusI(sum[1] - sum[3]);
        put(0, s0 + s1);
        put(4, s0 - s1);
        put(2, d0 + d1);
        put(6, d0 - d1);
        // The upper 4: a block of 4, or the butterflies of a block of 8 and two blocks of 2.
        const auto upper = [&](int j, Vec8 whole8) { return select(whole, whole8, y[j]); };
        const Vec8 p0 = upper(0, x[0] - y[0]), q0 = upper(2, timesMinusI(x[2] - y[2]));
        const Vec8 p1 = upper(1, x[1] - y[1]), q1 = upper(3, timesMinusI(x[3] - y[3]));
        const Vec8 v0 = p0 + q0, v1 = p1 + q1, v2 = p0 - q0, v3 = p1 - q1;
        const Vec8 w1 = select(whole, timesSqrtHalf(diagonal45(v1)), v1);
        const Vec8 w3 = select(whole, timesSqrtHalf(diagonal135(v3)), timesMinusI(v3));
        put(1, v0 + w1);
        put(5, v0 - w1);
        put(3, v2 + w3);
        put(7, v2 - w3);
    }
}

template <int order>
static void transform(Qor32s* z) {
    alignas(64) Qor32s work[2 << order];
    ownssplitcore_32sc_AAC<1 << order>(z, work);
    ownsbitreverse_32sc_AAC<order>(work, z);
}

static void fft(Qor32s* z, int order) {
    switch (order) {
        case 5:
            return transform<5>(z);
        case 6:
            return transform<6>(z);
        case 7:
            return transform<7>(z);
        case 8:
            return transform<8>(z);
        default:
            return transform<9>(z);
    }
}
