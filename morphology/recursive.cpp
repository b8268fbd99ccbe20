#include <cmath>
#include <cstring>

#include "frame/rounding.h"
#include "morphology/marking.h"
#include "morphology/running_count.h"
#include "zeb/morphology.h"

using namespace zeb::morphology;

namespace {

/// The largest radius that the running count is made for; larger elements are marked as the set they are.
constexpr int largest_counted_radius = 63;

Element circular(int radius, bool rectangular) {
  if (rectangular) return Element::rectangle(radius, radius);
  if (radius > largest_counted_radius)
    return Element(radius, radius, [radius](int i) { return disk_half_width(radius, i); });
  return Element(radius, radius, [r = static_cast<float>(radius)](int i) {
    const float distance = static_cast<float>(i);
    return zeb::frame::trunc(std::sqrt(r * r - distance * distance + 0.0001f));
  });
}

}  // namespace

void vMMRecursiveMorphOp(unsigned char* dst, const unsigned char* src, int width, int stride, int height, int radius,
                         int operation, unsigned char threshold, int rectangular) {
  const Images images{dst, src, width, stride, height};
  if (radius == 0) {
    if (images.bytes() != 0) std::memmove(dst, src, images.bytes());
    return;
  }
  if (radius < 0 || images.bytes() == 0) return;
  const Element element = circular(radius, rectangular != 0);
  const Decisive decisive = Decisive::up_to_threshold(operation, threshold);
  if (radius <= largest_counted_radius && width <= 2 * radius) {
    running_count(images, decisive, element, 0, operation);
  } else {
    images.fill_padding(0);
    mark(images, decisive, element, {}, hit_value(operation));
  }
}
