#include <gtest/gtest.h>
#include <sys/mman.h>

#include <algorithm>
#include <climits>
#include <cstdlib>
#include <new>
#include <string>

#include "tests/reliability/stage.h"

using namespace zeb;
using namespace zeb::reliability;

namespace {

bool terminated_or_fine(int status) {
  return WIFEXITED(status) && (WEXITSTATUS(status) == terminated || WEXITSTATUS(status) == EXIT_SUCCESS);
}

/// Whether a call does nothing to the images, or throws for want of memory where it may.
bool leaves_alone(const Operation& operation, Stage& stage) {
  const auto before = stage.images();
  try {
    operation.run(stage.call());
  } catch (const std::bad_alloc&) {
    if ((operation.traits & throws_empty) == 0) return false;
  }
  return (operation.traits & writes_empty) != 0 || stage.images() == before;
}

/// Expects `run(operation)`, which tells whether all is well, to say so of each function on images of a call's layout.
/// Where the function may end the process it runs in a child process, which has to end by `std::terminate` or not at
/// all.
template <class Run>
void expect_of_all(unsigned traits_that_end, Run run) {
  for (const Operation& operation : catalogue()) {
    if ((operation.traits & own_layout) != 0) continue;
    SCOPED_TRACE(::testing::Message() << operation);
    if ((operation.traits & traits_that_end) == 0)
      EXPECT_TRUE(run(operation));
    else
      EXPECT_EXIT(end_process_after([&] { return run(operation); }), terminated_or_fine, "");
  }
}

TEST(Geometry, ImagesWithoutPixelsAreLeftAlone) {
  const int sizes[][3] = {{0, 112, 80},  {-1, 112, 80},      {INT_MIN, 112, 80}, {96, 112, 0},
                          {96, 112, -1}, {96, 112, INT_MIN}, {0, 0, 0},          {-5, -5, -5}};
  for (const auto& [width, stride, height] : sizes) {
    SCOPED_TRACE(::testing::Message() << width << " x " << height << ", stride " << stride);
    expect_of_all(ends_empty, [w = width, s = stride, h = height](const Operation& operation) {
      Stage stage;
      stage.pretend(w, s, h);
      return leaves_alone(operation, stage);
    });
  }
}

TEST(Geometry, NullPointersWithoutPixelsAreNotTouched) {
  expect_of_all(ends_empty | ends_shared, [](const Operation& operation) {
    Call nothing = parameters();
    nothing.view();
    operation.run(nothing);
    return true;
  });
}

// A stride below the width makes rows overlap, and the last one needs its width all the same. Whatever the pixels are
// then, nothing else is touched. The images end there, so that a memory checker sees the rest.
TEST(Geometry, RowsThatOverlapStayInsideTheirMemory) {
  expect_of_all(ends_empty, [](const Operation& operation) {
    Stage stage(40, 24, 30);
    const auto before = stage.images();
    operation.run(stage.call());
    for (std::size_t k = 0; k < before.size(); ++k)
      if (!std::equal(before[k].end() - slack, before[k].end(), stage.images()[k].end() - slack)) return false;
    return true;
  });
}

/// An image of few rows that lie so far apart that their offsets do not fit into 32 bits. Only the pages in use exist.
class FarRows {
 public:
  static constexpr int stride = 1 << 30;
  static constexpr int height = 5;
  static constexpr std::size_t size = std::size_t{stride} * (height - 1) + 4096;

  FarRows() : block_(mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0)) {}
  FarRows(const FarRows&) = delete;
  FarRows& operator=(const FarRows&) = delete;
  ~FarRows() {
    if (exists()) munmap(block_, size);
  }
  bool exists() const { return block_ != MAP_FAILED; }
  unsigned char* row(int y) const { return static_cast<unsigned char*>(block_) + std::size_t{stride} * unsigned(y); }

 private:
  void* block_;
};

TEST(Geometry, OffsetsBeyond32BitsAreRight) {
  constexpr int width = 40, near_stride = 64;
  for (const Operation& operation : catalogue()) {
    if ((operation.traits & (own_layout | whole_rows | short_stride)) != 0) continue;
    Stage near(width, near_stride, FarRows::height);
    const FarRows images[4];
    Call far = parameters();
    unsigned char** const starts[] = {&far.dst, &far.src, &far.edges, &far.mask};
    for (std::size_t k = 0; k < 4; ++k) {
      ASSERT_TRUE(images[k].exists());
      *starts[k] = images[k].row(0);
      for (int y = 0; y < FarRows::height; ++y)
        std::copy_n(near.images()[k].data() + y * near_stride, width, images[k].row(y));
    }
    far.w = width;
    far.s = FarRows::stride;
    far.h = FarRows::height;
    far.view();

    operation.run(near.call());
    operation.run(far);
    EXPECT_TRUE(near.outcome().same_notes(far.notes)) << operation;
    for (std::size_t k = 0; k < 4; ++k)
      for (int y = 0; y < FarRows::height; ++y)
        EXPECT_TRUE(std::equal(images[k].row(y), images[k].row(y) + width, near.images()[k].data() + y * near_stride))
            << operation << ", image " << k << ", row " << y;
  }
}

// What takes memory before it looks at pixels must come to that without forming a size in too few bits: 65536 rows of
// 65536 bytes are no image of 0 bytes. Nothing is granted, but to work memory that grows with the image all that the
// machine has: such a size is refused.
TEST(Geometry, SizesThatOverflowAreNotFormed) {
  int growing = 0;
  for (const Operation& operation : catalogue()) {
    const bool grows = (operation.traits & (throws_empty | whole_rows)) == (throws_empty | whole_rows) ||
                       operation.function == std::string("FloodFill");
    const bool gives_up = operation.shortage == gives_up_but_for_outlines || operation.shortage == Shortage::gives_up;
    if ((operation.traits & (own_layout | looks_first)) != 0 || !(grows || gives_up)) continue;
    growing += grows ? 1 : 0;
    for (const int side : {65536, 65537, 1 << 30, INT_MAX}) {
      Stage stage;
      stage.pretend(side, side, side);
      starve_core(grows ? -1 : 0);
      EXPECT_TRUE(leaves_alone(operation, stage)) << operation << ", side " << side;
      end_shortages();
    }
  }
  EXPECT_EQ(growing, 5);
}

TEST(Geometry, GeneratedImagesWithoutColumnsAreTheSame) {
  for (const int width : {0, -3})
    EXPECT_TRUE(test::is_same(test::random_image(width, 16, 2, 1), test::random_image(width, 8, 2, 2))) << width;
  EXPECT_FALSE(test::is_same(test::random_image(-3, 16, 2, 1), test::random_image(-3, 16, 1, 1)));
  EXPECT_EQ(test::random_rect_image(-3, 16, 2, 4, 2.0f).width, -3);
}

}  // namespace
