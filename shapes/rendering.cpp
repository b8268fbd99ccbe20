#include <algorithm>
#include <cstdint>
#include <cstring>
#include <limits>

#include "shapes/directions.h"
#include "shapes/row_scan.h"
#include "zeb/shapes.h"

using zeb::Image;
using zeb::Point_;
using zeb::PointContainer;
using zeb::Shape;
using zeb::detail::wrapping_add;
using zeb::shapes::dx;
using zeb::shapes::dy;
using zeb::shapes::first_set;

namespace {

// What two steps, by [previous][next] code, mean for the row of the border pixel between them: 1 the outline crosses
// it, 2 it only touches it, 9 a run along the outline ends, 0 the pixel is inside such a run. Contributions of several
// visits add up, and only a sum of exactly 1 begins a run.
using CrossingTable = unsigned char[8][8];

constexpr CrossingTable counter_clockwise_crossings = {
    {1, 1, 1, 9, 2, 2, 2, 1},  //
    {1, 1, 1, 9, 9, 2, 2, 1},  //
    {1, 1, 1, 0, 0, 9, 2, 1},  //
    {1, 1, 1, 0, 0, 9, 9, 1},  //
    {2, 2, 2, 1, 1, 1, 1, 9},  //
    {9, 2, 2, 1, 1, 1, 1, 9},  //
    {0, 9, 2, 1, 1, 1, 1, 0},  //
    {0, 9, 9, 1, 1, 1, 1, 0},
};

constexpr CrossingTable clockwise_crossings = {
    {1, 1, 1, 1, 2, 9, 0, 0},  //
    {1, 1, 1, 1, 2, 2, 9, 9},  //
    {1, 1, 1, 1, 2, 2, 2, 9},  //
    {9, 9, 0, 0, 1, 1, 1, 1},  //
    {2, 9, 0, 0, 1, 1, 1, 1},  //
    {2, 2, 9, 9, 1, 1, 1, 1},  //
    {2, 2, 2, 9, 1, 1, 1, 1},  //
    {1, 1, 1, 1, 9, 9, 0, 0},
};

/// The crossings of a shape's outline, in an image of its box.
class CrossingImage {
 public:
  /// Throws where memory is short.
  CrossingImage(std::int64_t width, std::int64_t height) {
    constexpr std::int64_t largest = std::numeric_limits<int>::max() - 16;
    if (width > largest || height > largest) throw zeb::mem::bad_allocation();
    image_ = Image<unsigned char>(static_cast<int>(width), 16, static_cast<int>(height), {});
    std::memset(image_.data, 0, static_cast<std::size_t>(image_.end() - image_.begin()));
  }

  /// Throws for a code outside 0 to 7. What the walk leaves outside the box is not entered.
  void enter(const Shape& shape, std::int64_t x, std::int64_t y) {
    const CrossingTable& crossings = shape.is_counter_clockwise() ? counter_clockwise_crossings : clockwise_crossings;
    const char* const chain = shape.chain_code();
    const std::uint64_t steps = shape.size();
    const int first = checked(chain[0]);
    int previous = first;
    for (std::uint64_t i = 1; i <= steps; ++i) {
      x += dx[previous];
      y += dy[previous];
      const int next = i < steps ? checked(chain[i]) : first;
      if (0 <= x && x < image_.width && 0 <= y && y < image_.height) {
        unsigned char& pixel = row(y)[x];
        pixel = static_cast<unsigned char>(pixel + crossings[previous][next]);
      }
      previous = next;
    }
  }

  /// Paints the row `y` of the box to `target`, the place of the box's first column.
  void paint(std::int64_t y, unsigned char* target, unsigned char value) {
    const unsigned char* const crossings = row(y);
    const std::ptrdiff_t width = image_.width;
    const auto next = [=](std::ptrdiff_t from) { return first_set(crossings, from, width, width + 15); };
    for (std::ptrdiff_t x = next(0); x < width; x = next(x + 1)) {
      target[x] = value;
      if (crossings[x] != 1) continue;
      const std::ptrdiff_t run = x + 1;
      x = next(run);  // whatever is not 0 ends the run
      std::memset(target + run, value, static_cast<std::size_t>(std::min(x + 1, width) - run));
    }
  }

 private:
  static int checked(char code) {
    if (code < 0 || code > 7) throw invalid_chain_code_element();
    return code;
  }

  unsigned char* row(std::int64_t y) const { return image_.data + y * image_.stride; }

  Image<unsigned char> image_;
};

/// Sets the contour to the pixels before each step.
void expand(PointContainer<int>& contour, const Shape& shape, Point_<int> offset) {
  const std::size_t steps = shape.size();
  contour.x.assign(steps, 0);
  contour.y.assign(steps, 0);
  const char* const chain = shape.chain_code();
  int x = wrapping_add(shape.start_point().x, offset.x), y = wrapping_add(shape.start_point().y, offset.y);
  for (std::size_t i = 0; i < steps; ++i) {
    contour.x[i] = x;
    contour.y[i] = y;
    x = wrapping_add(x, dx[chain[i] & 7]);
    y = wrapping_add(y, dy[chain[i] & 7]);
  }
}

}  // namespace

void draw_filled_shape(unsigned char* const data, int stride, const Shape& shape, unsigned char value) {
  const Point_<int> start = shape.start_point();
  if (shape.size() == 0) {
    data[std::ptrdiff_t{start.y} * stride + start.x] = value;
    return;
  }
  const auto box = shape.boundary();
  const std::int64_t left = box.top_left.x, top = box.top_left.y, bottom = box.bottom_right.y;
  CrossingImage crossings(box.bottom_right.x - left + 1, bottom - top + 1);
  crossings.enter(shape, start.x - left, start.y - top);
  for (std::int64_t y = top; y <= bottom; ++y) crossings.paint(y - top, data + y * stride + left, value);
}

namespace zeb {

void draw_filled_shape(Bitmap_<unsigned char>& bitmap, const Shape& shape, unsigned char value) {
  ::draw_filled_shape(bitmap.data, bitmap.stride, shape, value);
}

void shape_to_contour(PointContainer<int>& contour, const Shape& shape, const Point_<int>& offset) {
  if (shape.empty()) {
    contour.add(shape.start_point().x, shape.start_point().y);
    return;
  }
  expand(contour, shape, offset);
}

namespace test {

void shape_to_contour(PointContainer<int>& contour, const Shape& shape, const Point_<int>& offset) {
  expand(contour, shape, offset);
}

}  // namespace test
}  // namespace zeb
