#include "engine/dispatch.h"

#include "core/error.h"
#include "media/bmp.h"

namespace tessfx {

namespace {
// A number as the caption writes it: a leading blank for non-negative numbers.
std::string SignBlank(int32_t n) {
  std::string s = std::to_string(n);
  if (n >= 0) s.insert(s.begin(), ' ');
  return s;
}

std::string SizeText(int32_t w, int32_t h) { return std::to_string(w) + "x" + std::to_string(h); }

// Every plane must have the frame's size: routines index them by it.
void RequireFrameSize(std::initializer_list<const Plane*> planes, int32_t width, int32_t height, const char* what) {
  for (const Plane* p : planes)
    if (p->empty() || p->width() != width || p->height() != height)
      Fail(ErrorKind::BadData, std::string("the host's ") + what + " planes are " + SizeText(p->width(), p->height()) +
                                   ", but it reports frames of " + SizeText(width, height));
}

struct CaptionHook final : CaptionSink {
  const std::function<void(const std::string&)>& set;
  explicit CaptionHook(const std::function<void(const std::string&)>& s) : set(s) {}
  void SetCaption(const std::string& caption) override {
    if (set) set(caption);
  }
};
}  // namespace

std::string FrameCaption(int32_t current_frame, int32_t total_frames) {
  return "Timeline editor  (frame" + SignBlank(current_frame + 1) + " of " + SignBlank(total_frames) + " total)";
}

std::string EffectNameOfEntry(const std::string& entry) { return entry.size() > 4 ? entry.substr(4) : std::string(); }

bool FrameDispatcher::LoadSequenceFrame() {
  const std::optional<std::string> file = hooks_.sequence_file ? hooks_.sequence_file(current_frame_) : std::nullopt;
  if (!file || file->empty()) return false;  // no sequence chosen: the effect does nothing
  const ImageState& s = image_;
  for (Plane* p : {&sequence_r_, &sequence_g_, &sequence_b_, &sequence_a_}) {
    p->EnsureSize(s.width, s.height);
    p->Fill(0);
  }
  CaptionHook caption(hooks_.set_caption);
  BmpReader reader;
  return reader.LoadBmpToPlanes(*file, sequence_r_, sequence_g_, sequence_b_, sequence_a_, caption) == kBmpLoaded;
}

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
  const EffectDef* effect = FindEffect(name);
  if (!effect || !effect->implemented()) return;

  RequireFrameSize({&s.host_r, &s.host_g, &s.host_b, &s.host_a}, s.width, s.height, "frame");
  EffectFrame f;
  f.width = s.width;
  f.height = s.height;
  f.alpha_bits = s.alpha_bits;
  f.frame = current_frame_;
  f.total_frames = total_frames_;
  f.host = {s.host_r.view(), s.host_g.view(), s.host_b.view(), s.host_a.view()};
  f.work = {s.work_r.view(), s.work_g.view(), s.work_b.view(), s.work_a.view()};
  f.tables = &s.tables;
  f.caption = hooks_.set_caption;
  if (effect->Uses(kSwapImage)) {
    s.FetchSwapPlanes();
    if (s.swap_r.empty() || s.swap_g.empty() || s.swap_b.empty()) {
      // Nothing to combine with: say so and leave the frame as it is, rather than use black.
      if (hooks_.set_caption) hooks_.set_caption(kNoSwapImageCaption);
      return;
    }
    RequireFrameSize({&s.swap_r, &s.swap_g, &s.swap_b}, s.width, s.height, "swap image");
    f.swap = {s.swap_r.view(), s.swap_g.view(), s.swap_b.view()};
  }
  if (effect->Uses(kSequenceFrame)) {
    if (!LoadSequenceFrame()) return;
    f.sequence = {sequence_r_.view(), sequence_g_.view(), sequence_b_.view(), sequence_a_.view()};
  }
  if (effect->Uses(kHostCalls)) f.host_calls = &s.host;
  // 6. The routine, then the composite step its definition declares.
  RunEffect(*effect, f, {p1, p2, p3, p4, p5, p6});
}

}  // namespace tessfx
