#include <algorithm>

#include "frame/rounding.h"
#include "zeb/filters.h"

namespace zeb {

void iInitVideoNormLookUpTP(unsigned char* table, float gain, short half_range) {
  if (table == nullptr) return;
  int n = 1;
  if (half_range != 0) {
    if (gain < 0.1) gain = 0.1f;
    n = std::clamp<int>(half_range, 1, 128);
  } else if (gain < 0.1) {
    for (int k = 0; k < 256; ++k) table[k] = static_cast<unsigned char>(k);
    return;
  }

  // Double precision up to here, single precision in the curve: a few entries depend on either rounding.
  const auto cubic = static_cast<float>((128.0 - static_cast<float>(n) / gain) / static_cast<float>(n * n * n));
  const auto curve = [=](float i) { return frame::trunc(double{i * cubic * i * i + i / gain} + 128.1) & 255; };
  for (int i = -n; i < n; ++i) {
    const auto middle = static_cast<float>(i);
    const int from = i == -n ? -1 : curve(middle - 1.0f);
    const int to = i == n - 1 ? 255 : curve(middle);
    for (int k = from + 1; k <= to; ++k) table[k] = static_cast<unsigned char>(i + 128);
  }
  table[128] = 128;
}

}  // namespace zeb
