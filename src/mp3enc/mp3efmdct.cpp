// Hybrid analysis of MP3 (ISO 11172-3 Annex C.1.5.3.3): 18 slots of 32 sub-band samples and those
// of the granule before become 576 lines in the same format, with block switching, frequency
// inversion and alias reduction.
//
// All sums are in double precision, rounded to integers at the end of the transform and once more
// by the alias reduction.
#include <algorithm>
#include <array>
#include <utility>

#include "frame/constmath.h"
#include "frame/fixed.h"
#include "frame/mp3sfbtbl.h"
#include "frame/status.h"
#include "qorac.h"

namespace qorac {
namespace {

constexpr int kSubbands = 32;
constexpr int kSlots = 18;
constexpr int kWindow = 2 * kSlots;
constexpr int kLines = kSubbands * kSlots;
constexpr int kShort = 2;

// Windows by block type, with the scale of the transform.
constexpr auto WinDCTFwd = [] {
    std::array<std::array<double, kWindow>, 4> rows{};
    const long double sqrt2 = constmath::sqrt(2);
    const long double scale = 2 * sqrt2 / 9, scaleShort = 2 * sqrt2 / 3;
    for (int i = 0; i < kWindow; ++i) {
        rows[0][i] = double(scale * constmath::sinPi(2 * i + 1, 72));
        rows[1][i] = i < 18   ? rows[0][i]
                     : i < 24 ? double(scale)
                     : i < 30 ? double(scale * constmath::sinPi(2 * (i - 18) + 1, 24))
                              : 0;
        rows[2][i] = i < 12 ? double(scaleShort * constmath::sinPi(2 * i + 1, 24)) : 0;
    }
    for (int i = 0; i < kWindow; ++i) rows[3][i] = rows[1][kWindow - 1 - i];
    return rows;
}();

// The rotations of the long transform, (2 j + 1) pi / 72, times its factor sqrt(2).
struct Rotations {
    double cCos72[9], cSin72[9];
};
constexpr Rotations kRotations = [] {
    Rotations r{};
    for (int j = 0; j < 9; ++j) {
        r.cCos72[j] = double(constmath::sqrt(2) * constmath::cosPi(2 * j + 1, 72));
        r.cSin72[j] = double(constmath::sqrt(2) * constmath::sinPi(2 * j + 1, 72));
    }
    return r;
}();

// cos and sin of n pi / 18.
struct Circle {
    double cos[36], sin[36];
};
constexpr Circle kCircle = [] {
    Circle c{};
    for (int n = 0; n < 36; ++n) {
        c.cos[n] = double(constmath::cosPi(n, 18));
        c.sin[n] = double(constmath::sinPi(n, 18));
    }
    return c;
}();

// The rotations of the short transform: 5, 3 and 1 pi / 24; and its sqrt(3) / 2, which is off by
// 2e-10.
constexpr double kCos5 = double(constmath::cosPi(5, 24)), kSin5 = double(constmath::sinPi(5, 24));
constexpr double kCos3 = double(constmath::cosPi(3, 24)), kSin3 = double(constmath::sinPi(3, 24));
constexpr double kCos1 = double(constmath::cosPi(1, 24)), kSin1 = double(constmath::sinPi(1, 24));
constexpr double kRootThreeQuarters = 0.8660254036076367;

// cs and ca of the alias reduction (Table B.9).
struct Alias {
    alignas(64) double cCs[8], cCa[8];
};
constexpr Alias kAlias = [] {
    const long double c[8] = {-0.6L,   -0.535L, -0.33L,   -0.185L,
                              -0.095L, -0.041L, -0.0142L, -0.0037L};
    Alias a{};
    for (int i = 0; i < 8; ++i) {
        const long double norm = constmath::sqrt(1 + c[i] * c[i]);
        a.cCs[i] = double(1 / norm);
        a.cCa[i] = double(c[i] / norm);
    }
    return a;
}();

// Lines of a short block from sub-band order (six of each window for every sub-band) into the order
// band, window, line.
void reorder(const Qor32s* pSrc, Qor32s* pDst, const Qor16s* pBands) {
    constexpr int kWindows = 3, kBands = 13, kLinesOfWindow = kSlots / kWindows;
    for (int w = 0; w < kWindows; ++w) {
        for (int b = 0; b < kBands; ++b) {
            const int start = pBands[b], width = pBands[b + 1] - start;
            Qor32s* const to = pDst + kWindows * start + w * width;
            for (int i = 0; i < width; ++i) {
                const int line = start + i;
                to[i] = pSrc[line / kLinesOfWindow * kSlots + w * kLinesOfWindow +
                             line % kLinesOfWindow];
            }
        }
    }
}

}  // namespace
}  // namespace qorac

#define QORAC_KERNEL "mp3enc/mp3efmdct_kernel.h"
#include "frame/levels.h"

namespace qorac {
QORAC_BIND(void, transform,
           (const Qor32s* pOverlap, const Qor32s* pSrc, Qor32s* pDst, int blockType, bool mixed),
           (pOverlap, pSrc, pDst, blockType, mixed))
QORAC_BIND(void, ownpmp3e_AliasReduce_32s_I, (Qor32s * pLines, int count), (pLines, count))
}  // namespace qorac

using namespace qorac;

QorStatus qorsMDCTFwd_MP3_32s(const Qor32s* pSrc, Qor32s* pDst, int blockType, int mixedBlock,
                              const QorMP3FrameHeader* pFrameHeader, Qor32s* pOverlap) {
    if (anyNull(pSrc, pDst, pFrameHeader, pOverlap)) return qorStsNullPtrErr;
    const bool mixed = mixedBlock != 0;
    if (blockType == kShort) {
        alignas(64) Qor32s lines[kLines];
        transform(pOverlap, pSrc, lines, blockType, mixed);
        reorder(lines, pDst,
                _qor_pMP3SfbTableShort[pFrameHeader->id * 3 + pFrameHeader->sampling_frequency]);
        if (mixed) ownpmp3e_AliasReduce_32s_I(pDst, 2);
    } else {
        transform(pOverlap, pSrc, pDst, blockType, mixed);
        ownpmp3e_AliasReduce_32s_I(pDst, kSubbands);
    }
    std::copy_n(pSrc, kLines, pOverlap);
    return qorStsNoErr;
}
