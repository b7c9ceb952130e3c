// Alias reduction, inverse MDCT, overlap-add and frequency inversion of MP3 (ISO 11172-3 clause
// 2.4.3.4.10): 576 lines in Q26 to 18 rows of 32 sub-band samples in Q24. The transform's values
// are a quarter of the standard's.
//
// The arithmetic is in double precision, each result rounded to the nearest integer with ties to
// even; what lies outside 32 bits becomes the smallest integer.
#include <algorithm>

#include "frame/constmath.h"
#include "frame/fixed.h"
#include "frame/status.h"
#include "qorac.h"

namespace qorac {
namespace {

using constmath::cosPi;
using constmath::sinPi;

constexpr int kSubbands = 32;
constexpr int kSubbandLines = 18;
constexpr int kShort = 2;  // block_type

// --- alias reduction --------------------------------------------------------------------------

// The standard's cs and ca (Table B.9), halved, from c in ten-thousandths, with cs and ca rounded
// to 30 bits.
struct AliasCoefficients {
    double cCs[8], cCa[8];
};
constexpr AliasCoefficients kAlias = [] {
    constexpr int c[8] = {-6000, -5350, -3300, -1850, -950, -410, -142, -37};
    AliasCoefficients k{};
    for (int i = 0; i < 8; ++i) {
        const long double ratio = c[i] / 10000.0L;
        const long double root = constmath::sqrt(1 + ratio * ratio);
        k.cCs[i] = double(constmath::round(constmath::scale2(1 / root, 30))) / 2147483648.0;
        k.cCa[i] = double(constmath::round(constmath::scale2(ratio / root, 30))) / 2147483648.0;
    }
    return k;
}();

// --- inverse transforms -----------------------------------------------------------------------

// A long transform starts with sums of neighbouring lines, which wrap at 32 bits:
// in[i] += in[i - 1] for i from 17 down to 1, then in[i] += in[i - 2] for odd i from 17 down to 3.
// This undoes them.
constexpr void undoFirstAdditions(long double (&in)[kSubbandLines]) {
    for (int i = 3; i < kSubbandLines; i += 2) in[i] -= in[i - 2];
    for (int i = 1; i < kSubbandLines; ++i) in[i] -= in[i - 1];
}

// Of a long transform the 18 values in the middle, u[j] = y[9 + j], give all: the first half is odd
// about its centre, the second even. Row i is what sum i adds to them, with zeros up to a whole
// number of vectors.
struct LongTransform {
    alignas(64) double row[kSubbandLines][24];
};
constexpr LongTransform kLongTransform = [] {
    LongTransform t{};
    for (int i = 0; i < kSubbandLines; ++i) {
        long double lines[kSubbandLines] = {};
        lines[i] = 1;
        undoFirstAdditions(lines);
        for (int j = 0; j < kSubbandLines; ++j) {
            long double u = 0;
            for (int k = 0; k < kSubbandLines; ++k)
                u += lines[k] * cosPi((2 * j + 37) * (2 * k + 1), 72) / 4;
            t.row[i][j] = double(u);
        }
    }
    return t;
}();

// The standard's windows by block_type: normal, start, (none), stop. The sign of the values that
// are mirrored in the first half stands here.
struct Windows {
    alignas(64) double type[4][40];
};
constexpr Windows kWindows = [] {
    Windows w{};
    for (int i = 0; i < 36; ++i) {
        const double normal = double(sinPi(2 * i + 1, 72));
        w.type[0][i] = normal;
        w.type[1][i] = i < 18   ? normal
                       : i < 24 ? 1
                       : i < 30 ? double(sinPi(2 * (i - 18) + 1, 24))
                                : 0;
        w.type[3][35 - i] = w.type[1][i];
    }
    for (auto& type : w.type)
        for (int i = 0; i < 9; ++i) type[i] = -type[i];
    return w;
}();

// Row k is what line k of a window adds to its 12 values, the window included.
struct ShortTransform {
    alignas(64) double row[6][16];
};
constexpr ShortTransform kShortTransform = [] {
    ShortTransform t{};
    for (int k = 0; k < 6; ++k)
        for (int i = 0; i < 12; ++i)
            t.row[k][i] = double(cosPi((2 * i + 7) * (2 * k + 1), 24) * sinPi(2 * i + 1, 24) / 4);
    return t;
}();

// Sub-bands that the lines below nonZeroBound fill; alias reduction of long blocks spreads into one
// more where the last of them are near the boundary. (n * 3641) >> 16 is n / 18 here.
int usedSubbands(int nonZeroBound, int blockType, int mixedBlock) {
    if (blockType == kShort)
        return std::max((nonZeroBound * 3641 + 61897) >> 16, mixedBlock ? 2 : 0);
    return std::min(((nonZeroBound * 3641 + 29128) >> 16) + 1, kSubbands);
}

}  // namespace
}  // namespace qorac

#define QORAC_KERNEL "mp3dec/mp3dmdct_kernel.h"
#include "frame/levels.h"

namespace qorac {
QORAC_BIND(void, ownpmp3_AliasReduce_32s_I, (Qor32s * pSrcXr, int n), (pSrcXr, n))
QORAC_BIND(void, transformOne, (const Qor32s* pSrc, Qor32s* pDst, int blockType),
           (pSrc, pDst, blockType))
QORAC_BIND(void, synthesize,
           (const Qor32s* pSrcXr, Qor32s* pDstY, Qor32s* pSrcDstOverlapAdd, int used, int end,
            int blockType, int mixedBlock),
           (pSrcXr, pDstY, pSrcDstOverlapAdd, used, end, blockType, mixedBlock))
}  // namespace qorac

using namespace qorac;

QorStatus qorsMDCTInv_MP3_32s(Qor32s* pSrcXr, Qor32s* pDstY, Qor32s* pSrcDstOverlapAdd,
                              int nonZeroBound, Qor32s* pPrevNumOfImdct, int blockType,
                              int mixedBlock) {
    if (!pSrcXr || !pDstY || !pSrcDstOverlapAdd || !pPrevNumOfImdct) return qorStsNullPtrErr;
    if (outside(nonZeroBound, 0, 576) || outside(blockType, 0, 3) || outside(mixedBlock, 0, 1))
        return qorStsBadArgErr;
    if (outside(*pPrevNumOfImdct, 0, kSubbands)) return qorStsBadArgErr;

    const int used = usedSubbands(nonZeroBound, blockType, mixedBlock);
    if (blockType != kShort)
        ownpmp3_AliasReduce_32s_I(pSrcXr, used);
    else if (mixedBlock)
        ownpmp3_AliasReduce_32s_I(pSrcXr, 2);
    synthesize(pSrcXr, pDstY, pSrcDstOverlapAdd, used, std::max(*pPrevNumOfImdct, used), blockType,
               mixedBlock);
    *pPrevNumOfImdct = used;
    return qorStsNoErr;
}

QorStatus qorsMDCTInvWindow_MP3_32s(const Qor32s* pSrc, Qor32s* pDst, int blockType) {
    transformOne(pSrc, pDst, blockType);
    return qorStsNoErr;
}
