#pragma once

#include <array>
#include <cstdint>
#include <functional>
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
  /// With the message above.
  invalid_chain_code_element();
  /// A copy with the same message.
  invalid_chain_code_element(const invalid_chain_code_element& other);
  /// Takes over the message.
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
  /// A copy with a chain of its own.
  Shape(const Shape& other);
  /// Takes over the chain; all else is copied, so that `other` keeps its extents and its `empty()`.
  Shape(Shape&& other) noexcept;
  /// As the copy constructor.
  Shape& operator=(const Shape& other);
  /// As the move constructor; moving a shape onto itself changes nothing.
  Shape& operator=(Shape&& other) noexcept;
  ~Shape();
  /// Exchanges everything.
  void swap(Shape& other);

  /// Moves the start pixel and the extents. The chain and `rot()` stay, although `rot()` depends on the position.
  void add_offset(int dx, int dy);

  /// The extents as a rectangle, both corners inclusive.
  Rect__<Point_<int>> boundary() const;
  /// The first of `size()` codes; null for a chain that never had any.
  char* chain_code();
  /// The same, for reading.
  const char* chain_code() const;
  /// True where no shape was found. An isolated pixel is a shape.
  bool empty() const;
  /// True for a walk with the shape on its right hand as seen on a screen, which runs anticlockwise in a frame with y
  /// upward. It is what the shape was constructed with; nothing checks it against the chain.
  bool is_counter_clockwise() const;
  /// The rightmost column visited.
  int max_x() const;
  /// The lowest row visited, the largest y.
  int max_y() const;
  /// The leftmost column visited.
  int min_x() const;
  /// The uppermost row visited.
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
/// `x`, `y` and `index` should lie inside the image. A row outside it finds nothing, and so does a column from the
/// `stride` on or a negative one; a column in the padding is read like pixels. With `search`, any `x` outside 0 to
/// `width` - 1, a negative one too, continues at the next row.
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
/// line if their number is even. The last line of an odd number from 3 on is never searched.
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

/// Starts near a position, on a plain buffer.
ZEB_API Shape find_next_shape(const unsigned char* data, unsigned int width, unsigned int stride, unsigned int height,
                              unsigned int y, unsigned int x, bool search, bool ascending);
/// Starts in one line, on a plain buffer.
ZEB_API Shape find_next_shape(const unsigned char* data, unsigned int width, unsigned int stride, unsigned int height,
                              unsigned int index, Find_Active_Pixel_Mode mode, bool ascending);
/// Starts in the middle, on a plain buffer.
ZEB_API Shape find_next_shape(const unsigned char* data, unsigned int width, unsigned int stride, unsigned int height,
                              Find_Active_Pixel_Mode mode, bool ascending);
/// @}

// ---- collections ----------------------------------------------------------------------------------------------------

/// \name Collections
/// Trace one outermost component after the other, in the raster order of their start pixels, and paint each one's
/// filled outline with 0 before the next is sought. What lies in a hole of a component is wiped out with it and never
/// reported. `ascending` is that of `find_next_shape`. Where memory is short the exception passes and the bitmap stays
/// half wiped. An empty function is called like any other, which throws `std::bad_function_call`.
/// @{

/// All shapes. The bitmap is all zero afterwards.
ZEB_API std::vector<Shape> get_all_shapes(Bitmap_<unsigned char>& bitmap, bool ascending);

/// The shapes for which `predicate` returns true; it is called once for each shape, after the shape was wiped out. The
/// bitmap is all zero afterwards.
ZEB_API std::vector<Shape> get_all_shapes_with(Bitmap_<unsigned char>& bitmap,
                                               std::function<bool(const Shape&)> predicate, bool ascending);

/// The best of a limited number of shapes; an empty one without any. The best so far begins as the first shape; then
/// `count` - 1 times the next shape is wiped out and takes over where `better(shape, best)` returns true. The first of
/// these is the first shape once more: a `count` of 2 returns the first shape and wipes it, `count` = 3 compares two
/// shapes. A `count` of 0 or 1 returns the first shape and leaves the bitmap as it is.
ZEB_API Shape get_shape_with(Bitmap_<unsigned char>& bitmap, std::function<bool(const Shape&, const Shape&)> better,
                             std::uint64_t count, bool ascending);

/// `get_shape_with` for the largest `size()`; of equal ones the first.
ZEB_API Shape get_longest_shape(Bitmap_<unsigned char>& bitmap, std::uint64_t count, bool ascending);

/// The same over all shapes. The bitmap is all zero afterwards.
ZEB_API Shape get_longest_shape(Bitmap_<unsigned char>& bitmap, bool ascending);
/// @}

}  // namespace zeb

// ---- convex hull and enclosing rectangle ----------------------------------------------------------------------------

/// Convex hull of the pixels that a closed chain visits, by QuickHull (W. Eddy, 1977; A. Bykat, 1978) along the chain:
/// only the points that lie between two hull points on the chain are searched for the farthest one. So the chain should
/// be the outline of a connected set, walked anticlockwise on a screen, as the tracers do with `ascending`: of one
/// walked clockwise little more than the leftmost and the rightmost point is found. Codes are masked with 7.
/// Where the chain goes out and back along a line one pixel wide, a corner may be missed: of equally far points the
/// first on the chain is taken, and those at its end come later.
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

// ---- rendering and growth -------------------------------------------------------------------------------------------

namespace zeb {

/// Paints the area of a shape: its outline and all that lies inside it, holes included. Pixels outside the outline keep
/// their value. A shape without steps paints its start pixel, so an empty `Shape` paints (0, 0).
///
/// The bitmap's extents are not looked at: the shape must lie inside it. `shape.is_counter_clockwise()` must tell the
/// truth about the chain, or the area is another one.
///
/// Throws `invalid_chain_code_element` for a code outside 0 to 7 and `std::bad_alloc` ("bad allocation") where there is
/// no memory for a work image of the size of the shape's box; the bitmap is then untouched.
ZEB_API void draw_filled_shape(Bitmap_<unsigned char>& bitmap, const Shape& shape, unsigned char value);

/// The pixels of a chain as points, each moved by `offset`: the start pixel and the target of every step but the last,
/// which in a closed chain leads back to the start. They replace what `contour` held. A shape of an isolated pixel has
/// no steps and leaves an empty contour. A shape whose `empty()` is true appends its start point instead, without
/// `offset`. Codes are masked with 7.
ZEB_API void shape_to_contour(PointContainer<int>& contour, const Shape& shape, const Point_<int>& offset);

namespace test {

/// The reference form of `zeb::shape_to_contour`, which differs in one point: a shape whose `empty()` is true leaves an
/// empty contour, too.
ZEB_API void shape_to_contour(PointContainer<int>& contour, const Shape& shape, const Point_<int>& offset);

}  // namespace test
}  // namespace zeb

/// As `zeb::draw_filled_shape`, on a plain buffer.
ZEB_API void draw_filled_shape(unsigned char* data, int stride, const zeb::Shape& shape, unsigned char value);

/// Fills the area of a closed chain with 250, or stamps a thick outline.
///
/// The walk begins at (`x`, `y`), which must lie inside the image, and stays inside: a step that would leave the image
/// moves along the other axis alone. Codes are masked with 7.
///
/// A `mark` above 0 fills. The walk first marks each pixel it leaves: one of 0 becomes 250, any other keeps its value;
/// then 1 is added for a step downward (codes 0 to 2) and 1 subtracted for a step that follows one upward (4 to 6),
/// modulo 256. The first step follows the last one of the chain. Then each row of the walk's extents is filled from the
/// marks: all that are not 0 become 250, those from 251 on begin a run of 250, which ends with the next mark of 241 to
/// 249 or with the extents. What the bitmap holds in the extents counts as marks, so it should be 0 there. The target
/// of the last step is marked and counted in the extents only if the walk leaves it as well, as in a closed chain.
///
/// A `mark` of 0 and less stamps a square of 255, `1 - 2 * mark` pixels wide and clipped at the image, at each pixel
/// the walk leaves, and fills nothing.
///
/// \param chain  `count` codes; where `count` is below 1 nothing happens
ZEB_API void ShapeBM(unsigned char* bitmap, char* chain, int width, int stride, int height, int count, int x, int y,
                     int mark);

/// As `ShapeBM`, but the fill begins at the column of the leftmost pixel rounded down to a multiple of 16: what is not
/// 0 there counts as marks too. A `count` of 0 goes on to fill the one pixel (`x`, `y`). `bitmap` and `stride` should
/// be multiples of 16.
ZEB_API void MMShapeBM(unsigned char* bitmap, char* chain, int width, int stride, int height, int count, int x, int y,
                       int mark);

/// Finds a shape, walks around it and fills it with 250, all in one.
///
/// The start is the first pixel of `src` that is not 0 in raster order from row `start_row` on (a negative one counts
/// as 0). From there the walk follows the outer border anticlockwise on a screen, to the first set neighbour among the
/// codes from d-2 upward, with d the direction of the last step and 1 at the start. It ends when it is about to leave
/// the start pixel toward the same pixel as at first; unlike in `find_next_shape` this last step is in the chain, which
/// thus ends by repeating its first code. The area is marked and filled in `dst` as by `ShapeBM`.
///
/// A start inside a shape, below its top, leaves a gap in the area above the start pixel. An isolated pixel gives a
/// chain of the single code 0 and paints nothing.
///
/// \param[in,out] chain  the codes are appended; its capacity is reduced to its size
/// \param src,dst        two images that do not overlap; `dst` must be 0 in the box of the shape
/// \param[out] x,y       the start pixel
/// \param[out] min_x,max_x,min_y,max_y  extents, inclusive; each may be null
/// \return false where no pixel is set; nothing is written then
ZEB_API bool vShapePlusBM(std::vector<char>& chain, const unsigned char* src, unsigned char* dst, int width, int stride,
                          int height, int* x, int* y, int* min_x, int* max_x, int* min_y, int* max_y, int start_row);

/// `vShapePlusBM` without its result; where no pixel is set nothing is written.
ZEB_API void vShapePlusBM_Border(std::vector<char>& chain, const unsigned char* src, unsigned char* dst, int width,
                                 int stride, int height, int* x, int* y, int* min_x, int* max_x, int* min_y, int* max_y,
                                 int start_row);

// ---- measures -------------------------------------------------------------------------------------------------------

/// Signed area of a closed polygon, half the sum over all sides of `(x[i] - x[j]) * (y[i] + y[j])` with `j` the next
/// corner. The products are formed in 32-bit integers, which wrap around, and summed up in `float`. (0,0), (1,0),
/// (1,1), (0,1) gives 1, its reverse -1; an empty list 0.
ZEB_API float fPolygonArea(int* xs, int* ys, int count);

/// Sum of the lengths of all outlines in an image, as `vShapePlusBM` finds them one after the other, each wiped out
/// with all that its outline encloses before the next one is sought.
///
/// A chain's length is 1 for each odd code and the square root of 2 for each even one, plus 2; the step that repeats
/// the first one counts as well. An isolated pixel is not wiped out: it is found again and again, each time with a
/// length of 2 plus the square root of 2, until 10000 shapes have been counted, at which the search always ends.
///
/// Throws `std::bad_alloc`, with nothing written, where an outline finds no memory.
///
/// \param src  is not changed
/// \param[out] count,min_length,max_length  number of shapes, the shortest and the longest of them; 0 without any. Each
///   may be null.
/// \return the sum in pixels; 0 and nothing written where there is no memory for two work images
ZEB_API float fGetAllShapeLength(unsigned char* src, int width, int stride, int height, int* count, float* min_length,
                                 float* max_length);

/// Share of set pixels among the targets of a chain's steps. The start (`x`, `y`) counts only where a step leads to it.
/// The chain must stay inside the image. Codes are masked with 7. A `count` of 0 gives a NaN.
ZEB_API float fGetShapeOverlap(unsigned char* bitmap, int stride, char* chain, int count, int x, int y);

/// Where a chain of codes 0 to 7 that begins at (`x`, `y`) ends.
ZEB_API void vGetPos(char* chain, int count, int x, int y, int* end_x, int* end_y);

/// Gradient along a chain that begins at (`x`, `y`) and is clipped at the image as in `ShapeBM`: for the pixel before
/// each step the largest difference of grey values between a pixel of its 3 by 3 surroundings and that pixel's right or
/// lower neighbour. Pixels of the last row and the last column are no such pixels, only such neighbours.
///
/// \param[out] out   `count` gradients, 0 to 255
/// \param[out] mean  their mean; NaN for a `count` of 0
ZEB_API void vShapeGetGrad(unsigned int* out, unsigned char* bitmap, char* chain, int width, int stride, int height,
                           int count, int x, int y, float* mean);

/// Distance of each point of a closed chain to those parts of the chain that are not close along it, a measure of local
/// width. A distance is the Euclidean one plus 1; where no other point is considered it is `count`.
///
/// With a `skip` other than 0, all points are considered that are at least `skip` steps away in both directions. With
/// 0, the first half of the chain after the point is searched upward, and the second half downward from the end; in
/// each a point that is farther away than all before it is passed over.
///
/// The cost is quadratic in `count`.
///
/// \param[out] out   `count` distances, times `scale` and truncated; values that do not fit wrap around
/// \param out_size   how many entries of `out` are cleared beforehand, no more: `out` needs room for `count` as well
/// \param[out] min_distance,max_distance  extremes of the distances; the largest is the largest below `count` - 1. Both
///   are 0 where `count` or `out_size` is below 1, in which case `out` is untouched.
///
/// Throws `std::bad_alloc` where memory is short.
ZEB_API void vShapeKorrelation(unsigned int* out, char* chain, int count, int out_size, float scale, int skip,
                               float* min_distance, float* max_distance);

// ---- contour scan ---------------------------------------------------------------------------------------------------

namespace zeb {

/// Which contours a scan keeps; the scan itself is always complete.
enum class ScanSuzukiMode : std::int32_t {
  external_only = 0,  ///< those without a parent; the hierarchy becomes as many -1
  outer_borders = 1,  ///< the outer borders of components; see `find_contours` for the hierarchy
  all_borders = 2,    ///< outer borders and borders of holes, with the full hierarchy
};

/// Finds the borders of the components and of their holes by border following in a raster scan (S. Suzuki, K. Abe,
/// "Topological structural analysis of digitized binary images by border following", 1985). A pixel is foreground where
/// its value is odd: 255 is, 254 is not.
///
/// Each contour lists the border's pixels in the order of the walk, the start pixel first and not repeated at the end.
/// A line one pixel wide is walked out and back. Components are 8-connected; outer borders run anticlockwise on a
/// screen, borders of holes clockwise, on the pixels around the hole. The walk ends on coming back to the start pixel
/// when its next step would be the first one again. Contours come in the order in which the scan meets them.
///
/// The search for the next pixel that is not background looks at 8 pixels and steps over 56, again and again, up to the
/// last whole 64 columns of the image with a frame of one pixel around it, and continues pixel by pixel from the column
/// that it has reached; in each row it begins at the left and anew behind each pixel it has come to. So images up to 61
/// pixels wide are searched completely. In wider ones a component can be missed, or be met in its middle first, which
/// can report the right end of a row of pixels as a hole.
///
/// \param[out] hierarchy  for each contour the index of its parent, -1 for one directly in the frame, -2 for the border
///   of a hole that an image too wide to be searched completely reports directly in the frame; such a border is not
///   `external_only`. A mode of `all_borders` or `external_only` replaces it. `outer_borders` appends, and the parents
///   keep the numbers from before the borders of holes were dropped.
/// \param[out] contours   is cleared first
/// \param offset          is added to each point
///
/// Any other mode keeps all contours and leaves the hierarchy alone. Throws `std::bad_alloc` ("bad allocation") where
/// there is no memory for the work image, two bytes per pixel. Border numbers are held in 16 bits: from the 32767th
/// contour on they wrap around, which spoils the hierarchy and, from the 65535th on, some contours.
ZEB_API void find_contours(std::vector<int>& hierarchy, std::vector<PointContainer<int>>& contours,
                           const Bitmap_<unsigned char>& bitmap, const ScanSuzukiMode& mode, const Point_<int>& offset);
/// The same without a hierarchy.
ZEB_API void find_contours(std::vector<PointContainer<int>>& contours, const Bitmap_<unsigned char>& bitmap,
                           const ScanSuzukiMode& mode, const Point_<int>& offset);

/// The mean of a contour's points. Sums are formed in 32-bit integers. An empty contour gives NaNs.
ZEB_API Point_<float> center(const PointContainer<int>& contour);

namespace detail {

/// The scan behind `find_contours`, on an image that is prepared already: 1 for foreground, 0 for background, and a
/// frame of zeros one element wide. Foreground in the left or right column of the frame ends the process.
///
/// \param[in,out] image     is left with the number of a border on each of its pixels, negative where the right
///   neighbour was found to be background
/// \param mode              as for `find_contours`
/// \param[in,out] contours  is not cleared: `all_borders` appends to it, the other modes count from its first element
/// \param offset            is added to the position in `image`, frame included
/// \param[in,out] hierarchy as in `find_contours`; may be null
ZEB_API void scan_suzuki(Bitmap_<short>& image, const ScanSuzukiMode& mode, std::vector<PointContainer<int>>& contours,
                         const Point_<int>& offset, std::vector<int>* hierarchy);

}  // namespace detail
}  // namespace zeb
