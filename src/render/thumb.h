#pragma once
// The preview picture: a reduced copy of the working planes, each thumbnail pixel the
// exact area-weighted average of the frame pixels it covers (halves rounded to even).
#include <cstdint>

#include "core/plane.h"
#include "render/window.h"

namespace tessfx {

// The largest size that fits box_width x box_height with the frame's aspect ratio, never
// larger than the frame itself and at least 1 x 1 (0 x 0 for an empty frame or box).
PictureBox ThumbSize(int32_t width, int32_t height, int32_t box_width, int32_t box_height);

// Reduces the width x height frame of r, g, b (their extra row and column are not part of
// the picture) to fit the box, into `out` (its storage is reused).
void SuperThumb(const Plane& r, const Plane& g, const Plane& b, int32_t width, int32_t height, int32_t box_width,
                int32_t box_height, ThumbImage& out);

// Reduces the width x height picture of `src` to out_width x out_height (at most the
// picture's size) by the same area average, into a plane of that size whose extra row and
// column repeat its last row and column.
void ReducePlane(const Plane& src, int32_t width, int32_t height, int32_t out_width, int32_t out_height, Plane& out);

}  // namespace tessfx
