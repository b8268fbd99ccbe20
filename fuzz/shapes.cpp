// Outlines: closed chains, both tracers, the fills, hulls, the collections and the contour scan against definitions by
// connected components.

#include "zeb/shapes.h"

#include <cmath>
#include <stdexcept>
#include <vector>

#include "input.h"

namespace {

using zeb::fuzz::check;
using zeb::fuzz::Input;
using zeb::fuzz::Layout;
using zeb::fuzz::Plane;

constexpr int step_x[] = {-1, 0, 1, 1, 1, 0, -1, -1};
constexpr int step_y[] = {1, 1, 1, 0, -1, -1, -1, 0};

/// Sets to `value` what is connected to (x, y) over pixels equal to it, over corners too where `corners` is set.
void flood(Plane& plane, int x, int y, unsigned char value, bool corners) {
  const unsigned char old = plane(x, y);
  if (old == value) return;
  std::vector<std::pair<int, int>> open{{x, y}};
  plane(x, y) = value;
  while (!open.empty()) {
    const auto [px, py] = open.back();
    open.pop_back();
    for (int code = 0; code < 8; ++code) {
      const int nx = px + step_x[code], ny = py + step_y[code];
      if ((!corners && code % 2 == 0) || !plane.contains(nx, ny) || plane(nx, ny) != old) continue;
      plane(nx, ny) = value;
      open.emplace_back(nx, ny);
    }
  }
}

/// 255 where the component at (x, y) of a binary image or one of its holes is, else 0.
Plane filled_component(const Plane& binary, int x, int y) {
  // With a frame of one pixel, so that the outside is connected.
  Plane framed(Layout{binary.width() + 2, binary.width() + 2, binary.height() + 2, 0});
  std::memset(framed.data(), 0, framed.layout().rows_end());
  Plane component(binary);
  flood(component, x, y, 100, true);
  for (int r = 0; r < binary.height(); ++r)
    for (int c = 0; c < binary.width(); ++c) framed(c + 1, r + 1) = component(c, r) == 100 ? 255 : 0;
  flood(framed, 0, 0, 1, false);
  for (int r = 0; r < binary.height(); ++r)
    for (int c = 0; c < binary.width(); ++c) component(c, r) = framed(c + 1, r + 1) == 1 ? 0 : 255;
  return component;
}

bool first_set(const Plane& plane, int& x, int& y) {
  for (y = 0; y < plane.height(); ++y)
    for (x = 0; x < plane.width(); ++x)
      if (plane(x, y) != 0) return true;
  return false;
}

int count_regions(Plane plane, bool corners, bool set) {
  int count = 0;
  for (int y = 0; y < plane.height(); ++y)
    for (int x = 0; x < plane.width(); ++x)
      if ((plane(x, y) == 255) == set && plane(x, y) != 1) {
        if (!set && plane(x, y) != 0) continue;
        flood(plane, x, y, 1, corners);
        ++count;
      }
  return count;
}

/// What holds for every traced shape, wherever it starts.
void check_shape(const zeb::Shape& shape, const Plane& src, bool ascending) {
  if (shape.empty()) {
    check(shape.size() == 0, "no shape has no steps");
    return;
  }
  check(shape.is_counter_clockwise() != ascending, "is_counter_clockwise is !ascending");
  auto [x, y] = shape.start_point();
  int min_x = x, max_x = x, min_y = y, max_y = y;
  std::int32_t rot = 0;
  const auto add_rot = [&](int px, int py, int code) {
    rot = zeb::detail::wrapping_add(rot, px * step_y[code] - py * step_x[code]);
  };
  for (std::uint64_t i = 0; i < shape.size(); ++i) {
    const int code = shape.chain_code()[i];
    check(0 <= code && code < 8, "codes lie in 0 to 7");
    check(src.contains(x, y) && src(x, y) != 0, "a walk visits set pixels inside the image");
    add_rot(x, y, code);
    x += step_x[code];
    y += step_y[code];
    min_x = std::min(min_x, x);
    max_x = std::max(max_x, x);
    min_y = std::min(min_y, y);
    max_y = std::max(max_y, y);
  }
  check(x == shape.start_point().x && y == shape.start_point().y, "a chain is closed");
  check(min_x == shape.min_x() && max_x == shape.max_x() && min_y == shape.min_y() && max_y == shape.max_y(),
        "the extents are those of the walk");
  if (shape.size() > 0) {
    const int first = shape.chain_code()[0], last = shape.chain_code()[shape.size() - 1];
    add_rot(x, y, first);
    add_rot(x + step_x[first], y + step_y[first], last);
    check(rot == shape.rot(), "rot is the sum over the steps");
  }
}

void outermost_shape(Input& input) {
  const Plane src = input.picture(input.layout(), true);
  const bool ascending = input.flag();
  const int w = src.width(), h = src.height();
  const auto uw = static_cast<unsigned>(w), us = static_cast<unsigned>(src.stride()), uh = static_cast<unsigned>(h);
  const zeb::Shape shape = zeb::find_next_shape(src.data(), uw, us, uh, 0u, 0u, true, ascending);
  check_shape(shape, src, ascending);
  int x, y;
  const bool any = first_set(src, x, y);
  check(shape.empty() == !any, "a shape is found where a pixel is set");
  if (!any) return;
  check(shape.start_point().x == x && shape.start_point().y == y, "the search finds the first pixel in raster order");

  Plane blank(src);
  for (int r = 0; r < h; ++r) std::memset(&blank(0, r), 0, static_cast<std::size_t>(w));
  Plane filled(blank);
  auto view = filled.bitmap();
  zeb::draw_filled_shape(view, shape, 255);
  const Plane expected = filled_component(src, x, y);
  check(same_pixels(filled, expected), "a filled shape is its component without holes");
  check(same_padding(filled, blank), "draw_filled_shape keeps the padding");

  zeb::PointContainer<int> contour, reference;
  const zeb::Point_<int> offset{input.integer(-9, 9), input.integer(-9, 9)};
  zeb::shape_to_contour(contour, shape, offset);
  zeb::test::shape_to_contour(reference, shape, offset);
  check(contour.x == reference.x && contour.y == reference.y, "both forms of shape_to_contour agree");
  check(contour.size() == shape.size(), "a contour has a point per step");

  std::vector<char> chain;
  Plane plus(blank);
  int px = -1, py = -1, min_x, max_x, min_y, max_y;
  check(vShapePlusBM(chain, src.data(), plus.data(), w, src.stride(), h, &px, &py, &min_x, &max_x, &min_y, &max_y, 0),
        "vShapePlusBM finds a shape");
  check(px == x && py == y, "vShapePlusBM starts at the first pixel");
  if (shape.size() == 0) {
    check(chain.size() == 1 && chain[0] == 0 && same_bytes(plus, blank),
          "an isolated pixel is chained but not painted");
  } else {
    check(min_x == shape.min_x() && max_x == shape.max_x() && min_y == shape.min_y() && max_y == shape.max_y(),
          "vShapePlusBM measures the extents");
    for (int r = 0; r < h; ++r)
      for (int c = 0; c < w; ++c) check(plus(c, r) == 0 || plus(c, r) == 250, "vShapePlusBM paints 250");
    check(same_padding(plus, blank), "vShapePlusBM keeps the padding");
    if (ascending) {
      check(chain.size() == shape.size() + 1 && std::memcmp(chain.data(), shape.chain_code(), shape.size()) == 0 &&
                chain.back() == chain.front(),
            "vShapePlusBM walks as find_next_shape and repeats the first code");
    }
    for (int r = 0; r < h; ++r)
      for (int c = 0; c < w; ++c) check((plus(c, r) == 250) == (expected(c, r) == 255), "both fills agree");
  }

  if (shape.size() == 0) return;
  std::vector<char> codes(shape.chain_code(), shape.chain_code() + shape.size());
  const int count = static_cast<int>(codes.size());
  int end_x, end_y;
  vGetPos(codes.data(), count, x, y, &end_x, &end_y);
  check(end_x == x && end_y == y, "vGetPos ends where a closed chain begins");
  Plane writable(src);
  check(fGetShapeOverlap(writable.data(), src.stride(), codes.data(), count, x, y) == 1.0f, "the outline is set");

  if (count <= 600) {
    const int out_size = input.integer(0, 700);
    std::vector<unsigned> out(static_cast<std::size_t>(std::max(count, out_size)));
    float nearest, farthest;
    vShapeKorrelation(out.data(), codes.data(), count, out_size, input.real(-4, 4), input.integer(0, 40), &nearest,
                      &farthest);
    check(nearest >= 0, "a distance is not negative");
  }
  std::vector<unsigned> gradient(codes.size());
  float mean;
  vShapeGetGrad(gradient.data(), writable.data(), codes.data(), w, src.stride(), h, count, x, y, &mean);
  check(mean >= 0 && mean <= 255, "a mean gradient is a grey value");
  check(same_bytes(writable, src), "measures only read");

  if (!ascending) return;
  int *hull_x, *hull_y, hull_count;
  vConvexHull(codes.data(), count, &hull_x, &hull_y, &hull_count, x, y);
  // A walk out and back may lose corners of the hull.
  Plane visited(blank);
  bool simple = true;
  for (std::size_t k = 0; k < contour.size(); ++k) {
    unsigned char& mark = visited(contour.x[k] - offset.x, contour.y[k] - offset.y);
    simple = simple && mark == 0;
    mark = 1;
  }
  for (int i = 0; simple && hull_count > 2 && i < hull_count; ++i) {
    const int j = (i + 1) % hull_count;
    for (std::size_t k = 0; k < contour.size(); ++k) {
      const int dx = contour.x[k] - offset.x - hull_x[i], dy = contour.y[k] - offset.y - hull_y[i];
      check((hull_x[j] - hull_x[i]) * dy - (hull_y[j] - hull_y[i]) * dx <= 0, "no pixel lies outside the hull");
    }
  }
  zeb::mem::aligned_free(hull_x);
  zeb::mem::aligned_free(hull_y);
  float length = -1, width = -1;
  const auto corners = shape.minimum_enclosing_rectangle(&length, &width);
  check(length >= width && width >= 0, "the longer side comes first");
  for (const auto& corner : corners)
    check(std::abs(corner.x) < 1000 && std::abs(corner.y) < 1000, "corners lie near the image");
}

/// Starts anywhere, those inside a component included, which may end in the documented exception.
void other_starts(Input& input) {
  const Layout layout = input.layout();
  const Plane picture = input.picture(layout);
  const bool ascending = input.flag();
  // The search from the middle scans the middle column over as many rows as there are columns.
  const int more_rows = std::max(0, layout.width - layout.height);
  const Plane src =
      picture.with_room(static_cast<std::size_t>(more_rows) * static_cast<std::size_t>(layout.stride) + 1);
  const auto w = static_cast<unsigned>(layout.width), s = static_cast<unsigned>(layout.stride),
             h = static_cast<unsigned>(layout.height);
  const auto mode = static_cast<zeb::Find_Active_Pixel_Mode>(input.integer(-1, 4));
  try {
    switch (input.integer(0, 2)) {
      case 0: {
        const auto y = static_cast<unsigned>(input.integer(0, 210)), x = static_cast<unsigned>(input.integer(0, 250));
        // Padding is read like pixels, that of the last row included.
        const Plane& used = x < w ? picture : src;
        const auto shape = zeb::find_next_shape(used.data(), w, s, h, y, x, input.flag(), ascending);
        if (x < w) check_shape(shape, picture, ascending);
        break;
      }
      case 1: {
        const auto index = static_cast<unsigned>(input.integer(0, 220));
        const Plane& used = index < w ? picture : src;
        const auto shape = zeb::find_next_shape(used.data(), w, s, h, index, mode, ascending);
        if (index < w) check_shape(shape, picture, ascending);
        break;
      }
      default: {
        const auto shape = zeb::find_next_shape(src.data(), w, s, h, mode, ascending);
        if (shape.empty() || shape.start_point().y < layout.height) check_shape(shape, picture, ascending);
        break;
      }
    }
  } catch (const std::length_error&) {
    // A start inside a component; see the docstring.
  } catch (const std::invalid_argument&) {
    check(static_cast<int>(mode) < 0 || static_cast<int>(mode) > 3, "only unknown modes are refused");
  }
}

void collections(Input& input) {
  const Plane src = input.picture(input.layout(70), true);
  const bool ascending = input.flag();
  Plane work(src);
  auto view = work.bitmap();
  const auto shapes = zeb::get_all_shapes(view, ascending);
  check(same_padding(work, src), "collections keep the padding");
  Plane expected(src);
  std::size_t longest = 0;
  for (const auto& shape : shapes) {
    int x, y;
    check(first_set(expected, x, y), "no more shapes than components");
    check(shape.start_point().x == x && shape.start_point().y == y, "shapes come in raster order");
    check_shape(shape, src, ascending);
    const Plane filled = filled_component(expected, x, y);
    for (int r = 0; r < src.height(); ++r)
      for (int c = 0; c < src.width(); ++c)
        if (filled(c, r) == 255) expected(c, r) = 0;
    longest = std::max<std::size_t>(longest, shape.size());
  }
  int x, y;
  check(!first_set(expected, x, y), "every component is reported or enclosed");
  check(!first_set(work, x, y), "the bitmap is zero afterwards");

  Plane again(src);
  auto again_view = again.bitmap();
  const auto found = zeb::get_longest_shape(again_view, ascending);
  check(found.empty() == shapes.empty() && found.size() == longest, "get_longest_shape finds the longest");

  Plane some(src);
  auto some_view = some.bitmap();
  const auto limit = static_cast<std::uint64_t>(input.integer(0, 6));
  const auto first = zeb::get_longest_shape(some_view, limit, ascending);
  check(first.empty() == shapes.empty(), "a limited search finds something as well");
  if (limit <= 1) check(same_bytes(some, src), "up to a count of 1 nothing is wiped");

  if (src.width() * src.height() <= 1500) {
    Plane writable(src);
    int count = -1;
    float shortest = -1, widest = -1;
    const float sum =
        fGetAllShapeLength(writable.data(), src.width(), src.stride(), src.height(), &count, &shortest, &widest);
    check((count > 0) == !shapes.empty(), "lengths are summed where pixels are set");
    check(shortest <= widest && sum >= widest, "the extremes are in order");
    check(same_bytes(writable, src), "fGetAllShapeLength only reads");
  }
}

/// Codes that come from nowhere, masked with 7 and clipped at the image.
void arbitrary_chains(Input& input) {
  Layout layout = input.layout(70);
  layout.width = std::max(layout.width, 1);
  layout.stride = std::max(layout.stride, layout.width);
  layout.height = std::max(layout.height, 1);
  layout.offset = 0;
  layout.stride = (layout.stride + 15) & ~15;
  Plane plain(layout);
  std::memset(plain.data(), 0, layout.pixels_end());
  Plane packed(plain);
  const int x = input.integer(0, layout.width - 1), y = input.integer(0, layout.height - 1);
  const int mark = input.integer(-3, 2), count = input.integer(0, 200);
  std::vector<char> codes;
  for (int i = 0; i < count; ++i) codes.push_back(static_cast<char>(input.byte()));
  ShapeBM(plain.data(), codes.data(), layout.width, layout.stride, layout.height, count, x, y, mark);
  MMShapeBM(packed.data(), codes.data(), layout.width, layout.stride, layout.height, count, x, y, mark);
  if (count > 0) check(same_bytes(plain, packed), "MMShapeBM equals ShapeBM on a blank image");

  std::vector<unsigned> gradient(static_cast<std::size_t>(count));
  float mean, nearest, farthest, length, width, xs[4], ys[4];
  vShapeGetGrad(gradient.data(), plain.data(), codes.data(), layout.width, layout.stride, layout.height, count, x, y,
                &mean);
  for (const unsigned g : gradient) check(g <= 255, "a gradient is a difference of grey values");
  vShapeKorrelation(gradient.data(), codes.data(), count, std::min(count, input.integer(0, 200)), input.any_real(),
                    input.integer(-5, 250), &nearest, &farthest);
  int *hull_x, *hull_y, hull_count;
  vConvexHull(codes.data(), count, &hull_x, &hull_y, &hull_count, x, y);
  vCalcRect(xs, ys, hull_x, hull_y, hull_count, input.any_real(), &length, &width);
  zeb::mem::aligned_free(hull_x);
  zeb::mem::aligned_free(hull_y);
  vMER(codes.data(), count, x, y, xs, ys, &length, &width);
}

void contours(Input& input) {
  const Plane src = input.picture(input.layout(), true);
  Plane copy(src);
  const auto view = copy.bitmap();
  const zeb::Point_<int> offset{input.integer(-9, 9), input.integer(-9, 9)};
  std::vector<int> hierarchy, outer_hierarchy, external_hierarchy;
  std::vector<zeb::PointContainer<int>> all, outer, external, unnamed;
  zeb::find_contours(hierarchy, all, view, zeb::ScanSuzukiMode::all_borders, offset);
  zeb::find_contours(outer_hierarchy, outer, view, zeb::ScanSuzukiMode::outer_borders, offset);
  zeb::find_contours(external_hierarchy, external, view, zeb::ScanSuzukiMode::external_only, offset);
  zeb::find_contours(unnamed, view, zeb::ScanSuzukiMode::all_borders, offset);
  check(same_bytes(copy, src), "find_contours only reads");
  check(unnamed.size() == all.size(), "the hierarchy is optional");
  check(hierarchy.size() == all.size() && external_hierarchy.size() == external.size() && outer.size() <= all.size() &&
            external.size() <= all.size(),
        "a parent per contour");
  for (std::size_t i = 0; i < hierarchy.size(); ++i)
    // In wide images the border of a hole may be met before any other.
    check((src.width() > 61 ? -2 : -1) <= hierarchy[i] && hierarchy[i] < static_cast<int>(hierarchy.size()),
          "parents exist");
  check(static_cast<std::size_t>(std::count(hierarchy.begin(), hierarchy.end(), -1)) == external.size(),
        "the external contours are those without a parent");
  for (const auto& contour : all) {
    check(!contour.empty(), "a contour has points");
    for (std::size_t i = 0; i < contour.size(); ++i) {
      const std::size_t j = (i + 1) % contour.size();
      check(std::abs(contour.x[i] - contour.x[j]) <= 1 && std::abs(contour.y[i] - contour.y[j]) <= 1,
            "a contour is a closed walk");
      const int x = contour.x[i] - offset.x, y = contour.y[i] - offset.y;
      check(src.contains(x, y) && src(x, y) == 255, "a contour lies on the foreground");
    }
    const auto middle = zeb::center(contour);
    check(middle.x - static_cast<float>(offset.x) > -1 && middle.x - static_cast<float>(offset.x) < 201,
          "a centre lies inside the image");
  }
  if (src.width() > 61 || src.width() < 1 || src.height() < 1) return;
  const int components = count_regions(src, true, true);
  Plane framed(Layout{src.width() + 2, src.width() + 2, src.height() + 2, 0});
  std::memset(framed.data(), 0, framed.layout().rows_end());
  for (int y = 0; y < src.height(); ++y)
    for (int x = 0; x < src.width(); ++x) framed(x + 1, y + 1) = src(x, y);
  const int holes = count_regions(framed, false, false) - 1;
  check(static_cast<int>(outer.size()) == components, "an outer border per component");
  check(static_cast<int>(all.size()) == components + holes, "a border per component and per hole");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  Input input(bytes, size);
  switch (input.integer(0, 4)) {
    case 0:
      outermost_shape(input);
      break;
    case 1:
      other_starts(input);
      break;
    case 2:
      collections(input);
      break;
    case 3:
      arbitrary_chains(input);
      break;
    default:
      contours(input);
      break;
  }
  return 0;
}
