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
  if (mode == 0) {
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
