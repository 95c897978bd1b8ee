#include "engine/dispatch.h"


namespace tessfx {

namespace {
// A number as the caption writes it: a leading blank for non-negative numbers.
std::string SignBlank(int32_t n) {
  std::string s = std::to_string(n);
  if (n >= 0) s.insert(s.begin(), ' ');
  return s;
}
}  // namespace

std::string FrameCaption(int32_t current_frame, int32_t total_frames) {
  return "Timeline editor  (frame" + SignBlank(current_frame + 1) + " of " + SignBlank(total_frames) + " total)";
}

std::string EffectNameOfEntry(const std::string& entry) { return entry.size() > 4 ? entry.substr(4) : std::string(); }

void FrameDispatcher::ProccessFrame(float p1, float p2, float p3, float p4, float p5, float p6) {
  ImageState& s = image_;
  // 1. The frame as the host holds it, and working copies of it.
  s.FetchHostPlanes();
  s.CopyHostToWorking();
  // 2. Geometry and position, re-read so that a change of canvas shows at the next frame.
  s.alpha_bits = s.host.Tes_GetAlphabits();
  s.height = s.host.Tes_BufferHeight();
  s.width = s.host.Tes_BufferWidth();
  total_frames_ = s.host.tes_GetTotalFrames();
  current_frame_ = s.host.tes_Getcurrentframe();
  // 3. Caption.
  if (hooks_.set_caption) hooks_.set_caption(FrameCaption(current_frame_, total_frames_));
  // 4./5. The routine by exact effect name; a name that matches nothing does nothing.
  const std::string name = EffectNameOfEntry(hooks_.selected_entry ? hooks_.selected_entry() : std::string());
  const EffectSpec* effect = FindEffect(name);
  if (!effect || !effect->action) return;
  EffectCall call{s, {p1, p2, p3, p4, p5, p6}, {}, hooks_.set_caption, current_frame_};
  if (effect->sequence) {
    // The five sequence effects do nothing until a sequence is chosen.
    std::optional<std::string> file = hooks_.sequence_file ? hooks_.sequence_file(current_frame_) : std::nullopt;
    if (!file || file->empty()) return;
    call.sequence_file = *file;
  }
  // 6. The composite step, where the effect has one, is part of its action.
  effect->action(call);
}

}  // namespace tessfx
