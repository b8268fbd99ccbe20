#include <algorithm>

#include "frame/scratch.h"
#include "transforms/bilinear.h"
#include "zeb/transforms.h"

using namespace zeb::frame;

namespace {

/// The columns of row `y` in groups of four. The four lanes take the offsets of this row and the three below it, so
/// that the offset depends on the column modulo 4.
template <class Offset>
void map_row_of_groups(unsigned char* dst, const unsigned char* src, int width, int stride, int y, const float* map_x,
                       const float* offsets_y, const SampleBounds& bounds, float background) {
  const __m128i x_min = _mm_set1_epi32(bounds.x_min), x_max = _mm_set1_epi32(bounds.x_max);
  const FourCoordinates rows(_mm_set1_ps(static_cast<float>(y)) + _mm_loadu_ps(offsets_y), _mm_set1_epi32(bounds.y_min),
                             _mm_set1_epi32(bounds.y_max));
  const __m128i backgrounds = _mm_cvtps_epi32(_mm_set1_ps(background));
  for (std::ptrdiff_t x = 0; x < width; x += 4) {
    const FourCoordinates columns(_mm_loadu_ps(map_x + x), x_min, x_max);
    store_four(dst + x, pixels_or_background<Offset>(src, stride, columns, rows, backgrounds));
  }
}

}  // namespace

namespace zeb {

void map_data(unsigned char* dst, unsigned char* src, int width, int stride, int height, float* map_x, float* map_y,
              int x_min, int x_max, int y_min, int y_max, float background) {
  if (width < 1) return;
  const SampleBounds bounds{x_min, x_max, y_min, y_max};
  const bool small_offsets = std::min(x_min, y_min) >= 0 && has_small_offsets(x_max, stride, y_max);
  const auto map_groups = small_offsets ? map_row_of_groups<std::int32_t> : map_row_of_groups<std::int64_t>;
  const int whole = width & ~3;
  for (int y = 0; y < height; ++y) {
    if (whole > 0)
      map_groups(dst + y * packed_pitch(stride), src, whole, stride, y, map_x, map_y + y, bounds, background);
    unsigned char* const row = dst + std::ptrdiff_t{y} * stride;
    for (int x = whole; x < width; ++x) {
      const float value = sample_bilinear(src, stride, map_x[x], static_cast<float>(y) + map_y[y], bounds, background);
      row[x] = static_cast<unsigned char>(zeb::frame::trunc(value + 0.49f));
    }
  }
}

void reduce_resolution(unsigned char* dst, unsigned char* src, int* out_width, int* out_height, int* out_stride,
                       int width, int height, int stride, int factor) {
  if (factor < 1 || factor > width / 10 || factor > height / 10) return;
  const std::int64_t r = factor / 2 + 1;
  const Scratch<int> half_widths(r + 1);  // of the disk's rows, from its centre downward
  if (!half_widths) return;
  for (std::int64_t dy = 0, half = r; dy <= r; ++dy) {
    while (half * half + dy * dy > r * r) --half;
    half_widths[dy] = static_cast<int>(half);
  }

  *out_width = width / factor;
  *out_height = height / factor;
  *out_stride = detail::round_up(*out_width, 4);
  const int margin_x = (width % factor) / 2, margin_y = (height % factor) / 2;
  const int radius = static_cast<int>(r);
  for (int y = 0; y < *out_height; ++y) {
    // The disk is clipped by the position in the output against the size of the source: too much at the top and on the
    // left, too little at the bottom and on the right.
    const int dy_first = -std::min(y, radius), dy_last = std::min(height - 1 - y, radius);
    for (int x = 0; x < *out_width; ++x) {
      const int dx_first = -std::min(x, radius), dx_last = std::min(width - 1 - x, radius);
      const unsigned char* const centre =
          src + ((std::ptrdiff_t{factor} * y + margin_y) * stride + std::ptrdiff_t{factor} * x + margin_x);
      unsigned char brightest = 0;
      for (int dy = dy_first; dy <= dy_last; ++dy) {
        const unsigned char* const row = centre + std::ptrdiff_t{dy} * stride;
        const int half = half_widths[std::abs(dy)];
        for (int dx = std::max(dx_first, -half); dx <= std::min(dx_last, half); ++dx)
          brightest = std::max(brightest, row[dx]);
      }
      dst[std::ptrdiff_t{y} * *out_stride + x] = brightest;
    }
  }
}

Image<unsigned char> downsampling(Bitmap_<unsigned char>& src, float factor) {
  detail::require(1.0f >= factor);
  Image<unsigned char> warped(src.width, src.stride, src.height, {src.pixel_size_x, src.pixel_size_y});
  // A stride that is no multiple of 4 leaves bytes of the packed warp unwritten.
  if (warped.stride % 4 != 0) std::fill(warped.begin(), warped.end(), static_cast<unsigned char>(0));
  transform(warped, src, factor, 0.0f, 0.0f, 0.0f, 0);

  const auto reduced = [factor](int length) { return zeb::frame::trunc(static_cast<float>(length) * factor); };
  Image<unsigned char> result(reduced(src.width), reduced(src.stride), reduced(src.height),
                              {src.pixel_size_x.value / factor, src.pixel_size_y.value / factor});
  for (int y = 0; y < result.height; ++y)
    for (int x = 0; x < result.width; ++x) result.at(y, x) = warped.at(y, x);
  return result;
}

}  // namespace zeb
