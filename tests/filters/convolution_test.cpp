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

Ints row_of(const zeb::Bitmap_<int>& image, int y, int columns) { return Ints(image.row(y), image.row(y) + columns); }

TEST(Convolution, IsACorrelationWithoutMirroring) {
  Picture src = Picture::grey({{1, 2, 3, 4, 5}, {6, 7, 8, 9, 10}, {11, 12, 13, 14, 15}}, 16);
  const auto bitmap = src.bitmap({zeb::um(2.0f), zeb::um(3.0f)});
  const Matrix<int> kernel(2, 4, {1, 0, 0, -2, -3, 0, 0, 1});
  const auto valid = zeb::convolution(bitmap, kernel), same_size = zeb::convolution(bitmap, kernel, 0x1FE);
  for (const auto* image : {&valid, &same_size}) {
    EXPECT_EQ(image->stride, 16);
    EXPECT_EQ(image->pixel_size_x.value, 2.0f);
    EXPECT_EQ(image->pixel_size_y.value, 3.0f);
  }
  EXPECT_EQ(std::pair(valid.width, valid.height), std::pair(2, 2));
  EXPECT_EQ(std::pair(same_size.width, same_size.height), std::pair(5, 3));
  // 1 - 2 * 4 - 3 * 6 + 9 = -16, and for 1 - 2 - 3 + 1 = -3 less by 3 with each column and by 15 with each row.
  EXPECT_EQ(row_of(valid, 0, 2), (Ints{-16, -19}));
  EXPECT_EQ(row_of(valid, 1, 2), (Ints{-31, -34}));
  // The low byte of the border value is repeated, and an even kernel loses a computed row and column to the border.
  constexpr int border = -0x01010102;
  EXPECT_EQ(row_of(same_size, 0, 16), Ints(16, border)) << "padding included";
  EXPECT_EQ(row_of(same_size, 1, 5), (Ints{border, border, -16, border, border}));
  EXPECT_EQ(row_of(same_size, 2, 16), Ints(16, border));
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
