#include <cmath>
#include <cstddef>

#include "frame/rounding.h"
#include "statistics/reduction.h"
#include "zeb/statistics.h"

namespace zeb {
namespace {

/// Scores of all classes of consecutive bins; bin 0 belongs to none, and a class of one bin scores 0.
class ClassScores {
 public:
  ClassScores(const std::vector<float>& hist, float total) : scores_(buffer(hist.size())) {
    const int n = scores_.width;
    std::vector<float> weight(hist.size()), moment(hist.size());  // of the bins from 1 on
    for (int j = 1; j < n; ++j) {
      const auto at = static_cast<std::size_t>(j);
      weight[at] = weight[at - 1] + hist[at];
      moment[at] = moment[at - 1] + static_cast<float>(j) * hist[at];
    }
    clear(scores_);
    for (int i = 1; i < n; ++i) {
      // Nothing is subtracted for i = 1: element 0 is 0.
      const auto before = static_cast<std::size_t>(i - 1);
      float* row = scores_.row(i);
      for (int j = i + 1; j < n; ++j) {
        const float p = weight[static_cast<std::size_t>(j)] - weight[before];
        const float s = moment[static_cast<std::size_t>(j)] - moment[before];
        if (p != 0.0f) row[j] = s * s / (total * p);
      }
    }
  }

  float operator()(int first, int last) const { return scores_.data[std::ptrdiff_t{first} * scores_.stride + last]; }

 private:
  static MatBuffer<float> buffer(std::size_t n) {
    // The buffer counts its elements in 32 bits.
    constexpr std::size_t most_bins = 46272;
    if (n > most_bins) throw mem::bad_allocation();
    return {static_cast<int>(n), static_cast<int>(n)};
  }

  MatBuffer<float> scores_;
};

}  // namespace

void otsu(const std::vector<float>& hist, int& first, int& last) {
  float whole_weight = 0.0f, whole_moment = 0.0f;
  for (std::size_t i = 0; i < hist.size(); ++i) {
    whole_weight += hist[i];
    whole_moment += static_cast<float>(i) * hist[i];
  }
  float weight = 0.0f, moment = 0.0f, best = 0.0f;
  for (std::size_t i = 0; i < hist.size(); ++i) {
    weight += hist[i];
    if (1e-8f > weight) continue;
    const float rest = whole_weight - weight;
    if (1e-8f > rest) break;
    // Bins that the tests skip stay out of the moment.
    moment += static_cast<float>(i) * hist[i];
    const float distance = moment / weight - (whole_moment - moment) / rest;
    const float variance = distance * distance * (weight * rest);
    if (variance >= best) {
      last = static_cast<int>(i);
      if (variance > best) first = static_cast<int>(i);
      best = variance;
    }
  }
}

float otsu(const std::vector<float>& hist) {
  int first = 0, last = 0;
  otsu(hist, first, last);
  return static_cast<float>(first + last) * 0.5f;
}

std::vector<int> multi_otsu(const std::vector<float>& hist, int classes, int total) {
  if (classes < 2) return {};
  const int thresholds = classes - 1;
  std::vector<int> best_cuts(static_cast<std::size_t>(thresholds));
  const int n = static_cast<int>(hist.size());
  // Each threshold ends below its own limit, the last one below n - 2.
  const auto limit = [&](int k) { return n - classes + k; };
  if (limit(0) <= 1) return best_cuts;

  if (total == 0) total = frame::trunc(statistics::sum_of(hist.data(), n));
  const ClassScores score(hist, static_cast<float>(total));
  std::vector<int> cut_list(best_cuts.size());
  std::vector<float> score_list(best_cuts.size() + 1);  // element k: the summed score of the first k classes
  int* const cuts = cut_list.data();
  float* const scores = score_list.data();
  float best = 0.0f;
  cuts[0] = 1;
  int changed = 0;  // the first threshold that differs from the combination before
  do {
    for (int k = changed + 1; k < thresholds; ++k) cuts[k] = cuts[k - 1] + 1;
    for (int k = changed; k < thresholds; ++k) scores[k + 1] = scores[k] + score(k == 0 ? 1 : cuts[k - 1] + 1, cuts[k]);
    const float sum = scores[thresholds] + score(cuts[thresholds - 1] + 1, n - 1);
    if (sum > best) {
      best = sum;
      best_cuts = cut_list;
    }
    changed = thresholds - 1;
    while (++cuts[changed] >= limit(changed) && changed > 0) --changed;
  } while (cuts[0] < limit(0));
  return best_cuts;
}

float li_entropy(std::vector<float> hist) {
  const std::size_t n = hist.size();
  float threshold = static_cast<float>(n / 2);
  if (frame::trunc(threshold) == 0) return threshold;

  // hist[i] becomes the mean of the bins 0 to i.
  float weight = 0.0f, moment = 0.0f;
  for (std::size_t i = 0; i < n; ++i) {
    const float heavier = hist[i] + 1.0f;
    weight += heavier;
    moment += static_cast<float>(i + 1) * heavier;
    hist[i] = moment / weight;
  }
  const float whole = hist[n - 1];
  float previous = 0.0f;
  do {
    previous = threshold;
    if (!(threshold >= 0.0f && threshold < static_cast<float>(n))) break;
    const float below = hist[static_cast<std::size_t>(std::floor(threshold))];
    threshold = (whole - 2.0f * below) / (std::log(whole - below) - std::log(below));
  } while (frame::trunc(previous) != frame::trunc(threshold));
  return threshold;
}

}  // namespace zeb
