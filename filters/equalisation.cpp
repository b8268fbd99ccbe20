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

/// Replaces grey values, four pixels at a time: the entry of `p` in table `k` has the new value in byte `k`.
class GreyMap {
 public:
  GreyMap() : entries_(4 * 256) {}

  explicit operator bool() const { return static_cast<bool>(entries_); }

  void set(int p, unsigned char value) {
    for (int k = 0; k < 4; ++k) entries_[256 * k + p] = std::uint32_t{value} << (8 * k);
  }

  void map_row(unsigned char* dst, const unsigned char* src, int width) const {
    const std::uint32_t* const entries = entries_.data();
    int x = 0;
    for (; x + 4 <= width; x += 4) {
      std::uint32_t p;
      std::memcpy(&p, src + x, 4);
      const std::uint32_t mapped =
          entries[p & 255] | entries[256 + (p >> 8 & 255)] | entries[512 + (p >> 16 & 255)] | entries[768 + (p >> 24)];
      std::memcpy(dst + x, &mapped, 4);
    }
    for (; x < width; ++x) dst[x] = static_cast<unsigned char>(entries[src[x]]);
  }

 private:
  Scratch<std::uint32_t> entries_;
};

/// The share of the smoothed histogram below each grey level, of 255. Bins outside are mirrored, at the first two and
/// the last two levels each in its own way.
void fill_map(GreyMap& map, const float* hist, float pixels) {
  float running = 0.0f;
  for (int g = 0; g < 256; ++g) {
    map.set(g, static_cast<unsigned char>(std::clamp(zeb::frame::trunc(running * 255.0f / pixels), 0, 255)));
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
  const Scratch<float> hist(256);
  GreyMap map;
  if (!hist || !map) return;
  ::bitmap_histogram(hist.data(), src, width, stride, height);
  fill_map(map, hist.data(), static_cast<float>(std::int64_t{width} * height));
  for (int y = 0; y < height; ++y) {
    const std::ptrdiff_t row = std::ptrdiff_t{y} * stride;
    map.map_row(dst + row, src + row, width);
  }
}

}  // namespace zeb
