// Plain formulas of the cosine transforms and of the complex DFT, in double precision with angles
// reduced exactly in integers.
#pragma once

#include <cmath>
#include <complex>
#include <cstdint>
#include <numbers>
#include <span>
#include <vector>

namespace qorac::reference {

// cos(2 pi i / period) for every integer i.
class CosineTable {
  public:
    explicit CosineTable(std::int64_t period) : values_(static_cast<std::size_t>(period)) {
        for (std::int64_t i = 0; i < period; ++i)
            values_[static_cast<std::size_t>(i)] =
                std::cos(2 * std::numbers::pi * double(i) / double(period));
    }
    double operator()(std::int64_t i) const {
        return values_[static_cast<std::size_t>(i % std::int64_t(values_.size()))];
    }

  private:
    std::vector<double> values_;
};

// The MDCT of blocks of `len` samples, one coefficient or sample at a time.
class Mdct {
  public:
    explicit Mdct(std::int64_t len) : len_(len), cosine_(4 * len) {}

    template <typename Sample>
    double forward(std::span<const Sample> x, std::int64_t k) const {
        double sum = 0;
        for (std::int64_t n = 0; n < len_; ++n) sum += double(x[std::size_t(n)]) * cosine(n, k);
        return 2 * sum;
    }
    double inverse(std::span<const float> spectrum, std::int64_t n) const {
        double sum = 0;
        for (std::int64_t k = 0; k < len_ / 2; ++k)
            sum += double(spectrum[std::size_t(k)]) * cosine(n, k);
        return 2 * sum / double(len_);
    }

  private:
    // cos(2 pi / N (n + n0)(k + 1/2)) with n0 = (N/2 + 1) / 2.
    double cosine(std::int64_t n, std::int64_t k) const {
        return cosine_((2 * n + len_ / 2 + 1) * (2 * k + 1));
    }

    std::int64_t len_;
    CosineTable cosine_;
};

// The orthonormal DCT-II and DCT-III of `len` values, one result at a time.
class Dct {
  public:
    explicit Dct(std::int64_t len) : len_(len), cosine_(4 * len) {}

    double forward(std::span<const float> x, std::int64_t k) const {
        double sum = 0;
        for (std::int64_t n = 0; n < len_; ++n)
            sum += double(x[std::size_t(n)]) * cosine_(k * (2 * n + 1));
        return scale(k) * sum;
    }
    double inverse(std::span<const float> spectrum, std::int64_t n) const {
        double sum = 0;
        for (std::int64_t k = 0; k < len_; ++k)
            sum += scale(k) * double(spectrum[std::size_t(k)]) * cosine_(k * (2 * n + 1));
        return sum;
    }

  private:
    double scale(std::int64_t k) const { return std::sqrt((k == 0 ? 1.0 : 2.0) / double(len_)); }

    std::int64_t len_;
    CosineTable cosine_;
};

// Sum over n of x(n) exp(-2 pi j n k / N).
inline std::vector<std::complex<double>> dft(std::span<const std::complex<double>> x) {
    const auto len = std::int64_t(x.size());
    const CosineTable cosine(4 * len);
    std::vector<std::complex<double>> result(x.size());
    for (std::int64_t k = 0; k < len; ++k)
        for (std::int64_t n = 0; n < len; ++n)
            result[std::size_t(k)] +=
                x[std::size_t(n)] *
                std::complex<double>(cosine(4 * n * k),
                                     cosine(4 * n * k + len));  // cos(a + pi/2) = -sin(a)
    return result;
}

}  // namespace qorac::reference
