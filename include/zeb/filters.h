#pragma once

#include <functional>
#include <vector>

#include "zeb/export.h"
#include "zeb/image.h"

/// \file
/// Neighbourhood filters: convolution, the weighted histogram filter, transposition, box filters, gradients and edges,
/// grey-level filters, normalisation.
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
/// an even size this overwrites a column or row that could be computed.
///
/// \param border   its low byte, repeated in all four bytes, is the fill: 0 gives 0, 1 gives 16843009, 255 gives -1
///
/// Ends the process where `cols / 2` exceeds the width or `rows / 2` the height. A kernel that is larger than the image
/// and passes that test gives zeros inside the border. Throws `std::bad_alloc` ("bad allocation").
template <class T>
Image<int> convolution(Bitmap_<T> src, Matrix<int> kernel, int border);

/// The part inside the image, of 8-bit images: the element type that the library provides.
template <>
ZEB_API Image<int> convolution<unsigned char>(Bitmap_<unsigned char> src, Matrix<int> kernel);
/// The whole image, of 8-bit images: the element type that the library provides.
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
/// Weights are added in `float`, row by row. Where their sum exceeds the applied weights, a quantile that is never
/// reached lies in bin 255.
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

/// Local mean, scalar form.
/// \param mask   may be null
ZEB_API void vBM_LPFilter(unsigned char* dst, const unsigned char* src, const unsigned char* mask, int width,
                          int stride, int height, int filter_width, int filter_height);
/// Local mean, packed form.
/// \param mask   may be null
ZEB_API void vMMBM_LPFilter(unsigned char* dst, const unsigned char* src, const unsigned char* mask, int width,
                            int stride, int height, int filter_width, int filter_height);
/// Source minus local mean plus an offset, scalar form.
/// \param mask   may be null; the offset is 128 then
ZEB_API void vBM_HPFilter(unsigned char* dst, const unsigned char* src, const unsigned char* mask, int width,
                          int stride, int height, int filter_width, int filter_height, int offset);
/// Source minus local mean plus `offset`, packed form.
/// \param mask   may be null
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
/// in the middle. A grey value `k` maps to `128 + i`, so the table holds the values `128 - n` to `127 + n` only. A
/// curve that is not monotonic (`gain` below about `n / 192`) leaves entries as they are.
///
/// All of it is computed in single precision: `a`, and `a i^3 + i / gain + 128.1`, which is truncated to a grey value.
///
/// \param table       256 entries; null does nothing
/// \param gain        raised to at least 0.1; with a `half_range` of 0 and less than 0.1 the table is the identity
/// \param half_range  `n`, limited to 1..128; 0 counts as 1
ZEB_API void iInitVideoNormLookUpTP(unsigned char* table, float gain, short half_range);

/// \name Gradients and edges
/// `FastSobel` and `FastGradient` take the Sobel gradient (Sobel and Feldman, 1968)
///
///     gx = [-1 0 1]   gy = [-1 -2 -1]
///          [-2 0 2]        [ 0  0  0]
///          [-1 0 1]        [ 1  2  1]
///
/// of each pixel that has eight neighbours. In column `width - 2` the last weight of `gy`'s rows is missing: there
/// `gy` is the sum of `[-1 -1 0]` and `[1 1 0]`. The columns before `(width - 4) & ~3` are packed ones; the three to
/// six behind them round and overflow differently. A `width` or `height` below 1 does nothing.
/// @{

/// See `FastSobel`, which gets the geometry of `src` and the stride of each image.
ZEB_API void sobel(Mat<unsigned char>& dst, const Mat<unsigned char>& src);

/// See `Kantenfilter`, which gets the geometry of `src`; `dst` must have its stride, which is not checked.
ZEB_API void kantenfilter(Mat<unsigned char>& dst, const Mat<unsigned char>& src, int mode, short threshold);

/// A quarter of the gradient's length, `sqrt(gx^2 + gy^2) / 4`. Packed columns round it to nearest, ties to even, and
/// limit it to 255. The columns behind them truncate it and **keep its low 8 bits**: the steepest diagonal edges, up to
/// 285, come out as 0 to 29 there. The outermost rows and columns become 0.
///
/// An image of less than 8 columns has no packed columns, and **only row 1** of it is computed: the rows from 2 to
/// `height - 2` keep what they held but for their two outer columns.
/// \param dst   may be `src`, if the strides are equal; the padding is left alone
ZEB_API void FastSobel(unsigned char* dst, const unsigned char* src, int width, int dst_stride, int src_stride,
                       int height);
/// The same with one stride.
ZEB_API void FastSobel(unsigned char* dst, const unsigned char* src, int width, int stride, int height);

/// The two components of the gradient as `g / 8 + 128`. Packed columns round to nearest, ties to even, limited to 255;
/// in the columns behind them `g / 8` is truncated before the 128 is added, so that a `g` of 5 gives 129 or 128 and one
/// of -13 gives 126 or 127. The outermost rows and columns become 128.
///
/// In an image of less than 8 columns nothing is computed: all but the outermost rows and columns stay as they are.
/// \param grad_x, grad_y   either may be `src`
ZEB_API void FastGradient(unsigned char* grad_x, unsigned char* grad_y, unsigned char* src, int width, int stride,
                          int height);

/// Marks edges by 255, all else becomes 0. The gradient is the central difference,
/// `gx = src(x + 1, y) - src(x - 1, y)`, `gy` alike, and 0 in the outermost rows and columns.
/// \param dst         may be `src`; the padding is left alone
/// \param mode        0 marks gradients longer than the level. Any other mode marks pixels where the sum over the eight
///                    neighbours of `(g . d) (g0 . d)` is larger than the level's square in absolute value, `g0` being
///                    the pixel's gradient, `g` the neighbour's and `d` the unit vector across the direction from one
///                    to the other; the two outermost rows and columns on each side become 0.
/// \param threshold   the level, in grey values over two pixels. At 0 and below the level is twice the root mean square
///                    of the gradients of all pixels, the outermost ones included. Marked is what exceeds the level, so
///                    that a constant image has no edges.
ZEB_API void Kantenfilter(unsigned char* dst, const unsigned char* src, int width, int stride, int height, int mode,
                          short threshold);
/// @}

/// \name Grey-level filters
/// Filters on the statistics of a neighbourhood or of the image. Those in `width, stride, height` order and those in
/// `width, height, stride` order live side by side: mind the argument lists. A `width` or `height` below 1 or a
/// negative radius does nothing, except that the event removers treat the padding as ever for a `width` below 1.
/// @{

/// Robust local grey value. A Gaussian window weighs the pixels around each pixel into a histogram, of which a band
/// between two quantiles is read: its mean, or its width. With the fractions 0 and 1 the mean is a Gaussian blur, with
/// equal fractions it is a weighted median.
///
/// The arithmetic is fixed point with 15 bits for the weights and truncates throughout, so a mean is the exact one or
/// slightly less. Eight pixels are filtered at a time: with `hx = size_x / 2` and `hy = size_y / 2`, the groups begin
/// at the columns `hx, hx + 8, ...` below `(width & ~7) - hx`, and rows run from `hy` to `height - hy - 1`. Each group
/// is written whole. So it may reach into the right border, and with an `hx` of 1 to 3 it reaches behind column
/// `width & ~7`, into the padding or the first columns of the next row if need be, though never behind the last row
/// with its stride. What no group covers is left alone.
/// \param src                    up to 6 bytes behind the last row are read where the last group needs them for pixels
///                               in the right border, unless the stride exceeds `width & ~7` by as much
/// \param fraction1, fraction2   the quantiles, 0 to 1, in any order. Equal ones select a single unit of weight.
/// \param size_x, size_y         window size in pixels; `2 hx + 1` by `2 hy + 1` pixels are used. An image of less
///                               rows, or with `width & ~7` below `2 hx + 1`, is left alone.
/// \param falloff                the weight of a pixel at (x, y) from the centre is `exp(-(x^2 + y^2) |falloff|)`
/// \param mode                   0 for the mean grey value within the band, anything else for its width, the distance
///                               in grey levels between the quantiles
ZEB_API void vGaussFilter(unsigned char* dst, unsigned char* src, int width, int stride, int height, float fraction1,
                          float fraction2, int size_x, int size_y, float falloff, int mode);

/// `vGaussFilter` with 9 by 9 pixels, a `falloff` of 0.2 and the mean of the middle fifth: removes noise and small
/// specks but keeps edges. A constant image gives its grey value or 1 less.
ZEB_API void vGreyFilter(unsigned char* dst, unsigned char* src, int width, int stride, int height);

/// Equalises the histogram: a grey value becomes the share of pixels, of 255, that are darker, truncated. The histogram
/// is smoothed beforehand with the weights 0.1 0.2 0.4 0.2 0.1 and mirrored at its ends. Grey 0 always becomes 0.
/// \param dst   may be `src`; the padding is left alone
ZEB_API void vHistEqual(unsigned char* dst, unsigned char* src, int width, int stride, int height);

/// Reduces each whole cell to one pixel, in the top left `width / cell_width` by `height / cell_height` pixels of
/// `dst`; the rest of `dst` is left alone. Note the order `width, height, stride`. A cell size below 1 does
/// nothing.
/// \param dst    may be `src`
/// \param mode   0 for the mean, truncated. 1 for the minimum and 2 for the maximum **of this and all earlier cells**,
///               row by row: a 0 in the first cell makes all cells 0. Any other value does nothing.
ZEB_API void vCoarseGrain(unsigned char* dst, unsigned char* src, int width, int height, int stride, int cell_width,
                          int cell_height, int mode);

/// Enlarges each pixel to a cell: the inverse of `vCoarseGrain`. `width` and `height` are those of `dst`, where only
/// whole cells are written. Note the order `width, height, stride`. A cell size below 1 does nothing.
ZEB_API void vFineGrain(unsigned char* dst, unsigned char* src, int width, int height, int stride, int cell_width,
                        int cell_height);

/// Marks with 255 the pixels around which the set (non-zero) pixels lie close to one straight line: the smaller
/// eigenvalue of the covariance matrix of their positions, in square pixels, is below `threshold`. Windows of
/// `2 radius + 1` pixels squared; one without set pixels gives 0, as do all others. A border of `radius` pixels is left
/// alone. Note the order `width, height, stride`. Takes no work memory.
ZEB_API void vCovariance(unsigned char* dst, unsigned char* src, int width, int height, int stride, int radius,
                         float threshold);

/// Marks with 255 the pixels around which more than a share of all pixels is set (non-zero), others become 0. The share
/// is one of the whole window, also where the image's edge cuts the window.
/// \param radius     of the window, a disc or a square of `2 radius + 1` pixels. Pixel (x, y) from the centre belongs
///                   to the disc for `x^2 + y^2 <= radius^2`.
/// \param fraction   raised to 1e-8, with which any set pixel suffices; 1 and above never marks a pixel
/// \param square     0 for the disc, else the square
ZEB_API void vDiscriminator(unsigned char* dst, unsigned char* src, int width, int stride, int height, int radius,
                            float fraction, int square);

/// Keeps a pixel above `level`, as 255, if at least `min_count` pixels in the window around it, itself included, are
/// above `level` too. Everything else becomes 0, padding included: `stride * height` bytes of `dst` are cleared. The
/// image's edge cuts the window. Windows as for `vDiscriminator`.
ZEB_API void vEventRemover(unsigned char* dst, unsigned char* src, int width, int stride, int height, int radius,
                           unsigned char level, int min_count, int square);

/// The packed form of `vEventRemover`, much faster. It gives the same pixels for a `min_count` from 0 to 127 and a
/// `radius` above 0. A `radius` of 0 copies `stride * height` bytes, whatever `level` says; one of 64 and more calls
/// `vEventRemover`.
///
/// For other counts: from column `radius + 1` on, groups of 16 columns compare the number of pixels, **limited to
/// 127**, with the low 8 bits of `min_count - 1`, taken as signed. There a `min_count` of 128 never marks a pixel, and
/// one of 129 to 256 always keeps a pixel above `level`. The groups begin below column `(width - radius - 15) & ~15`;
/// all other columns count exactly. Takes no work memory for a `radius` below 64.
ZEB_API void vMMEventRemover(unsigned char* dst, unsigned char* src, int width, int stride, int height, int radius,
                             unsigned char level, int min_count, int square);
/// @}

/// \name Normalisation
/// A `width` or `height` below 1 does nothing.
/// @{

/// Removes stripes: each column, or each row, is multiplied by the gain that makes its robust mean the mean of all of
/// them. Pixels outside `low` to `high` count as 0: they take no part in the means and become 0.
///
/// A line's level is 1 plus the trimmed mean bin index (`hist_average` with the two fractions) of its grey values from
/// 1 on, that is, its trimmed mean grey value; the gain is the mean of the levels divided by the line's own. A line
/// without a sample above 0 becomes black. Products are limited to 255, rounded to nearest, ties to even, in whole
/// groups of 16 columns and truncated in the last `width & 15` columns.
///
/// With an upper quantile up to 0.001, a line of a single sample gets a mean that is no number (see `hist_average`),
/// and so do all gains but those of black lines. The pixels of these lines, those that count as 0 included, become 255
/// in whole groups and 0 behind them.
/// \param dst                              may be `src`; the padding is left alone
/// \param lower_fraction, upper_fraction   the quantiles between which the means are taken, 0 to 1
/// \param by_rows                          0 for a gain per column, else a gain per row
/// \param step                             samples every `step`-th row for columns. For rows takes eight of each
///                                         `8 * step` columns, and all of the last `width & 7` ones unless the last
///                                         such stride passes the row's end. Limited so that some 50 samples remain: at
///                                         most `height / 50` or `width / 50`, at least 1.
ZEB_API void vLineRowFilter(unsigned char* dst, unsigned char* src, unsigned char low, unsigned char high,
                            float lower_fraction, float upper_fraction, int by_rows, int width, int stride, int height,
                            int step);

/// Divides an image by a brightness surface: `src * (target / surface(coefficients, x, y))`, limited to 0..255 and
/// truncated. The columns are mapped to `x = c * (last_x - first_x) / width + first_x - offset_x`, rows alike.
/// \param dst            may be `src`; the padding is left alone
/// \param coefficients   handed on to `surface`
/// \param surface        called once per pixel, row by row. Its exceptions pass through; an empty one throws
///                       `std::bad_function_call` at the first pixel. A value of 0 gives 255, for a pixel or `target`
///                       of 0 no defined result.
/// \param target         the grey value that a pixel as bright as the surface becomes
ZEB_API void AdaNorm(unsigned char* dst, unsigned char* src, const std::vector<float>& coefficients, float offset_x,
                     float offset_y, std::function<float(const std::vector<float>&, float, float)> surface, int width,
                     int stride, int height, int first_x, int last_x, int first_y, int last_y, unsigned char target);
/// @}

}  // namespace zeb
