#pragma once

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <functional>
#include <vector>

#include "tests/support/picture.h"
#include "tests/support/random_geometry.h"

/// The rules of the morphology family spelled out pixel by pixel, to compare the packed algorithms with.
namespace zeb::testing {

struct Call {
  int radius_x, radius_y, offset_x, offset_y, operation, threshold, rectangular;

  unsigned char hit() const { return operation == 0 ? 255 : 0; }
  unsigned char miss() const { return operation == 0 ? 0 : 255; }

  friend std::ostream& operator<<(std::ostream& os, const Call& c) {
    return os << "radii " << c.radius_x << ", " << c.radius_y << ", offsets " << c.offset_x << ", " << c.offset_y
              << ", operation " << c.operation << ", threshold " << c.threshold << ", rectangular " << c.rectangular;
  }
};

/// Which side of an erosion the pixels equal to the threshold are on.
enum class Equal { background, foreground };

inline bool is_decisive(int pixel, const Call& c, Equal equal) {
  if (c.operation == 0) return pixel > c.threshold;
  return equal == Equal::background ? pixel <= c.threshold : pixel < c.threshold;
}

/// Values around the threshold, itself included, of which about one in `rarity` is decisive.
inline Picture noise(std::mt19937& engine, const Geometry& g, const Call& c, Equal equal, int rarity) {
  Picture picture = Picture::random(engine, g.width, g.stride, g.height, g.offset);
  for (int y = 0; y < g.height; ++y)
    for (int x = 0; x < g.stride; ++x) {
      const bool wanted = pick(engine, 0, rarity - 1) == 0;
      const int nearby = c.threshold + pick(engine, -2, 2), clamped = std::clamp(nearby, 0, 255);
      const int opposite = std::clamp(c.threshold + (wanted == (c.operation == 0) ? 2 : -2), 0, 255);
      picture(x, y) = static_cast<unsigned char>(is_decisive(clamped, c, equal) == wanted ? clamped : opposite);
    }
  return picture;
}

inline void fill(Picture& p, int first_column, int end_column, unsigned char value) {
  for (int y = 0; y < p.height(); ++y)
    for (int x = std::max(first_column, 0); x < end_column; ++x) p(x, y) = value;
}

/// Marks the rows of the element around each decisive pixel, given by their half-widths at each distance.
inline void stamp(Picture& dst, const Picture& src, const Call& c, Equal equal,
                  const std::function<long long(int)>& half_width) {
  const int width = src.width(), height = src.height();
  const int radius = std::min(c.radius_y, height + std::abs(c.offset_y));
  std::vector<long long> half_widths;
  for (int dy = 0; dy <= radius; ++dy) half_widths.push_back(half_width(dy));
  fill(dst, 0, width, c.miss());
  for (int y = 0; y < height; ++y)
    for (int x = 0; x < width; ++x) {
      if (!is_decisive(src(x, y), c, equal)) continue;
      const int centre_x = x + c.offset_x, centre_y = y + c.offset_y;
      for (int to = std::max(0, centre_y - radius); to <= std::min(height - 1, centre_y + radius); ++to) {
        const long long t = half_widths[static_cast<std::size_t>(std::abs(to - centre_y))];
        const auto first = std::max(0LL, centre_x - t), last = std::min(width - 1LL, centre_x + t);
        if (first <= last) std::fill_n(&dst(static_cast<int>(first), to), last - first + 1, c.hit());
      }
    }
}

/// Running count with blocks of 16, whose changes are signed bytes. Works on the first `height` rows and uses what
/// lies behind them as the memory behind the image.
inline void count_along_rows(Picture& dst, const Picture& src, int height, const Call& c, bool circular) {
  const int width = src.width(), r = c.radius_x;
  const auto half_width = [&](int distance) {
    const float i = static_cast<float>(distance), rf = static_cast<float>(r);
    if (c.rectangular != 0) return r;
    if (circular) return static_cast<int>(std::sqrt(rf * rf - i * i + 0.0001f));
    if (c.radius_y == 0) return 0;
    const float q = i / static_cast<float>(c.radius_y);
    return static_cast<int>(std::sqrt(1.0f - q * q + 0.0001f) * rf);
  };
  const auto b = [&](int x, int y) { return is_decisive(src(x, y), c, Equal::background) ? 1 : 0; };
  for (int y = 0; y < height; ++y)
    for (int x = 0; x < src.stride(); ++x) dst(x, y) = 0;
  const int limit = (width - r - 15) & -16;
  for (int y = 0; y < height; ++y) {
    const int lowest = std::max(-(c.radius_y + c.offset_y), -y);
    const int highest = std::min(c.radius_y - c.offset_y, height - 1 - y);
    int count = 0;
    const auto for_each_row = [&](auto visit) {
      for (int dy = lowest; dy <= highest; ++dy) visit(y + dy, half_width(std::abs(dy + c.offset_y)));
    };
    const auto put = [&](int x) {
      if (c.operation == 0 ? count != 0 : count == 0) dst(x, y) = 255;
    };
    for_each_row([&](int row, int t) {
      for (int x = 0; x <= t; ++x) count += b(x, row);
    });
    put(0);
    int x = 1;
    for (; x <= r; ++x) {
      for_each_row([&](int row, int t) { count += b(x + t, row) - (x - t - 1 >= 0 ? b(x - t - 1, row) : 0); });
      put(x);
    }
    const int end_of_blocks = x < limit ? x + ((limit - x + 15) & -16) : x;
    for (; x < end_of_blocks; ++x) {
      int change = 0;
      for_each_row([&](int row, int t) { change += b(x + t, row) - b(x - t - 1, row); });
      count += static_cast<signed char>(static_cast<unsigned char>(change));
      dst(x, y) = (c.operation == 0 ? count > 0 : count == 0) ? 255 : 0;
    }
    for (; x < width; ++x) {
      for_each_row([&](int row, int t) { count += (x + t < width ? b(x + t, row) : 0) - b(x - t - 1, row); });
      put(x);
    }
  }
}

}  // namespace zeb::testing
