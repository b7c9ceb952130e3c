// What the count of a spectrum's bits asks of its values, in vectors of one instruction level; see
// frame/levels.h.

inline constexpr int kValueLanes = kLanes<SignedLanes>;

// Bit i tells whether lane i is above `limit`.
static QORAC_INLINE Qor32u lanesAbove(SignedLanes v, Qor32s limit) {
#if QORAC_LEVEL >= 4
    return _mm512_cmpgt_epi32_mask(__m512i(v), __m512i(SignedLanes{} + limit));
#elif QORAC_LEVEL >= 3
    return Qor32u(_mm256_movemask_ps(__m256(v > limit)));
#else
    return Qor32u(_mm_movemask_ps(__m128(v > limit)));
#endif
}

// Number of values up to the last one above `limit`, of the first `len`, a multiple of 16.
static int endOfValuesAbove(const Qor32s* p, int len, Qor32s limit) {
    for (int i = len; i > 0; i -= kValueLanes) {
        const Qor32u above = lanesAbove(load<SignedLanes>(p + i - kValueLanes), limit);
        if (above != 0) return i - kValueLanes + bitLength(above);
    }
    return 0;
}

static QORAC_INLINE SignedLanes maxOf(SignedLanes a, SignedLanes b) { return a > b ? a : b; }

// The largest lane: vectors are compared with themselves moved by half, a quarter, ... of a vector.
template <int distance, int... lane>
static QORAC_INLINE SignedLanes moved(SignedLanes v, std::integer_sequence<int, lane...>) {
    return __builtin_shufflevector(v, v, (lane ^ distance)...);
}
template <int distance = kValueLanes / 2>
static QORAC_INLINE Qor32s largestLane(SignedLanes v) {
    v = maxOf(v, moved<distance>(v, std::make_integer_sequence<int, kValueLanes>()));
    if constexpr (distance > 1) {
        return largestLane<distance / 2>(v);
    } else {
        return v[0];
    }
}

// The largest value, at least 0. The last vector ends with the values and may repeat some of the
// one before it.
static Qor32s largestOf(const Qor32s* p, int len) {
    if (len < kValueLanes) {
        Qor32s largest = 0;
        for (int i = 0; i < len; ++i) largest = std::max(largest, p[i]);
        return largest;
    }
    SignedLanes largest = load<SignedLanes>(p + len - kValueLanes);
    for (int i = 0; i < len - kValueLanes; i += kValueLanes)
        largest = maxOf(largest, load<SignedLanes>(p + i));
    return std::max(largestLane(largest), 0);
}
