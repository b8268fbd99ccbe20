#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <random>
#include <sstream>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "bench/scene.h"
#include "zeb/drawing.h"

namespace zeb::bench {
namespace {

struct Row {
  double zeb = 0, copy = 0, peer = 0;  // ns per pixel
  double bytes_per_pixel = 0;
};

void add(const std::string& operation, const char* who, Size size, const Prepare& prepare, double bytes_per_pixel) {
  const std::string name = operation + '|' + std::to_string(size.width) + 'x' + std::to_string(size.height) + '|' + who;
  const double pixels = static_cast<double>(size.width) * size.height;
  benchmark::RegisterBenchmark(name.c_str(), [=](benchmark::State& state) {
    const Body body = prepare();
    body();
    for (auto _ : state) {
      body();
      benchmark::ClobberMemory();
    }
    state.counters["pixels"] = pixels;
    state.counters["bytes_per_pixel"] = bytes_per_pixel;
  });
}

/// The ceiling: the same pixels copied.
void add_copies() {
  for (const Size size : sizes)
    add(
        "copy", "copy", size,
        [size] {
          return [i = Images::make(size),
                  bytes = static_cast<std::size_t>(size.width) * static_cast<std::size_t>(size.height)] {
            std::memcpy(i->dst.data, i->a.data, bytes);
          };
        },
        2);
}

/// Collects the medians of all repetitions and prints the table at the end.
class TableReporter : public benchmark::BenchmarkReporter {
 public:
  bool ReportContext(const Context& context) override {
    PrintBasicContext(&GetErrorStream(), context);
    return true;
  }

  void ReportRuns(const std::vector<Run>& runs) override {
    std::vector<double> times;
    for (const Run& run : runs)
      if (run.run_type == Run::RT_Iteration && !run.error_occurred) times.push_back(run.GetAdjustedRealTime());
    if (times.empty()) return;
    std::sort(times.begin(), times.end());
    const Run& run = runs.front();
    const std::string& name = run.run_name.function_name;  // operation|size|who
    const std::size_t last = name.rfind('|');
    const std::string operation = name.substr(0, last), who = name.substr(last + 1);
    const double per_pixel = times[times.size() / 2] / run.counters.at("pixels").value;
    if (rows_.count(operation) == 0) order_.push_back(operation);
    Row& row = rows_[operation];
    row.bytes_per_pixel = std::max(row.bytes_per_pixel, run.counters.at("bytes_per_pixel").value);
    (who == "zeb" ? row.zeb : who == "copy" ? row.copy : row.peer) = per_pixel;
    std::fprintf(stderr, "%s %s: %.3f ns per pixel\n", operation.c_str(), who.c_str(), per_pixel);
  }

  void Finalize() override {
    std::map<std::string, double> copy_by_size;
    for (const auto& [name, row] : rows_)
      if (row.copy > 0) copy_by_size[name.substr(name.find('|') + 1)] = row.copy;
    std::printf(
        "| operation | size | zeb, ns/pixel | copy, ns/pixel | share of copy bandwidth | OpenCV, ns/pixel | zeb / "
        "OpenCV |\n");
    std::printf("|---|---|---:|---:|---:|---:|---:|\n");
    double log_sum = 0;
    int ratios = 0;
    for (const std::string& name : order_) {
      const Row& row = rows_[name];
      if (row.zeb <= 0) continue;
      const std::string size = name.substr(name.find('|') + 1);
      const double copy = copy_by_size[size];
      std::printf("| %s | %s | %.3f | %.3f | ", name.substr(0, name.find('|')).c_str(), size.c_str(), row.zeb, copy);
      if (row.bytes_per_pixel > 0 && copy > 0) std::printf("%.2f", row.bytes_per_pixel / row.zeb / (2 / copy));
      if (row.peer > 0) {
        std::printf(" | %.3f | %.3f |\n", row.peer, row.zeb / row.peer);
        log_sum += std::log(row.zeb / row.peer);
        ++ratios;
      } else {
        std::printf(" | | |\n");
      }
    }
    if (ratios > 0) std::printf("\nGeometric mean of %d ratios: %.3f\n", ratios, std::exp(log_sum / ratios));
  }

 private:
  std::map<std::string, Row> rows_;
  std::vector<std::string> order_;
};

}  // namespace

std::vector<Size> chosen_sizes() {
  const char* const sides = std::getenv("ZEB_BENCH_SIDES");
  if (sides == nullptr) return {{512, 512}, {2048, 2048}, {8192, 2048}};
  std::vector<Size> squares;
  std::istringstream list(sides);
  for (int side; list >> side;) squares.push_back({side, side});
  return squares;
}

Image<unsigned char> noise(Size size, unsigned seed) {
  static std::map<std::tuple<int, int, unsigned>, Image<unsigned char>> drawn;
  const auto key = std::make_tuple(size.width, size.height, seed);
  if (drawn.count(key) == 0) {
    Image<unsigned char> fresh(size.width, size.width, size.height, {});
    std::mt19937 engine(seed);
    for (unsigned char& p : fresh) p = static_cast<unsigned char>(engine());
    drawn.emplace(key, std::move(fresh));
  }
  Image<unsigned char> image(size.width, size.width, size.height, {});
  std::copy(drawn[key].begin(), drawn[key].end(), image.begin());
  return image;
}

Image<unsigned char> black(Size size) {
  Image<unsigned char> image(size.width, size.width, size.height, {});
  clear(image);
  return image;
}

Image<unsigned char> blobs(Size size) {
  Image<unsigned char> image = black(size);
  std::mt19937 engine(1);
  const auto below = [&engine](int limit) { return static_cast<int>(engine() % static_cast<unsigned>(limit)); };
  // A disc covers some 300 pixels.
  for (int i = 0; i < size.width / 15 * (size.height / 100); ++i) {
    const Point_<int> at{below(size.width), below(size.height)};
    const float radius = static_cast<float>(2 + below(14));
    draw_circle(image, at, radius, radius, 255, DrawMode::overwrite);
  }
  return image;
}

void compare(const std::string& operation, Size size, double bytes_per_pixel, const Prepare& ours,
             const Prepare& peer) {
  add(operation, "zeb", size, ours, bytes_per_pixel);
  if (peer) add(operation, "peer", size, peer, bytes_per_pixel);
}

void run() {
  add_copies();
  TableReporter table;
  benchmark::RunSpecifiedBenchmarks(&table);
}

}  // namespace zeb::bench

int main(int argc, char** argv) {
#ifdef ZEB_BENCH_OPENCV
  cv::setNumThreads(1);
#endif
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  zeb::bench::run();
  benchmark::Shutdown();
}
