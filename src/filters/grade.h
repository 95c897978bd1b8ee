#pragma once
// Per-pixel colour grades over runs of samples of the three planes (the caller walks the
// planes in runs): each output sample depends on the pixel's own three samples only.
#include <cstdint>

namespace tessfx {

// Mixes each pixel with its three-sample mean: out = c * s + mean * (1 - s), s in 0..1.
void SaturationRun(const uint8_t* hr, const uint8_t* hg, const uint8_t* hb, uint8_t* wr, uint8_t* wg, uint8_t* wb,
                   int64_t n, float s);

// Scales each channel's distance from the pixel's luminance by a bias curve of the
// luminance with parameter p (0.01..0.99), in place.
void PowerCurveRun(uint8_t* r, uint8_t* g, uint8_t* b, int64_t n, float p);

// Inverts the luma and keeps the colour differences (the luma / colour-difference model
// of color.h).
void InvertValueRun(const uint8_t* hr, const uint8_t* hg, const uint8_t* hb, uint8_t* wr, uint8_t* wg, uint8_t* wb,
                    int64_t n);

}  // namespace tessfx
