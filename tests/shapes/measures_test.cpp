#include <gtest/gtest.h>

#include <array>
#include <climits>
#include <cmath>

#include "tests/shapes/scene.h"

using namespace zeb::testing;

namespace {

TEST(PolygonArea, IsSignedAndSummedInOrder) {
  int xs[] = {0, 1, 1, 0}, ys[] = {0, 0, 1, 1};
  EXPECT_EQ(fPolygonArea(xs, ys, 4), 1.0f);
  EXPECT_EQ(fPolygonArea(ys, xs, 4), -1.0f);
  EXPECT_EQ(fPolygonArea(xs, ys, 0), 0.0f);
  // Beyond 2^24 single units are lost in the running sum, and products wrap around.
  int far_x[] = {0, 4097, 4098}, far_y[] = {4097, 0, 1};
  const float sum = static_cast<float>(-4097 * 4097) + -1.0f + static_cast<float>(4098 * 4098);
  EXPECT_EQ(fPolygonArea(far_x, far_y, 3), 0.5f * sum);
  int huge_x[] = {INT_MAX, -1}, huge_y[] = {3, 4};
  EXPECT_EQ(fPolygonArea(huge_x, huge_y, 2), -2147483648.0f) << "twice 2^31 * 7, wrapped to -2^31, halved";
}

/// Count, total, shortest and longest.
using Lengths = std::array<float, 4>;

Lengths lengths(Picture p) {
  int count = -1;
  float shortest = -1, longest = -1;
  const Picture before = p;
  const float total = fGetAllShapeLength(p.data(), p.width(), p.stride(), p.height(), &count, &shortest, &longest);
  EXPECT_EQ(p, before);
  EXPECT_EQ(fGetAllShapeLength(p.data(), p.width(), p.stride(), p.height(), nullptr, nullptr, nullptr), total);
  return {static_cast<float>(count), total, shortest, longest};
}

TEST(AllShapeLength, LiteralShapesAndIsolatedPixels) {
  // The block's chain has five odd codes, the line's as well: out, back and the first step again. Length 5 + 2.
  EXPECT_EQ(lengths(Picture::text({"##....", "##....", "......", "..###."}, 9)), (Lengths{2, 14, 7, 7}));
  EXPECT_EQ(lengths(Picture(5, 5, 5)), Lengths());
  // An isolated pixel is found over and over.
  const float each = std::sqrt(2.0f) + 2.0f;
  float total = 0.0f;
  for (int i = 0; i < 10000; ++i) total += each;
  EXPECT_EQ(lengths(Picture::text({"#..", "...", "###"})), (Lengths{10000, total, each, each}));
}

TEST(AllShapeLength, WipesOutEachOutlineWithWhatItEncloses) {
  // A pair in the box of a bent line, which is walked past its corner and back across it, and a ring with a pixel.
  const Picture p = Picture::text({"#....#####", "#.##.#...#", "#....#.#.#", "####.#...#", ".....#####"}, 13);
  const float bent = 8.0f + std::sqrt(2.0f) + 1.0f + 1.0f + 1.0f + 2.0f;
  EXPECT_EQ(lengths(p), (Lengths{3, bent + 19 + 5, 5, 19}));
}

TEST(ShapeOverlap, CountsTargetsOfSteps) {
  Picture p = Picture::text({"....", ".##.", ".##."});
  char chain[] = {1, 3, 5, 7, 8 + 3};
  EXPECT_EQ(fGetShapeOverlap(p.data(), 4, chain, 4, 1, 1), 1.0f);
  EXPECT_EQ(fGetShapeOverlap(p.data(), 4, chain, 3, 1, 0), 2.0f / 3.0f);
  EXPECT_EQ(fGetShapeOverlap(p.data(), 4, chain + 4, 1, 1, 1), 1.0f) << "masked with 7";
  EXPECT_TRUE(std::isnan(fGetShapeOverlap(p.data(), 4, chain, 0, 1, 1)));
  int x = 0, y = 0;
  vGetPos(chain, 2, 5, -6, &x, &y);
  EXPECT_TRUE(x == 6 && y == -5);
}

TEST(ShapeGetGrad, LooksRightAndDownFromTheSurroundings) {
  Picture p = Picture::grey({{0, 0, 0, 0}, {0, 10, 0, 0}, {0, 0, 0, 50}, {0, 0, 200, 0}}, 5);
  char chain[] = {3, 3, 3, 2, 8, 7, 7, 0, 1};  // along the first row, then clipped, down and back, clipped again
  std::vector<unsigned> out(9);
  float mean = -1;
  vShapeGetGrad(out.data(), p.data(), chain, 4, 5, 4, 9, 0, 0, &mean);
  EXPECT_EQ(out, (std::vector<unsigned>{10, 10, 10, 0, 200, 200, 200, 10, 0}));
  EXPECT_EQ(mean, 640.0f / 9.0f);
}

/// The distances of the points to the rest of their chain, plainly.
std::vector<float> plain_distances(const std::vector<char>& chain, int skip) {
  const int count = static_cast<int>(chain.size());
  std::vector<int> xs{0}, ys{0};
  for (const char code : chain) {
    xs.push_back(xs.back() + dx[code & 7]);
    ys.push_back(ys.back() + dy[code & 7]);
  }
  std::vector<float> distances;
  for (std::size_t i = 0; i < chain.size(); ++i) {
    float d = static_cast<float>(count), farthest = 0;
    const auto distance = [&](int offset) {
      const auto k = static_cast<std::size_t>(((static_cast<int>(i) + offset) % count + count) % count);
      const int ex = xs[i] - xs[k], ey = ys[i] - ys[k];
      return std::sqrt(static_cast<float>(ex * ex + ey * ey)) + 1.0f;
    };
    const auto look = [&](int offset) {
      const float at = distance(offset);
      if (at > farthest)
        farthest = at;
      else
        d = std::min(d, at);
    };
    for (int offset = skip; skip != 0 && offset <= count - skip - 1; ++offset) d = std::min(d, distance(offset));
    for (int offset = 1; skip == 0 && offset <= count / 2 - 1; ++offset) look(offset);
    farthest = 0;
    for (int offset = count - 1; skip == 0 && offset >= count / 2; --offset) look(offset);
    distances.push_back(d);
  }
  return distances;
}

TEST(ShapeKorrelation, FollowsTheRules) {
  std::mt19937 engine(3);
  for (int i = 0; i < 1500; ++i) {
    const int count = i < 20 ? i / 2 + 1 : pick(engine, 1, 90);
    std::vector<char> chain = random_chain(engine, count);
    const int skip = i % 2 == 0 ? 0 : pick(engine, -5, count / 2 + 2), out_size = pick(engine, 1, count + 5);
    const float scale = i % 9 == 0 ? -0.5f : i % 9 == 1 ? 1e8f : 0.37f * static_cast<float>(pick(engine, 1, 1000));
    std::vector<unsigned> actual(static_cast<std::size_t>(count + 5), 77), expected = actual;
    std::fill_n(expected.begin(), out_size, 0u);
    float low = static_cast<float>(count), high = 0, lowest = -1, highest = -1;
    std::size_t k = 0;
    for (const float d : plain_distances(chain, skip)) {
      expected[k++] = static_cast<unsigned>(static_cast<long long>(d * scale));  // wraps around
      low = std::min(low, d);
      if (d < static_cast<float>(count - 1)) high = std::max(high, d);
    }
    vShapeKorrelation(actual.data(), chain.data(), count, out_size, scale, skip, &lowest, &highest);
    ASSERT_EQ(actual, expected) << "count " << count << ", skip " << skip;
    ASSERT_TRUE(lowest == low && highest == high);
  }
}

TEST(ShapeKorrelation, LiteralChainAndBadArguments) {
  char line[] = {3, 3, 3, 7, 7, 7};  // points 0 1 2 3 2 1
  std::vector<unsigned> out(6, 77);
  float low = -1, high = -1;
  for (const int skip : {INT_MIN, INT_MAX, 1}) vShapeKorrelation(out.data(), line, 6, 6, 1, skip, &low, &high);
  EXPECT_EQ(out, (std::vector<unsigned>{2, 1, 1, 2, 1, 1}));
  EXPECT_TRUE(low == 1.0f && high == 2.0f);
  for (const auto& [count, out_size] : {std::pair{0, 6}, {-1, 6}, {6, 0}, {6, -1}}) {
    low = high = -1;
    vShapeKorrelation(out.data(), line, count, out_size, 9, 1, &low, &high);
    EXPECT_TRUE(low == 0.0f && high == 0.0f && out[0] == 2);
  }
}

}  // namespace
