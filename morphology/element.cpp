#include "morphology/element.h"

#include <cmath>
#include <cstdint>

namespace zeb::morphology {

int disk_half_width(int radius, int i) {
  const auto fits = [square = std::int64_t{radius} * radius - std::int64_t{i} * i](std::int64_t t) {
    return t * t <= square;
  };
  auto t = static_cast<std::int64_t>(std::sqrt(static_cast<double>(radius) * radius - static_cast<double>(i) * i));
  while (!fits(t)) --t;
  while (fits(t + 1)) ++t;
  return static_cast<int>(t);
}

}  // namespace zeb::morphology
