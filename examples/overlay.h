#pragma once

#include <string>
#include <vector>

#include "zeb/image.h"

namespace example {

struct Colour {
  unsigned char red, green, blue;
};

/// A colour picture to draw findings on: a grey image, enlarged by a whole factor so that lines stay readable.
class Overlay {
 public:
  /// The factor makes the picture about a thousand pixels wide; images that are larger keep their size.
  explicit Overlay(const zeb::Mat<unsigned char>& background);

  /// A closed line through the centres of pixels of the original image.
  void outline(const std::vector<zeb::Point_<int>>& pixels, Colour colour);
  /// A number in the middle of an area of the original image, left out where the area is too small to hold it.
  void number(int value, const zeb::Rect__<zeb::Point_<int>>& area, Colour colour);

  /// Writes the picture as PNG; throws `std::runtime_error` with a line that tells what to do.
  void write(const std::string& path) const;

 private:
  zeb::Point_<int> enlarged(zeb::Point_<int> pixel) const;
  void line(zeb::Point_<int> from, zeb::Point_<int> to, Colour colour, int radius);

  int zoom_;
  zeb::Image<unsigned char> red_, green_, blue_;
};

}  // namespace example
