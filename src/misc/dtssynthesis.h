// The windows of the DTS synthesis filter, for tests.
#pragma once

#include <array>

#include "qorac.h"

namespace qorac {

// Groups of 64: the entries 0 to 15 and 32 to 47 weight the samples of rising time, 16 to 31 and 48
// to 63 those of falling time.
extern const std::array<Qor32f, 512> dts_rcoeff_perfect, dts_rcoeff_nonperfect;

}  // namespace qorac
