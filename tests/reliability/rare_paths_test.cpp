#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <vector>

#include "zeb/filters.h"

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
