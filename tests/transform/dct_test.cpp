#include "transform/dct.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <string>
#include <utility>
#include <vector>

#include "gmock/gmock.h"
#include "reference/cosine.h"
#include "support/memory.h"
#include "support/random.h"
#include "transform/accuracy.h"

namespace qorac {
namespace {

using test::Guarded;
using test::GuardedBytes;

// The functions of a direction under one name.
struct Forward {
    static constexpr auto getSize = qorsDCTFwdGetSize_32f;
    static constexpr auto init = qorsDCTFwdInit_32f;
    static constexpr auto transform = qorsDCTFwd_32f;
    static constexpr Qor32s id = 21, otherId = 22;
    static double exact(const reference::Dct& dct, std::span<const float> source, int i) {
        return dct.forward(source, i);
    }
};
struct Inverse {
    static constexpr auto getSize = qorsDCTInvGetSize_32f;
    static constexpr auto init = qorsDCTInvInit_32f;
    static constexpr auto transform = qorsDCTInv_32f;
    static constexpr Qor32s id = 22, otherId = 21;
    static double exact(const reference::Dct& dct, std::span<const float> source, int i) {
        return dct.inverse(source, i);
    }
};

template <typename Direction>
class Dct32f : public testing::Test {};
using Directions = testing::Types<Forward, Inverse>;
TYPED_TEST_SUITE(Dct32f, Directions, );

struct Sizes {
    Qor32s spec = -1, init = -1, buffer = -1;
    bool operator==(const Sizes&) const = default;
};

template <typename Direction>
Sizes sizesOf(int len) {
    Sizes sizes;
    EXPECT_EQ(Direction::getSize(len, 0, &sizes.spec, &sizes.init, &sizes.buffer), qorStsNoErr);
    return sizes;
}

// A spec and its scratch in blocks of exactly the reported sizes that end at guard pages.
template <typename Direction>
class Transform {
  public:
    explicit Transform(int len, int hint = 0)
        : sizes_(sizesOf<Direction>(len)),
          specMemory_(std::size_t(sizes_.spec)),
          initMemory_(std::size_t(sizes_.init)),
          buffer_(std::size_t(sizes_.buffer)) {
        EXPECT_EQ(Direction::init(&spec_, len, hint, specMemory_.data(), initMemory_.data()),
                  qorStsNoErr);
    }

    const QorsDCTSpec_32f* spec() const { return spec_; }
    const Sizes& sizes() const { return sizes_; }

    std::vector<float> operator()(const std::vector<float>& source) {
        Guarded<float> from{std::span(source)}, to(source.size());
        EXPECT_EQ(Direction::transform(from.data(), to.data(), spec_, buffer_.data()), qorStsNoErr);
        return to.copy();
    }

  private:
    Sizes sizes_;
    GuardedBytes specMemory_, initMemory_, buffer_;
    QorsDCTSpec_32f* spec_ = nullptr;
};

std::vector<float> randomSource(int len, unsigned seed = 1) {
    return test::Random(seed).reals<float>(std::size_t(len), -1, 1);
}

// The error that a length may have, in units of 2^-24: that of a real transform of twice the
// length. The secants of the recursive halving add to it, and the chirp method runs two transforms.
double allowedError(int len) {
    const bool power = (len & (len - 1)) == 0;
    const bool halving = len == 16 || len == 32, chirp = !power && len > 100;
    return test::allowedError(2 * len) * (halving || chirp ? std::sqrt(2.0) : 1.0);
}

TYPED_TEST(Dct32f, MatchesTheDefinitionAtEveryLength) {
    std::vector<int> lengths(300);
    for (int i = 0; i < 300; ++i) lengths[std::size_t(i)] = i + 1;
    for (const int len : {512, 513, 1000, 1023, 1024, 1025, 4096, 5000, 8192, 10007, 16384, 30030,
                          32768, 65535, 65536, 65537})
        lengths.push_back(len);
    for (const int len : lengths) {
        Transform<TypeParam> transform(len);
        const auto source = randomSource(len);
        const auto result = transform(source);
        const reference::Dct dct(len);
        test::RelativeError error;
        // Every result of the shorter transforms, else a few of them.
        const int checked = std::min(len, 300);
        test::Random random(2);
        for (int i = 0; i < checked; ++i) {
            const int at = checked == len ? i : i < 2 ? i : int(random.integer(0, len - 1));
            error.add(result[std::size_t(at)], TypeParam::exact(dct, source, at));
        }
        EXPECT_LE(error.inUnits(), allowedError(len)) << len;
        this->RecordProperty("error_" + std::to_string(len), std::to_string(error.inUnits()));
    }
}

// A unit impulse at each place in turn: each result by itself is right to single precision.
TYPED_TEST(Dct32f, EachResultMatchesTheDefinition) {
    for (const int len : {1, 2, 3, 4, 5, 6, 7, 8, 9, 16, 27, 32, 50, 64, 101, 128}) {
        Transform<TypeParam> transform(len);
        const reference::Dct dct(len);
        for (int place = 0; place < len; ++place) {
            std::vector<float> source(std::size_t(len), 0.0f);
            source[std::size_t(place)] = 1;
            const auto result = transform(source);
            for (int i = 0; i < len; ++i)
                ASSERT_NEAR(result[std::size_t(i)], TypeParam::exact(dct, source, i), 1e-6)
                    << len << " " << place << " " << i;
        }
    }
}

TEST(Dct32fPair, InverseUndoesForward) {
    for (int len = 1; len <= 130; ++len) {
        Transform<Forward> forward(len);
        Transform<Inverse> inverse(len);
        const auto source = randomSource(len);
        const auto result = inverse(forward(source));
        for (std::size_t i = 0; i < source.size(); ++i)
            ASSERT_NEAR(result[i], source[i], 2e-6) << len;
    }
}

TYPED_TEST(Dct32f, LengthsOneAndTwo) {
    EXPECT_EQ(Transform<TypeParam>(1)({0.3f}), std::vector<float>{0.3f});
    const auto result = Transform<TypeParam>(2)({3.0f, 1.0f});
    EXPECT_FLOAT_EQ(result[0], float(4 / std::sqrt(2.0)));
    EXPECT_FLOAT_EQ(result[1], float(2 / std::sqrt(2.0)));
}

TYPED_TEST(Dct32f, LengthDecidesTheMethod) {
    enum { kSmall = 8, kPow2 = 4, kFft = 2, kConv = 1, kDirect = 0 };
    for (const auto& [len, method] :
         {std::pair(1, kSmall), {2, kSmall},  {3, kDirect},  {4, kSmall},  {5, kDirect},
          {6, kDirect},         {7, kDirect}, {8, kSmall},   {9, kDirect}, {16, kPow2},
          {31, kDirect},        {32, kPow2},  {33, kDirect}, {64, kFft},   {99, kDirect},
          {100, kDirect},       {101, kConv}, {128, kFft},   {129, kConv}, {1024, kFft}}) {
        Transform<TypeParam> transform(len, 7);
        const QorsDCTSpec_32f& spec = *transform.spec();
        EXPECT_EQ(spec.isSmall * kSmall + spec.isPow2 * kPow2 + spec.isFft * kFft + spec.isConv,
                  method)
            << len;
        EXPECT_EQ(spec.id, TypeParam::id);
        EXPECT_EQ(spec.len, len);
        EXPECT_EQ(spec.hint, 7);
        EXPECT_EQ(spec.scale0, float(1 / std::sqrt(double(len))));
        EXPECT_EQ(spec.scaleK, float(std::sqrt(2.0 / len)));
    }
}

// --- sizes ------------------------------------------------------------------------------------

// The reported sizes from the lengths alone and the inner FFT's own sizes.
Sizes expectedSizes(int len) {
    const auto roundUp = [](int size) { return (size + 31) / 32 * 32; };
    const bool power = (len & (len - 1)) == 0;
    Sizes sizes;
    if (power && len <= 8) return {152, 0, 0};
    if (power && len <= 32) return {roundUp(4 * len) + 160, 0, 4 * len + 32};
    if (!power && len <= 100) return {roundUp(16 * len) + 160, 0, 4 * len + 32};
    int order = 0;
    if (power) {
        while ((1 << order) < 2 * len) ++order;
        EXPECT_EQ(qorsFFTGetSize_R_32f(order, 8, 0, &sizes.spec, &sizes.init, &sizes.buffer),
                  qorStsNoErr);
        sizes.spec += 8 * len + 160;
        sizes.buffer += 8 * len + 32;
    } else {
        while ((1 << order) < 2 * len - 1) ++order;
        const int m = 1 << order;
        EXPECT_EQ(qorsFFTGetSize_C_32fc(order, 8, 0, &sizes.spec, &sizes.init, &sizes.buffer),
                  qorStsNoErr);
        sizes.init = std::max(sizes.init, sizes.buffer);
        sizes.spec += 24 * len + 8 * m + 160;
        sizes.buffer += 8 * m + 32;
    }
    if (sizes.init > 0) sizes.init += 32;
    return sizes;
}

TYPED_TEST(Dct32f, SizesAreThoseOfTheLayout) {
    EXPECT_EQ(sizesOf<TypeParam>(1), (Sizes{152, 0, 0}));
    EXPECT_EQ(sizesOf<TypeParam>(3), (Sizes{224, 0, 44}));
    EXPECT_EQ(sizesOf<TypeParam>(16), (Sizes{224, 0, 96}));
    EXPECT_EQ(sizesOf<TypeParam>(32), (Sizes{288, 0, 160}));
    // Real order 7: tables of 64 points 544 + 96, recombination 2 * 256, 192.
    EXPECT_EQ(sizesOf<TypeParam>(64), (Sizes{1344 + 512 + 160, 0, 544 + 512 + 32}));
    // Complex order 8: 2080 + 288 + 192, scratch 2080.
    EXPECT_EQ(sizesOf<TypeParam>(101),
              (Sizes{2560 + 24 * 101 + 2048 + 160, 2080 + 32, 2080 + 2048 + 32}));
    for (int len = 1; len <= 300; ++len) EXPECT_EQ(sizesOf<TypeParam>(len), expectedSizes(len));
    for (int len = 512; len <= 1 << 24; len *= 2)
        for (const int near : {len - 1, len, len + 1})
            EXPECT_EQ(sizesOf<TypeParam>(near), expectedSizes(near)) << near;
}

TYPED_TEST(Dct32f, LengthsBeyondTheInnerTransformAreRefused) {
    Qor32s size = -1;
    EXPECT_EQ(TypeParam::getSize((1 << 25) + 1, 0, &size, &size, &size), qorStsSizeErr);
    EXPECT_EQ(TypeParam::getSize((1 << 26) - 1, 0, &size, &size, &size), qorStsSizeErr);
    EXPECT_EQ(TypeParam::getSize((1 << 26) + 1, 0, &size, &size, &size), qorStsFftOrderErr);
    EXPECT_EQ(TypeParam::getSize(1 << 27, 0, &size, &size, &size), qorStsFftOrderErr);
    EXPECT_EQ(TypeParam::getSize(1 << 30, 0, &size, &size, &size), qorStsFftOrderErr);
    EXPECT_EQ(TypeParam::getSize(std::numeric_limits<int>::max(), 0, &size, &size, &size),
              qorStsFftOrderErr);
    EXPECT_EQ(size, -1);
}

// --- checks and memory ------------------------------------------------------------------------

TYPED_TEST(Dct32f, ChecksGoInTheirOrder) {
    Qor32s size = -1;
    for (const int len : {0, -1, std::numeric_limits<int>::min()})
        EXPECT_EQ(TypeParam::getSize(len, 0, nullptr, nullptr, nullptr), qorStsSizeErr);
    EXPECT_EQ(TypeParam::getSize(5, 0, nullptr, &size, &size), qorStsNullPtrErr);
    EXPECT_EQ(TypeParam::getSize(5, 0, &size, nullptr, &size), qorStsNullPtrErr);
    EXPECT_EQ(TypeParam::getSize(5, 0, &size, &size, nullptr), qorStsNullPtrErr);
    EXPECT_EQ(size, -1);

    QorsDCTSpec_32f* spec = nullptr;
    std::vector<Qor8u> memory(std::size_t(sizesOf<TypeParam>(2049).spec));
    EXPECT_EQ(TypeParam::init(nullptr, 0, 0, nullptr, nullptr), qorStsNullPtrErr);
    EXPECT_EQ(TypeParam::init(&spec, 0, 0, nullptr, nullptr), qorStsSizeErr);
    EXPECT_EQ(TypeParam::init(&spec, 5, 0, nullptr, nullptr), qorStsNullPtrErr);
    // The inner transform of order 12 wants init memory; its status comes through.
    EXPECT_EQ(TypeParam::init(&spec, 2048, 0, memory.data(), nullptr), qorStsNullPtrErr);
    EXPECT_EQ(TypeParam::init(&spec, 1025, 0, memory.data(), nullptr), qorStsNullPtrErr);
    EXPECT_EQ(spec, nullptr);
    EXPECT_EQ(TypeParam::init(&spec, 1 << 28, 0, memory.data(), memory.data()), qorStsFftOrderErr);
    EXPECT_EQ(spec, nullptr);
    ASSERT_EQ(TypeParam::init(&spec, 5, 0, memory.data(), nullptr), qorStsNoErr);

    float data[5] = {1, 2, 3, 4, 5};
    QorsDCTSpec_32f foreign = *spec;
    foreign.id = TypeParam::otherId;
    EXPECT_EQ(TypeParam::transform(nullptr, nullptr, nullptr, nullptr), qorStsNullPtrErr);
    EXPECT_EQ(TypeParam::transform(nullptr, nullptr, &foreign, nullptr), qorStsContextMatchErr);
    EXPECT_EQ(TypeParam::transform(nullptr, data, spec, nullptr), qorStsNullPtrErr);
    EXPECT_EQ(TypeParam::transform(data, nullptr, spec, nullptr), qorStsNullPtrErr);
    EXPECT_THAT(data, testing::ElementsAre(1, 2, 3, 4, 5));
}

TYPED_TEST(Dct32f, WorksInPlaceMisalignedAndWithItsOwnScratch) {
    for (const int len : {1, 2, 4, 8, 16, 32, 3, 7, 100, 64, 256, 101, 150, 1000}) {
        Transform<TypeParam> transform(len);
        const auto source = randomSource(len);
        const auto expected = transform(source);
        auto data = source;
        const bool needsScratch = transform.sizes().buffer > 0;
        const int calls = test::allocationCalls(), live = test::liveBlocks();
        if (needsScratch) {
            test::FailingAllocator failing(0);
            EXPECT_EQ(TypeParam::transform(data.data(), data.data(), transform.spec(), nullptr),
                      qorStsMemAllocErr);
            EXPECT_EQ(data, source);
        }
        ASSERT_EQ(TypeParam::transform(data.data(), data.data(), transform.spec(), nullptr),
                  qorStsNoErr);
        EXPECT_EQ(data, expected) << len;
        EXPECT_EQ(test::allocationCalls(), calls + (needsScratch ? 2 : 0));
        EXPECT_EQ(test::liveBlocks(), live);
        EXPECT_EQ(transform.spec()->workSize, needsScratch ? transform.sizes().buffer - 32 : 0);

        // Spec and scratch on odd addresses with canaries behind them, data off a 16-byte boundary.
        const auto specSize = std::size_t(transform.sizes().spec);
        const auto bufSize = std::size_t(transform.sizes().buffer);
        std::vector<Qor8u> memory(specSize + 64, 0xA5), buffer(bufSize + 64, 0xA5);
        std::vector<Qor8u> init(std::size_t(transform.sizes().init) + 64);
        const auto odd = [](std::vector<Qor8u>& block) {
            return block.data() + (31 - reinterpret_cast<std::uintptr_t>(block.data())) % 32;
        };
        QorsDCTSpec_32f* spec = nullptr;
        ASSERT_EQ(TypeParam::init(&spec, len, 0, odd(memory), odd(init)), qorStsNoErr);
        std::vector<float> shifted(source.size() + 1);
        std::copy(source.begin(), source.end(), shifted.begin() + 1);
        float* const pData = shifted.data() + 1;
        ASSERT_EQ(TypeParam::transform(pData, pData, spec, odd(buffer)), qorStsNoErr);
        EXPECT_TRUE(std::equal(expected.begin(), expected.end(), pData)) << len;
        const auto untouched = [&](std::vector<Qor8u>& block, std::size_t size) {
            return std::all_of(odd(block) + size, block.data() + block.size(),
                               [](Qor8u byte) { return byte == 0xA5; });
        };
        EXPECT_TRUE(untouched(memory, specSize)) << len;
        EXPECT_TRUE(untouched(buffer, bufSize)) << len;
    }
}

}  // namespace
}  // namespace qorac
