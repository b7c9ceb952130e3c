// Vectors of eight doubles for one instruction level; included by frame/lanes.h only. Where the
// processor's vectors are shorter, the compiler splits them.

typedef Qor64f Real8 __attribute__((vector_size(64)));
typedef Qor32s Int8 __attribute__((vector_size(32)));
typedef Qor64u Bits8 __attribute__((vector_size(64)));

static QORAC_INLINE Real8 loadReal8(const Qor64f* p) {
    Real8 v;
    __builtin_memcpy(&v, p, sizeof v);
    return v;
}

// Eight integers, exactly.
static QORAC_INLINE Real8 convertInt8(const Qor32s* p) {
    Int8 v;
    __builtin_memcpy(&v, p, sizeof v);
    return __builtin_convertvector(v, Real8);
}

static QORAC_INLINE Real8 reverse(const Real8& x) {
    return __builtin_shufflevector(x, x, 7, 6, 5, 4, 3, 2, 1, 0);
}

// The nearest integers, ties to even; what lies outside 32 bits becomes the smallest integer.
static QORAC_INLINE Int8 roundToInt(const Real8& x) {
    Int8 v;
#if QORAC_LEVEL >= 4
    v = Int8(_mm512_maskz_cvtpd_epi32(__mmask8(-1), __m512d(x)));
#else
    Qor64f part[8];
    __builtin_memcpy(part, &x, sizeof part);
    for (int i = 0; i < 8; i += 2) {
        const __m128i two = _mm_cvtpd_epi32(_mm_loadu_pd(part + i));
        __builtin_memcpy(reinterpret_cast<char*>(&v) + 4 * i, &two, 8);
    }
#endif
    return v;
}

// The same modulo 2^32, each integer in the low half of its lane, for values below 2^51: 1.5 * 2^52
// leaves no bits for a fraction.
static QORAC_INLINE Bits8 roundToBits(const Real8& x) { return Bits8(x + 6755399441055744.0); }
