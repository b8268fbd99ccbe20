#include <gtest/gtest.h>

#include <cmath>

#include "tests/support/picture.h"
#include "zeb/frequency.h"

using zeb::fft::Filter;
using zeb::testing::for_each_pixel;
using zeb::testing::Picture;
using zeb::testing::same;
using Floats = zeb::MatBuffer<float>;

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
  return p.fill([=](int x, int y) {
    const double waves = std::cos(2 * M_PI * 8 * x / side) + std::cos(2 * M_PI * (5 * x + 12 * y) / side);
    return std::lround(60 + 60.0 * y / side + double{wave} * waves);
  });
}

/// `src` under the weights that `weight(spectrum)` makes of its packed spectrum, one for each pair of columns; column 1
/// is no half of a pair and is kept.
template <class Weights>
Picture weighted(Picture src, Weights weights) {
  const int side = src.width();
  Floats image(side, side), spectrum(side, side);
  for_each_pixel(side, side, [&](int x, int y) { image.at(y, x) = src(x, y); });
  zeb::fourier_transform(spectrum, image);
  const Floats weight = weights(spectrum);
  for_each_pixel(side, side, [&](int x, int y) { spectrum.at(y, x) *= x == 1 ? 1.0f : weight.at(y, x / 2); });
  Picture dst(side, src.stride(), side, 77);
  auto dst_mat = dst.mat();
  zeb::inverse_fourier_transform(dst_mat, spectrum);
  return dst;
}

TEST(FftFilter, NoneAndFlatGiveTheImageBack) {
  std::mt19937 engine(1);
  const Picture src = Picture::random(engine, 5, 9, 3), dst = filtered(src, true, Filter::none, {});
  for_each_pixel(9, 3, [&](int x, int y) { EXPECT_EQ(dst(x, y), src(x, y)) << "with its padding"; });
  for (const int side : {2, 4, 32, 128}) {
    const Picture square = scene(side, 20);
    EXPECT_TRUE(same(square, filtered(square, false, Filter::flat, {1, 2}))) << side;
    EXPECT_TRUE(same(square, filtered(square, false, static_cast<Filter>(5), {}))) << side;
  }
}

TEST(FftFilter, WindowFallsFromTheCentreToTheRim) {
  const Picture flat(64, 64, 64, 200), dst = filtered(flat, true, Filter::flat, {});
  for (int y = 0; y < 64; ++y)
    for (int x = 0; x < 64; ++x) {
      // Each quarter mirrors the upper left one.
      const double u = std::min(x, 63 - x) / 32.0 - 1, v = std::min(y, 63 - y) / 32.0 - 1, r = std::hypot(u, v);
      EXPECT_NEAR(dst(x, y), r < 1 ? 200 * std::cos(r * M_PI / 2) : 0, 0.6) << x << ", " << y;
    }
}

TEST(FftFilter, NotchTakesWhatIsAboveTheMeanOutWithItsSurroundings) {
  for (const float factor : {-1.0f, 4.0f, 20.0f, 1e9f}) {
    const auto holes = [factor](const Floats& spectrum) {
      const int rows = spectrum.height, columns = rows / 2;
      Floats weight(columns, rows), magnitude(columns, rows);
      float sum = 0.0f;
      for_each_pixel(columns, rows, [&](int x, int y) {
        weight.at(y, x) = 1.0f;
        magnitude.at(y, x) = std::hypot(spectrum.at(y, 2 * x), spectrum.at(y, 2 * x + 1));
        sum += magnitude.at(y, x);
      });
      for_each_pixel(columns, rows, [&](int x, int y) {
        if (magnitude.at(y, x) <= factor * sum / static_cast<float>(rows * columns)) return;
        for (int v = std::max(y - 2, 0); v <= std::min(y + 2, rows - 1); ++v)
          for (int u = std::max(x - 2, 0); u <= std::min(x + 2, columns - 1); ++u) weight.at(v, u) = 0.0f;
      });
      return weight;
    };
    for (const int side : {8, 32, 64}) {
      const Picture src = scene(side, 30);
      EXPECT_TRUE(same(weighted(src, holes), filtered(src, false, Filter::notch_peaks, {factor}))) << factor;
    }
  }
}

TEST(FftFilter, EmphasisKeepsTheLowestFrequenciesButTheOrigin) {
  // Up to a radius of 5 the closing with its threshold of 0 takes everything for structure.
  const auto emphasis = [](const Floats& spectrum) {
    Floats weight(spectrum.width / 2, spectrum.height);
    for_each_pixel(weight.width, weight.height, [&](int x, int y) {
      weight.at(y, x) = x + y == 0 ? 0.0f : x < 8 && y < 8 ? 1.0f : 255.0f;
    });
    return weight;
  };
  const Picture src = scene(32, 20), large = scene(64, 30);
  EXPECT_TRUE(same(weighted(src, emphasis), filtered(src, false, Filter::emphasise_peaks, {9, 2, 5})));

  const Picture dst = filtered(large, true, Filter::emphasise_peaks, {9, 2, 7});
  EXPECT_FALSE(same(dst, filtered(large, true, Filter::emphasise_peaks, {9, 2, 5}))) << "beyond, peaks alone";
  EXPECT_TRUE(same(dst, filtered(large, true, Filter::emphasise_peaks, {9.9f, 2, 7.9f}))) << "sizes are truncated";
}

}  // namespace
