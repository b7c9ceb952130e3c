// Groups, widths and counts of the scale factors in a Layer III stream.
#pragma once

#include "qorac.h"

namespace qorac {

// ISO 11172-3 clause 2.4.2.7: first scale factor of each group of long bands, which share a bit of
// scfsi, and the end. The first two groups have slen1 bits each, the others slen2.
inline constexpr int kScfsiGroupStart[5] = {0, 6, 11, 16, 21};

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

// Of a low sampling frequency: row of the table, widths of the four partitions, and preflag.
struct ScaleFactorPartitions {
    int row;
    int width[4];
    int preflag;
};

constexpr ScaleFactorPartitions scaleFactorPartitions(int scalefac_compress, bool intensity) {
    if (!intensity) {
        const int c = scalefac_compress;
        if (c < 400) return {0, {(c >> 4) / 5, (c >> 4) % 5, (c & 15) >> 2, c & 3}, 0};
        if (c < 500) {
            const int d = c - 400;
            return {1, {(d >> 2) / 5, (d >> 2) % 5, d & 3, 0}, 0};
        }
        return {2, {(c - 500) / 3, (c - 500) % 3, 0, 0}, 1};
    }
    const int e = scalefac_compress >> 1;
    if (e < 180) return {3, {e / 36, e % 36 / 6, e % 36 % 6, 0}, 0};
    if (e < 244) {
        const int t = e + 12;
        return {4, {(t & 63) >> 4, (t & 15) >> 2, t & 3, 0}, 0};
    }
    return {5, {(e - 244) / 3, (e - 244) % 3, 0, 0}, 0};
}

}  // namespace qorac
