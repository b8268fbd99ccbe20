#include <gtest/gtest.h>

#include "tests/shapes/scene.h"

using zeb::Shape;
using namespace zeb::testing;

namespace {

TEST(DrawFilledShape, PaintsTheComponentAndAllItEncloses) {
  std::mt19937 engine(1);
  for (int i = 0; i < 1000; ++i) {
    const int width = pick(engine, 1, 60), height = pick(engine, 1, 30);
    Picture p = random_scene(engine, width, width + pick(engine, 0, 9), height, pick(engine, 0, 15));
    const Shape shape = zeb::find_next_shape(p.bitmap(), 0, 0, true, i % 2 == 0);
    if (shape.empty()) continue;
    const Picture expected = filled_component(p, shape.start_point().x, shape.start_point().y, 3);
    auto bitmap = p.bitmap();
    zeb::draw_filled_shape(bitmap, shape, 3);
    ASSERT_TRUE(same(expected, p));
  }
  Picture p(3, 3, 3, 9);
  draw_filled_shape(p.data(), 3, Shape(), 5);
  EXPECT_EQ(p(0, 0), 5);
}

TEST(DrawFilledShape, PaintsNothingWhenItThrows) {
  Picture p(4, 4, 4);
  const Picture before = p;
  for (const char bad : {char{8}, char{-1}, char{127}})
    for (std::size_t at = 0; at < 4; ++at) {
      std::vector<char> chain{3, 1, 7, 5};
      chain[at] = bad;
      EXPECT_THROW(draw_filled_shape(p.data(), 4, Shape(std::move(chain), 1, 1, 1, 2, 1, 2, true, 0), 7),
                   invalid_chain_code_element);
    }
  EXPECT_THROW(draw_filled_shape(p.data(), 4, Shape({3, 7}, 0, 0, -INT32_MAX, INT32_MAX, 0, 1, true, 0), 7),
               std::bad_alloc);
  EXPECT_EQ(p, before);
}

TEST(DrawFilledShape, CutsOffWhatLeavesTheExtentsOfTheShape) {
  std::vector<char> zigzag;
  for (int i = 0; i < 10; ++i) zigzag.insert(zigzag.end(), {2, 4});
  Picture p(40, 40, 2);
  const Picture before = p;
  draw_filled_shape(p.data(), 40, Shape(std::move(zigzag), 0, 0, 0, 1, 0, 1, true, 0), 7);
  EXPECT_EQ(p, before);
}

TEST(ShapeToContour, PointsBeforeEachStep) {
  zeb::PointContainer<int> contour, reference;
  contour.add(77, 88);
  zeb::shape_to_contour(contour, Shape({1, 2, 3, 4 + 8, 6, 0}, 5, 6, 0, 0, 0, 0, true, 0), {10, 20});
  EXPECT_EQ(contour.x, (std::vector<int>{15, 15, 16, 17, 18, 17}));
  EXPECT_EQ(contour.y, (std::vector<int>{26, 27, 28, 28, 27, 26}));
  // No shape appends its start, without offset, in one form only; an isolated pixel leaves nothing.
  zeb::test::shape_to_contour(reference, Shape({1, 2}, 5, 6, 0, 0, 0, 0, true, 0), {10, 20});
  EXPECT_EQ(reference.y, (std::vector<int>{26, 27}));
  zeb::test::shape_to_contour(reference, Shape(), {10, 20});
  EXPECT_TRUE(reference.empty());
  zeb::shape_to_contour(contour, Shape(), {10, 20});
  EXPECT_EQ(contour.y, (std::vector<int>{26, 27, 28, 28, 27, 26, 0}));
  zeb::shape_to_contour(contour, Shape({}, 5, 6, 5, 5, 6, 6, true, 0), {10, 20});
  EXPECT_TRUE(contour.y.empty());
}

}  // namespace
