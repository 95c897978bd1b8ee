#pragma once
// Combine with swap: the frame mixed with the swap image, per channel by a lookup table
// or a formula, per pixel by a choice of greys, or bitwise. Each routine refreshes the swap
// planes first, visits rows 0..height and columns 0..width (the planes' extra row and column
// included), writes working R, G, B and ends with the composite step. s is the swap sample,
// c the frame sample of the same channel; divisions truncate.
#include "host/image_state.h"
#include "host/lookup_tables.h"

namespace tessfx {

// table[s][c] with c from the host planes (the untouched frame).
void FxCombineByTable(ImageState& st, const LookupTable& table);
// (s * (255 - c) + c * c) / 255.
void FxCombineLuminance(ImageState& st);
// ((255 - c) * s + (255 - s) * c) / 255.
void FxCombineComplement(ImageState& st);
// |c - s|.
void FxCombineDifference(ImageState& st);
// The swap pixel where its grey (sum / 3, rounded half to even) is below the frame's.
void FxCombineLessThan(ImageState& st);
// The swap pixel where its grey is above the frame's.
void FxCombineGreaterThan(ImageState& st);
// (g * c) / 255 with g the swap pixel's grey, rounded half to even.
void FxCombineTexturize(ImageState& st);
// White where the swap grey (sum / 3, truncated) is at most the frame's, else black.
void FxCombineBinary(ImageState& st);
// c AND s (mode 0), c OR s (mode 1), c XOR s (mode 2).
void FxCombineLogic(ImageState& st, int32_t mode);
// work * (1 - m) + swap * m with m = level / 255 (MixPlanes), over the whole planes. Unlike
// the others it neither fetches the swap planes nor composites: the dispatch does both.
void FxMixBuffers(ImageState& st, float level);

}  // namespace tessfx
