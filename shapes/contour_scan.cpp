#include <algorithm>
#include <boost/optional.hpp>
#include <cstdlib>
#include <limits>
#include <stdexcept>
#include <utility>

#include "frame/packed.h"
#include "shapes/directions.h"
#include "zeb/shapes.h"

using zeb::detail::wrapping_add;
using zeb::detail::wrapping_sub;
using zeb::shapes::dx;
using zeb::shapes::dy;

namespace zeb {
namespace {

constexpr int none = -1;         // in place of a direction code
constexpr int to_the_right = 3;  // direction codes
constexpr int to_the_left = 7;
constexpr int image_frame = 1;   // the border that stands for the frame of the image
constexpr int first_number = 2;  // number of the first contour's border

/// The next element that is not 0 at or after `from` in raster order, as far as it is looked at: below the last whole
/// 64 columns, 8 elements are looked at and 56 stepped over, counted from where the search begins in the row.
boost::optional<Point_<int>> next_nonzero(const Bitmap_<short>& image, Point_<int> from) {
  const int width = image.width, stepped_over_below = width & ~63;
  int x = from.x;
  for (int y = from.y; y < image.height; ++y, x = 0) {
    const short* row = image.data + std::ptrdiff_t{y} * image.stride;
    for (; width - x >= 8; x += x < stepped_over_below ? 64 : 8) {
      const __m128i elements = _mm_loadu_si128(reinterpret_cast<const __m128i*>(row + x));
      if (!zeb::frame::any_set(elements)) continue;
      const int zero_bytes = _mm_movemask_epi8(_mm_cmpeq_epi16(elements, _mm_setzero_si128()));
      return Point_<int>{x + __builtin_ctz(static_cast<unsigned>(~zero_bytes)) / 2, y};
    }
    // Fewer than 8 are left. In a group that is stepped over behind them nothing is left either.
    for (; x < width; ++x)
      if (row[x] != 0) return Point_<int>{x, y};
  }
  return {};
}

/// The neighbours of the elements of a work image.
class Neighbours {
 public:
  explicit Neighbours(const Bitmap_<short>& image) : image_(image), offsets_(image.stride) {}

  /// The first of the eight codes from `first` on, ascending or descending, that leads from `p` to an element which is
  /// not 0 and outside the frame. The right and lower sides count as frame with a `margin` of 1, not with 0.
  int first_set(Point_<int> p, int first, bool ascending, int margin) const {
    const short* at = image_.data + (std::ptrdiff_t{p.y} * image_.stride + p.x);
    const bool all_inside = 2 <= p.x && p.x < image_.width - 2 && 2 <= p.y && p.y < image_.height - 2;
    for (int j = 0; j < 8; ++j) {
      const int c = (ascending ? first + j : first - j) & 7;
      if (!all_inside && !is_inside(p.x + dx[c], p.y + dy[c], margin)) continue;
      if (at[offsets_[c]] != 0) return c;
    }
    return none;
  }

 private:
  bool is_inside(int x, int y, int margin) const {
    return 1 <= x && x < image_.width - margin && 1 <= y && y < image_.height - margin;
  }

  const Bitmap_<short>& image_;
  zeb::shapes::StepOffsets offsets_;
};

/// Border following in a raster scan: S. Suzuki, K. Abe, "Topological structural analysis of digitized binary images by
/// border following" (1985), with a stop rule of its own.
class BorderScan {
 public:
  BorderScan(Bitmap_<short>& image, std::vector<PointContainer<int>>& contours, Point_<int> offset)
      : image_(image),
        neighbours_(image),
        contours_(contours),
        offset_(offset),
        states_(8 * static_cast<std::size_t>(image.width) * static_cast<std::size_t>(image.height)) {
    parents_.reserve(128);
    parents_ = {0, 0};
    is_outer_.reserve(128);
    is_outer_ = {false, false};
    path_.x.reserve(256);
    path_.y.reserve(256);
  }

  void run() {
    Point_<int> position{0, 0};
    for (;;) {
      const boost::optional<Point_<int>> found = next_nonzero(image_, position);
      if (!found) break;
      const Point_<int> p = found.value();
      visit(p);
      position = {past_inner_elements(p.x + 1, p.y), p.y};
    }
  }

  /// Index of each contour's parent, -1 for one directly in the frame.
  std::vector<int> tree() const {
    std::vector<int> tree(parents_.begin() + first_number, parents_.end());
    for (int& parent : tree) parent -= first_number;
    return tree;
  }

  bool is_outer(std::size_t contour) const { return is_outer_[contour + first_number]; }

 private:
  /// Passes over elements of 1 between elements that are not 0, on which a visit does nothing. It would come to each of
  /// them, since the search looks at the element that it begins with.
  int past_inner_elements(int x, int y) const {
    const short* row = image_.data + std::ptrdiff_t{y} * image_.stride;
    if (row[x - 1] == 0) return x;
    const __m128i ones = _mm_set1_epi16(1);
    for (; image_.width - x >= 8; x += 7) {
      const __m128i elements = _mm_loadu_si128(reinterpret_cast<const __m128i*>(row + x));
      if (_mm_movemask_epi8(_mm_cmpeq_epi16(elements, ones)) != 0xFFFF) break;
    }
    return x;
  }

  void visit(Point_<int> p) {
    const short f = image_.at(p.y, p.x);
    if (f == 1 && image_.at(p.y, p.x - 1) == 0) {
      open_border(true);
      follow(p, to_the_left);
    } else if (f < 1) {
      pass(f);
    } else if (image_.at(p.y, p.x + 1) != 0) {
      if (f != 1) pass(f);
    } else {
      if (f > 1) pass(f);
      open_border(false);
      follow(p, to_the_right);
    }
  }

  /// The scan has come across a border.
  void pass(short mark) {
    const int border = std::abs(int{mark});
    // A mark that no border of this scan has left counts as the frame.
    last_border_ = static_cast<std::size_t>(border) < parents_.size() ? border : image_frame;
  }

  void open_border(bool outer) {
    const auto last = static_cast<std::size_t>(last_border_);
    const int parent = is_outer_[last] == outer ? parents_[last] : last_border_;
    is_outer_.push_back(outer);
    parents_.push_back(parent);
  }

  int newest_border() const { return static_cast<int>(parents_.size()) - 1; }

  /// Follows the newest border from `start`, whose neighbour at code `background` is 0, and marks its pixels.
  void follow(Point_<int> start, int background) {
    short& first = image_.at(start.y, start.x);
    path_.x.clear();
    path_.y.clear();
    const int clockwise = neighbours_.first_set(start, background, false, 0);
    if (clockwise == none) {
      append(start);
      first = mark(-newest_border());
      last_border_ = newest_border();
    } else {
      walk(start, (clockwise + 4) & 7);
      if (first != 1) pass(first);
    }
    contours_.push_back(path_);
  }

  /// Goes around until the first step would be repeated. `direction` leads into the start.
  void walk(const Point_<int> start, int direction) {
    const int first_step = neighbours_.first_set(start, direction - 3, true, 0);
    const short positive = mark(newest_border()), negative = mark(-newest_border());
    Point_<int> p = start;
    for (bool again = true; again;) {
      append(p);
      const Point_<int> left_behind = p;
      const int search_from = direction - 3;
      const int step = neighbours_.first_set(p, search_from, true, 1);
      const bool right_seen = step == none || ((to_the_right - search_from) & 7) <= ((step - search_from) & 7);
      again = step != none;
      if (step != none) {
        p = {p.x + dx[step], p.y + dy[step]};
        direction = step;
        if (p.x == start.x && p.y == start.y) again = neighbours_.first_set(p, direction - 3, true, 1) != first_step;
      }
      mark_pixel(left_behind, right_seen, positive, negative);
      // Foreground in the frame can keep a walk from ever coming back. Marks of 0 cannot: they erase the walk's own
      // path.
      if (positive != 0 && path_.size() > states_) throw std::length_error("vector<T> too long");
    }
  }

  /// Marks a pixel that the walk leaves.
  void mark_pixel(Point_<int> p, bool right_seen, short positive, short negative) const {
    short& element = image_.at(p.y, p.x);
    if (right_seen && image_.at(p.y, p.x + 1) == 0)
      element = negative;
    else if (element == 1)
      element = positive;
  }

  void append(Point_<int> p) { path_.add(wrapping_add(p.x, offset_.x), wrapping_add(p.y, offset_.y)); }

  /// Border numbers beyond 32767 wrap around in the image.
  static short mark(int border) { return static_cast<short>(border); }

  Bitmap_<short>& image_;
  Neighbours neighbours_;
  std::vector<PointContainer<int>>& contours_;
  Point_<int> offset_;
  std::size_t states_;             // of a walk: a pixel and a direction; none comes twice before the end
  PointContainer<int> path_;       // the contour being followed; one buffer for all, so that small contours stay small
  std::vector<int> parents_;       // by border number; entry 0 is no border, entry 1 the frame
  std::vector<bool> is_outer_;     // likewise
  int last_border_ = image_frame;  // on which the scan was last; it survives the end of a row
};

/// Keeps the first contours for which `wanted(index)` holds and drops all others.
template <class Wanted>
void keep(std::vector<PointContainer<int>>& contours, std::size_t scanned, Wanted wanted) {
  std::vector<PointContainer<int>> kept;
  for (std::size_t i = 0; i < scanned; ++i)
    if (wanted(i)) kept.push_back(std::move(contours[i]));
  contours = std::move(kept);
}

/// The bitmap's lowest bits, with a frame of zeros one element wide.
Image<short> framed_bits(const Bitmap_<unsigned char>& bitmap) {
  const int width = std::max(bitmap.width, 0), height = std::max(bitmap.height, 0);
  if (width > std::numeric_limits<int>::max() - 2) throw mem::bad_allocation();
  Image<short> framed(width + 2, 16, wrapping_add(height, 2), {});
  for (int y = 0; y < framed.height; ++y) {
    short* const to = framed.data + std::ptrdiff_t{y} * framed.stride;
    if (y == 0 || y > height) {
      std::fill_n(to, framed.stride, short{0});
      continue;
    }
    const unsigned char* const from = bitmap.data + std::ptrdiff_t{y - 1} * bitmap.stride;
    to[0] = 0;
    for (int x = 0; x < width; ++x) to[x + 1] = from[x] & 1;
    std::fill(to + width + 1, to + framed.stride, short{0});
  }
  return framed;
}

void find(const Bitmap_<unsigned char>& bitmap, ScanSuzukiMode mode, std::vector<PointContainer<int>>& contours,
          Point_<int> offset, std::vector<int>* hierarchy) {
  contours.clear();
  Image<short> framed = framed_bits(bitmap);
  detail::scan_suzuki(framed, mode, contours, {wrapping_sub(offset.x, 1), wrapping_sub(offset.y, 1)}, hierarchy);
}

}  // namespace

namespace detail {

void scan_suzuki(Bitmap_<short>& image, const ScanSuzukiMode& mode, std::vector<PointContainer<int>>& contours,
                 const Point_<int>& offset, std::vector<int>* hierarchy) {
  BorderScan scan(image, contours, offset);
  scan.run();
  std::vector<int> tree = scan.tree();
  switch (mode) {
    case ScanSuzukiMode::all_borders:
      if (hierarchy != nullptr) *hierarchy = std::move(tree);
      break;
    case ScanSuzukiMode::outer_borders:
      // The parents are appended as they were numbered before the hole borders were dropped.
      keep(contours, tree.size(), [&](std::size_t i) { return scan.is_outer(i); });
      if (hierarchy != nullptr)
        for (std::size_t i = 0; i < tree.size(); ++i)
          if (scan.is_outer(i)) hierarchy->push_back(tree[i]);
      break;
    case ScanSuzukiMode::external_only:
      keep(contours, tree.size(), [&](std::size_t i) { return tree[i] == -1; });
      if (hierarchy != nullptr) hierarchy->assign(contours.size(), -1);
      break;
  }
}

}  // namespace detail

void find_contours(std::vector<int>& hierarchy, std::vector<PointContainer<int>>& contours,
                   const Bitmap_<unsigned char>& bitmap, const ScanSuzukiMode& mode, const Point_<int>& offset) {
  find(bitmap, mode, contours, offset, &hierarchy);
}

void find_contours(std::vector<PointContainer<int>>& contours, const Bitmap_<unsigned char>& bitmap,
                   const ScanSuzukiMode& mode, const Point_<int>& offset) {
  find(bitmap, mode, contours, offset, nullptr);
}

Point_<float> center(const PointContainer<int>& contour) {
  const auto mean = [](const std::vector<int>& values, std::size_t count) {
    int sum = 0;
    for (const int value : values) sum = wrapping_add(sum, value);
    return static_cast<float>(sum) / static_cast<float>(count);
  };
  return {mean(contour.x, contour.size()), mean(contour.y, contour.size())};
}

}  // namespace zeb
