#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstdint>
#include <limits>
#include <numbers>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "gmock/gmock.h"
#include "qorac.h"
#include "reference/cosine.h"
#include "support/memory.h"
#include "support/random.h"
#include "transform/accuracy.h"
#include "transform/fft32f.h"

namespace qorac {
namespace {

using test::Guarded;
using test::GuardedBytes;
using testing::ElementsAreArray;

// The functions of a direction under one name.
struct Forward {
    using Spec = QorsMDCTFwdSpec_32f;
    static constexpr auto getSize = qorsMDCTFwdGetSize_32f;
    static constexpr auto init = qorsMDCTFwdInit_32f;
    static constexpr auto initAlloc = qorsMDCTFwdInitAlloc_32f;
    static constexpr auto free = qorsMDCTFwdFree_32f;
    static constexpr auto getBufSize = qorsMDCTFwdGetBufSize_32f;
    static constexpr auto transform = qorsMDCTFwd_32f;
    static constexpr auto transformInPlace = qorsMDCTFwd_32f_I;
    static int sourceLength(int len) { return len; }
    static int resultLength(int len) { return len / 2; }
    static double exact(const reference::Mdct& mdct, std::span<const float> source, int i) {
        return mdct.forward(source, i);
    }
};
struct Inverse {
    using Spec = QorsMDCTInvSpec_32f;
    static constexpr auto getSize = qorsMDCTInvGetSize_32f;
    static constexpr auto init = qorsMDCTInvInit_32f;
    static constexpr auto initAlloc = qorsMDCTInvInitAlloc_32f;
    static constexpr auto free = qorsMDCTInvFree_32f;
    static constexpr auto getBufSize = qorsMDCTInvGetBufSize_32f;
    static constexpr auto transform = qorsMDCTInv_32f;
    static constexpr auto transformInPlace = qorsMDCTInv_32f_I;
    static int sourceLength(int len) { return len / 2; }
    static int resultLength(int len) { return len; }
    static double exact(const reference::Mdct& mdct, std::span<const float> source, int i) {
        return mdct.inverse(source, i);
    }
};

template <typename Direction>
class Mdct32f : public testing::Test {};
using Directions = testing::Types<Forward, Inverse>;
TYPED_TEST_SUITE(Mdct32f, Directions, );

struct Sizes {
    Qor32s spec = -1, init = -1, buffer = -1;
    bool operator==(const Sizes&) const = default;
};

template <typename Direction>
Sizes sizesOf(int len) {
    Sizes sizes;
    EXPECT_EQ(Direction::getSize(len, &sizes.spec, &sizes.init, &sizes.buffer), qorStsNoErr);
    return sizes;
}

// A spec of InitAlloc, freed with the test.
template <typename Direction>
class AllocatedSpec {
  public:
    explicit AllocatedSpec(int len) { EXPECT_EQ(Direction::initAlloc(&spec_, len), qorStsNoErr); }
    ~AllocatedSpec() { EXPECT_EQ(Direction::free(spec_), qorStsNoErr); }
    AllocatedSpec(const AllocatedSpec&) = delete;
    AllocatedSpec& operator=(const AllocatedSpec&) = delete;
    typename Direction::Spec* get() const { return spec_; }
    operator const typename Direction::Spec *() const { return spec_; }

  private:
    typename Direction::Spec* spec_ = nullptr;
};

std::vector<int> lengthsTo(int last) {
    std::vector<int> lengths{12, 36};
    for (int len = 32; len <= last; len *= 2) lengths.push_back(len);
    return lengths;
}

template <typename Direction>
std::vector<float> randomSource(int len, unsigned seed = 1) {
    return test::Random(seed).reals<float>(std::size_t(Direction::sourceLength(len)), -1, 1);
}

template <typename Direction>
std::vector<float> transformed(const typename Direction::Spec* spec, int len,
                               const std::vector<float>& source) {
    std::vector<float> result(std::size_t(Direction::resultLength(len)));
    EXPECT_EQ(Direction::transform(source.data(), result.data(), spec, nullptr), qorStsNoErr);
    return result;
}

TYPED_TEST(Mdct32f, MatchesTheDefinition) {
    for (const int len : lengthsTo(1 << 20)) {
        const AllocatedSpec<TypeParam> spec(len);
        const std::vector<float> source = randomSource<TypeParam>(len);
        const std::vector<float> result = transformed<TypeParam>(spec, len, source);
        const reference::Mdct mdct(len);
        test::RelativeError error;
        // Every result of the shorter blocks, else a few of them.
        const int count = int(result.size()), checked = len <= 2048 ? count : 24;
        test::Random random(2);
        for (int i = 0; i < checked; ++i) {
            const int at = checked == count ? i : int(random.integer(0, count - 1));
            error.add(result[std::size_t(at)], TypeParam::exact(mdct, source, at));
        }
        EXPECT_LT(error.inUnits(), test::allowedError(len)) << len;
        this->RecordProperty("error_" + std::to_string(len), std::to_string(error.inUnits()));
    }
}

// A unit impulse at each place in turn: each result by itself is right to single precision.
TYPED_TEST(Mdct32f, EachResultMatchesTheDefinition) {
    for (const int len : {12, 32, 36, 64, 256}) {
        const AllocatedSpec<TypeParam> spec(len);
        const reference::Mdct mdct(len);
        const double gain = std::is_same_v<TypeParam, Forward> ? 2 : 2.0 / len;
        for (int place = 0; place < TypeParam::sourceLength(len); ++place) {
            std::vector<float> source(std::size_t(TypeParam::sourceLength(len)));
            source[std::size_t(place)] = 1;
            const std::vector<float> result = transformed<TypeParam>(spec, len, source);
            for (int i = 0; i < int(result.size()); ++i)
                ASSERT_NEAR(result[std::size_t(i)], TypeParam::exact(mdct, source, i), 1e-6 * gain)
                    << len << " " << place << " " << i;
        }
    }
}

TEST(MdctInverse32f, ShortBlocksHoldTheirSymmetriesExactly) {
    for (const int len : {12, 36}) {
        const AllocatedSpec<Inverse> spec(len);
        const auto y = transformed<Inverse>(spec, len, randomSource<Inverse>(len));
        const int half = len / 2;
        for (int n = 0; n < half / 2; ++n) {
            EXPECT_EQ(y[std::size_t(half - 1 - n)], -y[std::size_t(n)]) << len;
            EXPECT_EQ(y[std::size_t(len - 1 - n)], y[std::size_t(half + n)]) << len;
        }
    }
}

TEST(Mdct32fPair, ReconstructsASignalWithSineWindow) {
    for (const int len : lengthsTo(1 << 20)) {
        const AllocatedSpec<Forward> forward(len);
        const AllocatedSpec<Inverse> inverse(len);
        const auto half = std::size_t(len / 2);
        std::vector<float> window(2 * half);
        for (std::size_t n = 0; n < window.size(); ++n)
            window[n] = float(std::sin(std::numbers::pi * (double(n) + 0.5) / len));
        const auto signal = test::Random(3).reals<float>(4 * half, -1, 1);
        std::vector<float> sum(4 * half), block(2 * half);
        for (std::size_t start = 0; start < 3 * half; start += half) {
            for (std::size_t n = 0; n < 2 * half; ++n) block[n] = signal[start + n] * window[n];
            ASSERT_EQ(qorsMDCTFwd_32f_I(block.data(), forward, nullptr), qorStsNoErr);
            ASSERT_EQ(qorsMDCTInv_32f_I(block.data(), inverse, nullptr), qorStsNoErr);
            for (std::size_t n = 0; n < 2 * half; ++n) sum[start + n] += block[n] * window[n];
        }
        double worst = 0;
        for (std::size_t n = half; n < 3 * half; ++n)
            worst = std::max(worst, std::abs(double(sum[n]) - double(signal[n])));
        EXPECT_LT(worst, 2e-6) << len;
    }
}

// --- sizes ------------------------------------------------------------------------------------

TYPED_TEST(Mdct32f, SizesAreThoseOfTheLayout) {
    EXPECT_EQ(sizesOf<TypeParam>(12), (Sizes{128, 0, 112}));
    EXPECT_EQ(sizesOf<TypeParam>(36), (Sizes{176, 0, 208}));
    EXPECT_EQ(sizesOf<TypeParam>(32), (Sizes{368, 0, 224}));
    EXPECT_EQ(sizesOf<TypeParam>(2048), (Sizes{9096, 0, 12416}));
    EXPECT_EQ(sizesOf<TypeParam>(8192),
              (Sizes{8192 * 2 + 16416 + 2080 + 192 + 136, 2112, 8192 * 4 + 16384 + 32 + 96}));
    for (int order = 3; order <= 26; ++order) {
        Sizes fft;
        ASSERT_EQ(qorsFFTGetSize_C_32fc(order, 8, 0, &fft.spec, &fft.init, &fft.buffer),
                  qorStsNoErr);
        const int len = 4 << order;
        EXPECT_EQ(sizesOf<TypeParam>(len),
                  (Sizes{len * 2 + fft.spec + 136, fft.init, len * 4 + fft.buffer + 96}))
            << len;
    }
}

TYPED_TEST(Mdct32f, RefusesOtherLengths) {
    for (const int len : {-12, -1, 0, 1, 8, 11, 13, 16, 24, 31, 33, 35, 37, 48, 100, 1 << 29,
                          1 << 30, std::numeric_limits<int>::min()}) {
        Sizes sizes;
        EXPECT_EQ(TypeParam::getSize(len, &sizes.spec, &sizes.init, &sizes.buffer), qorStsSizeErr)
            << len;
        EXPECT_EQ(sizes, Sizes{});
        typename TypeParam::Spec* spec = nullptr;
        alignas(32) Qor8u memory[64];
        EXPECT_EQ(TypeParam::init(&spec, len, memory, memory), qorStsSizeErr);
        EXPECT_EQ(TypeParam::initAlloc(&spec, len), qorStsSizeErr);
        EXPECT_EQ(spec, nullptr);
    }
}

TYPED_TEST(Mdct32f, ChecksGoInTheirOrder) {
    using Spec = typename TypeParam::Spec;
    Qor32s size = -1;
    EXPECT_EQ(TypeParam::getSize(13, nullptr, &size, &size), qorStsNullPtrErr);
    EXPECT_EQ(TypeParam::getSize(13, &size, nullptr, &size), qorStsNullPtrErr);
    EXPECT_EQ(TypeParam::getSize(13, &size, &size, nullptr), qorStsNullPtrErr);

    Spec* spec = nullptr;
    alignas(32) Qor8u memory[1024];
    EXPECT_EQ(TypeParam::init(nullptr, 13, nullptr, nullptr), qorStsSizeErr);
    EXPECT_EQ(TypeParam::init(nullptr, 12, memory, memory), qorStsNullPtrErr);
    EXPECT_EQ(TypeParam::init(&spec, 12, nullptr, memory), qorStsNullPtrErr);
    EXPECT_EQ(TypeParam::init(&spec, 32, memory, nullptr), qorStsNullPtrErr);
    EXPECT_EQ(spec, nullptr);
    EXPECT_EQ(TypeParam::init(&spec, 12, memory, nullptr), qorStsNoErr);

    EXPECT_EQ(TypeParam::initAlloc(nullptr, 13), qorStsNullPtrErr);

    float data[12] = {};
    Qor32s wrong[16] = {57};
    Spec* const foreign = reinterpret_cast<Spec*>(wrong);
    EXPECT_EQ(TypeParam::transform(nullptr, data, nullptr, nullptr), qorStsNullPtrErr);
    EXPECT_EQ(TypeParam::transform(nullptr, nullptr, foreign, nullptr), qorStsContextMatchErr);
    EXPECT_EQ(TypeParam::transform(nullptr, data, spec, nullptr), qorStsNullPtrErr);
    EXPECT_EQ(TypeParam::transform(data, nullptr, spec, nullptr), qorStsNullPtrErr);
    EXPECT_EQ(TypeParam::transformInPlace(nullptr, nullptr, nullptr), qorStsNullPtrErr);
    EXPECT_EQ(TypeParam::transformInPlace(nullptr, foreign, nullptr), qorStsContextMatchErr);
    EXPECT_EQ(TypeParam::transformInPlace(nullptr, spec, nullptr), qorStsNullPtrErr);

    EXPECT_EQ(TypeParam::getBufSize(nullptr, &size), qorStsNullPtrErr);
    EXPECT_EQ(TypeParam::getBufSize(foreign, nullptr), qorStsNullPtrErr);
    EXPECT_EQ(TypeParam::getBufSize(foreign, &size), qorStsContextMatchErr);
    EXPECT_EQ(TypeParam::free(nullptr), qorStsNullPtrErr);
    EXPECT_EQ(TypeParam::free(foreign), qorStsContextMatchErr);
    EXPECT_EQ(size, -1);
    EXPECT_THAT(data, testing::Each(0.0f));
}

TEST(Mdct32fPair, SpecOfTheOtherDirectionIsRefused) {
    const AllocatedSpec<Forward> forward(32);
    const AllocatedSpec<Inverse> inverse(32);
    auto* const forwardAsInverse = reinterpret_cast<QorsMDCTInvSpec_32f*>(forward.get());
    auto* const inverseAsForward = reinterpret_cast<QorsMDCTFwdSpec_32f*>(inverse.get());
    float data[32] = {1};
    EXPECT_EQ(qorsMDCTInv_32f(data, data, forwardAsInverse, nullptr), qorStsContextMatchErr);
    EXPECT_EQ(qorsMDCTFwd_32f(data, data, inverseAsForward, nullptr), qorStsContextMatchErr);
    EXPECT_EQ(qorsMDCTInvFree_32f(forwardAsInverse), qorStsContextMatchErr);
    EXPECT_EQ(qorsMDCTFwdFree_32f(inverseAsForward), qorStsContextMatchErr);
}

// --- memory -----------------------------------------------------------------------------------

// Exactly the reported bytes serve, wherever they begin, and give the result of InitAlloc.
TYPED_TEST(Mdct32f, ExactSizesSufficeAtEveryMisalignment) {
    for (const int len : {12, 36, 32, 64, 128, 512, 1024, 8192}) {
        const Sizes sizes = sizesOf<TypeParam>(len);
        const auto source = randomSource<TypeParam>(len);
        const AllocatedSpec<TypeParam> allocated(len);
        const auto expected = transformed<TypeParam>(allocated, len, source);
        for (const std::size_t shift : {0, 1, 4, 16, 31}) {
            // The end stands at the guard page with shift 0, else a run of canaries follows.
            constexpr std::size_t kSlack = 64;
            const auto place = [shift](GuardedBytes& block, std::size_t size) {
                unsigned char* const end = block.data() + block.size();
                if (shift == 0) return end - size;
                unsigned char* const start = block.data();
                return start + (shift - reinterpret_cast<std::uintptr_t>(start)) % 32;
            };
            GuardedBytes spec(std::size_t(sizes.spec) + kSlack),
                init(std::size_t(sizes.init) + kSlack), buffer(std::size_t(sizes.buffer) + kSlack);
            for (GuardedBytes* block : {&spec, &init, &buffer})
                std::memset(block->data(), 0xA5, block->size());
            Guarded<float> from{std::span<const float>(source)}, to(expected.size());
            typename TypeParam::Spec* pSpec = nullptr;
            unsigned char* const memory = place(spec, std::size_t(sizes.spec));
            unsigned char* const work = place(buffer, std::size_t(sizes.buffer));
            ASSERT_EQ(TypeParam::init(&pSpec, len, memory, place(init, std::size_t(sizes.init))),
                      qorStsNoErr);
            Qor32s bufSize = 0;
            ASSERT_EQ(TypeParam::getBufSize(pSpec, &bufSize), qorStsNoErr);
            EXPECT_LE(bufSize, sizes.buffer);
            ASSERT_EQ(TypeParam::transform(from.data(), to.data(), pSpec, work), qorStsNoErr);
            EXPECT_THAT(to.copy(), ElementsAreArray(expected)) << len << " " << shift;
            for (const auto& [block, end] :
                 {std::pair(&spec, memory + sizes.spec), std::pair(&buffer, work + bufSize)})
                for (unsigned char* p = end; p < block->data() + block->size(); ++p)
                    ASSERT_EQ(*p, 0xA5) << len << " " << shift;
            EXPECT_EQ(TypeParam::free(pSpec), qorStsNoErr);
            EXPECT_EQ(TypeParam::free(pSpec), qorStsContextMatchErr);
        }
    }
}

TYPED_TEST(Mdct32f, DataNeedNoAlignmentAndMayBeInPlace) {
    for (const int len : {12, 36, 32, 64, 1024}) {
        const AllocatedSpec<TypeParam> spec(len);
        const auto source = randomSource<TypeParam>(len);
        const auto expected = transformed<TypeParam>(spec, len, source);
        for (const bool atEnd : {false, true}) {
            // One element off the page boundary or up to it.
            Guarded<float> from(source.size() + 1, atEnd), to(expected.size() + 1, atEnd);
            std::copy(source.begin(), source.end(), from.data() + 1);
            ASSERT_EQ(TypeParam::transform(from.data() + 1, to.data() + 1, spec, nullptr),
                      qorStsNoErr);
            const std::vector<float> result(to.data() + 1, to.data() + to.size());
            EXPECT_THAT(result, ElementsAreArray(expected)) << len;
        }
        std::vector<float> data(std::size_t(len), 7.0f);
        std::copy(source.begin(), source.end(), data.begin());
        ASSERT_EQ(TypeParam::transformInPlace(data.data(), spec, nullptr), qorStsNoErr);
        EXPECT_TRUE(std::equal(expected.begin(), expected.end(), data.begin())) << len;
    }
}

TYPED_TEST(Mdct32f, NullBufferMakesOneAllocation) {
    for (const int len : {12, 36, 32, 256, 4096}) {
        const AllocatedSpec<TypeParam> spec(len);
        const auto source = randomSource<TypeParam>(len);
        std::vector<float> result(std::size_t(TypeParam::resultLength(len)), 7.0f);
        const int calls = test::allocationCalls(), live = test::liveBlocks();
        {
            test::FailingAllocator failing(0);
            EXPECT_EQ(TypeParam::transform(source.data(), result.data(), spec, nullptr),
                      qorStsMemAllocErr);
            EXPECT_THAT(result, testing::Each(7.0f));
        }
        ASSERT_EQ(TypeParam::transform(source.data(), result.data(), spec, nullptr), qorStsNoErr);
        EXPECT_EQ(test::allocationCalls(), calls + 2);
        EXPECT_EQ(test::liveBlocks(), live);

        Qor32s bufSize = 0;
        ASSERT_EQ(TypeParam::getBufSize(spec, &bufSize), qorStsNoErr);
        std::vector<Qor8u> buffer(std::size_t(bufSize), 0);
        ASSERT_EQ(TypeParam::transform(source.data(), result.data(), spec, buffer.data()),
                  qorStsNoErr);
        EXPECT_EQ(test::allocationCalls(), calls + 2);
    }
}

TYPED_TEST(Mdct32f, InitAllocReleasesAllWhenAnyAllocationFails) {
    for (const int len : {12, 32, 8192}) {
        const int live = test::liveBlocks(), calls = test::allocationCalls();
        { const AllocatedSpec<TypeParam> spec(len); }
        const int needed = test::allocationCalls() - calls;
        EXPECT_EQ(needed, len == 12 ? 2 : len == 32 ? 3 : 4);
        for (int nth = 0; nth < needed; ++nth) {
            test::FailingAllocator failing(nth);
            typename TypeParam::Spec* spec = nullptr;
            EXPECT_EQ(TypeParam::initAlloc(&spec, len), qorStsMemAllocErr) << nth;
            EXPECT_EQ(spec, nullptr);
            EXPECT_EQ(test::liveBlocks(), live);
        }
        EXPECT_EQ(test::liveBlocks(), live);
    }
}

TYPED_TEST(Mdct32f, OneSpecServesManyThreads) {
    constexpr int kLen = 1024;
    const AllocatedSpec<TypeParam> spec(kLen);
    std::atomic<int> wrong = 0;
    std::vector<std::thread> threads;
    for (unsigned seed = 0; seed < 4; ++seed)
        threads.emplace_back([&, seed] {
            const auto source = randomSource<TypeParam>(kLen, seed);
            const auto first = transformed<TypeParam>(spec, kLen, source);
            for (int i = 0; i < 50; ++i)
                wrong += transformed<TypeParam>(spec, kLen, source) != first;
        });
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(wrong, 0);
}

}  // namespace
}  // namespace qorac
