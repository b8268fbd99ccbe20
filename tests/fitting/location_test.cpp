#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>
#include <limits>
#include <vector>

#include "tests/support/picture.h"
#include "tests/support/random_geometry.h"
#include "zeb/fitting.h"

using zeb::Point_;
using namespace zeb::testing;

namespace {

constexpr float infinity = std::numeric_limits<float>::infinity();
const float nan = std::nanf("");

struct CrossPoint {
  float x, y;

  CrossPoint(float angle1, float distance1, float angle2, float distance2) {
    zeb::GetCrossPointHesse(&x, &y, angle1, distance1, angle2, distance2);
  }
};

TEST(HesseLines, CrossWhereBothEquationsHold) {
  for (float a = -3.0f; a < 3.1f; a += 0.37f)
    for (float turn : {0.3f, 1.2f, 2.5f, -0.8f, 9.0f}) {
      const CrossPoint p(a, 12.0f, a + turn, -7.0f);
      EXPECT_NEAR(p.x * cosf(a) + p.y * sinf(a), 12.0f, 1e-3f) << a << " " << turn;
      EXPECT_NEAR(p.x * cosf(a + turn) + p.y * sinf(a + turn), -7.0f, 1e-3f) << a << " " << turn;
    }
}

TEST(HesseLines, EqualAnglesNeverCross) {
  for (const auto& [a, b] : {std::pair{1.0f, 1.0f}, {0.0f, 6.2831855f}, {0.0f, infinity}, {3e9f, -3e9f}}) {
    const CrossPoint p(a, 1, b, 2);
    EXPECT_TRUE(p.x == 1e8f && p.y == 1e8f) << a << " " << b;
  }
  EXPECT_EQ(CrossPoint(0, 1, 0.95e-8f, 1).x, 1e8f);
  EXPECT_EQ(CrossPoint(0, 1, 1.05e-8f, 1).x, 1.0f) << "just far enough apart";
}

TEST(HesseLines, DistanceTakesTheShorterWayRound) {
  EXPECT_NEAR(zeb::fLineDistHesse(0.1f, 5, 6.1831855f, 5, 100), 0.2f, 1e-6f);
  EXPECT_FLOAT_EQ(zeb::fLineDistHesse(1, 20, 1, 5, 100), 0.3f);
  EXPECT_FLOAT_EQ(zeb::fLineDistHesse(0.4f, 20, 0, 5, 100), 0.5f);
}

TEST(Points, DistanceFromALineIsSigned) {
  EXPECT_EQ(zeb::distance_point_line(3, 5, 0, 0, 10, 0), 5.0f);
  EXPECT_EQ(zeb::distance_point_line(3, 5, 10, 0, 0, 0), -5.0f);
  EXPECT_EQ(zeb::distance_point_line(7, 9, 4, 5, 4, 5), 5.0f) << "no line: the plain distance";
  EXPECT_EQ(zeb::euclidean_distance(1, 2, 4, 6), 5.0f);
}

TEST(Points, CompareForSorting) {
  const auto compare = [](float a, float b) { return zeb::iCompf(&a, &b); };
  EXPECT_EQ(compare(2, 1), 1);
  EXPECT_EQ(compare(1, 2), -1);
  EXPECT_EQ(compare(nan, 1), 0);
}

std::vector<float> edges(Picture& image, int falling, float threshold) {
  std::vector<float> positions(static_cast<std::size_t>(image.width()), -1.0f);
  zeb::GetEdgeFineRes(positions.data(), image.data(), image.width(), image.stride(), image.height(), falling,
                      threshold);
  return positions;
}

/// One column as it is described, with the two ways of choosing the peak.
float edge_of_column(const Picture& image, int x, int falling, float threshold, bool packed) {
  const float sign = falling == 0 ? 1.0f : -1.0f;
  const auto d = [&](int y) { return static_cast<float>(image(x, y + 1) - image(x, y - 1)) * sign; };
  float peak = threshold, peak_row = -100.0f;
  for (int y = 1; y <= image.height() - 2; ++y)
    if (packed ? !(d(y) < peak) : d(y) > peak) {
      peak = packed && peak > d(y) ? peak : d(y);
      peak_row = static_cast<float>(y);
    }
  const float half = 0.5f * peak;
  float weight = 0, moment = 0;
  for (int y = 1; y <= image.height() - 2; ++y)
    if (fabsf(static_cast<float>(y) - peak_row) < 5.5f && d(y) >= half) {
      weight += d(y);
      moment += d(y) * static_cast<float>(y);
    }
  return moment / (weight > 1.0f ? weight : 1.0f) + 0.5f;
}

TEST(FineEdge, MatchesTheRuleInAllColumns) {
  for (const int widest : {70, 600})
    for_each_trial(widest == 70 ? 300 : 20, widest, 60, [](Trial t) {
      if (t.number % 2 == 0) t.src.fill([&](int x, int y) { return t.src(x, y) >> 6; });  // many ties
      const float thresholds[] = {0, 2, 3, 2.5f, 100, -3, -1000, 255, 1000, infinity, -infinity, nan};
      const float threshold = thresholds[pick(t.engine, 0, 11)];
      const auto positions = edges(t.src, t.number % 3, threshold);
      for (int x = 0; x < t.g.width; ++x)
        ASSERT_EQ(positions[static_cast<std::size_t>(x)],
                  edge_of_column(t.src, x, t.number % 3, threshold, x < (t.g.width & ~15)))
            << "x " << x << ", threshold " << threshold;
    });
}

TEST(CentreOfGravity, OfAPeakBetweenItsCrossings) {
  float guarded[] = {0, 0, 0, 4, 8, 4, 0, 0, 0};
  float* profile = guarded + 1;
  EXPECT_EQ(zeb::fCalcCG(profile, 3, 0, 7, 3, 3, 0.5f), 3.0f);
  EXPECT_EQ(zeb::fCalcCG(profile, 7, 0, 7, 3, 3, 0.5f), 0.0f);
  EXPECT_EQ(zeb::fCalcCG(profile, -1, 0, 7, 3, 3, 0.5f), 0.0f);

  EXPECT_EQ(zeb::fCalcCG(profile, 3, 0, 7, 0, 0, 0.75f), 3.0f) << "a range of 0 reaches the neighbours too";
  // A pixel at the level, 4, does not end the peak.
  float notched[] = {0, 0, 8, 4, 8, 0, 0};
  EXPECT_EQ(zeb::fCalcCG(notched + 1, 1, 0, 5, 3, 3, 0.5f), 2.0f);
  EXPECT_EQ(zeb::fCalcCG(notched + 1, 3, 0, 5, 3, 3, 0.5f), 2.0f);

  // Level 5 is crossed between 4 and 7 on the left and between 6 and 4 on the right; doubled areas and moments by hand.
  float skewed[] = {0, 0, 4, 7, 10, 6, 4, 0, 0};
  const double left = 1 + 1.0 / 3, right = 4 + 0.5, level = 5;
  const double area = (7 + level) * (2 - left) + (6 + level) * (right - 4) + (7 + 10) + (10 + 6);
  const double moment =
      (2 * 7 + left * level) * (2 - left) + (4 * 6 + right * level) * (right - 4) + (2 * 7 + 3 * 10) + (3 * 10 + 4 * 6);
  EXPECT_FLOAT_EQ(zeb::fCalcCG(skewed + 1, 3, 0, 7, 3, 3, 0.5f), static_cast<float>(moment / area));
}

TEST(CentreOfGravity, RangesCutThePeak) {
  float flat[] = {9, 9, 9, 9, 9, 9, 9, 9, 9, 9, 9};
  // All above the level: the border falls back to the neighbour, whatever the range.
  EXPECT_EQ(zeb::fCalcCG(flat + 1, 4, 0, 9, 3, 1, 0.5f), 4.0f);
  EXPECT_EQ(zeb::fCalcCG(flat + 1, 0, 0, 9, 3, 3, 0.5f), 0.0f) << "the neighbour before the first one is read";
  const int extreme = std::numeric_limits<int>::max();
  EXPECT_EQ(zeb::fCalcCG(flat + 1, 4, 0, 9, -extreme - 1, -extreme - 1, 0.5f), 4.0f);
  EXPECT_EQ(zeb::fCalcCG(flat + 1, 4, 0, 9, extreme, extreme, 0.5f), 4.0f);
}

TEST(CentreOfGravity, OfABitmapSumsInRowOrder) {
  std::mt19937 engine(2);
  for (const int share : {100, 2, 0}) {
    Picture image(701, 710, 300, 0, 3);
    float mass = 0, sx = 0, sy = 0, cx = -1, cy = -1;
    image.fill([&](int x, int y) {
      const int p = pick(engine, 0, 99) < share ? pick(engine, 0, 255) : 0;
      mass += static_cast<float>(p);
      sx += static_cast<float>(x) * static_cast<float>(p);
      sy += static_cast<float>(y) * static_cast<float>(p);
      return p;
    });
    EXPECT_EQ(zeb::fGetBMCG(image.data(), 701, 710, 300, &cx, &cy), mass);
    EXPECT_EQ(cx, share > 0 ? sx / mass : 0);
    EXPECT_EQ(cy, share > 0 ? sy / mass : 0);
  }
}

TEST(CrossPosition, IsTheMeanOfTheBrightPixels) {
  Picture image = Picture::text({"........", "..#.#...", "..x.#...", "........"}, 10, 127);
  float cx = 0, cy = 0;
  zeb::get_cross_position(image.data(), 10, -1, 1, 1, 6, 3, &cx, &cy);
  EXPECT_FLOAT_EQ(cx, 1 + (1 + 3 + 3) / 3.0f);
  EXPECT_FLOAT_EQ(cy, 1 + 1 / 3.0f);
  zeb::get_cross_position(image.data(), 10, -1, 0, 0, 2, 2, &cx, &cy);
  EXPECT_TRUE(std::isnan(cx) && std::isnan(cy));
}

using Found = std::array<int, 4>;  // whether found, its x and y, its side
constexpr Found nothing{0, -1, -1, -1};

/// The search with every candidate of each ring tested.
Found search(const Picture& image, int x, int y, float min_radius, float max_radius, const int* mask) {
  const int sx[] = {1, 1, -1, -1}, sy[] = {1, -1, -1, 1};
  const Found none{0, -1, -1, 0};
  const int w = image.width(), h = image.height();
  if (max_radius == 0) max_radius = sqrtf(static_cast<float>(w * w) + static_cast<float>(h * h));
  if (x < 0 || x > w || y < 0 || y > h || min_radius > max_radius) return none;
  for (int r = 0; r < static_cast<int>(std::lround(max_radius)); ++r)
    for (const bool vertical : {true, false})
      for (int i = 0; i <= r; ++i) {
        const int s = rand() & 3;
        for (int t = 0; t < 4; ++t) {
          const int k = (t - s) & 3, ox = sx[k] * (vertical ? i : r), oy = sy[k] * (vertical ? r : i);
          if (min_radius * min_radius > static_cast<float>(ox * ox + oy * oy) || ox * ox + oy * oy > r * r) continue;
          if (mask != nullptr && mask[vertical ? k : t] == 0) continue;
          const int px = x + ox, py = y + oy;
          if (px < 0 || px >= w || py < 0 || py >= h || image(px, py) < 100 || image(px, py) > 200) continue;
          return {1, px, py, k};
        }
      }
  return none;
}

TEST(PointSearch, DrawsAndExaminesInTheStatedOrder) {
  int hits = 0;
  for_each_trial(400, 40, 40, [&hits](Trial t) {
    t.src.fill([&](int x, int y) { return pick(t.engine, 0, 9) > 0 ? 0 : int{t.src(x, y)}; });
    const int x = pick(t.engine, -1, t.g.width + 1), y = pick(t.engine, -1, t.g.height + 1);
    const float min_radius = static_cast<float>(pick(t.engine, -1, 6));
    const float max_radius = static_cast<float>(pick(t.engine, -1, 24)) * 0.5f;
    int bits = pick(t.engine, 0, 15), mask[] = {bits & 1, bits & 2, bits & 4, bits & 8};
    int* side_mask = t.number % 3 == 0 ? nullptr : mask;
    srand(static_cast<unsigned>(t.number));
    const Found expected = search(t.src, x, y, min_radius, max_radius, side_mask);
    const int next = rand();
    srand(static_cast<unsigned>(t.number));
    Found got = nothing;
    got[0] = zeb::find_point(t.src.data(), nullptr, t.g.width, t.g.height, t.g.stride, x, y, 100, 200, min_radius,
                             max_radius, &got[1], &got[2], &got[3], side_mask);
    ASSERT_EQ(got, expected) << "from " << x << ", " << y;
    ASSERT_EQ(rand(), next) << "the state of the generator";
    hits += got[0];
  });
  EXPECT_GT(hits, 50);
}

Found follow(Picture& image, Point_<int> from, Point_<int> direction, float max_distance = 100,
             unsigned char* guide = nullptr, unsigned char* trace = nullptr) {
  Found f = nothing;
  f[0] = zeb::find_point_on_line(image.data(), guide, trace, image.width(), image.height(), image.stride(), from.x,
                                 from.y, max_distance, 200, 255, direction.x, direction.y, &f[1], &f[2]);
  return f;
}

TEST(PointOnLine, FollowsTheLongerAxis) {
  Picture image(10, 10, 6);
  image(7, 4) = 255;
  EXPECT_EQ(follow(image, {1, 1}, {6, 3}), (Found{1, 7, 4, -1}));
  EXPECT_EQ(follow(image, {1, 1}, {12, 6}, 5.8f), nothing) << "too far";
  EXPECT_EQ(follow(image, {1, 1}, {12, 6}, 5.9f), (Found{1, 7, 4, -1}));
  EXPECT_EQ(follow(image, {7, 5}, {0, -1}), (Found{1, 7, 4, -1}));
  EXPECT_EQ(follow(image, {7, 4}, {0, 1}), nothing) << "the start itself is not looked at";
  EXPECT_EQ(follow(image, {0, 4}, {1, 0}), nothing) << "starts in column 0";
  EXPECT_EQ(follow(image, {7, 0}, {0, 1}), nothing) << "starts in row 0";
  EXPECT_EQ(follow(image, {3, 3}, {0, 0}), nothing);
  EXPECT_EQ(follow(image, {10, 4}, {-1, 0}), nothing) << "starts beyond the last column";
  EXPECT_EQ(follow(image, {7, 6}, {0, -1}), nothing) << "starts below the last row";
  image(0, 2) = 255;
  EXPECT_EQ(follow(image, {3, 2}, {-1, 0}), (Found{1, 0, 2, -1}));
}

TEST(PointOnLine, LeavesATraceAndObeysItsGuide) {
  Picture image(6, 8, 5), trace(6, 8, 5), guide(6, 8, 5, 1), expected(6, 8, 5);
  for (int x = 2; x < 7; ++x) expected(x, 3) = (200 + 255) >> 1;
  EXPECT_EQ(follow(image, {1, 3}, {1, 0}, 100, nullptr, trace.data()), nothing);
  EXPECT_EQ(trace, expected) << "one position beyond the last column";
  Picture downward(6, 8, 6), column(6, 8, 6);
  for (int y = 2; y < 6; ++y) column(2, y) = (200 + 255) >> 1;
  EXPECT_EQ(follow(image, {2, 1}, {0, 1}, 100, nullptr, downward.data()), nothing);
  EXPECT_EQ(downward, column) << "one position below the last row";
  image(5, 3) = 255;
  EXPECT_EQ(follow(image, {1, 3}, {1, 0}, 100, guide.data()), (Found{1, 5, 3, -1}));
  guide(4, 3) = 0;
  EXPECT_EQ(follow(image, {1, 3}, {1, 0}, 100, guide.data()), nothing);
}

}  // namespace
