#include <gtest/gtest.h>
#include <smmintrin.h>

#include <cmath>
#include <cstdint>
#include <vector>

#include "tests/transforms/sampling.h"
#include "zeb/transforms.h"

using zeb::Point_;
using zeb::um;
using namespace zeb::testing;

namespace {

const float infinity = INFINITY, nan = NAN;

struct Parameters {
  float cx, cy, tx, ty, angle, scale;

  friend std::ostream& operator<<(std::ostream& os, const Parameters& p) {
    return os << "about " << p.cx << ", " << p.cy << " by " << p.tx << ", " << p.ty << ", angle " << p.angle
              << ", scale " << p.scale;
  }
};

Position turned(const Parameters& p, float xn, float yn) {
  const float c = cosf(p.angle), s = sinf(p.angle);
  return {(xn * c + yn * s) + (p.cx - p.tx), (yn * c - xn * s) + (p.cy - p.ty)};
}

Position by_division(const Parameters& p, int x, int y) {
  return turned(p, (static_cast<float>(x) - p.cx) / p.scale, (static_cast<float>(y) - p.cy) / p.scale);
}

Position by_estimate(const Parameters& p, int x, int y) {
  const float reciprocal = _mm_cvtss_f32(_mm_rcp_ss(_mm_set_ss(p.scale)));
  return turned(p, (static_cast<float>(x) - p.cx) * reciprocal, (static_cast<float>(y) - p.cy) * reciprocal);
}

/// The six floats read as a shear: direction in `tx`, `ty`, displacements in `angle`, `scale`.
Position sheared(const Parameters& p, int x, int y) {
  const float n = sqrtf(p.tx * p.tx + p.ty * p.ty), nx = n > 0 ? p.tx / n : p.tx, ny = n > 0 ? p.ty / n : p.ty;
  const float d = (static_cast<float>(x) - p.cx) * nx + (static_cast<float>(y) - p.cy) * ny;
  return {static_cast<float>(x) - d * p.angle, static_cast<float>(y) - d * p.scale};
}

unsigned char nearest(const Picture& src, Position at, unsigned char background) {
  const float x = std::nearbyint(at.x), y = std::nearbyint(at.y);
  if (!(0 <= x && x < static_cast<float>(src.width() - 1) && 0 <= y && y < static_cast<float>(src.height() - 1)))
    return background;
  return src(static_cast<int>(x), static_cast<int>(y));
}

/// Writes what a packed form writes: width rounded up, rows at multiples of 4.
template <class Pixel>
Picture packed(Picture dst, Pixel pixel) {
  for_each_pixel((dst.width() + 3) / 4 * 4, dst.height(),
                 [&](int x, int y) { dst.data()[dst.stride() / 4 * 4 * y + x] = pixel(x, y); });
  return dst;
}

Parameters random_parameters(std::mt19937& engine, const Geometry& g) {
  const auto between = [&engine](float low, float high) {
    return std::uniform_real_distribution<float>(low, high)(engine);
  };
  const auto w = static_cast<float>(g.width), h = static_cast<float>(g.height);
  Parameters p{between(-5, w), between(-5, h), between(-9, 9), between(-9, 9), between(-4, 4), between(-2, 3)};
  if (pick(engine, 0, 3) == 0) p.scale = 1;
  if (pick(engine, 0, 3) == 0) p.angle = 0;
  if (pick(engine, 0, 3) == 0) p.tx = 0.5f * std::floor(p.tx), p.ty = std::floor(p.ty), p.cx = p.cy = 0;
  const float odd[] = {0.0f, -0.0f, infinity, -infinity, nan, 1e-40f, 1e20f, -1e30f, 3e9f};
  float* const members[] = {&p.cx, &p.cy, &p.tx, &p.ty, &p.angle, &p.scale};
  if (pick(engine, 0, 9) == 0) *members[pick(engine, 0, 5)] = odd[pick(engine, 0, 8)];
  return p;
}

using Raw = void(unsigned char*, unsigned char*, int, int, int, float, float, float, float, float, float,
                 unsigned char);

/// Runs a warp on a copy of `src` that ends with its last pixel, for the address checker.
Picture run(Raw* warp, const Picture& src, const Parameters& p, unsigned char background, Picture dst) {
  const auto lead = static_cast<std::ptrdiff_t>(reinterpret_cast<std::uintptr_t>(src.data()) % 16);
  const int size = src.height() < 1 ? 0 : src.stride() * (src.height() - 1) + src.width();
  std::vector<unsigned char> exact(src.data() - lead, src.data() + size);
  warp(dst.data(), exact.data() + lead, src.width(), src.stride(), src.height(), p.cx, p.cy, p.tx, p.ty, p.angle,
       p.scale, background);
  return dst;
}

TEST(Warps, FollowTheirRulesToTheLastBitOnAnyLayout) {
  std::mt19937 engine(1);
  for (int i = 0; i < 2000; ++i) {
    auto g = Geometry::random(engine, i % 8 == 0 ? 200 : 24, 24);
    if (pick(engine, 0, 3) != 0) g.stride = (g.stride + 3) & ~3;
    if (i % 100 == 0) g.stride = 40000, g.height = 5;  // offsets of pixels beyond 16-bit products
    const Parameters p = random_parameters(engine, g);
    Parameters shear = p;
    if (pick(engine, 0, 1) == 0) shear.angle *= 0.1f, shear.scale *= 0.1f;
    if (pick(engine, 0, 9) == 0) shear.tx = shear.ty = 0;
    // The displacement makes up for the column: the first row hovers about position 0 by roundings alone.
    if (pick(engine, 0, 9) == 0) shear = {0, 0, 3, 4, 1 / 0.6f, 0};
    const auto background = static_cast<unsigned char>(engine());
    SCOPED_TRACE(::testing::Message() << g << ", " << p << ", background " << int{background});
    Picture src = Picture::random(engine, g.width, g.stride, g.height, g.offset);
    const Picture blank(g.width, g.stride, g.height, 1);
    const Bounds all{0, g.width - 1, 0, g.height - 1};
    const auto from_half = [&](Position at) {
      return static_cast<unsigned char>(static_cast<double>(bilinear(src, at, all, background)) + 0.49);
    };
    const auto to_even = [&](Position at) {
      return static_cast<unsigned char>(std::nearbyint(bilinear(src, at, all, background)));
    };
    ASSERT_TRUE(same(Picture(blank).fill([&](int x, int y) { return from_half(by_division(p, x, y)); }),
                     run(zeb::transform, src, p, background, blank)));
    ASSERT_TRUE(same(packed(blank, [&](int x, int y) { return to_even(by_estimate(p, x, y)); }),
                     run(zeb::mm_transform, src, p, background, blank)));
    ASSERT_TRUE(same(packed(blank, [&](int x, int y) { return nearest(src, by_estimate(p, x, y), background); }),
                     run(zeb::mm_morph_transform, src, p, background, blank)));
    ASSERT_TRUE(same(packed(blank, [&](int x, int y) { return to_even(sheared(shear, x, y)); }),
                     run(zeb::mm_stretch_shear, src, shear, background, blank)));
    const auto copied = [&](int x, int y) { return x < all.x_max && y < all.y_max ? src(x, y) : background; };
    ASSERT_TRUE(same(Picture(blank).fill(copied), run(zeb::stretch_shear, src, p, background, blank)));
  }
}

TEST(Warps, ScalarFormsRoundInDoublePrecision) {
  // 0.51f is a little less than 0.51; adding 0.49 in single precision would make 1 of it.
  Picture step = Picture::grey({{0, 1, 0}, {0, 1, 0}});
  EXPECT_EQ(run(zeb::transform, step, {0, 0, -0.51f, 0, 0, 1}, 7, step)(0, 0), 0);
  EXPECT_EQ(run(zeb::transform, step, {0, 0, -0.5101f, 0, 0, 1}, 7, step)(0, 0), 1);
}

TEST(Warps, TakeNegativeStrides) {
  // Bottom row first: data at the last row, negative stride.
  Picture flipped = Picture::grey({{5, 6, 7, 8}, {1, 2, 3, 4}}), dst(4, 4, 2);
  zeb::mm_stretch_shear(dst.data() + 4, flipped.data() + 4, 4, -4, 2, 0, 0, 0, 0, 0, 0, 99);
  EXPECT_EQ(dst, Picture::grey({{99, 99, 99, 99}, {1, 2, 3, 99}}));
}

TEST(TypedWarps, PassTheParametersOfTheirConversions) {
  std::mt19937 engine(2);
  for (int i = 0; i < 200; ++i) {
    Picture src = Picture::random(engine, pick(engine, 1, 30), 32, pick(engine, 1, 30));
    Picture dst(src.width(), 32, src.height()), expected(dst);
    auto dst_mat = dst.mat(), src_mat = src.mat();
    dst_mat.width = 1;  // no matter
    auto dst_bitmap = dst.bitmap({0.3f, 0.7f}), src_bitmap = src.bitmap({9.0f, 9.0f});
    const float degrees = static_cast<float>(pick(engine, -200, 200)) / 3.0f, k = static_cast<float>(i) / 300;
    const float radians = (degrees * 3.1415927f) / 180.0f;

    zeb::rotate(dst_mat, src_mat, degrees, 7);
    zeb::mm_transform(expected.data(), src.data(), 32, 32, src.height(), -1e-6f, -1e-6f, 0, 0,
                      (degrees / 180.0f) * 3.1415927f, 1, 7);
    ASSERT_TRUE(same(expected, dst));
    zeb::transform(dst_mat, src_mat, 1.5f, degrees, 2.5f, -1, 7);
    ASSERT_TRUE(same(run(zeb::mm_transform, src, {0, 0, 2.5f, -1, radians, 1.5f}, 7, expected), dst));
    zeb::transform(dst_bitmap, src_bitmap, 1.5f, degrees, Point_<um>{1.0f, -2.0f}, 7);
    ASSERT_TRUE(same(run(zeb::mm_transform, src, {0, 0, 1 / 0.3f, -2 / 0.7f, radians, 1.5f}, 7, expected), dst));
    zeb::shear(dst_mat, src_mat, k, -0.3f, 7);
    ASSERT_TRUE(same(run(zeb::mm_stretch_shear, src, {0, 0, 1, 1, k, -0.3f}, 7, expected), dst));
    zeb::stretch(dst_mat, src_mat, k, 7);
    ASSERT_TRUE(same(run(zeb::mm_stretch_shear, src, {0, 0, 1, 1, k, k}, 7, expected), dst));
  }
}

TEST(Translation, RoundsHalfUpThenTowardZero) {
  const auto shifted = [](float dx, float dy, int wrap) {
    Picture src = Picture::grey({{1, 2, 3}, {4, 5, 6}, {7, 8, 9}}), dst(3, 3, 3, 50);
    zeb::translate(dst.data(), src.data(), 3, 3, dx, dy, 0, wrap);
    return dst;
  };
  const Picture same_place = Picture::grey({{1, 2, 3}, {4, 5, 6}, {7, 8, 9}});
  for (const float none : {0.4f, -0.5f, -1.4f}) EXPECT_EQ(shifted(none, none, 0), same_place) << none;
  EXPECT_EQ(shifted(1.5f, 0, 0), Picture::grey({{0, 0, 1}, {0, 0, 4}, {0, 0, 7}}));
  EXPECT_EQ(shifted(-1.7f, 0.5f, 0), Picture::grey({{0, 0, 0}, {2, 3, 0}, {5, 6, 0}}));
  EXPECT_EQ(shifted(0, -1.5f, 2), Picture::grey({{4, 5, 6}, {7, 8, 9}, {0, 0, 0}})) << "the lowest bit alone counts";
  EXPECT_EQ(shifted(1, -1.5f, -1), Picture::grey({{0, 4, 5}, {0, 7, 8}, {0, 1, 2}}));
  EXPECT_EQ(shifted(0, -7.5f, 1), shifted(0, 2, 1));
  EXPECT_EQ(shifted(0.49999997f, 0, 0), shifted(1, 0, 0)) << "the sum rounds to 1 in single precision";
  for (const float far : {3.0f, -3.5f, 1e30f, -infinity, nan}) {
    EXPECT_EQ(shifted(far, 0, 1), Picture(3, 3, 3)) << far;
    EXPECT_EQ(shifted(0, far, 0), Picture(3, 3, 3)) << far;
  }
}

TEST(Translation, TypedFormsTakeThePaddingAlong) {
  Picture src = Picture::grey({{1, 2}, {3, 4}}, 4), expected = Picture::grey({{9, 1}, {9, 3}}, 4), dst(2, 4, 2);
  expected(2, 0) = 2, expected(2, 1) = 4;
  auto dst_mat = dst.mat(), src_mat = src.mat();
  zeb::translate(dst_mat, src_mat, 1.2f, 0, 9);
  EXPECT_EQ(dst, expected);
  dst = Picture(2, 4, 2);
  auto dst_bitmap = dst.bitmap({0.5f, 2.0f}), src_bitmap = src.bitmap({0.5f, 2.0f});
  zeb::translate(dst_bitmap, src_bitmap, Point_<um>{0.6f, 0.9f}, 9);
  EXPECT_EQ(dst, expected) << "1.2 and 0.45 pixels";
}

TEST(RotatePoint, FlipsTheYAxis) {
  float x = 0, y = 0;
  zeb::rotate_point(0.5235988f, 2, 1, &x, &y);
  EXPECT_NEAR(x, std::sqrt(3.0) - 0.5, 1e-6);
  EXPECT_NEAR(y, 1 - std::sqrt(3.0) / 2, 1e-6);
}

}  // namespace
