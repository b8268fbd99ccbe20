#include <gtest/gtest.h>

#include <cstdint>

#include "tests/support/picture.h"
#include "tests/support/random_geometry.h"
#include "zeb/drawing.h"

using zeb::testing::Geometry;
using zeb::testing::pick;
using zeb::testing::Picture;
using zeb::testing::same;

namespace {

TEST(Interleave, AnyMaskByteButZeroSelectsTheSecondInAllForms) {
  std::mt19937 engine(1);
  for (int i = 0; i < 1200; ++i) {
    const auto g = Geometry::random(engine);
    Picture first = Picture::random(engine, g.width, g.stride, g.height);
    Picture second = Picture::random(engine, g.width, g.stride, g.height);
    Picture mask = Picture::random(engine, g.width, g.stride, g.height);
    mask.fill([&](int x, int y) { return pick(engine, 0, 1) == 0 ? 0 : mask(x, y); });
    const auto low = static_cast<std::uint8_t>(engine()), high = static_cast<std::uint8_t>(engine());
    const bool constant_first = i % 2 != 0, constant_second = i / 2 % 2 != 0;
    const int who = pick(engine, 0, 3);  // the destination may be any of the sources or the mask
    Picture dst = Picture::random(engine, g.width, g.stride, g.height, g.offset);
    if (who < 3) dst = who == 0 ? first : who == 1 ? second : mask;
    Picture expected = dst;
    expected.fill([&](int x, int y) {
      return mask(x, y) != 0 ? (constant_second ? high : second(x, y)) : (constant_first ? low : first(x, y));
    });
    auto d = dst.bitmap();
    // Only the destination's geometry counts.
    const auto view = [](Picture& p) { return zeb::Bitmap_<unsigned char>(p.data(), 1, 1, 1, {}); };
    const auto f = who == 0 ? d : view(first), s = who == 1 ? d : view(second), m = who == 2 ? d : view(mask);
    if (constant_first && constant_second) zeb::interleave(d, low, high, m);
    if (constant_first && !constant_second) zeb::interleave(d, low, s, m);
    if (!constant_first && constant_second) zeb::interleave(d, f, high, m);
    if (!constant_first && !constant_second) zeb::interleave(d, f, s, m);
    ASSERT_TRUE(same(expected, dst)) << g << ", form " << i % 4 << ", destination " << who;
  }
}

}  // namespace
