#include "zeb/morphology.h"

#include <string>

#include "bench/scene.h"

namespace zeb::bench {
namespace {

/// Discs of many sizes, and where they are eroded to.
struct Blobs {
  Image<unsigned char> src, dst;

  static std::shared_ptr<Blobs> make(Size size) { return std::make_shared<Blobs>(size); }
  explicit Blobs(Size size) : src(blobs(size)), dst(noise(size, 3)) {}
#ifdef ZEB_BENCH_OPENCV
  cv::Mat peer_src = peer_view(src), peer_dst = peer_view(dst);
#endif
};

#ifdef ZEB_BENCH_OPENCV
/// The square is our element; the peer's ellipse differs from our disk by some pixels and costs the same.
cv::Mat peer_element(int radius, bool rectangular) {
  const int shape = rectangular ? cv::MORPH_RECT : cv::MORPH_ELLIPSE;
  return cv::getStructuringElement(shape, {2 * radius + 1, 2 * radius + 1});
}
#endif

void compare_erosions(Size size, int radius, bool rectangular) {
  const std::string shape = rectangular ? "square" : "disk";
  compare(
      "erosion, " + shape + " of radius " + std::to_string(radius), size, 2,
      [=] {
        return [=, i = Blobs::make(size)] { erode(i->dst, i->src, radius, 100, MorphOpMode::morph_auto, rectangular); };
      },
      ZEB_BENCH_PEER([=] {
        return [i = Blobs::make(size), element = peer_element(radius, rectangular)] {
          cv::erode(i->peer_src, i->peer_dst, element);
        };
      }));
}

/// The kernels that the automatic choice passes over.
void compare_kernels(Size size) {
  for (const int radius : {20, 63})
    compare("running count, disk of radius " + std::to_string(radius), size, 2, [=] {
      return [=, i = Blobs::make(size)] { erode(i->dst, i->src, radius, 100, MorphOpMode::morph_recursive, false); };
    });
  compare("running count, ellipse of radii 20 and 90", size, 2, [=] {
    return [=, i = Blobs::make(size)] {
      vMMRecursiveEllipticMorphOp(i->dst.data, i->src.data, i->src.width, i->src.stride, i->src.height, 20, 90, 0, 0, 1,
                                  100, 0);
    };
  });
  compare("stamped ellipse of radii 90 and 20", size, 2, [=] {
    return [=, i = Blobs::make(size)] {
      vMorphOpThinEllipse(i->dst.data, i->src.data, i->src.width, i->src.stride, i->src.height, 90, 20, 0, 0, 1, 100,
                          0);
    };
  });
  compare("closing, disk of radius 10", size, 2, [=] {
    return [=, i = Blobs::make(size)] { closing(i->dst, i->src, 10, 100, MorphOpMode::morph_auto, false); };
  });
}

const bool registered = [] {
  for (const Size size : sizes) {
    for (const int radius : {2, 5, 10, 20, 40, 100, 250}) compare_erosions(size, radius, false);
    for (const int radius : {2, 10, 40, 100}) compare_erosions(size, radius, true);
    compare_kernels(size);
  }
  return true;
}();

}  // namespace
}  // namespace zeb::bench
