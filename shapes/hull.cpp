#include <algorithm>
#include <cmath>
#include <cstdint>

#include "frame/scratch.h"
#include "shapes/directions.h"
#include "zeb/shapes.h"

using zeb::frame::Scratch;

namespace {

/// The points of a closed chain, the one before step `i` at index `i`.
class ChainPoints {
 public:
  ChainPoints(int count, const int* xs, const int* ys) : count_(count), xs_(xs), ys_(ys) {}

  /// The point between `a` and `b`, along the chain and past its end where `b < a`, that lies farthest to the outside
  /// of the line from `a` to `b`; the first of equals, or -1 without one.
  int farthest(int a, int b) const {
    const auto ax = static_cast<float>(xs_[a]), ay = static_cast<float>(ys_[a]);
    const auto ex = static_cast<float>(zeb::detail::wrapping_sub(xs_[b], xs_[a]));
    const auto ey = static_cast<float>(zeb::detail::wrapping_sub(ys_[b], ys_[a]));
    const float length = std::sqrt(ey * ey + ex * ex);
    const float ux = ex / length, uy = ey / length;
    float best = 0.0f;
    int index = -1;
    const auto search = [&](int first, int last) {
      for (int i = first; i < last; ++i) {
        const float distance = (static_cast<float>(ys_[i]) - ay) * ux - (static_cast<float>(xs_[i]) - ax) * uy;
        if (distance > best) {
          best = distance;
          index = i;
        }
      }
    };
    search(a + 1, b < a ? count_ : b);
    if (b < a) search(0, b);
    return index;
  }

 private:
  int count_;
  const int* xs_;
  const int* ys_;
};

/// Splits the line from entry `first` to entry `last` of `list` at the farthest point until none is outside, inserting
/// the points found; returns the new position of `last`, which is the last entry of the list.
int refine(const ChainPoints& points, int* list, int first, int last) {
  while (first < last) {
    const int outside = points.farthest(list[first], list[first + 1]);
    if (outside >= 0) {
      std::copy_backward(list + first + 1, list + last + 1, list + last + 2);
      list[first + 1] = outside;
      ++last;
    } else {
      ++first;
    }
  }
  return last;
}

int* allocate(int count) {
  return static_cast<int*>(
      zeb::mem::aligned_alloc_times(zeb::mem::byte_count(count, sizeof(int)), Scratch<int>::usual_attempts));
}

}  // namespace

void vConvexHull(const char* chain, int count, int** hull_x, int** hull_y, int* hull_count, int x, int y) {
  *hull_count = 0;
  *hull_x = nullptr;
  *hull_y = nullptr;
  if (count < 1) return;
  const Scratch<int> xs(count), ys(count);
  if (!xs || !ys) return;

  int smallest = 0, largest = 0;
  for (int i = 0; i < count; ++i) {
    xs[i] = x;
    ys[i] = y;
    if (x < xs[smallest]) smallest = i;
    if (x > xs[largest]) largest = i;
    const int code = chain[i] & 7;
    x = zeb::detail::wrapping_add(x, zeb::shapes::dx[code]);
    y = zeb::detail::wrapping_add(y, zeb::shapes::dy[code]);
  }

  // At most every point, the leftmost once more where it is the rightmost too, and the one that closes the hull.
  const Scratch<int> list(std::int64_t{count} + 2);
  if (!list) return;
  list[0] = smallest;
  list[1] = largest;
  const ChainPoints points(count, xs.data(), ys.data());
  const int middle = refine(points, list.data(), 0, 1);
  list[middle + 1] = smallest;
  const int found = refine(points, list.data(), middle, middle + 1);

  int* const out_x = allocate(found);
  int* const out_y = allocate(found);
  if (out_x == nullptr || out_y == nullptr) {
    zeb::mem::aligned_free(out_x);
    zeb::mem::aligned_free(out_y);
    return;
  }
  for (int i = 0; i < found; ++i) {
    out_x[i] = xs[list[i]];
    out_y[i] = ys[list[i]];
  }
  *hull_x = out_x;
  *hull_y = out_y;
  *hull_count = found;
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
      px = static_cast<float>(zeb::detail::wrapping_sub(hull_x[k], hull_x[i]));
      py = static_cast<float>(zeb::detail::wrapping_sub(hull_y[k], hull_y[i]));
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
  int *hull_x = nullptr, *hull_y = nullptr, hull_count = 0;
  if (count > 8) vConvexHull(chain, count, &hull_x, &hull_y, &hull_count, x, y);
  if (hull_x != nullptr && hull_y != nullptr) {
    vCalcRect(xs, ys, hull_x, hull_y, hull_count, 0.0f, length, width);
  } else {
    std::fill_n(xs, 4, 0.0f);
    std::fill_n(ys, 4, 0.0f);
    *length = 0.0f;
    *width = 0.0f;
  }
  zeb::mem::aligned_free(hull_x);
  zeb::mem::aligned_free(hull_y);
}
