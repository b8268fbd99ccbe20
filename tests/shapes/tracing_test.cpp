#include <gtest/gtest.h>

#include <algorithm>
#include <optional>
#include <set>
#include <stdexcept>
#include <string>
#include <tuple>
#include <vector>

#include "tests/shapes/scene.h"
#include "zeb/shapes.h"

using zeb::Find_Active_Pixel_Mode;
using zeb::find_next_shape;
using zeb::Shape;
using zeb::testing::pick;
using zeb::testing::Picture;
using zeb::testing::random_scene;

namespace {

constexpr auto from_left = Find_Active_Pixel_Mode::from_left;
constexpr auto from_right = Find_Active_Pixel_Mode::from_right;
constexpr auto from_bottom = Find_Active_Pixel_Mode::from_bottom;
constexpr auto from_top = Find_Active_Pixel_Mode::from_top;

std::string codes(const Shape& shape) {
  std::string text;
  for (std::uint64_t i = 0; i < shape.size(); ++i) text += static_cast<char>('0' + shape.chain_code()[i]);
  return text;
}

/// Everything that a shape tells, as one line of text, which is also what a failing test prints.
std::string describe(const Shape& shape) {
  if (shape.empty()) return "none";
  const auto number = [](int n) { return " " + std::to_string(n); };
  return codes(shape) + " from" + number(shape.start_point().x) + number(shape.start_point().y) + " x" +
         number(shape.min_x()) + number(shape.max_x()) + " y" + number(shape.min_y()) + number(shape.max_y()) +
         (shape.is_counter_clockwise() ? " ccw" : " cw") + number(shape.rot());
}

template <class Trace>
std::string outcome(Trace trace) {
  try {
    return describe(trace());
  } catch (const std::exception& error) {
    return error.what();
  }
}

// ---- the rules, plainly ---------------------------------------------------------------------------------------------

/// The walk, with every state kept to tell an endless one.
std::string plain_walk(const Picture& p, int width, int height, int start_x, int start_y, int d, bool ascending) {
  const int dx[] = {-1, 0, 1, 1, 1, 0, -1, -1}, dy[] = {1, 1, 1, 0, -1, -1, -1, 0};
  std::vector<char> chain;
  std::set<std::tuple<int, int, int>> states;
  int x = start_x, y = start_y, fx = 0, fy = 0, area = 0;
  int min_x = x, max_x = x, min_y = y, max_y = y;
  bool at_start = false;
  while (true) {
    int code = -1;
    for (int k = 0; k < 8 && code < 0; ++k) {
      const int c = (ascending ? d - 2 + k : d + 3 - k) & 7;
      const int nx = x + dx[c], ny = y + dy[c];
      if (nx >= 0 && nx < width && ny >= 0 && ny < height && p(nx, ny) != 0) code = c;
    }
    if (code < 0) break;
    area += x * dy[code] - y * dx[code];
    x += dx[code];
    y += dy[code];
    min_x = std::min(min_x, x);
    max_x = std::max(max_x, x);
    min_y = std::min(min_y, y);
    max_y = std::max(max_y, y);
    d = code;
    if (chain.empty()) {
      fx = x;
      fy = y;
    }
    if (at_start && x == fx && y == fy) break;
    chain.push_back(static_cast<char>(code));
    at_start = x == start_x && y == start_y;
    if (!states.emplace(x, y, d).second) return "vector<T> too long";
  }
  if (!chain.empty()) area += x * dy[int{chain.back()}] - y * dx[int{chain.back()}];
  return describe(Shape(std::move(chain), start_x, start_y, min_x, max_x, min_y, max_y, !ascending, area));
}

struct Pixel {
  int x, y;
};
using Found = std::optional<Pixel>;

/// The first set pixel among (x, y), (x + step_x, y + step_y) ... , `count` of them.
Found scan(const Picture& p, int x, int y, int step_x, int step_y, int count) {
  for (int i = 0; i < count; ++i, x += step_x, y += step_y)
    if (p(x, y) != 0) return Pixel{x, y};
  return {};
}

Found scan_from_right(const Picture& p, int width, int y) {
  const int k = width / 16 * 16;
  int i = width - 1;
  while (i > k) {
    if (p(i, y) != 0) return Pixel{i, y};
    --i;
  }
  while (i >= 16) {
    bool any = false;
    for (int j = i - 16; j <= i - 1; ++j) any = any || p(j, y) != 0;
    if (any) break;
    i -= 16;
  }
  for (; i >= 0; --i)
    if (p(i, y) != 0) return Pixel{i, y};
  return {};
}

Found search_image(const Picture& p, int width, int height, int mode) {
  const bool columns = mode == 2 || mode == 3;
  const int lines = columns ? width : height, m = lines / 2;
  std::vector<int> order = {m};
  if (m >= 2)
    for (int i = 1; i <= m - 1; ++i) order.insert(order.end(), {m - i, m + i});
  order.push_back(0);
  if (lines % 2 == 0) order.push_back(lines - 1);
  for (std::size_t n = 0; n < order.size(); ++n) {
    const int line = order[n], length = n == 0 ? width : height;
    Found found;
    if (mode == 1)
      found = scan_from_right(p, width, line);
    else if (mode == 2)
      found = scan(p, line, length - 1, 0, -1, length);
    else if (mode == 3)
      found = scan(p, line, 0, 0, 1, length);
    else
      found = scan(p, 0, line, 1, 0, width);
    if (found) return found;
  }
  return {};
}

Found search_line(const Picture& p, int width, int height, int index, int mode) {
  switch (mode) {
    case 0:
      return scan(p, 0, index, 1, 0, width);
    case 1:
      return scan(p, width - 1, index, -1, 0, width);
    case 2:
      return scan(p, index, 0, 0, 1, height);
    case 3:
      return scan(p, index, height - 1, 0, -1, height);
    default:
      return {};
  }
}

Found search_position(const Picture& p, int width, int height, int y, int x, bool search) {
  if (!search) {
    if (p(x, y) == 0) return {};
    while (x > 0 && p(x - 1, y) != 0) --x;
    return Pixel{x, y};
  }
  Found found = scan(p, x, y, 1, 0, width - x);
  while (!found && ++y < height) found = scan(p, 0, y, 1, 0, width);
  return found;
}

// ---- against the implementation -------------------------------------------------------------------------------------

TEST(Tracing, EveryFormFollowsThePlainRules) {
  std::mt19937 engine(1);
  const int start_direction[4][2] = {{3, 2}, {7, 6}, {1, 4}, {1, 0}};
  int endless = 0, shapes = 0;
  for (int i = 0; i < 4000; ++i) {
    const int largest = i % 10 == 0 ? 120 : 24;
    const int width = pick(engine, 1, largest), height = pick(engine, 1, largest);
    const int stride = width + pick(engine, 0, 1) * pick(engine, 1, 20);
    // The middle column is scanned over as many rows as the image is wide.
    const Picture p = random_scene(engine, width, stride, std::max(width, height), pick(engine, 0, 15));
    const zeb::Bitmap_<unsigned char> bitmap(const_cast<unsigned char*>(p.data()), width, stride, height, {});
    SCOPED_TRACE(testing::Message() << width << " x " << height << ", " << testing::PrintToString(p));
    for (const bool ascending : {false, true}) {
      const auto expected = [&](Found start, int direction) {
        const std::string text =
            start ? plain_walk(p, width, height, start->x, start->y, direction, ascending) : "none";
        endless += text == "vector<T> too long";
        shapes += text.size() > 60;
        return text;
      };
      const int y = pick(engine, 0, height - 1), x = pick(engine, 0, width - 1);
      for (const bool search : {false, true})
        ASSERT_EQ(outcome([&] { return find_next_shape(bitmap, y, x, search, ascending); }),
                  expected(search_position(p, width, height, y, x, search), ascending ? 2 : 3))
            << "at row " << y << ", column " << x << ", " << search << ascending;
      for (int mode = 0; mode < 4; ++mode) {
        const int direction = start_direction[mode][ascending];
        const int index = mode < 2 ? y : x;
        const auto as_mode = static_cast<Find_Active_Pixel_Mode>(mode);
        ASSERT_EQ(outcome([&] { return find_next_shape(bitmap, index, as_mode, ascending); }),
                  expected(search_line(p, width, height, index, mode), direction))
            << "line " << index << ", mode " << mode << ", " << ascending;
        ASSERT_EQ(outcome([&] { return find_next_shape(bitmap, as_mode, ascending); }),
                  expected(search_image(p, width, height, mode), direction))
            << "mode " << mode << ", " << ascending;
      }
    }
  }
  EXPECT_GT(endless, 100) << "the scenes should hold endless walks";
  EXPECT_GT(shapes, 1000) << "the scenes should hold long outlines";
}

TEST(Tracing, OutlinesOfSmallShapes) {
  const struct {
    std::vector<std::string> rows;
    bool ascending;
    const char* shape;
  } cases[] = {
      {{"...", ".#.", "..."}, true, " from 1 1 x 1 1 y 1 1 cw 0"},
      {{"##", "##"}, false, "3175 from 0 0 x 0 1 y 0 1 ccw 1"},
      {{"##", "##"}, true, "1357 from 0 0 x 0 1 y 0 1 cw -1"},
      {{".##."}, false, "37 from 1 0 x 1 2 y 0 0 ccw 0"},
      {{"####"}, true, "333777 from 0 0 x 0 3 y 0 0 cw 0"},
  };
  for (const auto& c : cases) {
    const Picture p = Picture::text(c.rows);
    const Shape shape = find_next_shape(p.data(), static_cast<unsigned>(p.width()), static_cast<unsigned>(p.stride()),
                                        static_cast<unsigned>(p.height()), 0, 0, true, c.ascending);
    EXPECT_EQ(describe(shape), c.shape) << testing::PrintToString(p);
  }
  Picture eight = Picture::text({".#.", "#.#", ".#.", "#.#", ".#."});
  EXPECT_EQ(codes(find_next_shape(eight.bitmap(), 2, 1, false, false)), "64202064") << "through the start, both loops";
}

TEST(Tracing, LongOutlinesCloseOnTheirStart) {
  // A comb, whose outline has many more codes than the image has rows and columns.
  const int width = 301, height = 199;
  Picture p(width, width, height);
  for (int y = 0; y < height; ++y)
    for (int x = 0; x < width; ++x) p(x, y) = y == height - 1 || x % 2 == 0 ? 1 : 0;
  Shape shape = find_next_shape(p.bitmap(), 0, 0, true, false);
  EXPECT_GT(shape.size(), 50000u);
  int x = shape.start_point().x, y = shape.start_point().y;
  for (std::uint64_t i = 0; i < shape.size(); ++i) {
    const int c = shape.chain_code()[i];
    x += c >= 2 && c <= 4 ? 1 : c == 0 || c >= 6 ? -1 : 0;
    y += c <= 2 ? 1 : c >= 4 && c <= 6 ? -1 : 0;
    ASSERT_NE(p(x, y), 0);
  }
  EXPECT_EQ(x, shape.start_point().x);
  EXPECT_EQ(y, shape.start_point().y);
}

TEST(Tracing, SearchesPassOverWhatTheirSchemesLeaveOut) {
  Picture last_row = Picture::text({".....", ".....", "#####"});
  EXPECT_TRUE(find_next_shape(last_row.bitmap(), from_left, false).empty());
  EXPECT_TRUE(find_next_shape(last_row.bitmap(), from_right, false).empty());
  EXPECT_FALSE(find_next_shape(last_row.bitmap(), 2, from_right, false).empty());

  Picture last_column = Picture::text({"..#", "..#", "..#"});
  EXPECT_TRUE(find_next_shape(last_column.bitmap(), from_top, false).empty());

  Picture wide(40, 40, 1);
  wide(32, 0) = 255;
  EXPECT_TRUE(find_next_shape(wide.bitmap(), from_right, false).empty());
  EXPECT_EQ(find_next_shape(wide.bitmap(), 0, from_right, false).start_point().x, 32);

  // The columns of one line are scanned against their names, those of the whole image are not.
  Picture column = Picture::text({"...", ".#.", "...", ".#.", "..."});
  EXPECT_EQ(find_next_shape(column.bitmap(), 1, from_bottom, false).start_point().y, 1);
  EXPECT_EQ(find_next_shape(column.bitmap(), 1, from_top, false).start_point().y, 3);
  EXPECT_EQ(find_next_shape(column.bitmap(), from_bottom, false).start_point().y, 1) << "3 rows as it is 3 wide";
}

TEST(Tracing, UnknownModesThrowOnlyAfterAHit) {
  const auto unknown = static_cast<Find_Active_Pixel_Mode>(4);
  Picture set = Picture::text({".#", ".."}), unset(2, 2, 2);
  EXPECT_TRUE(find_next_shape(unset.bitmap(), unknown, true).empty());
  EXPECT_TRUE(find_next_shape(set.bitmap(), 0, unknown, true).empty());
  EXPECT_EQ(outcome([&] { return find_next_shape(set.bitmap(), unknown, true); }), "unknown mode");
  EXPECT_THROW(find_next_shape(set.bitmap(), unknown, false), std::invalid_argument);
}

TEST(Tracing, EndlessWalksEndWithALengthError) {
  const Picture p = Picture::text({"##", "#."});
  EXPECT_THROW(find_next_shape(p.data(), 2, 2, 2, 0, from_bottom, true), std::length_error);
}

TEST(Tracing, WhatLiesOutsideTheImageIsNotFound) {
  Picture p(5, 8, 3, 255);
  for (const auto mode : {from_left, from_right, from_bottom, from_top, static_cast<Find_Active_Pixel_Mode>(9)}) {
    EXPECT_TRUE(find_next_shape(nullptr, 0, 0, 0, mode, true).empty());
    EXPECT_TRUE(find_next_shape(p.data(), 5, 8, 0, 0, mode, true).empty());
    EXPECT_TRUE(find_next_shape(zeb::Bitmap_<unsigned char>(p.data(), -5, 8, 3, {}), mode, false).empty());
    EXPECT_TRUE(find_next_shape(p.bitmap(), 100, mode, true).empty());
    EXPECT_TRUE(find_next_shape(p.bitmap(), -1, mode, true).empty());
  }
  for (const bool search : {false, true}) {
    EXPECT_TRUE(find_next_shape(p.bitmap(), 3, 0, search, true).empty());
    EXPECT_TRUE(find_next_shape(p.bitmap(), -1, 0, search, true).empty());
    EXPECT_TRUE(find_next_shape(p.bitmap(), 2, -1, search, true).empty());
  }
  EXPECT_EQ(find_next_shape(p.bitmap(), 1, 100, true, false).start_point().y, 2) << "the rest of no row is empty";
}

}  // namespace
