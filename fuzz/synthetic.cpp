// Generated images against what their comments say, of any size, empty and negative ones included.

#include "zeb/synthetic.h"

#include <new>

#include "input.h"

namespace {

using zeb::fuzz::check;
using zeb::fuzz::Input;
using namespace zeb::test;

using Picture = zeb::Image<unsigned char>;

/// Checks each pixel by `right(pixel, x, y)`.
template <class Right>
void check_each(const Picture& image, Right right, const char* relation) {
  for (int y = 0; y < image.height; ++y)
    for (int x = 0; x < image.width; ++x) check(right(int{image.at(y, x)}, x, y), relation);
}

void generators(Input& input) {
  const int width = input.integer(-4, 200), height = input.integer(-4, 100), alignment = input.integer(1, 240);
  const int seed = input.integer(-70000, 70000);

  const Picture counted = iota_image(width, alignment, height);
  check(counted.stride >= width && counted.stride % alignment == 0, "strides are multiples of the alignment");
  check_each(
      counted, [&](int v, int x, int y) { return v == (y * counted.stride + x) % 256; }, "iota_image");

  const Picture noise = random_image(width, alignment, height, seed);
  check(is_same(noise, random_image(width, input.integer(1, 240), height, seed)), "a seed gives one picture");

  const float fraction = input.real(0, 1);
  const int limit = static_cast<int>(255.0f - fraction * 255.0f);
  const Picture binary = binary_random_image(width, alignment, height, seed, fraction);
  check_each(
      binary, [&](int v, int x, int y) { return v == (noise.at(y, x) > limit ? 255 : 0); }, "binary_random_image");
  binary_random_image(width, alignment, height, seed, input.any_real());

  const int max = input.integer(-1, 255);
  check_each(
      random_image_max(width, alignment, height, max), [&](int v, int, int) { return v <= std::max(max, 0); },
      "random_image_max");
  random_image_max(width, alignment, height, input.flag() ? INT32_MAX : input.integer(INT32_MIN, -2));
  random_rect_image(width, alignment, height, input.integer(-1, 8), input.real(-2, 60));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  Input input(bytes, size);
  try {
    generators(input);
  } catch (const std::bad_alloc&) {  // for a negative size
  }
  return 0;
}
