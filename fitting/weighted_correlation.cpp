#include <algorithm>
#include <cstdint>

#include "frame/packed.h"
#include "frame/scratch.h"
#include "zeb/fitting.h"

namespace {

float sum_of_lanes(__m128 v) {
  v = _mm_hadd_ps(v, v);
  return _mm_cvtss_f32(_mm_hadd_ps(v, v));
}

}  // namespace

namespace zeb {

void Correlation(float* result, float* first, float* second, int* weights, int length, int max_lag) {
  if (max_lag < 1) return;
  const std::int64_t n = std::max(length, 0), padded = (n + 3) & ~std::int64_t{3};
  // The shifted signals have `max_lag` zeros on both sides, so that every lag finds a partner for each element.
  const std::int64_t shifted_length = padded + 2 * std::int64_t{max_lag};
  const frame::Scratch<float> a(padded, 1), a_weights(padded, 1), b(shifted_length, 1), b_weights(shifted_length, 1);
  if (!a || !a_weights || !b || !b_weights) return;
  for (const auto* signal : {&a, &a_weights}) std::fill_n(signal->data(), padded, 0.0f);
  for (const auto* signal : {&b, &b_weights}) std::fill_n(signal->data(), shifted_length, 0.0f);
  std::copy_n(first, n, a.data());
  std::copy_n(second, n, b.data() + max_lag);
  for (std::int64_t i = 0; i < n; ++i) {
    const float w = static_cast<float>(weights[i]);
    a_weights[i] = b_weights[max_lag + i] = w;
  }

  for (std::int64_t m = -std::int64_t{max_lag}; m < max_lag; ++m) {
    const float* shifted = b.data() + max_lag - m;
    const float* shifted_weights = b_weights.data() + max_lag - m;
    __m128 products = _mm_setzero_ps(), common = _mm_setzero_ps();
    for (std::int64_t i = 0; i < padded; i += 4) {
      const __m128 w = _mm_mul_ps(_mm_load_ps(a_weights.data() + i), _mm_loadu_ps(shifted_weights + i));
      common = _mm_add_ps(common, w);
      products = _mm_add_ps(products, _mm_mul_ps(_mm_mul_ps(w, _mm_load_ps(a.data() + i)), _mm_loadu_ps(shifted + i)));
    }
    result[max_lag + m] = sum_of_lanes(products) / sum_of_lanes(common);
  }
}

}  // namespace zeb
