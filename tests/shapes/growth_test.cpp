#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <vector>

#include "tests/shapes/scene.h"
#include "zeb/shapes.h"

using zeb::testing::pick;
using zeb::testing::Picture;
using zeb::testing::random_scene;
using zeb::testing::same;

namespace {

constexpr int dx[] = {-1, 0, 1, 1, 1, 0, -1, -1}, dy[] = {1, 1, 1, 0, -1, -1, -1, 0};

// ---- the rules, plainly ---------------------------------------------------------------------------------------------

void plain_mark(unsigned char& pixel, int p, int c) {
  int delta = c < 3 ? 1 : 0;
  if (p == 4 || p == 5 || p == 6) delta -= 1;
  pixel = static_cast<unsigned char>(pixel == 0 ? 250 + delta : pixel + delta);
}

void plain_fill(Picture& p, int min_x, int max_x, int min_y, int max_y) {
  for (int y = min_y; y <= max_y; ++y) {
    unsigned char state = 0;
    for (int x = min_x; x <= max_x; ++x) {
      const unsigned char v = p(x, y);
      if (v == 0 && x < max_x) {
        p(x, y) = state;
        continue;
      }
      p(x, y) = v != 0 || state != 0 ? 250 : 0;
      if (v >= 251)
        state = 250;
      else if (v >= 241 && v <= 249)
        state = 0;
    }
  }
}

void plain_shape_bm(Picture& image, const std::vector<char>& chain, int width, int height, int x, int y, int mark,
                    bool packed) {
  if (chain.empty() && !packed) return;
  int min_x = x, max_x = x, min_y = y, max_y = y;
  int p = chain.empty() ? 0 : chain.back() & 7;
  for (const char code : chain) {
    const int c = code & 7;
    if (mark > 0) plain_mark(image(x, y), p, c);
    for (int j = y + mark; mark <= 0 && j <= y - mark; ++j)
      for (int i = x + mark; i <= x - mark; ++i)
        if (j >= 0 && j < height && i >= 0 && i < width) image(i, j) = 255;
    p = c;
    min_x = std::min(min_x, x);
    max_x = std::max(max_x, x);
    min_y = std::min(min_y, y);
    max_y = std::max(max_y, y);
    if (dx[c] > 0 && x + 1 < width) ++x;
    if (dx[c] < 0 && x > 0) --x;
    if (dy[c] > 0 && y + 1 < height) ++y;
    if (dy[c] < 0 && y > 0) --y;
  }
  if (mark >= 1) plain_fill(image, packed ? min_x / 16 * 16 : min_x, max_x, min_y, max_y);
}

struct Grown {
  bool found = false;
  std::vector<char> chain;
  int x = -7, y = -7, min_x = -7, max_x = -7, min_y = -7, max_y = -7;

  friend bool operator==(const Grown& a, const Grown& b) {
    return a.found == b.found && a.chain == b.chain && a.x == b.x && a.y == b.y && a.min_x == b.min_x &&
           a.max_x == b.max_x && a.min_y == b.min_y && a.max_y == b.max_y;
  }
};

Grown plain_grow(const Picture& src, Picture& dst, int start_row, const std::vector<char>& before = {}) {
  Grown g;
  g.chain = before;
  const int width = src.width(), height = src.height();
  for (int y = std::max(start_row, 0); y < height && !g.found; ++y)
    for (int x = 0; x < width && !g.found; ++x)
      if (src(x, y) != 0) {
        g.found = true;
        g.x = g.min_x = g.max_x = x;
        g.y = g.min_y = g.max_y = y;
      }
  if (!g.found) return g;
  int x = g.x, y = g.y, d = 1, fx = 0, fy = 0;
  bool at_start = false;
  std::vector<char> walk;
  while (true) {
    int c = -1;
    for (int k = 0; k < 8 && c < 0; ++k) {
      const int code = (d - 2 + k) & 7, nx = x + dx[code], ny = y + dy[code];
      if (nx >= 0 && nx < width && ny >= 0 && ny < height && src(nx, ny) != 0) c = code;
    }
    if (c < 0) break;
    const int qx = x, qy = y, p = d;
    x += dx[c];
    y += dy[c];
    g.min_x = std::min(g.min_x, x);
    g.max_x = std::max(g.max_x, x);
    g.min_y = std::min(g.min_y, y);
    g.max_y = std::max(g.max_y, y);
    d = c;
    if (walk.empty()) {
      fx = x;
      fy = y;
    }
    walk.push_back(static_cast<char>(c));
    if (at_start && x == fx && y == fy) {
      dst(qx, qy) = 250;
      break;
    }
    plain_mark(dst(qx, qy), p, c);
    at_start = x == g.x && y == g.y;
  }
  if (walk.empty())
    walk.push_back(0);
  else if (walk.back() >= 4 && walk.back() <= 6)
    --dst(g.x, g.y);
  g.chain.insert(g.chain.end(), walk.begin(), walk.end());
  plain_fill(dst, g.min_x, g.max_x, g.min_y, g.max_y);
  return g;
}

Grown grow(const Picture& src, Picture& dst, int start_row, const std::vector<char>& before = {}) {
  Grown g;
  g.chain = before;
  g.found = vShapePlusBM(g.chain, src.data(), dst.data(), src.width(), src.stride(), src.height(), &g.x, &g.y, &g.min_x,
                         &g.max_x, &g.min_y, &g.max_y, start_row);
  return g;
}

/// Marks that are there already, most of them near the values that begin and end a run.
void scatter_marks(std::mt19937& engine, Picture& p) {
  const unsigned char marks[] = {1, 239, 240, 241, 242, 248, 249, 250, 251, 255};
  for (int n = 0; n < 20; ++n)
    p(pick(engine, 0, p.width() - 1), pick(engine, 0, p.height() - 1)) = marks[pick(engine, 0, 9)];
}

// ---- tests ----------------------------------------------------------------------------------------------------------

TEST(ShapeBM, FillsMarksOrStamps) {
  std::vector<char> square{1, 1, 3, 3, 5, 5, 7, 7};
  Picture p(5, 5, 5);
  ShapeBM(p.data(), square.data(), 5, 5, 5, 8, 1, 1, 1);
  EXPECT_TRUE(same(Picture::text({".....", ".***.", ".***.", ".***.", "....."}, 5, 250), p));
  p = Picture(5, 5, 5);
  ShapeBM(p.data(), square.data(), 5, 5, 5, 8, 1, 1, 0);
  EXPECT_TRUE(same(Picture::text({".....", ".###.", ".#.#.", ".###.", "....."}), p));
  p = Picture(5, 7, 5);
  ShapeBM(p.data(), square.data(), 5, 7, 5, 1, 4, 0, -1);
  EXPECT_TRUE(same(Picture::text({"...##", "...##", ".....", ".....", "....."}, 7), p));
  // A walk against the right border slides along it: the other axis of a diagonal step moves.
  std::vector<char> slide{2, 2, 2, 3};
  p = Picture(3, 3, 4);
  ShapeBM(p.data(), slide.data(), 3, 3, 4, 4, 1, 0, 0);
  EXPECT_TRUE(same(Picture::text({".#.", "..#", "..#", "..#"}), p));
}

TEST(ShapeBM, BothFormsFollowTheRules) {
  std::mt19937 engine(1);
  for (int i = 0; i < 4000; ++i) {
    const int width = pick(engine, 1, 80), height = pick(engine, 1, 12);
    const int stride = (width + 15) / 16 * 16 + 16 * pick(engine, 0, 1);
    const bool packed = i % 2 == 0, dirty = pick(engine, 0, 3) == 0;
    Picture expected(width, stride, height);
    if (dirty) scatter_marks(engine, expected);
    std::vector<char> chain(static_cast<std::size_t>(pick(engine, 0, 60)));
    const int stubborn = pick(engine, 0, 7);  // long straight parts
    for (char& c : chain) c = static_cast<char>(pick(engine, 0, 1) == 0 ? stubborn : pick(engine, -128, 127));
    const int x = pick(engine, 0, width - 1), y = pick(engine, 0, height - 1), mark = pick(engine, -3, 2);
    Picture actual = expected;
    plain_shape_bm(expected, chain, width, height, x, y, mark, packed);
    // Behind one more code, since an empty chain has no place of its own.
    std::vector<char> room(1 + chain.size(), 0);
    std::copy(chain.begin(), chain.end(), room.begin() + 1);
    (packed ? MMShapeBM : ShapeBM)(actual.data(), room.data() + 1, width, stride, height,
                                   static_cast<int>(chain.size()), x, y, mark);
    ASSERT_TRUE(same(expected, actual)) << "mark " << mark << ", packed " << packed;
  }
}

TEST(ShapeBM, HostileArguments) {
  Picture p(8, 8, 8);
  const Picture before = p;
  char chain[] = {3, 7};
  for (const int count : {0, -1, std::numeric_limits<int>::min()}) ShapeBM(p.data(), chain, 8, 8, 8, count, 1, 1, 1);
  MMShapeBM(p.data(), nullptr, 8, 8, 8, 0, 1, 1, 1);
  MMShapeBM(p.data(), nullptr, 8, 8, 8, 0, 1, 1, -1);
  MMShapeBM(p.data(), chain, 8, 8, 8, -1, 1, 1, 1);
  EXPECT_EQ(p, before);
  ShapeBM(p.data(), chain, 8, 8, 8, 2, 1, 1, std::numeric_limits<int>::min());
  EXPECT_TRUE(same(Picture(8, 8, 8, 255), p));
}

TEST(ShapePlusBM, LiteralShapes) {
  const Picture block = Picture::text({"....", ".##.", ".##."});
  Picture dst(4, 4, 3);
  Grown g = grow(block, dst, 0);
  EXPECT_EQ(g.chain, (std::vector<char>{1, 3, 5, 7, 1}));
  EXPECT_TRUE(same(Picture::text({"....", ".**.", ".**."}, 4, 250), dst));
  EXPECT_EQ(std::vector<int>({g.x, g.y, g.min_x, g.max_x, g.min_y, g.max_y}), std::vector<int>({1, 1, 1, 2, 1, 2}));

  const Picture pixel = Picture::text({"...", ".#."});
  dst = Picture(3, 3, 2);
  g = grow(pixel, dst, -5, {6});
  EXPECT_TRUE(g.found);
  EXPECT_EQ(g.chain, (std::vector<char>{6, 0}));
  EXPECT_TRUE(same(Picture(3, 3, 2), dst)) << "an isolated pixel paints nothing";

  for (const Picture& nothing : {Picture(3, 3, 2), Picture(0, 0, 0)}) {
    dst = Picture(3, 3, 2, 9);
    EXPECT_TRUE(grow(nothing, dst, 0) == Grown());
    EXPECT_EQ(dst, Picture(3, 3, 2, 9));
  }
  EXPECT_FALSE(grow(pixel, dst, 2).found);

  // The border form, without the extents asked for.
  dst = Picture(4, 4, 3);
  std::vector<char> chain;
  int x = 0, y = 0;
  vShapePlusBM_Border(chain, block.data(), dst.data(), 4, 4, 3, &x, &y, nullptr, nullptr, nullptr, nullptr, 0);
  EXPECT_EQ(chain, (std::vector<char>{1, 3, 5, 7, 1}));
  EXPECT_EQ(chain.capacity(), chain.size());
  EXPECT_TRUE(same(Picture::text({"....", ".**.", ".**."}, 4, 250), dst));
}

TEST(ShapePlusBM, FollowsTheRules) {
  std::mt19937 engine(2);
  for (int i = 0; i < 4000; ++i) {
    const int width = pick(engine, 1, 70), height = pick(engine, 1, 30);
    const Picture src = random_scene(engine, width, width + pick(engine, 0, 20), height, pick(engine, 0, 15));
    const int start_row = pick(engine, 0, 1) == 0 ? 0 : pick(engine, -2, height);
    const std::vector<char> before(static_cast<std::size_t>(pick(engine, 0, 2)), 5);
    Picture expected(width, src.stride(), height);
    if (pick(engine, 0, 3) == 0) scatter_marks(engine, expected);
    Picture actual = expected;
    const Grown plain = plain_grow(src, expected, start_row, before);
    const Grown g = grow(src, actual, start_row, before);
    ASSERT_TRUE(g == plain) << ::testing::PrintToString(src);
    ASSERT_TRUE(same(expected, actual)) << ::testing::PrintToString(src);
  }
}

TEST(ShapePlusBM, FillsWhatATracedShapeFills) {
  std::mt19937 engine(3);
  for (int i = 0; i < 500; ++i) {
    const int width = pick(engine, 1, 50), height = pick(engine, 1, 30);
    Picture src = random_scene(engine, width, width, height);
    Picture grown(width, width, height), drawn = grown;
    const Grown g = grow(src, grown, 0);
    const zeb::Shape shape = zeb::find_next_shape(src.bitmap(), 0, 0, true, true);
    if (!g.found || shape.size() == 0) continue;
    draw_filled_shape(drawn.data(), width, shape, 250);
    ASSERT_TRUE(same(drawn, grown));
  }
}

}  // namespace
