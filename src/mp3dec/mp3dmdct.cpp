// Alias reduction, inverse MDCT, overlap-add and frequency inversion of MP3 (ISO 11172-3 clause
// 2.4.3.4.10): 576 lines in Q26 to 18 rows of 32 sub-band samples in Q24. The transform's values
// are a quarter of the standard's.
//
// The arithmetic is in double precision, each result rounded to the nearest integer with ties to
// even; what lies outside 32 bits becomes the smallest integer.
#include <algorithm>
#include <cstring>

#include "frame/constmath.h"
#include "frame/dispatch.h"
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

// Eight numbers side by side; the compiler splits them where the vectors are shorter.
typedef double Real8 __attribute__((vector_size(64)));
typedef Qor32s Int8 __attribute__((vector_size(32)));

QORAC_INLINE Real8 loadReals(const Qor32s* p) {
    Int8 v;
    std::memcpy(&v, p, sizeof v);
    return __builtin_convertvector(v, Real8);
}

QORAC_INLINE void storeRounded(Qor32s* p, const Real8& x) {
    constexpr double kInteger = 6755399441055744.0;  // 1.5 * 2^52: leaves no bits for a fraction
    const Real8 rounded = (x + kInteger) - kInteger;
    const auto inRange = rounded >= -2147483648.0 && rounded <= 2147483647.0;
    const Int8 v = __builtin_convertvector(inRange ? rounded : Real8{} - 2147483648.0, Int8);
    std::memcpy(p, &v, sizeof v);
}

// --- alias reduction --------------------------------------------------------------------------

// The standard's cs and ca (Table B.9), halved, from c in thousandths of a tenth, with cs and ca
// rounded to 30 bits.
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

QORAC_INLINE Real8 reversed(const Real8& x) {
    return __builtin_shufflevector(x, x, 7, 6, 5, 4, 3, 2, 1, 0);
}

// The n - 1 boundaries above the first n sub-bands, and at least the lowest one.
QORAC_CLONES void ownpmp3_AliasReduce_32s_I(Qor32s* pSrcXr, int n) {
    Real8 cs, ca;
    std::memcpy(&cs, kAlias.cCs, sizeof cs);
    std::memcpy(&ca, kAlias.cCa, sizeof ca);
    for (int boundary = 1; boundary < std::max(n, 2); ++boundary) {
        Qor32s* const hiLines = pSrcXr + boundary * kSubbandLines;
        const Real8 lo = 2 * reversed(loadReals(hiLines - 8));
        const Real8 hi = 2 * loadReals(hiLines);
        storeRounded(hiLines - 8, reversed(lo * cs - hi * ca));
        storeRounded(hiLines, hi * cs + lo * ca);
    }
}

// --- inverse transforms -----------------------------------------------------------------------

// Of the 36 values of a long transform the 18 in the middle, 9 to 26, give all: the first half is
// odd about its centre, the second even.
constexpr int kMiddle = 9;

// Row k is what line k adds to the 18 values, with zeros up to a whole number of vectors.
struct LongTransform {
    alignas(64) double row[kSubbandLines][24];
};
constexpr LongTransform kLongTransform = [] {
    LongTransform t{};
    for (int k = 0; k < kSubbandLines; ++k)
        for (int j = 0; j < kSubbandLines; ++j)
            t.row[k][j] = double(cosPi((2 * (j + kMiddle) + 19) * (2 * k + 1), 72) / 4);
    return t;
}();

// The standard's windows by block_type: normal, start, (none), stop.
struct Windows {
    alignas(64) double type[4][36];
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

// The 36 windowed values of one sub-band, before rounding.
struct alignas(64) Values {
    double y[40];
};

QORAC_INLINE void ownpmp3_DCTInv_36_32s(const Qor32s* pSrc, Values& values, const double* window) {
    Real8 sum[3] = {};
    for (int k = 0; k < kSubbandLines; ++k) {
        Real8 row[3];
        std::memcpy(row, kLongTransform.row[k], sizeof row);
        const double line = pSrc[k];
        for (int v = 0; v < 3; ++v) sum[v] += line * row[v];
    }
    double middle[24];
    std::memcpy(middle, sum, sizeof middle);
    for (int i = 0; i < 9; ++i) {
        values.y[i] = -middle[8 - i] * window[i];
        values.y[27 + i] = middle[17 - i] * window[27 + i];
    }
    for (int i = 0; i < 18; ++i) values.y[9 + i] = middle[i] * window[9 + i];
}

QORAC_INLINE void ownpmp3_DCTInv_12x3_32s(const Qor32s* pSrc, Values& values) {
    std::fill_n(values.y, 36, 0.0);
    for (int w = 0; w < 3; ++w) {
        Real8 sum[2] = {};
        for (int k = 0; k < 6; ++k) {
            Real8 row[2];
            std::memcpy(row, kShortTransform.row[k], sizeof row);
            const double line = pSrc[6 * w + k];
            for (int v = 0; v < 2; ++v) sum[v] += line * row[v];
        }
        double window[16];
        std::memcpy(window, sum, sizeof window);
        for (int i = 0; i < 12; ++i) values.y[6 + 6 * w + i] += window[i];
    }
}

// 40 integers are stored, of which 36 are the result.
QORAC_INLINE void inverseTransform(const Qor32s* pSrc, Qor32s* pDst, int blockType) {
    Values values;
    if (blockType == kShort)
        ownpmp3_DCTInv_12x3_32s(pSrc, values);
    else
        ownpmp3_DCTInv_36_32s(pSrc, values, kWindows.type[blockType]);
    std::fill_n(values.y + 36, 4, 0.0);
    for (int i = 0; i < 40; i += 8) {
        Real8 y;
        std::memcpy(&y, values.y + i, sizeof y);
        storeRounded(pDst + i, y);
    }
}

// --- overlap ----------------------------------------------------------------------------------

// Adds the overlap of a sub-band to the first half of its values, with the odd samples of odd
// sub-bands negated, and keeps the second half.
QORAC_INLINE void overlapAdd(const Qor32s* y, Qor32s* overlap, Qor32s* pDstY, int subband) {
    for (int t = 0; t < kSubbandLines; ++t) {
        const Qor32s z = wrapAdd(y[t], overlap[t]);
        pDstY[kSubbands * t + subband] = (subband & t & 1) ? wrapNeg(z) : z;
        overlap[t] = y[kSubbandLines + t];
    }
}

// Sub-bands that the lines below nonZeroBound fill; alias reduction of long blocks spreads into one
// more.
int usedSubbands(int nonZeroBound, int blockType, int mixedBlock) {
    if (blockType == kShort)
        return std::max((nonZeroBound * 3641 + 61897) >> 16, mixedBlock ? 2 : 0);
    return std::min(((nonZeroBound * 3641 + 29128) >> 16) + 1, kSubbands);
}

// The first `used` sub-bands are transformed, those up to `end` drain their overlap, the rest is 0.
QORAC_CLONES void synthesize(const Qor32s* pSrcXr, Qor32s* pDstY, Qor32s* pSrcDstOverlapAdd,
                             int used, int end, int blockType, int mixedBlock) {
    for (int s = 0; s < end; ++s) {
        alignas(64) Qor32s y[40] = {};
        if (s < used)
            inverseTransform(pSrcXr + kSubbandLines * s, y, mixedBlock && s < 2 ? 0 : blockType);
        overlapAdd(y, pSrcDstOverlapAdd + kSubbandLines * s, pDstY, s);
    }
    for (int t = 0; t < kSubbandLines; ++t)
        std::fill(pDstY + kSubbands * t + end, pDstY + kSubbands * (t + 1), 0);
}

QORAC_CLONES void transformOne(const Qor32s* pSrc, Qor32s* pDst, int blockType) {
    Qor32s y[40];
    inverseTransform(pSrc, y, blockType);
    std::copy_n(y, 36, pDst);
}

}  // namespace
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
