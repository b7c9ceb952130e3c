// The inverse MDCT of MP3 in vectors of one instruction level; see frame/levels.h.

typedef Qor32u UnsignedInt8 __attribute__((vector_size(32)));

static QORAC_INLINE void storeInts(Qor32s* p, const Int8& v) { __builtin_memcpy(p, &v, sizeof v); }

// --- alias reduction --------------------------------------------------------------------------

// The n - 1 boundaries above the first n sub-bands, and at least the lowest one.
static void ownpmp3_AliasReduce_32s_I(Qor32s* pSrcXr, int n) {
    const Real8 cs = loadReal8(kAlias.cCs), ca = loadReal8(kAlias.cCa);
    for (int boundary = 1; boundary < n || boundary == 1; ++boundary) {
        Qor32s* const hiLines = pSrcXr + boundary * kSubbandLines;
        const Real8 lo = 2 * reverse(convertInt8(hiLines - 8));
        const Real8 hi = 2 * convertInt8(hiLines);
        storeInts(hiLines - 8, roundToInt(reverse(lo * cs - hi * ca)));
        storeInts(hiLines, roundToInt(hi * cs + lo * ca));
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
    constexpr UnsignedInt8 kOdd = {0, ~0u, 0, ~0u, 0, ~0u, 0, ~0u};
    Qor32u line[32] = {}, pair[32] = {};  // from 2 on
    __builtin_memcpy(line + 2, pSrc, kSubbandLines * sizeof(Qor32s));
    for (int i = 2; i < 26; ++i) pair[i] = line[i] + line[i - 1];
    for (int i = 0; i < 24; i += 8) {
        UnsignedInt8 here, twoBefore;
        __builtin_memcpy(&here, pair + 2 + i, sizeof here);
        __builtin_memcpy(&twoBefore, pair + i, sizeof twoBefore);
        here += twoBefore & kOdd;
        const Real8 exact = __builtin_convertvector(Int8(here), Real8);
        __builtin_memcpy(sum + i, &exact, sizeof exact);
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

static QORAC_INLINE void roundValues(const Values& values, Qor32s* y) {
    for (int v = 0; v < 5; ++v) storeInts(y + 8 * v, roundToInt(values.y[v]));
}

static void transformOne(const Qor32s* pSrc, Qor32s* pDst, int blockType) {
    Values values;
    inverseTransform(pSrc, blockType, &values);
    Qor32s y[40];
    roundValues(values, y);
    __builtin_memcpy(pDst, y, 36 * sizeof(Qor32s));
}

// --- overlap ----------------------------------------------------------------------------------

// Adds the overlap to the first half of a sub-band's values, with the odd samples of odd sub-bands
// negated, and keeps the second half. 24 samples are stored, of which 18 count.
static QORAC_INLINE void overlapAdd(const Values& values, Qor32s* overlap, Qor32s* sample,
                                    int subband) {
    constexpr UnsignedInt8 kOddSamples = {0, ~0u, 0, ~0u, 0, ~0u, 0, ~0u};
    const UnsignedInt8 negate = subband & 1 ? kOddSamples : UnsignedInt8{};
    Qor32s y[40], former[24] = {};
    roundValues(values, y);
    __builtin_memcpy(former, overlap, kSubbandLines * sizeof(Qor32s));
    for (int t = 0; t < 24; t += 8) {
        UnsignedInt8 z, old;
        __builtin_memcpy(&z, y + t, sizeof z);
        __builtin_memcpy(&old, former + t, sizeof old);
        z = ((z + old) ^ negate) - negate;
        __builtin_memcpy(sample + t, &z, sizeof z);
    }
    __builtin_memcpy(overlap, y + kSubbandLines, kSubbandLines * sizeof(Qor32s));
}

// The first `used` sub-bands are transformed, those up to `end` drain their overlap, the rest is 0.
static void synthesize(const Qor32s* pSrcXr, Qor32s* pDstY, Qor32s* pSrcDstOverlapAdd, int used,
                       int end, int blockType, int mixedBlock) {
    constexpr int kGroup = 8;  // sub-bands whose samples go into the columns together
    for (int first = 0; first < end; first += kGroup) {
        const int last = end - first < kGroup ? end : first + kGroup;
        Qor32s sample[kGroup][24];
        for (int s = first; s < last; s += 2) {
            Values values[2] = {};
            const Qor32s* const lines = pSrcXr + kSubbandLines * s;
            const int type = mixedBlock && s < 2 ? 0 : blockType;
            if (type != kShort && s + 1 < used) {
                ownpmp3_DCTInv_36_32s<2>(lines, kWindows.type[type], values);
            } else {
                if (s < used) inverseTransform(lines, type, values);
                if (s + 1 < used) inverseTransform(lines + kSubbandLines, type, values + 1);
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
