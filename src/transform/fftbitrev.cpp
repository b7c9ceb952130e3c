#include "transform/fftbitrev.h"

#include <cstddef>
#include <utility>

#include "transform/fftlarge.h"

namespace qorac {

namespace {

// An index of a top bit t, inner bits i and a low bit b, t i b, belongs to b rev(i) t. So each i
// settles four elements: 2 i and 2 i + 1 in the lower half and the same places in the upper half.

template <typename T>
void swapLowAndHigh(T* p, std::ptrdiff_t half, std::ptrdiff_t even, std::ptrdiff_t reversedEven) {
    std::swap(p[even + 1], p[reversedEven + half]);
}

template <typename T>
void swapAll(T* p, std::ptrdiff_t half, std::ptrdiff_t even, std::ptrdiff_t reversedEven) {
    std::swap(p[even], p[reversedEven]);
    std::swap(p[even + half + 1], p[reversedEven + half + 1]);
    swapLowAndHigh(p, half, even, reversedEven);
    swapLowAndHigh(p, half, reversedEven, even);
}

template <typename T>
void reverseInPlace(T* p, Qor32s order, const Qor32s* pBitRev) {
    const std::ptrdiff_t half = std::ptrdiff_t{1} << (order - 1);
    for (std::ptrdiff_t even = 0; even < half; even += 2) {
        const std::ptrdiff_t r = pBitRev[even / 2];
        if (even < r) swapAll(p, half, even, r);
        if (even == r) swapLowAndHigh(p, half, even, r);
    }
}

template <typename T>
void reverseCopy(const T* pSrc, T* pDst, Qor32s order, const Qor32s* pBitRev) {
    const std::ptrdiff_t half = std::ptrdiff_t{1} << (order - 1);
    for (std::ptrdiff_t even = 0; even < half; even += 2) {
        const std::ptrdiff_t r = pBitRev[even / 2];
        pDst[even] = pSrc[r];
        pDst[even + 1] = pSrc[r + half];
        pDst[even + half] = pSrc[r + 1];
        pDst[even + half + 1] = pSrc[r + half + 1];
    }
}

// The list holds twice the element numbers.
template <typename T>
void reverseByList(T* p, Qor32s order, const Qor32s* pBitRev) {
    const std::ptrdiff_t half = std::ptrdiff_t{1} << (order - 1);
    const Qor32s* self = pBitRev + half / 2;
    for (; *pBitRev != 0; pBitRev += 2) swapAll(p, half, pBitRev[0] / 2, pBitRev[1] / 2);
    swapLowAndHigh(p, half, 0, 0);
    while (*--self != 0) swapLowAndHigh(p, half, *self / 2, *self / 2);
}

struct EightBytes {
    Qor8u bytes[8];
};

}  // namespace

void qors_BitRev1_C(Qor32fc* pSrcDst, Qor32s order, const Qor32s* pBitRev) {
    reverseInPlace(pSrcDst, order, pBitRev);
}
void qors_BitRev2_C(const Qor32fc* pSrc, Qor32fc* pDst, Qor32s order, const Qor32s* pBitRev) {
    reverseCopy(pSrc, pDst, order, pBitRev);
}
void qors_BitRev1_S(Qor32f* pSrcDst, Qor32s order, const Qor32s* pBitRev) {
    reverseInPlace(pSrcDst, order, pBitRev);
}
void qors_BitRev2_S(const Qor32f* pSrc, Qor32f* pDst, Qor32s order, const Qor32s* pBitRev) {
    reverseCopy(pSrc, pDst, order, pBitRev);
}

void qors_BitRev1_8(void* pSrcDst, Qor32s order, const Qor32s* pBitRev) {
    reverseByList(static_cast<EightBytes*>(pSrcDst), order, pBitRev);
}
void qors_cBitRev1_Blk(Qor32fc* pTile, const Qor32s* pBitRev) {
    reverseByList(pTile, kFftTileOrder, pBitRev);
}
void qors_sBitRev1_Blk(Qor32f* pTile, const Qor32s* pBitRev) {
    reverseByList(pTile, kFftTileOrder, pBitRev);
}

}  // namespace qorac
