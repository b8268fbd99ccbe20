#include <cstdint>
#include <cstring>
#include <random>

#include "frame/rounding.h"
#include "zeb/drawing.h"
#include "zeb/synthetic.h"

namespace zeb::test {
namespace {

Image<unsigned char> blank(int width, int alignment, int height) {
  return Image<unsigned char>(width, alignment, height, Point_<um>{um(0), um(0)});
}

std::mt19937 engine_for(int seed) { return std::mt19937(static_cast<std::uint32_t>(seed)); }
std::mt19937 engine_from_the_system() { return std::mt19937(std::random_device{}()); }

/// The low byte, which differs from what the platform's own distributions take.
unsigned char draw_byte(std::mt19937& engine) { return static_cast<unsigned char>(engine()); }

/// A uniform integer from 0 to `n`. A negative `n` counts as 0, which draws nothing from the engine.
std::uint32_t uniform(std::mt19937& engine, int n) {
  if (n <= 0) return 0;
  const std::uint32_t m = static_cast<std::uint32_t>(n) + 1;
  const std::uint32_t whole_ranges = UINT32_MAX / m, last_rest = UINT32_MAX % m;
  for (;;) {
    const auto r = static_cast<std::uint32_t>(engine());
    if (r / m < whole_ranges || last_rest == m - 1) return r % m;
  }
}

template <class PixelFromByte>
Image<unsigned char> noise(std::mt19937 engine, int width, int alignment, int height, PixelFromByte pixel) {
  Image<unsigned char> image = blank(width, alignment, height);
  for (int y = 0; y < height; ++y)
    for (int x = 0; x < width; ++x) image.at(y, x) = pixel(draw_byte(engine));
  return image;
}

unsigned char as_drawn(unsigned char v) { return v; }

}  // namespace

Image<unsigned char> iota_image(int width, int alignment, int height) {
  Image<unsigned char> image = blank(width, alignment, height);
  unsigned char next = 0;
  for (unsigned char& p : image) p = next++;
  return image;
}

Image<unsigned char> random_image(int width, int alignment, int height) {
  return noise(engine_from_the_system(), width, alignment, height, as_drawn);
}

Image<unsigned char> random_image(int width, int alignment, int height, int seed) {
  return noise(engine_for(seed), width, alignment, height, as_drawn);
}

Image<unsigned char> random_image_max(int width, int alignment, int height, int max) {
  const std::int64_t modulus = std::int64_t{max} + 1;
  return noise(engine_from_the_system(), width, alignment, height,
               [modulus](unsigned char v) { return static_cast<unsigned char>(modulus == 0 ? 0 : v % modulus); });
}

Image<unsigned char> binary_random_image(int width, int alignment, int height, int seed, float fraction) {
  const auto limit = static_cast<unsigned char>(frame::trunc(255.0f - fraction * 255.0f));
  return noise(engine_for(seed), width, alignment, height,
               [limit](unsigned char v) { return static_cast<unsigned char>(limit < v ? 255 : 0); });
}

Image<unsigned char> random_rect_image(int width, int alignment, int height, int count, float max_thickness) {
  std::mt19937 engine = engine_from_the_system();
  const int extent = static_cast<int>((std::int64_t{width} + height) / 2);
  const int thickest = frame::trunc(max_thickness * 100.0f);
  Image<unsigned char> image = blank(width, alignment, height);
  if (width >= 0) clear(image);
  const auto coordinate = [&] { return static_cast<int>(uniform(engine, extent)); };
  for (int i = 0; i < count; ++i) {
    const int y1 = coordinate();
    const int x1 = coordinate();
    const int y2 = coordinate();
    const int x2 = coordinate();
    const auto value = static_cast<unsigned char>(uniform(engine, 255));
    const float thickness = static_cast<float>(uniform(engine, thickest)) / 100.0f;
    draw_rect(image, Rect__<Point_<int>>({x1, y1}, {x2, y2}), thickness, value);
  }
  return image;
}

bool is_same(const Image<unsigned char>& a, const Image<unsigned char>& b) {
  if (a.width != b.width || a.height != b.height) return false;
  for (int y = 0; y < a.height && a.width > 0; ++y)
    if (std::memcmp(a.row(y), b.row(y), static_cast<std::size_t>(a.width)) != 0) return false;
  return true;
}

}  // namespace zeb::test
