#include <algorithm>
#include <cmath>

#include "transforms/bilinear.h"
#include "zeb/transforms.h"

using namespace zeb::frame;

namespace {

constexpr float pi = 3.1415927f;

struct FourPositions {
  __m128 x, y;
};

/// Source positions of a rotation, scaling and shift. It multiplies by the processor's estimate of `1 / scale`,
/// which is good for 12 bits, and does not refine it: a scale of 1 is not quite 1.
class PackedSimilarity {
 public:
  PackedSimilarity(float cx, float cy, float tx, float ty, float angle, float scale)
      : cx_(_mm_set1_ps(cx)),
        cy_(_mm_set1_ps(cy)),
        offset_x_(_mm_set1_ps(cx - tx)),
        offset_y_(_mm_set1_ps(cy - ty)),
        cos_(_mm_set1_ps(cosf(angle))),
        sin_(_mm_set1_ps(sinf(angle))),
        per_scale_(_mm_rcp_ps(_mm_set1_ps(scale))) {}

  void begin_row(int y) {
    const __m128 yn = (_mm_set1_ps(static_cast<float>(y)) - cy_) * per_scale_;
    yn_sin_ = yn * sin_;
    yn_cos_ = yn * cos_;
  }
  FourPositions at(__m128 x) const {
    const __m128 xn = (x - cx_) * per_scale_;
    return {(xn * cos_ + yn_sin_) + offset_x_, (yn_cos_ - xn * sin_) + offset_y_};
  }

 private:
  __m128 cx_, cy_, offset_x_, offset_y_, cos_, sin_, per_scale_;
  __m128 yn_sin_{}, yn_cos_{};
};

/// Source positions of a displacement in proportion to the distance along a direction.
class PackedShear {
 public:
  PackedShear(float cx, float cy, float nx, float ny, float kx, float ky)
      : cx_(_mm_set1_ps(cx)), cy_(_mm_set1_ps(cy)), kx_(_mm_set1_ps(kx)), ky_(_mm_set1_ps(ky)) {
    const float length = sqrtf(nx * nx + ny * ny);
    const bool has_direction = length > 0.0f;
    nx_ = _mm_set1_ps(has_direction ? nx / length : nx);
    ny_ = _mm_set1_ps(has_direction ? ny / length : ny);
  }

  void begin_row(int y) {
    y_ = _mm_set1_ps(static_cast<float>(y));
    distance_of_row_ = (y_ - cy_) * ny_;
  }
  FourPositions at(__m128 x) const {
    const __m128 distance = (x - cx_) * nx_ + distance_of_row_;
    return {x - distance * kx_, y_ - distance * ky_};
  }

 private:
  __m128 cx_, cy_, kx_, ky_, nx_, ny_;
  __m128 y_{}, distance_of_row_{};
};

/// The frame of the packed warps: four pixels from each fourth column, as long as the first of them is in the image.
template <class Warp, class Sample>
void warp_packed(unsigned char* dst, int width, int stride, int height, Warp warp, Sample sample) {
  const __m128 lanes = _mm_setr_ps(0.0f, 1.0f, 2.0f, 3.0f);
  for (int y = 0; y < height; ++y) {
    warp.begin_row(y);
    unsigned char* row = dst + packed_row(y, stride);
    for (std::ptrdiff_t x = 0; x < width; x += 4)
      store_four(row + x, sample(warp.at(_mm_set1_ps(static_cast<float>(x)) + lanes)));
  }
}

template <class Warp>
void warp_bilinear(unsigned char* dst, const unsigned char* src, int width, int stride, int height, const Warp& warp,
                   unsigned char background) {
  if (width < 1 || height < 1) return;
  const SampleBounds bounds = SampleBounds::of_image(width, height);
  const __m128i zero = _mm_setzero_si128(), x_end = _mm_set1_epi32(bounds.x_max), y_end = _mm_set1_epi32(bounds.y_max);
  const __m128i strides = _mm_set1_epi32(stride), backgrounds = _mm_set1_epi32(background);
  warp_packed(dst, width, stride, height, warp, [=](const FourPositions& position) {
    const FourCoordinates x(position.x, zero, x_end), y(position.y, zero, y_end);
    const __m128i inside = _mm_and_si128(x.inside, y.inside);
    if (_mm_movemask_epi8(inside) == 0) return backgrounds;
    const __m128 sums = sample_four(src, stride, FourOffsets::of_rows(y.whole, strides), x, y);
    return _mm_blendv_epi8(backgrounds, _mm_cvtps_epi32(sums), inside);
  });
}

/// What the typed warps demand; widths may differ.
void require_layout(const zeb::Mat<unsigned char>& dst, const zeb::Mat<unsigned char>& src) {
  zeb::detail::require(dst.data != src.data && dst.height == src.height && dst.stride == src.stride);
}

}  // namespace

namespace zeb {

void transform(unsigned char* dst, unsigned char* src, int width, int stride, int height, float cx, float cy, float tx,
               float ty, float angle, float scale, unsigned char background) {
  if (width < 1 || height < 1) return;
  const SampleBounds bounds = SampleBounds::of_image(width, height);
  const float cos = cosf(angle), sin = sinf(angle), offset_x = cx - tx, offset_y = cy - ty;
  for (int y = 0; y < height; ++y) {
    const float yn = (static_cast<float>(y) - cy) / scale, yn_sin = yn * sin, yn_cos = yn * cos;
    unsigned char* row = dst + std::ptrdiff_t{y} * stride;
    for (int x = 0; x < width; ++x) {
      const float xn = (static_cast<float>(x) - cx) / scale;
      const float value = sample_bilinear(src, stride, (xn * cos + yn_sin) + offset_x, (yn_cos - xn * sin) + offset_y,
                                          bounds, static_cast<float>(background));
      row[x] = static_cast<unsigned char>(zeb::frame::trunc(static_cast<double>(value) + 0.49));
    }
  }
}

void mm_transform(unsigned char* dst, unsigned char* src, int width, int stride, int height, float cx, float cy,
                  float tx, float ty, float angle, float scale, unsigned char background) {
  warp_bilinear(dst, src, width, stride, height, PackedSimilarity(cx, cy, tx, ty, angle, scale), background);
}

void mm_morph_transform(unsigned char* dst, unsigned char* src, int width, int stride, int height, float cx, float cy,
                        float tx, float ty, float angle, float scale, unsigned char background) {
  if (width < 1 || height < 1) return;
  const __m128 zero = _mm_setzero_ps(), x_end = _mm_set1_ps(static_cast<float>(width - 1)),
               y_end = _mm_set1_ps(static_cast<float>(height - 1));
  const __m128i strides = _mm_set1_epi32(stride), backgrounds = _mm_set1_epi32(background);
  warp_packed(
      dst, width, stride, height, PackedSimilarity(cx, cy, tx, ty, angle, scale), [=](const FourPositions& position) {
        // The rounded position is tested: -0.5 becomes -0, which is inside.
        const __m128 x = _mm_round_ps(position.x, _MM_FROUND_TO_NEAREST_INT | _MM_FROUND_NO_EXC);
        const __m128 y = _mm_round_ps(position.y, _MM_FROUND_TO_NEAREST_INT | _MM_FROUND_NO_EXC);
        const __m128i inside = _mm_castps_si128(_mm_and_ps(_mm_and_ps(_mm_cmple_ps(zero, x), _mm_cmplt_ps(x, x_end)),
                                                           _mm_and_ps(_mm_cmple_ps(zero, y), _mm_cmplt_ps(y, y_end))));
        if (_mm_movemask_epi8(inside) == 0) return backgrounds;
        const FourOffsets offsets = FourOffsets::of_rows(_mm_and_si128(_mm_cvttps_epi32(y), inside), strides)
                                        .plus(_mm_and_si128(_mm_cvttps_epi32(x), inside));
        const __m128i pixels = _mm_setr_epi32(src[offsets[0]], src[offsets[1]], src[offsets[2]], src[offsets[3]]);
        return _mm_blendv_epi8(backgrounds, pixels, inside);
      });
}

void stretch_shear(unsigned char* dst, unsigned char* src, int width, int stride, int height, float /*cx*/,
                   float /*cy*/, float /*nx*/, float /*ny*/, float /*kx*/, float /*ky*/, unsigned char background) {
  if (width < 1) return;
  for (int y = 0; y < height; ++y) {
    const std::ptrdiff_t row = std::ptrdiff_t{y} * stride;
    const int copied = y < height - 1 ? width - 1 : 0;
    std::copy_n(src + row, copied, dst + row);
    std::fill_n(dst + row + copied, width - copied, background);
  }
}

void mm_stretch_shear(unsigned char* dst, unsigned char* src, int width, int stride, int height, float cx, float cy,
                      float nx, float ny, float kx, float ky, unsigned char background) {
  warp_bilinear(dst, src, width, stride, height, PackedShear(cx, cy, nx, ny, kx, ky), background);
}

void rotate(unsigned char* dst, unsigned char* src, int width, int height, float angle_degrees,
            unsigned char background) {
  mm_transform(dst, src, width, width, height, -1e-6f, -1e-6f, 0.0f, 0.0f, (angle_degrees / 180.0f) * pi, 1.0f,
               background);
}

void rotate_point(float angle, float x, float y, float* out_x, float* out_y) {
  const float c = cosf(angle), s = sinf(angle);
  *out_x = c * x - s * y;
  *out_y = s * x - c * y;
}

void rotate(Mat<unsigned char>& dst, Mat<unsigned char>& src, float angle_degrees, unsigned char background) {
  require_layout(dst, src);
  rotate(dst.data, src.data, src.stride, src.height, angle_degrees, background);
}

void shear(Mat<unsigned char>& dst, Mat<unsigned char>& src, float kx, float ky, unsigned char background) {
  require_layout(dst, src);
  mm_stretch_shear(dst.data, src.data, src.width, src.stride, src.height, 0.0f, 0.0f, 1.0f, 1.0f, kx, ky, background);
}

void stretch(Mat<unsigned char>& dst, Mat<unsigned char>& src, float factor, unsigned char background) {
  shear(dst, src, factor, factor, background);
}

void transform(Mat<unsigned char>& dst, Mat<unsigned char>& src, float scale, float angle_degrees, float tx, float ty,
               unsigned char background) {
  require_layout(dst, src);
  mm_transform(dst.data, src.data, src.width, src.stride, src.height, 0.0f, 0.0f, tx, ty, (angle_degrees * pi) / 180.0f,
               scale, background);
}

void transform(Bitmap_<unsigned char>& dst, Bitmap_<unsigned char>& src, float scale, float angle_degrees,
               Point_<um> shift, unsigned char background) {
  transform(dst, src, scale, angle_degrees, shift.x.value / dst.pixel_size_x.value,
            shift.y.value / dst.pixel_size_y.value, background);
}

}  // namespace zeb
