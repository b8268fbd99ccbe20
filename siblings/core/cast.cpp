#include "zeb/cast.h"

#include <smmintrin.h>

#include <algorithm>
#include <cstddef>

#include "zeb/image.h"

namespace zeb {

void cast(Mat<unsigned char>& dst, const Mat<float>& src) {
  const int width = std::min(dst.width, src.width);
  const int height = std::min(dst.height, src.height);
  for (int y = 0; y < height; ++y) {
    const float* from = src.data + std::ptrdiff_t{y} * src.stride;
    unsigned char* to = dst.data + std::ptrdiff_t{y} * dst.stride;
    for (int x = 0; x < width; ++x) {
      // The packed maximum returns its second operand for a NaN, which makes it 0.
      const __m128 limited = _mm_min_ss(_mm_max_ss(_mm_set_ss(from[x]), _mm_setzero_ps()), _mm_set_ss(255.0f));
      to[x] = static_cast<unsigned char>(_mm_cvtss_si32(limited));
    }
  }
}

}  // namespace zeb
