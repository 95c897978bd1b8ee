// The Gaussian blur at small, middle and large radii and the per-pixel adjustments on a
// full-HD frame, against the floor of copying the four host planes into the working
// planes. Each benchmark runs on one thread (argument 1) and on all threads (argument 0).
#include <benchmark/benchmark.h>
#include <tbb/global_control.h>
#include <tbb/info.h>

#include <cstring>
#include <memory>
#include <optional>
#include <random>

#include "effects/adjust.h"
#include "effects/blur.h"
#include "effects/frame.h"
#include "filters/parallel.h"
#include "host/embedded/embedded_host.h"
#include "host/image_state.h"
#include "host/lookup_tables.h"

namespace tessfx {
namespace {

constexpr int32_t kWidth = 1920, kHeight = 1080;

// A noise frame in an embedded host, fetched into the shared planes.
struct BenchFrame {
  BenchFrame() : host(EmbeddedHostOptions{{}, {}, kWidth, kHeight, 1}), tables(BuildLookupTables()), image(host, tables) {
    std::mt19937 rng(1);
    for (Channel c : {Channel::R, Channel::G, Channel::B, Channel::A}) {
      Plane p(kWidth, kHeight);
      for (size_t i = 0; i < p.size(); ++i) p.data()[i] = rng() & 0xFF;
      host.WriteFramePlane(0, c, p);
    }
    image.ReadGeometry();
    image.FetchHostPlanes();
    image.CopyHostToWorking();
  }
  EmbeddedHost host;
  LookupTables tables;
  ImageState image;
};

// Argument 1: one thread; 0: every thread the scheduler has.
std::optional<tbb::global_control> ThreadLimit(const benchmark::State& state) {
  if (state.range(0) == 1) return std::optional<tbb::global_control>(std::in_place, tbb::global_control::max_allowed_parallelism, 1);
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
  BenchFrame frame;
  ImageState& s = frame.image;
  const int64_t stride = kWidth + 1;
  for (auto _ : state) {
    ForEachRowBand(0, kHeight + 1, stride * 4, [&](int32_t y0, int32_t y1) {
      const int64_t o = y0 * stride, n = (y1 - y0) * stride;
      std::memcpy(s.work_r.data() + o, s.host_r.data() + o, n);
      std::memcpy(s.work_g.data() + o, s.host_g.data() + o, n);
      std::memcpy(s.work_b.data() + o, s.host_b.data() + o, n);
      std::memcpy(s.work_a.data() + o, s.host_a.data() + o, n);
    });
    benchmark::ClobberMemory();
  }
  Label(state);
}
BENCHMARK(BM_CopyFloor)->Arg(1)->Arg(0)->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_GaussianBlur(benchmark::State& state) {
  auto limit = ThreadLimit(state);
  BenchFrame frame;
  ImageState& s = frame.image;
  const int32_t radius = static_cast<int32_t>(state.range(1));
  for (auto _ : state) {
    GaussianBlurPlanes(s, radius);
    benchmark::ClobberMemory();
  }
  Label(state);
}
BENCHMARK(BM_GaussianBlur)
    ->ArgsProduct({{1, 0}, {2, 16, 64}})
    ->ArgNames({"one_thread", "radius"})
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();

// The per-pixel routines at typical settings. Each overwrites the working planes from the
// host planes or in place, so repeating it costs the same every time.
template <typename Routine>
void PerPixel(benchmark::State& state, Routine routine) {
  auto limit = ThreadLimit(state);
  BenchFrame frame;
  ImageState& s = frame.image;
  s.alpha_bits = 1;  // the effect alone, without the alpha composite
  for (auto _ : state) {
    routine(s);
    benchmark::ClobberMemory();
  }
  Label(state);
}

#define TESSFX_PER_PIXEL(name, call)                                              \
  void BM_##name(benchmark::State& state) { PerPixel(state, [](ImageState& s) { call; }); } \
  BENCHMARK(BM_##name)->Arg(1)->Arg(0)->Unit(benchmark::kMillisecond)->UseRealTime()

TESSFX_PER_PIXEL(ColorAdjustment, FxColorAdjustment(s, 300, 200, 255));
TESSFX_PER_PIXEL(ColorAdd, FxColorAdd(s, 30, -20, 0));
TESSFX_PER_PIXEL(ValueAdjustment, FxValueAdjustment(s, 110, 120, 90, 105));
TESSFX_PER_PIXEL(Saturation, FxSaturation(s, 128));
TESSFX_PER_PIXEL(HueSatValue, FxHueSatValue(s, 40, 120, 200));
TESSFX_PER_PIXEL(PowerCurve, float p = 0.4f; FxPowerCurve(s, p));
TESSFX_PER_PIXEL(Negative, FxNegative(s));
TESSFX_PER_PIXEL(InvertValue, FxInvertValue(s));
TESSFX_PER_PIXEL(SwapChannels, FxSwapChannels(s));
TESSFX_PER_PIXEL(MapToGradient, FxMapToGradient(s, 2));
TESSFX_PER_PIXEL(LevelMix, LevelMix(s, 100));

// The other blurs at their catalogue defaults, for scale.
TESSFX_PER_PIXEL(UnsharpMask, FxUnsharpMask(s, 255));
TESSFX_PER_PIXEL(ZoomBlur, FxZoomBlur(s, 50, 50, 20, 50));
TESSFX_PER_PIXEL(MotionBlur, FxMotionBlur(s, 0, 10));
TESSFX_PER_PIXEL(LightDiffusion, FxLightDiffusion(s, 32, 255));

}  // namespace
}  // namespace tessfx
