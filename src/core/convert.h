#pragma once
// The numeric conversions used everywhere. Effects and readers never cast ad hoc:
// every computed value becomes an integer or a sample through one of these.
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>

namespace tessfx {

namespace detail {
template <typename Int>
constexpr Int SaturateIntegral(double integral) {
  // `integral` already holds a whole number; saturate instead of overflowing.
  if (integral != integral) return 0;  // NaN
  if (integral <= static_cast<double>(std::numeric_limits<Int>::min())) return std::numeric_limits<Int>::min();
  if (integral >= static_cast<double>(std::numeric_limits<Int>::max())) return std::numeric_limits<Int>::max();
  return static_cast<Int>(integral);
}
}  // namespace detail

// Round to nearest, halves to the even neighbour (the default rounding mode; compiles to
// roundsd/roundss). Values beyond the target range saturate, NaN gives 0.
inline double RoundHalfEvenD(double v) { return std::nearbyint(v); }
inline float RoundHalfEvenF(float v) { return std::nearbyint(v); }
inline int32_t RoundHalfEven(double v) { return detail::SaturateIntegral<int32_t>(std::nearbyint(v)); }
inline int16_t RoundHalfEven16(double v) { return detail::SaturateIntegral<int16_t>(std::nearbyint(v)); }

// Largest integer not above v (saturating).
inline int32_t FloorToInt(double v) { return detail::SaturateIntegral<int32_t>(std::floor(v)); }
inline int16_t FloorToInt16(double v) { return detail::SaturateIntegral<int16_t>(std::floor(v)); }

// Round half up: the largest integer not above v + 0.5.
inline int32_t RoundHalfUp(double v) { return detail::SaturateIntegral<int32_t>(std::floor(v + 0.5)); }

// Integer division truncating towards zero (what C++ does; named so the intent is visible).
constexpr int32_t TruncDiv(int32_t a, int32_t b) { return a / b; }

// Clamp an integer to a byte.
constexpr uint8_t ClampByte(int32_t v) { return static_cast<uint8_t>(v < 0 ? 0 : (v > 255 ? 255 : v)); }

// Round half to even, then clamp to a byte: the usual way a computed sample is stored.
inline uint8_t RoundToByte(double v) {
  double r = std::nearbyint(v);
  if (!(r > 0.0)) return 0;  // also NaN
  if (r >= 255.0) return 255;
  return static_cast<uint8_t>(r);
}
inline uint8_t RoundToByteF(float v) {
  float r = std::nearbyint(v);
  if (!(r > 0.0f)) return 0;
  if (r >= 255.0f) return 255;
  return static_cast<uint8_t>(r);
}

// RoundToByteF for values known to be finite, written without branches so that pixel
// loops using it vectorise.
inline uint8_t FiniteToByteF(float v) {
  const float r = std::nearbyint(v);
  return static_cast<uint8_t>(std::min(std::max(r, 0.0f), 255.0f));
}

}  // namespace tessfx
