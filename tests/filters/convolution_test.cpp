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
  std::mt19937 engine(1);
  for (int i = 0; i < 2000; ++i) {
    const int width = pick(engine, -20, 120), height = pick(engine, -1, 5), a = random_coefficient(engine);
    const auto stride = [&] { return std::max(width, 0) + (pick(engine, 0, 1) == 0 ? 0 : pick(engine, 0, 40)); };
    const int dst_stride = stride(), src_stride = stride(), y_stride = i % 2 == 0 ? dst_stride : stride();
    const auto size = [&](int s) { return std::max(height, 0) * s + room; };
    const Picture src = Picture::random(engine, size(src_stride), size(src_stride), 1, pick(engine, 0, 15));
    const Ints y = random_ints(engine, size(y_stride));
    Ints dst = i % 2 == 0 ? y : random_ints(engine, size(dst_stride)), expected = dst;
    reference_saxpy(expected.data(), src.data(), width, height, dst_stride, src_stride, a, y.data(), y_stride);
    zeb::saxpy(dst.data(), src.data(), width, height, dst_stride, src_stride, a, i % 2 == 0 ? dst.data() : y.data(),
               y_stride);
    ASSERT_EQ(expected, dst) << "trial " << i << ": " << width << " x " << height << ", a " << a;
  }
}

TEST(Convolute, AddsUpOneSaxpyACoefficientPaddingAndSpillIncluded) {
  std::mt19937 engine(2);
  for (int i = 0; i < 2000; ++i) {
    const int kernel_width = pick(engine, 0, i % 10 == 0 ? 40 : 7), kernel_height = pick(engine, 0, 6);
    const int width = pick(engine, 0, 90), height = pick(engine, 0, 9);
    const int src_stride = width + (pick(engine, 0, 1) == 0 ? 0 : pick(engine, 0, 40));
    const int dst_stride = pick(engine, 0, 1) == 0 ? src_stride : width + pick(engine, 0, 40);
    const int origin_x = pick(engine, 0, 1) == 0 ? 0 : kernel_width / 2, origin_y = pick(engine, 0, kernel_height / 2);
    Ints kernel(static_cast<std::size_t>(kernel_width * kernel_height));
    const int largest = pick(engine, 0, 9);
    for (int& a : kernel) a = largest == 0 ? random_coefficient(engine) : pick(engine, 1 - largest, largest);
    const int src_size = height * src_stride + room;
    const Picture src = Picture::random(engine, src_size, src_size, 1, pick(engine, 0, 15));
    Ints dst = random_ints(engine, height * dst_stride + 2 * room), expected = dst;
    reference_convolute(expected.data(), src.data(), kernel.data(), width, height, dst_stride, src_stride, kernel_width,
                        kernel_height, origin_x, origin_y);
    zeb::convolute(dst.data(), src.data(), kernel.data(), width, height, dst_stride, src_stride, kernel_width,
                   kernel_height, origin_x, origin_y);
    ASSERT_EQ(expected, dst) << "trial " << i << ": " << width << " x " << height << ", kernel " << kernel_width
                             << " x " << kernel_height;
  }
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

    const auto valid = zeb::convolution(t.src.bitmap(), kernel);
    ASSERT_EQ(valid.width, t.g.width - cols + 1);
    ASSERT_EQ(valid.height, t.g.height - rows + 1);
    for (int y = 0; y < valid.height; ++y)
      ASSERT_TRUE(std::equal(valid.row(y), valid.row(y) + valid.width, expected.data() + y * stride));

    const auto same_size = zeb::convolution(t.src.bitmap(), kernel, border);
    for (int y = 0; y < t.g.height; ++y)
      for (int x = 0; x < t.g.width; ++x) {
        const bool inside = y >= top && y < t.g.height - top && x >= left && x < t.g.width - left;
        ASSERT_EQ(same_size.row(y)[x], inside ? expected[static_cast<std::size_t>((y - top) * stride + x - left)]
                                              : wrapped((border & 255) * std::int64_t{0x01010101}));
      }
  });
}

Ints row_of(const zeb::Mat<int>& image, int y) { return Ints(image.row(y), image.row(y) + image.width); }

TEST(Convolution, OddBlockColumnsMissCoefficientsAboveOne) {
  Picture src(19, 20, 1, 10);
  const auto smooth = zeb::convolution(src.bitmap({zeb::um(2.0f), zeb::um(3.0f)}), Matrix<int>(1, 3, {1, 2, 1}));
  // The stride of 20 leaves one block of 16 columns; the 17th is scalar.
  EXPECT_EQ(row_of(smooth, 0), (Ints{40, 20, 40, 20, 40, 20, 40, 20, 40, 20, 40, 20, 40, 20, 40, 20, 40}));
  EXPECT_EQ(smooth.stride, 20);
  EXPECT_EQ(smooth.pixel_size_x.value, 2.0f);
  EXPECT_EQ(smooth.pixel_size_y.value, 3.0f);
}

TEST(Convolution, IsACorrelationWithoutMirroring) {
  Picture src = Picture::grey({{1, 2, 3, 4}, {5, 6, 7, 8}, {9, 10, 11, 12}}, 16);
  const auto same_size = zeb::convolution(src.bitmap(), Matrix<int>(2, 2, {1, -2, -3, 1}), 0x1FF);
  EXPECT_EQ(Ints(same_size.row(0), same_size.row(0) + 16), Ints(16, -1)) << "padding included";
  // 1 - 2 * 2 - 3 * 5 + 6 = -12, and 3 less with each column, for 1 - 2 - 3 + 1 = -3.
  EXPECT_EQ(row_of(same_size, 1), (Ints{-1, -12, -15, -1})) << "an even kernel loses a computed column";
  EXPECT_EQ(Ints(same_size.row(2), same_size.row(2) + 16), Ints(16, -1)) << "and a computed row";
}

TEST(Convolution, KernelsLargerThanTheImage) {
  Picture src(4, 4, 4, 9);
  const auto inside = zeb::convolution(src.bitmap(), Matrix<int>(1, 7, {1, 1, 1, 1, 1, 1, 1}), 0);
  for (int y = 0; y < 4; ++y) EXPECT_EQ(row_of(inside, y), Ints(4, 0));
  EXPECT_EQ(zeb::convolution(src.bitmap(), Matrix<int>(5, 1)).height, 0);
  EXPECT_THROW(zeb::convolution(src.bitmap(), Matrix<int>(6, 1)), std::bad_alloc);
  EXPECT_DEATH(zeb::convolution(src.bitmap(), Matrix<int>(1, 6)), "");
  EXPECT_NO_THROW(zeb::convolution(src.bitmap(), Matrix<int>(9, 9), 0)) << "9 / 2 columns and rows still fit";
  EXPECT_DEATH(zeb::convolution(src.bitmap(), Matrix<int>(1, 10), 0), "");
  EXPECT_DEATH(zeb::convolution(src.bitmap(), Matrix<int>(10, 1), 0), "");
}

}  // namespace
