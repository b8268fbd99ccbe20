#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "frame/packed.h"
#include "frame/rounding.h"
#include "zeb/point_ops.h"

using namespace zeb::frame;

namespace {

unsigned char saturated(int value) { return static_cast<unsigned char>(std::clamp(value, 0, 255)); }
unsigned char wrapped(int value) { return static_cast<unsigned char>(value); }

template <class Packed, class Scalar>
void combine(unsigned char* dst, const unsigned char* a, const unsigned char* b, int width, int stride, int height,
             Packed packed, Scalar scalar) {
  for_each_block(
      width, stride, height, [=](std::ptrdiff_t i) { store(dst + i, packed(load(a + i), load(b + i))); },
      [=](std::ptrdiff_t i) { dst[i] = scalar(a[i], b[i]); });
}

template <class Packed, class Scalar>
void map(unsigned char* dst, const unsigned char* src, int width, int stride, int height, Packed packed,
         Scalar scalar) {
  for_each_block(
      width, stride, height, [=](std::ptrdiff_t i) { store(dst + i, packed(load(src + i))); },
      [=](std::ptrdiff_t i) { dst[i] = scalar(src[i]); });
}

/// A non-negative factor as `multiplier / 2^right_shift`, cut to eight significant bits.
struct FixedPointFactor {
  std::uint16_t multiplier;
  int right_shift;

  explicit FixedPointFactor(float factor) {
    const std::int32_t fixed = zeb::frame::trunc(factor * 256.0f);
    // The small addend lifts the logarithm of a power of two that came out a hair too small; it lifts values just below
    // one as well. A negative number has no logarithm and counts as small.
    const std::int32_t log2_floor =
        fixed == 0 ? -1 : zeb::frame::trunc((logf(static_cast<float>(fixed)) + 0.0001f) / logf(2.0f));
    const int shift = log2_floor < 7 ? 0 : log2_floor - 7;
    multiplier = static_cast<std::uint16_t>(fixed >> shift);
    right_shift = 8 - shift;
  }
};

}  // namespace

void vBMSet(unsigned char* dst, unsigned char value, int width, int stride, int height) {
  if (width < 1) return;
  for (int y = 0; y < height; ++y)
    std::memset(dst + std::ptrdiff_t{y} * stride, value, static_cast<std::size_t>(width));
}

void vBMAdd(unsigned char* dst, const unsigned char* const a, const unsigned char* const b, int width, int stride,
            int height) {
  combine(
      dst, a, b, width, stride, height, [](__m128i p, __m128i q) { return _mm_add_epi8(p, q); },
      [](int p, int q) { return wrapped(p + q); });
}

void vBMAdd(unsigned char* dst, const unsigned char* const src, unsigned char value, int width, int stride,
            int height) {
  map(
      dst, src, width, stride, height, [v = splat(value)](__m128i p) { return _mm_add_epi8(p, v); },
      [value](int p) { return wrapped(p + value); });
}

void vBMAddS(unsigned char* dst, const unsigned char* const a, const unsigned char* const b, int width, int stride,
             int height) {
  combine(
      dst, a, b, width, stride, height, [](__m128i p, __m128i q) { return _mm_adds_epu8(p, q); },
      [](int p, int q) { return saturated(p + q); });
}

void vBMAddS(unsigned char* dst, const unsigned char* const src, unsigned char value, int width, int stride,
             int height) {
  map(
      dst, src, width, stride, height, [v = splat(value)](__m128i p) { return _mm_adds_epu8(p, v); },
      [value](int p) { return saturated(p + value); });
}

void vBMSub(unsigned char* dst, const unsigned char* const a, const unsigned char* const b, int width, int stride,
            int height) {
  combine(
      dst, a, b, width, stride, height, [](__m128i p, __m128i q) { return _mm_sub_epi8(p, q); },
      [](int p, int q) { return wrapped(p - q); });
}

void vBMSub(unsigned char* dst, unsigned char value, const unsigned char* const src, int width, int stride,
            int height) {
  map(
      dst, src, width, stride, height, [v = splat(value)](__m128i p) { return _mm_sub_epi8(v, p); },
      [value](int p) { return wrapped(value - p); });
}

void vBMSub(unsigned char* dst, const unsigned char* const src, unsigned char value, int width, int stride,
            int height) {
  map(
      dst, src, width, stride, height, [v = splat(value)](__m128i p) { return _mm_sub_epi8(p, v); },
      [value](int p) { return wrapped(p - value); });
}

void vBMSubS(unsigned char* dst, const unsigned char* const a, const unsigned char* const b, int width, int stride,
             int height) {
  combine(
      dst, a, b, width, stride, height, [](__m128i p, __m128i q) { return _mm_subs_epu8(p, q); },
      [](int p, int q) { return saturated(p - q); });
}

void vBMSubS(unsigned char* dst, unsigned char value, const unsigned char* const src, int width, int stride,
             int height) {
  map(
      dst, src, width, stride, height, [v = splat(value)](__m128i p) { return _mm_subs_epu8(v, p); },
      [value](int p) { return saturated(value - p); });
}

void vBMSubS(unsigned char* dst, const unsigned char* const src, unsigned char value, int width, int stride,
             int height) {
  map(
      dst, src, width, stride, height, [v = splat(value)](__m128i p) { return _mm_subs_epu8(p, v); },
      [value](int p) { return saturated(p - value); });
}

void vBMMulS(unsigned char* dst, const unsigned char* const a, const unsigned char* const b, int width, int stride,
             int height, int shift) {
  // The packed shift counts 64 bits unsigned, which makes any negative count one of 16 and more.
  const __m128i count = _mm_cvtsi32_si128(shift);
  const __m128i non_negative = _mm_set1_epi16(0x7FFF);
  const auto product = [=](__m128i p, __m128i q) {
    return _mm_and_si128(_mm_srl_epi16(_mm_mullo_epi16(p, q), count), non_negative);
  };
  combine(
      dst, a, b, width, stride, height,
      [=](__m128i p, __m128i q) {
        return _mm_packus_epi16(product(low_words(p), low_words(q)), product(high_words(p), high_words(q)));
      },
      [=](int p, int q) { return saturated((p * q) >> (shift & 31)); });
}

void vBMMulS(unsigned char* dst, const unsigned char* const src, int width, int stride, int height, float factor) {
  const FixedPointFactor fixed_point(factor);
  const __m128i multiplier = _mm_set1_epi16(static_cast<short>(fixed_point.multiplier));
  const __m128i count = _mm_cvtsi32_si128(fixed_point.right_shift);
  // Without any shift, products of 32768 and more count as negative here and saturate to 0.
  const auto product = [=](__m128i words) { return _mm_srl_epi16(_mm_mullo_epi16(words, multiplier), count); };
  map(
      dst, src, width, stride, height,
      [=](__m128i p) { return _mm_packus_epi16(product(low_words(p)), product(high_words(p))); },
      [=](int p) { return saturated(zeb::frame::trunc(static_cast<float>(p) * factor)); });
}

void vInvertVideo(unsigned char* dst, const unsigned char* const src, int width, int stride, int height,
                  unsigned char value, int shift) {
  const float numerator = static_cast<float>(static_cast<std::int32_t>(1u << (shift & 31))) * static_cast<float>(value);
  const __m128 numerators = _mm_set1_ps(numerator), floor = _mm_set1_ps(0.001f), ceiling = _mm_set1_ps(255.001f);
  const auto quotients = [=](__m128i pixels) {
    const __m128 divisors = _mm_max_ps(floor, _mm_cvtepi32_ps(_mm_cvtepu8_epi32(pixels)));
    return _mm_cvtps_epi32(_mm_min_ps(ceiling, _mm_div_ps(numerators, divisors)));
  };
  map(
      dst, src, width, stride, height,
      [=](__m128i p) {
        return _mm_packus_epi16(_mm_packs_epi32(quotients(p), quotients(_mm_srli_si128(p, 4))),
                                _mm_packs_epi32(quotients(_mm_srli_si128(p, 8)), quotients(_mm_srli_si128(p, 12))));
      },
      [=](int p) {
        return wrapped(zeb::frame::trunc(std::min(255.001f, numerator / std::max(0.001f, static_cast<float>(p)))));
      });
}

namespace zeb {

void set(Mat<unsigned char>& dst, unsigned char value) { vBMSet(dst.data, value, dst.width, dst.stride, dst.height); }

void add(Mat<unsigned char>& dst, const Mat<unsigned char>& a, const Mat<unsigned char>& b) {
  vBMAdd(dst.data, a.data, b.data, dst.width, dst.stride, dst.height);
}

void add(Mat<unsigned char>& dst, const Mat<unsigned char>& src, unsigned char value) {
  vBMAdd(dst.data, src.data, value, dst.width, dst.stride, dst.height);
}

void add_s(Mat<unsigned char>& dst, const Mat<unsigned char>& a, const Mat<unsigned char>& b) {
  vBMAddS(dst.data, a.data, b.data, dst.width, dst.stride, dst.height);
}

void add_s(Mat<unsigned char>& dst, const Mat<unsigned char>& src, unsigned char value) {
  vBMAddS(dst.data, src.data, value, dst.width, dst.stride, dst.height);
}

void sub(Mat<unsigned char>& dst, const Mat<unsigned char>& a, const Mat<unsigned char>& b) {
  vBMSub(dst.data, a.data, b.data, dst.width, dst.stride, dst.height);
}

void sub(Mat<unsigned char>& dst, unsigned char value, const Mat<unsigned char>& src) {
  vBMSub(dst.data, value, src.data, dst.width, dst.stride, dst.height);
}

void sub_s(Mat<unsigned char>& dst, const Mat<unsigned char>& a, const Mat<unsigned char>& b) {
  vBMSubS(dst.data, a.data, b.data, dst.width, dst.stride, dst.height);
}

void sub_s(Mat<unsigned char>& dst, unsigned char value, const Mat<unsigned char>& src) {
  vBMSubS(dst.data, value, src.data, dst.width, dst.stride, dst.height);
}

void sub_s(Mat<unsigned char>& dst, const Mat<unsigned char>& src, unsigned char value) {
  vBMSubS(dst.data, src.data, value, dst.width, dst.stride, dst.height);
}

void mul_s(Mat<unsigned char>& dst, const Mat<unsigned char>& a, const Mat<unsigned char>& b, int shift) {
  vBMMulS(dst.data, a.data, b.data, dst.width, dst.stride, dst.height, shift);
}

void mul_s(Mat<unsigned char>& dst, const Mat<unsigned char>& src, float factor) {
  vBMMulS(dst.data, src.data, dst.width, dst.stride, dst.height, factor);
}

}  // namespace zeb
