#include "zeb/image.h"

#include <gtest/gtest.h>

#include <numeric>
#include <type_traits>

#include "tests/support/allocation.h"

namespace zeb {
namespace {

TEST(Image, StrideFollowsWidthAndAlignment) {
  const struct {
    int width, alignment, stride;
  } cases[] = {{10, 64, 64},  {100, 64, 128}, {128, 64, 128}, {100, 100, 100},
               {100, 7, 105}, {-5, 64, 64},   {10, -4, 12}};
  for (const auto& c : cases) {
    const Image<unsigned char> image(c.width, c.alignment, 3, {um(2), um(3)});
    EXPECT_EQ(image.stride, c.stride) << c.width << ", " << c.alignment;
    EXPECT_EQ(image.width, c.width);
    EXPECT_EQ(image.data, image.memory);
    EXPECT_EQ(image.pixel_size_y.value, 3.0f);
  }
}

TEST(Image, RefusesWhatDoesNotFit) {
  const struct {
    int width, alignment, height;
  } cases[] = {{10, 64, -1}, {INT32_MAX, INT32_MAX, INT32_MAX}, {INT32_MAX, 64, 2}};
  for (const auto& c : cases) {
    const zeb::testing::FailingAllocations only_watching_for_leaks(-1);
    try {
      const Image<int> image(c.width, c.alignment, c.height, {});
      ADD_FAILURE() << "no exception for " << c.width << " x " << c.height;
    } catch (const std::bad_alloc& error) {
      EXPECT_STREQ(error.what(), "bad allocation");
    }
  }
}

TEST(Image, FailedAllocationThrowsAndLeaksNothing) {
  const zeb::testing::FailingAllocations failing(1);
  const Image<unsigned char> first(5, 5, 5, {});
  EXPECT_THROW(Image<unsigned char>(5, 5, 5, {}), std::bad_alloc);
  EXPECT_THROW(MatBuffer<float>(5, 5), std::bad_alloc);
  EXPECT_THROW((std::vector<float, mem::ProtectedAllocator<float>>(5)), std::bad_alloc);
  EXPECT_NE(first.data, nullptr);
}

TEST(Image, MovesAndNeverCopies) {
  static_assert(!std::is_copy_constructible_v<Image<int>> && !std::is_copy_assignable_v<Image<int>>);
  static_assert(!std::is_copy_constructible_v<MatBuffer<int>> && !std::is_copy_assignable_v<MatBuffer<int>>);
  const zeb::testing::FailingAllocations watching_for_leaks(-1);
  Image<int> a(4, 4, 2, {um(1), um(1)});
  int* const pixels = a.data;
  Image<int> b(std::move(a));
  Image<int> c(1, 1, 1, {});
  c = std::move(b);
  EXPECT_EQ(c.data, pixels);
  EXPECT_EQ(c.width, 4);
  EXPECT_EQ(a.data, nullptr);  // NOLINT(bugprone-use-after-move): a moved-from image is an empty one
  EXPECT_EQ(b.height, 0);      // NOLINT(bugprone-use-after-move)
}

TEST(MatBuffer, StrideFollowsTheConstructor) {
  EXPECT_EQ((MatBuffer<unsigned char>(10, 10, 3).stride), 10);
  EXPECT_EQ((MatBuffer<unsigned char>(64, 64, 3).stride), 64);
  EXPECT_EQ((MatBuffer<unsigned char>(70, 70, 3).stride), 128);
  EXPECT_EQ((MatBuffer<float>(10, 3).stride), 64);
  EXPECT_EQ((MatBuffer<float>(64, 3).stride), 64);
  EXPECT_EQ((MatBuffer<float>(65, 3).stride), 128);
}

TEST(MatBuffer, ElementCountWrapsIn32Bits) {
  // 65536 * 49152 is 3 * 2^30, negative as a 32-bit number; 65536 * 65536 wraps to 0 and is granted.
  EXPECT_THROW(MatBuffer<unsigned char>(1, 65536, 49152), std::bad_alloc);
  EXPECT_NO_THROW(MatBuffer<unsigned char>(1, 65536, 65536));
  EXPECT_THROW(MatBuffer<unsigned char>(1, -1), std::bad_alloc);
}

TEST(Mat, IterationCoversThePaddingAndNegativeAreasAreEmpty) {
  unsigned char pixels[12] = {};
  const Mat<unsigned char> image(pixels, 3, 4, 3);
  EXPECT_EQ(std::distance(image.begin(), image.end()), 12);
  for (const auto& empty : {Mat<unsigned char>(pixels, 3, 4, -1), Mat<unsigned char>(pixels, 3, -4, 3)})
    EXPECT_EQ(empty.begin(), empty.end());
}

TEST(MatDeathTest, AccessOutsideTheImageEndsTheProcess) {
  unsigned char pixels[12] = {};
  const Mat<unsigned char> image(pixels, 3, 4, 3);
  image.at(2, 2) = 7;
  EXPECT_EQ(pixels[2 * 4 + 2], 7);
  EXPECT_EQ(image.row(1), pixels + 4);
  EXPECT_EQ(Mat<unsigned char>(pixels, 0, 4, 3).row(2), pixels + 8) << "a row of no elements is one";
  EXPECT_DEATH(image.at(0, 3), "") << "padding";
  EXPECT_DEATH(image.at(3, 0), "");
  EXPECT_DEATH(image.at(-1, 0), "");
  EXPECT_DEATH(image.at(0, -1), "");
  EXPECT_DEATH(image.row(3), "");
  EXPECT_DEATH(image.row(-1), "");
  EXPECT_DEATH((Mat<unsigned char>(pixels, -1, 4, 3).row(0)), "");
}

TEST(MatDeathTest, RegionMayBeginBehindTheLastColumnOnly) {
  unsigned char pixels[12] = {};
  const Bitmap_<unsigned char> image(pixels, 3, 4, 3, {um(0.5f), um(2)});
  const Bitmap_<unsigned char> part = image.region({1, 2}, {3, 9});
  EXPECT_EQ(part.data, pixels + 9);
  EXPECT_EQ(part.width, 2);
  EXPECT_EQ(part.stride, 4);
  EXPECT_EQ(part.height, 7) << "the second corner is not checked";
  EXPECT_EQ(part.pixel_size_x.value, 0.5f);
  EXPECT_EQ(image.region({3, 0}, {3, 1}).width, 0);
  EXPECT_DEATH(image.region({4, 0}, {4, 1}), "");
  EXPECT_DEATH(image.region({0, 3}, {1, 4}), "");
  EXPECT_DEATH(image.region({-1, 0}, {1, 1}), "");
  EXPECT_DEATH(image.region({0, -1}, {1, 1}), "");
}

TEST(Clear, ZeroesThePaddingAsWell) {
  int pixels[13];
  std::iota(pixels, pixels + 13, 1);
  Mat<int> image(pixels, 3, 4, 3);
  clear(image);
  for (int i = 0; i < 12; ++i) EXPECT_EQ(pixels[i], 0) << i;
  EXPECT_EQ(pixels[12], 13);
}

TEST(ValueTypes, RectanglesAreNormalisedAndMatricesShared) {
  const Rect__<Point_<int>> rect({7, 1}, {2, 5});
  EXPECT_EQ(rect.top_left.x, 2);
  EXPECT_EQ(rect.top_left.y, 1);
  EXPECT_EQ(rect.bottom_right.x, 7);
  EXPECT_EQ(rect.bottom_right.y, 5);
  const Rect__<Point_<um>> lengths({um(2.5f), um(1)}, {um(0.5f), um(4)});
  EXPECT_EQ(lengths.top_left.x.value, 0.5f);
  EXPECT_EQ(lengths.bottom_right.y.value, 4.0f);
  EXPECT_EQ(Rect__<Point_<um>>().bottom_right.x.value, 0.0f);

  const Matrix<int> kernel(2, 3, {1, 2, 3, 4});
  const Matrix<int> shared = kernel;
  shared.data[5] = 6;
  EXPECT_EQ(std::vector<int>(kernel.data, kernel.data + 6), (std::vector<int>{1, 2, 3, 4, 0, 6}));
  EXPECT_EQ(kernel.storage.use_count(), 2);
  EXPECT_THROW(Matrix<int>(-1, 2), std::bad_alloc);

  um length(1.5f);
  EXPECT_EQ((++length).value, 2.5f);
}

}  // namespace
}  // namespace zeb
