#pragma once

#include <cstdint>

#include "zeb/export.h"
#include "zeb/image.h"

/// \file
/// Binary morphology on grey images: a threshold splits the pixels into foreground and background on the fly, and the
/// result holds 0 and 255.
///
/// An erosion keeps a pixel (255) where no pixel under the element is background, a dilation sets it where one is
/// foreground. Positions outside the image count as neither. The functions differ in three respects:
///
/// | function | erosion takes as background | padding of `dst` | radius 0 |
/// |---|---|---|---|
/// | `vMorphOp` | pixel < threshold | is kept | thresholds |
/// | `vMorphOpThin`, `vMorphOpThinEllipse` | pixel < threshold | 255 in an erosion, 0 in a dilation | thresholds |
/// | `vMMRecursiveMorphOp`, `vMMRecursiveEllipticMorphOp` | pixel <= threshold | 0 | copies grey values and padding |
/// | `vMMMorphOpDist` | pixel <= threshold | is kept | thresholds |
///
/// (`vMorphOpThinEllipse` with equal radii below 63 and no offset belongs to the third row, and
/// `vMMRecursiveEllipticMorphOp` with a `radius_x` from 64 to the second. The latter copies where both radii are below
/// 1.)
///
/// A dilation takes `pixel > threshold` as foreground in all of them: a pixel equal to the threshold is foreground to
/// the erosion of the first two rows and background everywhere else.
///
/// The element is the square of side 2r+1, or the disk of all offsets with `dx*dx + dy*dy <= r*r`. `operation` is 0
/// for a dilation, anything else for an erosion. `dst` and `src` share the geometry and must not share pixels.
/// Addresses and strides need no alignment. Unless stated otherwise, images need hold nothing behind the last pixel.
/// With a `height` below 1 nothing is written, with a `width` below 1 only what the function says of the padding.

namespace zeb {

/// Which algorithm the entry points run. Any other value acts like `morph_direct`.
enum class MorphOpMode : std::int32_t {
  morph_auto = 0,      ///< up to a radius of 5 `morph_thin`, then `morph_recursive`, for disks from 31 `morph_distance`
  morph_distance = 1,  ///< `vMMMorphOpDist`, for disks only
  morph_recursive = 2,  ///< `vMMRecursiveMorphOp`
  morph_thin = 3,       ///< `vMorphOpThin`
  morph_direct = 4,     ///< `vMorphOp`
};

/// \name Erosion, dilation and their sequences
/// `size` is the radius in pixels, `rectangular` chooses the square instead of the disk. `mode` chooses the raw
/// function and with it the treatment of pixels equal to `threshold`, of the padding and of a negative radius. Geometry
/// comes from `src` alone; `dst` must have its shape and stride, and other pixels.
///
/// `morph_distance` with a square is not implemented: the call returns and leaves `dst` as it was.
/// @{

/// Erosion, by the rule of the raw function that `mode` chooses.
ZEB_API void erode(Mat<unsigned char>& dst, const Mat<unsigned char>& src, int size, unsigned char threshold,
                   MorphOpMode mode, bool rectangular);
/// Dilation, by the rule of the raw function that `mode` chooses.
ZEB_API void dilate(Mat<unsigned char>& dst, const Mat<unsigned char>& src, int size, unsigned char threshold,
                    MorphOpMode mode, bool rectangular);

/// An erosion, then a dilation of its result, both by the same algorithm with the same arguments. Leaves `dst` as it
/// was where there is no memory for the image between the two.
ZEB_API void opening(Mat<unsigned char>& dst, const Mat<unsigned char>& src, int size, unsigned char threshold,
                     MorphOpMode mode, bool rectangular);
/// With a disk a dilation, then an erosion. With a square this is `opening`, in every mode: it erodes first. Memory as
/// in `opening`.
ZEB_API void closing(Mat<unsigned char>& dst, const Mat<unsigned char>& src, int size, unsigned char threshold,
                     MorphOpMode mode, bool rectangular);
/// @}

}  // namespace zeb

/// Erosion or dilation that looks at the element around each pixel. Writes the columns below `width` only.
///
/// Throws `std::bad_alloc` ("bad allocation") and leaves `dst` as it was where the element of `(2*radius+1)^2` bytes
/// finds no memory, which includes any negative radius and radii above 23167.
ZEB_API void vMorphOp(unsigned char* dst, const unsigned char* src, int width, int stride, int height, int radius,
                      int operation, unsigned char threshold, int rectangular);

/// Erosion or dilation that stamps the element around each background or foreground pixel. Same pixels as `vMorphOp`,
/// but fills the padding: 255 in an erosion, 0 in a dilation. Memory as in `vMorphOp`.
ZEB_API void vMorphOpThin(unsigned char* dst, const unsigned char* src, int width, int stride, int height, int radius,
                          int operation, unsigned char threshold, int rectangular);

/// Erosion or dilation by a running count of the decisive pixels under the element. Allocates nothing.
///
/// A `radius` of 0 copies `stride * height` bytes, grey values and padding included; any other clears the padding to 0.
/// A negative one leaves `dst` as it was.
///
/// Images with `width <= 2 * radius`, for a `radius` up to 63, give no clipped result. While the element moves over the
/// columns 0 to `radius`, the pixels that enter on the right are counted wherever they lie: the padding and then the
/// start of the next row, and they remain counted. So `src` must be readable up to `2 * radius + 1` bytes from the
/// start of its last row. With `width <= radius`, columns `width` to `radius` are processed as well, each row writing
/// its 255s there over what the row above left: `dst` must be writable up to `radius + 1` bytes from the start of its
/// last row. A `width` below 1 is no exception. Larger radii are clipped like everything else.
ZEB_API void vMMRecursiveMorphOp(unsigned char* dst, const unsigned char* src, int width, int stride, int height,
                                 int radius, int operation, unsigned char threshold, int rectangular);

/// `vMMRecursiveMorphOp` with a rectangle or an ellipse of half-axes `radius_x` and `radius_y`. The result at row `y`
/// comes from the element around row `y - offset_y`.
///
/// - Both radii below 1: copies `stride * height` bytes. Otherwise a negative one leaves `dst` as it was.
/// - `radius_x` from 64: acts as `vMorphOpThinEllipse`, with its background rule and padding.
/// - `radius_x` below 64: `offset_x` is ignored, and what `vMMRecursiveMorphOp` says of narrow images holds with
///   `radius_x` for the radius.
/// - The ellipse reaches `trunc(sqrt(1 - q*q + 0.0001) * radius_x)` columns to either side, with `q = dy/radius_y`, in
///   single precision; a `radius_y` of 0 leaves the centre pixel alone. Give line elements as rectangles.
/// - `radius_y` above 63: columns from `radius_x + 1` are processed in groups of 16, whose count changes from one
///   column to the next by a signed byte. Where 128 and more rows change the same way at once, that change wraps around
///   and the count stays wrong to the end of the row; a group takes a count below 0 as nothing counted in a dilation
///   and as something counted in an erosion. Images of fewer than 128 rows are not affected.
ZEB_API void vMMRecursiveEllipticMorphOp(unsigned char* dst, const unsigned char* src, int width, int stride,
                                         int height, int radius_x, int radius_y, int offset_x, int offset_y,
                                         int operation, unsigned char threshold, int rectangular);

/// `vMorphOpThin` with a rectangle or an ellipse of half-axes `radius_x` and `radius_y`: each background or foreground
/// pixel stamps the element around (`x + offset_x`, `y + offset_y`).
///
/// - Equal radii below 63 without offsets: acts as `vMMRecursiveMorphOp`, with its background rule, padding and copy.
/// - A negative radius leaves `dst` as it was.
/// - The ellipse is the set of offsets with `(dx/radius_x)^2 + (dy/radius_y)^2 <= 1.0001` in single precision; with a
///   radius of 0 it keeps the column `dx = 0` of each row. Give line elements as rectangles.
/// - Half-widths are taken modulo 65536.
ZEB_API void vMorphOpThinEllipse(unsigned char* dst, const unsigned char* src, int width, int stride, int height,
                                 int radius_x, int radius_y, int offset_x, int offset_y, int operation,
                                 unsigned char threshold, int rectangular);

/// Erosion or dilation with a disk, by the distance to the nearest decisive pixel: 255 in an erosion where that is more
/// than `radius`, in a dilation where it is not. A `radius` above 253 counts as 253, a negative one leaves `dst` as it
/// was. Writes the columns below `width` only. Allocates nothing.
///
/// The result is that of the distance transform by A. Meijster, J. B. T. M. Roerdink and W. H. Hesselink, "A general
/// algorithm for computing distance transforms in linear time" (2000), cut at the radius.
ZEB_API void vMMMorphOpDist(unsigned char* dst, const unsigned char* src, int width, int stride, int height, int radius,
                            int operation, unsigned char threshold);
