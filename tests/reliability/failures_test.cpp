#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <complex>
#include <cstdlib>
#include <functional>
#include <new>
#include <stdexcept>
#include <string>
#include <vector>

#include "tests/reliability/stage.h"

using namespace zeb;
using Byte = unsigned char;
using Complex = std::complex<float>;

namespace {

/// Runs in a child process and tells whether it ended by `std::terminate`, and by nothing else.
void expect_end(const ::testing::Message& what, bool terminates, const std::function<void()>& run) {
  const auto fine = [&run] {
    run();
    return true;
  };
  EXPECT_EXIT(reliability::end_process_after(fine),
              ::testing::ExitedWithCode(terminates ? reliability::terminated : EXIT_SUCCESS), "")
      << what;
}

/// Images that fit each other, for a test to change, and some that do not.
struct Images {
  std::vector<Byte> a = std::vector<Byte>(4096), b = a;
  std::vector<short> frame_pixel = std::vector<short>(64);
  std::vector<PointContainer<int>> contours;
  Point_<int> origin{0, 0};
  Point_<um> length{um(1.0f), um(1.0f)};
  Bitmap_<Byte> dst{a.data(), 40, 48, 30, length}, src{b.data(), 40, 48, 30, length};
  Bitmap_<Byte> small{b.data(), 37, 48, 30, length}, groups{a.data(), 32, 48, 30, length};
  Bitmap_<Byte> other_stride{b.data(), 40, 44, 30, length};
  Bitmap_<Byte> negative{a.data(), -1, 48, 30, length}, narrow{a.data(), 0, 48, 30, length};
  Bitmap_<Byte> flat{a.data(), 40, 48, 0, length};
  Bitmap_<Byte> square{a.data(), 8, 48, 8, length}, other_square{b.data(), 8, 48, 8, length};
  Bitmap_<short> frame{frame_pixel.data(), 8, 8, 8, length};

  Images() { frame_pixel[8] = 1; }  // in the left column

  void region_at(int x, int y) const { dst.region({x, y}, {x + 1, y + 1}); }
  static void filter(Mat<Byte>& to, Mat<Byte>& from, fft::Filter how, const std::vector<float>& parameters) {
    fft_filter(to, from, false, how, parameters);
  }
};

TEST(Failures, WarpsEndTheProcessForImagesThatDoNotMatch) {
  using Warp = void (*)(Images&, Mat<Byte>&);
  const std::vector<std::pair<std::string, Warp>> warps{
      {"rotate", [](Images& i, auto&) { rotate(i.dst, i.src, 10, 0); }},
      {"shear", [](Images& i, auto&) { shear(i.dst, i.src, 0.1f, 0.1f, 0); }},
      {"stretch", [](Images& i, auto&) { stretch(i.dst, i.src, 0.1f, 0); }},
      {"transform, Mat", [](Images& i, auto& dst) { transform(dst, i.src, 1, 10, 0, 0, 0); }},
      {"transform, Bitmap_", [](Images& i, auto&) { transform(i.dst, i.src, 1, 10, i.length, 0); }},
      {"translate, Mat", [](Images& i, auto& dst) { translate(dst, i.src, 1, 1, 0); }},
      {"translate, Bitmap_", [](Images& i, auto&) { translate(i.dst, i.src, i.length, 0); }},
  };
  for (const auto& [name, warp] : warps) {
    const bool in_micrometres = name == "translate, Bitmap_";
    const struct {
      const char* what;
      bool terminates;
      void (*change)(Images&);
    } rows[] = {
        {"alike", false, [](Images&) {}},
        {"other width", false, [](Images& i) { i.dst.width = 32; }},
        {"same pixels", true, [](Images& i) { i.dst.data = i.src.data; }},
        {"other height", true, [](Images& i) { i.dst.height = 29; }},
        {"other stride", true, [](Images& i) { i.dst.stride = 44; }},
        {"other pixel width", in_micrometres, [](Images& i) { i.dst.pixel_size_x = um(2.0f); }},
        {"other pixel height", in_micrometres, [](Images& i) { i.src.pixel_size_y = um(2.0f); }},
        {"NaN", in_micrometres, [](Images& i) { i.src.pixel_size_x = i.dst.pixel_size_x = um(std::nanf("")); }},
    };
    for (const auto& row : rows)
      expect_end(::testing::Message() << name << ", " << row.what, row.terminates, [&row, w = warp] {
        Images images;
        row.change(images);
        w(images, images.dst);
      });
  }
}

/// Sides of an image and its spectrum.
struct Sizes {
  int width, height, spectrum_width, spectrum_height;
  bool shared = false;  ///< both have the same pixels
};

template <class Pixel, class Coefficient, bool back>
void transform_of(const Sizes& size) {
  std::vector<Pixel> pixels(1024);
  std::vector<Coefficient> coefficients(1024);
  Mat<Pixel> image(pixels.data(), size.width, size.width, size.height);
  Mat<Coefficient> spectrum(coefficients.data(), size.spectrum_width, size.spectrum_width, size.spectrum_height);
  if (size.shared) spectrum.data = reinterpret_cast<Coefficient*>(image.data);
  if constexpr (back)
    inverse_fourier_transform(image, spectrum);
  else
    fourier_transform(spectrum, image);
}

TEST(Failures, TransformsEndTheProcessForSidesThatDoNotFit) {
  const struct {
    const char* what;
    int least, most;  // by which a spectrum's side may exceed the image's
    void (*run)(const Sizes&);
  } forms[] = {
      {"real to picture", 1, 1, transform_of<float, Byte, false>},
      {"complex to picture", 1, 1, transform_of<Complex, Byte, false>},
      {"real", 0, 0, transform_of<float, float, false>},
      {"complex", 0, 1, transform_of<Complex, Complex, false>},
      {"back to picture", 0, 0, transform_of<Byte, float, true>},
      {"back to reals", 0, 0, transform_of<float, float, true>},
      {"complex back to picture", 0, 1, transform_of<Byte, Complex, true>},
      {"complex back", 0, 1, transform_of<Complex, Complex, true>},
  };
  for (const auto& form : forms) {
    const auto expect = [&form](bool terminates, const Sizes& s) {
      const auto what = ::testing::Message() << form.what << ", " << s.width << " x " << s.height << ", "
                                             << s.spectrum_width << " x " << s.spectrum_height;
      expect_end(what, terminates, [&] { form.run(s); });
    };
    for (const int side : {0, 1, 6, 8})
      for (int more = -1; more <= 2; ++more) {
        const bool fits = (side == 1 || side == 8) && form.least <= more && more <= form.most;
        expect(!fits, {side, side, side + more, side + more});
      }
    const int spectrum = 8 + form.least;
    expect(true, {8, 8, spectrum, spectrum, true});
    expect(true, {8, 16, spectrum, spectrum});
    expect(true, {16, 8, spectrum + 8, spectrum});
    expect(true, {8, 8, spectrum, spectrum + 1});
    expect(true, {8, 8, spectrum + 1, spectrum});
  }
}

TEST(Failures, AccessOutsideAnImageEndsTheProcess) {
  using fft::Filter;
  const struct {
    const char* what;
    void (*run)(Images&);
  } rows[] = {
      {"at, column", [](Images& i) { i.dst.at(0, 40); }},
      {"at, row", [](Images& i) { i.dst.at(30, 0); }},
      {"at, negative row", [](Images& i) { i.dst.at(-1, 0); }},
      {"at, negative column", [](Images& i) { i.dst.at(0, -1); }},
      {"row", [](Images& i) { i.dst.row(30); }},
      {"negative row", [](Images& i) { i.dst.row(-1); }},
      {"row of a negative width", [](Images& i) { i.negative.row(0); }},
      {"region, column", [](Images& i) { i.region_at(41, 0); }},
      {"region, row", [](Images& i) { i.region_at(0, 30); }},
      {"region, negative column", [](Images& i) { i.region_at(-1, 0); }},
      {"region, negative row", [](Images& i) { i.region_at(0, -1); }},
      {"fill_rect",
       [](Images& i) {
         fill_rect(i.dst, Rect__<Point_<um>>({um(41), um(0)}, {um(45), um(3)}), 9);
       }},
      {"clear", [](Images& i) { clear(i.negative); }},
      {"bitwise_and, rest of a row", [](Images& i) { bitwise_and(i.small, i.dst, i.dst); }},
      {"bitwise_and, constant", [](Images& i) { bitwise_and(i.small, i.dst, 3); }},
      {"bitwise_andnot", [](Images& i) { bitwise_andnot(i.dst, i.dst, i.small); }},
      {"bitwise_xor", [](Images& i) { bitwise_xor(i.dst, i.dst, i.small); }},
      {"border search", [](Images& i) { border_by_maximum(i.negative, Image_Side::Top); }},
      {"enclosing_orthogonal_rectangle", [](Images& i) { enclosing_orthogonal_rectangle(i.flat); }},
      {"line_histogram", [](Images& i) { line_histogram(i.narrow); }},
      {"downsampling, above 1", [](Images& i) { downsampling(i.src, std::nextafter(1.0f, 2.0f)); }},
      {"downsampling, NaN", [](Images& i) { downsampling(i.src, std::nanf("")); }},
      {"fft_filter, size", [](Images& i) { i.filter(i.dst, i.small, Filter::none, {}); }},
      {"fft_filter, stride", [](Images& i) { i.filter(i.dst, i.other_stride, Filter::none, {}); }},
      {"fft_filter, surplus", [](Images& i) { i.filter(i.dst, i.src, Filter::none, {1}); }},
      {"fft_filter, no parameter", [](Images& i) { i.filter(i.square, i.other_square, Filter::notch_peaks, {}); }},
      {"fft_filter, none of three", [](Images& i) { i.filter(i.square, i.other_square, Filter::emphasise_peaks, {}); }},
      {"fft_filter, four columns of spectrum",
       [](Images& i) {
         i.filter(i.square, i.other_square, Filter::emphasise_peaks, std::vector<float>{3, 1, 2});
       }},
      {"contour scan",
       [](Images& i) { detail::scan_suzuki(i.frame, ScanSuzukiMode::all_borders, i.contours, i.origin, nullptr); }},
  };
  for (const auto& row : rows)
    expect_end(::testing::Message() << row.what, true, [&row] {
      Images images;
      row.run(images);
    });
  Images images;
  bitwise_and(images.small, images.groups, images.groups);  // whole groups of 16 columns are not checked
  downsampling(images.src, 1.0f);
}

template <class Error>
void expect_thrown(const std::string& text, const std::function<void()>& run) {
  try {
    run();
    ADD_FAILURE() << "not thrown: " << text;
  } catch (const Error& error) {
    EXPECT_EQ(error.what(), text);
  }
}

TEST(Failures, ExceptionsHaveTheirTypesAndTexts) {
  Images i;
  const std::string no_memory = "bad allocation";
  expect_thrown<std::bad_alloc>(no_memory, [] { Image<Byte>(8, 8, -1, {}); });
  expect_thrown<std::bad_alloc>(no_memory, [] { Image<float>(INT_MAX, INT_MAX, INT_MAX, {}); });
  expect_thrown<std::bad_alloc>(no_memory, [] { MatBuffer<float>(8, 8, -1); });
  expect_thrown<std::bad_alloc>(no_memory, [] { MatBuffer<float>(8, -1); });
  expect_thrown<std::bad_alloc>(no_memory, [] { Matrix<int>(-1, 3); });
  expect_thrown<std::bad_alloc>(no_memory, [] { test::random_image(8, 8, -1, 1); });
  expect_thrown<std::bad_alloc>(no_memory, [&i, wide = Bitmap_<Byte>(nullptr, INT_MAX, 48, 30, i.length)] {
    find_contours(i.contours, wide, ScanSuzukiMode::all_borders, {});
  });

  const auto l1 = [&i](int mode) { l1_norm(i.dst, i.src, static_cast<L1_norm_mode>(mode)); };
  const auto trace = [&i](int mode) { find_next_shape(i.dst, static_cast<Find_Active_Pixel_Mode>(mode), true); };
  const auto fill = [&i](int code) {
    draw_filled_shape(i.dst, Shape({static_cast<char>(code), 7}, 2, 2, 2, 3, 2, 2, true, 0), 9);
  };
  i.a[0] = 255;
  l1(2);
  trace(3);
  fill(3);
  for (const int mode : {3, -1}) expect_thrown<std::logic_error>("impossible l1 mode", [&] { l1(mode); });
  for (const int mode : {4, -1}) expect_thrown<std::invalid_argument>("unknown mode", [&] { trace(mode); });
  for (const int code : {8, -1})
    expect_thrown<invalid_chain_code_element>("chain code value out of range ([0,7])", [&] { fill(code); });
}

}  // namespace
