#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <vector>

#include "tests/support/picture.h"
#include "zeb/filters.h"

using namespace zeb::testing;

namespace {

struct Stripes {
  int low = 0, high = 255;
  float lower_fraction = 0.0f, upper_fraction = 1.0f;
  bool by_rows = false;
  int step = 1;
};

/// An image without its stripes, in place.
Picture destriped(Picture image, const Stripes& s) {
  zeb::vLineRowFilter(image.data(), image.data(), static_cast<unsigned char>(s.low), static_cast<unsigned char>(s.high),
                      s.lower_fraction, s.upper_fraction, s.by_rows, image.width(), image.stride(), image.height(),
                      s.step);
  return image;
}

TEST(LineRowFilter, LinesOfOneValueGetTheMeanOfAllLines) {
  const int lines = 61;
  // All values from 61 to 120, and 106 once more: on average 90.75. Groups of 16 columns are rounded, the rest is
  // truncated.
  const auto value = [](int line) { return line == 0 ? 106 : 60 + 7 * line % 61; };
  const Picture flat = Picture(lines, 64, lines).fill([](int x, int) { return x < 48 ? 91 : 90; });
  const Picture columns = Picture(lines, 64, lines).fill([&](int x, int) { return value(x); });
  const Picture rows = Picture(lines, 64, lines).fill([&](int, int y) { return value(y); });
  EXPECT_TRUE(same(flat, destriped(columns, {})));
  EXPECT_TRUE(same(flat, destriped(rows, {0, 255, 0.0f, 1.0f, true})));
}

TEST(LineRowFilter, EqualisesColumns) {
  // Levels of 20 for 15 columns, 17.5 for column 2, 23 for column 16 and none for a black one: on average 340.5 / 17 =
  // 20.03.
  Picture src(18, 18, 2, 20), expected(src);
  const struct {
    int x, before[2], after[2];
  } columns[] = {
      {2, {15, 20}, {17, 23}},                           // 17.2, 22.9
      {16, {21, 25}, {18, 21}},                          // 18.3, 21.8
      {4, {1, 39}, {1, 39}},    {3, {40, 20}, {0, 20}},  // out of range: takes no part and becomes black
      {17, {0, 0}, {0, 0}},
  };
  for (const auto& column : columns)
    for (const int y : {0, 1}) {
      src(column.x, y) = static_cast<unsigned char>(column.before[y]);
      expected(column.x, y) = static_cast<unsigned char>(column.after[y]);
    }
  EXPECT_EQ(destriped(src, {1, 39}), expected);
  EXPECT_EQ(destriped(Picture(1, 1, 2, 50), {51, 255}), Picture(1, 1, 2)) << "no line has a level";
}

TEST(LineRowFilter, LevelsLieBetweenTheFractionsAndProductsEndAt255) {
  // The middle of column 0 is all 20. With 40 in the others the mean is 38.82, and the gain of column 0 1.94.
  Picture src(17, 17, 10), expected(src);
  src.fill([](int x, int y) { return x > 0 ? 40 : y == 2 ? 250 : y == 7 ? 1 : 20; });
  expected.fill([](int x, int y) { return x > 0 ? (x < 16 ? 39 : 38) : y == 2 ? 255 : y == 7 ? 2 : 39; });
  EXPECT_EQ(destriped(src, {0, 255, 0.3f, 0.7f}), expected);
  Picture one_line(1, 1, 10, 1);
  one_line(0, 5) = 200;
  EXPECT_EQ(destriped(one_line, {0, 255, 0.3f, 0.7f}), one_line) << "a gain of 1";
}

TEST(LineRowFilter, StepsAreCutDownToFiftySamples) {
  const auto dark_pixel = [](int height, int step) {
    Picture src(16, 16, height, 20);
    for (int y = 1; y < height; y += 2) src(0, y) = 50;
    return int{destriped(src, {0, 255, 0.0f, 1.0f, false, step})(0, 0)};
  };
  EXPECT_EQ(dark_pixel(100, 5), 20) << "a step of 2 takes even rows alone";
  // All rows of column 0 have a level of 35, and the mean is 335 / 16: 20 * 20.94 / 35 = 11.96.
  EXPECT_EQ(dark_pixel(100, -1), 12);
  EXPECT_EQ(dark_pixel(99, 5), 12);
}

TEST(LineRowFilter, RowSamplesSkipTheTailWhereTheStridePassesIt) {
  const auto filtered = [](int width, int bright_from) {
    Picture src(width, width, 2, 50);
    for (int x = bright_from; x < width; ++x) src(x, 0) = 250;
    src = destriped(src, {0, 255, 0.0f, 1.0f, true, 2});
    return std::pair{int{src(0, 0)}, int{src(width - 1, 0)}};
  };
  // 103 columns allow a step of 2: groups at 0, 16, ..., 80, and at 96 the tail begins.
  // Row 0: 48 samples of 50 and 7 of 250, a level of 75.45. With 50 in row 1 the mean is 62.73.
  EXPECT_EQ(filtered(103, 96), (std::pair{42, 207}));
  // With 107 columns the last group begins at 96 and the stride from there leads to 112: the tail is not seen.
  EXPECT_EQ(filtered(107, 104), (std::pair{50, 250}));
}

TEST(AdaNorm, DividesByASurface) {
  const auto of_surface = [](float value, int grey = 10) {
    Picture image(3, 3, 1, static_cast<unsigned char>(grey));
    const auto surface = [value](const std::vector<float>&, float, float) { return value; };
    zeb::AdaNorm(image.data(), image.data(), {}, 0, 0, surface, 3, 3, 1, 0, 1, 0, 1, 100);
    return int{image(2, 0)};
  };
  EXPECT_EQ(of_surface(30.0f), 33);
  EXPECT_EQ(of_surface(3.922f), 254) << "254.97";
  EXPECT_EQ(of_surface(0.01f), 255);
  EXPECT_EQ(of_surface(0.0f), 255);
  EXPECT_EQ(of_surface(-3.0f), 0);
  EXPECT_EQ(of_surface(INFINITY), 0);
  EXPECT_EQ(of_surface(12.0f, 15), 124) << "100 / 12 is rounded down, and 15 times as much too";
  Picture image(3, 3, 1);
  EXPECT_THROW(zeb::AdaNorm(image.data(), image.data(), {}, 0, 0, nullptr, 3, 3, 1, 0, 1, 0, 1, 9),
               std::bad_function_call);
}

TEST(AdaNorm, MapsPixelsToTheRangeOfTheSurface) {
  Picture src(4, 6, 2, 10), dst(4, 6, 2);
  std::vector<std::pair<float, float>> positions;
  const auto surface = [&](const std::vector<float>& c, float x, float y) {
    positions.emplace_back(x, y);
    return c[0] + c[1] * x;
  };
  zeb::AdaNorm(dst.data(), src.data(), {1.0f, 2.0f}, 0.5f, 0.25f, surface, 4, 6, 2, 10, 18, -3, 1, 100);
  EXPECT_EQ(positions, (decltype(positions){{9.5f, -3.25f},
                                            {11.5f, -3.25f},
                                            {13.5f, -3.25f},
                                            {15.5f, -3.25f},
                                            {9.5f, -1.25f},
                                            {11.5f, -1.25f},
                                            {13.5f, -1.25f},
                                            {15.5f, -1.25f}}));
  EXPECT_EQ(dst, Picture::grey({{50, 41, 35, 31}, {50, 41, 35, 31}}, 6)) << "1000 / 20, 24, 28, 32";
}

}  // namespace
