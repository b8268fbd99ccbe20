#include <gtest/gtest.h>

#include <climits>
#include <cstdlib>
#include <new>

#include "tests/morphology/transcription.h"
#include "tests/support/allocation.h"
#include "tests/support/random_geometry.h"
#include "zeb/morphology.h"

namespace {
int allocations = 0;
}

void* operator new(std::size_t bytes) {
  ++allocations;
  if (void* block = std::malloc(bytes)) return block;
  throw std::bad_alloc();
}
void operator delete(void* block) noexcept { std::free(block); }
void operator delete(void* block, std::size_t) noexcept { std::free(block); }

using zeb::testing::Call;
using zeb::testing::FailingAllocations;
using zeb::testing::Geometry;
using zeb::testing::pick;
using zeb::testing::Picture;
using zeb::testing::same;

namespace {

constexpr int thresholds[] = {0, 1, 127, 254, 255};

/// Which side of an erosion the pixels equal to the threshold are on.
enum class Equal { background, foreground };

/// Values around the threshold, itself included, of which about one in `rarity` is decisive.
Picture noise(std::mt19937& engine, int width, int stride, int height, const Call& c, int rarity, int offset = 0,
              Equal equal = Equal::background) {
  const int bright = c.operation != 0 && equal == Equal::foreground ? c.threshold : c.threshold + 1;
  const auto value = [&](int lowest) { return std::clamp(pick(engine, lowest, lowest + 1), 0, 255); };
  Picture picture = Picture::random(engine, width, stride, height, offset);
  for (int y = 0; y < height; ++y)
    for (int x = 0; x < stride; ++x) {
      const bool decisive = pick(engine, 0, rarity - 1) == 0;
      picture(x, y) = static_cast<unsigned char>(value(decisive == (c.operation == 0) ? bright : bright - 2));
    }
  return picture;
}

void run_recursive(Picture& dst, const Picture& src, int height, const Call& c) {
  vMMRecursiveMorphOp(dst.data(), src.data(), src.width(), src.stride(), height, c.radius_x, c.operation,
                      static_cast<unsigned char>(c.threshold), c.rectangular);
}

void run_elliptic(decltype(vMorphOpThinEllipse) f, Picture& dst, const Picture& src, int height, const Call& c) {
  f(dst.data(), src.data(), src.width(), src.stride(), height, c.radius_x, c.radius_y, c.offset_x, c.offset_y,
    c.operation, static_cast<unsigned char>(c.threshold), c.rectangular);
}

void run_distance(Picture& dst, const Picture& src, const Call& c) {
  vMMMorphOpDist(dst.data(), src.data(), src.width(), src.stride(), src.height(), c.radius_x, c.operation,
                 static_cast<unsigned char>(c.threshold));
}

/// Whether a decisive pixel lies in the disk or square, from the list of all decisive ones.
void by_definition(Picture& dst, const Picture& src, const Call& c) {
  const long long r = c.radius_x;
  const auto is_decisive = [&](int x, int y) { return (src(x, y) > c.threshold) == (c.operation == 0); };
  std::vector<std::pair<int, int>> decisive;
  for (int y = 0; y < src.height(); ++y)
    for (int x = 0; x < src.width(); ++x)
      if (is_decisive(x, y)) decisive.emplace_back(x, y);
  for (int y = 0; y < src.height(); ++y)
    for (int x = 0; x < src.width(); ++x) {
      const bool hit = is_decisive(x, y) || std::any_of(decisive.begin(), decisive.end(), [&](auto d) {
                         const long long dx = std::abs(d.first - x), dy = std::abs(d.second - y);
                         return c.rectangular != 0 ? dx <= r && dy <= r : dx * dx + dy * dy <= r * r;
                       });
      dst(x, y) = hit == (c.operation == 0) ? 255 : 0;
    }
}

TEST(RunningCount, FollowsItsStepsAtAllRadii) {
  std::mt19937 engine(1);
  for (int radius = 1; radius <= 63; ++radius)
    for (int i = 0; i < 24; ++i) {
      const Call c{radius, radius, 0, 0, i & 1, thresholds[pick(engine, 0, 4)], i >> 1 & 1};
      // Around the widths where the count leaves its left zone, where it is clipped, and where blocks begin.
      const int around[] = {1, radius, 2 * radius, 2 * radius + 16, 2 * radius + 100};
      const int width = around[pick(engine, 0, 4)] + pick(engine, -3, 18), height = pick(engine, 1, 24);
      const int stride = std::max(width, 1) + pick(engine, 0, 1) * pick(engine, 0, 40);
      const int behind = 127 / stride + 1;  // rows that are the memory behind the image
      SCOPED_TRACE(::testing::Message() << c << ", width " << width << ", stride " << stride << ", height " << height);
      const int rarity = pick(engine, 0, 3) == 0 ? 3 : 40 * radius;
      const Picture src = noise(engine, width, stride, height + behind, c, rarity, pick(engine, 0, 15));
      Picture expected = Picture::random(engine, width, stride, height + behind), dst(expected);
      count_along_rows(expected, src, height, c, true);
      run_recursive(dst, src, height, c);
      ASSERT_TRUE(same(expected, dst));
    }
}

TEST(RunningCount, IsTheSetDefinitionWhereItIsClipped) {
  std::mt19937 engine(2);
  for (const int radius : {1, 2, 5, 17, 40, 63, 64, 65, 100, 300, 5000, INT_MAX})
    for (int i = 0; i < 12; ++i) {
      const Call c{radius, radius, 0, 0, i & 1, thresholds[i % 5], i >> 1 & 1};
      const int widest = radius > 63 ? pick(engine, 1, 300) : 2 * radius + pick(engine, 1, 60);
      const int width = i < 4 ? 2300 : widest, stride = width + pick(engine, 0, 20),
                height = i < 4 ? 12 : pick(engine, 1, 90);
      SCOPED_TRACE(::testing::Message() << c << ", width " << width << ", stride " << stride << ", height " << height);
      const Picture src = noise(engine, width, stride, height, c, 2000);
      Picture expected(width, stride, height), dst(width, stride, height);
      for (int y = 0; y < height; ++y)
        for (int x = width; x < stride; ++x) expected(x, y) = 0;
      by_definition(expected, src, c);
      run_recursive(dst, src, height, c);
      ASSERT_TRUE(same(expected, dst));
    }
}

TEST(RunningCount, RadiusZeroCopiesAndNegativeRadiiDoNothing) {
  std::mt19937 engine(3);
  const Picture src = Picture::random(engine, 20, 24, 5);
  Picture dst(20, 24, 5, 7);
  const Picture untouched(dst);
  run_recursive(dst, src, 5, {-1, -1, 0, 0, 0, 100, 0});
  run_recursive(dst, src, 5, {INT_MIN, 0, 0, 0, 1, 100, 1});
  run_recursive(dst, src, 0, {3, 3, 0, 0, 1, 100, 1});
  run_recursive(dst, src, -4, {0, 0, 0, 0, 1, 100, 1});
  run_elliptic(vMMRecursiveEllipticMorphOp, dst, src, 5, {-1, 5, 0, 0, 1, 100, 1});
  run_elliptic(vMMRecursiveEllipticMorphOp, dst, src, 5, {100, -1, 0, 0, 1, 100, 1});
  run_elliptic(vMorphOpThinEllipse, dst, src, 5, {-1, 5, 0, 0, 1, 100, 1});
  run_elliptic(vMorphOpThinEllipse, dst, src, 5, {-1, -1, 0, 0, 1, 100, 1});
  run_distance(dst, src, {-1, 0, 0, 0, 0, 100, 0});
  EXPECT_TRUE(same(untouched, dst));
  const auto expect_copy = [&] {
    for (int y = 0; y < 5; ++y)
      for (int x = 0; x < 24; ++x) ASSERT_EQ(dst(x, y), src(x, y));
    dst = untouched;
  };
  run_recursive(dst, src, 5, {0, 0, 0, 0, 1, 100, 1});
  expect_copy();
  run_elliptic(vMMRecursiveEllipticMorphOp, dst, src, 5, {0, 0, 3, 3, 1, 100, 1});
  expect_copy();
  run_elliptic(vMorphOpThinEllipse, dst, src, 5, {0, 0, 0, 0, 1, 100, 1});
  expect_copy();
  vMMRecursiveMorphOp(nullptr, nullptr, 0, 0, 5, 3, 1, 1, 1);
  vMMMorphOpDist(nullptr, nullptr, 0, 0, 5, 3, 1, 1);
}

TEST(RunningCount, AllocatesNothing) {
  std::mt19937 engine(4);
  const Picture src = Picture::random(engine, 200, 200, 30);
  Picture dst(200, 200, 30);
  const FailingAllocations none(0);
  for (const int radius : {0, 1, 20, 63, 64, 1000})
    for (int i = 0; i < 4; ++i) {
      const int before = allocations;
      run_recursive(dst, src, 30, {radius, radius, 0, 0, i & 1, 100, i >> 1});
      const int after = allocations;
      EXPECT_EQ(before, after) << radius;
    }
}

TEST(Elliptic, CountingFormFollowsItsSteps) {
  std::mt19937 engine(5);
  for (int i = 0; i < 1500; ++i) {
    const Call c{pick(engine, 0, 63),
                 pick(engine, 0, 63),
                 pick(engine, -9, 9),
                 pick(engine, -40, 40),
                 i & 1,
                 thresholds[pick(engine, 0, 4)],
                 i >> 1 & 1};
    if (c.radius_x < 1 && c.radius_y < 1) continue;
    const int width = pick(engine, -2, 220), stride = std::max(width, 1) + pick(engine, 0, 9);
    const int height = pick(engine, 1, 30);
    const int behind = 127 / stride + 1;
    SCOPED_TRACE(::testing::Message() << c << ", width " << width << ", stride " << stride << ", height " << height);
    const Picture src = noise(engine, width, stride, height + behind, c, pick(engine, 2, 2000));
    Picture expected = Picture::random(engine, width, stride, height + behind), dst(expected);
    count_along_rows(expected, src, height, c, false);
    run_elliptic(vMMRecursiveEllipticMorphOp, dst, src, height, c);
    ASSERT_TRUE(same(expected, dst));
  }
}

TEST(Elliptic, ChangesOf128RowsWrapAround) {
  std::mt19937 engine(6);
  for (int i = 0; i < 40; ++i) {
    const Call c{pick(engine, 1, 20), pick(engine, 60, 100), 0, pick(engine, -3, 3), i & 1, 100, 1};
    const int width = pick(engine, 60, 120), height = pick(engine, 120, 220);
    SCOPED_TRACE(::testing::Message() << c << ", width " << width << ", height " << height);
    // Vertical bars make whole columns of the element change at once.
    Picture src(width, width, height), expected(width, width, height), dst(width, width, height);
    for (int x = 0; x < width; ++x) {
      const bool bright = pick(engine, 0, 9) < 2;
      for (int y = 0; y < height; ++y)
        src(x, y) = (bright == (c.operation == 0)) != (pick(engine, 0, 99) == 0) ? 255 : 0;
    }
    count_along_rows(expected, src, height, c, false);
    run_elliptic(vMMRecursiveEllipticMorphOp, dst, src, height, c);
    ASSERT_TRUE(same(expected, dst));
  }
  // One bright column under an element of 2 * 64 + 1 rows: in the middle row all 129 enter at once, which wraps to
  // -127 and counts as nothing in a block; as they leave, +127 takes the count back to 0. 127 rows still fit.
  Picture column(100, 100, 129), dst(column);
  for (int y = 0; y < 129; ++y) column(40, y) = 255;
  run_elliptic(vMMRecursiveEllipticMorphOp, dst, column, 129, {2, 64, 0, 0, 0, 0, 1});
  for (int x = 0; x < 100; ++x) EXPECT_EQ(dst(x, 64), 0) << x;
  for (int x = 0; x < 100; ++x) EXPECT_EQ(dst(x, 62), x >= 38 && x <= 42 ? 255 : 0) << x;
}

TEST(Elliptic, ScatteringFormStampsWithOffsets) {
  std::mt19937 engine(7);
  for (int i = 0; i < 1500; ++i) {
    const Call c{pick(engine, 0, 90),
                 pick(engine, 0, 90),
                 pick(engine, -150, 150),
                 pick(engine, -40, 40),
                 i & 1,
                 thresholds[pick(engine, 0, 4)],
                 i >> 1 & 1};
    const auto g = i % 50 == 0   ? Geometry{2500, 2503, 9, 3}
                   : i % 50 == 1 ? Geometry{pick(engine, -3, 0), 9, 5, 3}
                                 : Geometry::random(engine);
    SCOPED_TRACE(::testing::Message() << c << ", " << g);
    const Picture src =
        noise(engine, g.width, g.stride, g.height, c, pick(engine, 2, 3000), g.offset, Equal::foreground);
    Picture expected(g.width, g.stride, g.height), dst(expected);
    const bool circle = c.radius_x == c.radius_y && c.radius_x < 63 && c.offset_x == 0 && c.offset_y == 0;
    if (circle) continue;
    scatter(expected, src, c);
    run_elliptic(vMorphOpThinEllipse, dst, src, g.height, c);
    ASSERT_TRUE(same(expected, dst));
    if (c.radius_x < 64) continue;
    dst = Picture(g.width, g.stride, g.height, 9);
    run_elliptic(vMMRecursiveEllipticMorphOp, dst, src, g.height, c);
    ASSERT_TRUE(same(expected, dst)) << "from a horizontal radius of 64 the counting form hands over";
  }
}

TEST(Elliptic, FormsHandOverAtDifferentRadii) {
  const auto shifted = [](int radius_x) {
    Picture src(400, 400, 1), dst(400, 400, 1);
    src(200, 0) = 255;
    run_elliptic(vMMRecursiveEllipticMorphOp, dst, src, 1, {radius_x, 0, 5, 0, 0, 0, 1});
    int first = 0;
    while (dst(first, 0) == 0) ++first;
    return first + radius_x - 200;
  };
  EXPECT_EQ(shifted(63), 0);
  EXPECT_EQ(shifted(64), 5);
  // A pixel equal to the threshold tells the scatter rule from the count's.
  const Picture src(200, 200, 3, 50);
  for (const int radius : {10, 62, 63}) {
    Picture dst(200, 200, 3);
    run_elliptic(vMorphOpThinEllipse, dst, src, 3, {radius, radius, 0, 0, 1, 50, 0});
    EXPECT_EQ(dst, Picture(200, 200, 3, radius < 63 ? 0 : 255)) << radius;
  }
  for (const int offset : {INT_MIN, INT_MAX}) {
    Picture dst(200, 200, 3);
    run_elliptic(vMorphOpThinEllipse, dst, src, 3, {INT_MAX, INT_MAX, offset, offset, 1, 255, 1});
    run_elliptic(vMMRecursiveEllipticMorphOp, dst, src, 3, {5, 1000, offset, offset, 1, 255, 0});
    EXPECT_EQ(dst, Picture(200, 200, 3, 255)) << "the image lies outside all elements";
  }
}

TEST(Distance, FollowsTheTransformUpToItsCap) {
  std::mt19937 engine(8);
  for (const int radius : {0, 1, 2, 3, 7, 15, 16, 31, 40, 63, 64, 100, 127, 128, 200, 252, 253, 254, 300, INT_MAX})
    for (int i = 0; i < 12; ++i) {
      const Call c{radius, 0, 0, 0, i & 1, thresholds[i % 5], 0};
      const int width = i == 0 ? 2300 : pick(engine, 1, 700), stride = width + pick(engine, 0, 9);
      const int height = i == 1 ? 300 : pick(engine, 1, 60), capped = std::min(radius, 253);
      SCOPED_TRACE(::testing::Message() << c << ", width " << width << ", stride " << stride << ", height " << height);
      const int rarity = pick(engine, 0, 2) == 0 ? 3 : std::max(400, 4 * (capped + 1) * (capped + 1));
      const Picture src = noise(engine, width, stride, height, c, rarity, pick(engine, 0, 15));
      Picture expected(width, stride, height), dst(expected), by_set(expected);
      distance_transform(expected, src, c);
      run_distance(dst, src, c);
      ASSERT_TRUE(same(expected, dst));
      if (rarity == 3 || i < 2) continue;  // too many pairs of pixels
      by_definition(by_set, src, {capped, 0, 0, 0, c.operation, c.threshold, 0});
      ASSERT_TRUE(same(by_set, dst));
    }
}

TEST(Distance, LargeImagesAreDoneInPartsThatJoin) {
  std::mt19937 engine(9);
  for (const int operation : {0, 1}) {
    const Call c{40, 40, 0, 0, operation, 100, 0};
    const Picture src = noise(engine, 8300, 8300, 150, c, 40000);
    Picture expected(8300, 8300, 150), dst(expected);
    by_definition(expected, src, c);
    run_distance(dst, src, c);
    ASSERT_TRUE(same(expected, dst));
  }
}

}  // namespace
