// The morphology kernels against each other: all compute the same erosions and dilations, but for what their
// docstrings set apart (equality with the threshold, padding, radius 0, narrow images).

#include "zeb/morphology.h"

#include <cmath>

#include "input.h"

namespace {

using zeb::fuzz::check;
using zeb::fuzz::Input;
using zeb::fuzz::Plane;

/// Whether rounding in single precision could decide about an offset of the ellipse.
bool is_borderline(int radius_x, int radius_y) {
  for (int dy = 0; dy <= radius_y; ++dy)
    for (int dx = 0; dx <= radius_x; ++dx) {
      const double u = static_cast<double>(dx) / radius_x, v = static_cast<double>(dy) / radius_y;
      if (std::abs(u * u + v * v - 1.0001) < 1e-5) return true;
    }
  return false;
}

void check_padding(const Plane& plane, unsigned char value, const char* relation) {
  for (int y = 0; y < plane.height(); ++y)
    for (int x = plane.width(); x < plane.stride() && (y + 1 < plane.height()); ++x)
      check(plane(x, y) == value, relation);
}

void circles_and_squares(Input& input) {
  const auto layout = input.layout();
  const int radius = input.flag() ? input.integer(0, 8) : input.integer(0, 80);
  const int operation = input.integer(0, 1), rectangular = input.integer(0, 1);
  const unsigned char threshold = input.byte();
  const Plane src = input.picture(layout);
  const int w = src.width(), s = src.stride(), h = src.height();
  // The kernels that fill the padding do so in the last row, too.
  const Plane blank = Plane(layout).with_room(1);

  Plane direct(layout), thin(blank);
  const Plane untouched(direct);
  if (radius <= 12) {
    vMorphOp(direct.data(), src.data(), w, s, h, radius, operation, threshold, rectangular);
    check(same_padding(direct, untouched), "vMorphOp keeps the padding");
  }
  vMorphOpThin(thin.data(), src.data(), w, s, h, radius, operation, threshold, rectangular);
  if (radius <= 12) check(same_pixels(direct, thin), "vMorphOpThin equals vMorphOp");
  if (w > 0 && h > 0) check_padding(thin, operation != 0 ? 255 : 0, "vMorphOpThin fills the padding");

  // The other kernels take a pixel equal to the threshold for background in an erosion.
  if (operation != 0 && threshold == 255) return;
  const auto lower_threshold = static_cast<unsigned char>(threshold - 1);
  if (operation != 0 && threshold == 0) return;
  const unsigned char other = operation != 0 ? lower_threshold : threshold;

  if (radius > 0 && w > 2 * radius) {
    Plane recursive(blank);
    vMMRecursiveMorphOp(recursive.data(), src.data(), w, s, h, radius, operation, other, rectangular);
    check(same_pixels(recursive, thin), "vMMRecursiveMorphOp equals vMorphOpThin");
    if (h > 0) check_padding(recursive, 0, "vMMRecursiveMorphOp clears the padding");
  }
  if (rectangular == 0) {
    Plane distance(layout);
    vMMMorphOpDist(distance.data(), src.data(), w, s, h, radius, operation, other);
    check(same_pixels(distance, thin), "vMMMorphOpDist equals vMorphOpThin");
    check(same_padding(distance, untouched), "vMMMorphOpDist keeps the padding");
  }
}

void ellipses(Input& input) {
  const auto layout = input.layout();
  const int radius_x = input.integer(0, 70), radius_y = input.integer(0, 70);
  const int offset_x = input.integer(-80, 80), offset_y = input.integer(-80, 80);
  const int operation = input.integer(0, 1), rectangular = input.integer(0, 1);
  const auto threshold = static_cast<unsigned char>(input.integer(1, 254));
  const Plane src = input.picture(layout).with_room(2 * 70 + 1);
  const int w = src.width(), s = src.stride(), h = src.height();
  const Plane blank = Plane(layout).with_room(2 * 70 + 1);

  Plane recursive(blank), thin(blank);
  const auto other = static_cast<unsigned char>(operation != 0 ? threshold - 1 : threshold);
  vMMRecursiveEllipticMorphOp(recursive.data(), src.data(), w, s, h, radius_x, radius_y, offset_x, offset_y, operation,
                              other, rectangular);
  vMorphOpThinEllipse(thin.data(), src.data(), w, s, h, radius_x, radius_y, radius_x < 64 ? 0 : offset_x, offset_y,
                      operation, threshold, rectangular);
  const bool hands_over = radius_x >= 64 || (radius_x == radius_y && radius_x < 63 && offset_y == 0);
  const bool exact = rectangular != 0 || (radius_x > 0 && radius_y > 0 && !is_borderline(radius_x, radius_y));
  if (!hands_over && exact && w > 2 * radius_x && radius_y <= 63 && (radius_x > 0 || radius_y > 0))
    check(same_pixels(recursive, thin), "vMMRecursiveEllipticMorphOp equals vMorphOpThinEllipse");
}

void sequences(Input& input) {
  const auto layout = input.layout(70);
  const int radius = input.integer(0, 20);
  const bool rectangular = input.flag();
  const auto mode = static_cast<zeb::MorphOpMode>(input.integer(-1, 4));
  const auto threshold = static_cast<unsigned char>(input.integer(1, 254));
  Plane src = input.picture(layout).with_room(64);
  const Plane blank = Plane(layout).with_room(64);
  Plane once(blank), twice(blank), closed(blank), eroded(blank), dilated(blank);
  auto from = src.mat(), to = once.mat(), again = twice.mat();
  zeb::opening(to, from, radius, threshold, mode, rectangular);
  if (mode == zeb::MorphOpMode::morph_distance && rectangular) {
    check(same_bytes(once, blank), "morph_distance with a square writes nothing");
    return;
  }
  if (radius == 0 || src.width() <= 2 * radius) return;
  zeb::opening(again, to, radius, threshold, mode, rectangular);
  check(same_pixels(once, twice), "an opening is idempotent");

  auto closed_view = closed.mat();
  zeb::closing(closed_view, from, radius, threshold, mode, rectangular);
  if (rectangular) check(same_pixels(closed, once), "closing with a square is the opening");
  zeb::closing(again, closed_view, radius, threshold, mode, rectangular);
  check(same_pixels(closed, twice), "a closing is idempotent");

  auto eroded_view = eroded.mat(), dilated_view = dilated.mat();
  zeb::erode(eroded_view, from, radius, threshold, mode, rectangular);
  zeb::dilate(dilated_view, from, radius, threshold, mode, rectangular);
  for (int y = 0; y < src.height(); ++y)
    for (int x = 0; x < src.width(); ++x) {
      const int p = src(x, y);
      check(eroded(x, y) == 0 || eroded(x, y) == 255, "an erosion gives 0 and 255");
      check(dilated(x, y) == 0 || dilated(x, y) == 255, "a dilation gives 0 and 255");
      if (p < threshold) check(eroded(x, y) == 0, "an erosion takes background away");
      if (p > threshold) check(dilated(x, y) == 255, "a dilation keeps foreground");
      if (p < threshold) check(once(x, y) == 0, "an opening lies inside the foreground");
      if (p > threshold && !rectangular) check(closed(x, y) == 255, "a closing covers the foreground");
    }
}

/// Narrow images take their pixels from outside the columns and write there; within the stated room.
void narrow(Input& input) {
  auto layout = input.layout(40);
  const int radius = input.integer(0, 70), operation = input.integer(0, 1), rectangular = input.integer(0, 1);
  const int radius_y = input.integer(0, 70), offset_y = input.integer(-80, 80);
  const unsigned char threshold = input.byte();
  const auto room = static_cast<std::size_t>(std::max(1, 2 * radius + 1 - layout.stride));
  const Plane src = input.picture(layout).with_room(room);
  Plane dst = Plane(layout).with_room(room), again(dst);
  vMMRecursiveMorphOp(dst.data(), src.data(), layout.width, layout.stride, layout.height, radius, operation, threshold,
                      rectangular);
  vMMRecursiveMorphOp(again.data(), src.data(), layout.width, layout.stride, layout.height, radius, operation,
                      threshold, rectangular);
  check(same_bytes(dst, again), "the same input gives the same bytes");
  vMMRecursiveEllipticMorphOp(dst.data(), src.data(), layout.width, layout.stride, layout.height, radius, radius_y, 0,
                              offset_y, operation, threshold, rectangular);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  Input input(bytes, size);
  switch (input.integer(0, 3)) {
    case 0:
      circles_and_squares(input);
      break;
    case 1:
      ellipses(input);
      break;
    case 2:
      sequences(input);
      break;
    default:
      narrow(input);
      break;
  }
  return 0;
}
