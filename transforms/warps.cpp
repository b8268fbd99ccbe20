#include <algorithm>
#include <cmath>
#include <cstdlib>

#include "transforms/bilinear.h"
#include "zeb/transforms.h"

using namespace zeb::frame;

namespace {

constexpr float pi = 3.1415927f;

struct FourPositions {
  __m128 x, y;
};

/// The packed warps work on strips of this many groups of four columns, so that the source pixels of a strip's
/// successive rows stay in the first cache, and what depends on the column alone is computed once.
constexpr int strip_groups = 32;

/// The columns of the group that begins at column `x`.
__m128 four_columns(std::ptrdiff_t x) {
  return _mm_set1_ps(static_cast<float>(x)) + _mm_setr_ps(0.0f, 1.0f, 2.0f, 3.0f);
}

/// Source positions of a rotation, scaling and shift. It multiplies by the processor's estimate of `1 / scale`,
/// which is good for 12 bits, and does not refine it: a scale of 1 is not quite 1.
class PackedSimilarity {
 public:
  PackedSimilarity(float cx, float cy, float tx, float ty, float angle, float scale)
      : cx_(_mm_set1_ps(cx)),
        cy_(_mm_set1_ps(cy)),
        offset_x_(_mm_set1_ps(cx - tx)),
        offset_y_(_mm_set1_ps(cy - ty)),
        cos_(_mm_set1_ps(cosf(angle))),
        sin_(_mm_set1_ps(sinf(angle))),
        per_scale_(_mm_rcp_ps(_mm_set1_ps(scale))) {}

  void begin_strip(std::ptrdiff_t x, int groups) {
    for (int group = 0; group < groups; ++group) {
      const __m128 xn = (four_columns(x + 4 * group) - cx_) * per_scale_;
      xn_cos_[group] = xn * cos_;
      xn_sin_[group] = xn * sin_;
    }
  }
  void begin_row(int y) {
    const __m128 yn = (_mm_set1_ps(static_cast<float>(y)) - cy_) * per_scale_;
    yn_sin_ = yn * sin_;
    yn_cos_ = yn * cos_;
  }
  /// Whether both coordinates rise or fall along a row, rounding included. Then all positions between two of a row that
  /// are inside an image are inside, too.
  bool is_monotonic(int /*width*/, int /*height*/) const { return true; }

  FourPositions at(int group) const {
    return {(xn_cos_[group] + yn_sin_) + offset_x_, (yn_cos_ - xn_sin_[group]) + offset_y_};
  }

 private:
  __m128 cx_, cy_, offset_x_, offset_y_, cos_, sin_, per_scale_;
  __m128 xn_cos_[strip_groups], xn_sin_[strip_groups];
  __m128 yn_sin_, yn_cos_;
};

/// Source positions of a displacement in proportion to the distance along a direction.
class PackedShear {
 public:
  PackedShear(float cx, float cy, float nx, float ny, float kx, float ky)
      : cx_(_mm_set1_ps(cx)), cy_(_mm_set1_ps(cy)), kx_(_mm_set1_ps(kx)), ky_(_mm_set1_ps(ky)) {
    const float length = sqrtf(nx * nx + ny * ny);
    const bool has_direction = length > 0.0f;
    nx_ = _mm_set1_ps(has_direction ? nx / length : nx);
    ny_ = _mm_set1_ps(has_direction ? ny / length : ny);
  }

  void begin_strip(std::ptrdiff_t x, int groups) {
    for (int group = 0; group < groups; ++group) {
      x_[group] = four_columns(x + 4 * group);
      distance_of_column_[group] = (x_[group] - cx_) * nx_;
    }
  }
  void begin_row(int y) {
    y_ = _mm_set1_ps(static_cast<float>(y));
    distance_of_row_ = (y_ - cy_) * ny_;
  }
  /// A column rises by 1 to the next. That outweighs the displacement if this cannot rise by as much, the rounding of a
  /// distance being far below a millionth of it.
  bool is_monotonic(int width, int height) const {
    const float farthest = std::abs(_mm_cvtss_f32(cx_)) + static_cast<float>(width) + std::abs(_mm_cvtss_f32(cy_)) +
                           static_cast<float>(height);
    return std::abs(_mm_cvtss_f32(kx_)) * (std::abs(_mm_cvtss_f32(nx_)) + 1e-6f * farthest) < 1.0f;
  }

  FourPositions at(int group) const {
    const __m128 distance = distance_of_column_[group] + distance_of_row_;
    return {x_[group] - distance * kx_, y_ - distance * ky_};
  }

 private:
  __m128 cx_, cy_, kx_, ky_, nx_, ny_;
  __m128 x_[strip_groups], distance_of_column_[strip_groups];
  __m128 y_, distance_of_row_;
};

/// Four pixels of the packed bilinear warps.
template <class Offset>
class BilinearSampler {
 public:
  BilinearSampler(const unsigned char* src, int width, int stride, int height, unsigned char background)
      : src_(src),
        stride_(stride),
        x_end_(_mm_set1_epi32(width - 1)),
        y_end_(_mm_set1_epi32(height - 1)),
        backgrounds_(_mm_set1_epi32(background)) {}

  /// Stores four pixels; true where all four positions are inside.
  bool anywhere(unsigned char* to, const FourPositions& position) const {
    const __m128i zero = _mm_setzero_si128();
    const FourCoordinates x(position.x, zero, x_end_), y(position.y, zero, y_end_);
    store_four(to, pixels_or_background<Offset>(src_, stride_, x, y, backgrounds_));
    return _mm_movemask_epi8(_mm_and_si128(x.inside, y.inside)) == 0xFFFF;
  }
  /// The same for positions that are known to be inside.
  void inside(unsigned char* to, const FourPositions& position) const {
    const auto x = FourCoordinates::known_inside(position.x), y = FourCoordinates::known_inside(position.y);
    store_four(to, four_bytes(_mm_cvtps_epi32(sample_four<Offset>(src_, stride_, x, y))));
  }

 private:
  const unsigned char* src_;
  int stride_;
  __m128i x_end_, y_end_, backgrounds_;
};

/// Four pixels of the packed nearest-neighbour warp.
template <class Offset>
class NearestSampler {
 public:
  NearestSampler(const unsigned char* src, int width, int stride, int height, unsigned char background)
      : src_(src),
        stride_(stride),
        x_end_(_mm_set1_ps(static_cast<float>(width - 1))),
        y_end_(_mm_set1_ps(static_cast<float>(height - 1))),
        backgrounds_(background * 0x01010101u) {}

  bool anywhere(unsigned char* to, const FourPositions& position) const {
    // The rounded position is tested: -0.5 becomes -0, which is inside.
    const __m128 zero = _mm_setzero_ps();
    const __m128 x = _mm_round_ps(position.x, _MM_FROUND_TO_NEAREST_INT | _MM_FROUND_NO_EXC);
    const __m128 y = _mm_round_ps(position.y, _MM_FROUND_TO_NEAREST_INT | _MM_FROUND_NO_EXC);
    const __m128 inside = _mm_and_ps(_mm_and_ps(_mm_cmple_ps(zero, x), _mm_cmplt_ps(x, x_end_)),
                                     _mm_and_ps(_mm_cmple_ps(zero, y), _mm_cmplt_ps(y, y_end_)));
    const __m128i mask = _mm_castps_si128(inside);
    const auto bytes = static_cast<std::uint32_t>(
        _mm_cvtsi128_si32(_mm_packs_epi16(_mm_packs_epi32(mask, mask), _mm_setzero_si128())));
    const std::uint32_t pixels =
        gather(_mm_and_si128(_mm_cvttps_epi32(x), mask), _mm_and_si128(_mm_cvttps_epi32(y), mask));
    store(to, (pixels & bytes) | (backgrounds_ & ~bytes));
    return bytes == 0xFFFFFFFF;
  }
  void inside(unsigned char* to, const FourPositions& position) const {
    store(to, gather(_mm_cvtps_epi32(position.x), _mm_cvtps_epi32(position.y)));
  }

 private:
  std::uint32_t gather(__m128i columns, __m128i rows) const {
    alignas(16) Offset offsets[4];
    four_offsets(offsets, columns, rows, stride_);
    return std::uint32_t{src_[offsets[0]]} | std::uint32_t{src_[offsets[1]]} << 8 |
           std::uint32_t{src_[offsets[2]]} << 16 | std::uint32_t{src_[offsets[3]]} << 24;
  }
  static void store(unsigned char* to, std::uint32_t bytes) { std::memcpy(to, &bytes, sizeof(bytes)); }

  const unsigned char* src_;
  int stride_;
  __m128 x_end_, y_end_;
  std::uint32_t backgrounds_;
};

/// One row of a strip. Where positions run in one direction, groups at its ends are tested until one is wholly inside;
/// those between need no test.
template <class Warp, class Sampler>
void warp_row(unsigned char* row, int groups, const Warp& warp, const Sampler& sampler, bool monotonic) {
  const auto test = [&](int group) { return sampler.anywhere(row + 4 * group, warp.at(group)); };
  int first = 0, end = groups;
  while (first < end) {
    if (test(first++) && monotonic) break;
  }
  while (first < end && !test(--end)) {
  }
  for (; first < end; ++first) sampler.inside(row + 4 * first, warp.at(first));
}

/// The frame of the packed warps: four pixels from each fourth column, as long as the first of them is in the image.
template <class Warp, class Sampler>
void warp_strips(unsigned char* dst, int width, int stride, int height, Warp warp, const Sampler& sampler) {
  const std::ptrdiff_t pitch = packed_pitch(stride), columns = width;
  // Rows that overlap in the destination have to come one after the other.
  const bool monotonic = warp.is_monotonic(width, height);
  const int rows_at_once = std::abs(pitch) < columns ? 1 : height;
  for (int top = 0; top < height; top += rows_at_once)
    for (std::ptrdiff_t x = 0; x < columns; x += 4 * strip_groups) {
      const int groups = static_cast<int>(std::min<std::ptrdiff_t>(strip_groups, (columns - x + 3) / 4));
      warp.begin_strip(x, groups);
      for (int y = top; y < top + rows_at_once; ++y) {
        warp.begin_row(y);
        warp_row(dst + y * pitch + x, groups, warp, sampler, monotonic);
      }
    }
}

template <template <class> class Sampler, class Warp>
void warp_packed(unsigned char* dst, const unsigned char* src, int width, int stride, int height, const Warp& warp,
                 unsigned char background) {
  if (width < 1 || height < 1) return;
  if (has_small_offsets(width, stride, height))
    warp_strips(dst, width, stride, height, warp, Sampler<std::int32_t>(src, width, stride, height, background));
  else
    warp_strips(dst, width, stride, height, warp, Sampler<std::int64_t>(src, width, stride, height, background));
}

/// What the typed warps demand; widths may differ.
void require_layout(const zeb::Mat<unsigned char>& dst, const zeb::Mat<unsigned char>& src) {
  zeb::detail::require(dst.data != src.data && dst.height == src.height && dst.stride == src.stride);
}

}  // namespace

namespace zeb {

void transform(unsigned char* dst, unsigned char* src, int width, int stride, int height, float cx, float cy, float tx,
               float ty, float angle, float scale, unsigned char background) {
  if (width < 1 || height < 1) return;
  const SampleBounds bounds = SampleBounds::of_image(width, height);
  const float cos = cosf(angle), sin = sinf(angle), offset_x = cx - tx, offset_y = cy - ty;
  for (int y = 0; y < height; ++y) {
    const float yn = (static_cast<float>(y) - cy) / scale, yn_sin = yn * sin, yn_cos = yn * cos;
    unsigned char* row = dst + std::ptrdiff_t{y} * stride;
    for (int x = 0; x < width; ++x) {
      const float xn = (static_cast<float>(x) - cx) / scale;
      const float value = sample_bilinear(src, stride, (xn * cos + yn_sin) + offset_x, (yn_cos - xn * sin) + offset_y,
                                          bounds, static_cast<float>(background));
      row[x] = static_cast<unsigned char>(zeb::frame::trunc(static_cast<double>(value) + 0.49));
    }
  }
}

void mm_transform(unsigned char* dst, unsigned char* src, int width, int stride, int height, float cx, float cy,
                  float tx, float ty, float angle, float scale, unsigned char background) {
  warp_packed<BilinearSampler>(dst, src, width, stride, height, PackedSimilarity(cx, cy, tx, ty, angle, scale),
                               background);
}

void mm_morph_transform(unsigned char* dst, unsigned char* src, int width, int stride, int height, float cx, float cy,
                        float tx, float ty, float angle, float scale, unsigned char background) {
  warp_packed<NearestSampler>(dst, src, width, stride, height, PackedSimilarity(cx, cy, tx, ty, angle, scale),
                              background);
}

void stretch_shear(unsigned char* dst, unsigned char* src, int width, int stride, int height, float /*cx*/,
                   float /*cy*/, float /*nx*/, float /*ny*/, float /*kx*/, float /*ky*/, unsigned char background) {
  if (width < 1) return;
  for (int y = 0; y < height; ++y) {
    const std::ptrdiff_t row = std::ptrdiff_t{y} * stride;
    const int copied = y < height - 1 ? width - 1 : 0;
    std::copy_n(src + row, copied, dst + row);
    std::fill_n(dst + row + copied, width - copied, background);
  }
}

void mm_stretch_shear(unsigned char* dst, unsigned char* src, int width, int stride, int height, float cx, float cy,
                      float nx, float ny, float kx, float ky, unsigned char background) {
  warp_packed<BilinearSampler>(dst, src, width, stride, height, PackedShear(cx, cy, nx, ny, kx, ky), background);
}

void rotate(unsigned char* dst, unsigned char* src, int width, int height, float angle_degrees,
            unsigned char background) {
  mm_transform(dst, src, width, width, height, -1e-6f, -1e-6f, 0.0f, 0.0f, (angle_degrees / 180.0f) * pi, 1.0f,
               background);
}

void rotate_point(float angle, float x, float y, float* out_x, float* out_y) {
  const float c = cosf(angle), s = sinf(angle);
  *out_x = c * x - s * y;
  *out_y = s * x - c * y;
}

void rotate(Mat<unsigned char>& dst, Mat<unsigned char>& src, float angle_degrees, unsigned char background) {
  require_layout(dst, src);
  rotate(dst.data, src.data, src.stride, src.height, angle_degrees, background);
}

void shear(Mat<unsigned char>& dst, Mat<unsigned char>& src, float kx, float ky, unsigned char background) {
  require_layout(dst, src);
  mm_stretch_shear(dst.data, src.data, src.width, src.stride, src.height, 0.0f, 0.0f, 1.0f, 1.0f, kx, ky, background);
}

void stretch(Mat<unsigned char>& dst, Mat<unsigned char>& src, float factor, unsigned char background) {
  shear(dst, src, factor, factor, background);
}

void transform(Mat<unsigned char>& dst, Mat<unsigned char>& src, float scale, float angle_degrees, float tx, float ty,
               unsigned char background) {
  require_layout(dst, src);
  mm_transform(dst.data, src.data, src.width, src.stride, src.height, 0.0f, 0.0f, tx, ty, (angle_degrees * pi) / 180.0f,
               scale, background);
}

void transform(Bitmap_<unsigned char>& dst, Bitmap_<unsigned char>& src, float scale, float angle_degrees,
               Point_<um> shift, unsigned char background) {
  transform(dst, src, scale, angle_degrees, shift.x.value / dst.pixel_size_x.value,
            shift.y.value / dst.pixel_size_y.value, background);
}

}  // namespace zeb
