#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>
#include <vector>

#include "tests/support/picture.h"
#include "tests/support/random_geometry.h"
#include "zeb/drawing.h"
#include "zeb/fitting.h"

using zeb::Point_;
using namespace zeb::testing;

namespace {

using Floats = std::vector<float>;
constexpr float two_pi = 6.2831855f;

/// What the line search gives.
struct Lines {
  Floats angles, distances, angle_histogram, distance_histogram;

  Lines(int angle_bins, int distance_bins)
      : angle_histogram(static_cast<std::size_t>(angle_bins), -1.0f),
        distance_histogram(static_cast<std::size_t>(distance_bins), -1.0f) {}

  friend bool operator==(const Lines& a, const Lines& b) {
    return a.angles == b.angles && a.distances == b.distances && a.angle_histogram == b.angle_histogram &&
           a.distance_histogram == b.distance_histogram;
  }
};

Lines lines_in(Picture& image, int angle_bins, int distance_bins) {
  Lines found(angle_bins, distance_bins);
  float angles[10], distances[10];
  int count = -1;
  zeb::CalcLinesRandom(angles, distances, found.angle_histogram.data(), angle_bins, found.distance_histogram.data(),
                       distance_bins, &count, image.data(), image.width(), image.height(), image.stride());
  found.angles.assign(angles, angles + count);
  found.distances.assign(distances, distances + count);
  return found;
}

/// A plain rendering of the line search, with the same generator.
class PlainLineSearch {
 public:
  explicit PlainLineSearch(const Picture& image) : image_(image), w_(image.width()), h_(image.height()) {}

  Lines run(int angle_bins, int distance_bins) {
    Lines found(angle_bins, distance_bins);
    int active = 0;
    for_each_pixel(w_, h_, [&](int x, int y) { active += image_(x, y) != 0 ? 1 : 0; });
    const float wanted = static_cast<float>(active - 1) * static_cast<float>(active) / 12.0f;
    if (1.0f > wanted) return found;
    sample();
    pair(static_cast<std::size_t>(std::min(wanted, 2000.0f)));
    count(found.angle_histogram, found.distance_histogram);
    if (!angle_.empty()) cluster(found);
    return found;
  }

 private:
  void sample() {
    const int attempts = static_cast<int>(sqrtf(static_cast<float>(w_ * h_))) * 64;
    const int spacing = std::max(4, static_cast<int>(sqrtf(static_cast<float>(w_) * 0.0001f * static_cast<float>(h_))));
    srand(1125525848);
    for (int attempt = 0; attempt < attempts && points_.size() < 2000; ++attempt) {
      const int row = rand() % h_;
      if (row < spacing || row >= h_ - spacing - 1) continue;
      const int col = rand() % w_;
      if (col < spacing || col >= w_ - spacing) continue;
      if (std::any_of(points_.begin(), points_.end(),
                      [&](auto p) { return std::abs(col - p.x) + std::abs(row - p.y) < spacing; }))
        continue;
      for (int k = 0; k < 81; ++k) {
        const int place = attempt % 2 == 1 ? k : 80 - k, x = col - 4 + place % 9, y = row - 4 + place / 9;
        if (image_(x, y) == 0) continue;
        points_.push_back({x, y});
        break;
      }
    }
  }

  void pair(std::size_t wanted) {
    const int hw = w_ / 2, hh = h_ / 2;
    const int min_sq = static_cast<int>(w_ * 0.0004 * h_), max_sq = static_cast<int>(w_ * 0.04 * h_);
    for (std::size_t i = 0; i < points_.size(); ++i)
      for (std::size_t j = i + 1; j < points_.size(); ++j) {
        Point_<int>&first = points_[i], second = points_[j];
        const int d = (second.x - first.x) * (second.x - first.x) + (second.y - first.y) * (second.y - first.y);
        if (d < min_sq || d > max_sq) continue;
        const int mx = (second.x + first.x) / 2, my = (second.y + first.y) / 2;
        if (mx < 0 || my < 0 || mx >= w_ || my >= h_ || image_(mx, my) < 128) continue;
        first = {first.x - hw, first.y - hh};  // it stays displaced
        const float dx = static_cast<float>(second.x - hw - first.x), dy = static_cast<float>(first.y - second.y + hh);
        const float l = sqrtf(dx * dx + dy * dy);
        if (1.0f > l) continue;
        float nx = dy / l, ny = dx / l, dist = static_cast<float>(first.x) * nx + static_cast<float>(first.y) * ny;
        if (0 > dist) nx = -nx, ny = -ny, dist = -dist;
        const float angle = atan2f(ny, nx);
        angle_.push_back(angle < 0 ? angle + two_pi : angle);
        distance_.push_back(dist);
        if (angle_.size() == wanted) return;
      }
  }

  void count(Floats& angles, Floats& distances) const {
    if (angles.empty()) return;
    const int angle_bins = static_cast<int>(angles.size()), limit = std::max(w_, h_);
    const auto bin = [&](std::size_t i) {
      return static_cast<int>(static_cast<float>(angle_bins) * angle_[i] / two_pi);
    };
    const auto add = [](Floats& histogram, int b) {
      if (0 <= b && static_cast<std::size_t>(b) < histogram.size()) ++histogram[static_cast<std::size_t>(b)];
    };
    std::fill(angles.begin(), angles.end(), 0.0f);
    std::fill(distances.begin(), distances.end(), 0.0f);
    for (std::size_t i = 0; i < angle_.size(); ++i) {
      add(angles, bin(i));
      for (std::size_t j = i; j < angle_.size() && i + 1 < angle_.size(); ++j) {
        float value = static_cast<float>(limit * 10);
        if (bin(i) == bin(j)) value = fabsf(distance_[i] - distance_[j]);
        if (std::abs(bin(i) - bin(j)) == angle_bins / 2) value = distance_[j] + distance_[i];
        add(distances, static_cast<int>(static_cast<float>(distances.size()) * value) / limit);
      }
    }
  }

  void cluster(Lines& found) const {
    const std::size_t n = angle_.size();
    const float scale = static_cast<float>(h_ / 2 + w_ / 2) * 0.5f;
    const auto D = [&](std::size_t a, std::size_t b) {
      return zeb::fLineDistHesse(angle_[a], distance_[a], angle_[b], distance_[b], scale);
    };
    Floats score(n, 200.0f);
    float total = 0, peak = 0;
    for (std::size_t a = 0; a < n; ++a)
      for (std::size_t b = a + 1; b < n; ++b) {
        const float d = D(a, b);
        total += d;
        score[a] += 2.0f / (d + 0.005f);
        score[b] += 2.0f / (d + 0.005f);
      }
    const float mean = total / static_cast<float>(n);
    while (found.angles.size() < 10) {
      // Scores fall below 0, too.
      const auto best = static_cast<std::size_t>(std::max_element(score.begin(), score.end()) - score.begin());
      if (peak < 1e-8f) peak = score[best];
      if (peak * 0.1f > score[best] || static_cast<float>(n) * 4.0f / mean > score[best]) return;
      float c = 0, s = 0, dist = 0, weight = 0;
      for (std::size_t k = 0; k < n; ++k) {
        if (!(score[k] > 1e-8f)) continue;
        if (0.05f > D(best, k)) {
          c += cosf(angle_[k]) * score[k];
          s += sinf(angle_[k]) * score[k];
          dist += distance_[k] * score[k];
          weight += score[k];
        }
        if (!(0.1f > D(best, k))) continue;
        score[k] = 0;
        for (std::size_t m = 0; m < n; ++m)
          if (score[m] >= 1e-8f) score[m] -= 2.0f / (D(k, m) + 0.005f);
      }
      if (!(weight > 1e-8f)) continue;
      found.angles.push_back(atan2f(s / weight, c / weight));
      found.distances.push_back(dist / weight);
    }
  }

  const Picture& image_;
  int w_, h_;
  std::vector<Point_<int>> points_;
  Floats angle_, distance_;
};

/// A drawing of random lines with noise, in several grey values.
Picture scribble(std::mt19937& engine, int width, int stride, int height) {
  Picture image(width, stride, height);
  const double noise = pick(engine, 0, 3) * 0.01;
  for (int i = pick(engine, 1, 6); i > 0; --i)
    vLine(image.data(), pick(engine, 0, width), pick(engine, 0, height), pick(engine, 0, width),
          pick(engine, 0, height), stride, height, static_cast<unsigned char>(pick(engine, 100, 255)),
          pick(engine, 0, 2));
  for (int y = 0; y < height; ++y)
    for (int x = 0; x < width; ++x)
      if (std::bernoulli_distribution(noise)(engine)) image(x, y) = static_cast<unsigned char>(engine());
  return image;
}

TEST(LineSearch, MatchesThePlainRendering) {
  std::mt19937 engine(1);
  std::size_t count = 0;
  for (int i = 0; i < 24; ++i) {
    const int width = pick(engine, 5, 400), height = pick(engine, 5, 300);
    SCOPED_TRACE(::testing::Message() << i << ": " << width << " x " << height);
    Picture image = i == 20 ? scribble(engine, 1700, 1700, 900) : scribble(engine, width, width + i % 7, height);
    const int angle_bins = i % 5 == 1 ? 0 : pick(engine, 1, 60), distance_bins = i % 5 == 2 ? 0 : pick(engine, 1, 90);
    const Lines expected = PlainLineSearch(image).run(angle_bins, distance_bins);
    const int next = rand();
    const Lines found = lines_in(image, angle_bins, distance_bins);
    if (!found.angles.empty()) {
      ASSERT_EQ(rand(), next) << "the state of the generator";
    }
    ASSERT_EQ(found.angles, expected.angles);
    ASSERT_TRUE(found == expected);
    count += found.angles.size();
  }
  EXPECT_GT(count, 20u);
}

TEST(LineSearch, NeedsTwelvePairsOfPixelsForALine) {
  Picture dash(100, 100, 100), single(100, 100, 100);
  single(50, 50) = 255;
  EXPECT_TRUE(lines_in(single, 5, 5) == Lines(5, 5)) << "untouched";
  // Four pixels: 4 * 3 / 12 lines are sought. One line makes no pair.
  for (int x = 50; x < 54; ++x) dash(x, 50) = 255;
  const Lines found = lines_in(dash, 1, 1);
  EXPECT_TRUE(found.angles.empty());
  EXPECT_EQ(found.angle_histogram, Floats(1, 1.0f));
  EXPECT_EQ(found.distance_histogram, Floats(1, 0.0f));
}

using Circle = std::array<float, 3>;  // radius and centre

Circle circle_in(Picture& image) {
  Circle c{-1, -1, -1};
  zeb::CalcCircleRandom(&c[0], &c[1], &c[2], image.data(), image.width(), image.height(), image.stride());
  return c;
}

/// A plain rendering of the circle search, which looks at all nine rows.
Circle plain_circle(const Picture& image) {
  const int w = image.width(), h = image.height();
  const auto active = [&](int x, int y) { return 0 <= x && x < w && 0 <= y && y < h && image(x, y) != 0; };
  int set = 0;
  for (int y = 0; y < h; ++y)
    for (int x = 0; x < w; ++x) set += active(x, y) ? 1 : 0;
  const float wanted = static_cast<float>(set - 1) * static_cast<float>(set) * static_cast<float>(set - 2) / 12.0f;
  if (1.0f > wanted) return {};
  const std::size_t capacity = static_cast<std::size_t>(std::min(wanted, 2000.0f));
  const int min_sq = static_cast<int>(w * 0.04 * h);
  const int attempts = static_cast<int>(sqrtf(static_cast<float>(w * h))) << 5;
  srand(25848);
  int px = 0, py = 0;
  const auto draw = [&](int row_step, int column_step) {
    const long row = rand(), column = rand();
    for (int dy = -4 * row_step; std::abs(dy) <= 4; dy += row_step) {
      py = static_cast<int>((row + dy) % h);
      for (int dx = -4 * column_step; std::abs(dx) <= 4; dx += column_step) {
        px = static_cast<int>((column + dx) % w);
        if (active(px, py)) break;
      }
    }
    return active(px, py);
  };
  const auto far = [&](int x, int y) { return (px - x) * (px - x) + (py - y) * (py - y) >= min_sq; };
  Floats xs, ys, rs;
  for (int attempt = 0; attempt < attempts && rs.size() < capacity; ++attempt) {
    if (!draw(1, 1)) continue;
    const int x1 = px, y1 = py;
    int counter = 0;
    while (counter < attempts && !(draw(-1, 1) && far(x1, y1))) ++counter;
    if (counter >= attempts) continue;
    const int x2 = px, y2 = py;
    for (counter = 0; counter < attempts && !(draw(-1, -1) && far(x1, y1) && far(x2, y2));) ++counter;
    if (counter >= attempts) continue;
    const int x3 = px, y3 = py;
    const float a = static_cast<float>(x2 - x3), b = static_cast<float>(x1 - x2);
    const float y21 = static_cast<float>(y2 - y1), y32 = static_cast<float>(y3 - y2), c = a * y21 - b * y32;
    xs.push_back(0);
    ys.push_back(0);
    rs.push_back(1e8f);
    if (std::fabs(static_cast<double>(c)) < 0.001) continue;
    const float t = (static_cast<float>(y1 - y3) * y32 - static_cast<float>(x1 - x3) * a) / c;
    const float cx = (y21 * t + static_cast<float>(x1 + x2)) * 0.5f, cy = (b * t + static_cast<float>(y1 + y2)) * 0.5f;
    const float ey = static_cast<float>(y1) - cy, ex = static_cast<float>(x1) - cx;
    xs.back() = cx;
    ys.back() = cy;
    rs.back() = sqrtf(ey * ey + ex * ex);
  }
  const std::size_t n = rs.size();
  if (n == 0) return {};
  const float blur = sqrtf(static_cast<float>(h) * static_cast<float>(w)) * 0.05f;
  Floats score(n, 0.0f);
  std::vector<std::size_t> order(n);
  for (std::size_t i = 0; i < n; ++i) {
    order[i] = i;
    for (std::size_t j = 0; j < n; ++j) {
      const float dx = xs[i] - xs[j], dy = ys[i] - ys[j], dr = rs[i] - rs[j];
      score[i] += 1.0f / (sqrtf(dx * dx + dy * dy + dr * dr) + blur);
    }
  }
  for (std::size_t a = 0; a + 1 < n; ++a)
    for (std::size_t b = a + 1; b < n; ++b)
      if (score[order[b]] > score[order[a]]) std::swap(order[b], order[a]);
  float r = 0, x = 0, y = 0, total = 0;
  for (std::size_t i = 0; i < (n / 4 < 4 ? n : n / 4); ++i) {
    const std::size_t k = order[i];
    r += score[k] * rs[k];
    x += score[k] * xs[k];
    y += score[k] * ys[k];
    total += score[k];
  }
  return {r / total, x / total, y / total};
}

void expect_plain_circle(Picture& image) {
  SCOPED_TRACE(::testing::Message() << image.width() << " x " << image.height());
  const Circle expected = plain_circle(image);
  const int next = rand();
  EXPECT_EQ(circle_in(image), expected);
  if (expected[0] > 0) {
    EXPECT_EQ(rand(), next) << "the state of the generator";
  }
}

TEST(CircleSearch, MatchesThePlainRendering) {
  std::mt19937 engine(3);
  for (int i = 0; i < 24; ++i) {
    const int width = pick(engine, 1, 250), height = pick(engine, 1, 200);
    Picture image = i % 2 == 0 ? scribble(engine, width, width + i % 5, height) : Picture(width, width + i % 5, height);
    if (i % 2 == 1)
      vDrawCircle(image.data(), width, height, image.stride(), width / 2, height / 2,
                  static_cast<float>(pick(engine, 0, std::min(width, height) / 2)), 2.0f, 255, 0);
    expect_plain_circle(image);
  }
  Picture row(100, 100, 1, 255), column(1, 1, 100, 255);
  expect_plain_circle(row);
  expect_plain_circle(column);
  // Numbers are drawn ahead here. The small ring never gives three points far enough apart: all attempts are used up.
  for (const float radius : {30.0f, 300.0f}) {
    Picture image(1200, 1201, 900);
    vDrawCircle(image.data(), 1200, 900, image.stride(), 640, 450, radius, 2.0f, 255, 0);
    expect_plain_circle(image);
  }
}

TEST(CircleSearch, NeedsAllItsArguments) {
  Picture full(40, 40, 40, 255);
  for (int missing = 0; missing < 4; ++missing) {
    Circle c{-1, -1, -1}, expected{0, 0, 0};
    if (missing < 3) expected[static_cast<std::size_t>(missing)] = -1;
    zeb::CalcCircleRandom(missing == 0 ? nullptr : &c[0], missing == 1 ? nullptr : &c[1],
                          missing == 2 ? nullptr : &c[2], missing == 3 ? nullptr : full.data(), 40, 40, 40);
    EXPECT_EQ(c, expected) << missing;
  }
}

TEST(WeightedCorrelation, AddsFourPartialSumsPerLag) {
  std::mt19937 engine(4);
  std::uniform_real_distribution<float> value(-10.0f, 10.0f);
  for (int i = 0; i < 300; ++i) {
    const int length = pick(engine, 0, 60), max_lag = pick(engine, 0, i % 10 == 0 ? 90 : 9);
    const auto n = static_cast<std::size_t>(length);
    Floats first(n), second(n), result(static_cast<std::size_t>(2 * max_lag) + 1, -5.0f);
    std::vector<int> weights(n);
    for (std::size_t k = 0; k < n; ++k)
      first[k] = value(engine), second[k] = value(engine), weights[k] = pick(engine, -1, 5);
    zeb::Correlation(result.data(), first.data(), second.data(), weights.data(), length, max_lag);
    for (int m = -max_lag; m < max_lag; ++m) {
      float products[4] = {}, common[4] = {};
      for (int k = 0; k < length; ++k) {
        if (k - m < 0 || k - m >= length) continue;
        const auto a = static_cast<std::size_t>(k), b = static_cast<std::size_t>(k - m);
        const float w = static_cast<float>(weights[a]) * static_cast<float>(weights[b]);
        common[k % 4] += w;
        products[k % 4] += w * first[a] * second[b];
      }
      const float expected = ((products[0] + products[1]) + (products[2] + products[3])) /
                             ((common[0] + common[1]) + (common[2] + common[3]));
      const float got = result[static_cast<std::size_t>(max_lag + m)];
      ASSERT_TRUE(got == expected || (std::isnan(got) && std::isnan(expected))) << length << " " << max_lag << " " << m;
    }
    ASSERT_EQ(result.back(), -5.0f) << "one value too many";
  }
}

}  // namespace
