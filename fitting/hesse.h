#pragma once

#include "zeb/fitting.h"

namespace zeb::fitting {

inline constexpr float pi = 3.1415927f;
inline constexpr float two_pi = 6.2831855f;

/// The line through two points in Hesse form, with a distance of at least 0 and an angle of 0 to two pi. Points nearer
/// than one pixel give 1e10 for both.
void LineHesseFromPoints(float* angle, float* distance, int x1, int y1, int x2, int y2);

}  // namespace zeb::fitting
