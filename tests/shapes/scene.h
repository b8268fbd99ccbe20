#pragma once

#include <algorithm>
#include <random>
#include <set>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "tests/support/picture.h"
#include "tests/support/random_geometry.h"
#include "zeb/shapes.h"

/// What the tests of this folder share: scenes, chains, and plain rules that several of them compare with.
namespace zeb::testing {

/// The steps of the chain codes.
constexpr int dx[] = {-1, 0, 1, 1, 1, 0, -1, -1}, dy[] = {1, 1, 1, 0, -1, -1, -1, 0};

/// Noise, or what is left of noise after a majority vote of 3 by 3 pixels: blobs with smooth outlines.
inline Picture random_scene(std::mt19937& engine, int width, int stride, int height, int offset = 0) {
  const double share = 0.02 * pick(engine, 0, 40);
  Picture noise = Picture::random_binary(engine, width, stride, height, share, offset);
  if (pick(engine, 0, 1) == 0) return noise;
  Picture blobs = noise;
  for (int y = 1; y + 1 < height; ++y)
    for (int x = 1; x + 1 < width; ++x) {
      int set = 0;
      for (int j = -1; j <= 1; ++j)
        for (int i = -1; i <= 1; ++i) set += noise(x + i, y + j) != 0;
      blobs(x, y) = set >= 5 ? static_cast<unsigned char>(pick(engine, 1, 255)) : 0;
    }
  return blobs;
}

/// Codes of any value, to be masked with 7, with some straight parts.
inline std::vector<char> random_chain(std::mt19937& engine, int length) {
  std::vector<char> chain(static_cast<std::size_t>(length));
  const int straight = pick(engine, 0, 7);
  for (char& c : chain) c = static_cast<char>(pick(engine, 0, 2) == 0 ? straight : pick(engine, -128, 127));
  return chain;
}

/// The picture with `value` in the component of (x, y) and all that it encloses: what the ground around, connected by
/// sides, does not reach.
inline Picture filled_component(const Picture& p, int x, int y, unsigned char value) {
  Picture map(p.width() + 2, p.width() + 2, p.height() + 2);  // with a margin, so that there is ground all around
  const auto flood = [&](int start_x, int start_y, unsigned char mark, int first_code, int code_step, auto passable) {
    std::vector<std::pair<int, int>> open{{start_x, start_y}};
    while (!open.empty()) {
      const auto [i, j] = open.back();
      open.pop_back();
      if (i < -1 || j < -1 || i > p.width() || j > p.height() || map(i + 1, j + 1) != 0 || !passable(i, j)) continue;
      map(i + 1, j + 1) = mark;
      for (int c = first_code; c < 8; c += code_step) open.emplace_back(i + dx[c], j + dy[c]);
    }
  };
  flood(x, y, 1, 0, 1,
        [&](int i, int j) { return i >= 0 && j >= 0 && i < p.width() && j < p.height() && p(i, j) != 0; });
  flood(-1, -1, 2, 1, 2, [](int, int) { return true; });
  Picture filled = p;
  for (int j = 0; j < p.height(); ++j)
    for (int i = 0; i < p.width(); ++i)
      if (map(i + 1, j + 1) != 2) filled(i, j) = value;
  return filled;
}

/// min_x, max_x, min_y, max_y.
inline std::vector<int> extents(const std::vector<int>& x, const std::vector<int>& y) {
  const auto [left, right] = std::minmax_element(x.begin(), x.end());
  const auto [top, bottom] = std::minmax_element(y.begin(), y.end());
  return {*left, *right, *top, *bottom};
}

/// A walk around a component: its codes, and the pixels before them and after the last one.
struct Walk {
  std::vector<int> x, y;
  std::vector<char> codes;
  bool repeats_first_step = false;  ///< the last code is the first step once more
  bool endless = false;

  /// `p` may be larger than the `width` by `height` pixels that count. `d` is the direction to begin with.
  Walk(const Picture& p, int width, int height, int start_x, int start_y, int d, bool ascending)
      : x{start_x}, y{start_y} {
    std::set<std::tuple<int, int, int>> states;
    while (!repeats_first_step && !endless) {
      const int from_x = x.back(), from_y = y.back();
      int code = -1;
      for (int k = 0; k < 8 && code < 0; ++k) {
        const int c = (ascending ? d - 2 + k : d + 3 - k) & 7, nx = from_x + dx[c], ny = from_y + dy[c];
        if (nx >= 0 && nx < width && ny >= 0 && ny < height && p(nx, ny) != 0) code = c;
      }
      if (code < 0) return;
      d = code;
      codes.push_back(static_cast<char>(code));
      x.push_back(from_x + dx[code]);
      y.push_back(from_y + dy[code]);
      repeats_first_step =
          codes.size() > 1 && from_x == start_x && from_y == start_y && x.back() == x[1] && y.back() == y[1];
      endless = !states.emplace(x.back(), y.back(), d).second && !repeats_first_step;
    }
  }
};

/// Everything that a shape tells, as one line of text, which is also what a failing test prints.
inline std::string describe(const Shape& shape) {
  if (shape.empty()) return "none";
  std::string text;
  for (std::uint64_t i = 0; i < shape.size(); ++i) text += std::to_string(shape.chain_code()[i]);
  text += " from";
  for (const int n : {shape.start_point().x, shape.start_point().y, shape.min_x(), shape.max_x(), shape.min_y(),
                      shape.max_y(), shape.rot()})
    text += ' ' + std::to_string(n);
  return text + (shape.is_counter_clockwise() ? " ccw" : " cw");
}

}  // namespace zeb::testing
