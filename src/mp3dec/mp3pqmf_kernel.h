// The float filter banks in vectors of one instruction level; see frame/levels.h.

#include "transform/vectors.h"

using Four = Lanes<Qor32f, 4>;
using Eight = Lanes<Qor32f, 8>;
using Floats = Lanes<Qor32f, QORAC_LEVEL >= 4 ? 16 : QORAC_LEVEL >= 3 ? 8 : 4>;
constexpr int kWidth = kLanes<Floats>;

// sums[i] = the sum over n of x[step n] times row n of the matrix, in two chains.
static QORAC_INLINE void multiply(const Matrix& matrix, const Qor32f* x, int step, Qor32f* sums) {
    constexpr int kVectors = kHalf / kWidth;
    Floats first[kVectors]{}, second[kVectors]{};
    for (int n = 0; n < kHalf; n += 2) {
        for (int v = 0; v < kVectors; ++v) {
            first[v] += x[step * n] * load<Floats>(matrix.row[n] + v * kWidth);
            second[v] += x[step * (n + 1)] * load<Floats>(matrix.row[n + 1] + v * kWidth);
        }
    }
    for (int v = 0; v < kVectors; ++v) store(sums + v * kWidth, first[v] + second[v]);
}

// --- analysis ---------------------------------------------------------------------------------

// The products of eight taps, as far as a vector holds them.
#if QORAC_LEVEL >= 3
typedef Eight Taps;

static QORAC_INLINE Taps products(const Qor32f* x, const Qor32f* window) {
    return load<Eight>(x) * load<Eight>(window);
}
// Four sums out of four vectors.
static QORAC_INLINE Four sumsOf(const Taps* t) {
    const auto halve = [](Eight a, Eight b) {
        return __builtin_shufflevector(a, b, 0, 8, 1, 9, 4, 12, 5, 13) +
               __builtin_shufflevector(a, b, 2, 10, 3, 11, 6, 14, 7, 15);
    };
    const Eight a = halve(t[0], t[1]), b = halve(t[2], t[3]);
    const Eight sum = __builtin_shufflevector(a, b, 0, 1, 8, 9, 4, 5, 12, 13) +
                      __builtin_shufflevector(a, b, 2, 3, 10, 11, 6, 7, 14, 15);
    return __builtin_shufflevector(sum, sum, 0, 1, 2, 3) +
           __builtin_shufflevector(sum, sum, 4, 5, 6, 7);
}
#else
typedef Four Taps;

static QORAC_INLINE Taps products(const Qor32f* x, const Qor32f* window) {
    return load<Four>(x) * load<Four>(window) + load<Four>(x + 4) * load<Four>(window + 4);
}
static QORAC_INLINE Four sumsOf(const Taps* t) {
    const auto halve = [](Four a, Four b) {
        return __builtin_shufflevector(a, b, 0, 4, 1, 5) +
               __builtin_shufflevector(a, b, 2, 6, 3, 7);
    };
    const Four a = halve(t[0], t[1]), b = halve(t[2], t[3]);
    return __builtin_shufflevector(a, b, 0, 1, 4, 5) + __builtin_shufflevector(a, b, 2, 3, 6, 7);
}
#endif

// The standard's Y(i) folded by the symmetry of its cosines to 32 values d(m), so that the
// sub-bands are the sums of d(m) cos((2k + 1) m pi / 64). The products are folded before the taps
// are added up.
static QORAC_INLINE void windowSums(const Qor32f* pRing, Qor32s position, Qor32f* d) {
    // The newest slot and every second one behind it make the first 32 rows, the rest the others.
    const int column = position >> 1, otherColumn = (position + 1) % kPositions >> 1;
    const Qor32f* const x[2] = {pRing + kTaps * kBands * (position & 1),
                                pRing + kTaps * kBands * (~position & 1)};
    const int first[2] = {(kTaps - column) % kTaps, (kTaps - otherColumn) % kTaps};
    const auto y = [&](int i) {
        const int half = i / kBands;
        return products(x[half] + kTaps * (i % kBands), mp3enc_Ccoef.row[i] + first[half]);
    };
    Taps t[kBands];
    t[0] = y(16);
    for (int m = 1; m <= 16; ++m) t[m] = y(16 + m) + y(16 - m);
    for (int m = 17; m < kBands; ++m) t[m] = y(16 + m) - y(80 - m);
    for (int m = 0; m < kBands; m += 4) store(d + m, sumsOf(t + m));
}

static void analyse(const Qor32f* pRing, Qor32s position, Qor32f* pDst) {
    Qor32f d[kBands], even[kHalf], odd[kHalf];
    windowSums(pRing, position, d);
    multiply(kEvenToBands, d, 2, even);
    multiply(kOdd, d + 1, 2, odd);
    for (int k = 0; k < kHalf; ++k) {
        pDst[k] = even[k] + odd[k];
        pDst[kBands - 1 - k] = even[k] - odd[k];
    }
}

// --- synthesis --------------------------------------------------------------------------------

// The slot at `position`: c(m) = the sum of the sub-bands times cos((2k + 1) m pi / 64). The
// standard's V are V(i) = c(16 + i) for i up to 16, c(32) being 0, and V(i) = -c(|48 - i|) behind.
static void _sDCTFwd32_MP3_32f(const Qor32f* pSrc, Qor32f* pRing, Qor32s position) {
    Qor32f sum[kHalf], difference[kHalf], even[kHalf], odd[kHalf];
    for (int k = 0; k < kHalf; ++k) {
        sum[k] = pSrc[k] + pSrc[kBands - 1 - k];
        difference[k] = pSrc[k] - pSrc[kBands - 1 - k];
    }
    multiply(kBandsToEven, sum, 1, even);
    multiply(kOdd, difference, 1, odd);
    Qor32f* const c = pRing + kBands * position;
    for (int n = 0; n < kHalf; ++n) {
        c[2 * n] = even[n];
        c[2 * n + 1] = odd[n];
    }
}

// Output j takes the V(j) of every second slot from the newest on and the V(32 + j) of the others.
// By the symmetries of V and D output 32 - j is made of the same values c(16 + j) and c(16 - j) and
// the same taps, and the slots are met in pairs from both ends. pDst[32] is left without meaning.
static void synthesize(const Qor32f* pRing, Qor32s position, Qor32f* pDst) {
    const auto slot = [&](int age) { return pRing + kBands * ((position + age) % kPositions); };
    Qor32f centre = 0;
    for (int a = 0; a < kTaps; ++a) centre -= dTableW7.centre[a] * slot(2 * a + 1)[0];
    for (int j = 0; j < kHalf; j += kWidth) {
        Floats low{}, high{};
        for (int a = 0; a < kTaps; ++a) {
            const Floats u = load<Floats>(slot(2 * a) + 16 + j);
            const Floats v = reversedLanes(load<Floats>(slot(15 - 2 * a) + 16 - j - (kWidth - 1)));
            const Floats rising = load<Floats>(dTableW7.rising[a] + j);
            const Floats falling = load<Floats>(dTableW7.falling[a] + j);
            low += rising * u + falling * v;
            high += rising * v - falling * u;
        }
        store(pDst + j, low);
        store(pDst + 32 - j - (kWidth - 1), reversedLanes(high));
    }
    pDst[16] = centre;
}
