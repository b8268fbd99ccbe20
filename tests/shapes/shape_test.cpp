#include <gtest/gtest.h>

#include "tests/shapes/scene.h"

using zeb::Shape;
using zeb::testing::describe;

namespace {

constexpr char square_text[] = "3175 from 4 5 4 5 5 6 9 ccw";

Shape square() { return Shape({3, 1, 7, 5}, 4, 5, 4, 5, 5, 6, true, 9); }

TEST(Shape, TakesItsChainOverAndStoresTheRestUnchecked) {
  std::vector<char> chain = {8, -1};
  const char* const buffer = chain.data();
  const Shape odd(std::move(chain), 1, 2, 9, 3, 8, 4, false, -7), none;
  EXPECT_TRUE(chain.empty());  // NOLINT(bugprone-use-after-move): the constructor promises it
  EXPECT_EQ(odd.chain_code(), buffer);
  EXPECT_EQ(describe(odd), "8-1 from 1 2 9 3 8 4 -7 cw");
  const auto box = odd.boundary();
  EXPECT_TRUE(box.top_left.x == 3 && box.top_left.y == 4) << "the rectangle sorts its corners";
  EXPECT_TRUE(box.bottom_right.x == 9 && box.bottom_right.y == 8);
  EXPECT_TRUE(none.empty() && none.size() == 0 && none.chain_code() == nullptr && !none.is_counter_clockwise());
  const unsigned int& count = Shape::max_count;  // has an address
  EXPECT_EQ(count, 131072u);
}

TEST(Shape, MovedFromShapesKeepAllButTheirChain) {
  Shape a = square(), c;
  const char* const buffer = a.chain_code();
  Shape b(std::move(a));
  EXPECT_EQ(b.chain_code(), buffer);
  EXPECT_EQ(describe(a), " from 4 5 4 5 5 6 9 ccw");  // NOLINT(bugprone-use-after-move): part of the contract
  c = std::move(b);
  EXPECT_EQ(c.chain_code(), buffer);
  EXPECT_EQ(describe(b), " from 4 5 4 5 5 6 9 ccw");  // NOLINT(bugprone-use-after-move)
  Shape& same = c;
  c = std::move(same);
  EXPECT_EQ(describe(c), square_text) << "moving onto itself changes nothing";
}

TEST(Shape, CopiesSwapsAndOffsets) {
  Shape a = square(), b(a), none;
  b.chain_code()[0] = 2;
  EXPECT_EQ(describe(a), square_text) << "copies are deep";
  a.swap(none);
  EXPECT_EQ(describe(a), "none");
  EXPECT_TRUE(a.max_x() == 0 && a.start_point().y == 0 && a.rot() == 0 && !a.is_counter_clockwise());
  EXPECT_EQ(describe(none), square_text);
  none.add_offset(-10, 100);
  EXPECT_EQ(describe(none), "3175 from -6 105 -6 -5 105 106 9 ccw");
}

}  // namespace
