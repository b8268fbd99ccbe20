#pragma once

#include "zeb/image.h"

namespace zeb::warping {

/// What the typed warps demand of their images; widths may differ.
inline void require_layout(const Mat<unsigned char>& dst, const Mat<unsigned char>& src) {
  detail::require(dst.data != src.data && dst.height == src.height && dst.stride == src.stride);
}

}  // namespace zeb::warping
