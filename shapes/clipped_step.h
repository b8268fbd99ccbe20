#pragma once

#include <cstdint>

#include "shapes/directions.h"

namespace zeb::shapes {

/// Moves by one code of a chain, masked with 7. An axis that would leave the image stays; the other one moves.
inline void clipped_step(char code, int width, int height, int& x, int& y) {
  const int step_x = dx[code & 7], step_y = dy[code & 7];
  if (step_x > 0 ? std::int64_t{x} + 1 < width : x > 0) x += step_x;
  if (step_y > 0 ? std::int64_t{y} + 1 < height : y > 0) y += step_y;
}

}  // namespace zeb::shapes
