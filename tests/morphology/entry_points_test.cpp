#include <gtest/gtest.h>

#include <climits>
#include <string>

#include "tests/support/picture.h"
#include "tests/support/random_geometry.h"
#include "zeb/morphology.h"

using zeb::Mat;
using zeb::MorphOpMode;
using namespace zeb::testing;

namespace {

constexpr auto automatic = MorphOpMode::morph_auto, distance = MorphOpMode::morph_distance,
               recursive = MorphOpMode::morph_recursive, thin = MorphOpMode::morph_thin,
               direct = MorphOpMode::morph_direct;
constexpr MorphOpMode modes[] = {automatic, distance, recursive, thin, direct};

/// A call on the first `height` rows, whose destination carries no geometry: only its address may count.
Picture apply(decltype(zeb::erode) f, const Picture& src, const Picture& before, int height, int size, int threshold,
              MorphOpMode mode, bool rectangular) {
  Picture dst(before), copy(src);
  Mat<unsigned char> target(dst.data(), -1, -1, -1);
  f(target, {copy.data(), src.width(), src.stride(), height}, size, static_cast<unsigned char>(threshold), mode,
    rectangular);
  return dst;
}

TEST(EntryPoints, GrowAPixelToDisksAndSquares) {
  const Picture dot = Picture::text({".......", ".......", ".......", "...#...", ".......", ".......", "......."});
  for (const MorphOpMode mode : modes) {
    EXPECT_EQ(apply(zeb::dilate, dot, dot, 7, 2, 0, mode, false),
              Picture::text({".......", "...#...", "..###..", ".#####.", "..###..", "...#...", "......."}));
    EXPECT_EQ(apply(zeb::dilate, dot, dot, 7, 3, 0, mode, false),
              Picture::text({"...#...", ".#####.", ".#####.", "#######", ".#####.", ".#####.", "...#..."}));
    EXPECT_EQ(apply(zeb::dilate, dot, dot, 7, 2, 0, mode, true),
              mode == distance
                  ? dot
                  : Picture::text({".......", ".#####.", ".#####.", ".#####.", ".#####.", ".#####.", "......."}));
  }
}

/// Which raw function ran, told from its traces on the first row's padding and on a pixel equal to the threshold.
std::string algorithm(int size, MorphOpMode mode, bool rectangular) {
  const int width = 300;
  const Picture equal(width, width + 1, 1, 50), before(width, width + 1, 1, 9);
  const Picture dst = apply(zeb::erode, equal, before, 1, size, 50, mode, rectangular);
  if (dst == before) return "none";
  const int padding = dst(width, 0);
  if (dst(0, 0) == 255) return padding == 255 ? "thin" : "direct";
  return padding == 0 ? "recursive" : "distance";
}

TEST(EntryPoints, ChooseTheAlgorithm) {
  for (const int size : {1, 5, 6, 30, 31, 100}) {
    SCOPED_TRACE(size);
    EXPECT_EQ(algorithm(size, automatic, true), size <= 5 ? "thin" : "recursive");
    EXPECT_EQ(algorithm(size, automatic, false), size <= 5 ? "thin" : size <= 30 ? "recursive" : "distance");
    EXPECT_EQ(algorithm(size, distance, true), "none");
    EXPECT_EQ(algorithm(size, distance, false), "distance");
    for (const bool rectangular : {true, false}) {
      EXPECT_EQ(algorithm(size, recursive, rectangular), "recursive");
      EXPECT_EQ(algorithm(size, thin, rectangular), "thin");
      EXPECT_EQ(algorithm(size, direct, rectangular), "direct");
      EXPECT_EQ(algorithm(size, static_cast<MorphOpMode>(-7), rectangular), "direct");
    }
  }
}

TEST(EntryPoints, SequencesRunInTheirOrderAndCountBlackBehindTheFirstPass) {
  std::mt19937 engine(2);
  for (int i = 0; i < 400; ++i) {
    const MorphOpMode mode = modes[i % 5];
    const bool rectangular = i / 5 % 2 != 0, narrow = i % 4 == 0;
    // One column and the largest counted element: the last row is followed by all that a pass may look at.
    const bool thinnest = i % 20 == 2 || i % 20 == 7;
    const int size = thinnest ? 63 : pick(engine, 0, 40), threshold = thinnest ? 0 : pick(engine, 0, 254);
    const int width = thinnest ? 1 : narrow ? pick(engine, 1, 2 * size + 1) : 2 * size + pick(engine, 1, 90);
    const int stride = width + (thinnest ? 0 : pick(engine, 0, 20)), height = pick(engine, 1, narrow ? 8 : 60);
    const int rows = height + 127 / stride + 1;  // with the memory behind the image, which a narrow one looks at
    SCOPED_TRACE(::testing::Message() << "mode " << i % 5 << ", size " << size << ", square " << rectangular
                                      << ", width " << width << ", stride " << stride << ", height " << height);
    const Picture src = Picture::random_binary(engine, width, stride, rows,
                                               i % 3 == 0   ? 0.2
                                               : i % 3 == 1 ? 0.01
                                                            : 0.99);
    const Picture before = Picture::random(engine, width, stride, rows);
    Picture black(width, stride, rows);
    std::fill_n(black.data(), stride * rows, static_cast<unsigned char>(0));
    const auto call = [&](decltype(zeb::erode) f, const Picture& from, const Picture& to) {
      return apply(f, from, to, height, size, threshold, mode, rectangular);
    };
    const auto both = [&](decltype(zeb::erode) first, decltype(zeb::erode) second) {
      return mode == distance && rectangular ? before : call(second, call(first, src, black), before);
    };
    const Picture opened = both(zeb::erode, zeb::dilate);
    ASSERT_TRUE(same(opened, call(zeb::opening, src, before)));
    ASSERT_TRUE(same(rectangular ? opened : both(zeb::dilate, zeb::erode), call(zeb::closing, src, before)))
        << "a square erodes first";
  }
  const Picture before(20, 24, 5, 9);
  EXPECT_EQ(apply(zeb::opening, before, before, 0, 5, 100, recursive, false), before) << "no rows";
}

TEST(EntryPoints, SizesThatFindNoMemoryThrow) {
  const Picture before(20, 24, 5, 9);
  const auto throws = [&](decltype(zeb::erode) f, int size, MorphOpMode mode) {
    try {
      EXPECT_EQ(apply(f, before, before, 5, size, 100, mode, false), before);
    } catch (const std::bad_alloc&) {
      return true;
    }
    return false;
  };
  for (const int size : {-1, INT_MIN, INT_MIN + 1}) {
    for (const MorphOpMode mode : {automatic, thin, direct}) EXPECT_TRUE(throws(zeb::erode, size, mode)) << size;
    for (const MorphOpMode mode : {distance, recursive}) EXPECT_FALSE(throws(zeb::closing, size, mode)) << size;
  }
  for (const int size : {23170, 40000, INT_MAX}) EXPECT_TRUE(throws(zeb::dilate, size, direct)) << size;
}

}  // namespace
