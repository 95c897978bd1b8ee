// Combine with swap: the frame mixed with the swap image, per channel by a lookup table or
// a formula, per pixel by a choice of greys, or bitwise. Each routine visits rows 0..height
// and columns 0..width (the planes' extra row and column included) and writes working R,
// G, B. s is the swap sample, c the frame sample of the same channel; divisions truncate.
#include <algorithm>

#include "core/convert.h"
#include "effects/families.h"
#include "filters/blend.h"
#include "filters/combine.h"
#include "filters/parallel.h"

namespace tessfx {
namespace {

struct Samples {
  const uint8_t* frame[3];  // c: host or working planes, as the routine reads them
  const uint8_t* swap[3];   // s
  uint8_t* out[3];          // working planes
};

// The common frame of the family: fn(samples, count) over runs of whole rows of the planes
// (extra row and column included).
template <typename BandFn>
void CombineFrame(EffectFrame& f, bool frame_from_host, BandFn&& fn) {
  const ConstRgbView frame = frame_from_host ? f.host.rgb() : ConstRgbView(f.work.rgb());
  ForEachSampleRun(f.work.r, 3, [&](int64_t o, int64_t n) {
    Samples p{{frame.r.data + o, frame.g.data + o, frame.b.data + o},
              {f.swap.r.data + o, f.swap.g.data + o, f.swap.b.data + o},
              {f.work.r.data + o, f.work.g.data + o, f.work.b.data + o}};
    fn(p, n);
  });
}

// Per channel: out = op(s, c), on bytes so that the loops vectorise at 16 samples a step.
template <typename Op>
void PerChannel(EffectFrame& st, bool frame_from_host, Op op) {
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
    pixel(p.swap[0] + i0, p.swap[1] + i0, p.swap[2] + i0, p.frame[0] + i0, p.frame[1] + i0, p.frame[2] + i0, value,
          len);
    for (int k = 0; k < 3; ++k) channel(p.swap[k] + i0, p.frame[k] + i0, p.out[k] + i0, value, len);
  }
}

// Whole-pixel choice: out = swap pixel where take(gs, gc), else unchanged.
template <typename Take>
void ChooseSwap(EffectFrame& st, Take take) {
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

// table[s][c] with c from the host planes (the untouched frame).
void FxCombineByTable(EffectFrame& st, const LookupTable& table) {
  const uint8_t* t = table[0].data();  // rows are contiguous: [s][c] at s * 256 + c
  PerChannel(st, true, [t](uint8_t s, uint8_t c) { return t[s * 256 + c]; });
}

// The numerators of luminance and complement stay within 255 * 255, so they are held in
// 16 bits, where a division by 255 vectorises.
void FxCombineLuminance(EffectFrame& st) {
  PerChannel(st, false, [](uint8_t s, uint8_t c) -> uint8_t {
    const uint16_t n = s * (255 - c) + c * c;
    return n / 255;
  });
}

void FxCombineComplement(EffectFrame& st) {
  PerChannel(st, false, [](uint8_t s, uint8_t c) -> uint8_t {
    const uint16_t n = (255 - c) * s + (255 - s) * c;
    return n / 255;
  });
}

void FxCombineDifference(EffectFrame& st) {
  PerChannel(st, false, [](uint8_t s, uint8_t c) -> uint8_t { return std::max(c, s) - std::min(c, s); });
}

void FxCombineLessThan(EffectFrame& st) {
  ChooseSwap(st, [](uint16_t gs, uint16_t gc) { return gs < gc; });
}

void FxCombineGreaterThan(EffectFrame& st) {
  ChooseSwap(st, [](uint16_t gs, uint16_t gc) { return gs > gc; });
}

void FxCombineTexturize(EffectFrame& st) {
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

void FxCombineBinary(EffectFrame& st) {
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

// c AND s (mode 0), c OR s (mode 1), c XOR s (mode 2).
void FxCombineLogic(EffectFrame& st, int32_t mode) {
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

template <LookupTable LookupTables::*kTable>
void CombineByTable(EffectFrame& f, const EffectParams&) {
  FxCombineByTable(f, f.tables->*kTable);
}

// Multiply and screen worked out in vector lanes rather than looked up: the same bytes as
// their tables (c from the host planes, as above), at many samples a step.
template <void (*kRun)(const uint8_t*, const uint8_t*, uint8_t*, int64_t)>
void CombineArithmetic(EffectFrame& f, const EffectParams&) {
  CombineFrame(f, true, [](const Samples& p, int64_t n) {
    for (int k = 0; k < 3; ++k) kRun(p.swap[k], p.frame[k], p.out[k], n);
  });
}

template <void (*kRoutine)(EffectFrame&)>
void NoValues(EffectFrame& f, const EffectParams&) {
  kRoutine(f);
}

template <int32_t kMode>
void CombineLogic(EffectFrame& f, const EffectParams&) {
  FxCombineLogic(f, kMode);
}

constexpr std::string_view kCombine = "Combine with swap";

EffectDef Combine(std::string_view name, EffectRoutine run, std::string_view description) {
  return {.name = name, .category = kCombine, .inputs = kSwapImage, .description = description, .run = run};
}

}  // namespace

std::span<const EffectDef> CombineEffects() {
  static const EffectDef effects[] = {
      {.name = "Mix buffers",
       .category = kCombine,
       .sliders = {SliderMaxFirst("Mix buffers", 0, 255, 0)},
       .inputs = kSwapImage,
       .description = "Cross-fades from the frame (0) to the swap image (255)",
       .run = [](EffectFrame& f, const EffectParams& p) { MixPlanes(f.work.rgb(), f.swap, p[0]); }},
      Combine("Combine add", CombineByTable<&LookupTables::add>, "Frame plus swap image, clipped at white"),
      Combine("Combine subtract", CombineByTable<&LookupTables::subtract>, "Frame minus swap image, clipped at black"),
      Combine("Combine multiply", CombineArithmetic<MultiplyRun>,
              "Frame times swap image: darkens, white in one leaves the other"),
      Combine("Combine divide", CombineByTable<&LookupTables::divide>, "Frame divided by swap image: brightens"),
      Combine("Combine screen", CombineArithmetic<ScreenRun>,
              "Inverse of multiplying the inverses: brightens, black in one leaves the other"),
      Combine("Combine luminance", NoValues<FxCombineLuminance>,
              "The frame's own curve, lifted by the swap image where the frame is dark"),
      Combine("Combine complement", NoValues<FxCombineComplement>,
              "Each image weighted by the other's inverse: black swap keeps the frame, white inverts it"),
      Combine("Combine difference", NoValues<FxCombineDifference>, "The difference of frame and swap image"),
      Combine("Combine around grey", CombineByTable<&LookupTables::around_grey>,
              "Adds the swap image's departure from mid-grey to the frame"),
      Combine("Combine greater than", NoValues<FxCombineGreaterThan>,
              "The swap pixel where it is brighter than the frame's"),
      Combine("Combine less than", NoValues<FxCombineLessThan>, "The swap pixel where it is darker than the frame's"),
      Combine("Combine texturize", NoValues<FxCombineTexturize>,
              "The frame shaded by the swap image's brightness, as a texture"),
      Combine("Combine binary", NoValues<FxCombineBinary>,
              "White where the swap image is no brighter than the frame, black elsewhere"),
      Combine("Combine And", CombineLogic<0>, "Bitwise AND of frame and swap samples"),
      Combine("Combine Or", CombineLogic<1>, "Bitwise OR of frame and swap samples"),
      Combine("Combine Xor", CombineLogic<2>, "Bitwise XOR of frame and swap samples"),
  };
  return effects;
}

}  // namespace tessfx
