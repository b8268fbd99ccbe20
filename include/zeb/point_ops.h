#pragma once

#include <cstdint>

#include "zeb/export.h"
#include "zeb/image.h"

/// \file
/// Thresholds, logic and arithmetic, pixel by pixel, and the bounding box of what is set.
///
/// A pixel is set when it is not 0. No function allocates. Rows are processed 16 pixels at a time and the rest of a row
/// one at a time; both give the same pixels except where a function says otherwise. Padding is neither read nor
/// written. Unless stated otherwise, addresses and strides need no alignment, the destination may be one of the
/// sources, and a `height` or `width` below 1 does nothing.

namespace zeb {

/// Which band `thresholding` marks.
enum class ThresholdMode : std::int32_t {
  Standard = 0,       ///< outside the band, see `vThresholding`
  InverseBinary = 1,  ///< inside the band, see `vThresholdingInverseBinary`
};

/// Cuts an image at a band of grey values: calls the kernel that `mode` selects with the geometry of `src`; `dst` must
/// hold as many rows of the same stride. Any other `mode` leaves `dst` untouched.
ZEB_API void thresholding(Mat<unsigned char>& dst, const Mat<unsigned char>& src, unsigned char lower,
                          unsigned char upper, ThresholdMode mode);

/// \name Bitwise combination of two images
/// Each image is addressed with its own stride; `a` rules the area. Images of differing sizes are the caller's mistake:
/// it ends the process when a pixel behind the last whole group of 16 of a row is missing in `b` or `dst`, and goes
/// unnoticed otherwise.
/// @{

/// `a & b`
ZEB_API void bitwise_and(Mat<unsigned char>& dst, const Mat<unsigned char>& a, const Mat<unsigned char>& b);
/// `a & value`
ZEB_API void bitwise_and(Mat<unsigned char>& dst, const Mat<unsigned char>& a, unsigned char value);
/// `~a & b`: the first source is the inverted one.
ZEB_API void bitwise_andnot(Mat<unsigned char>& dst, const Mat<unsigned char>& a, const Mat<unsigned char>& b);
/// `a ^ b`
ZEB_API void bitwise_xor(Mat<unsigned char>& dst, const Mat<unsigned char>& a, const Mat<unsigned char>& b);
/// @}

/// \name Arithmetic
/// `add` and `sub` wrap around modulo 256, `add_s` and `sub_s` saturate. `dst` rules the geometry, stride included, and
/// nothing is checked: the sources must be laid out alike.
/// @{

/// Every pixel becomes `value`.
ZEB_API void set(Mat<unsigned char>& dst, unsigned char value);
/// `(a + b) mod 256`
ZEB_API void add(Mat<unsigned char>& dst, const Mat<unsigned char>& a, const Mat<unsigned char>& b);
/// `(src + value) mod 256`
ZEB_API void add(Mat<unsigned char>& dst, const Mat<unsigned char>& src, unsigned char value);
/// `min(a + b, 255)`
ZEB_API void add_s(Mat<unsigned char>& dst, const Mat<unsigned char>& a, const Mat<unsigned char>& b);
/// `min(src + value, 255)`
ZEB_API void add_s(Mat<unsigned char>& dst, const Mat<unsigned char>& src, unsigned char value);
/// `(a - b) mod 256`
ZEB_API void sub(Mat<unsigned char>& dst, const Mat<unsigned char>& a, const Mat<unsigned char>& b);
/// `(value - src) mod 256`
ZEB_API void sub(Mat<unsigned char>& dst, unsigned char value, const Mat<unsigned char>& src);
/// `max(a - b, 0)`
ZEB_API void sub_s(Mat<unsigned char>& dst, const Mat<unsigned char>& a, const Mat<unsigned char>& b);
/// `max(value - src, 0)`
ZEB_API void sub_s(Mat<unsigned char>& dst, unsigned char value, const Mat<unsigned char>& src);
/// `max(src - value, 0)`
ZEB_API void sub_s(Mat<unsigned char>& dst, const Mat<unsigned char>& src, unsigned char value);
/// `a * b >> shift`, see `vBMMulS` for two images.
ZEB_API void mul_s(Mat<unsigned char>& dst, const Mat<unsigned char>& a, const Mat<unsigned char>& b, int shift);
/// `src * factor`, see `vBMMulS` with a factor.
ZEB_API void mul_s(Mat<unsigned char>& dst, const Mat<unsigned char>& src, float factor);
/// @}

}  // namespace zeb

/// Operation of `LogicBin`.
enum class Logic_bin_mode : std::int32_t {
  logic_and = 0,     ///< `a & b`
  logic_or = 1,      ///< `a | b`
  logic_xor = 2,     ///< `a ^ b`
  logic_andnot = 3,  ///< `~a & b`
  logic_not = 4,     ///< `~a`; `b` is not read and may be null
};

/// Marks what lies outside the band `lower..upper`, the two sides differently: a pixel above `upper` gives 255,
/// otherwise one below `lower` gives 254, all else 0. With `lower > upper` the test against `upper` wins. All images
/// share `stride`.
ZEB_API void vThresholding(unsigned char* dst, const unsigned char* src, int width, int stride, int height,
                           unsigned char lower, unsigned char upper);

/// Marks the band itself: `lower <= pixel <= upper` gives 255, all else 0; with `lower > upper` everything becomes 0.
ZEB_API void vThresholdingInverseBinary(unsigned char* dst, const unsigned char* src, int width, int stride, int height,
                                        unsigned char lower, unsigned char upper);

/// Expands a bitmap of one bit per pixel to bytes: a set bit gives 255, a clear one 0. The leftmost pixel is the lowest
/// bit of a row's first byte.
/// \param dst         `height` rows of `width` bytes, `dst_stride` bytes apart; `dst` and `dst_stride` should be
///                    multiples of 16, which is fastest. Must not overlap `src`.
/// \param src         rows start `src_pitch >> 3` bytes apart and are read in words of 16 bits: a `width` that is no
///                    multiple of 16 still needs its last word whole
/// \param src_pitch   in bits; bits beyond a multiple of 8 are dropped
ZEB_API void ExpandBM(unsigned char* dst, const unsigned char* src, int width, int height, int dst_stride,
                      int src_pitch);

/// Combines two bitmaps of one bit per pixel in blocks of 128 pixels (16 bytes). What is left of `bit_count` behind the
/// last whole block stays as it is in `dst`, deliberately; callers round their bitmaps up. The pointers should be
/// multiples of 16, which is fastest. A `mode` that is none of the enumerators does nothing.
ZEB_API void LogicBin(unsigned char* dst, const unsigned char* a, const unsigned char* b, int bit_count,
                      Logic_bin_mode mode);

/// Bounding box of the set pixels, ends included. Note the order `width, height, stride`. An image without set pixels,
/// or without any, gives `x_min = width`, `x_max = 0`, `y_min = height`, `y_max = 0`, by which callers recognise it.
ZEB_API void vGetMinMaxBM(const unsigned char* src, int width, int height, int stride, int* x_min, int* x_max,
                          int* y_min, int* y_max);

/// A quicker bounding box with rules of its own in `x`, made for images of 0 and 255; `y_min` and `y_max` equal those
/// of `vGetMinMaxBM`. A group of 16 pixels counts with its first pixel of 128 and more alone: so `x_max` is where the
/// rightmost group that holds one *begins* to be set, and `x_min` is exact. A group whose set pixels are all below 128
/// counts as the column 32 behind its start, which may lie outside the image. The last `width & 15` columns are exact.
ZEB_API void vMMGetMinMaxBM(const unsigned char* src, int width, int height, int stride, int* x_min, int* x_max,
                            int* y_min, int* y_max);

/// \name Arithmetic on plain buffers
/// All images of a call share `stride`.
/// @{

/// Every pixel becomes `value`.
ZEB_API void vBMSet(unsigned char* dst, unsigned char value, int width, int stride, int height);
/// `(a + b) mod 256`
ZEB_API void vBMAdd(unsigned char* dst, const unsigned char* a, const unsigned char* b, int width, int stride,
                    int height);
/// `(src + value) mod 256`
ZEB_API void vBMAdd(unsigned char* dst, const unsigned char* src, unsigned char value, int width, int stride,
                    int height);
/// `min(a + b, 255)`
ZEB_API void vBMAddS(unsigned char* dst, const unsigned char* a, const unsigned char* b, int width, int stride,
                     int height);
/// `min(src + value, 255)`
ZEB_API void vBMAddS(unsigned char* dst, const unsigned char* src, unsigned char value, int width, int stride,
                     int height);
/// `(a - b) mod 256`
ZEB_API void vBMSub(unsigned char* dst, const unsigned char* a, const unsigned char* b, int width, int stride,
                    int height);
/// `(value - src) mod 256`
ZEB_API void vBMSub(unsigned char* dst, unsigned char value, const unsigned char* src, int width, int stride,
                    int height);
/// `(src - value) mod 256`
ZEB_API void vBMSub(unsigned char* dst, const unsigned char* src, unsigned char value, int width, int stride,
                    int height);
/// `max(a - b, 0)`
ZEB_API void vBMSubS(unsigned char* dst, const unsigned char* a, const unsigned char* b, int width, int stride,
                     int height);
/// `max(value - src, 0)`
ZEB_API void vBMSubS(unsigned char* dst, unsigned char value, const unsigned char* src, int width, int stride,
                     int height);
/// `max(src - value, 0)`
ZEB_API void vBMSubS(unsigned char* dst, const unsigned char* src, unsigned char value, int width, int stride,
                     int height);

/// Product of two images. The last `width & 15` columns hold `min(a * b >> shift, 255)`, the shift modulo 32. In the
/// whole groups of 16 before them a negative shift, or one of 16 and more, gives 0, and the shifted product loses its
/// top bit: with a `shift` of 0, products from 32768 to 33023 give small values there (129 * 255 gives 127).
ZEB_API void vBMMulS(unsigned char* dst, const unsigned char* a, const unsigned char* b, int width, int stride,
                     int height, int shift);

/// Product with a factor, which should not be negative: that gives 0 in the last `width & 15` columns, but no useful
/// pixels before them. The last `width & 15` columns hold `src * factor`, truncated
/// and limited to 0..255; a product beyond 2^31 gives 0. The whole groups of 16 before them work in fixed point with
/// the factor cut to eight significant bits, so they may differ by a grey level or more. With factors from 128 on,
/// products of 32768 and more give 0 there instead of saturating; from about 256 on, as with an infinite or undefined
/// factor, all pixels do.
ZEB_API void vBMMulS(unsigned char* dst, const unsigned char* src, int width, int stride, int height, float factor);

/// Reciprocal `2^shift * value / src`, limited to 255; a pixel of 0 gives 255 unless `value` is 0. Rounded to nearest,
/// ties to even, in the whole groups of 16, truncated in the last `width & 15` columns. The shift is taken modulo 32;
/// one of 31 makes the numerator negative, which gives 0 in the groups and the quotient's low byte behind them.
ZEB_API void vInvertVideo(unsigned char* dst, const unsigned char* src, int width, int stride, int height,
                          unsigned char value, int shift);
/// @}
