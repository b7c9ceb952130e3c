// Vectors of 32-bit integers for one instruction level; included by frame/levels.h only.
//
// Complex numbers stand as the memory has them, the real part in the even lane of a pair and the
// imaginary part in the odd one. The processor multiplies the even lanes of two vectors into 64-bit
// products; a sum of such products is exact, and its part from some bit on is taken last.

// The element types are unsigned, so that sums wrap by definition; products and the shifts named
// arithmetic take the lanes as signed.

// Vec is the widest vector; Vec8, of four complex numbers, exists at every level.
typedef Qor32u Vec8 __attribute__((vector_size(32)));
typedef Qor32s SignedVec8 __attribute__((vector_size(32)));
typedef Qor64u Wide4 __attribute__((vector_size(32)));
#if QORAC_LEVEL >= 4
typedef Qor32u Vec16 __attribute__((vector_size(64)));
typedef Qor32s SignedVec16 __attribute__((vector_size(64)));
typedef Qor64u Wide8 __attribute__((vector_size(64)));
typedef Vec16 Vec;
#else
typedef Vec8 Vec;
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
template <typename V>
static QORAC_INLINE V broadcast(Qor32s a) {
    return V{} + Qor32u(a);
}

static QORAC_INLINE Vec8 shiftArithmetic(Vec8 a, int n) { return Vec8(SignedVec8(a) >> n); }

// --- moves between lanes ----------------------------------------------------------------------

// The odd lanes moved to the even ones.
static QORAC_INLINE Vec8 oddToEven(Vec8 a) { return Vec8(Wide4(a) >> 32); }
// The even lanes of a and the odd lanes of b.
static QORAC_INLINE Vec8 merge(Vec8 even, Vec8 odd) {
    return __builtin_shufflevector(even, odd, 0, 9, 2, 11, 4, 13, 6, 15);
}
// Real and imaginary parts exchanged.
static QORAC_INLINE Vec8 swapPairs(Vec8 a) {
    return __builtin_shufflevector(a, a, 1, 0, 3, 2, 5, 4, 7, 6);
}
// All lanes in reverse order; all pairs in reverse order.
static QORAC_INLINE Vec8 reverse(Vec8 a) {
    return __builtin_shufflevector(a, a, 7, 6, 5, 4, 3, 2, 1, 0);
}
static QORAC_INLINE Vec8 reversePairs(Vec8 a) {
    return __builtin_shufflevector(a, a, 6, 7, 4, 5, 2, 3, 0, 1);
}
// The first pair of a, the rest of b; the pair at the middle of a, the rest of b.
static QORAC_INLINE Vec8 firstPair(Vec8 a, Vec8 b) {
    return __builtin_shufflevector(a, b, 0, 1, 10, 11, 12, 13, 14, 15);
}
static QORAC_INLINE Vec8 middlePair(Vec8 a, Vec8 b) {
    return __builtin_shufflevector(a, b, 8, 9, 10, 11, 4, 5, 14, 15);
}

// --- products ---------------------------------------------------------------------------------

static QORAC_INLINE Qor64u mulWide(Qor32u a, Qor32u b) {
    return Qor64u(Qor64s(Qor32s(a)) * Qor32s(b));
}

// The products of the even lanes.
static QORAC_INLINE Wide4 mulEven(Vec8 a, Vec8 b) {
#if QORAC_LEVEL >= 3
    return Wide4(_mm256_mul_epi32(__m256i(a), __m256i(b)));
#else
    return Wide4{mulWide(a[0], b[0]), mulWide(a[2], b[2]), mulWide(a[4], b[4]),
                 mulWide(a[6], b[6])};
#endif
}

// Bits `shift` to `shift` + 31 of the 64-bit lanes: of `even` in the even lanes of the result, of
// `odd` in the odd ones.
template <int shift>
static QORAC_INLINE Vec8 narrow(Wide4 even, Wide4 odd) {
    return merge(Vec8(even >> shift), Vec8(odd << (32 - shift)));
}

static QORAC_INLINE Vec8 narrow(Wide4 even, Wide4 odd, int shift) {
    return merge(Vec8(even >> shift), Vec8(odd << (32 - shift)));
}

#if QORAC_LEVEL >= 4
static QORAC_INLINE Vec16 shiftArithmetic(Vec16 a, int n) { return Vec16(SignedVec16(a) >> n); }
static QORAC_INLINE Vec16 oddToEven(Vec16 a) { return Vec16(Wide8(a) >> 32); }
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
static QORAC_INLINE Wide8 mulEven(Vec16 a, Vec16 b) {
    return Wide8(_mm512_maskz_mul_epi32(__mmask8(-1), __m512i(a), __m512i(b)));
}
template <int shift>
static QORAC_INLINE Vec16 narrow(Wide8 even, Wide8 odd) {
    return merge(Vec16(even >> shift), Vec16(odd << (32 - shift)));
}
static QORAC_INLINE Vec16 narrow(Wide8 even, Wide8 odd, int shift) {
    return merge(Vec16(even >> shift), Vec16(odd << (32 - shift)));
}
#endif

// Bits `shift` to `shift` + 31 of the products of all lanes.
template <int shift, typename V>
static QORAC_INLINE V mulLanes(V a, V b) {
    return narrow<shift>(mulEven(a, b), mulEven(oddToEven(a), oddToEven(b)));
}

// v * (c - is) for the complex numbers v and the pairs w = (c, s), from bit `shift` of the exact
// sums on.
template <int shift, typename V>
static QORAC_INLINE V rotate(V re, V im, V w) {
    const V s = oddToEven(w);
    return narrow<shift>(mulEven(re, w) + mulEven(im, s), mulEven(im, w) - mulEven(re, s));
}
template <int shift, typename V>
static QORAC_INLINE V rotate(V v, V w) {
    return rotate<shift>(v, oddToEven(v), w);
}

#include "frame/reals.h"
