#include <cstdlib>

#include "frame/packed.h"
#include "zeb/drawing.h"

namespace {

using namespace zeb::frame;

class MaskGrowth {
 public:
  MaskGrowth(const unsigned char* src, unsigned char* mask, int width, int stride, int height, unsigned char tolerance)
      : src_(src), mask_(mask), width_(width), stride_(stride), height_(height), tolerance_(tolerance) {}

  /// Each pass returns whether it set anything. What it sets takes effect at once.
  bool forward() {
    bool changed = false;
    for (int y = 1; y <= height_ - 2; ++y)
      for (std::ptrdiff_t x = 1; x <= width_ - 2; ++x) {
        while (x + 16 < width_ && no_neighbour_is_set(x, y)) x += 16;
        if (x <= width_ - 2) changed |= grow(x, y);
      }
    return changed;
  }

  bool backward() {
    bool changed = false;
    for (int y = height_ - 2; y >= 1; --y)
      for (std::ptrdiff_t x = width_ - 2; x >= 1; --x) {
        while (x - 16 >= 0 && no_neighbour_is_set(x - 15, y)) x -= 16;
        if (x >= 1) changed |= grow(x, y);
      }
    return changed;
  }

 private:
  std::ptrdiff_t offset(std::ptrdiff_t x, int y) const { return std::ptrdiff_t{y} * stride_ + x; }

  /// Whether nothing is set from one column before to one behind the 16 from `x` on, in this row and its neighbours.
  bool no_neighbour_is_set(std::ptrdiff_t x, int y) const {
    __m128i any = _mm_setzero_si128();
    for (int row = y - 1; row <= y + 1; ++row) {
      const unsigned char* m = mask_ + offset(x, row);
      any = _mm_or_si128(any, _mm_or_si128(load(m - 1), load(m + 1)));
    }
    return !any_set(any);
  }

  bool grow(std::ptrdiff_t x, int y) {
    const std::ptrdiff_t here = offset(x, y);
    if (mask_[here] != 0) return false;
    for (int dy = -1; dy <= 1; ++dy)
      for (int dx = -1; dx <= 1; ++dx) {
        const std::ptrdiff_t neighbour = here + std::ptrdiff_t{dy} * stride_ + dx;
        if (mask_[neighbour] == 0 || std::abs(src_[neighbour] - src_[here]) > tolerance_) continue;
        mask_[here] = 255;
        return true;
      }
    return false;
  }

  const unsigned char* src_;
  unsigned char* mask_;
  int width_, stride_, height_;
  int tolerance_;
};

}  // namespace

void vFillContMsk(const unsigned char* src, unsigned char* mask, int width, int stride, int height,
                  unsigned char tolerance) {
  if (width < 3 || height < 3) return;
  MaskGrowth growth(src, mask, width, stride, height, tolerance);
  while (growth.forward() && growth.backward()) {
  }
}
