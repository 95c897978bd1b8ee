// The render loop: 100 frames of 1920 x 1080 with "Color add" animated by two keys, undo
// recording on and the preview picture drawn every frame, on an in-memory host. Loading and
// saving documents are not part of it. Reported as frames per second ("fps").
#include <benchmark/benchmark.h>

#include <filesystem>
#include <memory>

#include "host/embedded/embedded_host.h"
#include "host/embedded/settings_store.h"
#include "host/image_state.h"
#include "media/test_patterns.h"
#include "render/editor.h"

namespace tessfx {
namespace {

constexpr int32_t kWidth = 1920, kHeight = 1080, kFrames = 100;

// A window with a preview picture of the usual size and nothing else to do.
class BenchWindow final : public EditorWindow {
 public:
  void SetCaption(const std::string&) override {}
  void MessageBox(const std::string&) override {}
  std::optional<std::string> InputBox(const std::string&, const std::string&, const std::string&) override {
    return std::nullopt;
  }
  void SetWaitCursor(bool) override {}
  PictureBox PreviewBox() const override { return {320, 240}; }
  void ShowPicture(const ThumbImage& picture) override { benchmark::DoNotOptimize(picture.rgb.data()); }
  void DrawTimeline() override {}
};

class BenchProgress final : public RenderProgress {
 public:
  void SetLabel(const std::string& text) override { benchmark::DoNotOptimize(text.data()); }
  void Yield() override {}
  bool Cancelled() override { return false; }
  void DisplayBar(double) override {}
  void Close() override {}
};

void BM_RenderWithUndo(benchmark::State& state) {
  // A private folder inside the user's temporary folder (created 0700 by the host).
  const std::string dir = (std::filesystem::path(DefaultTempDir()) / "bench-render").string();
  EmbeddedHostOptions options;
  options.temp_dir = dir;
  options.settings_path = dir + "/settings.ini";
  options.width = kWidth;
  options.height = kHeight;
  options.frames = kFrames;
  auto host = std::make_shared<EmbeddedHost>(options);
  DrawPatternAnimation(*host, Pattern::Gradient, 1);
  HostRegistry registry;
  registry.Register(kHostProgId, [host]() -> std::shared_ptr<TessalineHost> { return host; });
  auto shared = SharedState::Startup(registry);
  BenchWindow window;
  Editor editor(*shared, window);
  editor.panel().SelectEffect("Color add");
  for (auto [frame, red] : {std::pair{0, -100}, std::pair{kFrames - 1, 100}}) {
    host->Tes_GotoFrame(frame);
    editor.panel().HProp[0].SetValue(static_cast<int16_t>(red));
    editor.kv_button1_Click();
  }
  editor.panel().Check1 = 1;
  BenchProgress progress;
  int64_t frames = 0;
  for (auto _ : state) {
    const RenderSummary r = editor.kv_button3_Click(progress);
    frames += r.frames_rendered;
  }
  state.counters["fps"] = benchmark::Counter(static_cast<double>(frames), benchmark::Counter::kIsRate);
  editor.DeleteUndos_Click();
}
BENCHMARK(BM_RenderWithUndo)->Unit(benchmark::kMillisecond)->UseRealTime()->MinTime(5.0);

}  // namespace
}  // namespace tessfx

BENCHMARK_MAIN();
