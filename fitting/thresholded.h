#pragma once

#include "frame/work_image.h"
#include "zeb/image.h"
#include "zeb/point_ops.h"

namespace zeb::fitting {

/// An image cut at a band of grey values, in work memory of its own; all 0 for a mode that is no `ThresholdMode`.
class Thresholded {
 public:
  Thresholded(const Mat<unsigned char>& src, unsigned char lower, unsigned char upper, ThresholdMode mode)
      : buffer_(buffer_for(src)),
        // The buffer's own stride may be wider, but the kernels take one stride for both images.
        view_(buffer_.data, src.width, src.stride, src.height) {
    detail::require(src.width <= src.stride);
    if (mode != ThresholdMode::Standard && mode != ThresholdMode::InverseBinary) clear(view_);
    thresholding(view_, src, lower, upper, mode);
  }

  const Mat<unsigned char>& view() const { return view_; }

 private:
  static MatBuffer<unsigned char> buffer_for(const Mat<unsigned char>& src) {
    frame::require_countable(src.stride, src.height);
    return {src.width, src.stride, src.height};
  }

  MatBuffer<unsigned char> buffer_;
  Mat<unsigned char> view_;
};

}  // namespace zeb::fitting
