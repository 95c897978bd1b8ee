#pragma once
// Eight float lanes, for per-pixel kernels whose selects the compiler will not vectorise
// by itself (it turns them into branches). Written with the compiler's generic vector
// types: a function cloned for AVX2 holds a vector in one register, the baseline build
// in two SSE registers; the lanes do the same IEEE operations either way, so both builds
// give the same bytes.
//
// The lanes travel wrapped in a struct: clang refuses a bare 32-byte vector passed to or
// returned from a helper without AVX when the caller is the AVX2 clone, even when the
// helper is always inlined. A struct has no such rule and inlines to the same code.
#include <cstdint>
#include <cstring>

// Helpers returning vectors are always inlined into the kernels (and take vectors by
// reference), so the calling convention for 32-byte vectors, whose change -Wpsabi
// reports, never applies. The report comes where an inlined helper is used, anywhere in
// the including file, so it is silenced for the whole file: only kernel sources include
// this header.
#pragma GCC diagnostic ignored "-Wpsabi"

#define TESSFX_LANES [[gnu::always_inline]] inline

namespace tessfx::vec8 {

using Raw = float __attribute__((vector_size(32)));
using RawMask = int32_t __attribute__((vector_size(32)));
using U8 = uint8_t __attribute__((vector_size(8)));

struct F {
  Raw v;
};
// Lane-wise comparison result: all ones where true.
struct Mask {
  RawMask m;
};

TESSFX_LANES F operator+(const F& a, const F& b) { return {a.v + b.v}; }
TESSFX_LANES F operator-(const F& a, const F& b) { return {a.v - b.v}; }
TESSFX_LANES F operator*(const F& a, const F& b) { return {a.v * b.v}; }
TESSFX_LANES F operator/(const F& a, const F& b) { return {a.v / b.v}; }
TESSFX_LANES F& operator+=(F& a, const F& b) {
  a.v += b.v;
  return a;
}
TESSFX_LANES Mask operator<(const F& a, const F& b) { return {a.v < b.v}; }
TESSFX_LANES Mask operator>(const F& a, const F& b) { return {a.v > b.v}; }
TESSFX_LANES Mask operator>=(const F& a, const F& b) { return {a.v >= b.v}; }
TESSFX_LANES Mask operator==(const F& a, const F& b) { return {a.v == b.v}; }

// a where the mask is set, b elsewhere.
TESSFX_LANES F Select(const Mask& mask, const F& a, const F& b) { return {mask.m ? a.v : b.v}; }

TESSFX_LANES F Splat(float v) { return {Raw{v, v, v, v, v, v, v, v}}; }

TESSFX_LANES F Load(const uint8_t* p) {
  U8 b;
  std::memcpy(&b, p, sizeof b);
  return {__builtin_convertvector(b, Raw)};
}

TESSFX_LANES F LoadF(const float* p) {
  F f;
  std::memcpy(&f.v, p, sizeof f.v);
  return f;
}
TESSFX_LANES void StoreF(float* p, const F& f) { std::memcpy(p, &f.v, sizeof f.v); }

TESSFX_LANES F Min(const F& a, const F& b) { return Select(a < b, a, b); }
TESSFX_LANES F Max(const F& a, const F& b) { return Select(a > b, a, b); }

// Round to nearest, halves to even, for |v| < 2^22: adding and removing 1.5 x 2^23 leaves
// no fraction bits, so the addition rounds in the current (nearest-even) mode.
TESSFX_LANES F RoundHalfEven(const F& v) {
  const F magic = Splat(12582912.0f);
  return (v + magic) - magic;
}

// Transposes eight rows of eight lanes in place: afterwards m[k] holds lane k of every row.
TESSFX_LANES void Transpose(F (&m)[8]) {
  Raw t[8], u[8];
  for (int i = 0; i < 8; i += 2) {
    t[i] = __builtin_shufflevector(m[i].v, m[i + 1].v, 0, 8, 1, 9, 4, 12, 5, 13);
    t[i + 1] = __builtin_shufflevector(m[i].v, m[i + 1].v, 2, 10, 3, 11, 6, 14, 7, 15);
  }
  for (int i = 0; i < 8; i += 4) {
    u[i] = __builtin_shufflevector(t[i], t[i + 2], 0, 1, 8, 9, 4, 5, 12, 13);
    u[i + 1] = __builtin_shufflevector(t[i], t[i + 2], 2, 3, 10, 11, 6, 7, 14, 15);
    u[i + 2] = __builtin_shufflevector(t[i + 1], t[i + 3], 0, 1, 8, 9, 4, 5, 12, 13);
    u[i + 3] = __builtin_shufflevector(t[i + 1], t[i + 3], 2, 3, 10, 11, 6, 7, 14, 15);
  }
  for (int i = 0; i < 4; ++i) {
    m[i].v = __builtin_shufflevector(u[i], u[i + 4], 0, 1, 2, 3, 8, 9, 10, 11);
    m[i + 4].v = __builtin_shufflevector(u[i], u[i + 4], 4, 5, 6, 7, 12, 13, 14, 15);
  }
}

// RoundToByteF lane by lane: NaN and values below 0 give 0, values from 255 up give 255,
// anything else rounds half to even. Clamping before rounding gives the same bytes.
TESSFX_LANES void StoreByte(uint8_t* p, const F& value) {
  const F v = Min(Max(value, Splat(0.0f)), Splat(255.0f));
  const U8 b = __builtin_convertvector(__builtin_convertvector(RoundHalfEven(v).v, RawMask), U8);
  std::memcpy(p, &b, sizeof b);
}

}  // namespace tessfx::vec8

#undef TESSFX_LANES
