#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <limits>
#include <vector>

#include "tests/support/allocation.h"
#include "tests/support/picture.h"
#include "tests/support/random_geometry.h"
#include "zeb/fitting.h"

using zeb::Mat;
using zeb::Point_;
using zeb::ThresholdMode;
using zeb::testing::FailingAllocations;
using zeb::testing::Geometry;
using zeb::testing::pick;
using zeb::testing::Picture;
using zeb::testing::same;

namespace {

using Box = std::array<int, 4>;  // left, top, right, bottom

Box box(const zeb::Rect__<Point_<int>>& r) { return {r.top_left.x, r.top_left.y, r.bottom_right.x, r.bottom_right.y}; }

TEST(EnclosingRectangle, OfSparseImages) {
  std::mt19937 engine(1);
  for (int i = 0; i < 200; ++i) {
    auto g = Geometry::random(engine, 150, 40);
    g.height = std::max(g.height, 1);
    Picture image(g.width, g.stride, g.height, 0, g.offset);
    Box expected{g.width, g.height, -1, -1};
    for (int n = pick(engine, 1, 3); n > 0; --n) {
      const int x = pick(engine, 0, g.width - 1), y = pick(engine, 0, g.height - 1);
      image(x, y) = static_cast<unsigned char>(pick(engine, 1, 255));
      expected = {std::min(expected[0], x), std::min(expected[1], y), std::max(expected[2], x),
                  std::max(expected[3], y)};
    }
    ASSERT_EQ(box(zeb::enclosing_orthogonal_rectangle(image.mat())), expected) << g;
    // Thresholding with work memory of the same and of another layout, and in place.
    Picture work(g.width, g.stride, g.height);
    auto work_mat = work.mat(), image_mat = image.mat();
    ASSERT_EQ(box(zeb::enclosing_orthogonal_rectangle(image_mat, 0, 0, ThresholdMode::Standard)), expected) << g;
    ASSERT_EQ(box(zeb::enclosing_orthogonal_rectangle(image_mat, 1, 255, ThresholdMode::InverseBinary)), expected) << g;
    ASSERT_EQ(box(zeb::enclosing_orthogonal_rectangle(work_mat, image_mat, 0, 0, ThresholdMode::Standard)), expected);
    ASSERT_EQ(box(zeb::enclosing_orthogonal_rectangle(image_mat, image_mat, 1, 255, ThresholdMode::InverseBinary)),
              expected);
  }
}

TEST(EnclosingRectangle, EmptyUnknownAndBad) {
  Picture empty(20, 30, 10), full(20, 30, 10, 9);
  auto empty_mat = empty.mat(), full_mat = full.mat();
  const auto unknown = static_cast<ThresholdMode>(2);
  EXPECT_EQ(box(zeb::enclosing_orthogonal_rectangle(empty_mat)), (Box{-1, -1, -1, -1}));
  EXPECT_EQ(box(zeb::enclosing_orthogonal_rectangle(full_mat, empty_mat, 0, 0, unknown)), (Box{0, 0, 19, 9}));
  EXPECT_EQ(box(zeb::enclosing_orthogonal_rectangle(full_mat, 0, 0, unknown)), (Box{-1, -1, -1, -1}));
  EXPECT_DEATH(zeb::enclosing_orthogonal_rectangle(Mat<unsigned char>(nullptr, 3, 3, 0)), "");
  const FailingAllocations none(0);
  EXPECT_THROW(zeb::enclosing_orthogonal_rectangle(full_mat, 0, 0, ThresholdMode::Standard), std::bad_alloc);
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
  // At 60 degrees the corners cross over and are put in order.
  EXPECT_EQ(inscribed(101, 101, 60), (Box{26, 0, 46, 100}));
}

void mask(Picture& image, std::vector<float> x, std::vector<float> y) {
  PolyToBMMask(image.data(), x.data(), y.data(), static_cast<int>(x.size()), image.width(), image.stride(),
               image.height());
}

TEST(PolygonMask, HoldsOneRunPerRow) {
  Picture triangle(32, 32, 16), notch(8, 9, 5),
      expected = Picture::text({"#######.", "#######.", "#######.", "#######.", "#######."}, 9);
  mask(triangle, {10, 20, 0}, {0, 10, 10});
  for (int x = 0; x < 32; ++x) {
    EXPECT_EQ(triangle(x, 5), 5 <= x && x <= 15 ? 255 : 0) << x;
    EXPECT_EQ(triangle(x, 11), 0);
  }
  mask(notch, {0, 3, 6, 6, 0}, {0, 3, 0, 4, 4});
  EXPECT_TRUE(same(expected, notch));
  mask(notch, {0, 6}, {0, 4});
  EXPECT_TRUE(same(Picture(8, 9, 5), notch));
}

TEST(PolygonMask, RoundsToEvenAndClips) {
  Picture image(8, 10, 3);
  mask(image, {0.5f, 3.5f, 3.5f, 0.5f}, {0, 0, 2, 2});
  EXPECT_TRUE(same(Picture::text({"#####...", "#####...", "#####..."}, 10), image));
  const float huge = std::numeric_limits<float>::infinity();
  for (const float shift : {-20.0f, 20.0f, 1e30f, -1e30f, huge, std::nanf("")}) {
    Picture outside(8, 10, 3, 7);
    mask(outside, {shift, shift + 3, shift + 3, shift}, {-5, -5, 7, 7});
    for (int y = 0; y < 3; ++y)
      for (int x = 8; x < 10; ++x) EXPECT_EQ(outside(x, y), Picture::padding_value) << shift;
  }
  mask(image, {-4, 20, 20, -4}, {-5, -5, 0.9f, 0.9f});
  EXPECT_TRUE(same(Picture::text({"########", "........", "........"}, 10), image));
}

struct Corners {
  float x[4] = {-1, -1, -1, -1}, y[4] = {-1, -1, -1, -1};
  int found;

  explicit Corners(Picture& image, int fill = 0, int radius = 0)
      : found(detect_rect_rand_clust(image.data(), image.width(), image.stride(), image.height(), x, y, fill, radius)) {
  }
};

/// A rectangle of half-sides `a` and `b`, turned by `degrees`, on a ground of another grey.
struct Scene {
  Picture image;
  float x[4], y[4];  // its corners, in any order

  Scene(int width, int height, float a, float b, float degrees, int inside, int outside)
      : image(width, (width + 3) & ~3, height) {
    const float angle = degrees * 3.1415927f / 180.0f, c = cosf(angle), s = sinf(angle);
    for (int i = 0; i < 4; ++i) {
      const float u = i == 0 || i == 3 ? -a : a, v = i < 2 ? -b : b;
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
  for (const int size : {320, 512, 800})
    for (const float share : {0.2f, 0.3f})
      for (float degrees = -45.0f; degrees <= 45.0f; degrees += 7.5f)
        for (const bool bright : {true, false}) {
          const float a = share * static_cast<float>(size), b = a * 0.8f;
          Scene scene(size, size, a, b, degrees, bright ? 220 : 30, bright ? 30 : 220);
          const Picture before = scene.image;
          const Corners corners(scene.image);
          SCOPED_TRACE(::testing::Message() << size << " " << share << " " << degrees << " " << bright);
          EXPECT_EQ(corners.found, 1);
          EXPECT_LT(scene.error(corners), 2.0f) << "pixels";
          EXPECT_EQ(scene.image, before);
          EXPECT_LE(std::max(corners.y[0], corners.y[1]), std::min(corners.y[2], corners.y[3]));
          EXPECT_LE(corners.x[0], corners.x[1]);
          EXPECT_LE(corners.x[3], corners.x[2]);
          auto mat = scene.image.mat();
          const auto points = zeb::detect_rectangle_rand_clust(mat, 0);
          for (std::size_t i = 0; i < 4; ++i) {
            EXPECT_EQ(points[i].x, std::lround(corners.x[i]));
            EXPECT_EQ(points[i].y, std::lround(corners.y[i]));
          }
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
      if (dx < 54 && dy < 44) {
        ASSERT_EQ(scene.image(x, y), 250) << x << ", " << y;
      }
      if (dx > 64 || dy > 54) {
        ASSERT_EQ(scene.image(x, y), 0) << x << ", " << y;
      }
    }
}

TEST(RectangleDetection, FindsNothingInEmptyAndTinyImages) {
  Picture empty(100, 100, 80);
  const Corners corners(empty, 1, 3);
  EXPECT_EQ(corners.found, 0);
  EXPECT_EQ(corners.x[0], -1.0f) << "unwritten";
  std::mt19937 engine(5);
  for (int width = 0; width < 30; ++width)
    for (int height = 0; height < 30; height += 3) {
      Picture noise = Picture::random(engine, width, width + width % 4, height);
      const int radius = std::min(pick(engine, 0, 8), width / 3);
      Corners(noise, 1, radius);
    }
  Scene scene(160, 160, 40, 30, 20, 220, 30);
  const Picture before = scene.image;
  int needed = 0;
  for (;; ++needed) {
    const FailingAllocations failing(needed);
    if (Corners(scene.image, 1, 1).found == 1) break;
    ASSERT_EQ(scene.image, before) << needed;
  }
  EXPECT_GE(needed, 8) << "two images, gradient lines, four arrays of samples, scores";
}

}  // namespace
