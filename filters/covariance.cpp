#include <cmath>
#include <cstddef>
#include <cstdint>

#include "zeb/filters.h"

namespace {

/// Sums over set pixels, of their offsets from a centre.
struct Moments {
  std::int64_t n = 0, dx = 0, dy = 0, dx_dx = 0, dy_dy = 0, dx_dy = 0;

  void move_centre_right() {
    dx_dx += n - 2 * dx;
    dx_dy -= dy;
    dx -= n;
  }

  /// Adds a column of `2 * radius + 1` pixels in the distance `x` from the centre, or with a `sign` of -1 takes it
  /// away.
  void add_column(const unsigned char* middle, std::ptrdiff_t stride, std::int64_t radius, std::int64_t x, int sign) {
    std::int64_t count = 0, sum = 0, squares = 0;
    for (std::int64_t y = -radius; y <= radius; ++y) {
      const std::int64_t set = middle[y * stride] != 0;
      count += set;
      sum += set * y;
      squares += set * y * y;
    }
    n += sign * count;
    dx += sign * count * x;
    dy += sign * sum;
    dx_dx += sign * count * x * x;
    dy_dy += sign * squares;
    dx_dy += sign * sum * x;
  }

  /// The smaller eigenvalue of the covariance matrix: the variance across the line that fits best.
  float smaller_eigenvalue() const {
    const float count = static_cast<float>(n);
    const float mx = static_cast<float>(dx) / count, my = static_cast<float>(dy) / count;
    const float var_x = static_cast<float>(dx_dx) / count - mx * mx;
    const float var_y = static_cast<float>(dy_dy) / count - my * my;
    const float cov = static_cast<float>(dx_dy) / count - my * mx;
    const float root = std::sqrt((cov * 4.0f) * cov + (var_x - var_y) * (var_x - var_y));
    return (var_y + var_x - root) * 0.5f;
  }
};

}  // namespace

namespace zeb {

void vCovariance(unsigned char* dst, unsigned char* src, int width, int height, int stride, int radius,
                 float threshold) {
  if (width < 1 || height < 1 || radius < 0 || width - radius <= radius) return;
  for (int y = radius; y < height - radius; ++y) {
    const unsigned char* const row = src + std::ptrdiff_t{y} * stride;
    unsigned char* const out = dst + std::ptrdiff_t{y} * stride;
    // Begins as the window around column `radius - 1`, without the column that lies outside the image.
    Moments window;
    for (int x = 0; x < 2 * radius; ++x) window.add_column(row + x, stride, radius, std::int64_t{x} - (radius - 1), 1);
    for (int x = radius; x < width - radius; ++x) {
      if (x > radius) window.add_column(row + x - 1 - radius, stride, radius, -radius, -1);
      window.move_centre_right();
      window.add_column(row + x + radius, stride, radius, radius, 1);
      out[x] = window.n != 0 && threshold > window.smaller_eigenvalue() ? 255 : 0;
    }
  }
}

}  // namespace zeb
