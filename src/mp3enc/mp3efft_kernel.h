// Four real transforms side by side, in vectors of one instruction level; see frame/levels.h.
//
// Value i of transform t stands at 4 i + t of the arrays, so that a vector holds `kPoints`
// neighbouring values of all four. The smallest butterflies fill the lanes as well as the largest
// ones do, and reordering moves groups of four lanes as they are.

#if QORAC_LEVEL >= 4
inline constexpr int kPoints = 4;
#elif QORAC_LEVEL >= 3
inline constexpr int kPoints = 2;
#else
inline constexpr int kPoints = 1;
#endif

// `points` values of four transforms each.
template <int points>
struct GroupOf {
    typedef Qor32s Type __attribute__((vector_size(16 * points)));
};
template <int points>
using Group = typename GroupOf<points>::Type;

// From 32-bit values, or from 16-bit ones of which two fill a lane.
template <int points>
static QORAC_INLINE Group<points> loadGroup(const void* p) {
    Group<points> v;
    __builtin_memcpy(&v, p, sizeof v);
    return v;
}

// Sums and differences wrap; shifts are arithmetic.
template <typename V>
struct UnsignedOf;
template <>
struct UnsignedOf<Group<1>> {
    typedef Qor32u Type __attribute__((vector_size(16)));
};
template <>
struct UnsignedOf<Group<2>> {
    typedef Qor32u Type __attribute__((vector_size(32)));
};
template <>
struct UnsignedOf<Group<4>> {
    typedef Qor32u Type __attribute__((vector_size(64)));
};
template <typename V>
static QORAC_INLINE V add(V a, V b) {
    using U = typename UnsignedOf<V>::Type;
    return V(U(a) + U(b));
}
template <typename V>
static QORAC_INLINE V sub(V a, V b) {
    using U = typename UnsignedOf<V>::Type;
    return V(U(a) - U(b));
}
template <typename V>
static QORAC_INLINE V shiftLeftBy(V a, int n) {
    return V(typename UnsignedOf<V>::Type(a) << n);
}

// Products of the 16-bit halves of the lanes, low with low and high with high, added.
static QORAC_INLINE Group<1> mulAddHalves(Group<1> a, Group<1> b) {
    return Group<1>(_mm_madd_epi16(__m128i(a), __m128i(b)));
}
#if QORAC_LEVEL >= 3
static QORAC_INLINE Group<2> mulAddHalves(Group<2> a, Group<2> b) {
    return Group<2>(_mm256_madd_epi16(__m256i(a), __m256i(b)));
}
#endif
#if QORAC_LEVEL >= 4
static QORAC_INLINE Group<4> mulAddHalves(Group<4> a, Group<4> b) {
    return Group<4>(_mm512_madd_epi16(__m512i(a), __m512i(b)));
}
#endif

// The low halves of a below the high halves of b.
template <typename V>
static QORAC_INLINE V joinHalves(V a, V b) {
    return (a & 0xFFFF) | (b & ~0xFFFF);
}

// Sums of two products with Q14 factors, rounded: (a c + b s + 2^13) >> 14 for the packed factors
// c and s. Split at bit 16 with a signed lower half, a and b make two vectors of 16-bit halves,
// and each sum of products is one instruction.
template <typename V>
struct Pair {
    V high, low;

    QORAC_INLINE Pair(V a, V b) {
        constexpr int kHalf = 1 << 15;
        const V upA = add(a, V{} + kHalf), upB = add(b, V{} + kHalf);
        high = joinHalves(upA >> 16, upB);
        low = joinHalves(a, shiftLeftBy(b, 16));
    }
    QORAC_INLINE V times(V factors) const {
        constexpr int kRound = 1 << 13;
        return add(shiftLeftBy(mulAddHalves(high, factors), 2),
                   (mulAddHalves(low, factors) + kRound) >> 14);
    }
};

// --- butterflies ------------------------------------------------------------------------------

// The L-shaped butterflies at the offsets j to j + points - 1 of a block of n values: of z0 to z3 a
// quarter apart z0 + z2, z1 + z3, ((z0 - z2) - i (z1 - z3)) W^j and ((z0 - z2) + i (z1 - z3)) W^3j.
// A rotation by 1 is exact, so that offset 0 needs no case of its own.
template <int n, int points>
static QORAC_INLINE void butterfly(Qor32s* __restrict re, Qor32s* __restrict im, int j) {
    using V = Group<points>;
    const int i0 = 4 * j, i1 = i0 + n, i2 = i1 + n, i3 = i2 + n;
    const auto at = [](const Qor32s* p, int i) { return loadGroup<points>(p + i); };
    const V re0 = at(re, i0), re1 = at(re, i1), re2 = at(re, i2), re3 = at(re, i3);
    const V im0 = at(im, i0), im1 = at(im, i1), im2 = at(im, i2), im3 = at(im, i3);
    store(re + i0, add(re0, re2));
    store(im + i0, add(im0, im2));
    store(re + i1, add(re1, re3));
    store(im + i1, add(im1, im3));
    const V re02 = sub(re0, re2), im02 = sub(im0, im2);
    const V re13 = sub(re1, re3), im13 = sub(im1, im3);
    const V upRe = add(re02, im13), upIm = sub(im02, re13);
    const V downRe = sub(re02, im13), downIm = add(im02, re13);
    if constexpr (n == 4) {
        store(re + i2, upRe);
        store(im + i2, upIm);
        store(re + i3, downRe);
        store(im + i3, downIm);
    } else {
        const Twiddles<n>& w = kTwiddles<n>;
        const Pair<V> up(upRe, upIm), down(downRe, downIm);
        store(re + i2, up.times(loadGroup<points>(w.forRe1 + i0)));
        store(im + i2, up.times(loadGroup<points>(w.forIm1 + i0)));
        store(re + i3, down.times(loadGroup<points>(w.forRe3 + i0)));
        store(im + i3, down.times(loadGroup<points>(w.forIm3 + i0)));
    }
}

static QORAC_INLINE void sumAndDifference(Qor32s* p) {
    const Group<1> first = loadGroup<1>(p), second = loadGroup<1>(p + 4);
    store(p, add(first, second));
    store(p + 4, sub(first, second));
}

// The split-radix transform of n values in place, with the result in bit-reversed order: behind the
// butterflies the lower half is a transform of n / 2 values and each upper quarter one of n / 4.
template <int n>
static QORAC_INLINE void _splitcore(Qor32s* re, Qor32s* im);

template <int n>
static __attribute__((noinline)) void splitBlock(Qor32s* re, Qor32s* im) {
    _splitcore<n>(re, im);
}

template <int n>
static QORAC_INLINE void split(Qor32s* re, Qor32s* im) {
    if constexpr (n == 2) {
        sumAndDifference(re);
        sumAndDifference(im);
    } else if constexpr (n > 16) {
        splitBlock<n>(re, im);
    } else if constexpr (n > 2) {
        _splitcore<n>(re, im);
    }
}

template <int n>
static QORAC_INLINE void _splitcore(Qor32s* re, Qor32s* im) {
    constexpr int points = n / 4 < kPoints ? n / 4 : kPoints;
    for (int j = 0; j < n / 4; j += points) butterfly<n, points>(re, im, j);
    split<n / 2>(re, im);
    split<n / 4>(re + 2 * n, im + 2 * n);
    split<n / 4>(re + 3 * n, im + 3 * n);
}

// --- in and out -------------------------------------------------------------------------------

// Lane(i), a function of the lane, tells which lane of a followed by b lane i becomes.
template <typename Lane, int... i>
static QORAC_INLINE auto pickLanes(Group<kPoints> a, Group<kPoints> b,
                                   std::integer_sequence<int, i...>, Lane) {
    return __builtin_shufflevector(a, b, Lane{}(i)...);
}
template <typename Lane>
static QORAC_INLINE Group<kPoints> pickLanes(Group<kPoints> a, Group<kPoints> b, Lane lane) {
    return pickLanes(a, b, std::make_integer_sequence<int, 4 * kPoints>(), lane);
}

inline constexpr int kLanesOfAll = 4 * kPoints;

// Lanes of a and b in turn, `unit` at a time, from lane `first` of each on.
template <int unit, int first>
struct Interleaved {
    constexpr int operator()(int lane) const {
        const int of = lane / unit % 2, place = lane / (2 * unit) * unit + lane % unit;
        return of * kLanesOfAll + first + place;
    }
};

// The samples of four signals, two to a lane, as even and odd ones of four transforms.
template <int count, int guardBits>
static QORAC_INLINE void loadSamples(const Qor16s* const* pSrc, Qor32s* re, Qor32s* im) {
    constexpr int kUpper = kLanesOfAll / 2;
    for (int i = 0; i < count; i += kLanesOfAll) {
        Group<kPoints> x[4];
        for (int t = 0; t < 4; ++t) x[t] = loadGroup<kPoints>(pSrc[t] + 2 * i);
        const auto a0 = pickLanes(x[0], x[1], Interleaved<1, 0>{});
        const auto a1 = pickLanes(x[0], x[1], Interleaved<1, kUpper>{});
        const auto b0 = pickLanes(x[2], x[3], Interleaved<1, 0>{});
        const auto b1 = pickLanes(x[2], x[3], Interleaved<1, kUpper>{});
        const Group<kPoints> pairs[4] = {
            pickLanes(a0, b0, Interleaved<2, 0>{}), pickLanes(a0, b0, Interleaved<2, kUpper>{}),
            pickLanes(a1, b1, Interleaved<2, 0>{}), pickLanes(a1, b1, Interleaved<2, kUpper>{})};
        for (int p = 0; p < 4; ++p) {
            const int at = 4 * (i + p * kPoints);
            store(re + at, shiftLeftBy(pairs[p], 16) >> (16 - guardBits));
            store(im + at, shiftLeftBy(pairs[p] >> 16, guardBits));
        }
    }
}

// The values 0 to count / 2 in order, and those from the end on: value count - k at place k.
template <int count>
static QORAC_INLINE void _bitreverse(const Qor32s* in, Qor32s* __restrict forward,
                                     Qor32s* __restrict backward) {
    constexpr auto& reversed = kBitReversal<count>;
    for (int k = 0; k < count / 2; ++k) {
        store(forward + 4 * k, loadGroup<1>(in + 4 * reversed[k]));
        store(backward + 4 * k, loadGroup<1>(in + 4 * reversed[(count - k) % count]));
    }
}

// Lanes of real and imaginary parts as complex numbers: those of transform 2 `half` in the lower
// half of the vector, those of the next one in the upper; the last value first if `backward`.
template <int half, bool backward>
struct ComplexOfTwo {
    constexpr int operator()(int lane) const {
        const int transform = 2 * half + lane / (2 * kPoints);
        const int place = lane % (2 * kPoints) / 2, part = lane % 2;
        return part * kLanesOfAll + 4 * (backward ? kPoints - 1 - place : place) + transform;
    }
};

// kPoints lines of each spectrum, from line k on, without the guard bits.
template <int guardBits, bool backward>
static QORAC_INLINE void storeLines(Group<kPoints> re, Group<kPoints> im, Qor32sc* const* pDst,
                                    int k) {
    const Group<kPoints> round = Group<kPoints>{} + (1 << (guardBits - 1));
    re = add(re, round) >> guardBits;
    im = add(im, round) >> guardBits;
    const Group<kPoints> pairs[2] = {pickLanes(re, im, ComplexOfTwo<0, backward>{}),
                                     pickLanes(re, im, ComplexOfTwo<1, backward>{})};
    for (int t = 0; t < 4; ++t) {
        constexpr std::size_t kBytes = kPoints * sizeof(Qor32sc);
        const char* const from = reinterpret_cast<const char*>(&pairs[t / 2]) + t % 2 * kBytes;
        __builtin_memcpy(pDst[t] + k, from, kBytes);
    }
}

// Spectra of `size` real samples from those of the even samples + i * the odd ones.
template <int size, int guardBits>
static QORAC_INLINE void join(const Qor32s* re, const Qor32s* im, const Qor32s* backRe,
                              const Qor32s* backIm, Qor32sc* const* pDst) {
    using V = Group<kPoints>;
    constexpr int kHalf = size / 2, kQuarter = size / 4;
    const Circle<size>& circle = kCircle<size>;
    const auto at = [](const Qor32s* p, int k) { return loadGroup<kPoints>(p + 4 * k); };
    for (int k = 0; k < kQuarter; k += kPoints) {
        const V re0 = at(re, k), re1 = at(backRe, k), im0 = at(im, k), im1 = at(backIm, k);
        const V a = add(re0, re1) >> 1, b = sub(re0, re1) >> 1;
        const V c = add(im0, im1) >> 1, d = sub(im0, im1) >> 1;
        const Pair<V> pair(b, c);
        const V u = pair.times(at(circle.cosSin, k)), v = pair.times(at(circle.sinCos, k));
        storeLines<guardBits, false>(sub(a, v), sub(d, u), pDst, k);
        storeLines<guardBits, true>(add(a, v), sub(V{}, add(d, u)), pDst, kHalf - k - kPoints + 1);
    }
}

// The lines 0, size / 4 and size / 2, which are their own mirrors.
template <int size, int guardBits>
static QORAC_INLINE void joinMirrors(const Qor32s* re, const Qor32s* im, const Qor32s* middleRe,
                                     const Qor32s* middleIm, Qor32sc* const* pDst) {
    const auto round = [](Qor32s x) { return wrapAdd(x, 1 << (guardBits - 1)) >> guardBits; };
    for (int t = 0; t < 4; ++t) {
        pDst[t][0] = {round(wrapAdd(re[t], im[t])), 0};
        pDst[t][size / 4] = {round(middleRe[t]), round(wrapNeg(middleIm[t]))};
        pDst[t][size / 2] = {round(wrapSub(re[t], im[t])), 0};
    }
}

template <int size, int guardBits>
static QORAC_INLINE void transform(const Qor16s* const* pSrc, Qor32sc* const* pDst) {
    constexpr int kCount = size / 2, kMiddle = 4 * kBitReversal<kCount>[kCount / 2];
    alignas(64) Qor32s re[4 * kCount], im[4 * kCount];
    alignas(64) Qor32s orderedRe[2][2 * kCount], orderedIm[2][2 * kCount];
    loadSamples<kCount, guardBits>(pSrc, re, im);
    _splitcore<kCount>(re, im);
    _bitreverse<kCount>(re, orderedRe[0], orderedRe[1]);
    _bitreverse<kCount>(im, orderedIm[0], orderedIm[1]);
    join<size, guardBits>(orderedRe[0], orderedIm[0], orderedRe[1], orderedIm[1], pDst);
    joinMirrors<size, guardBits>(re, im, re + kMiddle, im + kMiddle, pDst);
}

static void transform1024(const Qor16s* const* pSrc, Qor32sc* const* pDst) {
    transform<1024, 6>(pSrc, pDst);
}
static void transform256(const Qor16s* const* pSrc, Qor32sc* const* pDst) {
    transform<256, 8>(pSrc, pDst);
}
