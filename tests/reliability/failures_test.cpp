#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <complex>
#include <cstdlib>
#include <exception>
#include <functional>
#include <iostream>
#include <new>
#include <stdexcept>
#include <string>
#include <typeinfo>
#include <vector>

#include "tests/reliability/stage.h"
#include "tests/support/picture.h"

using namespace zeb;
using zeb::testing::Picture;
using Complex = std::complex<float>;

namespace {

constexpr int terminated = 43;

/// Runs in a child process and tells whether it ended by `std::terminate`, and by nothing else.
void expect_end(const std::string& what, bool terminates, const std::function<void()>& run) {
  EXPECT_EXIT(
      {
        std::set_terminate([] { std::_Exit(terminated); });
        run();
        std::_Exit(EXIT_SUCCESS);
      },
      ::testing::ExitedWithCode(terminates ? terminated : EXIT_SUCCESS), "")
      << what;
}

/// Images that fit each other, for a test to change, and some that do not.
struct Images {
  std::vector<unsigned char> a = std::vector<unsigned char>(4096), b = a;
  std::vector<short> frame_pixel = std::vector<short>(64);
  std::vector<PointContainer<int>> contours;
  Point_<um> length{um(1.0f), um(1.0f)};
  Bitmap_<unsigned char> dst{a.data(), 40, 48, 30, length}, src{b.data(), 40, 48, 30, length};
  Bitmap_<unsigned char> small{b.data(), 37, 48, 30, length}, groups{a.data(), 32, 48, 30, length};
  Bitmap_<unsigned char> other_stride{b.data(), 40, 44, 30, length};
  Bitmap_<unsigned char> negative{a.data(), -1, 48, 30, length}, narrow{a.data(), 0, 48, 30, length};
  Bitmap_<unsigned char> flat{a.data(), 40, 48, 0, length};
  Bitmap_<unsigned char> square{a.data(), 8, 48, 8, length}, other_square{b.data(), 8, 48, 8, length};
  Bitmap_<short> frame{frame_pixel.data(), 8, 8, 8, length};

  Images() { frame_pixel[8] = 1; }  // in the left column
};

TEST(Failures, WarpsEndTheProcessForImagesThatDoNotMatch) {
  using Warp = void (*)(Images&, Mat<unsigned char>&);
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
      expect_end(name + ", " + row.what, row.terminates, [&row, w = warp] {
        Images images;
        row.change(images);
        w(images, images.dst);
      });
  }
}

TEST(Failures, DownsamplingEndsTheProcessForFactorsAboveOne) {
  for (const float factor : {1.0f, std::nextafter(1.0f, 2.0f), 1.5f, std::nanf("")})
    expect_end("factor " + std::to_string(factor), factor != 1.0f, [=] {
      Images images;
      downsampling(images.src, factor);
    });
}

/// Sizes of the images of a transform.
struct Sizes {
  int dst_width, dst_height, src_width, src_height;
  bool shared;  ///< both have the same pixels
};

template <class Dst, class Src, bool back>
void transform_of(const Sizes& size) {
  std::vector<Dst> to(1024);
  std::vector<Src> from(1024);
  Mat<Dst> dst(to.data(), size.dst_width, size.dst_width, size.dst_height);
  Mat<Src> src(from.data(), size.src_width, size.src_width, size.src_height);
  if (size.shared) src.data = reinterpret_cast<Src*>(dst.data);
  if constexpr (back)
    inverse_fourier_transform(dst, src);
  else
    fourier_transform(dst, src);
}

TEST(Failures, TransformsEndTheProcessForSidesThatDoNotFit) {
  using Byte = unsigned char;
  const struct {
    const char* what;
    bool back;
    int least, most;  // by which a spectrum's side may exceed the image's
    void (*run)(const Sizes&);
  } forms[] = {
      {"real to picture", false, 1, 1, transform_of<Byte, float, false>},
      {"complex to picture", false, 1, 1, transform_of<Byte, Complex, false>},
      {"real", false, 0, 0, transform_of<float, float, false>},
      {"complex", false, 0, 1, transform_of<Complex, Complex, false>},
      {"back to picture", true, 0, 0, transform_of<Byte, float, true>},
      {"back to reals", true, 0, 0, transform_of<float, float, true>},
      {"complex back to picture", true, 0, 1, transform_of<Byte, Complex, true>},
      {"complex back", true, 0, 1, transform_of<Complex, Complex, true>},
  };
  for (const auto& form : forms) {
    const auto expect = [&form](bool terminates, int image_width, int image_height, int spectrum_width,
                                int spectrum_height, bool shared) {
      Sizes size{spectrum_width, spectrum_height, image_width, image_height, shared};
      if (form.back) size = {image_width, image_height, spectrum_width, spectrum_height, shared};
      const ::testing::Message what = ::testing::Message() << form.what << ", " << image_width << " x " << image_height
                                                           << ", " << spectrum_width << " x " << spectrum_height;
      expect_end(what.GetString(), terminates, [&] { form.run(size); });
    };
    for (const int side : {0, 1, 6, 8})
      for (int more = -1; more <= 2; ++more) {
        const bool fits = (side == 1 || side == 8) && form.least <= more && more <= form.most;
        expect(!fits, side, side, side + more, side + more, false);
      }
    const int spectrum = 8 + form.least;
    expect(true, 8, 8, spectrum, spectrum, true);
    expect(true, 8, 16, spectrum, spectrum, false);
    expect(true, 16, 8, spectrum + 8, spectrum, false);
    expect(true, 8, 8, spectrum, spectrum + 1, false);
    expect(true, 8, 8, spectrum + 1, spectrum, false);
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
      {"region, column",
       [](Images& i) {
         i.dst.region({41, 0}, {41, 1});
       }},
      {"region, row",
       [](Images& i) {
         i.dst.region({0, 30}, {1, 31});
       }},
      {"region, negative column",
       [](Images& i) {
         i.dst.region({-1, 0}, {1, 1});
       }},
      {"region, negative row",
       [](Images& i) {
         i.dst.region({0, -1}, {1, 1});
       }},
      {"fill_rect",
       [](Images& i) {
         fill_rect(i.dst, {{um(41), um(0)}, {um(45), um(3)}}, 9);
       }},
      {"clear", [](Images& i) { clear(i.negative); }},
      {"bitwise_and, rest of a row", [](Images& i) { bitwise_and(i.small, i.dst, i.dst); }},
      {"bitwise_and, constant", [](Images& i) { bitwise_and(i.small, i.dst, 3); }},
      {"bitwise_andnot", [](Images& i) { bitwise_andnot(i.dst, i.dst, i.small); }},
      {"bitwise_xor", [](Images& i) { bitwise_xor(i.dst, i.dst, i.small); }},
      {"border search", [](Images& i) { border_by_maximum(i.negative, Image_Side::Top); }},
      {"enclosing_orthogonal_rectangle", [](Images& i) { enclosing_orthogonal_rectangle(i.flat); }},
      {"line_histogram", [](Images& i) { line_histogram(i.narrow); }},
      {"fft_filter, size", [](Images& i) { fft_filter(i.dst, i.small, false, Filter::none, {}); }},
      {"fft_filter, stride", [](Images& i) { fft_filter(i.dst, i.other_stride, false, Filter::none, {}); }},
      {"fft_filter, surplus", [](Images& i) { fft_filter(i.dst, i.src, false, Filter::none, {1}); }},
      {"fft_filter, no parameter",
       [](Images& i) { fft_filter(i.square, i.other_square, false, Filter::notch_peaks, {}); }},
      {"fft_filter, no parameters",
       [](Images& i) { fft_filter(i.square, i.other_square, false, Filter::emphasise_peaks, {}); }},
      {"fft_filter, four columns of spectrum",
       [](Images& i) {
         fft_filter(i.square, i.other_square, false, Filter::emphasise_peaks, {3, 1, 2});
       }},
      {"contour scan",
       [](Images& i) {
         detail::scan_suzuki(i.frame, ScanSuzukiMode::all_borders, i.contours, {0, 0}, nullptr);
       }},
  };
  for (const auto& row : rows)
    expect_end(row.what, true, [&row] {
      Images images;
      row.run(images);
    });
  Images images;
  bitwise_and(images.small, images.groups, images.groups);  // whole groups of 16 columns are not checked
}

/// Type and text of what `run` throws, "" for nothing.
std::string thrown(const std::function<void()>& run) {
  try {
    run();
  } catch (const invalid_chain_code_element& e) {
    return std::string("invalid_chain_code_element: ") + e.what();
  } catch (const std::bad_alloc& e) {
    return std::string("std::bad_alloc: ") + e.what();
  } catch (const std::invalid_argument& e) {
    return std::string("std::invalid_argument: ") + e.what();
  } catch (const std::length_error& e) {
    return std::string("std::length_error: ") + e.what();
  } catch (const std::logic_error& e) {
    return std::string("std::logic_error: ") + e.what();
  }
  return "";
}

TEST(Failures, ExceptionsHaveTheirTypesAndTexts) {
  const auto l1 = [](int mode) {
    return [=] { l1_norm(Images().dst, Images().src, static_cast<L1_norm_mode>(mode)); };
  };
  const auto trace = [](int mode) {
    return [=] {
      Images images;
      images.a[0] = 255;
      find_next_shape(images.dst, static_cast<Find_Active_Pixel_Mode>(mode), true);
    };
  };
  const auto fill = [](int code) {
    return [=] {
      Images images;
      draw_filled_shape(images.dst, Shape({static_cast<char>(code), 7}, 2, 2, 2, 3, 2, 2, true, 0), 9);
    };
  };
  const char* const no_memory = "std::bad_alloc: bad allocation";
  const char* const no_mode = "std::invalid_argument: unknown mode";
  const char* const no_code = "invalid_chain_code_element: chain code value out of range ([0,7])";
  const struct {
    const char* what;
    std::function<void()> run;
    const char* text;
  } rows[] = {
      {"Image", [] { Image<unsigned char>(8, 8, -1, {}); }, no_memory},
      {"Image, too large", [] { Image<float>(INT_MAX, INT_MAX, INT_MAX, {}); }, no_memory},
      {"MatBuffer", [] { MatBuffer<float>(8, 8, -1); }, no_memory},
      {"MatBuffer, two sizes", [] { MatBuffer<float>(8, -1); }, no_memory},
      {"Matrix", [] { Matrix<int>(-1, 3); }, no_memory},
      {"random_image", [] { test::random_image(8, 8, -1, 1); }, no_memory},
      {"find_contours",
       [] {
         Images i;
         i.src.width = INT_MAX;
         find_contours(i.contours, i.src, ScanSuzukiMode::all_borders, {});
       },
       no_memory},
      {"l1_norm 2", l1(2), ""},
      {"l1_norm 3", l1(3), "std::logic_error: impossible l1 mode"},
      {"l1_norm -1", l1(-1), "std::logic_error: impossible l1 mode"},
      {"tracing 3", trace(3), ""},
      {"tracing 4", trace(4), no_mode},
      {"tracing -1", trace(-1), no_mode},
      {"chain code 3", fill(3), ""},
      {"chain code 8", fill(8), no_code},
      {"chain code -1", fill(-1), no_code},
      {"a walk without an end",
       [] {
         const Picture picture = Picture::text({"##", "#."});
         find_next_shape(picture.data(), 2, 2, 2, 0, Find_Active_Pixel_Mode::from_bottom, true);
       },
       "std::length_error: vector<T> too long"},
  };
  for (const auto& row : rows) EXPECT_EQ(thrown(row.run), row.text) << row.what;
}

TEST(Failures, WhatIsNotImplementedReturnsInSilence) {
  using Entry = void (*)(Mat<unsigned char>&, const Mat<unsigned char>&, int, unsigned char, MorphOpMode, bool);
  for (const Entry entry : {Entry{erode}, Entry{dilate}, Entry{opening}, Entry{closing}}) {
    Picture dst(20, 24, 10, 33);
    const Picture before = dst;
    Picture src(20, 24, 10, 255);
    auto to = dst.mat();
    entry(to, src.mat(), 3, 128, MorphOpMode::morph_distance, true);
    EXPECT_TRUE(dst == before);
    entry(to, src.mat(), 3, 128, MorphOpMode::morph_distance, false);
    EXPECT_FALSE(dst == before) << "the disk is implemented";
  }
}

}  // namespace
