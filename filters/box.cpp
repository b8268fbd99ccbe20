#include <smmintrin.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <optional>

#include "filters/box_exact.h"
#include "filters/box_window.h"
#include "frame/rounding.h"
#include "frame/scratch.h"
#include "zeb/filters.h"

using zeb::frame::Scratch;

namespace zeb {

using namespace filters;

namespace {

/// Sums wrap around in 32 bits, or are the single precision sums of the packed filters. Both are exact, and equal,
/// as long as a window's pixels sum up to less than 2^24.
using Integer = std::uint32_t;

int as_int(Integer sum) { return static_cast<int>(sum); }

/// The sum of each column over the rows of the current window. `value(i)` is what pixel `i` of the image adds.
template <class Sum, class Value>
class ColumnSums {
 public:
  ColumnSums(const Window& window, Value value) : window_(window), value_(value), sums_(window.work_size()) {}

  explicit operator bool() const { return static_cast<bool>(sums_); }
  const Sum* data() const { return sums_.data(); }

  void start() {
    std::fill_n(sums_.data(), window_.work_size(), Sum{});
    for (int row = -window_.rows_behind; row < window_.rows_ahead; ++row) {
      const std::ptrdiff_t in = window_.nearest_row(row);
      for (std::ptrdiff_t x = 0; x < window_.width; ++x) sums_[x] += static_cast<Sum>(value_(in + x));
    }
  }

  /// From the window of row `y` to that of the next row.
  void advance(int y) {
    const std::ptrdiff_t in = window_.nearest_row(std::int64_t{y} + window_.rows_ahead);
    const std::ptrdiff_t out = window_.nearest_row(std::int64_t{y} - window_.rows_behind);
    for (std::ptrdiff_t x = 0; x < window_.width; ++x)
      sums_[x] = sums_[x] + static_cast<Sum>(value_(in + x)) - static_cast<Sum>(value_(out + x));
  }

 private:
  const Window& window_;
  Value value_;
  Scratch<Sum> sums_;
};

/// The sum over the window while it moves along a row, one column at a time.
template <class Sum>
struct RowSum {
  const Window* window;
  const Sum* columns;
  Sum sum;

  RowSum(const Window& w, const Sum* column_sums)
      : window(&w), columns(column_sums), sum(static_cast<Sum>(w.columns_behind) * columns[0]) {
    for (int i = 0; i < w.columns_ahead; ++i) sum += columns[i];
  }

  /// Moves to column `x`, columns outside the image being replaced by the nearest one.
  Sum step(int x) {
    sum = sum + columns[std::min(x + window->columns_ahead, window->width - 1)];
    return sum = sum - columns[std::max(x - window->columns_behind, 0)];
  }
};

/// Four lanes of sums.
__m128 lanes(const float* from) { return _mm_loadu_ps(from); }
__m128i lanes(const Integer* from) { return _mm_loadu_si128(reinterpret_cast<const __m128i*>(from)); }
__m128 all_lanes(float value) { return _mm_set1_ps(value); }
__m128i all_lanes(Integer value) { return _mm_set1_epi32(as_int(value)); }
__m128 add(__m128 a, __m128 b) { return _mm_add_ps(a, b); }
__m128i add(__m128i a, __m128i b) { return _mm_add_epi32(a, b); }
__m128 subtract(__m128 a, __m128 b) { return _mm_sub_ps(a, b); }
__m128i subtract(__m128i a, __m128i b) { return _mm_sub_epi32(a, b); }
template <int count>
__m128i up_by(__m128i a) {
  return _mm_slli_si128(a, 4 * count);
}
template <int count>
__m128 up_by(__m128 a) {
  return _mm_castsi128_ps(up_by<count>(_mm_castps_si128(a)));
}
__m128 last_lane(__m128 a) { return _mm_shuffle_ps(a, a, _MM_SHUFFLE(3, 3, 3, 3)); }
__m128i last_lane(__m128i a) { return _mm_shuffle_epi32(a, _MM_SHUFFLE(3, 3, 3, 3)); }
void set(float& to, __m128 a) { to = _mm_cvtss_f32(a); }
void set(Integer& to, __m128i a) { to = static_cast<Integer>(_mm_cvtsi128_si32(a)); }
__m128 to_float(__m128 a) { return a; }
__m128 to_float(__m128i a) { return _mm_cvtepi32_ps(a); }

/// `RowSum`, four columns at a time.
template <class Sum>
struct PackedRowSum {
  const Sum* columns;
  std::ptrdiff_t ahead, behind;
  decltype(all_lanes(Sum{})) running;

  explicit PackedRowSum(const RowSum<Sum>& row)
      : columns(row.columns),
        ahead(row.window->columns_ahead),
        behind(row.window->columns_behind),
        running(all_lanes(row.sum)) {}

  /// The sums at the columns `x` to `x + 3`, whose windows must lie inside the image.
  __m128 step(int x) {
    auto sums = subtract(lanes(columns + (x + ahead)), lanes(columns + (x - behind)));
    sums = add(sums, up_by<1>(sums));
    sums = add(sums, up_by<2>(sums));
    sums = add(sums, running);
    running = last_lane(sums);
    return to_float(sums);
  }

  void leave(RowSum<Sum>& row) const { set(row.sum, running); }
};

/// A mean truncates in whichever arithmetic its sums are made.
int truncated_quotient(Integer sum, std::int64_t count) { return static_cast<int>(as_int(sum) / count); }
int truncated_quotient(float sum, std::int64_t count) { return frame::trunc(sum / static_cast<float>(count)); }
int truncated_quotient(Integer sum, Integer count) { return as_int(sum) / as_int(count); }
int truncated_quotient(float sum, float count) { return frame::trunc(sum / count); }

/// The means of all pixels of the windows.
template <class Sum, class Value>
class Means {
 public:
  Means(const Window& window, Value value) : window_(window), sums_(window, value) {}

  bool start() {
    if (!sums_) return false;
    sums_.start();
    return true;
  }
  void advance(int y) { sums_.advance(y); }

  struct Packed {
    PackedRowSum<Sum> sum;
    __m128 area;
    __m128 step(int x) { return _mm_div_ps(sum.step(x), area); }
  };

  struct Row {
    RowSum<Sum> sum;
    std::int64_t area;
    std::optional<int> step(int x) { return truncated_quotient(sum.step(x), area); }
    Packed packed() const { return {PackedRowSum<Sum>(sum), _mm_set1_ps(static_cast<float>(area))}; }
    void resume(const Packed& packed) { packed.sum.leave(sum); }
  };
  Row row() const { return {RowSum<Sum>(window_, sums_.data()), window_.area}; }

 private:
  const Window& window_;
  ColumnSums<Sum, Value> sums_;
};

/// The means of those pixels of the windows whose mask is 0; there is none where no pixel takes part.
template <class Sum, class Value>
class MaskedMeans {
 public:
  MaskedMeans(const Window& window, Value value, const unsigned char* mask)
      : window_(window), sums_(window, {value, mask}), counts_(window, {mask}) {}

  bool start() {
    if (!sums_ || !counts_) return false;
    sums_.start();
    counts_.start();
    return true;
  }
  void advance(int y) {
    sums_.advance(y);
    counts_.advance(y);
  }

  struct Packed {
    PackedRowSum<Sum> sum, count;
    __m128 step(int x) { return _mm_div_ps(sum.step(x), _mm_max_ps(_mm_set1_ps(1.0f), count.step(x))); }
  };

  struct Row {
    RowSum<Sum> sum, count;
    std::optional<int> step(int x) {
      const Sum s = sum.step(x), n = count.step(x);
      if (!(static_cast<float>(n) > 0.1f)) return std::nullopt;
      return truncated_quotient(s, n);
    }
    Packed packed() const { return {PackedRowSum<Sum>(sum), PackedRowSum<Sum>(count)}; }
    void resume(const Packed& packed) {
      packed.sum.leave(sum);
      packed.count.leave(count);
    }
  };
  Row row() const { return {RowSum<Sum>(window_, sums_.data()), RowSum<Sum>(window_, counts_.data())}; }

 private:
  struct Unmasked {
    Value value;
    const unsigned char* mask;
    unsigned char operator()(std::ptrdiff_t i) const {
      return static_cast<unsigned char>(value(i) & (mask[i] == 0 ? 255 : 0));
    }
  };
  struct Count {
    const unsigned char* mask;
    unsigned char operator()(std::ptrdiff_t i) const { return mask[i] == 0; }
  };

  const Window& window_;
  ColumnSums<Sum, Unmasked> sums_;
  ColumnSums<Sum, Count> counts_;
};

/// The filter's pixels from the means: `pixel` from a truncated mean, `pixels` from four quotients, as 32-bit integers.
/// `empty` is what the scalar forms give where no pixel took part.
struct LowPass {
  unsigned char pixel(std::ptrdiff_t, int mean) const { return static_cast<unsigned char>(mean); }
  __m128i pixels(std::ptrdiff_t, __m128 quotients) const { return _mm_cvtps_epi32(quotients); }
  unsigned char empty() const { return 0; }
};

struct HighPass {
  const unsigned char* src;
  int offset;

  unsigned char pixel(std::ptrdiff_t i, int mean) const {
    return static_cast<unsigned char>(std::clamp<std::int64_t>(std::int64_t{src[i]} - mean + offset, 0, 255));
  }
  __m128i pixels(std::ptrdiff_t i, __m128 quotients) const {
    std::int32_t four;
    std::memcpy(&four, src + i, sizeof(four));
    const __m128 grey = _mm_cvtepi32_ps(_mm_cvtepu8_epi32(_mm_cvtsi32_si128(four)));
    const __m128 values = _mm_sub_ps(_mm_add_ps(grey, _mm_set1_ps(static_cast<float>(offset))), quotients);
    return _mm_cvtps_epi32(_mm_max_ps(_mm_setzero_ps(), _mm_min_ps(_mm_set1_ps(255.1f), values)));
  }
  unsigned char empty() const { return static_cast<unsigned char>(offset); }
};

void store_saturated(unsigned char* to, __m128i values) {
  const __m128i words = _mm_packs_epi32(values, values);
  const std::int32_t bytes = _mm_cvtsi128_si32(_mm_packus_epi16(words, words));
  std::memcpy(to, &bytes, sizeof(bytes));
}

/// The scalar forms: every pixel is written.
template <class AllMeans, class Filter>
void scalar_rows(unsigned char* dst, const Window& window, AllMeans means, Filter filter) {
  if (!means.start()) return;
  for (int y = 0; y < window.height; ++y) {
    const std::ptrdiff_t start = window.nearest_row(y);
    auto row = means.row();
    for (int x = 0; x < window.width; ++x) {
      const auto mean = row.step(x);
      dst[start + x] = mean ? filter.pixel(start + x, *mean) : filter.empty();
    }
    means.advance(y);
  }
}

/// The packed forms. Four columns at a time need windows that lie inside the image; the columns on both sides of
/// those are made one by one, from truncated means, and only where there is a mean.
template <class AllMeans, class Filter>
void packed_rows(unsigned char* dst, const Window& window, AllMeans means, Filter filter) {
  if (!means.start()) return;
  const int first_packed = (window.columns_behind + 3) & ~3, end_packed = (window.width - window.columns_behind) & ~3;
  for (int y = 0; y < window.height; ++y) {
    const std::ptrdiff_t start = window.nearest_row(y);
    auto row = means.row();
    int x = 0;
    const auto one_by_one = [&](int end) {
      for (; x < end; ++x)
        if (const auto mean = row.step(x)) dst[start + x] = filter.pixel(start + x, *mean);
    };

    // Images of one to three columns get their first four columns all the same, unless the last row has no such room.
    const std::int64_t room = std::int64_t{window.height - y} * window.stride;
    one_by_one(static_cast<int>(std::min<std::int64_t>(first_packed, std::max<std::int64_t>(window.width, room))));
    if (first_packed < end_packed) {
      auto packed = row.packed();
      for (; x < end_packed; x += 4) store_saturated(dst + start + x, filter.pixels(start + x, packed.step(x)));
      row.resume(packed);
    }
    one_by_one(window.width);
    means.advance(y);
  }
}

/// The packed filters in general. With a mask, integer sums are quicker and the same while both are exact.
template <class Value, class Filter>
void packed_box(unsigned char* dst, const unsigned char* mask, const Window& window, Value value, Filter filter) {
  if (mask == nullptr)
    packed_rows(dst, window, Means<float, Value>(window, value), filter);
  else if (window.float_sums_are_exact())
    packed_rows(dst, window, MaskedMeans<Integer, Value>(window, value, mask), filter);
  else
    packed_rows(dst, window, MaskedMeans<float, Value>(window, value, mask), filter);
}

/// What a pixel adds to the sums: itself, or its entry in a table.
struct Grey {
  const unsigned char* src;
  unsigned char operator()(std::ptrdiff_t i) const { return src[i]; }
};
struct Mapped {
  const unsigned char* src;
  const unsigned char* table;
  unsigned char operator()(std::ptrdiff_t i) const { return table[src[i]]; }
};

template <class Filter>
void scalar_box(unsigned char* dst, const unsigned char* mask, const Window& window, Grey grey, Filter filter) {
  if (mask == nullptr)
    scalar_rows(dst, window, Means<Integer, Grey>(window, grey), filter);
  else
    scalar_rows(dst, window, MaskedMeans<Integer, Grey>(window, grey, mask), filter);
}

/// Runs `filter` with the given table, or with one made for the call.
template <class Run>
void with_table(const unsigned char* table, float gain, short half_range, Run run) {
  if (table != nullptr) return run(table);
  constexpr int grey_values = 256;
  const Scratch<unsigned char> own(grey_values);
  if (!own) return;
  std::fill_n(own.data(), grey_values, 0);  // a gain far too small for the range leaves entries out
  iInitVideoNormLookUpTP(own.data(), gain, half_range);
  run(own.data());
}

}  // namespace

void vBM_LPFilter(unsigned char* const dst, const unsigned char* const src, const unsigned char* const mask, int width,
                  int stride, int height, int filter_width, int filter_height) {
  const Window window(width, stride, height, filter_width, filter_height);
  if (window.nothing_to_do()) return;
  scalar_box(dst, mask, window, Grey{src}, LowPass{});
}

void vMMBM_LPFilter(unsigned char* const dst, const unsigned char* const src, const unsigned char* const mask,
                    int width, int stride, int height, int filter_width, int filter_height) {
  const Window window(width, stride, height, filter_width, filter_height);
  if (window.nothing_to_do()) return;
  if (mask == nullptr && has_exact_form(window))
    exact_low_pass(dst, src, window);
  else
    packed_box(dst, mask, window, Grey{src}, LowPass{});
}

void vBM_HPFilter(unsigned char* const dst, const unsigned char* const src, const unsigned char* const mask, int width,
                  int stride, int height, int filter_width, int filter_height, int offset) {
  const Window window(width, stride, height, filter_width, filter_height);
  if (window.nothing_to_do()) return;
  // Without a mask the middle grey is the offset, whatever the caller asks for.
  scalar_box(dst, mask, window, Grey{src}, HighPass{src, mask == nullptr ? 128 : offset});
}

void vMMBM_HPFilter(unsigned char* const dst, const unsigned char* const src, const unsigned char* const mask,
                    int width, int stride, int height, int filter_width, int filter_height, int offset) {
  const Window window(width, stride, height, filter_width, filter_height);
  if (window.nothing_to_do()) return;
  if (mask == nullptr && has_exact_form(window))
    exact_high_pass(dst, src, window, offset);
  else
    packed_box(dst, mask, window, Grey{src}, HighPass{src, offset});
}

void vBM_LPIncrease(unsigned char* dst, unsigned char* src, unsigned char* lut, int width, int stride, int height,
                    int filter_width, int filter_height, float gain, short half_range) {
  const Window window(width, stride, height, filter_width, filter_height);
  if (window.nothing_to_do()) return;
  with_table(lut, gain, half_range, [&](const unsigned char* table) {
    scalar_rows(dst, window, Means<Integer, Mapped>(window, Mapped{src, table}), LowPass{});
  });
}

void vMMBM_LPIncrease(unsigned char* dst, unsigned char* src, unsigned char* lut, int width, int stride, int height,
                      int filter_width, int filter_height, float gain, short half_range) {
  const Window window(width, stride, height, filter_width, filter_height);
  if (window.nothing_to_do()) return;
  with_table(lut, gain, half_range, [&](const unsigned char* table) {
    packed_rows(dst, window, Means<Integer, Mapped>(window, Mapped{src, table}), LowPass{});
  });
}

void lp_filter(Mat<unsigned char>& dst, const Mat<unsigned char>& src, const Mat<unsigned char>& mask, int filter_width,
               int filter_height) {
  vMMBM_LPFilter(dst.data, src.data, mask.data, src.width, src.stride, src.height, filter_width, filter_height);
}

void lp_filter(Mat<unsigned char>& dst, const Mat<unsigned char>& src, int filter_width, int filter_height) {
  vMMBM_LPFilter(dst.data, src.data, nullptr, src.width, src.stride, src.height, filter_width, filter_height);
}

void hp_filter(Mat<unsigned char>& dst, const Mat<unsigned char>& src, const Mat<unsigned char>& mask, int filter_width,
               int filter_height, int offset) {
  vMMBM_HPFilter(dst.data, src.data, mask.data, src.width, src.stride, src.height, filter_width, filter_height, offset);
}

void hp_filter(Mat<unsigned char>& dst, const Mat<unsigned char>& src, int filter_width, int filter_height,
               int offset) {
  vMMBM_HPFilter(dst.data, src.data, nullptr, src.width, src.stride, src.height, filter_width, filter_height, offset);
}

}  // namespace zeb
