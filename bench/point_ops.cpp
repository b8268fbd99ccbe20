#include "zeb/point_ops.h"

#include "bench/scene.h"

namespace zeb::bench {
namespace {

/// Black but for two pixels, which take a bounding box to its limits.
std::shared_ptr<Image<unsigned char>> sparse(Size size) {
  auto image = std::make_shared<Image<unsigned char>>(black(size));
  image->at(size.height / 3, size.width / 3) = image->at(size.height / 2, size.width / 2) = 255;
  return image;
}

void compare_all(Size size) {
  // The peer marks one side of a band only.
  compare(
      "threshold", size, 2,
      [=] { return [i = Images::make(size)] { thresholding(i->dst, i->a, 64, 192, ThresholdMode::Standard); }; },
      ZEB_BENCH_PEER([=] {
        return [i = Images::make(size)] { cv::threshold(i->peer_a, i->peer_dst, 192, 255, cv::THRESH_BINARY); };
      }));
  compare(
      "band threshold", size, 2,
      [=] { return [i = Images::make(size)] { thresholding(i->dst, i->a, 64, 192, ThresholdMode::InverseBinary); }; },
      ZEB_BENCH_PEER([=] { return [i = Images::make(size)] { cv::inRange(i->peer_a, 64, 192, i->peer_dst); }; }));
  compare(
      "bitwise and", size, 3, [=] { return [i = Images::make(size)] { bitwise_and(i->dst, i->a, i->b); }; },
      ZEB_BENCH_PEER([=] { return [i = Images::make(size)] { cv::bitwise_and(i->peer_a, i->peer_b, i->peer_dst); }; }));
  compare(
      "add, saturated", size, 3, [=] { return [i = Images::make(size)] { add_s(i->dst, i->a, i->b); }; },
      ZEB_BENCH_PEER([=] { return [i = Images::make(size)] { cv::add(i->peer_a, i->peer_b, i->peer_dst); }; }));
  compare(
      "subtract, saturated", size, 3, [=] { return [i = Images::make(size)] { sub_s(i->dst, i->a, i->b); }; },
      ZEB_BENCH_PEER([=] { return [i = Images::make(size)] { cv::subtract(i->peer_a, i->peer_b, i->peer_dst); }; }));
  compare(
      "set", size, 1, [=] { return [i = Images::make(size)] { set(i->dst, 7); }; },
      ZEB_BENCH_PEER([=] { return [i = Images::make(size)] { i->peer_dst.setTo(7); }; }));
  // The peer scales in floating point, ours keeps eight bits of the factor.
  compare(
      "scaled multiply", size, 2, [=] { return [i = Images::make(size)] { mul_s(i->dst, i->a, 0.3f); }; },
      ZEB_BENCH_PEER(
          [=] { return [i = Images::make(size)] { cv::multiply(i->peer_a, cv::Scalar(0.3), i->peer_dst); }; }));
  compare(
      "product of two images", size, 3, [=] { return [i = Images::make(size)] { mul_s(i->dst, i->a, i->b, 8); }; },
      ZEB_BENCH_PEER(
          [=] { return [i = Images::make(size)] { cv::multiply(i->peer_a, i->peer_b, i->peer_dst, 1.0 / 256); }; }));
  // The peer divides by 0 to 0 and rounds all pixels alike.
  compare(
      "reciprocal", size, 2,
      [=] {
        return [i = Images::make(size)] {
          vInvertVideo(i->dst.data, i->a.data, i->a.width, i->a.stride, i->a.height, 100, 4);
        };
      },
      ZEB_BENCH_PEER([=] { return [i = Images::make(size)] { cv::divide(1600.0, i->peer_a, i->peer_dst); }; }));
  compare(
      "bounding box of sparse pixels", size, 1,
      [=] {
        return [i = sparse(size)] {
          int box[4];
          vMMGetMinMaxBM(i->data, i->width, i->height, i->stride, box, box + 1, box + 2, box + 3);
          benchmark::DoNotOptimize(box);
        };
      },
      ZEB_BENCH_PEER(
          [=] { return [i = sparse(size)] { benchmark::DoNotOptimize(cv::boundingRect(peer_view(*i))); }; }));
}

const bool registered = [] {
  for (const Size size : sizes) compare_all(size);
  return true;
}();

}  // namespace
}  // namespace zeb::bench
