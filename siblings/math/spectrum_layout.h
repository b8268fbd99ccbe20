#pragma once

#include <algorithm>
#include <complex>
#include <cstddef>

#include "zeb/image.h"

namespace zeb {

/// Whether `side` is one that a transform takes: a power of two, from 1 up.
inline bool is_side(int side) { return side > 0 && (side & (side - 1)) == 0; }

inline int exponent_of(int side) { return __builtin_ctz(static_cast<unsigned>(side)); }

/// The frequency at index `i` of a row or column of the unpacked layout.
inline int frequency_at(int i, int side) { return (i + side / 2) & (side - 1); }

template <class T>
T* row_of(const Mat<T>& image, int y) {
  return image.data + std::ptrdiff_t{y} * image.stride;
}

/// Reads and writes the spectrum of a real image in the packed real layout.
class PackedReal {
 public:
  explicit PackedReal(const Mat<float>& packed) : packed_(packed), side_(packed.width) {}

  /// Reads `count` frequencies of row ky, which lie from kx on within 0 to s / 2.
  void read(int ky, int kx, int count, std::complex<float>* to) const {
    for (; count > 0 && is_conjugate_symmetric(kx); --count) *to++ = symmetric(ky, kx++);
    const int plain = 2 * (kx + count - 1) == side_ ? count - 1 : count;
    std::copy_n(row_of(packed_, ky) + 2 * kx, 2 * plain, reinterpret_cast<float*>(to));
    if (plain < count) to[plain] = symmetric(ky, kx + plain);
  }

  /// Writes them. All frequencies of a spectrum are to be written; of a conjugate pair one carries all that is kept.
  void write(int ky, int kx, int count, const std::complex<float>* from) const {
    for (; count > 0 && is_conjugate_symmetric(kx); --count) put_symmetric(ky, kx++, *from++);
    const int plain = 2 * (kx + count - 1) == side_ ? count - 1 : count;
    std::copy_n(reinterpret_cast<const float*>(from), 2 * plain, row_of(packed_, ky) + 2 * kx);
    if (plain < count) put_symmetric(ky, kx + plain, from[plain]);
  }

 private:
  bool is_conjugate_symmetric(int kx) const { return kx == 0 || 2 * kx == side_; }
  int mirrored(int ky) const { return (side_ - ky) & (side_ - 1); }

  std::complex<float> symmetric(int ky, int kx) const {
    const int column = kx == 0 ? 0 : 1, mirror = mirrored(ky);
    const float real = row_of(packed_, std::min(ky, mirror))[column];
    if (ky == mirror) return {real, 0.0f};
    const float imaginary = row_of(packed_, std::max(ky, mirror))[column];
    return {real, ky < mirror ? imaginary : -imaginary};
  }

  void put_symmetric(int ky, int kx, std::complex<float> f) const {
    const int column = kx == 0 ? 0 : 1, mirror = mirrored(ky);
    if (ky <= mirror) row_of(packed_, ky)[column] = f.real();
    if (ky < mirror) row_of(packed_, mirror)[column] = f.imag();
  }

  Mat<float> packed_;
  int side_;
};

}  // namespace zeb
