#pragma once
// Blur filters over planes of (width + 1) x (height + 1) samples: the Gaussian, the 3 x 3
// box blur, the radial (zoom) blur and the linear (motion) blur.
#include <cstdint>
#include <span>

#include "core/plane.h"

namespace tessfx {

// The Gaussian's standard deviation for a blur radius: the radius is the reach of the
// kernel, three standard deviations, where the weights have fallen to about 1% of the peak.
double GaussianSigmaForRadius(int32_t radius);

// Gaussian blur of the frame (columns 0..width-1, rows 0..height-1) of each plane, in
// place, with the standard deviation GaussianSigmaForRadius(radius); the extra row and
// column are left as they are. Beyond the frame the image is mirrored, so a flat frame
// stays exactly flat. Every result is within one level of the exact Gaussian's. Up to
// radius 32 the kernel is applied directly in fixed point; beyond, a recursive filter
// approximates it at a cost that no longer grows with the radius.
void GaussianBlur(std::span<const PlaneView> planes, int32_t radius);

// Radial blur towards the centre (cx, cy): each pixel p of columns 0..last_x and rows
// 0..last_y becomes the mean of `steps` samples taken evenly along the segment from p to
// p + (centre - p) x amount, read with bilinear interpolation from the host planes (the
// untouched frame). The result goes to the working planes, through the host alpha plane
// when `flag` is 0. Fewer than 2 steps count as 2.
void FastZoom(RgbView work, ConstRgbView host, ConstPlaneView alpha, int32_t flag, int32_t last_x, int32_t last_y,
              int32_t cx, int32_t cy, int16_t steps, float amount);

// Linear blur along a vector: each pixel p of the width x height frame becomes the mean
// of the host samples at p + (x0, y0) + k / n x (dx, dy), k = 0..n, positions rounded to
// whole pixels and clamped to the frame, where n = max(|dx|, |dy|) / spacing (one sample
// per `spacing` pixels along the longer axis). The result goes to the working planes,
// through the host alpha plane when `flag` is 0.
void FastMotionBlur(RgbView work, ConstRgbView host, ConstPlaneView alpha, int32_t flag, int32_t width, int32_t height,
                    int32_t x0, int32_t y0, int16_t dx, int16_t dy, int32_t spacing);

}  // namespace tessfx
