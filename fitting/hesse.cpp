#include "fitting/hesse.h"

#include <cmath>

using zeb::fitting::pi;
using zeb::fitting::two_pi;

namespace zeb {

void fitting::LineHesseFromPoints(float* angle, float* distance, int x1, int y1, int x2, int y2) {
  const float dx = static_cast<float>(x2 - x1), dy = static_cast<float>(y1 - y2);
  const float length = sqrtf(dx * dx + dy * dy);
  if (1.0f > length) {
    *angle = *distance = 1e10f;
    return;
  }
  float nx = dy / length, ny = dx / length;
  float d = static_cast<float>(x1) * nx + static_cast<float>(y1) * ny;
  if (0.0f > d) {
    nx = -nx;
    ny = -ny;
    d = -d;
  }
  const float direction = atan2f(ny, nx);
  *angle = direction < 0.0f ? direction + two_pi : direction;
  *distance = d;
}

void GetCrossPointHesse(float* x, float* y, float angle1, float distance1, float angle2, float distance2) {
  *x = *y = 1e8f;
  float t = fabsf(angle2 - angle1);
  // From 2^27 on a turn is lost in the rounding, and the difference stays what it is.
  for (float less = t - two_pi; t > two_pi && less != t; less = t - two_pi) t = less;
  if (t > pi) t = two_pi - t;
  if (1e-8f > t) return;
  const float c1 = cosf(angle1), s1 = sinf(angle1), c2 = cosf(angle2), s2 = sinf(angle2);
  const float p = c2 * distance2, q = s2 * distance2;
  const float k = ((s1 * distance1 - q) * s1 + (c1 * distance1 - p) * c1) / (-c2 * s1 + s2 * c1);
  *x = k * s2 + p;
  *y = k * -c2 + q;
}

float fLineDistHesse(float angle1, float distance1, float angle2, float distance2, float scale) {
  float t = fabsf(angle1 - angle2);
  if (t > pi) t = two_pi - t;
  const float u = (distance1 - distance2) * 2.0f / scale;
  return sqrtf(u * u + t * t);
}

float distance_point_line(float px, float py, float x1, float y1, float x2, float y2) {
  const float ex = x2 - x1, ey = y2 - y1;
  const float length = sqrtf(ey * ey + ex * ex);
  if (1e-5f > length) return euclidean_distance(x2, y2, px, py);
  return (ey / length) * (x1 - px) - (ex / length) * (y1 - py);
}

float euclidean_distance(float x1, float y1, float x2, float y2) {
  const float dx = x1 - x2, dy = y1 - y2;
  return sqrtf(dy * dy + dx * dx);
}

}  // namespace zeb
