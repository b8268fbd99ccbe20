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

/// One row of the map of failures: what is done, and what comes of it.
struct Ends {
  const char* what;
  std::function<void()> run;
};

/// Two images of one layout, and what a test wants to differ.
struct Pair {
  std::vector<unsigned char> a = std::vector<unsigned char>(4096), b = a;
  Bitmap_<unsigned char> dst{a.data(), 40, 48, 30, {um(1.0f), um(1.0f)}};
  Bitmap_<unsigned char> src{b.data(), 40, 48, 30, {um(1.0f), um(1.0f)}};
};

using Warp = void (*)(Pair&);
const std::vector<std::pair<const char*, Warp>>& warps() {
  static const std::vector<std::pair<const char*, Warp>> all{
      {"rotate", [](Pair& p) { rotate(p.dst, p.src, 10, 0); }},
      {"shear", [](Pair& p) { shear(p.dst, p.src, 0.1f, 0.1f, 0); }},
      {"stretch", [](Pair& p) { stretch(p.dst, p.src, 0.1f, 0); }},
      {"transform, Mat", [](Pair& p) { transform(static_cast<Mat<unsigned char>&>(p.dst), p.src, 1, 10, 0, 0, 0); }},
      {"transform, Bitmap_",
       [](Pair& p) {
         transform(p.dst, p.src, 1, 10, Point_<um>{um(1.0f), um(1.0f)}, 0);
       }},
      {"translate, Mat", [](Pair& p) { translate(static_cast<Mat<unsigned char>&>(p.dst), p.src, 1, 1, 0); }},
      {"translate, Bitmap_",
       [](Pair& p) {
         translate(p.dst, p.src, Point_<um>{um(1.0f), um(1.0f)}, 0);
       }},
  };
  return all;
}

template <class T>
Mat<T> square(std::vector<T>& memory, int width, int height = -1) {
  memory.resize(1024);
  return {memory.data(), width, width, height < 0 ? width : height};
}

/// Transforms of images of the given sides; `shared` makes both use the same pixels.
template <class D, class S>
std::function<void()> forward(int dst, int src, bool shared = false) {
  return [=] {
    std::vector<D> to;
    std::vector<S> from;
    auto d = square(to, dst);
    auto s = square(from, src);
    if (shared) s.data = reinterpret_cast<S*>(d.data);
    fourier_transform(d, s);
  };
}
template <class D, class S>
std::function<void()> inverse(int dst, int src, bool shared = false) {
  return [=] {
    std::vector<D> to;
    std::vector<S> from;
    auto d = square(to, dst);
    auto s = square(from, src);
    if (shared) s.data = reinterpret_cast<S*>(d.data);
    inverse_fourier_transform(d, s);
  };
}

/// Runs in a child process and tells whether it ended by `std::terminate`, and by nothing else.
void expect_end(const Ends& row, bool terminates) {
  EXPECT_EXIT(
      {
        std::set_terminate([] { std::_Exit(terminated); });
        row.run();
        std::_Exit(EXIT_SUCCESS);
      },
      ::testing::ExitedWithCode(terminates ? terminated : EXIT_SUCCESS), "")
      << row.what;
}

TEST(Failures, WarpsEndTheProcessForImagesThatDoNotMatch) {
  const float nan = std::nanf("");
  for (const auto& [name, warp] : warps()) {
    const bool in_micrometres = std::string(name) == "translate, Bitmap_";
    const auto with = [w = warp](std::function<void(Pair&)> change) {
      return [=] {
        Pair pair;
        change(pair);
        w(pair);
      };
    };
    SCOPED_TRACE(name);
    expect_end({"alike", with([](Pair&) {})}, false);
    expect_end({"other width", with([](Pair& p) { p.dst.width = 32; })}, false);
    expect_end({"same pixels", with([](Pair& p) { p.dst.data = p.src.data; })}, true);
    expect_end({"other height", with([](Pair& p) { p.dst.height = 29; })}, true);
    expect_end({"other stride", with([](Pair& p) { p.dst.stride = 44; })}, true);
    expect_end({"other pixel width", with([](Pair& p) { p.dst.pixel_size_x = um(2.0f); })}, in_micrometres);
    expect_end({"other pixel height", with([](Pair& p) { p.src.pixel_size_y = um(2.0f); })}, in_micrometres);
    if (in_micrometres)
      expect_end({"NaN", with([=](Pair& p) { p.src.pixel_size_x = p.dst.pixel_size_x = um(nan); })}, true);
  }
}

TEST(Failures, DownsamplingEndsTheProcessForFactorsAboveOne) {
  const auto with = [](float factor) {
    return [=] {
      Pair pair;
      downsampling(pair.src, factor);
    };
  };
  expect_end({"1", with(1.0f)}, false);
  expect_end({"just above", with(std::nextafter(1.0f, 2.0f))}, true);
  expect_end({"1.5", with(1.5f)}, true);
  expect_end({"NaN", with(std::nanf(""))}, true);
}

// tests/frequency goes through all combinations; here is one of each kind for each of the eight forms.
TEST(Failures, TransformsEndTheProcessForSidesThatDoNotFit) {
  using Byte = unsigned char;
  const std::vector<Ends> proceed{
      {"real to picture", forward<Byte, float>(9, 8)},
      {"complex to picture", forward<Byte, Complex>(9, 8)},
      {"real", forward<float, float>(8, 8)},
      {"complex", forward<Complex, Complex>(8, 8)},
      {"complex, unpacked", forward<Complex, Complex>(9, 8)},
      {"back to picture", inverse<Byte, float>(8, 8)},
      {"back to reals", inverse<float, float>(8, 8)},
      {"complex back to picture", inverse<Byte, Complex>(8, 9)},
      {"complex back", inverse<Complex, Complex>(8, 8)},
      {"a side of 1", forward<float, float>(1, 1)},
  };
  const std::vector<Ends> terminate{
      {"real to picture of the same side", forward<Byte, float>(8, 8)},
      {"real to picture, side 6", forward<Byte, float>(7, 6)},
      {"real to picture, side 0", forward<Byte, float>(1, 0)},
      {"real to picture, shared", forward<Byte, float>(9, 8, true)},
      {"complex to picture, side 6", forward<Byte, Complex>(7, 6)},
      {"complex to picture of the same side", forward<Byte, Complex>(8, 8)},
      {"complex to picture, shared", forward<Byte, Complex>(9, 8, true)},
      {"real, side 6", forward<float, float>(6, 6)},
      {"real, unpacked", forward<float, float>(9, 8)},
      {"real, side 0", forward<float, float>(0, 0)},
      {"real, shared", forward<float, float>(8, 8, true)},
      {"complex, side 6", forward<Complex, Complex>(6, 6)},
      {"complex, two more", forward<Complex, Complex>(10, 8)},
      {"complex, shared", forward<Complex, Complex>(8, 8, true)},
      {"back to picture, side 6", inverse<Byte, float>(6, 6)},
      {"back to picture, one less", inverse<Byte, float>(8, 9)},
      {"back to picture, shared", inverse<Byte, float>(8, 8, true)},
      {"back to reals, side 0", inverse<float, float>(0, 0)},
      {"back to reals, one less", inverse<float, float>(8, 9)},
      {"back to reals, shared", inverse<float, float>(8, 8, true)},
      {"complex back to picture, side 6", inverse<Byte, Complex>(6, 7)},
      {"complex back to picture, two less", inverse<Byte, Complex>(8, 10)},
      {"complex back to picture, shared", inverse<Byte, Complex>(8, 8, true)},
      {"complex back, side 6", inverse<Complex, Complex>(6, 6)},
      {"complex back, two less", inverse<Complex, Complex>(8, 10)},
      {"complex back, shared", inverse<Complex, Complex>(8, 8, true)},
  };
  for (const Ends& row : proceed) expect_end(row, false);
  for (const Ends& row : terminate) expect_end(row, true);
}

TEST(Failures, AccessOutsideAnImageEndsTheProcess) {
  const auto on_images = [](std::function<void(Mat<unsigned char>&, Mat<unsigned char>&)> run) {
    return [=] {
      std::vector<unsigned char> a(1024), b(1024);
      Mat<unsigned char> large(a.data(), 20, 24, 10), small(b.data(), 17, 24, 10);
      run(large, small);
    };
  };
  const std::vector<Ends> terminate{
      {"at, column", on_images([](auto& large, auto&) { large.at(0, 20); })},
      {"at, row", on_images([](auto& large, auto&) { large.at(10, 0); })},
      {"at, negative", on_images([](auto& large, auto&) { large.at(-1, 0); })},
      {"row", on_images([](auto& large, auto&) { large.row(10); })},
      {"bitwise_and, rest of a row", on_images([](auto& large, auto& small) { bitwise_and(small, large, large); })},
      {"bitwise_and, constant", on_images([](auto& large, auto& small) { bitwise_and(small, large, 3); })},
      {"bitwise_andnot", on_images([](auto& large, auto& small) { bitwise_andnot(large, large, small); })},
      {"bitwise_xor", on_images([](auto& large, auto& small) { bitwise_xor(large, large, small); })},
      {"clear", on_images([](auto& large, auto&) {
         large.width = -1;
         clear(large);
       })},
      {"border search", on_images([](auto& large, auto&) {
         large.width = -1;
         border_by_maximum(large, Image_Side::Top);
       })},
      {"enclosing_orthogonal_rectangle", on_images([](auto& large, auto&) {
         large.height = 0;
         enclosing_orthogonal_rectangle(large);
       })},
      {"line_histogram",
       on_images([](auto& large, auto&) { line_histogram(Bitmap_<unsigned char>(large.data, 0, 24, 10, {})); })},
      {"FFT filter", on_images([](auto& large, auto& small) {
         large.width = large.height = small.width = small.height = 8;
         fft_filter(large, small, false, fft::Filter::emphasise_peaks, {3, 1, 2});
       })},
      {"contour scan",
       [] {
         std::vector<short> pixels(64);
         pixels[8] = 1;  // in the left column of the frame
         Bitmap_<short> image(pixels.data(), 8, 8, 8, {});
         std::vector<PointContainer<int>> contours;
         detail::scan_suzuki(image, ScanSuzukiMode::all_borders, contours, {0, 0}, nullptr);
       }},
      {"fill_rect", on_images([](auto& large, auto&) {
         Bitmap_<unsigned char> image(large.data, 20, 24, 10, {um(1.0f), um(1.0f)});
         fill_rect(image, Rect__<Point_<um>>({um(21.0f), um(0.0f)}, {um(25.0f), um(3.0f)}), 9);
       })},
  };
  for (const Ends& row : terminate) expect_end(row, true);
  expect_end({"packed part only", on_images([](auto& large, auto& small) {
                large.width = 16;
                bitwise_and(small, large, large);
              })},
             false);
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
    return [=] {
      Pair pair;
      l1_norm(pair.dst, pair.src, static_cast<L1_norm_mode>(mode));
    };
  };
  const auto trace = [](int mode) {
    return [=] {
      Picture picture(8, 8, 8, 255);
      find_next_shape(picture.bitmap(), static_cast<Find_Active_Pixel_Mode>(mode), true);
    };
  };
  const auto fill = [](int code) {
    return [=] {
      Picture picture(8, 8, 8);
      const Shape shape(std::vector<char>{static_cast<char>(code), 7}, 2, 2, 2, 3, 2, 2, true, 0);
      draw_filled_shape(picture.data(), 8, shape, 9);
      auto bitmap = picture.bitmap();
      draw_filled_shape(bitmap, shape, 9);
    };
  };
  struct Row {
    const char* what;
    std::function<void()> run;
    const char* text;
  };
  const std::vector<Row> rows{
      {"Image", [] { Image<unsigned char>(8, 8, -1, {}); }, "std::bad_alloc: bad allocation"},
      {"Image, too large", [] { Image<float>(INT_MAX, INT_MAX, INT_MAX, {}); }, "std::bad_alloc: bad allocation"},
      {"MatBuffer", [] { MatBuffer<float>(8, 8, -1); }, "std::bad_alloc: bad allocation"},
      {"MatBuffer, two sizes", [] { MatBuffer<float>(8, -1); }, "std::bad_alloc: bad allocation"},
      {"Matrix", [] { Matrix<int>(-1, 3); }, "std::bad_alloc: bad allocation"},
      {"random_image", [] { test::random_image(8, 8, -1, 1); }, "std::bad_alloc: bad allocation"},
      {"find_contours",
       [] {
         std::vector<PointContainer<int>> contours;
         find_contours(contours, Bitmap_<unsigned char>(nullptr, INT_MAX, 8, 8, {}), ScanSuzukiMode::all_borders, {});
       },
       "std::bad_alloc: bad allocation"},
      {"l1_norm 2", l1(2), ""},
      {"l1_norm 3", l1(3), "std::logic_error: impossible l1 mode"},
      {"l1_norm -1", l1(-1), "std::logic_error: impossible l1 mode"},
      {"tracing 3", trace(3), ""},
      {"tracing 4", trace(4), "std::invalid_argument: unknown mode"},
      {"tracing -1", trace(-1), "std::invalid_argument: unknown mode"},
      {"chain code 3", fill(3), ""},
      {"chain code 8", fill(8), "invalid_chain_code_element: chain code value out of range ([0,7])"},
      {"chain code -1", fill(-1), "invalid_chain_code_element: chain code value out of range ([0,7])"},
      {"a walk without an end",
       [] {
         const Picture picture = Picture::text({"##", "#."});
         find_next_shape(picture.data(), 2, 2, 2, 0, Find_Active_Pixel_Mode::from_bottom, true);
       },
       "std::length_error: vector<T> too long"},
  };
  for (const Row& row : rows) EXPECT_EQ(thrown(row.run), row.text) << row.what;
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
