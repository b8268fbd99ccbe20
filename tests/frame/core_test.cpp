#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>

#include "frame/rounding.h"
#include "frame/scratch.h"
#include "tests/support/allocation.h"
#include "tests/support/picture.h"
#include "zeb/cast.h"

namespace zeb {
namespace {

TEST(Memory, BlocksAreAlignedAndImpossibleSizesGiveNull) {
  for (const std::size_t alignment : {16u, 64u, 256u}) {
    void* block = mem::aligned_alloc(5, alignment);
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(block) % std::max<std::size_t>(alignment, 64), 0u);
    std::memset(block, 1, 5 + 16);  // a packed store at the last byte stays inside
    mem::aligned_free(block);
  }
  void* empty = mem::aligned_alloc(0);
  EXPECT_NE(empty, nullptr);
  mem::aligned_free(empty);
  mem::aligned_free(nullptr);
  EXPECT_EQ(mem::aligned_alloc(5, 24), nullptr) << "no power of two";
  for (const std::int64_t count : {std::int64_t{-1}, std::int64_t{INT64_MIN}, std::int64_t{1} << 62})
    EXPECT_EQ(mem::aligned_alloc(mem::byte_count(count, 4)), nullptr) << count;
  EXPECT_EQ(mem::byte_count(3, 4), 12u);
}

TEST(Memory, SlackIsZeroInReusedMemoryToo) {
  for (const std::size_t bytes : {0u, 5u, 64u, 1000u})
    for (int use = 0; use < 3; ++use) {
      auto* const block = static_cast<unsigned char*>(mem::aligned_alloc(bytes));
      EXPECT_EQ(std::count(block + bytes, block + bytes + 64, 0), 64) << bytes;
      std::memset(block, 0xFF, bytes + 64);
      mem::aligned_free(block);
    }
}

TEST(Memory, ScratchReleasesItsBlockAndReportsFailure) {
  const zeb::testing::FailingAllocations failing(1);
  const frame::Scratch<float> granted(10);
  const frame::Scratch<float> refused(10);
  EXPECT_TRUE(granted);
  EXPECT_FALSE(refused);
}

TEST(Rounding, FollowsTheConversionInstructions) {
  EXPECT_EQ(frame::rne(2.5f), 2);
  EXPECT_EQ(frame::rne(3.5f), 4);
  EXPECT_EQ(frame::rne(-2.5), -2);
  EXPECT_EQ(frame::trunc(2.9f), 2);
  EXPECT_EQ(frame::trunc(-2.9), -2);
  for (const float outside : {std::nanf(""), std::numeric_limits<float>::infinity(), -3e9f, 3e9f}) {
    EXPECT_EQ(frame::trunc(outside), INT32_MIN);
    EXPECT_EQ(frame::rne(double{outside}), INT32_MIN);
  }
}

TEST(Cast, RoundsToEvenAndSaturates) {
  float values[] = {-0.6f, 0.5f, 1.5f, 2.5f, 254.5f, 255.4f, 1e30f, -1e30f, std::nanf(""), 99.0f};
  testing::Picture dst(9, 12, 1);
  auto dst_mat = dst.mat();
  cast(dst_mat, Mat<float>(values, 10, 10, 1));
  const testing::Picture expected = testing::Picture::grey({{0, 0, 2, 2, 254, 255, 255, 0, 0}});
  for (int x = 0; x < 9; ++x) EXPECT_EQ(dst(x, 0), expected(x, 0)) << x;
  EXPECT_EQ(dst(9, 0), testing::Picture::padding_value) << "the destination is narrower and its padding stays";
}

}  // namespace
}  // namespace zeb
