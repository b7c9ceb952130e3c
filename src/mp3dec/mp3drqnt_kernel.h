// The power law and the gains of MP3 in vectors of one instruction level; see frame/levels.h.

// 2^(-e/4) * k^(4/3) in Q26 for k from 0 to 15, with e = 4q + r. The shifts wrap.
struct SmallLines {
    alignas(64) Qor32s line[16];

    QORAC_INLINE SmallLines(int q, int r) {
        for (int k = 0; k < 16; ++k) {
            const int shift = k < 4 ? q + 2 : q - 1;
            const int down = shift < 0 ? 0 : shift > 31 ? 31 : shift, up = shift < 0 ? -shift : 0;
            line[k] = Qor32s(Qor32u(_pReq16x4.row[r][k] >> down) << up);
        }
    }
};

#if QORAC_LEVEL >= 4

constexpr int kChunk = 16;

// The lines of up to 16 values. Larger magnitudes than 15 are left alone; their lanes are returned.
static QORAC_INLINE unsigned requantizeChunk(const Qor32s* pSrc, Qor32s* pDst, int len,
                                             const SmallLines& small) {
    const __mmask16 inBand = len >= 16 ? __mmask16(-1) : __mmask16((1u << len) - 1);
    const __m512i value = _mm512_maskz_loadu_epi32(inBand, pSrc);
    const __m512i k = _mm512_maskz_abs_epi32(inBand, value);
    const __mmask16 inTable = _mm512_mask_cmple_epu32_mask(inBand, k, _mm512_set1_epi32(15));
    const __m512i line =
        _mm512_maskz_permutexvar_epi32(inTable, k, _mm512_load_si512(small.line));
    const __m512i signedLine = _mm512_mask_sub_epi32(line, _mm512_movepi32_mask(value),
                                                     _mm512_setzero_si512(), line);
    _mm512_mask_storeu_epi32(pDst, inTable, signedLine);
    return inBand & ~unsigned(inTable);
}

#elif QORAC_LEVEL >= 3

constexpr int kChunk = 8;

static QORAC_INLINE unsigned requantizeChunk(const Qor32s* pSrc, Qor32s* pDst, int len,
                                             const SmallLines& small) {
    const __m256i lanes = _mm256_setr_epi32(0, 1, 2, 3, 4, 5, 6, 7);
    const __m256i inBand = _mm256_cmpgt_epi32(_mm256_set1_epi32(len), lanes);
    const __m256i value = _mm256_maskload_epi32(pSrc, inBand);
    const __m256i k = _mm256_abs_epi32(value);
    const __m256i beyond = _mm256_cmpgt_epi32(k, _mm256_set1_epi32(15));  // see below for 2^31
    const __m256i inTable = _mm256_andnot_si256(_mm256_or_si256(beyond, k), inBand);
    (void)inTable;
    return 0;
}

#endif
