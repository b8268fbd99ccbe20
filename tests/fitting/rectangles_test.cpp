#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <limits>
#include <vector>

#include "tests/support/picture.h"
#include "tests/support/random_geometry.h"
#include "zeb/drawing.h"
#include "zeb/fitting.h"

using zeb::Mat;
using zeb::Point_;
using zeb::ThresholdMode;
using namespace zeb::testing;

namespace {

using Box = std::array<int, 4>;  // left, top, right, bottom

Box box(const zeb::Rect__<Point_<int>>& r) { return {r.top_left.x, r.top_left.y, r.bottom_right.x, r.bottom_right.y}; }

TEST(EnclosingRectangle, OfSparseImages) {
  for_each_trial(200, 150, 40, [](Trial t) {
    if (t.g.height == 0) return;
    Box expected{t.g.width, t.g.height, -1, -1};
    t.src.fill([](int, int) { return 0; });
    for (int n = pick(t.engine, 1, 3); n > 0; --n) {
      const int x = pick(t.engine, 0, t.g.width - 1), y = pick(t.engine, 0, t.g.height - 1);
      t.src(x, y) = static_cast<unsigned char>(pick(t.engine, 1, 255));
      expected = {std::min(expected[0], x), std::min(expected[1], y), std::max(expected[2], x),
                  std::max(expected[3], y)};
    }
    auto src = t.src.mat(), work = t.dst.mat();
    ASSERT_EQ(box(zeb::enclosing_orthogonal_rectangle(src)), expected);
    ASSERT_EQ(box(zeb::enclosing_orthogonal_rectangle(src, 0, 0, ThresholdMode::Standard)), expected);
    ASSERT_EQ(box(zeb::enclosing_orthogonal_rectangle(work, src, 0, 0, ThresholdMode::Standard)), expected);
    ASSERT_EQ(box(zeb::enclosing_orthogonal_rectangle(src, src, 1, 255, ThresholdMode::InverseBinary)), expected);
  });
}

TEST(EnclosingRectangle, OfNothingAndForUnknownModes) {
  Picture empty(20, 30, 10), full(20, 30, 10, 9);
  auto empty_mat = empty.mat(), full_mat = full.mat();
  const auto unknown = static_cast<ThresholdMode>(2);
  EXPECT_EQ(box(zeb::enclosing_orthogonal_rectangle(empty_mat)), (Box{-1, -1, -1, -1}));
  EXPECT_EQ(box(zeb::enclosing_orthogonal_rectangle(full_mat, empty_mat, 0, 0, unknown)), (Box{0, 0, 19, 9}));
  EXPECT_EQ(box(zeb::enclosing_orthogonal_rectangle(full_mat, 0, 0, unknown)), (Box{-1, -1, -1, -1}));
  empty(19, 9) = 1;
  EXPECT_EQ(box(zeb::enclosing_orthogonal_rectangle(empty_mat)), (Box{19, 9, 19, 9})) << "the darkest grey";
}

TEST(EnclosingRectangle, SumsAreSigned) {
  // 255 * 8421505 is just above 2^31: the column does not count as set, each row does.
  const int height = 8421505;
  std::vector<unsigned char> column(static_cast<std::size_t>(height), 255);
  EXPECT_EQ(box(zeb::enclosing_orthogonal_rectangle(Mat<unsigned char>(column.data(), 1, 1, height))),
            (Box{-1, 0, -1, height - 1}));
}

TEST(InscribedRectangle, StaysInsideTheRotatedImage) {
  const auto inscribed = [](int width, int height, float angle) {
    return box(zeb::inscribed_orthogonal_rectangle(Mat<unsigned char>(nullptr, width, width, height), angle));
  };
  EXPECT_EQ(inscribed(100, 50, 0), (Box{0, 0, 99, 49}));
  EXPECT_EQ(inscribed(100, 50, std::nanf("")), (Box{0, 0, 99, 49}));
  // By hand for 30 degrees and a side of 100 steps: cos 0.8660254, sin 0.5, tan 0.5773503.
  // x1 = floor(86.60 - (100 - 50) * 0.57735) = floor(57.735), x0 = ceil(57 * 0.57735) = ceil(32.909).
  EXPECT_EQ(inscribed(101, 101, 30), (Box{33, 0, 57, 100}));
  // c = 86.60, q = (100 - 50) * 0.57735; y1 = floor(57.735), y0 = 33.
  EXPECT_EQ(inscribed(101, 101, -30), (Box{0, 33, 100, 57}));
  // floor(10000 * (1 - 0.5) / 0.8660254) = floor(5773.503), ceil(5773 * 0.5773503) = ceil(3333.043).
  EXPECT_EQ(inscribed(10001, 10001, 30), (Box{3334, 0, 5773, 10000}));
  // At 60 degrees the corners cross over and are put in order.
  EXPECT_EQ(inscribed(101, 101, 60), (Box{26, 0, 46, 100}));
}

void mask(Picture& image, std::vector<float> x, std::vector<float> y) {
  PolyToBMMask(image.data(), x.data(), y.data(), static_cast<int>(x.size()), image.width(), image.stride(),
               image.height());
}

TEST(PolygonMask, HoldsOneRunPerRow) {
  Picture image(8, 9, 5);
  mask(image, {0, 3, 6, 6, 0}, {0, 3, 0, 4, 4});
  EXPECT_TRUE(same(Picture::text({"#######.", "#######.", "#######.", "#######.", "#######."}, 9), image)) << "a notch";
  mask(image, {3, 5, 1}, {0, 2, 2});
  EXPECT_TRUE(same(Picture::text({"...#....", "..###...", ".#####..", "........", "........"}, 9), image));
  mask(image, {0, 6}, {0, 4});
  EXPECT_TRUE(same(Picture(8, 9, 5), image)) << "no polygon";
}

TEST(PolygonMask, RoundsToEvenAndClips) {
  Picture image(8, 10, 3);
  mask(image, {0.5f, 3.5f, 3.5f, 0.5f}, {0, 0, 2, 2});
  EXPECT_TRUE(same(Picture::text({"#####...", "#####...", "#####..."}, 10), image));
  mask(image, {-4, 20, 20, -4}, {-5, -5, 0.9f, 0.9f});
  EXPECT_TRUE(same(Picture::text({"########", "........", "........"}, 10), image));
  const Picture untouched(8, 10, 3);
  for (const float shift : {-20.0f, 20.0f, 1e30f, -1e30f, std::numeric_limits<float>::infinity(), std::nanf("")}) {
    mask(image, {shift, shift + 3, shift + 3, shift}, {-5, -5, 7, 7});
    EXPECT_TRUE(same(untouched, image.fill([](int, int) { return 0; }))) << "padding, " << shift;
  }
}

struct Corners {
  float x[4] = {-1, -1, -1, -1}, y[4] = {-1, -1, -1, -1};
  int found;

  explicit Corners(Picture& image, int fill = 0, int radius = 0)
      : found(detect_rect_rand_clust(image.data(), image.width(), image.stride(), image.height(), x, y, fill, radius)) {
  }
};

/// A rectangle of half-sides `a` and `b`, moved `down` and turned by `degrees` about the middle, on a ground of another
/// grey.
struct Scene {
  Picture image;
  float x[4], y[4];  // its corners, clockwise from the top left before it is turned

  Scene(int width, int height, float a, float b, float degrees, int inside, int outside, float down = 0)
      : image(width, (width + 3) & ~3, height) {
    const float angle = degrees * 3.1415927f / 180.0f, c = cosf(angle), s = sinf(angle);
    for (int i = 0; i < 4; ++i) {
      const float u = i == 0 || i == 3 ? -a : a, v = (i < 2 ? -b : b) + down;
      x[i] = static_cast<float>(width) * 0.5f + u * c - v * s;
      y[i] = static_cast<float>(height) * 0.5f + u * s + v * c;
    }
    PolyToBMMask(image.data(), x, y, 4, width, image.stride(), height);
    for (int row = 0; row < height; ++row)
      for (int column = 0; column < width; ++column)
        image(column, row) = static_cast<unsigned char>(image(column, row) != 0 ? inside : outside);
  }

  /// The largest distance of a found corner from the nearest true one.
  float error(const Corners& corners) const {
    float worst = 0;
    for (int i = 0; i < 4; ++i) {
      float nearest = 1e9f;
      for (int k = 0; k < 4; ++k)
        nearest = std::min(nearest, zeb::euclidean_distance(corners.x[i], corners.y[i], x[k], y[k]));
      worst = std::max(worst, nearest);
    }
    return worst;
  }
};

TEST(RectangleDetection, RecoversTurnedRectangles) {
  for (const int size : {320, 512})
    for (float degrees = -45.0f; degrees <= 45.0f; degrees += 7.5f) {
      const bool bright = size == 320;
      const float a = 0.3f * static_cast<float>(size), b = a * 0.8f;
      Scene scene(size, size, a, b, degrees, bright ? 220 : 30, bright ? 30 : 220);
      const Picture before = scene.image;
      const Corners corners(scene.image);
      SCOPED_TRACE(::testing::Message() << size << " " << degrees);
      EXPECT_EQ(corners.found, 1);
      EXPECT_LT(scene.error(corners), 2.0f) << "pixels";
      EXPECT_EQ(scene.image, before);
      auto mat = scene.image.mat();
      const auto points = zeb::detect_rectangle_rand_clust(mat, 0);
      for (std::size_t i = 0; i < 4; ++i) {
        EXPECT_EQ(points[i].x, std::lround(corners.x[i]));
        EXPECT_EQ(points[i].y, std::lround(corners.y[i]));
      }
    }
}

/// Fails unless the corners are those of an upright rectangle, clockwise from the top left.
void expect_upright(Picture& image, int radius, float left, float top, float right, float bottom) {
  const Corners c(image, 0, radius);
  ASSERT_EQ(c.found, 1);
  const float x[] = {left, right, right, left}, y[] = {top, top, bottom, bottom};
  for (std::size_t i = 0; i < 4; ++i) {
    EXPECT_NEAR(c.x[i], x[i], 0.95f) << i;
    EXPECT_NEAR(c.y[i], y[i], 0.95f) << i;
  }
}

TEST(RectangleDetection, DropsObliqueLinesAndTheInnerOnesOfBundles) {
  const struct {
    const char* what;
    int x1, y1, x2, y2, radius, value;
  } lines[] = {
      {"a bright oblique line", 0, 50, 400, 330, 4, 220}, {"a grey oblique line", 120, 400, 400, 30, 6, 120},
      {"a stripe across", 80, 185, 320, 185, 5, 30},      {"a stripe down", 155, 100, 155, 300, 5, 30},
      {"a stripe near a side", 80, 270, 320, 270, 6, 30},
  };
  Picture plain(400, 400, 400, 30), halves(plain);
  vFillRect(plain.data(), 80, 100, 320, 300, 400, 400, 220);
  for (const auto& line : lines)
    for (const int radius : {0, 1}) {
      SCOPED_TRACE(::testing::Message() << line.what << ", radius " << radius);
      Picture image(plain);
      vLine(image.data(), line.x1, line.y1, line.x2, line.y2, 400, 400, static_cast<unsigned char>(line.value),
            line.radius);
      expect_upright(image, radius, 79.5f, 99.5f, 319.5f, 299.5f);
    }
  vFillRect(halves.data(), 80, 100, 320, 300, 400, 400, 142);
  vFillRect(halves.data(), 80, 100, 320, 220, 400, 400, 254);
  expect_upright(halves, 0, 79.5f, 99.5f, 319.5f, 299.5f);
  EXPECT_NE(Corners(plain, 0, 0).x[0], Corners(plain, 0, 1).x[0]) << "a radius of 1 widens the edges";
}

TEST(RectangleDetection, CompletesMissingSidesFromTheSteepestSums) {
  // Rectangles that leave the image. Without a step the third row or column from the border takes a side's place.
  const struct {
    int x1, y1, x2, y2;
    float left, top, right, bottom;
  } cases[] = {
      {0, 0, 80, 240, 2, 2, 79.5f, 237},
      {0, 0, 320, 80, 2, 2, 317, 79.5f},
      {0, 80, 320, 240, 2, 79.5f, 317, 237},
      {60, 80, 150, 240, 59.5f, 79.5f, 149.5f, 237},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(::testing::Message() << c.x1 << ',' << c.y1 << ' ' << c.x2 << ',' << c.y2);
    Picture image(320, 320, 240, 20);
    vFillRect(image.data(), c.x1, c.y1, c.x2, c.y2, 320, 240, 200);
    expect_upright(image, 0, c.left, c.top, c.right, c.bottom);
  }
  // An edge that bends at row 120, far enough from the middle for one line each. They are equally oblique to each
  // other, and the first one found, the longer lower one, is dropped. The sums of the rows rise first where it begins.
  Picture bent(240, 240, 240, 20);
  bent.fill([](int x, int y) { return x < 80 + std::max(0, y - 120) / 2 ? 200 : 20; });
  expect_upright(bent, 0, 2, 121, 79.5f, 237);
  // A single edge, which turns the rectangle.
  bent.fill([](int x, int y) { return x < 40 + y / 2 ? 200 : 20; });
  const Corners turned(bent);
  EXPECT_EQ(turned.found, 1);
  int on_the_edge = 0;
  for (std::size_t i = 0; i < 4; ++i)
    if (std::fabs(zeb::distance_point_line(turned.x[i], turned.y[i], 40, 0, 160, 240)) < 1.5f) ++on_the_edge;
  EXPECT_EQ(on_the_edge, 2);
}

TEST(RectangleDetection, CompletesATurnedRectangle) {
  for (const float degrees : {-20.0f, 10.0f, 30.0f}) {
    // It reaches far below the image.
    Scene scene(320, 320, 80, 300, degrees, 220, 30, 220);
    const Corners corners(scene.image);
    EXPECT_EQ(corners.found, 1);
    for (std::size_t i = 0; i < 2; ++i)
      EXPECT_LT(zeb::euclidean_distance(corners.x[i], corners.y[i], scene.x[i], scene.y[i]), 2.0f) << degrees;
  }
}

TEST(RectangleDetection, FillsTheRegionAroundTheMiddle) {
  Scene scene(240, 240, 60, 50, 0, 220, 30);
  const Corners corners(scene.image, 1, 1);
  ASSERT_EQ(corners.found, 1);
  EXPECT_LT(scene.error(corners), 3.0f);
  // The middle is on the main diagonal, so that the exchange of row and column does not matter.
  for (int y = 0; y < 240; ++y)
    for (int x = 0; x < 240; ++x) {
      const int dx = std::abs(x - 120), dy = std::abs(y - 120);
      const bool inside = dx < 54 && dy < 44, near_the_sides = !inside && dx <= 64 && dy <= 54;
      ASSERT_TRUE(near_the_sides || scene.image(x, y) == (inside ? 250 : 0)) << x << ", " << y;
    }
  // Off the diagonal the exchanged position, column 120 of row 160, lies between the lines below the rectangle.
  Scene wide(318, 240, 60, 25, 0, 220, 30);
  ASSERT_EQ(Corners(wide.image, 1).found, 1);
  EXPECT_EQ(wide.image(160, 120), 0) << "the middle";
  EXPECT_EQ(wide.image(160, 200), 250);
  EXPECT_EQ(wide.image(50, 200), 0);
  EXPECT_EQ(wide.image(318, 200), 0) << "padding is cleared too";
}

TEST(RectangleDetection, FillsUpToTheEndsOfALongDiagonal) {
  // The long sides reach 130 pixels from the middle, more than half the image.
  Scene scene(240, 240, 130, 35, 45, 220, 30);
  const Corners corners(scene.image, 1);
  ASSERT_EQ(corners.found, 1);
  EXPECT_LT(scene.error(corners), 3.0f);
  EXPECT_EQ(scene.image(120, 120), 250);
  EXPECT_EQ(scene.image(200, 200), 250);
  EXPECT_EQ(scene.image(200, 40), 0) << "beside the rectangle";
}

TEST(RectangleDetection, FillsNothingFromAPointOnAnOutline) {
  // The mean of the rounded corners, exchanged, is column 119: on the left side, drawn at 120 and three pixels wide.
  Scene scene(320, 240, 40, 90, 0, 220, 30);
  const Picture before = scene.image;
  const Corners corners(scene.image, 1);
  ASSERT_EQ(corners.found, 1);
  EXPECT_EQ(scene.image, before);
}

TEST(RectangleDetection, FindsNothingInAnEmptyImage) {
  Picture empty(100, 100, 80);
  const Corners corners(empty, 1, 3);
  EXPECT_EQ(corners.found, 0);
  EXPECT_EQ(corners.x[0], -1.0f) << "unwritten";
}

}  // namespace
