#include "filters/guided.h"

#include <algorithm>
#include <memory>
#include <vector>

#include "core/error.h"
#include "filters/parallel.h"

namespace tessfx {
namespace {

// A dense float plane owned here; its samples are written before they are read.
class Owned {
 public:
  Owned() = default;
  Owned(int32_t width, int32_t height)
      : data_(std::make_unique_for_overwrite<float[]>(size_t(width) * size_t(height))), width_(width), height_(height) {}
  float* get() { return data_.get(); }
  float& operator[](size_t i) { return data_[i]; }
  FloatPlane plane() { return {data_.get(), width_, height_}; }

 private:
  std::unique_ptr<float[]> data_;
  int32_t width_ = 0, height_ = 0;
};

// Running sums in single precision, each summed afresh every kResum steps so that the
// rounding of the additions and subtractions cannot build up; the schedule counts from the
// start of each row or column, so results do not depend on how the work is split.
constexpr int32_t kResum = 64;

// Rows are summed eight at a time with their samples interleaved (sample x of row j at
// x * 8 + j), so that one running sum per row advances in each vector lane. Columns are
// summed down in strips.
constexpr int32_t kRowsTogether = 8;
constexpr int32_t kColumnsTogether = 256;

void BoxRows(float* out, const float* in, int32_t width, int32_t height, int32_t radius) {
  const int32_t pad = radius + 1;
  const int32_t padded = width + 2 * pad;
  const float inv = 1.0f / static_cast<float>(2 * radius + 1);
  const int32_t groups = (height + kRowsTogether - 1) / kRowsTogether;
  ForEachRowBand(0, groups, int64_t{width} * kRowsTogether, [&](int32_t g0, int32_t g1) {
    auto lanes = std::make_unique_for_overwrite<float[]>(size_t(padded) * kRowsTogether);
    auto means = std::make_unique_for_overwrite<float[]>(size_t(width) * kRowsTogether);
    for (int32_t g = g0; g < g1; ++g) {
      const int32_t y0 = g * kRowsTogether, n = std::min(kRowsTogether, height - y0);
      // Each row with its edge samples repeated `pad` times on either side; missing rows
      // of the last group repeat its first row and are not stored.
      for (int32_t j = 0; j < kRowsTogether; ++j) {
        const float* src = in + size_t(y0 + (j < n ? j : 0)) * size_t(width);
        float* lane = lanes.get() + j;
        for (int32_t i = 0; i < pad; ++i) lane[size_t(i) * kRowsTogether] = src[0];
        for (int32_t x = 0; x < width; ++x) lane[size_t(pad + x) * kRowsTogether] = src[x];
        for (int32_t i = pad + width; i < padded; ++i) lane[size_t(i) * kRowsTogether] = src[width - 1];
      }
      float sum[kRowsTogether] = {};
      for (int32_t x = 0; x < width; ++x) {
        if (x % kResum == 0) {
          std::fill(sum, sum + kRowsTogether, 0.0f);
          for (int32_t k = -radius; k <= radius; ++k) {
            const float* at = lanes.get() + size_t(x + pad + k) * kRowsTogether;
            for (int32_t j = 0; j < kRowsTogether; ++j) sum[j] += at[j];
          }
        }
        const float* enter = lanes.get() + size_t(x + 2 * pad) * kRowsTogether;
        const float* leave = lanes.get() + size_t(x + 1) * kRowsTogether;
        float* o = means.get() + size_t(x) * kRowsTogether;
        for (int32_t j = 0; j < kRowsTogether; ++j) {
          o[j] = sum[j] * inv;
          sum[j] += enter[j] - leave[j];
        }
      }
      for (int32_t j = 0; j < n; ++j) {
        float* dst = out + size_t(y0 + j) * size_t(width);
        const float* lane = means.get() + j;
        for (int32_t x = 0; x < width; ++x) dst[x] = lane[size_t(x) * kRowsTogether];
      }
    }
  });
}

void BoxColumns(float* out, const float* in, int32_t width, int32_t height, int32_t radius) {
  const float inv = 1.0f / static_cast<float>(2 * radius + 1);
  const int32_t strips = (width + kColumnsTogether - 1) / kColumnsTogether;
  auto row = [&](int32_t y) { return in + size_t(std::clamp(y, 0, height - 1)) * size_t(width); };
  ForEachRowBand(0, strips, int64_t{height} * kColumnsTogether, [&](int32_t s0, int32_t s1) {
    float sum[kColumnsTogether] = {};
    for (int32_t s = s0; s < s1; ++s) {
      const int32_t x0 = s * kColumnsTogether, n = std::min(kColumnsTogether, width - x0);
      for (int32_t y = 0; y < height; ++y) {
        if (y % kResum == 0) {
          std::fill(sum, sum + n, 0.0f);
          for (int32_t k = -radius; k <= radius; ++k) {
            const float* src = row(y + k) + x0;
            for (int32_t c = 0; c < n; ++c) sum[c] += src[c];
          }
        }
        float* __restrict dst = out + size_t(y) * size_t(width) + size_t(x0);
        const float* __restrict enter = row(y + radius + 1) + x0;
        const float* __restrict leave = row(y - radius) + x0;
        for (int32_t c = 0; c < n; ++c) {
          dst[c] = sum[c] * inv;
          sum[c] += enter[c] - leave[c];
        }
      }
    }
  });
}

// out[i] = f(i) over the plane, in row bands.
template <typename F>
void ForEachSample(int32_t width, int32_t height, F&& f) {
  ForEachFrameRow(width, height, 1, [&](int32_t y0, int32_t y1) {
    const size_t end = size_t(y1) * size_t(width);
    for (size_t i = size_t(y0) * size_t(width); i < end; ++i) f(i);
  });
}

// out (ceil(w / step) x ceil(h / step)) = the means of the step x step blocks of `in`,
// the last row and column of blocks partial.
void BlockMeans(FloatPlane out, ConstFloatPlane in, int32_t step) {
  const int32_t w = in.width, h = in.height;
  ForEachRowBand(0, out.height, int64_t{w} * step, [&](int32_t r0, int32_t r1) {
    std::vector<double> column(static_cast<size_t>(w));
    for (int32_t r = r0; r < r1; ++r) {
      const int32_t y0 = r * step, y1 = std::min(h, y0 + step);
      std::fill(column.begin(), column.end(), 0.0);
      for (int32_t y = y0; y < y1; ++y) {
        const float* src = in.data + size_t(y) * size_t(w);
        for (int32_t x = 0; x < w; ++x) column[size_t(x)] += src[x];
      }
      float* dst = out.data + size_t(r) * size_t(out.width);
      for (int32_t c = 0; c < out.width; ++c) {
        const int32_t x0 = c * step, x1 = std::min(w, x0 + step);
        double sum = 0;
        for (int32_t x = x0; x < x1; ++x) sum += column[size_t(x)];
        dst[c] = static_cast<float>(sum / (double(x1 - x0) * (y1 - y0)));
      }
    }
  });
}

// Where sample i of a line of full-resolution samples falls among the `n` coarse samples
// of blocks of `step`: between coarse samples `lo` and `lo + 1` (clamped) at `t`.
struct Between {
  int32_t lo, hi;
  float t;
};
Between Locate(int32_t i, int32_t step, int32_t n) {
  const double at = std::clamp((i + 0.5) / step - 0.5, 0.0, double(n - 1));
  const int32_t lo = static_cast<int32_t>(at);
  return {lo, std::min(lo + 1, n - 1), static_cast<float>(at - lo)};
}

// out = p + strength (A I + B - p) with the window fits' means A and B (made at 1 / step of
// the resolution, interpolated bilinearly), the full-resolution guide I and input p. Sample
// by sample, so out may be p or I.
void ApplyFits(FloatPlane out, ConstFloatPlane guide, ConstFloatPlane input, const float* mean_a, const float* mean_b,
               int32_t step, float strength) {
  const int32_t w = guide.width, h = guide.height;
  if (step == 1) {
    ForEachSample(w, h, [&](size_t i) {
      const float p = input.data[i];
      out.data[i] = p + strength * (mean_a[i] * guide.data[i] + mean_b[i] - p);
    });
    return;
  }
  const int32_t lw = (w + step - 1) / step, lh = (h + step - 1) / step;
  std::vector<Between> across(static_cast<size_t>(w));
  for (int32_t x = 0; x < w; ++x) across[size_t(x)] = Locate(x, step, lw);
  ForEachFrameRow(w, h, 4, [&](int32_t y0, int32_t y1) {
    for (int32_t y = y0; y < y1; ++y) {
      const Between down = Locate(y, step, lh);
      const float *a0 = mean_a + size_t(down.lo) * size_t(lw), *a1 = mean_a + size_t(down.hi) * size_t(lw);
      const float *b0 = mean_b + size_t(down.lo) * size_t(lw), *b1 = mean_b + size_t(down.hi) * size_t(lw);
      const size_t row = size_t(y) * size_t(w);
      const float* I = guide.data + row;
      const float* in = input.data + row;
      float* o = out.data + row;
      for (int32_t x = 0; x < w; ++x) {
        const Between& c = across[size_t(x)];
        const float at = a0[c.lo] + c.t * (a0[c.hi] - a0[c.lo]), ab = a1[c.lo] + c.t * (a1[c.hi] - a1[c.lo]);
        const float bt = b0[c.lo] + c.t * (b0[c.hi] - b0[c.lo]), bb = b1[c.lo] + c.t * (b1[c.hi] - b1[c.lo]);
        const float a = at + down.t * (ab - at), b = bt + down.t * (bb - bt);
        const float p = in[x];
        o[x] = p + strength * (a * I[x] + b - p);
      }
    }
  });
}

}  // namespace

void BoxMean(FloatPlane out, ConstFloatPlane in, int32_t radius, float* scratch) {
  const int32_t w = in.width, h = in.height;
  if (w <= 0 || h <= 0) return;
  if (out.width != w || out.height != h) Fail(ErrorKind::Usage, "box mean of planes of different sizes");
  Owned own;
  if (!scratch) {
    own = Owned(w, h);
    scratch = own.get();
  }
  BoxRows(scratch, in.data, w, h, std::max(0, radius));
  BoxColumns(out.data, scratch, w, h, std::max(0, radius));
}

void GuidedFilter(std::span<const FloatPlane> outputs, ConstFloatPlane guide, std::span<const ConstFloatPlane> inputs,
                  int32_t radius, float eps, int32_t step, float strength) {
  const int32_t w = guide.width, h = guide.height;
  if (outputs.size() != inputs.size()) Fail(ErrorKind::Usage, "the guided filter needs one output per input");
  for (size_t k = 0; k < inputs.size(); ++k)
    if (inputs[k].width != w || inputs[k].height != h || outputs[k].width != w || outputs[k].height != h)
      Fail(ErrorKind::Usage, "the guided filter's planes differ in size");
  if (w <= 0 || h <= 0) return;
  step = std::clamp(step, 1, std::max(w, h));
  // The fits are made at 1 / step of the resolution, over a window of as many of its samples.
  const int32_t lw = (w + step - 1) / step, lh = (h + step - 1) / step;
  const int32_t low_radius = step == 1 ? radius : std::max(1, (radius + step / 2) / step);
  Owned low_guide;
  const float* I = guide.data;
  if (step > 1) {
    low_guide = Owned(lw, lh);
    BlockMeans(low_guide.plane(), guide, step);
    I = low_guide.get();
  }
  // Box means may be taken in place: the pass across goes to `scratch` first.
  Owned mean_i(lw, lh), corr_ii(lw, lh), scratch(lw, lh), a, b, mean_p, corr_ip, low_input;
  auto box = [&](float* out, const float* in) { BoxMean({out, lw, lh}, {in, lw, lh}, low_radius, scratch.get()); };
  box(mean_i.get(), I);
  ForEachSample(lw, lh, [&, I](size_t i) { corr_ii[i] = I[i] * I[i]; });
  box(corr_ii.get(), corr_ii.get());

  for (size_t k = 0; k < inputs.size(); ++k) {
    // The guide's own planes are made once; they become the fits of the last input.
    const bool last = k + 1 == inputs.size();
    const bool self = inputs[k].data == guide.data;
    const float* p = self ? I : inputs[k].data;
    const float* mp = mean_i.get();
    const float* cip = corr_ii.get();
    if (!self) {
      if (step > 1) {
        if (!low_input.get()) low_input = Owned(lw, lh);
        BlockMeans(low_input.plane(), inputs[k], step);
        p = low_input.get();
      }
      if (!mean_p.get()) {
        mean_p = Owned(lw, lh);
        corr_ip = Owned(lw, lh);
      }
      box(mean_p.get(), p);
      ForEachSample(lw, lh, [&, I, p](size_t i) { corr_ip[i] = I[i] * p[i]; });
      box(corr_ip.get(), corr_ip.get());
      mp = mean_p.get();
      cip = corr_ip.get();
    }
    if (!last && !a.get()) {
      a = Owned(lw, lh);
      b = Owned(lw, lh);
    }
    float* fit_a = last ? mean_i.get() : a.get();
    float* fit_b = last ? corr_ii.get() : b.get();
    // The linear fit of each window: a = cov(I, p) / (var(I) + eps), b = mean(p) - a mean(I).
    ForEachSample(lw, lh, [&](size_t i) {
      const float mi = mean_i[i];
      const float slope = (cip[i] - mi * mp[i]) / (corr_ii[i] - mi * mi + eps);
      const float offset = mp[i] - slope * mi;
      fit_a[i] = slope;
      fit_b[i] = offset;
    });
    box(fit_a, fit_a);
    box(fit_b, fit_b);
    ApplyFits(outputs[k], guide, inputs[k], fit_a, fit_b, step, strength);
  }
}

}  // namespace tessfx
