#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstring>
#include <random>
#include <vector>

#include "zeb/transforms.h"

namespace {

using Floats = std::vector<float>;

/// The point lists of a fit, and without weights its results.
struct Fit {
  Floats x1, y1, x2, y2, w, wx, wy;
  std::array<float, 8> out{};  ///< in the order of the arguments

  int count() const { return static_cast<int>(x1.size()); }

  void run() {
    float* const o = out.data();
    if (w.empty())
      zeb::calc_param(x1.data(), y1.data(), x2.data(), y2.data(), count(), o, o + 1, o + 2, o + 3, o + 4, o + 5, o + 6,
                      o + 7);
    else
      zeb::calc_param_weight(x1.data(), y1.data(), x2.data(), y2.data(), w.data(), wx.data(), wy.data(), count(), o,
                             o + 1, o + 2, o + 3, o + 4, o + 5, o + 6, o + 7);
  }
};

/// The steps one at a time, a loop for each sum.
void by_steps(Fit& f) {
  const bool weights = !f.w.empty();
  const auto n = static_cast<float>(f.count());
  auto& [x1, y1, x2, y2, w, wx, wy, out] = f;
  auto& [center_x, center_y, shift_x, shift_y, angle, scale, scale_x, scale_y] = out;
  const auto sum = [size = x1.size()](auto term) {
    float total = 0;
    for (std::size_t i = 0; i < size; ++i) total += term(i);
    return total;
  };
  const auto mean = [&, &weight = w](const Floats& axis, auto term) {
    if (!weights) return sum(term) / n;
    const float total = sum([&](std::size_t i) { return weight[i] * axis[i]; });
    return total > 0 ? sum([&](std::size_t i) { return term(i) * (weight[i] * axis[i]); }) / total : 0;
  };
  center_x = mean(f.wx, [&](std::size_t i) { return f.x1[i]; });
  center_y = mean(f.wy, [&](std::size_t i) { return f.y1[i]; });
  for (std::size_t i = 0; i < x1.size(); ++i)
    x1[i] -= center_x, x2[i] -= center_x, y1[i] -= center_y, y2[i] -= center_y;
  shift_x = mean(f.wx, [&](std::size_t i) { return f.x1[i] - f.x2[i]; });
  shift_y = mean(f.wy, [&](std::size_t i) { return f.y1[i] - f.y2[i]; });
  for (std::size_t i = 0; i < x1.size(); ++i) x2[i] += shift_x, y2[i] += shift_y;

  const auto weight = [&](std::size_t i) { return weights ? f.w[i] : 1.0f; };
  const float num =
      sum([&](std::size_t i) { return ((f.y1[i] - f.y2[i]) * f.x2[i] - (f.x1[i] - f.x2[i]) * f.y2[i]) * weight(i); });
  const float den = sum([&](std::size_t i) {
    return sqrtf((f.x1[i] * f.x1[i] + f.y1[i] * f.y1[i]) * (f.x2[i] * f.x2[i] + f.y2[i] * f.y2[i])) * weight(i);
  });
  const float s = static_cast<double>(den) > 1e-8 ? num / den : 0, c = sqrtf(1.0f - s * s);
  angle = asinf(s);
  float p = 1, px = 1, py = 1, total = 0, total_x = 0, total_y = 0;
  for (std::size_t i = 0; i < x1.size(); ++i) {
    const float x = x2[i] * c - y2[i] * s, y = y2[i] * c + x2[i] * s;
    x2[i] = x;
    y2[i] = y;
    const float d = x * x + y * y, length = x1[i] * x1[i] + y1[i] * y1[i];
    if (!weights) {
      if (d > 0) p *= length / d;
      if (x * x > 0) px *= x1[i] * x1[i] / (x * x);
      if (y * y > 0) py *= y1[i] * y1[i] / (y * y);
      continue;
    }
    if (d > 0) p *= powf(length / d, w[i]), total += w[i];
    const float rx = x != 0 ? x1[i] / x : 0, ry = y != 0 ? y1[i] / y : 0;
    if (rx > 0) px *= powf(rx, w[i] * wx[i]), total_x += w[i] * wx[i];
    if (ry > 0) py *= powf(ry, w[i] * wy[i]), total_y += w[i] * wy[i];
  }
  scale = powf(p, 1.0f / ((weights ? total : n) * 2.0f));
  scale_x = powf(px, weights ? 1.0f / total_x : 1.0f / (n * 2.0f));
  scale_y = powf(py, weights ? 1.0f / total_y : 1.0f / (n * 2.0f));
}

/// Equal bit for bit, all NaNs being one.
template <class List>
bool identical(const List& a, const List& b) {
  return std::equal(a.begin(), a.end(), b.begin(), b.end(), [](float p, float q) {
    return (std::isnan(p) && std::isnan(q)) || std::memcmp(&p, &q, sizeof(float)) == 0;
  });
}

TEST(CalcParam, FollowsItsStepsToTheLastBit) {
  std::mt19937 engine(1);
  std::uniform_real_distribution<float> coordinate(-100, 100), jitter(-2, 2);
  for (int i = 0; i < 4000; ++i) {
    // Points drawn around a similarity, some of them on the axes; some of the weights negative.
    const float turn = jitter(engine), c = cosf(turn), s = sinf(turn), size = 0.5f + std::abs(jitter(engine));
    Fit fit;
    for (auto n = engine() % 12; n > 0; --n) {
      const float x = engine() % 5 == 0 ? 0 : coordinate(engine), y = engine() % 5 == 0 ? 0 : coordinate(engine);
      fit.x2.push_back(x);
      fit.y2.push_back(y);
      fit.x1.push_back(size * (x * c - y * s) + 7 + jitter(engine));
      fit.y1.push_back(size * (x * s + y * c) - 3 + jitter(engine));
      for (auto* list : {&fit.w, &fit.wx, &fit.wy})
        if (i % 2 == 0)
          list->push_back(static_cast<float>(static_cast<int>(engine() % 20) - (i % 8 == 0 ? 10 : 0)) / 8);
    }
    Fit expected = fit;
    by_steps(expected);
    fit.run();
    ASSERT_TRUE(identical(expected.out, fit.out))
        << ::testing::PrintToString(expected.out) << ", not " << ::testing::PrintToString(fit.out);
    ASSERT_TRUE(identical(expected.x1, fit.x1) && identical(expected.y1, fit.y1)) << i;
    ASSERT_TRUE(identical(expected.x2, fit.x2) && identical(expected.y2, fit.y2)) << i;
  }
}

TEST(CalcParam, WhatHandFinds) {
  const auto run = [](Floats x1, Floats y1, Floats x2, Floats y2, Floats w = {}) {
    Fit fit{x1, y1, x2, y2, w, Floats(w.size(), 1), Floats(w.size(), 1)};
    fit.run();
    return fit;
  };
  for (const Floats& w : {Floats(), Floats(4, 1)}) {
    // The first set is the second one, turned by asin(0.6), doubled, and moved by (10, -20).
    const Fit fit = run({18, 2, 4, 16}, {-14, -26, -12, -28}, {5, -5, 0, 0}, {0, 0, 5, -5}, w);
    const float expected[] = {10, -20, 10, -20, asinf(0.6f), 2};
    for (std::size_t i = 0; i < 6; ++i) EXPECT_NEAR(fit.out[i], expected[i], 1e-5f) << i;
    EXPECT_NEAR(fit.x2[0], 4, 1e-5f) << "the second set is turned but not scaled";
  }
  // A quarter turn of points so close together that the angle counts as undetermined, and a little farther apart.
  for (const float size : {0.35e-4f, 0.8e-4f})
    EXPECT_EQ(run({size, -size}, {0, 0}, {0, 0}, {-size, size}).out[4], size < 0.5e-4f ? 0 : asinf(1)) << size;
  // Doubled along x; the middle pair has no extent. Plain: (4 * 4) ^ (1 / 6). Weighted: only what entered counts.
  EXPECT_NEAR(run({-2, 0, 2}, {0, 0, 0}, {-1, 0, 1}, {0, 0, 0}).out[5], std::pow(16.0, 1.0 / 6), 1e-6);
  EXPECT_NEAR(run({-2, 0, 2}, {0, 0, 0}, {-1, 0, 1}, {0, 0, 0}, {1, 1, 1}).out[5], 2, 1e-6);
}

}  // namespace
