#pragma once
// Geometric effects that rebuild the frame from samples of the untouched frame (host
// planes) into the working planes: "Mirage", "Mosaic" and "Displace".
#include "host/image_state.h"

namespace tessfx {

// Mixes row y with row height - y in the proportion y : (height - y), integer division
// truncating, over rows 1..height-1 and columns 1..width-1. Ends with the composite step.
void FxMirage(ImageState& s);
// Blocks of n x n pixels (n = block_size rounded half to even) take the sample at the
// block's upper-left corner plus n / 2, clamped to the frame; rows 0..height-1, columns
// 0..width-1. A block size below 1 leaves the frame unchanged (and skips the composite).
void FxMosaic(ImageState& s, float block_size);
// Moves every pixel by an offset read from the swap image: with k = floor(amount),
// dx = ((swap R - 128) k) / 255 and dy = ((swap G - 128) k) / 255 (truncating), the pixel
// (x, y) takes host (|x + dx| mod width, |y + dy| mod height), over rows 0..height and
// columns 0..width. Frames with both sides below 128 are left alone; the swap planes are
// refreshed next; k = 0 then returns without a change and without the composite.
void FxDisplace(ImageState& s, float amount);

}  // namespace tessfx
