#include <optional>
#include <vector>

#include "fitting/thresholded.h"
#include "zeb/fitting.h"

namespace {

using zeb::Image_Side;
using zeb::Mat;
using zeb::Point_;
using zeb::ThresholdMode;

/// One line of a border search.
struct Line {
  const Mat<unsigned char>& image;
  bool is_column;
  int outer;  ///< which column or row
  int inner_start, inner_step;
  int steps;

  int inner(int step) const { return inner_start + step * inner_step; }
  int row(int step) const { return is_column ? inner(step) : outer; }
  int column(int step) const { return is_column ? outer : inner(step); }
  int pixel(int step) const { return image.at(row(step), column(step)); }
};

/// The lines of one side.
struct Lines {
  int start = 0, end = 0, step = 1;
  int inner_start = 0, inner_step = 1, inner_count = 0;
  bool are_columns = true;

  Lines(const Mat<unsigned char>& image, Image_Side side) {
    const auto last = [](int length) { return zeb::detail::wrapping_sub(length, 1); };
    const bool columns = side == Image_Side::Top || side == Image_Side::Bottom;
    const int count = columns ? image.width : image.height, length = columns ? image.height : image.width;
    switch (side) {
      case Image_Side::Top:
      case Image_Side::Right:
        start = 0, end = count, step = 1;
        break;
      case Image_Side::Bottom:
      case Image_Side::Left:
        start = last(count), end = -1, step = -1;
        break;
      default:
        return;
    }
    zeb::detail::require(count >= 0);
    const bool from_far_end = side == Image_Side::Right || side == Image_Side::Bottom;
    inner_start = from_far_end ? last(length) : 0;
    inner_step = from_far_end ? -1 : 1;
    inner_count = length;
    are_columns = columns;
  }

  template <class Visit>
  void for_each(const Mat<unsigned char>& image, Visit visit) const {
    for (int outer = start; outer != end; outer += step)
      visit(Line{image, are_columns, outer, inner_start, inner_step, inner_count});
  }
};

// The tests: the step of the hit on a line, or nothing.
using Hit = std::optional<int>;

/// Climbs while `better(pixel, best)`.
template <class Better>
Hit first_extremum(const Line& line, int best, Better better) {
  Hit hit;
  for (int step = 0; step < line.steps; ++step) {
    const int p = line.pixel(step);
    if (better(p, best)) {
      best = p;
      hit = step;
    } else if (hit) {
      break;
    }
  }
  return hit;
}

Hit first_maximum(const Line& line) {
  return first_extremum(line, 0, [](int p, int best) { return p > best; });
}

Hit first_minimum(const Line& line) {
  return first_extremum(line, 255, [](int p, int best) { return p < best; });
}

Hit first_set(const Line& line) {
  for (int step = 0; step < line.steps; ++step)
    if (line.pixel(step) != 0) return step;
  return {};
}

struct GradientBand {
  bool from_zero;
  float lower, upper;
  ThresholdMode mode;

  bool holds(float g) const {
    switch (mode) {
      case ThresholdMode::Standard:
        return g < lower || g > upper;
      case ThresholdMode::InverseBinary:
        return lower < g && g < upper;  // both ends excluded, unlike in a threshold
    }
    return false;
  }

  Hit operator()(const Line& line) const {
    if (line.steps < 1) return {};
    int previous = from_zero ? 0 : line.pixel(0);
    for (int step = from_zero ? 0 : 1; step < line.steps; ++step) {
      const int p = line.pixel(step);
      if (holds(static_cast<float>(p - previous))) return step;
      previous = p;
    }
    return {};
  }
};

enum class Report { coordinate, steps };

template <class Search>
std::vector<int> integers(const Mat<unsigned char>& image, Image_Side side, Report report, Search search) {
  std::vector<int> border;
  Lines(image, side).for_each(image, [&](const Line& line) {
    const Hit hit = search(line);
    border.push_back(!hit ? -1 : report == Report::steps ? *hit : line.inner(*hit));
  });
  return border;
}

/// The row of a hit goes to `x` and its column to `y`. One point serves all lines: what a line does not set stays.
template <class Search>
std::vector<Point_<int>> points(const Mat<unsigned char>& image, const Lines& lines, Point_<int> point,
                                bool forgets_column, Search search) {
  std::vector<Point_<int>> border;
  lines.for_each(image, [&](const Line& line) {
    if (forgets_column) point.y = -1;
    if (const Hit hit = search(line)) point = {line.row(*hit), line.column(*hit)};
    border.push_back(point);
  });
  return border;
}

}  // namespace

namespace zeb {

std::vector<int> border_by_maximum(const Mat<unsigned char>& src, Image_Side side) {
  return integers(src, side, Report::coordinate, first_maximum);
}

std::vector<int> border_by_minimum(const Mat<unsigned char>& src, Image_Side side) {
  return integers(src, side, Report::coordinate, first_minimum);
}

std::vector<int> border_by_threshold(const Mat<unsigned char>& src, Image_Side side, unsigned char lower,
                                     unsigned char upper, ThresholdMode mode) {
  const fitting::Thresholded marked(src, lower, upper, mode);
  return integers(marked.view(), side, Report::steps, first_set);
}

std::vector<int> border_by_gradient(const Mat<unsigned char>& src, Image_Side side, bool from_zero, float lower,
                                    float upper, ThresholdMode mode) {
  return integers(src, side, Report::steps, GradientBand{from_zero, lower, upper, mode});
}

std::vector<Point_<int>> borderpx_by_maximum(const Mat<unsigned char>& src, Image_Side side) {
  return points(src, Lines(src, side), {0, 0}, false, first_maximum);
}

std::vector<Point_<int>> borderpx_by_minimum(const Mat<unsigned char>& src, Image_Side side) {
  return points(src, Lines(src, side), {0, 0}, false, first_minimum);
}

std::vector<Point_<int>> borderpx_by_threshold(const Mat<unsigned char>& src, Image_Side side, unsigned char lower,
                                               unsigned char upper, ThresholdMode mode) {
  const fitting::Thresholded marked(src, lower, upper, mode);
  const Lines lines(src, side);
  return points(marked.view(), lines, {lines.end, -1}, true, first_set);
}

std::vector<Point_<int>> borderpx_by_gradient(const Mat<unsigned char>& src, Image_Side side, bool from_zero,
                                              float lower, float upper, ThresholdMode mode) {
  return points(src, Lines(src, side), {0, -1}, true, GradientBand{from_zero, lower, upper, mode});
}

}  // namespace zeb
