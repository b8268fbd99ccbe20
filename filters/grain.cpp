#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "zeb/filters.h"

namespace {

/// Reduces each whole cell of `src` to `value(top_left)`, in row-major order.
template <class Value>
void reduce_cells(unsigned char* dst, const unsigned char* src, int width, int height, std::ptrdiff_t stride,
                  int cell_width, int cell_height, Value value) {
  for (int r = 0; r < height / cell_height; ++r) {
    for (int c = 0; c < width / cell_width; ++c)
      dst[r * stride + c] = value(src + std::ptrdiff_t{r} * cell_height * stride + std::ptrdiff_t{c} * cell_width);
  }
}

/// Means, truncated, by sums of columns. The cells must be small enough for these.
class CellMeans {
 public:
  static bool fit(int cell_width, int cell_height) { return cell_width <= most_columns && cell_height <= most_rows; }

  /// A sum over the area lies at least half of 1 / area away from the next integer with half a unit added to the sum,
  /// much farther than the rounding of the reciprocal takes it.
  CellMeans(std::ptrdiff_t stride, int cell_width, int cell_height)
      : stride_(stride),
        cell_width_(cell_width),
        cell_height_(cell_height),
        per_area_(1.0 / (cell_width * cell_height)) {}

  /// One row of cells. All that a group of cells covers is read before any of them is written.
  void row(unsigned char* dst, const unsigned char* src, int cells) {
    const int most_cells = most_columns / cell_width_;
    for (int first = 0; first < cells; first += most_cells) {
      const int count = std::min(most_cells, cells - first), columns = count * cell_width_;
      const unsigned char* from = src + std::ptrdiff_t{first} * cell_width_;
      std::fill_n(sums_, columns, std::uint16_t{0});
      for (int y = 0; y < cell_height_; ++y, from += stride_)
        for (int x = 0; x < columns; ++x) sums_[x] = static_cast<std::uint16_t>(sums_[x] + from[x]);
      const std::uint16_t* sum = sums_;
      for (int c = 0; c < count; ++c) {
        int total = 0;
        for (int x = 0; x < cell_width_; ++x) total += *sum++;
        dst[first + c] = static_cast<unsigned char>(static_cast<int>((total + 0.5) * per_area_));
      }
    }
  }

 private:
  static constexpr int most_columns = 1024;
  static constexpr int most_rows = 65535 / 255;

  std::ptrdiff_t stride_;
  int cell_width_, cell_height_;
  double per_area_;
  std::uint16_t sums_[most_columns] = {};
};

}  // namespace

namespace zeb {

void vCoarseGrain(unsigned char* dst, unsigned char* src, int width, int height, int stride, int cell_width,
                  int cell_height, int mode) {
  if (cell_width < 1 || cell_height < 1) return;
  const auto reduce = [=](auto value) {
    reduce_cells(dst, src, width, height, stride, cell_width, cell_height, value);
  };
  const auto for_each_row = [=](const unsigned char* cell, auto row) {
    for (int y = 0; y < cell_height; ++y) row(cell + std::ptrdiff_t{y} * stride);
  };
  if (mode == 0 && CellMeans::fit(cell_width, cell_height)) {
    CellMeans means(stride, cell_width, cell_height);
    for (int r = 0; r < height / cell_height; ++r)
      means.row(dst + std::ptrdiff_t{r} * stride, src + std::ptrdiff_t{r} * cell_height * stride, width / cell_width);
  } else if (mode == 0) {
    const std::int64_t area = std::int64_t{cell_width} * cell_height;
    reduce([=](const unsigned char* cell) {
      std::int64_t sum = 0;
      for_each_row(cell, [&](const unsigned char* row) {
        for (int x = 0; x < cell_width; ++x) sum += row[x];
      });
      return static_cast<unsigned char>(sum / area);
    });
  } else if (mode == 1) {
    // The extremes are carried from cell to cell.
    reduce([=, least = static_cast<unsigned char>(255)](const unsigned char* cell) mutable {
      for_each_row(cell, [&](const unsigned char* row) {
        for (int x = 0; x < cell_width; ++x) least = std::min(least, row[x]);
      });
      return least;
    });
  } else if (mode == 2) {
    reduce([=, greatest = static_cast<unsigned char>(0)](const unsigned char* cell) mutable {
      for_each_row(cell, [&](const unsigned char* row) {
        for (int x = 0; x < cell_width; ++x) greatest = std::max(greatest, row[x]);
      });
      return greatest;
    });
  }
}

void vFineGrain(unsigned char* dst, unsigned char* src, int width, int height, int stride, int cell_width,
                int cell_height) {
  if (cell_width < 1 || cell_height < 1 || width < cell_width) return;
  const int columns = width / cell_width;
  for (int r = 0; r < height / cell_height; ++r) {
    const unsigned char* const from = src + std::ptrdiff_t{r} * stride;
    unsigned char* const first_row = dst + std::ptrdiff_t{r} * cell_height * stride;
    for (int c = 0; c < columns; ++c) std::fill_n(first_row + std::ptrdiff_t{c} * cell_width, cell_width, from[c]);
    for (int y = 1; y < cell_height; ++y)
      std::memmove(first_row + std::ptrdiff_t{y} * stride, first_row,
                   static_cast<std::size_t>(columns) * static_cast<std::size_t>(cell_width));
  }
}

}  // namespace zeb
