#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdlib>

#include "frame/rounding.h"
#include "zeb/fitting.h"

namespace {

constexpr int sign_x[4] = {1, 1, -1, -1};
constexpr int sign_y[4] = {1, -1, -1, 1};

int drawn_quadrant() { return rand() & 3; }

}  // namespace

namespace zeb {

bool find_point(unsigned char* bitmap, unsigned char* /*ignored*/, int width, int height, int stride, int x, int y,
                unsigned char low, unsigned char high, float min_radius, float max_radius, int* found_x, int* found_y,
                int* found_side, int* side_mask) {
  if (found_side != nullptr) *found_side = 0;
  if (max_radius == 0.0f) {
    const auto square = [](int v) {
      return static_cast<std::int32_t>(static_cast<std::uint32_t>(v) * static_cast<std::uint32_t>(v));
    };
    max_radius = sqrtf(static_cast<float>(square(width)) + static_cast<float>(square(height)));
  }
  if (x < 0 || x > width || y < 0 || y > height || min_radius > max_radius) return false;
  const int rings = zeb::frame::trunc(roundf(max_radius));

  const auto found_at = [&](std::int64_t px, std::int64_t py, int quadrant) {
    if (px < 0 || px >= width || py < 0 || py >= height) return false;
    const unsigned char value = bitmap[py * stride + px];
    if (value < low || high < value) return false;
    *found_x = static_cast<int>(px);
    *found_y = static_cast<int>(py);
    if (found_side != nullptr) *found_side = quadrant;
    return true;
  };
  const auto allowed = [side_mask](int side) { return side_mask == nullptr || side_mask[side] != 0; };

  for (std::int64_t r = 0; r < rings; ++r) {
    const bool far_enough = min_radius * min_radius <= static_cast<float>(r * r);
    // The ring is walked from each axis outwards, but only the point on the axis itself is within the radius; for the
    // others the generator runs on all the same.
    int s = drawn_quadrant();
    for (int t = 0; t < 4; ++t) {
      const int k = (t - s) & 3;
      if (far_enough && allowed(k) && found_at(x, y + sign_y[k] * r, k)) return true;
    }
    for (std::int64_t i = 1; i <= r; ++i) drawn_quadrant();
    s = drawn_quadrant();
    for (int t = 0; t < 4; ++t) {
      const int k = (t - s) & 3;
      // The mask goes by the place in the order here, not by the quadrant.
      if (far_enough && allowed(t) && found_at(x + sign_x[k] * r, y, k)) return true;
    }
    for (std::int64_t i = 1; i <= r; ++i) drawn_quadrant();
  }
  return false;
}

bool find_point_on_line(unsigned char* bitmap, unsigned char* guide, unsigned char* trace, int width, int height,
                        int stride, int x, int y, float max_distance, unsigned char low, unsigned char high, int dx,
                        int dy, int* found_x, int* found_y) {
  if (x < 0 || x >= width || y < 0 || y >= height || (dx == 0 && dy == 0) || max_distance <= 0.0f) return false;
  const float longer = static_cast<float>(std::max(std::abs(std::int64_t{dx}), std::abs(std::int64_t{dy})));
  const float step_x = static_cast<float>(dx) / longer, step_y = static_cast<float>(dy) / longer;
  float px = static_cast<float>(x), py = static_cast<float>(y);
  int cx = x, cy = y;
  while (1 <= cx && cx <= width && 1 <= cy && cy <= height) {
    px += step_x;
    py += step_y;
    cx = zeb::frame::trunc(roundf(px));
    cy = zeb::frame::trunc(roundf(py));
    // One column or row beyond the image is looked at, as callers provide for it; a second one is not.
    if (cx < 0 || cx > width || cy < 0 || cy > height) return false;
    const std::ptrdiff_t position = std::ptrdiff_t{cy} * stride + cx;
    if (trace != nullptr) trace[position] = static_cast<unsigned char>((low + high) >> 1);
    if (guide != nullptr && guide[position] == 0) return false;
    const float d = euclidean_distance(static_cast<float>(cx), static_cast<float>(cy), static_cast<float>(x),
                                       static_cast<float>(y));
    if (low <= bitmap[position] && bitmap[position] <= high) {
      *found_x = cx;
      *found_y = cy;
      return true;
    }
    if (!(max_distance > d)) return false;
  }
  return false;
}

}  // namespace zeb
