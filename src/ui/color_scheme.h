#pragma once
// The tool window's colour scheme, read from the host's saved settings (application
// "tessaline", section "Startup"). Colours are packed red in bits 0..7, green 8..15, blue
// 16..23; the last four entries are flags.
#include <array>
#include <cstdint>
#include <string_view>

#include "host/host.h"

namespace tessfx {

struct ColorSchemeEntry {
  std::string_view key;
  int32_t fallback;
};

inline constexpr std::array<ColorSchemeEntry, 19> kColorSchemeKeys = {{
    {"Shine_Color", 0xE0E0E0},
    {"Shadow_Color", 0x202020},
    {"Half_Shine_Color", 0xC0C0C0},
    {"Half_Shadow_Color", 0x707070},
    {"Button_Fill_Color", 0xC0C0C0},
    {"Scroll_Fill_Color", 10392975},
    {"Scroll_Bar_Color", 0xFFFFFF},
    {"Tab_Highlight_Color", 0xD0F4FF},
    {"Ruler_Color", 12118266},
    {"Textbox_Fill_Color", 6706517},
    {"Textbox_Text_Color", 8974079},
    {"Special_Backdrop_Color", 10392975},
    {"Special_Tool_Color", 12697289},
    {"Special_Setting_Color", 12961206},
    {"Special_Action_Color", 11911101},
    {"Borderless_Buttons", 0},
    {"Borderless_Scrollers", 0},
    {"Borderless_Strings", 0},
    {"Borderless_Tabs", 0},
}};

struct ColorScheme {
  int32_t shine, shadow, half_shine, half_shadow, button_fill, scroll_fill, scroll_bar, tab_highlight, ruler,
      textbox_fill, textbox_text, special_backdrop, special_tool, special_setting, special_action;
  int32_t borderless_buttons, borderless_scrollers, borderless_strings, borderless_tabs;
};

// Reads the nineteen settings in order; an absent or unreadable value gives its default.
ColorScheme ReadColorScheme(TessalineHost& host);

// Packed colour components.
inline int PackedRed(int32_t c) { return c & 0xFF; }
inline int PackedGreen(int32_t c) { return (c >> 8) & 0xFF; }
inline int PackedBlue(int32_t c) { return (c >> 16) & 0xFF; }

}  // namespace tessfx
