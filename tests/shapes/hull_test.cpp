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

// ---- the rules, plainly ---------------------------------------------------------------------------------------------

Points plain_hull(const std::vector<char>& chain, int x, int y) {
  const int count = static_cast<int>(chain.size());
  Points p;
  for (const char c : chain) {
    p.emplace_back(x, y);
    x += dx[c & 7];
    y += dy[c & 7];
  }
  const auto at = [&](int i) { return p[static_cast<std::size_t>(i % count)]; };
  const auto farthest = [&](int a, int b) {
    const float ex = static_cast<float>(at(b).first - at(a).first);
    const float ey = static_cast<float>(at(b).second - at(a).second);
    const float l = std::sqrt(ey * ey + ex * ex), ux = ex / l, uy = ey / l;
    float best = 0;
    int index = -1;
    for (int i = a + 1; i < (b < a ? b + count : b); ++i) {
      const float px = static_cast<float>(at(i).first) - static_cast<float>(at(a).first);
      const float py = static_cast<float>(at(i).second) - static_cast<float>(at(a).second);
      const float value = py * ux - px * uy;
      if (value > best) {
        best = value;
        index = i % count;
      }
    }
    return index;
  };
  int smallest = 0, largest = 0;
  for (int i = 0; i < count; ++i) {
    if (at(i).first < at(smallest).first) smallest = i;
    if (at(i).first > at(largest).first) largest = i;
  }
  Points hull;
  const std::function<void(int, int)> split = [&](int a, int b) {
    if (const int f = farthest(a, b); f >= 0) {
      split(a, f);
      split(f, b);
    } else {
      hull.push_back(at(a));
    }
  };
  split(smallest, largest);
  split(largest, smallest);
  return hull;
}

Rectangle plain_rectangle(const Points& hull, float margin) {
  const int count = static_cast<int>(hull.size());
  const auto at = [&](int i) { return hull[static_cast<std::size_t>(i % count)]; };
  float best = 1e16f, ux = 0, uy = 0, along_min = 0, along_max = 0, across_min = 0;
  std::pair<int, int> origin;
  for (int i = 0; i < count; ++i) {
    const auto relative = [&](int k) {
      return std::pair(static_cast<float>(at(k).first - at(i).first), static_cast<float>(at(k).second - at(i).second));
    };
    const auto [ex, ey] = relative(i + 1);
    const float l = std::sqrt(ey * ey + ex * ex), vx = ex / l, vy = ey / l;
    float low = 1e8f, high = -1e8f, deep = 1e8f;
    for (int k = i + 2; k < i + count; ++k) {
      const auto [px, py] = relative(k);
      low = std::min(low, px * vx + py * vy);
      high = std::max(high, px * vx + py * vy);
      deep = std::min(deep, py * vx - px * vy);
    }
    const float area = (high - low) * (0 - deep);
    if (!(best > area)) continue;
    std::tie(best, origin, ux, uy, along_min, along_max, across_min) = std::tuple(area, at(i), vx, vy, low, high, deep);
  }
  const float m = margin < 0 ? 0 : margin;
  along_min += m;
  along_max -= m;
  across_min += m;
  Rectangle r;
  r.length = -m - across_min;
  r.width = along_max - along_min;
  if (r.width > r.length) std::swap(r.length, r.width);
  if (best >= 1e15f) return r;
  const float along[] = {along_min, along_max, along_max, along_min}, across[] = {-m, -m, across_min, across_min};
  for (int i = 0; i < 4; ++i) {
    r.xs[i] = along[i] * ux - across[i] * uy + static_cast<float>(origin.first);
    r.ys[i] = along[i] * uy + across[i] * ux + static_cast<float>(origin.second);
  }
  return r;
}

// ---- tests ----------------------------------------------------------------------------------------------------------

TEST(Hull, OutlinesAndAnyOtherChainFollowThePlainRules) {
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
    const float margin = 0.25f * static_cast<float>(pick(engine, -4, 8));
    ASSERT_EQ(plain_rectangle(hull, margin), rectangle_of(hull, margin)) << i;

    const Rectangle whole = enclosing(chain, x, y);
    ASSERT_EQ(chain.size() > 8 ? plain_rectangle(hull, 0) : (Rectangle{{}, {}, 0, 0}), whole) << i;
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
  EXPECT_EQ(rectangle_of({{1, 1}, {1, 4}, {5, 4}, {5, 1}}, 0.5f),
            (Rectangle{{1.5f, 1.5f, 4.5f, 4.5f}, {1.5f, 3.5f, 3.5f, 1.5f}, 3, 2}));
  // (0,0), then down to the right, to the rightmost column at (4,2), out to (4,3) and back, and over (4,0) home. Of the
  // rightmost points the first counts; from there to the leftmost, (4,3) lies in line with (4,2) and (4,0).
  EXPECT_EQ(hull_of({2, 2, 4, 2, 1, 5, 6, 4, 7, 7, 7, 7}, 0, 0), (Points{{0, 0}, {2, 2}, {4, 2}, {4, 0}}));
  // The ends of a triangle's edge take no part, so the only other corner has no extent along it.
  EXPECT_EQ(rectangle_of({{0, 0}, {0, 4}, {4, 4}}, 0), (Rectangle{{0, 0, 4, 4}, {4, 4, 4, 4}, 4, 0}));
  // Huge areas and lines leave the corners.
  const int side = 40000000;
  EXPECT_EQ(rectangle_of({{0, 0}, {0, side}, {side, side}, {side, 0}}, 0),
            (Rectangle{{-1, -1, -1, -1}, {-1, -1, -1, -1}, 4e7f, 4e7f}));
  EXPECT_EQ(enclosing({1, 1, 1, 1, 1, 5, 5, 5, 5, 5}, 0, 0), (Rectangle{{-1, -1, -1, -1}, {-1, -1, -1, -1}, -0.0f, 0}));
  EXPECT_EQ(hull_of({1, 1, 1, 5, 5, 5}, 0, 0).size(), 2u);
  EXPECT_TRUE(hull_of({}, 0, 0).empty());
}

}  // namespace
