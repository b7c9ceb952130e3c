// Rotations of the float MDCT of power-of-two lengths at one instruction level; included by
// frame/levels.h only.

#include "transform/mdct_lanes.h"

template <int lanes>
using Reals = Lanes<Qor32f, lanes>;

// --- complex values from both ends of an array ------------------------------------------------

template <int lanes>
struct PartsOfFront {
    static constexpr int at(int i) { return i % 2 ? lanes + i - 1 : i; }
};
template <int lanes>
struct PartsOfBack {
    static constexpr int at(int i) { return i % 2 ? 2 * lanes - i : lanes - 1 - i; }
};
template <int lanes>
struct RealParts {
    static constexpr int at(int i) { return i % 2 ? 2 * lanes - 1 - i : i; }
};
template <int lanes>
struct ImaginaryParts {
    static constexpr int at(int i) { return i % 2 ? 2 * lanes - i : i + 1; }
};

template <int lanes>
static QORAC_INLINE Pairs<Reals<lanes>> loadValues(const Qor32fc* z, Qor32s q, Qor32s i) {
    const auto front = load<Reals<lanes>>(z + i);
    const auto back = load<Reals<lanes>>(z + q - lanes / 2 - i);
    return {shuffle<RealParts<lanes>>(front, back), shuffle<ImaginaryParts<lanes>>(front, back)};
}
template <int lanes>
static QORAC_INLINE void storeValues(Qor32fc* z, Qor32s q, Qor32s i, const Reals<lanes>& re,
                                     const Reals<lanes>& im) {
    store(z + i, shuffle<PartsOfFront<lanes>>(re, im));
    store(z + q - lanes / 2 - i, shuffle<PartsOfBack<lanes>>(re, im));
}

template <int lanes>
static QORAC_INLINE Twiddles<Reals<lanes>> loadTwiddles(const Qor32f* pTwiddle, Qor32s q,
                                                        Qor32s i) {
    return {load<Reals<lanes>>(pTwiddle + 2 * i), load<Reals<lanes>>(pTwiddle + q + 2 * i)};
}

// --- rotations --------------------------------------------------------------------------------

// Stores the values (u + jv) exp(-j t), given u of i beside v of i', and v of i beside u of i'.
template <int lanes>
static QORAC_INLINE void rotateIn(Qor32fc* z, Qor32s q, Qor32s i, const Pairs<Reals<lanes>>& uv,
                                  const Qor32f* pTwiddle) {
    const auto w = loadTwiddles<lanes>(pTwiddle, q, i);
    storeValues<lanes>(z, q, i, mulAdd(w.cosSin, uv.a, w.sinCos * uv.b),
                       oddNegated(mulSubFrom(w.sinCos, uv.a, w.cosSin * uv.b)));
}

// Of the values (a + jb) exp(-j t) the real part of i beside the negative imaginary part of i', and
// the negative imaginary part of i beside the real part of i'.
template <int lanes>
static QORAC_INLINE Pairs<Reals<lanes>> rotateOut(const Qor32fc* z, Qor32s q, Qor32s i,
                                                  const Qor32f* pTwiddle) {
    const auto w = loadTwiddles<lanes>(pTwiddle, q, i);
    const auto [a, b] = loadValues<lanes>(z, q, i);
    const Reals<lanes> turned = oddNegated(b);
    return {mulAdd(w.cosSin, a, w.sinCos * turned), mulSubFrom(w.cosSin, turned, w.sinCos * a)};
}

template <int lanes>
static QORAC_INLINE void forwardPre(const Qor32f* x, Qor32fc* z, const Qor32f* pTwiddle, Qor32s q) {
    for (Qor32s i = 0; i < q / 2; i += lanes / 2)
        rotateIn<lanes>(
            z, q, i,
            fold(load<Reals<lanes>>(x + 3 * q - lanes - 2 * i),
                 load<Reals<lanes>>(x + 3 * q + 2 * i), load<Reals<lanes>>(x + q - lanes - 2 * i),
                 load<Reals<lanes>>(x + q + 2 * i)),
            pTwiddle);
}

template <int lanes>
static QORAC_INLINE void forwardPost(const Qor32fc* z, Qor32f* pDst, const Qor32f* pTwiddle,
                                     Qor32s q) {
    for (Qor32s i = 0; i < q / 2; i += lanes / 2) {
        const auto out = rotateOut<lanes>(z, q, i, pTwiddle);
        store(pDst + 2 * i, out.a);
        store(pDst + 2 * q - lanes - 2 * i, reversedLanes(out.b));
    }
}

template <int lanes>
static QORAC_INLINE void inversePre(const Qor32f* pSrc, Qor32fc* z, const Qor32f* pTwiddle,
                                    Qor32s q) {
    for (Qor32s i = 0; i < q / 2; i += lanes / 2) {
        const auto front = load<Reals<lanes>>(pSrc + 2 * i);
        const auto back = load<Reals<lanes>>(pSrc + 2 * q - lanes - 2 * i);
        rotateIn<lanes>(z, q, i, {front, reversedLanes(back)}, pTwiddle);
    }
}

// The second quarter is the first one reversed and negated, the fourth the third one reversed.
template <int lanes>
static QORAC_INLINE void inversePost(const Qor32fc* z, Qor32f* y, const Qor32f* pTwiddle,
                                     Qor32s q) {
    for (Qor32s i = 0; i < q / 2; i += lanes / 2) {
        const auto out = rotateOut<lanes>(z, q, i, pTwiddle);
        store(y + q - lanes - 2 * i, reversedLanes(out.b));
        store(y + q + 2 * i, Reals<lanes>(-out.b));
        store(y + 3 * q - lanes - 2 * i, reversedLanes(Reals<lanes>(-out.a)));
        store(y + 3 * q + 2 * i, Reals<lanes>(-out.a));
    }
}

// --- entries ----------------------------------------------------------------------------------

static void qors_MDCTFwdPreProcPow2_32f(const Qor32f* x, Qor32fc* z, const Qor32f* pTwiddle,
                                        Qor32s q) {
    if (q < kWideLanes)
        forwardPre<8>(x, z, pTwiddle, q);
    else
        forwardPre<kWideLanes>(x, z, pTwiddle, q);
}
static void qors_MDCTFwdPostProcPow2_32f(const Qor32fc* z, Qor32f* pDst, const Qor32f* pTwiddle,
                                         Qor32s q) {
    if (q < kWideLanes)
        forwardPost<8>(z, pDst, pTwiddle, q);
    else
        forwardPost<kWideLanes>(z, pDst, pTwiddle, q);
}
static void qors_MDCTInvPreProcPow2_32f(const Qor32f* pSrc, Qor32fc* z, const Qor32f* pTwiddle,
                                        Qor32s q) {
    if (q < kWideLanes)
        inversePre<8>(pSrc, z, pTwiddle, q);
    else
        inversePre<kWideLanes>(pSrc, z, pTwiddle, q);
}
static void qors_MDCTInvPostProcPow2_32f(const Qor32fc* z, Qor32f* y, const Qor32f* pTwiddle,
                                         Qor32s q) {
    if (q < kWideLanes)
        inversePost<8>(z, y, pTwiddle, q);
    else
        inversePost<kWideLanes>(z, y, pTwiddle, q);
}
