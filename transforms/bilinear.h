#pragma once

#include <smmintrin.h>

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "frame/rounding.h"

/// Bilinear sampling, one position and four positions at a time. A position whose whole part lies outside the bounds
/// takes the background; that includes NaN, infinities and everything that no integer holds.
namespace zeb::frame {

/// Whole parts that count as inside: `x_min <= x < x_max`, `y_min <= y < y_max`. The pixels to the right and below are
/// read as well.
struct SampleBounds {
  int x_min, x_max, y_min, y_max;

  /// All positions between four pixels of an image. A position on the last column or row is outside.
  static SampleBounds of_image(int width, int height) { return {0, width - 1, 0, height - 1}; }
};

/// The weighted sum of the four pixels around a position, or `background`. The two products of the upper row may be
/// added in either order.
inline float sample_bilinear(const unsigned char* src, int stride, float x, float y, const SampleBounds& bounds,
                             float background) {
  const float left = std::floor(x), top = std::floor(y);
  const int column = zeb::frame::trunc(left), row = zeb::frame::trunc(top);
  if (column < bounds.x_min || column >= bounds.x_max || row < bounds.y_min || row >= bounds.y_max) return background;
  const float fx = x - left, fy = y - top;
  const unsigned char* upper = src + (std::ptrdiff_t{row} * stride + column);
  const unsigned char* lower = upper + stride;
  return static_cast<float>(upper[0]) * ((1.0f - fx) * (1.0f - fy)) +
         static_cast<float>(upper[1]) * (fx * (1.0f - fy)) + static_cast<float>(lower[0]) * ((1.0f - fx) * fy) +
         static_cast<float>(lower[1]) * (fx * fy);
}

/// One coordinate of four positions: the whole parts, 0 where outside, so that reading there stays in the image.
struct FourCoordinates {
  __m128i whole, inside;
  __m128 fraction;

  FourCoordinates(__m128 position, __m128i lowest, __m128i end) {
    const __m128 floor = _mm_floor_ps(position);
    const __m128i integer = _mm_cvttps_epi32(floor);
    inside = _mm_andnot_si128(_mm_cmplt_epi32(integer, lowest), _mm_cmplt_epi32(integer, end));
    whole = _mm_and_si128(integer, inside);
    fraction = position - floor;
  }
};

/// The offsets of four pixels from an image's first one, in 64 bits, so that no image is too large.
struct FourOffsets {
  __m128i first_two, last_two;

  static FourOffsets of_rows(__m128i rows, __m128i stride) {
    return {_mm_mul_epi32(_mm_unpacklo_epi32(rows, rows), stride),
            _mm_mul_epi32(_mm_unpackhi_epi32(rows, rows), stride)};
  }
  FourOffsets plus(__m128i columns) const {
    return {_mm_add_epi64(first_two, _mm_cvtepi32_epi64(columns)),
            _mm_add_epi64(last_two, _mm_cvtepi32_epi64(_mm_unpackhi_epi64(columns, columns)))};
  }
  std::ptrdiff_t operator[](int i) const {
    const __m128i pair = i < 2 ? first_two : last_two;
    return i % 2 == 0 ? _mm_cvtsi128_si64(pair) : _mm_extract_epi64(pair, 1);
  }
};

/// A pixel and its right neighbour. Nothing wider may be loaded: they may be the last two of the image.
inline int two_pixels(const unsigned char* from) {
  std::uint16_t pair;
  std::memcpy(&pair, from, sizeof(pair));
  return pair;
}

/// Four sums of `sample_bilinear`; what it gives for a lane that is not inside in both coordinates is to be discarded.
/// One lane at least must be inside, since only then is there a second row and column to read.
inline __m128 sample_four(const unsigned char* src, int stride, const FourOffsets& rows, const FourCoordinates& x,
                          const FourCoordinates& y) {
  const FourOffsets offsets = rows.plus(x.whole);
  const unsigned char* const p0 = src + offsets[0];
  const unsigned char* const p1 = src + offsets[1];
  const unsigned char* const p2 = src + offsets[2];
  const unsigned char* const p3 = src + offsets[3];
  __m128i pairs = _mm_cvtsi32_si128(two_pixels(p0));
  pairs = _mm_insert_epi16(pairs, two_pixels(p1), 1);
  pairs = _mm_insert_epi16(pairs, two_pixels(p2), 2);
  pairs = _mm_insert_epi16(pairs, two_pixels(p3), 3);
  pairs = _mm_insert_epi16(pairs, two_pixels(p0 + stride), 4);
  pairs = _mm_insert_epi16(pairs, two_pixels(p1 + stride), 5);
  pairs = _mm_insert_epi16(pairs, two_pixels(p2 + stride), 6);
  pairs = _mm_insert_epi16(pairs, two_pixels(p3 + stride), 7);

  const __m128i upper = _mm_unpacklo_epi16(pairs, _mm_setzero_si128());
  const __m128i lower = _mm_unpackhi_epi16(pairs, _mm_setzero_si128());
  const __m128i low_byte = _mm_set1_epi32(0xFF);
  const __m128 one = _mm_set1_ps(1.0f);
  const __m128 right = x.fraction, left = one - right, bottom = y.fraction, top = one - bottom;
  return _mm_cvtepi32_ps(_mm_and_si128(upper, low_byte)) * (left * top) +
         _mm_cvtepi32_ps(_mm_srli_epi32(upper, 8)) * (right * top) +
         _mm_cvtepi32_ps(_mm_and_si128(lower, low_byte)) * (left * bottom) +
         _mm_cvtepi32_ps(_mm_srli_epi32(lower, 8)) * (right * bottom);
}

/// Four 32-bit values, saturated to 0..255, to any address.
inline void store_four(unsigned char* to, __m128i values) {
  const __m128i words = _mm_packs_epi32(values, values);
  const std::int32_t bytes = _mm_cvtsi128_si32(_mm_packus_epi16(words, words));
  std::memcpy(to, &bytes, sizeof(bytes));
}

/// The packed forms begin the rows of their destination at multiples of 4: a stride that is no multiple of 4 lays them
/// closer together than the source's.
inline std::ptrdiff_t packed_row(int y, int stride) { return std::ptrdiff_t{y} * (stride & ~3); }

}  // namespace zeb::frame
