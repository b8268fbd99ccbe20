#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "frame/rounding.h"
#include "frame/scratch.h"
#include "zeb/filters.h"
#include "zeb/statistics.h"

using zeb::frame::Scratch;

namespace {

/// Replaces grey values. Many pixels are worth a table of all pairs of neighbours, which takes half the loads.
class GreyMap {
 public:
  GreyMap(const unsigned char (&values)[256], std::int64_t pixels)
      : has_pairs_(pixels >= 1 << 17), entries_(has_pairs_ ? 1 << 16 : 1 << 8) {
    if (!entries_) return;
    for (int second = 0; second < (has_pairs_ ? 256 : 1); ++second) {
      for (int first = 0; first < 256; ++first)
        entries_[256 * second + first] = static_cast<std::uint16_t>(values[first] | values[second] << 8);
    }
  }

  explicit operator bool() const { return static_cast<bool>(entries_); }

  void map_row(unsigned char* dst, const unsigned char* src, int width) const {
    const std::uint16_t* const entries = entries_.data();
    int x = 0;
    for (; has_pairs_ && x + 16 <= width; x += 16) {
      std::uint16_t pairs[8];
      std::memcpy(pairs, src + x, sizeof(pairs));
      for (std::uint16_t& pair : pairs) pair = entries[pair];
      std::memcpy(dst + x, pairs, sizeof(pairs));
    }
    // The first 256 entries have the value of one pixel in their lower byte.
    for (; x < width; ++x) dst[x] = static_cast<unsigned char>(entries[src[x]]);
  }

 private:
  bool has_pairs_;
  Scratch<std::uint16_t> entries_;
};

/// The share of the smoothed histogram below each grey level, of 255. Bins outside are mirrored, at the first two and
/// the last two levels each in its own way.
void find_values(unsigned char (&values)[256], const float* hist, float pixels) {
  float running = 0.0f;
  for (int g = 0; g < 256; ++g) {
    values[g] = static_cast<unsigned char>(std::clamp(zeb::frame::trunc(running * 255.0f / pixels), 0, 255));
    const int a = g < 2 ? g + 2 : g - 2;
    const int b = g == 0 ? g + 1 : g - 1;
    const int c = g >= 255 ? g - 1 : g + 1;
    const int d = g >= 254 ? g - 2 : g + 2;
    running += (0.25f * hist[a] + 0.5f * hist[b] + 1.0f * hist[g] + 0.5f * hist[c] + 0.25f * hist[d]) / 2.5f;
  }
}

}  // namespace

namespace zeb {

void vHistEqual(unsigned char* dst, unsigned char* src, int width, int stride, int height) {
  if (width < 1 || height < 1) return;
  const std::int64_t pixels = std::int64_t{width} * height;
  const Scratch<float> hist(256);
  if (!hist) return;
  ::bitmap_histogram(hist.data(), src, width, stride, height);
  unsigned char values[256];
  find_values(values, hist.data(), static_cast<float>(pixels));
  const GreyMap map(values, pixels);
  if (!map) return;
  for (int y = 0; y < height; ++y) {
    const std::ptrdiff_t row = std::ptrdiff_t{y} * stride;
    map.map_row(dst + row, src + row, width);
  }
}

}  // namespace zeb
