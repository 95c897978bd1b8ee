#include "filters/channel.h"

#include <algorithm>

#include "core/convert.h"
#include "filters/parallel.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "filters/channel.cpp"
#include <hwy/foreach_target.h>  // IWYU pragma: keep
#include <hwy/highway.h>

#include "filters/simd-inl.h"

HWY_BEFORE_NAMESPACE();
namespace tessfx::HWY_NAMESPACE {
namespace {

// Each sample's result is what a 256-entry table of the same formula would hold.
void MultiplyRun(uint8_t* p, int64_t n, float factor) {
  const hn::ScalableTag<float> df;
  const auto f = hn::Set(df, factor);
  ForEachStep(hn::Lanes(df), n, {p}, {p}, [&](const uint8_t* const* in, uint8_t* const* out) HWY_ATTR {
    StoreFloatAsBytes(df, hn::Mul(LoadBytesAsFloat(df, in[0]), f), out[0]);
  });
}

// Adding (or taking away) up to 255 with saturation is ClampByte of the sum.
void AddRun(uint8_t* p, int64_t n, uint8_t add) {
  const hn::ScalableTag<uint8_t> d;
  const auto a = hn::Set(d, add);
  ForEachStep(hn::Lanes(d), n, {p}, {p}, [&](const uint8_t* const* in, uint8_t* const* out) HWY_ATTR {
    hn::StoreU(hn::SaturatedAdd(hn::LoadU(d, in[0]), a), d, out[0]);
  });
}

void SubtractRun(uint8_t* p, int64_t n, uint8_t take) {
  const hn::ScalableTag<uint8_t> d;
  const auto t = hn::Set(d, take);
  ForEachStep(hn::Lanes(d), n, {p}, {p}, [&](const uint8_t* const* in, uint8_t* const* out) HWY_ATTR {
    hn::StoreU(hn::SaturatedSub(hn::LoadU(d, in[0]), t), d, out[0]);
  });
}

// 255 - x is the complement of every bit.
void InvertLanes(const uint8_t* src, uint8_t* dst, int64_t n) {
  const hn::ScalableTag<uint8_t> d;
  ForEachStep(hn::Lanes(d), n, {src}, {dst}, [&](const uint8_t* const* in, uint8_t* const* out) HWY_ATTR {
    hn::StoreU(hn::Not(hn::LoadU(d, in[0])), d, out[0]);
  });
}

}  // namespace
}  // namespace tessfx::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace tessfx {
namespace {
HWY_EXPORT(MultiplyRun);
HWY_EXPORT(AddRun);
HWY_EXPORT(SubtractRun);
HWY_EXPORT(InvertLanes);
}  // namespace

void InvertRun(const uint8_t* src, uint8_t* dst, int64_t n) { HWY_DYNAMIC_DISPATCH(InvertLanes)(src, dst, n); }

void FastChannelMultiply(PlaneView plane, float factor) {
  ForEachSampleRun(plane, 1, [&](int64_t o, int64_t n) { HWY_DYNAMIC_DISPATCH(MultiplyRun)(plane.data + o, n, factor); });
}

void FastChannelAdd(PlaneView plane, int32_t offset) {
  // Beyond +-255 every sample clamps the same way.
  const int32_t clamped = std::clamp(offset, -255, 255);
  const uint8_t amount = ClampByte(clamped < 0 ? -clamped : clamped);
  if (clamped >= 0)
    ForEachSampleRun(plane, 1, [&](int64_t o, int64_t n) { HWY_DYNAMIC_DISPATCH(AddRun)(plane.data + o, n, amount); });
  else
    ForEachSampleRun(plane, 1,
                     [&](int64_t o, int64_t n) { HWY_DYNAMIC_DISPATCH(SubtractRun)(plane.data + o, n, amount); });
}

}  // namespace tessfx
#endif  // HWY_ONCE
