// The forward MDCT of MP3 in vectors of one instruction level; see frame/levels.h. The lanes of a
// vector are eight neighbouring sub-bands.

static QORAC_INLINE void storeInts(Qor32s* p, const Int8& v) { __builtin_memcpy(p, &v, sizeof v); }

// 36 samples of eight sub-bands, those of the granule before and those of this one. Frequency
// inversion negates the odd samples of the odd sub-bands.
struct Input {
    const Qor32s* pOverlap;
    const Qor32s* pSrc;

    QORAC_INLINE Real8 operator[](int n) const {
        const Real8 x = convertInt8((n < kSlots ? pOverlap : pSrc) + n % kSlots * kSubbands);
        return n % 2 == 0 ? x : x * Real8{1, -1, 1, -1, 1, -1, 1, -1};
    }
};

// --- transforms -------------------------------------------------------------------------------

// sum over n of z[n] cos(pi (2 n + 19) (2 k + 1) / 72) sqrt(2), z the windowed samples, for k = 0
// to 17.
//
// The 36 samples fold into the 18 of a transform with cos(pi (2 n + 1) (2 k + 1) / 72), a DCT-IV.
// With the angle of n taken off by a rotation of the pairs n, 17 - n, its lines 2 m - 1 and 2 m
// are the sum and the difference of the cosine sum and the sine sum of nine values with index m.
// Both have values with index 8 - n that are those of n but for the sign.
static QORAC_INLINE void ownsMDCT_36_32s(const Input& in, const double* window,
                                         const double* firstWindow, Real8* x) {
    // The window of sub-bands 0 and 1 differs in a mixed block.
    const auto windowed = [&](int n) {
        const double w = window[n], first = firstWindow[n];
        return in[n] * Real8{first, first, w, w, w, w, w, w};
    };
    Real8 cosines[9], sines[9];
    for (int n = 0; n < 9; ++n) {
        const Real8 low = -windowed(26 - n) - windowed(27 + n);
        const Real8 high = windowed(8 - n) - windowed(9 + n);
        const double c = kRotations.cCos72[n], s = kRotations.cSin72[n];
        cosines[n] = low * c + high * s;
        sines[n] = low * s - high * c;
    }
    for (int n = 0; n < 4; ++n) {
        const Real8 c = cosines[n], s = sines[n];
        cosines[n] = c + cosines[8 - n];
        cosines[8 - n] = c - cosines[8 - n];
        sines[n] = s + sines[8 - n];
        sines[8 - n] = s - sines[8 - n];
    }
    // cosines[n], n < 4: sums, for even m; cosines[8 - n]: differences, for odd m; the sines the
    // other way round. The middle value has no partner.
    const auto cosineSum = [&](int m) {
        Real8 sum = m % 2 == 0 ? cosines[4] * kCircle.cos[9 * m % 36] : Real8{};
        for (int n = 0; n < 4; ++n) {
            sum += cosines[m % 2 == 0 ? n : 8 - n] * kCircle.cos[(2 * n + 1) * m % 36];
        }
        return sum;
    };
    const auto sineSum = [&](int m) {
        Real8 sum = m % 2 == 1 ? sines[4] * kCircle.sin[9 * m % 36] : Real8{};
        for (int n = 0; n < 4; ++n) {
            sum += sines[m % 2 == 1 ? n : 8 - n] * kCircle.sin[(2 * n + 1) * m % 36];
        }
        return sum;
    };
    x[0] = cosineSum(0);
    for (int m = 1; m < 9; ++m) {
        const Real8 c = cosineSum(m), s = sineSum(m);
        x[2 * m - 1] = c + s;
        x[2 * m] = c - s;
    }
    x[17] = sineSum(9);
}

// The three short transforms, six lines each. They are this encoder's own: the last four samples of
// the third window come from two slots later, and lines 0 to 2 are not those of an MDCT.
static QORAC_INLINE void ownpmp3e_DCTFwd_12x3_32s(const Input& in, Real8* x) {
    for (int w = 0; w < 3; ++w, x += 6) {
        Real8 a[12];
        for (int i = 0; i < 12; ++i) {
            const int late = w == 2 && i >= 8 ? 2 : 0;
            a[i] = in[6 + 6 * w + i + late] * WinDCTFwd[kShort][i];
        }
        const Real8 p = a[2] - a[9] - a[3] - a[8], q = a[2] + a[9] - a[3] + a[8];
        const Real8 r1 = a[1] + a[10] - a[4] + a[7], r0 = a[0] + a[11] - a[5] + a[6];
        const Real8 s1 = a[1] - a[10] - a[4] - a[7], s0 = a[0] - a[11] - a[5] - a[6];
        const Real8 pRotated = kCos5 * p - kSin5 * q, qRotated = kCos5 * p + kSin5 * q;
        const Real8 u = kCos1 * s0 - kSin1 * r0, v = kSin1 * s0 + kCos1 * r0;
        const Real8 s = kCos3 * s1 - kSin3 * r1, r = kSin3 * s1 + kCos3 * r1;
        const Real8 e = u + pRotated, f = v + qRotated;
        const Real8 g = u - pRotated, h = v - qRotated;
        const Real8 j = e / 2 - s, k = f / 2 + kRootThreeQuarters * h;
        x[0] = 2 * e;
        x[1] = -(k + kRootThreeQuarters * g);
        x[2] = k - kRootThreeQuarters * g;
        x[3] = j + kRootThreeQuarters * h;
        x[4] = j - kRootThreeQuarters * h;
        x[5] = r - f;
    }
}

// The rows of a matrix of eight rows become its columns: in steps 1, 2, 4 each pair of rows that
// distance apart exchanges its blocks of as many lanes beside the diagonal.
template <int distance, bool upper, int... lane>
static QORAC_INLINE Int8 exchanged(const Int8& a, const Int8& b,
                                   std::integer_sequence<int, lane...>) {
    constexpr auto source = [](int l) {
        const bool fromA = (l & distance) == 0;
        return upper ? (fromA ? l + distance : 8 + l) : (fromA ? l : 8 + l - distance);
    };
    return __builtin_shufflevector(a, b, source(lane)...);
}
template <int distance = 1>
static QORAC_INLINE void transpose(Int8* row) {
    constexpr auto lanes = std::make_integer_sequence<int, 8>();
    for (int i = 0; i < 8; ++i) {
        if ((i & distance) != 0) continue;
        const Int8 a = row[i], b = row[i + distance];
        row[i] = exchanged<distance, false>(a, b, lanes);
        row[i + distance] = exchanged<distance, true>(a, b, lanes);
    }
    if constexpr (distance < 4) transpose<2 * distance>(row);
}

// The first `count` lanes, rounded, to as many sub-bands of pDst.
template <int count>
static QORAC_INLINE void storeLines(const Real8* x, Qor32s* pDst) {
    for (int first = 0; first < 16; first += 8) {
        Int8 row[8];
        for (int k = 0; k < 8; ++k) row[k] = roundToInt(x[first + k]);
        transpose(row);
        for (int sb = 0; sb < count; ++sb) storeInts(pDst + sb * kSlots + first, row[sb]);
    }
    const Int8 line16 = roundToInt(x[16]), line17 = roundToInt(x[17]);
    for (int sb = 0; sb < count; ++sb) {
        pDst[sb * kSlots + 16] = line16[sb];
        pDst[sb * kSlots + 17] = line17[sb];
    }
}

static void transform(const Qor32s* pOverlap, const Qor32s* pSrc, Qor32s* pDst, int blockType,
                      bool mixed) {
    const double* const longWindow = WinDCTFwd[0].data();
    const double* const window = WinDCTFwd[blockType & 3].data();
    for (int sb = 0; sb < kSubbands; sb += 8) {
        const Input in{pOverlap + sb, pSrc + sb};
        const bool longStart = mixed && sb == 0;
        Real8 x[kSlots];
        if (blockType == kShort) {
            ownpmp3e_DCTFwd_12x3_32s(in, x);
            storeLines<8>(x, pDst + sb * kSlots);
            if (!longStart) continue;
            ownsMDCT_36_32s(in, longWindow, longWindow, x);
            storeLines<2>(x, pDst);
        } else {
            ownsMDCT_36_32s(in, window, longStart ? longWindow : window, x);
            storeLines<8>(x, pDst + sb * kSlots);
        }
    }
}

// --- alias reduction --------------------------------------------------------------------------

static void ownpmp3e_AliasReduce_32s_I(Qor32s* pLines, int count) {
    const Real8 cs = loadReal8(kAlias.cCs), ca = loadReal8(kAlias.cCa);
    for (int b = 1; b < count; ++b) {
        Qor32s* const upper = pLines + kSlots * b;
        const Real8 lo = reverse(convertInt8(upper - 8)), up = convertInt8(upper);
        storeInts(upper - 8, roundToInt(reverse(lo * cs + up * ca)));
        storeInts(upper, roundToInt(up * cs - lo * ca));
    }
}
