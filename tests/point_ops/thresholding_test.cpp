#include <gtest/gtest.h>

#include <algorithm>
#include <array>

#include "tests/support/picture.h"
#include "tests/support/random_geometry.h"
#include "zeb/point_ops.h"

using zeb::Mat;
using zeb::ThresholdMode;
using namespace zeb::testing;

namespace {

TEST(Thresholding, MarksTheSidesOfTheBandOnAnyLayout) {
  for_each_trial(500, 200, 40, [](Trial t) {
    const auto lower = static_cast<unsigned char>(t.engine()), upper = static_cast<unsigned char>(t.engine());
    // In an inverted band both sides hold, and the upper one wins.
    Picture outside = t.dst, inside = t.dst;
    outside.fill([&](int x, int y) { return t.src(x, y) > upper ? 255 : t.src(x, y) < lower ? 254 : 0; });
    inside.fill([&](int x, int y) { return lower <= t.src(x, y) && t.src(x, y) <= upper ? 255 : 0; });
    Mat<unsigned char> dst(t.dst.data(), 0, 0, 0);
    zeb::thresholding(dst, t.src.mat(), lower, upper, ThresholdMode::Standard);
    ASSERT_TRUE(same(outside, t.dst)) << "the source's geometry rules";
    zeb::thresholding(dst, t.src.mat(), lower, upper, static_cast<ThresholdMode>(2));
    ASSERT_TRUE(same(outside, t.dst)) << "an unknown mode leaves the destination alone";
    zeb::thresholding(dst, t.src.mat(), lower, upper, ThresholdMode::InverseBinary);
    ASSERT_TRUE(same(inside, t.dst));
  });
}

TEST(Bitwise, CombinesImagesOfDifferentStrides) {
  for_each_trial(300, 200, 40, [](Trial t) {
    Picture b = Picture::random(t.engine, t.g.width, t.g.width + 5, t.g.height);
    Picture dst(t.g.width, t.g.width + 3, t.g.height), expected = dst;
    const auto value = static_cast<unsigned char>(t.engine());
    const auto a = t.src.mat();
    auto dst_mat = dst.mat();
    zeb::bitwise_and(dst_mat, a, b.mat());
    ASSERT_TRUE(same(expected.fill([&](int x, int y) { return t.src(x, y) & b(x, y); }), dst));
    zeb::bitwise_and(dst_mat, a, value);
    ASSERT_TRUE(same(expected.fill([&](int x, int y) { return t.src(x, y) & value; }), dst));
    zeb::bitwise_andnot(dst_mat, a, b.mat());
    ASSERT_TRUE(same(expected.fill([&](int x, int y) { return ~t.src(x, y) & b(x, y); }), dst));
    zeb::bitwise_xor(dst_mat, a, b.mat());
    ASSERT_TRUE(same(expected.fill([&](int x, int y) { return t.src(x, y) ^ b(x, y); }), dst));
  });
}

TEST(PackedBitmaps, ExpandTakesTheLowestBitFirst) {
  std::mt19937 engine(3);
  for (const int width : {0, 1, 8, 15, 16, 17, 20, 31, 32, 100}) {
    const int pitch = ((width + 15) & ~15) + 8 + 5;  // the odd five bits are dropped
    std::vector<unsigned char> src(static_cast<std::size_t>(3 * (pitch >> 3)) + 1);
    for (auto& byte : src) byte = static_cast<unsigned char>(engine());
    Picture expected(width, 112, 3), dst(expected);
    expected.fill(
        [&](int x, int y) { return src[static_cast<std::size_t>(y * (pitch >> 3) + x / 8)] >> (x % 8) & 1 ? 255 : 0; });
    ExpandBM(dst.data(), src.data(), width, 3, 112, pitch);
    EXPECT_TRUE(same(expected, dst)) << width;
  }
}

TEST(PackedBitmaps, LogicWorksOnWholeBlocksOf128Bits) {
  std::mt19937 engine(4);
  const Picture a = Picture::random(engine, 48, 48, 1), b = Picture::random(engine, 48, 48, 1);
  for (int mode = -1; mode <= 5; ++mode)
    for (const int bits : {-1, 0, 127, 128, 200, 256}) {
      Picture expected(48, 48, 1, 77), dst(expected);
      expected.fill([&](int x, int) {
        const int p = a(x, 0), q = b(x, 0);
        const std::array<int, 5> results{p & q, p | q, p ^ q, ~p & q, ~p};
        return mode >= 0 && mode < 5 && x < bits / 128 * 16 ? results[static_cast<std::size_t>(mode)] : 77;
      });
      LogicBin(dst.data(), a.data(), mode == 4 ? nullptr : b.data(), bits, static_cast<Logic_bin_mode>(mode));
      EXPECT_EQ(expected, dst) << "mode " << mode << ", bits " << bits;
    }
}

/// Least and largest column, least and largest row.
using Box = std::array<int, 4>;

template <class F>
Box box_by(F f, const Picture& p, int width, int height) {
  Box box{-1, -1, -1, -1};
  f(p.data(), width, height, p.stride(), &box[0], &box[1], &box[2], &box[3]);
  return box;
}

TEST(BoundingBox, PackedFormTakesOnePixelAGroup) {
  const auto test = [](Trial t) {
    const int width = t.g.width, height = t.g.height;
    Picture image(width, t.g.stride, height, 0, t.g.offset);
    for (int n = pick(t.engine, 0, 6); n > 0 && height > 0; --n)
      image(pick(t.engine, 0, width - 1), pick(t.engine, 0, height - 1)) = pick(t.engine, 0, 1) ? 255 : 100;
    Box exact{width, 0, height, 0}, packed = exact;
    const auto include = [](Box& box, int x, int y) {
      box = {std::min(box[0], x), std::max(box[1], x), std::min(box[2], y), std::max(box[3], y)};
    };
    for_each_pixel(width, height, [&](int x, int y) {
      if (image(x, y) == 0) return;
      include(exact, x, y);
      // For a whole group its first pixel of 128 or more stands, without one a column that may lie outside.
      int bright = 0;
      while (bright < 16 && image(x / 16 * 16 + bright, y) < 128) ++bright;
      include(packed, x >= width / 16 * 16 ? x : x / 16 * 16 + (bright < 16 ? bright : 32), y);
    });
    ASSERT_EQ(box_by(vGetMinMaxBM, image, width, height), exact);
    ASSERT_EQ(box_by(vMMGetMinMaxBM, image, width, height), packed);
  };
  for_each_trial(500, 200, 4, test);
  for_each_trial(500, 200, 90, test);
  for (const auto& [width, height] : {std::pair(INT32_MIN, 1), std::pair(0, -1), std::pair(5, INT32_MIN)})
    for (const auto f : {vGetMinMaxBM, vMMGetMinMaxBM})
      EXPECT_EQ(box_by(f, Picture(0, 32, 1), width, height), (Box{width, 0, height, 0})) << "an empty image";
}

}  // namespace
