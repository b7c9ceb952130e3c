// The 32-band analysis in vectors of one instruction level; see frame/levels.h.

// Products of the 16-bit halves of the lanes, low with low and high with high, added.
#if QORAC_LEVEL >= 4
static QORAC_INLINE Vec mulAddHalves(Vec a, Vec b) {
    return Vec(_mm512_madd_epi16(__m512i(a), __m512i(b)));
}
#elif QORAC_LEVEL >= 3
static QORAC_INLINE Vec mulAddHalves(Vec a, Vec b) {
    return Vec(_mm256_madd_epi16(__m256i(a), __m256i(b)));
}
#else
static QORAC_INLINE Vec mulAddHalves(Vec a, Vec b) {
    return {Vec4(_mm_madd_epi16(__m128i(a.low), __m128i(b.low))),
            Vec4(_mm_madd_epi16(__m128i(a.high), __m128i(b.high)))};
}
#endif

static QORAC_INLINE Vec loadSamples(const Qor16s* p) {
    Vec v;
    __builtin_memcpy(&v, p, sizeof v);
    return v;
}

// y[q] is the standard's Y[63 - q]: the window's sum over every 64th sample, rounded to 10 fraction
// bits. Every second sample of x counts.
static QORAC_INLINE void windowSums(const Qor16s* x, Vec* y) {
    constexpr int kFractionBits = 20;
    const Vec lowHalves = broadcast<Vec>(0xFFFF);
    for (int lane = 0; lane < kRow; lane += kLanes<Vec>) {
        Vec high{}, low = broadcast<Vec>(1 << (kFractionBits - 1));
        for (int p = 0; p < kRows / 2; ++p) {
            const Qor16s* const newer = x + 2 * (kRow * (kRows - 1 - 2 * p) + lane);
            // A sample of the older row is in the low half of its lane. From the sample before it
            // on, one of the newer row is in the high half, and neither load leaves the samples.
            const Vec old = loadSamples(newer - 2 * kRow), young = loadSamples(newer - 1);
            const Vec samples = ((old ^ young) & lowHalves) ^ young;
            const RowPair& window = _pEncWinC_MP3.pair[p];
            high += mulAddHalves(samples, load<Vec>(window.high + lane));
            low += mulAddHalves(samples, load<Vec>(window.low + lane));
        }
        const Vec sum = high + shiftArithmetic(low, kLowBits);
        y[lane / kLanes<Vec>] = shiftArithmetic(sum, kFractionBits - kLowBits);
    }
}

// The last lane of a, then the lanes of b but for its last one.
#if QORAC_LEVEL >= 4
static QORAC_INLINE Vec moveUp(Vec a, Vec b) {
    return __builtin_shufflevector(a, b, 15, 16, 17, 18, 19, 20, 21, 22, 23, 24, 25, 26, 27, 28, 29,
                                   30);
}
#else
static QORAC_INLINE Vec moveUp(Vec a, Vec b) { return pick<7, 8, 9, 10, 11, 12, 13, 14>(a, b); }
#endif

// d[m], of which the sub-band samples are the sums of d[m] cos((2 sb + 1) m pi / 64) / 2: y[47 - m]
// with y[47 + m] added up to m = 16 and y[m - 17] taken off from there on.
static QORAC_INLINE void fold(const Vec* y, Qor32s* d) {
    constexpr int kLane = kLanes<Vec>, kCentre = 48 / kLane;
    Vec before{};
    for (int i = 0; i < 32 / kLane; ++i) {
        const Vec term = i < 16 / kLane ? y[kCentre + i] : -y[i - 16 / kLane];
        store(d + kLane * i, reverse(y[kCentre - 1 - i]) + moveUp(before, term));
        before = term;
    }
}

static QORAC_INLINE void storeInts(Qor32s* p, const Int8& v) { __builtin_memcpy(p, &v, sizeof v); }

// Not inlined, so that the values come from memory: an instruction that multiplies spreads one of
// them over its lanes at no cost, which it does not do with a lane of a register.
static __attribute__((noinline)) void ownpmp3e_DCTInv_32_32s(const Qor64f* value, Qor32s* pDst) {
    Real8 odd0{}, odd1{}, two{}, four{};
    for (int n = 0; n < 16; ++n) {
        odd0 += value[2 * n + 1] * loadReal8(kCosines.odd[n]);
        odd1 += value[2 * n + 1] * loadReal8(kCosines.odd[n] + 8);
    }
    for (int n = 0; n < 8; ++n) {
        two += value[4 * n + 2] * loadReal8(kCosines.two[n]);
        four += value[4 * n] * loadReal8(kCosines.four[n]);
    }
    const Real8 even0 = four + two, even1 = reverse(four - two);
    storeInts(pDst, roundToInt(even0 + odd0));
    storeInts(pDst + 8, roundToInt(even1 + odd1));
    storeInts(pDst + 16, roundToInt(reverse(even1 - odd1)));
    storeInts(pDst + 24, roundToInt(reverse(even0 - odd0)));
}

static void analyse(const Qor16s* pSrc, Qor32s* pDst, int nChannels) {
    constexpr int kSamples = kRow * kRows;
    Vec y[kRow / kLanes<Vec>];
    if (nChannels == 1) {
        Qor16s spaced[2 * kSamples];
        for (int i = 0; i < kSamples; ++i) {
            spaced[2 * i] = pSrc[i];
            spaced[2 * i + 1] = 0;
        }
        windowSums(spaced, y);
    } else {
        windowSums(pSrc, y);
    }
    alignas(64) Qor32s d[32];
    alignas(64) Qor64f value[32];
    fold(y, d);
    for (int m = 0; m < 32; m += 8) {
        const Real8 v = convertInt8(d + m);
        __builtin_memcpy(value + m, &v, sizeof v);
    }
    ownpmp3e_DCTInv_32_32s(value, pDst);
}
