#pragma once
// Laying one picture over another through an alpha plane: straight-alpha over, the same
// with an outline around the laid picture, and a wipe whose order the alpha plane gives.
// Each writes the working planes over the frame's width x height pixels and leaves the
// extra row and column as they are; blends round as the alpha composite does (AlphaMix).
#include <array>
#include <cstdint>

#include "core/plane.h"

namespace tessfx {

// work = top over bottom through top_alpha (straight, not premultiplied): alpha 255 gives
// top, 0 gives bottom.
void StraightOver(RgbView work, ConstRgbView bottom, ConstRgbView top, ConstPlaneView top_alpha);

// As StraightOver, with a rim of `colour` laid on the bottom first wherever top_alpha grown
// by `reach` pixels (a diamond: steps to the four neighbours) exceeds top_alpha itself, so
// the rim lies just outside the top picture and never covers it.
void OutlinedOver(RgbView work, ConstRgbView bottom, ConstRgbView top, ConstPlaneView top_alpha,
                  const std::array<uint8_t, 3>& colour, int32_t reach);

// A wipe from `from` to `to` driven by an alpha plane: high alpha turns first. At `level`
// 0 every pixel shows `from`, at 255 every pixel shows `to`; in between a pixel turns when
// the level passes 255 - alpha, over a soft band `softness` alpha levels wide (0: a hard
// cut). Levels and softness are clamped to 0..255.
void AlphaWipe(RgbView work, ConstRgbView from, ConstRgbView to, ConstPlaneView alpha, int32_t level,
               int32_t softness);

// The weight (0..255) of `to` for each alpha level under AlphaWipe; never falls as the
// level rises.
std::array<uint8_t, 256> AlphaWipeWeights(int32_t level, int32_t softness);

}  // namespace tessfx
