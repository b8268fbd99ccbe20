#include <gtest/gtest.h>

#include <array>
#include <climits>
#include <cmath>
#include <tuple>

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

/// What was written to each point, and the shortest and longest distance.
using Distances = std::tuple<std::vector<unsigned>, float, float>;

Distances distances(std::vector<char> chain, int skip, float scale = 1) {
  std::vector<unsigned> scaled(chain.size());
  const int count = static_cast<int>(chain.size());
  float shortest = -1, longest = -1;
  vShapeKorrelation(scaled.data(), chain.data(), count, count, scale, skip, &shortest, &longest);
  return {scaled, shortest, longest};
}

TEST(ShapeKorrelation, LooksAtTheOffsetsBetweenSkips) {
  const std::vector<char> line{3, 3, 3, 8 + 7, -1, 7};  // points 0 1 2 3 2 1
  EXPECT_EQ(distances(line, 1), (Distances{{2, 1, 1, 2, 1, 1}, 1, 2}));
  EXPECT_EQ(distances(line, 2), (Distances{{3, 2, 1, 3, 2, 1}, 1, 3}));
  EXPECT_EQ(distances({3, 1, 7, 5}, 2), (Distances{{4, 4, 4, 4}, 4, 0})) << "no offset, and none below count - 1";
  for (const int skip : {INT_MIN, -1})
    EXPECT_EQ(distances(line, skip), (Distances{{1, 1, 1, 1, 1, 1}, 1, 1})) << "itself";
  EXPECT_EQ(distances(line, INT_MAX), (Distances{{6, 6, 6, 6, 6, 6}, 6, 0}));
}

TEST(ShapeKorrelation, LooksBehindTheFarthestWithoutASkip) {
  EXPECT_EQ(distances({3, 3, 3, 7, 7, 7}, 0), (Distances{{6, 1, 1, 6, 1, 1}, 1, 1}));
  // The last point is the first one again; at the offset looked at first it is only the farthest so far.
  EXPECT_EQ(distances({3, 1, 7, 5, 3}, 0), (Distances{{5, 2, 2, 2, 2}, 2, std::sqrt(2.0f) + 1}));
  const std::vector<char> block{3, 3, 1, 7, 7, 7, 5, 3};  // around 4 by 2 pixels, from the second one
  EXPECT_EQ(distances(block, 0), (Distances{{2, 2, 8, 8, 2, 2, 8, 8}, 2, 2}));
  EXPECT_EQ(distances(block, 0, 0.7f), (Distances{{1, 1, 5, 5, 1, 1, 5, 5}, 2, 2})) << "truncated";
  EXPECT_EQ(std::get<0>(distances(block, 0, 1e9f))[2], 3705032704u) << "8e9 in 32 bits";
  EXPECT_EQ(std::get<0>(distances(block, 0, -0.5f))[2], -4u);
}

TEST(ShapeKorrelation, ClearsAsToldAndRefusesNothingness) {
  char line[] = {3, 7};
  std::vector<unsigned> out(4, 77);
  float low = -1, high = -1;
  vShapeKorrelation(out.data(), line, 2, 3, 1, 1, &low, &high);
  EXPECT_EQ(out, (std::vector<unsigned>{2, 2, 0, 77}));
  for (const auto& [count, out_size] : {std::pair{0, 6}, {-1, 6}, {2, 0}, {2, -1}}) {
    low = high = -1;
    vShapeKorrelation(out.data(), line, count, out_size, 9, 1, &low, &high);
    EXPECT_TRUE(low == 0.0f && high == 0.0f && out[0] == 2);
  }
}

}  // namespace
