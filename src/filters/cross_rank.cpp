#include "filters/cross_rank.h"

#include <algorithm>

#include "filters/parallel.h"

namespace tessfx {
namespace {

template <typename Pick>
void PassRow(const uint8_t* up, const uint8_t* mid, const uint8_t* down, uint8_t* out, int32_t width, Pick pick) {
  for (int32_t x = 1; x < width; ++x) out[x] = pick(pick(pick(mid[x], mid[x - 1]), pick(up[x], mid[x + 1])), down[x]);
}

template <typename Pick>
void Pass(const uint8_t* const (&src)[3], uint8_t* const (&dst)[3], int32_t width, int32_t height, Pick pick) {
  const int64_t stride = int64_t{width} + 1;
  ForEachRowBand(1, height, int64_t{width} * 3, [&](int32_t y0, int32_t y1) {
    for (int32_t y = y0; y < y1; ++y) {
      for (int c = 0; c < 3; ++c) {
        const uint8_t* mid = src[c] + y * stride;
        PassRow(mid - stride, mid, mid + stride, dst[c] + y * stride, width, pick);
      }
    }
  });
}

}  // namespace

void CrossRankPass(const uint8_t* src_r, const uint8_t* src_g, const uint8_t* src_b, uint8_t* dst_r,
                   uint8_t* dst_g, uint8_t* dst_b, int32_t width, int32_t height, RankOp op) {
  if (width < 2 || height < 2) return;
  const uint8_t* src[3] = {src_r, src_g, src_b};
  uint8_t* dst[3] = {dst_r, dst_g, dst_b};
  if (op == RankOp::Maximum)
    Pass(src, dst, width, height, [](uint8_t a, uint8_t b) { return std::max(a, b); });
  else
    Pass(src, dst, width, height, [](uint8_t a, uint8_t b) { return std::min(a, b); });
}

}  // namespace tessfx
