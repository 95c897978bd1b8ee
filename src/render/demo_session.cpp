#include "render/demo_session.h"

#include "core/error.h"
#include "engine/catalogue.h"

namespace tessfx {

void KeyDemoSession(Editor& editor, const std::string& effect) {
  ParameterPanel& panel = editor.panel();
  panel.SelectEffect(std::string(EffectNamedByUser(effect).name));
  TessalineHost& host = editor.host();
  const int32_t last = host.tes_GetTotalFrames() - 1;
  host.Tes_GotoFrame(0);
  editor.kv_button1_Click();
  for (HPropModel& s : panel.HProp)
    if (s.Visible()) s.SetValue(static_cast<int16_t>(s.Value() + (s.Max() - s.Value()) * 3 / 4));
  host.Tes_GotoFrame(last);
  editor.kv_button1_Click();
  host.Tes_GotoFrame(last / 2);
  editor.DoPreviewFrame();
}

}  // namespace tessfx
