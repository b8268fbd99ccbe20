#include <gtest/gtest.h>

#include "tests/shapes/scene.h"
#include "tests/support/allocation.h"

using zeb::Shape;
using namespace zeb::testing;

namespace {

// By sense of the walk (clockwise first) and previous code, a digit for each next code.
constexpr const char* crossings[2][8] = {
    {"11112900", "11112299", "11112229", "99001111", "29001111", "22991111", "22291111", "11119900"},
    {"11192221", "11199221", "11100921", "11100991", "22211119", "92211119", "09211110", "09911110"}};

/// The rule, plainly, for a chain inside its extents.
void plain_fill(Picture& p, const Shape& s, unsigned char value) {
  Picture work(p.width(), p.width(), p.height());
  int x = s.start_point().x, y = s.start_point().y;
  for (std::uint64_t i = 0; i < s.size(); ++i) {
    const int code = s.chain_code()[i], next = s.chain_code()[(i + 1) % s.size()];
    x += dx[code];
    y += dy[code];
    const int crossing = crossings[s.is_counter_clockwise() ? 1 : 0][code][next] - '0';
    work(x, y) = static_cast<unsigned char>(work(x, y) + crossing);
  }
  for (int row = s.min_y(); row <= s.max_y(); ++row) {
    bool in_run = false;
    for (int column = s.min_x(); column <= s.max_x(); ++column) {
      const int w = work(column, row);
      if (w != 0 || in_run) p(column, row) = value;
      if (w != 0) in_run = !in_run && w == 1;
    }
  }
}

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

TEST(DrawFilledShape, FollowsTheRulesForAnyChain) {
  std::mt19937 engine(2);
  for (int i = 0; i < 1500; ++i) {
    std::vector<char> chain = random_chain(engine, pick(engine, 1, i % 2 == 0 ? 20 : 300));
    std::vector<int> x{0}, y{0};
    for (char& c : chain) {
      c &= 7;
      x.push_back(x.back() + dx[int{c}]);
      y.push_back(y.back() + dy[int{c}]);
    }
    const auto [left, right] = std::minmax_element(x.begin(), x.end());
    const auto [top, bottom] = std::minmax_element(y.begin(), y.end());
    const int width = *right - *left + 1, height = *bottom - *top + 1;
    const Shape shape(std::move(chain), 5 - *left, 3 - *top, 5, width + 4, 3, height + 2, i % 3 == 0, 0);
    Picture actual(width + 9, width + 9, height + 5, 1), expected = actual;
    plain_fill(expected, shape, 200);
    draw_filled_shape(actual.data(), actual.stride(), shape, 200);
    ASSERT_TRUE(same(expected, actual));
  }
}

TEST(DrawFilledShape, PaintsNothingWhenItThrows) {
  Picture p(4, 4, 4);
  const Picture before = p;
  const FailingAllocations watch(-1);  // for leaks
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
  // A chain that leaves its own extents is cut off at them.
  draw_filled_shape(p.data(), 4, Shape({3, 3, 3, 3, 3, 3, 3}, 0, 0, 0, 1, 0, 0, true, 0), 7);
  EXPECT_EQ(p(2, 0), 0);
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
