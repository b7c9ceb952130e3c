// Hybrid synthesis of Layer III in direct form, from the formulas of ISO 11172-3 clause 2.4.3.4.10
// and 2.4.3.2, in double precision.
#pragma once

#include <array>
#include <vector>

#include "qorac.h"

namespace qorac::reference {

// Sub-bands that the inverse transform of a granule computes.
int computedSubbands(int nonZeroBound, int blockType, int mixedBlock);

// Butterflies at the sub-band boundaries 1 to `boundaries`.
void reduceAlias(std::vector<double>& lines, int boundaries);
// How many of them a granule has.
int aliasBoundaries(int nonZeroBound, int blockType, int mixedBlock);

// Inverse transform and window of one sub-band: 36 values at the standard's scale. A short block's
// lines stand window after window.
std::array<double, 36> inverseTransform(const double* lines, int blockType);

// The polyphase filter bank with its vector V.
class Polyphase {
  public:
    std::array<double, 32> operator()(const double* subbands);

  private:
    std::array<double, 1024> v_{};
};

// The whole synthesis of one channel: lines to 576 samples, both at the standard's scale.
class Hybrid {
  public:
    std::vector<double> operator()(std::vector<double> lines, int nonZeroBound, int blockType,
                                   int mixedBlock);

  private:
    std::array<double, 576> overlap_{};
    Polyphase polyphase_;
};

// The polyphase filter bank in integers: sub-band samples in Q24 to 16-bit samples, with each
// product by the window (Q30) cut to its high 32 bits.
class IntegerPolyphase {
  public:
    std::array<Qor16s, 32> operator()(const Qor32s* subbands);

  private:
    std::array<std::array<Qor32s, 32>, 16> history_{};  // cosine transforms, the newest first
};

}  // namespace qorac::reference
