#pragma once

#include <tmmintrin.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <optional>

#include "shapes/directions.h"
#include "shapes/row_scan.h"
#include "zeb/image.h"

/// What the walks around a component share.
namespace zeb::shapes {

/// The image that is searched and walked over.
class Source {
 public:
  Source(const unsigned char* data, unsigned width, unsigned stride, unsigned height)
      : data_(data),
        width_(static_cast<int>(width)),
        height_(static_cast<int>(height)),
        stride_(static_cast<int>(stride)),
        inner_width_(static_cast<unsigned>(std::max(width_, 3) - 3)),
        inner_height_(static_cast<unsigned>(std::max(height_, 2) - 2)) {}

  int width() const { return width_; }
  int height() const { return height_; }
  std::ptrdiff_t stride() const { return stride_; }
  bool empty() const { return width_ <= 0 || height_ <= 0; }
  bool has_row(unsigned y) const { return !empty() && y < static_cast<unsigned>(height_); }
  /// Padding counts as well: what it holds is found like any pixel.
  bool has_column(unsigned x) const { return !empty() && x < std::max<std::ptrdiff_t>(width_, stride_); }
  const unsigned char* row(int y) const { return data_ + y * stride_; }

  /// Twice the side lengths: room for the chain of an ordinary outline.
  std::size_t usual_chain_length() const {
    return 2 * (static_cast<std::size_t>(width_) + static_cast<std::size_t>(height_));
  }

  /// The first set pixel in raster order at or after column `x` of row `y`; neither may be negative.
  std::optional<Point_<int>> first_set_from(int x, int y) const {
    for (; width_ > 0 && y < height_; ++y, x = 0) {
      const std::ptrdiff_t found = first_set(row(y), x, width_);
      if (found < width_) return Point_<int>{static_cast<int>(found), y};
    }
    return {};
  }

  /// Fetches the surroundings of where a few more steps by `offset` would lead from `pixel`; a hint without effect
  /// outside the image. A walk waits for each row that is not in the cache.
  static void fetch_ahead(const unsigned char* pixel, std::ptrdiff_t offset) {
    constexpr std::ptrdiff_t steps = 6;
    _mm_prefetch(reinterpret_cast<const char*>(pixel) + offset * steps, _MM_HINT_T0);
  }

  /// The neighbours of pixel (`x`, `y`), which lies at `pixel`: the bits `c` and `c` + 8 tell whether the one that code
  /// `c` leads to is inside the image and set.
  unsigned neighbours(const unsigned char* pixel, int x, int y) const {
    // Four bytes a row are read where three are asked for, so one more column has to be inside.
    const bool inside = static_cast<unsigned>(x - 1) < inner_width_ && static_cast<unsigned>(y - 1) < inner_height_;
    return inside ? inner_neighbours(pixel) : border_neighbours(x, y);
  }

 private:
  unsigned inner_neighbours(const unsigned char* pixel) const {
    const auto four = [](const unsigned char* from) {
      std::int32_t bytes = 0;
      std::memcpy(&bytes, from, sizeof bytes);
      return _mm_cvtsi32_si128(bytes);
    };
    const __m128i above_and_beside = _mm_unpacklo_epi32(four(pixel - stride_ - 1), four(pixel - 1));
    const __m128i around = _mm_unpacklo_epi64(above_and_beside, four(pixel + stride_ - 1));
    const __m128i by_code = _mm_shuffle_epi8(around, _mm_setr_epi8(8, 9, 10, 6, 2, 1, 0, 4, 8, 9, 10, 6, 2, 1, 0, 4));
    const int unset = _mm_movemask_epi8(_mm_cmpeq_epi8(by_code, _mm_setzero_si128()));
    return static_cast<unsigned>(unset) ^ 0xFFFF;
  }

  unsigned border_neighbours(int x, int y) const {
    unsigned found = 0;
    for (unsigned code = 0; code < 8; ++code) {
      const int nx = x + dx[code], ny = y + dy[code];
      if (nx >= 0 && nx < width_ && ny >= 0 && ny < height_ && row(ny)[nx] != 0) found |= 0x101u << code;
    }
    return found;
  }

  const unsigned char* data_;
  int width_, height_;
  std::ptrdiff_t stride_;
  unsigned inner_width_, inner_height_;
};

/// The first set neighbour in the order of trial: from two codes behind direction `d` upward, or from three codes ahead
/// of it downward. The orders are no mirror images of each other. The neighbours are as `Source` gives them, twice in a
/// row, so that a shift turns them.
inline int next_code(unsigned neighbours, int d, bool ascending) {
  const unsigned turned = static_cast<unsigned>(ascending ? d - 2 : d + 4) & 7;
  const unsigned ordered = neighbours >> turned;
  const int k = ascending ? __builtin_ctz(ordered) : 31 - __builtin_clz(ordered & 0xFF);
  return (static_cast<int>(turned) + k) & 7;
}

}  // namespace zeb::shapes
