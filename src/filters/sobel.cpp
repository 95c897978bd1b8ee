#include "filters/sobel.h"

#include <algorithm>
#include <cmath>
#include <vector>

#include "core/convert.h"
#include "filters/parallel.h"

namespace tessfx {
namespace {

// One row of edge strengths from the rows above, at and below it, each padded with its
// edge sample on both sides (padded[i + 1] is column i).
void SobelRow(uint8_t* __restrict out, const int16_t* __restrict above, const int16_t* __restrict at,
              const int16_t* __restrict below, int32_t width) {
  for (int32_t x = 0; x < width; ++x) {
    const int32_t l = x, c = x + 1, r = x + 2;
    const int32_t gx = (above[r] + 2 * at[r] + below[r]) - (above[l] + 2 * at[l] + below[l]);
    const int32_t gy = (below[l] + 2 * below[c] + below[r]) - (above[l] + 2 * above[c] + above[r]);
    // Exact in single precision: the sum of squares is below 2^22 and sqrt rounds correctly.
    const float length = std::sqrt(static_cast<float>(gx * gx + gy * gy)) * 0.25f;
    out[x] = RoundToByteF(length);
  }
}

void PadRow(int16_t* padded, const uint8_t* row, int32_t width) {
  padded[0] = row[0];
  for (int32_t x = 0; x < width; ++x) padded[x + 1] = row[x];
  padded[width + 1] = row[width - 1];
}

}  // namespace

void SobelMagnitude(PlaneView out, ConstPlaneView in) {
  const int32_t w = in.width, h = in.height;
  ForEachFrameRow(w, h, 3, [&](int32_t y0, int32_t y1) {
    const size_t n = static_cast<size_t>(w) + 2;
    std::vector<int16_t> rows(3 * n);
    int16_t* above = rows.data();
    int16_t* at = above + n;
    int16_t* below = at + n;
    PadRow(above, in.row(std::max(0, y0 - 1)), w);
    PadRow(at, in.row(y0), w);
    for (int32_t y = y0; y < y1; ++y) {
      PadRow(below, in.row(std::min(h - 1, y + 1)), w);
      SobelRow(out.row(y), above, at, below, w);
      std::swap(above, at);
      std::swap(at, below);  // the old `above` is reused for the next row below
    }
  });
}

}  // namespace tessfx
