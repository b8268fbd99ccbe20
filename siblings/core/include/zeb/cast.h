#pragma once

#include "zeb/core_export.h"

namespace zeb {

template <class T>
class Mat;

/// Converts a float image to 8 bits, element by element: rounded to the nearest integer, ties to even, saturated to
/// 0..255; NaN gives 0. Each image is addressed with its own stride; the area is what both have in common, the rest of
/// `dst` and all padding stay as they are.
ZEB_CORE_API void cast(Mat<unsigned char>& dst, const Mat<float>& src);

}  // namespace zeb
