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
static QORAC_INLINE void butterflies(Qor32s* z, int lane) {
    constexpr int quarter = n / 2;  // in 32-bit elements
    Qor32s* p = z + lane;
    const V z0 = load<V>(p), z1 = load<V>(p + quarter);
    const V z2 = load<V>(p + 2 * quarter), z3 = load<V>(p + 3 * quarter);
    store(p, z0 + z2);
    store(p + quarter, z1 + z3);
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
    store(p + 2 * quarter, a);
    store(p + 3 * quarter, b);
}

// All butterflies of a block of n points, 16 or more.
template <int n>
static QORAC_INLINE void stage(Qor32s* z) {
    using V = std::conditional_t<(n / 2 >= kLanes<Vec>), Vec, Vec8>;
    constexpr int quarter = n / 2, step = kLanes<V>;
    if constexpr (quarter == step) {
        butterflies<n, Special::both, V>(z, 0);
    } else {
        butterflies<n, Special::first, V>(z, 0);
        for (int i = step; i < quarter / 2; i += step) butterflies<n, Special::none, V>(z, i);
        butterflies<n, Special::eighth, V>(z, quarter / 2);
        for (int i = quarter / 2 + step; i < quarter; i += step)
            butterflies<n, Special::none, V>(z, i);
    }
}

// --- small blocks -----------------------------------------------------------------------------

// v with the lanes negated that are marked with a 1.
template <Qor32u... marks>
static QORAC_INLINE Vec8 negate(Vec8 v) {
    alignas(32) static constexpr Qor32s mask[8] = {-Qor32s(marks)...};
    const Vec8 m = load<Vec8>(mask);
    return (v ^ m) - m;
}

// A block of 4 points.
static QORAC_INLINE Vec8 fft4(Vec8 y) {
    const Vec8 halves = pick<4, 5, 6, 7, 0, 1, 2, 3>(y, y);
    const Vec8 sum = y + halves, difference = y - halves;  // in the lower halves
    // (s0, s0, d0, d0) and (s1, s1, -i d1, -i d1) with s0 = y0 + y2, s1 = y1 + y3, d likewise
    const Vec8 even = pick<0, 1, 0, 1, 8, 9, 8, 9>(sum, difference);
    const Vec8 odd = pick<2, 3, 2, 3, 11, 10, 11, 10>(sum, difference);
    return even + negate<0, 0, 1, 1, 0, 1, 1, 0>(odd);
}

// A block of 8 points.
static QORAC_INLINE void fft8(Qor32s* z, Vec8 z01, Vec8 z23) {
    store(z, fft4(z01 + z23));
    // The butterflies at the offsets 0 and 1, and from their results two blocks of 2 points.
    const Vec8 d = z01 - z23;
    const Vec8 low = pick<0, 1, 2, 3, 0, 1, 2, 3>(d, d);
    const Vec8 high = pick<5, 4, 7, 6, 5, 4, 7, 6>(d, d);
    const Vec8 v = low + negate<0, 1, 0, 1, 1, 0, 1, 0>(high);
    // The second and the fourth number are turned by 45 and by 135 degrees.
    const Vec8 w = swapPairs(v);
    const Vec8 sum = v + w, difference = v - w;
    const Vec8 turned = timesSqrtHalf(
        negate<0, 0, 0, 0, 0, 0, 1, 1>(pick<0, 1, 2, 11, 4, 5, 14, 7>(sum, difference)));
    const Vec8 left = pick<0, 1, 0, 1, 4, 5, 4, 5>(v, v);
    const Vec8 right = pick<2, 3, 2, 3, 6, 7, 6, 7>(turned, turned);
    store(z + 8, left + negate<0, 0, 1, 1, 0, 0, 1, 1>(right));
}

// --- the tree ---------------------------------------------------------------------------------

// A block of n points, up to 32, its result in bit-reversed order.
template <int n>
static QORAC_INLINE void smallBlock(Qor32s* z) {
    if constexpr (n == 8) {
        fft8(z, load<Vec8>(z), load<Vec8>(z + 8));
    } else if constexpr (n == 4) {
        store(z, fft4(load<Vec8>(z)));
    } else {
        stage<n>(z);
        smallBlock<n / 2>(z);
        smallBlock<n / 4>(z + n);
        smallBlock<n / 4>(z + n / 2 * 3);
    }
}

// A block of any size.
template <int n>
static void ownssplitcore_32sc_I_AAC(Qor32s* z) {
    if constexpr (n <= 32) {
        smallBlock<n>(z);
    } else {
        stage<n>(z);
        ownssplitcore_32sc_I_AAC<n / 2>(z);
        ownssplitcore_32sc_I_AAC<n / 4>(z + n);
        ownssplitcore_32sc_I_AAC<n / 4>(z + n / 2 * 3);
    }
}

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

static QORAC_INLINE void storeTile(Qor32s* z, int stride, const Tile& tile) {
    store(z, tile.row[0]);
    store(z + 2 * stride, tile.row[1]);
    store(z + stride, tile.row[2]);
    store(z + 3 * stride, tile.row[3]);
}

// Bit reversal of 2^order numbers. The index is taken as (high 2 bits, middle, low 2 bits): the
// numbers of one middle are a 4 by 4 tile, which is transposed and goes to the reversed middle.
template <int order>
static QORAC_INLINE void ownsbitreverse_32sc_I_AAC(Qor32s* z) {
    constexpr int stride = (1 << order) / 2;  // a quarter of the data, in 32-bit elements
    for (int middle = 0; middle < 1 << (order - 4); ++middle) {
        const int mirror = reversed(middle, order - 4);
        if (mirror < middle) continue;
        const Tile tile = loadTransposed(z + 8 * middle, stride);
        if (mirror != middle)
            storeTile(z + 8 * middle, stride, loadTransposed(z + 8 * mirror, stride));
        storeTile(z + 8 * mirror, stride, tile);
    }
}

template <int order>
static void transform(Qor32s* z) {
    ownssplitcore_32sc_I_AAC<1 << order>(z);
    ownsbitreverse_32sc_I_AAC<order>(z);
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
