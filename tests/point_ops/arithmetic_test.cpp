#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>

#include "tests/support/picture.h"
#include "tests/support/random_geometry.h"
#include "zeb/point_ops.h"

using zeb::testing::Geometry;
using zeb::testing::Picture;
using zeb::testing::same;

namespace {

using Image8 = zeb::Mat<unsigned char>;
using Byte = unsigned char;

int saturate(int v) { return std::clamp(v, 0, 255); }

/// The product with a factor in whole groups of 16 columns: by eight bits of the factor in fixed point.
int fixed_point_product(int p, float factor) {
  const int fixed = static_cast<int>(factor * 256.0f);
  const int log2 = fixed == 0 ? -1 : static_cast<int>((logf(static_cast<float>(fixed)) + 0.0001f) / logf(2.0f));
  const int shift = std::max(0, log2 - 7);
  const unsigned product = static_cast<unsigned>(p * (fixed >> shift)) & 0xFFFFu;
  if (shift > 8) return 0;
  return shift == 8 && product > 0x7FFF ? 0 : saturate(static_cast<int>(product >> (8 - shift)));
}

TEST(Arithmetic, FollowsTheRuleOfEachPixelOnAnyLayout) {
  struct Operation {
    const char* name;
    std::function<void(Image8&, const Image8&, const Image8&, Byte)> run;
    std::function<int(int, int, int)> tail;        // of a, b and the constant; cut to 8 bits
    std::function<int(int, int, int)> group = {};  // in whole groups of 16 columns, where that differs
  };
  const auto factor = [](int v) { return static_cast<float>(v * v) / 300.0f; };
  const auto shift = [](int v) { return v % 40 - 20; };
  const Operation operations[] = {
      {"set", [](auto& d, auto&, auto&, Byte v) { zeb::set(d, v); }, [](int, int, int v) { return v; }},
      {"add", [](auto& d, auto& a, auto& b, Byte) { zeb::add(d, a, b); }, [](int a, int b, int) { return a + b; }},
      {"add v", [](auto& d, auto& a, auto&, Byte v) { zeb::add(d, a, v); }, [](int a, int, int v) { return a + v; }},
      {"add_s", [](auto& d, auto& a, auto& b, Byte) { zeb::add_s(d, a, b); },
       [](int a, int b, int) { return saturate(a + b); }},
      {"add_s v", [](auto& d, auto& a, auto&, Byte v) { zeb::add_s(d, a, v); },
       [](int a, int, int v) { return saturate(a + v); }},
      {"sub", [](auto& d, auto& a, auto& b, Byte) { zeb::sub(d, a, b); }, [](int a, int b, int) { return a - b; }},
      {"v sub", [](auto& d, auto& a, auto&, Byte v) { zeb::sub(d, v, a); }, [](int a, int, int v) { return v - a; }},
      {"sub v", [](auto& d, auto& a, auto&, Byte v) { vBMSub(d.data, a.data, v, d.width, d.stride, d.height); },
       [](int a, int, int v) { return a - v; }},
      {"sub_s", [](auto& d, auto& a, auto& b, Byte) { zeb::sub_s(d, a, b); },
       [](int a, int b, int) { return saturate(a - b); }},
      {"v sub_s", [](auto& d, auto& a, auto&, Byte v) { zeb::sub_s(d, v, a); },
       [](int a, int, int v) { return saturate(v - a); }},
      {"sub_s v", [](auto& d, auto& a, auto&, Byte v) { zeb::sub_s(d, a, v); },
       [](int a, int, int v) { return saturate(a - v); }},
      {"mul_s", [shift](auto& d, auto& a, auto& b, Byte v) { zeb::mul_s(d, a, b, shift(v)); },
       [shift](int a, int b, int v) { return saturate((a * b) >> (shift(v) & 31)); },
       [shift](int a, int b, int v) {
         return shift(v) < 0 || shift(v) > 15 ? 0 : saturate((a * b) >> shift(v) & 0x7FFF);
       }},
      {"mul_s by a factor", [factor](auto& d, auto& a, auto&, Byte v) { zeb::mul_s(d, a, factor(v)); },
       [factor](int a, int, int v) { return saturate(static_cast<int>(static_cast<float>(a) * factor(v))); },
       [factor](int a, int, int v) { return fixed_point_product(a, factor(v)); }},
      {"vInvertVideo",
       [](auto& d, auto& a, auto&, Byte v) {
         vInvertVideo(d.data, a.data, d.width, d.stride, d.height, v, 32 + v / 32);
       },
       [](int a, int, int v) { return a == 0 ? (v == 0 ? 0 : 255) : std::min(255, (v << v / 32) / a); },
       [](int a, int, int v) {
         return a == 0 ? (v == 0 ? 0 : 255) : std::min(255L, std::lrint(double(v << v / 32) / a));
       }},
  };
  std::mt19937 engine(1);
  for (const auto& operation : operations)
    for (int i = 0; i < 60; ++i) {
      const auto g = Geometry::random(engine);
      SCOPED_TRACE(::testing::Message() << operation.name << ", " << g);
      Picture a = g.picture(engine), b = g.picture(engine), in_place = a;
      const auto value = static_cast<Byte>(engine());
      const auto result = [&](int x, int y) {
        const bool in_group = operation.group && x < g.width / 16 * 16;
        return (in_group ? operation.group : operation.tail)(a(x, y), b(x, y), value);
      };
      Picture expected(g.width, g.stride, g.height), dst = expected, expected_in_place = a;
      expected.fill(result);
      expected_in_place.fill(result);
      auto dst_mat = dst.mat(), in_place_mat = in_place.mat();
      operation.run(dst_mat, Image8(a.data(), 3, 3, 3), Image8(b.data(), 3, 3, 3), value);
      ASSERT_TRUE(same(expected, dst)) << "the destination's geometry rules";
      operation.run(in_place_mat, in_place_mat, b.mat(), value);
      ASSERT_TRUE(same(expected_in_place, in_place)) << "in place";
    }
}

/// A row of 17 equal pixels: the first 16 go through the packed path, the last one through the scalar path.
template <class Run>
std::pair<int, int> paths(int pixel, Run run) {
  Picture image(17, 17, 1, static_cast<Byte>(pixel));
  auto mat = image.mat();
  run(mat);
  return {image(0, 0), image(16, 0)};
}

TEST(Product, WithUnusualFactors) {
  const auto scaled = [](int p, float f) { return paths(p, [f](Image8& m) { zeb::mul_s(m, m, f); }); };
  EXPECT_EQ(scaled(1, 300.0f), std::pair(0, 255)) << "a shift of 8 - 9 counts as a large one";
  EXPECT_EQ(scaled(3, INFINITY), std::pair(0, 0));
  EXPECT_EQ(scaled(3, std::nanf("")), std::pair(0, 0));
  // 32767 / 256: the fixed-point factor is just below 2^15. Its logarithm counts as 15, so the multiplier is
  // 32767 >> 8 = 127 and nothing is shifted; an exact logarithm would give 32767 >> 7 = 255, shifted by 1.
  EXPECT_EQ(scaled(2, 32767.0f / 256.0f), std::pair(254, 255));
}

TEST(Reciprocal, OfTheGreatestShift) {
  const auto shifted_1 = paths(255, [](Image8& m) { vInvertVideo(m.data, m.data, 17, 17, 1, 1, 31); });
  EXPECT_EQ(shifted_1, std::pair(0, 127)) << "-2^31 / 255 is -0x808081 in single precision";
}

}  // namespace
