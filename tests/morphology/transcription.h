#pragma once

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <vector>

#include "tests/support/picture.h"

/// The algorithms of the morphology family spelled out pixel by pixel, to compare the packed ones with.
namespace zeb::testing {

struct Call {
  int radius_x, radius_y, offset_x, offset_y, operation, threshold, rectangular;

  friend std::ostream& operator<<(std::ostream& os, const Call& c) {
    return os << "radii " << c.radius_x << ", " << c.radius_y << ", offsets " << c.offset_x << ", " << c.offset_y
              << ", operation " << c.operation << ", threshold " << c.threshold << ", rectangular " << c.rectangular;
  }
};

/// Gather: the element is scanned around each pixel.
inline void gather(Picture& dst, const Picture& src, const Call& c) {
  const int r = c.radius_x;
  for (int y = 0; y < src.height(); ++y)
    for (int x = 0; x < src.width(); ++x) {
      bool found = false;
      for (int dy = std::max(-y, -r); dy <= std::min(src.height() - 1 - y, r); ++dy)
        for (int dx = std::max(-x, -r); dx <= std::min(src.width() - 1 - x, r); ++dx) {
          const bool set =
              c.rectangular != 0 || static_cast<float>(r * r) + 0.4f >= static_cast<float>(dx * dx + dy * dy);
          const int p = src(x + dx, y + dy);
          found |= set && (c.operation == 0 ? p > c.threshold : p < c.threshold);
        }
      dst(x, y) = found == (c.operation == 0) ? 255 : 0;
    }
}

/// Scatter of an ellipse: rows of the element are filled around each decisive pixel.
inline void scatter(Picture& dst, const Picture& src, const Call& c) {
  std::vector<int> half_widths(static_cast<std::size_t>(2 * c.radius_y + 1), 0);
  for (int dy = -c.radius_y; dy <= c.radius_y; ++dy) {
    int& entry = half_widths[static_cast<std::size_t>(dy + c.radius_y)];
    if (c.rectangular != 0) entry = c.radius_x;
    for (int dx = -c.radius_x; c.rectangular == 0 && dx <= 0; ++dx) {
      const float u = static_cast<float>(dx) / static_cast<float>(c.radius_x);
      const float v = static_cast<float>(dy) / static_cast<float>(c.radius_y);
      if (u * u + v * v <= 1.0001f) {
        entry = -dx;
        break;
      }
    }
  }
  for (int y = 0; y < src.height(); ++y)
    for (int x = 0; x < src.stride(); ++x) dst(x, y) = c.operation == 0 ? 0 : 255;
  for (int y = 0; y < src.height(); ++y)
    for (int x = 0; x < src.width(); ++x) {
      const int p = src(x, y);
      if (c.operation == 0 ? p <= c.threshold : p >= c.threshold) continue;
      for (int dy = c.offset_y - c.radius_y; dy <= c.offset_y + c.radius_y; ++dy) {
        if (y + dy < 0 || y + dy >= src.height()) continue;
        const int t = half_widths[static_cast<std::size_t>(dy + c.radius_y - c.offset_y)];
        for (int at = std::max(0, x + c.offset_x - t); at <= std::min(src.width() - 1, x + c.offset_x + t); ++at)
          dst(at, y + dy) = c.operation == 0 ? 255 : 0;
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
  const auto b = [&](int x, int y) { return (src(x, y) > c.threshold) == (c.operation == 0) ? 1 : 0; };
  for (int y = 0; y < height; ++y)
    for (int x = 0; x < src.stride(); ++x) dst(x, y) = 0;
  const int limit = (width - r - 15) & -16;
  for (int y = 0; y < height; ++y) {
    int lowest = -(c.radius_y + c.offset_y), highest = c.radius_y - c.offset_y;
    if (y + lowest < 0) lowest = -y;
    if (y + highest >= height) highest = height - 1 - y;
    int count = 0;
    const auto put = [&](int x) {
      if (c.operation == 0 ? count != 0 : count == 0) dst(x, y) = 255;
    };
    for (int dy = lowest; dy <= highest; ++dy)
      for (int x = 0; x <= half_width(std::abs(dy + c.offset_y)); ++x) count += b(x, y + dy);
    put(0);
    int x = 1;
    for (; x <= r; ++x) {
      for (int dy = lowest; dy <= highest; ++dy) {
        const int t = half_width(std::abs(dy + c.offset_y));
        count += b(x + t, y + dy);
        if (x - t - 1 >= 0) count -= b(x - t - 1, y + dy);
      }
      put(x);
    }
    for (; x < limit; x += 16) {
      for (int k = 0; k < 16; ++k) {
        int change = 0;
        for (int dy = lowest; dy <= highest; ++dy) {
          const int t = half_width(std::abs(dy + c.offset_y));
          change += b(x + k + t, y + dy) - b(x + k - t - 1, y + dy);
        }
        count += static_cast<signed char>(static_cast<unsigned char>(change));
        dst(x + k, y) = (c.operation == 0 ? count > 0 : count == 0) ? 255 : 0;
      }
    }
    for (; x < width; ++x) {
      for (int dy = lowest; dy <= highest; ++dy) {
        const int t = half_width(std::abs(dy + c.offset_y));
        if (x + t < width) count += b(x + t, y + dy);
        count -= b(x - t - 1, y + dy);
      }
      put(x);
    }
  }
}

/// Two-phase distance transform: distances down the columns, then the lower envelope of parabolas along the rows.
inline void distance_transform(Picture& dst, const Picture& src, const Call& c) {
  const int width = src.width(), height = src.height(), radius = std::min(c.radius_x, 253), limit = radius + 1;
  std::vector<std::vector<int>> map(static_cast<std::size_t>(height),
                                    std::vector<int>(static_cast<std::size_t>(width)));
  const auto g = [&](int x, int y) -> int& { return map[static_cast<std::size_t>(y)][static_cast<std::size_t>(x)]; };
  for (int x = 0; x < width; ++x) {
    for (int y = 0; y < height; ++y) {
      const bool zero = c.operation == 0 ? src(x, y) > c.threshold : src(x, y) <= c.threshold;
      g(x, y) = zero ? 0 : y == 0 ? limit : std::min(limit, g(x, y - 1) + 1);
    }
    for (int y = height - 2; y >= 0; --y)
      if (g(x, y) > g(x, y + 1)) g(x, y) = std::min(limit, g(x, y + 1) + 1);
  }
  std::vector<int> site(static_cast<std::size_t>(width)), start(static_cast<std::size_t>(width));
  for (int y = 0; y < height; ++y) {
    const auto f = [&](int x, int i) { return (x - i) * (x - i) + g(i, y) * g(i, y); };
    std::size_t depth = 1;
    site[0] = start[0] = 0;
    for (int u = 1; u < width; ++u) {
      while (depth > 0 && f(start[depth - 1], site[depth - 1]) > f(start[depth - 1], u)) --depth;
      if (depth == 0) {
        site[0] = u;
        depth = 1;
        continue;
      }
      const int i = site[depth - 1];
      const int w = 1 + (u * u - i * i - g(i, y) * g(i, y) + g(u, y) * g(u, y)) / (2 * (u - i));
      if (w >= width) continue;
      site[depth] = u;
      start[depth] = w;
      ++depth;
    }
    for (int u = width - 1; u >= 0; --u) {
      const bool far = f(u, site[depth - 1]) > radius * radius;
      dst(u, y) = far == (c.operation != 0) ? 255 : 0;
      if (u == start[depth - 1] && depth > 1) --depth;
    }
  }
}

}  // namespace zeb::testing
