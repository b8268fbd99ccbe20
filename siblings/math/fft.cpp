#include "zeb/fft.h"

#include <fftw3.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <memory>
#include <mutex>

#include "siblings/math/spectrum_layout.h"
#include "zeb/image.h"

// The one place that knows the transform library. A two-dimensional transform is one of all rows and one of all
// columns; columns are gathered a tile at a time, so that each cache line of the image is touched once.

namespace zeb {
namespace {

using Complex = std::complex<float>;

/// Columns that are gathered at a time: one or two cache lines of a row, so that a tile stays in the inner caches.
int tile_width(int side) { return side <= 1024 ? 8 : 16; }

/// A one-dimensional transform of one kind and length.
class Plan {
 public:
  enum Kind {
    row_forward,      ///< one row of complex elements, in place
    row_inverse,      ///< its inverse
    real_forward,     ///< a row of reals to the first half of its spectrum, in place
    real_inverse,     ///< its inverse
    columns_forward,  ///< the columns of a tile, in place
    columns_inverse,  ///< their inverse
    kinds
  };

  /// The plan for a length of 2^exponent, made at its first use. Making plans is not safe in itself and is done one at
  /// a time; using them is. They are made without measuring, so that the same transform is used every time.
  static const Plan& get(Kind kind, int exponent) {
    static std::mutex planner;
    static std::array<std::array<std::unique_ptr<Plan>, 31>, kinds> plans;
    const std::lock_guard<std::mutex> one_at_a_time(planner);
    std::unique_ptr<Plan>& plan = plans[kind][static_cast<std::size_t>(exponent)];
    if (!plan) plan.reset(new Plan(kind, 1 << exponent));
    return *plan;
  }

  Plan(const Plan&) = delete;
  Plan& operator=(const Plan&) = delete;
  ~Plan() { fftwf_destroy_plan(plan_); }

  /// `elements` are aligned like the start of a `MatBuffer`.
  void run(Complex* elements) const {
    auto* const data = reinterpret_cast<fftwf_complex*>(elements);
    auto* const reals = reinterpret_cast<float*>(elements);
    switch (kind_) {
      case real_forward:
        fftwf_execute_dft_r2c(plan_, reals, data);
        break;
      case real_inverse:
        fftwf_execute_dft_c2r(plan_, data, reals);
        break;
      default:
        fftwf_execute_dft(plan_, data, data);
        break;
    }
  }

 private:
  Plan(Kind kind, int length) : kind_(kind) {
    const int columns = tile_width(length);
    MatBuffer<Complex> example(columns, columns, length + 2);
    auto* const data = reinterpret_cast<fftwf_complex*>(example.data);
    auto* const reals = reinterpret_cast<float*>(example.data);
    const unsigned flags = FFTW_ESTIMATE;
    switch (kind) {
      case row_forward:
        plan_ = fftwf_plan_dft_1d(length, data, data, FFTW_FORWARD, flags);
        break;
      case row_inverse:
        plan_ = fftwf_plan_dft_1d(length, data, data, FFTW_BACKWARD, flags);
        break;
      case real_forward:
        plan_ = fftwf_plan_dft_r2c_1d(length, reals, data, flags);
        break;
      case real_inverse:
        plan_ = fftwf_plan_dft_c2r_1d(length, data, reals, flags);
        break;
      default:
        plan_ = fftwf_plan_many_dft(1, &length, columns, data, nullptr, columns, 1, data, nullptr, columns, 1,
                                    kind == columns_forward ? FFTW_FORWARD : FFTW_BACKWARD, flags);
        break;
    }
    if (plan_ == nullptr) throw mem::bad_allocation();
  }

  Kind kind_;
  fftwf_plan plan_;
};

/// Working memory for `columns` complex columns, each row aligned as plans ask for.
MatBuffer<Complex> aligned_rows(int columns, int rows) {
  const int aligned = (columns + 7) & ~7;
  // The count of a buffer's elements wraps around in 32 bits, which would leave it too small.
  if (std::int64_t{aligned} * rows > std::numeric_limits<std::int32_t>::max()) throw mem::bad_allocation();
  return {columns, aligned, rows};
}

/// Transforms all columns: `read(y, x, n, to)` gives n elements of row y from column x on, `write(y, x, n, from)` takes
/// their transforms. A tile is read whole before it is written.
template <class Read, class Write>
void transform_columns(const Plan& plan, int columns, int side, Read read, Write write) {
  const int width = tile_width(side);
  MatBuffer<Complex> tile(width, width, side);
  clear(tile);
  for (int first = 0; first < columns; first += width) {
    const int count = std::min(width, columns - first);
    for (int y = 0; y < side; ++y) read(y, first, count, tile.row(y));
    plan.run(tile.data);
    for (int y = 0; y < side; ++y) write(y, first, count, tile.row(y));
  }
}

template <class A, class B>
bool are_equal_squares(const Mat<A>& a, const Mat<B>& b) {
  return is_side(a.width) && a.height == a.width && b.width == a.width && b.height == a.width;
}

void real_to_spectrum(const Mat<float>& dst, const Mat<float>& src, int side) {
  const MatBuffer<Complex> half = aligned_rows(side / 2 + 1, side);
  const Plan& rows = Plan::get(Plan::real_forward, exponent_of(side));
  for (int y = 0; y < side; ++y) {
    std::copy_n(row_of(src, y), side, reinterpret_cast<float*>(half.row(y)));
    rows.run(half.row(y));
  }
  const PackedReal spectrum(dst);
  transform_columns(
      Plan::get(Plan::columns_forward, exponent_of(side)), half.width, side,
      [&half](int y, int kx, int count, Complex* to) { std::copy_n(row_of(half, y) + kx, count, to); },
      [&spectrum](int ky, int kx, int count, const Complex* from) { spectrum.write(ky, kx, count, from); });
}

void spectrum_to_real(const Mat<float>& dst, const Mat<float>& src, int side) {
  const MatBuffer<Complex> half = aligned_rows(side / 2 + 1, side);
  const PackedReal spectrum(src);
  transform_columns(
      Plan::get(Plan::columns_inverse, exponent_of(side)), half.width, side,
      [&spectrum](int ky, int kx, int count, Complex* to) { spectrum.read(ky, kx, count, to); },
      [&half](int y, int kx, int count, const Complex* from) { std::copy_n(from, count, row_of(half, y) + kx); });
  const Plan& rows = Plan::get(Plan::real_inverse, exponent_of(side));
  const float scale = 1.0f / (static_cast<float>(side) * static_cast<float>(side));
  for (int y = 0; y < side; ++y) {
    rows.run(half.row(y));
    const auto* const reals = reinterpret_cast<const float*>(half.row(y));
    for (int x = 0; x < side; ++x) row_of(dst, y)[x] = reals[x] * scale;
  }
}

}  // namespace

void fft_complex(Mat<std::complex<float>>& dst, Mat<std::complex<float>>& src, fft::direction direction) {
  if (!are_equal_squares(dst, src)) return;
  const int side = dst.width;
  const bool inverse = direction == fft::direction::inverse;
  const float scale = inverse ? 1.0f / (static_cast<float>(side) * static_cast<float>(side)) : 1.0f;
  const MatBuffer<Complex> work = aligned_rows(side, side);
  const Plan& rows = Plan::get(inverse ? Plan::row_inverse : Plan::row_forward, exponent_of(side));
  for (int y = 0; y < side; ++y) {
    std::copy_n(row_of(src, y), side, work.row(y));
    rows.run(work.row(y));
  }
  transform_columns(
      Plan::get(inverse ? Plan::columns_inverse : Plan::columns_forward, exponent_of(side)), side, side,
      [&work](int y, int x, int count, Complex* to) { std::copy_n(row_of(work, y) + x, count, to); },
      [&dst, scale](int y, int x, int count, const Complex* from) {
        std::transform(from, from + count, row_of(dst, y) + x, [scale](Complex f) { return f * scale; });
      });
}

void inplace_fft_real(Mat<float>& dst, Mat<float>& src, fft::direction direction) {
  if (!are_equal_squares(dst, src)) return;
  if (direction == fft::direction::inverse)
    spectrum_to_real(dst, src, dst.width);
  else
    real_to_spectrum(dst, src, dst.width);
}

}  // namespace zeb
