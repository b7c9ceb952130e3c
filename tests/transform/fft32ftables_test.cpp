#include "transform/fft32ftables.h"

#include <cstring>
#include <vector>

#include "gmock/gmock.h"
#include "reference/dft.h"
#include "support/random.h"
#include "transform/fft32fspec.h"
#include "transform/fftbitrev.h"

namespace qorac {
namespace {

using reference::rootOfUnity;
using test::Fft;
using test::FftKind;

int reversed(int value, int bits) {
    int result = 0;
    for (int i = 0; i < bits; ++i) result = 2 * result + ((value >> i) & 1);
    return result;
}

TEST(FftTables, QuarterWavesAreSinesRoundedOnce) {
    ASSERT_EQ(fft_fix_twiddle_table_32f.size(), 257u);
    for (int i = 0; i <= 256; ++i) {
        EXPECT_EQ(fft_fix_twiddle_table_32f[i], float(rootOfUnity(i, 1024, 1).imag()));
    }
    for (int order : {11, 12, 15}) {
        const int n = 1 << order;
        std::vector<float> table(n / 4 + 1);
        qors_initTabTwdBase_32f(order, table.data());
        for (int i = 0; i <= n / 4; ++i) {
            EXPECT_EQ(table[i], float(rootOfUnity(i, n, 1).imag())) << order << ", " << i;
        }
    }
}

// The four butterflies from b on of a stage.
void expectGroup(const float*& p, std::size_t b, std::size_t length, int radix) {
    for (int m = 1; m < radix; ++m, p += 8) {
        for (int i = 0; i < 4; ++i) {
            const auto w = rootOfUnity((b + i) * m, length, -1);
            ASSERT_EQ(p[i], float(w.real())) << "length " << length << ", b " << b + i << ", " << m;
            ASSERT_EQ(p[4 + i], float(w.imag())) << "length " << length << ", b " << b + i;
        }
    }
}

void expectCore(const float* p, int order) {
    int length = 4;
    for (int left = order - 2; left > 0;) {
        const int bits = left % 3 == 0 ? 3 : 2;
        const int span = length;
        length <<= bits;
        for (int b = 0; b < span; b += 4) expectGroup(p, b, length, 1 << bits);
        left -= bits;
    }
}

TEST(FftTables, CoreTwiddlesStandInTheOrderOfTheStages) {
    for (int order = 6; order <= 17; ++order) {
        Fft complex(FftKind::kComplex, order, 8), real(FftKind::kReal, order + 1, 8);
        expectCore(complex->pTwd, order);
        expectCore(real->pTwd, order);
    }
}

TEST(FftTables, ReversalTableHoldsTwiceTheReversedNumberAndAnEnd) {
    for (int order : {2, 6, 9, 12}) {
        const int quarter = 1 << (order - 2);
        std::vector<Qor32s> table(quarter + 2, -1);
        qors_initTabBitRevNorm(order, table.data());
        for (int i = 0; i < quarter; ++i) EXPECT_EQ(table[i], 2 * reversed(i, order - 2));
        EXPECT_EQ(table[quarter], 0);
        EXPECT_EQ(table[quarter + 1], -1);
    }
}

TEST(FftTables, SwapListHoldsPairsFromTheFrontAndFixedOnesFromTheBack) {
    for (int order : {2, 3, 4, 7, 8, 12}) {
        const int quarter = 1 << (order - 2);
        std::vector<Qor32s> list(quarter + 2, -1);
        qors_initTabBitRev(order, list.data());
        int front = 0, back = quarter;
        for (int i = 1; i < quarter; ++i) {
            const int r = reversed(i, order - 2);
            if (i < r) {
                EXPECT_EQ(list[front++], 4 * i);
                EXPECT_EQ(list[front++], 4 * r);
            }
            if (i == r) {
                EXPECT_EQ(list[--back], 4 * i);
            }
        }
        EXPECT_EQ(list[front], 0);
        EXPECT_EQ(front + 1, back);
        EXPECT_EQ(list[quarter], 0);
        EXPECT_EQ(list[quarter + 1], -1);
    }
}

TEST(FftTables, BuildersOfTheReversalStoreNothingBelowOrderTwo) {
    Qor32s table[2] = {-1, -1};
    for (int order : {0, 1}) {
        qors_initTabBitRevNorm(order, table);
        qors_initTabBitRev(order, table);
        EXPECT_THAT(table, testing::Each(-1));
    }
}

TEST(FftTables, RecombinationFactorsStandInGroupsOfFour) {
    for (int order : {5, 6, 9, 10, 11, 14}) {
        Fft fft(FftKind::kReal, order, 8);
        const int n = 1 << order;
        for (int k = 1; k <= n / 4; ++k) {
            const int at = (k - 1) / 4 * 8 + (k - 1) % 4;
            const auto w = rootOfUnity(k, n, 1);
            const double sine = float(w.imag());
            EXPECT_EQ(fft->pRealRec[at], 0.5f * float(w.real()));
            EXPECT_EQ(fft->pRealRec[at + 4], float(0.5 - 0.5 * sine));
            EXPECT_EQ(fft->pCcsRec[at], float(w.real()));
            EXPECT_EQ(fft->pCcsRec[at + 4], -float(w.imag()));
        }
    }
}

struct Blocking {
    int order, blk, buf;
    std::vector<int> radices;
};

TEST(FftTables, StepTwiddlesStandInTheOrderOfTheColumnBlocks) {
    const Blocking rows[] = {
        {18, 4, 10, {4, 4}}, {19, 4, 10, {4, 4}}, {21, 5, 13, {8, 4}}, {22, 8, 15, {8, 8, 4}}};
    for (const Blocking& row : rows) {
        Fft fft(FftKind::kComplex, row.order, 8);
        const int sub = row.order - row.blk;
        expectCore(fft->pTwd, sub);
        const float* p = fft->pStepTwd[0];
        EXPECT_EQ(p, fft->pTwd + (2 << sub));
        const std::size_t cols = std::size_t{1} << (row.buf - row.blk);
        for (std::size_t c = 0; c < std::size_t{1} << sub; c += cols) {
            std::size_t span = cols;
            for (int radix : row.radices) {
                const std::size_t length = (radix * span << sub) / cols;
                // All groups of the first and the last column block, one of each row of the others.
                const bool all = c == 0 || c + cols == std::size_t{1} << sub;
                for (std::size_t r = 0; r < span / cols; ++r) {
                    for (std::size_t x = 0; x < cols; x += 4) {
                        if (all || x == 0) {
                            expectGroup(p, (r << sub) + c + x, length, radix);
                        } else {
                            p += 8 * (radix - 1);
                        }
                    }
                }
                span *= radix;
            }
        }
        EXPECT_LE(p, fft->pStepTwd[0] + (std::size_t{2} << row.order));
    }
}

TEST(FftTables, LargeReversalHoldsTilePlacesAndTheSwapsWithinATile) {
    std::vector<Qor32s> swaps(1025);
    qors_initTabBitRev(12, swaps.data());
    for (int order : {19, 20, 22}) {
        Fft fft(FftKind::kComplex, order, 8);
        const int tiles = 1 << (order - 12);
        for (int t = 0; t < tiles; ++t) {
            EXPECT_EQ(fft->pBitRev[t], reversed(t, order - 12) << 6);
        }
        const std::vector<Qor32s> behind(fft->pBitRev + tiles, fft->pBitRev + tiles + 1025);
        EXPECT_EQ(behind, swaps);
    }
}

template <typename T>
std::vector<T> counted(int order) {
    std::vector<T> values(std::size_t{1} << order);
    for (std::size_t i = 0; i < values.size(); ++i) {
        const float value = float(i);
        std::memcpy(&values[i], &value, sizeof value);
    }
    return values;
}

template <typename T>
void expectReversed(const std::vector<T>& values, int order) {
    for (std::size_t i = 0; i < values.size(); ++i) {
        float value;
        std::memcpy(&value, &values[i], sizeof value);
        ASSERT_EQ(value, float(reversed(int(i), order))) << "order " << order;
    }
}

TEST(FftBitReversal, ByTheTablePermutesAllElements) {
    for (int order : {8, 9, 10, 11, 12, 13, 17}) {
        std::vector<Qor32s> table((1 << (order - 2)) + 1);
        qors_initTabBitRevNorm(order, table.data());

        auto complex = counted<Qor32fc>(order);
        std::vector<Qor32fc> complexCopy(complex.size());
        qors_BitRev2_C(complex.data(), complexCopy.data(), order, table.data());
        expectReversed(complexCopy, order);
        qors_BitRev1_C(complex.data(), order, table.data());
        expectReversed(complex, order);

        auto floats = counted<float>(order);
        std::vector<float> floatsCopy(floats.size());
        qors_BitRev2_S(floats.data(), floatsCopy.data(), order, table.data());
        expectReversed(floatsCopy, order);
        qors_BitRev1_S(floats.data(), order, table.data());
        expectReversed(floats, order);
    }
}

TEST(FftBitReversal, ByTheListPermutesAllElements) {
    for (int order : {2, 3, 4, 5, 6, 7, 12}) {
        std::vector<Qor32s> list((1 << (order - 2)) + 1);
        qors_initTabBitRev(order, list.data());
        auto eights = counted<Qor64f>(order);
        qors_BitRev1_8(eights.data(), order, list.data());
        expectReversed(eights, order);
        if (order == 12) {
            auto complexTile = counted<Qor32fc>(order);
            qors_cBitRev1_Blk(complexTile.data(), list.data());
            expectReversed(complexTile, order);
            auto floatTile = counted<float>(order);
            qors_sBitRev1_Blk(floatTile.data(), list.data());
            expectReversed(floatTile, order);
        }
    }
}

}  // namespace
}  // namespace qorac
