// Finds how far one photograph is turned against another and turns it back. Around the centre a rotation is a shift of
// the angle: both photographs are unrolled into rows of equal angle, whose best agreement gives the rotation.

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <stdexcept>
#include <string>

#include "command_line.h"
#include "png_file.h"
#include "zeb/zeb.h"

namespace {

using Pixels = zeb::Image<unsigned char>;

struct Options {
  std::string reference, turned;
  std::string prefix = "align";
  float turn = 12.5f;  // degrees
};

constexpr int angles = 1440;  // a quarter of a degree each
constexpr float full_turn = 6.2831855f;

Pixels like(const Pixels& image) {
  Pixels other(image.width, image.stride, image.height, {});
  zeb::clear(other);
  return other;
}

/// The largest circle around the centre: within it a turned photograph shows the same as the other.
int radius_of(const Pixels& image) { return std::min(image.width, image.height) / 2 - 1; }

/// A row for each angle, a column for each radius.
Pixels unrolled(const Pixels& image) {
  const int columns = radius_of(image);
  Pixels polar(columns, 16, angles, {});
  for (int row = 0; row < angles; ++row) {
    const double angle = 2 * M_PI * row / angles;
    for (int r = 0; r < columns; ++r) {
      const auto x = std::lround(image.width / 2 + r * std::cos(angle));
      const auto y = std::lround(image.height / 2 + r * std::sin(angle));
      polar.at(row, r) = image.at(static_cast<int>(y), static_cast<int>(x));
    }
  }
  return polar;
}

/// The image turned about its centre, from the x axis toward the y axis.
Pixels turned_by(const Pixels& image, float radians) {
  Pixels result = like(image);
  const auto cx = static_cast<float>(image.width / 2), cy = static_cast<float>(image.height / 2);
  zeb::mm_transform(result.data, image.data, image.width, image.stride, image.height, cx, cy, 0, 0, radians, 1, 0);
  return result;
}

/// Mean difference of two images within the largest circle, in grey values.
double difference(const Pixels& a, const Pixels& b) {
  const int radius = radius_of(a);
  double sum = 0, count = 0;
  for (int y = -radius; y <= radius; ++y)
    for (int x = -radius; x <= radius; ++x) {
      if (x * x + y * y > radius * radius) continue;
      sum += std::abs(a.at(a.height / 2 + y, a.width / 2 + x) - b.at(a.height / 2 + y, a.width / 2 + x));
      ++count;
    }
  return sum / count;
}

double degrees(float radians) { return double{radians} * 360 / double{full_turn}; }

void align(const Options& options) {
  const Pixels reference = example::read_png(options.reference, {});
  const bool given = !options.turned.empty();
  const Pixels turned =
      given ? example::read_png(options.turned, {}) : turned_by(reference, options.turn / 360 * full_turn);
  if (turned.width != reference.width || turned.height != reference.height)
    throw std::runtime_error(options.turned + ": differs in size from " + options.reference + "; cut both alike");
  if (radius_of(reference) < 16)
    throw std::runtime_error(options.reference + ": is too small; take 34 by 34 pixels or more");

  const Pixels reference_polar = unrolled(reference), turned_polar = unrolled(turned);
  float angle = zeb::fMatchAngleFromPolar(reference_polar.data, turned_polar.data, reference_polar.width,
                                          reference_polar.height, reference_polar.stride, nullptr);
  if (angle > full_turn / 2) angle -= full_turn;
  const Pixels aligned = turned_by(turned, -angle);

  std::printf("%s is turned by %.2f degrees", given ? options.turned.c_str() : "the drawn image", degrees(angle));
  if (!given) std::printf(" (drawn with %.2f)", double{options.turn});
  std::printf("\nmean difference from %s: %.1f grey values before, %.1f after\n", options.reference.c_str(),
              difference(reference, turned), difference(reference, aligned));
  example::write_png(options.prefix + "-before.png", turned);
  example::write_png(options.prefix + "-after.png", aligned);
  std::printf("pictures in %s-before.png and -after.png\n", options.prefix.c_str());
}

}  // namespace

int main(int argc, char** argv) {
  Options options;
  CLI::App app("Finds the rotation of a photograph against another and takes it back.", "align");
  app.add_option("reference", options.reference, "8-bit grey PNG")->required();
  app.add_option("turned", options.turned, "the same scene, turned; without it the reference is turned");
  app.add_option("--turn", options.turn, "degrees to turn the reference by")
      ->check(CLI::Range(-180.0, 180.0))
      ->capture_default_str();
  app.add_option("-o,--output", options.prefix, "beginning of the pictures' names")->capture_default_str();
  return example::run(app, argc, argv, [&options] { align(options); });
}
