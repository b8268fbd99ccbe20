#include <gtest/gtest.h>

#include <climits>

#include "tests/shapes/scene.h"

using namespace zeb::testing;

namespace {

// ---- the rules, plainly ---------------------------------------------------------------------------------------------

void plain_mark(unsigned char& pixel, int previous, int next) {
  const int delta = (next < 3 ? 1 : 0) - (previous == 4 || previous == 5 || previous == 6 ? 1 : 0);
  pixel = static_cast<unsigned char>((pixel == 0 ? 250 : pixel) + delta);
}

void plain_fill(Picture& p, int min_x, int max_x, int min_y, int max_y) {
  for (int y = min_y; y <= max_y; ++y) {
    unsigned char state = 0;
    for (int x = min_x; x <= max_x; ++x) {
      const unsigned char v = p(x, y);
      p(x, y) = v == 0 && x < max_x ? state : v != 0 || state != 0 ? 250 : 0;
      if (v >= 251) state = 250;
      if (v >= 241 && v <= 249) state = 0;
    }
  }
}

void plain_shape_bm(Picture& image, const std::vector<char>& chain, int x, int y, int mark, bool packed) {
  const int width = image.width(), height = image.height();
  if (chain.empty() && !packed) return;
  int min_x = x, max_x = x, min_y = y, max_y = y, previous = chain.empty() ? 0 : chain.back() & 7;
  for (const char code : chain) {
    const int c = code & 7;
    if (mark > 0) plain_mark(image(x, y), previous, c);
    for (int j = y + mark; mark <= 0 && j <= y - mark; ++j)
      for (int i = x + mark; i <= x - mark; ++i)
        if (j >= 0 && j < height && i >= 0 && i < width) image(i, j) = 255;
    previous = c;
    min_x = std::min(min_x, x);
    max_x = std::max(max_x, x);
    min_y = std::min(min_y, y);
    max_y = std::max(max_y, y);
    x = std::clamp(x + dx[c], 0, width - 1);
    y = std::clamp(y + dy[c], 0, height - 1);
  }
  if (mark >= 1) plain_fill(image, packed ? min_x / 16 * 16 : min_x, max_x, min_y, max_y);
}

/// What a growth tells: whether a shape was found, its start and extents, then the chain.
using Grown = std::vector<int>;

Grown plain_grow(const Picture& src, Picture& dst, int start_row, const std::vector<char>& before) {
  Grown grown{0, -7, -7, -7, -7, -7, -7};
  grown.insert(grown.end(), before.begin(), before.end());
  int x = 0, y = std::max(start_row, 0);
  while (y < src.height() && src(x, y) == 0)
    if (++x == src.width()) x = 0, ++y;
  if (y >= src.height()) return grown;
  Walk walk(src, src.width(), src.height(), x, y, 1, true);
  for (std::size_t i = 0; i + 1 < walk.codes.size(); ++i)
    plain_mark(dst(walk.x[i], walk.y[i]), i == 0 ? 1 : walk.codes[i - 1], walk.codes[i]);
  if (!walk.codes.empty()) dst(x, y) = walk.codes.back() >= 4 && walk.codes.back() <= 6 ? 249 : 250;
  if (walk.codes.empty()) walk.codes.push_back(0);
  const std::vector<int> box = walk.extents();
  plain_fill(dst, box[0], box[1], box[2], box[3]);
  std::copy_n(std::vector<int>{1, x, y, box[0], box[1], box[2], box[3]}.begin(), 7, grown.begin());
  grown.insert(grown.end(), walk.codes.begin(), walk.codes.end());
  return grown;
}

Grown grow(const Picture& src, Picture& dst, int start_row, std::vector<char> chain = {}) {
  int at[] = {-7, -7, -7, -7, -7, -7};
  const bool found = vShapePlusBM(chain, src.data(), dst.data(), src.width(), src.stride(), src.height(), at, at + 1,
                                  at + 2, at + 3, at + 4, at + 5, start_row);
  Grown grown{found};
  grown.insert(grown.end(), at, at + 6);
  grown.insert(grown.end(), chain.begin(), chain.end());
  return grown;
}

/// Marks that are there already, most of them near the values that begin and end a run.
void scatter_marks(std::mt19937& engine, Picture& p) {
  const unsigned char marks[] = {1, 239, 240, 241, 242, 248, 249, 250, 251, 255};
  for (int n = 0; n < 20; ++n)
    p(pick(engine, 0, p.width() - 1), pick(engine, 0, p.height() - 1)) = marks[pick(engine, 0, 9)];
}

// ---- tests ----------------------------------------------------------------------------------------------------------

TEST(ShapeBM, BothFormsFollowTheRules) {
  std::mt19937 engine(1);
  for (int i = 0; i < 3000; ++i) {
    const int width = pick(engine, 1, 80), height = pick(engine, 1, 12);
    const bool packed = i % 2 == 0;
    Picture expected(width, (width + 15) / 16 * 16 + 16 * pick(engine, 0, 1), height);
    if (pick(engine, 0, 3) == 0) scatter_marks(engine, expected);
    // Behind one more code, since an empty chain has no place of its own.
    std::vector<char> room = random_chain(engine, pick(engine, 1, 61)), chain(room.begin() + 1, room.end());
    const int x = pick(engine, 0, width - 1), y = pick(engine, 0, height - 1), mark = pick(engine, -3, 2);
    Picture actual = expected;
    plain_shape_bm(expected, chain, x, y, mark, packed);
    (packed ? MMShapeBM : ShapeBM)(actual.data(), room.data() + 1, width, actual.stride(), height,
                                   static_cast<int>(chain.size()), x, y, mark);
    ASSERT_TRUE(same(expected, actual)) << "mark " << mark << ", packed " << packed;
  }
}

TEST(ShapeBM, LiteralMarksAndHostileArguments) {
  std::vector<char> square{1, 1, 3, 3, 5, 5, 7, 7};
  Picture p(5, 5, 5);
  ShapeBM(p.data(), square.data(), 5, 5, 5, 8, 1, 1, 1);
  EXPECT_EQ(p, Picture::text({".....", ".***.", ".***.", ".***.", "....."}, 5, 250));
  for (const int count : {0, -1, INT_MIN}) ShapeBM(p.data(), square.data(), 5, 5, 5, count, 0, 0, 1);
  MMShapeBM(p.data(), square.data(), 5, 5, 5, -1, 0, 0, 1);
  EXPECT_EQ(p, Picture::text({".....", ".***.", ".***.", ".***.", "....."}, 5, 250));
  ShapeBM(p.data(), square.data(), 5, 5, 5, 2, 1, 1, INT_MIN);
  EXPECT_EQ(p, Picture(5, 5, 5, 255));
}

TEST(ShapePlusBM, FollowsTheRules) {
  std::mt19937 engine(2);
  for (int i = 0; i < 2000; ++i) {
    const int width = pick(engine, 1, 70), height = pick(engine, 1, 30);
    const Picture src = random_scene(engine, width, width + pick(engine, 0, 20), height, pick(engine, 0, 15));
    const int start_row = pick(engine, 0, 1) == 0 ? 0 : pick(engine, -2, height);
    const std::vector<char> before(static_cast<std::size_t>(pick(engine, 0, 2)), 5);
    Picture expected(width, src.stride(), height);
    if (pick(engine, 0, 3) == 0) scatter_marks(engine, expected);
    Picture actual = expected;
    const Grown plain = plain_grow(src, expected, start_row, before);
    ASSERT_EQ(grow(src, actual, start_row, before), plain) << ::testing::PrintToString(src);
    ASSERT_TRUE(same(expected, actual)) << ::testing::PrintToString(src);
  }
}

TEST(ShapePlusBM, LiteralShape) {
  const Picture block = Picture::text({"....", ".##.", ".##."}),
                filled = Picture::text({"....", ".**.", ".**."}, 4, 250);
  Picture dst(4, 4, 3);
  EXPECT_EQ(grow(block, dst, 0), (Grown{1, 1, 1, 1, 2, 1, 2, 1, 3, 5, 7, 1}));
  EXPECT_EQ(dst, filled);
  // The border form, without the extents asked for.
  dst = Picture(4, 4, 3);
  std::vector<char> chain;
  int x = 0, y = 0;
  vShapePlusBM_Border(chain, block.data(), dst.data(), 4, 4, 3, &x, &y, nullptr, nullptr, nullptr, nullptr, 0);
  EXPECT_EQ(chain, (std::vector<char>{1, 3, 5, 7, 1}));
  EXPECT_EQ(chain.capacity(), chain.size());
  EXPECT_EQ(dst, filled);
}

}  // namespace
