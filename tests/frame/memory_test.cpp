#include "frame/memory.h"

#include <cstdint>

#include "gmock/gmock.h"
#include "support/memory.h"

namespace qorac {
namespace {

TEST(Malloc, LengthBelowOneDoesNotReachTheAllocator) {
    const int before = test::allocationCalls();
    EXPECT_EQ(qorsMalloc_8u(0), nullptr);
    EXPECT_EQ(qorsMalloc_8u(-1), nullptr);
    EXPECT_EQ(qorsMalloc_32f(0), nullptr);
    EXPECT_EQ(qorsMalloc_32f(-5), nullptr);
    EXPECT_EQ(test::allocationCalls(), before);
}

TEST(Malloc, GivesAndReleasesBlocks) {
    const int before = test::liveBlocks();
    Qor8u* bytes = qorsMalloc_8u(5);
    Qor32f* floats = qorsMalloc_32f(3);
    ASSERT_NE(bytes, nullptr);
    ASSERT_NE(floats, nullptr);
    bytes[4] = 1;
    floats[2] = 1.0f;
    EXPECT_EQ(test::liveBlocks(), before + 2);
    qorsFree(bytes);
    qorsFree(floats);
    EXPECT_EQ(test::liveBlocks(), before);
}

TEST(Malloc, HandsOnTheAllocatorsFailure) {
    test::FailingAllocator failing(0);
    EXPECT_EQ(qorsMalloc_8u(16), nullptr);
    EXPECT_EQ(qorsMalloc_32f(16), nullptr);
}

TEST(Malloc, ElementCountWhoseBytesOverflowGivesNull) {
    EXPECT_EQ(qorsMalloc_32f(0x40000001), nullptr);
}

}  // namespace
}  // namespace qorac
