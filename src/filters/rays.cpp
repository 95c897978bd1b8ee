#include "filters/rays.h"

#include <algorithm>
#include <cmath>

#include "core/convert.h"
#include "filters/parallel.h"

namespace tessfx {
namespace {

using Px = std::array<float, 4>;

// The half-size image's coordinate of a frame coordinate: half-size pixel i covers frame
// pixels 2i and 2i + 1, so its centre is at 2i + 0.5.
inline float HalfCoordinate(double frame) { return static_cast<float>((frame - 0.5) / 2.0); }

// Row `y` of the image at the fractional row v (clamped into the image): rows floor(v) and
// the next mixed, with the last pixel repeated once more at the end for the right
// neighbour of the last column.
void BlendRows(const RayImage& im, float v, Px* out) {
  v = std::clamp(v, 0.0f, static_cast<float>(im.height - 1));
  const int32_t y0 = static_cast<int32_t>(v), y1 = std::min(y0 + 1, im.height - 1);
  const float t = v - static_cast<float>(y0);
  const Px* a = im.row(y0);
  const Px* b = im.row(y1);
  for (int32_t x = 0; x < im.width; ++x)
    for (size_t c = 0; c < 4; ++c) out[x][c] = a[x][c] + (b[x][c] - a[x][c]) * t;
  out[im.width] = out[im.width - 1];
}

// One pass: each pixel the weighted mean of `weights.size()` samples spaced `step` (a
// share of the distance to the centre) apart on its way towards the centre. The sample at
// the share t of the way from (x, y) lies at (x (1 - t) + cu t, y (1 - t) + cv t): for one
// row and one tap its row is fixed and its column steps evenly, so each tap reads one
// blended pair of rows along a fixed-point ramp.
void RayPass(const RayImage& in, RayImage& out, float cu, float cv, float step, const std::vector<float>& weights) {
  const int32_t w = in.width, h = in.height;
  const size_t taps = weights.size();
  const int64_t last = int64_t{w - 1} << 16;
  ForEachFrameRow(w, h, 3 * static_cast<int64_t>(taps) * 2, [&](int32_t r0, int32_t r1) {
    std::vector<Px> blended(static_cast<size_t>(w) + 1);
    for (int32_t y = r0; y < r1; ++y) {
      Px* d = out.row(y);
      std::fill_n(d, w, Px{});
      for (size_t i = 0; i < taps; ++i) {
        const float t = step * static_cast<float>(i);
        BlendRows(in, static_cast<float>(y) + (cv - static_cast<float>(y)) * t, blended.data());
        const int64_t start = static_cast<int64_t>(std::nearbyint(static_cast<double>(cu) * t * 65536.0));
        const int64_t stride = static_cast<int64_t>(std::nearbyint((1.0 - static_cast<double>(t)) * 65536.0));
        const float weight = weights[i];
        for (int32_t x = 0; x < w; ++x) {
          const int64_t p = std::clamp<int64_t>(start + x * stride, 0, last);
          const Px& a = blended[static_cast<size_t>(p >> 16)];
          const Px& b = blended[static_cast<size_t>(p >> 16) + 1];
          const float f = static_cast<float>(p & 0xFFFF) * (1.0f / 65536.0f);
          for (size_t c = 0; c < 3; ++c) d[x][c] += weight * (a[c] + (b[c] - a[c]) * f);
        }
      }
    }
  });
}

// A half-size row (with its edge pixels repeated at both ends) at frame size: frame columns
// 2i and 2i + 1 lie a quarter of a half-size pixel either side of half-size pixel i's
// centre, so each takes a quarter of the neighbour on its side.
void SpreadRow(const float* __restrict line, uint8_t* __restrict out, int32_t n) {
  for (int32_t i = 0; i < n; ++i) {
    const float mid = line[i + 1];
    out[2 * i] = FiniteToByteF(mid + (line[i] - mid) * 0.25f);
    out[2 * i + 1] = FiniteToByteF(mid + (line[i + 2] - mid) * 0.25f);
  }
}

// Screen and multiply by the rays, rounded to nearest (a product over 255 never ends in a
// half, so adding 127 before the division rounds it).
void ScreenRow(const uint8_t* __restrict frame, const uint8_t* __restrict ray, uint8_t* __restrict out, int32_t n) {
  for (int32_t x = 0; x < n; ++x)
    out[x] = static_cast<uint8_t>(255 - ((255u - frame[x]) * (255u - ray[x]) + 127u) / 255u);
}
void MultiplyRow(const uint8_t* __restrict frame, const uint8_t* __restrict ray, uint8_t* __restrict out, int32_t n) {
  for (int32_t x = 0; x < n; ++x) out[x] = static_cast<uint8_t>((frame[x] * (255u - ray[x]) + 127u) / 255u);
}

}  // namespace

RayImage ExtractRaySource(ConstRgbView frame, RaySource source) {
  RayImage im;
  const int32_t fw = frame.r.width, fh = frame.r.height;
  if (fw <= 0 || fh <= 0) return im;
  im.width = (fw + 1) / 2;
  im.height = (fh + 1) / 2;
  im.pixels.resize(static_cast<size_t>(im.width) * static_cast<size_t>(im.height));
  std::array<float, 256> stream{};
  for (int32_t v = 0; v < 256; ++v)
    stream[static_cast<size_t>(v)] =
        static_cast<float>(2 * std::max(0, source == RaySource::Bright ? v - 128 : 128 - v));
  const std::array<ConstPlaneView, 3> planes = {frame.r, frame.g, frame.b};
  ForEachFrameRow(im.width, im.height, 3 * 4, [&](int32_t r0, int32_t r1) {
    for (int32_t y = r0; y < r1; ++y) {
      Px* d = im.row(y);
      const int32_t ya = 2 * y, yb = std::min(2 * y + 1, fh - 1);
      for (size_t c = 0; c < 3; ++c) {
        const uint8_t *a = planes[c].row(ya), *b = planes[c].row(yb);
        for (int32_t x = 0; x < im.width; ++x) {
          const int32_t xa = 2 * x, xb = std::min(2 * x + 1, fw - 1);
          d[x][c] = 0.25f * (stream[a[xa]] + stream[a[xb]] + stream[b[xa]] + stream[b[xb]]);
        }
      }
    }
  });
  return im;
}

void AccumulateRays(RayImage& image, const RaySettings& s) {
  if (image.width <= 0 || image.height <= 0) return;
  // `taps` per pass, `passes` passes: taps^passes >= samples, at most 8 taps per pass.
  const int64_t samples = std::max<int64_t>(s.samples, 2);
  int passes = 1;
  for (int64_t reach = 8; reach < samples; reach *= 8) ++passes;
  int64_t taps = 2, total = 0;
  for (;; ++taps) {
    total = 1;
    for (int p = 0; p < passes; ++p) total *= taps;
    if (total >= samples) break;
  }
  // Sample m of the whole ray (m = 0..total-1) lies at the share m / (total - 1) of the ray
  // and weighs exp(-falloff m / (total - 1)); pass p takes the steps taps^p apart, whose
  // weights multiply out to exactly those.
  const float cu = HalfCoordinate(s.centre_x), cv = HalfCoordinate(s.centre_y);
  const double unit = 1.0 / static_cast<double>(total - 1);
  RayImage scratch;
  scratch.width = image.width;
  scratch.height = image.height;
  scratch.pixels.resize(image.pixels.size());
  int64_t spacing = 1;
  for (int p = 0; p < passes; ++p, spacing *= taps) {
    std::vector<float> weights(static_cast<size_t>(taps));
    double sum = 0;
    for (int64_t i = 0; i < taps; ++i) sum += std::exp(-s.falloff * static_cast<double>(i * spacing) * unit);
    for (int64_t i = 0; i < taps; ++i)
      weights[static_cast<size_t>(i)] =
          static_cast<float>(std::exp(-s.falloff * static_cast<double>(i * spacing) * unit) / sum);
    RayPass(image, scratch, cu, cv, static_cast<float>(s.length * static_cast<double>(spacing) * unit), weights);
    std::swap(image.pixels, scratch.pixels);
  }
}

void ApplyRays(RgbView work, ConstRgbView host, const RayImage& rays, RaySource source) {
  const int32_t w = work.r.width, h = work.r.height, hw = rays.width;
  if (w <= 0 || h <= 0 || hw <= 0 || rays.height <= 0) return;
  const std::array<ConstPlaneView, 3> in = {host.r, host.g, host.b};
  const std::array<PlaneView, 3> out = {work.r, work.g, work.b};
  ForEachFrameRow(w, h, 3 * 2, [&](int32_t r0, int32_t r1) {
    std::vector<Px> blended(static_cast<size_t>(hw) + 1);
    std::vector<float> line(static_cast<size_t>(hw) + 2);
    std::vector<uint8_t> ray(2 * static_cast<size_t>(hw));
    for (int32_t y = r0; y < r1; ++y) {
      BlendRows(rays, HalfCoordinate(y), blended.data());
      for (size_t c = 0; c < 3; ++c) {
        // One channel with its edge pixels repeated beyond each end.
        for (int32_t i = 0; i < hw; ++i) line[static_cast<size_t>(i) + 1] = blended[static_cast<size_t>(i)][c];
        line[0] = line[1];
        line[static_cast<size_t>(hw) + 1] = line[static_cast<size_t>(hw)];
        SpreadRow(line.data(), ray.data(), hw);
        if (source == RaySource::Bright)
          ScreenRow(in[c].row(y), ray.data(), out[c].row(y), w);
        else
          MultiplyRow(in[c].row(y), ray.data(), out[c].row(y), w);
      }
    }
  });
}

}  // namespace tessfx
