// The QMF banks of the SBR tool by their sums, in double precision, with angles reduced exactly in
// integers. Real sub-bands are complex ones without imaginary parts.
#pragma once

#include <complex>
#include <cstdint>
#include <deque>
#include <span>
#include <vector>

#include "reference/cosine.h"

namespace qorac::reference {

// exp(j pi i / 256).
class QmfTurn {
  public:
    std::complex<double> operator()(std::int64_t i) const {
        return {cosine_(i + kFull), cosine_(i + kFull - 128)};
    }

  private:
    static constexpr std::int64_t kFull = 512 * 512;  // makes every angle positive
    CosineTable cosine_{512};
};

// 32 samples a slot to 32 sub-bands; the window is c(2i).
class QmfAnalysis {
  public:
    QmfAnalysis(bool real, std::span<const float> window)
        : real_(real), window_(window.begin(), window.end()), history_(320, 0.0) {}

    template <typename Sample>
    std::vector<std::complex<double>> slot(std::span<const Sample> samples) {
        for (const Sample sample : samples) {
            history_.push_front(double(sample));
            history_.pop_back();
        }
        std::vector<std::complex<double>> subbands(32);
        for (std::int64_t k = 0; k < 32; ++k) {
            for (std::int64_t n = 0; n < 64; ++n) {
                double u = 0;
                for (std::int64_t r = 0; r < 5; ++r)
                    u += window_[std::size_t(n + 64 * r)] * history_[std::size_t(n + 64 * r)];
                // pi/64 (k + 1/2) (2n - 1/2 or 2n - 96)
                const auto turn = turn_((2 * k + 1) * (real_ ? 4 * n - 192 : 4 * n - 1));
                subbands[std::size_t(k)] += 2 * u * (real_ ? turn.real() : turn);
            }
        }
        return subbands;
    }

  private:
    bool real_;
    std::vector<double> window_;
    std::deque<double> history_;
    QmfTurn turn_;
};

// 64 or 32 sub-bands a slot to as many samples; the window has ten coefficients for each.
class QmfSynthesis {
  public:
    QmfSynthesis(bool real, int bands, std::span<const float> window)
        : real_(real),
          bands_(bands),
          window_(window.begin(), window.end()),
          slots_(10, std::vector<double>(std::size_t(2 * bands))) {}

    std::vector<double> slot(std::span<const std::complex<double>> subbands) {
        slots_.push_front(values(subbands));
        slots_.pop_back();
        std::vector<double> samples(std::size_t(bands_), 0.0);
        for (int i = 0; i < bands_; ++i)
            for (int t = 0; t < 10; ++t)
                samples[std::size_t(i)] += window_[std::size_t(bands_ * t + i)] *
                                           slots_[std::size_t(t)][std::size_t(t % 2 * bands_ + i)];
        return samples;
    }

  private:
    std::vector<double> values(std::span<const std::complex<double>> subbands) const {
        std::vector<double> v(std::size_t(2 * bands_));
        for (std::int64_t n = 0; n < 2 * bands_; ++n)
            for (std::int64_t k = 0; k < bands_; ++k)
                v[std::size_t(n)] +=
                    (subbands[std::size_t(k)] * turn_((2 * k + 1) * angle(n))).real() /
                    (real_ ? 32 : 64);
        return v;
    }
    // 256 / pi times the angle of value n over 2k + 1.
    std::int64_t angle(std::int64_t n) const {
        if (bands_ == 64) return real_ ? 2 * n - 64 : 2 * n - 255;
        return real_ ? 4 * n - 64 : 4 * n - 255;
    }

    bool real_;
    int bands_;
    std::vector<double> window_;
    std::deque<std::vector<double>> slots_;
    QmfTurn turn_;
};

}  // namespace qorac::reference
