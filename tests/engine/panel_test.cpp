// The parameter panel: the list, heading picks, slider set-up and defaults, labels, the
// sequence button, previews and keys around a pick, and the reset.
#include <gtest/gtest.h>

#include "engine/catalogue.h"
#include "engine/panel.h"

namespace tessfx {
namespace {

// A panel that counts its hook calls.
struct Panel {
  Panel() {
    p.hooks.clear_keys = [this] { ++clears; };
    p.hooks.preview = [this] {
      ++previews;
      suppressed_during_preview += p.SuppressPreview ? 1 : 0;
    };
    p.hooks.effect_picked = [this](const EffectDef&) { ++picked_steps; };
  }
  int Row(const std::string& text) const {
    const auto& rows = p.List1();
    return static_cast<int>(std::find(rows.begin(), rows.end(), text) - rows.begin());
  }
  void Pick(const std::string& name) { ASSERT_TRUE(p.SelectEffect(name)) << name; }
  ParameterPanel p;
  int clears = 0, previews = 0, picked_steps = 0, suppressed_during_preview = 0;
};

TEST(ParameterPanel, PickingAHeadingSelectsItsFirstEffect) {
  for (const CategorySpec& c : Categories()) {
    Panel t;
    t.p.SetListIndex(t.Row(std::string(c.name)));
    EXPECT_EQ(t.p.EffectName(), c.effects.front()->name);
    EXPECT_EQ(t.p.ListIndex(), t.Row(std::string(c.name)) + 1);
    // One click for the heading (which stops at step 1), one for the effect: one clear of
    // the keys and one preview, not suppressed, and the suppression lifted afterwards.
    EXPECT_EQ((std::array{t.clears, t.previews, t.suppressed_during_preview, int{t.p.SuppressPreview}}),
              (std::array{1, 1, 0, 0})) << c.name;
  }
}

TEST(ParameterPanel, EverySliderTakesItsDefaultWhateverCameBefore) {
  // Forwards and backwards through the list, so that every effect follows different ranges,
  // each time after a drag of the first slider has written its value label.
  std::vector<const EffectDef*> order;
  for (const EffectDef& e : Effects()) order.push_back(&e);
  for (int pass = 0; pass < 2; ++pass) {
    Panel t;
    for (const EffectDef* e : order) {
      HPropModel& first = t.p.HProp[0];
      first.Drag(first.Value() == first.Min() ? first.Max() : first.Min());
      first.Release();
      t.Pick(std::string(e->name));
      EXPECT_EQ(t.p.kv_button13.visible, e->button() == ButtonMode::Shown) << e->name;
      EXPECT_EQ(t.p.Picture2_MousePointer, e->pointer) << e->name;
      for (size_t n = 0; n < 6; ++n) {
        const HPropModel& h = t.p.HProp[n];
        const bool shown = n < e->sliders.size();
        EXPECT_TRUE(h.Visible() == shown && t.p.Label[n].visible == shown) << e->name << " slider " << n + 1;
        EXPECT_EQ(t.p.Label[6 + n].caption, "") << e->name;  // value labels emptied
        if (!shown) continue;
        const SliderSpec& s = e->sliders[n];
        EXPECT_TRUE(h.Value() == s.value && h.Min() == s.min && h.Max() == s.max) << e->name << " slider " << n + 1;
        EXPECT_EQ(t.p.Label[n].caption, s.caption);
      }
    }
    EXPECT_EQ(t.picked_steps, 1);  // only the lens flare asks for the host's flare settings
    std::reverse(order.begin(), order.end());
  }
}

TEST(ParameterPanel, SequenceButtonMovesWithTheEffect) {
  // (Whether it shows is checked for every effect above.)
  Panel t;
  t.Pick("Color key sequence");
  EXPECT_EQ(t.p.kv_button13.top, 258);
  t.Pick("Greenscreen");  // moved, but hidden by step 4 of the pick
  EXPECT_EQ(t.p.kv_button13.top, 218);
}

TEST(ParameterPanel, ResetRestoresDefaultsAndKeepsKeys) {
  Panel t;
  t.Pick("Zoom blur");
  t.p.HProp[2].Drag(77);
  t.p.HProp[2].Release();
  const int clears = t.clears, previews = t.previews;
  t.p.kv_button6_Click();
  // The default back, the keys kept, one preview, and the reset flag lowered again.
  EXPECT_EQ((std::array{int{t.p.HProp[2].Value()}, t.clears, t.previews, int{t.p.ResetInProgress}}),
            (std::array{20, clears, previews + 1, 0}));
  t.Pick("Zoom blur");  // picking again (not a reset) clears the keys
  EXPECT_EQ(t.clears, clears + 1);
}

TEST(ParameterPanel, HiddenSlidersKeepTheirValueForThePreview) {
  Panel t;
  // Design-time state: a parameterless level-mixed convolution gets the full level.
  t.Pick("Deinterlace");
  EXPECT_EQ(t.p.SliderValues()[0], 255.0f);
  t.Pick("Simple blur");
  t.p.HProp[0].SetValue(100);
  t.Pick("Reduce flicker");
  EXPECT_EQ(t.p.SliderValues()[0], 100.0f);
}

}  // namespace
}  // namespace tessfx
