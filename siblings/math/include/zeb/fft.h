#pragma once

#include <complex>
#include <cstdint>
#include <vector>

#include "zeb/math_export.h"
#include "zeb/mem.h"

/// \file
/// Two-dimensional Fourier transforms of square images whose side `s` is a power of two, from 1 up.
///
/// F(ky, kx) is the sum over all pixels of value(y, x) * exp(-2 pi i (ky * y + kx * x) / s): not scaled. The inverse
/// divides by the number of pixels, s * s. Three layouts of a spectrum:
///
/// - *packed complex*, `s` by `s`: element (ky, kx) in row ky, column kx.
/// - *packed real*, `s` by `s` floats, the spectrum of a real image without its redundant half: for kx from 1 to
///   `s / 2 - 1`, columns `2 * kx` and `2 * kx + 1` of row ky hold the real and the imaginary part of F(ky, kx). Column
///   0 holds the frequencies kx = 0 and column 1 those with kx = s / 2, each in itself conjugate symmetric: rows 0 to
///   `s / 2` hold the real part of F(ky), row `s - ky` for ky from 1 to `s / 2 - 1` its imaginary part.
/// - *unpacked*, `s + 1` by `s + 1`: the origin in the middle. Row i, column j hold F(i - s / 2, j - s / 2), with
///   frequencies taken modulo s, so that the first and the last row and column are equal.
///
/// Strides may exceed widths; padding is neither read nor written. Images of any other size than stated, or of a side
/// that is no power of two, are left alone. Calls on different images are independent of each other and may run at the
/// same time; results do not depend on the addresses of the images. Throws `std::bad_alloc` where memory is short.
///
/// Source of the fast transforms: M. Frigo and S. G. Johnson, "The Design and Implementation of FFTW3", Proceedings of
/// the IEEE 93 (2005).

namespace zeb {

template <class T>
class Mat;

namespace fft {

/// Which way a transform goes.
enum class direction : std::int32_t {
  forward = 0,  ///< image to spectrum
  inverse = 1,  ///< spectrum to image, divided by the number of pixels
};

}  // namespace fft

/// The complex transform between an image and its packed complex spectrum, both `s` by `s`. `src` stays as it is,
/// unless it is `dst`, which is allowed.
ZEB_MATH_API void fft_complex(Mat<std::complex<float>>& dst, Mat<std::complex<float>>& src, fft::direction);

/// The transform between a real image and its packed real spectrum, both `s` by `s`. `src` stays as it is, unless it is
/// `dst`, which is allowed. The imaginary part of a frequency that has none in the packed layout counts as 0.
ZEB_MATH_API void inplace_fft_real(Mat<float>& dst, Mat<float>& src, fft::direction);

/// Packed complex (`src`, `s` by `s`) to unpacked (`dst`, `s + 1` by `s + 1`).
ZEB_MATH_API void unpack_fft(Mat<std::complex<float>>& dst, const Mat<std::complex<float>>& src);

/// Packed real (`src`, `s` by `s`) to unpacked (`dst`, `s + 1` by `s + 1`). Returns the work area, half of the spectrum
/// without redundancy, `s / 2 + 1` columns by `s` rows; callers drop it.
ZEB_MATH_API std::vector<std::complex<float>, mem::ProtectedAllocator<std::complex<float>>> unpack_fft_inplace(
    Mat<std::complex<float>>& dst, const Mat<float>& src);

/// Unpacked (`src`, `s + 1` by `s + 1`) to packed complex (`dst`, `s` by `s`). Of the equal first and last rows and
/// columns the first are taken.
ZEB_MATH_API void repack_fft(Mat<std::complex<float>>& dst, const Mat<std::complex<float>>& src);

/// Real parts to 8 bits by `to_byte`: rounded to nearest, ties to even, saturated, NaN to 0. The area is what both
/// images have in common.
ZEB_MATH_API void cpxreal_to_BM(Mat<unsigned char>& dst, const Mat<std::complex<float>>& src);

/// A picture of magnitudes on a logarithmic scale of eight grey values per octave: `8 * log2(1 + |F|)`, by `to_byte`. A
/// magnitude of 1 gives 8, one of 1023 gives 80; white is reached from 3.8e9 on, which no 8-bit image up to a side of
/// 2048 exceeds. `width` and `height` count complex elements, and so do the strides. `flag` is reserved: pass 0.
ZEB_MATH_API void log2_magnitude(unsigned char* dst, const std::complex<float>* src, int width, int height,
                                 int dst_stride, int src_stride, int flag);

/// Magnitudes |F| of `width` by `height` complex elements, strides in elements. Returns the largest one, 0 for none.
ZEB_MATH_API float magnitude(float* dst, const std::complex<float>* src, int width, int height, int dst_stride,
                             int src_stride);

}  // namespace zeb
