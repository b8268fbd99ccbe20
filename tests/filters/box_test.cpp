#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cmath>
#include <numeric>
#include <vector>

#include "tests/support/picture.h"
#include "tests/support/random_geometry.h"
#include "zeb/filters.h"

using namespace zeb::testing;

namespace {

enum class Kind { low_pass, high_pass, increase };

/// Sums over the columns of a row: of grey values, or of the pixels that take part.
template <class Sum>
struct Running {
  std::vector<Sum> columns;
  Sum row{};

  Sum at(int x) const { return columns[static_cast<std::size_t>(x)]; }

  void start(int up, int down) {
    row = Sum{};
    for (int i = -up; i < down; ++i) row += at(std::max(i, 0));
  }
  Sum step(int entering, int leaving) { return row = row + at(entering) - at(leaving); }

  /// Four columns at once, in the order of a packed prefix sum.
  void step_of_four(int x, int up, int down, float (&sums)[4]) {
    Sum d[4], pairs[4];
    for (int i = 0; i < 4; ++i) d[i] = at(x + down + i) - at(x - up + i);
    for (int i = 0; i < 4; ++i) pairs[i] = i >= 1 ? d[i] + d[i - 1] : d[i];
    Sum last{};
    for (int i = 0; i < 4; ++i)
      sums[i] = static_cast<float>(last = (i >= 2 ? pairs[i] + pairs[i - 2] : pairs[i]) + row);
    row = last;
  }
};

unsigned char clamped(std::int64_t v) { return static_cast<unsigned char>(std::clamp<std::int64_t>(v, 0, 255)); }

/// One call of one of the six forms, and what it has to give, step by step and without any packed code.
struct Call {
  Kind kind;
  bool packed;
  Picture* mask;
  std::vector<unsigned char> table;
  int filter_width, filter_height, offset;

  /// Bits of the stride above the 16th count for nothing.
  void run(Picture& dst, Picture& src, int excess_stride = 0) {
    const unsigned char* m = mask != nullptr ? mask->data() : nullptr;
    const int w = src.width(), s = src.stride() + excess_stride, h = src.height(), fw = filter_width,
              fh = filter_height;
    if (kind == Kind::low_pass)
      (packed ? zeb::vMMBM_LPFilter : zeb::vBM_LPFilter)(dst.data(), src.data(), m, w, s, h, fw, fh);
    else if (kind == Kind::high_pass)
      (packed ? zeb::vMMBM_HPFilter : zeb::vBM_HPFilter)(dst.data(), src.data(), m, w, s, h, fw, fh, offset);
    else
      (packed ? zeb::vMMBM_LPIncrease : zeb::vBM_LPIncrease)(dst.data(), src.data(), table.data(), w, s, h, fw, fh, 1,
                                                             1);
  }

  Picture expected(const Picture& dst, const Picture& src) const {
    return packed && kind != Kind::increase ? expected_with<float>(dst, src) : expected_with<int>(dst, src);
  }

  template <class Sum>
  Picture expected_with(Picture dst, const Picture& src) const {
    const int w = src.width(), h = src.height();
    if ((w < 2 && h < 2) || h < 1) return dst;
    const int fw = std::max(std::min(w, filter_width), 1), fh = std::max(std::min(h, filter_height), 1);
    const int up_w = (fw + 1) >> 1, down_w = fw >> 1, up_h = (fh + 1) >> 1, down_h = fh >> 1, area = fw * fh;
    const int first_packed = (up_w + 3) & ~3, end_packed = (w - up_w) & ~3;
    const auto columns = static_cast<std::size_t>(std::max(src.stride(), 4));
    Running<Sum> sum{std::vector<Sum>(columns)}, count{std::vector<Sum>(columns)};
    const auto add_row = [&](int y, int sign) {
      y = std::clamp(y, 0, h - 1);
      for (int x = 0; x < w; ++x) {
        if (mask != nullptr && (*mask)(x, y) != 0) continue;
        const int grey = table.empty() ? src(x, y) : table[src(x, y)];
        sum.columns[static_cast<std::size_t>(x)] += static_cast<Sum>(sign * grey);
        count.columns[static_cast<std::size_t>(x)] += static_cast<Sum>(sign);
      }
    };
    for (int r = -up_h; r < down_h; ++r) add_row(r, 1);
    for (int y = 0; y < h; ++y) {
      sum.start(up_w, down_w);
      count.start(up_w, down_w);
      int x = 0;
      while (x < w || (packed && x < first_packed)) {
        if (packed && first_packed <= x && x < end_packed) {
          float sums[4], counts[4];
          sum.step_of_four(x, up_w, down_w, sums);
          count.step_of_four(x, up_w, down_w, counts);
          for (int lane = 0; lane < 4; ++lane, ++x) {
            float v = sums[lane] / (mask != nullptr ? std::max(1.0f, counts[lane]) : static_cast<float>(area));
            if (kind == Kind::high_pass)
              v = std::max(0.0f, std::min(255.1f, static_cast<float>(src(x, y)) + static_cast<float>(offset) - v));
            dst(x, y) = clamped(static_cast<int>(std::nearbyint(v)));
          }
          continue;
        }
        const int entering = std::min(x + down_w, w - 1), leaving = std::max(x - up_w, 0);
        const Sum s = sum.step(entering, leaving), n = count.step(entering, leaving);
        const Sum divisor = mask != nullptr ? n : static_cast<Sum>(area);
        const std::int64_t c = packed || mask != nullptr ? offset : 128;
        if (divisor >= 1) {
          const int mean = static_cast<int>(s / divisor);
          dst(x, y) = kind == Kind::high_pass ? clamped(src(x, y) - mean + c) : static_cast<unsigned char>(mean);
        } else if (!packed) {
          dst(x, y) = static_cast<unsigned char>(kind == Kind::high_pass ? c : 0);
        }
        ++x;
      }
      add_row(y + down_h, 1);
      add_row(y - up_h, -1);
    }
    return dst;
  }
};

TEST(Box, AllSixFormsOnAnyLayout) {
  for (const int widest : {12, 200})
    for_each_trial(1500, widest, widest == 12 ? 300 : 20, [](Trial t) {
      const auto kind = static_cast<Kind>(pick(t.engine, 0, 2));
      const double excluded[] = {0.0, 0.1, 0.9, 0.99, 1.0};
      const int offsets[] = {128, 128, pick(t.engine, -600, 600), INT_MIN, INT_MAX}, largest = t.number % 2 ? 9 : 250;
      Picture mask = Picture::random_binary(t.engine, t.g.width, t.g.stride, t.g.height, excluded[t.number % 5]);
      mask.fill([&](int x, int y) { return mask(x, y) & pick(t.engine, 1, 255); });
      Call call{kind,
                pick(t.engine, 0, 1) == 1,
                kind != Kind::increase && pick(t.engine, 0, 1) == 1 ? &mask : nullptr,
                std::vector<unsigned char>(kind == Kind::increase ? 256 : 0),
                pick(t.engine, -1, largest),
                pick(t.engine, -1, largest),
                offsets[pick(t.engine, 0, 4)]};
      for (auto& entry : call.table) entry = static_cast<unsigned char>(t.engine());
      Picture expected = call.expected(t.dst, t.src);
      // The first four columns of a narrow image may pass a tight stride into the next row, but not the last one's.
      const std::ptrdiff_t size = std::ptrdiff_t{t.g.stride} * t.g.height;
      std::copy_n(t.dst.data() + size, 4, expected.data() + size);
      call.run(t.dst, t.src, 65536 * pick(t.engine, 0, 1));
      call.run(t.dst, t.src, 32768 - t.g.stride);  // negative in 16 bits: does nothing
      ASSERT_TRUE(same(expected, t.dst)) << "window " << call.filter_width << " x " << call.filter_height;
    });
}

TEST(Box, WindowsTooLargeForExactFloatSumsKeepTheirOrder) {
  std::mt19937 engine(2);
  Picture src(423, 430, 301), none(423, 430, 301);
  src.fill([&](int, int) { return pick(engine, 0xF0, 0xFF); });
  for (const Kind kind : {Kind::low_pass, Kind::high_pass})
    for (Picture* mask : {static_cast<Picture*>(nullptr), &none}) {
      Call call{kind, true, mask, {}, 371, 299, 7};
      Picture dst(423, 430, 301);
      const Picture expected = call.expected(dst, src), exact = call.expected_with<int>(dst, src);
      call.run(dst, src);
      EXPECT_FALSE(expected == exact) << "an image that does not show the rounding";
      EXPECT_TRUE(same(expected, dst));
    }
}

TEST(Box, WindowLiesOneRowAboveCentre) {
  Picture dot(9, 9, 9), dst(9, 9, 9), expected(9, 9, 9);
  for (const int size : {2, 3}) {
    dot(4, 4) = static_cast<unsigned char>(size * size);
    auto out = dst.mat();
    zeb::lp_filter(out, dot.mat(), size, size);
    const int last_x = size == 2 ? 4 : 5, last_y = size == 2 ? 5 : 6;
    expected.fill([&](int x, int y) { return x >= 3 && x <= last_x && y >= 4 && y <= last_y; });
    EXPECT_EQ(dst, expected) << size;
  }
  const auto column = Picture::grey({{10}, {20}, {30}});
  Picture shifted(1, 1, 3);
  zeb::vBM_LPFilter(shifted.data(), column.data(), nullptr, 1, 1, 3, 0, -5);
  EXPECT_EQ(shifted, Picture::grey({{10}, {10}, {20}})) << "a height of 1 is the row above";
}

/// `numerator / denominator` to nearest, ties to even, limited to 0..255.
int rounded_quotient(int numerator, int denominator) {
  if (numerator < 0) return 0;
  const int down = numerator / denominator, twice_rest = 2 * (numerator % denominator);
  const bool up = twice_rest > denominator || (twice_rest == denominator && down % 2 == 1);
  return std::min(down + (up ? 1 : 0), 255);
}

TEST(Box, RoundsExactlyAtAndBesideTies) {
  std::mt19937 engine(6);
  const int width = 48;
  for (const int area : {3, 4, 6, 15, 254, 256, 257, 258, 259, 1000, 2187, 4097, 8190, 8191, 8192, 8193, 8194, 20000}) {
    // One column of the window, as tall as the image: in row (area + 1) / 2 it covers the image.
    Picture src(width, width, area), low(width, width, area), high(width, width, area);
    int sums[width];
    for (int& sum : sums) sum = std::max(0, (2 * pick(engine, 0, 254) + 1) * area / 2 + pick(engine, -1, 1));
    src.fill([&](int x, int y) { return sums[x] / area + (y < sums[x] % area ? 1 : 0); });
    const int y = (area + 1) / 2, offset = pick(engine, 0, 300);
    zeb::vMMBM_LPFilter(low.data(), src.data(), nullptr, width, width, area, 1, area);
    auto out = high.mat();
    zeb::hp_filter(out, src.mat(), 1, area, offset);
    for (int x = 4; x < width - 4; ++x) {
      ASSERT_EQ(low(x, y), rounded_quotient(sums[x], area)) << sums[x] << " / " << area;
      ASSERT_EQ(high(x, y), rounded_quotient((src(x, y) + offset) * area - sums[x], area)) << sums[x] << " / " << area;
    }
    zeb::hp_filter(out, src.mat(), 1, area, -256);
    EXPECT_EQ(high, Picture(width, width, area)) << "no pixel is as bright, " << area;
  }
}

TEST(Box, MaskThatExcludesEverything) {
  Picture src(20, 20, 1, 50), mask(20, 20, 1, 1), dst(20, 20, 1, 99), expected(dst);
  auto out = dst.mat();
  // Windows of 5: columns 4 to 15 are packed. An offset of 300 saturates there and keeps its low byte in scalar code.
  zeb::lp_filter(out, src.mat(), mask.mat(), 5, 3);
  EXPECT_EQ(dst, expected.fill([](int x, int) { return x < 4 || x >= 16 ? 99 : 0; }));
  zeb::hp_filter(out, src.mat(), mask.mat(), 5, 3, 300);
  EXPECT_EQ(dst, expected.fill([](int x, int) { return x < 4 || x >= 16 ? 99 : 255; }));
  zeb::vBM_HPFilter(dst.data(), src.data(), mask.data(), 20, 20, 1, 5, 3, 300);
  EXPECT_EQ(dst, Picture(20, 20, 1, 44));
}

TEST(Box, NarrowImagesAreWrittenToColumnThree) {
  Picture src = Picture::grey({{8, 12}, {8, 12}}, 4), dst(2, 4, 2);
  zeb::vMMBM_LPFilter(dst.data(), src.data(), nullptr, 2, 4, 2, 2, 1);
  // The sum moves on with the last column entering: 20, 24, 24 + 12 - 12, and then nothing is there to leave.
  EXPECT_EQ(std::vector<int>(dst.data(), dst.data() + 8), (std::vector<int>{10, 12, 12, 18, 10, 12, 12, 18}));
}

std::vector<int> contrast_table(float gain, int half_range) {
  unsigned char table[256];
  std::fill_n(table, 256, 0xEE);
  zeb::iInitVideoNormLookUpTP(table, gain, static_cast<short>(half_range));
  return std::vector<int>(table, table + 256);
}

TEST(ContrastTable, LiteralTables) {
  std::vector<int> identity(256), two(256), four(256);
  std::iota(identity.begin(), identity.end(), 0);
  EXPECT_EQ(contrast_table(0.09f, 0), identity);
  EXPECT_EQ(contrast_table(1.0f, 128), identity) << "the curve is i + 128.1";
  for (int k = 0; k < 256; ++k) {
    const auto entry = static_cast<std::size_t>(k);
    two[entry] = k == 0 ? 127 : 128;
    // n = 2, gain 1: a = 126 / 8 = 15.75, c(-2) = -126 - 2 + 128.1 = 0.1, c(-1) = 111.35, c(0) = 128.1.
    four[entry] = k <= 0 ? 126 : k <= 111 ? 127 : k <= 128 ? 128 : 129;
  }
  for (const int half_range : {-7, 0, 1}) EXPECT_EQ(contrast_table(1.0f, half_range), two) << half_range;
  EXPECT_EQ(contrast_table(1.0f, 2), four);
  EXPECT_EQ(contrast_table(2.0f, 129), contrast_table(2.0f, 128));
  EXPECT_EQ(contrast_table(0.01f, 5), contrast_table(0.1f, 5));
}

TEST(ContrastTable, IsMadeInSinglePrecision) {
  // In exact arithmetic the curve meets these grey values. Rounded to single precision after each step it does so too,
  // or ends above; in double precision, or with the 128.1 added in double precision, it ends below.
  EXPECT_EQ(contrast_table(2.5f, 70)[30], 128 - 63);
  EXPECT_EQ(contrast_table(2.5f, 66)[154], 128 + 33);
  EXPECT_EQ(contrast_table(7.5f, 2)[112], 128 - 1);
}

TEST(ContrastTable, IsMadeByTheFilterWhereNoneIsGiven) {
  std::mt19937 engine(5);
  Picture src = Picture::random(engine, 50, 64, 20);
  unsigned char table[256] = {};
  zeb::iInitVideoNormLookUpTP(table, 2.0f, 90);
  for (auto filter : {zeb::vBM_LPIncrease, zeb::vMMBM_LPIncrease}) {
    Picture dst(50, 64, 20), expected(50, 64, 20);
    filter(expected.data(), src.data(), table, 50, 64, 20, 3, 5, 0.0f, 0);
    filter(dst.data(), src.data(), nullptr, 50, 64, 20, 3, 5, 2.0f, 90);
    EXPECT_TRUE(same(expected, dst));
  }
}

}  // namespace
