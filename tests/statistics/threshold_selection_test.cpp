#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <new>
#include <optional>

#include "tests/statistics/same_bits.h"
#include "tests/support/allocation.h"
#include "tests/support/random_geometry.h"
#include "zeb/statistics.h"

using zeb::testing::FailingAllocations;
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
  EXPECT_EQ(zeb::otsu(Histogram{1, 1, 0, 2}), 1.5f);
}

TEST(Otsu, LeavesItsOutputsWithoutACut) {
  EXPECT_EQ(plateau({}), std::pair(-7, -8));
  EXPECT_EQ(plateau({0, 0, 5, 0}), std::pair(-7, -8));
  // Negative weights can give both classes the mean 0: a variance of 0, of which only `last` is told.
  EXPECT_EQ(plateau({1, 2, -1}), std::pair(-7, 0));
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

/// The exhaustive search with its three tables and its odometer, the idle counter at its end included.
std::vector<int> exhaustive(const Histogram& hist, int classes, int total) {
  const int n = static_cast<int>(hist.size()), m = classes;
  std::vector<int> out(static_cast<std::size_t>(m - 1)), idx(static_cast<std::size_t>(m)), limit(idx.size());
  const auto square = [n] {
    return std::vector<Histogram>(static_cast<std::size_t>(n), Histogram(static_cast<std::size_t>(n)));
  };
  auto p = square(), s = square(), h = square();
  const auto u = [](int i) { return static_cast<std::size_t>(i); };
  if (total == 0) {
    float sum = 0;
    for (const float bin : hist) sum += bin;
    total = static_cast<int>(sum);
  }
  for (int i = 1; i < n; ++i) p[u(i)][u(i)] = hist[u(i)], s[u(i)][u(i)] = static_cast<float>(i) * hist[u(i)];
  for (int j = 2; j < n; ++j) {
    p[1][u(j)] = p[1][u(j - 1)] + hist[u(j)];
    s[1][u(j)] = s[1][u(j - 1)] + static_cast<float>(j) * hist[u(j)];
  }
  for (int i = 2; i < n; ++i)
    for (int j = i + 1; j < n; ++j) {
      p[u(i)][u(j)] = p[1][u(j)] - p[1][u(i - 1)];
      s[u(i)][u(j)] = s[1][u(j)] - s[1][u(i - 1)];
    }
  for (int i = 1; i < n; ++i)
    for (int j = i + 1; j < n; ++j)
      if (p[u(i)][u(j)] != 0)
        h[u(i)][u(j)] = s[u(i)][u(j)] * s[u(i)][u(j)] / (static_cast<float>(total) * p[u(i)][u(j)]);
  for (int k = 0; k < m; ++k) idx[u(k)] = k + 1, limit[u(k)] = n - m + k;
  float best = 0;
  while (idx[0] < limit[0]) {
    float score = 0;
    for (int k = 0; k < m; ++k) score += h[u((k == 0 ? 0 : idx[u(k - 1)]) + 1)][u(k < m - 1 ? idx[u(k)] : n - 1)];
    if (score > best) {
      best = score;
      out.assign(idx.begin(), idx.end() - 1);
    }
    for (int k = m - 1; k >= 0; --k)
      if (++idx[u(k)] < limit[u(k)]) {
        for (int j = k + 1; j <= m - 2; ++j) idx[u(j)] = idx[u(j - 1)] + 1;
        break;
      }
  }
  return out;
}

TEST(MultiOtsu, SameCombinationAsTheWholeSearch) {
  std::mt19937 engine(4);
  for (int round = 0; round < 3000; ++round) {
    Histogram h(static_cast<std::size_t>(pick(engine, 0, 14)));
    // Small numbers make ties frequent.
    for (float& bin : h) bin = static_cast<float>(pick(engine, 0, 2) == 0 ? 0 : pick(engine, 1, round % 2 ? 3 : 5000));
    const int classes = pick(engine, 2, 6), total = pick(engine, 0, 1) == 0 ? 0 : pick(engine, -5, 500);
    ASSERT_EQ(zeb::multi_otsu(h, classes, total), exhaustive(h, classes, total))
        << ::testing::PrintToString(h) << ", " << classes << " classes, total " << total;
  }
}

TEST(MultiOtsu, ClearGroupsAndLimits) {
  // Three groups; single occupied bins score only together with an empty neighbour.
  EXPECT_EQ(zeb::multi_otsu({0, 5, 5, 0, 0, 5, 5, 0, 0, 0, 5, 5, 0}, 3, 0), (std::vector<int>{2, 6}));
  EXPECT_EQ(zeb::multi_otsu(Histogram(32), 4, 0), (std::vector<int>{0, 0, 0}));
  EXPECT_EQ(zeb::multi_otsu({1, 2, 3, 4}, 3, 0), (std::vector<int>{0, 0})) << "too few bins for a combination";
  EXPECT_EQ(zeb::multi_otsu({}, 2, 0), (std::vector<int>{0}));
  for (const int classes : {1, 0, -1, std::numeric_limits<int>::min()})
    EXPECT_TRUE(zeb::multi_otsu({1, 2, 3, 4}, classes, 0).empty());
}

TEST(MultiOtsu, ThrowsWithoutMemory) {
  const FailingAllocations none(0);
  try {
    zeb::multi_otsu(Histogram(16, 1.0f), 3, 0);
    ADD_FAILURE() << "no exception";
  } catch (const std::bad_alloc& error) {
    EXPECT_STREQ(error.what(), "bad allocation");
  }
}

/// Li's iteration with its arrays; nothing where it has not come to an end after many rounds.
std::optional<float> li_steps(Histogram h) {
  const std::size_t n = h.size();
  float t = static_cast<float>(n / 2);
  for (float& bin : h) bin += 1.0f;
  Histogram cum(n), c(n), mean(n);
  for (std::size_t i = 0; i < n; ++i) {
    cum[i] = (i > 0 ? cum[i - 1] : 0.0f) + h[i];
    c[i] = (i > 0 ? c[i - 1] : 0.0f) + static_cast<float>(i + 1) * h[i];
    mean[i] = c[i] / cum[i];
  }
  if (static_cast<int>(t) == 0) return t;
  const float last = mean[n - 1];
  for (int round = 0; round < 1000; ++round) {
    const float prev = t, a = mean.at(static_cast<std::size_t>(floorf(t)));
    t = (last - 2.0f * a) / (logf(last - a) - logf(a));
    if (static_cast<int>(prev) == static_cast<int>(t)) return t;
  }
  return std::nullopt;
}

TEST(LiEntropy, WorkedOutByHand) {
  EXPECT_EQ(zeb::li_entropy({}), 0.0f);
  EXPECT_EQ(zeb::li_entropy({5}), 0.0f);
  // Means 1 and 1.5. From 1 to 0, because of log(0); from there to (1.5 - 2) / (log 0.5 - log 1).
  EXPECT_FLOAT_EQ(zeb::li_entropy({0, 0}), static_cast<float>(0.5 / std::log(2.0)));
  EXPECT_TRUE(std::isnan(zeb::li_entropy({-1, -1, -1, -1}))) << "not a bin to go on from";
}

TEST(LiEntropy, FollowsTheSteps) {
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
