#include <cmath>
#include <cstdint>

#include "fitting/hesse.h"
#include "fitting/thresholded.h"
#include "frame/packed.h"
#include "frame/rounding.h"
#include "zeb/fitting.h"
#include "zeb/statistics.h"

namespace {

using zeb::Mat;
using zeb::frame::any_set;
using zeb::frame::load;

/// Whether an area has a sum above 0, read as a signed number.
bool is_set(const unsigned char* area, int width, int stride, int height) {
  return static_cast<std::int32_t>(uiBMMass(area, width, stride, height)) > 0;
}

bool column_is_set(const Mat<unsigned char>& image, int x) {
  return is_set(image.row(0) + x, 1, image.stride, image.height);
}

bool row_is_set(const Mat<unsigned char>& image, int y) { return is_set(image.row(y), image.width, image.stride, 1); }

/// The first and the last column with a pixel that is not 0: `width` and -1 without one.
struct ColumnRange {
  int first, last;

  explicit ColumnRange(const Mat<unsigned char>& image) : first(image.width), last(-1) {
    for (int y = 0; y < image.height; ++y) {
      const unsigned char* row = image.row(y);
      int x = 0;
      while (x + 16 <= first && !any_set(load(row + x))) x += 16;
      while (x < first && row[x] == 0) ++x;
      first = x;
      x = image.width - 1;
      while (x - 16 >= last && !any_set(load(row + x - 15))) x -= 16;
      while (x > last && row[x] == 0) --x;
      last = x;
    }
  }
};

}  // namespace

namespace zeb {

Rect__<Point_<int>> enclosing_orthogonal_rectangle(const Mat<unsigned char>& src) {
  detail::require(src.height >= 1 && src.width >= 0);
  int top = 0, bottom = src.height - 1;
  while (top < src.height && !row_is_set(src, top)) ++top;
  if (top == src.height) top = -1;
  while (bottom >= 0 && !row_is_set(src, bottom)) --bottom;

  // Columns without a pixel need no sum.
  auto [left, right] = ColumnRange(src);
  while (left < src.width && !column_is_set(src, left)) ++left;
  if (left == src.width) left = -1;
  while (right >= 0 && !column_is_set(src, right)) --right;
  return {{left, top}, {right, bottom}};
}

Rect__<Point_<int>> enclosing_orthogonal_rectangle(Mat<unsigned char>& work, const Mat<unsigned char>& src,
                                                   unsigned char lower, unsigned char upper, ThresholdMode mode) {
  thresholding(work, src, lower, upper, mode);
  return enclosing_orthogonal_rectangle(work);
}

Rect__<Point_<int>> enclosing_orthogonal_rectangle(const Mat<unsigned char>& src, unsigned char lower,
                                                   unsigned char upper, ThresholdMode mode) {
  return enclosing_orthogonal_rectangle(fitting::Thresholded(src, lower, upper, mode).view());
}

Rect__<Point_<int>> inscribed_orthogonal_rectangle(const Mat<unsigned char>& src, float angle) {
  const int w = detail::wrapping_sub(src.width, 1), h = detail::wrapping_sub(src.height, 1);
  const float fw = static_cast<float>(w), fh = static_cast<float>(h);
  const float a = fabsf(angle) * fitting::pi / 180.0f;
  int x0 = 0, y0 = 0, x1 = w, y1 = h;
  if (angle < 0.0f) {
    const float c = cosf(a) * fh, t = tanf(a);
    const float q = (fw - t * c) * t;
    y1 = zeb::frame::trunc(floorf(c - q));
    y0 = zeb::frame::trunc(ceilf(static_cast<float>(y1) * t));
  } else if (angle > 0.0f) {
    const float t = tanf(a), c = cosf(a) * fw;
    x1 = zeb::frame::trunc(floorf(c - (fh - sinf(a) * fw) * t));
    x0 = zeb::frame::trunc(ceilf(static_cast<float>(x1) * t));
  }
  return {{x0, y0}, {x1, y1}};
}

}  // namespace zeb
