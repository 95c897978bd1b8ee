#pragma once
// Video looks: "Reverse fields", "Slate" and "Video lines".
#include "host/image_state.h"

namespace tessfx {

// Exchanges the two fields: for odd rows y up to and including height, working rows y-1
// and y take host rows y and y-1 (columns 0..width). With an odd number of plane rows the
// last row keeps the working planes' value. Ends with the composite step.
void FxReverseFields(ImageState& s);
// Eight vertical colour bars at 75 percent (grey, yellow, cyan, green, magenta, red, blue,
// black), bar = 8 x / width over rows 0..height and columns 0..width; the extra column
// falls on a ninth, black bar. Ends with the composite step.
void FxSlate(ImageState& s);
// Scan lines: each row of the frame gets the offset +12, +4, -16, -12, -12 by its row
// number modulo 5, clamped. Never composites: the lines cover the whole frame.
void FxVideoLines(ImageState& s);

}  // namespace tessfx
