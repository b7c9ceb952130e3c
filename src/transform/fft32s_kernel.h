// The integer FFT in vectors of complex numbers; compiled once per level by fft32s.cpp.

// --- butterflies ------------------------------------------------------------------------------

// v times sqrt(1/2), v taken times 2.
template <typename V>
static QORAC_INLINE V timesSqrtHalf(V v) {
    const V k = broadcast<V>(kSqrtHalf);
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

// The numbers of several groups of 8, one number of each in a row. The groups that differ in the
// high 2 bits of the index lie `stride` apart and stand in the order of the reversed bits.
template <typename V>
struct Rows {
    V row[8];
};

static QORAC_INLINE void transpose4(const Qor32s* z, int stride, Vec8* row) {
    const Vec8 a = load<Vec8>(z), b = load<Vec8>(z + 2 * stride);
    const Vec8 c = load<Vec8>(z + stride), d = load<Vec8>(z + 3 * stride);
    const Vec8 ab02 = pick<0, 1, 8, 9, 4, 5, 12, 13>(a, b);
    const Vec8 ab13 = pick<2, 3, 10, 11, 6, 7, 14, 15>(a, b);
    const Vec8 cd02 = pick<0, 1, 8, 9, 4, 5, 12, 13>(c, d);
    const Vec8 cd13 = pick<2, 3, 10, 11, 6, 7, 14, 15>(c, d);
    row[0] = pick<0, 1, 2, 3, 8, 9, 10, 11>(ab02, cd02);
    row[1] = pick<0, 1, 2, 3, 8, 9, 10, 11>(ab13, cd13);
    row[2] = pick<4, 5, 6, 7, 12, 13, 14, 15>(ab02, cd02);
    row[3] = pick<4, 5, 6, 7, 12, 13, 14, 15>(ab13, cd13);
}

static QORAC_INLINE void loadRows(const Qor32s* z, int stride, int, Rows<Vec8>& rows) {
    transpose4(z, stride, rows.row);
    transpose4(z + 8, stride, rows.row + 4);
}

#if QORAC_LEVEL >= 4
// Blocks of two numbers of a, then b.
template <int i0, int i1, int i2, int i3>
static QORAC_INLINE Vec16 pickBlocks(Vec16 a, Vec16 b) {
    return __builtin_shufflevector(a, b, 4 * i0, 4 * i0 + 1, 4 * i0 + 2, 4 * i0 + 3, 4 * i1,
                                   4 * i1 + 1, 4 * i1 + 2, 4 * i1 + 3, 4 * i2, 4 * i2 + 1,
                                   4 * i2 + 2, 4 * i2 + 3, 4 * i3, 4 * i3 + 1, 4 * i3 + 2,
                                   4 * i3 + 3);
}

// With four groups more, `next` behind the first four.
static QORAC_INLINE void loadRows(const Qor32s* z, int stride, int next, Rows<Vec16>& rows) {
    Vec16 even[4], odd[4];
    for (int i = 0; i < 4; ++i) {
        const Qor32s* p = z + i / 2 * next + i % 2 * stride;
        const Vec16 a = load<Vec16>(p), b = load<Vec16>(p + 2 * stride);
        even[i] =
            __builtin_shufflevector(a, b, 0, 1, 16, 17, 4, 5, 20, 21, 8, 9, 24, 25, 12, 13, 28, 29);
        odd[i] = __builtin_shufflevector(a, b, 2, 3, 18, 19, 6, 7, 22, 23, 10, 11, 26, 27, 14, 15,
                                         30, 31);
    }
    const auto blocks = [&rows](const Vec16* v, int parity) {
        const Vec16 low = pickBlocks<0, 1, 4, 5>(v[0], v[1]);
        const Vec16 lowNext = pickBlocks<0, 1, 4, 5>(v[2], v[3]);
        const Vec16 high = pickBlocks<2, 3, 6, 7>(v[0], v[1]);
        const Vec16 highNext = pickBlocks<2, 3, 6, 7>(v[2], v[3]);
        rows.row[parity] = pickBlocks<0, 2, 4, 6>(low, lowNext);
        rows.row[parity + 2] = pickBlocks<1, 3, 5, 7>(low, lowNext);
        rows.row[parity + 4] = pickBlocks<0, 2, 4, 6>(high, highNext);
        rows.row[parity + 6] = pickBlocks<1, 3, 5, 7>(high, highNext);
    };
    blocks(even, 0);
    blocks(odd, 1);
}
#endif

// -i v.
template <typename V>
static QORAC_INLINE V timesMinusI(V v) {
    const V odd = load<V>(kOddLanes);
    return (swapPairs(v) ^ odd) - odd;
}

// a where the mask is set, b elsewhere.
template <typename V>
static QORAC_INLINE V select(V mask, V a, V b) {
    return b ^ ((a ^ b) & mask);
}

// The groups of 8 numbers, each a block of 8 or two blocks of 4, and the bit reversal of all. The
// index is taken as (high 2 bits, middle, low 3 bits): the groups of one middle, or of two that
// differ in its top bit, stand side by side in the lanes, each number in a row of its own, and row
// by row goes to its reversed place.
template <int order>
static QORAC_INLINE void ownsbitreverse_32sc_AAC(const Qor32s* work, Qor32s* z) {
    using V = std::conditional_t<(order > 5), Vec, Vec8>;
    constexpr int stride = (1 << order) / 2;  // a quarter of the data, in 32-bit elements
    constexpr int middles = 1 << (order - 5);
    for (int place = 0; place < middles; place += kLanes<V> / 8) {
        const V whole = load<V>(kWholeGroups<order>.mask[place]);
        Rows<V> rows;
        loadRows(work + 16 * reversed(place, order - 5), stride, 8 * middles, rows);
        const V *x = rows.row, *y = rows.row + 4;
        const auto put = [out = z + 8 * place](int eighth, V v) {
            store(out + stride / 2 * eighth, v);
        };
        // The lower 4 numbers: a block of 4, of the sums in a block of 8.
        V sum[4];
        for (int j = 0; j < 4; ++j) sum[j] = x[j] + (y[j] & whole);
        const V s0 = sum[0] + sum[2], s1 = sum[1] + sum[3];
        const V d0 = sum[0] - sum[2], d1 = timesMinusI(sum[1] - sum[3]);
        put(0, s0 + s1);
        put(4, s0 - s1);
        put(2, d0 + d1);
        put(6, d0 - d1);
        // The upper 4: a block of 4, or the butterflies of a block of 8 and two blocks of 2.
        const auto upper = [&](int j, V whole8) { return select(whole, whole8, y[j]); };
        const V p0 = upper(0, x[0] - y[0]), q0 = upper(2, timesMinusI(x[2] - y[2]));
        const V p1 = upper(1, x[1] - y[1]), q1 = upper(3, timesMinusI(x[3] - y[3]));
        const V v0 = p0 + q0, v1 = p1 + q1, v2 = p0 - q0, v3 = p1 - q1;
        const V w1 = select(whole, timesSqrtHalf(diagonal45(v1)), v1);
        const V w3 = select(whole, timesSqrtHalf(diagonal135(v3)), timesMinusI(v3));
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
