#include "zeb/transforms.h"

#include <cmath>
#include <utility>
#include <vector>

#include "bench/scene.h"

namespace zeb::bench {
namespace {

/// A warp that keeps most of the image in view: a turn by 0.3 radians about the centre and a little enlargement.
struct Turn {
  float cx, cy, tx = 3.5f, ty = -2.25f, angle = 0.3f, scale = 1.1f;

  explicit Turn(Size size) : cx(static_cast<float>(size.width) / 2), cy(static_cast<float>(size.height) / 2) {}

#ifdef ZEB_BENCH_OPENCV
  /// The same mapping from `dst` back to `src`, as the peer takes it.
  cv::Mat peer_matrix() const {
    const double c = std::cos(angle) / scale, s = std::sin(angle) / scale;
    return (cv::Mat_<double>(2, 3) << c, s, cx - tx - c * cx - s * cy, -s, c, cy - ty + s * cx - c * cy);
  }
#endif
};

using Raw = void(unsigned char*, unsigned char*, int, int, int, float, float, float, float, float, float,
                 unsigned char);

Prepare turning(Raw* warp, Size size) {
  return [=] {
    return [i = Images::make(size), t = Turn(size), warp] {
      warp(i->dst.data, i->a.data, i->a.width, i->a.stride, i->a.height, t.cx, t.cy, t.tx, t.ty, t.angle, t.scale, 0);
    };
  };
}

/// Column and row tables of a gentle distortion, and the two float images that the peer takes in their place.
struct Tables {
  std::vector<float> x, y;

  explicit Tables(Size size) : x(static_cast<std::size_t>(size.width)), y(static_cast<std::size_t>(size.height) + 3) {
    for (std::size_t i = 0; i < x.size(); ++i) x[i] = static_cast<float>(i) + 3 * std::sin(static_cast<float>(i) / 50);
    for (std::size_t i = 0; i < y.size(); ++i) y[i] = 2 * std::sin(static_cast<float>(i) / 70);
  }

#ifdef ZEB_BENCH_OPENCV
  std::pair<cv::Mat, cv::Mat> peer_maps() const {
    const int width = static_cast<int>(x.size()), height = static_cast<int>(y.size()) - 3;
    cv::Mat map_x(height, width, CV_32FC1), map_y(height, width, CV_32FC1);
    for (int row = 0; row < height; ++row)
      for (int column = 0; column < width; ++column) {
        map_x.at<float>(row, column) = x[static_cast<std::size_t>(column)];
        map_y.at<float>(row, column) = static_cast<float>(row) + y[static_cast<std::size_t>(row)];
      }
    return {map_x, map_y};
  }
#endif
};

/// The peer's affine warp, which positions to 1/32 of a pixel.
#ifdef ZEB_BENCH_OPENCV
Prepare peer_turning(Size size, int interpolation) {
  return [=] {
    return [i = Images::make(size), matrix = Turn(size).peer_matrix(), interpolation] {
      cv::warpAffine(i->peer_a, i->peer_dst, matrix, i->peer_a.size(), interpolation | cv::WARP_INVERSE_MAP);
    };
  };
}
#endif

void compare_all(Size size) {
  compare("affine warp, linear", size, 2, turning(mm_transform, size),
          ZEB_BENCH_PEER(peer_turning(size, cv::INTER_LINEAR)));
  compare("affine warp, nearest", size, 2, turning(mm_morph_transform, size),
          ZEB_BENCH_PEER(peer_turning(size, cv::INTER_NEAREST)));
  compare("affine warp, linear, scalar form", size, 2, turning(transform, size),
          ZEB_BENCH_PEER(peer_turning(size, cv::INTER_LINEAR)));
  compare(
      "shear", size, 2, [=] { return [i = Images::make(size)] { shear(i->dst, i->a, 0.02f, -0.01f, 0); }; },
      ZEB_BENCH_PEER([=] {
        const double kx = 0.02 / std::sqrt(2.0), ky = -0.01 / std::sqrt(2.0);
        const cv::Mat matrix = (cv::Mat_<double>(2, 3) << 1 - kx, -kx, 0, -ky, 1 - ky, 0);
        return [i = Images::make(size), matrix] {
          cv::warpAffine(i->peer_a, i->peer_dst, matrix, i->peer_a.size(), cv::INTER_LINEAR | cv::WARP_INVERSE_MAP);
        };
      }));
  compare(
      "translation by whole pixels", size, 2,
      [=] { return [i = Images::make(size)] { translate(i->dst, i->a, 17, -9, 0); }; }, ZEB_BENCH_PEER([=] {
        const cv::Mat matrix = (cv::Mat_<double>(2, 3) << 1, 0, 17, 0, 1, -9);
        return [i = Images::make(size), matrix] {
          cv::warpAffine(i->peer_a, i->peer_dst, matrix, i->peer_a.size(), cv::INTER_NEAREST);
        };
      }));
  // The peer reads a position for each pixel.
  compare(
      "table resampling", size, 2,
      [=] {
        return [i = Images::make(size), t = Tables(size)]() mutable {
          map_data(i->dst.data, i->a.data, i->a.width, i->a.stride, i->a.height, t.x.data(), t.y.data(), 0,
                   i->a.width - 1, 0, i->a.height - 1, 0);
        };
      },
      ZEB_BENCH_PEER([=] {
        return [i = Images::make(size), maps = Tables(size).peer_maps()] {
          cv::remap(i->peer_a, i->peer_dst, maps.first, maps.second, cv::INTER_LINEAR);
        };
      }));
  // The peer makes the maximum for each source pixel and then picks.
  compare(
      "disk maximum, reduced by 4", size, 0,
      [=] {
        return [i = Images::make(size)] {
          int width, height, stride;
          reduce_resolution(i->dst.data, i->a.data, &width, &height, &stride, i->a.width, i->a.height, i->a.stride, 4);
        };
      },
      ZEB_BENCH_PEER([=] {
        const cv::Mat disk = cv::getStructuringElement(cv::MORPH_ELLIPSE, {7, 7});
        return [i = Images::make(size), disk] {
          cv::Mat reduced(i->peer_dst, {0, 0, i->peer_a.cols / 4, i->peer_a.rows / 4});
          cv::Mat maximum;
          cv::dilate(i->peer_a, maximum, disk);
          cv::resize(maximum, reduced, reduced.size(), 0, 0, cv::INTER_NEAREST);
        };
      }));
  compare(
      "downsampling to 0.4", size, 0,
      [=] { return [i = Images::make(size)] { benchmark::DoNotOptimize(downsampling(i->a, 0.4f).data); }; },
      ZEB_BENCH_PEER([=] {
        return [i = Images::make(size)] {
          cv::Mat reduced;
          cv::resize(i->peer_a, reduced, {}, 0.4, 0.4, cv::INTER_LINEAR);
          benchmark::DoNotOptimize(reduced.data);
        };
      }));
}

const bool registered = [] {
  for (const Size size : sizes) compare_all(size);
  return true;
}();

}  // namespace
}  // namespace zeb::bench
