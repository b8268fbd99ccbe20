#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstring>

#include "frame/rounding.h"
#include "zeb/fitting.h"

void PolyToBMMask(unsigned char* dst, float* x, float* y, int count, int width, int stride, int height) {
  if (width < 1) return;
  for (int row = 0; row < height; ++row) {
    const float r = static_cast<float>(row);
    int left = width, right = -1;
    for (int i = 0; count > 2 && i < count; ++i) {
      const int j = (i + 1) % count;
      if (fabsf(y[i] - y[j]) < 1.0f || r > fmaxf(y[i], y[j]) || r < fminf(y[i], y[j])) continue;
      const int crossing = zeb::frame::rne(x[i] - (y[i] - r) / (y[j] - y[i]) * (x[j] - x[i]));
      left = std::min(left, crossing);
      right = std::max(right, crossing);
    }
    left = std::max(left, 0);
    right = std::min(right, width - 1);
    unsigned char* pixels = dst + std::ptrdiff_t{row} * stride;
    std::memset(pixels, 0, static_cast<std::size_t>(width));
    if (left <= right) std::memset(pixels + left, 255, static_cast<std::size_t>(right - left) + 1);
  }
}
