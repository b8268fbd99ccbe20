// Transforms there and back, the filter on any parameters, padding.

#include "zeb/frequency.h"

#include <cmath>
#include <complex>
#include <vector>

#include "input.h"

namespace {

using zeb::fuzz::check;
using zeb::fuzz::Input;
using zeb::fuzz::Layout;
using zeb::fuzz::Plane;
using Complex = std::complex<float>;

/// A square of numbers whose block ends with its last element; padding holds a mark.
template <class T>
class Square {
 public:
  Square(int side, int padding)
      : side_(side), stride_(side + padding), elements_(static_cast<std::size_t>(side * stride_ - padding), T(-77)) {}

  T& operator()(int x, int y) { return elements_[static_cast<std::size_t>(y * stride_ + x)]; }
  zeb::Mat<T> mat() { return {elements_.data(), side_, stride_, side_}; }
  bool padding_kept() {
    for (int y = 0; y + 1 < side_; ++y)
      for (int x = side_; x < stride_; ++x)
        if ((*this)(x, y) != T(-77)) return false;
    return true;
  }

 private:
  int side_, stride_;
  std::vector<T> elements_;
};

void there_and_back(Input& input) {
  const int side = 1 << input.integer(0, 6), padding = input.integer(0, 9);
  const Plane picture = input.picture(Layout{side, side, side, 0});
  Square<float> real(side, padding), spectrum(side, input.integer(0, 9)), restored(side, input.integer(0, 9));
  Square<Complex> complex(side, padding), packed(side, input.integer(0, 5)), back(side, input.integer(0, 5)),
      unpacked(side + 1, input.integer(0, 5));
  Square<unsigned char> bytes(side, input.integer(0, 9)), shown(side + 1, input.integer(0, 9));
  for (int y = 0; y < side; ++y)
    for (int x = 0; x < side; ++x) {
      real(x, y) = picture(x, y);
      complex(x, y) = {static_cast<float>(picture(x, y)), static_cast<float>(picture(side - 1 - x, y))};
    }
  auto real_view = real.mat(), spectrum_view = spectrum.mat(), restored_view = restored.mat();
  auto complex_view = complex.mat(), packed_view = packed.mat(), back_view = back.mat(), unpacked_view = unpacked.mat();
  auto bytes_view = bytes.mat(), shown_view = shown.mat();
  zeb::fourier_transform(spectrum_view, real_view);
  zeb::inverse_fourier_transform(restored_view, spectrum_view);
  zeb::inverse_fourier_transform(bytes_view, spectrum_view);
  zeb::fourier_transform(packed_view, complex_view);
  zeb::fourier_transform(unpacked_view, complex_view);
  zeb::fourier_transform(shown_view, real_view);
  zeb::fourier_transform(shown_view, complex_view);
  for (int pass = 0; pass < 2; ++pass) {
    zeb::inverse_fourier_transform(back_view, pass == 0 ? packed_view : unpacked_view);
    for (int y = 0; y < side; ++y)
      for (int x = 0; x < side; ++x) check(std::abs(back(x, y) - complex(x, y)) < 0.05f, "the inverse restores");
  }
  for (int y = 0; y < side; ++y)
    for (int x = 0; x < side; ++x) {
      check(std::abs(restored(x, y) - real(x, y)) < 0.05f, "the inverse restores");
      check(bytes(x, y) == picture(x, y), "and rounds to the pixels");
      const float scale = 1.0f + static_cast<float>(side * side);
      check(std::abs(unpacked((x + side / 2) % side, (y + side / 2) % side) - packed(x, y)) < 1e-3f * scale,
            "both layouts hold the same spectrum");
    }
  zeb::inverse_fourier_transform(bytes_view, packed_view);
  for (int y = 0; y < side; ++y)
    for (int x = 0; x < side; ++x) check(bytes(x, y) == picture(x, y), "the real part rounds to the pixels");
  check(real.padding_kept() && spectrum.padding_kept() && restored.padding_kept() && complex.padding_kept() &&
            packed.padding_kept() && back.padding_kept() && unpacked.padding_kept() && bytes.padding_kept() &&
            shown.padding_kept(),
        "transforms keep the padding");
}

void filter(Input& input) {
  const auto kind = static_cast<zeb::fft::Filter>(input.integer(0, 3));
  Layout layout = input.layout(100);
  if (kind != zeb::fft::Filter::none) {
    const int least = kind == zeb::fft::Filter::emphasise_peaks ? 4 : 1;
    layout.width = layout.height = 1 << input.integer(least, 6);
    layout.stride = layout.width + input.integer(0, 20);
  }
  Plane src = input.picture(layout).with_room(1);
  const Plane before(src), blank = Plane(layout).with_room(1);
  Plane dst(blank), in_place(src);
  std::vector<float> params;
  const bool wild = input.flag();
  for (int i = 0; i < static_cast<int>(kind); ++i) params.push_back(wild ? input.any_real() : input.real(-5, 30));
  // The closing refuses negative radii, and its work grows with their square.
  if (params.size() == 3 && !(params[2] > -1 && params[2] < 40)) params[2] = 3;
  const bool window = input.flag();
  auto from = src.mat(), to = dst.mat(), both = in_place.mat();
  zeb::fft::Filter used = kind;
  zeb::fft_filter(to, from, window, used, params);
  zeb::fft_filter(both, both, window, used, params);
  check(same_pixels(dst, in_place), "fft_filter works in place");
  check(same_bytes(src, before), "fft_filter only reads its source");
  if (kind == zeb::fft::Filter::none) check(same_bytes(dst, src) || layout.width == 0, "none copies");
  if (kind == zeb::fft::Filter::flat && !window) check(same_pixels(dst, src), "flat leaves the image");
  if (kind != zeb::fft::Filter::none) check(same_padding(dst, blank), "fft_filter keeps the padding");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  Input input(bytes, size);
  if (input.flag())
    there_and_back(input);
  else
    filter(input);
  return 0;
}
