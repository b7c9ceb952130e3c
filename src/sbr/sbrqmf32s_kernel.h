// The integer QMF banks in vectors of one instruction level; see frame/levels.h.

namespace integerqmf {

// --- lanes ------------------------------------------------------------------------------------

// Consecutive numbers in the even lanes.
#if QORAC_LEVEL >= 3
template <typename V>
static QORAC_INLINE V spread(const Qor32s* p) {
    typedef Qor32u Half __attribute__((vector_size(sizeof(V) / 2)));
    Half v;
    __builtin_memcpy(&v, p, sizeof v);
    return lanesOf(__builtin_convertvector(v, decltype(wideOf(V{}))));
}
#else
template <typename V>
static QORAC_INLINE V spread(const Qor32s* p) {
    Vec4 v;
    __builtin_memcpy(&v, p, sizeof v);
    return {__builtin_shufflevector(v, v, 0, 0, 1, 1), __builtin_shufflevector(v, v, 2, 2, 3, 3)};
}
#endif

// Half of the lanes moved to the even ones.
static QORAC_INLINE Vec8 spreadLower(Vec8 a) { return pick<0, 0, 1, 1, 2, 2, 3, 3>(a, a); }
static QORAC_INLINE Vec8 spreadUpper(Vec8 a) { return pick<4, 4, 5, 5, 6, 6, 7, 7>(a, a); }
// The last lane of a, then all but the last of b.
static QORAC_INLINE Vec8 lastAndFirst(Vec8 a, Vec8 b) {
    return pick<0, 8, 9, 10, 11, 12, 13, 14>(pick<7, 7, 7, 7, 7, 7, 7, 7>(a, a), b);
}
// Every second pair of a, then of b.
static QORAC_INLINE Vec8 evenPairs(Vec8 a, Vec8 b) { return pick<0, 1, 4, 5, 8, 9, 12, 13>(a, b); }
static QORAC_INLINE Vec8 oddPairs(Vec8 a, Vec8 b) { return pick<2, 3, 6, 7, 10, 11, 14, 15>(a, b); }
// The pairs of one half of a, each followed by one of b.
static QORAC_INLINE Vec8 zipLower(Vec8 a, Vec8 b) { return pick<0, 1, 8, 9, 2, 3, 10, 11>(a, b); }
static QORAC_INLINE Vec8 zipUpper(Vec8 a, Vec8 b) { return pick<4, 5, 12, 13, 6, 7, 14, 15>(a, b); }
// The odd lanes of a, then of b.
static QORAC_INLINE Vec8 oddLanes(Vec8 a, Vec8 b) { return pick<1, 3, 5, 7, 9, 11, 13, 15>(a, b); }
// Real and imaginary parts in turn of the numbers of a, then of b.
static QORAC_INLINE Vec8 inTurn(Vec8 a, Vec8 b) { return pick<0, 3, 4, 7, 8, 11, 12, 15>(a, b); }

#if QORAC_LEVEL >= 4
static QORAC_INLINE Vec16 spreadLower(Vec16 a) {
    return __builtin_shufflevector(a, a, 0, 0, 1, 1, 2, 2, 3, 3, 4, 4, 5, 5, 6, 6, 7, 7);
}
static QORAC_INLINE Vec16 spreadUpper(Vec16 a) {
    return __builtin_shufflevector(a, a, 8, 8, 9, 9, 10, 10, 11, 11, 12, 12, 13, 13, 14, 14, 15,
                                   15);
}
static QORAC_INLINE Vec16 lastAndFirst(Vec16 a, Vec16 b) {
    return __builtin_shufflevector(a, b, 15, 16, 17, 18, 19, 20, 21, 22, 23, 24, 25, 26, 27, 28, 29,
                                   30);
}
static QORAC_INLINE Vec16 evenPairs(Vec16 a, Vec16 b) {
    return __builtin_shufflevector(a, b, 0, 1, 4, 5, 8, 9, 12, 13, 16, 17, 20, 21, 24, 25, 28, 29);
}
static QORAC_INLINE Vec16 oddPairs(Vec16 a, Vec16 b) {
    return __builtin_shufflevector(a, b, 2, 3, 6, 7, 10, 11, 14, 15, 18, 19, 22, 23, 26, 27, 30,
                                   31);
}
static QORAC_INLINE Vec16 zipLower(Vec16 a, Vec16 b) {
    return __builtin_shufflevector(a, b, 0, 1, 16, 17, 2, 3, 18, 19, 4, 5, 20, 21, 6, 7, 22, 23);
}
static QORAC_INLINE Vec16 zipUpper(Vec16 a, Vec16 b) {
    return __builtin_shufflevector(a, b, 8, 9, 24, 25, 10, 11, 26, 27, 12, 13, 28, 29, 14, 15, 30,
                                   31);
}
static QORAC_INLINE Vec16 oddLanes(Vec16 a, Vec16 b) {
    return __builtin_shufflevector(a, b, 1, 3, 5, 7, 9, 11, 13, 15, 17, 19, 21, 23, 25, 27, 29, 31);
}
static QORAC_INLINE Vec16 inTurn(Vec16 a, Vec16 b) {
    return __builtin_shufflevector(a, b, 0, 3, 4, 7, 8, 11, 12, 15, 16, 19, 20, 23, 24, 27, 28, 31);
}
#endif

// --- products of which only the high halves are kept ------------------------------------------

// The products of the even lanes, added up as lanes: the high halves do not see the low ones.
static QORAC_INLINE Vec high(Vec a, Vec b) { return lanesOf(mulEven(a, b)); }

// The high halves of `re` and `im` as pairs.
static QORAC_INLINE Vec pairs(Vec re, Vec im) { return narrow<32>(wideOf(re), wideOf(im)); }

// (re + i im) (c + i s) for w = (c, s), with re and im in the even lanes.
static QORAC_INLINE Vec rotated(Vec re, Vec im, Vec w) {
    const Vec s = oddToEven(w);
    return pairs(high(w, re) - high(s, im), high(w, im) + high(s, re));
}

// x (c + i s) for real x in the even lanes.
static QORAC_INLINE Vec modulated(Vec x, Vec w) { return pairs(high(w, x), high(oddToEven(w), x)); }

// --- delay line and window --------------------------------------------------------------------

// Sums of the products of window and delay line at the places from i on: over the slots `first`,
// `first` + `step`... by age, of which the synthesis uses the first and the second half in turn.
template <int first, int step, int slot, int halfSlot, int vectors, int taps>
static QORAC_INLINE void windowed(const QmfWindow<taps>& window, const Qor32s* pRing, int newest,
                                  int i, Vec (&sums)[vectors]) {
    constexpr int L = kLanes<Vec>;
    Vec even[vectors]{}, odd[vectors]{};
    for (int age = first; age < kSlots; age += step) {
        const int place = newest + age < kSlots ? newest + age : newest + age - kSlots;
        const Qor32s* run = pRing + slot * place + (age % 2 != 0 ? halfSlot : 0) + i;
        const int tap = taps / kSlots * age + i;
        for (int j = 0; j < vectors; ++j) {
            const Vec v = load<Vec>(run + L * j);
            even[j] += high(v, load<Vec>(window.value + tap + L * j));
            odd[j] += high(oddToEven(v), load<Vec>(window.oddToEven + tap + L * j));
        }
    }
    for (int j = 0; j < vectors; ++j) sums[j] = pairs(even[j], odd[j]);
}

// --- analysis ---------------------------------------------------------------------------------

// Takes 32 samples into the slot `newest` and gives the windowed sums u(0) to u(31) and u(32) to
// u(63).
struct Sums {
    Vec lower[32 / kLanes<Vec>], upper[32 / kLanes<Vec>];
};
static QORAC_INLINE Sums analysisWindow(const Qor32s* pSrc, Qor32s* pRing, int newest) {
    constexpr int L = kLanes<Vec>;
    for (int i = 0; i < 32; i += L)
        store(pRing + 32 * newest + i, reverse(load<Vec>(pSrc + 32 - L - i)));
    Sums sums;
    windowed<0, 2, 32, 0>(SBR_TABLE_QMF_WINDOW_320_INT_Q30, pRing, newest, 0, sums.lower);
    windowed<1, 2, 32, 0>(SBR_TABLE_QMF_WINDOW_320_INT_Q30, pRing, newest, 0, sums.upper);
    return sums;
}

// The modulation of 64 numbers by a transform of half the length. Its input is
// (-u(64 - r) + i u(32 - r)) (c + i s), with u(0) in the place of -u(64), and from its output t,
// turned once more, come X(2r) = t(r) for r below 16 and X(63 - 2r) = -i t(r)* from there on.
static void analysisHq(const Qor32s* pSrc, Qor32s* pDst, Qor32s* pRing, int newest) {
    constexpr int L = kLanes<Vec>;
    constexpr int kBlocks = 32 / L;
    const Sums sums = analysisWindow(pSrc, pRing, newest);
    alignas(64) Qor32sc z[32];
    Qor32s* t = &z->re;
    // Their last lanes are -u(0) and u(32).
    Vec y = -reverse(sums.lower[0]), x = reverse(sums.upper[0]);
    for (int j = 0; j < kBlocks; ++j) {
        const Vec yNext = reverse(sums.upper[kBlocks - 1 - j]);
        const Vec xNext = reverse(sums.lower[kBlocks - 1 - j]);
        const Vec re = -lastAndFirst(y, yNext), im = lastAndFirst(x, xNext);
        const Qor32s* w = pTabPreProc_CosSin_DCT4_64_32s.cosSin + 2 * L * j;
        store(t + 2 * L * j, rotated(spreadLower(re), spreadLower(im), load<Vec>(w)));
        store(t + 2 * L * j + L, rotated(spreadUpper(re), spreadUpper(im), load<Vec>(w + L)));
        y = yNext;
        x = xNext;
    }
    ownsIMDCT_FFT_32sc_I(z, 5);
    const auto turned = [t](int i) {
        const Vec v = load<Vec>(t + i);
        return rotated(v, oddToEven(v), load<Vec>(pTabPostProc_CosSin_DCT4_64_32s.cosSin + i));
    };
    for (int i = 0; i < 32; i += L) {
        const Vec even = turned(i), odd = -reverse(turned(64 - L - i));
        store(pDst + 2 * i, zipLower(even, odd));
        store(pDst + 2 * i + L, zipUpper(even, odd));
    }
}

// X(k) of four bands in turn: Re t / 4 rounded down, Im t / 4 rounded up, -Re t / 4 rounded down,
// -Im t / 4 rounded up.
static void analysisLp(const Qor32s* pSrc, Qor32s* pDst, Qor32s* pRing, int newest) {
    constexpr int L = kLanes<Vec>;
    const Sums sums = analysisWindow(pSrc, pRing, newest);
    alignas(64) Qor32sc z[64];
    for (int n = 0; n < 64; n += L) {
        const Vec u = n < 32 ? sums.lower[n / L] : sums.upper[n / L - 32 / L];
        const Qor32s* w = pTabPreProc_QMFA_LPmode.cosSin + 2 * n;
        store(&z[n].re, modulated(spreadLower(u), load<Vec>(w)));
        store(&z[n].re + L, modulated(spreadUpper(u), load<Vec>(w + L)));
    }
    ownsIMDCT_FFT_32sc_I(z, 6);
    alignas(64) static constexpr Qor32s roundedUp[16] = {0, 3, 3, 0, 0, 3, 3, 0,
                                                         0, 3, 3, 0, 0, 3, 3, 0};
    alignas(64) static constexpr Qor32s negated[16] = {0, 0, -1, -1, 0, 0, -1, -1,
                                                       0, 0, -1, -1, 0, 0, -1, -1};
    const Vec up = load<Vec>(roundedUp), sign = load<Vec>(negated);
    for (int k = 0; k < 32; k += L) {
        const Qor32s* t = &z[k].re;
        const Vec v = inTurn(load<Vec>(t), load<Vec>(t + L));
        const Vec carry = ((v & up) + broadcast<Vec>(3)) >> 2;
        store(pDst + k, ((shiftArithmetic(v, 2) + carry) ^ sign) - sign);
    }
}

// --- synthesis --------------------------------------------------------------------------------

// The output of a bank of `bands` bands: ten slots of 2 bands values times the window.
template <int bands, int taps>
static QORAC_INLINE void synthesisWindow(const QmfWindow<taps>& window, const Qor32s* pRing,
                                         int newest, Qor32s* pDst) {
    static_assert(taps == kSlots * bands);
    constexpr int L = kLanes<Vec>;
    constexpr int kVectors = bands / L < 4 ? bands / L : 4;  // whose sums fit into registers
    for (int i = 0; i < bands; i += kVectors * L) {
        Vec sums[kVectors];
        windowed<0, 1, 2 * bands, bands>(window, pRing, newest, i, sums);
        for (int j = 0; j < kVectors; ++j) store(pDst + i + L * j, sums[j]);
    }
}

// The factors of one vector of fast rotations.
struct Factors {
    Vec sum, sine, difference;

    template <int rows>
    QORAC_INLINE Factors(const FastRotations<rows>& table, int row)
        : sum(spread<Vec>(table.sum + row)),
          sine(spread<Vec>(table.sine + row)),
          difference(spread<Vec>(table.difference + row)) {}
};

// Of numbers in the even lanes, in the high halves: a cos + b sin and, turned, b cos - a sin or,
// mirrored, a sin - b cos; ab = a + b.
struct Turned {
    Vec first, second;
};
static QORAC_INLINE Turned turn(const Factors& f, Vec a, Vec b, Vec ab) {
    const Vec s = high(f.sine, ab);
    return {s + high(f.difference, a), high(f.sum, b) - s};
}
static QORAC_INLINE Turned mirror(const Factors& f, Vec a, Vec b) {
    const Vec s = high(f.sine, a + b);
    return {s + high(f.difference, a), s - high(f.sum, b)};
}

// Two DCT-IV of 64 values by complex transforms of half the length: A of the real parts, B of the
// imaginary parts in reverse order.
//
// A(n) = (Re X(2n) + i Re X(63 - 2n)) (c - i s), B(n) = (Im X(63 - 2n) + i Im X(2n)) (c - i s).
static QORAC_INLINE void preRotate(const Qor32s* pSrc, Qor32s* a, Qor32s* b) {
    constexpr int L = kLanes<Vec>;
    for (int i = 0; i < 64; i += L) {
        const Qor32s *rising = pSrc + 2 * i, *falling = pSrc + 128 - 2 * L - 2 * i;
        const Vec even = evenPairs(load<Vec>(rising), load<Vec>(rising + L));
        const Vec odd = reversePairs(oddPairs(load<Vec>(falling), load<Vec>(falling + L)));
        const Vec sum = even + odd;
        const Factors f(cos4sin4tab64, i / 2);
        const Turned re = turn(f, even, odd, sum);
        const Turned im = turn(f, oddToEven(odd), oddToEven(even), oddToEven(sum));
        store(a + i, pairs(re.first, re.second));
        store(b + i, pairs(im.first, im.second));
    }
}

// The values of a DCT-IV at the places i, i + 1... and, in `mirrored`, 64 - L - i..., from its
// transform y. The numbers n and 31 - n give the places 2n and 63 - 2n, 2n + 1 and 62 - 2n.
struct Places {
    Vec low, mirrored;
};
static QORAC_INLINE Places ownsPostProc_QMFS_HQ_FAST_32sc(const Qor32s* y, int i) {
    const Vec front = load<Vec>(y + i), back = reversePairs(load<Vec>(y + 64 - kLanes<Vec> - i));
    const Turned even = mirror(Factors(cos1sin1tab64, i / 2), front, oddToEven(front));
    const Turned odd = mirror(Factors(cos1sin1tab64, i / 2 + 1), back, -oddToEven(back));
    return {pairs(even.first, odd.first), reversePairs(pairs(odd.second, even.second))};
}

static void synthesisHq(const Qor32s* pSrc, Qor32s* pDst, Qor32s* pRing, int newest) {
    constexpr int L = kLanes<Vec>;
    alignas(64) Qor32sc a[32], b[32];
    preRotate(pSrc, &a->re, &b->re);
    ownsIMDCT_FFT_32sc_I(a, 5);
    ownsIMDCT_FFT_32sc_I(b, 5);
    // V(n) = (-1)^n B(n) - A(n), V(127 - n) = (-1)^n B(n) + A(n).
    Qor32s* slot = pRing + 128 * newest;
    const auto put = [slot](int n, Vec va, Vec vb) {
        const Vec alternating = merge(vb, -vb);
        store(slot + n, alternating - va);
        store(slot + 128 - L - n, reverse(alternating + va));
    };
    for (int i = 0; i < 32; i += L) {
        const Places pa = ownsPostProc_QMFS_HQ_FAST_32sc(&a->re, i);
        const Places pb = ownsPostProc_QMFS_HQ_FAST_32sc(&b->re, i);
        put(i, pa.low, pb.low);
        put(64 - L - i, pa.mirrored, pb.mirrored);
    }
    synthesisWindow<64>(SBR_TABLE_QMF_WINDOW_640_INT_Q30, pRing, newest, pDst);
}

// X(k) (c + i s) of `count` real bands.
template <int count, int rows>
static QORAC_INLINE void modulate(const Qor32s* x, const Rotations<rows>& table, Qor32sc* t) {
    static_assert(count <= rows);
    for (int i = 0; i < 2 * count; i += kLanes<Vec>)
        store(&t->re + i, modulated(spread<Vec>(x + i / 2), load<Vec>(table.cosSin + i)));
}

// The transform of 2 bands numbers, of which the upper half is 0, and V(n) = Re t(n) (c + i s).
template <int bands>
static QORAC_INLINE void slotFromLowerHalf(Qor32sc* z, const Rotations<2 * bands>& table,
                                           Qor32s* slot) {
    constexpr int L = kLanes<Vec>;
    for (int i = 2 * bands; i < 4 * bands; i += L) store(&z->re + i, Vec{});
    ownsIMDCT_FFT_32sc_I(z, bands == 64 ? 7 : 6);
    const auto realParts = [&](int i) {
        const Vec v = load<Vec>(&z->re + i), w = load<Vec>(table.cosSin + i);
        return high(w, v) - high(oddToEven(w), oddToEven(v));
    };
    for (int n = 0; n < 2 * bands; n += L)
        store(slot + n, oddLanes(realParts(2 * n), realParts(2 * n + L)));
}

static void synthesisLp(const Qor32s* pSrc, Qor32s* pDst, Qor32s* pRing, int newest) {
    alignas(64) Qor32sc z[128];
    modulate<64>(pSrc, pTabPreProc_QMFS_LPmode, z);
    slotFromLowerHalf<64>(z, pTabPostProc_QMFS_LPmode, pRing + 128 * newest);
    synthesisWindow<64>(SBR_TABLE_QMF_WINDOW_640_INT_Q30, pRing, newest, pDst);
}

// t(k) is the conjugate of X(k) (c - i s).
static void synthesisDownHq(const Qor32s* pSrc, Qor32s* pDst, Qor32s* pRing, int newest) {
    alignas(64) Qor32sc z[64];
    for (int i = 0; i < 64; i += kLanes<Vec>) {
        const Vec re = load<Vec>(pSrc + i), im = oddToEven(re);
        const Vec w = load<Vec>(pTabPreProc_QMFSD_HQmode.cosSin + i), s = oddToEven(w);
        store(&z->re + i, pairs(high(re, w) + high(im, s), high(-im, w) + high(re, s)));
    }
    slotFromLowerHalf<32>(z, pTabPostProc_QMFSD_HQmode, pRing + 64 * newest);
    synthesisWindow<32>(SBR_TABLE_QMF_WINDOW_320_INT_Q30, pRing, newest, pDst);
}

static void synthesisDownLp(const Qor32s* pSrc, Qor32s* pDst, Qor32s* pRing, int newest) {
    alignas(64) Qor32sc z[64];
    modulate<32>(pSrc, pTabPreProc_QMFS_LPmode, z);
    slotFromLowerHalf<32>(z, pTabPostProc_QMFSD_LPmode, pRing + 64 * newest);
    synthesisWindow<32>(SBR_TABLE_QMF_WINDOW_320_INT_Q30, pRing, newest, pDst);
}

}  // namespace integerqmf

static void filter(Bank bank, const Qor32s* pSrc, Qor32s* pDst, Qor32s* pRing, int newest) {
    switch (bank) {
        case Bank::analysisHq:
            return integerqmf::analysisHq(pSrc, pDst, pRing, newest);
        case Bank::analysisLp:
            return integerqmf::analysisLp(pSrc, pDst, pRing, newest);
        case Bank::synthesisHq:
            return integerqmf::synthesisHq(pSrc, pDst, pRing, newest);
        case Bank::synthesisLp:
            return integerqmf::synthesisLp(pSrc, pDst, pRing, newest);
        case Bank::synthesisDownHq:
            return integerqmf::synthesisDownHq(pSrc, pDst, pRing, newest);
        case Bank::synthesisDownLp:
            return integerqmf::synthesisDownLp(pSrc, pDst, pRing, newest);
    }
}
