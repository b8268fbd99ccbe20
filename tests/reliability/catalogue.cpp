#include "tests/reliability/catalogue.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace zeb::reliability {

void Call::view() {
  const Point_<um> pixel_size{um(1.0f), um(1.0f)};
  to = {dst, w, s, h, pixel_size};
  from = {src, w, s, h, pixel_size};
  lines = {edges, w, s, h, pixel_size};
  areas = {mask, w, s, h, pixel_size};
}

void Call::end_of_shortage() { end_shortages(); }

void Call::note_shape(const Shape& shape) {
  note(shape.empty(), shape.size(), shape.start_point().x, shape.start_point().y, shape.min_x(), shape.max_x(),
       shape.min_y(), shape.max_y(), shape.rot(), shape.is_counter_clockwise());
  for (std::uint64_t i = 0; i < shape.size(); ++i) note(shape.chain_code()[i]);
}

namespace {

using Complex = std::complex<float>;

constexpr int side = 32;      // of the images that are transformed
constexpr double kept = -77;  // what outputs hold before the call

Mat<float> reals(Call& c) { return {c.floats.data(), side, side, side}; }
Mat<float> other_reals(Call& c) { return {c.more_floats.data(), side, side, side}; }
Mat<Complex> complex(Call& c) { return {c.spectrum.data(), side, side, side}; }
Mat<Complex> other_complex(Call& c) { return {c.other_spectrum.data(), side, side, side}; }
Mat<unsigned char> bytes(Call& c, int width) { return {c.dst, width, c.s, width}; }

void note_parts(Call& c, const std::vector<Complex>& values) {
  for (const Complex value : values) c.note(value.real(), value.imag());
}

float bump(const std::vector<float>& coefficients, float x, float y) { return coefficients[0] + x + y; }
bool is_large(const Shape& shape) { return shape.size() > 8; }
bool is_longer(const Shape& shape, const Shape& best) { return shape.size() > best.size(); }

/// Pitch of the `int` images of the functions that accumulate.
constexpr int int_stride = 64;

const Operation point_ops[] = {
    {"thresholding", [](Call& c) { thresholding(c.to, c.from, 60, 190, ThresholdMode::Standard); }},
    {"thresholding", [](Call& c) { thresholding(c.to, c.from, 60, 190, ThresholdMode::InverseBinary); }},
    {"bitwise_and", [](Call& c) { bitwise_and(c.to, c.from, c.areas); }},
    {"bitwise_and", [](Call& c) { bitwise_and(c.to, c.from, 0x5A); }},
    {"bitwise_andnot", [](Call& c) { bitwise_andnot(c.to, c.from, c.areas); }},
    {"bitwise_xor", [](Call& c) { bitwise_xor(c.to, c.from, c.areas); }},
    {"set", [](Call& c) { set(c.to, 77); }},
    {"add", [](Call& c) { add(c.to, c.from, c.areas); }},
    {"add", [](Call& c) { add(c.to, c.from, 99); }},
    {"add_s", [](Call& c) { add_s(c.to, c.from, c.areas); }},
    {"add_s", [](Call& c) { add_s(c.to, c.from, 99); }},
    {"sub", [](Call& c) { sub(c.to, c.from, c.areas); }},
    {"sub", [](Call& c) { sub(c.to, 99, c.from); }},
    {"sub_s", [](Call& c) { sub_s(c.to, c.from, c.areas); }},
    {"sub_s", [](Call& c) { sub_s(c.to, 99, c.from); }},
    {"sub_s", [](Call& c) { sub_s(c.to, c.from, 99); }},
    {"mul_s", [](Call& c) { mul_s(c.to, c.from, c.areas, 7); }},
    {"mul_s", [](Call& c) { mul_s(c.to, c.from, 1.3f); }},
    {"vThresholding", [](Call& c) { vThresholding(c.dst, c.src, c.w, c.s, c.h, 60, 190); }},
    {"vThresholdingInverseBinary", [](Call& c) { vThresholdingInverseBinary(c.dst, c.src, c.w, c.s, c.h, 60, 190); }},
    {"ExpandBM", [](Call& c) { ExpandBM(c.dst, c.src, c.w, c.h, c.s, c.s); }, short_stride | reads_beside},
    {"LogicBin", [](Call& c) { LogicBin(c.dst, c.src, c.mask, c.w, Logic_bin_mode::logic_xor); }},
    {"vGetMinMaxBM",
     [](Call& c) {
       int box[4];
       vGetMinMaxBM(c.mask, c.w, c.h, c.s, box, box + 1, box + 2, box + 3);
       c.note_all(box);
     }},
    {"vMMGetMinMaxBM",
     [](Call& c) {
       int box[4];
       vMMGetMinMaxBM(c.mask, c.w, c.h, c.s, box, box + 1, box + 2, box + 3);
       c.note_all(box);
     }},
    {"vBMSet", [](Call& c) { vBMSet(c.dst, 77, c.w, c.s, c.h); }},
    {"vBMAdd", [](Call& c) { vBMAdd(c.dst, c.src, c.mask, c.w, c.s, c.h); }},
    {"vBMAdd", [](Call& c) { vBMAdd(c.dst, c.src, 99, c.w, c.s, c.h); }},
    {"vBMAddS", [](Call& c) { vBMAddS(c.dst, c.src, c.mask, c.w, c.s, c.h); }},
    {"vBMAddS", [](Call& c) { vBMAddS(c.dst, c.src, 99, c.w, c.s, c.h); }},
    {"vBMSub", [](Call& c) { vBMSub(c.dst, c.src, c.mask, c.w, c.s, c.h); }},
    {"vBMSub", [](Call& c) { vBMSub(c.dst, 99, c.src, c.w, c.s, c.h); }},
    {"vBMSub", [](Call& c) { vBMSub(c.dst, c.src, 99, c.w, c.s, c.h); }},
    {"vBMSubS", [](Call& c) { vBMSubS(c.dst, c.src, c.mask, c.w, c.s, c.h); }},
    {"vBMSubS", [](Call& c) { vBMSubS(c.dst, 99, c.src, c.w, c.s, c.h); }},
    {"vBMSubS", [](Call& c) { vBMSubS(c.dst, c.src, 99, c.w, c.s, c.h); }},
    {"vBMMulS", [](Call& c) { vBMMulS(c.dst, c.src, c.mask, c.w, c.s, c.h, 7); }},
    {"vBMMulS", [](Call& c) { vBMMulS(c.dst, c.src, c.w, c.s, c.h, 1.3f); }},
    {"vInvertVideo", [](Call& c) { vInvertVideo(c.dst, c.src, c.w, c.s, c.h, 99, 6); }},
};

const Operation statistics[] = {
    {"histogram", [](Call& c) { c.note_all(histogram(c.from)); }, plain, Shortage::throws},
    {"line_histogram", [](Call& c) { c.note_all(line_histogram(c.from)); }, ends_empty, Shortage::throws},
    {"hist_average", [](Call& c) { c.note(hist_average(c.weights, 0.1f, 0.8f)); }},
    {"hist_average", [](Call& c) { c.note(hist_average(c.weights, 900.0f, 0.1f, 0.8f)); }},
    {"hist_average", [](Call& c) { c.note(::hist_average(c.weights.data(), 900.0f, 256, 0.1f, 0.8f)); }},
    {"hist_width", [](Call& c) { c.note(hist_width(c.weights, 0.1f, 0.8f)); }},
    {"hist_width", [](Call& c) { c.note(hist_width(c.weights, 900.0f, 0.1f, 0.8f)); }},
    {"hist_width", [](Call& c) { c.note(::hist_width(c.weights.data(), 900.0f, 256, 0.1f, 0.8f)); }},
    {"otsu",
     [](Call& c) {
       int first = -77, last = -77;
       otsu(c.weights, first, last);
       c.note(first, last);
     }},
    {"otsu", [](Call& c) { c.note(otsu(c.weights)); }},
    {"multi_otsu", [](Call& c) { c.note_all(multi_otsu(c.weights, 3, 0)); }, plain, Shortage::throws},
    {"li_entropy", [](Call& c) { c.note(li_entropy(c.weights)); }, plain, Shortage::throws},
    {"l1_norm", [](Call& c) { c.note(l1_norm(c.lines, c.areas, L1_norm_mode::Or)); }},
    {"patternL1Norm", [](Call& c) { c.note(patternL1Norm(c.areas)); }},
    {"average", [](Call& c) { c.note(average(c.from, c.areas)); }},
    {"sum", [](Call& c) { c.note(sum(c.from)); }},
    {"norm", [](Call& c) { c.note(norm(c.to, c.from, c.areas, 100)); }},
    {"norm", [](Call& c) { c.note(norm(c.to, c.from, 100)); }},
    {"bitmap_histogram",
     [](Call& c) {
       bitmap_histogram(c.floats.data(), c.src, c.w, c.s, c.h);
       c.note_all(c.floats);
     }},
    {"fAnd", [](Call& c) { c.note(fAnd(c.edges, c.mask, c.w, c.h, c.s, c.s)); }},
    {"fMatchingDistance", [](Call& c) { c.note(fMatchingDistance(c.edges, c.mask, c.w, c.h, c.s, c.s)); }},
    {"fMMAnd", [](Call& c) { c.note(fMMAnd(c.edges, c.mask, c.w, c.h, c.s, c.s)); }},
    {"fMMOr", [](Call& c) { c.note(fMMOr(c.edges, c.mask, c.w, c.h, c.s, c.s)); }},
    {"fMMMatchingDistance", [](Call& c) { c.note(fMMMatchingDistance(c.edges, c.mask, c.w, c.h, c.s, c.s)); }},
    {"fMMPatternL1Norm", [](Call& c) { c.note(fMMPatternL1Norm(c.mask, c.w, c.h, c.s)); }},
    {"uiBMMass", [](Call& c) { c.note(uiBMMass(c.src, c.w, c.s, c.h)); }},
    {"fGetBMAver", [](Call& c) { c.note(fGetBMAver(c.src, c.mask, c.w, c.s, c.h)); }},
    {"fMMGetBMAver", [](Call& c) { c.note(fMMGetBMAver(c.src, c.mask, c.w, c.s, c.h)); }},
    {"fBMNorm", [](Call& c) { c.note(fBMNorm(c.dst, c.src, c.mask, c.w, c.s, c.h, 100)); }},
    {"fBMNorm", [](Call& c) { c.note(fBMNorm(c.dst, c.src, c.w, c.s, c.h, 100)); }},
};

const Operation filters[] = {
    {"convolution<unsigned char>",
     [](Call& c) {
       c.note_image(convolution(c.from, Matrix<int>(1, 3, {1, 2, -1})));
     },
     own_layout, Shortage::throws},
    {"convolution<unsigned char>",
     [](Call& c) {
       c.note_image(convolution(c.from, Matrix<int>(3, 1, {1, 2, -1}), 7));
     },
     own_layout, Shortage::throws},
    {"saxpy",
     [](Call& c) {
       saxpy(c.ints.data(), c.src, std::min(c.w, 48), std::min(c.h, 40), int_stride, c.s, -3, c.ints.data(),
             int_stride);
       c.note_all(c.ints);
     }},
    {"convolute",
     [](Call& c) {
       convolute(c.ints.data(), c.src, c.kernel.data(), std::min(c.w, 48), std::min(c.h, 40), int_stride, c.s, 3, 3, 1,
                 1);
       c.note_all(c.ints);
     },
     reads_beside},
    {"generic_filter",
     [](Call& c) { c.note(generic_filter(c.to, c.from, Mat<float>(c.weights.data() + 40, 5, 5, 5), 0.2f, 0.9f, 0)); },
     plain,
     Shortage::gives_up,
     {0}},
    {"iGenBMFilter",
     [](Call& c) { c.note(iGenBMFilter(c.dst, c.src, c.w, c.s, c.h, c.weights.data() + 40, 2, 5, 2, 0.2f, 0.9f, 1)); },
     plain,
     Shortage::gives_up,
     {0}},
    {"TransposeBM", [](Call& c) { TransposeBM(c.dst, c.src, c.s, c.h, c.w, c.s, c.h); }, short_stride},
    {"lp_filter", [](Call& c) { lp_filter(c.to, c.from, c.areas, 7, 5); }, short_stride, Shortage::gives_up},
    {"lp_filter", [](Call& c) { lp_filter(c.to, c.from, 7, 5); }, short_stride, Shortage::gives_up},
    {"hp_filter", [](Call& c) { hp_filter(c.to, c.from, c.areas, 7, 5, 100); }, short_stride, Shortage::gives_up},
    {"hp_filter", [](Call& c) { hp_filter(c.to, c.from, 7, 5, 100); }, short_stride, Shortage::gives_up},
    {"vBM_LPFilter", [](Call& c) { vBM_LPFilter(c.dst, c.src, c.mask, c.w, c.s, c.h, 7, 5); }, short_stride,
     Shortage::gives_up},
    {"vMMBM_LPFilter", [](Call& c) { vMMBM_LPFilter(c.dst, c.src, c.mask, c.w, c.s, c.h, 7, 5); }, short_stride,
     Shortage::gives_up},
    {"vBM_HPFilter", [](Call& c) { vBM_HPFilter(c.dst, c.src, c.mask, c.w, c.s, c.h, 7, 5, 100); }, short_stride,
     Shortage::gives_up},
    {"vMMBM_HPFilter", [](Call& c) { vMMBM_HPFilter(c.dst, c.src, c.mask, c.w, c.s, c.h, 7, 5, 100); }, short_stride,
     Shortage::gives_up},
    {"vBM_LPIncrease", [](Call& c) { vBM_LPIncrease(c.dst, c.src, nullptr, c.w, c.s, c.h, 7, 5, 0.8f, 100); },
     short_stride, Shortage::gives_up},
    {"vMMBM_LPIncrease", [](Call& c) { vMMBM_LPIncrease(c.dst, c.src, nullptr, c.w, c.s, c.h, 7, 5, 0.8f, 100); },
     short_stride, Shortage::gives_up},
    {"iInitVideoNormLookUpTP",
     [](Call& c) {
       std::array<unsigned char, 256> table{};
       iInitVideoNormLookUpTP(table.data(), 0.8f, 100);
       c.note_all(table);
     }},
    {"sobel", [](Call& c) { sobel(c.to, c.from); }, plain, Shortage::gives_up},
    {"kantenfilter", [](Call& c) { kantenfilter(c.to, c.from, 1, 20); }, plain, Shortage::gives_up},
    {"FastSobel", [](Call& c) { FastSobel(c.dst, c.src, c.w, c.s, c.s, c.h); }, plain, Shortage::gives_up},
    {"FastSobel", [](Call& c) { FastSobel(c.dst, c.src, c.w, c.s, c.h); }, plain, Shortage::gives_up},
    {"FastGradient", [](Call& c) { FastGradient(c.dst, c.mask, c.src, c.w, c.s, c.h); }, plain, Shortage::gives_up},
    {"Kantenfilter", [](Call& c) { Kantenfilter(c.dst, c.src, c.w, c.s, c.h, 0, 20); }, plain, Shortage::gives_up},
    {"vGaussFilter", [](Call& c) { vGaussFilter(c.dst, c.src, c.w, c.s, c.h, 0.2f, 0.9f, 5, 5, 0.3f, 0); },
     reads_beside, Shortage::gives_up},
    {"vGreyFilter", [](Call& c) { vGreyFilter(c.dst, c.src, c.w, c.s, c.h); }, plain, Shortage::gives_up},
    {"vHistEqual", [](Call& c) { vHistEqual(c.dst, c.src, c.w, c.s, c.h); }, plain, Shortage::gives_up},
    {"vCoarseGrain", [](Call& c) { vCoarseGrain(c.dst, c.src, c.w, c.h, c.s, 4, 4, 0); }},
    {"vFineGrain", [](Call& c) { vFineGrain(c.dst, c.src, c.w, c.h, c.s, 4, 4); }},
    {"vCovariance", [](Call& c) { vCovariance(c.dst, c.edges, c.w, c.h, c.s, 2, 0.5f); }},
    {"vDiscriminator", [](Call& c) { vDiscriminator(c.dst, c.mask, c.w, c.s, c.h, 3, 0.4f, 0); }, plain,
     Shortage::gives_up},
    {"vEventRemover", [](Call& c) { vEventRemover(c.dst, c.src, c.w, c.s, c.h, 3, 100, 9, 0); },
     whole_rows | writes_empty, Shortage::gives_up},
    {"vMMEventRemover", [](Call& c) { vMMEventRemover(c.dst, c.src, c.w, c.s, c.h, 3, 100, 9, 0); },
     whole_rows | writes_empty},
    {"vMMEventRemover", [](Call& c) { vMMEventRemover(c.dst, c.src, c.w, c.s, c.h, 64, 100, 9, 0); },
     whole_rows | writes_empty, Shortage::gives_up},
    {"vLineRowFilter", [](Call& c) { vLineRowFilter(c.dst, c.src, 5, 250, 0.1f, 0.9f, 0, c.w, c.s, c.h, 1); }, plain,
     Shortage::gives_up},
    {"vLineRowFilter", [](Call& c) { vLineRowFilter(c.dst, c.src, 5, 250, 0.1f, 0.9f, 1, c.w, c.s, c.h, 1); }, plain,
     Shortage::gives_up},
    {"AdaNorm", [](Call& c) { AdaNorm(c.dst, c.src, c.ones, 0.0f, 0.0f, bump, c.w, c.s, c.h, 1, 90, 1, 70, 100); }},
};

const Operation morphology[] = {
    {"erode", [](Call& c) { erode(c.to, c.areas, 3, 128, MorphOpMode::morph_thin, false); }, whole_rows | writes_empty,
     Shortage::throws},
    {"dilate", [](Call& c) { dilate(c.to, c.areas, 3, 128, MorphOpMode::morph_direct, false); }, plain,
     Shortage::throws},
    {"opening", [](Call& c) { opening(c.to, c.areas, 3, 128, MorphOpMode::morph_recursive, false); },
     whole_rows | writes_empty | own_layout, Shortage::gives_up},
    {"closing", [](Call& c) { closing(c.to, c.areas, 3, 128, MorphOpMode::morph_distance, false); },
     whole_rows | writes_empty | own_layout, Shortage::gives_up},
    {"vMorphOp", [](Call& c) { vMorphOp(c.dst, c.mask, c.w, c.s, c.h, 3, 0, 128, 1); }, plain, Shortage::throws},
    {"vMorphOpThin", [](Call& c) { vMorphOpThin(c.dst, c.mask, c.w, c.s, c.h, 3, 0, 128, 0); },
     whole_rows | writes_empty, Shortage::throws},
    {"vMMRecursiveMorphOp", [](Call& c) { vMMRecursiveMorphOp(c.dst, c.mask, c.w, c.s, c.h, 3, 0, 128, 0); },
     whole_rows | writes_empty | reads_beside},
    {"vMMRecursiveEllipticMorphOp",
     [](Call& c) { vMMRecursiveEllipticMorphOp(c.dst, c.mask, c.w, c.s, c.h, 5, 3, 0, 1, 0, 128, 0); },
     whole_rows | writes_empty | reads_beside},
    {"vMorphOpThinEllipse", [](Call& c) { vMorphOpThinEllipse(c.dst, c.mask, c.w, c.s, c.h, 5, 3, 1, 1, 0, 128, 0); },
     whole_rows | writes_empty},
    {"vMMMorphOpDist", [](Call& c) { vMMMorphOpDist(c.dst, c.mask, c.w, c.s, c.h, 3, 0, 128); }},
};

unsigned at(int size) { return static_cast<unsigned>(size); }

const Operation shapes[] = {
    {"minimum_enclosing_rectangle",
     [](Call& c) {
       float length = -77, width = -77;
       const auto corners = c.square.minimum_enclosing_rectangle(&length, &width);
       c.note(length, width);
       c.note_points(corners);
     },
     own_layout,
     Shortage::gives_up,
     {0, 0, 0, 0, 0, 0, 0, 0, 0, 0}},
    {"find_next_shape", [](Call& c) { c.note_shape(find_next_shape(c.areas, 0, 0, true, true)); }, plain,
     Shortage::throws},
    {"find_next_shape",
     [](Call& c) { c.note_shape(find_next_shape(c.areas, 20, Find_Active_Pixel_Mode::from_left, true)); }, plain,
     Shortage::throws},
    {"find_next_shape",
     [](Call& c) { c.note_shape(find_next_shape(c.areas, Find_Active_Pixel_Mode::from_right, false)); }, plain,
     Shortage::throws},
    {"find_next_shape",
     [](Call& c) { c.note_shape(find_next_shape(c.mask, at(c.w), at(c.s), at(c.h), 0, 0, true, true)); }, own_layout,
     Shortage::throws},
    {"find_next_shape",
     [](Call& c) {
       c.note_shape(find_next_shape(c.mask, at(c.w), at(c.s), at(c.h), 20, Find_Active_Pixel_Mode::from_right, true));
     },
     own_layout, Shortage::throws},
    {"find_next_shape",
     [](Call& c) {
       c.note_shape(find_next_shape(c.mask, at(c.w), at(c.s), at(c.h), Find_Active_Pixel_Mode::from_left, true));
     },
     own_layout, Shortage::throws},
    {"get_all_shapes",
     [](Call& c) {
       for (const Shape& shape : get_all_shapes(c.areas, true)) c.note_shape(shape);
     },
     plain, Shortage::throws_part_done},
    {"get_all_shapes_with",
     [](Call& c) {
       for (const Shape& shape : get_all_shapes_with(c.areas, is_large, true)) c.note_shape(shape);
     },
     plain, Shortage::throws_part_done},
    {"get_shape_with", [](Call& c) { c.note_shape(get_shape_with(c.areas, is_longer, 3, true)); }, plain,
     Shortage::throws_part_done},
    {"get_longest_shape", [](Call& c) { c.note_shape(get_longest_shape(c.areas, 3, true)); }, plain,
     Shortage::throws_part_done},
    {"get_longest_shape", [](Call& c) { c.note_shape(get_longest_shape(c.areas, true)); }, plain,
     Shortage::throws_part_done},
    {"vConvexHull",
     [](Call& c) {
       int *xs = c.ints.data(), *ys = xs, count = -77;
       vConvexHull(c.chain.data(), static_cast<int>(c.chain.size()), &xs, &ys, &count, 10, 10);
       for (int i = 0; i < count; ++i) c.note(xs[i], ys[i]);
       mem::aligned_free(xs);
       mem::aligned_free(ys);
       c.note(count, xs == nullptr, ys == nullptr);
     },
     own_layout,
     Shortage::gives_up,
     {0, 1, 1}},
    {"vCalcRect",
     [](Call& c) {
       std::array<int, 4> xs{1, 9, 12, 3}, ys{2, 1, 8, 9};
       float length, width;
       vCalcRect(c.x1.data(), c.y1.data(), xs.data(), ys.data(), 4, 0.5f, &length, &width);
       c.note(length, width);
       c.note_all(c.x1);
     }},
    {"vMER",
     [](Call& c) {
       std::array<float, 10> out;
       out.fill(-77);
       vMER(c.chain.data(), static_cast<int>(c.chain.size()), 10, 10, out.data() + 2, out.data() + 6, out.data(),
            out.data() + 1);
       c.note_all(out);
     },
     own_layout,
     Shortage::gives_up,
     {0, 0, 0, 0, 0, 0, 0, 0, 0, 0}},
    {"draw_filled_shape", [](Call& c) { draw_filled_shape(c.to, c.square, 99); }, own_layout, Shortage::throws},
    {"draw_filled_shape", [](Call& c) { ::draw_filled_shape(c.dst, c.s, c.square, 99); }, own_layout, Shortage::throws},
    {"shape_to_contour",
     [](Call& c) {
       shape_to_contour(c.contour, c.square, {1, 2});
       c.note_all(c.contour.x);
     },
     own_layout, Shortage::throws},
    {"shape_to_contour",
     [](Call& c) {
       test::shape_to_contour(c.contour, c.square, {1, 2});
       c.note_all(c.contour.y);
     },
     own_layout, Shortage::throws},
    {"ShapeBM",
     [](Call& c) { ShapeBM(c.dst, c.chain.data(), c.w, c.s, c.h, static_cast<int>(c.chain.size()), 10, 10, 1); },
     own_layout},
    {"MMShapeBM",
     [](Call& c) { MMShapeBM(c.dst, c.chain.data(), c.w, c.s, c.h, static_cast<int>(c.chain.size()), 10, 10, 1); },
     own_layout},
    {"vShapePlusBM",
     [](Call& c) {
       std::array<int, 6> at{};
       const bool found =
           vShapePlusBM(c.traced, c.mask, c.dst, c.w, c.s, c.h, &at[0], &at[1], &at[2], &at[3], &at[4], &at[5], 0);
       c.note(found);
       c.note_all(at);
       c.note_all(c.traced);
     },
     plain, Shortage::throws_part_done},
    {"vShapePlusBM_Border",
     [](Call& c) {
       std::array<int, 2> at{};
       vShapePlusBM_Border(c.traced, c.mask, c.dst, c.w, c.s, c.h, &at[0], &at[1], nullptr, nullptr, nullptr, nullptr,
                           0);
       c.note_all(at);
     },
     plain, Shortage::throws_part_done},
    {"fPolygonArea",
     [](Call& c) {
       std::array<int, 4> xs{1, 9, 12, 3}, ys{2, 1, 8, 9};
       c.note(fPolygonArea(xs.data(), ys.data(), 4));
     }},
    {"fGetAllShapeLength",
     [](Call& c) {
       int count = -77;
       float shortest = -77, longest = -77;
       const float length = fGetAllShapeLength(c.mask, c.w, c.s, c.h, &count, &shortest, &longest);
       c.note(length, count, shortest, longest);
     },
     whole_rows,
     Shortage::gives_up_but_for_outlines,
     {0, kept, kept, kept}},
    {"fGetShapeOverlap",
     [](Call& c) { c.note(fGetShapeOverlap(c.mask, c.s, c.chain.data(), static_cast<int>(c.chain.size()), 10, 10)); },
     own_layout},
    {"vGetPos",
     [](Call& c) {
       int x, y;
       vGetPos(c.chain.data(), 30, 10, 10, &x, &y);
       c.note(x, y);
     }},
    {"vShapeGetGrad",
     [](Call& c) {
       float mean;
       vShapeGetGrad(c.counts.data(), c.src, c.chain.data(), c.w, c.s, c.h, static_cast<int>(c.chain.size()), 10, 10,
                     &mean);
       c.note(mean);
       c.note_all(c.counts);
     },
     own_layout},
    {"vShapeKorrelation",
     [](Call& c) {
       float shortest = -77, longest = -77;
       vShapeKorrelation(c.counts.data(), c.chain.data(), static_cast<int>(c.chain.size()), 80, 10.0f, 8, &shortest,
                         &longest);
       c.note(shortest, longest);
       c.note_all(c.counts);
     },
     own_layout, Shortage::throws},
    {"find_contours",
     [](Call& c) {
       find_contours(c.hierarchy, c.contours, c.areas, ScanSuzukiMode::all_borders, {0, 0});
       c.note_all(c.hierarchy);
       for (const auto& contour : c.contours) c.note_all(contour.x);
     },
     throws_empty, Shortage::throws},
    {"find_contours",
     [](Call& c) {
       find_contours(c.contours, c.areas, ScanSuzukiMode::external_only, {0, 0});
       for (const auto& contour : c.contours) c.note_all(contour.y);
     },
     throws_empty, Shortage::throws},
    {"center",
     [](Call& c) {
       const auto middle = center(c.contour);
       c.note(middle.x, middle.y);
     }},
    {"detail::scan_suzuki",
     [](Call& c) {
       std::array<short, 64> pixels{};
       for (const std::size_t i : {9U, 10U, 11U, 17U, 19U, 25U, 26U, 27U}) pixels[i] = 1;
       Bitmap_<short> image(pixels.data(), 8, 8, 8, {});
       detail::scan_suzuki(image, ScanSuzukiMode::all_borders, c.contours, {0, 0}, &c.hierarchy);
       c.note_all(pixels);
       c.note_all(c.hierarchy);
     },
     own_layout, Shortage::throws_part_done},
};

const Operation transforms[] = {
    {"rotate", [](Call& c) { rotate(c.to, c.from, 20.0f, 9); }, whole_rows | writes_empty | ends_shared | reads_beside},
    {"shear", [](Call& c) { shear(c.to, c.from, 0.1f, 0.2f, 9); }, ends_shared},
    {"stretch", [](Call& c) { stretch(c.to, c.from, 0.2f, 9); }, ends_shared},
    {"transform", [](Call& c) { transform(static_cast<Mat<unsigned char>&>(c.to), c.from, 1.2f, 20.0f, 3, 4, 9); },
     ends_shared},
    {"transform",
     [](Call& c) {
       transform(c.to, c.from, 1.2f, 20.0f, Point_<um>{um(3.0f), um(4.0f)}, 9);
     },
     ends_shared},
    {"translate", [](Call& c) { translate(static_cast<Mat<unsigned char>&>(c.to), c.from, 3.0f, -4.0f, 9); },
     whole_rows | writes_empty | ends_shared},
    {"translate",
     [](Call& c) {
       translate(c.to, c.from, Point_<um>{um(3.0f), um(4.0f)}, 9);
     },
     whole_rows | writes_empty | ends_shared},
    {"downsampling", [](Call& c) { c.note_image(downsampling(c.from, 0.5f)); }, whole_rows | own_layout,
     Shortage::throws},
    {"transform", [](Call& c) { transform(c.dst, c.src, c.w, c.s, c.h, 30, 20, 3, 4, 0.3f, 1.2f, 9); }},
    {"mm_transform", [](Call& c) { mm_transform(c.dst, c.src, c.w, c.s, c.h, 30, 20, 3, 4, 0.3f, 1.2f, 9); }},
    {"mm_morph_transform",
     [](Call& c) { mm_morph_transform(c.dst, c.src, c.w, c.s, c.h, 30, 20, 3, 4, 0.3f, 1.2f, 9); }},
    {"stretch_shear", [](Call& c) { stretch_shear(c.dst, c.src, c.w, c.s, c.h, 30, 20, 1, 2, 0.1f, 0.2f, 9); }},
    {"mm_stretch_shear", [](Call& c) { mm_stretch_shear(c.dst, c.src, c.w, c.s, c.h, 30, 20, 1, 2, 0.1f, 0.2f, 9); }},
    {"rotate", [](Call& c) { rotate(c.dst, c.src, c.s, c.h, 20.0f, 9); }, whole_rows | writes_empty | reads_beside},
    {"translate", [](Call& c) { translate(c.dst, c.src, c.s, c.h, 3.0f, 4.0f, 9, 1); }, whole_rows | writes_empty},
    {"rotate_point",
     [](Call& c) {
       float x, y;
       rotate_point(0.3f, 4, 5, &x, &y);
       c.note(x, y);
     }},
    {"calc_param",
     [](Call& c) {
       std::array<float, 8> out{};
       calc_param(c.x1.data(), c.y1.data(), c.x2.data(), c.y2.data(), 8, &out[0], &out[1], &out[2], &out[3], &out[4],
                  &out[5], &out[6], &out[7]);
       c.note_all(out);
     }},
    {"calc_param_weight",
     [](Call& c) {
       std::array<float, 8> out{};
       calc_param_weight(c.x1.data(), c.y1.data(), c.x2.data(), c.y2.data(), c.ones.data(), c.ones.data(),
                         c.ones.data(), 8, &out[0], &out[1], &out[2], &out[3], &out[4], &out[5], &out[6], &out[7]);
       c.note_all(out);
     }},
    {"map_data",
     [](Call& c) {
       for (std::size_t i = 0; i < 256; ++i) c.floats[i] = 0.9f * static_cast<float>(i);
       map_data(c.dst, c.src, c.w, c.s, c.h, c.floats.data(), c.more_floats.data(), 0, std::max(c.w, 1) - 1, 0,
                std::max(c.h, 1) - 1, 9);
     }},
    {"reduce_resolution",
     [](Call& c) {
       int width = -77, height = -77, stride = -77;
       reduce_resolution(c.dst, c.src, &width, &height, &stride, c.w, c.h, c.s, 3);
       c.note(width, height, stride);
     },
     own_layout,
     Shortage::gives_up,
     {kept, kept, kept}},
    {"vFindRotationAngle",
     [](Call& c) {
       float angle = -77, scale = -77;
       vFindRotationAngle(&angle, &scale, c.edges, c.edges, c.w, c.h, c.s);
       c.note(angle, scale);
     },
     draws_random,
     Shortage::gives_up,
     {kept, kept}},
    {"fMatchAngleFromPolar",
     [](Call& c) { c.note(fMatchAngleFromPolar(c.src, c.mask, c.w, c.h, c.s, c.dst)); },
     own_layout,
     Shortage::gives_up,
     {0}},
};

const Operation fitting[] = {
    {"border_by_maximum", [](Call& c) { c.note_all(border_by_maximum(c.from, Image_Side::Top)); }, ends_empty,
     Shortage::throws},
    {"border_by_minimum", [](Call& c) { c.note_all(border_by_minimum(c.from, Image_Side::Left)); }, ends_empty,
     Shortage::throws},
    {"border_by_threshold",
     [](Call& c) { c.note_all(border_by_threshold(c.from, Image_Side::Right, 0, 150, ThresholdMode::Standard)); },
     ends_empty | throws_empty | whole_rows, Shortage::throws},
    {"border_by_gradient",
     [](Call& c) {
       c.note_all(border_by_gradient(c.from, Image_Side::Bottom, true, -20, 20, ThresholdMode::Standard));
     },
     ends_empty, Shortage::throws},
    {"borderpx_by_maximum", [](Call& c) { c.note_points(borderpx_by_maximum(c.from, Image_Side::Top)); }, ends_empty,
     Shortage::throws},
    {"borderpx_by_minimum", [](Call& c) { c.note_points(borderpx_by_minimum(c.from, Image_Side::Left)); }, ends_empty,
     Shortage::throws},
    {"borderpx_by_threshold",
     [](Call& c) { c.note_points(borderpx_by_threshold(c.from, Image_Side::Right, 0, 150, ThresholdMode::Standard)); },
     ends_empty | throws_empty | whole_rows, Shortage::throws},
    {"borderpx_by_gradient",
     [](Call& c) {
       c.note_points(borderpx_by_gradient(c.from, Image_Side::Bottom, true, -20, 20, ThresholdMode::Standard));
     },
     ends_empty, Shortage::throws},
    {"enclosing_orthogonal_rectangle",
     [](Call& c) {
       const auto box = enclosing_orthogonal_rectangle(c.areas);
       c.note(box.top_left.x, box.top_left.y, box.bottom_right.x, box.bottom_right.y);
     },
     ends_empty},
    {"enclosing_orthogonal_rectangle",
     [](Call& c) {
       const auto box = enclosing_orthogonal_rectangle(c.to, c.from, 0, 150, ThresholdMode::Standard);
       c.note(box.top_left.x, box.top_left.y, box.bottom_right.x, box.bottom_right.y);
     },
     ends_empty},
    {"enclosing_orthogonal_rectangle",
     [](Call& c) {
       const auto box = enclosing_orthogonal_rectangle(c.from, 0, 150, ThresholdMode::Standard);
       c.note(box.top_left.x, box.top_left.y, box.bottom_right.x, box.bottom_right.y);
     },
     ends_empty | throws_empty | whole_rows, Shortage::throws},
    {"inscribed_orthogonal_rectangle",
     [](Call& c) {
       const auto box = inscribed_orthogonal_rectangle(c.from, 20);
       c.note(box.top_left.x, box.top_left.y, box.bottom_right.x, box.bottom_right.y);
     }},
    {"detect_rectangle_rand_clust",
     [](Call& c) { c.note_points(detect_rectangle_rand_clust(c.from, 1)); },
     draws_random | short_stride,
     Shortage::gives_up,
     {0, 0, 0, 0, 0, 0, 0, 0}},
    {"detect_rect_rand_clust",
     [](Call& c) {
       std::array<float, 8> corners;
       corners.fill(-77);
       c.note(detect_rect_rand_clust(c.src, c.w, c.s, c.h, corners.data(), corners.data() + 4, 0, 1));
       c.note_all(corners);
     },
     draws_random | short_stride,
     Shortage::gives_up,
     {0, kept, kept, kept, kept, kept, kept, kept, kept}},
    {"CalcLinesRandom",
     [](Call& c) {
       std::array<float, 20> lines;
       lines.fill(-77);
       int count = -77;
       CalcLinesRandom(lines.data(), lines.data() + 10, nullptr, 0, nullptr, 0, &count, c.edges, c.w, c.h, c.s);
       c.note(count);
     },
     draws_random | looks_first,
     Shortage::gives_up,
     {0}},
    {"CalcCircleRandom",
     [](Call& c) {
       float radius = -77, x = -77, y = -77;
       CalcCircleRandom(&radius, &x, &y, c.edges, c.w, c.h, c.s);
       c.note(radius, x, y);
     },
     draws_random | looks_first,
     Shortage::gives_up,
     {0, 0, 0}},
    {"Correlation",
     [](Call& c) {
       std::array<int, 8> weights{1, 2, 1, 1, 1, 2, 3, 1};
       std::array<float, 8> result;
       result.fill(-77);
       Correlation(result.data(), c.x1.data(), c.x2.data(), weights.data(), 8, 4);
       c.note_all(result);
     },
     own_layout,
     Shortage::gives_up,
     {kept, kept, kept, kept, kept, kept, kept, kept}},
    {"GetCrossPointHesse",
     [](Call& c) {
       float x, y;
       GetCrossPointHesse(&x, &y, 0.3f, 4, 1.5f, 7);
       c.note(x, y);
     }},
    {"fLineDistHesse", [](Call& c) { c.note(fLineDistHesse(0.3f, 4, 1.5f, 7, 100)); }},
    {"distance_point_line", [](Call& c) { c.note(distance_point_line(0.3f, 4, 1.5f, 7, 9, 1)); }},
    {"euclidean_distance", [](Call& c) { c.note(euclidean_distance(0.3f, 4, 1.5f, 7)); }},
    {"GetEdgeFineRes",
     [](Call& c) {
       GetEdgeFineRes(c.floats.data(), c.src, c.w, c.s, c.h, 0, 10);
       c.note_all(c.floats);
     }},
    {"fCalcCG", [](Call& c) { c.note(fCalcCG(c.weights.data(), 100, 50, 150, 20, 20, 0.5f)); }},
    {"fGetBMCG",
     [](Call& c) {
       float x = -77, y = -77;
       c.note(fGetBMCG(c.src, c.w, c.s, c.h, &x, &y));
       c.note(x, y);
     }},
    {"iCompf", [](Call& c) { c.note(iCompf(c.x1.data(), c.x1.data() + 1)); }},
    {"get_cross_position",
     [](Call& c) {
       float x = -77, y = -77;
       get_cross_position(c.mask, c.s, 0, 0, 0, c.w, c.h, &x, &y);
       c.note(x, y);
     }},
    {"find_point",
     [](Call& c) {
       int x = -77, y = -77, quadrant = -77;
       c.note(find_point(c.mask, nullptr, c.w, c.h, c.s, 40, 10, 200, 255, 0, 0, &x, &y, &quadrant, nullptr));
     },
     draws_random | own_layout},
    {"find_point_on_line",
     [](Call& c) {
       int x = -77, y = -77;
       c.note(find_point_on_line(c.mask, nullptr, c.dst, c.w, c.h, c.s, 2, 2, 60, 200, 255, 1, 1, &x, &y));
       c.note(x, y);
     },
     own_layout},
    {"PolyToBMMask",
     [](Call& c) {
       std::array<float, 4> xs{2.5f, 30, 40, 8}, ys{3, 1, 20, 30};
       PolyToBMMask(c.dst, xs.data(), ys.data(), 4, c.w, c.s, c.h);
     }},
};

const Operation drawing[] = {
    {"draw_line",
     [](Call& c) {
       draw_line(c.to, {3, 4}, {60, 33}, 99, 1);
     },
     writes_empty},
    {"draw_rect",
     [](Call& c) {
       draw_rect(c.to, {3, 4}, 20, 10, 1.0f, 99);
     },
     writes_empty},
    {"draw_rect",
     [](Call& c) {
       draw_rect(c.to, Rect__<Point_<int>>({3, 4}, {20, 10}), 1.0f, 99);
     },
     writes_empty},
    {"draw_rect",
     [](Call& c) {
       draw_rect(c.to, Rect__<Point_<um>>({um(3.0f), um(4.0f)}, {um(20.0f), um(9.0f)}), 1.0f, 99);
     },
     writes_empty},
    {"draw_circle",
     [](Call& c) {
       draw_circle(c.to, {20, 20}, 9, 3, 99, DrawMode::add);
     }},
    {"fill_rect", [](Call& c) { fill_rect(c.to, 3, 4, 20, 10, 99); }, writes_empty},
    {"fill_rect",
     [](Call& c) {
       fill_rect(c.to, Rect__<Point_<um>>({um(3.0f), um(4.0f)}, {um(20.0f), um(9.0f)}), 99);
     },
     ends_empty},
    {"flood_fill",
     [](Call& c) {
       flood_fill(c.areas, Point_<unsigned>{15, 15}, 99);
     },
     own_layout, Shortage::throws_part_done},
    {"interleave", [](Call& c) { interleave(c.to, c.from, c.lines, c.areas); }},
    {"interleave", [](Call& c) { interleave(c.to, c.from, 99, c.areas); }},
    {"interleave", [](Call& c) { interleave(c.to, 99, c.lines, c.areas); }},
    {"interleave", [](Call& c) { interleave(c.to, 99, 11, c.areas); }},
    {"vLine", [](Call& c) { vLine(c.dst, 3, 4, 60, 33, c.s, c.h, 99, 1); }, writes_empty},
    {"vDrawRect", [](Call& c) { vDrawRect(c.dst, c.h, c.s, 3, 4, 20, 10, 1.0f, 99); }, writes_empty},
    {"vDrawCircle", [](Call& c) { vDrawCircle(c.dst, c.w, c.h, c.s, 20, 20, 9, 3, 99, 0); }},
    {"vFillRect", [](Call& c) { vFillRect(c.dst, 3, 4, 20, 10, c.s, c.h, 99); }, writes_empty},
    {"flood_fill", [](Call& c) { ::flood_fill(c.mask, at(c.w), at(c.h), at(c.s), 15, 15, 99); }, own_layout,
     Shortage::throws_part_done},
    {"vFillContMsk", [](Call& c) { vFillContMsk(c.src, c.mask, c.w, c.s, c.h, 9); }},
    {"FloodFill", [](Call& c) { FloodFill(c.dst, c.edges, c.w, c.h, c.s, 1, nullptr); }, whole_rows,
     Shortage::gives_up_but_for_outlines},
    {"FloodFill", [](Call& c) { FloodFill(c.dst, c.edges, c.w, c.h, c.s, nullptr); }, whole_rows,
     Shortage::gives_up_but_for_outlines},
    {"vBMInterleave", [](Call& c) { vBMInterleave(c.dst, c.src, c.edges, c.mask, c.w, c.s, c.h); }},
    {"vBMInterleave", [](Call& c) { vBMInterleave(c.dst, c.src, std::uint8_t{99}, c.mask, c.w, c.s, c.h); }},
    {"vBMInterleave", [](Call& c) { vBMInterleave(c.dst, std::uint8_t{99}, c.edges, c.mask, c.w, c.s, c.h); }},
    {"vBMInterleave", [](Call& c) { vBMInterleave(c.dst, std::uint8_t{99}, std::uint8_t{11}, c.mask, c.w, c.s, c.h); }},
};

const Operation frequency[] = {
    {"fourier_transform",
     [](Call& c) {
       auto to = other_reals(c), from = reals(c);
       fourier_transform(to, from);
       c.note_all(c.more_floats);
     },
     own_layout, Shortage::throws},
    {"fourier_transform",
     [](Call& c) {
       auto from = complex(c);
       Mat<Complex> to(c.other_spectrum.data(), side + 1, side + 1, side + 1);
       fourier_transform(to, from);
       note_parts(c, c.other_spectrum);
     },
     own_layout, Shortage::throws},
    {"fourier_transform",
     [](Call& c) {
       auto to = bytes(c, side + 1);
       auto from = reals(c);
       fourier_transform(to, from);
     },
     own_layout, Shortage::throws},
    {"fourier_transform",
     [](Call& c) {
       auto to = bytes(c, side + 1);
       auto from = complex(c);
       fourier_transform(to, from);
     },
     own_layout, Shortage::throws},
    {"inverse_fourier_transform",
     [](Call& c) {
       auto to = other_reals(c), from = reals(c);
       inverse_fourier_transform(to, from);
       c.note_all(c.more_floats);
     },
     own_layout, Shortage::throws},
    {"inverse_fourier_transform",
     [](Call& c) {
       auto to = bytes(c, side);
       auto from = reals(c);
       inverse_fourier_transform(to, from);
     },
     own_layout, Shortage::throws},
    {"inverse_fourier_transform",
     [](Call& c) {
       auto to = other_complex(c);
       Mat<Complex> from(c.spectrum.data(), side + 1, side + 1, side + 1);
       inverse_fourier_transform(to, from);
       note_parts(c, c.other_spectrum);
     },
     own_layout, Shortage::throws},
    {"inverse_fourier_transform",
     [](Call& c) {
       auto to = bytes(c, side);
       auto from = complex(c);
       inverse_fourier_transform(to, from);
     },
     own_layout, Shortage::throws},
    {"fft_filter",
     [](Call& c) {
       auto to = bytes(c, side);
       Mat<unsigned char> from(c.src, side, c.s, side);
       fft_filter(to, from, true, fft::Filter::notch_peaks, {3.0f});
     },
     own_layout, Shortage::throws},
    {"fft_filter",
     [](Call& c) {
       auto to = bytes(c, side);
       Mat<unsigned char> from(c.src, side, c.s, side);
       fft_filter(to, from, false, fft::Filter::emphasise_peaks, {5.0f, 2.0f, 1.0f});
     },
     own_layout, Shortage::throws},
};

const Operation synthetic[] = {
    {"iota_image", [](Call& c) { c.note_image(test::iota_image(20, 32, 10)); }, own_layout, Shortage::throws},
    {"random_image", [](Call& c) { c.note(test::random_image(20, 32, 10).width); }, own_layout, Shortage::throws},
    {"random_image", [](Call& c) { c.note_image(test::random_image(20, 32, 10, 5)); }, own_layout, Shortage::throws},
    {"random_image_max", [](Call& c) { c.note(test::random_image_max(20, 32, 10, 9).height); }, own_layout,
     Shortage::throws},
    {"binary_random_image", [](Call& c) { c.note_image(test::binary_random_image(20, 32, 10, 5, 0.4f)); }, own_layout,
     Shortage::throws},
    {"random_rect_image", [](Call& c) { c.note(test::random_rect_image(20, 32, 10, 5, 1.0f).width); }, own_layout,
     Shortage::throws},
    {"is_same", [](Call& c) { c.note(test::is_same(test::iota_image(20, 32, 10), test::iota_image(20, 20, 10))); },
     own_layout, Shortage::throws},
};

}  // namespace

const std::vector<Operation>& catalogue() {
  static const std::vector<Operation> all = [] {
    std::vector<Operation> joined;
    const auto append = [&joined](const auto& family) {
      joined.insert(joined.end(), std::begin(family), std::end(family));
    };
    append(point_ops);
    append(statistics);
    append(filters);
    append(morphology);
    append(shapes);
    append(transforms);
    append(fitting);
    append(drawing);
    append(frequency);
    append(synthetic);
    return joined;
  }();
  return all;
}

}  // namespace zeb::reliability
