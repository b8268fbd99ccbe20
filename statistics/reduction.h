#pragma once

#include <smmintrin.h>

#include <cstdint>

namespace zeb::statistics {

/// Number of pixels as a 32-bit product that wraps around, the denominator of the measures.
inline std::int32_t area(int width, int height) {
  return static_cast<std::int32_t>(static_cast<std::uint32_t>(width) * static_cast<std::uint32_t>(height));
}

/// Weight of a whole histogram, in single precision from bin to bin.
inline float sum_of(const float* hist, int bins) {
  float sum = 0.0f;
  for (int i = 0; i < bins; ++i) sum += hist[i];
  return sum;
}

/// Sum of unsigned bytes modulo 2^32.
class ByteSum {
 public:
  void add(__m128i bytes) { halves_ = _mm_add_epi64(halves_, _mm_sad_epu8(bytes, _mm_setzero_si128())); }
  void add(unsigned byte) { rest_ += byte; }

  std::uint32_t total() const {
    return static_cast<std::uint32_t>(_mm_cvtsi128_si32(halves_)) +
           static_cast<std::uint32_t>(_mm_extract_epi32(halves_, 2)) + rest_;
  }

 private:
  __m128i halves_ = _mm_setzero_si128();
  std::uint32_t rest_ = 0;
};

}  // namespace zeb::statistics
