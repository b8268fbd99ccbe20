#include "overlay.h"

#include <algorithm>
#include <string>
#include <utility>

#include "png_file.h"
#include "zeb/drawing.h"

namespace example {
namespace {

constexpr int readable_width = 1000;

zeb::Image<unsigned char> enlarge(const zeb::Mat<unsigned char>& image, int zoom) {
  zeb::Image<unsigned char> large(zoom * image.width, 64, zoom * image.height, {});
  for (int y = 0; y < large.height; ++y)
    for (int x = 0; x < large.width; ++x) large.at(y, x) = image.at(y / zoom, x / zoom);
  return large;
}

/// Digits as strokes on a grid of 2 by 4 cells: pairs of x, y, one pair of points a stroke.
struct Stroke {
  int x1, y1, x2, y2;
};
constexpr Stroke strokes[] = {{0, 0, 2, 0}, {2, 0, 2, 2}, {2, 2, 2, 4}, {0, 4, 2, 4},
                              {0, 2, 0, 4}, {0, 0, 0, 2}, {0, 2, 2, 2}};
// Bit i stands for stroke i: the seven segments from the top clockwise, the middle one last.
constexpr unsigned strokes_of_digit[] = {0x3F, 0x06, 0x5B, 0x4F, 0x66, 0x6D, 0x7D, 0x07, 0x7F, 0x6F};

}  // namespace

Overlay::Overlay(const zeb::Mat<unsigned char>& background)
    : zoom_(std::max(1, readable_width / std::max(background.width, 1))),
      red_(enlarge(background, zoom_)),
      green_(enlarge(background, zoom_)),
      blue_(enlarge(background, zoom_)) {}

zeb::Point_<int> Overlay::enlarged(zeb::Point_<int> pixel) const {
  return {zoom_ * pixel.x + zoom_ / 2, zoom_ * pixel.y + zoom_ / 2};
}

void Overlay::line(zeb::Point_<int> from, zeb::Point_<int> to, Colour colour, int radius) {
  zeb::draw_line(red_, from, to, colour.red, radius);
  zeb::draw_line(green_, from, to, colour.green, radius);
  zeb::draw_line(blue_, from, to, colour.blue, radius);
}

void Overlay::outline(const std::vector<zeb::Point_<int>>& pixels, Colour colour) {
  for (std::size_t i = 0; i < pixels.size(); ++i)
    line(enlarged(pixels[i]), enlarged(pixels[(i + 1) % pixels.size()]), colour, zoom_ > 1 ? 1 : 0);
}

void Overlay::number(int value, const zeb::Rect__<zeb::Point_<int>>& area, Colour colour) {
  const std::string digits = std::to_string(value);
  constexpr int cell = 5, advance = 4 * cell, height = 4 * cell;
  const int width = static_cast<int>(digits.size()) * advance - 2 * cell;
  const zeb::Point_<int> first = enlarged(area.top_left), last = enlarged(area.bottom_right);
  if (last.x - first.x < width || last.y - first.y < height) return;
  const zeb::Point_<int> corner{(first.x + last.x - width) / 2, (first.y + last.y - height) / 2};
  // A dark rim first keeps the strokes apart from a bright background.
  for (const auto& [shade, radius] : {std::pair{Colour{0, 0, 0}, 3}, {colour, 1}}) {
    int x = corner.x;
    for (const char digit : digits) {
      for (unsigned i = 0; i < 7; ++i) {
        const Stroke& s = strokes[i];
        if ((strokes_of_digit[digit - '0'] >> i & 1) == 0) continue;
        // Lines leave out their end point, so each stroke is drawn from both ends.
        const zeb::Point_<int> a{x + cell * s.x1, corner.y + cell * s.y1}, b{x + cell * s.x2, corner.y + cell * s.y2};
        line(a, b, shade, radius);
        line(b, a, shade, radius);
      }
      x += advance;
    }
  }
}

void Overlay::write(const std::string& path) const { write_png(path, red_, green_, blue_); }

}  // namespace example
