#include <gtest/gtest.h>

#include <cmath>
#include <utility>
#include <vector>

#include "zeb/statistics.h"

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

TEST(MultiOtsu, FirstOfTheBestCombinations) {
  const Histogram two{0, 5, 5, 0, 0, 5, 5, 0}, four{0, 5, 5, 0, 5, 5, 0, 5, 5, 0, 5, 5, 0};
  using Cuts = std::vector<int>;
  EXPECT_EQ(zeb::multi_otsu(two, 2, 0), Cuts{2}) << "2, 3 and 4 are equally good";
  EXPECT_EQ(zeb::multi_otsu({0, 5, 5, 5, 5}, 3, 0), (Cuts{1, 2})) << "the only combination";
  EXPECT_EQ(zeb::multi_otsu({0, 5, 5, 0, 0, 5, 5, 0, 0, 0, 5, 5, 0}, 3, 0), (Cuts{2, 6}));
  EXPECT_EQ(zeb::multi_otsu(four, 4, 40), (Cuts{2, 5, 8}));
  EXPECT_EQ(zeb::multi_otsu(four, 4, -1), (Cuts{0, 0, 0})) << "no score is above 0";
  EXPECT_EQ(zeb::multi_otsu({0.5f, 0.25f}, 2, 0), Cuts{0}) << "no bin to cut at";
  EXPECT_EQ(zeb::multi_otsu({1000, 5, 5, 0, 0, 5, 5, 0}, 2, 0), Cuts{2}) << "bin 0 belongs to no class";
  // Of a class of one bin nothing is counted. After bin 1: 36^2 / 9 alone; after bin 2 as much and 1.
  EXPECT_EQ(zeb::multi_otsu({0, 1, 0, 0, 9}, 2, 0), Cuts{2});
  for (const int classes : {1, 0, -1}) EXPECT_TRUE(zeb::multi_otsu(two, classes, 0).empty());
}

TEST(LiEntropy, WorkedOutByHand) {
  EXPECT_EQ(zeb::li_entropy({}), 0.0f);
  EXPECT_EQ(zeb::li_entropy({5}), 0.0f);
  // Means 1 and 1.5. From 1 to 0, because of log(0); from there to (1.5 - 2) / (log 0.5 - log 1).
  EXPECT_FLOAT_EQ(zeb::li_entropy({0, 0}), static_cast<float>(0.5 / std::log(2.0)));
  // Means 1, 1.5, 2, 2.5. From 2 to (2.5 - 4) / (log 0.5 - log 2) = 1.08, and with bin 1 to (2.5 - 3) / (0 - log 1.5).
  EXPECT_FLOAT_EQ(zeb::li_entropy({0, 0, 0, 0}), static_cast<float>(0.5 / std::log(1.5)));
  // Means 1, 8 / 6, 11 / 7, 15 / 8. From 2 to 0.77, and with bin 0 to (15 / 8 - 2) / (log(7 / 8) - log 1).
  EXPECT_FLOAT_EQ(zeb::li_entropy({3, 1, 0, 0}), static_cast<float>(0.125 / std::log(8.0 / 7.0)));
  EXPECT_TRUE(std::isnan(zeb::li_entropy({-1, -1, -1, -1}))) << "not a bin to go on from";
}

}  // namespace
