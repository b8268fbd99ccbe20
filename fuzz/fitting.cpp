// Borders, boxes, masks, points and random fits: agreement of the integer and the point forms and of the definitions by
// pixel, and the fits' determinism.

#include "zeb/fitting.h"

#include <cmath>
#include <vector>

#include "input.h"

namespace {

using zeb::Image_Side;
using zeb::fuzz::check;
using zeb::fuzz::Input;
using zeb::fuzz::Layout;
using zeb::fuzz::Plane;

void borders(Input& input) {
  Plane src = input.picture(input.layout());
  const Plane before(src);
  const auto view = src.mat();
  const auto side = static_cast<Image_Side>(input.integer(-1, 4));
  const bool columns = side == Image_Side::Top || side == Image_Side::Bottom;
  const bool known = side >= Image_Side::Top && side <= Image_Side::Left;
  const int lines = !known ? 0 : columns ? src.width() : src.height();
  const int steps = columns ? src.height() : src.width();
  const auto mode = static_cast<zeb::ThresholdMode>(input.integer(-1, 2));
  const unsigned char lower = input.byte(), upper = input.byte();
  const float step_lower = input.real(-300, 300), step_upper = input.real(-300, 300);
  const bool from_zero = input.flag();

  const auto maximum = zeb::border_by_maximum(view, side), minimum = zeb::border_by_minimum(view, side);
  const auto threshold = zeb::border_by_threshold(view, side, lower, upper, mode);
  const auto gradient = zeb::border_by_gradient(view, side, from_zero, step_lower, step_upper, mode);
  const auto maximum_px = zeb::borderpx_by_maximum(view, side), minimum_px = zeb::borderpx_by_minimum(view, side);
  const auto threshold_px = zeb::borderpx_by_threshold(view, side, lower, upper, mode);
  const auto gradient_px = zeb::borderpx_by_gradient(view, side, from_zero, step_lower, step_upper, mode);
  check(same_bytes(src, before), "border searches only read");
  for (const auto* hits : {&maximum, &minimum, &threshold, &gradient}) {
    check(static_cast<int>(hits->size()) == lines, "an element per line");
    for (const int hit : *hits) check(-1 <= hit && hit < std::max(steps, 1), "a hit lies on its line");
  }
  for (const auto* hits : {&maximum_px, &minimum_px, &threshold_px, &gradient_px})
    check(static_cast<int>(hits->size()) == lines, "a point per line");

  for (int i = 0; i < lines; ++i) {
    const auto at = static_cast<std::size_t>(i);
    // Lines go clockwise.
    const int line = side == Image_Side::Bottom ? src.width() - 1 - i
                     : side == Image_Side::Left ? src.height() - 1 - i
                                                : i;
    const auto pixel = [&](int step) -> int {
      const int along = side == Image_Side::Top || side == Image_Side::Left ? step : steps - 1 - step;
      return columns ? src(line, along) : src(along, line);
    };
    int first = -1;
    for (int step = 0; step < steps && first < 0; ++step) {
      const bool inside = lower <= pixel(step) && pixel(step) <= upper;
      if ((mode == zeb::ThresholdMode::Standard && !inside) || (mode == zeb::ThresholdMode::InverseBinary && inside))
        first = step;
    }
    check(threshold[at] == first, "border_by_threshold finds the first pixel");
    const auto along = [&](int step) {
      return side == Image_Side::Top || side == Image_Side::Left ? step : steps - 1 - step;
    };
    if (first >= 0)
      check((columns ? threshold_px[at].x : threshold_px[at].y) == along(first) &&
                (columns ? threshold_px[at].y : threshold_px[at].x) == line,
            "both forms find the same pixel");
    first = -1;
    for (int step = from_zero ? 0 : 1; step < steps && first < 0; ++step) {
      const auto rise = static_cast<float>(pixel(step) - (step == 0 ? 0 : pixel(step - 1)));
      if ((mode == zeb::ThresholdMode::Standard && (rise < step_lower || rise > step_upper)) ||
          (mode == zeb::ThresholdMode::InverseBinary && step_lower < rise && rise < step_upper))
        first = step;
    }
    check(gradient[at] == first, "border_by_gradient finds the first step");
    if (maximum[at] >= 0)
      check((columns ? maximum_px[at].x : maximum_px[at].y) == maximum[at], "both forms find the same maximum");
    if (minimum[at] >= 0)
      check((columns ? minimum_px[at].x : minimum_px[at].y) == minimum[at], "both forms find the same minimum");
  }
}

void boxes(Input& input) {
  Plane src = input.picture(input.layout());
  if (src.height() < 1) return;
  const Plane before(src);
  const unsigned char lower = input.byte(), upper = input.byte();
  const auto mode = static_cast<zeb::ThresholdMode>(input.integer(0, 1));
  Plane work(src);
  auto view = src.mat(), work_view = work.mat();
  const auto box_where = [&](auto set) {
    zeb::Rect__<zeb::Point_<int>> box({-1, -1}, {-1, -1});
    for (int y = 0; y < src.height(); ++y)
      for (int x = 0; x < src.width(); ++x)
        if (set(src(x, y))) {
          if (box.top_left.x < 0) box = {{x, y}, {x, y}};
          box.top_left.x = std::min(box.top_left.x, x);
          box.bottom_right = {std::max(box.bottom_right.x, x), y};
        }
    return box;
  };
  const auto same = [](const auto& a, const auto& b) {
    return a.top_left.x == b.top_left.x && a.top_left.y == b.top_left.y && a.bottom_right.x == b.bottom_right.x &&
           a.bottom_right.y == b.bottom_right.y;
  };
  check(same(zeb::enclosing_orthogonal_rectangle(view), box_where([](int p) { return p != 0; })), "the box encloses");
  const auto expected = box_where([&](int p) {
    return (lower <= p && p <= upper) == (mode == zeb::ThresholdMode::InverseBinary) &&
           // With crossed limits the outside form marks everything that exceeds the upper or is below the lower one.
           (mode == zeb::ThresholdMode::InverseBinary || p > upper || p < lower);
  });
  check(same(zeb::enclosing_orthogonal_rectangle(view, lower, upper, mode), expected), "the box of the threshold");
  check(same(zeb::enclosing_orthogonal_rectangle(work_view, view, lower, upper, mode), expected), "with a work image");
  const auto inscribed =
      zeb::inscribed_orthogonal_rectangle(view, input.flag() ? input.any_real() : input.real(-400, 400));
  static_cast<void>(inscribed);
  check(same_bytes(src, before), "boxes only read");
}

void masks(Input& input) {
  const Layout layout = input.layout();
  const Plane blank(layout);
  Plane mask(blank);
  float x[20], y[20];
  const int count = input.integer(0, 20);
  const bool wild = input.flag();
  for (int i = 0; i < count; ++i) {
    x[i] = wild ? input.any_real() : input.real(-50, 250);
    y[i] = wild ? input.any_real() : input.real(-50, 250);
  }
  PolyToBMMask(mask.data(), x, y, count, layout.width, layout.stride, layout.height);
  check(same_padding(mask, blank), "PolyToBMMask keeps the padding");
  for (int r = 0; r < layout.height; ++r) {
    int changes = 0;
    for (int c = 0; c < layout.width; ++c) {
      check(mask(c, r) == 0 || mask(c, r) == 255, "a mask is made of 0 and 255");
      if (count < 3) check(mask(c, r) == 0, "fewer than three vertices give an empty mask");
      changes += c > 0 && mask(c, r) != mask(c - 1, r) ? 1 : 0;
    }
    check(changes <= 2, "a row holds one run");
  }
}

void points(Input& input) {
  const Layout layout = input.layout();
  const int w = layout.width, s = layout.stride, h = layout.height;
  Plane src = input.picture(layout);
  const Plane before(src);
  std::vector<float> positions(static_cast<std::size_t>(w));
  zeb::GetEdgeFineRes(positions.data(), src.data(), w, s, h, input.integer(0, 1),
                      input.flag() ? input.any_real() : input.real(0, 255));
  for (const float position : positions)
    check(position >= 0 && position <= static_cast<float>(std::max(1, h)), "an edge lies inside its column");
  float cx = -1, cy = -1;
  const float mass = zeb::fGetBMCG(src.data(), w, s, h, &cx, &cy);
  if (mass > 0)
    check(cx > -1 && cx < static_cast<float>(w) && cy > -1 && cy < static_cast<float>(h), "a centre lies inside");
  else
    check(cx == 0 && cy == 0, "no mass has its centre at 0");

  float angle[5], distance[5];
  for (int i = 0; i < 5; ++i) {
    angle[i] = input.any_real();
    distance[i] = input.any_real();
  }
  zeb::GetCrossPointHesse(&cx, &cy, angle[0], distance[0], angle[1], distance[1]);
  zeb::fLineDistHesse(angle[0], distance[0], angle[1], distance[1], distance[2]);
  zeb::distance_point_line(angle[0], angle[1], angle[2], distance[0], distance[1], distance[2]);

  if (w < 1 || h < 1) return;
  const int x = input.integer(0, w - 1), y = input.integer(0, h - 1);
  const unsigned char low = input.byte(), high = input.byte();
  int fx = -1, fy = -1, quadrant = -1, sides[4] = {input.integer(0, 1), input.integer(0, 1), input.integer(0, 1), 1};
  if (w * h < 5000 &&
      zeb::find_point(src.data(), nullptr, w, h, s, x, y, low, high, input.real(0, 40), input.real(0, 90), &fx, &fy,
                      input.flag() ? &quadrant : nullptr, input.flag() ? sides : nullptr)) {
    check(src.contains(fx, fy) && src(fx, fy) >= low && src(fx, fy) <= high, "the point found is in the range");
    check(fx == x || fy == y, "the point found lies straight ahead");
  }
  // The ray may look at the column and the row behind the image.
  Plane roomy = src.with_room(static_cast<std::size_t>(s + 1)),
        guide = input.picture(layout, true).with_room(static_cast<std::size_t>(s + 1)), trace(roomy);
  const int dx = input.integer(-300, 300), dy = input.integer(-300, 300);
  if ((dx != 0 || dy != 0) && zeb::find_point_on_line(roomy.data(), input.flag() ? guide.data() : nullptr,
                                                      input.flag() ? trace.data() : nullptr, w, h, s, x, y,
                                                      input.any_real(), low, high, dx, dy, &fx, &fy))
    check(fx >= 0 && fx <= w && fy >= 0 && fy <= h, "the ray ends at the border");
  const int rx = input.integer(0, w - 1), ry = input.integer(0, h - 1);
  const int rw = input.integer(0, w - rx), rh = input.integer(0, h - ry);
  zeb::get_cross_position(src.data(), s, 0, rx, ry, rw, rh, &cx, &cy);
  check(std::isnan(cx) || (cx >= static_cast<float>(rx) && cx < static_cast<float>(rx + rw)), "the mean lies inside");

  std::vector<float> profile(static_cast<std::size_t>(input.integer(2, 60)));
  for (float& value : profile) value = input.flag() ? input.real(-10, 300) : 0;
  const int size = static_cast<int>(profile.size());
  const int first = input.integer(1, size - 1), last = input.integer(first, size - 1);
  zeb::fCalcCG(profile.data(), input.integer(-1, size), first, last, input.integer(0, 70), input.integer(0, 70),
               input.real(-2, 2));
  std::vector<float> second(profile.size());
  std::vector<int> weights(profile.size());
  for (float& value : second) value = input.real(-5, 5);
  for (int& weight : weights) weight = input.integer(0, 2);
  const int lag = input.integer(0, 80);
  std::vector<float> result(2 * static_cast<std::size_t>(lag));
  zeb::Correlation(result.data(), profile.data(), second.data(), weights.data(), size, lag);
  check(same_bytes(src, before), "point searches only read");
}

void random_fits(Input& input) {
  const Layout layout = input.layout(80);
  const int w = layout.width, s = layout.stride, h = layout.height;
  Plane src = input.picture(layout, true);
  const Plane before(src);
  struct Lines {
    float angles[10], distances[10];
    int count;
  } a{}, b{};
  std::vector<float> angle_bins(static_cast<std::size_t>(input.integer(1, 50))), distance_bins(angle_bins);
  const int bins = static_cast<int>(angle_bins.size());
  const auto run = [&](Lines& lines) {
    zeb::CalcLinesRandom(lines.angles, lines.distances, angle_bins.data(), bins, distance_bins.data(), bins,
                         &lines.count, src.data(), w, h, s);
  };
  run(a);
  run(b);
  check(std::memcmp(&a, &b, sizeof a) == 0, "the same image gives the same lines");
  check(0 <= a.count && a.count <= 10, "there are up to ten lines");
  for (int i = 0; i < a.count; ++i) check(std::abs(a.angles[i]) < 3.1416f, "angles lie in one turn");
  float radius = -1, cx = -1, cy = -1, again = -1;
  zeb::CalcCircleRandom(&radius, &cx, &cy, src.data(), w, h, s);
  zeb::CalcCircleRandom(&again, &cx, &cy, src.data(), w, h, s);
  check(std::memcmp(&radius, &again, sizeof radius) == 0 && !(radius < 0), "the same image gives the same circle");
  check(same_bytes(src, before), "random fits only read");
}

/// Warps the image, so its stride has to suit the packed warp.
void rectangles(Input& input) {
  Layout layout = input.layout(120);
  layout.stride = (layout.stride + 3) & ~3;
  Plane src = input.picture(layout).with_room(64);
  const Plane before(src);
  float x[4], y[4];
  const int fill = input.integer(0, 1);
  const int found =
      detect_rect_rand_clust(src.data(), layout.width, layout.stride, layout.height, x, y, fill, input.integer(0, 4));
  check(found == 0 || found == 1, "there is one rectangle or none");
  if (fill == 0) check(same_bytes(src, before), "without filling the image is only read");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  Input input(bytes, size);
  switch (input.integer(0, 15)) {
    case 0:
      random_fits(input);
      break;
    case 1:
      rectangles(input);
      break;
    case 2:
    case 3:
      boxes(input);
      break;
    case 4:
    case 5:
    case 6:
      masks(input);
      break;
    case 7:
    case 8:
    case 9:
    case 10:
      borders(input);
      break;
    default:
      points(input);
      break;
  }
  return 0;
}
