#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstring>
#include <numeric>
#include <vector>

#include "tests/support/allocation.h"
#include "tests/support/picture.h"
#include "tests/support/random_geometry.h"
#include "zeb/filters.h"

using zeb::testing::FailingAllocations;
using zeb::testing::Geometry;
using zeb::testing::pick;
using zeb::testing::Picture;
using zeb::testing::same;

namespace {

enum class Kind { low_pass, high_pass, increase };

/// One call of one of the six forms, and what it has to give, step by step and without any packed code.
struct Call {
  Kind kind;
  bool packed;
  Picture* mask;
  std::vector<unsigned char> lut;
  int filter_width, filter_height, offset;

  void run(Picture& dst, Picture& src) {
    const unsigned char* m = mask != nullptr ? mask->data() : nullptr;
    const int w = src.width(), s = src.stride(), h = src.height(), fw = filter_width, fh = filter_height;
    if (kind == Kind::low_pass)
      (packed ? zeb::vMMBM_LPFilter : zeb::vBM_LPFilter)(dst.data(), src.data(), m, w, s, h, fw, fh);
    else if (kind == Kind::high_pass)
      (packed ? zeb::vMMBM_HPFilter : zeb::vBM_HPFilter)(dst.data(), src.data(), m, w, s, h, fw, fh, offset);
    else
      (packed ? zeb::vMMBM_LPIncrease : zeb::vBM_LPIncrease)(dst.data(), src.data(), lut.data(), w, s, h, fw, fh, 1.0f,
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
    const auto columns = static_cast<std::size_t>(std::max(src.stride(), 4));
    std::vector<Sum> column_sum(columns), column_count(columns);
    const auto add_row = [&](int y, int sign) {
      y = std::min(std::max(y, 0), h - 1);
      for (int x = 0; x < w; ++x) {
        if (mask != nullptr && (*mask)(x, y) != 0) continue;
        const int grey = lut.empty() ? src(x, y) : lut[src(x, y)];
        column_sum[static_cast<std::size_t>(x)] += static_cast<Sum>(sign * grey);
        column_count[static_cast<std::size_t>(x)] += static_cast<Sum>(sign);
      }
    };
    for (int r = -up_h; r < down_h; ++r) add_row(r, 1);

    for (int y = 0; y < h; ++y) {
      Sum row_sum{}, row_count{};
      for (int i = -up_w; i < down_w; ++i) {
        row_sum += column_sum[static_cast<std::size_t>(std::max(i, 0))];
        row_count += column_count[static_cast<std::size_t>(std::max(i, 0))];
      }
      const int first_packed = (up_w + 3) & ~3, end_packed = (w - up_w) & ~3;
      int x = 0;
      while (x < w || (packed && x < first_packed)) {
        if (packed && first_packed <= x && x < end_packed) {
          float lane_sum[4], lane_count[4];
          step_of_four(column_sum, row_sum, x, up_w, down_w,
                       [&](int lane, Sum sum) { lane_sum[lane] = static_cast<float>(sum); });
          step_of_four(column_count, row_count, x, up_w, down_w,
                       [&](int lane, Sum sum) { lane_count[lane] = static_cast<float>(sum); });
          for (int lane = 0; lane < 4; ++lane) {
            const float divisor = mask != nullptr ? std::max(1.0f, lane_count[lane]) : static_cast<float>(area);
            float v = lane_sum[lane] / divisor;
            if (kind == Kind::high_pass)
              v = std::max(0.0f,
                           std::min(255.1f, static_cast<float>(src(x + lane, y)) + static_cast<float>(offset) - v));
            dst(x + lane, y) = clamped(static_cast<int>(std::nearbyint(v)));
          }
          x += 4;
          continue;
        }
        const auto in = static_cast<std::size_t>(std::min(x + down_w, w - 1));
        const auto out = static_cast<std::size_t>(std::max(x - up_w, 0));
        row_sum = row_sum + column_sum[in] - column_sum[out];
        row_count = row_count + column_count[in] - column_count[out];
        const Sum divisor = mask != nullptr ? row_count : static_cast<Sum>(area);
        const int c = packed || mask != nullptr ? offset : 128;
        if (divisor >= 1) {
          const int mean = static_cast<int>(row_sum / divisor);
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

  static unsigned char clamped(int v) { return static_cast<unsigned char>(std::clamp(v, 0, 255)); }

  template <class Sum, class Take>
  static void step_of_four(const std::vector<Sum>& columns, Sum& running, int x, int up, int down, Take take) {
    Sum d[4], pairs[4];
    for (int i = 0; i < 4; ++i)
      d[i] = columns[static_cast<std::size_t>(x + down + i)] - columns[static_cast<std::size_t>(x - up + i)];
    for (int i = 0; i < 4; ++i) pairs[i] = i >= 1 ? d[i] + d[i - 1] : d[i];
    Sum last{};
    for (int i = 0; i < 4; ++i) {
      last = (i >= 2 ? pairs[i] + pairs[i - 2] : pairs[i]) + running;
      take(i, last);
    }
    running = last;
  }
};

std::vector<unsigned char> random_table(std::mt19937& engine) {
  std::vector<unsigned char> table(256);
  for (auto& entry : table) entry = static_cast<unsigned char>(engine());
  return table;
}

TEST(Box, AllSixFormsOnAnyLayout) {
  std::mt19937 engine(1);
  for (int i = 0; i < 3000; ++i) {
    auto g = Geometry::random(engine, i % 3 == 0 ? 12 : 200, i % 50 == 0 ? 300 : 20);
    const auto kind = static_cast<Kind>(pick(engine, 0, 2));
    const double excluded[] = {0.0, 0.1, 0.9, 0.99, 1.0};
    Picture mask = Picture::random_binary(engine, g.width, g.stride, g.height, excluded[pick(engine, 0, 4)]);
    for (int y = 0; y < g.height; ++y)
      if (mask(0, y) != 0) mask(0, y) = static_cast<unsigned char>(pick(engine, 1, 255));
    const int largest = i % 2 == 0 ? 9 : 250;
    Call call{kind,
              pick(engine, 0, 1) == 1,
              kind != Kind::increase && pick(engine, 0, 1) == 1 ? &mask : nullptr,
              kind == Kind::increase ? random_table(engine) : std::vector<unsigned char>(),
              pick(engine, -1, largest),
              pick(engine, -1, largest),
              pick(engine, 0, 3) == 0 ? pick(engine, -600, 600) : 128};
    Picture src = Picture::random(engine, g.width, g.stride, g.height, g.offset);
    Picture dst = Picture::random(engine, g.width, g.stride, g.height);
    Picture expected = call.expected(dst, src);
    // The first four columns of a narrow image may pass a tight stride into the next row, but not the last one's.
    const std::ptrdiff_t size = std::ptrdiff_t{g.stride} * g.height;
    std::copy_n(dst.data() + size, 4, expected.data() + size);
    call.run(dst, src);
    ASSERT_TRUE(same(expected, dst)) << g << ", kind " << static_cast<int>(kind) << (call.packed ? ", packed" : "")
                                     << (call.mask != nullptr ? ", masked" : "") << ", window " << call.filter_width
                                     << " x " << call.filter_height << ", offset " << call.offset;
  }
}

TEST(Box, WindowsTooLargeForExactFloatSumsKeepTheirOrder) {
  std::mt19937 engine(2);
  Picture src = Picture::random(engine, 423, 430, 301), none(423, 430, 301);
  for (int y = 0; y < src.height(); ++y)
    for (int x = 0; x < src.width(); ++x) src(x, y) |= 0xF0;
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
  Picture dot(9, 9, 9), dst(9, 9, 9);
  dot(4, 4) = 9;
  zeb::vBM_LPFilter(dst.data(), dot.data(), nullptr, 9, 9, 9, 3, 3);
  for (int y = 0; y < 9; ++y)
    for (int x = 0; x < 9; ++x) EXPECT_EQ(dst(x, y), x >= 3 && x <= 5 && y >= 4 && y <= 6 ? 1 : 0) << x << ' ' << y;

  dot(4, 4) = 4;
  zeb::vBM_LPFilter(dst.data(), dot.data(), nullptr, 9, 9, 9, 2, 2);
  for (int y = 0; y < 9; ++y)
    for (int x = 0; x < 9; ++x) EXPECT_EQ(dst(x, y), x >= 3 && x <= 4 && y >= 4 && y <= 5 ? 1 : 0) << x << ' ' << y;

  const auto column = Picture::grey({{10}, {20}, {30}});
  Picture shifted(1, 1, 3);
  zeb::vBM_LPFilter(shifted.data(), column.data(), nullptr, 1, 1, 3, 0, -5);
  EXPECT_EQ(shifted, Picture::grey({{10}, {10}, {20}})) << "a height of 1 is the row above";
}

TEST(Box, RoundsToEvenBetweenTheEndsAndTruncatesThere) {
  // Rows of 10 and 11, or of 11 and 12: windows of 1 by 2 have means of x.5 in the second row.
  for (const int low : {10, 11}) {
    Picture three(16, 16, 3, static_cast<unsigned char>(low));
    for (int x = 0; x < 16; ++x) three(x, 1) = three(x, 2) = static_cast<unsigned char>(low + 1);
    Picture result(16, 16, 3);
    zeb::vMMBM_LPFilter(result.data(), three.data(), nullptr, 16, 16, 3, 1, 2);
    for (int x = 0; x < 16; ++x)
      EXPECT_EQ(result(x, 1), x < 4 || x >= 12 ? low : 10 + 2 * (low - 10)) << low << " at " << x;
    zeb::vMMBM_HPFilter(result.data(), three.data(), nullptr, 16, 16, 3, 1, 2, 100);
    // 100.5 goes to 100 in between; the ends subtract the truncated mean.
    for (int x = 0; x < 16; ++x) EXPECT_EQ(result(x, 1), x < 4 || x >= 12 ? 101 : 100) << low << " at " << x;
  }
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
  for (const int area :
       {2, 3, 4, 6, 15, 254, 256, 257, 258, 259, 1000, 2187, 4097, 8190, 8191, 8192, 8193, 8194, 20000}) {
    // One column of the window, as tall as the image: in row (area + 1) / 2 it covers the image.
    Picture src(width, width, area), low(width, width, area), high(width, width, area);
    int sums[width];
    for (int x = 0; x < width; ++x) {
      sums[x] = std::max(0, (2 * pick(engine, 0, 254) + 1) * area / 2 + pick(engine, -1, 1));
      for (int y = 0; y < area; ++y)
        src(x, y) = static_cast<unsigned char>(sums[x] / area + (y < sums[x] % area ? 1 : 0));
    }
    const int y = (area + 1) / 2, offset = pick(engine, 0, 300);
    if (y >= area) continue;
    zeb::vMMBM_LPFilter(low.data(), src.data(), nullptr, width, width, area, 1, area);
    zeb::vMMBM_HPFilter(high.data(), src.data(), nullptr, width, width, area, 1, area, offset);
    for (int x = 4; x < width - 4; ++x) {
      ASSERT_EQ(low(x, y), rounded_quotient(sums[x], area)) << sums[x] << " / " << area;
      ASSERT_EQ(high(x, y), rounded_quotient((src(x, y) + offset) * area - sums[x], area)) << sums[x] << " / " << area;
    }
  }
}

TEST(Box, ConstantImages) {
  Picture src(40, 48, 7, 77), dst(40, 48, 7);
  const auto expect_all = [&](int value) {
    EXPECT_EQ(dst, Picture(40, 48, 7, static_cast<unsigned char>(value)));
    dst = Picture(40, 48, 7);
  };
  auto out = dst.mat();
  const auto in = src.mat();
  zeb::lp_filter(out, in, 5, 100);
  expect_all(77);
  out = dst.mat();
  zeb::hp_filter(out, in, 100, 4, 30);
  expect_all(30);
  zeb::vBM_HPFilter(dst.data(), src.data(), nullptr, 40, 48, 7, 5, 5, 30);
  expect_all(128);
}

TEST(Box, MaskThatExcludesEverything) {
  Picture src(20, 20, 3, 50);
  const Picture mask(20, 20, 3, 1), before(20, 20, 3, 99);
  // Windows of 5: columns 4 to 15 are packed. An offset of 300 saturates there and keeps its low byte in scalar code.
  const auto expect = [](const Picture& dst, int ends, int between) {
    for (int y = 0; y < 3; ++y)
      for (int x = 0; x < 20; ++x) EXPECT_EQ(dst(x, y), x < 4 || x >= 16 ? ends : between) << x;
  };
  Picture dst = before;
  auto out = dst.mat();
  zeb::lp_filter(out, src.mat(), Picture(mask).mat(), 5, 3);
  expect(dst, 99, 0);
  dst = before;
  out = dst.mat();
  zeb::hp_filter(out, src.mat(), Picture(mask).mat(), 5, 3, 300);
  expect(dst, 99, 255);
  zeb::vBM_LPFilter(dst.data(), src.data(), mask.data(), 20, 20, 3, 5, 3);
  expect(dst, 0, 0);
  zeb::vBM_HPFilter(dst.data(), src.data(), mask.data(), 20, 20, 3, 5, 3, 300);
  expect(dst, 44, 44);
}

TEST(Box, ExtremeOffsetsSaturate) {
  std::mt19937 engine(8);
  Picture src = Picture::random(engine, 24, 24, 6), mask(24, 24, 6);
  for (Picture* m : {&mask, static_cast<Picture*>(nullptr)})
    for (const bool packed : {false, true}) {
      if (!packed && m == nullptr) continue;  // always 128
      for (const int offset : {INT_MIN, INT_MAX}) {
        Picture dst(24, 24, 6, 99);
        Call{Kind::high_pass, packed, m, {}, 5, 3, offset}.run(dst, src);
        EXPECT_TRUE(same(Picture(24, 24, 6, offset < 0 ? 0 : 255), dst));
      }
    }
}

TEST(Box, NarrowImagesAreWrittenToColumnThree) {
  Picture src = Picture::grey({{8, 12}, {8, 12}}, 6), dst(2, 6, 2);
  zeb::vMMBM_LPFilter(dst.data(), src.data(), nullptr, 2, 6, 2, 2, 1);
  // The sum moves on with the last column entering: 20, 24, 24 + 12 - 12, and then nothing is there to leave.
  for (int y = 0; y < 2; ++y) {
    const int expected[] = {10, 12, 12, 18, Picture::padding_value};
    for (int x = 0; x < 5; ++x) EXPECT_EQ(dst(x, y), expected[x]) << x;
  }

  Picture tight = Picture::grey({{8, 12}, {8, 12}}), tight_dst(2, 2, 2);
  zeb::vMMBM_LPFilter(tight_dst.data(), tight.data(), nullptr, 2, 2, 2, 2, 1);
  EXPECT_EQ(tight_dst, Picture::grey({{10, 12}, {10, 12}})) << "nothing is written behind the buffer";
}

TEST(Box, NothingOutsideTheImagesIsTouched) {
  std::mt19937 engine(7);
  for (int i = 0; i < 300; ++i) {
    // Buffers without any room around them, for memory checkers.
    const int width = pick(engine, 1, 40), height = pick(engine, 1, 6);
    const std::vector<unsigned char> src(static_cast<std::size_t>(width * height), 40);
    std::vector<unsigned char> dst(src), mask(src.size(), 0);
    const int fw = pick(engine, 1, 40), fh = pick(engine, 1, 6);
    const unsigned char* const m = pick(engine, 0, 1) == 0 ? nullptr : mask.data();
    for (auto filter : {zeb::vBM_LPFilter, zeb::vMMBM_LPFilter})
      filter(dst.data(), src.data(), m, width, width, height, fw, fh);
    if (width >= 4) {
      EXPECT_EQ(dst, src);
    }
    for (auto filter : {zeb::vBM_HPFilter, zeb::vMMBM_HPFilter})
      filter(dst.data(), src.data(), m, width, width, height, fw, fh, 40);
  }
}

TEST(Box, StrideIsNarrowedToSixteenBits) {
  std::mt19937 engine(3);
  Picture src = Picture::random(engine, 20, 24, 9);
  for (auto filter : {zeb::vBM_LPFilter, zeb::vMMBM_LPFilter}) {
    Picture dst(20, 24, 9), expected(20, 24, 9);
    filter(expected.data(), src.data(), nullptr, 20, 24, 9, 5, 5);
    filter(dst.data(), src.data(), nullptr, 20, 65536 + 24, 9, 5, 5);
    EXPECT_TRUE(same(expected, dst));
    filter(dst.data(), src.data(), nullptr, 20, 32768, 9, 5, 5);
    EXPECT_TRUE(same(expected, dst)) << "a negative stride has no memory";
    filter(dst.data(), src.data(), nullptr, 20, 65536 + 4, 2, 5, 5);  // narrower than the image: only must not crash
  }
}

TEST(Box, DegenerateSizesWriteNothing) {
  Picture src(4, 4, 1, 9), before(4, 4, 1, 3), dst = before;
  const int sizes[][2] = {{1, 1}, {0, 0}, {-3, -3}, {0, 5}, {5, 0}, {1, 0}, {-1, 4}, {2, -7}};
  for (const auto& size : sizes)
    for (auto filter : {zeb::vBM_LPFilter, zeb::vMMBM_LPFilter}) {
      filter(dst.data(), src.data(), nullptr, size[0], 4, size[1], 3, 3);
      filter(dst.data(), src.data(), src.data(), size[0], 4, size[1], 3, 3);
    }
  EXPECT_EQ(dst, before);
}

TEST(Box, LackOfMemoryLeavesTheDestination) {
  std::mt19937 engine(4);
  Picture src = Picture::random(engine, 30, 32, 10), mask(30, 32, 10), before(30, 32, 10, 3), dst = before;
  for (const bool packed : {false, true}) {
    for (const Kind kind : {Kind::low_pass, Kind::high_pass})
      for (int granted = 0; granted < 2; ++granted) {
        for (Picture* m : {&mask, static_cast<Picture*>(nullptr)}) {
          if (!packed && m == nullptr && granted == 1) continue;  // one block is all that it needs
          const FailingAllocations failing(granted);
          Call{kind, packed, m, {}, 5, 5, 0}.run(dst, src);
        }
      }
    for (int granted = 0; granted < 2; ++granted) {
      const FailingAllocations failing(granted);
      (packed ? zeb::vMMBM_LPIncrease : zeb::vBM_LPIncrease)(dst.data(), src.data(), nullptr, 30, 32, 10, 5, 5, 2.0f,
                                                             90);
    }
  }
  EXPECT_EQ(dst, before);
}

using Table = std::vector<int>;

Table contrast_table(float gain, int half_range) {
  unsigned char table[256];
  std::fill_n(table, 256, 0xEE);
  zeb::iInitVideoNormLookUpTP(table, gain, static_cast<short>(half_range));
  return Table(table, table + 256);
}

TEST(ContrastTable, LiteralTables) {
  zeb::iInitVideoNormLookUpTP(nullptr, 1.0f, 10);
  Table identity(256);
  std::iota(identity.begin(), identity.end(), 0);
  EXPECT_EQ(contrast_table(0.09f, 0), identity);
  EXPECT_EQ(contrast_table(1.0f, 128), identity) << "the curve is i + 128.1";

  // n = 1: -1 up to what the curve gives for -1, 0 behind it; the middle entry is 128.
  Table step(256, 128);
  std::fill_n(step.begin(), 1, 127);
  EXPECT_EQ(contrast_table(1.0f, -7), step);
  EXPECT_EQ(contrast_table(1.0f, 0), step);
  EXPECT_EQ(contrast_table(1.0f, 1), step);

  // n = 2, gain 1: a = 126 / 8 = 15.75, c(-2) = -126 - 2 + 128.1 = 0.1, c(-1) = 111.35, c(0) = 128.1.
  Table four(256);
  for (std::size_t k = 0; k < 256; ++k) four[k] = k <= 0 ? 126 : k <= 111 ? 127 : k <= 128 ? 128 : 129;
  EXPECT_EQ(contrast_table(1.0f, 2), four);
}

TEST(ContrastTable, RoundsTheCoefficientOnce) {
  // In exact arithmetic the curve meets a grey value here. With a coefficient that is rounded once it lies above the
  // first two and below the third; with one whose numerator is rounded first, the other way round.
  EXPECT_EQ(contrast_table(2.5f, 54)[104], 128 - 27);
  EXPECT_EQ(contrast_table(7.5f, 118)[150], 128 + 59);
  EXPECT_EQ(contrast_table(3.75f, 104)[65], 128 - 77);
}

TEST(ContrastTable, InvertsTheCurve) {
  for (const float gain : {0.5f, 1.0f, 2.5f, 10.0f})
    for (const int half_range : {3, 64, 100, 128}) {
      if (half_range > 128 * double{gain}) continue;
      const Table table = contrast_table(gain, half_range);
      EXPECT_EQ(table[128], 128);
      EXPECT_EQ(table[0], 128 - half_range);
      EXPECT_EQ(table[255], 127 + half_range);
      EXPECT_TRUE(std::is_sorted(table.begin(), table.end()));
      const double a = (128.0 - half_range / double{gain}) / std::pow(half_range, 3);
      const auto curve = [=](double i) { return a * i * i * i + i / double{gain} + 128.1; };
      for (int k = 1; k < 255; ++k) {
        const int i = table[static_cast<std::size_t>(k)] - 128;
        if (i > -half_range) {
          EXPECT_GT(k + 1e-3, curve(i - 1)) << gain << ' ' << half_range << " at " << k;
        }
        if (i < half_range - 1) {
          EXPECT_LE(k - 1e-3, curve(i)) << gain << ' ' << half_range << " at " << k;
        }
      }
    }
  EXPECT_EQ(contrast_table(2.0f, 129), contrast_table(2.0f, 128));
  EXPECT_EQ(contrast_table(0.01f, 5), contrast_table(0.1f, 5));
}

TEST(ContrastTable, IsMadeByTheFilterWhereNoneIsGiven) {
  std::mt19937 engine(5);
  Picture src = Picture::random(engine, 50, 64, 20);
  unsigned char table[256];
  zeb::iInitVideoNormLookUpTP(table, 2.0f, 90);
  for (auto filter : {zeb::vBM_LPIncrease, zeb::vMMBM_LPIncrease}) {
    Picture dst(50, 64, 20), expected(50, 64, 20);
    filter(expected.data(), src.data(), table, 50, 64, 20, 3, 5, 0.0f, 0);
    filter(dst.data(), src.data(), nullptr, 50, 64, 20, 3, 5, 2.0f, 90);
    EXPECT_TRUE(same(expected, dst));
    filter(dst.data(), src.data(), nullptr, 50, 64, 20, 3, 5, NAN, 90);  // only must not crash
  }
}

}  // namespace
