#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>

#include "frame/packed.h"

/// Two ways to count grey values. Totals are exact up to 2^32 - 1 pixels.
namespace zeb::statistics {

using Counts = std::array<std::uint32_t, 256>;

/// Counts in several tables, so that equal neighbours do not wait for one another. Bound by one store a pixel.
class Counters {
 public:
  void add_row(const unsigned char* row, int width) {
    int x = 0;
    for (; x <= width - tables; x += tables) {
      for (int k = 0; k < tables; ++k) ++counts_[k][row[x + k]];
    }
    for (; x < width; ++x) ++counts_[0][row[x]];
  }

  Counts totals() const {
    Counts totals{};
    for (const auto& table : counts_)
      for (std::size_t p = 0; p < totals.size(); ++p) totals[p] += table[p];
    return totals;
  }

 private:
  static constexpr int tables = 8;
  // The pitch keeps the same bin of two tables from lying a multiple of 4096 bytes apart, which would stall the loads.
  static constexpr int pitch = 256 + 16;

  std::uint32_t counts_[tables][pitch] = {};
};

/// Counts pairs of pixels, which takes half the stores; made for large images, since all cells are read at the end.
///
/// Which pixel of a pair came first does not matter. So a pair is a pixel and the distance, at most 128 modulo 256, to
/// the other one from there on: few enough cells of one byte that those in use stay in the first-level cache.
class PairCounters {
 public:
  void add_row(const unsigned char* row, int width) {
    int x = 0;
    while (width - x >= step) {
      const int size = std::min(block, (width - x) / step * step);
      add_block(row + x, size);
      x += size;
    }
    rest_.add_row(row + x, width - x);
  }

  Counts totals() const {
    // All rows together stay below 2^16.
    std::uint16_t pixels[256] = {}, others[256 + near_rows] = {};
    for (int row = 0; row < rows; ++row) {
      const int distance = distance_of(row);
      for (int p = 0; p < 256; ++p) {
        pixels[p] = static_cast<std::uint16_t>(pixels[p] + cells_[256 * row + p]);
        others[p + distance] = static_cast<std::uint16_t>(others[p + distance] + cells_[256 * row + p]);
      }
    }
    Counts totals = rest_.totals();
    for (std::size_t p = 0; p < 256; ++p) {
      totals[p] += carried_[p] + pixels[p] + others[p];
      if (p < near_rows) totals[p] += others[256 + p];
    }
    return totals;
  }

 private:
  static constexpr int step = 32, group = 16, block = 256;
  static_assert(block % step == 0 && step == 2 * group);

  // The distances 0 and 1 are common, in flat areas and in images of 0 and 255. They have eight rows each, behind the
  // one of 128, which take turns: an increment waits for the last one of the same cell.
  static constexpr int near_rows = 130, rows = near_rows + 2 * 8;

  static int distance_of(int row) { return row < near_rows ? row : row & 1; }

  /// The cells of the whole block are found before any is counted, so that neither step waits for the other.
  void add_block(const unsigned char* pixels, int size) {
    using namespace frame;
    const __m128i near = _mm_setr_epi8(-126, -124, -122, -120, -118, -116, -114, -112, -126, -124, -122, -120, -118,
                                       -116, -114, -112);  // near_rows + 2 * turn
    alignas(16) std::uint16_t cells[block / 2];
    for (int i = 0; i < size; i += step) {
      const __m128i a = load(pixels + i), b = load(pixels + i + group);
      const __m128i difference = _mm_sub_epi8(b, a), distance = _mm_abs_epi8(difference);
      const __m128i pixel = _mm_blendv_epi8(a, b, difference);
      const __m128i row = _mm_or_si128(distance, _mm_and_si128(at_most(distance, splat(1)), near));
      auto* const to = reinterpret_cast<__m128i*>(cells + i / 2);
      _mm_store_si128(to, _mm_unpacklo_epi8(pixel, row));
      _mm_store_si128(to + 1, _mm_unpackhi_epi8(pixel, row));
    }
    for (int i = 0; i < size / 2; i += group) add_group(cells + i);
  }

  void add_group(const std::uint16_t* cells) {
    unsigned wrapped = 0;
    for (int k = 0; k < group; ++k)
      wrapped += __builtin_add_overflow(cells_[cells[k]], std::uint8_t{1}, &cells_[cells[k]]) ? 1u : 0u;
    if (wrapped != 0) carry(cells);
  }

  /// Takes a group back in which a cell passed 255, and counts it again, with the carries. Rare, and kept out of the
  /// loop, which needs all registers.
  [[gnu::noinline]] void carry(const std::uint16_t* cells) {
    for (int k = 0; k < group; ++k) --cells_[cells[k]];
    for (int k = 0; k < group; ++k) {
      if (++cells_[cells[k]] != 0) continue;
      const int pixel = cells[k] & 255, other = (pixel + distance_of(cells[k] >> 8)) & 255;
      carried_[pixel] += 256;
      carried_[other] += 256;
    }
  }

  alignas(64) std::uint8_t cells_[256 * rows] = {};
  std::uint32_t carried_[256] = {};
  Counters rest_;
};

}  // namespace zeb::statistics
