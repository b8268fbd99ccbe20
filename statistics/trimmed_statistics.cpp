#include "statistics/reduction.h"
#include "zeb/statistics.h"

namespace {

/// The bins between two quantiles, ends included. The fractions are what the end bins count beyond their whole.
struct Band {
  float total, lower, upper;
  bool empty;
  int first = 0, last = 0;
  float first_fraction = 0.0f, last_fraction = 0.0f;

  Band(const float* hist, float total_, int n, float lower_, float upper_)
      : total(1e-8f > total_ ? zeb::statistics::sum_of(hist, n) : total_),
        lower(lower_),
        upper(upper_),
        empty(1e-8f > total || n < 1) {
    if (empty) return;
    widen();

    float cumulated = 0.0f;
    if (lower > 0.001f && 1.0f > lower) {
      const float quantile = total * lower;
      first = reach(quantile, hist, n, 0, cumulated);
      first_fraction = (cumulated - quantile) / hist[first] - 1.0f;
      cumulated -= hist[first];
    }
    if (static_cast<double>(upper) >= 0.999) {
      last = n - 1;
    } else {
      const float quantile = total * upper;
      last = reach(quantile, hist, n, first, cumulated);
      last_fraction = -((cumulated - quantile) / hist[last]);
    }
  }

 private:
  void widen() {
    constexpr float narrowest = 0.001f;
    if (!(lower + narrowest > upper)) return;
    if (lower + narrowest < 1.0f)
      upper = lower + narrowest;
    else
      lower = upper - narrowest;
  }

  /// The bin from `i` on with which `cumulated` comes up to `quantile`; the last one if none does.
  static int reach(float quantile, const float* hist, int n, int i, float& cumulated) {
    for (;; ++i) {
      cumulated += hist[i];
      if (cumulated >= quantile - 0.001f || i == n - 1) return i;
    }
  }
};

}  // namespace

float hist_average(const float* const hist, float total, int n, float lower, float upper) {
  const Band band(hist, total, n, lower, upper);
  if (band.empty) return 0.0f;
  float moment = band.first_fraction * hist[band.first] * static_cast<float>(band.first) +
                 band.last_fraction * hist[band.last] * static_cast<float>(band.last);
  for (int i = band.first; i <= band.last; ++i) moment += static_cast<float>(i) * hist[i];
  return moment / ((band.upper - band.lower) * band.total);
}

float hist_width(const float* const hist, float total, int n, float lower, float upper) {
  const Band band(hist, total, n, lower, upper);
  if (band.empty) return 0.0f;
  return static_cast<float>(band.last - band.first + 1) + band.first_fraction + band.last_fraction;
}

namespace zeb {

float hist_average(const std::vector<float>& hist, float total, float lower, float upper) {
  return ::hist_average(hist.data(), total, static_cast<int>(hist.size()), lower, upper);
}

float hist_average(const std::vector<float>& hist, float lower, float upper) {
  return hist_average(hist, 0.0f, lower, upper);
}

float hist_width(const std::vector<float>& hist, float total, float lower, float upper) {
  return ::hist_width(hist.data(), total, static_cast<int>(hist.size()), lower, upper);
}

float hist_width(const std::vector<float>& hist, float lower, float upper) {
  return hist_width(hist, 0.0f, lower, upper);
}

}  // namespace zeb
