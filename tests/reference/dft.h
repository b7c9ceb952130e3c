// The discrete Fourier transform in double precision, with roots of unity from angles that are
// reduced exactly.
#pragma once

#include <cmath>
#include <complex>
#include <cstddef>
#include <numbers>
#include <utility>
#include <vector>

namespace qorac::reference {

// exp(sign * 2 pi j k / n), n a power of two.
inline std::complex<double> rootOfUnity(std::size_t k, std::size_t n, int sign) {
    k %= n;
    const std::size_t eighth = 8 * k / n;  // the eighth of the turn that the angle lies in
    const double unit = 2 * std::numbers::pi / double(n);
    const double forth = unit * (double(k) - double(eighth / 2 * n) / 4);
    const double back = unit * (double((eighth / 2 + 1) * n) / 4 - double(k));
    const bool second = eighth % 2 == 1;
    double c = second ? std::sin(back) : std::cos(forth);
    double s = second ? std::cos(back) : std::sin(forth);
    for (std::size_t quarter = 0; quarter < eighth / 2; ++quarter) {
        c = std::exchange(s, c);
        c = -c;
    }
    return {c, sign * s};
}

// One bin straight from the definition; the phase is set anew every 256 terms.
template <typename Sample>
std::complex<double> dftBin(std::size_t n, std::size_t k, int sign, Sample sample) {
    const std::complex<double> step = rootOfUnity(k, n, sign);
    std::complex<double> sum = 0;
    for (std::size_t first = 0; first < n; first += 256) {
        std::complex<double> phase = rootOfUnity(first % n * k, n, sign), part = 0;
        for (std::size_t i = first; i < n && i < first + 256; ++i) {
            const std::complex<double> x = sample(i);
            part += std::complex<double>(x.real() * phase.real() - x.imag() * phase.imag(),
                                         x.real() * phase.imag() + x.imag() * phase.real());
            phase = {phase.real() * step.real() - phase.imag() * step.imag(),
                     phase.real() * step.imag() + phase.imag() * step.real()};
        }
        sum += part;
    }
    return sum;
}

// Decimation in time, radix 2; the length is a power of two.
inline std::vector<std::complex<double>> dft(const std::vector<std::complex<double>>& x, int sign) {
    const std::size_t n = x.size();
    std::vector<std::complex<double>> y(n), roots(n / 2);
    for (std::size_t i = 0, reversed = 0; i < n; ++i) {
        y[reversed] = x[i];
        std::size_t bit = n / 2;
        for (; bit != 0 && (reversed & bit) != 0; bit /= 2) reversed ^= bit;
        reversed |= bit;
    }
    for (std::size_t k = 0; k < n / 2; ++k) roots[k] = rootOfUnity(k, n, sign);
    for (std::size_t span = 1; span < n; span *= 2) {
        for (std::size_t first = 0; first < n; first += 2 * span) {
            for (std::size_t k = 0; k < span; ++k) {
                const auto w = roots[k * (n / 2 / span)], a = y[first + k], b = y[first + k + span];
                const std::complex<double> turned(b.real() * w.real() - b.imag() * w.imag(),
                                                  b.real() * w.imag() + b.imag() * w.real());
                y[first + k] = a + turned;
                y[first + k + span] = a - turned;
            }
        }
    }
    return y;
}

}  // namespace qorac::reference
