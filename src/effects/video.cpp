// Video looks: "Reverse fields", "Slate" and "Video lines".
#include <array>
#include <cstring>

#include "core/convert.h"
#include "effects/families.h"
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

// Exchanges the two fields: for odd rows y up to and including height, working rows y-1
// and y take host rows y and y-1 (columns 0..width). With an odd number of plane rows the
// last row keeps the working planes' value.
void FxReverseFields(EffectFrame& f) {
  const int32_t w = f.width, h = f.height;
  if (w < 0 || h < 0) return;
  const size_t row_bytes = static_cast<size_t>(w) + 1;
  const PlaneView work[3] = {f.work.r, f.work.g, f.work.b};
  const ConstPlaneView host[3] = {f.host.r, f.host.g, f.host.b};
  // Pairs (y-1, y) for y = 1, 3, 5 ... <= height; pair p covers rows 2p and 2p + 1.
  const int32_t pairs = (h + 1) / 2;
  ForEachRowBand(0, pairs, int64_t{w + 1} * 6, [&](int32_t p0, int32_t p1) {
    for (int32_t p = p0; p < p1; ++p) {
      const int32_t y = 2 * p + 1;
      for (int c = 0; c < 3; ++c) {
        std::memcpy(work[c].row(y - 1), host[c].row(y), row_bytes);
        std::memcpy(work[c].row(y), host[c].row(y - 1), row_bytes);
      }
    }
  });
}

// Eight vertical colour bars at 75 percent (grey, yellow, cyan, green, magenta, red, blue,
// black), bar = 8 x / width over rows 0..height and columns 0..width; the extra column
// falls on a ninth, black bar.
void FxSlate(EffectFrame& f) {
  // Entry 8 is the extra column's bar: black.
  static constexpr std::array<uint8_t, 9> kRed = {192, 192, 0, 0, 192, 192, 0, 0, 0};
  static constexpr std::array<uint8_t, 9> kGreen = {192, 192, 192, 192, 0, 0, 0, 0, 0};
  static constexpr std::array<uint8_t, 9> kBlue = {192, 0, 192, 0, 192, 0, 192, 0, 0};
  const int32_t w = f.width, h = f.height;
  if (w < 0 || h < 0) return;
  const size_t row_bytes = static_cast<size_t>(w) + 1;
  // Every row is the same: build row 0 once, then copy it. A frame of width 0 has only
  // the extra column, which is black.
  for (int32_t x = 0; x <= w; ++x) {
    const int32_t bar = w > 0 ? TruncDiv(8 * x, w) : 8;
    f.work.r.at(0, x) = kRed[static_cast<size_t>(bar)];
    f.work.g.at(0, x) = kGreen[static_cast<size_t>(bar)];
    f.work.b.at(0, x) = kBlue[static_cast<size_t>(bar)];
  }
  ForEachRowBand(1, h + 1, int64_t{w + 1} * 3, [&](int32_t y0, int32_t y1) {
    for (int32_t y = y0; y < y1; ++y)
      for (const PlaneView& p : {f.work.r, f.work.g, f.work.b}) std::memcpy(p.row(y), p.row(0), row_bytes);
  });
}

// Scan lines: each row of the frame gets the offset +12, +4, -16, -12, -12 by its row
// number modulo 5, clamped.
void FxVideoLines(EffectFrame& f) {
  // The fifth phase keeps the fourth's offset.
  static constexpr std::array<int32_t, 5> kOffset = {12, 4, -16, -12, -12};
  const int32_t w = f.width;
  ForEachFrameRow(w, f.height, 3, [&](int32_t y0, int32_t y1) {
    for (int32_t y = y0; y < y1; ++y) {
      const int32_t d = kOffset[static_cast<size_t>(y % 5)];
      for (const PlaneView& p : {f.work.r, f.work.g, f.work.b}) AddClampedRow(p.row(y), w, d);
    }
  });
}

}  // namespace

std::span<const EffectDef> VideoEffects() {
  static const EffectDef effects[] = {
      {.name = "Slate",
       .category = "Video",
       .description = "Eight colour bars at 75 percent, as a test slate",
       .run = [](EffectFrame& f, const EffectParams&) { FxSlate(f); }},
      {.name = "Reverse fields",
       .category = "Video",
       .description = "Exchanges the two fields of interlaced video (each pair of lines)",
       .run = [](EffectFrame& f, const EffectParams&) { FxReverseFields(f); }},
      {.name = "Video lines",
       .category = "Video",
       .composite = kCoversFrame,
       .description = "Brighter and darker scan lines repeating every five lines, over the whole frame",
       .run = [](EffectFrame& f, const EffectParams&) { FxVideoLines(f); }},
  };
  return effects;
}

}  // namespace tessfx
