#include <algorithm>
#include <cstdint>
#include <cstring>
#include <vector>

#include "frame/scratch.h"
#include "zeb/drawing.h"
#include "zeb/morphology.h"
#include "zeb/shapes.h"

namespace {

constexpr int most_layers = 100;
constexpr int most_shapes_in_a_layer = 10000;
constexpr int allocation_attempts = 8000;
constexpr int band = 3;  // what lies this close to an outline is not inside it

class RegionFill {
 public:
  RegionFill(unsigned char* dst, int width, int stride, int height)
      : dst_(dst), width_(width), stride_(stride), height_(height) {}

  /// False for a geometry that the 32-bit sizes cannot hold, too.
  bool has_memory() const {
    if (stride_ < width_ || std::int64_t{height_} * stride_ != area_) return false;
    return layer_ && next_layer_ && filled_ && stamped_;
  }

  /// Starts with the whole of `src`, padding included, as the first layer.
  void take(const unsigned char* src) {
    std::memcpy(layer_.data(), src, bytes_);
    std::memset(dst_, 0, bytes_);
  }

  /// Closes gaps of a few pixels in the outlines.
  void close_outlines() {
    constexpr int dilation = 0, erosion = 1, threshold = 1;
    for (const int radius : {1, 2}) {
      const int square = radius == 1 ? 1 : 0;
      vMMRecursiveMorphOp(next_layer_.data(), layer_.data(), width_, stride_, height_, radius, dilation, threshold,
                          square);
      vMMRecursiveMorphOp(layer_.data(), next_layer_.data(), width_, stride_, height_, radius, erosion, threshold,
                          square);
    }
  }

  void run(const unsigned* cancel) {
    const auto cancelled = [word = static_cast<const volatile unsigned*>(cancel)] {
      return word != nullptr && *word != 0;
    };
    std::memset(filled_.data(), 0, bytes_);
    std::memset(stamped_.data(), 0, bytes_);
    for (int depth = 0; depth < most_layers && !cancelled(); ++depth) {
      std::memset(next_layer_.data(), 0, bytes_);
      const unsigned char value = depth % 2 == 0 ? 255 : 0;
      first_row_ = 0;
      int shapes = 0;
      while (shapes < most_shapes_in_a_layer && !cancelled()) {
        const Found found = fill_next_shape(value);
        if (found == Found::nothing) break;
        ++shapes;
        // It would be found again and again, up to the limit, and nothing would change.
        if (found == Found::lone_pixel) break;
      }
      if (shapes == 0) return;
      std::memcpy(layer_.data(), next_layer_.data(), bytes_);
    }
  }

 private:
  using Plane = zeb::frame::Scratch<unsigned char>;
  enum class Found { nothing, lone_pixel, area };

  /// Finds the topmost shape of the layer, paints its area, moves what lies well inside it to the next layer and takes
  /// all of it out of this one.
  Found fill_next_shape(unsigned char value) {
    std::vector<char> chain;
    int x = 0, y = 0, min_x = 0, min_y = 0, max_x = 0, max_y = 0;
    // What lay above the shape before is gone, so the search goes on in its row.
    if (!vShapePlusBM(chain, layer_.data(), filled_.data(), width_, stride_, height_, &x, &y, &min_x, &max_x, &min_y,
                      &max_y, first_row_))
      return Found::nothing;
    first_row_ = y;
    if (chain.size() == 1) return Found::lone_pixel;
    ShapeBM(stamped_.data(), chain.data(), width_, stride_, height_, static_cast<int>(chain.size()), x, y, -band);

    const unsigned char clear = 0;
    unsigned char* const inside = stamped_.data();
    // The stamps reach beyond the shape; nothing else is set in either plane.
    const int left = std::max(min_x - band, 0), top = std::max(min_y - band, 0);
    const int right = std::min(max_x + band, width_ - 1), bottom = std::min(max_y + band, height_ - 1);
    const std::ptrdiff_t all = std::ptrdiff_t{top} * stride_ + left;
    vBMInterleave(inside + all, filled_.data() + all, clear, inside + all, right - left + 1, stride_, bottom - top + 1);

    const int width = max_x - min_x + 1, height = max_y - min_y + 1;
    const std::ptrdiff_t box = std::ptrdiff_t{min_y} * stride_ + min_x;
    unsigned char *const layer = layer_.data() + box, *const next = next_layer_.data() + box,
                         *const filled = filled_.data() + box, *const kept = inside + box;
    vBMInterleave(next, next, layer, kept, width, stride_, height);
    vBMInterleave(layer, layer, clear, filled, width, stride_, height);
    vBMInterleave(dst_ + box, dst_ + box, value, filled, width, stride_, height);
    vBMInterleave(kept, clear, clear, kept, width, stride_, height);
    vBMInterleave(filled, clear, clear, filled, width, stride_, height);
    return Found::area;
  }

  unsigned char* dst_;
  int width_, stride_, height_;
  int first_row_ = 0;
  // The size is a 32-bit product.
  std::int32_t area_ =
      static_cast<std::int32_t>(static_cast<std::uint32_t>(height_) * static_cast<std::uint32_t>(stride_));
  std::size_t bytes_ = static_cast<std::size_t>(area_);
  Plane layer_{area_, allocation_attempts}, next_layer_{area_, allocation_attempts};
  Plane filled_{area_, allocation_attempts};   // the area of the current shape, else 0
  Plane stamped_{area_, allocation_attempts};  // the band along its outline, then what lies inside of it, else 0
};

}  // namespace

void FloodFill(unsigned char* dst, const unsigned char* src, int width, int height, int stride, int close,
               unsigned int* cancel) {
  if (dst == nullptr || src == nullptr || width < 1 || height < 1) return;
  RegionFill fill(dst, width, stride, height);
  if (!fill.has_memory()) return;
  fill.take(src);
  if (close != 0) fill.close_outlines();
  fill.run(cancel);
}

void FloodFill(unsigned char* dst, const unsigned char* src, int width, int height, int stride, unsigned int* cancel) {
  FloodFill(dst, src, width, height, stride, 1, cancel);
}
