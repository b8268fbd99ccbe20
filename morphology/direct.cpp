#include <cstddef>
#include <cstring>

#include "morphology/marking.h"
#include "zeb/morphology.h"

using namespace zeb::morphology;

namespace {

/// The element as a byte array of side 2r+1, 1 where it is set.
class ByteElement {
 public:
  ByteElement(int radius, bool rectangular) : radius_(radius), bytes_(side(radius), side(radius)) {
    const float square = static_cast<float>(radius * radius) + 0.4f;
    for (int dy = -radius; dy <= radius; ++dy) {
      unsigned char* row = bytes_.row(dy + radius);
      for (int dx = -radius; dx <= radius; ++dx)
        row[dx + radius] = rectangular || square >= static_cast<float>(dx * dx + dy * dy);
    }
  }

  int half_width(int dy) const {
    const unsigned char* row = bytes_.row(dy + radius_);
    const void* first = std::memchr(row, 1, static_cast<std::size_t>(bytes_.width));
    return radius_ - static_cast<int>(static_cast<const unsigned char*>(first) - row);
  }

 private:
  static int side(int radius) {
    constexpr int largest_radius = 23167;  // the bytes, rows padded to multiples of 64, must fit 31 bits
    if (radius < 0 || radius > largest_radius) throw zeb::mem::bad_allocation();
    return 2 * radius + 1;
  }

  int radius_;
  zeb::MatBuffer<unsigned char> bytes_;
};

void operate(const Images& images, int radius, int operation, unsigned char threshold, bool rectangular) {
  const ByteElement bytes(radius, rectangular);
  const Element element = rectangular ? Element::rectangle(radius, radius)
                                      : Element(radius, radius, [&bytes](int i) { return bytes.half_width(i); });
  mark(images, Decisive::below_threshold(operation, threshold), element, {}, hit_value(operation));
}

}  // namespace

void vMorphOp(unsigned char* dst, const unsigned char* src, int width, int stride, int height, int radius,
              int operation, unsigned char threshold, int rectangular) {
  operate({dst, src, width, stride, height}, radius, operation, threshold, rectangular != 0);
}

void vMorphOpThin(unsigned char* dst, const unsigned char* src, int width, int stride, int height, int radius,
                  int operation, unsigned char threshold, int rectangular) {
  const Images images{dst, src, width, stride, height};
  operate(images, radius, operation, threshold, rectangular != 0);
  images.fill_padding(static_cast<unsigned char>(~hit_value(operation)));
}
