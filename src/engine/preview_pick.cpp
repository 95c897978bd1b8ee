#include "engine/preview_pick.h"

#include <algorithm>
#include <cmath>
#include <string>

#include "core/convert.h"

namespace tessfx {
namespace {

PickKind KindOf(const ParameterPanel& panel) {
  const EffectDef* e = panel.SelectedEffect();
  return e ? e->pick : PickKind::None;
}

}  // namespace

PreviewPoint PointAt(const ImageState& image, double fx, double fy) {
  PreviewPoint p;
  p.fx = fx;
  p.fy = fy;
  const Plane& r = image.host_r;
  if (r.width() <= 0 || r.height() <= 0 || image.host_g.width() != r.width() || image.host_b.width() != r.width())
    return p;
  const auto pick = [](double f, int32_t n) {
    return std::clamp(static_cast<int32_t>(std::floor(f * n)), int32_t{0}, n - 1);
  };
  const int32_t x = pick(fx, r.width()), y = pick(fy, r.height());
  p.r = r.at(y, x);
  p.g = image.host_g.at(y, x);
  p.b = image.host_b.at(y, x);
  return p;
}

bool PreviewPicker::Accepts(const ParameterPanel& panel) { return KindOf(panel) != PickKind::None; }

void PreviewPicker::Press(ParameterPanel& panel, const PreviewPoint& p) {
  if (!Accepts(panel)) return;
  pressed_ = true;
  press_point_ = p;
  for (size_t n = 0; n < 6; ++n) values_at_press_[n] = panel.HProp[n].Value();
  Apply(panel, p);
}

void PreviewPicker::Move(ParameterPanel& panel, const PreviewPoint& p) {
  if (pressed_) Apply(panel, p);
}

void PreviewPicker::Apply(ParameterPanel& panel, const PreviewPoint& p) {
  std::array<std::optional<double>, 6> set{};
  const double grey = (p.r + p.g + p.b) / 3.0;
  const double rgb[3] = {static_cast<double>(p.r), static_cast<double>(p.g), static_cast<double>(p.b)};
  switch (KindOf(panel)) {
    case PickKind::None:
      return;
    case PickKind::WhiteBalanceGain:
      for (int c = 0; c < 3; ++c) set[c] = rgb[c] > 0 ? 255.0 * grey / rgb[c] : 512.0;
      break;
    case PickKind::WhiteBalanceAdd:
      for (int c = 0; c < 3; ++c) set[c] = grey - rgb[c];
      break;
    case PickKind::Colour:
      for (int c = 0; c < 3; ++c) set[c] = rgb[c];
      break;
    case PickKind::KeyColour:
      for (int c = 0; c < 3; ++c) set[2 + c] = rgb[c];
      break;
    case PickKind::Grey:
      set[0] = grey;
      break;
    case PickKind::Position:
      set[0] = 100.0 * p.fx;
      set[1] = 100.0 * p.fy;
      break;
    case PickKind::Translate:
      set[0] = values_at_press_[0] + 100.0 * (p.fx - press_point_.fx);
      set[1] = values_at_press_[1] + 100.0 * (p.fy - press_point_.fy);
      break;
    case PickKind::Rotate: {
      auto wrap = [](double deg) { return std::fmod(std::fmod(deg, 360.0) + 360.0, 360.0); };
      set[2] = wrap(values_at_press_[2] + 200.0 * (p.fx - press_point_.fx));
      set[3] = wrap(values_at_press_[3] + 200.0 * (p.fy - press_point_.fy));
      break;
    }
  }
  // Assign all values without a preview each, then preview once.
  panel.SuppressPreview = 255;
  bool any = false;
  for (size_t n = 0; n < 6; ++n) {
    if (!set[n] || !panel.HProp[n].Visible()) continue;
    const int16_t v = RoundHalfEven16(std::clamp<double>(*set[n], panel.HProp[n].Min(), panel.HProp[n].Max()));
    panel.HProp[n].SetValue(v);
    panel.Label[6 + n].caption = std::to_string(panel.HProp[n].Value());
    any = true;
  }
  panel.SuppressPreview = 0;
  if (any && panel.hooks.preview) panel.hooks.preview();
}

}  // namespace tessfx
