#include <zeb/zeb.h>

#include <cstdio>

int main() {
  zeb::Image<unsigned char> image(64, 64, 48, {zeb::um(5), zeb::um(5)}), mask(64, 64, 48, {zeb::um(5), zeb::um(5)});
  zeb::clear(image);
  zeb::fill_rect(image, 10, 20, 30, 35, 200);
  zeb::draw_line(image, {0, 5}, {64, 5}, 200, 0);
  zeb::opening(mask, image, 2, 127, zeb::MorphOpMode::morph_auto, false);  // drops what is thinner than the disk
  for (const zeb::Shape& part : zeb::get_all_shapes(mask, true))
    std::printf("a part %g um wide\n", 5.0 * (part.max_x() - part.min_x() + 1));
}
