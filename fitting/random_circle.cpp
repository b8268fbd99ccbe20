#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <numeric>
#include <utility>

#include "fitting/random_sampling.h"
#include "frame/packed.h"
#include "frame/scratch.h"
#include "zeb/fitting.h"

using zeb::detail::wrapping_add;
using zeb::fitting::sample_capacity;
using zeb::frame::Scratch;

namespace {

struct Point {
  int x, y;
};

std::int64_t squared_distance(Point a, Point b) {
  const std::int64_t dx = a.x - b.x, dy = a.y - b.y;
  return dx * dx + dy * dy;
}

struct Bitmap {
  const unsigned char* data;
  int width, height, stride;

  /// Remainders of negative numbers lie outside, where nothing is active.
  bool is_active(Point p) const {
    return 0 <= p.x && p.x < width && 0 <= p.y && p.y < height && data[std::ptrdiff_t{p.y} * stride + p.x] != 0;
  }

  /// A point near two random numbers: the row `row_offset` beside the first one, and in it the first active column
  /// within four of the second one, searched in the direction of `step`; without any the last column searched.
  Point search(Point numbers, int row_offset, int step) const {
    Point p{0, wrapping_add(numbers.y, row_offset) % height};
    const int column = numbers.x % width;
    if (4 <= column && column < width - 4 && numbers.x <= INT32_MAX - 4) {  // no remainder wraps
      for (int dx = -4 * step; dx != 5 * step; dx += step) {
        p.x = column + dx;
        if (is_active(p)) break;
      }
      return p;
    }
    for (int dx = -4 * step; dx != 5 * step; dx += step) {
      p.x = wrapping_add(numbers.x, dx) % width;
      if (is_active(p)) break;
    }
    return p;
  }

  void fetch(Point numbers, int row_offset) const {
    const int row = wrapping_add(numbers.y, row_offset) % height;
    if (row >= 0)
      _mm_prefetch(reinterpret_cast<const char*>(data + std::ptrdiff_t{row} * stride + numbers.x % width), _MM_HINT_T0);
  }
};

/// The random numbers of points, drawn some points ahead. They do not depend on the image, so its pixels can be fetched
/// ahead, which pays for images that the second cache does not hold.
class RandomPoints {
 public:
  explicit RandomPoints(const Bitmap& bitmap)
      : bitmap_(bitmap), ahead_(std::int64_t{bitmap.width} * bitmap.height > (1 << 20) ? batch : 1) {}

  /// The numbers of the next point. `sure` of them, this one included, are going to be asked for in any case: the
  /// generator must not run on beyond the last one.
  Point next(int sure) {
    if (taken_ == drawn_) {
      taken_ = 0;
      for (drawn_ = 0; drawn_ < std::min(ahead_, sure); ++drawn_) {
        Point& numbers = numbers_[drawn_];
        numbers.y = rand();
        numbers.x = rand();
        if (ahead_ == 1) continue;
        for (const int row_offset : {-4, 4}) bitmap_.fetch(numbers, row_offset);
      }
    }
    return numbers_[taken_++];
  }

 private:
  static constexpr int batch = 16;

  const Bitmap& bitmap_;
  int ahead_;
  Point numbers_[batch];
  int drawn_ = 0, taken_ = 0;
};

struct Circles {
  float* x;
  float* y;
  float* r;
  int count = 0;

  void add(Point p1, Point p2, Point p3) {
    const auto f = [](int v) { return static_cast<float>(v); };
    const float a = f(p2.x - p3.x), b = f(p1.x - p2.x), c = a * f(p2.y - p1.y) - b * f(p3.y - p2.y);
    const int i = count++;
    x[i] = y[i] = 0.0f;
    r[i] = 1e8f;
    if (static_cast<double>(fabsf(c)) < 0.001) return;  // on one line
    const float t = (f(p1.y - p3.y) * f(p3.y - p2.y) - f(p1.x - p3.x) * a) / c;
    x[i] = (f(p2.y - p1.y) * t + f(p1.x + p2.x)) * 0.5f;
    y[i] = (b * t + f(p1.y + p2.y)) * 0.5f;
    const float dx = f(p1.x) - x[i], dy = f(p1.y) - y[i];
    r[i] = sqrtf(dy * dy + dx * dx);
  }
};

void draw_circles(Circles& circles, int wanted, const Bitmap& bitmap) {
  const int min_sq = zeb::fitting::fraction_of_area(bitmap.width, 0.04, bitmap.height);
  const auto attempts = static_cast<std::int32_t>(zeb::fitting::mean_side(bitmap.width, bitmap.height) << 5);
  srand(25848);
  RandomPoints random(bitmap);
  for (int attempt = 0; attempt < attempts && circles.count < wanted; ++attempt) {
    // A circle takes one point or more, and so does an attempt.
    const auto draw = [&](int row_offset, int step) {
      return bitmap.search(random.next(std::min(wanted - circles.count, attempts - attempt)), row_offset, step);
    };
    // Nine rows around the first number were meant to be searched; the last of them alone decides.
    const Point p1 = draw(4, 1);
    if (!bitmap.is_active(p1)) continue;
    const auto apart = [&](Point p, Point from) { return squared_distance(p, from) >= min_sq; };
    for (int second = 0; second < attempts; ++second) {
      const Point p2 = draw(-4, 1);
      if (!bitmap.is_active(p2) || !apart(p2, p1)) continue;
      for (int third = 0; third < attempts; ++third) {
        const Point p3 = draw(-4, -1);
        if (!bitmap.is_active(p3) || !apart(p3, p1) || !apart(p3, p2)) continue;
        circles.add(p1, p2, p3);
        break;
      }
      break;
    }
  }
}

/// For each circle the sum of its closeness to all circles. Four at a time: the last group runs into the slack of the
/// arrays.
void weigh(float* score, const Circles& circles, float blur) {
  const __m128 one = _mm_set1_ps(1.0f), blurs = _mm_set1_ps(blur);
  for (int i = 0; i < circles.count; i += 4) {
    const __m128 x = _mm_loadu_ps(circles.x + i), y = _mm_loadu_ps(circles.y + i), r = _mm_loadu_ps(circles.r + i);
    __m128 sum = _mm_setzero_ps();
    for (int j = 0; j < circles.count; ++j) {
      const __m128 dx = _mm_sub_ps(x, _mm_set1_ps(circles.x[j])), dy = _mm_sub_ps(y, _mm_set1_ps(circles.y[j]));
      const __m128 dr = _mm_sub_ps(r, _mm_set1_ps(circles.r[j]));
      const __m128 sq = _mm_add_ps(_mm_add_ps(_mm_mul_ps(dx, dx), _mm_mul_ps(dy, dy)), _mm_mul_ps(dr, dr));
      sum = _mm_add_ps(sum, _mm_div_ps(one, _mm_add_ps(_mm_sqrt_ps(sq), blurs)));
    }
    _mm_storeu_ps(score + i, sum);
  }
}

}  // namespace

namespace zeb {

void CalcCircleRandom(float* radius, float* centre_x, float* centre_y, unsigned char* bitmap, int width, int height,
                      int stride) {
  for (float* result : {radius, centre_x, centre_y})
    if (result != nullptr) *result = 0.0f;
  if (radius == nullptr || centre_x == nullptr || centre_y == nullptr || bitmap == nullptr || width < 1 || height < 1)
    return;
  const int active = fitting::count_active(bitmap, width, height, stride);
  const auto less = [active](int n) { return static_cast<float>(detail::wrapping_sub(active, n)); };
  const float wanted = less(1) * less(0) * less(2) / 12.0f;
  if (1.0f > wanted) return;

  const Scratch<float> circle_x(sample_capacity), circle_y(sample_capacity), circle_r(sample_capacity);
  if (!circle_x || !circle_y || !circle_r) return;
  Circles circles{circle_x.data(), circle_y.data(), circle_r.data()};
  draw_circles(circles, zeb::frame::trunc(std::min(wanted, 2000.0f)), Bitmap{bitmap, width, height, stride});
  const int n = circles.count;
  if (n == 0) return;

  const Scratch<float> score(n);
  const Scratch<int> order(n);
  if (!score || !order) return;
  weigh(score.data(), circles, sqrtf(static_cast<float>(height) * static_cast<float>(width)) * 0.05f);

  // An exchange sort, whose way with equal scores is part of the result; only its best part is needed.
  const int m = n / 4 < 4 ? n : n / 4;
  std::iota(order.data(), order.data() + n, 0);
  for (int a = 0; a < m; ++a)
    for (int b = a + 1; b < n; ++b)
      if (score[b] > score[a]) {
        std::swap(score[a], score[b]);
        std::swap(order[a], order[b]);
      }

  float weight = 0.0f, r = 0.0f, x = 0.0f, y = 0.0f;
  for (int i = 0; i < m; ++i) {
    const int k = order[i];
    r += circles.r[k] * score[i];
    x += circles.x[k] * score[i];
    y += circles.y[k] * score[i];
    weight += score[i];
  }
  *radius = r / weight;
  *centre_x = x / weight;
  *centre_y = y / weight;
}

}  // namespace zeb
