#pragma once
// A one-frame embedded host with a frame dispatcher, for running effects by name the way
// the editor does, and frame builders for the tests of the adjustment and blur families.
#include <array>
#include <cstdint>
#include <functional>
#include <memory>
#include <random>

#include <gtest/gtest.h>
#include <string>

#include "core/plane.h"
#include "engine/catalogue.h"
#include "engine/dispatch.h"
#include "host/embedded/embedded_host.h"
#include "host/image_state.h"
#include "host/lookup_tables.h"

namespace tessfx::testing {

struct Frame {
  Plane r, g, b, a;
};

// Every sample of the planes (extra row and column too) from f(channel, x, y).
inline Frame MakeFrame(int32_t w, int32_t h, const std::function<uint8_t(int, int32_t, int32_t)>& f) {
  Frame fr{Plane(w, h), Plane(w, h), Plane(w, h), Plane(w, h, 255)};
  Plane* planes[3] = {&fr.r, &fr.g, &fr.b};
  for (int c = 0; c < 3; ++c)
    for (int32_t y = 0; y <= h; ++y)
      for (int32_t x = 0; x <= w; ++x) (*planes[c])[y][x] = f(c, x, y);
  return fr;
}

inline Frame NoiseFrame(int32_t w, int32_t h, uint32_t seed = 7) {
  std::mt19937 rng(seed);
  Frame fr = MakeFrame(w, h, [&](int, int32_t, int32_t) { return static_cast<uint8_t>(rng() & 0xFF); });
  for (int32_t y = 0; y <= h; ++y)
    for (int32_t x = 0; x <= w; ++x) fr.a[y][x] = static_cast<uint8_t>(rng() & 0xFF);
  return fr;
}

inline Frame FlatFrame(int32_t w, int32_t h, uint8_t r, uint8_t g, uint8_t b) {
  const uint8_t v[3] = {r, g, b};
  return MakeFrame(w, h, [&](int c, int32_t, int32_t) { return v[c]; });
}

class EffectRig {
 public:
  EffectRig(const Frame& frame, int32_t alpha_bits = 1)
      : host_(std::make_shared<EmbeddedHost>()), tables_(BuildLookupTables()), image_(*host_, tables_),
        dispatcher_(image_, DispatchHooks{[this] { return entry_; }, nullptr, nullptr}) {
    host_->NewAnimation(frame.r.width(), frame.r.height(), 1);
    host_->set_alpha_bits(alpha_bits);
    SetFrame(frame);
  }

  void SetFrame(const Frame& f) {
    host_->WriteFramePlane(0, Channel::R, f.r);
    host_->WriteFramePlane(0, Channel::G, f.g);
    host_->WriteFramePlane(0, Channel::B, f.b);
    host_->WriteFramePlane(0, Channel::A, f.a);
  }

  // Runs the effect through the dispatch with the six values.
  ImageState& Run(const std::string& name, std::array<float, 6> p = {}) {
    entry_ = "    " + name;
    dispatcher_.ProccessFrame(p[0], p[1], p[2], p[3], p[4], p[5]);
    return image_;
  }
  // Runs the effect with its catalogue defaults, replacing the listed sliders (index, value).
  ImageState& RunDefaults(const std::string& name, std::initializer_list<std::pair<int, float>> changes = {}) {
    return Run(name, Defaults(name, changes));
  }
  static std::array<float, 6> Defaults(const std::string& name,
                                       std::initializer_list<std::pair<int, float>> changes = {}) {
    std::array<float, 6> p{};
    const EffectSpec* e = FindEffect(name);
    for (size_t i = 0; e && i < e->sliders.size(); ++i) p[i] = e->sliders[i].value;
    for (auto [i, v] : changes) p[static_cast<size_t>(i)] = v;
    return p;
  }

  // Sends the working planes to the host, as a render does, so the next run starts there.
  void Commit() {
    host_->tes_setrbuffer(image_.work_r);
    host_->tes_setgbuffer(image_.work_g);
    host_->tes_setbbuffer(image_.work_b);
  }

  ImageState& image() { return image_; }
  EmbeddedHost& host() { return *host_; }

 private:
  std::shared_ptr<EmbeddedHost> host_;
  LookupTables tables_;
  ImageState image_;
  FrameDispatcher dispatcher_;
  std::string entry_;
};

// Largest difference between two planes over columns 0..cols-1 and rows 0..rows-1.
inline int MaxDiff(const Plane& a, const Plane& b, int32_t cols, int32_t rows) {
  int m = 0;
  for (int32_t y = 0; y < rows; ++y)
    for (int32_t x = 0; x < cols; ++x) m = std::max(m, std::abs(a[y][x] - b[y][x]));
  return m;
}

inline bool WorkingEqualsHost(const ImageState& s) {
  return s.work_r == s.host_r && s.work_g == s.host_g && s.work_b == s.host_b;
}

// Runs the effect through the dispatch at each end of each slider (the others at their
// defaults) on small and odd frames, with and without the composite: nothing may reach
// outside the planes.
inline void RunSliderEnds(const std::string& name) {
  const EffectSpec* e = FindEffect(name);
  ASSERT_NE(e, nullptr) << name;
  ASSERT_TRUE(e->implemented()) << name;
  for (auto [w, h] : {std::pair{1, 1}, std::pair{7, 3}, std::pair{2, 9}, std::pair{1, 2}, std::pair{65, 1}}) {
    for (int32_t alpha_bits : {0, 1}) {
      EffectRig rig(NoiseFrame(w, h), alpha_bits);
      for (size_t i = 0; i < e->sliders.size(); ++i)
        for (int16_t v : {e->sliders[i].min, e->sliders[i].max}) {
          const ImageState& s = rig.RunDefaults(name, {{static_cast<int>(i), v}});
          EXPECT_EQ(s.work_r.width(), w) << name;
        }
    }
  }
}

}  // namespace tessfx::testing
