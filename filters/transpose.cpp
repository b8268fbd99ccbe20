#include <algorithm>
#include <cstddef>

#include "frame/packed.h"
#include "zeb/filters.h"

namespace {

constexpr int tile = 16;

/// Interleaves `rows[i]` with `rows[i + 8]`. Four rounds take each pixel of a 16 by 16 tile to its transposed place.
void interleave_halves(const __m128i (&rows)[tile], __m128i (&result)[tile]) {
  for (int i = 0; i < tile / 2; ++i) {
    result[2 * i] = _mm_unpacklo_epi8(rows[i], rows[i + tile / 2]);
    result[2 * i + 1] = _mm_unpackhi_epi8(rows[i], rows[i + tile / 2]);
  }
}

void transpose_tile(unsigned char* dst, const unsigned char* src, std::ptrdiff_t dst_stride,
                    std::ptrdiff_t src_stride) {
  __m128i rows[tile], turned[tile];
  for (int i = 0; i < tile; ++i) rows[i] = zeb::frame::load(src + i * src_stride);
  interleave_halves(rows, turned);
  interleave_halves(turned, rows);
  interleave_halves(rows, turned);
  interleave_halves(turned, rows);
  for (int i = 0; i < tile; ++i) zeb::frame::store(dst + i * dst_stride, rows[i]);
}

}  // namespace

namespace zeb {

void TransposeBM(unsigned char* dst, unsigned char* src, int dst_stride, int dst_height, int src_width, int src_stride,
                 int src_height) {
  const std::ptrdiff_t rows = std::min(dst_stride, src_height), columns = std::min(dst_height, src_width);
  const auto pixel = [=](std::ptrdiff_t i, std::ptrdiff_t j) { dst[j * dst_stride + i] = src[i * src_stride + j]; };
  const std::ptrdiff_t tiled_rows = std::max<std::ptrdiff_t>(rows, 0) / tile * tile;
  const std::ptrdiff_t tiled_columns = std::max<std::ptrdiff_t>(columns, 0) / tile * tile;

  for (std::ptrdiff_t i = 0; i < tiled_rows; i += tile) {
    for (std::ptrdiff_t j = 0; j < tiled_columns; j += tile)
      transpose_tile(dst + j * dst_stride + i, src + i * src_stride + j, dst_stride, src_stride);
  }
  for (std::ptrdiff_t i = 0; i < tiled_rows; ++i)
    for (std::ptrdiff_t j = tiled_columns; j < columns; ++j) pixel(i, j);
  for (std::ptrdiff_t i = tiled_rows; i < rows; ++i)
    for (std::ptrdiff_t j = 0; j < columns; ++j) pixel(i, j);
}

}  // namespace zeb
