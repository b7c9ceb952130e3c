// The power law of a band in vectors; compiled once per level by aacpow32s.cpp.
//
// Magnitudes below 16, nearly all of a spectrum, are looked up in registers, eight at a time; a
// group that holds a greater one is done one by one.

#if QORAC_LEVEL >= 3

static QORAC_INLINE Vec8 lookup(const Qor32s* table, Vec8 index) {
    const Vec8 low = load<Vec8>(table), high = load<Vec8>(table + 8);
#if QORAC_LEVEL >= 4
    return Vec8(_mm256_permutex2var_epi32(__m256i(low), __m256i(index), __m256i(high)));
#else
    const __m256 fromLow = _mm256_permutevar8x32_ps(__m256(low), __m256i(index));
    const __m256 fromHigh = _mm256_permutevar8x32_ps(__m256(high), __m256i(index));
    return Vec8(_mm256_blendv_ps(fromLow, fromHigh, __m256(index << 28)));
#endif
}

static QORAC_INLINE Vec8 loadEight(const Qor32s* p) { return load<Vec8>(p); }
static QORAC_INLINE Vec8 loadEight(const Qor16s* p) {
    return Vec8(_mm256_cvtepi16_epi32(_mm_loadu_si128(reinterpret_cast<const __m128i*>(p))));
}

// Eight coefficients, if their magnitudes are all below 16.
template <typename T>
static QORAC_INLINE bool requantizeSmall(const T* x, Qor32s* y, const BandScale& scale) {
    const Vec8 v = loadEight(x), sign = shiftArithmetic(v, 31);
    const Vec8 a = (v ^ sign) - sign;
    const __m256i above15 = __m256i(a >> 4);
    if (!_mm256_testz_si256(above15, above15)) return false;
    store(y, (lookup(scale.small, a) ^ sign) - sign);
    return true;
}

#else

template <typename T>
static QORAC_INLINE bool requantizeSmall(const T*, Qor32s*, const BandScale&) {
    return false;
}

#endif

// Number of coefficients done: all whole groups of eight, or those before a magnitude above
// `limit`.
template <typename T>
static QORAC_INLINE int requantizeGroups(const T* x, Qor32s* y, int len, const BandScale& scale,
                                         Qor32u limit) {
    int done = 0;
    for (; done + 8 <= len; done += 8) {
        if (requantizeSmall(x + done, y + done, scale)) continue;
        for (int i = done; i < done + 8; ++i) {
            if (magnitude(x[i]) > limit) return i;
            y[i] = scale(x[i]);
        }
    }
    return done;
}

static int requantizeInQ3(Qor32s* x, int len, const BandScale& scale) {
    return requantizeGroups(x, x, len, scale, kMaxMagnitude);
}

static int requantizeInQ0(const Qor16s* x, Qor32s* y, int len, const BandScale& scale) {
    return requantizeGroups(x, y, len, scale, 1u << 31);
}
