#include <xmmintrin.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <vector>

#include "shapes/clipped_step.h"
#include "shapes/directions.h"
#include "zeb/shapes.h"

using zeb::detail::wrapping_add;
using zeb::detail::wrapping_sub;
using zeb::shapes::clipped_step;
using zeb::shapes::dx;
using zeb::shapes::dy;

namespace {

/// Largest difference between a pixel of the 3 by 3 surroundings of (`x`, `y`) and its right or lower neighbour.
int gradient(const unsigned char* bitmap, int width, std::ptrdiff_t stride, int height, std::ptrdiff_t x,
             std::ptrdiff_t y) {
  int largest = 0;
  for (std::ptrdiff_t r = std::max<std::ptrdiff_t>(y - 1, 0); r <= y + 1 && r < std::ptrdiff_t{height} - 1; ++r)
    for (std::ptrdiff_t c = std::max<std::ptrdiff_t>(x - 1, 0); c <= x + 1 && c < std::ptrdiff_t{width} - 1; ++c) {
      const unsigned char* const pixel = bitmap + r * stride + c;
      largest = std::max({largest, std::abs(pixel[1] - pixel[0]), std::abs(pixel[stride] - pixel[0])});
    }
  return largest;
}

/// The points of a closed chain and their distances from each other.
class ClosedChain {
 public:
  ClosedChain(const char* chain, int count) : xs_(static_cast<std::size_t>(count)), ys_(xs_.size()) {
    int x = 0, y = 0;
    for (std::size_t i = 0; i < xs_.size(); ++i) {
      xs_[i] = x;
      ys_[i] = y;
      x += dx[chain[i] & 7];
      y += dy[chain[i] & 7];
    }
  }

  /// Distance of point `i` to the nearest one at the offsets `skip` to `count` - `skip` - 1.
  float nearest(std::int64_t i, std::int64_t skip) const {
    const std::int64_t offsets = std::min(count() - 2 * skip, count());  // more would only repeat
    if (offsets <= 0) return farthest();
    const std::int64_t first = i + skip < 0 ? (i + skip) % count() + count() : (i + skip) % count();
    const std::int64_t before_wrap = std::min(offsets, count() - first);
    std::int64_t smallest = INT64_MAX;
    for (std::int64_t k = first; k < first + before_wrap; ++k) smallest = std::min(smallest, square(i, k));
    for (std::int64_t k = 0; k < offsets - before_wrap; ++k) smallest = std::min(smallest, square(i, k));
    return std::min(farthest(), distance(smallest));
  }

  /// Distance of point `i` to the nearest one that follows a farther one: at the offsets 1 to half - 1 upward, and
  /// `count` - 1 to half downward.
  float nearest_behind_farthest(std::int64_t i) const {
    const std::int64_t half = count() / 2;
    Approach upward, downward;
    for (std::int64_t offset = 1; offset < half; ++offset) upward.see(square(i, wrapped(i + offset)));
    for (std::int64_t offset = count() - 1; offset >= half; --offset) downward.see(square(i, wrapped(i + offset)));
    return std::min({farthest(), upward.nearest(), downward.nearest()});
  }

 private:
  /// A sequence of distances, of which those count that are not larger than all before them. Squares are compared as
  /// far as they decide alone: different ones can have the same distance.
  class Approach {
   public:
    void see(std::int64_t square) {
      if (square > farthest_square_) {
        const float d = distance(square);
        if (d > farthest_) {
          farthest_square_ = square;
          farthest_ = d;
          return;
        }
      }
      nearest_square_ = std::min(nearest_square_, square);
    }
    float nearest() const { return nearest_square_ == INT64_MAX ? INFINITY : distance(nearest_square_); }

   private:
    std::int64_t farthest_square_ = -1, nearest_square_ = INT64_MAX;
    float farthest_ = 0.0f;
  };

  static float distance(std::int64_t square) { return std::sqrt(static_cast<float>(square)) + 1.0f; }

  std::int64_t count() const { return static_cast<std::int64_t>(xs_.size()); }
  /// No distance on a chain is larger.
  float farthest() const { return static_cast<float>(count()); }
  std::int64_t wrapped(std::int64_t k) const { return k < count() ? k : k - count(); }
  std::int64_t square(std::int64_t i, std::int64_t k) const {
    const auto a = static_cast<std::size_t>(i), b = static_cast<std::size_t>(k);
    const std::int64_t x = xs_[a] - xs_[b], y = ys_[a] - ys_[b];
    return x * x + y * y;
  }

  std::vector<int> xs_, ys_;
};

/// Truncates toward zero; what does not fit wraps around in 32 bits, as the processor's 64-bit conversion has it.
unsigned int truncated(float value) { return static_cast<unsigned int>(_mm_cvttss_si64(_mm_set_ss(value))); }

}  // namespace

float fPolygonArea(int* xs, int* ys, int count) {
  float sum = 0.0f;
  for (int i = 0; i < count; ++i) {
    const int j = i + 1 < count ? i + 1 : 0;
    const auto width = static_cast<unsigned>(wrapping_sub(xs[i], xs[j]));
    const auto heights = static_cast<unsigned>(wrapping_add(ys[i], ys[j]));
    sum += static_cast<float>(static_cast<int>(width * heights));
  }
  return 0.5f * sum;
}

float fGetShapeOverlap(unsigned char* bitmap, int stride, char* chain, int count, int x, int y) {
  int hits = 0;
  for (int i = 0; i < count; ++i) {
    x += dx[chain[i] & 7];
    y += dy[chain[i] & 7];
    if (bitmap[std::ptrdiff_t{y} * stride + x] != 0) ++hits;
  }
  return static_cast<float>(hits) / static_cast<float>(count);
}

void vGetPos(char* chain, int count, int x, int y, int* end_x, int* end_y) {
  for (int i = 0; i < count; ++i) {
    x = wrapping_add(x, dx[chain[i] & 7]);
    y = wrapping_add(y, dy[chain[i] & 7]);
  }
  *end_x = x;
  *end_y = y;
}

void vShapeGetGrad(unsigned int* out, unsigned char* bitmap, char* chain, int width, int stride, int height, int count,
                   int x, int y, float* mean) {
  std::int64_t sum = 0;
  for (int i = 0; i < count; ++i) {
    const int g = gradient(bitmap, width, stride, height, x, y);
    out[i] = static_cast<unsigned int>(g);
    sum += g;
    clipped_step(chain[i], width, height, x, y);
  }
  *mean = static_cast<float>(sum) / static_cast<float>(count);
}

void vShapeKorrelation(unsigned int* out, char* chain, int count, int out_size, float scale, int skip,
                       float* min_distance, float* max_distance) {
  *min_distance = *max_distance = 0.0f;
  if (count < 1 || out_size < 1) return;
  std::fill_n(out, out_size, 0u);
  const ClosedChain points(chain, count);
  float low = static_cast<float>(count), high = 0.0f;
  for (int i = 0; i < count; ++i) {
    const float d = skip == 0 ? points.nearest_behind_farthest(i) : points.nearest(i, skip);
    out[i] = truncated(d * scale);
    low = std::min(low, d);
    if (d > high && d < static_cast<float>(count - 1)) high = d;
  }
  *min_distance = low;
  *max_distance = high;
}
