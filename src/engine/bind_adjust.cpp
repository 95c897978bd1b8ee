// Actions of the colour and tone adjustments.
#include "core/convert.h"
#include "effects/adjust.h"
#include "engine/bindings.h"
#include "engine/dispatch.h"

namespace tessfx {

void BindAdjustActions(ActionTable& t) {
  t.color_adjustment = [](EffectCall& c) { FxColorAdjustment(c.image, c.p[0], c.p[1], c.p[2]); };
  t.color_add = [](EffectCall& c) { FxColorAdd(c.image, c.p[0], c.p[1], c.p[2]); };
  t.value_adjustment = [](EffectCall& c) { FxValueAdjustment(c.image, c.p[0], c.p[1], c.p[2], c.p[3]); };
  t.map_to_gradient = [](EffectCall& c) { FxMapToGradient(c.image, FloorToInt16(c.p[0])); };
  t.saturation = [](EffectCall& c) { FxSaturation(c.image, c.p[0]); };
  t.hue_sat_value = [](EffectCall& c) { FxHueSatValue(c.image, c.p[0], c.p[1], c.p[2]); };
  t.negative = [](EffectCall& c) { FxNegative(c.image); };
  t.invert_value = [](EffectCall& c) { FxInvertValue(c.image); };
  t.swap_channels = [](EffectCall& c) { FxSwapChannels(c.image); };
  t.roll_channels = [](EffectCall& c) { FxRollChannels(c.image); };
  t.power_curve = [](EffectCall& c) {
    float p = c.p[0] / 100.0f;
    FxPowerCurve(c.image, p);
  };
}

}  // namespace tessfx
