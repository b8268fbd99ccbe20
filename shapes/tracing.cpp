#include <algorithm>
#include <cstdint>
#include <optional>
#include <stdexcept>
#include <vector>

#include "shapes/directions.h"
#include "shapes/row_scan.h"
#include "shapes/walk.h"
#include "zeb/shapes.h"

using zeb::Find_Active_Pixel_Mode;
using zeb::Point_;
using zeb::Shape;
using zeb::shapes::dx;
using zeb::shapes::dy;
using zeb::shapes::first_set;
using zeb::shapes::next_code;
using zeb::shapes::Source;
using zeb::shapes::StepOffsets;

namespace {

using Start = std::optional<Point_<int>>;

// ---- the walk -------------------------------------------------------------------------------------------------------

/// Recognises by R. Brent's method (1980) that a walk goes in circles: its state is compared with one kept from an
/// earlier step, which is renewed after 1, 2, 4, 8... steps.
class EndlessWalkCheck {
 public:
  bool repeats(int x, int y, int d) {
    if (d == d_ && x == x_ && y == y_) return true;
    if (--steps_left_ == 0) {
      x_ = x;
      y_ = y;
      d_ = d;
      steps_left_ = period_ *= 2;
    }
    return false;
  }

 private:
  int x_ = 0, y_ = 0, d_ = -1;
  std::int64_t period_ = 1, steps_left_ = 1;
};

/// The codes of a walk in the making. Short chains are collected on the stack and copied once.
class ChainWriter {
 public:
  explicit ChainWriter(const Source& source) : usual_length_(source.usual_chain_length()) {}

  void append(int code) {
    if (used_ == sizeof block_) flush();
    block_[used_++] = static_cast<char>(code);
  }

  std::vector<char> take() {
    if (chain_.empty()) return std::vector<char>(block_, block_ + used_);
    flush();
    chain_.shrink_to_fit();
    return std::move(chain_);
  }

 private:
  void flush() {
    chain_.reserve(usual_length_);
    chain_.insert(chain_.end(), block_, block_ + used_);
    used_ = 0;
  }

  std::size_t usual_length_;
  std::size_t used_ = 0;
  char block_[512];
  std::vector<char> chain_;
};

/// Walks around the component of `start`, beginning in `direction`, until the walk leaves `start` toward the pixel of
/// its first step once more. Pixels are compared there, not directions.
Shape walk(const Source& source, Point_<int> start, int direction, bool ascending) {
  const StepOffsets offsets(source.stride());
  int x = start.x, y = start.y, d = direction;
  const unsigned char* pixel = source.row(y) + x;
  int min_x = x, max_x = x, min_y = y, max_y = y;
  unsigned area = 0;  // wraps around
  const auto add_area = [&area, &x, &y](int code) {
    area += static_cast<unsigned>(x) * static_cast<unsigned>(dy[code]) -
            static_cast<unsigned>(y) * static_cast<unsigned>(dx[code]);
  };
  Point_<int> first_target;
  bool at_start = false;
  int last_code = -1;
  ChainWriter chain(source);
  EndlessWalkCheck check;

  while (const unsigned neighbours = source.neighbours(pixel, x, y)) {
    d = next_code(neighbours, d, ascending);
    add_area(d);
    x += dx[d];
    y += dy[d];
    pixel += offsets[d];
    Source::fetch_ahead(pixel, offsets[d]);
    min_x = std::min(min_x, x);
    max_x = std::max(max_x, x);
    min_y = std::min(min_y, y);
    max_y = std::max(max_y, y);
    if (last_code < 0) first_target = {x, y};
    if (at_start && x == first_target.x && y == first_target.y) break;
    chain.append(d);
    last_code = d;
    at_start = x == start.x && y == start.y;
    if (check.repeats(x, y, d)) throw std::length_error("vector<T> too long");  // as it would grow without end
  }
  // The sum holds the first step twice by now and takes in one more term, which callers of `rot()` rely on.
  if (last_code >= 0) add_area(last_code);
  return Shape(chain.take(), start.x, start.y, min_x, max_x, min_y, max_y, !ascending, static_cast<int>(area));
}

int start_direction(Find_Active_Pixel_Mode mode, bool ascending) {
  switch (mode) {
    case Find_Active_Pixel_Mode::from_left:
      return ascending ? 2 : 3;
    case Find_Active_Pixel_Mode::from_right:
      return ascending ? 6 : 7;
    case Find_Active_Pixel_Mode::from_bottom:
      return ascending ? 4 : 1;
    case Find_Active_Pixel_Mode::from_top:
      return ascending ? 0 : 1;
  }
  throw std::invalid_argument("unknown mode");
}

// ---- where a walk starts --------------------------------------------------------------------------------------------

Start first_in_row(const Source& source, int y) {
  const std::ptrdiff_t found = first_set(source.row(y), 0, source.width());
  return found < source.width() ? Start({static_cast<int>(found), y}) : Start();
}

Start last_in_row(const Source& source, int y, int x) {
  const unsigned char* row = source.row(y);
  for (; x >= 0; --x) {
    if (row[x] != 0) return Point_<int>{x, y};
  }
  return {};
}

/// A set pixel of row `y`, sought from the right; not always the last one. Pixels behind the last whole group of 16 are
/// looked at one by one; then groups of 16 are skipped from the pixel reached, which is not looked at itself, so that
/// one with 16 unset pixels before it goes unnoticed.
Start from_right_in_row(const Source& source, int y) {
  const unsigned char* row = source.row(y);
  const int whole = source.width() & ~15;
  int x = source.width() - 1;
  for (; x > whole; --x) {
    if (row[x] != 0) return Point_<int>{x, y};
  }
  while (x >= 16 && first_set(row, x - 16, x) == x) x -= 16;
  return last_in_row(source, y, x);
}

/// The first set pixel of column `x` in the rows 0 to `rows` - 1, from above.
Start top_in_column(const Source& source, int x, int rows) {
  for (int y = 0; y < rows; ++y) {
    if (source.row(y)[x] != 0) return Point_<int>{x, y};
  }
  return {};
}

/// The same from below.
Start bottom_in_column(const Source& source, int x, int rows) {
  for (int y = rows - 1; y >= 0; --y) {
    if (source.row(y)[x] != 0) return Point_<int>{x, y};
  }
  return {};
}

/// Searches `lines` rows or columns from the middle outwards: `middle()`, then `line(i)` for the lines below and above
/// it by turns, line 0, and, of an even number, the last one. The last of an odd number is never searched.
template <class Middle, class Line>
Start outwards(int lines, Middle middle, Line line) {
  const int m = lines / 2;
  Start start = middle(m);
  for (int i = 1; i < m && !start; ++i) {
    start = line(m - i);
    if (!start) start = line(m + i);
  }
  if (!start) start = line(0);
  if (!start && lines % 2 == 0) start = line(lines - 1);
  return start;
}

template <class Row>
Start rows_outwards(const Source& source, Row row) {
  const auto search = [&](int y) { return row(source, y); };
  return outwards(source.height(), search, search);
}

/// The middle column is searched over as many rows as the image is wide, whatever its height.
template <class Column>
Start columns_outwards(const Source& source, Column column) {
  return outwards(
      source.width(), [&](int x) { return column(source, x, source.width()); },
      [&](int x) { return column(source, x, source.height()); });
}

Start search_image(const Source& source, Find_Active_Pixel_Mode mode) {
  if (source.empty()) return {};
  switch (mode) {
    case Find_Active_Pixel_Mode::from_right:
      return rows_outwards(source, from_right_in_row);
    case Find_Active_Pixel_Mode::from_bottom:
      return columns_outwards(source, bottom_in_column);
    case Find_Active_Pixel_Mode::from_top:
      return columns_outwards(source, top_in_column);
    default:
      return rows_outwards(source, first_in_row);
  }
}

/// The columns of a single line are scanned against their names; callers rely on it.
Start search_line(const Source& source, unsigned index, Find_Active_Pixel_Mode mode) {
  const bool is_row = mode == Find_Active_Pixel_Mode::from_left || mode == Find_Active_Pixel_Mode::from_right;
  if (is_row ? !source.has_row(index) : !source.has_column(index)) return {};
  const int line = static_cast<int>(index);
  switch (mode) {
    case Find_Active_Pixel_Mode::from_left:
      return first_in_row(source, line);
    case Find_Active_Pixel_Mode::from_right:
      return last_in_row(source, line, source.width() - 1);
    case Find_Active_Pixel_Mode::from_bottom:
      return top_in_column(source, line, source.height());
    case Find_Active_Pixel_Mode::from_top:
      return bottom_in_column(source, line, source.height());
  }
  return {};
}

/// The first set pixel in raster order at or after (`x`, `y`). Behind the last column the next row follows.
Start search_from(const Source& source, unsigned y, unsigned x) {
  if (!source.has_row(y)) return {};
  const unsigned column = std::min(x, static_cast<unsigned>(source.width()));
  return source.first_set_from(static_cast<int>(column), static_cast<int>(y));
}

/// The left end of the run of set pixels that (`x`, `y`) belongs to.
Start run_start(const Source& source, unsigned y, unsigned x) {
  if (!source.has_row(y) || !source.has_column(x)) return {};
  Point_<int> start{static_cast<int>(x), static_cast<int>(y)};
  const unsigned char* row = source.row(start.y);
  if (row[start.x] == 0) return {};
  while (start.x > 0 && row[start.x - 1] != 0) --start.x;
  return start;
}

}  // namespace

namespace zeb {

Shape find_next_shape(const unsigned char* data, unsigned int width, unsigned int stride, unsigned int height,
                      unsigned int y, unsigned int x, bool search, bool ascending) {
  const Source source(data, width, stride, height);
  const Start start = search ? search_from(source, y, x) : run_start(source, y, x);
  return start ? walk(source, *start, ascending ? 2 : 3, ascending) : Shape();
}

Shape find_next_shape(const unsigned char* data, unsigned int width, unsigned int stride, unsigned int height,
                      unsigned int index, Find_Active_Pixel_Mode mode, bool ascending) {
  const Source source(data, width, stride, height);
  const Start start = search_line(source, index, mode);
  return start ? walk(source, *start, start_direction(mode, ascending), ascending) : Shape();
}

Shape find_next_shape(const unsigned char* data, unsigned int width, unsigned int stride, unsigned int height,
                      Find_Active_Pixel_Mode mode, bool ascending) {
  const Source source(data, width, stride, height);
  const Start start = search_image(source, mode);
  return start ? walk(source, *start, start_direction(mode, ascending), ascending) : Shape();
}

Shape find_next_shape(const Bitmap_<unsigned char>& bitmap, int y, int x, bool search, bool ascending) {
  return find_next_shape(bitmap.data, static_cast<unsigned>(bitmap.width), static_cast<unsigned>(bitmap.stride),
                         static_cast<unsigned>(bitmap.height), static_cast<unsigned>(y), static_cast<unsigned>(x),
                         search, ascending);
}

Shape find_next_shape(const Bitmap_<unsigned char>& bitmap, int index, Find_Active_Pixel_Mode mode, bool ascending) {
  return find_next_shape(bitmap.data, static_cast<unsigned>(bitmap.width), static_cast<unsigned>(bitmap.stride),
                         static_cast<unsigned>(bitmap.height), static_cast<unsigned>(index), mode, ascending);
}

Shape find_next_shape(const Bitmap_<unsigned char>& bitmap, Find_Active_Pixel_Mode mode, bool ascending) {
  return find_next_shape(bitmap.data, static_cast<unsigned>(bitmap.width), static_cast<unsigned>(bitmap.stride),
                         static_cast<unsigned>(bitmap.height), mode, ascending);
}

}  // namespace zeb
