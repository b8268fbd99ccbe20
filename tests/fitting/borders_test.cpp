#include <gtest/gtest.h>

#include <functional>
#include <vector>

#include "tests/support/picture.h"
#include "tests/support/random_geometry.h"
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

/// The pixels of a search's lines in the order of the walk, and where they lie.
struct Walks {
  std::vector<Ints> lines;
  std::vector<Points> places;  ///< row and column

  Walks(const Picture& image, Image_Side side) {
    const bool columns = side == top || side == bottom, reversed = side == bottom || side == left;
    const bool from_end = side == right || side == bottom;
    const int count = columns ? image.width() : image.height(), length = columns ? image.height() : image.width();
    for (int i = 0; i < count; ++i) {
      lines.emplace_back();
      places.emplace_back();
      for (int step = 0; step < length; ++step) {
        const int outer = reversed ? count - 1 - i : i, inner = from_end ? length - 1 - step : step;
        places.back().push_back(columns ? Point_<int>{inner, outer} : Point_<int>{outer, inner});
        lines.back().push_back(image(places.back().back().y, places.back().back().x));
      }
    }
  }

  /// The hit's step on each line, or -1.
  Ints steps(const std::function<bool(const Ints&, std::size_t)>& hits) const {
    Ints result;
    for (const Ints& line : lines) {
      std::size_t step = 0;
      while (step < line.size() && !hits(line, step)) ++step;
      result.push_back(step < line.size() ? static_cast<int>(step) : -1);
    }
    return result;
  }

  Points points(const Ints& steps, Point_<int> point, bool forgets_column) const {
    Points result;
    for (std::size_t i = 0; i < steps.size(); ++i) {
      if (forgets_column) point.y = -1;
      if (steps[i] >= 0) point = places[i][static_cast<std::size_t>(steps[i])];
      result.push_back(point);
    }
    return result;
  }
};

TEST(BorderSearch, AllFormsOnAnyLayoutFromAllSides) {
  for_each_trial(300, 60, 30, [](Trial t) {
    const int shift = pick(t.engine, 0, 7);
    t.src.fill([&](int x, int y) { return (t.src(x, y) >> shift) << pick(t.engine, 0, 1); });
    const auto image = t.src.mat();
    const int low = pick(t.engine, 0, 255), high = pick(t.engine, 0, 255);
    const auto l = static_cast<unsigned char>(low), h = static_cast<unsigned char>(high);
    const bool outside = t.number % 2 == 0, from_zero = pick(t.engine, 0, 1) != 0;
    const auto mode = outside ? standard : inverse;
    const float from = static_cast<float>(pick(t.engine, -9, 3)), to = static_cast<float>(pick(t.engine, -3, 9));
    for (const auto side : {top, right, bottom, left}) {
      const Walks walks(t.src, side);
      const Ints marked = walks.steps([&](const Ints& line, std::size_t i) {
        return outside ? line[i] < low || line[i] > high : low <= line[i] && line[i] <= high;
      });
      ASSERT_EQ(zeb::border_by_threshold(image, side, l, h, mode), marked);
      const int lines_end = side == top ? t.g.width : side == right ? t.g.height : -1;
      ASSERT_EQ(zeb::borderpx_by_threshold(image, side, l, h, mode), walks.points(marked, {lines_end, -1}, true));

      const Ints steep = walks.steps([&](const Ints& line, std::size_t i) {
        if (i == 0 && !from_zero) return false;
        const auto g = static_cast<float>(line[i] - (i == 0 ? 0 : line[i - 1]));
        return outside ? g < from || g > to : from < g && g < to;
      });
      ASSERT_EQ(zeb::border_by_gradient(image, side, from_zero, from, to, mode), steep);
      ASSERT_EQ(zeb::borderpx_by_gradient(image, side, from_zero, from, to, mode), walks.points(steep, {0, -1}, true));

      // The pixel that ends the climb comes after the maximum.
      for (const int sign : {1, -1}) {
        const Ints peaks = walks.steps([&](const Ints& line, std::size_t i) {
          const int worst = sign > 0 ? 0 : 255;
          return line[i] != worst && (i + 1 == line.size() || sign * line[i + 1] <= sign * line[i]);
        });
        const Points points = walks.points(peaks, {0, 0}, false);
        Ints coordinates;
        for (std::size_t i = 0; i < peaks.size(); ++i)
          coordinates.push_back(peaks[i] < 0 ? -1 : side == top || side == bottom ? points[i].x : points[i].y);
        ASSERT_EQ((sign > 0 ? zeb::border_by_maximum : zeb::border_by_minimum)(image, side), coordinates);
        ASSERT_EQ((sign > 0 ? zeb::borderpx_by_maximum : zeb::borderpx_by_minimum)(image, side), points);
      }
    }
  });
}

TEST(BorderSearch, ReportsCoordinatesOrStepsAndSwappedPoints) {
  Picture picture = Picture::grey({{0, 0, 0, 0}, {0, 9, 0, 0}, {0, 0, 0, 8}}, 5);
  const auto image = picture.mat();
  EXPECT_EQ(zeb::border_by_maximum(image, bottom), (Ints{2, -1, 1, -1}));
  EXPECT_EQ(zeb::border_by_threshold(image, bottom, 0, 0, standard), (Ints{0, -1, 1, -1}));
  EXPECT_EQ(zeb::borderpx_by_maximum(image, top), (Points{{0, 0}, {1, 1}, {1, 1}, {2, 3}})) << "a carried point";
  EXPECT_EQ(zeb::borderpx_by_threshold(image, top, 0, 0, standard), (Points{{4, -1}, {1, 1}, {1, -1}, {2, 3}}));
  EXPECT_EQ(zeb::borderpx_by_gradient(image, left, true, -1, 1, standard), (Points{{2, 3}, {1, 1}, {1, -1}}));
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
