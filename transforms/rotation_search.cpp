#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <utility>

#include "frame/rounding.h"
#include "frame/scratch.h"
#include "zeb/drawing.h"
#include "zeb/fitting.h"
#include "zeb/transforms.h"

using zeb::frame::Scratch;

namespace {

constexpr float two_pi = 6.2831855f;

/// A difference of positions on a circle of `n` bins, the shorter way round.
float shorter_way(float d, int n) {
  const float turn = static_cast<float>(n);
  if (d > turn * 0.5f) d -= turn;
  if (d < turn * -0.5f) d += turn;
  return d;
}

/// A circular profile above its ground, continued by half a turn, so that hills at either end are whole somewhere.
class Hills {
 public:
  Hills(float* extended, const float* profile, int n, float ground)
      : e_(extended), n_(n), m_(zeb::frame::trunc(n * 1.5)), margin_(n * 0.2) {
    for (int i = 0; i < m_; ++i) e_[i] = std::max(0.0f, profile[i < n ? i : i - n] - ground);
    e_[m_] = 0.0f;  // a centre of gravity may look one beyond
  }

  static std::int64_t room(int n) { return std::int64_t{zeb::frame::trunc(n * 1.5)} + 1; }

  /// The position of the highest hill, which is cleared; false where none rises above `range`.
  bool take_highest(float range, float& position) {
    int i = -1;
    for (int k = 0; k < n_; ++k)
      if (e_[k] > 0.0f && e_[k] > range && (i < 0 || e_[k] > e_[i])) i = k;
    if (i < 0) return false;
    if (margin_ > i) i += n_;
    const int reach = zeb::frame::trunc(margin_);
    position = zeb::fCalcCG(e_, i, 0, m_, reach, reach, 0.5f);
    // The left slope ends before element 0, which can survive.
    for (int j = i - 1; j > 0 && clear(j);) --j;
    for (int j = i; j < m_ && clear(j);) ++j;
    return true;
  }

 private:
  /// Clears an element and its twin, unless it is empty.
  bool clear(int j) {
    if (e_[j] < 1e-8f) return false;
    e_[j] = 0.0f;
    e_[j < m_ - n_ ? j + n_ : j >= n_ ? j - n_ : j] = 0.0f;
    return true;
  }

  float* e_;
  int n_, m_;
  double margin_;
};

/// Finds up to `max_peaks` hills on a circular profile of `n` bins, highest first; positions may lie at or above `n`.
int find_profile_peaks(float* peaks, const float* profile, int n, int max_peaks) {
  if (n < 1) return 0;
  float ground, range;
  {
    const Scratch<float> sorted(n);
    if (!sorted) return 0;
    std::copy_n(profile, n, sorted.data());
    std::sort(sorted.data(), sorted.data() + n);
    ground = sorted[zeb::frame::trunc(n * 0.4)];
    range = sorted[zeb::frame::trunc(n * 0.6)] - ground;
  }
  const Scratch<float> extended(Hills::room(n));
  if (!extended) return 0;
  Hills hills(extended.data(), profile, n, ground);
  int count = 0;
  while (count < max_peaks && hills.take_highest(range, peaks[count])) ++count;
  return count;
}

/// What the line search tells about one image.
struct LineStatistics {
  Scratch<float> angles, distances;

  explicit LineStatistics(int bins) : angles(bins), distances(bins) {}
  explicit operator bool() const { return angles && distances; }

  /// The line search leaves histograms alone where it finds no points to begin with.
  void collect(unsigned char* image, int width, int height, int stride, int bins) {
    std::fill_n(angles.data(), bins, 0.0f);
    std::fill_n(distances.data(), bins, 0.0f);
    int line_count;
    zeb::CalcLinesRandom(nullptr, nullptr, angles.data(), bins, distances.data(), bins, &line_count, image, width,
                         height, stride);
  }
};

/// Circular sums over `window` bins.
void smooth(float* smoothed, const float* histogram, int n, int window) {
  float sum = 0.0f;
  for (int i = 0; i < window; ++i) sum += histogram[i];
  for (int i = 0; i < n; ++i) {
    const int centre = i + window / 2, entering = i + window;
    smoothed[centre < n ? centre : centre - n] = sum;
    sum -= histogram[i];
    sum += histogram[entering < n ? entering : entering - n];
  }
}

/// The rotation in bins between two sets of angle peaks.
float rotation_of_peaks(const float* peaks1, int k1, const float* peaks2, int k2, int n) {
  if (k1 < 1 || k2 < 1) return 0.0f;
  std::array<float, 4> delta;
  float sum = 0.0f, best = 1e24f;
  for (int j = 0; j < k2; ++j) {
    float nearest = 1e24f;
    for (int i = 0; i < k1; ++i) {
      const float d = shorter_way(peaks2[j] - peaks1[i], n);
      if (fabsf(d) < fabsf(nearest)) nearest = d;
    }
    delta[static_cast<std::size_t>(j)] = nearest;
    sum += nearest;
    if (fabsf(nearest) < fabsf(best)) best = nearest;
  }
  if (k1 < k2) return best;
  float result = sum / static_cast<float>(k2);
  for (int j = 0; j < k2; ++j)
    if (static_cast<double>(fabsf(delta[static_cast<std::size_t>(j)] - result)) > n * 0.02) result = best;
  return result;
}

/// A histogram of distances on a logarithmic axis of `n` bins.
void to_logarithmic(float* resampled, const float* histogram, int n, float bins_per_unit) {
  std::fill_n(resampled, n, 0.0f);
  int previous = 0, current = 0;
  for (int i = 1; i < n; ++i) {
    if (i < n - 1) current = zeb::frame::trunc(logf(static_cast<float>(i + 1)) * bins_per_unit);
    if (0 <= previous && previous < n && 1 <= current && current <= n) {
      resampled[previous] += histogram[i];
      const int span = current - previous;
      for (int t = 1; i < n - 1 && t < span; ++t)
        resampled[previous + t] =
            histogram[i] + static_cast<float>(t) * (histogram[i + 1] - histogram[i]) / static_cast<float>(span);
    }
    previous = current;
  }
}

/// The shift of the second profile that fits the first best.
int best_shift(const float* first, const float* second, int n) {
  const int range = n / 50 + 1;
  int best = 0;
  float least = 1e24f;
  for (int u = -range; u <= range; ++u) {
    float c = 0.0f;
    for (int i = n / 3; i < n - range; ++i)
      if (0 <= i + u && i + u < n) c += fabsf(first[i] - second[i + u]);
    if (c < least) {
      least = c;
      best = u;
    }
  }
  return best;
}

constexpr int bands = 16;

/// The sums of the sixteen radial bands of two polar images, one after the other per band and row. The second image's
/// profiles go round twice, so that a shifted one can be read straight.
class BandProfiles {
 public:
  static constexpr int lanes = 16;

  BandProfiles(const unsigned char* polar1, const unsigned char* polar2, int width, int height, int stride)
      : band_width(width / bands),
        h(height),
        pitch_(2 * std::int64_t{height} + lanes),
        block_(bands * (std::int64_t{height} + pitch_)) {
    if (!block_) return;
    for (int b = 0; b < bands; ++b) {
      for (int r = 0; r < h; ++r) {
        const std::ptrdiff_t at = std::ptrdiff_t{r} * stride + std::ptrdiff_t{b} * band_width;
        std::int32_t sum1 = 0, sum2 = 0;
        for (int c = 0; c < band_width; ++c) {
          sum1 += polar1[at + c];
          sum2 += polar2[at + c];
        }
        first(b)[r] = sum1;
        second(b)[r] = sum2;
      }
      for (std::int64_t r = h; r < pitch_; ++r) second(b)[r] = second(b)[r - h];
    }
  }

  explicit operator bool() const { return static_cast<bool>(block_); }
  std::int32_t* first(int b) const { return block_.data() + b * std::int64_t{h}; }
  std::int32_t* second(int b) const { return block_.data() + bands * std::int64_t{h} + b * pitch_; }

  std::int32_t largest() const {
    std::int32_t value = 1;
    for (int b = 0; b < bands; ++b)
      for (int r = 0; r < h; ++r) value = std::max({value, first(b)[r], second(b)[r]});
    return value;
  }

  int band_width;
  int h;

 private:
  std::int64_t pitch_;
  Scratch<std::int32_t> block_;
};

/// The shift of a band's second profile that fits its first one best, the smallest of equals.
int best_turn(const BandProfiles& profiles, int band) {
  constexpr int lanes = BandProfiles::lanes;
  const std::int32_t* a = profiles.first(band);
  int best = 0;
  float least = 1.0e25f;
  for (int s = 0; s < profiles.h; s += lanes) {
    // Each shift keeps a sum of its own, in row order.
    const std::int32_t* b = profiles.second(band) + s;
    float score[lanes] = {};
    for (int j = 0; j < profiles.h; ++j)
      for (int lane = 0; lane < lanes; ++lane) score[lane] += static_cast<float>(std::abs(b[j + lane] - a[j]));
    for (int lane = 0; lane < lanes && s + lane < profiles.h; ++lane)
      if (least > score[lane]) {
        least = score[lane];
        best = s + lane;
      }
  }
  return best;
}

void trace_profiles(unsigned char* trace, const BandProfiles& profiles, int stride) {
  const float f = static_cast<float>(profiles.band_width) / static_cast<float>(profiles.largest());
  for (int b = 0; b < bands; ++b)
    for (int r = 0; r < profiles.h; ++r) {
      const auto plot = [&](const std::int32_t* profile, unsigned char value) {
        const auto column = [&](int row) {
          return zeb::frame::trunc(static_cast<float>(profile[row]) * f) + b * profiles.band_width;
        };
        vLine(trace, column(r > 0 ? r - 1 : profiles.h - 1), r - 1, column(r), r, stride, profiles.h, value, 0);
      };
      plot(profiles.second(b), 200);
      plot(profiles.first(b), 120);
    }
}

/// The bands in the order of how well their shifts agree with those of all bands.
std::array<int, bands> by_agreement(const std::array<int, bands>& shift, int h) {
  std::array<int, bands> spread{}, order{};
  for (std::size_t b = 0; b < bands; ++b) {
    order[b] = static_cast<int>(b);
    for (const int other : shift) {
      const int d = std::abs(shift[b] - other);
      spread[b] += d > h / 2 ? h - d : d;
    }
  }
  const auto spread_of = [&](std::size_t entry) { return spread[static_cast<std::size_t>(order[entry])]; };
  for (std::size_t i = 0; i < bands; ++i)
    for (std::size_t j = i + 1; j < bands; ++j)
      if (spread_of(i) > spread_of(j)) std::swap(order[i], order[j]);
  return order;
}

}  // namespace

namespace zeb {

void vFindRotationAngle(float* angle, float* scale, unsigned char* image1, unsigned char* image2, int width, int height,
                        int stride) {
  if (width < 1 || height < 1) return;
  const float side = sqrtf(static_cast<float>(width) * static_cast<float>(height));
  const int n = side * 2.0f < 2000.0f ? zeb::frame::trunc(side) * 2 : 2000;
  LineStatistics lines1(n), lines2(n);
  if (!lines1 || !lines2) return;
  lines1.collect(image1, width, height, stride, n);
  lines2.collect(image2, width, height, stride, n);

  const Scratch<float> profile1(n), profile2(n);
  if (!profile1 || !profile2) return;
  const int window = (n / 20) | 1;
  smooth(profile1.data(), lines1.angles.data(), n, window);
  smooth(profile2.data(), lines2.angles.data(), n, window);
  float peaks1[8], peaks2[4];
  const int k2 = find_profile_peaks(peaks2, profile2.data(), n, 4);
  const int k1 = find_profile_peaks(peaks1, profile1.data(), n, 8);
  *angle = rotation_of_peaks(peaks1, k1, peaks2, k2, n) * two_pi / static_cast<float>(n);

  const float log_n = logf(static_cast<float>(n)), bins_per_unit = static_cast<float>(n) / log_n;
  to_logarithmic(profile1.data(), lines1.distances.data(), n, bins_per_unit);
  to_logarithmic(profile2.data(), lines2.distances.data(), n, bins_per_unit);
  const int u = best_shift(profile1.data(), profile2.data(), n);
  *scale = expf(static_cast<float>(u) * log_n / static_cast<float>(n));
}

float fMatchAngleFromPolar(unsigned char* polar1, unsigned char* polar2, int width, int height, int stride,
                           unsigned char* trace) {
  if (height < 1) return 0.0f;
  const BandProfiles profiles(polar1, polar2, width, height, stride);
  if (!profiles) return 0.0f;
  if (trace != nullptr) trace_profiles(trace, profiles, stride);

  std::array<int, bands> shift;
  for (int b = 0; b < bands; ++b) shift[static_cast<std::size_t>(b)] = best_turn(profiles, b);
  const int band_width = profiles.band_width;
  for (int b = 0; trace != nullptr && b < bands; ++b) {
    const int row = shift[static_cast<std::size_t>(b)], column = b * band_width;
    vLine(trace, column, row, column + zeb::frame::trunc(band_width * 0.9), row, stride, height, 120, 0);
  }

  const auto order = by_agreement(shift, height);
  const auto shift_of = [&](std::size_t rank) { return shift[static_cast<std::size_t>(order[rank])]; };
  const int s0 = shift_of(0), half = height / 2;
  float total = static_cast<float>(s0);
  for (std::size_t rank = 1; rank < 4; ++rank) {
    int d = shift_of(rank) - s0;
    // Not d - height: shifts on both sides of the turn's end pull the mean the other way.
    if (d > half) d = height - d;
    if (d < -half) d += height;
    total += static_cast<float>(s0 + d);
  }
  if (trace != nullptr) {
    const int row = zeb::frame::trunc(total * 0.25f);
    vLine(trace, 0, row, stride, row, stride, height, 255, 0);
  }
  return total / static_cast<float>(std::int64_t{height} * 4) * two_pi;
}

}  // namespace zeb
