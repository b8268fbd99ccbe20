#pragma once

#include <algorithm>
#include <cstdint>
#include <limits>

#include "frame/packed.h"
#include "morphology/element.h"

namespace zeb::morphology {

constexpr int word_bits = 64;
constexpr std::int64_t nowhere = std::numeric_limits<std::int64_t>::max();

/// Decisive pixels of one image row as bits, lowest bit first.
class DecisiveRow {
 public:
  DecisiveRow(const unsigned char* row, int width, Decisive decisive) : row_(row), width_(width), decisive_(decisive) {}

  /// Writes the columns from `x` on as words of 64; those outside the image give 0. False where all are 0.
  bool take(std::int64_t x, std::uint64_t* to, int words) const {
    const auto limited = [words](std::int64_t i) { return static_cast<int>(std::clamp<std::int64_t>(i, 0, words)); };
    const int first_inside = limited((word_bits - 1 - x) / word_bits);
    const int end_inside = std::max(first_inside, limited((width_ - x) / word_bits));
    // Copies, since the compiler takes it that writing bits may change the members.
    const Decisive decisive = decisive_;
    const unsigned char* const row = row_;
    std::uint64_t any = 0;
    const auto at_border = [&](int i) {
      const std::int64_t at = x + std::int64_t{i} * word_bits;
      to[i] = bits(at) | bits(at + 16) << 16 | std::uint64_t{bits(at + 32) | bits(at + 48) << 16} << 32;
      any |= to[i];
    };
    for (int i = 0; i < first_inside; ++i) at_border(i);
    for (int i = first_inside; i < end_inside; ++i) {
      const std::uint64_t set = decisive.bits_of_64(row + (x + std::int64_t{i} * word_bits));
      to[i] = set;
      any |= set;
    }
    for (int i = end_inside; i < words; ++i) at_border(i);
    return any != 0;
  }

  /// Columns `x` to `x + 15` in the same way.
  std::uint32_t bits(std::int64_t x) const {
    if (x >= 0 && x + 16 <= width_)
      return static_cast<std::uint32_t>(_mm_movemask_epi8(decisive_(frame::load(row_ + x))));
    std::uint32_t set = 0;
    for (std::int64_t k = std::max<std::int64_t>(0, -x); k < std::min<std::int64_t>(16, width_ - x); ++k)
      set |= static_cast<std::uint32_t>(decisive_(row_[x + k])) << k;
    return set;
  }

  /// Distance from `x` to the nearest decisive pixel to its left or right, itself excluded. What lies farther away than
  /// `reach` may give its distance or `nowhere`.
  std::int64_t distance_left(std::int64_t x, std::int64_t reach) const {
    const std::int64_t farthest = std::max<std::int64_t>(0, x - reach);
    for (std::int64_t end = std::min<std::int64_t>(x, width_); end > farthest; end -= 16)
      if (const std::uint32_t set = bits(end - 16); set != 0) return x - (end - 16 + 31 - __builtin_clz(set));
    return nowhere;
  }
  std::int64_t distance_right(std::int64_t x, std::int64_t reach) const {
    const std::int64_t farthest = std::min<std::int64_t>(width_ - 1, x + reach);
    for (std::int64_t begin = std::max<std::int64_t>(x + 1, 0); begin <= farthest; begin += 16)
      if (const std::uint32_t set = bits(begin); set != 0) return begin + __builtin_ctz(set) - x;
    return nowhere;
  }

 private:
  const unsigned char* row_;
  std::int64_t width_;
  Decisive decisive_;
};

}  // namespace zeb::morphology
