#include "png_file.h"

#include <png.h>

#include <stdexcept>
#include <vector>

namespace example {
namespace {

/// libpng's description of an image, released on every path out.
struct Description : png_image {
  Description() : png_image() { version = PNG_IMAGE_VERSION; }
  Description(const Description&) = delete;
  Description& operator=(const Description&) = delete;
  ~Description() { png_image_free(this); }
};

void write(const std::string& path, const zeb::Mat<unsigned char>& size, png_uint_32 format, const void* pixels,
           int row_stride) {
  Description png;
  png.width = static_cast<png_uint_32>(size.width);
  png.height = static_cast<png_uint_32>(size.height);
  png.format = format;
  if (png_image_write_to_file(&png, path.c_str(), 0, pixels, row_stride, nullptr) == 0)
    throw std::runtime_error(path + ": cannot be written (" + png.message + "); choose another --output");
}

}  // namespace

zeb::Image<unsigned char> read_png(const std::string& path, zeb::Point_<zeb::um> pixel_size) {
  Description png;
  if (png_image_begin_read_from_file(&png, path.c_str()) == 0)
    throw std::runtime_error(path + ": cannot be read as PNG (" + png.message + "); give the path of a PNG file");
  if ((png.format & (PNG_FORMAT_FLAG_COLOR | PNG_FORMAT_FLAG_LINEAR)) != 0)
    throw std::runtime_error(path + ": is not an 8-bit grey image; convert it to 8-bit grey first");
  png.format = PNG_FORMAT_GRAY;
  const int width = static_cast<int>(png.width);
  zeb::Image<unsigned char> image(width, 64, static_cast<int>(png.height), pixel_size);
  const png_color black = {0, 0, 0};
  if (png_image_finish_read(&png, &black, image.data, image.stride, nullptr) == 0)
    throw std::runtime_error(path + ": is damaged (" + png.message + "); fetch the file again");
  return image;
}

void write_png(const std::string& path, const zeb::Mat<unsigned char>& image) {
  write(path, image, PNG_FORMAT_GRAY, image.data, image.stride);
}

void write_png(const std::string& path, const zeb::Mat<unsigned char>& red, const zeb::Mat<unsigned char>& green,
               const zeb::Mat<unsigned char>& blue) {
  std::vector<unsigned char> pixels;
  for (int y = 0; y < red.height; ++y)
    for (int x = 0; x < red.width; ++x) pixels.insert(pixels.end(), {red.at(y, x), green.at(y, x), blue.at(y, x)});
  write(path, red, PNG_FORMAT_RGB, pixels.data(), 3 * red.width);
}

}  // namespace example
