#include <algorithm>
#include <cstdint>
#include <cstdlib>

#include "frame/rounding.h"
#include "transforms/layout.h"
#include "zeb/transforms.h"

namespace {

/// Whole pixels of a shift: 1.5 gives 2, -0.7 gives 0, -1.7 gives -1. A shift that no integer holds gives a far one.
std::int64_t whole_pixels(float shift) { return zeb::frame::trunc(shift + 0.5f); }

}  // namespace

namespace zeb {

void translate(unsigned char* dst, unsigned char* src, int width, int height, float dx, float dy,
               unsigned char background, int wrap) {
  if (width < 1) return;
  const std::int64_t shift_x = whole_pixels(dx), shift_y = whole_pixels(dy);
  const bool rows_wrap = (wrap & 1) != 0;
  // A shift of the width and more leaves nothing to copy.
  const auto copied = static_cast<std::ptrdiff_t>(std::max<std::int64_t>(0, width - std::abs(shift_x)));
  const auto first = static_cast<std::ptrdiff_t>(std::clamp<std::int64_t>(shift_x, 0, width - copied));
  for (std::ptrdiff_t y = 0; y < height; ++y) {
    std::int64_t source = y - shift_y;
    if (rows_wrap) source = (source % height + height) % height;
    unsigned char* const row = dst + y * width;
    if (source < 0 || source >= height || copied == 0) {
      std::fill_n(row, width, background);
      continue;
    }
    std::fill_n(row, first, background);
    std::copy_n(src + source * width + std::max<std::int64_t>(-shift_x, 0), copied, row + first);
    std::fill_n(row + first + copied, width - first - copied, background);
  }
}

void translate(Mat<unsigned char>& dst, Mat<unsigned char>& src, float dx, float dy, unsigned char background) {
  warping::require_layout(dst, src);
  translate(dst.data, src.data, dst.stride, dst.height, dx, dy, background, 0);
}

void translate(Bitmap_<unsigned char>& dst, Bitmap_<unsigned char>& src, Point_<um> shift, unsigned char background) {
  detail::require(src.pixel_size_x.value == dst.pixel_size_x.value && src.pixel_size_y.value == dst.pixel_size_y.value);
  translate(dst, src, shift.x.value / dst.pixel_size_x.value, shift.y.value / dst.pixel_size_y.value, background);
}

}  // namespace zeb
