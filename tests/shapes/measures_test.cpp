#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <limits>
#include <vector>

#include "tests/shapes/scene.h"
#include "tests/support/allocation.h"
#include "zeb/shapes.h"

using zeb::testing::FailingAllocations;
using zeb::testing::pick;
using zeb::testing::Picture;
using zeb::testing::random_scene;

namespace {

constexpr int dx[] = {-1, 0, 1, 1, 1, 0, -1, -1}, dy[] = {1, 1, 1, 0, -1, -1, -1, 0};

TEST(PolygonArea, IsSignedAndSummedInOrder) {
  int xs[] = {0, 1, 1, 0}, ys[] = {0, 0, 1, 1};
  EXPECT_EQ(fPolygonArea(xs, ys, 4), 1.0f);
  std::reverse(xs, xs + 4);
  std::reverse(ys, ys + 4);
  EXPECT_EQ(fPolygonArea(xs, ys, 4), -1.0f);
  EXPECT_EQ(fPolygonArea(xs, ys, 0), 0.0f);
  EXPECT_EQ(fPolygonArea(nullptr, nullptr, -3), 0.0f);
  // Beyond 2^24 single units are lost in the running sum, and products wrap around.
  int far_x[] = {0, 4097, 4098}, far_y[] = {4097, 0, 1};
  const float sum = static_cast<float>(-4097 * 4097) + -1.0f + static_cast<float>(4098 * 4098);
  EXPECT_EQ(fPolygonArea(far_x, far_y, 3), 0.5f * sum);
  int huge_x[] = {std::numeric_limits<int>::max(), -1}, huge_y[] = {3, 4};
  EXPECT_EQ(fPolygonArea(huge_x, huge_y, 2), -2147483648.0f) << "twice 2^31 * 7, wrapped to -2^31, halved";
}

struct Lengths {
  int count = -1;
  float shortest = -1, longest = -1, total = -1;
};

Lengths lengths(Picture p) {
  Lengths l;
  const Picture before = p;
  l.total = fGetAllShapeLength(p.data(), p.width(), p.stride(), p.height(), &l.count, &l.shortest, &l.longest);
  EXPECT_EQ(p, before);
  EXPECT_EQ(fGetAllShapeLength(p.data(), p.width(), p.stride(), p.height(), nullptr, nullptr, nullptr), l.total);
  return l;
}

TEST(AllShapeLength, CountsLiteralShapes) {
  // The block's chain has five odd codes, the line's five as well: out, back and the first step again. Length 5 + 2.
  Lengths l = lengths(Picture::text({"##....", "##....", "......", "..###."}, 9));
  EXPECT_EQ(l.count, 2);
  EXPECT_EQ(l.shortest, 7.0f);
  EXPECT_EQ(l.longest, 7.0f);
  EXPECT_EQ(l.total, 14.0f);
  // Four diagonal steps around a hole and the first one again, in order; a pair, out, back and out again.
  l = lengths(Picture::text({"..#..", ".#.#.", "..#..", ".....", "##..."}));
  const float diagonal = std::sqrt(2.0f);
  EXPECT_EQ(l.count, 2);
  EXPECT_EQ(l.longest, diagonal + diagonal + diagonal + diagonal + diagonal + 2.0f);
  EXPECT_EQ(l.shortest, 5.0f);
  l = lengths(Picture(5, 5, 5));
  EXPECT_TRUE(l.count == 0 && l.total == 0.0f && l.shortest == 0.0f && l.longest == 0.0f);
  for (const auto& [width, height] : {std::pair{0, 3}, {3, 0}, {-2, 3}, {3, -2}}) {
    l = Lengths();
    EXPECT_EQ(fGetAllShapeLength(nullptr, width, 4, height, &l.count, &l.shortest, &l.longest), 0.0f);
    EXPECT_EQ(l.count, 0);
  }
}

TEST(AllShapeLength, AnIsolatedPixelIsFoundOverAndOver) {
  const Lengths l = lengths(Picture::text({"#..", "...", "###"}));
  const float each = std::sqrt(2.0f) + 2.0f;
  float total = 0.0f;
  for (int i = 0; i < 10000; ++i) total += each;
  EXPECT_EQ(l.count, 10000);
  EXPECT_EQ(l.total, total);
  EXPECT_TRUE(l.shortest == each && l.longest == each);
}

TEST(AllShapeLength, GivesUpQuietlyWithoutMemory) {
  Picture p = Picture::text({"##", "##"});
  for (const int granted : {0, 1}) {
    Lengths l;
    const FailingAllocations failing(granted);
    EXPECT_EQ(fGetAllShapeLength(p.data(), 2, 2, 2, &l.count, &l.shortest, &l.longest), 0.0f);
    EXPECT_EQ(l.count, -1);
  }
}

TEST(AllShapeLength, IsTheSumOverTracedOutlines) {
  std::mt19937 engine(1);
  for (int i = 0; i < 200; ++i) {
    const int width = pick(engine, 1, 60);
    Picture p = random_scene(engine, width, width + pick(engine, 0, 9), pick(engine, 1, 40));
    Picture rest = p;
    auto bitmap = rest.bitmap();
    float total = 0.0f, longest = 0.0f;
    bool isolated = false;
    const auto shapes = zeb::get_all_shapes(bitmap, true);
    for (const zeb::Shape& shape : shapes) {
      isolated = isolated || shape.size() == 0;
      if (isolated) break;
      float length = 0.0f;
      for (std::uint64_t k = 0; k <= shape.size(); ++k)
        length += shape.chain_code()[k % shape.size()] % 2 == 1 ? 1.0f : std::sqrt(2.0f);
      length += 2.0f;
      total += length;
      longest = std::max(longest, length);
    }
    if (isolated) continue;
    const Lengths l = lengths(p);
    ASSERT_EQ(l.count, static_cast<int>(shapes.size()));
    ASSERT_EQ(l.total, total);
    ASSERT_EQ(l.longest, longest);
  }
}

TEST(ShapeOverlap, CountsTargetsOfSteps) {
  Picture p = Picture::text({"....", ".##.", ".##."});
  char chain[] = {1, 3, 5, 7, static_cast<char>(8 + 3)};
  EXPECT_EQ(fGetShapeOverlap(p.data(), 4, chain, 4, 1, 1), 1.0f);
  EXPECT_EQ(fGetShapeOverlap(p.data(), 4, chain, 3, 1, 0), 2.0f / 3.0f);
  EXPECT_EQ(fGetShapeOverlap(p.data(), 4, chain + 4, 1, 1, 1), 1.0f) << "masked with 7";
  EXPECT_TRUE(std::isnan(fGetShapeOverlap(p.data(), 4, chain, 0, 1, 1)));
}

TEST(GetPos, EndOfAWalk) {
  char chain[] = {0, 1, 2, 3, 4, 5, 6, 7, 2, 2, 3};
  int x = 0, y = 0;
  vGetPos(chain, 8, 5, -6, &x, &y);
  EXPECT_TRUE(x == 5 && y == -6);
  vGetPos(chain, 11, 5, -6, &x, &y);
  EXPECT_TRUE(x == 8 && y == -4);
  vGetPos(chain, 0, 1, 2, &x, &y);
  EXPECT_TRUE(x == 1 && y == 2);
}

TEST(ShapeGetGrad, FollowsTheRules) {
  std::mt19937 engine(2);
  for (int i = 0; i < 500; ++i) {
    const int width = pick(engine, 1, 6), height = pick(engine, 1, 6);
    Picture p = Picture::random(engine, width, width + pick(engine, 0, 3), height);
    std::vector<char> chain(static_cast<std::size_t>(pick(engine, 1, 30)));
    for (char& c : chain) c = static_cast<char>(engine());
    const int start_x = pick(engine, 0, width - 1), start_y = pick(engine, 0, height - 1);
    std::vector<unsigned> expected, actual(chain.size());
    int x = start_x, y = start_y, sum = 0;
    for (const char code : chain) {
      int g = 0;
      for (int r = y - 1; r <= y + 1; ++r)
        for (int c = x - 1; c <= x + 1; ++c)
          if (0 <= r && r < height - 1 && 0 <= c && c < width - 1)
            g = std::max({g, std::abs(p(c + 1, r) - p(c, r)), std::abs(p(c, r + 1) - p(c, r))});
      expected.push_back(static_cast<unsigned>(g));
      sum += g;
      const int nx = x + dx[code & 7], ny = y + dy[code & 7];
      if (nx >= 0 && nx < width) x = nx;
      if (ny >= 0 && ny < height) y = ny;
    }
    float mean = -1;
    vShapeGetGrad(actual.data(), p.data(), chain.data(), width, p.stride(), height, static_cast<int>(chain.size()),
                  start_x, start_y, &mean);
    ASSERT_EQ(actual, expected);
    ASSERT_EQ(mean, static_cast<float>(sum) / static_cast<float>(chain.size()));
  }
  float mean = -1;
  vShapeGetGrad(nullptr, nullptr, nullptr, 5, 5, 5, 0, 1, 1, &mean);
  EXPECT_TRUE(std::isnan(mean));
  vShapeGetGrad(nullptr, nullptr, nullptr, 5, 5, 5, -2, 1, 1, &mean);
  EXPECT_EQ(mean, 0.0f);
}

/// The rule, plainly; `d` instead of the scaled result.
std::vector<float> plain_distances(const std::vector<char>& chain, int skip) {
  const int count = static_cast<int>(chain.size());
  std::vector<int> xs, ys;
  int x = 0, y = 0;
  for (const char code : chain) {
    xs.push_back(x);
    ys.push_back(y);
    x += dx[code & 7];
    y += dy[code & 7];
  }
  std::vector<float> distances;
  for (int i = 0; i < count; ++i) {
    float d = static_cast<float>(count);
    const auto dist = [&](int offset) {
      const auto a = static_cast<std::size_t>(i), k = static_cast<std::size_t>(((i + offset) % count + count) % count);
      const int ex = xs[a] - xs[k], ey = ys[a] - ys[k];
      return std::sqrt(static_cast<float>(ex * ex + ey * ey)) + 1.0f;
    };
    if (skip == 0) {
      const int h = count / 2;
      float r = 0.0f;
      const auto look = [&](int offset) {
        const float at = dist(offset);
        if (at > r)
          r = at;
        else
          d = std::min(d, at);
      };
      if (h > 1)
        for (int offset = 1; offset <= h - 1; ++offset) look(offset);
      r = 0.0f;
      if (count - 1 >= h)
        for (int offset = count - 1; offset >= h; --offset) look(offset);
    } else {
      for (int offset = skip; offset <= count - skip - 1; ++offset) d = std::min(d, dist(offset));
    }
    distances.push_back(d);
  }
  return distances;
}

TEST(ShapeKorrelation, FollowsTheRules) {
  std::mt19937 engine(3);
  for (int i = 0; i < 1500; ++i) {
    std::vector<char> chain(static_cast<std::size_t>(i < 20 ? i / 2 + 1 : pick(engine, 1, 90)));
    const int straight = pick(engine, 0, 7);
    for (char& c : chain) c = static_cast<char>(pick(engine, 0, 2) == 0 ? straight : pick(engine, -128, 127));
    const int count = static_cast<int>(chain.size());
    const int skip = pick(engine, 0, 1) == 0 ? 0 : pick(engine, -5, count / 2 + 2);
    const float scale = 0.37f * static_cast<float>(pick(engine, 1, 1000));
    const int out_size = pick(engine, 1, count + 5);
    std::vector<unsigned> actual(static_cast<std::size_t>(count + 5), 77), expected = actual;
    std::fill_n(expected.begin(), out_size, 0u);
    float low = static_cast<float>(count), high = 0.0f;
    const std::vector<float> distances = plain_distances(chain, skip);
    for (std::size_t k = 0; k < distances.size(); ++k) {
      const float d = distances[k];
      expected[k] = static_cast<unsigned>(d * scale);
      low = std::min(low, d);
      if (d > high && d < static_cast<float>(count - 1)) high = d;
    }
    float lowest = -1, highest = -1;
    vShapeKorrelation(actual.data(), chain.data(), count, out_size, scale, skip, &lowest, &highest);
    ASSERT_EQ(actual, expected) << "count " << count << ", skip " << skip;
    ASSERT_EQ(lowest, low);
    ASSERT_EQ(highest, high);
  }
}

TEST(ShapeKorrelation, LiteralChains) {
  char line[] = {3, 3, 3, 7, 7, 7};  // points 0 1 2 3 2 1
  unsigned out[6];
  float low = -1, high = -1;
  vShapeKorrelation(out, line, 6, 6, 1.0f, 1, &low, &high);
  EXPECT_EQ(std::vector<unsigned>(out, out + 6), (std::vector<unsigned>{2, 1, 1, 2, 1, 1}));
  EXPECT_TRUE(low == 1.0f && high == 2.0f);
  vShapeKorrelation(out, line, 4, 4, 1e9f, 2, &low, &high);
  EXPECT_EQ(out[0], 4000000000u) << "no point is looked at; above 2^31 as well";
  EXPECT_TRUE(low == 4.0f && high == 0.0f);
  vShapeKorrelation(out, line, 4, 4, -0.5f, 2, &low, &high);
  EXPECT_EQ(out[0], 0xFFFFFFFEu) << "wraps around";
  for (const int skip : {std::numeric_limits<int>::min(), std::numeric_limits<int>::max()})
    vShapeKorrelation(out, line, 6, 6, std::numeric_limits<float>::quiet_NaN(), skip, &low, &high);
  out[0] = 77;
  for (const auto& [count, out_size] : {std::pair{0, 6}, {-1, 6}, {6, 0}, {6, -1}}) {
    low = high = -1;
    vShapeKorrelation(out, line, count, out_size, 1.0f, 1, &low, &high);
    EXPECT_TRUE(low == 0.0f && high == 0.0f && out[0] == 77);
  }
}

}  // namespace
