#pragma once
// A 3 x 3 neighbourhood over planes that are overwritten in place. Each output row needs
// the original rows above and below it, which a neighbouring band may already have
// overwritten. So the rows just outside every band are saved before any band starts, and
// each band keeps its own window of three original rows: no kernel ever reads its own
// output and the bands are fixed, so the result does not depend on the thread count.
//
// Window rows are padded copies: index 0 repeats column 0 and index width + 1 repeats
// column width - 1, so frame column x sits at index x + 1. Rows beyond the frame repeat row
// 0 or row height - 1. The planes' extra row and column are neither read nor written.
#include <algorithm>
#include <cstdint>
#include <cstring>
#include <memory>

#include "filters/parallel.h"

namespace tessfx {

// Rows per band: fixed, so that the saved band edges are the same on any machine.
inline constexpr int32_t kWindowBandRows = 32;

// Calls row_fn(y, rows) for every frame row y in 0..height-1, where rows[c][0..2] are the
// padded original rows y-1, y and y+1 of src[c]. row_fn may overwrite row y of the source
// planes (and any other plane) but no other row of the source planes.
template <int C, typename RowFn>
void ForEachRowWindow3(const uint8_t* const (&src)[C], int32_t width, int32_t height, RowFn&& row_fn) {
  if (width <= 0 || height <= 0) return;
  const int64_t stride = int64_t{width} + 1;
  const int64_t padded = int64_t{width} + 2;
  const int64_t row_set = padded * C;  // one padded row of every plane
  const int32_t bands = (height + kWindowBandRows - 1) / kWindowBandRows;
  // Allocated once per call: two saved edge rows and a three-row window per band.
  auto edges = std::make_unique_for_overwrite<uint8_t[]>(static_cast<size_t>(bands * 2 * row_set));
  auto windows = std::make_unique_for_overwrite<uint8_t[]>(static_cast<size_t>(bands * 3 * row_set));

  auto pad_row = [&](int32_t y, uint8_t* out) {
    for (int c = 0; c < C; ++c) {
      const uint8_t* row = src[c] + y * stride;
      uint8_t* o = out + c * padded;
      o[0] = row[0];
      std::memcpy(o + 1, row, static_cast<size_t>(width));
      o[width + 1] = row[width - 1];
    }
  };
  for (int32_t b = 0; b < bands; ++b) {
    const int32_t y0 = b * kWindowBandRows, y1 = std::min(y0 + kWindowBandRows, height);
    pad_row(std::max(y0 - 1, 0), edges.get() + (2 * b) * row_set);
    pad_row(std::min(y1, height - 1), edges.get() + (2 * b + 1) * row_set);
  }

  ForEachRowBand(0, bands, int64_t{kWindowBandRows} * width * C, [&](int32_t b0, int32_t b1) {
    for (int32_t b = b0; b < b1; ++b) {
      const int32_t y0 = b * kWindowBandRows, y1 = std::min(y0 + kWindowBandRows, height);
      const uint8_t* edge_above = edges.get() + (2 * b) * row_set;
      const uint8_t* edge_below = edges.get() + (2 * b + 1) * row_set;
      uint8_t* slot[3] = {windows.get() + (3 * b) * row_set, windows.get() + (3 * b + 1) * row_set,
                          windows.get() + (3 * b + 2) * row_set};
      std::memcpy(slot[0], edge_above, static_cast<size_t>(row_set));
      pad_row(y0, slot[1]);
      if (y0 + 1 < y1)
        pad_row(y0 + 1, slot[2]);
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
          pad_row(y + 2, slot[2]);
        else
          std::memcpy(slot[2], edge_below, static_cast<size_t>(row_set));
      }
    }
  });
}

}  // namespace tessfx
