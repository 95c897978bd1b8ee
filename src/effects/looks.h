#pragma once
// Colour looks: "Day for night", "Sunset filter" and "Fog filter". Each recolours the frame
// (rows 0..height-1, columns 0..width-1) with a weight that changes from the first row to
// the last, then ends with the composite step. Per row t = y / height and u = 1 - t in
// single precision; pixel arithmetic in double precision, results rounded half to even.
#include "host/image_state.h"

namespace tessfx {

// Halves the saturation towards the grey 0.2 r + 0.3 g + 0.5 b, then darkens and blues
// the frame, less so on rows of higher index.
void FxDayForNight(ImageState& s);
// A warm cast: green and blue scaled down, strongest on row 0, fading towards the last row.
void FxSunsetFilter(ImageState& s);
// Blends each pixel towards a pale fog value that grows with the row index.
void FxFogFilter(ImageState& s);

}  // namespace tessfx
