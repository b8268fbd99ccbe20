#include "zeb/drawing.h"

#include "bench/scene.h"

namespace zeb::bench {
namespace {

using Scene = std::shared_ptr<Image<unsigned char>>;

Scene flat(Size size) { return std::make_shared<Image<unsigned char>>(black(size)); }

/// A comb of corridors, one pixel wide, that a fill has to follow from end to end.
Scene maze(Size size) {
  Scene image = flat(size);
  for (int x = 1; x < size.width; x += 2)
    for (int y = x % 4 == 1 ? 1 : 0; y < size.height - (x % 4 == 1 ? 0 : 1); ++y) image->at(y, x) = 100;
  return image;
}

/// Each call fills with another value, so that there is always something to fill.
Body fill(Scene image) {
  return [image, value = static_cast<unsigned char>(0)]() mutable {
    value = value == 1 ? 2 : 1;
    flood_fill(*image, {0, 0}, value);
  };
}

#ifdef ZEB_BENCH_OPENCV
Body peer_fill(Scene image) {
  return [image, value = 0]() mutable {
    value = value == 1 ? 2 : 1;
    cv::Mat view = peer_view(*image);
    cv::floodFill(view, {0, 0}, cv::Scalar(value), nullptr, {}, {}, 4);
  };
}
#endif

void compare_all(Size size) {
  compare(
      "choice under a mask", size, 4,
      [=] {
        return [i = Images::make(size), mask = std::make_shared<Image<unsigned char>>(blobs(size))] {
          interleave(i->dst, i->a, i->b, *mask);
        };
      },
      // The peer needs two steps.
      ZEB_BENCH_PEER([=] {
        return [i = Images::make(size), mask = std::make_shared<Image<unsigned char>>(blobs(size))] {
          i->peer_a.copyTo(i->peer_dst);
          i->peer_b.copyTo(i->peer_dst, peer_view(*mask));
        };
      }));
  compare(
      "fill of a whole image", size, 2, [=] { return fill(flat(size)); },
      ZEB_BENCH_PEER([=] { return peer_fill(flat(size)); }));
  compare(
      "fill of a maze", size, 2, [=] { return fill(maze(size)); },
      ZEB_BENCH_PEER([=] { return peer_fill(maze(size)); }));
  compare("layered fill", size, 0, [=] {
    return [i = Images::make(size), outlines = std::make_shared<Image<unsigned char>>(blobs(size))] {
      FloodFill(i->dst.data, outlines->data, outlines->width, outlines->height, outlines->stride, 0, nullptr);
    };
  });
}

const bool registered = [] {
  for (const Size size : sizes) compare_all(size);
  return true;
}();

}  // namespace
}  // namespace zeb::bench
