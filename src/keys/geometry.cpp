#include "keys/geometry.h"

#include <cmath>

#include "core/convert.h"

namespace tessfx {

void RotatePoint(float angle, float& x, float& y) {
  const double r = angle * 0.0174532;
  const double c = std::cos(r), s = std::sin(r);
  const float nx = static_cast<float>(c * x - s * y);
  const float ny = static_cast<float>(c * y + s * x);
  x = nx;
  y = ny;
}

void CalculateAngle(double x1, double y1, double x2, double y2, float& angle) {
  // 32-bit holders: |-32768| + 1 must not overflow.
  int32_t a = RoundHalfEven16(y1 - y2);
  int32_t b = RoundHalfEven16(x1 - x2);
  bool flag_a = false, flag_b = false;
  if (a <= 0) {
    a = -a + 1;
    flag_a = true;
  }
  if (b <= 0) {
    b = -b + 1;
    flag_b = true;
  }
  const double deg = std::atan(static_cast<double>(a) / static_cast<double>(b)) * 57.29577951;
  if (!flag_a && !flag_b)
    angle = static_cast<float>(360.0 - deg);
  else if (!flag_a && flag_b)
    angle = static_cast<float>(deg + 180.0);
  else if (flag_a && !flag_b)
    angle = static_cast<float>(deg);
  else
    angle = static_cast<float>(180.0 - deg);
}

}  // namespace tessfx
