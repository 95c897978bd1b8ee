#pragma once
// Colour and tone adjustments. Each routine writes the working planes and ends with the
// composite step ("Value adjustment" composites inside SetValueAlpha). The routines with
// their own pixel loops visit the planes' extra row and column too, except "Map to
// gradient", which stops at the frame's edge.
#include <cstdint>

#include "filters/color.h"
#include "host/image_state.h"

namespace tessfx {

// Multiplies working R, G, B by gain / 255 (0..512; 255 leaves the frame unchanged).
void FxColorAdjustment(ImageState& s, float red, float green, float blue);

// Adds the rounded offsets to working R, G, B.
void FxColorAdd(ImageState& s, float red, float green, float blue);

// Value, brightness, contrast and gamma (100 each is the middle of their sliders) as one
// 256-entry tone table over R, G and B.
void FxValueAdjustment(ImageState& s, float value, float brightness, float contrast, float gamma);
ToneTable ValueAdjustmentTable(float value, float brightness, float contrast, float gamma);

// Mixes each pixel of the frame with its three-sample mean: 255 keeps the colour, 0 greys.
void FxSaturation(ImageState& s, float saturation);

// Rotates hue by `hue` degrees, scales saturation by saturation / 100 and value by
// value / 255.
void FxHueSatValue(ImageState& s, float hue, float saturation, float value);

// Scales each channel's distance from the pixel's luminance by a bias curve of the
// luminance with parameter p (0.01..0.99); reads the working planes.
void FxPowerCurve(ImageState& s, float& p);

void FxNegative(ImageState& s);
// Inverts luma, keeping the colour differences.
void FxInvertValue(ImageState& s);
// Red and blue exchanged.
void FxSwapChannels(ImageState& s);
// Red from blue, green from red, blue from green.
void FxRollChannels(ImageState& s);

// Each pixel becomes the entry of the host's gradient `index` at its three-sample mean.
void FxMapToGradient(ImageState& s, int16_t index);

}  // namespace tessfx
