#include "filters/box_exact.h"

#include <smmintrin.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <numeric>

#include "frame/scratch.h"

namespace zeb::filters {
namespace {

using frame::Scratch;

constexpr int lanes = 8;

template <class T>
__m128i load(const T* from) {
  return _mm_loadu_si128(reinterpret_cast<const __m128i*>(from));
}
template <class T>
void store(T* to, __m128i value) {
  _mm_storeu_si128(reinterpret_cast<__m128i*>(to), value);
}

/// Adds eight sliding sums, given relative to a base, to eight window sums, and moves the base to the last of them.
class Base16 {
 public:
  explicit Base16(int first) : base_(_mm_set1_epi16(static_cast<short>(first))) {}
  void add(std::uint16_t* sums, __m128i relative) {
    store(sums, _mm_add_epi16(load(sums), _mm_add_epi16(relative, base_)));
    base_ = _mm_add_epi16(base_, _mm_shuffle_epi8(relative, _mm_set1_epi16(0x0F0E)));
  }

 private:
  __m128i base_;
};
class Base32 {
 public:
  explicit Base32(int first) : base_(_mm_set1_epi32(first)) {}
  void add(std::uint32_t* sums, __m128i relative) {
    const __m128i low = _mm_cvtepi16_epi32(relative), high = _mm_cvtepi16_epi32(_mm_srli_si128(relative, 8));
    store(sums, _mm_add_epi32(load(sums), _mm_add_epi32(low, base_)));
    store(sums + 4, _mm_add_epi32(load(sums + 4), _mm_add_epi32(high, base_)));
    base_ = _mm_add_epi32(base_, _mm_shuffle_epi32(high, _MM_SHUFFLE(3, 3, 3, 3)));
  }

 private:
  __m128i base_;
};

/// The sum over the window of each pixel of a row. From row to row it changes by the difference of the entering and the
/// leaving row, summed up over the window's columns while the window slides along.
template <class Sum, class Base>
class WindowSums {
 public:
  WindowSums(const Window& window, const unsigned char* src)
      : window_(window),
        src_(src),
        sums_(std::int64_t{window.width} + lanes),
        differences_(std::int64_t{window.width} + window.columns + lanes) {}

  explicit operator bool() const { return sums_ && differences_; }
  const Sum* data() const { return sums_.data(); }

  void start() {
    std::fill_n(sums_.data(), window_.width + lanes, Sum{});
    add_row([row = src_](std::ptrdiff_t x) { return row[x]; });
    // All rows above the image are its first one.
    const auto repeats = static_cast<Sum>(window_.rows_behind);
    for (std::ptrdiff_t x = 0; x < window_.width; ++x) sums_[x] = static_cast<Sum>(sums_[x] * repeats);
    for (int y = 0; y < window_.rows_ahead; ++y)
      add_row([row = src_ + window_.nearest_row(y)](std::ptrdiff_t x) { return row[x]; });
  }

  /// From the windows of row `y` to those of the next row.
  void advance(int y) {
    const unsigned char* const in = src_ + window_.nearest_row(std::int64_t{y} + window_.rows_ahead);
    const unsigned char* const out = src_ + window_.nearest_row(std::int64_t{y} - window_.rows_behind);
    if (in != out) add_row([=](std::ptrdiff_t x) { return in[x] - out[x]; });
  }

 private:
  /// Adds a row of `difference(x)`, continued on both sides by its first and last one.
  template <class Difference>
  void add_row(Difference difference) {
    std::int16_t* const row = differences_.data() + window_.columns_behind;
    for (std::ptrdiff_t x = 0; x < window_.width; ++x) row[x] = static_cast<std::int16_t>(difference(x));
    std::fill(differences_.data(), row, row[0]);
    std::fill_n(row + window_.width, window_.columns_ahead + lanes, row[window_.width - 1]);

    const std::int16_t* const leaving = differences_.data();
    const std::int16_t* const entering = leaving + window_.columns;
    Base base(std::accumulate(leaving, entering, 0));
    for (std::ptrdiff_t x = 0; x < window_.width; x += lanes) {
      __m128i change = _mm_sub_epi16(load(entering + x), load(leaving + x));
      change = _mm_add_epi16(change, _mm_slli_si128(change, 2));
      change = _mm_add_epi16(change, _mm_slli_si128(change, 4));
      change = _mm_add_epi16(change, _mm_slli_si128(change, 8));
      base.add(sums_.data() + x, change);
    }
  }

  const Window& window_;
  const unsigned char* src_;
  Scratch<Sum> sums_;
  Scratch<std::int16_t> differences_;
};

__m128 low_sums(const std::uint32_t* sums) { return _mm_cvtepi32_ps(load(sums)); }
__m128 high_sums(const std::uint32_t* sums) { return _mm_cvtepi32_ps(load(sums + 4)); }
__m128 low_sums(const std::uint16_t* sums) { return _mm_cvtepi32_ps(_mm_cvtepu16_epi32(load(sums))); }
__m128 high_sums(const std::uint16_t* sums) {
  return _mm_cvtepi32_ps(_mm_unpackhi_epi16(load(sums), _mm_setzero_si128()));
}

/// Means by division.
struct Division {
  static constexpr int lift = 0;
  __m128 area;
  explicit Division(int window_area) : area(_mm_set1_ps(static_cast<float>(window_area))) {}
  __m128 operator()(__m128 sums) const { return _mm_div_ps(sums, area); }
};

/// Means by a reciprocal, made to round like the quotients. The product is off by less than 255 / 2^23. The lift leaves
/// 14 binary digits behind the point, which turns what is meant to be a tie into one; and for windows of up to 8192
/// pixels a quotient that is no tie lies too far from one, 1 / 16384 or more, to be turned into a tie. The lift is
/// even, so that ties still go to even.
struct Reciprocal {
  static constexpr int largest_area = 8192;
  static constexpr int lift = 768;
  __m128 factor;
  explicit Reciprocal(int window_area) : factor(_mm_set1_ps(1.0f / static_cast<float>(window_area))) {}
  __m128 operator()(__m128 sums) const {
    return _mm_add_ps(_mm_mul_ps(sums, factor), _mm_set1_ps(static_cast<float>(lift)));
  }
};

__m128i rounded(__m128 low, __m128 high) { return _mm_packs_epi32(_mm_cvtps_epi32(low), _mm_cvtps_epi32(high)); }
__m128i truncated(__m128 low, __m128 high) { return _mm_packs_epi32(_mm_cvttps_epi32(low), _mm_cvttps_epi32(high)); }

/// A filter's pixels, unsaturated and eight at a time, from means: from truncated ones, and from quotients that are
/// `lift` too large, whose results are to be rounded.
struct LowPass {
  __m128i pixels(__m128i means, __m128i) const { return means; }
  template <int lift>
  __m128i pixels(__m128 low, __m128 high, __m128i) const {
    return _mm_sub_epi16(rounded(low, high), _mm_set1_epi16(lift));
  }
};

struct HighPass {
  int offset;

  /// An offset beyond twice the grey range saturates all pixels; limiting it there keeps all arithmetic in range.
  explicit HighPass(int any_offset) : offset(std::clamp(any_offset, -511, 511)) {}

  __m128i raised(__m128i grey, int by) const { return _mm_add_epi16(grey, _mm_set1_epi16(static_cast<short>(by))); }
  __m128i pixels(__m128i means, __m128i grey) const { return _mm_sub_epi16(raised(grey, offset), means); }
  template <int lift>
  __m128i pixels(__m128 low, __m128 high, __m128i grey) const {
    const __m128i minuend = raised(grey, offset + lift);
    return rounded(_mm_sub_ps(_mm_cvtepi32_ps(_mm_cvtepi16_epi32(minuend)), low),
                   _mm_sub_ps(_mm_cvtepi32_ps(_mm_cvtepi16_epi32(_mm_srli_si128(minuend, 8))), high));
  }
};

/// Calls `eight(x, grey)` for groups of eight columns from `begin` to `end` and stores the saturated words that it
/// returns; `grey` holds the source's pixels as words. The last group may be incomplete.
template <class Eight>
void for_each_eight(unsigned char* dst, const unsigned char* src, int begin, int end, Eight eight) {
  int x = begin;
  for (; x + lanes <= end; x += lanes) {
    const __m128i words = eight(x, _mm_cvtepu8_epi16(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(src + x))));
    _mm_storel_epi64(reinterpret_cast<__m128i*>(dst + x), _mm_packus_epi16(words, words));
  }
  if (x < end) {
    const auto rest = static_cast<std::size_t>(end - x);
    std::uint64_t bytes = 0;
    std::memcpy(&bytes, src + x, rest);
    const __m128i words = eight(x, _mm_cvtepu8_epi16(_mm_cvtsi64_si128(static_cast<std::int64_t>(bytes))));
    bytes = static_cast<std::uint64_t>(_mm_cvtsi128_si64(_mm_packus_epi16(words, words)));
    std::memcpy(dst + x, &bytes, rest);
  }
}

/// Means are rounded where the window lies inside the image and truncated in the columns on both sides.
template <class Sums, class Quotient, class Filter>
void filter_rows(unsigned char* dst, const unsigned char* src, const Window& window, Filter filter) {
  Sums sums(window, src);
  if (!sums) return;
  const int first_packed = (window.columns_behind + 3) & ~3;
  const int end_packed = std::max(first_packed, (window.width - window.columns_behind) & ~3);
  const Quotient quotient(static_cast<int>(window.area));
  const Division division(static_cast<int>(window.area));
  const auto* const sum = sums.data();
  const auto at_the_ends = [=](int x, __m128i grey) {
    return filter.pixels(truncated(division(low_sums(sum + x)), division(high_sums(sum + x))), grey);
  };
  const auto between = [=](int x, __m128i grey) {
    return filter.template pixels<Quotient::lift>(quotient(low_sums(sum + x)), quotient(high_sums(sum + x)), grey);
  };

  sums.start();
  for (int y = 0; y < window.height; ++y) {
    if (y > 0) sums.advance(y - 1);
    const std::ptrdiff_t row = window.nearest_row(y);
    for_each_eight(dst + row, src + row, 0, first_packed, at_the_ends);
    for_each_eight(dst + row, src + row, first_packed, end_packed, between);
    for_each_eight(dst + row, src + row, end_packed, window.width, at_the_ends);
  }
}

template <class Filter>
void filter_exactly(unsigned char* dst, const unsigned char* src, const Window& window, Filter filter) {
  constexpr int largest_area_of_16_bit_sums = 65535 / 255;
  if (window.area <= largest_area_of_16_bit_sums)
    filter_rows<WindowSums<std::uint16_t, Base16>, Reciprocal>(dst, src, window, filter);
  else if (window.area <= Reciprocal::largest_area)
    filter_rows<WindowSums<std::uint32_t, Base32>, Reciprocal>(dst, src, window, filter);
  else
    filter_rows<WindowSums<std::uint32_t, Base32>, Division>(dst, src, window, filter);
}

}  // namespace

void exact_low_pass(unsigned char* dst, const unsigned char* src, const Window& window) {
  filter_exactly(dst, src, window, LowPass{});
}

void exact_high_pass(unsigned char* dst, const unsigned char* src, const Window& window, int offset) {
  filter_exactly(dst, src, window, HighPass(offset));
}

}  // namespace zeb::filters
