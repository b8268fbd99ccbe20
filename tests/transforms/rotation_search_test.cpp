#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <vector>

#include "tests/support/picture.h"
#include "tests/support/random_geometry.h"
#include "zeb/drawing.h"
#include "zeb/transforms.h"

using namespace zeb::testing;

namespace {

constexpr float two_pi = 6.2831855f;

/// Angle and scale.
using Turn = std::pair<float, float>;

Turn turn_between(Picture& a, Picture& b) {
  Turn turn{-99, -99};
  zeb::vFindRotationAngle(&turn.first, &turn.second, a.data(), b.data(), a.width(), a.height(), a.stride());
  return turn;
}

/// Lines at equal distances from each other, as many on either side of the middle, in each of some directions.
Picture rays(const std::vector<float>& angles, int spacing) {
  constexpr int size = 400;
  Picture image(size, size + 3, size);
  for (const float angle : angles)
    for (const int offset : {-2, -1, 0, 1, 2}) {
      const float c = cosf(angle), s = sinf(angle), d = static_cast<float>(offset * spacing);
      const auto at = [=](float middle, float direction) {
        return static_cast<int>(size / 2 + middle + size * direction);
      };
      vLine(image.data(), at(d * c, -s), at(d * s, c), at(d * c, s), at(d * s, -c), image.stride(), size, 255, 1);
    }
  return image;
}

TEST(RotationFromLines, RecoversTurnsAndScales) {
  const float across = two_pi / 4;
  const struct {
    std::vector<float> first, second;
    int spacing;
    float angle, scale;
    const char* why;
  } cases[] = {
      {{0.3f, across}, {0.1f, across - 0.2f}, 60, -0.2f, 1, "turned back"},
      {{0.1f, across}, {0.4f, across + 0.3f}, 60, 0.3f, 1, "turned"},
      {{0.1f, across + 0.1f}, {1.1f, across + 1.1f}, 60, 1 - across, 1, "the nearest direction"},
      {{-0.1f}, {0.1f}, 60, 0.2f, 1, "past the end of the circle"},
      {{0.1f, across}, {0.2f, across + 0.2f}, 60, 0.15f, 1, "the mean"},
      {{0.1f, across}, {0.2f, across + 0.5f}, 60, 0.1f, 1, "the smallest of turns that differ"},
      {{0.2f}, {0.3f, across + 0.2f}, 60, 0.1f, 1, "the smallest where the second has more directions"},
      {{0.3f, across}, {0.3f, across}, 65, 0, 65.0f / 60, "wider"},
      {{0.3f, across}, {0.3f, across}, 55, 0, 55.0f / 60, "narrower"},
  };
  Picture same = rays({0.3f, across}, 60);
  EXPECT_EQ(turn_between(same, same), Turn(0, 1));
  for (const auto& c : cases) {
    Picture first = rays(c.first, 60), second = rays(c.second, c.spacing);
    const Turn turn = turn_between(first, second);
    EXPECT_NEAR(turn.first, c.angle, 0.02f) << c.why;
    EXPECT_NEAR(turn.second, c.scale, 0.01f) << c.why;
  }
}

TEST(RotationFromLines, WithoutLinesTheFirstOfEqualShiftsScales) {
  // Of the width, height, number of bins, and the farthest shift, a fiftieth of them and 1.
  for (const auto& [width, height, n, range] : {std::array{100, 100, 200, 5},
                                                {40, 90, 120, 3},
                                                {10, 11, 20, 1},
                                                {1000, 1000, 2000, 41},
                                                {999, 999, 1998, 40}}) {
    Picture empty(width, width + 3, height);
    const float bins = static_cast<float>(n);
    EXPECT_EQ(turn_between(empty, empty), Turn(0, expf(static_cast<float>(-range) * logf(bins) / bins))) << n;
  }
}

float match(Picture& a, Picture& b, unsigned char* trace = nullptr) {
  return zeb::fMatchAngleFromPolar(a.data(), b.data(), a.width(), a.height(), a.stride(), trace);
}

TEST(RotationFromPolar, FindsAnyTurnAtAnyHeight) {
  std::mt19937 engine(3);
  for (const int height : {1, 2, 15, 16, 17, 34, 360}) {
    // A 16th of the width makes a band; the 5 columns that are left over differ.
    Picture a = Picture::random(engine, 37, 40, height), b = Picture::random(engine, 37, 40, height);
    const int turn = pick(engine, 0, height - 1);
    for_each_pixel(32, height, [&](int x, int y) { b(x, (y + turn) % height) = a(x, y); });
    const float step = two_pi / static_cast<float>(height);
    EXPECT_FLOAT_EQ(match(a, b), static_cast<float>(turn) * step) << height;
    a.fill([](int, int y) { return y % 2; });
    b.fill([](int, int y) { return 1 - y % 2; });
    EXPECT_FLOAT_EQ(match(a, b), height > 1 ? step : 0) << height << ", the first of equal shifts";
  }
  Picture empty(16, 16, 0), negative(-5, 64, 3);
  EXPECT_EQ(match(empty, empty), 0.0f);
  EXPECT_EQ(match(negative, negative), 0.0f);
}

TEST(RotationFromPolar, AveragesTheFourBandsThatAgreeBest) {
  const struct {
    int height;
    std::array<int, 16> shifts;
    int total;
  } cases[] = {
      {20, {9, 15, 3, 3, 0, 3, 3, 3, 3, 3, 3, 3, 3, 3, 3, 3}, 4 * 3},
      {20, {9, 4, 15, 3, 4, 3, 0, 4, 3, 4, 3, 4, 3, 4, 3, 4}, 4 + 3 + 4 + 3},
      {20, {2, 6, 6, 6, 2, 2, 2, 2, 2, 2, 2, 6, 6, 6, 6, 6}, 2 + 6 + 6 + 6},
      // On both sides of the end of the turn, where 18 counts as 2 and -18 as 2.
      {20, {1, 19, 19, 19, 1, 1, 1, 1, 1, 1, 1, 19, 19, 19, 19, 19}, 1 + 3 + 3 + 3},
      {20, {19, 1, 1, 1, 19, 19, 19, 19, 19, 19, 19, 1, 1, 1, 1, 1}, 19 + 21 + 21 + 21},
      // Half a turn stays as it is, either way.
      {20, {0, 10, 10, 10, 0, 0, 0, 0, 0, 0, 0, 10, 10, 10, 10, 10}, 0 + 10 + 10 + 10},
      {20, {10, 0, 0, 0, 10, 10, 10, 10, 10, 10, 10, 0, 0, 0, 0, 0}, 10 + 0 + 0 + 0},
      {21, {0, 11, 11, 11, 0, 0, 0, 0, 0, 0, 0, 11, 11, 11, 11, 11}, 0 + 10 + 10 + 10},
  };
  for (const auto& c : cases) {
    // One spot per band.
    Picture a(16, 16, c.height), b(a);
    for (int band = 0; band < 16; ++band) a(band, 0) = b(band, c.shifts[static_cast<std::size_t>(band)]) = 200;
    EXPECT_FLOAT_EQ(match(a, b), static_cast<float>(c.total) / static_cast<float>(4 * c.height) * two_pi)
        << ::testing::PrintToString(c.shifts);
  }
}

TEST(RotationFromPolar, TracesProfilesShiftsAndResult) {
  // In all bands but the last one, the first image has its spot in row 0 and the second one in row 2. The brightest one
  // is as wide as its band.
  Picture a(64, 66, 5), b(a), trace(a), expected(a);
  for (int x = 0; x < 60; x += 4) a(x, 0) = b(x + 3, 2) = 64;
  a(0, 0) = 128;
  const auto put = [&expected](int y, int x, std::vector<int> values) {
    for (const int value : values) expected(x++, y) = static_cast<unsigned char>(value);
  };
  for (int x = 0; x < 60; x += 4) {
    put(0, x, {200, 120, 120});
    put(1, x, {120, 120});
    put(3, x, {120, 200});
  }
  expected(3, 0) = expected(2, 1) = 120;
  put(0, 60, {120, 120, 120});
  put(1, 60, {120});
  put(3, 60, {120});
  put(2, 0, std::vector<int>(66, 255));
  EXPECT_FLOAT_EQ(match(a, b, trace.data()), 0.4f * two_pi);
  EXPECT_EQ(trace, expected);
}

}  // namespace
