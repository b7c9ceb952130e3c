// The 32-band analysis in vectors of one instruction level; see frame/levels.h.

// y[q] is the standard's Y[63 - q]: the window's sum over every 64th sample, rounded to 10 fraction
// bits.
static QORAC_INLINE void windowSums(const Qor32s* x, Qor32s* y) {
    constexpr int kFractionBits = 20;
    constexpr Qor32s kHalf = 1 << (kFractionBits - 1);
    for (int lane = 0; lane < kRow; lane += kLanes<Vec>) {
        using Wide = decltype(mulEven(Vec{}, Vec{}));
        Wide even = broadcast<Wide>(kHalf), odd = even;
        for (int r = 0; r < kRows; ++r) {
            const WindowRow& window = _pEncWinC_MP3.row[r];
            const Vec samples = load<Vec>(x + kRow * (kRows - 1 - r) + lane);
            even += mulEven(samples, load<Vec>(window.value + lane));
            odd += mulEven(oddToEven(samples), load<Vec>(window.oddToEven + lane));
        }
        store(y + lane, narrow<kFractionBits>(even, odd));
    }
}

// d[m], of which the sub-band samples are the sums of d[m] cos((2 sb + 1) m pi / 64) / 2.
static QORAC_INLINE void fold(const Qor32s* y, Qor32s* d) {
    constexpr int kCentre = 47;
    d[0] = y[kCentre];
    for (int m = 1; m <= 16; ++m) d[m] = wrapAdd(y[kCentre - m], y[kCentre + m]);
    for (int m = 17; m < 32; ++m) d[m] = wrapSub(y[kCentre - m], y[m - 17]);
}

static QORAC_INLINE void storeInts(Qor32s* p, const Int8& v) { __builtin_memcpy(p, &v, sizeof v); }

static QORAC_INLINE void ownpmp3e_DCTInv_32_32s(const Qor32s* d, Qor32s* pDst) {
    Real8 odd0{}, odd1{}, two{}, four{};
    for (int n = 0; n < 16; ++n) {
        const Qor64f value = d[2 * n + 1];
        odd0 += value * loadReal8(kCosines.odd[n]);
        odd1 += value * loadReal8(kCosines.odd[n] + 8);
    }
    for (int n = 0; n < 8; ++n) {
        two += Qor64f(d[4 * n + 2]) * loadReal8(kCosines.two[n]);
        four += Qor64f(d[4 * n]) * loadReal8(kCosines.four[n]);
    }
    const Real8 even0 = four + two, even1 = reverse(four - two);
    storeInts(pDst, roundToInt(even0 + odd0));
    storeInts(pDst + 8, roundToInt(even1 + odd1));
    storeInts(pDst + 16, roundToInt(reverse(even1 - odd1)));
    storeInts(pDst + 24, roundToInt(reverse(even0 - odd0)));
}

static void analyse(const Qor16s* pSrc, Qor32s* pDst, int nChannels) {
    alignas(64) Qor32s x[kRow * kRows], y[kRow], d[32];
    if (nChannels == 1) {
        for (int i = 0; i < kRow * kRows; ++i) x[i] = pSrc[i];
    } else {
        for (int i = 0; i < kRow * kRows; ++i) x[i] = pSrc[2 * i];
    }
    windowSums(x, y);
    fold(y, d);
    ownpmp3e_DCTInv_32_32s(d, pDst);
}
