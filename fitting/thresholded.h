#pragma once

#include <cstdint>
#include <limits>

#include "zeb/image.h"
#include "zeb/point_ops.h"

namespace zeb::fitting {

/// An image cut at a band of grey values, in work memory of its own; all 0 for a mode that is no `ThresholdMode`.
class Thresholded {
 public:
  Thresholded(const Mat<unsigned char>& src, unsigned char lower, unsigned char upper, ThresholdMode mode)
      : buffer_(src.width, src.stride, countable(src)),
        // The buffer's own stride may be wider, but the kernels take one stride for both images.
        view_(buffer_.data, src.width, src.stride, src.height) {
    detail::require(src.width <= src.stride);
    if (mode != ThresholdMode::Standard && mode != ThresholdMode::InverseBinary) clear(view_);
    thresholding(view_, src, lower, upper, mode);
  }

  const Mat<unsigned char>& view() const { return view_; }

 private:
  /// The rows of an image whose elements a buffer can count; there is no memory for a larger one.
  static int countable(const Mat<unsigned char>& src) {
    const std::int64_t pitch = std::int64_t{src.stride} + 63;
    if (src.height > 0 && pitch * src.height > std::numeric_limits<std::int32_t>::max()) throw mem::bad_allocation();
    return src.height;
  }

  MatBuffer<unsigned char> buffer_;
  Mat<unsigned char> view_;
};

}  // namespace zeb::fitting
