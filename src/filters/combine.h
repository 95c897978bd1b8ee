#pragma once
// Per-sample combinations of a frame sample c with a swap sample s, in 16-bit lanes, over
// runs of n samples. Each gives, for all 65536 pairs, the byte of the corresponding table
// of core/lookup_tables.h.
#include <cstdint>

namespace tessfx {

// out = floor(s x c / 255).
void MultiplyRun(const uint8_t* s, const uint8_t* c, uint8_t* out, int64_t n);

// out = c + (255 - c) x s / 255 rounded (never a tie: 255 is odd).
void ScreenRun(const uint8_t* s, const uint8_t* c, uint8_t* out, int64_t n);

}  // namespace tessfx
