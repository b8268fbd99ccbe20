#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <vector>

#include "zeb/transforms.h"

namespace {

using Floats = std::vector<float>;

/// The point lists of a fit, and its results in the order of the arguments: centre, shift, angle, scales.
struct Fit {
  Floats x1, y1, x2, y2;
  std::array<float, 8> out{};

  int count() const { return static_cast<int>(x1.size()); }
  Fit plain() const {
    Fit f(*this);
    float* const o = f.out.data();
    zeb::calc_param(f.x1.data(), f.y1.data(), f.x2.data(), f.y2.data(), count(), o, o + 1, o + 2, o + 3, o + 4, o + 5,
                    o + 6, o + 7);
    return f;
  }
  Fit weighted(Floats w, Floats wx, Floats wy) const {
    Fit f(*this);
    float* const o = f.out.data();
    zeb::calc_param_weight(f.x1.data(), f.y1.data(), f.x2.data(), f.y2.data(), w.data(), wx.data(), wy.data(), count(),
                           o, o + 1, o + 2, o + 3, o + 4, o + 5, o + 6, o + 7);
    return f;
  }
};

TEST(CalcParam, RecoversASimilarityAndLeavesTheSecondSetTurned) {
  // The first set is the second one, turned by asin(0.6), doubled, and moved by (10, -20).
  const Fit fit{{18, 2, 20, 0}, {-14, -26, 0, -40}, {5, -5, 10, -10}, {0, 0, 5, -5}};
  const Floats ones(4, 1);
  for (const Fit& f : {fit.plain(), fit.weighted(ones, ones, ones)}) {
    const float expected[] = {10, -20, 10, -20, asinf(0.6f), 2, 2, 2};
    for (std::size_t i = 0; i < 8; ++i) EXPECT_NEAR(f.out[i], expected[i], 1e-5f) << i;
    EXPECT_EQ(f.x1, (Floats{8, -8, 10, -10}));
    EXPECT_EQ(f.y1, (Floats{6, -6, 20, -20}));
    for (std::size_t i = 0; i < 4; ++i) {
      EXPECT_NEAR(f.x2[i], f.x1[i] / 2, 1e-5f) << i;
      EXPECT_NEAR(f.y2[i], f.y1[i] / 2, 1e-5f) << i;
    }
  }
}

TEST(CalcParam, WeightsEnterEachSumAsTheirOwnFactors) {
  const Fit centred = Fit{{1, 5}, {2, 5}, {-7, 1}, {-1, -1}}.weighted({1 / 128.0f, 3 / 128.0f}, {1, 1}, {6, 1});
  const Floats expected{(1 + 3 * 5) / 4, (6 * 2 + 3 * 5) / 9, (8 + 3 * 4) / 4, (6 * 3 + 3 * 6) / 9};
  EXPECT_EQ(Floats(centred.out.begin(), centred.out.begin() + 4), expected);
  // Two pairs are turned by asin(0.6), two are not.
  const Fit turned{{4, -4, 0, 0}, {3, -3, 5, -5}, {5, -5, 0, 0}, {0, 0, 5, -5}};
  EXPECT_FLOAT_EQ(turned.plain().out[4], asinf(0.3f));
  EXPECT_FLOAT_EQ(turned.weighted({3, 3, 1, 1}, {1, 1, 7, 7}, {1, 1, 7, 7}).out[4], asinf(0.45f));
  for (const float none : {0.0f, -1.0f}) {
    const Fit f = turned.weighted({1, 1, 1, 1}, Floats(4, none), Floats(4, none));
    for (std::size_t i = 0; i < 4; ++i) EXPECT_EQ(f.out[i], 0) << i << ", no positive sum of weights";
  }
}

TEST(CalcParam, ScalesCountAllPairsOrWhatEntered) {
  // Along x: twice as far, a 16th, and turned round as far; the last pair has no extent.
  const Fit fit{{-0.125f, 0.125f, -0.03125f, 0.03125f, 0.25f, -0.25f, 0},
                Floats(7),
                {-0.0625f, 0.0625f, -0.5f, 0.5f, -0.25f, 0.25f, 0},
                Floats(7)};
  const Floats ones(7, 1), w{1, 1, 2, 2, 1, 1, 1}, along{1, 1, 3, 3, 1, 1, 1};
  const auto plain = fit.plain().out, weighted = fit.weighted(w, along, ones).out;
  // As powers of 2: twice 2 and twice -8 of squares, in 7 pairs.
  EXPECT_FLOAT_EQ(plain[5], powf(2, (2 * 2 - 2 * 8) / 14.0f));
  EXPECT_FLOAT_EQ(plain[6], powf(2, (2 * 2 - 2 * 8) / 14.0f)) << "of squares: the sign does not matter";
  EXPECT_FLOAT_EQ(weighted[5], powf(2, (2 * 2 - 2 * 2 * 8) / 16.0f)) << "the last pair does not enter";
  EXPECT_FLOAT_EQ(weighted[6], powf(2, (2 * 1 - 2 * 6 * 4) / 14.0f)) << "nor do pairs of different signs";
  EXPECT_EQ(plain[7], 1);
  EXPECT_EQ(weighted[7], 1);
  const auto upright = Fit{fit.y1, fit.x1, fit.y2, fit.x2}.weighted(w, ones, along).out;
  EXPECT_EQ(upright[6], 1);
  EXPECT_EQ(upright[7], weighted[6]);
}

TEST(CalcParam, PointsThatComeToLieOnAnAxisEnterItsPlainScaleAlone) {
  const Floats ones(4, 1), none(4), across{1, -1, 1, -1}, along{4, 4, -4, -4};
  const Fit upright{none, along, across, along}, lying{along, none, along, across};
  EXPECT_EQ(upright.plain().out[6], 0);
  EXPECT_EQ(upright.weighted(ones, ones, ones).out[6], 1);
  EXPECT_EQ(lying.plain().out[7], 0);
  EXPECT_EQ(lying.weighted(ones, ones, ones).out[7], 1);
}

TEST(CalcParam, SumsInSinglePrecisionInTheOrderOfThePoints) {
  // 1e8f + 1 is 1e8f.
  const Fit fit{{1e8f, 1, -1e8f, 1}, {0, 0, 0, 0}, {0, 0, 0, 0}, {1e8f, 1, -1e8f, 1}};
  const Floats ones(4, 1);
  for (const Fit& f : {fit.plain(), fit.weighted(ones, ones, ones)}) EXPECT_EQ(f.out[0], 0.25f);
}

TEST(CalcParam, AnglesThatAreNotDetermined) {
  // A quarter turn of points so close together that the angle counts as undetermined, and a little farther apart.
  for (const float size : {0.35e-4f, 0.8e-4f})
    EXPECT_EQ((Fit{{size, -size}, {0, 0}, {0, 0}, {-size, size}}.plain().out[4]), size < 0.5e-4f ? 0 : asinf(1))
        << size;
  const auto none = Fit().plain().out, none_weighted = Fit().weighted({}, {}, {}).out;
  EXPECT_TRUE(std::isnan(none[0]) && std::isnan(none[3]));
  EXPECT_TRUE(none_weighted[0] == 0 && none_weighted[3] == 0);
  int beyond = 0;
  for (float a = 1; a < 30; ++a) {
    const float b = a / 7;
    const Fit f = Fit{{-b, b}, {a, -a}, {a, -a}, {b, -b}}.plain();
    if (std::isnan(f.out[4])) ++beyond;
    EXPECT_EQ(std::isnan(f.out[4]), std::isnan(f.x2[0])) << a;
  }
  EXPECT_GT(beyond, 0) << "rounding takes sines of quarter turns beyond 1";
}

}  // namespace
