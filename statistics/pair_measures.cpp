#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <stdexcept>

#include "frame/packed.h"
#include "statistics/reduction.h"
#include "zeb/statistics.h"

using namespace zeb::frame;

namespace {

/// The conditions give 1 for a pixel that counts and 0 for any other. They compare what is set, not bits.
struct BothSet {
  static __m128i of(__m128i a, __m128i b) { return _mm_min_epu8(_mm_min_epu8(a, b), _mm_set1_epi8(1)); }
  static bool of(unsigned char a, unsigned char b) { return a != 0 && b != 0; }
};

struct AnySet {
  static __m128i of(__m128i a, __m128i b) { return _mm_min_epu8(_mm_or_si128(a, b), _mm_set1_epi8(1)); }
  static bool of(unsigned char a, unsigned char b) { return a != 0 || b != 0; }
};

struct OneSet {
  static __m128i of(__m128i a, __m128i b) {
    const __m128i zero = _mm_setzero_si128();
    return _mm_and_si128(_mm_xor_si128(_mm_cmpeq_epi8(a, zero), _mm_cmpeq_epi8(b, zero)), _mm_set1_epi8(1));
  }
  static bool of(unsigned char a, unsigned char b) { return (a != 0) != (b != 0); }
};

template <class Condition>
std::uint32_t count_row(const unsigned char* a, const unsigned char* b, int width) {
  zeb::statistics::ByteSum count;
  for_each_block(
      width, 0, 1, [&](std::ptrdiff_t x) { count.add(Condition::of(load(a + x), load(b + x))); },
      [&](std::ptrdiff_t x) { count.add(Condition::of(a[x], b[x]) ? 1u : 0u); });
  return count.total();
}

struct Pair {
  const unsigned char *a, *b;
  int width, height, stride_a, stride_b;

  template <class Condition>
  std::uint32_t count(int y) const {
    if (width < 1) return 0;
    return count_row<Condition>(a + std::ptrdiff_t{y} * stride_a, b + std::ptrdiff_t{y} * stride_b, width);
  }
};

float share(std::uint32_t count, int width, int height) {
  return static_cast<float>(count) / static_cast<float>(zeb::statistics::area(width, height));
}

template <class Condition>
float scalar_share(const Pair& pair) {
  std::uint32_t count = 0;
  for (int y = 0; y < pair.height; ++y) count += pair.count<Condition>(y);
  return share(count, pair.width, pair.height);
}

/// Counts by chunks of 255 rows, as many as a counter of one byte holds. Each chunk begins with the row that closed the
/// one before it, which thus counts twice, while the rows at the bottom get lost; a chunk of no rows still counts that
/// row. Required as it is: callers rely on the numbers.
template <class Condition>
float packed_share(const Pair& pair) {
  std::uint32_t count = 0;
  const int chunks = pair.a == nullptr || pair.b == nullptr ? 0 : pair.height / 255 + 1;
  int held = 0;
  for (int chunk = 0; chunk < chunks; ++chunk) {
    const int size = std::min(pair.height - chunk * 255, 255);
    const int closing = held + std::max(size, 1) - 1;
    for (int y = held; y <= closing; ++y) count += pair.count<Condition>(y);
    held = closing;
  }
  return share(count, pair.width, pair.height);
}

}  // namespace

float fAnd(const unsigned char* const a, const unsigned char* const b, int width, int height, int stride_a,
           int stride_b) {
  return scalar_share<BothSet>({a, b, width, height, stride_a, stride_b});
}

float fMatchingDistance(const unsigned char* const a, const unsigned char* const b, int width, int height, int stride_a,
                        int stride_b) {
  return scalar_share<OneSet>({a, b, width, height, stride_a, stride_b});
}

float fMMAnd(const unsigned char* const a, const unsigned char* const b, int width, int height, int stride_a,
             int stride_b) {
  return packed_share<BothSet>({a, b, width, height, stride_a, stride_b});
}

float fMMOr(const unsigned char* const a, const unsigned char* const b, int width, int height, int stride_a,
            int stride_b) {
  return packed_share<AnySet>({a, b, width, height, stride_a, stride_b});
}

float fMMMatchingDistance(const unsigned char* const a, const unsigned char* const b, int width, int height,
                          int stride_a, int stride_b) {
  return packed_share<OneSet>({a, b, width, height, stride_a, stride_b});
}

namespace zeb {

float l1_norm(const Mat<unsigned char>& a, const Mat<unsigned char>& b, L1_norm_mode mode) {
  switch (mode) {
    case L1_norm_mode::And:
      return fMMAnd(a.data, b.data, a.width, a.height, a.stride, a.stride);
    case L1_norm_mode::Or:
      return fMMOr(a.data, b.data, a.width, a.height, a.stride, a.stride);
    case L1_norm_mode::MatchingDistance:
      return fMMMatchingDistance(a.data, b.data, a.width, a.height, a.stride, a.stride);
  }
  throw std::logic_error("impossible l1 mode");
}

}  // namespace zeb
