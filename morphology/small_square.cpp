#include "morphology/small_square.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "frame/packed.h"

/// A dilation asks whether any pixel under the square exceeds the limit, which is whether the greatest does; an erosion
/// asks whether all of them do, which is whether the least does. So of the pixels under one column of the square only
/// the extreme is compared, which answers for that column, and the answers of neighbouring columns are united on the
/// way from left to right. Two rows of the result go together, since their squares share all rows but one each. Nothing
/// is kept in memory in between: for elements as small as these, packing pixels into bits costs more than bits save.

namespace zeb::morphology {
namespace {

using frame::load;
using frame::splat;
using frame::store;

constexpr int lanes = 16;

/// What is asked of the pixels under the element: whether any exceeds the limit, for a dilation, or all, for an
/// erosion.
enum class Question { any, all };

template <Question question>
__m128i unite(__m128i a, __m128i b) {
  return question == Question::any ? _mm_or_si128(a, b) : _mm_and_si128(a, b);
}

/// The answer of columns outside the image, which decide nothing.
template <Question question>
__m128i outside() {
  return splat(question == Question::any ? 0 : 255);
}

/// One row of the result, from the answers of its columns, handed over 16 at a time from left to right.
template <Question question, int radius>
class RowOfResult {
 public:
  RowOfResult(unsigned char* to, __m128i first)
      : to_(to), here_(first), pairs_before_(with_next_column(outside<question>(), first)) {}

  /// Takes the next 16 columns and writes the result for the 16 before them, which needs them.
  void put(__m128i next) {
    store(to_, advance(next));
    to_ += lanes;
  }
  /// Writes the result for the first `columns` of those that were handed over last.
  void put_last(int columns) {
    unsigned char bytes[lanes];
    store(bytes, advance(outside<question>()));
    std::memcpy(to_, bytes, static_cast<std::size_t>(columns));
  }

 private:
  static __m128i with_next_column(__m128i here, __m128i next) {
    return unite<question>(here, _mm_alignr_epi8(next, here, 1));
  }

  /// Column `x` is the pairs that begin at `x - radius` and at `x`, and for the larger square column `x + 2` as well.
  __m128i advance(__m128i next) {
    const __m128i pairs = with_next_column(here_, next);
    __m128i result = unite<question>(pairs, _mm_alignr_epi8(pairs, pairs_before_, lanes - radius));
    if (radius == 2) result = unite<question>(result, _mm_alignr_epi8(next, here_, 2));
    here_ = next;
    pairs_before_ = pairs;
    return result;
  }

  unsigned char* to_;
  __m128i here_, pairs_before_;
};

/// Rows `y` and `y + 1` of the result.
template <Question question, int radius>
class TwoRows {
 public:
  TwoRows(const Images& images, unsigned char limit, std::int64_t y)
      : images_(images), exceeding_(splat(static_cast<unsigned char>(limit + 1))), y_(y) {
    // A row outside the image gives way to the nearest one inside, which lies under the square anyway.
    for (int i = 0; i < rows; ++i) rows_[i] = images.src + row_inside(y - radius + i);
  }

  void run() const {
    // The next two rows are asked for ahead of their turn, so that neither loads nor stores wait for memory.
    constexpr int cache_line = 64;
    const unsigned char* const soon[] = {images_.src + row_inside(y_ + radius + 2),
                                         images_.src + row_inside(y_ + radius + 3), images_.dst + row_inside(y_ + 2),
                                         images_.dst + row_inside(y_ + 3)};
    const Answers first = columns(0);
    RowOfResult<question, radius> upper(images_.dst + images_.row(y_), first.upper);
    RowOfResult<question, radius> lower(images_.dst + images_.row(y_ + 1), first.lower);
    const auto put = [&upper, &lower](Answers next) {
      upper.put(next.upper);
      lower.put(next.lower);
    };
    int x = lanes;
    for (; x <= images_.width - lanes; x += lanes) {
      if (x % cache_line == 0)
        for (const unsigned char* row : soon) _mm_prefetch(reinterpret_cast<const char*>(row + x), _MM_HINT_T0);
      put(columns(x));
    }
    const int rest = images_.width - x;
    if (rest > 0) put(last_columns(rest));
    const int pending = rest > 0 ? rest : lanes;
    upper.put_last(pending);
    lower.put_last(pending);
  }

 private:
  static constexpr int rows = 2 * radius + 2;  // under the squares of both

  struct Answers {
    __m128i upper, lower;
  };

  std::ptrdiff_t row_inside(std::int64_t y) const {
    return images_.row(std::clamp<std::int64_t>(y, 0, images_.height - 1));
  }

  Answers columns(int x) const {
    const auto pixels = [this, x](int row) { return load(rows_[row] + x); };
    const auto extreme = [](__m128i a, __m128i b) {
      return question == Question::any ? _mm_max_epu8(a, b) : _mm_min_epu8(a, b);
    };
    __m128i shared = pixels(1);
    for (int row = 2; row < rows - 1; ++row) shared = extreme(shared, pixels(row));
    return {frame::at_least(extreme(shared, pixels(0)), exceeding_),
            frame::at_least(extreme(shared, pixels(rows - 1)), exceeding_)};
  }

  /// The last `rest` columns, fewer than 16, and columns outside the image behind them.
  Answers last_columns(int rest) const {
    const Answers last = columns(images_.width - lanes);
    const __m128i from = _mm_add_epi8(_mm_setr_epi8(0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15),
                                      splat(static_cast<unsigned char>(lanes - rest)));
    const __m128i behind = _mm_cmpgt_epi8(from, splat(lanes - 1));
    const auto moved = [from, behind](__m128i answers) {
      return _mm_blendv_epi8(_mm_shuffle_epi8(answers, from), outside<question>(), behind);
    };
    return {moved(last.upper), moved(last.lower)};
  }

  const Images& images_;
  const __m128i exceeding_;
  const std::int64_t y_;
  const unsigned char* rows_[rows];
};

template <Question question, int radius>
void mark_all_rows(const Images& images, unsigned char limit) {
  // At an odd height the last two rows include one that is done already, with the same result.
  for (std::int64_t y = 0; y < images.height; y += 2)
    TwoRows<question, radius>(images, limit, std::min<std::int64_t>(y, images.height - 2)).run();
}

template <Question question>
void mark_all_rows(const Images& images, unsigned char limit, int radius) {
  if (radius == 1)
    mark_all_rows<question, 1>(images, limit);
  else
    mark_all_rows<question, 2>(images, limit);
}

}  // namespace

bool pays_as_small_square(const Images& images, Decisive decisive, const Element& element, unsigned char hit) {
  const bool small_square =
      element.is_rectangle() && element.radius() == element.reach() && (element.radius() == 1 || element.radius() == 2);
  return small_square && images.width >= lanes && images.height >= 2 && decisive.limit() < 255 &&
         decisive.is_above() == (hit != 0);
}

void mark_small_square(const Images& images, Decisive decisive, const Element& element) {
  if (decisive.is_above())
    mark_all_rows<Question::any>(images, decisive.limit(), element.radius());
  else
    mark_all_rows<Question::all>(images, decisive.limit(), element.radius());
}

}  // namespace zeb::morphology
