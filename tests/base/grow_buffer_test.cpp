#include "base/grow_buffer.h"

#include <gtest/gtest.h>

#include <utility>

namespace qx {
namespace {

TEST(GrowBuffer, GrowsAlignedAndKeepsItsCapacity) {
  GrowBuffer<uint16_t> buffer;
  ASSERT_TRUE(buffer.Reserve(1000));
  const uint16_t* const first = buffer.data();
  EXPECT_EQ(reinterpret_cast<uintptr_t>(first) % 64, 0u);
  ASSERT_TRUE(buffer.Reserve(10));
  EXPECT_EQ(buffer.data(), first);
  EXPECT_EQ(buffer.capacity(), 1000u);
}

TEST(GrowBuffer, FailedGrowthLeavesItEmptyAndUsable) {
  GrowBuffer<uint64_t> buffer;
  ASSERT_TRUE(buffer.Reserve(10));
  for (const uint64_t count : {UINT64_MAX, UINT64_MAX / 8, uint64_t(1) << 50}) EXPECT_FALSE(buffer.Reserve(count)) << count;
  EXPECT_EQ(buffer.data(), nullptr);
  EXPECT_EQ(buffer.capacity(), 0u);
  FailAllocationForTest(1);
  EXPECT_TRUE(buffer.Reserve(20)) << "the next allocation";
  EXPECT_FALSE(buffer.Reserve(30)) << "the one after it";
  EXPECT_TRUE(buffer.Reserve(30)) << "only that one";
  FailAllocationForTest(-1);
}

TEST(GrowBuffer, MovesItsBlock) {
  GrowBuffer<uint8_t> from;
  ASSERT_TRUE(from.Reserve(5));
  from[4] = 7;
  GrowBuffer<uint8_t> to = std::move(from);
  EXPECT_EQ(to[4], 7);
  EXPECT_EQ(to.capacity(), 5u);
}

}  // namespace
}  // namespace qx
