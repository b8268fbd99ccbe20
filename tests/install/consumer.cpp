// The first program of the README, as an installed package has to build and run it.

#include <zeb/zeb.h>

#include <cstdio>

int main() {
  zeb::Image<unsigned char> image = zeb::test::random_image(64, 64, 48, 1);
  zeb::fill_rect(image, 10, 20, 30, 35, 250);
  zeb::Image<unsigned char> mask(image.width, image.stride, image.height, {});
  zeb::clear(mask);
  zeb::thresholding(mask, image.region({10, 20}, {30, 35}), 250, 255, zeb::ThresholdMode::InverseBinary);

  int left, right, top, bottom;
  vGetMinMaxBM(mask.data, mask.width, mask.height, mask.stride, &left, &right, &top, &bottom);
  std::printf("%d..%d, %d..%d\n", left, right, top, bottom);
  return left == 0 && right == 19 && top == 0 && bottom == 14 ? 0 : 1;
}
