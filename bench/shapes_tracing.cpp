#include <algorithm>
#include <string>
#include <utility>
#include <vector>

#include "bench/scene.h"
#include "zeb/point_ops.h"
#include "zeb/shapes.h"

namespace zeb::bench {
namespace {

/// A scene to trace, a copy that the tracing consumes, and a picture to draw into.
struct Outlines {
  Image<unsigned char> scene, work, drawing;
  std::vector<Shape> shapes;
#ifdef ZEB_BENCH_OPENCV
  std::vector<std::vector<cv::Point>> contours;
#endif

  explicit Outlines(Image<unsigned char>&& pixels, Size size)
      : scene(std::move(pixels)), work(noise(size, 1)), drawing(noise(size, 2)) {
    shapes = traced();
#ifdef ZEB_BENCH_OPENCV
    contours = peer_traced();
#endif
  }

  /// Traced with `ascending`, as the enclosing rectangle needs it. The copy is part of the price, since the peer leaves
  /// its source alone.
  std::vector<Shape> traced() {
    std::copy(scene.begin(), scene.end(), work.begin());
    return get_all_shapes(work, true);
  }

#ifdef ZEB_BENCH_OPENCV
  std::vector<std::vector<cv::Point>> peer_traced() {
    std::vector<std::vector<cv::Point>> found;
    cv::findContours(peer_view(scene), found, cv::RETR_EXTERNAL, cv::CHAIN_APPROX_NONE);
    return found;
  }
#endif
};

/// Bright discs.
std::shared_ptr<Outlines> discs(Size size) { return std::make_shared<Outlines>(blobs(size), size); }

/// A quarter of the pixels set at random: small and ragged shapes.
std::shared_ptr<Outlines> ragged(Size size) {
  Image<unsigned char> pixels = noise(size, 3);
  thresholding(pixels, pixels, 192, 255, ThresholdMode::InverseBinary);
  return std::make_shared<Outlines>(std::move(pixels), size);
}

void rectangles(const std::vector<Shape>& shapes) {
  for (const Shape& shape : shapes) {
    float length = 0, width = 0;
    benchmark::DoNotOptimize(shape.minimum_enclosing_rectangle(&length, &width));
  }
}

#ifdef ZEB_BENCH_OPENCV
void peer_rectangles(const std::vector<std::vector<cv::Point>>& contours) {
  for (const auto& contour : contours) benchmark::DoNotOptimize(cv::minAreaRect(contour));
}
#endif

using MakeScene = std::shared_ptr<Outlines> (*)(Size);

void add_rows(const std::string& scene, Size size, MakeScene make) {
  // The peer lists the pixels of the outer borders; ours are chain codes.
  compare(
      "trace outlines, " + scene, size, 0,
      [=] {
        const auto o = make(size);
        return [=] { benchmark::DoNotOptimize(o->traced()); };
      },
      ZEB_BENCH_PEER([=] {
        const auto o = make(size);
        return [=] { benchmark::DoNotOptimize(o->peer_traced()); };
      }));
  compare(
      "enclosing rectangles, " + scene, size, 0,
      [=] {
        const auto o = make(size);
        return [=] { rectangles(o->shapes); };
      },
      ZEB_BENCH_PEER([=] {
        const auto o = make(size);
        return [=] { peer_rectangles(o->contours); };
      }));
}

/// What an inspection does with every part. Not on noise, where the peer's fill takes minutes.
void add_whole_row(Size size) {
  compare(
      "trace, fill and rectangle, discs", size, 0,
      [=] {
        const auto o = discs(size);
        return [=] {
          const auto shapes = o->traced();
          for (const Shape& shape : shapes) draw_filled_shape(o->drawing, shape, 255);
          rectangles(shapes);
        };
      },
      ZEB_BENCH_PEER([=] {
        const auto o = discs(size);
        return [=] {
          const auto contours = o->peer_traced();
          cv::Mat drawing = peer_view(o->drawing);
          // One by one is the quicker way for the peer.
          for (int i = 0; i < static_cast<int>(contours.size()); ++i)
            cv::drawContours(drawing, contours, i, cv::Scalar(255), cv::FILLED);
          peer_rectangles(contours);
        };
      }));
}

const bool registered = [] {
  for (const Size size : sizes) {
    add_rows("discs", size, discs);
    add_whole_row(size);
    add_rows("noise", size, ragged);
  }
  return true;
}();

}  // namespace
}  // namespace zeb::bench
