#include <gtest/gtest.h>

#include <optional>
#include <stdexcept>

#include "tests/shapes/scene.h"

using zeb::Find_Active_Pixel_Mode;
using zeb::find_next_shape;
using zeb::Shape;
using namespace zeb::testing;

namespace {

constexpr auto from_left = Find_Active_Pixel_Mode::from_left, from_right = Find_Active_Pixel_Mode::from_right,
               from_bottom = Find_Active_Pixel_Mode::from_bottom, from_top = Find_Active_Pixel_Mode::from_top;
constexpr char endless[] = "vector<T> too long";

template <class Trace>
std::string outcome(Trace trace) {
  try {
    return describe(trace());
  } catch (const std::length_error& error) {
    return error.what();
  }
}

std::string plain_outcome(Walk w, bool ascending) {
  if (w.endless) return endless;
  int area = 0;
  const auto add_area = [&](std::size_t at, int code) { area += w.x[at] * dy[code] - w.y[at] * dx[code]; };
  for (std::size_t i = 0; i < w.codes.size(); ++i) add_area(i, w.codes[i]);
  if (w.repeats_first_step) w.codes.pop_back();
  if (!w.codes.empty()) add_area(w.x.size() - 1, w.codes.back());
  const std::vector<int> box = extents(w.x, w.y);
  return describe(Shape(std::move(w.codes), w.x[0], w.y[0], box[0], box[1], box[2], box[3], !ascending, area));
}

/// The first set pixel in raster order from (x, y) on, or the left end of the run that it belongs to.
std::optional<zeb::Point_<int>> start_from(const Picture& p, int width, int height, int y, int x, bool search) {
  while (!search && p(x, y) != 0 && x > 0 && p(x - 1, y) != 0) --x;
  while (search && y < height && p(x, y) == 0)
    if (++x == width) x = 0, ++y;
  if (y == height || p(x, y) == 0) return {};
  return zeb::Point_<int>{x, y};
}

TEST(Tracing, EveryFormWalksByTheRules) {
  std::mt19937 engine(1);
  const int start_direction[4][2] = {{3, 2}, {7, 6}, {1, 4}, {1, 0}};
  int endless_walks = 0;
  for (int i = 0; i < 1500; ++i) {
    const int largest = i % 10 == 0 ? 120 : 24;
    const int width = pick(engine, 1, largest), height = pick(engine, 1, largest);
    const int stride = width + pick(engine, 0, 1) * pick(engine, 1, 20);
    // The middle column is scanned over as many rows as the image is wide.
    Picture p = random_scene(engine, width, stride, std::max(width, height), pick(engine, 0, 15));
    const zeb::Bitmap_<unsigned char> bitmap(p.data(), width, stride, height, {});
    SCOPED_TRACE(testing::Message() << width << " x " << height << ", " << testing::PrintToString(p));
    const int y = pick(engine, 0, height - 1), x = pick(engine, 0, width - 1);
    for (const bool ascending : {false, true}) {
      for (const bool search : {false, true}) {
        std::string expected = "none";
        if (const auto start = start_from(p, width, height, y, x, search)) {
          const Walk walk(p, width, height, start->x, start->y, ascending ? 2 : 3, ascending);
          endless_walks += walk.endless ? 1 : 0;
          expected = plain_outcome(walk, ascending);
        }
        ASSERT_EQ(outcome([&] { return find_next_shape(bitmap, y, x, search, ascending); }), expected)
            << "at row " << y << ", column " << x << ", " << search << ascending;
      }
      for (const auto mode : {from_left, from_right, from_bottom, from_top})
        for (const bool whole : {false, true}) {
          const int number = static_cast<int>(mode), index = number < 2 ? y : x;
          const auto trace = [&] {
            return whole ? find_next_shape(bitmap, mode, ascending) : find_next_shape(bitmap, index, mode, ascending);
          };
          const std::string actual = outcome(trace);
          if (actual == "none" || actual == endless) continue;
          const zeb::Point_<int> start = trace().start_point();
          const Walk walk(p, width, height, start.x, start.y, start_direction[number][ascending], ascending);
          ASSERT_EQ(actual, plain_outcome(walk, ascending)) << "mode " << number << ", " << whole << ascending;
        }
    }
  }
  EXPECT_GT(endless_walks, 30) << "the scenes should hold endless walks";
}

using Rows = std::vector<std::string>;

/// Letters tell in which order the pixels of an image are looked at, points which are not. `rows` may be more than the
/// image has.
template <class... Line>
void expect_order(const Rows& rows, int height, Find_Active_Pixel_Mode mode, Line... line) {
  const int width = static_cast<int>(rows[0].size()), all = static_cast<int>(rows.size());
  const auto turn = [&](int x, int y) {
    const char letter = rows[static_cast<std::size_t>(y)][static_cast<std::size_t>(x)];
    return letter == '.' ? 127 : int{letter};
  };
  for_each_pixel(width, all, [&](int x, int y) {
    for_each_pixel(width, all, [&](int later_x, int later_y) {
      if (turn(later_x, later_y) < turn(x, y)) return;
      Picture p(width, width, all);
      p(x, y) = p(later_x, later_y) = 255;
      const Shape shape =
          find_next_shape(zeb::Bitmap_<unsigned char>(p.data(), width, width, height, {}), line..., mode, true);
      const auto start = shape.start_point();
      EXPECT_EQ(shape.empty(), turn(x, y) == 127) << ::testing::PrintToString(p);
      EXPECT_TRUE(shape.empty() || (start.x == x && start.y == y)) << ::testing::PrintToString(p);
    });
  });
}

TEST(Tracing, ImagesAreSearchedFromTheMiddleOutwards) {
  expect_order({"gh", "cd", "ab", "ef"}, 4, from_left);
  expect_order({"gh", "cd", "ab", "ef", ".."}, 5, from_left);  // the last of an odd number is not
  expect_order({"hg", "dc", "ba", "fe", ".."}, 5, from_right);
  // The middle column is searched over as many rows as the image is wide.
  expect_order({"mgdj", "lfci", "kebh", "..a."}, 3, from_bottom);
  expect_order({"keah", "lfbi", "mgcj", "..d."}, 3, from_top);
  expect_order({"hc.", "gb.", "fa.", "e..", "d.."}, 5, from_bottom);
}

TEST(Tracing, ColumnsOfOneLineAreSearchedAgainstTheirNames) {
  expect_order({"..", "..", "..", "ab"}, 4, from_left, 3);
  expect_order({"..", "..", "..", "ba"}, 4, from_right, 3);
  expect_order({"...a", "...b"}, 2, from_bottom, 3);
  expect_order({"...b", "...a"}, 2, from_top, 3);
}

TEST(Tracing, SearchFromTheRightSkipsGroupsOf16) {
  // Groups are skipped from the first pixel behind the whole groups of the row, or else from its last one, which is not
  // looked at itself but where the group before it holds something.
  const struct {
    int width;
    std::vector<int> dots;
    std::optional<int> found;
  } rows[] = {{16, {15}, 15}, {40, {33}, 33}, {40, {32}, {}},     {40, {31}, 31},    {48, {31}, 31},
              {48, {0}, 0},   {48, {47}, {}}, {48, {47, 31}, 47}, {48, {47, 30}, 30}};
  for (const auto& [width, dots, found] : rows) {
    Picture p(width, width, 3);
    for (const int x : dots) p(x, 1) = 255;
    const Shape shape = find_next_shape(p.bitmap(), from_right, true);
    EXPECT_EQ(shape.empty() ? std::nullopt : std::optional(shape.start_point().x), found) << width << ", " << dots[0];
  }
}

TEST(Tracing, OutlinesOfSmallShapes) {
  const auto traced = [](const std::vector<std::string>& rows, int y, int x, bool ascending) {
    Picture p = Picture::text(rows);
    return describe(find_next_shape(p.bitmap(), y, x, true, ascending));
  };
  EXPECT_EQ(traced({"...", ".#.", "..."}, 0, 0, true), " from 1 1 1 1 1 1 0 cw");
  EXPECT_EQ(traced({"##", "##"}, 0, 0, false), "3175 from 0 0 0 1 0 1 1 ccw");
  EXPECT_EQ(traced({"##", "##"}, 0, 0, true), "1357 from 0 0 0 1 0 1 -1 cw");
  EXPECT_EQ(traced({"####"}, 0, 0, true), "333777 from 0 0 0 3 0 0 0 cw");
  EXPECT_EQ(traced({".#.", "#.#", ".#.", "#.#", ".#."}, 2, 1, false).substr(0, 8), "64202064") << "both loops";
}

TEST(Tracing, WhatLiesOutsideTheImageIsNotFound) {
  Picture p(5, 8, 3, 255), unset(5, 5, 3);
  const auto unknown = static_cast<Find_Active_Pixel_Mode>(9);
  EXPECT_TRUE(find_next_shape(unset.bitmap(), unknown, true).empty());
  for (const auto mode : {from_left, from_right, from_bottom, from_top, unknown})
    for (const int index : {100, -1}) EXPECT_TRUE(find_next_shape(p.bitmap(), index, mode, true).empty());
  EXPECT_TRUE(find_next_shape(p.bitmap(), 0, unknown, true).empty());
  for (const bool search : {false, true})
    for (const auto& [y, x] : {std::pair{3, 0}, {-1, 0}, {2, -1}})
      EXPECT_TRUE(find_next_shape(p.bitmap(), y, x, search, true).empty()) << y << ", " << x;
  EXPECT_EQ(find_next_shape(p.bitmap(), 1, 100, true, false).start_point().y, 2) << "the rest of no row is empty";
}

}  // namespace
