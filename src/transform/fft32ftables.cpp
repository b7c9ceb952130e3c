#include "transform/fft32ftables.h"

#include <cmath>

#include "frame/constmath.h"

namespace qorac {

namespace {

// Four factors of consecutive k, A then B, from k = 1 on.
template <typename RuleA, typename RuleB>
void recombinationTable(Qor32s order, Qor32f* pTab, RuleA a, RuleB b) {
    const Qor32s count = 1 << (order - 2);
    for (Qor32s k = 1; k <= count; k += 4, pTab += 8) {
        for (Qor32s i = 0; i < 4; ++i) {
            pTab[i] = a(k + i);
            pTab[4 + i] = b(k + i);
        }
    }
}

}  // namespace

constexpr std::array<Qor32f, 257> fft_fix_twiddle_table_32f = constmath::makeTable<Qor32f, 257>(
    [](int i) { return static_cast<Qor64f>(constmath::sinPi(i, 512)); });

void qors_initTabTwdBase_32f(Qor32s order, Qor32f* pTable) {
    const Qor32s quarter = 1 << (order - 2);
    const Qor64f unit = std::ldexp(2 * static_cast<Qor64f>(constmath::kPi), -order);
    for (Qor32s i = 0; i <= quarter; ++i) {
        const Qor64f value = i <= quarter / 2 ? std::sin(i * unit) : std::cos((quarter - i) * unit);
        pTable[i] = static_cast<Qor32f>(value);
    }
}

Qor32f* fftTwiddleGroup(const QuarterWave& wave, Qor64s b, int blockOrder, int radixBits,
                        Qor32f* pTwd) {
    for (int m = 1; m < 1 << radixBits; ++m, pTwd += 8) {
        for (int i = 0; i < 4; ++i) {
            pTwd[i] = wave.cos((b + i) * m, blockOrder);
            pTwd[4 + i] = -wave.sin((b + i) * m, blockOrder);
        }
    }
    return pTwd;
}

void qors_initTabTwd_L1_32f(Qor32s order, const QuarterWave& wave, Qor32f* pTwd) {
    for (int done = 2; done < order;) {
        const int bits = fftStageBits(order - done);
        const Qor32s span = 1 << done;
        done += bits;
        for (Qor32s b = 0; b < span; b += 4) pTwd = fftTwiddleGroup(wave, b, done, bits, pTwd);
    }
}

void qors_initTabBitRevNorm(Qor32s order, Qor32s* pBitRev) {
    if (order < 2) return;
    const Qor32s quarter = 1 << (order - 2);
    for (Qor32s i = 0; i < quarter; ++i) pBitRev[i] = 2 * reversed(i, order - 2);
    pBitRev[quarter] = 0;
}

void qors_initTabBitRev(Qor32s order, Qor32s* pBitRev) {
    if (order < 2) return;
    const Qor32s quarter = 1 << (order - 2);
    Qor32s front = 0, back = quarter;
    for (Qor32s i = 1; i < quarter; ++i) {
        const Qor32s r = reversed(i, order - 2);
        if (i < r) {
            pBitRev[front++] = 4 * i;
            pBitRev[front++] = 4 * r;
        } else if (i == r) {
            pBitRev[--back] = 4 * i;
        }
    }
    pBitRev[front] = 0;
    pBitRev[quarter] = 0;
}

void qors_initTabTwdRealRec_32f(Qor32s order, const QuarterWave& wave, Qor32f* pTab) {
    recombinationTable(
        order, pTab, [&](Qor32s k) { return 0.5f * wave.cos(k, order); },
        [&](Qor32s k) { return static_cast<Qor32f>(0.5 - 0.5 * wave.sin(k, order)); });
}

void qors_initTabTwdCcsRec_32f(Qor32s order, const QuarterWave& wave, Qor32f* pTab) {
    recombinationTable(
        order, pTab, [&](Qor32s k) { return wave.cos(k, order); },
        [&](Qor32s k) { return -wave.sin(k, order); });
}

}  // namespace qorac
