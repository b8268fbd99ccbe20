#include "zeb/frequency.h"

#include <complex>

#include "bench/scene.h"

namespace zeb::bench {
namespace {

/// An image and its spectrum, with the peer's views of both.
template <class T>
struct Pair {
  MatBuffer<T> image, spectrum;

  static std::shared_ptr<Pair> make(int side) { return std::make_shared<Pair>(side); }
  explicit Pair(int side) : image(side, side), spectrum(side, side) {
    const Image<unsigned char> pixels = noise({side, side}, 1);
    for (int y = 0; y < side; ++y)
      for (int x = 0; x < side; ++x) image.at(y, x) = static_cast<float>(pixels.at(y, x));
    fourier_transform(spectrum, image);
  }
#ifdef ZEB_BENCH_OPENCV
  static cv::Mat view(Mat<T>& m) {
    return cv::Mat(m.height, m.width, sizeof(T) == 4 ? CV_32FC1 : CV_32FC2, m.data,
                   sizeof(T) * static_cast<std::size_t>(m.stride));
  }
  cv::Mat peer_image = view(image), peer_spectrum = view(spectrum);
#endif
};

using Complex = std::complex<float>;

void compare_all(int side) {
  const Size size{side, side};
  compare(
      "real transform, forward", size, 8,
      [=] { return [p = Pair<float>::make(side)] { fourier_transform(p->spectrum, p->image); }; },
      ZEB_BENCH_PEER([=] { return [p = Pair<float>::make(side)] { cv::dft(p->peer_image, p->peer_spectrum); }; }));
  compare(
      "real transform, inverse", size, 8,
      [=] { return [p = Pair<float>::make(side)] { inverse_fourier_transform(p->image, p->spectrum); }; },
      ZEB_BENCH_PEER([=] {
        return [p = Pair<float>::make(side)] {
          cv::dft(p->peer_spectrum, p->peer_image, cv::DFT_INVERSE | cv::DFT_SCALE | cv::DFT_REAL_OUTPUT);
        };
      }));
  compare(
      "complex transform, forward", size, 16,
      [=] { return [p = Pair<Complex>::make(side)] { fourier_transform(p->spectrum, p->image); }; },
      ZEB_BENCH_PEER([=] { return [p = Pair<Complex>::make(side)] { cv::dft(p->peer_image, p->peer_spectrum); }; }));
  compare("notch filter", size, 0, [=] {
    return [i = Images::make(size)] { fft_filter(i->dst, i->a, true, fft::Filter::notch_peaks, {4.0f}); };
  });
  compare("peak emphasis filter", size, 0, [=] {
    return [i = Images::make(size)] { fft_filter(i->dst, i->a, true, fft::Filter::emphasise_peaks, {15, 2, 7}); };
  });
}

const bool registered = [] {
  for (const int side : {256, 512, 1024, 2048}) compare_all(side);
  return true;
}();

}  // namespace
}  // namespace zeb::bench
