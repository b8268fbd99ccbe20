#pragma once

#include <smmintrin.h>

#include <cstddef>

/// The few helpers that all packed kernels share.
namespace zeb::frame {

/// 16 pixels from or to any address.
inline __m128i load(const unsigned char* from) { return _mm_loadu_si128(reinterpret_cast<const __m128i*>(from)); }
inline void store(unsigned char* to, __m128i pixels) { _mm_storeu_si128(reinterpret_cast<__m128i*>(to), pixels); }

inline __m128i splat(unsigned char value) { return _mm_set1_epi8(static_cast<char>(value)); }

/// The lower and upper 8 pixels, widened to 16 bits.
inline __m128i low_words(__m128i pixels) { return _mm_unpacklo_epi8(pixels, _mm_setzero_si128()); }
inline __m128i high_words(__m128i pixels) { return _mm_unpackhi_epi8(pixels, _mm_setzero_si128()); }

/// Whether any of 16 bytes is not 0.
inline bool any_set(__m128i bytes) { return _mm_testz_si128(bytes, bytes) == 0; }

/// Pixels shifted by 128, so that signed comparisons find their order.
inline __m128i signed_order(__m128i pixels) { return _mm_xor_si128(pixels, splat(0x80)); }

/// 0xFF where a pixel is at least, or at most, the other one; unsigned.
inline __m128i at_least(__m128i a, __m128i b) { return _mm_cmpeq_epi8(_mm_max_epu8(a, b), a); }
inline __m128i at_most(__m128i a, __m128i b) { return _mm_cmpeq_epi8(_mm_min_epu8(a, b), a); }

/// The 16 bits from byte `2 * pair` of `bits` on as pixels, lowest bit first: 255 for each that is `set`, 0 for the
/// others.
inline __m128i pixels_of_bits(__m128i bits, int pair, bool set) {
  const __m128i first_byte_8_times_then_second = _mm_setr_epi8(0, 0, 0, 0, 0, 0, 0, 0, 1, 1, 1, 1, 1, 1, 1, 1);
  const __m128i bit_of_lane = _mm_set1_epi64x(static_cast<long long>(0x8040201008040201ULL));
  const __m128i bytes = _mm_add_epi8(first_byte_8_times_then_second, _mm_set1_epi8(static_cast<char>(2 * pair)));
  return _mm_cmpeq_epi8(_mm_and_si128(_mm_shuffle_epi8(bits, bytes), bit_of_lane),
                        set ? bit_of_lane : _mm_setzero_si128());
}

/// The frame of the pixel-wise kernels. For each row: `block(offset)` for each whole group of 16 pixels from the left,
/// then `pixel(offset)` for each of the fewer than 16 that are left, `offset` counting from the image's first pixel.
template <class Block, class Pixel>
inline void for_each_block(int width, int stride, int height, Block block, Pixel pixel) {
  const std::ptrdiff_t columns = width;
  for (int y = 0; y < height; ++y) {
    const std::ptrdiff_t row = std::ptrdiff_t{y} * stride;
    std::ptrdiff_t x = 0;
    for (; x + 64 <= columns; x += 64) {
      block(row + x);
      block(row + x + 16);
      block(row + x + 32);
      block(row + x + 48);
    }
    for (; x + 16 <= columns; x += 16) block(row + x);
    for (; x < columns; ++x) pixel(row + x);
  }
}

}  // namespace zeb::frame
