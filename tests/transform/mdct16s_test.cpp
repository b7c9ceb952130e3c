#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <numbers>
#include <vector>

#include "gmock/gmock.h"
#include "qorac.h"
#include "reference/cosine.h"
#include "support/memory.h"
#include "support/random.h"
#include "transform/fft16s.h"

namespace qorac {
namespace {

using test::Guarded;
using test::GuardedBytes;
using testing::Each;

struct Sizes {
    Qor32s spec = -1, init = -1, buffer = -1;
    bool operator==(const Sizes&) const = default;
};

Sizes sizesOf(int len) {
    Sizes sizes;
    EXPECT_EQ(qorsMDCTFwdGetSize_16s(len, &sizes.spec, &sizes.init, &sizes.buffer), qorStsNoErr);
    return sizes;
}

// A spec and its work memory in blocks of exactly the reported sizes that end at guard pages.
class Transform {
  public:
    explicit Transform(int len)
        : sizes_(sizesOf(len)),
          specMemory_(std::size_t(sizes_.spec)),
          initMemory_(std::size_t(sizes_.init)),
          buffer_(std::size_t(sizes_.buffer)) {
        EXPECT_EQ(qorsMDCTFwdInit_16s(&spec_, len, specMemory_.data(), initMemory_.data()),
                  qorStsNoErr);
    }

    QorsMDCTFwdSpec_16s* spec() { return spec_; }
    const Sizes& sizes() const { return sizes_; }

    std::vector<Qor16s> operator()(const std::vector<Qor16s>& source, int scaleFactor) {
        Guarded<Qor16s> from{std::span(source)}, to(source.size() / 2);
        EXPECT_EQ(qorsMDCTFwd_16s_Sfs(from.data(), to.data(), spec_, scaleFactor, buffer_.data()),
                  qorStsNoErr);
        return to.copy();
    }

  private:
    Sizes sizes_;
    GuardedBytes specMemory_, initMemory_, buffer_;
    QorsMDCTFwdSpec_16s* spec_ = nullptr;
};

// --- plain model ------------------------------------------------------------------------------

std::int64_t floorShift(std::int64_t a, int n) {
    const std::int64_t unit = std::int64_t{1} << n;
    return (a - (((a % unit) + unit) % unit)) / unit;
}

int modelShift(int peak) {
    // The largest c with 2^c peak at most 32768, or the next one where that stays below 23169.
    int c = -1;
    while ((std::int64_t{peak} << (c + 1)) <= 32768) ++c;
    return (std::int64_t{peak} << c) < 23169 ? c + 1 : c;
}

// x times 2^-shift, shift at most 31 and at least -15, to nearest with ties to even.
Qor16s modelNarrow(std::int64_t x, std::int64_t shift) {
    shift = std::clamp<std::int64_t>(shift, -15, 31);
    return Qor16s(
        std::clamp(std::nearbyint(std::ldexp(double(x), -int(shift))), -32768.0, 32767.0));
}

// The steps of the transform one after the other in 64 bits, around the library's own FFT.
std::vector<Qor16s> model(const std::vector<Qor16s>& x, int scaleFactor) {
    const int len = int(x.size()), q = len / 4, order = int(std::log2(q));
    int peak = 0;
    for (const Qor16s value : x) peak = std::max(peak, std::abs(int(value)));
    if (peak == 0) return std::vector<Qor16s>(x.size() / 2);
    const int s = modelShift(peak);

    const auto at = [&x](int i) { return std::int64_t(x[std::size_t(i)]); };
    std::vector<std::int64_t> sine, cosine;
    std::vector<Qor16sc> z;
    for (int i = 0; i < q; ++i) {
        const double t = (i + 0.125) * 2 * std::numbers::pi / len;
        sine.push_back(int(std::sin(t) * 16384 + 0.5));
        cosine.push_back(int(std::cos(t) * 16384 + 0.5));
        const int j = 2 * i;
        const std::int64_t u =
            2 * i < q ? -at(len - q + j) - at(len - q - j - 1) : at(j - q) - at(len - q - j - 1);
        const std::int64_t v =
            2 * i < q ? at(q - j - 1) - at(q + j) : -at(len + q - j - 1) - at(q + j);
        const std::int64_t half = std::int64_t{1} << (15 - s);
        const std::int64_t re = floorShift(cosine.back() * u + half + sine.back() * v, 16 - s);
        const std::int64_t im = floorShift(half - sine.back() * u + cosine.back() * v, 16 - s);
        EXPECT_EQ(re, Qor16s(re));
        EXPECT_EQ(im, Qor16s(im));
        z.push_back({Qor16s(re), Qor16s(im)});
    }

    QorsFFTSpec_C_16sc* spec = nullptr;
    EXPECT_EQ(qorsFFTInitAlloc_C_16sc(&spec, order, qorFftNormNone, 0), qorStsNoErr);
    EXPECT_EQ(qorsFFTFwd_CToC_16sc_Sfs(z.data(), z.data(), spec, order + 1, nullptr), qorStsNoErr);
    EXPECT_EQ(qorsFFTFree_C_16sc(spec), qorStsNoErr);

    std::vector<Qor16s> result(x.size() / 2);
    const std::int64_t shift = std::int64_t{scaleFactor} - order + s + 10;
    for (int i = 0; i < q; ++i) {
        const auto at16 = std::size_t(i);
        const std::int64_t a = z[at16].re, b = z[at16].im;
        result[std::size_t(2 * i)] = modelNarrow(cosine[at16] * a + sine[at16] * b, shift);
        result[std::size_t(len / 2 - 2 * i - 1)] =
            modelNarrow(sine[at16] * a - cosine[at16] * b, shift);
    }
    return result;
}

std::vector<Qor16s> randomBlock(test::Random& random, int len, int peak) {
    auto block =
        random.integers<Qor16s>(std::size_t(len), -std::min(peak, 32768), std::min(peak, 32767));
    block[std::size_t(random.integer(0, len - 1))] = Qor16s(peak == 32768 ? -peak : peak);
    return block;
}

constexpr int kPeaks[] = {1,     2,     3,     100,   11584, 11585, 16383,
                          16384, 16385, 23168, 23169, 32767, 32768};

TEST(Mdct16s, FollowsItsStepsToTheBit) {
    test::Random random(1);
    for (const int len : {32, 64, 128, 256, 2048}) {
        Transform transform(len);
        for (const int peak : kPeaks)
            for (const int scaleFactor : {-8, -1, 0, 1, 4, 9}) {
                const auto block = randomBlock(random, len, peak);
                ASSERT_EQ(transform(block, scaleFactor), model(block, scaleFactor))
                    << len << " " << peak << " " << scaleFactor;
            }
    }
}

TEST(Mdct16s, FullScaleBlocksDoNotOverflow) {
    test::Random random(2);
    for (const int len : {32, 64, 1024}) {
        Transform transform(len);
        for (int trial = 0; trial < 50; ++trial) {
            std::vector<Qor16s> block(std::size_t(len), 0);
            for (Qor16s& value : block) value = random.chance(0.5) ? 32767 : -32768;
            ASSERT_EQ(transform(block, 4), model(block, 4)) << len;
        }
        const std::vector<Qor16s> lowest(std::size_t(len), -32768);
        EXPECT_EQ(transform(lowest, 4), model(lowest, 4));
    }
}

// The block's level does not cost precision: results within a few units of the exact ones, where
// the output's full scale is that of the transform.
TEST(Mdct16s, MatchesTheDefinitionAtEveryLevel) {
    test::Random random(3);
    for (const int len : {32, 64, 512, 2048}) {
        Transform transform(len);
        const reference::Mdct mdct(len);
        for (const int peak : kPeaks) {
            const auto block = randomBlock(random, len, peak);
            std::vector<double> exact(std::size_t(len / 2));
            double largest = 0;
            for (int k = 0; k < len / 2; ++k) {
                exact[std::size_t(k)] = mdct.forward(std::span<const Qor16s>(block), k);
                largest = std::max(largest, std::abs(exact[std::size_t(k)]));
            }
            const int scaleFactor = int(std::ceil(std::log2(largest / 32767)));
            const auto result = transform(block, scaleFactor);
            // A unit of the FFT's 16-bit output weighs 2^(order + 3 - shift) in the result.
            const int order = int(std::log2(len / 4));
            const double unit = std::ldexp(1.0, order + 3 - modelShift(peak) - scaleFactor);
            for (int k = 0; k < len / 2; ++k)
                ASSERT_NEAR(result[std::size_t(k)], std::ldexp(exact[std::size_t(k)], -scaleFactor),
                            1 + 1.5 * unit)
                    << len << " " << peak;
        }
    }
}

TEST(Mdct16s, QuietBlockRespectsTheScaleFactor) {
    Transform transform(64);
    std::vector<Qor16s> block(64);
    block[20] = 1;
    const reference::Mdct mdct(64);
    for (const int scaleFactor : {-12, -4, 0, 3}) {
        const auto result = transform(block, scaleFactor);
        for (int k = 0; k < 32; ++k)
            EXPECT_NEAR(result[std::size_t(k)],
                        std::ldexp(mdct.forward(std::span<const Qor16s>(block), k), -scaleFactor),
                        0.5 + std::ldexp(0.02, -scaleFactor));
    }
}

TEST(Mdct16s, ZerosGiveZeros) {
    Transform transform(256);
    // Without the FFT: the work memory stays as it is.
    std::vector<Qor8u> buffer(std::size_t(transform.sizes().buffer), 0xA5);
    const std::vector<Qor16s> zeros(256);
    std::vector<Qor16s> result(128, 7);
    ASSERT_EQ(qorsMDCTFwd_16s_Sfs(zeros.data(), result.data(), transform.spec(), -9, buffer.data()),
              qorStsNoErr);
    EXPECT_THAT(result, Each(0));
    EXPECT_THAT(buffer, Each(0xA5));
}

TEST(Mdct16s, ExtremeScaleFactorsSaturateOrVanish) {
    test::Random random(4);
    Transform transform(128);
    const auto block = randomBlock(random, 128, 30000);
    EXPECT_THAT(transform(block, std::numeric_limits<int>::max()), Each(0));
    EXPECT_THAT(transform(block, std::numeric_limits<int>::min()),
                Each(testing::AnyOf(32767, -32768)));
}

TEST(Mdct16s, WorksInPlaceMisalignedAndWithItsOwnMemory) {
    test::Random random(5);
    for (const int len : {32, 64, 1024}) {
        Transform transform(len);
        const auto block = randomBlock(random, len, 20000);
        const auto expected = transform(block, 3);
        auto data = block;
        const int calls = test::allocationCalls(), live = test::liveBlocks();
        {
            test::FailingAllocator failing(0);
            EXPECT_EQ(qorsMDCTFwd_16s_Sfs(data.data(), data.data(), transform.spec(), 3, nullptr),
                      qorStsMemAllocErr);
            EXPECT_EQ(data, block);
        }
        ASSERT_EQ(qorsMDCTFwd_16s_Sfs(data.data(), data.data(), transform.spec(), 3, nullptr),
                  qorStsNoErr);
        EXPECT_TRUE(std::equal(expected.begin(), expected.end(), data.begin()));
        EXPECT_EQ(test::allocationCalls(), calls + 2);
        EXPECT_EQ(test::liveBlocks(), live);
        const auto bufSize = std::size_t(transform.sizes().buffer);
        for (const std::size_t shift : {1, 17, 31}) {
            std::vector<Qor8u> memory(bufSize + 64, 0xA5);
            const auto start = reinterpret_cast<std::uintptr_t>(memory.data());
            Qor8u* const buffer = memory.data() + (shift - start) % 32;
            std::vector<Qor16s> result(expected.size());
            ASSERT_EQ(qorsMDCTFwd_16s_Sfs(block.data(), result.data(), transform.spec(), 3, buffer),
                      qorStsNoErr);
            EXPECT_EQ(result, expected) << len << " " << shift;
            EXPECT_TRUE(std::all_of(buffer + bufSize, memory.data() + memory.size(),
                                    [](Qor8u byte) { return byte == 0xA5; }));
        }
    }
}

// --- sizes and lifecycle ----------------------------------------------------------------------

TEST(Mdct16s, SizesAreThoseOfTheLayout) {
    EXPECT_EQ(sizesOf(32), (Sizes{392, 64, 192}));
    EXPECT_EQ(sizesOf(64), (Sizes{64 + 136 + 296, 32, 64 + 256 + 32}));
    EXPECT_EQ(sizesOf(256), (Sizes{256 + 136 + 960, 32, 256 + 1088 + 32}));
    for (int order = 3; order <= 26; ++order) {
        Sizes fft;
        ASSERT_EQ(qorsFFTGetSize_C_16sc(order, 8, 0, &fft.spec, &fft.init, &fft.buffer),
                  qorStsNoErr);
        const int len = 4 << order;
        EXPECT_EQ(sizesOf(len),
                  (Sizes{len + 136 + fft.spec, fft.init, len + std::max(len * 4, fft.buffer) + 32}))
            << len;
    }
    Transform transform(512);
    Qor32s size = -1;
    ASSERT_EQ(qorsMDCTFwdGetBufSize_16s(transform.spec(), &size), qorStsNoErr);
    EXPECT_EQ(size, transform.sizes().buffer);
}

TEST(Mdct16s, ChecksGoInTheirOrder) {
    Qor32s size = -1;
    Qor8u memory[64];
    QorsMDCTFwdSpec_16s* spec = nullptr;
    for (const int len : {-32, 0, 12, 16, 31, 33, 36, 48, 100, 1 << 29, 1 << 30}) {
        EXPECT_EQ(qorsMDCTFwdGetSize_16s(len, nullptr, &size, &size), qorStsNullPtrErr);
        EXPECT_EQ(qorsMDCTFwdGetSize_16s(len, &size, nullptr, &size), qorStsNullPtrErr);
        EXPECT_EQ(qorsMDCTFwdGetSize_16s(len, &size, &size, nullptr), qorStsNullPtrErr);
        EXPECT_EQ(qorsMDCTFwdGetSize_16s(len, &size, &size, &size), qorStsSizeErr);
        EXPECT_EQ(qorsMDCTFwdInit_16s(nullptr, len, memory, memory), qorStsNullPtrErr);
        EXPECT_EQ(qorsMDCTFwdInit_16s(&spec, len, nullptr, memory), qorStsNullPtrErr);
        EXPECT_EQ(qorsMDCTFwdInit_16s(&spec, len, memory, nullptr), qorStsNullPtrErr);
        EXPECT_EQ(qorsMDCTFwdInit_16s(&spec, len, memory, memory), qorStsSizeErr);
        EXPECT_EQ(qorsMDCTFwdInitAlloc_16s(nullptr, len), qorStsNullPtrErr);
        EXPECT_EQ(qorsMDCTFwdInitAlloc_16s(&spec, len), qorStsSizeErr);
    }
    EXPECT_EQ(size, -1);
    EXPECT_EQ(spec, nullptr);

    ASSERT_EQ(qorsMDCTFwdInitAlloc_16s(&spec, 32), qorStsNoErr);
    QorsMDCTFwdSpec_32f* floatSpec = nullptr;
    ASSERT_EQ(qorsMDCTFwdInitAlloc_32f(&floatSpec, 32), qorStsNoErr);
    auto* const foreign = reinterpret_cast<QorsMDCTFwdSpec_16s*>(floatSpec);
    Qor16s data[32] = {1};
    EXPECT_EQ(qorsMDCTFwd_16s_Sfs(nullptr, nullptr, nullptr, 0, nullptr), qorStsNullPtrErr);
    EXPECT_EQ(qorsMDCTFwd_16s_Sfs(nullptr, nullptr, foreign, 0, nullptr), qorStsContextMatchErr);
    EXPECT_EQ(qorsMDCTFwd_16s_Sfs(nullptr, data, spec, 0, nullptr), qorStsNullPtrErr);
    EXPECT_EQ(qorsMDCTFwd_16s_Sfs(data, nullptr, spec, 0, nullptr), qorStsNullPtrErr);
    EXPECT_EQ(qorsMDCTFwdGetBufSize_16s(nullptr, &size), qorStsNullPtrErr);
    EXPECT_EQ(qorsMDCTFwdGetBufSize_16s(foreign, nullptr), qorStsNullPtrErr);
    EXPECT_EQ(qorsMDCTFwdGetBufSize_16s(foreign, &size), qorStsContextMatchErr);
    EXPECT_EQ(qorsMDCTFwdFree_16s(nullptr), qorStsNullPtrErr);
    EXPECT_EQ(qorsMDCTFwdFree_16s(foreign), qorStsContextMatchErr);
    EXPECT_EQ(qorsMDCTFwdFree_32f(floatSpec), qorStsNoErr);
    EXPECT_EQ(qorsMDCTFwdFree_16s(spec), qorStsNoErr);
}

TEST(Mdct16s, FreeOfAnInitSpecReleasesNothing) {
    Transform transform(64);
    const int live = test::liveBlocks();
    EXPECT_EQ(qorsMDCTFwdFree_16s(transform.spec()), qorStsNoErr);
    EXPECT_EQ(qorsMDCTFwdFree_16s(transform.spec()), qorStsContextMatchErr);
    EXPECT_EQ(test::liveBlocks(), live);
}

TEST(Mdct16s, InitAllocReleasesAllWhenAnyAllocationFails) {
    for (const int len : {32, 64, 16384}) {
        const int live = test::liveBlocks();
        QorsMDCTFwdSpec_16s* spec = nullptr;
        for (int nth = 0; nth < 3; ++nth) {
            test::FailingAllocator failing(nth);
            EXPECT_EQ(qorsMDCTFwdInitAlloc_16s(&spec, len), qorStsMemAllocErr) << nth;
            EXPECT_EQ(spec, nullptr);
            EXPECT_EQ(test::liveBlocks(), live);
        }
        ASSERT_EQ(qorsMDCTFwdInitAlloc_16s(&spec, len), qorStsNoErr);
        test::Random random(6);
        const auto block = randomBlock(random, len, 12345);
        std::vector<Qor16s> result(block.size() / 2);
        ASSERT_EQ(qorsMDCTFwd_16s_Sfs(block.data(), result.data(), spec, 2, nullptr), qorStsNoErr);
        EXPECT_EQ(result, model(block, 2));
        EXPECT_EQ(qorsMDCTFwdFree_16s(spec), qorStsNoErr);
        EXPECT_EQ(test::liveBlocks(), live);
    }
}

}  // namespace
}  // namespace qorac
