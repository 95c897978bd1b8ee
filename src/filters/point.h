#pragma once
// Per-pixel filters whose result depends on the pixel alone: tint, posterize, threshold.
// Each reads the untouched frame (host planes) and writes the working planes over the
// frame's width x height pixels; the extra row and column are left as they are.
#include <cstdint>

#include "core/convert.h"
#include "core/plane.h"

namespace tessfx {

// The grey of a pixel: 0.299 / 0.587 / 0.114 in 8.8 fixed point (77 + 150 + 29 = 256),
// rounded, so white stays 255 and the same integers give the same grey everywhere.
constexpr uint8_t Luma(uint32_t r, uint32_t g, uint32_t b) { return ClampByte((77 * r + 150 * g + 29 * b + 128) >> 8); }

// Colours the frame's grey with (red, green, blue): each channel = grey * tint / 255,
// rounded half up ((grey * tint + 127) / 255; 255 is odd, so no exact ties arise). White
// gives a grey picture; tint values are clamped to 0..255.
void FastTint(RgbView work, ConstRgbView host, int32_t red, int32_t green, int32_t blue);

// Quantises each channel in steps of `step` samples: bin = c / step, last bin L = 255 / step,
// result = bin * 255 / L rounded half to even, so black and white are kept and the levels
// are spread evenly (step 64: 0, 85, 170, 255; step 1: unchanged; step 128 and above: a
// threshold at 128 .. step). A step below 1 leaves the frame alone; above 255 acts as 255.
void FastPosterize(RgbView work, ConstRgbView host, int32_t step);

// Black and white by a threshold: with per_channel 0 the pixel's Luma is compared and all
// three channels become 255 when it is at least `level`, else 0; with per_channel not 0
// each channel is compared and set on its own.
void FastThreshold(RgbView work, ConstRgbView host, int32_t level, int32_t per_channel);

}  // namespace tessfx
