// Vectors of numbers of 32 bits and less at one instruction level: arithmetic by operators, loads,
// stores, fused products and shuffles by name. Included by kernel files only.

template <typename T, int lanes>
using Lanes [[gnu::vector_size(lanes * sizeof(T))]] = T;

template <typename V, typename T>
QORAC_INLINE V load(const T* p) {
    V v;
    __builtin_memcpy(&v, p, sizeof v);
    return v;
}

template <typename V, typename T>
QORAC_INLINE void store(T* p, V v) {
    __builtin_memcpy(p, &v, sizeof v);
}

// a * b + c and c - a * b, fused where the level has it.
template <typename V>
QORAC_INLINE V mulAdd(V a, V b, V c) {
#if QORAC_LEVEL >= 4
    if constexpr (kLanes<V> == 16) return V(_mm512_fmadd_ps(__m512(a), __m512(b), __m512(c)));
#endif
#if QORAC_LEVEL >= 3
    if constexpr (kLanes<V> == 8) return V(_mm256_fmadd_ps(__m256(a), __m256(b), __m256(c)));
    if constexpr (kLanes<V> == 4) return V(_mm_fmadd_ps(__m128(a), __m128(b), __m128(c)));
#endif
    return a * b + c;
}

template <typename V>
QORAC_INLINE V mulSubFrom(V a, V b, V c) {
#if QORAC_LEVEL >= 4
    if constexpr (kLanes<V> == 16) return V(_mm512_fnmadd_ps(__m512(a), __m512(b), __m512(c)));
#endif
#if QORAC_LEVEL >= 3
    if constexpr (kLanes<V> == 8) return V(_mm256_fnmadd_ps(__m256(a), __m256(b), __m256(c)));
    if constexpr (kLanes<V> == 4) return V(_mm_fnmadd_ps(__m128(a), __m128(b), __m128(c)));
#endif
    return c - a * b;
}

// The vector whose lane i is element Pattern::at(i) of a followed by b.
template <typename Pattern, typename V, std::size_t... lane>
QORAC_INLINE V shuffle(V a, V b, std::index_sequence<lane...>) {
    return __builtin_shufflevector(a, b, Pattern::at(static_cast<int>(lane))...);
}
template <typename Pattern, typename V>
QORAC_INLINE V shuffle(V a, V b) {
    return shuffle<Pattern>(a, b, std::make_index_sequence<kLanes<V>>());
}

// The lanes from the last to the first.
template <int lanes>
struct ReversedLanes {
    static constexpr int at(int i) { return lanes - 1 - i; }
};
template <typename V>
QORAC_INLINE V reversedLanes(V v) {
    return shuffle<ReversedLanes<kLanes<V>>>(v, v);
}
