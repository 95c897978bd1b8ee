#include "filters/keyer.h"

#include <algorithm>
#include <cmath>
#include <optional>
#include <vector>

#include "core/convert.h"
#include "filters/parallel.h"

namespace tessfx {
namespace {

// Edge pixels are divided by their opacity, but never by less than this: below it the
// foreground's share is too small to recover, and its weight in the result is as small.
constexpr float kMinOpacity = 1.0f / 512.0f;

struct Colour {
  float r = 0, g = 0, b = 0;
};

// The rows of the three images a key reads and writes, at row y.
struct KeyRows {
  const uint8_t *fr, *fg, *fb;  // frame
  const uint8_t *pr, *pg, *pb;  // plate
  uint8_t *wr, *wg, *wb;        // result
};

KeyRows RowsAt(RgbView work, ConstRgbView frame, ConstRgbView plate, int32_t y) {
  return {frame.r.row(y), frame.g.row(y), frame.b.row(y), plate.r.row(y), plate.g.row(y),
          plate.b.row(y), work.r.row(y),  work.g.row(y),  work.b.row(y)};
}

inline float Clamp255(float v) { return std::min(std::max(v, 0.0f), 255.0f); }

// One pixel of a key: the frame colour c at opacity a, unmixed against the backdrop k (when
// kUnmix), the key channel of the foreground limited by `limit_green` (when kLimitGreen),
// laid over the plate p. Opacity 1 gives c itself (then limited); 0 gives p exactly.
template <bool kUnmix, bool kLimitGreen>
inline void KeyPixel(const KeyRows& row, int32_t x, float a, const Colour& k, float spill) {
  const float share = 1.0f - a;
  float fr = row.fr[x], fg = row.fg[x], fb = row.fb[x];
  if constexpr (kUnmix) {
    const float inv = 1.0f / std::max(a, kMinOpacity);
    fr = Clamp255((fr - share * k.r) * inv);
    fg = Clamp255((fg - share * k.g) * inv);
    fb = Clamp255((fb - share * k.b) * inv);
  }
  if constexpr (kLimitGreen) fg = std::min(fg, std::max(fr, fb) + spill);
  row.wr[x] = RoundToByteF(a * fr + share * static_cast<float>(row.pr[x]));
  row.wg[x] = RoundToByteF(a * fg + share * static_cast<float>(row.pg[x]));
  row.wb[x] = RoundToByteF(a * fb + share * static_cast<float>(row.pb[x]));
}

inline float GreenExcess(const KeyRows& row, int32_t x) {
  return static_cast<float>(row.fg[x]) - static_cast<float>(std::max(row.fr[x], row.fb[x]));
}

// The backdrop as the frame shows it: the mean colour of the pixels that key out fully.
// Sums are whole numbers, so the result does not depend on how rows are shared out.
std::optional<Colour> MeasureBackdrop(ConstRgbView frame, const MatteRamp& ramp) {
  const int32_t width = frame.r.width, height = frame.r.height;
  struct Sums {
    uint32_t r = 0, g = 0, b = 0, n = 0;  // a row of 32767 samples of 255 fits
  };
  std::vector<Sums> rows(static_cast<size_t>(std::max(height, 0)));
  ForEachFrameRow(width, height, 3, [&](int32_t y0, int32_t y1) {
    for (int32_t y = y0; y < y1; ++y) {
      const uint8_t *r = frame.r.row(y), *g = frame.g.row(y), *b = frame.b.row(y);
      Sums s;
      for (int32_t x = 0; x < width; ++x) {
        const float excess = static_cast<float>(g[x]) - static_cast<float>(std::max(r[x], b[x]));
        const uint32_t keyed = ramp(excess) >= 1.0f ? 1 : 0;
        s.r += keyed * r[x];
        s.g += keyed * g[x];
        s.b += keyed * b[x];
        s.n += keyed;
      }
      rows[static_cast<size_t>(y)] = s;
    }
  });
  uint64_t r = 0, g = 0, b = 0, n = 0;
  for (const Sums& s : rows) {
    r += s.r;
    g += s.g;
    b += s.b;
    n += s.n;
  }
  if (n == 0) return std::nullopt;
  const double count = static_cast<double>(n);
  return Colour{static_cast<float>(r / count), static_cast<float>(g / count), static_cast<float>(b / count)};
}

template <bool kUnmix>
void GreenScreenRows(RgbView work, ConstRgbView frame, ConstRgbView plate, const MatteRamp& ramp, const Colour& k,
                     float spill) {
  const int32_t width = work.r.width;
  ForEachFrameRow(width, work.r.height, 9, [&](int32_t y0, int32_t y1) {
    for (int32_t y = y0; y < y1; ++y) {
      const KeyRows row = RowsAt(work, frame, plate, y);
      for (int32_t x = 0; x < width; ++x) KeyPixel<kUnmix, true>(row, x, 1.0f - ramp(GreenExcess(row, x)), k, spill);
    }
  });
}

}  // namespace

MatteRamp::MatteRamp(float clip_a, float clip_b) : lo(std::min(clip_a, clip_b)), hi(std::max(clip_a, clip_b)) {}

float MatteRamp::operator()(float v) const {
  if (hi > lo) return std::min(std::max((v - lo) / (hi - lo), 0.0f), 1.0f);
  return v > lo ? 1.0f : 0.0f;
}

void GreenScreenKey(RgbView work, ConstRgbView frame, ConstRgbView plate, const ScreenKeyOptions& options) {
  const MatteRamp ramp(static_cast<float>(options.low_clip), static_cast<float>(options.high_clip));
  const float spill = static_cast<float>(options.spill_limit);
  if (const std::optional<Colour> backdrop = MeasureBackdrop(frame, ramp))
    GreenScreenRows<true>(work, frame, plate, ramp, *backdrop, spill);
  else
    GreenScreenRows<false>(work, frame, plate, ramp, {}, spill);
}

void ColourKey(RgbView work, ConstRgbView frame, ConstRgbView plate, const ColourKeyOptions& options) {
  const MatteRamp ramp(options.low_clip, options.high_clip);
  const Colour k{static_cast<float>(options.key[0]), static_cast<float>(options.key[1]), static_cast<float>(options.key[2])};
  const int32_t width = work.r.width;
  ForEachFrameRow(width, work.r.height, 9, [&](int32_t y0, int32_t y1) {
    for (int32_t y = y0; y < y1; ++y) {
      const KeyRows row = RowsAt(work, frame, plate, y);
      for (int32_t x = 0; x < width; ++x) {
        const float dr = row.fr[x] - k.r, dg = row.fg[x] - k.g, db = row.fb[x] - k.b;
        KeyPixel<true, false>(row, x, ramp(std::sqrt(dr * dr + dg * dg + db * db)), k, 0.0f);
      }
    }
  });
}

}  // namespace tessfx
