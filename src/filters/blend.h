#pragma once
// The one blend of the working planes with another image, behind the three steps that use
// it: the alpha composite (the untouched frame through the alpha plane), the level mix (the
// untouched frame by a level) and the swap mix (the swap image by a level).
#include <cstdint>

#include "core/convert.h"
#include "core/plane.h"

namespace tessfx {

// One sample of the alpha mix: (other * (255 - a) + sample * a + 127) / 255, which equals
// the linear mix by a / 255 rounded half to even (255 is odd, so no exact ties occur). The
// sum is at most 255 * 255 + 127, so it is held in 16 bits, where the division vectorises.
inline uint8_t AlphaMix(uint8_t sample, uint8_t other, uint8_t alpha) {
  const uint16_t keep = 255 - alpha;
  const uint16_t sum = other * keep + sample * alpha + 127;
  return ClampByte(sum / 255);
}

// How much of the working sample stays: per sample by an alpha plane (AlphaMix, over the
// frame's width x height samples), or everywhere by constant single-precision weights,
// work * keep + other * take rounded half to even (over every sample of the planes, the
// extra row and column included).
struct BlendWeights {
  ConstPlaneView alpha;  // set: per-sample weights
  float keep = 1.0f;
  float take = 0.0f;
};

void Blend(RgbView work, ConstRgbView other, const BlendWeights& weights);

// The composite step: the effect result in `work` mixed with the untouched frame `host`
// through `alpha`. `flag` is the alpha-bits flag, which the callers pass only when it is 0.
void Overlay_b(RgbView work, ConstRgbView host, ConstPlaneView alpha, uint8_t flag);

// The level mix: work * w + host * (1 - w) with w = level / 255 in single precision. Level
// 255 keeps the effect, 0 restores the frame.
void LevelMix(RgbView work, ConstRgbView host, float level);

// The swap mix: work * (1 - m) + other * m with m = level / 255 in single precision.
void MixPlanes(RgbView work, ConstRgbView other, float level);

}  // namespace tessfx
