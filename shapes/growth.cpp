#include <algorithm>
#include <cstdint>
#include <cstring>

#include "shapes/clipped_step.h"
#include "shapes/directions.h"
#include "shapes/row_scan.h"
#include "shapes/walk.h"
#include "zeb/shapes.h"

using zeb::shapes::clipped_step;
using zeb::shapes::dx;
using zeb::shapes::dy;
using zeb::shapes::first_set;
using zeb::shapes::next_code;
using zeb::shapes::Source;

namespace {

constexpr unsigned char area = 250;  // value of a filled area

bool is_downward(int code) { return code < 3; }
bool is_upward(int code) { return 4 <= code && code <= 6; }

/// Marks the pixel between a step by code `previous` and one by code `next`: above `area` where a run of the area
/// begins, below it where one ends, `area` itself for neither. The marks of several visits add up.
void mark_crossing(unsigned char& pixel, int previous, int next) {
  const int delta = (is_downward(next) ? 1 : 0) - (is_upward(previous) ? 1 : 0);
  pixel = static_cast<unsigned char>((pixel == 0 ? area : pixel) + delta);
}

/// Turns the marks in the columns `first` to `last`, both included, into the filled area.
void fill_between_marks(unsigned char* row, std::ptrdiff_t first, std::ptrdiff_t last) {
  unsigned char state = 0;
  for (std::ptrdiff_t x = first; x <= last; ++x) {
    const std::ptrdiff_t marked = first_set(row, x, last);  // the last pixel is treated like a marked one
    if (state != 0) std::memset(row + x, state, static_cast<std::size_t>(marked - x));
    x = marked;
    const unsigned char mark = row[x];
    row[x] = mark != 0 || state != 0 ? area : 0;
    if (mark > area)
      state = area;
    else if (241 <= mark && mark < area)
      state = 0;
  }
}

struct Extents {
  int min_x, max_x, min_y, max_y;

  Extents(int x, int y) : min_x(x), max_x(x), min_y(y), max_y(y) {}

  void include(int x, int y) {
    min_x = std::min(min_x, x);
    max_x = std::max(max_x, x);
    min_y = std::min(min_y, y);
    max_y = std::max(max_y, y);
  }
};

struct Target {
  unsigned char* data;
  int width;
  std::ptrdiff_t stride;
  int height;

  unsigned char* row(std::ptrdiff_t y) const { return data + y * stride; }

  /// A square of 255 that reaches `k` pixels to each side.
  void stamp(int x, int y, std::int64_t k) const {
    const std::int64_t left = std::max<std::int64_t>(x - k, 0), right = std::min(x + k, std::int64_t{width} - 1);
    const std::int64_t top = std::max<std::int64_t>(y - k, 0), bottom = std::min(y + k, std::int64_t{height} - 1);
    if (left > right) return;
    for (std::int64_t r = top; r <= bottom; ++r)
      std::memset(row(r) + left, 255, static_cast<std::size_t>(right - left + 1));
  }

  void fill(const Extents& extents, int first_column) const {
    for (int y = extents.min_y; y <= extents.max_y; ++y) fill_between_marks(row(y), first_column, extents.max_x);
  }
};

/// Marks or stamps the pixel before each step of a chain that is clipped at the image; returns the extents of these
/// pixels.
Extents follow(const Target& target, const char* chain, int count, int x, int y, int mark) {
  Extents extents(x, y);
  int previous = count > 0 ? chain[count - 1] & 7 : 0;  // the chain is closed
  for (int i = 0; i < count; ++i) {
    const int code = chain[i] & 7;
    if (mark > 0)
      mark_crossing(target.row(y)[x], previous, code);
    else
      target.stamp(x, y, -std::int64_t{mark});
    extents.include(x, y);
    previous = code;
    clipped_step(chain[i], target.width, target.height, x, y);
  }
  return extents;
}

}  // namespace

void ShapeBM(unsigned char* bitmap, char* chain, int width, int stride, int height, int count, int x, int y, int mark) {
  if (count < 1) return;
  const Target target{bitmap, width, stride, height};
  const Extents extents = follow(target, chain, count, x, y, mark);
  if (mark > 0) target.fill(extents, extents.min_x);
}

void MMShapeBM(unsigned char* bitmap, char* chain, int width, int stride, int height, int count, int x, int y,
               int mark) {
  if (count < 0) return;
  const Target target{bitmap, width, stride, height};
  const Extents extents = follow(target, chain, count, x, y, mark);
  if (mark > 0) target.fill(extents, extents.min_x & ~15);
}

bool vShapePlusBM(std::vector<char>& chain, const unsigned char* const src, unsigned char* dst, int width, int stride,
                  int height, int* x, int* y, int* min_x, int* max_x, int* min_y, int* max_y, int start_row) {
  if (width < 1) return false;
  int start_x = width, start_y = std::max(start_row, 0);
  for (; start_y < height; ++start_y) {
    start_x = static_cast<int>(first_set(src + std::ptrdiff_t{start_y} * stride, 0, width));
    if (start_x < width) break;
  }
  if (start_y >= height) return false;
  *x = start_x;
  *y = start_y;

  const std::size_t usual_length = 2 * (static_cast<std::size_t>(width) + static_cast<std::size_t>(height));
  if (chain.capacity() < usual_length) chain.reserve(usual_length);
  const std::size_t steps_before = chain.size();
  const Source source(src, static_cast<unsigned>(width), static_cast<unsigned>(stride), static_cast<unsigned>(height));
  const Target target{dst, width, stride, height};
  Extents extents(start_x, start_y);
  int px = start_x, py = start_y, direction = 1;
  int first_x = 0, first_y = 0;  // target of the first step
  bool at_start = false;
  while (const unsigned neighbours = source.neighbours(source.row(py) + px, px, py)) {
    const int code = next_code(neighbours, direction, true);
    unsigned char& left_behind = target.row(py)[px];
    px += dx[code];
    py += dy[code];
    extents.include(px, py);
    if (chain.size() == steps_before) {
      first_x = px;
      first_y = py;
    }
    chain.push_back(static_cast<char>(code));
    if (at_start && px == first_x && py == first_y) {
      left_behind = area;
      break;
    }
    mark_crossing(left_behind, direction, code);
    direction = code;
    at_start = px == start_x && py == start_y;
  }
  if (chain.size() == steps_before)
    chain.push_back(0);  // an isolated pixel
  else if (is_upward(chain.back()))
    --target.row(start_y)[start_x];
  chain.shrink_to_fit();

  if (min_x != nullptr) *min_x = extents.min_x;
  if (max_x != nullptr) *max_x = extents.max_x;
  if (min_y != nullptr) *min_y = extents.min_y;
  if (max_y != nullptr) *max_y = extents.max_y;
  target.fill(extents, extents.min_x);
  return true;
}

void vShapePlusBM_Border(std::vector<char>& chain, const unsigned char* const src, unsigned char* dst, int width,
                         int stride, int height, int* x, int* y, int* min_x, int* max_x, int* min_y, int* max_y,
                         int start_row) {
  vShapePlusBM(chain, src, dst, width, stride, height, x, y, min_x, max_x, min_y, max_y, start_row);
}
