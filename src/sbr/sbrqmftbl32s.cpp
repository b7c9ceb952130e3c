// Tables of the integer QMF banks of ISO/IEC 14496-3: window and rotations in Q30. The rotations
// are rounded to single precision first, so that each has at most 24 significant bits.
#include "sbr/sbrqmftbl32s.h"

#include "frame/constmath.h"
#include "sbr/qmfwindow.h"

namespace qorac {
namespace {

using constmath::cosPi;
using constmath::sinPi;

constexpr Qor32s roundedQ30(long double x) { return Qor32s(Qor32f(x) * 1073741824.0); }

// Every `step`-th coefficient.
template <int taps>
consteval QmfWindow<taps> makeWindow(int step) {
    QmfWindow<taps> w{};
    for (int i = 0; i < taps; ++i) w.value[i] = qmfWindowQ30(step * i);
    for (int i = 0; i < taps; i += 2) w.oddToEven[i] = w.value[i + 1];
    return w;
}

// The angle of row r is pi (first + step r) / den.
template <int rows>
consteval Rotations<rows> makeRotations(int first, int step, int den) {
    Rotations<rows> t{};
    for (int r = 0; r < rows; ++r) {
        t.cosSin[2 * r] = roundedQ30(cosPi(first + step * r, den));
        t.cosSin[2 * r + 1] = roundedQ30(sinPi(first + step * r, den));
    }
    return t;
}

template <int rows>
consteval FastRotations<rows> makeFastRotations(int first, int step, int den) {
    FastRotations<rows> t{};
    for (int r = 0; r < rows; ++r) {
        const long double sine = sinPi(first + step * r, den);
        t.sum[r] = roundedQ30(cosPi(first + step * r, den) + sine);
        t.sine[r] = roundedQ30(sine);
        t.difference[r] = t.sum[r] - 2 * t.sine[r];
    }
    return t;
}

}  // namespace

constexpr QmfWindow<640> SBR_TABLE_QMF_WINDOW_640_INT_Q30 = makeWindow<640>(1);
constexpr QmfWindow<320> SBR_TABLE_QMF_WINDOW_320_INT_Q30 = makeWindow<320>(2);

constexpr Rotations<32> pTabPreProc_CosSin_DCT4_64_32s = makeRotations<32>(-1, -4, 256);
constexpr Rotations<32> pTabPostProc_CosSin_DCT4_64_32s = makeRotations<32>(0, -1, 64);
constexpr Rotations<64> pTabPreProc_QMFA_LPmode = makeRotations<64>(48, -1, 64);
constexpr Rotations<64> pTabPreProc_QMFS_LPmode = makeRotations<64>(0, 1, 2);
constexpr Rotations<128> pTabPostProc_QMFS_LPmode = makeRotations<128>(32, -1, 128);
constexpr Rotations<32> pTabPreProc_QMFSD_HQmode = makeRotations<32>(0, -1, 128);
constexpr Rotations<64> pTabPostProc_QMFSD_HQmode = makeRotations<64>(255, -4, 256);
constexpr Rotations<64> pTabPostProc_QMFSD_LPmode = makeRotations<64>(16, -1, 64);

constexpr FastRotations<32> cos4sin4tab64 = makeFastRotations<32>(1, 4, 256);
constexpr FastRotations<17> cos1sin1tab64 = makeFastRotations<17>(0, 1, 64);

}  // namespace qorac
