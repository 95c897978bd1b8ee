#include "filters/point.h"

#include <algorithm>
#include <array>

#include "core/convert.h"
#include "filters/parallel.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "filters/point.cpp"
#include <hwy/foreach_target.h>  // IWYU pragma: keep
#include <hwy/highway.h>

#include "filters/simd-inl.h"

HWY_BEFORE_NAMESPACE();
namespace tessfx::HWY_NAMESPACE {
namespace {

// All three channels 255 where the pixel's Luma reaches `level` (0..256), else 0. The Luma
// sum is at most 256 x 255 + 128, within 16 bits.
void LumaThresholdRow(const uint8_t* r, const uint8_t* g, const uint8_t* b, uint8_t* wr, uint8_t* wg, uint8_t* wb,
                      int64_t n, int32_t level) {
  const hn::ScalableTag<uint16_t> d;
  const hn::RebindToSigned<decltype(d)> di;
  const auto below = hn::Set(di, static_cast<int16_t>(level - 1));
  const auto kr = hn::Set(d, 77), kg = hn::Set(d, 150), kb = hn::Set(d, 29), half = hn::Set(d, 128);
  const auto white = hn::Set(d, 255);
  ForEachStep(hn::Lanes(d), n, {r, g, b}, {wr, wg, wb}, [&](const uint8_t* const* in, uint8_t* const* out) HWY_ATTR {
    auto sum = hn::Add(hn::Mul(LoadBytesAs16(d, in[0]), kr), hn::Mul(LoadBytesAs16(d, in[1]), kg));
    sum = hn::Add(hn::Add(sum, hn::Mul(LoadBytesAs16(d, in[2]), kb)), half);
    const auto grey = hn::BitCast(di, hn::ShiftRight<8>(sum));
    const auto v = hn::IfThenElseZero(hn::RebindMask(d, hn::Gt(grey, below)), white);
    Store16AsBytes(d, v, out[0]);
    Store16AsBytes(d, v, out[1]);
    Store16AsBytes(d, v, out[2]);
  });
}

}  // namespace
}  // namespace tessfx::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace tessfx {
namespace {

HWY_EXPORT(LumaThresholdRow);

using Table = std::array<uint8_t, 256>;

// Runs fn(host rows, work rows) over the frame's rows in bands.
template <typename RowFn>
void ForEachRowPair(RgbView work, ConstRgbView host, RowFn&& fn) {
  ForEachFrameRow(work.r.width, work.r.height, 3, [&](int32_t y0, int32_t y1) {
    for (int32_t y = y0; y < y1; ++y)
      fn(host.r.row(y), host.g.row(y), host.b.row(y), work.r.row(y), work.g.row(y), work.b.row(y));
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

void FastTint(RgbView work, ConstRgbView host, int32_t red, int32_t green, int32_t blue) {
  const int32_t width = work.r.width;
  const int32_t tint[3] = {ClampByte(red), ClampByte(green), ClampByte(blue)};
  std::array<Table, 3> t{};
  for (int c = 0; c < 3; ++c)
    for (int32_t v = 0; v < 256; ++v) t[c][v] = ClampByte((v * tint[c] + 127) / 255);
  ForEachRowPair(work, host,
                 [&](const uint8_t* r, const uint8_t* g, const uint8_t* b, uint8_t* wr, uint8_t* wg, uint8_t* wb) {
                   MapLumaRow(r, g, b, wr, wg, wb, width, t[0], t[1], t[2]);
                 });
}

void FastPosterize(RgbView work, ConstRgbView host, int32_t step) {
  const int32_t width = work.r.width;
  if (step < 1) return;
  step = std::min(step, 255);
  const int32_t last_bin = 255 / step;
  Table t{};
  for (int32_t v = 0; v < 256; ++v) t[v] = RoundToByte((v / step) * 255.0 / last_bin);
  ForEachRowPair(work, host,
                 [&](const uint8_t* r, const uint8_t* g, const uint8_t* b, uint8_t* wr, uint8_t* wg, uint8_t* wb) {
                   MapRow(r, wr, width, t);
                   MapRow(g, wg, width, t);
                   MapRow(b, wb, width, t);
                 });
}

void FastThreshold(RgbView work, ConstRgbView host, int32_t level, int32_t per_channel) {
  const int32_t width = work.r.width;
  Table t{};
  for (int32_t v = 0; v < 256; ++v) t[v] = v >= level ? 255 : 0;
  ForEachRowPair(work, host,
                 [&](const uint8_t* r, const uint8_t* g, const uint8_t* b, uint8_t* wr, uint8_t* wg, uint8_t* wb) {
                   if (per_channel) {
                     MapRow(r, wr, width, t);
                     MapRow(g, wg, width, t);
                     MapRow(b, wb, width, t);
                   } else {
                     HWY_DYNAMIC_DISPATCH(LumaThresholdRow)(r, g, b, wr, wg, wb, width, std::clamp(level, 0, 256));
                   }
                 });
}

}  // namespace tessfx
#endif  // HWY_ONCE
