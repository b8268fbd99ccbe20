#include <algorithm>

#include "morphology/marking.h"
#include "zeb/morphology.h"

using namespace zeb::morphology;

void vMMMorphOpDist(unsigned char* dst, const unsigned char* src, int width, int stride, int height, int radius,
                    int operation, unsigned char threshold) {
  if (radius < 0) return;
  // A pixel is within the distance of a decisive one exactly where the disk of that radius around it holds one.
  const int limit = std::min(radius, 253);
  const Element disk(limit, limit, [limit](int i) { return disk_half_width(limit, i); });
  mark({dst, src, width, stride, height}, Decisive::up_to_threshold(operation, threshold), disk, {},
       hit_value(operation));
}
