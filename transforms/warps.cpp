#include <algorithm>
#include <cmath>

#include "transforms/layout.h"
#include "transforms/warping.h"
#include "zeb/transforms.h"

using namespace zeb::warping;

namespace {

constexpr float pi = 3.1415927f;

}  // namespace

namespace zeb {

void transform(unsigned char* dst, unsigned char* src, int width, int stride, int height, float cx, float cy, float tx,
               float ty, float angle, float scale, unsigned char background) {
  const Target target{dst, width, stride, height};
  warp_image<ScalarBilinearSampler>(target, src, width, stride, height,
                                    Similarity<ExactDivision>(cx, cy, tx, ty, angle, scale), background);
}

void mm_transform(unsigned char* dst, unsigned char* src, int width, int stride, int height, float cx, float cy,
                  float tx, float ty, float angle, float scale, unsigned char background) {
  warp_image<PackedBilinearSampler>(Target::packed(dst, width, stride, height), src, width, stride, height,
                                    Similarity<EstimatedDivision>(cx, cy, tx, ty, angle, scale), background);
}

void mm_morph_transform(unsigned char* dst, unsigned char* src, int width, int stride, int height, float cx, float cy,
                        float tx, float ty, float angle, float scale, unsigned char background) {
  warp_image<NearestSampler>(Target::packed(dst, width, stride, height), src, width, stride, height,
                             Similarity<EstimatedDivision>(cx, cy, tx, ty, angle, scale), background);
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
  warp_image<PackedBilinearSampler>(Target::packed(dst, width, stride, height), src, width, stride, height,
                                    Shear(cx, cy, nx, ny, kx, ky), background);
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
