#include <cstddef>
#include <cstdint>
#include <cstring>

#include "frame/packed.h"
#include "zeb/point_ops.h"

using namespace zeb::frame;

namespace {

/// Whole groups of 16 pixels of each row of `a` are combined unchecked. Those behind them go through checked access:
/// that is where differing sizes are noticed.
template <class Packed, class Scalar>
void combine(const zeb::Mat<unsigned char>& dst, const zeb::Mat<unsigned char>& a, const zeb::Mat<unsigned char>& b,
             Packed packed, Scalar scalar) {
  const auto row = [](const zeb::Mat<unsigned char>& image, int y) {
    return image.data + std::ptrdiff_t{y} * image.stride;
  };
  const int width = a.width, whole = width & ~15;
  for (int y = 0; y < a.height; ++y) {
    unsigned char* const to = row(dst, y);
    const unsigned char *const from_a = row(a, y), *const from_b = row(b, y);
    int x = 0;
    for (; x < whole; x += 16) store(to + x, packed(load(from_a + x), load(from_b + x)));
    for (; x < width; ++x) dst.at(y, x) = static_cast<unsigned char>(scalar(a.at(y, x), b.at(y, x)));
  }
}

template <class Packed>
void combine_blocks(unsigned char* dst, const unsigned char* a, const unsigned char* b, int blocks, Packed packed) {
  for (std::ptrdiff_t i = 0; i < blocks; ++i) store(dst + 16 * i, packed(load(a + 16 * i), load(b + 16 * i)));
}

}  // namespace

namespace zeb {

void bitwise_and(Mat<unsigned char>& dst, const Mat<unsigned char>& a, const Mat<unsigned char>& b) {
  combine(
      dst, a, b, [](__m128i p, __m128i q) { return _mm_and_si128(p, q); }, [](int p, int q) { return p & q; });
}

void bitwise_and(Mat<unsigned char>& dst, const Mat<unsigned char>& a, unsigned char value) {
  combine(
      dst, a, a, [values = splat(value)](__m128i p, __m128i) { return _mm_and_si128(p, values); },
      [value](int p, int) { return p & value; });
}

void bitwise_andnot(Mat<unsigned char>& dst, const Mat<unsigned char>& a, const Mat<unsigned char>& b) {
  combine(
      dst, a, b, [](__m128i p, __m128i q) { return _mm_andnot_si128(p, q); }, [](int p, int q) { return ~p & q; });
}

void bitwise_xor(Mat<unsigned char>& dst, const Mat<unsigned char>& a, const Mat<unsigned char>& b) {
  combine(
      dst, a, b, [](__m128i p, __m128i q) { return _mm_xor_si128(p, q); }, [](int p, int q) { return p ^ q; });
}

}  // namespace zeb

void ExpandBM(unsigned char* dst, const unsigned char* src, int width, int height, int dst_stride, int src_pitch) {
  if (width < 1) return;
  const int whole = width & ~15;
  for (int y = 0; y < height; ++y) {
    const unsigned char* from = src + std::ptrdiff_t{y} * (src_pitch >> 3);
    unsigned char* to = dst + std::ptrdiff_t{y} * dst_stride;
    const auto expanded = [from](int x) {
      std::uint16_t word;
      std::memcpy(&word, from + x / 8, sizeof(word));
      return pixels_of_bits(_mm_cvtsi32_si128(word), 0, true);
    };
    for (int x = 0; x < whole; x += 16) store(to + x, expanded(x));
    if (whole < width) {
      alignas(16) unsigned char rest[16];
      store(rest, expanded(whole));
      std::memcpy(to + whole, rest, static_cast<std::size_t>(width - whole));
    }
  }
}

void LogicBin(unsigned char* dst, const unsigned char* a, const unsigned char* b, int bit_count, Logic_bin_mode mode) {
  const int blocks = bit_count >> 7;
  switch (mode) {
    case Logic_bin_mode::logic_and:
      combine_blocks(dst, a, b, blocks, [](__m128i p, __m128i q) { return _mm_and_si128(p, q); });
      break;
    case Logic_bin_mode::logic_or:
      combine_blocks(dst, a, b, blocks, [](__m128i p, __m128i q) { return _mm_or_si128(p, q); });
      break;
    case Logic_bin_mode::logic_xor:
      combine_blocks(dst, a, b, blocks, [](__m128i p, __m128i q) { return _mm_xor_si128(p, q); });
      break;
    case Logic_bin_mode::logic_andnot:
      combine_blocks(dst, a, b, blocks, [](__m128i p, __m128i q) { return _mm_andnot_si128(p, q); });
      break;
    case Logic_bin_mode::logic_not:
      combine_blocks(dst, a, a, blocks, [](__m128i p, __m128i) { return _mm_andnot_si128(p, splat(255)); });
      break;
  }
}
