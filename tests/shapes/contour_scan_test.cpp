#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <cstring>
#include <map>
#include <set>
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

using Pixel = std::pair<int, int>;

struct Border {
  int parent;
  bool is_outer;
  Pixel start;
  std::set<Pixel> pixels;
};

/// The borders by their definition. Components, foreground connected by eight neighbours and ground by four, are
/// numbered by their first pixels. Each but the ground around has a border with the component that lies around it, left
/// of its first pixel and numbered before it: those pixels of the one in the foreground that have a side in common with
/// the other.
std::vector<Border> borders_of(const Picture& p) {
  const auto is_set = [&](int x, int y) {
    return x >= 0 && y >= 0 && x < p.width() && y < p.height() && p(x, y) % 2 != 0;
  };
  std::map<Pixel, int> numbers;
  std::vector<Border> borders;
  int count = 0;
  for_each_pixel(p.width() + 2, p.height() + 2, [&](int framed_x, int framed_y) {
    const int x = framed_x - 1, y = framed_y - 1;
    if (numbers.count({x, y}) != 0) return;
    const bool foreground = is_set(x, y);
    std::vector<Pixel> open{{x, y}};
    while (!open.empty()) {
      const auto [i, j] = open.back();
      open.pop_back();
      if (i < -1 || j < -1 || i > p.width() || j > p.height()) continue;
      if (is_set(i, j) != foreground || !numbers.insert({{i, j}, count}).second) continue;
      for (int c = foreground ? 0 : 1; c < 8; c += foreground ? 1 : 2) open.emplace_back(i + dx[c], j + dy[c]);
    }
    if (count++ > 0) borders.push_back({numbers[{x - 1, y}] - 1, foreground, {foreground ? x : x - 1, y}, {}});
  });
  for_each_pixel(p.width(), p.height(), [&](int x, int y) {
    for (int c = 1; c < 8 && is_set(x, y); c += 2) {
      if (is_set(x + dx[c], y + dy[c])) continue;
      const int inner = std::max(numbers[{x, y}], numbers[{x + dx[c], y + dy[c]}]);
      borders.at(static_cast<std::size_t>(inner) - 1).pixels.insert({x, y});
    }
  });
  return borders;
}

Result scan(Picture p, ScanSuzukiMode mode, Point_<int> offset = {0, 0}) {
  Result result;
  find_contours(result.hierarchy, result.contours, p.bitmap(), mode, offset);
  return result;
}

TEST(ContourScan, WalksAroundEachBorderOnce) {
  std::mt19937 engine(1);
  for (int i = 0; i < 600; ++i) {
    const int width = pick(engine, 1, 61), height = pick(engine, 1, 30);
    Picture p = random_scene(engine, width, width + pick(engine, 0, 20), height);
    for (int n = pick(engine, 0, 1) * 20; n > 0; --n)  // even greys and odd ones
      p(pick(engine, 0, width - 1), pick(engine, 0, height - 1)) = static_cast<unsigned char>(engine());
    SCOPED_TRACE(::testing::PrintToString(p));
    const Result result = scan(p, ScanSuzukiMode::all_borders);
    const std::vector<Border> borders = borders_of(p);
    ASSERT_EQ(result.contours.size(), borders.size());
    ASSERT_EQ(result.hierarchy.size(), borders.size());
    for (std::size_t b = 0; b < borders.size(); ++b) {
      ASSERT_EQ(result.hierarchy[b], borders[b].parent) << b;
      const auto& [xs, ys] = std::tie(result.contours[b].x, result.contours[b].y);
      std::set<Pixel> pixels;
      int area = 0;
      for (std::size_t k = 0; k < xs.size(); ++k) {
        const std::size_t next = (k + 1) % xs.size();
        pixels.emplace(xs[k], ys[k]);
        ASSERT_TRUE(std::abs(xs[next] - xs[k]) <= 1 && std::abs(ys[next] - ys[k]) <= 1) << b << ", step " << k;
        area += xs[k] * ys[next] - xs[next] * ys[k];
      }
      ASSERT_EQ(pixels, borders[b].pixels) << b;
      ASSERT_EQ(Pixel(xs[0], ys[0]), borders[b].start) << b;
      ASSERT_TRUE(borders[b].is_outer ? area <= 0 : area >= 0) << b;
    }
    // Columns behind the last whole 64, the frame's included, are looked at one by one.
    if (width > 60) continue;
    Picture wide(127 + width, 127 + width, height);
    for_each_pixel(width, height, [&](int x, int y) { wide(127 + x, y) = p(x, y); });
    ASSERT_EQ(scan(wide, ScanSuzukiMode::all_borders, {-127, 0}).text(), result.text());
  }
}

TEST(ContourScan, NestedBordersAndWhatEachModeKeeps) {
  Picture p = Picture::text({"#####", "#...#", "#.#.#", "#...#", "#####"});
  // Anticlockwise on a screen, from the top left; the hole's border runs on the ring's pixels, without its corners.
  const std::string frame =
      "\n(10,20)(10,21)(10,22)(10,23)(10,24)(11,24)(12,24)(13,24)(14,24)(14,23)(14,22)(14,21)"
      "(14,20)(13,20)(12,20)(11,20)";
  const std::string hole = "\n(10,21)(11,20)(12,20)(13,20)(14,21)(14,22)(14,23)(13,24)(12,24)(11,24)(10,23)(10,22)";
  const std::string inner = "\n(12,22)";
  const auto text = [&p](int mode) {
    Result result{{9, 9}, std::vector<zeb::PointContainer<int>>(3)}, alone;
    find_contours(result.hierarchy, result.contours, p.bitmap(), static_cast<ScanSuzukiMode>(mode), {10, 20});
    find_contours(alone.contours, p.bitmap(), static_cast<ScanSuzukiMode>(mode), {10, 20});
    EXPECT_EQ(alone.text(), Result({{}, result.contours}).text());
    return result.text();
  };
  EXPECT_EQ(text(0), "{ -1 }" + frame);
  EXPECT_EQ(text(1), "{ 9, 9, -1, 1 }" + frame + inner) << "appended, numbered as before the holes were dropped";
  EXPECT_EQ(text(2), "{ -1, 0, 1 }" + frame + hole + inner);
  EXPECT_EQ(text(3), "{ 9, 9 }" + frame + hole + inner);
  EXPECT_EQ(scan(Picture::text({".###"}), ScanSuzukiMode::all_borders).text(), "{ -1 }\n(1,0)(2,0)(3,0)(2,0)");
}

TEST(ContourScan, AppendsAndLeavesTheBorderNumbersInTheImage) {
  short pixels[5][5] = {{}, {0, 1, 1, 1}, {0, 1, 0, 1}, {0, 1, 1, 1}};
  const short marked[5][5] = {{}, {0, 2, 2, -2}, {0, -3, 0, -2}, {0, 2, 2, -2}};
  zeb::Bitmap_<short> image(pixels[0], 5, 5, 5, {});
  Result found{{}, std::vector<zeb::PointContainer<int>>(1)};
  zeb::detail::scan_suzuki(image, ScanSuzukiMode::all_borders, found.contours, {7, 9}, nullptr);
  EXPECT_EQ(found.text(), "{}\n\n(8,10)(8,11)(8,12)(9,12)(10,12)(10,11)(10,10)(9,10)\n(8,11)(9,10)(10,11)(9,12)");
  EXPECT_EQ(std::memcmp(pixels, marked, sizeof pixels), 0);
  // A second scan means nothing, but does no harm.
  zeb::detail::scan_suzuki(image, ScanSuzukiMode::all_borders, found.contours, {0, 0}, nullptr);
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

  // Dots in 200 framed columns. The steps of 64 begin anew behind each one met, so that those in the columns 16 and 84
  // are just missed, and the one in column 195 is stepped over in the first row and met in the last.
  Picture dots(198, 198, 3);
  for (const int column : {7, 16, 75, 84, 147, 195}) dots(column - 1, 0) = 1;
  dots(194, 2) = 1;
  EXPECT_EQ(scan(dots, ScanSuzukiMode::all_borders).text(), "{ -1, -1, -1, -1 }\n(6,0)\n(74,0)\n(146,0)\n(194,2)");
}

/// A frame with two holes, the upper one with `isolated` single pixels in it: borders 2, 3 and 4 to `isolated` + 3.
/// Then follow the lower hole and a line in it, whose left end has a tail downward.
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
  const std::pair<int, std::vector<int>> rows[] = {
      // The line's marks are -32768, whatever their sign should be.
      {32763, {0, 32765}},
      // The line's marks of -32769 are 32767. So its right end and its tail look like borders of holes of that number,
      // then of the numbers that the walks from there wrap to, 32766 and 32765.
      {32764, {0, 32766, 32765, 32764, 32763}},
      // The lower hole's marks are 0: the frame's left side is gone, and its right side was seen last before the line.
      {65532, {0, -1}}};
  for (const auto& [isolated, last_parents] : rows) {
    std::vector<int> parents(static_cast<std::size_t>(isolated) + 2, 1);
    parents[0] = -1;
    parents[1] = 0;
    parents.insert(parents.end(), last_parents.begin(), last_parents.end());
    EXPECT_TRUE(scan(many_borders(isolated), ScanSuzukiMode::all_borders).hierarchy == parents) << isolated;
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
