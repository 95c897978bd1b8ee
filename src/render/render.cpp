#include "render/render.h"

#include <array>

#include "render/thumb.h"

namespace tessfx {

std::string RenderLabel(int32_t frame, int32_t first, int32_t last) {
  return std::to_string(frame) + " of " + std::to_string(first) + " through " + std::to_string(last);
}

void Renderer::DoPreviewFrame() {
  const std::array<float, 6> v = panel_.SliderValues();
  dispatcher_.ProccessFrame(v[0], v[1], v[2], v[3], v[4], v[5]);
  ShowThumb();
}

void Renderer::ShowThumb() {
  const PictureBox box = window_.PreviewBox();
  if (box.width <= 0 || box.height <= 0) return;  // no preview picture to draw into
  const ImageState& s = dispatcher_.image();
  SuperThumb(s.work_r, s.work_g, s.work_b, s.width, s.height, box.width, box.height, thumb_);
  window_.ShowPicture(thumb_);
}

RenderSummary Renderer::DoRender(RenderProgress& progress, const FrameSelection* selection) {
  ImageState& s = dispatcher_.image();
  TessalineHost& host = s.host;
  RenderSummary r;
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

  for (int32_t f = r.first; r.step > 0 ? f <= r.last : f >= r.last; f += r.step) {
    const bool chosen = !selection || selection->Contains(f);
    if (!chosen && !undo_.recording()) continue;
    progress.SetLabel(RenderLabel(f, r.first, r.last));
    progress.Yield();
    if (progress.Cancelled()) {
      r.cancelled = true;
      break;
    }
    host.Tes_GotoFrame(f);
    if (panel_.Check1) undo_.SaveUndo();
    if (!chosen) continue;
    std::array<float, 6> v{};
    for (size_t k = 0; k < v.size(); ++k) {
      const HPropModel& h = panel_.HProp[k];
      float x = keys_.ChannelValue(static_cast<int>(k), f);
      if (x < h.Min()) x = h.Min();
      if (x > h.Max()) x = h.Max();
      v[k] = x;
    }
    dispatcher_.ProccessFrame(v[0], v[1], v[2], v[3], v[4], v[5]);
    ShowThumb();
    host.tes_setrbuffer(s.work_r);
    host.tes_setgbuffer(s.work_g);
    host.tes_setbbuffer(s.work_b);
    ++r.frames_rendered;
    progress.FrameDone(f);
    // The frame number over the walk's length, as is: it runs 0..1 for a whole forward
    // render, 0..-1 for "Ghost", is NaN for one frame and goes past 1 for a walk that does
    // not start at 0. The display clamps.
    progress.DisplayBar(static_cast<double>(f) / static_cast<double>(r.last - r.first));
  }
  return r;
}

}  // namespace tessfx
