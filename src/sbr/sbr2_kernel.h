// The predictors of neighbouring bands in vectors of one instruction level; see frame/levels.h.

namespace predictors {

#include "sbr/covariance_lanes.h"
#include "transform/fft32f_lanes.h"

// --- bands in memory ----------------------------------------------------------------------------

// `count` floats at p in the first lanes, 0 in the others.
template <typename V, int count>
QORAC_INLINE V loadFirst(const Qor32f* p) {
    if constexpr (count == kLanes<V>) return load<V>(p);
    V v{};
    for (int i = 0; i < count; ++i) v[i] = p[i];
    return v;
}
template <int count, typename V>
QORAC_INLINE void storeFirst(Qor32f* p, V v) {
    __builtin_memcpy(p, &v, count * sizeof *p);
}

// The same for complex numbers, which stand in the lanes by quarters: two of the first half of the
// run, two of the second.
template <typename V, int count>
QORAC_INLINE Complex<V> loadFirst(const Qor32fc* p) {
    constexpr int lanes = kLanes<V>, half = lanes / 2;
    constexpr int inLow = count < half ? count : half;
    const V low = loadFirst<V, 2 * inLow>(&p->re);
    V high{};
    if constexpr (count > half) high = loadFirst<V, 2 * (count - half)>(&p[half].re);
    return {shuffle<EverySecondInQuarter<lanes, 0>>(low, high),
            shuffle<EverySecondInQuarter<lanes, 1>>(low, high)};
}
template <int count, typename V>
QORAC_INLINE void storeFirst(Qor32fc* p, Complex<V> z) {
    constexpr int lanes = kLanes<V>, half = lanes / 2;
    constexpr int inLow = count < half ? count : half;
    storeFirst<2 * inLow>(&p->re, shuffle<UnpackQuarters<lanes, 1, false>>(z.re, z.im));
    if constexpr (count > half)
        storeFirst<2 * (count - half)>(&p[half].re,
                                       shuffle<UnpackQuarters<lanes, 1, true>>(z.re, z.im));
}

// The three forms: sample n of the bands from `band` on, and the place of their coefficients.
struct Split {
    const Qor32f *const *ppRe, *const *ppIm;
    Qor32f *pAlpha0Re, *pAlpha0Im, *pAlpha1Re, *pAlpha1Im;

    template <typename V>
    using Sample = Complex<V>;
    template <typename V, int count>
    QORAC_INLINE Complex<V> load(Qor32s n, Qor32s band) const {
        return {loadFirst<V, count>(ppRe[n] + band), loadFirst<V, count>(ppIm[n] + band)};
    }
    template <int count, typename V>
    QORAC_INLINE void store(Qor32s band, Complex<V> alpha0, Complex<V> alpha1) const {
        storeFirst<count>(pAlpha0Re + band, alpha0.re);
        storeFirst<count>(pAlpha0Im + band, alpha0.im);
        storeFirst<count>(pAlpha1Re + band, alpha1.re);
        storeFirst<count>(pAlpha1Im + band, alpha1.im);
    }
};

template <typename V>
using Real = V;

// One list of rows, of complex or of real samples.
template <typename Element, template <typename> typename SampleOf>
struct Joined {
    const Element* const* ppSrc;
    Element *pAlpha0, *pAlpha1;

    template <typename V>
    using Sample = SampleOf<V>;
    template <typename V, int count>
    QORAC_INLINE Sample<V> load(Qor32s n, Qor32s band) const {
        return loadFirst<V, count>(ppSrc[n] + band);
    }
    template <int count, typename V>
    QORAC_INLINE void store(Qor32s band, Sample<V> alpha0, Sample<V> alpha1) const {
        storeFirst<count>(pAlpha0 + band, alpha0);
        storeFirst<count>(pAlpha1 + band, alpha1);
    }
};

// --- prediction ---------------------------------------------------------------------------------

// `count` bands from `band` on. A coefficient is too large when its squared magnitude is above 16
// in whole groups of four bands and from 16 on in the bands that are left; both coefficients of the
// band become 0.
template <int lanes, int count, typename Form>
QORAC_INLINE void predictBands(const Form& form, Qor32s band, Qor32s len) {
    using V = Vec<lanes>;
    using Z = typename Form::template Sample<V>;
    const auto phi = covariance<Z>(
        len, [&](Qor32s n) QORAC_INLINE_BODY { return form.template load<V, count>(n, band); });
    const V det = determinant(phi);
    const Z alpha1 = where(det != 0.0f, numerator1(phi) * (1.0f / det));
    const Z alpha0 = where(phi.phi11 > 0.0f, numerator0(phi, alpha1) * (1.0f / phi.phi11));
    const V size0 = norm(alpha0), size1 = norm(alpha1);
    if constexpr (count == lanes) {
        const auto stable = (size0 <= 16.0f) & (size1 <= 16.0f);
        form.template store<count, V>(band, where(stable, alpha0), where(stable, alpha1));
    } else {
        const auto stable = ~((size0 >= 16.0f) | (size1 >= 16.0f));
        form.template store<count, V>(band, where(stable, alpha0), where(stable, alpha1));
    }
}

template <typename Form>
QORAC_INLINE void predictAll(const Form& form, Qor32s numBands, Qor32s len) {
    Qor32s band = 0;
    for (; numBands - band >= kMaxLanes; band += kMaxLanes)
        predictBands<kMaxLanes, kMaxLanes>(form, band, len);
    if constexpr (kMaxLanes > 8) {
        for (; numBands - band >= 8; band += 8) predictBands<8, 8>(form, band, len);
    }
    for (; numBands - band >= 4; band += 4) predictBands<4, 4>(form, band, len);
    const Qor32s left = numBands - band;
    if (left == 1) predictBands<4, 1>(form, band, len);
    if (left == 2) predictBands<4, 2>(form, band, len);
    if (left == 3) predictBands<4, 3>(form, band, len);
}

}  // namespace predictors

static void predictSplit(const Qor32f* const* ppSrcRe, const Qor32f* const* ppSrcIm,
                         Qor32f* pAlpha0Re, Qor32f* pAlpha0Im, Qor32f* pAlpha1Re, Qor32f* pAlpha1Im,
                         Qor32s numBands, Qor32s len) {
    predictors::predictAll(
        predictors::Split{ppSrcRe, ppSrcIm, pAlpha0Re, pAlpha0Im, pAlpha1Re, pAlpha1Im}, numBands,
        len);
}
static void predictComplex(const Qor32fc* const* ppSrc, Qor32fc* pAlpha0, Qor32fc* pAlpha1,
                           Qor32s numBands, Qor32s len) {
    predictors::predictAll(
        predictors::Joined<Qor32fc, predictors::Complex>{ppSrc, pAlpha0, pAlpha1}, numBands, len);
}
static void predictReal(const Qor32f* const* ppSrc, Qor32f* pAlpha0, Qor32f* pAlpha1,
                        Qor32s numBands, Qor32s len) {
    predictors::predictAll(predictors::Joined<Qor32f, predictors::Real>{ppSrc, pAlpha0, pAlpha1},
                           numBands, len);
}
