#pragma once

#include "zeb/export.h"
#include "zeb/image.h"

/// \file
/// Warps, the fitting of their parameters to points, and resampling.
///
/// All warps work backward: each destination pixel is computed from a source position, in single precision. Pixel
/// (0, 0) has the position (0, 0), x grows to the right and y downward. A source position between four pixels is
/// inside the image; one outside gives `background`. The last column and the last row are never inside, not even a
/// position exactly on them, so an image that is warped onto itself loses both. NaN and infinite positions are outside.
///
/// The packed forms, whose names begin with `mm_` and which the typed functions call, and the scalar forms differ:
///
/// | | scalar | packed |
/// |---|---|---|
/// | division by `scale` | exact | by the processor's reciprocal estimate, relative error up to 1.5 * 2^-12 |
/// | sum to pixel | rounds up from a fraction of 0.51 | to nearest, ties to even |
/// | columns written | `width` | `width` rounded up to a multiple of 4 |
/// | start of a row in `dst` | `y * stride` | `y * stride`, the stride rounded down to a multiple of 4 |
///
/// So with the packed forms the stride should be a multiple of 4. The room behind the last column is written where
/// `width` is no multiple of 4: `dst` must hold `(height - 1) * (stride & ~3) + ((width + 3) & ~3)` bytes. As the
/// estimate differs between processor makes, so may pixels of the packed rotations.
///
/// `dst` and `src` must not overlap. A `width` or `height` below 1 does nothing. No warp allocates memory.

namespace zeb {

/// \name Warps of images
/// `dst` and `src` must differ in `data` and agree in `height` and `stride`, else the process ends; their widths are
/// not compared. Angles are in degrees; a positive one turns the picture from the x axis toward the y axis.
/// @{

/// Rotation about the top left corner, across the whole stride: the padding takes part as image columns. See the raw
/// `rotate`.
ZEB_API void rotate(Mat<unsigned char>& dst, Mat<unsigned char>& src, float angle_degrees, unsigned char background);

/// Displaces each pixel by (`kx`, `ky`) times its distance `(x + y) / sqrt(2)` from the top left corner along the
/// diagonal: `mm_stretch_shear` with the direction (1, 1), and the size of `src`.
ZEB_API void shear(Mat<unsigned char>& dst, Mat<unsigned char>& src, float kx, float ky, unsigned char background);

/// `shear` with `factor` in both directions. It stretches along the diagonal, not along the axes.
ZEB_API void stretch(Mat<unsigned char>& dst, Mat<unsigned char>& src, float factor, unsigned char background);

/// Shifts by (`tx`, `ty`) pixels, then rotates and scales about the top left corner: `mm_transform` with the size of
/// `src`. A `scale` of 2 doubles the size. The angle in radians is `(angle_degrees * 3.1415927f) / 180.0f`, which is
/// not always what `rotate` makes of it.
ZEB_API void transform(Mat<unsigned char>& dst, Mat<unsigned char>& src, float scale, float angle_degrees, float tx,
                       float ty, unsigned char background);

/// The same with the shift in micrometres, measured by the pixel sizes of `dst`. Those of `src` are not looked at.
ZEB_API void transform(Bitmap_<unsigned char>& dst, Bitmap_<unsigned char>& src, float scale, float angle_degrees,
                       Point_<um> shift, unsigned char background);

/// Shift by whole pixels across the whole stride, padding included; see the raw `translate`, without wrapping.
ZEB_API void translate(Mat<unsigned char>& dst, Mat<unsigned char>& src, float dx, float dy, unsigned char background);

/// The same with the shift in micrometres. Both images must have equal pixel sizes, else the process ends.
ZEB_API void translate(Bitmap_<unsigned char>& dst, Bitmap_<unsigned char>& src, Point_<um> shift,
                       unsigned char background);
/// @}

/// A smaller image: `transform` by the scale `factor`, cut to its top left part. Pixels are interpolated between
/// direct neighbours only, without a low-pass filter before. Width, stride and height of the result are those of `src`
/// multiplied by `factor` and truncated, its pixel sizes are those of `src` divided by `factor`. Its padding is not
/// initialised. Even with a factor of 1 it goes through the packed warp, whose reciprocal is an estimate; so the stride
/// of `src` should be a multiple of 4. A factor that leaves no whole column or row gives an image without pixels. The
/// process ends for a factor above 1 or NaN and for a stride of `src` below its width. Throws `std::bad_alloc` ("bad
/// allocation").
ZEB_API Image<unsigned char> downsampling(Bitmap_<unsigned char>& src, float factor);

/// \name Warps of plain buffers
/// Both images have the same `stride` and the size `width` by `height`.
/// @{

/// Bilinear rotation, scaling and shift, scalar form. The source position of the pixel (x, y) is
/// \code
/// xn = (x - cx) / scale,                      yn = (y - cy) / scale
/// sx = (xn * cos + yn * sin) + (cx - tx),     sy = (yn * cos - xn * sin) + (cy - ty)
/// \endcode
/// \param cx,cy    the fixed point
/// \param tx,ty    the shift, in pixels of `src`: what stands at (`cx - tx`, `cy - ty`) goes to the fixed point
/// \param angle    in radians; a positive one turns the picture from the x axis toward the y axis
/// \param scale    2 doubles the size; 0 gives `background` everywhere
/// Writes exactly `width` by `height` pixels.
ZEB_API void transform(unsigned char* dst, unsigned char* src, int width, int stride, int height, float cx, float cy,
                       float tx, float ty, float angle, float scale, unsigned char background);

/// The packed form of the raw `transform`. Its differences stand at the top of this file: `1 / scale` is an estimate,
/// so a `scale` of 1 moves pixels a little, the more the farther they are from the fixed point.
ZEB_API void mm_transform(unsigned char* dst, unsigned char* src, int width, int stride, int height, float cx, float cy,
                          float tx, float ty, float angle, float scale, unsigned char background);

/// `mm_transform` with the nearest pixel instead of a weighted sum, for label and binary images: all values come from
/// `src` unaltered. The position is rounded to nearest, ties to even, before the inside test, so that -0.5 is inside.
ZEB_API void mm_morph_transform(unsigned char* dst, unsigned char* src, int width, int stride, int height, float cx,
                                float cy, float tx, float ty, float angle, float scale, unsigned char background);

/// A copy of `src` whose last column and last row are `background`. The six floats are ignored, unlike in
/// `mm_stretch_shear`; the function stands for callers that pick a scalar form by its signature.
ZEB_API void stretch_shear(unsigned char* dst, unsigned char* src, int width, int stride, int height, float cx,
                           float cy, float nx, float ny, float kx, float ky, unsigned char background);

/// Bilinear displacement in proportion to the distance along a direction, packed form. With (`nx`, `ny`) brought to
/// unit length, the source position of the pixel (x, y) is
/// \code
/// d = (x - cx) * nx + (y - cy) * ny,   sx = x - d * kx,   sy = y - d * ky
/// \endcode
/// \param cx,cy    the point that stays in its place
/// \param nx,ny    the direction; a null vector displaces nothing
/// \param kx,ky    displacement per unit of distance
ZEB_API void mm_stretch_shear(unsigned char* dst, unsigned char* src, int width, int stride, int height, float cx,
                              float cy, float nx, float ny, float kx, float ky, unsigned char background);

/// Rotation about the top left corner: `mm_transform` with the `width` as stride, a scale of 1 and the angle
/// `(angle_degrees / 180.0f) * 3.1415927f`. The fixed point is (-1e-6, -1e-6).
ZEB_API void rotate(unsigned char* dst, unsigned char* src, int width, int height, float angle_degrees,
                    unsigned char background);

/// Shift by whole pixels; the rows of both images are `width` bytes apart. `dx + 0.5f` and `dy + 0.5f` are truncated
/// toward zero: 1.5 shifts by 2, -0.7 not at all, -1.7 by -1. What is left open becomes `background`; a shift by the
/// width and more, and one that is infinite or NaN, leaves everything open.
/// \param wrap   with the lowest bit set, rows that leave the image at the bottom or top come in again at the other
///               end; columns never do. A `dy` that no integer holds then counts as -2^31. The other bits are ignored.
ZEB_API void translate(unsigned char* dst, unsigned char* src, int width, int height, float dx, float dy,
                       unsigned char background, int wrap);
/// @}

/// Rotates a point about the origin by `angle` radians and turns its y axis round: `out_x = c * x - s * y`,
/// `out_y = s * x - c * y`. An angle of 0 gives (x, -y).
ZEB_API void rotate_point(float angle, float x, float y, float* out_x, float* out_y);

/// \name Parameters of a warp from pairs of points
/// `n` points (`x1[i]`, `y1[i]`) correspond to the points (`x2[i]`, `y2[i]`). The fit is a chain of sums in single
/// precision, not a least-squares solution: centre and shift from the means, the angle from a sum of cross products,
/// the scales as geometric means of length ratios. The first six results are the six floats of `mm_transform` in order.
///
/// The points are overwritten: on return the first set is relative to the centre, the second one too and, besides,
/// shifted and rotated onto the first.
///
/// \param center_x,center_y  mean of the first set
/// \param shift_x,shift_y    mean offset from the second set to the first
/// \param angle              rotation from the second set to the first in radians, -pi/2 to pi/2, as only its sine is
///                           determined. Rounding may take that beyond 1: angle and second set are NaN then, the scales
///                           1
/// \param scale              scale from the second set to the first
/// \param scale_x,scale_y    the same for each axis alone
/// @{

/// All pairs alike. A pair whose rotated second point lies on the centre does not enter a scale but is counted in its
/// exponent `1 / (2 n)`, which pulls the scale toward 1. With `n` 0, centre and shift are NaN.
ZEB_API void calc_param(float* x1, float* y1, float* x2, float* y2, int n, float* center_x, float* center_y,
                        float* shift_x, float* shift_y, float* angle, float* scale, float* scale_x, float* scale_y);

/// With a weight for each pair, and further factors for its x and y coordinates. A sum of weights that is not positive
/// gives a centre and a shift of 0. Unlike above, the exponents count only the weights of what entered; the ratios of
/// the axes are signed, and a pair whose coordinates differ in sign does not enter.
ZEB_API void calc_param_weight(float* x1, float* y1, float* x2, float* y2, float* weight, float* weight_x,
                               float* weight_y, int n, float* center_x, float* center_y, float* shift_x, float* shift_y,
                               float* angle, float* scale, float* scale_x, float* scale_y);
/// @}

/// Resamples an image through two tables, bilinearly. The last `width & 3` columns take their pixel from the position
/// (`map_x[x]`, `y + map_y[y]`) and are cut to 8 bits after 0.49 was added. The whole groups of 4 columns before them
/// take it from (`map_x[x]`, `y + map_y[y + (x & 3)]`), round to nearest, ties to even, and saturate; their rows
/// start in `dst` at multiples of the stride rounded down to a multiple of 4. Tables with a slowly varying `map_y`
/// hide the difference.
/// \param map_x        `width` absolute columns
/// \param map_y        `height + 3` offsets from a row
/// \param x_min,x_max,y_min,y_max   positions with `x_min <= floor(x) < x_max` and `y_min <= floor(y) < y_max` are
///                     inside. For the whole image pass 0, `width - 1`, 0, `height - 1`; nothing checks that bounds
///                     stay within that
/// \param background   for positions outside; rounded as a pixel is, so values off 0..255 depend on the column
ZEB_API void map_data(unsigned char* dst, unsigned char* src, int width, int stride, int height, float* map_x,
                      float* map_y, int x_min, int x_max, int y_min, int y_max, float background);

/// Reduces an image by an integer factor: each output pixel is the maximum over a disk of radius `factor / 2 + 1`
/// around its place in `src`. The disk is clipped by the coordinates of the output pixel against the size of `src`: the
/// first rows and columns of the output see less of the disk than there is, while the last ones are not clipped. With a
/// `factor` of 2 and an even size it reaches one row below the last one and one column behind it, which must be
/// readable.
/// \param dst         `out_height` rows of `out_width` pixels, `out_stride` bytes apart; padding is not written
/// \param out_width,out_height   `width / factor` and `height / factor`
/// \param out_stride  `out_width` rounded up to a multiple of 4
/// \param factor      from 1 to a tenth of width and height; a larger one, 0, and a lack of memory write nothing at
///                    all. A negative one writes the three sizes, then negative, and no pixels
ZEB_API void reduce_resolution(unsigned char* dst, unsigned char* src, int* out_width, int* out_height, int* out_stride,
                               int width, int height, int stride, int factor);

// ---- rotation search ------------------------------------------------------------------------------------------------

/// \name Rotation between two images
/// Neither needs points that correspond, and neither warps anything.
/// @{

/// Measures how one image is turned and scaled against another from the straight lines in both: their directions give
/// the rotation, the spacings of parallel ones the scale. Lines are found by random sampling, see `CalcLinesRandom`,
/// which seeds the process-wide `rand`; both images should be edge images.
///
/// Directions and spacings go into histograms of `2 * trunc(sqrt(width * height))` bins, 2000 at most. Images without
/// lines give an angle of 0 and a scale somewhat below 1. Where memory is short, or a size is below 1, neither is
/// written.
/// \param angle    rotation in radians, the second image's directions minus the first one's, -pi to pi
/// \param scale    the second image's spacings divided by the first one's: 1.1 where its lines are 10 % farther apart.
///                 Sought within about 15 % of 1
ZEB_API void vFindRotationAngle(float* angle, float* scale, unsigned char* image1, unsigned char* image2, int width,
                                int height, int stride);

/// Measures the rotation between two images in polar form, with one row per angle step over a full turn and one column
/// per radius: the mean of the shifts of the four, out of sixteen radial bands, that agree best with all others.
/// Columns beyond 16 times `width / 16` are ignored. A shift is the number of rows, from 0 to `height` - 1, by which a
/// row of `polar2` lies behind the row of `polar1` that it agrees with, the rows closed to a ring. Shifts on both sides
/// of the end of the turn pull the mean the other way.
/// \param trace    null, or an image of `stride` by `height` pixels that receives the profiles of the bands of the
///                 second (200) and of the first image (120), the shifts found (120) and the result (255)
/// \return the angle in radians, 0 where memory is short or `height` is below 1
ZEB_API float fMatchAngleFromPolar(unsigned char* polar1, unsigned char* polar2, int width, int height, int stride,
                                   unsigned char* trace);
/// @}

}  // namespace zeb
