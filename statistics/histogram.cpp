#include <algorithm>
#include <cstdint>
#include <limits>

#include "zeb/statistics.h"

namespace {

constexpr int bins = 256;
constexpr float largest_count = 16777216.0f;  // 2^24, where adding 1 in single precision changes nothing any more

/// Counts in several tables, so that equal neighbours do not wait for one another. What bounds the speed is one store a
/// pixel; counting pairs of pixels would halve that, but their table exceeds the first-level cache.
class Counters {
 public:
  void add_row(const unsigned char* row, int width) {
    int x = 0;
    for (; x <= width - tables; x += tables) {
      for (int k = 0; k < tables; ++k) ++counts_[k][row[x + k]];
    }
    for (; x < width; ++x) ++counts_[0][row[x]];
  }

  std::uint32_t operator[](int bin) const {
    std::uint32_t sum = 0;
    for (const auto& table : counts_) sum += table[bin];
    return sum;
  }

 private:
  static constexpr int tables = 8;
  // The pitch keeps the same bin of two tables from lying a multiple of 4096 bytes apart, which would stall the loads.
  static constexpr int pitch = bins + 16;

  std::uint32_t counts_[tables][pitch] = {};
};

}  // namespace

void bitmap_histogram(float* hist, const unsigned char* src, int width, int stride, int height) {
  if (hist == nullptr) return;
  std::fill_n(hist, bins, 0.0f);
  if (width < 1) return;
  // A band is what 32-bit counters hold for sure.
  const auto band = static_cast<int>(std::min<std::uint32_t>(
      std::numeric_limits<std::uint32_t>::max() / static_cast<std::uint32_t>(width), std::numeric_limits<int>::max()));
  for (int y = 0; y < height;) {
    const int rows = std::min(band, height - y);
    Counters counters;
    for (const int end = y + rows; y < end; ++y) counters.add_row(src + std::ptrdiff_t{y} * stride, width);
    for (int i = 0; i < bins; ++i)
      hist[i] = std::min(hist[i] + std::min(static_cast<float>(counters[i]), largest_count), largest_count);
  }
}

namespace zeb {

std::vector<float> histogram(const Bitmap_<unsigned char>& src) {
  std::vector<float> hist(bins);
  bitmap_histogram(hist.data(), src.data, src.width, src.stride, src.height);
  return hist;
}

std::vector<float> line_histogram(const Bitmap_<unsigned char>& src) {
  std::vector<float> means;
  means.reserve(static_cast<std::size_t>(std::max(src.height, 0)));
  // So many pixels add up to 2^24 at most, until where a single-precision sum is exact in any order.
  constexpr int exact = (1 << 24) / 255;
  for (int y = 0; y < src.height; ++y) {
    const unsigned char* row = src.row(y);
    detail::require(src.width > 0);
    int x = std::min(src.width, exact);
    auto sum = static_cast<float>(uiBMMass(row, x, 0, 1));
    for (; x < src.width; ++x) sum += static_cast<float>(row[x]);
    means.push_back(sum / static_cast<float>(src.width));
  }
  return means;
}

}  // namespace zeb
