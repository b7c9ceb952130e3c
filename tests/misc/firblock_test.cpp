#include <vector>

#include "gmock/gmock.h"
#include "qorac.h"
#include "support/memory.h"
#include "support/random.h"

namespace qorac {
namespace {

using test::Guarded;
using test::Random;

// The fields at the start of a state.
struct Fields {
    Qor32f* pRows;
    Qor16s tapsLen, blockLen, rowLen, current;
    Qor32s id;
};

struct Filter {
    Filter(int tapsLen, int blockLen) {
        EXPECT_EQ(qorsFIRBlockInitAlloc_32f(&pState, tapsLen, blockLen), qorStsNoErr);
    }
    ~Filter() { EXPECT_EQ(qorsFIRBlockFree_32f(pState), qorStsNoErr); }
    Filter(const Filter&) = delete;
    Filter& operator=(const Filter&) = delete;
    Fields& fields() { return *reinterpret_cast<Fields*>(pState); }

    QorsFIRBlockState_32f* pState = nullptr;
};

// Sums in the order of the contract, from all blocks so far, the newest one last.
std::vector<Qor32f> expectedBlock(const std::vector<std::vector<Qor32f>>& blocks,
                                  const std::vector<Qor32f>& taps) {
    std::vector<Qor32f> sums(blocks.back().size());
    for (std::size_t i = 0; i < sums.size(); ++i) {
        volatile Qor32f sum = blocks.back()[i] * taps[0];
        for (std::size_t k = taps.size() - 1; k > 0; --k) {
            volatile Qor32f product = 0;
            if (k < blocks.size()) product = blocks[blocks.size() - 1 - k][i] * taps[k];
            sum = sum + product;
        }
        sums[i] = sum;
    }
    return sums;
}

TEST(FirBlock, SumsInTheirOrder) {
    Random random(1);
    for (const int tapsLen : {1, 2, 3, 8, 17})
        for (const int blockLen : {1, 3, 4, 5, 8, 31, 32, 33, 64, 77}) {
            Filter filter(tapsLen, blockLen);
            EXPECT_EQ(filter.fields().rowLen, (blockLen + 3) / 4 * 4);
            std::vector<std::vector<Qor32f>> blocks;
            for (int call = 0; call < 2 * tapsLen + 3; ++call) {
                const auto taps = random.reals<Qor32f>(std::size_t(tapsLen), -1, 1);
                blocks.push_back(random.reals<Qor32f>(std::size_t(blockLen), -100, 100));
                Guarded<Qor32f> source{std::span<const Qor32f>(blocks.back())};
                Guarded<Qor32f> tapsIn{std::span<const Qor32f>(taps)};
                Guarded<Qor32f> sums(std::size_t(blockLen), call % 2 == 0);
                EXPECT_GE(
                    qorsFIRBlockOne_32f(source.data(), sums.data(), filter.pState, tapsIn.data()),
                    qorStsNoErr);
                EXPECT_EQ(sums.copy(), expectedBlock(blocks, taps)) << tapsLen << " " << blockLen;
            }
        }
}

TEST(FirBlock, InPlace) {
    Filter filter(2, 5);
    const std::vector<Qor32f> taps{0.5f, 2.0f};
    std::vector<Qor32f> block{1, 2, 3, 4, 5};
    qorsFIRBlockOne_32f(block.data(), block.data(), filter.pState, taps.data());
    EXPECT_THAT(block, testing::ElementsAre(0.5f, 1.0f, 1.5f, 2.0f, 2.5f));
    qorsFIRBlockOne_32f(block.data(), block.data(), filter.pState, taps.data());
    EXPECT_THAT(block, testing::ElementsAre(2.25f, 4.5f, 6.75f, 9.0f, 11.25f));
}

TEST(FirBlock, WarnsOfPointersOffTheBoundary) {
    Filter filter(1, 4);
    alignas(16) Qor32f source[8] = {1, 2, 3, 4, 5}, sums[8], taps[5] = {1, 1, 1, 1, 1};
    EXPECT_EQ(qorsFIRBlockOne_32f(source, sums, filter.pState, taps), qorStsNoErr);
    EXPECT_EQ(qorsFIRBlockOne_32f(source + 1, sums, filter.pState, taps), qorStsAlignmentWarn);
    EXPECT_EQ(sums[3], 5);
    EXPECT_EQ(qorsFIRBlockOne_32f(source, sums + 1, filter.pState, taps), qorStsAlignmentWarn);
    EXPECT_EQ(sums[4], 4);
    EXPECT_EQ(qorsFIRBlockOne_32f(source, sums, filter.pState, taps + 1), qorStsAlignmentWarn);
}

TEST(FirBlock, LimitsOfInitAlloc) {
    const int blocks = test::liveBlocks();
    QorsFIRBlockState_32f* pState = nullptr;
    EXPECT_EQ(qorsFIRBlockInitAlloc_32f(nullptr, 0, 0), qorStsNullPtrErr);
    for (const int length : {0, -1, 32768, 65537})
        EXPECT_EQ(qorsFIRBlockInitAlloc_32f(&pState, length, 1), qorStsFirLenErr);
    for (const int length : {0, -1, 32765, 65537})
        EXPECT_EQ(qorsFIRBlockInitAlloc_32f(&pState, 1, length), qorStsFirLenErr);
    EXPECT_EQ(qorsFIRBlockInitAlloc_32f(&pState, 32767, 32764), qorStsMemAllocErr);
    for (const int nth : {0, 1}) {
        const test::FailingAllocator failing(nth);
        EXPECT_EQ(qorsFIRBlockInitAlloc_32f(&pState, 3, 5), qorStsMemAllocErr);
    }
    EXPECT_EQ(pState, nullptr);
    EXPECT_EQ(test::liveBlocks(), blocks);
    {
        Filter longest(1, 32764);
        EXPECT_EQ(longest.fields().blockLen, 32764);
        EXPECT_EQ(longest.fields().rowLen, 32764);
        EXPECT_EQ(longest.fields().current, 0);
        EXPECT_EQ(test::liveBlocks(), blocks + 2);
    }
    EXPECT_EQ(test::liveBlocks(), blocks);
}

TEST(FirBlock, ChecksComeInOrder) {
    Filter filter(3, 2);
    const Fields good = filter.fields();
    Fields& fields = filter.fields();
    Qor32f source[2] = {1, 2}, sums[2] = {7, 7}, taps[3] = {1, 1, 1};
    const auto one = [&] { return qorsFIRBlockOne_32f(source, sums, filter.pState, taps); };
    fields.id = 57;
    fields.tapsLen = 0;
    EXPECT_EQ(qorsFIRBlockOne_32f(nullptr, sums, filter.pState, taps), qorStsNullPtrErr);
    EXPECT_EQ(qorsFIRBlockOne_32f(source, nullptr, filter.pState, taps), qorStsNullPtrErr);
    EXPECT_EQ(qorsFIRBlockOne_32f(source, sums, nullptr, taps), qorStsNullPtrErr);
    EXPECT_EQ(qorsFIRBlockOne_32f(source, sums, filter.pState, nullptr), qorStsNullPtrErr);
    EXPECT_EQ(one(), qorStsContextMatchErr);
    EXPECT_EQ(qorsFIRBlockFree_32f(filter.pState), qorStsContextMatchErr);
    EXPECT_EQ(qorsFIRBlockFree_32f(nullptr), qorStsNullPtrErr);
    fields.id = 58;
    EXPECT_EQ(one(), qorStsFirLenErr);
    fields = good;
    fields.blockLen = 0;
    EXPECT_EQ(one(), qorStsFirLenErr);
    for (const Qor16s row : {Qor16s(-1), Qor16s(3)}) {
        fields = good;
        fields.current = row;
        EXPECT_EQ(one(), qorStsFirLenErr);
    }
    fields = good;
    EXPECT_THAT(sums, testing::Each(7));
    for (int i = 0; i < 12; ++i) EXPECT_EQ(fields.pRows[i], 0);
    EXPECT_GE(one(), qorStsNoErr);
    EXPECT_EQ(fields.current, 1);
}

}  // namespace
}  // namespace qorac
