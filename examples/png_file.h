#pragma once

#include <string>

#include "zeb/image.h"

/// PNG files in and out, for the example programs. All functions throw `std::runtime_error` with a line that tells what
/// to do.
namespace example {

/// The pixels of an 8-bit grey PNG. Fewer bits are widened to 8, what is transparent is laid over black.
zeb::Image<unsigned char> read_png(const std::string& path, zeb::Point_<zeb::um> pixel_size);

/// Writes a grey image.
void write_png(const std::string& path, const zeb::Mat<unsigned char>& image);

/// Writes a colour image from three planes of equal size.
void write_png(const std::string& path, const zeb::Mat<unsigned char>& red, const zeb::Mat<unsigned char>& green,
               const zeb::Mat<unsigned char>& blue);

}  // namespace example
