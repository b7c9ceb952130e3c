// Relative errors of the float transforms.
#pragma once

#include <cmath>

namespace qorac::test {

// Collects results beside their exact values; the root of the mean square error over the root of
// the mean square value, in units of 2^-24.
class RelativeError {
  public:
    void add(double result, double exact) {
        error_ += (result - exact) * (result - exact);
        power_ += exact * exact;
    }
    double inUnits() const { return std::sqrt(error_ / power_) * 16777216.0; }

  private:
    double error_ = 0, power_ = 0;
};

// The error that a transform of `len` points in single precision may have, in units of 2^-24.
inline double allowedError(double len) { return 0.35 * 4 * std::sqrt(std::log2(len)); }

}  // namespace qorac::test
