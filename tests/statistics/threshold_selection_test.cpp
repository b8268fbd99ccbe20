#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <optional>

#include "tests/statistics/same_bits.h"
#include "tests/support/random_geometry.h"
#include "zeb/statistics.h"

using zeb::testing::pick;
using zeb::testing::same_bits;
using Histogram = std::vector<float>;

namespace {

std::pair<int, int> plateau(const Histogram& h) {
  int first = -7, last = -8;
  zeb::otsu(h, first, last);
  return {first, last};
}

TEST(Otsu, PlateauOfTheLargestVariance) {
  Histogram h(256);
  h[10] = h[20] = 4;
  EXPECT_EQ(plateau(h), std::pair(10, 19));
  EXPECT_EQ(zeb::otsu(h), 14.5f);
  // Cut after bin 0: (0 - 7/3)^2 * 1 * 3. After bins 1 and 2: (1/2 - 3)^2 * 2 * 2, which is more.
  EXPECT_EQ(plateau({1, 1, 0, 2}), std::pair(1, 2));
  EXPECT_EQ(plateau({0, 0, 5, 0}), std::pair(-7, -8)) << "no cut, outputs as they were";
  EXPECT_EQ(plateau({1, 2, -1}), std::pair(-7, 0)) << "a variance of 0, of which only `last` is told";
}

TEST(Otsu, SkippedBinsStayOutOfTheMoment) {
  // In units of 1e-8 the bins 100, 101, 102, 110 weigh 0.9, 2, 2, 8 and have the moment 1376. Bin 100 is skipped. After
  // bin 101 the variance is (202 / 2.9 - 1174 / 10)^2 * 29 = 66060, after bin 102 (406 / 4.9 - 970 / 8)^2 * 39.2 =
  // 57776. With the moment of bin 100 it would be 1724 and 3019, the plateau from 102 to 109.
  Histogram h(120);
  h[100] = 0.9e-8f;
  h[101] = h[102] = 2e-8f;
  h[110] = 8e-8f;
  EXPECT_EQ(plateau(h), std::pair(101, 101));
}

/// All combinations in lexicographic order, each class scored anew.
std::vector<int> best_of_all(const Histogram& hist, int classes, int total) {
  const int n = static_cast<int>(hist.size());
  float sum = 0.0f;
  for (const float bin : hist) sum += bin;
  const auto norm = static_cast<float>(total == 0 ? static_cast<int>(sum) : total);
  const auto score = [&](int first, int last) {
    float weight[2] = {}, moment[2] = {};  // of the bins from 1 to `last`, and to the one before `first`
    for (int i = 1; i <= last; ++i)
      for (const int k : {0, 1}) {
        if (k == 1 && i >= first) continue;
        weight[k] += hist[static_cast<std::size_t>(i)];
        moment[k] += static_cast<float>(i) * hist[static_cast<std::size_t>(i)];
      }
    const float p = weight[0] - weight[1], s = moment[0] - moment[1];
    return first >= last || p == 0.0f ? 0.0f : s * s / (norm * p);
  };
  std::vector<int> cuts, best(static_cast<std::size_t>(classes - 1));
  float best_score = 0.0f;
  const std::function<void(float)> go_on = [&](float score_before) {
    const int k = static_cast<int>(cuts.size()), first = k == 0 ? 1 : cuts.back() + 1;
    if (k < classes - 1) {
      for (int cut = first; cut < n - classes + k; ++cut) {
        cuts.push_back(cut);
        go_on(score_before + score(first, cut));
        cuts.pop_back();
      }
    } else if (const float whole = score_before + score(first, n - 1); whole > best_score) {
      best_score = whole;
      best = cuts;
    }
  };
  go_on(0.0f);
  return best;
}

TEST(MultiOtsu, FirstOfTheBestCombinations) {
  EXPECT_EQ(zeb::multi_otsu({0, 5, 5, 0, 0, 5, 5, 0, 0, 0, 5, 5, 0}, 3, 0), (std::vector<int>{2, 6}));
  EXPECT_TRUE(zeb::multi_otsu({1, 2, 3, 4}, 1, 0).empty());
  EXPECT_TRUE(zeb::multi_otsu({1, 2, 3, 4}, -1, 0).empty());
  std::mt19937 engine(4);
  for (int round = 0; round < 2000; ++round) {
    Histogram h(static_cast<std::size_t>(pick(engine, 0, 14)));
    // Small numbers make ties frequent.
    for (float& bin : h) bin = static_cast<float>(pick(engine, 0, 2) == 0 ? 0 : pick(engine, 1, round % 2 ? 3 : 5000));
    const int classes = pick(engine, 2, 6), total = pick(engine, 0, 1) == 0 ? 0 : pick(engine, -5, 500);
    ASSERT_EQ(zeb::multi_otsu(h, classes, total), best_of_all(h, classes, total))
        << ::testing::PrintToString(h) << ", " << classes << " classes, total " << total;
  }
}

/// Li's iteration; nothing where it has not come to an end after many rounds.
std::optional<float> li_steps(const Histogram& h) {
  float t = static_cast<float>(h.size() / 2), weight = 0.0f, moment = 0.0f;
  Histogram mean;
  for (const float bin : h) {
    weight += bin + 1.0f;
    moment += static_cast<float>(mean.size() + 1) * (bin + 1.0f);
    mean.push_back(moment / weight);
  }
  for (int round = 0; round < 1000; ++round) {
    const float previous = t, a = mean.at(static_cast<std::size_t>(floorf(t)));
    t = (mean.back() - 2.0f * a) / (logf(mean.back() - a) - logf(a));
    if (static_cast<int>(previous) == static_cast<int>(t)) return t;
  }
  return std::nullopt;
}

TEST(LiEntropy, FollowsTheSteps) {
  EXPECT_EQ(zeb::li_entropy({}), 0.0f);
  EXPECT_EQ(zeb::li_entropy({5}), 0.0f);
  // Means 1 and 1.5. From 1 to 0, because of log(0); from there to (1.5 - 2) / (log 0.5 - log 1).
  EXPECT_FLOAT_EQ(zeb::li_entropy({0, 0}), static_cast<float>(0.5 / std::log(2.0)));
  EXPECT_TRUE(std::isnan(zeb::li_entropy({-1, -1, -1, -1}))) << "not a bin to go on from";
  std::mt19937 engine(5);
  int ended = 0;
  for (int round = 0; round < 2000; ++round) {
    Histogram h(static_cast<std::size_t>(pick(engine, 2, 256)));
    const float middle = static_cast<float>(pick(engine, 0, static_cast<int>(h.size())));
    for (std::size_t i = 0; i < h.size(); ++i)
      h[i] = static_cast<float>(pick(engine, 0, 50)) +
             5000.0f * std::exp(-0.01f * (static_cast<float>(i) - middle) * (static_cast<float>(i) - middle));
    const auto expected = li_steps(h);
    if (!expected) continue;
    ++ended;
    ASSERT_TRUE(same_bits(*expected, zeb::li_entropy(h))) << h.size() << " bins around " << middle;
  }
  EXPECT_GT(ended, 1500);
}

}  // namespace
