#include <gtest/gtest.h>

#include <climits>

#include "tests/morphology/transcription.h"
#include "zeb/morphology.h"

using namespace zeb::testing;

namespace {

constexpr int thresholds[] = {0, 1, 127, 254, 255};
constexpr int operations[] = {0, 1, -3};

template <class Function>
Picture run(Function f, const Picture& before, const Picture& src, int height, const Call& c) {
  Picture dst(before);
  const auto threshold = static_cast<unsigned char>(c.threshold);
  if constexpr (std::is_same_v<Function, decltype(&vMMMorphOpDist)>)
    f(dst.data(), src.data(), src.width(), src.stride(), height, c.radius_x, c.operation, threshold);
  else if constexpr (std::is_same_v<Function, decltype(&vMorphOp)>)
    f(dst.data(), src.data(), src.width(), src.stride(), height, c.radius_x, c.operation, threshold, c.rectangular);
  else
    f(dst.data(), src.data(), src.width(), src.stride(), height, c.radius_x, c.radius_y, c.offset_x, c.offset_y,
      c.operation, threshold, c.rectangular);
  return dst;
}

Geometry random_layout(std::mt19937& engine, int i) {
  if (i % 60 == 0) return {pick(engine, 2040, 2200), 2210, pick(engine, 250, 300), 3};  // more than one tile
  if (i % 60 == 1) return {pick(engine, -3, 0), 9, 5, 3};
  if (i == 2) return {8300, 8310, 150, 3};  // more than one strip
  return Geometry::random(engine, 300, 60);
}

TEST(Marking, IsTheUnionOfElementsOnAnyLayout) {
  constexpr int large_radii[] = {64, 65, 100, 252, 253, 254, 300, 5000, INT_MAX};
  enum Form { direct, recursive_beyond_its_count, distance_up_to_its_cap, ellipse };
  std::mt19937 engine(1);
  for (int i = 0; i < 1700; ++i) {
    const Form form = static_cast<Form>(i % 4);
    int radius = large_radii[pick(engine, 0, 8)];
    if (form == direct)
      radius = i % 32 == 0 ? pick(engine, 10, 70) : i % 32 < 16 ? pick(engine, 1, 2) : pick(engine, 0, 9);
    if (form == distance_up_to_its_cap && i % 8 == 2) radius = pick(engine, 0, i % 16 == 2 ? 5 : 255);
    Call c{radius, radius, 0, 0, operations[pick(engine, 0, 2)], thresholds[pick(engine, 0, 4)], i / 4 % 2};
    if (form == distance_up_to_its_cap) c.radius_x = c.radius_y = std::min(radius, 253), c.rectangular = 0;
    if (form == ellipse) {
      c.radius_x = pick(engine, 0, i % 8 == 3 ? 3 : 90) + (i % 40 == 3 ? 65500 : 0);
      c.radius_y = pick(engine, 0, i % 16 < 8 ? 3 : 90);
      if (i % 28 != 3) c.offset_x = pick(engine, -150, 150), c.offset_y = pick(engine, -40, 40);
      if (c.radius_x == c.radius_y && c.radius_x < 63 && c.offset_x == 0 && c.offset_y == 0) continue;  // a circle
    }
    const Geometry g = random_layout(engine, i / 4);
    SCOPED_TRACE(::testing::Message() << "form " << form << ": " << c << ", " << g);
    const bool is_dense = g.width < 2000 && c.radius_x < 64 && pick(engine, 0, 2) == 0;
    const Equal equal = form == direct || form == ellipse ? Equal::foreground : Equal::background;
    const Picture src = noise(engine, g, c, equal, is_dense ? 3 : 1000 + 20 * std::min(c.radius_x, 400));

    const Picture before(g.width, g.stride, g.height, 3);
    Picture expected(before);
    stamp(expected, src, c, equal, [&](int dy) {
      const auto inside = [&](long long dx) {
        const long long r = c.radius_x;
        if (form != ellipse) return dx * dx + 1LL * dy * dy <= r * r;
        const float u = static_cast<float>(dx) / static_cast<float>(c.radius_x);
        const float v = static_cast<float>(dy) / static_cast<float>(c.radius_y);
        return u * u + v * v <= 1.0001f;
      };
      long long t = form == ellipse ? c.radius_x : std::min(c.radius_x, std::max(g.width, 0));
      while (c.rectangular == 0 && t > 0 && !inside(t)) --t;
      return form == ellipse ? t & 0xFFFF : t;
    });
    const auto expect_of = [&](auto function) { ASSERT_TRUE(same(expected, run(function, before, src, g.height, c))); };
    if (form == direct) expect_of(vMorphOp);
    if (form == distance_up_to_its_cap) c.radius_x = radius, expect_of(vMMMorphOpDist);
    // The other forms fill the padding.
    fill(expected, g.width, g.stride, form == recursive_beyond_its_count ? 0 : c.miss());
    if (form == direct) expect_of(vMorphOpThin);
    if (form == recursive_beyond_its_count) expect_of(vMMRecursiveMorphOp);
    if (form == ellipse) expect_of(vMorphOpThinEllipse);
    if (form == ellipse && c.radius_x >= 64) expect_of(vMMRecursiveEllipticMorphOp);  // which hands over from there on
    if (HasFailure()) return;
  }
}

TEST(Marking, DirectDisksOfLargeOddRadiiAreNotRoundedUp) {
  // From 2^23 on, a half added to the square of an odd radius would be rounded up to let in the pixel beside its end.
  Picture dot(2900, 2900, 2);
  dot(0, 0) = 255;
  const Picture dst = run(vMorphOp, dot, dot, 2, {2897, 0, 0, 0, 0, 100, 0});
  for (int y = 0; y < 2; ++y)
    for (int x = 0; x < 2900; ++x) ASSERT_EQ(dst(x, y), x <= 2897 - y ? 255 : 0) << x << ", " << y;
}

TEST(RunningCount, FollowsItsStepsInNarrowAndWideImages) {
  std::mt19937 engine(3);
  for (int i = 0; i < 2400; ++i) {
    const bool circular = i % 2 == 0, tall = i % 12 == 1;
    Call c{pick(engine, 0, 63),
           pick(engine, 0, 63),
           pick(engine, -9, 9),
           pick(engine, -40, 40),
           operations[pick(engine, 0, 2)],
           thresholds[i % 5],
           pick(engine, 0, 1)};
    if (circular) c = {i / 2 % 63 + 1, i / 2 % 63 + 1, 0, 0, c.operation, c.threshold, c.rectangular};
    if (tall) c.radius_x = pick(engine, 1, 20), c.radius_y = pick(engine, 60, 100);
    if (c.radius_x < 1 && c.radius_y < 1) continue;
    // Around the widths where the count leaves its left zone, where it is clipped, and where blocks begin.
    const int around[] = {1, c.radius_x, 2 * c.radius_x, 2 * c.radius_x + 16, 2 * c.radius_x + 100};
    Geometry g{around[pick(engine, 0, 4)] + pick(engine, -3, 18), 0,
               tall ? pick(engine, 120, 220) : pick(engine, 1, 30), pick(engine, 0, 15)};
    g.stride = std::max(g.width, 1) + pick(engine, 0, 1) * pick(engine, 0, 40);
    SCOPED_TRACE(::testing::Message() << c << ", " << g);
    const int height = g.height;
    g.height += 127 / g.stride + 1;  // rows that are the memory behind the image
    Picture src = noise(engine, g, c, Equal::background, pick(engine, 0, 3) == 0 ? 3 : 40 * c.radius_y + 2);
    if (tall)  // vertical bars make whole columns of the element change at once, where 128 rows wrap around
      for (int x = 0; x < g.width; ++x)
        if (pick(engine, 0, 4) == 0)
          for (int y = 0; y < height; ++y) src(x, y) = c.hit();
    const Picture before = Picture::random(engine, g.width, g.stride, g.height);
    Picture expected(before);
    count_along_rows(expected, src, height, c, circular);
    ASSERT_TRUE(same(expected, circular ? run(vMMRecursiveMorphOp, before, src, height, c)
                                        : run(vMMRecursiveEllipticMorphOp, before, src, height, c)));
  }
}

TEST(Radii, ZeroCopiesAndNegativesDoNothing) {
  std::mt19937 engine(4);
  const Picture src = Picture::random(engine, 20, 24, 5), before(20, 24, 5, 7);
  Picture copied(before);
  std::copy_n(src.data(), 5 * 24, copied.data());
  for (const Call& c : {Call{-1, -1, 0, 0, 0, 100, 0}, {INT_MIN, INT_MIN, 0, 0, 1, 100, 1}, {-1, 5, 0, 0, 1, 100, 1}}) {
    EXPECT_EQ(run(vMMRecursiveMorphOp, before, src, 5, c), before);
    EXPECT_EQ(run(vMMMorphOpDist, before, src, 5, c), before);
    EXPECT_EQ(run(vMorphOpThinEllipse, before, src, 5, c), before);
    EXPECT_EQ(run(vMMRecursiveEllipticMorphOp, before, src, 5, c), c.radius_y < 1 ? copied : before);
  }
  EXPECT_EQ(run(vMMRecursiveEllipticMorphOp, before, src, 5, {100, -1, 0, 0, 1, 100, 1}), before);
  for (const int height : {0, -4})
    EXPECT_EQ(run(vMMRecursiveMorphOp, before, src, height, {height, 0, 0, 0, 1, 100, 1}), before);

  EXPECT_EQ(run(vMMRecursiveMorphOp, before, src, 5, {0, 0, 0, 0, 1, 100, 1}), copied);
  EXPECT_EQ(run(vMMRecursiveEllipticMorphOp, before, src, 5, {0, 0, 3, 3, 1, 100, 1}), copied);
  EXPECT_EQ(run(vMorphOpThinEllipse, before, src, 5, {0, 0, 0, 0, 1, 100, 1}), copied);
}

TEST(Radii, FormsHandOverAtDifferentOnes) {
  Picture dot(400, 400, 1);
  dot(200, 0) = 255;
  for (const auto& [radius, shift] : {std::pair{63, 0}, {64, 5}}) {
    const Picture dst = run(vMMRecursiveEllipticMorphOp, dot, dot, 1, {radius, 0, 5, 0, 0, 0, 1});
    EXPECT_EQ(dst(200 - radius + shift - 1, 0), 0) << radius;
    EXPECT_EQ(dst(200 - radius + shift, 0), 255) << radius;
  }
  // A pixel equal to the threshold tells the scatter rule from the count's.
  const Picture equal(200, 200, 3, 50);
  for (const int radius : {10, 62, 63})
    EXPECT_EQ(run(vMorphOpThinEllipse, dot, equal, 1, {radius, radius, 0, 0, 1, 50, 0})(0, 0), radius < 63 ? 0 : 255);
  const Picture white(200, 200, 3, 255), before(200, 200, 3, 7);
  for (const int offset : {INT_MIN, INT_MAX}) {
    EXPECT_EQ(run(vMorphOpThinEllipse, before, equal, 3, {INT_MAX, INT_MAX, offset, offset, 1, 255, 1}), white);
    EXPECT_EQ(run(vMMRecursiveEllipticMorphOp, before, equal, 3, {5, 1000, offset, offset, 1, 255, 0}), white);
  }
}

}  // namespace
