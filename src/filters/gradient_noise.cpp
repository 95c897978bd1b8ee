#include "filters/gradient_noise.h"

#include <algorithm>
#include <array>
#include <cmath>

#include "core/convert.h"
#include "filters/counter_random.h"

namespace tessfx {
namespace {

// The sixteen gradients: the twelve cube edges, four of them twice, so a 4-bit hash picks
// one without a division.
constexpr float kGradX[16] = {1, -1, 1, -1, 1, -1, 1, -1, 0, 0, 0, 0, 1, 0, -1, 0};
constexpr float kGradY[16] = {1, 1, -1, -1, 0, 0, 0, 0, 1, -1, 1, -1, 1, -1, 1, -1};
constexpr float kGradZ[16] = {0, 0, 0, 0, 1, 1, -1, -1, 1, 1, -1, -1, 0, 1, 0, -1};

// A permutation of 0..255, shuffled once from the effect's stream, stored twice so that
// the corner look-ups need no wrap.
using Permutation = std::array<uint8_t, 512>;

Permutation MakePermutation() {
  std::array<uint8_t, 256> p{};
  for (int32_t i = 0; i < 256; ++i) p[static_cast<size_t>(i)] = static_cast<uint8_t>(i);
  const uint32_t stream = static_cast<uint32_t>(RandomStream::PerlinNoise);
  for (int32_t i = 255; i > 0; --i) {
    const uint32_t bits = MixBits32(stream ^ MixBits32(static_cast<uint32_t>(i) * 0x9e3779b9U));
    std::swap(p[static_cast<size_t>(i)], p[static_cast<size_t>(ScaleBits16(bits >> 16, i + 1))]);
  }
  Permutation twice{};
  for (size_t i = 0; i < 512; ++i) twice[i] = p[i & 255];
  return twice;
}

const Permutation& Perm() {
  static const Permutation p = MakePermutation();
  return p;
}

constexpr float Fade(float t) { return t * t * t * (t * (t * 6.0f - 15.0f) + 10.0f); }
constexpr double FadeD(double t) { return t * t * t * (t * (t * 6.0 - 15.0) + 10.0); }

// The lattice cell (0..255) and the position within it (0..1) of a coordinate.
struct Split {
  int32_t cell;
  double frac;
  double whole;  // the cell before wrapping
};
Split SplitCoordinate(double v) {
  const double f = std::floor(v);
  // Wrapped to the permutation's period before the conversion, so any finite v fits.
  return {static_cast<int32_t>(f - 256.0 * std::floor(f / 256.0)) & 255, v - f, f};
}

// The hashes of the eight corners of cell (cx, cy, cz), x side first:
// h[a][k] for x side a and (y, z) corner k = y + 2 z.
struct CornerHashes {
  uint8_t h[2][4];
};
CornerHashes Corners(int32_t cx, int32_t cy, int32_t cz) {
  const Permutation& p = Perm();
  const int32_t a = p[static_cast<size_t>(cx)] + cy, b = p[static_cast<size_t>(cx + 1)] + cy;
  const int32_t aa = p[static_cast<size_t>(a)] + cz, ab = p[static_cast<size_t>(a + 1)] + cz;
  const int32_t ba = p[static_cast<size_t>(b)] + cz, bb = p[static_cast<size_t>(b + 1)] + cz;
  auto at = [&p](int32_t i) { return static_cast<uint8_t>(p[static_cast<size_t>(i)] & 15); };
  return {{{at(aa), at(ab), at(aa + 1), at(ab + 1)}, {at(ba), at(bb), at(ba + 1), at(bb + 1)}}};
}

// Per-octave placement: octave 0 sits on the lattice; the others are shifted by a hashed
// amount so that the lattice points of different octaves do not line up.
double OctaveOffset(int32_t octave, uint32_t axis) {
  if (octave == 0) return 0.0;
  const uint32_t bits = MixBits32(static_cast<uint32_t>(RandomStream::PerlinNoise) ^
                                  MixBits32(static_cast<uint32_t>(octave) * 0x85ebca6bU ^ axis * 0xc2b2ae35U));
  return 256.0 * (bits >> 8) / 16777216.0;
}

// Grey levels of the combiners: the plain sum spreads over about -0.63..0.64 at 0.5 % and
// 99.5 % for any number of octaves, so 128 + 200 S fills the byte range. The turbulence
// and ridge sums spread differently for each octave count; their 0.5 % and 99.5 % points
// (measured over 1920 x 1080 frames, cells of 256 and 512 px, five times) become 0 and 255.
constexpr float kBillowGain = 200.0f;
struct Spread {
  float low, high;
};
constexpr Spread kTurbulenceSpread[8] = {{0.002f, 0.596f}, {0.023f, 0.689f}, {0.050f, 0.736f}, {0.070f, 0.759f},
                                         {0.080f, 0.770f}, {0.086f, 0.776f}, {0.089f, 0.780f}, {0.090f, 0.781f}};
constexpr Spread kRidgeSpread[8] = {{0.163f, 0.996f}, {0.244f, 0.966f}, {0.284f, 0.937f}, {0.302f, 0.919f},
                                    {0.312f, 0.911f}, {0.317f, 0.907f}, {0.319f, 0.905f}, {0.320f, 0.903f}};

void SpreadToBytes(const float* sum, uint8_t* out, int32_t n, Spread s) {
  const float gain = 255.0f / (s.high - s.low), offset = -s.low * gain;
  for (int32_t x = 0; x < n; ++x) out[x] = RoundToByteF(gain * sum[x] + offset);
}

// One period of 128 + 127 sin, sampled finely enough that linear interpolation is exact to
// a thousandth of a level.
constexpr int32_t kSineSteps = 4096;
const std::array<float, kSineSteps + 1>& MarbleSine() {
  static const auto table = [] {
    std::array<float, kSineSteps + 1> t{};
    for (int32_t i = 0; i <= kSineSteps; ++i)
      t[static_cast<size_t>(i)] = static_cast<float>(128.0 + 127.0 * std::sin(2.0 * M_PI * i / kSineSteps));
    return t;
  }();
  return table;
}

}  // namespace

float GradientNoise(double x, double y, double z) {
  const Split sx = SplitCoordinate(x), sy = SplitCoordinate(y), sz = SplitCoordinate(z);
  const CornerHashes c = Corners(sx.cell, sy.cell, sz.cell);
  double corner[2][4];
  for (int32_t a = 0; a < 2; ++a)
    for (int32_t k = 0; k < 4; ++k) {
      const uint8_t h = c.h[a][k];
      corner[a][k] = kGradX[h] * (sx.frac - a) + kGradY[h] * (sy.frac - (k & 1)) + kGradZ[h] * (sz.frac - (k >> 1));
    }
  const double u = FadeD(sx.frac), v = FadeD(sy.frac), w = FadeD(sz.frac);
  auto lerp = [](double t, double a, double b) { return a + t * (b - a); };
  const double near_z = lerp(v, lerp(u, corner[0][0], corner[1][0]), lerp(u, corner[0][1], corner[1][1]));
  const double far_z = lerp(v, lerp(u, corner[0][2], corner[1][2]), lerp(u, corner[0][3], corner[1][3]));
  return static_cast<float>(lerp(w, near_z, far_z));
}

CloudPattern::CloudPattern(int32_t width, const CloudSettings& settings) : width_(std::max(0, width)), settings_(settings) {
  const int32_t wanted = std::clamp(settings.octaves, 1, 8);
  double squares = 0.0, total = 0.0;
  for (int32_t i = 0; i < wanted; ++i) {
    const double scale = std::ldexp(1.0, i);
    Octave o;
    o.cell = settings.cell / scale;
    // The first octave always counts, however small its cell, so there is always a pattern.
    if (i > 0 && !(o.cell >= kFinestCell)) break;
    o.amplitude = static_cast<float>(1.0 / scale);
    o.offset_y = OctaveOffset(i, 1);
    const Split z = SplitCoordinate(settings.time * scale);
    o.cell_z = z.cell;
    o.fz = static_cast<float>(z.frac);
    o.fade_z = Fade(o.fz);
    const double offset_x = OctaveOffset(i, 0);
    o.fx.resize(static_cast<size_t>(width_));
    o.fade_x.resize(static_cast<size_t>(width_));
    double run_cell = -1.0;
    for (int32_t x = 0; x < width_; ++x) {
      const Split sx = SplitCoordinate(x / o.cell + offset_x);
      o.fx[static_cast<size_t>(x)] = static_cast<float>(sx.frac);
      o.fade_x[static_cast<size_t>(x)] = Fade(static_cast<float>(sx.frac));
      if (o.runs.empty() || sx.whole != run_cell)
        o.runs.push_back({x, x + 1, sx.cell});
      else
        o.runs.back().end = x + 1;
      run_cell = sx.whole;
    }
    squares += 1.0 / (scale * scale);
    total += 1.0 / scale;
    octaves_.push_back(std::move(o));
  }
  norm_ = static_cast<float>(settings.kind == CloudKind::Ridges ? 1.0 / total : 1.0 / std::sqrt(squares));
}

template <CloudKind kKind>
void CloudPattern::Accumulate(int32_t y, float* sum) const {
  std::fill(sum, sum + width_, 0.0f);
  for (const Octave& o : octaves_) {
    const Split sy = SplitCoordinate(y / o.cell + o.offset_y);
    const float fy = static_cast<float>(sy.frac), v = Fade(fy), w = o.fade_z;
    const float dy[2] = {fy, fy - 1.0f}, dz[2] = {o.fz, o.fz - 1.0f};
    // Weights of the four (y, z) corners, k = y + 2 z.
    const float weight[4] = {(1.0f - v) * (1.0f - w), v * (1.0f - w), (1.0f - v) * w, v * w};
    const float a = o.amplitude;
    for (const Run& run : o.runs) {
      const CornerHashes c = Corners(run.cell_x, sy.cell, o.cell_z);
      // The corners of each x side, blended over y and z, as linear functions of fx.
      float p0 = 0, p1 = 0, q0 = 0, q1 = 0;
      for (int32_t k = 0; k < 4; ++k) {
        const uint8_t h0 = c.h[0][k], h1 = c.h[1][k];
        const float yz0 = kGradY[h0] * dy[k & 1] + kGradZ[h0] * dz[k >> 1];
        const float yz1 = kGradY[h1] * dy[k & 1] + kGradZ[h1] * dz[k >> 1];
        p0 += weight[k] * yz0;
        p1 += weight[k] * kGradX[h0];
        q0 += weight[k] * (yz1 - kGradX[h1]);
        q1 += weight[k] * kGradX[h1];
      }
      const int32_t n = run.end - run.begin;
      const float* __restrict fx = o.fx.data() + run.begin;
      const float* __restrict ux = o.fade_x.data() + run.begin;
      float* __restrict s = sum + run.begin;
      for (int32_t i = 0; i < n; ++i) {
        const float p = p0 + p1 * fx[i];
        const float q = q0 + q1 * fx[i];
        const float noise = p + ux[i] * (q - p);
        if constexpr (kKind == CloudKind::Turbulence) {
          s[i] += a * std::fabs(noise);
        } else if constexpr (kKind == CloudKind::Ridges) {
          const float ridge = 1.0f - std::fabs(noise);
          s[i] += a * (ridge * ridge);
        } else {
          s[i] += a * noise;
        }
      }
    }
  }
  for (int32_t x = 0; x < width_; ++x) sum[x] *= norm_;
}

void CloudPattern::Sum(int32_t y, float* sum) const {
  switch (settings_.kind) {
    case CloudKind::Turbulence:
    case CloudKind::Marble: return Accumulate<CloudKind::Turbulence>(y, sum);
    case CloudKind::Ridges: return Accumulate<CloudKind::Ridges>(y, sum);
    default: return Accumulate<CloudKind::Billows>(y, sum);
  }
}

void CloudPattern::Row(int32_t y, uint8_t* out, float* sum) const {
  Sum(y, sum);
  switch (settings_.kind) {
    case CloudKind::Turbulence:
      SpreadToBytes(sum, out, width_, kTurbulenceSpread[octaves_.size() - 1]);
      break;
    case CloudKind::Ridges:
      SpreadToBytes(sum, out, width_, kRidgeSpread[octaves_.size() - 1]);
      break;
    case CloudKind::Marble: {
      // 128 + 127 sin(2 pi x / cell + 6 T), T the turbulence sum: one band per cell, bent
      // and creased by the turbulence. The angle is in turns.
      const auto& sine = MarbleSine();
      const double band = settings_.cell;
      constexpr double kBend = 6.0 / (2.0 * M_PI);
      for (int32_t x = 0; x < width_; ++x) {
        double turns = x / band + kBend * sum[x];
        turns -= std::floor(turns);
        const double at = turns * kSineSteps;
        const int32_t i = std::min(kSineSteps - 1, static_cast<int32_t>(at));
        const float t = static_cast<float>(at - i);
        const float s0 = sine[static_cast<size_t>(i)], s1 = sine[static_cast<size_t>(i + 1)];
        out[x] = RoundToByteF(s0 + t * (s1 - s0));
      }
      break;
    }
    default:
      for (int32_t x = 0; x < width_; ++x) out[x] = RoundToByteF(128.0f + kBillowGain * sum[x]);
      break;
  }
}

}  // namespace tessfx
