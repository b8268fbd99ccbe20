#include <cmath>
#include <cstddef>
#include <cstdint>

#include "frame/scratch.h"
#include "zeb/filters.h"

namespace {

/// Central differences over two pixels.
struct Gradient {
  std::int16_t x, y;

  int squared_length() const { return y * y + x * x; }
};

/// The gradients of an image in rows of `width`, zero in a frame of one pixel.
class GradientField {
 public:
  GradientField(const unsigned char* src, int width, int stride, int height)
      : width_(width), gradients_(std::int64_t{width} * height) {
    if (!gradients_) return;
    const std::ptrdiff_t next_row = stride;
    for (int y = 0; y < height; ++y) {
      const unsigned char* p = src + y * next_row;
      Gradient* const row = &gradients_[std::ptrdiff_t{y} * width];
      const bool inner_row = 1 <= y && y < height - 1;
      for (int x = 0; x < width; ++x) {
        const bool inner = inner_row && 1 <= x && x < width - 1;
        row[x] =
            inner ? Gradient{difference(p[x + 1], p[x - 1]), difference(p[x + next_row], p[x - next_row])} : Gradient{};
      }
    }
  }

  explicit operator bool() const { return static_cast<bool>(gradients_); }
  const Gradient& at(int x, int y) const { return gradients_[std::ptrdiff_t{y} * width_ + x]; }

 private:
  static std::int16_t difference(int a, int b) { return static_cast<std::int16_t>(a - b); }

  int width_;
  zeb::frame::Scratch<Gradient> gradients_;
};

/// Twice the root mean square of the gradients, border included. The sum is a chain of `float` additions in row order.
float automatic_level(const GradientField& field, int width, int height) {
  float energy = 0.0f;
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width; ++x) energy += static_cast<float>(field.at(x, y).squared_length());
  }
  return std::sqrt(energy / static_cast<float>(std::int64_t{width} * height)) * 2.0f;
}

/// Sum over the eight neighbours of the product of both gradients' components across the direction to the neighbour.
float correlation_with_neighbours(const GradientField& field, int x, int y) {
  const Gradient g0 = field.at(x, y);
  float c = 0.0f;
  for (int i = -1; i <= 1; ++i) {
    const float diagonal = std::sqrt(static_cast<float>(i * i + 1));
    const auto add = [&c](int neighbour, int centre, float n) {
      c += (static_cast<float>(neighbour) / n) * (static_cast<float>(centre) / n);
    };
    const Gradient above = field.at(x + i, y - 1);
    add(-(above.x + above.y * i), -(g0.y * i) - g0.x, diagonal);
    if (i != 0) add(-(field.at(x + i, y).y * i), -(g0.y * i), 1.0f);
    const Gradient below = field.at(x + i, y + 1);
    add(below.x - below.y * i, -(g0.y * i) + g0.x, diagonal);
  }
  return c;
}

}  // namespace

namespace zeb {

void Kantenfilter(unsigned char* const dst, const unsigned char* const src, int width, int stride, int height, int mode,
                  short threshold) {
  if (width < 1 || height < 1) return;
  const GradientField field(src, width, stride, height);
  if (!field) return;
  const float t = threshold > 0 ? static_cast<float>(threshold) : automatic_level(field, width, height);
  for (int y = 0; y < height; ++y) {
    unsigned char* const out = dst + std::ptrdiff_t{y} * stride;
    for (int x = 0; x < width; ++x) {
      bool edge = false;
      if (mode == 0) {
        edge = std::sqrt(static_cast<float>(field.at(x, y).squared_length())) > t;
      } else if (2 <= x && x < width - 2 && 2 <= y && y < height - 2) {
        edge = std::fabs(correlation_with_neighbours(field, x, y)) > t * t;
      }
      out[x] = edge ? 255 : 0;
    }
  }
}

void kantenfilter(Mat<unsigned char>& dst, const Mat<unsigned char>& src, int mode, short threshold) {
  Kantenfilter(dst.data, src.data, src.width, src.stride, src.height, mode, threshold);
}

}  // namespace zeb
