#pragma once
// Random per-pixel filters: value noise, colour noise and jitter. Their randomness is a
// hash of the frame number and the pixel position (counter_random.h), so every frame is
// reproducible on its own, in any order and on any number of threads. They visit the
// frame's width x height pixels; the extra row and column are left as they are.
//
// Alpha: when the alpha-bits flag is 0 the dispatch composites through the alpha plane
// afterwards, so pixels whose alpha is 0 are left untouched here (their result would be
// thrown away); with any other flag every pixel is changed.
#include <cstdint>

#include "core/plane.h"

namespace tessfx {

// Adds one offset to R, G and B of each pixel, uniform in -a..a with a = amount / 2
// (amount clamped to 0..255), clamped to 0..255. Amount 0 changes nothing.
void ApplyValueNoise(RgbView work, ConstPlaneView alpha, uint8_t flag, int32_t amount, int32_t frame);

// As ApplyValueNoise with an independent offset per channel.
void ApplyColorNoise(RgbView work, ConstPlaneView alpha, uint8_t flag, int32_t amount, int32_t frame);

// Each pixel takes the colour of a random pixel of the untouched frame at most
// r = ceil(amount / 10) pixels away in each direction (amount clamped to 0..100; offsets
// uniform in -r..r), positions clamped to the frame. Amount 0 copies the frame.
void FastJitter(RgbView work, ConstRgbView host, ConstPlaneView alpha, int32_t amount, int32_t flag, int32_t frame);

}  // namespace tessfx
