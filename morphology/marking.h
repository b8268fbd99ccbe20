#pragma once

#include "morphology/element.h"
#include "zeb/image.h"

namespace zeb::morphology {

/// Writes each pixel of the image, padding left alone: `hit` where a decisive pixel lies within the image under the
/// element centred at (`x - offset.x`, `y - offset.y`), else the complement of `hit`. In other words, the union of the
/// elements around all decisive pixels, moved by `offset`. Allocates nothing; any radius and offset will do.
void mark(const Images& images, Decisive decisive, const Element& element, Point_<int> offset, unsigned char hit);

}  // namespace zeb::morphology
