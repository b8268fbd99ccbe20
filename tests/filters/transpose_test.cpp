#include <gtest/gtest.h>

#include "tests/support/picture.h"
#include "tests/support/random_geometry.h"
#include "zeb/filters.h"

using namespace zeb::testing;

TEST(Transpose, AnySizeAndLayout) {
  for_each_trial(500, 150, 150, [](Trial t) {
    // The destination may have room for less or for more than the source holds.
    const int stride = pick(t.engine, 0, 1) == 0 ? pick(t.engine, 0, 150) : t.g.height + pick(t.engine, 0, 20);
    const int height = pick(t.engine, 0, 1) == 0 ? pick(t.engine, 0, 150) : t.g.width;
    Picture dst = Picture::random(t.engine, stride, stride, height, pick(t.engine, 0, 15)), expected(dst);
    for_each_pixel(std::min(t.g.width, height), std::min(t.g.height, stride),
                   [&](int x, int y) { expected(y, x) = t.src(x, y); });
    zeb::TransposeBM(dst.data(), t.src.data(), stride, height, t.g.width, t.g.stride, t.g.height);
    ASSERT_TRUE(same(expected, dst)) << "to stride " << stride << ", height " << height;
  });
}
