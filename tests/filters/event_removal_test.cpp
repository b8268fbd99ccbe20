#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "tests/support/allocation.h"
#include "tests/support/picture.h"
#include "tests/support/random_geometry.h"
#include "zeb/filters.h"

using zeb::testing::FailingAllocations;
using zeb::testing::Geometry;
using zeb::testing::pick;
using zeb::testing::Picture;
using zeb::testing::same;

namespace {

bool in_window(int x, int y, int radius, bool square) {
  return square ? std::max(std::abs(x), std::abs(y)) <= radius
                : static_cast<float>(radius * radius) + 0.4 >= static_cast<float>(x * x + y * y);
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
  for (int y = 0; y < p.height(); ++y)
    for (int x = 0; x < p.stride(); ++x) p(x, y) = 0;
  return p;
}

struct Case {
  Geometry g;
  int radius, level, min_count;
  bool square;

  /// Counts near what the window holds, so that both outcomes occur.
  static Case random(std::mt19937& engine, int largest_radius) {
    Case c{Geometry::random(engine, 120, 12), pick(engine, 0, largest_radius), pick(engine, 0, 255), 0,
           pick(engine, 0, 1) != 0};
    const int expected = (255 - c.level) * (2 * c.radius + 1) * (2 * c.radius + 1) / 256;
    c.min_count = std::max(0, expected * pick(engine, 0, 12) / 10 + pick(engine, -1, 2));
    return c;
  }

  friend std::ostream& operator<<(std::ostream& os, const Case& c) {
    return os << c.g << ", radius " << c.radius << ", level " << c.level << ", min_count " << c.min_count
              << (c.square ? ", square" : ", disc");
  }
};

TEST(EventRemover, CountsTheWindowOnAnyLayout) {
  std::mt19937 engine(1);
  for (int i = 0; i < 400; ++i) {
    const Case c = Case::random(engine, i % 8 == 0 ? 70 : 8);
    SCOPED_TRACE(c);
    Picture src = Picture::random(engine, c.g.width, c.g.stride, c.g.height, c.g.offset);
    Picture dst = Picture::random(engine, c.g.width, c.g.stride, c.g.height), packed = dst, dense = dst;
    Picture expected = cleared(dst), expected_packed = expected, expected_dense = dense;
    const auto fraction = static_cast<float>(pick(engine, -1, 21)) / 20.0f;
    int window = 0;
    for (int y = -c.radius; y <= c.radius; ++y)
      for (int x = -c.radius; x <= c.radius; ++x) window += in_window(x, y, c.radius, c.square);
    const float share = fraction < 1e-8f ? 1e-8f : fraction > 0.99999999f ? 1.0f : fraction;

    const int packed_begin = c.radius + 1, packed_end = (c.g.width - c.radius - 15) & ~15;
    const int groups = std::max(0, (packed_end - packed_begin + 15) / 16);
    const auto wrapped_count = static_cast<signed char>(static_cast<unsigned char>((c.min_count - 1) & 255));
    for (int y = 0; y < c.g.height; ++y)
      for (int x = 0; x < c.g.width; ++x) {
        const bool event = src(x, y) > c.level;
        const int count = count_around(src, x, y, c.radius, c.square, c.level);
        expected(x, y) = event && count >= c.min_count ? 255 : 0;
        const bool is_packed = c.radius < 64 && packed_begin <= x && x < packed_begin + 16 * groups;
        const bool enough = is_packed ? std::min(count, 127) > wrapped_count : count >= c.min_count;
        expected_packed(x, y) = event && enough ? 255 : 0;
        const int set = count_around(src, x, y, c.radius, c.square, 0);
        expected_dense(x, y) = static_cast<float>(set) > static_cast<float>(window) * share ? 255 : 0;
      }

    const auto level = static_cast<unsigned char>(c.level);
    zeb::vEventRemover(dst.data(), src.data(), c.g.width, c.g.stride, c.g.height, c.radius, level, c.min_count,
                       c.square);
    ASSERT_TRUE(same(expected, dst));
    zeb::vDiscriminator(dense.data(), src.data(), c.g.width, c.g.stride, c.g.height, c.radius, fraction, c.square);
    ASSERT_TRUE(same(expected_dense, dense)) << fraction;
    if (c.radius == 0) {
      for (int y = 0; y < c.g.height; ++y)
        for (int x = 0; x < c.g.stride; ++x) expected_packed(x, y) = src(x, y);
    }
    zeb::vMMEventRemover(packed.data(), src.data(), c.g.width, c.g.stride, c.g.height, c.radius, level, c.min_count,
                         c.square);
    ASSERT_TRUE(same(expected_packed, packed));
  }
}

TEST(EventRemover, RemovesSpecksAndKeepsBlobs) {
  Picture src = Picture::text({"a.......", "...aa...", "..aaaa..", "..aaaa..", "...aa..a", "........"});
  Picture dst(8, 8, 6, 1);
  zeb::vEventRemover(dst.data(), src.data(), 8, 8, 6, 1, 127, 3, 0);
  EXPECT_EQ(dst, Picture::text({"........", "...##...", "..####..", "..####..", "...##...", "........"}));
  zeb::vEventRemover(dst.data(), src.data(), 8, 8, 6, 1, 128, 0, 0);
  EXPECT_EQ(dst, Picture(8, 8, 6)) << "128 is not above 128";
  zeb::vDiscriminator(dst.data(), src.data(), 8, 8, 6, 1, 0.8f, 0);
  EXPECT_EQ(dst, Picture::text({"........", "........", "...##...", "...##...", "........", "........"}))
      << "more than four of five";
  zeb::vDiscriminator(dst.data(), src.data(), 8, 8, 6, 1, 0.0f, 1);
  EXPECT_EQ(dst, Picture::text({"######..", "#######.", ".######.", ".#######", ".#######", "..######"}));
  zeb::vDiscriminator(dst.data(), Picture(8, 8, 6, 255).data(), 8, 8, 6, 1, 1.0f, 1);
  EXPECT_EQ(dst, Picture(8, 8, 6)) << "nothing exceeds the whole window";
}

TEST(EventRemover, PackedCountsSaturateAndTheLimitWraps) {
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
  EXPECT_EQ(packed_and_single(-2147483647 - 1), (std::pair{255, 255})) << "2^31 - 1 counts as -1";
}

TEST(EventRemover, GivesUpQuietly) {
  Picture src(20, 20, 5, 7), dst(20, 20, 5, 1);
  const Picture untouched = dst;
  const auto run_all = [&](int width, int height, int radius) {
    zeb::vDiscriminator(dst.data(), src.data(), width, 20, height, radius, 0.5f, 0);
    zeb::vEventRemover(dst.data(), src.data(), width, 20, height, radius, 3, 1, 0);
    zeb::vMMEventRemover(dst.data(), src.data(), width, 20, height, radius, 3, 1, 0);
  };
  for (const int negative : {-1, -2147483647 - 1}) {
    run_all(20, negative, 2);
    run_all(20, 5, negative);
  }
  zeb::vDiscriminator(dst.data(), src.data(), 0, 20, 5, 2, 0.5f, 0);
  for (int successes = 0; successes < 2; ++successes) {
    const FailingAllocations failing(successes);
    run_all(20, 5, 64);
  }
  EXPECT_EQ(dst, untouched);
  for (const int radius : {1, 64}) {
    for (const int width : {0, -1}) {
      dst = untouched;
      zeb::vMMEventRemover(dst.data(), src.data(), width, 20, 5, radius, 3, 1, 0);
      EXPECT_EQ(dst, Picture(20, 20, 5)) << "all is padding";
    }
  }
  zeb::vMMEventRemover(dst.data(), src.data(), 0, 20, 5, 0, 3, 1, 0);
  EXPECT_EQ(dst, src);
  zeb::vEventRemover(dst.data(), src.data(), 20, 20, 5, 2147483647, 3, 100, 1);
  EXPECT_EQ(dst, Picture(20, 20, 5, 255)) << "the window covers the image";
}

}  // namespace
