#include "filters/blend.h"

#include <algorithm>
#include <cstring>

#include "filters/parallel.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "filters/blend.cpp"
#include <hwy/foreach_target.h>  // IWYU pragma: keep
#include <hwy/highway.h>

#include "filters/simd-inl.h"

HWY_BEFORE_NAMESPACE();
namespace tessfx::HWY_NAMESPACE {
namespace {

// work * keep + other * take, rounded half to even, in single precision.
void ConstantRun(uint8_t* work, const uint8_t* other, int64_t n, float keep, float take) {
  const hn::ScalableTag<float> df;
  const hn::Rebind<int32_t, decltype(df)> di;
  const hn::Rebind<uint8_t, decltype(df)> d8;
  const auto k = hn::Set(df, keep), t = hn::Set(df, take);
  // Weights from 0 to 1000 (every level mix) make sums from 0 to below 2^19: neither NaN
  // nor negative, so rounding and the saturating narrowing alone give the bytes the
  // clamped store gives.
  const bool in_range = keep >= 0.0f && keep <= 1000.0f && take >= 0.0f && take <= 1000.0f;
  auto mix = [&](const uint8_t* const* in) HWY_ATTR {
    return hn::Add(hn::Mul(LoadBytesAsFloat(df, in[0]), k), hn::Mul(LoadBytesAsFloat(df, in[1]), t));
  };
  if (in_range)
    ForEachStep(hn::Lanes(df), n, {work, other}, {work}, [&](const uint8_t* const* in, uint8_t* const* out) HWY_ATTR {
      hn::StoreU(hn::DemoteTo(d8, hn::ConvertTo(di, RoundHalfEvenLanes(df, mix(in)))), d8, out[0]);
    });
  else
    ForEachStep(hn::Lanes(df), n, {work, other}, {work}, [&](const uint8_t* const* in, uint8_t* const* out) HWY_ATTR {
      StoreFloatAsBytes(df, mix(in), out[0]);
    });
}

}  // namespace
}  // namespace tessfx::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace tessfx {
namespace {

HWY_EXPORT(ConstantRun);

void AlphaRow(uint8_t* work, const uint8_t* other, const uint8_t* alpha, int32_t width) {
  for (int32_t x = 0; x < width; ++x) work[x] = AlphaMix(work[x], other[x], alpha[x]);
}

// The smallest and largest alpha of a row: rows that are wholly selected (255: the effect
// stays) or wholly unselected (0: the other image comes back) need no arithmetic.
void AlphaRange(const uint8_t* alpha, int32_t width, uint8_t& lo, uint8_t& hi) {
  uint8_t mn = 255, mx = 0;
  for (int32_t x = 0; x < width; ++x) {
    mn = std::min(mn, alpha[x]);
    mx = std::max(mx, alpha[x]);
  }
  lo = mn;
  hi = mx;
}

void BlendByAlpha(RgbView work, ConstRgbView other, ConstPlaneView alpha) {
  const int32_t width = work.r.width;
  ForEachFrameRow(width, work.r.height, 3, [&](int32_t y0, int32_t y1) {
    for (int32_t y = y0; y < y1; ++y) {
      const uint8_t* a = alpha.row(y);
      uint8_t lo, hi;
      AlphaRange(a, width, lo, hi);
      if (lo == 255) continue;
      if (hi == 0) {
        std::memcpy(work.r.row(y), other.r.row(y), static_cast<size_t>(width));
        std::memcpy(work.g.row(y), other.g.row(y), static_cast<size_t>(width));
        std::memcpy(work.b.row(y), other.b.row(y), static_cast<size_t>(width));
        continue;
      }
      // One plane at a time: few pointers per loop, so the loop vectorises.
      AlphaRow(work.r.row(y), other.r.row(y), a, width);
      AlphaRow(work.g.row(y), other.g.row(y), a, width);
      AlphaRow(work.b.row(y), other.b.row(y), a, width);
    }
  });
}

void BlendConstant(RgbView work, ConstRgbView other, float keep, float take) {
  if (keep == 1.0f && take == 0.0f) return;  // work * 1 + other * 0 is the working sample itself
  const auto run = HWY_DYNAMIC_DISPATCH(ConstantRun);
  // Whole runs of rows at a time: the planes' rows lie one after the other.
  ForEachSampleRun(work.r, 3, [&](int64_t o, int64_t n) {
    run(work.r.data + o, other.r.data + o, n, keep, take);
    run(work.g.data + o, other.g.data + o, n, keep, take);
    run(work.b.data + o, other.b.data + o, n, keep, take);
  });
}

}  // namespace

void Blend(RgbView work, ConstRgbView other, const BlendWeights& weights) {
  if (!weights.alpha.empty())
    BlendByAlpha(work, other, weights.alpha);
  else
    BlendConstant(work, other, weights.keep, weights.take);
}

void Overlay_b(RgbView work, ConstRgbView host, ConstPlaneView alpha, uint8_t /*flag*/) { Blend(work, host, {alpha}); }

void LevelMix(RgbView work, ConstRgbView host, float level) {
  const float w = level / 255.0f;
  Blend(work, host, {{}, w, 1.0f - w});
}

void MixPlanes(RgbView work, ConstRgbView other, float level) {
  const float m = level / 255.0f;
  Blend(work, other, {{}, 1.0f - m, m});
}

}  // namespace tessfx
#endif  // HWY_ONCE
