#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cstdint>
#include <vector>

#include "tests/support/picture.h"
#include "tests/support/random_geometry.h"
#include "zeb/filters.h"

using zeb::Matrix;
using namespace zeb::testing;

namespace {

using Ints = std::vector<int>;

constexpr int room = 64;  ///< elements behind the buffers, which blocks may reach

int wrapped(std::int64_t value) { return static_cast<int>(static_cast<std::uint32_t>(value)); }

/// What each column of one `saxpy` gets, told column by column.
void reference_saxpy(int* dst, const unsigned char* src, int width, int height, int dst_stride, int src_stride, int a,
                     const int* y, int y_stride) {
  const int rounded = width + ((-width) & 15);
  const int vector_width = std::min(rounded, std::min({dst_stride, src_stride, y_stride}) / 16 * 16);
  for (int row = 0; row < height; ++row)
    for (int x = 0; x < std::max(width, a < 0 ? 0 : vector_width); ++x) {
      const auto at = [&](int stride) { return std::ptrdiff_t{row} * stride + x; };
      std::int64_t addend = std::int64_t{a} * src[at(src_stride)];
      if (a > 1 && x < vector_width) addend = x % 2 == 0 ? addend : (std::int64_t{a} * src[at(src_stride) - 1]) >> 32;
      dst[at(dst_stride)] = wrapped(y[at(y_stride)] + addend);
    }
}

void reference_convolute(int* dst, const unsigned char* src, const int* kernel, int width, int height, int dst_stride,
                         int src_stride, int kernel_width, int kernel_height, int origin_x, int origin_y) {
  int* base = dst + origin_y * dst_stride + origin_x;
  for (int ky = 0; ky < kernel_height; ++ky)
    for (int kx = 0; kx < kernel_width; ++kx)
      reference_saxpy(base, src + ky * src_stride + kx, width - kernel_width + 1, height - kernel_height + 1,
                      dst_stride, src_stride, kernel[ky * kernel_width + kx], base, dst_stride);
}

int random_coefficient(std::mt19937& engine) {
  const int special[] = {-1, 0, 1, 2, 32767, 32768, -32768, -32769, 16843009, 16843010, INT_MAX, INT_MIN};
  const int which = pick(engine, 0, 19);
  return which < 12 ? special[which] : which < 18 ? pick(engine, -9, 9) : static_cast<int>(engine());
}

Ints random_ints(std::mt19937& engine, int count) {
  Ints values(static_cast<std::size_t>(count));
  for (int& value : values) value = static_cast<int>(engine());
  return values;
}

TEST(Saxpy, AnyCoefficientAndLayout) {
  for_each_trial(2000, 120, 5, [](Trial t) {
    const int height = t.g.height, a = random_coefficient(t.engine);
    const bool in_place = t.number % 2 == 0;
    const int dst_stride = t.g.width + pick(t.engine, 0, 1) * pick(t.engine, 0, 40);
    const int y_stride = in_place ? dst_stride : t.g.width + pick(t.engine, 0, 1) * pick(t.engine, 0, 40);
    const Ints y = random_ints(t.engine, height * y_stride + room);
    Ints dst = in_place ? y : random_ints(t.engine, height * dst_stride + room), expected = dst;
    reference_saxpy(expected.data(), t.src.data(), t.g.width, height, dst_stride, t.g.stride, a, y.data(), y_stride);
    zeb::saxpy(dst.data(), t.src.data(), t.g.width, height, dst_stride, t.g.stride, a, in_place ? dst.data() : y.data(),
               y_stride);
    ASSERT_EQ(expected, dst) << "a " << a << ", strides " << dst_stride << " and " << y_stride;
  });
}

TEST(Convolute, AddsUpOneSaxpyACoefficientPaddingAndSpillIncluded) {
  for_each_trial(2000, 90, 9, [](Trial t) {
    const int kernel_width = pick(t.engine, 0, t.number % 10 == 0 ? 40 : 7), kernel_height = pick(t.engine, 0, 6);
    const int dst_stride = pick(t.engine, 0, 1) == 0 ? t.g.stride : t.g.width + pick(t.engine, 0, 40);
    const int origin_x = pick(t.engine, 0, 1) * kernel_width / 2, origin_y = pick(t.engine, 0, kernel_height / 2);
    Ints kernel(static_cast<std::size_t>(kernel_width * kernel_height));
    const int largest = pick(t.engine, 0, 9);
    for (int& a : kernel) a = largest == 0 ? random_coefficient(t.engine) : pick(t.engine, 1 - largest, largest);
    Ints dst = random_ints(t.engine, t.g.height * dst_stride + 2 * room), expected = dst;
    const auto run = [&](auto convolute, Ints& to) {
      convolute(to.data(), t.src.data(), kernel.data(), t.g.width, t.g.height, dst_stride, t.g.stride, kernel_width,
                kernel_height, origin_x, origin_y);
    };
    run(reference_convolute, expected);
    run(zeb::convolute, dst);
    ASSERT_EQ(expected, dst) << "kernel " << kernel_width << " x " << kernel_height << ", stride " << dst_stride;
  });
}

TEST(Convolution, BothFormsOnAnyLayout) {
  for_each_trial(300, 70, 12, [](Trial t) {
    const int cols = pick(t.engine, 1, std::min(t.g.width, 20)), rows = pick(t.engine, 1, 5);
    if (rows > t.g.height) return;
    Matrix<int> kernel(rows, cols);
    for (int k = 0; k < rows * cols; ++k) kernel.data[k] = pick(t.engine, -5, 5);
    const int stride = t.g.stride, left = cols / 2, top = rows / 2, border = pick(t.engine, -300, 300);
    Ints expected(static_cast<std::size_t>(stride * t.g.height + room));
    reference_convolute(expected.data(), t.src.data(), kernel.data, t.g.width, t.g.height, stride, stride, cols, rows,
                        0, 0);

    const auto src = t.src.bitmap({zeb::um(2.0f), zeb::um(3.0f)});
    const auto valid = zeb::convolution(src, kernel), same_size = zeb::convolution(src, kernel, border);
    ASSERT_EQ(valid.width, t.g.width - cols + 1);
    ASSERT_EQ(valid.height, t.g.height - rows + 1);
    for (int y = 0; y < valid.height; ++y)
      ASSERT_TRUE(std::equal(valid.row(y), valid.row(y) + valid.width, expected.data() + y * stride));
    for_each_pixel(t.g.width, t.g.height, [&](int x, int y) {
      const bool inside = y >= top && y < t.g.height - top && x >= left && x < t.g.width - left;
      ASSERT_EQ(same_size.row(y)[x], inside ? expected[static_cast<std::size_t>((y - top) * stride + x - left)]
                                            : wrapped((border & 255) * std::int64_t{0x01010101}));
    });
    for (const auto* image : {&valid, &same_size}) {
      ASSERT_EQ(image->stride, src.stride);
      ASSERT_EQ(image->pixel_size_x.value, 2.0f);
      ASSERT_EQ(image->pixel_size_y.value, 3.0f);
    }
  });
}

TEST(Convolution, KernelsLargerThanTheImage) {
  Picture src(4, 4, 4, 9);
  const auto inside = zeb::convolution(src.bitmap(), Matrix<int>(1, 7, {1, 1, 1, 1, 1, 1, 1}), 0);
  EXPECT_EQ(std::count(inside.begin(), inside.end(), 0), 16);
  EXPECT_EQ(zeb::convolution(src.bitmap(), Matrix<int>(5, 1)).height, 0);
  EXPECT_THROW(zeb::convolution(src.bitmap(), Matrix<int>(6, 1)), std::bad_alloc);
  EXPECT_DEATH(zeb::convolution(src.bitmap(), Matrix<int>(1, 6)), "");
  EXPECT_NO_THROW(zeb::convolution(src.bitmap(), Matrix<int>(9, 9), 0)) << "9 / 2 columns and rows still fit";
  EXPECT_DEATH(zeb::convolution(src.bitmap(), Matrix<int>(1, 10), 0), "");
  EXPECT_DEATH(zeb::convolution(src.bitmap(), Matrix<int>(10, 1), 0), "");
}

}  // namespace
