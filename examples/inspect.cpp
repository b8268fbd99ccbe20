// Measures bright parts in a photograph: cuts the image at a threshold, finds the bounding box of what is set and draws
// it over the photograph.

#include <CLI/CLI.hpp>
#include <cstdio>
#include <exception>
#include <stdexcept>
#include <string>

#include "png_file.h"
#include "zeb/zeb.h"

namespace {

struct Options {
  std::string input;
  std::string output = "inspect.png";
  float pixel_size = 1;
  int threshold = 128;
};

void inspect(const Options& options) {
  if (!(options.pixel_size > 0)) throw std::runtime_error("--pixel-size must be above 0; give micrometres per pixel");
  const zeb::um pixel_size(options.pixel_size);
  const zeb::Image<unsigned char> photograph = example::read_png(options.input, {pixel_size, pixel_size});
  const int width = photograph.width, stride = photograph.stride, height = photograph.height;

  zeb::Image<unsigned char> mask(width, stride, height, {pixel_size, pixel_size});
  zeb::thresholding(mask, photograph, static_cast<unsigned char>(options.threshold), 255,
                    zeb::ThresholdMode::InverseBinary);

  int left, right, top, bottom;
  vGetMinMaxBM(mask.data, width, height, stride, &left, &right, &top, &bottom);
  if (left > right)
    throw std::runtime_error("no pixel reaches " + std::to_string(options.threshold) + "; lower --threshold");

  zeb::Image<unsigned char> frame(width, stride, height, {pixel_size, pixel_size});
  zeb::set(frame, 0);
  zeb::draw_rect(frame, {left - 1, top - 1}, right - left + 2, bottom - top + 2, 0, 255);
  zeb::Image<unsigned char> red(width, stride, height, {}), others(width, stride, height, {});
  zeb::interleave(red, photograph, 255, frame);
  zeb::interleave(others, photograph, 0, frame);
  example::write_png(options.output, red, others, others);

  const int columns = right - left + 1, rows = bottom - top + 1;
  std::printf("%s: %d x %d pixels of %g um\n", options.input.c_str(), width, height, double{options.pixel_size});
  std::printf("%-12s %10s %10s %10s %10s\n", "set area", "left", "top", "width", "height");
  std::printf("%-12s %10d %10d %10d %10d\n", "in pixels", left, top, columns, rows);
  const double um = options.pixel_size;
  std::printf("%-12s %10.1f %10.1f %10.1f %10.1f\n", "in um", left * um, top * um, columns * um, rows * um);
  std::printf("drawn over the image in %s\n", options.output.c_str());
}

}  // namespace

int main(int argc, char** argv) {
  Options options;
  CLI::App app("Measures bright parts on a dark background.");
  app.add_option("image", options.input, "8-bit grey PNG")->required();
  app.add_option("-o,--output", options.output, "PNG to write")->capture_default_str();
  app.add_option("--pixel-size", options.pixel_size, "edge of a pixel in micrometres")
      ->capture_default_str();
  app.add_option("--threshold", options.threshold, "lowest grey value of a part")
      ->check(CLI::Range(0, 255))
      ->capture_default_str();
  try {
    app.parse(argc, argv);
    inspect(options);
    return 0;
  } catch (const CLI::CallForHelp& help) {
    return app.exit(help);
  } catch (const std::exception& error) {
    std::fprintf(stderr, "inspect: %s\n", error.what());
    return 2;
  }
}
