// Warps: packed against scalar forms where both are exact, what stays, and arbitrary parameters, NaN and infinities
// included.

#include "zeb/transforms.h"

#include <cmath>
#include <vector>

#include "input.h"

namespace {

using zeb::fuzz::check;
using zeb::fuzz::Input;
using zeb::fuzz::Layout;
using zeb::fuzz::Plane;

/// With a stride that the packed forms can address.
Layout packed_layout(Input& input, int largest = 200) {
  Layout layout = input.layout(largest);
  layout.stride = (layout.stride + 3) & ~3;
  return layout;
}

float parameter(Input& input) {
  switch (input.integer(0, 3)) {
    case 0:
      return input.any_real();
    case 1:
      return static_cast<float>(input.integer(-250, 250));
    default:
      return input.real(-250, 250);
  }
}

void warps(Input& input) {
  const Layout layout = packed_layout(input);
  const int w = layout.width, s = layout.stride, h = layout.height;
  Plane src = input.picture(layout);
  const Plane before(src), blank(layout), roomy_blank = blank.with_room(1);
  const float cx = parameter(input), cy = parameter(input), tx = parameter(input), ty = parameter(input),
              angle = parameter(input), scale = input.flag() ? 1.0f : parameter(input);
  const unsigned char background = input.byte();
  Plane scalar(blank), packed(roomy_blank), nearest(roomy_blank), displaced(roomy_blank);
  zeb::transform(scalar.data(), src.data(), w, s, h, cx, cy, tx, ty, angle, scale, background);
  check(same_padding(scalar, blank), "the scalar warp keeps the padding");
  zeb::mm_transform(packed.data(), src.data(), w, s, h, cx, cy, tx, ty, angle, scale, background);
  zeb::mm_morph_transform(nearest.data(), src.data(), w, s, h, cx, cy, tx, ty, angle, scale, background);
  zeb::mm_stretch_shear(displaced.data(), src.data(), w, s, h, cx, cy, tx, ty, angle, scale, background);
  check(same_bytes(src, before), "warps only read their source");

  bool present[256] = {};
  int least = background, greatest = background;
  present[background] = true;
  for (int y = 0; y < h; ++y)
    for (int x = 0; x < w; ++x) {
      present[src(x, y)] = true;
      least = std::min<int>(least, src(x, y));
      greatest = std::max<int>(greatest, src(x, y));
    }
  for (int y = 0; y < h; ++y)
    for (int x = 0; x < w; ++x) {
      check(present[nearest(x, y)], "the nearest pixel is one of the source or the background");
      for (const Plane* warped : {&scalar, &packed, &displaced})
        check(least - 1 <= (*warped)(x, y) && (*warped)(x, y) <= greatest + 1,
              "interpolation stays between its sources");
    }

  Plane copy(blank);
  zeb::stretch_shear(copy.data(), src.data(), w, s, h, cx, cy, tx, ty, angle, scale, background);
  check(same_padding(copy, blank), "stretch_shear keeps the padding");
  for (int y = 0; y < h; ++y)
    for (int x = 0; x < w; ++x)
      check(copy(x, y) == (x + 1 < w && y + 1 < h ? src(x, y) : background), "stretch_shear copies");
  zeb::mm_stretch_shear(displaced.data(), src.data(), w, s, h, 3, 5, tx, ty, 0, 0, background);
  if (std::isfinite(tx) && std::isfinite(ty) && std::abs(tx) < 1e9f && std::abs(ty) < 1e9f)
    check(same_pixels(displaced, copy), "no displacement leaves the copy");

  // Whole shifts without rotation are exact in the scalar form.
  const int dx = input.integer(-50, 50), dy = input.integer(-50, 50);
  zeb::transform(scalar.data(), src.data(), w, s, h, 0, 0, static_cast<float>(dx), static_cast<float>(dy), 0, 1,
                 background);
  for (int y = 0; y < h; ++y)
    for (int x = 0; x < w; ++x) {
      const bool inside = x - dx >= 0 && x - dx < w - 1 && y - dy >= 0 && y - dy < h - 1;
      check(scalar(x, y) == (inside ? src(x - dx, y - dy) : background), "a whole shift moves pixels");
    }
}

void shifts(Input& input) {
  Layout layout = packed_layout(input);
  if (input.flag()) layout.width = layout.stride;
  Plane src = input.picture(layout).with_room(1);
  const Plane blank = Plane(layout).with_room(1);
  Plane dst(blank), raw(blank);
  auto from = src.bitmap(), to = dst.bitmap();
  const unsigned char background = input.byte();
  const float a = parameter(input), b = parameter(input), c = parameter(input), d = parameter(input);
  zeb::translate(raw.data(), src.data(), layout.stride, layout.height, a, b, background, input.integer(0, 3));
  zeb::translate(static_cast<zeb::Mat<unsigned char>&>(to), static_cast<zeb::Mat<unsigned char>&>(from), a, b,
                 background);
  const int dx = input.integer(-60, 60), dy = input.integer(-60, 60);
  zeb::translate(dst.data(), src.data(), layout.stride, layout.height, static_cast<float>(dx), static_cast<float>(dy),
                 background, 0);
  for (int y = 0; y < layout.height; ++y)
    for (int x = 0; x < layout.stride; ++x) {
      // Half a pixel is added and the rest cut off, so a negative shift is one less.
      const int sx = x - (dx < 0 ? dx + 1 : dx), sy = y - (dy < 0 ? dy + 1 : dy);
      const bool inside = 0 <= sx && sx < layout.stride && 0 <= sy && sy < layout.height;
      check(dst(x, y) == (inside ? src(sx, sy) : background), "translate shifts whole pixels");
    }
  zeb::rotate(static_cast<zeb::Mat<unsigned char>&>(to), static_cast<zeb::Mat<unsigned char>&>(from), a, background);
  zeb::shear(to, from, a, b, background);
  zeb::stretch(to, from, a, background);
  zeb::transform(static_cast<zeb::Mat<unsigned char>&>(to), static_cast<zeb::Mat<unsigned char>&>(from), a, b, c, d,
                 background);
  zeb::transform(to, from, a, b, zeb::Point_<zeb::um>{c, d}, background);
  const float factor = input.real(0, 1);
  const auto smaller = zeb::downsampling(from, factor);
  check(smaller.width <= layout.width && smaller.height <= layout.height, "downsampling does not enlarge");
}

void resampling(Input& input) {
  const Layout layout = packed_layout(input);
  const int w = layout.width, s = layout.stride, h = layout.height;
  Plane src = input.picture(layout);
  const Plane before(src), blank(layout);
  Plane dst(blank);
  std::vector<float> map_x(static_cast<std::size_t>(w)), map_y(static_cast<std::size_t>(h + 3));
  const bool identity = input.flag();
  for (int x = 0; x < w; ++x) map_x[static_cast<std::size_t>(x)] = identity ? static_cast<float>(x) : parameter(input);
  for (float& y : map_y) y = identity ? 0 : parameter(input);
  const float background = input.flag() ? static_cast<float>(input.byte()) : input.any_real();
  zeb::map_data(dst.data(), src.data(), w, s, h, map_x.data(), map_y.data(), 0, w - 1, 0, h - 1, background);
  check(same_padding(dst, blank), "map_data keeps the padding");
  for (int y = 0; y + 1 < h && identity; ++y)
    for (int x = 0; x + 1 < w; ++x) check(dst(x, y) == src(x, y), "identical tables copy");

  const int factor = input.integer(-1, 25);
  int out_w = -1, out_h = -1, out_s = -1;
  const int may_w = factor > 0 ? w / factor : 0, may_h = factor > 0 ? h / factor : 0;
  const int may_s = (may_w + 3) & ~3;
  Plane reduced(Layout{may_w, may_s, may_h, 0});
  const Plane untouched(reduced);
  Plane roomy = src.with_room(static_cast<std::size_t>(s + 1));
  zeb::reduce_resolution(reduced.data(), roomy.data(), &out_w, &out_h, &out_s, w, h, s, factor);
  check(same_padding(reduced, untouched), "reduce_resolution keeps the padding");
  if (factor > 0 && out_w >= 0) {
    check(out_w == may_w && out_h == may_h && out_s == may_s, "the reduced size is the quotient");
    for (int y = 0; y < out_h; ++y)
      for (int x = 0; x < out_w; ++x)
        check(reduced(x, y) >= src(x * factor + w % factor / 2, y * factor + h % factor / 2),
              "a maximum covers its centre");
  }

  if (w > 0 && h > 0) {
    Plane second = input.picture(layout);
    Plane trace(blank.with_room(1));
    check(!std::isnan(
              zeb::fMatchAngleFromPolar(src.data(), second.data(), w, h, s, input.flag() ? trace.data() : nullptr)),
          "an angle is a number");
  }
  check(same_bytes(src, before), "resampling only reads");
}

void points(Input& input) {
  const int n = input.integer(0, 40);
  const auto size = static_cast<std::size_t>(n);
  std::vector<float> x1(size), y1(size), x2(size), y2(size), weight(size), weight_x(size), weight_y(size);
  const bool wild = input.flag();
  for (auto* values : {&x1, &y1, &x2, &y2, &weight, &weight_x, &weight_y})
    for (float& value : *values) value = wild ? input.any_real() : input.real(-500, 500);
  auto a1 = x1, b1 = y1, a2 = x2, b2 = y2;
  float r[8];
  zeb::calc_param(a1.data(), b1.data(), a2.data(), b2.data(), n, r, r + 1, r + 2, r + 3, r + 4, r + 5, r + 6, r + 7);
  if (!wild && n > 0) check(std::isnan(r[4]) || std::abs(r[4]) < 1.5708f, "the angle lies in a half turn");
  zeb::calc_param_weight(x1.data(), y1.data(), x2.data(), y2.data(), weight.data(), weight_x.data(), weight_y.data(), n,
                         r, r + 1, r + 2, r + 3, r + 4, r + 5, r + 6, r + 7);
}

/// Costs much more than the others, so it is seldom drawn.
void search(Input& input) {
  const Layout layout = input.layout(40);
  Plane first = input.picture(layout), second = input.picture(layout);
  float angle = -1, scale = -1;
  zeb::vFindRotationAngle(&angle, &scale, first.data(), second.data(), layout.width, layout.height, layout.stride);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  Input input(bytes, size);
  switch (input.integer(0, 15)) {
    case 0:
      search(input);
      break;
    case 1:
    case 2:
      points(input);
      break;
    case 3:
    case 4:
    case 5:
    case 6:
      resampling(input);
      break;
    case 7:
    case 8:
    case 9:
    case 10:
      shifts(input);
      break;
    default:
      warps(input);
      break;
  }
  return 0;
}
