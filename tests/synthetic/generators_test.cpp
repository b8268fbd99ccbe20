#include <gtest/gtest.h>

#include <algorithm>
#include <random>

#include "zeb/synthetic.h"

namespace zeb::test {
namespace {

TEST(Generators, IotaCountsThroughThePadding) {
  const auto image = iota_image(3, 16, 20);
  EXPECT_EQ(image.at(0, 2), 2);
  EXPECT_EQ(image.at(1, 0), 16);
  EXPECT_EQ(image.at(16, 1), 1) << "256 wraps to 0";
  EXPECT_EQ(image.end()[-1], 320 - 1 - 256);
  EXPECT_EQ(image.pixel_size_x.value, 0.0f);
}

TEST(Generators, RandomPixelsAreLowBytesOfTheEngine) {
  const auto image = random_image(5, 16, 4, 1);
  const auto binary = binary_random_image(5, 16, 4, 1, 0.25f);
  std::mt19937 engine(1);
  for (int y = 0; y < 4; ++y)
    for (int x = 0; x < 5; ++x) {
      const auto drawn = engine() & 255;
      EXPECT_EQ(image.at(y, x), drawn);
      EXPECT_EQ(binary.at(y, x), drawn > 191 ? 255 : 0) << "255 - 63.75 is truncated to 191";
    }
}

TEST(Generators, LimitsOfTheBinaryImageWrap) {
  const auto all = random_image(40, 40, 40, 7);
  const struct {
    float fraction;
    int limit;
  } cases[] = {{1.0f, 0}, {0.0f, 255}, {2.0f, 1}, {-0.5f, 126}};  // 255 - 510 is -255; 255 + 127.5 is 382
  for (const auto& c : cases) {
    const auto binary = binary_random_image(40, 40, 40, 7, c.fraction);
    for (int y = 0; y < 40; ++y)
      for (int x = 0; x < 40; ++x) ASSERT_EQ(binary.at(y, x), all.at(y, x) > c.limit ? 255 : 0) << c.fraction;
  }
}

TEST(Generators, MaximumBoundsThePixels) {
  for (const int max : {-1, 0, 3, 255}) {
    const auto image = random_image_max(64, 64, 64, max);
    EXPECT_EQ(*std::max_element(image.begin(), image.end()), std::max(max, 0)) << "4096 draws meet the maximum";
  }
  EXPECT_FALSE(is_same(random_image(64, 64, 64), random_image(64, 64, 64))) << "seeded anew by the system";
}

TEST(Generators, RectanglesKeepToTheirNumber) {
  const auto none = random_rect_image(20, 32, 10, 0, 1.0f);
  EXPECT_TRUE(std::all_of(none.begin(), none.end(), [](unsigned char p) { return p == 0; }));
  // Grey 0 and rectangles outside leave no trace, so one rectangle adds one grey value at most.
  bool seen = false;
  for (int i = 0; i < 20; ++i) {
    const auto one = random_rect_image(20, 32, 10, 1, -1.0f);
    const unsigned char grey = *std::max_element(one.begin(), one.end());
    EXPECT_TRUE(std::all_of(one.begin(), one.end(), [grey](unsigned char p) { return p == 0 || p == grey; }));
    seen = seen || grey != 0;
  }
  EXPECT_TRUE(seen);
  EXPECT_THROW(random_rect_image(20, 32, -1, 1, 1.0f), std::bad_alloc);
}

TEST(IsSame, ComparesPixelsAlone) {
  const auto a = random_image(5, 5, 4, 1), padded = random_image(5, 16, 4, 1);
  EXPECT_TRUE(is_same(a, random_image(5, 5, 4, 1)));
  EXPECT_TRUE(is_same(a, padded));
  padded.at(3, 4) ^= 1;
  EXPECT_FALSE(is_same(a, padded));
  EXPECT_FALSE(is_same(a, random_image(5, 5, 3, 1)));
  EXPECT_FALSE(is_same(a, random_image(4, 5, 4, 1)));
  EXPECT_TRUE(is_same(random_image(5, 5, 0, 1), random_image(5, 16, 0, 1)));
}

}  // namespace
}  // namespace zeb::test
