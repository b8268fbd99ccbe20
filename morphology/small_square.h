#pragma once

#include "morphology/element.h"

namespace zeb::morphology {

/// Whether `mark_small_square` can take the call, and is quicker with it.
bool pays_as_small_square(const Images& images, Decisive decisive, const Element& element, unsigned char hit);

/// `mark` without an offset, for squares of 3x3 and 5x5 pixels. Allocates nothing.
void mark_small_square(const Images& images, Decisive decisive, const Element& element);

}  // namespace zeb::morphology
