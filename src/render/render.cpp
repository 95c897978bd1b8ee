#include "render/render.h"

#include <algorithm>
#include <array>

#include "core/convert.h"
#include "render/thumb.h"

namespace tessfx {

std::string RenderLabel(int32_t frame, int32_t first, int32_t last) {
  return std::to_string(frame) + " of " + std::to_string(first) + " through " + std::to_string(last);
}

int16_t SliderValueOf(float value, const HPropModel& slider) {
  return static_cast<int16_t>(std::clamp<double>(RoundHalfEvenD(value), slider.Min(), slider.Max()));
}

std::array<float, 6> Renderer::FrameParameters(int32_t frame) const {
  std::array<float, 6> v{};
  for (size_t k = 0; k < v.size(); ++k) {
    const HPropModel& h = panel_.HProp[k];
    float x = keys_.ChannelValue(static_cast<int>(k), frame);
    if (x < h.Min()) x = h.Min();
    if (x > h.Max()) x = h.Max();
    v[k] = x;
  }
  return v;
}

std::array<float, 6> Renderer::PreviewValues() const {
  const std::array<float, 6> sliders = panel_.SliderValues();
  if (!follow_keys_ || keys_.LastKey() < 1) return sliders;
  const std::array<float, 6> keyed = FrameParameters(dispatcher_.image().host.tes_Getcurrentframe());
  for (size_t k = 0; k < keyed.size(); ++k)
    if (SliderValueOf(keyed[k], panel_.HProp[k]) != panel_.HProp[k].Value()) return sliders;
  return keyed;
}

void Renderer::DoPreviewFrame() {
  const std::array<float, 6> v = PreviewValues();
  dispatcher_.ProccessFrame(v[0], v[1], v[2], v[3], v[4], v[5]);
  ShowThumb();
}

void Renderer::ShowThumb() {
  const PictureBox box = window_.PreviewBox();
  if (box.width <= 0 || box.height <= 0) return;  // no preview picture to draw into
  const ImageState& s = dispatcher_.image();
  if (window_.ShowsBefore()) {
    SuperThumb(s.host_r, s.host_g, s.host_b, s.width, s.height, box.width, box.height, before_);
    window_.ShowBeforePicture(before_);
  }
  SuperThumb(s.work_r, s.work_g, s.work_b, s.width, s.height, box.width, box.height, thumb_);
  window_.ShowPicture(thumb_);
}

RenderSummary Renderer::DoRender(RenderProgress& progress, const FrameSelection* selection) {
  ImageState& s = dispatcher_.image();
  TessalineHost& host = s.host;
  RenderSummary& r = last_;
  r = {};
  const int32_t total = host.tes_GetTotalFrames();
  r.first = 0;
  r.last = total - 1;
  r.step = 1;
  const EffectDef* effect = FindEffect(EffectNameOfEntry(panel_.SelectedEntry()));
  if (effect && effect->order == RenderOrder::Backward) {
    r.first = total - 1;
    r.last = 0;
    r.step = -1;
  }
  if (selection) {
    const int32_t lo = selection->First(), hi = selection->Last();
    r.first = r.step > 0 ? lo : hi;
    r.last = r.step > 0 ? hi : lo;
  }

  // Closes the undo file however the walk ends: finished, cancelled or failed.
  struct Finish {
    UndoBuffer& undo;
    ~Finish() { undo.FinishRecording(); }
  } finish{undo_};
  if (panel_.Check1) {
    undo_.StartRecording({host.Tes_BufferWidth(), host.Tes_BufferHeight(), r.first, r.last, r.step});
    r.recorded = true;
  }

  // How many frames the walk writes, for the progress window's count and times.
  int32_t count = 0;
  for (int32_t f = r.first; r.step > 0 ? f <= r.last : f >= r.last; f += r.step)
    if (!selection || selection->Contains(f)) ++count;

  for (int32_t f = r.first; r.step > 0 ? f <= r.last : f >= r.last; f += r.step) {
    const bool chosen = !selection || selection->Contains(f);
    if (!chosen && !undo_.recording()) continue;
    progress.SetLabel(RenderLabel(f, r.first, r.last));
    progress.Rendering(f, total, r.frames_rendered, count);
    progress.Yield();
    if (progress.Cancelled()) {
      r.cancelled = true;
      break;
    }
    host.Tes_GotoFrame(f);
    if (panel_.Check1) undo_.SaveUndo();
    if (!chosen) continue;
    const std::array<float, 6> v = FrameParameters(f);
    dispatcher_.ProccessFrame(v[0], v[1], v[2], v[3], v[4], v[5]);
    ShowThumb();
    host.tes_setrbuffer(s.work_r);
    host.tes_setgbuffer(s.work_g);
    host.tes_setbbuffer(s.work_b);
    ++r.frames_rendered;
    // The frame number over the walk's length, as is: it runs 0..1 for a whole forward
    // render, 0..-1 for "Ghost", is NaN for one frame and goes past 1 for a walk that does
    // not start at 0. The display clamps.
    progress.DisplayBar(static_cast<double>(f) / static_cast<double>(r.last - r.first));
  }
  return r;
}

}  // namespace tessfx
