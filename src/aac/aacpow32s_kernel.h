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

static QORAC_INLINE bool anyAbove15(Vec8 a) {
    const __m256i bits = __m256i(a >> 4);
    return !_mm256_testz_si256(bits, bits);
}
#else
static QORAC_INLINE Vec8 lookup(const Qor32s* table, Vec8 index) {
    Vec8 v;
    for (int i = 0; i < 8; ++i) v[i] = Qor32u(table[index[i]]);
    return v;
}

static QORAC_INLINE bool anyAbove15(Vec8 a) {
    Qor32u all = 0;
    for (int i = 0; i < 8; ++i) all |= a[i];
    return all > 15;
}
#endif

// Results for eight coefficients whose magnitudes are all below 16; false when they are not.
static QORAC_INLINE bool requantizeSmall(Vec8& x, const BandScale& scale) {
    const Vec8 sign = shiftArithmetic(x, 31);
    const Vec8 a = (x ^ sign) - sign;
    if (anyAbove15(a)) return false;
    x = (lookup(scale.small, a) ^ sign) - sign;
    return true;
}

// Number of coefficients done: all, or those before a magnitude above 8191 or behind the last whole
// group of eight.
static int requantizeInQ3(Qor32s* x, int len, const BandScale& scale) {
    int done = 0;
    for (; done + 8 <= len; done += 8) {
        Vec8 v = load<Vec8>(x + done);
        if (requantizeSmall(v, scale)) {
            store(x + done, v);
            continue;
        }
        for (int i = done; i < done + 8; ++i) {
            if (magnitude(x[i]) > kMaxMagnitude) return i;
            x[i] = scale(x[i]);
        }
    }
    return done;
}

static int requantizeInQ0(const Qor16s* x, Qor32s* y, int len, const BandScale& scale) {
    int done = 0;
    for (; done + 8 <= len; done += 8) {
        Vec8 v;
        for (int i = 0; i < 8; ++i) v[i] = Qor32u(Qor32s(x[done + i]));
        if (requantizeSmall(v, scale)) {
            store(y + done, v);
            continue;
        }
        for (int i = done; i < done + 8; ++i) y[i] = scale(x[i]);
    }
    for (; done < len; ++done) y[done] = scale(x[done]);
    return done;
}
