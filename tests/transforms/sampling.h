#pragma once

#include <cmath>

#include "tests/support/picture.h"
#include "tests/support/random_geometry.h"

namespace zeb::testing {

struct Position {
  float x, y;
};

/// Whole parts that count as inside, the upper ends excluded.
struct Bounds {
  int x_min, x_max, y_min, y_max;
};

/// The weighted sum of four pixels, plainly.
inline float bilinear(const Picture& src, Position at, const Bounds& b, float background) {
  const float left = std::floor(at.x), top = std::floor(at.y);
  if (!(left >= static_cast<float>(b.x_min) && left < static_cast<float>(b.x_max) &&
        top >= static_cast<float>(b.y_min) && top < static_cast<float>(b.y_max)))
    return background;
  const int ix = static_cast<int>(left), iy = static_cast<int>(top);
  const float fx = at.x - left, fy = at.y - top;
  float sum = src(ix + 1, iy) * (fx * (1 - fy));
  sum += src(ix, iy) * ((1 - fx) * (1 - fy));
  sum += src(ix, iy + 1) * ((1 - fx) * fy);
  return sum + src(ix + 1, iy + 1) * (fx * fy);
}

}  // namespace zeb::testing
