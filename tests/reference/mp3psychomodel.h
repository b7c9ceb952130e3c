// Plain form of the psychoacoustic model: one step after the other on vectors, in integers wide
// enough never to wrap where the model does not.
#pragma once

#include <array>
#include <vector>

#include "mp3enc/mp3epsychtbl.h"
#include "qorac.h"
#include "reference/mp3encmath.h"

namespace qorac::reference {

struct Complex32 {
    Qor32s re, im;
};

// Transform of Annex D's spectra: real input, size 1024 or 256, lines 0 to size / 2.
std::vector<Complex32> realTransform(const std::vector<Qor16s>& samples);

// One call of the model. Records and states as in qorac.h.
void psychoacousticModel(const std::vector<Qor16s>& pcm, std::vector<QorMP3PsychoInfo>& info,
                         std::array<Qor32s, 6>& bound, std::vector<QorMP3SideInfo>& sideInfo,
                         QorMP3FrameHeader& header, std::array<QorMP3PsychoState, 4>& state);

// The coupling of the thresholds of one partition; nb and e are left, right, mid, side.
std::array<Int128, 4> coupled(const std::array<Int128, 4>& nb, const std::array<Int128, 4>& e,
                              Qor32s bmld);

}  // namespace qorac::reference
