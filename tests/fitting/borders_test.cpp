#include <gtest/gtest.h>

#include <functional>
#include <vector>

#include "tests/support/allocation.h"
#include "tests/support/picture.h"
#include "tests/support/random_geometry.h"
#include "zeb/fitting.h"

using zeb::Image_Side;
using zeb::Mat;
using zeb::Point_;
using zeb::ThresholdMode;
using zeb::testing::FailingAllocations;
using zeb::testing::Geometry;
using zeb::testing::pick;
using zeb::testing::Picture;

namespace zeb {
bool operator==(const Point_<int>& a, const Point_<int>& b) { return a.x == b.x && a.y == b.y; }
void PrintTo(const Point_<int>& p, std::ostream* os) { *os << "(" << p.x << ", " << p.y << ")"; }
}  // namespace zeb

namespace {

using Ints = std::vector<int>;
using Points = std::vector<Point_<int>>;
constexpr auto top = Image_Side::Top, right = Image_Side::Right, bottom = Image_Side::Bottom, left = Image_Side::Left;
constexpr auto standard = ThresholdMode::Standard, inverse = ThresholdMode::InverseBinary;
constexpr auto unknown = static_cast<ThresholdMode>(5);

Picture column(const std::vector<int>& values) {
  Picture image(1, 1, static_cast<int>(values.size()));
  for (int y = 0; y < image.height(); ++y)
    image(0, y) = static_cast<unsigned char>(values[static_cast<std::size_t>(y)]);
  return image;
}

TEST(BorderByExtremum, ClimbsToTheFirstPlateau) {
  const auto maximum = [](const std::vector<int>& values) { return zeb::border_by_maximum(column(values).mat(), top); };
  EXPECT_EQ(maximum({0, 5, 9, 9, 3}), Ints{2});
  EXPECT_EQ(maximum({9, 5, 20}), Ints{0});
  EXPECT_EQ(maximum({0, 0, 3, 0, 7}), Ints{2}) << "a zero ends the climb";
  EXPECT_EQ(maximum({0, 0, 0}), Ints{-1});
  EXPECT_EQ(zeb::border_by_minimum(column({255, 255}).mat(), top), Ints{-1});
  EXPECT_EQ(zeb::border_by_minimum(column({255, 9, 3, 3, 0}).mat(), top), Ints{2});
}

TEST(BorderSearch, ReportsCoordinatesOrSteps) {
  Picture picture = Picture::grey({{0, 0, 0}, {0, 9, 0}, {0, 9, 0}, {7, 0, 0}}, 5);
  const auto image = picture.mat();
  EXPECT_EQ(zeb::border_by_maximum(image, top), (Ints{3, 1, -1}));
  EXPECT_EQ(zeb::border_by_maximum(image, right), (Ints{-1, 1, 1, 0}));
  EXPECT_EQ(zeb::border_by_maximum(image, bottom), (Ints{-1, 2, 3}));
  EXPECT_EQ(zeb::border_by_maximum(image, left), (Ints{0, 1, 1, -1}));
  EXPECT_EQ(zeb::border_by_threshold(image, top, 0, 0, standard), (Ints{3, 1, -1}));
  EXPECT_EQ(zeb::border_by_threshold(image, right, 0, 0, standard), (Ints{-1, 1, 1, 2}));
  EXPECT_EQ(zeb::border_by_threshold(image, bottom, 0, 0, standard), (Ints{-1, 1, 0}));
  EXPECT_EQ(zeb::border_by_threshold(image, left, 9, 9, inverse), (Ints{-1, 1, 1, -1}));
}

TEST(BorderSearch, PointsHaveRowAndColumnSwapped) {
  Picture picture = Picture::grey({{0, 0, 0, 0}, {0, 9, 0, 0}, {0, 0, 0, 8}}, 5);
  const auto image = picture.mat();
  EXPECT_EQ(zeb::borderpx_by_maximum(image, top), (Points{{0, 0}, {1, 1}, {1, 1}, {2, 3}})) << "a carried point";
  EXPECT_EQ(zeb::borderpx_by_maximum(image, left), (Points{{2, 3}, {1, 1}, {1, 1}}));
  EXPECT_EQ(zeb::borderpx_by_threshold(image, top, 0, 0, standard), (Points{{4, -1}, {1, 1}, {1, -1}, {2, 3}}));
  EXPECT_EQ(zeb::borderpx_by_threshold(image, right, 0, 0, standard), (Points{{3, -1}, {1, 1}, {2, 3}}));
  EXPECT_EQ(zeb::borderpx_by_threshold(image, bottom, 9, 9, inverse), (Points{{-1, -1}, {-1, -1}, {1, 1}, {1, -1}}));
  EXPECT_EQ(zeb::borderpx_by_gradient(image, top, true, -1, 1, standard), (Points{{0, -1}, {1, 1}, {1, -1}, {2, 3}}));
  EXPECT_EQ(zeb::borderpx_by_minimum(column({255, 3, 3}).mat(), bottom), (Points{{2, 0}}));
}

TEST(BorderByGradient, BandsExcludeTheirEnds) {
  const auto image = column({100, 105, 130});
  const auto gradient = [&](bool from_zero, float lower, float upper, ThresholdMode mode) {
    return zeb::border_by_gradient(Picture(image).mat(), top, from_zero, lower, upper, mode);
  };
  EXPECT_EQ(gradient(false, -10, 10, standard), Ints{2});
  EXPECT_EQ(gradient(true, -10, 10, standard), Ints{0});
  EXPECT_EQ(gradient(false, -10, 25, standard), Ints{-1});
  EXPECT_EQ(gradient(false, 5, 26, inverse), Ints{2}) << "a step of 5 is on the band's end";
  EXPECT_EQ(gradient(false, 4, 5, inverse), Ints{-1});
  EXPECT_EQ(gradient(true, -1000, 1000, unknown), Ints{-1});
}

TEST(BorderSearch, EmptyAndBadImages) {
  unsigned char pixel = 9;
  const Mat<unsigned char> no_columns(&pixel, 0, 1, 3), no_rows(&pixel, 2, 2, 0), negative(&pixel, -1, 1, 1);
  EXPECT_EQ(zeb::border_by_maximum(no_columns, top), Ints{});
  EXPECT_EQ(zeb::border_by_maximum(no_columns, right), (Ints{-1, -1, -1}));
  EXPECT_EQ(zeb::border_by_gradient(no_columns, left, false, 0, 0, standard), (Ints{-1, -1, -1}));
  EXPECT_EQ(zeb::border_by_threshold(no_rows, bottom, 1, 2, standard), (Ints{-1, -1}));
  EXPECT_EQ(zeb::border_by_maximum(no_rows, static_cast<Image_Side>(4)), Ints{});
  EXPECT_DEATH(zeb::border_by_maximum(negative, top), "");
  EXPECT_EQ(zeb::border_by_threshold(Mat<unsigned char>(&pixel, 1, 1, 1), left, 0, 0, unknown), Ints{-1});
  FailingAllocations none(0);
  EXPECT_THROW(zeb::border_by_threshold(no_rows, top, 0, 0, standard), std::bad_alloc);
}

/// Direct walks over all sides, for the step of each hit.
TEST(BorderSearch, AnyLayoutFromAllSides) {
  std::mt19937 engine(1);
  for (int i = 0; i < 200; ++i) {
    const auto g = Geometry::random(engine, 100, 30);
    const Picture image = Picture::random(engine, g.width, g.stride, g.height, g.offset);
    Picture copy(image);
    const auto view = copy.mat();
    const int low = pick(engine, 0, 255), high = pick(engine, 0, 255);
    const auto l = static_cast<unsigned char>(low), h = static_cast<unsigned char>(high);
    const auto marked = [&](int p) { return i % 2 == 0 ? p < low || p > high : low <= p && p <= high; };
    for (const auto side : {top, right, bottom, left}) {
      const bool columns = side == top || side == bottom, reversed = side == bottom || side == left;
      const bool from_end = side == right || side == bottom;
      const int lines = columns ? g.width : g.height, length = columns ? g.height : g.width;
      Ints expected;
      Points expected_points;
      Point_<int> point{reversed ? -1 : lines, -1};
      for (int line = 0; line < lines; ++line) {
        const int outer = reversed ? lines - 1 - line : line;
        expected.push_back(-1);
        point.y = -1;
        for (int step = 0; step < length; ++step) {
          const int inner = from_end ? length - 1 - step : step, x = columns ? outer : inner,
                    y = columns ? inner : outer;
          if (!marked(image(x, y))) continue;
          expected.back() = step;
          point = {y, x};
          break;
        }
        expected_points.push_back(point);
      }
      const auto mode = i % 2 == 0 ? standard : inverse;
      ASSERT_EQ(zeb::border_by_threshold(view, side, l, h, mode), expected) << g;
      ASSERT_EQ(zeb::borderpx_by_threshold(view, side, l, h, mode), expected_points) << g;
    }
    ASSERT_EQ(copy, image);
  }
}

}  // namespace
