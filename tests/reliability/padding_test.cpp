#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <memory>

#include "tests/reliability/stage.h"

using namespace zeb::reliability;

namespace {

/// What stands in the padding and behind the last row: given bytes or, for a memory checker, nothing at all.
enum class Outside { zeros, ones, undefined };

/// The four images of a stage in heap blocks, of which only the pixels are set.
class Framed {
 public:
  Framed(int width, int stride, int height, Outside outside)
      : width_(width), stride_(stride), height_(height), call_(parameters()) {
    const Stage drawn(width, stride, height);
    for (std::size_t k = 0; k < 4; ++k) {
      const std::size_t size = drawn.images()[k].size();
      images_[k].reset(new unsigned char[size]);
      if (outside != Outside::undefined) std::memset(images_[k].get(), outside == Outside::ones ? 255 : 0, size);
      for (int y = 0; y < height; ++y) std::memcpy(row(k, y), drawn.images()[k].data() + y * stride, pixels_in_row());
    }
    call_.w = width;
    call_.s = stride;
    call_.h = height;
    call_.dst = row(0, 0);
    call_.src = row(1, 0);
    call_.edges = row(2, 0);
    call_.mask = row(3, 0);
    call_.view();
  }

  Call& call() { return call_; }

  friend bool same_results(const Framed& a, const Framed& b) {
    if (!Outcome{{}, a.call_.notes}.same_notes(b.call_.notes)) return false;
    for (std::size_t k = 0; k < 4; ++k)
      for (int y = 0; y < a.height_; ++y)
        if (std::memcmp(a.row(k, y), b.row(k, y), a.pixels_in_row()) != 0) return false;
    return true;
  }

 private:
  std::size_t pixels_in_row() const { return static_cast<std::size_t>(width_); }
  unsigned char* row(std::size_t image, int y) const { return images_[image].get() + y * stride_; }

  int width_, stride_, height_;
  std::unique_ptr<unsigned char[]> images_[4];
  Call call_;
};

// Under a memory checker the third run has padding without a value, which the comparison must not come to depend on.
TEST(Padding, DecidesNoPixelAndNoResult) {
  for (const Operation& operation : catalogue()) {
    if ((operation.traits & (own_layout | reads_beside)) != 0) continue;
    for (const int width : {5, 16, 37, 60}) {
      const auto run = [&](Outside outside) {
        Framed framed(width, width + 24, 30, outside);
        std::srand(1);
        operation.run(framed.call());
        return framed;
      };
      const Framed zeros = run(Outside::zeros);
      EXPECT_TRUE(same_results(zeros, run(Outside::ones))) << operation << ", width " << width;
      EXPECT_TRUE(same_results(zeros, run(Outside::undefined))) << operation << ", width " << width;
    }
  }
}

}  // namespace
