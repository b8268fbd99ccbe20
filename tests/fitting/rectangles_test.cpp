#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <limits>
#include <vector>

#include "tests/support/picture.h"
#include "tests/support/random_geometry.h"
#include "zeb/drawing.h"
#include "zeb/filters.h"
#include "zeb/fitting.h"
#include "zeb/morphology.h"
#include "zeb/transforms.h"

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

/// The detection without filling, step by step; the number of corners.
std::size_t plain_detection(Picture& src, int radius, std::vector<std::array<float, 2>>& corners) {
  constexpr float quarter = 0.78539816f, right_angle = 1.5707964f, pi = 3.1415927f;
  using Lines = std::vector<std::array<float, 2>>;  // theta, rho
  const int w = src.width(), h = src.height(), stride = src.stride();
  const float cx = static_cast<float>(w) * 0.5f, cy = static_cast<float>(h) * 0.5f;
  std::vector<unsigned char> edges(static_cast<std::size_t>(stride * h) + 128), work(edges.size());
  zeb::FastSobel(edges.data(), src.data(), w, stride, h);
  for (auto& p : edges) p = p > 100 ? 255 : 0;
  work = edges;
  if (radius != 0) vMMRecursiveMorphOp(work.data(), edges.data(), w, stride, h, radius, 0, 1, 0);
  float theta[14], rho[14];
  int n;
  zeb::CalcLinesRandom(theta, rho, nullptr, 0, nullptr, 0, &n, work.data(), w, h, stride);
  Lines lines;
  for (int i = 0; i < n; ++i) lines.push_back({theta[i], rho[i]});

  while (!lines.empty()) {
    std::vector<int> para(lines.size());
    std::vector<float> score(lines.size());
    for (std::size_t i = 0; i < lines.size(); ++i)
      for (const auto& other : lines) {
        const float c = cosf(lines[i][0]), s = sinf(lines[i][0]), cj = cosf(other[0]), sj = sinf(other[0]);
        const float d = sj * s + cj * c, e = sj * c - cj * s;
        para[i] += 0.1f > fabsf(e) ? 1 : 0;
        score[i] += fabsf(d * e);
      }
    const auto worst = std::max_element(score.begin(), score.end()) - score.begin();
    if (score[static_cast<std::size_t>(worst)] > 0.15f) {
      lines.erase(lines.begin() + worst);
      continue;
    }
    if (lines.size() < 5) break;
    std::vector<std::size_t> list;
    for (std::size_t i = 0; i < lines.size(); ++i)
      if (para[i] > 2 && list.size() < 10) list.push_back(i);
    if (list.size() < 3) {
      lines.pop_back();
      continue;
    }
    float farthest = -1;
    std::size_t one = 0, two = 0;
    for (std::size_t i = 0; i < list.size(); ++i)
      for (std::size_t j = i + 1; j < list.size(); ++j) {
        const auto &a = lines[list[i]], &b = lines[list[j]];
        const float dx = (cx + a[1] * cosf(a[0])) - (cx + b[1] * cosf(b[0]));
        const float dy = (cy + a[1] * sinf(a[0])) - (cy + b[1] * sinf(b[0]));
        if (dx * dx + dy * dy > farthest) {
          farthest = dx * dx + dy * dy;
          one = list[i];
          two = list[j];
        }
      }
    Lines kept;
    for (std::size_t i = 0; i < lines.size(); ++i)
      if (para[i] < 3 || i == one || i == two) kept.push_back(lines[i]);
    lines = kept;
  }

  if (lines.size() >= 1 && lines.size() <= 3) {
    float tilt = 0;
    if (fabsf(sinf(lines[0][0]) * cosf(lines[0][0])) > 0.001f) {
      for (tilt = lines[0][0]; tilt > quarter;) tilt -= right_angle;
      while (tilt < -quarter) tilt += right_angle;
      zeb::mm_transform(work.data(), src.data(), w, stride, h, cx, cy, 0, 0, -tilt, 1, 0);
    } else {
      std::copy_n(src.data(), static_cast<std::size_t>(stride * h), work.begin());
    }
    std::vector<float> columns(static_cast<std::size_t>(w)), rows(static_cast<std::size_t>(h));
    for (int y = 0; y < h; ++y)
      for (int x = 0; x < w; ++x) {
        const float p = work[static_cast<std::size_t>(y * stride + x)];
        columns[static_cast<std::size_t>(x)] += p;
        rows[static_cast<std::size_t>(y)] += p;
      }
    const auto steps = [](const std::vector<float>& sums) {
      float rise = 2, fall = static_cast<float>(sums.size()) - 3, highest = 0, lowest = 0;
      for (std::size_t x = 2; x + 3 <= sums.size(); ++x) {
        const float g = sums[x + 1] - sums[x - 1];
        if (g > highest) highest = g, rise = static_cast<float>(x);
        if (g < lowest) lowest = g, fall = static_cast<float>(x);
      }
      return std::array<float, 2>{rise, fall};
    };
    const auto [x_rise, x_fall] = steps(columns);
    const auto [y_rise, y_fall] = steps(rows);
    Lines sides;
    const auto add_side = [&](float offset, float normal, float opposite) {
      sides.push_back(offset < 0 ? std::array<float, 2>{tilt + opposite, -offset}
                                 : std::array<float, 2>{tilt + normal, offset});
    };
    add_side(cy - y_rise, -right_angle, right_angle);
    add_side(x_fall - cx, 0, -pi);
    add_side(y_fall - cy, right_angle, -right_angle);
    add_side(cx - x_rise, -pi, 0);
    for (const auto& line : lines) {
      std::size_t nearest = 0;
      float least = 1e8f;
      for (std::size_t k = 0; k < 4; ++k) {
        const float d = zeb::fLineDistHesse(line[0], line[1], sides[k][0], sides[k][1], std::max(cx, cy));
        if (d < least) least = d, nearest = k;
      }
      if (least < 0.1f) sides[nearest] = line;
    }
    lines = sides;
  }
  if (lines.size() < 4) return 0;
  for (std::size_t i = 0; i < 4; ++i)
    for (std::size_t j = i + 1; j < 4; ++j) {
      float difference = fabsf(lines[i][0] - lines[j][0]);
      if (difference > pi) difference -= pi;
      if (difference < quarter || difference > 2.3561945f || corners.size() == 4) continue;
      std::array<float, 2> p;
      zeb::GetCrossPointHesse(&p[0], &p[1], lines[i][0], lines[i][1], lines[j][0], lines[j][1]);
      if (p[0] < 100000.0f && p[1] < 100000.0f) corners.push_back(p);
    }
  if (corners.size() != 4) return corners.size();
  for (std::size_t p = 0; p < 4; ++p)
    for (std::size_t q = p + 1; q < 4; ++q)
      if (corners[p][1] > corners[q][1]) std::swap(corners[p], corners[q]);
  if (corners[0][0] > corners[1][0]) std::swap(corners[0], corners[1]);
  if (corners[3][0] > corners[2][0]) std::swap(corners[3], corners[2]);
  for (auto& corner : corners) corner = {cx + corner[0], cy + corner[1]};
  return 4;
}

int found_as_in_plain_detection(Picture& image, int radius) {
  std::vector<std::array<float, 2>> expected;
  const std::size_t count = plain_detection(image, radius, expected);
  const Corners corners(image, 0, radius);
  EXPECT_EQ(corners.found, count == 4 ? 1 : 0);
  for (std::size_t k = 0; k < 4 && count == 4; ++k) {
    EXPECT_EQ(corners.x[k], expected[k][0]);
    EXPECT_EQ(corners.y[k], expected[k][1]);
  }
  return corners.found;
}

TEST(RectangleDetection, MatchesThePlainRendering) {
  std::mt19937 engine(6);
  int found = 0;
  for (int i = 0; i < 120; ++i) {
    const int width = pick(engine, 40, 300), height = pick(engine, 40, 300);
    const float side = static_cast<float>(std::min(width, height));
    Scene scene(width, height, side * 0.3f, side * 0.2f, static_cast<float>(pick(engine, -45, 45)), 200, 20);
    Picture& image = scene.image;
    for (int lines = pick(engine, 0, 6); lines > 0; --lines)  // parallel, oblique and missing sides
      vLine(image.data(), pick(engine, 0, width), pick(engine, 0, height), pick(engine, 0, width),
            pick(engine, 0, height), image.stride(), height, static_cast<unsigned char>(20 + 180 * (lines % 2)), 3);
    SCOPED_TRACE(::testing::Message() << i << ": " << width << " x " << height);
    found += found_as_in_plain_detection(image, i % 3);
  }
  EXPECT_GT(found, 50);
}

TEST(RectangleDetection, DropsTheFirstOfTwoEquallyObliqueLines) {
  // An edge that bends below the middle, far enough from it for one line each.
  Picture image(240, 240, 240, 20);
  for (int y = 0; y < 240; ++y)
    for (int x = 0; x < 80 + std::max(0, y - 120) / 2; ++x) image(x, y) = 200;
  EXPECT_EQ(found_as_in_plain_detection(image, 0), 1);
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
