// Neighbourhood filters: packed against scalar forms by the documented roundings, constant images, involutions,
// padding and borders that stay.

#include "zeb/filters.h"

#include <cmath>
#include <numeric>
#include <vector>

#include "input.h"

namespace {

using namespace zeb;
using zeb::fuzz::check;
using zeb::fuzz::Input;
using zeb::fuzz::Layout;
using zeb::fuzz::Plane;

int clamp_byte(int value) { return std::clamp(value, 0, 255); }

void boxes(Input& input) {
  const Layout layout = input.layout();
  const int w = layout.width, s = layout.stride, h = layout.height;
  const Plane src = input.picture(layout), mask = input.picture(layout, true);
  const bool masked = input.flag();
  const unsigned char* m = masked ? mask.data() : nullptr;
  const int fw = input.integer(-1, 210), fh = input.integer(-1, 210), offset = input.integer(-300, 300);
  const Plane blank(layout);
  Plane scalar(blank), packed(blank), scalar_high(blank), packed_high(blank);
  // Narrow images need the room of four columns in the last row, too.
  if (w < 4) {
    Plane src_room = src.with_room(4), mask_room = mask.with_room(4), dst = blank.with_room(4);
    const unsigned char* mr = masked ? mask_room.data() : nullptr;
    vMMBM_LPFilter(dst.data(), src_room.data(), mr, w, s, h, fw, fh);
    vMMBM_HPFilter(dst.data(), src_room.data(), mr, w, s, h, fw, fh, offset);
    vBM_LPFilter(scalar.data(), src.data(), m, w, s, h, fw, fh);
    vBM_HPFilter(scalar.data(), src.data(), m, w, s, h, fw, fh, offset);
    check(same_padding(scalar, blank), "scalar box filters keep the padding");
    return;
  }
  vBM_LPFilter(scalar.data(), src.data(), m, w, s, h, fw, fh);
  vMMBM_LPFilter(packed.data(), src.data(), m, w, s, h, fw, fh);
  vBM_HPFilter(scalar_high.data(), src.data(), m, w, s, h, fw, fh, offset);
  vMMBM_HPFilter(packed_high.data(), src.data(), m, w, s, h, fw, fh, offset);
  check(same_padding(scalar, blank) && same_padding(scalar_high, blank), "scalar box filters keep the padding");
  check(same_padding(packed, blank) && same_padding(packed_high, blank), "packed box filters keep the padding");
  if (w * h <= 1) return;

  const int cw = std::clamp(fw, 1, w), ch = std::clamp(fh, 1, h);
  const int first = ((cw + 1) / 2 + 3) & ~3, end = (w - (cw + 1) / 2) & ~3;
  const int c = masked ? offset : 128;
  for (int y = 0; y < h; ++y)
    for (int x = 0; x < w; ++x) {
      const bool rounded = first <= x && x < end;
      if (!rounded && masked) continue;  // not written where nothing takes part
      const int difference = packed(x, y) - scalar(x, y);
      if (cw * ch < 65000)
        check(rounded ? (difference == 0 || difference == 1) : difference == 0,
              "a packed mean is the scalar one, or that rounded up between the ends");
      if (!masked)
        check(scalar_high(x, y) == clamp_byte(src(x, y) - scalar(x, y) + c), "high-pass is what low-pass takes");
    }

  Plane grown(blank), grown_packed(blank), source(src);
  std::vector<unsigned char> table(256);
  std::iota(table.begin(), table.end(), static_cast<unsigned char>(0));
  vBM_LPIncrease(grown.data(), source.data(), table.data(), w, s, h, fw, fh, 1, 1);
  vMMBM_LPIncrease(grown_packed.data(), source.data(), input.flag() ? table.data() : nullptr, w, s, h, fw, fh,
                   input.any_real(), static_cast<short>(input.integer(-200, 200)));
  vBM_LPFilter(scalar.data(), src.data(), nullptr, w, s, h, fw, fh);
  check(same_bytes(grown, scalar), "a table of the grey values themselves leaves the low-pass");
  check(same_padding(grown_packed, blank) && same_bytes(source, src), "vMMBM_LPIncrease keeps padding and source");
}

void gradients(Input& input) {
  const Layout layout = input.layout();
  const int w = layout.width, s = layout.stride, h = layout.height;
  Plane src = input.picture(layout);
  const Plane before(src), blank(layout);
  Plane dst(blank), other(blank);
  FastSobel(dst.data(), src.data(), w, s, h);
  check(same_padding(dst, blank), "FastSobel keeps the padding");
  FastSobel(other.data(), src.data(), w, s, s, h);
  check(same_bytes(dst, other), "both forms of FastSobel agree");
  for (int y = 0; y < h && w > 0; ++y)
    check(dst(0, y) == 0 && dst(w - 1, y) == 0 && (y > 0 || dst(w / 2, 0) == 0), "FastSobel blackens the border");
  Plane in_place(src);
  FastSobel(in_place.data(), in_place.data(), w, s, h);
  if (w >= 8) check(same_pixels(in_place, dst), "FastSobel works in place");

  Plane gx(blank), gy(blank);
  FastGradient(gx.data(), gy.data(), src.data(), w, s, h);
  check(same_padding(gx, blank) && same_padding(gy, blank), "FastGradient keeps the padding");
  Plane gx_in_place(src), gy2(blank);
  FastGradient(gx_in_place.data(), gy2.data(), gx_in_place.data(), w, s, h);
  if (w >= 8) check(same_pixels(gx_in_place, gx) && same_pixels(gy2, gy), "FastGradient works in place");
  // In packed columns both come from the same sums: length / 4 and components / 8.
  for (int y = 1; y + 1 < h; ++y)
    for (int x = 1; x < ((w - 4) & ~3) && w >= 8; ++x) {
      const double half = std::hypot(gx(x, y) - 128, gy(x, y) - 128) * 2;
      if (gx(x, y) > 0 && gx(x, y) < 255 && gy(x, y) > 0 && gy(x, y) < 255)
        check(std::abs(std::min(half, 255.0) - dst(x, y)) <= 2.1, "the length is that of the components");
    }

  Plane edges(blank);
  const int mode = input.integer(0, 2);
  const auto threshold = static_cast<short>(input.integer(-5, 600));
  Kantenfilter(edges.data(), src.data(), w, s, h, mode, threshold);
  check(same_padding(edges, blank) && same_bytes(src, before), "Kantenfilter keeps padding and source");
  for (int y = 0; y < h; ++y)
    for (int x = 0; x < w; ++x) {
      check(edges(x, y) == 0 || edges(x, y) == 255, "Kantenfilter marks by 255");
      if (x == 0 || y == 0 || x == w - 1 || y == h - 1) check(edges(x, y) == 0 || mode == 0, "no edges on the border");
      if (mode == 0 && threshold > 0 && x > 0 && y > 0 && x + 1 < w && y + 1 < h) {
        const int dx = src(x + 1, y) - src(x - 1, y), dy = src(x, y + 1) - src(x, y - 1);
        check((edges(x, y) == 255) == (dx * dx + dy * dy > threshold * threshold), "edges exceed the level");
      }
    }
  Plane kanten_in_place(src);
  Kantenfilter(kanten_in_place.data(), kanten_in_place.data(), w, s, h, mode, threshold);
  check(same_pixels(kanten_in_place, edges), "Kantenfilter works in place");
}

void events(Input& input) {
  const Layout layout = input.layout();
  const int w = layout.width, s = layout.stride, h = layout.height;
  Plane src = input.picture(layout).with_room(1);
  const Plane blank = Plane(layout).with_room(1);
  Plane scalar(blank), packed(blank);
  const int radius = input.flag() ? input.integer(-1, 6) : input.integer(0, 70);
  const int min_count = input.integer(-2, 300), square = input.integer(0, 1);
  const unsigned char level = input.byte();
  if (radius <= 12 || w * h < 2000) {
    vEventRemover(scalar.data(), src.data(), w, s, h, radius, level, min_count, square);
    vMMEventRemover(packed.data(), src.data(), w, s, h, radius, level, min_count, square);
    if (radius > 0 && min_count >= 0 && min_count <= 127)
      check(same_bytes(scalar, packed), "vMMEventRemover equals vEventRemover");
    for (int y = 0; y < h; ++y)
      for (int x = 0; x < w && radius >= 0; ++x)
        check(scalar(x, y) == 0 || (scalar(x, y) == 255 && src(x, y) > level), "only bright pixels are kept");
    Plane marked(blank);
    vDiscriminator(marked.data(), src.data(), w, s, h, radius, input.any_real(), square);
    check(same_padding(marked, blank), "vDiscriminator keeps the padding");
    vCovariance(marked.data(), src.data(), w, h, s, std::min(radius, 8), input.any_real());
    check(same_padding(marked, blank), "vCovariance keeps the padding");
  } else {
    vMMEventRemover(packed.data(), src.data(), w, s, h, std::min(radius, 63), level, min_count, square);
    if (radius > 0)
      for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x) check(packed(x, y) == 0 || src(x, y) > level, "only bright pixels are kept");
  }
}

void grey_levels(Input& input) {
  const Layout layout = input.layout();
  const int w = layout.width, s = layout.stride, h = layout.height;
  Plane src = input.picture(layout);
  const Plane before(src), blank(layout);
  Plane dst(blank);
  vHistEqual(dst.data(), src.data(), w, s, h);
  check(same_padding(dst, blank), "vHistEqual keeps the padding");
  int map[256];
  std::fill(map, map + 256, -1);
  for (int y = 0; y < h; ++y)
    for (int x = 0; x < w; ++x) {
      int& to = map[src(x, y)];
      check(to < 0 || to == dst(x, y), "vHistEqual maps grey values");
      to = dst(x, y);
    }
  for (int g = 0, last = 0; g < 256; ++g)
    if (map[g] >= 0) {
      check(map[g] >= last, "vHistEqual keeps the order of grey values");
      last = map[g];
    }
  check(map[0] <= 0, "black stays black");

  // Eight columns are written at a time, up to behind the width.
  Plane roomy = src.with_room(16), filtered = blank.with_room(16);
  const float f1 = input.real(0, 1), f2 = input.real(0, 1);
  vGaussFilter(filtered.data(), roomy.data(), w, s, h, f1, f2, input.integer(-2, 30), input.integer(-2, 30),
               input.real(-2, 2), input.integer(0, 1));
  vGreyFilter(filtered.data(), roomy.data(), w, s, h);

  const int cw = input.integer(-1, 40), ch = input.integer(-1, 40);
  Plane small(blank), large(blank), again(blank);
  vCoarseGrain(small.data(), src.data(), w, h, s, cw, ch, 0);
  check(same_padding(small, blank), "vCoarseGrain keeps the padding");
  vFineGrain(large.data(), small.data(), w, h, s, cw, ch);
  check(same_padding(large, blank), "vFineGrain keeps the padding");
  vCoarseGrain(again.data(), large.data(), w, h, s, cw, ch, 0);
  if (cw > 0 && ch > 0)
    for (int y = 0; y < h / ch; ++y)
      for (int x = 0; x < w / cw; ++x) check(again(x, y) == small(x, y), "vCoarseGrain takes vFineGrain back");
  vCoarseGrain(small.data(), src.data(), w, h, s, cw, ch, input.integer(-1, 3));

  Plane lined(blank);
  const float lower = input.real(0, 1), upper = input.real(0, 1);
  const unsigned char low = input.byte(), high = input.byte();
  vLineRowFilter(lined.data(), src.data(), low, high, lower, upper, input.integer(0, 1), w, s, h, input.integer(-1, 9));
  check(same_padding(lined, blank), "vLineRowFilter keeps the padding");
  // Quantiles below that may be reached in an empty bin, where gains are no numbers.
  const bool gains_are_finite = upper > 0.0011f || (lower > 0.0011f && lower < 0.998f);
  for (int y = 0; y < h && gains_are_finite; ++y)
    for (int x = 0; x < w; ++x)
      if (src(x, y) < low || src(x, y) > high) check(lined(x, y) == 0, "pixels outside the range become 0");
  check(same_bytes(src, before), "filters only read their source");

  const float surface_value = input.any_real();
  AdaNorm(
      lined.data(), src.data(), {}, input.any_real(), 0,
      [&](const std::vector<float>&, float x, float y) { return surface_value + x + y; }, w, s, h, 0,
      input.integer(-100, 100), 0, 50, input.byte());
  check(same_padding(lined, blank), "AdaNorm keeps the padding");

  unsigned char table[256] = {};
  iInitVideoNormLookUpTP(table, input.any_real(), static_cast<short>(input.integer(-32768, 32767)));
}

void kernels(Input& input) {
  const Layout layout = input.layout(70);
  const int w = layout.width, s = layout.stride, h = layout.height;
  Plane src = input.picture(layout);
  const Plane blank(layout);

  Plane transposed(Layout{h, h + input.integer(0, 5), w, 0}), back(blank);
  std::memset(transposed.data(), 0, transposed.layout().pixels_end());
  TransposeBM(transposed.data(), src.data(), transposed.stride(), w, w, s, h);
  TransposeBM(back.data(), transposed.data(), s, h, h, transposed.stride(), w);
  check(same_bytes(back, blank) || same_pixels(back, src), "a transposition is its own inverse");
  if (w > 0 && h > 0) check(same_pixels(back, src) && same_padding(back, blank), "a transposition is its own inverse");

  const int hw = input.integer(-1, 6), hh = input.integer(-1, 6);
  const bool unit = input.flag();
  std::vector<float> weights(static_cast<std::size_t>(std::max(0, (2 * hw + 1) * (2 * hh + 1))));
  for (float& weight : weights) weight = unit ? 1.0f : input.real(-4, 8);
  Plane dst(blank);
  const float f1 = input.real(0, 1), f2 = input.real(0, 1);
  const int mode = input.integer(0, 1);
  const int done = iGenBMFilter(dst.data(), src.data(), w, s, h, weights.data(), hw, 2 * hw + 1, hh, f1, f2, mode);
  check(same_padding(dst, blank), "iGenBMFilter keeps the padding");
  if (done == 0) check(same_bytes(dst, blank), "iGenBMFilter writes nothing where it gives up");
  for (int y = 0; y < h; ++y)
    for (int x = 0; x < w; ++x)
      if (done != 0 && (x < hw || y < hh || x >= w - hw || y >= h - hh))
        check(dst(x, y) == blank(x, y), "iGenBMFilter leaves the border");

  if (w < 1 || h < 1) return;
  const int rows = input.integer(1, std::min(h, 9)), cols = input.integer(1, std::min(w, 9));
  zeb::Matrix<int> kernel(rows, cols);
  for (int i = 0; i < rows * cols; ++i) kernel.data[i] = input.integer(-3, 1);
  const Plane roomy = src.with_room(15);
  Plane source(roomy);
  const auto result = zeb::convolution(source.bitmap(), kernel);
  check(result.width == w - cols + 1 && result.height == h - rows + 1, "the result is where the kernel fits");
  for (int y = 0; y < result.height; ++y)
    for (int x = 0; x < result.width; ++x) {
      int sum = 0;
      for (int ky = 0; ky < rows; ++ky)
        for (int kx = 0; kx < cols; ++kx) sum += kernel.data[ky * cols + kx] * src(x + kx, y + ky);
      check(result.at(y, x) == sum, "coefficients up to 1 give the correlation");
    }
  const unsigned char border = input.byte();
  const auto framed = zeb::convolution(source.bitmap(), kernel, border);
  check(framed.width == w && framed.stride == s && framed.height == h, "the framed result is laid out like the source");
  for (int y = rows / 2; y < h - rows / 2; ++y)
    for (int x = cols / 2; x < w - cols / 2; ++x)
      check(framed.at(y, x) == result.at(y - rows / 2, x - cols / 2), "both convolutions agree inside the border");
  for (int i = 0; i < rows * cols; ++i) kernel.data[i] = static_cast<int>(input.byte()) * 7919 - 60000;
  zeb::convolution(source.bitmap(), kernel);
  check(same_bytes(source, roomy), "convolution only reads");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  Input input(bytes, size);
  switch (input.integer(0, 4)) {
    case 0:
      boxes(input);
      break;
    case 1:
      gradients(input);
      break;
    case 2:
      events(input);
      break;
    case 3:
      grey_levels(input);
      break;
    default:
      kernels(input);
      break;
  }
  return 0;
}
