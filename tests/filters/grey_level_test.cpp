#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <vector>

#include "tests/support/allocation.h"
#include "tests/support/picture.h"
#include "tests/support/random_geometry.h"
#include "zeb/filters.h"

using zeb::testing::FailingAllocations;
using zeb::testing::Geometry;
using zeb::testing::pick;
using zeb::testing::Picture;
using zeb::testing::same;

namespace {

struct Gauss {
  float fraction1, fraction2;
  int size_x, size_y;
  float falloff;
  int mode;

  friend std::ostream& operator<<(std::ostream& os, const Gauss& g) {
    return os << "fractions " << g.fraction1 << " and " << g.fraction2 << ", size " << g.size_x << " x " << g.size_y
              << ", falloff " << g.falloff << ", mode " << g.mode;
  }
};

int saturated_sum(int a, int b) { return std::min(a + b, 65535); }

/// One pixel from its histogram, all 256 bins in plain integers.
int band_mean(const std::vector<int>& bin, int lo, int hi, int total) {
  const int span = hi - lo;
  const int shift = static_cast<int>((std::log(static_cast<double>(span)) + 0.0001) / std::log(2.0));
  const int factor = (1 << shift) * total / (span * 4);
  int c = 0, previous = lo, acc = 0;
  for (int g = 0; g < 256; ++g) {
    c = std::min(saturated_sum(c, bin[static_cast<std::size_t>(g)]), hi);
    acc += g * std::max(c - previous, 0);
    previous = std::max(c, lo);
  }
  acc = shift > 3 ? acc >> (shift - 3) : acc << (3 - shift);
  return std::min((std::min(acc, 32767) * factor) >> 16, 255);
}

int band_width(const std::vector<int>& bin, int lo, int hi) {
  int c = 0, q_lo = 0, q_hi = 0;
  for (int g = 0; g < 256; ++g) {
    c = saturated_sum(c, bin[static_cast<std::size_t>(g)]);
    const int as_signed = c > 32767 ? c - 65536 : c;
    if (lo > as_signed) q_lo = g;
    if (hi > as_signed) q_hi = g;
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
  std::vector<int> weight;
  int total = 0;
  for (const float k : kernel) {
    weight.push_back(static_cast<int>(k / sum * 32768.0f));
    total += weight.back();
  }
  total = std::min(total, 32767);
  const float lower = std::max(std::min(p.fraction1, p.fraction2), 0.0f);
  const float upper = std::min(std::max(p.fraction1, p.fraction2), 1.0f);
  int lo = static_cast<int>(static_cast<float>(total) * lower);
  int hi = static_cast<int>(static_cast<float>(total) * upper);
  if (lo > total) lo = 0;
  if (hi > total) hi = total;
  if (hi <= lo) {
    if (lo < total - 1)
      hi = lo + 1;
    else
      lo = hi - 1;
  }
  for (int y = hy; y < height - hy; ++y)
    for (int x = hx; x < (width & ~7) - hx; x += 8) {
      for (int lane = 0; lane < 8; ++lane) {
        std::vector<int> bin(256);
        std::size_t i = 0;
        for (int dy = -hy; dy <= hy; ++dy)
          for (int dx = -hx; dx <= hx; ++dx) bin[src(x + lane + dx, y + dy)] += weight[i++];
        const bool inside = y < height - 1 || x + lane < dst.stride();
        if (inside)
          dst(x + lane, y) =
              static_cast<unsigned char>(p.mode == 0 ? band_mean(bin, lo, hi, total) : band_width(bin, lo, hi));
      }
    }
  return dst;
}

Picture gauss_filter(Picture& src, Picture dst, const Gauss& p) {
  zeb::vGaussFilter(dst.data(), src.data(), src.width(), src.stride(), src.height(), p.fraction1, p.fraction2, p.size_x,
                    p.size_y, p.falloff, p.mode);
  return dst;
}

TEST(GaussFilter, WeighsHistogramsOnAnyLayout) {
  std::mt19937 engine(1);
  std::uniform_real_distribution<float> fraction(-0.1f, 1.1f);
  for (int i = 0; i < 400; ++i) {
    const auto g = Geometry::random(engine, i % 2 == 0 ? 26 : 60, 9);
    Picture src = Picture::random(engine, g.width, g.stride, g.height, g.offset);
    const Picture untouched = Picture::random(engine, g.width, g.stride, g.height);
    if (i % 4 == 0) std::memset(src.data(), i % 256, static_cast<std::size_t>(g.stride * g.height));
    Gauss p{fraction(engine), fraction(engine), pick(engine, 0, 11), pick(engine, 0, 7), 0.0f, pick(engine, 0, 1)};
    if (i % 3 != 0) p.falloff = std::ldexp(fraction(engine), pick(engine, -5, 5));
    if (i % 5 == 0) p.fraction2 = p.fraction1;
    SCOPED_TRACE(::testing::Message() << g << ", " << p);
    const Picture dst = gauss_filter(src, untouched, p);
    ASSERT_TRUE(same(weighted_histogram(src, untouched, p), dst));
    std::swap(p.fraction1, p.fraction2);
    p.falloff = -p.falloff;
    ASSERT_TRUE(same(dst, gauss_filter(src, untouched, p)));

    Picture grey(untouched);
    zeb::vGreyFilter(grey.data(), src.data(), g.width, g.stride, g.height);
    ASSERT_TRUE(same(weighted_histogram(src, untouched, {0.4f, 0.6f, 9, 9, 0.2f, 0}), grey));
  }
}

TEST(GaussFilter, TruncatesInFixedPoint) {
  // Nine weights of 3640, in all 32760.
  Picture src = Picture::grey({{50, 10, 90, 0, 0, 0, 0, 0}, {20, 80, 30, 0, 0, 0, 0, 0}, {70, 60, 40, 0, 0, 0, 0, 0}});
  const Picture dst(8, 8, 3);
  EXPECT_EQ(gauss_filter(src, dst, {0.5f, 0.5f, 3, 3, 0.0f, 0})(1, 1), 49) << "50 * 8 * 8190 / 65536 = 49.99";
  EXPECT_EQ(gauss_filter(src, dst, {0.2f, 0.8f, 3, 3, 0.0f, 1})(1, 1), 60) << "6552 is reached at 20, 26208 at 80";
  EXPECT_EQ(gauss_filter(src, dst, {0.0f, 0.8f, 3, 3, 0.0f, 1})(1, 1), 79) << "the quantile 0 lies at 0";
  // acc = 3640 * 450 = 1638000; 1638000 >> 11 = 799; factor = 16384 * 32760 / 131040 = 4096.
  EXPECT_EQ(gauss_filter(src, dst, {0.0f, 1.0f, 3, 3, 0.0f, 0})(1, 1), 49) << "799 / 16";
}

TEST(GaussFilter, WritesWholeGroups) {
  for (const int stride : {16, 17, 20}) {
    Picture src(16, stride, 4, 200), filtered(16, stride, 3, 1), expected(filtered);
    std::memset(src.data(), 200, static_cast<std::size_t>(4 * stride));
    zeb::vGaussFilter(filtered.data(), src.data(), 16, stride, 3, 0.0f, 1.0f, 3, 1, 0.0f, 0);
    for (int y = 0; y < 3; ++y)
      for (int x = 1; x < 17; ++x)
        if (y < 2 || x < stride) expected(x, y) = 199;
    EXPECT_EQ(filtered, expected);
  }
}

TEST(GaussFilter, LeavesImagesSmallerThanTheWindowAlone) {
  Picture src(15, 15, 9, 200);
  const Picture dst(15, 15, 9, 1);
  for (const auto& [size_x, size_y] : {std::pair{9, 9}, {3, 11}, {2147483647, 3}, {3, 2147483647}})
    EXPECT_EQ(gauss_filter(src, dst, {0.0f, 1.0f, size_x, size_y, 0.1f, 0}), dst) << size_x << " x " << size_y;
  EXPECT_EQ(gauss_filter(src, dst, {0.0f, 1.0f, -5, -2147483647, 0.1f, 0})(0, 0), 199) << "negative sizes count as 0";
  for (const float odd : {std::nanf(""), INFINITY, -INFINITY, 1e30f}) {
    gauss_filter(src, dst, {odd, odd, 3, 3, 0.1f, 0});
    gauss_filter(src, dst, {odd, 0.5f, 3, 3, odd, 1});
  }
}

TEST(HistogramEqualisation, CountsTheSmoothedBinsBelow) {
  const auto constant = [](int grey) {
    Picture p(20, 25, 3, static_cast<unsigned char>(grey));
    zeb::vHistEqual(p.data(), p.data(), 20, 25, 3);
    EXPECT_EQ(p, Picture(20, 25, 3, p(0, 0)));
    return int{p(0, 0)};
  };
  EXPECT_EQ(constant(100), 76) << "(0.25 + 0.5) / 2.5 lies in the two bins below";
  EXPECT_EQ(constant(0), 0);
  EXPECT_EQ(constant(1), 102) << "bin 0 holds both mirror images, 1 / 2.5";
  EXPECT_EQ(constant(2), 102) << "bin 0 holds both mirror images, 2 * 0.25, bin 1 0.5";
  EXPECT_EQ(constant(255), 76);

  std::mt19937 engine(2);
  for (int i = 0; i < 200; ++i) {
    const auto g = Geometry::random(engine);
    SCOPED_TRACE(g);
    Picture src = Picture::random(engine, g.width, g.stride, g.height, g.offset);
    const int shift = pick(engine, 0, 6);
    float hist[256] = {};
    for (int y = 0; y < g.height; ++y)
      for (int x = 0; x < g.width; ++x) {
        src(x, y) = static_cast<unsigned char>((src(x, y) >> shift) + (shift > 2 ? i : 0));
        ++hist[src(x, y)];
      }
    Picture dst = Picture::random(engine, g.width, g.stride, g.height), expected(dst);
    const auto bin = [&](int k, int mirrored) { return hist[k < 0 || k > 255 ? mirrored : k]; };
    float running = 0;
    for (int grey = 0; grey < 256; ++grey) {
      const int level =
          std::min(static_cast<int>(running * 255.0f / static_cast<float>(std::max(1, g.width * g.height))), 255);
      for (int y = 0; y < g.height; ++y)
        for (int x = 0; x < g.width; ++x)
          if (src(x, y) == grey) expected(x, y) = static_cast<unsigned char>(level);
      running += (0.25f * bin(grey - 2, grey + 2) + 0.5f * bin(grey - 1, grey + 1) + 1.0f * hist[grey] +
                  0.5f * bin(grey + 1, grey - 1) + 0.25f * bin(grey + 2, grey - 2)) /
                 2.5f;
    }
    zeb::vHistEqual(dst.data(), src.data(), g.width, g.stride, g.height);
    ASSERT_TRUE(same(expected, dst));
  }
}

TEST(Grain, CoarseExtremesAreCarriedFromCellToCell) {
  Picture src = Picture::grey({{9, 8, 5, 7, 1}, {7, 7, 9, 9, 0}, {4, 9, 9, 9, 0}, {9, 9, 6, 3, 0}, {0, 0, 0, 0, 0}}, 6);
  const auto coarse = [&](int mode) {
    Picture dst(5, 6, 5, 77);
    zeb::vCoarseGrain(dst.data(), src.data(), 5, 5, 6, 2, 2, mode);
    return dst;
  };
  const auto corner = [](int a, int b, int c, int d) {
    Picture p(5, 6, 5, 77);
    p(0, 0) = static_cast<unsigned char>(a), p(1, 0) = static_cast<unsigned char>(b);
    p(0, 1) = static_cast<unsigned char>(c), p(1, 1) = static_cast<unsigned char>(d);
    return p;
  };
  EXPECT_EQ(coarse(0), corner(7, 7, 7, 6)) << "31, 30, 31 and 27 quarters";
  EXPECT_EQ(coarse(1), corner(7, 5, 4, 3));
  EXPECT_EQ(coarse(2), corner(9, 9, 9, 9));
  EXPECT_EQ(coarse(3), Picture(5, 6, 5, 77));
  src(1, 1) = 0;
  EXPECT_EQ(coarse(1), corner(0, 0, 0, 0));
  Picture in_place = src;
  zeb::vCoarseGrain(in_place.data(), in_place.data(), 5, 5, 6, 2, 2, 0);
  EXPECT_EQ(in_place(1, 1), 6);
}

TEST(Grain, CoarseMeansTruncateInCellsOfAnySize) {
  std::mt19937 engine(4);
  const int sizes[][2] = {{7, 9}, {1024, 257}, {1025, 2}, {3, 258}};
  for (const auto& [cell_width, cell_height] : sizes) {
    Picture src = Picture::random(engine, 2100, 2100, 300);
    Picture expected = src, dst = src;
    for (int r = 0; r < 300 / cell_height; ++r)
      for (int c = 0; c < 2100 / cell_width; ++c) {
        long long sum = 0;
        for (int y = 0; y < cell_height; ++y)
          for (int x = 0; x < cell_width; ++x) sum += src(c * cell_width + x, r * cell_height + y);
        expected(c, r) = static_cast<unsigned char>(sum / (cell_width * cell_height));
      }
    zeb::vCoarseGrain(dst.data(), src.data(), 2100, 300, 2100, cell_width, cell_height, 0);
    ASSERT_TRUE(same(expected, dst)) << cell_width << " x " << cell_height;
  }
}

TEST(Grain, FineUndoesCoarse) {
  std::mt19937 engine(3);
  for (int i = 0; i < 100; ++i) {
    const int cell_width = pick(engine, 1, 9), cell_height = pick(engine, 1, 9);
    const int width = pick(engine, 0, 60), height = pick(engine, 0, 30), stride = width + pick(engine, 0, 9);
    Picture src = Picture::random(engine, width, stride, height), large = src, small = src;
    const int whole_width = width / cell_width * cell_width, whole_height = height / cell_height * cell_height;
    Picture expected = large;
    for (int y = 0; y < whole_height; ++y)
      for (int x = 0; x < whole_width; ++x) expected(x, y) = src(x / cell_width, y / cell_height);
    zeb::vFineGrain(large.data(), src.data(), width, height, stride, cell_width, cell_height);
    ASSERT_TRUE(same(expected, large));
    zeb::vCoarseGrain(small.data(), large.data(), width, height, stride, cell_width, cell_height, 0);
    ASSERT_TRUE(same(src, small)) << "each cell has one value, which is its mean";
  }
}

TEST(Covariance, FindsThinLines) {
  // The variance across: 0 along a line, 2/3 in a filled square, 6/25 in two adjacent rows of five.
  Picture line = Picture::text({".....", ".....", "#####", ".....", "....."});
  Picture band = Picture::text({".....", ".....", "#####", "#####", "....."});
  Picture block = Picture::text({".....", ".###.", ".###.", ".###.", "....."});
  Picture empty(5, 5, 5);
  const auto centre = [](Picture& src, float threshold) {
    Picture dst(5, 5, 5, 1);
    zeb::vCovariance(dst.data(), src.data(), 5, 5, 5, 2, threshold);
    Picture expected(5, 5, 5, 1);
    expected(2, 2) = dst(2, 2);
    EXPECT_EQ(dst, expected) << "the border stays";
    return int{dst(2, 2)};
  };
  EXPECT_EQ(centre(line, 0.0f), 0);
  EXPECT_EQ(centre(line, 0.01f), 255);
  EXPECT_EQ(centre(band, 0.249f), 0) << "the rows' variance is a quarter";
  EXPECT_EQ(centre(band, 0.251f), 255);
  EXPECT_EQ(centre(block, 0.666f), 0);
  EXPECT_EQ(centre(block, 0.667f), 255);
  EXPECT_EQ(centre(empty, 1.0f), 0);
}

TEST(Covariance, EqualsTheWholeSumsOnAnyLayout) {
  std::mt19937 engine(4);
  for (int i = 0; i < 300; ++i) {
    const auto g = Geometry::random(engine, 50, 25);
    Picture src = Picture::random_binary(engine, g.width, g.stride, g.height, 0.05 + 0.1 * (i % 5), g.offset);
    Picture dst = Picture::random(engine, g.width, g.stride, g.height), expected(dst);
    const int radius = pick(engine, 0, 6);
    const float threshold = static_cast<float>(pick(engine, 0, 40)) * 0.125f;
    SCOPED_TRACE(::testing::Message() << g << ", radius " << radius << ", threshold " << threshold);
    for (int y = radius; y < g.height - radius; ++y)
      for (int x = radius; x < g.width - radius; ++x) {
        int n = 0, sx = 0, sy = 0, sxx = 0, syy = 0, sxy = 0;
        for (int dy = -radius; dy <= radius; ++dy)
          for (int dx = -radius; dx <= radius; ++dx)
            if (src(x + dx, y + dy) != 0) ++n, sx += dx, sy += dy, sxx += dx * dx, syy += dy * dy, sxy += dx * dy;
        expected(x, y) = 0;
        if (n == 0) continue;
        const auto mean = [n](int sum) { return static_cast<float>(sum) / static_cast<float>(n); };
        const float mx = mean(sx), my = mean(sy);
        const float var_x = mean(sxx) - mx * mx, var_y = mean(syy) - my * my, cov = mean(sxy) - my * mx;
        const float root = std::sqrt((cov * 4.0f) * cov + (var_x - var_y) * (var_x - var_y));
        if (threshold > (var_y + var_x - root) * 0.5f) expected(x, y) = 255;
      }
    zeb::vCovariance(dst.data(), src.data(), g.width, g.height, g.stride, radius, threshold);
    ASSERT_TRUE(same(expected, dst));
  }
}

TEST(GreyLevelFilters, GiveUpQuietly) {
  Picture src(20, 20, 12, 7), dst(20, 20, 12, 1);
  const Picture untouched = dst;
  const auto run_all = [&](int width, int height) {
    zeb::vGaussFilter(dst.data(), src.data(), width, 20, height, 0.0f, 1.0f, 3, 3, 0.1f, 0);
    zeb::vGreyFilter(dst.data(), src.data(), width, 20, height);
    zeb::vHistEqual(dst.data(), src.data(), width, 20, height);
  };
  for (const int none : {0, -1, -2147483647 - 1}) {
    run_all(none, 12);
    run_all(20, none);
    zeb::vCoarseGrain(dst.data(), src.data(), none, 12, 20, 2, 2, 0);
    zeb::vCoarseGrain(dst.data(), src.data(), 20, 12, 20, none, 2, 0);
    zeb::vCoarseGrain(dst.data(), src.data(), 20, 12, 20, 2, none, 1);
    zeb::vFineGrain(dst.data(), src.data(), 20, none, 20, 2, 2);
    zeb::vFineGrain(dst.data(), src.data(), 20, 12, 20, none, 2);
    zeb::vFineGrain(dst.data(), src.data(), 20, 12, 20, 2, none);
    zeb::vCovariance(dst.data(), src.data(), none, 12, 20, 1, 1.0f);
    zeb::vCovariance(dst.data(), src.data(), 20, none, 20, 1, 1.0f);
    if (none != 0) zeb::vCovariance(dst.data(), src.data(), 20, 12, 20, none, 1.0f);
  }
  zeb::vCovariance(dst.data(), src.data(), 20, 12, 20, 2147483647, 1.0f);
  EXPECT_EQ(dst, untouched);
  for (int successes = 0; successes < 2; ++successes) {
    const FailingAllocations failing(successes);
    run_all(20, 12);
    EXPECT_EQ(dst, untouched) << successes;
  }
  const FailingAllocations failing(2);
  zeb::vGaussFilter(dst.data(), src.data(), 20, 20, 12, 0.0f, 1.0f, 3, 3, 0.1f, 0);
  EXPECT_EQ(dst, untouched);
}

}  // namespace
