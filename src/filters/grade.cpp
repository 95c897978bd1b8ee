#include "filters/grade.h"

#include "filters/color.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "filters/grade.cpp"
#include <hwy/foreach_target.h>  // IWYU pragma: keep
#include <hwy/highway.h>

#include "filters/simd-inl.h"

HWY_BEFORE_NAMESPACE();
namespace tessfx::HWY_NAMESPACE {
namespace {

using DF = hn::ScalableTag<float>;
using VF = hn::Vec<DF>;

void SaturationLanes(const uint8_t* hr, const uint8_t* hg, const uint8_t* hb, uint8_t* wr, uint8_t* wg, uint8_t* wb,
                     int64_t n, float s) {
  const DF df;
  const VF vs = hn::Set(df, s), keep = hn::Set(df, 1.0f - s), three = hn::Set(df, 3.0f);
  ForEachStep(hn::Lanes(df), n, {hr, hg, hb}, {wr, wg, wb}, [&](const uint8_t* const* in, uint8_t* const* out) HWY_ATTR {
    const VF r = LoadBytesAsFloat(df, in[0]), g = LoadBytesAsFloat(df, in[1]), b = LoadBytesAsFloat(df, in[2]);
    const VF grey = hn::Mul(hn::Div(hn::Add(hn::Add(r, g), b), three), keep);
    StoreFloatAsBytes(df, hn::Add(hn::Mul(r, vs), grey), out[0]);
    StoreFloatAsBytes(df, hn::Add(hn::Mul(g, vs), grey), out[1]);
    StoreFloatAsBytes(df, hn::Add(hn::Mul(b, vs), grey), out[2]);
  });
}

void PowerCurveLanes(uint8_t* wr, uint8_t* wg, uint8_t* wb, int64_t n, float p) {
  const DF df;
  const VF q = hn::Set(df, 1.0f / p - 2.0f), one = hn::Set(df, 1.0f), full = hn::Set(df, 255.0f);
  ForEachStep(hn::Lanes(df), n, {wr, wg, wb}, {wr, wg, wb}, [&](const uint8_t* const* in, uint8_t* const* out) HWY_ATTR {
    const VF r = hn::Div(LoadBytesAsFloat(df, in[0]), full), g = hn::Div(LoadBytesAsFloat(df, in[1]), full),
             b = hn::Div(LoadBytesAsFloat(df, in[2]), full);
    const VF lum = hn::Add(hn::Add(hn::Mul(hn::Set(df, 0.299f), r), hn::Mul(hn::Set(df, 0.587f), g)),
                           hn::Mul(hn::Set(df, 0.114f), b));
    const VF k = hn::Div(lum, hn::Add(hn::Mul(hn::Sub(one, lum), q), one));
    const VF o = hn::Mul(hn::Sub(one, k), lum);
    StoreFloatAsBytes(df, hn::Mul(hn::Add(hn::Mul(r, k), o), full), out[0]);
    StoreFloatAsBytes(df, hn::Mul(hn::Add(hn::Mul(g, k), o), full), out[1]);
    StoreFloatAsBytes(df, hn::Mul(hn::Add(hn::Mul(b, k), o), full), out[2]);
  });
}

// f_rgb2yuv, the luma inverted, then f_yuv2rgb, operation for operation.
void InvertValueLanes(const uint8_t* hr, const uint8_t* hg, const uint8_t* hb, uint8_t* wr, uint8_t* wg, uint8_t* wb,
                      int64_t n) {
  const DF df;
  const VF full = hn::Set(df, 255.0f), one = hn::Set(df, 1.0f);
  const VF lr = hn::Set(df, kLumaR), lg = hn::Set(df, kLumaG), lb = hn::Set(df, kLumaB);
  ForEachStep(hn::Lanes(df), n, {hr, hg, hb}, {wr, wg, wb}, [&](const uint8_t* const* in, uint8_t* const* out) HWY_ATTR {
    const VF r = hn::Div(LoadBytesAsFloat(df, in[0]), full), g = hn::Div(LoadBytesAsFloat(df, in[1]), full),
             b = hn::Div(LoadBytesAsFloat(df, in[2]), full);
    const VF y = hn::Add(hn::Add(hn::Mul(lr, r), hn::Mul(lg, g)), hn::Mul(lb, b));
    const VF u = hn::Mul(hn::Set(df, kUScale), hn::Sub(b, y));
    const VF v = hn::Mul(hn::Set(df, kVScale), hn::Sub(r, y));
    const VF y2 = hn::Sub(one, y);
    const VF r2 = hn::Add(y2, hn::Mul(v, hn::Set(df, kVInverse)));
    const VF b2 = hn::Add(y2, hn::Mul(u, hn::Set(df, kUInverse)));
    const VF g2 = hn::Mul(hn::Sub(hn::Sub(y2, hn::Mul(lr, r2)), hn::Mul(lb, b2)), hn::Set(df, kGInverse));
    StoreFloatAsBytes(df, hn::Mul(r2, full), out[0]);
    StoreFloatAsBytes(df, hn::Mul(g2, full), out[1]);
    StoreFloatAsBytes(df, hn::Mul(b2, full), out[2]);
  });
}

}  // namespace
}  // namespace tessfx::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace tessfx {
namespace {
HWY_EXPORT(SaturationLanes);
HWY_EXPORT(PowerCurveLanes);
HWY_EXPORT(InvertValueLanes);
}  // namespace

void SaturationRun(const uint8_t* hr, const uint8_t* hg, const uint8_t* hb, uint8_t* wr, uint8_t* wg, uint8_t* wb,
                   int64_t n, float s) {
  HWY_DYNAMIC_DISPATCH(SaturationLanes)(hr, hg, hb, wr, wg, wb, n, s);
}

void PowerCurveRun(uint8_t* r, uint8_t* g, uint8_t* b, int64_t n, float p) {
  HWY_DYNAMIC_DISPATCH(PowerCurveLanes)(r, g, b, n, p);
}

void InvertValueRun(const uint8_t* hr, const uint8_t* hg, const uint8_t* hb, uint8_t* wr, uint8_t* wg, uint8_t* wb,
                    int64_t n) {
  HWY_DYNAMIC_DISPATCH(InvertValueLanes)(hr, hg, hb, wr, wg, wb, n);
}

}  // namespace tessfx
#endif  // HWY_ONCE
