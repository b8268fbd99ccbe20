#include <gtest/gtest.h>

#include <vector>

#include "tests/support/picture.h"
#include "zeb/fitting.h"

using zeb::Image_Side;
using zeb::Mat;
using zeb::Point_;
using zeb::ThresholdMode;
using namespace zeb::testing;

namespace zeb {
bool operator==(const Point_<int>& a, const Point_<int>& b) { return a.x == b.x && a.y == b.y; }
void PrintTo(const Point_<int>& p, std::ostream* os) { *os << "(" << p.x << ", " << p.y << ")"; }
}  // namespace zeb

namespace {

using Ints = std::vector<int>;
using Points = std::vector<Point_<int>>;
constexpr auto top = Image_Side::Top, right = Image_Side::Right, bottom = Image_Side::Bottom, left = Image_Side::Left;
constexpr auto standard = ThresholdMode::Standard, inverse = ThresholdMode::InverseBinary;

/// Each side sees its lines in an order of its own: top and right from the first one, bottom and left from the last.
const std::vector<std::vector<int>> pixels{{0, 9, 5, 0}, {7, 5, 6, 0}, {2, 8, 9, 0}};

TEST(BorderSearch, ExtremaReportCoordinatesAndCarryPoints) {
  Picture picture = Picture::grey(pixels, 6), inverted(picture);
  inverted.fill([&](int x, int y) { return 255 - picture(x, y); });
  const auto image = picture.mat(), negative = inverted.mat();
  const struct {
    Image_Side side;
    Ints coordinates;
    Points points;  ///< row and column
  } cases[] = {
      {top, {1, 0, 2, -1}, {{1, 0}, {0, 1}, {2, 2}, {2, 2}}},
      {right, {1, 2, 2}, {{0, 1}, {1, 2}, {2, 2}}},
      {bottom, {-1, 2, 2, 1}, {{0, 0}, {2, 2}, {2, 1}, {1, 0}}},
      {left, {2, 0, 1}, {{2, 2}, {1, 0}, {0, 1}}},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(zeb::border_by_maximum(image, c.side), c.coordinates);
    EXPECT_EQ(zeb::borderpx_by_maximum(image, c.side), c.points);
    EXPECT_EQ(zeb::border_by_minimum(negative, c.side), c.coordinates);
    EXPECT_EQ(zeb::borderpx_by_minimum(negative, c.side), c.points);
  }
  Picture plateau = Picture::grey({{0, 4, 4, 9}});
  EXPECT_EQ(zeb::border_by_maximum(plateau.mat(), left), Ints{1}) << "an equal pixel ends the climb";
}

TEST(BorderSearch, ThresholdsAndGradientsReportStepsAndForgetColumns) {
  Picture picture = Picture::grey(pixels, 6);
  const auto image = picture.mat();
  // The band holds its ends, so that 6 is not outside of 0 to 6.
  EXPECT_EQ(zeb::border_by_threshold(image, top, 0, 6, standard), (Ints{1, 0, 2, -1}));
  const struct {
    Image_Side side;
    Ints steps;  ///< to the first 7 or 8
    Points points;
  } cases[] = {
      {top, {1, 2, -1, -1}, {{1, 0}, {2, 1}, {2, -1}, {2, -1}}},
      {right, {-1, 3, 2}, {{3, -1}, {1, 0}, {2, 1}}},
      {bottom, {-1, -1, 0, 1}, {{-1, -1}, {-1, -1}, {2, 1}, {1, 0}}},
      {left, {1, 0, -1}, {{2, 1}, {1, 0}, {1, -1}}},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(zeb::border_by_threshold(image, c.side, 7, 8, inverse), c.steps);
    EXPECT_EQ(zeb::borderpx_by_threshold(image, c.side, 7, 8, inverse), c.points);
  }
  // From the left the steps are 2, 6, 1, -9, then 7, -2, 1, -6, then 0, 9, -4, -5, the first ones against black.
  const auto gradient = [&](Image_Side side, bool from_zero, float lower, float upper, ThresholdMode mode, Ints steps,
                            Points points) {
    EXPECT_EQ(zeb::border_by_gradient(image, side, from_zero, lower, upper, mode), steps) << lower << ", " << upper;
    EXPECT_EQ(zeb::borderpx_by_gradient(image, side, from_zero, lower, upper, mode), points) << lower << ", " << upper;
  };
  gradient(left, true, -2, 6, standard, {3, 0, 1}, {{2, 3}, {1, 0}, {0, 1}});
  gradient(left, false, -2, 6, standard, {3, 3, 1}, {{2, 3}, {1, 3}, {0, 1}});
  gradient(left, false, -2, 6, inverse, {2, 2, -1}, {{2, 2}, {1, 2}, {1, -1}});
  gradient(left, true, -2, 0.5f, inverse, {-1, -1, 0}, {{0, -1}, {0, -1}, {0, 0}});
  gradient(top, true, -2, 6, standard, {1, 0, -1, -1}, {{1, 0}, {0, 1}, {0, -1}, {0, -1}});
  gradient(right, true, -2, 4, standard, {1, 1, 1}, {{0, 2}, {1, 2}, {2, 2}});
  gradient(bottom, false, -1, 4, standard, {-1, 1, 1, 1}, {{0, -1}, {1, 2}, {1, 1}, {1, 0}});
}

TEST(BorderSearch, EmptyImagesAndUnknownModes) {
  unsigned char pixel = 9;
  const Mat<unsigned char> no_columns(&pixel, 0, 1, 3), no_rows(&pixel, 2, 2, 0), one(&pixel, 1, 1, 1);
  const auto unknown = static_cast<ThresholdMode>(5);
  EXPECT_EQ(zeb::border_by_maximum(no_columns, top), Ints{});
  EXPECT_EQ(zeb::border_by_gradient(no_columns, left, false, 0, 0, standard), (Ints{-1, -1, -1}));
  EXPECT_EQ(zeb::border_by_threshold(no_rows, bottom, 1, 2, standard), (Ints{-1, -1}));
  EXPECT_EQ(zeb::border_by_maximum(one, static_cast<Image_Side>(4)), Ints{});
  EXPECT_EQ(zeb::border_by_threshold(one, left, 0, 0, unknown), Ints{-1});
  EXPECT_EQ(zeb::border_by_gradient(one, left, true, 0, 0, unknown), Ints{-1});
}

}  // namespace
