#pragma once

#include <benchmark/benchmark.h>

#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "zeb/image.h"

#ifdef ZEB_BENCH_OPENCV
#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>
#endif

/// What the benchmark files share: the images, and how a row of the table is registered.
namespace zeb::bench {

struct Size {
  int width, height;
};
/// Squares with the sides that the environment variable ZEB_BENCH_SIDES lists, such as "512 1024"; without it 512x512,
/// 2048x2048 and 8192x2048.
std::vector<Size> chosen_sizes();
inline const std::vector<Size> sizes = chosen_sizes();

/// A fixed random image of the given size (stride = width), the same on each call with the same `seed`.
Image<unsigned char> noise(Size size, unsigned seed);
/// A black image.
Image<unsigned char> black(Size size);
/// A fixed image of 0 and 255: bright discs of many sizes on a dark ground, a fifth of the area.
Image<unsigned char> blobs(Size size);

#ifdef ZEB_BENCH_OPENCV
/// The pixels of an image seen by the peer, without a copy.
inline cv::Mat peer_view(Mat<unsigned char>& image) {
  return cv::Mat(image.height, image.width, CV_8UC1, image.data, static_cast<std::size_t>(image.stride));
}
#endif

/// One call processes one image.
using Body = std::function<void()>;
/// Makes the images that a body works on; called when its benchmark's turn comes.
using Prepare = std::function<Body()>;

/// Adds a row to the table: `ours`, and `peer` where there is one, on images of `size`. Times are divided by the number
/// of pixels. `bytes_per_pixel` counts what the operation has to read and write, to be held against the bandwidth of a
/// copy, which moves 2; 0 leaves the figure out.
void compare(const std::string& operation, Size size, double bytes_per_pixel, const Prepare& ours,
             const Prepare& peer = {});

/// Wraps the peer's `Prepare`, which only compiles where the peer is installed.
#ifdef ZEB_BENCH_OPENCV
#define ZEB_BENCH_PEER(...) __VA_ARGS__
#else
#define ZEB_BENCH_PEER(...) \
  ::zeb::bench::Prepare {}
#endif

/// Two sources of noise and a destination, as most operations need them.
struct Images {
  Image<unsigned char> a, b, dst;

  static std::shared_ptr<Images> make(Size size) { return std::make_shared<Images>(size); }
  explicit Images(Size size) : a(noise(size, 1)), b(noise(size, 2)), dst(noise(size, 3)) {}
#ifdef ZEB_BENCH_OPENCV
  cv::Mat peer_a = peer_view(a), peer_b = peer_view(b), peer_dst = peer_view(dst);
#endif
};

}  // namespace zeb::bench
