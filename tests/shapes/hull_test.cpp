#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <utility>
#include <vector>

#include "tests/shapes/scene.h"
#include "tests/support/allocation.h"
#include "zeb/shapes.h"

using zeb::testing::FailingAllocations;
using zeb::testing::pick;
using zeb::testing::Picture;

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
  float xs[4] = {-1, -1, -1, -1}, ys[4] = {-1, -1, -1, -1};
  float length = -1, width = -1;

  friend bool operator==(const Rectangle& a, const Rectangle& b) { return std::memcmp(&a, &b, sizeof a) == 0; }
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

// ---- the rules, plainly ---------------------------------------------------------------------------------------------

Points plain_hull(const std::vector<char>& chain, int x, int y) {
  const int dx[] = {-1, 0, 1, 1, 1, 0, -1, -1}, dy[] = {1, 1, 1, 0, -1, -1, -1, 0};
  const int count = static_cast<int>(chain.size());
  Points p;
  for (const char c : chain) {
    p.emplace_back(x, y);
    x += dx[c & 7];
    y += dy[c & 7];
  }
  const auto at = [&](int i) { return p[static_cast<std::size_t>(i)]; };
  const auto farthest = [&](int a, int b) {
    const float ex = static_cast<float>(at(b).first - at(a).first);
    const float ey = static_cast<float>(at(b).second - at(a).second);
    const float l = std::sqrt(ey * ey + ex * ex), ux = ex / l, uy = ey / l;
    const float ax = static_cast<float>(at(a).first), ay = static_cast<float>(at(a).second);
    float best = 0;
    int index = -1;
    for (int i = a + 1; i < (b < a ? b + count : b); ++i) {
      const float px = static_cast<float>(at(i % count).first), py = static_cast<float>(at(i % count).second);
      const float value = (py - ay) * ux - (px - ax) * uy;
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
  std::vector<int> list = {smallest, largest};
  std::size_t i = 0;
  const auto refine = [&] {
    while (i + 1 < list.size()) {
      const int f = farthest(list[i], list[i + 1]);
      if (f >= 0)
        list.insert(list.begin() + static_cast<std::ptrdiff_t>(i) + 1, f);
      else
        ++i;
    }
  };
  refine();
  list.push_back(smallest);
  refine();
  list.pop_back();
  Points hull;
  for (const int index : list) hull.push_back(at(index));
  return hull;
}

Rectangle plain_rectangle(const Points& hull, float margin) {
  const int count = static_cast<int>(hull.size());
  const auto at = [&](int i) { return hull[static_cast<std::size_t>(i % count)]; };
  float best = 1e16f, ax = 0, ay = 0, ux = 0, uy = 0, along_min = 0, along_max = 0, across_min = 0;
  for (int i = 0; i < count; ++i) {
    const auto relative = [&](int k) {
      return std::pair<float, float>(static_cast<float>(at(k).first - at(i).first),
                                     static_cast<float>(at(k).second - at(i).second));
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
    if (best > area) {
      best = area;
      ax = static_cast<float>(at(i).first);
      ay = static_cast<float>(at(i).second);
      ux = vx;
      uy = vy;
      along_min = low;
      along_max = high;
      across_min = deep;
    }
  }
  const float m = margin < 0 ? 0 : margin, t = -m;
  along_min += m;
  along_max -= m;
  across_min += m;
  Rectangle r;
  r.length = -m - across_min;
  r.width = along_max - along_min;
  if (r.width > r.length) std::swap(r.length, r.width);
  if (best >= 1e15f) return r;
  const float along[] = {along_min, along_max, along_max, along_min}, across[] = {t, t, across_min, across_min};
  for (int i = 0; i < 4; ++i) {
    r.xs[i] = along[i] * ux - across[i] * uy + ax;
    r.ys[i] = along[i] * uy + across[i] * ux + ay;
  }
  return r;
}

// ---- against the implementation -------------------------------------------------------------------------------------

std::vector<char> traced(const Picture& p, bool ascending, int& x, int& y) {
  const zeb::Shape shape =
      zeb::find_next_shape(p.data(), static_cast<unsigned>(p.width()), static_cast<unsigned>(p.stride()),
                           static_cast<unsigned>(p.height()), 0, 0, true, ascending);
  x = shape.start_point().x;
  y = shape.start_point().y;
  return {shape.chain_code(), shape.chain_code() + shape.size()};
}

TEST(Hull, OutlinesAndAnyOtherChainFollowThePlainRules) {
  std::mt19937 engine(1);
  for (int i = 0; i < 3000; ++i) {
    const int size = i % 10 == 0 ? 150 : 30;
    std::vector<char> chain(static_cast<std::size_t>(pick(engine, 1, 100)));
    for (auto& code : chain) code = static_cast<char>(engine());
    int x = 0, y = 0;
    if (i % 3 != 0) {
      const Picture p = zeb::testing::random_scene(engine, pick(engine, 1, size), size, pick(engine, 1, size));
      chain = traced(p, i % 3 == 1, x, y);
      if (chain.empty()) continue;
    }
    if (i % 7 == 0) {
      // Coordinates that `float` no longer tells apart.
      x -= pick(engine, 0, 1 << 26);
      y += pick(engine, 0, 1 << 26);
    }
    const Points hull = hull_of(chain, x, y);
    ASSERT_EQ(hull, plain_hull(chain, x, y)) << i;
    const float margin = 0.25f * static_cast<float>(pick(engine, -4, 8));
    const Rectangle expected = plain_rectangle(hull, margin), actual = rectangle_of(hull, margin);
    ASSERT_EQ(testing::PrintToString(expected.xs), testing::PrintToString(actual.xs)) << i;
    ASSERT_TRUE(expected == actual) << i;

    const Rectangle tight = chain.size() > 8 ? plain_rectangle(hull, 0) : Rectangle{{}, {}, 0, 0};
    Rectangle whole;
    vMER(chain.data(), static_cast<int>(chain.size()), x, y, whole.xs, whole.ys, &whole.length, &whole.width);
    ASSERT_TRUE(tight == whole) << i;
    if (hull.size() < 3) continue;
    const zeb::Shape shape(std::move(chain), x, y, 0, 0, 0, 0, false, 0);
    float length = -1, width = -1;
    const auto corners = shape.minimum_enclosing_rectangle(&length, &width);
    ASSERT_EQ(length, whole.length);
    ASSERT_EQ(width, whole.width);
    for (std::size_t c = 0; c < 4; ++c) {
      ASSERT_EQ(corners[c].x, static_cast<int>(whole.xs[c]));
      ASSERT_EQ(corners[c].y, static_cast<int>(whole.ys[c]));
    }
  }
}

TEST(Hull, OfABlockIsItsCorners) {
  int x = 0, y = 0;
  const Picture block = Picture::text({"......", ".#####", ".#####", ".#####", ".#####"});
  const auto chain = traced(block, true, x, y);
  const Points corners = {{1, 1}, {1, 4}, {5, 4}, {5, 1}};
  EXPECT_EQ(hull_of(chain, x, y), corners);
  EXPECT_EQ(hull_of(traced(block, false, x, y), x, y), (Points{{1, 1}, {5, 1}})) << "walked the other way round";

  const Rectangle r = rectangle_of(corners, 0.5f);
  EXPECT_EQ(std::vector<float>(r.xs, r.xs + 4), (std::vector<float>{1.5f, 1.5f, 4.5f, 4.5f}));
  EXPECT_EQ(std::vector<float>(r.ys, r.ys + 4), (std::vector<float>{1.5f, 3.5f, 3.5f, 1.5f}));
  EXPECT_EQ(r.length, 3.0f);
  EXPECT_EQ(r.width, 2.0f);
  EXPECT_TRUE(rectangle_of(corners, -3) == rectangle_of(corners, 0));
}

TEST(Hull, AWalkOutAndBackMayLoseACorner) {
  // (0,0), then down to the right, to the rightmost column at (4,2), out to (4,3) and back, and over (4,0) home. Of the
  // rightmost points the first counts; from there to the leftmost, (4,3) lies in line with (4,2) and (4,0).
  EXPECT_EQ(hull_of({2, 2, 4, 2, 1, 5, 6, 4, 7, 7, 7, 7}, 0, 0), (Points{{0, 0}, {2, 2}, {4, 2}, {4, 0}}));
}

TEST(Hull, ATriangleKeepsItsFirstEdge) {
  // The ends of the edge take no part, so the only other corner has no extent along it.
  const Rectangle r = rectangle_of({{0, 0}, {0, 4}, {4, 4}}, 0);
  EXPECT_EQ(std::vector<float>(r.xs, r.xs + 4), (std::vector<float>{0, 0, 4, 4}));
  EXPECT_EQ(std::vector<float>(r.ys, r.ys + 4), (std::vector<float>{4, 4, 4, 4}));
  EXPECT_EQ(r.length, 4.0f);
  EXPECT_EQ(r.width, 0.0f);
}

TEST(Hull, HugeAreasAndLinesLeaveTheCorners) {
  const int side = 40000000;
  const Rectangle huge = rectangle_of({{0, 0}, {0, side}, {side, side}, {side, 0}}, 0);
  EXPECT_EQ(huge.xs[2], -1.0f);
  EXPECT_EQ(huge.length, 4e7f);
  EXPECT_EQ(huge.width, 4e7f);
  for (const std::vector<char>& line :
       {std::vector<char>{1, 1, 1, 1, 1, 5, 5, 5, 5, 5}, {3, 3, 3, 3, 3, 7, 7, 7, 7, 7}}) {
    EXPECT_EQ(hull_of(line, 0, 0).size(), 2u);
    Rectangle r;
    vMER(line.data(), 10, 0, 0, r.xs, r.ys, &r.length, &r.width);
    EXPECT_EQ(r.xs[3], -1.0f);
    EXPECT_EQ(r.length, 0.0f);
    EXPECT_EQ(r.width, 0.0f);
  }
}

TEST(Hull, ShortChainsAndShortMemoryGiveNothing) {
  const std::vector<char> chain = {1, 1, 1, 3, 3, 5, 5, 5, 7, 7};
  for (int successes = -1; successes <= 3; ++successes) {
    const FailingAllocations failing(successes);
    const bool enough = successes < 0 || successes == 3;
    EXPECT_EQ(hull_of(chain, 0, 0).size(), enough ? 4u : 0u);
  }
  Rectangle r;
  {
    const FailingAllocations failing(0);
    vMER(chain.data(), 10, 0, 0, r.xs, r.ys, &r.length, &r.width);
    EXPECT_TRUE(r == (Rectangle{{}, {}, 0, 0}));
  }
  r = Rectangle();
  vMER(chain.data(), 8, 0, 0, r.xs, r.ys, &r.length, &r.width);
  EXPECT_TRUE(r == (Rectangle{{}, {}, 0, 0}));
  int *xs = nullptr, *ys = nullptr, count = -1;
  for (const int hostile : {0, -1, INT32_MIN}) {
    vConvexHull(nullptr, hostile, &xs, &ys, &count, 0, 0);
    EXPECT_EQ(xs, nullptr);
    EXPECT_EQ(count, 0);
  }
}

}  // namespace
