#include "frame/work_image.h"
#include "zeb/cast.h"
#include "zeb/frequency.h"

namespace zeb {
namespace {

using detail::require;
using fft::direction;
using Complex = std::complex<float>;

template <class T>
bool is_square(const Mat<T>& image, int side) {
  return image.width == side && image.height == side;
}

/// Ends the process unless `image` is a square with a side that a transform takes; throws where no work image could
/// hold its spectrum, unpacked.
template <class T>
void require_side(const Mat<T>& image) {
  const int side = image.width;
  require(side > 0 && (side & (side - 1)) == 0 && image.height == side);
  frame::require_countable(std::int64_t{side} + 1, std::int64_t{side} + 1);
}

template <class A, class B>
void require_different_pixels(const Mat<A>& dst, const Mat<B>& src) {
  require(static_cast<const void*>(dst.data) != static_cast<const void*>(src.data));
}

void log2_picture(const Mat<unsigned char>& dst, const Mat<Complex>& spectrum) {
  log2_magnitude(dst.data, spectrum.data, spectrum.width, spectrum.height, dst.stride, spectrum.stride, 0);
}

/// The inverse transform of a spectrum that is packed or, one larger than `dst`, unpacked.
void inverse_of_either_layout(Mat<Complex>& dst, Mat<Complex>& src) {
  if (src.width == dst.width) {
    fft_complex(dst, src, direction::inverse);
  } else {
    MatBuffer<Complex> packed(dst.width, dst.height);
    repack_fft(packed, src);
    fft_complex(dst, packed, direction::inverse);
  }
}

}  // namespace

void fourier_transform(Mat<float>& dst, Mat<float>& src) {
  require_different_pixels(dst, src);
  require_side(src);
  require(is_square(dst, src.width));
  inplace_fft_real(dst, src, direction::forward);
}

void fourier_transform(Mat<Complex>& dst, Mat<Complex>& src) {
  require_different_pixels(dst, src);
  require_side(src);
  require(is_square(dst, src.width) || is_square(dst, src.width + 1));
  if (dst.width == src.width) {
    fft_complex(dst, src, direction::forward);
  } else {
    MatBuffer<Complex> packed(src.width, src.height);
    fft_complex(packed, src, direction::forward);
    unpack_fft(dst, packed);
  }
}

void fourier_transform(Mat<unsigned char>& dst, Mat<float>& src) {
  require_different_pixels(dst, src);
  require_side(src);
  require(is_square(dst, src.width + 1));
  MatBuffer<float> packed(src.width, src.height);
  inplace_fft_real(packed, src, direction::forward);
  MatBuffer<Complex> spectrum(dst.width, dst.height);
  unpack_fft_inplace(spectrum, packed);
  log2_picture(dst, spectrum);
}

void fourier_transform(Mat<unsigned char>& dst, Mat<Complex>& src) {
  require_different_pixels(dst, src);
  require_side(src);
  require(is_square(dst, src.width + 1));
  MatBuffer<Complex> packed(src.width, src.height);
  fft_complex(packed, src, direction::forward);
  MatBuffer<Complex> spectrum(dst.width, dst.height);
  unpack_fft(spectrum, packed);
  log2_picture(dst, spectrum);
}

void inverse_fourier_transform(Mat<float>& dst, Mat<float>& src) {
  require_different_pixels(dst, src);
  require_side(dst);
  require(is_square(src, dst.width));
  inplace_fft_real(dst, src, direction::inverse);
}

void inverse_fourier_transform(Mat<unsigned char>& dst, Mat<float>& src) {
  require_different_pixels(dst, src);
  require_side(dst);
  require(is_square(src, dst.width));
  MatBuffer<float> image(dst.width, dst.height);
  inplace_fft_real(image, src, direction::inverse);
  cast(dst, image);
}

void inverse_fourier_transform(Mat<Complex>& dst, Mat<Complex>& src) {
  require_different_pixels(dst, src);
  require_side(dst);
  require(is_square(src, dst.width) || is_square(src, dst.width + 1));
  inverse_of_either_layout(dst, src);
}

void inverse_fourier_transform(Mat<unsigned char>& dst, Mat<Complex>& src) {
  require_different_pixels(dst, src);
  require_side(dst);
  require(is_square(src, dst.width) || is_square(src, dst.width + 1));
  MatBuffer<Complex> image(dst.width, dst.height);
  inverse_of_either_layout(image, src);
  cpxreal_to_BM(dst, image);
}

}  // namespace zeb
