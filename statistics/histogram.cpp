#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <limits>

#include "statistics/counters.h"
#include "zeb/statistics.h"

using namespace zeb::statistics;

namespace {

constexpr int bins = 256;
constexpr float largest_count = 16777216.0f;  // 2^24, where adding 1 in single precision changes nothing any more

/// By `Counters` or `PairCounters`.
template <class Tally>
Counts count(const unsigned char* src, int width, int stride, int height) {
  Tally counters;
  for (int y = 0; y < height; ++y) counters.add_row(src + std::ptrdiff_t{y} * stride, width);
  return counters.totals();
}

}  // namespace

void bitmap_histogram(float* hist, const unsigned char* src, int width, int stride, int height) {
  if (hist == nullptr) return;
  std::fill_n(hist, bins, 0.0f);
  if (width < 1) return;
  // Images are counted in bands of no more pixels than a 32-bit counter holds.
  const auto band = static_cast<int>(std::min<std::uint32_t>(
      std::numeric_limits<std::uint32_t>::max() / static_cast<std::uint32_t>(width), std::numeric_limits<int>::max()));
  for (int y = 0; y < height;) {
    const int rows = std::min(band, height - y);
    const unsigned char* const top = src + std::ptrdiff_t{y} * stride;
    const bool large = width >= 256 && std::int64_t{width} * rows >= 1 << 16;
    const Counts counts =
        large ? count<PairCounters>(top, width, stride, rows) : count<Counters>(top, width, stride, rows);
    for (std::size_t i = 0; i < bins; ++i)
      hist[i] = std::min(hist[i] + std::min(static_cast<float>(counts[i]), largest_count), largest_count);
    y += rows;
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
