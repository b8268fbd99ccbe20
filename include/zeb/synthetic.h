#pragma once

#include "zeb/export.h"
#include "zeb/image.h"

/// \file
/// Synthetic images to try things on.
///
/// The generators return images with pixel sizes of 0 micrometres, laid out by `Image(width, alignment, height, ...)`,
/// and throw what that constructor throws. Random ones draw from `std::mt19937`: the same seed gives the same pixels on
/// every platform. The forms without a seed take one from `std::random_device`. A random byte is the low byte of one
/// output of the engine.

namespace zeb::test {

/// Counts up through the buffer, padding included: the byte at offset `i` is `i mod 256`.
ZEB_API Image<unsigned char> iota_image(int width, int alignment, int height);

/// A random byte per pixel, row by row from the left. Padding is not initialised.
ZEB_API Image<unsigned char> random_image(int width, int alignment, int height);
/// The same from a seed.
ZEB_API Image<unsigned char> random_image(int width, int alignment, int height, int seed);

/// A random byte modulo `max + 1` per pixel; with a `max` of -1 all pixels are 0, a smaller one acts like `-max - 2`.
/// Padding is not initialised.
ZEB_API Image<unsigned char> random_image_max(int width, int alignment, int height, int max);

/// Pixels of 255 where a random byte is above a limit, else 0. The limit is `255 - fraction * 255`, truncated and taken
/// modulo 256, so that nearly `fraction` of the pixels are set; a `fraction` from 0 to 1 makes sense. Padding is not
/// initialised.
ZEB_API Image<unsigned char> binary_random_image(int width, int alignment, int height, int seed, float fraction);

/// `count` outlines of random rectangles, grey values and thicknesses from 0 to `max_thickness` (rounded down to
/// hundredths) on black. Corners range over half the sum of the image's sides and so may lie outside. Padding is 0 or
/// painted like pixels.
ZEB_API Image<unsigned char> random_rect_image(int width, int alignment, int height, int count, float max_thickness);

/// Whether two images have equal width, height and pixels. Padding and pixel sizes do not count. Images of a width or
/// height below 1 have no pixels that could differ.
ZEB_API bool is_same(const Image<unsigned char>& a, const Image<unsigned char>& b);

}  // namespace zeb::test
