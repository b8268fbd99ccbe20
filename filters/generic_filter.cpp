#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "frame/rounding.h"
#include "frame/scratch.h"
#include "zeb/filters.h"
#include "zeb/statistics.h"

namespace zeb {

int iGenBMFilter(unsigned char* const dst, const unsigned char* const src, int width, int stride, int height,
                 const float* const kernel, int half_width, int kernel_stride, int half_height, float lower_fraction,
                 float upper_fraction, int mode) {
  const std::int64_t window_width = 2 * std::int64_t{half_width} + 1, window_height = 2 * std::int64_t{half_height} + 1;
  if (kernel == nullptr || half_width < 0 || half_height < 0) return 0;
  if (height < window_height || width < window_width) return 0;

  float sum = 0.0f;
  for (std::ptrdiff_t row = 0; row < window_height; ++row)
    for (std::ptrdiff_t column = 0; column < window_width; ++column) sum += kernel[row * kernel_stride + column];
  if (0.001 > double{sum}) {
    sum = 1.0f;
    lower_fraction = 0.0f;
    upper_fraction = 1.0f;
  }

  constexpr int bin_count = 256;
  const frame::Scratch<float> bins(bin_count);
  if (!bins) return 0;
  for (int y = half_height; y < height - half_height; ++y)
    for (int x = half_width; x < width - half_width; ++x) {
      std::fill_n(bins.data(), bin_count, 0.0f);
      const float* weight = kernel;  // without gaps here, whatever the pitch that the sum was taken with
      for (int dy = -half_height; dy <= half_height; ++dy) {
        const unsigned char* const row = src + (std::ptrdiff_t{y + dy} * stride + x);
        for (int dx = -half_width; dx <= half_width; ++dx) bins[row[dx]] += *weight++;
      }
      float value = mode == 0 ? ::hist_average(bins.data(), sum, bin_count, lower_fraction, upper_fraction)
                              : ::hist_width(bins.data(), sum, bin_count, lower_fraction, upper_fraction);
      if (0.1 > double{value}) value = 0.1f;
      if (double{value} > 255.1) value = 255.1f;
      dst[std::ptrdiff_t{y} * stride + x] = static_cast<unsigned char>(frame::trunc(value));
    }
  return 1;
}

int generic_filter(Mat<unsigned char>& dst, const Mat<unsigned char>& src, const Mat<float>& kernel,
                   float lower_fraction, float upper_fraction, int mode) {
  return iGenBMFilter(dst.data, src.data, src.width, src.stride, src.height, kernel.data,
                      detail::wrapping_sub(kernel.width, 1) / 2, kernel.stride,
                      detail::wrapping_sub(kernel.height, 1) / 2, lower_fraction, upper_fraction, mode);
}

}  // namespace zeb
