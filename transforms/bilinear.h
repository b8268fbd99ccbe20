#pragma once

#include <smmintrin.h>

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "frame/rounding.h"

/// Bilinear sampling, one position and four positions at a time. A position whose whole part lies outside the bounds
/// takes the background; that includes NaN, infinities and everything that no integer holds.
namespace zeb::warping {

/// Whole parts that count as inside: `x_min <= x < x_max`, `y_min <= y < y_max`. The pixels to the right and below are
/// read as well.
struct SampleBounds {
  int x_min, x_max, y_min, y_max;

  /// All positions between four pixels of an image. A position on the last column or row is outside.
  static SampleBounds of_image(int width, int height) { return {0, width - 1, 0, height - 1}; }
};

/// The weighted sum of the four pixels around a position, or `background`.
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

  /// Positions that are known to lie inside the bounds of an image, hence not to be negative.
  static FourCoordinates known_inside(__m128 position) {
    const __m128i integer = _mm_cvttps_epi32(position);
    return {integer, _mm_set1_epi32(-1), position - _mm_cvtepi32_ps(integer)};
  }

 private:
  FourCoordinates(__m128i whole_, __m128i inside_, __m128 fraction_)
      : whole(whole_), inside(inside_), fraction(fraction_) {}
};

/// Whether the elements of an image can be told by offsets of 32 bits that 16-bit products form.
inline bool has_small_offsets(int width, int stride, int height) {
  return width <= INT16_MAX && height <= INT16_MAX && -INT16_MAX <= stride && stride <= INT16_MAX;
}

/// The offsets of four pixels from an image's first one: with 32 bits for images that have small ones, with 64 for all.
template <class Offset>
inline void four_offsets(std::ptrdiff_t* offsets, __m128i columns, __m128i rows, int stride) {
  if constexpr (sizeof(Offset) == 4) {
    const __m128i pairs = _mm_or_si128(rows, _mm_slli_epi32(columns, 16));
    const __m128i four = _mm_madd_epi16(pairs, _mm_set1_epi32((1 << 16) | (stride & 0xFFFF)));
    // Two at a time out of the vector; one at a time takes twice as many instructions.
    const std::int64_t first = _mm_cvtsi128_si64(four), last = _mm_extract_epi64(four, 1);
    offsets[0] = static_cast<std::int32_t>(first);
    offsets[1] = first >> 32;
    offsets[2] = static_cast<std::int32_t>(last);
    offsets[3] = last >> 32;
  } else {
    const __m128i strides = _mm_set1_epi32(stride);
    const __m128i first = _mm_mul_epi32(_mm_unpacklo_epi32(rows, rows), strides);
    const __m128i last = _mm_mul_epi32(_mm_unpackhi_epi32(rows, rows), strides);
    _mm_storeu_si128(reinterpret_cast<__m128i*>(offsets), _mm_add_epi64(first, _mm_cvtepi32_epi64(columns)));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(offsets + 2),
                     _mm_add_epi64(last, _mm_cvtepi32_epi64(_mm_unpackhi_epi64(columns, columns))));
  }
}

/// A pixel and its right neighbour. Nothing wider may be loaded: they may be the last two of the image.
inline std::uint64_t two_pixels(const unsigned char* from) {
  std::uint16_t pair;
  std::memcpy(&pair, from, sizeof(pair));
  return pair;
}

/// Four sums of `sample_bilinear`; what it gives for a lane that is not inside in both coordinates is to be discarded.
/// One lane at least must be inside, since only then is there a second row and column to read.
template <class Offset>
inline __m128 sample_four(const unsigned char* src, int stride, const FourCoordinates& x, const FourCoordinates& y) {
  std::ptrdiff_t offsets[4];
  four_offsets<Offset>(offsets, x.whole, y.whole, stride);
  const auto corners = [src, below = src + stride](std::ptrdiff_t offset) {
    return two_pixels(src + offset) | two_pixels(below + offset) << 16;
  };
  const __m128i all = _mm_set_epi64x(static_cast<long long>(corners(offsets[2]) | corners(offsets[3]) << 32),
                                     static_cast<long long>(corners(offsets[0]) | corners(offsets[1]) << 32));
  // Byte `corner` of each pixel's four, as a float.
  const auto corner = [all](int byte) {
    const int none = static_cast<int>(0x80808000);
    return _mm_cvtepi32_ps(
        _mm_shuffle_epi8(all, _mm_setr_epi32(none | byte, none | (4 + byte), none | (8 + byte), none | (12 + byte))));
  };
  const __m128 one = _mm_set1_ps(1.0f);
  const __m128 right = x.fraction, left = one - right, bottom = y.fraction, top = one - bottom;
  return corner(0) * (left * top) + corner(1) * (right * top) + corner(2) * (left * bottom) +
         corner(3) * (right * bottom);
}

/// Four 32-bit values, saturated to 0..255, as four bytes.
inline std::int32_t four_bytes(__m128i values) {
  const __m128i words = _mm_packs_epi32(values, values);
  return _mm_cvtsi128_si32(_mm_packus_epi16(words, words));
}

inline void store_four(unsigned char* to, std::int32_t bytes) { std::memcpy(to, &bytes, sizeof(bytes)); }

/// How the packed forms make pixels of sums: to nearest, ties to even.
struct RoundToEven {
  static __m128i integers(__m128 sums) { return _mm_cvtps_epi32(sums); }
};

/// How the scalar forms do: the sum plus 0.49 in double precision, truncated. As 0.51 lies between two floats, of which
/// `0.51f` is the lower one, and the fraction of a float is exact, that goes up from the next float on. Sums are not
/// negative.
struct RoundLate {
  static __m128i integers(__m128 sums) {
    const __m128i whole = _mm_cvttps_epi32(sums);
    const __m128 goes_up = _mm_cmpgt_ps(sums - _mm_cvtepi32_ps(whole), _mm_set1_ps(0.51f));
    return _mm_sub_epi32(whole, _mm_castps_si128(goes_up));
  }
};

/// Four pixels, with the `backgrounds` in the lanes outside.
template <class Offset, class Rounding>
inline std::int32_t pixels_or_background(const unsigned char* src, int stride, const FourCoordinates& x,
                                         const FourCoordinates& y, __m128i backgrounds) {
  const __m128i inside = _mm_and_si128(x.inside, y.inside);
  if (_mm_movemask_epi8(inside) == 0) return four_bytes(backgrounds);
  const __m128 sums = sample_four<Offset>(src, stride, x, y);
  return four_bytes(_mm_blendv_epi8(backgrounds, Rounding::integers(sums), inside));
}

/// The packed forms begin the rows of their destination at multiples of 4: a stride that is no multiple of 4 lays them
/// closer together than the source's.
inline std::ptrdiff_t packed_pitch(int stride) { return stride & ~3; }

}  // namespace zeb::warping
