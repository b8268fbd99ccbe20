#pragma once

#include <xmmintrin.h>

#include "zeb/core_export.h"

/// \file
/// Conversion from floating point to 8 bits.

namespace zeb {

template <class T>
class Mat;

/// The conversion of one element to 8 bits: rounded to the nearest integer, ties to even, saturated to 0..255; NaN
/// gives 0.
inline unsigned char to_byte(float value) {
  // The packed maximum returns its second operand for a NaN, which makes it 0.
  const __m128 limited = _mm_min_ss(_mm_max_ss(_mm_set_ss(value), _mm_setzero_ps()), _mm_set_ss(255.0f));
  return static_cast<unsigned char>(_mm_cvtss_si32(limited));
}

/// Converts a float image to 8 bits, element by element by `to_byte`. Each image is addressed with its own stride; the
/// area is what both have in common, the rest of `dst` and all padding stay as they are.
ZEB_CORE_API void cast(Mat<unsigned char>& dst, const Mat<float>& src);

}  // namespace zeb
