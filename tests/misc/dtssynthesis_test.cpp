#include "misc/dtssynthesis.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <numbers>
#include <vector>

#include "gmock/gmock.h"
#include "misc/dtswindows.h"
#include "support/memory.h"
#include "support/random.h"
#include "transform/dct.h"
#include "transform/fft32f.h"

namespace qorac {
namespace {

using test::Guarded;
using test::Random;

constexpr double kPi = std::numbers::pi;

Qor32s specSize() {
    Qor32s size = 0;
    EXPECT_EQ(qorsSynthesisFilterGetSize_DTS_32f(&size), qorStsNoErr);
    return size;
}

// A context in a block that ends at a guard page.
class Bank {
  public:
    Bank() : memory_(std::size_t(specSize())), raw_(memory_.data()) {
        for (Qor8u& byte : memory_.span()) byte = 0xA5;
        EXPECT_EQ(qorsSynthesisFilterInit_DTS_32f(spec()), qorStsNoErr);
    }
    QorsFilterSpec_DTS_32f* spec() { return reinterpret_cast<QorsFilterSpec_DTS_32f*>(raw_); }
    QorsFilterSpec_DTS_32f* aligned() {
        const auto address = reinterpret_cast<std::uintptr_t>(raw_);
        return reinterpret_cast<QorsFilterSpec_DTS_32f*>(raw_ + (-address & 15));
    }
    // Behind the header of 64 bytes: 512 values of the history, then 64 of the accumulator.
    Qor32f* history() { return reinterpret_cast<Qor32f*>(aligned()) + 16; }
    std::vector<Qor8u> bytes() { return memory_.copy(); }

    std::vector<Qor32f> filter(const Qor32f* pSrc, int perfect) {
        std::vector<Qor32f> samples(32);
        EXPECT_EQ(qorsSynthesisFilter_DTS_32f(pSrc, samples.data(), perfect, spec()), qorStsNoErr);
        return samples;
    }

  private:
    Guarded<Qor8u> memory_;
    Qor8u* raw_;
};

// The filter step by step in double precision, with the cosine sums in closed form.
class Reference {
  public:
    std::array<double, 32> filter(const Qor32f* s, const std::array<Qor32f, 512>& r) {
        std::copy_backward(history_, history_ + 480, history_ + 512);
        for (int k = 0; k < 32; ++k) {
            history_[k] = 0;
            for (int n = 0; n < 32; ++n) {
                const double shift = (n % 2 == 0) == (k < 16) ? kPi / 4 : -kPi / 4;
                history_[k] +=
                    s[n] * std::cos((2 * n + 1) * (2 * (k % 16) + 1) * kPi / 128 + shift) / 4;
            }
        }
        std::array<double, 32> out, next{};
        std::copy_n(accumulator_, 32, out.begin());
        for (int i = 0; i < 16; ++i)
            for (int j = 0; j < 512; j += 64) {
                out[std::size_t(i)] += r[std::size_t(i + j)] * history_[i + j];
                out[std::size_t(31 - i)] -= r[std::size_t(i + 16 + j)] * history_[i + j];
                next[std::size_t(i)] -= r[std::size_t(i + 32 + j)] * history_[i + 16 + j];
                next[std::size_t(31 - i)] -= r[std::size_t(i + 48 + j)] * history_[i + 16 + j];
            }
        std::copy_n(next.begin(), 32, accumulator_);
        return out;
    }

  private:
    double history_[512]{}, accumulator_[32]{};
};

// The response of sub-band k at time n in the standard's form.
double response(const Qor32s (&taps)[512], int k, int n) {
    return taps[n] * 1e-9 * (n / 64 % 2 ? -1 : 1) / 4 *
           std::cos((2 * k + 1) * (2 * n + 1) * kPi / 128 + (k % 2 ? -kPi / 4 : kPi / 4));
}

TEST(DtsWindows, PrintedValues) {
    constexpr float perfect[] = {0.0f, -6.02e-07f, 9.74e-07f, 0.0f, -6.63e-07f, 1.085e-06f};
    constexpr float nonPerfect[] = {-1.39e-07f, -1.69e-07f, -2.03e-07f, -2.4e-07f};
    for (std::size_t i = 0; i < 6; ++i) EXPECT_EQ(dts_rcoeff_perfect[i], perfect[i]);
    for (std::size_t i = 0; i < 4; ++i) EXPECT_EQ(dts_rcoeff_nonperfect[i], nonPerfect[i]);
    EXPECT_EQ(dts_rcoeff_perfect[293], -0.018918609f);
    EXPECT_EQ(dts_rcoeff_nonperfect[240], -0.017888289f);
    for (std::size_t i = 0; i < 512; ++i) {
        EXPECT_LE(std::abs(dts_rcoeff_perfect[i]), 0.018918609f);
        EXPECT_LE(std::abs(dts_rcoeff_nonperfect[i]), 0.017888289f);
        EXPECT_EQ(kDtsNonPerfectTaps[i], -kDtsNonPerfectTaps[511 - i]);
    }
    // Down the columns of its table the perfect window is odd, as the other one is.
    std::array<Qor32s, 512> sorted;
    std::copy_n(kDtsPerfectTaps, 512, sorted.begin());
    std::sort(sorted.begin(), sorted.end());
    for (std::size_t i = 0; i < 512; ++i) EXPECT_EQ(sorted[i], -sorted[511 - i]);
    EXPECT_EQ(dts_rcoeff_nonperfect[16], -6.521e-06f);
    EXPECT_EQ(dts_rcoeff_nonperfect[31], -1.322e-06f);
    EXPECT_EQ(dts_rcoeff_perfect[16], -3.2e-08f);
    EXPECT_EQ(dts_rcoeff_perfect[30], 1.033e-06f);
}

TEST(DtsSynthesis, EachSubBandAnswersAsTheStandardSays) {
    for (int perfect = 0; perfect <= 1; ++perfect)
        for (int k = 0; k < 32; ++k) {
            Bank bank;
            for (int slot = 0; slot < 18; ++slot) {
                std::array<Qor32f, 32> bands{};
                if (slot == 0) bands[std::size_t(k)] = 1;
                const auto samples = bank.filter(bands.data(), perfect);
                for (int i = 0; i < 32; ++i) {
                    const int n = 32 * slot + i;
                    const auto& taps = perfect ? kDtsPerfectTaps : kDtsNonPerfectTaps;
                    EXPECT_NEAR(samples[std::size_t(i)], n < 512 ? response(taps, k, n) : 0, 2e-8);
                }
            }
        }
}

TEST(DtsSynthesis, RandomSlotsWithTheWindowsInTurn) {
    Random random(1);
    Bank bank;
    Reference reference;
    for (int slot = 0; slot < 200; ++slot) {
        const auto bands = random.reals<Qor32f>(32, -32768, 32768);
        const int perfect = slot < 60 ? 0 : slot < 120 ? 1 : int(random.integer(0, 1));
        const auto samples = bank.filter(bands.data(), perfect);
        const auto expected =
            reference.filter(bands.data(), perfect ? dts_rcoeff_perfect : dts_rcoeff_nonperfect);
        for (std::size_t i = 0; i < 32; ++i) EXPECT_NEAR(samples[i], expected[i], 5e-3);
    }
}

// The terms of a sample are added in rising order, each step rounded.
TEST(DtsSynthesis, TheOrderOfTheWindowSums) {
    Random random(2);
    for (int perfect = 0; perfect <= 1; ++perfect) {
        const auto& r = perfect ? dts_rcoeff_perfect : dts_rcoeff_nonperfect;
        Bank bank;
        for (int slot = 0; slot < 20; ++slot) {
            std::array<Qor32f, 32> out, next{};
            std::copy_n(bank.history() + 512, 32, out.begin());
            const auto samples =
                bank.filter(random.reals<Qor32f>(32, -32768, 32768).data(), perfect);
            const Qor32f* const h = bank.history() + 32;  // the call has moved it
            const auto add = [&](Qor32f& sum, Qor32f tap, Qor32f value) {
                volatile Qor32f product = tap * value;
                sum = sum + product;
            };
            for (std::size_t i = 0; i < 16; ++i)
                for (std::size_t j = 0; j < 512; j += 64) {
                    add(out[i], r[i + j], h[i + j]);
                    add(out[31 - i], -r[i + 16 + j], h[i + j]);
                    add(next[i], -r[i + 32 + j], h[i + 16 + j]);
                    add(next[31 - i], -r[i + 48 + j], h[i + 16 + j]);
                }
            for (std::size_t i = 0; i < 32; ++i) {
                EXPECT_EQ(samples[i], out[i]);
                EXPECT_EQ(bank.history()[512 + i], next[i]);
            }
        }
    }
}

TEST(DtsSynthesis, TheModulatedVectorHasTheClosedForm) {
    for (int n = 0; n < 32; ++n) {
        Bank bank;
        std::array<Qor32f, 32> bands{};
        bands[std::size_t(n)] = 1;
        bank.filter(bands.data(), 0);
        for (int k = 0; k < 16; ++k) {
            const double angle = (2 * n + 1) * (2 * k + 1) * kPi / 128;
            const double c = n % 2 ? -kPi / 4 : kPi / 4;
            EXPECT_NEAR(bank.history()[32 + k], 0.25 * std::cos(angle + c), 1e-6);
            EXPECT_NEAR(bank.history()[48 + k], 0.25 * std::cos(angle - c), 1e-6);
        }
    }
    Bank bank;
    std::array<Qor32f, 32> bands{1};
    bank.filter(bands.data(), 1);
    EXPECT_NEAR(bank.history()[32], 0.25 * std::cos(kPi / 128 + kPi / 4), 1e-7);
}

TEST(DtsSynthesis, ZerosOnAFreshContextStayZeros) {
    Bank bank;
    const std::array<Qor32f, 32> bands{};
    for (int slot = 0; slot < 3; ++slot)
        EXPECT_THAT(bank.filter(bands.data(), slot % 2), testing::Each(0.0f));
    for (int i = 0; i < 512 + 64; ++i) EXPECT_EQ(bank.history()[i], 0.0f);
}

// With the bank of the time-reversed responses in front, the signal comes back 480 samples late.
TEST(DtsSynthesis, TheNonPerfectBankReconstructs) {
    Random random(2);
    constexpr int kSlots = 60, kDelay = 480;
    const auto signal = random.reals<double>(32 * kSlots, -1, 1);
    std::vector<double> responses(32 * 512);
    for (int k = 0; k < 32; ++k)
        for (int n = 0; n < 512; ++n)
            responses[std::size_t(512 * k + n)] = response(kDtsNonPerfectTaps, k, n);
    Bank bank;
    double cross = 0, power = 0, output = 0;
    for (int slot = 0; slot < kSlots; ++slot) {
        std::array<Qor32f, 32> bands;
        const int last = 32 * slot + 31;
        for (int k = 0; k < 32; ++k) {
            double sum = 0;
            for (int n = 0; n < 512 && n <= last; ++n)
                sum += responses[std::size_t(512 * k + 511 - n)] * signal[std::size_t(last - n)];
            bands[std::size_t(k)] = Qor32f(sum * 4e6);
        }
        const auto samples = bank.filter(bands.data(), 0);
        if (slot < 16) continue;
        for (int i = 0; i < 32; ++i) {
            const double in = signal[std::size_t(32 * slot + i - kDelay)];
            const double out = samples[std::size_t(i)];
            cross += in * out;
            power += in * in;
            output += out * out;
        }
    }
    const double error = (output - cross * cross / power) / output;
    EXPECT_LT(10 * std::log10(error), -85);
    EXPECT_GT(cross, 0);
}

// --- context ----------------------------------------------------------------------------------

TEST(DtsContext, SizeOfItsParts) {
    Qor32s dct, dctInit, dctBuffer, fft, fftInit, fftBuffer;
    qorsDCTInvGetSize_32f(16, 1, &dct, &dctInit, &dctBuffer);
    qorsFFTGetSize_C_32fc(3, qorFftNormNone, 1, &fft, &fftInit, &fftBuffer);
    const Qor32s scratch = std::max(std::max(dctInit, dctBuffer), std::max(fftInit, fftBuffer));
    EXPECT_EQ(specSize(), 2395 + (dct + 15) / 16 * 16 + (fft + 15) / 16 * 16 + scratch);
    EXPECT_EQ(qorsSynthesisFilterGetSize_DTS_32f(nullptr), qorStsNullPtrErr);
}

TEST(DtsContext, AnyAddressOfTheBlockWillDo) {
    Random random(3);
    const auto bands = random.reals<Qor32f>(32 * 20, -1, 1);
    Bank plain;
    std::vector<std::vector<Qor32f>> expected;
    for (int slot = 0; slot < 20; ++slot)
        expected.push_back(plain.filter(bands.data() + 32 * slot, slot % 2));
    for (int before = 0; before < 16; ++before) {
        std::vector<Qor8u> room(std::size_t(specSize()) + 32);
        Qor8u* const base = room.data() + (-reinterpret_cast<std::uintptr_t>(room.data()) & 15);
        auto* const raw = reinterpret_cast<QorsFilterSpec_DTS_32f*>(base + 16 - before);
        auto* const aligned = reinterpret_cast<QorsFilterSpec_DTS_32f*>(base + 16);
        std::vector<Qor8u> canary(base, base + 16 - before);
        EXPECT_EQ(qorsSynthesisFilterInit_DTS_32f(raw), qorStsNoErr);
        std::vector<Qor32f> samples(33);
        Qor32f* const pDst = samples.data() + before % 2;
        for (int slot = 0; slot < 20; ++slot) {
            EXPECT_EQ(qorsSynthesisFilter_DTS_32f(bands.data() + 32 * slot, pDst, slot % 2,
                                                  slot % 3 ? raw : aligned),
                      qorStsNoErr);
            EXPECT_EQ(std::vector<Qor32f>(pDst, pDst + 32), expected[std::size_t(slot)]);
        }
        EXPECT_EQ(std::vector<Qor8u>(base, base + 16 - before), canary);
        EXPECT_EQ(qorsSynthesisFilterFree_DTS_32f(raw), qorStsNoErr);
        EXPECT_EQ(qorsSynthesisFilterFree_DTS_32f(aligned), qorStsNoErr);
    }
}

TEST(DtsContext, InPlace) {
    Random random(4);
    auto bands = random.reals<Qor32f>(32, -1, 1);
    Bank one, two;
    const auto expected = one.filter(bands.data(), 1);
    EXPECT_EQ(qorsSynthesisFilter_DTS_32f(bands.data(), bands.data(), 1, two.spec()), qorStsNoErr);
    EXPECT_EQ(bands, expected);
}

TEST(DtsContext, AllocatedOnesAreReleased) {
    const int blocks = test::liveBlocks();
    QorsFilterSpec_DTS_32f* pSpec = nullptr;
    EXPECT_EQ(qorsSynthesisFilterInitAlloc_DTS_32f(nullptr), qorStsNullPtrErr);
    EXPECT_EQ(qorsSynthesisFilterInitAlloc_DTS_32f(&pSpec), qorStsNoErr);
    EXPECT_EQ(test::liveBlocks(), blocks + 1);
    Random random(5);
    const auto bands = random.reals<Qor32f>(32, -1, 1);
    std::vector<Qor32f> samples(32);
    Bank bank;
    EXPECT_EQ(qorsSynthesisFilter_DTS_32f(bands.data(), samples.data(), 0, pSpec), qorStsNoErr);
    EXPECT_EQ(samples, bank.filter(bands.data(), 0));
    EXPECT_EQ(qorsSynthesisFilterFree_DTS_32f(pSpec), qorStsNoErr);
    EXPECT_EQ(test::liveBlocks(), blocks);
}

TEST(DtsContext, FreeOfTheCallersBlockKeepsItAndInitStartsAnew) {
    const int calls = test::allocationCalls();
    Random random(6);
    const auto bands = random.reals<Qor32f>(32, -1, 1);
    Bank bank;
    const auto first = bank.filter(bands.data(), 1);
    EXPECT_EQ(qorsSynthesisFilterFree_DTS_32f(bank.spec()), qorStsNoErr);
    const auto second = bank.filter(bands.data(), 1);
    EXPECT_NE(second, first);
    EXPECT_EQ(qorsSynthesisFilterInit_DTS_32f(bank.spec()), qorStsNoErr);
    EXPECT_EQ(bank.filter(bands.data(), 1), first);
    EXPECT_EQ(test::allocationCalls(), calls);
}

TEST(DtsContext, ChecksComeInOrderAndLeaveAllAsItWas) {
    std::array<Qor32f, 32> bands{1}, samples;
    samples.fill(7);
    Bank bank, foreign;
    bank.filter(bands.data(), 0);
    *reinterpret_cast<Qor32u*>(foreign.aligned()) = 0x434D4167;
    const auto before = bank.bytes(), foreignBefore = foreign.bytes();
    const auto filter = qorsSynthesisFilter_DTS_32f;
    EXPECT_EQ(filter(nullptr, samples.data(), 2, foreign.spec()), qorStsNullPtrErr);
    EXPECT_EQ(filter(bands.data(), nullptr, 2, foreign.spec()), qorStsNullPtrErr);
    EXPECT_EQ(filter(bands.data(), samples.data(), 2, nullptr), qorStsNullPtrErr);
    EXPECT_EQ(filter(bands.data(), samples.data(), 2, foreign.spec()), qorStsBadArgErr);
    EXPECT_EQ(filter(bands.data(), samples.data(), 2, bank.spec()), qorStsBadArgErr);
    EXPECT_EQ(filter(bands.data(), samples.data(), -1, bank.spec()), qorStsBadArgErr);
    EXPECT_EQ(filter(bands.data(), samples.data(), 1, foreign.spec()), qorStsContextMatchErr);
    EXPECT_EQ(qorsSynthesisFilterFree_DTS_32f(foreign.spec()), qorStsContextMatchErr);
    EXPECT_EQ(qorsSynthesisFilterFree_DTS_32f(nullptr), qorStsNullPtrErr);
    EXPECT_EQ(qorsSynthesisFilterInit_DTS_32f(nullptr), qorStsNullPtrErr);
    EXPECT_THAT(samples, testing::Each(7));
    EXPECT_EQ(bank.bytes(), before);
    EXPECT_EQ(foreign.bytes(), foreignBefore);
}

}  // namespace
}  // namespace qorac
