// Second-order linear prediction by the covariance method, one sequence at a time, from the
// definition of the sums, in the precision of T. A real sequence has imaginary parts of 0: what
// they add changes no result.
#pragma once

#include <complex>
#include <cstddef>
#include <vector>

namespace qorac::reference {

template <typename T>
struct Sums {
    std::complex<T> phi01, phi02, phi12;
    T phi11 = 0, phi22 = 0;

    T determinant() const {
        return phi22 * phi11 -
               T(0.99999905f) * (phi12.real() * phi12.real() + phi12.imag() * phi12.imag());
    }
    std::complex<T> numerator1() const {
        return {phi01.real() * phi12.real() - phi01.imag() * phi12.imag() - phi02.real() * phi11,
                phi01.imag() * phi12.real() + phi01.real() * phi12.imag() - phi02.imag() * phi11};
    }
    std::complex<T> numerator0(std::complex<T> alpha1) const {
        return {-(phi01.real() + alpha1.real() * phi12.real() + alpha1.imag() * phi12.imag()),
                -(phi01.imag() + alpha1.imag() * phi12.real() - alpha1.real() * phi12.imag())};
    }
};

template <typename T>
T norm(std::complex<T> z) {
    return z.real() * z.real() + z.imag() * z.imag();
}

// Of the samples 0 to len + 1 of z.
template <typename T>
Sums<T> covarianceSums(const std::vector<std::complex<T>>& z, int len) {
    const auto lagged = [&](int first, int lag) {
        T re = 0, im = 0;
        for (int n = first; n < first + len; ++n) {
            const auto a = z[std::size_t(n + lag)], b = z[std::size_t(n)];
            re += a.real() * b.real() + a.imag() * b.imag();
            im += a.imag() * b.real() - a.real() * b.imag();
        }
        return std::complex<T>(re, im);
    };
    return {lagged(1, 1), lagged(0, 2), lagged(0, 1), lagged(1, 0).real(), lagged(0, 0).real()};
}

}  // namespace qorac::reference
