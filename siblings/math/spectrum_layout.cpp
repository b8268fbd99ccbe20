#include "siblings/math/spectrum_layout.h"

#include <algorithm>
#include <cmath>

#include "zeb/cast.h"
#include "zeb/fft.h"

namespace zeb {
namespace {

bool is_unpacked_of(const Mat<std::complex<float>>& unpacked, int side, int packed_height) {
  return is_side(side) && packed_height == side && unpacked.width == side + 1 && unpacked.height == side + 1;
}

float absolute(std::complex<float> f) { return std::sqrt(f.real() * f.real() + f.imag() * f.imag()); }

}  // namespace

void unpack_fft(Mat<std::complex<float>>& dst, const Mat<std::complex<float>>& src) {
  const int side = src.width;
  if (!is_unpacked_of(dst, side, src.height)) return;
  for (int i = 0; i <= side; ++i)
    for (int j = 0; j <= side; ++j) row_of(dst, i)[j] = row_of(src, frequency_at(i, side))[frequency_at(j, side)];
}

std::vector<std::complex<float>, mem::ProtectedAllocator<std::complex<float>>> unpack_fft_inplace(
    Mat<std::complex<float>>& dst, const Mat<float>& src) {
  const int side = src.width;
  if (!is_unpacked_of(dst, side, src.height)) return {};
  const int columns = side / 2 + 1;
  std::vector<std::complex<float>, mem::ProtectedAllocator<std::complex<float>>> work(
      static_cast<std::size_t>(side) * static_cast<std::size_t>(columns));
  const Mat<std::complex<float>> half(work.data(), columns, columns, side);
  const PackedReal packed(src);
  for (int ky = 0; ky < side; ++ky) packed.read(ky, 0, columns, half.row(ky));
  for (int i = 0; i <= side; ++i)
    for (int j = 0; j <= side; ++j) {
      const int ky = frequency_at(i, side), kx = frequency_at(j, side);
      const bool redundant = kx >= columns;
      row_of(dst, i)[j] =
          redundant ? std::conj(row_of(half, (side - ky) & (side - 1))[side - kx]) : row_of(half, ky)[kx];
    }
  return work;
}

void repack_fft(Mat<std::complex<float>>& dst, const Mat<std::complex<float>>& src) {
  const int side = dst.width;
  if (!is_unpacked_of(src, side, dst.height)) return;
  for (int i = 0; i < side; ++i)
    for (int j = 0; j < side; ++j) row_of(dst, frequency_at(i, side))[frequency_at(j, side)] = row_of(src, i)[j];
}

void cpxreal_to_BM(Mat<unsigned char>& dst, const Mat<std::complex<float>>& src) {
  const int width = std::min(dst.width, src.width);
  const int height = std::min(dst.height, src.height);
  for (int y = 0; y < height; ++y)
    for (int x = 0; x < width; ++x) row_of(dst, y)[x] = to_byte(row_of(src, y)[x].real());
}

float magnitude(float* dst, const std::complex<float>* src, int width, int height, int dst_stride, int src_stride) {
  float largest = 0.0f;
  for (int y = 0; y < height; ++y)
    for (int x = 0; x < width; ++x) {
      const float magnitude = absolute(src[std::ptrdiff_t{y} * src_stride + x]);
      dst[std::ptrdiff_t{y} * dst_stride + x] = magnitude;
      largest = std::max(largest, magnitude);
    }
  return largest;
}

void log2_magnitude(unsigned char* dst, const std::complex<float>* src, int width, int height, int dst_stride,
                    int src_stride, int) {
  for (int y = 0; y < height; ++y)
    for (int x = 0; x < width; ++x)
      dst[std::ptrdiff_t{y} * dst_stride + x] =
          to_byte(8.0f * std::log2(1.0f + absolute(src[std::ptrdiff_t{y} * src_stride + x])));
}

}  // namespace zeb
