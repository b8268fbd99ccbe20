#pragma once

#include <array>
#include <complex>
#include <cstddef>
#include <type_traits>
#include <vector>

#include "zeb/zeb.h"

/// Every public function once, as a call on given images: what the tests of this folder run over.
namespace zeb::reliability {

/// The images, parameters and results of one call.
struct Call {
  /// Four images of one layout: a destination, a grey image, an image of lines and one of filled areas.
  Bitmap_<unsigned char> to, from, lines, areas;
  unsigned char *dst = nullptr, *src = nullptr, *edges = nullptr, *mask = nullptr;
  int w = 0, s = 0, h = 0;

  /// Square images for the Fourier transforms, the 8-bit ones in `src` and `dst`.
  Mat<float> real_from, real_to;
  Mat<std::complex<float>> complex_from, complex_to, unpacked_from, unpacked_to;
  Mat<unsigned char> square_from, square_to, square_to_unpacked;

  /// Parameters that are no images, made beforehand so that calls allocate nothing themselves.
  std::vector<float> weights = std::vector<float>(256);  ///< a histogram
  std::vector<float> x1, y1, x2, y2, ones;               ///< 8 points each
  std::vector<float> polygon_x{2.5f, 30, 40, 8}, polygon_y{3, 1, 20, 30};
  std::vector<int> corners_x{1, 9, 12, 3}, corners_y{2, 1, 8, 9}, lags{1, 2, 1, 1, 1, 2, 3, 1};
  std::vector<float> floats = std::vector<float>(2048), more_floats = floats;
  std::vector<int> ints = std::vector<int>(4096), kernel;
  std::vector<unsigned int> counts = std::vector<unsigned int>(256);
  std::vector<char> chain, traced;  ///< the outline of a square, and room for another one
  char* codes = nullptr;            ///< that chain
  int steps = 0;                    ///< and its length
  Shape square;
  std::vector<PointContainer<int>> contours;
  std::vector<int> hierarchy;
  PointContainer<int> contour;
  std::vector<std::complex<float>> spectrum = std::vector<std::complex<float>>(33 * 33), other_spectrum = spectrum;

  /// Room for numbers that a function writes.
  float real[10];
  int whole[6];

  /// What the function returned or wrote elsewhere than into the images.
  std::vector<double> notes;

  Call();
  /// Images are views of `dst`, `src`, `edges` and `mask`, set by the caller before.
  void view();

  /// Calls a function and notes its result, then what it wrote into `real` and `whole` and whether it changed an array.
  template <class Function>
  void keep(Function call) {
    const double before = digest();
    if constexpr (std::is_void_v<decltype(call())>)
      call();
    else
      note(call());
    note_written(before);
  }

  /// Writes values down. Ends a shortage of memory that a test has made, as the function has returned by now.
  template <class... T>
  void note(const T&... values) {
    end_of_shortage();
    (put(values), ...);
  }

 private:
  template <class T, std::enable_if_t<std::is_arithmetic_v<T>, int> = 0>
  void put(T value) {
    notes.push_back(static_cast<double>(value));
  }
  template <class T>
  void put(const Point_<T>& point) {
    note(point.x, point.y);
  }
  template <class T>
  void put(const Rect__<T>& rect) {
    note(rect.top_left, rect.bottom_right);
  }
  template <class T>
  void put(const std::vector<T>& values) {
    for (const auto& value : values) put(value);
  }
  template <class T, std::size_t n>
  void put(const std::array<T, n>& values) {
    for (const auto& value : values) put(value);
  }
  template <class T>
  void put(const Mat<T>& image) {
    note(image.width, image.height);
    for (int y = 0; y < image.height; ++y)
      for (int x = 0; x < image.width; ++x) put(image.at(y, x));
  }
  void put(const Shape& shape);

  static void end_of_shortage();
  double digest() const;
  void note_written(double digest_before);
};

/// What a function does where its memory runs out.
enum Shortage {
  allocates_nothing,
  gives_up,                   ///< returns; the images are as they were, and what it returned is in `given_up`
  gives_up_but_for_outlines,  ///< as `gives_up`, but `std::bad_alloc` for chains, and the destination worked on
  throws,                     ///< `std::bad_alloc`; the images are as they were
  throws_part_done,           ///< `std::bad_alloc`; the destination may have been worked on
};

/// Facts about a function, to be combined.
enum Trait : unsigned {
  plain = 0,
  draws_random = 1,    ///< uses the process's `rand`
  own_layout = 2,      ///< does not work on an image of the call's layout, or needs positions inside of it
  whole_rows = 4,      ///< treats padding too or takes memory for it, so that its work grows with the stride
  short_stride = 8,    ///< narrows the stride to 16 bits, or writes rows elsewhere than at multiples of it
  writes_empty = 16,   ///< writes something, as documented, for images without pixels
  ends_empty = 32,     ///< ends the process for images without pixels
  ends_shared = 128,   ///< ends the process where source and destination are one, null included
  looks_first = 256,   ///< reads the image before it takes memory
  reads_beside = 512,  ///< takes more than the pixels into account, in the layouts that its comment tells of
  throws_empty = 64,   ///< throws `std::bad_alloc` for images of a negative size
};

struct Operation {
  const char* function;  ///< its exported name, without arguments
  void (*run)(Call&);
  unsigned traits = plain;
  Shortage shortage = allocates_nothing;
  std::vector<double> given_up = {};
};

/// What a function that gives up has noted, see `Operation::given_up`.
struct Returning : std::vector<double> {
  using vector::vector;
};

inline Operation operator|(Operation operation, Trait trait) {
  operation.traits |= trait;
  return operation;
}
inline Operation operator|(Operation operation, Shortage shortage) {
  operation.shortage = shortage;
  return operation;
}
inline Operation operator|(Operation operation, const Returning& numbers) {
  operation.given_up = numbers;
  return operation;
}

const std::vector<Operation>& catalogue();

/// Makes allocations of this thread fail: those of `Core`, or those by `operator new`, once `successes` were granted.
void starve_core(int successes);
void starve_new(int successes);
bool can_starve_new();
void end_shortages();

}  // namespace zeb::reliability
