#pragma once

#include <complex>
#include <cstdint>
#include <vector>

#include "zeb/export.h"
#include "zeb/fft.h"
#include "zeb/image.h"

/// \file
/// Fourier transforms of square images and a filter against periodic patterns.
///
/// Sides are powers of two, from 1 to 32768; there is no memory for larger ones. `zeb/fft.h` describes the transforms,
/// the three layouts of a spectrum and the scale of the pictures. Source and destination must not share their pixels. A
/// violated requirement ends the process; a lack of memory throws `std::bad_alloc`. Sources stay as they are, although
/// some are passed by non-constant reference. Padding is neither read nor written, but for `fft::Filter::none`.

namespace zeb {

/// Packed real spectrum of a real image, both `s` by `s`.
ZEB_API void fourier_transform(Mat<float>& dst, Mat<float>& src);
/// Spectrum of a complex image of side `s`: packed complex where `dst` has side `s`, unpacked where it has `s + 1`.
ZEB_API void fourier_transform(Mat<std::complex<float>>& dst, Mat<std::complex<float>>& src);
/// A picture of the spectrum's magnitudes by `log2_magnitude`, origin in the middle: `src` has side `s`, `dst` `s + 1`.
ZEB_API void fourier_transform(Mat<unsigned char>& dst, Mat<float>& src);
/// The same of a complex image.
ZEB_API void fourier_transform(Mat<unsigned char>& dst, Mat<std::complex<float>>& src);

/// The real image of a packed real spectrum, both `s` by `s`.
ZEB_API void inverse_fourier_transform(Mat<float>& dst, Mat<float>& src);
/// The same as 8 bits by `cast`: rounded to nearest, ties to even, saturated.
ZEB_API void inverse_fourier_transform(Mat<unsigned char>& dst, Mat<float>& src);
/// The complex image (side `s`) of a spectrum, packed complex where `src` has side `s`, unpacked where it has `s + 1`.
ZEB_API void inverse_fourier_transform(Mat<std::complex<float>>& dst, Mat<std::complex<float>>& src);
/// Its real part as 8 bits by `cpxreal_to_BM`: rounded to nearest, ties to even, saturated.
ZEB_API void inverse_fourier_transform(Mat<unsigned char>& dst, Mat<std::complex<float>>& src);

namespace fft {

/// What `fft_filter` does to the spectrum. The value is the number of parameters. Any other value acts like `flat`.
enum class Filter : std::int32_t {
  none = 0,             ///< no transform at all: `dst` becomes a copy of `src`, padding included, of any size
  notch_peaks = 1,      ///< takes the peaks out, see `fft_filter`
  flat = 2,             ///< leaves the spectrum as it is; two parameters, not read
  emphasise_peaks = 3,  ///< keeps the peaks and little else, see `fft_filter`
};

}  // namespace fft

/// Filters a square image of side `s` (a power of two, from 2 up) by a mask that is made from its own spectrum.
///
/// - `notch_peaks`, parameter `threshold_factor`: wherever the magnitude of the packed spectrum exceeds its mean times
///   the factor, a hole of 5 by 5 frequencies, clipped at the edges of the half spectrum. The origin is a peak like any
///   other, so the mean grey level normally goes as well.
/// - `emphasise_peaks`, parameters `filter_size`, `deviation_factor`, `closing_radius` (first and last truncated to
///   whole numbers): the log magnitude minus its mean over `filter_size` squared, its gradient, cut at the gradient's
///   mean plus `deviation_factor` standard deviations (of this limit the low 8 bits count), closed by a disk. What was
///   found is multiplied by 255, the 8 by 8 lowest frequencies by 1, the origin and all else by 0; the result is
///   saturated. Sides below 16 end the process, as half the spectrum then has fewer than 8 columns.
///
/// Column 1 of the packed spectrum (the highest horizontal frequency) passes through every mask.
///
/// \param dst     as large as `src`, with the same stride; may be `src`
/// \param window  multiplies the image first by `sqrt((1 + cos(pi * r)) / 2)`, by 0 where `r` is 1 and more: nearly 1
///                at the centre. In the upper left quarter `r` is the distance from (s / 2, s / 2) in halves of the
///                side; the other three are its mirror images
/// \param params  empty, or as many as the value of `filter`, else the process ends. `notch_peaks` and
///                `emphasise_peaks` need theirs; without them the process ends
///
/// Ends the process where the sizes differ or are no side of a transform (but for `none`); throws `std::bad_alloc`.
ZEB_API void fft_filter(Mat<unsigned char>& dst, Mat<unsigned char>& src, bool window, fft::Filter filter,
                        std::vector<float> params);

}  // namespace zeb
