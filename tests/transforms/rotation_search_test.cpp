#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <vector>

#include "tests/support/picture.h"
#include "tests/support/random_geometry.h"
#include "zeb/drawing.h"
#include "zeb/fitting.h"
#include "zeb/transforms.h"

using namespace zeb::testing;

namespace {

using Floats = std::vector<float>;

/// Angle and scale.
using Turn = std::pair<float, float>;

Turn turn_between(Picture& a, Picture& b) {
  Turn turn{-99, -99};
  zeb::vFindRotationAngle(&turn.first, &turn.second, a.data(), b.data(), a.width(), a.height(), a.stride());
  return turn;
}

/// The peak finder, step by step.
Floats plain_peaks(const Floats& profile, std::size_t max_peaks) {
  const int n = static_cast<int>(profile.size()), m = static_cast<int>(n * 1.5);
  Floats sorted(profile), peaks;
  std::sort(sorted.begin(), sorted.end());
  const float floor = sorted[static_cast<std::size_t>(n * 0.4)],
              range = sorted[static_cast<std::size_t>(n * 0.6)] - floor;
  Floats storage(static_cast<std::size_t>(m) + 2, 0.0f);
  float* e = storage.data();
  for (int i = 0; i < m; ++i) e[i] = std::max(profile[static_cast<std::size_t>(i % n)] - floor, 0.0f);
  while (peaks.size() < max_peaks) {
    int best = -1;
    for (int i = 0; i < n; ++i)
      if (e[i] > 0 && e[i] > range && (best < 0 || e[i] > e[best])) best = i;
    if (best < 0) break;
    if (n * 0.2 > best) best += n;
    const int reach = static_cast<int>(n * 0.2);
    peaks.push_back(zeb::fCalcCG(e, best, 0, m, reach, reach, 0.5f));
    const auto clear = [&](int j) {
      if (e[j] < 1e-8f) return false;
      e[j] = e[j < m - n ? j + n : j >= n ? j - n : j] = 0;
      return true;
    };
    for (int j = best - 1; j > 0 && clear(j);) --j;
    for (int j = best; j < m && clear(j);) ++j;
  }
  return peaks;
}

Turn plain_turn(Picture& a, Picture& b) {
  const int width = a.width(), height = a.height();
  const float s = sqrtf(static_cast<float>(width) * static_cast<float>(height));
  const int n = s * 2 < 2000 ? static_cast<int>(s) * 2 : 2000;
  const auto size = static_cast<std::size_t>(n);
  const auto at = [&](const Floats& f, int i) { return f[static_cast<std::size_t>(i)]; };
  Floats angles[2] = {Floats(size), Floats(size)}, distances[2] = {Floats(size), Floats(size)}, smooth[2], peaks[2];
  for (const int i : {0, 1}) {
    Picture& image = i == 0 ? a : b;
    int count;
    zeb::CalcLinesRandom(nullptr, nullptr, angles[i].data(), n, distances[i].data(), n, &count, image.data(), width,
                         height, image.stride());
    const int w = (n / 20) | 1;
    for (int k = 0; k < n; ++k) {
      float sum = 0;  // of integers, so in any order
      for (int t = 0; t < w; ++t) sum += at(angles[i], (k + t + n - w / 2) % n);
      smooth[i].push_back(sum);
    }
    peaks[i] = plain_peaks(smooth[i], i == 0 ? 8 : 4);
  }
  float bins = 0;
  if (!peaks[0].empty() && !peaks[1].empty()) {
    Floats delta;
    float sum = 0, best = 1e24f;
    for (const float p2 : peaks[1]) {
      delta.push_back(1e24f);
      for (const float p1 : peaks[0]) {
        float d = p2 - p1;
        if (d > n * 0.5) d -= static_cast<float>(n);
        if (d < n * -0.5) d += static_cast<float>(n);
        if (fabsf(d) < fabsf(delta.back())) delta.back() = d;
      }
      sum += delta.back();
      if (fabsf(delta.back()) < fabsf(best)) best = delta.back();
    }
    bins = best;
    if (peaks[0].size() >= peaks[1].size()) {
      bins = sum / static_cast<float>(delta.size());
      for (const float d : delta)
        if (static_cast<double>(fabsf(d - bins)) > n * 0.02) bins = best;
    }
  }
  const float L = logf(static_cast<float>(n)), k = static_cast<float>(n) / L;
  Floats log_axis[2] = {Floats(size + 1), Floats(size + 1)};
  for (const int which : {0, 1}) {
    int prev = 0, cur = 0;
    for (int i = 1; i < n; ++i) {
      if (i < n - 1) cur = static_cast<int>(logf(static_cast<float>(i + 1)) * k);
      const float here = at(distances[which], i);
      if (prev < n && cur >= 1 && cur <= n) {
        log_axis[which][static_cast<std::size_t>(prev)] += here;
        if (i < n - 1)
          for (int t = 1; t < cur - prev; ++t)
            log_axis[which][static_cast<std::size_t>(prev + t)] =
                here + static_cast<float>(t) * (at(distances[which], i + 1) - here) / static_cast<float>(cur - prev);
      }
      prev = cur;
    }
  }
  const int R = n / 50 + 1;
  float least = 1e24f;
  int shift = 0;
  for (int u = -R; u <= R; ++u) {
    float c = 0;
    for (int i = n / 3; i < n - R; ++i)
      if (i + u >= 0 && i + u < n) c += fabsf(at(log_axis[0], i) - at(log_axis[1], i + u));
    if (c < least) {
      least = c;
      shift = u;
    }
  }
  return {bins * 6.2831855f / static_cast<float>(n), expf(static_cast<float>(shift) * L / static_cast<float>(n))};
}

/// Five lines one way and three across, turned about the middle.
Picture grid(int size, int spacing, float angle) {
  Picture image(size, size, size);
  const auto line = [&](int offset, float towards) {
    const float c = cosf(towards), s = sinf(towards), d = static_cast<float>(offset * spacing);
    const float x = static_cast<float>(size) / 2 + d * c, y = static_cast<float>(size) / 2 + d * s;
    const auto along = [size](float from, float direction) {
      return static_cast<int>(from + static_cast<float>(size) * direction);
    };
    vLine(image.data(), along(x, -s), along(y, c), along(x, s), along(y, -c), size, size, 255, 1);
  };
  for (const int offset : {-2, -1, 0, 1, 2}) line(offset, angle);
  for (const int offset : {-2, 0, 2}) line(offset, angle + 1.5707964f);
  return image;
}

TEST(RotationFromLines, MatchesThePlainRendering) {
  std::mt19937 engine(1);
  for (int i = 0; i < 25; ++i) {
    const int width = pick(engine, 1, 300), height = pick(engine, 1, 250);
    Picture a(width, width + i % 4, height), b(a);
    for (Picture* image : {&a, &b})
      for (int lines = pick(engine, 0, 5); lines > 0; --lines)
        vLine(image->data(), pick(engine, 0, width), pick(engine, 0, height), pick(engine, 0, width),
              pick(engine, 0, height), image->stride(), height, 255, 1);
    ASSERT_EQ(turn_between(a, b), plain_turn(a, b)) << i << ": " << width << " x " << height;
  }
  Picture a = grid(1100, 130, 0.0f), b = grid(1100, 130, 0.1f);
  EXPECT_EQ(turn_between(a, b), plain_turn(a, b)) << "at most 2000 bins";
}

TEST(RotationFromLines, RecoversATurnedGrid) {
  Picture upright = grid(400, 60, 0.05f), empty(100, 100, 100);
  EXPECT_EQ(turn_between(upright, upright), Turn(0, 1));
  for (const float angle : {-0.2f, 0.1f}) {
    Picture turned = grid(400, 60, 0.05f + angle);
    EXPECT_NEAR(turn_between(upright, turned).first, angle, 0.03f);
  }
  EXPECT_EQ(turn_between(empty, empty), Turn(0, expf(-5 * logf(200) / 200))) << "the first of equal shifts";
}

/// The polar match, step by step, with the curves.
float plain_match(const Picture& a, const Picture& b, Picture& trace) {
  const int S = a.width() / 16, h = a.height(), stride = a.stride();
  const auto sum = [S](const Picture& p, int band, int r) {
    int total = 0;
    for (int c = 0; c < S; ++c) total += p(band * S + c, r);
    return total;
  };
  int largest = 1, shift[16], order[16], spread[16] = {};
  for (int i = 0; i < 16 * h; ++i) largest = std::max({largest, sum(a, i / h, i % h), sum(b, i / h, i % h)});
  const float f = static_cast<float>(S) / static_cast<float>(largest);
  for (int band = 0; band < 16; ++band) {
    const auto plot = [&](const Picture& p, int r, unsigned char value) {
      const auto x = [&](int row) {
        return static_cast<int>(static_cast<float>(sum(p, band, (row + h) % h)) * f) + band * S;
      };
      vLine(trace.data(), x(r - 1), r - 1, x(r), r, stride, h, value, 0);
    };
    for (int r = 0; r < h; ++r) {
      plot(b, r, 200);
      plot(a, r, 120);
    }
    float best = 1.0e25f;
    for (int s = 0; s < h; ++s) {
      float score = 0;
      for (int j = 0; j < h; ++j) score += static_cast<float>(std::abs(sum(b, band, (s + j) % h) - sum(a, band, j)));
      if (best > score) {
        best = score;
        shift[band] = s;
      }
    }
  }
  for (int band = 0; band < 16; ++band)
    vLine(trace.data(), band * S, shift[band], band * S + static_cast<int>(S * 0.9), shift[band], stride, h, 120, 0);
  for (int band = 0; band < 16; ++band) {
    order[band] = band;
    for (const int other : shift) {
      const int d = std::abs(shift[band] - other);
      spread[band] += d > h / 2 ? h - d : d;
    }
  }
  for (int i = 0; i < 16; ++i)
    for (int j = i + 1; j < 16; ++j)
      if (spread[order[i]] > spread[order[j]]) std::swap(order[i], order[j]);
  const int s0 = shift[order[0]];
  float total = static_cast<float>(s0);
  for (int i = 1; i < 4; ++i) {
    int d = shift[order[i]] - s0;
    if (d > h / 2) d = h - d;
    if (d < -(h / 2)) d += h;
    total += static_cast<float>(s0 + d);
  }
  const int q = static_cast<int>(total * 0.25f);
  vLine(trace.data(), 0, q, stride, q, stride, h, 255, 0);
  return total / static_cast<float>(h * 4) * 6.2831855f;
}

TEST(RotationFromPolar, MatchesThePlainRendering) {
  std::mt19937 engine(2);
  for (int i = 0; i < 60; ++i) {
    const int width = pick(engine, 1, 200), stride = width + pick(engine, 0, 9), height = pick(engine, 1, 90);
    SCOPED_TRACE(::testing::Message() << i << ": " << width << " x " << height);
    Picture a = Picture::random(engine, width, stride, height), b = Picture::random(engine, width, stride, height);
    const int turn = pick(engine, 0, height - 1);  // the second image is the first one turned, with disturbances
    for (int y = 0; y < height && i % 3 != 0; ++y)
      for (int x = 0; x < width; ++x)
        if (x % 3 != 0) b(x, (y + turn) % height) = a(x, y);
    Picture expected(width, stride, height), trace(expected);
    const float angle = plain_match(a, b, expected);
    ASSERT_EQ(zeb::fMatchAngleFromPolar(a.data(), b.data(), width, height, stride, trace.data()), angle);
    ASSERT_TRUE(same(expected, trace));
    ASSERT_EQ(zeb::fMatchAngleFromPolar(a.data(), b.data(), width, height, stride, nullptr), angle);
  }
}

TEST(RotationFromPolar, FindsATurn) {
  std::mt19937 engine(3);
  Picture a = Picture::random(engine, 64, 64, 360), b(a);
  for (int y = 0; y < 360; ++y) std::copy_n(&a(0, y), 64, &b(0, (y + 90) % 360));
  EXPECT_FLOAT_EQ(zeb::fMatchAngleFromPolar(a.data(), b.data(), 64, 360, 64, nullptr), 1.5707964f);
  EXPECT_EQ(zeb::fMatchAngleFromPolar(a.data(), b.data(), 64, 0, 64, nullptr), 0.0f);
  EXPECT_EQ(zeb::fMatchAngleFromPolar(a.data(), b.data(), -5, 3, 64, nullptr), 0.0f);
}

}  // namespace
