#include "filters/combine.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "filters/combine.cpp"
#include <hwy/foreach_target.h>  // IWYU pragma: keep
#include <hwy/highway.h>

#include "filters/simd-inl.h"

HWY_BEFORE_NAMESPACE();
namespace tessfx::HWY_NAMESPACE {
namespace {

using D16 = hn::ScalableTag<uint16_t>;

void MultiplyLanes(const uint8_t* s, const uint8_t* c, uint8_t* out, int64_t n) {
  const D16 d;
  ForEachStep(hn::Lanes(d), n, {s, c}, {out}, [&](const uint8_t* const* in, uint8_t* const* o) HWY_ATTR {
    Store16AsBytes(d, Div255(d, hn::Mul(LoadBytesAs16(d, in[0]), LoadBytesAs16(d, in[1]))), o[0]);
  });
}

void ScreenLanes(const uint8_t* s, const uint8_t* c, uint8_t* out, int64_t n) {
  const D16 d;
  const auto full = hn::Set(d, 255), half = hn::Set(d, 127);
  ForEachStep(hn::Lanes(d), n, {s, c}, {out}, [&](const uint8_t* const* in, uint8_t* const* o) HWY_ATTR {
    const auto sv = LoadBytesAs16(d, in[0]), cv = LoadBytesAs16(d, in[1]);
    const auto lift = Div255(d, hn::Add(hn::Mul(hn::Sub(full, cv), sv), half));
    Store16AsBytes(d, hn::Add(cv, lift), o[0]);
  });
}

}  // namespace
}  // namespace tessfx::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace tessfx {
namespace {
HWY_EXPORT(MultiplyLanes);
HWY_EXPORT(ScreenLanes);
}  // namespace

void MultiplyRun(const uint8_t* s, const uint8_t* c, uint8_t* out, int64_t n) {
  HWY_DYNAMIC_DISPATCH(MultiplyLanes)(s, c, out, n);
}

void ScreenRun(const uint8_t* s, const uint8_t* c, uint8_t* out, int64_t n) {
  HWY_DYNAMIC_DISPATCH(ScreenLanes)(s, c, out, n);
}

}  // namespace tessfx
#endif  // HWY_ONCE
