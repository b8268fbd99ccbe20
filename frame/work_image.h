#pragma once

#include <cstdint>
#include <limits>

#include "zeb/mem.h"

namespace zeb::frame {

/// Throws where a `MatBuffer` of this stride and height could not count its elements, in 32 bits that wrap around:
/// there is no memory for such an image.
inline void require_countable(std::int64_t stride, std::int64_t height) {
  constexpr std::int64_t most_padding = 63;
  if (height > 0 && (stride + most_padding) * height > std::numeric_limits<std::int32_t>::max())
    throw mem::bad_allocation();
}

}  // namespace zeb::frame
