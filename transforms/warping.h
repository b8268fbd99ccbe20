#pragma once

#include <algorithm>
#include <cmath>
#include <cstdlib>

#include "transforms/bilinear.h"

/// The frame that the warps share: where source positions come from, how four pixels are made of them, and in which
/// order an image is gone through.
namespace zeb::warping {

/// Where four pixels come from.
struct FourPositions {
  __m128 x, y;
};

/// The warps work on strips of this many groups of four columns, so that the source pixels of a strip's successive rows
/// stay in the first cache, and what depends on the column alone is computed once.
constexpr int strip_groups = 32;

/// The columns of the group that begins at column `x`.
inline __m128 four_columns(std::ptrdiff_t x) {
  return _mm_set1_ps(static_cast<float>(x)) + _mm_setr_ps(0.0f, 1.0f, 2.0f, 3.0f);
}

/// Division by a scale as the packed forms do it: a product with the processor's estimate of the reciprocal, which is
/// good for 12 bits and not refined. A scale of 1 is not quite 1.
struct EstimatedDivision {
  __m128 reciprocal;

  explicit EstimatedDivision(float scale) : reciprocal(_mm_rcp_ps(_mm_set1_ps(scale))) {}
  __m128 operator()(__m128 offset) const { return offset * reciprocal; }
};

/// Division by a scale as the scalar form does it.
struct ExactDivision {
  __m128 scale;

  explicit ExactDivision(float scale_) : scale(_mm_set1_ps(scale_)) {}
  __m128 operator()(__m128 offset) const { return offset / scale; }
};

/// Source positions of a rotation, scaling and shift.
template <class Division>
class Similarity {
 public:
  Similarity(float cx, float cy, float tx, float ty, float angle, float scale)
      : cx_(_mm_set1_ps(cx)),
        cy_(_mm_set1_ps(cy)),
        offset_x_(_mm_set1_ps(cx - tx)),
        offset_y_(_mm_set1_ps(cy - ty)),
        cos_(_mm_set1_ps(cosf(angle))),
        sin_(_mm_set1_ps(sinf(angle))),
        per_scale_(scale) {}

  void begin_strip(std::ptrdiff_t x, int groups) {
    for (int group = 0; group < groups; ++group) {
      const __m128 xn = per_scale_(four_columns(x + 4 * group) - cx_);
      xn_cos_[group] = xn * cos_;
      xn_sin_[group] = xn * sin_;
    }
  }
  void begin_row(int y) {
    const __m128 yn = per_scale_(_mm_set1_ps(static_cast<float>(y)) - cy_);
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
  __m128 cx_, cy_, offset_x_, offset_y_, cos_, sin_;
  Division per_scale_;
  __m128 xn_cos_[strip_groups], xn_sin_[strip_groups];
  __m128 yn_sin_, yn_cos_;
};

/// Source positions of a displacement in proportion to the distance along a direction.
class Shear {
 public:
  Shear(float cx, float cy, float nx, float ny, float kx, float ky)
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

/// Four pixels of the bilinear warps.
template <class Offset, class Rounding>
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
    store_four(to, pixels_or_background<Offset, Rounding>(src_, stride_, x, y, backgrounds_));
    return _mm_movemask_epi8(_mm_and_si128(x.inside, y.inside)) == 0xFFFF;
  }
  /// The same for positions that are known to be inside.
  void inside(unsigned char* to, const FourPositions& position) const {
    const auto x = FourCoordinates::known_inside(position.x), y = FourCoordinates::known_inside(position.y);
    store_four(to, four_bytes(Rounding::integers(sample_four<Offset>(src_, stride_, x, y))));
  }

 private:
  const unsigned char* src_;
  int stride_;
  __m128i x_end_, y_end_, backgrounds_;
};

template <class Offset>
using PackedBilinearSampler = BilinearSampler<Offset, RoundToEven>;
template <class Offset>
using ScalarBilinearSampler = BilinearSampler<Offset, RoundLate>;

/// Four pixels of the nearest-neighbour warp.
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
    store_four(to, static_cast<std::int32_t>((pixels & bytes) | (backgrounds_ & ~bytes)));
    return bytes == 0xFFFFFFFF;
  }
  void inside(unsigned char* to, const FourPositions& position) const {
    store_four(to, static_cast<std::int32_t>(gather(_mm_cvtps_epi32(position.x), _mm_cvtps_epi32(position.y))));
  }

 private:
  std::uint32_t gather(__m128i columns, __m128i rows) const {
    std::ptrdiff_t offsets[4];
    four_offsets<Offset>(offsets, columns, rows, stride_);
    return std::uint32_t{src_[offsets[0]]} | std::uint32_t{src_[offsets[1]]} << 8 |
           std::uint32_t{src_[offsets[2]]} << 16 | std::uint32_t{src_[offsets[3]]} << 24;
  }

  const unsigned char* src_;
  int stride_;
  __m128 x_end_, y_end_;
  std::uint32_t backgrounds_;
};

/// One row of a strip of `columns` columns. Where positions run in one direction, groups at its ends are tested until
/// one is wholly inside; those between need no test. The sampler is a copy, as stored bytes could change any other
/// object: its members would be read again for each group.
template <class Warp, class Sampler>
void warp_row(unsigned char* row, int columns, const Warp& warp, const Sampler sampler, bool monotonic) {
  const auto test = [&](int group) { return sampler.anywhere(row + 4 * group, warp.at(group)); };
  const int groups = columns / 4, rest = columns % 4;
  int first = 0, end = groups;
  while (first < end) {
    if (test(first++) && monotonic) break;
  }
  while (first < end && !test(--end)) {
  }
  for (; first < end; ++first) sampler.inside(row + 4 * first, warp.at(first));
  if (rest > 0) {
    unsigned char four[4];
    sampler.anywhere(four, warp.at(groups));
    std::copy_n(four, rest, row + 4 * groups);
  }
}

/// Where a warp writes: rows of `columns` pixels, `pitch` bytes apart.
struct Target {
  unsigned char* dst;
  std::ptrdiff_t columns, pitch;
  int rows;

  /// What a packed form writes of an image: whole groups of four columns, and rows that begin at multiples of four, so
  /// that a stride that is no multiple of 4 lays them closer together than the source's.
  static Target packed(unsigned char* dst, int width, int stride, int height) {
    return {dst, (std::ptrdiff_t{width} + 3) & ~std::ptrdiff_t{3}, packed_pitch(stride), height};
  }
};

/// Goes through the target in strips, in which successive rows need nearly the same source pixels.
template <class Warp, class Sampler>
void warp_strips(const Target& target, Warp& warp, const Sampler& sampler, bool monotonic) {
  // Rows that overlap have to come one after the other.
  const int rows_at_once = std::abs(target.pitch) < target.columns ? 1 : target.rows;
  for (int top = 0; top < target.rows; top += rows_at_once)
    for (std::ptrdiff_t x = 0; x < target.columns; x += 4 * strip_groups) {
      const int columns = static_cast<int>(std::min<std::ptrdiff_t>(4 * strip_groups, target.columns - x));
      warp.begin_strip(x, (columns + 3) / 4);
      for (int y = top; y < top + rows_at_once; ++y) {
        warp.begin_row(y);
        warp_row(target.dst + y * target.pitch + x, columns, warp, sampler, monotonic);
      }
    }
}

/// Warps an image of `width` by `height` pixels, with the sampler for its size.
template <template <class> class Sampler, class Warp>
void warp_image(const Target& target, const unsigned char* src, int width, int stride, int height, Warp warp,
                unsigned char background) {
  if (width < 1 || height < 1) return;
  const bool monotonic = warp.is_monotonic(width, height);
  if (has_small_offsets(width, stride, height))
    warp_strips(target, warp, Sampler<std::int32_t>(src, width, stride, height, background), monotonic);
  else
    warp_strips(target, warp, Sampler<std::int64_t>(src, width, stride, height, background), monotonic);
}

}  // namespace zeb::warping
