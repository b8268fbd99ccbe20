#include "morphology/reach.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "frame/packed.h"
#include "morphology/decisive_row.h"

/// A decisive pixel marks as many rows of each column as the element is high there. So each source row becomes a row of
/// bytes, the most rows that any of its pixels marks in a column, downward, its own row included. On the way down the
/// image, what is left from the row above, one less, takes the place of less; then the same on the way up, beginning
/// with what the way down left in each row, as whatever reaches down to a row reaches at least as far up from there. A
/// pixel is marked where anything is left. The destination holds the bytes in between, so that nothing is allocated.

namespace zeb::morphology {
namespace {

using frame::load;
using frame::store;

constexpr int lanes = 16;
constexpr int blocks_per_word = word_bits / lanes;
constexpr int largest_radius = 254;  // the rows marked, one more, have to fit a byte
constexpr int strip_columns = 8192;  // at most, a multiple of 64: rows of it lie on the stack
constexpr int band_bytes = 1 << 19;  // of a strip, to be in a second-level cache on the way up

/// For each pattern of 8 pixels, 15 less the distance of the nearest set one: for the 8 pixels to the left of them, for
/// themselves, for the 8 to their right. -1 without any.
struct Nearness {
  signed char of[256][32];

  constexpr Nearness() : of() {
    for (int pattern = 0; pattern < 256; ++pattern)
      for (int lane = -8; lane < 16; ++lane) {
        int nearest = 16;
        for (int bit = 0; bit < 8; ++bit) {
          const int distance = bit < lane ? lane - bit : bit - lane;
          if ((pattern >> bit & 1) != 0 && distance < nearest) nearest = distance;
        }
        of[pattern][lane + 8] = static_cast<signed char>(15 - nearest);
      }
  }
};
constexpr Nearness nearness;

/// The height of the element in the columns beside a decisive pixel: the rows that it marks downward.
class Profile {
 public:
  explicit Profile(const Element& element) : radius_(element.radius()), beyond_(element.reach() + 1) {
    std::memset(heights_, 0, sizeof(heights_));
    int column = 0;
    for (int row = element.radius(); row >= 0; --row)
      for (; column <= element.half_width(row); ++column)
        heights_[middle + column] = heights_[middle - column] = static_cast<unsigned char>(row + 1);
    near_ = load(heights_ + middle - 15);
  }

  int radius() const { return radius_; }
  /// The least distance from which on a pixel does not matter.
  int beyond() const { return beyond_; }

  /// Heights in 16 columns, for the nearest pixel `distance` to the left of the first or to the right of the last one,
  /// at most `beyond()`.
  __m128i from_left(int distance) const { return load(heights_ + middle + distance); }
  __m128i from_right(int distance) const { return load(heights_ + middle - (lanes - 1) - distance); }

  /// For the 16 pixels themselves.
  __m128i within(std::uint32_t set) const {
    const __m128i by_first = load(reinterpret_cast<const unsigned char*>(nearness.of[set & 255] + 8));
    const __m128i by_last = load(reinterpret_cast<const unsigned char*>(nearness.of[set >> 8]));
    return _mm_shuffle_epi8(near_, _mm_max_epi8(by_first, by_last));
  }

 private:
  static constexpr int middle = largest_radius + lanes;

  int radius_, beyond_;
  __m128i near_;
  unsigned char heights_[2 * middle + 1];
};

/// The columns of an image that are done together.
class Strip {
 public:
  Strip(const Images& images, Decisive decisive, const Profile& profile, int left)
      : images_(images),
        decisive_(decisive),
        profile_(profile),
        left_(left),
        columns_(std::min(strip_columns, images.width - left)),
        words_((columns_ + word_bits - 1) / word_bits) {}

  void run(unsigned char hit) {
    // A band of rows follows the other, each up again from where nothing below can matter.
    const int band_rows = std::max(band_bytes / columns_, profile_.radius());
    clear(down_);
    int next = 0;  // row to go down to
    for (std::int64_t top = 0; top < images_.height; top += band_rows) {
      const int bottom = static_cast<int>(std::min<std::int64_t>(top + band_rows, images_.height));
      const int end =
          static_cast<int>(std::min<std::int64_t>(std::int64_t{bottom} + profile_.radius(), images_.height));
      for (; next < end; ++next) go_down(next);
      clear(up_);
      for (int y = end - 1; y >= bottom; --y) go_up(y, [](unsigned char*, __m128i) {});
      for (int y = bottom - 1; y >= top; --y)
        go_up(y, [marked = frame::splat(hit)](unsigned char* to, __m128i rows) {
          store(to, _mm_xor_si128(_mm_cmpeq_epi8(rows, _mm_setzero_si128()), marked));
        });
    }
  }

 private:
  unsigned char* row(int y) const { return images_.dst + images_.row(y) + left_; }

  void go_down(int y) {
    const DecisiveRow decisive(images_.src + images_.row(y), images_.width, decisive_);
    const Profile& profile = profile_;
    const int beyond = profile.beyond();
    const auto limited = [beyond](std::int64_t distance) {
      return static_cast<int>(std::min<std::int64_t>(distance, beyond));
    };
    const bool any = decisive.take(left_, bits_, words_);
    int to_left = limited(decisive.distance_left(left_, beyond));
    int to_right = limited(decisive.distance_right(left_ + std::int64_t{words_} * word_bits - 1, beyond));
    if (!any && to_left == beyond && to_right == beyond) {
      for_each_block_down(y, [](int) { return _mm_setzero_si128(); });
      return;
    }
    const auto one_block_on = [beyond](int distance) { return std::min(distance + lanes, beyond); };
    for (int i = words_ * blocks_per_word - 1; i >= 0; --i) {
      to_right_[i] = static_cast<unsigned char>(to_right);
      const unsigned set = block(i);
      to_right = set != 0 ? __builtin_ctz(set) + 1 : one_block_on(to_right);
    }
    for_each_block_down(y, [&](int i) {
      const unsigned set = block(i);
      const __m128i beside = _mm_max_epu8(profile.from_left(to_left), profile.from_right(to_right_[i]));
      to_left = set != 0 ? __builtin_clz(set) - (lanes - 1) : one_block_on(to_left);
      return _mm_max_epu8(beside, profile.within(set));
    });
  }

  /// `rows_of(i)` is what begins in row `y` in each of 16 columns.
  template <class RowsOf>
  void for_each_block_down(int y, RowsOf rows_of) {
    unsigned char* const to = row(y);
    const int whole = columns_ / lanes;
    for (int i = 0; i < whole; ++i) store(to + i * lanes, advance(down_ + i * lanes, rows_of(i)));
    if (const int rest = columns_ % lanes; rest != 0) {
      advance(down_ + whole * lanes, rows_of(whole));
      std::memcpy(to + whole * lanes, down_ + whole * lanes, static_cast<std::size_t>(rest));
    }
  }

  template <class Put>
  void go_up(int y, Put put) {
    unsigned char* const at = row(y);
    const int whole = columns_ / lanes * lanes;
    for (int x = 0; x < whole; x += lanes) put(at + x, advance(up_ + x, load(at + x)));
    if (const int rest = columns_ % lanes; rest != 0) {
      unsigned char bytes[lanes] = {};
      std::memcpy(bytes, at + whole, static_cast<std::size_t>(rest));
      put(bytes, advance(up_ + whole, load(bytes)));
      std::memcpy(at + whole, bytes, static_cast<std::size_t>(rest));
    }
  }

  void clear(unsigned char* left_over) const {
    std::memset(left_over, 0, static_cast<std::size_t>(words_) * word_bits);
  }

  /// The decisive pixels of 16 columns.
  unsigned block(int i) const {
    std::uint16_t set;
    std::memcpy(&set, reinterpret_cast<const unsigned char*>(bits_) + i * 2, sizeof(set));
    return set;
  }

  /// From row to row: what is left, or what begins here.
  static __m128i advance(unsigned char* left_over, __m128i rows) {
    rows = _mm_max_epu8(rows, _mm_subs_epu8(load(left_over), frame::splat(1)));
    store(left_over, rows);
    return rows;
  }

  const Images& images_;
  const Decisive decisive_;
  const Profile& profile_;
  const int left_, columns_, words_;
  alignas(16) std::uint64_t bits_[strip_columns / word_bits];
  unsigned char to_right_[strip_columns / lanes];
  alignas(16) unsigned char down_[strip_columns], up_[strip_columns];
};

}  // namespace

bool pays_by_reach(const Element& element) {
  // Below, a few rows of bits are sooner united; and high squares no longer fit into a tile of bits.
  return element.radius() >= (element.is_rectangle() ? 65 : 20) && element.radius() <= largest_radius &&
         element.reach() <= largest_radius;
}

void mark_by_reach(const Images& images, Decisive decisive, const Element& element, unsigned char hit) {
  const Profile profile(element);
  for (std::int64_t left = 0; left < images.width; left += strip_columns)
    Strip(images, decisive, profile, static_cast<int>(left)).run(hit);
}

}  // namespace zeb::morphology
