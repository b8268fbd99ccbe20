#include <gtest/gtest.h>

#include "tests/support/picture.h"
#include "tests/support/random_geometry.h"
#include "zeb/point_ops.h"

using zeb::Mat;
using zeb::ThresholdMode;
using zeb::testing::Geometry;
using zeb::testing::pick;
using zeb::testing::Picture;
using zeb::testing::same;

namespace {

TEST(Thresholding, MarksTheSidesOfTheBandDifferently) {
  const Picture src = Picture::grey({{9, 10, 20, 21}});
  Picture dst(4, 4, 1);
  vThresholding(dst.data(), src.data(), 4, 4, 1, 10, 20);
  EXPECT_EQ(dst, Picture::grey({{254, 0, 0, 255}}));
  vThresholding(dst.data(), Picture::grey({{15, 5, 25, 0}}).data(), 4, 4, 1, 20, 10);
  EXPECT_EQ(dst, Picture::grey({{255, 254, 255, 254}})) << "the upper test wins in an inverted band";
  vThresholdingInverseBinary(dst.data(), Picture::grey({{6, 7, 8, 255}}).data(), 4, 4, 1, 7, 7);
  EXPECT_EQ(dst, Picture::grey({{0, 255, 0, 0}}));
  vThresholdingInverseBinary(dst.data(), src.data(), 4, 4, 1, 20, 10);
  EXPECT_EQ(dst, Picture::grey({{0, 0, 0, 0}}));
}

TEST(Thresholding, BlocksAndTailsAgreeOnAnyLayout) {
  std::mt19937 engine(1);
  for (int i = 0; i < 500; ++i) {
    const auto g = Geometry::random(engine);
    SCOPED_TRACE(g);
    const auto lower = static_cast<unsigned char>(engine()), upper = static_cast<unsigned char>(engine());
    Picture src = Picture::random(engine, g.width, g.stride, g.height, g.offset);
    Picture outside(g.width, g.stride, g.height, 1), inside(outside), dst(outside);
    for (int y = 0; y < g.height; ++y)
      for (int x = 0; x < g.width; ++x) {
        const int p = src(x, y);
        outside(x, y) = p > upper ? 255 : p < lower ? 254 : 0;
        inside(x, y) = lower <= p && p <= upper ? 255 : 0;
      }
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
    Picture both(g.width, g.width + 3, g.height), masked(both), second_only(both), either(both), dst(both);
    for (int y = 0; y < g.height; ++y)
      for (int x = 0; x < g.width; ++x) {
        both(x, y) = a(x, y) & b(x, y);
        masked(x, y) = a(x, y) & value;
        second_only(x, y) = static_cast<unsigned char>(~a(x, y) & b(x, y));
        either(x, y) = a(x, y) ^ b(x, y);
      }
    auto dst_mat = dst.mat();
    zeb::bitwise_and(dst_mat, a.mat(), b.mat());
    ASSERT_TRUE(same(both, dst));
    zeb::bitwise_and(dst_mat, a.mat(), value);
    ASSERT_TRUE(same(masked, dst));
    zeb::bitwise_andnot(dst_mat, a.mat(), b.mat());
    ASSERT_TRUE(same(second_only, dst));
    zeb::bitwise_xor(dst_mat, a.mat(), b.mat());
    ASSERT_TRUE(same(either, dst));
  }
}

TEST(BitwiseDeathTest, DifferingSizesAreNoticedInTheTailOnly) {
  Picture large(20, 40, 2), small(16, 40, 2, 255);
  auto large_mat = large.mat(), small_mat = small.mat();
  EXPECT_DEATH(zeb::bitwise_and(small_mat, large_mat, large_mat), "");
  EXPECT_DEATH(zeb::bitwise_xor(large_mat, large_mat, small_mat), "");
  EXPECT_DEATH(zeb::bitwise_and(small_mat, large_mat, 255), "");
  Mat<unsigned char> narrow(large.data(), 7, 40, 2);
  zeb::bitwise_andnot(narrow, small_mat, small_mat);
  EXPECT_EQ(large(15, 1), 0) << "whole groups of 16 are not checked";
  Mat<unsigned char> negative(large.data(), -5, 40, 2), flat(large.data(), 20, 40, -1);
  zeb::bitwise_and(small_mat, negative, negative);
  zeb::bitwise_and(small_mat, flat, flat);
  EXPECT_EQ(small, Picture(16, 40, 2, 255));
}

TEST(PackedBitmaps, ExpandTakesTheLowestBitFirst) {
  std::mt19937 engine(3);
  for (const int width : {0, 1, 8, 15, 16, 17, 20, 31, 32, 100}) {
    const int pitch = ((width + 15) & ~15) + 8 + 5;  // the odd five bits are dropped
    std::vector<unsigned char> src(static_cast<std::size_t>(3 * (pitch >> 3)) + 1);
    for (auto& byte : src) byte = static_cast<unsigned char>(engine());
    Picture expected(width, 112, 3), dst(expected);
    for (int y = 0; y < 3; ++y)
      for (int x = 0; x < width; ++x)
        expected(x, y) = src[static_cast<std::size_t>(y * (pitch >> 3) + x / 8)] >> (x % 8) & 1 ? 255 : 0;
    ExpandBM(dst.data(), src.data(), width, 3, 112, pitch);
    EXPECT_TRUE(same(expected, dst)) << width;
    ExpandBM(dst.data(), nullptr, width, 0, 112, pitch);
    ExpandBM(dst.data(), nullptr, -1, 3, 112, pitch);
    EXPECT_TRUE(same(expected, dst)) << width;
  }
}

TEST(PackedBitmaps, LogicWorksOnWholeBlocksOf128Bits) {
  std::mt19937 engine(4);
  const Picture a = Picture::random(engine, 48, 48, 1), b = Picture::random(engine, 48, 48, 1);
  for (int mode = -1; mode <= 5; ++mode)
    for (const int bits : {-1, 0, 127, 128, 200, 256}) {
      Picture expected(48, 48, 1, 77), dst(expected);
      for (int x = 0; mode >= 0 && mode < 5 && x < bits / 128 * 16; ++x) {
        const int p = a(x, 0), q = b(x, 0);
        const int results[] = {p & q, p | q, p ^ q, ~p & q, ~p};
        expected(x, 0) = static_cast<unsigned char>(results[mode]);
      }
      LogicBin(dst.data(), a.data(), mode == 4 ? nullptr : b.data(), bits, static_cast<Logic_bin_mode>(mode));
      EXPECT_EQ(expected, dst) << "mode " << mode << ", bits " << bits;
    }
}

struct Box {
  int x_min, x_max, y_min, y_max;
  bool operator==(const Box& o) const {
    return x_min == o.x_min && x_max == o.x_max && y_min == o.y_min && y_max == o.y_max;
  }
};

void PrintTo(const Box& b, std::ostream* os) {
  *os << "x " << b.x_min << ".." << b.x_max << ", y " << b.y_min << ".." << b.y_max;
}

template <class F>
Box box_by(F f, const Picture& p) {
  Box box{-1, -1, -1, -1};
  f(p.data(), p.width(), p.height(), p.stride(), &box.x_min, &box.x_max, &box.y_min, &box.y_max);
  return box;
}

TEST(BoundingBox, ScalarFormIsExactAndEmptyImagesAreTold) {
  Picture p(640, 640, 480);
  EXPECT_EQ(box_by(vGetMinMaxBM, p), (Box{640, 0, 480, 0}));
  EXPECT_EQ(box_by(vMMGetMinMaxBM, p), (Box{640, 0, 480, 0}));
  p(17, 5) = 1;
  p(600, 470) = 255;
  EXPECT_EQ(box_by(vGetMinMaxBM, p), (Box{17, 600, 5, 470}));
}

TEST(BoundingBox, ImagesOfNegativeSizeAreEmpty) {
  for (const int width : {INT32_MIN, -17, 0, 5})
    for (const int height : {INT32_MIN, -1, 0, 1}) {
      if (width > 0 && height > 0) continue;
      const Picture p(0, 32, 1, 0);
      for (const auto f : {vGetMinMaxBM, vMMGetMinMaxBM}) {
        Box box{-1, -1, -1, -1};
        f(p.data(), width, height, 32, &box.x_min, &box.x_max, &box.y_min, &box.y_max);
        EXPECT_EQ(box, (Box{width, 0, height, 0}));
      }
    }
}

TEST(BoundingBox, PackedFormTakesOnePixelAGroup) {
  Picture p(32, 32, 1);
  p(3, 0) = p(9, 0) = 255;
  EXPECT_EQ(box_by(vMMGetMinMaxBM, p), (Box{3, 3, 0, 0}));
  p(3, 0) = 5;
  p(9, 0) = 0;
  EXPECT_EQ(box_by(vMMGetMinMaxBM, p), (Box{32, 32, 0, 0})) << "a group without a bright pixel";
  p(20, 0) = 100;
  EXPECT_EQ(box_by(vMMGetMinMaxBM, p), (Box{32, 48, 0, 0})) << "which may lie outside";

  std::mt19937 engine(5);
  for (int i = 0; i < 500; ++i) {
    const auto g = Geometry::random(engine, 200, 4);
    Picture image(g.width, g.stride, g.height, 0, g.offset);
    for (int n = pick(engine, 0, 4); n > 0 && g.height > 0; --n)
      image(pick(engine, 0, g.width - 1), pick(engine, 0, g.height - 1)) = pick(engine, 0, 1) ? 255 : 100;
    Box expected{g.width, 0, g.height, 0};
    const auto include = [&expected](int x, int y) {
      expected = {std::min(expected.x_min, x), std::max(expected.x_max, x), std::min(expected.y_min, y),
                  std::max(expected.y_max, y)};
    };
    for (int y = 0; y < g.height; ++y) {
      for (int x = 0; x < g.width / 16 * 16; x += 16) {
        int first_bright = 32;
        bool any = false;
        for (int k = 15; k >= 0; --k) {
          any |= image(x + k, y) != 0;
          if (image(x + k, y) >= 128) first_bright = k;
        }
        if (any) include(x + first_bright, y);
      }
      for (int x = g.width / 16 * 16; x < g.width; ++x)
        if (image(x, y) != 0) include(x, y);
    }
    ASSERT_EQ(box_by(vMMGetMinMaxBM, image), expected) << g;
  }
}

}  // namespace
