#include "measure_parts.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <stdexcept>
#include <string>
#include <utility>

namespace example {
namespace {

using Pixels = zeb::Image<unsigned char>;

Pixels like(const zeb::Bitmap_<unsigned char>& image) {
  Pixels other(image.width, image.stride, image.height, {image.pixel_size_x, image.pixel_size_y});
  zeb::clear(other);
  return other;
}

int in_pixels(float micrometres, const MeasuringOptions& options) {
  return static_cast<int>(std::lround(std::min(micrometres / options.pixel_size, 1e6f)));
}

/// The difference from the local mean, around a middle grey: parts stand out equally on bright and dark ground.
Pixels even_out(const zeb::Bitmap_<unsigned char>& photograph, const MeasuringOptions& options) {
  const int automatic = std::min(photograph.width, photograph.height) / 3;
  const int window = options.background > 0 ? in_pixels(options.background, options) : automatic;
  Pixels even = like(photograph);
  zeb::hp_filter(even, photograph, window | 1, window | 1, 128);
  if (options.dark) zeb::sub(even, 255, even);
  return even;
}

int choose_threshold(const zeb::Bitmap_<unsigned char>& image) {
  const std::vector<float> histogram = zeb::histogram(image);
  if (std::count_if(histogram.begin(), histogram.end(), [](float weight) { return weight > 0; }) < 2)
    throw std::runtime_error("the image has a single grey value, so nothing can be told apart; check the exposure");
  return static_cast<int>(zeb::otsu(histogram)) + 1;
}

/// Bridges cracks in the parts, fills what they enclose, and takes away what is thinner than a disk of twice `radius`.
void clean(zeb::Bitmap_<unsigned char>& cleaned, const zeb::Bitmap_<unsigned char>& mask, int radius) {
  Pixels bridged = like(mask), filled = like(mask);
  zeb::closing(bridged, mask, radius, 127, zeb::MorphOpMode::morph_auto, false);
  for (const zeb::Shape& shape : zeb::get_all_shapes(bridged, true)) zeb::draw_filled_shape(filled, shape, 255);
  zeb::opening(cleaned, filled, 2 * radius, 127, zeb::MorphOpMode::morph_auto, false);
}

/// Measures a shape with the help of a black image of the photograph's size, which stays black.
Part measure(const zeb::Shape& shape, zeb::Bitmap_<unsigned char>& canvas) {
  Part part;
  part.shape = shape;
  const auto box = shape.boundary();
  part.extent_x = box.bottom_right.x - box.top_left.x + 1;
  part.extent_y = box.bottom_right.y - box.top_left.y + 1;
  part.x = (box.top_left.x + box.bottom_right.x) / 2.0;
  part.y = (box.top_left.y + box.bottom_right.y) / 2.0;

  // Painted with 1, the sum of the pixels is their number. A region's last corner does not belong to it.
  zeb::draw_filled_shape(canvas, shape, 1);
  part.area = zeb::sum(canvas.region(box.top_left, {box.bottom_right.x + 1, box.bottom_right.y + 1}));
  zeb::draw_filled_shape(canvas, shape, 0);
  part.diameter = std::sqrt(4 * part.area / M_PI);

  float length = 0, width = 0;
  part.corners = shape.minimum_enclosing_rectangle(&length, &width);
  // The rectangle runs through pixel centres; the pixels reach half a pixel beyond.
  part.length = double{length} + 1;
  part.width = double{width} + 1;
  return part;
}

void fit_circle(Part& part, const std::vector<zeb::Point_<int>>& outline) {
  // The search looks at an image of the outline alone, with room around it.
  constexpr int room = 8;
  const zeb::Point_<int> corner = part.shape.boundary().top_left;
  Pixels edges(static_cast<int>(part.extent_x) + 2 * room, 16, static_cast<int>(part.extent_y) + 2 * room, {});
  zeb::clear(edges);
  for (const zeb::Point_<int>& p : outline) edges.at(p.y - corner.y + room, p.x - corner.x + room) = 255;
  float radius = 0, x = 0, y = 0;
  zeb::CalcCircleRandom(&radius, &x, &y, edges.data, edges.width, edges.height, edges.stride);
  part.circle = 2 * double{radius};
  part.unroundness = 0;
  for (const zeb::Point_<int>& p : outline) {
    const double distance = std::hypot(p.x - corner.x + room - double{x}, p.y - corner.y + room - double{y});
    part.unroundness = std::max(part.unroundness, std::abs(distance - double{radius}));
  }
}

void fit_sides(Part& part, const std::vector<zeb::Point_<int>>& outline) {
  part.straightness = 0;
  for (std::size_t side = 0; side < 4; ++side) {
    const zeb::Point_<int> a = part.corners[side], b = part.corners[(side + 1) % 4];
    const double length = std::hypot(b.x - a.x, b.y - a.y);
    if (length < 1) continue;
    const auto near = std::count_if(outline.begin(), outline.end(), [&](const zeb::Point_<int>& p) {
      const auto f = [](int v) { return static_cast<float>(v); };
      return std::abs(zeb::distance_point_line(f(p.x), f(p.y), f(a.x), f(a.y), f(b.x), f(b.y))) <= 1.0f;
    });
    part.straightness = std::max(part.straightness, std::min(1.0, static_cast<double>(near) / length));
  }
}

std::vector<Part> find_parts(const zeb::Bitmap_<unsigned char>& mask, const MeasuringOptions& options) {
  // The collection of shapes uses its image up.
  Pixels remaining = like(mask), canvas = like(mask);
  zeb::add(remaining, mask, 0);
  const double smallest = options.smallest >= 0 ? double{options.smallest} / options.pixel_size : 10;
  std::vector<Part> parts;
  for (const zeb::Shape& shape : zeb::get_all_shapes(remaining, true)) {
    Part part = measure(shape, canvas);
    if (part.diameter < smallest) continue;
    if (options.fit) {
      const std::vector<zeb::Point_<int>> outline = outline_of(part);
      fit_circle(part, outline);
      fit_sides(part, outline);
    }
    parts.push_back(std::move(part));
  }
  return parts;
}

}  // namespace

void add_measuring_options(CLI::App& app, MeasuringOptions& options) {
  const CLI::Validator above_zero(
      [](const std::string& text) {
        return std::strtof(text.c_str(), nullptr) > 0 ? "" : "must be above 0; give micrometres per pixel";
      },
      "");
  app.add_option("--pixel-size", options.pixel_size, "edge of a pixel in micrometres")
      ->check(above_zero)
      ->capture_default_str();
  app.add_option("--background", options.background,
                 "window that evens out the background, in micrometres; larger than a part")
      ->check(CLI::NonNegativeNumber)
      ->default_str("a third of the shorter side");
  app.add_option("--threshold", options.threshold,
                 "lowest grey value of a part, after the background was evened out to 128")
      ->check(CLI::Range(0, 255))
      ->default_str("by Otsu's method");
  app.add_option("--opening", options.opening,
                 "radius of the closing that bridges cracks, in micrometres; half that of the opening after it")
      ->check(CLI::NonNegativeNumber)
      ->default_str("3 pixels");
  app.add_option("--smallest", options.smallest, "smallest diameter of a part, in micrometres")
      ->check(CLI::NonNegativeNumber)
      ->default_str("10 pixels");
  app.add_flag("--dark", options.dark, "measure dark parts on a brighter background");
  app.add_flag("--fit", options.fit, "fit a circle to each part and see how straight its sides are");
}

std::vector<zeb::Point_<int>> outline_of(const Part& part) {
  zeb::PointContainer<int> contour;
  zeb::shape_to_contour(contour, part.shape, {0, 0});
  std::vector<zeb::Point_<int>> points;
  for (std::size_t i = 0; i < contour.size(); ++i) points.push_back({contour.x[i], contour.y[i]});
  return points;
}

Measurement measure_parts(const zeb::Bitmap_<unsigned char>& photograph, const MeasuringOptions& options) {
  Measurement result;
  result.even = even_out(photograph, options);
  result.threshold = options.threshold >= 0 ? options.threshold : choose_threshold(result.even);
  result.closing_radius = options.opening >= 0 ? in_pixels(options.opening, options) : 3;

  Pixels mask = like(photograph);
  zeb::thresholding(mask, result.even, static_cast<unsigned char>(result.threshold), 255,
                    zeb::ThresholdMode::InverseBinary);
  result.mask = like(photograph);
  clean(result.mask, mask, result.closing_radius);

  result.parts = find_parts(result.mask, options);
  return result;
}

}  // namespace example
