#include "platform/memory.h"

#include <gtest/gtest.h>

#include <cstring>

namespace konib::platform {
namespace {

bool AllZero(const void* block, std::size_t from, std::size_t to) {
  const auto* bytes = static_cast<const unsigned char*>(block);
  for (std::size_t i = from; i < to; ++i) {
    if (bytes[i] != 0) return false;
  }
  return true;
}

TEST(Memory, BlocksAreZeroFilledWhenTakenAndWhenGrown) {
  void* block = AllocBlock(100);
  ASSERT_NE(block, nullptr);
  EXPECT_TRUE(AllZero(block, 0, 100));
  std::memset(block, 0xAB, 100);
  block = ResizeBlock(block, 100000);
  ASSERT_NE(block, nullptr);
  const auto* bytes = static_cast<const unsigned char*>(block);
  EXPECT_EQ(bytes[0], 0xAB);
  EXPECT_EQ(bytes[99], 0xAB);
  EXPECT_TRUE(AllZero(block, 100, 100000));
  FreeBlock(block);
}

TEST(Memory, ShrinkThenGrowZeroesTheRegainedPart) {
  auto* block = static_cast<unsigned char*>(AllocBlock(64));
  std::memset(block, 0xFF, 64);
  block = static_cast<unsigned char*>(ResizeBlock(block, 16));
  block = static_cast<unsigned char*>(ResizeBlock(block, 64));
  EXPECT_EQ(block[15], 0xFF);
  EXPECT_TRUE(AllZero(block, 16, 64));
  FreeBlock(block);
}

TEST(Memory, TheNthAllocationFailsAndLeavesTheOldBlock) {
  void* block = AllocBlock(8);
  static_cast<char*>(block)[0] = 'k';
  FailAllocationAt(2);
  void* other = AllocBlock(8);
  EXPECT_NE(other, nullptr);
  EXPECT_EQ(ResizeBlock(block, 1 << 20), nullptr);
  EXPECT_EQ(static_cast<char*>(block)[0], 'k');  // untouched and still valid
  void* third = AllocBlock(8);                    // the switch fired once only
  EXPECT_NE(third, nullptr);
  FreeBlock(third);
  FreeBlock(other);
  FreeBlock(block);
  FreeBlock(nullptr);
}

TEST(Memory, CountsAllocationsAndGrowths) {
  unsigned long before = AllocationCount();
  void* block = AllocBlock(8);
  block = ResizeBlock(block, 16);
  FreeBlock(block);
  EXPECT_EQ(AllocationCount() - before, 2u);
}

}  // namespace
}  // namespace konib::platform
