#pragma once

#include <emmintrin.h>

#include <cstdint>

/// Conversions from floating point to integer by the conversion instructions themselves: infinities, NaNs and values
/// out of range give INT32_MIN everywhere, where a plain cast would be undefined.
namespace zeb::frame {

/// Rounds to nearest, ties to even.
inline std::int32_t rne(float value) { return _mm_cvtss_si32(_mm_set_ss(value)); }
inline std::int32_t rne(double value) { return _mm_cvtsd_si32(_mm_set_sd(value)); }

/// Rounds toward zero.
inline std::int32_t trunc(float value) { return _mm_cvttss_si32(_mm_set_ss(value)); }
inline std::int32_t trunc(double value) { return _mm_cvttsd_si32(_mm_set_sd(value)); }

}  // namespace zeb::frame
