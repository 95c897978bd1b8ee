#pragma once
// Light scattered along rays: every pixel takes a weighted mean of a picture along the
// segment from itself towards a centre, the nearest samples weighing most, so that bright
// (or dark) parts of the picture stream away from the centre in beams.
//
// The mean is taken at half resolution in a few passes of few taps each, each pass's step
// a multiple of the one before: the passes' taps multiply out to every step of the whole
// ray, so the cost grows with the logarithm of the number of samples.
#include <array>
#include <cstdint>
#include <vector>

#include "core/plane.h"

namespace tessfx {

// A picture of three float channels per pixel, interleaved (the fourth lane pads).
struct RayImage {
  int32_t width = 0;
  int32_t height = 0;
  std::vector<std::array<float, 4>> pixels;  // row after row
  std::array<float, 4>* row(int32_t y) { return pixels.data() + int64_t{y} * width; }
  const std::array<float, 4>* row(int32_t y) const { return pixels.data() + int64_t{y} * width; }
};

// What streams: the bright parts (each sample's excess over mid-grey) or the dark parts
// (its shortfall), doubled, so that the brightest (or darkest) sample gives 255 (256).
enum class RaySource : uint8_t { Bright, Dark };

// The frame's rows 0..height-1, columns 0..width-1 at half size (each pixel the mean of
// a 2 x 2 block of what streams).
RayImage ExtractRaySource(ConstRgbView frame, RaySource source);

struct RaySettings {
  double centre_x = 0, centre_y = 0;  // in pixels of the frame (not of the half-size image)
  double length = 0;                  // share of the distance to the centre the ray reaches
  int32_t samples = 2;                // along the ray; fewer than 2 count as 2
  double falloff = 2.0;               // weight exp(-falloff t) at the fraction t of the ray
};

// Replaces each pixel of the half-size image by the weighted mean along its ray.
void AccumulateRays(RayImage& image, const RaySettings& settings);

// Lays the rays over the untouched frame into the working planes (rows 0..height-1,
// columns 0..width-1), read bilinearly from the half-size image: bright rays screen the
// frame (never darkening it), dark rays multiply it (never lightening it).
void ApplyRays(RgbView work, ConstRgbView host, const RayImage& rays, RaySource source);

}  // namespace tessfx
