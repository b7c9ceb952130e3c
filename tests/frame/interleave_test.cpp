#include <cstring>
#include <vector>

#include "gmock/gmock.h"
#include "qorac.h"
#include "support/memory.h"
#include "support/random.h"

namespace qorac {
namespace {

using test::Guarded;
using test::Random;

// The two directions, one pair of overloads per element type.
QorStatus interleave(const Qor16s* const* src, int channels, int len, Qor16s* dst) {
    return qorsInterleave_16s(src, channels, len, dst);
}
QorStatus interleave(const Qor32f* const* src, int channels, int len, Qor32f* dst) {
    return qorsInterleave_32f(src, channels, len, dst);
}
QorStatus deinterleave(const Qor16s* src, int channels, int len, Qor16s** dst) {
    return qorsDeinterleave_16s(src, channels, len, dst);
}
QorStatus deinterleave(const Qor32f* src, int channels, int len, Qor32f** dst) {
    return qorsDeinterleave_32f(src, channels, len, dst);
}

template <typename T>
class Interleave : public testing::Test {
  public:
    // Planar buffers and one interleaved buffer of whole 16-byte units, so that each can start on a
    // 16-byte boundary or `shift` elements behind one.
    static constexpr int kMaxChannels = 6, kRoom = 96;
    struct Buffers {
        alignas(16) T planar[kMaxChannels][kRoom];
        alignas(16) T woven[kMaxChannels * kRoom];
    };
    Buffers buffers_;

    void SetUp() override {
        Random random(20);
        for (auto& channel : buffers_.planar)
            for (T& sample : channel) sample = static_cast<T>(random.integer(-32768, 32767));
        for (T& sample : buffers_.woven) sample = static_cast<T>(random.integer(-32768, 32767));
    }
};
using ElementTypes = testing::Types<Qor16s, Qor32f>;
TYPED_TEST_SUITE(Interleave, ElementTypes);

TYPED_TEST(Interleave, SampleNOfChannelCStandsAtNTimesChannelsPlusC) {
    Random random(21);
    for (int channels : {1, 2, 3, 4, 5, 6, 8, 17})
        for (int len : {1, 2, 3, 7, 8, 9, 15, 16, 17, 31, 33, 64, 100, 576})
            for (bool atEnd : {true, false}) {
                std::vector<std::unique_ptr<Guarded<TypeParam>>> planar, back;
                std::vector<const TypeParam*> sources;
                std::vector<TypeParam*> targets;
                std::vector<TypeParam> expected(channels * len);
                for (int c = 0; c < channels; ++c) {
                    const auto values = random.integers<TypeParam>(len, -32768, 32767);
                    planar.push_back(std::make_unique<Guarded<TypeParam>>(values, atEnd));
                    back.push_back(std::make_unique<Guarded<TypeParam>>(len, atEnd));
                    sources.push_back(planar[c]->data());
                    targets.push_back(back[c]->data());
                    for (int n = 0; n < len; ++n) expected[n * channels + c] = values[n];
                }
                Guarded<TypeParam> woven(channels * len, atEnd);
                EXPECT_GE(interleave(sources.data(), channels, len, woven.data()), 0);
                ASSERT_EQ(woven.copy(), expected) << channels << " channels, len " << len;
                EXPECT_GE(deinterleave(woven.data(), channels, len, targets.data()), 0);
                for (int c = 0; c < channels; ++c)
                    ASSERT_EQ(back[c]->copy(), planar[c]->copy()) << channels << ", len " << len;
            }
}

TYPED_TEST(Interleave, WarnsOfAnyPointerOffASixteenByteBoundaryAndDoesTheWholeJob) {
    auto& b = this->buffers_;
    const int len = 37;
    for (int channels : {1, 2, 3, 5})
        for (int off = -1; off <= channels; ++off) {  // -1: none; the last: the interleaved array
            const TypeParam* sources[6];
            TypeParam* targets[6];
            for (int c = 0; c < channels; ++c) {
                targets[c] = b.planar[c] + (c == off ? 1 : 0);
                sources[c] = targets[c];
            }
            TypeParam* woven = b.woven + (off == channels ? 3 : 0);
            const QorStatus expected = off < 0 ? qorStsNoErr : qorStsAlignmentWarn;
            EXPECT_EQ(interleave(sources, channels, len, woven), expected)
                << channels << ' ' << off;
            for (int i = 0; i < channels * len; ++i)
                ASSERT_EQ(woven[i], sources[i % channels][i / channels]);
            for (int c = 0; c < channels; ++c) std::memset(targets[c], 0, len * sizeof(TypeParam));
            EXPECT_EQ(deinterleave(woven, channels, len, targets), expected);
            for (int i = 0; i < channels * len; ++i)
                ASSERT_EQ(targets[i % channels][i / channels], woven[i]);
        }
}

TYPED_TEST(Interleave, ChecksInOrderAndWritesNothingOnFailure) {
    auto& b = this->buffers_;
    const auto before = b;
    struct Case {
        bool arrays, woven;  // present
        int channels, len;
        bool channelNull;
        QorStatus expected;
    };
    const Case cases[] = {
        {false, true, 0, 0, false, qorStsNullPtrErr},
        {true, false, 0, 0, false, qorStsNullPtrErr},
        {true, false, 2, 4, false, qorStsNullPtrErr},
        {false, true, 2, 4, false, qorStsNullPtrErr},
        {true, true, 0, 0, false, qorStsNumChannelsErr},
        {true, true, 0, 4, false, qorStsNumChannelsErr},
        {true, true, -3, 4, true, qorStsNumChannelsErr},
        {true, true, 3, 0, true, qorStsSizeErr},
        {true, true, 3, -1, false, qorStsSizeErr},
        {true, true, 2, 0, false, qorStsSizeErr},
        {true, true, 3, 4, true, qorStsNullPtrErr},
        {true, true, 2, 4, true, qorStsNullPtrErr},
        {true, true, 1, 4, true, qorStsNullPtrErr},
    };
    for (const Case& c : cases) {
        const TypeParam* sources[3] = {b.planar[0], b.planar[1], b.planar[2]};
        TypeParam* targets[3] = {b.planar[0], b.planar[1], b.planar[2]};
        if (c.channelNull)
            sources[std::max(c.channels, 1) - 1] = targets[std::max(c.channels, 1) - 1] = nullptr;
        EXPECT_EQ(interleave(c.arrays ? sources : nullptr, c.channels, c.len,
                             c.woven ? b.woven : nullptr),
                  c.expected)
            << c.channels << ' ' << c.len;
        EXPECT_EQ(deinterleave(c.woven ? b.woven : nullptr, c.channels, c.len,
                               c.arrays ? targets : nullptr),
                  c.expected)
            << c.channels << ' ' << c.len;
        EXPECT_EQ(std::memcmp(&b, &before, sizeof b), 0);
    }
}

}  // namespace
}  // namespace qorac
