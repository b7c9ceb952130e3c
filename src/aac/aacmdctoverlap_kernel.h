// Windowing and overlap in vectors; compiled once per level by aacmdctoverlap.cpp.

// --- slopes -----------------------------------------------------------------------------------

template <Weighting weighting>
static QORAC_INLINE Vec weight(Vec v, Vec w) {
    if constexpr (weighting == Weighting::full) return mulLanes<31>(v, w);
    if constexpr (weighting == Weighting::doubled) return mulLanes<32>(v << 1, w);
    return mulLanes<32>(v, w);
}

// v times the rising window w, and v times the window read backwards.
template <Weighting weighting>
static QORAC_INLINE void ownsMull_AAC_32s(Qor32s* v, const Qor32s* w, int len) {
    for (int i = 0; i < len; i += kLanes<Vec>)
        store(v + i, weight<weighting>(load<Vec>(v + i), load<Vec>(w + i)));
}
template <Weighting weighting>
static QORAC_INLINE void ownsMullFlip_AAC_32s(Qor32s* v, const Qor32s* w, int len) {
    for (int i = 0; i < len; i += kLanes<Vec>)
        store(v + i,
              weight<weighting>(load<Vec>(v + i), reverse(load<Vec>(w + len - kLanes<Vec> - i))));
}

template <Weighting weighting>
static QORAC_INLINE void keep(Qor32s* v, int len) {
    if constexpr (weighting == Weighting::halved)
        for (int i = 0; i < len; ++i) v[i] >>= 1;
}

static QORAC_INLINE void clear(Qor32s* v, int len) {
    for (int i = 0; i < len; ++i) v[i] = 0;
}

// The rising half of a frame and the falling one, 1024 samples each.
template <Weighting weighting>
static QORAC_INLINE void rise(Qor32s* f, const WindowShape& window) {
    if (window.sequence != kLongStop)
        return ownsMull_AAC_32s<weighting>(f, longWindow(window.prevShape), kFrame);
    clear(f, kFlat);
    ownsMull_AAC_32s<weighting>(f + kFlat, shortWindow(window.prevShape), kBlock);
    keep<weighting>(f + kFlat + kBlock, kFlat);
}
template <Weighting weighting>
static QORAC_INLINE void fall(Qor32s* f, const WindowShape& window) {
    if (window.sequence != kLongStart)
        return ownsMullFlip_AAC_32s<weighting>(f, longWindow(window.shape), kFrame);
    keep<weighting>(f, kFlat);
    ownsMullFlip_AAC_32s<weighting>(f + kFlat, shortWindow(window.shape), kBlock);
    clear(f + kFlat + kBlock, kFlat);
}

template <Weighting weighting>
static QORAC_INLINE void windowLong(Qor32s* f, const WindowShape& window) {
    rise<weighting>(f, window);
    fall<weighting>(f + kFrame, window);
}
template <Weighting weighting>
static QORAC_INLINE void windowShort(Qor32s* f, Qor32s prevShape, Qor32s shape) {
    ownsMull_AAC_32s<weighting>(f, shortWindow(prevShape), kBlock);
    ownsMullFlip_AAC_32s<weighting>(f + kBlock, shortWindow(shape), kBlock);
}

template <Weighting weighting>
static QORAC_INLINE void windowAll(Qor32s* f, const WindowShape& window) {
    if (window.sequence == kEightShort)
        windowShort<weighting>(f, window.prevShape, window.shape);
    else
        windowLong<weighting>(f, window);
}

static void windowed(Qor32s* f, const WindowShape& window, Weighting weighting) {
    switch (weighting) {
        case Weighting::full:
            return windowAll<Weighting::full>(f, window);
        case Weighting::doubled:
            return windowAll<Weighting::doubled>(f, window);
        case Weighting::halved:
            return windowAll<Weighting::halved>(f, window);
    }
}

// --- synthesis --------------------------------------------------------------------------------

// All 2n samples from what the inverse transform leaves of them.
static QORAC_INLINE void unfold(const Qor32s* x, Qor32s* f, int n) {
    constexpr int L = kLanes<Vec>;
    for (int i = 0; i < n / 2; i += L) {
        const Vec a = load<Vec>(x + i), b = load<Vec>(x + n / 2 + i);
        store(f + i, a);
        store(f + n - L - i, -reverse(a));
        store(f + n + i, b);
        store(f + 2 * n - L - i, reverse(b));
    }
}

// The windowed samples of a frame: 1024 that overlap with the frame before, 1024 for the next one.
template <Weighting weighting, typename Transform>
static QORAC_INLINE void synthesize(Qor32s* x, Qor32s* f, const WindowShape& window,
                                    Transform transform) {
    if (window.sequence != kEightShort) {
        transform(x, kFrame);
        unfold(x, f, kFrame);
        return windowLong<weighting>(f, window);
    }
    clear(f, 2 * kFrame);
    for (int b = 0; b < 8; ++b) {
        alignas(64) Qor32s g[2 * kBlock];
        transform(x + b * kBlock, kBlock);
        unfold(x + b * kBlock, g, kBlock);
        // The shape of the frame before bears on the first window only.
        windowShort<weighting>(g, b == 0 ? window.prevShape : window.shape, window.shape);
        for (int i = 0; i < 2 * kBlock; ++i) {
            Qor32s& sum = f[kFlat + b * kBlock + i];
            sum = wrapAdd(sum, g[i]);
        }
    }
}

// Sums in Q3 to 16 bits.
static QORAC_INLINE void ownsPcmAudioOutput_32s16s(const Qor32s* f, const Qor32s* overlap,
                                                   Qor16s* dst, int stride) {
    const auto sample = [&](int i) {
        return saturate16s(wrapAdd(wrapAdd(f[i], overlap[i]), 4) >> 3);
    };
    if (stride == 1)
        for (int i = 0; i < kFrame; ++i) dst[i] = sample(i);
    else
        for (int i = 0; i < kFrame; ++i) dst[2 * i] = sample(i);
}

static void synthesize16s(Qor32s* x, Qor16s* dst, int stride, Qor32s* overlap,
                          const WindowShape& window) {
    alignas(64) Qor32s f[2 * kFrame];
    synthesize<Weighting::full>(x, f, window, ownsMDCTInv_Radix2_32s);
    ownsPcmAudioOutput_32s16s(f, overlap, dst, stride);
    for (int i = 0; i < kFrame; ++i) overlap[i] = f[kFrame + i];
}

static void synthesize32s(Qor32s* x, Qor32s* overlap, const WindowShape& window) {
    alignas(64) Qor32s f[2 * kFrame];
    synthesize<Weighting::halved>(x, f, window, ownsMDCTInv_Radix2_32s_I);
    for (int i = 0; i < kFrame; ++i) {
        x[i] = wrapAdd(f[i], overlap[i]);
        overlap[i] = f[kFrame + i];
    }
}
