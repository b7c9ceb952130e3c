// The inverse MDCT of MP3 in vectors of one instruction level; see frame/levels.h.

typedef Qor32u Unsigned8 __attribute__((vector_size(32)));

// The first `count` of eight integers; zeros stand for the others.
template <int count>
static QORAC_INLINE Unsigned8 loadInts(const Qor32s* p) {
    Unsigned8 v{};
    __builtin_memcpy(&v, p, count * sizeof *p);
    return v;
}
template <int count, typename Vector>
static QORAC_INLINE void storeInts(Qor32s* p, const Vector& v) {
    __builtin_memcpy(p, &v, count * sizeof *p);
}

// --- alias reduction --------------------------------------------------------------------------

// The n - 1 boundaries between the first n sub-bands, and at least the lowest one.
static void ownpmp3_AliasReduce_32s_I(Qor32s* pSrcXr, int n) {
    const Real8 cs = loadReal8(kAlias.cCs), ca = loadReal8(kAlias.cCa);
    for (int boundary = 1; boundary < n || boundary == 1; ++boundary) {
        Qor32s* const hiLines = pSrcXr + boundary * kSubbandLines;
        const Real8 lo = 2 * reverse(convertInt8(hiLines - 8));
        const Real8 hi = 2 * convertInt8(hiLines);
        storeInts<8>(hiLines - 8, roundToInt(reverse(lo * cs - hi * ca)));
        storeInts<8>(hiLines, roundToInt(hi * cs + lo * ca));
    }
}

// --- inverse transforms -----------------------------------------------------------------------

// The 36 values of a sub-band, before rounding, and four more that do not count.
struct Values {
    Real8 y[5];
};

// The sums of neighbouring lines with which a long transform starts. 24 are stored, of which 18
// count.
static QORAC_INLINE void addNeighbours(const Qor32s* pSrc, Qor64f* sum) {
    constexpr Unsigned8 kOdd = {0, ~0u, 0, ~0u, 0, ~0u, 0, ~0u};
    Unsigned8 before{}, pairsBefore{};
    for (int i = 0; i < kSubbandLines; i += 8) {
        const Unsigned8 line = i < 16 ? loadInts<8>(pSrc + i) : loadInts<2>(pSrc + i);
        const Unsigned8 pairs =
            line + __builtin_shufflevector(before, line, 7, 8, 9, 10, 11, 12, 13, 14);
        const Unsigned8 two =
            __builtin_shufflevector(pairsBefore, pairs, 6, 7, 8, 9, 10, 11, 12, 13);
        const Real8 exact = __builtin_convertvector(Int8(pairs + (two & kOdd)), Real8);
        __builtin_memcpy(sum + i, &exact, sizeof exact);
        before = line;
        pairsBefore = pairs;
    }
}

// The values of `count` neighbouring sub-bands, each row of the transform loaded once for all.
template <int count>
static QORAC_INLINE void ownpmp3_DCTInv_36_32s(const Qor32s* pSrc, const Qor64f* window,
                                               Values* values) {
    Qor64f sum[count][24];
    for (int s = 0; s < count; ++s) addNeighbours(pSrc + kSubbandLines * s, sum[s]);
    Real8 u[count][3] = {};
    for (int i = 0; i < kSubbandLines; ++i) {
        for (int v = 0; v < 3; ++v) {
            const Real8 row = loadReal8(kLongTransform.row[i] + 8 * v);
            for (int s = 0; s < count; ++s) u[s][v] += sum[s][i] * row;
        }
    }
    for (int s = 0; s < count; ++s) {
        const Real8 u0 = u[s][0], u1 = u[s][1], u2 = u[s][2];
        const Real8 mirrored[5] = {
            __builtin_shufflevector(u0, u1, 8, 7, 6, 5, 4, 3, 2, 1),
            __builtin_shufflevector(u0, u0, 0, 0, 1, 2, 3, 4, 5, 6),
            __builtin_shufflevector(u0, u1, 7, 8, 9, 10, 11, 12, 13, 14),
            __builtin_shufflevector(u1, u2, 7, 8, 9, 9, 8, 7, 6, 5),
            __builtin_shufflevector(u1, u1, 4, 3, 2, 1, 0, 0, 0, 0),
        };
        for (int v = 0; v < 5; ++v) values[s].y[v] = mirrored[v] * loadReal8(window + 8 * v);
    }
}

static QORAC_INLINE void ownpmp3_DCTInv_12x3_32s(const Qor32s* pSrc, Values* values) {
    Qor64f y[40] = {};
    for (int w = 0; w < 3; ++w) {
        Real8 sum[2] = {};
        for (int k = 0; k < 6; ++k)
            for (int v = 0; v < 2; ++v)
                sum[v] += Qor64f(pSrc[6 * w + k]) * loadReal8(kShortTransform.row[k] + 8 * v);
        Qor64f window[16];
        __builtin_memcpy(window, sum, sizeof window);
        for (int i = 0; i < 12; ++i) y[6 + 6 * w + i] += window[i];
    }
    __builtin_memcpy(values->y, y, sizeof y);
}

static QORAC_INLINE void inverseTransform(const Qor32s* pSrc, int blockType, Values* values) {
    if (blockType == kShort)
        ownpmp3_DCTInv_12x3_32s(pSrc, values);
    else
        ownpmp3_DCTInv_36_32s<1>(pSrc, kWindows.type[blockType], values);
}

static void transformOne(const Qor32s* pSrc, Qor32s* pDst, int blockType) {
    Values values;
    inverseTransform(pSrc, blockType, &values);
    for (int v = 0; v < 4; ++v) storeInts<8>(pDst + 8 * v, roundToInt(values.y[v]));
    storeInts<4>(pDst + 32, roundToInt(values.y[4]));
}

// --- overlap ----------------------------------------------------------------------------------

// Adds the overlap to the first half of a sub-band's values, with the odd samples of odd sub-bands
// negated, and keeps the second half. 24 samples are stored, of which 18 count.
static QORAC_INLINE void overlapAdd(const Values& values, Qor32s* overlap, Qor32s* sample,
                                    int subband) {
    constexpr Unsigned8 kOddSamples = {0, ~0u, 0, ~0u, 0, ~0u, 0, ~0u};
    const Unsigned8 negate = subband & 1 ? kOddSamples : Unsigned8{};
    Unsigned8 y[5];
    for (int v = 0; v < 5; ++v) y[v] = Unsigned8(roundToInt(values.y[v]));
    const Unsigned8 former[3] = {loadInts<8>(overlap), loadInts<8>(overlap + 8),
                                 loadInts<2>(overlap + 16)};
    for (int v = 0; v < 3; ++v)
        storeInts<8>(sample + 8 * v, ((y[v] + former[v]) ^ negate) - negate);
    storeInts<8>(overlap, __builtin_shufflevector(y[2], y[3], 2, 3, 4, 5, 6, 7, 8, 9));
    storeInts<8>(overlap + 8, __builtin_shufflevector(y[3], y[4], 2, 3, 4, 5, 6, 7, 8, 9));
    storeInts<2>(overlap + 16, __builtin_shufflevector(y[4], y[4], 2, 3, 4, 5, 6, 7, 0, 1));
}

// The first `used` sub-bands are transformed, those up to `end` drain their overlap, the rest is 0.
static void synthesize(const Qor32s* pSrcXr, Qor32s* pDstY, Qor32s* pSrcDstOverlapAdd, int used,
                       int end, int blockType, int mixedBlock) {
    constexpr int kGroup = 8;  // sub-bands whose samples go into the columns together
    for (int first = 0; first < end; first += kGroup) {
        const int last = end - first < kGroup ? end : first + kGroup;
        Qor32s sample[kGroup][24];
        for (int s = first; s < last; s += 2) {
            Values values[2];
            const Qor32s* const lines = pSrcXr + kSubbandLines * s;
            const int type = mixedBlock && s < 2 ? 0 : blockType;
            if (type != kShort && s + 1 < used) {
                ownpmp3_DCTInv_36_32s<2>(lines, kWindows.type[type], values);
            } else {
                for (int i = 0; i < 2; ++i) {
                    if (s + i < used)
                        inverseTransform(lines + kSubbandLines * i, type, values + i);
                    else
                        values[i] = {};
                }
            }
            for (int i = 0; i < 2 && s + i < last; ++i)
                overlapAdd(values[i], pSrcDstOverlapAdd + kSubbandLines * (s + i),
                           sample[s + i - first], s + i);
        }
        for (int t = 0; t < kSubbandLines; ++t)
            for (int s = first; s < last; ++s) pDstY[kSubbands * t + s] = sample[s - first][t];
    }
    for (int t = 0; t < kSubbandLines; ++t)
        __builtin_memset(pDstY + kSubbands * t + end, 0,
                         sizeof(Qor32s) * unsigned(kSubbands - end));
}
