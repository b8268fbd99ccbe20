// Takes a periodic pattern out of a photograph. The pattern is drawn over a real photograph first, so that it can be
// said how much of it is left. Transforms work on squares with a power of two as side: the largest one in the middle is
// taken.

#include <algorithm>
#include <cmath>
#include <complex>
#include <cstdio>
#include <stdexcept>
#include <string>

#include "command_line.h"
#include "png_file.h"
#include "zeb/zeb.h"

namespace {

using Pixels = zeb::Image<unsigned char>;

struct Options {
  std::string input;
  std::string prefix = "destripe";
  float amplitude = 25;     // grey values; below 1 rounding may leave no pattern
  float peak_factor = 100;  // times the mean magnitude
};

/// The pattern: waves over the whole square, across and down.
constexpr int waves_across = 40, waves_down = 24;

Pixels square(int side) {
  Pixels image(side, side, side, {});
  zeb::clear(image);
  return image;
}

Pixels middle_of(const zeb::Bitmap_<unsigned char>& photograph) {
  const int shorter = std::min(photograph.width, photograph.height);
  int side = 128;
  if (shorter < side) throw std::runtime_error("the image is too small; take one of at least 128 by 128 pixels");
  while (2 * side <= shorter) side *= 2;
  const zeb::Point_<int> corner{(photograph.width - side) / 2, (photograph.height - side) / 2};
  const zeb::Bitmap_<unsigned char> part = photograph.region(corner, {corner.x + side, corner.y + side});
  Pixels image = square(side);
  for (int y = 0; y < side; ++y) std::copy_n(part.row(y), side, image.row(y));
  return image;
}

Pixels with_pattern(const Pixels& clean, float amplitude) {
  Pixels striped = square(clean.width);
  for (int y = 0; y < clean.height; ++y)
    for (int x = 0; x < clean.width; ++x) {
      const double phase = 2 * M_PI * (waves_across * x + waves_down * y) / clean.width;
      const double value = clean.at(y, x) + double{amplitude} * std::cos(phase);
      striped.at(y, x) = static_cast<unsigned char>(std::lround(std::clamp(value, 0.0, 255.0)));
    }
  return striped;
}

zeb::MatBuffer<float> as_float(const Pixels& image) {
  zeb::MatBuffer<float> samples(image.width, image.height);
  for (int y = 0; y < image.height; ++y)
    for (int x = 0; x < image.width; ++x) samples.at(y, x) = image.at(y, x);
  return samples;
}

/// How strong the pattern's frequency is in an image.
double strength_of_pattern(const Pixels& image) {
  zeb::MatBuffer<float> samples = as_float(image), spectrum(image.width, image.width);
  zeb::fourier_transform(spectrum, samples);
  return std::hypot(spectrum.at(waves_down, 2 * waves_across), spectrum.at(waves_down, 2 * waves_across + 1));
}

/// The image without its peaks in the frequency domain. The notch filter gives what lies above the mean, and of the
/// negative what lies below. The slow changes of the image are peaks as well, so they are set aside first.
Pixels without_peaks(const Pixels& striped, float peak_factor) {
  const int side = striped.width, window = side / 8 | 1;
  Pixels slow = square(side), fast = square(side), above = square(side), below = square(side), result = square(side);
  zeb::lp_filter(slow, striped, window, window);
  zeb::hp_filter(fast, striped, window, window, 128);
  zeb::fft_filter(above, fast, false, zeb::fft::Filter::notch_peaks, {peak_factor});
  zeb::sub(fast, 255, fast);
  zeb::fft_filter(below, fast, false, zeb::fft::Filter::notch_peaks, {peak_factor});
  zeb::add_s(result, slow, above);
  zeb::sub_s(result, result, below);
  return result;
}

void write_spectrum(const std::string& path, const Pixels& image) {
  zeb::MatBuffer<float> samples = as_float(image);
  Pixels picture = square(image.width + 1);
  zeb::fourier_transform(picture, samples);
  example::write_png(path, picture);
}

void destripe(const Options& options) {
  const Pixels clean = middle_of(example::read_png(options.input, {}));
  const Pixels striped = with_pattern(clean, options.amplitude);
  const Pixels result = without_peaks(striped, options.peak_factor);
  example::write_png(options.prefix + "-before.png", striped);
  example::write_png(options.prefix + "-after.png", result);
  write_spectrum(options.prefix + "-spectrum-before.png", striped);
  write_spectrum(options.prefix + "-spectrum-after.png", result);

  std::printf("%s: the middle %d x %d pixels\n", options.input.c_str(), clean.width, clean.height);
  std::printf("pattern of %g grey values drawn over it; %.1f %% of it are left\n", double{options.amplitude},
              100 * strength_of_pattern(result) / strength_of_pattern(striped));
  std::printf("pictures in %s-before.png, -after.png, -spectrum-before.png, -spectrum-after.png\n",
              options.prefix.c_str());
}

}  // namespace

int main(int argc, char** argv) {
  Options options;
  CLI::App app("Draws a periodic pattern over a photograph and takes it out again.", "destripe");
  app.add_option("image", options.input, "8-bit grey PNG")->required();
  app.add_option("-o,--output", options.prefix, "beginning of the pictures' names")->capture_default_str();
  app.add_option("--amplitude", options.amplitude, "of the pattern, in grey values")
      ->check(CLI::Range(1.0, 255.0))
      ->capture_default_str();
  app.add_option("--peak-factor", options.peak_factor, "what counts as a peak, in mean magnitudes")
      ->capture_default_str();
  return example::run(app, argc, argv, [&options] { destripe(options); });
}
