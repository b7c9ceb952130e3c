// Widths and counts of the scale factors in a Layer III stream, by scalefac_compress.
#pragma once

#include "qorac.h"

namespace qorac {

// ISO 11172-3 clause 2.4.2.7: slen1 and slen2 by scalefac_compress.
inline constexpr Qor8s _pMP3TableSlen[2][16] = {
    {0, 0, 0, 0, 3, 1, 1, 1, 2, 2, 2, 3, 3, 3, 4, 4},
    {0, 1, 2, 3, 0, 1, 2, 3, 1, 2, 3, 1, 2, 3, 2, 3},
};

// ISO 13818-3 clause 2.4.3.2: scale factors in each of the four partitions. First index: range of
// scalefac_compress, three for a normal channel and three for the right channel of an intensity
// pair; second: 0 long, 1 short, 2 mixed blocks.
inline constexpr Qor8u _pNumberOfSfbBlock[6][3][4] = {
    {{6, 5, 5, 5}, {9, 9, 9, 9}, {6, 9, 9, 9}},
    {{6, 5, 7, 3}, {9, 9, 12, 6}, {6, 9, 12, 6}},
    {{11, 10, 0, 0}, {18, 18, 0, 0}, {15, 18, 0, 0}},
    {{7, 7, 7, 0}, {12, 12, 12, 0}, {6, 15, 12, 0}},
    {{6, 6, 6, 3}, {12, 9, 9, 6}, {6, 12, 9, 6}},
    {{8, 8, 5, 0}, {15, 12, 9, 0}, {6, 18, 9, 0}},
};

}  // namespace qorac
