#pragma once
// Blur, diffusion and sharpening effects. None calls Overlay_b itself: the Gaussian-based
// ones end with the level mix, and the zoom and motion blurs composite inside the filter.
#include <cstdint>

#include "host/image_state.h"

namespace tessfx {

// Gaussian blur of working R, G, B in place, radius 2..64 (see GaussianSigmaForRadius).
void GaussianBlurPlanes(ImageState& s, int32_t radius);
void FxGaussianBlur(ImageState& s, int32_t radius);

// Blur, then keep the lighter (light) or darker (dark) of the blurred and the original
// sample, then the level mix.
void FxLightDiffusion(ImageState& s, float radius, float level);
void FxDarkDiffusion(ImageState& s, float radius, float level);

// 3 x 3 box blur, then 3 x original - 2 x blurred, then the level mix with `amount`.
void FxUnsharpMask(ImageState& s, float amount);

// Radial blur towards (cx, cy) percent of the frame, of strength factor / 400, in
// quality / 3 steps (at least 2).
void FxZoomBlur(ImageState& s, float cx, float cy, float factor, float quality);

// Rotates (x, y) about the origin by `angle` degrees, using 0.01745 radians per degree.
void RotatePointDegrees(float angle, float& x, float& y);

// Blur along the vector of `length` pixels at `angle` degrees.
void FxMotionBlur(ImageState& s, float angle, float length);

}  // namespace tessfx
