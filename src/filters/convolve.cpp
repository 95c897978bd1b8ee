#include "filters/convolve.h"

#include <memory>

#include "core/convert.h"
#include "filters/overlay.h"
#include "filters/parallel.h"
#include "filters/point.h"
#include "filters/window3.h"

namespace tessfx {
namespace {

// One output row of one channel from the three padded source rows.
template <bool kComposite>
void ConvolveRow(const uint8_t* a, const uint8_t* m, const uint8_t* b, const Kernel3x3& k, float divisor,
                 float offset, int32_t width, uint8_t* out, const uint8_t* host, const uint8_t* alpha) {
  for (int32_t x = 0; x < width; ++x) {
    const float acc = k[0] * a[x] + k[1] * a[x + 1] + k[2] * a[x + 2] + k[3] * m[x] + k[4] * m[x + 1] +
                      k[5] * m[x + 2] + k[6] * b[x] + k[7] * b[x + 1] + k[8] * b[x + 2];
    const uint8_t v = RoundToByteF(acc / divisor + offset);
    if constexpr (kComposite)
      out[x] = AlphaMix(v, host[x], alpha[x]);
    else
      out[x] = v;
  }
}

void LumaRow(const uint8_t* r, const uint8_t* g, const uint8_t* b, uint8_t* out, int32_t width) {
  for (int32_t x = 0; x < width; ++x) out[x] = Luma(r[x], g[x], b[x]);
}

}  // namespace

int32_t ConvolveAlpha(uint8_t* work_r, uint8_t* work_g, uint8_t* work_b, const uint8_t* host_r,
                      const uint8_t* host_g, const uint8_t* host_b, const uint8_t* host_a, uint8_t flag,
                      int32_t width, int32_t height, const Kernel3x3& kernel, float divisor, int32_t mode) {
  if (divisor == 0.0f) return -1;
  if (width <= 0 || height <= 0) return 0;
  const int64_t stride = int64_t{width} + 1;
  const float offset = (mode & kConvolveOffset) ? 128.0f : 0.0f;
  const bool composite = flag == 0;
  uint8_t* work[3] = {work_r, work_g, work_b};
  const uint8_t* host[3] = {host_r, host_g, host_b};

  auto emit = [&](int c, int32_t y, const uint8_t* const (&rows)[3]) {
    const int64_t o = y * stride;
    if (composite)
      ConvolveRow<true>(rows[0], rows[1], rows[2], kernel, divisor, offset, width, work[c] + o, host[c] + o,
                        host_a + o);
    else
      ConvolveRow<false>(rows[0], rows[1], rows[2], kernel, divisor, offset, width, work[c] + o, nullptr,
                         nullptr);
  };

  if (mode & kConvolveGrey) {
    // The grey of every pixel first (one temporary plane per call), then one convolution
    // whose result goes to all three channels.
    auto grey = std::make_unique_for_overwrite<uint8_t[]>(static_cast<size_t>(stride * height));
    ForEachRowBand(0, height, int64_t{width} * 3, [&](int32_t y0, int32_t y1) {
      for (int32_t y = y0; y < y1; ++y) {
        const int64_t o = y * stride;
        LumaRow(work_r + o, work_g + o, work_b + o, grey.get() + o, width);
      }
    });
    const uint8_t* src[1] = {grey.get()};
    ForEachRowWindow3<1>(src, width, height, [&](int32_t y, const uint8_t* const (&rows)[1][3]) {
      for (int c = 0; c < 3; ++c) emit(c, y, rows[0]);
    });
    return 0;
  }
  const uint8_t* src[3] = {work_r, work_g, work_b};
  ForEachRowWindow3<3>(src, width, height, [&](int32_t y, const uint8_t* const (&rows)[3][3]) {
    for (int c = 0; c < 3; ++c) emit(c, y, rows[c]);
  });
  return 0;
}

}  // namespace tessfx
