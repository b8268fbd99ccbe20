#include <gtest/gtest.h>

#include <limits>
#include <new>
#include <string>
#include <utility>
#include <vector>

#include "tests/shapes/scene.h"
#include "tests/support/allocation.h"
#include "zeb/shapes.h"

using zeb::Shape;
using zeb::testing::FailingAllocations;
using zeb::testing::pick;
using zeb::testing::Picture;
using zeb::testing::random_scene;
using zeb::testing::same;

namespace {

constexpr int dx[] = {-1, 0, 1, 1, 1, 0, -1, -1}, dy[] = {1, 1, 1, 0, -1, -1, -1, 0};

// By sense of the walk (clockwise first), previous and next code.
constexpr int crossings[2][8][8] = {
    {{1, 1, 1, 1, 2, 9, 0, 0},
     {1, 1, 1, 1, 2, 2, 9, 9},
     {1, 1, 1, 1, 2, 2, 2, 9},
     {9, 9, 0, 0, 1, 1, 1, 1},
     {2, 9, 0, 0, 1, 1, 1, 1},
     {2, 2, 9, 9, 1, 1, 1, 1},
     {2, 2, 2, 9, 1, 1, 1, 1},
     {1, 1, 1, 1, 9, 9, 0, 0}},
    {{1, 1, 1, 9, 2, 2, 2, 1},
     {1, 1, 1, 9, 9, 2, 2, 1},
     {1, 1, 1, 0, 0, 9, 2, 1},
     {1, 1, 1, 0, 0, 9, 9, 1},
     {2, 2, 2, 1, 1, 1, 1, 9},
     {9, 2, 2, 1, 1, 1, 1, 9},
     {0, 9, 2, 1, 1, 1, 1, 0},
     {0, 9, 9, 1, 1, 1, 1, 0}},
};

/// The rule, plainly, for a chain inside its extents.
void plain_fill(Picture& p, const Shape& s, unsigned char value) {
  const auto box = s.boundary();
  const int left = box.top_left.x, top = box.top_left.y;
  const int width = box.bottom_right.x - left + 1, height = box.bottom_right.y - top + 1;
  std::vector<std::vector<unsigned char>> work(static_cast<std::size_t>(height),
                                               std::vector<unsigned char>(static_cast<std::size_t>(width)));
  int x = s.start_point().x - left, y = s.start_point().y - top;
  for (std::uint64_t i = 0; i < s.size(); ++i) {
    const int code = s.chain_code()[i], next = s.chain_code()[(i + 1) % s.size()];
    x += dx[code];
    y += dy[code];
    unsigned char& w = work.at(static_cast<std::size_t>(y)).at(static_cast<std::size_t>(x));
    w = static_cast<unsigned char>(w + crossings[s.is_counter_clockwise() ? 1 : 0][code][next]);
  }
  for (int row = 0; row < height; ++row) {
    bool in_run = false;
    for (int column = 0; column < width; ++column) {
      const int w = work[static_cast<std::size_t>(row)][static_cast<std::size_t>(column)];
      if (w != 0 || in_run) p(left + column, top + row) = value;
      if (w != 0) in_run = !in_run && w == 1;
    }
  }
}

/// The pixels of the component of (x, y) and all that it encloses: what the 4-connected ground outside does not reach.
Picture filled_component(const Picture& p, int start_x, int start_y, unsigned char value) {
  const auto flood = [&](int x0, int y0, int step, auto passable) {
    Picture reached(p.width() + 2, p.width() + 2, p.height() + 2);
    std::vector<std::pair<int, int>> stack{{x0, y0}};
    reached(x0 + 1, y0 + 1) = 1;
    while (!stack.empty()) {
      const auto [x, y] = stack.back();
      stack.pop_back();
      for (int c = step == 2 ? 1 : 0; c < 8; c += step) {
        const int nx = x + dx[c], ny = y + dy[c];
        if (nx < -1 || ny < -1 || nx > p.width() || ny > p.height() || reached(nx + 1, ny + 1) != 0 ||
            !passable(nx, ny))
          continue;
        reached(nx + 1, ny + 1) = 1;
        stack.emplace_back(nx, ny);
      }
    }
    return reached;
  };
  const auto inside = [&](int x, int y) { return x >= 0 && y >= 0 && x < p.width() && y < p.height(); };
  const Picture component = flood(start_x, start_y, 1, [&](int x, int y) { return inside(x, y) && p(x, y) != 0; });
  const Picture ground = flood(-1, -1, 2, [&](int x, int y) { return component(x + 1, y + 1) == 0; });
  Picture filled = p;
  for (int y = 0; y < p.height(); ++y)
    for (int x = 0; x < p.width(); ++x)
      if (ground(x + 1, y + 1) == 0) filled(x, y) = value;
  return filled;
}

TEST(DrawFilledShape, LiteralShapes) {
  const std::vector<std::vector<std::string>> scenes = {
      {"....", ".#..", "...."},              // a single pixel
      {".....", ".###.", ".#.#.", ".###."},  // a hole is painted
      {"..#..", ".###.", "..#.."},           // a diamond touches its first and last row
      {".....", ".####", "....."},           // a line is walked out and back
      {"#...#", ".#.#.", "..#..", ".#.#."},  // a figure of eight
  };
  for (const auto& rows : scenes)
    for (const bool ascending : {false, true}) {
      Picture p = Picture::text(rows);
      const Shape shape = zeb::find_next_shape(p.bitmap(), 0, 0, true, ascending);
      const Picture expected = filled_component(p, shape.start_point().x, shape.start_point().y, 7);
      auto bitmap = p.bitmap();
      zeb::draw_filled_shape(bitmap, shape, 7);
      EXPECT_TRUE(same(expected, p));
    }
  Picture p(3, 3, 3, 9);
  draw_filled_shape(p.data(), 3, Shape(), 5);
  EXPECT_EQ(p(0, 0), 5);
}

TEST(DrawFilledShape, PaintsTheComponentAndAllItEncloses) {
  std::mt19937 engine(1);
  for (int i = 0; i < 2000; ++i) {
    const int width = pick(engine, 1, 60), height = pick(engine, 1, 30);
    Picture p = random_scene(engine, width, width + pick(engine, 0, 9), height, pick(engine, 0, 15));
    const Shape shape = zeb::find_next_shape(p.bitmap(), 0, 0, true, i % 2 == 0);
    if (shape.empty()) continue;
    const Picture expected = filled_component(p, shape.start_point().x, shape.start_point().y, 3);
    draw_filled_shape(p.data(), p.stride(), shape, 3);
    ASSERT_TRUE(same(expected, p));
  }
}

/// A shape of random codes, turning back at the sides of a box of the given size.
Shape random_shape(std::mt19937& engine, int left, int top, int width, int height) {
  int x = pick(engine, left, left + width - 1), y = pick(engine, top, top + height - 1);
  const int start_x = x, start_y = y;
  std::vector<char> chain;
  for (int steps = pick(engine, 1, 300); steps > 0; --steps) {
    const int c = pick(engine, 0, 7);
    if (x + dx[c] < left || x + dx[c] >= left + width || y + dy[c] < top || y + dy[c] >= top + height) continue;
    x += dx[c];
    y += dy[c];
    chain.push_back(static_cast<char>(c));
  }
  return Shape(std::move(chain), start_x, start_y, left, left + width - 1, top, top + height - 1,
               pick(engine, 0, 1) == 1, 0);
}

TEST(DrawFilledShape, FollowsTheRulesForAnyChain) {
  std::mt19937 engine(2);
  for (int i = 0; i < 2000; ++i) {
    const int width = pick(engine, 1, 70), height = pick(engine, 1, 8);
    const Shape shape = random_shape(engine, 5, 3, width, height);
    if (shape.size() == 0) continue;
    Picture actual(width + 9, width + 9, height + 5, 1), expected = actual;
    plain_fill(expected, shape, 200);
    draw_filled_shape(actual.data(), actual.stride(), shape, 200);
    ASSERT_TRUE(same(expected, actual));
  }
}

TEST(DrawFilledShape, PaintsNothingWhenItThrows) {
  for (const char bad : {char{8}, char{-1}, char{127}})
    for (std::size_t at = 0; at < 4; ++at) {
      std::vector<char> chain{3, 1, 7, 5};
      chain[at] = bad;
      Picture p(4, 4, 4);
      const Picture before = p;
      const FailingAllocations watch(-1);  // for leaks
      EXPECT_THROW(draw_filled_shape(p.data(), 4, Shape(std::move(chain), 1, 1, 1, 2, 1, 2, true, 0), 7),
                   invalid_chain_code_element);
      EXPECT_EQ(p, before);
    }
  Picture p(4, 4, 4);
  const Picture before = p;
  {
    const FailingAllocations failing(0);
    EXPECT_THROW(draw_filled_shape(p.data(), 4, Shape({3, 1, 7, 5}, 1, 1, 1, 2, 1, 2, true, 0), 7), std::bad_alloc);
  }
  constexpr int most = std::numeric_limits<int>::max();
  EXPECT_THROW(draw_filled_shape(p.data(), 4, Shape({3, 7}, 0, 0, -most, most, 0, 1, true, 0), 7), std::bad_alloc);
  EXPECT_EQ(p, before);
  // A chain that leaves its own extents is cut off at them.
  draw_filled_shape(p.data(), 4, Shape({3, 3, 3, 3, 3, 3, 3}, 0, 0, 0, 1, 0, 0, true, 0), 7);
}

TEST(ShapeToContour, PointsBeforeEachStep) {
  const auto contour_of = [](const Shape& shape) {
    zeb::PointContainer<int> contour;
    contour.add(77, 88);
    zeb::shape_to_contour(contour, shape, {10, 20});
    return contour;
  };
  std::vector<char> chain;
  for (int i = 0; i < 40; ++i) chain.push_back(static_cast<char>(i % 8));  // five times around, closed
  const Shape shape(std::move(chain), 5, 6, 0, 0, 0, 0, true, 0);
  const auto contour = contour_of(shape);
  ASSERT_EQ(contour.size(), 40u);
  int x = 15, y = 26;
  for (std::size_t i = 0; i < 40; ++i) {
    EXPECT_EQ(contour.x[i], x);
    EXPECT_EQ(contour.y[i], y);
    x += dx[i % 8];
    y += dy[i % 8];
  }
  zeb::PointContainer<int> reference;
  zeb::test::shape_to_contour(reference, shape, {10, 20});
  EXPECT_EQ(reference.x, contour.x);
  EXPECT_EQ(reference.y, contour.y);

  // No shape appends its start, without offset; an isolated pixel leaves nothing.
  EXPECT_EQ(contour_of(Shape()).x, (std::vector<int>{77, 0}));
  EXPECT_EQ(contour_of(Shape()).y, (std::vector<int>{88, 0}));
  EXPECT_TRUE(contour_of(Shape({}, 5, 6, 5, 5, 6, 6, true, 0)).y.empty());
  zeb::test::shape_to_contour(reference, Shape(), {10, 20});
  EXPECT_TRUE(reference.empty());
}

}  // namespace
