#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <numeric>

#include "tests/statistics/same_bits.h"
#include "tests/support/picture.h"
#include "tests/support/random_geometry.h"
#include "zeb/point_ops.h"
#include "zeb/statistics.h"

using zeb::testing::for_each_pixel;
using zeb::testing::Geometry;
using zeb::testing::pick;
using zeb::testing::Picture;
using zeb::testing::same;
using zeb::testing::same_bits;

namespace {

float share(unsigned count, int width, int height) {
  return static_cast<float>(count) / static_cast<float>(width * height);
}

/// The rows that the packed forms count, in order: each chunk of 255 begins with the row that closed the one before.
std::vector<int> rows_by_chunks(int height) {
  std::vector<int> rows;
  int row = 0;
  for (int chunk = 0, rest = height; chunk < height / 255 + 1; ++chunk, rest -= 255) {
    for (int i = 0; i < std::min(rest, 255) - 1; ++i) rows.push_back(row++);
    rows.push_back(row);
  }
  return rows;
}

TEST(PairMeasures, PackedByChunksScalarExact) {
  using Measure = float (*)(const unsigned char*, const unsigned char*, int, int, int, int);
  const struct {
    zeb::L1_norm_mode mode;
    Measure packed, scalar;
    bool (*counts)(bool, bool);
  } measures[] = {
      {zeb::L1_norm_mode::And, fMMAnd, fAnd, [](bool a, bool b) { return a && b; }},
      {zeb::L1_norm_mode::Or, fMMOr, nullptr, [](bool a, bool b) { return a || b; }},
      {zeb::L1_norm_mode::MatchingDistance, fMMMatchingDistance, fMatchingDistance,
       [](bool a, bool b) { return a != b; }},
  };
  // Few pixels are 0, and common bits are rare among the rest.
  const unsigned char values[] = {0, 0, 1, 2, 128, 255};
  std::mt19937 engine(6);
  const auto sparse_bits = [&](int, int) { return values[engine() % 6]; };
  const int heights[] = {-300, -1, 0, 1, 2, 3, 4, 254, 255, 256, 300, 509, 510, 511, 766};
  for (int round = 0; round < 400; ++round) {
    const int width = pick(engine, 1, 200), height = heights[engine() % 15], present = std::max(height, 1);
    Picture a(width, width + pick(engine, 0, 20), present), b(width, width + pick(engine, 0, 20), present);
    a.fill(sparse_bits), b.fill(sparse_bits);
    for (const auto& measure : measures) {
      SCOPED_TRACE(::testing::Message() << static_cast<int>(measure.mode) << ", " << width << " x " << height);
      std::vector<unsigned> in_row(static_cast<std::size_t>(present));
      for_each_pixel(width, present, [&](int x, int y) {
        in_row[static_cast<std::size_t>(y)] += measure.counts(a(x, y) != 0, b(x, y) != 0);
      });
      unsigned packed = 0;
      for (const int y : rows_by_chunks(height)) packed += in_row[static_cast<std::size_t>(y)];
      const unsigned all = height < 1 ? 0 : std::accumulate(in_row.begin(), in_row.end(), 0u);
      const auto run = [&](Measure f) { return f(a.data(), b.data(), width, height, a.stride(), b.stride()); };
      ASSERT_TRUE(same_bits(share(packed, width, height), run(measure.packed)));
      ASSERT_TRUE(measure.scalar == nullptr || same_bits(share(all, width, height), run(measure.scalar)));
      const zeb::Mat<unsigned char> all_of_a(a.data(), width, a.stride(), height);
      ASSERT_TRUE(a.stride() != b.stride() || same_bits(share(packed, width, height),
                                                        zeb::l1_norm(all_of_a, {b.data(), 1, 999, 77}, measure.mode)));
    }
  }
}

TEST(SingleImageMeasures, CountAndSumTheArea) {
  std::mt19937 engine(8);
  const auto mean = [](float total, unsigned n) { return n == 0 ? 0.0f : total / static_cast<float>(n); };
  for (int round = 0; round < 300; ++round) {
    // The large ones take single-precision sums far beyond 2^24.
    const bool large = round % 100 == 0;
    auto g = Geometry::random(engine);
    if (large) g.stride = (g.width = 1003) + 5, g.height = 400;
    Picture src = g.picture(engine);
    const Picture mask = round % 2 == 0
                             ? Picture::random_binary(engine, g.width, g.stride, g.height, large ? 0.9 : 0.01, g.offset)
                             : Picture::random(engine, g.width, g.stride, g.height);
    unsigned sum = 0, set = 0, packed = 0, packed_count = 0, selected = 0;
    float all = 0.0f, masked = 0.0f;
    for_each_pixel(g.width, g.height, [&](int x, int y) {
      const unsigned p = src(x, y), m = mask(x, y);
      const bool in_group = x < g.width / 16 * 16;
      sum += p;
      set += p != 0;
      packed += in_group ? p & m : m != 0 ? p : 0;
      packed_count += in_group ? m & 1 : m != 0;
      selected += m != 0;
      all += static_cast<float>(p);
      if (m != 0) masked += static_cast<float>(p);
    });
    const auto pixels = static_cast<unsigned>(g.width * g.height);
    SCOPED_TRACE(g);
    ASSERT_EQ(zeb::sum(src.mat()), sum);
    ASSERT_TRUE(same_bits(share(set, g.width, g.height), zeb::patternL1Norm(src.mat())));
    ASSERT_TRUE(same_bits(share(sum, g.width, g.height), zeb::average(src.mat(), {})));
    ASSERT_TRUE(same_bits(mean(static_cast<float>(packed), packed_count),
                          fMMGetBMAver(src.data(), mask.data(), g.width, g.stride, g.height)));
    const auto scalar = [&](const unsigned char* m) { return fGetBMAver(src.data(), m, g.width, g.stride, g.height); };
    ASSERT_TRUE(same_bits(mean(masked, selected), scalar(mask.data())));
    ASSERT_TRUE(same_bits(mean(all, pixels), scalar(nullptr)));
  }
  const std::vector<unsigned char> row(5000, 255);
  constexpr std::uint64_t beyond = std::uint64_t{255} * 5000 * 3400;
  static_assert(beyond > UINT32_MAX);
  EXPECT_EQ(uiBMMass(row.data(), 5000, 0, 3400), static_cast<std::uint32_t>(beyond)) << "wraps around";
}

TEST(Normalise, SamplesAGridAndScales) {
  const auto mean_of = [](int width, int height) {
    Picture p(width, width, height);
    p.fill([](int x, int y) { return x % 2 == 0 && y % 2 == 0 ? 100 : 200; });
    auto image = p.mat();
    return zeb::norm(image, image, 100);
  };
  EXPECT_EQ(mean_of(200, 200), 100.0f) << "from 200 on every second row and column";
  EXPECT_EQ(mean_of(199, 399), 29800 / 199.0f) << "all 199 columns";
  EXPECT_EQ(mean_of(399, 199), 29800 / 199.0f);

  Picture image(20, 24, 2, 100), mask(20, 24, 2), expected = image;
  image(3, 1) = 80;
  mask(3, 1) = 1;
  expected.fill([](int x, int y) { return x == 3 && y == 1 ? 50 : 62; });  // 62.5
  auto mat = image.mat();
  EXPECT_EQ(zeb::norm(mat, mat, mask.mat(), 50), 80.0f);
  EXPECT_EQ(image, expected);
  mask(3, 1) = 0;
  EXPECT_EQ(zeb::norm(mat, mat, mask.mat(), 50), 61.7f) << "the mean of all where the mask selects nothing";
}

}  // namespace
