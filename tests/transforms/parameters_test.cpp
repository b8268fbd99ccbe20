#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstring>
#include <random>
#include <vector>

#include "zeb/transforms.h"

namespace {

struct Fit {
  std::vector<float> x1, y1, x2, y2;
  float center_x = -1, center_y = -1, shift_x = -1, shift_y = -1, angle = -1, scale = -1, scale_x = -1, scale_y = -1;

  int count() const { return static_cast<int>(x1.size()); }
  std::size_t size() const { return x1.size(); }

  void plain() {
    zeb::calc_param(x1.data(), y1.data(), x2.data(), y2.data(), count(), &center_x, &center_y, &shift_x, &shift_y,
                    &angle, &scale, &scale_x, &scale_y);
  }
  void weighted(std::vector<float> w, std::vector<float> wx, std::vector<float> wy) {
    zeb::calc_param_weight(x1.data(), y1.data(), x2.data(), y2.data(), w.data(), wx.data(), wy.data(), count(),
                           &center_x, &center_y, &shift_x, &shift_y, &angle, &scale, &scale_x, &scale_y);
  }
  std::array<float, 8> results() const {
    return {center_x, center_y, shift_x, shift_y, angle, scale, scale_x, scale_y};
  }
};

/// Points drawn around a similarity, some of them equal to others or on the axes.
Fit random_fit(std::mt19937& engine) {
  std::uniform_real_distribution<float> coordinate(-100, 100), jitter(-2, 2);
  const float turn = jitter(engine), c = cosf(turn), s = sinf(turn), size = 0.5f + std::abs(jitter(engine));
  Fit fit;
  for (auto n = engine() % 12; n > 0; --n) {
    const float x = engine() % 5 == 0 ? 0 : coordinate(engine), y = engine() % 5 == 0 ? 0 : coordinate(engine);
    fit.x2.push_back(x);
    fit.y2.push_back(y);
    fit.x1.push_back(size * (x * c - y * s) + 7 + jitter(engine));
    fit.y1.push_back(size * (x * s + y * c) - 3 + jitter(engine));
  }
  return fit;
}

/// The steps one at a time, a loop for each sum. Without weights, `w` is empty.
void by_steps(Fit& f, const std::vector<float>& w, const std::vector<float>& wx, const std::vector<float>& wy) {
  const bool weights = !w.empty();
  const auto n = static_cast<float>(f.count());
  const auto sum = [&f](auto term) {
    float total = 0;
    for (std::size_t i = 0; i < f.size(); ++i) total += term(i);
    return total;
  };
  const auto mean = [&](const std::vector<float>& axis, auto term) {
    if (!weights) return sum(term) / n;
    const float total = sum([&](std::size_t i) { return w[i] * axis[i]; });
    return total > 0 ? sum([&](std::size_t i) { return term(i) * (w[i] * axis[i]); }) / total : 0;
  };
  f.center_x = mean(wx, [&](std::size_t i) { return f.x1[i]; });
  f.center_y = mean(wy, [&](std::size_t i) { return f.y1[i]; });
  for (std::size_t i = 0; i < f.size(); ++i)
    f.x1[i] -= f.center_x, f.x2[i] -= f.center_x, f.y1[i] -= f.center_y, f.y2[i] -= f.center_y;
  f.shift_x = mean(wx, [&](std::size_t i) { return f.x1[i] - f.x2[i]; });
  f.shift_y = mean(wy, [&](std::size_t i) { return f.y1[i] - f.y2[i]; });
  for (std::size_t i = 0; i < f.size(); ++i) f.x2[i] += f.shift_x, f.y2[i] += f.shift_y;

  const auto weight = [&](std::size_t i) { return weights ? w[i] : 1.0f; };
  const float num =
      sum([&](std::size_t i) { return ((f.y1[i] - f.y2[i]) * f.x2[i] - (f.x1[i] - f.x2[i]) * f.y2[i]) * weight(i); });
  const float den = sum([&](std::size_t i) {
    return sqrtf((f.x1[i] * f.x1[i] + f.y1[i] * f.y1[i]) * (f.x2[i] * f.x2[i] + f.y2[i] * f.y2[i])) * weight(i);
  });
  const float s = static_cast<double>(den) > 1e-8 ? num / den : 0, c = sqrtf(1.0f - s * s);
  f.angle = asinf(s);
  for (std::size_t i = 0; i < f.size(); ++i) {
    const float x = f.x2[i], y = f.y2[i];
    f.x2[i] = x * c - y * s;
    f.y2[i] = y * c + x * s;
  }

  float p = 1, px = 1, py = 1, total = 0, total_x = 0, total_y = 0;
  for (std::size_t i = 0; i < f.size(); ++i) {
    const float d = f.x2[i] * f.x2[i] + f.y2[i] * f.y2[i], length = f.x1[i] * f.x1[i] + f.y1[i] * f.y1[i];
    if (!weights) {
      if (d > 0) p *= length / d;
      if (f.x2[i] * f.x2[i] > 0) px *= f.x1[i] * f.x1[i] / (f.x2[i] * f.x2[i]);
      if (f.y2[i] * f.y2[i] > 0) py *= f.y1[i] * f.y1[i] / (f.y2[i] * f.y2[i]);
      continue;
    }
    if (d > 0) p *= powf(length / d, w[i]), total += w[i];
    const float rx = f.x2[i] != 0 ? f.x1[i] / f.x2[i] : 0, ry = f.y2[i] != 0 ? f.y1[i] / f.y2[i] : 0;
    if (rx > 0) px *= powf(rx, w[i] * wx[i]), total_x += w[i] * wx[i];
    if (ry > 0) py *= powf(ry, w[i] * wy[i]), total_y += w[i] * wy[i];
  }
  f.scale = powf(p, 1.0f / ((weights ? total : n) * 2.0f));
  f.scale_x = powf(px, weights ? 1.0f / total_x : 1.0f / (n * 2.0f));
  f.scale_y = powf(py, weights ? 1.0f / total_y : 1.0f / (n * 2.0f));
}

/// Equal bit for bit, all NaNs being one.
bool identical(float a, float b) { return (std::isnan(a) && std::isnan(b)) || std::memcmp(&a, &b, sizeof(float)) == 0; }

void expect_identical(const Fit& expected, const Fit& actual) {
  const auto e = expected.results(), a = actual.results();
  for (std::size_t i = 0; i < 8; ++i)
    EXPECT_TRUE(identical(e[i], a[i])) << "result " << i << ": " << e[i] << ", " << a[i];
  for (std::size_t i = 0; i < expected.size(); ++i)
    EXPECT_TRUE(identical(expected.x1[i], actual.x1[i]) && identical(expected.y1[i], actual.y1[i]) &&
                identical(expected.x2[i], actual.x2[i]) && identical(expected.y2[i], actual.y2[i]))
        << "point " << i;
}

TEST(CalcParam, FollowsItsStepsToTheLastBit) {
  std::mt19937 engine(1);
  for (int i = 0; i < 2000 && !HasFailure(); ++i) {
    SCOPED_TRACE(i);
    Fit plain = random_fit(engine), weighted = plain, plain_steps = plain, weighted_steps = plain;
    std::vector<float> w, wx, wy;
    for (std::size_t k = 0; k < plain.size(); ++k)
      for (auto* list : {&w, &wx, &wy})
        list->push_back(static_cast<float>(static_cast<int>(engine() % 20) - (i % 4 == 0 ? 10 : 0)) / 8);
    plain.plain();
    by_steps(plain_steps, {}, {}, {});
    expect_identical(plain_steps, plain);
    if (w.empty()) continue;
    weighted.weighted(w, wx, wy);
    by_steps(weighted_steps, w, wx, wy);
    expect_identical(weighted_steps, weighted);
  }
}

TEST(CalcParam, RecoversASimilarity) {
  // The first set is the second one, turned by asin(0.6), doubled, and moved by (10, -20).
  Fit fit{{10 + 8, 10 - 8, 10 - 6, 10 + 6}, {-20 + 6, -20 - 6, -20 + 8, -20 - 8}, {5, -5, 0, 0}, {0, 0, 5, -5}};
  Fit weighted = fit;
  fit.plain();
  weighted.weighted({1, 1, 1, 1}, {1, 1, 1, 1}, {1, 1, 1, 1});
  for (const Fit& f : {fit, weighted}) {
    const std::array<float, 6> expected{10, -20, 10, -20, asinf(0.6f), 2};
    for (std::size_t i = 0; i < 6; ++i) EXPECT_NEAR(f.results()[i], expected[i], 1e-5f) << i;
    EXPECT_NEAR(f.x2[0], 4, 1e-5f) << "the second set is turned but not scaled";
    EXPECT_NEAR(f.y2[0], 3, 1e-5f);
  }
}

TEST(CalcParam, DegenerateLists) {
  Fit same{{1, 5, 3}, {2, 9, 4}, {1, 5, 3}, {2, 9, 4}};
  same.plain();
  EXPECT_EQ(same.results(), (std::array<float, 8>{3, 5, 0, 0, 0, 1, 1, 1}));
  Fit single{{4}, {6}, {1}, {1}};
  single.plain();
  EXPECT_EQ(single.results(), (std::array<float, 8>{4, 6, 3, 5, 0, 1, 1, 1}));
  Fit none;
  none.plain();
  EXPECT_TRUE(std::isnan(none.center_x) && std::isnan(none.shift_y));
  EXPECT_EQ(none.angle, 0);
  // A quarter turn of points so close together that the angle counts as undetermined, and a little farther apart.
  for (const float size : {0.7e-4f / 2, 0.8e-4f}) {
    Fit tiny{{size, -size}, {0, 0}, {0, 0}, {-size, size}};
    tiny.plain();
    EXPECT_EQ(tiny.angle, size < 0.5e-4f ? 0 : asinf(1)) << size;
  }
  Fit weightless{{1, 2}, {3, 5}, {2, 7}, {1, 1}};
  weightless.weighted({-1, -1}, {1, 1}, {1, 1});
  for (const float f : {weightless.center_x, weightless.center_y, weightless.shift_x, weightless.shift_y})
    EXPECT_EQ(f, 0);
}

TEST(CalcParam, PairsAtTheCentreCountInTheExponent) {
  // Doubled along x; the middle pair has no extent. Plain: (4 * 4) ^ (1 / 6). Weighted: only what entered counts.
  Fit fit{{-2, 0, 2}, {0, 0, 0}, {-1, 0, 1}, {0, 0, 0}};
  Fit weighted = fit;
  fit.plain();
  weighted.weighted({1, 1, 1}, {1, 1, 1}, {1, 1, 1});
  EXPECT_NEAR(fit.scale, std::pow(16.0, 1.0 / 6), 1e-6);
  EXPECT_NEAR(fit.scale_x, std::pow(16.0, 1.0 / 6), 1e-6);
  EXPECT_NEAR(weighted.scale, 2, 1e-6);
  EXPECT_NEAR(weighted.scale_x, 2, 1e-6);
  EXPECT_EQ(weighted.scale_y, 1);
}

}  // namespace
