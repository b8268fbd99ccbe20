#pragma once

#include <smmintrin.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <functional>
#include <utility>

#include "frame/packed.h"

/// What the algorithms of this family share: the images of a call, the pixels that decide, and the element.
namespace zeb::morphology {

struct Images {
  unsigned char* dst;
  const unsigned char* src;
  int width, stride, height;

  bool empty() const { return width < 1 || height < 1; }
  std::ptrdiff_t row(std::int64_t y) const { return static_cast<std::ptrdiff_t>(y) * stride; }
  /// Bytes of all rows, padding included.
  std::size_t bytes() const {
    return stride > 0 && height > 0 ? static_cast<std::size_t>(stride) * static_cast<std::size_t>(height) : 0;
  }
  void fill_padding(unsigned char value) const {
    const int columns = std::max(width, 0);
    if (stride <= columns) return;
    for (int y = 0; y < height; ++y)
      std::memset(dst + row(y) + columns, value, static_cast<std::size_t>(stride - columns));
  }
};

/// The value of a pixel with a decisive one under its element; all others get the complement.
inline unsigned char hit_value(int operation) { return operation == 0 ? 255 : 0; }

/// The pixels that decide: the foreground for a dilation, the background for an erosion.
class Decisive {
 public:
  /// Erosion takes pixels up to the threshold as background.
  static Decisive up_to_threshold(int operation, unsigned char threshold) { return {threshold, operation == 0}; }
  /// Erosion takes pixels below the threshold as background.
  static Decisive below_threshold(int operation, unsigned char threshold) {
    if (operation == 0) return {threshold, true};
    if (threshold == 0) return {255, true};  // none
    return {static_cast<unsigned char>(threshold - 1), false};
  }

  /// Decisive are the pixels above the limit, or else those up to it.
  unsigned char limit() const { return limit_; }
  bool is_above() const { return above_; }

  bool operator()(unsigned char pixel) const { return (pixel > limit_) == above_; }
  /// 0xFF for each decisive pixel of 16.
  __m128i operator()(__m128i pixels) const {
    return _mm_xor_si128(frame::at_most(pixels, frame::splat(limit_)), frame::splat(above_ ? 255 : 0));
  }
  /// A bit for each decisive pixel of the 64 from `from` on, lowest bit first.
  std::uint64_t bits_of_64(const unsigned char* from) const {
    const auto up_to_limit = [this, from](int i) {
      const __m128i excess = _mm_subs_epu8(frame::load(from + i), frame::splat(limit_));
      const __m128i mask = _mm_cmpeq_epi8(excess, _mm_setzero_si128());
      return std::uint64_t{static_cast<std::uint32_t>(_mm_movemask_epi8(mask))} << i;
    };
    return (up_to_limit(0) | up_to_limit(16) | up_to_limit(32) | up_to_limit(48)) ^ (above_ ? ~std::uint64_t{0} : 0);
  }

 private:
  Decisive(unsigned char limit, bool above) : limit_(limit), above_(above) {}

  unsigned char limit_;
  bool above_;
};

/// A structuring element that is symmetric about its centre, given by the half-width of each of its rows.
class Element {
 public:
  /// `half_width(i)` is the half-width of the rows `i` above and below the centre, `0 <= i <= radius`, and is at most
  /// `reach`. It is asked once for the rows near the centre and again and again for those farther away.
  Element(int radius, int reach, std::function<int(int)> half_width) : Element(radius, reach, false) {
    half_width_ = std::move(half_width);
    const int known = std::min<int>(radius, static_cast<int>(near_.size()) - 1);
    for (int i = 0; i <= known; ++i) near_[static_cast<std::size_t>(i)] = half_width_(i);
  }
  /// All rows are alike.
  static Element rectangle(int half_width, int radius) { return Element(radius, half_width, true); }

  int radius() const { return radius_; }
  int reach() const { return reach_; }
  bool is_rectangle() const { return is_rectangle_; }
  int half_width(int i) const {
    if (is_rectangle_) return reach_;
    return static_cast<std::size_t>(i) < near_.size() ? near_[static_cast<std::size_t>(i)] : half_width_(i);
  }

 private:
  Element(int radius, int reach, bool is_rectangle) : radius_(radius), reach_(reach), is_rectangle_(is_rectangle) {}

  int radius_, reach_;
  bool is_rectangle_;
  std::array<int, 512> near_;
  std::function<int(int)> half_width_;
};

/// Half-width at distance `i` of the disk of all offsets with `dx*dx + i*i <= radius*radius`.
int disk_half_width(int radius, int i);

}  // namespace zeb::morphology
