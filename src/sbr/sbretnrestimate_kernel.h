// Covariance and prediction of the two halves of a sub-band in the lanes of a vector; see
// frame/levels.h.

namespace tonality {

#include "sbr/covariance_lanes.h"
#include "transform/fft32f_lanes.h"

// Half h stands in lane h; the other lanes are 0.
using V = Vec<4>;

struct Halves {
    Covariance<Complex<V>> phi;
    V phi00;
};

QORAC_INLINE Halves ownCalcCovMatrixElements_32f(const Qor32fc* pSrc) {
    const auto sample = [&](Qor32s n) QORAC_INLINE_BODY {
        const Qor32fc first = pSrc[n], second = pSrc[kTnrHalf + n];
        return Complex<V>{V{first.re, second.re}, V{first.im, second.im}};
    };
    Halves halves{covariance<Complex<V>>(kTnrHalf - 2, sample), V{}};
    for (int n = 2; n < kTnrHalf; ++n) halves.phi00 = halves.phi00 + norm(sample(n));
    return halves;
}

// The energies, and the share of each that the predictor explains; four of each are written, and
// the last two mean nothing.
QORAC_INLINE void explain(const Qor32fc* pSrc, Qor32f* pEnergy, Qor32f* pShare) {
    const Halves halves = ownCalcCovMatrixElements_32f(pSrc);
    const auto& phi = halves.phi;
    const V det = determinant(phi);
    const auto solvable = det * det > 0.0f;
    const auto alpha1 = where(solvable, numerator1(phi) / det);
    const auto alpha0 =
        where(solvable & (phi.phi11 * phi.phi11 > 0.0f), numerator0(phi, alpha1) / phi.phi11);
    const V explained = -(alpha0.re * phi.phi01.re + alpha0.im * phi.phi01.im +
                          alpha1.re * phi.phi02.re + alpha1.im * phi.phi02.im);
    store(pEnergy, halves.phi00);
    store(pShare, explained / halves.phi00);
}

}  // namespace tonality

static void explain(const Qor32fc* pSrc, Qor32f* pEnergy, Qor32f* pShare) {
    tonality::explain(pSrc, pEnergy, pShare);
}
