#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "fitting/hesse.h"
#include "fitting/random_sampling.h"
#include "frame/packed.h"
#include "frame/rounding.h"
#include "frame/scratch.h"

using zeb::fitting::pi;
using zeb::fitting::sample_capacity;
using zeb::fitting::two_pi;
using zeb::frame::Scratch;

namespace {

constexpr int largest_line_count = 10;
constexpr int block_radius = 4;

struct Bitmap {
  const unsigned char* data;
  int width, height, stride;

  const unsigned char* at(int x, int y) const { return data + std::ptrdiff_t{y} * stride + x; }
};

/// Points with 16-bit coordinates; larger ones wrap around. A torus of cells, as wide as the spacing, tells which of
/// them may lie near a position.
class EdgePoints {
 public:
  EdgePoints(std::int16_t* x_, std::int16_t* y_, int spacing) : x(x_), y(y_), spacing_(spacing) {
    std::fill_n(&newest_[0][0], cells * cells, no_point);
  }

  void add(int px, int py) {
    x[count] = static_cast<std::int16_t>(px);
    y[count] = static_cast<std::int16_t>(py);
    std::int16_t& newest = newest_[cell(y[count])][cell(x[count])];
    next_[count] = newest;
    newest = static_cast<std::int16_t>(count++);
  }

  /// Whether a point lies nearer than the spacing in city-block distance.
  bool any_near(int px, int py) const {
    const unsigned row = cell(py), column = cell(px);
    for (unsigned y_cell : {row + cells - 1, row, row + 1})
      for (unsigned x_cell : {column + cells - 1, column, column + 1})
        for (int i = newest_[y_cell % cells][x_cell % cells]; i != no_point; i = next_[i])
          if (std::abs(px - x[i]) + std::abs(py - y[i]) < spacing_) return true;
    return false;
  }

  std::int16_t* x;
  std::int16_t* y;
  int count = 0;

 private:
  static constexpr unsigned cells = 64;
  static constexpr std::int16_t no_point = -1;

  unsigned cell(int coordinate) const { return static_cast<unsigned>(coordinate / spacing_) % cells; }

  int spacing_;
  std::int16_t newest_[cells][cells];
  std::int16_t next_[sample_capacity];
};

/// Moves a position to the first active pixel in the 9 by 9 block around it, in raster order or backwards; false
/// without one.
bool move_to_active(const Bitmap& bitmap, int& col, int& row, bool forwards) {
  const int step = forwards ? 1 : -1;
  for (int dy = -block_radius * step; std::abs(dy) <= block_radius; dy += step) {
    const unsigned char* pixels = bitmap.at(col - block_radius, row + dy);
    std::uint64_t first_eight;
    std::memcpy(&first_eight, pixels, sizeof first_eight);
    if (first_eight == 0 && pixels[8] == 0) continue;
    for (int dx = -block_radius * step;; dx += step) {
      if (pixels[dx + block_radius] == 0) continue;
      col += dx;
      row += dy;
      return true;
    }
  }
  return false;
}

/// A position that an attempt drew.
struct Draw {
  int col, row;
  bool forwards;
};

/// The draws of `count` attempts from `attempt` on that stay clear of the border; the number of them. What is drawn
/// does not depend on the image, so its blocks can be fetched ahead.
int draw_positions(Draw* draws, int attempt, int count, const Bitmap& bitmap, int spacing) {
  int kept = 0;
  for (const int end = attempt + count; attempt < end; ++attempt) {
    const int row = rand() % bitmap.height;
    // The margin at the bottom is one row larger. A rejected row draws no column.
    if (row < spacing || row >= bitmap.height - spacing - 1) continue;
    const int col = rand() % bitmap.width;
    if (col < spacing || col >= bitmap.width - spacing) continue;
    for (int dy = -block_radius; dy <= block_radius; ++dy)
      _mm_prefetch(reinterpret_cast<const char*>(bitmap.at(col, row + dy)), _MM_HINT_T0);
    draws[kept++] = {col, row, attempt % 2 == 1};
  }
  return kept;
}

void sample_edge_points(EdgePoints& points, const Bitmap& bitmap, int spacing) {
  const auto attempts = static_cast<std::int32_t>(zeb::fitting::mean_side(bitmap.width, bitmap.height) * 64u);
  srand(1125525848);
  constexpr int batch = 16;
  for (int attempt = 0, count; attempt < attempts && points.count < sample_capacity; attempt += count) {
    // Never more draws at once than points may still be stored: the generator stops with the last point.
    count = std::min({batch, attempts - attempt, sample_capacity - points.count});
    Draw draws[batch];
    const int kept = draw_positions(draws, attempt, count, bitmap, spacing);
    for (const Draw* d = draws; d < draws + kept; ++d) {
      // The spacing is kept from the position drawn, not from the pixel found; it is the dearer test of the two.
      int x = d->col, y = d->row;
      if (move_to_active(bitmap, x, y, d->forwards) && !points.any_near(d->col, d->row)) points.add(x, y);
    }
  }
}

/// Candidate lines in Hesse form around the image centre.
struct Candidates {
  float* angle;
  float* distance;
  int count = 0;

  int angle_bin(int i, int bins) const { return zeb::frame::trunc(static_cast<float>(bins) * angle[i] / two_pi); }
};

void join_pairs(Candidates& lines, int wanted, const EdgePoints& points, const Bitmap& bitmap) {
  const int half_w = bitmap.width / 2, half_h = bitmap.height / 2;
  const int min_sq = zeb::fitting::fraction_of_area(bitmap.width, 0.0004, bitmap.height);
  const int max_sq = zeb::fitting::fraction_of_area(bitmap.width, 0.04, bitmap.height);
  for (int i = 0; i < points.count - 1; ++i) {
    int wx = points.x[i], wy = points.y[i];
    for (int j = i + 1; j < points.count; ++j) {
      const std::int64_t dx = points.x[j] - wx, dy = points.y[j] - wy, d = dx * dx + dy * dy;
      if (d < min_sq || d > max_sq) continue;
      const int mx = (points.x[j] + wx) / 2, my = (points.y[j] + wy) / 2;
      if (mx < 0 || mx >= bitmap.width || my < 0 || my >= bitmap.height || *bitmap.at(mx, my) < 128) continue;
      // Point i stays displaced for the pairs that follow; rotation search and rectangle detection rely on exactly the
      // candidates that come of it.
      wx -= half_w;
      wy -= half_h;
      float angle, distance;
      zeb::fitting::LineHesseFromPoints(&angle, &distance, wx, wy, points.x[j] - half_w, points.y[j] - half_h);
      if (!(1e9f > distance)) continue;
      lines.angle[lines.count] = angle;
      lines.distance[lines.count] = distance;
      if (++lines.count == wanted) return;
    }
  }
}

void count_angles(float* histogram, int bins, const Candidates& lines) {
  std::fill_n(histogram, bins, 0.0f);
  for (int i = 0; i < lines.count; ++i) {
    const int bin = lines.angle_bin(i, bins);
    if (0 <= bin && bin < bins) histogram[bin] += 1.0f;
  }
}

void count_distances(float* histogram, int bins, int angle_bins, const Candidates& lines, int limit) {
  std::fill_n(histogram, bins, 0.0f);
  int angle_bin[sample_capacity];
  for (int i = 0; i < lines.count; ++i) angle_bin[i] = lines.angle_bin(i, angle_bins);
  const float not_parallel = static_cast<float>(static_cast<std::int32_t>(static_cast<std::uint32_t>(limit) * 10u));
  for (int i = 0; i < lines.count - 1; ++i)
    for (int j = i; j < lines.count; ++j) {
      float value = not_parallel;
      if (angle_bin[i] == angle_bin[j]) value = fabsf(lines.distance[i] - lines.distance[j]);
      if (std::abs(angle_bin[i] - angle_bin[j]) == angle_bins / 2) value = lines.distance[j] + lines.distance[i];
      const int bin = zeb::frame::trunc(static_cast<float>(bins) * value) / limit;
      if (0 <= bin && bin < bins) histogram[bin] += 1.0f;
    }
}

/// Candidates in the plane of angle and distance, with a weight for each that tells how many lie near it.
class Clusters {
 public:
  Clusters(const Candidates& lines, float* score, float scale) : lines_(lines), score_(score), scale_(scale) {
    std::fill_n(score_, lines.count, 200.0f);
    float total = 0.0f;
    float D[sample_capacity], closeness[sample_capacity];
    for (int a = 0; a < lines.count; ++a) {
      compare(a, a + 1, D, closeness);
      float own = score_[a];
      for (int b = a + 1; b < lines.count; ++b) {
        total += D[b];
        own += closeness[b];
      }
      score_[a] = own;
      for (int b = a + 1; b < lines.count; ++b) score_[b] += closeness[b];
    }
    mean_ = total / static_cast<float>(lines.count);
  }

  /// Takes out clusters, strongest first, and stores their weighted means; the number of them.
  int extract(float* angles, float* distances) {
    int found = 0;
    float peak = 0.0f;
    while (found < largest_line_count) {
      const int best = strongest();
      if (peak < negligible) peak = score_[best];
      if (peak * 0.1f > score_[best] || static_cast<float>(lines_.count) * 4.0f / mean_ > score_[best]) break;
      float cos_sum = 0.0f, sin_sum = 0.0f, distance_sum = 0.0f, weight = 0.0f;
      float D[sample_capacity], closeness[sample_capacity];
      compare(best, 0, D, closeness);
      for (int k = 0; k < lines_.count; ++k) {
        const float s = score_[k];
        if (!(s > negligible)) continue;
        if (0.05f > D[k]) {
          cos_sum += cosf(lines_.angle[k]) * s;
          sin_sum += sinf(lines_.angle[k]) * s;
          distance_sum += lines_.distance[k] * s;
          weight += s;
        }
        if (0.1f > D[k]) take_out(k);
      }
      if (!(weight > negligible)) continue;
      angles[found] = atan2f(sin_sum / weight, cos_sum / weight);
      distances[found] = distance_sum / weight;
      ++found;
    }
    return found;
  }

 private:
  static constexpr float negligible = 1e-8f;

  /// The distance of line `k` from each line from `first` on, see `fLineDistHesse`, and the closeness that it adds to
  /// the scores. Four at a time: the last group reads beyond the count, but within the slack of the arrays.
  void compare(int k, int first, float* D, float* closeness) const {
    const __m128 angle = _mm_set1_ps(lines_.angle[k]), distance = _mm_set1_ps(lines_.distance[k]);
    const __m128 magnitude = _mm_castsi128_ps(_mm_set1_epi32(0x7FFFFFFF));
    const __m128 half_turn = _mm_set1_ps(pi), turn = _mm_set1_ps(two_pi), two = _mm_set1_ps(2.0f);
    const __m128 scale = _mm_set1_ps(scale_), offset = _mm_set1_ps(0.005f);
    for (int m = first & ~3; m < lines_.count; m += 4) {
      __m128 t = _mm_and_ps(magnitude, _mm_sub_ps(angle, _mm_loadu_ps(lines_.angle + m)));
      t = _mm_blendv_ps(t, _mm_sub_ps(turn, t), _mm_cmpgt_ps(t, half_turn));
      const __m128 u = _mm_div_ps(_mm_mul_ps(_mm_sub_ps(distance, _mm_loadu_ps(lines_.distance + m)), two), scale);
      const __m128 d = _mm_sqrt_ps(_mm_add_ps(_mm_mul_ps(u, u), _mm_mul_ps(t, t)));
      _mm_storeu_ps(D + m, d);
      _mm_storeu_ps(closeness + m, _mm_div_ps(two, _mm_add_ps(d, offset)));
    }
  }

  int strongest() const {
    int best = 0;
    float largest = 0.0f;
    for (int k = 0; k < lines_.count; ++k)
      if (score_[k] > largest) {
        largest = score_[k];
        best = k;
      }
    return best;
  }

  void take_out(int k) {
    float D[sample_capacity], closeness[sample_capacity];
    compare(k, 0, D, closeness);
    score_[k] = 0.0f;
    for (int m = 0; m < lines_.count; ++m)
      if (score_[m] >= negligible) score_[m] -= closeness[m];
  }

  const Candidates& lines_;
  float* score_;
  float scale_;
  float mean_;
};

}  // namespace

namespace zeb {

void CalcLinesRandom(float* angles, float* distances, float* angle_histogram, int angle_bins, float* distance_histogram,
                     int distance_bins, int* line_count, unsigned char* bitmap, int width, int height, int stride) {
  if (line_count == nullptr) return;
  *line_count = 0;
  if (bitmap == nullptr || width < 1 || height < 1) return;
  const int active = fitting::count_active(bitmap, width, height, stride);
  const float wanted = static_cast<float>(detail::wrapping_sub(active, 1)) * static_cast<float>(active) / 12.0f;
  if (1.0f > wanted) return;

  const Bitmap image{bitmap, width, height, stride};
  const Scratch<float> line_angle(sample_capacity), line_distance(sample_capacity);
  if (!line_angle || !line_distance) return;
  Candidates lines{line_angle.data(), line_distance.data()};
  {
    const Scratch<std::int16_t> point_x(sample_capacity), point_y(sample_capacity);
    if (!point_x || !point_y) return;
    const float mean_hundredth = sqrtf(static_cast<float>(width) * 0.0001f * static_cast<float>(height));
    const int spacing = std::max(4, zeb::frame::trunc(mean_hundredth));
    EdgePoints points(point_x.data(), point_y.data(), spacing);
    sample_edge_points(points, image, spacing);
    join_pairs(lines, zeb::frame::trunc(std::min(wanted, 2000.0f)), points, image);
  }

  if (angle_histogram != nullptr && angle_bins >= 1) count_angles(angle_histogram, angle_bins, lines);
  if (distance_histogram != nullptr && distance_bins >= 1 && angle_bins >= 1)
    count_distances(distance_histogram, distance_bins, angle_bins, lines, std::max(width, height));

  if (angles == nullptr || distances == nullptr || lines.count == 0) return;
  const Scratch<float> line_score(lines.count);
  if (!line_score) return;
  const float scale = static_cast<float>(height / 2 + width / 2) * 0.5f;
  *line_count = Clusters(lines, line_score.data(), scale).extract(angles, distances);
}

}  // namespace zeb
