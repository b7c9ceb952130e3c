// The constant tables of the float FFT: reversal, twiddles, real recombination.
#pragma once

#include <array>

#include "frame/fixed.h"
#include "qorac.h"

namespace qorac {

constexpr int kFftFixedTableOrder = 10;

// sin(2 pi i / 1024) for i from 0 to 256.
extern const std::array<Qor32f, 257> fft_fix_twiddle_table_32f;

// sin(2 pi i / 2^order) for i from 0 to 2^order / 4.
void qors_initTabTwdBase_32f(Qor32s order, Qor32f* pTable);

// Sines and cosines of multiples of 2 pi / 2^order, read from a quarter wave of sines.
class QuarterWave {
  public:
    // The table holds sin(2 pi i / 2^tableOrder) for the first quarter.
    QuarterWave(const Qor32f* pTable, int tableOrder) : table_(pTable), tableOrder_(tableOrder) {}

    // sin(2 pi index / 2^order), order at most the table's.
    Qor32f sin(Qor64s index, int order) const {
        const Qor64s quarter = Qor64s{1} << (tableOrder_ - 2);
        const Qor64s turn = index * (Qor64s{1} << (tableOrder_ - order));
        const Qor64s rest = turn & (quarter - 1);
        const int quadrant = static_cast<int>(turn >> (tableOrder_ - 2)) & 3;
        const Qor32f value = table_[quadrant & 1 ? quarter - rest : rest];
        return quadrant & 2 ? -value : value;
    }
    // cos(2 pi index / 2^order), order at least 2.
    Qor32f cos(Qor64s index, int order) const {
        return sin((Qor64s{1} << (order - 2)) - index, order);
    }

  private:
    const Qor32f* table_;
    int tableOrder_;
};

// Radix of the stage that follows when `bitsLeft` bits of the order are to be done: 8 when they
// split into threes, else 4. Radix 4 comes early and radix 8 late.
constexpr int fftStageBits(int bitsLeft) { return bitsLeft % 3 == 0 ? 3 : 2; }

// Writes the twiddles of butterflies b to b + 3 of a stage with block length 2^blockOrder and
// radix 2^radixBits: for m from 1 to radix - 1 four real parts and four imaginary parts of
// exp(-2 pi j b m / 2^blockOrder). Returns the end of what it wrote.
Qor32f* fftTwiddleGroup(const QuarterWave& wave, Qor64s b, int blockOrder, int radixBits,
                        Qor32f* pTwd);

// Twiddles of the core of 2^order points in the order of use: the stages behind the first radix-4
// stage, in each the butterflies in groups of four.
void qors_initTabTwd_L1_32f(Qor32s order, const QuarterWave& wave, Qor32f* pTwd);

// 2 rev(i) for i from 0 to N/4 - 1, with rev over order - 2 bits, then 0. Order at least 2.
void qors_initTabBitRevNorm(Qor32s order, Qor32s* pBitRev);

// List of the swaps that reverse N elements of two words: the pairs 4 i, 4 rev(i) with
// 0 < i < rev(i), closed by 0; from entry N/4 - 1 downward 4 i of each i > 0 with i = rev(i);
// entry N/4 is 0. Order at least 2.
void qors_initTabBitRev(Qor32s order, Qor32s* pBitRev);

// Factors that join the half-length transform into the spectrum of 2^order reals, for k from 1 to
// 2^order / 4 in groups of four k: four A, then four B.
//   forward: A = cos(2 pi k / N) / 2, B = 1/2 - sin(2 pi k / N) / 2
//   inverse: A = cos(2 pi k / N), B = -sin(2 pi k / N)
void qors_initTabTwdRealRec_32f(Qor32s order, const QuarterWave& wave, Qor32f* pTab);
void qors_initTabTwdCcsRec_32f(Qor32s order, const QuarterWave& wave, Qor32f* pTab);

}  // namespace qorac
