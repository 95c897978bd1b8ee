#include "render/editor.h"

#include <unistd.h>

#include <cstring>
#include <filesystem>

#include "core/convert.h"
#include "core/error.h"
#include "host/embedded/disk_frame_store.h"
#include "render/anim_menu.h"
#include "render/thumb.h"

namespace tessfx {

Editor::Editor(SharedState& state, EditorWindow& window)
    : state_(state),
      window_(window),
      keys_(panel_, state.host()),
      dispatcher_(state.image(),
                  DispatchHooks{[this] { return panel_.SelectedEntry(); },
                                [this](const std::string& text) { window_.SetCaption(text); },
                                [this](int32_t frame) -> std::optional<std::string> {
                                  return SequenceFrameFileName(sequence, frame);
                                }}),
      undo_(state.image(), window),
      renderer_(panel_, keys_, dispatcher_, undo_, window) {
  panel_.hooks.clear_keys = [this] { keys_.kv_button5_Click(); };
  panel_.hooks.preview = [this] { renderer_.DoPreviewFrame(); };
  panel_.hooks.effect_picked = [this](const EffectDef& e) { e.on_select(host()); };
  keys_.draw_timeline = [this] { window_.DrawTimeline(); };
  // The box holds "0" or "1"; recording is on when the setting is missing.
  const std::string saved = host().GetSetting(kSettingsApp, kTimelineSection, kSaveUndosKey, "1");
  panel_.Check1 = RoundHalfEvenD(LeadingNumber(saved)) != 0.0 ? 1 : 0;
}

void Editor::kv_button1_Click() {
  keys_.kv_button1_Click();
  SelectKeyAt(host().tes_Getcurrentframe());
}

void Editor::kv_button13_Click(FileDialog& dialog) {
  const EffectDef* e = panel_.SelectedEffect();
  if (!e || !e->Uses(kSequenceFrame)) return;
  sequence = SelectSequence(dialog);
}

void Editor::kv_button2_Click() {
  // The strip reads the host's current frame itself when it is drawn.
  keys_.FillArray();
  window_.DrawTimeline();
}

RenderSummary Editor::kv_button3_Click(RenderProgress& progress, const FrameSelection* selection) {
  struct Close {
    RenderProgress& p;
    ~Close() { p.Close(); }
  } close{progress};
  keys_.FillArray();
  WaitCursor wait(window_);
  // A render that stops part-way still wrote its first frames.
  struct Remember {
    Editor& editor;
    const RenderSummary& r;
    const FrameSelection* selection;
    ~Remember() {
      try {
        editor.RememberRender(r, selection);
      } catch (...) {
        // Unwinding from a failed render: the frames then simply do not count as rendered.
      }
    }
  };
  if (host_files.document) undo_.SetDocument(host_files.document(), host_files.document_first_number());
  RenderSummary r;
  {
    // The summary so far, also when the render fails part-way.
    Remember remember{*this, renderer_.last_summary(), selection};
    r = renderer_.DoRender(progress, selection);
  }
  host().Tes_Refresh();
  return r;
}

void Editor::kv_button5_Click() {
  state_.selected_key_index = -1;
  keys_.kv_button5_Click();
}
void Editor::kv_button6_Click() { panel_.kv_button6_Click(); }
void Editor::kv_button7_Click() { host().tes_PlayAnimation(); }
void Editor::kv_button8_Click() { host().tes_StopAnimation(); }

void Editor::kv_button11_Click() {
  keys_.SetSplineMode(!keys_.SplineMode());
  keys_.kv_button11_Click();
}

UndoOutcome Editor::kv_button12_Click() {
  const UndoOutcome outcome = undo_.Undo(panel_.Check1 != 0);
  if (outcome.result == UndoResult::Restored) rendered_ = {};
  return outcome;
}

void Editor::DeleteUndos_Click() { undo_.DeleteUndos(); }

void Editor::Check1_Click() {
  host().SaveSetting(kSettingsApp, kTimelineSection, kSaveUndosKey, std::to_string(panel_.Check1));
}

void Editor::Label13_Click() {
  panel_.Label13_Click();
  Check1_Click();
}

std::optional<std::string> Editor::UndoDataAtStake() {
  if (panel_.Check1 == 0) return std::nullopt;
  const std::string temp = host().Tes_GetTempDir();
  const std::optional<UndoDescription> undo = UndoBuffer::ReadDescription(temp);
  if (!undo || undo->document.empty()) return std::nullopt;
  const auto same = [](const std::string& a, const std::string& b) {
    std::error_code ec;
    return a == b || std::filesystem::equivalent(a, b, ec);
  };
  if (host_files.document && same(undo->document, host_files.document())) return std::nullopt;
  // The open documents of other processes are the sources their frame stores name.
  try {
    for (const StoreDescription& store : FindStores(temp))
      if (store.pid != ::getpid() && same(store.source, undo->document) && StoreOwnerAlive(store))
        return undo->document;
  } catch (const Error&) {
    // A folder that cannot be listed hides no open document the render could warn about.
  }
  return std::nullopt;
}

bool Editor::AnimMenuCreate_Click() {
  const std::optional<int32_t> frames =
      FrameCountFromAnswer(window_.InputBox(kCreateAnimPrompt, kCreateAnimTitle, kCreateAnimDefault));
  if (!frames) return false;
  host().Tes_CreateAnim(*frames);
  window_.DrawTimeline();
  return true;
}

// ---- staying in step ----

void Editor::DoPreviewFrame() {
  if (ShowsRenderedFrame())
    ShowAsIs();
  else
    renderer_.DoPreviewFrame();
}

void Editor::FetchAsIs() {
  ImageState& s = image();
  s.ReadGeometry();
  s.FetchHostPlanes();
  s.CopyHostToWorking();
  ShowFrameCaption();
}

void Editor::ShowAsIs() {
  FetchAsIs();
  renderer_.ShowThumb();
}

bool Editor::FollowKeys() {
  if (!follow_keys() || keys_.LastKey() < 1 || host().tes_GetTotalFrames() < 1) return false;
  keys_.FillArray();
  const std::array<float, 6> v = renderer_.FrameParameters(host().tes_Getcurrentframe());
  const uint8_t suppress = panel_.SuppressPreview;
  panel_.SuppressPreview = 255;
  for (size_t n = 0; n < v.size(); ++n) panel_.HProp[n].SetValue(SliderValueOf(v[n], panel_.HProp[n]));
  panel_.SuppressPreview = suppress;
  return true;
}

void Editor::FrameSettled() {
  FollowKeys();
  DoPreviewFrame();
}

void Editor::DocumentReplaced() {
  rendered_ = {};
  flipbook_.Clear();
  live_.Invalidate();
  keys_.FillArray();
  window_.DrawTimeline();
  FrameSettled();
}

void Editor::ShowFrameCaption() {
  window_.SetCaption(FrameCaption(host().tes_Getcurrentframe(), host().tes_GetTotalFrames()));
}

namespace {
// FNV-1a over the bytes of what goes in.
struct Hasher {
  uint64_t h = 1469598103934665603ull;
  void Bytes(const void* data, size_t n) {
    const auto* p = static_cast<const unsigned char*>(data);
    for (size_t i = 0; i < n; ++i) h = (h ^ p[i]) * 1099511628211ull;
  }
  template <typename T>
  void Value(const T& v) {
    Bytes(&v, sizeof v);
  }
  void Text(const std::string& s) {
    Value(s.size());
    Bytes(s.data(), s.size());
  }
};
}  // namespace

uint64_t Editor::SetupSignature() {
  Hasher h;
  h.Text(panel_.SelectedEntry());
  // The sliders' values count only while the fill takes them (fewer than two keys); their
  // ranges always scale and clamp the keyed values.
  for (const HPropModel& s : panel_.HProp) {
    if (keys_.LastKey() < 1) h.Value(s.Value());
    h.Value(s.Min());
    h.Value(s.Max());
  }
  h.Value(keys_.SplineMode());
  for (int32_t i = 0; i <= keys_.LastKey(); ++i) {
    const KeyFrame& k = keys_.KeyList()[static_cast<size_t>(i)];
    h.Value(k.Frame);
    h.Value(k.Value);
    h.Value(k.Ease);
  }
  h.Text(sequence.base_name);
  h.Value(sequence.start_number);
  h.Value(sequence.digit_count);
  h.Text(image().external_swap.file_name());
  h.Value(image().external_swap.active());
  h.Value(host().tes_GetTotalFrames());
  return h.h;
}

void Editor::RememberRender(const RenderSummary& r, const FrameSelection* selection) {
  rendered_.signature = SetupSignature();
  rendered_.frames.assign(static_cast<size_t>(std::max(host().tes_GetTotalFrames(), int32_t{0})), false);
  int32_t left = r.frames_rendered;
  for (int32_t f = r.first; left > 0 && (r.step > 0 ? f <= r.last : f >= r.last); f += r.step) {
    if (selection && !selection->Contains(f)) continue;
    if (f >= 0 && static_cast<size_t>(f) < rendered_.frames.size()) rendered_.frames[static_cast<size_t>(f)] = true;
    --left;
  }
}

bool Editor::ShowsRenderedFrame() {
  if (!follow_keys()) return false;
  const int32_t f = host().tes_Getcurrentframe();
  if (f < 0 || static_cast<size_t>(f) >= rendered_.frames.size() || !rendered_.frames[static_cast<size_t>(f)])
    return false;
  return rendered_.signature == SetupSignature();
}

std::optional<int32_t> Editor::SelectedKeyFrame() const {
  const int32_t i = state_.selected_key_index;
  if (i < 0 || i > keys_.LastKey()) return std::nullopt;
  return keys_.KeyList()[static_cast<size_t>(i)].Frame;
}

void Editor::SelectKeyAt(int32_t frame) { state_.selected_key_index = keys_.KeyIndexAt(frame); }

bool Editor::GotoKey(std::optional<int32_t> frame) {
  if (!frame || *frame >= host().tes_GetTotalFrames()) return false;  // none, or the deleted-key mark
  host().Tes_GotoFrame(*frame);
  SelectKeyAt(*frame);
  return true;
}

bool Editor::GotoPreviousKey() { return GotoKey(keys_.PreviousKeyFrame(host().tes_Getcurrentframe())); }
bool Editor::GotoNextKey() { return GotoKey(keys_.NextKeyFrame(host().tes_Getcurrentframe())); }

void Editor::ShowFlipbookFrame() {
  const PictureBox box = window_.PreviewBox();
  if (box.width <= 0 || box.height <= 0) return;
  Hasher h;
  h.Value(SetupSignature());
  h.Value(box.width);
  h.Value(box.height);
  if (h.h != flipbook_signature_) {
    flipbook_.Clear();
    flipbook_signature_ = h.h;
  }
  const int32_t f = host().tes_Getcurrentframe();
  if (const ThumbImage* kept = flipbook_.Find(f)) {
    ShowFrameCaption();
    window_.ShowPicture(*kept);
    return;
  }
  if (ShowsRenderedFrame()) {
    FetchAsIs();
  } else {
    keys_.FillArray();
    const std::array<float, 6> v = renderer_.FrameParameters(f);
    dispatcher_.ProccessFrame(v[0], v[1], v[2], v[3], v[4], v[5]);
  }
  const ImageState& s = image();
  SuperThumb(s.work_r, s.work_g, s.work_b, s.width, s.height, box.width, box.height, scratch_thumb_);
  flipbook_.Store(f, scratch_thumb_);
  window_.ShowPicture(scratch_thumb_);
}

bool Editor::ShowLivePreview() {
  const EffectDef* effect = panel_.SelectedEffect();
  if (!effect || !LivePreview::Supports(*effect)) return false;
  if (!live_.Run(*effect, image(), panel_.SliderValues(), window_.PreviewBox(), scratch_thumb_)) return false;
  window_.ShowPicture(scratch_thumb_);
  return true;
}

bool Editor::Click(std::string_view name, RenderProgress* progress) {
  if (name == "kv_button3") {
    if (!progress) Fail(ErrorKind::Software, "the render button needs a progress window");
    kv_button3_Click(*progress);
    return true;
  }
  struct Command {
    std::string_view name;
    void (Editor::*run)();
  };
  static constexpr Command kCommands[] = {
      {"kv_button1", &Editor::kv_button1_Click},        {"kv_button2", &Editor::kv_button2_Click},
      {"kv_button5", &Editor::kv_button5_Click},        {"kv_button6", &Editor::kv_button6_Click},
      {"kv_button7", &Editor::kv_button7_Click},        {"kv_button8", &Editor::kv_button8_Click},
      {"kv_button11", &Editor::kv_button11_Click},      {"DeleteUndos_Click", &Editor::DeleteUndos_Click},
      {"Check1_Click", &Editor::Check1_Click},          {"Label13_Click", &Editor::Label13_Click},
  };
  for (const Command& c : kCommands)
    if (c.name == name) {
      (this->*c.run)();
      return true;
    }
  if (name == "kv_button12") {
    kv_button12_Click();
    return true;
  }
  if (name == "AnimMenuCreate_Click") {
    AnimMenuCreate_Click();
    return true;
  }
  return false;
}

}  // namespace tessfx
