#include <algorithm>
#include <cstdlib>

#include "frame/packed.h"
#include "frame/scratch.h"
#include "transforms/warping.h"
#include "zeb/transforms.h"

using namespace zeb::warping;

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
    store_four(dst + x, pixels_or_background<Offset, RoundToEven>(src, stride, columns, rows, backgrounds));
  }
}

// ---- reduction by a scale alone -------------------------------------------------------------------------------------

/// The smallest scale at which the source pixels of four successive columns lie within 16.
constexpr float smallest_picked_scale = 0.25f;

/// Long strips: what depends on the column fills a third of the first cache, and each row is read from end to end.
constexpr int picked_groups = 256;

/// The source pixels to the left and right of four columns that come from `x`, picked out of 16. Positions outside
/// pick zeros.
struct PickedColumns {
  std::ptrdiff_t first;
  __m128i left, right;
  __m128 fraction;

  static PickedColumns at(__m128 x, int width) {
    const FourCoordinates columns(x, _mm_setzero_si128(), _mm_set1_epi32(width - 1));
    const int first = std::min(_mm_cvtsi128_si32(columns.whole), width - 16);
    const __m128i zeros = _mm_or_si128(_mm_set1_epi32(static_cast<int>(0x80808000)),
                                       _mm_andnot_si128(columns.inside, _mm_set1_epi32(-1)));
    const __m128i left = _mm_sub_epi32(columns.whole, _mm_set1_epi32(first));
    return {first, _mm_or_si128(left, zeros), _mm_or_si128(_mm_add_epi32(left, _mm_set1_epi32(1)), zeros),
            columns.fraction};
  }
};

/// `warp_image` with a `Similarity` that only scales, by a factor from `smallest_picked_scale` on, and a background of
/// 0: columns and rows of the source then depend on nothing but the column and the row. The source is at least 16 wide;
/// the target's pitch has room for whole groups of four.
void scale_image(const Target& target, const unsigned char* src, int width, int stride, int height, float scale) {
  const EstimatedDivision per_scale(scale);
  const __m128 one = _mm_set1_ps(1.0f);
  for (std::ptrdiff_t x = 0; x < target.columns; x += 4 * picked_groups) {
    const auto columns = static_cast<int>(std::min<std::ptrdiff_t>(4 * picked_groups, target.columns - x));
    PickedColumns picked[picked_groups];
    for (int group = 0; 4 * group < columns; ++group)
      picked[group] = PickedColumns::at(per_scale(four_columns(x + 4 * group)), width);
    for (int y = 0; y < target.rows; ++y) {
      unsigned char* const to = target.dst + y * target.pitch + x;
      const FourCoordinates row(per_scale(_mm_set1_ps(static_cast<float>(y))), _mm_setzero_si128(),
                                _mm_set1_epi32(height - 1));
      if (_mm_cvtsi128_si32(row.inside) == 0) {
        std::fill_n(to, columns, static_cast<unsigned char>(0));
        continue;
      }
      const unsigned char* const upper = src + std::ptrdiff_t{_mm_cvtsi128_si32(row.whole)} * stride;
      const __m128 bottom = row.fraction, top = one - bottom;
      for (int group = 0; 4 * group < columns; ++group) {
        const PickedColumns& p = picked[group];
        const __m128i above = zeb::frame::load(upper + p.first), below = zeb::frame::load(upper + stride + p.first);
        const __m128 right = p.fraction, left = one - right;
        const __m128 sums = _mm_cvtepi32_ps(_mm_shuffle_epi8(above, p.left)) * (left * top) +
                            _mm_cvtepi32_ps(_mm_shuffle_epi8(above, p.right)) * (right * top) +
                            _mm_cvtepi32_ps(_mm_shuffle_epi8(below, p.left)) * (left * bottom) +
                            _mm_cvtepi32_ps(_mm_shuffle_epi8(below, p.right)) * (right * bottom);
        store_four(to + 4 * group, four_bytes(RoundToEven::integers(sums)));
      }
    }
  }
}

/// A disk of pixels: those at (dx, dy) with `dx * dx + dy * dy <= radius * radius`.
class Disk {
 public:
  const int radius;

  explicit Disk(int radius_) : radius(radius_), half_widths_(std::int64_t{radius_} + 1) {
    if (!half_widths_) return;
    const std::int64_t r = radius;
    for (std::int64_t dy = 0, half = r; dy <= r; ++dy) {
      while (half * half + dy * dy > r * r) --half;
      half_widths_[dy] = static_cast<int>(half);
    }
  }
  explicit operator bool() const { return static_cast<bool>(half_widths_); }

  /// Of the row at `dy` from 0 to the radius; half the height of a column just as well.
  int half_width(int dy) const { return half_widths_[dy]; }

 private:
  zeb::frame::Scratch<int> half_widths_;
};

void take_maxima(unsigned char* maxima, const unsigned char* row, std::ptrdiff_t columns) {
  for (std::ptrdiff_t x = 0; x < columns; ++x) maxima[x] = std::max(maxima[x], row[x]);
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
  if (factor == 0 || factor > width / 10 || factor > height / 10) return;
  const int columns = width / factor, rows = height / factor;
  const auto tell_sizes = [=] {
    *out_width = columns;
    *out_height = rows;
    *out_stride = detail::round_up(columns, 4);
  };
  // A negative factor gives negative sizes and no pixels.
  if (factor < 0) return tell_sizes();
  const Disk disk(factor / 2 + 1);
  // A disk may reach one column behind the last one.
  const std::ptrdiff_t length = std::ptrdiff_t{width} + 1;
  const frame::Scratch<unsigned char> column_maxima(length);
  if (!disk || !column_maxima) return;
  tell_sizes();
  const int margin_x = (width % factor) / 2, margin_y = (height % factor) / 2;
  for (int y = 0; y < rows; ++y) {
    unsigned char* const out = dst + std::ptrdiff_t{y} * *out_stride;
    const unsigned char* const centre = src + (std::ptrdiff_t{factor} * y + margin_y) * stride;
    std::fill_n(out, columns, static_cast<unsigned char>(0));
    std::fill_n(column_maxima.data(), length, static_cast<unsigned char>(0));
    // From the centre row outward: a column of the disk is complete when its last row has been taken in. The disk is
    // clipped by the position in the output against the size of the source: too much at the top and on the left, too
    // little at the bottom and on the right.
    for (int dy = 0; dy <= disk.radius; ++dy) {
      const int half = disk.half_width(dy);
      const int last_x = std::min(columns, width - half) - 1;
      const std::ptrdiff_t end = std::ptrdiff_t{factor} * last_x + margin_x + half + 1;
      if (dy <= y) take_maxima(column_maxima.data(), centre - std::ptrdiff_t{dy} * stride, end);
      if (dy > 0 && dy < height - y) take_maxima(column_maxima.data(), centre + std::ptrdiff_t{dy} * stride, end);
      for (int dx = -half; dx <= half; ++dx) {
        if (disk.half_width(std::abs(dx)) != dy) continue;
        for (int x = std::max(0, -dx); x < std::min(columns, width - dx); ++x)
          out[x] = std::max(out[x], column_maxima[std::ptrdiff_t{factor} * x + margin_x + dx]);
      }
    }
  }
}

Image<unsigned char> downsampling(Bitmap_<unsigned char>& src, float factor) {
  detail::require(1.0f >= factor);
  Image<unsigned char> warped(src.width, src.stride, src.height, {src.pixel_size_x, src.pixel_size_y});
  detail::require(warped.stride == src.stride);
  const auto reduced = [factor](int length) { return zeb::frame::trunc(static_cast<float>(length) * factor); };
  const int width = reduced(src.width), height = reduced(src.height);

  Target target = Target::packed(warped.data, src.width, src.stride, src.height);
  if (target.pitch == src.stride) {
    target.columns = std::min<std::ptrdiff_t>(width, src.width);
    target.rows = std::min(height, src.height);
  } else {
    // The rows of the packed warp lie closer together than those of the result are read. What it leaves is 0.
    std::fill(warped.begin(), warped.end(), static_cast<unsigned char>(0));
  }
  if (factor >= smallest_picked_scale && src.width >= 16 && target.pitch == src.stride &&
      target.columns <= target.pitch)
    scale_image(target, src.data, src.width, src.stride, src.height, factor);
  else
    warp_image<PackedBilinearSampler>(target, src.data, src.width, src.stride, src.height,
                                      Similarity<EstimatedDivision>(0, 0, 0, 0, 0, factor), 0);

  Image<unsigned char> result(width, reduced(src.stride), height,
                              {src.pixel_size_x.value / factor, src.pixel_size_y.value / factor});
  if (width < 1) return result;
  detail::require(width <= warped.width);
  for (int y = 0; y < height; ++y) std::copy_n(warped.row(y), width, result.row(y));
  return result;
}

}  // namespace zeb
