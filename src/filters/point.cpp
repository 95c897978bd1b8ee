#include "filters/point.h"

#include <algorithm>
#include <array>

#include "core/convert.h"
#include "filters/parallel.h"

namespace tessfx {
namespace {

using Table = std::array<uint8_t, 256>;

// Runs fn(host rows, work rows) over the frame's rows in bands.
template <typename RowFn>
void ForEachFrameRow(const uint8_t* const (&host)[3], uint8_t* const (&work)[3], int32_t width, int32_t height,
                     RowFn&& fn) {
  if (width <= 0 || height <= 0) return;
  const int64_t stride = int64_t{width} + 1;
  ForEachRowBand(0, height, int64_t{width} * 3, [&](int32_t y0, int32_t y1) {
    for (int32_t y = y0; y < y1; ++y) {
      const int64_t o = y * stride;
      fn(host[0] + o, host[1] + o, host[2] + o, work[0] + o, work[1] + o, work[2] + o);
    }
  });
}

// out = t[in] over one row.
void MapRow(const uint8_t* in, uint8_t* out, int32_t width, const Table& t) {
  for (int32_t x = 0; x < width; ++x) out[x] = t[in[x]];
}

// out_c = t_c[Luma] over one row.
void MapLumaRow(const uint8_t* r, const uint8_t* g, const uint8_t* b, uint8_t* wr, uint8_t* wg, uint8_t* wb,
                int32_t width, const Table& tr, const Table& tg, const Table& tb) {
  for (int32_t x = 0; x < width; ++x) {
    const uint8_t grey = Luma(r[x], g[x], b[x]);
    wr[x] = tr[grey];
    wg[x] = tg[grey];
    wb[x] = tb[grey];
  }
}

}  // namespace

void FastTint(const uint8_t* host_r, const uint8_t* host_g, const uint8_t* host_b, uint8_t* work_r,
              uint8_t* work_g, uint8_t* work_b, int32_t red, int32_t green, int32_t blue, int32_t width,
              int32_t height) {
  const int32_t tint[3] = {ClampByte(red), ClampByte(green), ClampByte(blue)};
  std::array<Table, 3> t{};
  for (int c = 0; c < 3; ++c)
    for (int32_t v = 0; v < 256; ++v) t[c][v] = ClampByte((v * tint[c] + 127) / 255);
  ForEachFrameRow({host_r, host_g, host_b}, {work_r, work_g, work_b}, width, height,
                  [&](const uint8_t* r, const uint8_t* g, const uint8_t* b, uint8_t* wr, uint8_t* wg, uint8_t* wb) {
                    MapLumaRow(r, g, b, wr, wg, wb, width, t[0], t[1], t[2]);
                  });
}

void FastPosterize(uint8_t* work_r, uint8_t* work_g, uint8_t* work_b, int32_t width, int32_t height,
                   const uint8_t* host_r, const uint8_t* host_g, const uint8_t* host_b, int32_t step) {
  if (step < 1) return;
  step = std::min(step, 255);
  const int32_t last_bin = 255 / step;
  Table t{};
  for (int32_t v = 0; v < 256; ++v) t[v] = RoundToByte((v / step) * 255.0 / last_bin);
  ForEachFrameRow({host_r, host_g, host_b}, {work_r, work_g, work_b}, width, height,
                  [&](const uint8_t* r, const uint8_t* g, const uint8_t* b, uint8_t* wr, uint8_t* wg, uint8_t* wb) {
                    MapRow(r, wr, width, t);
                    MapRow(g, wg, width, t);
                    MapRow(b, wb, width, t);
                  });
}

void FastThreshold(const uint8_t* host_r, const uint8_t* host_g, const uint8_t* host_b, uint8_t* work_r,
                   uint8_t* work_g, uint8_t* work_b, int32_t width, int32_t height, int32_t level,
                   int32_t per_channel) {
  Table t{};
  for (int32_t v = 0; v < 256; ++v) t[v] = v >= level ? 255 : 0;
  ForEachFrameRow({host_r, host_g, host_b}, {work_r, work_g, work_b}, width, height,
                  [&](const uint8_t* r, const uint8_t* g, const uint8_t* b, uint8_t* wr, uint8_t* wg, uint8_t* wb) {
                    if (per_channel) {
                      MapRow(r, wr, width, t);
                      MapRow(g, wg, width, t);
                      MapRow(b, wb, width, t);
                    } else {
                      MapLumaRow(r, g, b, wr, wg, wb, width, t, t, t);
                    }
                  });
}

}  // namespace tessfx
