// Histograms and measures: packed against scalar sums, sums against definitions, selectors on any weights.

#include "zeb/statistics.h"

#include <cmath>
#include <vector>

#include "input.h"

namespace {

using zeb::fuzz::check;
using zeb::fuzz::Input;
using zeb::fuzz::Layout;
using zeb::fuzz::Plane;

void measures(Input& input) {
  Layout layout = input.layout();
  // Tall and narrow ones reach the packed sums' chunks of 255 rows.
  if (input.integer(0, 3) == 0) {
    layout.width = std::min(layout.width, 24);
    layout.stride = std::min(layout.stride, layout.width + 5);
    layout.height = input.integer(0, 800);
  }
  const int w = layout.width, s = layout.stride, h = layout.height;
  Plane a = input.picture(layout), b = input.picture(layout, input.flag()), mask = input.picture(layout, true);
  const Plane before(a);
  if (w > 0 && h > 0) {
    int both = 0, either = 0;
    for (int y = 0; y < h; ++y)
      for (int x = 0; x < w; ++x) {
        both += a(x, y) != 0 && b(x, y) != 0 ? 1 : 0;
        either += a(x, y) != 0 || b(x, y) != 0 ? 1 : 0;
      }
    const auto share = [&](int count) { return static_cast<float>(count) / static_cast<float>(w * h); };
    const auto near = [](float p, float q) { return std::abs(p - q) < 1e-6f; };
    check(near(fAnd(a.data(), b.data(), w, h, s, s), share(both)), "fAnd counts what is set in both");
    check(near(fMatchingDistance(a.data(), b.data(), w, h, s, s), share(either - both)),
          "fMatchingDistance counts what differs");
    if (h <= 254) {
      check(fMMAnd(a.data(), b.data(), w, h, s, s) == fAnd(a.data(), b.data(), w, h, s, s), "fMMAnd equals fAnd");
      check(fMMMatchingDistance(a.data(), b.data(), w, h, s, s) == fMatchingDistance(a.data(), b.data(), w, h, s, s),
            "fMMMatchingDistance equals fMatchingDistance");
      check(near(fMMOr(a.data(), b.data(), w, h, s, s), share(either)), "fMMOr counts what is set in one");
    } else {
      // Chunks of 255 rows, each from the row that closed the one before; the last one has at least that row.
      int both_by_chunks = 0, either_by_chunks = 0;
      for (int chunk = 0; chunk <= h / 255; ++chunk)
        for (int i = 0; i < (chunk < h / 255 ? 255 : std::max(1, h % 255)); ++i)
          for (int x = 0; x < w; ++x) {
            const int y = 254 * chunk + i;
            both_by_chunks += a(x, y) != 0 && b(x, y) != 0 ? 1 : 0;
            either_by_chunks += a(x, y) != 0 || b(x, y) != 0 ? 1 : 0;
          }
      check(near(fMMAnd(a.data(), b.data(), w, h, s, s), share(both_by_chunks)), "fMMAnd repeats rows");
      check(near(fMMOr(a.data(), b.data(), w, h, s, s), share(either_by_chunks)), "fMMOr repeats rows");
      check(near(fMMMatchingDistance(a.data(), b.data(), w, h, s, s), share(either_by_chunks - both_by_chunks)),
            "fMMMatchingDistance repeats rows");
    }
    int set = 0;
    unsigned mass = 0, selected = 0, selected_mass = 0;
    for (int y = 0; y < h; ++y)
      for (int x = 0; x < w; ++x) {
        set += a(x, y) != 0 ? 1 : 0;
        mass += a(x, y);
        selected += mask(x, y) != 0 ? 1u : 0u;
        selected_mass += mask(x, y) != 0 ? a(x, y) : 0u;
      }
    check(near(fMMPatternL1Norm(a.data(), w, h, s), share(set)), "fMMPatternL1Norm counts what is set");
    check(uiBMMass(a.data(), w, s, h) == mass, "uiBMMass sums up");
    const float masked = selected == 0 ? 0.0f : static_cast<float>(selected_mass) / static_cast<float>(selected);
    check(std::abs(fGetBMAver(a.data(), mask.data(), w, s, h) - masked) < 1e-3f, "fGetBMAver averages");
    check(std::abs(fMMGetBMAver(a.data(), mask.data(), w, s, h) - masked) < 1e-3f, "fMMGetBMAver averages");
    check(std::abs(fMMGetBMAver(a.data(), nullptr, w, s, h) - static_cast<float>(mass) / static_cast<float>(w * h)) <
              1e-3f,
          "without a mask all pixels count");
  }
  Plane scaled(layout);
  const Plane blank(scaled);
  fBMNorm(scaled.data(), a.data(), input.flag() ? mask.data() : nullptr, w, s, h, input.byte());
  check(same_padding(scaled, blank), "fBMNorm keeps the padding");
  check(same_bytes(a, before), "measures only read");

  float hist[256];
  bitmap_histogram(hist, a.data(), w, s, h);
  float total = 0;
  for (const float bin : hist) total += bin;
  check(total == static_cast<float>(w * h), "a histogram counts all pixels");
  if (w > 0) {
    const auto lines = zeb::line_histogram(a.bitmap());
    check(static_cast<int>(lines.size()) == h, "a mean per row");
  }
}

void selectors(Input& input) {
  const bool wild = input.integer(0, 7) == 0;
  std::vector<float> hist(static_cast<std::size_t>(input.flag() ? 256 : input.integer(0, 40)));
  const int kind = input.integer(0, 2);
  for (float& weight : hist)
    weight = wild        ? input.any_real()
             : kind == 0 ? input.real(0, 100)
                         : static_cast<float>(input.integer(0, kind == 1 ? 1 : 1000));
  const int n = static_cast<int>(hist.size());
  float total = 0;
  for (const float weight : hist) total += weight;
  const float lower = wild ? input.any_real() : input.real(0, 1), upper = wild ? input.any_real() : input.real(0, 1);
  const float mean = zeb::hist_average(hist, lower, upper), width = zeb::hist_width(hist, lower, upper);
  if (!wild && std::isfinite(mean) && total > 1 && lower + 0.01f < upper)
    check(mean > -1 && mean < static_cast<float>(n) + 1, "a trimmed mean is a bin");
  if (!wild && std::isfinite(width) && total > 1)
    check(width >= -0.01f && width <= static_cast<float>(n) + 0.01f, "a width is a number of bins");
  const float whole = wild ? input.any_real() : input.real(0, 5000);
  hist_average(hist.data(), whole, n, lower, upper);
  hist_width(hist.data(), whole, n, lower, upper);

  int first = -7, last = -7;
  zeb::otsu(hist, first, last);
  if (!wild) {
    check(first == -7 || (0 <= first && first < n), "a cut lies in the histogram");
    check(last == -7 || (0 <= last && last < n), "a cut lies in the histogram");
    if (first != -7 && last != -7) check(first <= last, "a plateau is in order");
  }
  zeb::otsu(hist);
  const int classes = input.integer(-1, n > 40 ? 3 : 4);
  const auto cuts = zeb::multi_otsu(hist, classes, wild ? input.integer(-5, 5) : 0);
  check(static_cast<int>(cuts.size()) == std::max(0, classes - 1), "a threshold between each two classes");
  for (std::size_t i = 0; i + 1 < cuts.size(); ++i) check(cuts[i] <= cuts[i + 1], "thresholds ascend");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  Input input(bytes, size);
  if (input.flag())
    measures(input);
  else
    selectors(input);
  return 0;
}
