#pragma once

#include "zeb/export.h"
#include "zeb/image.h"

/// \file
/// Neighbourhood filters: convolution, the weighted histogram filter, transposition and box filters.
///
/// Raw functions take one `stride` for all the images of a call unless they name several. The destination must not
/// overlap a source except where a function says otherwise. Addresses and strides need no alignment. Raw functions
/// return with the destination untouched where there is no memory for their work arrays.

namespace zeb {

/// \name Convolution
/// Correlation of an image with a kernel of integers: the kernel is not mirrored.
///
/// **Even and odd columns differ.** A coefficient above 1 counts in every second column only, as told at `saxpy`.
/// A coefficient of 1, 0 or less counts everywhere. `[1 2 1]` over a constant image of 10 gives 40, 20, 40, 20, ...
/// @{

/// The part of the correlation where the kernel lies inside the image,
/// `result(x, y) = sum of kernel[ky][kx] * src(x + kx, y + ky)`.
/// \param src      up to `min(kernel.cols - 1, 15)` bytes behind its last row (its stride included) are read, though no
///                 pixel depends on them. An `Image` has that room.
/// \param kernel   `rows` is its height, `cols` its width
/// \return `src.width - kernel.cols + 1` by `src.height - kernel.rows + 1` pixels, with the pixel sizes of `src` and,
///         where that is no less than the width, its stride. The padding has no defined content. A kernel one larger
///         than the image gives an empty result, one taller than that throws as for lack of memory, one wider than that
///         ends the process.
/// Throws `std::bad_alloc` ("bad allocation").
template <class T>
Image<int> convolution(Bitmap_<T> src, Matrix<int> kernel);

/// The same in an image laid out like `src`: the kernel's pixel `(cols / 2, rows / 2)` lies over the result's pixel.
/// The border, `cols / 2` columns and `rows / 2` rows on each side, the padding of those rows included, is filled; with
/// an even size this overwrites a column or row that could be computed. \param border   its low byte, repeated in all
/// four bytes, is the fill: 0 gives 0, 1 gives 16843009, 255 gives -1 Ends the process where `cols / 2` exceeds the
/// width or `rows / 2` the height. A kernel that is larger than the image and passes that test gives zeros inside the
/// border. Throws `std::bad_alloc` ("bad allocation").
template <class T>
Image<int> convolution(Bitmap_<T> src, Matrix<int> kernel, int border);

template <>
ZEB_API Image<int> convolution<unsigned char>(Bitmap_<unsigned char> src, Matrix<int> kernel);
template <>
ZEB_API Image<int> convolution<unsigned char>(Bitmap_<unsigned char> src, Matrix<int> kernel, int border);

/// `dst = a * src + y`, wrapping around in 32 bits, over `width` by `height` elements. The strides are in elements.
///
/// For `a >= 0` the first columns are taken in blocks of 16: `width` rounded up to a multiple of 16, but no more than
/// the smallest stride rounded down to one. So up to 15 columns behind `width` are read and written, inside the
/// strides. Within the blocks, counted from `dst`, and for `a > 1`
///
///     dst[2k]     = y[2k]     + low 32 bits of (a * src[2k])
///     dst[2k + 1] = y[2k + 1] + high 32 bits of (a * src[2k])
///
/// without a carry between the two: up to an `a` of 16843009 odd columns get no product at all. Columns behind the
/// blocks, and all columns for `a < 0`, get the plain `a * src + y`.
/// \param y   may be `dst`
/// A `width` or `height` below 1 does nothing.
ZEB_API void saxpy(int* dst, const unsigned char* src, int width, int height, int dst_stride, int src_stride, int a,
                   const int* y, int y_stride);

/// Adds the correlation of `src` and `kernel` to `dst`: for each coefficient one
/// `saxpy(base, src + ky * src_stride + kx, width - kernel_width + 1, height - kernel_height + 1, ...)` with
/// `base = dst + origin_y * dst_stride + origin_x` as destination and addend. The even columns are counted from `base`.
/// \param dst       the blocks that reach behind the result's width spill into the padding and, with an `origin_x` and
///                  a tight stride, into the first `origin_x` columns of the row below. The buffer must have room for
///                  that behind the last row: `origin_x` elements, unless rows lie below the result.
/// \param src       `height` rows of `width` pixels; up to `min(kernel_width - 1, 15)` bytes behind the last row (its
///                  stride included) are read
/// \param kernel    `kernel_height` rows of `kernel_width` coefficients without gaps
/// A kernel larger than the image, or of a size below 1, does nothing.
ZEB_API void convolute(int* dst, const unsigned char* src, const int* kernel, int width, int height, int dst_stride,
                       int src_stride, int kernel_width, int kernel_height, int origin_x, int origin_y);
/// @}

/// \name Generic filter
/// @{

/// See `iGenBMFilter`, which gets `(kernel.width - 1) / 2` and `(kernel.height - 1) / 2` as half sizes and the geometry
/// of `src`; `dst` must be laid out alike, which is not checked.
ZEB_API int generic_filter(Mat<unsigned char>& dst, const Mat<unsigned char>& src, const Mat<float>& kernel,
                           float lower_fraction, float upper_fraction, int mode);

/// Weighs the pixels around each pixel into a histogram of 256 bins and reads a statistic of it. The result is limited
/// to 0.1 .. 255.1 and truncated.
///
/// | use             | kernel                   | fractions                         | mode  | result                |
/// |-----------------|--------------------------|-----------------------------------|-------|-----------------------|
/// | weighted mean   | positive                 | 0, 1                              | 0     | `sum(w g) / sum(w)`   |
/// | trimmed mean    | positive                 | between 0 and 1                   | 0     | mean inside the band  |
/// | median, rank    | positive                 | the same twice                    | 0     | that quantile         |
/// | linear filter   | sum below 0.001          | not read, 0 and 1 are taken       | 0     | `sum(w g)`            |
/// | quantile spread | positive                 | strictly between 0.001 and 0.999  | not 0 | their distance        |
///
/// A fraction at or below 0.001 stands for bin 0, one at or above 0.999 for bin 255, whatever the weights; so with any
/// other `mode` than 0 and the fractions 0 and 1 every pixel becomes 255.
/// \param dst, src      `half_width` columns and `half_height` rows on each side of `dst` stay as they are
/// \param kernel        `2 half_height + 1` rows of `2 half_width + 1` weights
/// \param kernel_stride pitch of the kernel's rows when the weights are summed up. They are applied as rows without
///                      gaps, whatever the pitch: only a pitch of `2 half_width + 1` weighs and normalises alike.
/// \param mode          0 for `hist_average` of the histogram, else `hist_width`
/// \return 1, or 0 with nothing written: for an image smaller than the window, a null kernel, a negative half size or
///         lack of memory
/// Weights are added in `float`, row by row. A sum that exceeds the applied weights is the caller's mistake.
ZEB_API int iGenBMFilter(unsigned char* dst, const unsigned char* src, int width, int stride, int height,
                         const float* kernel, int half_width, int kernel_stride, int half_height, float lower_fraction,
                         float upper_fraction, int mode);
/// @}

/// \name Transposition
/// @{

/// `dst[j * dst_stride + i] = src[i * src_stride + j]` for the source's rows `i < min(dst_stride, src_height)` and
/// columns `j < min(dst_height, src_width)`. Sizes below 1 do nothing.
ZEB_API void TransposeBM(unsigned char* dst, unsigned char* src, int dst_stride, int dst_height, int src_width,
                         int src_stride, int src_height);
/// @}

/// \name Box filters
/// Means over a window of `filter_width` by `filter_height` pixels at a cost that does not depend on its size. `dst`
/// and `src` must be different images.
///
/// Both sizes are limited to the image's and to at least 1, giving `fw` and `fh`. The window of pixel (x, y) covers
///
///     columns  x - (fw + 1) / 2 + 1  to  x + fw / 2
///     rows     y - (fh + 1) / 2      to  y + fh / 2 - 1
///
/// (divisions truncated): an odd window is centred in x and lies **one row above centre** in y; a height of 1 is the
/// row above. The first row's window is the one that would follow from the rows above the image. Rows and columns
/// outside the image are replaced by the nearest one.
///
/// Where a mask is given, a pixel takes part in the means if its mask is **0**.
///
/// The scalar forms (`vBM_`) truncate means. The packed forms (`vMMBM_`) round them to nearest, ties to even, in the
/// columns from `(fw + 1) / 2` rounded up to a multiple of 4 to `width - (fw + 1) / 2` rounded down to one, and
/// truncate in the columns at both ends:
///
/// |                                   | scalar                      | packed, ends       | packed, between           |
/// |-----------------------------------|-----------------------------|--------------------|---------------------------|
/// | low-pass                          | truncated mean              | truncated mean     | rounded mean              |
/// | low-pass, nothing takes part      | 0                           | **not written**    | 0                         |
/// | high-pass, `c` being the offset   | `src - truncated mean + c`  | as scalar          | `src + c - mean`, rounded |
/// | high-pass, nothing takes part     | low byte of the offset      | **not written**    | `src + c`                 |
/// | high-pass's offset without a mask | **always 128**              | `offset`           | `offset`                  |
///
/// High-pass results are limited to 0..255. The packed low-pass and high-pass sum up in `float`: windows of 65794
/// pixels and more collect rounding errors. The others sum up in 32 bits and wrap around.
///
/// All six raw forms: `stride` is narrowed to 16 signed bits; one that becomes negative does nothing. An image of one
/// pixel, or of none, is left alone. A packed form on an image of 1 to 3 columns writes columns 0 to 3 nevertheless,
/// whatever the mean of the columns behind the width: the stride should have room for them (nothing is written behind
/// the last row's stride).
/// @{

/// `vMMBM_LPFilter` with the geometry of `src`; `dst` and `mask` must be laid out alike, which is not checked.
ZEB_API void lp_filter(Mat<unsigned char>& dst, const Mat<unsigned char>& src, const Mat<unsigned char>& mask,
                       int filter_width, int filter_height);
/// The same without a mask.
ZEB_API void lp_filter(Mat<unsigned char>& dst, const Mat<unsigned char>& src, int filter_width, int filter_height);

/// `vMMBM_HPFilter` with the geometry of `src`; `dst` and `mask` must be laid out alike, which is not checked.
ZEB_API void hp_filter(Mat<unsigned char>& dst, const Mat<unsigned char>& src, const Mat<unsigned char>& mask,
                       int filter_width, int filter_height, int offset);
/// The same without a mask.
ZEB_API void hp_filter(Mat<unsigned char>& dst, const Mat<unsigned char>& src, int filter_width, int filter_height,
                       int offset);

/// Local mean, scalar form. \param mask may be null
ZEB_API void vBM_LPFilter(unsigned char* dst, const unsigned char* src, const unsigned char* mask, int width,
                          int stride, int height, int filter_width, int filter_height);
/// Local mean, packed form. \param mask may be null
ZEB_API void vMMBM_LPFilter(unsigned char* dst, const unsigned char* src, const unsigned char* mask, int width,
                            int stride, int height, int filter_width, int filter_height);
/// Source minus local mean plus an offset, scalar form. \param mask may be null; the offset is 128 then
ZEB_API void vBM_HPFilter(unsigned char* dst, const unsigned char* src, const unsigned char* mask, int width,
                          int stride, int height, int filter_width, int filter_height, int offset);
/// Source minus local mean plus `offset`, packed form. \param mask may be null
ZEB_API void vMMBM_HPFilter(unsigned char* dst, const unsigned char* src, const unsigned char* mask, int width,
                            int stride, int height, int filter_width, int filter_height, int offset);
/// Local mean of `lut[src]`, scalar form.
/// \param lut   256 entries; null stands for the table of `iInitVideoNormLookUpTP` with `gain` and `half_range`, which
///              are not read otherwise (entries that it leaves out are 0)
ZEB_API void vBM_LPIncrease(unsigned char* dst, unsigned char* src, unsigned char* lut, int width, int stride,
                            int height, int filter_width, int filter_height, float gain, short half_range);
/// Local mean of `lut[src]`, packed form; see there.
ZEB_API void vMMBM_LPIncrease(unsigned char* dst, unsigned char* src, unsigned char* lut, int width, int stride,
                              int height, int filter_width, int filter_height, float gain, short half_range);

/// A grey-value table that raises contrast around the middle grey: the inverse of the curve
/// `c(i) = a i^3 + i / gain + 128` over `-n <= i < n`, which runs from about 0 to about 256 with the slope `1 / gain`
/// in the middle. A grey value `k` maps to `128 + i`, so the table holds the values `128 - n` to `127 + n` only. \param
/// table       256 entries; null does nothing. A curve that is not monotonic (`gain` below about `n / 128`) leaves
///                    entries as they are.
/// \param gain        raised to at least 0.1; with a `half_range` of 0 and less than 0.1 the table is the identity
/// \param half_range  `n`, limited to 1..128; 0 counts as 1
ZEB_API void iInitVideoNormLookUpTP(unsigned char* table, float gain, short half_range);
/// @}

}  // namespace zeb
