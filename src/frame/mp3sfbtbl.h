// Scale-factor-band boundaries of MPEG audio Layer III (ISO 11172-3 Table B.8, ISO 13818-3 Table
// B.2). The row is id * 3 + sampling_frequency; band b covers lines boundary[b] to
// boundary[b + 1] - 1, and the short table counts the 192 lines of one window.
#pragma once

#include "qorac.h"

namespace qorac {

extern const Qor16s _qor_pMP3SfbTableLong[6][23];
extern const Qor16s _qor_pMP3SfbTableShort[6][14];

}  // namespace qorac
