// Measures the bright parts in a photograph, step by step as an inspection program does: even out the background,
// choose a threshold, clean the mask, find the parts, measure each, report.

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <fstream>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <string>
#include <vector>

#include "command_line.h"
#include "overlay.h"
#include "png_file.h"
#include "zeb/zeb.h"

namespace {

struct Options {
  std::string input;
  std::string output = "inspect.png";
  std::string mask_file, csv_file, json_file;
  float pixel_size = 1;  // micrometres
  float background = 0;  // micrometres; 0 chooses it by the image
  float opening = -1;    // micrometres; negative chooses three pixels
  float smallest = -1;   // micrometres; negative chooses ten pixels
  int threshold = -1;    // negative chooses it by the image
  bool fit = false;
};

/// What is measured of a part. Lengths in pixels, positions from the centre of the top left pixel.
struct Part {
  zeb::Shape shape;
  double x, y;  // centre of the extents
  double extent_x, extent_y;
  double area;           // pixels of the filled outline
  double length, width;  // sides of the enclosing rectangle of smallest area
  double diameter;       // of a disc of equal area
  std::array<zeb::Point_<int>, 4> corners;
  // With --fit only:
  double circle;        // diameter of the circle through the outline, 0 where none was found
  double unroundness;   // largest distance of the outline from that circle
  double straightness;  // largest share of a side of the rectangle that the outline follows within a pixel
};

zeb::Image<unsigned char> like(const zeb::Bitmap_<unsigned char>& image) {
  zeb::Image<unsigned char> other(image.width, image.stride, image.height, {image.pixel_size_x, image.pixel_size_y});
  zeb::clear(other);
  return other;
}

int in_pixels(float micrometres, const Options& options) {
  return static_cast<int>(std::lround(std::min(micrometres / options.pixel_size, 1e6f)));
}

/// The difference from the local mean, around a middle grey: bright parts stand out equally on bright and dark ground.
zeb::Image<unsigned char> even_out(const zeb::Bitmap_<unsigned char>& photograph, const Options& options) {
  const int automatic = std::min(photograph.width, photograph.height) / 3;
  const int window = options.background > 0 ? in_pixels(options.background, options) : automatic;
  zeb::Image<unsigned char> even = like(photograph);
  zeb::hp_filter(even, photograph, window | 1, window | 1, 128);
  return even;
}

int choose_threshold(const zeb::Bitmap_<unsigned char>& image) {
  const std::vector<float> histogram = zeb::histogram(image);
  if (std::count_if(histogram.begin(), histogram.end(), [](float weight) { return weight > 0; }) < 2)
    throw std::runtime_error("the image has a single grey value, so nothing can be told apart; check the exposure");
  return static_cast<int>(zeb::otsu(histogram)) + 1;
}

void print_statistics(const char* name, const zeb::Bitmap_<unsigned char>& image) {
  const std::vector<float> histogram = zeb::histogram(image);
  std::printf("%-22s mean %5.1f, mean of the middle half %5.1f, which spans %4.1f grey values\n", name,
              static_cast<double>(zeb::average(image, {})),
              static_cast<double>(zeb::hist_average(histogram, 0.25f, 0.75f)),
              static_cast<double>(zeb::hist_width(histogram, 0.25f, 0.75f)));
}

/// Bridges cracks in the parts, fills what they enclose, and takes away what is thinner than the opening's disk.
void clean(zeb::Bitmap_<unsigned char>& cleaned, const zeb::Bitmap_<unsigned char>& mask, int radius) {
  zeb::Image<unsigned char> bridged = like(mask), filled = like(mask);
  zeb::closing(bridged, mask, radius, 127, zeb::MorphOpMode::morph_auto, false);
  for (const zeb::Shape& shape : zeb::get_all_shapes(bridged, true)) zeb::draw_filled_shape(filled, shape, 255);
  zeb::opening(cleaned, filled, 2 * radius, 127, zeb::MorphOpMode::morph_auto, false);
}

Part measure(const zeb::Shape& shape, zeb::Bitmap_<unsigned char>& canvas) {
  Part part;
  part.shape = shape;
  const auto box = shape.boundary();
  part.extent_x = box.bottom_right.x - box.top_left.x + 1;
  part.extent_y = box.bottom_right.y - box.top_left.y + 1;
  part.x = (box.top_left.x + box.bottom_right.x) / 2.0;
  part.y = (box.top_left.y + box.bottom_right.y) / 2.0;

  // Painted with 1, the sum of the pixels is their number.
  zeb::draw_filled_shape(canvas, shape, 1);
  part.area = zeb::sum(canvas);
  zeb::draw_filled_shape(canvas, shape, 0);
  part.diameter = std::sqrt(4 * part.area / M_PI);

  float length = 0, width = 0;
  part.corners = shape.minimum_enclosing_rectangle(&length, &width);
  // The rectangle runs through pixel centres; the pixels reach half a pixel beyond.
  part.length = double{length} + 1;
  part.width = double{width} + 1;
  return part;
}

std::vector<zeb::Point_<int>> points_of(const zeb::Shape& shape) {
  zeb::PointContainer<int> contour;
  zeb::shape_to_contour(contour, shape, {0, 0});
  std::vector<zeb::Point_<int>> points;
  for (std::size_t i = 0; i < contour.size(); ++i) points.push_back({contour.x[i], contour.y[i]});
  return points;
}

void fit_circle(Part& part, const std::vector<zeb::Point_<int>>& outline) {
  // The search looks at an image of the outline alone, with room around it.
  constexpr int room = 8;
  const zeb::Point_<int> corner = part.shape.boundary().top_left;
  zeb::Image<unsigned char> edges(static_cast<int>(part.extent_x) + 2 * room, 16,
                                  static_cast<int>(part.extent_y) + 2 * room, {});
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

std::vector<Part> find_parts(const zeb::Bitmap_<unsigned char>& mask, const Options& options) {
  zeb::Image<unsigned char> remaining = like(mask), canvas = like(mask);
  zeb::set(remaining, 0);
  zeb::add(remaining, mask, 0);
  const double smallest = options.smallest >= 0 ? double{options.smallest} / options.pixel_size : 10;
  std::vector<Part> parts;
  for (const zeb::Shape& shape : zeb::get_all_shapes(remaining, true)) {
    Part part = measure(shape, canvas);
    if (part.diameter < smallest) continue;
    if (options.fit) {
      const std::vector<zeb::Point_<int>> outline = points_of(shape);
      fit_circle(part, outline);
      fit_sides(part, outline);
    }
    parts.push_back(std::move(part));
  }
  return parts;
}

void draw(const zeb::Bitmap_<unsigned char>& photograph, const std::vector<Part>& parts, const std::string& path) {
  constexpr example::Colour green{90, 255, 90}, orange{255, 160, 0}, yellow{255, 240, 60};
  example::Overlay overlay(photograph);
  int number = 0;
  for (const Part& part : parts) {
    overlay.outline({part.corners.begin(), part.corners.end()}, orange);
    overlay.outline(points_of(part.shape), green);
    overlay.number(++number, {static_cast<int>(part.x), static_cast<int>(part.y)}, yellow);
  }
  overlay.write(path);
}

/// The columns of the table and of the files: name, unit as a power of the pixel size, value in pixels.
struct Column {
  std::string name;
  int power;
  double (*value)(const Part&);
};
using Columns = std::vector<Column>;

Columns columns_of(const Options& options) {
  Columns columns = {
      {"x", 1, [](const Part& p) { return p.x; }},
      {"y", 1, [](const Part& p) { return p.y; }},
      {"extent_x", 1, [](const Part& p) { return p.extent_x; }},
      {"extent_y", 1, [](const Part& p) { return p.extent_y; }},
      {"area", 2, [](const Part& p) { return p.area; }},
      {"length", 1, [](const Part& p) { return p.length; }},
      {"width", 1, [](const Part& p) { return p.width; }},
      {"diameter", 1, [](const Part& p) { return p.diameter; }},
  };
  if (options.fit) {
    columns.push_back({"circle", 1, [](const Part& p) { return p.circle; }});
    columns.push_back({"unroundness", 1, [](const Part& p) { return p.unroundness; }});
    columns.push_back({"straightness", 0, [](const Part& p) { return p.straightness; }});
  }
  return columns;
}

double in_micrometres(const Column& column, const Part& part, double pixel_size) {
  return column.value(part) * std::pow(pixel_size, column.power);
}

void print_table(const std::vector<Part>& parts, const Options& options) {
  const Columns columns = columns_of(options);
  for (const bool micrometres : {false, true}) {
    std::printf("\n%-8s", micrometres ? "in um" : "pixels");
    for (const Column& column : columns) std::printf("%14s", column.name.c_str());
    int number = 0;
    for (const Part& part : parts) {
      std::printf("\n%-8d", ++number);
      for (const Column& column : columns)
        std::printf("%14.*f",
                    column.power == 0 ? 2
                    : micrometres     ? 0
                                      : 1,
                    micrometres ? in_micrometres(column, part, options.pixel_size) : column.value(part));
    }
    std::printf("\n");
  }
}

std::ofstream open_for_writing(const std::string& path) {
  std::ofstream file(path);
  if (!file) throw std::runtime_error(path + ": cannot be written; choose another path");
  return file;
}

void write_csv(const std::vector<Part>& parts, const Options& options) {
  const Columns columns = columns_of(options);
  std::ofstream file = open_for_writing(options.csv_file);
  file << "number";
  for (const Column& column : columns)
    file << ',' << column.name << "_px," << column.name << (column.power == 2 ? "_um2" : "_um");
  int number = 0;
  for (const Part& part : parts) {
    file << '\n' << ++number;
    for (const Column& column : columns)
      file << ',' << column.value(part) << ',' << in_micrometres(column, part, options.pixel_size);
  }
  file << '\n';
}

void write_json(const std::vector<Part>& parts, const Options& options) {
  const Columns columns = columns_of(options);
  nlohmann::ordered_json report = {{"image", options.input}, {"pixel_size_um", options.pixel_size}};
  report["parts"] = nlohmann::json::array();
  for (const Part& part : parts) {
    nlohmann::ordered_json entry;
    entry["number"] = report["parts"].size() + 1;
    for (const Column& column : columns) {
      entry["pixels"][column.name] = column.value(part);
      entry["micrometres"][column.name] = in_micrometres(column, part, options.pixel_size);
    }
    report["parts"].push_back(entry);
  }
  open_for_writing(options.json_file) << report.dump(2) << '\n';
}

void inspect(const Options& options) {
  if (!(options.pixel_size > 0)) throw std::runtime_error("--pixel-size must be above 0; give micrometres per pixel");
  const zeb::um pixel_size(options.pixel_size);
  const zeb::Image<unsigned char> photograph = example::read_png(options.input, {pixel_size, pixel_size});
  std::printf("%s: %d x %d pixels of %g um\n", options.input.c_str(), photograph.width, photograph.height,
              double{options.pixel_size});
  print_statistics("photograph", photograph);

  const zeb::Image<unsigned char> even = even_out(photograph, options);
  print_statistics("background evened out", even);

  const int threshold = options.threshold >= 0 ? options.threshold : choose_threshold(even);
  zeb::Image<unsigned char> mask = like(even), cleaned = like(even);
  zeb::thresholding(mask, even, static_cast<unsigned char>(threshold), 255, zeb::ThresholdMode::InverseBinary);
  const int radius = options.opening >= 0 ? in_pixels(options.opening, options) : 3;
  clean(cleaned, mask, radius);
  if (!options.mask_file.empty()) example::write_png(options.mask_file, cleaned);

  const std::vector<Part> parts = find_parts(cleaned, options);
  std::printf("threshold %d, opening of %d pixels, %zu parts\n", threshold, radius, parts.size());
  if (parts.empty()) throw std::runtime_error("no part was found; lower --threshold or --smallest");

  print_table(parts, options);
  if (!options.csv_file.empty()) write_csv(parts, options);
  if (!options.json_file.empty()) write_json(parts, options);
  draw(photograph, parts, options.output);
  std::printf("\ndrawn over the image in %s\n", options.output.c_str());
}

}  // namespace

int main(int argc, char** argv) {
  Options options;
  CLI::App app("Measures bright parts on a darker background.", "inspect");
  app.add_option("image", options.input, "8-bit grey PNG")->required();
  app.add_option("-o,--output", options.output, "PNG to write: the parts drawn over the image")->capture_default_str();
  app.add_option("--mask", options.mask_file, "PNG to write: the cleaned mask");
  app.add_option("--csv", options.csv_file, "table to write");
  app.add_option("--json", options.json_file, "the same as JSON");
  app.add_option("--pixel-size", options.pixel_size, "edge of a pixel in micrometres")->capture_default_str();
  app.add_option("--background", options.background,
                 "window that evens out the background, in micrometres; larger than a part");
  app.add_option("--threshold", options.threshold,
                 "lowest grey value of a part, after the background was evened out to 128")
      ->check(CLI::Range(0, 255));
  app.add_option("--opening", options.opening, "radius that cleans the mask, in micrometres")
      ->check(CLI::NonNegativeNumber);
  app.add_flag("--fit", options.fit, "fit a circle to each part and see how straight its sides are");
  app.add_option("--smallest", options.smallest, "smallest diameter of a part, in micrometres")
      ->check(CLI::NonNegativeNumber);
  return example::run(app, argc, argv, [&options] { inspect(options); });
}
