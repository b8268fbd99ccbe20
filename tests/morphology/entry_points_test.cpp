#include <gtest/gtest.h>

#include <climits>
#include <functional>
#include <optional>

#include "tests/morphology/transcription.h"
#include "tests/support/allocation.h"
#include "tests/support/random_geometry.h"
#include "zeb/morphology.h"

using zeb::Mat;
using zeb::MorphOpMode;
using zeb::testing::Call;
using zeb::testing::FailingAllocations;
using zeb::testing::Geometry;
using zeb::testing::pick;
using zeb::testing::Picture;
using zeb::testing::same;

namespace {

constexpr auto automatic = MorphOpMode::morph_auto, distance = MorphOpMode::morph_distance,
               recursive = MorphOpMode::morph_recursive, thin = MorphOpMode::morph_thin,
               direct = MorphOpMode::morph_direct;

using Typed = decltype(zeb::erode);

/// A call whose destination carries no geometry: only its address may count.
Picture apply(Typed f, const Picture& src, const Picture& before, int size, int threshold, MorphOpMode mode,
              bool rectangular) {
  Picture dst(before), copy(src);
  Mat<unsigned char> target(dst.data(), -1, -1, -1);
  f(target, copy.mat(), size, static_cast<unsigned char>(threshold), mode, rectangular);
  return dst;
}

TEST(Morphology, ElementsOfSmallRadii) {
  const Picture dot = Picture::text({".......", ".......", ".......", "...#...", ".......", ".......", "......."});
  const auto grown = [&](int size, MorphOpMode mode, bool rectangular) {
    return apply(zeb::dilate, dot, dot, size, 0, mode, rectangular);
  };
  for (const MorphOpMode mode : {automatic, distance, recursive, thin, direct}) {
    EXPECT_EQ(grown(1, mode, false),
              Picture::text({".......", ".......", "...#...", "..###..", "...#...", ".......", "......."}));
    EXPECT_EQ(grown(2, mode, false),
              Picture::text({".......", "...#...", "..###..", ".#####.", "..###..", "...#...", "......."}));
    EXPECT_EQ(grown(3, mode, false),
              Picture::text({"...#...", ".#####.", ".#####.", "#######", ".#####.", ".#####.", "...#..."}));
    if (mode != distance) {
      EXPECT_EQ(grown(2, mode, true),
                Picture::text({".......", ".#####.", ".#####.", ".#####.", ".#####.", ".#####.", "......."}));
    }
  }
}

/// Which raw function ran, told from its traces on the first row's padding and on a pixel equal to the threshold.
std::string algorithm(int size, MorphOpMode mode, bool rectangular) {
  const int width = 300;
  const Picture equal(width, width + 1, 1, 50);
  const Picture before(width, width + 1, 1, 9);
  const Picture dst = apply(zeb::erode, equal, before, size, 50, mode, rectangular);
  if (dst == before) return "none";
  const int padding = dst(width, 0);
  if (dst(0, 0) == 255) return padding == 255 ? "thin" : "direct";
  return padding == 0 ? "recursive" : "distance";
}

TEST(Morphology, DecisionTable) {
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
  const Picture equal(30, 30, 3, 50);
  for (const MorphOpMode mode : {automatic, distance, recursive, thin, direct})
    EXPECT_EQ(apply(zeb::dilate, equal, equal, 9, 50, mode, false), Picture(30, 30, 3, 0));
}

TEST(Morphology, GatherAndScatterOnAnyLayout) {
  std::mt19937 engine(1);
  for (int i = 0; i < 400; ++i) {
    const int radius = i % 8 == 0 ? pick(engine, 10, 70) : pick(engine, 0, 9);
    const Call c{radius, radius, 0, 0, i & 1 ? pick(engine, -3, 3) : 0, pick(engine, 0, 255), i >> 1 & 1};
    const auto g = i % 20 == 0 ? Geometry{pick(engine, -3, 0), 9, 5, 3} : Geometry::random(engine, 150, 30);
    SCOPED_TRACE(::testing::Message() << c << ", " << g);
    Picture src = Picture::random(engine, g.width, g.stride, g.height, g.offset);
    const bool flat = i % 3 == 0;  // mostly the threshold itself
    for (int y = 0; y < g.height; ++y)
      for (int x = 0; x < g.width; ++x)
        if (flat && pick(engine, 0, 40) != 0) src(x, y) = static_cast<unsigned char>(c.threshold);
    Picture expected(g.width, g.stride, g.height, 3), dst(expected);
    gather(expected, src, c);
    vMorphOp(dst.data(), src.data(), g.width, g.stride, g.height, radius, c.operation,
             static_cast<unsigned char>(c.threshold), c.rectangular);
    ASSERT_TRUE(same(expected, dst));
    for (int y = 0; y < g.height; ++y)
      for (int x = std::max(0, g.width); x < g.stride; ++x) expected(x, y) = c.operation == 0 ? 0 : 255;
    vMorphOpThin(dst.data(), src.data(), g.width, g.stride, g.height, radius, c.operation,
                 static_cast<unsigned char>(c.threshold), c.rectangular);
    ASSERT_TRUE(same(expected, dst));
  }
}

TEST(Morphology, SequencesRunInTheirOrder) {
  std::mt19937 engine(2);
  for (int i = 0; i < 200; ++i) {
    const MorphOpMode modes[] = {automatic, distance, recursive, thin, direct}, mode = modes[i % 5];
    const bool rectangular = i / 5 % 2 != 0;
    const int size = pick(engine, 0, 40), threshold = pick(engine, 0, 254);
    const int width = 2 * size + pick(engine, 1, 90), stride = width + pick(engine, 0, 20);
    const Picture src = Picture::random_binary(engine, width, stride, pick(engine, 1, 60), 0.2);
    const Picture before(width, stride, src.height(), 9);
    SCOPED_TRACE(::testing::Message() << "mode " << i % 5 << ", size " << size << ", rectangular " << rectangular);
    const auto both = [&](Typed first, Typed second) {
      return apply(second, apply(first, src, before, size, threshold, mode, rectangular), before, size, threshold, mode,
                   rectangular);
    };
    const Picture opened = apply(zeb::opening, src, before, size, threshold, mode, rectangular);
    const Picture closed = apply(zeb::closing, src, before, size, threshold, mode, rectangular);
    ASSERT_TRUE(same(both(zeb::erode, zeb::dilate), opened));
    ASSERT_TRUE(same(rectangular ? opened : both(zeb::dilate, zeb::erode), closed)) << "a square erodes first";
  }
  const Picture gap =
      Picture::text({"..........", "..........", "..##.###..", "..##.###..", "..##.###..", "..........", ".........."});
  EXPECT_EQ(apply(zeb::closing, gap, gap, 1, 0, recursive, false),
            Picture::text(
                {"..........", "..........", "..##.###..", "..######..", "..##.###..", "..........", ".........."}));
  EXPECT_EQ(apply(zeb::closing, gap, gap, 1, 0, recursive, true),
            Picture::text(
                {"..........", "..........", ".....###..", ".....###..", ".....###..", "..........", ".........."}));
}

TEST(Morphology, NarrowImagesCountBlackBehindTheFirstPass) {
  std::mt19937 engine(3);
  for (int i = 0; i < 200; ++i) {
    const int radius = pick(engine, 1, 63), width = pick(engine, 1, 2 * radius);
    const int stride = width + pick(engine, 0, 1) * pick(engine, 0, 9), height = pick(engine, 1, 8);
    const bool square = i % 3 == 0, closes = i % 2 == 0;
    SCOPED_TRACE(::testing::Message() << "radius " << radius << ", width " << width << ", stride " << stride
                                      << ", height " << height << ", square " << square << ", closing " << closes);
    const int behind = 127 / stride + 1;  // rows that are the memory behind the image
    Picture src = Picture::random_binary(engine, width, stride, height + behind, closes && !square ? 0.01 : 0.99);
    Picture between(width, stride, height + behind), expected = Picture::random(engine, width, stride, height + behind);
    std::fill_n(between.data(), stride * (height + behind), static_cast<unsigned char>(0));
    Picture dst(expected);
    const auto call = [&](int operation) { return Call{radius, radius, 0, 0, operation, 100, square}; };
    const int first = closes && !square ? 0 : 1;
    count_along_rows(between, src, height, call(first), true);
    count_along_rows(expected, between, height, call(1 - first), true);
    Mat<unsigned char> target(dst.data(), width, stride, height);
    (closes ? zeb::closing : zeb::opening)(target, {src.data(), width, stride, height}, radius, 100, recursive, square);
    ASSERT_TRUE(same(expected, dst));
  }
}

TEST(Morphology, MemoryFailuresAndBadRadiiLeaveTheDestination) {
  std::mt19937 engine(4);
  const Picture src = Picture::random(engine, 20, 24, 5), before(20, 24, 5, 9);
  const auto fails = [&](Typed f, int size, MorphOpMode mode, int successes) {
    const FailingAllocations failing(successes);
    Picture dst(before);
    auto target = dst.mat();
    Picture from(src);
    bool thrown = false;
    try {
      f(target, from.mat(), size, 100, mode, false);
    } catch (const std::bad_alloc& error) {
      EXPECT_STREQ(error.what(), "bad allocation");
      thrown = true;
    }
    EXPECT_EQ(dst, before);
    return thrown;
  };
  for (const MorphOpMode mode : {distance, recursive, thin, direct}) {
    EXPECT_FALSE(fails(zeb::opening, 2, mode, 0)) << "no image between the passes";
    EXPECT_FALSE(fails(zeb::closing, 2, mode, 0));
    const bool holds_element = mode == thin || mode == direct;
    if (holds_element) {
      EXPECT_TRUE(fails(zeb::erode, 2, mode, 0));
      EXPECT_TRUE(fails(zeb::opening, 2, mode, 1));
      EXPECT_TRUE(fails(zeb::opening, 2, mode, 2)) << "in the second pass";
    }
    for (const int size : {-1, -40000, INT_MIN}) EXPECT_EQ(fails(zeb::closing, size, mode, -1), holds_element) << size;
  }
  for (const int size : {40000, INT_MAX}) EXPECT_TRUE(fails(zeb::dilate, size, thin, -1)) << size;
  EXPECT_TRUE(fails(zeb::erode, -1, automatic, -1)) << "a negative size is a small one";
  Picture copy(src), dst(before);
  auto target = dst.mat();
  for (const auto f : {zeb::erode, zeb::dilate, zeb::opening, zeb::closing})
    f(target, copy.mat(), 2, 1, distance, true);
  EXPECT_EQ(dst, before);
  EXPECT_EQ(zeb::mem::detail::live_blocks(), 0);
  zeb::opening(target, {copy.data(), 20, -24, 5}, 2, 1, distance, true);
}

}  // namespace
