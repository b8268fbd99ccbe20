#include <algorithm>
#include <cmath>
#include <cstdint>

#include "frame/packed.h"
#include "frame/rounding.h"
#include "zeb/fitting.h"

using namespace zeb::frame;

namespace {

/// The central differences down the columns of an image, in rows 1 to `height - 2`.
struct VerticalSteps {
  const unsigned char* data;
  std::ptrdiff_t stride;
  int height;
  bool falling;

  int at(int x, int y) const {
    const unsigned char* pixel = data + y * stride + x;
    const int rise = pixel[stride] - pixel[-stride];
    return falling ? -rise : rise;
  }

  /// Eight columns from `x`.
  __m128i words_at(int x, int y) const {
    const unsigned char* pixel = data + y * stride + x;
    const auto words = [](const unsigned char* p) {
      return _mm_cvtepu8_epi16(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(p)));
    };
    const __m128i below = words(pixel + stride), above = words(pixel - stride);
    return falling ? _mm_sub_epi16(above, below) : _mm_sub_epi16(below, above);
  }
};

/// The largest step of a column; `row` is `no_row` where none reached the threshold.
struct Peak {
  static constexpr int no_row = -100;

  float height;
  int row;
};

/// The first step that exceeds the threshold and all others.
Peak first_peak(const VerticalSteps& steps, int x, float threshold) {
  Peak peak{threshold, Peak::no_row};
  for (int y = 1; y <= steps.height - 2; ++y) {
    const float d = static_cast<float>(steps.at(x, y));
    if (d > peak.height) peak = {d, y};
  }
  return peak;
}

/// The last step that reaches the threshold and all others, for each of a strip of columns, a multiple of 8. Row by
/// row, so that the image is read in its order.
class LastPeaks {
 public:
  static constexpr int strip = 256;

  LastPeaks(const VerticalSteps& steps, int x, int columns, float threshold) {
    // Steps are integers, so one that is not below the threshold is not below its ceiling. Above all steps there is
    // nothing to find; below all of them, and for a NaN, the first step takes over.
    const float limited = std::min(256.0f, threshold > -256.0f ? ceilf(threshold) : -256.0f);
    std::fill_n(heights_, columns, static_cast<short>(zeb::frame::trunc(limited)));
    std::fill_n(rows_, columns, Peak::no_row);
    for (int y = 1; y <= steps.height - 2; ++y)
      for (int column = 0; column < columns; column += 8) take(column, steps.words_at(x + column, y), y);
  }

  Peak operator[](int column) const { return {static_cast<float>(heights_[column]), rows_[column]}; }

 private:
  void take(int column, __m128i d, int y) {
    auto* heights = reinterpret_cast<__m128i*>(heights_ + column);
    auto* rows = reinterpret_cast<__m128i*>(rows_ + column);
    const __m128i highest = _mm_load_si128(heights), below = _mm_cmpgt_epi16(highest, d), row = _mm_set1_epi32(y);
    if (_mm_movemask_epi8(below) == 0xFFFF) return;
    _mm_store_si128(heights, _mm_max_epi16(highest, d));
    _mm_store_si128(rows, _mm_blendv_epi8(row, _mm_load_si128(rows), _mm_unpacklo_epi16(below, below)));
    _mm_store_si128(rows + 1, _mm_blendv_epi8(row, _mm_load_si128(rows + 1), _mm_unpackhi_epi16(below, below)));
  }

  alignas(16) short heights_[strip];
  alignas(16) int rows_[strip];
};

/// The centre of gravity of the steps around a peak that are at least half as high.
float refined(const VerticalSteps& steps, int x, Peak peak) {
  const float half = 0.5f * peak.height;
  float weight = 0.0f, moment = 0.0f;
  for (int y = std::max(1, peak.row - 5); y <= std::min(steps.height - 2, peak.row + 5); ++y) {
    const float d = static_cast<float>(steps.at(x, y));
    if (!(d >= half)) continue;
    weight += d;
    moment += d * static_cast<float>(y);
  }
  return moment / std::max(weight, 1.0f) + 0.5f;
}

}  // namespace

namespace zeb {

void GetEdgeFineRes(float* positions, unsigned char* bitmap, int width, int stride, int height, int falling,
                    float threshold) {
  const VerticalSteps steps{bitmap, stride, std::max(height, 0), falling != 0};
  const int whole = width < 1 ? 0 : width & ~15;
  for (int x = 0; x < whole; x += LastPeaks::strip) {
    const int columns = std::min(LastPeaks::strip, whole - x);
    const LastPeaks peaks(steps, x, columns, threshold);
    for (int i = 0; i < columns; ++i) positions[x + i] = refined(steps, x + i, peaks[i]);
  }
  for (int x = whole; x < width; ++x) positions[x] = refined(steps, x, first_peak(steps, x, threshold));
}

float fCalcCG(float* profile, int index, int first, int last, int left_range, int right_range, float fraction) {
  if (index < first || index >= last) return 0.0f;
  const std::int64_t left_end = index - std::min<std::int64_t>(left_range, std::int64_t{index} - first);
  const std::int64_t right_end = index + std::min<std::int64_t>(right_range, std::int64_t{last} - index);
  const float level = fraction * profile[index];
  const auto steep = [](float slope) { return static_cast<double>(slope) > 1e-8; };

  std::int64_t i = std::int64_t{index} - 1;
  while (i > left_end && !(level > profile[i])) --i;
  float slope = profile[i + 1] - profile[i];
  if (profile[i] > level) {
    slope = 0.0f;
    i = std::int64_t{index} - 1;
  }
  float left = static_cast<float>(i);
  if (steep(slope)) left += (level - profile[i]) / slope;

  std::int64_t j = std::int64_t{index} + 1;
  while (j < right_end && !(level > profile[j])) ++j;
  slope = profile[j - 1] - profile[j];
  if (profile[j] > level) {
    slope = 0.0f;
    j = std::int64_t{index} + 1;
  }
  float right = static_cast<float>(j);
  if (steep(slope)) right -= (level - profile[j]) / slope;

  if (j == 0) return 0.0f;
  const auto moment_at = [profile](std::int64_t k) { return static_cast<float>(k) * profile[k]; };
  const std::int64_t a = i + 1, b = j - 1;
  float area = 0.0f, moment = 0.0f;
  for (std::int64_t k = a; k < b; ++k) {
    area += profile[k] + profile[k + 1];
    moment += moment_at(k) + moment_at(k + 1);
  }
  const float la = static_cast<float>(a) - left, rb = right - static_cast<float>(b);
  return ((moment_at(a) + left * level) * la + (moment_at(b) + right * level) * rb + moment) /
         ((profile[a] + level) * la + (profile[b] + level) * rb + area);
}

float fGetBMCG(unsigned char* bitmap, int width, int stride, int height, float* cx, float* cy) {
  float mass = 0.0f, sx = 0.0f, sy = 0.0f;
  for (int y = 0; y < height; ++y) {
    const unsigned char* row = bitmap + std::ptrdiff_t{y} * stride;
    for (int x = 0; x < width;) {
      // Black pixels leave the sums as they are.
      if (x + 16 <= width && !any_set(load(row + x))) {
        x += 16;
        continue;
      }
      for (const int end = std::min(width, x + 16); x < end; ++x) {
        const float p = row[x];
        mass += p;
        sx += static_cast<float>(x) * p;
        sy += static_cast<float>(y) * p;
      }
    }
  }
  const bool any = static_cast<double>(mass) > 0.1;
  *cx = any ? sx / mass : 0.0f;
  *cy = any ? sy / mass : 0.0f;
  return mass;
}

int iCompf(void const* a, void const* b) {
  const float first = *static_cast<const float*>(a), second = *static_cast<const float*>(b);
  return first > second ? 1 : second > first ? -1 : 0;
}

void get_cross_position(unsigned char* bitmap, int stride, int /*ignored*/, int x, int y, int width, int height,
                        float* cx, float* cy) {
  std::uint32_t columns = 0, rows = 0, count = 0;
  for (int j = 0; j < height; ++j) {
    const unsigned char* row = bitmap + (std::ptrdiff_t{y} + j) * stride + x;
    for (int i = 0; i < width; ++i) {
      if (row[i] < 128) continue;
      columns += static_cast<std::uint32_t>(i);
      rows += static_cast<std::uint32_t>(j);
      ++count;
    }
  }
  // The sums wrap around as signed numbers do.
  const auto mean = [count](std::uint32_t total) {
    return static_cast<float>(static_cast<std::int32_t>(total)) / static_cast<float>(static_cast<std::int32_t>(count));
  };
  *cx = mean(columns) + static_cast<float>(x);
  *cy = mean(rows) + static_cast<float>(y);
}

}  // namespace zeb
