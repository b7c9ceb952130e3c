#include <algorithm>
#include <cmath>
#include <complex>
#include <cstdint>
#include <cstring>
#include <numbers>
#include <vector>

#include "gtest/gtest.h"
#include "qorac.h"
#include "qorcore.h"
#include "sbr/sbreqmftabs.h"
#include "support/memory.h"
#include "support/random.h"

namespace qorac {
namespace {

using test::allocationCalls;
using test::FailingAllocator;
using test::Guarded;
using test::liveBlocks;
using test::Random;
using Exact = std::complex<double>;
using Spec = QorsFilterEncSpec_SBR_32f;

constexpr int kSpecSize = 1503, kInitSize = 4;

// A spec in memory of exactly the size told, `shift` bytes off a boundary of 16 and up to a guard
// page.
struct Block {
    explicit Block(int shift) : memory(kSpecSize + 16) {
        raw = memory.data() + 16;
        while (reinterpret_cast<std::uintptr_t>(raw) % 16 != std::uintptr_t(shift)) --raw;
        std::memset(memory.data(), 0x55, memory.size());
        EXPECT_EQ(qorsAnalysisFilterEncInit_SBR_32f(spec(), init.data()), qorStsNoErr);
    }
    Spec* spec() { return reinterpret_cast<Spec*>(raw); }
    Spec* aligned() {
        return reinterpret_cast<Spec*>((reinterpret_cast<std::uintptr_t>(raw) + 15) & ~15ull);
    }
    Guarded<Qor8u> memory;
    Guarded<Qor8u> init{kInitSize};
    Qor8u* raw;
};

std::vector<Exact> direct(const std::vector<float>& x) {
    std::vector<double> u(128);
    for (int n = 0; n < 128; ++n)
        for (int r = 0; r < 5; ++r)
            u[n] += double(x[639 - 128 * r - n]) * double(qmfWindow(n + 128 * r));
    std::vector<Exact> y(64);
    for (int k = 0; k < 64; ++k)
        for (int n = 0; n < 128; ++n)
            y[k] += std::polar(u[n], std::numbers::pi / 128 * (k + 0.5) * (2 * n + 1));
    return y;
}

std::vector<Qor32fc> analyse(const std::vector<float>& x, Spec* spec) {
    Guarded<float> source(x);
    Guarded<Qor32fc> result(64);
    EXPECT_EQ(qorsAnalysisFilterEnc_SBR_32f32fc(source.data(), result.data(), spec), qorStsNoErr);
    return result.copy();
}

// The greatest error over the greatest value.
double error(const std::vector<Qor32fc>& y, const std::vector<Exact>& expected) {
    double worst = 0, peak = 0;
    for (int k = 0; k < 64; ++k) {
        worst = std::max(worst, std::abs(Exact(y[k].re, y[k].im) - expected[k]));
        peak = std::max(peak, std::abs(expected[k]));
    }
    return worst / peak;
}

TEST(SbrEncoderBank, EqualsTheSums) {
    Random random(1);
    Block block(0);
    for (int round = 0; round < 30; ++round) {
        const auto x = random.reals<float>(640, -30000, 30000);
        EXPECT_LT(error(analyse(x, block.spec()), direct(x)), 1e-6) << round;
    }
}

// Every sample by itself; entry 0 of the window is 0.
TEST(SbrEncoderBank, EverySample) {
    Block block(0);
    for (int i = 0; i < 640; ++i) {
        std::vector<float> x(640);
        x[i] = 1;
        const auto y = analyse(x, block.spec());
        if (i == 639) {
            for (const Qor32fc& v : y) EXPECT_TRUE(v.re == 0 && v.im == 0);
        } else {
            ASSERT_LT(error(y, direct(x)), 1e-6) << i;
        }
    }
}

// A tone in the middle of sub-band 20 comes out there.
TEST(SbrEncoderBank, AToneStaysInItsSubband) {
    Block block(0);
    std::vector<float> x(640);
    for (int i = 0; i < 640; ++i) x[i] = float(std::cos(std::numbers::pi / 64 * 20.5 * i));
    const auto y = analyse(x, block.spec());
    const auto level = [&](int k) { return std::hypot(y[k].re, y[k].im); };
    for (int k = 0; k < 64; ++k) {
        if (std::abs(k - 20) > 1) {
            EXPECT_LT(level(k), level(20) * 1e-2) << k;
        }
    }
    EXPECT_GT(level(20), level(19));
    EXPECT_GT(level(20), level(21));
}

TEST(SbrEncoderBank, EveryAlignmentAndTheAlignedPointer) {
    Random random(2);
    const auto x = random.reals<float>(640, -1, 1);
    Block plain(0);
    const auto expected = analyse(x, plain.spec());
    for (int shift = 0; shift < 16; ++shift) {
        Block block(shift);
        for (Spec* spec : {block.spec(), block.aligned()}) {
            const auto y = analyse(x, spec);
            EXPECT_EQ(std::memcmp(y.data(), expected.data(), 64 * sizeof(Qor32fc)), 0) << shift;
            EXPECT_EQ(qorsAnalysisFilterEncFree_SBR_32f(spec), qorStsNoErr);  // stays usable
        }
    }
}

// Nothing lasts from call to call.
TEST(SbrEncoderBank, HasNoHistory) {
    Random random(3);
    Block block(4);
    const auto a = random.reals<float>(640, -1, 1), b = random.reals<float>(640, -1, 1);
    const auto first = analyse(a, block.spec());
    analyse(b, block.spec());
    const auto again = analyse(a, block.spec());
    EXPECT_EQ(std::memcmp(first.data(), again.data(), 64 * sizeof(Qor32fc)), 0);
}

TEST(SbrEncoderBank, Sizes) {
    Qor32s spec = -1, init = -1;
    EXPECT_EQ(qorsAnalysisFilterEncGetSize_SBR_32f(nullptr, &init), qorStsNullPtrErr);
    EXPECT_EQ(qorsAnalysisFilterEncGetSize_SBR_32f(&spec, nullptr), qorStsNullPtrErr);
    EXPECT_EQ(spec, -1);
    EXPECT_EQ(init, -1);
    EXPECT_EQ(qorsAnalysisFilterEncGetSize_SBR_32f(&spec, &init), qorStsNoErr);
    EXPECT_EQ(spec, kSpecSize);
    EXPECT_EQ(init, kInitSize);
}

TEST(SbrEncoderBank, TheRecord) {
    Block block(0);
    Qor32u id;
    std::memcpy(&id, block.aligned(), sizeof id);
    EXPECT_EQ(id, 0x434D416Au);
}

TEST(SbrEncoderBank, ChecksInOrder) {
    Block block(8);
    std::vector<float> x(640, 1);
    std::vector<Qor32fc> y(64, {7, 7});
    Qor8u init[kInitSize];
    EXPECT_EQ(qorsAnalysisFilterEncInit_SBR_32f(nullptr, init), qorStsNullPtrErr);
    EXPECT_EQ(qorsAnalysisFilterEncInit_SBR_32f(block.spec(), nullptr), qorStsNullPtrErr);
    EXPECT_EQ(qorsAnalysisFilterEncInitAlloc_SBR_32f(nullptr), qorStsNullPtrErr);
    EXPECT_EQ(qorsAnalysisFilterEncFree_SBR_32f(nullptr), qorStsNullPtrErr);

    const Qor32u other = 0x434D4168;
    std::memcpy(block.aligned(), &other, sizeof other);
    EXPECT_EQ(qorsAnalysisFilterEncFree_SBR_32f(block.spec()), qorStsContextMatchErr);
    EXPECT_EQ(qorsAnalysisFilterEnc_SBR_32f32fc(x.data(), y.data(), block.spec()),
              qorStsContextMatchErr);
    EXPECT_EQ(qorsAnalysisFilterEnc_SBR_32f32fc(nullptr, y.data(), block.spec()), qorStsNullPtrErr);
    EXPECT_EQ(qorsAnalysisFilterEnc_SBR_32f32fc(x.data(), nullptr, block.spec()), qorStsNullPtrErr);
    EXPECT_EQ(qorsAnalysisFilterEnc_SBR_32f32fc(x.data(), y.data(), nullptr), qorStsNullPtrErr);
    for (const Qor32fc& v : y) EXPECT_TRUE(v.re == 7 && v.im == 7);
}

TEST(SbrEncoderBank, Allocation) {
    const int before = liveBlocks();
    Random random(4);
    const auto x = random.reals<float>(640, -1, 1);
    Block plain(0);
    const auto expected = analyse(x, plain.spec());

    Spec* spec = nullptr;
    ASSERT_EQ(qorsAnalysisFilterEncInitAlloc_SBR_32f(&spec), qorStsNoErr);
    EXPECT_EQ(liveBlocks(), before + 1);
    const auto y = analyse(x, spec);
    EXPECT_EQ(std::memcmp(y.data(), expected.data(), 64 * sizeof(Qor32fc)), 0);
    EXPECT_EQ(qorsAnalysisFilterEncFree_SBR_32f(spec), qorStsNoErr);
    EXPECT_EQ(liveBlocks(), before);
}

TEST(SbrEncoderBank, FailedAllocations) {
    const int before = liveBlocks();
    Spec* spec = reinterpret_cast<Spec*>(8);
    {
        FailingAllocator none(0);
        EXPECT_EQ(qorsAnalysisFilterEncInitAlloc_SBR_32f(&spec), qorStsMemAllocErr);
    }
    EXPECT_EQ(spec, nullptr);
    EXPECT_EQ(liveBlocks(), before);
    {
        FailingAllocator onlyOne(1);
        EXPECT_EQ(qorsAnalysisFilterEncInitAlloc_SBR_32f(&spec), qorStsMemAllocErr);
    }
    ASSERT_NE(spec, nullptr);
    EXPECT_EQ(liveBlocks(), before + 1);
    qorFree(spec);  // the block is the caller's
    EXPECT_EQ(liveBlocks(), before);
}

TEST(SbrEncoderBank, DataOfAnyAlignmentAndNoAllocation) {
    Random random(5);
    Block block(0);
    const auto x = random.reals<float>(640, -1, 1);
    const auto expected = analyse(x, block.spec());
    const int calls = allocationCalls();
    for (int shift = 1; shift < 16; ++shift) {
        std::vector<float> source(656), result(144);
        std::copy(x.begin(), x.end(), source.begin() + shift);
        EXPECT_EQ(qorsAnalysisFilterEnc_SBR_32f32fc(
                      source.data() + shift, reinterpret_cast<Qor32fc*>(result.data() + shift),
                      block.spec()),
                  qorStsNoErr);
        EXPECT_EQ(std::memcmp(result.data() + shift, expected.data(), 64 * sizeof(Qor32fc)), 0);
    }
    EXPECT_EQ(allocationCalls(), calls);
}

TEST(SbrEncoderBank, Tables) {
    EXPECT_EQ(SBR_TAB_QMF_WINDOW_640_FP[1], -0.00055252871f);
    const auto expectUnit = [](const Qor32fc& w, double angle) {
        EXPECT_FLOAT_EQ(w.re, float(std::cos(angle)));
        EXPECT_FLOAT_EQ(w.im, float(std::sin(angle)));
    };
    for (int i = 0; i < 64; ++i) {
        expectUnit(SBR_TAB2_QMF_ENC_FP[i], -(4 * i + 1) * std::numbers::pi / 512);
        expectUnit(SBR_TAB3_QMF_ENC_FP[i], -i * std::numbers::pi / 128);
        expectUnit(SBR_TAB4_QMF_ENC_FP[i], (6 * i + 3) * std::numbers::pi / 512);
    }
}

}  // namespace
}  // namespace qorac
