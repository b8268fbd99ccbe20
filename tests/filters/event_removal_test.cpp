#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cmath>

#include "tests/support/picture.h"
#include "tests/support/random_geometry.h"
#include "zeb/filters.h"

using namespace zeb::testing;

namespace {

bool in_window(int x, int y, int radius, bool square) {
  return square ? std::max(std::abs(x), std::abs(y)) <= radius : x * x + y * y <= radius * radius;
}

int count_around(const Picture& p, int x, int y, int radius, bool square, int level) {
  int count = 0;
  for (int dy = -radius; dy <= radius; ++dy)
    for (int dx = -radius; dx <= radius; ++dx) {
      const bool inside = x + dx >= 0 && x + dx < p.width() && y + dy >= 0 && y + dy < p.height();
      count += inside && in_window(dx, dy, radius, square) && p(x + dx, y + dy) > level;
    }
  return count;
}

Picture cleared(Picture p) {
  std::fill_n(p.data(), p.stride() * p.height(), static_cast<unsigned char>(0));
  return p;
}

TEST(EventRemoval, CountsTheWindowOnAnyLayout) {
  for_each_trial(300, 120, 12, [](Trial t) {
    const auto [width, stride, height, offset] = t.g;
    const int radius = pick(t.engine, 0, t.number % 16 == 0 ? 70 : 8);
    const auto level = static_cast<unsigned char>(t.engine());
    const bool square = t.number % 2 != 0;
    // Counts near what the window holds, so that both outcomes occur.
    const int events = (255 - level) * (2 * radius + 1) * (2 * radius + 1) / 256;
    const int min_count = std::max(0, events * pick(t.engine, 0, 12) / 10 + pick(t.engine, -1, 2));
    const auto count = [&](int x, int y, int above) { return count_around(t.src, x, y, radius, square, above); };

    Picture packed = t.dst, dense = t.dst, expected = cleared(t.dst), expected_packed = expected;
    const int packed_begin = radius + 1, packed_end = (width - radius - 15) & ~15;
    const int groups = std::max(0, (packed_end - packed_begin + 15) / 16);
    const auto exceeded = static_cast<signed char>(static_cast<unsigned char>((min_count - 1) & 255));
    expected.fill([&](int x, int y) {
      if (t.src(x, y) <= level) return 0;
      const int n = count(x, y, level);
      const bool is_packed = radius < 64 && packed_begin <= x && x < packed_begin + 16 * groups;
      expected_packed(x, y) = (is_packed ? std::min(n, 127) > exceeded : n >= min_count) ? 255 : 0;
      return n >= min_count ? 255 : 0;
    });
    if (radius == 0) std::copy_n(t.src.data(), stride * height, expected_packed.data());
    zeb::vEventRemover(t.dst.data(), t.src.data(), width, stride, height, radius, level, min_count, square);
    ASSERT_TRUE(same(expected, t.dst)) << "radius " << radius << ", min_count " << min_count;
    zeb::vMMEventRemover(packed.data(), t.src.data(), width, stride, height, radius, level, min_count, square);
    ASSERT_TRUE(same(expected_packed, packed)) << "radius " << radius << ", min_count " << min_count;

    const Picture all(2 * radius + 1, 2 * radius + 1, 2 * radius + 1, 1);
    const auto window = static_cast<float>(count_around(all, radius, radius, radius, square, 0));
    const float fraction = static_cast<float>(pick(t.engine, -1, 21)) / 20.0f,
                share = std::clamp(fraction, 1e-8f, 1.0f);
    Picture expected_dense = dense;
    expected_dense.fill([&](int x, int y) { return static_cast<float>(count(x, y, 0)) > window * share ? 255 : 0; });
    zeb::vDiscriminator(dense.data(), t.src.data(), width, stride, height, radius, fraction, square);
    ASSERT_TRUE(same(expected_dense, dense)) << "radius " << radius << ", fraction " << fraction;
  });
}

TEST(EventRemoval, PackedCountsSaturateAndTheLimitWraps) {
  // A full square of 13 by 13 pixels holds 169; columns 7 to 38 are packed, 39 and on are not.
  Picture src(60, 60, 13, 255), dst(src);
  const auto packed_and_single = [&](int min_count) {
    zeb::vMMEventRemover(dst.data(), src.data(), 60, 60, 13, 6, 0, min_count, 1);
    EXPECT_EQ(dst(6, 6), dst(39, 6));
    EXPECT_EQ(dst(7, 6), dst(38, 6));
    return std::pair{int{dst(7, 6)}, int{dst(6, 6)}};
  };
  EXPECT_EQ(packed_and_single(127), (std::pair{255, 255}));
  EXPECT_EQ(packed_and_single(128), (std::pair{0, 255})) << "127 is not above 127";
  EXPECT_EQ(packed_and_single(169), (std::pair{255, 255}));
  EXPECT_EQ(packed_and_single(170), (std::pair{255, 0})) << "169 counts as -87";
  EXPECT_EQ(packed_and_single(384), (std::pair{0, 0})) << "383 counts as 127";
  EXPECT_EQ(packed_and_single(INT_MIN), (std::pair{255, 255})) << "2^31 - 1 counts as -1";
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
