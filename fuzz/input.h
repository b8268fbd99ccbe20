#pragma once

#include <fuzzer/FuzzedDataProvider.h>
#include <sanitizer/asan_interface.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <vector>

#include "zeb/image.h"

/// What the fuzz targets share: images and parameters decoded from the fuzzer's bytes, and the check of a relation.
namespace zeb::fuzz {

/// Ends the run where a relation that the library promises does not hold; the fuzzer then keeps the input.
inline void check(bool holds, const char* relation) {
  if (holds) return;
  std::fprintf(stderr, "zeb fuzz: does not hold: %s\n", relation);
  std::abort();
}

struct Layout {
  int width, stride, height;
  int offset;  ///< distance of the first pixel from an address divisible by 16

  std::size_t rows_end() const { return static_cast<std::size_t>(stride) * static_cast<std::size_t>(height); }
  /// Where the last pixel ends: no padding behind the last row.
  std::size_t pixels_end() const {
    return width > 0 && height > 0 ? rows_end() - static_cast<std::size_t>(stride - width) : 0;
  }
};

/// An image in a heap block that ends with its last byte, so that the address sanitizer sees every access behind it.
/// In front of an unaligned image the block is poisoned as far as the sanitizer's grain of 8 bytes allows; the rest of
/// it, like the padding, is part of what `same_padding` compares.
class Plane {
 public:
  /// Nothing behind the last pixel, but for `room` bytes behind the last row where that is not 0.
  explicit Plane(Layout layout, std::size_t room = 0)
      : layout_(layout),
        size_(static_cast<std::size_t>(layout.offset) + (room == 0 ? layout.pixels_end() : layout.rows_end() + room)),
        block_(new unsigned char[size_]) {
    std::memset(block_.get(), 0xa5, size_);
    guard();
  }
  Plane(const Plane& other) : layout_(other.layout_), size_(other.size_), block_(new unsigned char[size_]) {
    std::memcpy(block_.get() + poisoned(), other.block_.get() + poisoned(), size_ - poisoned());
    guard();
  }
  Plane& operator=(const Plane&) = delete;
  ~Plane() { ASAN_UNPOISON_MEMORY_REGION(block_.get(), poisoned()); }

  /// The same bytes with `room` bytes of zero behind the last row, whose padding is zero as well.
  Plane with_room(std::size_t room) const {
    Plane copy(layout_, room);
    unsigned char* begin = copy.block_.get() + poisoned();
    std::memset(begin, 0, copy.size_ - poisoned());
    std::memcpy(begin, block_.get() + poisoned(), std::min(size_, copy.size_) - poisoned());
    return copy;
  }

  const Layout& layout() const { return layout_; }
  int width() const { return layout_.width; }
  int stride() const { return layout_.stride; }
  int height() const { return layout_.height; }
  unsigned char* data() { return block_.get() + layout_.offset; }
  const unsigned char* data() const { return block_.get() + layout_.offset; }
  unsigned char& operator()(int x, int y) { return data()[std::ptrdiff_t{y} * layout_.stride + x]; }
  unsigned char operator()(int x, int y) const { return data()[std::ptrdiff_t{y} * layout_.stride + x]; }
  bool contains(int x, int y) const { return 0 <= x && x < layout_.width && 0 <= y && y < layout_.height; }

  Mat<unsigned char> mat() { return {data(), layout_.width, layout_.stride, layout_.height}; }
  Bitmap_<unsigned char> bitmap() { return {data(), layout_.width, layout_.stride, layout_.height, {1, 1}}; }

  /// Both of one layout, as for the next two.
  friend bool same_pixels(const Plane& a, const Plane& b) {
    for (int y = 0; y < a.height() && a.width() > 0; ++y)
      if (std::memcmp(&a.data()[std::ptrdiff_t{y} * a.stride()], &b.data()[std::ptrdiff_t{y} * b.stride()],
                      static_cast<std::size_t>(a.width())) != 0)
        return false;
    return true;
  }
  /// Equal in all bytes that are no pixels.
  friend bool same_padding(const Plane& a, const Plane& b) {
    const auto first = static_cast<std::size_t>(a.layout_.offset);
    const auto stride = static_cast<std::size_t>(std::max(1, a.stride()));
    for (std::size_t i = a.poisoned(); i < std::min(a.size_, b.size_); ++i) {
      const bool pixel = i >= first && (i - first) / stride < static_cast<std::size_t>(a.height()) &&
                         (i - first) % stride < static_cast<std::size_t>(a.width());
      if (!pixel && a.block_[i] != b.block_[i]) return false;
    }
    return true;
  }
  friend bool same_bytes(const Plane& a, const Plane& b) { return same_pixels(a, b) && same_padding(a, b); }

  /// Largest difference of two pixels at the same place.
  friend int largest_difference(const Plane& a, const Plane& b) {
    int largest = 0;
    for (int y = 0; y < a.height(); ++y)
      for (int x = 0; x < a.width(); ++x) largest = std::max(largest, std::abs(a(x, y) - b(x, y)));
    return largest;
  }

 private:
  std::size_t poisoned() const { return static_cast<std::size_t>(layout_.offset) & ~std::size_t{7}; }
  void guard() { ASAN_POISON_MEMORY_REGION(block_.get(), poisoned()); }

  Layout layout_;
  std::size_t size_;
  std::unique_ptr<unsigned char[]> block_;
};

/// Parameters and images from the fuzzer's bytes; zeros once those are used up.
class Input {
 public:
  Input(const std::uint8_t* bytes, std::size_t size) : bytes_(bytes, size) {}

  int integer(int lowest, int highest) { return bytes_.ConsumeIntegralInRange(lowest, highest); }
  unsigned char byte() { return bytes_.ConsumeIntegral<unsigned char>(); }
  bool flag() { return bytes_.ConsumeBool(); }
  float real(float lowest, float highest) { return bytes_.ConsumeFloatingPointInRange(lowest, highest); }
  /// Any float at all, NaN and infinities included.
  float any_real() {
    const auto bits = bytes_.ConsumeIntegral<std::uint32_t>();
    float value;
    std::memcpy(&value, &bits, sizeof value);
    return value;
  }

  /// Sides from 0 to `largest`, more often small ones; padding up to 40.
  Layout layout(int largest = 200) {
    static constexpr int sizes[] = {20, 70, 200};
    const int limit = std::min(largest, bytes_.PickValueInArray(sizes));
    Layout layout{};
    layout.width = integer(0, limit);
    layout.stride = layout.width + (flag() ? integer(0, 40) : 0);
    layout.height = integer(0, limit);
    layout.offset = integer(0, 15);
    return layout;
  }

  /// A grey or binary picture. Few bytes make a large one: they are repeated, drawn as rectangles or start a generator.
  Plane picture(Layout layout, bool binary, std::size_t room = 0) {
    Plane plane(layout, room);
    const int kind = integer(0, 3);
    std::uint32_t state = bytes_.ConsumeIntegral<std::uint16_t>() + 1u;
    const int share = byte();
    const auto random = [&state] {
      state ^= state << 13;
      state ^= state >> 17;
      state ^= state << 5;
      return state >> 8;
    };
    const auto bytes = kind == 0 ? bytes_.ConsumeBytes<unsigned char>(static_cast<std::size_t>(integer(0, 1000)))
                                 : std::vector<unsigned char>{};
    std::size_t next = 0;
    const auto pixel = [&]() -> unsigned char {
      if (kind == 0 && !bytes.empty()) {
        if (!binary) return bytes[next++ % bytes.size()];
        const std::size_t bit = next++ % (8 * bytes.size());
        return (bytes[bit / 8] >> bit % 8 & 1) != 0 ? 255 : 0;
      }
      if (kind != 1) return 0;
      const auto value = static_cast<unsigned char>(random());
      return binary ? (value < share ? 255 : 0) : value;
    };
    for (int y = 0; y < layout.height; ++y)
      for (int x = 0; x < layout.width; ++x) plane(x, y) = pixel();
    for (int i = 0; kind >= 2 && i < share % 32; ++i) {
      const auto value = static_cast<unsigned char>(kind == 2 || binary ? (random() % 4 == 0 ? 0 : 255) : random());
      const int x1 = static_cast<int>(random() % 200), y1 = static_cast<int>(random() % 200);
      const int columns = static_cast<int>(random() % (kind == 2 ? 60 : 4)) + 1;
      const int rows = static_cast<int>(random() % 60) + 1;
      for (int y = y1; y < std::min(layout.height, y1 + rows); ++y)
        for (int x = x1; x < std::min(layout.width, x1 + columns); ++x) plane(x, y) = value;
    }
    return plane;
  }
  Plane picture(Layout layout) { return picture(layout, flag()); }

 private:
  FuzzedDataProvider bytes_;
};

}  // namespace zeb::fuzz
