#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <memory>
#include <utility>
#include <vector>

#include "tests/shapes/scene.h"
#include "tests/support/allocation.h"
#include "zeb/shapes.h"

using zeb::Shape;
using zeb::testing::pick;
using zeb::testing::Picture;
using zeb::testing::random_scene;
using zeb::testing::same;

namespace {

/// Sets `mark` on what is connected with (x, y), where `passable` allows.
template <class Passable>
void flood(std::vector<std::vector<bool>>& mark, int x, int y, bool diagonals, Passable passable) {
  std::vector<std::pair<int, int>> open = {{x, y}};
  const int height = static_cast<int>(mark.size()), width = static_cast<int>(mark[0].size());
  while (!open.empty()) {
    const auto [px, py] = open.back();
    open.pop_back();
    if (px < 0 || px >= width || py < 0 || py >= height || !passable(px, py)) continue;
    auto&& seen = mark[static_cast<std::size_t>(py)][static_cast<std::size_t>(px)];
    if (seen) continue;
    seen = true;
    for (int j = -1; j <= 1; ++j)
      for (int i = -1; i <= 1; ++i)
        if (diagonals || i == 0 || j == 0) open.emplace_back(px + i, py + j);
  }
}

/// Zeroes the component of (x, y) with everything it encloses: what the ground around cannot reach.
void wipe_component(Picture& p, int x, int y) {
  const auto width = static_cast<std::size_t>(p.width()), height = static_cast<std::size_t>(p.height());
  // One more pixel on each side, so that the ground is connected around the component.
  std::vector<std::vector<bool>> component(height + 2, std::vector<bool>(width + 2)), ground(component);
  flood(component, x + 1, y + 1, true,
        [&](int i, int j) { return i >= 1 && i <= p.width() && j >= 1 && j <= p.height() && p(i - 1, j - 1) != 0; });
  flood(ground, 0, 0, false,
        [&](int i, int j) { return !component[static_cast<std::size_t>(j)][static_cast<std::size_t>(i)]; });
  for (int j = 0; j < p.height(); ++j)
    for (int i = 0; i < p.width(); ++i)
      if (!ground[static_cast<std::size_t>(j) + 1][static_cast<std::size_t>(i) + 1]) p(i, j) = 0;
}

std::vector<char> codes(const Shape& s) { return {s.chain_code(), s.chain_code() + s.size()}; }

bool equal(const Shape& a, const Shape& b) {
  return a.empty() == b.empty() && codes(a) == codes(b) && a.start_point().x == b.start_point().x &&
         a.start_point().y == b.start_point().y && a.rot() == b.rot();
}

/// All outermost shapes in raster order, and the picture as it is after each was wiped out.
struct Plain {
  std::vector<Shape> shapes;
  std::vector<Picture> after;

  Plain(Picture p, bool ascending) {
    after.push_back(p);
    for (int y = 0; y < p.height(); ++y)
      for (int x = 0; x < p.width(); ++x) {
        if (p(x, y) == 0) continue;
        shapes.push_back(zeb::find_next_shape(p.bitmap(), y, x, false, ascending));
        wipe_component(p, x, y);
        after.push_back(p);
      }
  }
};

TEST(Collections, TakeTheOutermostComponentsInRasterOrder) {
  std::mt19937 engine(1);
  for (int i = 0; i < 400; ++i) {
    const int width = pick(engine, 1, 50), height = pick(engine, 1, 40);
    const Picture scene = random_scene(engine, width, width + pick(engine, 0, 9), height, pick(engine, 0, 15));
    const bool ascending = pick(engine, 0, 1) == 1;
    const Plain plain(scene, ascending);
    SCOPED_TRACE(testing::PrintToString(scene));

    Picture p = scene;
    auto bitmap = p.bitmap();
    const auto all = zeb::get_all_shapes(bitmap, ascending);
    ASSERT_EQ(all.size(), plain.shapes.size());
    for (std::size_t n = 0; n < all.size(); ++n) ASSERT_TRUE(equal(all[n], plain.shapes[n])) << n;
    ASSERT_TRUE(same(plain.after.back(), p));

    p = scene;
    bitmap = p.bitmap();
    std::size_t calls = 0;
    const auto chosen = zeb::get_all_shapes_with(
        bitmap,
        [&](const Shape& s) {
          EXPECT_TRUE(equal(s, plain.shapes[calls++]));
          EXPECT_TRUE(same(plain.after[calls], p)) << "wiped before the call";
          return s.size() % 3 == 0;
        },
        ascending);
    ASSERT_EQ(calls, all.size());
    std::size_t n = 0;
    for (const auto& s : plain.shapes) {
      if (s.size() % 3 != 0) continue;
      ASSERT_TRUE(equal(s, chosen.at(n++)));
    }
    ASSERT_EQ(n, chosen.size());
    ASSERT_TRUE(same(plain.after.back(), p));

    for (const std::uint64_t count : {0u, 1u, 2u, 3u, 5u, 1000u}) {
      p = scene;
      bitmap = p.bitmap();
      const std::size_t wiped = std::min<std::size_t>(count > 1 ? count - 1 : 0, all.size());
      std::size_t longest = 0;
      for (std::size_t k = 1; k < wiped; ++k)
        if (plain.shapes[k].size() > plain.shapes[longest].size()) longest = k;
      const Shape best = zeb::get_longest_shape(bitmap, count, ascending);
      ASSERT_TRUE(equal(best, all.empty() ? Shape() : plain.shapes[longest])) << "count " << count;
      ASSERT_TRUE(same(plain.after[wiped], p)) << "count " << count;
      if (count < 1000) continue;
      p = scene;
      ASSERT_TRUE(equal(zeb::get_longest_shape(bitmap, ascending), best));
      ASSERT_TRUE(same(plain.after.back(), p));
    }
  }
}

TEST(Collections, ARingHidesWhatItEncloses) {
  Picture p = Picture::text({"#####...", "#...#..#", "#.#.#...", "#...#...", "#####..."});
  auto bitmap = p.bitmap();
  const auto shapes = zeb::get_all_shapes(bitmap, true);
  ASSERT_EQ(shapes.size(), 2u);
  EXPECT_EQ(shapes[0].size(), 16u);
  EXPECT_EQ(shapes[1].start_point().x, 7);
  EXPECT_EQ(p, Picture(8, 8, 5));
}

TEST(Collections, BetterSeesTheFirstShapeAgainstItselfFirst) {
  const Picture scene = Picture::text({"##.###.#"});
  for (std::uint64_t count = 0; count <= 5; ++count) {
    Picture p = scene;
    auto bitmap = p.bitmap();
    std::vector<std::pair<int, int>> compared;
    const Shape last = zeb::get_shape_with(
        bitmap,
        [&](const Shape& a, const Shape& b) {
          compared.emplace_back(a.start_point().x, b.start_point().x);
          return true;
        },
        count, false);
    const std::vector<std::pair<int, int>> all = {{0, 0}, {3, 0}, {7, 3}};
    const auto seen = static_cast<std::ptrdiff_t>(std::min<std::uint64_t>(3, count > 1 ? count - 1 : 0));
    EXPECT_EQ(compared, (std::vector<std::pair<int, int>>(all.begin(), all.begin() + seen))) << count;
    EXPECT_EQ(last.start_point().x, seen > 0 ? compared.back().first : 0);
    EXPECT_EQ(p(7, 0), seen == 3 ? 0 : 255);
  }
}

TEST(Collections, EmptyFunctionsThrowWhenTheyAreNeeded) {
  const std::function<bool(const Shape&)> no_predicate;
  const std::function<bool(const Shape&, const Shape&)> no_comparison;
  Picture none(3, 3, 1), p = Picture::text({"#.#.#"});
  auto nothing = none.bitmap(), bitmap = p.bitmap();
  EXPECT_TRUE(zeb::get_all_shapes_with(nothing, no_predicate, true).empty());
  EXPECT_TRUE(zeb::get_shape_with(nothing, no_comparison, 9, true).empty());
  EXPECT_TRUE(zeb::get_longest_shape(nothing, true).empty());
  EXPECT_EQ(zeb::get_shape_with(bitmap, no_comparison, 1, true).start_point().x, 0);
  EXPECT_EQ(p, Picture::text({"#.#.#"}));
  EXPECT_THROW(zeb::get_shape_with(bitmap, no_comparison, 2, true), std::bad_function_call);
  EXPECT_EQ(p, Picture::text({"..#.#"})) << "one shape is wiped before the first call";
  EXPECT_THROW(zeb::get_all_shapes_with(bitmap, no_predicate, true), std::bad_function_call);
  EXPECT_EQ(p, Picture::text({"....#"}));
}

TEST(Collections, ShortMemoryPassesThrough) {
  const zeb::testing::FailingAllocations failing(1);  // the first shape's work image is granted
  Picture p = Picture::text({"##.##"});
  auto bitmap = p.bitmap();
  EXPECT_THROW(zeb::get_all_shapes(bitmap, true), std::bad_alloc);
  EXPECT_EQ(p, Picture::text({"...##"})) << "half wiped";
}

TEST(Collections, FunctionsAreReleasedBeforeTheReturn) {
  Picture p = Picture::text({"#.#"});
  auto bitmap = p.bitmap();
  const auto held = std::make_shared<int>(0);
  zeb::get_all_shapes_with(
      bitmap, [held](const Shape&) { return *held == 0; }, true);
  zeb::get_shape_with(
      bitmap, [held](const Shape&, const Shape&) { return *held == 0; }, 5, true);
  EXPECT_EQ(held.use_count(), 1);
}

}  // namespace
