#include "render/live_preview.h"

#include <algorithm>
#include <cmath>

#include "render/thumb.h"

namespace tessfx {

bool LivePreview::Supports(const EffectDef& effect) {
  return effect.implemented() && !effect.Uses(kSequenceFrame) && !effect.Uses(kHostCalls);
}

PictureBox LivePreview::ReducedSize(int32_t width, int32_t height, PictureBox box) {
  PictureBox size = ThumbSize(width, height, box.width, box.height);
  const int64_t pixels = int64_t{size.width} * size.height;
  if (pixels > kLivePreviewPixels) {
    const double scale = std::sqrt(static_cast<double>(kLivePreviewPixels) / static_cast<double>(pixels));
    size = ThumbSize(width, height, static_cast<int32_t>(size.width * scale), static_cast<int32_t>(size.height * scale));
  }
  return size;
}

void LivePreview::Prepare(const EffectDef& effect, ImageState& s, PictureBox size, int32_t frame) {
  s.ReadGeometry();
  s.FetchHostPlanes();
  const int32_t w = s.width, h = s.height;
  ReducePlane(s.host_r, w, h, size.width, size.height, r_);
  ReducePlane(s.host_g, w, h, size.width, size.height, g_);
  ReducePlane(s.host_b, w, h, size.width, size.height, b_);
  ReducePlane(s.host_a, w, h, size.width, size.height, a_);
  with_swap_ = effect.Uses(kSwapImage);
  if (with_swap_) {
    s.FetchSwapPlanes();
    ReducePlane(s.swap_r, w, h, size.width, size.height, swap_r_);
    ReducePlane(s.swap_g, w, h, size.width, size.height, swap_g_);
    ReducePlane(s.swap_b, w, h, size.width, size.height, swap_b_);
  }
  width_ = size.width;
  height_ = size.height;
  frame_ = frame;
  valid_ = true;
}

bool LivePreview::Run(const EffectDef& effect, ImageState& s, const EffectParams& p, PictureBox box, ThumbImage& out) {
  if (!Supports(effect)) return false;
  const int32_t frame = s.host.tes_Getcurrentframe();
  const PictureBox size = ReducedSize(s.host.Tes_BufferWidth(), s.host.Tes_BufferHeight(), box);
  if (size.width <= 0 || size.height <= 0) return false;
  if (!valid_ || frame != frame_ || size.width != width_ || size.height != height_ ||
      (effect.Uses(kSwapImage) && !with_swap_))
    Prepare(effect, s, size, frame);

  for (auto [from, to] : {std::pair{&r_, &work_r_}, {&g_, &work_g_}, {&b_, &work_b_}, {&a_, &work_a_}}) {
    to->EnsureSize(width_, height_);
    to->CopyFrom(*from);
  }
  EffectFrame f;
  f.width = width_;
  f.height = height_;
  f.alpha_bits = s.alpha_bits;
  f.frame = frame;
  f.total_frames = s.host.tes_GetTotalFrames();
  f.host = {r_.view(), g_.view(), b_.view(), a_.view()};
  f.work = {work_r_.view(), work_g_.view(), work_b_.view(), work_a_.view()};
  f.tables = &s.tables;
  if (with_swap_) f.swap = {swap_r_.view(), swap_g_.view(), swap_b_.view()};
  RunEffect(effect, f, p);

  out.width = width_;
  out.height = height_;
  out.rgb.resize(static_cast<size_t>(width_) * static_cast<size_t>(height_) * 3);
  for (int32_t y = 0; y < height_; ++y) {
    uint8_t* dest = out.rgb.data() + static_cast<size_t>(y) * static_cast<size_t>(width_) * 3;
    const uint8_t *pr = work_r_[y], *pg = work_g_[y], *pb = work_b_[y];
    for (int32_t x = 0; x < width_; ++x) {
      dest[3 * x] = pr[x];
      dest[3 * x + 1] = pg[x];
      dest[3 * x + 2] = pb[x];
    }
  }
  return true;
}

}  // namespace tessfx
