// Second-order linear prediction by the covariance method, one sequence in each lane of a vector;
// included by kernel files only, in a namespace of their own.
//
// A sequence z is complex or real. All steps are taken in single precision in the order in which
// they stand here: near the determinants of tones, every rounding shows.

// --- numbers ------------------------------------------------------------------------------------

template <typename V>
struct Complex {
    V re, im;
};

template <typename V>
QORAC_INLINE V mul(V a, V b) {
    return a * b;
}
template <typename V>
QORAC_INLINE Complex<V> mul(Complex<V> a, Complex<V> b) {
    return {a.re * b.re - a.im * b.im, a.im * b.re + a.re * b.im};
}

// a conj(b)
template <typename V>
QORAC_INLINE V mulConj(V a, V b) {
    return a * b;
}
template <typename V>
QORAC_INLINE Complex<V> mulConj(Complex<V> a, Complex<V> b) {
    return {a.re * b.re + a.im * b.im, a.im * b.re - a.re * b.im};
}

// sum + a conj(b), term by term
template <typename V>
QORAC_INLINE V addMulConj(V sum, V a, V b) {
    return sum + a * b;
}
template <typename V>
QORAC_INLINE Complex<V> addMulConj(Complex<V> sum, Complex<V> a, Complex<V> b) {
    return {sum.re + a.re * b.re + a.im * b.im, sum.im + a.im * b.re - a.re * b.im};
}

template <typename V>
QORAC_INLINE V norm(V a) {
    return a * a;
}
template <typename V>
QORAC_INLINE V norm(Complex<V> a) {
    return a.re * a.re + a.im * a.im;
}

template <typename V>
QORAC_INLINE Complex<V> operator+(Complex<V> a, Complex<V> b) {
    return {a.re + b.re, a.im + b.im};
}
template <typename V>
QORAC_INLINE Complex<V> operator-(Complex<V> a, Complex<V> b) {
    return {a.re - b.re, a.im - b.im};
}
template <typename V>
QORAC_INLINE Complex<V> operator-(Complex<V> a) {
    return {-a.re, -a.im};
}
template <typename V>
QORAC_INLINE Complex<V> operator*(Complex<V> a, V b) {
    return {a.re * b, a.im * b};
}
template <typename V>
QORAC_INLINE Complex<V> operator/(Complex<V> a, V b) {
    return {a.re / b, a.im / b};
}

// a in the lanes where the condition holds, 0 in the others.
template <typename Mask, typename V>
QORAC_INLINE V where(Mask condition, V a) {
    return condition ? a : V{};
}
template <typename Mask, typename V>
QORAC_INLINE Complex<V> where(Mask condition, Complex<V> a) {
    return {where(condition, a.re), where(condition, a.im)};
}

// The vector of one part of Z.
template <typename Z>
using Part = decltype(norm(Z{}));

// --- covariance ---------------------------------------------------------------------------------

// phi(i, j) of ISO/IEC 14496-3 (SBR tool, inverse filtering), the time index moved up by 2.
template <typename Z>
struct Covariance {
    Z phi01, phi02, phi12;
    Part<Z> phi11, phi22;
};

// Of the samples sample(0) to sample(len + 1), len at least 1.
template <typename Z, typename Sample>
QORAC_INLINE Covariance<Z> covariance(Qor32s len, Sample sample) {
    Covariance<Z> phi{};
    Z z0 = sample(0), z1 = sample(1);
    Z product = mulConj(z1, z0);
    Part<Z> energy = norm(z0);
    for (Qor32s n = 0; n < len; ++n) {
        const Z z2 = sample(n + 2);
        phi.phi12 = phi.phi12 + product;
        phi.phi22 = phi.phi22 + energy;
        phi.phi02 = phi.phi02 + mulConj(z2, z0);
        product = mulConj(z2, z1);
        energy = norm(z1);
        phi.phi01 = phi.phi01 + product;
        phi.phi11 = phi.phi11 + energy;
        z0 = z1;
        z1 = z2;
    }
    return phi;
}

// The relaxation 1 - 2^-20 stands in for the standard's division by 1 + 1e-6.
template <typename Z>
QORAC_INLINE Part<Z> determinant(const Covariance<Z>& phi) {
    return phi.phi22 * phi.phi11 - 0.99999905f * norm(phi.phi12);
}

// The coefficients but for the division: alpha1 by the determinant, alpha0 by phi11.
template <typename Z>
QORAC_INLINE Z numerator1(const Covariance<Z>& phi) {
    return mul(phi.phi01, phi.phi12) - phi.phi02 * phi.phi11;
}
template <typename Z>
QORAC_INLINE Z numerator0(const Covariance<Z>& phi, Z alpha1) {
    return -addMulConj(phi.phi01, alpha1, phi.phi12);
}
