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
    p.hooks.flare_settings = [this] { ++flares; };
  }
  int Row(const std::string& text) const {
    const auto& rows = p.List1();
    return static_cast<int>(std::find(rows.begin(), rows.end(), text) - rows.begin());
  }
  void Pick(const std::string& name) { ASSERT_TRUE(p.SelectEffect(name)) << name; }
  ParameterPanel p;
  int clears = 0, previews = 0, flares = 0, suppressed_during_preview = 0;
};

TEST(ParameterPanel, ListHoldsHeadingsAndIndentedEffects) {
  const auto& rows = ParameterPanel().List1();
  ASSERT_EQ(rows.size(), 112u);
  int headings = 0;
  for (const std::string& r : rows) headings += r.compare(0, 4, "    ") != 0 ? 1 : 0;
  EXPECT_EQ(headings, 16);
  EXPECT_EQ(rows.front(), "Adjust");
  EXPECT_EQ(rows[1], "    Color adjustment");
  EXPECT_EQ(rows.back(), "    Wave brush in breeze");
}

TEST(ParameterPanel, PickingAHeadingSelectsItsFirstEffect) {
  for (const CategorySpec& c : Categories()) {
    Panel t;
    t.p.SetListIndex(t.Row(std::string(c.name)));
    EXPECT_EQ(t.p.EffectName(), c.effects.front()->name);
    EXPECT_EQ(t.p.ListIndex(), t.Row(std::string(c.name)) + 1);
    // One click for the heading (which stops at step 1), one for the effect.
    EXPECT_EQ(t.clears, 1);
    EXPECT_EQ(t.previews, 1);
    const auto& sliders = c.effects.front()->sliders;
    for (size_t n = 0; n < 6; ++n) EXPECT_EQ(t.p.HProp[n].Visible(), n < sliders.size()) << c.name;
  }
}

TEST(ParameterPanel, EverySliderTakesItsDefaultWhateverCameBefore) {
  // Forwards and backwards through the list, so that every effect follows different ranges.
  std::vector<const EffectSpec*> order;
  for (const EffectSpec& e : Effects()) order.push_back(&e);
  for (int pass = 0; pass < 2; ++pass) {
    Panel t;
    for (const EffectSpec* e : order) {
      t.Pick(std::string(e->name));
      for (size_t n = 0; n < 6; ++n) {
        const HPropModel& h = t.p.HProp[n];
        if (n < e->sliders.size()) {
          const SliderSpec& s = e->sliders[n];
          EXPECT_TRUE(h.Visible());
          EXPECT_EQ(h.Value(), s.value) << e->name << " slider " << n + 1;
          EXPECT_EQ(h.Min(), s.min) << e->name << " slider " << n + 1;
          EXPECT_EQ(h.Max(), s.max) << e->name << " slider " << n + 1;
          EXPECT_EQ(t.p.Label[n].caption, s.caption);
          EXPECT_TRUE(t.p.Label[n].visible);
        } else {
          EXPECT_FALSE(h.Visible()) << e->name;
          EXPECT_FALSE(t.p.Label[n].visible) << e->name;
        }
        EXPECT_EQ(t.p.Label[6 + n].caption, "") << e->name;  // see ValueLabels
      }
    }
    std::reverse(order.begin(), order.end());
  }
}

TEST(ParameterPanel, StartingValuesOfNote) {
  Panel t;
  t.Pick("Power curve");
  EXPECT_EQ(t.p.HProp[0].Value(), 99);
  for (const char* e : {"Mix buffers", "Displace", "Cloaking displace", "Pool displace"}) {
    t.Pick(e);
    EXPECT_EQ(t.p.HProp[0].Value(), 0) << e;
  }
  t.Pick("Snowfall");
  EXPECT_EQ(t.p.Label[5].caption, "Brighness");
  EXPECT_EQ(t.p.HProp[0].Min(), 10);
  t.Pick("Wireframe designer");
  EXPECT_EQ(t.p.Label[5].caption, "zoom factor");
  EXPECT_EQ(t.p.HProp[5].Value(), 400);
}

TEST(ParameterPanel, EffectWithoutSlidersHidesEverything) {
  Panel t;
  t.Pick("Color key sequence");
  t.p.HProp[0].Drag(100);  // a value label with text
  t.Pick("Day for night");
  for (size_t n = 0; n < 6; ++n) {
    EXPECT_FALSE(t.p.HProp[n].Visible());
    EXPECT_FALSE(t.p.Label[n].visible);
    EXPECT_EQ(t.p.Label[6 + n].caption, "");
  }
  EXPECT_FALSE(t.p.kv_button13.visible);
}

TEST(ParameterPanel, ValueLabels) {
  Panel t;
  t.Pick("Gaussian blur");
  // The set-up's assignments change the sliders while they are hidden, so the value
  // labels stay as step 4 emptied them.
  EXPECT_EQ(t.p.Label[6].caption, "");
  // Dragging writes the label on every move but previews only on release.
  const int before = t.previews;
  t.p.HProp[0].Drag(10);
  EXPECT_EQ(t.p.Label[6].caption, "10");
  t.p.HProp[0].Drag(12);
  EXPECT_EQ(t.p.Label[6].caption, "12");
  EXPECT_EQ(t.previews, before);
  t.p.HProp[0].Release();
  EXPECT_EQ(t.previews, before + 1);
  // A value set on a visible slider (paste) writes its label and previews.
  t.p.HProp[1].SetValue(7);
  EXPECT_EQ(t.p.Label[7].caption, "7");
  EXPECT_EQ(t.previews, before + 2);
  // Scroll writes the label even for a hidden slider; Change does not.
  t.p.HProp[4].Drag(3);
  EXPECT_EQ(t.p.Label[10].caption, "3");
  t.p.HProp[5].SetValue(9);
  EXPECT_EQ(t.p.Label[11].caption, "");
}

TEST(ParameterPanel, OnePreviewPerPickAndNoneWhileSuppressed) {
  Panel t;
  t.Pick("Snowfall");
  t.Pick("Wave brush in breeze");
  t.Pick("Negative");
  EXPECT_EQ(t.previews, 3);
  EXPECT_EQ(t.suppressed_during_preview, 0);
  EXPECT_EQ(t.p.SuppressPreview, 0);
  EXPECT_EQ(t.clears, 3);
}

TEST(ParameterPanel, SequenceButton) {
  struct Case {
    const char* effect;
    float top;
    bool visible;
  };
  for (const Case& c : {Case{"Greenscreen sequence", 218, true}, Case{"Bluescreen sequence", 218, true},
                        Case{"Cell edge comp", 218, true}, Case{"Color key sequence", 258, true},
                        Case{"Alpha comp", 158, true}, Case{"Greenscreen", 218, false}, Case{"Bluescreen", 218, false},
                        Case{"Color key", 258, false}}) {
    Panel t;
    t.Pick(c.effect);
    EXPECT_EQ(t.p.kv_button13.top, c.top) << c.effect;
    EXPECT_EQ(t.p.kv_button13.visible, c.visible) << c.effect;
    if (c.visible) {
      EXPECT_EQ(t.p.kv_button13.left, 262) << c.effect;
      EXPECT_EQ(t.p.kv_button13.caption, "Select Sequence...") << c.effect;
    }
  }
  Panel t;
  t.Pick("Alpha comp");
  t.Pick("Color key sequence");
  EXPECT_EQ(t.p.kv_button13.top, 258);
  t.Pick("Greenscreen sequence");
  EXPECT_TRUE(t.p.kv_button13.visible);
  t.Pick("Greenscreen");  // moved, but hidden by step 4 of the pick
  EXPECT_FALSE(t.p.kv_button13.visible);
  EXPECT_EQ(t.p.kv_button13.top, 218);
  t.Pick("Tint");
  EXPECT_FALSE(t.p.kv_button13.visible);
}

TEST(ParameterPanel, ResetRestoresDefaultsAndKeepsKeys) {
  Panel t;
  t.Pick("Zoom blur");
  t.p.HProp[2].Drag(77);
  t.p.HProp[2].Release();
  const int clears = t.clears, previews = t.previews;
  t.p.kv_button6_Click();
  EXPECT_EQ(t.p.HProp[2].Value(), 20);
  EXPECT_EQ(t.clears, clears);
  EXPECT_EQ(t.previews, previews + 1);
  EXPECT_EQ(t.p.ResetInProgress, 0);
  t.Pick("Zoom blur");  // picking again (not a reset) clears the keys
  EXPECT_EQ(t.clears, clears + 1);
}

TEST(ParameterPanel, PreviewPointer) {
  Panel t;
  for (const char* e : {"Color adjustment", "Color add", "Tint", "Threshold", "Color key", "Color key sequence"}) {
    t.Pick(e);
    EXPECT_EQ(t.p.Picture2_MousePointer, PointerKind::Custom) << e;
  }
  for (const char* e : {"Zoom blur", "Mystic vision", "Shadow vision", "Transform", "Wireframe designer"}) {
    t.Pick(e);
    EXPECT_EQ(t.p.Picture2_MousePointer, PointerKind::Sizing) << e;
  }
  t.Pick("Mosaic");
  EXPECT_EQ(t.p.Picture2_MousePointer, PointerKind::Default);
}

TEST(ParameterPanel, LensFlareAsksForTheHostsSettingsAndLabel13Toggles) {
  Panel t;
  t.Pick("Lens flare");
  EXPECT_EQ(t.flares, 1);
  t.Pick("Ghost");
  EXPECT_EQ(t.flares, 1);
  const int check = t.p.Check1;
  t.p.Label13_Click();
  EXPECT_EQ(t.p.Check1, 1 - check);
  t.p.Label13_Click();
  EXPECT_EQ(t.p.Check1, check);
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
