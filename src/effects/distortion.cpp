// Transforms, lenses, the globe, waves and breezes, the wireframe, light rays and wet paint.
//
// Geometry: the centre of pixel (x, y) is the point (x, y), and the frame's centre is
// ((width - 1) / 2, (height - 1) / 2), so that mirroring the frame mirrors every map
// exactly. Maps that are symmetric about the centre compute offsets from it in whole
// 1/256 pixels and apply them with either sign, which keeps that symmetry in the bytes.
#include <algorithm>
#include <cmath>
#include <numbers>
#include <string>
#include <vector>

#include "core/convert.h"
#include "core/error.h"
#include "effects/families.h"
#include "filters/breeze.h"
#include "filters/counter_random.h"
#include "filters/lines.h"
#include "filters/parallel.h"
#include "filters/rays.h"
#include "filters/sampler.h"

namespace tessfx {
namespace {

constexpr double kPi = std::numbers::pi;

// An angle in degrees reduced to [0, 360), with exact cosines and sines on quarter turns
// (so that 90, 180 and 270 degrees map pixels onto pixels).
struct Turn {
  double cos = 1, sin = 0;
};
Turn TurnOf(double degrees) {
  double d = std::fmod(degrees, 360.0);
  if (d < 0) d += 360.0;
  if (!(d == d)) d = 0;  // NaN
  if (d == 0) return {1, 0};
  if (d == 90) return {0, 1};
  if (d == 180) return {-1, 0};
  if (d == 270) return {0, -1};
  const double r = d * kPi / 180.0;
  return {std::cos(r), std::sin(r)};
}

void FillBlack(RgbView work, int32_t w, int32_t h) {
  ForEachFrameRow(w, h, 3, [&](int32_t y0, int32_t y1) {
    for (int32_t y = y0; y < y1; ++y) work.ForEach([&](const PlaneView& p) { std::fill_n(p.row(y), w, uint8_t{0}); });
  });
}

// ---- Transform ----

// Moves the picture by (tx, ty) percent of the frame, scales it by `scale` percent and
// turns it clockwise by `rotate` degrees about the frame's centre, on black. Whatever
// lands on whole pixels (the defaults, whole-pixel moves, quarter turns at scale 100) is
// copied exactly.
void FxTransform(EffectFrame& f, float tx, float ty, float scale, float rotate) {
  const int32_t w = f.width, h = f.height;
  if (w <= 0 || h <= 0) return;
  const Turn t = TurnOf(rotate);
  if (tx == 0 && ty == 0 && scale == 100 && t.cos == 1) return;
  const double s = scale / 100.0;
  if (!(s >= 0.001) || !std::isfinite(tx) || !std::isfinite(ty)) return FillBlack(f.work.rgb(), w, h);
  // The output pixel p shows the source at q = c + R(-angle) (p - c - move) / s.
  const double cx = (w - 1) / 2.0, cy = (h - 1) / 2.0;
  const double mx = double{tx} * w / 100.0, my = double{ty} * h / 100.0;
  const double px = cx + mx, py = cy + my;  // where the centre goes
  AffineMap m;
  m.xx = t.cos / s;
  m.xy = t.sin / s;
  m.x0 = cx - (t.cos * px + t.sin * py) / s;
  m.yx = -t.sin / s;
  m.yy = t.cos / s;
  m.y0 = cy - (-t.sin * px + t.cos * py) / s;
  SampleAffine(f.work.rgb(), f.host.rgb(), m, SampleBorder::Black);
}

// ---- Fisheye ----

// Source radius over output radius as a function of the squared radius (both in units
// of the half diagonal), tabulated so that no pixel needs a tangent.
class RadialTable {
 public:
  static constexpr int kSteps = 8192;
  template <typename F>
  explicit RadialTable(F ratio) : values_(kSteps + 2) {
    for (int i = 0; i <= kSteps + 1; ++i)
      values_[static_cast<size_t>(i)] = static_cast<float>(ratio(std::sqrt(double(i) / kSteps)));
  }
  float operator()(float rho2) const {
    const float t = std::min(rho2, 1.0f) * kSteps;
    const int i = static_cast<int>(t);
    const float a = values_[static_cast<size_t>(i)], b = values_[static_cast<size_t>(i) + 1];
    return a + (b - a) * (t - static_cast<float>(i));
  }

 private:
  std::vector<float> values_;
};

// Positive amounts bulge the centre out as through a fisheye lens (straight lines bow
// outward), negative amounts pinch it in; the circle through the corners stays where it
// is. Pinching pulls the edges' middles in from beyond the frame, which shows black.
void FxFisheye(EffectFrame& f, float amount) {
  const int32_t w = f.width, h = f.height;
  if (amount == 0 || !std::isfinite(amount) || w <= 0 || h <= 0) return;
  const double s = std::clamp(double{amount} / 100.0, -1.0, 1.0);
  const double radius = std::hypot(w - 1.0, h - 1.0) / 2.0;
  if (radius <= 0) return;
  // At the squared radius r2 the output radius rho = sqrt(r2) shows the source radius
  // tan(a rho) / tan(a) (bulge, a = 1.4 s) or atan(rho tan b) / b (pinch, b = -1.4 s).
  const double a = 1.4 * std::abs(s);
  const RadialTable table([&](double rho) {
    if (s > 0) return rho > 0 ? std::tan(a * rho) / (rho * std::tan(a)) : a / std::tan(a);
    return rho > 0 ? std::atan(rho * std::tan(a)) / (rho * a) : std::tan(a) / a;
  });
  const float cx = static_cast<float>((w - 1) / 2.0), cy = static_cast<float>((h - 1) / 2.0);
  const float inv_r2 = static_cast<float>(1.0 / (radius * radius));
  const int32_t cx256 = (w - 1) * (kSubpixel / 2), cy256 = (h - 1) * (kSubpixel / 2);
  SampleRows(f.work.rgb(), f.host.rgb(), SampleBorder::Black, [&](int32_t y, int32_t* qx, int32_t* qy) {
    const float dy = static_cast<float>(y) - cy;
    for (int32_t x = 0; x < w; ++x) {
      const float dx = static_cast<float>(x) - cx;
      const float g = table((dx * dx + dy * dy) * inv_r2) * kSubpixel;
      qx[x] = cx256 + static_cast<int32_t>(std::nearbyint(dx * g));
      qy[x] = cy256 + static_cast<int32_t>(std::nearbyint(dy * g));
    }
  });
}

// ---- Globe ----

// The picture wrapped onto the front half of a ball in the middle of the frame, its
// longitude across and latitude down, lit from the viewer (darker towards the rim), on
// black. The map is the same in the four quarters up to sign, so one quarter is computed.
void FxGlobe(EffectFrame& f) {
  const int32_t w = f.width, h = f.height;
  if (w <= 0 || h <= 0) return;
  const float radius = static_cast<float>(std::max(std::min(w, h) / 2.0 - 0.5, 0.5));
  const float cx = static_cast<float>((w - 1) / 2.0), cy = static_cast<float>((h - 1) / 2.0);
  const float reach2 = (radius + 0.5f) * (radius + 0.5f);
  const float across = static_cast<float>((w - 1) / kPi), down = static_cast<float>((h - 1) / kPi);
  // Quarter: columns from xm = w / 2 rightwards, rows from ym = h / 2 downwards (on odd
  // sizes these start at the centre).
  const int32_t xm = w / 2, ym = h / 2, qw = w - xm, qh = h - ym;
  struct Cell {
    int32_t dx = 0, dy = 0;  // offset of the source from the centre, 1/256 pixel
    int32_t light = 0;       // shading times the rim's coverage, 1/256
  };
  std::vector<Cell> quarter(static_cast<size_t>(qw) * static_cast<size_t>(qh));
  ForEachRowBand(0, qh, int64_t{qw} * 16, [&](int32_t j0, int32_t j1) {
    for (int32_t j = j0; j < j1; ++j)
      for (int32_t i = 0; i < qw; ++i) {
        const float dx = static_cast<float>(xm + i) - cx, dy = static_cast<float>(ym + j) - cy;
        const float r2 = dx * dx + dy * dy;
        if (r2 >= reach2) continue;  // black
        const float r = std::sqrt(r2), cover = std::min(radius - r + 0.5f, 1.0f);
        // The antialiased rim just outside the ball shows the ball's edge.
        const float k = 1.0f / std::max(radius, r);
        const float nx = dx * k, ny = dy * k, nz = std::sqrt(std::max(0.0f, 1.0f - nx * nx - ny * ny));
        Cell& c = quarter[static_cast<size_t>(j) * static_cast<size_t>(qw) + static_cast<size_t>(i)];
        c.dx = static_cast<int32_t>(std::nearbyint(std::atan2(nx, nz) * across * kSubpixel));
        c.dy = static_cast<int32_t>(std::nearbyint(std::asin(std::min(ny, 1.0f)) * down * kSubpixel));
        c.light = static_cast<int32_t>(std::nearbyint((0.3f + 0.7f * nz) * cover * kSubpixel));
      }
  });
  // Each frame column's quarter column and side, and the same for rows.
  std::vector<int32_t> qx_of(static_cast<size_t>(w)), side_x(static_cast<size_t>(w));
  for (int32_t x = 0; x < w; ++x) {
    qx_of[static_cast<size_t>(x)] = (x >= xm ? x : w - 1 - x) - xm;
    side_x[static_cast<size_t>(x)] = x >= xm ? 1 : -1;
  }
  const auto quarter_row = [&](int32_t y) {
    return quarter.data() + static_cast<size_t>((y >= ym ? y : h - 1 - y) - ym) * static_cast<size_t>(qw);
  };
  const int32_t cx256 = (w - 1) * (kSubpixel / 2), cy256 = (h - 1) * (kSubpixel / 2);
  SampleRows(f.work.rgb(), f.host.rgb(), SampleBorder::Clamp, [&](int32_t y, int32_t* qx, int32_t* qy) {
    const Cell* row = quarter_row(y);
    const int32_t side_y = y >= ym ? 1 : -1;
    for (int32_t x = 0; x < w; ++x) {
      const Cell& c = row[qx_of[static_cast<size_t>(x)]];
      qx[x] = cx256 + side_x[static_cast<size_t>(x)] * c.dx;
      qy[x] = cy256 + side_y * c.dy;
    }
  });
  ForEachFrameRow(w, h, 3, [&](int32_t y0, int32_t y1) {
    std::vector<int32_t> light(static_cast<size_t>(w));
    for (int32_t y = y0; y < y1; ++y) {
      const Cell* row = quarter_row(y);
      for (int32_t x = 0; x < w; ++x) light[static_cast<size_t>(x)] = row[qx_of[static_cast<size_t>(x)]].light;
      f.work.rgb().ForEach([&](const PlaneView& p) {
        uint8_t* d = p.row(y);
        for (int32_t x = 0; x < w; ++x) d[x] = static_cast<uint8_t>((d[x] * light[static_cast<size_t>(x)] + 128) >> 8);
      });
    }
  });
}

// ---- Wave distort ----

// Circular ripples spreading from `sources` fixed points: each moves the picture along
// its radius by the slope of its waves (as refraction through a rippled water surface),
// the amplitude chosen so that at full displacement the waves do not fold the picture.
void FxWaveDistort(EffectFrame& f, float sources, float frequency, float displacement, float speed) {
  const int32_t w = f.width, h = f.height;
  const int32_t n = std::clamp(RoundHalfEven(sources), 1, 6);
  const double amount = double{displacement} / 100.0;
  if (w <= 0 || h <= 0 || !(amount != 0) || !(frequency > 0) || !std::isfinite(amount) || !std::isfinite(speed)) return;
  const double wavelength = std::max(w, h) / double{frequency}, k = 2 * kPi / wavelength;
  const double amplitude = amount * wavelength / (2 * kPi * n);
  const double travelled = double{speed} / 10.0 * f.frame;  // pixels the crests have moved
  // Each source's displacement per pixel of distance, A cos(k (r - travelled) + phase) /
  // (r + wavelength / 4), tabulated by quarter pixels of r (the 1 / r of a radial vector
  // and the taper near the source in one factor).
  const double reach = std::hypot(double(w), double(h)) + 2;
  const size_t steps = static_cast<size_t>(std::ceil(reach * 4)) + 2;
  struct Source {
    float x, y;
    std::vector<float> by_distance;
  };
  std::vector<Source> ripples(static_cast<size_t>(n));
  for (int32_t j = 0; j < n; ++j) {
    const auto unit = [&](uint32_t lane) {
      const uint32_t bits =
          MixBits32(static_cast<uint32_t>(RandomStream::WaveDistort) ^ MixBits32(j * 0x9e3779b9U + lane));
      return (bits >> 8) / 16777216.0;
    };
    Source& s = ripples[static_cast<size_t>(j)];
    s.x = static_cast<float>((0.1 + 0.8 * unit(1)) * (w - 1));
    s.y = static_cast<float>((0.1 + 0.8 * unit(2)) * (h - 1));
    double phase = std::fmod(2 * kPi * unit(3) - k * travelled, 2 * kPi);
    s.by_distance.resize(steps);
    for (size_t i = 0; i < steps; ++i) {
      const double r = static_cast<double>(i) / 4.0;
      s.by_distance[i] = static_cast<float>(amplitude * std::cos(k * r + phase) / (r + wavelength / 4));
    }
  }
  const float last = static_cast<float>(steps - 2);
  SampleRows(f.work.rgb(), f.host.rgb(), SampleBorder::Clamp, [&](int32_t y, int32_t* qx, int32_t* qy) {
    // Per source: the distances of the row's pixels (a loop that vectorises), then the
    // table look-ups.
    std::vector<float> at(static_cast<size_t>(w)), dx(static_cast<size_t>(w)), dy(static_cast<size_t>(w));
    for (const Source& s : ripples) {
      const float oy = static_cast<float>(y) - s.y;
      for (int32_t x = 0; x < w; ++x) {
        const float ox = static_cast<float>(x) - s.x;
        at[static_cast<size_t>(x)] = std::min(std::sqrt(ox * ox + oy * oy) * 4.0f, last);
      }
      for (int32_t x = 0; x < w; ++x) {
        const float t = at[static_cast<size_t>(x)];
        const size_t i = static_cast<size_t>(t);
        const float a = s.by_distance[i], b = s.by_distance[i + 1];
        const float along = a + (b - a) * (t - static_cast<float>(i));
        dx[static_cast<size_t>(x)] += along * (static_cast<float>(x) - s.x);
        dy[static_cast<size_t>(x)] += along * oy;
      }
    }
    for (int32_t x = 0; x < w; ++x) {
      qx[x] = (x << kSubpixelBits) + static_cast<int32_t>(std::nearbyint(dx[static_cast<size_t>(x)] * kSubpixel));
      qy[x] = (y << kSubpixelBits) + static_cast<int32_t>(std::nearbyint(dy[static_cast<size_t>(x)] * kSubpixel));
    }
  });
}

// ---- The breezes ----

// The picture as a flag fastened along its left edge: waves run to the free edge,
// lifting and dropping whole columns, and the folds catch the light. Shear lifts (+) or
// drops (-) the free edge; lifted parts uncover black. Time is the frame plus the offset.
void FxWaveInBreeze(EffectFrame& f, float power, float frequency, float speed, float shear, float time_offset) {
  const int32_t w = f.width, h = f.height;
  if (w <= 0 || h <= 0 || (power == 0 && shear == 0)) return;
  const BreezeWave wave{frequency / 100.0, speed / 100.0, f.frame + double{time_offset}, 0.0};
  const double p = power / 100.0, lean = shear / 100.0;
  std::vector<int32_t> lift(static_cast<size_t>(w)), gain(static_cast<size_t>(w));
  for (int32_t x = 0; x < w; ++x) {
    const double u = w > 1 ? double(x) / (w - 1) : 0.0, phase = wave.Phase(u);
    lift[static_cast<size_t>(x)] = ToSubpixel(p * 0.08 * h * u * std::sin(phase) + lean * 0.25 * h * u);
    gain[static_cast<size_t>(x)] = RoundHalfEven(std::clamp(1 + 0.35 * p * u * std::cos(phase), 0.0, 4.0) * kSubpixel);
  }
  ShiftColumns(f.work.rgb(), f.host.rgb(), lift.data(), gain.data());
}

// The host's brush stamped with the middle of its bottom edge at (x, y) percent of the
// frame, swaying from its root as in a breeze. The time offset is a phase in degrees.
void FxWaveBrushInBreeze(EffectFrame& f, float x, float y, float power, float frequency, float speed,
                         float time_offset) {
  if (!f.host_calls) return;  // the dispatch always gives it; a caller without a host has no brush
  EffectHost& host = *f.host_calls;
  const int32_t bw = host.Tes_GetBrushWidth(), bh = host.Tes_GetBrushHeight();
  if (bw <= 0 || bh <= 0) return;
  const Plane r = host.Tes_GetBrushrBuffer(), g = host.Tes_GetBrushgBuffer(), b = host.Tes_GetBrushbBuffer(),
              a = host.Tes_GetBrushaBuffer();
  for (const Plane* p : {&r, &g, &b, &a})
    if (p->empty() || p->width() != bw || p->height() != bh)
      Fail(ErrorKind::BadData, "the host's brush planes are " + std::to_string(p->width()) + "x" +
                                   std::to_string(p->height()) + ", but it reports a brush of " + std::to_string(bw) +
                                   "x" + std::to_string(bh));
  BrushPlacement at;
  at.left = double{x} / 100.0 * f.width - bw / 2.0;
  at.top = double{y} / 100.0 * f.height - bh;
  at.sway = power / 100.0 * 0.25 * bw;
  at.wave = {frequency / 100.0, speed / 100.0, double(f.frame), time_offset / 360.0};
  StampSwayingBrush(f.work.rgb(), {r.view(), g.view(), b.view(), a.view()}, at);
}

// ---- Wireframe designer ----

// The picture as a landscape of wire: a grid every `step` pixels whose points rise
// towards the viewer with their brightness (white rises `amplitude` pixels), turned by
// heading (about the height axis), pitch (about the screen's horizontal) and bank (about
// the line of sight), seen in perspective from twice the frame's size away and magnified
// zoom / 400. Lines take the picture's colours; the surface between them hides what lies
// behind it; everything else is black.
void FxWireframeDesigner(EffectFrame& f, float amplitude, float step, float heading, float pitch, float bank,
                         float zoom) {
  const int32_t w = f.width, h = f.height;
  if (w <= 0 || h <= 0) return;
  if (!std::isfinite(zoom)) return FillBlack(f.work.rgb(), w, h);
  // At most about 4 million grid points (a 1920 x 1080 frame at step 1): on larger frames
  // the step widens rather than the memory growing without bound, lines a pixel apart being
  // a solid sheet either way.
  const int32_t finest = static_cast<int32_t>(std::ceil(std::sqrt(double(w) * h / (4 << 20))));
  const int32_t n = std::max({1, finest, RoundHalfEven(step)});
  const int32_t cols = (w - 1) / n + 1, rows = (h - 1) / n + 1;
  const double cx = (w - 1) / 2.0, cy = (h - 1) / 2.0;
  const double distance = 2.0 * std::max(w, h), magnify = zoom / 400.0;
  const Turn th = TurnOf(heading), tp = TurnOf(pitch), tb = TurnOf(bank);
  const double relief = (std::isfinite(amplitude) ? amplitude : 0.0) / 255.0;
  LineScene scene;
  scene.vertices.resize(static_cast<size_t>(cols) * static_cast<size_t>(rows));
  std::vector<uint8_t> seen(scene.vertices.size());
  ForEachRowBand(0, rows, int64_t{cols} * 8, [&](int32_t j0, int32_t j1) {
    for (int32_t j = j0; j < j1; ++j)
      for (int32_t i = 0; i < cols; ++i) {
        const int32_t px = i * n, py = j * n;
        const double red = f.host.r.row(py)[px], green = f.host.g.row(py)[px], blue = f.host.b.row(py)[px];
        const double x0 = px - cx, y0 = py - cy, z0 = (0.299 * red + 0.587 * green + 0.114 * blue) * relief;
        const double x1 = x0 * th.cos - y0 * th.sin, y1 = x0 * th.sin + y0 * th.cos;   // heading
        const double y2 = y1 * tp.cos + z0 * tp.sin, z2 = -y1 * tp.sin + z0 * tp.cos;  // pitch
        const double x3 = x1 * tb.cos - y2 * tb.sin, y3 = x1 * tb.sin + y2 * tb.cos;   // bank
        const double away = distance - z2;
        const size_t k = static_cast<size_t>(j) * static_cast<size_t>(cols) + static_cast<size_t>(i);
        seen[k] = away >= 0.1 * distance;  // points this close to the eye (or behind it) are left out
        if (!seen[k]) continue;
        const double scale = magnify * distance / away;
        scene.vertices[k] = {static_cast<float>(cx + scale * x3), static_cast<float>(cy + scale * y3),
                             static_cast<float>(1.0 / away),      static_cast<float>(red),
                             static_cast<float>(green),           static_cast<float>(blue)};
      }
  });
  const auto id = [&](int32_t i, int32_t j) { return static_cast<uint32_t>(j * cols + i); };
  for (int32_t j = 0; j < rows; ++j)
    for (int32_t i = 0; i < cols; ++i) {
      const uint32_t v = id(i, j);
      if (!seen[v]) continue;
      if (i + 1 < cols && seen[id(i + 1, j)]) scene.lines.push_back({v, id(i + 1, j)});
      if (j + 1 < rows && seen[id(i, j + 1)]) scene.lines.push_back({v, id(i, j + 1)});
      if (i + 1 < cols && j + 1 < rows && seen[id(i + 1, j)] && seen[id(i, j + 1)]) {
        scene.surfaces.push_back({v, id(i + 1, j), id(i, j + 1)});
        if (seen[id(i + 1, j + 1)]) scene.surfaces.push_back({id(i + 1, j), id(i + 1, j + 1), id(i, j + 1)});
      }
    }
  scene.tolerance = static_cast<float>(1.5 * n);
  DrawLineScene(f.work.rgb(), scene);
}

// ---- Light and shadow rays ----

// Beams streaming from the bright (or dark) parts of the picture away from the centre at
// (cx, cy) percent of the frame, `factor` percent of the way to it long, with
// max(2, quality / 2) samples along each ray.
void FxRays(EffectFrame& f, RaySource source, float cx, float cy, float factor, float quality) {
  if (f.width <= 0 || f.height <= 0 || !std::isfinite(cx) || !std::isfinite(cy) || !std::isfinite(factor)) return;
  RayImage rays = ExtractRaySource(f.host.rgb(), source);
  RaySettings s;
  s.centre_x = double{cx} / 100.0 * f.width;
  s.centre_y = double{cy} / 100.0 * f.height;
  s.length = std::clamp(double{factor} / 100.0, 0.0, 1.0);
  s.samples = std::clamp(RoundHalfEven(quality / 2.0), 2, 1000);
  AccumulateRays(rays, s);
  ApplyRays(f.work.rgb(), f.host.rgb(), rays, source);
}

// ---- Wet paint ----

// Fresh paint running down (up for negative amounts) in streaks of different lengths,
// up to |amount| pixels, each column smeared along the flow by an exponential trail, the
// lip of each run glossed by how much brighter the paint above it is than below.
// One row of a strip in flow order: each column's trail takes (1 - keep) of the way to
// the new sample; the result is stored and its share of the luma added.
void SmearRow(const uint8_t* __restrict sample, const float* __restrict keep, float* __restrict trail,
              uint8_t* __restrict out, float* __restrict luma, float weight, int32_t n) {
  for (int32_t i = 0; i < n; ++i) {
    const float t = trail[i] + (1.0f - keep[i]) * (static_cast<float>(sample[i]) - trail[i]);
    const float v = std::min(std::max(std::nearbyint(t), 0.0f), 255.0f);  // FiniteToByteF, kept as a float
    trail[i] = t;
    out[i] = static_cast<uint8_t>(v);
    luma[i] += weight * v;
  }
}

// The lip's gloss: lighter by `gloss` times how much brighter the paint behind is than
// the paint ahead.
void GlossRow(uint8_t* __restrict out, const float* __restrict behind, const float* __restrict ahead, float gloss,
              int32_t n) {
  for (int32_t i = 0; i < n; ++i)
    out[i] = FiniteToByteF(static_cast<float>(out[i]) + gloss * std::max(0.0f, behind[i] - ahead[i]));
}

void FxWetPaint(EffectFrame& f, float amount) {
  const int32_t w = f.width, h = f.height;
  const double length = std::abs(double{amount});
  if (w <= 0 || h <= 0 || !(length > 0) || !std::isfinite(length)) return;
  const bool down = amount > 0;
  // Run length by column: value noise over cells of 6 columns, the same in every frame.
  std::vector<float> keep(static_cast<size_t>(w));
  const auto cell = [](int32_t c) {
    return (MixBits32(static_cast<uint32_t>(RandomStream::WetPaint) ^
                      MixBits32(static_cast<uint32_t>(c) * 0x85ebca6bU)) >>
            8) /
           16777216.0;
  };
  for (int32_t x = 0; x < w; ++x) {
    const double t = (x % 3) / 3.0, smooth = t * t * (3 - 2 * t);
    const double m = cell(x / 3) + (cell(x / 3 + 1) - cell(x / 3)) * smooth;
    keep[static_cast<size_t>(x)] = static_cast<float>(std::exp(-1.0 / std::max(0.05, length * m * m * m)));
  }
  const float gloss = static_cast<float>(0.5 * length / 64.0);
  constexpr int32_t kStrip = 64;
  const int32_t strips = (w + kStrip - 1) / kStrip;
  const std::array<ConstPlaneView, 3> in = {f.host.r, f.host.g, f.host.b};
  const std::array<PlaneView, 3> out = {f.work.r, f.work.g, f.work.b};
  // Columns are independent: strips of columns run in parallel, rows in flow order.
  ForEachRowBand(0, strips, int64_t{kStrip} * h * 3, [&](int32_t s0, int32_t s1) {
    std::vector<float> trail(3 * kStrip), luma(static_cast<size_t>(kStrip) * static_cast<size_t>(h));
    for (int32_t s = s0; s < s1; ++s) {
      const int32_t x0 = s * kStrip, n = std::min(kStrip, w - x0);
      const float* a = keep.data() + x0;
      for (int32_t k = 0; k < h; ++k) {
        const int32_t y = down ? k : h - 1 - k;
        float* lrow = luma.data() + static_cast<size_t>(y) * kStrip;
        std::fill_n(lrow, n, 0.0f);
        for (size_t c = 0; c < 3; ++c) {
          const uint8_t* src = in[c].row(y) + x0;
          uint8_t* dst = out[c].row(y) + x0;
          float* t = trail.data() + c * kStrip;
          const float weight = c == 0 ? 0.299f : (c == 1 ? 0.587f : 0.114f);
          if (k == 0)
            for (int32_t i = 0; i < n; ++i) t[i] = src[i];
          SmearRow(src, a, t, dst, lrow, weight, n);
        }
      }
      if (gloss <= 0) continue;
      for (int32_t y = 0; y < h; ++y) {
        const int32_t behind = std::clamp(down ? y - 1 : y + 1, 0, h - 1),
                      ahead = std::clamp(down ? y + 1 : y - 1, 0, h - 1);
        const float* lb = luma.data() + static_cast<size_t>(behind) * kStrip;
        const float* la = luma.data() + static_cast<size_t>(ahead) * kStrip;
        for (size_t c = 0; c < 3; ++c) GlossRow(out[c].row(y) + x0, lb, la, gloss, n);
      }
    }
  });
}

std::vector<SliderSpec> RaySliders() {
  return {Slider("Center X", 0, 100, 50), Slider("Center y", 0, 100, 50), Slider("Factor", 1, 100, 20),
          Slider("Quality", 1, 200, 50)};
}

}  // namespace

std::span<const EffectDef> DistortionEffects() {
  static const EffectDef effects[] = {
      {.name = "Mystic vision",
       .category = "Blur",
       .sliders = RaySliders(),
       .pick = PickKind::Position,
       .pointer = PointerKind::Sizing,
       .description = "Beams of light stream from the bright parts, outward from the centre; drag to place it",
       .run = [](EffectFrame& f, const EffectParams& p) { FxRays(f, RaySource::Bright, p[0], p[1], p[2], p[3]); }},
      {.name = "Shadow vision",
       .category = "Blur",
       .sliders = RaySliders(),
       .pick = PickKind::Position,
       .pointer = PointerKind::Sizing,
       .description = "Dark streaks stream from the dark parts, outward from the centre; drag to place it",
       .run = [](EffectFrame& f, const EffectParams& p) { FxRays(f, RaySource::Dark, p[0], p[1], p[2], p[3]); }},
      {.name = "Fisheye",
       .category = "Photographic",
       .sliders = {Slider("Fisheye", -100, 100, 50)},
       .description = "Bulges the centre as a fisheye lens (positive) or pinches it (negative)",
       .run = [](EffectFrame& f, const EffectParams& p) { FxFisheye(f, p[0]); }},
      {.name = "Transform",
       .category = "Transform",
       .sliders = {Slider("Translate x", -200, 200, 0), Slider("Translate y", -200, 200, 0),
                   Slider("Scale", 0, 200, 100), Slider("Rotate", 0, 360, 0)},
       .pick = PickKind::Translate,
       .pointer = PointerKind::Sizing,
       .description = "Moves, scales and turns the picture about its centre; drag to move it",
       .run = [](EffectFrame& f, const EffectParams& p) { FxTransform(f, p[0], p[1], p[2], p[3]); }},
      {.name = "Wireframe designer",
       .category = "Transform",
       .sliders = {SliderMaxFirst("Amplitude", 1, 255, 40), Slider("Sample step", 1, 25, 5),
                   Slider("Heading", 0, 360, 0), Slider("Pitch", 0, 360, 350), Slider("Bank", 0, 360, 0),
                   Slider("zoom factor", 120, 1000, 400)},
       .pick = PickKind::Rotate,
       .pointer = PointerKind::Sizing,
       .description = "The picture as a 3-D wire mesh rising with brightness; drag to turn it",
       .run = [](EffectFrame& f,
                 const EffectParams& p) { FxWireframeDesigner(f, p[0], p[1], p[2], p[3], p[4], p[5]); }},
      {.name = "Globe",
       .category = "Transform",
       .description = "The picture wrapped onto a ball on black",
       .run = [](EffectFrame& f, const EffectParams&) { FxGlobe(f); }},
      {.name = "Wave distort",
       .category = "Transform",
       .sliders = {SliderMaxFirst("Wave sources", 1, 6, 3), Slider("Frequency", 1, 100, 5),
                   Slider("Displacement", 0, 100, 20), Slider("Wave speed", 0, 100, 50)},
       .description = "Circular ripples spreading from a few points and wobbling the picture",
       .run = [](EffectFrame& f, const EffectParams& p) { FxWaveDistort(f, p[0], p[1], p[2], p[3]); }},
      {.name = "Wave in breeze",
       .category = "Transform",
       .sliders = {SliderMaxFirst("Power", 0, 100, 40), SliderMaxFirst("Frequency", 0, 1000, 100),
                   SliderMaxFirst("Speed", 0, 50, 10), SliderMaxFirst("Shear", -100, 100, 0),
                   SliderMaxFirst("Time offset", 0, 45, 0)},
       .description = "The picture ripples like a flag fastened along its left edge",
       .run = [](EffectFrame& f, const EffectParams& p) { FxWaveInBreeze(f, p[0], p[1], p[2], p[3], p[4]); }},
      {.name = "Wet paint",
       .category = "Artistic",
       .sliders = {Slider("Wet paint", -64, 64, 20)},
       .description = "Colours run down in streaks as fresh paint (upward for negative values)",
       .run = [](EffectFrame& f, const EffectParams& p) { FxWetPaint(f, p[0]); }},
      {.name = "Wave brush in breeze",
       .category = "Brush",
       .sliders = {Slider("X position", -100, 200, 50), Slider("Y position", -100, 200, 50),
                   SliderMaxFirst("Power", 0, 100, 40), SliderMaxFirst("Frequency", 0, 1000, 100),
                   SliderMaxFirst("Speed", 0, 50, 10), SliderMaxFirst("Time offset", 0, 360, 0)},
       .inputs = kHostBrush,
       .pick = PickKind::Position,
       .description = "The host's brush stamped at the chosen place, swaying in a breeze; click to place it",
       .run = [](EffectFrame& f,
                 const EffectParams& p) { FxWaveBrushInBreeze(f, p[0], p[1], p[2], p[3], p[4], p[5]); }},
  };
  return effects;
}

}  // namespace tessfx
