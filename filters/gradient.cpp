#include <smmintrin.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "frame/packed.h"
#include "frame/rounding.h"
#include "frame/scratch.h"
#include "zeb/filters.h"

namespace {

__m128i load_8(const std::int16_t* from) { return _mm_loadu_si128(reinterpret_cast<const __m128i*>(from)); }
__m128i load_8(const unsigned char* from) {
  return _mm_cvtepu8_epi16(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(from)));
}
void store_8(std::int16_t* to, __m128i words) { _mm_storeu_si128(reinterpret_cast<__m128i*>(to), words); }
void store_8(unsigned char* to, __m128i pixels) { _mm_storel_epi64(reinterpret_cast<__m128i*>(to), pixels); }

/// The Sobel gradient along one row: weights 1 2 1 across each difference.
struct RowGradient {
  const std::int16_t *diff_above, *diff_here, *diff_below;
  const std::int16_t *smooth_above, *smooth_below;

  int x_at(int x) const { return diff_above[x] + 2 * diff_here[x] + diff_below[x]; }
  int y_at(int x) const { return smooth_below[x] - smooth_above[x]; }

  /// Eight columns from `x`.
  __m128i x_from(int x) const {
    const __m128i here = load_8(diff_here + x);
    return _mm_add_epi16(_mm_add_epi16(load_8(diff_above + x), load_8(diff_below + x)), _mm_add_epi16(here, here));
  }
  __m128i y_from(int x) const { return _mm_sub_epi16(load_8(smooth_below + x), load_8(smooth_above + x)); }
};

/// A ring of three source rows, each split once into its horizontal parts. Since a row is split before the row above it
/// is written, the result may replace the source.
class RowRing {
 public:
  RowRing(const unsigned char* src, int width, int stride)
      : src_(src), width_(width), stride_(stride), pitch_((std::int64_t{width} + 15) & ~15), lines_(6 * pitch_, 1) {}

  explicit operator bool() const { return static_cast<bool>(lines_); }

  void split(int y) {
    const unsigned char* p = src_ + std::ptrdiff_t{y} * stride_;
    std::int16_t* const diff = diff_of(y);
    std::int16_t* const smooth = smooth_of(y);
    diff[0] = smooth[0] = diff[width_ - 1] = smooth[width_ - 1] = 0;
    int x = 1;
    for (; x + 8 < width_; x += 8) {
      const __m128i left = load_8(p + x - 1), here = load_8(p + x), right = load_8(p + x + 1);
      store_8(diff + x, _mm_sub_epi16(right, left));
      store_8(smooth + x, _mm_add_epi16(_mm_add_epi16(left, right), _mm_add_epi16(here, here)));
    }
    for (; x < width_ - 1; ++x) {
      diff[x] = static_cast<std::int16_t>(p[x + 1] - p[x - 1]);
      smooth[x] = static_cast<std::int16_t>(p[x - 1] + 2 * p[x] + p[x + 1]);
    }
    // The last computed column lacks the pair of pixels at its right.
    if (width_ > 2) smooth[width_ - 2] = static_cast<std::int16_t>(p[width_ - 3] + p[width_ - 2]);
  }

  RowGradient gradient(int y) const {
    return {diff_of(y - 1), diff_of(y), diff_of(y + 1), smooth_of(y - 1), smooth_of(y + 1)};
  }

 private:
  std::int16_t* diff_of(int y) const { return lines_.data() + (y % 3) * pitch_; }
  std::int16_t* smooth_of(int y) const { return lines_.data() + (3 + y % 3) * pitch_; }

  const unsigned char* src_;
  int width_;
  std::ptrdiff_t stride_, pitch_;
  zeb::frame::Scratch<std::int16_t> lines_;
};

/// `row(y, gradient)` for each row that has both neighbours, from the top.
template <class Row>
void for_each_inner_row(RowRing& ring, int height, Row row) {
  if (height < 3) return;
  ring.split(0);
  ring.split(1);
  for (int y = 1; y < height - 1; ++y) {
    ring.split(y + 1);
    row(y, ring.gradient(y));
  }
}

/// The columns before this one are packed. Groups of eight may pass it by four, which stays inside the row: the single
/// columns and the right border, three to six and one, are written afterwards.
int packed_columns(int width) { return std::max((width - 4) & ~3, 0); }

void fill_outer_rows(unsigned char* image, int width, int stride, int height, unsigned char value) {
  for (const int y : {0, height - 1})
    std::memset(image + std::ptrdiff_t{y} * stride, value, static_cast<std::size_t>(width));
}

/// A quarter of four lengths, rounded. Sums of squares are exact in `float`, and so is the quarter.
__m128i quarter_lengths(__m128i interleaved_xy) {
  const __m128 squares = _mm_cvtepi32_ps(_mm_madd_epi16(interleaved_xy, interleaved_xy));
  return _mm_cvtps_epi32(_mm_mul_ps(_mm_sqrt_ps(squares), _mm_set1_ps(0.25f)));
}

__m128i magnitudes(__m128i gx, __m128i gy) {
  return _mm_packs_epi32(quarter_lengths(_mm_unpacklo_epi16(gx, gy)), quarter_lengths(_mm_unpackhi_epi16(gx, gy)));
}

/// Up to 285, of which a pixel keeps the low 8 bits.
unsigned char wrapped_magnitude(int gx, int gy) {
  return static_cast<unsigned char>(zeb::frame::trunc(std::sqrt(static_cast<float>(gy * gy + gx * gx)) * 0.25f));
}

/// `gradient / 8 + 128`, to nearest, ties to even, saturated.
__m128i rounded_components(__m128i gradient) {
  const __m128i eighths = _mm_add_epi16(gradient, _mm_set1_epi16(128 * 8));
  const __m128i odd = _mm_and_si128(_mm_srli_epi16(eighths, 3), _mm_set1_epi16(1));
  const __m128i words = _mm_srli_epi16(_mm_add_epi16(_mm_add_epi16(eighths, _mm_set1_epi16(3)), odd), 3);
  return _mm_packus_epi16(words, words);
}

/// Truncated before the 128 is added, so small negative gradients give 128 too.
unsigned char truncated_component(int gradient) { return static_cast<unsigned char>(gradient / 8 + 128); }

}  // namespace

namespace zeb {

void FastSobel(unsigned char* const dst, const unsigned char* const src, int width, int dst_stride, int src_stride,
               int height) {
  if (width < 1 || height < 1) return;
  RowRing ring(src, width, src_stride);
  if (!ring) return;
  const int packed_end = packed_columns(width);
  for_each_inner_row(ring, height, [=](int y, const RowGradient& gradient) {
    unsigned char* const out = dst + std::ptrdiff_t{y} * dst_stride;
    const auto eight = [&gradient](int x) { return magnitudes(gradient.x_from(x), gradient.y_from(x)); };
    int column = 0;
    for (; column + 16 <= packed_end; column += 16)
      zeb::frame::store(out + column, _mm_packus_epi16(eight(column), eight(column + 8)));
    for (; column < packed_end; column += 8)
      store_8(out + column, _mm_packus_epi16(eight(column), _mm_setzero_si128()));
    // Without packed columns the column counter stays at the end of row 1, so that the rows below are skipped.
    if (packed_end > 0 || y == 1) {
      for (int x = packed_end; x < width - 1; ++x) out[x] = wrapped_magnitude(gradient.x_at(x), gradient.y_at(x));
    }
    out[0] = out[width - 1] = 0;
  });
  fill_outer_rows(dst, width, dst_stride, height, 0);
}

void FastSobel(unsigned char* const dst, const unsigned char* const src, int width, int stride, int height) {
  FastSobel(dst, src, width, stride, stride, height);
}

void FastGradient(unsigned char* grad_x, unsigned char* grad_y, unsigned char* src, int width, int stride, int height) {
  if (width < 1 || height < 1) return;
  RowRing ring(src, width, stride);
  if (!ring) return;
  const int packed_end = packed_columns(width);
  for_each_inner_row(ring, height, [=](int y, const RowGradient& gradient) {
    unsigned char* const out_x = grad_x + std::ptrdiff_t{y} * stride;
    unsigned char* const out_y = grad_y + std::ptrdiff_t{y} * stride;
    if (packed_end > 0) {
      for (int x = 0; x < packed_end; x += 8) {
        store_8(out_x + x, rounded_components(gradient.x_from(x)));
        store_8(out_y + x, rounded_components(gradient.y_from(x)));
      }
      for (int x = packed_end; x < width - 1; ++x) {
        out_x[x] = truncated_component(gradient.x_at(x));
        out_y[x] = truncated_component(gradient.y_at(x));
      }
    }
    out_x[0] = out_x[width - 1] = out_y[0] = out_y[width - 1] = 128;
  });
  fill_outer_rows(grad_x, width, stride, height, 128);
  fill_outer_rows(grad_y, width, stride, height, 128);
}

void sobel(Mat<unsigned char>& dst, const Mat<unsigned char>& src) {
  FastSobel(dst.data, src.data, src.width, dst.stride, src.stride, src.height);
}

}  // namespace zeb
