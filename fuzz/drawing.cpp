// Drawing: clips everywhere, fills are idempotent and equal a fill by definition, choices agree with their mask.

#include "zeb/drawing.h"

#include <cmath>
#include <vector>

#include "input.h"

namespace {

using zeb::fuzz::check;
using zeb::fuzz::Input;
using zeb::fuzz::Layout;
using zeb::fuzz::Plane;

/// Mostly around the image, at times anywhere.
int place(Input& input) {
  return input.integer(0, 9) == 0 ? input.integer(-2000000, 2000000) : input.integer(-60, 260);
}

void primitives(Input& input) {
  Layout layout = input.layout(120);
  // Lines and rectangles clip at the stride: padding belongs to what they draw on.
  Plane plane = input.picture(layout).with_room(1), lined(plane), filled(plane);
  const Plane before(plane);
  const unsigned char value = input.byte();
  const int x1 = place(input), y1 = place(input), x2 = place(input), y2 = place(input);
  const int w = layout.width, s = layout.stride, h = layout.height;
  if (std::abs(x1 - x2) + std::abs(y1 - y2) < 20000) {
    vLine(lined.data(), x1, y1, x2, y2, s, h, value, input.integer(-1, 12));
    for (int y = 0; y < h; ++y)
      for (int x = 0; x < s; ++x) check(lined(x, y) == before(x, y) || lined(x, y) == value, "a line has one value");
    vDrawRect(lined.data(), h, s, x1, y1, x2 - x1, y2 - y1, input.real(-3, 12), value);
  }
  vFillRect(filled.data(), x1, y1, x2, y2, s, h, value);
  const auto in = [](int v, int limit) { return 0 <= v && v < limit; };
  const int left = in(x1, s) ? x1 : 0, right = in(x2, s) ? x2 : s, top = in(y1, h) ? y1 : 0,
            bottom = in(y2, h) ? y2 : h;
  if (left <= right && top <= bottom)
    for (int y = 0; y < h; ++y)
      for (int x = 0; x < s; ++x) {
        const bool inside = left <= x && x < right && top <= y && y < bottom;
        check(filled(x, y) == (inside ? value : before(x, y)), "a filled rectangle is filled");
      }

  Plane ring(plane), back(plane);
  const float radius = input.flag() ? input.any_real() : input.real(-5, 150),
              thickness = input.flag() ? input.any_real() : input.real(-5, 30);
  const int mode = input.integer(-1, 3);
  vDrawCircle(ring.data(), w, h, s, x1, y1, radius, thickness, value, mode);
  check(same_padding(ring, before), "a ring clips at the width");
  if (mode < 0 || mode > 2) check(same_bytes(ring, before), "an unknown mode draws nothing");
  vDrawCircle(back.data(), w, h, s, x1, y1, radius, thickness, value, 1);
  vDrawCircle(back.data(), w, h, s, x1, y1, radius, thickness, value, 2);
  check(same_bytes(back, before), "adding takes subtracting back");

  auto view = plane.bitmap();
  const zeb::Rect__<zeb::Point_<zeb::um>> rect({input.real(-300, 300), input.real(-300, 300)},
                                               {input.real(-300, 300), input.real(-300, 300)});
  zeb::draw_rect(view, rect, input.real(0, 5), value);
  zeb::draw_rect(view, zeb::Rect__<zeb::Point_<int>>({x1, y1}, {std::min(x2, x1 + 500), std::min(y2, y1 + 500)}), 1,
                 value);
}

void flood(Input& input) {
  const Layout layout = input.layout(120);
  if (layout.width < 1 || layout.height < 1) return;
  const Plane src = input.picture(layout);
  Plane plane(src);
  const int x = input.integer(0, layout.width - 1), y = input.integer(0, layout.height - 1);
  const unsigned char value = input.byte(), old = src(x, y);
  const auto w = static_cast<unsigned>(layout.width), s = static_cast<unsigned>(layout.stride),
             h = static_cast<unsigned>(layout.height);
  flood_fill(plane.data(), w, h, s, static_cast<unsigned>(x), static_cast<unsigned>(y), value);
  check(same_padding(plane, src), "a flood keeps the padding");
  Plane expected(src);
  std::vector<std::pair<int, int>> open{{x, y}};
  while (!open.empty() && old != value) {
    const auto [px, py] = open.back();
    open.pop_back();
    if (!expected.contains(px, py) || expected(px, py) != old) continue;
    expected(px, py) = value;
    for (const auto& next :
         {std::pair(px + 1, py), std::pair(px - 1, py), std::pair(px, py + 1), std::pair(px, py - 1)})
      open.push_back(next);
  }
  check(same_pixels(plane, expected), "a flood fills what is connected over sides");
  Plane again(plane);
  flood_fill(again.data(), w, h, s, static_cast<unsigned>(x), static_cast<unsigned>(y), value);
  check(same_bytes(again, plane), "a flood is idempotent");
}

void growth(Input& input) {
  const Layout layout = input.layout();
  const Plane src = input.picture(layout), seeds = input.picture(layout, true);
  Plane mask(seeds);
  const unsigned char tolerance = input.byte();
  vFillContMsk(src.data(), mask.data(), layout.width, layout.stride, layout.height, tolerance);
  check(same_padding(mask, seeds), "vFillContMsk keeps the padding");
  Plane again(mask);
  vFillContMsk(src.data(), again.data(), layout.width, layout.stride, layout.height, tolerance);
  check(same_bytes(again, mask), "a grown mask grows no more");
  for (int y = 0; y < layout.height; ++y)
    for (int x = 0; x < layout.width; ++x) {
      check(mask(x, y) == seeds(x, y) || (seeds(x, y) == 0 && mask(x, y) == 255), "a mask only grows");
      if (x == 0 || y == 0 || x == layout.width - 1 || y == layout.height - 1)
        check(mask(x, y) == seeds(x, y), "the outermost pixels are never set");
    }
}

void regions(Input& input) {
  const Layout layout = input.layout(100);
  Plane src = input.picture(layout, input.integer(0, 3) != 0).with_room(1);
  const Plane before(src);
  Plane dst(src), in_place(src), unspoken(src);
  const int w = layout.width, s = layout.stride, h = layout.height, close = input.integer(0, 1);
  unsigned cancel = input.integer(0, 7) == 0 ? 1 : 0;
  FloodFill(dst.data(), src.data(), w, h, s, close, &cancel);
  FloodFill(in_place.data(), in_place.data(), w, h, s, close, &cancel);
  check(same_bytes(dst, in_place), "FloodFill works in place");
  check(same_bytes(src, before), "FloodFill only reads its source");
  FloodFill(unspoken.data(), src.data(), w, h, s, &cancel);
  if (close == 1) check(same_bytes(unspoken, dst), "close is 1 unless told otherwise");
  for (int y = 0; y < h && w > 0; ++y)
    for (int x = 0; x < s; ++x) check(dst(x, y) == 0 || (x < w && dst(x, y) == 255), "FloodFill paints 0 and 255");
}

void choices(Input& input) {
  const Layout layout = input.layout();
  const int w = layout.width, s = layout.stride, h = layout.height;
  const Plane first = input.picture(layout), second = input.picture(layout), mask = input.picture(layout);
  const unsigned char a = input.byte(), b = input.byte();
  const Plane blank(layout);
  Plane images(blank), left(blank), right(blank), constants(blank), in_place(mask);
  vBMInterleave(images.data(), first.data(), second.data(), mask.data(), w, s, h);
  vBMInterleave(right.data(), first.data(), b, mask.data(), w, s, h);
  vBMInterleave(left.data(), a, second.data(), mask.data(), w, s, h);
  vBMInterleave(constants.data(), a, b, mask.data(), w, s, h);
  vBMInterleave(in_place.data(), first.data(), second.data(), in_place.data(), w, s, h);
  check(same_pixels(in_place, images), "the mask may be the destination");
  for (const Plane* plane : {&images, &left, &right, &constants})
    check(same_padding(*plane, blank), "vBMInterleave keeps the padding");
  for (int y = 0; y < h; ++y)
    for (int x = 0; x < w; ++x) {
      const bool set = mask(x, y) != 0;
      check(images(x, y) == (set ? second(x, y) : first(x, y)), "the mask chooses between images");
      check(right(x, y) == (set ? b : first(x, y)) && left(x, y) == (set ? second(x, y) : a), "and constants");
      check(constants(x, y) == (set ? b : a), "and between constants");
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  Input input(bytes, size);
  switch (input.integer(0, 4)) {
    case 0:
      primitives(input);
      break;
    case 1:
      flood(input);
      break;
    case 2:
      growth(input);
      break;
    case 3:
      regions(input);
      break;
    default:
      choices(input);
      break;
  }
  return 0;
}
