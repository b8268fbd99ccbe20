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

using Found = std::optional<zeb::Point_<int>>;

/// The first set pixel among `count` ones from (x, y) on.
Found scan(const Picture& p, int x, int y, int step_x, int step_y, int count) {
  for (int i = 0; i < count; ++i, x += step_x, y += step_y)
    if (p(x, y) != 0) return Found({x, y});
  return {};
}

Found scan_from_right(const Picture& p, int width, int y) {
  int i = width - 1;
  for (; i > width / 16 * 16; --i)
    if (p(i, y) != 0) return Found({i, y});
  while (i >= 16 && !scan(p, i - 16, y, 1, 0, 16)) i -= 16;
  return scan(p, i, y, -1, 0, i + 1);
}

Found search_image(const Picture& p, int width, int height, Find_Active_Pixel_Mode mode) {
  const int lines = mode == from_left || mode == from_right ? height : width, m = lines / 2;
  std::vector<int> order{m};
  for (int i = 1; i < m; ++i) order.insert(order.end(), {m - i, m + i});
  order.push_back(0);
  if (lines % 2 == 0) order.push_back(lines - 1);
  Found found;
  for (std::size_t n = 0; n < order.size() && !found; ++n) {
    const int line = order[n], length = n == 0 ? width : height;
    found = mode == from_left     ? scan(p, 0, line, 1, 0, width)
            : mode == from_right  ? scan_from_right(p, width, line)
            : mode == from_bottom ? scan(p, line, length - 1, 0, -1, length)
                                  : scan(p, line, 0, 0, 1, length);
  }
  return found;
}

Found search_line(const Picture& p, int width, int height, int line, Find_Active_Pixel_Mode mode) {
  return mode == from_left     ? scan(p, 0, line, 1, 0, width)
         : mode == from_right  ? scan(p, width - 1, line, -1, 0, width)
         : mode == from_bottom ? scan(p, line, 0, 0, 1, height)
                               : scan(p, line, height - 1, 0, -1, height);
}

Found search_position(const Picture& p, int width, int height, int y, int x, bool search) {
  if (!search && p(x, y) == 0) return {};
  while (!search && x > 0 && p(x - 1, y) != 0) --x;
  Found found = scan(p, x, y, 1, 0, width - x);
  while (!found && ++y < height) found = scan(p, 0, y, 1, 0, width);
  return found;
}

TEST(Tracing, EveryFormFollowsThePlainRules) {
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
      const auto expected = [&](Found start, int direction) {
        if (!start) return std::string("none");
        const Walk w(p, width, height, start->x, start->y, direction, ascending);
        endless_walks += w.endless ? 1 : 0;
        return plain_outcome(w, ascending);
      };
      for (const bool search : {false, true})
        ASSERT_EQ(outcome([&] { return find_next_shape(bitmap, y, x, search, ascending); }),
                  expected(search_position(p, width, height, y, x, search), ascending ? 2 : 3))
            << "at row " << y << ", column " << x << ", " << search << ascending;
      for (const auto mode : {from_left, from_right, from_bottom, from_top}) {
        const auto number = static_cast<std::size_t>(mode);
        const int direction = start_direction[number][ascending], index = number < 2 ? y : x;
        ASSERT_EQ(outcome([&] { return find_next_shape(bitmap, index, mode, ascending); }),
                  expected(search_line(p, width, height, index, mode), direction))
            << "line " << index << ", mode " << number << ", " << ascending;
        ASSERT_EQ(outcome([&] { return find_next_shape(bitmap, mode, ascending); }),
                  expected(search_image(p, width, height, mode), direction))
            << "mode " << number << ", " << ascending;
      }
    }
  }
  EXPECT_GT(endless_walks, 30) << "the scenes should hold endless walks";
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

TEST(Tracing, SearchesPassOverWhatTheirSchemesLeaveOut) {
  Picture last_row = Picture::text({".....", ".....", "#####"}), wide(40, 40, 1);
  EXPECT_TRUE(find_next_shape(last_row.bitmap(), from_right, false).empty());
  wide(32, 0) = 255;
  EXPECT_TRUE(find_next_shape(wide.bitmap(), from_right, false).empty());
  // Groups of 16 are looked at to their first pixel, and as long as a whole one lies to the left.
  for (const auto& [width, x] : {std::pair{16, 15}, {48, 31}, {48, 15}}) {
    Picture dot(width, width, 3);
    dot(x, 1) = 255;
    EXPECT_EQ(find_next_shape(dot.bitmap(), from_right, true).start_point().x, x) << width;
  }
  // The columns of one line are scanned against their names, those of the whole image are not.
  Picture column = Picture::text({"...", ".#.", "...", ".#.", "..."});
  EXPECT_EQ(find_next_shape(column.bitmap(), 1, from_bottom, false).start_point().y, 1);
  EXPECT_EQ(find_next_shape(column.bitmap(), 1, from_top, false).start_point().y, 3);
  EXPECT_EQ(find_next_shape(column.bitmap(), from_bottom, false).start_point().y, 1) << "3 rows as it is 3 wide";
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
