// The cores of the integer MDCT in vectors of complex numbers; compiled once per level by
// aac_aimdct.cpp. Positions count 32-bit elements: complex number m stands at 2m.

// --- block scaling ----------------------------------------------------------------------------

// Sum of the magnitudes of all lanes, in parts that cannot overflow.
struct Measure {
    using W = decltype(wideOf(Vec{}));
    W sum = {};

    QORAC_INLINE void add(Vec v) {
        const Vec sign = shiftArithmetic(v, 31);
        const W magnitudes = wideOf((v ^ sign) - sign);
        sum += (magnitudes >> 32) + (magnitudes & broadcast<W>(0xFFFFFFFF));
    }
    QORAC_INLINE Qor64u total() const {
        Qor64u part[sizeof(W) / sizeof(Qor64u)], whole = 0;
        __builtin_memcpy(part, &sum, sizeof sum);
        for (Qor64u p : part) whole += p;
        return whole;
    }
};

// Every value times 2^-shift, rounded; returns the shift.
template <int n>
static QORAC_INLINE int scaleBlock(Qor32s* z, const Measure& measure) {
    const int shift = blockShift(measure.total());
    if (shift == 0) return 0;
    const Vec half = broadcast<Vec>(1 << (shift - 1));
    for (int i = 0; i < n; i += kLanes<Vec>)
        store(z + i, shiftArithmetic(load<Vec>(z + i) + half, shift));
    return shift;
}

// --- forms of a rotated value, from its 64-bit sums -------------------------------------------

struct HighHalf {
    template <typename W>
    QORAC_INLINE auto operator()(W re, W im) const {
        return narrow<32>(re, im);
    }
};

struct HighHalfRounded {
    int p;  // 1 or more
    template <typename W>
    QORAC_INLINE auto operator()(W re, W im) const {
        return shiftArithmetic(narrow<32>(re, im) + broadcast<Vec>(1u << (p - 1)), p);
    }
};

struct Shifted {
    int shift;
    template <typename W>
    QORAC_INLINE auto operator()(W re, W im) const {
        return narrow(re, im, shift);
    }
};

struct Rounded30 {
    template <typename W>
    QORAC_INLINE auto operator()(W re, W im) const {
        return narrow<30>(re + broadcast<W>(1 << 29), im + broadcast<W>(1 << 29));
    }
};

// The rotation of y by (c - i s) with w = (c, s), the imaginary part negated inside its sum.
template <typename Form>
static QORAC_INLINE Vec rotateConjugate(Vec y, Vec w, Form form) {
    const Vec s = oddToEven(w), im = oddToEven(y);
    return form(mulEven(y, w) + mulEven(im, s), mulEven(y, s) - mulEven(im, w));
}

// --- inverse ----------------------------------------------------------------------------------

// z[m] = (x[2m] + i x[n - 1 - 2m]) (c - i s).
template <int n>
static QORAC_INLINE Measure preRotateInverse(const Qor32s* x, Qor32s* z) {
    constexpr int L = kLanes<Vec>;
    Measure measure;
    for (int i = 0; i < n; i += L) {
        const Vec re = load<Vec>(x + i), im = reverse(load<Vec>(x + n - L - i));
        const Vec v = rotate(re, im, load<Vec>(twiddles<n>() + i), HighHalf{});
        measure.add(v);
        store(z + i, v);
    }
    return measure;
}

// With w[m] = y[m] (c - i s), for u below n/4:
// x[2u] = Re w[n/4 + u], x[2u + 1] = -Im w[n/4 - 1 - u], and in the second half of x
// x[2u] = Im w[n/4 + u], x[2u + 1] = -Re w[n/4 - 1 - u].
template <int n, typename Form>
static QORAC_INLINE void postRotateInverse(const Qor32s* y, Qor32s* x, Form form) {
    constexpr int L = kLanes<Vec>;
    const auto rotated = [&](int i) {
        const Vec v = load<Vec>(y + i);
        return rotate(v, oddToEven(v), load<Vec>(twiddles<n>() + i), form);
    };
    for (int i = 0; i < n / 2; i += L) {
        const Vec up = rotated(n / 2 + i);
        const Vec down = -reversePairs(rotated(n / 2 - L - i));
        store(x + i, merge(up, down));
        store(x + n / 2 + i, swapPairs(merge(down, up)));
    }
}

template <int n>
static void inverse(Qor32s* x) {
    alignas(64) Qor32sc z[n / 2];
    const Measure measure = preRotateInverse<n>(x, &z->re);
    const int shift = scaleBlock<n>(&z->re, measure);
    ownsIMDCT_FFT_32sc_I(z, kFftOrder<n>);
    const int p = kFftOrder<n> - shift - 3;
    // The second form does not go on with the scale of the first: it doubles.
    if (p >= 1)
        postRotateInverse<n>(&z->re, x, HighHalfRounded{p});
    else
        postRotateInverse<n>(&z->re, x, Shifted{31 + p});
}

template <int n>
static void inverseUnmeasured(Qor32s* x) {
    alignas(64) Qor32sc z[n / 2];
    preRotateInverse<n>(x, &z->re);
    ownsIMDCT_FFT_32sc_I(z, kFftOrder<n>);
    postRotateInverse<n>(&z->re, x, HighHalf{});
}

// --- forward ----------------------------------------------------------------------------------

// The 2n samples folded into n/2 complex numbers and rotated. With q0 to q3 the quarters of x and
// a = (-q3, q0, q1, q2): z[m] = (a[2m] - a[2n - 1 - 2m] + i (a[n - 1 - 2m] - a[n + 2m])) (c - i s).
template <int n, typename Form>
static QORAC_INLINE Measure preRotateForward(const Qor32s* x, Qor32s* z, Form form) {
    constexpr int L = kLanes<Vec>;
    Measure measure;
    const auto finish = [&](int i, Vec re, Vec im) {
        const Vec v = rotate(re, im, load<Vec>(twiddles<n>() + i), form);
        measure.add(v);
        store(z + i, v);
    };
    for (int i = 0; i < n / 2; i += L)
        finish(i, -load<Vec>(x + 3 * n / 2 + i) - reverse(load<Vec>(x + 3 * n / 2 - L - i)),
               reverse(load<Vec>(x + n / 2 - L - i)) - load<Vec>(x + n / 2 + i));
    for (int i = n / 2; i < n; i += L)
        finish(i, load<Vec>(x + i - n / 2) - reverse(load<Vec>(x + 3 * n / 2 - L - i)),
               -reverse(load<Vec>(x + 5 * n / 2 - L - i)) - load<Vec>(x + n / 2 + i));
    return measure;
}

// With w[m] = y[m] (c - i s): x[2u] = Re w[u], x[n - 1 - 2u] = -Im w[u].
template <int n, typename Form>
static QORAC_INLINE void postRotateForward(const Qor32s* y, Qor32s* x, Form form) {
    constexpr int L = kLanes<Vec>;
    for (int i = 0; i < n / 2; i += L) {
        const int j = n - L - i;
        const Vec up = rotateConjugate(load<Vec>(y + i), load<Vec>(twiddles<n>() + i), form);
        const Vec down = rotateConjugate(load<Vec>(y + j), load<Vec>(twiddles<n>() + j), form);
        store(x + i, merge(up, reversePairs(down)));
        store(x + j, merge(down, reversePairs(up)));
    }
}

template <int n>
static void forward(Qor32s* x) {
    alignas(64) Qor32sc z[n / 2];
    preRotateForward<n>(x, &z->re, Rounded30{});
    ownsIMDCT_FFT_32sc_I(z, kFftOrder<n>);
    postRotateForward<n>(&z->re, x, Shifted{29});
}

template <int n>
static void forwardMeasured(Qor32s* x) {
    alignas(64) Qor32sc z[n / 2];
    const Measure measure = preRotateForward<n>(x, &z->re, HighHalf{});
    const int shift = scaleBlock<n>(&z->re, measure);
    ownsIMDCT_FFT_32sc_I(z, kFftOrder<n>);
    const int p = kFftOrder<n> - shift - 3;
    if (p >= 1)
        postRotateForward<n>(&z->re, x, HighHalfRounded{p});
    else
        postRotateForward<n>(&z->re, x, Shifted{32 + p});
}

static void mdctInverse(Qor32s* x, int n) { n == 1024 ? inverse<1024>(x) : inverse<128>(x); }
static void mdctInverseUnmeasured(Qor32s* x, int n) {
    n == 1024 ? inverseUnmeasured<1024>(x) : inverseUnmeasured<128>(x);
}
static void mdctForward(Qor32s* x, int n) { n == 1024 ? forward<1024>(x) : forward<128>(x); }
static void mdctForwardMeasured(Qor32s* x, int n) {
    n == 1024 ? forwardMeasured<1024>(x) : forwardMeasured<128>(x);
}
