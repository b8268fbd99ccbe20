#pragma once

#include <string>
#include <vector>

#include "measure_parts.h"

/// Measured parts as columns of numbers and as a picture.
namespace example {

/// A column of a table: its name, its unit as a power of the pixel size, and the value of a part in pixels.
struct Column {
  std::string name;
  int power;
  double (*value)(const Part&);
};

/// The columns that the options fill.
std::vector<Column> columns_of(const MeasuringOptions& options);

/// A value of a column, given in pixels, in micrometres or their square.
double in_micrometres(double pixels, const Column& column, double pixel_size);

/// The names of the columns with their units, each in pixels and in micrometres, separated by commas.
std::string csv_heading(const std::vector<Column>& columns);

/// The values of a part in pixels, column by column.
std::vector<double> values_of(const Part& part, const std::vector<Column>& columns);

/// Such values under the heading.
std::string csv_values(const std::vector<double>& pixels, const std::vector<Column>& columns, double pixel_size);

/// Writes the photograph as PNG with the parts outlined, boxed and, where there is room, numbered. Throws
/// `std::runtime_error` with a line that tells what to do.
void draw_parts(const std::string& path, const zeb::Bitmap_<unsigned char>& photograph, const std::vector<Part>& parts);

}  // namespace example
