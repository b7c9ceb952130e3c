#include "reference/fdp.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <functional>
#include <vector>

#include "gmock/gmock.h"
#include "qorac.h"
#include "support/memory.h"
#include "support/random.h"

namespace qorac {
namespace {

using reference::PredictorLine;
using reference::toBits;
using test::FailingAllocator;
using test::Guarded;
using test::liveBlocks;
using test::Random;
using testing::Each;
using testing::ElementsAreArray;

constexpr QorsFDPState_32f* const kNone = nullptr;

// A state in memory of exactly its size, off alignment by `shift`.
struct State {
    explicit State(Qor32s len, std::size_t shift = 0) : memory(std::size_t(size(len)) + shift) {
        EXPECT_EQ(qorsFDPInit_32f(&state, len, memory.data() + shift), qorStsNoErr);
    }
    static Qor32s size(Qor32s len) {
        Qor32s bytes = 0;
        EXPECT_EQ(qorsFDPGetSize_32f(len, &bytes), qorStsNoErr);
        return bytes;
    }

    Guarded<Qor8u> memory;
    QorsFDPState_32f* state = nullptr;
};

// --- spectra ------------------------------------------------------------------------------------

// Lines that turn on steadily, as a tone makes them, in noise of a hundredth of their size.
struct Tone {
    Random random{11};
    std::vector<double> speed, phase;

    explicit Tone(std::size_t len)
        : speed(random.reals<double>(len, 0, 3.1)), phase(random.reals<double>(len, 0, 6)) {}

    std::vector<float> next(double size) {
        std::vector<float> x(speed.size());
        for (std::size_t i = 0; i < x.size(); ++i) {
            phase[i] += speed[i];
            x[i] = float(size * (std::cos(phase[i]) + random.real(-0.01, 0.01)));
        }
        return x;
    }
};

// NaN equals NaN here: its sign and payload depend on the order of operands.
bool same(float a, float b) { return toBits(a) == toBits(b) || (std::isnan(a) && std::isnan(b)); }

void expectSame(const std::vector<float>& got, const std::vector<float>& expected) {
    ASSERT_EQ(got.size(), expected.size());
    for (std::size_t i = 0; i < got.size(); ++i)
        ASSERT_TRUE(same(got[i], expected[i]))
            << i << ": " << std::hexfloat << got[i] << ' ' << expected[i];
}

TEST(Fdp, TheFactorsOfTheReciprocal) {
    const float first[] = {0.953125f, 0.9453125f, 0.9375f, 0.9296875f};
    for (int i = 0; i < 4; ++i) EXPECT_EQ(PredictorLine::mantissaFactor(i), first[i]);
    EXPECT_EQ(PredictorLine::mantissaFactor(127), 0.478515625f);
    EXPECT_EQ(PredictorLine::exponentFactor(127), 0);
    EXPECT_EQ(PredictorLine::exponentFactor(128), 0.5f);
    EXPECT_EQ(PredictorLine::exponentFactor(254), std::ldexp(1.0f, -127));
    EXPECT_EQ(PredictorLine::exponentFactor(255), 0);
}

TEST(Fdp, ForwardEqualsThePlainPredictorToTheBit) {
    // From energies that are denormal up to such that overflow. 8e18 squared has exponent
    // 254 - 127.
    for (const double size : {1e-22, 0.3, 1.5, 40.0, 3000.0, 3e7, 8e18, 2e19, 3e38}) {
        for (const Qor32s len : {1, 3, 4, 15, 16, 17, 31, 100}) {
            State state(len, std::size_t(len) % 7);
            std::vector<PredictorLine> lines(static_cast<std::size_t>(len));
            Tone tone(lines.size());
            for (int frame = 0; frame < 60; ++frame) {
                Guarded<Qor32f> src(tone.next(size)), dst(lines.size());
                ASSERT_GE(qorsFDPFwd_32f(src.data(), dst.data(), state.state), 0);
                std::vector<float> expected;
                for (std::size_t i = 0; i < lines.size(); ++i)
                    expected.push_back(lines[i].forward(src[i]));
                expectSame(dst.copy(), expected);
            }
        }
    }
}

TEST(Fdp, InverseEqualsThePlainPredictorToTheBit) {
    Random random(2);
    const std::vector<Qor32s> offsets = {4, 8, 12, 12, 20, 31, 47, 48, 1100, 2200, 2300};
    const Qor32s bands = Qor32s(offsets.size()) - 1, len = 2310;
    for (const double size : {1e-20, 2.0, 5000.0, 1e19}) {
        State state(len);
        std::vector<PredictorLine> lines(static_cast<std::size_t>(len));
        Tone tone(lines.size());
        for (int frame = 0; frame < 20; ++frame) {
            Guarded<Qor32f> signal(tone.next(size));
            if (frame % 3 == 0)
                for (std::size_t i = 0; i < lines.size(); i += 5) signal[i] = -0.0f;
            Guarded<Qor8u> used(random.integers<Qor8u>(std::size_t(bands), 0, 1));
            if (used[1] != 0) used[1] = 128;
            std::vector<float> expected = signal.copy();
            for (std::size_t b = 0; b < std::size_t(bands); ++b)
                for (auto i = std::size_t(offsets[b]); i < std::size_t(offsets[b + 1]); ++i)
                    expected[i] = lines[i].inverse(expected[i], used[b] != 0);
            ASSERT_GE(
                qorsFDPInv_32f_I(signal.data(), offsets.data(), bands, used.data(), state.state),
                0);
            expectSame(signal.copy(), expected);
        }
        // Lines outside the bands have not adapted, and go on from where they were.
        for (int frame = 0; frame < 2; ++frame) {
            const std::vector<float> x = tone.next(size);
            std::vector<float> residual(lines.size()), expected;
            ASSERT_GE(qorsFDPFwd_32f(x.data(), residual.data(), state.state), 0);
            for (std::size_t i = 0; i < lines.size(); ++i)
                expected.push_back(lines[i].forward(x[i]));
            expectSame(residual, expected);
        }
    }
}

TEST(Fdp, BandsMayOverlapAndLeaveGaps) {
    const std::vector<Qor32s> offsets = {0, 8, 4, 12, 20, 16, 24};
    const Qor32s bands = Qor32s(offsets.size()) - 1;
    const std::vector<Qor8u> used(std::size_t(bands), 1);
    State state(32);
    std::vector<PredictorLine> lines(32);
    Tone tone(lines.size());
    for (int frame = 0; frame < 10; ++frame) {
        std::vector<float> signal = tone.next(1000), expected = signal;
        for (std::size_t b = 0; b < std::size_t(bands); ++b)
            for (Qor32s i = offsets[b]; i < offsets[b + 1]; ++i)
                expected[std::size_t(i)] =
                    lines[std::size_t(i)].inverse(expected[std::size_t(i)], true);
        ASSERT_GE(qorsFDPInv_32f_I(signal.data(), offsets.data(), bands, used.data(), state.state),
                  0);
        expectSame(signal, expected);
    }
}

TEST(Fdp, BothSidesStayInStep) {
    // Integers of 16 bits: the decoder's sum is exactly the encoder's value.
    constexpr std::size_t kLen = 672;
    std::vector<Qor32s> offsets;
    for (Qor32s line = 0; line <= Qor32s(kLen); line += 16) offsets.push_back(line);
    const Qor32s bands = Qor32s(offsets.size()) - 1;
    State encoder(kLen), decoder(kLen);
    Tone tone(kLen);
    Random random(3);
    double energy = 0, residualEnergy = 0;
    for (int frame = 0; frame < 1000; ++frame) {
        std::vector<float> x = tone.next(3000), residual(kLen);
        for (float& line : x) line = std::round(line);
        qorsFDPFwd_32f(x.data(), residual.data(), encoder.state);
        for (std::size_t i = 0; i < kLen; ++i) {
            energy += double(x[i]) * x[i];
            residualEnergy += double(residual[i]) * residual[i];
        }
        const auto used = random.integers<Qor8u>(std::size_t(bands), 0, 1);
        std::vector<float> sent = x;
        for (std::size_t i = 0; i < kLen; ++i)
            if (used[i / 16]) sent[i] = residual[i];
        qorsFDPInv_32f_I(sent.data(), offsets.data(), bands, used.data(), decoder.state);
        ASSERT_THAT(sent, ElementsAreArray(x)) << frame;
        const Qor32s group = Qor32s(random.integer(0, 29));
        for (auto* side : {encoder.state, decoder.state}) {
            if (frame % 50 == 20) qorsFDPResetGroup_32f(30, group, side);
            if (frame % 400 == 399) qorsFDPReset_32f(side);
        }
    }
    EXPECT_LT(residualEnergy, 0.2 * energy);  // it predicts
}

TEST(Fdp, FreshStatesAndLowEnergiesPredictNothing) {
    constexpr std::size_t kLen = 40;
    const Qor32s offsets[] = {0, kLen};
    const Qor8u used = 1, unused = 0;
    // With this size the energies stay below 2; with twice the size they do not.
    for (const float size : {0.4f, 0.8f}) {
        State encoder(kLen), decoder(kLen);
        const std::vector<float> x(kLen, size);
        bool predicted = false;
        for (int frame = 0; frame < 100; ++frame) {
            std::vector<float> residual(kLen), kept = x;
            qorsFDPFwd_32f(x.data(), residual.data(), encoder.state);
            predicted = predicted || residual != x;
            if (frame == 0) {
                EXPECT_EQ(residual, x);
            }
            // Bands that are not predicted keep their values and adapt.
            qorsFDPInv_32f_I(kept.data(), offsets, 1, &unused, decoder.state);
            EXPECT_EQ(kept, x);
        }
        EXPECT_EQ(predicted, size > 0.5f);
        std::vector<float> residual(kLen);
        qorsFDPFwd_32f(x.data(), residual.data(), encoder.state);
        qorsFDPInv_32f_I(residual.data(), offsets, 1, &used, decoder.state);
        for (std::size_t i = 0; i < kLen; ++i) EXPECT_NEAR(residual[i], x[i], 1e-6);
    }
}

TEST(Fdp, ResetsClearTheLinesThatTheyName) {
    constexpr Qor32s kLen = 75;
    const Qor32s offsets[] = {3, 10, 10, 33, 34, 75};
    const Qor8u flags[] = {1, 1, 0, 7, 0};
    using Reset = std::function<QorStatus(QorsFDPState_32f*)>;
    using Hit = std::function<bool(Qor32s)>;
    const std::pair<Reset, Hit> cases[] = {
        {[](auto* s) { return qorsFDPReset_32f(s); }, [](Qor32s) { return true; }},
        {[](auto* s) { return qorsFDPResetGroup_32f(30, 4, s); },
         [](Qor32s i) { return i % 30 == 4; }},
        {[](auto* s) { return qorsFDPResetGroup_32f(1, 70, s); }, [](Qor32s i) { return i >= 70; }},
        {[](auto* s) { return qorsFDPResetGroup_32f(0x7FFFFFFF, 74, s); },
         [](Qor32s i) { return i == 74; }},
        {[](auto* s) { return qorsFDPResetGroup_32f(30, kLen, s); }, [](Qor32s) { return false; }},
        {[](auto* s) { return qorsFDPResetGroup_32f(1, 0x7FFFFFFF, s); },
         [](Qor32s) { return false; }},
        {[&](auto* s) { return qorsFDPResetSfb_32f(offsets, 5, flags, s); },
         [](Qor32s i) { return (i >= 3 && i < 10) || i == 33; }},
    };
    for (const auto& [reset, hit] : cases) {
        State state(kLen);
        std::vector<PredictorLine> lines(kLen);
        Tone tone(kLen);
        std::vector<float> residual(kLen);
        for (int frame = 0; frame < 12; ++frame) {
            if (frame == 8) {
                EXPECT_EQ(reset(state.state), qorStsNoErr);
                for (Qor32s i = 0; i < kLen; ++i)
                    if (hit(i)) lines[std::size_t(i)] = {};
            }
            const std::vector<float> x = tone.next(900);
            qorsFDPFwd_32f(x.data(), residual.data(), state.state);
            std::vector<float> expected;
            for (std::size_t i = 0; i < kLen; ++i) expected.push_back(lines[i].forward(x[i]));
            expectSame(residual, expected);
        }
    }
}

TEST(Fdp, MisalignedSignalsWarnAndGiveTheSame) {
    constexpr std::size_t kLen = 50;
    const Qor32s offsets[] = {0, 20, 50};
    const Qor8u used[] = {1, 1};
    alignas(16) std::array<Qor32f, kLen + 4> src{}, dst{};
    for (std::size_t srcShift = 0; srcShift < 4; ++srcShift) {
        for (std::size_t dstShift = 0; dstShift < 4; ++dstShift) {
            State aligned(kLen), shifted(kLen);
            Tone tone(kLen);
            for (int frame = 0; frame < 6; ++frame) {
                const std::vector<float> x = tone.next(100);
                std::vector<float> expected(kLen);
                qorsFDPFwd_32f(x.data(), expected.data(), aligned.state);
                std::copy(x.begin(), x.end(), src.begin() + srcShift);
                EXPECT_EQ(qorsFDPFwd_32f(&src[srcShift], &dst[dstShift], shifted.state),
                          srcShift + dstShift == 0 ? qorStsNoErr : qorStsAlignmentWarn);
                EXPECT_TRUE(std::equal(expected.begin(), expected.end(), &dst[dstShift]));
                // In place, on either side.
                State a(kLen), b(kLen);
                std::vector<float> inPlace = x;
                qorsFDPFwd_32f(inPlace.data(), inPlace.data(), a.state);
                EXPECT_EQ(qorsFDPInv_32f_I(&src[srcShift], offsets, 2, used, b.state),
                          srcShift == 0 ? qorStsNoErr : qorStsAlignmentWarn);
                EXPECT_EQ(inPlace, x);
                EXPECT_TRUE(std::equal(x.begin(), x.end(), &src[srcShift]));
            }
        }
    }
}

TEST(Fdp, MakingAndEndingStates) {
    Qor32s size = 0;
    EXPECT_EQ(qorsFDPGetSize_32f(0, nullptr), qorStsNullPtrErr);
    for (const Qor32s len : {0, -1, 89478474, 0x7FFFFFFF})
        EXPECT_EQ(qorsFDPGetSize_32f(len, &size), qorStsSizeErr) << len;
    EXPECT_EQ(size, 0);
    for (const Qor32s len : {1, 8, 672, 1024, 89478473}) {
        EXPECT_EQ(qorsFDPGetSize_32f(len, &size), qorStsNoErr);
        EXPECT_EQ(size, len * 24 + 288);
    }

    std::array<Qor8u, 1000> memory{};
    QorsFDPState_32f* state = nullptr;
    EXPECT_EQ(qorsFDPInit_32f(nullptr, 0, memory.data()), qorStsNullPtrErr);
    EXPECT_EQ(qorsFDPInit_32f(&state, 0, nullptr), qorStsNullPtrErr);
    EXPECT_EQ(qorsFDPInit_32f(&state, 0, memory.data()), qorStsSizeErr);
    EXPECT_EQ(state, nullptr);
    EXPECT_THAT(memory, Each(0));
    for (std::size_t shift = 0; shift < 33; ++shift) {
        EXPECT_EQ(qorsFDPInit_32f(&state, 16, &memory[shift]), qorStsNoErr);
        const auto address = reinterpret_cast<std::uintptr_t>(state);
        EXPECT_EQ(address % 32, 0u);
        EXPECT_LT(address - reinterpret_cast<std::uintptr_t>(&memory[shift]), 32u);
    }

    EXPECT_EQ(qorsFDPInitAlloc_32f(nullptr, 0), qorStsNullPtrErr);
    QorsFDPState_32f* const before = state;
    EXPECT_EQ(qorsFDPInitAlloc_32f(&state, 0), qorStsSizeErr);
    const int live = liveBlocks();
    {
        FailingAllocator failing(0);
        EXPECT_EQ(qorsFDPInitAlloc_32f(&state, 16), qorStsMemAllocErr);
    }
    EXPECT_EQ(state, before);

    // Free of memory of the caller's ends the state and releases nothing.
    EXPECT_EQ(qorsFDPFree_32f(nullptr), qorStsNullPtrErr);
    EXPECT_EQ(qorsFDPFree_32f(state), qorStsNoErr);
    EXPECT_EQ(qorsFDPFree_32f(state), qorStsContextMatchErr);
    EXPECT_EQ(qorsFDPReset_32f(state), qorStsContextMatchErr);
    EXPECT_EQ(liveBlocks(), live);

    EXPECT_EQ(qorsFDPInitAlloc_32f(&state, 672), qorStsNoErr);
    EXPECT_EQ(liveBlocks(), live + 1);
    std::vector<float> x(672, 5), residual(672);
    EXPECT_GE(qorsFDPFwd_32f(x.data(), residual.data(), state), 0);
    EXPECT_EQ(residual, x);
    EXPECT_EQ(qorsFDPFree_32f(state), qorStsNoErr);
    EXPECT_EQ(liveBlocks(), live);
}

TEST(Fdp, TheAddressOfTheMemoryStandsForItsState) {
    for (const std::size_t shift : {0u, 1u, 4u, 31u}) {
        State made(16, shift);
        auto* const raw = reinterpret_cast<QorsFDPState_32f*>(made.memory.data() + shift);
        Tone tone(16);
        std::vector<float> residual(16), same(16);
        const auto encode = [&](QorsFDPState_32f* state, std::vector<float>& out) {
            Tone again = tone;
            EXPECT_EQ(qorsFDPReset_32f(state), qorStsNoErr);
            for (int frame = 0; frame < 20; ++frame) {
                const std::vector<float> x = again.next(1000);
                EXPECT_GE(qorsFDPFwd_32f(x.data(), out.data(), state), 0);
            }
        };
        encode(made.state, residual);
        encode(raw, same);
        EXPECT_EQ(same, residual);
        const Qor32s offsets[2] = {0, 16};
        const Qor8u flag = 1;
        EXPECT_EQ(qorsFDPResetGroup_32f(30, 0, raw), qorStsNoErr);
        EXPECT_EQ(qorsFDPResetSfb_32f(offsets, 1, &flag, raw), qorStsNoErr);
        EXPECT_GE(qorsFDPInv_32f_I(same.data(), offsets, 1, &flag, raw), 0);
        EXPECT_EQ(qorsFDPFree_32f(raw), qorStsNoErr);
        EXPECT_EQ(qorsFDPReset_32f(made.state), qorStsContextMatchErr);
    }
}

// Six arrays, each at a multiple of 32 bytes from the one before, then length, id and ownership.
TEST(Fdp, StateRecord) {
    struct Record {
        Qor32f* array[6];
        Qor32s len, id, ownsMemory;
    };
    const auto recordOf = [](const QorsFDPState_32f* state) {
        Record record;
        std::memcpy(static_cast<void*>(&record), state, sizeof record);
        return record;
    };
    State state(21, 3);
    const Record own = recordOf(state.state);
    EXPECT_EQ(own.len, 21);
    EXPECT_EQ(own.id, 59);
    EXPECT_EQ(own.ownsMemory, 0);
    for (int a = 0; a < 6; ++a) {
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(own.array[a]) % 32, 0u);
        if (a > 0) {
            EXPECT_GE(own.array[a], own.array[a - 1] + 21);
        }
        for (int i = 0; i < 21; ++i) EXPECT_EQ(own.array[a][i], a == 2 || a == 3 ? 1 : 0);
    }
    EXPECT_LE(static_cast<void*>(own.array[5] + 21),
              static_cast<void*>(state.memory.data() + state.memory.size()));

    QorsFDPState_32f* allocated = nullptr;
    ASSERT_EQ(qorsFDPInitAlloc_32f(&allocated, 1), qorStsNoErr);
    EXPECT_EQ(recordOf(allocated).ownsMemory, 1);
    EXPECT_EQ(qorsFDPFree_32f(allocated), qorStsNoErr);
}

TEST(Fdp, ErrorsInOrder) {
    std::array<Qor8u, 1024> memory{};
    QorsFDPState_32f* state = nullptr;
    ASSERT_EQ(qorsFDPInit_32f(&state, 4, memory.data()), qorStsNoErr);
    ASSERT_EQ(qorsFDPFree_32f(state), qorStsNoErr);
    const auto before = memory;
    const Qor32s offsets[] = {0, 4};
    const Qor8u flag = 1;
    std::array<Qor32f, 4> x = {1, 2, 3, 4}, y = {7, 7, 7, 7};

    EXPECT_EQ(qorsFDPReset_32f(nullptr), qorStsNullPtrErr);
    EXPECT_EQ(qorsFDPReset_32f(state), qorStsContextMatchErr);
    EXPECT_EQ(qorsFDPResetGroup_32f(0, -1, kNone), qorStsNullPtrErr);
    EXPECT_EQ(qorsFDPResetGroup_32f(0, -1, state), qorStsSizeErr);
    EXPECT_EQ(qorsFDPResetGroup_32f(0, 0, state), qorStsStepErr);
    EXPECT_EQ(qorsFDPResetGroup_32f(1, 0, state), qorStsContextMatchErr);
    EXPECT_EQ(qorsFDPResetSfb_32f(nullptr, 0, &flag, state), qorStsNullPtrErr);
    EXPECT_EQ(qorsFDPResetSfb_32f(offsets, 0, nullptr, state), qorStsNullPtrErr);
    EXPECT_EQ(qorsFDPResetSfb_32f(offsets, 0, &flag, kNone), qorStsNullPtrErr);
    EXPECT_EQ(qorsFDPResetSfb_32f(offsets, 0, &flag, state), qorStsSizeErr);
    EXPECT_EQ(qorsFDPResetSfb_32f(offsets, 1, &flag, state), qorStsContextMatchErr);
    EXPECT_EQ(qorsFDPFwd_32f(nullptr, y.data(), state), qorStsNullPtrErr);
    EXPECT_EQ(qorsFDPFwd_32f(x.data(), nullptr, state), qorStsNullPtrErr);
    EXPECT_EQ(qorsFDPFwd_32f(x.data(), y.data(), kNone), qorStsNullPtrErr);
    EXPECT_EQ(qorsFDPFwd_32f(x.data(), y.data(), state), qorStsContextMatchErr);
    EXPECT_EQ(qorsFDPInv_32f_I(nullptr, offsets, 0, &flag, state), qorStsNullPtrErr);
    EXPECT_EQ(qorsFDPInv_32f_I(y.data(), nullptr, 0, &flag, state), qorStsNullPtrErr);
    EXPECT_EQ(qorsFDPInv_32f_I(y.data(), offsets, 0, nullptr, state), qorStsNullPtrErr);
    EXPECT_EQ(qorsFDPInv_32f_I(y.data(), offsets, 0, &flag, kNone), qorStsNullPtrErr);
    EXPECT_EQ(qorsFDPInv_32f_I(y.data(), offsets, 0, &flag, state), qorStsSizeErr);
    EXPECT_EQ(qorsFDPInv_32f_I(y.data(), offsets, 1, &flag, state), qorStsContextMatchErr);
    EXPECT_THAT(y, Each(7));
    EXPECT_EQ(memory, before);

    // A valid state with another bad argument stays as it was.
    ASSERT_EQ(qorsFDPInit_32f(&state, 4, memory.data()), qorStsNoErr);
    qorsFDPFwd_32f(x.data(), y.data(), state);
    const auto ready = memory;
    EXPECT_EQ(qorsFDPResetGroup_32f(0, 0, state), qorStsStepErr);
    EXPECT_EQ(qorsFDPResetSfb_32f(offsets, 0, &flag, state), qorStsSizeErr);
    EXPECT_EQ(qorsFDPInv_32f_I(y.data(), offsets, 0, &flag, state), qorStsSizeErr);
    EXPECT_EQ(memory, ready);
}

}  // namespace
}  // namespace qorac
