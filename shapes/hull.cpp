#include <smmintrin.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <utility>

#include "frame/scratch.h"
#include "shapes/directions.h"
#include "zeb/shapes.h"

using zeb::detail::wrapping_add;
using zeb::detail::wrapping_sub;
using zeb::frame::Scratch;

namespace {

/// The hull of a closed chain, found in one block of work memory.
class HullFinder {
 public:
  /// False afterwards where memory is short or the chain has no codes.
  HullFinder(const char* chain, int count, int x, int y) : count_(count), memory_(5 * std::int64_t{count} + 4) {
    if (!*this) return;
    xs_ = memory_.data();
    ys_ = xs_ + count;
    // At most every point, the leftmost once more where it is the rightmost too, and the one that closes the hull.
    hull_ = ys_ + count;
    hull_x_ = hull_ + count + 2;
    hull_y_ = hull_x_ + count + 1;

    int smallest = 0, min_x = x, largest = 0, max_x = x;
    for (int i = 0; i < count; ++i) {
      xs_[i] = x;
      ys_[i] = y;
      if (x < min_x) {
        min_x = x;
        smallest = i;
      }
      if (x > max_x) {
        max_x = x;
        largest = i;
      }
      const int code = chain[i] & 7;
      x = wrapping_add(x, zeb::shapes::dx[code]);
      y = wrapping_add(y, zeb::shapes::dy[code]);
    }
    hull_[0] = smallest;
    hull_[1] = largest;
    const int middle = refine(0, 1);
    hull_[middle + 1] = smallest;
    size_ = refine(middle, middle + 1);
    for (int i = 0; i < size_; ++i) {
      hull_x_[i] = xs_[hull_[i]];
      hull_y_[i] = ys_[hull_[i]];
    }
  }

  explicit operator bool() const { return count_ > 0 && memory_; }
  int size() const { return size_; }
  int* x() const { return hull_x_; }
  int* y() const { return hull_y_; }

 private:
  /// Splits the line from entry `first` to entry `last` of the hull at the farthest point until none is outside,
  /// inserting the points found; returns the new position of `last`, which is the last entry so far.
  int refine(int first, int last) {
    while (first < last) {
      const int outside = farthest(hull_[first], hull_[first + 1]);
      if (outside >= 0) {
        std::copy_backward(hull_ + first + 1, hull_ + last + 1, hull_ + last + 2);
        hull_[first + 1] = outside;
        ++last;
      } else {
        ++first;
      }
    }
    return last;
  }

  /// The point between `a` and `b`, along the chain and past its end where `b < a`, that lies farthest to the outside
  /// of the line from `a` to `b`; the first of equals, or -1 without one.
  int farthest(int a, int b) const {
    // Differences are formed in integers for the line's direction, but in `float` for the points' distances from it:
    // beyond 2^24, where `float` rounds coordinates, the hull depends on it.
    const auto ex = static_cast<float>(wrapping_sub(xs_[b], xs_[a]));
    const auto ey = static_cast<float>(wrapping_sub(ys_[b], ys_[a]));
    const float length = std::sqrt(ey * ey + ex * ex);
    const Line line{static_cast<float>(xs_[a]), static_cast<float>(ys_[a]), ex / length, ey / length};
    Farthest found;
    search(line, a + 1, b < a ? count_ : b, found);
    if (b < a) search(line, 0, b, found);
    return found.index;
  }

  struct Line {
    float x, y;    // a point on it
    float ux, uy;  // its direction
  };

  struct Farthest {
    float distance = 0.0f;
    int index = -1;

    void offer(float other, int i) {
      if (other > distance) {
        distance = other;
        index = i;
      }
    }
  };

  /// Takes over the first point of the greatest distance from `first` to `last` - 1 that exceeds what was found before.
  void search(const Line& line, int first, int last, Farthest& found) const {
    // Each lane keeps the first best of every fourth point; they are put in order at the end.
    const __m128 x = _mm_set1_ps(line.x), y = _mm_set1_ps(line.y), ux = _mm_set1_ps(line.ux), uy = _mm_set1_ps(line.uy);
    __m128 best = _mm_set1_ps(found.distance);
    __m128i at = _mm_set1_epi32(-1), index = _mm_add_epi32(_mm_set1_epi32(first), _mm_setr_epi32(0, 1, 2, 3));
    int i = first;
    for (; i <= last - 4; i += 4, index = _mm_add_epi32(index, _mm_set1_epi32(4))) {
      const __m128 px = coordinates(xs_ + i), py = coordinates(ys_ + i);
      const __m128 distance = _mm_sub_ps(_mm_mul_ps(_mm_sub_ps(py, y), ux), _mm_mul_ps(_mm_sub_ps(px, x), uy));
      const __m128 farther = _mm_cmpgt_ps(distance, best);
      best = _mm_blendv_ps(best, distance, farther);
      at = _mm_blendv_epi8(at, index, _mm_castps_si128(farther));
    }
    alignas(16) float distances[4];
    alignas(16) int indices[4];
    _mm_store_ps(distances, best);
    _mm_store_si128(reinterpret_cast<__m128i*>(indices), at);
    for (int lane = 0; lane < 4; ++lane) {
      if (indices[lane] < 0) continue;
      found.offer(distances[lane], indices[lane]);
      // Lanes hold indices of this search alone, so that equal distances compare by them.
      if (distances[lane] == found.distance) found.index = std::min(found.index, indices[lane]);
    }
    for (; i < last; ++i) {
      const float px = static_cast<float>(xs_[i]), py = static_cast<float>(ys_[i]);
      found.offer((py - line.y) * line.ux - (px - line.x) * line.uy, i);
    }
  }

  static __m128 coordinates(const int* from) {
    return _mm_cvtepi32_ps(_mm_loadu_si128(reinterpret_cast<const __m128i*>(from)));
  }

  int count_;
  Scratch<int> memory_;
  int* xs_ = nullptr;  // the points of the chain, the one before step `i` at index `i`
  int* ys_ = nullptr;
  int* hull_ = nullptr;  // indices of the hull points found so far
  int* hull_x_ = nullptr;
  int* hull_y_ = nullptr;
  int size_ = 0;
};

int* copied(const int* from, int count) {
  auto* const block = static_cast<int*>(
      zeb::mem::aligned_alloc_times(zeb::mem::byte_count(count, sizeof(int)), Scratch<int>::usual_attempts));
  if (block != nullptr) std::copy_n(from, count, block);
  return block;
}

}  // namespace

void vConvexHull(const char* chain, int count, int** hull_x, int** hull_y, int* hull_count, int x, int y) {
  *hull_count = 0;
  *hull_x = nullptr;
  *hull_y = nullptr;
  const HullFinder hull(chain, count, x, y);
  if (!hull) return;
  int* const xs = copied(hull.x(), hull.size());
  int* const ys = copied(hull.y(), hull.size());
  if (xs == nullptr || ys == nullptr) {
    zeb::mem::aligned_free(xs);
    zeb::mem::aligned_free(ys);
    return;
  }
  *hull_x = xs;
  *hull_y = ys;
  *hull_count = hull.size();
}

void vCalcRect(float* xs, float* ys, int* hull_x, int* hull_y, int count, float margin, float* length, float* width) {
  struct Box {
    float ax, ay;  // where the edge begins
    float ux, uy;  // its direction
    float along_min, along_max, across_min;
  };
  Box box{};
  float best = 1e16f;
  for (int i = 0; i < count; ++i) {
    const int j = i + 1 < count ? i + 1 : 0;
    const auto from_a = [&](int k, float& px, float& py) {
      px = static_cast<float>(wrapping_sub(hull_x[k], hull_x[i]));
      py = static_cast<float>(wrapping_sub(hull_y[k], hull_y[i]));
    };
    float ex = 0, ey = 0;
    from_a(j, ex, ey);
    const float edge = std::sqrt(ey * ey + ex * ex);
    Box candidate{
        static_cast<float>(hull_x[i]), static_cast<float>(hull_y[i]), ex / edge, ey / edge, 1e8f, -1e8f, 1e8f};
    int k = j;
    for (int n = 0; n < count - 2; ++n) {  // the two ends of the edge take no part
      k = k + 1 < count ? k + 1 : 0;
      float px = 0, py = 0;
      from_a(k, px, py);
      const float along = px * candidate.ux + py * candidate.uy;
      const float across = py * candidate.ux - px * candidate.uy;
      if (along < candidate.along_min) candidate.along_min = along;
      if (along > candidate.along_max) candidate.along_max = along;
      if (across < candidate.across_min) candidate.across_min = across;
    }
    const float area = (candidate.along_max - candidate.along_min) * (0.0f - candidate.across_min);
    if (best > area) {
      best = area;
      box = candidate;
    }
  }

  const float m = margin < 0.0f ? 0.0f : margin;
  box.along_min += m;
  box.along_max -= m;
  box.across_min += m;
  *length = -m - box.across_min;
  *width = box.along_max - box.along_min;
  if (*width > *length) std::swap(*length, *width);
  if (!(best < 1e15f)) return;

  const auto corner = [&](int i, float along, float across) {
    xs[i] = along * box.ux - across * box.uy + box.ax;
    ys[i] = along * box.uy + across * box.ux + box.ay;
  };
  corner(0, box.along_min, -m);
  corner(1, box.along_max, -m);
  corner(2, box.along_max, box.across_min);
  corner(3, box.along_min, box.across_min);
}

void vMER(const char* chain, int count, int x, int y, float* xs, float* ys, float* length, float* width) {
  if (count > 8) {
    const HullFinder hull(chain, count, x, y);
    if (hull) {
      vCalcRect(xs, ys, hull.x(), hull.y(), hull.size(), 0.0f, length, width);
      return;
    }
  }
  std::fill_n(xs, 4, 0.0f);
  std::fill_n(ys, 4, 0.0f);
  *length = 0.0f;
  *width = 0.0f;
}
