// The predictor in vectors of one instruction level, a line in each lane; see frame/levels.h.

#include "transform/vectors.h"

#if QORAC_LEVEL >= 4
typedef Vec16 Bits;
typedef SignedVec16 SignedBits;
#elif QORAC_LEVEL >= 3
typedef Vec8 Bits;
typedef SignedVec8 SignedBits;
#else
typedef Vec4 Bits;
typedef SignedVec4 SignedBits;
#endif
using Lines = Lanes<Qor32f, kLanes<Bits>>;

// The patterns of one line or of the lines of a vector.
static QORAC_INLINE Qor32u bitsOf(Qor32f x) { return std::bit_cast<Qor32u>(x); }
static QORAC_INLINE Bits bitsOf(Lines x) { return Bits(x); }
static QORAC_INLINE Qor32f linesOf(Qor32u x) { return std::bit_cast<Qor32f>(x); }
static QORAC_INLINE Lines linesOf(Bits x) { return Lines(x); }

// --- the reciprocal ---------------------------------------------------------------------------

// The factors of both stages that the mantissas of their energies choose.
template <typename V>
struct MantissaFactors {
    V first, second;
};

static QORAC_INLINE MantissaFactors<Qor32f> mantissaFactors(Qor32u var1, Qor32u var2) {
    return {ao_mnt_table[var1 >> 16 & 127], ao_mnt_table[var2 >> 16 & 127]};
}

#if QORAC_LEVEL >= 4

// The factors have 16 bits: four vectors hold them, and both stages are looked up at once.
static QORAC_INLINE MantissaFactors<Lines> mantissaFactors(Bits var1, Bits var2) {
    const __m512i* const table = reinterpret_cast<const __m512i*>(kMantissaTop16.data());
    const __m512i index = __m512i((var1 >> 16) | (var2 & kKept));
    const __m512i low = _mm512_permutex2var_epi16(table[0], index, table[1]);
    const __m512i high = _mm512_permutex2var_epi16(table[2], index, table[3]);
    const __mmask32 upper = _mm512_test_epi16_mask(index, _mm512_set1_epi16(64));
    const Bits top = Bits(_mm512_mask_mov_epi16(low, upper, high));
    return {Lines(top << 16), Lines(top & kKept)};
}

#else

static QORAC_INLINE Lines mantissaFactor(Bits var) {
    const SignedBits index = SignedBits(var >> 16 & 127);
#if QORAC_LEVEL >= 3
    return Lines(_mm256_i32gather_ps(ao_mnt_table.data(), __m256i(index), sizeof(Qor32f)));
#else
    return Lines{ao_mnt_table[index[0]], ao_mnt_table[index[1]], ao_mnt_table[index[2]],
                 ao_mnt_table[index[3]]};
#endif
}

static QORAC_INLINE MantissaFactors<Lines> mantissaFactors(Bits var1, Bits var2) {
    return {mantissaFactor(var1), mantissaFactor(var2)};
}

#endif

static QORAC_INLINE Qor32f exponentFactor(Qor32u var) { return ao_exp_table[var >> 23 & 255]; }

// The table's entries from their rule: the power of two with the negated exponent, of which the
// smallest is a denormal.
static QORAC_INLINE Lines exponentFactor(Bits var) {
    constexpr Qor32s kOne = 0x3F800000, kInfinity = 0x7F800000, kHalfOfSmallest = 0x00400000;
    const SignedBits exponent = SignedBits(var & Qor32u(kInfinity));
    SignedBits power = 2 * kOne - exponent;
    power |= (power == 0) & kHalfOfSmallest;
    return Lines(power & (exponent > kOne) & (exponent < kInfinity));
}

// --- the lattice ------------------------------------------------------------------------------

template <typename V>
static QORAC_INLINE V truncated(V x) {
    return linesOf(bitsOf(x) & kKept);
}
template <typename V>
static QORAC_INLINE V rounded(V x) {
    return linesOf((bitsOf(x) + 0x8000) & kKept);
}

// Predicts the lines from i on and adapts them to what `reconstruct` makes of the estimates.
template <typename V, typename Reconstruct>
static QORAC_INLINE void predictLines(const Lattice& s, int i, Reconstruct reconstruct) {
    const V cor1 = load<V>(s.cor1 + i), cor2 = load<V>(s.cor2 + i);
    const V var1 = load<V>(s.var1 + i), var2 = load<V>(s.var2 + i);
    const V r1 = load<V>(s.r1 + i), r2 = load<V>(s.r2 + i);
    const MantissaFactors<V> mantissa = mantissaFactors(bitsOf(var1), bitsOf(var2));
    const V k1 = mantissa.first * cor1 * exponentFactor(bitsOf(var1));
    const V k2 = mantissa.second * cor2 * exponentFactor(bitsOf(var2));
    const V first = r1 * k1;
    const V x = reconstruct(rounded(k2 * r2 + first));
    const V e = x - first;
    store(s.cor1 + i, truncated(cor1 * kAdaptation + r1 * x));
    store(s.cor2 + i, truncated(cor2 * kAdaptation + r2 * e));
    store(s.var1 + i, truncated(0.5f * (r1 * r1 + x * x) + var1 * kAdaptation));
    store(s.var2 + i, truncated(0.5f * (r2 * r2 + e * e) + var2 * kAdaptation));
    store(s.r2 + i, truncated((r1 - k1 * x) * kAttenuation));
    store(s.r1 + i, truncated(x * kAttenuation));
}

// --- runs of lines ----------------------------------------------------------------------------

// step(i, lines) for the vectors of `len` lines and then for the lines left over.
template <typename Step>
static QORAC_INLINE void forLines(int len, Step step) {
    constexpr int kWidth = sizeof(Lines) / sizeof(Qor32f);
    int i = 0;
    for (; i + kWidth <= len; i += kWidth) step(i, Lines{});
    for (; i < len; ++i) step(i, Qor32f{});
}

static void predictForward(const Lattice& state, const Qor32f* pSrc, Qor32f* pDst, int len) {
    forLines(len, [&, state](int i, auto lines) {
        using V = decltype(lines);
        predictLines<V>(state, i, [&](V estimate) {
            const V x = load<V>(pSrc + i);
            store(pDst + i, x - estimate);
            return x;
        });
    });
}

// `used` is all ones for a line whose estimate counts and 0 for others, which stay to the bit.
static void predictInverse(const Lattice& state, Qor32f* pSrcDst, const Qor32u* used, int len) {
    forLines(len, [&, state](int i, auto lines) {
        using V = decltype(lines);
        predictLines<V>(state, i, [&](V estimate) {
            const V residual = load<V>(pSrcDst + i);
            decltype(bitsOf(residual)) mask;
            __builtin_memcpy(&mask, used + i, sizeof mask);
            const V x = linesOf((bitsOf(residual + estimate) & mask) | (bitsOf(residual) & ~mask));
            store(pSrcDst + i, x);
            return x;
        });
    });
}
