#pragma once

#include <gtest/gtest.h>

#include <cstddef>
#include <ostream>
#include <random>
#include <string>
#include <vector>

#include "zeb/image.h"

namespace zeb::testing {

/// `visit(x, y)` for each pixel of an area, row by row.
template <class Visit>
void for_each_pixel(int width, int height, Visit visit) {
  for (int y = 0; y < height; ++y)
    for (int x = 0; x < width; ++x) visit(x, y);
}

/// An 8-bit image for tests that prints itself. It owns its pixels with some room before and behind them, so that a
/// test can watch whether a function wrote where it must not.
class Picture {
 public:
  static constexpr unsigned char padding_value = 0xA5;  ///< what padding and the room around the image hold at first

  /// An image of `value` whose padding and surroundings hold `padding_value`. `offset` moves the first pixel away from
  /// an aligned address.
  Picture(int width, int stride, int height, unsigned char value = 0, int offset = 0)
      : width_(width), stride_(stride), height_(height), first_(room + static_cast<std::size_t>(offset)) {
    const std::size_t area =
        stride > 0 && height > 0 ? static_cast<std::size_t>(stride) * static_cast<std::size_t>(height) : 0;
    bytes_.assign(first_ + area + room, padding_value);
    for (int y = 0; y < height; ++y)
      for (int x = 0; x < width; ++x) (*this)(x, y) = value;
  }

  /// One string per row. A character stands for a pixel: `.` and a space for 0, `#` for 255, any other for `grey`.
  /// The stride is the width unless given.
  static Picture text(const std::vector<std::string>& rows, int stride = 0, unsigned char grey = 128) {
    return from_rows(rows, stride, [grey](char c) { return c == '.' || c == ' ' ? 0 : c == '#' ? 255 : int{grey}; });
  }

  /// One list of grey values per row.
  static Picture grey(const std::vector<std::vector<int>>& rows, int stride = 0) {
    return from_rows(rows, stride, [](int value) { return value; });
  }

  /// Pixels drawn uniformly from 0 to 255, or from {0, 255} with the given share of 255; padding is random too.
  static Picture random(std::mt19937& engine, int width, int stride, int height, int offset = 0) {
    Picture picture(width, stride, height, 0, offset);
    for (auto& byte : picture.bytes_) byte = static_cast<unsigned char>(engine());
    return picture;
  }
  static Picture random_binary(std::mt19937& engine, int width, int stride, int height, double share, int offset = 0) {
    Picture picture(width, stride, height, 0, offset);
    std::bernoulli_distribution set(share);
    for (auto& byte : picture.bytes_) byte = set(engine) ? 255 : 0;
    return picture;
  }

  int width() const { return width_; }
  int stride() const { return stride_; }
  int height() const { return height_; }
  unsigned char* data() { return bytes_.data() + first_; }
  const unsigned char* data() const { return bytes_.data() + first_; }
  unsigned char& operator()(int x, int y) { return data()[std::ptrdiff_t{y} * stride_ + x]; }
  unsigned char operator()(int x, int y) const { return data()[std::ptrdiff_t{y} * stride_ + x]; }

  /// Sets every pixel, but no padding, to the low 8 bits of `value(x, y)`, which is truncated.
  template <class Value>
  Picture& fill(Value value) {
    for_each_pixel(width_, height_, [&](int x, int y) {
      (*this)(x, y) = static_cast<unsigned char>(static_cast<long long>(value(x, y)));
    });
    return *this;
  }

  Mat<unsigned char> mat() { return {data(), width_, stride_, height_}; }
  Bitmap_<unsigned char> bitmap(Point_<um> pixel_size = {}) { return {data(), width_, stride_, height_, pixel_size}; }

  /// Equal in all bytes, padding and surroundings included.
  friend bool operator==(const Picture& a, const Picture& b) {
    return a.width_ == b.width_ && a.stride_ == b.stride_ && a.height_ == b.height_ && a.first_ == b.first_ &&
           a.bytes_ == b.bytes_;
  }

  /// Small images are printed whole (0 as `.`, 255 as `#`, the padding behind a bar), large ones by their size.
  friend void PrintTo(const Picture& picture, std::ostream* os) {
    *os << picture.width_ << " x " << picture.height_ << ", stride " << picture.stride_;
    if (picture.width_ > 64 || picture.height_ > 64) return;
    for (int y = 0; y < picture.height_; ++y) {
      *os << '\n';
      for (int x = 0; x < picture.stride_; ++x) {
        const int p = picture(x, y);
        if (x == picture.width_) *os << " |";
        if (p == 0)
          *os << "   .";
        else if (p == 255)
          *os << "   #";
        else
          *os << std::string(p < 10 ? 3 : p < 100 ? 2 : 1, ' ') << p;
      }
    }
  }

 private:
  template <class Row, class Value>
  static Picture from_rows(const std::vector<Row>& rows, int stride, Value value_of) {
    const int width = rows.empty() ? 0 : static_cast<int>(rows[0].size());
    Picture picture(width, stride != 0 ? stride : width, static_cast<int>(rows.size()));
    for (int y = 0; y < picture.height_; ++y)
      for (int x = 0; x < width; ++x)
        picture(x, y) =
            static_cast<unsigned char>(value_of(rows[static_cast<std::size_t>(y)].at(static_cast<std::size_t>(x))));
    return picture;
  }

  static constexpr std::size_t room = 64;

  int width_, stride_, height_;
  std::size_t first_;
  std::vector<unsigned char> bytes_;
};

/// Equality with the first difference told, for images too large to read.
inline ::testing::AssertionResult same(const Picture& expected, const Picture& actual) {
  for (int y = 0; y < expected.height(); ++y)
    for (int x = 0; x < expected.stride(); ++x)
      if (expected(x, y) != actual(x, y))
        return ::testing::AssertionFailure()
               << "at x " << x << ", y " << y << " expected " << int{expected(x, y)} << ", got " << int{actual(x, y)}
               << "\nexpected: " << ::testing::PrintToString(expected) << "\ngot: " << ::testing::PrintToString(actual);
  return expected == actual ? ::testing::AssertionSuccess()
                            : ::testing::AssertionFailure() << "the bytes around the image differ";
}

}  // namespace zeb::testing
