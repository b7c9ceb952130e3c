#include "reference/aacmdct.h"

#include <algorithm>
#include <cmath>
#include <vector>

#include "aac/aac_aimdct.h"
#include "gmock/gmock.h"
#include "qorac.h"
#include "support/memory.h"
#include "support/random.h"

namespace qorac {
namespace {

using reference::Product;
using reference::Signal;
using test::Guarded;
using test::Random;
using testing::Each;
using testing::ElementsAreArray;

const double kPi = std::acos(-1.0);

Signal randomSignal(Random& random, int n, int bits) {
    const std::int64_t top = (std::int64_t{1} << bits) - 1;
    return random.integers<Qor32s>(n, -top - 1, top);
}

Qor16s pcm(std::int64_t sum) {
    const Qor32s v = reference::wrap32(sum + 4) >> 3;
    return Qor16s(std::clamp(v, -32768, 32767));
}

// --- cores ------------------------------------------------------------------------------------

class Core : public testing::TestWithParam<int> {};
INSTANTIATE_TEST_SUITE_P(AacMdct, Core, testing::Values(128, 1024));

const int kBits[] = {0, 3, 10, 16, 20, 22, 24, 26, 28, 30, 31};

TEST_P(Core, InverseEqualsTheStepsToTheBit) {
    const int n = GetParam();
    Random random(n);
    for (int bits : kBits) {
        for (int run = 0; run < 3; ++run) {
            const Signal x = randomSignal(random, n, bits);
            Guarded<Qor32s> all(2 * n);
            std::copy(x.begin(), x.end(), all.data());
            ownsMDCTInv_Radix2_32s_MPEG4(all.data(), 2 * n);
            ASSERT_THAT(all.copy(), ElementsAreArray(reference::inverseMdct(x, true))) << bits;

            const Signal f = reference::inverseMdct(x, false);
            Guarded<Qor32s> half{std::span<const Qor32s>(x)};
            ownsMDCTInv_Radix2_32s_I(half.data(), n);
            for (int j = 0; j < n / 2; ++j) {
                ASSERT_EQ(half[j], f[j]) << bits;
                ASSERT_EQ(half[n / 2 + j], f[n + j]) << bits;
            }
        }
    }
}

TEST_P(Core, ForwardEqualsTheStepsToTheBit) {
    const int n = GetParam();
    Random random(n + 1);
    for (int bits : kBits) {
        for (int run = 0; run < 3; ++run) {
            const Signal x = randomSignal(random, 2 * n, bits);
            for (bool measured : {false, true}) {
                Guarded<Qor32s> data{std::span<const Qor32s>(x)};
                (measured ? ownsMDCTFwd_Radix2_32s_I : ownsMDCTFwd_Radix2_32s)(data.data(), n);
                Signal out = data.copy();
                out.resize(n);
                ASSERT_THAT(out, ElementsAreArray(reference::forwardMdct(x, measured))) << bits;
            }
        }
    }
}

// x[i] = 2/N sum of X[k] cos(2 pi / N (i + n0) (k + 1/2)), N = 2n, n0 = (n + 1) / 2.
std::vector<double> exactInverse(const Signal& x) {
    const int n = int(x.size());
    std::vector<double> f(2 * n);
    for (int i = 0; i < 2 * n; ++i)
        for (int k = 0; k < n; ++k)
            if (x[k]) f[i] += x[k] * std::cos(kPi / n * (i + (n + 1) / 2.0) * (k + 0.5)) / n;
    return f;
}

TEST_P(Core, InverseIsTheStandardsTransform) {
    const int n = GetParam();
    Random random(n + 2);
    for (int bits : {16, 22}) {
        Signal x = randomSignal(random, n, bits);
        const auto exact = exactInverse(x);
        int shift;
        const Signal f = reference::inverseMdct(x, true, &shift);
        ASSERT_LT(shift, n == 1024 ? 6 : 3);
        x.resize(2 * n);
        ownsMDCTInv_Radix2_32s_MPEG4(x.data(), 2 * n);
        for (int i = 0; i < 2 * n; ++i) EXPECT_NEAR(x[i], exact[i], 2.0 + (1 << shift)) << i;
    }
}

TEST_P(Core, ForwardIsTheStandardsTransformWithItsFactorTwo) {
    const int n = GetParam();
    Random random(n + 3);
    const Signal x = randomSignal(random, 2 * n, 18);
    Signal plain = x, scaled = x;
    ownsMDCTFwd_Radix2_32s(plain.data(), n);
    ownsMDCTFwd_Radix2_32s_I(scaled.data(), n);
    for (int k = 0; k < n; ++k) {
        double sum = 0;
        for (int i = 0; i < 2 * n; ++i)
            sum += 2 * x[i] * std::cos(kPi / n * (i + (n + 1) / 2.0) * (k + 0.5));
        EXPECT_NEAR(plain[k], sum, n / 2.0) << k;
        EXPECT_NEAR(scaled[k], sum / (2 * n), 2) << k;
    }
}

// The measured sum decides by integer halvings: 2^29 - 1 is left alone, 2^29 loses a bit, as does
// 2^30 - 1.
TEST_P(Core, TheLimitOfTheBlockScaling) {
    const int n = GetParam();
    // Eight equal coefficients, one of which is moved until the sum passes the limit.
    for (std::int64_t limit : {std::int64_t{1} << 29, std::int64_t{1} << 30}) {
        const int shiftBelow = limit == std::int64_t{1} << 29 ? 0 : 1;
        bool below = false, at = false;
        double gain = 0;
        for (int m = 0; m < 8; ++m)
            gain +=
                double(reference::rotation(m, n).c + reference::rotation(m, n).s) / 4294967296.0;
        const int value = int(double(limit) / gain);
        for (int d = -64; d <= 64; ++d) {
            Signal x(n, 0);
            for (int m = 0; m < 8; ++m) x[2 * m] = value;
            x[0] += d;
            int shift;
            const Signal f = reference::inverseMdct(x, true, &shift);
            below |= shift == shiftBelow;
            at |= shift == shiftBelow + 1;
            x.resize(2 * n);
            ownsMDCTInv_Radix2_32s_MPEG4(x.data(), 2 * n);
            ASSERT_THAT(x, ElementsAreArray(f)) << d;
        }
        EXPECT_TRUE(below && at) << "the limit was not met";
    }
}

// Spectra whose scaling leaves no bits to scale back come out twice as loud; the forward transform
// does not jump.
TEST_P(Core, TheLoudestBlocksDouble) {
    const int n = GetParam(), last = n == 1024 ? 5 : 2;
    Random random(n + 4);
    const Signal x = randomSignal(random, n, 31);
    int seen = 0;
    for (int down = 0; down < 14; ++down) {
        Signal quiet = x;
        for (Qor32s& v : quiet) v >>= down;
        const auto exact = exactInverse(quiet);
        int shift;
        reference::inverseMdct(quiet, true, &shift);
        seen |= shift > last ? 2 : 1;
        Signal f = quiet;
        f.resize(2 * n);
        ownsMDCTInv_Radix2_32s_MPEG4(f.data(), 2 * n);
        double dot = 0, norm = 0;
        for (int i = 0; i < 2 * n; ++i) dot += f[i] * exact[i], norm += exact[i] * exact[i];
        EXPECT_NEAR(dot / norm, shift > last ? 2 : 1, 0.01) << "shift " << shift;
    }
    EXPECT_EQ(seen, 3);
}

TEST(AacMdctWindow, EntriesOfTheStandard) {
    // The first and the last entries of the Kaiser-Bessel derived windows.
    const auto longWindow = reference::risingWindow(1024, 1),
               shortWindow = reference::risingWindow(128, 1);
    EXPECT_EQ(longWindow[0], 628271);
    EXPECT_EQ(longWindow[1], 923387);
    EXPECT_EQ(longWindow[2], 1174117);
    EXPECT_EQ(longWindow[1023], 2147483556);
    EXPECT_EQ(shortWindow[0], 94051);
    EXPECT_EQ(shortWindow[1], 254850);
    EXPECT_EQ(shortWindow[2], 495460);
    EXPECT_EQ(shortWindow[127], 2147483646);
}

// --- synthesis --------------------------------------------------------------------------------

struct Frame {
    int sequence, shape, prevShape;
};

std::vector<Frame> allFrames() {
    std::vector<Frame> frames;
    for (int sequence : {0, 1, 2, 3})
        for (int shape : {0, 1})
            for (int prev : {0, 1}) frames.push_back({sequence, shape, prev});
    return frames;
}

TEST(AacMdctInv32s16s, EqualsTheStepsToTheBit) {
    Random random(11);
    for (const Frame& frame : allFrames()) {
        for (int bits : {4, 16, 20, 25, 31}) {
            for (int mode : {1, 2}) {
                const Signal x = randomSignal(random, 1024, bits);
                const Signal overlap = randomSignal(random, 1024, std::min(bits, 19));
                const Signal f = reference::windowedFrame(x, frame.sequence, frame.shape,
                                                          frame.prevShape, true, Product::full);
                Guarded<Qor32s> src{std::span<const Qor32s>(x)},
                    ov{std::span<const Qor32s>(overlap)};
                Guarded<Qor16s> dst(1023 * mode + 1);
                std::fill(dst.span().begin(), dst.span().end(), Qor16s(0x5A5A));
                ASSERT_EQ(qorsMDCTInv_AAC_32s16s(src.data(), dst.data(), ov.data(), frame.sequence,
                                                 frame.shape, frame.prevShape, mode),
                          qorStsNoErr);
                for (int n = 0; n < 1024; ++n) {
                    ASSERT_EQ(dst[n * mode], pcm(std::int64_t{f[n]} + overlap[n]))
                        << frame.sequence << " bits " << bits << " at " << n;
                    ASSERT_EQ(ov[n], f[1024 + n]) << frame.sequence << " at " << n;
                    if (mode == 2 && n < 1023) {
                        ASSERT_EQ(dst[2 * n + 1], 0x5A5A);
                    }
                }
            }
        }
    }
}

TEST(AacMdctInv32sI, EqualsTheStepsToTheBit) {
    Random random(12);
    for (const Frame& frame : allFrames()) {
        for (int bits : {4, 16, 21, 31}) {
            const Signal x = randomSignal(random, 1024, bits);
            const Signal overlap = randomSignal(random, 1024, bits);
            const Signal f = reference::windowedFrame(x, frame.sequence, frame.shape,
                                                      frame.prevShape, false, Product::halved);
            Guarded<Qor32s> data{std::span<const Qor32s>(x)}, ov{std::span<const Qor32s>(overlap)};
            ASSERT_EQ(qorsMDCTInv_AAC_32s_I(data.data(), ov.data(), frame.sequence, frame.shape,
                                            frame.prevShape, 1024),
                      qorStsNoErr);
            for (int n = 0; n < 1024; ++n) {
                ASSERT_EQ(data[n], reference::wrap32(std::int64_t{f[n]} + overlap[n])) << n;
                ASSERT_EQ(ov[n], f[1024 + n]) << n;
            }
        }
    }
}

TEST(AacMdctInv32s16s, ZerosGiveZerosAndTheClipIsExact) {
    Signal x(1024, 0), overlap(1024, 0);
    std::vector<Qor16s> dst(1024, 7);
    for (int sequence : {0, 1, 2, 3}) {
        EXPECT_EQ(qorsMDCTInv_AAC_32s16s(x.data(), dst.data(), overlap.data(), sequence, 1, 0, 1),
                  0);
        EXPECT_THAT(dst, Each(0));
        EXPECT_THAT(overlap, Each(0));
        EXPECT_THAT(x, Each(0));
    }
    // With an empty spectrum the output is the overlap alone.
    const std::vector<std::pair<Qor32s, Qor16s>> samples = {{262139, 32767},
                                                            {262140, 32767},
                                                            {1 << 30, 32767},
                                                            {-262144, -32768},
                                                            {-262148, -32768},
                                                            {-262149, -32768},
                                                            {-(1 << 30), -32768},
                                                            {3, 0},
                                                            {4, 1},
                                                            {-4, 0},
                                                            {-5, -1},
                                                            {262131, 32766},
                                                            {262132, 32767},
                                                            {2147483643, 32767}};
    for (std::size_t i = 0; i < samples.size(); ++i) overlap[i] = samples[i].first;
    EXPECT_EQ(qorsMDCTInv_AAC_32s16s(x.data(), dst.data(), overlap.data(), 0, 0, 0, 1), 0);
    for (std::size_t i = 0; i < samples.size(); ++i) EXPECT_EQ(dst[i], samples[i].second) << i;
}

TEST(AacMdctInv32s16s, ChecksInOrder) {
    Signal x(1024, 1), ov(1024, 2);
    std::vector<Qor16s> dst(1024, 3);
    const auto call = [&](Qor32s* s, Qor16s* d, Qor32s* o, int seq, int shape, int prev, int mode) {
        return qorsMDCTInv_AAC_32s16s(s, d, o, seq, shape, prev, mode);
    };
    EXPECT_EQ(call(nullptr, dst.data(), ov.data(), 4, 2, 2, 0), qorStsNullPtrErr);
    EXPECT_EQ(call(x.data(), nullptr, ov.data(), 4, 2, 2, 0), qorStsNullPtrErr);
    EXPECT_EQ(call(x.data(), dst.data(), nullptr, 4, 2, 2, 0), qorStsNullPtrErr);
    EXPECT_EQ(call(x.data(), dst.data(), ov.data(), 4, 2, 0, 0), qorStsAacWinSeqErr);
    EXPECT_EQ(call(x.data(), dst.data(), ov.data(), -1, 0, 0, 1), qorStsAacWinSeqErr);
    EXPECT_EQ(call(x.data(), dst.data(), ov.data(), 3, 2, 0, 0), qorStsAacWinShapeErr);
    EXPECT_EQ(call(x.data(), dst.data(), ov.data(), 3, 0, -1, 3), qorStsAacWinShapeErr);
    EXPECT_EQ(call(x.data(), dst.data(), ov.data(), 3, 0, 1, 0), qorStsAacPcmModeErr);
    EXPECT_EQ(call(x.data(), dst.data(), ov.data(), 3, 0, 1, 3), qorStsAacPcmModeErr);
    EXPECT_THAT(x, Each(1));
    EXPECT_THAT(ov, Each(2));
    EXPECT_THAT(dst, Each(3));
}

TEST(AacMdctInv32sI, ChecksInOrder) {
    Signal x(1024, 1), ov(1024, 2);
    EXPECT_EQ(qorsMDCTInv_AAC_32s_I(nullptr, ov.data(), 4, 2, 2, 0), qorStsNullPtrErr);
    EXPECT_EQ(qorsMDCTInv_AAC_32s_I(x.data(), nullptr, 4, 2, 2, 0), qorStsNullPtrErr);
    EXPECT_EQ(qorsMDCTInv_AAC_32s_I(x.data(), ov.data(), 4, 2, 0, 0), qorStsAacWinSeqErr);
    EXPECT_EQ(qorsMDCTInv_AAC_32s_I(x.data(), ov.data(), 0, 2, 0, 0), qorStsAacWinShapeErr);
    EXPECT_EQ(qorsMDCTInv_AAC_32s_I(x.data(), ov.data(), 0, 0, 2, 0), qorStsAacWinShapeErr);
    EXPECT_EQ(qorsMDCTInv_AAC_32s_I(x.data(), ov.data(), 0, 0, 0, 2048), qorStsSizeErr);
    EXPECT_EQ(qorsMDCTInv_AAC_32s_I(x.data(), ov.data(), 2, 0, 0, 128), qorStsSizeErr);
    EXPECT_THAT(x, Each(1));
    EXPECT_THAT(ov, Each(2));
}

// --- analysis ---------------------------------------------------------------------------------

TEST(AacMdctFwd32s, EqualsTheStepsToTheBit) {
    Random random(13);
    for (const Frame& frame : allFrames()) {
        const int n = frame.sequence == 2 ? 128 : 1024;
        for (int bits : {4, 18, 24, 31}) {
            const Signal x = randomSignal(random, 2 * n, bits);
            const Signal windowed = reference::windowed(x, frame.sequence, frame.shape,
                                                        frame.prevShape, Product::doubled);
            Guarded<Qor32s> src{std::span<const Qor32s>(x)};
            Guarded<Qor32s> dst(n), work(2 * n);
            Qor32s unread = 0;
            ASSERT_EQ(qorsMDCTFwd_AAC_32s(src.data(), dst.data(), &unread, frame.sequence,
                                          frame.shape, frame.prevShape, work.data()),
                      qorStsNoErr);
            ASSERT_THAT(dst.copy(), ElementsAreArray(reference::forwardMdct(windowed, false)));
            ASSERT_THAT(src.copy(), ElementsAreArray(x));
        }
    }
}

TEST(AacMdctFwd32sI, EqualsTheStepsToTheBit) {
    Random random(14);
    for (const Frame& frame : allFrames()) {
        const int n = frame.sequence == 2 ? 128 : 1024;
        for (int bits : {4, 18, 24, 31}) {
            const Signal x = randomSignal(random, 2 * n, bits);
            const Signal windowed = reference::windowed(x, frame.sequence, frame.shape,
                                                        frame.prevShape, Product::halved);
            Guarded<Qor32s> data{
                std::span<const Qor32s>(x)};  // 256 samples suffice for a short one
            ASSERT_EQ(qorsMDCTFwd_AAC_32s_I(data.data(), frame.sequence, frame.shape,
                                            frame.prevShape, 2048),
                      qorStsNoErr);
            Signal out = data.copy();
            out.resize(n);
            ASSERT_THAT(out, ElementsAreArray(reference::forwardMdct(windowed, true))) << bits;
        }
    }
}

TEST(AacMdctFwd, ChecksInOrder) {
    Signal x(2048, 1), dst(1024, 2), work(2048, 3);
    const auto call = [&](int null, int seq, int shape, int prev) {
        return qorsMDCTFwd_AAC_32s(null == 0 ? nullptr : x.data(), null == 1 ? nullptr : dst.data(),
                                   null == 2 ? nullptr : x.data(), seq, shape, prev,
                                   null == 3 ? nullptr : work.data());
    };
    for (int null : {0, 1, 2, 3}) EXPECT_EQ(call(null, 4, 2, 2), qorStsNullPtrErr);
    EXPECT_EQ(call(4, 4, 2, 2), qorStsAacWinSeqErr);
    EXPECT_EQ(call(4, -1, 0, 0), qorStsAacWinSeqErr);
    EXPECT_EQ(call(4, 0, 2, 0), qorStsAacWinShapeErr);
    EXPECT_EQ(call(4, 0, 0, -1), qorStsAacWinShapeErr);
    EXPECT_THAT(dst, Each(2));
    EXPECT_THAT(work, Each(3));

    EXPECT_EQ(qorsMDCTFwd_AAC_32s_I(nullptr, 4, 2, 2, 0), qorStsNullPtrErr);
    EXPECT_EQ(qorsMDCTFwd_AAC_32s_I(x.data(), 4, 2, 2, 0), qorStsAacWinSeqErr);
    EXPECT_EQ(qorsMDCTFwd_AAC_32s_I(x.data(), 2, 0, 2, 0), qorStsAacWinShapeErr);
    EXPECT_EQ(qorsMDCTFwd_AAC_32s_I(x.data(), 2, 2, 0, 0), qorStsAacWinShapeErr);
    EXPECT_EQ(qorsMDCTFwd_AAC_32s_I(x.data(), 2, 0, 0, 256), qorStsSizeErr);
    EXPECT_EQ(qorsMDCTFwd_AAC_32s_I(x.data(), 0, 0, 0, 1024), qorStsSizeErr);
    EXPECT_THAT(x, Each(1));
}

// --- chains -----------------------------------------------------------------------------------

// A signal through analysis and synthesis over all window sequences and changes of shape.
const Frame kStream[] = {{0, 0, 0}, {0, 1, 0}, {1, 1, 1}, {2, 0, 1}, {2, 1, 0},
                         {3, 1, 1}, {0, 0, 1}, {1, 0, 0}, {3, 1, 0}, {0, 1, 1}};

// Spectrum in window order of the 2048 samples at p.
template <typename Analyse>
Signal analyse(const Qor32s* p, const Frame& frame, Analyse forward) {
    if (frame.sequence != 2) return forward(Signal(p, p + 2048), frame.prevShape);
    Signal spectrum;
    for (int b = 0; b < 8; ++b) {
        const Qor32s* q = p + 448 + 128 * b;
        const Signal block = forward(Signal(q, q + 256), b ? frame.shape : frame.prevShape);
        spectrum.insert(spectrum.end(), block.begin(), block.end());
    }
    return spectrum;
}

TEST(AacMdctChain, AnalysisAndSynthesisToPcmRestoreTheSignal) {
    Random random(15);
    const int frames = int(std::size(kStream));
    Signal signal = randomSignal(random, 1024 * (frames + 1), 17);  // Q3
    Signal overlap(1024, 0), work(2048);
    for (int i = 0; i < frames; ++i) {
        const Frame& frame = kStream[i];
        Signal x = analyse(&signal[1024 * i], frame, [&](const Signal& s, int prev) {
            Signal spectrum(s.size() / 2);
            qorsMDCTFwd_AAC_32s(s.data(), spectrum.data(), s.data(), frame.sequence, frame.shape,
                                prev, work.data());
            return spectrum;
        });
        std::vector<Qor16s> dst(1024);
        ASSERT_EQ(qorsMDCTInv_AAC_32s16s(x.data(), dst.data(), overlap.data(), frame.sequence,
                                         frame.shape, frame.prevShape, 1),
                  qorStsNoErr);
        for (int n = 0; i > 0 && n < 1024; ++n)
            ASSERT_NEAR(dst[n], signal[1024 * i + n] / 8.0, 1.5) << i << " at " << n;
    }
}

TEST(AacMdctChain, ThePairInPlaceGivesTheSignalTimesTwoToMinusSeven) {
    Random random(16);
    const int frames = int(std::size(kStream));
    Signal signal = randomSignal(random, 1024 * (frames + 1), 29);
    Signal overlap(1024, 0);
    for (int i = 0; i < frames; ++i) {
        const Frame& frame = kStream[i];
        Signal x = analyse(&signal[1024 * i], frame, [&](Signal s, int prev) {
            const std::size_t n = s.size() / 2;
            s.resize(2048);
            qorsMDCTFwd_AAC_32s_I(s.data(), frame.sequence, frame.shape, prev, 2048);
            s.resize(n);
            return s;
        });
        ASSERT_EQ(qorsMDCTInv_AAC_32s_I(x.data(), overlap.data(), frame.sequence, frame.shape,
                                        frame.prevShape, 1024),
                  qorStsNoErr);
        for (int n = 0; i > 0 && n < 1024; ++n)
            ASSERT_NEAR(x[n], signal[1024 * i + n] / 128.0, 100) << i << " at " << n;
    }
}

}  // namespace
}  // namespace qorac
