// The power law and the gains of MP3 in vectors of one instruction level; see frame/levels.h.

// 2^(-e/4) * k^(4/3) in Q26 for k from 0 to 15, with e = 4q + r. The shifts wrap.
struct SmallLines {
    alignas(64) Qor32s line[16];

    QORAC_INLINE SmallLines(int q, int r) {
        for (int k = 0; k < 16; ++k) {
            const int shift = k < 4 ? q + 2 : q - 1;
            const int down = shift < 0 ? 0 : shift > 31 ? 31 : shift, up = shift < 0 ? -shift : 0;
            line[k] = Qor32s(Qor32u(_pReq16x4_Audio.row[r][k] >> down) << up);
        }
    }
};

// requantizeChunk makes the lines of up to kChunk values. Larger magnitudes than 15 it leaves alone
// and returns their lanes as bits.
#if QORAC_LEVEL >= 4

constexpr int kChunk = 16;

static QORAC_INLINE unsigned requantizeChunk(const Qor32s* pSrc, Qor32s* pDst, int len,
                                             const SmallLines& small) {
    const __mmask16 inBand = len >= kChunk ? __mmask16(-1) : __mmask16((1u << len) - 1);
    const __m512i value = _mm512_maskz_loadu_epi32(inBand, pSrc);
    const __m512i k = _mm512_maskz_abs_epi32(inBand, value);
    const __mmask16 inTable = _mm512_mask_cmple_epu32_mask(inBand, k, _mm512_set1_epi32(15));
    const __m512i line = _mm512_maskz_permutexvar_epi32(inTable, k, _mm512_load_si512(small.line));
    const __m512i withSign =
        _mm512_mask_sub_epi32(line, _mm512_movepi32_mask(value), _mm512_setzero_si512(), line);
    _mm512_mask_storeu_epi32(pDst, inTable, withSign);
    return inBand & ~unsigned(inTable);
}

#elif QORAC_LEVEL >= 3

constexpr int kChunk = 8;

static QORAC_INLINE unsigned requantizeChunk(const Qor32s* pSrc, Qor32s* pDst, int len,
                                             const SmallLines& small) {
    const auto half = [&](int i) {
        return _mm256_load_si256(reinterpret_cast<const __m256i*>(small.line + i));
    };
    const __m256i inBand =
        _mm256_cmpgt_epi32(_mm256_set1_epi32(len), _mm256_setr_epi32(0, 1, 2, 3, 4, 5, 6, 7));
    const __m256i value = _mm256_maskload_epi32(pSrc, inBand);
    const __m256i k = _mm256_abs_epi32(value);
    const __m256i inTable = _mm256_and_si256(
        inBand, _mm256_cmpeq_epi32(_mm256_srli_epi32(k, 4), _mm256_setzero_si256()));
    const __m256i line = _mm256_blendv_epi8(_mm256_permutevar8x32_epi32(half(0), k),
                                            _mm256_permutevar8x32_epi32(half(8), k),
                                            _mm256_cmpgt_epi32(k, _mm256_set1_epi32(7)));
    _mm256_maskstore_epi32(pDst, inTable, _mm256_sign_epi32(line, value));
    return unsigned(_mm256_movemask_ps(_mm256_castsi256_ps(_mm256_andnot_si256(inTable, inBand))));
}

#else

constexpr int kChunk = 8;

static QORAC_INLINE unsigned requantizeChunk(const Qor32s* pSrc, Qor32s* pDst, int len,
                                             const SmallLines& small) {
    unsigned large = 0;
    for (int i = 0; i < kChunk && i < len; ++i) {
        const Qor32u k = magnitude(pSrc[i]);
        if (k > 15)
            large |= 1u << i;
        else
            pDst[i] = pSrc[i] < 0 ? wrapNeg(small.line[k]) : small.line[k];
    }
    return large;
}

#endif

// Lines of one band: pDst[i] = sign * 2^(-e/4) * |pSrc[i]|^(4/3) in Q26. False for a magnitude
// above 8206.
static QORAC_INLINE bool _sReqCore_MP3_32s_I(const Qor32s* pSrc, Qor32s* pDst, int len, int e) {
    const int q = e >> 2, r = e & 3;
    const SmallLines small(q, r);
    for (int start = 0; start < len; start += kChunk) {
        for (unsigned large = requantizeChunk(pSrc + start, pDst + start, len - start, small);
             large != 0; large &= large - 1) {
            const int i = start + __builtin_ctz(large);
            const Qor32u k = magnitude(pSrc[i]);
            if (k > kMaxMagnitude) return false;
            const Qor32s line = requantizeLarge(int(k), q, r);
            pDst[i] = pSrc[i] < 0 ? wrapNeg(line) : line;
        }
    }
    return true;
}

static QorStatus requantize(const Granule& granule, const Channel& channel) {
    const QorMP3SideInfo& side = *channel.side;
    if (outside(side.global_gain, 0, 255) || outside(side.scalefac_scale, 0, 1) ||
        outside(side.preflag, 0, 1))
        return qorStsMp3SideInfoErr;
    const int gain = 210 - side.global_gain;
    const int shift = side.scalefac_scale + 1;
    const auto exponent = [&](int index, int pretab) {
        const int scaleFactor = int(magnitude(channel.scaleFactor[index]));
        return gain + channel.midSide[index] + ((pretab + scaleFactor) << shift);
    };

    if (channel.hasLong) {
        const int end = channel.isShort ? kMixedLongLines : *channel.bound;
        for (int b = 0; b < 22 && granule.longBand[b] < end; ++b) {
            Qor32s* const lines = channel.lines + granule.longBand[b];
            const int width = granule.longBand[b + 1] - granule.longBand[b];
            if (!_sReqCore_MP3_32s_I(lines, lines, width,
                                     exponent(b, side.preflag ? _pPretab[b] : 0)))
                return qorStsErr;
        }
    }
    for (int w = 0; w < 3 && channel.isShort; ++w) {
        if (outside(side.subblock_gain[w], 0, 7)) return qorStsErr;
        for (int b = channel.firstShort; b < channel.top[w]; ++b) {
            const ShortBand band = shortBandOf(granule.shortBand, b, w);
            if (!_sReqCore_MP3_32s_I(
                    channel.lines + band.start, channel.shortLines + band.start, band.width,
                    exponent(channel.scaleIndex(b, w), 0) + 8 * side.subblock_gain[w]))
                return qorStsErr;
        }
    }
    return qorStsNoErr;
}
