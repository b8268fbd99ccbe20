#include "tests/reliability/catalogue.h"

#include <algorithm>
#include <string_view>

namespace zeb::reliability {
namespace {

constexpr int side = 32;           // of the images that are transformed
constexpr double unwritten = -77;  // what outputs hold before the call

template <class T>
std::size_t hash(const std::vector<T>& values) {
  return std::hash<std::string_view>()({reinterpret_cast<const char*>(values.data()), values.size() * sizeof(T)});
}

float bump(const std::vector<float>& coefficients, float x, float y) { return coefficients[0] + x + y; }
bool is_large(const Shape& shape) { return shape.size() > 8; }
bool is_longer(const Shape& shape, const Shape& best) { return shape.size() > best.size(); }
unsigned at(int size) { return static_cast<unsigned>(size); }
Mat<unsigned char>& mat(Bitmap_<unsigned char>& bitmap) { return bitmap; }

}  // namespace

Call::Call() {
  std::fill(std::begin(real), std::end(real), static_cast<float>(unwritten));
  std::fill(std::begin(whole), std::end(whole), static_cast<int>(unwritten));
}

void Call::view() {
  const Point_<um> pixel_size{um(1.0f), um(1.0f)};
  to = {dst, w, s, h, pixel_size};
  from = {src, w, s, h, pixel_size};
  lines = {edges, w, s, h, pixel_size};
  areas = {mask, w, s, h, pixel_size};
  real_from = {floats.data(), side, side, side};
  real_to = {more_floats.data(), side, side, side};
  complex_from = {spectrum.data(), side, side, side};
  complex_to = {other_spectrum.data(), side, side, side};
  unpacked_from = {spectrum.data(), side + 1, side + 1, side + 1};
  unpacked_to = {other_spectrum.data(), side + 1, side + 1, side + 1};
  square_from = {src, side, s, side};
  square_to = {dst, side, s, side};
  square_to_unpacked = {dst, side + 1, s, side + 1};
  codes = chain.data();
  steps = static_cast<int>(chain.size());
}

void Call::end_of_shortage() { end_shortages(); }

double Call::digest() const {
  std::size_t sum = 0;
  for (const std::size_t part : {hash(weights), hash(x1), hash(y1), hash(x2), hash(y2), hash(ones), hash(floats),
                                 hash(more_floats), hash(ints), hash(counts), hash(traced), hash(hierarchy),
                                 hash(contour.x), hash(contour.y), hash(spectrum), hash(other_spectrum)})
    sum = sum * 31 + part;
  for (const auto& outline : contours) sum = sum * 31 + hash(outline.x) + 7 * hash(outline.y);
  return static_cast<double>(sum);
}

void Call::note_written(double digest_before) {
  end_of_shortage();
  for (const float number : real)
    if (number != static_cast<float>(unwritten)) put(number);
  for (const int number : whole)
    if (number != static_cast<int>(unwritten)) put(number);
  if (const double now = digest(); now != digest_before) put(now);
}

void Call::put(const Shape& shape) {
  note(shape.empty(), shape.size(), shape.start_point(), shape.min_x(), shape.max_x(), shape.min_y(), shape.max_y(),
       shape.rot(), shape.is_counter_clockwise());
  for (std::uint64_t i = 0; i < shape.size(); ++i) put(shape.chain_code()[i]);
}

namespace {

Operation entry(const char* function, void (*run)(Call&)) { return {function, run}; }

/// An entry: a function by its name and the arguments of the call `c`. What follows after a bar are facts about it.
#define CALL(function, ...) entry(#function, [](Call& c) { c.keep([&] { return function(__VA_ARGS__); }); })

const std::vector<Operation> point_ops{
    CALL(thresholding, c.to, c.from, 60, 190, ThresholdMode::Standard),
    CALL(thresholding, c.to, c.from, 60, 190, ThresholdMode::InverseBinary),
    CALL(bitwise_and, c.to, c.from, c.areas),
    CALL(bitwise_and, c.to, c.from, 0x5A),
    CALL(bitwise_andnot, c.to, c.from, c.areas),
    CALL(bitwise_xor, c.to, c.from, c.areas),
    CALL(set, c.to, 77),
    CALL(add, c.to, c.from, c.areas),
    CALL(add, c.to, c.from, 99),
    CALL(add_s, c.to, c.from, c.areas),
    CALL(add_s, c.to, c.from, 99),
    CALL(sub, c.to, c.from, c.areas),
    CALL(sub, c.to, 99, c.from),
    CALL(sub_s, c.to, c.from, c.areas),
    CALL(sub_s, c.to, 99, c.from),
    CALL(sub_s, c.to, c.from, 99),
    CALL(mul_s, c.to, c.from, c.areas, 7),
    CALL(mul_s, c.to, c.from, 1.3f),
    CALL(vThresholding, c.dst, c.src, c.w, c.s, c.h, 60, 190),
    CALL(vThresholdingInverseBinary, c.dst, c.src, c.w, c.s, c.h, 60, 190),
    CALL(ExpandBM, c.dst, c.src, c.w, c.h, c.s, c.s) | short_stride | reads_beside,
    CALL(LogicBin, c.dst, c.src, c.mask, c.w, Logic_bin_mode::logic_xor),
    CALL(vGetMinMaxBM, c.mask, c.w, c.h, c.s, c.whole, c.whole + 1, c.whole + 2, c.whole + 3),
    CALL(vMMGetMinMaxBM, c.mask, c.w, c.h, c.s, c.whole, c.whole + 1, c.whole + 2, c.whole + 3),
    CALL(vBMSet, c.dst, 77, c.w, c.s, c.h),
    CALL(vBMAdd, c.dst, c.src, c.mask, c.w, c.s, c.h),
    CALL(vBMAdd, c.dst, c.src, 99, c.w, c.s, c.h),
    CALL(vBMAddS, c.dst, c.src, c.mask, c.w, c.s, c.h),
    CALL(vBMAddS, c.dst, c.src, 99, c.w, c.s, c.h),
    CALL(vBMSub, c.dst, c.src, c.mask, c.w, c.s, c.h),
    CALL(vBMSub, c.dst, 99, c.src, c.w, c.s, c.h),
    CALL(vBMSub, c.dst, c.src, 99, c.w, c.s, c.h),
    CALL(vBMSubS, c.dst, c.src, c.mask, c.w, c.s, c.h),
    CALL(vBMSubS, c.dst, 99, c.src, c.w, c.s, c.h),
    CALL(vBMSubS, c.dst, c.src, 99, c.w, c.s, c.h),
    CALL(vBMMulS, c.dst, c.src, c.mask, c.w, c.s, c.h, 7),
    CALL(vBMMulS, c.dst, c.src, c.w, c.s, c.h, 1.3f),
    CALL(vInvertVideo, c.dst, c.src, c.w, c.s, c.h, 99, 6),
};

const std::vector<Operation> statistics{
    CALL(histogram, c.from) | throws,
    CALL(line_histogram, c.from) | ends_empty | throws,
    CALL(hist_average, c.weights, 0.1f, 0.8f),
    CALL(hist_average, c.weights, 900.0f, 0.1f, 0.8f),
    CALL(::hist_average, c.weights.data(), 900.0f, 256, 0.1f, 0.8f),
    CALL(hist_width, c.weights, 0.1f, 0.8f),
    CALL(hist_width, c.weights, 900.0f, 0.1f, 0.8f),
    CALL(::hist_width, c.weights.data(), 900.0f, 256, 0.1f, 0.8f),
    CALL(otsu, c.weights, c.whole[0], c.whole[1]),
    CALL(otsu, c.weights),
    CALL(multi_otsu, c.weights, 3, 0) | throws,
    CALL(li_entropy, c.weights) | throws,
    CALL(l1_norm, c.lines, c.areas, L1_norm_mode::Or),
    CALL(patternL1Norm, c.areas),
    CALL(average, c.from, c.areas),
    CALL(sum, c.from),
    CALL(norm, c.to, c.from, c.areas, 100),
    CALL(norm, c.to, c.from, 100),
    CALL(bitmap_histogram, c.floats.data(), c.src, c.w, c.s, c.h),
    CALL(fAnd, c.edges, c.mask, c.w, c.h, c.s, c.s),
    CALL(fMatchingDistance, c.edges, c.mask, c.w, c.h, c.s, c.s),
    CALL(fMMAnd, c.edges, c.mask, c.w, c.h, c.s, c.s),
    CALL(fMMOr, c.edges, c.mask, c.w, c.h, c.s, c.s),
    CALL(fMMMatchingDistance, c.edges, c.mask, c.w, c.h, c.s, c.s),
    CALL(fMMPatternL1Norm, c.mask, c.w, c.h, c.s),
    CALL(uiBMMass, c.src, c.w, c.s, c.h),
    CALL(fGetBMAver, c.src, c.mask, c.w, c.s, c.h),
    CALL(fMMGetBMAver, c.src, c.mask, c.w, c.s, c.h),
    CALL(fBMNorm, c.dst, c.src, c.mask, c.w, c.s, c.h, 100),
    CALL(fBMNorm, c.dst, c.src, c.w, c.s, c.h, 100),
};

const std::vector<Operation> filters{
    CALL(convolution<unsigned char>, c.from, Matrix<int>(1, 3, {1, 2, -1})) | own_layout | throws,
    CALL(convolution<unsigned char>, c.from, Matrix<int>(3, 1, {1, 2, -1}), 7) | own_layout | throws,
    CALL(saxpy, c.ints.data(), c.src, std::min(c.w, 48), std::min(c.h, 40), 64, c.s, -3, c.ints.data(), 64),
    CALL(convolute, c.ints.data(), c.src, c.kernel.data(), std::min(c.w, 48), std::min(c.h, 40), 64, c.s, 3, 3, 1, 1) |
        reads_beside,
    CALL(generic_filter, c.to, c.from, Mat<float>(c.weights.data() + 40, 5, 5, 5), 0.2f, 0.9f, 0) | gives_up |
        Returning{0},
    CALL(iGenBMFilter, c.dst, c.src, c.w, c.s, c.h, c.weights.data() + 40, 2, 5, 2, 0.2f, 0.9f, 1) | gives_up |
        Returning{0},
    CALL(TransposeBM, c.dst, c.src, c.s, c.h, c.w, c.s, c.h) | short_stride,
    CALL(lp_filter, c.to, c.from, c.areas, 7, 5) | short_stride | gives_up,
    CALL(lp_filter, c.to, c.from, 7, 5) | short_stride | gives_up,
    CALL(hp_filter, c.to, c.from, c.areas, 7, 5, 100) | short_stride | gives_up,
    CALL(hp_filter, c.to, c.from, 7, 5, 100) | short_stride | gives_up,
    CALL(vBM_LPFilter, c.dst, c.src, c.mask, c.w, c.s, c.h, 7, 5) | short_stride | gives_up,
    CALL(vMMBM_LPFilter, c.dst, c.src, c.mask, c.w, c.s, c.h, 7, 5) | short_stride | gives_up,
    CALL(vBM_HPFilter, c.dst, c.src, c.mask, c.w, c.s, c.h, 7, 5, 100) | short_stride | gives_up,
    CALL(vMMBM_HPFilter, c.dst, c.src, c.mask, c.w, c.s, c.h, 7, 5, 100) | short_stride | gives_up,
    CALL(vBM_LPIncrease, c.dst, c.src, nullptr, c.w, c.s, c.h, 7, 5, 0.8f, 100) | short_stride | gives_up,
    CALL(vMMBM_LPIncrease, c.dst, c.src, nullptr, c.w, c.s, c.h, 7, 5, 0.8f, 100) | short_stride | gives_up,
    CALL(iInitVideoNormLookUpTP, reinterpret_cast<unsigned char*>(c.counts.data()), 0.8f, 100),
    CALL(sobel, c.to, c.from) | gives_up,
    CALL(kantenfilter, c.to, c.from, 1, 20) | gives_up,
    CALL(FastSobel, c.dst, c.src, c.w, c.s, c.s, c.h) | gives_up,
    CALL(FastSobel, c.dst, c.src, c.w, c.s, c.h) | gives_up,
    CALL(FastGradient, c.dst, c.mask, c.src, c.w, c.s, c.h) | gives_up,
    CALL(Kantenfilter, c.dst, c.src, c.w, c.s, c.h, 0, 20) | gives_up,
    CALL(vGaussFilter, c.dst, c.src, c.w, c.s, c.h, 0.2f, 0.9f, 5, 5, 0.3f, 0) | reads_beside | gives_up,
    CALL(vGreyFilter, c.dst, c.src, c.w, c.s, c.h) | gives_up,
    CALL(vHistEqual, c.dst, c.src, c.w, c.s, c.h) | gives_up,
    CALL(vCoarseGrain, c.dst, c.src, c.w, c.h, c.s, 4, 4, 0),
    CALL(vFineGrain, c.dst, c.src, c.w, c.h, c.s, 4, 4),
    CALL(vCovariance, c.dst, c.edges, c.w, c.h, c.s, 2, 0.5f),
    CALL(vDiscriminator, c.dst, c.mask, c.w, c.s, c.h, 3, 0.4f, 0) | gives_up,
    CALL(vEventRemover, c.dst, c.src, c.w, c.s, c.h, 3, 100, 9, 0) | whole_rows | writes_empty | gives_up,
    CALL(vMMEventRemover, c.dst, c.src, c.w, c.s, c.h, 3, 100, 9, 0) | whole_rows | writes_empty,
    CALL(vMMEventRemover, c.dst, c.src, c.w, c.s, c.h, 64, 100, 9, 0) | whole_rows | writes_empty | gives_up,
    CALL(vLineRowFilter, c.dst, c.src, 5, 250, 0.1f, 0.9f, 0, c.w, c.s, c.h, 1) | gives_up,
    CALL(vLineRowFilter, c.dst, c.src, 5, 250, 0.1f, 0.9f, 1, c.w, c.s, c.h, 1) | gives_up,
    CALL(AdaNorm, c.dst, c.src, c.ones, 0.0f, 0.0f, bump, c.w, c.s, c.h, 1, 90, 1, 70, 100),
};

const std::vector<Operation> morphology{
    CALL(erode, c.to, c.areas, 3, 128, MorphOpMode::morph_thin, false) | whole_rows | writes_empty | throws,
    CALL(dilate, c.to, c.areas, 3, 128, MorphOpMode::morph_direct, false) | throws,
    CALL(opening, c.to, c.areas, 3, 128, MorphOpMode::morph_recursive, false) | whole_rows | writes_empty | own_layout |
        gives_up,
    CALL(closing, c.to, c.areas, 3, 128, MorphOpMode::morph_distance, false) | whole_rows | writes_empty | own_layout |
        gives_up,
    CALL(vMorphOp, c.dst, c.mask, c.w, c.s, c.h, 3, 0, 128, 1) | throws,
    CALL(vMorphOpThin, c.dst, c.mask, c.w, c.s, c.h, 3, 0, 128, 0) | whole_rows | writes_empty | throws,
    CALL(vMMRecursiveMorphOp, c.dst, c.mask, c.w, c.s, c.h, 3, 0, 128, 0) | whole_rows | writes_empty | reads_beside,
    CALL(vMMRecursiveEllipticMorphOp, c.dst, c.mask, c.w, c.s, c.h, 5, 3, 0, 1, 0, 128, 0) | whole_rows | writes_empty |
        reads_beside,
    CALL(vMorphOpThinEllipse, c.dst, c.mask, c.w, c.s, c.h, 5, 3, 1, 1, 0, 128, 0) | whole_rows | writes_empty,
    CALL(vMMMorphOpDist, c.dst, c.mask, c.w, c.s, c.h, 3, 0, 128),
};

const std::vector<Operation> shapes{
    entry("minimum_enclosing_rectangle",
          [](Call& c) { c.keep([&] { return c.square.minimum_enclosing_rectangle(c.real, c.real + 1); }); }) |
        own_layout | gives_up | Returning{0, 0, 0, 0, 0, 0, 0, 0, 0, 0},
    CALL(find_next_shape, c.areas, 0, 0, true, true) | throws,
    CALL(find_next_shape, c.areas, 20, Find_Active_Pixel_Mode::from_left, true) | throws,
    CALL(find_next_shape, c.areas, Find_Active_Pixel_Mode::from_right, false) | throws,
    CALL(find_next_shape, c.mask, at(c.w), at(c.s), at(c.h), 0, 0, true, true) | own_layout | throws,
    CALL(find_next_shape, c.mask, at(c.w), at(c.s), at(c.h), 20, Find_Active_Pixel_Mode::from_right, true) |
        own_layout | throws,
    CALL(find_next_shape, c.mask, at(c.w), at(c.s), at(c.h), Find_Active_Pixel_Mode::from_left, true) | own_layout |
        throws,
    CALL(get_all_shapes, c.areas, true) | throws_part_done,
    CALL(get_all_shapes_with, c.areas, is_large, true) | throws_part_done,
    CALL(get_shape_with, c.areas, is_longer, 3, true) | throws_part_done,
    CALL(get_longest_shape, c.areas, 3, true) | throws_part_done,
    CALL(get_longest_shape, c.areas, true) | throws_part_done,
    entry("vConvexHull",
          [](Call& c) {
            int *xs = c.ints.data(), *ys = xs, count = -77;
            vConvexHull(c.codes, c.steps, &xs, &ys, &count, 10, 10);
            for (int i = 0; i < count; ++i) c.note(xs[i], ys[i]);
            mem::aligned_free(xs);
            mem::aligned_free(ys);
            c.note(count, xs == nullptr, ys == nullptr);
          }) |
        own_layout | gives_up | Returning{0, 1, 1},
    CALL(vCalcRect, c.x1.data(), c.y1.data(), c.corners_x.data(), c.corners_y.data(), 4, 0.5f, c.real, c.real + 1),
    CALL(vMER, c.codes, c.steps, 10, 10, c.real + 2, c.real + 6, c.real, c.real + 1) | own_layout | gives_up |
        Returning{0, 0, 0, 0, 0, 0, 0, 0, 0, 0},
    CALL(draw_filled_shape, c.to, c.square, 99) | own_layout | throws,
    CALL(::draw_filled_shape, c.dst, c.s, c.square, 99) | own_layout | throws,
    CALL(shape_to_contour, c.contour, c.square, {1, 2}) | own_layout | throws,
    CALL(test::shape_to_contour, c.contour, c.square, {1, 2}) | own_layout | throws,
    CALL(ShapeBM, c.dst, c.codes, c.w, c.s, c.h, c.steps, 10, 10, 1) | own_layout,
    CALL(MMShapeBM, c.dst, c.codes, c.w, c.s, c.h, c.steps, 10, 10, 1) | own_layout,
    CALL(vShapePlusBM, c.traced, c.mask, c.dst, c.w, c.s, c.h, c.whole, c.whole + 1, c.whole + 2, c.whole + 3,
         c.whole + 4, c.whole + 5, 0) |
        throws_part_done,
    CALL(vShapePlusBM_Border, c.traced, c.mask, c.dst, c.w, c.s, c.h, c.whole, c.whole + 1, nullptr, nullptr, nullptr,
         nullptr, 0) |
        throws_part_done,
    CALL(fPolygonArea, c.corners_x.data(), c.corners_y.data(), 4),
    CALL(fGetAllShapeLength, c.mask, c.w, c.s, c.h, c.whole, c.real, c.real + 1) | whole_rows |
        gives_up_but_for_outlines | Returning{0},
    CALL(fGetShapeOverlap, c.mask, c.s, c.codes, c.steps, 10, 10) | own_layout,
    CALL(vGetPos, c.codes, 30, 10, 10, c.whole, c.whole + 1),
    CALL(vShapeGetGrad, c.counts.data(), c.src, c.codes, c.w, c.s, c.h, c.steps, 10, 10, c.real) | own_layout,
    CALL(vShapeKorrelation, c.counts.data(), c.codes, c.steps, 80, 10.0f, 8, c.real, c.real + 1) | own_layout | throws,
    CALL(find_contours, c.hierarchy, c.contours, c.areas, ScanSuzukiMode::all_borders, {0, 0}) | throws_empty | throws,
    CALL(find_contours, c.contours, c.areas, ScanSuzukiMode::external_only, {0, 0}) | throws_empty | throws,
    CALL(center, c.contour),
    entry("detail::scan_suzuki",
          [](Call& c) {
            std::array<short, 64> pixels{};
            for (const std::size_t i : {9U, 10U, 11U, 17U, 19U, 25U, 26U, 27U}) pixels[i] = 1;
            Bitmap_<short> image(pixels.data(), 8, 8, 8, {});
            c.keep([&] { detail::scan_suzuki(image, ScanSuzukiMode::all_borders, c.contours, {0, 0}, &c.hierarchy); });
            c.note(pixels);
          }) |
        own_layout | throws_part_done,
};

const std::vector<Operation> transforms{
    CALL(rotate, c.to, c.from, 20.0f, 9) | whole_rows | writes_empty | ends_shared | reads_beside,
    CALL(shear, c.to, c.from, 0.1f, 0.2f, 9) | ends_shared,
    CALL(stretch, c.to, c.from, 0.2f, 9) | ends_shared,
    CALL(transform, mat(c.to), c.from, 1.2f, 20.0f, 3, 4, 9) | ends_shared,
    CALL(transform, c.to, c.from, 1.2f, 20.0f, Point_<um>{um(3.0f), um(4.0f)}, 9) | ends_shared,
    CALL(translate, mat(c.to), c.from, 3.0f, -4.0f, 9) | whole_rows | writes_empty | ends_shared,
    CALL(translate, c.to, c.from, Point_<um>{um(3.0f), um(4.0f)}, 9) | whole_rows | writes_empty | ends_shared,
    CALL(downsampling, c.from, 0.5f) | whole_rows | own_layout | throws,
    CALL(transform, c.dst, c.src, c.w, c.s, c.h, 30, 20, 3, 4, 0.3f, 1.2f, 9),
    CALL(mm_transform, c.dst, c.src, c.w, c.s, c.h, 30, 20, 3, 4, 0.3f, 1.2f, 9),
    CALL(mm_morph_transform, c.dst, c.src, c.w, c.s, c.h, 30, 20, 3, 4, 0.3f, 1.2f, 9),
    CALL(stretch_shear, c.dst, c.src, c.w, c.s, c.h, 30, 20, 1, 2, 0.1f, 0.2f, 9),
    CALL(mm_stretch_shear, c.dst, c.src, c.w, c.s, c.h, 30, 20, 1, 2, 0.1f, 0.2f, 9),
    CALL(rotate, c.dst, c.src, c.s, c.h, 20.0f, 9) | whole_rows | writes_empty | reads_beside,
    CALL(translate, c.dst, c.src, c.s, c.h, 3.0f, 4.0f, 9, 1) | whole_rows | writes_empty,
    CALL(rotate_point, 0.3f, 4, 5, c.real, c.real + 1),
    CALL(calc_param, c.x1.data(), c.y1.data(), c.x2.data(), c.y2.data(), 8, c.real, c.real + 1, c.real + 2, c.real + 3,
         c.real + 4, c.real + 5, c.real + 6, c.real + 7),
    CALL(calc_param_weight, c.x1.data(), c.y1.data(), c.x2.data(), c.y2.data(), c.ones.data(), c.ones.data(),
         c.ones.data(), 8, c.real, c.real + 1, c.real + 2, c.real + 3, c.real + 4, c.real + 5, c.real + 6, c.real + 7),
    CALL(map_data, c.dst, c.src, c.w, c.s, c.h, c.floats.data(), c.more_floats.data(), 0, std::max(c.w, 1) - 1, 0,
         std::max(c.h, 1) - 1, 9),
    CALL(reduce_resolution, c.dst, c.src, c.whole, c.whole + 1, c.whole + 2, c.w, c.h, c.s, 3) | own_layout | gives_up,
    CALL(vFindRotationAngle, c.real, c.real + 1, c.edges, c.edges, c.w, c.h, c.s) | draws_random | gives_up,
    CALL(fMatchAngleFromPolar, c.src, c.mask, c.w, c.h, c.s, c.dst) | own_layout | gives_up | Returning{0},
};

const std::vector<Operation> fitting{
    CALL(border_by_maximum, c.from, Image_Side::Top) | ends_empty | throws,
    CALL(border_by_minimum, c.from, Image_Side::Left) | ends_empty | throws,
    CALL(border_by_threshold, c.from, Image_Side::Right, 0, 150, ThresholdMode::Standard) | ends_empty | throws_empty |
        whole_rows | throws,
    CALL(border_by_gradient, c.from, Image_Side::Bottom, true, -20, 20, ThresholdMode::Standard) | ends_empty | throws,
    CALL(borderpx_by_maximum, c.from, Image_Side::Top) | ends_empty | throws,
    CALL(borderpx_by_minimum, c.from, Image_Side::Left) | ends_empty | throws,
    CALL(borderpx_by_threshold, c.from, Image_Side::Right, 0, 150, ThresholdMode::Standard) | ends_empty |
        throws_empty | whole_rows | throws,
    CALL(borderpx_by_gradient, c.from, Image_Side::Bottom, true, -20, 20, ThresholdMode::Standard) | ends_empty |
        throws,
    CALL(enclosing_orthogonal_rectangle, c.areas) | ends_empty,
    CALL(enclosing_orthogonal_rectangle, c.to, c.from, 0, 150, ThresholdMode::Standard) | ends_empty,
    CALL(enclosing_orthogonal_rectangle, c.from, 0, 150, ThresholdMode::Standard) | ends_empty | throws_empty |
        whole_rows | throws,
    CALL(inscribed_orthogonal_rectangle, c.from, 20),
    CALL(detect_rectangle_rand_clust, c.from, 1) | draws_random | short_stride | gives_up |
        Returning{0, 0, 0, 0, 0, 0, 0, 0},
    CALL(detect_rect_rand_clust, c.src, c.w, c.s, c.h, c.real, c.real + 4, 0, 1) | draws_random | short_stride |
        gives_up | Returning{0},
    CALL(CalcLinesRandom, c.floats.data(), c.more_floats.data(), nullptr, 0, nullptr, 0, c.whole, c.edges, c.w, c.h,
         c.s) |
        draws_random | looks_first | gives_up | Returning{0},
    CALL(CalcCircleRandom, c.real, c.real + 1, c.real + 2, c.edges, c.w, c.h, c.s) | draws_random | looks_first |
        gives_up | Returning{0, 0, 0},
    CALL(Correlation, c.real, c.x1.data(), c.x2.data(), c.lags.data(), 8, 4) | own_layout | gives_up,
    CALL(GetCrossPointHesse, c.real, c.real + 1, 0.3f, 4, 1.5f, 7),
    CALL(fLineDistHesse, 0.3f, 4, 1.5f, 7, 100),
    CALL(distance_point_line, 0.3f, 4, 1.5f, 7, 9, 1),
    CALL(euclidean_distance, 0.3f, 4, 1.5f, 7),
    CALL(GetEdgeFineRes, c.floats.data(), c.src, c.w, c.s, c.h, 0, 10),
    CALL(fCalcCG, c.weights.data(), 100, 50, 150, 20, 20, 0.5f),
    CALL(fGetBMCG, c.src, c.w, c.s, c.h, c.real, c.real + 1),
    CALL(iCompf, c.x1.data(), c.x1.data() + 1),
    CALL(get_cross_position, c.mask, c.s, 0, 0, 0, c.w, c.h, c.real, c.real + 1),
    // Where it ends depends on what was drawn before.
    entry("find_point",
          [](Call& c) {
            c.note(find_point(c.mask, nullptr, c.w, c.h, c.s, 40, 10, 200, 255, 0, 0, c.whole, c.whole + 1, c.whole + 2,
                              nullptr));
          }) |
        draws_random | own_layout,
    CALL(find_point_on_line, c.mask, nullptr, c.dst, c.w, c.h, c.s, 2, 2, 60, 200, 255, 1, 1, c.whole, c.whole + 1) |
        own_layout,
    CALL(PolyToBMMask, c.dst, c.polygon_x.data(), c.polygon_y.data(), 4, c.w, c.s, c.h),
};

const std::vector<Operation> drawing{
    CALL(draw_line, c.to, {3, 4}, {60, 33}, 99, 1) | writes_empty,
    CALL(draw_rect, c.to, {3, 4}, 20, 10, 1.0f, 99) | writes_empty,
    CALL(draw_rect, c.to, Rect__<Point_<int>>({3, 4}, {20, 10}), 1.0f, 99) | writes_empty,
    CALL(draw_rect, c.to, Rect__<Point_<um>>({um(3.0f), um(4.0f)}, {um(20.0f), um(9.0f)}), 1.0f, 99) | writes_empty,
    CALL(draw_circle, c.to, {20, 20}, 9, 3, 99, DrawMode::add),
    CALL(fill_rect, c.to, 3, 4, 20, 10, 99) | writes_empty,
    CALL(fill_rect, c.to, Rect__<Point_<um>>({um(3.0f), um(4.0f)}, {um(20.0f), um(9.0f)}), 99) | ends_empty,
    CALL(flood_fill, c.areas, Point_<unsigned>{15, 15}, 99) | own_layout | throws_part_done,
    CALL(interleave, c.to, c.from, c.lines, c.areas),
    CALL(interleave, c.to, c.from, 99, c.areas),
    CALL(interleave, c.to, 99, c.lines, c.areas),
    CALL(interleave, c.to, 99, 11, c.areas),
    CALL(vLine, c.dst, 3, 4, 60, 33, c.s, c.h, 99, 1) | writes_empty,
    CALL(vDrawRect, c.dst, c.h, c.s, 3, 4, 20, 10, 1.0f, 99) | writes_empty,
    CALL(vDrawCircle, c.dst, c.w, c.h, c.s, 20, 20, 9, 3, 99, 0),
    CALL(vFillRect, c.dst, 3, 4, 20, 10, c.s, c.h, 99) | writes_empty,
    CALL(::flood_fill, c.mask, at(c.w), at(c.h), at(c.s), 15, 15, 99) | own_layout | throws_part_done,
    CALL(vFillContMsk, c.src, c.mask, c.w, c.s, c.h, 9),
    CALL(FloodFill, c.dst, c.edges, c.w, c.h, c.s, 1, nullptr) | whole_rows | gives_up_but_for_outlines,
    CALL(FloodFill, c.dst, c.edges, c.w, c.h, c.s, nullptr) | whole_rows | gives_up_but_for_outlines,
    CALL(vBMInterleave, c.dst, c.src, c.edges, c.mask, c.w, c.s, c.h),
    CALL(vBMInterleave, c.dst, c.src, std::uint8_t{99}, c.mask, c.w, c.s, c.h),
    CALL(vBMInterleave, c.dst, std::uint8_t{99}, c.edges, c.mask, c.w, c.s, c.h),
    CALL(vBMInterleave, c.dst, std::uint8_t{99}, std::uint8_t{11}, c.mask, c.w, c.s, c.h),
};

const std::vector<Operation> frequency{
    CALL(fourier_transform, c.real_to, c.real_from) | own_layout | throws,
    CALL(fourier_transform, c.unpacked_to, c.complex_from) | own_layout | throws,
    CALL(fourier_transform, c.square_to_unpacked, c.real_from) | own_layout | throws,
    CALL(fourier_transform, c.square_to_unpacked, c.complex_from) | own_layout | throws,
    CALL(inverse_fourier_transform, c.real_to, c.real_from) | own_layout | throws,
    CALL(inverse_fourier_transform, c.square_to, c.real_from) | own_layout | throws,
    CALL(inverse_fourier_transform, c.complex_to, c.unpacked_from) | own_layout | throws,
    CALL(inverse_fourier_transform, c.square_to, c.complex_from) | own_layout | throws,
    CALL(fft_filter, c.square_to, c.square_from, true, fft::Filter::notch_peaks, {3.0f}) | own_layout | throws,
    CALL(fft_filter, c.square_to, c.square_from, false, fft::Filter::emphasise_peaks, {5.0f, 2.0f, 1.0f}) | own_layout |
        throws,
};

const std::vector<Operation> synthetic{
    CALL(test::iota_image, 20, 32, 10) | own_layout | throws,
    entry("random_image", [](Call& c) { c.note(test::random_image(20, 32, 10).width); }) | own_layout | throws,
    CALL(test::random_image, 20, 32, 10, 5) | own_layout | throws,
    entry("random_image_max", [](Call& c) { c.note(test::random_image_max(20, 32, 10, 9).height); }) | own_layout |
        throws,
    CALL(test::binary_random_image, 20, 32, 10, 5, 0.4f) | own_layout | throws,
    entry("random_rect_image", [](Call& c) { c.note(test::random_rect_image(20, 32, 10, 5, 1.0f).width); }) |
        own_layout | throws,
    CALL(test::is_same, test::iota_image(20, 32, 10), test::iota_image(20, 20, 10)) | own_layout | throws,
};

#undef CALL

}  // namespace

const std::vector<Operation>& catalogue() {
  static const std::vector<Operation> all = [] {
    std::vector<Operation> joined;
    for (const auto* family : {&point_ops, &statistics, &filters, &morphology, &shapes, &transforms, &fitting, &drawing,
                               &frequency, &synthetic})
      joined.insert(joined.end(), family->begin(), family->end());
    return joined;
  }();
  return all;
}

}  // namespace zeb::reliability
