#pragma once

#include <CLI/CLI.hpp>
#include <array>
#include <vector>

#include "zeb/zeb.h"

/// What an inspection program does with a photograph, from the pixels to the measures of each part.
namespace example {

struct MeasuringOptions {
  float pixel_size = 1;  // micrometres
  float background = 0;  // micrometres; 0 chooses it by the image
  float opening = -1;    // half the radius of the opening, micrometres; negative chooses three pixels
  float smallest = -1;   // micrometres; negative chooses ten pixels
  int threshold = -1;    // negative chooses it by the image
  bool dark = false;
  bool fit = false;
};

/// Offers the options on a command line.
void add_measuring_options(CLI::App& app, MeasuringOptions& options);

/// What is measured of a part. Lengths in pixels, positions from the centre of the top left pixel.
struct Part {
  zeb::Shape shape;
  double x, y;  // centre of the extents
  double extent_x, extent_y;
  double area;           // pixels of the filled outline
  double length, width;  // sides of the enclosing rectangle of smallest area
  double diameter;       // of a disc of equal area
  std::array<zeb::Point_<int>, 4> corners;
  // With `MeasuringOptions::fit` only:
  double circle;        // diameter of the circle through the outline, 0 where none was found
  double unroundness;   // largest distance of the outline from that circle
  double straightness;  // largest share of a side of the rectangle that the outline follows within a pixel
};

/// The pixels of a part's outline, in order.
std::vector<zeb::Point_<int>> outline_of(const Part& part);

/// The parts and what led to them.
struct Measurement {
  zeb::Image<unsigned char> even;  // the image with its background evened out, parts bright
  zeb::Image<unsigned char> mask;  // cleaned
  int threshold;                   // lowest grey value of a part in `even`
  int closing_radius;              // in pixels; the opening takes twice as much
  std::vector<Part> parts;         // from the top down
};

/// Evens out the background, chooses a threshold, cleans the mask, finds the parts and measures each. Throws
/// `std::runtime_error` with a line that tells what to do for an image of a single grey value; finds no parts where
/// none stand out.
Measurement measure_parts(const zeb::Bitmap_<unsigned char>& photograph, const MeasuringOptions& options);

}  // namespace example
