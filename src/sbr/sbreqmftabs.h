// Tables of the encoder's QMF analysis: the window and the rotations of its modulation.
#pragma once

#include <array>

#include "frame/constmath.h"
#include "qorac.h"
#include "sbr/qmfwindow.h"

namespace qorac {

inline constexpr std::array<Qor32f, 640> SBR_TAB_QMF_WINDOW_640_FP =
    constmath::makeTable<Qor32f, 640>(qmfWindow);

// exp(-j pi num(i) / den) for i from 0 to 63.
template <typename Numerator>
consteval std::array<Qor32fc, 64> rotations(Numerator num, int den) {
    std::array<Qor32fc, 64> table{};
    for (int i = 0; i < 64; ++i)
        table[i] = {Qor32f(constmath::cosPi(num(i), den)), Qor32f(-constmath::sinPi(num(i), den))};
    return table;
}

// Before the transform, behind it, and of the sub-bands; the last turns the other way.
inline constexpr auto SBR_TAB2_QMF_ENC_FP = rotations([](int i) { return 4 * i + 1; }, 512);
inline constexpr auto SBR_TAB3_QMF_ENC_FP = rotations([](int i) { return i; }, 128);
inline constexpr auto SBR_TAB4_QMF_ENC_FP = rotations([](int i) { return -(6 * i + 3); }, 512);

}  // namespace qorac
