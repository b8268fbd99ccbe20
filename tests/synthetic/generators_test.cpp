#include <gtest/gtest.h>

#include <algorithm>
#include <random>

#include "zeb/synthetic.h"

namespace zeb::test {
namespace {

TEST(Generators, IotaCountsThroughThePadding) {
  const auto image = iota_image(3, 16, 20);
  for (int i = 0; i < 320; ++i) EXPECT_EQ(image.data[i], i % 256);
  EXPECT_EQ(image.pixel_size_x.value, 0.0f);
}

TEST(Generators, RandomPixelsAreLowBytesOfTheEngine) {
  const struct {
    float fraction;
    int limit;  // wraps: 255 - 63.75 is truncated, 255 - 510 is -255, 255 + 127.5 is 382
  } cases[] = {{0.25f, 191}, {1.0f, 0}, {0.0f, 255}, {2.0f, 1}, {-0.5f, 126}};
  for (const auto& c : cases) {
    const auto image = random_image(40, 48, 40, 1), binary = binary_random_image(40, 48, 40, 1, c.fraction);
    std::mt19937 engine(1);
    for (int y = 0; y < 40; ++y)
      for (int x = 0; x < 40; ++x) {
        const int drawn = engine() & 255;
        ASSERT_EQ(image.at(y, x), drawn);
        ASSERT_EQ(binary.at(y, x), drawn > c.limit ? 255 : 0) << c.fraction;
      }
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
  bool seen = false;
  for (int i = 0; i < 20; ++i) {
    // Grey 0 and rectangles outside leave no trace, so one rectangle adds one grey value at most.
    const auto none = random_rect_image(20, 32, 10, 0, 1.0f), one = random_rect_image(20, 32, 10, 1, -1.0f);
    const unsigned char grey = *std::max_element(one.begin(), one.end());
    EXPECT_EQ(std::count(none.begin(), none.end(), 0), 320);
    EXPECT_EQ(std::count(one.begin(), one.end(), 0) + (grey == 0 ? 0 : std::count(one.begin(), one.end(), grey)), 320);
    seen = seen || grey != 0;
  }
  EXPECT_TRUE(seen);
}

TEST(IsSame, ComparesPixelsAlone) {
  const auto a = random_image(5, 5, 4, 1), padded = random_image(5, 16, 4, 1);
  EXPECT_TRUE(is_same(a, padded));
  padded.at(3, 4) ^= 1;
  EXPECT_FALSE(is_same(a, padded));
  EXPECT_FALSE(is_same(a, random_image(5, 5, 3, 1)));
  EXPECT_FALSE(is_same(a, random_image(4, 5, 4, 1)));
}

}  // namespace
}  // namespace zeb::test
