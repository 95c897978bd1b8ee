#pragma once
// Planes for tests: flat, random and computed ones, views of them, and a thread limit.
// Nothing here needs a host, so kernel tests build on it alone.
#include <tbb/global_control.h>

#include <cstdint>
#include <functional>
#include <random>

#include "core/plane.h"

namespace tessfx::testing {

// A plane whose every sample (extra row and column included) is `v`.
inline Plane Flat(int32_t w, int32_t h, uint8_t v) { return Plane(w, h, v); }

// A plane of random samples over all (w + 1) x (h + 1) positions.
inline Plane Noise(int32_t w, int32_t h, uint32_t seed) {
  Plane p(w, h);
  std::mt19937 rng(seed);
  for (size_t i = 0; i < p.size(); ++i) p.data()[i] = static_cast<uint8_t>(rng() & 0xff);
  return p;
}

// A plane from a function of (row, column), over all positions.
inline Plane Make(int32_t w, int32_t h, const std::function<uint8_t(int32_t y, int32_t x)>& f) {
  Plane p(w, h);
  for (int32_t y = 0; y <= h; ++y)
    for (int32_t x = 0; x <= w; ++x) p[y][x] = f(y, x);
  return p;
}

// Three planes of a picture, compared whole.
struct Rgb {
  Plane r, g, b;
  bool operator==(const Rgb& o) const { return r == o.r && g == o.g && b == o.b; }
  Rgb Clone() const { return {r.Clone(), g.Clone(), b.Clone()}; }
  RgbView view() { return {r.view(), g.view(), b.view()}; }
  ConstRgbView view() const { return {r.view(), g.view(), b.view()}; }
};

inline Rgb NoiseRgb(int32_t w, int32_t h, uint32_t seed) {
  return {Noise(w, h, seed), Noise(w, h, seed + 1), Noise(w, h, seed + 2)};
}

// Runs f with at most `threads` worker threads.
template <typename F>
auto WithThreads(size_t threads, F&& f) {
  tbb::global_control limit(tbb::global_control::max_allowed_parallelism, threads);
  return f();
}

}  // namespace tessfx::testing
