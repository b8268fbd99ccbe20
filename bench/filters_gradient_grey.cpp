#include <cstring>
#include <string>
#include <vector>

#include "bench/scene.h"
#include "zeb/filters.h"

namespace zeb::bench {
namespace {

/// A body that calls `run(images)` on images of its own.
template <class Run>
Prepare on_noise(Size size, Run run) {
  return [=] { return [i = Images::make(size), run]() mutable { run(*i); }; };
}

/// The same on bright discs, as binary filters meet them.
template <class Run>
Prepare on_blobs(Size size, Run run) {
  return [=] {
    const auto images = Images::make(size);
    const Image<unsigned char> source = blobs(size);
    std::memcpy(images->a.data, source.data, static_cast<std::size_t>(source.end() - source.begin()));
    return [images, run]() mutable { run(*images); };
  };
}

void compare_gradients(Size size) {
  // The peer makes two float images and their lengths, and converts those.
  compare("Sobel magnitude", size, 2, on_noise(size, [](Images& i) { sobel(i.dst, i.a); }),
          ZEB_BENCH_PEER(on_noise(size, [x = cv::Mat(), y = cv::Mat(), length = cv::Mat()](Images& i) mutable {
            cv::Sobel(i.peer_a, x, CV_32F, 1, 0);
            cv::Sobel(i.peer_a, y, CV_32F, 0, 1);
            cv::magnitude(x, y, length);
            length.convertTo(i.peer_dst, CV_8U, 0.25);
          })));
  compare("Sobel components", size, 3,
          on_noise(size,
                   [](Images& i) { FastGradient(i.dst.data, i.b.data, i.a.data, i.a.width, i.a.stride, i.a.height); }),
          ZEB_BENCH_PEER(on_noise(size, [](Images& i) {
            cv::Sobel(i.peer_a, i.peer_dst, CV_8U, 1, 0, 3, 0.125, 128);
            cv::Sobel(i.peer_a, i.peer_b, CV_8U, 0, 1, 3, 0.125, 128);
          })));
  compare("edges above the mean energy", size, 2, on_noise(size, [](Images& i) { kantenfilter(i.dst, i.a, 0, 0); }));
  compare("edges by correlation", size, 2, on_noise(size, [](Images& i) { kantenfilter(i.dst, i.a, 1, 0); }));
}

void compare_grey_levels(Size size) {
  compare("histogram equalisation", size, 3,
          on_noise(size, [](Images& i) { vHistEqual(i.dst.data, i.a.data, i.a.width, i.a.stride, i.a.height); }),
          ZEB_BENCH_PEER(on_noise(size, [](Images& i) { cv::equalizeHist(i.peer_a, i.peer_dst); })));
  // The nearest filter of the peer weighs all pixels alike and takes their median.
  compare("grey filter 9x9", size, 2,
          on_noise(size, [](Images& i) { vGreyFilter(i.dst.data, i.a.data, i.a.width, i.a.stride, i.a.height); }),
          ZEB_BENCH_PEER(on_noise(size, [](Images& i) { cv::medianBlur(i.peer_a, i.peer_dst, 9); })));
  compare(
      "coarse grain 4x4", size, 1.0625,
      on_noise(size, [](Images& i) { vCoarseGrain(i.dst.data, i.a.data, i.a.width, i.a.height, i.a.stride, 4, 4, 0); }),
      ZEB_BENCH_PEER(on_noise(size, [](Images& i) {
        cv::Mat corner = i.peer_dst(cv::Rect(0, 0, i.a.width / 4, i.a.height / 4));
        cv::resize(i.peer_a, corner, corner.size(), 0, 0, cv::INTER_AREA);
      })));
  compare("fine grain 4x4", size, 1.0625,
          on_noise(size, [](Images& i) { vFineGrain(i.dst.data, i.a.data, i.a.width, i.a.height, i.a.stride, 4, 4); }),
          ZEB_BENCH_PEER(on_noise(size, [](Images& i) {
            const cv::Mat corner = i.peer_a(cv::Rect(0, 0, i.a.width / 4, i.a.height / 4));
            cv::resize(corner, i.peer_dst, i.peer_dst.size(), 0, 0, cv::INTER_NEAREST);
          })));
  compare("line-likeness r=3", size, 2, on_blobs(size, [](Images& i) {
            vCovariance(i.dst.data, i.a.data, i.a.width, i.a.height, i.a.stride, 3, 0.5f);
          }));
  // The peer's window is square, and it counts 255 for each set pixel.
  const auto density = [](Images& i, int radius) {
    vDiscriminator(i.dst.data, i.a.data, i.a.width, i.a.stride, i.a.height, radius, 0.5f, 0);
  };
  compare("density threshold r=5", size, 2, on_blobs(size, [=](Images& i) { density(i, 5); }),
          ZEB_BENCH_PEER(on_blobs(size, [](Images& i) {
            cv::blur(i.peer_a, i.peer_dst, {11, 11}, {-1, -1}, cv::BORDER_CONSTANT);
            cv::threshold(i.peer_dst, i.peer_dst, 127, 255, cv::THRESH_BINARY);
          })));
  for (const int radius : {2, 5, 20}) {
    compare("event remover r=" + std::to_string(radius), size, 2, on_blobs(size, [=](Images& i) {
              vMMEventRemover(i.dst.data, i.a.data, i.a.width, i.a.stride, i.a.height, radius, 100, 7, 0);
            }));
  }
}

void compare_normalisation(Size size) {
  for (const int by_rows : {0, 1}) {
    compare(by_rows ? "row gains" : "column gains", size, 3, on_noise(size, [=](Images& i) {
              vLineRowFilter(i.dst.data, i.a.data, 1, 254, 0.2f, 0.8f, by_rows, i.a.width, i.a.stride, i.a.height, 8);
            }));
  }
  compare("surface normalisation", size, 2, on_noise(size, [](Images& i) {
            AdaNorm(
                i.dst.data, i.a.data, {100.0f, 0.01f, 0.02f}, 0, 0,
                [](const std::vector<float>& c, float x, float y) { return c[0] + c[1] * x + c[2] * y; }, i.a.width,
                i.a.stride, i.a.height, 0, i.a.width, 0, i.a.height, 128);
          }));
}

const bool registered = [] {
  for (const Size size : sizes) {
    compare_gradients(size);
    compare_grey_levels(size);
    compare_normalisation(size);
  }
  return true;
}();

}  // namespace
}  // namespace zeb::bench
