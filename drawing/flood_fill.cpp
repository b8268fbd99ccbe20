#include <algorithm>
#include <cstddef>
#include <cstring>
#include <vector>

#include "frame/packed.h"
#include "zeb/drawing.h"

namespace {

using namespace zeb::frame;

/// A painted run whose neighbouring rows are still to be visited.
struct Span {
  unsigned parent_left, parent_right;  ///< the run from which this one was found; no parent where left > right
  unsigned left, right;
  unsigned y;
  unsigned toward_parent;  ///< the row step back to the parent: 1, or -1 modulo 2^32
};

class SpanStack {
 public:
  bool empty() const { return count_ == 0; }
  Span pop() { return spans_[--count_]; }
  void push(const Span& span) {
    if (count_ == spans_.size()) spans_.resize((spans_.size() * 3) >> 1);
    spans_[count_++] = span;
  }

 private:
  std::vector<Span> spans_ = std::vector<Span>(512);
  std::size_t count_ = 0;
};

/// The first and the last column of a painted run.
struct Run {
  unsigned left, right;
};

/// A row of the image that is being filled, handled 16 pixels at a time while as many are left.
class Row {
 public:
  Row(unsigned char* pixels, unsigned char old, unsigned char value) : pixels_(pixels), old_(old), value_(value) {}

  bool is_old(std::ptrdiff_t x) const { return pixels_[x] == old_; }

  /// The first column from `x` on, below `end`, that has the old value; `end` without one.
  std::ptrdiff_t find_old(std::ptrdiff_t x, std::ptrdiff_t end) const {
    for (; x + 16 <= end; x += 16) {
      const unsigned found = old_mask(x);
      if (found != 0) return x + __builtin_ctz(found);
    }
    while (x < end && !is_old(x)) ++x;
    return x;
  }

  /// Paints the old pixels from `x` on to the left; returns the leftmost one painted, `x + 1` where there is none.
  std::ptrdiff_t paint_left(std::ptrdiff_t x) const {
    if (x < 0 || !is_old(x)) return x + 1;  // most runs of a narrow area are this short
    for (; x >= 15; x -= 16) {
      const unsigned others = old_mask(x - 15) ^ 0xFFFFu;
      if (others != 0) {
        const std::ptrdiff_t run = 15 - (31 - __builtin_clz(others));
        std::memset(pixels_ + x - run + 1, value_, static_cast<std::size_t>(run));
        return x - run + 1;
      }
      store(pixels_ + x - 15, splat(value_));
    }
    while (x >= 0 && is_old(x)) pixels_[x--] = value_;
    return x + 1;
  }

  /// Paints the old pixels from `x` on to the right, below `width`; returns the rightmost one painted, `x - 1` where
  /// there is none.
  std::ptrdiff_t paint_right(std::ptrdiff_t x, std::ptrdiff_t width) const {
    if (x >= width || !is_old(x)) return x - 1;
    for (; x + 16 <= width; x += 16) {
      const unsigned others = old_mask(x) ^ 0xFFFFu;
      if (others != 0) {
        const std::ptrdiff_t run = __builtin_ctz(others);
        std::memset(pixels_ + x, value_, static_cast<std::size_t>(run));
        return x + run - 1;
      }
      store(pixels_ + x, splat(value_));
    }
    while (x < width && is_old(x)) pixels_[x++] = value_;
    return x - 1;
  }

  void paint(std::ptrdiff_t x) const { pixels_[x] = value_; }

 private:
  unsigned old_mask(std::ptrdiff_t x) const {
    return static_cast<unsigned>(_mm_movemask_epi8(_mm_cmpeq_epi8(load(pixels_ + x), splat(old_))));
  }

  unsigned char* pixels_;
  unsigned char old_, value_;
};

}  // namespace

void flood_fill(unsigned char* const data, unsigned int width, unsigned int height, unsigned int stride, unsigned int x,
                unsigned int y, unsigned char value) {
  const auto row_at = [=, old = data[std::size_t{y} * stride + x]](unsigned row) {
    return Row(data + std::size_t{row} * stride, old, value);
  };
  if (data[std::size_t{y} * stride + x] == value) return;

  SpanStack stack;
  // Paints the run around an old pixel.
  const auto paint_run = [width](const Row& row, unsigned column) {
    row.paint(column);
    const auto left = static_cast<unsigned>(row.paint_left(std::ptrdiff_t{column} - 1));
    const auto right = static_cast<unsigned>(row.paint_right(std::ptrdiff_t{column} + 1, width));
    return Run{left, right};
  };

  const auto visit = [&](const Span& from, unsigned row_index, unsigned first, unsigned last, unsigned row_step) {
    if (row_index >= height || static_cast<int>(first) > static_cast<int>(last)) return;
    const Row row = row_at(row_index);
    const std::ptrdiff_t end = std::min(std::ptrdiff_t{last} + 1, std::ptrdiff_t{width});
    for (std::ptrdiff_t c = row.find_old(first, end); c < end;) {
      const Run run = paint_run(row, static_cast<unsigned>(c));
      stack.push({from.left, from.right, run.left, run.right, row_index, 0u - row_step});
      // The pixel behind a run cannot match.
      c = row.find_old(std::min(std::ptrdiff_t{run.right} + 2, end), end);
    }
  };

  const Run seed = paint_run(row_at(y), x);
  stack.push({seed.right + 1, seed.right, seed.left, seed.right, y, 1});  // no parent
  while (!stack.empty()) {
    const Span span = stack.pop();
    const unsigned back = span.toward_parent, onward = 0u - back;
    visit(span, span.y + onward, span.left, span.right, onward);
    visit(span, span.y + back, span.left, span.parent_left - 1, back);
    visit(span, span.y + back, span.parent_right + 1, span.right, back);
  }
}

namespace zeb {

void flood_fill(Bitmap_<unsigned char>& bitmap, Point_<unsigned int> seed, unsigned char value) {
  ::flood_fill(bitmap.data, static_cast<unsigned>(bitmap.width), static_cast<unsigned>(bitmap.height),
               static_cast<unsigned>(bitmap.stride), seed.x, seed.y, value);
}

}  // namespace zeb
