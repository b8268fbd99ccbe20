#include <gtest/gtest.h>

#include <algorithm>
#include <array>

#include "tests/support/picture.h"
#include "tests/support/random_geometry.h"
#include "zeb/point_ops.h"

using zeb::Mat;
using zeb::ThresholdMode;
using zeb::testing::for_each_pixel;
using zeb::testing::Geometry;
using zeb::testing::pick;
using zeb::testing::Picture;
using zeb::testing::same;

namespace {

TEST(Thresholding, MarksTheSidesOfTheBandOnAnyLayout) {
  std::mt19937 engine(1);
  for (int i = 0; i < 500; ++i) {
    const auto g = Geometry::random(engine);
    SCOPED_TRACE(g);
    const auto lower = static_cast<unsigned char>(engine()), upper = static_cast<unsigned char>(engine());
    Picture src = Picture::random(engine, g.width, g.stride, g.height, g.offset);
    Picture outside(g.width, g.stride, g.height, 1), inside(outside), dst(outside);
    // In an inverted band both sides hold, and the upper one wins.
    outside.fill([&](int x, int y) { return src(x, y) > upper ? 255 : src(x, y) < lower ? 254 : 0; });
    inside.fill([&](int x, int y) { return lower <= src(x, y) && src(x, y) <= upper ? 255 : 0; });
    Mat<unsigned char> dst_mat(dst.data(), 0, 0, 0);
    zeb::thresholding(dst_mat, src.mat(), lower, upper, ThresholdMode::Standard);
    ASSERT_TRUE(same(outside, dst)) << "the source's geometry rules";
    zeb::thresholding(dst_mat, src.mat(), lower, upper, static_cast<ThresholdMode>(2));
    ASSERT_TRUE(same(outside, dst)) << "an unknown mode leaves the destination alone";
    zeb::thresholding(dst_mat, src.mat(), lower, upper, ThresholdMode::InverseBinary);
    ASSERT_TRUE(same(inside, dst));
  }
}

TEST(Bitwise, CombinesImagesOfDifferentStrides) {
  std::mt19937 engine(2);
  for (int i = 0; i < 300; ++i) {
    const auto g = Geometry::random(engine);
    SCOPED_TRACE(g);
    Picture a = Picture::random(engine, g.width, g.stride, g.height, g.offset);
    Picture b = Picture::random(engine, g.width, g.width + 5, g.height);
    const auto value = static_cast<unsigned char>(engine());
    Picture dst(g.width, g.width + 3, g.height), expected = dst;
    auto dst_mat = dst.mat();
    zeb::bitwise_and(dst_mat, a.mat(), b.mat());
    ASSERT_TRUE(same(expected.fill([&](int x, int y) { return a(x, y) & b(x, y); }), dst));
    zeb::bitwise_and(dst_mat, a.mat(), value);
    ASSERT_TRUE(same(expected.fill([&](int x, int y) { return a(x, y) & value; }), dst));
    zeb::bitwise_andnot(dst_mat, a.mat(), b.mat());
    ASSERT_TRUE(same(expected.fill([&](int x, int y) { return ~a(x, y) & b(x, y); }), dst));
    zeb::bitwise_xor(dst_mat, a.mat(), b.mat());
    ASSERT_TRUE(same(expected.fill([&](int x, int y) { return a(x, y) ^ b(x, y); }), dst));
  }
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
  Picture p(32, 32, 1);
  p(3, 0) = p(9, 0) = 255;
  EXPECT_EQ(box_by(vMMGetMinMaxBM, p, 32, 1), (Box{3, 3, 0, 0}));
  p(3, 0) = 5;
  p(9, 0) = 0;
  EXPECT_EQ(box_by(vMMGetMinMaxBM, p, 32, 1), (Box{32, 32, 0, 0})) << "a group without a bright pixel";
  p(20, 0) = 100;
  EXPECT_EQ(box_by(vMMGetMinMaxBM, p, 32, 1), (Box{32, 48, 0, 0})) << "which may lie outside";
}

TEST(BoundingBox, OfAnyPixels) {
  std::mt19937 engine(5);
  for (int i = 0; i < 500; ++i) {
    const auto g = Geometry::random(engine, 200, 4);
    Picture image(g.width, g.stride, g.height, 0, g.offset);
    for (int n = pick(engine, 0, 4); n > 0 && g.height > 0; --n)
      image(pick(engine, 0, g.width - 1), pick(engine, 0, g.height - 1)) = pick(engine, 0, 1) ? 255 : 100;
    Box exact{g.width, 0, g.height, 0}, packed = exact;
    const auto include = [](Box& box, int x, int y) {
      box = {std::min(box[0], x), std::max(box[1], x), std::min(box[2], y), std::max(box[3], y)};
    };
    for_each_pixel(g.width, g.height, [&](int x, int y) {
      if (image(x, y) == 0) return;
      include(exact, x, y);
      const int first = x / 16 * 16, bright = [&] {
        for (int k = 0; k < 16; ++k)
          if (image(first + k, y) >= 128) return k;
        return 32;
      }();
      include(packed, first + 16 <= g.width ? first + bright : x, y);
    });
    ASSERT_EQ(box_by(vGetMinMaxBM, image, g.width, g.height), exact) << g;
    ASSERT_EQ(box_by(vMMGetMinMaxBM, image, g.width, g.height), packed) << g;
  }
  for (const auto& [width, height] : {std::pair(INT32_MIN, 1), std::pair(0, -1), std::pair(5, INT32_MIN)})
    for (const auto f : {vGetMinMaxBM, vMMGetMinMaxBM})
      EXPECT_EQ(box_by(f, Picture(0, 32, 1), width, height), (Box{width, 0, height, 0})) << "an empty image";
}

}  // namespace
