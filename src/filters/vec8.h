#pragma once
// Eight float lanes, for per-pixel kernels whose selects the compiler will not vectorise
// by itself (it turns them into branches). Written with the compiler's generic vector
// types: a function cloned for AVX2 holds a vector in one register, the baseline build
// in two SSE registers; the lanes do the same IEEE operations either way, so both builds
// give the same bytes.
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

using F = float __attribute__((vector_size(32)));
using I = int32_t __attribute__((vector_size(32)));
using U8 = uint8_t __attribute__((vector_size(8)));

TESSFX_LANES F Splat(float v) { return F{v, v, v, v, v, v, v, v}; }

TESSFX_LANES F Load(const uint8_t* p) {
  U8 b;
  std::memcpy(&b, p, sizeof b);
  return __builtin_convertvector(b, F);
}

TESSFX_LANES F LoadF(const float* p) {
  F v;
  std::memcpy(&v, p, sizeof v);
  return v;
}
TESSFX_LANES void StoreF(float* p, const F& v) { std::memcpy(p, &v, sizeof v); }

TESSFX_LANES F Min(const F& a, const F& b) { return a < b ? a : b; }
TESSFX_LANES F Max(const F& a, const F& b) { return a > b ? a : b; }

// Round to nearest, halves to even, for |v| < 2^22: adding and removing 1.5 x 2^23 leaves
// no fraction bits, so the addition rounds in the current (nearest-even) mode.
TESSFX_LANES F RoundHalfEven(const F& v) {
  const F magic = Splat(12582912.0f);
  return (v + magic) - magic;
}

// Transposes eight rows of eight lanes in place: afterwards m[k] holds lane k of every row.
TESSFX_LANES void Transpose(F (&m)[8]) {
  F t[8], u[8];
  for (int i = 0; i < 8; i += 2) {
    t[i] = __builtin_shufflevector(m[i], m[i + 1], 0, 8, 1, 9, 4, 12, 5, 13);
    t[i + 1] = __builtin_shufflevector(m[i], m[i + 1], 2, 10, 3, 11, 6, 14, 7, 15);
  }
  for (int i = 0; i < 8; i += 4) {
    u[i] = __builtin_shufflevector(t[i], t[i + 2], 0, 1, 8, 9, 4, 5, 12, 13);
    u[i + 1] = __builtin_shufflevector(t[i], t[i + 2], 2, 3, 10, 11, 6, 7, 14, 15);
    u[i + 2] = __builtin_shufflevector(t[i + 1], t[i + 3], 0, 1, 8, 9, 4, 5, 12, 13);
    u[i + 3] = __builtin_shufflevector(t[i + 1], t[i + 3], 2, 3, 10, 11, 6, 7, 14, 15);
  }
  for (int i = 0; i < 4; ++i) {
    m[i] = __builtin_shufflevector(u[i], u[i + 4], 0, 1, 2, 3, 8, 9, 10, 11);
    m[i + 4] = __builtin_shufflevector(u[i], u[i + 4], 4, 5, 6, 7, 12, 13, 14, 15);
  }
}

// RoundToByteF lane by lane: NaN and values below 0 give 0, values from 255 up give 255,
// anything else rounds half to even. Clamping before rounding gives the same bytes.
TESSFX_LANES void StoreByte(uint8_t* p, const F& value) {
  F v = value > Splat(0.0f) ? value : Splat(0.0f);
  v = v < Splat(255.0f) ? v : Splat(255.0f);
  const U8 b = __builtin_convertvector(__builtin_convertvector(RoundHalfEven(v), I), U8);
  std::memcpy(p, &b, sizeof b);
}

}  // namespace tessfx::vec8

#undef TESSFX_LANES
