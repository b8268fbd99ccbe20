#include <gtest/gtest.h>

#include <algorithm>
#include <array>
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

/// One call of one of the six forms, the packed ones with a mask or without by their typed functions.
struct Call {
  Kind kind;
  bool packed;
  Picture* mask;
  std::vector<unsigned char> table;
  bool table_is_made;  ///< by the filter
  int filter_width, filter_height, offset;
};

constexpr float table_gain = 2.0f;
constexpr short table_half_range = 90;

void run(const Call& c, Picture& dst, Picture& src, int excess_stride = 0) {
  const int w = src.width(), s = src.stride() + excess_stride, h = src.height();
  const int fw = c.filter_width, fh = c.filter_height;
  const zeb::Mat<unsigned char> from(src.data(), w, s, h), mask(c.mask != nullptr ? c.mask->data() : nullptr, w, s, h);
  zeb::Mat<unsigned char> to(dst.data(), w, s, h);
  auto table = c.table;
  if (c.kind == Kind::increase)
    (c.packed ? zeb::vMMBM_LPIncrease : zeb::vBM_LPIncrease)(
        to.data, from.data, c.table_is_made ? nullptr : table.data(), w, s, h, fw, fh, table_gain, table_half_range);
  else if (!c.packed && c.kind == Kind::low_pass)
    zeb::vBM_LPFilter(to.data, from.data, mask.data, w, s, h, fw, fh);
  else if (!c.packed)
    zeb::vBM_HPFilter(to.data, from.data, mask.data, w, s, h, fw, fh, c.offset);
  else if (c.kind == Kind::low_pass)
    c.mask != nullptr ? zeb::lp_filter(to, from, mask, fw, fh) : zeb::lp_filter(to, from, fw, fh);
  else
    c.mask != nullptr ? zeb::hp_filter(to, from, mask, fw, fh, c.offset) : zeb::hp_filter(to, from, fw, fh, c.offset);
}

unsigned char clamped(std::int64_t v) { return static_cast<unsigned char>(std::clamp<std::int64_t>(v, 0, 255)); }

/// What a call has to give, without any packed code. The sums slide in the order that matters where they are rounded.
template <class Sum>
Picture expected_with(const Call& c, Picture dst, const Picture& src) {
  const int w = src.width(), h = src.height();
  if ((w < 2 && h < 2) || h < 1) return dst;
  const int fw = std::max(std::min(w, c.filter_width), 1), fh = std::max(std::min(h, c.filter_height), 1);
  const int up_w = (fw + 1) / 2, down_w = fw / 2, up_h = (fh + 1) / 2, down_h = fh / 2, area = fw * fh;
  const int first_packed = (up_w + 3) & ~3, end_packed = (w - up_w) & ~3;
  const auto all_columns = static_cast<std::size_t>(std::max(w, 4));
  // Of the grey values, and of the pixels that take part.
  std::array<std::vector<Sum>, 2> columns{std::vector<Sum>(all_columns), std::vector<Sum>(all_columns)};
  const auto column = [&](std::size_t k, int x) { return columns[k][static_cast<std::size_t>(x)]; };
  const auto add_row = [&](int y, int sign) {
    y = std::clamp(y, 0, h - 1);
    for (int x = 0; x < w; ++x) {
      if (c.mask != nullptr && (*c.mask)(x, y) != 0) continue;
      const int grey = c.table.empty() ? src(x, y) : c.table[src(x, y)];
      columns[0][static_cast<std::size_t>(x)] += static_cast<Sum>(sign * grey);
      columns[1][static_cast<std::size_t>(x)] += static_cast<Sum>(sign);
    }
  };
  for (int row = -up_h; row < down_h; ++row) add_row(row, 1);
  for (int y = 0; y < h; add_row(y + down_h, 1), add_row(y - up_h, -1), ++y) {
    std::array<Sum, 2> row{};
    for (const std::size_t k : {0u, 1u})
      for (int i = -up_w; i < down_w; ++i) row[k] += column(k, std::max(i, 0));
    for (int x = 0; x < w || (c.packed && x < first_packed);) {
      if (c.packed && first_packed <= x && x < end_packed) {
        Sum sums[2][4];
        for (const std::size_t k : {0u, 1u}) {
          Sum d[4];
          for (int i = 0; i < 4; ++i) d[i] = column(k, x + down_w + i) - column(k, x - up_w + i);
          const Sum slid[] = {d[0], d[1] + d[0], d[2] + d[1] + d[0], d[3] + d[2] + (d[1] + d[0])};
          for (int i = 0; i < 4; ++i) sums[k][i] = slid[i] + row[k];
          row[k] = sums[k][3];
        }
        for (int i = 0; i < 4; ++i, ++x) {
          const Sum divisor = c.mask != nullptr ? std::max(sums[1][i], Sum{1}) : static_cast<Sum>(area);
          float v = static_cast<float>(sums[0][i]) / static_cast<float>(divisor);
          if (c.kind == Kind::high_pass)
            v = std::clamp(static_cast<float>(src(x, y)) + static_cast<float>(c.offset) - v, 0.0f, 255.0f);
          dst(x, y) = clamped(std::lrint(v));
        }
        continue;
      }
      for (const std::size_t k : {0u, 1u})
        row[k] = row[k] + column(k, std::min(x + down_w, w - 1)) - column(k, std::max(x - up_w, 0));
      const Sum divisor = c.mask != nullptr ? row[1] : static_cast<Sum>(area);
      const std::int64_t offset = c.packed || c.mask != nullptr ? c.offset : 128;
      if (divisor >= 1) {
        const int mean = static_cast<int>(row[0] / divisor);
        dst(x, y) = c.kind == Kind::high_pass ? clamped(src(x, y) - mean + offset) : static_cast<unsigned char>(mean);
      } else if (!c.packed) {
        dst(x, y) = static_cast<unsigned char>(c.kind == Kind::high_pass ? offset : 0);
      }
      ++x;
    }
  }
  return dst;
}

Picture expected(const Call& c, const Picture& dst, const Picture& src) {
  const bool in_float = c.packed && c.kind != Kind::increase;
  return in_float ? expected_with<float>(c, dst, src) : expected_with<int>(c, dst, src);
}

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
                pick(t.engine, 0, 1) == 1,
                pick(t.engine, -1, largest),
                pick(t.engine, -1, largest),
                offsets[pick(t.engine, 0, 4)]};
      for (auto& entry : call.table) entry = static_cast<unsigned char>(t.engine());
      if (call.table_is_made && kind == Kind::increase)
        zeb::iInitVideoNormLookUpTP(call.table.data(), table_gain, table_half_range);
      Picture result = expected(call, t.dst, t.src);
      // The first four columns of a narrow image may pass a tight stride into the next row, but not the last one's.
      const std::ptrdiff_t size = std::ptrdiff_t{t.g.stride} * t.g.height;
      std::copy_n(t.dst.data() + size, 4, result.data() + size);
      run(call, t.dst, t.src, 65536 * pick(t.engine, 0, 1));  // more than 16 bits count for nothing
      run(call, t.dst, t.src, 32768 - t.g.stride);            // negative in 16 bits: does nothing
      ASSERT_TRUE(same(result, t.dst)) << "window " << call.filter_width << " x " << call.filter_height;
    });
}

TEST(Box, WindowsTooLargeForExactFloatSumsKeepTheirOrder) {
  std::mt19937 engine(2);
  Picture src(423, 430, 301), none(423, 430, 301);
  src.fill([&](int, int) { return pick(engine, 0xF0, 0xFF); });
  for (const Kind kind : {Kind::low_pass, Kind::high_pass})
    for (Picture* mask : {static_cast<Picture*>(nullptr), &none}) {
      const Call call{kind, true, mask, {}, false, 371, 299, 7};
      Picture dst(423, 430, 301);
      const Picture rounded = expected(call, dst, src), exact = expected_with<int>(call, dst, src);
      run(call, dst, src);
      EXPECT_FALSE(rounded == exact) << "an image that does not show the rounding";
      EXPECT_TRUE(same(rounded, dst));
    }
}

TEST(Box, RoundsExactlyAtAndBesideTies) {
  std::mt19937 engine(6);
  for (const int area : {3, 4, 6, 15, 254, 256, 257, 258, 259, 1000, 2187, 4097, 8190, 8191, 8192, 8193, 8194, 20000}) {
    // In row (area + 1) / 2 the window, one column wide and as tall as the image, covers the image.
    Picture src(48, 48, area);
    int sums[48];
    for (int& sum : sums) sum = std::max(0, (2 * pick(engine, 0, 254) + 1) * area / 2 + pick(engine, -1, 1));
    sums[24] = 255 * area;
    src.fill([&](int x, int y) { return sums[x] / area + (y < sums[x] % area ? 1 : 0); });
    const std::pair<Kind, int> kinds_and_offsets[] = {
        {Kind::low_pass, 0}, {Kind::high_pass, pick(engine, 0, 300)}, {Kind::high_pass, -256}};
    for (const auto& [kind, offset] : kinds_and_offsets) {
      const Call call{kind, true, nullptr, {}, false, 1, area, offset};
      Picture dst(48, 48, area);
      const Picture result = expected(call, dst, src);
      run(call, dst, src);
      ASSERT_TRUE(same(result, dst)) << "area " << area << ", offset " << offset;
    }
  }
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
  EXPECT_EQ(contrast_table(5.0f, 2), four) << "c(-1) = 111.95";
  EXPECT_EQ(contrast_table(0.1f, 0), two);
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

}  // namespace
