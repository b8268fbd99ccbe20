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

TEST(Interleave, AnyNonZeroMaskByteSelectsTheSecond) {
  const Picture first = Picture::grey({{1, 2, 3, 4}}), second = Picture::grey({{5, 6, 7, 8}});
  const Picture mask = Picture::grey({{0, 1, 128, 255}});
  Picture dst(4, 4, 1);
  vBMInterleave(dst.data(), first.data(), second.data(), mask.data(), 4, 4, 1);
  EXPECT_EQ(dst, Picture::grey({{1, 6, 7, 8}}));
}

TEST(Interleave, AllFormsOnAnyLayoutAndInPlace) {
  std::mt19937 engine(1);
  for (int i = 0; i < 300; ++i) {
    const auto g = Geometry::random(engine);
    SCOPED_TRACE(g);
    Picture first = Picture::random(engine, g.width, g.stride, g.height);
    Picture second = Picture::random(engine, g.width, g.stride, g.height);
    Picture mask = Picture::random_binary(engine, g.width, g.stride, g.height, 0.5);
    const auto low = static_cast<unsigned char>(engine()), high = static_cast<unsigned char>(engine());
    for (int form = 0; form < 4; ++form) {
      const bool constant_first = (form & 1) != 0, constant_second = (form & 2) != 0;
      Picture expected = Picture::random(engine, g.width, g.stride, g.height, g.offset);
      const int who = pick(engine, 0, 3);  // the destination may be any of the sources or the mask
      if (who == 0) expected = first;
      if (who == 1) expected = second;
      if (who == 2) expected = mask;
      Picture dst = expected;
      for (int y = 0; y < g.height; ++y)
        for (int x = 0; x < g.width; ++x)
          expected(x, y) =
              mask(x, y) != 0 ? (constant_second ? high : second(x, y)) : (constant_first ? low : first(x, y));
      auto d = dst.bitmap();
      // Only the destination's geometry counts.
      const auto view = [](Picture& p) { return zeb::Bitmap_<unsigned char>(p.data(), 1, 1, 1, {}); };
      const auto f = who == 0 ? d : view(first), s = who == 1 ? d : view(second), m = who == 2 ? d : view(mask);
      if (form == 0) zeb::interleave(d, f, s, m);
      if (form == 1) zeb::interleave(d, low, s, m);
      if (form == 2) zeb::interleave(d, f, high, m);
      if (form == 3) zeb::interleave(d, low, high, m);
      ASSERT_TRUE(same(expected, dst)) << "form " << form << ", destination " << who;
    }
  }
}

TEST(Interleave, ConstantsClearARectangle) {
  Picture p(20, 24, 3, 9);
  vBMInterleave(p.data(), std::uint8_t{0}, std::uint8_t{0}, p.data(), 18, 24, 2);
  for (int y = 0; y < 3; ++y)
    for (int x = 0; x < 20; ++x) EXPECT_EQ(p(x, y), x < 18 && y < 2 ? 0 : 9);
}

}  // namespace
