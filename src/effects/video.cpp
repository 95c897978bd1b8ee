#include "effects/video.h"

#include <array>
#include <cstring>

#include "core/convert.h"
#include "effects/frame.h"
#include "filters/parallel.h"

namespace tessfx {
namespace {

// row + d clamped to 0..255, as a saturating add of up = max(d, 0) after a saturating
// subtract of down = max(-d, 0), which vectorises to byte instructions.
void AddClampedRow(uint8_t* row, int32_t width, int32_t d) {
  const uint8_t up = ClampByte(d), down = ClampByte(-d);
  for (int32_t x = 0; x < width; ++x) {
    const uint8_t lowered = row[x] > down ? row[x] - down : 0;
    const uint8_t headroom = 255 - lowered;
    row[x] = headroom < up ? 255 : lowered + up;
  }
}

}  // namespace

void FxReverseFields(ImageState& s) {
  const int32_t w = s.width, h = s.height;
  if (w >= 0 && h >= 0) {
    const size_t row_bytes = static_cast<size_t>(w) + 1;
    Plane* work[3] = {&s.work_r, &s.work_g, &s.work_b};
    const Plane* host[3] = {&s.host_r, &s.host_g, &s.host_b};
    // Pairs (y-1, y) for y = 1, 3, 5 ... <= height; pair p covers rows 2p and 2p + 1.
    const int32_t pairs = (h + 1) / 2;
    ForEachRowBand(0, pairs, int64_t{w + 1} * 6, [&](int32_t p0, int32_t p1) {
      for (int32_t p = p0; p < p1; ++p) {
        const int32_t y = 2 * p + 1;
        for (int c = 0; c < 3; ++c) {
          std::memcpy((*work[c])[y - 1], (*host[c])[y], row_bytes);
          std::memcpy((*work[c])[y], (*host[c])[y - 1], row_bytes);
        }
      }
    });
  }
  CompositeStep(s);
}

void FxSlate(ImageState& s) {
  // Entry 8 is the extra column's bar: black.
  static constexpr std::array<uint8_t, 9> kRed = {192, 192, 0, 0, 192, 192, 0, 0, 0};
  static constexpr std::array<uint8_t, 9> kGreen = {192, 192, 192, 192, 0, 0, 0, 0, 0};
  static constexpr std::array<uint8_t, 9> kBlue = {192, 0, 192, 0, 192, 0, 192, 0, 0};
  const int32_t w = s.width, h = s.height;
  if (w >= 0 && h >= 0) {
    const size_t row_bytes = static_cast<size_t>(w) + 1;
    // Every row is the same: build row 0 once, then copy it. A frame of width 0 has only
    // the extra column, which is black.
    for (int32_t x = 0; x <= w; ++x) {
      const int32_t bar = w > 0 ? TruncDiv(8 * x, w) : 8;
      s.work_r[0][x] = kRed[static_cast<size_t>(bar)];
      s.work_g[0][x] = kGreen[static_cast<size_t>(bar)];
      s.work_b[0][x] = kBlue[static_cast<size_t>(bar)];
    }
    ForEachRowBand(1, h + 1, int64_t{w + 1} * 3, [&](int32_t y0, int32_t y1) {
      for (int32_t y = y0; y < y1; ++y) {
        std::memcpy(s.work_r[y], s.work_r[0], row_bytes);
        std::memcpy(s.work_g[y], s.work_g[0], row_bytes);
        std::memcpy(s.work_b[y], s.work_b[0], row_bytes);
      }
    });
  }
  CompositeStep(s);
}

void FxVideoLines(ImageState& s) {
  // The fifth phase keeps the fourth's offset.
  static constexpr std::array<int32_t, 5> kOffset = {12, 4, -16, -12, -12};
  const int32_t w = s.width, h = s.height;
  if (w <= 0 || h <= 0) return;
  ForEachRowBand(0, h, int64_t{w} * 3, [&](int32_t y0, int32_t y1) {
    for (int32_t y = y0; y < y1; ++y) {
      const int32_t d = kOffset[static_cast<size_t>(y % 5)];
      for (Plane* p : {&s.work_r, &s.work_g, &s.work_b}) AddClampedRow((*p)[y], w, d);
    }
  });
}

}  // namespace tessfx
