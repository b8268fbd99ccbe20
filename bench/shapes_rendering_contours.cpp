#include <string>
#include <vector>

#include "bench/scene.h"
#include "zeb/shapes.h"

namespace zeb::bench {
namespace {

using Contours = std::vector<PointContainer<int>>;

#ifdef ZEB_BENCH_OPENCV
using PeerContours = std::vector<std::vector<cv::Point>>;

constexpr int peer_tree = cv::RETR_TREE, peer_flat = cv::RETR_LIST;

PeerContours peer_contours(const cv::Mat& image, int mode) {
  PeerContours contours;
  cv::findContours(image, contours, mode, cv::CHAIN_APPROX_NONE);
  return contours;
}
#else
constexpr int peer_tree = 0, peer_flat = 0;
#endif

/// Outlines of a scene, and a picture to fill them in.
struct Outlines {
  Image<unsigned char> scene, picture;
  std::vector<Shape> shapes;
  std::vector<std::vector<char>> chains;

  explicit Outlines(Size size) : scene(blobs(size)), picture(blobs(size)) {
    shapes = get_all_shapes(picture, true);
    for (const Shape& shape : shapes) chains.emplace_back(shape.chain_code(), shape.chain_code() + shape.size());
  }
};

void compare_fills(Size size) {
  compare(
      "fill outlines, discs", size, 0,
      [=] {
        return [o = std::make_shared<Outlines>(size)] {
          for (const Shape& shape : o->shapes) draw_filled_shape(o->picture, shape, 255);
        };
      },
      ZEB_BENCH_PEER([=] {
        auto o = std::make_shared<Outlines>(size);
        return [o, contours = peer_contours(peer_view(o->scene), cv::RETR_EXTERNAL)] {
          cv::Mat picture = peer_view(o->picture);
          cv::drawContours(picture, contours, -1, cv::Scalar(255), cv::FILLED);
        };
      }));
  // The picture has to be empty before each chain, which is part of the price. No peer fills from a chain.
  compare("mark and fill chains, discs", size, 0, [=] {
    return [o = std::make_shared<Outlines>(size)] {
      Image<unsigned char>& p = o->picture;
      clear(p);
      for (std::size_t i = 0; i < o->shapes.size(); ++i) {
        const Point_<int> start = o->shapes[i].start_point();
        ShapeBM(p.data, o->chains[i].data(), p.width, p.stride, p.height, static_cast<int>(o->chains[i].size()),
                start.x, start.y, 1);
      }
    };
  });
  // The peer measures contours that it has to find first; it does not wipe them out.
  compare(
      "lengths of all outlines, discs", size, 0,
      [=] {
        return [o = std::make_shared<Outlines>(size)] {
          Image<unsigned char>& s = o->scene;
          benchmark::DoNotOptimize(fGetAllShapeLength(s.data, s.width, s.stride, s.height, nullptr, nullptr, nullptr));
        };
      },
      ZEB_BENCH_PEER([=] {
        return [o = std::make_shared<Outlines>(size)] {
          double total = 0;
          for (const auto& contour : peer_contours(peer_view(o->scene), cv::RETR_EXTERNAL))
            total += cv::arcLength(contour, true);
          benchmark::DoNotOptimize(total);
        };
      }));
}

/// Ours steps over 56 of 64 pixels of the ground, the peer looks at every pixel and gives the levels of `peer_mode`.
void compare_contours(const char* scene, Size size, Image<unsigned char> (*make)(Size),
                      [[maybe_unused]] int peer_mode) {
  compare(
      std::string("contours with their tree, ") + scene, size, 0,
      [=] {
        auto image = std::make_shared<Image<unsigned char>>(make(size));
        return [image] {
          Contours contours;
          std::vector<int> hierarchy;
          find_contours(hierarchy, contours, *image, ScanSuzukiMode::all_borders, {0, 0});
          benchmark::DoNotOptimize(contours.data());
        };
      },
      ZEB_BENCH_PEER([=] {
        auto image = std::make_shared<Image<unsigned char>>(make(size));
        return [image, peer_mode] {
          PeerContours contours;
          std::vector<cv::Vec4i> hierarchy;
          cv::findContours(peer_view(*image), contours, hierarchy, peer_mode, cv::CHAIN_APPROX_NONE);
          benchmark::DoNotOptimize(contours.data());
        };
      }));
}

/// Half of the pixels set at random, 1 and 0 for both sides.
Image<unsigned char> ragged(Size size) {
  Image<unsigned char> image = noise(size, 3);
  for (unsigned char& p : image) p &= 1;
  return image;
}

const bool registered = [] {
  for (const Size size : sizes) {
    compare_fills(size);
    compare_contours("discs", size, blobs, peer_tree);
    // With a tree the peer takes a hundred times as long on noise.
    compare_contours("noise", size, ragged, peer_flat);
  }
  return true;
}();

}  // namespace
}  // namespace zeb::bench
