#pragma once
// Noise clouds: improved gradient noise in three dimensions (quintic fade, the twelve
// cube-edge gradients padded to sixteen, a fixed 256-entry permutation), with time as the
// third axis, summed over octaves and shaped by one of four combiners.
//
// Evaluated row by row: within a frame the time coordinate of each octave is fixed and a
// row has one y, so the eight corner gradients of a lattice cell fold into four numbers
// per row and cell, and each pixel costs two multiply-adds and a blend:
//   n = P + u (Q - P),  P = p0 + p1 fx,  Q = q0 + q1 fx,
// with fx the position within the cell and u its fade, tables shared by every row. This
// matches the direct evaluation (GradientNoise) to a few units in the last place and is
// about twenty times faster.
#include <cstdint>
#include <vector>

#include "core/plane.h"

namespace tessfx {

// Improved gradient noise at (x, y, z) in lattice units, evaluated directly: 0 on every
// lattice point, within about -1..1. The reference the clouds are built on.
float GradientNoise(double x, double y, double z);

// The largest slope of GradientNoise along x or y, per lattice unit (measured, rounded up).
inline constexpr double kGradientNoiseMaxSlope = 3.0;

enum class CloudKind : int32_t {
  Billows = 0,     // the plain octave sum (fractional Brownian motion)
  Turbulence = 1,  // the sum of magnitudes: billowing smoke
  Ridges = 2,      // (1 - |n|)^2 summed: sharp ridges and veins
  Marble = 3,      // bands across x, one per cell, bent by the turbulence sum: marble
};

struct CloudSettings {
  int32_t octaves = 4;  // 1..8; each halves the cell and the amplitude of the one before
  double cell = 128;    // pixels per lattice unit of the first octave
  double time = 0;      // the third coordinate, in lattice units of the first octave
  CloudKind kind = CloudKind::Billows;
};

// Octaves whose cell is below this many pixels are left out: they would alias, and
// leaving them out bounds the cost.
inline constexpr double kFinestCell = 2.0;

// The clouds for frames `width` pixels wide: set up once per frame (per-octave column
// tables), then any row, in any order, on any thread.
class CloudPattern {
 public:
  CloudPattern(int32_t width, const CloudSettings& settings);

  int32_t width() const { return width_; }
  int32_t octaves() const { return static_cast<int32_t>(octaves_.size()); }

  // Row y as grey levels. `sum` is scratch of width floats (the octave sum, normalised so
  // that its spread is nearly the same for any number of octaves).
  void Row(int32_t y, uint8_t* out, float* sum) const;
  // Row y as the normalised octave sum before the mapping to grey levels.
  void Sum(int32_t y, float* sum) const;

 private:
  struct Run {  // the pixels of one lattice column of an octave
    int32_t begin, end;
    int32_t cell_x;  // lattice index, 0..255
  };
  struct Octave {
    double cell, offset_y;
    float amplitude;
    int32_t cell_z;
    float fz, fade_z;
    std::vector<float> fx, fade_x;  // per pixel of the row
    std::vector<Run> runs;
  };
  template <CloudKind kKind>
  void Accumulate(int32_t y, float* sum) const;

  int32_t width_;
  CloudSettings settings_;
  std::vector<Octave> octaves_;
  float norm_ = 1.0f;  // 1 / sqrt(sum of squared amplitudes), or 1 / sum for ridges
};

}  // namespace tessfx
