// The encoder's QMF analysis in vectors of one instruction level; see frame/levels.h.

namespace encoder {

#include "transform/fft32f_lanes.h"

using V = Vec<kMaxLanes>;

template <int lanes>
struct ReversedPairs {
    static constexpr int at(int i) { return lanes - 2 - i / 2 * 2 + i % 2; }
};

QORAC_INLINE V rotate(V z, const Rotation& rotation, int at) {
    return z * load<V>(rotation.straight + at) + swapPairs(z) * load<V>(rotation.crossed + at);
}

// The last lane of a, then b but for its last lane.
template <int lanes>
struct MovedUp {
    static constexpr int at(int i) { return lanes - 1 + i; }
};

// The transform's input, A(i): the sums over the window, u(127) first, folded and rotated.
QORAC_INLINE void windowAndRotate(const Qor32f* pSrc, Qor32fc* pDst) {
    constexpr int half = 64 / kMaxLanes;
    V u[2 * half];
    for (int j = 0; j < 2 * half; ++j) {
        const int m = j * kMaxLanes;
        V sum{};
        for (int r = 0; r < 5; ++r)
            sum += load<V>(pSrc + 512 - 128 * r + m) * load<V>(kReversedWindow.c[r] + m);
        u[j] = sum;
    }
    for (int j = 0; j < half; ++j) {
        const int i = j * kMaxLanes;
        const V before = j == 0 ? -u[2 * half - 1] : u[j - 1];
        const V x = shuffle<MovedUp<kMaxLanes>>(before, u[j]);                  // -Re B(i)
        const V y = shuffle<MovedUp<kMaxLanes>>(u[half + j - 1], u[half + j]);  // Im B(63 - i)
        const V c = load<V>(kPreRotation.c + i), s = load<V>(kPreRotation.s + i);
        const V re = -(x * c + y * s), im = y * c - x * s;
        store(pDst + i, shuffle<Interleave<kMaxLanes, 1, false>>(re, im));
        store(pDst + i + kMaxLanes / 2, shuffle<Interleave<kMaxLanes, 1, true>>(re, im));
    }
}

// The sub-bands 2k and 2k + 1 out of the bins k and 63 - k.
QORAC_INLINE void rotateToSubbands(const Qor32fc* f, Qor32fc* pDst) {
    constexpr int numbers = kMaxLanes / 2;
    for (int k = 0; k < 32; k += numbers) {
        const V low = load<V>(f + k), high = load<V>(f + 64 - k - numbers);
        const V even = rotate(rotate(low, kBins.even, 2 * k), kSubbands.even, 2 * k);
        const V odd =
            rotate(rotate(shuffle<ReversedPairs<kMaxLanes>>(high, high), kBins.odd, 2 * k),
                   kSubbands.odd, 2 * k);
        store(pDst + 2 * k, shuffle<Interleave<kMaxLanes, 2, false>>(even, odd));
        store(pDst + 2 * k + numbers, shuffle<Interleave<kMaxLanes, 2, true>>(even, odd));
    }
}

}  // namespace encoder

static void windowAndRotate(const Qor32f* pSrc, Qor32fc* pDst) {
    encoder::windowAndRotate(pSrc, pDst);
}
static void rotateToSubbands(const Qor32fc* f, Qor32fc* pDst) {
    encoder::rotateToSubbands(f, pDst);
}
