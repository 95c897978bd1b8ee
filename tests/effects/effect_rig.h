#pragma once
// An effect run on planes the test owns, as the dispatch runs it but without a host: the
// host planes copied into the working planes, the routine from the effect's definition,
// then its declared composite.
#include <gtest/gtest.h>

#include <ostream>
#include <string>

#include "core/lookup_tables.h"
#include "effects/effect.h"
#include "engine/catalogue.h"
#include "planes.h"

namespace tessfx::testing {

// Every sample of the colour planes (extra row and column too) from f(channel, x, y);
// alpha 255.
inline RgbaOf<Plane> MakeRgba(int32_t w, int32_t h, const std::function<uint8_t(int, int32_t, int32_t)>& f) {
  const auto plane = [&](int c) { return Make(w, h, [&](int32_t y, int32_t x) { return f(c, x, y); }); };
  return {plane(0), plane(1), plane(2), Flat(w, h, 255)};
}

inline RgbaOf<Plane> FlatRgba(int32_t w, int32_t h, uint8_t r, uint8_t g, uint8_t b) {
  return {Flat(w, h, r), Flat(w, h, g), Flat(w, h, b), Flat(w, h, 255)};
}
inline RgbaOf<Plane> NoiseRgba(int32_t w, int32_t h, uint32_t seed) {
  return {Noise(w, h, seed), Noise(w, h, seed + 1), Noise(w, h, seed + 2), Flat(w, h, 255)};
}
inline RgbaOf<Plane> Clone(const RgbaOf<Plane>& p) { return {p.r.Clone(), p.g.Clone(), p.b.Clone(), p.a.Clone()}; }
inline Rgb ColoursOf(const RgbaOf<Plane>& p) { return {p.r.Clone(), p.g.Clone(), p.b.Clone()}; }

// One pixel's colour, compared and printed whole.
struct Px {
  int r, g, b;
  bool operator==(const Px&) const = default;
  bool black() const { return r == 0 && g == 0 && b == 0; }
  friend std::ostream& operator<<(std::ostream& o, const Px& p) {
    return o << "(" << p.r << "," << p.g << "," << p.b << ")";
  }
};
template <typename Planes>
Px At(const Planes& p, int32_t x, int32_t y) {
  return {p.r[y][x], p.g[y][x], p.b[y][x]};
}

class EffectRig {
 public:
  // A frame (alpha 255 unless given) with the alpha-bits flag 1: no composite.
  explicit EffectRig(RgbaOf<Plane> frame, int32_t alpha_bits = 1)
      : host_(std::move(frame)),
        work_{host_.r.Clone(), host_.g.Clone(), host_.b.Clone(), host_.a.Clone()},
        alpha_bits_(alpha_bits) {}

  RgbaOf<Plane>& host() { return host_; }
  RgbaOf<Plane>& work() { return work_; }
  // The swap image, which effects that declare it read.
  void SetSwap(Plane r, Plane g, Plane b) { swap_ = {std::move(r), std::move(g), std::move(b)}; }
  void set_frame(int32_t frame) { frame_ = frame; }

  // The dispatch's copy of the host planes into the working planes.
  EffectRig& Fetch() {
    for (auto [from, to] : {std::pair{&host_.r, &work_.r}, std::pair{&host_.g, &work_.g}, std::pair{&host_.b, &work_.b},
                            std::pair{&host_.a, &work_.a}})
      to->CopyFrom(*from);
    return *this;
  }
  // The effect on the working planes as they are.
  EffectRig& Apply(const std::string& name, EffectParams p = {}) {
    const EffectDef* def = FindEffect(name);
    EXPECT_TRUE(def && def->implemented()) << name;
    if (!def) return *this;
    EffectFrame f;
    f.width = host_.r.width();
    f.height = host_.r.height();
    f.alpha_bits = alpha_bits_;
    f.frame = frame_;
    f.total_frames = frame_ + 1;
    f.host = {host_.r.view(), host_.g.view(), host_.b.view(), host_.a.view()};
    f.work = {work_.r.view(), work_.g.view(), work_.b.view(), work_.a.view()};
    if (def->Uses(kSwapImage)) f.swap = {swap_.r.view(), swap_.g.view(), swap_.b.view()};
    f.tables = &Tables();
    RunEffect(*def, f, p);
    return *this;
  }
  EffectRig& Run(const std::string& name, EffectParams p = {}) { return Fetch().Apply(name, p); }

  Rgb Working() const { return {work_.r.Clone(), work_.g.Clone(), work_.b.Clone()}; }
  Rgb Host() const { return {host_.r.Clone(), host_.g.Clone(), host_.b.Clone()}; }

 private:
  static const LookupTables& Tables() {
    static const LookupTables tables = BuildLookupTables();
    return tables;
  }
  RgbaOf<Plane> host_, work_;
  Rgb swap_;
  int32_t alpha_bits_;
  int32_t frame_ = 0;
};

// The working planes of an effect run on a copy of `frame` at the host's frame number `at`.
inline Rgb RunOn(const RgbaOf<Plane>& frame, const std::string& effect, EffectParams p, int32_t at = 0) {
  EffectRig rig(Clone(frame));
  rig.set_frame(at);
  return rig.Run(effect, p).Working();
}

}  // namespace tessfx::testing
