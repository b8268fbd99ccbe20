#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <limits>
#include <set>
#include <string>
#include <tuple>
#include <vector>

#include "tests/shapes/scene.h"
#include "tests/support/allocation.h"
#include "zeb/shapes.h"

using zeb::find_contours;
using zeb::Point_;
using zeb::ScanSuzukiMode;
using zeb::testing::pick;
using zeb::testing::Picture;
using zeb::testing::random_scene;

using Contours = std::vector<zeb::PointContainer<int>>;

namespace {

constexpr ScanSuzukiMode modes[] = {ScanSuzukiMode::external_only, ScanSuzukiMode::outer_borders,
                                    ScanSuzukiMode::all_borders, static_cast<ScanSuzukiMode>(3)};

std::string describe(const Contours& contours) {
  std::string text;
  for (const auto& contour : contours) {
    for (std::size_t i = 0; i < contour.size(); ++i)
      text += '(' + std::to_string(contour.x[i]) + ',' + std::to_string(contour.y[i]) + ')';
    text += '\n';
  }
  return text;
}

// ---- the rules, plainly ---------------------------------------------------------------------------------------------

/// The scan step by step on an image of `short`. An endless walk sets `endless` and ends everything.
struct PlainScan {
  explicit PlainScan(const zeb::Bitmap_<short>& prepared)
      : image(prepared.begin(), prepared.end()),
        width(prepared.width),
        stride(prepared.stride),
        height(prepared.height) {}

  std::vector<short> image;
  int width, stride, height;
  std::vector<int> parents{0, 0};
  std::vector<bool> is_outer{false, false};
  int last_border = 1, border_count = 1;
  Contours contours;
  bool endless = false;

  static constexpr int dx[] = {-1, 0, 1, 1, 1, 0, -1, -1}, dy[] = {1, 1, 1, 0, -1, -1, -1, 0};

  short& at(int x, int y) {
    return image.at(static_cast<std::size_t>(y) * static_cast<std::size_t>(stride) + static_cast<std::size_t>(x));
  }

  bool next(int& x, int& y) {
    const int limit = width / 64 * 64;
    for (int c = x; y < height; ++y, c = 0) {
      while (c < limit) {
        for (int i = c; i <= c + 7 && i < width; ++i)
          if (at(i, y) != 0) return x = i, true;
        c += 64;
      }
      for (; c < width; ++c)
        if (at(c, y) != 0) return x = c, true;
    }
    return false;
  }

  void run(Point_<int> offset) {
    int x = 0, y = 0;
    while (!endless && next(x, y)) {
      process(x, y, offset);
      ++x;
    }
  }

  int parent_entry(int i) const { return parents.at(static_cast<std::size_t>(i)); }

  void process(int x, int y, Point_<int> offset) {
    const int f = at(x, y);
    int neighbour = 7;
    if (f == 1 && at(x - 1, y) == 0) {
      border_count += 1;
      is_outer.push_back(true);
      parents.push_back(is_outer.at(static_cast<std::size_t>(last_border)) ? parent_entry(last_border) : last_border);
    } else if (f < 1) {
      last_border = std::abs(f);
      return;
    } else if (at(x + 1, y) != 0) {
      if (f != 1) last_border = std::abs(f);
      return;
    } else {
      border_count += 1;
      is_outer.push_back(false);
      if (f > 1) last_border = f;
      parents.push_back(is_outer.at(static_cast<std::size_t>(last_border)) ? last_border : parent_entry(last_border));
      neighbour = 3;
    }
    contours.emplace_back();
    int c1 = -1;
    for (int k = 0; k < 8 && c1 < 0; ++k) {
      const int c = (neighbour - k) & 7;
      if (at(x + dx[c], y + dy[c]) != 0) c1 = c;
    }
    if (c1 < 0) {
      contours.back().add(x + offset.x, y + offset.y);
      at(x, y) = static_cast<short>(-border_count);
      last_border = border_count;
      return;
    }
    const int back = (c1 + 4) & 7;
    const int first_step = search(x, y, back, nullptr);
    std::set<std::tuple<int, int, int>> states;
    int px = x, py = y, direction = back;
    for (bool again = true; again;) {
      contours.back().add(px + offset.x, py + offset.y);
      bool right_seen = false;
      const int left_x = px, left_y = py;
      const int c = search(px, py, direction, &right_seen);
      if (c >= 0) {
        px += dx[c];
        py += dy[c];
        direction = c;
        again = px != x || py != y || search(px, py, direction, nullptr) != first_step;
      } else {
        again = false;
      }
      short& mark = at(left_x, left_y);
      const short before = mark;
      if (right_seen && at(left_x + 1, left_y) == 0)
        mark = static_cast<short>(-border_count);
      else if (mark == 1)
        mark = static_cast<short>(border_count);
      if (mark != before) states.clear();
      if (again && !states.emplace(px, py, direction).second) {
        endless = true;
        return;
      }
    }
    if (at(x, y) != 1) last_border = std::abs(int{at(x, y)});
  }

  int search(int x, int y, int direction, bool* right_seen) {
    for (int j = 0; j < 8; ++j) {
      const int c = (direction - 3 + j) & 7;
      if (c == 3 && right_seen != nullptr) *right_seen = true;
      if (at(x + dx[c], y + dy[c]) != 0) return c;
    }
    return -1;
  }

  /// What a mode makes of it, with the contours found before.
  void finish(ScanSuzukiMode mode, Contours& out, std::vector<int>& hierarchy) const {
    Contours all = out, kept;
    all.insert(all.end(), contours.begin(), contours.end());
    std::vector<int> tree;
    for (std::size_t i = 2; i < parents.size(); ++i) tree.push_back(parents[i] - 2);
    for (std::size_t i = 0; i < tree.size(); ++i) {
      if (mode == ScanSuzukiMode::outer_borders && is_outer[i + 2]) {
        kept.push_back(all[i]);
        hierarchy.push_back(tree[i]);
      }
      if (mode == ScanSuzukiMode::external_only && tree[i] == -1) kept.push_back(all[i]);
    }
    const bool filters = mode == ScanSuzukiMode::outer_borders || mode == ScanSuzukiMode::external_only;
    out = filters ? kept : all;
    if (mode == ScanSuzukiMode::external_only) hierarchy.assign(out.size(), -1);
    if (mode == ScanSuzukiMode::all_borders) hierarchy = tree;
  }
};

zeb::Image<short> prepared(const Picture& p) {
  zeb::Image<short> image(p.width() + 2, 16, p.height() + 2, {});
  std::fill(image.begin(), image.end(), short{0});
  for (int y = 0; y < p.height(); ++y)
    for (int x = 0; x < p.width(); ++x) image.at(y + 1, x + 1) = p(x, y) & 1;
  return image;
}

// ---- tests ----------------------------------------------------------------------------------------------------------

struct Result {
  std::vector<int> hierarchy;
  Contours contours;
};

Result scan(Picture p, ScanSuzukiMode mode, Point_<int> offset = {0, 0}) {
  Result result;
  find_contours(result.hierarchy, result.contours, p.bitmap(), mode, offset);
  return result;
}

TEST(ContourScan, NestedBordersAndWhatEachModeKeeps) {
  const Picture p = Picture::text({
      "#######",
      "#.....#",
      "#.##..#",
      "#.##..#",
      "#.....#",
      "#######",
  });
  const Result all = scan(p, ScanSuzukiMode::all_borders, {10, 20});
  EXPECT_EQ(all.hierarchy, (std::vector<int>{-1, 0, 1}));
  ASSERT_EQ(all.contours.size(), 3u);
  // Anticlockwise on a screen, from the top left.
  EXPECT_EQ(all.contours[0].size(), 22u);
  EXPECT_EQ(describe(Contours{all.contours[2]}), "(12,22)(12,23)(13,23)(13,22)\n");
  // The hole's border runs on the ring's pixels, without its corners.
  EXPECT_EQ(describe(Contours{all.contours[1]}),
            "(10,21)(11,20)(12,20)(13,20)(14,20)(15,20)(16,21)(16,22)(16,23)(16,24)(15,25)(14,25)(13,25)(12,25)(11,25)"
            "(10,24)(10,23)(10,22)\n");

  const Result outer = scan(p, ScanSuzukiMode::outer_borders, {10, 20});
  EXPECT_EQ(describe(outer.contours), describe({all.contours[0], all.contours[2]}));
  EXPECT_EQ(outer.hierarchy, (std::vector<int>{-1, 1})) << "numbered as before the holes were dropped";
  const Result external = scan(p, ScanSuzukiMode::external_only, {10, 20});
  EXPECT_EQ(describe(external.contours), describe({all.contours[0]}));
  EXPECT_EQ(external.hierarchy, (std::vector<int>{-1}));
}

TEST(ContourScan, SmallImages) {
  EXPECT_EQ(describe(scan(Picture::grey({{254, 2, 0}}), ScanSuzukiMode::all_borders).contours), "");
  EXPECT_EQ(describe(scan(Picture::grey({{0, 3, 0}}), ScanSuzukiMode::all_borders, {5, 7}).contours), "(6,7)\n");
  EXPECT_EQ(describe(scan(Picture::text({".###"}), ScanSuzukiMode::all_borders).contours), "(1,0)(2,0)(3,0)(2,0)\n");
  for (const auto& [width, height] : {std::pair{0, 3}, {3, 0}, {-4, 5}, {5, -4}, {-1, -1}}) {
    Result result{{7}, Contours(2)};
    find_contours(result.hierarchy, result.contours, {nullptr, width, 0, height, {}}, ScanSuzukiMode::all_borders,
                  {0, 0});
    EXPECT_TRUE(result.contours.empty() && result.hierarchy.empty());
  }
}

TEST(ContourScan, WideImagesAreSteppedOver) {
  Picture p(100, 100, 5);
  for (int x = 20; x <= 30; ++x) p(x, 2) = 255;
  EXPECT_TRUE(scan(p, ScanSuzukiMode::all_borders).contours.empty());
  // Met inside at column 64 of the framed image; then the right end looks like the border of a hole.
  for (int x = 20; x <= 66; ++x) p(x, 2) = 255;
  const Result result = scan(p, ScanSuzukiMode::all_borders);
  ASSERT_EQ(result.contours.size(), 1u);
  EXPECT_EQ(result.contours[0].x[0], 66);
  EXPECT_EQ(result.contours[0].size(), 2u * 46u);
}

TEST(ContourScan, FollowsTheRulesOnAnyImage) {
  std::mt19937 engine(1);
  for (int i = 0; i < 3000; ++i) {
    const int widths[] = {1, 61, 62, 63, 126, 127, 190, pick(engine, 1, 60), pick(engine, 1, 60), pick(engine, 1, 260)};
    const int width = widths[pick(engine, 0, 9)], height = pick(engine, 1, 30);
    Picture p = random_scene(engine, width, width + pick(engine, 0, 20), height);
    for (int n = pick(engine, 0, 1) * 20; n > 0; --n)  // even greys and odd ones
      p(pick(engine, 0, width - 1), pick(engine, 0, height - 1)) = static_cast<unsigned char>(engine());
    const ScanSuzukiMode mode = modes[pick(engine, 0, 3)];
    const Point_<int> offset{pick(engine, -50, 50), pick(engine, -50, 50)};

    auto image = prepared(p);
    PlainScan plain(image);
    plain.run({offset.x - 1, offset.y - 1});
    const Result before{{9, 9}, Contours(3)};
    Result expected{before.hierarchy, {}}, actual = before;
    plain.finish(mode, expected.contours, expected.hierarchy);
    const Picture untouched = p;
    find_contours(actual.hierarchy, actual.contours, p.bitmap(), mode, offset);
    ASSERT_EQ(describe(actual.contours), describe(expected.contours)) << ::testing::PrintToString(p);
    ASSERT_EQ(actual.hierarchy, expected.hierarchy);
    ASSERT_EQ(p, untouched);
    Contours alone;
    find_contours(alone, p.bitmap(), mode, offset);
    ASSERT_EQ(describe(alone), describe(expected.contours));

    // The scan itself appends, and leaves the border numbers in the image.
    expected = actual = before;
    plain.finish(mode, expected.contours, expected.hierarchy);
    zeb::detail::scan_suzuki(image, mode, actual.contours, {offset.x - 1, offset.y - 1}, &actual.hierarchy);
    ASSERT_EQ(describe(actual.contours), describe(expected.contours));
    ASSERT_EQ(actual.hierarchy, expected.hierarchy);
    ASSERT_TRUE(std::equal(image.begin(), image.end(), plain.image.begin()));
    // A second scan means nothing, but does no harm.
    zeb::detail::scan_suzuki(image, ScanSuzukiMode::all_borders, actual.contours, {0, 0}, nullptr);
  }
}

/// A frame with two holes, the upper one with `isolated` single pixels in it: borders 2, 3 and 4 to `isolated` + 3.
/// Then follow the lower hole and a line in it, whose left end has a tail downward: a walk that erases its path is lost
/// there and leaves the rest of the line.
Picture many_borders(int isolated) {
  const int rows = 2 * ((isolated + 27) / 28) + 3;
  Picture p(60, 60, rows + 8);
  for (int x = 0; x < 60; ++x) p(x, 0) = p(x, rows) = p(x, rows + 7) = 1;
  for (int y = 0; y < p.height(); ++y) p(0, y) = p(59, y) = 1;
  for (int i = 0; i < isolated; ++i) p(2 + i % 28 * 2, 2 + i / 28 * 2) = 1;
  for (int x = 10; x < 30; ++x) p(x, rows + 2) = 1;
  p(10, rows + 3) = p(10, rows + 4) = 1;
  return p;
}

TEST(ContourScan, BorderNumbersWrapAroundIn16Bits) {
  for (const int isolated : {32762, 32763, 32764, 32765, 32766, 65529, 65530, 65531, 65532, 65533, 65534}) {
    SCOPED_TRACE(isolated);
    Picture p = many_borders(isolated);
    PlainScan plain(prepared(p));
    plain.run({-1, -1});
    Result expected, actual;
    plain.finish(ScanSuzukiMode::all_borders, expected.contours, expected.hierarchy);
    ASSERT_FALSE(plain.endless) << "a mark of 0 erases pixels, the one to come back to as well";
    actual = scan(p, ScanSuzukiMode::all_borders);
    EXPECT_TRUE(describe(actual.contours) == describe(expected.contours));
    EXPECT_TRUE(actual.hierarchy == expected.hierarchy);
  }
}

TEST(ContourScan, ShortMemoryAndForegroundInTheFrame) {
  Picture p = Picture::text({"##"});
  Contours contours;
  zeb::testing::FailingAllocations failing(0);
  try {
    find_contours(contours, p.bitmap(), ScanSuzukiMode::all_borders, {0, 0});
    FAIL();
  } catch (const std::bad_alloc& error) {
    EXPECT_STREQ(error.what(), "bad allocation");
  }
  constexpr int most = std::numeric_limits<int>::max();
  for (const auto& [width, height] : {std::pair{most, 1}, {1, most}, {most - 1, 1}})
    EXPECT_THROW(find_contours(contours, {p.data(), width, 1, height, {}}, ScanSuzukiMode::all_borders, {0, 0}),
                 std::bad_alloc);
  std::vector<short> unframed(25, 1);
  zeb::Bitmap_<short> image(unframed.data(), 5, 5, 5, {});
  EXPECT_DEATH(zeb::detail::scan_suzuki(image, ScanSuzukiMode::all_borders, contours, {0, 0}, nullptr), "");
  // From the frame the walk gets into the image, but not back.
  unframed.assign(25, 0);
  image.at(0, 1) = image.at(1, 2) = image.at(2, 3) = 1;
  EXPECT_THROW(zeb::detail::scan_suzuki(image, ScanSuzukiMode::all_borders, contours, {0, 0}, nullptr),
               std::length_error);
}

TEST(ContourScan, Center) {
  zeb::PointContainer<int> contour;
  EXPECT_TRUE(std::isnan(zeb::center(contour).x) && std::isnan(zeb::center(contour).y));
  contour.add(1, -2);
  contour.add(2, -3);
  contour.add(2, -3);
  EXPECT_EQ(zeb::center(contour).x, 5.0f / 3.0f);
  EXPECT_EQ(zeb::center(contour).y, -8.0f / 3.0f);
}

}  // namespace
