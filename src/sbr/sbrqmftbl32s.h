// Tables of the integer QMF banks.
#pragma once

#include "qorac.h"

namespace qorac {

// The window of the banks of 64 bands, 640 coefficients, and that of the banks of 32 bands, every
// second of them; Q30. Once more with the odd coefficients moved to even places.
template <int taps>
struct QmfWindow {
    alignas(64) Qor32s value[taps];
    alignas(64) Qor32s oddToEven[taps];
};
extern const QmfWindow<640> SBR_TABLE_QMF_WINDOW_640_INT_Q30;
extern const QmfWindow<320> SBR_TABLE_QMF_WINDOW_320_INT_Q30;

// Rotations, one (cos, sin) a row, Q30.
template <int rows>
struct Rotations {
    alignas(64) Qor32s cosSin[2 * rows];
};
extern const Rotations<32> pTabPreProc_CosSin_DCT4_64_32s;
extern const Rotations<32> pTabPostProc_CosSin_DCT4_64_32s;
extern const Rotations<64> pTabPreProc_QMFA_LPmode;
extern const Rotations<64> pTabPreProc_QMFS_LPmode;
extern const Rotations<128> pTabPostProc_QMFS_LPmode;
extern const Rotations<32> pTabPreProc_QMFSD_HQmode;
extern const Rotations<64> pTabPostProc_QMFSD_HQmode;
extern const Rotations<64> pTabPostProc_QMFSD_LPmode;

// Rotations by three products, Q30: with s = sin (a + b),
// a cos + b sin = s + a (cos - sin) and a sin - b cos = s - b (cos + sin).
template <int rows>
struct FastRotations {
    alignas(64) Qor32s sum[rows];         // cos + sin
    alignas(64) Qor32s sine[rows];        // sin
    alignas(64) Qor32s difference[rows];  // cos - sin
};
extern const FastRotations<32> cos4sin4tab64;
extern const FastRotations<17> cos1sin1tab64;

}  // namespace qorac
