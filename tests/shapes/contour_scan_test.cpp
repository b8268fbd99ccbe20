#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <stdexcept>

#include "tests/shapes/scene.h"

using zeb::find_contours;
using zeb::Point_;
using zeb::ScanSuzukiMode;
using namespace zeb::testing;

namespace {

struct Result {
  std::vector<int> hierarchy;
  std::vector<zeb::PointContainer<int>> contours;

  /// A line for each contour, behind the hierarchy.
  std::string text() const {
    std::string text = ::testing::PrintToString(hierarchy);
    for (const auto& contour : contours) {
      text += '\n';
      for (std::size_t i = 0; i < contour.size(); ++i)
        text += '(' + std::to_string(contour.x[i]) + ',' + std::to_string(contour.y[i]) + ')';
    }
    return text;
  }
};

// ---- the rules, plainly ---------------------------------------------------------------------------------------------

/// The scan step by step on an image of `short`.
struct PlainScan {
  std::vector<short> image;
  int width, stride, height;
  Point_<int> offset;
  std::vector<std::size_t> parents{0, 0};
  std::vector<bool> is_outer{false, false};
  std::size_t last_border = 1;
  Result found;

  PlainScan(const zeb::Bitmap_<short>& prepared, Point_<int> offset_)
      : image(prepared.begin(), prepared.end()),
        width(prepared.width),
        stride(prepared.stride),
        height(prepared.height),
        offset(offset_) {
    for (int x = 0, y = 0; next(x, y); ++x) process(x, y);
    for (std::size_t i = 2; i < parents.size(); ++i) found.hierarchy.push_back(static_cast<int>(parents[i]) - 2);
  }

  short& at(int x, int y) { return image.at(static_cast<std::size_t>(y * stride + x)); }

  bool next(int& x, int& y) {
    for (; y < height; ++y, x = 0)
      for (int looked = 0; x < width; ++x) {
        if (at(x, y) != 0) return true;
        const bool steps_over = x - looked < width / 64 * 64;
        looked = steps_over ? (looked + 1) % 8 : 0;
        if (steps_over && looked == 0) x += 56;
      }
    return false;
  }

  void process(int x, int y) {
    const int f = at(x, y);
    const bool outer = f == 1 && at(x - 1, y) == 0;
    if (!outer && (f < 1 || at(x + 1, y) != 0)) {
      if (f != 1) last_border = static_cast<std::size_t>(std::abs(f));
      return;
    }
    if (f > 1) last_border = static_cast<std::size_t>(f);
    parents.push_back(is_outer.at(last_border) == outer ? parents.at(last_border) : last_border);
    is_outer.push_back(outer);
    found.contours.emplace_back();
    int c = outer ? 7 : 3, tries = 0;
    while (tries < 8 && at(x + dx[c], y + dy[c]) == 0) c = (c + 7) & 7, ++tries;
    if (tries < 8)
      follow(x, y, (c + 4) & 7);
    else
      add(x, y), at(x, y) = number(-1);
    if (at(x, y) != 1) last_border = tries < 8 ? static_cast<std::size_t>(std::abs(at(x, y))) : parents.size() - 1;
  }

  void add(int x, int y) { found.contours.back().add(x + offset.x, y + offset.y); }
  short number(int sign) const { return static_cast<short>(sign * static_cast<int>(parents.size() - 1)); }

  void follow(const int start_x, const int start_y, int direction) {
    const int first_step = search(start_x, start_y, direction, nullptr);
    int x = start_x, y = start_y;
    for (bool again = true; again;) {
      add(x, y);
      bool right_seen = false;
      const int left_x = x, left_y = y, c = search(x, y, direction, &right_seen);
      if (c >= 0) {
        x += dx[c];
        y += dy[c];
        direction = c;
      }
      again = c >= 0 && (x != start_x || y != start_y || search(x, y, direction, nullptr) != first_step);
      short& mark = at(left_x, left_y);
      if (right_seen && at(left_x + 1, left_y) == 0)
        mark = number(-1);
      else if (mark == 1)
        mark = number(1);
    }
  }

  int search(int x, int y, int direction, bool* right_seen) {
    for (int j = 0; j < 8; ++j) {
      const int c = (direction - 3 + j) & 7;
      if (c == 3 && right_seen != nullptr) *right_seen = true;
      if (at(x + dx[c], y + dy[c]) != 0) return c;
    }
    return -1;
  }

  /// What a mode makes of it and of what was there before.
  Result kept(ScanSuzukiMode mode, const Result& before) const {
    Result all = before, result;
    all.contours.insert(all.contours.end(), found.contours.begin(), found.contours.end());
    if (mode == ScanSuzukiMode::all_borders) all.hierarchy = found.hierarchy;
    if (mode != ScanSuzukiMode::outer_borders && mode != ScanSuzukiMode::external_only) return all;
    if (mode == ScanSuzukiMode::outer_borders) result.hierarchy = before.hierarchy;
    for (std::size_t i = 0; i < found.hierarchy.size(); ++i) {
      if (mode == ScanSuzukiMode::outer_borders ? !is_outer[i + 2] : found.hierarchy[i] != -1) continue;
      result.contours.push_back(all.contours[i]);
      result.hierarchy.push_back(found.hierarchy[i]);
    }
    return result;
  }
};

zeb::Image<short> prepared(const Picture& p) {
  zeb::Image<short> image(p.width() + 2, 16, p.height() + 2, {});
  std::fill(image.begin(), image.end(), short{0});
  for (int y = 0; y < p.height(); ++y)
    for (int x = 0; x < p.width(); ++x) image.at(y + 1, x + 1) = p(x, y) & 1;
  return image;
}

Result scan(Picture p, ScanSuzukiMode mode, Point_<int> offset = {0, 0}) {
  Result result;
  find_contours(result.hierarchy, result.contours, p.bitmap(), mode, offset);
  return result;
}

// ---- tests ----------------------------------------------------------------------------------------------------------

TEST(ContourScan, FollowsTheRulesOnAnyImage) {
  std::mt19937 engine(1);
  for (int i = 0; i < 2000; ++i) {
    const int widths[] = {1, 61, 62, 63, 126, 127, 190, pick(engine, 1, 60), pick(engine, 1, 60), pick(engine, 1, 260)};
    const int width = widths[pick(engine, 0, 9)], height = pick(engine, 1, 30);
    Picture p = random_scene(engine, width, width + pick(engine, 0, 20), height);
    for (int n = pick(engine, 0, 1) * 20; n > 0; --n)  // even greys and odd ones
      p(pick(engine, 0, width - 1), pick(engine, 0, height - 1)) = static_cast<unsigned char>(engine());
    const auto mode = static_cast<ScanSuzukiMode>(i % 4);
    const Point_<int> offset{pick(engine, -50, 50), pick(engine, -50, 50)};

    auto image = prepared(p);
    const PlainScan plain(image, {offset.x - 1, offset.y - 1});
    Result before{{9, 9}, {}}, expected = plain.kept(mode, before);
    const Picture untouched = p;
    Result actual{before.hierarchy, std::vector<zeb::PointContainer<int>>(3)}, alone;
    find_contours(actual.hierarchy, actual.contours, p.bitmap(), mode, offset);
    ASSERT_EQ(actual.text(), expected.text()) << ::testing::PrintToString(p);
    ASSERT_EQ(p, untouched);
    find_contours(alone.contours, p.bitmap(), mode, offset);
    alone.hierarchy = expected.hierarchy;
    ASSERT_EQ(alone.text(), expected.text());

    // The scan itself appends, and leaves the border numbers in the image.
    before.contours.resize(3);
    actual = before;
    zeb::detail::scan_suzuki(image, mode, actual.contours, {offset.x - 1, offset.y - 1}, &actual.hierarchy);
    ASSERT_EQ(actual.text(), plain.kept(mode, before).text());
    ASSERT_TRUE(std::equal(image.begin(), image.end(), plain.image.begin()));
    // A second scan means nothing, but does no harm.
    zeb::detail::scan_suzuki(image, ScanSuzukiMode::all_borders, actual.contours, {0, 0}, nullptr);
  }
}

TEST(ContourScan, NestedBordersAndWhatEachModeKeeps) {
  const Picture p = Picture::text({"#####", "#...#", "#.#.#", "#...#", "#####"});
  // Anticlockwise on a screen, from the top left; the hole's border runs on the ring's pixels, without its corners.
  const std::string frame =
      "\n(10,20)(10,21)(10,22)(10,23)(10,24)(11,24)(12,24)(13,24)(14,24)(14,23)(14,22)(14,21)"
      "(14,20)(13,20)(12,20)(11,20)";
  const std::string hole = "\n(10,21)(11,20)(12,20)(13,20)(14,21)(14,22)(14,23)(13,24)(12,24)(11,24)(10,23)(10,22)";
  const std::string inner = "\n(12,22)";
  EXPECT_EQ(scan(p, ScanSuzukiMode::all_borders, {10, 20}).text(), "{ -1, 0, 1 }" + frame + hole + inner);
  EXPECT_EQ(scan(p, ScanSuzukiMode::outer_borders, {10, 20}).text(), "{ -1, 1 }" + frame + inner)
      << "numbered as before the holes were dropped";
  EXPECT_EQ(scan(p, ScanSuzukiMode::external_only, {10, 20}).text(), "{ -1 }" + frame);
  EXPECT_EQ(scan(Picture::text({".###"}), ScanSuzukiMode::all_borders).text(), "{ -1 }\n(1,0)(2,0)(3,0)(2,0)");
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
  // A hole in the frame has the parent of the frame, and so is none of the borders without a parent.
  EXPECT_EQ(result.hierarchy, std::vector<int>{-2});
  EXPECT_TRUE(scan(p, ScanSuzukiMode::external_only).contours.empty());
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
  for (const int isolated : {32763, 32764, 32765, 65530, 65531, 65532, 65533}) {
    const Picture p = many_borders(isolated);
    const PlainScan plain(prepared(p), {-1, -1});
    EXPECT_TRUE(scan(p, ScanSuzukiMode::all_borders).text() == plain.found.text()) << isolated;
  }
}

TEST(ContourScan, ForegroundInTheFrameEndsWithALengthError) {
  // From the frame the walk gets into the image, but not back.
  std::vector<zeb::PointContainer<int>> contours;
  std::vector<short> unframed(25);
  zeb::Bitmap_<short> image(unframed.data(), 5, 5, 5, {});
  image.at(0, 1) = image.at(1, 2) = image.at(2, 3) = 1;
  EXPECT_THROW(zeb::detail::scan_suzuki(image, ScanSuzukiMode::all_borders, contours, {0, 0}, nullptr),
               std::length_error);
}

TEST(ContourScan, WalksKeepOutOfTheLowerFrameOnceStarted) {
  // A pixel above one in the frame: the walk begins because of that one, but does not step onto it. The walk from the
  // frame gets out of it and not back.
  Result found;
  std::vector<short> framed(25);
  zeb::Bitmap_<short> image(framed.data(), 5, 5, 5, {});
  image.at(3, 2) = image.at(4, 2) = 1;
  zeb::detail::scan_suzuki(image, ScanSuzukiMode::all_borders, found.contours, {0, 0}, &found.hierarchy);
  EXPECT_EQ(found.text(), "{ -1, -1 }\n(2,3)\n(2,4)(2,3)");
  EXPECT_TRUE(image.at(3, 2) == -3 && image.at(4, 2) == -3);
}

TEST(Center, IsTheMean) {
  zeb::PointContainer<int> contour;
  EXPECT_TRUE(std::isnan(zeb::center(contour).x) && std::isnan(zeb::center(contour).y));
  contour.add(1, -2);
  contour.add(2, -3);
  contour.add(2, -3);
  EXPECT_EQ(zeb::center(contour).x, 5.0f / 3.0f);
  EXPECT_EQ(zeb::center(contour).y, -8.0f / 3.0f);
}

}  // namespace
