// Dithers, noise clouds, film, snow, lens flare, paper and the detail effects.
//
// The animated ones ("Film grain", the random dithers, the Perlin noises, "Snowfall", "Old
// film") are pure functions of the sliders, the frame's pictures and the host's current
// frame, their time base: they keep nothing between calls, and their randomness is keyed
// by effect, frame and position (counter_random.h), so a frame renders the same alone,
// forwards, backwards or on a farm.
#include <algorithm>
#include <cmath>
#include <cstring>
#include <memory>
#include <vector>

#include "core/convert.h"
#include "core/error.h"
#include "effects/families.h"
#include "filters/counter_random.h"
#include "filters/dither.h"
#include "filters/gradient_noise.h"
#include "filters/grain.h"
#include "filters/guided.h"
#include "filters/parallel.h"
#include "filters/point.h"
#include "filters/sobel.h"
#include "filters/splat.h"

namespace tessfx {
namespace {

// ---------------------------------------------------------------------------------------
// Shared helpers

// 32 random bits for one object of an effect (a flake, a speck, a scratch): `index` names
// the object, `bucket` the frame or span of frames it belongs to, `lane` one of its values.
// Each purpose within an effect has lanes of its own, so no two purposes share values.
uint32_t ObjectBits(RandomStream stream, uint32_t index, uint32_t bucket, uint32_t lane) {
  uint32_t h = MixBits32(static_cast<uint32_t>(stream) ^ (index * 0x9e3779b9U));
  h = MixBits32(h + bucket * 0x85ebca6bU);
  return MixBits32(h + lane * 0xc2b2ae35U);
}

// A uniform value in [0, 1) from 24 of the bits.
double Uniform(uint32_t bits) { return (bits >> 8) * (1.0 / 16777216.0); }

// Smooth 1-D value noise in -1..1: hashed values at whole s, blended by smoothstep.
double SmoothNoise1(RandomStream stream, double s, uint32_t lane, uint32_t bucket = 0) {
  const double whole = std::floor(s);
  const double t = s - whole;
  const auto knot = [&](double k) {
    const uint32_t index = static_cast<uint32_t>(static_cast<int64_t>(k));
    return 2.0 * Uniform(ObjectBits(stream, index, bucket, lane)) - 1.0;
  };
  const double a = knot(whole), b = knot(whole + 1.0);
  return a + (b - a) * t * t * (3.0 - 2.0 * t);
}

// With the alpha-bits flag 0 the composite keeps the untouched frame wherever alpha is 0;
// rows that are wholly outside the selection need not be computed (the working planes
// already hold the untouched frame there).
bool RowHidden(const EffectFrame& f, int32_t y) {
  if (f.alpha_bits != 0) return false;
  const uint8_t* a = f.host.a.row(y);
  return std::all_of(a, a + f.width, [](uint8_t v) { return v == 0; });
}

// The length unit of the film looks: 1 px up to 1080 lines, growing with taller frames so
// that specks, scratches and weave keep their share of the picture.
double FilmUnit(int32_t height) { return std::max(1.0, height / 1080.0); }

// ---------------------------------------------------------------------------------------
// Dithers

void FxDither8Ordered(EffectFrame& f) {
  Dither(f.work.rgb(), f.host.rgb(), DitherPalette::Rgb332, DitherPattern::Ordered, f.frame);
}
void FxDither8Random(EffectFrame& f) {
  Dither(f.work.rgb(), f.host.rgb(), DitherPalette::Rgb332, DitherPattern::Random, f.frame);
}
void FxDither1Ordered(EffectFrame& f) {
  Dither(f.work.rgb(), f.host.rgb(), DitherPalette::BlackWhite, DitherPattern::Ordered, f.frame);
}
void FxDither1Random(EffectFrame& f) {
  Dither(f.work.rgb(), f.host.rgb(), DitherPalette::BlackWhite, DitherPattern::Random, f.frame);
}

// ---------------------------------------------------------------------------------------
// Film grain: out = v + (level / 4) g(v) n per channel, with n unit grain and
// g(v) = 4 (v / 255)(1 - v / 255), so the grain is strongest in the midtones and black and
// white stay as they are. Grain size = Grain scale / 10 px at 1080 lines, in proportion to
// the frame height (the host's buffer height), so the same stock looks the same at every
// resolution.

void AddScaledGrain(uint8_t* __restrict out, const uint8_t* __restrict in, const float* __restrict grain, int32_t n,
                    float level) {
  // (level / 4) * 4 v (255 - v) / 255^2
  const float k = level / 65025.0f;
  for (int32_t x = 0; x < n; ++x) {
    const float v = in[x];
    out[x] = RoundToByteF(v + k * v * (255.0f - v) * grain[x]);
  }
}

void FxFilmGrain(EffectFrame& f, float red, float green, float blue, float scale) {
  const double size = scale / 10.0 * f.height / 1080.0;
  const float levels[3] = {red, green, blue};
  const ConstPlaneView from[3] = {f.host.r, f.host.g, f.host.b};
  const PlaneView to[3] = {f.work.r, f.work.g, f.work.b};
  GrainField grain(f.width, f.height, size);
  for (uint32_t c = 0; c < 3; ++c) {
    const float level = std::clamp(levels[c], 0.0f, 255.0f);
    if (!(level > 0.0f)) continue;
    grain.Fill(RandomStream::FilmGrain, f.frame, c);
    ForEachFrameRow(f.width, f.height, 1, [&](int32_t y0, int32_t y1) {
      for (int32_t y = y0; y < y1; ++y) AddScaledGrain(to[c].row(y), from[c].row(y), grain.row(y), f.width, level);
    });
  }
}

// ---------------------------------------------------------------------------------------
// Perlin noise: clouds with cells of 64 x Scale px, moving Speed / 100 lattice units per
// frame, Phase / 16 units ahead in time; the colour form puts each channel Offset / 16
// units further on.

CloudSettings Clouds(int32_t iterations, int32_t scale, int32_t speed, int32_t type, int32_t phase, int32_t frame) {
  CloudSettings s;
  s.octaves = std::clamp(iterations, 1, 8);
  s.cell = 64.0 * std::max(1, scale);
  s.time = frame * (speed / 100.0) + phase / 16.0;
  s.kind = static_cast<CloudKind>(std::clamp(type, 0, 3));
  return s;
}

void FxPerlinNoise(EffectFrame& f, int32_t iterations, int32_t scale, int32_t speed, int32_t type, int32_t phase) {
  const CloudPattern clouds(f.width, Clouds(iterations, scale, speed, type, phase, f.frame));
  ForEachFrameRow(f.width, f.height, 2 * clouds.octaves(), [&](int32_t y0, int32_t y1) {
    std::vector<float> sum(static_cast<size_t>(f.width));
    for (int32_t y = y0; y < y1; ++y) {
      if (RowHidden(f, y)) continue;
      clouds.Row(y, f.work.r.row(y), sum.data());
      std::memcpy(f.work.g.row(y), f.work.r.row(y), static_cast<size_t>(f.width));
      std::memcpy(f.work.b.row(y), f.work.r.row(y), static_cast<size_t>(f.width));
    }
  });
}

void FxColorPerlinNoise(EffectFrame& f, int32_t iterations, int32_t scale, int32_t speed, int32_t type,
                        int32_t phase, int32_t offset) {
  std::vector<CloudPattern> channels;
  for (int32_t c = 0; c < 3; ++c) {
    CloudSettings s = Clouds(iterations, scale, speed, type, phase, f.frame);
    s.time += c * (offset / 16.0);
    channels.emplace_back(f.width, s);
  }
  const PlaneView to[3] = {f.work.r, f.work.g, f.work.b};
  ForEachFrameRow(f.width, f.height, 6 * channels[0].octaves(), [&](int32_t y0, int32_t y1) {
    std::vector<float> sum(static_cast<size_t>(f.width));
    for (int32_t y = y0; y < y1; ++y) {
      if (RowHidden(f, y)) continue;
      for (size_t c = 0; c < 3; ++c) channels[c].Row(y, to[c].row(y), sum.data());
    }
  });
}

// ---------------------------------------------------------------------------------------
// Snowfall: a stateless particle system. Flake i has its own depth, start point, sway
// period and phase from the hash of i alone (so more flakes only add flakes), and its
// position at frame t in closed form: falling Velocity x depth px per frame, blown Wind / 10
// x depth px per frame, swaying up to Turbulence / 5 x depth px, wrapping around a margin
// beyond the frame. Near flakes are bigger, faster and more opaque; far ones are drawn
// first.

struct Flake {
  Splat splat;
  float depth;
  int32_t index;
};

std::vector<Flake> PlaceFlakes(const EffectFrame& f, int32_t count, double velocity, double wind, double turbulence,
                               double size) {
  const double sway = std::max(0.0, turbulence) / 5.0;
  const double margin = std::max(0.0, size) + sway + 1.0;
  const double span_x = f.width + 2 * margin, span_y = f.height + 2 * margin;
  const double t = f.frame;
  auto wrap = [](double v, double span) { return v - span * std::floor(v / span); };
  std::vector<Flake> flakes;
  flakes.reserve(static_cast<size_t>(count));
  for (int32_t i = 0; i < count; ++i) {
    auto u = [i](uint32_t lane) { return Uniform(ObjectBits(RandomStream::Snowfall, static_cast<uint32_t>(i), 0, lane)); };
    const double depth = 0.3 + 0.7 * u(0);
    const double period = 40.0 + 80.0 * u(3), phase = 2.0 * M_PI * u(4);
    const double y = wrap(u(2) * span_y + velocity * depth * t, span_y) - margin;
    const double x = wrap(u(1) * span_x + wind / 10.0 * depth * t + sway * depth * std::sin(2.0 * M_PI * t / period + phase),
                          span_x) - margin;
    const double diameter = std::max(1.0, size * depth);
    flakes.push_back({{static_cast<float>(x), static_cast<float>(y), static_cast<float>(diameter / 2.0),
                       static_cast<float>(0.5 + 0.5 * depth)},
                      static_cast<float>(depth), i});
  }
  std::stable_sort(flakes.begin(), flakes.end(), [](const Flake& a, const Flake& b) { return a.depth < b.depth; });
  return flakes;
}

void FxSnowfall(EffectFrame& f, float count, float velocity, float wind, float turbulence, float size,
                int32_t brightness) {
  if (f.width <= 0 || f.height <= 0) return;
  const int32_t n = std::clamp(RoundHalfEven(count), 0, 100000);
  const float level = ClampByte(brightness);
  const std::vector<Flake> flakes = PlaceFlakes(f, n, velocity, wind, turbulence, size);
  // Each band draws, in depth order, the part of every flake that crosses it.
  ForEachFrameRow(f.width, f.height, 1, [&](int32_t y0, int32_t y1) {
    for (const Flake& flake : flakes) {
      const int32_t first = std::max(y0, flake.splat.first_row()), last = std::min(y1 - 1, flake.splat.last_row());
      for (int32_t y = first; y <= last; ++y) {
        uint8_t *r = f.work.r.row(y), *g = f.work.g.row(y), *b = f.work.b.row(y);
        ForEachSplatPixel(flake.splat, y, f.width, [&](int32_t x, float share) {
          r[x] = RoundToByteF(r[x] + share * (level - r[x]));
          g[x] = RoundToByteF(g[x] + share * (level - g[x]));
          b[x] = RoundToByteF(b[x] + share * (level - b[x]));
        });
      }
    }
  });
}

// ---------------------------------------------------------------------------------------
// Old film, every part in proportion to k = level / 255 and gone at 0: gate weave (the
// whole picture shifted by up to 1.5 k px, drifting smoothly), sepia, a flicker of the
// brightness by up to 15 k %, darkened corners, luma grain of 8 k levels, dust specks
// (round(40 k) a frame, most dark) and thin light scratches that stay on the film for a
// while, drifting slowly.

constexpr int32_t kScratchSlots = 6;
// Lanes of the film's random values.
constexpr uint32_t kWeaveLane = 10, kFlickerLane = 12, kScratchLanes = 20, kScratchAlongLanes = 30, kDustLanes = 40;

struct Scratch {
  float x, half_width, strength;
  uint32_t slot, bucket;
};

std::vector<Scratch> ActiveScratches(int32_t width, int32_t frame, double k, double unit) {
  std::vector<Scratch> scratches;
  for (uint32_t slot = 0; slot < kScratchSlots; ++slot) {
    auto u = [slot](uint32_t bucket, uint32_t lane) {
      return Uniform(ObjectBits(RandomStream::OldFilm, slot, bucket, kScratchLanes + lane));
    };
    // Each slot holds a scratch for spans of 8..40 frames, starting at its own phase.
    const double length = 8.0 + std::floor(33.0 * u(0, 0));
    const double phase = std::floor(length * u(0, 1));
    const double span = std::floor((frame + phase) / length);
    const uint32_t bucket = static_cast<uint32_t>(static_cast<int64_t>(span)) + 1;  // bucket 0 is the slot's own
    if (!(u(bucket, 0) < 0.6 * k)) continue;
    const double since = frame - (span * length - phase);
    const double drift = (u(bucket, 2) < 0.5 ? -0.3 : 0.3) * since;
    const double x = u(bucket, 1) * width + drift;
    scratches.push_back({static_cast<float>(x), static_cast<float>((0.5 + 0.5 * u(bucket, 3)) * unit),
                         static_cast<float>(k * (0.45 + 0.45 * u(bucket, 4))), slot, bucket});
  }
  return scratches;
}

struct Speck {
  Splat splat;
  bool dark;
};

std::vector<Speck> DustSpecks(int32_t width, int32_t height, int32_t frame, double k, double unit) {
  const int32_t count = RoundHalfEven(40.0 * k);
  std::vector<Speck> specks;
  for (int32_t i = 0; i < count; ++i) {
    auto u = [i, frame](uint32_t lane) {
      return Uniform(
          ObjectBits(RandomStream::OldFilm, static_cast<uint32_t>(i), static_cast<uint32_t>(frame), kDustLanes + lane));
    };
    const bool dark = u(3) < 0.8;
    specks.push_back({{static_cast<float>(u(0) * width), static_cast<float>(u(1) * height),
                       static_cast<float>((0.5 + 2.5 * u(2)) * unit), dark ? 0.85f : 0.8f},
                      dark});
  }
  return specks;
}

// A vignette factor per column (or row): 1 - s q^2 with q the distance from the centre in
// half-widths, s chosen so that the corners (the product of two) darken by 0.45 k.
std::vector<float> Vignette(int32_t n, double k) {
  const double s = 1.0 - std::sqrt(1.0 - 0.45 * k);
  const double centre = (n - 1) / 2.0;
  std::vector<float> v(static_cast<size_t>(std::max(0, n)));
  for (int32_t i = 0; i < n; ++i) {
    const double q = centre > 0 ? (i - centre) / centre : 0.0;
    v[static_cast<size_t>(i)] = static_cast<float>(1.0 - s * q * q);
  }
  return v;
}

struct FilmTone {
  float k, flicker, grain;
  const float* vignette_x;
};

// Row `from` shifted right by `shift` into `to`, the edge samples repeated.
void ShiftRow(uint8_t* to, const uint8_t* from, int32_t shift, int32_t width) {
  const int32_t s = std::clamp(shift, -width, width);
  if (s >= 0) {
    std::fill(to, to + s, from[0]);
    std::memcpy(to + s, from, static_cast<size_t>(width - s));
  } else {
    std::memcpy(to, from - s, static_cast<size_t>(width + s));
    std::fill(to + width + s, to + width, from[width - 1]);
  }
}

// Sepia, flicker, vignette and grain of one row of the (weaved) frame.
void FilmToneRow(const FilmTone& tone, const uint8_t* __restrict r, const uint8_t* __restrict g,
                 const uint8_t* __restrict b, int32_t width, float row_gain, const float* __restrict grain,
                 uint8_t* __restrict wr, uint8_t* __restrict wg, uint8_t* __restrict wb) {
  const float k = tone.k, amount = tone.grain;
  const float* __restrict vignette = tone.vignette_x;
  for (int32_t x = 0; x < width; ++x) {
    const float cr = r[x], cg = g[x], cb = b[x];
    const float y = 0.299f * cr + 0.587f * cg + 0.114f * cb;
    const float sr = std::min(255.0f, 1.07f * y), sg = 0.89f * y, sb = 0.67f * y;
    const float gain = row_gain * vignette[x];
    const float noise = amount * grain[x];
    wr[x] = RoundToByteF((cr + k * (sr - cr)) * gain + noise);
    wg[x] = RoundToByteF((cg + k * (sg - cg)) * gain + noise);
    wb[x] = RoundToByteF((cb + k * (sb - cb)) * gain + noise);
  }
}

void FxOldFilm(EffectFrame& f, float level) {
  const double k = std::clamp(static_cast<double>(level), 0.0, 255.0) / 255.0;
  if (!(k > 0.0) || f.width <= 0 || f.height <= 0) return;
  const int32_t w = f.width, h = f.height, t = f.frame;
  const double unit = FilmUnit(h);
  const RandomStream stream = RandomStream::OldFilm;

  const double weave = RoundHalfEvenD(1.5 * k * unit);
  const int32_t shift_x = RoundHalfEven(weave * SmoothNoise1(stream, t / 6.0, kWeaveLane));
  const int32_t shift_y = RoundHalfEven(weave * SmoothNoise1(stream, t / 6.0, kWeaveLane + 1));
  const double flicker =
      1.0 + 0.15 * k * (2.0 * Uniform(ObjectBits(stream, 0, static_cast<uint32_t>(t), kFlickerLane)) - 1.0);
  const std::vector<float> vignette_x = Vignette(w, k), vignette_y = Vignette(h, k);
  GrainField grain(w, h, 1.5 * h / 1080.0);
  grain.Fill(stream, t, 0);
  const FilmTone tone{static_cast<float>(k), static_cast<float>(flicker), static_cast<float>(8.0 * k),
                      vignette_x.data()};
  const std::vector<Scratch> scratches = ActiveScratches(w, t, k, unit);
  const std::vector<Speck> specks = DustSpecks(w, h, t, k, unit);

  ForEachFrameRow(w, h, 6, [&](int32_t y0, int32_t y1) {
    std::vector<uint8_t> shifted(3 * static_cast<size_t>(w));
    uint8_t *sr = shifted.data(), *sg = sr + w, *sb = sg + w;
    for (int32_t y = y0; y < y1; ++y) {
      // Gate weave: the whole picture shifted, its edges repeated.
      const int32_t sy = std::clamp(y - shift_y, 0, h - 1);
      ShiftRow(sr, f.host.r.row(sy), shift_x, w);
      ShiftRow(sg, f.host.g.row(sy), shift_x, w);
      ShiftRow(sb, f.host.b.row(sy), shift_x, w);
      uint8_t *r = f.work.r.row(y), *g = f.work.g.row(y), *b = f.work.b.row(y);
      FilmToneRow(tone, sr, sg, sb, w, tone.flicker * vignette_y[static_cast<size_t>(y)], grain.row(y), r, g, b);
      auto lighten = [&](int32_t x, float share) {
        r[x] = RoundToByteF(r[x] + share * (255.0f - r[x]));
        g[x] = RoundToByteF(g[x] + share * (255.0f - g[x]));
        b[x] = RoundToByteF(b[x] + share * (255.0f - b[x]));
      };
      for (const Scratch& s : scratches) {
        // Strength along the scratch wanders and now and then fades out.
        const double along = SmoothNoise1(stream, y / (h / 5.0 + 1.0), kScratchAlongLanes + s.slot, s.bucket);
        const float strength = s.strength * static_cast<float>(std::clamp(0.5 + 0.8 * along, 0.0, 1.0));
        if (strength > 0.0f) ForEachStreakPixel(s.x, s.half_width, strength, w, lighten);
      }
      for (const Speck& speck : specks) {
        if (y < speck.splat.first_row() || y > speck.splat.last_row()) continue;
        if (speck.dark)
          ForEachSplatPixel(speck.splat, y, w, [&](int32_t x, float share) {
            const float keep = 1.0f - share;
            r[x] = RoundToByteF(r[x] * keep);
            g[x] = RoundToByteF(g[x] * keep);
            b[x] = RoundToByteF(b[x] * keep);
          });
        else
          ForEachSplatPixel(speck.splat, y, w, lighten);
      }
    }
  });
}

// ---------------------------------------------------------------------------------------
// Lens flare: the host draws it into its stored frame, cleared to black first, so what
// the host holds afterwards is the flare alone; that is added to the picture as light.
// The stored frame is put back before anything else happens, and put back as well when
// a call on the way fails.

Plane CopyOfView(ConstPlaneView v) {
  Plane p = Plane::Uninitialized(v.width, v.height);
  for (int32_t y = 0; y <= v.height; ++y) std::memcpy(p[y], v.row(y), static_cast<size_t>(v.width) + 1);
  return p;
}

class StoredFrameGuard {
 public:
  StoredFrameGuard(EffectHost& host, ConstRgbView frame)
      : host_(host), r_(CopyOfView(frame.r)), g_(CopyOfView(frame.g)), b_(CopyOfView(frame.b)) {}
  StoredFrameGuard(const StoredFrameGuard&) = delete;
  StoredFrameGuard& operator=(const StoredFrameGuard&) = delete;

  // Puts the frame back; a failure is reported (and the destructor tries again).
  void Restore() {
    host_.tes_setrbuffer(r_);
    host_.tes_setgbuffer(g_);
    host_.tes_setbbuffer(b_);
    restored_ = true;
  }
  ~StoredFrameGuard() {
    if (restored_) return;
    // Unwinding from a failed call: each plane on its own, so one refusal does not keep
    // the others from being put back. The first failure is the one that gets reported.
    try { host_.tes_setrbuffer(r_); } catch (...) {}
    try { host_.tes_setgbuffer(g_); } catch (...) {}
    try { host_.tes_setbbuffer(b_); } catch (...) {}
  }

 private:
  EffectHost& host_;
  Plane r_, g_, b_;
  bool restored_ = false;
};

void RequireFlareSize(const Plane& p, int32_t width, int32_t height) {
  if (p.width() != width || p.height() != height)
    Fail(ErrorKind::BadData, "the host drew its lens flare on a " + std::to_string(p.width()) + "x" +
                                 std::to_string(p.height()) + " frame, but it reports frames of " +
                                 std::to_string(width) + "x" + std::to_string(height));
}

void AddLightRow(uint8_t* __restrict out, const uint8_t* __restrict frame, const uint8_t* __restrict light,
                 int32_t n) {
  for (int32_t x = 0; x < n; ++x) out[x] = static_cast<uint8_t>(std::min(255, frame[x] + light[x]));
}

void FxLensFlare(EffectFrame& f, float x_percent, float y_percent, float level) {
  if (!(level > 0.0f) || f.width <= 0 || f.height <= 0) return;
  EffectHost& host = *f.host_calls;
  const float x = x_percent / 100.0f * static_cast<float>(f.width);
  const float y = y_percent / 100.0f * static_cast<float>(f.height);
  const double cx = (f.width - 1) / 2.0, cy = (f.height - 1) / 2.0;
  const float angle = static_cast<float>(-std::atan2(y - cy, x - cx) * 180.0 / M_PI);
  Plane flare[3];
  {
    StoredFrameGuard guard(host, f.host.rgb());
    host.tes_clearbuffer(0, 0, 0);
    host.Tes_RenderLensFlare(level / 10.0f, x, y, angle, 255, 255, 0);
    flare[0] = host.Tes_GetRBuffer();
    flare[1] = host.Tes_GetGBuffer();
    flare[2] = host.Tes_GetBBuffer();
    guard.Restore();
  }
  for (const Plane& p : flare) RequireFlareSize(p, f.width, f.height);
  const ConstPlaneView from[3] = {f.host.r, f.host.g, f.host.b};
  const PlaneView to[3] = {f.work.r, f.work.g, f.work.b};
  ForEachFrameRow(f.width, f.height, 3, [&](int32_t y0, int32_t y1) {
    for (int32_t row = y0; row < y1; ++row)
      for (size_t c = 0; c < 3; ++c) AddLightRow(to[c].row(row), from[c].row(row), flare[c][row], f.width);
  });
}

// ---------------------------------------------------------------------------------------
// Apply current paper: the host's paper, tiled from the frame's origin, as a relief lit
// from the upper left: e = h(x - 1, y - 1) - h(x + 1, y + 1) (wrapping around the tile)
// multiplies each channel by 1 + (Amount / 64) e / 255, so black stays black and a flat
// paper changes nothing.

void ScaleRow(uint8_t* __restrict out, const uint8_t* __restrict in, const float* __restrict gain_row,
              const int32_t* __restrict column, int32_t n) {
  for (int32_t x = 0; x < n; ++x) out[x] = RoundToByteF(in[x] * gain_row[column[x]]);
}

void FxApplyCurrentPaper(EffectFrame& f, float amount) {
  if (amount == 0.0f || !std::isfinite(amount) || f.width <= 0 || f.height <= 0) return;
  EffectHost& host = *f.host_calls;
  const int32_t pw = host.Tes_GetPaperWidth(), ph = host.Tes_GetPaperHeight();
  if (pw <= 0 || ph <= 0) return;  // no paper
  const Plane paper = host.tes_GetBump();
  if (paper.width() != pw || paper.height() != ph)
    Fail(ErrorKind::BadData, "the host's paper plane is " + std::to_string(paper.width()) + "x" +
                                 std::to_string(paper.height()) + ", but it reports a paper of " + std::to_string(pw) +
                                 "x" + std::to_string(ph));
  // The gain of every paper texel, once per call.
  std::vector<float> gain(static_cast<size_t>(pw) * static_cast<size_t>(ph));
  const float k = amount / (64.0f * 255.0f);
  for (int32_t y = 0; y < ph; ++y)
    for (int32_t x = 0; x < pw; ++x) {
      const int32_t relief = paper[(y + ph - 1) % ph][(x + pw - 1) % pw] - paper[(y + 1) % ph][(x + 1) % pw];
      gain[static_cast<size_t>(y) * static_cast<size_t>(pw) + static_cast<size_t>(x)] = 1.0f + k * relief;
    }
  std::vector<int32_t> column(static_cast<size_t>(f.width));
  for (int32_t x = 0; x < f.width; ++x) column[static_cast<size_t>(x)] = x % pw;
  const ConstPlaneView from[3] = {f.host.r, f.host.g, f.host.b};
  const PlaneView to[3] = {f.work.r, f.work.g, f.work.b};
  ForEachFrameRow(f.width, f.height, 3, [&](int32_t y0, int32_t y1) {
    for (int32_t y = y0; y < y1; ++y) {
      const float* gain_row = gain.data() + static_cast<size_t>(y % ph) * static_cast<size_t>(pw);
      for (size_t c = 0; c < 3; ++c) ScaleRow(to[c].row(y), from[c].row(y), gain_row, column.data(), f.width);
    }
  });
}

// ---------------------------------------------------------------------------------------
// Sobel edge detect: the edge strength of the picture's grey, white on black.

void FxSobelEdgeDetect(EffectFrame& f) {
  if (f.width <= 0 || f.height <= 0) return;
  Plane grey = Plane::Uninitialized(f.width, f.height);
  ForEachFrameRow(f.width, f.height, 1, [&](int32_t y0, int32_t y1) {
    for (int32_t y = y0; y < y1; ++y) {
      const uint8_t *r = f.host.r.row(y), *g = f.host.g.row(y), *b = f.host.b.row(y);
      uint8_t* out = grey[y];
      for (int32_t x = 0; x < f.width; ++x) out[x] = Luma(r[x], g[x], b[x]);
    }
  });
  SobelMagnitude(f.work.r, grey.view());
  ForEachFrameRow(f.width, f.height, 2, [&](int32_t y0, int32_t y1) {
    for (int32_t y = y0; y < y1; ++y) {
      std::memcpy(f.work.g.row(y), f.work.r.row(y), static_cast<size_t>(f.width));
      std::memcpy(f.work.b.row(y), f.work.r.row(y), static_cast<size_t>(f.width));
    }
  });
}

// ---------------------------------------------------------------------------------------
// Digital photo enhance, in luma and chroma (full-range BT.601): the detail that an
// edge-preserving smoothing (the guided filter of the luma by itself) takes away is added
// back up to twice (Detail enhance), and each chroma channel is replaced by up to its own
// edge-preserving smoothing (Color smooth): variations of a few levels (colour noise) are
// flattened, colour edges stay where they are. Guiding the chroma by the luma instead
// lets colour run across edges between colours of equal luma, which flat-coloured
// animation frames are full of. The window grows with the frame height.
//
// Chroma is written as differences that are exactly 0 for a grey pixel, so greys stay
// grey to the last bit.

// Variations well above this many levels count as edges and are kept; those well below are
// smoothed (the guided filter's regularisation is its square).
constexpr float kEdgeLevel = 0.04f * 255.0f;

struct YccPlanes {
  std::unique_ptr<float[]> y, cb, cr;
};

YccPlanes ToYcc(const EffectFrame& f) {
  const size_t n = static_cast<size_t>(f.width) * static_cast<size_t>(f.height);
  YccPlanes p{std::make_unique_for_overwrite<float[]>(n), std::make_unique_for_overwrite<float[]>(n),
              std::make_unique_for_overwrite<float[]>(n)};
  ForEachFrameRow(f.width, f.height, 3, [&](int32_t y0, int32_t y1) {
    for (int32_t row = y0; row < y1; ++row) {
      const uint8_t *r = f.host.r.row(row), *g = f.host.g.row(row), *b = f.host.b.row(row);
      const size_t at = static_cast<size_t>(row) * static_cast<size_t>(f.width);
      float *y = p.y.get() + at, *cb = p.cb.get() + at, *cr = p.cr.get() + at;
      for (int32_t x = 0; x < f.width; ++x) {
        const float R = r[x], G = g[x], B = b[x];
        y[x] = 0.299f * R + 0.587f * G + 0.114f * B;
        cb[x] = 0.5f * (B - G) + 0.168736f * (G - R);
        cr[x] = 0.5f * (R - G) + 0.081312f * (G - B);
      }
    }
  });
  return p;
}

void FxDigitalPhotoEnhance(EffectFrame& f, float detail, float smooth) {
  if ((detail == 0.0f && smooth == 0.0f) || f.width <= 0 || f.height <= 0) return;
  const int32_t w = f.width, h = f.height;
  const int32_t radius = std::max(2, RoundHalfEven(h / 270.0));
  YccPlanes ycc = ToYcc(f);
  // Each plane in place: the luma less Detail / 255 times its smoothing's change (so the
  // detail the smoothing takes away is added), each chroma plane moved Smooth / 255 of the
  // way to its smoothing. The chroma's window fits are made on blocks of half its radius
  // (the fast form of the filter, a sixteenth of the work at 1080 lines); the luma's on
  // every pixel, since the fast form blends the fits of both sides of a strong edge into
  // the pixels beside it, which the detail gain would turn into a rim.
  auto smooth_in_place = [&](float* plane, int32_t window, int32_t step, float strength) {
    const ConstFloatPlane in[] = {{plane, w, h}};
    const FloatPlane out[] = {{plane, w, h}};
    GuidedFilter(out, in[0], in, window, kEdgeLevel * kEdgeLevel, step, strength);
  };
  if (detail != 0.0f) smooth_in_place(ycc.y.get(), radius, 1, -detail / 255.0f);
  if (smooth != 0.0f) {
    smooth_in_place(ycc.cb.get(), 2 * radius, radius, smooth / 255.0f);
    smooth_in_place(ycc.cr.get(), 2 * radius, radius, smooth / 255.0f);
  }
  ForEachFrameRow(w, h, 3, [&](int32_t y0, int32_t y1) {
    for (int32_t row = y0; row < y1; ++row) {
      const size_t at = static_cast<size_t>(row) * static_cast<size_t>(w);
      const float *y = ycc.y.get() + at, *cb = ycc.cb.get() + at, *cr = ycc.cr.get() + at;
      uint8_t *r = f.work.r.row(row), *g = f.work.g.row(row), *b = f.work.b.row(row);
      for (int32_t x = 0; x < w; ++x) {
        r[x] = RoundToByteF(y[x] + 1.402f * cr[x]);
        g[x] = RoundToByteF(y[x] - 0.344136f * cb[x] - 0.714136f * cr[x]);
        b[x] = RoundToByteF(y[x] + 1.772f * cb[x]);
      }
    }
  });
}

// ---------------------------------------------------------------------------------------

std::vector<SliderSpec> PerlinSliders() {
  return {SliderMaxFirst("Iterations", 1, 8, 4), SliderMaxFirst("Scale", 1, 10, 2), SliderMaxFirst("Speed", 0, 100, 10),
          SliderMaxFirst("Type", 0, 3, 0), SliderMaxFirst("Phase", 0, 255, 128)};
}

std::vector<SliderSpec> ColorPerlinSliders() {
  std::vector<SliderSpec> s = PerlinSliders();
  s.push_back(SliderMaxFirst("Offset", 0, 255, 200));
  return s;
}

}  // namespace

std::span<const EffectDef> GenerativeEffects() {
  static const EffectDef effects[] = {
      {.name = "8 bit ordered dither",
       .category = "Color",
       .description = "A 256-colour palette with a fine regular pattern in place of banding",
       .run = [](EffectFrame& f, const EffectParams&) { FxDither8Ordered(f); }},
      {.name = "8 bit random dither",
       .category = "Color",
       .description = "A 256-colour palette with a fine random speckle that changes every frame",
       .run = [](EffectFrame& f, const EffectParams&) { FxDither8Random(f); }},
      {.name = "1 bit ordered dither",
       .category = "Color",
       .description = "Black and white with a regular cross-hatch for the greys",
       .run = [](EffectFrame& f, const EffectParams&) { FxDither1Ordered(f); }},
      {.name = "1 bit random dither",
       .category = "Color",
       .description = "Black and white noise dither that changes every frame",
       .run = [](EffectFrame& f, const EffectParams&) { FxDither1Random(f); }},
      {.name = "Digital photo enhance",
       .category = "Sharpen",
       .sliders = {Slider("Detail enhance", 0, 255, 255), Slider("Color smooth", 0, 255, 255)},
       .description = "Brings out detail and smooths colour noise while keeping edges",
       .run = [](EffectFrame& f, const EffectParams& p) { FxDigitalPhotoEnhance(f, p[0], p[1]); }},
      {.name = "Sobel edge detect",
       .category = "Convolve",
       .description = "The strength of the picture's edges, bright on black",
       .run = [](EffectFrame& f, const EffectParams&) { FxSobelEdgeDetect(f); }},
      {.name = "Film grain",
       .category = "Noise",
       .sliders = {Slider("Red level", 0, 255, 15), Slider("Green level", 0, 255, 20), Slider("Blue level", 0, 255, 64),
                   Slider("Grain scale", 10, 100, 18)},
       .description = "Fine organic grain per channel that changes every frame, strongest in the midtones",
       .run = [](EffectFrame& f, const EffectParams& p) { FxFilmGrain(f, p[0], p[1], p[2], p[3]); }},
      {.name = "Apply current paper",
       .category = "Artistic",
       .sliders = {Slider("Amount", 0, 255, 20)},
       .inputs = kHostPaper,
       .description = "The picture as if painted on the host's paper, its grain lit from the upper left",
       .run = [](EffectFrame& f, const EffectParams& p) { FxApplyCurrentPaper(f, p[0]); }},
      {.name = "Perlin noise",
       .category = "Animated",
       .sliders = PerlinSliders(),
       .description = "Softly billowing grey clouds, smoke, veins or marble that change over time",
       .run =
           [](EffectFrame& f, const EffectParams& p) {
             FxPerlinNoise(f, RoundHalfEven(p[0]), RoundHalfEven(p[1]), RoundHalfEven(p[2]), RoundHalfEven(p[3]),
                           RoundHalfEven(p[4]));
           }},
      {.name = "Color perlin noise",
       .category = "Animated",
       .sliders = ColorPerlinSliders(),
       .description = "Noise clouds in drifting colours",
       .run =
           [](EffectFrame& f, const EffectParams& p) {
             FxColorPerlinNoise(f, RoundHalfEven(p[0]), RoundHalfEven(p[1]), RoundHalfEven(p[2]), RoundHalfEven(p[3]),
                                RoundHalfEven(p[4]), RoundHalfEven(p[5]));
           }},
      {.name = "Snowfall",
       .category = "Animated",
       .sliders = {SliderMaxFirst("Snowfall", 10, 1000, 100), Slider("Velocity", 1, 100, 10),
                   Slider("Wind speed", -100, 100, -10), Slider("Turbulence", 0, 100, 10), Slider("Size", 1, 40, 8),
                   Slider("Brighness", 1, 255, 255)},
       .description = "Snowflakes of many sizes drifting down, blown by the wind",
       .run =
           [](EffectFrame& f, const EffectParams& p) {
             FxSnowfall(f, p[0], p[1], p[2], p[3], p[4], RoundHalfEven(p[5]));
           }},
      {.name = "Old film",
       .category = "Animated",
       .sliders = {SliderMaxFirst("Effect level", 0, 255, 128)},
       .description = "Worn cinema film: sepia, flicker, weave, grain, dust and scratches",
       .run = [](EffectFrame& f, const EffectParams& p) { FxOldFilm(f, static_cast<float>(RoundHalfEven(p[0]))); }},
      {.name = "Lens flare",
       .category = "Animated",
       .sliders = {SliderMaxFirst("X position", 0, 100, 25), SliderMaxFirst("Y position", 0, 100, 25),
                   SliderMaxFirst("Level", 0, 2000, 1000)},
       .inputs = kHostDrawing,
       .pick = PickKind::Position,
       .on_select = [](EffectHost& host) { host.Tes_FlareSettings(); },
       .description = "A camera lens flare drawn by the host at the chosen spot; click to place it",
       .run = [](EffectFrame& f, const EffectParams& p) { FxLensFlare(f, p[0], p[1], p[2]); }},
  };
  return effects;
}

}  // namespace tessfx
