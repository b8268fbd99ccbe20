#pragma once

#include <cstdint>

#include "zeb/export.h"
#include "zeb/image.h"

/// \file
/// Lines, rectangles, rings and filled rectangles, and the choice between two images under a mask.
///
/// All drawing clips; coordinates may lie anywhere. Mind the order of the arguments, which differs between the raw
/// functions.

namespace zeb {

/// How `draw_circle` writes a pixel.
enum class DrawMode : std::int32_t {
  overwrite = 0,  ///< pixel = value
  subtract = 1,   ///< pixel = pixel - value, modulo 256
  add = 2,        ///< pixel = pixel + value, modulo 256
};

/// A line from `from` to `to` with a round brush, see `vLine`; `to` itself is not painted.
ZEB_API void draw_line(Bitmap_<unsigned char>& bitmap, Point_<int> from, Point_<int> to, unsigned char value,
                       int radius);

/// The outline of a rectangle, see `vDrawRect`: from `corner` to `corner + (width, height)`, both included.
ZEB_API void draw_rect(Bitmap_<unsigned char>& bitmap, Point_<int> corner, int width, int height, float thickness,
                       unsigned char value);
/// The outline of a rectangle of pixels. Its right and bottom sides lie one pixel beyond the rectangle's inclusive
/// edge, so that the outline encloses what the rectangle covers.
ZEB_API void draw_rect(Bitmap_<unsigned char>& bitmap, Rect__<Point_<int>> rect, float thickness, unsigned char value);
/// The outline of a rectangle in micrometres. Corner and extents are divided by the pixel size and truncated toward
/// zero, the extents after one micrometre was added for the inclusive corner. The pixel sizes must not be 0.
ZEB_API void draw_rect(Bitmap_<unsigned char>& bitmap, Rect__<Point_<um>> rect, float thickness, unsigned char value);

/// A ring, see `vDrawCircle`.
ZEB_API void draw_circle(Bitmap_<unsigned char>& bitmap, Point_<int> center, float radius, float thickness,
                         unsigned char value, DrawMode mode);

/// A filled rectangle, see `vFillRect`: the ends `x2`, `y2` are excluded, and it may wrap around the image.
ZEB_API void fill_rect(Bitmap_<unsigned char>& bitmap, int x1, int y1, int x2, int y2, unsigned char value);
/// A filled rectangle in micrometres. Its corners are divided by the pixel size and truncated toward zero; the pixels
/// from the top-left one up to, and without, the bottom-right one are filled. Ends the process where the top-left pixel
/// is outside the image (`x` may equal `width`), or where the rows to fill have a negative width. The other corner is
/// not checked: a row that is too long runs on into the padding and the next row, but never beyond the image's last
/// row. The pixel sizes must not be 0.
ZEB_API void fill_rect(Bitmap_<unsigned char>& bitmap, const Rect__<Point_<um>>& rect, unsigned char value);

/// Fills the area of equal grey value around `seed` with `value`, see the raw `flood_fill`.
ZEB_API void flood_fill(Bitmap_<unsigned char>& bitmap, Point_<unsigned int> seed, unsigned char value);

/// \name Choice under a mask
/// Each pixel of `dst` becomes that of `second` where `mask` is not 0, else that of `first`; either may be a constant.
/// `dst` rules width, stride and height, and nothing is checked: all images must be laid out alike. `dst` may be any
/// of the sources or the mask. Padding is not written.
/// @{

/// Chooses between two images.
ZEB_API void interleave(Bitmap_<unsigned char>& dst, const Bitmap_<unsigned char>& first,
                        const Bitmap_<unsigned char>& second, const Bitmap_<unsigned char>& mask);
/// Chooses between an image and a constant.
ZEB_API void interleave(Bitmap_<unsigned char>& dst, const Bitmap_<unsigned char>& first, unsigned char second,
                        const Bitmap_<unsigned char>& mask);
/// Chooses between a constant and an image.
ZEB_API void interleave(Bitmap_<unsigned char>& dst, unsigned char first, const Bitmap_<unsigned char>& second,
                        const Bitmap_<unsigned char>& mask);
/// Chooses between two constants.
ZEB_API void interleave(Bitmap_<unsigned char>& dst, unsigned char first, unsigned char second,
                        const Bitmap_<unsigned char>& mask);
/// @}

}  // namespace zeb

/// A line of stamps of a filled disc, the pixels at a distance of at most `radius` (0 gives single pixels, a negative
/// one draws nothing), one per step of a pixel along the longer extent; equal extents step in y. The end point is left
/// out, so a line from a point to itself draws nothing, and a closed path of lines paints no point twice. The other
/// coordinate is `start + i * slope + 0.5`, summed up in `float` and truncated toward zero. Clips at `stride`, not at a
/// width: padding is painted.
ZEB_API void vLine(unsigned char* dst, int x1, int y1, int x2, int y2, int stride, int height, unsigned char value,
                   int radius);

/// The four sides of the rectangle from (`x`, `y`) to (`x + width`, `y + rect_height`), both included, drawn by `vLine`
/// with a radius of `thickness` rounded, halves away from zero. `height` and `stride` are the image's.
ZEB_API void vDrawRect(unsigned char* dst, int height, int stride, int x, int y, int width, int rect_height,
                       float thickness, unsigned char value);

/// A ring around (`x`, `y`): the pixels whose squared distance is strictly between `(radius - thickness)^2` and
/// `radius^2`, in columns `x - r` to `x + r - 1` and rows `y - r` to `y + r - 1`, with `r` the `radius` rounded, halves
/// away from zero: a radius with a fraction below one half loses its rightmost column and its lowest row. A thickness
/// above the radius does not fill the disc but leaves a hole again. A negative radius or thickness draws nothing; so
/// does a `mode` that is no `DrawMode`. Clips at `width`.
ZEB_API void vDrawCircle(unsigned char* dst, int width, int height, int stride, int x, int y, float radius,
                         float thickness, unsigned char value, int mode);

/// Fills columns `x1` to `x2` of rows `y1` to `y2`, ends excluded, padding included. A start outside the buffer (`x` by
/// `stride`, `y` by `height`) counts as 0, an end outside it as the full extent. With `x1 > x2` the rows of the range
/// are filled over their whole length, with `y1 > y2` the columns over the whole height, with both everything outside
/// the rectangle from (`x2`, `y2`) to (`x1`, `y1`).
ZEB_API void vFillRect(unsigned char* dst, int x1, int y1, int x2, int y2, int stride, int height, unsigned char value);

/// Fills the area of pixels that equal the seed's and are connected to it over their sides (not their corners) with
/// `value`; a seed that has that value already changes nothing. The seed itself is not checked and must lie inside the
/// buffer; one in the padding fills itself and what is connected to it within `width`. Memory grows with the outline of
/// the area: throws `std::bad_alloc` where it is short.
/// Source: P. S. Heckbert, "A Seed Fill Algorithm", Graphics Gems (1990), in its form with runs.
ZEB_API void flood_fill(unsigned char* data, unsigned int width, unsigned int height, unsigned int stride,
                        unsigned int x, unsigned int y, unsigned char value);

/// Grows a mask over pixels of similar grey value: a clear mask pixel becomes 255 where one of its eight neighbours is
/// set (not 0) and their grey values in `src` differ by at most `tolerance`, repeatedly, forward and backward, until a
/// pass changes nothing. The outermost rows and columns are read as seeds but never set. `src` and `mask` share the
/// geometry and must be different images. Images of fewer than 3 rows or columns stay as they are.
ZEB_API void vFillContMsk(const unsigned char* src, unsigned char* mask, int width, int stride, int height,
                          unsigned char tolerance);

/// Paints the regions inside closed outlines, layer by layer: areas inside the outermost outlines become 255, those of
/// outlines within them 0, and so on, at most 100 layers deep. What lies within 3 pixels of an outline does not count
/// as inside. A set pixel of `src` is one that is not 0. Each layer handles at most 10000 outlines; a single pixel has
/// no area and cannot be passed, so that it uses up its layer and what lies below it in the image stays unpainted.
///
/// \param dst     cleared first, padding included, then painted; may be `src`
/// \param close   other than 0: gaps in the outlines are closed first, by a square of radius 1 and a disk of radius 2,
///                which take only pixels above 1 as set: outlines of value 1 vanish
/// \param cancel  null, or a word that ends the work when another thread makes it non-zero: it is read before each
///                layer and each outline, without synchronisation. What was painted so far stays
///
/// Returns without touching `dst` where a pointer is null, the size is below 1, `stride` below `width`, `height *
/// stride` beyond 32 bits or there is no memory for the work images. Throws `std::bad_alloc` where an outline finds no
/// memory; what was painted so far stays then.
ZEB_API void FloodFill(unsigned char* dst, const unsigned char* src, int width, int height, int stride, int close,
                       unsigned int* cancel);
/// The same with `close` 1.
ZEB_API void FloodFill(unsigned char* dst, const unsigned char* src, int width, int height, int stride,
                       unsigned int* cancel);

/// \name Choice under a mask on plain buffers
/// As `zeb::interleave`. Where both sources are constants given as plain literals, name their type:
/// `vBMInterleave(p, std::uint8_t{0}, std::uint8_t{0}, p, w, s, h)`, since a literal 0 may be a pointer as well.
/// @{

/// Chooses between two images.
ZEB_API void vBMInterleave(unsigned char* dst, const unsigned char* first, const unsigned char* second,
                           const unsigned char* mask, int width, int stride, int height);
/// Chooses between an image and a constant.
ZEB_API void vBMInterleave(unsigned char* dst, const unsigned char* first, unsigned char second,
                           const unsigned char* mask, int width, int stride, int height);
/// Chooses between a constant and an image.
ZEB_API void vBMInterleave(unsigned char* dst, unsigned char first, const unsigned char* second,
                           const unsigned char* mask, int width, int stride, int height);
/// Chooses between two constants.
ZEB_API void vBMInterleave(unsigned char* dst, unsigned char first, unsigned char second, const unsigned char* mask,
                           int width, int stride, int height);
/// @}
