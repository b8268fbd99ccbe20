#include <gtest/gtest.h>

#include <functional>
#include <memory>

#include "tests/shapes/scene.h"

using zeb::Shape;
using namespace zeb::testing;

namespace {

TEST(Collections, TakeTheOutermostComponentsInRasterOrder) {
  std::mt19937 engine(1);
  for (int i = 0; i < 300; ++i) {
    const int width = pick(engine, 1, 50), height = pick(engine, 1, 40);
    const Picture scene = random_scene(engine, width, width + pick(engine, 0, 9), height, pick(engine, 0, 15));
    const bool ascending = i % 2 == 0;
    SCOPED_TRACE(testing::PrintToString(scene));

    // All shapes, and the picture as it is before and after each was wiped out.
    std::vector<Shape> shapes;
    std::vector<Picture> pictures{scene};
    for_each_pixel(width, height, [&](int x, int y) {
      if (pictures.back()(x, y) == 0) return;
      shapes.push_back(zeb::find_next_shape(pictures.back().bitmap(), y, x, false, ascending));
      pictures.push_back(filled_component(pictures.back(), x, y, 0));
    });
    const auto texts = [](const std::vector<Shape>& list, std::size_t step = 1) {
      std::vector<std::string> text;
      for (std::size_t k = 0; k < list.size(); k += step) text.push_back(describe(list[k]));
      return text;
    };

    Picture p = scene;
    auto bitmap = p.bitmap();
    ASSERT_EQ(texts(zeb::get_all_shapes(bitmap, ascending)), texts(shapes));
    ASSERT_TRUE(same(pictures.back(), p));

    p = scene;
    std::size_t calls = 0;
    const auto every_third = [&](const Shape&) {
      EXPECT_TRUE(same(pictures.at(calls + 1), p)) << "wiped before the call";
      return calls++ % 3 == 0;
    };
    ASSERT_EQ(texts(zeb::get_all_shapes_with(bitmap, every_third, ascending)), texts(shapes, 3));
    ASSERT_EQ(calls, shapes.size());
    ASSERT_TRUE(same(pictures.back(), p));

    const std::uint64_t count = pick(engine, 0, 3) == 0 ? 1000 : static_cast<std::uint64_t>(pick(engine, 0, 5));
    const auto wiped = std::min<std::size_t>(count > 1 ? count - 1 : 0, shapes.size());
    const auto longest = std::max_element(shapes.begin(), shapes.begin() + static_cast<std::ptrdiff_t>(wiped),
                                          [](const Shape& a, const Shape& b) { return a.size() < b.size(); });
    p = scene;
    const Shape found =
        count == 1000 ? zeb::get_longest_shape(bitmap, ascending) : zeb::get_longest_shape(bitmap, count, ascending);
    ASSERT_EQ(describe(found), shapes.empty() ? "none" : describe(*longest)) << "count " << count;
    ASSERT_TRUE(same(pictures[wiped], p)) << "count " << count;
  }
}

TEST(Collections, BetterSeesTheFirstShapeAgainstItselfFirst) {
  for (std::size_t count = 0; count <= 5; ++count) {
    Picture p = Picture::text({"##.###.#"});
    auto bitmap = p.bitmap();
    std::vector<std::pair<int, int>> compared, all{{0, 0}, {3, 0}, {7, 3}};
    const auto better = [&](const Shape& a, const Shape& b) {
      compared.emplace_back(a.start_point().x, b.start_point().x);
      return true;
    };
    const Shape last = zeb::get_shape_with(bitmap, better, count, false);
    all.resize(std::min<std::size_t>(3, count > 1 ? count - 1 : 0));
    EXPECT_EQ(compared, all) << count;
    EXPECT_EQ(last.start_point().x, all.empty() ? 0 : all.back().first);
  }
}

TEST(Collections, FunctionsAreCalledOnlyWhenNeededAndReleasedBeforeTheReturn) {
  const std::function<bool(const Shape&)> no_predicate;
  const std::function<bool(const Shape&, const Shape&)> no_comparison;
  Picture none(3, 3, 1), p = Picture::text({"#.#.#"});
  auto nothing = none.bitmap(), bitmap = p.bitmap();
  EXPECT_TRUE(zeb::get_all_shapes_with(nothing, no_predicate, true).empty());
  EXPECT_TRUE(zeb::get_shape_with(nothing, no_comparison, 9, true).empty());
  EXPECT_FALSE(zeb::get_shape_with(bitmap, no_comparison, 1, true).empty());
  EXPECT_THROW(zeb::get_shape_with(bitmap, no_comparison, 2, true), std::bad_function_call);
  EXPECT_EQ(p, Picture::text({"..#.#"})) << "one shape is wiped before the first call";
  EXPECT_THROW(zeb::get_all_shapes_with(bitmap, no_predicate, true), std::bad_function_call);

  const auto held = std::make_shared<int>(0);
  zeb::get_all_shapes_with(
      bitmap, [held](const Shape&) { return *held == 0; }, true);
  EXPECT_EQ(held.use_count(), 1);
}

}  // namespace
