#pragma once
// Test support shared by the effect, filter and engine tests: small frames in an embedded
// host, the shared state started on it, and the dispatch run by effect name.
#include <gtest/gtest.h>
#include <tbb/global_control.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdlib>
#include <functional>
#include <memory>
#include <optional>
#include <random>
#include <string>

#include "effects/effect_rig.h"
#include "engine/catalogue.h"
#include "engine/dispatch.h"
#include "engine/panel.h"
#include "host/embedded/embedded_host.h"
#include "host/image_state.h"
#include "host/registry.h"
#include "host/scratch_folder.h"
#include "media/bmp.h"
#include "planes.h"

namespace tessfx::testing {

// A whole frame's four planes.
using Frame = RgbaOf<Plane>;

inline Frame NoiseFrame(int32_t w, int32_t h, uint32_t seed = 7) {
  return {Noise(w, h, seed), Noise(w, h, seed + 1), Noise(w, h, seed + 2), Noise(w, h, seed + 3)};
}

// One frame (or a few) in an embedded host, with the shared state started on it.
class TestFrame {
 public:
  // How the editor reaches the embedded host: directly, or through another host object
  // (one reached by name, say) that `attach` puts in front of it.
  using Attach = std::function<std::shared_ptr<TessalineHost>(std::shared_ptr<EmbeddedHost>)>;

  TestFrame(int32_t w, int32_t h, int32_t frames = 1, Attach attach = nullptr)
      : host_(std::make_shared<EmbeddedHost>()) {
    host_->NewAnimation(w, h, frames);
    if (!attach) attach = [](std::shared_ptr<EmbeddedHost> h) { return std::static_pointer_cast<TessalineHost>(h); };
    registry_.Register(kHostProgId, [h = host_, attach] { return attach(h); });
    state_ = SharedState::Startup(registry_);
  }
  // One frame holding `f`, with the given alpha-bits flag.
  explicit TestFrame(const Frame& f, int32_t alpha_bits = 1) : TestFrame(f.r.width(), f.r.height()) {
    host_->set_alpha_bits(alpha_bits);
    SetFrame(f.r, f.g, f.b);
    SetAlpha(f.a);
  }

  // The sequence the sequence effects read: its file for a host frame (none by default).
  std::function<std::optional<std::string>(int32_t frame)> sequence_file;

  EmbeddedHost& host() { return *host_; }
  ImageState& image() { return state_->image(); }
  const LookupTables& tables() { return state_->tables(); }

  // The frame's planes in the host (current frame unless given).
  void SetFrame(const Plane& r, const Plane& g, const Plane& b, int32_t frame = 0) {
    host_->WriteFramePlane(frame, Channel::R, r);
    host_->WriteFramePlane(frame, Channel::G, g);
    host_->WriteFramePlane(frame, Channel::B, b);
  }
  void SetAlpha(const Plane& a, int32_t frame = 0) { host_->WriteFramePlane(frame, Channel::A, a); }
  void SetSwap(const Plane& r, const Plane& g, const Plane& b) { host_->SetSwapImage(r, g, b); }

  // The dispatch's step 1 and 2 without an effect: host planes, working copies, geometry.
  ImageState& Fetch() {
    ImageState& s = image();
    s.ReadGeometry();
    s.FetchHostPlanes();
    s.CopyHostToWorking();
    return s;
  }

  // Runs the dispatch with the effect selected by name; returns the caption it set.
  std::string Dispatch(const std::string& effect, std::array<float, 6> p = {}) {
    std::string caption;
    DispatchHooks hooks;
    hooks.selected_entry = [effect] { return "    " + effect; };
    hooks.set_caption = [&caption](const std::string& c) { caption = c; };
    hooks.sequence_file = sequence_file;
    FrameDispatcher d(image(), std::move(hooks));
    d.ProccessFrame(p[0], p[1], p[2], p[3], p[4], p[5]);
    return caption;
  }
  // Runs the effect by name and gives the state after it: with the given values, or with
  // the catalogue defaults with the listed sliders (index, value) replaced.
  ImageState& Run(const std::string& name, std::array<float, 6> p = {}) {
    Dispatch(name, p);
    return image();
  }
  ImageState& RunDefaults(const std::string& name, std::initializer_list<std::pair<int, float>> changes = {});

 private:
  std::shared_ptr<EmbeddedHost> host_;
  HostRegistry registry_;
  std::unique_ptr<SharedState> state_;
};

// The three working planes, for comparing whole results.
inline Rgb Working(const ImageState& s) { return {s.work_r.Clone(), s.work_g.Clone(), s.work_b.Clone()}; }
inline Rgb Host(const ImageState& s) { return {s.host_r.Clone(), s.host_g.Clone(), s.host_b.Clone()}; }

inline bool WorkingEqualsHost(const ImageState& s) { return Working(s) == Host(s); }

// Every slider of `e` at its minimum, its maximum or its default.
enum class SliderEnd { Min, Max, Default };
inline EffectParams SlidersAt(const EffectDef& e, SliderEnd end) {
  EffectParams p{};
  for (size_t i = 0; i < e.sliders.size(); ++i)
    p[i] = end == SliderEnd::Min ? e.sliders[i].min : end == SliderEnd::Max ? e.sliders[i].max : e.sliders[i].value;
  return p;
}

// The values the preview passes after picking the effect: the defaults of its sliders and
// the design-time values of the hidden ones.
inline EffectParams PanelValues(const EffectDef& e) {
  ParameterPanel panel;
  panel.SelectEffect(std::string(e.name));
  return panel.SliderValues();
}

inline ImageState& TestFrame::RunDefaults(const std::string& name, std::initializer_list<std::pair<int, float>> changes) {
  const EffectDef* e = FindEffect(name);
  EffectParams p = e ? SlidersAt(*e, SliderEnd::Default) : EffectParams{};
  for (auto [i, v] : changes) p[static_cast<size_t>(i)] = v;
  return Run(name, p);
}

// A picture of noise (seeds `seed` to `seed + 3`, alpha too) as the sequence's picture for every frame.
inline void NoiseSequence(TestFrame& f, int32_t w, int32_t h, uint32_t seed) {
  static const ScratchFolder folder;
  const std::string picture = folder / ("sequence" + std::to_string(w) + "x" + std::to_string(h) + ".bmp");
  WriteBmp32(picture, Noise(w, h, seed), Noise(w, h, seed + 1), Noise(w, h, seed + 2), Noise(w, h, seed + 3));
  f.sequence_file = [picture](int32_t) { return picture; };
}

// Noise in `frames` frames (frame f from seeds 11 + f, 21 + f, 31 + f and alpha 41 + f) and
// in the swap image (51, 52, 53).
inline void NoiseFrames(TestFrame& f, int32_t w, int32_t h, int32_t frames) {
  for (int32_t frame = 0; frame < frames; ++frame) {
    f.SetFrame(Noise(w, h, 11 + frame), Noise(w, h, 21 + frame), Noise(w, h, 31 + frame), frame);
    f.SetAlpha(Noise(w, h, 41 + frame), frame);
  }
  f.SetSwap(Noise(w, h, 51), Noise(w, h, 52), Noise(w, h, 53));
}

}  // namespace tessfx::testing
