#include <gtest/gtest.h>

#include <cmath>

#include "tests/support/allocation.h"
#include "tests/support/picture.h"
#include "zeb/frequency.h"

using zeb::fft::Filter;
using zeb::testing::Picture;
using zeb::testing::same;

namespace {

Picture filtered(Picture src, bool window, Filter filter, std::vector<float> params) {
  Picture dst(src.width(), src.stride(), src.height(), 77);
  const Picture before(src);
  auto dst_mat = dst.mat(), src_mat = src.mat();
  zeb::fft_filter(dst_mat, src_mat, window, filter, std::move(params));
  EXPECT_EQ(src, before) << "the source stays";
  return dst;
}

/// A grey ramp with a vertical and a diagonal wave over it.
Picture scene(int side, float wave) {
  Picture p(side, side + 5, side);
  for (int y = 0; y < side; ++y)
    for (int x = 0; x < side; ++x) {
      const double ramp = 60 + 60.0 * y / side;
      const double waves = std::cos(2 * M_PI * 8 * x / side) + std::cos(2 * M_PI * (5 * x + 12 * y) / side);
      p(x, y) = static_cast<unsigned char>(std::lround(ramp + double{wave} * waves));
    }
  return p;
}

TEST(FftFilter, NoneCopiesAnyImageWithItsPadding) {
  std::mt19937 engine(1);
  const Picture src = Picture::random(engine, 5, 9, 3);
  const Picture dst = filtered(src, true, Filter::none, {});
  for (int y = 0; y < 3; ++y)
    for (int x = 0; x < 9; ++x) EXPECT_EQ(dst(x, y), src(x, y));
}

TEST(FftFilter, FlatGivesTheImageBack) {
  for (const int side : {2, 4, 32, 128}) {
    const Picture src = scene(side, 20);
    EXPECT_TRUE(same(src, filtered(src, false, Filter::flat, {}))) << side;
    EXPECT_TRUE(same(src, filtered(src, false, Filter::flat, {1, 2}))) << side;
    EXPECT_TRUE(same(src, filtered(src, false, static_cast<Filter>(5), {}))) << side;
    EXPECT_TRUE(same(src, filtered(src, false, Filter::notch_peaks, {1e9f}))) << "no peak is that high";
  }
}

TEST(FftFilter, WindowFallsFromTheCentreToTheRim) {
  const int side = 64;
  const Picture flat(side, side, side, 200);
  const Picture dst = filtered(flat, true, Filter::flat, {});
  EXPECT_EQ(dst(0, 0), 0);
  EXPECT_EQ(dst(0, 32), 0) << "the left column is at distance 1";
  EXPECT_EQ(dst(32, 31), dst(31, 31));
  EXPECT_EQ(dst(63, 20), dst(0, 20)) << "mirrored, so the last column equals the first";
  // At a quarter of the side r is 0.5: sqrt((cos(pi / 2) + 1) / 2) is 0.7071. Row 32 mirrors row 31, near the centre.
  EXPECT_NEAR(dst(16, 32), 141, 1);
  EXPECT_NEAR(dst(31, 31), 200, 1);
}

TEST(FftFilter, NotchTakesPeaksAndTheMeanOut) {
  const int side = 64;
  const Picture src = scene(side, 30);
  const Picture dst = filtered(src, false, Filter::notch_peaks, {20});
  // Without its mean and its waves little of the image is left above 0.
  double left = 0, before = 0;
  for (int y = 0; y < side; ++y)
    for (int x = 0; x < side; ++x) {
      left += dst(x, y);
      before += src(x, y);
    }
  EXPECT_LT(left / before, 0.1);
}

TEST(FftFilter, EmphasisSaturatesWhatItFinds) {
  const Picture src = scene(64, 30);
  const Picture dst = filtered(src, true, Filter::emphasise_peaks, {9, 2, 7});
  int white = 0, black = 0;
  for (int y = 0; y < 64; ++y)
    for (int x = 0; x < 64; ++x) {
      white += dst(x, y) == 255;
      black += dst(x, y) == 0;
    }
  EXPECT_GT(white, 500) << "peaks are multiplied by 255";
  EXPECT_GT(black, 500) << "without a mean half of a wave is below 0";
  for (int repetition = 0; repetition < 3; ++repetition)
    EXPECT_TRUE(same(dst, filtered(src, true, Filter::emphasise_peaks, {9.9f, 2, 7.9f}))) << "sizes are truncated";
}

/// The image of the spectrum of `src` under `weight(x, y)`, x counting complex columns of the packed spectrum; column 1
/// of the packed spectrum is kept whatever the weight.
template <class Weight>
Picture weighted(Picture src, Weight weight) {
  const int side = src.width();
  zeb::MatBuffer<float> image(side, side), spectrum(side, side);
  for (int y = 0; y < side; ++y)
    for (int x = 0; x < side; ++x) image.at(y, x) = src(x, y);
  zeb::fourier_transform(spectrum, image);
  for (int y = 0; y < side; ++y)
    for (int column = 0; column < side; ++column)
      if (column != 1) spectrum.at(y, column) *= weight(column / 2, y);
  Picture dst(side, src.stride(), side, 77);
  auto dst_mat = dst.mat();
  zeb::inverse_fourier_transform(dst_mat, spectrum);
  return dst;
}

TEST(FftFilter, MasksNeverReachTheHighestColumnFrequency) {
  Picture src = scene(32, 20);
  for (int y = 0; y < 32; ++y)
    for (int x = 0; x < 32; x += 2) src(x, y) = static_cast<unsigned char>(src(x, y) + 40);
  const Picture stripes = filtered(src, false, Filter::notch_peaks, {-1});
  EXPECT_TRUE(same(weighted(src, [](int, int) { return 0.0f; }), stripes)) << "all is a peak";
  EXPECT_NEAR(stripes(0, 16), 20, 3);
  EXPECT_EQ(stripes(1, 16), 0);
}

TEST(FftFilter, EmphasisKeepsTheLowestFrequenciesButTheOrigin) {
  // Up to a radius of 5 the closing with its threshold of 0 takes everything for structure.
  const Picture src = scene(32, 20);
  const auto weight = [](int x, int y) { return x + y == 0 ? 0.0f : x < 8 && y < 8 ? 1.0f : 255.0f; };
  EXPECT_TRUE(same(weighted(src, weight), filtered(src, false, Filter::emphasise_peaks, {9, 2, 5})));
}

TEST(FftFilterDeathTest, ViolatedRequirementsEndTheProcess) {
  Picture p16(16, 16, 16), p8(8, 16, 8), p6(6, 16, 6), p1(1, 16, 1), dst(16, 17, 16);
  const auto run = [](Picture& to, Picture& from, Filter filter, std::vector<float> params) {
    auto dst_mat = to.mat(), src_mat = from.mat();
    zeb::fft_filter(dst_mat, src_mat, false, filter, std::move(params));
  };
  EXPECT_DEATH(run(dst, p16, Filter::none, {}), "") << "another stride";
  EXPECT_DEATH(run(p8, p16, Filter::none, {}), "") << "another size";
  EXPECT_DEATH(run(p16, p16, Filter::notch_peaks, {1, 2}), "");
  EXPECT_DEATH(run(p16, p16, static_cast<Filter>(-1), {1}), "");
  EXPECT_DEATH(run(p16, p16, Filter::notch_peaks, {}), "") << "it needs its parameter";
  EXPECT_DEATH(run(p16, p16, Filter::emphasise_peaks, {}), "");
  EXPECT_DEATH(run(p6, p6, Filter::flat, {}), "") << "no power of two";
  EXPECT_DEATH(run(p1, p1, Filter::flat, {}), "") << "half the spectrum has no column";
  EXPECT_DEATH(run(p8, p8, Filter::emphasise_peaks, {3, 1, 2}), "") << "half the spectrum has four columns";
  run(p6, p6, Filter::none, {});
  run(p16, p16, Filter::emphasise_peaks, {3, 1, 2});
}

TEST(FftFilter, ThrowsWithoutMemory) {
  Picture src = scene(16, 10), dst(16, 21, 16, 77);
  const Picture untouched(dst);
  auto dst_mat = dst.mat(), src_mat = src.mat();
  int failures = 0;
  for (int granted = 0;; ++granted, ++failures) {
    const zeb::testing::FailingAllocations failing(granted);
    try {
      zeb::fft_filter(dst_mat, src_mat, true, Filter::notch_peaks, {3});
      break;
    } catch (const std::bad_alloc& error) {
      EXPECT_STREQ(error.what(), "bad allocation");
      EXPECT_EQ(dst, untouched);
    }
  }
  EXPECT_GE(failures, 6);
}

}  // namespace
