#pragma once
// Cross rank filters: the largest or smallest sample of the five-point cross, per channel
// (CrossRankPass). Passes visit rows 1..height-1 and columns 1..width-1, so row 0 and column
// 0 keep the untouched frame. None of them composites: the result covers the whole frame.
#include "host/image_state.h"

namespace tessfx {

// One maximum pass, host planes to working planes.
void FxMaximize(ImageState& s);
// One minimum pass, host planes to working planes.
void FxMinimize(ImageState& s);
// A maximum pass, then a minimum pass over a copy of its result (a closing).
void FxMaxMin(ImageState& s);
// A minimum pass, then a maximum pass over a copy of its result (an opening).
void FxMinMax(ImageState& s);

}  // namespace tessfx
