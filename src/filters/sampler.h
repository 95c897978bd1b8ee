#pragma once
// The inverse-mapping sampler of the geometric effects: each output pixel p takes the
// source picture at a position q(p) that the effect's mapping gives, read bilinearly.
//
// Positions are whole numbers of 1/256 pixel (the centre of pixel (x, y) is at (256 x,
// 256 y)) and the bilinear weights are 8-bit fractions combined in integers, so every
// build and every instruction set gives the same bytes, and a position on a whole pixel
// gives that pixel exactly. Output rows 0..height-1 and columns 0..width-1 are written;
// the extra row and column are left as they are. Sources and outputs have the same frame
// size and planes of one frame share their row stride.
#include <cstdint>
#include <functional>

#include "core/plane.h"

namespace tessfx {

inline constexpr int32_t kSubpixelBits = 8;
inline constexpr int32_t kSubpixel = 1 << kSubpixelBits;

// A position in pixels as a whole number of 1/256 pixel, rounded half to even; positions
// far beyond any frame saturate (they are outside either way).
int32_t ToSubpixel(double pixels);

enum class SampleBorder : uint8_t {
  Black,  // beyond the frame the picture is black: the edge pixels blend into it
  Clamp,  // beyond the frame the nearest edge pixel repeats
};

// q = (xx x + xy y + x0, yx x + yy y + y0), in pixels.
struct AffineMap {
  double xx = 1, xy = 0, x0 = 0;
  double yx = 0, yy = 1, y0 = 0;
};

// The source under an affine map. Maps that land every pixel on a whole pixel (the
// identity, whole-pixel shifts, quarter turns) copy samples without interpolation. Maps
// that shrink the picture more than twice read a box-filtered half-size (quarter-size, ...)
// copy of the source, blended between sizes as the scale changes, so that shrinking does
// not shimmer and an animated scale does not jump.
void SampleAffine(RgbView out, ConstRgbView src, const AffineMap& map, SampleBorder border);

// Fills qx[0..width-1] and qy[0..width-1] with the source positions (1/256 pixel) of the
// output row y. Called once per row, from several threads at once for different rows.
using RowPositions = std::function<void(int32_t y, int32_t* qx, int32_t* qy)>;

// The source at positions given row by row (radial lenses, per-column fields, ...).
void SampleRows(RgbView out, ConstRgbView src, SampleBorder border, const RowPositions& positions);

// A displacement per pixel, in 1/256 pixel: pixel (x, y) reads the source at
// (x + dx[y * stride + x] / 256, y + dy[y * stride + x] / 256).
struct DisplacementField {
  const int32_t* dx = nullptr;
  const int32_t* dy = nullptr;
  int64_t stride = 0;
};

// The source displaced by a dense field (ripples, displacement maps).
void SampleDisplaced(RgbView out, ConstRgbView src, const DisplacementField& field, SampleBorder border);

}  // namespace tessfx
