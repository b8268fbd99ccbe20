#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "frame/packed.h"
#include "frame/rounding.h"
#include "frame/scratch.h"
#include "zeb/filters.h"
#include "zeb/statistics.h"

using zeb::frame::Scratch;

namespace {

/// A closed range of grey values; pixels outside count as 0.
class Range {
 public:
  Range(unsigned char low, unsigned char high)
      : low_(low), high_(high), lows_(zeb::frame::splat(low)), highs_(zeb::frame::splat(high)) {}

  unsigned char operator()(unsigned char pixel) const { return low_ <= pixel && pixel <= high_ ? pixel : 0; }
  __m128i operator()(__m128i pixels) const {
    return _mm_and_si128(pixels,
                         _mm_and_si128(zeb::frame::at_least(pixels, lows_), zeb::frame::at_most(pixels, highs_)));
  }

 private:
  unsigned char low_, high_;
  __m128i lows_, highs_;
};

int sampling_step(int step, int length) { return std::max(std::min(std::max(step, 1), length / 50), 1); }

/// Adds every `s`-th row to the histograms of the columns.
void sample_columns(float* histograms, const unsigned char* src, Range range, int width, std::ptrdiff_t stride,
                    int height, int s) {
  for (std::int64_t y = 0; y < height; y += s) {
    const unsigned char* const row = src + y * stride;
    for (std::ptrdiff_t x = 0; x < width; ++x) histograms[x * 256 + range(row[x])] += 1.0f;
  }
}

/// Adds eight of each `8 * s` columns to the histograms of the rows. The last `width & 7` columns count whole, but only
/// where the last stride across the groups does not pass the end of the row.
void sample_rows(float* histograms, const unsigned char* src, Range range, int width, std::ptrdiff_t stride, int height,
                 int s) {
  for (int y = 0; y < height; ++y, histograms += 256) {
    const unsigned char* const row = src + y * stride;
    std::int64_t c = 0;
    for (; c < (width & ~7); c += 8 * std::int64_t{s}) {
      for (int i = 0; i < 8; ++i) histograms[range(row[c + i])] += 1.0f;
    }
    for (; c < width; ++c) histograms[range(row[c])] += 1.0f;
  }
}

/// The gain that takes the robust mean of a line to the mean of all such means, 0 for a line without samples.
void fill_gains(float* gains, const float* histograms, int lines, float lower_fraction, float upper_fraction) {
  float sum = 0.0f;
  int used = 0;
  for (std::ptrdiff_t i = 0; i < lines; ++i) {
    const float* const from_1 = histograms + i * 256 + 1;
    float n = 0.0f;
    for (int bin = 0; bin < 255; ++bin) n += from_1[bin];
    gains[i] = 0.0f;
    if (n > 0.0001f) {
      gains[i] = 1.0f + ::hist_average(from_1, n, 255, lower_fraction, upper_fraction);
      sum += gains[i];
      ++used;
    }
  }
  const float mean = used != 0 ? sum / static_cast<float>(used) : 0.0f;
  for (int i = 0; i < lines; ++i) {
    if (static_cast<double>(gains[i]) > 0.001) gains[i] = mean / gains[i];
  }
}

__m128i rounded_products(__m128i four_pixels, __m128 gains) {
  const __m128 products = _mm_mul_ps(_mm_cvtepi32_ps(_mm_cvtepu8_epi32(four_pixels)), gains);
  return _mm_cvtps_epi32(_mm_min_ps(products, _mm_set1_ps(255.0f)));
}

/// Multiplies each pixel of a row: `gains(x)` for four columns, `gain(x)` for one.
template <class Gains, class Gain>
void multiply_row(unsigned char* dst, const unsigned char* src, Range range, int width, Gains gains, Gain gain) {
  int x = 0;
  for (; x < (width & ~15); x += 16) {
    const __m128i p = range(zeb::frame::load(src + x));
    const __m128i words_0 =
        _mm_packs_epi32(rounded_products(p, gains(x)), rounded_products(_mm_srli_si128(p, 4), gains(x + 4)));
    const __m128i words_8 = _mm_packs_epi32(rounded_products(_mm_srli_si128(p, 8), gains(x + 8)),
                                            rounded_products(_mm_srli_si128(p, 12), gains(x + 12)));
    zeb::frame::store(dst + x, _mm_packus_epi16(words_0, words_8));
  }
  for (; x < width; ++x) {
    const float product = static_cast<float>(range(src[x])) * gain(x);
    dst[x] = static_cast<unsigned char>(zeb::frame::trunc(std::min(product, 255.0f)));
  }
}

}  // namespace

namespace zeb {

void vLineRowFilter(unsigned char* dst, unsigned char* src, unsigned char low, unsigned char high, float lower_fraction,
                    float upper_fraction, int by_rows, int width, int stride, int height, int step) {
  if (width < 1 || height < 1) return;
  const int lines = by_rows != 0 ? height : width;
  const Range range(low, high);
  const Scratch<float> gains(lines);
  {
    const Scratch<float> histograms(std::int64_t{lines} * 256);
    if (!gains || !histograms) return;
    std::fill_n(histograms.data(), std::int64_t{lines} * 256, 0.0f);
    if (by_rows != 0)
      sample_rows(histograms.data(), src, range, width, stride, height, sampling_step(step, width));
    else
      sample_columns(histograms.data(), src, range, width, stride, height, sampling_step(step, height));
    fill_gains(gains.data(), histograms.data(), lines, lower_fraction, upper_fraction);
  }
  for (int y = 0; y < height; ++y) {
    const std::ptrdiff_t row = std::ptrdiff_t{y} * stride;
    if (by_rows != 0) {
      const float gain = gains[y];
      multiply_row(
          dst + row, src + row, range, width, [gains_of_row = _mm_set1_ps(gain)](int) { return gains_of_row; },
          [gain](int) { return gain; });
    } else {
      const float* const gain = gains.data();
      multiply_row(
          dst + row, src + row, range, width, [gain](int x) { return _mm_loadu_ps(gain + x); },
          [gain](int x) { return gain[x]; });
    }
  }
}

void AdaNorm(unsigned char* dst, unsigned char* src, const std::vector<float>& coefficients, float offset_x,
             float offset_y, std::function<float(const std::vector<float>&, float, float)> surface, int width,
             int stride, int height, int first_x, int last_x, int first_y, int last_y, unsigned char target) {
  if (width < 1 || height < 1) return;
  const float step_x = static_cast<float>(detail::wrapping_sub(last_x, first_x)) / static_cast<float>(width);
  const float step_y = static_cast<float>(detail::wrapping_sub(last_y, first_y)) / static_cast<float>(height);
  for (int r = 0; r < height; ++r) {
    const unsigned char* const from = src + std::ptrdiff_t{r} * stride;
    unsigned char* const to = dst + std::ptrdiff_t{r} * stride;
    const float y = static_cast<float>(r) * step_y + static_cast<float>(first_y) - offset_y;
    for (int c = 0; c < width; ++c) {
      const float x = static_cast<float>(c) * step_x + static_cast<float>(first_x) - offset_x;
      const float value = surface(coefficients, x, y);
      float out = static_cast<float>(from[c]) * (static_cast<float>(target) / value);
      if (out > 255.0f)
        out = 255.0f;
      else if (0.0f > out)
        out = 0.0f;
      to[c] = static_cast<unsigned char>(frame::trunc(out));
    }
  }
}

}  // namespace zeb
