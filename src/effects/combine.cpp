#include "effects/combine.h"

#include <algorithm>

#include "core/convert.h"
#include "effects/frame.h"
#include "filters/mix.h"
#include "filters/parallel.h"

namespace tessfx {
namespace {

struct Samples {
  const uint8_t* frame[3];  // c: host or working planes, as the routine reads them
  const uint8_t* swap[3];   // s
  uint8_t* out[3];          // working planes
};

// The common frame of the family: swap refresh, fn(samples, count) over row bands of the
// whole planes (extra row and column included), composite.
template <typename BandFn>
void CombineFrame(ImageState& st, bool frame_from_host, BandFn&& fn) {
  st.FetchSwapPlanes();
  const int32_t w = st.width, h = st.height;
  if (w >= 0 && h >= 0 && SwapFitsFrame(st)) {
    const int64_t stride = int64_t{w} + 1;
    const Plane* frame[3] = {frame_from_host ? &st.host_r : &st.work_r, frame_from_host ? &st.host_g : &st.work_g,
                             frame_from_host ? &st.host_b : &st.work_b};
    ForEachRowBand(0, h + 1, stride * 3, [&](int32_t y0, int32_t y1) {
      const int64_t o = y0 * stride, n = (y1 - y0) * stride;
      Samples p{{frame[0]->data() + o, frame[1]->data() + o, frame[2]->data() + o},
                {st.swap_r.data() + o, st.swap_g.data() + o, st.swap_b.data() + o},
                {st.work_r.data() + o, st.work_g.data() + o, st.work_b.data() + o}};
      fn(p, n);
    });
  }
  CompositeStep(st);
}

// Per channel: out = op(s, c), on bytes so that the loops vectorise at 16 samples a step.
template <typename Op>
void PerChannel(ImageState& st, bool frame_from_host, Op op) {
  CombineFrame(st, frame_from_host, [&](const Samples& p, int64_t n) {
    for (int k = 0; k < 3; ++k) {
      const uint8_t* c = p.frame[k];
      const uint8_t* s = p.swap[k];
      uint8_t* out = p.out[k];
      for (int64_t i = 0; i < n; ++i) out[i] = op(s[i], c[i]);
    }
  });
}

// The grey of a pixel as the choice effects take it: the sum / 3 rounded half to even,
// which for whole sums is (sum + 1) / 3 (a third is never a tie).
// Sums stay within 16 bits, where the division by 3 vectorises.
inline uint16_t RoundedGrey(uint16_t r, uint16_t g, uint16_t b) {
  const uint16_t sum = r + g + b + 1;
  return sum / 3;
}

// The pixel loops that read all three channels run over chunks: per-pixel values go to a
// small local array first, then each channel is written in its own loop. Loops that touch
// six or more planes at once would need too many overlap checks to vectorise.
constexpr int64_t kChunk = 512;

template <typename PixelFn, typename ChannelFn>
void InChunks(const Samples& p, int64_t n, PixelFn pixel, ChannelFn channel) {
  uint8_t value[kChunk];  // a grey, a flag or a sample: always a byte
  for (int64_t i0 = 0; i0 < n; i0 += kChunk) {
    const int64_t len = std::min(kChunk, n - i0);
    pixel(p.swap[0] + i0, p.swap[1] + i0, p.swap[2] + i0, p.frame[0] + i0, p.frame[1] + i0, p.frame[2] + i0,
          value, len);
    for (int k = 0; k < 3; ++k) channel(p.swap[k] + i0, p.frame[k] + i0, p.out[k] + i0, value, len);
  }
}

// Whole-pixel choice: out = swap pixel where take(gs, gc), else unchanged.
template <typename Take>
void ChooseSwap(ImageState& st, Take take) {
  CombineFrame(st, false, [&](const Samples& p, int64_t n) {
    InChunks(
        p, n,
        [&](const uint8_t* sr, const uint8_t* sg, const uint8_t* sb, const uint8_t* cr, const uint8_t* cg,
            const uint8_t* cb, uint8_t* swap_mask, int64_t len) {
          for (int64_t i = 0; i < len; ++i)
            swap_mask[i] = take(RoundedGrey(sr[i], sg[i], sb[i]), RoundedGrey(cr[i], cg[i], cb[i])) ? 255 : 0;
        },
        [](const uint8_t* s, const uint8_t* c, uint8_t* out, const uint8_t* swap_mask, int64_t len) {
          // A bit mask instead of a condition, so that the loop vectorises.
          for (int64_t i = 0; i < len; ++i) {
            const uint8_t take_swap = swap_mask[i], keep = 255 - take_swap;
            out[i] = (s[i] & take_swap) | (c[i] & keep);
          }
        });
  });
}

}  // namespace

void FxCombineByTable(ImageState& st, const LookupTable& table) {
  const uint8_t* t = table[0].data();  // rows are contiguous: [s][c] at s * 256 + c
  PerChannel(st, true, [t](uint8_t s, uint8_t c) { return t[s * 256 + c]; });
}

// The numerators of luminance and complement stay within 255 * 255, so they are held in
// 16 bits, where a division by 255 vectorises.
void FxCombineLuminance(ImageState& st) {
  PerChannel(st, false, [](uint8_t s, uint8_t c) -> uint8_t {
    const uint16_t n = s * (255 - c) + c * c;
    return n / 255;
  });
}

void FxCombineComplement(ImageState& st) {
  PerChannel(st, false, [](uint8_t s, uint8_t c) -> uint8_t {
    const uint16_t n = (255 - c) * s + (255 - s) * c;
    return n / 255;
  });
}

void FxCombineDifference(ImageState& st) {
  PerChannel(st, false, [](uint8_t s, uint8_t c) -> uint8_t { return std::max(c, s) - std::min(c, s); });
}

void FxCombineLessThan(ImageState& st) {
  ChooseSwap(st, [](uint16_t gs, uint16_t gc) { return gs < gc; });
}

void FxCombineGreaterThan(ImageState& st) {
  ChooseSwap(st, [](uint16_t gs, uint16_t gc) { return gs > gc; });
}

void FxCombineTexturize(ImageState& st) {
  CombineFrame(st, false, [](const Samples& p, int64_t n) {
    InChunks(
        p, n,
        [](const uint8_t* sr, const uint8_t* sg, const uint8_t* sb, const uint8_t*, const uint8_t*, const uint8_t*,
           uint8_t* grey, int64_t len) {
          for (int64_t i = 0; i < len; ++i) grey[i] = RoundedGrey(sr[i], sg[i], sb[i]);
        },
        [](const uint8_t*, const uint8_t* c, uint8_t* out, const uint8_t* grey, int64_t len) {
          for (int64_t i = 0; i < len; ++i) {
            const uint16_t product = grey[i] * c[i];  // at most 255 * 255
            out[i] = ClampByte(product / 255);
          }
        });
  });
}

void FxCombineBinary(ImageState& st) {
  CombineFrame(st, false, [](const Samples& p, int64_t n) {
    InChunks(
        p, n,
        [](const uint8_t* sr, const uint8_t* sg, const uint8_t* sb, const uint8_t* cr, const uint8_t* cg,
           const uint8_t* cb, uint8_t* white, int64_t len) {
          for (int64_t i = 0; i < len; ++i) {
            const uint16_t sum_s = sr[i] + sg[i] + sb[i], sum_c = cr[i] + cg[i] + cb[i];
            white[i] = sum_s / 3 <= sum_c / 3 ? 255 : 0;
          }
        },
        [](const uint8_t*, const uint8_t*, uint8_t* out, const uint8_t* white, int64_t len) {
          for (int64_t i = 0; i < len; ++i) out[i] = white[i];
        });
  });
}

void FxCombineLogic(ImageState& st, int32_t mode) {
  switch (mode) {
    case 0:
      PerChannel(st, false, [](uint8_t s, uint8_t c) -> uint8_t { return c & s; });
      break;
    case 1:
      PerChannel(st, false, [](uint8_t s, uint8_t c) -> uint8_t { return c | s; });
      break;
    case 2:
      PerChannel(st, false, [](uint8_t s, uint8_t c) -> uint8_t { return c ^ s; });
      break;
    default:
      // Any other mode leaves the samples as they are, still with the swap refresh and
      // the composite of the family.
      PerChannel(st, false, [](uint8_t, uint8_t c) { return c; });
      break;
  }
}

void FxMixBuffers(ImageState& st, float level) {
  if (!SwapFitsFrame(st)) return;
  MixPlanes(st.work_r.data(), st.work_g.data(), st.work_b.data(), st.swap_r.data(), st.swap_g.data(),
            st.swap_b.data(), st.width, st.height, level);
}

}  // namespace tessfx
