#include "transform/fftbitrev.h"

#include <array>
#include <cstddef>
#include <utility>

#include "frame/dispatch.h"
#include "frame/fixed.h"
#include "transform/fftlarge.h"

namespace qorac {

namespace {

// --- by the table -------------------------------------------------------------------------------

template <typename T>
constexpr int kTileBits = sizeof(T) == 8 ? 3 : 4;

// Reversal in tiles: with the index as b high bits, some middle bits and b low bits, the numbers of
// equal middle bits are 2^b rows of 2^b neighbours, one cache line each, which reversal takes to
// the rows of the reversed middle.
template <typename T>
class Tiles {
    static constexpr int kBits = kTileBits<T>;
    static constexpr int kSide = 1 << kBits;
    static constexpr std::array<int, kSide> kReversed = [] {
        std::array<int, kSide> table{};
        for (int i = 0; i < kSide; ++i) table[i] = qorac::reversed(i, kBits);
        return table;
    }();

  public:
    Tiles(Qor32s order, const Qor32s* pBitRev)
        : count_(std::ptrdiff_t{1} << (order - 2 * kBits)),
          stride_(std::ptrdiff_t{1} << (order - kBits)),
          places_(pBitRev) {}

    std::ptrdiff_t count() const { return count_; }
    // The table reverses order - 2 bits and doubles; a middle has 2 kBits - 2 bits less.
    std::ptrdiff_t reversed(std::ptrdiff_t tile) const { return places_[tile] >> (2 * kBits - 1); }

    // The numbers of a tile at their places in the reversed tile.
    struct Tile {
        T value[kSide][kSide];
    };
    Tile take(const T* p, std::ptrdiff_t tile) const {
        Tile taken;
        for (int row = 0; row < kSide; ++row) {
            for (int i = 0; i < kSide; ++i) {
                taken.value[kReversed[i]][kReversed[row]] = p[row * stride_ + tile * kSide + i];
            }
        }
        return taken;
    }
    void put(const Tile& taken, T* p, std::ptrdiff_t tile) const {
        for (int row = 0; row < kSide; ++row) {
            for (int i = 0; i < kSide; ++i) {
                p[row * stride_ + tile * kSide + i] = taken.value[row][i];
            }
        }
    }

  private:
    std::ptrdiff_t count_, stride_;
    const Qor32s* places_;
};

template <typename T>
QORAC_INLINE void reverseInPlace(T* p, Qor32s order, const Qor32s* pBitRev) {
    const Tiles<T> tiles(order, pBitRev);
    for (std::ptrdiff_t a = 0; a < tiles.count(); ++a) {
        const std::ptrdiff_t b = tiles.reversed(a);
        if (a > b) continue;
        const auto first = tiles.take(p, a), second = tiles.take(p, b);
        tiles.put(first, p, b);
        tiles.put(second, p, a);
    }
}

template <typename T>
QORAC_INLINE void reverseCopy(const T* pSrc, T* pDst, Qor32s order, const Qor32s* pBitRev) {
    const Tiles<T> tiles(order, pBitRev);
    for (std::ptrdiff_t a = 0; a < tiles.count(); ++a) {
        tiles.put(tiles.take(pSrc, tiles.reversed(a)), pDst, a);
    }
}

// --- by the swap list ---------------------------------------------------------------------------

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

QORAC_CLONES void qors_BitRev1_C(Qor32fc* pSrcDst, Qor32s order, const Qor32s* pBitRev) {
    reverseInPlace(pSrcDst, order, pBitRev);
}
QORAC_CLONES void qors_BitRev2_C(const Qor32fc* pSrc, Qor32fc* pDst, Qor32s order,
                                 const Qor32s* pBitRev) {
    reverseCopy(pSrc, pDst, order, pBitRev);
}
QORAC_CLONES void qors_BitRev1_S(Qor32f* pSrcDst, Qor32s order, const Qor32s* pBitRev) {
    reverseInPlace(pSrcDst, order, pBitRev);
}
QORAC_CLONES void qors_BitRev2_S(const Qor32f* pSrc, Qor32f* pDst, Qor32s order,
                                 const Qor32s* pBitRev) {
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
