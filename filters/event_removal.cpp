#include <smmintrin.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "frame/packed.h"
#include "frame/scratch.h"
#include "zeb/filters.h"

namespace {

/// Half the width of a window's rows from the middle row outwards: `row(dy, half_width)` for `dy` from 0 to `last`.
template <class Row>
void for_each_half_width(int radius, bool square, int last, Row row) {
  const float limit = static_cast<float>(std::int64_t{radius} * radius) + 0.4f;
  std::int64_t x = radius;
  for (std::int64_t y = 0; y <= last; ++y) {
    while (!square && static_cast<float>(x * x + y * y) > limit) --x;
    row(static_cast<int>(y), static_cast<int>(x));
  }
}

/// Number of pixels in the whole window.
std::uint64_t window_size(int radius, bool square) {
  std::uint64_t size = 0;
  for_each_half_width(radius, square, radius, [&size](int y, int half_width) {
    size += (2 * static_cast<std::uint64_t>(half_width) + 1) * (y == 0 ? 1 : 2);
  });
  return size;
}

/// Counts pixels in the window around each pixel of a row, cut at the edges of the image.
class WindowCounter {
 public:
  WindowCounter(const unsigned char* src, int width, int stride, int height, int radius, bool square)
      : src_(src),
        width_(width),
        stride_(stride),
        height_(height),
        reach_(std::min(radius, height - 1)),
        half_widths_(std::int64_t{reach_} + 1),
        counts_(width),
        steps_(width) {
    if (!*this) return;
    for_each_half_width(radius, square, reach_, [this](int y, int half_width) { half_widths_[y] = half_width; });
  }

  explicit operator bool() const { return half_widths_ && counts_ && steps_; }

  /// The number of pixels with `is_set(pixel)` around each pixel of row `y`.
  template <class IsSet>
  const std::int32_t* counts_of_row(int y, IsSet is_set) {
    // First the differences from one pixel to the next: a pixel enters the windows that begin to reach it, and leaves.
    // They are collected in bytes, for as many rows as these hold.
    std::int32_t* const counts = counts_.data();
    std::int8_t* const steps = steps_.data();
    std::fill_n(counts, width_, 0);
    std::fill_n(steps, width_, std::int8_t{0});
    int collected = 0;
    const auto add_steps = [=, &collected] {
      for (int x = 0; x < width_; ++x) counts[x] += steps[x];
      std::fill_n(steps, width_, std::int8_t{0});
      collected = 0;
    };
    const int first = y - std::min(reach_, y), last = y + std::min(reach_, height_ - 1 - y);
    for (int row_y = first; row_y <= last; ++row_y) {
      const unsigned char* const row = src_ + row_y * stride_;
      const int half = std::min(half_widths_[std::abs(row_y - y)], width_);
      const int seen_at_once = std::min(half, width_ - 1);
      for (int x = 0; x <= seen_at_once; ++x) counts[0] += is_set(row[x]);
      for (int x = half + 1; x < width_; ++x)
        steps[x - half] = static_cast<std::int8_t>(steps[x - half] + is_set(row[x]));
      for (int x = half + 1; x < width_; ++x) steps[x] = static_cast<std::int8_t>(steps[x] - is_set(row[x - half - 1]));
      if (++collected == INT8_MAX) add_steps();
    }
    add_steps();
    for (int x = 1; x < width_; ++x) counts[x] += counts[x - 1];
    return counts;
  }

 private:
  const unsigned char* src_;
  int width_;
  std::ptrdiff_t stride_;
  int height_, reach_;
  zeb::frame::Scratch<int> half_widths_;
  zeb::frame::Scratch<std::int32_t> counts_;
  zeb::frame::Scratch<std::int8_t> steps_;
};

/// The running count of pixels above a level along one row, for radii up to 63.
class EventCounter {
 public:
  static constexpr int largest_radius = 63;

  EventCounter(int radius, bool square, unsigned char level)
      : radius_(radius), level_(level), packed_level_(zeb::frame::signed_order(zeb::frame::splat(level))) {
    for_each_half_width(radius, square, radius,
                        [this](int y, int half_width) { half_widths_[static_cast<std::size_t>(y)] = half_width; });
  }

  bool is_event(unsigned char pixel) const { return pixel > level_; }

  /// 255 where a pixel is above the level.
  __m128i are_events(__m128i pixels) const { return _mm_cmpgt_epi8(zeb::frame::signed_order(pixels), packed_level_); }

  /// Starts at column 0 of row `y`.
  void start_row(const unsigned char* src, int width, std::ptrdiff_t stride, int height, int y) {
    row_count_ = 0;
    count_ = 0;
    const int first = y - std::min(radius_, y), last = y + std::min(radius_, height - 1 - y);
    for (int row_y = first; row_y <= last; ++row_y) {
      const Row row{src + row_y * stride, half_widths_[static_cast<std::size_t>(std::abs(row_y - y))]};
      rows_[row_count_++] = row;
      for (int x = 0; x <= std::min(row.half_width, width - 1); ++x) count_ += is_event(row.pixels[x]);
    }
  }

  int count() const { return count_; }

  /// Moves on to column `x`, the one after the present column.
  void step_to(int x, int width) {
    for (std::size_t i = 0; i < row_count_; ++i) {
      const Row& row = rows_[i];
      const int added = x + row.half_width, removed = x - row.half_width - 1;
      if (added < width) count_ += is_event(row.pixels[added]);
      if (removed >= 0) count_ -= is_event(row.pixels[removed]);
    }
  }

  /// Moves on by 16 columns, the first of which is `x`, and returns their counts, limited to 127. All windows must lie
  /// inside the row. No sum of 16 bits can overflow: there are at most 127 * 127 pixels in a window.
  __m128i step_16_from(int x) {
    __m128i differences = _mm_setzero_si128();
    for (std::size_t i = 0; i < row_count_; ++i) {
      const unsigned char* const middle = rows_[i].pixels + x;
      const int half = rows_[i].half_width;
      differences = _mm_sub_epi8(differences, are_events(zeb::frame::load(middle + half)));
      differences = _mm_add_epi8(differences, are_events(zeb::frame::load(middle - half - 1)));
    }
    const __m128i low = running_sums(_mm_cvtepi8_epi16(differences), count_);
    const __m128i high = running_sums(_mm_cvtepi8_epi16(_mm_srli_si128(differences, 8)), _mm_extract_epi16(low, 7));
    count_ = _mm_extract_epi16(high, 7);
    return _mm_packs_epi16(low, high);
  }

 private:
  struct Row {
    const unsigned char* pixels;
    int half_width;
  };

  static __m128i running_sums(__m128i words, int start) {
    words = _mm_add_epi16(words, _mm_slli_si128(words, 2));
    words = _mm_add_epi16(words, _mm_slli_si128(words, 4));
    words = _mm_add_epi16(words, _mm_slli_si128(words, 8));
    return _mm_add_epi16(words, _mm_set1_epi16(static_cast<short>(start)));
  }

  int radius_;
  unsigned char level_;
  __m128i packed_level_;
  std::array<int, largest_radius + 1> half_widths_;
  std::array<Row, 2 * largest_radius + 1> rows_;
  std::size_t row_count_ = 0;
  int count_ = 0;
};

/// Bytes of an image of at least one row, all padding included.
std::size_t byte_size(int stride, int height) {
  return static_cast<std::size_t>(std::max(stride, 0)) * static_cast<std::size_t>(height);
}

}  // namespace

namespace zeb {

void vDiscriminator(unsigned char* dst, unsigned char* src, int width, int stride, int height, int radius,
                    float fraction, int square) {
  if (width < 1 || height < 1 || radius < 0) return;
  WindowCounter counter(src, width, stride, height, radius, square != 0);
  if (!counter) return;
  if (1e-8 > static_cast<double>(fraction)) fraction = 1e-8f;
  if (static_cast<double>(fraction) > 0.99999999) fraction = 1.0f;
  const float limit = static_cast<float>(window_size(radius, square != 0)) * fraction;
  for (int y = 0; y < height; ++y) {
    const std::int32_t* const counts = counter.counts_of_row(y, [](unsigned char p) { return p != 0; });
    unsigned char* const out = dst + std::ptrdiff_t{y} * stride;
    for (int x = 0; x < width; ++x) out[x] = static_cast<float>(counts[x]) > limit ? 255 : 0;
  }
}

void vEventRemover(unsigned char* dst, unsigned char* src, int width, int stride, int height, int radius,
                   unsigned char level, int min_count, int square) {
  if (height < 1 || radius < 0) return;
  // Without columns only the padding is left to clear.
  WindowCounter counter(src, std::max(width, 0), stride, height, radius, square != 0);
  if (!counter) return;
  std::fill_n(dst, byte_size(stride, height), static_cast<unsigned char>(0));
  for (int y = 0; y < height; ++y) {
    const std::int32_t* const counts = counter.counts_of_row(y, [level](unsigned char p) { return p > level; });
    const unsigned char* const row = src + std::ptrdiff_t{y} * stride;
    unsigned char* const out = dst + std::ptrdiff_t{y} * stride;
    for (int x = 0; x < width; ++x) out[x] = row[x] > level && counts[x] >= min_count ? 255 : 0;
  }
}

void vMMEventRemover(unsigned char* dst, unsigned char* src, int width, int stride, int height, int radius,
                     unsigned char level, int min_count, int square) {
  if (height < 1 || radius < 0) return;
  if (radius == 0) {
    if (const std::size_t bytes = byte_size(stride, height); bytes != 0) std::memmove(dst, src, bytes);
    return;
  }
  if (radius > EventCounter::largest_radius) {
    vEventRemover(dst, src, width, stride, height, radius, level, min_count, square);
    return;
  }
  std::fill_n(dst, byte_size(stride, height), static_cast<unsigned char>(0));
  if (width < 1) return;
  EventCounter counter(radius, square != 0, level);
  // One below the required count, of which the packed columns keep the low 8 bits, signed.
  const __m128i exceeded = frame::splat(static_cast<unsigned char>(static_cast<unsigned>(min_count) - 1u));
  const int packed_end = (width - radius - 15) & ~15;
  for (int y = 0; y < height; ++y) {
    const unsigned char* const row = src + std::ptrdiff_t{y} * stride;
    unsigned char* const out = dst + std::ptrdiff_t{y} * stride;
    const auto mark = [&](int x) { out[x] = counter.is_event(row[x]) && counter.count() >= min_count ? 255 : 0; };
    counter.start_row(src, width, stride, height, y);
    mark(0);
    int x = 1;
    for (; x <= radius && x < width; ++x) {
      counter.step_to(x, width);
      mark(x);
    }
    for (; x < packed_end; x += 16) {
      const __m128i counts = counter.step_16_from(x);
      frame::store(out + x, _mm_and_si128(_mm_cmpgt_epi8(counts, exceeded), counter.are_events(frame::load(row + x))));
    }
    for (; x < width; ++x) {
      counter.step_to(x, width);
      mark(x);
    }
  }
}

}  // namespace zeb
