#include <gtest/gtest.h>

#include "tests/support/picture.h"
#include "tests/support/random_geometry.h"
#include "zeb/filters.h"

using namespace zeb::testing;

TEST(Transpose, AnySizeAndLayout) {
  std::mt19937 engine(1);
  for (int i = 0; i < 500; ++i) {
    const int width = pick(engine, -2, 150), height = pick(engine, -2, 150);
    Picture src = Picture::random(engine, width, width + pick(engine, 0, 20), height, pick(engine, 0, 15));
    // The destination may have room for less or for more than the source holds.
    const int dst_stride = pick(engine, 0, 2) == 0 ? pick(engine, 0, 150) : height + pick(engine, 0, 20);
    const int dst_height = pick(engine, 0, 2) == 0 ? pick(engine, 0, 150) : width;
    Picture dst = Picture::random(engine, dst_stride, dst_stride, dst_height, pick(engine, 0, 15)), expected(dst);
    for (int y = 0; y < std::min(height, dst_stride); ++y)
      for (int x = 0; x < std::min(width, dst_height); ++x) expected(y, x) = src(x, y);
    zeb::TransposeBM(dst.data(), src.data(), dst_stride, dst_height, width, src.stride(), height);
    ASSERT_TRUE(same(expected, dst)) << width << " x " << height << " to stride " << dst_stride << ", height "
                                     << dst_height;
  }
}
