// Spreading function of psychoacoustic model 2 (ISO 11172-3 clause D.2.3), in Q23.
//
// With x three times the distance in Bark from the first position to the second (half of that where
// the second lies below), the level is
//   v = 8 min((x - 0.5)^2 - 2 (x - 0.5), 0) + 15.811389 + 7.5 (x + 0.474)
//       - 17.5 sqrt(1 + (x + 0.474)^2)  dB
// and the result 10^(v / 10) in Q15.
#include <algorithm>

#include "frame/constmath.h"
#include "frame/fixed.h"
#include "qorac.h"

namespace qorac {
namespace {

constexpr Qor32s kHalf = 0x400000;            // 0.5
constexpr Qor32s kOne = 0x800000;             // 1
constexpr Qor32s kOffset = 3979066;           // 0.474
constexpr Qor32s kLevel = 132635538;          // 15.811389
constexpr Qor32s kSlope = 0x3C00000;          // 7.5
constexpr Qor32s kRootWeight = 0x8C00000;     // 17.5
constexpr Qor32s kUpperEnd = 0x6000000;       // 12
constexpr Qor32s kLowerEnd = -0x3000000;      // -6
constexpr Qor32s kInverseSqrt2 = 1518500250;  // 2^31 / sqrt(2); in Q30 that is sqrt(2)

// Left shift that brings the highest set bit of S to bit 30, from the bits 24 to 30 of S.
constexpr auto own_ac_sprdngfNorm =
    constmath::makeTable<Qor32s, 128>([](int k) { return 7 - bitLength(Qor32u(k)); });

// 10^(v / 10) of a negative v in three steps of 2, 1/128 and 1/32768 dB: Q31, Q30, Q30.
constexpr auto own_ac_sprdngfPowTable0 = constmath::makeTable<Qor32s, 64>([](int k) {
    return constmath::round(constmath::scale2(constmath::exp10((k - 64) / 5.0L), 31));
});
constexpr auto own_ac_sprdngfPowTable1 = constmath::makeTable<Qor32s, 256>(
    [](int k) { return constmath::round(constmath::scale2(constmath::exp10(k / 1280.0L), 30)); });
constexpr auto own_ac_sprdngfPowTable2 = constmath::makeTable<Qor32s, 256>(
    [](int k) { return constmath::round(constmath::scale2(constmath::exp10(k / 327680.0L), 30)); });

// x in Q23. Where the positions are coarser than Q23, *inRange tells whether it lies in -6 to 12.
Qor32s scaledDistance(Qor32s first, Qor32s second, int inScaleFactor, bool* inRange) {
    const Qor32s d = 3 * (second - first);
    const Qor64s shift = Qor64s(inScaleFactor) + 23 - (second < first);
    if (shift >= 0) {
        const Qor64s z = Qor64s(d) * (Qor64s(1) << std::min(shift, Qor64s(31)));
        *inRange = kLowerEnd <= z && z <= kUpperEnd;
        return *inRange ? Qor32s(z) : 0;
    }
    *inRange = true;
    const int down = int(std::min(-shift, Qor64s(62)));
    return Qor32s((d + (Qor64s(1) << (down - 1))) >> down);
}

// Square root of S in Q23, S at least 1.0. With x = S normalised to 0.5 to 1 in Q31, a parabola and
// two Newton steps make y = 1 / (2 sqrt(x)) in Q30, and x y is half the root of x.
Qor32s squareRoot(Qor32s S) {
    const int n = own_ac_sprdngfNorm[S >> 24];
    const Qor32s x = S << n;
    Qor32s y =
        mulShift(mulShift(x, x, 31), 1794115214, 33) - mulShift(x, 1109287981, 31) + 1199343594;
    for (int step = 0; step < 2; ++step) {
        const Qor32s e = mulShift(mulShift(y, y, 30), x, 30);
        y += mulShift(0x20000000 - e, y, 30);
    }
    Qor32s root = mulShift(x, y, 31);
    if (n & 1) root = mulShift(root, kInverseSqrt2, 30);
    return root >> (6 - ((8 - n) >> 1));
}

// 10^(v / 10) in Q15 of a level below 0 dB; the lowest byte of v does not count.
Qor16s gain(Qor32s v) {
    const Qor32s coarse = mulShift(own_ac_sprdngfPowTable0[(v >> 24) & 0x3F],
                                   own_ac_sprdngfPowTable1[(v >> 16) & 0xFF], 30);
    const Qor64u fine = Qor64u(Qor64s(own_ac_sprdngfPowTable2[(v >> 8) & 0xFF]) * Qor64s(coarse));
    return Qor16s(fine >> 46);
}

}  // namespace
}  // namespace qorac

using namespace qorac;

QorStatus qorsSpread_16s_Sfs(Qor32s src1, Qor32s src2, int inScaleFactor, Qor16s* pDst) {
    if (!pDst) return qorStsNullPtrErr;
    bool inRange;
    const Qor32s z = scaledDistance(Qor16s(src1), Qor16s(src2), inScaleFactor, &inRange);
    if (!inRange) {
        *pDst = 0;
        return qorStsNoErr;
    }
    const Qor32s u = z - kHalf, w = z + kOffset;
    const Qor32s dip = std::min(mulRound(u, u, 23) - 2 * u, 0);
    const Qor32s slope = mulRound(w, kSlope, 23) + 8 * dip;
    const Qor32s root = squareRoot(mulRound(w, w, 23) + kOne);
    const Qor32s v = slope - mulRound(root, kRootWeight, 23) + kLevel;
    *pDst = v >= 0 ? Qor16s(32767) : gain(v);
    return qorStsNoErr;
}
