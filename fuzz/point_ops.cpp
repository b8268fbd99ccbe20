// Pixel operations against their formula, blocks and rest alike where the docstrings say so; padding stays.

#include "zeb/point_ops.h"

#include <algorithm>
#include <cmath>
#include <vector>

#include "input.h"

namespace {

using zeb::fuzz::check;
using zeb::fuzz::Input;
using zeb::fuzz::Layout;
using zeb::fuzz::Plane;

/// Compares `dst` with `formula(x, y)` and its padding with `blank`.
template <class Formula>
void check_each(const Plane& dst, const Plane& blank, Formula formula, const char* relation) {
  check(same_padding(dst, blank), "pixel operations keep the padding");
  for (int y = 0; y < dst.height(); ++y)
    for (int x = 0; x < dst.width(); ++x) check(dst(x, y) == static_cast<unsigned char>(formula(x, y)), relation);
}

void arithmetic(Input& input) {
  const Layout layout = input.layout();
  const int w = layout.width, s = layout.stride, h = layout.height;
  const Plane a = input.picture(layout), b = input.picture(layout), blank(layout);
  Plane dst(blank);
  const unsigned char v = input.byte();
  unsigned char* d = dst.data();
  vBMSet(d, v, w, s, h);
  check_each(
      dst, blank, [&](int, int) { return v; }, "vBMSet");
  vBMAdd(d, a.data(), b.data(), w, s, h);
  check_each(
      dst, blank, [&](int x, int y) { return a(x, y) + b(x, y); }, "vBMAdd of images");
  vBMAdd(d, a.data(), v, w, s, h);
  check_each(
      dst, blank, [&](int x, int y) { return a(x, y) + v; }, "vBMAdd of a value");
  vBMAddS(d, a.data(), b.data(), w, s, h);
  check_each(
      dst, blank, [&](int x, int y) { return std::min(a(x, y) + b(x, y), 255); }, "vBMAddS of images");
  vBMAddS(d, a.data(), v, w, s, h);
  check_each(
      dst, blank, [&](int x, int y) { return std::min(a(x, y) + v, 255); }, "vBMAddS of a value");
  vBMSub(d, a.data(), b.data(), w, s, h);
  check_each(
      dst, blank, [&](int x, int y) { return a(x, y) - b(x, y); }, "vBMSub of images");
  vBMSub(d, v, b.data(), w, s, h);
  check_each(
      dst, blank, [&](int x, int y) { return v - b(x, y); }, "vBMSub from a value");
  vBMSub(d, a.data(), v, w, s, h);
  check_each(
      dst, blank, [&](int x, int y) { return a(x, y) - v; }, "vBMSub of a value");
  vBMSubS(d, a.data(), b.data(), w, s, h);
  check_each(
      dst, blank, [&](int x, int y) { return std::max(a(x, y) - b(x, y), 0); }, "vBMSubS of images");
  vBMSubS(d, v, b.data(), w, s, h);
  check_each(
      dst, blank, [&](int x, int y) { return std::max(v - b(x, y), 0); }, "vBMSubS from a value");
  vBMSubS(d, a.data(), v, w, s, h);
  check_each(
      dst, blank, [&](int x, int y) { return std::max(a(x, y) - v, 0); }, "vBMSubS of a value");
  Plane in_place(a);
  vBMSubS(in_place.data(), in_place.data(), v, w, s, h);
  check(same_pixels(in_place, dst), "the destination may be the source");

  const int shift = input.integer(-2, 33), blocks = w & ~15;
  vBMMulS(d, a.data(), b.data(), w, s, h, shift);
  check(same_padding(dst, blank), "vBMMulS keeps the padding");
  for (int y = 0; y < h; ++y)
    for (int x = 0; x < w; ++x) {
      const int product = a(x, y) * b(x, y), plain = std::min(product >> (shift & 31), 255);
      if (x >= blocks || (shift > 0 && shift < 16)) check(dst(x, y) == plain, "vBMMulS of images");
      if (x < blocks && shift == 0 && product < 32768) check(dst(x, y) == plain, "vBMMulS without a shift");
    }
  const float factor = input.flag() ? input.any_real() : input.real(0, 300);
  vBMMulS(d, a.data(), w, s, h, factor);
  check(same_padding(dst, blank), "vBMMulS keeps the padding");
  if (factor >= 0 && factor < 128)
    for (int y = 0; y < h; ++y)
      for (int x = 0; x < w; ++x) {
        const float product = std::min(static_cast<float>(a(x, y)) * factor, 255.0f);
        if (x >= blocks)
          check(dst(x, y) == static_cast<int>(product), "vBMMulS with a factor behind the blocks");
        else
          check(std::abs(static_cast<float>(dst(x, y)) - product) <= 2.0f + product / 64, "vBMMulS with a factor");
      }
  const int power = input.integer(-2, 33);
  vInvertVideo(d, a.data(), w, s, h, v, power);
  check(same_padding(dst, blank), "vInvertVideo keeps the padding");
  if ((power & 31) < 22)
    for (int y = 0; y < h; ++y)
      for (int x = 0; x < w; ++x) {
        const double quotient = std::ldexp(static_cast<double>(v), power & 31) / a(x, y);
        const double limited = a(x, y) == 0 ? (v == 0 ? 0.0 : 255.0) : std::min(quotient, 255.0);
        if (a(x, y) != 0 || v != 0)
          check(std::abs(dst(x, y) - limited) <= (x < blocks ? 0.5001 : 0.9999), "vInvertVideo");
      }
}

void thresholds(Input& input) {
  const Layout layout = input.layout();
  const int w = layout.width, s = layout.stride, h = layout.height;
  const Plane a = input.picture(layout), blank(layout);
  Plane dst(blank);
  const unsigned char lower = input.byte(), upper = input.byte();
  vThresholding(dst.data(), a.data(), w, s, h, lower, upper);
  check_each(
      dst, blank, [&](int x, int y) { return a(x, y) > upper   ? 255
                                             : a(x, y) < lower ? 254
                                                               : 0; }, "vThresholding");
  vThresholdingInverseBinary(dst.data(), a.data(), w, s, h, lower, upper);
  check_each(
      dst, blank, [&](int x, int y) { return lower <= a(x, y) && a(x, y) <= upper ? 255 : 0; },
      "vThresholdingInverseBinary");

  int box[4] = {w, 0, h, 0}, found[4], quick[4];
  for (int y = 0; y < h; ++y)
    for (int x = 0; x < w; ++x)
      if (a(x, y) != 0) {
        box[0] = std::min(box[0], x);
        box[1] = std::max(box[1], x);
        box[2] = std::min(box[2], y);
        box[3] = y;
      }
  vGetMinMaxBM(a.data(), w, h, s, found, found + 1, found + 2, found + 3);
  vMMGetMinMaxBM(a.data(), w, h, s, quick, quick + 1, quick + 2, quick + 3);
  if (w > 0 && h > 0) {
    check(std::equal(box, box + 4, found), "vGetMinMaxBM finds the box");
    check(quick[2] == box[2] && quick[3] == box[3], "vMMGetMinMaxBM finds the rows");
    bool binary = true;
    for (int y = 0; y < h; ++y)
      for (int x = 0; x < w; ++x) binary = binary && (a(x, y) == 0 || a(x, y) >= 128);
    if (binary) check(quick[0] == box[0] && quick[1] <= box[1] && box[1] - quick[1] < 16, "and nearly the columns");
  }

  // Each image with a layout of its own.
  Layout other = layout;
  other.stride = w + input.integer(0, 20);
  other.offset = input.integer(0, 15);
  Plane b = input.picture(other), c(other), left(a);
  const Plane c_blank(c);
  const auto a_view = left.mat(), b_view = b.mat();
  auto c_view = c.mat();
  zeb::bitwise_and(c_view, a_view, b_view);
  check_each(
      c, c_blank, [&](int x, int y) { return a(x, y) & b(x, y); }, "bitwise_and");
  zeb::bitwise_and(c_view, a_view, lower);
  check_each(
      c, c_blank, [&](int x, int y) { return a(x, y) & lower; }, "bitwise_and with a value");
  zeb::bitwise_andnot(c_view, a_view, b_view);
  check_each(
      c, c_blank, [&](int x, int y) { return ~a(x, y) & b(x, y); }, "bitwise_andnot");
  zeb::bitwise_xor(c_view, a_view, b_view);
  check_each(
      c, c_blank, [&](int x, int y) { return a(x, y) ^ b(x, y); }, "bitwise_xor");
}

void bits(Input& input) {
  const int w = input.integer(0, 200), h = input.integer(0, 60), words = (w + 15) / 16;
  const int pitch = 2 * words + input.integer(0, 5);
  const Plane packed = input.picture(Layout{2 * words, pitch, h, 0}, false);
  Plane dst(Layout{w, w + input.integer(0, 20), h, input.integer(0, 15)});
  const Plane blank(dst);
  ExpandBM(dst.data(), packed.data(), w, h, dst.stride(), pitch * 8 + input.integer(0, 7));
  check_each(
      dst, blank, [&](int x, int y) { return (packed(x / 8, y) >> x % 8 & 1) != 0 ? 255 : 0; }, "ExpandBM");

  const int count = input.integer(-10, 2000), bytes = std::max(0, count) / 128 * 16;
  const Layout row{bytes + 3, bytes + 3, 1, input.integer(0, 15)};
  const Plane a = input.picture(row, false), b = input.picture(row, false), untouched(row);
  const int mode = input.integer(-1, 5);
  Plane out(row);
  LogicBin(out.data(), a.data(), mode == 4 ? nullptr : b.data(), count, static_cast<Logic_bin_mode>(mode));
  for (int i = 0; i < row.width; ++i) {
    const int p = a(i, 0), q = b(i, 0);
    const int results[] = {p & q, p | q, p ^ q, ~p & q, ~p};
    const bool written = i < bytes && mode >= 0 && mode <= 4;
    check(out(i, 0) == (written ? static_cast<unsigned char>(results[mode]) : untouched(i, 0)), "LogicBin");
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  Input input(bytes, size);
  switch (input.integer(0, 2)) {
    case 0:
      arithmetic(input);
      break;
    case 1:
      thresholds(input);
      break;
    default:
      bits(input);
      break;
  }
  return 0;
}
