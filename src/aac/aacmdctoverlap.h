// Windows of the AAC filter bank (ISO/IEC 13818-7 and 14496-3, filter bank and block switching),
// and the overlap of a frame with the one before.
//
// A frame of 2048 samples has a rising half, shaped by the window of the frame before, and a
// falling half, shaped by its own. Window shape 0 is the sine window, 1 the Kaiser-Bessel derived
// one.
#pragma once

#include "aac/aachelp.h"
#include "qorac.h"

namespace qorac {

constexpr Qor32s kLongStart = 1;  // window_sequence
constexpr Qor32s kLongStop = 3;

struct WindowShape {
    Qor32s sequence;
    Qor32s shape;      // of the falling slope
    Qor32s prevShape;  // of the rising slope
};

// How a sample is weighted with a window in Q31, and what becomes of one that is not weighted.
enum class Weighting {
    full,     // (v * w) >> 31; v
    doubled,  // ((2 v, wrapped) * w) >> 32; v
    halved,   // (v * w) >> 32; v >> 1
};

// The window of a frame over 2048 samples, or for eight short windows over the 256 samples of one,
// in place.
void windowFrame(Qor32s* pSrcDst, const WindowShape& window, Weighting weighting);

// Synthesis of one frame: from 1024 coefficients in window order, which are destroyed, to 1024
// samples that begin with the overlap of the frame before. pOverlap is replaced by this frame's.
//
// The first rounds sums in Q3 to 16 bits, saturated, at a stride of 1 or 2; the second, in place,
// gives the sums of halved products.
void ownsMDCTInvOverlap_32s16s(Qor32s* pSrc, Qor16s* pDst, int stride, Qor32s* pOverlap,
                               const WindowShape& window);
void ownsMDCTInvOverlap_32s_I(Qor32s* pSrcDst, Qor32s* pOverlap, const WindowShape& window);

}  // namespace qorac
