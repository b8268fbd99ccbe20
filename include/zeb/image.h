#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <exception>
#include <initializer_list>
#include <memory>
#include <utility>
#include <vector>

#include "zeb/mem.h"
#include "zeb/um.h"

/// \file
/// Image views, owning images and the value types of the interfaces.
///
/// The element at column `x`, row `y` of an image is `data[y * stride + x]`; the top row comes first. `stride` counts
/// elements, and the elements from `width` to `stride` at the end of a row are padding. Views never own pixels:
/// whoever made the buffer keeps it alive.
///
/// Geometry that describes no image. Unless a function says otherwise, an image without pixels (a `width` or `height`
/// below 1) is neither read nor written, and its pointer may be null. A `stride` below the `width` makes rows overlap:
/// nothing outside of them is written, and what the pixels become is undefined; the last row needs its whole `width`.
/// Offsets are formed in 64 bits, so images may be larger than 2 GB. Where work memory depends on a size that nothing
/// can hold, that is a lack of memory.

namespace zeb {

namespace detail {

/// The one precondition check of the typed layer: ends the process by `std::terminate` where `holds` is false.
inline void require(bool holds) {
  if (!holds) std::terminate();
}

/// Sums and differences that wrap around in 32 bits, where nothing bounds what the caller passes.
inline std::int32_t wrapping_add(std::int32_t a, std::int32_t b) {
  return static_cast<std::int32_t>(static_cast<std::uint32_t>(a) + static_cast<std::uint32_t>(b));
}
inline std::int32_t wrapping_sub(std::int32_t a, std::int32_t b) {
  return static_cast<std::int32_t>(static_cast<std::uint32_t>(a) - static_cast<std::uint32_t>(b));
}

}  // namespace detail

/// A point, a corner or a pair of extents.
template <class T>
struct Point_ {
  T x{};  ///< column, or extent along a row
  T y{};  ///< row, or extent along a column
};

/// A rectangle by two inclusive corners: for pixels it covers `bottom_right.x - top_left.x + 1` columns and
/// `bottom_right.y - top_left.y + 1` rows. A default rectangle is all zero.
template <class P>
class Rect__ {
 public:
  P top_left{};      ///< the corner with the smaller coordinates
  P bottom_right{};  ///< the opposite corner, which belongs to the rectangle

  Rect__() = default;
  /// The rectangle between any two opposite corners, in any order.
  Rect__(P a, P b) {
    sort(a.x, b.x, top_left.x, bottom_right.x);
    sort(a.y, b.y, top_left.y, bottom_right.y);
  }

 private:
  template <class T>
  static bool less(const T& a, const T& b) {
    return a < b;
  }
  static bool less(const um& a, const um& b) { return a.value < b.value; }

  template <class T>
  static void sort(const T& a, const T& b, T& low, T& high) {
    const bool descending = less(b, a);
    low = descending ? b : a;
    high = descending ? a : b;
  }
};

/// A strided view of pixels that somebody else owns.
template <class T>
class Mat {
 public:
  T* data = nullptr;        ///< first element of the top row
  std::int32_t width = 0;   ///< elements per row that hold image content
  std::int32_t stride = 0;  ///< distance between the starts of two rows, in elements
  std::int32_t height = 0;  ///< number of rows

  Mat() = default;
  /// A view of the given geometry; nothing is checked.
  Mat(T* data_, int width_, int stride_, int height_) : data(data_), width(width_), stride(stride_), height(height_) {}
  /// A view of the same pixels.
  Mat(const Mat&) = default;
  /// Becomes a view of the other's pixels; none are copied.
  Mat& operator=(const Mat&) = default;
  virtual ~Mat() = default;

  /// Start of row `y`, `width` elements long. Ends the process unless `0 <= y < height` and `width >= 0`.
  T* row(int y) const {
    detail::require(0 <= y && y < height && width >= 0);
    return address(0, y);
  }

  /// The element at column `x` of row `y`; mind the order. Ends the process for a position outside the image, padding
  /// included.
  T& at(int y, int x) const {
    detail::require(x < width && 0 <= y && y < height && 0 <= x);
    return *address(x, y);
  }

  /// Iteration over all elements, padding included. Empty where `height * stride` is negative.
  T* begin() const { return data; }
  /// Behind the last element, padding included.
  T* end() const { return data + std::max<std::ptrdiff_t>(0, std::ptrdiff_t{height} * stride); }

 protected:
  /// Where the element at column `x` of row `y` is; nothing is checked.
  T* address(int x, int y) const { return data + (std::ptrdiff_t{y} * stride + x); }
};

/// A view with the size of a pixel in micrometres. Copies are shallow.
template <class T>
class Bitmap_ : public Mat<T> {
 public:
  um pixel_size_x;  ///< length of one pixel along a row
  um pixel_size_y;  ///< length of one pixel along a column

  Bitmap_() = default;
  /// A view of the given geometry; nothing is checked.
  Bitmap_(T* data_, int width_, int stride_, int height_, Point_<um> pixel_size)
      : Mat<T>(data_, width_, stride_, height_), pixel_size_x(pixel_size.x), pixel_size_y(pixel_size.y) {}
  /// A view of the same pixels.
  Bitmap_(const Bitmap_&) = default;
  /// Becomes a view of the other's pixels; none are copied.
  Bitmap_& operator=(const Bitmap_& other) {
    Mat<T>::operator=(other);
    pixel_size_x = other.pixel_size_x;
    pixel_size_y = other.pixel_size_y;
    return *this;
  }
  ~Bitmap_() override = default;

  /// The view from pixel `first` to pixel `last`, the latter excluded. Ends the process unless
  /// `0 <= first.y < height` and `0 <= first.x <= width`: a view that begins behind the last column is allowed, one
  /// below the last row is not. Nothing checks `last`.
  Bitmap_ region(Point_<int> first, Point_<int> last) const {
    detail::require(0 <= first.y && first.y < this->height && 0 <= first.x && first.x <= this->width);
    return Bitmap_(this->address(first.x, first.y), detail::wrapping_sub(last.x, first.x), this->stride,
                   detail::wrapping_sub(last.y, first.y), Point_<um>{pixel_size_x, pixel_size_y});
  }
};

namespace detail {

/// `length` rounded up to a multiple of `step`, wrapped to 32 bits; a negative result later fails the allocation.
inline std::int32_t round_up(std::int64_t length, std::int64_t step) {
  const std::int64_t multiple = step < 0 ? -step : step;
  const std::int64_t rest = length % multiple;
  const std::int64_t rounded = rest > 0 ? length + multiple - rest : length - rest;
  return static_cast<std::int32_t>(static_cast<std::uint32_t>(rounded));
}

}  // namespace detail

/// An image that owns its pixels. Movable, not copyable; accepted wherever a view is.
template <class T>
class Image : public Bitmap_<T> {
 public:
  T* memory = nullptr;               ///< the owned block, equal to `data`
  void (*deleter)(void*) = nullptr;  ///< what releases `memory`

  Image() = default;

  /// An image of `width` by `height` pixels that are not initialised. An `alignment` of at least `width` is the stride
  /// itself, which is how to match the layout of another image; a smaller one rounds the stride up to its next
  /// multiple. Throws `std::bad_alloc` ("bad allocation") where memory is short or `height * stride` is negative. An
  /// `alignment` of 0 needs a `width` of 0 or less.
  Image(int width_, int alignment, int height_, Point_<um> pixel_size) {
    const std::int32_t padded = alignment < width_ ? detail::round_up(width_, alignment) : alignment;
    memory = static_cast<T*>(mem::alloc_or_throw(mem::byte_count(std::int64_t{height_} * padded, sizeof(T))));
    deleter = mem::aligned_free;
    static_cast<Bitmap_<T>&>(*this) = Bitmap_<T>(memory, width_, padded, height_, pixel_size);
  }

  Image(const Image&) = delete;
  Image& operator=(const Image&) = delete;
  /// Leaves `other` an empty image.
  Image(Image&& other) noexcept { swap(other); }
  /// Releases its own pixels and takes over the other's.
  Image& operator=(Image&& other) noexcept {
    Image(std::move(other)).swap(*this);
    return *this;
  }
  ~Image() override {
    if (memory != nullptr && deleter != nullptr) deleter(memory);
  }

 private:
  void swap(Image& other) noexcept {
    std::swap(static_cast<Bitmap_<T>&>(*this), static_cast<Bitmap_<T>&>(other));
    std::swap(memory, other.memory);
    std::swap(deleter, other.deleter);
  }
};

/// Working memory in the shape of an image, without a pixel size. Movable, not copyable.
template <class T>
class MatBuffer : public Mat<T> {
 public:
  T* memory = nullptr;               ///< the owned block, equal to `data`
  void (*deleter)(void*) = nullptr;  ///< what releases `memory`

  /// To match another image: a `stride` above 64 is rounded up to a multiple of 64, a smaller one is kept as it is.
  /// The elements are not initialised. The element count `height * stride` is a 32-bit product that wraps around:
  /// keep it below 2^31. Throws `std::bad_alloc` ("bad allocation") where memory is short or the count is negative.
  MatBuffer(int width_, int stride_, int height_)
      : MatBuffer(Geometry{width_, stride_ > 64 ? detail::round_up(stride_, 64) : stride_, height_}) {}

  /// With a stride of 64 for widths up to 64, else of the next multiple of 64. Otherwise as above.
  MatBuffer(int width_, int height_)
      : MatBuffer(Geometry{width_, width_ <= 64 ? 64 : detail::round_up(width_, 64), height_}) {}

  MatBuffer(const MatBuffer&) = delete;
  MatBuffer& operator=(const MatBuffer&) = delete;
  /// Leaves `other` empty.
  MatBuffer(MatBuffer&& other) noexcept : Mat<T>() { swap(other); }
  /// Releases its own elements and takes over the other's.
  MatBuffer& operator=(MatBuffer&& other) noexcept {
    MatBuffer(std::move(other)).swap(*this);
    return *this;
  }
  ~MatBuffer() override {
    if (memory != nullptr) deleter(memory);
  }

 private:
  struct Geometry {
    std::int32_t columns, pitch, rows;
  };

  explicit MatBuffer(Geometry g) {
    const auto wrapped = static_cast<std::uint32_t>(g.rows) * static_cast<std::uint32_t>(g.pitch);
    memory = static_cast<T*>(mem::alloc_or_throw(mem::byte_count(static_cast<std::int32_t>(wrapped), sizeof(T))));
    deleter = mem::aligned_free;
    static_cast<Mat<T>&>(*this) = Mat<T>(memory, g.columns, g.pitch, g.rows);
  }

  void swap(MatBuffer& other) noexcept {
    std::swap(static_cast<Mat<T>&>(*this), static_cast<Mat<T>&>(other));
    std::swap(memory, other.memory);
    std::swap(deleter, other.deleter);
  }
};

/// Zeroes an image, `stride` elements of each row, so that the padding becomes zero as well. A `height` below 1 does
/// nothing; a negative `width` ends the process.
template <class T>
void clear(Mat<T>& image) {
  for (int y = 0; y < image.height; ++y) std::fill_n(image.row(y), image.stride, T{});
}

/// A dense kernel. Copies share the elements; the last one releases them.
template <class T>
class Matrix {
 public:
  T* data = nullptr;             ///< first element, rows one after the other
  std::int32_t rows = 0;         ///< kernel height
  std::int32_t cols = 0;         ///< kernel width
  std::shared_ptr<T[]> storage;  ///< keeps the elements alive

  Matrix() = default;
  /// A kernel of zeros. Throws `std::bad_alloc` for a negative size ("bad allocation") and where memory is short.
  Matrix(int rows_, int cols_) : Matrix(rows_, cols_, {}) {}
  /// A kernel from its elements row by row; missing ones are zero, surplus ones are ignored. Throws as above.
  Matrix(int rows_, int cols_, std::initializer_list<T> row_major) : rows(rows_), cols(cols_) {
    if (rows < 0 || cols < 0) throw mem::bad_allocation();
    const std::size_t count = static_cast<std::size_t>(rows) * static_cast<std::size_t>(cols);
    storage.reset(new T[count]());
    data = storage.get();
    std::copy_n(row_major.begin(), std::min(count, row_major.size()), data);
  }
};

/// A contour as two parallel arrays: point `i` is (`x[i]`, `y[i]`).
template <class T>
class PointContainer {
 public:
  std::vector<T> x;  ///< columns
  std::vector<T> y;  ///< rows

  /// Appends a point.
  void add(T px, T py) {
    x.push_back(px);
    y.push_back(py);
  }
  /// Number of points.
  std::size_t size() const { return x.size(); }
  /// Whether there is no point.
  bool empty() const { return x.empty(); }
};

}  // namespace zeb
