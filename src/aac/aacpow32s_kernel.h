// The power law of a band in vectors; compiled once per level by aacpow32s.cpp.
//
// Eight coefficients at a time: magnitudes below 16, nearly all of a spectrum, are looked up in
// registers and those up to 128 in memory; greater ones are done one by one.

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

static QORAC_INLINE bool anyLane(__m256i mask) { return !_mm256_testz_si256(mask, mask); }

// Results for magnitudes from 16 to 128; the shifts are of less than 32 to the left.
static QORAC_INLINE __m256i requantizeMedium(__m256i a, const BandScale& scale) {
    const __m256i last = _mm256_set1_epi32(112);
    const __m256i index = _mm256_min_epu32(_mm256_sub_epi32(a, _mm256_set1_epi32(16)), last);
    const Vec8 mantissa = Vec8(_mm256_i32gather_epi32(_pSqrt43_Audio.data(), index, 4));
    const Vec8 v = mulLanes<32>(mantissa, broadcast<Vec8>(Qor32u(scale.gain)));
    const __m256i above63 = _mm256_cmpgt_epi32(a, _mm256_set1_epi32(63));
    const auto perLane = [&](Qor64s below, Qor64s above) {
        return _mm256_blendv_epi8(_mm256_set1_epi32(clampShift(below)),
                                  _mm256_set1_epi32(clampShift(above)), above63);
    };
    const Qor64s below = scale.shift(4), above = scale.shift(6);
    return _mm256_sllv_epi32(_mm256_srav_epi32(__m256i(v), perLane(below, above)),
                             perLane(-below, -above));
}

// Eight coefficients v, which stand at x; returns the number done, less than `count` at a magnitude
// above `limit`.
template <int count, typename T, typename Store>
static QORAC_INLINE int requantizeVector(__m256i v, const T* x, Qor32s* y, const BandScale& scale,
                                         Qor32u limit, Store store8) {
    const __m256i a = _mm256_abs_epi32(v);
    __m256i value = __m256i(lookup(scale.small, Vec8(a)));
    const __m256i above15 = _mm256_srli_epi32(a, 4);
    if (anyLane(above15)) {
        const __m256i within128 =
            _mm256_cmpeq_epi32(_mm256_min_epu32(a, _mm256_set1_epi32(128)), a);
        if (anyLane(_mm256_andnot_si256(within128, _mm256_set1_epi32(-1))) ||
            scale.shift(6) <= -32) {
            for (int i = 0; i < count; ++i) {
                if (magnitude(x[i]) > limit) return i;
                y[i] = scale(x[i]);
            }
            return count;
        }
        const __m256i isSmall = _mm256_cmpeq_epi32(above15, _mm256_setzero_si256());
        value = _mm256_blendv_epi8(requantizeMedium(a, scale), value, isSmall);
    }
    const __m256i sign = _mm256_srai_epi32(v, 31);
    store8(_mm256_sub_epi32(_mm256_xor_si256(value, sign), sign));
    return count;
}

static QORAC_INLINE __m256i loadEight(const Qor32s* p) { return __m256i(load<Vec8>(p)); }
static QORAC_INLINE __m256i loadEight(const Qor16s* p) {
    return _mm256_cvtepi16_epi32(_mm_loadu_si128(reinterpret_cast<const __m128i*>(p)));
}
static QORAC_INLINE __m256i loadFour(const Qor32s* p) {
    return _mm256_zextsi128_si256(_mm_loadu_si128(reinterpret_cast<const __m128i*>(p)));
}
static QORAC_INLINE __m256i loadFour(const Qor16s* p) {
    return _mm256_cvtepi16_epi32(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(p)));
}

template <typename T>
static QORAC_INLINE int requantizeEight(const T* x, Qor32s* y, const BandScale& scale,
                                        Qor32u limit) {
    return requantizeVector<8>(loadEight(x), x, y, scale, limit,
                               [&](__m256i v) { store(y, Vec8(v)); });
}
template <typename T>
static QORAC_INLINE int requantizeFour(const T* x, Qor32s* y, const BandScale& scale,
                                       Qor32u limit) {
    return requantizeVector<4>(loadFour(x), x, y, scale, limit, [&](__m256i v) {
        _mm_storeu_si128(reinterpret_cast<__m128i*>(y), _mm256_castsi256_si128(v));
    });
}

#else

template <typename T>
static QORAC_INLINE int requantizeEight(const T*, Qor32s*, const BandScale&, Qor32u) {
    return 0;
}
template <typename T>
static QORAC_INLINE int requantizeFour(const T*, Qor32s*, const BandScale&, Qor32u) {
    return 0;
}

#endif

// A band from x to y, which may be the same. False at a magnitude above `limit`; the coefficients
// before it are done.
template <typename T>
static QORAC_INLINE bool requantize(const T* x, Qor32s* y, int len, const BandScale& scale,
                                    Qor32u limit) {
    int i = 0;
    while (len - i >= 8) {
        const int done = requantizeEight(x + i, y + i, scale, limit);
        i += done;
        if (done < 8) break;
    }
    if (len - i >= 4) i += requantizeFour(x + i, y + i, scale, limit);
    for (; i < len; ++i) {
        if (magnitude(x[i]) > limit) return false;
        y[i] = scale(x[i]);
    }
    return true;
}

// `len` coefficients times 2^(s/4), in Q3.
static QORAC_INLINE bool ownsReqCore_AAC_I(Qor32s* pSrcDst, int len, Qor32s s) {
    return requantize(pSrcDst, pSrcDst, len, BandScale(s, 3), kMaxMagnitude);
}

// The same in Q0, for any magnitude.
static void ownsReqCore_AAC_16s32s_Sf(const Qor16s* pSrc, Qor32s* pDst, int len, Qor64s s) {
    if (len > 0) requantize(pSrc, pDst, len, BandScale(s, 0), ~0u);
}

static QorStatus requantizeSpectrum(const Quantized& q) {
    const Qor16s* scaleFactor = q.scaleFactor;
    const Qor8u* book = q.sfbCb;
    Qor32s* group = q.spectrum;
    for (int g = 0; g < q.numWinGrp; ++g) {
        const int windows = q.winGrpLen[g];
        for (int b = 0; b < q.maxSfb; ++b, ++scaleFactor, ++book) {
            if (!holdsCoefficients(*book)) continue;
            const int start = q.bands.offset[b] * windows, end = q.bands.offset[b + 1] * windows;
            if (!ownsReqCore_AAC_I(group + start, end - start, *scaleFactor - kScaleFactorOffset))
                return qorStsAacQuantMaxErr;
        }
        group += windows * q.winLen;
    }
    return qorStsNoErr;
}
