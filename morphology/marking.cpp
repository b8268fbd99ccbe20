#include "morphology/marking.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "frame/packed.h"
#include "morphology/decisive_row.h"
#include "morphology/reach.h"
#include "morphology/small_square.h"

/// The image is processed in tiles of bits, one a pixel. Each source row becomes a row of bits, 1 for a decisive pixel.
/// It is dilated horizontally to the half-width of the element's outermost rows, then of the next ones, and so on to
/// the centre, and each stage is added to the two rows of the result that lie so far above and below. A dilation by one
/// more pixel takes a few operations for 128 pixels, whatever has been reached before.

namespace zeb::morphology {
namespace {

using frame::store;

constexpr int tile_columns = 2048;   ///< at most, a multiple of 128
constexpr int rows_per_radius = 4;   ///< of a tile that rectangles are stacked in
constexpr int tile_bytes = 1 << 16;  ///< bits of the result: small enough for any stack and for a second-level cache

__m128i load_words(const std::uint64_t* from) { return _mm_loadu_si128(reinterpret_cast<const __m128i*>(from)); }
void store_words(std::uint64_t* to, __m128i words) { _mm_storeu_si128(reinterpret_cast<__m128i*>(to), words); }

/// The part of a row of bits that belongs to a tile, while it is being dilated.
class RowBits {
 public:
  explicit RowBits(int words) : words_(words) { std::memset(stages_, 0, sizeof(stages_)); }

  /// Takes the columns from `x`. False where no decisive pixel comes within `reach` of them.
  bool take(const DecisiveRow& row, std::int64_t x, std::int64_t reach) {
    const bool any = row.take(x, current(), words_);
    half_width_ = 0;
    left_ = row.distance_left(x, reach);
    right_ = row.distance_right(x + std::int64_t{words_} * word_bits - 1, reach);
    return any || left_ <= reach || right_ <= reach;
  }

  /// Dilates to `half_width` pixels on either side, which must not be less than before.
  void dilate_to(int half_width) {
    while (half_width_ < half_width) {
      // Each pixel has become a run of at least half_width_ + 1, even at the border, so that two copies of it, shifted
      // by no more than its length, leave no gap.
      const int step = std::min({half_width - half_width_, half_width_ + 1, word_bits - 1});
      dilate_by(step);
      half_width_ += step;
      if (left_ <= half_width_) enter_left(half_width_ - left_);
      if (right_ <= half_width_) enter_right(half_width_ - right_);
    }
  }
  int half_width() const { return half_width_; }
  const std::uint64_t* bits() const { return stages_[stage_] + guard; }

 private:
  static constexpr int guard = 2;  // words on either side that stay 0
  static constexpr int capacity = tile_columns / word_bits + 2 * guard;

  std::uint64_t* current() { return stages_[stage_] + guard; }

  void dilate_by(int step) {
    const std::uint64_t* from = current();
    stage_ ^= 1;
    std::uint64_t* to = current();
    const __m128i there = _mm_cvtsi32_si128(step), back = _mm_cvtsi32_si128(word_bits - step);
    const int words = words_;
    for (int i = 0; i < words; i += 2) {
      const __m128i here = load_words(from + i);
      const __m128i to_right = _mm_or_si128(_mm_sll_epi64(here, there), _mm_srl_epi64(load_words(from + i - 1), back));
      const __m128i to_left = _mm_or_si128(_mm_srl_epi64(here, there), _mm_sll_epi64(load_words(from + i + 1), back));
      store_words(to + i, _mm_or_si128(here, _mm_or_si128(to_right, to_left)));
    }
  }

  /// Lets the run of the nearest pixel outside the tile in, up to `last` columns behind the border. All but the columns
  /// of the last step, at most 63, are there already.
  void enter_left(std::int64_t last) {
    const std::int64_t word = last / word_bits;
    if (word < words_) current()[word] |= ~std::uint64_t{0} >> (word_bits - 1 - last % word_bits);
    if (word > 0 && word <= words_) current()[word - 1] = ~std::uint64_t{0};
  }
  void enter_right(std::int64_t last) {
    const std::int64_t word = words_ - 1 - last / word_bits;
    if (word >= 0) current()[word] |= ~std::uint64_t{0} << (word_bits - 1 - last % word_bits);
    if (word >= -1 && word < words_ - 1) current()[word + 1] = ~std::uint64_t{0};
  }

  int words_;
  int half_width_ = 0;
  int stage_ = 0;
  std::int64_t left_ = nowhere, right_ = nowhere;  // the nearest decisive pixels outside, as distances from the tile
  alignas(16) std::uint64_t stages_[2][capacity];
};

class Marking {
 public:
  Marking(const Images& images, Decisive decisive, const Element& element, Point_<int> offset, unsigned char hit)
      : images_(images),
        decisive_(decisive),
        element_(element),
        offset_x_(offset.x),
        offset_y_(offset.y),
        hit_(hit),
        columns_(
            static_cast<int>(std::min<std::int64_t>(widest_tile(element), (std::int64_t{images.width} + 127) & -128))),
        words_(columns_ / word_bits),
        reach_(static_cast<int>(std::min<std::int64_t>(element.reach(), images.width + std::abs(offset_x_)))) {}

  void run() {
    const int rows = tile_bytes / (columns_ / 8);
    const bool stack_rows = element_.is_rectangle() && element_.radius() <= rows / rows_per_radius;
    head_ = stack_rows ? 2 * element_.radius() : 0;
    const int step = rows - head_;
    for (top_ = 0; top_ < images_.height; top_ += step) {
      bottom_ = std::min<std::int64_t>(top_ + step, images_.height) - 1;
      for (left_ = 0; left_ < images_.width; left_ += columns_) {
        std::memset(marks_, 0, static_cast<std::size_t>(marks(bottom_ + 1) - marks_) * sizeof(marks_[0]));
        if (stack_rows)
          collect_rectangles();
        else
          collect();
        write();
      }
    }
  }

 private:
  /// Rectangles are stacked within a tile, so that high ones need narrow ones.
  static int widest_tile(const Element& element) {
    int columns = tile_columns;
    if (element.is_rectangle())
      while (columns > 128 && element.radius() > tile_bytes / (columns / 8) / rows_per_radius) columns /= 2;
    return columns;
  }

  /// Rows `top_ - head_` to `bottom_`.
  std::uint64_t* marks(std::int64_t y) { return marks_ + (y - top_ + head_) * words_; }

  /// `visit(row, bits, centre)` for each row with something to add to this tile; `centre` is where the elements of its
  /// decisive pixels have their centres.
  template <class Visit>
  void for_each_source_row(Visit visit) {
    const std::int64_t first = std::max<std::int64_t>(0, top_ - offset_y_ - element_.radius());
    const std::int64_t last = std::min<std::int64_t>(images_.height - 1, bottom_ - offset_y_ + element_.radius());
    RowBits bits(words_);
    for (std::int64_t y = first; y <= last; ++y) {
      if (y >= top_ && y <= bottom_) prefetch_result(y);
      const DecisiveRow row(images_.src + images_.row(y), images_.width, decisive_);
      if (bits.take(row, left_ - offset_x_, reach_)) visit(row, bits, y + offset_y_);
    }
  }

  /// Otherwise writing would wait for memory that idles while the bits are made.
  /// Inlined, since the compiler takes a call without effects for none.
  [[gnu::always_inline]] void prefetch_result(std::int64_t y) const {
    constexpr int cache_line = 64;
    const unsigned char* const row = images_.dst + images_.row(y);
    for (std::int64_t x = left_; x < std::min<std::int64_t>(left_ + columns_, images_.width); x += cache_line)
      _mm_prefetch(reinterpret_cast<const char*>(row + x), _MM_HINT_T0);
  }

  /// Every row is marked once, in the uppermost row of its elements; then all marks grow downward together.
  void collect_rectangles() {
    for_each_source_row([this](const DecisiveRow&, RowBits& bits, std::int64_t centre) {
      bits.dilate_to(reach_);
      std::copy_n(bits.bits(), words_, marks(centre - element_.radius()));
    });
    const int rows = 2 * element_.radius() + 1;
    for (int grown = 1, step; grown < rows; grown += step) {
      step = std::min(grown, rows - grown);
      const std::ptrdiff_t back = std::ptrdiff_t{step} * words_;
      for (std::uint64_t* to = marks(bottom_ + 1) - 2; to >= marks_ + back; to -= 2) unite(to, to - back);
    }
  }

  void collect() {
    for_each_source_row([this](const DecisiveRow& row, RowBits& bits, std::int64_t centre) {
      const std::int64_t farthest = std::max(std::abs(centre - top_), std::abs(bottom_ - centre));
      const std::int64_t nearest = std::max<std::int64_t>({0, top_ - centre, centre - bottom_});
      for (std::int64_t i = std::min<std::int64_t>(farthest, element_.radius()); i >= nearest; --i) {
        const int half_width = std::min(element_.half_width(static_cast<int>(i)), reach_);
        // Half-widths grow toward the centre, but for those of a stamped ellipse that exceed 16 bits.
        if (half_width < bits.half_width()) bits.take(row, left_ - offset_x_, reach_);
        bits.dilate_to(half_width);
        add(bits.bits(), centre - i, centre + i);
      }
    });
  }

  /// Adds a row of bits to two rows of the tile, or to the one of them that lies within.
  void add(const std::uint64_t* bits, std::int64_t above, std::int64_t below) {
    if (above >= top_ && below <= bottom_) {
      std::uint64_t *to_above = marks(above), *to_below = marks(below);
      for (int i = 0; i < words_; i += 2) {
        const __m128i more = load_words(bits + i);
        store_words(to_above + i, _mm_or_si128(load_words(to_above + i), more));
        store_words(to_below + i, _mm_or_si128(load_words(to_below + i), more));
      }
    } else if (above >= top_ || below <= bottom_) {
      std::uint64_t* to = marks(above >= top_ ? above : below);
      for (int i = 0; i < words_; i += 2) unite(to + i, bits + i);
    }
  }

  static void unite(std::uint64_t* to, const std::uint64_t* more) {
    store_words(to, _mm_or_si128(load_words(to), load_words(more)));
  }

  void write() {
    const int columns = static_cast<int>(std::min<std::int64_t>(columns_, images_.width - left_));
    for (std::int64_t y = top_; y <= bottom_; ++y) {
      unsigned char* to = images_.dst + images_.row(y) + left_;
      const std::uint64_t* from = marks(y);
      int x = 0;
      for (; x + word_bits <= columns; x += word_bits) write_word(to + x, *from++);
      if (x < columns) {
        unsigned char rest[word_bits];
        write_word(rest, *from);
        std::memcpy(to + x, rest, static_cast<std::size_t>(columns - x));
      }
    }
  }

  /// 64 pixels from their bits.
  void write_word(unsigned char* to, std::uint64_t word) const {
    const __m128i bits = _mm_cvtsi64_si128(static_cast<long long>(word));
    for (int pair = 0; pair < 4; ++pair) store(to + 16 * pair, frame::pixels_of_bits(bits, pair, hit_ != 0));
  }

  const Images& images_;
  const Decisive decisive_;
  const Element& element_;
  const std::int64_t offset_x_, offset_y_;
  const unsigned char hit_;
  const int columns_, words_;  // of a tile
  const int reach_;            // of the element, cut to what can matter
  int head_ = 0;               // rows of marks above the tile
  std::int64_t left_ = 0, top_ = 0, bottom_ = 0;
  alignas(16) std::uint64_t marks_[tile_bytes / 8];
};

}  // namespace

void mark(const Images& images, Decisive decisive, const Element& element, Point_<int> offset, unsigned char hit) {
  if (images.empty()) return;
  const bool centred = offset.x == 0 && offset.y == 0;
  if (centred && pays_by_reach(element))
    mark_by_reach(images, decisive, element, hit);
  else if (centred && pays_as_small_square(images, decisive, element, hit))
    mark_small_square(images, decisive, element);
  else
    Marking(images, decisive, element, offset, hit).run();
}

}  // namespace zeb::morphology
