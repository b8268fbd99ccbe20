#include <cmath>

#include "zeb/transforms.h"

// All sums and products are of single precision and run in the order of the points: results depend on it.

namespace {

/// The two point lists of a fit, which become what the steps make of them.
struct PointPairs {
  float *x1, *y1, *x2, *y2;
  int count;

  void centre_on(float x, float y) const {
    for (int i = 0; i < count; ++i) {
      x1[i] -= x;
      x2[i] -= x;
      y1[i] -= y;
      y2[i] -= y;
    }
  }
  void shift_second(float x, float y) const {
    for (int i = 0; i < count; ++i) {
      x2[i] += x;
      y2[i] += y;
    }
  }
  void rotate_second(float sine, float cosine) const {
    for (int i = 0; i < count; ++i) {
      const float x = x2[i], y = y2[i];
      x2[i] = x * cosine - y * sine;
      y2[i] = y * cosine + x * sine;
    }
  }

  float squared_length_1(int i) const { return x1[i] * x1[i] + y1[i] * y1[i]; }
  float squared_length_2(int i) const { return x2[i] * x2[i] + y2[i] * y2[i]; }
  /// How far the offset between a pair's points goes across the second one, and what that is to be related to.
  float turn(int i) const { return (y1[i] - y2[i]) * x2[i] - (x1[i] - x2[i]) * y2[i]; }
  float reach(int i) const { return sqrtf(squared_length_1(i) * squared_length_2(i)); }
};

/// Turns the second set by the angle whose sine is `turn / reach`, and returns the angle. A sine beyond 1 is not
/// limited: angle and second set become NaN.
float rotate_by_ratio(const PointPairs& pairs, float turn, float reach) {
  const float sine = static_cast<double>(reach) > 1e-8 ? turn / reach : 0.0f;
  pairs.rotate_second(sine, sqrtf(1.0f - sine * sine));
  return asinf(sine);
}

}  // namespace

namespace zeb {

void calc_param(float* x1, float* y1, float* x2, float* y2, int n, float* center_x, float* center_y, float* shift_x,
                float* shift_y, float* angle, float* scale, float* scale_x, float* scale_y) {
  const PointPairs pairs{x1, y1, x2, y2, n};
  const auto count = static_cast<float>(n);

  float sum_x = 0.0f, sum_y = 0.0f;
  for (int i = 0; i < n; ++i) {
    sum_x += x1[i];
    sum_y += y1[i];
  }
  *center_x = sum_x / count;
  *center_y = sum_y / count;
  pairs.centre_on(*center_x, *center_y);

  sum_x = sum_y = 0.0f;
  for (int i = 0; i < n; ++i) {
    sum_x += x1[i] - x2[i];
    sum_y += y1[i] - y2[i];
  }
  *shift_x = sum_x / count;
  *shift_y = sum_y / count;
  pairs.shift_second(*shift_x, *shift_y);

  float turn = 0.0f, reach = 0.0f;
  for (int i = 0; i < n; ++i) {
    turn += pairs.turn(i);
    reach += pairs.reach(i);
  }
  *angle = rotate_by_ratio(pairs, turn, reach);

  // Pairs without an extent do not change the product but count in the exponent, which pulls the scale toward 1.
  float product = 1.0f, product_x = 1.0f, product_y = 1.0f;
  for (int i = 0; i < n; ++i) {
    const float squared = pairs.squared_length_2(i), squared_x = x2[i] * x2[i], squared_y = y2[i] * y2[i];
    if (squared > 0.0f) product *= pairs.squared_length_1(i) / squared;
    if (squared_x > 0.0f) product_x *= x1[i] * x1[i] / squared_x;
    if (squared_y > 0.0f) product_y *= y1[i] * y1[i] / squared_y;
  }
  const float exponent = 1.0f / (count * 2.0f);
  *scale = powf(product, exponent);
  *scale_x = powf(product_x, exponent);
  *scale_y = powf(product_y, exponent);
}

void calc_param_weight(float* x1, float* y1, float* x2, float* y2, float* weight, float* weight_x, float* weight_y,
                       int n, float* center_x, float* center_y, float* shift_x, float* shift_y, float* angle,
                       float* scale, float* scale_x, float* scale_y) {
  const PointPairs pairs{x1, y1, x2, y2, n};
  const auto wx = [=](int i) { return weight[i] * weight_x[i]; };
  const auto wy = [=](int i) { return weight[i] * weight_y[i]; };

  float total_x = 0.0f, total_y = 0.0f, sum_x = 0.0f, sum_y = 0.0f;
  for (int i = 0; i < n; ++i) {
    total_x += wx(i);
    total_y += wy(i);
    sum_x += wx(i) * x1[i];
    sum_y += wy(i) * y1[i];
  }
  const auto mean = [](float sum, float total) { return total > 0.0f ? sum / total : 0.0f; };
  *center_x = mean(sum_x, total_x);
  *center_y = mean(sum_y, total_y);
  pairs.centre_on(*center_x, *center_y);

  sum_x = sum_y = 0.0f;
  for (int i = 0; i < n; ++i) {
    sum_x += (x1[i] - x2[i]) * wx(i);
    sum_y += (y1[i] - y2[i]) * wy(i);
  }
  *shift_x = mean(sum_x, total_x);
  *shift_y = mean(sum_y, total_y);
  pairs.shift_second(*shift_x, *shift_y);

  float turn = 0.0f, reach = 0.0f;
  for (int i = 0; i < n; ++i) {
    turn += pairs.turn(i) * weight[i];
    reach += pairs.reach(i) * weight[i];
  }
  *angle = rotate_by_ratio(pairs, turn, reach);

  // Unlike without weights, the ratios of the axes are signed and not squared, a pair whose coordinates differ in sign
  // is left out, and the exponents count only what was used.
  float product = 1.0f, product_x = 1.0f, product_y = 1.0f;
  float used = 0.0f, used_x = 0.0f, used_y = 0.0f;
  for (int i = 0; i < n; ++i) {
    const float squared = pairs.squared_length_2(i);
    if (squared > 0.0f) {
      product *= powf(pairs.squared_length_1(i) / squared, weight[i]);
      used += weight[i];
    }
    if (x2[i] != 0.0f && x1[i] / x2[i] > 0.0f) {
      product_x *= powf(x1[i] / x2[i], wx(i));
      used_x += wx(i);
    }
    if (y2[i] != 0.0f && y1[i] / y2[i] > 0.0f) {
      product_y *= powf(y1[i] / y2[i], wy(i));
      used_y += wy(i);
    }
  }
  *scale = powf(product, 1.0f / (used * 2.0f));
  *scale_x = powf(product_x, 1.0f / used_x);
  *scale_y = powf(product_y, 1.0f / used_y);
}

}  // namespace zeb
