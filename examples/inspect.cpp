// Measures the parts in a photograph and reports them as a picture, as a table and as files. The measuring itself is in
// measure_parts.cpp, step by step.

#include <cstdio>
#include <fstream>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <string>
#include <vector>

#include "command_line.h"
#include "measure_parts.h"
#include "part_report.h"
#include "png_file.h"
#include "zeb/zeb.h"

namespace {

struct Options {
  std::string input;
  std::string output = "inspect.png";
  std::string mask_file, csv_file, json_file;
  example::MeasuringOptions measuring;
};

void print_statistics(const char* name, const zeb::Bitmap_<unsigned char>& image) {
  const std::vector<float> histogram = zeb::histogram(image);
  std::printf("%-22s mean %5.1f, mean of the middle half %5.1f, which spans %4.1f grey values\n", name,
              static_cast<double>(zeb::average(image, {})),
              static_cast<double>(zeb::hist_average(histogram, 0.25f, 0.75f)),
              static_cast<double>(zeb::hist_width(histogram, 0.25f, 0.75f)));
}

void print_table(const std::vector<example::Part>& parts, const example::MeasuringOptions& options) {
  const std::vector<example::Column> columns = columns_of(options);
  for (const bool micrometres : {false, true}) {
    std::printf("\n%-8s", micrometres ? "in um" : "pixels");
    for (const example::Column& column : columns) std::printf("%14s", column.name.c_str());
    int number = 0;
    for (const example::Part& part : parts) {
      std::printf("\n%-8d", ++number);
      for (const example::Column& column : columns) {
        const double pixels = column.value(part);
        const int decimals = column.power == 0 ? 2 : micrometres ? 0 : 1;
        std::printf("%14.*f", decimals, micrometres ? in_micrometres(pixels, column, options.pixel_size) : pixels);
      }
    }
    std::printf("\n");
  }
}

void write_file(const std::string& path, const std::string& text) {
  std::ofstream file(path);
  if (!file) throw std::runtime_error(path + ": cannot be written; choose another path");
  if (!(file << text << std::flush))
    throw std::runtime_error(path + ": could not be written to its end; make room on the disk");
}

std::string csv_of(const std::vector<example::Part>& parts, const example::MeasuringOptions& options) {
  const std::vector<example::Column> columns = columns_of(options);
  std::string csv = "number," + csv_heading(columns) + '\n';
  int number = 0;
  for (const example::Part& part : parts)
    csv += std::to_string(++number) + ',' + csv_values(values_of(part, columns), columns, options.pixel_size) + '\n';
  return csv;
}

std::string json_of(const std::vector<example::Part>& parts, const Options& options) {
  const double pixel_size = options.measuring.pixel_size;
  nlohmann::ordered_json report = {{"image", options.input}, {"pixel_size_um", options.measuring.pixel_size}};
  report["parts"] = nlohmann::json::array();
  for (const example::Part& part : parts) {
    nlohmann::ordered_json entry;
    entry["number"] = report["parts"].size() + 1;
    for (const example::Column& column : columns_of(options.measuring)) {
      entry["pixels"][column.name] = column.value(part);
      entry["micrometres"][column.name] = in_micrometres(column.value(part), column, pixel_size);
    }
    report["parts"].push_back(entry);
  }
  return report.dump(2) + '\n';
}

void inspect(const Options& options) {
  const zeb::um pixel_size(options.measuring.pixel_size);
  const zeb::Image<unsigned char> photograph = example::read_png(options.input, {pixel_size, pixel_size});
  std::printf("%s: %d x %d pixels of %g um\n", options.input.c_str(), photograph.width, photograph.height,
              double{options.measuring.pixel_size});
  const example::Measurement result = example::measure_parts(photograph, options.measuring);
  print_statistics("photograph", photograph);
  print_statistics("background evened out", result.even);
  std::printf("threshold %d, closing of %d pixels, opening of %d, parts: %zu\n", result.threshold,
              result.closing_radius, 2 * result.closing_radius, result.parts.size());
  if (!options.mask_file.empty()) example::write_png(options.mask_file, result.mask);
  if (result.parts.empty()) throw std::runtime_error("no part was found; lower --threshold or --smallest");

  print_table(result.parts, options.measuring);
  if (!options.csv_file.empty()) write_file(options.csv_file, csv_of(result.parts, options.measuring));
  if (!options.json_file.empty()) write_file(options.json_file, json_of(result.parts, options));
  draw_parts(options.output, photograph, result.parts);
  std::printf("\ndrawn over the image in %s\n", options.output.c_str());
}

}  // namespace

int main(int argc, char** argv) {
  Options options;
  CLI::App app("Measures parts that stand out from their background.", "inspect");
  app.add_option("image", options.input, "8-bit grey PNG")->required();
  app.add_option("-o,--output", options.output, "PNG to write: the parts drawn over the image")->capture_default_str();
  app.add_option("--mask", options.mask_file, "PNG to write: the cleaned mask");
  app.add_option("--csv", options.csv_file, "table to write");
  app.add_option("--json", options.json_file, "the same as JSON");
  example::add_measuring_options(app, options.measuring);
  return example::run(app, argc, argv, [&options] { inspect(options); });
}
