#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>

#include "frame/rounding.h"
#include "morphology/marking.h"
#include "morphology/running_count.h"
#include "zeb/morphology.h"

using namespace zeb::morphology;

namespace {

/// The element of the counting form.
Element counted(int radius_x, int radius_y, bool rectangular) {
  if (rectangular) return Element::rectangle(radius_x, radius_y);
  return Element(radius_y, radius_x, [radius_x, radius_y](int i) {
    if (radius_y == 0) return 0;
    const float q = static_cast<float>(i) / static_cast<float>(radius_y);
    return zeb::frame::trunc(std::sqrt(1.0f - q * q + 0.0001f) * static_cast<float>(radius_x));
  });
}

/// The largest `dx` of the stamped ellipse in the rows at distance `dy`.
int stamped_half_width(int radius_x, int radius_y, int dy) {
  if (radius_x == 0 || radius_y == 0) return 0;
  const float v = static_cast<float>(dy) / static_cast<float>(radius_y);
  const auto inside = [=](int dx) {
    const float u = static_cast<float>(dx) / static_cast<float>(radius_x);
    return u * u + v * v <= 1.0001f;
  };
  int low = 0, high = radius_x;
  while (low < high) {
    const int middle = high - (high - low) / 2;
    if (inside(middle))
      low = middle;
    else
      high = middle - 1;
  }
  return low;
}

/// The element of the scattering form, whose half-widths are 16-bit numbers.
Element stamped(int radius_x, int radius_y, bool rectangular) {
  const int reach = std::min<int>(radius_x, UINT16_MAX);
  if (rectangular) return Element::rectangle(radius_x & UINT16_MAX, radius_y);
  return Element(radius_y, reach,
                 [radius_x, radius_y](int dy) { return stamped_half_width(radius_x, radius_y, dy) & UINT16_MAX; });
}

}  // namespace

void vMMRecursiveEllipticMorphOp(unsigned char* dst, const unsigned char* src, int width, int stride, int height,
                                 int radius_x, int radius_y, int offset_x, int offset_y, int operation,
                                 unsigned char threshold, int rectangular) {
  const Images images{dst, src, width, stride, height};
  if (radius_x < 1 && radius_y < 1) {
    if (images.bytes() != 0) std::memmove(dst, src, images.bytes());
    return;
  }
  if (radius_x < 0 || radius_y < 0 || images.bytes() == 0) return;
  if (radius_x >= 64) {
    vMorphOpThinEllipse(dst, src, width, stride, height, radius_x, radius_y, offset_x, offset_y, operation, threshold,
                        rectangular);
    return;
  }
  const Element element = counted(radius_x, radius_y, rectangular != 0);
  const Decisive decisive = Decisive::up_to_threshold(operation, threshold);
  const bool changes_may_wrap = radius_y > 63 && height > 127;
  if (width <= 2 * radius_x || changes_may_wrap) {
    running_count(images, decisive, element, offset_y, operation);
  } else {
    images.fill_padding(0);
    mark(images, decisive, element, {0, offset_y}, hit_value(operation));
  }
}

void vMorphOpThinEllipse(unsigned char* dst, const unsigned char* src, int width, int stride, int height, int radius_x,
                         int radius_y, int offset_x, int offset_y, int operation, unsigned char threshold,
                         int rectangular) {
  // Below 63 here, below 64 in the other direction.
  if (radius_x == radius_y && radius_x < 63 && offset_x == 0 && offset_y == 0) {
    vMMRecursiveMorphOp(dst, src, width, stride, height, radius_x, operation, threshold, rectangular);
    return;
  }
  const Images images{dst, src, width, stride, height};
  if (radius_x < 0 || radius_y < 0) return;
  const unsigned char hit = hit_value(operation);
  images.fill_padding(static_cast<unsigned char>(~hit));
  mark(images, Decisive::below_threshold(operation, threshold), stamped(radius_x, radius_y, rectangular != 0),
       {offset_x, offset_y}, hit);
}
