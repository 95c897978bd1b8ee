#pragma once
// Things swaying in a breeze: one travelling wave, anchored at one end and running to the
// free end, drives both the flag (whole columns shifted up and down) and the swaying
// brush (rows of a brush shifted sideways).
#include <cstdint>

#include "core/plane.h"

namespace tessfx {

// The wave's phase at the share u (0 at the anchor, 1 at the free end) at a moment:
// 2 pi (frequency u - speed time - offset), in radians.
struct BreezeWave {
  double frequency = 0;  // waves from the anchor to the free end
  double speed = 0;      // cycles per frame
  double time = 0;       // frames
  double offset = 0;     // cycles
  // The part that does not depend on u is reduced to one cycle first, so that late frames
  // of long animations keep their precision and whole cycles of offset change nothing.
  double Phase(double u) const;
};

// Each output column x is the source column x moved up by lift[x] and its samples scaled
// by gain[x], both in 1/256 (of a pixel, of unity); what comes from beyond the top or the
// bottom is black. Rows 0..height-1, columns 0..width-1.
void ShiftColumns(RgbView out, ConstRgbView src, const int32_t* lift, const int32_t* gain);

// A brush: colour and straight (not premultiplied) alpha, width x height.
struct BrushPlanes {
  ConstPlaneView r, g, b, a;
};

// Where the brush goes and how it sways: brush pixel (i, j) lands on (left + i, top + j)
// when still. Row j of the brush, at the share h = (height - 1 - j) / (height - 1) of the
// way from its bottom row (the root) to its top, moves sideways by
// sway h^2 sin(wave.Phase(h)) pixels: the root stays, the tip swings most.
struct BrushPlacement {
  double left = 0, top = 0;
  double sway = 0;  // pixels at the tip
  BreezeWave wave;
};

// Lays the swaying brush over the working planes (premultiplied bilinear sampling, so
// soft edges do not darken), touching only the box the brush can sweep.
void StampSwayingBrush(RgbView work, const BrushPlanes& brush, const BrushPlacement& at);

}  // namespace tessfx
