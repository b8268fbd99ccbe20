#include <string>
#include <utility>

#include "bench/scene.h"
#include "zeb/filters.h"

namespace zeb::bench {
namespace {

#ifdef ZEB_BENCH_OPENCV
cv::Mat peer_kernel(const Matrix<int>& kernel) {
  cv::Mat as_float;
  cv::Mat(kernel.rows, kernel.cols, CV_32S, kernel.data).convertTo(as_float, CV_32F);
  return as_float;
}
#endif

void compare_convolutions(Size size) {
  const Matrix<int> smoothing(5, 5,
                              {1, 4, 6, 4, 1, 4, 16, 24, 16, 4, 6, 24, 36, 24, 6, 4, 16, 24, 16, 4, 1, 4, 6, 4, 1});
  const Matrix<int> ones(5, 5, {1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1});
  const Matrix<int> laplacian(
      5, 5, {-1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, 24, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1});
  const std::pair<const char*, Matrix<int>> kernels[] = {{"5x5 convolution, smoothing", smoothing},
                                                         {"5x5 convolution, ones", ones},
                                                         {"5x5 convolution, Laplacian", laplacian}};
  // The peer multiplies in float and yields float; ours makes a new image with each call.
  for (const auto& [name, kernel] : kernels)
    compare(
        name, size, 5,
        [size, kernel = kernel] {
          return [i = Images::make(size), kernel] { benchmark::DoNotOptimize(convolution(i->a, kernel, 0)); };
        },
        ZEB_BENCH_PEER([size, kernel = kernel] {
          return [i = Images::make(size), kernel = peer_kernel(kernel)] {
            cv::Mat result;
            cv::filter2D(i->peer_a, result, CV_32F, kernel);
            benchmark::DoNotOptimize(result.data);
          };
        }));
}

void compare_boxes(Size size) {
  for (const int side : {5, 15, 51, 201}) {
    const std::string window = std::to_string(side) + 'x' + std::to_string(side);
    compare(
        "box low-pass " + window, size, 2,
        [=] { return [i = Images::make(size), side] { lp_filter(i->dst, i->a, side, side); }; }, ZEB_BENCH_PEER([=] {
          return [i = Images::make(size), side] {
            cv::blur(i->peer_a, i->peer_dst, cv::Size(side, side), cv::Point(-1, -1), cv::BORDER_REPLICATE);
          };
        }));
    // The peer needs a second pass.
    compare(
        "box high-pass " + window, size, 2,
        [=] { return [i = Images::make(size), side] { hp_filter(i->dst, i->a, side, side, 128); }; },
        ZEB_BENCH_PEER([=] {
          return [i = Images::make(size), side] {
            cv::blur(i->peer_a, i->peer_dst, cv::Size(side, side), cv::Point(-1, -1), cv::BORDER_REPLICATE);
            cv::addWeighted(i->peer_a, 1, i->peer_dst, -1, 128, i->peer_dst);
          };
        }));
  }
  // The peer has no masked mean.
  compare("masked box low-pass 15x15", size, 3, [=] {
    return [i = Images::make(size), mask = std::make_shared<Image<unsigned char>>(blobs(size))] {
      lp_filter(i->dst, i->a, *mask, 15, 15);
    };
  });
  compare("box low-pass 15x15, scalar form", size, 2, [=] {
    return [i = Images::make(size)] {
      vBM_LPFilter(i->dst.data, i->a.data, nullptr, i->a.width, i->a.stride, i->a.height, 15, 15);
    };
  });
  compare("box low-pass 15x15 of a table", size, 2, [=] {
    return [i = Images::make(size)] {
      vMMBM_LPIncrease(i->dst.data, i->a.data, nullptr, i->a.width, i->a.stride, i->a.height, 15, 15, 2.0f, 100);
    };
  });
}

void compare_all(Size size) {
  compare_convolutions(size);
  compare_boxes(size);
  compare(
      "transposition", size, 2,
      [=] {
        return [i = Images::make(size)] {
          TransposeBM(i->dst.data, i->a.data, i->a.height, i->a.width, i->a.width, i->a.stride, i->a.height);
        };
      },
      ZEB_BENCH_PEER([=] {
        return [i = Images::make(size)] {
          cv::Mat turned(i->peer_dst.cols, i->peer_dst.rows, CV_8UC1, i->peer_dst.data);
          cv::transpose(i->peer_a, turned);
        };
      }));
}

const bool registered = [] {
  for (const Size size : sizes) compare_all(size);
  return true;
}();

}  // namespace
}  // namespace zeb::bench
