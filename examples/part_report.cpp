#include "part_report.h"

#include <cmath>
#include <sstream>

#include "overlay.h"

namespace example {

std::vector<Column> columns_of(const MeasuringOptions& options) {
  std::vector<Column> columns = {
      {"x", 1, [](const Part& p) { return p.x; }},
      {"y", 1, [](const Part& p) { return p.y; }},
      {"extent_x", 1, [](const Part& p) { return p.extent_x; }},
      {"extent_y", 1, [](const Part& p) { return p.extent_y; }},
      {"area", 2, [](const Part& p) { return p.area; }},
      {"length", 1, [](const Part& p) { return p.length; }},
      {"width", 1, [](const Part& p) { return p.width; }},
      {"diameter", 1, [](const Part& p) { return p.diameter; }},
  };
  if (options.fit) {
    columns.push_back({"circle", 1, [](const Part& p) { return p.circle; }});
    columns.push_back({"unroundness", 1, [](const Part& p) { return p.unroundness; }});
    columns.push_back({"straightness", 0, [](const Part& p) { return p.straightness; }});
  }
  return columns;
}

double in_micrometres(double pixels, const Column& column, double pixel_size) {
  return pixels * std::pow(pixel_size, column.power);
}

std::string csv_heading(const std::vector<Column>& columns) {
  std::string heading;
  for (const Column& column : columns) {
    if (!heading.empty()) heading += ',';
    heading += column.power == 0   ? column.name
               : column.power == 1 ? column.name + "_px," + column.name + "_um"
                                   : column.name + "_px2," + column.name + "_um2";
  }
  return heading;
}

std::vector<double> values_of(const Part& part, const std::vector<Column>& columns) {
  std::vector<double> values;
  values.reserve(columns.size());
  for (const Column& column : columns) values.push_back(column.value(part));
  return values;
}

std::string csv_values(const std::vector<double>& pixels, const std::vector<Column>& columns, double pixel_size) {
  std::ostringstream values;
  values.precision(10);
  for (std::size_t i = 0; i < columns.size(); ++i) {
    values << (i == 0 ? "" : ",") << pixels[i];
    if (columns[i].power != 0) values << ',' << in_micrometres(pixels[i], columns[i], pixel_size);
  }
  return values.str();
}

void draw_parts(const std::string& path, const zeb::Bitmap_<unsigned char>& photograph,
                const std::vector<Part>& parts) {
  constexpr Colour green{90, 255, 90}, orange{255, 160, 0}, yellow{255, 240, 60};
  Overlay overlay(photograph);
  int number = 0;
  for (const Part& part : parts) {
    overlay.outline({part.corners.begin(), part.corners.end()}, orange);
    overlay.outline(outline_of(part), green);
    overlay.number(++number, part.shape.boundary(), yellow);
  }
  overlay.write(path);
}

}  // namespace example
