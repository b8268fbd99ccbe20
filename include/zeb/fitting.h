#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "zeb/export.h"
#include "zeb/image.h"
#include "zeb/point_ops.h"

/// \file
/// Finding lines, circles, edges, borders, points and rectangles.
///
/// A line in Hesse normal form is an `angle` in radians and a `distance` in pixels: the points with
/// `x * cos(angle) + y * sin(angle) = distance`. Where it belongs to an image, the origin is told with the function;
/// x grows to the right, y downward. Computations are in single precision unless stated otherwise.
///
/// `CalcLinesRandom`, `CalcCircleRandom` and `detect_rect_rand_clust` draw their samples from the process-wide
/// generator of the C library, `rand`, which they seed with a fixed value: the same image gives the same result at each
/// call, and each call resets the state that other users of `rand` see. They must not run at the same time as other
/// users of `rand`. `find_point` draws from it without seeding.

namespace zeb {

/// The side from which a border search walks inwards. Sides go clockwise, and so do the lines of a search: from the
/// left for `Top`, downward for `Right`, from the right for `Bottom`, upward for `Left`.
enum class Image_Side : std::int32_t {
  Top = 0,     ///< one line per column, scanned downward from row 0
  Right = 1,   ///< one line per row, scanned leftward from the last column
  Bottom = 2,  ///< one line per column, scanned upward from the last row
  Left = 3,    ///< one line per row, scanned rightward from column 0
};

/// \name Border search
/// Walks inwards from one side of the image, line by line, and reports per line where a condition first holds: one
/// element per line in the order of the lines, so `width` elements for `Top` and `Bottom`, `height` for the others.
///
/// The integer forms give -1 for a line without a hit. Mind what the integer of a hit means: for `maximum` and
/// `minimum` it is the hit's coordinate (`y` for `Top` and `Bottom`, `x` for `Right` and `Left`), for `threshold` and
/// `gradient` the number of steps from the border (0 for the first pixel of the line, whatever the side).
///
/// The point forms store the hit's row in `x` and its column in `y`. A line without a hit repeats what it finds:
/// `maximum` and `minimum` append the point of the last line that had a hit ((0, 0) before the first one), `threshold`
/// and `gradient` the last hit's row in `x` with a `y` of -1.
///
/// A `side` that is no `Image_Side` has no lines and gives an empty vector. A `Mat` with a negative number of lines
/// ends the process.
/// @{

/// The first local maximum: climbs while each pixel strictly exceeds the one before, skipping leading zeros; the first
/// pixel of a plateau ends the climb, and so does a zero after a hit. A line of zeros has no hit.
ZEB_API std::vector<int> border_by_maximum(const Mat<unsigned char>& src, Image_Side side);
/// The mirror image of `border_by_maximum`: descends from 255; a line of 255s has no hit.
ZEB_API std::vector<int> border_by_minimum(const Mat<unsigned char>& src, Image_Side side);
/// The first pixel outside the band `lower..upper` (`Standard`) or inside it (`InverseBinary`); both ends belong to the
/// band. Any other `mode` finds nothing. Takes a work image; throws `std::bad_alloc` where there is no memory for it,
/// which includes a negative area and one of 2^31 bytes and more, and ends the process for an image with a `stride`
/// below its `width`.
ZEB_API std::vector<int> border_by_threshold(const Mat<unsigned char>& src, Image_Side side, unsigned char lower,
                                             unsigned char upper, ThresholdMode mode);
/// The first step in grey value, a pixel minus its predecessor on the line. `Standard`: below `lower` or above `upper`;
/// `InverseBinary`: strictly between them, unlike the threshold form. Any other `mode` finds nothing. With `from_zero`
/// the first pixel of a line is measured against black; without it the walk begins at the second pixel.
ZEB_API std::vector<int> border_by_gradient(const Mat<unsigned char>& src, Image_Side side, bool from_zero, float lower,
                                            float upper, ThresholdMode mode);

/// As `border_by_maximum`, as points.
ZEB_API std::vector<Point_<int>> borderpx_by_maximum(const Mat<unsigned char>& src, Image_Side side);
/// As `border_by_minimum`, as points.
ZEB_API std::vector<Point_<int>> borderpx_by_minimum(const Mat<unsigned char>& src, Image_Side side);
/// As `border_by_threshold`, as points. Before the first hit `x` holds the end of the lines: the width for `Top`, the
/// height for `Right`, else -1.
ZEB_API std::vector<Point_<int>> borderpx_by_threshold(const Mat<unsigned char>& src, Image_Side side,
                                                       unsigned char lower, unsigned char upper, ThresholdMode mode);
/// As `border_by_gradient`, as points. Before the first hit `x` is 0.
ZEB_API std::vector<Point_<int>> borderpx_by_gradient(const Mat<unsigned char>& src, Image_Side side, bool from_zero,
                                                      float lower, float upper, ThresholdMode mode);
/// @}

/// \name Axis-parallel rectangles
/// @{

/// The bounding box of the pixels that are not 0, both corners inclusive; padding does not count. An image without any
/// gives (-1, -1) to (-1, -1). A row or column counts as set when its sum, read as a signed 32-bit number, is positive:
/// a column of 2^31 / 255 bright pixels does not. Ends the process for a `height` below 1.
ZEB_API Rect__<Point_<int>> enclosing_orthogonal_rectangle(const Mat<unsigned char>& src);
/// Thresholds `src` into `work` with the geometry of `src`, see `thresholding`, and gives the bounding box of `work`,
/// read with its own geometry. `work` may be `src`. With a mode that is no `ThresholdMode` nothing is thresholded and
/// `work` is used as it stands.
ZEB_API Rect__<Point_<int>> enclosing_orthogonal_rectangle(Mat<unsigned char>& work, const Mat<unsigned char>& src,
                                                           unsigned char lower, unsigned char upper,
                                                           ThresholdMode mode);
/// The bounding box of what the threshold marks, with a work image of its own. Throws `std::bad_alloc` where there is
/// no memory for it, which includes a negative area and one of 2^31 bytes and more; ends the process for an image with
/// a `stride` below its `width`. A mode that is no `ThresholdMode` marks nothing.
ZEB_API Rect__<Point_<int>> enclosing_orthogonal_rectangle(const Mat<unsigned char>& src, unsigned char lower,
                                                           unsigned char upper, ThresholdMode mode);

/// The axis-parallel rectangle that stays inside the image after a rotation by `angle` degrees, from the image's size
/// alone; no pixel is read. An angle of 0, or NaN, gives the whole image. Meant for small angles: with steeper ones the
/// corners cross over, which only puts them in order.
ZEB_API Rect__<Point_<int>> inscribed_orthogonal_rectangle(const Mat<unsigned char>& src, float angle);
/// @}

/// A rotated rectangle, see `detect_rect_rand_clust`: its corners rounded to pixels, in the order top-left, top-right,
/// bottom-right, bottom-left. The elements are meaningless where there is no rectangle; use the raw form to know.
ZEB_API std::array<Point_<int>, 4> detect_rectangle_rand_clust(Mat<unsigned char>& src, int radius);

/// \name Random line and circle fitting
/// A pixel is active when it is not 0. The work is bounded by constants, whatever the size of the image. A width or
/// height below 1, a null image and an allocation that fails give the empty result.
/// @{

/// Finds up to 10 straight lines in an edge image.
///
/// Draws up to 2000 active pixels that keep a distance from each other and from the image border, joins pairs of them
/// whose midpoint is at least 128 to up to 2000 candidate lines, and returns the clusters of candidates in the plane of
/// angle and distance, strongest first. The pair's first point keeps moving towards the origin with each line that it
/// took part in, which lets a few displaced candidates in.
///
/// \param angles, distances  room for 10 lines each, in Hesse form with the origin at pixel (`width / 2`,
///     `height / 2`); angles in -pi to pi
/// \param angle_histogram  null, or `angle_bins` counts of the candidates' angles over 0 to two pi
/// \param distance_histogram  null, or `distance_bins` counts of the distances between parallel and opposite candidates
///     over 0 to the larger of width and height; needs `angle_bins`, which decide what is parallel. A candidate and
///     itself are a pair.
/// \param line_count  how many lines were found; 0 where `angles` or `distances` is null
///
/// Both histograms stay untouched where the image has too few active pixels to begin. Pixel positions are held in 16
/// bits: what lies beyond column or row 32767 is not found where it is.
///
/// Source: Hesse normal form and random pair sampling as in the randomised Hough transform (Xu, Oja, Kultanen 1990).
ZEB_API void CalcLinesRandom(float* angles, float* distances, float* angle_histogram, int angle_bins,
                             float* distance_histogram, int distance_bins, int* line_count, unsigned char* bitmap,
                             int width, int height, int stride);

/// Finds the dominant circle in an edge image.
///
/// Draws up to 2000 triples of active pixels that lie apart, weighs the circle through each by its closeness to all
/// others and averages the best quarter. Without any circle all three results are 0. The cost is largest where all
/// active pixels lie within a fifth of the image's size, since then no triple is ever accepted. Mind the order of the
/// arguments: the radius comes first, and `width, height, stride` is the order of the geometry.
///
/// \param radius, centre_x, centre_y  in pixels; the centre counts from the middle of pixel (0, 0) and need not lie in
///     the image. Triples on one line count as circles of radius 1e8 around (0, 0).
ZEB_API void CalcCircleRandom(float* radius, float* centre_x, float* centre_y, unsigned char* bitmap, int width,
                              int height, int stride);

/// Weighted correlation of two signals without removal of the mean. For each lag `m` from `-max_lag` to `max_lag - 1`
///
///     result[max_lag + m] = sum(w[i] * w[i-m] * first[i] * second[i-m]) / sum(w[i] * w[i-m])
///
/// over `i` from 0 to `length - 1`, with `w` and `second` 0 outside of it. Lags without a common weight give NaN. Four
/// partial sums, `i` modulo 4, are added as (0 + 1) + (2 + 3). Nothing is written where memory is short.
///
/// \param result  `2 * max_lag` values
/// \param first, second, weights  `length` values each
ZEB_API void Correlation(float* result, float* first, float* second, int* weights, int length, int max_lag);
/// @}

/// \name Lines and points
/// @{

/// The cross point of two lines in Hesse form. (1e8, 1e8) where the angles are equal modulo two pi; opposite normals
/// are not caught and give what the division gives. Angles that differ by 2^27 and more count as equal.
ZEB_API void GetCrossPointHesse(float* x, float* y, float angle1, float distance1, float angle2, float distance2);

/// The distance of two lines in the plane of angle and of distance in halves of `scale`. Angles are to lie in one turn.
ZEB_API float fLineDistHesse(float angle1, float distance1, float angle2, float distance2, float scale);

/// The distance of (`px`, `py`) from the line through two points, positive to the right of the way from the first to
/// the second as seen on a screen, else negative; the plain distance from the second point where the two are nearer
/// than 1e-5.
ZEB_API float distance_point_line(float px, float py, float x1, float y1, float x2, float y2);

/// The distance of two points.
ZEB_API float euclidean_distance(float x1, float y1, float x2, float y2);
/// @}

/// \name Location
/// @{

/// The strongest vertical step of each column with a resolution below one pixel: the centre of gravity of the central
/// differences `d` within five rows of the peak that are at least half of it, in rows 1 to `height - 2`. A sum of the
/// differences below 1 counts as 1. The centre of row `y` is at `y + 0.5`.
///
/// \param positions  `width` values, in rows; 0.5 for a column without a step
/// \param falling  0 for steps from dark to bright with growing `y`, else bright to dark
/// \param threshold  the least step. In columns below `width & ~15` a step equal to it counts and the last of equal
///     peaks wins; in the columns from there on a step has to exceed it and the first of equals wins.
ZEB_API void GetEdgeFineRes(float* positions, unsigned char* bitmap, int width, int stride, int height, int falling,
                            float threshold);

/// The centre of gravity of the peak at `index`, above the level `fraction * profile[index]`: trapezoids between the
/// crossings of the level on both sides, which are sought up to `left_range` and `right_range` away and within `first`
/// to `last`. 0 where `index` is not in `first..last-1`. May read `profile[first - 1]` and `profile[last]`: the
/// caller's array must have both.
ZEB_API float fCalcCG(float* profile, int index, int first, int last, int left_range, int right_range, float fraction);

/// The centre of gravity of the grey values, in pixels from pixel (0, 0), and the sum of the grey values as the return
/// value. All are `float` sums in row order, which lose digits beyond 2^24. An image without any mass gives 0, 0, 0.
ZEB_API float fGetBMCG(unsigned char* bitmap, int width, int stride, int height, float* cx, float* cy);

/// Compares two floats for `qsort` in ascending order: 1, -1 or 0; a NaN equals everything.
ZEB_API int iCompf(void const* a, void const* b);

/// The mean position of the pixels of at least 128 in the `width` by `height` rectangle at (`x`, `y`), in image
/// coordinates. Nothing is clipped. Without such a pixel both are NaN. Columns and rows are summed up in 32-bit
/// integers, which wrap around: from some 1600 by 1600 such pixels on, the result is wrong. The third argument is not
/// read.
ZEB_API void get_cross_position(unsigned char* bitmap, int stride, int ignored, int x, int y, int width, int height,
                                float* cx, float* cy);

/// The nearest pixel in the range `low..high` straight to the right, left, above or below of (`x`, `y`), which itself
/// comes first. At each distance the order of the directions is drawn by `rand`, which is not seeded; the number of
/// draws grows with the square of the distance searched. Finds nothing from an `x` outside 0 to `width` or a `y`
/// outside 0 to `height`, or with a `min_radius` above `max_radius`.
///
/// \param ignored  not read
/// \param min_radius, max_radius  distances to search; `max_radius` 0 stands for the image's diagonal and is rounded,
///     and is itself not reached: the last ring is one below it
/// \param found_x, found_y  written only where a pixel is found
/// \param found_side  null, or the quadrant of the hit: 0 (+x, +y), 1 (+x, -y), 2 (-x, -y), 3 (-x, +y); 0 without a hit
/// \param side_mask  null, or four numbers: in the vertical directions a quadrant with a 0 is not searched; in the
///     horizontal ones it is the place in the drawn order that a 0 rules out
/// \return whether a pixel was found
ZEB_API bool find_point(unsigned char* bitmap, unsigned char* ignored, int width, int height, int stride, int x, int y,
                        unsigned char low, unsigned char high, float min_radius, float max_radius, int* found_x,
                        int* found_y, int* found_side, int* side_mask);

/// The first pixel in the range `low..high` along the ray from (`x`, `y`) in direction (`dx`, `dy`), in steps of one
/// along the longer axis; the start pixel is not looked at. Ends where the distance from the start reaches
/// `max_distance`, at the border of the image, and at once for a start outside the image or in column or row 0, without
/// a direction and with a `max_distance` of 0 and less.
///
/// The ray may step to column `width` or row `height` and looks at that position: all buffers must allow it.
///
/// \param guide  null, or an image in which a pixel of 0 ends the ray
/// \param trace  null, or an image that receives `(low + high) >> 1` at each position visited
/// \param found_x, found_y  written only where a pixel is found
/// \return whether a pixel was found
ZEB_API bool find_point_on_line(unsigned char* bitmap, unsigned char* guide, unsigned char* trace, int width,
                                int height, int stride, int x, int y, float max_distance, unsigned char low,
                                unsigned char high, int dx, int dy, int* found_x, int* found_y);
/// @}

}  // namespace zeb

/// Finds one bright or dark rectangle, which may be rotated.
///
/// Fits lines to the edges (`CalcLinesRandom` on a gradient cut at 100), drops those that are oblique to the rest and
/// the inner ones of parallel bundles, completes one to three remaining lines from the steepest column and row sums of
/// the image turned upright, and intersects the four.
///
/// \param src  the image; overwritten only with `fill`
/// \param corners_x, corners_y  four values each: top-left, top-right, bottom-right, bottom-left. Fewer are written
///     where fewer corners exist, none without lines.
/// \param fill  not 0: where the region around the middle of the corners can be traced, `src` is cleared, padding
///     included, and holds that region with the value 250. The region is looked up at the middle with row and column
///     exchanged, so only a rectangle near the main diagonal is filled.
/// \param radius  above 0: the edges are dilated by a disk of this radius first
/// \return 1 where there are exactly four corners, else 0; 0 too where memory is short, a size is below 1 or `stride`
///     is below `width`
///
/// Corners of clean rectangles in images of some 300 pixels and more come within two pixels; in smaller ones lines may
/// be missed. `stride` must be a multiple of 4 for images that are turned (see `mm_transform`); the result depends on
/// padding where the width is not above twice the `radius`.
ZEB_API int detect_rect_rand_clust(unsigned char* src, int width, int stride, int height, float* corners_x,
                                   float* corners_y, int fill, int radius);

/// Writes the mask of a convex polygon: each row holds one run of 255 from its leftmost to its rightmost edge crossing,
/// ends included, and 0 elsewhere, so the notches of a concave polygon are filled. Crossings round to the nearest
/// column, ties to even. Edges of less than one row height are not crossed. Fewer than three vertices give an empty
/// mask. Padding is not touched.
ZEB_API void PolyToBMMask(unsigned char* dst, float* x, float* y, int count, int width, int stride, int height);
