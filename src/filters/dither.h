#pragma once
// Threshold dithers: each sample is quantised to a few evenly spaced levels with a
// threshold that varies from pixel to pixel, so the mean of an area keeps the levels that
// the palette lacks. The thresholds come from the 8 x 8 Bayer matrix anchored at pixel
// (0, 0), so the pattern stays put from frame to frame, or from a hash of the frame and
// the position, which changes every frame. Threshold methods suit a frame-by-frame
// renderer: error diffusion is sequential along a row and its pattern crawls between
// frames of an animation.
//
// The kernels read the untouched frame and write the working planes over the frame's
// width x height pixels; the extra row and column are left as they are.
#include <array>
#include <cstdint>

#include "core/plane.h"

namespace tessfx {

inline constexpr int32_t kDitherThresholds = 64;

// The 8 x 8 Bayer index matrix (0..63), built as M(2n) = [[4M, 4M + 2], [4M + 3, 4M + 1]]:
// every 2^k x 2^k corner holds the first 4^k thresholds, spread evenly.
using BayerMatrix = std::array<std::array<uint8_t, 8>, 8>;
const BayerMatrix& Bayer8();

// One quantiser per level count: Q[t][v] is sample v quantised to `levels` levels with
// threshold t (0..63): level i = min(levels - 1, floor(v (levels - 1) / 255 + (t + 0.5) / 64)),
// shown as i * 255 / (levels - 1) rounded half to even. Over the 64 thresholds the mean
// of the levels is v within 1/128 of a step.
using DitherTable = std::array<std::array<uint8_t, 256>, kDitherThresholds>;
const DitherTable& DitherTableOf(int32_t levels);  // 2, 4 or 8 levels

enum class DitherPalette : uint8_t {
  Rgb332,       // 8 levels of red and green, 4 of blue: 256 colours, one threshold per pixel
  BlackWhite,   // the pixel's grey (Luma) to black or white, R = G = B
};
enum class DitherPattern : uint8_t { Ordered, Random };

// Dithers the untouched frame into `work`. Random thresholds are keyed by the effect's
// stream, the frame and the position (counter_random.h), so each frame is reproducible.
void Dither(RgbView work, ConstRgbView host, DitherPalette palette, DitherPattern pattern, int32_t frame);

}  // namespace tessfx
