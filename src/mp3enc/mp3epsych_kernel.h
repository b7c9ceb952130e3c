// Arithmetic of the psychoacoustic model on arrays, in vectors of one instruction level; see
// frame/levels.h. The lanes are 64-bit energies of neighbouring partitions or lines, below 2^62.

using Products = decltype(mulEven(Vec{}, Vec{}));
typedef Qor64u Wide __attribute__((vector_size(sizeof(Products))));
inline constexpr int kWideLanes = int(sizeof(Wide) / sizeof(Qor64u));
typedef Qor64s SignedWide __attribute__((vector_size(sizeof(Wide))));

static QORAC_INLINE Wide toWide(const Products& products) {
    Wide v;
    __builtin_memcpy(&v, &products, sizeof v);
    return v;
}

// Up to kWideLanes elements of an array, the other lanes 0.
static QORAC_INLINE Wide loadWide(const Qor64s* p, int count) {
    Wide v{};
    if (count >= kWideLanes) {
        __builtin_memcpy(&v, p, sizeof v);
    } else {
#if QORAC_LEVEL >= 4
        v = Wide(_mm512_maskz_loadu_epi64(__mmask8((1 << count) - 1), p));
#else
        for (int i = 0; i < count; ++i) v[i] = Qor64u(p[i]);
#endif
    }
    return v;
}
static QORAC_INLINE Wide loadWide(const Qor32s* p, int count) {
    typedef Qor32s Narrow __attribute__((vector_size(sizeof(Wide) / 2)));
    Narrow v{};
    if (count >= kWideLanes) {
        __builtin_memcpy(&v, p, sizeof v);
    } else {
#if QORAC_LEVEL >= 4
        v = Narrow(_mm256_maskz_loadu_epi32(__mmask8((1 << count) - 1), p));
#else
        for (int i = 0; i < count; ++i) v[i] = p[i];
#endif
    }
    return Wide(__builtin_convertvector(v, SignedWide));
}
static QORAC_INLINE void storeWide(Qor64s* p, const Wide& v, int count) {
    if (count >= kWideLanes) {
        __builtin_memcpy(p, &v, sizeof v);
    } else {
#if QORAC_LEVEL >= 4
        _mm512_mask_storeu_epi64(p, __mmask8((1 << count) - 1), __m512i(v));
#else
        for (int i = 0; i < count; ++i) p[i] = Qor64s(v[i]);
#endif
    }
}

static QORAC_INLINE Wide select(SignedWide condition, const Wide& a, const Wide& b) {
    return (Wide(condition) & a) | (~Wide(condition) & b);
}
static QORAC_INLINE Wide minWide(const Wide& a, const Wide& b) {
    return select(SignedWide(a) < SignedWide(b), a, b);
}
static QORAC_INLINE Wide maxWide(const Wide& a, const Wide& b) {
    return select(SignedWide(a) > SignedWide(b), a, b);
}

// Products of the low halves.
static QORAC_INLINE Wide mulLow(const Wide& a, const Wide& b) {
#if QORAC_LEVEL >= 4
    return Wide(_mm512_maskz_mul_epu32(__mmask8(-1), __m512i(a), __m512i(b)));
#elif QORAC_LEVEL >= 3
    return Wide(_mm256_mul_epu32(__m256i(a), __m256i(b)));
#else
    return (a & 0xFFFFFFFFu) * (b & 0xFFFFFFFFu);
#endif
}
static QORAC_INLINE Wide mulLow(const Wide& a, Qor32u b) { return mulLow(a, Wide{} + b); }

// Shifts by lanes; a count of 64 and more gives 0.
static QORAC_INLINE Wide shiftRight(const Wide& a, const Wide& n) {
#if QORAC_LEVEL >= 4
    return Wide(_mm512_maskz_srlv_epi64(__mmask8(-1), __m512i(a), __m512i(n)));
#elif QORAC_LEVEL >= 3
    return Wide(_mm256_srlv_epi64(__m256i(a), __m256i(n)));
#else
    return select(SignedWide(n < 64), a >> (n & 63), Wide{});
#endif
}
static QORAC_INLINE Wide shiftLeft(const Wide& a, const Wide& n) {
#if QORAC_LEVEL >= 4
    return Wide(_mm512_maskz_sllv_epi64(__mmask8(-1), __m512i(a), __m512i(n)));
#elif QORAC_LEVEL >= 3
    return Wide(_mm256_sllv_epi64(__m256i(a), __m256i(n)));
#else
    return select(SignedWide(n < 64), a << (n & 63), Wide{});
#endif
}
// a / 2^n, or a * 2^-n where n is negative.
static QORAC_INLINE Wide shiftEither(const Wide& a, const Wide& n) {
    return shiftRight(a, n) | shiftLeft(a, -n);
}

static QORAC_INLINE Wide mulQ31Wide(const Wide& a, const Wide& q31) {
    return 2 * mulLow(a >> 32, q31) + (mulLow(a, q31) >> 31);
}

// What ownsNorm64To32_Audio makes of values below 2^62.
struct Normal {
    Wide mantissa, shift;
};

static QORAC_INLINE Normal normalise(Wide a) {
    Wide shift{};
#if QORAC_LEVEL >= 4
    shift = Wide(_mm512_maskz_lzcnt_epi64(__mmask8(-1), __m512i(a | 1))) - 1;
    a = shiftLeft(a, shift);
#else
    // 62 at most: the steps of a bit-wise search for the highest bit.
    for (const Qor64u step : {32, 16, 8, 4, 2}) {
        const Wide by = Wide(SignedWide(a) < SignedWide(Wide{} + (1ull << (63 - step)))) & step;
        a = shiftLeft(a, by);
        shift += by;
    }
    const Wide last = Wide(SignedWide(a) < SignedWide(Wide{} + (1ull << 62))) & 1;
    // 0 has been shifted by 62, too.
    a = shiftLeft(a, last);
    shift = minWide(shift + last, Wide{} + 62);
#endif
    return {a >> 32, shift};
}

// What ownsReciprocal_Audio makes of a mantissa with bit 30 as its highest.
static QORAC_INLINE Wide reciprocalOf(const Wide& x) {
    const Wide square = mulLow(x, x) >> 32, cube = mulLow(x, square) >> 32;
    return ((Qor64u(_TAB_Reciprocal[3]) << 32) + mulLow(square, Qor32u(_TAB_Reciprocal[1])) -
            mulLow(cube, Qor32u(-_TAB_Reciprocal[0])) - mulLow(x, Qor32u(-_TAB_Reciprocal[2]))) >>
           27;
}

// a / b in Q`fraction`; what leaves at the top of 64 bits is lost. A divisor of 0 has the mantissa
// 1, which has the reciprocal of 2^30.
template <int fraction>
static QORAC_INLINE Wide quotient(const Wide& a, const Wide& b) {
    const Normal divisor = normalise(b);
    const Wide r = reciprocalOf(maxWide(divisor.mantissa, Wide{} + (1u << 30)));
    return shiftEither(mulQ31Wide(a, r), Qor64u(62 - fraction) - divisor.shift);
}

static QORAC_INLINE Wide atMostOne(const Wide& q31) {
    return minWide(q31, Wide{} + Qor64u(kMax32s));
}

// --- lines ------------------------------------------------------------------------------------

// The rows i of a matrix of kWideLanes rows become its columns: in steps 1, 2, 4 each pair of rows
// that distance apart exchanges its blocks of as many lanes beside the diagonal.
template <int distance, bool upper, int... lane>
static QORAC_INLINE Wide exchanged(const Wide& a, const Wide& b,
                                   std::integer_sequence<int, lane...>) {
    constexpr auto source = [](int l) {
        const bool fromA = (l & distance) == 0;
        return upper ? (fromA ? l + distance : kWideLanes + l)
                     : (fromA ? l : kWideLanes + l - distance);
    };
    return __builtin_shufflevector(a, b, source(lane)...);
}
template <int distance = 1>
static QORAC_INLINE void transpose(Wide* row) {
    constexpr auto lanes = std::make_integer_sequence<int, kWideLanes>();
    for (int i = 0; i < kWideLanes; ++i) {
        if ((i & distance) != 0) continue;
        const Wide a = row[i], b = row[i + distance];
        row[i] = exchanged<distance, false>(a, b, lanes);
        row[i + distance] = exchanged<distance, true>(a, b, lanes);
    }
    if constexpr (2 * distance < kWideLanes) transpose<2 * distance>(row);
}

// Energies and cross terms of complex numbers as the memory has them, the real part in the even
// lane of a pair. The cross term, twice the real part of a times the conjugate of b, is what
// separates the energy of a + b from the sum of the energies.
static QORAC_INLINE Wide energies(Vec x) {
    const Vec im = oddToEven(x);
    return toWide(mulEven(x, x) + mulEven(im, im));
}
static QORAC_INLINE Wide crossTerms(Vec a, Vec b) {
    return 2 * toWide(mulEven(a, b) + mulEven(oddToEven(a), oddToEven(b)));
}

static QORAC_INLINE Vec loadComplex(const Qor32sc* p) { return load<Vec>(&p->re); }

// Sums over the lines of each partition, of several rows. `lineRows` makes the rows of kWideLanes
// lines from line k on, and `finish` what is left of a row's sums; the sums run down the columns.
template <int rows, typename LineRows, typename Finish>
static QORAC_INLINE void sumPartitions(LineRows lineRows, Finish finish, const Qor16s* pPartition,
                                       int count, Qor64s* const* pDst) {
    constexpr int kGroups = (rows + kWideLanes - 1) / kWideLanes;
    Wide line[kLinesLong + kWideLanes][kGroups];
    for (int k = 0; k < pPartition[count]; k += kWideLanes) {
        Wide row[kGroups * kWideLanes];
        for (int i = rows; i < kGroups * kWideLanes; ++i) row[i] = Wide{};
        lineRows(k, row);
        for (int g = 0; g < kGroups; ++g) {
            transpose(row + g * kWideLanes);
            for (int i = 0; i < kWideLanes; ++i) line[k + i][g] = row[g * kWideLanes + i];
        }
    }
    for (int b = 0; b < count; b += kWideLanes) {
        Wide block[kGroups][kWideLanes];
        for (int i = 0; i < kWideLanes; ++i) {
            Wide sum[kGroups] = {};
            if (b + i < count) {
                for (int k = pPartition[b + i]; k < pPartition[b + i + 1]; ++k)
                    for (int g = 0; g < kGroups; ++g) sum[g] += line[k][g];
            }
            for (int g = 0; g < kGroups; ++g) block[g][i] = sum[g];
        }
        for (int g = 0; g < kGroups; ++g) transpose(block[g]);
        for (int row = 0; row < rows; ++row)
            storeWide(pDst[row] + b, finish(row, block[row / kWideLanes][row % kWideLanes]),
                      count - b);
    }
}

// Mid and side have a quarter of the energy of left plus and minus right.
static QORAC_INLINE Wide quarterOf(const Wide& a) { return a >> 2; }

// The energies of the analysis channels in the long partitions, then their unpredictable energies.
template <int channels, bool midSide>
static void sumLong(const SpectrumLong* pSpectrum, const Unpredictability* pCw,
                    const Qor16s* pPartition, int count, Qor64s* const* pDst) {
    constexpr int kAnalysis = midSide ? kAnalysisChannels : channels;
    const auto lineRows = [&](int k, Wide* energy) {
        Wide* const unpredictable = energy + kAnalysis;
        Vec x[2];
        Wide cw[2];
        for (int c = 0; c < channels; ++c) {
            x[c] = loadComplex(pSpectrum[c] + k);
            cw[c] = loadWide(pCw[c] + k, kWideLanes);
            energy[c] = energies(x[c]);
            unpredictable[c] = mulQ31Wide(energy[c], cw[c]);
        }
        if constexpr (midSide) {
            const Wide both = energy[0] + energy[1], cross = crossTerms(x[0], x[1]);
            const Wide measure = minWide(cw[0], cw[1]);
            energy[2] = both + cross;
            energy[3] = both - cross;
            for (int c = 2; c < kAnalysis; ++c) unpredictable[c] = mulQ31Wide(energy[c], measure);
        }
    };
    const auto finish = [](int row, const Wide& sum) {
        return row % kAnalysis < 2 ? sum : quarterOf(sum);
    };
    sumPartitions<2 * kAnalysis>(lineRows, finish, pPartition, count, pDst);
}

// The energies of the analysis channels in the short partitions, by window.
template <int channels, bool midSide>
static void sumShort(const SpectrumShort* pSpectrum, const Qor16s* pPartition, int count,
                     Qor64s* const* pDst) {
    constexpr int kAnalysis = midSide ? kAnalysisChannels : channels;
    const auto lineRows = [&](int k, Wide* energy) {
        for (int w = 0; w < kWindows; ++w) {
            Vec x[2];
            for (int c = 0; c < channels; ++c) {
                x[c] = loadComplex(pSpectrum[c][w] + k);
                energy[c * kWindows + w] = energies(x[c]);
            }
            if constexpr (midSide) {
                const Wide both = energy[w] + energy[kWindows + w], cross = crossTerms(x[0], x[1]);
                energy[2 * kWindows + w] = both + cross;
                energy[3 * kWindows + w] = both - cross;
            }
        }
    };
    const auto finish = [](int row, const Wide& sum) {
        return row < 2 * kWindows ? sum : quarterOf(sum);
    };
    sumPartitions<kAnalysis * kWindows>(lineRows, finish, pPartition, count, pDst);
}

static void sumLongPartitions(const SpectrumLong* pSpectrum, const Unpredictability* pCw,
                              const Qor16s* pPartition, int count, int channels, bool midSide,
                              Qor64s* const* pDst) {
    const auto sum = midSide         ? sumLong<2, true>
                     : channels == 2 ? sumLong<2, false>
                                     : sumLong<1, false>;
    sum(pSpectrum, pCw, pPartition, count, pDst);
}
static void sumShortPartitions(const SpectrumShort* pSpectrum, const Qor16s* pPartition, int count,
                               int channels, bool midSide, Qor64s* const* pDst) {
    const auto sum = midSide         ? sumShort<2, true>
                     : channels == 2 ? sumShort<2, false>
                                     : sumShort<1, false>;
    sum(pSpectrum, pPartition, count, pDst);
}

static void multiplyQ31(const Qor64s* pEnergy, const Qor32s* pFactor, int count, Qor64s* pDst) {
    for (int k = 0; k < count; k += kWideLanes) {
        storeWide(pDst + k,
                  mulQ31Wide(loadWide(pEnergy + k, count - k), loadWide(pFactor + k, count - k)),
                  count - k);
    }
}

// --- unpredictability -------------------------------------------------------------------------

// Products of the low halves as signed numbers.
static QORAC_INLINE Wide mulSigned(const Wide& a, const Wide& b) {
    Vec x, y;
    __builtin_memcpy(&x, &a, sizeof x);
    __builtin_memcpy(&y, &b, sizeof y);
    return toWide(mulEven(x, y));
}
// a / 2^n of signed numbers, truncated toward minus infinity. The complement of a negative number
// shifts in zeros, which are its sign.
static QORAC_INLINE Wide shiftSignedRight(const Wide& a, const Wide& n) {
#if QORAC_LEVEL >= 4
    return Wide(_mm512_maskz_srav_epi64(__mmask8(-1), __m512i(a), __m512i(n)));
#else
    const Wide sign = Wide(SignedWide(a) < 0);
    return shiftRight(a ^ sign, n) ^ sign;
#endif
}
static QORAC_INLINE Wide shiftSignedRight(const Wide& a, int n) {
    return shiftSignedRight(a, Wide{} + Qor64u(n));
}
// The same, or a * 2^-n where n is negative.
static QORAC_INLINE Wide shiftSigned(const Wide& a, const Wide& n) {
    return select(SignedWide(n) < 0, shiftLeft(a, -n), shiftSignedRight(a, n));
}
static QORAC_INLINE Wide saturated(const Wide& a) {
    const Wide most = Wide{} + Qor64u(kMax32s), least = Wide{} + Qor64u(Qor64s(kMin32s));
    return maxWide(minWide(a, most), least);
}

// What ownsSqrt_Audio_32s makes of a number below 2^62 and of one with bit 63 set, the low half of
// which is added to its high half as it stands.
static QORAC_INLINE Wide rootOf(const Wide& a) {
    const Normal usual = normalise(a);
    const SignedWide isLarge = SignedWide(a) < 0;
    const Wide mantissa = select(isLarge, ((a >> 32) + a) & 0xFFFFFFFFu, usual.mantissa);
    const Wide shift = select(isLarge, Wide{}, usual.shift);
    const Wide constant = Wide(SignedWide(mantissa != 0)) & (Qor64u(_TAB_Sqrt[2]) << 31);
    const Wide odd = (mulLow(mantissa, Qor32u(_TAB_Sqrt[1])) + constant -
                      mulLow(mulLow(mantissa, mantissa) >> 32, Qor32u(-_TAB_Sqrt[0]))) >>
                     15;
    constexpr Qor32u kSqrt2 = 23170;  // Q14
    const Wide even = mulLow(odd, kSqrt2) >> 14;
    const Wide root = select(SignedWide((shift & 1) == 0), even, odd);
    return shiftEither(root, (shift >> 1) - 5) & 0xFFFFFFFFu;
}

struct WideLine {
    Wide re, im, magnitude;  // times 32, below 2^30
};
static QORAC_INLINE WideLine loadLine(const Qor32sc* p) {
    const Vec x = loadComplex(p);
    return {toWide(wideOf(x)), toWide(wideOf(oddToEven(x))), rootOf(energies(x))};
}

// What unpredictability() makes of neighbouring lines.
static QORAC_INLINE Wide unpredictabilities(const WideLine& line, const WideLine& before,
                                            const WideLine& twoBefore) {
    const Wide one = Wide{} + Qor64u(kMax32s);
    const Normal m1 = normalise(before.magnitude), m2 = normalise(twoBefore.magnitude);
    const Wide r1 = reciprocalOf(m1.mantissa), r2 = reciprocalOf(m2.mantissa);
    const Wide a = shiftSignedRight(mulSigned(before.re, r1), 25);
    const Wide b = shiftSignedRight(mulSigned(before.im, r1), 25);
    const Wide shift1 = 30 - 2 * (m1.shift - 32), shift2 = 25 - (m2.shift - 32);
    const Wide square = shiftSigned(mulSigned(a, a), shift1) + Qor64u(Qor64s(kMin32s));
    const SignedWide none1 = SignedWide(before.magnitude == 0);
    const SignedWide none2 = SignedWide(twoBefore.magnitude == 0);
    const Wide cosTwice = select(none1, one, saturated(square));
    const Wide sinTwice = select(none1, Wide{}, saturated(shiftSigned(mulSigned(a, b), shift1)));
    const Wide cosBack =
        select(none2, one, saturated(shiftSigned(mulSigned(twoBefore.re, r2), shift2)));
    const Wide sinBack =
        select(none2, Wide{}, saturated(shiftSigned(mulSigned(twoBefore.im, r2), shift2)));

    const Wide predictedCos = saturated(
        shiftSignedRight(mulSigned(cosTwice, cosBack) + mulSigned(sinTwice, sinBack), 31));
    const Wide predictedSin = saturated(
        shiftSignedRight(mulSigned(cosBack, sinTwice) - mulSigned(sinBack, cosTwice), 31));
    const Wide predicted = 2 * before.magnitude - twoBefore.magnitude;
    const Wide re = (line.re << 5) - (mulSigned(predictedCos, predicted) >> 31);
    const Wide im = (line.im << 5) - (mulSigned(predictedSin, predicted) >> 31);
    const Wide distance = rootOf(shiftSignedRight(mulLow(re, re) + mulLow(im, im), 10));

    const Wide largest = maxWide(predicted, -predicted) + line.magnitude;
    const Normal d = normalise(largest);
    const Wide ratio = shiftRight(mulLow(distance, reciprocalOf(d.mantissa)), 62 - d.shift);
    return select(SignedWide(largest == 0), Wide{}, minWide(ratio, one));
}

// The first `count` lines of three spectra, the oldest first; what stands behind them is read, too.
static void shortUnpredictability(const Qor32sc* pTwoBefore, const Qor32sc* pBefore,
                                  const Qor32sc* pLine, int count, Qor64s* pDst) {
    for (int k = 0; k < count; k += kWideLanes) {
        const Wide cw = unpredictabilities(loadLine(pLine + k), loadLine(pBefore + k),
                                           loadLine(pTwoBefore + k));
        storeWide(pDst + k, cw, count - k);
    }
}

// --- partitions -------------------------------------------------------------------------------

// A coefficient in the low half of every lane.
static QORAC_INLINE Wide lowHalves(Qor32s c) {
#if QORAC_LEVEL >= 4
    return Wide(_mm512_set1_epi32(c));
#elif QORAC_LEVEL >= 3
    return Wide(_mm256_set1_epi32(c));
#else
    return Wide{} + Qor32u(c);
#endif
}

// Spreading of up to kWideLanes rows: each row's partition b gathers the partitions of its bound,
// each times its coefficient, as mulQ31 multiplies. The rows stand in the lanes and share the
// coefficients.
static QORAC_INLINE void spreadRows(const Qor64s* const* pRows, int rows, const Qor16s* pBound,
                                    const Qor32s* pPacked, int count, Qor64s* const* pDst) {
    constexpr int kMostPartitions = (kMaxPartLong + kWideLanes - 1) / kWideLanes * kWideLanes;
    Wide low[kMostPartitions], highTwice[kMostPartitions];
    for (int b = 0; b < count; b += kWideLanes) {
        Wide* const block = low + b;
        for (int i = 0; i < kWideLanes; ++i) {
            block[i] = i < rows ? loadWide(pRows[i] + b, count - b) : Wide{};
        }
        transpose(block);
        for (int i = 0; i < kWideLanes; ++i) highTwice[b + i] = block[i] >> 32 << 1;
    }
    for (int b = 0; b < count; b += kWideLanes) {
        Wide block[kWideLanes];
        for (int i = 0; i < kWideLanes; ++i) {
            Wide ofHigh{}, ofLow{};
            if (b + i < count) {
                for (int j = pBound[2 * (b + i)]; j < pBound[2 * (b + i) + 1]; ++j) {
                    const Wide coefficient = lowHalves(*pPacked++);
                    ofHigh += mulLow(highTwice[j], coefficient);
                    ofLow += mulLow(low[j], coefficient) >> 31;
                }
            }
            block[i] = ofHigh + ofLow;
        }
        transpose(block);
        for (int i = 0; i < kWideLanes && i < rows; ++i)
            storeWide(pDst[i] + b, block[i], count - b);
    }
}

static void spread(const Qor64s* const* pRows, int rows, const Qor16s* pBound,
                   const Qor32s* pPacked, int count, Qor64s* const* pDst) {
    for (int first = 0; first < rows; first += kWideLanes) {
        spreadRows(pRows + first, rows - first, pBound, pPacked, count, pDst + first);
    }
}

// Factor from spread energy to threshold, Q32, of an unpredictability (Q31): the power 1.18813
// between two limits, by the steps of ownsPow118813_Audio_32s on several values at once.
static QORAC_INLINE Wide maskingFactor(const Wide& cb) {
    const Wide inside = minWide(maxWide(cb, Wide{} + kToneMeasure), Wide{} + kNoiseMeasure);
    const Normal v = normalise(inside);
    const Wide& y = v.mantissa;
    const Wide power = ((Qor64u(_TAB_Pow[2]) << 31) + mulLow(y, Qor32u(_TAB_Pow[1])) -
                        mulLow(mulLow(y, y) >> 32, Qor32u(-_TAB_Pow[0]))) >>
                       14;
    Wide ofExponent{};
    for (int i = 0; i < kWideLanes; ++i) ofExponent[i] = Qor64u(_TAB_Pow2[v.shift[i] - 32]);
    const Wide result = mulLow(ofExponent, mulLow(inside, power) >> 32) >> 16;
    const Wide factor = mulLow(result, kFactorScale) >> 30;
    const Wide upToNoise =
        select(SignedWide(cb) > SignedWide(Wide{} + kNoiseMeasure), Wide{} + kNoiseFactor, factor);
    return select(SignedWide(cb) < SignedWide(Wide{} + kToneMeasure), Wide{} + kToneFactor,
                  upToNoise);
}

static void maskingThresholds(const Qor64s* pEnergy, const Qor64s* pUnpredictable, int count,
                              Qor64s* pThreshold) {
    for (int b = 0; b < count; b += kWideLanes) {
        const Wide energy = loadWide(pEnergy + b, count - b);
        const Wide cb = quotient<31>(loadWide(pUnpredictable + b, count - b), energy);
        const Wide threshold = mulQ31Wide(energy, maskingFactor(cb)) >> 1;
        storeWide(pThreshold + b, select(SignedWide(energy == 0), Wide{} + 1, threshold),
                  count - b);
    }
}

static void couple(const FourChannels& energy, const FourChannels& threshold,
                   const Qor32s* pBmldRatio, int count) {
    for (int b = 0; b < count; b += kWideLanes) {
        const int n = count - b;
        const Wide bmld = loadWide(pBmldRatio + b, n);
        const Wide left = loadWide(threshold.left + b, n), right = loadWide(threshold.right + b, n);
        const Wide mid = loadWide(threshold.mid + b, n), side = loadWide(threshold.side + b, n);
        const Wide q = atMostOne(quotient<31>(minWide(mid, side), maxWide(mid, side)));
        const Wide lower = minWide(left, right);
        const auto limit = [&](const Wide& nb, const Qor64s* pEnergy) {
            return minWide(nb, mulQ31Wide(loadWide(pEnergy + b, n), bmld));
        };
        const Wide fromMid = limit(mid, energy.mid), fromSide = limit(side, energy.side);
        storeWide(threshold.left + b, maxWide(limit(left, energy.left), mulQ31Wide(left, q)), n);
        storeWide(threshold.right + b, maxWide(limit(right, energy.right), mulQ31Wide(right, q)),
                  n);
        storeWide(threshold.mid + b, minWide(maxWide(fromSide, mid), lower), n);
        storeWide(threshold.side + b, minWide(maxWide(fromMid, side), lower), n);
    }
}

// log10 of energy over threshold + 1, at least of 1; Q31.
static void logarithms(const Qor64s* pEnergy, const Qor64s* pThreshold, int count, Qor64s* pDst) {
    constexpr int kFraction = 11;
    constexpr Qor32u kLog10Of2 = 646456993;  // Q31
    for (int b = 0; b < count; b += kWideLanes) {
        const Wide ratio = quotient<kFraction>(loadWide(pEnergy + b, count - b),
                                               loadWide(pThreshold + b, count - b) + 1);
        const Normal v = normalise(maxWide(ratio, Wide{} + (1u << kFraction)));
        const Wide y = v.mantissa >> 16;
        const Wide fraction = (mulLow(y, Qor32u(_TAB_Log2[1])) - (Qor64u(-_TAB_Log2[2]) << 14) -
                               mulLow(mulLow(y, y) >> 14, Qor32u(-_TAB_Log2[0]))) >>
                              14;
        const Wide exponent = Qor64u(62 - kFraction) - v.shift;
        storeWide(pDst + b, (mulLow(fraction, kLog10Of2) >> 14) + mulLow(exponent, kLog10Of2),
                  count - b);
    }
}

// Threshold over energy, Q31; the largest value where there is no energy.
static void ratios(const Qor64s* pThreshold, const Qor64s* pEnergy, int count, Qor64s* pDst) {
    for (int b = 0; b < count; b += kWideLanes) {
        const Wide energy = loadWide(pEnergy + b, count - b);
        const Wide ratio = atMostOne(quotient<31>(loadWide(pThreshold + b, count - b), energy));
        storeWide(pDst + b, select(SignedWide(energy == 0), Wide{} + Qor64u(kMax32s), ratio),
                  count - b);
    }
}
