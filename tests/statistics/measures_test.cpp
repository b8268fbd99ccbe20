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
    std::vector<int> rows(static_cast<std::size_t>(std::max(height, 0)));
    std::iota(rows.begin(), rows.end(), 0);
    for (const auto& measure : measures) {
      SCOPED_TRACE(::testing::Message() << static_cast<int>(measure.mode) << ", " << width << " x " << height);
      const auto expected = [&](const std::vector<int>& counted) {
        unsigned count = 0;
        for (const int y : counted)
          for (int x = 0; x < width; ++x) count += measure.counts(a(x, y) != 0, b(x, y) != 0);
        return share(count, width, height);
      };
      const auto run = [&](Measure f) { return f(a.data(), b.data(), width, height, a.stride(), b.stride()); };
      const zeb::Mat<unsigned char> all_of_a(a.data(), width, a.stride(), height);
      const float packed = expected(rows_by_chunks(height));
      ASSERT_TRUE(same_bits(packed, run(measure.packed)));
      ASSERT_TRUE(measure.scalar == nullptr || same_bits(expected(rows), run(measure.scalar)));
      ASSERT_TRUE(a.stride() != b.stride() ||
                  same_bits(packed, zeb::l1_norm(all_of_a, {b.data(), 1, 999, 77}, measure.mode)));
    }
  }
}

TEST(PairMeasures, RepeatedAndLostRows) {
  Picture lowest(16, 16, 300), seam(16, 16, 300);
  for (int x = 0; x < 16; ++x) lowest(x, 299) = seam(x, 254) = 255;
  const auto both = [](auto f, const Picture& p) { return f(p.data(), p.data(), 16, p.height(), 16, 16); };
  EXPECT_EQ(both(fMMAnd, lowest), 0.0f);
  EXPECT_EQ(both(fAnd, lowest), 16 / 4800.0f);
  EXPECT_EQ(both(fMMAnd, seam), 32 / 4800.0f);
  EXPECT_EQ(both(fMMAnd, Picture(16, 16, 255, 255)), 256 / 255.0f) << "one row too many";
  EXPECT_EQ(both(fMMAnd, Picture(16, 16, 510, 255)), 511 / 510.0f);
}

TEST(SingleImageMeasures, CountAndSumTheArea) {
  std::mt19937 engine(8);
  const auto mean = [](float total, unsigned n) { return n == 0 ? 0.0f : total / static_cast<float>(n); };
  for (int round = 0; round < 300; ++round) {
    // The large ones take single-precision sums far beyond 2^24.
    const bool large = round % 100 == 0;
    auto g = Geometry::random(engine);
    if (large) g.stride = (g.width = 1003) + 5, g.height = 400;
    Picture src = Picture::random(engine, g.width, g.stride, g.height, g.offset);
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
  EXPECT_EQ(fMMPatternL1Norm(row.data(), 5000, 600, 0), 1.0f);
}

TEST(Normalise, SamplesAGridAndScales) {
  std::mt19937 engine(9);
  for (int round = 0; round < 80; ++round) {
    const auto g = Geometry::random(engine, 650, 450);
    auto src = Picture::random(engine, g.width, g.stride, g.height, g.offset);
    auto mask = Picture::random_binary(engine, g.width, g.stride, g.height, round % 4 == 0 ? 0.0 : 0.002);
    const auto value = static_cast<unsigned char>(engine());
    unsigned sums[2] = {}, counts[2] = {};  // under the mask, of all
    for (int y = 0; y < g.height; y += g.height / 200 + 1)
      for (int x = 0; x < g.width; x += g.width / 200 + 1) {
        if (mask(x, y) != 0) sums[0] += src(x, y), ++counts[0];
        sums[1] += src(x, y), ++counts[1];
      }
    const bool masked = round % 3 != 0;
    const int which = masked && counts[0] != 0 ? 0 : 1;
    Picture expected = src;
    vBMMulS(expected.data(), src.data(), g.width, g.stride, g.height,
            static_cast<float>(value * counts[which]) / static_cast<float>(sums[which]));
    auto image = src.mat();
    const float mean = masked ? zeb::norm(image, image, mask.mat(), value) : zeb::norm(image, image, value);
    ASSERT_TRUE(same_bits(static_cast<float>(sums[which]) / static_cast<float>(counts[which]), mean)) << g;
    ASSERT_TRUE(same(expected, src)) << g << ", in place";
  }
}

}  // namespace
