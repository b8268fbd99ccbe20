#pragma once

#include <array>
#include <cstdint>
#include <stdexcept>
#include <vector>

#include "zeb/export.h"
#include "zeb/image.h"

/// \file
/// Chain-coded outlines: the shape class, tracing, collections, hulls, rendering, measures and the contour scan.
///
/// A chain code describes an 8-connected walk over pixels, one `char` per step (H. Freeman, "On the encoding of
/// arbitrary geometric configurations", 1961). With x to the right and y downward, the codes are
///
///     6 5 4        code   0       1      2      3      4       5      6       7
///     7 . 3        step (-1,1)  (0,1)  (1,1)  (1,0)  (1,-1)  (0,-1) (-1,-1) (-1,0)
///     0 1 2
///
/// Code 0 is deliberately not the step to the right.

/// Thrown for a chain code outside 0 to 7, "chain code value out of range ([0,7])".
struct ZEB_API invalid_chain_code_element : public std::invalid_argument {
  invalid_chain_code_element();
  invalid_chain_code_element(const invalid_chain_code_element& other);
  invalid_chain_code_element& operator=(const invalid_chain_code_element& other);
  ~invalid_chain_code_element() override;
};

namespace zeb {

using ::invalid_chain_code_element;

/// The outline of a connected set of pixels: a start pixel and a chain code, with the extents and the orientation that
/// the tracer measured on its way.
///
/// The chain of a traced shape is closed: its last step leads back into the start pixel. `size()` counts steps, not
/// pixels; a pixel may be visited more than once, and a line one pixel wide is walked out and back. An isolated pixel
/// has no steps: `size()` is 0 and `empty()` false. `empty()` alone tells that no shape was found.
class ZEB_API Shape {
 public:
  /// The intended largest chain, for callers. Nothing here enforces it: chains may be longer.
  static const unsigned int max_count = 131072;

  /// No shape: `empty()` is true, everything else zero or false.
  Shape();
  /// Takes over `chain`, which is left empty, and stores the rest as given. Nothing is checked. `empty()` is false.
  Shape(std::vector<char>&& chain, int start_x, int start_y, int min_x, int max_x, int min_y, int max_y,
        bool counter_clockwise, int rot);
  Shape(const Shape& other);
  /// Takes over the chain; all else is copied, so that `other` keeps its extents and its `empty()`.
  Shape(Shape&& other) noexcept;
  Shape& operator=(const Shape& other);
  /// As the move constructor; moving a shape onto itself changes nothing.
  Shape& operator=(Shape&& other) noexcept;
  ~Shape();
  void swap(Shape& other);

  /// Moves the start pixel and the extents. The chain and `rot()` stay, although `rot()` depends on the position.
  void add_offset(int dx, int dy);

  /// The extents as a rectangle, both corners inclusive.
  Rect__<Point_<int>> boundary() const;
  /// The first of `size()` codes; null for a chain that never had any.
  char* chain_code();
  const char* chain_code() const;
  /// True where no shape was found. An isolated pixel is a shape.
  bool empty() const;
  /// True for a walk with the shape on its right hand as seen on a screen, which runs anticlockwise in a frame with y
  /// upward. It is what the shape was constructed with; nothing checks it against the chain.
  bool is_counter_clockwise() const;
  /// Extents of the pixels visited, inclusive.
  int max_x() const;
  int max_y() const;
  int min_x() const;
  int min_y() const;
  /// The rectangle of smallest area around the convex hull, see `vMER`: its corners, truncated toward zero, and the
  /// lengths of its longer and its shorter side in pixels. Sides are measured between pixel centres. For up to 8 steps
  /// everything is zero, and so it is for a line. The shape should be traced with `ascending`: the hull of a walk the
  /// other way round is no hull. Neither pointer may be null.
  std::array<Point_<int>, 4> minimum_enclosing_rectangle(float* length, float* width) const;
  /// The signed sum that the tracer accumulated, see `find_next_shape`.
  int rot() const;
  /// Number of steps.
  std::uint64_t size() const;
  /// Where the walk begins and ends.
  Point_<int> start_point() const;

 private:
  std::vector<char> chain_;
  Point_<int> start_;
  int min_x_ = 0, max_x_ = 0, min_y_ = 0, max_y_ = 0;
  bool counter_clockwise_ = false;
  int rot_ = 0;
  bool empty_ = true;
};

}  // namespace zeb

// ---- tracing --------------------------------------------------------------------------------------------------------

namespace zeb {

/// From which side a start pixel is sought.
enum class Find_Active_Pixel_Mode : std::int32_t {
  from_left = 0,    ///< rows, each from its left end
  from_right = 1,   ///< rows, each from its right end
  from_bottom = 2,  ///< columns; see the two forms for where each begins
  from_top = 3,     ///< columns
};

/// \name Tracing
/// Finds a set pixel, one that is not 0, and walks around the outer border of its 8-connected component. The image is
/// only read. Without a start pixel the result's `empty()` is true; so it is for a `width` or `height` below 1.
///
/// The walk. Direction codes increase anticlockwise on a screen. From a pixel reached in direction d, the walk moves on
/// to the first set neighbour inside the image among the codes d-2, d-1, d... upward with `ascending`, or d+3, d+2,
/// d+1... downward without. A start on the outer border is thus walked around anticlockwise on a screen with
/// `ascending`, clockwise without; `is_counter_clockwise()` is `!ascending`. The walk ends as soon as it is about to
/// repeat its first step, from the start pixel to the same pixel: passing through the start pixel elsewhere goes on, so
/// that a figure of eight is walked whole.
///
/// `rot()` is the sum over all steps of x*dy - y*dx, with (x, y) the pixel before the step, the repetition of the first
/// step included, plus one more such term: that of the last code at the pixel the first step leads to. It wraps around
/// in 32 bits. On a 2 by 2 block at the origin, without `ascending`, the chain is 3, 1, 7, 5 and `rot()` is 1.
///
/// A start that is not on the outer border, such as one in the middle of a row of set pixels with others above, can
/// lead into a walk that never repeats its first step. It ends with `std::length_error` ("vector<T> too long") as soon
/// as that is certain. Where memory is short, `std::bad_alloc` is thrown.
///
/// `x`, `y` and `index` should lie inside the image: those outside its buffer find nothing, and padding is read like
/// pixels.
/// @{

/// Starts near a position; mind the order, `y` comes before `x`. With `search`, the start is the first set pixel at or
/// after (`x`, `y`) in raster order. Without, it is the left end of the run of set pixels in row `y` that (`x`, `y`)
/// belongs to; where that pixel is 0 the result is empty. The walk begins in direction 2 with `ascending`, else 3.
ZEB_API Shape find_next_shape(const Bitmap_<unsigned char>& bitmap, int y, int x, bool search, bool ascending);

/// Starts in one line: `from_left` and `from_right` scan row `index` from that side, `from_bottom` scans column `index`
/// from its upper end and `from_top` from its lower end, deliberately against their names. The walk begins as in the
/// search over the whole image. An unknown mode finds nothing.
ZEB_API Shape find_next_shape(const Bitmap_<unsigned char>& bitmap, int index, Find_Active_Pixel_Mode mode,
                              bool ascending);

/// Starts in the middle of the image and searches outwards, so that something in the middle is found first. With m
/// half the number of rows (or columns), truncated: line m, then m-1, m+1, m-2, m+2... to 1, then line 0, then the last
/// line if their number is even. The last line of an odd number is never searched.
///
/// | mode          | line                                   | direction with `ascending` | without |
/// |---------------|----------------------------------------|----------------------------|---------|
/// | `from_left`   | row, the first set pixel               | 2                          | 3       |
/// | `from_right`  | row, a set pixel from the right        | 6                          | 7       |
/// | `from_bottom` | column, the lowest set pixel           | 4                          | 1       |
/// | `from_top`    | column, the uppermost set pixel        | 0                          | 1       |
///
/// `from_right` does not see every pixel. With k the `width` rounded down to a multiple of 16, it looks at the pixels
/// from the last one down to column k + 1. From the next one, column k or the last column if that is k - 1, it skips 16
/// pixels at a time while the 16 before it are 0, without looking at the pixels it stands on. Then it takes the first
/// set pixel from there to the left.
///
/// The middle column is scanned over `width` rows instead of `height`: in an image wider than high, the caller must
/// provide rows down to row `width` - 1, and a start pixel may be found there; in an image higher than wide the rows
/// from `width` on are not searched in this column.
///
/// An unknown mode searches as `from_left` and throws `std::invalid_argument` ("unknown mode") if that finds a pixel.
ZEB_API Shape find_next_shape(const Bitmap_<unsigned char>& bitmap, Find_Active_Pixel_Mode mode, bool ascending);

/// The same on plain buffers.
ZEB_API Shape find_next_shape(const unsigned char* data, unsigned int width, unsigned int stride, unsigned int height,
                              unsigned int y, unsigned int x, bool search, bool ascending);
ZEB_API Shape find_next_shape(const unsigned char* data, unsigned int width, unsigned int stride, unsigned int height,
                              unsigned int index, Find_Active_Pixel_Mode mode, bool ascending);
ZEB_API Shape find_next_shape(const unsigned char* data, unsigned int width, unsigned int stride, unsigned int height,
                              Find_Active_Pixel_Mode mode, bool ascending);
/// @}

}  // namespace zeb

// ---- convex hull and enclosing rectangle ----------------------------------------------------------------------------

/// Convex hull of the pixels that a closed chain visits, by QuickHull (W. Eddy, 1977; A. Bykat, 1978) along the chain:
/// only the points that lie between two hull points on the chain are searched for the farthest one. So the chain should
/// be the outline of a connected set, walked anticlockwise on a screen, as the tracers do with `ascending`: of one
/// walked clockwise little more than the leftmost and the rightmost point is found. Codes are masked with 7.
///
/// `*hull_x` and `*hull_y` receive blocks of `*hull_count` coordinates, which the caller releases with
/// `zeb::mem::aligned_free`. They begin at the leftmost point, the first of equals on the chain, and follow the chain.
/// A vertical line gives its first point twice, any other line its two ends. Where memory is short or `count` is below
/// 1, both pointers are null and `*hull_count` is 0.
///
/// \param x,y the pixel where the chain begins
ZEB_API void vConvexHull(const char* chain, int count, int** hull_x, int** hull_y, int* hull_count, int x, int y);

/// Rectangle of smallest area with one side on an edge of a hull. Among equal areas the first edge wins.
///
/// The extent along an edge is taken from the other hull points: the edge's own ends take no part, so the rectangle may
/// end before them. A hull of three points hence has no extent along its first edge, an area of 0, and keeps that edge.
///
/// \param[out] xs,ys four corners, along the edge and back on the other side. They stay as they are where no edge gives
///   an area below 1e15; the lengths are set even then, to 0 (less twice the margin) for fewer than three points.
/// \param hull_x,hull_y `count` hull points in order
/// \param margin by how much every side moves inward; a negative one counts as 0
/// \param[out] length,width the longer and the shorter side
ZEB_API void vCalcRect(float* xs, float* ys, int* hull_x, int* hull_y, int count, float margin, float* length,
                       float* width);

/// Minimum enclosing rectangle of a closed chain that begins at pixel (`x`, `y`): `vCalcRect` without margin on the
/// hull of the chain, which should run anticlockwise on a screen. Where `count` is 8 or less, or memory is short, the
/// corners and both lengths are 0. The corners of a line stay as they are.
ZEB_API void vMER(const char* chain, int count, int x, int y, float* xs, float* ys, float* length, float* width);
