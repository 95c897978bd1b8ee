// Milliseconds per 1920 x 1080 frame for every implemented effect of the catalogue, run
// through the frame dispatch at the catalogue defaults on a noise frame, next to the copy
// floor (copying the 4 host planes to the 4 working planes), on one thread and on all.
//
// The dispatch itself refetches the frame from the host and copies it before any effect
// runs; that overhead is measured on its own ("dispatch, no effect") and subtracted in the
// summary, whose last column relates each effect's own time to the copy floor.
#include <benchmark/benchmark.h>
#include <tbb/global_control.h>
#include <tbb/info.h>

#include <malloc.h>

#include <algorithm>
#include <cstdlib>
#include <cstdio>
#include <cstring>
#include <functional>
#include <map>
#include <optional>
#include <memory>
#include <string>
#include <vector>

#include "engine/catalogue.h"
#include "engine/dispatch.h"
#include "engine/panel.h"
#include "filters/blend.h"
#include "filters/parallel.h"
#include "host/embedded/embedded_host.h"
#include "host/image_state.h"
#include "host/registry.h"
#include "media/bmp.h"
#include "media/file_util.h"
#include "media/test_patterns.h"

namespace tessfx {
namespace {

constexpr int32_t kWidth = 1920, kHeight = 1080;

// Noise frames and a noise swap image in a host with the shared state, at the last frame so
// that the echo has earlier frames to read, and a noise picture with alpha as the sequence's
// picture for every frame. The alpha plane is the host's default (fully selected), as for
// every animation file.
constexpr int32_t kFrames = 16;

class BenchFrame {
 public:
  BenchFrame() : host_(std::make_shared<EmbeddedHost>()) {
    host_->NewAnimation(kWidth, kHeight, kFrames);
    Plane r(kWidth, kHeight), g(kWidth, kHeight), b(kWidth, kHeight), a(kWidth, kHeight);
    for (int32_t f = 0; f < kFrames; ++f) {
      DrawPattern(Pattern::Noise, 1, f, kFrames, r, g, b);
      host_->WriteFramePlane(f, Channel::R, r);
      host_->WriteFramePlane(f, Channel::G, g);
      host_->WriteFramePlane(f, Channel::B, b);
    }
    host_->Tes_GotoFrame(kFrames - 1);
    DrawPattern(Pattern::Noise, 3, 0, 1, a, a, a);
    sequence_picture_ = JoinPath(host_->Tes_GetTempDir(), "bench-sequence.bmp");
    WriteBmp32(sequence_picture_, r, g, b, a);
    DrawPattern(Pattern::Noise, 2, 0, 1, r, g, b);
    host_->SetSwapImage(r, g, b);
    registry_.Register(kHostProgId, [h = host_] { return std::static_pointer_cast<TessalineHost>(h); });
    state_ = SharedState::Startup(registry_);
  }

  ImageState& image() { return state_->image(); }

  // Runs the dispatch with the effect selected, at the given values.
  void Dispatch(const std::string& effect, const std::array<float, 6>& v) {
    const std::string entry = "    " + effect;
    DispatchHooks hooks;
    hooks.selected_entry = [&entry] { return entry; };
    hooks.sequence_file = [this](int32_t) { return sequence_picture_; };
    FrameDispatcher d(image(), std::move(hooks));
    d.ProccessFrame(v[0], v[1], v[2], v[3], v[4], v[5]);
  }
  ~BenchFrame() { std::remove(sequence_picture_.c_str()); }

 private:
  std::string sequence_picture_;
  std::shared_ptr<EmbeddedHost> host_;
  HostRegistry registry_;
  std::unique_ptr<SharedState> state_;
};

// The values the preview passes right after the effect is picked on a fresh panel: the
// slider defaults, and the design-time value of hidden sliders (so no effect depends on
// which one ran before).
std::array<float, 6> PickedValues(const std::string& effect) {
  ParameterPanel panel;
  panel.SelectEffect(effect);
  return panel.SliderValues();
}

// For effects that change nothing at those values (the displacements start at 0): every
// slider that starts at its minimum moved three quarters up its range.
std::optional<std::array<float, 6>> WorkingValues(BenchFrame& frame, const EffectDef& e) {
  const std::array<float, 6> picked = PickedValues(std::string(e.name));
  frame.Dispatch(std::string(e.name), picked);
  const ImageState& s = frame.image();
  if (!(s.work_r == s.host_r && s.work_g == s.host_g && s.work_b == s.host_b)) return std::nullopt;
  std::array<float, 6> v = picked;
  for (size_t i = 0; i < e.sliders.size(); ++i)
    if (e.sliders[i].value == e.sliders[i].min)
      v[i] = static_cast<float>(e.sliders[i].min + (e.sliders[i].max - e.sliders[i].min) * 3 / 4);
  return v;
}

std::string ValuesText(const EffectDef& e, const std::array<float, 6>& v) {
  std::string text;
  for (size_t i = 0; i < e.sliders.size(); ++i) text += (i ? "," : " at ") + std::to_string(static_cast<int>(v[i]));
  return text;
}

// The copy floor: the four host planes into the four working planes, in row bands.
void CopyFloor(ImageState& s) {
  const Plane* from[4] = {&s.host_r, &s.host_g, &s.host_b, &s.host_a};
  Plane* to[4] = {&s.work_r, &s.work_g, &s.work_b, &s.work_a};
  const int64_t stride = int64_t{s.width} + 1;
  ForEachRowBand(0, s.height + 1, stride * 4, [&](int32_t y0, int32_t y1) {
    const size_t bytes = static_cast<size_t>((y1 - y0) * stride);
    for (int c = 0; c < 4; ++c) std::memcpy((*to[c])[y0], (*from[c])[y0], bytes);
  });
}

// The composite over planes whose alpha is noise, so that every sample is mixed.
struct NoiseAlphaPlanes {
  NoiseAlphaPlanes() {
    for (Plane* p : {&r, &g, &b, &hr, &hg, &hb, &a}) *p = Plane(kWidth, kHeight);
    DrawPattern(Pattern::Noise, 3, 0, 1, hr, hg, hb);
    DrawPattern(Pattern::Noise, 4, 0, 1, r, g, a);
  }
  void Run() {
    Overlay_b({r.view(), g.view(), b.view()}, {hr.view(), hg.view(), hb.view()}, a.view(), 0);
  }
  Plane r, g, b, hr, hg, hb, a;
};

const char* kCopyFloor = "copy floor";
const char* kDispatchOnly = "dispatch, no effect";

// Collects the real time of every run and prints the summary table at the end: total and
// own time (total less the dispatch's own fetch and copy) in ms, and own / copy floor.
class SummaryReporter : public benchmark::ConsoleReporter {
 public:
  void ReportRuns(const std::vector<Run>& runs) override {
    ConsoleReporter::ReportRuns(runs);
    for (const Run& r : runs) {
      if (r.run_type != Run::RT_Iteration || r.error_occurred) continue;
      const std::string name = r.benchmark_name();
      const size_t at = name.rfind("/threads:");
      const std::string effect = name.substr(0, at);
      const int threads = std::stoi(name.substr(at + 9));
      // With repetitions the fastest one counts: on a shared machine the others are
      // mostly other work.
      const double ms = r.GetAdjustedRealTime() / benchmark::GetTimeUnitMultiplier(r.time_unit) * 1e3;
      auto [it, fresh] = ms_[threads].emplace(effect, ms);
      if (!fresh) it->second = std::min(it->second, ms);
      if (std::find(order_.begin(), order_.end(), effect) == order_.end()) order_.push_back(effect);
    }
  }
  void Finalize() override {
    ConsoleReporter::Finalize();
    std::printf("\n%-34s", "ms per 1920x1080 frame");
    for (const auto& [threads, _] : ms_) std::printf(" | %2d thr: total   own  own/copy", threads);
    std::printf("\n");
    for (const std::string& effect : order_) {
      std::printf("%-34s", effect.c_str());
      for (auto& [threads, table] : ms_) {
        // Below the dispatch's own time is measurement noise: shown as 0.
        const double total = table[effect], own = std::max(0.0, total - table[kDispatchOnly]),
                     floor = table[kCopyFloor];
        if (effect == kCopyFloor || effect == kDispatchOnly || effect.rfind("composite", 0) == 0 ||
            effect == "swap fetch" || effect.rfind("level mix", 0) == 0)
          std::printf(" |        %6.2f              ", total);
        else
          std::printf(" |        %6.2f %6.2f %6.2fx", total, own, own / floor);
      }
      std::printf("\n");
    }
  }

 private:
  std::map<int, std::map<std::string, double>> ms_;
  std::vector<std::string> order_;
};

}  // namespace
}  // namespace tessfx

int main(int argc, char** argv) {
  using namespace tessfx;
  benchmark::Initialize(&argc, argv);
  if (std::getenv("TESSFX_BENCH_MALLOPT")) {
    mallopt(M_MMAP_THRESHOLD, 256 << 20);
    mallopt(M_TRIM_THRESHOLD, 1 << 30);
  }
  auto frame = std::make_shared<BenchFrame>();
  std::vector<int> thread_counts = {1};
  if (tbb::info::default_concurrency() > 1) thread_counts.push_back(tbb::info::default_concurrency());
  for (int threads : thread_counts) {
    const std::string suffix = "/threads:" + std::to_string(threads);
    auto add = [&](const std::string& name, std::function<void()> body) {
      benchmark::RegisterBenchmark((name + suffix).c_str(), [threads, body](benchmark::State& st) {
        tbb::global_control limit(tbb::global_control::max_allowed_parallelism, static_cast<size_t>(threads));
        for (auto _ : st) body();
      })->Unit(benchmark::kMillisecond)->UseRealTime()->MinTime(0.3);
    };
    add(kCopyFloor, [frame] { CopyFloor(frame->image()); });
    add(kDispatchOnly, [frame] { frame->Dispatch("(none)", {}); });
    // Building blocks that many effects share.
    add("composite (Overlay_b)", [frame] {
      ImageState& s = frame->image();
      Overlay_b({s.work_r.view(), s.work_g.view(), s.work_b.view()}, {s.host_r.view(), s.host_g.view(), s.host_b.view()},
                s.host_a.view(), 0);
    });
    add("composite, noise alpha", [mixed = std::make_shared<NoiseAlphaPlanes>()] { mixed->Run(); });
    add("swap fetch", [frame] { frame->image().FetchSwapPlanes(); });
    add("level mix at 128", [frame] {
      ImageState& s = frame->image();
      LevelMix({s.work_r.view(), s.work_g.view(), s.work_b.view()}, {s.host_r.view(), s.host_g.view(), s.host_b.view()},
               128);
    });
    for (const EffectDef& e : Effects()) {
      if (!e.implemented()) continue;
      const std::string name(e.name);
      add(name, [frame, name, values = PickedValues(name)] { frame->Dispatch(name, values); });
      if (const auto working = WorkingValues(*frame, e))
        add(name + ValuesText(e, *working), [frame, name, values = *working] { frame->Dispatch(name, values); });
    }
    // Effects whose defaults change nothing or little, at values that do the whole work.
    const std::pair<const char*, std::pair<std::string, std::array<float, 6>>> variants[] = {
        {"Transform, 70%, 30 degrees", {"Transform", {10, 5, 70, 30}}},
        {"Transform, quarter turn", {"Transform", {0, 0, 100, 90}}},
        {"Wireframe designer, step 1", {"Wireframe designer", {40, 1, 0, 350, 0, 400}}},
    };
    for (const auto& [label, call] : variants)
      if (const EffectDef* e = FindEffect(call.first); e && e->implemented())
        add(label, [frame, call] { frame->Dispatch(call.first, call.second); });
  }
  SummaryReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  benchmark::Shutdown();
  return 0;
}
