#include "transform/fftlarge.h"

#include <algorithm>
#include <cstring>

#include "frame/status.h"
#include "frame/vectorkernels.h"
#include "transform/fft32fkernels.h"
#include "transform/fftbitrev.h"

namespace qorac {

namespace {

// How an order is divided: its high `tile` bits are done in the scratch, which holds 2^buffer
// complex numbers, its low bits as contiguous transforms.
struct Division {
    int tile, buffer;
};

constexpr Division division(Qor32s order) {
    if (order <= 20) return {4, 10};
    if (order == 21) return {5, 13};
    return {8, 15};
}

constexpr Qor32s subOrder(Qor32s order) { return order - division(order).tile; }

constexpr int kTileRowBits = kFftTileOrder / 2;
constexpr Qor32s kTileRows = 1 << kTileRowBits;
constexpr Qor32s kTileSize = 1 << kFftTileOrder;

constexpr Qor32s complexBytes(Qor32s order) { return 8 << order; }

// Stages on the tile: the remaining bits in threes, with radix 4 where twice two or once two are
// left.
constexpr int tileStageBits(int bitsLeft) { return bitsLeft == 2 || bitsLeft == 4 ? 2 : 3; }

template <typename Visit>
void forEachTileStage(int tileBits, Visit visit) {
    for (int done = 0; done < tileBits;) {
        const int bits = tileStageBits(tileBits - done);
        visit(done, bits);
        done += bits;
    }
}

// --- tables -------------------------------------------------------------------------------------

// Twiddles of one level in the order of use: column block by column block, stage by stage.
Qor32f* initTabTwd_Step(Qor32s order, const QuarterWave& wave, Qor32f* pTwd) {
    const auto [tileBits, bufferBits] = division(order);
    const Qor32s sub = order - tileBits;
    const Qor32s columns = 1 << (bufferBits - tileBits);
    for (Qor32s first = 0; first < 1 << sub; first += columns) {
        forEachTileStage(tileBits, [&](int done, int bits) {
            for (Qor64s row = 0; row < 1 << done; ++row) {
                for (Qor32s column = first; column < first + columns; column += 4) {
                    pTwd =
                        fftTwiddleGroup(wave, (row << sub) + column, sub + done + bits, bits, pTwd);
                }
            }
        });
    }
    return pTwd;
}

// The levels from the deepest up; returns the end of the tables.
Qor8u* initLevels(QorsFFTSpec_32f& spec, Qor32s order, int level, const QuarterWave& wave,
                  Qor8u* pMemory) {
    const Qor32s sub = subOrder(order);
    if (sub >= kFftLargeOrder) {
        pMemory = initLevels(spec, sub, level + 1, wave, pMemory);
    } else {
        spec.pTwd = reinterpret_cast<Qor32f*>(pMemory);
        qors_initTabTwd_L1_32f(sub, wave, spec.pTwd);
        pMemory += roundUp32(complexBytes(sub));
        spec.workSize = roundUp32(complexBytes(sub));
    }
    spec.pStepTwd[level] = reinterpret_cast<Qor32f*>(pMemory);
    initTabTwd_Step(order, wave, spec.pStepTwd[level]);
    spec.workSize = std::max(spec.workSize, complexBytes(division(order).buffer));
    return pMemory + complexBytes(order);
}

// Places of the tiles, then the swaps within a tile. Returns the number of entries.
Qor32s qors_initTabBitRevLarge(Qor32s order, Qor32s* pBitRev) {
    const int bits = order - kFftTileOrder;
    for (Qor32s tile = 0; tile < 1 << bits; ++tile) {
        pBitRev[tile] = reversed(tile, bits) << kTileRowBits;
    }
    qors_initTabBitRev(kFftTileOrder, pBitRev + (1 << bits));
    return (1 << bits) + (1 << (kFftTileOrder - 2)) + 1;
}

// --- reversal -----------------------------------------------------------------------------------
//
// An array of N elements is seen as 64 rows of N/64, a tile is 64 adjacent columns of it. Reversal
// takes row, tile and column to reversed column, reversed tile and reversed row, so that a tile
// changes place with one other and its inner index of 12 bits is reversed.

template <typename T>
void merge(const T* pSrc, T* pTile, std::ptrdiff_t stride, Qor32s rows, Qor32s columns) {
    for (Qor32s row = 0; row < rows; ++row) {
        std::memcpy(pTile + row * columns, pSrc + row * stride, columns * sizeof(T));
    }
}
template <typename T>
void split(T* pDst, const T* pTile, std::ptrdiff_t stride, Qor32s rows, Qor32s columns) {
    for (Qor32s row = 0; row < rows; ++row) {
        std::memcpy(pDst + row * stride, pTile + row * columns, columns * sizeof(T));
    }
}

void reverseTile(Qor32fc* pTile, const Qor32s* pSwaps) { qors_cBitRev1_Blk(pTile, pSwaps); }
void reverseTile(Qor32f* pTile, const Qor32s* pSwaps) { qors_sBitRev1_Blk(pTile, pSwaps); }

template <typename T>
class TileReversal {
  public:
    TileReversal(Qor32s order, const Qor32s* pBitRev, Qor8u* pScratch)
        : tiles_(1 << (order - kFftTileOrder)),
          stride_(std::ptrdiff_t{1} << (order - kTileRowBits)),
          places_(pBitRev),
          first_(reinterpret_cast<T*>(pScratch)),
          second_(first_ + kTileSize) {}

    void inPlace(T* pData) const {
        for (Qor32s tile = 0; tile < tiles_; ++tile) {
            T* a = pData + tile * kTileRows;
            T* b = pData + places_[tile];
            if (a > b) continue;
            take(a, first_);
            if (a < b) {
                take(b, second_);
                put(second_, a);
            }
            put(first_, b);
        }
    }

    void outOfPlace(const T* pSrc, T* pDst) const {
        for (Qor32s tile = 0; tile < tiles_; ++tile) {
            take(pSrc + places_[tile], first_);
            put(first_, pDst + tile * kTileRows);
        }
    }

  private:
    void take(const T* p, T* pTile) const {
        merge(p, pTile, stride_, kTileRows, kTileRows);
        reverseTile(pTile, places_ + tiles_);
    }
    void put(const T* pTile, T* p) const { split(p, pTile, stride_, kTileRows, kTileRows); }

    Qor32s tiles_;
    std::ptrdiff_t stride_;
    const Qor32s* places_;
    T* first_;
    T* second_;
};

template <typename T>
void copy(const T* pSrc, T* pDst, Qor32s order) {
    qorsCopy_8u(reinterpret_cast<const Qor8u*>(pSrc), reinterpret_cast<Qor8u*>(pDst),
                static_cast<int>(sizeof(T) << order));
}

// From `copyOrder` on a second pass over the source costs less than its scattered reads.
template <typename T>
void reverseTiles(const T* pSrc, T* pDst, Qor32s order, Qor32s copyOrder, const Qor32s* pBitRev,
                  Qor8u* pScratch) {
    const TileReversal<T> reversal(order, pBitRev, pScratch);
    if (pSrc == pDst) {
        reversal.inPlace(pDst);
    } else if (order < copyOrder) {
        reversal.outOfPlace(pSrc, pDst);
    } else {
        copy(pSrc, pDst, order);
        reversal.inPlace(pDst);
    }
}

// The copy comes one order later for complex numbers than for the arrays of the split transform.
void reverse(const Qor32fc* pSrc, Qor32fc* pDst, Qor32s order, const Qor32s* pBitRev,
             Qor8u* pScratch) {
    if (order > kFftLargeOrder) {
        reverseTiles(pSrc, pDst, order, 21, pBitRev, pScratch);
    } else {
        if (pSrc != pDst) copy(pSrc, pDst, order);
        qors_BitRev1_C(pDst, order, pBitRev);
    }
}
void reverse(const Qor32f* pSrc, Qor32f* pDst, Qor32s order, const Qor32s* pBitRev,
             Qor8u* pScratch) {
    if (order > kFftLargeOrder) {
        reverseTiles(pSrc, pDst, order, 20, pBitRev, pScratch);
    } else {
        if (pSrc != pDst) copy(pSrc, pDst, order);
        qors_BitRev1_S(pDst, order, pBitRev);
    }
}

// --- transform ----------------------------------------------------------------------------------

// The data of a transform: how a contiguous block is transformed and how columns of it move to the
// tile and back.
template <bool inverse>
struct PairData {
    const Fft32fKernels& kernels;
    Qor32fc* data;

    PairData from(std::ptrdiff_t n) const { return {kernels, data + n}; }
    void transform(const FftCore& core, Qor32f* pScratch) const {
        const auto run = inverse ? kernels.qors_cRadix4Inv_32fc : kernels.qors_cRadix4Fwd_32fc;
        run(core, data, pScratch, kSplitGroups);
    }
    void merge(Qor32f* pTile, std::ptrdiff_t stride, Qor32s rows, Qor32s columns) const {
        kernels.qors_cFft_BlkMerge_32fc(data, pTile, stride, rows, columns);
    }
    void split(const Qor32f* pTile, std::ptrdiff_t stride, Qor32s rows, Qor32s columns,
               bool final) const {
        const int form = !final ? kSplitGroups : inverse ? kExchanged : kInterleaved;
        kernels.qors_cFft_BlkSplit_32fc(data, pTile, stride, rows, columns, form);
    }
};

struct SplitData {
    const Fft32fKernels& kernels;
    Qor32f* re;
    Qor32f* im;

    SplitData from(std::ptrdiff_t n) const { return {kernels, re + n, im + n}; }
    void transform(const FftCore& core, Qor32f* pScratch) const {
        kernels.qors_crRadix4Fwd_32f(core, re, im, pScratch);
    }
    void merge(Qor32f* pTile, std::ptrdiff_t stride, Qor32s rows, Qor32s columns) const {
        kernels.qors_crFft_BlkMerge_32f(re, im, pTile, stride, rows, columns);
    }
    void split(const Qor32f* pTile, std::ptrdiff_t stride, Qor32s rows, Qor32s columns,
               bool) const {
        kernels.qors_crFft_BlkSplit_32f(re, im, pTile, stride, rows, columns);
    }
};

// One level: the contiguous blocks of the low bits, then the high bits. The scale is applied by the
// core, so once, at the deepest level.
template <int level = 0, typename Data>
void transformLevel(const QorsFFTSpec_32f& spec, Data data, Qor32s order, Qor32f scale,
                    Qor32f* pScratch) {
    const Fft32fKernels& kernels = data.kernels;
    const auto [tileBits, bufferBits] = division(order);
    const Qor32s sub = order - tileBits;
    const std::ptrdiff_t stride = std::ptrdiff_t{1} << sub;
    const Qor32s rows = 1 << tileBits;
    for (Qor32s row = 0; row < rows; ++row) {
        const Data block = data.from(row * stride);
        if constexpr (level + 1 < kFftMaxBlockingLevels) {
            if (sub >= kFftLargeOrder) {
                transformLevel<level + 1>(spec, block, sub, scale, pScratch);
                continue;
            }
        }
        block.transform(FftCore{sub, nullptr, spec.pTwd, scale}, pScratch);
    }
    const Qor32s columns = 1 << (bufferBits - tileBits);
    const Qor32f* pTwd = spec.pStepTwd[level];
    for (std::ptrdiff_t first = 0; first < stride; first += columns) {
        const Data block = data.from(first);
        block.merge(pScratch, stride, rows, columns);
        forEachTileStage(tileBits, [&](int done, int bits) {
            const auto stage =
                bits == 2 ? kernels.qors_cFft_Fact4_32fc : kernels.qors_cFft_Fact8_32fc;
            const std::ptrdiff_t span = static_cast<std::ptrdiff_t>(columns) << done;
            stage(pScratch, pScratch, span, rows >> (done + bits), pTwd);
            pTwd += 2 * ((1 << bits) - 1) * span;
        });
        block.split(pScratch, stride, rows, columns, level == 0);
    }
}

}  // namespace

// --- the interface ------------------------------------------------------------------------------

void qors_getSizesTwd_Large_32f(Qor32s order, Qor32s* pSpecSize, Qor32s* pInitSize,
                                Qor32s* pBufSize) {
    const Qor32s sub = subOrder(order);
    if (sub >= kFftLargeOrder) {
        qors_getSizesTwd_Large_32f(sub, pSpecSize, pInitSize, pBufSize);
    } else {
        *pSpecSize = roundUp32(complexBytes(sub) + 8);
        *pBufSize = roundUp32(complexBytes(sub));
    }
    *pSpecSize += complexBytes(order);
    *pInitSize = 0;
    *pBufSize = std::max(*pBufSize, complexBytes(division(order).buffer));
    // The reversal's two tiles of 4096 numbers fit from order 19 on.
    static_assert(complexBytes(subOrder(kFftLargeOrder + 1)) >= 2 * kTileSize * 8);
}

Qor8u* qors_initTabTwd_Large_32f(QorsFFTSpec_32f* pSpec, Qor32s order, const QuarterWave& wave,
                                 Qor8u* pMemory) {
    pSpec->pBitRev = reinterpret_cast<Qor32s*>(pMemory);
    Qor32s entries = (1 << (order - 2)) + 1;
    if (order > kFftLargeOrder) {
        entries = qors_initTabBitRevLarge(order, pSpec->pBitRev);
    } else {
        qors_initTabBitRevNorm(order, pSpec->pBitRev);
    }
    return initLevels(*pSpec, order, 0, wave,
                      pMemory + roundUp32(entries * static_cast<Qor32s>(sizeof(Qor32s))));
}

void qors_cFftFwd_Large_32fc(const QorsFFTSpec_32f* pSpec, const Qor32fc* pSrc, Qor32fc* pDst,
                             Qor32s order, Qor8u* pScratch) {
    reverse(pSrc, pDst, order, pSpec->pBitRev, pScratch);
    transformLevel(*pSpec, PairData<false>{fft32fKernels(), pDst}, order,
                   pSpec->scaleFwd ? pSpec->normFactor : 1.0f, reinterpret_cast<Qor32f*>(pScratch));
}

void qors_cFftInv_Large_32fc(const QorsFFTSpec_32f* pSpec, const Qor32fc* pSrc, Qor32fc* pDst,
                             Qor32s order, Qor8u* pScratch) {
    reverse(pSrc, pDst, order, pSpec->pBitRev, pScratch);
    transformLevel(*pSpec, PairData<true>{fft32fKernels(), pDst}, order,
                   pSpec->scaleInv ? pSpec->normFactor : 1.0f, reinterpret_cast<Qor32f*>(pScratch));
}

void qors_crFftFwd_Large_32f(const QorsFFTSpec_32f* pSpec, const Qor32f* pSrcRe,
                             const Qor32f* pSrcIm, Qor32f* pDstRe, Qor32f* pDstIm, Qor32s order,
                             Qor8u* pScratch) {
    reverse(pSrcRe, pDstRe, order, pSpec->pBitRev, pScratch);
    reverse(pSrcIm, pDstIm, order, pSpec->pBitRev, pScratch);
    transformLevel(*pSpec, SplitData{fft32fKernels(), pDstRe, pDstIm}, order,
                   pSpec->scaleFwd ? pSpec->normFactor : 1.0f, reinterpret_cast<Qor32f*>(pScratch));
}

}  // namespace qorac
