#pragma once

#include "morphology/element.h"

namespace zeb::morphology {

/// Erosion or dilation by a count of the decisive pixels under the element, that runs along each row. It serves where
/// its own course shows in the result: images of at most twice the element's reach, where the count takes in pixels
/// from beyond the right border, and elements of 128 rows and more, where the packed changes of the count wrap around.
/// `element.reach()` is the horizontal radius, `offset_y` moves the element as in `vMMRecursiveEllipticMorphOp`.
void running_count(const Images& images, Decisive decisive, const Element& element, int offset_y, int operation);

}  // namespace zeb::morphology
