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
  for (const auto& [given, stride] : {std::pair(10, 10), {64, 64}, {70, 128}})
    EXPECT_EQ(MatBuffer<unsigned char>(given, given, 3).stride, stride);
  for (const auto& [width, stride] : {std::pair(10, 64), {64, 64}, {65, 128}})
    EXPECT_EQ(MatBuffer<float>(width, 3).stride, stride);
}

TEST(MatBuffer, ElementCountWrapsIn32Bits) {
  // 65536 * 49152 is 3 * 2^30, negative as a 32-bit number; 65536 * 65536 wraps to 0 and is granted.
  EXPECT_THROW(MatBuffer<unsigned char>(1, 65536, 49152), std::bad_alloc);
  EXPECT_NO_THROW(MatBuffer<unsigned char>(1, 65536, 65536));
}

TEST(Image, FailedAllocationThrowsAndLeaksNothing) {
  const zeb::testing::FailingAllocations failing(1);
  const Image<unsigned char> first(5, 5, 5, {});
  EXPECT_THROW(Image<unsigned char>(5, 5, 5, {}), std::bad_alloc);
  EXPECT_THROW(MatBuffer<float>(5, 5), std::bad_alloc);
  EXPECT_THROW((std::vector<float, mem::ProtectedAllocator<float>>(5)), std::bad_alloc);
  EXPECT_NE(first.data, nullptr);
}

TEST(Mat, IterationCoversThePaddingAndNegativeAreasAreEmpty) {
  unsigned char pixels[12] = {};
  const Mat<unsigned char> image(pixels, 3, 4, 3);
  EXPECT_EQ(std::distance(image.begin(), image.end()), 12);
  for (const auto& empty : {Mat<unsigned char>(pixels, 3, 4, -1), Mat<unsigned char>(pixels, 3, -4, 3)})
    EXPECT_EQ(empty.begin(), empty.end());
}

// tests/reliability has what ends the process.
TEST(Mat, RowsAndRegionsAreViews) {
  unsigned char pixels[12] = {};
  const Bitmap_<unsigned char> image(pixels, 3, 4, 3, {um(0.5f), um(2)});
  EXPECT_EQ(&image.at(2, 1), pixels + 9);
  EXPECT_EQ(Mat<unsigned char>(pixels, 0, 4, 3).row(2), pixels + 8) << "a row of no elements is one";
  const Bitmap_<unsigned char> part = image.region({1, 2}, {3, 9});
  EXPECT_EQ(part.data, pixels + 9);
  EXPECT_EQ(part.width, 2);
  EXPECT_EQ(part.stride, 4);
  EXPECT_EQ(part.height, 7) << "the second corner is not checked";
  EXPECT_EQ(part.pixel_size_x.value, 0.5f);
  EXPECT_EQ(image.region({3, 0}, {3, 1}).width, 0);
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

  const Matrix<int> kernel(2, 3, {1, 2, 3, 4});
  const Matrix<int> shared = kernel;
  shared.data[5] = 6;
  EXPECT_EQ(std::vector<int>(kernel.data, kernel.data + 6), (std::vector<int>{1, 2, 3, 4, 0, 6}));
  EXPECT_EQ(kernel.storage.use_count(), 2);

  um length(1.5f);
  EXPECT_EQ((++length).value, 2.5f);
}

}  // namespace
}  // namespace zeb
