#include <smmintrin.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "frame/packed.h"
#include "frame/rounding.h"
#include "frame/scratch.h"
#include "zeb/filters.h"

using zeb::frame::Scratch;

namespace {

/// Eight neighbouring pixels are filtered at a time, one in each 16-bit lane.
constexpr int lanes = 8;

struct Window {
  int half_width, half_height;

  int columns() const { return 2 * half_width + 1; }
  int rows() const { return 2 * half_height + 1; }
  std::int64_t size() const { return std::int64_t{columns()} * rows(); }
  bool fits(int width, int height) const { return rows() <= height && columns() <= (width & ~7); }
};

__m128i load_lanes(const std::uint16_t* from) { return _mm_load_si128(reinterpret_cast<const __m128i*>(from)); }
__m128i splat_word(int value) { return _mm_set1_epi16(static_cast<short>(value)); }

/// Converts to an integer, but to `otherwise` where the result would be above `limit`.
int truncated_up_to(int limit, float value, int otherwise) {
  return value >= static_cast<float>(limit + 1) ? otherwise : zeb::frame::trunc(value);
}

/// The part of the weight that counts, between the quantiles `lo` and `hi`, in units of the fixed-point weights.
struct Band {
  int lo, hi;

  Band(int total, float lower, float upper)
      : lo(std::max(truncated_up_to(total, static_cast<float>(total) * lower, 0), 0)),
        hi(std::max(truncated_up_to(total, static_cast<float>(total) * upper, total), 0)) {
    if (hi > lo) return;
    if (lo < total - 1)
      hi = lo + 1;
    else
      lo = hi - 1;
  }

  int span() const { return hi - lo; }
};

/// The weights of a window in fixed point, 32768 for their sum, row by row.
class FixedPointKernel {
 public:
  FixedPointKernel(Window window, const float* kernel) : weights_(window.size()) {
    if (!weights_) return;
    float sum = 0.0f;
    for (std::int64_t i = 0; i < window.size(); ++i) sum += kernel[i];
    unsigned total = 0;
    for (std::int64_t i = 0; i < window.size(); ++i) {
      weights_[i] = static_cast<std::uint16_t>(zeb::frame::trunc((kernel[i] / sum) * 32768.0f));
      total += weights_[i];
    }
    total_ = std::min(static_cast<int>(total & 0xFFFFu), 32767);
  }

  explicit operator bool() const { return static_cast<bool>(weights_); }
  const std::uint16_t* data() const { return weights_.data(); }
  int total() const { return total_; }

 private:
  Scratch<std::uint16_t> weights_;
  int total_ = 0;
};

/// The weighted histograms of eight neighbouring pixels, their bins interleaved.
class LaneHistograms {
 public:
  LaneHistograms() : bins_(256 * lanes) {
    if (bins_) std::fill_n(bins_.data(), 256 * lanes, std::uint16_t{0});
  }

  explicit operator bool() const { return static_cast<bool>(bins_); }

  /// Only bins from `lowest()` to `highest()` are occupied.
  int lowest() const { return lowest_; }
  int highest() const { return highest_; }
  __m128i bin(int grey) const { return load_lanes(bins_.data() + grey * lanes); }

  /// Replaces the contents by the neighbourhoods of the eight pixels from `centre`.
  void collect(const unsigned char* centre, std::ptrdiff_t stride, Window window, const std::uint16_t* weights) {
    if (lowest_ <= highest_)
      std::fill(bins_.data() + lowest_ * lanes, bins_.data() + (highest_ + 1) * lanes, std::uint16_t{0});
    __m128i least = zeb::frame::splat(255), greatest = zeb::frame::splat(0);
    for (int dy = -window.half_height; dy <= window.half_height; ++dy) {
      const unsigned char* p = centre + dy * stride - window.half_width;
      for (int i = 0; i < window.columns(); ++i, ++p, ++weights) {
        const __m128i pixels = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(p));
        least = _mm_min_epu8(least, pixels);
        greatest = _mm_max_epu8(greatest, pixels);
        for (int lane = 0; lane < lanes; ++lane) add(p[lane], lane, *weights);
      }
    }
    lowest_ = smallest_of_low_8(least);
    highest_ = 255 - smallest_of_low_8(_mm_xor_si128(greatest, zeb::frame::splat(255)));
  }

 private:
  void add(int grey, int lane, std::uint16_t weight) {
    std::uint16_t& bin = bins_[grey * lanes + lane];
    bin = static_cast<std::uint16_t>(bin + weight);
  }
  static int smallest_of_low_8(__m128i bytes) {
    return _mm_extract_epi16(_mm_minpos_epu16(zeb::frame::low_words(bytes)), 0);
  }

  Scratch<std::uint16_t> bins_;
  int lowest_ = 0, highest_ = -1;
};

/// The mean grey value within the band, in fixed point that cancels the band's span.
class BandMean {
 public:
  BandMean(Band band, int total) : lo_(splat_word(band.lo)), hi_(splat_word(band.hi)) {
    // The small addend lifts the logarithm of a power of two that came out a hair too small, and that of the three
    // numbers below 2^15 or the one below 2^14 as well.
    const float span = static_cast<float>(band.span());
    const int log2_floor = zeb::frame::trunc((logf(span) + 0.0001f) / logf(2.0f));
    factor_ = splat_word(((1 << log2_floor) * total) / (band.span() * 4));
    right_shift_ = _mm_cvtsi32_si128(std::max(log2_floor - 3, 0));
    left_shift_ = _mm_cvtsi32_si128(std::max(3 - log2_floor, 0));
  }

  __m128i operator()(const LaneHistograms& histograms) const {
    const __m128i zero = _mm_setzero_si128();
    __m128i c = zero, previous = lo_, low_sums = zero, high_sums = zero;
    // An empty bin adds nothing to the sums.
    for (int grey = histograms.lowest(); grey <= histograms.highest(); ++grey) {
      c = _mm_min_epu16(_mm_adds_epu16(c, histograms.bin(grey)), hi_);
      const __m128i delta = _mm_subs_epu16(c, previous);
      previous = _mm_max_epu16(c, lo_);
      const __m128i greys = _mm_set1_epi32(grey);
      low_sums = _mm_add_epi32(low_sums, _mm_madd_epi16(_mm_unpacklo_epi16(delta, zero), greys));
      high_sums = _mm_add_epi32(high_sums, _mm_madd_epi16(_mm_unpackhi_epi16(delta, zero), greys));
    }
    const __m128i scaled = _mm_mulhi_epu16(_mm_packs_epi32(shifted(low_sums), shifted(high_sums)), factor_);
    return _mm_packus_epi16(scaled, scaled);
  }

 private:
  __m128i shifted(__m128i sums) const { return _mm_sll_epi32(_mm_sra_epi32(sums, right_shift_), left_shift_); }

  __m128i lo_, hi_, factor_, right_shift_, left_shift_;
};

/// The distance in grey levels between the two quantiles of the band. A quantile is the last grey level before it is
/// reached, 0 where the first bin reaches it. Sums of 32768 compare as negative.
class BandWidth {
 public:
  explicit BandWidth(Band band) : lo_(splat_word(band.lo)), hi_(splat_word(band.hi)) {}

  __m128i operator()(const LaneHistograms& histograms) const {
    // Runs of empty bins pass or miss the tests like their last bin.
    __m128i c = _mm_setzero_si128();
    __m128i q_lo = before(lo_, c, histograms.lowest() - 1), q_hi = before(hi_, c, histograms.lowest() - 1);
    for (int grey = histograms.lowest(); grey <= histograms.highest(); ++grey) {
      c = _mm_adds_epu16(c, histograms.bin(grey));
      q_lo = _mm_max_epi16(q_lo, before(lo_, c, grey));
      q_hi = _mm_max_epi16(q_hi, before(hi_, c, grey));
    }
    q_lo = _mm_max_epi16(q_lo, before(lo_, c, 255));
    q_hi = _mm_max_epi16(q_hi, before(hi_, c, 255));
    const __m128i width = _mm_sub_epi16(q_hi, q_lo);
    return _mm_packus_epi16(width, width);
  }

 private:
  /// `grey` where the sum `c` has not reached the quantile, else 0.
  static __m128i before(__m128i quantile, __m128i c, int grey) {
    return _mm_and_si128(_mm_cmpgt_epi16(quantile, c), splat_word(std::max(grey, 0)));
  }

  __m128i lo_, hi_;
};

/// Stores the part of eight pixels at `to` that lies before `end`.
void store_before(unsigned char* end, unsigned char* to, __m128i pixels) {
  alignas(16) unsigned char bytes[16];
  zeb::frame::store(bytes, pixels);
  std::memcpy(to, bytes, static_cast<std::size_t>(std::clamp<std::ptrdiff_t>(end - to, 0, lanes)));
}

/// Weighs the window around each pixel into a histogram and reads the pixel from that: `pixels_of(histograms)`. Groups
/// of eight are stored whole even where they reach into the right border, or with half widths from 1 to 3 behind the
/// last multiple of eight and into the next row; only behind the image nothing is written.
template <class PixelsOf>
void filter_groups(unsigned char* dst, const unsigned char* src, int width, std::ptrdiff_t stride, int height,
                   Window window, const FixedPointKernel& kernel, LaneHistograms& histograms, PixelsOf pixels_of) {
  unsigned char* const end = dst + (height - 1) * stride + std::max<std::ptrdiff_t>(width, stride);
  for (int y = window.half_height; y < height - window.half_height; ++y) {
    for (int x = window.half_width; x < (width & ~7) - window.half_width; x += lanes) {
      histograms.collect(src + y * stride + x, stride, window, kernel.data());
      store_before(end, dst + y * stride + x, pixels_of(histograms));
    }
  }
}

/// `weights` are those of the window, row by row; their sum is at least 1.
void weighted_histogram_filter(unsigned char* dst, const unsigned char* src, int width, int stride, int height,
                               const float* weights, Window window, float lower, float upper, int mode) {
  if (!window.fits(width, height)) return;
  const FixedPointKernel kernel(window, weights);
  LaneHistograms histograms;
  if (!kernel || !histograms) return;
  const Band band(kernel.total(), lower, upper);
  if (mode == 0)
    filter_groups(dst, src, width, stride, height, window, kernel, histograms, BandMean(band, kernel.total()));
  else
    filter_groups(dst, src, width, stride, height, window, kernel, histograms, BandWidth(band));
}

/// Fills `weights` with `exp(-(x^2 + y^2) * falloff)` for each offset (x, y) of the window, row by row.
void gauss_weights(float* weights, Window window, float falloff) {
  for (int y = -window.half_height; y <= window.half_height; ++y) {
    for (int x = -window.half_width; x <= window.half_width; ++x)
      *weights++ = expf(-static_cast<float>(std::int64_t{x} * x + std::int64_t{y} * y) * falloff);
  }
}

}  // namespace

namespace zeb {

void vGaussFilter(unsigned char* dst, unsigned char* src, int width, int stride, int height, float fraction1,
                  float fraction2, int size_x, int size_y, float falloff, int mode) {
  const Window window{std::max(size_x / 2, 0), std::max(size_y / 2, 0)};
  if (!window.fits(width, height)) return;
  const Scratch<float> weights(window.size());
  if (!weights) return;
  gauss_weights(weights.data(), window, std::fabs(falloff));
  weighted_histogram_filter(dst, src, width, stride, height, weights.data(), window,
                            std::max(std::min(fraction1, fraction2), 0.0f),
                            std::min(std::max(fraction1, fraction2), 1.0f), mode);
}

void vGreyFilter(unsigned char* dst, unsigned char* src, int width, int stride, int height) {
  constexpr Window window{4, 4};
  float weights[9 * 9];
  gauss_weights(weights, window, 0.2f);
  weighted_histogram_filter(dst, src, width, stride, height, weights, window, 0.4f, 0.6f, 0);
}

}  // namespace zeb
