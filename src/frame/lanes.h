// Vectors of 32-bit integers for one instruction level; included by frame/levels.h only.
//
// Complex numbers stand as the memory has them, the real part in the even lane of a pair and the
// imaginary part in the odd one. The processor multiplies the even lanes of two vectors into 64-bit
// products; a sum of such products is exact, and its part from some bit on is taken last.
//
// The element types are unsigned, so that sums wrap by definition; products and the shifts named
// arithmetic take the lanes as signed.

// --- types ------------------------------------------------------------------------------------

// Vec8, four complex numbers, exists at every level; Vec is the widest vector. Wide4 and Wide are
// the 64-bit sums of their even lanes.
#if QORAC_LEVEL >= 3

typedef Qor32u Vec8 __attribute__((vector_size(32)));
typedef Qor32s SignedVec8 __attribute__((vector_size(32)));
typedef Qor64u Wide4 __attribute__((vector_size(32)));

template <typename V>
static QORAC_INLINE V broadcast(Qor32u a) {
    return V{} + a;
}

// Lanes i0 to i7 of a followed by b.
template <int i0, int i1, int i2, int i3, int i4, int i5, int i6, int i7>
static QORAC_INLINE Vec8 pick(Vec8 a, Vec8 b) {
    return __builtin_shufflevector(a, b, i0, i1, i2, i3, i4, i5, i6, i7);
}

static QORAC_INLINE Vec8 shiftArithmetic(Vec8 a, int n) { return Vec8(SignedVec8(a) >> n); }

// The 64 bits of a pair, and back.
static QORAC_INLINE Wide4 wideOf(Vec8 a) { return Wide4(a); }
static QORAC_INLINE Vec8 lanesOf(Wide4 a) { return Vec8(a); }

#else

// With registers of 16 bytes a vector is two of the compiler's.
typedef Qor32u Vec4 __attribute__((vector_size(16)));
typedef Qor32s SignedVec4 __attribute__((vector_size(16)));
typedef Qor64u Wide2 __attribute__((vector_size(16)));

template <typename Half>
struct Halves {
    Half low, high;

    friend QORAC_INLINE Halves operator+(Halves a, Halves b) {
        return {a.low + b.low, a.high + b.high};
    }
    friend QORAC_INLINE Halves operator-(Halves a, Halves b) {
        return {a.low - b.low, a.high - b.high};
    }
    friend QORAC_INLINE Halves operator^(Halves a, Halves b) {
        return {a.low ^ b.low, a.high ^ b.high};
    }
    friend QORAC_INLINE Halves operator&(Halves a, Halves b) {
        return {a.low & b.low, a.high & b.high};
    }
    friend QORAC_INLINE Halves& operator+=(Halves& a, Halves b) { return a = a + b; }
    friend QORAC_INLINE Halves& operator-=(Halves& a, Halves b) { return a = a - b; }
    friend QORAC_INLINE Halves operator-(Halves a) { return {-a.low, -a.high}; }
    friend QORAC_INLINE Halves operator<<(Halves a, int n) { return {a.low << n, a.high << n}; }
    friend QORAC_INLINE Halves operator>>(Halves a, int n) { return {a.low >> n, a.high >> n}; }
};

typedef Halves<Vec4> Vec8;
typedef Halves<Wide2> Wide4;

template <typename V>
static QORAC_INLINE V broadcast(Qor32u a) {
    using Half = decltype(V::low);
    return {Half{} + a, Half{} + a};
}

// Four lanes out of two of the halves of a and b.
template <int i0, int i1, int i2, int i3>
static QORAC_INLINE Vec4 pickHalf(Vec8 a, Vec8 b) {
    constexpr int first = i0 / 4;
    constexpr int second = i1 / 4 != first ? i1 / 4 : i2 / 4 != first ? i2 / 4 : i3 / 4;
    constexpr auto lane = [](int i) { return i / 4 == first ? i % 4 : 4 + i % 4; };
    const Vec4 halves[4] = {a.low, a.high, b.low, b.high};
    return __builtin_shufflevector(halves[first], halves[second], lane(i0), lane(i1), lane(i2),
                                   lane(i3));
}
template <int i0, int i1, int i2, int i3, int i4, int i5, int i6, int i7>
static QORAC_INLINE Vec8 pick(Vec8 a, Vec8 b) {
    return {pickHalf<i0, i1, i2, i3>(a, b), pickHalf<i4, i5, i6, i7>(a, b)};
}

static QORAC_INLINE Vec8 shiftArithmetic(Vec8 a, int n) {
    return {Vec4(SignedVec4(a.low) >> n), Vec4(SignedVec4(a.high) >> n)};
}

static QORAC_INLINE Wide4 wideOf(Vec8 a) { return {Wide2(a.low), Wide2(a.high)}; }
static QORAC_INLINE Vec8 lanesOf(Wide4 a) { return {Vec4(a.low), Vec4(a.high)}; }

#endif

#if QORAC_LEVEL >= 4

typedef Qor32u Vec16 __attribute__((vector_size(64)));
typedef Qor32s SignedVec16 __attribute__((vector_size(64)));
typedef Qor64u Wide8 __attribute__((vector_size(64)));
typedef Vec16 Vec;

static QORAC_INLINE Vec16 shiftArithmetic(Vec16 a, int n) { return Vec16(SignedVec16(a) >> n); }
static QORAC_INLINE Wide8 wideOf(Vec16 a) { return Wide8(a); }
static QORAC_INLINE Vec16 lanesOf(Wide8 a) { return Vec16(a); }

#else

typedef Vec8 Vec;

#endif

// Signed and unsigned integers in one register.
#if QORAC_LEVEL >= 4
typedef Qor32s SignedLanes __attribute__((vector_size(64)));
typedef Qor32u UnsignedLanes __attribute__((vector_size(64)));
#elif QORAC_LEVEL >= 3
typedef Qor32s SignedLanes __attribute__((vector_size(32)));
typedef Qor32u UnsignedLanes __attribute__((vector_size(32)));
#else
typedef Qor32s SignedLanes __attribute__((vector_size(16)));
typedef Qor32u UnsignedLanes __attribute__((vector_size(16)));
#endif

template <typename V>
inline constexpr int kLanes = int(sizeof(V) / sizeof(Qor32s));

template <typename V>
static QORAC_INLINE V load(const Qor32s* p) {
    V v;
    __builtin_memcpy(&v, p, sizeof v);
    return v;
}
template <typename V>
static QORAC_INLINE void store(Qor32s* p, V v) {
    __builtin_memcpy(p, &v, sizeof v);
}

// --- moves between lanes ----------------------------------------------------------------------

// The odd lanes moved to the even ones.
template <typename V>
static QORAC_INLINE V oddToEven(V a) {
    return lanesOf(wideOf(a) >> 32);
}
// The even lanes of one vector and the odd lanes of another.
static QORAC_INLINE Vec8 merge(Vec8 even, Vec8 odd) {
    return pick<0, 9, 2, 11, 4, 13, 6, 15>(even, odd);
}
// Real and imaginary parts exchanged.
static QORAC_INLINE Vec8 swapPairs(Vec8 a) { return pick<1, 0, 3, 2, 5, 4, 7, 6>(a, a); }
// All lanes in reverse order; all pairs in reverse order.
static QORAC_INLINE Vec8 reverse(Vec8 a) { return pick<7, 6, 5, 4, 3, 2, 1, 0>(a, a); }
static QORAC_INLINE Vec8 reversePairs(Vec8 a) { return pick<6, 7, 4, 5, 2, 3, 0, 1>(a, a); }
// The first pair of a, the rest of b; the pair at the middle of a, the rest of b.
static QORAC_INLINE Vec8 firstPair(Vec8 a, Vec8 b) {
    return pick<0, 1, 10, 11, 12, 13, 14, 15>(a, b);
}
static QORAC_INLINE Vec8 middlePair(Vec8 a, Vec8 b) {
    return pick<8, 9, 10, 11, 4, 5, 14, 15>(a, b);
}

#if QORAC_LEVEL >= 4
static QORAC_INLINE Vec16 merge(Vec16 even, Vec16 odd) {
    return __builtin_shufflevector(even, odd, 0, 17, 2, 19, 4, 21, 6, 23, 8, 25, 10, 27, 12, 29, 14,
                                   31);
}
static QORAC_INLINE Vec16 swapPairs(Vec16 a) {
    return __builtin_shufflevector(a, a, 1, 0, 3, 2, 5, 4, 7, 6, 9, 8, 11, 10, 13, 12, 15, 14);
}
static QORAC_INLINE Vec16 reverse(Vec16 a) {
    return __builtin_shufflevector(a, a, 15, 14, 13, 12, 11, 10, 9, 8, 7, 6, 5, 4, 3, 2, 1, 0);
}
static QORAC_INLINE Vec16 reversePairs(Vec16 a) {
    return __builtin_shufflevector(a, a, 14, 15, 12, 13, 10, 11, 8, 9, 6, 7, 4, 5, 2, 3, 0, 1);
}
static QORAC_INLINE Vec16 firstPair(Vec16 a, Vec16 b) {
    return __builtin_shufflevector(a, b, 0, 1, 18, 19, 20, 21, 22, 23, 24, 25, 26, 27, 28, 29, 30,
                                   31);
}
static QORAC_INLINE Vec16 middlePair(Vec16 a, Vec16 b) {
    return __builtin_shufflevector(a, b, 16, 17, 18, 19, 20, 21, 22, 23, 8, 9, 26, 27, 28, 29, 30,
                                   31);
}
#endif

// --- products ---------------------------------------------------------------------------------

// The products of the even lanes.
#if QORAC_LEVEL >= 3
static QORAC_INLINE Wide4 mulEven(Vec8 a, Vec8 b) {
    return Wide4(_mm256_mul_epi32(__m256i(a), __m256i(b)));
}
#if QORAC_LEVEL >= 4
static QORAC_INLINE Wide8 mulEven(Vec16 a, Vec16 b) {
    return Wide8(_mm512_maskz_mul_epi32(__mmask8(-1), __m512i(a), __m512i(b)));
}
#endif
#else
// From the unsigned product: a negative factor counts 2^32 too much, so that the other factor is
// taken off the high half.
static QORAC_INLINE Wide2 mulEven(Vec4 a, Vec4 b) {
    const Vec4 excess = (Vec4(SignedVec4(a) >> 31) & b) + (Vec4(SignedVec4(b) >> 31) & a);
    return Wide2(_mm_mul_epu32(__m128i(a), __m128i(b))) - (Wide2(excess) << 32);
}
static QORAC_INLINE Wide4 mulEven(Vec8 a, Vec8 b) {
    return {mulEven(a.low, b.low), mulEven(a.high, b.high)};
}
#endif

// Bits `shift` to `shift` + 31 of the 64-bit lanes: of `even` in the even lanes of the result, of
// `odd` in the odd ones.
template <typename W>
static QORAC_INLINE auto narrow(W even, W odd, int shift) {
    return merge(lanesOf(even >> shift), lanesOf(odd << (32 - shift)));
}
template <int shift, typename W>
static QORAC_INLINE auto narrow(W even, W odd) {
    return narrow(even, odd, shift);
}

// Bits `shift` to `shift` + 31 of the products of all lanes.
template <int shift, typename V>
static QORAC_INLINE V mulLanes(V a, V b) {
    return narrow<shift>(mulEven(a, b), mulEven(oddToEven(a), oddToEven(b)));
}

// (re + i im) (c - i s) for the pairs w = (c, s), with re and im in the even lanes: the form that
// form(real sums, imaginary sums) gives them.
template <typename V, typename Form>
static QORAC_INLINE V rotate(V re, V im, V w, Form form) {
    const V s = oddToEven(w);
    return form(mulEven(re, w) + mulEven(im, s), mulEven(im, w) - mulEven(re, s));
}

#include "frame/reals.h"
