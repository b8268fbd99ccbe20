#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <limits>

#include "frame/packed.h"
#include "zeb/filters.h"

namespace zeb {
namespace {

constexpr int block = 16;

__m128i load(const int* from) { return _mm_loadu_si128(reinterpret_cast<const __m128i*>(from)); }
void store(int* to, __m128i elements) { _mm_storeu_si128(reinterpret_cast<__m128i*>(to), elements); }

/// The columns of a row that `saxpy` takes in blocks of 16. The last block may pass `width` as long as all strides
/// leave room for it.
std::ptrdiff_t block_columns(int width, int dst_stride, int src_stride, int y_stride) {
  const std::int64_t whole = (std::int64_t{width} + block - 1) & ~std::int64_t{block - 1};
  const std::int64_t room = std::min({dst_stride, src_stride, y_stride}) & ~(block - 1);
  return static_cast<std::ptrdiff_t>(std::max<std::int64_t>(0, std::min(whole, room)));
}

int multiply_add(int a, unsigned char pixel, int y) {
  return static_cast<int>(static_cast<unsigned>(a) * pixel + static_cast<unsigned>(y));
}

/// The blocks of one row; `product` makes the addends of four columns from their pixels.
template <class Product>
void add_blocks(int* dst, const unsigned char* src, const int* y, std::ptrdiff_t columns, Product product) {
  for (std::ptrdiff_t x = 0; x < columns; x += block) {
    const __m128i pixels = frame::load(src + x);
    store(dst + x, _mm_add_epi32(load(y + x), product(_mm_cvtepu8_epi32(pixels))));
    store(dst + x + 4, _mm_add_epi32(load(y + x + 4), product(_mm_cvtepu8_epi32(_mm_srli_si128(pixels, 4)))));
    store(dst + x + 8, _mm_add_epi32(load(y + x + 8), product(_mm_cvtepu8_epi32(_mm_srli_si128(pixels, 8)))));
    store(dst + x + 12, _mm_add_epi32(load(y + x + 12), product(_mm_cvtepu8_epi32(_mm_srli_si128(pixels, 12)))));
  }
}

}  // namespace

void saxpy(int* const dst, const unsigned char* const src, int width, int height, int dst_stride, int src_stride, int a,
           const int* const y, int y_stride) {
  const std::ptrdiff_t blocks_end = a < 0 ? 0 : block_columns(width, dst_stride, src_stride, y_stride);
  const __m128i factor = _mm_set1_epi32(a);
  for (int row = 0; row < height; ++row) {
    int* const to = dst + std::ptrdiff_t{row} * dst_stride;
    const unsigned char* const from = src + std::ptrdiff_t{row} * src_stride;
    const int* const addend = y + std::ptrdiff_t{row} * y_stride;
    if (a == 0)
      for (std::ptrdiff_t x = 0; x < blocks_end; x += 4) store(to + x, load(addend + x));
    else if (a == 1)
      add_blocks(to, from, addend, blocks_end, [](__m128i pixels) { return pixels; });
    else
      // The multiply takes every second column and its 64-bit product fills two: odd columns get the high half.
      add_blocks(to, from, addend, blocks_end, [=](__m128i pixels) { return _mm_mul_epi32(pixels, factor); });
    for (std::ptrdiff_t x = blocks_end; x < width; ++x) to[x] = multiply_add(a, from[x], addend[x]);
  }
}

namespace {

/// Two neighbouring coefficients of a kernel row. Sixteen-bit products of neighbours are added by one instruction,
/// which leaves a sum for every second column.
struct TapPair {
  std::ptrdiff_t offset;  ///< of the left one's pixel from the output column
  int left, right;
  __m128i packed;
};

/// As many taps as one pass over the image takes.
class TapList {
 public:
  static constexpr int capacity = 64;

  void add(std::ptrdiff_t offset, int left, int right) {
    if (left == 0 && right == 0) return;
    pairs_[count_++] = {offset, left, right,
                        _mm_set1_epi32(static_cast<int>((static_cast<unsigned>(right) << 16) |
                                                        (static_cast<unsigned>(left) & 0xFFFFu)))};
  }
  bool full() const { return count_ == capacity; }
  bool empty() const { return count_ == 0; }
  const TapPair* begin() const { return pairs_; }
  const TapPair* end() const { return pairs_ + count_; }

 private:
  int count_ = 0;
  TapPair pairs_[capacity];
};

/// Sixteen sums, four columns each.
struct BlockSums {
  __m128i columns[4];
};

/// The sums of 16 columns from `from` on, even and odd columns by their own taps.
BlockSums block_sums(const unsigned char* from, const TapList& even, const TapList& odd) {
  const auto sums_of_every_second = [](const unsigned char* first, const TapList& taps, __m128i& low, __m128i& high) {
    low = high = _mm_setzero_si128();
    for (const TapPair& tap : taps) {
      const __m128i pixels = frame::load(first + tap.offset);
      low = _mm_add_epi32(low, _mm_madd_epi16(frame::low_words(pixels), tap.packed));
      high = _mm_add_epi32(high, _mm_madd_epi16(frame::high_words(pixels), tap.packed));
    }
  };
  __m128i even_low, even_high, odd_low, odd_high;
  sums_of_every_second(from, even, even_low, even_high);
  sums_of_every_second(from + 1, odd, odd_low, odd_high);
  return {{_mm_unpacklo_epi32(even_low, odd_low), _mm_unpackhi_epi32(even_low, odd_low),
           _mm_unpacklo_epi32(even_high, odd_high), _mm_unpackhi_epi32(even_high, odd_high)}};
}

void add_to(int* to, const BlockSums& sums) {
  for (int i = 0; i < 4; ++i) store(to + 4 * i, _mm_add_epi32(load(to + 4 * i), sums.columns[i]));
}

/// `a` in the columns below `inside`, `b` in the others.
BlockSums blend(const BlockSums& a, const BlockSums& b, int inside) {
  BlockSums blended;
  for (int i = 0; i < 4; ++i) {
    const __m128i column = _mm_add_epi32(_mm_setr_epi32(0, 1, 2, 3), _mm_set1_epi32(4 * i));
    blended.columns[i] = _mm_blendv_epi8(b.columns[i], a.columns[i], _mm_cmplt_epi32(column, _mm_set1_epi32(inside)));
  }
  return blended;
}

/// What one `saxpy` for each of many taps adds up to, in one pass: the sums wrap around, so their order is free.
class Pass {
 public:
  bool full() const { return all_.full(); }

  void add(std::ptrdiff_t offset, int left, int right) {
    const auto up_to_1 = [](int a) { return a > 1 ? 0 : a; };
    const auto not_negative = [](int a) { return std::max(a, 0); };
    all_.add(offset, left, right);
    odd_columns_.add(offset, up_to_1(left), up_to_1(right));
    padding_.add(offset, not_negative(left), not_negative(right));
    odd_padding_.add(offset, not_negative(up_to_1(left)), not_negative(up_to_1(right)));
  }

  void run(int* dst, const unsigned char* src, int width, int height, int dst_stride, int src_stride) const {
    const std::ptrdiff_t blocks_end = block_columns(width, dst_stride, src_stride, dst_stride);
    for (int y = 0; y < height && !all_.empty(); ++y) {
      int* const to = dst + std::ptrdiff_t{y} * dst_stride;
      const unsigned char* const from = src + std::ptrdiff_t{y} * src_stride;
      std::ptrdiff_t x = 0;
      for (; x < blocks_end && x + block <= width; x += block) add_to(to + x, block_sums(from + x, all_, odd_columns_));
      if (x < blocks_end) {
        add_to(to + x, blend(block_sums(from + x, all_, odd_columns_), block_sums(from + x, padding_, odd_padding_),
                             static_cast<int>(width - x)));
        x += block;
      }
      for (; x < width; ++x)
        for (const TapPair& tap : all_) {
          const unsigned char* const pixels = from + x + tap.offset;
          to[x] = multiply_add(tap.left, pixels[0], multiply_add(tap.right, pixels[1], to[x]));
        }
    }
  }

 private:
  TapList all_;
  TapList odd_columns_;  ///< coefficients above 1 give nothing there
  TapList padding_;      ///< negative coefficients give nothing behind the width
  TapList odd_padding_;
};

bool fits_16_bits(int a) {
  return std::numeric_limits<std::int16_t>::min() <= a && a <= std::numeric_limits<std::int16_t>::max();
}

}  // namespace

void convolute(int* const dst, const unsigned char* const src, const int* const kernel, int width, int height,
               int dst_stride, int src_stride, int kernel_width, int kernel_height, int origin_x, int origin_y) {
  if (kernel_height < 1 || kernel_width < 1 || width < kernel_width || height < kernel_height) return;
  const int columns = width - kernel_width + 1, rows = height - kernel_height + 1;
  int* const base = dst + (std::ptrdiff_t{origin_y} * dst_stride + origin_x);
  const auto single_tap = [&](std::ptrdiff_t offset, int a) {
    if (a != 0) saxpy(base, src + offset, columns, rows, dst_stride, src_stride, a, base, dst_stride);
  };

  Pass pass;
  for (int ky = 0; ky < kernel_height; ++ky) {
    const int* const coefficients = kernel + std::ptrdiff_t{ky} * kernel_width;
    const std::ptrdiff_t row = std::ptrdiff_t{ky} * src_stride;
    if (kernel_width == 1) single_tap(row, coefficients[0]);
    for (int kx = 0; kernel_width > 1 && kx < kernel_width; kx += 2) {
      // The last pair of an odd row overlaps the one before, so that no pixel right of the kernel is read.
      const int left = std::min(kx, kernel_width - 2);
      int pair[] = {left < kx ? 0 : coefficients[left], coefficients[left + 1]};
      for (int i : {0, 1})
        if (!fits_16_bits(pair[i])) {
          single_tap(row + left + i, pair[i]);
          pair[i] = 0;
        }
      pass.add(row + left, pair[0], pair[1]);
      if (pass.full()) {
        pass.run(base, src, columns, rows, dst_stride, src_stride);
        pass = Pass();
      }
    }
  }
  pass.run(base, src, columns, rows, dst_stride, src_stride);
}

// Views and kernels are handles; the interface takes them by value.
template <>
Image<int> convolution(Bitmap_<unsigned char> src, Matrix<int> kernel) {
  using detail::wrapping_add, detail::wrapping_sub;
  Image<int> result(wrapping_add(wrapping_sub(src.width, kernel.cols), 1), src.stride,
                    wrapping_add(wrapping_sub(src.height, kernel.rows), 1), {src.pixel_size_x, src.pixel_size_y});
  clear(result);
  convolute(result.data, src.data, kernel.data, src.width, src.height, result.stride, src.stride, kernel.cols,
            kernel.rows, 0, 0);
  return result;
}

template <>
Image<int> convolution(Bitmap_<unsigned char> src, Matrix<int> kernel, int border) {
  Image<int> result(src.width, src.stride, src.height, {src.pixel_size_x, src.pixel_size_y});
  clear(result);
  const int border_x = kernel.cols / 2, border_y = kernel.rows / 2;
  // With one or two kernel rows the last block reaches up to eight elements past the last row. The slack that every
  // image has behind its pixels takes them.
  convolute(result.data, src.data, kernel.data, src.width, src.height, result.stride, src.stride, kernel.cols,
            kernel.rows, border_x, border_y);

  const int fill = static_cast<int>((static_cast<unsigned>(border) & 0xFFu) * 0x01010101u);
  const auto fill_columns = [&](int first, int last) {
    for (int y = 0; y < result.height; ++y)
      for (int x = first; x < last; ++x) result.at(y, x) = fill;
  };
  const auto fill_rows = [&](int first, int last) {
    for (int y = first; y < last; ++y) std::fill_n(result.row(y), result.stride, fill);
  };
  fill_columns(0, border_x);
  fill_columns(result.width - border_x, result.width);
  fill_rows(0, border_y);
  fill_rows(result.height - border_y, result.height);
  return result;
}

}  // namespace zeb
