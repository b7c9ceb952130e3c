// The quantizer of Layer III lines in vectors of one instruction level; see frame/levels.h. A
// vector that begins in a band may reach into the bands behind it.

inline constexpr int kIntLanes = kLanes<SignedLanes>;

// Whether no lane has a bit from bit `bits` on.
template <int bits>
static QORAC_INLINE bool allBelow(SignedLanes v) {
    const SignedLanes high = v & -(1 << bits);
#if QORAC_LEVEL >= 4
    return _mm512_test_epi32_mask(__m512i(high), __m512i(high)) == 0;
#elif QORAC_LEVEL >= 3
    return _mm256_testz_si256(__m256i(high), __m256i(high));
#else
    return (high[0] | high[1] | high[2] | high[3]) == 0;
#endif
}

// --- quantization -----------------------------------------------------------------------------

// The quantized values of the first 2^kRegisterBits numbers, as a table in registers.
#if QORAC_LEVEL >= 4
inline constexpr int kRegisterBits = 6;
static QORAC_INLINE SignedLanes quantizedInRegisters(SignedLanes v) {
    const __m512i lower = _mm512_load_si512(kBaseWords.data());
    const __m512i upper = _mm512_load_si512(kBaseWords.data() + 32);
    return SignedLanes(_mm512_permutex2var_epi16(lower, __m512i(v), upper));
}
#elif QORAC_LEVEL >= 3
inline constexpr int kRegisterBits = 5;
static QORAC_INLINE SignedLanes quantizedInRegisters(SignedLanes v) {
    const auto half = [](int i) {
        return _mm256_broadcastsi128_si256(
            _mm_load_si128(reinterpret_cast<const __m128i*>(kBaseBytes.data() + 16 * i)));
    };
    const SignedLanes lower = SignedLanes(_mm256_shuffle_epi8(half(0), __m256i(v)));
    // A byte with its top bit set picks 0.
    const SignedLanes upper = SignedLanes(_mm256_shuffle_epi8(half(1), __m256i(v | ~0xFF)));
    const SignedLanes inUpper = v > 15;
    return (upper & inUpper) | (lower & ~inUpper);
}
#else
inline constexpr int kRegisterBits = 0;
static QORAC_INLINE SignedLanes quantizedInRegisters(SignedLanes v) { return v; }
#endif

// A band of lines times 2^(e - 26), rounded, at least 0.
struct BandSteps {
    const Qor32s* pScaled;
    int len, e;

    // Hands the place in the band and the values there to `take`; returns all values, ORed.
    template <typename Take>
    QORAC_INLINE SignedLanes forEach(Take take) const {
        const UnsignedLanes half = UnsignedLanes{} + (1u << (25 - e));
        SignedLanes any{};
        for (int i = 0; i < len; i += kIntLanes) {
            SignedLanes v = SignedLanes(load<UnsignedLanes>(pScaled + i) + half) >> (26 - e);
            v &= v > 0;
            any |= v;
            take(i, v);
        }
        return any;
    }
};

// Both are false, with the band undefined, when a value is too large for them.
static QORAC_INLINE bool quantizeByRegisters(const BandSteps& band, Qor32s* pDst) {
    return allBelow<kRegisterBits>(
        band.forEach([&](int i, SignedLanes v) { store(pDst + i, quantizedInRegisters(v)); }));
}
static QORAC_INLINE bool quantizeByTable(const BandSteps& band, Qor32s* pDst) {
    constexpr int kBits = 8;
    static_assert(kBaseValues == 1 << kBits);
    if (!allBelow<kBits>(band.forEach([&](int i, SignedLanes v) { store(pDst + i, v); })))
        return false;
    for (int i = 0; i < band.len; ++i) pDst[i] = _BaseValue_MP3[pDst[i]];
    return true;
}

static bool quantizeBands(const ScaledLines& lines, Qor32s* pIx, const Qor32s* pBandGain, Qor32s gq,
                          const BandLayout& layout) {
    // A band with a gain index above 0 keeps its values: the vectors of the one below it must not
    // touch them.
    const int count = layout.bands * layout.windows;
    Qor32s leastGain = pBandGain[0];
    for (int i = 1; i < count; ++i) leastGain = std::min(leastGain, pBandGain[i]);
    const bool inVectors = gq <= leastGain;

    bool fits = true;
    for (int b = 0; b < layout.bands && layout.first(b) < lines.end; ++b) {
        for (int w = 0; w < layout.windows; ++w) {
            const int first = layout.first(b, w), width = layout.width(b);
            const Qor32s q = gq - pBandGain[layout.index(b, w)];
            const int e = -q >> 2, r = -q & 3;
            if (inVectors && e < 26 && first + width <= kLines - kIntLanes) {
                const BandSteps band{lines.root[r] + first, width, e};
                if (quantizeByRegisters(band, pIx + first)) continue;
                if (quantizeByTable(band, pIx + first)) continue;
            }
            ownsQuantizeBand_Audio(lines.root[0] + first, pIx + first, width, q);
            fits = fits && *std::max_element(pIx + first, pIx + first + width) < kTooLarge;
        }
    }
    return fits;
}

// --- noise ------------------------------------------------------------------------------------

// The sum of the squares of the differences between lines and values below 16, each divided by 2^32
// and truncated; pValue has what the values stand for. False when a value is larger.
static QORAC_INLINE bool smallNoise(const Qor32s* pXs, const Qor32s* pIx, int len,
                                    const Qor32s* pValue, Qor32s* pNoise) {
#if QORAC_LEVEL >= 3
    SignedLanes place;
    for (int i = 0; i < kIntLanes; ++i) place[i] = i;
    SignedLanes any{};
    auto sum = mulEven(Vec{}, Vec{});
    for (int i = 0; i < len; i += kIntLanes) {
        const SignedLanes inBand = place < len - i;
        const SignedLanes ix = load<SignedLanes>(pIx + i) & inBand;
        any |= ix;
#if QORAC_LEVEL >= 4
        const Vec value = Vec(_mm512_maskz_permutexvar_epi32(__mmask16(-1), __m512i(ix),
                                                             __m512i(load<SignedLanes>(pValue))));
#else
        const auto pick8 = [&](int from) {
            return SignedLanes(_mm256_permutevar8x32_epi32(
                __m256i(load<SignedLanes>(pValue + from)), __m256i(ix)));
        };
        const SignedLanes isUpper = ix > 7;
        const Vec value = Vec((pick8(8) & isUpper) | (pick8(0) & ~isUpper));
#endif
        const Vec difference = (load<Vec>(pXs + i) - value) & Vec(inBand);
        const Vec odd = oddToEven(difference);
        sum += (mulEven(difference, difference) >> 32) + (mulEven(odd, odd) >> 32);
    }
    if (!allBelow<4>(any)) return false;
    Qor64u total = 0;
    for (int i = 0; i < kIntLanes / 2; ++i) total += sum[i];
    *pNoise = Qor32s(total);
    return true;
#else
    (void)pXs, (void)pIx, (void)len, (void)pValue, (void)pNoise;
    return false;
#endif
}

// The noise of a band that was quantized with the step 2^(-e/4).
static Qor32s bandNoise(const Qor32s* pXs, const Qor32s* pIx, Qor32s* pBuffer, int first, int len,
                        int e) {
    Qor32s small[16], noise;
    smallValues(e, small);
    if (first + len <= kLines - kIntLanes &&
        smallNoise(pXs + first, pIx + first, len, small, &noise))
        return noise;
    ownsReqCore_MP3_32s(pIx + first, pBuffer + first, len, e);
    return energyOfDifference(pXs + first, pBuffer + first, len);
}

static int noisyBands(const Qor32s* pXs, const Qor32s* pIx, Qor32s* pBuffer,
                      const Qor32s* pBandGain, GranuleWork* pWork, const BandLayout& layout) {
    int count = 0;
    for (int b = 0; b < codedBands(layout); ++b) {
        // A window that is left out does not move the position: the next one of the band is
        // measured in its place.
        int first = layout.first(b);
        for (int w = 0; w < layout.windows; ++w) {
            if (b >= pWork->sfbMax[w]) continue;
            const int i = layout.index(b, w);
            const int width = layout.width(b);
            pWork->xfsf[i] =
                bandNoise(pXs, pIx, pBuffer, first, width, pBandGain[i] - pWork->gq) >> 1;
            count += pWork->xfsf[i] > pWork->allowed[i];
            first += width;
        }
    }
    return count;
}
