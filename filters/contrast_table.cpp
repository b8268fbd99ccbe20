#include <algorithm>

#include "frame/rounding.h"
#include "zeb/filters.h"

namespace zeb {

void iInitVideoNormLookUpTP(unsigned char* table, float gain, short half_range) {
  if (table == nullptr) return;
  int n = 1;
  if (half_range != 0) {
    if (gain < 0.1f) gain = 0.1f;
    n = std::clamp<int>(half_range, 1, 128);
  } else if (gain < 0.1f) {
    for (int k = 0; k < 256; ++k) table[k] = static_cast<unsigned char>(k);
    return;
  }

  // Single precision throughout: entries where the curve comes close to a grey value depend on the rounding.
  const float cubic = (128.0f - static_cast<float>(n) / gain) / static_cast<float>(n * n * n);
  const auto curve = [=](float i) { return frame::trunc(i * cubic * i * i + i / gain + 128.1f) & 255; };
  for (int i = -n; i < n; ++i) {
    const auto middle = static_cast<float>(i);
    const int from = i == -n ? -1 : curve(middle - 1.0f);
    const int to = i == n - 1 ? 255 : curve(middle);
    for (int k = from + 1; k <= to; ++k) table[k] = static_cast<unsigned char>(i + 128);
  }
  table[128] = 128;
}

}  // namespace zeb
