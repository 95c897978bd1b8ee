#pragma once
// Colour-model filters: hue/saturation/value adjustment, the luma and colour-difference
// conversion, and 256-entry tone tables applied to the three colour planes.
#include <array>
#include <cstdint>

#include "core/plane.h"

namespace tessfx {

// Converts every sample of the three planes (extra row and column included) to hue,
// saturation and value, rotates the hue by `hue` degrees, multiplies saturation by
// `saturation` and value by `value` (each limited to full scale), converts back and
// multiplies the red, green and blue results by `red`, `green`, `blue`. At (0, 1, 1, 1, 1,
// 1) every sample comes back unchanged.
void FastHSVandRGB(RgbView planes, float hue, float saturation, float value, float red, float green, float blue);

// Luma and colour differences (Y in 0..1, U in about +-0.436, V in about +-0.615) from
// r, g, b in 0..1 with the 0.299 / 0.587 / 0.114 luma weights. The inverse is written
// as the algebraic inverse of the forward formulas, so a round trip returns the colour
// within float precision.
inline constexpr float kLumaR = 0.299f, kLumaG = 0.587f, kLumaB = 0.114f;
inline constexpr float kUScale = 0.436f / (1.0f - kLumaB);
inline constexpr float kVScale = 0.615f / (1.0f - kLumaR);
inline constexpr float kUInverse = (1.0f - kLumaB) / 0.436f;
inline constexpr float kVInverse = (1.0f - kLumaR) / 0.615f;
inline constexpr float kGInverse = 1.0f / kLumaG;

inline void f_rgb2yuv(float r, float g, float b, float& y, float& u, float& v) {
  y = kLumaR * r + kLumaG * g + kLumaB * b;
  u = kUScale * (b - y);
  v = kVScale * (r - y);
}

inline void f_yuv2rgb(float y, float u, float v, float& r, float& g, float& b) {
  // Products with the reciprocals rather than divisions: these loops vectorise better,
  // and the error stays at float precision.
  r = y + v * kVInverse;
  b = y + u * kUInverse;
  g = (y - kLumaR * r - kLumaB * b) * kGInverse;
}

using ToneTable = std::array<uint8_t, 256>;

// Replaces every sample s of the three planes (extra row and column included) by table[s].
void SetValue(RgbView work, const ToneTable& table);

// As SetValue on the working planes, then, when `flag` is 0, mixes the frame's samples
// with the untouched host samples through the host alpha plane exactly as Overlay_b
// does; the extra row and column keep the plain table result, as after Overlay_b.
void SetValueAlpha(RgbView work, ConstRgbView host, ConstPlaneView alpha, int32_t flag, const ToneTable& table);

}  // namespace tessfx
