#include <algorithm>
#include <cmath>
#include <vector>

#include "aac/aachelp.h"
#include "gmock/gmock.h"
#include "qorac.h"
#include "reference/aacmdct.h"
#include "support/memory.h"
#include "support/random.h"

namespace qorac {
namespace {

using reference::Product;
using reference::Signal;
using reference::wrap32;
using test::Guarded;
using test::Random;
using testing::Each;
using testing::ElementsAreArray;

QorAACLtpInfo cleared() { return QorAACLtpInfo(); }

TEST(AacLtpPredict, LongBlocks) {
    Random random(1);
    for (int lag : {0, 1, 511, 1023, 1024, 1025, 2047, 2048}) {
        for (int bits : {10, 31}) {
            const std::int64_t top = (std::int64_t{1} << bits) - 1;
            Guarded<Qor32s> history(3072), estimate(2048);
            for (Qor32s& v : history.span()) v = Qor32s(random.integer(-top - 1, top));
            for (Qor32s& v : estimate.span()) v = 99;
            auto info = cleared();
            info.ltp_lag = lag;
            info.ltp_coef = 22438;
            ASSERT_EQ(qorsLongTermPredict_AAC_32s(history.data(), estimate.data(), &info, lag % 2),
                      qorStsNoErr);
            for (int i = 0; i < 2048; ++i) {
                const int at = 2048 - lag + i;
                const Qor32s expected =
                    at < 3072 ? wrap32((std::int64_t{history[at]} * 22438) >> 14) : 0;
                ASSERT_EQ(estimate[i], expected) << lag << " at " << i;
            }
        }
    }
}

TEST(AacLtpPredict, ShortBlocksTouchTheirWindowsOnly) {
    Random random(2);
    Guarded<Qor32s> history(3072), estimate(2048);
    for (Qor32s& v : history.span()) v = Qor32s(random.integer(-1000000, 1000000));
    for (Qor32s& v : estimate.span()) v = 99;
    auto info = cleared();
    info.ltp_coef = 13320;
    info.ltp_lag = 777;  // not read
    const int lags[8] = {0, -3, 1, 0, 255, 256, 2047, 2055};
    const int used[8] = {1, 1, 1, 0, 1, 1, 1, 1};
    for (int w = 0; w < 8; ++w) info.ltp_short_lag[w] = lags[w], info.ltp_short_used[w] = used[w];
    ASSERT_EQ(qorsLongTermPredict_AAC_32s(history.data(), estimate.data(), &info, 2), qorStsNoErr);
    for (int w = 0; w < 8; ++w)
        for (int i = 0; i < 256; ++i) {
            const int at = 2816 - lags[w] + i;
            Qor32s expected = at < 3072 ? wrap32((std::int64_t{history[at]} * 13320) >> 14) : 0;
            if (!used[w]) expected = 99;
            ASSERT_EQ(estimate[256 * w + i], expected) << w << " at " << i;
        }
}

TEST(AacLtpReconstruct, AddsTheMarkedBands) {
    Random random(3);
    for (int sequence = 0; sequence < 4; ++sequence) {
        for (int rate = 0; rate < 12; ++rate) {
            const auto flags = random.integers<Qor32s>(41, 0, 1);
            Guarded<Qor32s> used{std::span<const Qor32s>(flags.data(), sequence == 2 ? 8 : 41)};
            Guarded<Qor32s> estimate(1024), spectrum(1024);
            for (int i = 0; i < 1024; ++i) {
                estimate[i] = Qor32s(random.integer(-2147483648ll, 2147483647));
                spectrum[i] = Qor32s(random.integer(-2147483648ll, 2147483647));
            }
            auto expected = spectrum.copy();
            for (int i = 0; i < 1024; ++i) {
                bool add = false;
                if (sequence == 2) {
                    add = used[i / 128] && i % 128 < _pAACSwbOffsetTableShort[rate][8];
                } else {
                    for (int b = 0; b < 40; ++b)
                        if (i >= _pAACSwbOffsetTableLong[rate][b] &&
                            i < _pAACSwbOffsetTableLong[rate][b + 1])
                            add = used[b + 1];
                }
                if (add) expected[i] = wrap32(std::int64_t{expected[i]} + estimate[i]);
            }
            ASSERT_EQ(qorsLongTermReconstruct_AAC_32s(estimate.data(), spectrum.data(), used.data(),
                                                      sequence, rate),
                      qorStsNoErr);
            ASSERT_THAT(spectrum.copy(), ElementsAreArray(expected))
                << sequence << " rate " << rate;
        }
    }
}

TEST(AacLtpReconstruct, RateTwelvePassesAndHasNoBands) {
    const Signal estimate(1024, 5), used(41, 1);
    Signal spectrum(1024, 6);
    EXPECT_EQ(qorsLongTermReconstruct_AAC_32s(estimate.data(), spectrum.data(), used.data(), 0, 12),
              qorStsNoErr);
    EXPECT_THAT(spectrum, Each(6));
}

TEST(AacLtpUpdate, EqualsTheStepsToTheBit) {
    Random random(4);
    for (int sequence = 0; sequence < 4; ++sequence) {
        for (int shapes = 0; shapes < 4; ++shapes) {
            for (int bits : {16, 24, 31}) {
                const int shape = shapes & 1, prev = shapes >> 1;
                const std::int64_t top = (std::int64_t{1} << bits) - 1;
                Guarded<Qor32s> spectrum(1024), history(3072), work(6144);
                for (Qor32s& v : spectrum.span()) v = Qor32s(random.integer(-top - 1, top));
                for (Qor32s& v : history.span()) v = Qor32s(random.integer(-top - 1, top));
                const auto before = history.copy(), source = spectrum.copy();
                Signal expected(before.begin() + 1024, before.end());
                expected.resize(3072);
                const auto add = [&](int at, Qor32s v) {
                    expected[at] = Qor32s(std::clamp<std::int64_t>(std::int64_t{expected[at]} + v,
                                                                   -2147483648ll, 2147483647ll));
                };
                if (sequence != 2) {
                    const Signal f = reference::windowed(reference::inverseMdct(source, true),
                                                         sequence, shape, prev, Product::doubled);
                    for (int i = 0; i < 1024; ++i) add(1024 + i, f[i]);
                    for (int i = 0; i < 1024; ++i) expected[2048 + i] = f[1024 + i];
                } else {
                    for (int b = 0; b < 1024; b += 128) {
                        const Signal f = reference::windowed(
                            reference::inverseMdct(
                                Signal(source.begin() + b, source.begin() + b + 128), true),
                            2, shape, prev, Product::doubled);
                        for (int i = 0; i < 256; ++i) add(1472 + b + i, f[i]);
                    }
                }
                ASSERT_EQ(qorsLtpUpdate_AAC_32s(spectrum.data(), history.data(), sequence, shape,
                                                prev, work.data()),
                          qorStsNoErr);
                ASSERT_THAT(history.copy(), ElementsAreArray(expected)) << sequence << " " << bits;
                ASSERT_THAT(spectrum.copy(), ElementsAreArray(source));
            }
        }
    }
}

// The history's middle part is the signal itself: a sine through analysis and update comes back.
TEST(AacLtpUpdate, TheHistoryHoldsTheSignal) {
    Signal signal(1024 * 6), work(6144), history(3072, 0), spectrum(1024);
    for (std::size_t i = 0; i < signal.size(); ++i)
        signal[i] = Qor32s(std::lround(200000 * std::sin(0.05 * double(i))));
    for (int frame = 0; frame < 5; ++frame) {
        qorsMDCTFwd_AAC_32s(&signal[1024 * frame], spectrum.data(), signal.data(), 0, 1, 1,
                            work.data());
        ASSERT_EQ(qorsLtpUpdate_AAC_32s(spectrum.data(), history.data(), 0, 1, 1, work.data()), 0);
        for (int i = 0; frame > 0 && i < 1024; ++i)
            ASSERT_NEAR(history[1024 + i], signal[1024 * frame + i], 8) << i;
    }
}

TEST(AacLtp, ChecksInOrder) {
    Signal a(6144, 1), b(6144, 2);
    auto info = cleared();
    EXPECT_EQ(qorsLongTermPredict_AAC_32s(nullptr, b.data(), &info, 4), qorStsNullPtrErr);
    EXPECT_EQ(qorsLongTermPredict_AAC_32s(a.data(), nullptr, &info, 4), qorStsNullPtrErr);
    EXPECT_EQ(qorsLongTermPredict_AAC_32s(a.data(), b.data(), nullptr, 4), qorStsNullPtrErr);
    EXPECT_EQ(qorsLongTermPredict_AAC_32s(a.data(), b.data(), &info, 4), qorStsAacWinSeqErr);
    EXPECT_EQ(qorsLongTermPredict_AAC_32s(a.data(), b.data(), &info, -1), qorStsAacWinSeqErr);

    const auto reconstruct = [&](int null, int sequence, int rate) {
        return qorsLongTermReconstruct_AAC_32s(null == 0 ? nullptr : a.data(),
                                               null == 1 ? nullptr : b.data(),
                                               null == 2 ? nullptr : a.data(), sequence, rate);
    };
    for (int null : {0, 1, 2}) EXPECT_EQ(reconstruct(null, 4, 13), qorStsNullPtrErr);
    EXPECT_EQ(reconstruct(3, 4, 13), qorStsAacWinSeqErr);
    EXPECT_EQ(reconstruct(3, -1, 13), qorStsAacWinSeqErr);
    EXPECT_EQ(reconstruct(3, 0, 13), qorStsAacSampRateIdxErr);
    EXPECT_EQ(reconstruct(3, 0, -1), qorStsAacSampRateIdxErr);

    const auto update = [&](int null, int sequence, int shape, int prev) {
        return qorsLtpUpdate_AAC_32s(null == 0 ? nullptr : a.data(), null == 1 ? nullptr : b.data(),
                                     sequence, shape, prev, null == 2 ? nullptr : b.data());
    };
    for (int null : {0, 1, 2}) EXPECT_EQ(update(null, 4, 2, 2), qorStsNullPtrErr);
    EXPECT_EQ(update(3, 4, 2, 2), qorStsAacWinSeqErr);
    EXPECT_EQ(update(3, -1, 0, 0), qorStsAacWinSeqErr);
    EXPECT_EQ(update(3, 0, 2, 0), qorStsAacWinShapeErr);
    EXPECT_EQ(update(3, 0, 0, -1), qorStsAacWinShapeErr);
    EXPECT_THAT(b, Each(2));
}

}  // namespace
}  // namespace qorac
