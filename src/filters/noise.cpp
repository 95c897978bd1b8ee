#include "filters/noise.h"

#include <algorithm>

#include "core/convert.h"
#include "filters/counter_random.h"
#include "filters/parallel.h"

namespace tessfx {
namespace {

template <bool kPerChannel>
void NoiseRow(uint8_t* r, uint8_t* g, uint8_t* b, const uint8_t* a, int32_t width, bool guard_alpha, uint32_t key,
              int32_t half) {
  const int32_t span = 2 * half + 1;
  for (int32_t x = 0; x < width; ++x) {
    const int32_t off_r = ScaleBits16(SampleBits(key, x, 0) >> 16, span) - half;
    int32_t off_g = off_r, off_b = off_r;
    if constexpr (kPerChannel) {
      off_g = ScaleBits16(SampleBits(key, x, 1) >> 16, span) - half;
      off_b = ScaleBits16(SampleBits(key, x, 2) >> 16, span) - half;
    }
    // Outside the selection the offsets are 0, so the pixel stays as it is.
    const int32_t keep = (guard_alpha && a[x] == 0) ? 0 : 1;
    r[x] = ClampByte(r[x] + off_r * keep);
    g[x] = ClampByte(g[x] + off_g * keep);
    b[x] = ClampByte(b[x] + off_b * keep);
  }
}

template <bool kPerChannel>
void ApplyNoise(RgbView work, ConstPlaneView alpha, uint8_t flag, int32_t amount, int32_t frame, RandomStream stream) {
  const int32_t half = std::clamp(amount, 0, 255) / 2;
  if (half == 0) return;
  const bool guard_alpha = flag == 0;
  const int32_t width = work.r.width;
  ForEachFrameRow(width, work.r.height, 3, [&](int32_t y0, int32_t y1) {
    for (int32_t y = y0; y < y1; ++y)
      NoiseRow<kPerChannel>(work.r.row(y), work.g.row(y), work.b.row(y), alpha.row(y), width, guard_alpha,
                            RowKey(stream, frame, y), half);
  });
}

struct JitterSource {
  const uint8_t *r, *g, *b, *a;  // host planes
  int64_t stride;
  int32_t width, height, reach;
  bool guard_alpha;
};

void JitterRow(const JitterSource& src, int32_t y, uint32_t key, uint8_t* wr, uint8_t* wg, uint8_t* wb) {
  const int32_t w = src.width, h = src.height, reach = src.reach, span = 2 * reach + 1;
  const int64_t stride = src.stride;
  const uint8_t* alpha = src.a + y * stride;
  for (int32_t x = 0; x < w; ++x) {
    if (src.guard_alpha && alpha[x] == 0) continue;
    const uint32_t bits = SampleBits(key, x);
    const int32_t sx = std::clamp(x + ScaleBits16(bits & 0xffffU, span) - reach, 0, w - 1);
    const int32_t sy = std::clamp(y + ScaleBits16(bits >> 16, span) - reach, 0, h - 1);
    const int64_t at = sy * stride + sx;
    wr[x] = src.r[at];
    wg[x] = src.g[at];
    wb[x] = src.b[at];
  }
}

}  // namespace

void ApplyValueNoise(RgbView work, ConstPlaneView alpha, uint8_t flag, int32_t amount, int32_t frame) {
  ApplyNoise<false>(work, alpha, flag, amount, frame, RandomStream::ValueNoise);
}

void ApplyColorNoise(RgbView work, ConstPlaneView alpha, uint8_t flag, int32_t amount, int32_t frame) {
  ApplyNoise<true>(work, alpha, flag, amount, frame, RandomStream::ColorNoise);
}

void FastJitter(RgbView work, ConstRgbView host, ConstPlaneView alpha, int32_t amount, int32_t flag, int32_t frame) {
  const int32_t width = work.r.width, height = work.r.height;
  const JitterSource src{host.r.data,   host.g.data, host.b.data, alpha.data,
                         host.r.stride, width,       height,      (std::clamp(amount, 0, 100) + 9) / 10,
                         flag == 0};
  ForEachFrameRow(width, height, 3, [&](int32_t y0, int32_t y1) {
    for (int32_t y = y0; y < y1; ++y)
      JitterRow(src, y, RowKey(RandomStream::Jitter, frame, y), work.r.row(y), work.g.row(y), work.b.row(y));
  });
}

}  // namespace tessfx
