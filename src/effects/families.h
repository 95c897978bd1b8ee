#pragma once
// The effect families: each source defines its effects (effect.h) beside their routines.
// The catalogue gathers them and puts them in list order.
#include <span>

#include "effects/effect.h"

namespace tessfx {

std::span<const EffectDef> AdjustEffects();      // colour and tone adjustments, point filters
std::span<const EffectDef> LookEffects();        // the row-weighted colour looks
std::span<const EffectDef> BlurEffects();        // Gaussian, diffusion, unsharp, zoom and motion blurs
std::span<const EffectDef> ConvolveEffects();    // the fixed 3 x 3 kernels
std::span<const EffectDef> RankEffects();        // cross rank filters and the median
std::span<const EffectDef> NoiseEffects();       // value noise, colour noise, jitter
std::span<const EffectDef> VideoEffects();       // slate, reversed fields, scan lines
std::span<const EffectDef> CombineEffects();     // the frame with the swap image
std::span<const EffectDef> GeometricEffects();   // mirage, mosaic, displace
std::span<const EffectDef> KeyingEffects();      // keying, compositing over sequences, displacement by swap, ghost
std::span<const EffectDef> GenerativeEffects();  // dithers, noise clouds, film, snow, flare, paper, detail
std::span<const EffectDef> DistortionEffects();  // transforms, lenses, waves, wireframe, light rays, wet paint

}  // namespace tessfx
