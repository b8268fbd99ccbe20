#pragma once

#include <functional>
#include <vector>

#include "zeb/export.h"
#include "zeb/image.h"

/// \file
/// Neighbourhood filters: gradients and edges, grey-level filters, normalisation.
///
/// Raw functions take one `stride` for all the images of a call unless they name several. The destination must not
/// overlap a source except where a function says otherwise. Addresses and strides need no alignment. Raw functions
/// return with the destination untouched where there is no memory for their work arrays.

namespace zeb {

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
/// negative radius does nothing.
/// @{

/// Robust local grey value. A Gaussian window weighs the pixels around each pixel into a histogram, of which a band
/// between two quantiles is read: its mean, or its width. With the fractions 0 and 1 the mean is a Gaussian blur, with
/// equal fractions it is a weighted median.
///
/// The arithmetic is fixed point with 15 bits for the weights and truncates throughout, so a mean is the exact one or
/// slightly less. Eight pixels are filtered at a time: with `hx = size_x / 2` and `hy = size_y / 2`, the groups begin
/// at the columns `hx, hx + 8, ...` below `(width & ~7) - hx`, and rows run from `hy` to `height - hy - 1`. Each group
/// is written whole. So it may reach into the right border, and with an `hx` of 1 to 3 it reaches behind column `width
/// & ~7`, into the padding or the first columns of the next row if need be, though never behind the last row with its
/// stride. What no group covers is left alone. \param src                    up to 6 bytes behind the last row are read
/// where the last group needs them for pixels
///                               in the right border, unless the stride exceeds `width & ~7` by as much
/// \param fraction1, fraction2   the quantiles, 0 to 1, in any order. Equal ones select a single unit of weight.
/// \param size_x, size_y         window size in pixels; `2 hx + 1` by `2 hy + 1` pixels are used. An image of less
/// rows,
///                               or with `width & ~7` below `2 hx + 1`, is left alone.
/// \param falloff                the weight of a pixel at (x, y) from the centre is `exp(-(x^2 + y^2) |falloff|)`
/// \param mode                   0 for the mean grey value within the band, anything else for its width, the distance
/// in
///                               grey levels between the quantiles
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
/// `dst`; the rest of `dst` is left alone. Note the order `width, height, stride`. \param dst    may be `src` \param
/// mode   0 for the mean, truncated. 1 for the minimum and 2 for the maximum **of this and all earlier cells**,
///               row by row: a 0 in the first cell makes all cells 0. Any other value does nothing.
/// A cell size below 1 does nothing.
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
