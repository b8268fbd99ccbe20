#include <gtest/gtest.h>

#include <climits>

#include "tests/shapes/scene.h"

using namespace zeb::testing;

namespace {

void plain_mark(unsigned char& pixel, int previous, int next) {
  const int delta = (next < 3 ? 1 : 0) - (previous == 4 || previous == 5 || previous == 6 ? 1 : 0);
  pixel = static_cast<unsigned char>((pixel == 0 ? 250 : pixel) + delta);
}

void plain_fill(Picture& p, const std::vector<int>& box) {
  for (int y = box[2]; y <= box[3]; ++y) {
    unsigned char state = 0;
    for (int x = box[0]; x <= box[1]; ++x) {
      const unsigned char v = p(x, y);
      p(x, y) = v == 0 && x < box[1] ? state : v != 0 || state != 0 ? 250 : 0;
      if (v >= 251) state = 250;
      if (v >= 241 && v <= 249) state = 0;
    }
  }
}

void plain_shape_bm(Picture& image, const std::vector<char>& chain, int x, int y, int mark, bool packed) {
  if (chain.empty() && !packed) return;
  std::vector<int> xs{x}, ys{y};
  int previous = chain.empty() ? 0 : chain.back() & 7;
  for (const char code : chain) {
    const int c = code & 7;
    for_each_pixel(image.width(), image.height(), [&](int i, int j) {
      if (mark > 0 && i == x && j == y) plain_mark(image(i, j), previous, c);
      if (mark <= 0 && std::abs(i - x) <= -mark && std::abs(j - y) <= -mark) image(i, j) = 255;
    });
    previous = c;
    xs.push_back(x);
    ys.push_back(y);
    x = std::clamp(x + dx[c], 0, image.width() - 1);
    y = std::clamp(y + dy[c], 0, image.height() - 1);
  }
  std::vector<int> box = extents(xs, ys);
  if (packed) box[0] &= ~15;
  if (mark > 0) plain_fill(image, box);
}

/// Marks that are there already, most of them near the values that begin and end a run.
void scatter_marks(std::mt19937& engine, Picture& p) {
  const unsigned char marks[] = {1, 239, 240, 241, 242, 248, 249, 250, 251, 255};
  for (int n = 0; n < 20; ++n)
    p(pick(engine, 0, p.width() - 1), pick(engine, 0, p.height() - 1)) = marks[pick(engine, 0, 9)];
}

TEST(ShapeBM, BothFormsFollowTheRules) {
  std::mt19937 engine(1);
  for (int i = 0; i < 2000; ++i) {
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
  for (const int count : {0, -1, INT_MIN}) ShapeBM(p.data(), square.data(), 5, 5, 5, count, 0, 0, 1);
  MMShapeBM(p.data(), square.data(), 5, 5, 5, -1, 0, 0, 1);
  EXPECT_EQ(p, Picture::text({".....", ".***.", ".***.", ".***.", "....."}, 5, 250));
  ShapeBM(p.data(), square.data(), 5, 5, 5, 2, 1, 1, INT_MIN);
  EXPECT_EQ(p, Picture(5, 5, 5, 255));
}

TEST(ShapePlusBM, WalksMarksAndFillsTheFirstOutline) {
  std::mt19937 engine(2);
  for (int trial = 0; trial < 1500; ++trial) {
    const int width = pick(engine, 1, 70), height = pick(engine, 1, 30);
    const Picture src = random_scene(engine, width, width + pick(engine, 0, 20), height, pick(engine, 0, 15));
    SCOPED_TRACE(::testing::PrintToString(src));
    const int start_row = pick(engine, 0, 1) == 0 ? 0 : pick(engine, -2, height);
    std::vector<char> chain(static_cast<std::size_t>(pick(engine, 0, 2)), 5), expected_chain = chain;
    int x = 0, y = std::max(start_row, 0);
    while (y < height && src(x, y) == 0)
      if (++x == width) x = 0, ++y;
    Picture dst(width, src.stride(), height);
    if (pick(engine, 0, 3) == 0) scatter_marks(engine, dst);
    Picture expected = dst;
    int at[] = {-7, -7, -7, -7, -7, -7};
    std::vector<int> places(at, at + 6);
    if (y < height) {
      const Walk walk(src, width, height, x, y, 1, true);
      places = extents(walk.x, walk.y);
      places.insert(places.begin(), {x, y});
      expected_chain.insert(expected_chain.end(), walk.codes.begin(), walk.codes.end());
      if (walk.codes.empty()) expected_chain.push_back(0);
      // The first step is repeated at the end; before it the start pixel has been come back to.
      for (std::size_t i = 0; i + 1 < walk.codes.size(); ++i)
        plain_mark(expected(walk.x[i], walk.y[i]), i == 0 ? 1 : walk.codes[i - 1], walk.codes[i]);
      if (!walk.codes.empty()) expected(x, y) = walk.codes.back() >= 4 && walk.codes.back() <= 6 ? 249 : 250;
      plain_fill(expected, extents(walk.x, walk.y));
    }
    const bool found = vShapePlusBM(chain, src.data(), dst.data(), width, src.stride(), height, at, at + 1, at + 2,
                                    at + 3, at + 4, at + 5, start_row);
    ASSERT_EQ(found, y < height);
    ASSERT_EQ(std::vector<int>(at, at + 6), places);
    ASSERT_EQ(chain, expected_chain);
    ASSERT_TRUE(same(expected, dst));
  }
}

TEST(ShapePlusBM, BorderFormNeedsNoPlaceForTheExtents) {
  const Picture block = Picture::text({"....", ".##.", ".##."});
  Picture dst(4, 4, 3);
  std::vector<char> chain;
  int x = 0, y = 0;
  vShapePlusBM_Border(chain, block.data(), dst.data(), 4, 4, 3, &x, &y, nullptr, nullptr, nullptr, nullptr, 0);
  EXPECT_EQ(chain, (std::vector<char>{1, 3, 5, 7, 1}));
  EXPECT_EQ(chain.capacity(), chain.size());
  EXPECT_EQ(dst, Picture::text({"....", ".**.", ".**."}, 4, 250));
}

}  // namespace
