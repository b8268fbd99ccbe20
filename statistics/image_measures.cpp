#include <cstddef>
#include <cstdint>

#include "frame/packed.h"
#include "statistics/reduction.h"
#include "zeb/point_ops.h"
#include "zeb/statistics.h"

using namespace zeb::frame;
using zeb::statistics::area;
using zeb::statistics::ByteSum;

namespace {

struct Samples {
  std::uint32_t sum = 0, count = 0;

  float mean() const { return static_cast<float>(sum) / static_cast<float>(count); }
};

/// A grid of at most 200 by 200 pixels, of which those count that `mask` selects, all of them without one.
Samples sample(const unsigned char* src, const unsigned char* mask, int width, int stride, int height) {
  Samples samples;
  const int step_x = width / 200 + 1, step_y = height / 200 + 1;
  for (std::int64_t y = 0; y < height; y += step_y) {
    const std::ptrdiff_t row = y * stride;
    for (std::int64_t x = 0; x < width; x += step_x) {
      if (mask != nullptr && mask[row + x] == 0) continue;
      samples.sum += src[row + x];
      ++samples.count;
    }
  }
  return samples;
}

}  // namespace

unsigned int uiBMMass(const unsigned char* const src, int width, int stride, int height) {
  ByteSum sum;
  for_each_block(
      width, stride, height, [&](std::ptrdiff_t i) { sum.add(load(src + i)); },
      [&](std::ptrdiff_t i) { sum.add(src[i]); });
  return sum.total();
}

float fMMPatternL1Norm(const unsigned char* const src, int width, int height, int stride) {
  ByteSum count;
  for_each_block(
      width, stride, height, [&](std::ptrdiff_t i) { count.add(_mm_min_epu8(load(src + i), splat(1))); },
      [&](std::ptrdiff_t i) { count.add(src[i] != 0 ? 1u : 0u); });
  return static_cast<float>(count.total()) / static_cast<float>(area(width, height));
}

float fGetBMAver(const unsigned char* const src, const unsigned char* const mask, int width, int stride, int height) {
  if (src == nullptr) return 0.0f;
  float sum = 0.0f;
  std::uint32_t count = 0;
  for (int y = 0; y < height; ++y) {
    const std::ptrdiff_t row = std::ptrdiff_t{y} * stride;
    for (int x = 0; x < width; ++x) {
      // Adding 0 changes nothing, and costs less than a jump that cannot be foreseen.
      const bool counts = mask == nullptr || mask[row + x] != 0;
      sum += counts ? static_cast<float>(src[row + x]) : 0.0f;
      count += counts ? 1u : 0u;
    }
  }
  if (mask == nullptr) count = static_cast<std::uint32_t>(area(width, height));
  return count == 0 ? sum : sum / static_cast<float>(count);
}

float fMMGetBMAver(const unsigned char* const src, const unsigned char* const mask, int width, int stride, int height) {
  if (mask == nullptr)
    return static_cast<float>(uiBMMass(src, width, stride, height)) / static_cast<float>(area(width, height));
  ByteSum sum, count;
  for_each_block(
      width, stride, height,
      [&](std::ptrdiff_t i) {
        // Other masks than 0 and 255 count differently here than in the rest of the row; required as it is.
        const __m128i selected = load(mask + i);
        sum.add(_mm_and_si128(load(src + i), selected));
        count.add(_mm_and_si128(selected, splat(1)));
      },
      [&](std::ptrdiff_t i) {
        if (mask[i] == 0) return;
        sum.add(src[i]);
        count.add(1u);
      });
  return count.total() == 0 ? 0.0f : static_cast<float>(sum.total()) / static_cast<float>(count.total());
}

float fBMNorm(unsigned char* const dst, const unsigned char* const src, const unsigned char* const mask, int width,
              int stride, int height, unsigned char value) {
  Samples samples;
  if (mask != nullptr) samples = sample(src, mask, width, stride, height);
  if (samples.count == 0) samples = sample(src, nullptr, width, stride, height);
  const float factor = static_cast<float>(value * samples.count) / static_cast<float>(samples.sum);
  vBMMulS(dst, src, width, stride, height, factor);
  return samples.mean();
}

float fBMNorm(unsigned char* const dst, const unsigned char* const src, int width, int stride, int height,
              unsigned char value) {
  return fBMNorm(dst, src, nullptr, width, stride, height, value);
}

namespace zeb {

float patternL1Norm(const Mat<unsigned char>& src) {
  return fMMPatternL1Norm(src.data, src.width, src.height, src.stride);
}

float average(const Mat<unsigned char>& src, const Mat<unsigned char>& mask) {
  return fMMGetBMAver(src.data, mask.data, src.width, src.stride, src.height);
}

unsigned int sum(const Mat<unsigned char>& src) { return uiBMMass(src.data, src.width, src.stride, src.height); }

float norm(Mat<unsigned char>& dst, const Mat<unsigned char>& src, const Mat<unsigned char>& mask,
           unsigned char value) {
  return fBMNorm(dst.data, src.data, mask.data, src.width, src.stride, src.height, value);
}

float norm(Mat<unsigned char>& dst, const Mat<unsigned char>& src, unsigned char value) {
  return fBMNorm(dst.data, src.data, nullptr, src.width, src.stride, src.height, value);
}

}  // namespace zeb
