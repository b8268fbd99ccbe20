#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <utility>

#include "fitting/hesse.h"
#include "frame/rounding.h"
#include "frame/scratch.h"
#include "zeb/drawing.h"
#include "zeb/filters.h"
#include "zeb/morphology.h"
#include "zeb/shapes.h"
#include "zeb/statistics.h"
#include "zeb/transforms.h"

using zeb::fitting::pi;
using zeb::frame::Scratch;

namespace {

constexpr float half_pi = 1.5707964f, quarter_pi = 0.78539816f, three_quarters_pi = 2.3561945f;

struct Geometry {
  int width, stride, height;

  float cx() const { return static_cast<float>(width) * 0.5f; }
  float cy() const { return static_cast<float>(height) * 0.5f; }
  std::int64_t bytes() const { return std::int64_t{stride} * height; }
  /// The size of a work image: a dilation of a narrow image reads and writes a little beyond the last row.
  std::int64_t bytes_with_room() const { return bytes() + 128; }
};

struct Line {
  float theta, rho;
};

/// The lines still in play, in order, in Hesse form around the image centre.
class Lines {
 public:
  static constexpr int capacity = 10;  // as many as `CalcLinesRandom` finds

  int count = 0;

  Line& operator[](int i) { return lines_[static_cast<std::size_t>(i)]; }
  const Line& operator[](int i) const { return lines_[static_cast<std::size_t>(i)]; }

  template <class Keep>
  void keep_if(Keep keep) {
    int kept = 0;
    for (int i = 0; i < count; ++i)
      if (keep(i)) (*this)[kept++] = (*this)[i];
    count = kept;
  }

 private:
  std::array<Line, capacity> lines_{};
};

/// The lines found on the edges of the image, which are left in `edges`.
Lines lines_on_edges(unsigned char* edges, const unsigned char* src, const Geometry& g, int radius) {
  const auto [width, stride, height] = g;
  zeb::FastSobel(edges, src, width, stride, height);
  vThresholding(edges, edges, width, stride, height, 0, 100);
  if (radius > 0) {
    const Scratch<unsigned char> dilated(g.bytes_with_room());
    if (!dilated) return {};
    std::memset(dilated.data(), 0, static_cast<std::size_t>(g.bytes()));
    vMMRecursiveMorphOp(dilated.data(), edges, width, stride, height, radius, 0, 1, 0);
    std::memcpy(edges, dilated.data(), static_cast<std::size_t>(g.bytes()));
  }
  float theta[Lines::capacity], rho[Lines::capacity];
  Lines lines;
  zeb::CalcLinesRandom(theta, rho, nullptr, 0, nullptr, 0, &lines.count, edges, width, height, stride);
  for (int i = 0; i < lines.count; ++i) lines[i] = {theta[i], rho[i]};
  return lines;
}

/// How a line lies to all lines, itself included.
struct Relations {
  int parallel = 0;
  float obliqueness = 0.0f;

  Relations(const Line& line, const Lines& lines) {
    const float c = cosf(line.theta), s = sinf(line.theta);
    for (int j = 0; j < lines.count; ++j) {
      const float cj = cosf(lines[j].theta), sj = sinf(lines[j].theta);
      const float d = sj * s + cj * c, e = sj * c - cj * s;
      if (0.1f > fabsf(e)) ++parallel;
      obliqueness += fabsf(d * e);
    }
  }
};

/// The two lines of a bundle whose foot points lie farthest apart, the first of equals.
std::array<int, 2> outermost(const Lines& lines, const int* bundle, int size, const Geometry& g) {
  const auto foot_distance = [&](int a, int b) {
    const auto x = [&](int i) { return g.cx() + lines[i].rho * cosf(lines[i].theta); };
    const auto y = [&](int i) { return g.cy() + lines[i].rho * sinf(lines[i].theta); };
    const float dx = x(a) - x(b), dy = y(a) - y(b);
    return dx * dx + dy * dy;
  };
  std::array<int, 2> pair{bundle[0], bundle[1]};
  float farthest = foot_distance(pair[0], pair[1]);
  for (int a = 0; a < size; ++a)
    for (int b = a + 1; b < size; ++b) {
      const float distance = foot_distance(bundle[a], bundle[b]);
      if (!(distance > farthest)) continue;
      farthest = distance;
      pair = {bundle[a], bundle[b]};
    }
  return pair;
}

/// Drops lines that are oblique to the rest, then the inner ones of parallel bundles.
void reduce_to_rectangle(Lines& lines, const Geometry& g) {
  while (lines.count != 0) {
    int worst = 0;
    float largest_obliqueness = 0.0f;
    int parallel[Lines::capacity];
    for (int i = 0; i < lines.count; ++i) {
      const Relations relations(lines[i], lines);
      parallel[i] = relations.parallel;
      if (relations.obliqueness > largest_obliqueness) {
        largest_obliqueness = relations.obliqueness;
        worst = i;
      }
    }
    if (largest_obliqueness > 0.15f) {
      lines.keep_if([worst](int i) { return i != worst; });
      continue;
    }
    if (lines.count < 5) return;
    int bundle[Lines::capacity], size = 0;
    for (int i = 0; i < lines.count; ++i)
      if (parallel[i] > 2) bundle[size++] = i;
    if (size < 3) {
      --lines.count;
      continue;
    }
    const auto pair = outermost(lines, bundle, size, g);
    const int before = lines.count;
    lines.keep_if([&](int i) { return parallel[i] < 3 || i == pair[0] || i == pair[1]; });
    if (lines.count == before) lines.keep_if([worst](int i) { return i != worst; });
  }
}

/// Where a profile of sums rises and falls most, by central differences; the outermost inner positions where it never
/// does.
struct Steps {
  int rise = 2, fall;

  Steps(const float* sums, int length) : fall(length - 3) {
    float highest = 0.0f, lowest = 0.0f;
    for (int i = 2; i <= length - 3; ++i) {
      const float g = sums[i + 1] - sums[i - 1];
      if (g > highest) {
        highest = g;
        rise = i;
      }
      if (g < lowest) {
        lowest = g;
        fall = i;
      }
    }
  }
};

/// The line with the normal direction `theta` at `offset`; with that of `opposite` where the offset is negative.
Line with_positive_rho(float offset, float theta, float opposite) {
  return offset < 0.0f ? Line{opposite, -offset} : Line{theta, offset};
}

/// Makes four lines of fewer: the sides of the upright rectangle at the steepest column and row sums, each replaced by
/// a found line that is near it. `turned` is overwritten. False where memory is short.
bool complete(Lines& lines, unsigned char* turned, unsigned char* src, const Geometry& g) {
  const auto [width, stride, height] = g;
  const float cx = g.cx(), cy = g.cy(), first = lines[0].theta;
  float tilt = 0.0f;
  if (fabsf(sinf(first) * cosf(first)) > 0.001f) {
    tilt = first;
    while (tilt > quarter_pi) tilt -= half_pi;
    while (tilt < -quarter_pi) tilt += half_pi;
    zeb::mm_transform(turned, src, width, stride, height, cx, cy, 0.0f, 0.0f, -tilt, 1.0f, 0);
  } else {
    for (int y = 0; y < height; ++y)
      std::memcpy(turned + std::ptrdiff_t{y} * stride, src + std::ptrdiff_t{y} * stride,
                  static_cast<std::size_t>(width));
  }

  const Scratch<float> column_sums(width), row_sums(height);
  if (!column_sums || !row_sums) return false;
  std::fill_n(column_sums.data(), width, 0.0f);
  for (int y = 0; y < height; ++y) {
    const unsigned char* row = turned + std::ptrdiff_t{y} * stride;
    for (int x = 0; x < width; ++x) column_sums[x] += row[x];
    row_sums[y] = static_cast<float>(uiBMMass(row, width, stride, 1));
  }
  const Steps x(column_sums.data(), width), y(row_sums.data(), height);

  const float x_rise = static_cast<float>(x.rise), x_fall = static_cast<float>(x.fall);
  const float y_rise = static_cast<float>(y.rise), y_fall = static_cast<float>(y.fall);
  Lines sides;
  sides.count = 4;
  sides[0] = with_positive_rho(cy - y_rise, tilt - half_pi, tilt + half_pi);
  sides[1] = with_positive_rho(x_fall - cx, tilt, tilt - pi);
  sides[2] = with_positive_rho(y_fall - cy, tilt + half_pi, tilt - half_pi);
  sides[3] = with_positive_rho(cx - x_rise, tilt - pi, tilt);
  for (int i = 0; i < lines.count; ++i) {
    int nearest = 0;
    float least = 1e8f;
    for (int k = 0; k < 4; ++k) {
      const float distance =
          zeb::fLineDistHesse(lines[i].theta, lines[i].rho, sides[k].theta, sides[k].rho, std::max(cx, cy));
      if (distance < least) {
        least = distance;
        nearest = k;
      }
    }
    if (least < 0.1f) sides[nearest] = lines[i];
  }
  lines = sides;
  return true;
}

/// The outlines of the first four lines in an otherwise empty image.
void draw(unsigned char* image, const Lines& lines, const Geometry& g) {
  std::memset(image, 0, static_cast<std::size_t>(g.bytes()));
  const float length = static_cast<float>(std::int64_t{std::max(g.width, g.height)} * 3 / 4);
  for (int i = 0; i < 4; ++i) {
    const float c = cosf(lines[i].theta), s = sinf(lines[i].theta);
    const int px = zeb::frame::trunc(c * lines[i].rho + 0.5f + g.cx()),
              py = zeb::frame::trunc(s * lines[i].rho + 0.5f + g.cy());
    const int dx = zeb::frame::trunc(length * s), dy = zeb::frame::trunc(length * c);
    using zeb::detail::wrapping_add;
    using zeb::detail::wrapping_sub;
    vLine(image, wrapping_sub(px, dx), wrapping_add(py, dy), wrapping_add(px, dx), wrapping_sub(py, dy), g.stride,
          g.height, 128, 1);
  }
}

/// Cross points around the image centre, top-left, top-right, bottom-right, bottom-left where there are four.
struct Corners {
  int count = 0;
  zeb::Point_<float> point[4];

  explicit Corners(const Lines& lines) {
    for (int i = 0; i < 4; ++i)
      for (int j = i + 1; j < 4; ++j) {
        float difference = fabsf(lines[i].theta - lines[j].theta);
        if (difference > pi) difference -= pi;
        if (!(quarter_pi <= difference && difference <= three_quarters_pi) || count == 4) continue;
        zeb::Point_<float> p;
        zeb::GetCrossPointHesse(&p.x, &p.y, lines[i].theta, lines[i].rho, lines[j].theta, lines[j].rho);
        if (p.x < 100000.0f && p.y < 100000.0f) point[count++] = p;
      }
    // Downward by an exchange sort, then each pair across.
    for (int p = 0; p < count; ++p)
      for (int q = p + 1; q < count; ++q)
        if (point[p].y > point[q].y) std::swap(point[p], point[q]);
    if (count >= 2 && point[0].x > point[1].x) std::swap(point[0], point[1]);
    if (count == 4 && point[3].x > point[2].x) std::swap(point[2], point[3]);
  }
};

/// Replaces `src` by the region of `outlines` around a point, given with row and column exchanged.
void fill_region(unsigned char* src, unsigned char* outlines, const Geometry& g, zeb::Point_<int> interior) {
  const auto [width, stride, height] = g;
  vBMInterleave(outlines, std::uint8_t{255}, std::uint8_t{0}, outlines, width, stride, height);
  const int row = interior.x, column = interior.y;
  if (row < 0 || row >= height || column < 0 || column >= width) return;
  const auto u = [](int v) { return static_cast<unsigned>(v); };
  zeb::Shape shape = zeb::find_next_shape(outlines, u(width), u(stride), u(height), u(row), u(column), false, true);
  if (shape.empty()) return;
  std::memset(src, 0, static_cast<std::size_t>(g.bytes()));
  const zeb::Point_<int> start = shape.start_point();
  ShapeBM(src, shape.chain_code(), width, stride, height, static_cast<int>(shape.size()), start.x, start.y, 1);
}

}  // namespace

int detect_rect_rand_clust(unsigned char* src, int width, int stride, int height, float* const corners_x,
                           float* const corners_y, int fill, int radius) {
  if (width < 1 || height < 1 || stride < width) return 0;
  const Geometry g{width, stride, height};
  const Scratch<unsigned char> scratch(g.bytes_with_room());
  if (!scratch) return 0;
  std::memset(scratch.data(), 0, static_cast<std::size_t>(g.bytes_with_room()));

  Lines lines = lines_on_edges(scratch.data(), src, g, radius);
  reduce_to_rectangle(lines, g);
  const bool too_few = 1 <= lines.count && lines.count <= 3;
  if (too_few && !complete(lines, scratch.data(), src, g)) return 0;
  if (lines.count < 4) return 0;

  draw(scratch.data(), lines, g);
  const Corners corners(lines);
  std::int64_t sum_x = 0, sum_y = 0;
  for (int i = 0; i < corners.count; ++i) {
    corners_x[i] = g.cx() + corners.point[i].x;
    corners_y[i] = g.cy() + corners.point[i].y;
    sum_x += zeb::frame::trunc(corners_x[i] + 0.5f);
    sum_y += zeb::frame::trunc(corners_y[i] + 0.5f);
  }
  if (fill != 0) {
    const zeb::Point_<int> interior =
        corners.count == 0
            ? zeb::Point_<int>{zeb::frame::trunc(g.cx()), zeb::frame::trunc(g.cy())}
            : zeb::Point_<int>{static_cast<int>(sum_x / corners.count), static_cast<int>(sum_y / corners.count)};
    fill_region(src, scratch.data(), g, interior);
  }
  return corners.count == 4 ? 1 : 0;
}

namespace zeb {

std::array<Point_<int>, 4> detect_rectangle_rand_clust(Mat<unsigned char>& src, int radius) {
  float x[4] = {}, y[4] = {};
  detect_rect_rand_clust(src.data, src.width, src.stride, src.height, x, y, 0, radius);
  std::array<Point_<int>, 4> corners;
  for (std::size_t i = 0; i < 4; ++i) corners[i] = {zeb::frame::trunc(roundf(x[i])), zeb::frame::trunc(roundf(y[i]))};
  return corners;
}

}  // namespace zeb
