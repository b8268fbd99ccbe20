#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstring>

#include "frame/rounding.h"
#include "frame/work_image.h"
#include "zeb/filters.h"
#include "zeb/frequency.h"
#include "zeb/morphology.h"
#include "zeb/point_ops.h"

namespace zeb {
namespace {

using detail::require;
using Complex = std::complex<float>;

/// Weights an image in place by the root of a raised cosine: 1 at its centre, 0 at a distance of half its size and in
/// the corners. The distances of the upper left quarter hold for the other three, mirrored.
void apply_raised_cosine_window(const Mat<float>& image) {
  const auto columns = static_cast<std::size_t>(image.width), rows = static_cast<std::size_t>(image.height);
  std::vector<float> table(columns * rows);
  for (int j = 0; j < image.height / 2; ++j)
    for (int i = 0; i < image.width / 2; ++i) {
      const float v = static_cast<float>(2 * j) / static_cast<float>(image.height) - 1.0f;
      const float u = static_cast<float>(2 * i) / static_cast<float>(image.width) - 1.0f;
      const float r = std::sqrt(u * u + v * v);
      if (!(0.0f <= r && r < 1.0f)) continue;
      const float raised = std::cos(r * 3.1415927f) + 1.0f;
      const auto weight = static_cast<float>(std::sqrt(static_cast<double>(raised) * 0.5));
      const auto left = static_cast<std::size_t>(i), top = static_cast<std::size_t>(j);
      for (const std::size_t y : {top, rows - 1 - top})
        for (const std::size_t x : {left, columns - 1 - left}) table[y * columns + x] = weight;
    }
  for (int y = 0; y < image.height; ++y) {
    float* const row = image.row(y);
    const float* const weights = table.data() + static_cast<std::size_t>(y) * columns;
    for (int x = 0; x < image.width; ++x) row[x] *= weights[x];
  }
}

template <class T>
float area(const Mat<T>& image) {
  return static_cast<float>(image.width * image.height);
}

template <class T>
float image_mean(const Mat<T>& image) {
  float sum = 0.0f;
  for (int y = 0; y < image.height; ++y)
    for (int x = 0; x < image.width; ++x) sum += static_cast<float>(image.at(y, x));
  return sum / area(image);
}

/// The packed real spectrum read as complex elements, half as many as floats.
const Complex* elements_of(const Mat<float>& spectrum) { return reinterpret_cast<const Complex*>(spectrum.data); }

MatBuffer<float> flat_mask(int width, int height) {
  MatBuffer<float> mask(width, height);
  for (float& weight : mask) weight = 1.0f;
  return mask;
}

MatBuffer<float> notch_mask(const Mat<float>& spectrum, float threshold_factor) {
  const MatBuffer<float> magnitudes(spectrum.width / 2, spectrum.height);
  magnitude(magnitudes.data, elements_of(spectrum), magnitudes.width, magnitudes.height, magnitudes.stride,
            spectrum.stride / 2);
  const float limit = image_mean(magnitudes) * threshold_factor;
  MatBuffer<float> mask = flat_mask(magnitudes.width, magnitudes.height);
  for (int y = 0; y < mask.height; ++y)
    for (int x = 0; x < mask.width; ++x) {
      if (!(magnitudes.at(y, x) > limit)) continue;
      for (int hole_y = std::max(y - 2, 0); hole_y <= std::min(y + 2, mask.height - 1); ++hole_y)
        for (int hole_x = std::max(x - 2, 0); hole_x <= std::min(x + 2, mask.width - 1); ++hole_x)
          mask.at(hole_y, hole_x) = 0.0f;
    }
  return mask;
}

/// Mean plus `factor` standard deviations, cut to its low 8 bits. The squares are summed down the columns: the order is
/// part of the result.
unsigned char deviation_limit(const Mat<unsigned char>& image, float factor) {
  const float mean = image_mean(image);
  float sum = 0.0f;
  for (int x = 0; x < image.width; ++x)
    for (int y = 0; y < image.height; ++y) {
      const float difference = static_cast<float>(image.at(y, x)) - mean;
      sum += difference * difference;
    }
  return static_cast<unsigned char>(frame::trunc(std::sqrt(sum / area(image)) * factor + mean));
}

MatBuffer<float> emphasis_mask(const Mat<float>& spectrum, int filter_size, float deviation_factor,
                               int closing_radius) {
  MatBuffer<unsigned char> first(spectrum.width / 2, spectrum.height), second(spectrum.width / 2, spectrum.height);
  // A closing that is wider than the mask looks at the padding.
  clear(first);
  clear(second);
  log2_magnitude(first.data, elements_of(spectrum), first.width, first.height, first.stride, spectrum.stride / 2, 0);
  lp_filter(second, first, filter_size, filter_size);
  sub_s(second, first, second);
  sobel(first, second);
  thresholding(second, first, 0, deviation_limit(first, deviation_factor), ThresholdMode::Standard);
  closing(first, second, closing_radius, 0, MorphOpMode::morph_auto, false);
  for (int y = 0; y < 8; ++y)
    for (int x = 0; x < 8; ++x) first.at(y, x) = 1;
  first.at(0, 0) = 0;

  MatBuffer<float> mask(first.width, first.height);
  for (int y = 0; y < mask.height; ++y)
    for (int x = 0; x < mask.width; ++x) mask.at(y, x) = static_cast<float>(first.at(y, x));
  return mask;
}

MatBuffer<float> make_mask(const Mat<float>& spectrum, fft::Filter filter, const std::vector<float>& params) {
  switch (filter) {
    case fft::Filter::notch_peaks:
      require(!params.empty());
      return notch_mask(spectrum, params[0]);
    case fft::Filter::emphasise_peaks:
      require(!params.empty());
      return emphasis_mask(spectrum, frame::trunc(params[0]), params[1], frame::trunc(params[2]));
    default:
      return flat_mask(spectrum.width / 2, spectrum.height);
  }
}

}  // namespace

void fft_filter(Mat<unsigned char>& dst, Mat<unsigned char>& src, bool window, fft::Filter filter,
                std::vector<float> params) {
  require(dst.height == src.height && dst.width == src.width && dst.stride == src.stride);
  require(params.empty() || static_cast<std::int64_t>(params.size()) == static_cast<std::int64_t>(filter));
  if (filter == fft::Filter::none) {
    std::memmove(dst.data, src.data, static_cast<std::size_t>(src.end() - src.begin()));
    return;
  }

  frame::require_countable(src.width, src.height);
  MatBuffer<float> spectrum(src.width, src.height), samples(src.width, src.height);
  for (int y = 0; y < src.height; ++y)
    for (int x = 0; x < src.width; ++x) samples.at(y, x) = static_cast<float>(src.at(y, x));
  if (window) apply_raised_cosine_window(samples);
  fourier_transform(spectrum, samples);

  const MatBuffer<float> mask = make_mask(spectrum, filter, params);
  for (int y = 0; y < mask.height; ++y) {
    // Columns 0 and 1 are no pair; column 1 stays as the transform left it.
    spectrum.at(y, 0) *= mask.at(y, 0);
    for (int x = 1; x < mask.width; ++x) {
      spectrum.at(y, 2 * x) *= mask.at(y, x);
      spectrum.at(y, 2 * x + 1) *= mask.at(y, x);
    }
  }
  inverse_fourier_transform(dst, spectrum);
}

}  // namespace zeb
