// Redrawing the timeline strip of a 10000-frame animation with two keys (so every channel's
// curve is drawn), as the tool window does on every frame change: at zoom 1, where all frames
// share the viewport's 800 pixels, and at the largest zoom, where the viewport shows a few
// dozen frames of a strip 160000 pixels wide. Runs on the offscreen platform.
#include <benchmark/benchmark.h>

#include <QApplication>
#include <array>
#include <vector>

#include "keys/timeline_view.h"
#include "ui/timeline_widget.h"

namespace tessfx {
namespace {

constexpr int32_t kFrames = 10000;

void BM_StripRedraw(benchmark::State& state) {
  TimelineStrip strip;
  strip.resize(800, 86);
  static std::array<std::vector<float>, 6> values;
  for (int c = 0; c < 6; ++c) {
    values[c].resize(kFrames + 1);
    for (int32_t f = 0; f <= kFrames; ++f) values[c][f] = static_cast<float>((f % 997) / 997.0 * (c + 1) / 6);
  }
  const bool zoomed = state.range(0) != 0;
  const double width = zoomed ? (kFrames - 1) * kMaxPixelsPerFrame : 800.0;
  strip.SetStrip(width, zoomed ? width / 2 : 0);
  TimelineData data;
  data.total_frames = kFrames;
  data.current_frame = kFrames / 2;
  data.key_frames = {0, kFrames - 1};
  data.frame_values = &values;
  for (auto _ : state) strip.Draw(data);
}
BENCHMARK(BM_StripRedraw)->Arg(0)->Arg(1)->ArgNames({"zoomed"})->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace tessfx

int main(int argc, char** argv) {
  qputenv("QT_QPA_PLATFORM", "offscreen");
  QApplication app(argc, argv);
  benchmark::Initialize(&argc, argv);
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  return 0;
}
