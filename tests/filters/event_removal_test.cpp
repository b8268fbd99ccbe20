#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cmath>

#include "tests/support/picture.h"
#include "tests/support/random_geometry.h"
#include "zeb/filters.h"

using namespace zeb::testing;

namespace {

/// The pixels above a level in the window around a pixel.
int count_around(const Picture& p, int x, int y, int radius, bool square, int level) {
  int count = 0;
  for (int dy = -radius; dy <= radius; ++dy)
    for (int dx = -radius; dx <= radius; ++dx) {
      const bool in_image = x + dx >= 0 && x + dx < p.width() && y + dy >= 0 && y + dy < p.height();
      count += in_image && (square || dx * dx + dy * dy <= radius * radius) && p(x + dx, y + dy) > level;
    }
  return count;
}

TEST(EventRemoval, CountsTheWindowOnAnyLayout) {
  const auto test = [](Trial t) {
    const auto [width, stride, height, offset] = t.g;
    const int radius = pick(t.engine, 0, t.number % 16 == 0 ? 70 : 8);
    const auto level = static_cast<unsigned char>(t.engine());
    const bool square = t.number % 2 != 0;
    // Counts near what the window holds, so that both outcomes occur.
    const int events = (255 - level) * (2 * radius + 1) * (2 * radius + 1) / 256;
    const int min_count = std::max(0, events * pick(t.engine, 0, 12) / 10 + pick(t.engine, -1, 2));
    const auto count = [&](int x, int y, int above) { return count_around(t.src, x, y, radius, square, above); };

    Picture packed = t.dst, dense = t.dst, expected = t.dst, expected_dense = t.dst;
    std::fill_n(expected.data(), stride * height, static_cast<unsigned char>(0));
    Picture expected_packed = expected;
    // In groups of 16 columns counts end at 127, and what they have to exceed is cut to a signed byte.
    const int first = radius + 1, groups_end = (width - radius - 15) & ~15;
    const int packed_end = radius >= 64 || groups_end <= first ? first : first + ((groups_end - first + 15) & ~15);
    const auto exceeded = static_cast<signed char>(static_cast<unsigned char>((min_count - 1) & 255));
    expected.fill([&](int x, int y) {
      const bool event = t.src(x, y) > level;
      const int n = count(x, y, level);
      const bool enough = first <= x && x < packed_end ? std::min(n, 127) > exceeded : n >= min_count;
      expected_packed(x, y) = event && enough ? 255 : 0;
      return event && n >= min_count ? 255 : 0;
    });
    if (radius == 0) std::copy_n(t.src.data(), stride * height, expected_packed.data());
    zeb::vEventRemover(t.dst.data(), t.src.data(), width, stride, height, radius, level, min_count, square);
    ASSERT_TRUE(same(expected, t.dst)) << "radius " << radius << ", min_count " << min_count;
    zeb::vMMEventRemover(packed.data(), t.src.data(), width, stride, height, radius, level, min_count, square);
    ASSERT_TRUE(same(expected_packed, packed)) << "radius " << radius << ", min_count " << min_count;

    const Picture all(2 * radius + 1, 2 * radius + 1, 2 * radius + 1, 1);
    const auto window = static_cast<float>(count_around(all, radius, radius, radius, square, 0));
    const float fraction = static_cast<float>(pick(t.engine, -1, 21)) / 20.0f;
    const float limit = window * std::clamp(fraction, 1e-8f, 1.0f);
    expected_dense.fill([&](int x, int y) { return static_cast<float>(count(x, y, 0)) > limit ? 255 : 0; });
    zeb::vDiscriminator(dense.data(), t.src.data(), width, stride, height, radius, fraction, square);
    ASSERT_TRUE(same(expected_dense, dense)) << "radius " << radius << ", fraction " << fraction;
  };
  for_each_trial(300, 120, 12, test);
  for_each_trial(300, 12, 30, test);
}

TEST(EventRemoval, RadiiAndWidthsOutOfRange) {
  Picture src(20, 20, 5, 7), dst(20, 20, 5, 1);
  zeb::vDiscriminator(dst.data(), src.data(), 20, 20, 5, -1, 0.5f, 0);
  zeb::vEventRemover(dst.data(), src.data(), 20, 20, 5, -1, 3, 1, 0);
  zeb::vMMEventRemover(dst.data(), src.data(), 20, 20, 5, INT_MIN, 3, 1, 0);
  EXPECT_EQ(dst, Picture(20, 20, 5, 1));
  zeb::vEventRemover(dst.data(), src.data(), 20, 20, 5, INT_MAX, 3, 100, 1);
  EXPECT_EQ(dst, Picture(20, 20, 5, 255)) << "the window covers the image";
  zeb::vMMEventRemover(dst.data(), src.data(), -1, 20, 5, 1, 3, 1, 0);
  EXPECT_EQ(dst, Picture(20, 20, 5)) << "all is padding";
}

}  // namespace
