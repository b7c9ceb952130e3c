// Requantization, stereo and reordering of a Layer III granule, in plain steps.
#pragma once

#include <array>
#include <vector>

#include "qorac.h"

namespace qorac::reference {

struct Granule {
    QorMP3FrameHeader head{};
    QorMP3SideInfo side[2]{};
    std::array<std::array<Qor8s, 40>, 2> scaleFactors{};
    std::array<std::vector<Qor32s>, 2> lines{std::vector<Qor32s>(576), std::vector<Qor32s>(576)};
    std::array<Qor32s, 2> bounds{};
    const Qor16s* longBands = nullptr;  // the row of the granule's sampling frequency
    const Qor16s* shortBands = nullptr;

    int channels() const { return head.mode == 3 ? 1 : 2; }
    bool midSide() const { return head.mode == 1 && (head.mode_extension & 2); }
    bool intensity() const { return head.mode == 1 && (head.mode_extension & 1); }
};

// k^(4/3) * 2^(-exponent / 4) in Q26 for one value, to the bit; k of magnitude at most 8206.
Qor32s requantizeLine(Qor32s k, int exponent);

struct RequantizedGranule {
    QorStatus status = qorStsNoErr;
    std::array<std::vector<Qor32s>, 2> lines;
    std::array<Qor32s, 2> bounds{};
    std::array<int, 2> defined{576, 576};  // lines from here on are open
};

// In integers, to the bit. Bounds and records have passed the argument checks.
RequantizedGranule requantize(const Granule& granule);

// The same from the standard's formulas in double precision: lines times 2^26, in the order of
// requantize. Illegal intensity positions do not occur as errors here.
std::array<std::vector<double>, 2> requantizeExactly(const Granule& granule);

}  // namespace qorac::reference
