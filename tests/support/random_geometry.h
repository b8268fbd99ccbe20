#pragma once

#include <ostream>
#include <random>

#include "tests/support/picture.h"

namespace zeb::testing {

/// Uniform over `lowest` to `highest`, both included.
inline int pick(std::mt19937& engine, int lowest, int highest) {
  return std::uniform_int_distribution<int>(lowest, highest)(engine);
}

/// A random image layout: narrow and wide, with and without padding, at any alignment.
struct Geometry {
  int width, stride, height, offset;

  static Geometry random(std::mt19937& engine, int largest_width = 200, int largest_height = 40) {
    Geometry g{};
    g.width = pick(engine, 1, largest_width);
    g.stride = g.width + (pick(engine, 0, 2) == 0 ? 0 : pick(engine, 0, 40));
    g.height = pick(engine, 0, largest_height);
    g.offset = pick(engine, 0, 15);
    return g;
  }

  /// Random pixels and padding in this layout, at any alignment.
  Picture picture(std::mt19937& engine) const {
    return Picture::random(engine, width, stride, height, pick(engine, 0, 15));
  }

  friend std::ostream& operator<<(std::ostream& os, const Geometry& g) {
    return os << "width " << g.width << ", stride " << g.stride << ", height " << g.height << ", offset " << g.offset;
  }
};

/// One of many calls with random parameters: images of one layout, to read and to write, and where to draw from.
struct Trial {
  std::mt19937& engine;
  int number;
  Geometry g;
  Picture src, dst;
};

/// Runs `test(trial)` over random layouts until one fails an assertion.
template <class Test>
void for_each_trial(int count, int largest_width, int largest_height, Test test) {
  std::mt19937 engine(1);
  for (int i = 0; i < count && !::testing::Test::HasFatalFailure(); ++i) {
    const auto g = Geometry::random(engine, largest_width, largest_height);
    SCOPED_TRACE(::testing::Message() << "trial " << i << ": " << g);
    test(Trial{engine, i, g, g.picture(engine), g.picture(engine)});
  }
}

}  // namespace zeb::testing
