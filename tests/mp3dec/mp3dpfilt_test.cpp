#include <algorithm>
#include <array>
#include <cmath>
#include <vector>

#include "gmock/gmock.h"
#include "qorac.h"
#include "reference/hybrid.h"
#include "reference/synthesiswindow.h"
#include "support/memory.h"
#include "support/random.h"

namespace qorac {
namespace {

using test::Guarded;
using test::Random;

// The filter bank of one channel, on guarded state.
class Bank {
  public:
    explicit Bank(bool atEnd = true) : buffer_(512, atEnd), position_(1, atEnd) {}

    std::array<Qor16s, 32> operator()(const std::vector<Qor32s>& subbands, int mode = 1) {
        Guarded<Qor32s> in{std::span<const Qor32s>(subbands)};
        Guarded<Qor16s> out(31 * mode + 1);
        std::fill_n(out.data(), out.size(), Qor16s{0x5A5A});
        const Qor32s before = position_[0];
        EXPECT_EQ(
            qorsSynthPQMF_MP3_32s16s(in.data(), out.data(), buffer_.data(), position_.data(), mode),
            qorStsNoErr);
        EXPECT_EQ(position_[0], (before + 15) & 15);
        EXPECT_EQ(in.copy(), subbands);
        std::array<Qor16s, 32> samples;
        for (int i = 0; i < 32; ++i) samples[i] = out[i * mode];
        for (int i = 0; i < 31 && mode == 2; ++i) EXPECT_EQ(out[2 * i + 1], 0x5A5A);
        return samples;
    }
    Qor32s position() { return position_[0]; }

  private:
    Guarded<Qor32s> buffer_;
    Guarded<Qor32s> position_;
};

std::vector<Qor32s> randomSubbands(Random& random, double amplitude) {
    std::vector<Qor32s> y(32);
    for (Qor32s& v : y) v = static_cast<Qor32s>(random.real(-amplitude, amplitude));
    return y;
}

double clipped(double sample) { return std::clamp(sample, -32768.0, 32767.0); }

// sub-band samples in Q24 are 1/512 of the PCM scale.
std::array<double, 32> exactly(reference::Polyphase& bank, const std::vector<Qor32s>& y) {
    std::array<double, 32> scaled;
    for (int k = 0; k < 32; ++k) scaled[k] = y[k] / 512.0;
    return bank(scaled.data());
}

TEST(Synthesis, WithinOneOfTheDirectForm) {
    Random random(100);
    for (double amplitude : {300.0, 1e5, 1e6, 1e7, 3e7}) {
        Bank bank;
        reference::Polyphase direct;
        for (int call = 0; call < 200; ++call) {
            const auto y = randomSubbands(random, amplitude);
            const auto samples = bank(y, 1 + call % 2);
            const auto expected = exactly(direct, y);
            for (int i = 0; i < 32; ++i)
                ASSERT_NEAR(samples[i], clipped(expected[i]), 1.0) << amplitude << ' ' << call;
        }
    }
}

// The products are cut before they are summed and the sum is rounded half up, which shows in the
// exact values: the cosine transform alone may differ, by one unit, which seldom reaches a sample.
TEST(Synthesis, CutsEachProductAndRoundsTheSumHalfUp) {
    Random random(101);
    Bank bank;
    reference::IntegerPolyphase integers;
    int same = 0, count = 0;
    double difference = 0;
    for (int call = 0; call < 2000; ++call) {
        const auto y = randomSubbands(random, call < 1000 ? 3e5 : 6e6);
        const auto samples = bank(y);
        const auto expected = integers(y.data());
        for (int i = 0; i < 32; ++i) {
            ASSERT_NEAR(samples[i], expected[i], 1) << call << ' ' << i;
            same += samples[i] == expected[i];
            difference += samples[i] - expected[i];
            ++count;
        }
    }
    EXPECT_GT(same, 0.99 * count);
    EXPECT_LT(std::abs(difference / count), 0.005);
}

// Silence with the smallest inputs: cut products and half-up rounding leave no sample at -1.
TEST(Synthesis, SilenceIsSilent) {
    Bank bank;
    for (int call = 0; call < 40; ++call)
        EXPECT_THAT(bank(std::vector<Qor32s>(32, 0)), testing::Each(0));
}

TEST(Synthesis, ImpulseFollowsTheWindow) {
    Bank bank;
    int peak = 0;
    for (int call = 0; call < 17; ++call) {
        std::vector<Qor32s> y(32, 0);
        if (call == 0) y[0] = 4194304;
        const auto samples = bank(y);
        for (int i = 0; i < 32; ++i) {
            const int n = 32 * call + i;
            // The sheet's signs alternate in blocks of 64; the continuous window is positive in
            // the middle.
            const double window =
                n >= 512 ? 0 : (n / 64 % 2 ? -1 : 1) * reference::kSynthesisWindow[n] / 65536.0;
            const double expected = 4194304 / 512.0 * window * std::cos((n + 16) * M_PI / 64);
            ASSERT_NEAR(samples[i], expected, 1) << n;
            peak = std::max(peak, std::abs(int{samples[i]}));
        }
    }
    EXPECT_NEAR(peak, 8449, 1);
    EXPECT_EQ(bank.position(), (17 * 15) % 16);
}

// Large impulses in each sub-band show the small taps in full; the large ones clip.
TEST(Synthesis, EveryTapThroughEverySubband) {
    for (int k = 0; k < 32; ++k) {
        Bank bank;
        reference::Polyphase direct;
        for (int call = 0; call < 17; ++call) {
            std::vector<Qor32s> y(32, 0);
            if (call == 0) y[k] = k % 2 ? -(1 << 28) : 1 << 28;
            const auto samples = bank(y);
            const auto expected = exactly(direct, y);
            for (int i = 0; i < 32; ++i)
                ASSERT_NEAR(samples[i], clipped(expected[i]), 1) << k << ' ' << call << ' ' << i;
        }
    }
}

TEST(Synthesis, FullScaleSaturates) {
    for (int sign : {1, -1}) {
        Bank bank;
        reference::Polyphase direct;
        bool low = false, high = false;
        for (int call = 0; call < 40; ++call) {
            std::vector<Qor32s> y(32, 0);
            y[1] = sign * (1 << 26);
            const auto samples = bank(y);
            const auto expected = exactly(direct, y);
            for (int i = 0; i < 32; ++i) {
                ASSERT_NEAR(samples[i], clipped(expected[i]), 1);
                high = high || samples[i] == 32767;
                low = low || samples[i] == -32768;
            }
        }
        EXPECT_TRUE(high && low);
    }
}

TEST(Synthesis, AnyInputStaysWithinTheArrays) {
    Random random(102);
    for (bool atEnd : {true, false}) {
        Bank bank(atEnd);
        for (int call = 0; call < 50; ++call) {
            std::vector<Qor32s> y(32);
            for (Qor32s& v : y) v = static_cast<Qor32s>(random.wideInteger(31));
            bank(y, 1 + call % 2);
        }
    }
}

TEST(Synthesis, ChannelsAreIndependentAndModeIsTheStride) {
    Random random(103);
    Bank left, right, again;
    for (int call = 0; call < 40; ++call) {
        const auto l = randomSubbands(random, 1e6), r = randomSubbands(random, 1e6);
        const auto samples = left(l, 2);
        right(r, 2);
        EXPECT_EQ(again(l, 1), samples);
    }
}

TEST(SynthesisChecks, PointersThenRangesAndNothingWritten) {
    struct Case {
        int null, position, mode;
        QorStatus expected;
    };
    const Case cases[] = {
        {0, 16, 0, qorStsNullPtrErr}, {1, 16, 0, qorStsNullPtrErr}, {2, 16, 0, qorStsNullPtrErr},
        {3, 16, 0, qorStsNullPtrErr}, {-1, 0, 0, qorStsBadArgErr},  {-1, 0, 3, qorStsBadArgErr},
        {-1, 0, -1, qorStsBadArgErr}, {-1, 16, 1, qorStsBadArgErr}, {-1, -1, 2, qorStsBadArgErr},
        {-1, 15, 2, qorStsNoErr},     {-1, 0, 1, qorStsNoErr},
    };
    for (const Case& c : cases) {
        std::vector<Qor32s> y(32, 1 << 24), buffer(512, 0);
        std::vector<Qor16s> out(64, 5);
        Qor32s position = c.position;
        EXPECT_EQ(qorsSynthPQMF_MP3_32s16s(c.null == 0 ? nullptr : y.data(),
                                           c.null == 1 ? nullptr : out.data(),
                                           c.null == 2 ? nullptr : buffer.data(),
                                           c.null == 3 ? nullptr : &position, c.mode),
                  c.expected);
        if (c.expected == qorStsNoErr) continue;
        EXPECT_THAT(out, testing::Each(5));
        EXPECT_THAT(buffer, testing::Each(0));
        EXPECT_EQ(position, c.position);
    }
}

// --- lines to samples -------------------------------------------------------------------------

TEST(HybridSynthesis, WithinOneOfTheStandardsFormulas) {
    Random random(104);
    for (int stream = 0; stream < 4; ++stream) {
        Bank bank;
        reference::Hybrid direct;
        std::vector<Qor32s> overlap(576, 0);
        Qor32s previous = 0;
        int type = 0;
        for (int granule = 0; granule < 40; ++granule) {
            // Block types in the order in which streams switch them, and now and then any.
            type = type == 1 || (type == 2 && random.chance(0.5)) ? 2
                   : type == 2                                    ? 3
                               : static_cast<int>(random.chance(0.3));
            if (random.chance(0.1)) type = static_cast<int>(random.integer(0, 3));
            const int mixed = random.chance(0.3), last = static_cast<int>(random.integer(0, 576));
            std::vector<Qor32s> lines(576, 0);
            std::vector<double> exact(576);
            int bound = 0;
            for (int i = 0; i < last; ++i) {
                lines[i] = static_cast<Qor32s>(random.real(-1, 1) * 67108864 / (2 + i / 8));
                exact[i] = lines[i] / 67108864.0;
                if (lines[i] != 0) bound = i + 1;
            }
            std::vector<Qor32s> rows(576);
            ASSERT_EQ(qorsMDCTInv_MP3_32s(lines.data(), rows.data(), overlap.data(), bound,
                                          &previous, type, mixed),
                      qorStsNoErr);
            const auto expected = direct(exact, bound, type, mixed);
            for (int t = 0; t < 18; ++t) {
                const auto samples = bank({&rows[32 * t], &rows[32 * t] + 32});
                for (int i = 0; i < 32; ++i)
                    ASSERT_NEAR(samples[i], clipped(32768 * expected[32 * t + i]), 1)
                        << "granule " << granule << " type " << type << " mixed " << mixed;
            }
        }
    }
}

}  // namespace
}  // namespace qorac
