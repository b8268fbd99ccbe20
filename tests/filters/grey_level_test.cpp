#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cmath>
#include <vector>

#include "tests/support/picture.h"
#include "tests/support/random_geometry.h"
#include "zeb/filters.h"

using namespace zeb::testing;

namespace {

struct Gauss {
  float fraction1, fraction2;
  int size_x, size_y;
  float falloff;
  int mode;
};

/// One pixel from its histogram, all 256 bins in plain integers.
int band_mean(const std::vector<int>& bins, int lo, int hi, int total) {
  const int shift = static_cast<int>((std::log(static_cast<double>(hi - lo)) + 0.0001) / std::log(2.0));
  const int factor = (1 << shift) * total / ((hi - lo) * 4);
  int c = 0, previous = lo, acc = 0, grey = 0;
  for (const int bin : bins) {
    c = std::min(c + bin, hi);
    acc += grey++ * std::max(c - previous, 0);
    previous = std::max(c, lo);
  }
  acc = shift > 3 ? acc >> (shift - 3) : acc << (3 - shift);
  return std::min((std::min(acc, 32767) * factor) >> 16, 255);
}

int band_width(const std::vector<int>& bins, int lo, int hi) {
  int c = 0, q_lo = 0, q_hi = 0, grey = 0;
  for (const int bin : bins) {
    c = std::min(c + bin, 65535);
    const int as_signed = c > 32767 ? c - 65536 : c;
    if (lo > as_signed) q_lo = grey;
    if (hi > as_signed) q_hi = grey;
    ++grey;
  }
  return std::clamp(q_hi - q_lo, 0, 255);
}

/// Pixel by pixel, with a fresh histogram for each.
Picture weighted_histogram(const Picture& src, Picture dst, const Gauss& p) {
  const int width = src.width(), height = src.height(), hx = p.size_x / 2, hy = p.size_y / 2;
  if (2 * hy + 1 > height || 2 * hx + 1 > (width & ~7)) return dst;
  std::vector<float> kernel;
  float sum = 0;
  for (int y = -hy; y <= hy; ++y)
    for (int x = -hx; x <= hx; ++x) {
      kernel.push_back(expf(-static_cast<float>(x * x + y * y) * std::fabs(p.falloff)));
      sum += kernel.back();
    }
  int total = 0;
  for (float& k : kernel) total += static_cast<int>(k = std::trunc(k / sum * 32768.0f));
  total = std::min(total, 32767);
  int lo = static_cast<int>(static_cast<float>(total) * std::max(std::min(p.fraction1, p.fraction2), 0.0f));
  int hi = static_cast<int>(static_cast<float>(total) * std::min(std::max(p.fraction1, p.fraction2), 1.0f));
  if (lo > total) lo = 0;
  if (hi <= lo) (lo < total - 1 ? hi : lo) = lo < total - 1 ? lo + 1 : hi - 1;
  for (int y = hy; y < height - hy; ++y)
    for (int group = hx; group < (width & ~7) - hx; group += 8)
      for (int x = group; x < group + 8; ++x) {
        if (y == height - 1 && x >= dst.stride()) continue;
        std::vector<int> bins(256);
        auto weight = kernel.begin();
        for (int dy = -hy; dy <= hy; ++dy)
          for (int dx = -hx; dx <= hx; ++dx) bins[src(x + dx, y + dy)] += static_cast<int>(*weight++);
        dst(x, y) = static_cast<unsigned char>(p.mode == 0 ? band_mean(bins, lo, hi, total) : band_width(bins, lo, hi));
      }
  return dst;
}

TEST(GaussFilter, WeighsHistogramsOnAnyLayout) {
  for_each_trial(400, 40, 9, [](Trial t) {
    std::uniform_real_distribution<float> fraction(-0.1f, 1.1f);
    if (t.number % 4 == 0) std::fill_n(t.src.data(), t.g.stride * t.g.height, static_cast<unsigned char>(t.number));
    Gauss p{fraction(t.engine), fraction(t.engine), pick(t.engine, -1, 11), pick(t.engine, -1, 7), 0.0f, t.number % 2};
    if (t.number % 3 != 0) p.falloff = std::ldexp(fraction(t.engine), pick(t.engine, -5, 5));
    if (t.number % 15 == 0) p.fraction1 = 1.0f;
    if (t.number % 5 == 0) p.fraction2 = p.fraction1;
    const Picture expected = weighted_histogram(t.src, t.dst, p);
    zeb::vGaussFilter(t.dst.data(), t.src.data(), t.g.width, t.g.stride, t.g.height, p.fraction1, p.fraction2, p.size_x,
                      p.size_y, p.falloff, p.mode);
    ASSERT_TRUE(same(expected, t.dst));
    const Picture expected_grey = weighted_histogram(t.src, t.dst, {0.4f, 0.6f, 9, 9, 0.2f, 0});
    zeb::vGreyFilter(t.dst.data(), t.src.data(), t.g.width, t.g.stride, t.g.height);
    ASSERT_TRUE(same(expected_grey, t.dst));
  });
}

TEST(HistogramEqualisation, CountsTheSmoothedBinsBelow) {
  // What becomes of one grey value and of another one in the last columns.
  const auto equalised = [](int width, int most, int columns = 0, int other = 0) {
    Picture p(width, 24, 3);
    p.fill([=](int x, int) { return x < width - columns ? most : other; });
    zeb::vHistEqual(p.data(), p.data(), width, 24, 3);
    return std::pair{int{p(0, 0)}, int{p(width - 1, 2)}};
  };
  using Pair = std::pair<int, int>;
  EXPECT_EQ(equalised(20, 0), Pair(0, 0));
  for (const int grey : {1, 2, 3}) EXPECT_EQ(equalised(20, grey), Pair(102, 102)) << "1 / 2.5, with mirror images";
  for (const int grey : {4, 253, 254, 255}) EXPECT_EQ(equalised(1, grey), Pair(76, 76)) << "(0.25 + 0.5) / 2.5";
  // Of 252 count (0.25 + 0.5) / 2.5 below itself, and (0.25 + 0.5 + 1 + 0.5 + 0.25) / 2.5 and 0.25 / 2.5 of its mirror
  // image below 255.
  EXPECT_EQ(equalised(20, 252, 10, 255), Pair(38, 178)) << "0.75 / 2.5 / 2 and (2.75 + 0.75) / 2.5 / 2";
  EXPECT_EQ(equalised(20, 252, 1, 255), Pair(72, 255)) << "0.75 / 2.5 * 0.95, and more than all";
}

TEST(Grain, CoarseExtremesAreCarriedFromCellToCell) {
  Picture src = Picture::grey({{9, 8, 5, 7, 1}, {7, 7, 9, 9, 0}, {4, 9, 9, 9, 0}, {9, 9, 6, 3, 0}, {0, 0, 0, 0, 0}}, 6);
  const auto coarse = [&](int mode) {
    Picture dst(5, 6, 5, 77);
    zeb::vCoarseGrain(dst.data(), src.data(), 5, 5, 6, 2, 2, mode);
    const std::vector<int> corner{dst(0, 0), dst(1, 0), dst(0, 1), dst(1, 1)};
    dst(0, 0) = dst(1, 0) = dst(0, 1) = dst(1, 1) = 77;
    EXPECT_EQ(dst, Picture(5, 6, 5, 77)) << "the rest stays";
    return corner;
  };
  using Cells = std::vector<int>;
  EXPECT_EQ(coarse(1), (Cells{7, 5, 4, 3}));
  EXPECT_EQ(coarse(2), (Cells{9, 9, 9, 9}));
  EXPECT_EQ(coarse(3), (Cells{77, 77, 77, 77}));
  src = Picture(5, 6, 5);
  EXPECT_EQ(coarse(2), (Cells{0, 0, 0, 0}));
}

TEST(Grain, CoarseMeansTruncateInCellsOfAnySize) {
  std::mt19937 engine(4);
  const int sizes[][2] = {{1, 1}, {7, 9}, {1024, 257}, {1025, 2}, {3, 258}};
  for (const auto& [cell_width, cell_height] : sizes) {
    Picture src = Picture::random(engine, 2100, 2100, 300), dst(2100, 2100, 300), expected = dst;
    for_each_pixel(2100 / cell_width, 300 / cell_height, [&, w = cell_width, h = cell_height](int column, int row) {
      long long sum = 0;
      for_each_pixel(w, h, [&](int x, int y) { sum += src(column * w + x, row * h + y); });
      expected(column, row) = static_cast<unsigned char>(sum / (w * h));
    });
    zeb::vCoarseGrain(dst.data(), src.data(), 2100, 300, 2100, cell_width, cell_height, 0);
    ASSERT_TRUE(same(expected, dst)) << cell_width << " x " << cell_height;
  }
}

TEST(Grain, FineRepeatsPixelsInWholeCells) {
  Picture src = Picture::grey({{1, 2, 3, 3, 3, 3, 3}, {4, 5, 3, 3, 3, 3, 3}}), dst(7, 7, 5, 9);
  zeb::vFineGrain(dst.data(), src.data(), 7, 5, 7, 3, 2);
  const std::vector<int> upper{1, 1, 1, 2, 2, 2, 9}, lower{4, 4, 4, 5, 5, 5, 9}, rest(7, 9);
  EXPECT_EQ(dst, Picture::grey({upper, upper, lower, lower, rest}));
  const Picture before = src;
  Picture copy(7, 7, 2);
  zeb::vFineGrain(copy.data(), src.data(), 7, 2, 7, 1, 1);
  EXPECT_EQ(copy, before);
  for (const auto& [width, height] : {std::pair(0, 2), {3, 0}, {8, 2}, {3, 3}})
    zeb::vFineGrain(src.data(), dst.data(), 7, 2, 7, width, height);
  EXPECT_EQ(src, before) << "no cells";
}

TEST(Covariance, EqualsTheWholeSumsOnAnyLayout) {
  for_each_trial(300, 50, 25, [](Trial t) {
    const int radius = t.number % 50 == 0 ? INT_MAX : pick(t.engine, -1, 6), density = pick(t.engine, 1, 6);
    const float threshold = static_cast<float>(pick(t.engine, 0, 40)) * 0.125f;
    t.src.fill([&](int, int) { return std::max(0, pick(t.engine, density - 10, density)); });
    Picture expected(t.dst);
    expected.fill([&](int x, int y) -> int {
      const bool border = x < radius || y < radius || x >= t.g.width - radius || y >= t.g.height - radius;
      if (border || radius < 0) return t.dst(x, y);
      int n = 0, sx = 0, sy = 0, sxx = 0, syy = 0, sxy = 0;
      for (int dy = -radius; dy <= radius; ++dy)
        for (int dx = -radius; dx <= radius; ++dx)
          if (t.src(x + dx, y + dy) != 0) ++n, sx += dx, sy += dy, sxx += dx * dx, syy += dy * dy, sxy += dx * dy;
      if (n == 0) return 0;
      const auto mean = [n](int sum) { return static_cast<float>(sum) / static_cast<float>(n); };
      const float mx = mean(sx), my = mean(sy);
      const float var_x = mean(sxx) - mx * mx, var_y = mean(syy) - my * my, cov = mean(sxy) - my * mx;
      const float root = std::sqrt((cov * 4.0f) * cov + (var_x - var_y) * (var_x - var_y));
      return threshold > (var_y + var_x - root) * 0.5f ? 255 : 0;
    });
    zeb::vCovariance(t.dst.data(), t.src.data(), t.g.width, t.g.height, t.g.stride, radius, threshold);
    ASSERT_TRUE(same(expected, t.dst)) << "radius " << radius << ", threshold " << threshold;
  });
}

}  // namespace
