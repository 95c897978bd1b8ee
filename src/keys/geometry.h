#pragma once
// Two small geometry utilities kept with the key channels: rotating a point about the
// origin, and the angle of a line between two points in degrees.
#include <cstdint>

namespace tessfx {

// Rotates (x, y) about the origin by `angle` degrees, converted with the constant
// 0.0174532 (slightly below pi / 180, which the results keep).
void RotatePoint(float angle, float& x, float& y);

// Angle in degrees (0..360) of the line from (x2, y2) to (x1, y1). The differences are
// taken as 16-bit integers; a difference of zero or less is made positive and moved one
// further from zero, which keeps the ratio finite and shifts the result slightly.
void CalculateAngle(double x1, double y1, double x2, double y2, float& angle);

}  // namespace tessfx
