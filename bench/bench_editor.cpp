// The editor's interactive paths on large inputs:
// - the live preview while a slider is dragged, for every effect it supports, on a
//   1920 x 1080 noise frame with a noise swap image and a preview of 960 x 540 (the frame is
//   reduced to 640 x 360): one step of a drag, and the reduction made once per drag;
// - the key fills and the sliders following the keys on a 10000-frame animation.
// Everything runs on one thread, so that CPU time is the whole of the work (a machine shared
// with other builds inflates the wall clock) and a second core can only make it faster.
#include <benchmark/benchmark.h>
#include <tbb/global_control.h>

#include <memory>
#include <string>

#include "engine/catalogue.h"
#include "host/embedded/embedded_host.h"
#include "host/image_state.h"
#include "host/registry.h"
#include "media/test_patterns.h"
#include "render/editor.h"
#include "render/live_preview.h"

namespace tessfx {
namespace {

const tbb::global_control kOneThread(tbb::global_control::max_allowed_parallelism, 1);

class BenchWindow final : public EditorWindow {
 public:
  void SetCaption(const std::string&) override {}
  void MessageBox(const std::string&) override {}
  std::optional<std::string> InputBox(const std::string&, const std::string&, const std::string&) override {
    return std::nullopt;
  }
  void SetWaitCursor(bool) override {}
  PictureBox PreviewBox() const override { return {960, 540}; }
  void ShowPicture(const ThumbImage& picture) override { benchmark::DoNotOptimize(picture.rgb.data()); }
  void DrawTimeline() override {}
};

struct BenchEditor {
  BenchEditor(int32_t width, int32_t height, int32_t frames) {
    EmbeddedHostOptions o;
    o.width = width;
    o.height = height;
    o.frames = frames;
    o.memory_store = true;
    host = std::make_shared<EmbeddedHost>(o);
    registry.Register(kHostProgId, [h = host] { return std::static_pointer_cast<TessalineHost>(h); });
    state = SharedState::Startup(registry);
    editor = std::make_unique<Editor>(*state, window);
  }
  std::shared_ptr<EmbeddedHost> host;
  HostRegistry registry;
  std::unique_ptr<SharedState> state;
  BenchWindow window;
  std::unique_ptr<Editor> editor;
};

BenchEditor& Frame1080() {
  static BenchEditor* b = [] {
    auto* e = new BenchEditor(1920, 1080, 1);
    Plane r(1920, 1080), g(1920, 1080), bl(1920, 1080);
    DrawPattern(Pattern::Noise, 1, 0, 1, r, g, bl);
    e->host->WriteFramePlane(0, Channel::R, r);
    e->host->WriteFramePlane(0, Channel::G, g);
    e->host->WriteFramePlane(0, Channel::B, bl);
    DrawPattern(Pattern::Noise, 2, 0, 1, r, g, bl);
    e->host->SetSwapImage(r, g, bl);
    return e;
  }();
  return *b;
}

// One step of a drag: the effect on the reduced frame, made into the preview's picture.
void BM_LiveStep(benchmark::State& state, std::string effect) {
  BenchEditor& b = Frame1080();
  b.editor->panel().SelectEffect(effect);
  LivePreview live;
  ThumbImage out;
  const EffectDef& def = *FindEffect(effect);
  const EffectParams p = b.editor->panel().SliderValues();
  live.Run(def, b.editor->image(), p, b.window.PreviewBox(), out);  // the reduction, once
  for (auto _ : state) {
    live.Run(def, b.editor->image(), p, b.window.PreviewBox(), out);
    benchmark::DoNotOptimize(out.rgb.data());
  }
}

// The reduction of the frame (and swap image) that the first step of a drag makes.
void BM_LiveReduce(benchmark::State& state) {
  BenchEditor& b = Frame1080();
  LivePreview live;
  ThumbImage out;
  const EffectDef& def = *FindEffect("Combine add");
  for (auto _ : state) {
    live.Invalidate();
    live.Run(def, b.editor->image(), {}, b.window.PreviewBox(), out);
  }
}
BENCHMARK(BM_LiveReduce)->Unit(benchmark::kMillisecond);

// The full preview on release, for comparison: dispatch at 1080p and the reduction to the box.
void BM_FullPreview(benchmark::State& state) {
  BenchEditor& b = Frame1080();
  b.editor->panel().SelectEffect("Gaussian blur");
  for (auto _ : state) b.editor->renderer().DoPreviewFrame();
}
BENCHMARK(BM_FullPreview)->Unit(benchmark::kMillisecond);

// 10000 frames with keys at a third and two thirds: the fill after every change of the keys
// (linear, spline), and the sliders following the keys at a frame (fill included).
BenchEditor& TenThousand() {
  static BenchEditor* b = [] {
    auto* e = new BenchEditor(8, 8, 10000);
    e->editor->panel().SelectEffect("Color add");
    for (auto [f, v] : {std::pair{0, -200}, std::pair{3333, 100}, std::pair{6666, -50}, std::pair{9999, 200}}) {
      e->host->Tes_GotoFrame(f);
      e->editor->panel().HProp[0].SetValue(static_cast<int16_t>(v));
      e->editor->kv_button1_Click();
    }
    e->editor->set_follow_keys(true);
    return e;
  }();
  return *b;
}

void BM_Fill10000(benchmark::State& state) {
  BenchEditor& b = TenThousand();
  b.editor->keys().SetSplineMode(state.range(0) != 0);
  for (auto _ : state) b.editor->keys().FillArray();
  b.editor->keys().SetSplineMode(false);
}
BENCHMARK(BM_Fill10000)->Arg(0)->Arg(1)->ArgNames({"spline"})->Unit(benchmark::kMillisecond);

void BM_FollowKeys10000(benchmark::State& state) {
  BenchEditor& b = TenThousand();
  int32_t f = 0;
  for (auto _ : state) {
    b.host->Tes_GotoFrame(f);
    b.editor->FollowKeys();
    f = (f + 997) % 10000;
  }
}
BENCHMARK(BM_FollowKeys10000)->Unit(benchmark::kMicrosecond);

// Registered at start-up: every effect the live preview supports.
const bool kRegistered = [] {
  for (const EffectDef& e : Effects())
    if (LivePreview::Supports(e))
      benchmark::RegisterBenchmark(("BM_LiveStep/" + std::string(e.name)).c_str(), BM_LiveStep, std::string(e.name))
          ->Unit(benchmark::kMillisecond);
  return true;
}();

}  // namespace
}  // namespace tessfx
