#include <gtest/gtest.h>

#include <utility>
#include <vector>

#include "zeb/shapes.h"

using zeb::Shape;

namespace {

std::vector<char> codes(const Shape& shape) { return {shape.chain_code(), shape.chain_code() + shape.size()}; }

const std::vector<char> square_chain = {3, 1, 7, 5};

Shape square() { return Shape(std::vector<char>(square_chain), 4, 5, 4, 5, 5, 6, true, 9); }

TEST(Shape, DefaultIsNoShape) {
  const Shape none;
  EXPECT_TRUE(none.empty());
  EXPECT_EQ(none.size(), 0u);
  EXPECT_EQ(none.chain_code(), nullptr);
  EXPECT_FALSE(none.is_counter_clockwise());
  EXPECT_EQ(none.rot(), 0);
}

TEST(Shape, TakesItsChainOverAndStoresTheRestUnchecked) {
  std::vector<char> chain = {8, -1};
  const char* const buffer = chain.data();
  const Shape odd(std::move(chain), 1, 2, 9, 3, 8, 4, false, -7);
  EXPECT_TRUE(chain.empty());  // NOLINT(bugprone-use-after-move): the constructor promises it
  EXPECT_EQ(odd.chain_code(), buffer);
  EXPECT_EQ(odd.min_x(), 9);
  EXPECT_EQ(odd.max_x(), 3);
  EXPECT_EQ(odd.min_y(), 8);
  EXPECT_EQ(odd.max_y(), 4);
  EXPECT_EQ(odd.rot(), -7);
  EXPECT_FALSE(odd.empty());
  const auto box = odd.boundary();
  EXPECT_EQ(box.top_left.x, 3) << "the rectangle sorts its corners";
  EXPECT_EQ(box.top_left.y, 4);
  EXPECT_EQ(box.bottom_right.x, 9);
  EXPECT_EQ(box.bottom_right.y, 8);
}

TEST(Shape, MovedFromShapesKeepAllButTheirChain) {
  Shape a = square();
  const char* const buffer = a.chain_code();
  Shape b(std::move(a));
  EXPECT_EQ(b.chain_code(), buffer);
  EXPECT_EQ(a.chain_code(), nullptr);  // NOLINT(bugprone-use-after-move): what is left is part of the contract
  EXPECT_EQ(a.size(), 0u);
  EXPECT_EQ(a.max_y(), 6);
  EXPECT_FALSE(a.empty());

  Shape c;
  c = std::move(b);
  EXPECT_EQ(c.chain_code(), buffer);
  EXPECT_EQ(b.size(), 0u);  // NOLINT(bugprone-use-after-move)
  EXPECT_EQ(b.rot(), 9);
  EXPECT_FALSE(b.empty());

  Shape& same = c;
  c = std::move(same);
  EXPECT_EQ(codes(c), square_chain) << "moving onto itself changes nothing";
  c = same;
  EXPECT_EQ(codes(c), square_chain);
}

TEST(Shape, CopiesAreDeepAndSwapExchangesEverything) {
  Shape a = square();
  Shape b(a), none;
  b.chain_code()[0] = 2;
  EXPECT_EQ(codes(a), square_chain);
  a.swap(none);
  EXPECT_TRUE(a.empty());
  EXPECT_EQ(a.max_x(), 0);
  EXPECT_FALSE(a.is_counter_clockwise());
  EXPECT_FALSE(none.empty());
  EXPECT_TRUE(none.is_counter_clockwise());
  EXPECT_EQ(none.rot(), 9);
  EXPECT_EQ(none.start_point().y, 5);
  EXPECT_EQ(codes(none), square_chain);
}

TEST(Shape, AnOffsetMovesExtentsAndStartOnly) {
  Shape shape = square();
  shape.add_offset(-10, 100);
  EXPECT_EQ(shape.start_point().x, -6);
  EXPECT_EQ(shape.start_point().y, 105);
  EXPECT_EQ(shape.min_x(), -6);
  EXPECT_EQ(shape.max_x(), -5);
  EXPECT_EQ(shape.min_y(), 105);
  EXPECT_EQ(shape.max_y(), 106);
  EXPECT_EQ(shape.rot(), 9);
  EXPECT_EQ(codes(shape), square_chain);
}

TEST(Shape, PublishesALargestCountThatCanBeReferredTo) {
  const unsigned int& count = Shape::max_count;
  EXPECT_EQ(count, 131072u);
}

TEST(InvalidChainCode, SaysWhatIsWrong) {
  const invalid_chain_code_element error;
  zeb::invalid_chain_code_element copy(error);
  copy = error;
  const std::invalid_argument& base = copy;
  EXPECT_STREQ(base.what(), "chain code value out of range ([0,7])");
}

}  // namespace
