#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <functional>

#include "tests/shapes/scene.h"

using namespace zeb::testing;

namespace {

using Points = std::vector<std::pair<int, int>>;

Points hull_of(const std::vector<char>& chain, int x, int y) {
  int *xs = nullptr, *ys = nullptr, count = -1;
  vConvexHull(chain.data(), static_cast<int>(chain.size()), &xs, &ys, &count, x, y);
  Points points;
  for (int i = 0; i < count; ++i) points.emplace_back(xs[i], ys[i]);
  zeb::mem::aligned_free(xs);
  zeb::mem::aligned_free(ys);
  return points;
}

struct Rectangle {
  float xs[4] = {-1, -1, -1, -1}, ys[4] = {-1, -1, -1, -1}, length = -1, width = -1;

  friend bool operator==(const Rectangle& a, const Rectangle& b) { return std::memcmp(&a, &b, sizeof a) == 0; }
  friend void PrintTo(const Rectangle& r, std::ostream* os) {
    for (int i = 0; i < 4; ++i) *os << r.xs[i] << ", " << r.ys[i] << "; ";
    *os << r.length << " by " << r.width;
  }
};

Rectangle rectangle_of(const Points& hull, float margin) {
  std::vector<int> xs, ys;
  for (const auto& [x, y] : hull) {
    xs.push_back(x);
    ys.push_back(y);
  }
  Rectangle r;
  vCalcRect(r.xs, r.ys, xs.data(), ys.data(), static_cast<int>(hull.size()), margin, &r.length, &r.width);
  return r;
}

Rectangle enclosing(const std::vector<char>& chain, int x, int y) {
  Rectangle r;
  vMER(chain.data(), static_cast<int>(chain.size()), x, y, r.xs, r.ys, &r.length, &r.width);
  return r;
}

/// The rule, plainly: lines between the extreme points are split at the first point that lies farthest outside.
Points plain_hull(const std::vector<char>& chain, int x, int y) {
  Points p;
  for (const char c : chain) {
    p.emplace_back(x, y);
    x += dx[c & 7];
    y += dy[c & 7];
  }
  const auto more_left = [](const auto& a, const auto& b) { return a.first < b.first; };
  const auto smallest = static_cast<std::size_t>(std::min_element(p.begin(), p.end(), more_left) - p.begin());
  const auto largest = static_cast<std::size_t>(std::max_element(p.begin(), p.end(), more_left) - p.begin());
  for (std::size_t i = 0; i < chain.size(); ++i) p.push_back(p[i]);  // once more, for lines past the end

  Points hull;
  const std::function<void(std::size_t, std::size_t)> split = [&](std::size_t a, std::size_t b) {
    const float ex = static_cast<float>(p[b].first - p[a].first), ey = static_cast<float>(p[b].second - p[a].second);
    const float l = std::sqrt(ey * ey + ex * ex), ux = ex / l, uy = ey / l;
    float farthest = 0;
    std::size_t outside = a;
    for (std::size_t i = a + 1; i < b; ++i) {
      const float px = static_cast<float>(p[i].first) - static_cast<float>(p[a].first);
      const float py = static_cast<float>(p[i].second) - static_cast<float>(p[a].second);
      if (py * ux - px * uy <= farthest) continue;
      farthest = py * ux - px * uy;
      outside = i;
    }
    if (outside == a) return hull.push_back(p[a]);
    split(a, outside);
    split(outside, b);
  };
  split(smallest, largest < smallest ? largest + chain.size() : largest);
  split(largest, smallest < largest ? smallest + chain.size() : smallest);
  return hull;
}

TEST(Hull, OutlinesAndAnyOtherChainFollowThePlainRule) {
  std::mt19937 engine(1);
  for (int i = 0; i < 2000; ++i) {
    const int size = i % 10 == 0 ? 150 : 30;
    int x = 0, y = 0;
    std::vector<char> chain = random_chain(engine, pick(engine, 1, 100));
    if (i % 3 != 0) {
      Picture p = random_scene(engine, pick(engine, 1, size), size, pick(engine, 1, size));
      const zeb::Shape shape = zeb::find_next_shape(p.bitmap(), 0, 0, true, i % 3 == 1);
      if (shape.size() == 0) continue;
      chain.assign(shape.chain_code(), shape.chain_code() + shape.size());
    }
    if (i % 7 == 0) {
      // Coordinates that `float` no longer tells apart.
      x -= pick(engine, 0, 1 << 26);
      y += pick(engine, 0, 1 << 26);
    }
    const Points hull = hull_of(chain, x, y);
    ASSERT_EQ(hull, plain_hull(chain, x, y)) << i;
    const Rectangle whole = enclosing(chain, x, y);
    ASSERT_EQ(whole, chain.size() > 8 ? rectangle_of(hull, 0) : (Rectangle{{}, {}, 0, 0})) << i;
    if (hull.size() < 3) continue;
    const zeb::Shape shape(std::move(chain), x, y, 0, 0, 0, 0, false, 0);
    float length = -1, width = -1;
    const auto corners = shape.minimum_enclosing_rectangle(&length, &width);
    ASSERT_TRUE(length == whole.length && width == whole.width);
    for (std::size_t c = 0; c < 4; ++c) {
      ASSERT_EQ(corners[c].x, static_cast<int>(whole.xs[c]));
      ASSERT_EQ(corners[c].y, static_cast<int>(whole.ys[c]));
    }
  }
}

TEST(Hull, WhatHandFinds) {
  // A block of 5 by 4 pixels at (1, 1), and the same walked the other way round.
  EXPECT_EQ(hull_of({1, 1, 1, 3, 3, 3, 3, 5, 5, 5, 7, 7, 7, 7}, 1, 1), (Points{{1, 1}, {1, 4}, {5, 4}, {5, 1}}));
  EXPECT_EQ(hull_of({3, 3, 3, 3, 1, 1, 1, 7, 7, 7, 7, 5, 5, 5}, 1, 1), (Points{{1, 1}, {5, 1}}));
  // (0,0), then down to the right, to the rightmost column at (4,2), out to (4,3) and back, and over (4,0) home. Of the
  // rightmost points the first counts; from there to the leftmost, (4,3) lies in line with (4,2) and (4,0).
  EXPECT_EQ(hull_of({2, 2, 4, 2, 1, 5, 6, 4, 7, 7, 7, 7}, 0, 0), (Points{{0, 0}, {2, 2}, {4, 2}, {4, 0}}));
  EXPECT_EQ(hull_of({1, 1, 1, 5, 5, 5}, 0, 0).size(), 2u);
  EXPECT_TRUE(hull_of({}, 0, 0).empty());
}

TEST(Rectangle, LiesOnTheFirstEdgeThatGivesTheSmallestArea) {
  const Points block{{1, 1}, {1, 4}, {5, 4}, {5, 1}};
  const Rectangle around{{1, 1, 5, 5}, {1, 4, 4, 1}, 4, 3};
  EXPECT_EQ(rectangle_of(block, 0), around);
  EXPECT_EQ(rectangle_of(block, -2), around);
  EXPECT_EQ(rectangle_of(block, 0.5f), (Rectangle{{1.5f, 1.5f, 4.5f, 4.5f}, {1.5f, 3.5f, 3.5f, 1.5f}, 3, 2}));
  EXPECT_EQ(rectangle_of({{1, 2}, {1, 4}, {5, 4}, {5, 1}, {2, 1}}, 0), around) << "from before the edge's start on";
  // The ends of a triangle's edge take no part, so the only other corner has no extent along it.
  EXPECT_EQ(rectangle_of({{0, 0}, {0, 4}, {4, 4}}, 0), (Rectangle{{0, 0, 4, 4}, {4, 4, 4, 4}, 4, 0}));
  // Huge areas and lines leave the corners.
  const int side = 40000000;
  EXPECT_EQ(rectangle_of({{0, 0}, {0, side}, {side, side}, {side, 0}}, 0),
            (Rectangle{{-1, -1, -1, -1}, {-1, -1, -1, -1}, 4e7f, 4e7f}));
  EXPECT_EQ(enclosing({1, 1, 1, 1, 1, 5, 5, 5, 5, 5}, 0, 0), (Rectangle{{-1, -1, -1, -1}, {-1, -1, -1, -1}, -0.0f, 0}));

  // An oblique one, 5 by 10, whose edges all give its area; with a margin it shrinks by that to all sides.
  const Points oblique{{0, 0}, {3, 4}, {11, -2}, {8, -6}};
  for (const float margin : {0.0f, 1.0f}) {
    const Rectangle r = rectangle_of(oblique, margin);
    EXPECT_NEAR(r.length, 10 - 2 * margin, 1e-5);
    EXPECT_NEAR(r.width, 5 - 2 * margin, 1e-5);
    for (const auto& [x, y] : oblique) {
      float nearest = 100;
      for (int c = 0; c < 4; ++c)
        nearest = std::min(nearest, std::hypot(r.xs[c] - static_cast<float>(x), r.ys[c] - static_cast<float>(y)));
      EXPECT_NEAR(nearest, margin * std::sqrt(2.0f), 1e-5) << x << ", " << y;
    }
  }
}

}  // namespace
