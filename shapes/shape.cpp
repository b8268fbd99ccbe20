#include <utility>

#include "frame/rounding.h"
#include "zeb/shapes.h"

invalid_chain_code_element::invalid_chain_code_element()
    : std::invalid_argument("chain code value out of range ([0,7])") {}
invalid_chain_code_element::invalid_chain_code_element(const invalid_chain_code_element&) = default;
invalid_chain_code_element& invalid_chain_code_element::operator=(const invalid_chain_code_element&) = default;
invalid_chain_code_element::~invalid_chain_code_element() = default;

namespace zeb {

const unsigned int Shape::max_count;

Shape::Shape() = default;

Shape::Shape(std::vector<char>&& chain, int start_x, int start_y, int min_x, int max_x, int min_y, int max_y,
             bool counter_clockwise, int rot)
    : chain_(std::move(chain)),
      start_{start_x, start_y},
      min_x_(min_x),
      max_x_(max_x),
      min_y_(min_y),
      max_y_(max_y),
      counter_clockwise_(counter_clockwise),
      rot_(rot),
      empty_(false) {}

Shape::Shape(const Shape&) = default;
Shape::Shape(Shape&&) noexcept = default;
Shape& Shape::operator=(const Shape&) = default;

Shape& Shape::operator=(Shape&& other) noexcept {
  if (this == &other) return *this;  // a vector moved onto itself would be cleared
  chain_ = std::move(other.chain_);
  start_ = other.start_;
  min_x_ = other.min_x_;
  max_x_ = other.max_x_;
  min_y_ = other.min_y_;
  max_y_ = other.max_y_;
  counter_clockwise_ = other.counter_clockwise_;
  rot_ = other.rot_;
  empty_ = other.empty_;
  return *this;
}

Shape::~Shape() = default;

void Shape::swap(Shape& other) {
  chain_.swap(other.chain_);
  std::swap(start_, other.start_);
  std::swap(min_x_, other.min_x_);
  std::swap(max_x_, other.max_x_);
  std::swap(min_y_, other.min_y_);
  std::swap(max_y_, other.max_y_);
  std::swap(counter_clockwise_, other.counter_clockwise_);
  std::swap(rot_, other.rot_);
  std::swap(empty_, other.empty_);
}

void Shape::add_offset(int dx, int dy) {
  for (int* x : {&start_.x, &min_x_, &max_x_}) *x = detail::wrapping_add(*x, dx);
  for (int* y : {&start_.y, &min_y_, &max_y_}) *y = detail::wrapping_add(*y, dy);
}

Rect__<Point_<int>> Shape::boundary() const { return {{min_x_, min_y_}, {max_x_, max_y_}}; }

char* Shape::chain_code() { return chain_.data(); }
const char* Shape::chain_code() const { return chain_.data(); }
bool Shape::empty() const { return empty_; }
bool Shape::is_counter_clockwise() const { return counter_clockwise_; }
int Shape::max_x() const { return max_x_; }
int Shape::max_y() const { return max_y_; }
int Shape::min_x() const { return min_x_; }
int Shape::min_y() const { return min_y_; }

std::array<Point_<int>, 4> Shape::minimum_enclosing_rectangle(float* length, float* width) const {
  float xs[4] = {}, ys[4] = {};
  vMER(chain_.data(), static_cast<int>(static_cast<std::uint32_t>(chain_.size())), start_.x, start_.y, xs, ys, length,
       width);
  std::array<Point_<int>, 4> corners;
  for (std::size_t i = 0; i < 4; ++i) corners[i] = {frame::trunc(xs[i]), frame::trunc(ys[i])};
  return corners;
}

int Shape::rot() const { return rot_; }
std::uint64_t Shape::size() const { return chain_.size(); }
Point_<int> Shape::start_point() const { return start_; }

}  // namespace zeb
