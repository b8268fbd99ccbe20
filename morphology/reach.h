#pragma once

#include "morphology/element.h"

namespace zeb::morphology {

/// Whether `mark_by_reach` can take the element, and is quicker with it.
bool pays_by_reach(const Element& element);

/// `mark` without an offset, at a cost that hardly depends on the element. Allocates nothing.
void mark_by_reach(const Images& images, Decisive decisive, const Element& element, unsigned char hit);

}  // namespace zeb::morphology
