#include "render/editor.h"

#include "core/convert.h"
#include "core/error.h"
#include "render/anim_menu.h"

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

void Editor::kv_button1_Click() { keys_.kv_button1_Click(); }

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
  RenderSummary r = renderer_.DoRender(progress, selection);
  host().Tes_Refresh();
  return r;
}

void Editor::kv_button5_Click() { keys_.kv_button5_Click(); }
void Editor::kv_button6_Click() { panel_.kv_button6_Click(); }
void Editor::kv_button7_Click() { host().tes_PlayAnimation(); }
void Editor::kv_button8_Click() { host().tes_StopAnimation(); }

void Editor::kv_button11_Click() {
  keys_.SetSplineMode(!keys_.SplineMode());
  keys_.kv_button11_Click();
}

UndoOutcome Editor::kv_button12_Click() { return undo_.Undo(panel_.Check1 != 0); }

void Editor::DeleteUndos_Click() { undo_.DeleteUndos(); }

void Editor::Check1_Click() {
  host().SaveSetting(kSettingsApp, kTimelineSection, kSaveUndosKey, std::to_string(panel_.Check1));
}

void Editor::Label13_Click() {
  panel_.Label13_Click();
  Check1_Click();
}

bool Editor::AnimMenuCreate_Click() {
  const std::optional<int32_t> frames =
      FrameCountFromAnswer(window_.InputBox(kCreateAnimPrompt, kCreateAnimTitle, kCreateAnimDefault));
  if (!frames) return false;
  host().Tes_CreateAnim(*frames);
  window_.DrawTimeline();
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
