#pragma once

#include <random>

#include "tests/support/picture.h"
#include "tests/support/random_geometry.h"

namespace zeb::testing {

/// Noise, or what is left of noise after a majority vote of 3 by 3 pixels: blobs with smooth outlines.
inline Picture random_scene(std::mt19937& engine, int width, int stride, int height, int offset = 0) {
  const double share = 0.02 * pick(engine, 0, 40);
  Picture noise = Picture::random_binary(engine, width, stride, height, share, offset);
  if (pick(engine, 0, 1) == 0) return noise;
  Picture blobs = noise;
  for (int y = 1; y + 1 < height; ++y)
    for (int x = 1; x + 1 < width; ++x) {
      int set = 0;
      for (int j = -1; j <= 1; ++j)
        for (int i = -1; i <= 1; ++i) set += noise(x + i, y + j) != 0;
      blobs(x, y) = set >= 5 ? static_cast<unsigned char>(pick(engine, 1, 255)) : 0;
    }
  return blobs;
}

}  // namespace zeb::testing
