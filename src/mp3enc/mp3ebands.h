// The scale-factor bands of one granule as the encoder's arrays hold them: long blocks band by
// band, short blocks band by band, in a band window by window. Per-band arrays have the same order,
// so that band b of window w stands at index windows * b + w.
#pragma once

#include "frame/dispatch.h"
#include "frame/mp3sfbtbl.h"
#include "qorac.h"

namespace qorac {

struct BandLayout {
    const Qor16s* pSfb;  // boundaries of one window
    int bands;           // 22 long or 13 short bands
    int windows;         // 1 or 3

    QORAC_INLINE int width(int b) const { return pSfb[b + 1] - pSfb[b]; }
    QORAC_INLINE int first(int b, int w = 0) const { return windows * pSfb[b] + w * width(b); }
    QORAC_INLINE int index(int b, int w) const { return windows * b + w; }
};

inline BandLayout bandLayout(const QorMP3FrameHeader& header, bool isShort) {
    const int row = header.id * 3 + header.sampling_frequency;
    if (isShort) return {_qor_pMP3SfbTableShort[row], 13, 3};
    return {_qor_pMP3SfbTableLong[row], 22, 1};
}

}  // namespace qorac
