#include <algorithm>
#include <cstddef>

#include "frame/packed.h"
#include "zeb/point_ops.h"

using namespace zeb::frame;

namespace {

struct BoundingBox {
  int x_min, x_max, y_min, y_max;

  BoundingBox(int width, int height) : x_min(width), x_max(0), y_min(height), y_max(0) {}

  void include(int x, int y) {
    x_min = std::min(x_min, x);
    x_max = std::max(x_max, x);
    y_min = std::min(y_min, y);
    y_max = std::max(y_max, y);
  }
};

/// What stands for the whole group in `x`: its first pixel of 128 and more, or 32 without one.
int representative(__m128i pixels) {
  const int bright = _mm_movemask_epi8(pixels);
  return bright == 0 ? 32 : __builtin_ctz(static_cast<unsigned>(bright));
}

}  // namespace

void vGetMinMaxBM(const unsigned char* src, int width, int height, int stride, int* x_min, int* x_max, int* y_min,
                  int* y_max) {
  BoundingBox box(width, height);
  for (int y = 0; y < height; ++y) {
    const unsigned char* row = src + std::ptrdiff_t{y} * stride;
    for (int x = 0; x < width; ++x) {
      if (row[x] != 0) box.include(x, y);
    }
  }
  *x_min = box.x_min;
  *x_max = box.x_max;
  *y_min = box.y_min;
  *y_max = box.y_max;
}

void vMMGetMinMaxBM(const unsigned char* src, int width, int height, int stride, int* x_min, int* x_max, int* y_min,
                    int* y_max) {
  BoundingBox box(width, height);
  const int whole = std::max(width, 0) & ~15;
  const auto include_groups = [&](int y, int begin, int end) {
    const unsigned char* row = src + std::ptrdiff_t{y} * stride;
    const auto include_group = [&](int x) {
      const __m128i pixels = load(row + x);
      if (any_set(pixels)) box.include(x + representative(pixels), y);
    };
    int x = begin;
    for (; x <= end - 64; x += 64) {
      const __m128i all = _mm_or_si128(_mm_or_si128(load(row + x), load(row + x + 16)),
                                       _mm_or_si128(load(row + x + 32), load(row + x + 48)));
      if (!any_set(all)) continue;
      for (int group = x; group < x + 64; group += 16) include_group(group);
    }
    for (; x < end; x += 16) include_group(x);
  };
  const auto include_rest = [&](int y) {
    const unsigned char* row = src + std::ptrdiff_t{y} * stride;
    for (int x = whole; x < width; ++x) {
      if (row[x] != 0) box.include(x, y);
    }
  };
  const auto include_row = [&](int y) {
    include_groups(y, 0, whole);
    include_rest(y);
  };

  int first = 0, last = height;
  while (first < last && box.y_min == height) include_row(first++);
  // From below in strips, since memory is read fastest upwards.
  while (last > first && box.y_max < last) {
    const int end = last;
    last = std::max(first, last - 32);
    for (int y = last; y < end; ++y) include_row(y);
  }
  // Between the first and the last set row a group at `x` stands for a column from `x` to `x + 32`, which has to pass
  // the sides found so far. Both parts are widened to whole steps of 64.
  for (int y = first; y < last; ++y) {
    const int left_end = std::min(whole, (box.x_min + 63) & ~63);
    include_groups(y, 0, left_end);
    include_groups(y, std::max(left_end, (box.x_max - 31) & ~63), whole);
    include_rest(y);
  }
  *x_min = box.x_min;
  *x_max = box.x_max;
  *y_min = box.y_min;
  *y_max = box.y_max;
}
