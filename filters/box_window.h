#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>

namespace zeb::filters {

/// The image and the window of a box filter. A step to the next pixel leaves one of the columns behind and takes in a
/// new one ahead; rows alike.
struct Window {
  int width, height;
  std::int16_t stride;  // Sixteen bits are this family's limit; a larger stride wraps around.
  int columns, rows;
  int columns_behind, columns_ahead, rows_behind, rows_ahead;
  std::int64_t area;

  Window(int image_width, int image_stride, int image_height, int filter_width, int filter_height)
      : width(image_width),
        height(image_height),
        stride(static_cast<std::int16_t>(static_cast<std::uint16_t>(image_stride))),
        columns(std::max(std::min(width, filter_width), 1)),
        rows(std::max(std::min(height, filter_height), 1)),
        columns_behind((columns >> 1) + (columns & 1)),
        columns_ahead(columns >> 1),
        rows_behind((rows >> 1) + (rows & 1)),
        rows_ahead(rows >> 1),
        area(std::int64_t{columns} * rows) {}

  /// A single pixel is no image to filter.
  bool nothing_to_do() const { return width < 1 || height < 1 || (width < 2 && height < 2) || stride < 0; }

  /// Where a row begins, rows outside the image being replaced by the nearest one.
  std::ptrdiff_t nearest_row(std::int64_t y) const {
    return static_cast<std::ptrdiff_t>(std::clamp<std::int64_t>(y, 0, height - 1)) * stride;
  }

  /// Room for one element per stride column. A stride that wrapped around may be narrower than the image, and the four
  /// columns that every image gets may pass both.
  std::int64_t work_size() const { return std::max({std::int64_t{stride}, std::int64_t{width}, std::int64_t{4}}); }

  /// Whether single precision holds every sum that occurs, those before the leaving column is subtracted included.
  bool float_sums_are_exact() const { return 255 * (area + std::int64_t{4} * rows) <= std::int64_t{1} << 24; }
};

}  // namespace zeb::filters
