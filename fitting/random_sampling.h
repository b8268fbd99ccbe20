#pragma once

#include <cmath>
#include <cstdint>

#include "frame/rounding.h"
#include "zeb/statistics.h"

/// What the random line and circle searches share.
namespace zeb::fitting {

/// Room for sampled points, candidate lines and candidate circles.
inline constexpr int sample_capacity = 2000;

/// `width * factor * height` in double precision, truncated: the unit of the squared distances between samples.
inline int fraction_of_area(int width, double factor, int height) {
  return zeb::frame::trunc(static_cast<double>(width) * factor * static_cast<double>(height));
}

/// The number of pixels that are not 0; rounded where it exceeds the digits of a float.
inline int count_active(const unsigned char* bitmap, int width, int height, int stride) {
  return zeb::frame::trunc(fMMPatternL1Norm(bitmap, width, height, stride) * static_cast<float>(width) *
                           static_cast<float>(height));
}

/// The integer part of the image's mean side length.
inline std::uint32_t mean_side(int width, int height) {
  const auto area = static_cast<std::int32_t>(static_cast<std::uint32_t>(width) * static_cast<std::uint32_t>(height));
  return static_cast<std::uint32_t>(zeb::frame::trunc(sqrtf(static_cast<float>(area))));
}

}  // namespace zeb::fitting
