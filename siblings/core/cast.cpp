#include "zeb/cast.h"

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
    for (int x = 0; x < width; ++x) to[x] = to_byte(from[x]);
  }
}

}  // namespace zeb
