#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "frame/rounding.h"
#include "zeb/drawing.h"

using zeb::detail::wrapping_add;
using zeb::detail::wrapping_sub;

namespace {

struct Canvas {
  unsigned char* data;
  int stride;
  int height;
  unsigned char value;

  /// Columns `first` to `last`, the latter excluded, of a row that exists.
  void fill_columns(int row, std::int64_t first, std::int64_t last) const {
    first = std::max<std::int64_t>(first, 0);
    last = std::min<std::int64_t>(last, stride);
    if (first < last)
      std::memset(data + std::int64_t{row} * stride + first, value, static_cast<std::size_t>(last - first));
  }

  /// A filled disc: the points whose squared distance from the centre is at most `radius^2`.
  void stamp(std::int64_t cx, std::int64_t cy, std::int64_t radius) const {
    std::int64_t half_width = radius;
    for (std::int64_t k = 0; k <= radius; ++k) {
      while (half_width * half_width + k * k > radius * radius) --half_width;
      for (const std::int64_t row : {cy - k, cy + k})
        if (0 <= row && row < height) fill_columns(static_cast<int>(row), cx - half_width, cx + half_width + 1);
    }
  }
};

/// An interval of a circle of the given length: [first, last), or all but [last, first) where it wraps around.
struct Interval {
  int first, last;
  bool wraps;

  Interval(int first_, int last_, int length)
      : first(0 <= first_ && first_ < length ? first_ : 0),
        last(0 <= last_ && last_ < length ? last_ : length),
        wraps(first > last) {}

  bool contains(int c) const { return wraps ? c < last || c >= first : first <= c && c < last; }
};

/// A length in micrometres as pixels, truncated toward zero.
int pixels(const zeb::um& length, const zeb::um& pixel_size) {
  return zeb::frame::trunc(length.value / pixel_size.value);
}

/// The extent between two inclusive corners in micrometres, as pixels.
int extent_in_pixels(const zeb::um& first, const zeb::um& last, const zeb::um& pixel_size) {
  zeb::um extent(last.value - first.value);
  return pixels(++extent, pixel_size);
}

/// The number of pixels between two inclusive corners.
int inclusive_extent(int first, int last) { return wrapping_add(wrapping_sub(last, first), 1); }

}  // namespace

void vLine(unsigned char* dst, int x1, int y1, int x2, int y2, int stride, int height, unsigned char value,
           int radius) {
  if (radius < 0) return;
  const Canvas canvas{dst, stride, height, value};
  const std::int64_t dx = std::int64_t{x2} - x1, dy = std::int64_t{y2} - y1;
  const bool flat = std::abs(dx) > std::abs(dy);
  const std::int64_t along = flat ? dx : dy, across = flat ? dy : dx;
  const std::int64_t steps = std::abs(along), step = along < 0 ? -1 : 1;
  const float slope = static_cast<float>(across) / static_cast<float>(steps);
  std::int64_t exact = flat ? x1 : y1;
  float running = static_cast<float>(flat ? y1 : x1);
  for (std::int64_t i = 0; i < steps; ++i, exact += step, running += slope) {
    const bool has_left_the_image = step > 0 ? exact - radius >= (flat ? stride : height) : exact + radius < 0;
    if (has_left_the_image) break;
    const std::int64_t rounded = zeb::frame::trunc(static_cast<double>(running) + 0.5);
    canvas.stamp(flat ? exact : rounded, flat ? rounded : exact, radius);
  }
}

void vDrawRect(unsigned char* dst, int height, int stride, int x, int y, int width, int rect_height, float thickness,
               unsigned char value) {
  const int radius = zeb::frame::trunc(std::round(thickness));
  const int x2 = wrapping_add(x, width), y2 = wrapping_add(y, rect_height);
  vLine(dst, x, y, x2, y, stride, height, value, radius);
  vLine(dst, x2, y, x2, y2, stride, height, value, radius);
  vLine(dst, x2, y2, x, y2, stride, height, value, radius);
  vLine(dst, x, y2, x, y, stride, height, value, radius);
}

void vDrawCircle(unsigned char* dst, int width, int height, int stride, int x, int y, float radius, float thickness,
                 unsigned char value, int mode) {
  if (radius < 0.0f || thickness < 0.0f) return;
  const std::int64_t r = zeb::frame::trunc(std::round(radius));
  const float outer = radius * radius, inner = (radius - thickness) * (radius - thickness);
  // The square runs from -r to r - 1: its upper end is left out.
  const std::int64_t left = std::max<std::int64_t>(-r, -std::int64_t{x}), right = std::min(r, std::int64_t{width} - x);
  const std::int64_t top = std::max<std::int64_t>(-r, -std::int64_t{y}), bottom = std::min(r, std::int64_t{height} - y);
  for (std::int64_t j = top; j < bottom; ++j) {
    unsigned char* row = dst + (y + j) * stride + x;
    for (std::int64_t i = left; i < right; ++i) {
      const float d = static_cast<float>(i * i + j * j);
      if (!(outer > d && d > inner)) continue;
      switch (static_cast<zeb::DrawMode>(mode)) {
        case zeb::DrawMode::overwrite:
          row[i] = value;
          break;
        case zeb::DrawMode::subtract:
          row[i] = static_cast<unsigned char>(row[i] - value);
          break;
        case zeb::DrawMode::add:
          row[i] = static_cast<unsigned char>(row[i] + value);
          break;
      }
    }
  }
}

void vFillRect(unsigned char* dst, int x1, int y1, int x2, int y2, int stride, int height, unsigned char value) {
  const Canvas canvas{dst, stride, height, value};
  const Interval columns(x1, x2, stride), rows(y1, y2, height);
  for (int r = 0; r < height; ++r) {
    const bool in_rows = rows.contains(r);
    if (columns.wraps && in_rows) {
      canvas.fill_columns(r, 0, stride);
    } else if (in_rows || rows.wraps) {
      if (columns.wraps) {
        canvas.fill_columns(r, 0, columns.last);
        canvas.fill_columns(r, columns.first, stride);
      } else {
        canvas.fill_columns(r, columns.first, columns.last);
      }
    }
  }
}

namespace zeb {

void draw_line(Bitmap_<unsigned char>& bitmap, Point_<int> from, Point_<int> to, unsigned char value, int radius) {
  vLine(bitmap.data, from.x, from.y, to.x, to.y, bitmap.stride, bitmap.height, value, radius);
}

void draw_rect(Bitmap_<unsigned char>& bitmap, Point_<int> corner, int width, int height, float thickness,
               unsigned char value) {
  vDrawRect(bitmap.data, bitmap.height, bitmap.stride, corner.x, corner.y, width, height, thickness, value);
}

void draw_rect(Bitmap_<unsigned char>& bitmap, Rect__<Point_<int>> rect, float thickness, unsigned char value) {
  const Point_<int> first = rect.top_left, last = rect.bottom_right;
  draw_rect(bitmap, first, inclusive_extent(first.x, last.x), inclusive_extent(first.y, last.y), thickness, value);
}

void draw_rect(Bitmap_<unsigned char>& bitmap, Rect__<Point_<um>> rect, float thickness, unsigned char value) {
  const Point_<um>&first = rect.top_left, &last = rect.bottom_right;
  const Point_<int> corner{pixels(first.x, bitmap.pixel_size_x), pixels(first.y, bitmap.pixel_size_y)};
  draw_rect(bitmap, corner, extent_in_pixels(first.x, last.x, bitmap.pixel_size_x),
            extent_in_pixels(first.y, last.y, bitmap.pixel_size_y), thickness, value);
}

void draw_circle(Bitmap_<unsigned char>& bitmap, Point_<int> center, float radius, float thickness, unsigned char value,
                 DrawMode mode) {
  vDrawCircle(bitmap.data, bitmap.width, bitmap.height, bitmap.stride, center.x, center.y, radius, thickness, value,
              static_cast<int>(mode));
}

void fill_rect(Bitmap_<unsigned char>& bitmap, int x1, int y1, int x2, int y2, unsigned char value) {
  vFillRect(bitmap.data, x1, y1, x2, y2, bitmap.stride, bitmap.height, value);
}

void fill_rect(Bitmap_<unsigned char>& bitmap, const Rect__<Point_<um>>& rect, unsigned char value) {
  const auto pixel_of = [&bitmap](const Point_<um>& corner) {
    return Point_<int>{pixels(corner.x, bitmap.pixel_size_x), pixels(corner.y, bitmap.pixel_size_y)};
  };
  const Bitmap_<unsigned char> area = bitmap.region(pixel_of(rect.top_left), pixel_of(rect.bottom_right));
  for (int y = 0; y < area.height; ++y) {
    unsigned char* row = area.row(y);
    if (row >= bitmap.end()) break;
    std::fill_n(row, std::min<std::ptrdiff_t>(area.width, bitmap.end() - row), value);
  }
}

}  // namespace zeb
