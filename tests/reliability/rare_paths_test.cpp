#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <vector>

#include "zeb/filters.h"
#include "zeb/morphology.h"

namespace {

using Bytes = std::vector<unsigned char>;

// Rows of less than 16 columns are mapped pixel by pixel; the table is one of the whole image and so the same.
TEST(RarePaths, EqualisationOfALargeImageIsThatOfItsPixelsInNarrowRows) {
  constexpr int width = 1615, narrow = 15, pixels = width * 900;
  Bytes src(pixels), large(pixels), small(pixels);
  unsigned state = 1;
  for (unsigned char& p : src) p = static_cast<unsigned char>((state = state * 1664525u + 1013904223u) >> 25);
  zeb::vHistEqual(large.data(), src.data(), width, width, pixels / width);
  zeb::vHistEqual(small.data(), src.data(), narrow, narrow, pixels / narrow);
  EXPECT_EQ(large, small);
}

TEST(RarePaths, EqualQuantilesOfOneSelectTheLargestGreyValue) {
  constexpr int side = 24;
  Bytes src(side * side + 64, 50), dst(side * side + 64, 0);
  src[12 * side + 12] = 200;
  zeb::vGaussFilter(dst.data(), src.data(), side, side, side, 1, 1, 3, 3, 0, 0);
  for (int y = 3; y < 20; ++y)
    for (int x = 3; x < 20; ++x) {
      const bool near_the_peak = std::abs(x - 12) <= 1 && std::abs(y - 12) <= 1;
      EXPECT_NEAR(dst[static_cast<std::size_t>(y * side + x)], near_the_peak ? 200 : 50, 1) << x << ", " << y;
    }
}

// An ellipse of height 0 has no width either, whatever its horizontal radius.
TEST(RarePaths, FlatEllipsesMarkTheirCentreAlone) {
  constexpr int width = 40, height = 5;
  Bytes src(width * height + 130, 0), dst(src);
  src[2 * width + 20] = 255;
  vMMRecursiveEllipticMorphOp(dst.data(), src.data(), width, width, height, 3, 0, 0, 0, 0, 127, 0);
  EXPECT_TRUE(std::equal(dst.begin(), dst.begin() + width * height, src.begin()));
}

// A line of one sample has no number for a mean between quantiles of 0, and then no gain has one.
TEST(RarePaths, GainsThatAreNoNumbersGiveWhiteGroups) {
  constexpr int width = 20;
  Bytes src(2 * width, 0), dst(2 * width, 7);
  std::fill_n(src.begin(), width, static_cast<unsigned char>(100));
  src[3] = 0;  // a column without a sample
  zeb::vLineRowFilter(dst.data(), src.data(), 1, 255, 0, 0, 0, width, width, 2, 1);
  for (int i = 0; i < 2 * width; ++i)
    EXPECT_EQ(dst[static_cast<std::size_t>(i)], i % width < 16 && i % width != 3 ? 255 : 0) << i;
}

}  // namespace
