// The scale-factor bands of one window, as the spectral tools walk them.
#pragma once

#include "aac/aachelp.h"

namespace qorac {

struct Bands {
    const Qor16s* offset;  // count + 1 entries
    int count;
};

// samplingRateIndex 0 to 11, winLen 128 or 1024.
inline Bands bandsOf(Qor32s samplingRateIndex, Qor32s winLen) {
    return winLen == 128 ? Bands{_pAACSwbOffsetTableShort[samplingRateIndex],
                                 _pAACNumSwbTableShort[samplingRateIndex]}
                         : Bands{_pAACSwbOffsetTableLong[samplingRateIndex],
                                 _pAACNumSwbTableLong[samplingRateIndex]};
}

}  // namespace qorac
