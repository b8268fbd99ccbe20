#include "zeb/fitting.h"

#include <algorithm>
#include <vector>

#include "bench/scene.h"
#include "zeb/drawing.h"

namespace zeb::bench {
namespace {

using Scene = std::shared_ptr<Image<unsigned char>>;

/// Edges of a part: three straight lines, three pixels wide.
Scene line_drawing(Size size) {
  Scene image = std::make_shared<Image<unsigned char>>(black(size));
  const int w = size.width, h = size.height;
  vLine(image->data, w / 8, h / 4, w - w / 6, h / 3, w, h, 255, 1);
  vLine(image->data, w / 3, h / 10, w / 4, h - h / 8, w, h, 255, 1);
  vLine(image->data, w / 10, h - h / 5, w - w / 10, h - h / 4, w, h, 255, 1);
  return image;
}

Scene ring(Size size) {
  Scene image = std::make_shared<Image<unsigned char>>(black(size));
  const int side = std::min(size.width, size.height);
  vDrawCircle(image->data, size.width, size.height, size.width, size.width / 2, size.height / 2,
              0.4f * static_cast<float>(side), 2.0f, 255, 0);
  return image;
}

/// A bright square, turned by some eleven degrees.
Scene turned_rectangle(Size size) {
  Scene image = std::make_shared<Image<unsigned char>>(black(size));
  const float w = static_cast<float>(size.width), h = static_cast<float>(size.height), a = 0.3f * h, b = 0.1f * h;
  float x[] = {w / 2 - a, w / 2 + a - b, w / 2 + a, w / 2 - a + b},
        y[] = {h / 2 - a + b, h / 2 - a, h / 2 + a - b, h / 2 + a};
  PolyToBMMask(image->data, x, y, 4, size.width, size.width, size.height);
  return image;
}

void compare_all(Size size) {
  // The peer votes for all active pixels and returns all lines above a threshold; ours samples and returns ten.
  compare(
      "lines in an edge image", size, 1,
      [=] {
        return [i = line_drawing(size)] {
          float angles[10], distances[10];
          int count;
          CalcLinesRandom(angles, distances, nullptr, 0, nullptr, 0, &count, i->data, i->width, i->height, i->stride);
          benchmark::DoNotOptimize(angles);
        };
      },
      ZEB_BENCH_PEER([=] {
        return [i = line_drawing(size), s = size] {
          std::vector<cv::Vec2f> lines;
          cv::HoughLines(peer_view(*i), lines, 1, CV_PI / 180, s.height / 4);
          benchmark::DoNotOptimize(lines.data());
        };
      }));
  // The peer finds edges itself and searches radii around the true one only; ours takes edges and any radius.
  compare(
      "circle in an edge image", size, 1,
      [=] {
        return [i = ring(size)] {
          float radius, x, y;
          CalcCircleRandom(&radius, &x, &y, i->data, i->width, i->height, i->stride);
          benchmark::DoNotOptimize(radius);
        };
      },
      ZEB_BENCH_PEER([=] {
        return [i = ring(size), s = size] {
          std::vector<cv::Vec3f> circles;
          const int radius = 2 * std::min(s.width, s.height) / 5;
          cv::HoughCircles(peer_view(*i), circles, cv::HOUGH_GRADIENT, 2, radius, 100, 50, radius - 20, radius + 20);
          benchmark::DoNotOptimize(circles.data());
        };
      }));
  // The peer has no such operation: its gradient, threshold and line search in a row stand for it.
  compare(
      "rectangle detection", size, 1,
      [=] {
        return [i = turned_rectangle(size)] {
          float x[4], y[4];
          benchmark::DoNotOptimize(detect_rect_rand_clust(i->data, i->width, i->stride, i->height, x, y, 0, 0));
        };
      },
      ZEB_BENCH_PEER([=] {
        return [i = turned_rectangle(size), s = size] {
          cv::Mat dx, dy, magnitude, edges;
          cv::Sobel(peer_view(*i), dx, CV_32F, 1, 0);
          cv::Sobel(peer_view(*i), dy, CV_32F, 0, 1);
          cv::magnitude(dx, dy, magnitude);
          edges = magnitude > 400;
          std::vector<cv::Vec2f> lines;
          cv::HoughLines(edges, lines, 1, CV_PI / 180, s.height / 4);
          benchmark::DoNotOptimize(lines.data());
        };
      }));
  compare(
      "enclosing rectangle", size, 1,
      [=] { return [i = ring(size)] { benchmark::DoNotOptimize(enclosing_orthogonal_rectangle(*i).bottom_right.x); }; },
      ZEB_BENCH_PEER([=] { return [i = ring(size)] { benchmark::DoNotOptimize(cv::boundingRect(peer_view(*i))); }; }));
  // The peer computes moments of the third order with it.
  compare(
      "centre of gravity", size, 1,
      [=] {
        return [i = Images::make(size)] {
          float x, y;
          benchmark::DoNotOptimize(fGetBMCG(i->a.data, i->a.width, i->a.stride, i->a.height, &x, &y));
        };
      },
      ZEB_BENCH_PEER([=] { return [i = Images::make(size)] { benchmark::DoNotOptimize(cv::moments(i->peer_a)); }; }));
  compare("fine edge per column", size, 1, [=] {
    return [i = Images::make(size), positions = std::vector<float>(static_cast<std::size_t>(size.width))]() mutable {
      GetEdgeFineRes(positions.data(), i->a.data, i->a.width, i->a.stride, i->a.height, 0, 10.0f);
      benchmark::DoNotOptimize(positions.data());
    };
  });
  compare("border by threshold", size, 1, [=] {
    return [i = Images::make(size)] {
      benchmark::DoNotOptimize(border_by_threshold(i->a, Image_Side::Left, 0, 250, ThresholdMode::Standard).data());
    };
  });
  // The peer fills any convex polygon into an image that is already black.
  compare(
      "polygon mask", size, 1,
      [=] {
        return [i = Images::make(size), w = static_cast<float>(size.width), h = static_cast<float>(size.height)] {
          float x[] = {w * 0.1f, w * 0.9f, w * 0.5f}, y[] = {h * 0.2f, h * 0.4f, h * 0.9f};
          PolyToBMMask(i->dst.data, x, y, 3, i->dst.width, i->dst.stride, i->dst.height);
        };
      },
      ZEB_BENCH_PEER([=] {
        return [i = Images::make(size), w = size.width, h = size.height] {
          const cv::Point corners[] = {{w / 10, h / 5}, {w * 9 / 10, h * 2 / 5}, {w / 2, h * 9 / 10}};
          i->peer_dst.setTo(0);
          cv::fillConvexPoly(i->peer_dst, corners, 3, 255);
        };
      }));
}

const bool registered = [] {
  for (const Size size : sizes) compare_all(size);
  return true;
}();

}  // namespace
}  // namespace zeb::bench
