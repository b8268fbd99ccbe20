#include "frame/packed.h"
#include "zeb/drawing.h"

using namespace zeb::frame;

namespace {

/// One side of the choice: an image or a constant, as packed blocks and as single pixels.
struct ImageSource {
  const unsigned char* data;
  __m128i block(std::ptrdiff_t i) const { return load(data + i); }
  unsigned char pixel(std::ptrdiff_t i) const { return data[i]; }
};

struct ConstantSource {
  unsigned char value;
  __m128i block(std::ptrdiff_t) const { return splat(value); }
  unsigned char pixel(std::ptrdiff_t) const { return value; }
};

template <class First, class Second>
void choose(unsigned char* dst, First first, Second second, const unsigned char* mask, int width, int stride,
            int height) {
  for_each_block(
      width, stride, height,
      [=](std::ptrdiff_t i) {
        const __m128i unmasked = _mm_cmpeq_epi8(load(mask + i), _mm_setzero_si128());
        store(dst + i,
              _mm_or_si128(_mm_and_si128(unmasked, first.block(i)), _mm_andnot_si128(unmasked, second.block(i))));
      },
      [=](std::ptrdiff_t i) { dst[i] = mask[i] != 0 ? second.pixel(i) : first.pixel(i); });
}

}  // namespace

void vBMInterleave(unsigned char* const dst, const unsigned char* const first, const unsigned char* const second,
                   const unsigned char* const mask, int width, int stride, int height) {
  choose(dst, ImageSource{first}, ImageSource{second}, mask, width, stride, height);
}

void vBMInterleave(unsigned char* const dst, const unsigned char* const first, unsigned char second,
                   const unsigned char* const mask, int width, int stride, int height) {
  choose(dst, ImageSource{first}, ConstantSource{second}, mask, width, stride, height);
}

void vBMInterleave(unsigned char* const dst, unsigned char first, const unsigned char* const second,
                   const unsigned char* const mask, int width, int stride, int height) {
  choose(dst, ConstantSource{first}, ImageSource{second}, mask, width, stride, height);
}

void vBMInterleave(unsigned char* const dst, unsigned char first, unsigned char second, const unsigned char* const mask,
                   int width, int stride, int height) {
  choose(dst, ConstantSource{first}, ConstantSource{second}, mask, width, stride, height);
}

namespace zeb {

void interleave(Bitmap_<unsigned char>& dst, const Bitmap_<unsigned char>& first, const Bitmap_<unsigned char>& second,
                const Bitmap_<unsigned char>& mask) {
  vBMInterleave(dst.data, first.data, second.data, mask.data, dst.width, dst.stride, dst.height);
}

void interleave(Bitmap_<unsigned char>& dst, const Bitmap_<unsigned char>& first, unsigned char second,
                const Bitmap_<unsigned char>& mask) {
  vBMInterleave(dst.data, first.data, second, mask.data, dst.width, dst.stride, dst.height);
}

void interleave(Bitmap_<unsigned char>& dst, unsigned char first, const Bitmap_<unsigned char>& second,
                const Bitmap_<unsigned char>& mask) {
  vBMInterleave(dst.data, first, second.data, mask.data, dst.width, dst.stride, dst.height);
}

void interleave(Bitmap_<unsigned char>& dst, unsigned char first, unsigned char second,
                const Bitmap_<unsigned char>& mask) {
  vBMInterleave(dst.data, first, second, mask.data, dst.width, dst.stride, dst.height);
}

}  // namespace zeb
