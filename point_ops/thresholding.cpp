#include <cstddef>

#include "frame/packed.h"
#include "zeb/point_ops.h"

using namespace zeb::frame;

void vThresholding(unsigned char* dst, const unsigned char* const src, int width, int stride, int height,
                   unsigned char lower, unsigned char upper) {
  const __m128i lowers = signed_order(splat(lower)), uppers = signed_order(splat(upper)), below = splat(254);
  for_each_block(
      width, stride, height,
      [=](std::ptrdiff_t i) {
        const __m128i p = signed_order(load(src + i));
        // 254 | 255 is 255, so the upper side wins where both tests hold.
        store(dst + i, _mm_or_si128(_mm_cmpgt_epi8(p, uppers), _mm_and_si128(_mm_cmpgt_epi8(lowers, p), below)));
      },
      [=](std::ptrdiff_t i) { dst[i] = src[i] > upper   ? 255
                                       : src[i] < lower ? 254
                                                        : 0; });
}

void vThresholdingInverseBinary(unsigned char* dst, const unsigned char* const src, int width, int stride, int height,
                                unsigned char lower, unsigned char upper) {
  const __m128i lowers = splat(lower), uppers = splat(upper);
  for_each_block(
      width, stride, height,
      [=](std::ptrdiff_t i) {
        const __m128i p = load(src + i);
        store(dst + i, _mm_and_si128(at_least(p, lowers), at_most(p, uppers)));
      },
      [=](std::ptrdiff_t i) { dst[i] = lower <= src[i] && src[i] <= upper ? 255 : 0; });
}

namespace zeb {

void thresholding(Mat<unsigned char>& dst, const Mat<unsigned char>& src, unsigned char lower, unsigned char upper,
                  ThresholdMode mode) {
  switch (mode) {
    case ThresholdMode::Standard:
      vThresholding(dst.data, src.data, src.width, src.stride, src.height, lower, upper);
      break;
    case ThresholdMode::InverseBinary:
      vThresholdingInverseBinary(dst.data, src.data, src.width, src.stride, src.height, lower, upper);
      break;
  }
}

}  // namespace zeb
