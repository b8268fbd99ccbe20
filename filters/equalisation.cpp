#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "frame/rounding.h"
#include "frame/scratch.h"
#include "zeb/filters.h"
#include "zeb/statistics.h"

using zeb::frame::Scratch;

namespace {

/// The share of the smoothed histogram below each grey level, of 255. Bins outside are mirrored, at the first two and
/// the last two levels each in its own way.
void fill_table(unsigned char* table, const float* hist, float pixels) {
  float running = 0.0f;
  for (int g = 0; g < 256; ++g) {
    table[g] = static_cast<unsigned char>(std::clamp(zeb::frame::trunc(running * 255.0f / pixels), 0, 255));
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
  const Scratch<unsigned char> table(256);
  if (!hist || !table) return;
  ::bitmap_histogram(hist.data(), src, width, stride, height);
  fill_table(table.data(), hist.data(), static_cast<float>(std::int64_t{width} * height));
  for (int y = 0; y < height; ++y) {
    const unsigned char* const from = src + std::ptrdiff_t{y} * stride;
    unsigned char* const to = dst + std::ptrdiff_t{y} * stride;
    for (int x = 0; x < width; ++x) to[x] = table[from[x]];
  }
}

}  // namespace zeb
