#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <stdexcept>

#include "tests/statistics/same_bits.h"
#include "tests/support/picture.h"
#include "tests/support/random_geometry.h"
#include "zeb/point_ops.h"
#include "zeb/statistics.h"

using zeb::testing::Geometry;
using zeb::testing::pick;
using zeb::testing::Picture;
using zeb::testing::same;
using zeb::testing::same_bits;

namespace {

using Pixels = std::vector<unsigned char>;
using PairMeasure = float (*)(const unsigned char*, const unsigned char*, int, int, int, int);

struct PairCase {
  const char* name;
  PairMeasure packed, scalar;
  bool (*counts)(bool, bool);
};
const PairCase pair_cases[] = {
    {"and", fMMAnd, fAnd, [](bool a, bool b) { return a && b; }},
    {"or", fMMOr, nullptr, [](bool a, bool b) { return a || b; }},
    {"distance", fMMMatchingDistance, fMatchingDistance, [](bool a, bool b) { return a != b; }},
};

/// Pixels that end with the last row, so that a memory checker sees any load beyond it. Few are 0, and common bits are
/// rare among the rest.
Pixels sparse_bits(std::mt19937& engine, int width, int stride, int height) {
  const std::array<unsigned char, 6> values = {0, 0, 1, 2, 128, 255};
  Pixels pixels(static_cast<std::size_t>(stride * (height - 1) + width));
  for (auto& p : pixels) p = values[engine() % values.size()];
  return pixels;
}

/// Strips of 16 columns, each in chunks of rows with the held row, literally.
float by_strips(const PairCase& c, const Pixels& a, const Pixels& b, int width, int height, int stride_a,
                int stride_b) {
  unsigned count = 0;
  for (int left = 0; left < width; left += 16) {
    const int chunks = height / 255 + 1;
    int loaded = 0, rem = height;
    const auto add_loaded_row = [&] {
      for (int x = left; x < std::min(left + 16, width); ++x)
        count += c.counts(a[static_cast<std::size_t>(loaded * stride_a + x)] != 0,
                          b[static_cast<std::size_t>(loaded * stride_b + x)] != 0);
    };
    for (int chunk = 0; chunk < chunks; ++chunk, rem -= 255) {
      const int size = std::min(rem, 255);
      for (int i = 0; i < size - 1; ++i) {
        add_loaded_row();
        ++loaded;
      }
      add_loaded_row();
    }
  }
  return static_cast<float>(count) / static_cast<float>(width * height);
}

TEST(PairMeasures, PackedByChunksScalarExact) {
  std::mt19937 engine(6);
  const std::array<int, 15> heights = {-300, -1, 0, 1, 2, 3, 4, 254, 255, 256, 300, 509, 510, 511, 766};
  for (int round = 0; round < 400; ++round) {
    const int width = pick(engine, 1, 200), height = heights[engine() % heights.size()];
    const int stride_a = width + pick(engine, 0, 20), stride_b = width + pick(engine, 0, 20);
    const Pixels a = sparse_bits(engine, width, stride_a, std::max(height, 1));
    const Pixels b = sparse_bits(engine, width, stride_b, std::max(height, 1));
    for (const PairCase& c : pair_cases) {
      ASSERT_TRUE(same_bits(by_strips(c, a, b, width, height, stride_a, stride_b),
                            c.packed(a.data(), b.data(), width, height, stride_a, stride_b)))
          << c.name << ", " << width << " x " << height;
      if (c.scalar == nullptr) continue;
      unsigned count = 0;
      for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x)
          count += c.counts(a[static_cast<std::size_t>(y * stride_a + x)] != 0,
                            b[static_cast<std::size_t>(y * stride_b + x)] != 0);
      ASSERT_TRUE(same_bits(static_cast<float>(count) / static_cast<float>(width * height),
                            c.scalar(a.data(), b.data(), width, height, stride_a, stride_b)))
          << c.name << ", " << width << " x " << height;
    }
  }
}

TEST(PairMeasures, RepeatedAndLostRows) {
  Picture lowest(16, 16, 300), seam(16, 16, 300);
  for (int x = 0; x < 16; ++x) lowest(x, 299) = seam(x, 254) = 255;
  const auto both = [](PairMeasure f, const Picture& p) { return f(p.data(), p.data(), 16, 300, 16, 16); };
  EXPECT_EQ(both(fMMAnd, lowest), 0.0f);
  EXPECT_EQ(both(fAnd, lowest), 16 / 4800.0f);
  EXPECT_EQ(both(fMMAnd, seam), 32 / 4800.0f);
  const Picture full(16, 16, 510, 255);
  EXPECT_EQ(fMMAnd(full.data(), full.data(), 16, 255, 16, 16), 256 / 255.0f) << "one row too many";
  EXPECT_EQ(fMMAnd(full.data(), full.data(), 16, 510, 16, 16), 511 / 510.0f);
}

TEST(PairMeasures, NoPixels) {
  for (const PairCase& c : pair_cases) {
    EXPECT_TRUE(std::isnan(c.packed(nullptr, nullptr, 0, 0, 0, 0))) << c.name;
    EXPECT_TRUE(std::isnan(c.packed(nullptr, nullptr, 20, 0, 20, 20))) << c.name;
    EXPECT_EQ(c.packed(nullptr, nullptr, -20, 3, 20, 20), 0.0f) << c.name;
    if (c.scalar == nullptr) continue;
    EXPECT_TRUE(std::isnan(c.scalar(nullptr, nullptr, 0, 3, 20, 20))) << c.name;
    EXPECT_TRUE(std::isnan(c.scalar(nullptr, nullptr, 20, 0, 20, 20))) << c.name;
  }
  EXPECT_TRUE(std::isnan(zeb::l1_norm({}, {}, zeb::L1_norm_mode::Or)));
}

TEST(L1Norm, ModesGeometryAndError) {
  using zeb::L1_norm_mode;
  Picture a = Picture::text({"##..#", "##..#"}, 8), b = Picture::text({"#.#.#", "#.#.#"}, 8);
  EXPECT_EQ(zeb::l1_norm(a.mat(), b.mat(), L1_norm_mode::And), 0.4f);
  EXPECT_EQ(zeb::l1_norm(a.mat(), b.mat(), L1_norm_mode::Or), 0.8f);
  EXPECT_EQ(zeb::l1_norm(a.mat(), b.mat(), L1_norm_mode::MatchingDistance), 0.4f);
  EXPECT_EQ(zeb::l1_norm(a.mat(), {b.data(), 1, 999, 77}, L1_norm_mode::And), 0.4f) << "geometry of `b` is not used";
  try {
    zeb::l1_norm(a.mat(), b.mat(), static_cast<L1_norm_mode>(3));
    ADD_FAILURE() << "no exception";
  } catch (const std::logic_error& error) {
    EXPECT_STREQ(error.what(), "impossible l1 mode");
  }
}

TEST(SingleImageMeasures, CountAndSumTheAreaAlone) {
  std::mt19937 engine(7);
  for (int round = 0; round < 300; ++round) {
    const int width = pick(engine, 1, 200), stride = width + pick(engine, 0, 20), height = pick(engine, 1, 40);
    Pixels pixels = sparse_bits(engine, width, stride, height);
    unsigned sum = 0, set = 0;
    for (int y = 0; y < height; ++y)
      for (int x = 0; x < width; ++x) {
        const unsigned p = pixels[static_cast<std::size_t>(y * stride + x)];
        sum += p;
        set += p != 0;
      }
    const zeb::Mat<unsigned char> image(pixels.data(), width, stride, height);
    ASSERT_EQ(zeb::sum(image), sum) << width << " x " << height;
    ASSERT_EQ(zeb::patternL1Norm(image), static_cast<float>(set) / static_cast<float>(width * height));
    ASSERT_EQ(fMMGetBMAver(image.data, nullptr, width, stride, height),
              static_cast<float>(sum) / static_cast<float>(width * height));
  }
  EXPECT_EQ(uiBMMass(nullptr, 10, 10, 0), 0u);
  EXPECT_EQ(uiBMMass(nullptr, -1, 10, 4), 0u);
  EXPECT_TRUE(std::isnan(zeb::patternL1Norm({})));
  EXPECT_TRUE(std::isnan(zeb::average({}, {})));
}

TEST(SingleImageMeasures, LargeSums) {
  const Pixels row(5000, 255);
  EXPECT_EQ(uiBMMass(row.data(), 1000, 0, 1000), 255000000u);
  const std::uint64_t beyond = std::uint64_t{255} * 5000 * 3400;
  ASSERT_GT(beyond, std::uint64_t{1} << 32);
  EXPECT_EQ(uiBMMass(row.data(), 5000, 0, 3400), static_cast<std::uint32_t>(beyond)) << "wraps around";
  EXPECT_EQ(fMMPatternL1Norm(row.data(), 5000, 600, 0), 1.0f);
}

TEST(MaskedMean, WorkedOutByHand) {
  Picture src(20, 20, 1, 200), mask(20, 20, 1);
  EXPECT_EQ(zeb::average(src.mat(), mask.mat()), 0.0f) << "nothing selected";
  mask(3, 0) = 1;
  EXPECT_EQ(zeb::average(src.mat(), mask.mat()), 0.0f) << "counts as a pixel of 200 & 1";
  mask(17, 0) = 1;
  EXPECT_EQ(zeb::average(src.mat(), mask.mat()), 100.0f) << "the rest of the row takes any mask but 0";
  EXPECT_EQ(fGetBMAver(src.data(), mask.data(), 20, 20, 1), 200.0f);
  EXPECT_EQ(fGetBMAver(src.data(), nullptr, 20, 20, 0), 0.0f);
  EXPECT_EQ(fGetBMAver(nullptr, mask.data(), 20, 20, 1), 0.0f);
  mask(3, 0) = 2;
  mask(17, 0) = 0;
  EXPECT_EQ(zeb::average(src.mat(), mask.mat()), 0.0f) << "an even mask pixel selects none";
}

TEST(MaskedMean, PackedAndScalarByTheirOwnRules) {
  std::mt19937 engine(8);
  for (int round = 0; round < 300; ++round) {
    // The large ones take the single-precision sum far beyond 2^24.
    const bool large = round % 100 == 0;
    auto g = Geometry::random(engine);
    if (large) g.stride = (g.width = 1003) + 5, g.height = 400;
    const auto src = Picture::random(engine, g.width, g.stride, g.height, g.offset);
    const auto mask = round % 2 == 0
                          ? Picture::random_binary(engine, g.width, g.stride, g.height, large ? 0.9 : 0.3, g.offset)
                          : Picture::random(engine, g.width, g.stride, g.height);
    unsigned sum = 0, count = 0, selected = 0;
    float masked = 0.0f, all = 0.0f;
    for (int y = 0; y < g.height; ++y)
      for (int x = 0; x < g.width; ++x) {
        const unsigned p = src(x, y), m = mask(x, y);
        const bool in_group = x < g.width / 16 * 16;
        sum += in_group ? p & m : m != 0 ? p : 0;
        count += in_group ? m & 1 : m != 0;
        all += static_cast<float>(p);
        if (m == 0) continue;
        masked += static_cast<float>(p);
        ++selected;
      }
    const auto mean = [](float total, unsigned n) { return n == 0 ? 0.0f : total / static_cast<float>(n); };
    const auto pixels = static_cast<unsigned>(g.width * g.height);
    ASSERT_TRUE(same_bits(mean(static_cast<float>(sum), count),
                          fMMGetBMAver(src.data(), mask.data(), g.width, g.stride, g.height)))
        << g;
    ASSERT_TRUE(same_bits(mean(masked, selected), fGetBMAver(src.data(), mask.data(), g.width, g.stride, g.height)))
        << g;
    ASSERT_TRUE(same_bits(mean(all, pixels), fGetBMAver(src.data(), nullptr, g.width, g.stride, g.height))) << g;
  }
}

TEST(Normalise, SamplesAGridAndScales) {
  Picture src(400, 400, 400, 50), dst(400, 400, 400);
  auto dst_mat = dst.mat();
  EXPECT_EQ(zeb::norm(dst_mat, src.mat(), 100), 50.0f);
  EXPECT_TRUE(same(Picture(400, 400, 400, 100), dst));
  // Every third pixel of every third row counts, others do not.
  Picture mask(400, 400, 400);
  src(3, 6) = 25;
  mask(3, 6) = 1;
  mask(4, 6) = mask(3, 7) = 255;
  EXPECT_EQ(zeb::norm(dst_mat, src.mat(), mask.mat(), 100), 25.0f);
  EXPECT_EQ(dst(0, 0), 200);
  src(3, 6) = 0;
  EXPECT_EQ(zeb::norm(dst_mat, src.mat(), mask.mat(), 100), 0.0f) << "a black sample is one";
  src(3, 6) = 25;
  mask(3, 6) = 0;
  const float whole = (50.0f * 134 * 134 - 25) / (134 * 134);
  EXPECT_FLOAT_EQ(zeb::norm(dst_mat, src.mat(), mask.mat(), 100), whole) << "no sample selected: all of them count";
}

TEST(Normalise, AnyGeometryAndMask) {
  std::mt19937 engine(9);
  for (int round = 0; round < 60; ++round) {
    const auto g = Geometry::random(engine, 650, 450);
    auto src = Picture::random(engine, g.width, g.stride, g.height, g.offset);
    const auto mask = Picture::random_binary(engine, g.width, g.stride, g.height, 0.002, g.offset);
    const auto value = static_cast<unsigned char>(engine());
    unsigned sums[2] = {}, counts[2] = {};  // under the mask, of all
    for (int y = 0; y < g.height; y += g.height / 200 + 1)
      for (int x = 0; x < g.width; x += g.width / 200 + 1) {
        if (mask(x, y) != 0) sums[0] += src(x, y), ++counts[0];
        sums[1] += src(x, y), ++counts[1];
      }
    const int which = counts[0] == 0 || round % 3 == 0 ? 1 : 0;
    Picture expected = src;
    vBMMulS(expected.data(), src.data(), g.width, g.stride, g.height,
            static_cast<float>(value * counts[which]) / static_cast<float>(sums[which]));
    const float mean =
        fBMNorm(src.data(), src.data(), round % 3 == 0 ? nullptr : mask.data(), g.width, g.stride, g.height, value);
    ASSERT_TRUE(same_bits(static_cast<float>(sums[which]) / static_cast<float>(counts[which]), mean)) << g;
    ASSERT_TRUE(same(expected, src)) << g << ", in place";
  }
}

TEST(Normalise, BlackAndEmptyImages) {
  Picture src(20, 20, 2), dst(20, 20, 2, 9);
  EXPECT_EQ(fBMNorm(dst.data(), src.data(), 20, 20, 2, 100), 0.0f);
  EXPECT_TRUE(same(src, dst)) << "infinity makes 0 of 0 in groups, and 0 times infinity is no number";
  const Picture before = dst;
  for (const auto& [width, height] : {std::pair(0, 2), std::pair(20, 0), std::pair(-400, -400)})
    EXPECT_TRUE(std::isnan(fBMNorm(dst.data(), src.data(), width, 20, height, 100)));
  EXPECT_TRUE(same(before, dst));
}

}  // namespace
