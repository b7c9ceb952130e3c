#include <array>
#include <cmath>
#include <cstdlib>
#include <vector>

#include "frame/mp3window.h"
#include "gmock/gmock.h"
#include "qorac.h"
#include "support/memory.h"
#include "support/random.h"

namespace qorac {
namespace {

using test::Guarded;
using test::Random;

// C of Table C.1 in Q30: D / 32 to nine decimals, times 2^30.
Qor64s window(int i) {
    if (i > 256) return i % 64 == 0 ? window(512 - i) : -window(512 - i);
    const auto nearest = [](Qor64s n, Qor64s d) {
        const Qor64s q = (2 * std::llabs(n) + d) / (2 * d);
        return n < 0 ? -q : q;
    };
    const Qor64s decimals = nearest(kSynthesisWindow65536[i] * 1000000000ll, 65536 * 32);
    return nearest(decimals << 30, 1000000000);
}

// The standard's steps: window, 64 sums in exact integers, matrix.
std::array<long double, 32> plainAnalysis(const Qor16s* x, int step) {
    Qor64s y[64];
    for (int k = 0; k < 64; ++k) {
        Qor64s sum = 0;
        for (int r = 0; r < 8; ++r) sum += window(64 * r + k) * x[(511 - k - 64 * r) * step];
        y[k] = (sum + 0x80000) >> 20;
    }
    std::array<long double, 32> s{};
    for (int sb = 0; sb < 32; ++sb) {
        for (int k = 0; k < 64; ++k) {
            s[sb] += y[k] * std::cos((2 * sb + 1) * (k - 16) * 3.14159265358979323846L / 64) / 2;
        }
    }
    return s;
}

TEST(AnalysisWindow, KnownValues) {
    const int first[8][3] = {{0, -512, -512},
                             {109056, 111617, 113664},
                             {1042944, 1024000, 999424},
                             {3365887, 3051008, 2707456},
                             {38419456, 38395904, 38326272},
                             {3365887, 3652608, 3911680},
                             {1042944, 1056256, 1064960},
                             {109056, 106496, 103424}};
    for (int r = 0; r < 8; ++r) {
        for (int c = 0; c < 3; ++c) EXPECT_EQ(window(64 * r + c), first[r][c]) << r << ' ' << c;
    }
    EXPECT_EQ(window(32), -14848);
    EXPECT_EQ(window(96), -235008);
    EXPECT_EQ(window(160), -2638336);
    EXPECT_EQ(window(224), -19194368);
}

TEST(AnalysisPqmf, EqualsThePlainSums) {
    Random random(1);
    for (int run = 0; run < 60; ++run) {
        const int step = 1 + run % 2;
        auto pcm = random.integers<Qor16s>(511 * step + 1, -32768, 32767);
        for (std::size_t i = 0; i < pcm.size(); ++i) {
            const double phase = double(i) * run / 40;
            if (run % 3 == 1) pcm[i] = Qor16s(32767 * std::cos(phase * phase / 500));
            if (run % 3 == 2) pcm[i] = std::sin(phase) < 0 ? -32768 : 32767;
        }
        Guarded<Qor16s> in(std::span<const Qor16s>(pcm), run % 4 < 2);
        Guarded<Qor32s> out(32, run % 4 < 2);
        ASSERT_EQ(qorsAnalysisPQMF_MP3_16s32s(in.data(), out.data(), step), qorStsNoErr);
        const auto expected = plainAnalysis(pcm.data(), step);
        for (int sb = 0; sb < 32; ++sb) EXPECT_NEAR(out[sb], expected[sb], 0.50001) << sb;
    }
}

TEST(AnalysisPqmf, LeavesTheOtherChannelAlone) {
    Random random(2);
    auto pcm = random.integers<Qor16s>(1024, -32768, 32767);
    std::array<Qor32s, 32> out, again;
    qorsAnalysisPQMF_MP3_16s32s(pcm.data(), out.data(), 2);
    for (int i = 1; i < 1024; i += 2) pcm[i] = Qor16s(~pcm[i]);
    qorsAnalysisPQMF_MP3_16s32s(pcm.data(), again.data(), 2);
    EXPECT_EQ(out, again);
}

TEST(AnalysisPqmf, AnImpulseAtTheCentreGivesTheCosineOfEverySubBand) {
    std::array<Qor16s, 512> pcm{};
    pcm[255] = 20000;
    std::array<Qor32s, 32> out;
    qorsAnalysisPQMF_MP3_16s32s(pcm.data(), out.data(), 1);
    const double size = std::sqrt(0.5) / 2 * 20000 * 38419456 / 1048576;
    const int sign[4] = {1, -1, -1, 1};
    for (int sb = 0; sb < 32; ++sb) EXPECT_NEAR(out[sb], sign[sb % 4] * size, 1) << sb;
}

TEST(AnalysisPqmf, ErrorsInOrder) {
    std::array<Qor16s, 1024> pcm{};
    std::array<Qor32s, 32> out;
    out.fill(7);
    EXPECT_EQ(qorsAnalysisPQMF_MP3_16s32s(nullptr, out.data(), 0), qorStsNullPtrErr);
    EXPECT_EQ(qorsAnalysisPQMF_MP3_16s32s(pcm.data(), nullptr, 3), qorStsNullPtrErr);
    for (const int channels : {-1, 0, 3}) {
        EXPECT_EQ(qorsAnalysisPQMF_MP3_16s32s(pcm.data(), out.data(), channels), qorStsBadArgErr);
    }
    EXPECT_THAT(out, testing::Each(7));
}

}  // namespace
}  // namespace qorac
