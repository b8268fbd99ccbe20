#include "zeb/statistics.h"

#include <algorithm>
#include <vector>

#include "bench/scene.h"

namespace zeb::bench {
namespace {

/// Two images of blobs, 0 and 255; the first serves as a mask, too.
struct BinaryImages {
  Image<unsigned char> a, b;

  static std::shared_ptr<BinaryImages> make(Size size) { return std::make_shared<BinaryImages>(size); }
  explicit BinaryImages(Size size) : a(blobs(size)), b(blobs(size)) {
    for (int y = 0; y < size.height; ++y) std::reverse(b.row(y), b.row(y) + size.width);
  }
#ifdef ZEB_BENCH_OPENCV
  cv::Mat peer_a = peer_view(a), peer_b = peer_view(b), combined;
#endif
};

Body pair_body(Size size, L1_norm_mode mode) {
  return [i = BinaryImages::make(size), mode] { benchmark::DoNotOptimize(l1_norm(i->a, i->b, mode)); };
}

/// Histograms of `Pictures`, either of the two kinds of images.
template <class Pictures>
void compare_histogram(const char* operation, Size size) {
  compare(
      operation, size, 1,
      [=] {
        return [i = Pictures::make(size), hist = std::vector<float>(256)]() mutable {
          bitmap_histogram(hist.data(), i->a.data, i->a.width, i->a.stride, i->a.height);
          benchmark::DoNotOptimize(hist.data());
        };
      },
      ZEB_BENCH_PEER([=] {
        return [i = Pictures::make(size), hist = cv::Mat()]() mutable {
          const int channels[] = {0}, bins[] = {256};
          const float range[] = {0, 256};
          const float* ranges[] = {range};
          cv::calcHist(&i->peer_a, 1, channels, cv::noArray(), hist, 1, bins, ranges);
        };
      }));
}

void compare_histograms(Size size) {
  compare_histogram<Images>("histogram", size);
  // Long runs of equal pixels, which make a plain counter wait for itself.
  compare_histogram<BinaryImages>("histogram of blobs", size);
  compare(
      "row means", size, 1,
      [=] { return [i = Images::make(size)] { benchmark::DoNotOptimize(line_histogram(i->a).data()); }; },
      ZEB_BENCH_PEER([=] {
        return [i = Images::make(size), means = cv::Mat()]() mutable {
          cv::reduce(i->peer_a, means, 1, cv::REDUCE_AVG, CV_32F);
        };
      }));
}

void compare_measures(Size size) {
  compare(
      "sum", size, 1, [=] { return [i = Images::make(size)] { benchmark::DoNotOptimize(sum(i->a)); }; },
      ZEB_BENCH_PEER([=] { return [i = Images::make(size)] { benchmark::DoNotOptimize(cv::sum(i->peer_a)); }; }));
  const Prepare peer_mean = ZEB_BENCH_PEER([=] {
    return [i = Images::make(size), m = BinaryImages::make(size)] {
      benchmark::DoNotOptimize(cv::mean(i->peer_a, m->peer_a));
    };
  });
  compare(
      "masked mean", size, 2,
      [=] {
        return
            [i = Images::make(size), m = BinaryImages::make(size)] { benchmark::DoNotOptimize(average(i->a, m->a)); };
      },
      peer_mean);
  compare(
      "masked mean, scalar form", size, 2,
      [=] {
        return [i = Images::make(size), m = BinaryImages::make(size)] {
          benchmark::DoNotOptimize(fGetBMAver(i->a.data, m->a.data, i->a.width, i->a.stride, i->a.height));
        };
      },
      peer_mean);
  compare(
      "share of set pixels", size, 1,
      [=] { return [i = BinaryImages::make(size)] { benchmark::DoNotOptimize(patternL1Norm(i->a)); }; },
      ZEB_BENCH_PEER(
          [=] { return [i = BinaryImages::make(size)] { benchmark::DoNotOptimize(cv::countNonZero(i->peer_a)); }; }));
  // The peer has the difference of two images as a measure, and needs a combined image for the others.
  compare(
      "pair norm, both set", size, 2, [=] { return pair_body(size, L1_norm_mode::And); }, ZEB_BENCH_PEER([=] {
        return [i = BinaryImages::make(size)] {
          cv::bitwise_and(i->peer_a, i->peer_b, i->combined);
          benchmark::DoNotOptimize(cv::countNonZero(i->combined));
        };
      }));
  compare(
      "pair norm, any set", size, 2, [=] { return pair_body(size, L1_norm_mode::Or); }, ZEB_BENCH_PEER([=] {
        return [i = BinaryImages::make(size)] {
          cv::bitwise_or(i->peer_a, i->peer_b, i->combined);
          benchmark::DoNotOptimize(cv::countNonZero(i->combined));
        };
      }));
  compare(
      "pair norm, one set", size, 2, [=] { return pair_body(size, L1_norm_mode::MatchingDistance); },
      ZEB_BENCH_PEER([=] {
        return
            [i = BinaryImages::make(size)] { benchmark::DoNotOptimize(cv::norm(i->peer_a, i->peer_b, cv::NORM_L1)); };
      }));
  compare(
      "normalise brightness", size, 2,
      [=] { return [i = Images::make(size)] { benchmark::DoNotOptimize(norm(i->dst, i->a, 100)); }; },
      ZEB_BENCH_PEER([=] {
        return [i = Images::make(size)] { i->peer_a.convertTo(i->peer_dst, -1, 100 / cv::mean(i->peer_a)[0]); };
      }));
}

const bool registered = [] {
  for (const Size size : sizes) {
    compare_histograms(size);
    compare_measures(size);
  }
  return true;
}();

}  // namespace
}  // namespace zeb::bench
