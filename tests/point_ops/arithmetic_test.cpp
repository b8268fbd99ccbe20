#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <limits>

#include "tests/support/picture.h"
#include "tests/support/random_geometry.h"
#include "zeb/point_ops.h"

using zeb::Mat;
using zeb::testing::Geometry;
using zeb::testing::Picture;
using zeb::testing::same;

namespace {

using Image8 = Mat<unsigned char>;

int saturate(int v) { return v < 0 ? 0 : v > 255 ? 255 : v; }

TEST(Arithmetic, SimpleOperationsOnAnyLayout) {
  struct Operation {
    const char* name;
    std::function<void(Image8&, const Image8&, const Image8&, unsigned char)> run;
    std::function<int(int, int, int)> pixel;  // of a, b and the constant; reduced modulo 256
  };
  const Operation operations[] = {
      {"set", [](auto& d, auto&, auto&, auto v) { zeb::set(d, v); }, [](int, int, int v) { return v; }},
      {"add", [](auto& d, auto& a, auto& b, auto) { zeb::add(d, a, b); }, [](int a, int b, int) { return a + b; }},
      {"add constant", [](auto& d, auto& a, auto&, auto v) { zeb::add(d, a, v); },
       [](int a, int, int v) { return a + v; }},
      {"add_s", [](auto& d, auto& a, auto& b, auto) { zeb::add_s(d, a, b); },
       [](int a, int b, int) { return saturate(a + b); }},
      {"add_s constant", [](auto& d, auto& a, auto&, auto v) { zeb::add_s(d, a, v); },
       [](int a, int, int v) { return saturate(a + v); }},
      {"sub", [](auto& d, auto& a, auto& b, auto) { zeb::sub(d, a, b); }, [](int a, int b, int) { return a - b; }},
      {"sub from constant", [](auto& d, auto& a, auto&, auto v) { zeb::sub(d, v, a); },
       [](int a, int, int v) { return v - a; }},
      {"sub constant", [](auto& d, auto& a, auto&, auto v) { vBMSub(d.data, a.data, v, d.width, d.stride, d.height); },
       [](int a, int, int v) { return a - v; }},
      {"sub_s", [](auto& d, auto& a, auto& b, auto) { zeb::sub_s(d, a, b); },
       [](int a, int b, int) { return saturate(a - b); }},
      {"sub_s from constant", [](auto& d, auto& a, auto&, auto v) { zeb::sub_s(d, v, a); },
       [](int a, int, int v) { return saturate(v - a); }},
      {"sub_s constant", [](auto& d, auto& a, auto&, auto v) { zeb::sub_s(d, a, v); },
       [](int a, int, int v) { return saturate(a - v); }},
  };
  std::mt19937 engine(1);
  for (const auto& operation : operations)
    for (int i = 0; i < 60; ++i) {
      const auto g = Geometry::random(engine);
      SCOPED_TRACE(::testing::Message() << operation.name << ", " << g);
      Picture a = Picture::random(engine, g.width, g.stride, g.height, g.offset);
      Picture b = Picture::random(engine, g.width, g.stride, g.height);
      const auto value = static_cast<unsigned char>(engine());
      Picture expected(g.width, g.stride, g.height), dst(expected), in_place(a);
      for (int y = 0; y < g.height; ++y)
        for (int x = 0; x < g.width; ++x)
          expected(x, y) = static_cast<unsigned char>(operation.pixel(a(x, y), b(x, y), value));
      auto dst_mat = dst.mat();
      const Image8 a_of_other_size(a.data(), 3, 3, 3), b_of_other_size(b.data(), 3, 3, 3);
      operation.run(dst_mat, a_of_other_size, b_of_other_size, value);
      ASSERT_TRUE(same(expected, dst)) << "the destination's geometry rules";

      auto in_place_mat = in_place.mat();
      operation.run(in_place_mat, in_place_mat, b.mat(), value);
      for (int y = 0; y < g.height; ++y)
        for (int x = 0; x < g.width; ++x) ASSERT_EQ(in_place(x, y), expected(x, y)) << "in place";
    }
}

/// A row of 17 equal pixels: the first 16 go through the packed path, the last one through the scalar path.
struct Paths {
  int block, tail;
  bool operator==(const Paths& o) const { return block == o.block && tail == o.tail; }
};

void PrintTo(const Paths& p, std::ostream* os) { *os << "block " << p.block << ", tail " << p.tail; }

template <class Run>
Paths paths(int pixel, Run run) {
  Picture image(17, 17, 1, static_cast<unsigned char>(pixel));
  auto mat = image.mat();
  run(mat);
  for (int x = 1; x < 16; ++x) EXPECT_EQ(image(0, 0), image(x, 0)) << x;
  return {image(0, 0), image(16, 0)};
}

Paths product(int a, int b, int shift) {
  const Picture other(17, 17, 1, static_cast<unsigned char>(b));
  return paths(a, [&](Image8& m) { vBMMulS(m.data, m.data, other.data(), 17, 17, 1, shift); });
}

TEST(Product, OfTwoImagesDiffersInBlockAndTail) {
  EXPECT_EQ(product(16, 15, 0), (Paths{240, 240}));
  EXPECT_EQ(product(129, 255, 0), (Paths{127, 255})) << "the packed product loses its top bit";
  EXPECT_EQ(product(200, 200, 0), (Paths{255, 255}));
  EXPECT_EQ(product(129, 255, 8), (Paths{128, 128}));
  EXPECT_EQ(product(255, 255, 16), (Paths{0, 0}));
  EXPECT_EQ(product(10, 10, 32), (Paths{0, 100})) << "the scalar shift is taken modulo 32";
  EXPECT_EQ(product(255, 255, -24), (Paths{0, 254})) << "-24 modulo 32 is 8";
}

Paths scaled(int pixel, float factor) {
  return paths(pixel, [factor](Image8& m) { zeb::mul_s(m, m, factor); });
}

TEST(Product, WithAFactorIsFixedPointInBlocks) {
  EXPECT_EQ(scaled(100, 0.3f), (Paths{29, 30})) << "76 / 256";
  EXPECT_EQ(scaled(100, 1.5f), (Paths{150, 150}));
  EXPECT_EQ(scaled(200, 1.5f), (Paths{255, 255}));
  EXPECT_EQ(scaled(255, 0.0f), (Paths{0, 0}));
  EXPECT_EQ(scaled(1, 300.0f), (Paths{0, 255})) << "a shift of 8 - 9 counts as a large one";
  EXPECT_EQ(scaled(1, 128.0f), (Paths{128, 128})) << "no shift: 128";
  EXPECT_EQ(scaled(2, 128.0f), (Paths{255, 255})) << "no shift: 256 saturates";
  EXPECT_EQ(scaled(255, 130.0f), (Paths{0, 255})) << "255 * 130 = 33150 counts as negative";
  const float infinity = std::numeric_limits<float>::infinity();
  EXPECT_EQ(scaled(3, infinity), (Paths{0, 0}));
  EXPECT_EQ(scaled(3, std::nanf("")), (Paths{0, 0}));
}

TEST(Product, LogarithmIsRaisedJustBelowPowersOfTwo) {
  // 32767 / 256: the fixed-point factor is just below 2^15. Its logarithm counts as 15, so the multiplier is
  // 32767 >> 8 = 127 and nothing is shifted; an exact logarithm would give 32767 >> 7 = 255, shifted by 1.
  EXPECT_EQ(scaled(1, 32767.0f / 256.0f), (Paths{127, 127}));
  EXPECT_EQ(scaled(2, 32767.0f / 256.0f), (Paths{254, 255}));
}

TEST(Reciprocal, RoundsInBlocksAndTruncatesInTails) {
  const auto inverted = [](int pixel, int value, int shift) {
    return paths(pixel,
                 [=](Image8& m) { vInvertVideo(m.data, m.data, 17, 17, 1, static_cast<unsigned char>(value), shift); });
  };
  EXPECT_EQ(inverted(6, 100, 0), (Paths{17, 16}));
  EXPECT_EQ(inverted(8, 100, 0), (Paths{12, 12})) << "12.5 is a tie, to even";
  EXPECT_EQ(inverted(8, 108, 0), (Paths{14, 13})) << "13.5 is a tie, to even";
  EXPECT_EQ(inverted(0, 1, 0), (Paths{255, 255}));
  EXPECT_EQ(inverted(0, 0, 5), (Paths{0, 0}));
  EXPECT_EQ(inverted(3, 100, 33), (Paths{67, 66})) << "shifted by 33 modulo 32";
  EXPECT_EQ(inverted(1, 255, 20), (Paths{255, 255}));
  EXPECT_EQ(inverted(255, 1, 31), (Paths{0, 127})) << "-2^31 / 255 is -0x808081 in single precision";

  // Each group of four quotients in its place.
  Picture ramp(16, 16, 1), dst(16, 16, 1);
  for (int x = 0; x < 16; ++x) ramp(x, 0) = static_cast<unsigned char>(1 << (x % 8));
  vInvertVideo(dst.data(), ramp.data(), 16, 16, 1, 128, 0);
  for (int x = 0; x < 16; ++x) EXPECT_EQ(dst(x, 0), 128 >> (x % 8)) << x;
}

}  // namespace
