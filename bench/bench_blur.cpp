// The Gaussian blur at small, middle and large radii and the per-pixel adjustments on a
// full-HD frame, against the floor of copying the four host planes into the working
// planes. Each benchmark runs on one thread (argument 1) and on all threads (argument 0).
// The effects run from their definitions on planes of their own, without a host.
#include <benchmark/benchmark.h>
#include <tbb/global_control.h>
#include <tbb/info.h>

#include <cstring>
#include <memory>
#include <optional>
#include <random>
#include <string>
#include <vector>

#include "core/lookup_tables.h"
#include "effects/effect.h"
#include "engine/catalogue.h"
#include "filters/blend.h"
#include "filters/blur.h"
#include "filters/parallel.h"
#include "host/embedded/embedded_host.h"

namespace tessfx {
namespace {

constexpr int32_t kWidth = 1920, kHeight = 1080;

// A noise frame in planes of its own, with working copies. The only host operation these
// effects call is the gradient of "Map to gradient", served by an in-memory host.
struct BenchFrame {
  BenchFrame() : tables(BuildLookupTables()) {
    std::mt19937 rng(1);
    for (Plane* p : {&host_r, &host_g, &host_b, &host_a}) {
      *p = Plane(kWidth, kHeight);
      for (size_t i = 0; i < p->size(); ++i) p->data()[i] = rng() & 0xFF;
    }
    for (auto [from, to] : {std::pair{&host_r, &work_r}, std::pair{&host_g, &work_g}, std::pair{&host_b, &work_b},
                            std::pair{&host_a, &work_a}})
      *to = from->Clone();
    frame.width = kWidth;
    frame.height = kHeight;
    frame.alpha_bits = 1;  // the effect alone, without the alpha composite
    frame.host = {host_r.view(), host_g.view(), host_b.view(), host_a.view()};
    frame.work = {work_r.view(), work_g.view(), work_b.view(), work_a.view()};
    frame.tables = &tables;
    frame.host_calls = &effect_host;
  }
  Plane host_r, host_g, host_b, host_a, work_r, work_g, work_b, work_a;
  LookupTables tables;
  EmbeddedHost effect_host{EmbeddedHostOptions{.width = 8, .height = 8, .memory_store = true}};
  EffectFrame frame;
};

// Argument 1: one thread; 0: every thread the scheduler has.
std::optional<tbb::global_control> ThreadLimit(const benchmark::State& state) {
  if (state.range(0) == 1)
    return std::optional<tbb::global_control>(std::in_place, tbb::global_control::max_allowed_parallelism, 1);
  return std::nullopt;
}

void Label(benchmark::State& state) {
  state.SetLabel(state.range(0) == 1 ? "1 thread" : std::to_string(tbb::info::default_concurrency()) + " threads");
  state.SetItemsProcessed(state.iterations() * int64_t{kWidth} * kHeight);
}

// The copy floor: the four host planes into the four working planes, split into row
// bands the way the effects split their work.
void BM_CopyFloor(benchmark::State& state) {
  auto limit = ThreadLimit(state);
  BenchFrame b;
  const int64_t stride = kWidth + 1;
  for (auto _ : state) {
    ForEachRowBand(0, kHeight + 1, stride * 4, [&](int32_t y0, int32_t y1) {
      const int64_t o = y0 * stride, n = (y1 - y0) * stride;
      std::memcpy(b.work_r.data() + o, b.host_r.data() + o, n);
      std::memcpy(b.work_g.data() + o, b.host_g.data() + o, n);
      std::memcpy(b.work_b.data() + o, b.host_b.data() + o, n);
      std::memcpy(b.work_a.data() + o, b.host_a.data() + o, n);
    });
    benchmark::ClobberMemory();
  }
  Label(state);
}
BENCHMARK(BM_CopyFloor)->Arg(1)->Arg(0)->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_GaussianBlur(benchmark::State& state) {
  auto limit = ThreadLimit(state);
  BenchFrame b;
  const PlaneView planes[3] = {b.work_r.view(), b.work_g.view(), b.work_b.view()};
  const int32_t radius = static_cast<int32_t>(state.range(1));
  for (auto _ : state) {
    GaussianBlur(planes, radius);
    benchmark::ClobberMemory();
  }
  Label(state);
}
BENCHMARK(BM_GaussianBlur)
    ->ArgsProduct({{1, 0}, {2, 16, 64}})
    ->ArgNames({"one_thread", "radius"})
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();

// An effect from its definition at typical settings. Each overwrites the working planes
// from the host planes or in place, so repeating it costs the same every time.
void Effect(benchmark::State& state, const char* name, EffectParams p) {
  auto limit = ThreadLimit(state);
  BenchFrame b;
  const EffectDef& effect = *FindEffect(name);
  for (auto _ : state) {
    RunEffect(effect, b.frame, p);
    benchmark::ClobberMemory();
  }
  Label(state);
}

#define TESSFX_EFFECT(id, name, ...)                                                        \
  void BM_##id(benchmark::State& state) { Effect(state, name, EffectParams{__VA_ARGS__}); } \
  BENCHMARK(BM_##id)->Arg(1)->Arg(0)->Unit(benchmark::kMillisecond)->UseRealTime()

TESSFX_EFFECT(ColorAdjustment, "Color adjustment", 300, 200, 255);
TESSFX_EFFECT(ColorAdd, "Color add", 30, -20, 0);
TESSFX_EFFECT(ValueAdjustment, "Value adjustment", 110, 120, 90, 105);
TESSFX_EFFECT(Saturation, "Saturation", 128);
TESSFX_EFFECT(HueSatValue, "Hue / Sat / Value", 40, 120, 200);
TESSFX_EFFECT(PowerCurve, "Power curve", 40);
TESSFX_EFFECT(Negative, "Negative");
TESSFX_EFFECT(InvertValue, "Invert value");
TESSFX_EFFECT(SwapChannels, "Swap channels");
TESSFX_EFFECT(MapToGradient, "Map to gradient", 2);

void BM_LevelMix(benchmark::State& state) {
  auto limit = ThreadLimit(state);
  BenchFrame b;
  for (auto _ : state) {
    LevelMix(b.frame.work.rgb(), b.frame.host.rgb(), 100);
    benchmark::ClobberMemory();
  }
  Label(state);
}
BENCHMARK(BM_LevelMix)->Arg(1)->Arg(0)->Unit(benchmark::kMillisecond)->UseRealTime();

// The other blurs at their catalogue defaults, for scale.
TESSFX_EFFECT(UnsharpMask, "Unsharp mask", 255);
TESSFX_EFFECT(ZoomBlur, "Zoom blur", 50, 50, 20, 50);
TESSFX_EFFECT(MotionBlur, "Motion blur", 0, 10);
TESSFX_EFFECT(LightDiffusion, "Light diffusion", 32, 255);

}  // namespace
}  // namespace tessfx
