#pragma once

#include <cstdint>
#include <vector>

#include "zeb/export.h"
#include "zeb/image.h"

/// \file
/// Histograms, statistics and threshold selectors on them, and measures that reduce images to a number.
///
/// A histogram is a vector of single-precision weights, element `i` being the weight of bin `i`; `histogram` makes
/// 256 bins counted in pixels, but the selectors work on any length and on any non-negative weights. Their arithmetic
/// is single precision in index order. A pixel is set when it is not 0. Padding never influences a result. A `width` or
/// `height` below 1 is an image without pixels, except where a function says otherwise.

namespace zeb {

/// \name Histograms
/// @{

/// Grey-value histogram of 256 bins, see `bitmap_histogram`.
ZEB_API std::vector<float> histogram(const Bitmap_<unsigned char>& src);

/// Mean grey value of each row, `height` elements: the single-precision sum from left to right, divided by the width. A
/// `height` below 1 gives an empty vector; rows of less than one pixel end the process.
ZEB_API std::vector<float> line_histogram(const Bitmap_<unsigned char>& src);
/// @}

/// \name Trimmed statistics
/// The raw functions of the same names on a vector; without a `total` the sum of the bins is taken.
/// @{

/// Trimmed mean of the bin index; the sum of the bins is the total.
ZEB_API float hist_average(const std::vector<float>& hist, float lower, float upper);
/// Trimmed mean of the bin index.
ZEB_API float hist_average(const std::vector<float>& hist, float total, float lower, float upper);
/// Number of bins that the band covers; the sum of the bins is the total.
ZEB_API float hist_width(const std::vector<float>& hist, float lower, float upper);
/// Number of bins that the band covers.
ZEB_API float hist_width(const std::vector<float>& hist, float total, float lower, float upper);
/// @}

/// \name Threshold selection
/// @{

/// Otsu's threshold: the bins from `first` to `last` are those after which a cut gives the largest variance between
/// the two classes, a plateau where empty bins lie between the classes. Equal weights in bins 10 and 20 alone give 10
/// and 19. A histogram with a single occupied bin, or none, has no such cut and leaves both as they are; `first` stays
/// too where the largest variance is 0. Weights below 1e-8 count as none.
///
/// Source: N. Otsu, A threshold selection method from gray-level histograms, IEEE Trans. SMC 9 (1979).
ZEB_API void otsu(const std::vector<float>& hist, int& first, int& last);

/// The middle of that plateau, `(first + last) / 2`. Without a cut the result means nothing: the caller has to know
/// that at least two bins are occupied.
ZEB_API float otsu(const std::vector<float>& hist);

/// The `classes - 1` thresholds, ascending, that maximise the summed score of the classes, by trial of all of them. A
/// threshold is the last bin of its class; the score of a class of weight P and first moment S is S^2 / (total * P).
/// Of equally good combinations the first in lexicographic order is taken.
///
/// Three properties to know: bin 0 counts in `total` only, a class of a single bin scores 0, and with `n` bins the last
/// threshold is at most `n - 3`. Where no combination scores above 0, or `n` is below `classes + 2`, all thresholds are
/// 0. `classes` below 2 gives an empty vector.
///
/// \param total  normalises the scores; 0 stands for the sum of the bins, truncated
///
/// Needs `4 * n * n` bytes and throws `std::bad_alloc` ("bad allocation") without them, and for more than 46272 bins.
/// The time grows with the number of combinations, so this is for few classes.
///
/// Source: P.-S. Liao, T.-S. Chen, P.-C. Chung, A fast algorithm for multilevel thresholding, JISE 17 (2001).
ZEB_API std::vector<int> multi_otsu(const std::vector<float>& hist, int classes, int total);

/// Threshold of minimum cross entropy, by Li's iteration from the middle bin on. Each bin is counted one heavier than
/// it is, and as the grey value one above its index. The iteration ends when the integer part of the threshold stays
/// the same; nothing limits the number of rounds, and a histogram that makes it alternate is never left. A threshold
/// that is no bin of the histogram ends it too and is the result. Fewer than 2 bins give 0.
///
/// Source: C. H. Li, P. K. S. Tam, An iterative algorithm for minimum cross entropy thresholding, PRL 19 (1998).
ZEB_API float li_entropy(std::vector<float> hist);
/// @}

/// Which pixels `l1_norm` counts.
enum class L1_norm_mode : std::int32_t {
  And = 0,               ///< set in both images, by `fMMAnd`
  Or = 1,                ///< set in at least one image, by `fMMOr`
  MatchingDistance = 2,  ///< set in exactly one image, by `fMMMatchingDistance`
};

/// \name Measures
/// @{

/// Share of the pixels that `mode` counts, with the repeated and lost rows of the kernels from a height of 255 on.
/// Geometry and stride of `a` hold for both images; with a `height` of 0 their first rows must exist all the same. Any
/// other `mode` throws `std::logic_error` ("impossible l1 mode").
ZEB_API float l1_norm(const Mat<unsigned char>& a, const Mat<unsigned char>& b, L1_norm_mode mode);

/// Share of set pixels, see `fMMPatternL1Norm`.
ZEB_API float patternL1Norm(const Mat<unsigned char>& src);

/// Mean grey value under a mask of 0 and 255, see `fMMGetBMAver`; the geometry of `src` holds for both, and a mask
/// without data stands for none.
ZEB_API float average(const Mat<unsigned char>& src, const Mat<unsigned char>& mask);

/// Sum of all pixels, modulo 2^32.
ZEB_API unsigned int sum(const Mat<unsigned char>& src);

/// Scales an image so that its sampled mean becomes `value` and returns the mean it had, see `fBMNorm`; the geometry of
/// `src` holds for all images.
ZEB_API float norm(Mat<unsigned char>& dst, const Mat<unsigned char>& src, const Mat<unsigned char>& mask,
                   unsigned char value);
/// The same without a mask.
ZEB_API float norm(Mat<unsigned char>& dst, const Mat<unsigned char>& src, unsigned char value);
/// @}

}  // namespace zeb

/// Histogram of the `width` by `height` area into the 256 bins `hist`, which are set to 0 first, even where there are
/// no pixels. Counts are exact up to 2^24 a bin and stay there. A null `hist` does nothing.
ZEB_API void bitmap_histogram(float* hist, const unsigned char* src, int width, int stride, int height);

/// \name Trimmed statistics on plain arrays
/// Both look at the band of the histogram between two quantiles, and count the bins in which a quantile lies in part.
/// \param hist   `n` bins
/// \param total  weight of the whole, of which the quantiles are fractions, normally the sum of the bins; below 1e-8
///               that sum is computed. A total above it puts a quantile that is never reached into the last bin.
/// \param lower  lower quantile, 0 to 1; up to 0.001 the band begins with bin 0, whatever it weighs; so it does
///               where `lower` is 1 or more once the band is widened as told below
/// \param upper  upper quantile, 0 to 1; from 0.999 on the band ends with bin `n - 1`, whatever it weighs
///
/// A band narrower than 0.001, an inverted one included, becomes that wide: upwards from `lower`, near 1 downwards from
/// `upper`. So equal quantiles give the median or any other rank. Quantiles are reached 0.001 weight units early, to
/// forgive rounding. A quantile that is reached in a bin of weight 0 makes the result a NaN or an infinity.
/// \return 0 for a histogram that weighs less than 1e-8 or has no bins
/// @{

/// Trimmed mean of the bin index: the sum of `i * weight` over the band, divided by `(upper - lower) * total`. Weights
/// of 8 in bins 10 and 20 have the mean 15, and between the quantiles 0.125 and 0.75 the mean (6 * 10 + 4 * 20) / 10.
ZEB_API float hist_average(const float* hist, float total, int n, float lower, float upper);
/// Trimmed width: how many bins the band covers, 0.75 + 9 + 0.5 in the same example.
ZEB_API float hist_width(const float* hist, float total, int n, float lower, float upper);
/// @}

/// \name Measures of two images on plain buffers
/// The share of the `width` by `height` pixels that meet a condition; each image has its own stride. Note the order
/// `width, height`. The area is a 32-bit product that wraps around; one of 0 makes the result a NaN or an infinity.
///
/// The packed forms (`fMM...`) equal the scalar ones up to a height of 254. Above, they go by chunks of 255 rows, and
/// every chunk begins with the row that closed the one before it: rows 254, 508, 762, ... count twice, and as many rows
/// at the bottom are not counted. A height that is a multiple of 255 ends with a chunk that consists of its first row
/// alone, so that one row less is lost. By the same rule a height of 0 (and down to -254) counts the first row, which
/// must exist, once. Callers rely on these numbers.
/// @{

/// Pixels set in both images.
ZEB_API float fAnd(const unsigned char* a, const unsigned char* b, int width, int height, int stride_a, int stride_b);
/// Pixels set in exactly one image.
ZEB_API float fMatchingDistance(const unsigned char* a, const unsigned char* b, int width, int height, int stride_a,
                                int stride_b);
/// Pixels set in both images, packed form.
ZEB_API float fMMAnd(const unsigned char* a, const unsigned char* b, int width, int height, int stride_a, int stride_b);
/// Pixels set in at least one image, packed form; there is no scalar one.
ZEB_API float fMMOr(const unsigned char* a, const unsigned char* b, int width, int height, int stride_a, int stride_b);
/// Pixels set in exactly one image, packed form.
ZEB_API float fMMMatchingDistance(const unsigned char* a, const unsigned char* b, int width, int height, int stride_a,
                                  int stride_b);
/// @}

/// Share of set pixels of the `width` by `height` area, exact at all sizes. Note the order `width, height, stride`. The
/// area is a 32-bit product that wraps around; one of 0 gives a NaN.
ZEB_API float fMMPatternL1Norm(const unsigned char* src, int width, int height, int stride);

/// Sum of all pixels of the area, modulo 2^32.
ZEB_API unsigned int uiBMMass(const unsigned char* src, int width, int stride, int height);

/// Mean grey value of the pixels whose mask pixel is not 0, or of all pixels where `mask` is null. The sum is a
/// single-precision number that takes the pixels in row order: beyond 2^24 it rounds at each pixel and at 2^32 it
/// stays. No pixels, and a null `src`, give 0.
ZEB_API float fGetBMAver(const unsigned char* src, const unsigned char* mask, int width, int stride, int height);

/// Mean grey value from a 32-bit integer sum that wraps around. Masks are made of 0 and 255: in the last `width & 15`
/// columns any mask pixel but 0 selects its pixel, while the whole groups of 16 before them add `pixel & mask` to the
/// sum and `mask & 1` to the number of pixels. A mask that selects nothing gives 0. A null `mask` selects all pixels,
/// and then an empty area gives a NaN.
ZEB_API float fMMGetBMAver(const unsigned char* src, const unsigned char* mask, int width, int stride, int height);

/// Scales an image so that its mean becomes `value`, and returns the mean it had. The mean comes from samples: every
/// `width / 200 + 1`-th pixel of every `height / 200 + 1`-th row, beginning at the first, where the mask pixel is not
/// 0. Where `mask` is null or selects no sample, all samples count. `vBMMulS` does the scaling, with its rounding and
/// with its limits for factors of 128 and more; a black image has an infinite or undefined factor, and an image
/// without pixels a NaN for a mean. All images share `stride`; `dst` may be `src`.
ZEB_API float fBMNorm(unsigned char* dst, const unsigned char* src, const unsigned char* mask, int width, int stride,
                      int height, unsigned char value);
/// The same without a mask.
ZEB_API float fBMNorm(unsigned char* dst, const unsigned char* src, int width, int stride, int height,
                      unsigned char value);
