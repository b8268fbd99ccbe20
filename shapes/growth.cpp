#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <vector>

#include "frame/scratch.h"
#include "shapes/clipped_step.h"
#include "shapes/directions.h"
#include "shapes/row_scan.h"
#include "shapes/walk.h"
#include "zeb/drawing.h"
#include "zeb/shapes.h"

using zeb::shapes::clipped_step;
using zeb::shapes::dx;
using zeb::shapes::dy;
using zeb::shapes::first_set;
using zeb::shapes::next_code;
using zeb::shapes::Source;
using zeb::shapes::StepOffsets;

namespace {

constexpr unsigned char area = 250;  // value of a filled area
constexpr int first_direction = 1;   // in which an outline is taken to have come to its start

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

/// The outline that `vShapePlusBM` follows from `start` on, appended to `chain`. After each step `on_step(x, y,
/// previous, code, is_last)` gets the pixel left behind and the codes of the steps to it and from it; an isolated pixel
/// has none.
template <class OnStep>
Extents follow_outline(std::vector<char>& chain, const Source& source, zeb::Point_<int> start, OnStep on_step) {
  const StepOffsets offsets(source.stride());
  chain.reserve(source.usual_chain_length());
  const std::size_t steps_before = chain.size();
  Extents extents(start.x, start.y);
  int x = start.x, y = start.y, direction = first_direction;
  const unsigned char* pixel = source.row(y) + x;
  zeb::Point_<int> first_target;
  bool at_start = false, is_last = false;
  while (!is_last) {
    const unsigned neighbours = source.neighbours(pixel, x, y);
    if (neighbours == 0) break;
    const int code = next_code(neighbours, direction, true);
    const int left_x = x, left_y = y;
    x += dx[code];
    y += dy[code];
    pixel += offsets[code];
    Source::fetch_ahead(pixel, offsets[code]);
    extents.include(x, y);
    if (chain.size() == steps_before) first_target = {x, y};
    chain.push_back(static_cast<char>(code));
    is_last = at_start && x == first_target.x && y == first_target.y;
    on_step(left_x, left_y, direction, code, is_last);
    direction = code;
    at_start = x == start.x && y == start.y;
  }
  if (chain.size() == steps_before) chain.push_back(0);  // an isolated pixel
  return extents;
}

/// Marks the pixels of an outline, as `follow_outline` tells of them.
class OutlineMarks {
 public:
  explicit OutlineMarks(const Target& target) : target_(target) {}

  void step(int x, int y, int previous, int code, bool is_last) const {
    unsigned char& pixel = target_.row(y)[x];
    if (is_last)
      pixel = area;
    else
      mark_crossing(pixel, previous, code);
  }
  void finish(zeb::Point_<int> start, int last_code) const {
    if (is_upward(last_code)) --target_.row(start.y)[start.x];
  }

 private:
  const Target& target_;
};

/// Marks and fills an outline that was followed before, in a target that is 0 where the outline's box lies.
void paint_outline(const Target& target, const std::vector<char>& chain, zeb::Point_<int> start, const Extents& box) {
  if (chain.size() == 1) return;  // an isolated pixel; an outline repeats its first step
  const OutlineMarks marks(target);
  int x = start.x, y = start.y, previous = first_direction;
  for (std::size_t i = 0; i < chain.size(); ++i) {
    const int code = chain[i] & 7;
    marks.step(x, y, previous, code, i + 1 == chain.size());
    x += dx[code];
    y += dy[code];
    previous = code;
  }
  marks.finish(start, previous);
  target.fill(box, box.min_x);
}

/// The 2 is for chains that repeat their first step.
float chain_length(const std::vector<char>& chain) {
  const float diagonal = std::sqrt(2.0f);
  float length = 0.0f;
  for (const char code : chain) length += code % 2 != 0 ? 1.0f : diagonal;
  return length + 2.0f;
}

/// Clears the areas of outlines in an image. Each is painted in the same corner of a plane of its own, which stays in
/// the cache.
class AreaEraser {
 public:
  /// `bytes` is the size of the image.
  AreaEraser(unsigned char* image, int stride, std::int64_t bytes) : image_(image), stride_(stride), plane_(bytes, 1) {}

  explicit operator bool() const { return static_cast<bool>(plane_); }

  void erase(const std::vector<char>& chain, zeb::Point_<int> start, const Extents& box) {
    const int width = box.max_x - box.min_x + 1, height = box.max_y - box.min_y + 1;
    const std::int64_t needed = std::int64_t{stride_} * (height - 1) + width;
    if (needed > clear_) std::memset(plane_.data() + clear_, 0, static_cast<std::size_t>(needed - clear_));
    clear_ = std::max(clear_, needed);

    Extents corner(0, 0);
    corner.include(width - 1, height - 1);
    const Target painted{plane_.data(), width, stride_, height};
    paint_outline(painted, chain, {start.x - box.min_x, start.y - box.min_y}, corner);
    unsigned char* const area_box = image_ + std::ptrdiff_t{box.min_y} * stride_ + box.min_x;
    constexpr std::uint8_t zero = 0;
    vBMInterleave(area_box, area_box, zero, plane_.data(), width, stride_, height);
    vBMInterleave(plane_.data(), zero, zero, plane_.data(), width, stride_, height);
  }

 private:
  unsigned char* image_;
  int stride_;
  zeb::frame::Scratch<unsigned char> plane_;
  std::int64_t clear_ = 0;  // so many bytes of the plane are 0 between two outlines
};

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
  const Source source(src, static_cast<unsigned>(width), static_cast<unsigned>(stride), static_cast<unsigned>(height));
  const auto start = source.first_set_from(0, std::max(start_row, 0));
  if (!start) return false;
  *x = start->x;
  *y = start->y;

  const Target target{dst, width, stride, height};
  const OutlineMarks marks(target);
  // Marked on the way: where source and target are one, the walk sees its marks.
  const Extents extents = follow_outline(chain, source, *start, [&](auto... of_step) { marks.step(of_step...); });
  marks.finish(*start, chain.back());
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

float fGetAllShapeLength(unsigned char* src, int width, int stride, int height, int* count, float* min_length,
                         float* max_length) {
  constexpr int most_shapes = 10000;
  const bool has_pixels = width > 0 && height > 0;
  const std::int64_t bytes = has_pixels ? std::int64_t{stride} * (height - 1) + std::max(stride, width) : 0;
  const zeb::frame::Scratch<unsigned char> remaining(bytes, 1);
  AreaEraser eraser(remaining.data(), stride, bytes);
  if (!remaining || !eraser) return 0.0f;
  if (has_pixels)
    for (int y = 0; y < height; ++y)
      std::memcpy(remaining.data() + std::ptrdiff_t{y} * stride, src + std::ptrdiff_t{y} * stride,
                  static_cast<std::size_t>(width));

  float total = 0.0f, shorter = 1e8f, longer = 0.0f;
  int shapes = 0, start_row = 0;
  std::vector<char> chain;
  const Source source(remaining.data(), static_cast<unsigned>(width), static_cast<unsigned>(stride),
                      static_cast<unsigned>(height));
  while (shapes < most_shapes) {
    const auto start = source.first_set_from(0, start_row);
    if (!start) break;
    chain.clear();
    const Extents box = follow_outline(chain, source, *start, [](auto...) {});
    const float length = chain_length(chain);
    total += length;
    shorter = std::min(shorter, length);
    longer = std::max(longer, length);
    ++shapes;
    start_row = box.min_y;
    eraser.erase(chain, *start, box);
  }
  if (shapes == 0) shorter = 0.0f;
  if (count != nullptr) *count = shapes;
  if (min_length != nullptr) *min_length = shorter;
  if (max_length != nullptr) *max_length = longer;
  return total;
}
