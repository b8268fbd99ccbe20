#include <utility>

#include "zeb/shapes.h"

namespace zeb {
namespace {

/// Hands out the shapes of a bitmap one after the other, painting each one's outline and all inside it with 0.
class Harvest {
 public:
  Harvest(Bitmap_<unsigned char>& bitmap, bool ascending) : bitmap_(bitmap), ascending_(ascending) {}

  /// The next shape, which stays in the bitmap.
  Shape peek() const { return find_next_shape(bitmap_, position_.y, position_.x, true, ascending_); }

  /// The next shape, which is wiped out; an empty one at the end.
  Shape take() {
    Shape shape = peek();
    if (shape.empty()) return shape;
    position_ = shape.start_point();  // nothing is left before it
    ::draw_filled_shape(bitmap_.data, bitmap_.stride, shape, 0);
    return shape;
  }

 private:
  Bitmap_<unsigned char>& bitmap_;
  bool ascending_;
  Point_<int> position_;
};

/// The best of the shapes that `limit` comparisons see. The first comparison is that of the first shape with itself.
template <class Better>
Shape best_shape(Bitmap_<unsigned char>& bitmap, const Better& better, std::uint64_t limit, bool ascending) {
  Harvest harvest(bitmap, ascending);
  Shape best = harvest.peek();
  for (std::uint64_t n = 0; n < limit && !best.empty(); ++n) {
    Shape shape = harvest.take();
    if (shape.empty()) break;
    if (better(shape, best)) best = std::move(shape);
  }
  return best;
}

bool is_longer(const Shape& a, const Shape& b) { return a.size() > b.size(); }

}  // namespace

std::vector<Shape> get_all_shapes(Bitmap_<unsigned char>& bitmap, bool ascending) {
  std::vector<Shape> shapes;
  Harvest harvest(bitmap, ascending);
  for (Shape shape = harvest.take(); !shape.empty(); shape = harvest.take()) shapes.push_back(std::move(shape));
  return shapes;
}

std::vector<Shape> get_all_shapes_with(Bitmap_<unsigned char>& bitmap, std::function<bool(const Shape&)> predicate,
                                       bool ascending) {
  std::vector<Shape> shapes;
  Harvest harvest(bitmap, ascending);
  for (Shape shape = harvest.take(); !shape.empty(); shape = harvest.take()) {
    if (predicate(shape)) shapes.push_back(std::move(shape));
  }
  return shapes;
}

Shape get_shape_with(Bitmap_<unsigned char>& bitmap, std::function<bool(const Shape&, const Shape&)> better,
                     std::uint64_t count, bool ascending) {
  return best_shape(bitmap, better, count > 1 ? count - 1 : 0, ascending);
}

Shape get_longest_shape(Bitmap_<unsigned char>& bitmap, std::uint64_t count, bool ascending) {
  return get_shape_with(bitmap, is_longer, count, ascending);
}

Shape get_longest_shape(Bitmap_<unsigned char>& bitmap, bool ascending) {
  return best_shape(bitmap, is_longer, UINT64_MAX, ascending);
}

}  // namespace zeb
