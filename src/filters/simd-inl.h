// Pieces shared by the vector kernels, compiled once per instruction set. A kernel source
// includes this after hwy/highway.h inside its per-target pass (HWY_TARGET_INCLUDE), so the
// guard below flips with every target, as Highway's own -inl headers do.
//
// Every result must be the same bytes on every instruction set: float lanes only add,
// subtract, multiply, divide and compare (never a fused multiply-add, an approximate
// reciprocal or a library rounding), and every lane does the same operations in the same
// order as the scalar formula it replaces.
#if defined(TESSFX_FILTERS_SIMD_INL_H_) == defined(HWY_TARGET_TOGGLE)
#ifdef TESSFX_FILTERS_SIMD_INL_H_
#undef TESSFX_FILTERS_SIMD_INL_H_
#else
#define TESSFX_FILTERS_SIMD_INL_H_
#endif

#include <hwy/highway.h>

#include <algorithm>
#include <cstdint>
#include <cstring>

HWY_BEFORE_NAMESPACE();
namespace tessfx::HWY_NAMESPACE {
namespace hn = hwy::HWY_NAMESPACE;

// Float lanes from as many bytes.
template <class DF>
HWY_INLINE hn::Vec<DF> LoadBytesAsFloat(DF df, const uint8_t* p) {
  const hn::Rebind<int32_t, DF> di;
  const hn::Rebind<uint8_t, DF> d8;
  return hn::ConvertTo(df, hn::PromoteTo(di, hn::LoadU(d8, p)));
}

// Round to nearest, halves to even, for |v| < 2^22: adding and removing 1.5 x 2^23 leaves
// no fraction bits, so the addition rounds in the default (nearest-even) mode. Highway's
// own Round is exact on the vector targets but not on the one-lane one.
template <class DF>
HWY_INLINE hn::Vec<DF> RoundHalfEvenLanes(DF df, hn::Vec<DF> v) {
  const auto magic = hn::Set(df, 12582912.0f);
  return hn::Sub(hn::Add(v, magic), magic);
}

// RoundToByteF lane by lane: NaN and values below 0 give 0, values from 255 up give 255,
// anything else rounds half to even. Clamping before rounding gives the same bytes, and
// the comparison (false for NaN) keeps NaN out of Min and Max, which differ between
// instruction sets on NaN.
template <class DF>
HWY_INLINE void StoreFloatAsBytes(DF df, hn::Vec<DF> v, uint8_t* p) {
  const hn::Rebind<int32_t, DF> di;
  const hn::Rebind<uint8_t, DF> d8;
  const auto zero = hn::Zero(df);
  const auto clamped = hn::Min(hn::IfThenElse(hn::Gt(v, zero), v, zero), hn::Set(df, 255.0f));
  hn::StoreU(hn::DemoteTo(d8, hn::ConvertTo(di, RoundHalfEvenLanes(df, clamped))), d8, p);
}

// 16-bit lanes from as many bytes, and back, clamped to 0..255 (read as signed: unsigned
// lanes must stay below 32768).
template <class D16>
HWY_INLINE hn::Vec<D16> LoadBytesAs16(D16 d16, const uint8_t* p) {
  const hn::Rebind<uint8_t, D16> d8;
  return hn::PromoteTo(d16, hn::LoadU(d8, p));
}
template <class D16>
HWY_INLINE void Store16AsBytes(D16 /*d16*/, hn::Vec<D16> v, uint8_t* p) {
  const hn::RebindToSigned<D16> di;
  const hn::Rebind<uint8_t, D16> d8;
  hn::StoreU(hn::DemoteTo(d8, hn::BitCast(di, v)), d8, p);
}

// floor(x / 255) for 16-bit x up to 65279 (255 x 255 + 254: every product of two bytes
// with a rounding term): (x + 1 + (x >> 8)) >> 8 is exact there and does not overflow.
template <class D16>
HWY_INLINE hn::Vec<D16> Div255(D16 d16, hn::Vec<D16> x) {
  return hn::ShiftRight<8>(hn::Add(hn::Add(x, hn::Set(d16, 1)), hn::ShiftRight<8>(x)));
}

// Calls fn(in, out) on pointers to `step` samples of each input and output row, for every
// whole step of the n samples; the last partial step runs on copies in local buffers, so it
// takes exactly the same lane operations (and reads and writes nothing beyond the rows).
// An in-place kernel passes the same row as input and output.
template <size_t kIn, size_t kOut, class Fn>
HWY_INLINE void ForEachStep(size_t step, int64_t n, const uint8_t* const (&in)[kIn], uint8_t* const (&out)[kOut],
                            Fn&& fn) {
  const uint8_t* ip[kIn];
  uint8_t* op[kOut];
  int64_t i = 0;
  for (; i + static_cast<int64_t>(step) <= n; i += static_cast<int64_t>(step)) {
    for (size_t k = 0; k < kIn; ++k) ip[k] = in[k] + i;
    for (size_t k = 0; k < kOut; ++k) op[k] = out[k] + i;
    fn(ip, op);
  }
  if (i >= n) return;
  const size_t rest = static_cast<size_t>(n - i);
  HWY_ALIGN uint8_t in_copy[kIn][HWY_MAX_BYTES] = {};
  HWY_ALIGN uint8_t out_copy[kOut][HWY_MAX_BYTES];
  for (size_t k = 0; k < kIn; ++k) {
    std::memcpy(in_copy[k], in[k] + i, rest);
    ip[k] = in_copy[k];
  }
  for (size_t k = 0; k < kOut; ++k) op[k] = out_copy[k];
  fn(ip, op);
  for (size_t k = 0; k < kOut; ++k) std::memcpy(out[k] + i, out_copy[k], rest);
}

}  // namespace tessfx::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#endif  // include guard
