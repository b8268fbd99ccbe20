#pragma once

#include <algorithm>
#include <cstddef>

#include "frame/packed.h"

namespace zeb::shapes {

/// Column of the first pixel that is not 0 from column `from` up to, and without, `to`; `to` if there is none. Columns
/// up to, and without, `readable` may be read as well, which spares looking at the last few pixels one by one.
inline std::ptrdiff_t first_set(const unsigned char* row, std::ptrdiff_t from, std::ptrdiff_t to,
                                std::ptrdiff_t readable) {
  std::ptrdiff_t x = from;
  for (; x < to && x + 16 <= readable; x += 16) {
    const int zero = _mm_movemask_epi8(_mm_cmpeq_epi8(frame::load(row + x), _mm_setzero_si128()));
    if (zero != 0xFFFF) return std::min<std::ptrdiff_t>(x + __builtin_ctz(static_cast<unsigned>(~zero)), to);
  }
  for (; x < to; ++x)
    if (row[x] != 0) return x;
  return to;
}
inline std::ptrdiff_t first_set(const unsigned char* row, std::ptrdiff_t from, std::ptrdiff_t to) {
  return first_set(row, from, to, to);
}

}  // namespace zeb::shapes
