#pragma once
// A 3 x 3 neighbourhood over planes that are overwritten in place. Each output row needs
// the original rows above and below it, which a neighbouring band may already have
// overwritten. So the rows just outside every band are saved before any band starts, and
// each band keeps its own window of three original rows: no kernel ever reads its own
// output and the bands are fixed, so the result does not depend on the thread count.
//
// Window rows are padded: index 0 repeats column 0 and index width + 1 repeats column
// width - 1, so frame column x sits at index x + 1. Rows beyond the frame repeat row 0 or
// row height - 1. The planes' extra row and column are neither read nor written.
#include <algorithm>
#include <cstdint>
#include <cstring>
#include <vector>

#include "filters/parallel.h"

namespace tessfx {

// Rows per band: fixed, so that the saved band edges are the same on any machine.
inline constexpr int32_t kWindowBandRows = 32;

// Loads padded copies of row y of C planes: out holds C rows of width + 2 samples.
template <int C>
struct PaddedRows {
  const uint8_t* const (&src)[C];
  int32_t width;
  void operator()(int32_t y, uint8_t* out) const {
    const int64_t stride = int64_t{width} + 1, padded = int64_t{width} + 2;
    for (int c = 0; c < C; ++c) {
      const uint8_t* row = src[c] + y * stride;
      uint8_t* o = out + c * padded;
      o[0] = row[0];
      std::memcpy(o + 1, row, static_cast<size_t>(width));
      o[width + 1] = row[width - 1];
    }
  }
};

// Calls row_fn(y, rows) for every frame row y in 0..height-1, where rows[c][0..2] are the
// padded rows y-1, y and y+1 of channel c as load(y, out) gives them (C padded rows of
// width + 2 samples). load must read only what row_fn has not yet overwritten: row_fn may
// overwrite row y of the sources but no other row.
template <int C, typename Load, typename RowFn>
void ForEachRowWindow3(int32_t width, int32_t height, const Load& load, RowFn&& row_fn) {
  if (width <= 0 || height <= 0) return;
  const int64_t padded = int64_t{width} + 2;
  const int64_t row_set = padded * C;  // one padded row of every plane
  const int32_t bands = (height + kWindowBandRows - 1) / kWindowBandRows;
  // The rows just above and below every band, before any band writes.
  std::vector<uint8_t> edges(static_cast<size_t>(bands * 2 * row_set));
  for (int32_t b = 0; b < bands; ++b) {
    const int32_t y0 = b * kWindowBandRows, y1 = std::min(y0 + kWindowBandRows, height);
    load(std::max(y0 - 1, 0), edges.data() + (2 * b) * row_set);
    load(std::min(y1, height - 1), edges.data() + (2 * b + 1) * row_set);
  }

  ForEachRowBand(0, bands, int64_t{kWindowBandRows} * width * C, [&](int32_t b0, int32_t b1) {
    std::vector<uint8_t> window(static_cast<size_t>(3 * row_set));  // per band range, small
    for (int32_t b = b0; b < b1; ++b) {
      const int32_t y0 = b * kWindowBandRows, y1 = std::min(y0 + kWindowBandRows, height);
      const uint8_t* edge_above = edges.data() + (2 * b) * row_set;
      const uint8_t* edge_below = edges.data() + (2 * b + 1) * row_set;
      uint8_t* slot[3] = {window.data(), window.data() + row_set, window.data() + 2 * row_set};
      std::memcpy(slot[0], edge_above, static_cast<size_t>(row_set));
      load(y0, slot[1]);
      if (y0 + 1 < y1)
        load(y0 + 1, slot[2]);
      else
        std::memcpy(slot[2], edge_below, static_cast<size_t>(row_set));
      for (int32_t y = y0;; ++y) {
        const uint8_t* rows[C][3];
        for (int c = 0; c < C; ++c)
          for (int k = 0; k < 3; ++k) rows[c][k] = slot[k] + c * padded;
        row_fn(y, rows);
        if (y + 1 >= y1) break;
        std::rotate(slot, slot + 1, slot + 3);
        // Row y + 2 is still original inside the band; past the band it is the saved edge.
        if (y + 2 < y1)
          load(y + 2, slot[2]);
        else
          std::memcpy(slot[2], edge_below, static_cast<size_t>(row_set));
      }
    }
  });
}

}  // namespace tessfx
